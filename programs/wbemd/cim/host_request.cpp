// host_request.cpp - the record, and its frame with standard output silenced only when needed.
#include "host_request.h"

#include <cmpiutility/request.h>

#include <cstdlib>
#include <memory>
#include <mutex>

#include "cim_request.h"
#include "cli_error.h"
#include "frame_guard.h"
#include "quiet_stdout.h"
#include "wire.h"

namespace wbem {
namespace {

// Standard output is one per process: one silenced frame at a time.
std::mutex quiet_frames;

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

struct FreeBlock {
  void operator()(char *block) const { std::free(block); }
};

}  // namespace

HostRequest::HostRequest(const std::string &user, int type, cli::PathPtr path,
                         cli::InstancePtr inst, cli::ArgsPtr args, CMAssocReq *assoc,
                         const std::string &text)
    : type_(type), may_print_(inst != nullptr || args != nullptr) {
  if (getClientReq(&req_, user.c_str(), type, path.get(), args.get(), inst.get(), assoc,
                   text.empty() ? nullptr : text.c_str()) != 0) {
    free_assoc(assoc);
    throw cli::CimError(CMPI_RC_ERR_FAILED, "the request record cannot be built");
  }
  // The record holds them now; releaseRequestData releases them.
  path.release();
  inst.release();
  args.release();
}

HostRequest::~HostRequest() { releaseRequestData(req_); }

std::string HostRequest::frame() {
  char fixed[FRAME_BUFFER_SIZE];
  fixed[0] = '\0';
  std::unique_ptr<char, FreeBlock> dynamic(static_cast<char *>(std::calloc(FRAME_BUFFER_SIZE, 1)));
  if (!dynamic) throw cli::CimError(CMPI_RC_ERR_FAILED, "out of memory");
  int rc = 1;
  char *block = dynamic.release();  // doSerialization may grow (or free) it
  if (may_print_) {
    std::lock_guard<std::mutex> one_at_a_time(quiet_frames);
    cli::QuietStdout quiet;
    rc = doSerialization(req_, fixed, &block);
  } else {
    rc = doSerialization(req_, fixed, &block);
  }
  dynamic.reset(block);
  const bool grown = uses_growing_buffer(type_);
  if (rc != 0 || (grown && !dynamic)) {
    // The texts are cmpi-cli's, which clients have seen in DESCRIPTION all along.
    throw OperationError(CMPI_RC_ERR_INVALID_PARAMETER,
                         type_ == INVOKEMETHOD
                             ? "the request cannot be written: the method arguments are too "
                               "large for the request format, or a key cannot be carried "
                               "(--debug shows the library's reason)"
                             : "the request cannot be written in the request format (--debug "
                               "shows the library's reason)");
  }
  std::string frame(grown ? dynamic.get() : fixed);
  if (!grown && frame.size() >= kFixedDocumentLimit + wire::kTerminator.size()) {
    throw OperationError(CMPI_RC_ERR_INVALID_PARAMETER,
                         "the request is too long for the request format (at most 8180 "
                         "characters of document for this operation)");
  }
  // A value, key, argument, method name or query holding the terminator would end the frame
  // there at the host; written as "CMPI\u005fEOF" it reads back as the same text.
  wire::guard_frame(&frame);
  return frame;
}

}  // namespace wbem
