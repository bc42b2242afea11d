// CMPI data into value objects: instance properties, method arguments, and the "Value" of one
// scalar, reference or array.
#include "json/encoders.h"
#include "json/member_names.h"

#include <cmpimacs.h>
#include <strings.h>

#include <cstdlib>
#include <utility>

#include "json/embedded_instance.h"
#include "json/fetched.h"
#include "json/key_stream.h"
#include "json/reference_keys.h"
#include "log/log.h"

namespace {

using cmpiutility::chars_of;
using cmpiutility::Embedded;
using cmpiutility::Fetched;
using cmpiutility::encode_embedded;

Json::Value unsigned_value(unsigned long long number) {
  return Json::Value(static_cast<Json::UInt64>(number));
}

// Writes reference["key"] from the keys of path; 0, or 1 after 'unable to get the key' (471).
unsigned int write_reference_keys(CMPIObjectPath *path, Json::Value &reference) {
  std::string text;
  bool has_keys = false;
  if (cmpiutility::reference_key_text(path, &text, &has_keys) != 0) return 1;
  reference[cmpiutility::member::kKey] = has_keys ? Json::Value(text) : Json::Value();
  return 0;
}

}  // namespace

void getCMPIArgs(CMPIType type, const char *text, Json::Value &valueObject) {
  if (text == nullptr || type == CMPI_null) {
    valueObject[cmpiutility::member::kValue] = Json::Value();
    return;
  }
  // The families are tested in this order; the first that matches decides.
  if ((type & CMPI_ENC) != 0) {
    switch (type) {
      case CMPI_string:
      case CMPI_booleanString:
      case CMPI_numericString:
      case CMPI_chars:
      case CMPI_dateTime:
      case CMPI_dateTimeString:
        valueObject[cmpiutility::member::kValue] = text;
        break;
      default:
        break;  // other encapsulated codes carry no "Value"
    }
    return;
  }
  if ((type & CMPI_SIMPLE) != 0) {
    // Boolean only; char16 carries no "Value".
    if (type == CMPI_boolean) valueObject[cmpiutility::member::kValue] = unsigned_value(strcasecmp(text, "true") == 0);
    return;
  }
  if ((type & CMPI_INTEGER) != 0) {
    // Every integer is written as the unsigned 64-bit form of its signed value: -1 is
    // 18446744073709551615; readers truncate to the width, which restores the sign.
    valueObject[cmpiutility::member::kValue] =
        unsigned_value(static_cast<unsigned long long>(strtoll(text, nullptr, 10)));
    return;
  }
  if ((type & CMPI_REAL) != 0) {
    // real64 goes through single precision as well: peers expect exactly that value (0.1 is
    // written as the double nearest to the float 0.1).
    if (type == CMPI_real32 || type == CMPI_real64) {
      valueObject[cmpiutility::member::kValue] = static_cast<double>(strtof(text, nullptr));
    }
    return;
  }
}

unsigned int getCMPIArgsRef(CMPIData data, Json::Value &valueObject) {
  // A reference without a path has no namespace either.
  CMPIObjectPath *path = data.value.ref;
  Json::Value reference(Json::objectValue);
  unsigned int result = 0;
  CMPIString *name_space = (path != nullptr) ? CMGetNameSpace(path, nullptr) : nullptr;
  CMPIString *class_name = nullptr;
  if (chars_of(name_space) == nullptr) {
    CMPIU_ERROR_AT(__func__, 442, "'namespace is NULL'");
    result = 1;
  } else {
    class_name = CMGetClassName(path, nullptr);
    if (chars_of(class_name) == nullptr) {
      CMPIU_ERROR_AT(__func__, 445, "'classname is NULL'");
      result = 1;
    }
  }
  if (result == 0) {
    reference[cmpiutility::member::kClassName] = chars_of(class_name);
    reference[cmpiutility::member::kNameSpace] = chars_of(name_space);
    result = write_reference_keys(path, reference);
  }
  // Whatever the outcome, "Value" holds the reference object as far as it was built.
  valueObject[cmpiutility::member::kValue] = reference;
  if (class_name != nullptr) CMRelease(class_name);
  if (name_space != nullptr) CMRelease(name_space);
  return result;
}

