// request_frame.h - one request record, built with getClientReq and written as one request
// frame with doSerialization.
#ifndef CMPI_CLI_REQUEST_FRAME_H
#define CMPI_CLI_REQUEST_FRAME_H

#include <cmpiutility/records.h>

#include <string>

#include "cmpi_build.h"
#include "command_line.h"

namespace cli {

// The association parameters of inv (empty options stay NULL), allocated the way
// releaseRequestData frees them. Throws CimError when out of memory.
CMAssocReq *make_assoc(const Invocation &inv, bool refs_only);

// One request record of a request type (ENUMINST ... GETCLASS). It takes over path, inst, args
// and assoc (each may be null; releaseRequestData releases them with the record); text is the
// method name or the query ("" for none). Throws CimError when the record cannot be built
// (assoc is freed then).
class Request {
 public:
  Request(const std::string &user, int type, PathPtr path, InstancePtr inst, ArgsPtr args,
          CMAssocReq *assoc, const std::string &text);
  ~Request();
  Request(const Request &) = delete;
  Request &operator=(const Request &) = delete;

  // The request frame: the document and "CMPI_EOF", which occurs nowhere else in it: inside the
  // document's strings it is written "CMPI\u005fEOF" (wire::guard_frame), which every JSON
  // reader, the daemon's included, decodes to the same text. When the record may print
  // (may_print()), standard output is quiet (QuietStdout) while the document is written; a
  // program with several threads writes such frames one at a time. Throws UsageError when the
  // library cannot write the document or cut it because it is too long for the operation's
  // buffer (the limit applies to the document as the library writes it, before the guard).
  std::string frame();

  // The request type.
  int type() const { return type_; }

  // Whether writing the frame may print. The library writes to standard output in one place
  // only: while it encodes a reference value among an instance's properties or a method's
  // arguments (the reference's key text, once per reference); the keys of the request's own
  // path are written without printing. So only a record with an instance or arguments may
  // print, and only its frame needs standard output silenced (six system calls, and one
  // process-wide standard output that a multi-threaded program has to guard).
  bool may_print() const { return may_print_; }

 private:
  ClientReq *req_ = nullptr;
  int type_;
  bool may_print_;
};

}  // namespace cli

#endif  // CMPI_CLI_REQUEST_FRAME_H
