// supervisor.cpp - one connection: read, check, answer or hand to a worker, relay.
#include "supervisor.h"

#include <cmpiinterface.h>
#include <cmpimacs.h>
#include <cmpiutility/records.h>
#include <cmpiutility/request.h>
#include <cmpiutility/schema.h>
#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <string>

#include "class_answer.h"
#include "class_definition.h"
#include "frames.h"
#include "locations.h"
#include "log.h"
#include "principal.h"
#include "relay.h"
#include "worker.h"

namespace hostd {
namespace {

const char *type_name(int type) {
  switch (type) {
    case ENUMINST:
      return "EnumerateInstances";
    case ENUMINSTNAMES:
      return "EnumerateInstanceNames";
    case GETINST:
      return "GetInstance";
    case MODIFYINST:
      return "ModifyInstance";
    case INVOKEMETHOD:
      return "InvokeMethod";
    case ASSOCIATORS:
      return "Associators";
    case EXECQUERY:
      return "ExecQuery";
    case DELETEINST:
      return "DeleteInstance";
    case CREATEINST:
      return "CreateInstance";
    case GETCLASS:
      return "GetClass";
    default:
      return "unknown";
  }
}

std::string take_string(CMPIString *s) {
  std::string text;
  if (s != nullptr) {
    if (s->hdl != nullptr) text = static_cast<const char *>(s->hdl);
    CMRelease(s);
  }
  return text;
}

class Connection {
 public:
  Connection(SockInfo conn, const SupervisorConfig &config) : conn_(conn), config_(config) {}
  ~Connection() {
    releaseRequestData(request_);
    if (conn_.connFd >= 0) serverAcceptclose(&conn_);
  }
  void serve();

 private:
  bool read_and_parse();
  bool check_principal_of_request();
  void serve_with_provider();
  void refuse(int rc) { send_to_client(&conn_, error_frame(rc)); }

