// array.cpp - CMPIArray: a growable list of stored values of one element type.
//
// Contract:
//  - the element type is fixed at creation (the array flag of the given type is ignored; chars
//    and charsptr become string); every element starts null with the element type;
//  - setElementAt copies the value (copy_in rules); an index equal to the size appends one
//    element, an index beyond that is CMPI_RC_ERR_NO_SUCH_PROPERTY;
//  - a value must be of the element type's family: the text codes (string, chars, charsptr and
//    the three other text codes) are one family and are stored as strings under the array's own
//    element type; anything else is CMPI_RC_ERR_TYPE_MISMATCH;
//  - an array made with element type CMPI_null is untyped: the first element set with a type
//    other than CMPI_null fixes its element type (results collect into such an array);
//  - getElementAt hands out a caller-owned copy whose type is the element type.
#include <new>
#include <vector>

#include "object_impl.h"
#include "objects.h"
#include "value.h"

namespace {

struct ArrayImpl {
  CMPIArray object;
  CMPIType element_type;
  std::vector<CMPIData> elements;
};

ArrayImpl *impl_of(const CMPIArray *ar) { return cmpi::impl_of<ArrayImpl>(ar); }

// Element types an array can be made with: CMPI_null (untyped) or any type whose array form
// this platform holds.
bool is_element_type(CMPIType type) {
  return type == CMPI_null || cmpi::is_known_type(static_cast<CMPIType>(type | CMPI_ARRAY));
}

void destroy(ArrayImpl *impl) {
  for (CMPIData &d : impl->elements) {
    cmpi::release_data(&d);
  }
  delete impl;
}

ArrayImpl *new_impl(CMPIType element_type);

// Stores a copy of value as an element of impl: copy_in, then the element type as its type
// (text family values keep the array's text code).
CMPIrc make_element(const ArrayImpl *impl, const CMPIValue *value, CMPIType type, CMPIData *out) {
  const CMPIrc rc = cmpi::copy_in(value, type, out);
  if (rc != CMPI_RC_OK) {
    return rc;
  }
  out->type = impl->element_type;
  return CMPI_RC_OK;
}

CMPIStatus array_release(CMPIArray *ar) {
  ArrayImpl *impl = impl_of(ar);
  if (impl == nullptr) {
    return cmpi::make_status(CMPI_RC_ERR_INVALID_HANDLE);
  }
  destroy(impl);
  return cmpi::make_status(CMPI_RC_OK);
}

CMPIArray *array_clone(const CMPIArray *ar, CMPIStatus *rc) {
  const ArrayImpl *impl = impl_of(ar);
  if (impl == nullptr) {
    cmpi::set_rc(rc, CMPI_RC_ERR_INVALID_HANDLE);
    return nullptr;
  }
  ArrayImpl *copy = new_impl(impl->element_type);
  if (copy == nullptr) {
    cmpi::set_rc(rc, CMPI_RC_ERR_FAILED);
    return nullptr;
  }
  try {
    copy->elements.reserve(impl->elements.size());
  } catch (const std::bad_alloc &) {
    destroy(copy);
    cmpi::set_rc(rc, CMPI_RC_ERR_FAILED);
    return nullptr;
  }
  for (const CMPIData &d : impl->elements) {
    CMPIData element = cmpi::null_data(impl->element_type);
    if ((d.state & CMPI_nullValue) == 0) {
      const CMPIrc erc = make_element(copy, &d.value, d.type, &element);
      if (erc != CMPI_RC_OK) {
        destroy(copy);
        cmpi::set_rc(rc, erc);
        return nullptr;
      }
    }
    copy->elements.push_back(element);  // capacity reserved: cannot throw
  }
  cmpi::set_rc(rc, CMPI_RC_OK);
  return &copy->object;
}

CMPICount array_get_size(const CMPIArray *ar, CMPIStatus *rc) {
  const ArrayImpl *impl = impl_of(ar);
  if (impl == nullptr) {
    cmpi::set_rc(rc, CMPI_RC_ERR_INVALID_HANDLE);
    return 0;
  }
  cmpi::set_rc(rc, CMPI_RC_OK);
  return static_cast<CMPICount>(impl->elements.size());
}

CMPIType array_get_simple_type(const CMPIArray *ar, CMPIStatus *rc) {
  const ArrayImpl *impl = impl_of(ar);
  if (impl == nullptr) {
    cmpi::set_rc(rc, CMPI_RC_ERR_INVALID_HANDLE);
    return CMPI_null;
  }
  cmpi::set_rc(rc, CMPI_RC_OK);
  return impl->element_type;
}

CMPIData array_get_element_at(const CMPIArray *ar, CMPICount index, CMPIStatus *rc) {
  const ArrayImpl *impl = impl_of(ar);
  if (impl == nullptr) {
    cmpi::set_rc(rc, CMPI_RC_ERR_INVALID_HANDLE);
    return cmpi::null_data(CMPI_null);
  }
  if (index >= impl->elements.size()) {
    cmpi::set_rc(rc, CMPI_RC_ERR_NO_SUCH_PROPERTY);
    return cmpi::not_found_data();
  }
  cmpi::set_rc(rc, CMPI_RC_OK);
  return cmpi::copy_out(impl->elements[index]);
}

// setElementAt, with the stored datum made as store says: a copy of the value (kCopy, through
// copy_in), or the value itself taken over (kTakeOver, for cmpiArrayTakeElementAt).
enum class Store { kCopy, kTakeOver };

CMPIStatus put_element(CMPIArray *ar, CMPICount index, const CMPIValue *value, CMPIType type,
                       Store store) {
  ArrayImpl *impl = impl_of(ar);
  if (impl == nullptr) {
    return cmpi::make_status(CMPI_RC_ERR_INVALID_HANDLE);
  }
  if (index > impl->elements.size()) {
    return cmpi::make_status(CMPI_RC_ERR_NO_SUCH_PROPERTY);
  }
  CMPIType element_type = impl->element_type;
  if (type != CMPI_null) {
    if (element_type == CMPI_null) {
      // An untyped array takes the type of its first typed element.
      if ((type & CMPI_ARRAY) != 0 || !is_element_type(type)) {
        return cmpi::make_status(CMPI_RC_ERR_INVALID_DATA_TYPE);
      }
      element_type = cmpi::stored_type(type);
    } else if (!cmpi::same_family(element_type, type)) {
      return cmpi::make_status(CMPI_RC_ERR_TYPE_MISMATCH);
    }
  }
  CMPIData element = cmpi::null_data(element_type);
  if (type != CMPI_null && value != nullptr) {
    if (store == Store::kTakeOver) {
      // Only objects are taken over (cmpiArrayTakeElementAt checks): their one pointer is the
      // value, and a NULL one is a null element.
      element.value = *value;
      if (value->inst != nullptr) element.state = CMPI_goodValue;
    } else {
      const CMPIrc rc = cmpi::copy_in(value, type, &element);
      if (rc != CMPI_RC_OK) {
        return cmpi::make_status(rc);
      }
    }
  }
  element.type = element_type;
  if (index == impl->elements.size()) {
    try {
      impl->elements.push_back(element);
    } catch (const std::bad_alloc &) {
      // A value taken over stays the caller's when the call fails.
      if (store == Store::kCopy) cmpi::release_data(&element);
      return cmpi::make_status(CMPI_RC_ERR_FAILED);
    }
  } else {
    cmpi::release_data(&impl->elements[index]);
    impl->elements[index] = element;
  }
  if (element_type != impl->element_type) {
    impl->element_type = element_type;
    for (CMPIData &d : impl->elements) {
      d.type = element_type;  // the elements of an untyped array are all null
    }
  }
  return cmpi::make_status(CMPI_RC_OK);
}

CMPIStatus array_set_element_at(CMPIArray *ar, CMPICount index, const CMPIValue *value,
                                CMPIType type) {
  return put_element(ar, index, value, type, Store::kCopy);
}

CMPIArrayFT array_ft = {
    CMPICurrentVersion,  array_release,        array_clone,          array_get_size,
    array_get_simple_type, array_get_element_at, array_set_element_at,
};

ArrayImpl *new_impl(CMPIType element_type) {
  ArrayImpl *impl = cmpi::new_impl<ArrayImpl>(&array_ft);
  if (impl != nullptr) {
    impl->element_type = element_type;
  }
  return impl;
}

}  // namespace

