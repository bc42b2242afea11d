// value.cpp - how one CMPI value is stored: type recognition, deep copies in and out, release.
//
// A stored datum owns its encapsulated value. Copies of encapsulated values are always made
// through the value's own function table (clone), so objects of any kind, ours or a caller's,
// can be stored.
#include "value.h"

#include <cstring>

namespace cmpi {

namespace {

// The codes whose value is a CMPIString in value.string: CMPI_string and the three other text
// codes that this platform keeps under their own number.
bool is_string_code(CMPIType type) {
  switch (type) {
    case CMPI_string:
    case CMPI_booleanString:
    case CMPI_numericString:
    case CMPI_dateTimeString:
      return true;
    default:
      return false;
  }
}

// The text family: the string codes plus chars and charsptr.
bool is_text_code(CMPIType type) {
  return is_string_code(type) || type == CMPI_chars || type == CMPI_charsptr;
}

bool is_scalar_code(CMPIType type) {
  switch (type) {
    case CMPI_boolean:
    case CMPI_char16:
    case CMPI_real32:
    case CMPI_real64:
    case CMPI_uint8:
    case CMPI_uint16:
    case CMPI_uint32:
    case CMPI_uint64:
    case CMPI_sint8:
    case CMPI_sint16:
    case CMPI_sint32:
    case CMPI_sint64:
      return true;
    default:
      return false;
  }
}

// Element codes an array may hold.
bool is_element_code(CMPIType type) {
  return is_scalar_code(type) || is_text_code(type) || type == CMPI_dateTime ||
         type == CMPI_instance || type == CMPI_ref;
}

// Clones an encapsulated object through its own table. A NULL object is not an error here
// (callers turn it into a null datum); an object without table is an invalid handle.
// (The target is a plain local pointer: members of the packed value union have no address of
// their own type.)
template <typename Object>
CMPIrc clone_object(const Object *source, Object *&target) {
  target = nullptr;
  if (source == nullptr) {
    return CMPI_RC_OK;
  }
  if (source->ft == nullptr || source->hdl == nullptr) {
    return CMPI_RC_ERR_INVALID_HANDLE;
  }
  CMPIStatus st = make_status(CMPI_RC_OK);
  Object *copy = source->ft->clone(source, &st);
  if (copy == nullptr || st.rc != CMPI_RC_OK) {
    if (copy != nullptr) {
      copy->ft->release(copy);
    }
    return rc_of_failed_clone(st);
  }
  target = copy;
  return CMPI_RC_OK;
}

// Clones source into the value union (every pointer member sits at offset 0 of the union; the
// copy is written bytewise because the packed union gives its members no natural alignment).
template <typename Object>
CMPIrc clone_into(const Object *source, CMPIValue *out, bool *is_null) {
  *is_null = source == nullptr;
  Object *copy = nullptr;
  const CMPIrc rc = clone_object(source, copy);
  std::memcpy(out, &copy, sizeof(copy));
  return rc;
}

// Takes the encapsulated value of a stored (or given) type into *out: scalars are copied by
// their member, an encapsulated object is handed to object_step(pointer, out, is_null) (a
// clone, or a borrowed look). For the text codes the object is value.string; arrays of any
// known element type are value.array.
template <typename ObjectStep>
CMPIrc take_member(CMPIType type, const CMPIValue &in, CMPIValue *out, bool *is_null,
                   ObjectStep object_step) {
  *is_null = false;
  std::memset(out, 0, sizeof(*out));
  if ((type & CMPI_ARRAY) != 0) {
    return object_step(in.array, out, is_null);
  }
  if (is_string_code(type)) {
    return object_step(in.string, out, is_null);
  }
  switch (type) {
    case CMPI_boolean:
      out->boolean = in.boolean;
      return CMPI_RC_OK;
    case CMPI_char16:
      out->char16 = in.char16;
      return CMPI_RC_OK;
    case CMPI_real32:
      out->real32 = in.real32;
      return CMPI_RC_OK;
    case CMPI_real64:
      out->real64 = in.real64;
      return CMPI_RC_OK;
    case CMPI_uint8:
      out->uint8 = in.uint8;
      return CMPI_RC_OK;
    case CMPI_uint16:
      out->uint16 = in.uint16;
      return CMPI_RC_OK;
    case CMPI_uint32:
      out->uint32 = in.uint32;
      return CMPI_RC_OK;
    case CMPI_uint64:
      out->uint64 = in.uint64;
      return CMPI_RC_OK;
    case CMPI_sint8:
      out->sint8 = in.sint8;
      return CMPI_RC_OK;
    case CMPI_sint16:
      out->sint16 = in.sint16;
      return CMPI_RC_OK;
    case CMPI_sint32:
      out->sint32 = in.sint32;
      return CMPI_RC_OK;
    case CMPI_sint64:
      out->sint64 = in.sint64;
      return CMPI_RC_OK;
    case CMPI_dateTime:
      return object_step(in.dateTime, out, is_null);
    case CMPI_instance:
      return object_step(in.inst, out, is_null);
    case CMPI_ref:
      return object_step(in.ref, out, is_null);
    case CMPI_args:
      return object_step(in.args, out, is_null);
    case CMPI_enumeration:
      return object_step(in.Enum, out, is_null);
    default:
      return CMPI_RC_ERR_INVALID_DATA_TYPE;
  }
}

struct CloneStep {
  template <typename Object>
  CMPIrc operator()(const Object *source, CMPIValue *out, bool *is_null) const {
    return clone_into(source, out, is_null);
  }
};

// The object itself, not a copy; an object a clone would refuse (no table or handle) is
// refused the same way, so a look reads exactly as a copy would.
struct BorrowStep {
  template <typename Object>
  CMPIrc operator()(const Object *source, CMPIValue *out, bool *is_null) const {
    *is_null = source == nullptr;
    if (source != nullptr && (source->ft == nullptr || source->hdl == nullptr)) {
      return CMPI_RC_ERR_INVALID_HANDLE;
    }
    std::memcpy(out, &source, sizeof(source));
    return CMPI_RC_OK;
  }
};

// Deep copy of the encapsulated value of a stored (or given) type. Sets *is_null when the
// encapsulated pointer is NULL.
CMPIrc copy_member(CMPIType type, const CMPIValue &in, CMPIValue *out, bool *is_null) {
  return take_member(type, in, out, is_null, CloneStep());
}

// A stored datum as a getter hands it out, its value taken by step: a null datum keeps its
// state; a value that cannot be taken reads as null.
template <typename ObjectStep>
CMPIData handed_out(const CMPIData &stored, ObjectStep step) {
  if ((stored.state & CMPI_nullValue) != 0) {
    CMPIData d = null_data(stored.type);
    d.state = stored.state;
    return d;
  }
  CMPIData d = stored;
  bool is_null = false;
  if (take_member(stored.type, stored.value, &d.value, &is_null, step) != CMPI_RC_OK || is_null) {
    // Nothing to hand out: a datum whose object cannot be copied reads as null.
    CMPIData n = null_data(stored.type);
    n.state = static_cast<CMPIValueState>(stored.state | CMPI_nullValue);
    return n;
  }
  return d;
}

// A new string datum from caller text (NULL text = null string datum).
CMPIrc text_to_string(const char *text, CMPIData *out) {
  if (text == nullptr) {
    *out = null_data(CMPI_string);
    return CMPI_RC_OK;
  }
  CMPIStatus st = make_status(CMPI_RC_OK);
  CMPIString *s = CreateString(text, &st);
  if (s == nullptr) {
    return rc_of_failed_clone(st);
  }
  out->type = CMPI_string;
  out->state = CMPI_goodValue;
  std::memset(&out->value, 0, sizeof(out->value));
  out->value.string = s;
  return CMPI_RC_OK;
}

}  // namespace

bool is_known_type(CMPIType type) {
  if ((type & CMPI_ARRAY) != 0) {
    return is_element_code(static_cast<CMPIType>(type & ~CMPI_ARRAY));
  }
  return is_element_code(type) || type == CMPI_args || type == CMPI_enumeration;
}

CMPIType stored_type(CMPIType type) {
  const CMPIType array_flag = static_cast<CMPIType>(type & CMPI_ARRAY);
  const CMPIType element = static_cast<CMPIType>(type & ~CMPI_ARRAY);
  if (element == CMPI_chars || element == CMPI_charsptr) {
    return static_cast<CMPIType>(CMPI_string | array_flag);
  }
  return type;
}

bool same_family(CMPIType element, CMPIType given) {
  if (stored_type(element) == stored_type(given)) {
    return true;
  }
  if ((element & CMPI_ARRAY) != (given & CMPI_ARRAY)) {
    return false;
  }
  return is_text_code(static_cast<CMPIType>(element & ~CMPI_ARRAY)) &&
         is_text_code(static_cast<CMPIType>(given & ~CMPI_ARRAY));
}

CMPIData null_data(CMPIType type) {
  CMPIData d;
  std::memset(&d, 0, sizeof(d));
  d.type = type;
  d.state = CMPI_nullValue;
  return d;
}

CMPIData not_found_data() {
  CMPIData d = null_data(CMPI_null);
  d.state = CMPI_nullValue | CMPI_notFound;
  return d;
}

CMPIrc copy_in(const CMPIValue *value, CMPIType type, CMPIData *out) {
  if (type == CMPI_null) {
    *out = null_data(CMPI_null);
    return CMPI_RC_OK;
  }
  if (!is_known_type(type)) {
    *out = null_data(type);
    return CMPI_RC_ERR_INVALID_DATA_TYPE;
  }
  const CMPIType stored = stored_type(type);
  *out = null_data(stored);
  if (value == nullptr) {
    return CMPI_RC_OK;
  }
  if (type == CMPI_chars) {
    // The value pointer is the text itself.
    return text_to_string(reinterpret_cast<const char *>(value), out);
  }
  if (type == CMPI_charsptr) {
    // The value pointer points at a char* variable.
    return text_to_string(*reinterpret_cast<char *const *>(value), out);
  }
  // Read only the member the type selects: the caller may have passed the address of a plain
  // variable smaller than a CMPIValue.
  CMPIValue in;
  std::memset(&in, 0, sizeof(in));
  size_t width = sizeof(void *);
  switch (type) {
    case CMPI_boolean:
    case CMPI_uint8:
    case CMPI_sint8:
      width = 1;
      break;
    case CMPI_char16:
    case CMPI_uint16:
    case CMPI_sint16:
      width = 2;
      break;
    case CMPI_real32:
    case CMPI_uint32:
    case CMPI_sint32:
      width = 4;
      break;
    case CMPI_real64:
    case CMPI_uint64:
    case CMPI_sint64:
      width = 8;
      break;
    default:
      width = sizeof(void *);  // every encapsulated member is one pointer
      break;
  }
  std::memcpy(&in, value, width);

  CMPIData copy = null_data(stored);
  bool is_null = false;
  const CMPIrc rc = copy_member(stored, in, &copy.value, &is_null);
  if (rc != CMPI_RC_OK) {
    return rc;
  }
  if (!is_null) {
    copy.state = CMPI_goodValue;
  }
  *out = copy;
  return CMPI_RC_OK;
}

CMPIData copy_out(const CMPIData &stored) { return handed_out(stored, CloneStep()); }

CMPIData peek_out(const CMPIData &stored) { return handed_out(stored, BorrowStep()); }

void release_data(CMPIData *data) {
  if (data == nullptr) {
    return;
  }
  if ((data->state & CMPI_nullValue) == 0) {
    cmpiReleaseCMPIValue(data->type, &data->value);
  }
  *data = null_data(data->type);
}

}  // namespace cmpi
