// decoders_scalars.cpp - one value object back into CMPI data (Add2CMPIArgs), the scalar
// decoders behind it, and the helpers the array and container decoders share.
//
// Ownership on this platform: CMAddArg, CMSetProperty and CMSetArrayElementAt copy what they are
// given (a deep copy of arrays, paths, date-times, strings and instances). Every object that a
// decoder makes for one value is therefore its own to release once the add or set has been
// made, whatever its outcome, and also when a JSON conversion throws half-way; the Owned holder
// (decoders_shared.h) does that. Only the new argument list and the new instance of createCMArgs and
// createCMInst stay alive: they are stored in the record, which owns them.
//
// JSON conversions: a member of the wrong JSON type (a string where a number is expected, an
// array where an object is expected, ...) makes jsoncpp's accessors throw; the decoders let that
// exception pass to their caller, with nothing of their own left behind.
#include <cmpimacs.h>
#include <strings.h>

#include <cstring>
#include <string>
#include <vector>

#include "json/decoders.h"
#include "json/decoders_shared.h"
#include "json/key_text.h"
#include "log/log.h"

namespace json_decoding {

const char *printable(const char *text) { return text != nullptr ? text : "(null)"; }

// For CMPI_chars the value pointer handed to a setter is the text itself (NULL: a null value).
const CMPIValue *chars_value(const char *text) { return reinterpret_cast<const CMPIValue *>(text); }

CMPIValue zero_value() {
  CMPIValue value;
  std::memset(&value, 0, sizeof(value));
  return value;
}

// The three setters with their status code. A missing target cannot take a value: that is
// reported as the object library reports an object without a handle, instead of calling through
// a NULL table.
CMPIrc add_arg(CMPIArgs *args, const char *name, const CMPIValue *value, CMPIType type) {
  if (args == nullptr) return CMPI_RC_ERR_INVALID_HANDLE;
  const CMPIStatus status = CMAddArg(args, name, value, type);
  return status.rc;
}

CMPIrc set_property(CMPIInstance *instance, const char *name, const CMPIValue *value,
                    CMPIType type) {
  if (instance == nullptr) return CMPI_RC_ERR_INVALID_HANDLE;
  const CMPIStatus status = CMSetProperty(instance, name, value, type);
  return status.rc;
}

CMPIrc set_element(CMPIArray *array, CMPICount index, const CMPIValue *value, CMPIType type) {
  if (array == nullptr) return CMPI_RC_ERR_INVALID_HANDLE;
  const CMPIStatus status = CMSetArrayElementAt(array, index, value, type);
  return status.rc;
}

// "DataType" and "DataState" are read unsigned; both are 16-bit codes.
template <typename Node>
CMPIType type_of(const Node &valueObject) {
  return static_cast<CMPIType>(valueObject["DataType"].asLargestUInt() & 0xFFFFu);
}

template <typename Node>
CMPIValueState state_of(const Node &valueObject) {
  return static_cast<CMPIValueState>(valueObject["DataState"].asLargestUInt() & 0xFFFFu);
}

// The codes read as text: CMPI_string, the two other codes that differ from it in bit 1 only
// or in its numeric bits, CMPI_chars and the date-time text code.
bool is_text_type(CMPIType type) {
  switch (type) {
    case CMPI_string:
    case CMPI_booleanString:
    case CMPI_numericString:
    case CMPI_chars:
    case CMPI_dateTimeString:
      return true;
    default:
      return false;
  }
}


bool integer_value(CMPIType type, Json::UInt64 number, CMPIValue *value, IntegerSite *site) {
  switch (type) {
    case CMPI_uint8:
      value->uint8 = static_cast<CMPIUint8>(number);
      *site = {1573, 1578, 1247};
      return true;
    case CMPI_sint8:
      value->sint8 = static_cast<CMPISint8>(number);
      *site = {1587, 1592, 1254};
      return true;
    case CMPI_uint16:
      value->uint16 = static_cast<CMPIUint16>(number);
      *site = {1601, 1606, 1261};
      return true;
    case CMPI_sint16:
      value->sint16 = static_cast<CMPISint16>(number);
      *site = {1615, 1620, 1268};
      return true;
    case CMPI_uint32:
      value->uint32 = static_cast<CMPIUint32>(number);
      *site = {1629, 1634, 1275};
      return true;
    case CMPI_sint32:
      value->sint32 = static_cast<CMPISint32>(number);
      *site = {1643, 1648, 1282};
      return true;
    case CMPI_uint64:
      value->uint64 = static_cast<CMPIUint64>(number);
      *site = {1657, 1662, 1289};
      return true;
    case CMPI_sint64:
      value->sint64 = static_cast<CMPISint64>(number);
      *site = {1672, 1677, 1296};
      return true;
    default:
      return false;
  }
}


// A new instance of the class and namespace of an embedded-instance object (no status is asked
// for). NULL when either factory gives nothing.
template <typename Node>
CMPIInstance *new_embedded_instance(const Node &embedded) {
  const auto className = embedded["ClassName"].asString();
  const auto nameSpace = embedded["NameSpace"].asString();
  // The instance copies the path, so the path goes at once.
  const Owned<CMPIObjectPath> path(
      makeNewObjectPath(nameSpace.c_str(), className.c_str(), nullptr));
  return makeNewCMPIInstance(path.get(), nullptr);
}

}  // namespace json_decoding