  SockInfo conn_;
  const SupervisorConfig &config_;
  ClientReq *request_ = nullptr;
  int type_ = 0;
  std::string class_name_;
  std::string name_space_;
  Principal principal_;
};

bool Connection::read_and_parse() {
  std::string document;
  std::size_t received = 0;
  switch (read_request(&conn_, config_.limits, &document, &received)) {
    case ReadOutcome::kComplete:
      break;
    case ReadOutcome::kClosedEmpty:
      HOSTD_TRACE("connection closed by the client before it sent a request");
      return false;
    case ReadOutcome::kTruncated:
      HOSTD_ERROR(
          "request truncated: the client stopped sending after %zu bytes, without the "
          "frame terminator",
          received);
      refuse(CMPI_RC_ERR_INVALID_PARAMETER);
      return false;
    case ReadOutcome::kTooLarge:
      HOSTD_ERROR("request too large: more than %zu bytes without the frame terminator",
                  config_.limits.max_bytes);
      refuse(CMPI_RC_ERR_INVALID_PARAMETER);
      return false;
    case ReadOutcome::kTimedOut:
      HOSTD_ERROR("request not complete within %d s (%zu bytes received)",
                  config_.limits.timeout_seconds, received);
      refuse(CMPI_RC_ERR_INVALID_PARAMETER);
      return false;
    case ReadOutcome::kReceiveError:
      HOSTD_ERROR("request cannot be received: %s", std::strerror(errno));
      return false;
  }
  if (std::memchr(document.data(), '\0', document.size()) != nullptr) {
    HOSTD_ERROR("request rejected: the document contains a NUL byte");
    refuse(CMPI_RC_ERR_INVALID_PARAMETER);
    return false;
  }
  try {
    request_ = doDeserialization(document.c_str());
  } catch (const std::exception &e) {
    HOSTD_ERROR("request rejected: the parser raised '%s'", e.what());
    request_ = nullptr;
    refuse(CMPI_RC_ERR_INVALID_PARAMETER);
    return false;
  } catch (...) {
    HOSTD_ERROR("request rejected: the parser raised an unknown exception");
    request_ = nullptr;
    refuse(CMPI_RC_ERR_INVALID_PARAMETER);
    return false;
  }
  if (request_ == nullptr) {
    HOSTD_ERROR(
        "request rejected: the document is not a valid request (%zu bytes; the parser's "
        "line above says why)",
        document.size());
    refuse(CMPI_RC_ERR_INVALID_PARAMETER);
    return false;
  }
  type_ = request_->type;
  CMPIObjectPath *cop = request_->COP;
  if (cop == nullptr) {
    HOSTD_ERROR("request rejected: the request has no object path");
    refuse(CMPI_RC_ERR_INVALID_PARAMETER);
    return false;
  }
  class_name_ = take_string(CMGetClassName(cop, nullptr));
  name_space_ = take_string(CMGetNameSpace(cop, nullptr));
  return true;
}

bool Connection::check_principal_of_request() {
  const char *user = request_->user;
  switch (check_principal(user, config_.daemon_uid, &principal_)) {
    case PrincipalCheck::kServe:
      return true;
    case PrincipalCheck::kMissing:
      HOSTD_ERROR("request refused: %s of %s names no principal", type_name(type_),
                  class_name_.c_str());
      break;
    case PrincipalCheck::kUnknownUser:
      HOSTD_ERROR("request refused: principal '%s' is not a local user", user);
      break;
    case PrincipalCheck::kNotOwnUser:
      HOSTD_ERROR("request refused: principal '%s' is not the daemon's own user (uid %u)", user,
                  static_cast<unsigned>(config_.daemon_uid));
      break;
  }
  refuse(CMPI_RC_ERR_ACCESS_DENIED);
  return false;
}

void Connection::serve_with_provider() {
  if ((type_ == INVOKEMETHOD || type_ == EXECQUERY) && request_->QueryString == nullptr) {
    HOSTD_ERROR("request rejected: %s of %s has an empty %s", type_name(type_), class_name_.c_str(),
                type_ == INVOKEMETHOD ? "method name" : "query");
    refuse(CMPI_RC_ERR_INVALID_PARAMETER);
    return;
  }
  std::string why;
  const std::string database = schema_database_path();
  if (!schema_database_opens(database, &why)) {
    HOSTD_ERROR("request failed: the schema database cannot be opened: %s", why.c_str());
    refuse(CMPI_RC_ERR_FAILED);
    return;
  }
  // Associations are served by the association class's provider when the request names one.
  std::string served_class = class_name_;
  const CMAssocReq *assoc = request_->assocref;
  if (type_ == ASSOCIATORS && assoc != nullptr && assoc->AssocClass != nullptr &&
      *assoc->AssocClass != '\0') {
    served_class = assoc->AssocClass;
  }
  char *provider_name = GetProviderName(served_class.c_str());
  if (provider_name == nullptr) {
    HOSTD_ERROR("request failed: class %s has no provider in the schema database",
                served_class.c_str());
    refuse(CMPI_RC_ERR_INVALID_CLASS);
    return;
  }
  std::string provider = provider_name;
  std::free(provider_name);
  std::string library = provider_library_path(provider);
  struct stat st;
  if (stat(library.c_str(), &st) != 0 || !S_ISREG(st.st_mode)) {
    HOSTD_ERROR("request failed: the library %s of provider %s (class %s) is missing",
                library.c_str(), provider.c_str(), served_class.c_str());
    refuse(CMPI_RC_ERR_INVALID_CLASS);
    return;
  }

  int pipe_fds[2];
  if (pipe2(pipe_fds, O_CLOEXEC) != 0) {
    HOSTD_ERROR("request failed: pipe: %s", std::strerror(errno));
    refuse(CMPI_RC_ERR_FAILED);
    return;
  }
  pid_t supervisor = getpid();
  pid_t worker = fork();
  if (worker < 0) {
    HOSTD_ERROR("request failed: cannot start a worker: %s", std::strerror(errno));
    close(pipe_fds[0]);
    close(pipe_fds[1]);
    refuse(CMPI_RC_ERR_FAILED);
    return;
  }
  if (worker == 0) {
    close(pipe_fds[0]);
    serverAcceptclose(&conn_);  // the worker never talks to the client
    WorkOrder order;
    order.request = request_;
    request_ = nullptr;
    order.type = type_;
    order.class_name = class_name_;
    order.name_space = name_space_;
    order.provider = provider;
    order.library_path = library;
    order.principal = principal_;
    order.supervisor = supervisor;
    order.out_fd = pipe_fds[1];
    run_worker(order);
  }
  close(pipe_fds[1]);
  releaseRequestData(request_);
  request_ = nullptr;

  RelayJob job;
  job.pipe_fd = pipe_fds[0];
  job.conn = &conn_;
  job.worker = worker;
  job.type = type_;
  job.timeout_seconds = config_.provider_timeout;
  job.what = std::string(type_name(type_)) + " of " + class_name_ + " for " + principal_.name +
             " (provider " + provider + ")";
  HOSTD_TRACE("%s: worker %d started", job.what.c_str(), static_cast<int>(worker));
  relay_worker(job);
}

void Connection::serve() {
  // A client that stops reading cannot hold the supervisor forever.
  struct timeval send_limit = {config_.provider_timeout, 0};
  xsetsockopt(conn_.connFd, SOL_SOCKET, SO_SNDTIMEO, &send_limit, sizeof send_limit);
  if (!read_and_parse()) return;
  HOSTD_TRACE("request: %s (type %d) of %s in %s for principal %s", type_name(type_), type_,
              class_name_.c_str(), name_space_.c_str(),
              request_->user != nullptr ? request_->user : "(none)");
  if (!check_principal_of_request()) return;
  if (type_ == GETCLASS) {
    answer_get_class(&conn_, class_name_, name_space_);
    return;
  }
  serve_with_provider();
}

}  // namespace

void run_supervisor(SockInfo conn, const SupervisorConfig &config) {
  {
    Connection connection(conn, config);
    connection.serve();
  }
  std::exit(0);
}

}  // namespace hostd
