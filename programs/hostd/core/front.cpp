// front.cpp - the front's event loop: signals, connections, requests, shutdown.
#include "front.h"

#include <cmpiutility/records.h>
#include <fcntl.h>
#include <sys/epoll.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/signalfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "front_state.h"
#include "log.h"
#include "memory_tuning.h"
#include "operations.h"
#include "log_text.h"
#include "socket_file.h"
#include "wire.h"

namespace hostd {
using wire::log_text;

void Output::add(std::string_view more) {
  if (sent > 0 && sent == bytes.size()) {
    bytes.clear();
    sent = 0;
  } else if (sent >= kOutputCompact && sent >= pending()) {
    // A client that keeps up without ever emptying the buffer would otherwise keep every byte
    // of its answer here; what is dropped is at least as much as what moves, so appending
    // stays linear.
    bytes.erase(0, sent);
    sent = 0;
  }
  bytes.append(more.data(), more.size());
}

sigset_t front_signals() {
  sigset_t set;
  sigemptyset(&set);
  sigaddset(&set, SIGCHLD);
  sigaddset(&set, SIGTERM);
  sigaddset(&set, SIGINT);
  sigaddset(&set, SIGHUP);
  return set;
}

Front::Front(SockInfo *server, const FrontConfig &config, const sigset_t &old_mask)
    : server_(server), config_(config), old_mask_(old_mask), pool_(config.workers) {}

Connection *Front::connection(int id) {
  auto it = connections_.find(id);
  return it == connections_.end() ? nullptr : &it->second;
}

bool Front::set_up() {
  // Processes that providers leave behind become the front's children when their worker ends,
  // so that they can be found and ended.
  prctl(PR_SET_CHILD_SUBREAPER, 1);
  // Many idle connections must not run the front out of descriptors.
  struct rlimit files;
  if (getrlimit(RLIMIT_NOFILE, &files) == 0 && files.rlim_cur < files.rlim_max) {
    files.rlim_cur = std::min<rlim_t>(files.rlim_max, 1u << 16);
    setrlimit(RLIMIT_NOFILE, &files);
  }
  sigset_t signals = front_signals();
  signal_fd_ = signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK);
  epoll_fd_ = epoll_create1(EPOLL_CLOEXEC);
  if (signal_fd_ < 0 || epoll_fd_ < 0) {
    HOSTD_ERROR("signalfd or epoll: %s", std::strerror(errno));
    return false;
  }
  fcntl(server_->fd, F_SETFL, fcntl(server_->fd, F_GETFL) | O_NONBLOCK);
  struct epoll_event ev = {};
  ev.events = EPOLLIN;
  ev.data.u64 = tag(Tag::kSignal);
  epoll_ctl(epoll_fd_, EPOLL_CTL_ADD, signal_fd_, &ev);
  ev.data.u64 = tag(Tag::kListen);
  epoll_ctl(epoll_fd_, EPOLL_CTL_ADD, server_->fd, &ev);
  return true;
}

int Front::run() {
  if (!set_up()) return 1;
  HOSTD_NOTICE("listening on %s", config_.socket_path.c_str());
  while (!stopping_ || !connections_.empty() || !channels_.empty()) {
    loop_once();
  }
  finish();
  return 0;
}

long long Front::timeout_ms(long long now) const {
  if (look_again_) return 0;
  long long next = 1LL << 40;
  auto earliest = [&](const Deadline &d) {
    if (d.set()) next = std::min(next, d.left_ms(now));
  };
  for (const auto &entry : connections_) {
    const Connection &c = entry.second;
    if (c.phase == Connection::Phase::kReading) earliest(c.read_deadline);
    if (c.out.pending() > 0) {
      next = std::min(next, std::max(0LL, c.out_progress + config_.provider_timeout * 1000LL - now));
    }
  }
  bool busy = false;
  for (const auto &entry : channels_) {
    const WorkerChannel &ch = entry.second;
    if (!ch.paused) earliest(ch.silence);
    earliest(ch.total);
    earliest(ch.kill_at);
    busy = busy || ch.connection != 0;
    // A worker answering directly is looked at every second (its client may stall, its answer
    // may have ended unseen), and soon when it left frames unsent in its window.
    if (ch.connection != 0 && ch.direct) {
      const AnswerWindow::Snapshot s = ch.window->look();
      const bool frames_wait = s.consistent && s.sent < s.placed && s.waiting_ms == 0;
      // Never sooner than kWaitingFramesMs: a client whose socket is full would otherwise
      // keep the front spinning.
      next = std::min(next, frames_wait ? std::max(kWaitingFramesMs,
                                                   s.progress_ms + kWaitingFramesMs - now)
                                        : 1000LL);
    }
  }
  if (busy && (config_.worker_cpu > 0 || config_.worker_memory > 0)) {
    next = std::min(next, kWatchEveryMs);
  }
  long long idle = pool_.next_idle_deadline();
  if (idle != 0) next = std::min(next, std::max(0LL, idle - now));
  if (stopping_) earliest(grace_);
  earliest(release_at_);
  return std::min(next, 60000LL);
}

