// front_workers.cpp - the front's side of the workers: start, hand over, relay, watch, end.
#include <cmpiutility/records.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "front_state.h"
#include "log.h"
#include "process_watch.h"
#include "wire.h"
#include "worker_process.h"

namespace hostd {

std::string describe_wait_status(int status) {
  if (WIFEXITED(status)) return "exited with status " + std::to_string(WEXITSTATUS(status));
  if (WIFSIGNALED(status)) {
    int sig = WTERMSIG(status);
    const char *name = strsignal(sig);
    return "was killed by signal " + std::to_string(sig) + " (" + (name ? name : "?") + ")";
  }
  return "ended with wait status " + std::to_string(status);
}

WorkerChannel *Front::channel(int id) {
  auto it = channels_.find(id);
  return it == channels_.end() ? nullptr : &it->second;
}

std::vector<int> Front::front_fds() const {
  std::vector<int> fds = {epoll_fd_, signal_fd_};
  if (server_->fd >= 0) fds.push_back(server_->fd);
  for (const auto &entry : connections_) fds.push_back(entry.second.fd);
  for (const auto &entry : channels_) fds.push_back(entry.second.fd);
  return fds;
}

void Front::dispatch() {
  if (queue_.empty()) return;
  // Workers answering directly say in their window when their answer's end is on its way.
  for (auto &entry : channels_) {
    WorkerChannel &ch = entry.second;
    if (ch.connection == 0 || !ch.direct) continue;
    if (WorkerRecord *w = pool_.find(ch.id)) {
      w->finishing = (ch.window->look().flags & AnswerWindow::kFinal) != 0;
    }
  }
  while (!queue_.empty()) {
    DispatchPlan plan = plan_dispatch(queue_, pool_);
    if (plan.action == DispatchPlan::Action::kNothing) return;
    const int id = queue_[plan.index].connection;
    queue_.erase(queue_.begin() + static_cast<long>(plan.index));
    Connection *c = connection(id);
    if (c == nullptr) continue;
    switch (plan.action) {
      case DispatchPlan::Action::kUseIdle: {
        WorkerChannel *ch = channel(plan.worker);
        pool_.mark_busy(plan.worker);
        hand_over(*c, *ch);
        break;
      }
      case DispatchPlan::Action::kEvictAndStart:
        if (WorkerChannel *victim = channel(plan.evict)) retire_worker(*victim);
        [[fallthrough]];
      case DispatchPlan::Action::kStart:
        if (!start_worker(*c)) refuse(*c, CMPI_RC_ERR_FAILED);
        break;
      case DispatchPlan::Action::kNothing:
        return;
    }
  }
}

bool Front::start_worker(Connection &c) {
  int pair[2];
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, pair) != 0) {
    HOSTD_ERROR("%s: cannot start a worker: socketpair: %s", c.what.c_str(),
                std::strerror(errno));
    return false;
  }
  WorkerSetup setup;
  setup.principal = c.principal;
  setup.channel_fd = pair[1];
  setup.close_fds = front_fds();
  setup.close_fds.push_back(pair[0]);
  setup.signal_mask = old_mask_;
  setup.front = getpid();
  setup.address_space = config_.worker_memory;
  setup.provider_idle_ms = config_.provider_idle_ms;
  setup.encoder_thread = config_.encoder_thread;
  // Made before the fork so that the worker inherits it; no later fork inherits it.
  std::unique_ptr<AnswerWindow> window(AnswerWindow::create());
  setup.window = window.get();
  pid_t pid = fork();
  if (pid < 0) {
    HOSTD_ERROR("%s: cannot start a worker: %s", c.what.c_str(), std::strerror(errno));
    close(pair[0]);
    close(pair[1]);
    return false;
  }
  if (pid == 0) run_worker_process(setup);
  if (window != nullptr) window->keep_from_forks();
  close(pair[1]);
  setpgid(pid, pid);
  fcntl(pair[0], F_SETFL, fcntl(pair[0], F_GETFL) | O_NONBLOCK);
  const int id = pool_.add(pid, c.principal.uid, c.principal.name);
  WorkerChannel &ch = channels_[id];
  ch.id = id;
  ch.fd = pair[0];
  ch.pid = pid;
  ch.window = std::move(window);
  HOSTD_TRACE("worker %d started for user %s (%d workers)", static_cast<int>(pid),
              c.principal.name.c_str(), pool_.active());
  hand_over(c, ch);
  return true;
}

