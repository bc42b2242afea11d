// broker_upcalls.cpp - the broker's up-calls (the CMPIBrokerFT table).
//
// Threads attach by cloning the caller's context; every up-call that needs a CIM server behind
// it answers CMPI_RC_ERR_NOT_SUPPORTED with a message saying so (providers read the message of
// a failing status without checking it for NULL). The message is one shared string that
// nobody can free: standard providers never release what the broker gives them, ours do.
#include "broker_tables.h"
#include "objects.h"
#include "value.h"

namespace {

using cmpi::make_status;

CMPIStatus keep_alive(CMPIString *) { return make_status(CMPI_RC_OK); }

CMPIString *unsupported_message() {
  static CMPIString *message = [] {
    CMPIString *text = CreateString(
        "this broker has no CIM server behind it: up-calls are not supported here", nullptr);
    static CMPIStringFT table = *text->ft;
    table.release = keep_alive;
    text->ft = &table;
    return text;
  }();
  return message;
}

CMPIStatus unsupported() {
  CMPIStatus st = {CMPI_RC_ERR_NOT_SUPPORTED, unsupported_message()};
  return st;
}

void set_rc(CMPIStatus *rc, CMPIrc code) {
  if (rc != nullptr) *rc = code == CMPI_RC_ERR_NOT_SUPPORTED ? unsupported() : make_status(code);
}

CMPIContext *mb_prepare_attach_thread(const CMPIBroker *, const CMPIContext *ctx) {
  if (ctx == nullptr || ctx->hdl == nullptr || ctx->ft == nullptr) {
    return nullptr;
  }
  return ctx->ft->clone(ctx, nullptr);
}

CMPIStatus mb_attach_thread(const CMPIBroker *, const CMPIContext *) {
  return make_status(CMPI_RC_OK);
}

CMPIStatus mb_detach_thread(const CMPIBroker *, const CMPIContext *) {
  return make_status(CMPI_RC_OK);
}

CMPIStatus mb_deliver_indication(const CMPIBroker *, const CMPIContext *, const char *,
                                 const CMPIInstance *) {
  return unsupported();
}

CMPIEnumeration *mb_enumerate_instance_names(const CMPIBroker *, const CMPIContext *,
                                             const CMPIObjectPath *, CMPIStatus *rc) {
  set_rc(rc, CMPI_RC_ERR_NOT_SUPPORTED);
  return nullptr;
}

CMPIInstance *mb_get_instance(const CMPIBroker *, const CMPIContext *, const CMPIObjectPath *,
                              const char **, CMPIStatus *rc) {
  set_rc(rc, CMPI_RC_ERR_NOT_SUPPORTED);
  return nullptr;
}

CMPIObjectPath *mb_create_instance(const CMPIBroker *, const CMPIContext *,
                                   const CMPIObjectPath *, const CMPIInstance *, CMPIStatus *rc) {
  set_rc(rc, CMPI_RC_ERR_NOT_SUPPORTED);
  return nullptr;
}

CMPIStatus mb_modify_instance(const CMPIBroker *, const CMPIContext *, const CMPIObjectPath *,
                              const CMPIInstance *, const char **) {
  return unsupported();
}

CMPIStatus mb_delete_instance(const CMPIBroker *, const CMPIContext *, const CMPIObjectPath *) {
  return unsupported();
}

CMPIEnumeration *mb_exec_query(const CMPIBroker *, const CMPIContext *, const CMPIObjectPath *,
                               const char *, const char *, CMPIStatus *rc) {
  set_rc(rc, CMPI_RC_ERR_NOT_SUPPORTED);
  return nullptr;
}

CMPIEnumeration *mb_enumerate_instances(const CMPIBroker *, const CMPIContext *,
                                        const CMPIObjectPath *, const char **, CMPIStatus *rc) {
  set_rc(rc, CMPI_RC_ERR_NOT_SUPPORTED);
  return nullptr;
}

CMPIEnumeration *mb_associators(const CMPIBroker *, const CMPIContext *, const CMPIObjectPath *,
                                const char *, const char *, const char *, const char *,
                                const char **, CMPIStatus *rc) {
  set_rc(rc, CMPI_RC_ERR_NOT_SUPPORTED);
  return nullptr;
}

CMPIEnumeration *mb_associator_names(const CMPIBroker *, const CMPIContext *,
                                     const CMPIObjectPath *, const char *, const char *,
                                     const char *, const char *, CMPIStatus *rc) {
  set_rc(rc, CMPI_RC_ERR_NOT_SUPPORTED);
  return nullptr;
}

CMPIEnumeration *mb_references(const CMPIBroker *, const CMPIContext *, const CMPIObjectPath *,
                               const char *, const char *, const char **, CMPIStatus *rc) {
  set_rc(rc, CMPI_RC_ERR_NOT_SUPPORTED);
  return nullptr;
}

CMPIEnumeration *mb_reference_names(const CMPIBroker *, const CMPIContext *,
                                    const CMPIObjectPath *, const char *, const char *,
                                    CMPIStatus *rc) {
  set_rc(rc, CMPI_RC_ERR_NOT_SUPPORTED);
  return nullptr;
}

CMPIData mb_invoke_method(const CMPIBroker *, const CMPIContext *, const CMPIObjectPath *,
                          const char *, const CMPIArgs *, CMPIArgs *, CMPIStatus *rc) {
  set_rc(rc, CMPI_RC_ERR_NOT_SUPPORTED);
  return cmpi::null_data(CMPI_null);
}

CMPIStatus mb_set_property(const CMPIBroker *, const CMPIContext *, const CMPIObjectPath *,
                           const char *, const CMPIValue *, CMPIType) {
  return unsupported();
}

CMPIData mb_get_property(const CMPIBroker *, const CMPIContext *, const CMPIObjectPath *,
                         const char *, CMPIStatus *rc) {
  set_rc(rc, CMPI_RC_ERR_NOT_SUPPORTED);
  return cmpi::null_data(CMPI_null);
}

}  // namespace

namespace cmpi {

const CMPIBrokerFT broker_ft = {
    CMPI_MB_OSEncapsulationSupport,
    CMPICurrentVersion,
    cmpi::kBrokerName,
    mb_prepare_attach_thread,
    mb_attach_thread,
    mb_detach_thread,
    mb_deliver_indication,
    mb_enumerate_instance_names,
    mb_get_instance,
    mb_create_instance,
    mb_modify_instance,
    mb_delete_instance,
    mb_exec_query,
    mb_enumerate_instances,
    mb_associators,
    mb_associator_names,
    mb_references,
    mb_reference_names,
    mb_invoke_method,
    mb_set_property,
    mb_get_property,
};


}  // namespace cmpi
