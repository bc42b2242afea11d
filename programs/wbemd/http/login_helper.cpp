// login_helper.cpp - the privileged login helper and its socketpair protocol.
#include "login_helper.h"

#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <vector>

#include "basic_credentials.h"
#include "http_log.h"
#include "pam_check.h"

namespace wbem {
namespace {

constexpr std::size_t kMaxHost = 64;
constexpr int kAnswerTimeoutMs = 30000;

bool write_all(int fd, const char *data, std::size_t size) {
  while (size > 0) {
    ssize_t n = send(fd, data, size, MSG_NOSIGNAL);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return false;
    data += n;
    size -= static_cast<std::size_t>(n);
  }
  return true;
}

// Reads exactly size bytes; false on end of file or error. timeout_ms < 0 waits forever.
bool read_all(int fd, char *data, std::size_t size, int timeout_ms) {
  while (size > 0) {
    if (timeout_ms >= 0) {
      struct pollfd p = {fd, POLLIN, 0};
      int r = poll(&p, 1, timeout_ms);
      if (r < 0 && errno == EINTR) continue;
      if (r <= 0) return false;
    }
    ssize_t n = read(fd, data, size);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return false;
    data += n;
    size -= static_cast<std::size_t>(n);
  }
  return true;
}

bool printable(const std::string &text) {
  for (char c : text) {
    if (c < 0x21 || c > 0x7e) return false;
  }
  return true;
}

}  // namespace

int serve_login_questions(int fd, const std::string &service, const std::string &config_dir) {
  for (;;) {
    uint16_t lengths[3];
    if (!read_all(fd, reinterpret_cast<char *>(lengths), sizeof lengths, -1)) return 0;
    if (lengths[0] == 0 || lengths[0] > kMaxUserName || lengths[1] > kMaxPassword ||
        lengths[2] > kMaxHost) {
      return 3;
    }
    std::string user(lengths[0], '\0');
    std::string password(lengths[1], '\0');
    std::string host(lengths[2], '\0');
    if (!read_all(fd, &user[0], user.size(), -1) ||
        (!password.empty() && !read_all(fd, &password[0], password.size(), -1)) ||
        (!host.empty() && !read_all(fd, &host[0], host.size(), -1))) {
      return 3;
    }
    if (!valid_user_name(user) || password.find('\0') != std::string::npos || !printable(host)) {
      return 3;
    }
    std::string reason;
    bool ok = pam_login(service, config_dir, user, password, host, &reason);
    explicit_bzero(&password[0], password.size());
    char answer = ok ? 'Y' : 'N';
    if (!write_all(fd, &answer, 1)) return 0;
  }
}

LoginHelper::~LoginHelper() { stop(); }

bool LoginHelper::start(std::string *error) {
  int pair[2];
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, pair) != 0) {
    *error = std::string("login helper: socketpair: ") + std::strerror(errno);
    return false;
  }
  pid_t parent = getpid();
  pid_t pid = fork();
  if (pid < 0) {
    *error = std::string("login helper: fork: ") + std::strerror(errno);
    close(pair[0]);
    close(pair[1]);
    return false;
  }
  if (pid == 0) {
    close(pair[0]);
    // The helper must not outlive the daemon; a stop signal meant for the daemon's group ends
    // it too, which is fine: it holds no state.
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    if (getppid() != parent) _exit(0);
    signal(SIGPIPE, SIG_IGN);
    _exit(serve_login_questions(pair[1], service_, config_dir_));
  }
  close(pair[1]);
  fd_ = pair[0];
  pid_ = pid;
  return true;
}

void LoginHelper::stop() {
  std::lock_guard<std::mutex> lock(mutex_);
  if (fd_ >= 0) {
    close(fd_);
    fd_ = -1;
  }
  if (pid_ > 0) {
    int status = 0;
    while (waitpid(pid_, &status, 0) < 0 && errno == EINTR) {
    }
    pid_ = -1;
  }
}

bool LoginHelper::login(const std::string &user, const std::string &password,
                        const std::string &peer_host) {
  if (!valid_user_name(user) || password.size() > kMaxPassword ||
      password.find('\0') != std::string::npos) {
    return false;
  }
  std::string host = peer_host.size() <= kMaxHost && printable(peer_host) ? peer_host : "";
  uint16_t lengths[3] = {static_cast<uint16_t>(user.size()),
                         static_cast<uint16_t>(password.size()),
                         static_cast<uint16_t>(host.size())};
  std::string question(reinterpret_cast<const char *>(lengths), sizeof lengths);
  question += user;
  question += password;
  question += host;
  std::lock_guard<std::mutex> lock(mutex_);
  if (fd_ < 0) {
    explicit_bzero(&question[0], question.size());
    HTTP_ERROR("login helper is not running; login of %s refused", user.c_str());
    return false;
  }
  bool sent = write_all(fd_, question.data(), question.size());
  explicit_bzero(&question[0], question.size());
  char answer = 0;
  if (!sent || !read_all(fd_, &answer, 1, kAnswerTimeoutMs)) {
    HTTP_ERROR("login helper did not answer; it is stopped and every further login refused");
    close(fd_);
    fd_ = -1;
    if (pid_ > 0) kill(pid_, SIGKILL);
    return false;
  }
  HTTP_TRACE("login helper answered for user %s from %s: %s", user.c_str(), host.c_str(),
             answer == 'Y' ? "may log in" : "refused");
  return answer == 'Y';
}

}  // namespace wbem
