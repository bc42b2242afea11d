// initial_state.cpp - the demo instances of a new state file.
#include "initial_state.h"

#include <cmpimacs.h>

#include <initializer_list>

#include "classes.h"
#include "instance_model.h"
#include "state_store.h"

namespace demo {

namespace {

struct FanSeed {
  const char *device_id;
  const char *name;
  CMPIBoolean enabled;
  CMPIChar16 initial;
  CMPIUint16 health_state;
  CMPIUint32 speed;
  CMPIUint64 max_speed;
  CMPIUint8 level;
  CMPISint8 offset;
  CMPISint16 trend;
  CMPISint32 temperature;
  CMPISint64 accumulated;
  CMPIReal32 ratio;
  CMPIReal64 load;
  const char *install_date;
  std::initializer_list<CMPIUint32> speed_history;
  std::initializer_list<const char *> tags;
  CMPIUint16 reading;
  const char *notes;  // nullptr: null
};

constexpr const char *kChassisTag = "chassis0";
constexpr const char *kSystemName = "bmc0";

const FanSeed kFans[] = {
    {"fan0",
     "Front fan",
     1,
     'F',
     5,
     2400,
     6000,
     40,
     -5,
     -12,
     35,
     -1234567890123LL,
     0.5F,
     0.25,
     "20240115103000.000000+000",
     {2200, 2300, 2400},
     {"front", "intake"},
     35,
     nullptr},
    {"fan1",
     "Rear fan",
     0,
     'R',
     5,
     0,
     4500,
     0,
     3,
     0,
     41,
     9876543210LL,
     0.125F,
     0.75,
     "20230301080000.000000+060",
     {},
     {"rear", "exhaust"},
     41,
     "replaced in 2023"},
};

CMPIObjectPath *chassis_path(const CMPIBroker *broker) {
  CMPIObjectPath *op = CMNewObjectPath(broker, kNameSpace, kChassisClass, nullptr);
  if (op != nullptr) CMAddKey(op, "Tag", kChassisTag, CMPI_chars);
  return op;
}

CMPIObjectPath *fan_path(const CMPIBroker *broker, const char *device_id) {
  CMPIObjectPath *op = CMNewObjectPath(broker, kNameSpace, kFanClass, nullptr);
  if (op == nullptr) return nullptr;
  CMAddKey(op, "DeviceID", device_id, CMPI_chars);
  CMAddKey(op, "SystemName", kSystemName, CMPI_chars);
  return op;
}

// Converts inst (of the class of op) and inserts it; releases op and inst.
Outcome insert(const CMPIBroker *broker, StateStore &store, const char *class_name,
               CMPIObjectPath *op, CMPIInstance *inst) {
  Outcome outcome = failure(CMPI_RC_ERR_FAILED, "the initial demo state cannot be made");
  if (op != nullptr && inst != nullptr) {
    const ClassDef &cls = *find_class(class_name);
    StoredInstance stored;
    outcome = stored_from_instance(broker, cls, op, inst, &stored);
    if (outcome.ok()) outcome = store.insert(cls, stored);
  }
  if (inst != nullptr) CMRelease(inst);
  if (op != nullptr) CMRelease(op);
  return outcome;
}

Outcome seed_chassis(const CMPIBroker *broker, StateStore &store) {
  CMPIObjectPath *op = chassis_path(broker);
  CMPIInstance *inst = op != nullptr ? CMNewInstance(broker, op, nullptr) : nullptr;
  if (inst != nullptr) {
    const CMPIUint8 fan_count = 2;
    CMSetProperty(inst, "Tag", kChassisTag, CMPI_chars);
    CMSetProperty(inst, "Manufacturer", "Demo Manufacturing", CMPI_chars);
    CMSetProperty(inst, "Model", "DM-100", CMPI_chars);
    CMSetProperty(inst, "SerialNumber", "SN-0001", CMPI_chars);
    CMSetProperty(inst, "FanCount", &fan_count, CMPI_uint8);
  }
  return insert(broker, store, kChassisClass, op, inst);
}

// Sets the compound properties of a fan: arrays, date-time, reference, embedded sensor.
void set_compound(const CMPIBroker *broker, CMPIInstance *inst, const FanSeed &seed) {
  CMPIArray *history =
      CMNewArray(broker, static_cast<CMPICount>(seed.speed_history.size()), CMPI_uint32, nullptr);
  if (history != nullptr) {
    CMPICount i = 0;
    for (CMPIUint32 speed : seed.speed_history)
      CMSetArrayElementAt(history, i++, &speed, CMPI_uint32);
    CMSetProperty(inst, "SpeedHistory", &history, CMPI_uint32A);
    CMRelease(history);
  }
  CMPIArray *tags =
      CMNewArray(broker, static_cast<CMPICount>(seed.tags.size()), CMPI_string, nullptr);
  if (tags != nullptr) {
    CMPICount i = 0;
    for (const char *tag : seed.tags) CMSetArrayElementAt(tags, i++, tag, CMPI_chars);
    CMSetProperty(inst, "Tags", &tags, CMPI_stringA);
    CMRelease(tags);
  }
  CMPIDateTime *date = CMNewDateTimeFromChars(broker, seed.install_date, nullptr);
  if (date != nullptr) {
    CMSetProperty(inst, "InstallDate", &date, CMPI_dateTime);
    CMRelease(date);
  }
  CMPIObjectPath *chassis = chassis_path(broker);
  if (chassis != nullptr) {
    CMSetProperty(inst, "Chassis", &chassis, CMPI_ref);
    CMRelease(chassis);
  }
  CMPIObjectPath *sensor_path = CMNewObjectPath(broker, kNameSpace, kSensorClass, nullptr);
  CMPIInstance *sensor =
      sensor_path != nullptr ? CMNewInstance(broker, sensor_path, nullptr) : nullptr;
  if (sensor != nullptr) {
    CMSetProperty(sensor, "Reading", &seed.reading, CMPI_uint16);
    CMSetProperty(sensor, "Units", "Celsius", CMPI_chars);
    CMSetProperty(inst, "Sensor", &sensor, CMPI_instance);
    CMRelease(sensor);
  }
  if (sensor_path != nullptr) CMRelease(sensor_path);
}

Outcome seed_fan(const CMPIBroker *broker, StateStore &store, const FanSeed &seed) {
  CMPIObjectPath *op = fan_path(broker, seed.device_id);
  CMPIInstance *inst = op != nullptr ? CMNewInstance(broker, op, nullptr) : nullptr;
  if (inst != nullptr) {
    CMSetProperty(inst, "DeviceID", seed.device_id, CMPI_chars);
    CMSetProperty(inst, "SystemName", kSystemName, CMPI_chars);
    CMSetProperty(inst, "Name", seed.name, CMPI_chars);
    CMSetProperty(inst, "Enabled", &seed.enabled, CMPI_boolean);
    CMSetProperty(inst, "Initial", &seed.initial, CMPI_char16);
    CMSetProperty(inst, "HealthState", &seed.health_state, CMPI_uint16);
    CMSetProperty(inst, "Speed", &seed.speed, CMPI_uint32);
    CMSetProperty(inst, "DesiredSpeed", &seed.speed, CMPI_uint32);
    CMSetProperty(inst, "MaxSpeed", &seed.max_speed, CMPI_uint64);
    CMSetProperty(inst, "Level", &seed.level, CMPI_uint8);
    CMSetProperty(inst, "Offset", &seed.offset, CMPI_sint8);
    CMSetProperty(inst, "Trend", &seed.trend, CMPI_sint16);
    CMSetProperty(inst, "Temperature", &seed.temperature, CMPI_sint32);
    CMSetProperty(inst, "Accumulated", &seed.accumulated, CMPI_sint64);
    CMSetProperty(inst, "Ratio", &seed.ratio, CMPI_real32);
    CMSetProperty(inst, "Load", &seed.load, CMPI_real64);
    set_compound(broker, inst, seed);
    CMSetProperty(inst, "Notes", seed.notes, seed.notes != nullptr ? CMPI_chars : CMPI_string);
  }
  return insert(broker, store, kFanClass, op, inst);
}

Outcome seed_membership(const CMPIBroker *broker, StateStore &store, const char *device_id) {
  CMPIObjectPath *op = CMNewObjectPath(broker, kNameSpace, kChassisFanClass, nullptr);
  CMPIInstance *inst = nullptr;
  CMPIObjectPath *group = chassis_path(broker);
  CMPIObjectPath *part = fan_path(broker, device_id);
  if (op != nullptr && group != nullptr && part != nullptr) {
    CMAddKey(op, kGroupRole, &group, CMPI_ref);
    CMAddKey(op, kPartRole, &part, CMPI_ref);
    inst = CMNewInstance(broker, op, nullptr);
    if (inst != nullptr) {
      CMSetProperty(inst, kGroupRole, &group, CMPI_ref);
      CMSetProperty(inst, kPartRole, &part, CMPI_ref);
    }
  }
  if (group != nullptr) CMRelease(group);
  if (part != nullptr) CMRelease(part);
  return insert(broker, store, kChassisFanClass, op, inst);
}

}  // namespace

Outcome seed_initial_state(const CMPIBroker *broker, StateStore &store) {
  Outcome outcome = seed_chassis(broker, store);
  for (const FanSeed &seed : kFans) {
    if (outcome.ok()) outcome = seed_fan(broker, store, seed);
  }
  for (const FanSeed &seed : kFans) {
    if (outcome.ok()) outcome = seed_membership(broker, store, seed.device_id);
  }
  return outcome;
}

}  // namespace demo
