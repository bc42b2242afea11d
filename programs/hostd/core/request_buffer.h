// request_buffer.h - collecting one request frame from the bytes of a connection.
//
// A connection carries one request: a document followed by the terminator "CMPI_EOF". Bytes are
// added as they arrive; the buffer finds the terminator without searching any byte twice and
// refuses to hold more than the size limit (the terminator counts). Bytes behind the terminator
// are ignored.
#ifndef CMPI_HOSTD_REQUEST_BUFFER_H
#define CMPI_HOSTD_REQUEST_BUFFER_H

#include <cstddef>
#include <string>

namespace hostd {

class RequestBuffer {
 public:
  enum class State { kIncomplete, kComplete, kTooLarge };

  explicit RequestBuffer(std::size_t max_bytes) : max_bytes_(max_bytes) {}

  // How many more bytes may be read at most (the limit plus one, so that a frame one byte too
  // large is recognised as such).
  std::size_t room() const;

  // Adds bytes; the state after them.
  State add(const char *data, std::size_t size);
  State state() const { return state_; }

  // Bytes held (the document once complete).
  std::size_t size() const { return text_.size(); }
  std::size_t received() const { return received_; }

  // The document in front of the terminator (valid once complete); taken out of the buffer.
  std::string take_document();

 private:
  std::size_t max_bytes_;
  std::string text_;
  std::size_t received_ = 0;
  State state_ = State::kIncomplete;
};

}  // namespace hostd

#endif  // CMPI_HOSTD_REQUEST_BUFFER_H
