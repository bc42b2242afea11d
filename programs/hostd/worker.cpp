// worker.cpp - identity switch, provider loading and the MI call of one request.
#include "worker.h"

#include <cmpiinterface.h>
#include <cmpimacs.h>
#include <cmpiutility/privilege.h>
#include <signal.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <string>

#include "frames.h"
#include "log.h"
#include "provider_loader.h"
#include "streaming_result.h"

namespace hostd {
namespace {

const char *nonempty(const char *text) {
  return (text != nullptr && *text != '\0') ? text : nullptr;
}

CMPIStatus make_status(CMPIrc rc, const char *message) {
  CMPIStatus st = {rc, message != nullptr ? CreateString(message, nullptr) : nullptr};
  return st;
}

void release_status(CMPIStatus *st) {
  if (st->msg != nullptr) CMRelease(st->msg);
  st->msg = nullptr;
}

CMPIContext *make_context(const WorkOrder &order) {
  CMPIContext *ctx = makeNewCMPIContext(nullptr);
  if (ctx == nullptr) return nullptr;
  CMPIUint32 flags = 0;
  CMAddContextEntry(ctx, CMPIPrincipal, order.principal.name.c_str(), CMPI_chars);
  CMAddContextEntry(ctx, CMPIInitNameSpace, order.name_space.c_str(), CMPI_chars);
  CMAddContextEntry(ctx, CMPIInvocationFlags, &flags, CMPI_uint32);
  return ctx;
}

// A frame for a response record, or an empty string when it cannot be encoded.
std::string encode(int type, CMPIInstance *inst, CMPIObjectPath *path, CMPIValue value,
                   CMPIType value_type, CMPIStatus *status) {
  ServerResp *resp = nullptr;
  EncodedFrame frame;
  std::string text;
  if (getResponseStruct(&resp, type, inst, path, value, value_type, status, nullptr) == 0 &&
      frame.encode(resp)) {
    text.assign(frame.data(), frame.size());
  } else {
    HOSTD_ERROR(
        "the result of request type %d cannot be encoded (the library's line above says "
        "why); the client gets an error frame",
        type);
  }
  releaseResponseData(resp);
  return text;
}

CMPIValue no_value() {
  CMPIValue none;
  std::memset(&none, 0, sizeof none);
  return none;
}

class Worker {
 public:
  explicit Worker(WorkOrder &order) : order_(order) {}
  ~Worker() {
    if (out_args_ != nullptr) CMRelease(out_args_);
    if (ctx_ != nullptr) CMRelease(ctx_);
    releaseRequestData(order_.request);
    order_.request = nullptr;
  }

  int serve();

 private:
  bool emit(const std::string &frame);
  int fail(int rc) { return emit(error_frame(rc)) ? 0 : 1; }
  bool switch_identity();
  CMPIStatus call(void *mi, const CMPIResult *result);
  void cleanup(void *mi);
  std::string last_frames(const CMPIStatus &st, const StreamingResult &result,
                          std::string *data_frame);