void Front::loop_once() {
  struct epoll_event events[128];
  const int wait = static_cast<int>(timeout_ms(now_ms()));
  int n = epoll_wait(epoll_fd_, events, 128, wait);
  if (n < 0 && errno != EINTR) {
    HOSTD_ERROR("epoll_wait: %s", std::strerror(errno));
    n = 0;
  }
  look_again_ = false;
  // Answers that workers ended while the front slept come first: their workers are free.
  collect_answers();
  for (int i = 0; i < n; ++i) {
    const Tag kind = static_cast<Tag>(events[i].data.u64 >> 32);
    const int id = static_cast<int>(events[i].data.u64 & 0xffffffffu);
    switch (kind) {
      case Tag::kSignal:
        on_signal();
        break;
      case Tag::kListen:
        accept_connections();
        break;
      case Tag::kConnection:
        if (Connection *c = connection(id)) on_connection(*c, events[i].events);
        break;
      case Tag::kWorker:
        if (WorkerChannel *ch = channel(id)) on_worker(*ch, events[i].events);
        break;
    }
  }
  const long long now = now_ms();
  check_connections(now);
  check_workers(now);
  dispatch();
  for (int id : unwatched_) {
    if (Connection *c = connection(id)) watch_connection(*c);
  }
  unwatched_.clear();
  want_answer_ends();
  if (release_at_.passed(now)) {
    release_at_ = Deadline();
    if (connections_.empty()) release_free_memory();
  }
}

void Front::on_signal() {
  struct signalfd_siginfo info;
  while (read(signal_fd_, &info, sizeof info) == static_cast<ssize_t>(sizeof info)) {
    switch (info.ssi_signo) {
      case SIGCHLD:
        reap();
        break;
      case SIGTERM:
      case SIGINT:
        HOSTD_NOTICE("signal %u received: shutting down", info.ssi_signo);
        if (stopping_) {
          end_grace();  // a second stop signal ends the grace period
        } else {
          begin_shutdown();
        }
        break;
      default:
        HOSTD_TRACE("signal %u ignored", info.ssi_signo);
        break;
    }
  }
}

