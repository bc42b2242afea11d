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
  const char *deviceId;
  const char *name;
  CMPIBoolean enabled;
  CMPIChar16 initial;
  CMPIUint16 healthState;
  CMPIUint32 speed;
  CMPIUint64 maxSpeed;
  CMPIUint8 level;
  CMPISint8 offset;
  CMPISint16 trend;
  CMPISint32 temperature;
  CMPISint64 accumulated;
  CMPIReal32 ratio;
  CMPIReal64 load;
  const char *installDate;
  std::initializer_list<CMPIUint32> speedHistory;
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

CMPIObjectPath *chassisPath(const CMPIBroker *broker) {
  CMPIObjectPath *op = CMNewObjectPath(broker, kNameSpace, kChassisClass, nullptr);
  if (op != nullptr) CMAddKey(op, "Tag", kChassisTag, CMPI_chars);
  return op;
}

CMPIObjectPath *fanPath(const CMPIBroker *broker, const char *deviceId) {
  CMPIObjectPath *op = CMNewObjectPath(broker, kNameSpace, kFanClass, nullptr);
  if (op == nullptr) return nullptr;
  CMAddKey(op, "DeviceID", deviceId, CMPI_chars);
  CMAddKey(op, "SystemName", kSystemName, CMPI_chars);
  return op;
}

// Converts inst (of the class of op) and inserts it; releases op and inst.
Outcome insert(const CMPIBroker *broker, StateStore &store, const char *className,
               CMPIObjectPath *op, CMPIInstance *inst) {
  Outcome outcome = failure(CMPI_RC_ERR_FAILED, "the initial demo state cannot be made");
  if (op != nullptr && inst != nullptr) {
    const ClassDef &cls = *findClass(className);
    StoredInstance stored;
    outcome = storedFromInstance(broker, cls, op, inst, &stored);
    if (outcome.ok()) outcome = store.insert(cls, stored);
  }
  if (inst != nullptr) CMRelease(inst);
  if (op != nullptr) CMRelease(op);
  return outcome;
}

Outcome seedChassis(const CMPIBroker *broker, StateStore &store) {
  CMPIObjectPath *op = chassisPath(broker);
  CMPIInstance *inst = op != nullptr ? CMNewInstance(broker, op, nullptr) : nullptr;
  if (inst != nullptr) {
    const CMPIUint8 fanCount = 2;
    CMSetProperty(inst, "Tag", kChassisTag, CMPI_chars);
    CMSetProperty(inst, "Manufacturer", "Demo Manufacturing", CMPI_chars);
    CMSetProperty(inst, "Model", "DM-100", CMPI_chars);
    CMSetProperty(inst, "SerialNumber", "SN-0001", CMPI_chars);
    CMSetProperty(inst, "FanCount", &fanCount, CMPI_uint8);
  }
  return insert(broker, store, kChassisClass, op, inst);
}

// Sets the compound properties of a fan: arrays, date-time, reference, embedded sensor.
void setCompound(const CMPIBroker *broker, CMPIInstance *inst, const FanSeed &seed) {
  CMPIArray *history =
      CMNewArray(broker, static_cast<CMPICount>(seed.speedHistory.size()), CMPI_uint32, nullptr);
  if (history != nullptr) {
    CMPICount i = 0;
    for (CMPIUint32 speed : seed.speedHistory)
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
  CMPIDateTime *date = CMNewDateTimeFromChars(broker, seed.installDate, nullptr);
  if (date != nullptr) {
    CMSetProperty(inst, "InstallDate", &date, CMPI_dateTime);
    CMRelease(date);
  }
  CMPIObjectPath *chassis = chassisPath(broker);
  if (chassis != nullptr) {
    CMSetProperty(inst, "Chassis", &chassis, CMPI_ref);
    CMRelease(chassis);
  }
  CMPIObjectPath *sensorPath = CMNewObjectPath(broker, kNameSpace, kSensorClass, nullptr);
  CMPIInstance *sensor =
      sensorPath != nullptr ? CMNewInstance(broker, sensorPath, nullptr) : nullptr;
  if (sensor != nullptr) {
    CMSetProperty(sensor, "Reading", &seed.reading, CMPI_uint16);
    CMSetProperty(sensor, "Units", "Celsius", CMPI_chars);
    CMSetProperty(inst, "Sensor", &sensor, CMPI_instance);
    CMRelease(sensor);
  }
  if (sensorPath != nullptr) CMRelease(sensorPath);
}

Outcome seedFan(const CMPIBroker *broker, StateStore &store, const FanSeed &seed) {
  CMPIObjectPath *op = fanPath(broker, seed.deviceId);
  CMPIInstance *inst = op != nullptr ? CMNewInstance(broker, op, nullptr) : nullptr;
  if (inst != nullptr) {
    CMSetProperty(inst, "DeviceID", seed.deviceId, CMPI_chars);
    CMSetProperty(inst, "SystemName", kSystemName, CMPI_chars);
    CMSetProperty(inst, "Name", seed.name, CMPI_chars);
    CMSetProperty(inst, "Enabled", &seed.enabled, CMPI_boolean);
    CMSetProperty(inst, "Initial", &seed.initial, CMPI_char16);
    CMSetProperty(inst, "HealthState", &seed.healthState, CMPI_uint16);
    CMSetProperty(inst, "Speed", &seed.speed, CMPI_uint32);
    CMSetProperty(inst, "DesiredSpeed", &seed.speed, CMPI_uint32);
    CMSetProperty(inst, "MaxSpeed", &seed.maxSpeed, CMPI_uint64);
    CMSetProperty(inst, "Level", &seed.level, CMPI_uint8);
    CMSetProperty(inst, "Offset", &seed.offset, CMPI_sint8);
    CMSetProperty(inst, "Trend", &seed.trend, CMPI_sint16);
    CMSetProperty(inst, "Temperature", &seed.temperature, CMPI_sint32);
    CMSetProperty(inst, "Accumulated", &seed.accumulated, CMPI_sint64);
    CMSetProperty(inst, "Ratio", &seed.ratio, CMPI_real32);
    CMSetProperty(inst, "Load", &seed.load, CMPI_real64);
    setCompound(broker, inst, seed);
    CMSetProperty(inst, "Notes", seed.notes, seed.notes != nullptr ? CMPI_chars : CMPI_string);
  }
  return insert(broker, store, kFanClass, op, inst);
}

Outcome seedMembership(const CMPIBroker *broker, StateStore &store, const char *deviceId) {
  CMPIObjectPath *op = CMNewObjectPath(broker, kNameSpace, kChassisFanClass, nullptr);
  CMPIInstance *inst = nullptr;
  CMPIObjectPath *group = chassisPath(broker);
  CMPIObjectPath *part = fanPath(broker, deviceId);
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

Outcome seedInitialState(const CMPIBroker *broker, StateStore &store) {
  Outcome outcome = seedChassis(broker, store);
  for (const FanSeed &seed : kFans) {
    if (outcome.ok()) outcome = seedFan(broker, store, seed);
  }
  for (const FanSeed &seed : kFans) {
    if (outcome.ok()) outcome = seedMembership(broker, store, seed.deviceId);
  }
  return outcome;
}

}  // namespace demo
