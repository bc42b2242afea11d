// request_service.cpp - parse, find the provider, call it, finish the answer.
#include "request_service.h"

#include <cmpiinterface.h>
#include <cmpimacs.h>
#include <cmpiutility/request.h>
#include <cmpiutility/schema.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <exception>
#include <memory>
#include <vector>

#include "class_answer.h"
#include "class_definition.h"
#include "clock.h"
#include "log.h"
#include "mi_call.h"
#include "provider_calls.h"
#include "routing.h"
#include "response_frames.h"
#include "schema_cache.h"
#include "log_text.h"
#include "streaming_result.h"
#include "wire.h"

namespace hostd {
using wire::log_text;
namespace {

std::string take_string(CMPIString *s) {
  std::string text;
  if (s != nullptr) {
    if (s->hdl != nullptr) text = static_cast<const char *>(s->hdl);
    CMRelease(s);
  }
  return text;
}

CMPIContext *make_context(const std::string &principal, const std::string &name_space) {
  CMPIContext *ctx = makeNewCMPIContext(nullptr);
  if (ctx == nullptr) return nullptr;
  CMPIUint32 flags = 0;
  CMAddContextEntry(ctx, CMPIPrincipal, principal.c_str(), CMPI_chars);
  CMAddContextEntry(ctx, CMPIInitNameSpace, name_space.c_str(), CMPI_chars);
  CMAddContextEntry(ctx, CMPIInvocationFlags, &flags, CMPI_uint32);
  return ctx;
}

struct RequestRelease {
  void operator()(ClientReq *req) const { releaseRequestData(req); }
};
struct ObjectRelease {
  template <class T>
  void operator()(T *object) const {
    if (object != nullptr) CMRelease(object);
  }
};
using RequestPtr = std::unique_ptr<ClientReq, RequestRelease>;
using ContextPtr = std::unique_ptr<CMPIContext, ObjectRelease>;
using ArgsPtr = std::unique_ptr<CMPIArgs, ObjectRelease>;
using ObjectPathPtr = std::unique_ptr<CMPIObjectPath, ObjectRelease>;

class StatusHolder {
 public:
  CMPIStatus st = {CMPI_RC_OK, nullptr};
  StatusHolder() = default;
  explicit StatusHolder(CMPIStatus s) : st(s) {}
  StatusHolder(const StatusHolder &) = delete;
  StatusHolder &operator=(const StatusHolder &) = delete;
  ~StatusHolder() { reset({CMPI_RC_OK, nullptr}); }
  void reset(CMPIStatus s) {
    if (st.msg != nullptr) CMRelease(st.msg);
    st = s;
  }
};

// One request from document to final frames.
class Serving {
 public:
  Serving(const Principal &principal, FrameSink *sink, ProviderCache &providers,
          SchemaCache &schema, UpcallBroker &upcalls, long long provider_idle_ms,
          std::unordered_set<std::string> &warned, FrameEncoderThread *encoder)
      : principal_(principal), sink_(sink), providers_(providers), schema_(schema),
        upcalls_(upcalls), provider_idle_ms_(provider_idle_ms), warned_(warned),
        encoder_(encoder) {}
  std::string run(const std::string &document);

 private:
  bool parse(const std::string &document, std::string *failure);
  std::string with_provider();
  std::string last_frames(const CMPIStatus &st, StreamingResult *result,
                          std::string *data_frame);
  std::string fail(int rc) { return wire::error_frame(rc); }

