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
CMPIType storedType(CMPIType type) {
  if (type == CMPI_chars) return CMPI_string;
  if (type == CMPI_charsA) return CMPI_stringA;
  return type;
}

// The text of a string or chars value, or nullptr.
const char *textOf(CMPIType type, const CMPIValue *value) {
  if (type == CMPI_chars) return value->chars;
  if (type == CMPI_string && value->string != nullptr) return CMGetCharPtr(value->string);
  return nullptr;
}

void appendOptional(std::string *out, const CMPIString *text) {
  if (text == nullptr || CMGetCharPtr(text) == nullptr)
    appendNullField(out);
  else
    appendField(out, CMGetCharPtr(text));
}

// Name, type code and value of one key or property; a getter's datum, released by the caller.
CMPIrc appendTriple(const CMPIBroker *broker, const char *name, CMPIData data, std::string *out) {
  const CMPIType type = storedType(data.type);
  const CMPIValueState state = data.state;
  const CMPIValue value = data.value;
  appendField(out, name != nullptr ? name : "");
  appendField(out, std::to_string(type));
  if ((state & CMPI_nullValue) != 0) {
    appendNullField(out);
    return CMPI_RC_OK;
  }
  std::string text;
  const CMPIrc rc = encodeValue(broker, type, type, &value, &text);
  if (rc != CMPI_RC_OK) return rc;
  appendField(out, text);
  return CMPI_RC_OK;
}

// Namespace, class name, [key count,] keys of a path.
CMPIrc appendPath(const CMPIBroker *broker, const CMPIObjectPath *op, bool withCount,
                  std::string *out) {
  CMPIString *ns = CMGetNameSpace(op, nullptr);
  CMPIString *cn = CMGetClassName(op, nullptr);
  appendOptional(out, ns);
  appendOptional(out, cn);
  if (ns != nullptr) CMRelease(ns);
  if (cn != nullptr) CMRelease(cn);
  const CMPICount count = CMGetKeyCount(op, nullptr);
  if (withCount) appendField(out, std::to_string(count));
  for (CMPICount i = 0; i < count; ++i) {
    CMPIString *name = nullptr;
    const CMPIData data = CMGetKeyAt(op, i, &name, nullptr);
    const CMPIrc rc = appendTriple(broker, name != nullptr ? CMGetCharPtr(name) : "", data, out);
    releaseData(data);
    if (name != nullptr) CMRelease(name);
    if (rc != CMPI_RC_OK) return rc;
  }
  return CMPI_RC_OK;
}

CMPIrc encodeInstance(const CMPIBroker *broker, const CMPIInstance *inst, std::string *out) {
  CMPIObjectPath *op = CMGetObjectPath(inst, nullptr);
  if (op == nullptr) return CMPI_RC_ERR_INVALID_PARAMETER;
  CMPIrc rc = appendPath(broker, op, true, out);
  CMRelease(op);
  const CMPICount count = CMGetPropertyCount(inst, nullptr);
  for (CMPICount i = 0; rc == CMPI_RC_OK && i < count; ++i) {
    CMPIString *name = nullptr;
    const CMPIData data = CMGetPropertyAt(inst, i, &name, nullptr);
    rc = appendTriple(broker, name != nullptr ? CMGetCharPtr(name) : "", data, out);
    releaseData(data);
    if (name != nullptr) CMRelease(name);
  }
  return rc;
}

CMPIrc encodeArray(const CMPIBroker *broker, CMPIType target, const CMPIArray *array,
                   std::string *out) {
  const CMPIType element = static_cast<CMPIType>(target & kElementMask);
  const CMPICount count = CMGetArrayCount(array, nullptr);
  for (CMPICount i = 0; i < count; ++i) {
    const CMPIData data = CMGetArrayElementAt(array, i, nullptr);
    const CMPIType type = storedType(data.type);
    const CMPIValueState state = data.state;
    const CMPIValue value = data.value;
    CMPIrc rc = CMPI_RC_OK;
    if ((state & CMPI_nullValue) != 0) {
      appendNullField(out);
    } else {
      std::string text;
      rc = encodeValue(broker, element, type, &value, &text);
      if (rc == CMPI_RC_OK) appendField(out, text);
    }
    releaseData(data);
    if (rc != CMPI_RC_OK) return rc;
  }
  return CMPI_RC_OK;
}

// Reads name, type and value of one key or property; value is nullopt for a null.
bool readTriple(FieldReader *reader, std::string *name, CMPIType *type,
                std::optional<std::string> *value) {
  std::string typeText;
  unsigned long long code = 0;
  if (!reader->nextText(name) || !reader->nextText(&typeText) ||
      !readUnsigned(typeText, USHRT_MAX, &code) || !reader->next(value))
    return false;
  *type = static_cast<CMPIType>(code);
  return true;
}