unsigned int getCMPIArgsArray(CMPIData data, Json::Value &valueObject) {
  // A missing array cannot tell its size: that is reported as the failed size query.
  CMPIArray *array = data.value.array;
  CMPIStatus status = {CMPI_RC_OK, nullptr};
  const CMPICount count = (array != nullptr) ? CMGetArrayCount(array, &status) : 0;
  if (array == nullptr || status.rc != CMPI_RC_OK) {
    CMPIU_ERROR_AT(__func__, 358, "'Unable to get size of array' ");
    return 1;
  }
  if (count == 0) {
    CMPIU_TRACE("INFO: No array associated to the request'");
    return 0;
  }

  // "Value" comes into being with its first entry, so arrays whose elements append nothing
  // (booleans, char16, reals) get no "Value" at all.
  for (CMPICount index = 0; index < count; ++index) {
    status = CMPIStatus{CMPI_RC_OK, nullptr};
    const CMPIData element = CMGetArrayElementAt(array, index, &status);
    const Fetched fetched(nullptr, element);
    if (status.rc != CMPI_RC_OK) {
      // The element fetch reuses the size message; peers match on it.
      CMPIU_ERROR_AT(__func__, 370, "'Unable to get size of array' ");
      return 1;
    }
    const CMPIType type = element.type;
    const CMPIValue value = element.value;
    if (type != CMPI_instance) {
      char *text = value2Chars(type, &value);
      if (text == nullptr) {
        CMPIU_ERROR_AT(__func__, 403, "'value2Chars failed' ");
        return 1;
      }
      if ((type & CMPI_INTEGER) != 0) {
        valueObject[cmpiutility::member::kValue].append(
            unsigned_value(static_cast<unsigned long long>(strtoll(text, nullptr, 10))));
      } else if ((type & CMPI_ENC) != 0) {
        valueObject[cmpiutility::member::kValue].append(text);
      }
      free(text);
      continue;
    }
    Json::Value embedded;
    switch (encode_embedded(value.inst, &embedded)) {
      case Embedded::kDone:
        valueObject[cmpiutility::member::kValue].append(std::move(embedded));
        break;
      case Embedded::kNoScratch:
        return 1;
      case Embedded::kNullInstance:
      case Embedded::kPropsFailed:
        CMPIU_ERROR_AT(__func__, 396, "'getInstanceProps failed'");
        return 1;
    }
  }
  return 0;
}

unsigned int getInstanceProps(ClientReq *request, ServerResp *response, Json::Value &target) {
  CMPIInstance *instance = nullptr;
  if (request != nullptr) {
    instance = request->CI;
  } else if (response != nullptr) {
    instance = response->instance;
  }
  if (instance == nullptr) {
    CMPIU_ERROR_AT(__func__, 516, "'Instance is NULL'");
    return 1;
  }
  CMPIStatus status = {CMPI_RC_OK, nullptr};
  const CMPICount count = CMGetPropertyCount(instance, &status);
  if (status.rc != CMPI_RC_OK) {
    CMPIU_ERROR_AT(__func__, 521, "'CMGetPropertyCount issue'");
    return 1;
  }
  if (count == 0) {
    CMPIU_TRACE("INFO: 'No property is associated with the instance'");
    return 0;
  }
  CMPIU_TRACE("numproperties = %d", static_cast<int>(count));

  // The result of a walk that stops because the scratch record for an embedded instance cannot
  // be allocated: 1, cleared for good by any reference, array or embedded-instance property met
  // before. Peers know this outcome, so it is kept.
  unsigned int stopped_result = 1;
  Json::Value properties(Json::objectValue);
  for (CMPICount index = 0; index < count; ++index) {
    CMPIString *name = nullptr;
    status = CMPIStatus{CMPI_RC_OK, nullptr};
    const CMPIData data = CMGetPropertyAt(instance, index, &name, &status);
    const Fetched fetched(name, data);
    if (status.rc != CMPI_RC_OK) {
      CMPIU_ERROR_AT(__func__, 535, "'No property available at %d'", static_cast<int>(index));
      return 1;
    }
    // A property without a name cannot be stored under one; it is passed over.
    const char *property_name = chars_of(name);
    if (property_name == nullptr) continue;

    const CMPIType type = data.type;
    const CMPIValue value = data.value;
    Json::Value valueObject(Json::objectValue);
    if (type == CMPI_ref) {
      if (getCMPIArgsRef(data, valueObject) != 0) {
        CMPIU_ERROR_AT(__func__, 540, "'getCMPIArgsRef failed'");
        return 1;
      }
      stopped_result = 0;
    } else if ((type & CMPI_ARRAY) != 0) {
      if (value.array != nullptr) {
        if (getCMPIArgsArray(data, valueObject) != 0) {
          CMPIU_ERROR_AT(__func__, 547, "'getCMPIArgsArray failed'");
          return 1;
        }
      } else {
        valueObject[cmpiutility::member::kValue] = Json::Value();
      }
      stopped_result = 0;
    } else if (type == CMPI_instance) {
      Json::Value embedded;
      switch (encode_embedded(value.inst, &embedded)) {
        case Embedded::kDone:
          valueObject[cmpiutility::member::kEmbeddedInstance] = std::move(embedded);
          break;
        case Embedded::kNoScratch:
          return stopped_result;  // the walk stops; "InstanceProps" is not written
        case Embedded::kNullInstance:
        case Embedded::kPropsFailed:
          CMPIU_ERROR_AT(__func__, 568, "'getInstanceProps failed'");
          return 1;
      }
      stopped_result = 0;
    } else {
      char *text = value2Chars(type, &value);
      CMPIU_TRACE("'%s' valuestr = %s", __func__, text != nullptr ? text : "(null)");
      getCMPIArgs(type, text, valueObject);
      free(text);
    }
    valueObject[cmpiutility::member::kDataType] = unsigned_value(type);
    valueObject[cmpiutility::member::kDataState] = unsigned_value(data.state);
    properties[property_name] = std::move(valueObject);
  }
  target[cmpiutility::member::kInstanceProps] = std::move(properties);
  return 0;
}

