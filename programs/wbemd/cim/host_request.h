// host_request.h - one request for cmpi-hostd as the library's request record, and its frame.
//
// The record is built with getClientReq and written with doSerialization, like cmpi-cli's
// request (cli::Request), with one difference that matters per request: standard output is
// silenced only for records that can make the library print. The library writes to standard
// output in one place only, while it encodes a reference value of an instance's properties or
// of a method's arguments (the key text of the reference, once per reference); the keys of the
// request's own path are written without printing. So a record without an instance and without
// arguments (GetInstance, DeleteInstance, the enumerations, associations, references, queries)
// is written without touching standard output and without the process-wide lock that
// silencing needs (six system calls, the open of /dev/null the dearest); a record with either
// is written under that lock with standard output sent to /dev/null (cli::QuietStdout) for the
// duration, as before.
#ifndef CMPI_WBEMD_HOST_REQUEST_H
#define CMPI_WBEMD_HOST_REQUEST_H

#include <cmpiutility/records.h>

#include <string>

#include "cmpi_build.h"

namespace wbem {

class HostRequest {
 public:
  // A record of a request type (ENUMINST ... GETCLASS) for user. It takes over path, inst, args
  // and assoc (each may be null; the record releases them); text is the method name or the
  // query ("" for none). Throws cli::CimError CMPI_RC_ERR_FAILED when the record cannot be
  // built (assoc is freed then).
  HostRequest(const std::string &user, int type, cli::PathPtr path, cli::InstancePtr inst,
              cli::ArgsPtr args, CMAssocReq *assoc, const std::string &text);
  ~HostRequest();
  HostRequest(const HostRequest &) = delete;
  HostRequest &operator=(const HostRequest &) = delete;

  // The request frame, byte for byte what cli::Request::frame() writes for the same record:
  // the document, then "CMPI_EOF", with the terminator inside the document's strings written
  // "CMPI\u005fEOF". Throws OperationError CMPI_RC_ERR_INVALID_PARAMETER (with cmpi-cli's
  // texts) when the library cannot write the document or it is too long for the operation's
  // buffer, cli::CimError when out of memory.
  std::string frame();

  int type() const { return type_; }
  // Whether writing the frame may print (an instance or arguments are in the record), and so
  // is done with standard output silenced.
  bool may_print() const { return may_print_; }

 private:
  ClientReq *req_ = nullptr;
  int type_;
  bool may_print_;
};

}  // namespace wbem

#endif  // CMPI_WBEMD_HOST_REQUEST_H