void Front::hand_over(Connection &c, WorkerChannel &ch) {
  c.phase = Connection::Phase::kServing;
  c.worker = ch.id;
  ch.connection = c.id;
  ch.direct = false;
  ch.window_locked = false;
  long written = -1;
  if (ch.window != nullptr && ch.out.pending() == 0) {
    // The client's connection goes with the request, so the worker answers it directly.
    ch.window->reset();
    written = send_request_with_connection(ch.fd, c.document, c.fd);
  }
  if (written >= 0) {
    ch.direct = true;
    const std::size_t whole = kMessageHeader + c.document.size();
    const std::size_t done = static_cast<std::size_t>(written);
    buffered_ -= std::min(buffered_, done);
    if (done < kMessageHeader) {
      ch.out.add(message_header(MessageKind::kRequest, c.document.size()).substr(done));
      ch.out.add(c.document);
    } else if (done < whole) {
      ch.out.add(std::string_view(c.document).substr(done - kMessageHeader));
    }
  } else {
    ch.out.add(message_header(MessageKind::kRequest, c.document.size()));
    ch.out.add(c.document);
  }
  std::string().swap(c.document);
  const long long now = now_ms();
  ch.silence = Deadline::at_ms(now + config_.provider_timeout * 1000LL);
  ch.total = config_.request_deadline > 0
                 ? Deadline::at_ms(now + config_.request_deadline * 1000LL)
                 : Deadline();
  // The CPU time the worker has used so far is read at the first watch (most requests are done
  // before it): what a request uses before then is not counted against its limit.
  ch.cpu_base_ms = -1;
  HOSTD_TRACE("%s: worker %d serves it", c.what.c_str(), static_cast<int>(ch.pid));
  flush_worker(ch);
  watch_connection(c);
}

void Front::watch_worker(WorkerChannel &ch) {
  if (ch.fd < 0) return;
  uint32_t events = 0;
  if (!ch.paused && !ch.eof) events |= EPOLLIN;
  if (ch.out.pending() > 0) events |= EPOLLOUT;
  watch(ch.fd, tag(Tag::kWorker, ch.id), events, &ch.registered, &ch.events);
}

void Front::flush_worker(WorkerChannel &ch) {
  while (ch.out.pending() > 0) {
    ssize_t n = ::send(ch.fd, ch.out.bytes.data() + ch.out.sent, ch.out.pending(),
                       MSG_NOSIGNAL | MSG_DONTWAIT);
    if (n < 0) {
      if (errno == EINTR) continue;
      if (errno == EAGAIN || errno == EWOULDBLOCK) break;
      ch.out = Output();  // the worker is gone; its end is handled when it is reaped
      break;
    }
    ch.out.sent += static_cast<std::size_t>(n);
    buffered_ -= std::min(buffered_, static_cast<std::size_t>(n));
  }
  if (ch.out.pending() == 0) ch.out = Output();
  watch_worker(ch);
}

void Front::on_worker(WorkerChannel &ch, uint32_t events) {
  if ((events & EPOLLOUT) != 0) flush_worker(ch);
  if ((events & (EPOLLIN | EPOLLHUP | EPOLLERR)) != 0 && !ch.paused) read_worker(ch);
}

