// decoders_arrays.cpp - array values back into CMPI data: an array argument or property
// (decode_array) and the elements of an array (setCMArrayElement).
//
// Ownership is as in decoders_scalars.cpp: each array, string, date-time and embedded instance
// made here is copied when it is added or set, and released by its Owned holder.
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

// Array values (the type carries CMPI_ARRAY; it keeps the flag when added or set).
template <typename Node>
unsigned int decode_array(CMPIArgs *args, CMPIInstance *instance, const char *name,
                          const Node &valueObject, CMPIType type, int kind) {
  const CMPIType elementType = static_cast<CMPIType>(type & ~CMPI_ARRAY);
  const auto &entries = valueObject["Value"];
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
  if ((fill_array(array.get(), valueObject, elementType) & 1u) != 0) {
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

}  // namespace json_decoding

namespace {

using namespace json_decoding;

// Every failure of setCMArrayElement that has no text of its own.
unsigned int element_failed(int line) {
  CMPIU_ERROR_AT(kSetCMArrayElement, line, "'CMSetArrayElementAt failed");
  return 1;
}

// Sets element index of array from one entry of an array of embedded instances. An instance
// that cannot be made leaves the element unset.
template <typename Node>
unsigned int set_instance_element(CMPIArray *array, CMPICount index, const Node &entry) {
  const Owned<CMPIInstance> newInstance(new_embedded_instance(entry));
  if (newInstance.get() == nullptr) return 0;
  const auto &properties = entry["InstanceProps"];
  require_members(properties);
  for (auto it = properties.begin(); it != properties.end(); ++it) {
    if ((decode_value_object(nullptr, newInstance.get(), it.name().c_str(), *it, MODIFYINST) &
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
template <typename Node>
unsigned int set_encapsulated_element(CMPIArray *array, CMPICount index, const Node &entry,
                                      CMPIType elementType) {
  switch (elementType) {
    case CMPI_chars: {
      const auto text = entry.asString();
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
      const auto text = entry.asString();
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
      const auto text = entry.asString();
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

unsigned int setCMArrayElement(CMPIArray *array, Json::Value valueObject, CMPIType elementType) {
  return fill_array(array, valueObject, elementType);
}

template <typename Node>
unsigned int json_decoding::fill_array(CMPIArray *array, const Node &valueObject,
                                       CMPIType elementType) {
  const auto &entries = valueObject["Value"];
  for (Json::ArrayIndex i = 0; i < entries.size(); ++i) {
    const auto &entry = entries[i];
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

// The two document types the decoders read.
namespace json_decoding {
template unsigned int decode_array<Json::Value>(CMPIArgs *, CMPIInstance *, const char *,
                                                const Json::Value &, CMPIType, int);
template unsigned int decode_array<cmpiutility::FrameNode>(CMPIArgs *, CMPIInstance *,
                                                           const char *,
                                                           const cmpiutility::FrameNode &,
                                                           CMPIType, int);
template unsigned int fill_array<Json::Value>(CMPIArray *, const Json::Value &, CMPIType);
template unsigned int fill_array<cmpiutility::FrameNode>(CMPIArray *,
                                                         const cmpiutility::FrameNode &, CMPIType);
}  // namespace json_decoding
