// listener.cpp - the accept loop of the main process.
#include "listener.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/signalfd.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <set>

#include "log.h"
#include "relay.h"
#include "socket_file.h"

namespace hostd {
namespace {

long long now_ms() {
  struct timespec ts;
  clock_gettime(CLOCK_MONOTONIC, &ts);
  return static_cast<long long>(ts.tv_sec) * 1000 + ts.tv_nsec / 1000000;
}

class Listener {
 public:
  Listener(SockInfo *server, const ListenerConfig &config, const sigset_t &old_mask)
      : server_(server), config_(config), old_mask_(old_mask) {}
  int run();

 private:
  enum class Signal { kNone, kChild, kStop };
  Signal take_signal();
  void reap();
  void accept_one();
  void start_supervisor();
  void shut_down();

  SockInfo *server_;
  const ListenerConfig &config_;
  sigset_t old_mask_;
  int signal_fd_ = -1;
  std::set<pid_t> supervisors_;
  bool at_limit_logged_ = false;
};

Listener::Signal Listener::take_signal() {
  struct signalfd_siginfo info;
  ssize_t n = read(signal_fd_, &info, sizeof info);
  if (n != static_cast<ssize_t>(sizeof info)) return Signal::kNone;
  switch (info.ssi_signo) {
    case SIGCHLD:
      return Signal::kChild;
    case SIGTERM:
    case SIGINT:
      HOSTD_NOTICE("signal %u received: shutting down", info.ssi_signo);
      return Signal::kStop;
    default:
      HOSTD_TRACE("signal %u ignored", info.ssi_signo);
      return Signal::kNone;
  }
}

void Listener::reap() {
  for (;;) {
    int status = 0;
    pid_t pid = waitpid(-1, &status, WNOHANG);
    if (pid <= 0) break;
    supervisors_.erase(pid);
    if (WIFEXITED(status) && WEXITSTATUS(status) == 0) {
      HOSTD_TRACE("supervisor %d done", static_cast<int>(pid));
    } else {
      HOSTD_ERROR("supervisor %d %s", static_cast<int>(pid), describe_wait_status(status).c_str());
    }
  }
  if (supervisors_.size() < static_cast<std::size_t>(config_.max_clients)) at_limit_logged_ = false;
}

void Listener::start_supervisor() {
  pid_t pid = fork();
  if (pid < 0) {
    HOSTD_ERROR("cannot start a supervisor: %s; connection closed", std::strerror(errno));
    return;
  }
  if (pid == 0) {
    setpgid(0, 0);
    close(signal_fd_);
    SockInfo conn = *server_;
    serverSockclose(&conn);  // the listening socket stays with the main process
    sigprocmask(SIG_SETMASK, &old_mask_, nullptr);
    // Standard output is no channel of the daemon (its log goes through dlog); what the library
    // or a provider prints there while serving a connection is dropped.
    int null_fd = open("/dev/null", O_WRONLY | O_CLOEXEC);
    if (null_fd >= 0) {
      dup2(null_fd, STDOUT_FILENO);
      close(null_fd);
    }
    run_supervisor(conn, config_.supervisor);
  }
  setpgid(pid, pid);
  supervisors_.insert(pid);
  HOSTD_TRACE("supervisor %d started (%zu running)", static_cast<int>(pid), supervisors_.size());
}

void Listener::accept_one() {
  if (acceptServer(server_) != CMPIU_SOCK_OK) {
    // Out of descriptors or a connection that vanished: the library logged it; pause briefly so
    // a persistent failure does not turn the loop into a busy one.
    struct timespec pause = {0, 50 * 1000 * 1000};
    nanosleep(&pause, nullptr);
    return;
  }
  PeerCredentials peer;
  std::string error;
  if (!read_peer_credentials(server_->connFd, &peer, &error)) {
    HOSTD_ERROR("connection refused: the peer's credentials cannot be read: %s", error.c_str());
  } else if (!config_.allow.admits(peer)) {
    HOSTD_ERROR("connection refused: peer pid %d uid %u gid %u is not on the allow list",
                static_cast<int>(peer.pid), static_cast<unsigned>(peer.uid),
                static_cast<unsigned>(peer.gid));
  } else {
    HOSTD_TRACE("connection from pid %d uid %u gid %u", static_cast<int>(peer.pid),
                static_cast<unsigned>(peer.uid), static_cast<unsigned>(peer.gid));
    start_supervisor();
  }
  serverAcceptclose(server_);
}

void Listener::shut_down() {
  serverSockclose(server_);
  remove_socket_file(config_.socket_path, config_.socket_inode);
  if (!supervisors_.empty()) {
    HOSTD_NOTICE("waiting up to %d s for %zu running connections", config_.shutdown_grace,
                 supervisors_.size());
  }
  const long long deadline = now_ms() + static_cast<long long>(config_.shutdown_grace) * 1000;
  while (!supervisors_.empty()) {
    long long left = deadline - now_ms();
    if (left <= 0) break;
    struct pollfd fd = {signal_fd_, POLLIN, 0};
    if (poll(&fd, 1, static_cast<int>(left)) <= 0) continue;
    if (take_signal() == Signal::kStop) break;  // a second stop signal ends the grace period
    reap();
  }
  if (!supervisors_.empty()) {
    HOSTD_NOTICE("killing %zu connections still running", supervisors_.size());
    for (pid_t pid : supervisors_) kill(-pid, SIGKILL);
    while (!supervisors_.empty()) {
      int status = 0;
      pid_t pid = waitpid(-1, &status, 0);
      if (pid < 0) {
        if (errno == EINTR) continue;
        break;
      }
      supervisors_.erase(pid);
    }
  }
  if (!config_.pid_file.empty()) unlink(config_.pid_file.c_str());
  close(signal_fd_);
  HOSTD_NOTICE("stopped");
}

int Listener::run() {
  sigset_t signals = listener_signals();
  signal_fd_ = signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK);
  if (signal_fd_ < 0) {
    HOSTD_ERROR("signalfd: %s", std::strerror(errno));
    return 1;
  }
  HOSTD_NOTICE("listening on %s", config_.socket_path.c_str());
  for (;;) {
    const bool room = supervisors_.size() < static_cast<std::size_t>(config_.max_clients);
    if (!room && !at_limit_logged_) {
      HOSTD_NOTICE("%d connections running: new ones wait", config_.max_clients);
      at_limit_logged_ = true;
    }
    struct pollfd fds[2] = {{signal_fd_, POLLIN, 0},
                            {server_->fd, static_cast<short>(room ? POLLIN : 0), 0}};
    int ready = poll(fds, 2, -1);
    if (ready < 0) {
      if (errno == EINTR) continue;
      HOSTD_ERROR("poll: %s", std::strerror(errno));
      break;
    }
    if ((fds[0].revents & POLLIN) != 0) {
      Signal sig = take_signal();
      if (sig == Signal::kStop) break;
      if (sig == Signal::kChild) reap();
    }
    if (room && (fds[1].revents & POLLIN) != 0) accept_one();
  }
  shut_down();
  return 0;
}

}  // namespace

sigset_t listener_signals() {
  sigset_t set;
  sigemptyset(&set);
  sigaddset(&set, SIGCHLD);
  sigaddset(&set, SIGTERM);
  sigaddset(&set, SIGINT);
  sigaddset(&set, SIGHUP);
  return set;
}

int run_listener(SockInfo *server, const ListenerConfig &config, const sigset_t &old_mask) {
  Listener listener(server, config, old_mask);
  return listener.run();
}

}  // namespace hostd
