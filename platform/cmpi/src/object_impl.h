// object_impl.h - the pieces every object kind built on an implementation record shares.
//
// Such a record (ArgsImpl, ContextImpl, InstanceImpl, ...) holds the public object as its member
// `object`, whose hdl points back at the record and whose ft is the kind's one table. A NULL
// object or a NULL handle is an invalid handle everywhere.
#ifndef CMPIINTERFACE_OBJECT_IMPL_H
#define CMPIINTERFACE_OBJECT_IMPL_H

#include <new>
#include <optional>
#include <string>

#include "value.h"

namespace cmpi {

// The record behind an object's handle, or nullptr.
template <typename Impl, typename Object>
Impl *impl_of(const Object *object) {
  if (object == nullptr || object->hdl == nullptr) {
    return nullptr;
  }
  return static_cast<Impl *>(object->hdl);
}

// The record of an object given as an argument, which must also be of the kind (its ft is
// table), since its parts are read directly; nullptr otherwise.
template <typename Impl, typename Object, typename Table>
Impl *our_impl(const Object *object, const Table *table) {
  if (object == nullptr || object->ft != table) {
    return nullptr;
  }
  return impl_of<Impl>(object);
}

// One member of the record behind an object's handle, or nullptr.
template <typename Impl, typename Member, typename Object>
Member *member_of(const Object *object, Member Impl::*member) {
  Impl *impl = impl_of<Impl>(object);
  return impl == nullptr ? nullptr : &(impl->*member);
}

// A new value-initialised record whose object is set up with table; nullptr when out of memory.
template <typename Impl, typename Table>
Impl *new_impl(const Table *table) {
  Impl *impl = new (std::nothrow) Impl();
  if (impl == nullptr) {
    return nullptr;
  }
  impl->object.hdl = impl;
  impl->object.ft = const_cast<Table *>(table);
  return impl;
}

// What a factory answers for a record it made: the object with CMPI_RC_OK, or nullptr with
// CMPI_RC_ERR_FAILED when there is no record.
template <typename Impl>
auto made(Impl *impl, CMPIStatus *rc) -> decltype(&impl->object) {
  if (impl == nullptr) {
    set_rc(rc, CMPI_RC_ERR_FAILED);
    return nullptr;
  }
  set_rc(rc, CMPI_RC_OK);
  return &impl->object;
}

// The release slot of a kind whose record frees everything it holds when deleted.
template <typename Impl, typename Object>
CMPIStatus release_impl(Object *object) {
  Impl *impl = impl_of<Impl>(object);
  if (impl == nullptr) {
    return make_status(CMPI_RC_ERR_INVALID_HANDLE);
  }
  delete impl;
  return make_status(CMPI_RC_OK);
}

// The clone slot: a new record (made with table) into which copy_parts(const Impl &from,
// Impl *to) copies the parts, answering CMPI_RC_OK or the rc to give. On failure the new record
// is deleted and nullptr comes back: CMPI_RC_ERR_INVALID_HANDLE, CMPI_RC_ERR_FAILED when out of
// memory, or the rc of copy_parts.
template <typename Impl, typename Object, typename Table, typename CopyParts>
Object *clone_impl(const Object *object, const Table *table, CMPIStatus *rc,
                   CopyParts copy_parts) {
  const Impl *impl = impl_of<Impl>(object);
  if (impl == nullptr) {
    set_rc(rc, CMPI_RC_ERR_INVALID_HANDLE);
    return nullptr;
  }
  Impl *copy = new_impl<Impl>(table);
  if (copy == nullptr) {
    set_rc(rc, CMPI_RC_ERR_FAILED);
    return nullptr;
  }
  const CMPIrc code = copy_parts(*impl, copy);
  if (code != CMPI_RC_OK) {
    delete copy;
    set_rc(rc, code);
    return nullptr;
  }
  set_rc(rc, CMPI_RC_OK);
  return &copy->object;
}

// ---- optional text parts (namespace, class name, message, ...) ----

// Stores a copy of text into the part; NULL text unsets it. CMPI_RC_ERR_FAILED when out of
// memory.
inline CMPIrc store_text(std::optional<std::string> *part, const char *text) {
  try {
    if (text == nullptr) {
      part->reset();
    } else {
      *part = std::string(text);
    }
  } catch (...) {
    return CMPI_RC_ERR_FAILED;
  }
  return CMPI_RC_OK;
}

// The part as a new string the caller releases; NULL (with CMPI_RC_OK) when it was never set.
inline CMPIString *text_out(const std::optional<std::string> &part, CMPIStatus *rc) {
  if (!part.has_value()) {
    set_rc(rc, CMPI_RC_OK);
    return nullptr;
  }
  return CreateString(part->c_str(), rc);
}

// The setter and getter slots of a text part of the record behind an object's handle.
template <typename Impl, typename Object>
CMPIStatus text_part_in(Object *object, std::optional<std::string> Impl::*part,
                        const char *text) {
  std::optional<std::string> *stored = member_of(object, part);
  if (stored == nullptr) {
    return make_status(CMPI_RC_ERR_INVALID_HANDLE);
  }
  return make_status(store_text(stored, text));
}

template <typename Impl, typename Object>
CMPIString *text_part_out(const Object *object, std::optional<std::string> Impl::*part,
                          CMPIStatus *rc) {
  const std::optional<std::string> *stored = member_of(object, part);
  if (stored == nullptr) {
    set_rc(rc, CMPI_RC_ERR_INVALID_HANDLE);
    return nullptr;
  }
  return text_out(*stored, rc);
}

}  // namespace cmpi

#endif