  WorkOrder &order_;
  CMPIContext *ctx_ = nullptr;
  CMPIArgs *out_args_ = nullptr;
  MIKind kind_ = MIKind::kInstance;
};

bool Worker::emit(const std::string &frame) {
  if (write_all(order_.out_fd, frame.data(), frame.size())) return true;
  HOSTD_ERROR("worker for %s: the supervisor is gone: %s", order_.class_name.c_str(),
              std::strerror(errno));
  return false;
}

bool Worker::switch_identity() {
  if (geteuid() != order_.principal.uid || getuid() != order_.principal.uid) {
    if (assignBasePriv(0, order_.principal.name.c_str()) != 0) {
      HOSTD_ERROR("worker for %s: cannot switch to user %s", order_.class_name.c_str(),
                  order_.principal.name.c_str());
      return false;
    }
  }
  // Changing the identity clears the parent-death signal, so it is asked for afterwards.
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  return getppid() == order_.supervisor;
}

CMPIStatus Worker::call(void *mi, const CMPIResult *result) {
  ClientReq *req = order_.request;
  CMPIObjectPath *op = req->COP;
  const CMPIStatus unsupported = {CMPI_RC_ERR_NOT_SUPPORTED, nullptr};
  if (kind_ == MIKind::kInstance) {
    auto *imi = static_cast<CMPIInstanceMI *>(mi);
    CMPIInstanceMIFT *ft = imi->ft;
    switch (order_.type) {
      case ENUMINST:
        return ft->enumerateInstances ? ft->enumerateInstances(imi, ctx_, result, op, nullptr)
                                      : unsupported;
      case ENUMINSTNAMES:
        return ft->enumerateInstanceNames ? ft->enumerateInstanceNames(imi, ctx_, result, op)
                                          : unsupported;
      case GETINST:
        return ft->getInstance ? ft->getInstance(imi, ctx_, result, op, nullptr) : unsupported;
      case MODIFYINST:
        return ft->modifyInstance ? ft->modifyInstance(imi, ctx_, result, op, req->CI, nullptr)
                                  : unsupported;
      case DELETEINST:
        return ft->deleteInstance ? ft->deleteInstance(imi, ctx_, result, op) : unsupported;
      case CREATEINST:
        return ft->createInstance ? ft->createInstance(imi, ctx_, result, op, req->CI)
                                  : unsupported;
      case EXECQUERY:
        return ft->execQuery ? ft->execQuery(imi, ctx_, result, op, req->QueryString, "WQL")
                             : unsupported;
      default:
        return unsupported;
    }
  }
  if (kind_ == MIKind::kMethod) {
    auto *mmi = static_cast<CMPIMethodMI *>(mi);
    if (mmi->ft->invokeMethod == nullptr) return unsupported;
    return mmi->ft->invokeMethod(mmi, ctx_, result, op, req->QueryString, req->ArgsIn, out_args_);
  }
  auto *ami = static_cast<CMPIAssociationMI *>(mi);
  const CMAssocReq *assoc = req->assocref;
  const char *assoc_class = assoc ? nonempty(assoc->AssocClass) : nullptr;
  const char *result_class = assoc ? nonempty(assoc->ResultClass) : nullptr;
  const char *role = assoc ? nonempty(assoc->Role) : nullptr;
  const char *result_role = assoc ? nonempty(assoc->ResultRole) : nullptr;
  if (assoc != nullptr && assoc->RefsOnly) {
    return ami->ft->references
               ? ami->ft->references(ami, ctx_, result, op, result_class, role, nullptr)
               : unsupported;
  }
  return ami->ft->associators ? ami->ft->associators(ami, ctx_, result, op, assoc_class,
                                                     result_class, role, result_role, nullptr)
                              : unsupported;
}

void Worker::cleanup(void *mi) {
  CMPIStatus st = {CMPI_RC_OK, nullptr};
  switch (kind_) {
    case MIKind::kInstance: {
      auto *imi = static_cast<CMPIInstanceMI *>(mi);
      if (imi->ft->cleanup) st = imi->ft->cleanup(imi, ctx_, 1);
      break;
    }
    case MIKind::kMethod: {
      auto *mmi = static_cast<CMPIMethodMI *>(mi);
      if (mmi->ft->cleanup) st = mmi->ft->cleanup(mmi, ctx_, 1);
      break;
    }
    case MIKind::kAssociation: {
      auto *ami = static_cast<CMPIAssociationMI *>(mi);
      if (ami->ft->cleanup) st = ami->ft->cleanup(ami, ctx_, 1);
      break;
    }
  }
  HOSTD_TRACE("worker for %s: cleanup returned %d", order_.class_name.c_str(),
              static_cast<int>(st.rc));
  release_status(&st);
}

// The frames that follow the MI call: *data_frame is written before cleanup (GETINST,
// INVOKEMETHOD), the returned final frame after it.
std::string Worker::last_frames(const CMPIStatus &st_in, const StreamingResult &result,
                                std::string *data_frame) {
  CMPIStatus st = st_in;
  const int rc = static_cast<int>(st.rc);
  switch (order_.type) {
    case ENUMINST:
    case ENUMINSTNAMES:
    case ASSOCIATORS:
    case EXECQUERY:
      if (rc != CMPI_RC_OK) return error_frame(rc);
      return result.failed() ? error_frame(CMPI_RC_ERR_FAILED) : complete_frame();
    case GETINST: {
      if (rc == CMPI_RC_OK && result.held_instance() == nullptr) {
        CMPIStatus none = make_status(CMPI_RC_ERR_NOT_FOUND, "the provider returned no instance");
        *data_frame = encode(GETINST, nullptr, nullptr, no_value(), 0, &none);
        release_status(&none);
      } else {
        *data_frame = encode(GETINST, rc == CMPI_RC_OK ? result.held_instance() : nullptr, nullptr,
                             no_value(), 0, &st);
      }
      return data_frame->empty() ? error_frame(rc != CMPI_RC_OK ? rc : CMPI_RC_ERR_FAILED)
                                 : complete_frame();
    }
    case INVOKEMETHOD: {
      if (rc != CMPI_RC_OK) return error_frame(rc);
      CMPIValue value = no_value();
      value.args = out_args_;
      *data_frame = encode(INVOKEMETHOD, nullptr, nullptr, value, result.return_type(), nullptr);
      return data_frame->empty() ? error_frame(CMPI_RC_ERR_FAILED) : complete_frame();
    }
    case MODIFYINST:
    case DELETEINST: {
      std::string frame = encode(order_.type, nullptr, nullptr, no_value(), 0, &st);
      return frame.empty() ? error_frame(rc != CMPI_RC_OK ? rc : CMPI_RC_ERR_FAILED) : frame;
    }
    case CREATEINST: {
      std::string frame = encode(
          CREATEINST, nullptr, rc == CMPI_RC_OK ? result.held_path() : nullptr, no_value(), 0, &st);
      return frame.empty() ? error_frame(rc != CMPI_RC_OK ? rc : CMPI_RC_ERR_FAILED) : frame;
    }
    default:
      return error_frame(CMPI_RC_ERR_INVALID_PARAMETER);
  }
}

int Worker::serve() {
  const char *cls = order_.class_name.c_str();
  const char *provider = order_.provider.c_str();
  if (!switch_identity()) return fail(CMPI_RC_ERR_FAILED);
  HOSTD_TRACE("worker for %s: serving request type %d as %s (uid %u) with provider %s", cls,
              order_.type, order_.principal.name.c_str(), static_cast<unsigned>(geteuid()),
              provider);

  ProviderLibrary library;
  std::string why;
  if (!library.open(order_.library_path, &why)) {
    HOSTD_ERROR("provider library %s of provider %s cannot be loaded: %s",
                order_.library_path.c_str(), provider, why.c_str());
    return fail(CMPI_RC_ERR_FAILED);
  }
  const CMPIBroker *broker = getCMPIBroker(nullptr);
  ctx_ = make_context(order_);
  if (order_.type == INVOKEMETHOD) out_args_ = makeNewCMPIArgs(nullptr);
  if (broker == nullptr || ctx_ == nullptr ||
      (order_.type == INVOKEMETHOD && out_args_ == nullptr)) {
    HOSTD_ERROR("worker for %s: the broker, context or argument list cannot be made", cls);
    return fail(CMPI_RC_ERR_FAILED);
  }

  kind_ = mi_kind_for(order_.type);
  const char *kind = mi_kind_name(kind_);
  void *mi = nullptr;
  CMPIStatus created = {CMPI_RC_OK, nullptr};
  switch (create_mi(library, order_.provider, kind_, broker, ctx_, &mi, &created)) {
    case CreateOutcome::kNoFactory:
      HOSTD_ERROR("provider %s offers no %s MI (neither %s_Create_%sMI nor _Generic_Create_%sMI)",
                  provider, kind, provider, kind, kind);
      return fail(CMPI_RC_ERR_NOT_SUPPORTED);
    case CreateOutcome::kFactoryFailed: {
      int rc = created.rc != CMPI_RC_OK ? static_cast<int>(created.rc) : CMPI_RC_ERR_FAILED;
      HOSTD_ERROR("the %s MI factory of provider %s failed with %d", kind, provider, rc);
      release_status(&created);
      return fail(rc);
    }
    case CreateOutcome::kCreated:
      release_status(&created);
      break;
  }

  StreamingResult result(order_.type, order_.out_fd, out_args_);
  CMPIStatus st = call(mi, result.result());
  HOSTD_TRACE("worker for %s: %s MI returned %d after %lu streamed results", cls, kind,
              static_cast<int>(st.rc), result.frames());
  if (st.rc == CMPI_RC_ERR_NOT_SUPPORTED && st.msg == nullptr) {
    HOSTD_TRACE("worker for %s: request type %d is not supported by provider %s", cls, order_.type,
                provider);
  }
  std::string data_frame;
  std::string final_frame = last_frames(st, result, &data_frame);
  release_status(&st);
  if (!data_frame.empty() && !emit(data_frame)) return 1;
  cleanup(mi);
  if (!emit(final_frame)) return 1;
  return 0;
}

}  // namespace

void run_worker(WorkOrder &order) {
  signal(SIGPIPE, SIG_DFL);
  int status = 0;
  {
    Worker worker(order);
    status = worker.serve();
  }
  close(order.out_fd);
  std::exit(status);
}

}  // namespace hostd