  const Principal &principal_;
  FrameSink *sink_;
  ProviderCache &providers_;
  SchemaCache &schema_;
  UpcallBroker &upcalls_;
  long long provider_idle_ms_;
  std::unordered_set<std::string> &warned_;
  FrameEncoderThread *encoder_;
  RequestPtr request_;
  const wire::Operation *op_ = nullptr;
  std::string class_name_;
  std::string name_space_;
  ContextPtr ctx_;
  ArgsPtr out_args_;
};

bool Serving::parse(const std::string &document, std::string *failure) {
  ClientReq *parsed = nullptr;
  try {
    parsed = doDeserialization(document.c_str());
  } catch (const std::exception &e) {
    HOSTD_ERROR("request rejected: the parser raised '%s'", log_text(e.what()).c_str());
    *failure = fail(CMPI_RC_ERR_INVALID_PARAMETER);
    return false;
  } catch (...) {
    HOSTD_ERROR("request rejected: the parser raised an unknown exception");
    *failure = fail(CMPI_RC_ERR_INVALID_PARAMETER);
    return false;
  }
  request_.reset(parsed);
  if (parsed == nullptr) {
    HOSTD_ERROR(
        "request rejected: the document is not a valid request (%zu bytes; the parser's "
        "line above says why)",
        document.size());
    *failure = fail(CMPI_RC_ERR_INVALID_PARAMETER);
    return false;
  }
  op_ = wire::find_operation(parsed->type);
  if (op_ == nullptr || parsed->COP == nullptr) {
    HOSTD_ERROR("request rejected: the request has no %s",
                op_ == nullptr ? "known request type" : "object path");
    *failure = fail(CMPI_RC_ERR_INVALID_PARAMETER);
    return false;
  }
  class_name_ = take_string(CMGetClassName(parsed->COP, nullptr));
  name_space_ = take_string(CMGetNameSpace(parsed->COP, nullptr));
  // The front routed the request to this user's worker; a document that says otherwise was
  // not checked for this user.
  if (parsed->user == nullptr || principal_.name != parsed->user) {
    HOSTD_ERROR("request refused: the principal of %s of %s is not %s, the worker's user",
                op_->name, log_text(class_name_).c_str(), log_text(principal_.name).c_str());
    *failure = fail(CMPI_RC_ERR_ACCESS_DENIED);
    return false;
  }
  return true;
}

std::string Serving::run(const std::string &document) {
  std::string failure;
  if (!parse(document, &failure)) return failure;
  HOSTD_TRACE("request: %s (type %d) of %s in %s for principal %s", op_->name, op_->type,
              log_text(class_name_).c_str(), log_text(name_space_).c_str(), principal_.name.c_str());
  if (op_->mi == wire::MIKind::kNone) {
    int rc = 0;
    return answer_get_class(class_name_, name_space_, &rc);
  }
  return with_provider();
}

std::string Serving::with_provider() {
  const int type = op_->type;
  ClientReq *req = request_.get();
  if ((type == INVOKEMETHOD || type == EXECQUERY) && req->QueryString == nullptr) {
    HOSTD_ERROR("request rejected: %s of %s has an empty %s", op_->name, log_text(class_name_).c_str(),
                type == INVOKEMETHOD ? "method name" : "query");
    return fail(CMPI_RC_ERR_INVALID_PARAMETER);
  }
  ctx_.reset(make_context(principal_.name, name_space_));
  if (type == INVOKEMETHOD) out_args_.reset(makeNewCMPIArgs(nullptr));
  if (ctx_ == nullptr || (type == INVOKEMETHOD && out_args_ == nullptr)) {
    HOSTD_ERROR("worker for %s: the context or argument list cannot be made",
                log_text(class_name_).c_str());
    return fail(CMPI_RC_ERR_FAILED);
  }
  const MiRequest request = mi_request_of(req, out_args_.get());
  ProviderCalls calls(providers_, schema_, upcalls_.broker(), principal_.name);
  BrokerOwned owned;
  // Up-calls made while this request is served use its providers; what they handed out and
  // the providers not kept loaded are released when it ends, in that order.
  struct Scope {
    UpcallBroker &upcalls;
    BrokerOwned &owned;
    ProviderCalls &calls;
    const CMPIContext *ctx;
    long long idle_ms;
    ~Scope() {
      upcalls.end();
      owned.release_all();
      calls.release(ctx, idle_ms);
    }
  } scope{upcalls_, owned, calls, ctx_.get(), provider_idle_ms_};
  upcalls_.begin(&calls, &owned, ctx_.get());

  StreamingResult result(type, sink_, out_args_.get(), encoder_);
  StatusHolder called;
  const std::vector<Target> targets = plan_targets(calls.graph(), class_name_, request);
  for (const Target &target : targets) {
    void *mi = nullptr;
    std::string provider;
    Failure failure;
    if (!calls.find_mi(target.class_name, request.operation, ctx_.get(), &mi, &provider,
                       &failure)) {
      if (failure.empty) continue;
      return fail(failure.rc);
    }
    HOSTD_TRACE("worker for %s: serving request type %d as %s (uid %u) with provider %s",
                log_text(target.class_name).c_str(), type, principal_.name.c_str(),
                static_cast<unsigned>(geteuid()), provider.c_str());
    MiRequest asked = request;
    if (!target.association.empty()) {
      (asked.operation == MiOperation::kReferences ? asked.result_class : asked.assoc_class) =
          target.association.c_str();
    }
    ObjectPathPtr own_path;
    if (!target.same_path) {
      own_path.reset(makeNewObjectPath(name_space_.c_str(), target.class_name.c_str(), nullptr));
      if (own_path == nullptr) return fail(CMPI_RC_ERR_FAILED);
      asked.path = own_path.get();
    }
    result.set_source(provider, &warned_);
    called.reset(call_mi(mi, asked, ctx_.get(), result.result()));
    HOSTD_TRACE("worker for %s: %s MI returned %d after %lu streamed results",
                log_text(target.class_name).c_str(), wire::mi_kind_name(op_->mi),
                static_cast<int>(called.st.rc), result.frames());
    if (called.st.rc != CMPI_RC_OK) {
      calls.log_failure(provider, mi_function_name(asked.operation), target.class_name, called.st,
                        false);
      break;
    }
  }
  result.finish_stream();
  std::string data_frame;
  std::string final_frames = last_frames(called.st, &result, &data_frame);
  if (!data_frame.empty()) sink_->send(data_frame);
  return final_frames;
}

// The frames that follow the MI call: *data_frame goes out before the provider is released
// (GetInstance, InvokeMethod), the returned final frames after it.
std::string Serving::last_frames(const CMPIStatus &st_in, StreamingResult *streamed,
                                 std::string *data_frame) {
  const StreamingResult &result = *streamed;
  CMPIStatus st = st_in;
  const int rc = static_cast<int>(st.rc);
  const int type = op_->type;
  ResponseParts parts;
  parts.fit = streamed->fit();
  switch (op_->results) {
    case wire::Results::kInstances:
    case wire::Results::kPaths:
      if (rc != CMPI_RC_OK) return fail(rc);
      return result.failed() ? fail(CMPI_RC_ERR_FAILED) : wire::complete_frame();
    case wire::Results::kOneInstance: {
      bool ok;
      if (rc == CMPI_RC_OK && result.held_instance() == nullptr) {
        CMPIStatus none = {CMPI_RC_ERR_NOT_FOUND,
                           CreateString("the provider returned no instance", nullptr)};
        parts.status = &none;
        ok = append_response_frame(type, parts, data_frame);
        if (none.msg != nullptr) CMRelease(none.msg);
      } else {
        parts.instance = rc == CMPI_RC_OK ? result.held_instance() : nullptr;
        parts.status = &st;
        ok = append_response_frame(type, parts, data_frame);
      }
      if (!ok) HOSTD_ERROR("the answer to %s cannot be encoded; the client gets an error frame",
                           op_->name);
      return ok ? wire::complete_frame() : fail(rc != CMPI_RC_OK ? rc : CMPI_RC_ERR_FAILED);
    }
    case wire::Results::kMethodOut: {
      if (rc != CMPI_RC_OK) return fail(rc);
      parts.value.args = out_args_.get();
      parts.value_type = result.return_type();
      if (!append_response_frame(type, parts, data_frame)) {
        HOSTD_ERROR("the answer to %s cannot be encoded; the client gets an error frame",
                    op_->name);
        return fail(CMPI_RC_ERR_FAILED);
      }
      return wire::complete_frame();
    }
    case wire::Results::kStatus:
    case wire::Results::kCreatedPath: {
      parts.status = &st;
      if (op_->results == wire::Results::kCreatedPath && rc == CMPI_RC_OK) {
        parts.path = result.held_path();
      }
      std::string frame;
      if (!append_response_frame(type, parts, &frame)) {
        HOSTD_ERROR("the answer to %s cannot be encoded; the client gets an error frame",
                    op_->name);
        return fail(rc != CMPI_RC_OK ? rc : CMPI_RC_ERR_FAILED);
      }
      return frame;
    }
    case wire::Results::kClass:
      break;
  }
  return fail(CMPI_RC_ERR_INVALID_PARAMETER);
}

}  // namespace

RequestService::~RequestService() { retire(); }

std::string RequestService::serve(const std::string &document) {
  schema_.begin_request();
  Serving serving(principal_, sink_, providers_, schema_, upcalls_, provider_idle_ms_, warned_,
                  use_encoder_ ? &encoder_ : nullptr);
  return serving.run(document);
}

long long RequestService::unload_idle() {
  if (provider_idle_ms_ <= 0) return -1;
  long long now = now_ms();
  if (providers_.next_idle(provider_idle_ms_) >= 0 &&
      providers_.next_idle(provider_idle_ms_) <= now) {
    ContextPtr ctx(make_context(principal_.name, ""));
    providers_.unload_idle(ctx.get(), now, provider_idle_ms_);
    now = now_ms();
  }
  const long long next = providers_.next_idle(provider_idle_ms_);
  return next < 0 ? -1 : (next > now ? next - now : 0);
}

void RequestService::retire() {
  if (providers_.size() == 0) return;
  ContextPtr ctx(make_context(principal_.name, ""));
  providers_.clear(ctx.get());
}

}  // namespace hostd
