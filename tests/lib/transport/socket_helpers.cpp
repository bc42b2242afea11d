#include "socket_helpers.h"

#include <dlog.h>
#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <vector>

namespace cmpitest {

namespace {

std::atomic<int> g_signals{0};

void count_signal(int) { g_signals.fetch_add(1); }

struct sigaction g_saved_action {};

}  // namespace

TempDir::TempDir() {
  char pattern[] = "/tmp/cmpiu-transport-XXXXXX";
  if (mkdtemp(pattern) == nullptr) ADD_FAILURE() << "mkdtemp: " << std::strerror(errno);
  path_ = pattern;
}

TempDir::~TempDir() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

std::string TempDir::file(const std::string &name) const { return path_ + "/" + name; }

std::string TempDir::path_of_length(std::size_t length) const {
  std::string result = path_ + "/s";
  if (result.size() < length) result.append(length - result.size(), 'n');
  return result;
}

void TransportTest::SetUp() { dlog_threshold(); }

SockInfo BlankInfo() {
  SockInfo info;
  std::memset(&info, 0, sizeof(info));
  info.fd = -1;
  info.connFd = -1;
  return info;
}

bool IsSocketFile(const std::string &path) {
  struct stat st {};
  return lstat(path.c_str(), &st) == 0 && S_ISSOCK(st.st_mode);
}

bool Exists(const std::string &path) {
  struct stat st {};
  return lstat(path.c_str(), &st) == 0;
}

bool IsNonBlocking(int fd) { return (fcntl(fd, F_GETFL) & O_NONBLOCK) != 0; }

void MakeNonBlocking(int fd) { fcntl(fd, F_SETFL, fcntl(fd, F_GETFL) | O_NONBLOCK); }

int RawConnect(const std::string &path, bool non_blocking) {
  const int fd = socket(AF_UNIX, SOCK_STREAM, 0);
  if (fd < 0) return -1;
  if (non_blocking) MakeNonBlocking(fd);
  struct sockaddr_un addr {};
  addr.sun_family = AF_UNIX;
  std::strncpy(addr.sun_path, path.c_str(), sizeof(addr.sun_path) - 1);
  if (connect(fd, reinterpret_cast<struct sockaddr *>(&addr), sizeof(addr)) != 0) {
    close(fd);
    return -1;
  }
  return fd;
}

void RawSendAll(int fd, const std::string &text) {
  std::size_t done = 0;
  while (done < text.size()) {
    const ssize_t n = send(fd, text.data() + done, text.size() - done, 0);
    if (n < 0) {
      if (errno == EINTR) continue;
      ADD_FAILURE() << "send: " << std::strerror(errno);
      return;
    }
    done += static_cast<std::size_t>(n);
  }
}

std::size_t DrainAvailable(int fd) {
  std::vector<char> chunk(65536);
  std::size_t total = 0;
  for (;;) {
    const ssize_t n = recv(fd, chunk.data(), chunk.size(), 0);
    if (n > 0) {
      total += static_cast<std::size_t>(n);
      continue;
    }
    if (n < 0 && errno == EINTR) continue;
    return total;
  }
}

SmallBufferPair::SmallBufferPair() {
  int fds[2] = {-1, -1};
  if (socketpair(AF_UNIX, SOCK_STREAM, 0, fds) != 0) {
    ADD_FAILURE() << "socketpair: " << std::strerror(errno);
    return;
  }
  writer = fds[0];
  reader = fds[1];
  MakeNonBlocking(writer);
  MakeNonBlocking(reader);
  int size = 1;  // the kernel raises it to its minimum
  setsockopt(writer, SOL_SOCKET, SO_SNDBUF, &size, sizeof(size));
}

SmallBufferPair::~SmallBufferPair() {
  if (writer >= 0) close(writer);
  if (reader >= 0) close(reader);
}

void SmallBufferPair::fill() {
  const char byte = 'f';
  while (send(writer, &byte, 1, 0) == 1) {
  }
}

NoFreeDescriptors::NoFreeDescriptors() {
  getrlimit(RLIMIT_NOFILE, &saved_);
  const int lowest_free = open("/dev/null", O_RDONLY | O_CLOEXEC);
  if (lowest_free < 0) {
    ADD_FAILURE() << "open /dev/null: " << std::strerror(errno);
    return;
  }
  close(lowest_free);
  struct rlimit lowered = saved_;
  lowered.rlim_cur = static_cast<rlim_t>(lowest_free);
  if (setrlimit(RLIMIT_NOFILE, &lowered) != 0)
    ADD_FAILURE() << "setrlimit: " << std::strerror(errno);
}

NoFreeDescriptors::~NoFreeDescriptors() { setrlimit(RLIMIT_NOFILE, &saved_); }

CountingSignal::CountingSignal() {
  g_signals.store(0);
  struct sigaction action {};
  action.sa_handler = count_signal;
  sigemptyset(&action.sa_mask);
  action.sa_flags = 0;  // no SA_RESTART: the interrupted call fails with EINTR
  sigaction(SIGUSR1, &action, &g_saved_action);
}

CountingSignal::~CountingSignal() { sigaction(SIGUSR1, &g_saved_action, nullptr); }

int CountingSignal::count() const { return g_signals.load(); }

void CountingSignal::raise_in(pthread_t thread) { pthread_kill(thread, SIGUSR1); }

}  // namespace cmpitest