namespace {

using namespace json_decoding;

// A value added as an argument (kind INVOKEMETHOD) or set as a property (any other kind), with
// the failure numbers of the two calls. The CMAddArg and CMSetProperty failure lines differ only
// in the call's name.
unsigned int add_or_set(CMPIArgs *args, CMPIInstance *instance, const char *name,
                        const CMPIValue *value, CMPIType type, int kind, int add_line,
                        int set_line) {
  if (kind == INVOKEMETHOD) {
    if (add_arg(args, name, value, type) != CMPI_RC_OK) {
      CMPIU_ERROR_AT(kAdd2CMPIArgs, add_line, "'CMAddArg failed for '%s' '", printable(name));
      return 1;
    }
    return 0;
  }
  if (set_property(instance, name, value, type) != CMPI_RC_OK) {
    CMPIU_ERROR_AT(kAdd2CMPIArgs, set_line, "'CMSetProperty failed for '%s' '", printable(name));
    return 1;
  }
  return 0;
}

// Scalar embedded instance (CMPI_instance): "CMPIInstance" holds the embedded-instance object.
template <typename Node>
unsigned int decode_embedded(CMPIArgs *args, CMPIInstance *instance, const char *name,
                             const Node &valueObject, int kind) {
  const auto &embedded = valueObject["CMPIInstance"];
  const Owned<CMPIInstance> newInstance(new_embedded_instance(embedded));
  if (newInstance.get() == nullptr) return 1;

  const auto &properties = embedded["InstanceProps"];
  require_members(properties);
  for (auto it = properties.begin(); it != properties.end(); ++it) {
    const unsigned int result =
        decode_value_object(nullptr, newInstance.get(), it.name().c_str(), *it, MODIFYINST);
    // Inside an instance property the embedded properties that fail are passed over.
    if (kind != MODIFYINST && (result & 1u) != 0) {
      CMPIU_ERROR_AT(kAdd2CMPIArgs, 1422, "'Add2CMPIArgs failed'");
      return 1;
    }
  }

  CMPIValue value = zero_value();
  value.inst = newInstance.get();
  if (kind == MODIFYINST) {
    // The outcome of setting an embedded instance as a property is not examined.
    (void)set_property(instance, name, &value, CMPI_instance);
    return 0;
  }
  if (add_arg(args, name, &value, CMPI_instance) != CMPI_RC_OK) {
    CMPIU_ERROR_AT(kAdd2CMPIArgs, 1432, "'CMAddArg failed for '%s' '", printable(name));
    return 1;
  }
  return 0;
}

// Reference (CMPI_ref): "Value" is the reference object.
template <typename Node>
unsigned int decode_reference(CMPIArgs *args, CMPIInstance *instance, const char *name,
                              const Node &valueObject, int kind) {
  const auto &reference = valueObject["Value"];
  const auto className = reference["ClassName"].asString();
  const auto nameSpace = reference["NameSpace"].asString();
  CMPIStatus status = {CMPI_RC_OK, nullptr};
  const Owned<CMPIObjectPath> path(
      makeNewObjectPath(nameSpace.c_str(), className.c_str(), &status));
  const CMPIrc made = status.rc;
  if ((made != CMPI_RC_OK || path.get() == nullptr) &&
      !CMPIU_STATUS_RULE(made, kAdd2CMPIArgs, 1447, "'makeNewObjectPath failed'")) {
    return 1;
  }
  // The status examined after a key failure is still the path factory's, which succeeded by
  // now: a key failure is information only, and the reference is added all the same.
  if (addCMKey(path.get(), reference) != 0 &&
      !CMPIU_STATUS_RULE(made, kAdd2CMPIArgs, 1450, "'addCMKey failed'")) {
    return 1;
  }
  CMPIValue value = zero_value();
  value.ref = path.get();
  return add_or_set(args, instance, name, &value, CMPI_ref, kind, 1457, 1462);
}

// Date-time (CMPI_dateTime): "Value" is the CIM date-time text; an empty text is a null value.
template <typename Node>
unsigned int decode_date_time(CMPIArgs *args, CMPIInstance *instance, const char *name,
                              const Node &valueObject, int kind) {
  const auto text = valueObject["Value"].asString();
  CMPIU_TRACE("valstr.empty():%d", text.empty() ? 1 : 0);
  if (!text.empty()) {
    CMPIStatus status = {CMPI_RC_OK, nullptr};
    const Owned<CMPIDateTime> dateTime(makeNewCMPIDateTimeFromChars(text.c_str(), &status));
    if (status.rc != CMPI_RC_OK) {
      CMPIU_ERROR_AT(kAdd2CMPIArgs, 1507, "'makeNewCMPIDateTimeFromChars failed");
      return 1;
    }
    CMPIValue value = zero_value();
    value.dateTime = dateTime.get();
    return add_or_set(args, instance, name, &value, CMPI_dateTime, kind, 1513, 1518);
  }
  CMPIU_TRACE("data and time is NULL value ");
  // Here the test is made for a property: every kind but MODIFYINST adds an argument.
  if (kind == MODIFYINST) {
    if (set_property(instance, name, nullptr, CMPI_dateTime) != CMPI_RC_OK) {
      CMPIU_ERROR_AT(kAdd2CMPIArgs, 1528, "'CMSetProperty failed for '%s' '", printable(name));
      return 1;
    }
    return 0;
  }
  if (add_arg(args, name, nullptr, CMPI_dateTime) != CMPI_RC_OK) {
    CMPIU_ERROR_AT(kAdd2CMPIArgs, 1534, "'CMAddArg failed for '%s' '", printable(name));
    return 1;
  }
  return 0;
}

// Text codes: every one is stored as CMPI_chars. "NULL" is a null value: in any case for an
// argument, exactly "NULL" for a property.
template <typename Node>
unsigned int decode_text(CMPIArgs *args, CMPIInstance *instance, const char *name,
                         const Node &valueObject, int kind) {
  const auto text = valueObject["Value"].asString();
  const bool is_null = (kind == INVOKEMETHOD) ? strcasecmp(text.c_str(), "NULL") == 0
                                              : std::strcmp(text.c_str(), "NULL") == 0;
  const char *chars = is_null ? nullptr : text.c_str();
  return add_or_set(args, instance, name, chars_value(chars), CMPI_chars, kind, 1483, 1492);
}

// Booleans and char16 (bit CMPI_SIMPLE). Only boolean properties are set: boolean arguments and
// char16 values are left out on purpose; existing peers expect exactly that.
template <typename Node>
unsigned int decode_simple(CMPIInstance *instance, const char *name, const Node &valueObject,
                           CMPIType type, CMPIValueState state, int kind) {
  if (kind == MODIFYINST && state == CMPI_nullValue) {
    (void)set_property(instance, name, nullptr, type);  // outcome not examined
    return 0;
  }
  const Json::UInt64 number = valueObject["Value"].asLargestUInt();
  if (type == CMPI_boolean && kind == MODIFYINST) {
    CMPIValue value = zero_value();
    value.boolean = static_cast<CMPIBoolean>(number & 0xFFu);
    if (set_property(instance, name, &value, CMPI_boolean) != CMPI_RC_OK) {
      CMPIU_ERROR_AT(kAdd2CMPIArgs, 1553, "'CMSetProperty failed for '%s' '", printable(name));
      return 1;
    }
  }
  return 0;
}

// Integers (any bit of CMPI_INTEGER): "Value" unsigned, truncated to the type's width.
template <typename Node>
unsigned int decode_integer(CMPIArgs *args, CMPIInstance *instance, const char *name,
                            const Node &valueObject, CMPIType type, CMPIValueState state,
                            int kind) {
  if (kind == MODIFYINST && state == CMPI_nullValue) {
    (void)set_property(instance, name, nullptr, type);  // outcome not examined
    return 0;
  }
  if (!is_integer_type(type)) return 0;
  CMPIValue value = zero_value();
  IntegerSite site = {0, 0, 0};
  integer_value(type, valueObject["Value"].asLargestUInt(), &value, &site);
  return add_or_set(args, instance, name, &value, type, kind, site.add_line, site.set_line);
}

// Reals (bit CMPI_REAL): no null test, a null "Value" reads as 0.0.
template <typename Node>
unsigned int decode_real(CMPIArgs *args, CMPIInstance *instance, const char *name,
                         const Node &valueObject, CMPIType type, int kind) {
  CMPIValue value = zero_value();
  if (type == CMPI_real32) {
    value.real32 = static_cast<CMPIReal32>(valueObject["Value"].asDouble());
    return add_or_set(args, instance, name, &value, type, kind, 1691, 1696);
  }
  if (type == CMPI_real64) {
    value.real64 = valueObject["Value"].asDouble();
    return add_or_set(args, instance, name, &value, type, kind, 1705, 1710);
  }
  return 0;
}

}  // namespace

