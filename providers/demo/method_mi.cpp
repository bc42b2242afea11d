// method_mi.cpp - the method MI of DemoProvider (factory DemoProvider_Create_MethodMI):
// Demo_Fan.SetSpeed.
//
// SetSpeed(in DesiredSpeed uint32, out PreviousSpeed uint32) returns uint32:
//   0  done: Speed and DesiredSpeed take the new value, which is also appended to SpeedHistory
//      (which keeps the last kHistoryLength values);
//   1  out of range: DesiredSpeed is above MaxSpeed; nothing changes.
// PreviousSpeed is the Speed before the call, in both cases. The return value goes into the
// result (returnData, uint32), the output argument into out.
#include <cmpimacs.h>

#include <cstdlib>
#include <optional>
#include <string>
#include <vector>

#include "codec.h"
#include "fields.h"
#include "instance_model.h"
#include "request.h"
#include "state_store.h"

namespace {

const CMPIBroker *broker_ = nullptr;

constexpr const char *kSetSpeed = "SetSpeed";
constexpr size_t kHistoryLength = 10;
constexpr CMPIUint32 kDone = 0;
constexpr CMPIUint32 kOutOfRange = 1;

// The DesiredSpeed argument as a uint32.
demo::Outcome desired_speed(const CMPIArgs *in, CMPIUint32 *speed) {
  const char *missing = "argument 'DesiredSpeed' (uint32) is missing";
  if (in == nullptr) return demo::failure(CMPI_RC_ERR_INVALID_PARAMETER, missing);
  const CMPIData data = CMGetArg(in, "DesiredSpeed", nullptr);
  const CMPIType type = data.type;
  const CMPIValueState state = data.state;
  const CMPIValue value = data.value;
  if ((state & (CMPI_nullValue | CMPI_notFound)) != 0) {
    demo::release_data(data);
    return demo::failure(CMPI_RC_ERR_INVALID_PARAMETER, missing);
  }
  std::string text;
  const CMPIrc rc = demo::encode_value(broker_, CMPI_uint32, type, &value, &text);
  demo::release_data(data);
  if (rc != CMPI_RC_OK) {
    return demo::failure(
        CMPI_RC_ERR_INVALID_PARAMETER,
        "argument 'DesiredSpeed' must be a uint32, not " + demo::with_article(demo::type_name(type)));
  }
  *speed = static_cast<CMPIUint32>(std::strtoul(text.c_str(), nullptr, 10));
  return demo::success();
}

// A stored unsigned number, or nullopt when it is null.
std::optional<unsigned long long> stored_number(const demo::StoredInstance &fan, const char *name) {
  const demo::StoredProperty *property = fan.find(name);
  if (property == nullptr || !property->text) return std::nullopt;
  return std::strtoull(property->text->c_str(), nullptr, 10);
}

void append_history(demo::StoredProperty *history, CMPIUint32 speed) {
  std::vector<std::optional<std::string>> fields;
  if (history->text) demo::split_fields(*history->text, &fields);
  fields.emplace_back(std::to_string(speed));
  const size_t first = fields.size() > kHistoryLength ? fields.size() - kHistoryLength : 0;
  std::string text;
  for (size_t i = first; i < fields.size(); ++i) {
    if (fields[i])
      demo::append_field(&text, *fields[i]);
    else
      demo::append_null_field(&text);
  }
  history->text = text;
}

demo::Outcome set_speed(const CMPIResult *rslt, const CMPIObjectPath *op, const demo::ClassDef &cls,
                       const CMPIArgs *in, CMPIArgs *out) {
  std::string key;
  CMPIUint32 desired = 0;
  demo::Outcome outcome = demo::key_text_of_path(broker_, cls, op, &key);
  if (outcome.ok()) outcome = desired_speed(in, &desired);
  demo::StateStore store;
  if (outcome.ok()) outcome = store.open(broker_);
  if (outcome.ok()) outcome = store.begin();
  demo::StoredInstance fan;
  bool found = false;
  if (outcome.ok()) outcome = store.find(cls, key, &fan, &found);
  if (outcome.ok() && !found) {
    outcome =
        demo::failure(CMPI_RC_ERR_NOT_FOUND, std::string(cls.name) + " " + key + " does not exist");
  }
  if (!outcome.ok()) return outcome;
  const CMPIUint32 previous = static_cast<CMPIUint32>(stored_number(fan, "Speed").value_or(0));
  const std::optional<unsigned long long> max_speed = stored_number(fan, "MaxSpeed");
  CMPIUint32 returned = kDone;
  if (max_speed && desired > *max_speed) {
    returned = kOutOfRange;
  } else {
    fan.find("Speed")->text = std::to_string(desired);
    fan.find("DesiredSpeed")->text = std::to_string(desired);
    append_history(fan.find("SpeedHistory"), desired);
    outcome = store.update(cls, fan);
  }
  if (outcome.ok()) outcome = store.commit();
  if (!outcome.ok()) return outcome;
  if (out != nullptr) CMAddArg(out, "PreviousSpeed", &previous, CMPI_uint32);
  CMReturnData(rslt, &returned, CMPI_uint32);
  CMReturnDone(rslt);
  return demo::success();
}

}  // namespace

static CMPIStatus DemoMethodCleanup(CMPIMethodMI *, const CMPIContext *, CMPIBoolean) {
  CMReturn(CMPI_RC_OK);
}

static CMPIStatus DemoInvokeMethod(CMPIMethodMI *, const CMPIContext *, const CMPIResult *rslt,
                                   const CMPIObjectPath *op, const char *method, const CMPIArgs *in,
                                   CMPIArgs *out) {
  return demo::serve(broker_, [&] {
    const demo::ClassDef *cls = nullptr;
    demo::Outcome outcome = demo::class_of_path(op, &cls);
    if (!outcome.ok()) return outcome;
    if (!demo::same_name(cls->name, demo::kFanClass) || !demo::same_name(method, kSetSpeed)) {
      return demo::failure(CMPI_RC_ERR_METHOD_NOT_FOUND,
                           std::string("class ") + cls->name + " has no method '" +
                               (method != nullptr ? method : "") + "'");
    }
    return set_speed(rslt, op, *cls, in, out);
  });
}

CMMethodMIStub(Demo, DemoProvider, broker_, CMNoHook)
