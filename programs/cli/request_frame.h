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
  // reader, the daemon's included, decodes to the same text. While the document is written,
  // standard output is quiet (QuietStdout). Throws UsageError when the library cannot write the
  // document or cut it because it is too long for the operation's buffer (the limit applies to
  // the document as the library writes it, before the guard).
  std::string frame();

  // The request type.
  int type() const { return type_; }

 private:
  ClientReq *req_ = nullptr;
  int type_;
};

}  // namespace cli

#endif  // CMPI_CLI_REQUEST_FRAME_H
