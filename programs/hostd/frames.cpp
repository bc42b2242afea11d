// frames.cpp - control frames, response encoding and whole-frame writes.
#include "frames.h"

#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <exception>

#include "log.h"

namespace hostd {

std::string complete_frame() {
  std::string frame(kCompleteToken);
  frame += kTerminator;
  return frame;
}

std::string error_frame(int rc) {
  std::string frame(kErrorToken);
  frame += ':';
  frame += std::to_string(rc);
  frame += kTerminator;
  return frame;
}

FrameKind classify_frame(std::string_view text) {
  if (text.substr(0, kCompleteToken.size()) == kCompleteToken) return FrameKind::kComplete;
  if (text.substr(0, kErrorToken.size()) == kErrorToken) return FrameKind::kError;
  return FrameKind::kData;
}

bool ends_with_completion(int type) {
  return type != MODIFYINST && type != DELETEINST && type != CREATEINST;
}

EncodedFrame::~EncodedFrame() { std::free(allocated_); }

bool EncodedFrame::encode(ServerResp *response) {
  std::free(allocated_);
  allocated_ = nullptr;
  data_ = nullptr;
  size_ = 0;
  fixed_[0] = '\0';
  char *method_buffer = nullptr;
  void *buffer = nullptr;
  uint32_t length = 0;
  int rc = 1;
  try {
    rc = serializeResponse(response, fixed_, &method_buffer, &length, &buffer);
  } catch (const std::exception &e) {
    // Encoding runs inside the provider's call into its result: nothing may escape from here.
    HOSTD_ERROR("serializeResponse raised '%s'", e.what());
    rc = 1;
  }
  if (rc != 0) {
    std::free(method_buffer);
    std::free(buffer);
    return false;
  }
  switch (response->type) {
    case MODIFYINST:
    case DELETEINST:
    case CREATEINST:
      data_ = fixed_;
      size_ = std::strlen(fixed_);
      break;
    case INVOKEMETHOD:
      allocated_ = method_buffer;
      data_ = allocated_;
      size_ = length;
      break;
    default:
      allocated_ = static_cast<char *>(buffer);
      data_ = allocated_;
      size_ = length;
      break;
  }
  return data_ != nullptr && size_ > 0;
}

bool write_all(int fd, const char *data, std::size_t size) {
  while (size > 0) {
    ssize_t n = write(fd, data, size);
    if (n < 0) {
      if (errno == EINTR) continue;
      return false;
    }
    data += n;
    size -= static_cast<std::size_t>(n);
  }
  return true;
}

bool send_to_client(SockInfo *conn, const char *data, std::size_t size) {
  constexpr std::size_t kPiece = 1u << 20;
  while (size > 0) {
    std::size_t piece = size < kPiece ? size : kPiece;
    if (serverSend(conn, data, static_cast<int>(piece)) != CMPIU_SOCK_OK) return false;
    data += piece;
    size -= piece;
  }
  return true;
}

bool send_to_client(SockInfo *conn, const std::string &text) {
  return send_to_client(conn, text.data(), text.size());
}

}  // namespace hostd
