// upcall_broker.h - the broker a worker hands to its providers.
//
// Its factories, thread and memory services are the object library's; its up-calls are
// answered by calling the providers of the target classes in this worker, as this worker's
// user, while a request is being served (begin/end bracket it):
//   enumerateInstanceNames, enumerateInstances, execQuery, associators, associatorNames,
//   references, referenceNames   the targets' results (routing.h) as one enumeration;
//   getInstance, createInstance   the instance, the new path;
//   modifyInstance, deleteInstance the provider's status;
//   invokeMethod                  the method's return value (output arguments into out);
//   getProperty                   getInstance, then the property's value.
// What it hands out belongs to the broker until the request ends (broker_owned.h). A failing
// target provider gives its own status, message included, and is logged as a provider failure
// with " (up-call)". setProperty, deliverIndication, an up-call outside a request and up-calls
// nested deeper than kMaxDepth answer an error status whose message says why: every status the
// broker returns for what it does not do carries a message. classPathIsA walks the class
// hierarchy of the schema database. An instance a provider makes (newInstance) starts with
// the default values the schema database holds for its class (class_defaults.h).
#ifndef CMPI_HOSTD_UPCALL_BROKER_H
#define CMPI_HOSTD_UPCALL_BROKER_H

#include <cmpidt.h>
#include <cmpift.h>

#include <string>
#include <vector>

#include "broker_owned.h"
#include "mi_call.h"
#include "provider_calls.h"

namespace hostd {

class UpcallBroker {
 public:
  static constexpr int kMaxDepth = 8;

  UpcallBroker();
  UpcallBroker(const UpcallBroker &) = delete;
  UpcallBroker &operator=(const UpcallBroker &) = delete;

  // The broker for MI factories; valid as long as this object.
  const CMPIBroker *broker() const { return &broker_; }

  // A request starts: up-calls use calls (its providers), owned (what they hand out) and ctx
  // (when a provider passes none).
  void begin(ProviderCalls *calls, BrokerOwned *owned, const CMPIContext *ctx);
  void end();

  // The up-call machinery, public for the table's functions.
  static UpcallBroker *of(const CMPIBroker *mb);
  // Runs request on op's targets; results collected into *items (instances or paths), the
  // first returned datum of an invokeMethod into *returned. The status's message is kept.
  CMPIStatus run(const CMPIContext *ctx, const CMPIObjectPath *op, MiRequest request,
                 std::vector<CMPIData> *items, CMPIData *returned);
  CMPIStatus refuse(CMPIrc rc, const std::string &message);
  BrokerOwned &owned() { return owned_ != nullptr ? *owned_ : spare_; }
  bool is_a(const CMPIObjectPath *op, const char *type, CMPIStatus *rc);
  CMPIInstance *new_instance(const CMPIObjectPath *op, CMPIStatus *rc);

 private:
  CMPIBroker broker_;
  CMPIBrokerFT calls_table_;
  CMPIBrokerEncFT factories_;
  const CMPIBrokerEncFT *library_factories_ = nullptr;
  ProviderCalls *calls_ = nullptr;
  BrokerOwned *owned_ = nullptr;
  BrokerOwned spare_;  // what is handed out outside a request, released with the worker
  const CMPIContext *ctx_ = nullptr;
  int depth_ = 0;
  // The defaults of the class whose instance was made last in this request: a provider makes
  // one instance after another of the same class, and the schema database is not read again
  // during a request.
  std::string defaults_class_;
  const std::vector<PropertyDefault> *defaults_ = nullptr;
};

}  // namespace hostd

#endif  // CMPI_HOSTD_UPCALL_BROKER_H
