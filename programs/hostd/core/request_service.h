// request_service.h - serving one request inside a worker.
//
// The worker runs as the request's principal (the front has checked the peer may act as that
// user). For each request document it
//  1. parses it with the library's doDeserialization, as that user;
//  2. answers GetClass itself from the schema database;
//  3. otherwise plans the targets (routing.h: the class, its subclasses for enumerations, the
//     association classes that can refer to the source for associators and references) and,
//     for each, finds the provider's MI (provider_calls.h), kept loaded where the schema says;
//  4. calls each MI with a context holding "CMPIPrincipal", "CMPIInitNameSpace" (the request's
//     namespace) and "CMPIInvocationFlags" (0: the protocol carries no flags) and a
//     StreamingResult, so results go to the sink as frames while the MI runs (the instances of
//     a larger enumeration encoded on the service's FrameEncoderThread, started with the first
//     such answer); the broker the providers got answers their up-calls meanwhile
//     (upcall_broker.h). The first failing target ends the request; its status is logged with
//     its message;
//  5. sends the type's last data frame (GetInstance, InvokeMethod), releases what the broker
//     handed out and the providers not kept loaded, and returns the final frames (the
//     completion or error frame, or the one status frame of ModifyInstance, DeleteInstance and
//     CreateInstance).
// Every failure is logged once and answered with an error frame "CMPIERROR:<code>".
#ifndef CMPI_HOSTD_REQUEST_SERVICE_H
#define CMPI_HOSTD_REQUEST_SERVICE_H

#include <string>
#include <unordered_set>

#include "admission.h"
#include "frame_encoder_thread.h"
#include "frame_sink.h"
#include "provider_cache.h"
#include "schema_cache.h"
#include "upcall_broker.h"

namespace hostd {

class RequestService {
 public:
  // provider_idle_ms: how long a provider not marked UnloadNever stays loaded unused (0:
  // unloaded after each request). encoder_thread: instances of larger enumerations are
  // encoded on a second thread (FrameEncoderThread), else all on the caller's.
  RequestService(const Principal &principal, FrameSink *sink, long long provider_idle_ms = 0,
                 bool encoder_thread = false)
      : principal_(principal), sink_(sink), provider_idle_ms_(provider_idle_ms),
        use_encoder_(encoder_thread) {}
  ~RequestService();

  // Serves the document; returns the final frames of the answer.
  std::string serve(const std::string &document);

  // Between requests: unloads the providers unused for the idle time. Returns how long the
  // worker may wait before calling again (milliseconds), or -1 when no provider waits for it.
  long long unload_idle();

  // Unloads every provider (the worker retires).
  void retire();

 private:
  const Principal &principal_;
  FrameSink *sink_;
  long long provider_idle_ms_;
  bool use_encoder_;
  std::unordered_set<std::string> warned_;  // lossy values warned about (WireFit)
  UpcallBroker upcalls_;  // before providers_: MIs keep its broker until they are cleaned up
  ProviderCache providers_;
  SchemaCache schema_;
  FrameEncoderThread encoder_;
};

}  // namespace hostd

#endif  // CMPI_HOSTD_REQUEST_SERVICE_H