void Front::accept_connections() {
  while (listening_) {
    if (connections_.size() >= static_cast<std::size_t>(config_.max_connections)) {
      if (!at_limit_logged_) {
        HOSTD_NOTICE("%d connections open: new ones wait", config_.max_connections);
        at_limit_logged_ = true;
      }
      // Stop watching the listening socket until a connection ends.
      epoll_ctl(epoll_fd_, EPOLL_CTL_DEL, server_->fd, nullptr);
      accepting_ = false;
      return;
    }
    int fd = accept4(server_->fd, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
    if (fd < 0) {
      if (errno == EINTR || errno == ECONNABORTED) continue;
      if (errno != EAGAIN && errno != EWOULDBLOCK) {
        HOSTD_ERROR("accept: %s", std::strerror(errno));
      }
      return;
    }
    admit(fd);
  }
}

void Front::admit(int fd) {
  PeerCredentials peer;
  std::string error;
  if (!read_peer_credentials(fd, &peer, &error, config_.admission.needs_groups())) {
    HOSTD_ERROR("connection refused: the peer's credentials cannot be read: %s", error.c_str());
    close(fd);
    return;
  }
  if (!config_.admission.admits(peer)) {
    if (log_refusal(peer)) HOSTD_ERROR("connection refused: peer pid %d uid %u gid %u is not on the allow list",
                static_cast<int>(peer.pid), static_cast<unsigned>(peer.uid),
                static_cast<unsigned>(peer.gid));
    close(fd);
    return;
  }
  const PeerKind kind = config_.admission.kind_of(peer);
  const bool counted = kind == PeerKind::kSelf;
  if (counted && per_user_[peer.uid] >= config_.max_connections_per_user) {
    if (log_refusal(peer)) HOSTD_ERROR("connection refused: peer uid %u already holds %d connections",
                static_cast<unsigned>(peer.uid), config_.max_connections_per_user);
    const std::string frame = wire::error_frame(CMPI_RC_ERR_FAILED);
    (void)!::send(fd, frame.data(), frame.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
    close(fd);
    return;
  }
  const int id = next_connection_++;
  auto inserted = connections_.emplace(id, Connection(config_.max_request));
  Connection &c = inserted.first->second;
  c.id = id;
  c.fd = fd;
  c.peer = peer;
  c.kind = kind;
  c.counted = counted;
  if (counted) ++per_user_[peer.uid];
  c.read_deadline = Deadline::in_ms(config_.read_timeout * 1000LL);
  HOSTD_TRACE("connection from pid %d uid %u gid %u (%s)", static_cast<int>(peer.pid),
              static_cast<unsigned>(peer.uid), static_cast<unsigned>(peer.gid),
              peer_kind_name(kind));
  // Most clients send their request right after connecting, so it is usually here already:
  // reading it now spares a round through epoll. Only a request still on its way is watched.
  read_request(c);
  Connection *reading = connection(id);
  if (reading != nullptr && reading->phase == Connection::Phase::kReading) {
    watch_connection(*reading);
  }
}

// What epoll watches follows the phase: the request while reading, the client's readiness
// for output while there is output; hang-ups are always reported.
void Front::watch_connection(Connection &c) {
  // Nothing more is read or written once the client is gone; its hang-up would be reported
  // again and again. A connection a worker answers directly is the worker's to watch (the
  // window says when its client went away): the front would only be woken by the client's
  // hang-up after every answer.
  if (c.client_gone || serves_directly(c)) {
    if (c.registered) epoll_ctl(epoll_fd_, EPOLL_CTL_DEL, c.fd, nullptr);
    c.registered = false;
    return;
  }
  uint32_t events = 0;
  if (c.phase == Connection::Phase::kReading) events |= EPOLLIN;
  if (c.out.pending() > 0 && !c.client_gone) events |= EPOLLOUT;
  watch(c.fd, tag(Tag::kConnection, c.id), events, &c.registered, &c.events);
}

// Tells epoll what to report for fd, with one call and only when it changes.
void Front::watch(int fd, uint64_t data, uint32_t events, bool *registered, uint32_t *current) {
  if (*registered && events == *current) return;
  struct epoll_event ev = {};
  ev.events = events;
  ev.data.u64 = data;
  epoll_ctl(epoll_fd_, *registered ? EPOLL_CTL_MOD : EPOLL_CTL_ADD, fd, &ev);
  *registered = true;
  *current = events;
}

void Front::on_connection(Connection &c, uint32_t events) {
  const int id = c.id;
  if ((events & EPOLLOUT) != 0) flush(c);  // may close the connection
  if (connection(id) == nullptr) return;
  if (c.phase == Connection::Phase::kReading && (events & (EPOLLIN | EPOLLHUP | EPOLLERR)) != 0) {
    read_request(c);
    return;
  }
  if ((events & (EPOLLHUP | EPOLLERR)) != 0 && !c.client_gone) {
    c.client_gone = true;
    c.out = Output();
    switch (c.phase) {
      case Connection::Phase::kQueued:
        HOSTD_ERROR("%s: the client closed the connection while its request waited",
                    c.what.c_str());
        close_connection(c.id);
        return;
      case Connection::Phase::kServing:
        if (WorkerChannel *ch = channel(c.worker); ch != nullptr && ch->direct &&
            (ch->window->look().flags & AnswerWindow::kFinal) != 0) {
          // The worker is sending the end of the answer itself: a client that closes now has
          // read what it wanted.
          watch_connection(c);
          return;
        }
        HOSTD_ERROR("%s: the client closed the connection before the answer was complete",
                    c.what.c_str());
        if (WorkerChannel *ch = channel(c.worker)) {
          if (ch->paused) {
            ch->paused = false;
            ch->silence = Deadline::in_ms(config_.provider_timeout * 1000LL);
            watch_worker(*ch);
          }
        }
        watch_connection(c);
        return;
      default:
        close_connection(c.id);
        return;
    }
  }
}

void Front::read_request(Connection &c) {
  char piece[64 * 1024];
  for (;;) {
    const std::size_t room = std::min(sizeof piece, c.request.room());
    ssize_t n = recv(c.fd, piece, room, 0);
    if (n < 0) {
      if (errno == EINTR) continue;
      if (errno == EAGAIN || errno == EWOULDBLOCK) return;
      HOSTD_ERROR("request cannot be received: %s", std::strerror(errno));
      close_connection(c.id);
      return;
    }
    if (n == 0) {
      if (c.request.received() == 0) {
        HOSTD_TRACE("connection closed by the client before it sent a request");
        close_connection(c.id);
      } else {
        if (log_refusal(c.peer)) HOSTD_ERROR(
            "request truncated: the client stopped sending after %zu bytes, without the "
            "frame terminator",
            c.request.received());
        refuse(c, CMPI_RC_ERR_INVALID_PARAMETER);
      }
      return;
    }
    const std::size_t before = c.request.size();
    const RequestBuffer::State state = c.request.add(piece, static_cast<std::size_t>(n));
    buffered_ = buffered_ - before + c.request.size();
    if (state == RequestBuffer::State::kTooLarge) {
      if (log_refusal(c.peer)) HOSTD_ERROR("request too large: more than %zu bytes without the frame terminator",
                  config_.max_request);
      refuse(c, CMPI_RC_ERR_INVALID_PARAMETER);
      return;
    }
    if (buffered_ > config_.max_buffered) {
      if (log_refusal(c.peer)) HOSTD_ERROR(
          "request refused: the requests held by the daemon would pass %zu bytes (peer uid %u, "
          "%zu bytes received)",
          config_.max_buffered, static_cast<unsigned>(c.peer.uid), c.request.received());
      refuse(c, CMPI_RC_ERR_FAILED);
      return;
    }
    if (state == RequestBuffer::State::kComplete) {
      request_complete(c);
      return;
    }
  }
}

void Front::request_complete(Connection &c) {
  c.document = c.request.take_document();
  if (std::memchr(c.document.data(), '\0', c.document.size()) != nullptr) {
    if (log_refusal(c.peer)) HOSTD_ERROR("request rejected: the document contains a NUL byte");
    refuse(c, CMPI_RC_ERR_INVALID_PARAMETER);
    return;
  }
  RequestCheck check = check_request(c.document, config_.check);
  if (!check.accepted) {
    if (log_refusal(c.peer)) HOSTD_ERROR("request rejected: %s (peer uid %u, %zu bytes)", check.reason.c_str(),
                static_cast<unsigned>(c.peer.uid), c.document.size());
    refuse(c, CMPI_RC_ERR_INVALID_PARAMETER);
    return;
  }
  c.facts = std::move(check.facts);
  const char *op = wire::operation_name(c.facts.type);
  const std::string cls = log_text(c.facts.class_name);
  switch (decide_principal(config_.admission, c.peer, c.facts.principal, &c.principal, &users_,
                           now_ms())) {
    case PrincipalVerdict::kServe:
      break;
    case PrincipalVerdict::kMissing:
      if (log_refusal(c.peer)) HOSTD_ERROR("request refused: %s of %s names no principal", op, cls.c_str());
      refuse(c, CMPI_RC_ERR_ACCESS_DENIED);
      return;
    case PrincipalVerdict::kUnknownUser:
      if (log_refusal(c.peer)) HOSTD_ERROR("request refused: principal '%s' is not a local user",
                  log_text(c.facts.principal).c_str());
      refuse(c, CMPI_RC_ERR_ACCESS_DENIED);
      return;
    case PrincipalVerdict::kNotOwnUser:
      if (log_refusal(c.peer)) HOSTD_ERROR("request refused: principal '%s' is not the daemon's own user (uid %u)",
                  log_text(c.facts.principal).c_str(),
                  static_cast<unsigned>(config_.admission.daemon_uid));
      refuse(c, CMPI_RC_ERR_ACCESS_DENIED);
      return;
    case PrincipalVerdict::kNotAllowed:
      if (log_refusal(c.peer)) HOSTD_ERROR(
          "request refused: peer pid %d uid %u (%s) may not act as '%s'; %s of %s not served",
          static_cast<int>(c.peer.pid), static_cast<unsigned>(c.peer.uid),
          peer_kind_name(c.kind), log_text(c.facts.principal).c_str(), op, cls.c_str());
      refuse(c, CMPI_RC_ERR_ACCESS_DENIED);
      return;
  }
  c.what = std::string(op) + " of " + cls + " for " + c.principal.name;
  if (queue_.size() >= static_cast<std::size_t>(config_.max_queue)) {
    HOSTD_ERROR("%s: refused, %d requests already wait for a worker", c.what.c_str(),
                config_.max_queue);
    refuse(c, CMPI_RC_ERR_FAILED);
    return;
  }
  c.phase = Connection::Phase::kQueued;
  queue_.push_back(QueuedRequest{c.id, c.principal.uid});
  unwatched_.push_back(c.id);
}

// Answers with one error frame and closes once it is written.
void Front::refuse(Connection &c, int rc) {
  buffered_ -= std::min(buffered_, c.request.size() + c.document.size());
  c.document.clear();
  c.document.shrink_to_fit();
  c.phase = Connection::Phase::kClosing;
  send(c, wire::error_frame(rc));
}

void Front::send(Connection &c, std::string_view bytes) {
  if (c.client_gone) return;
  if (c.out.pending() == 0) c.out_progress = now_ms();
  c.out.add(bytes);
  flush(c);
}

void Front::flush(Connection &c) {
  while (c.out.pending() > 0 && !c.client_gone) {
    ssize_t n = ::send(c.fd, c.out.bytes.data() + c.out.sent, c.out.pending(),
                       MSG_NOSIGNAL | MSG_DONTWAIT);
    if (n < 0) {
      if (errno == EINTR) continue;
      if (errno == EAGAIN || errno == EWOULDBLOCK) break;
      HOSTD_ERROR("%s: the answer cannot be sent to the client: %s",
                  c.what.empty() ? "connection" : c.what.c_str(), std::strerror(errno));
      c.client_gone = true;
      c.out = Output();
      break;
    }
    c.out.sent += static_cast<std::size_t>(n);
    c.out_progress = now_ms();
  }
  if (c.out.pending() == 0) c.out = Output();
  if (c.phase == Connection::Phase::kClosing && (c.out.pending() == 0 || c.client_gone)) {
    close_connection(c.id);
    return;
  }
  resume_if_drained(c);
  watch_connection(c);
}

void Front::close_connection(int id) {
  Connection *c = connection(id);
  if (c == nullptr) return;
  if (c->phase == Connection::Phase::kQueued) {
    queue_.erase(std::remove_if(queue_.begin(), queue_.end(),
                                [id](const QueuedRequest &q) { return q.connection == id; }),
                 queue_.end());
  }
  buffered_ -= std::min(buffered_, c->request.size() + c->document.size());
  if (c->counted) {
    auto it = per_user_.find(c->peer.uid);
    if (it != per_user_.end() && --it->second <= 0) per_user_.erase(it);
  }
  if (c->registered) epoll_ctl(epoll_fd_, EPOLL_CTL_DEL, c->fd, nullptr);
  close(c->fd);
  connections_.erase(id);
  // Once no connection has been open for kIdleReleaseMs, what the requests freed goes back;
  // not at once, which would make a client's every request fault the same pages in again.
  if (connections_.empty()) release_at_ = Deadline::in_ms(kIdleReleaseMs);
  if (listening_ && !accepting_ &&
      connections_.size() < static_cast<std::size_t>(config_.max_connections)) {
    struct epoll_event ev = {};
    ev.events = EPOLLIN;
    ev.data.u64 = tag(Tag::kListen);
    epoll_ctl(epoll_fd_, EPOLL_CTL_ADD, server_->fd, &ev);
    accepting_ = true;
    at_limit_logged_ = false;
  }
}

void Front::check_connections(long long now) {
  if (now - refusals_flushed_ >= 10000) {
    refusals_flushed_ = now;
    for (const std::string &summary : refusals_.flush(now)) HOSTD_ERROR("%s", summary.c_str());
  }
  std::vector<int> overdue;
  std::vector<int> stalled;
  for (auto &entry : connections_) {
    Connection &c = entry.second;
    if (c.phase == Connection::Phase::kReading && c.read_deadline.passed(now)) {
      overdue.push_back(c.id);
    } else if (c.out.pending() > 0 && !c.client_gone &&
               now - c.out_progress >= config_.provider_timeout * 1000LL) {
      stalled.push_back(c.id);
    } else if (c.phase == Connection::Phase::kServing && !c.client_gone) {
      // A worker writing to the client itself says in its window since when it waits.
      const WorkerChannel *ch = channel(c.worker);
      if (ch != nullptr && ch->direct) {
        const long long waiting = ch->window->look().waiting_ms;
        if (waiting > 0 && now - waiting >= config_.provider_timeout * 1000LL) {
          stalled.push_back(c.id);
        }
      }
    }
  }
  // After the grace period, a client that does not take its error frame within a second is
  // not waited for.
  if (stopping_ && !grace_over_ && grace_.passed(now)) end_grace();
  if (grace_over_ && now - grace_.when() > 1000) {
    std::vector<int> all;
    for (auto &entry : connections_) all.push_back(entry.first);
    for (int id : all) close_connection(id);
    return;
  }
  for (int id : overdue) {
    Connection *c = connection(id);
    if (log_refusal(c->peer)) HOSTD_ERROR("request not complete within %d s (%zu bytes received)", config_.read_timeout,
                c->request.received());
    refuse(*c, CMPI_RC_ERR_INVALID_PARAMETER);
  }
  for (int id : stalled) {
    Connection *c = connection(id);
    HOSTD_ERROR("%s: the client has not read its answer for %d s; it is dropped",
                c->what.empty() ? "connection" : c->what.c_str(), config_.provider_timeout);
    c->client_gone = true;
    c->out = Output();
    // A worker waiting to write to the client stops waiting: its next send fails.
    shutdown(c->fd, SHUT_RDWR);
    if (c->phase != Connection::Phase::kServing) {
      close_connection(id);
    } else {
      resume_if_drained(*c);
      watch_connection(*c);
    }
  }
}

// Whether a refusal of this peer gets its log line: a peer that is refused again and again
// cannot make the daemon write a line each time; what is held back is summed up in one line.
bool Front::log_refusal(const PeerCredentials &peer) {
  RefusalDecision decision = refusals_.admit(RefusalPeer::uid(peer.uid), now_ms());
  for (const std::string &summary : decision.summaries) HOSTD_ERROR("%s", summary.c_str());
  return decision.write;
}

void Front::begin_shutdown() {
  stopping_ = true;
  grace_ = Deadline::in_ms(config_.shutdown_grace * 1000LL);
  if (listening_) {
    if (accepting_) epoll_ctl(epoll_fd_, EPOLL_CTL_DEL, server_->fd, nullptr);
    serverSockclose(server_);
    remove_socket_file(config_.socket_path, config_.socket_inode);
    listening_ = false;
    accepting_ = false;
  }
  if (!connections_.empty()) {
    HOSTD_NOTICE("waiting up to %d s for %zu running connections", config_.shutdown_grace,
                 connections_.size());
  }
  for (int id : pool_.ids()) {
    WorkerRecord *w = pool_.find(id);
    WorkerChannel *ch = channel(id);
    if (w != nullptr && ch != nullptr && w->state == WorkerState::kIdle) retire_worker(*ch);
  }
  if (config_.shutdown_grace == 0) end_grace();
}

// Every client still waiting gets an error frame; every worker ends.
void Front::end_grace() {
  if (grace_over_) return;
  grace_over_ = true;
  grace_ = Deadline::at_ms(now_ms());
  std::size_t waiting = 0;
  for (auto &entry : connections_) {
    if (entry.second.phase != Connection::Phase::kClosing) ++waiting;
  }
  if (waiting > 0) {
    HOSTD_NOTICE("the grace period is over: %zu clients still waiting get CMPIERROR:%d", waiting,
                 CMPI_RC_ERR_FAILED);
  }
  for (auto &entry : channels_) {
    if (entry.second.pid > 0) kill_worker(entry.second, "was still running when the grace period ended");
  }
  std::vector<int> ids;
  for (auto &entry : connections_) ids.push_back(entry.first);
  for (int id : ids) {
    Connection *c = connection(id);
    if (c != nullptr && c->phase != Connection::Phase::kClosing) {
      refuse(*c, CMPI_RC_ERR_FAILED);
    }
  }
  queue_.clear();
}

void Front::finish() {
  sweep_left_behind();
  if (!config_.pid_file.empty()) unlink(config_.pid_file.c_str());
  close(signal_fd_);
  close(epoll_fd_);
  HOSTD_NOTICE("stopped");
}

int run_front(SockInfo *server, const FrontConfig &config, const sigset_t &old_mask) {
  Front front(server, config, old_mask);
  return front.run();
}

}  // namespace hostd
