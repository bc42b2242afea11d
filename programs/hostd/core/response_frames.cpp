// response_frames.cpp - response records to guarded frames.
#include "response_frames.h"

#include <cmpiinterface.h>
#include <cmpimacs.h>
#include <cmpiutility/records.h>
#include <cmpiutility/response.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>

#include "frame_guard.h"
#include "log.h"
#include "log_text.h"
#include "operations.h"
#include "wire.h"
#include "wire_fit.h"

namespace hostd {
using wire::log_text;
namespace {

// How much of a shortened status message its log line shows.
constexpr std::size_t kLoggedMessageMax = 1024;

bool fixed_buffer_type(int type) {
  return type == MODIFYINST || type == DELETEINST || type == CREATEINST;
}

// One serializeResponse call; the frame (document and terminator) goes to *frame.
bool encode_once(int type, const ResponseParts &parts, CMPIStatus *status, std::string *frame) {
  ServerResp *resp = nullptr;
  if (getResponseStruct(&resp, type, parts.instance, parts.path, parts.value, parts.value_type,
                        status, parts.cls) != 0) {
    releaseResponseData(resp);
    return false;
  }
  char fixed[FRAME_BUFFER_SIZE];
  fixed[0] = '\0';
  char *method_buffer = nullptr;
  void *buffer = nullptr;
  uint32_t length = 0;
  int rc = 1;
  try {
    rc = serializeResponse(resp, fixed, &method_buffer, &length, &buffer);
  } catch (const std::exception &e) {
    // Encoding runs inside a provider's call into its result: nothing may escape from here.
    HOSTD_ERROR("serializeResponse raised '%s'", e.what());
    rc = 1;
  }
  releaseResponseData(resp);
  bool ok = rc == 0;
  if (ok) {
    if (fixed_buffer_type(type)) {
      frame->assign(fixed);
    } else if (type == INVOKEMETHOD) {
      frame->assign(method_buffer != nullptr ? method_buffer : "", length);
    } else {
      frame->assign(buffer != nullptr ? static_cast<const char *>(buffer) : "", length);
    }
    ok = !frame->empty();
  }
  std::free(method_buffer);
  std::free(buffer);
  return ok;
}

// The frame's document was cut at the fixed buffer's size.
bool cut_short(const std::string &frame) {
  return frame.size() >= kFixedFrameDocument + wire::kTerminator.size();
}

// Byte count of text[0, n) moved back to a UTF-8 character boundary.
std::size_t character_boundary(const std::string &text, std::size_t n) {
  while (n > 0 && n < text.size() && (static_cast<unsigned char>(text[n]) & 0xC0) == 0x80) --n;
  return n;
}

}  // namespace

bool append_response_frame(int type, const ResponseParts &given, std::string *out) {
  ResponseParts parts = given;
  FittedInstance instance;
  FittedPath path;
  FittedArgs arguments;
  if (!given.fitted) {
    WireFit own_fit(type);
    WireFit &fit = given.fit != nullptr ? *given.fit : own_fit;
    instance = fit.instance(given.instance);
    if (instance != nullptr) parts.instance = instance.get();
    path = fit.path(given.path);
    if (path != nullptr) parts.path = path.get();
    if (type == INVOKEMETHOD) arguments = fit.arguments(given.value.args);
    if (arguments != nullptr) parts.value.args = arguments.get();
  }

  std::string frame;
  if (!encode_once(type, parts, parts.status, &frame)) return false;
  if (fixed_buffer_type(type) && cut_short(frame) && parts.status != nullptr &&
      parts.status->msg != nullptr && parts.status->msg->hdl != nullptr) {
    const std::string message = static_cast<const char *>(parts.status->msg->hdl);
    HOSTD_NOTICE(
        "the status message of %s (%zu bytes) does not fit its frame and is shortened: "
        "'%s'",
        wire::operation_name(type), message.size(), log_text(message, kLoggedMessageMax).c_str());
    std::size_t keep = message.size();
    do {
      keep = character_boundary(message, keep - keep / 4 - 1);
      CMPIStatus shortened = {parts.status->rc,
                              CreateString((message.substr(0, keep) + "...").c_str(), nullptr)};
      const bool encoded = encode_once(type, parts, &shortened, &frame);
      if (shortened.msg != nullptr) CMRelease(shortened.msg);
      if (!encoded) return false;
    } while (cut_short(frame) && keep > 0);
  }
  wire::guard_frame(&frame);
  out->append(frame);
  return true;
}

}  // namespace hostd
