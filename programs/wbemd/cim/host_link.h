// host_link.h - one operation sent to cmpi-hostd and its answer read, with the library's client
// functions (through cmpi-cli's core: the request record and frame, the connection, the
// tokenizers).
//
// Failures are thrown as OperationError (cim_request.h): the host's status codes are CMPI
// return codes, which are the CIM status codes, and pass through with the provider's message
// (or the code's description when there is none). A host that cannot be reached, breaks the
// connection, sends an answer that cannot be decoded or stays silent past the time-out gives
// CMPI_RC_ERR_FAILED and one log line naming the operation, class and user.
#ifndef CMPI_WBEMD_HOST_LINK_H
#define CMPI_WBEMD_HOST_LINK_H

#include <cmpidt.h>
#include <json/json.h>

#include <functional>
#include <string>

#include "answer_reader.h"
#include "request_frame.h"

namespace wbem {

struct HostLink {
  std::string socket;
  int timeout = 0;
};

// The frame of request (OperationError CMPI_RC_ERR_INVALID_PARAMETER when the request format
// cannot carry it). A record that may print (cli::Request::may_print: it holds an instance or
// arguments) is written with standard output silenced, one such frame at a time; every other
// frame is written at once, on any number of threads.
std::string request_frame(cli::Request &request);

// Sends a request whose answer is one frame (GetInstance, GetClass, InvokeMethod,
// ModifyInstance, DeleteInstance, CreateInstance) and returns what it delivered.
cli::Answer exchange(const HostLink &link, cli::Request &request, const std::string &what);

// Sends a GetInstance request and returns what it delivered, as exchange() does, with
// instance_frame holding only the marks of the instance's frame (frame_marks.h) rather than a
// second whole parse of it; the frames are read whole only when the answer is a failure, for the
// status message a status frame carries.
cli::Answer fetch_instance(const HostLink &link, cli::Request &request, const std::string &what);

// Sends a request whose answer is a stream of results (enumerations, associators, references,
// queries). For each result, in order, with the data frame it came in: visit_instance for
// instances, visit_path for paths (EnumerateInstanceNames). after_piece runs after each piece
// of the answer whose results were handed on (the caller writes them out there). A failure
// after results were handed on is thrown like any other; the caller knows what it wrote.
void stream(const HostLink &link, cli::Request &request, const std::string &what,
            const std::function<void(const CMPIInstance *, const Json::Value &)> &visit_instance,
            const std::function<void(const CMPIObjectPath *)> &visit_path,
            const std::function<void()> &after_piece);

}  // namespace wbem

#endif  // CMPI_WBEMD_HOST_LINK_H
