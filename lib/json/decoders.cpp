// Value objects back into CMPI data: method arguments, instance properties and array elements.
//
// Ownership on this platform: CMAddArg, CMSetProperty and CMSetArrayElementAt copy what they are
// given (a deep copy of arrays, paths, date-times, strings and instances). Every object that a
// decoder makes for one value is therefore its own to release once the add or set has been
// made, whatever its outcome, and also when a JSON conversion throws half-way; the Owned holder
// below does that. Only the new argument list and the new instance of createCMArgs and
// createCMInst stay alive: they are stored in the record, which owns them.
//
// JSON conversions: a member of the wrong JSON type (a string where a number is expected, an
// array where an object is expected, ...) makes jsoncpp's accessors throw; the decoders let that
// exception pass to their caller, with nothing of their own left behind.
#include "json/decoders.h"

#include <cmpimacs.h>
#include <strings.h>

#include <cstring>
#include <string>
#include <vector>

#include "json/key_text.h"
#include "log/log.h"

namespace {

constexpr const char kAdd2CMPIArgs[] = "Add2CMPIArgs";
constexpr const char kSetCMArrayElement[] = "setCMArrayElement";

// Holds one object made by the object library and releases it through its own function table
// when the scope ends.
template <typename Object>
class Owned {
 public:
  explicit Owned(Object *object = nullptr) : object_(object) {}
  ~Owned() {
    if (object_ != nullptr) CMRelease(object_);
  }
  Owned(const Owned &) = delete;
  Owned &operator=(const Owned &) = delete;

  Object *get() const { return object_; }