void Front::read_worker(WorkerChannel &ch) {
  char piece[256 * 1024];
  while (!ch.paused && !ch.eof) {
    ssize_t n = recv(ch.fd, piece, sizeof piece, MSG_DONTWAIT);
    if (n < 0) {
      if (errno == EINTR) continue;
      if (errno == EAGAIN || errno == EWOULDBLOCK) break;
      n = 0;
    }
    if (n == 0) {
      ch.eof = true;
      watch_worker(ch);
      WorkerRecord *w = pool_.find(ch.id);
      if (w != nullptr && w->state != WorkerState::kRetiring) {
        // A worker only ends its channel by ending; make sure it does, so it is reaped.
        kill(-ch.pid, SIGKILL);
        kill(ch.pid, SIGKILL);
      }
      return;
    }
    ch.reader.append(piece, static_cast<std::size_t>(n));
    MessageReader::Message message;
    for (;;) {
      MessageReader::Next next = ch.reader.next(&message);
      if (next == MessageReader::Next::kNeedMore) break;
      if (next == MessageReader::Next::kBroken || message.kind == MessageKind::kRequest) {
        kill_worker(ch, "sent a message the front does not understand");
        return;
      }
      // Only a wake-up: the window tells whether an answer ended (collect_answers).
      if (message.kind == MessageKind::kWake) {
        look_again_ = true;
        continue;
      }
      Connection *c = ch.connection != 0 ? connection(ch.connection) : nullptr;
      ch.silence = Deadline::in_ms(config_.provider_timeout * 1000LL);
      if (c != nullptr) {
        c->frames += wire::count_frames(message.payload);
        send(*c, message.payload);
      }
      if (message.kind == MessageKind::kEnd) {
        if (c != nullptr && ch.direct) c->frames += ch.window->look().frames;
        request_done(ch, c);
        if (channel(ch.id) == nullptr) return;
        continue;
      }
      if (c != nullptr && c->out.pending() > kOutputHigh) {
        ch.paused = true;  // the client takes its time; the worker waits for it
        watch_worker(ch);
      }
    }
    // The answer has ended: the worker sends nothing more before its next request, so there is
    // no need to ask the channel again (whatever comes, its end included, is reported anew).
    if (ch.connection == 0 && ch.reader.buffered() == 0) return;
  }
}

void Front::resume_if_drained(Connection &c) {
  if (c.phase != Connection::Phase::kServing) return;
  WorkerChannel *ch = channel(c.worker);
  if (ch == nullptr || !ch->paused) return;
  if (c.out.pending() > kOutputLow && !c.client_gone) return;
  ch->paused = false;
  ch->silence = Deadline::in_ms(config_.provider_timeout * 1000LL);
  watch_worker(*ch);
  read_worker(*ch);
}

bool Front::serves_directly(const Connection &c) {
  if (c.phase != Connection::Phase::kServing || c.out.pending() > 0) return false;
  const WorkerChannel *ch = channel(c.worker);
  return ch != nullptr && ch->direct;
}

bool Front::answer_done(const WorkerChannel &ch) const {
  return ch.connection != 0 && ch.direct && ch.window != nullptr &&
         (ch.window->look().flags & AnswerWindow::kDone) != 0;
}

// The worker wrote the whole answer itself and said so in its window.
void Front::end_direct_answer(WorkerChannel &ch) {
  Connection *c = connection(ch.connection);
  if (c != nullptr) {
    const AnswerWindow::Snapshot s = ch.window->look();
    c->frames += s.frames;
    if ((s.flags & AnswerWindow::kClientGone) != 0 && !c->client_gone) {
      HOSTD_ERROR("%s: the client closed the connection before the answer was complete",
                  c->what.c_str());
      c->client_gone = true;
    }
  }
  request_done(ch, c);
}

void Front::collect_answers() {
  std::vector<int> done;
  for (const auto &entry : channels_) {
    if (answer_done(entry.second)) done.push_back(entry.first);
  }
  for (int id : done) {
    if (WorkerChannel *ch = channel(id); ch != nullptr && answer_done(*ch)) end_direct_answer(*ch);
  }
}

// While requests wait for workers (or the daemon is stopping, or no connection can be
// accepted), the front wants to hear at once when a worker's direct answer ends.
void Front::want_answer_ends() {
  if (queue_.empty() && !stopping_ && accepting_) return;
  for (auto &entry : channels_) {
    WorkerChannel &ch = entry.second;
    if (ch.connection == 0 || !ch.direct || ch.window == nullptr) continue;
    const uint32_t flags =
        ch.window->header().flags.fetch_or(AnswerWindow::kWanted, std::memory_order_seq_cst);
    // Done before it could see the wish: it will not wake the front, so no sleep now.
    if ((flags & AnswerWindow::kDone) != 0) look_again_ = true;
  }
}

void Front::request_done(WorkerChannel &ch, Connection *c) {
  if (c != nullptr) {
    HOSTD_TRACE("%s: answered with %lu frames by worker %d", c->what.c_str(), c->frames,
                static_cast<int>(ch.pid));
    c->phase = Connection::Phase::kClosing;
    c->worker = 0;
    flush(*c);
  }
  ch.connection = 0;
  ch.direct = false;
  ch.silence = Deadline();
  ch.total = Deadline();
  if (stopping_ || pool_.mark_idle(ch.id, now_ms())) retire_worker(ch);
}

