// channel.h - the messages between the front process and a worker.
//
// Front and worker talk over a stream socketpair. Each message is an 8-byte header (kind and
// payload length, both 32-bit in host order: the two ends are the same program on the same
// machine) followed by the payload:
//   kRequest  front -> worker  the request document (without its terminator); the client's
//                              connection may come with it (SCM_RIGHTS on its first byte):
//                              the worker then writes the answer to the client itself
//                              (answer_window.h) and ends it with an empty kEnd
//   kFrames   worker -> front  one or more whole response frames, to be passed on as they are
//   kEnd      worker -> front  the last frames of the answer: the answer is complete and the
//                              worker is ready for the next request
//   kWake     worker -> front  nothing: an answer written to the client directly has ended
//                              and the front asked to hear of it (answer_window.h, kWanted);
//                              the window says which answer
// A worker that ends its answer any other way (crash, kill) ends the channel without kEnd, and
// the front finishes the client's answer with an error frame. Since the front passes on only
// whole messages, the client never sees part of a frame.
#ifndef CMPI_HOSTD_CHANNEL_H
#define CMPI_HOSTD_CHANNEL_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace hostd {

enum class MessageKind : uint32_t { kRequest = 1, kFrames = 2, kEnd = 3, kWake = 4 };

inline constexpr std::size_t kMessageHeader = 8;
// No payload may be larger: the front refuses (and kills) a worker that announces more.
inline constexpr std::size_t kMaxMessagePayload = 1u << 30;

// The header of a message of this kind and payload size.
std::string message_header(MessageKind kind, std::size_t payload_size);

// Cuts messages out of the bytes read from a channel, across reads.
class MessageReader {
 public:
  struct Message {
    MessageKind kind;
    std::string_view payload;  // valid until the next call of next() or append()
  };
  enum class Next { kMessage, kNeedMore, kBroken };

  void append(const char *data, std::size_t size);
  // The next whole message in *message; kBroken for an unknown kind or an oversized payload
  // (the channel cannot be trusted any more).
  Next next(Message *message);
  std::size_t buffered() const { return buffer_.size() - consumed_; }

 private:
  std::string buffer_;
  std::size_t consumed_ = 0;
};

// Blocking writes of one whole message (header and payload with one writev where possible).
// false when the channel failed (errno tells why).
bool write_message(int fd, MessageKind kind, std::string_view payload);

// Blocking read of one whole message into *payload; false at the channel's end or on failure.
// With connection given, a descriptor passed with the message lands there (close-on-exec), -1
// when none came; descriptors are refused (closed) when connection is nullptr.
bool read_message(int fd, MessageKind *kind, std::string *payload, int *connection = nullptr);

// The front's start of a kRequest message that carries the client's connection: writes the
// header and as much of the document as the channel takes without blocking, the connection
// attached to the first byte. Returns the bytes written (the caller sends the rest as ordinary
// bytes), or -1 with errno set when nothing was written (and no connection passed).
long send_request_with_connection(int fd, std::string_view document, int connection);

}  // namespace hostd

#endif  // CMPI_HOSTD_CHANNEL_H
