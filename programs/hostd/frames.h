// frames.h - the frames cmpi-hostd writes: response frames encoded by the library, the two
// control frames, and the plumbing that moves whole frames to a pipe or to the client.
//
// A frame is text followed by the terminator "CMPI_EOF". The control frames are
//   "CMPIOPERATION_COMPLETE" "CMPI_EOF"        the operation is complete
//   "CMPIERROR:" <decimal code> "CMPI_EOF"     the operation failed with that CMPI return code
#ifndef CMPI_HOSTD_FRAMES_H
#define CMPI_HOSTD_FRAMES_H

#include <cmpiutility/records.h>
#include <cmpiutility/response.h>
#include <cmpiutility/transport.h>

#include <cstddef>
#include <string>
#include <string_view>

namespace hostd {

inline constexpr std::string_view kTerminator = "CMPI_EOF";
inline constexpr std::string_view kCompleteToken = "CMPIOPERATION_COMPLETE";
inline constexpr std::string_view kErrorToken = "CMPIERROR";

// "CMPIOPERATION_COMPLETECMPI_EOF"
std::string complete_frame();
// "CMPIERROR:<rc>CMPI_EOF"
std::string error_frame(int rc);

enum class FrameKind { kData, kComplete, kError };
// What a frame's text (without its terminator) is.
FrameKind classify_frame(std::string_view text);

// Whether the operation of this request type ends with a completion frame. The set-instance
// operations (MODIFYINST, DELETEINST) and CREATEINST answer with exactly one frame instead: the
// client's tokenizers for them do not know the completion frame and would decode it as data.
bool ends_with_completion(int type);

// Encodes one response record with serializeResponse into the buffer that its type uses.
class EncodedFrame {
 public:
  EncodedFrame() = default;
  ~EncodedFrame();
  EncodedFrame(const EncodedFrame &) = delete;
  EncodedFrame &operator=(const EncodedFrame &) = delete;

  // false when serializeResponse failed (the library logged why) or produced no frame.
  bool encode(ServerResp *response);
  const char *data() const { return data_; }
  std::size_t size() const { return size_; }

 private:
  char fixed_[FRAME_BUFFER_SIZE] = {};
  char *allocated_ = nullptr;
  const char *data_ = nullptr;
  std::size_t size_ = 0;
};

// Writes all bytes to fd (a pipe), continuing short writes and EINTR. false on any failure.
bool write_all(int fd, const char *data, std::size_t size);

// Sends bytes to the client's connection with serverSend, in pieces of at most 1 MiB.
bool send_to_client(SockInfo *conn, const char *data, std::size_t size);
bool send_to_client(SockInfo *conn, const std::string &text);

}  // namespace hostd

#endif  // CMPI_HOSTD_FRAMES_H
