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

// The class an entry serves: className, else the class of path.
demo::Outcome classOf(const char *className, const CMPIObjectPath *path,
                      const demo::ClassDef **cls) {
  if (className == nullptr || className[0] == '\0') return demo::classOfPath(path, cls);
  *cls = demo::findClass(className);
  if (*cls == nullptr) {
    return demo::failure(CMPI_RC_ERR_INVALID_CLASS,
                         std::string("class '") + className + "' is not served by this provider");
  }
  return demo::checkNameSpace(path, **cls);
}

}  // namespace

extern "C" CMPI_EXPORT CMPIStatus
ReturnGetInstance(const CMPIBroker *broker, const CMPIContext *ctx, const CMPIResult *result,
                  const CMPIObjectPath *path, const char **properties, const char *className) {
  (void)ctx;
  return demo::serve(broker, [&] {
    const demo::ClassDef *cls = nullptr;
    demo::Outcome outcome = classOf(className, path, &cls);
    if (!outcome.ok()) return outcome;
    return demo::getInstance(broker, result, path, properties);
  });
}

extern "C" CMPI_EXPORT CMPIStatus ReturnEnumerateData(const CMPIBroker *broker,
                                                      const CMPIContext *ctx,
                                                      const CMPIObjectPath *path,
                                                      const CMPIResult *result, CMPIStatus *status,
                                                      unsigned char flag, const char *className) {
  (void)ctx;
  const CMPIStatus returned = demo::serve(broker, [&] {
    const demo::ClassDef *cls = nullptr;
    demo::Outcome outcome = classOf(className, path, &cls);
    if (!outcome.ok()) return outcome;
    static const char *const kNone[] = {nullptr};
    const char **properties = (flag & kKeysOnly) != 0 ? const_cast<const char **>(kNone) : nullptr;
    return demo::enumerateInstances(broker, result, *cls, properties);
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