// The answer ends with an error frame after the whole frames passed on so far.
void Front::fail_request(WorkerChannel &ch, const std::string &why) {
  // An answer that ended unseen before this is whole: the client has it.
  if (answer_done(ch)) end_direct_answer(ch);
  Connection *c = ch.connection != 0 ? connection(ch.connection) : nullptr;
  ch.connection = 0;
  if (c == nullptr) return;
  const bool accounted = !ch.direct || take_over_answer(ch, *c);
  ch.direct = false;
  if (!accounted) {
    HOSTD_ERROR("%s: worker %d %s while it was sending its answer; the connection is closed "
                "without an error frame, since what reached the client cannot be told",
                c->what.c_str(), static_cast<int>(ch.pid), why.c_str());
    c->worker = 0;
    c->phase = Connection::Phase::kClosing;
    close_connection(c->id);
    return;
  }
  HOSTD_ERROR("%s: worker %d %s (%lu frames passed on); the client gets CMPIERROR:%d",
              c->what.c_str(), static_cast<int>(ch.pid), why.c_str(), c->frames,
              CMPI_RC_ERR_FAILED);
  const int id = c->id;
  c->worker = 0;
  c->phase = Connection::Phase::kClosing;
  if (c->client_gone) {
    close_connection(id);
    return;
  }
  send(*c, wire::error_frame(CMPI_RC_ERR_FAILED));  // closes the connection once written
}

// A worker that held the client's connection is dead or about to be killed: the whole frames
// it placed but did not send go to the client from here. false when that cannot be done
// safely: the worker died holding the window (in the middle of a send, or it wrote nonsense
// there), so nobody knows where the client's bytes end.
bool Front::take_over_answer(WorkerChannel &ch, Connection &c) {
  if (ch.window == nullptr) return true;
  const AnswerWindow::Snapshot s = ch.window->look();
  c.frames += s.frames;
  if (!ch.window_locked) {
    if (!ch.window->lock(AnswerWindow::kFront, 0)) return false;
    ch.window_locked = true;
  }
  if (!s.consistent) return false;
  const std::string_view rest = ch.window->take_unsent();
  if (!rest.empty()) send(c, rest);
  return true;
}

void Front::kill_worker(WorkerChannel &ch, const std::string &why) {
  if (ch.pid <= 0) return;
  // A worker sending from its window finishes that send first (it never blocks holding the
  // lock), so that what reached the client is known when it dies.
  if (ch.direct && ch.window != nullptr && !ch.window_locked) {
    ch.window_locked = ch.window->lock(AnswerWindow::kFront, 50);
  }
  fail_request(ch, "was killed: it " + why);
  kill(-ch.pid, SIGKILL);
  kill(ch.pid, SIGKILL);
  pool_.mark_retiring(ch.id);
  ch.paused = true;  // nothing more is read from it
  ch.silence = Deadline();
  ch.total = Deadline();
  ch.kill_at = Deadline();
  watch_worker(ch);
}

void Front::retire_worker(WorkerChannel &ch) {
  pool_.mark_retiring(ch.id);
  shutdown(ch.fd, SHUT_WR);
  ch.kill_at = Deadline::in_ms(config_.provider_timeout * 1000LL);
  HOSTD_TRACE("worker %d of user %s retires", static_cast<int>(ch.pid),
              pool_.find(ch.id) ? pool_.find(ch.id)->user.c_str() : "?");
}

void Front::reap() {
  bool worker_ended = false;
  for (;;) {
    int status = 0;
    pid_t pid = waitpid(-1, &status, WNOHANG);
    if (pid <= 0) break;
    WorkerRecord *w = pool_.find_pid(pid);
    if (w == nullptr) continue;  // something a provider left behind, ended
    WorkerChannel *ch = channel(w->id);
    if (ch != nullptr) worker_gone(*ch, status);
    worker_ended = true;
  }
  if (worker_ended) sweep_left_behind();
}

void Front::worker_gone(WorkerChannel &ch, int status) {
  const std::string how = describe_wait_status(status);
  if (ch.connection != 0) {
    // Whole messages that arrived before the end are passed on first (a worker that answers
    // directly sends through the channel only after its window is empty).
    ch.paused = false;
    read_worker(ch);
  }
  if (ch.connection != 0) {
    fail_request(ch, how + " before its answer was complete");
  } else if (WIFEXITED(status) && WEXITSTATUS(status) == 0) {
    HOSTD_TRACE("worker %d %s", static_cast<int>(ch.pid), how.c_str());
  } else {
    HOSTD_NOTICE("worker %d %s", static_cast<int>(ch.pid), how.c_str());
  }
  buffered_ -= std::min(buffered_, ch.out.pending());
  if (ch.fd >= 0) {
    epoll_ctl(epoll_fd_, EPOLL_CTL_DEL, ch.fd, nullptr);
    close(ch.fd);
  }
  const int id = ch.id;
  pool_.remove(id);
  channels_.erase(id);
}

