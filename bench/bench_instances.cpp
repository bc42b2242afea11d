// bench_instances.cpp - instances and documents for the benchmarks.
#include "bench_instances.h"

#include <cmpiinterface.h>
#include <cmpimacs.h>
#include <cmpiutility/records.h>
#include <cmpiutility/request.h>
#include <cmpiutility/response.h>
#include <stdio.h>
#include <stdlib.h>

namespace bench {

namespace {

constexpr Kind kCycle[] = {Kind::kString,      Kind::kUint32,     Kind::kUint64,   Kind::kSint32,
                           Kind::kBoolean,     Kind::kReal64,     Kind::kDateTime, Kind::kReference,
                           Kind::kUint32Array, Kind::kStringArray};

CMPIObjectPath *chassis_path(const std::string &tag) {
  CMPIObjectPath *path = makeNewObjectPath(kNameSpace, kReferencedClass, nullptr);
  CMAddKey(path, kReferencedKey, tag.c_str(), CMPI_chars);
  return path;
}

void set_uint32_array(CMPIInstance *inst, const char *name, const std::vector<uint32_t> &values) {
  CMPIArray *array = makeNewCMPIArray(0, CMPI_uint32, nullptr);
  CMPICount at = 0;
  for (uint32_t v : values) CMSetArrayElementAt(array, at++, &v, CMPI_uint32);
  CMSetProperty(inst, name, &array, CMPI_uint32A);
  CMRelease(array);
}

void set_string_array(CMPIInstance *inst, const char *name,
                      const std::vector<std::string> &values) {
  CMPIArray *array = makeNewCMPIArray(0, CMPI_string, nullptr);
  CMPICount at = 0;
  for (const std::string &v : values) CMSetArrayElementAt(array, at++, v.c_str(), CMPI_chars);
  CMSetProperty(inst, name, &array, CMPI_stringA);
  CMRelease(array);
}

}  // namespace

std::vector<Property> property_set(size_t count) {
  std::vector<Property> out;
  for (size_t i = 0; i < count; ++i) {
    char name[32];
    snprintf(name, sizeof name, "Prop%03zu", i);
    out.push_back({name, kCycle[i % (sizeof kCycle / sizeof kCycle[0])], static_cast<unsigned>(i)});
  }
  return out;
}

std::string text_value(unsigned i) { return "value of property " + std::to_string(i); }
uint32_t uint32_value(unsigned i) { return 1000u * i + 7u; }
uint64_t uint64_value(unsigned i) { return (uint64_t{1} << 40) + i; }
int32_t sint32_value(unsigned i) { return -3 * static_cast<int32_t>(i) - 1; }
bool boolean_value(unsigned i) { return i % 2 == 0; }
double real64_value(unsigned i) { return 0.125 * static_cast<double>(i % 16); }
const char *date_value() { return "20240115103000.000000+000"; }
std::string reference_key_value(unsigned i) { return "chassis" + std::to_string(i); }
std::vector<uint32_t> uint32_array_value(unsigned i) { return {i, i + 100, i + 200}; }
std::vector<std::string> string_array_value(unsigned i) {
  return {"front", "intake", "slot" + std::to_string(i)};
}

CMPIType type_of(Kind kind) {
  switch (kind) {
    case Kind::kString:
      return CMPI_string;
    case Kind::kUint32:
      return CMPI_uint32;
    case Kind::kUint64:
      return CMPI_uint64;
    case Kind::kSint32:
      return CMPI_sint32;
    case Kind::kBoolean:
      return CMPI_boolean;
    case Kind::kReal64:
      return CMPI_real64;
    case Kind::kDateTime:
      return CMPI_dateTime;
    case Kind::kReference:
      return CMPI_ref;
    case Kind::kUint32Array:
      return CMPI_uint32A;
    case Kind::kStringArray:
      return CMPI_stringA;
  }
  return CMPI_null;
}

CMPIInstance *make_instance(const std::vector<Property> &properties) {
  CMPIObjectPath *path = makeNewObjectPath(kNameSpace, kDeviceClass, nullptr);
  CMPIInstance *inst = makeNewCMPIInstance(path, nullptr);
  CMRelease(path);
  for (const Property &p : properties) {
    const char *name = p.name.c_str();
    const unsigned i = p.index;
    switch (p.kind) {
      case Kind::kString:
        CMSetProperty(inst, name, text_value(i).c_str(), CMPI_chars);
        break;
      case Kind::kUint32: {
        CMPIUint32 v = uint32_value(i);
        CMSetProperty(inst, name, &v, CMPI_uint32);
        break;
      }
      case Kind::kUint64: {
        CMPIUint64 v = uint64_value(i);
        CMSetProperty(inst, name, &v, CMPI_uint64);
        break;
      }
      case Kind::kSint32: {
        CMPISint32 v = sint32_value(i);
        CMSetProperty(inst, name, &v, CMPI_sint32);
        break;
      }
      case Kind::kBoolean: {
        CMPIBoolean v = boolean_value(i) ? 1 : 0;
        CMSetProperty(inst, name, &v, CMPI_boolean);
        break;
      }
      case Kind::kReal64: {
        CMPIReal64 v = real64_value(i);
        CMSetProperty(inst, name, &v, CMPI_real64);
        break;
      }
      case Kind::kDateTime: {
        CMPIDateTime *date = makeNewCMPIDateTimeFromChars(date_value(), nullptr);
        CMSetProperty(inst, name, &date, CMPI_dateTime);
        CMRelease(date);
        break;
      }
      case Kind::kReference: {
        CMPIObjectPath *ref = chassis_path(reference_key_value(i));
        CMSetProperty(inst, name, &ref, CMPI_ref);
        CMRelease(ref);
        break;
      }
      case Kind::kUint32Array:
        set_uint32_array(inst, name, uint32_array_value(i));
        break;
      case Kind::kStringArray:
        set_string_array(inst, name, string_array_value(i));
        break;
    }
  }
  return inst;
}

CMPIInstance *make_fan(const std::string &device_id) {
  CMPIObjectPath *path = makeNewObjectPath(kNameSpace, "Demo_Fan", nullptr);
  CMAddKey(path, "DeviceID", device_id.c_str(), CMPI_chars);
  CMAddKey(path, "SystemName", "bmc0", CMPI_chars);
  CMPIInstance *inst = makeNewCMPIInstance(path, nullptr);
  CMRelease(path);
  const CMPIBoolean enabled = 1;
  const CMPIChar16 initial = 'F';
  const CMPIUint16 health = 5;
  const CMPIUint32 speed = 2400;
  const CMPIUint64 max_speed = 6000;
  const CMPIUint8 level = 40;
  const CMPISint8 offset = -5;
  const CMPISint16 trend = -12;
  const CMPISint32 temperature = 35;
  const CMPISint64 accumulated = -1234567890123LL;
  const CMPIReal32 ratio = 0.5F;
  const CMPIReal64 load = 0.25;
  const CMPIUint32 euid = 0;
  CMSetProperty(inst, "DeviceID", device_id.c_str(), CMPI_chars);
  CMSetProperty(inst, "SystemName", "bmc0", CMPI_chars);
  CMSetProperty(inst, "Name", "Front fan", CMPI_chars);
  CMSetProperty(inst, "Enabled", &enabled, CMPI_boolean);
  CMSetProperty(inst, "Initial", &initial, CMPI_char16);
  CMSetProperty(inst, "HealthState", &health, CMPI_uint16);
  CMSetProperty(inst, "Speed", &speed, CMPI_uint32);
  CMSetProperty(inst, "DesiredSpeed", &speed, CMPI_uint32);
  CMSetProperty(inst, "MaxSpeed", &max_speed, CMPI_uint64);
  CMSetProperty(inst, "Level", &level, CMPI_uint8);
  CMSetProperty(inst, "Offset", &offset, CMPI_sint8);
  CMSetProperty(inst, "Trend", &trend, CMPI_sint16);
  CMSetProperty(inst, "Temperature", &temperature, CMPI_sint32);
  CMSetProperty(inst, "Accumulated", &accumulated, CMPI_sint64);
  CMSetProperty(inst, "Ratio", &ratio, CMPI_real32);
  CMSetProperty(inst, "Load", &load, CMPI_real64);
  CMPIDateTime *date = makeNewCMPIDateTimeFromChars(date_value(), nullptr);
  CMSetProperty(inst, "InstallDate", &date, CMPI_dateTime);
  CMRelease(date);
  set_uint32_array(inst, "SpeedHistory", {2200, 2300, 2400});
  set_string_array(inst, "Tags", {"front", "intake"});
  CMPIObjectPath *chassis = chassis_path("chassis0");
  CMSetProperty(inst, "Chassis", &chassis, CMPI_ref);
  CMRelease(chassis);
  CMPIObjectPath *sensor_path = makeNewObjectPath(kNameSpace, "Demo_Sensor", nullptr);
  CMPIInstance *sensor = makeNewCMPIInstance(sensor_path, nullptr);
  CMRelease(sensor_path);
  const CMPIUint16 reading = 35;
  CMSetProperty(sensor, "Reading", &reading, CMPI_uint16);
  CMSetProperty(sensor, "Units", "Celsius", CMPI_chars);
  CMSetProperty(inst, "Sensor", &sensor, CMPI_instance);
  CMRelease(sensor);
  CMSetProperty(inst, "EffectiveUserID", &euid, CMPI_uint32);
  CMSetProperty(inst, "Notes", nullptr, CMPI_string);
  return inst;
}

std::string response_document(CMPIInstance *inst, int type) {
  ServerResp *resp = nullptr;
  CMPIStatus ok = {CMPI_RC_OK, nullptr};
  CMPIValue none;
  none.uint64 = 0;
  if (getResponseStruct(&resp, type, inst, nullptr, none, CMPI_null, &ok, nullptr) != 0) {
    return std::string();
  }
  char fixed[FRAME_BUFFER_SIZE];
  char *method = nullptr;
  uint32_t length = 0;
  void *buffer = nullptr;
  std::string doc;
  if (serializeResponse(resp, fixed, &method, &length, &buffer) == 0 && buffer != nullptr) {
    doc = static_cast<const char *>(buffer);
    const size_t eof = doc.rfind("CMPI_EOF");
    if (eof != std::string::npos) doc.resize(eof);
  }
  free(buffer);
  free(method);
  releaseResponseData(resp);
  return doc;
}

}  // namespace bench
