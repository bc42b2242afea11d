// channel.cpp - framing of front/worker messages.
#include "channel.h"

#include <sys/socket.h>
#include <sys/uio.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace hostd {
namespace {

bool known_kind(uint32_t kind) {
  return kind == static_cast<uint32_t>(MessageKind::kRequest) ||
         kind == static_cast<uint32_t>(MessageKind::kFrames) ||
         kind == static_cast<uint32_t>(MessageKind::kEnd) ||
         kind == static_cast<uint32_t>(MessageKind::kWake);
}

// Keeps the first descriptor of an SCM_RIGHTS message in *kept (when kept is given and empty)
// and closes every other one.
void take_descriptors(struct msghdr *message, int *kept) {
  for (struct cmsghdr *c = CMSG_FIRSTHDR(message); c != nullptr; c = CMSG_NXTHDR(message, c)) {
    if (c->cmsg_level != SOL_SOCKET || c->cmsg_type != SCM_RIGHTS) continue;
    const std::size_t count = (c->cmsg_len - CMSG_LEN(0)) / sizeof(int);
    for (std::size_t i = 0; i < count; ++i) {
      int fd;
      std::memcpy(&fd, CMSG_DATA(c) + i * sizeof(int), sizeof fd);
      if (kept != nullptr && *kept < 0) {
        *kept = fd;
      } else {
        close(fd);
      }
    }
  }
}

// Reads exactly size bytes; descriptors that arrive with them go to take_descriptors.
bool read_exactly(int fd, char *data, std::size_t size, int *connection) {
  while (size > 0) {
    struct iovec part = {data, size};
    alignas(struct cmsghdr) char control[CMSG_SPACE(4 * sizeof(int))];
    struct msghdr message = {};
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    message.msg_control = control;
    message.msg_controllen = sizeof control;
    ssize_t n = recvmsg(fd, &message, MSG_CMSG_CLOEXEC);
    if (n < 0 && errno == EINTR) continue;
    if (message.msg_controllen > 0 && n >= 0) take_descriptors(&message, connection);
    if (n <= 0) return false;
    data += n;
    size -= static_cast<std::size_t>(n);
  }
  return true;
}

}  // namespace

std::string message_header(MessageKind kind, std::size_t payload_size) {
  uint32_t words[2] = {static_cast<uint32_t>(kind), static_cast<uint32_t>(payload_size)};
  return std::string(reinterpret_cast<const char *>(words), sizeof words);
}

void MessageReader::append(const char *data, std::size_t size) {
  if (consumed_ > 0 && consumed_ == buffer_.size()) {
    buffer_.clear();
    consumed_ = 0;
  } else if (consumed_ > (1u << 16) && consumed_ * 2 > buffer_.size()) {
    buffer_.erase(0, consumed_);
    consumed_ = 0;
  }
  buffer_.append(data, size);
}

MessageReader::Next MessageReader::next(Message *message) {
  const std::size_t available = buffer_.size() - consumed_;
  if (available < kMessageHeader) return Next::kNeedMore;
  uint32_t words[2];
  std::memcpy(words, buffer_.data() + consumed_, sizeof words);
  if (!known_kind(words[0]) || words[1] > kMaxMessagePayload) return Next::kBroken;
  if (available - kMessageHeader < words[1]) return Next::kNeedMore;
  message->kind = static_cast<MessageKind>(words[0]);
  message->payload = std::string_view(buffer_.data() + consumed_ + kMessageHeader, words[1]);
  consumed_ += kMessageHeader + words[1];
  return Next::kMessage;
}

bool write_message(int fd, MessageKind kind, std::string_view payload) {
  if (payload.size() > kMaxMessagePayload) {
    errno = EMSGSIZE;
    return false;
  }
  const std::string header = message_header(kind, payload.size());
  struct iovec parts[2] = {{const_cast<char *>(header.data()), header.size()},
                           {const_cast<char *>(payload.data()), payload.size()}};
  int count = payload.empty() ? 1 : 2;
  struct iovec *next = parts;
  while (count > 0) {
    ssize_t n = writev(fd, next, count);
    if (n < 0) {
      if (errno == EINTR) continue;
      return false;
    }
    std::size_t left = static_cast<std::size_t>(n);
    while (count > 0 && left >= next->iov_len) {
      left -= next->iov_len;
      ++next;
      --count;
    }
    if (count > 0) {
      next->iov_base = static_cast<char *>(next->iov_base) + left;
      next->iov_len -= left;
    }
  }
  return true;
}

bool read_message(int fd, MessageKind *kind, std::string *payload, int *connection) {
  if (connection != nullptr) *connection = -1;
  uint32_t words[2];
  if (!read_exactly(fd, reinterpret_cast<char *>(words), sizeof words, connection)) return false;
  if (!known_kind(words[0]) || words[1] > kMaxMessagePayload) {
    errno = EPROTO;
    return false;
  }
  *kind = static_cast<MessageKind>(words[0]);
  payload->resize(words[1]);
  return words[1] == 0 || read_exactly(fd, payload->data(), words[1], connection);
}

long send_request_with_connection(int fd, std::string_view document, int connection) {
  const std::string header = message_header(MessageKind::kRequest, document.size());
  struct iovec parts[2] = {{const_cast<char *>(header.data()), header.size()},
                           {const_cast<char *>(document.data()), document.size()}};
  alignas(struct cmsghdr) char control[CMSG_SPACE(sizeof(int))] = {};
  struct msghdr message = {};
  message.msg_iov = parts;
  message.msg_iovlen = document.empty() ? 1 : 2;
  message.msg_control = control;
  message.msg_controllen = sizeof control;
  struct cmsghdr *c = CMSG_FIRSTHDR(&message);
  c->cmsg_level = SOL_SOCKET;
  c->cmsg_type = SCM_RIGHTS;
  c->cmsg_len = CMSG_LEN(sizeof(int));
  std::memcpy(CMSG_DATA(c), &connection, sizeof connection);
  for (;;) {
    ssize_t n = sendmsg(fd, &message, MSG_NOSIGNAL | MSG_DONTWAIT);
    if (n < 0 && errno == EINTR) continue;
    return static_cast<long>(n);
  }
}

}  // namespace hostd