// Ends the processes that providers left behind: once their worker has ended they are the
// front's children (it is a child subreaper), and none of them is a worker.
void Front::sweep_left_behind() {
  for (int round = 0; round < 50; ++round) {
    std::vector<pid_t> left;
    for (pid_t pid : children_of(getpid())) {
      if (pool_.find_pid(pid) == nullptr) left.push_back(pid);
    }
    if (left.empty()) return;
    for (pid_t pid : left) {
      HOSTD_NOTICE("process %d was left behind by a provider; killed", static_cast<int>(pid));
      kill(pid, SIGKILL);
    }
    for (pid_t pid : left) {
      int status = 0;
      while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
      }
    }
  }
}

void Front::check_workers(long long now) {
  const bool watch = (config_.worker_cpu > 0 || config_.worker_memory > 0) &&
                     now - last_watch_ >= kWatchEveryMs;
  if (watch) last_watch_ = now;
  std::vector<int> ids;
  for (auto &entry : channels_) ids.push_back(entry.first);
  for (int id : ids) {
    WorkerChannel *ch = channel(id);
    if (ch == nullptr) continue;
    if (ch->kill_at.passed(now)) {
      HOSTD_NOTICE("worker %d did not end within %d s of being told to; killed",
                   static_cast<int>(ch->pid), config_.provider_timeout);
      ch->kill_at = Deadline();
      kill(-ch->pid, SIGKILL);
      kill(ch->pid, SIGKILL);
      continue;
    }
    if (answer_done(*ch)) end_direct_answer(*ch);
    if (ch->connection == 0) continue;
    if (ch->direct) {
      const AnswerWindow::Snapshot s = ch->window->look();
      if (s.consistent && s.sent < s.placed && s.waiting_ms == 0 &&
          now - s.progress_ms >= kWaitingFramesMs) {
        if (Connection *c = connection(ch->connection); c != nullptr && !c->client_gone) {
          ch->window->send_waiting(c->fd);
        }
      }
    }
    if (ch->direct && ch->silence.passed(now)) {
      // The frames went straight to the client: the window tells when the provider last
      // produced one, and whether the worker is waiting for its client (which is no silence).
      const AnswerWindow::Snapshot s = ch->window->look();
      const long long limit = config_.provider_timeout * 1000LL;
      if (s.waiting_ms != 0) {
        ch->silence = Deadline::at_ms(now + limit);
      } else if (s.progress_ms > 0 && s.progress_ms <= now && s.progress_ms + limit > now) {
        ch->silence = Deadline::at_ms(s.progress_ms + limit);
      }
    }
    if (!ch->paused && ch->silence.passed(now)) {
      kill_worker(*ch, "produced nothing for " + std::to_string(config_.provider_timeout) + " s");
    } else if (ch->total.passed(now)) {
      kill_worker(*ch, "did not finish within the request deadline of " +
                           std::to_string(config_.request_deadline) + " s");
    } else if (watch) {
      ProcessUsage usage;
      if (!read_usage(ch->pid, &usage)) continue;
      if (ch->cpu_base_ms < 0) ch->cpu_base_ms = usage.cpu_ms;
      if (config_.worker_cpu > 0 && usage.cpu_ms - ch->cpu_base_ms > config_.worker_cpu * 1000LL) {
        kill_worker(*ch, "used more than " + std::to_string(config_.worker_cpu) +
                             " s of CPU time");
      } else if (config_.worker_memory > 0 &&
                 static_cast<std::size_t>(usage.rss_kib) * 1024 > config_.worker_memory) {
        kill_worker(*ch, "used more than " + std::to_string(config_.worker_memory >> 20) +
                             " MiB of memory");
      }
    }
  }
  for (int id : pool_.retire_idle(now)) {
    if (WorkerChannel *ch = channel(id)) retire_worker(*ch);
  }
}

}  // namespace hostd