namespace cmpi {

const CMPIArrayFT *array_table() { return &array_ft; }

}  // namespace cmpi

extern "C" CMPIStatus cmpiArrayTakeElementAt(CMPIArray *ar, CMPICount index, CMPIValue *value,
                                             CMPIType type) {
  const bool ours_array = cmpi::our_impl<ArrayImpl>(ar, cmpi::array_table()) != nullptr;
  bool ours_object = false;
  if (value != nullptr && type == CMPI_instance) {
    ours_object = cmpiIsOwnInstance(value->inst) != 0;
  } else if (value != nullptr && type == CMPI_ref) {
    ours_object = value->ref != nullptr && value->ref->hdl != nullptr &&
                  value->ref->ft == cmpi::object_path_table();
  }
  if (!ours_array || !ours_object) {
    return cmpi::make_status(CMPI_RC_ERR_NOT_SUPPORTED);
  }
  return put_element(ar, index, value, type, Store::kTakeOver);
}

extern "C" CMPIrc cmpiPeekArrayElementAt(const CMPIArray *ar, CMPICount index, CMPIData *data) {
  const ArrayImpl *impl = cmpi::our_impl<ArrayImpl>(ar, cmpi::array_table());
  if (impl == nullptr) {
    return CMPI_RC_ERR_NOT_SUPPORTED;
  }
  if (index >= impl->elements.size()) {
    return CMPI_RC_ERR_NO_SUCH_PROPERTY;
  }
  *data = cmpi::peek_out(impl->elements[index]);
  return CMPI_RC_OK;
}

extern "C" CMPIArray *makeNewCMPIArray(CMPICount size, CMPIType elementType, CMPIStatus *rc) {
  const CMPIType element_type =
      cmpi::stored_type(static_cast<CMPIType>(elementType & ~CMPI_ARRAY));
  if (!is_element_type(element_type)) {
    cmpi::set_rc(rc, CMPI_RC_ERR_INVALID_DATA_TYPE);
    return nullptr;
  }
  ArrayImpl *impl = new_impl(element_type);
  if (impl == nullptr) {
    cmpi::set_rc(rc, CMPI_RC_ERR_FAILED);
    return nullptr;
  }
  try {
    impl->elements.assign(size, cmpi::null_data(element_type));
  } catch (const std::exception &) {  // bad_alloc or length_error
    delete impl;
    cmpi::set_rc(rc, CMPI_RC_ERR_FAILED);
    return nullptr;
  }
  cmpi::set_rc(rc, CMPI_RC_OK);
  return &impl->object;
}
