// request_service.h - serving one request inside a worker.
//
// The worker runs as the request's principal (the front has checked the peer may act as that
// user). For each request document it
//  1. parses it with the library's doDeserialization, as that user;
//  2. answers GetClass itself from the schema database;
//  3. otherwise finds the provider (GetProviderName for the class, or for the association class
//     of an Associators request that names one, kept in a SchemaCache while the database file
//     is unchanged; "<provider dir>lib<name>.so"), takes its MI
//     from the provider cache (kept loaded when the class is marked UnloadNever);
//  4. calls the MI with a context holding "CMPIPrincipal", "CMPIInitNameSpace" (the request's
//     namespace) and "CMPIInvocationFlags" (0: the protocol carries no flags) and a
//     StreamingResult, so results go to the sink as frames while the MI runs;
//  5. sends the type's last data frame (GetInstance, InvokeMethod), releases the provider, and
//     returns the final frames (the completion or error frame, or the one status frame of
//     ModifyInstance, DeleteInstance and CreateInstance).
// Every failure is logged once and answered with an error frame "CMPIERROR:<code>".
#ifndef CMPI_HOSTD_REQUEST_SERVICE_H
#define CMPI_HOSTD_REQUEST_SERVICE_H

#include <string>

#include "admission.h"
#include "frame_sink.h"
#include "provider_cache.h"
#include "schema_cache.h"
#include "upcall_broker.h"

namespace hostd {

class RequestService {
 public:
  RequestService(const Principal &principal, FrameSink *sink)
      : principal_(principal), sink_(sink) {}
  ~RequestService();

  // Serves the document; returns the final frames of the answer.
  std::string serve(const std::string &document);

  // Unloads every provider (the worker retires).
  void retire();

 private:
  const Principal &principal_;
  FrameSink *sink_;
  UpcallBroker upcalls_;  // before providers_: MIs keep its broker until they are cleaned up
  ProviderCache providers_;
  SchemaCache schema_;
};

}  // namespace hostd

#endif  // CMPI_HOSTD_REQUEST_SERVICE_H
