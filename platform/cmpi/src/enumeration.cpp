// enumeration.cpp - CMPIEnumeration: a cursor over an array.
//
// Contract:
//  - hdl points at a CMPIEnumerationRecord: the array first, then the cursor (index of the next
//    element). An enumeration made without array has a NULL array field; whoever fills it
//    stores an array there;
//  - the enumeration owns the array in its record (the one given to the factory, or stored into
//    the record later) and releases it with itself;
//  - getNext hands out a caller-owned copy of the element at the cursor and advances; at the
//    end, or without array, it gives a null datum and CMPI_RC_NO_MORE_ELEMENTS;
//  - clone copies the array and keeps the cursor where it is;
//  - toArray hands out a caller-owned copy of the array (NULL without array).
#include <new>

#include "objects.h"
#include "value.h"

namespace {

struct EnumerationImpl {
  CMPIEnumeration object;
  CMPIEnumerationRecord record;
};

CMPIEnumerationRecord *record_of(const CMPIEnumeration *en) {
  if (en == nullptr || en->hdl == nullptr) {
    return nullptr;
  }
  return static_cast<CMPIEnumerationRecord *>(en->hdl);
}

// The object starts the implementation struct, so the object pointer is the struct's.
EnumerationImpl *impl_of(CMPIEnumeration *en) { return reinterpret_cast<EnumerationImpl *>(en); }

bool is_usable_array(const CMPIArray *array) {
  return array != nullptr && array->hdl != nullptr && array->ft != nullptr;
}

EnumerationImpl *new_impl(CMPIArray *array, CMPICount cursor);

CMPIStatus enumeration_release(CMPIEnumeration *en) {
  CMPIEnumerationRecord *record = record_of(en);
  if (record == nullptr) {
    return cmpi::make_status(CMPI_RC_ERR_INVALID_HANDLE);
  }
  CMPIArray *array = record->array;
  if (array != nullptr && array->ft != nullptr) {
    array->ft->release(array);
  }
  delete impl_of(en);
  return cmpi::make_status(CMPI_RC_OK);
}

CMPIEnumeration *enumeration_clone(const CMPIEnumeration *en, CMPIStatus *rc) {
  const CMPIEnumerationRecord *record = record_of(en);
  if (record == nullptr) {
    cmpi::set_rc(rc, CMPI_RC_ERR_INVALID_HANDLE);
    return nullptr;
  }
  CMPIArray *array = nullptr;
  if (record->array != nullptr) {
    if (!is_usable_array(record->array)) {
      cmpi::set_rc(rc, CMPI_RC_ERR_INVALID_HANDLE);
      return nullptr;
    }
    CMPIStatus st = cmpi::make_status(CMPI_RC_OK);
    array = record->array->ft->clone(record->array, &st);
    if (array == nullptr) {
      cmpi::set_rc(rc, cmpi::rc_of_failed_clone(st));
      return nullptr;
    }
  }
  EnumerationImpl *copy = new_impl(array, record->cursor);
  if (copy == nullptr) {
    if (array != nullptr) {
      array->ft->release(array);
    }
    cmpi::set_rc(rc, CMPI_RC_ERR_FAILED);
    return nullptr;
  }
  cmpi::set_rc(rc, CMPI_RC_OK);
  return &copy->object;
}

// True when an element is left at the cursor (false without array).
bool has_next(const CMPIEnumerationRecord *record) {
  if (!is_usable_array(record->array)) {
    return false;
  }
  CMPIStatus st = cmpi::make_status(CMPI_RC_OK);
  const CMPICount size = record->array->ft->getSize(record->array, &st);
  return st.rc == CMPI_RC_OK && record->cursor < size;
}

CMPIData enumeration_get_next(const CMPIEnumeration *en, CMPIStatus *rc) {
  CMPIEnumerationRecord *record = record_of(en);
  if (record == nullptr) {
    cmpi::set_rc(rc, CMPI_RC_ERR_INVALID_HANDLE);
    return cmpi::null_data(CMPI_null);
  }
  if (!has_next(record)) {
    cmpi::set_rc(rc, CMPI_RC_NO_MORE_ELEMENTS);
    return cmpi::null_data(CMPI_null);
  }
  CMPIStatus st = cmpi::make_status(CMPI_RC_OK);
  const CMPIData element = record->array->ft->getElementAt(record->array, record->cursor, &st);
  if (st.rc != CMPI_RC_OK) {
    cmpi::set_rc(rc, st.rc);
    return cmpi::null_data(CMPI_null);
  }
  ++record->cursor;
  cmpi::set_rc(rc, CMPI_RC_OK);
  return element;
}

CMPIBoolean enumeration_has_next(const CMPIEnumeration *en, CMPIStatus *rc) {
  const CMPIEnumerationRecord *record = record_of(en);
  if (record == nullptr) {
    cmpi::set_rc(rc, CMPI_RC_ERR_INVALID_HANDLE);
    return 0;
  }
  cmpi::set_rc(rc, CMPI_RC_OK);
  return has_next(record) ? 1 : 0;
}

CMPIArray *enumeration_to_array(const CMPIEnumeration *en, CMPIStatus *rc) {
  const CMPIEnumerationRecord *record = record_of(en);
  if (record == nullptr) {
    cmpi::set_rc(rc, CMPI_RC_ERR_INVALID_HANDLE);
    return nullptr;
  }
  if (record->array == nullptr) {
    cmpi::set_rc(rc, CMPI_RC_OK);
    return nullptr;
  }
  if (!is_usable_array(record->array)) {
    cmpi::set_rc(rc, CMPI_RC_ERR_INVALID_HANDLE);
    return nullptr;
  }
  return record->array->ft->clone(record->array, rc);
}

CMPIEnumerationFT enumeration_ft = {
    CMPICurrentVersion,   enumeration_release,  enumeration_clone,
    enumeration_get_next, enumeration_has_next, enumeration_to_array,
};

EnumerationImpl *new_impl(CMPIArray *array, CMPICount cursor) {
  EnumerationImpl *impl = new (std::nothrow) EnumerationImpl();
  if (impl != nullptr) {
    impl->object.hdl = &impl->record;
    impl->object.ft = &enumeration_ft;
    impl->record.array = array;
    impl->record.cursor = cursor;
  }
  return impl;
}

}  // namespace

namespace cmpi {

const CMPIEnumerationFT *enumeration_table() { return &enumeration_ft; }

}  // namespace cmpi

// On failure the array stays the caller's.
extern "C" CMPIEnumeration *makeNewCMPIEnumeration(CMPIArray *array, CMPIStatus *rc) {
  if (array != nullptr && !is_usable_array(array)) {
    cmpi::set_rc(rc, CMPI_RC_ERR_INVALID_HANDLE);
    return nullptr;
  }
  EnumerationImpl *impl = new_impl(array, 0);
  if (impl == nullptr) {
    cmpi::set_rc(rc, CMPI_RC_ERR_FAILED);
    return nullptr;
  }
  cmpi::set_rc(rc, CMPI_RC_OK);
  return &impl->object;
}