// Reads the keys that follow in reader into op (count of them, or all that remain).
CMPIrc readKeys(const CMPIBroker *broker, FieldReader *reader, CMPIObjectPath *op,
                std::optional<unsigned long long> count) {
  for (unsigned long long i = 0; count ? i < *count : !reader->atEnd(); ++i) {
    std::string name;
    CMPIType type = CMPI_null;
    std::optional<std::string> text;
    if (!readTriple(reader, &name, &type, &text)) return CMPI_RC_ERR_FAILED;
    if (!text) continue;  // keys are never null
    CMPIValue value;
    const CMPIrc rc = decodeValue(broker, type, *text, &value);
    if (rc != CMPI_RC_OK) return rc;
    const CMPIStatus st = CMAddKey(op, name.c_str(), &value, type);
    releaseValue(type, &value);
    if (st.rc != CMPI_RC_OK) return st.rc;
  }
  return CMPI_RC_OK;
}

// A new path from namespace and class name fields.
CMPIObjectPath *readPath(const CMPIBroker *broker, FieldReader *reader) {
  std::optional<std::string> ns;
  std::string cn;
  if (!reader->next(&ns) || !reader->nextText(&cn)) return nullptr;
  return CMNewObjectPath(broker, ns ? ns->c_str() : nullptr, cn.c_str(), nullptr);
}

CMPIrc decodeRef(const CMPIBroker *broker, const std::string &text, CMPIValue *out) {
  FieldReader reader(text);
  CMPIObjectPath *op = readPath(broker, &reader);
  if (op == nullptr) return CMPI_RC_ERR_FAILED;
  const CMPIrc rc = readKeys(broker, &reader, op, std::nullopt);
  if (rc != CMPI_RC_OK) {
    CMRelease(op);
    return rc;
  }
  out->ref = op;
  return CMPI_RC_OK;
}

CMPIrc decodeInstance(const CMPIBroker *broker, const std::string &text, CMPIValue *out) {
  FieldReader reader(text);
  CMPIObjectPath *op = readPath(broker, &reader);
  if (op == nullptr) return CMPI_RC_ERR_FAILED;
  std::string countText;
  unsigned long long count = 0;
  CMPIrc rc = reader.nextText(&countText) && readUnsigned(countText, UINT_MAX, &count)
                  ? readKeys(broker, &reader, op, count)
                  : CMPI_RC_ERR_FAILED;
  CMPIInstance *inst = rc == CMPI_RC_OK ? CMNewInstance(broker, op, nullptr) : nullptr;
  CMRelease(op);
  if (inst == nullptr) return rc != CMPI_RC_OK ? rc : CMPI_RC_ERR_FAILED;
  while (rc == CMPI_RC_OK && !reader.atEnd()) {
    std::string name;
    CMPIType type = CMPI_null;
    std::optional<std::string> valueText;
    if (!readTriple(&reader, &name, &type, &valueText)) {
      rc = CMPI_RC_ERR_FAILED;
      break;
    }
    if (!valueText) {
      rc = CMSetProperty(inst, name.c_str(), nullptr, type).rc;
      continue;
    }
    CMPIValue value;
    rc = decodeValue(broker, type, *valueText, &value);
    if (rc != CMPI_RC_OK) break;
    rc = CMSetProperty(inst, name.c_str(), &value, type).rc;
    releaseValue(type, &value);
  }
  if (rc != CMPI_RC_OK) {
    CMRelease(inst);
    return rc;
  }
  out->inst = inst;
  return CMPI_RC_OK;
}

