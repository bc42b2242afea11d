// connection.cpp - connect, send, and read with a time-out.
#include "connection.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "cli_error.h"

namespace cli {

Connection::Connection(std::string socket, int timeout_seconds)
    : socket_(std::move(socket)), timeout_(timeout_seconds), buffer_(new char[kPieceSize + 1]) {
  std::memset(&info_, 0, sizeof info_);
  info_.fd = -1;
}

Connection::~Connection() {
  if (open_) clientCloseConnection(&info_);
}

void Connection::open() {
  if (socket_.size() >= sizeof(info_.addr.sun_path)) {
    throw ConnectionError("the socket path " + socket_ + " is longer than " +
                          std::to_string(sizeof(info_.addr.sun_path) - 1) + " characters");
  }
  errno = 0;
  const unsigned rc = clientConnectServersock(&info_, socket_.c_str());
  const int error = errno;
  if (rc != CMPIU_SOCK_OK) {
    throw ConnectionError("cannot connect to the daemon at " + socket_ +
                          (error != 0 ? std::string(": ") + std::strerror(error) : std::string()));
  }
  open_ = true;
}

void Connection::send(const std::string &frame) {
  constexpr std::size_t kChunk = 1u << 20;
  std::size_t done = 0;
  while (done < frame.size()) {
    const std::size_t n = std::min(kChunk, frame.size() - done);
    errno = 0;
    if (clientSend(&info_, frame.data() + done, static_cast<int>(n)) != CMPIU_SOCK_OK) {
      const int error = errno;
      throw ConnectionError("cannot send the request to " + socket_ +
                            (error != 0 ? std::string(": ") + std::strerror(error) : std::string()));
    }
    done += n;
  }
}

bool Connection::receive(const char **piece) {
  int seconds = timeout_;
  if (xselect(info_.fd, CMPIU_SELECT_READ, timeout_ > 0 ? &seconds : nullptr) ==
      CMPIU_SOCK_TIMEOUT) {
    throw TimeoutError("no answer from the daemon at " + socket_ + " within " +
                       std::to_string(timeout_) + (timeout_ == 1 ? " second" : " seconds"));
  }
  errno = 0;
  const unsigned rc = clientRecv(&info_, buffer_.get(), kPieceSize);
  if (rc == CMPIU_SOCK_CLOSED) return false;
  if (rc != CMPIU_SOCK_OK) {
    const int error = errno;
    throw ConnectionError("cannot receive the answer from " + socket_ +
                          (error != 0 ? std::string(": ") + std::strerror(error) : std::string()));
  }
  *piece = buffer_.get();
  return true;
}

}  // namespace cli