 private:
  Object *object_;
};

// Log lines print a missing name as "(null)".
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
CMPIType type_of(const Json::Value &valueObject) {
  return static_cast<CMPIType>(valueObject["DataType"].asLargestUInt() & 0xFFFFu);
}

CMPIValueState state_of(const Json::Value &valueObject) {
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

// One integer of the given code from the unsigned 64-bit number, truncated to the code's width
// (which restores the sign of a negative number written as its unsigned form), with the failure
// numbers of its add and set calls. False for a code that is not one of the eight integers.
struct IntegerSite {
  int add_line;
  int set_line;
  int element_line;
};

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

bool is_integer_type(CMPIType type) {
  CMPIValue value = zero_value();
  IntegerSite site = {0, 0, 0};
  return integer_value(type, 0, &value, &site);
}

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

// Array values (the type carries CMPI_ARRAY; it keeps the flag when added or set).
unsigned int decode_array(CMPIArgs *args, CMPIInstance *instance, const char *name,
                          const Json::Value &valueObject, CMPIType type, int kind) {
  const CMPIType elementType = static_cast<CMPIType>(type & ~CMPI_ARRAY);
  const Json::Value &entries = valueObject["Value"];
  if (kind == MODIFYINST && entries.isNull()) {
    // A null array property; for arguments a null array is dropped below (no entries).
    if (set_property(instance, name, nullptr, type) != CMPI_RC_OK) {
      CMPIU_ERROR_AT(kAdd2CMPIArgs, 1359, "'CMSetProperty failed for '%s' '", printable(name));
      return 1;
    }
    return 0;
  }
  const Json::ArrayIndex count = entries.size();
  if (count == 0) {
    CMPIU_TRACE("INFO: Args have empty array");
    return 0;
  }

  CMPIStatus status = {CMPI_RC_OK, nullptr};
  const Owned<CMPIArray> array(makeNewCMPIArray(count, elementType, &status));
  if (array.get() == nullptr || status.rc != CMPI_RC_OK) {
    CMPIU_ERROR_AT(kAdd2CMPIArgs, 1372, "'makeNewCMPIArray failed'");
    return 1;
  }
  if ((setCMArrayElement(array.get(), valueObject, elementType) & 1u) != 0) {
    CMPIU_ERROR_AT(kAdd2CMPIArgs, 1376, "'setCMArrayElement failed'");
    return 1;
  }

  CMPIValue value = zero_value();
  value.array = array.get();
  const CMPIrc rc = (kind == INVOKEMETHOD) ? add_arg(args, name, &value, type)
                                           : set_property(instance, name, &value, type);
  // The status tested is the failed call's own, never CMPI_RC_OK, so the INFO forms of these two
  // lines cannot appear; they are kept with the rule all the same.
  if (rc != CMPI_RC_OK) {
    const bool go_on = (kind == INVOKEMETHOD)
                           ? CMPIU_STATUS_RULE(rc, kAdd2CMPIArgs, 1383,
                                               "'CMAddArg failed for '%s' '", printable(name))
                           : CMPIU_STATUS_RULE(rc, kAdd2CMPIArgs, 1389,
                                               "'CMSetProperty failed for '%s' '", printable(name));
    if (!go_on) return 1;
  }
  return 0;
}

// A new instance of the class and namespace of an embedded-instance object (no status is asked
// for). NULL when either factory gives nothing.
CMPIInstance *new_embedded_instance(const Json::Value &embedded) {
  const std::string className = embedded["ClassName"].asString();
  const std::string nameSpace = embedded["NameSpace"].asString();
  // The instance copies the path, so the path goes at once.
  const Owned<CMPIObjectPath> path(
      makeNewObjectPath(nameSpace.c_str(), className.c_str(), nullptr));
  return makeNewCMPIInstance(path.get(), nullptr);
}

// Scalar embedded instance (CMPI_instance): "CMPIInstance" holds the embedded-instance object.
unsigned int decode_embedded(CMPIArgs *args, CMPIInstance *instance, const char *name,
                             const Json::Value &valueObject, int kind) {
  const Json::Value &embedded = valueObject["CMPIInstance"];
  const Owned<CMPIInstance> newInstance(new_embedded_instance(embedded));
  if (newInstance.get() == nullptr) return 1;

  const Json::Value &properties = embedded["InstanceProps"];
  for (const std::string &member : properties.getMemberNames()) {
    const unsigned int result =
        Add2CMPIArgs(nullptr, newInstance.get(), member.c_str(), properties[member], MODIFYINST);
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
unsigned int decode_reference(CMPIArgs *args, CMPIInstance *instance, const char *name,
                              const Json::Value &valueObject, int kind) {
  const Json::Value &reference = valueObject["Value"];
  const std::string className = reference["ClassName"].asString();
  const std::string nameSpace = reference["NameSpace"].asString();
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
unsigned int decode_date_time(CMPIArgs *args, CMPIInstance *instance, const char *name,
                              const Json::Value &valueObject, int kind) {
  const std::string text = valueObject["Value"].asString();
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
unsigned int decode_text(CMPIArgs *args, CMPIInstance *instance, const char *name,
                         const Json::Value &valueObject, int kind) {
  const std::string text = valueObject["Value"].asString();
  const bool is_null = (kind == INVOKEMETHOD) ? strcasecmp(text.c_str(), "NULL") == 0
                                              : std::strcmp(text.c_str(), "NULL") == 0;
  const char *chars = is_null ? nullptr : text.c_str();
  return add_or_set(args, instance, name, chars_value(chars), CMPI_chars, kind, 1483, 1492);
}

// Booleans and char16 (bit CMPI_SIMPLE). Only boolean properties are set: boolean arguments and
// char16 values are left out on purpose; existing peers expect exactly that.
unsigned int decode_simple(CMPIInstance *instance, const char *name, const Json::Value &valueObject,
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
unsigned int decode_integer(CMPIArgs *args, CMPIInstance *instance, const char *name,
                            const Json::Value &valueObject, CMPIType type, CMPIValueState state,
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
unsigned int decode_real(CMPIArgs *args, CMPIInstance *instance, const char *name,
                         const Json::Value &valueObject, CMPIType type, int kind) {
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

// Every failure of setCMArrayElement that has no text of its own.
unsigned int element_failed(int line) {
  CMPIU_ERROR_AT(kSetCMArrayElement, line, "'CMSetArrayElementAt failed");
  return 1;
}

// Sets element index of array from one entry of an array of embedded instances. An instance
// that cannot be made leaves the element unset.
unsigned int set_instance_element(CMPIArray *array, CMPICount index, const Json::Value &entry) {
  const Owned<CMPIInstance> newInstance(new_embedded_instance(entry));
  if (newInstance.get() == nullptr) return 0;
  const Json::Value &properties = entry["InstanceProps"];
  for (const std::string &member : properties.getMemberNames()) {
    if ((Add2CMPIArgs(nullptr, newInstance.get(), member.c_str(), properties[member], MODIFYINST) &
         1u) != 0) {
      CMPIU_ERROR_AT(kSetCMArrayElement, 1164, "'Add2CMPIArgs failed'");
      return 1;
    }
  }
  CMPIValue value = zero_value();
  value.inst = newInstance.get();
  if (set_element(array, index, &value, CMPI_instance) != CMPI_RC_OK) {
    CMPIU_ERROR_AT(kSetCMArrayElement, 1170,
                   "'CMSetArrayElementAt failed to add INST to index '%d''",
                   static_cast<int>(index));
    return 1;
  }
  return 0;
}

// Sets element index from one entry of an array whose element type has bit CMPI_ENC.
unsigned int set_encapsulated_element(CMPIArray *array, CMPICount index, const Json::Value &entry,
                                      CMPIType elementType) {
  switch (elementType) {
    case CMPI_chars: {
      const std::string text = entry.asString();
      if (set_element(array, index, chars_value(text.c_str()), CMPI_chars) != CMPI_RC_OK) {
        CMPIU_ERROR_AT(kSetCMArrayElement, 1185,
                       "'CMSetArrayElementAt failed to add '%s' to index '%d''", text.c_str(),
                       static_cast<int>(index));
        return 1;
      }
      return 0;
    }
    case CMPI_instance:
      return set_instance_element(array, index, entry);
    case CMPI_string:
    case CMPI_booleanString:
    case CMPI_numericString:
    case CMPI_dateTimeString: {
      const std::string text = entry.asString();
      if (strcasecmp(text.c_str(), "NULL") == 0) {
        (void)set_element(array, index, nullptr, CMPI_chars);  // outcome not examined
        return 0;
      }
      CMPIStatus status = {CMPI_RC_OK, nullptr};
      const Owned<CMPIString> string(CreateString(text.c_str(), &status));
      if (string.get() == nullptr || status.rc != CMPI_RC_OK) {
        CMPIU_ERROR_AT(kSetCMArrayElement, 1199, "'CreateString failed");
        return 1;
      }
      CMPIValue value = zero_value();
      value.string = string.get();
      if (set_element(array, index, &value, CMPI_string) != CMPI_RC_OK) return element_failed(1205);
      return 0;
    }
    case CMPI_dateTime: {
      const std::string text = entry.asString();
      CMPIStatus status = {CMPI_RC_OK, nullptr};
      const Owned<CMPIDateTime> dateTime(makeNewCMPIDateTimeFromChars(text.c_str(), &status));
      if (dateTime.get() == nullptr || status.rc != CMPI_RC_OK) {
        CMPIU_ERROR_AT(kSetCMArrayElement, 1214, "'makeNewCMPIDateTimeFromChars failed");
        return 1;
      }
      CMPIValue value = zero_value();
      value.dateTime = dateTime.get();
      if (set_element(array, index, &value, CMPI_dateTime) != CMPI_RC_OK) {
        return element_failed(1220);
      }
      return 0;
    }
    default:
      // References among others: peers drop them, the element stays unset.
      return 0;
  }
}

}  // namespace

unsigned int Add2CMPIArgs(CMPIArgs *args, CMPIInstance *instance, const char *name,
                          Json::Value valueObject, int kind) {
  // Read through a const reference: jsoncpp's non-const operator[] would add members.
  const Json::Value &object = valueObject;
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

unsigned int setCMArrayElement(CMPIArray *array, Json::Value valueObject, CMPIType elementType) {
  const Json::Value &entries = static_cast<const Json::Value &>(valueObject)["Value"];
  for (Json::ArrayIndex i = 0; i < entries.size(); ++i) {
    const Json::Value &entry = entries[i];
    const CMPICount index = static_cast<CMPICount>(i);
    if ((elementType & CMPI_ENC) != 0) {
      if (set_encapsulated_element(array, index, entry, elementType) != 0) return 1;
      continue;
    }
    if (elementType == CMPI_boolean) {
      CMPIValue value = zero_value();
      value.boolean = strcasecmp(entry.asString().c_str(), "true") == 0 ? 1 : 0;
      if (set_element(array, index, &value, CMPI_boolean) != CMPI_RC_OK) {
        return element_failed(1232);
      }
      continue;
    }
    if (elementType == CMPI_char16) continue;  // char16 elements stay unset
    if ((elementType & CMPI_INTEGER) != 0) {
      if (!is_integer_type(elementType)) continue;
      CMPIValue value = zero_value();
      IntegerSite site = {0, 0, 0};
      integer_value(elementType, entry.asLargestUInt(), &value, &site);
      if (set_element(array, index, &value, elementType) != CMPI_RC_OK) {
        return element_failed(site.element_line);
      }
      continue;
    }
    if (elementType == CMPI_real32) {
      CMPIValue value = zero_value();
      value.real32 = static_cast<CMPIReal32>(entry.asDouble());
      if (set_element(array, index, &value, CMPI_real32) != CMPI_RC_OK) {
        return element_failed(1306);
      }
      continue;
    }
    if (elementType == CMPI_real64) {
      CMPIValue value = zero_value();
      value.real64 = entry.asDouble();
      if (set_element(array, index, &value, CMPI_real64) != CMPI_RC_OK) {
        return element_failed(1313);
      }
      continue;
    }
    // Every other element type: unset.
  }
  return 0;
}

unsigned int createCMArgs(ClientReq *request, ServerResp *response, const Json::Value &document) {
  // Read in place: the document outlives the walk, and copying the container costs more than
  // decoding a small one.
  const Json::Value &arguments = document["ArgsIn"];
  const std::vector<std::string> names = arguments.getMemberNames();

  CMPIStatus status = {CMPI_RC_OK, nullptr};
  CMPIArgs *list = makeNewCMPIArgs(&status);
  if (list == nullptr || status.rc != CMPI_RC_OK) {
    if (list != nullptr) CMRelease(list);
    CMPIU_ERROR_AT(__func__, 1979, "'makeNewCMPIArgs failed'");
    return 1;
  }
  // With no record to keep it, the list is only decoded into and released again.
  const Owned<CMPIArgs> unkept((request == nullptr && response == nullptr) ? list : nullptr);
  if (request != nullptr) {
    request->ArgsIn = list;
  } else if (response != nullptr) {
    response->retVal.args = list;
  }

  for (const std::string &name : names) {
    CMPIU_TRACE("INFO: name = '%s'", name.c_str());
    if ((Add2CMPIArgs(list, nullptr, name.c_str(), arguments[name], INVOKEMETHOD) & 1u) != 0) {
      CMPIU_ERROR_AT(__func__, 1990, "'Add2CMPIArgs failed'");
      return 1;
    }
  }
  return 0;
}

unsigned int createCMInst(ClientReq *request, ServerResp *response, const Json::Value &document) {
  // Read in place, as in createCMArgs.
  const Json::Value &properties = document["InstanceProps"];
  const std::vector<std::string> names = properties.getMemberNames();

  CMPIObjectPath *path = nullptr;
  if (request != nullptr) {
    path = request->COP;
  } else if (response != nullptr) {
    path = response->objectPath;
  }
  CMPIStatus status = {CMPI_RC_OK, nullptr};
  CMPIInstance *instance = makeNewCMPIInstance(path, &status);
  const CMPIrc made = status.rc;
  if (made != CMPI_RC_OK && instance != nullptr) {
    CMRelease(instance);
    instance = nullptr;
  }
  if ((made != CMPI_RC_OK || instance == nullptr) &&
      !CMPIU_STATUS_RULE(made, __func__, 1809, "'makeNewCMPIInstance failed'")) {
    return 1;
  }
  // A NULL instance that came with a success status is stored as it is and decoding goes on.
  if (request != nullptr) {
    request->CI = instance;
  } else if (response != nullptr) {
    response->instance = instance;
  }
  if (names.empty()) return 0;

  for (const std::string &name : names) {
    CMPIU_TRACE("property = %s", name.c_str());
    const Json::Value &property = properties[name];
    // A result instance keeps its key properties: each one met is put into the instance's key
    // filter (a property list of none, a key list of this one name).
    if (request == nullptr && response != nullptr && response->instance != nullptr &&
        state_of(property) == CMPI_keyValue) {
      CMPIU_TRACE("%s: key Property to be set %s", __func__, name.c_str());
      const char *keys[] = {name.c_str(), nullptr};
      CMSetPropertyFilter(response->instance, nullptr, keys);
    }
    if ((Add2CMPIArgs(nullptr, instance, name.c_str(), property, MODIFYINST) & 1u) != 0) {
      CMPIU_ERROR_AT(__func__, 1827, "'Add2CMPIArgs failed'");
      return 1;
    }
  }
  return 0;
}