CMPIrc decodeArray(const CMPIBroker *broker, CMPIType type, const std::string &text,
                   CMPIValue *out) {
  const CMPIType element = static_cast<CMPIType>(type & kElementMask);
  std::vector<std::optional<std::string>> fields;
  if (!splitFields(text, &fields)) return CMPI_RC_ERR_FAILED;
  CMPIArray *array = CMNewArray(broker, static_cast<CMPICount>(fields.size()), element, nullptr);
  if (array == nullptr) return CMPI_RC_ERR_FAILED;
  for (size_t i = 0; i < fields.size(); ++i) {
    if (!fields[i]) continue;  // elements start null
    CMPIValue value;
    CMPIrc rc = decodeValue(broker, element, *fields[i], &value);
    if (rc == CMPI_RC_OK) {
      rc = CMSetArrayElementAt(array, static_cast<CMPICount>(i), &value, element).rc;
      releaseValue(element, &value);
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

void releaseValue(CMPIType type, CMPIValue *value) {
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

void releaseData(CMPIData data) {
  const CMPIValueState state = data.state;
  CMPIValue value = data.value;
  if ((state & CMPI_nullValue) == 0) releaseValue(data.type, &value);
}

CMPIrc encodeValue(const CMPIBroker *broker, CMPIType target, CMPIType type, const CMPIValue *value,
                   std::string *text) {
  type = storedType(type);
  target = storedType(target);
  text->clear();
  if ((target & CMPI_ARRAY) != 0) {
    if ((type & CMPI_ARRAY) == 0) return CMPI_RC_ERR_TYPE_MISMATCH;
    if (value->array == nullptr) return CMPI_RC_ERR_INVALID_PARAMETER;
    return encodeArray(broker, target, value->array, text);
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
      const char *chars = textOf(type, value);
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
      if (!readNumber(type, value, &number)) return CMPI_RC_ERR_TYPE_MISMATCH;
      return numberText(target, number, text);
    case CMPI_string: {
      if (type != CMPI_string) return CMPI_RC_ERR_TYPE_MISMATCH;
      const char *chars = textOf(type, value);
      if (chars == nullptr) return CMPI_RC_ERR_INVALID_PARAMETER;
      *text = chars;
      return CMPI_RC_OK;
    }
    case CMPI_dateTime: {
      CMPIDateTime *made = nullptr;
      const CMPIDateTime *dt = nullptr;
      if (type == CMPI_dateTime) {
        dt = value->dateTime;
      } else if (const char *chars = textOf(type, value)) {
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
      return appendPath(broker, value->ref, false, text);
    case CMPI_instance:
      if (type != CMPI_instance) return CMPI_RC_ERR_TYPE_MISMATCH;
      if (value->inst == nullptr) return CMPI_RC_ERR_INVALID_PARAMETER;
      return encodeInstance(broker, value->inst, text);
    default:
      return CMPI_RC_ERR_TYPE_MISMATCH;
  }
}

CMPIrc decodeValue(const CMPIBroker *broker, CMPIType type, const std::string &text,
                   CMPIValue *value) {
  if ((type & CMPI_ARRAY) != 0) return decodeArray(broker, storedType(type), text, value);
  unsigned long long u = 0;
  long long s = 0;
  double r = 0;
  long long min = 0;
  unsigned long long max = 0;
  switch (storedType(type)) {
    case CMPI_boolean:
      if (text != "true" && text != "false") return CMPI_RC_ERR_FAILED;
      value->boolean = text == "true" ? 1 : 0;
      return CMPI_RC_OK;
    case CMPI_char16:
      if (!readUnsigned(text, USHRT_MAX, &u)) return CMPI_RC_ERR_FAILED;
      value->char16 = static_cast<CMPIChar16>(u);
      return CMPI_RC_OK;
    case CMPI_uint8:
    case CMPI_uint16:
    case CMPI_uint32:
    case CMPI_uint64:
      integerRange(type, &min, &max);
      if (!readUnsigned(text, max, &u)) return CMPI_RC_ERR_FAILED;
      if (type == CMPI_uint8) value->uint8 = static_cast<CMPIUint8>(u);
      if (type == CMPI_uint16) value->uint16 = static_cast<CMPIUint16>(u);
      if (type == CMPI_uint32) value->uint32 = static_cast<CMPIUint32>(u);
      if (type == CMPI_uint64) value->uint64 = u;
      return CMPI_RC_OK;
    case CMPI_sint8:
    case CMPI_sint16:
    case CMPI_sint32:
    case CMPI_sint64:
      integerRange(type, &min, &max);
      if (!readSigned(text, min, static_cast<long long>(max), &s)) return CMPI_RC_ERR_FAILED;
      if (type == CMPI_sint8) value->sint8 = static_cast<CMPISint8>(s);
      if (type == CMPI_sint16) value->sint16 = static_cast<CMPISint16>(s);
      if (type == CMPI_sint32) value->sint32 = static_cast<CMPISint32>(s);
      if (type == CMPI_sint64) value->sint64 = s;
      return CMPI_RC_OK;
    case CMPI_real32: {
      float f = 0;
      if (!readReal32(text, &f)) return CMPI_RC_ERR_FAILED;
      value->real32 = f;
      return CMPI_RC_OK;
    }
    case CMPI_real64:
      if (!readReal(text, &r)) return CMPI_RC_ERR_FAILED;
      value->real64 = r;
      return CMPI_RC_OK;
    case CMPI_string:
      value->string = CMNewString(broker, text.c_str(), nullptr);
      return value->string != nullptr ? CMPI_RC_OK : CMPI_RC_ERR_FAILED;
    case CMPI_dateTime:
      value->dateTime = CMNewDateTimeFromChars(broker, text.c_str(), nullptr);
      return value->dateTime != nullptr ? CMPI_RC_OK : CMPI_RC_ERR_FAILED;
    case CMPI_ref:
      return decodeRef(broker, text, value);
    case CMPI_instance:
      return decodeInstance(broker, text, value);
    default:
      return CMPI_RC_ERR_FAILED;
  }
}

}  // namespace demo