unsigned int getArgs(ClientReq *request, ServerResp *response, Json::Value &target) {
  CMPIArgs *args = nullptr;
  if (request != nullptr) {
    args = request->ArgsIn;
  } else if (response != nullptr) {
    args = response->retVal.args;
  }
  // A missing argument list has no arguments.
  const CMPICount count = (args != nullptr) ? CMGetArgCount(args, nullptr) : 0;
  if (count == 0) return 0;

  for (CMPICount index = 0; index < count; ++index) {
    CMPIString *name = nullptr;
    CMPIStatus status = {CMPI_RC_OK, nullptr};
    const CMPIData data = CMGetArgAt(args, index, &name, &status);
    const Fetched fetched(name, data);
    if (status.rc != CMPI_RC_OK) {
      CMPIU_ERROR_AT(__func__, 706, "'CMGetArgAt failed'");
      return 1;
    }
    const char *argument_name = chars_of(name);
    if (argument_name == nullptr) continue;  // an argument without a name is skipped

    const CMPIType type = data.type;
    const CMPIValue value = data.value;
    Json::Value valueObject(Json::objectValue);
    if (type == CMPI_ref) {
      if (getCMPIArgsRef(data, valueObject) != 0) {
        CMPIU_ERROR_AT(__func__, 714, "'getCMPIArgsRef failed'");
        return 1;
      }
    } else if ((type & CMPI_ARRAY) != 0) {
      // Unlike properties there is no test for a missing array here: getCMPIArgsArray reports
      // it as a failed size query.
      if (getCMPIArgsArray(data, valueObject) != 0) {
        CMPIU_ERROR_AT(__func__, 718, "'getCMPIArgsArray failed'");
        return 1;
      }
    } else if (type == CMPI_instance) {
      Json::Value embedded;
      if (encode_embedded(value.inst, &embedded) != Embedded::kDone) {
        CMPIU_ERROR_AT(__func__, 746, "'getInstanceProps failed'");
        return 1;
      }
      valueObject[cmpiutility::member::kEmbeddedInstance] = std::move(embedded);
    } else {
      char *text = value2Chars(type, &value);
      getCMPIArgs(type, text, valueObject);
      free(text);
    }
    // Arguments carry no "DataState".
    valueObject[cmpiutility::member::kDataType] = unsigned_value(type);
    target["ArgsIn"][argument_name] = std::move(valueObject);
  }
  return 0;
}
