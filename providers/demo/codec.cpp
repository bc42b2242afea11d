// codec.cpp - stored text of property values (the format is described in codec.h).
#include "codec.h"

#include <cmpimacs.h>

#include <climits>
#include <optional>
#include <vector>

#include "fields.h"
#include "numbers.h"

namespace demo {

namespace {

constexpr CMPIType kElementMask = static_cast<CMPIType>(~CMPI_ARRAY);

// Chars are kept as strings; both read the same here.
CMPIType stored_type(CMPIType type) {
  if (type == CMPI_chars) return CMPI_string;
  if (type == CMPI_charsA) return CMPI_stringA;
  return type;
}

// The text of a string or chars value, or nullptr.
const char *text_of(CMPIType type, const CMPIValue *value) {
  if (type == CMPI_chars) return value->chars;
  if (type == CMPI_string && value->string != nullptr) return CMGetCharPtr(value->string);
  return nullptr;
}

void append_optional(std::string *out, const CMPIString *text) {
  if (text == nullptr || CMGetCharPtr(text) == nullptr)
    append_null_field(out);
  else
    append_field(out, CMGetCharPtr(text));
}

// Name, type code and value of one key or property; a getter's datum, released by the caller.
CMPIrc append_triple(const CMPIBroker *broker, const char *name, CMPIData data, std::string *out) {
  const CMPIType type = stored_type(data.type);
  const CMPIValueState state = data.state;
  const CMPIValue value = data.value;
  append_field(out, name != nullptr ? name : "");
  append_field(out, std::to_string(type));
  if ((state & CMPI_nullValue) != 0) {
    append_null_field(out);
    return CMPI_RC_OK;
  }
  std::string text;
  const CMPIrc rc = encode_value(broker, type, type, &value, &text);
  if (rc != CMPI_RC_OK) return rc;
  append_field(out, text);
  return CMPI_RC_OK;
}

// Namespace, class name, [key count,] keys of a path.
CMPIrc append_path(const CMPIBroker *broker, const CMPIObjectPath *op, bool with_count,
                  std::string *out) {
  CMPIString *ns = CMGetNameSpace(op, nullptr);
  CMPIString *cn = CMGetClassName(op, nullptr);
  append_optional(out, ns);
  append_optional(out, cn);
  if (ns != nullptr) CMRelease(ns);
  if (cn != nullptr) CMRelease(cn);
  const CMPICount count = CMGetKeyCount(op, nullptr);
  if (with_count) append_field(out, std::to_string(count));
  for (CMPICount i = 0; i < count; ++i) {
    CMPIString *name = nullptr;
    const CMPIData data = CMGetKeyAt(op, i, &name, nullptr);
    const CMPIrc rc = append_triple(broker, name != nullptr ? CMGetCharPtr(name) : "", data, out);
    release_data(data);
    if (name != nullptr) CMRelease(name);
    if (rc != CMPI_RC_OK) return rc;
  }
  return CMPI_RC_OK;
}

CMPIrc encode_instance(const CMPIBroker *broker, const CMPIInstance *inst, std::string *out) {
  CMPIObjectPath *op = CMGetObjectPath(inst, nullptr);
  if (op == nullptr) return CMPI_RC_ERR_INVALID_PARAMETER;
  CMPIrc rc = append_path(broker, op, true, out);
  CMRelease(op);
  const CMPICount count = CMGetPropertyCount(inst, nullptr);
  for (CMPICount i = 0; rc == CMPI_RC_OK && i < count; ++i) {
    CMPIString *name = nullptr;
    const CMPIData data = CMGetPropertyAt(inst, i, &name, nullptr);
    rc = append_triple(broker, name != nullptr ? CMGetCharPtr(name) : "", data, out);
    release_data(data);
    if (name != nullptr) CMRelease(name);
  }
  return rc;
}

CMPIrc encode_array(const CMPIBroker *broker, CMPIType target, const CMPIArray *array,
                   std::string *out) {
  const CMPIType element = static_cast<CMPIType>(target & kElementMask);
  const CMPICount count = CMGetArrayCount(array, nullptr);
  for (CMPICount i = 0; i < count; ++i) {
    const CMPIData data = CMGetArrayElementAt(array, i, nullptr);
    const CMPIType type = stored_type(data.type);
    const CMPIValueState state = data.state;
    const CMPIValue value = data.value;
    CMPIrc rc = CMPI_RC_OK;
    if ((state & CMPI_nullValue) != 0) {
      append_null_field(out);
    } else {
      std::string text;
      rc = encode_value(broker, element, type, &value, &text);
      if (rc == CMPI_RC_OK) append_field(out, text);
    }
    release_data(data);
    if (rc != CMPI_RC_OK) return rc;
  }
  return CMPI_RC_OK;
}

// Reads name, type and value of one key or property; value is nullopt for a null.
bool read_triple(FieldReader *reader, std::string *name, CMPIType *type,
                std::optional<std::string> *value) {
  std::string type_text;
  unsigned long long code = 0;
  if (!reader->next_text(name) || !reader->next_text(&type_text) ||
      !read_unsigned(type_text, USHRT_MAX, &code) || !reader->next(value))
    return false;
  *type = static_cast<CMPIType>(code);
  return true;
}

// Reads the keys that follow in reader into op (count of them, or all that remain).
CMPIrc read_keys(const CMPIBroker *broker, FieldReader *reader, CMPIObjectPath *op,
                std::optional<unsigned long long> count) {
  for (unsigned long long i = 0; count ? i < *count : !reader->at_end(); ++i) {
    std::string name;
    CMPIType type = CMPI_null;
    std::optional<std::string> text;
    if (!read_triple(reader, &name, &type, &text)) return CMPI_RC_ERR_FAILED;
    if (!text) continue;  // keys are never null
    if (type == CMPI_string) {
      // The characters go in as they are; the broker makes the string.
      const CMPIStatus st = CMAddKey(op, name.c_str(), text->c_str(), CMPI_chars);
      if (st.rc != CMPI_RC_OK) return st.rc;
      continue;
    }
    CMPIValue value;
    const CMPIrc rc = decode_value(broker, type, *text, &value);
    if (rc != CMPI_RC_OK) return rc;
    const CMPIStatus st = CMAddKey(op, name.c_str(), &value, type);
    release_value(type, &value);
    if (st.rc != CMPI_RC_OK) return st.rc;
  }
  return CMPI_RC_OK;
}

// A new path from namespace and class name fields.
CMPIObjectPath *read_path(const CMPIBroker *broker, FieldReader *reader) {
  std::optional<std::string> ns;
  std::string cn;
  if (!reader->next(&ns) || !reader->next_text(&cn)) return nullptr;
  return CMNewObjectPath(broker, ns ? ns->c_str() : nullptr, cn.c_str(), nullptr);
}

CMPIrc decode_ref(const CMPIBroker *broker, const std::string &text, CMPIValue *out) {
  FieldReader reader(text);
  CMPIObjectPath *op = read_path(broker, &reader);
  if (op == nullptr) return CMPI_RC_ERR_FAILED;
  const CMPIrc rc = read_keys(broker, &reader, op, std::nullopt);
  if (rc != CMPI_RC_OK) {
    CMRelease(op);
    return rc;
  }
  out->ref = op;
  return CMPI_RC_OK;
}

CMPIrc decode_instance(const CMPIBroker *broker, const std::string &text, CMPIValue *out) {
  FieldReader reader(text);
  CMPIObjectPath *op = read_path(broker, &reader);
  if (op == nullptr) return CMPI_RC_ERR_FAILED;
  std::string count_text;
  unsigned long long count = 0;
  CMPIrc rc = reader.next_text(&count_text) && read_unsigned(count_text, UINT_MAX, &count)
                  ? read_keys(broker, &reader, op, count)
                  : CMPI_RC_ERR_FAILED;
  CMPIInstance *inst = rc == CMPI_RC_OK ? CMNewInstance(broker, op, nullptr) : nullptr;
  CMRelease(op);
  if (inst == nullptr) return rc != CMPI_RC_OK ? rc : CMPI_RC_ERR_FAILED;
  while (rc == CMPI_RC_OK && !reader.at_end()) {
    std::string name;
    CMPIType type = CMPI_null;
    std::optional<std::string> value_text;
    if (!read_triple(&reader, &name, &type, &value_text)) {
      rc = CMPI_RC_ERR_FAILED;
      break;
    }
    if (!value_text) {
      rc = CMSetProperty(inst, name.c_str(), nullptr, type).rc;
      continue;
    }
    if (type == CMPI_string) {
      rc = CMSetProperty(inst, name.c_str(), value_text->c_str(), CMPI_chars).rc;
      continue;
    }
    CMPIValue value;
    rc = decode_value(broker, type, *value_text, &value);
    if (rc != CMPI_RC_OK) break;
    rc = CMSetProperty(inst, name.c_str(), &value, type).rc;
    release_value(type, &value);
  }
  if (rc != CMPI_RC_OK) {
    CMRelease(inst);
    return rc;
  }
  out->inst = inst;
  return CMPI_RC_OK;
}

CMPIrc decode_array(const CMPIBroker *broker, CMPIType type, const std::string &text,
                   CMPIValue *out) {
  const CMPIType element = static_cast<CMPIType>(type & kElementMask);
  std::vector<std::optional<std::string>> fields;
  if (!split_fields(text, &fields)) return CMPI_RC_ERR_FAILED;
  CMPIArray *array = CMNewArray(broker, static_cast<CMPICount>(fields.size()), element, nullptr);
  if (array == nullptr) return CMPI_RC_ERR_FAILED;
  for (size_t i = 0; i < fields.size(); ++i) {
    if (!fields[i]) continue;  // elements start null
    CMPIValue value;
    CMPIrc rc = CMPI_RC_OK;
    if (element == CMPI_string) {
      rc = CMSetArrayElementAt(array, static_cast<CMPICount>(i), fields[i]->c_str(), CMPI_chars).rc;
    } else if ((rc = decode_value(broker, element, *fields[i], &value)) == CMPI_RC_OK) {
      rc = CMSetArrayElementAt(array, static_cast<CMPICount>(i), &value, element).rc;
      release_value(element, &value);
    }
    if (rc != CMPI_RC_OK) {
      CMRelease(array);
      return rc;
    }
  }
  out->array = array;
  return CMPI_RC_OK;
}

}  // namespace

void release_value(CMPIType type, CMPIValue *value) {
  if ((type & CMPI_ARRAY) != 0) {
    if (value->array != nullptr) CMRelease(value->array);
    return;
  }
  switch (type) {
    case CMPI_instance:
      if (value->inst != nullptr) CMRelease(value->inst);
      return;
    case CMPI_ref:
      if (value->ref != nullptr) CMRelease(value->ref);
      return;
    case CMPI_args:
      if (value->args != nullptr) CMRelease(value->args);
      return;
    case CMPI_enumeration:
      if (value->Enum != nullptr) CMRelease(value->Enum);
      return;
    case CMPI_dateTime:
      if (value->dateTime != nullptr) CMRelease(value->dateTime);
      return;
    case CMPI_string:
    case CMPI_numericString:
    case CMPI_booleanString:
    case CMPI_dateTimeString:
      if (value->string != nullptr) CMRelease(value->string);
      return;
    default:
      return;
  }
}

void release_data(CMPIData data) {
  const CMPIValueState state = data.state;
  CMPIValue value = data.value;
  if ((state & CMPI_nullValue) == 0) release_value(data.type, &value);
}

CMPIrc encode_value(const CMPIBroker *broker, CMPIType target, CMPIType type, const CMPIValue *value,
                   std::string *text) {
  type = stored_type(type);
  target = stored_type(target);
  text->clear();
  if ((target & CMPI_ARRAY) != 0) {
    if ((type & CMPI_ARRAY) == 0) return CMPI_RC_ERR_TYPE_MISMATCH;
    if (value->array == nullptr) return CMPI_RC_ERR_INVALID_PARAMETER;
    return encode_array(broker, target, value->array, text);
  }
  if ((type & CMPI_ARRAY) != 0) return CMPI_RC_ERR_TYPE_MISMATCH;
  Number number;
  switch (target) {
    case CMPI_boolean:
      if (type != CMPI_boolean) return CMPI_RC_ERR_TYPE_MISMATCH;
      *text = value->boolean ? "true" : "false";
      return CMPI_RC_OK;
    case CMPI_char16: {
      if (type == CMPI_char16) {
        *text = std::to_string(value->char16);
        return CMPI_RC_OK;
      }
      const char *chars = text_of(type, value);
      if (chars == nullptr || chars[0] == '\0' || chars[1] != '\0')
        return CMPI_RC_ERR_TYPE_MISMATCH;
      *text = std::to_string(static_cast<unsigned char>(chars[0]));
      return CMPI_RC_OK;
    }
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
      if (!read_number(type, value, &number)) return CMPI_RC_ERR_TYPE_MISMATCH;
      return number_text(target, number, text);
    case CMPI_string: {
      if (type != CMPI_string) return CMPI_RC_ERR_TYPE_MISMATCH;
      const char *chars = text_of(type, value);
      if (chars == nullptr) return CMPI_RC_ERR_INVALID_PARAMETER;
      *text = chars;
      return CMPI_RC_OK;
    }
    case CMPI_dateTime: {
      CMPIDateTime *made = nullptr;
      const CMPIDateTime *dt = nullptr;
      if (type == CMPI_dateTime) {
        dt = value->dateTime;
      } else if (const char *chars = text_of(type, value)) {
        made = CMNewDateTimeFromChars(broker, chars, nullptr);
        if (made == nullptr) return CMPI_RC_ERR_TYPE_MISMATCH;
        dt = made;
      } else {
        return CMPI_RC_ERR_TYPE_MISMATCH;
      }
      if (dt == nullptr) return CMPI_RC_ERR_INVALID_PARAMETER;
      CMPIString *form = CMGetStringFormat(dt, nullptr);
      if (made != nullptr) CMRelease(made);
      if (form == nullptr) return CMPI_RC_ERR_FAILED;
      *text = CMGetCharPtr(form);
      CMRelease(form);
      return CMPI_RC_OK;
    }
    case CMPI_ref:
      if (type != CMPI_ref) return CMPI_RC_ERR_TYPE_MISMATCH;
      if (value->ref == nullptr) return CMPI_RC_ERR_INVALID_PARAMETER;
      return append_path(broker, value->ref, false, text);
    case CMPI_instance:
      if (type != CMPI_instance) return CMPI_RC_ERR_TYPE_MISMATCH;
      if (value->inst == nullptr) return CMPI_RC_ERR_INVALID_PARAMETER;
      return encode_instance(broker, value->inst, text);
    default:
      return CMPI_RC_ERR_TYPE_MISMATCH;
  }
}

CMPIrc decode_value(const CMPIBroker *broker, CMPIType type, const std::string &text,
                   CMPIValue *value) {
  if ((type & CMPI_ARRAY) != 0) return decode_array(broker, stored_type(type), text, value);
  unsigned long long u = 0;
  long long s = 0;
  double r = 0;
  long long min = 0;
  unsigned long long max = 0;
  switch (stored_type(type)) {
    case CMPI_boolean:
      if (text != "true" && text != "false") return CMPI_RC_ERR_FAILED;
      value->boolean = text == "true" ? 1 : 0;
      return CMPI_RC_OK;
    case CMPI_char16:
      if (!read_unsigned(text, USHRT_MAX, &u)) return CMPI_RC_ERR_FAILED;
      value->char16 = static_cast<CMPIChar16>(u);
      return CMPI_RC_OK;
    case CMPI_uint8:
    case CMPI_uint16:
    case CMPI_uint32:
    case CMPI_uint64:
      integer_range(type, &min, &max);
      if (!read_unsigned(text, max, &u)) return CMPI_RC_ERR_FAILED;
      if (type == CMPI_uint8) value->uint8 = static_cast<CMPIUint8>(u);
      if (type == CMPI_uint16) value->uint16 = static_cast<CMPIUint16>(u);
      if (type == CMPI_uint32) value->uint32 = static_cast<CMPIUint32>(u);
      if (type == CMPI_uint64) value->uint64 = u;
      return CMPI_RC_OK;
    case CMPI_sint8:
    case CMPI_sint16:
    case CMPI_sint32:
    case CMPI_sint64:
      integer_range(type, &min, &max);
      if (!read_signed(text, min, static_cast<long long>(max), &s)) return CMPI_RC_ERR_FAILED;
      if (type == CMPI_sint8) value->sint8 = static_cast<CMPISint8>(s);
      if (type == CMPI_sint16) value->sint16 = static_cast<CMPISint16>(s);
      if (type == CMPI_sint32) value->sint32 = static_cast<CMPISint32>(s);
      if (type == CMPI_sint64) value->sint64 = s;
      return CMPI_RC_OK;
    case CMPI_real32: {
      float f = 0;
      if (!read_real32(text, &f)) return CMPI_RC_ERR_FAILED;
      value->real32 = f;
      return CMPI_RC_OK;
    }
    case CMPI_real64:
      if (!read_real(text, &r)) return CMPI_RC_ERR_FAILED;
      value->real64 = r;
      return CMPI_RC_OK;
    case CMPI_string:
      value->string = CMNewString(broker, text.c_str(), nullptr);
      return value->string != nullptr ? CMPI_RC_OK : CMPI_RC_ERR_FAILED;
    case CMPI_dateTime:
      value->dateTime = CMNewDateTimeFromChars(broker, text.c_str(), nullptr);
      return value->dateTime != nullptr ? CMPI_RC_OK : CMPI_RC_ERR_FAILED;
    case CMPI_ref:
      return decode_ref(broker, text, value);
    case CMPI_instance:
      return decode_instance(broker, text, value);
    default:
      return CMPI_RC_ERR_FAILED;
  }
}

}  // namespace demo