template <typename Node>
void json_decoding::require_members(const Node &container) {
  if (!container.isNull() && !container.isObject()) (void)container.getMemberNames();
}

unsigned int Add2CMPIArgs(CMPIArgs *args, CMPIInstance *instance, const char *name,
                          Json::Value valueObject, int kind) {
  return decode_value_object(args, instance, name, valueObject, kind);
}

// Read through a const reference: jsoncpp's non-const operator[] would add members.
template <typename Node>
unsigned int json_decoding::decode_value_object(CMPIArgs *args, CMPIInstance *instance,
                                                const char *name, const Node &object,
                                                int kind) {
  const CMPIType type = type_of(object);
  const CMPIValueState state = state_of(object);

  // The first family that matches decides.
  if ((type & CMPI_ARRAY) != 0) return decode_array(args, instance, name, object, type, kind);
  if (type == CMPI_instance) return decode_embedded(args, instance, name, object, kind);
  if (type == CMPI_ref) return decode_reference(args, instance, name, object, kind);
  if (type == CMPI_dateTime) return decode_date_time(args, instance, name, object, kind);
  if (is_text_type(type)) return decode_text(args, instance, name, object, kind);
  if ((type & CMPI_ENC) != 0) return 0;  // other encapsulated codes are not carried
  if ((type & CMPI_SIMPLE) != 0) return decode_simple(instance, name, object, type, state, kind);
  if ((type & CMPI_INTEGER) != 0) {
    return decode_integer(args, instance, name, object, type, state, kind);
  }
  if ((type & CMPI_REAL) != 0) return decode_real(args, instance, name, object, type, kind);

  // Type 0 and every code without the bits above: a null datum of type 0. Here the test is made
  // for a property: every kind but MODIFYINST adds an argument.
  if (kind == MODIFYINST) {
    if (set_property(instance, name, nullptr, CMPI_null) != CMPI_RC_OK) {
      CMPIU_ERROR_AT(kAdd2CMPIArgs, 1719, "'CMSetProperty failed for '%s' '", printable(name));
      return 1;
    }
    return 0;
  }
  if (add_arg(args, name, nullptr, CMPI_null) != CMPI_RC_OK) {
    CMPIU_ERROR_AT(kAdd2CMPIArgs, 1725, "'CMAddArg failed for '%s' '", printable(name));
    return 1;
  }
  return 0;
}

// The two document types the decoders read.
namespace json_decoding {
#define CMPIU_DECODERS_SCALARS_FOR(Node)                                                     \
  template CMPIType type_of<Node>(const Node &);                                             \
  template CMPIValueState state_of<Node>(const Node &);                                      \
  template CMPIInstance *new_embedded_instance<Node>(const Node &);                          \
  template void require_members<Node>(const Node &);                                         \
  template unsigned int decode_value_object<Node>(CMPIArgs *, CMPIInstance *, const char *,  \
                                                  const Node &, int);
CMPIU_DECODERS_SCALARS_FOR(Json::Value)
CMPIU_DECODERS_SCALARS_FOR(cmpiutility::FrameNode)
#undef CMPIU_DECODERS_SCALARS_FOR
}  // namespace json_decoding
