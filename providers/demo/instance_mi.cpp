// instance_mi.cpp - the instance MI of DemoProvider (factory DemoProvider_Create_InstanceMI).
//
// The factory keeps the broker it is given; every object this MI makes comes from it. Each
// request opens the state itself; only the state connection outlives it (kept_connection.h).
#include <cmpimacs.h>

#include "instance_model.h"
#include "instance_ops.h"
#include "request.h"

namespace {

const CMPIBroker *broker_ = nullptr;

}  // namespace

static CMPIStatus DemoCleanup(CMPIInstanceMI *, const CMPIContext *, CMPIBoolean) {
  CMReturn(CMPI_RC_OK);
}

static CMPIStatus DemoEnumInstanceNames(CMPIInstanceMI *, const CMPIContext *,
                                        const CMPIResult *rslt, const CMPIObjectPath *op) {
  return demo::serve(broker_, [&] { return demo::enumerate_instance_names(broker_, rslt, op); });
}

static CMPIStatus DemoEnumInstances(CMPIInstanceMI *, const CMPIContext *, const CMPIResult *rslt,
                                    const CMPIObjectPath *op, const char **properties) {
  return demo::serve(broker_, [&] {
    const demo::ClassDef *cls = nullptr;
    demo::Outcome outcome = demo::class_of_path(op, &cls);
    if (!outcome.ok()) return outcome;
    return demo::enumerate_instances(broker_, rslt, *cls, properties);
  });
}

static CMPIStatus DemoGetInstance(CMPIInstanceMI *, const CMPIContext *, const CMPIResult *rslt,
                                  const CMPIObjectPath *op, const char **properties) {
  return demo::serve(broker_, [&] { return demo::get_instance(broker_, rslt, op, properties); });
}

static CMPIStatus DemoCreateInstance(CMPIInstanceMI *, const CMPIContext *, const CMPIResult *rslt,
                                     const CMPIObjectPath *op, const CMPIInstance *inst) {
  return demo::serve(broker_, [&] { return demo::create_instance(broker_, rslt, op, inst); });
}

static CMPIStatus DemoModifyInstance(CMPIInstanceMI *, const CMPIContext *, const CMPIResult *rslt,
                                     const CMPIObjectPath *op, const CMPIInstance *inst,
                                     const char **properties) {
  return demo::serve(broker_,
                     [&] { return demo::modify_instance(broker_, rslt, op, inst, properties); });
}

static CMPIStatus DemoDeleteInstance(CMPIInstanceMI *, const CMPIContext *, const CMPIResult *rslt,
                                     const CMPIObjectPath *op) {
  return demo::serve(broker_, [&] { return demo::delete_instance(broker_, rslt, op); });
}

static CMPIStatus DemoExecQuery(CMPIInstanceMI *, const CMPIContext *, const CMPIResult *rslt,
                                const CMPIObjectPath *op, const char *query, const char *lang) {
  return demo::serve(broker_, [&] { return demo::exec_query(broker_, rslt, op, query, lang); });
}

CMInstanceMIStub(Demo, DemoProvider, broker_, CMNoHook)
