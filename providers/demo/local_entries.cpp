// local_entries.cpp - the entries the library's local calls look up in this provider:
// "ReturnGetInstance" and "ReturnEnumerateData". They serve the same classes from the same
// state as the MIs, with the broker they are given.
//
// ReturnEnumerateData's flag, bit 0 (value 1): the instances carry their key properties only.
// Other bits are ignored. The status out-parameter gets the return code (without message); the
// returned status carries the message.
#include <cmpimacs.h>
#include <cmpiutility/local_call.h>

#include <type_traits>

#include "instance_model.h"
#include "instance_ops.h"
#include "request.h"

namespace {

constexpr unsigned char kKeysOnly = 1;

// The class an entry serves: class_name, else the class of path.
demo::Outcome class_of(const char *class_name, const CMPIObjectPath *path,
                      const demo::ClassDef **cls) {
  if (class_name == nullptr || class_name[0] == '\0') return demo::class_of_path(path, cls);
  *cls = demo::find_class(class_name);
  if (*cls == nullptr) {
    return demo::failure(CMPI_RC_ERR_INVALID_CLASS,
                         std::string("class '") + class_name + "' is not served by this provider");
  }
  return demo::check_name_space(path, **cls);
}

}  // namespace

extern "C" CMPI_EXPORT CMPIStatus
ReturnGetInstance(const CMPIBroker *broker, const CMPIContext *ctx, const CMPIResult *result,
                  const CMPIObjectPath *path, const char **properties, const char *class_name) {
  (void)ctx;
  return demo::serve(broker, [&] {
    const demo::ClassDef *cls = nullptr;
    demo::Outcome outcome = class_of(class_name, path, &cls);
    if (!outcome.ok()) return outcome;
    return demo::get_instance(broker, result, path, properties);
  });
}

extern "C" CMPI_EXPORT CMPIStatus ReturnEnumerateData(const CMPIBroker *broker,
                                                      const CMPIContext *ctx,
                                                      const CMPIObjectPath *path,
                                                      const CMPIResult *result, CMPIStatus *status,
                                                      unsigned char flag, const char *class_name) {
  (void)ctx;
  const CMPIStatus returned = demo::serve(broker, [&] {
    const demo::ClassDef *cls = nullptr;
    demo::Outcome outcome = class_of(class_name, path, &cls);
    if (!outcome.ok()) return outcome;
    static const char *const kNone[] = {nullptr};
    const char **properties = (flag & kKeysOnly) != 0 ? const_cast<const char **>(kNone) : nullptr;
    return demo::enumerate_instances(broker, result, *cls, properties);
  });
  if (status != nullptr) {
    status->rc = returned.rc;
    status->msg = nullptr;
  }
  return returned;
}

static_assert(std::is_same_v<decltype(&ReturnGetInstance), CMPIULocalGetInstanceFn>,
              "ReturnGetInstance has the local-call signature");
static_assert(std::is_same_v<decltype(&ReturnEnumerateData), CMPIULocalEnumerateFn>,
              "ReturnEnumerateData has the local-call signature");
