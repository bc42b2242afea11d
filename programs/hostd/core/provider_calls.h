// provider_calls.h - finding a class's provider MI in a worker, for one request.
//
// Both the request being served and the broker's up-calls made while serving it ask here for
// "the MI of kind K of the provider of class C": the schema database names the provider
// (SchemaCache), its library "<provider dir>lib<name>.so" must exist, and the ProviderCache
// loads it and creates the MI with the worker's broker. Every provider touched is remembered,
// and release() at the end of the request unloads those not kept loaded.
//
// Each failure is logged once (level 2, module 232) with the lines below and described by a
// Failure: the CMPI code the caller answers with and a message for a status.
//   "request failed: the schema database cannot be opened: <why>"                       rc 1
//   "request failed: class <C> has no provider in the schema database"                  rc 5
//   "request failed: the library <path> of provider <P> (class <C>) is missing"         rc 5
//   "provider library <path> of provider <P> cannot be loaded: <why>"                   rc 1
//   "provider <P> offers no <K> MI (neither <P>_Create_<K>MI nor _Generic_Create_<K>MI)" rc 7
//   "the <K> MI factory of provider <P> failed with <rc>"                                the rc
#ifndef CMPI_HOSTD_PROVIDER_CALLS_H
#define CMPI_HOSTD_PROVIDER_CALLS_H

#include <cmpidt.h>
#include <cmpift.h>

#include <set>
#include <string>

#include "mi_call.h"
#include "operations.h"
#include "provider_cache.h"
#include "schema_cache.h"

namespace hostd {

struct Failure {
  int rc = 0;
  std::string message;
  // No failure after all: an association class whose provider has no instance MI enumerates
  // as empty (as CIM object managers answer); the caller skips this target.
  bool empty = false;
};

class ProviderCalls {
 public:
  ProviderCalls(ProviderCache &providers, SchemaCache &schema, const CMPIBroker *broker,
                const std::string &user)
      : providers_(providers), schema_(schema), broker_(broker), user_(user) {}
  ProviderCalls(const ProviderCalls &) = delete;
  ProviderCalls &operator=(const ProviderCalls &) = delete;

  // The MI that serves operation for class_name in *mi and its provider's name in *provider;
  // false with *failure (logged) when there is none. An enumeration (instances, names, query)
  // of an association class whose provider offers no instance MI sets failure->empty instead,
  // logged as a trace: "class <C>: provider <P> offers no Instance MI; the association class
  // enumerates as empty".
  bool find_mi(const std::string &class_name, MiOperation operation, const CMPIContext *ctx,
               void **mi, std::string *provider, Failure *failure);

  // The class hierarchy of the schema database (empty when it cannot be read: names alone
  // decide then; the provider look-up reports the unreadable database).
  const ClassGraph &graph();

  // The property defaults of class_name from the schema database.
  const std::vector<PropertyDefault> &defaults_of(const std::string &class_name);

  // Logs a provider's failing status (level 2): "provider <P> failed <function> of <class>
  // for <user>: <code name> (<code>): <message>", the message being "(no message)" when the
  // status has none; an up-call's line ends with " (up-call)".
  void log_failure(const std::string &provider, const char *function,
                   const std::string &class_name, const CMPIStatus &st, bool upcall) const;

  const std::string &user() const { return user_; }

  // The request ends: every provider it touched was used now; with idle_ms 0 those not kept
  // loaded are unloaded at once.
  void release(const CMPIContext *ctx, long long idle_ms);

 private:
  ProviderCache &providers_;
  SchemaCache &schema_;
  const CMPIBroker *broker_;
  const std::string &user_;
  std::set<std::string> touched_;
  ClassGraph empty_graph_;
};

}  // namespace hostd

#endif  // CMPI_HOSTD_PROVIDER_CALLS_H
