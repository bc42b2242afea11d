// cim_service.cpp - one call: read, decode, serve, answer.
#include "cim_service.h"

#include <strings.h>
#include <unistd.h>

#include <exception>
#include <new>

#include "cim_log.h"
#include "cim_operations.h"
#include "cim_request.h"
#include "locations.h"
#include "response_writer.h"

namespace wbem {
namespace {

// The operations whose answers are written piece by piece as the host's frames arrive; every
// other answer is held whole until it is complete (cim_operations.cpp).
constexpr const char *kStreamedOperations[] = {
    "EnumerateInstances", "EnumerateInstanceNames", "Associators", "AssociatorNames",
    "References",         "ReferenceNames",         "ExecQuery",
};

class Service : public CimService {
 public:
  explicit Service(const CimSettings &settings) : settings_(settings) {
    if (settings_.schema_database.empty()) settings_.schema_database = wire::schema_database_path();
    if (settings_.host_name.empty()) {
      char name[256] = {0};
      settings_.host_name =
          gethostname(name, sizeof name - 1) == 0 && name[0] != '\0' ? name : "localhost";
    }
  }

  bool answers_at_once(const CimCall &call) const override {
    // The body must name the operation the header names (cim_request.h), and operations are
    // told apart without regard to case.
    for (const char *name : kStreamedOperations) {
      if (strcasecmp(call.cim_method.c_str(), name) == 0) return false;
    }
    return true;
  }

  void serve(const CimCall &call, AnswerSink &sink) override {
    try {
      serve_call(call, sink);
    } catch (const std::bad_alloc &) {
      CIM_ERROR("request from %s: out of memory", log_name(call.peer).c_str());
      sink.protocol_error(500, "");
    } catch (const std::exception &e) {
      // Only reached before an answer was started: serve_call ends every started answer.
      CIM_ERROR("request from %s: %s", log_name(call.peer).c_str(), log_name(e.what()).c_str());
      sink.protocol_error(500, "");
    }
  }

 private:
  void refuse(const CimCall &call, AnswerSink &sink, int status, const std::string &cim_error,
              const std::string &why) {
    CIM_ERROR("request from %s (user %s) refused: %s", log_name(call.peer).c_str(),
              log_name(call.user).c_str(), log_name(why).c_str());
    sink.protocol_error(status, cim_error);
  }

  void serve_call(const CimCall &call, AnswerSink &sink) {
    if (call.cim_operation.empty()) {
      return refuse(call, sink, 400, "header-mismatch", "the request has no CIMOperation header");
    }
    if (call.cim_operation != "MethodCall") {
      return refuse(call, sink, 501, "unsupported-operation",
                    "CIMOperation is '" + call.cim_operation + "', not MethodCall");
    }
    XmlReadResult read = read_xml(call.body, settings_.xml);
    if (!read.root) {
      // A document past a limit may be well-formed, but it is not one we read.
      return refuse(call, sink, 400,
                    read.limit_exceeded ? "request-not-valid" : "request-not-well-formed",
                    read.error);
    }
    CimRequest request;
    try {
      request = decode_request(*read.root, call.cim_method, call.cim_object);
    } catch (const ProtocolError &e) {
      return refuse(call, sink, e.http_status(), e.cim_error(), e.what());
    }
    ResponseWriter answer(sink, request.message_id, request.name, request.intrinsic);
    try {
      if (call.user.empty()) {
        throw OperationError(CMPI_RC_ERR_ACCESS_DENIED, "the request names no user");
      }
      OperationContext context;
      context.user = call.user;
      context.link.socket = settings_.host_socket;
      context.link.timeout = settings_.host_timeout;
      context.database = settings_.schema_database;
      context.where.host = settings_.host_name;
      context.where.name_space = request.name_space;
      if (cim_tracing()) {
        CIM_TRACE("%s %s in %s for %s from %s", request.intrinsic ? "operation" : "method",
                  log_name(request.name).c_str(), log_name(request.name_space).c_str(),
                  log_name(call.user).c_str(), log_name(call.peer).c_str());
      }
      serve_operation(request, context, answer);
      if (!answer.done()) answer.fail(CMPI_RC_ERR_FAILED, "the operation ended without an answer");
    } catch (const OperationError &e) {
      answer.fail(e.code(), e.what());
    } catch (const ProtocolError &e) {
      if (answer.flushed()) {
        answer.fail(CMPI_RC_ERR_FAILED, e.what());
      } else {
        refuse(call, sink, e.http_status(), e.cim_error(), e.what());
      }
    } catch (const std::bad_alloc &) {
      answer.fail(CMPI_RC_ERR_FAILED, "out of memory");
    } catch (const std::exception &e) {
      CIM_ERROR("%s for %s failed: %s", log_name(request.name).c_str(), log_name(call.user).c_str(),
                log_name(e.what()).c_str());
      answer.fail(CMPI_RC_ERR_FAILED, e.what());
    }
  }

  CimSettings settings_;
};

}  // namespace

std::unique_ptr<CimService> make_cim_service(const CimSettings &settings) {
  return std::make_unique<Service>(settings);
}

}  // namespace wbem
