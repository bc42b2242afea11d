// classes.cpp - the property tables of the demo classes.
#include "classes.h"

#include <strings.h>

namespace demo {

namespace {

const PropertyDef kChassisProperties[] = {
    {"Tag", CMPI_string, kKey, nullptr},       {"Manufacturer", CMPI_string, kPlain, nullptr},
    {"Model", CMPI_string, kPlain, nullptr},   {"SerialNumber", CMPI_string, kPlain, nullptr},
    {"FanCount", CMPI_uint8, kPlain, nullptr},
};

const PropertyDef kFanProperties[] = {
    {"DeviceID", CMPI_string, kKey, nullptr},
    {"SystemName", CMPI_string, kKey, nullptr},
    {"Name", CMPI_string, kPlain, nullptr},
    {"Enabled", CMPI_boolean, kPlain, nullptr},
    {"Initial", CMPI_char16, kPlain, nullptr},
    {"HealthState", CMPI_uint16, kPlain, nullptr},
    {"Speed", CMPI_uint32, kPlain, nullptr},
    {"DesiredSpeed", CMPI_uint32, kPlain, nullptr},
    {"MaxSpeed", CMPI_uint64, kPlain, nullptr},
    {"Level", CMPI_uint8, kPlain, nullptr},
    {"Offset", CMPI_sint8, kPlain, nullptr},
    {"Trend", CMPI_sint16, kPlain, nullptr},
    {"Temperature", CMPI_sint32, kPlain, nullptr},
    {"Accumulated", CMPI_sint64, kPlain, nullptr},
    {"Ratio", CMPI_real32, kPlain, nullptr},
    {"Load", CMPI_real64, kPlain, nullptr},
    {"InstallDate", CMPI_dateTime, kPlain, nullptr},
    {"SpeedHistory", CMPI_uint32A, kPlain, nullptr},
    {"Tags", CMPI_stringA, kPlain, nullptr},
    {"Chassis", CMPI_ref, kPlain, kChassisClass},
    {"Sensor", CMPI_instance, kPlain, kSensorClass},
    {"EffectiveUserID", CMPI_uint32, kComputed, nullptr},
    {"Notes", CMPI_string, kPlain, nullptr},
};

const PropertyDef kChassisFanProperties[] = {
    {kGroupRole, CMPI_ref, kKey, kChassisClass},
    {kPartRole, CMPI_ref, kKey, kFanClass},
};

const PropertyDef kSensorProperties[] = {
    {"Reading", CMPI_uint16, kPlain, nullptr},
    {"Units", CMPI_string, kPlain, nullptr},
};

template <size_t N>
constexpr ClassDef make_class(const char *name, const PropertyDef (&properties)[N]) {
  return ClassDef{name, properties, N};
}

const ClassDef kClasses[] = {
    make_class(kChassisClass, kChassisProperties),
    make_class(kFanClass, kFanProperties),
    make_class(kChassisFanClass, kChassisFanProperties),
};

const ClassDef kSensor = make_class(kSensorClass, kSensorProperties);

}  // namespace

bool same_name(const char *a, const char *b) {
  return a != nullptr && b != nullptr && strcasecmp(a, b) == 0;
}

const ClassDef *find_class(const char *name) {
  for (const ClassDef &cls : kClasses) {
    if (same_name(cls.name, name)) return &cls;
  }
  return nullptr;
}

const ClassDef &sensor_class() { return kSensor; }

const PropertyDef *find_property(const ClassDef &cls, const char *name) {
  for (const PropertyDef &property : cls) {
    if (same_name(property.name, name)) return &property;
  }
  return nullptr;
}

}  // namespace demo
