// broker_owned.cpp - keeping handed-out objects until their request ends.
#include "broker_owned.h"

#include <cmpiinterface.h>

#include <map>
#include <utility>

namespace hostd {
namespace {

CMPIStatus ok_status() {
  CMPIStatus st = {CMPI_RC_OK, nullptr};
  return st;
}

// For each kind of object: a copy of its function table whose release does nothing, one per
// original table (objects of one kind share their table).
template <class Object, class Table>
struct Deferred {
  static CMPIStatus no_release(Object *) { return ok_status(); }

  static Table *table_for(Table *original) {
    static std::map<const Table *, std::unique_ptr<Table>> tables;
    auto found = tables.find(original);
    if (found == tables.end()) {
      auto copy = std::make_unique<Table>(*original);
      copy->release = &no_release;
      found = tables.emplace(original, std::move(copy)).first;
    }
    return found->second.get();
  }

  static void release(void *object, const void *original) {
    auto *o = static_cast<Object *>(object);
    o->ft = static_cast<Table *>(const_cast<void *>(original));
    if (o->ft != nullptr && o->ft->release != nullptr) o->ft->release(o);
  }
};

template <class Object, class Table>
Object *keep_object(Object *object, std::vector<BrokerOwned::Held> *held) {
  if (object == nullptr || object->ft == nullptr) return object;
  Table *original = object->ft;
  if (original->release == &Deferred<Object, Table>::no_release) return object;  // kept already
  object->ft = Deferred<Object, Table>::table_for(original);
  held->push_back({object, &Deferred<Object, Table>::release, original});
  return object;
}

// The broker's enumeration: a cursor over kept elements.
struct BrokerEnumeration {
  CMPIEnumeration object;
  std::vector<CMPIData> items;
  CMPICount cursor = 0;
  BrokerOwned *owner = nullptr;
};

BrokerEnumeration *self(const CMPIEnumeration *en) {
  return en != nullptr ? static_cast<BrokerEnumeration *>(en->hdl) : nullptr;
}

void set_rc(CMPIStatus *rc, CMPIrc code) {
  if (rc != nullptr) {
    rc->rc = code;
    rc->msg = nullptr;
  }
}

// An ordinary array holding copies of the items (NULL without items' type or memory).
CMPIArray *copy_items(const BrokerEnumeration *e) {
  const CMPIType type = e->items.empty() ? CMPI_instance : e->items.front().type;
  CMPIArray *array = makeNewCMPIArray(static_cast<CMPICount>(e->items.size()), type, nullptr);
  if (array == nullptr) return nullptr;
  for (CMPICount i = 0; i < e->items.size(); ++i) {
    const CMPIData &item = e->items[i];
    array->ft->setElementAt(array, i, &item.value, item.type);
  }
  return array;
}

CMPIStatus enumeration_release(CMPIEnumeration *) { return ok_status(); }

CMPIEnumeration *enumeration_clone(const CMPIEnumeration *en, CMPIStatus *rc) {
  const BrokerEnumeration *e = self(en);
  if (e == nullptr) {
    set_rc(rc, CMPI_RC_ERR_INVALID_HANDLE);
    return nullptr;
  }
  CMPIArray *array = copy_items(e);
  CMPIEnumeration *copy = array != nullptr ? makeNewCMPIEnumeration(array, rc) : nullptr;
  if (copy == nullptr) {
    if (array != nullptr) array->ft->release(array);
    set_rc(rc, CMPI_RC_ERR_FAILED);
    return nullptr;
  }
  // The copy continues where this one stands, as a clone should.
  static_cast<CMPIEnumerationRecord *>(copy->hdl)->cursor = e->cursor;
  set_rc(rc, CMPI_RC_OK);
  return copy;
}

CMPIData enumeration_get_next(const CMPIEnumeration *en, CMPIStatus *rc) {
  BrokerEnumeration *e = self(en);
  CMPIData none = {CMPI_null, CMPI_nullValue, {}};
  if (e == nullptr) {
    set_rc(rc, CMPI_RC_ERR_INVALID_HANDLE);
    return none;
  }
  if (e->cursor >= e->items.size()) {
    set_rc(rc, CMPI_RC_NO_MORE_ELEMENTS);
    return none;
  }
  set_rc(rc, CMPI_RC_OK);
  return e->items[e->cursor++];
}

CMPIBoolean enumeration_has_next(const CMPIEnumeration *en, CMPIStatus *rc) {
  const BrokerEnumeration *e = self(en);
  if (e == nullptr) {
    set_rc(rc, CMPI_RC_ERR_INVALID_HANDLE);
    return 0;
  }
  set_rc(rc, CMPI_RC_OK);
  return e->cursor < e->items.size() ? 1 : 0;
}

CMPIArray *enumeration_to_array(const CMPIEnumeration *en, CMPIStatus *rc) {
  const BrokerEnumeration *e = self(en);
  if (e == nullptr) {
    set_rc(rc, CMPI_RC_ERR_INVALID_HANDLE);
    return nullptr;
  }
  CMPIArray *array = copy_items(e);
  set_rc(rc, array != nullptr ? CMPI_RC_OK : CMPI_RC_ERR_FAILED);
  return e->owner->keep(array);
}

CMPIEnumerationFT enumeration_table = {
    1,
    enumeration_release,
    enumeration_clone,
    enumeration_get_next,
    enumeration_has_next,
    enumeration_to_array,
};

void release_enumeration(void *object, const void *) {
  delete static_cast<BrokerEnumeration *>(static_cast<CMPIEnumeration *>(object)->hdl);
}

}  // namespace

CMPIInstance *BrokerOwned::keep(CMPIInstance *o) {
  return keep_object<CMPIInstance, CMPIInstanceFT>(o, &held_);
}
CMPIObjectPath *BrokerOwned::keep(CMPIObjectPath *o) {
  return keep_object<CMPIObjectPath, CMPIObjectPathFT>(o, &held_);
}
CMPIString *BrokerOwned::keep(CMPIString *o) {
  return keep_object<CMPIString, CMPIStringFT>(o, &held_);
}
CMPIArray *BrokerOwned::keep(CMPIArray *o) {
  return keep_object<CMPIArray, CMPIArrayFT>(o, &held_);
}
CMPIDateTime *BrokerOwned::keep(CMPIDateTime *o) {
  return keep_object<CMPIDateTime, CMPIDateTimeFT>(o, &held_);
}
CMPIArgs *BrokerOwned::keep(CMPIArgs *o) {
  return keep_object<CMPIArgs, CMPIArgsFT>(o, &held_);
}
CMPIEnumeration *BrokerOwned::keep(CMPIEnumeration *o) {
  if (o != nullptr && o->ft == &enumeration_table) return o;  // the broker's own
  return keep_object<CMPIEnumeration, CMPIEnumerationFT>(o, &held_);
}

CMPIData BrokerOwned::keep(CMPIData data) {
  if (data.state & CMPI_nullValue) return data;
  if (data.type & CMPI_ARRAY) {
    keep(data.value.array);
    return data;
  }
  switch (data.type) {
    case CMPI_instance: keep(data.value.inst); break;
    case CMPI_ref: keep(data.value.ref); break;
    case CMPI_string: keep(data.value.string); break;
    case CMPI_dateTime: keep(data.value.dateTime); break;
    case CMPI_args: keep(data.value.args); break;
    case CMPI_enumeration: keep(data.value.Enum); break;
    default: break;
  }
  return data;
}

CMPIEnumeration *BrokerOwned::enumeration(std::vector<CMPIData> items) {
  auto *e = new BrokerEnumeration;
  e->object.hdl = e;
  e->object.ft = &enumeration_table;
  e->owner = this;
  e->items = std::move(items);
  for (CMPIData &item : e->items) item = keep(item);
  held_.push_back({&e->object, &release_enumeration, nullptr});
  return &e->object;
}

void BrokerOwned::release_all() {
  while (!held_.empty()) {
    Held held = held_.back();
    held_.pop_back();
    held.release(held.object, held.original_table);
  }
}

}  // namespace hostd
