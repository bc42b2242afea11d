// canned_server.cpp - fixed answers over AF_UNIX, and the bare client of the floor.
#include "canned_server.h"

#include <errno.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <vector>

namespace bench {

namespace {

constexpr size_t kReadSize = 64 * 1024;

bool fill_address(const std::string &path, sockaddr_un *addr) {
  memset(addr, 0, sizeof *addr);
  addr->sun_family = AF_UNIX;
  if (path.size() >= sizeof addr->sun_path) return false;
  memcpy(addr->sun_path, path.c_str(), path.size() + 1);
  return true;
}

bool send_all(int fd, const char *data, size_t size) {
  while (size > 0) {
    const ssize_t n = send(fd, data, size, MSG_NOSIGNAL);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return false;
    data += n;
    size -= static_cast<size_t>(n);
  }
  return true;
}

}  // namespace

CannedServer::~CannedServer() { stop(); }

bool CannedServer::start(const std::string &path, std::string *error, int threads) {
  sockaddr_un addr;
  if (!fill_address(path, &addr)) {
    *error = "socket path too long: " + path;
    return false;
  }
  unlink(path.c_str());
  listen_fd_ = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (listen_fd_ < 0 || bind(listen_fd_, reinterpret_cast<sockaddr *>(&addr), sizeof addr) != 0 ||
      listen(listen_fd_, 128) != 0) {
    *error = std::string("canned server on ") + path + ": " + strerror(errno);
    if (listen_fd_ >= 0) close(listen_fd_);
    listen_fd_ = -1;
    return false;
  }
  path_ = path;
  stopping_ = false;
  for (int i = 0; i < threads; ++i) threads_.emplace_back([this] { serve(); });
  return true;
}

void CannedServer::stop() {
  if (listen_fd_ < 0) return;
  stopping_ = true;
  shutdown(listen_fd_, SHUT_RDWR);  // wakes every blocked accept
  for (std::thread &t : threads_) t.join();
  threads_.clear();
  close(listen_fd_);
  listen_fd_ = -1;
  unlink(path_.c_str());
}

void CannedServer::set_answer(const std::string &bytes) {
  std::lock_guard<std::mutex> lock(mutex_);
  answer_ = std::make_shared<const std::string>(bytes);
}

void CannedServer::serve() {
  std::vector<char> buf(kReadSize);
  std::string request;
  while (!stopping_) {
    const int fd = accept4(listen_fd_, nullptr, nullptr, SOCK_CLOEXEC);
    if (fd < 0) {
      if (errno == EINTR || errno == ECONNABORTED) continue;
      break;
    }
    request.clear();
    bool whole = false;
    while (!whole) {
      const ssize_t n = recv(fd, buf.data(), buf.size(), 0);
      if (n < 0 && errno == EINTR) continue;
      if (n <= 0) break;
      request.append(buf.data(), static_cast<size_t>(n));
      whole = request.find("CMPI_EOF") != std::string::npos;
    }
    std::shared_ptr<const std::string> answer;
    {
      std::lock_guard<std::mutex> lock(mutex_);
      answer = answer_;
    }
    if (whole && answer) send_all(fd, answer->data(), answer->size());
    close(fd);
  }
}

long bare_exchange(const std::string &path, const std::string &request) {
  sockaddr_un addr;
  if (!fill_address(path, &addr)) return -1;
  const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (fd < 0) return -1;
  long received = -1;
  if (connect(fd, reinterpret_cast<sockaddr *>(&addr), sizeof addr) == 0 &&
      send_all(fd, request.data(), request.size())) {
    static thread_local std::vector<char> buf(kReadSize);
    received = 0;
    for (;;) {
      const ssize_t n = recv(fd, buf.data(), buf.size(), 0);
      if (n < 0 && errno == EINTR) continue;
      if (n < 0) received = -1;
      if (n <= 0) break;
      received += n;
    }
  }
  close(fd);
  return received;
}

}  // namespace bench
