// request_frame.cpp - the request record and its frame.
#include "request_frame.h"

#include <cmpiutility/request.h>

#include <cstdlib>
#include <cstring>

#include "cli_error.h"
#include "frame_guard.h"
#include "quiet_stdout.h"
#include "wire.h"

namespace cli {
namespace {

void free_assoc(CMAssocReq *assoc) {
  if (assoc == nullptr) return;
  std::free(assoc->AssocClass);
  std::free(assoc->ResultClass);
  std::free(assoc->Role);
  std::free(assoc->ResultRole);
  std::free(assoc);
}

// The library writes the frames of these types into the growing buffer, all others into the
// fixed one, where a document is cut at 8181 characters.
bool uses_growing_buffer(int type) {
  return type == MODIFYINST || type == INVOKEMETHOD || type == CREATEINST;
}
constexpr std::size_t kFixedDocumentLimit = 8181;

}  // namespace

CMAssocReq *make_assoc(const Invocation &inv, bool refs_only) {
  auto *assoc = static_cast<CMAssocReq *>(std::calloc(1, sizeof(CMAssocReq)));
  if (assoc == nullptr) throw CimError(CMPI_RC_ERR_FAILED, "out of memory");
  auto copy = [](const std::string &text) { return text.empty() ? nullptr : strdup(text.c_str()); };
  assoc->AssocClass = copy(inv.assoc_class);
  assoc->ResultClass = copy(inv.result_class);
  assoc->Role = copy(inv.role);
  assoc->ResultRole = copy(inv.result_role);
  assoc->RefsOnly = refs_only ? 1 : 0;
  return assoc;
}

Request::Request(const std::string &user, int type, PathPtr path, InstancePtr inst, ArgsPtr args,
                 CMAssocReq *assoc, const std::string &text)
    : type_(type), may_print_(inst != nullptr || args != nullptr) {
  if (getClientReq(&req_, user.c_str(), type, path.get(), args.get(), inst.get(), assoc,
                   text.empty() ? nullptr : text.c_str()) != 0) {
    free_assoc(assoc);
    throw CimError(CMPI_RC_ERR_FAILED, "the request record cannot be built");
  }
  // The record holds them now; releaseRequestData releases them.
  path.release();
  inst.release();
  args.release();
}

Request::~Request() { releaseRequestData(req_); }

std::string Request::frame() {
  char fixed[FRAME_BUFFER_SIZE];
  fixed[0] = '\0';
  char *dynamic = static_cast<char *>(std::calloc(FRAME_BUFFER_SIZE, 1));
  if (dynamic == nullptr) throw CimError(CMPI_RC_ERR_FAILED, "out of memory");
  int rc = 1;
  if (may_print_) {
    QuietStdout quiet;
    rc = doSerialization(req_, fixed, &dynamic);
  } else {
    rc = doSerialization(req_, fixed, &dynamic);
  }
  const bool grown = uses_growing_buffer(type_);
  std::string frame = rc == 0 ? std::string(grown ? dynamic : fixed) : std::string();
  std::free(dynamic);
  if (rc != 0) {
    throw UsageError(type_ == INVOKEMETHOD
                         ? "the request cannot be written: the method arguments are too large "
                           "for the request format, or a key cannot be carried (--debug shows "
                           "the library's reason)"
                         : "the request cannot be written in the request format (--debug shows "
                           "the library's reason)");
  }
  if (!grown && frame.size() >= kFixedDocumentLimit + wire::kTerminator.size()) {
    throw UsageError("the request is too long for the request format (at most 8180 characters "
                     "of document for this operation)");
  }
  // A value, key, argument, method name or query holding the terminator would end the frame
  // there at the daemon; written as "CMPI\u005fEOF" it reads back as the same text.
  wire::guard_frame(&frame);
  return frame;
}

}  // namespace cli
