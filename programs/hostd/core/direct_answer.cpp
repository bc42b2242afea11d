// direct_answer.cpp - the worker's side of answers written straight to the client.
#include "direct_answer.h"

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "channel.h"
#include "clock.h"
#include "wire.h"

namespace hostd {

DirectAnswer::~DirectAnswer() { close_client(false); }

void DirectAnswer::begin(int client) {
  close_client(false);
  client_ = window_ != nullptr ? client : -1;
  if (client_ < 0 && client >= 0) close(client);
  relayed_ = false;
  client_gone_ = false;
  held_up_ = false;
  // The request's start counts as a send: an answer made within kSendAfterMs (a GetInstance)
  // goes out whole in one send with its final frame.
  last_send_ms_ = now_ms();
}

bool DirectAnswer::send(const std::string &frames) {
  if (!direct()) return write_message(channel_, MessageKind::kFrames, frames);
  if (client_gone_) return true;
  if (!place(frames)) {
    // Too wide for the window: what is placed goes first, then the channel takes over.
    send_placed(true);
    relayed_ = true;
    return client_gone_ || write_message(channel_, MessageKind::kFrames, frames);
  }
  AnswerWindow::Header &h = window_->header();
  const uint64_t waiting = h.placed.load(std::memory_order_relaxed) -
                           h.sent.load(std::memory_order_relaxed);
  const long long now = now_ms();
  if (waiting >= kSendAtBytes || now - last_send_ms_ > kSendAfterMs) send_placed(false);
  return true;
}

bool DirectAnswer::finish(const std::string &last) {
  if (direct() && !client_gone_ && !place(last)) {
    send_placed(true);
    relayed_ = true;
  }
  if (!direct()) {
    release_pages();  // nothing waits in the window: it was emptied before the channel took over
    close_client(false);  // the front sends the rest and closes
    return write_message(channel_, MessageKind::kEnd, last);
  }
  window_->header().flags.fetch_or(AnswerWindow::kFinal, std::memory_order_release);
  send_placed(true);
  release_pages();  // everything placed is sent (or dropped): the front reads nothing more
  close_client(true);
  // The window says the answer is done; the front finds it there the next time it wakes, and
  // is woken for it only when it asked to be (something waits for this worker).
  const uint32_t flags =
      window_->header().flags.fetch_or(AnswerWindow::kDone, std::memory_order_seq_cst);
  if ((flags & AnswerWindow::kWanted) == 0) return true;
  return write_message(channel_, MessageKind::kWake, std::string_view());
}

bool DirectAnswer::place(std::string_view frames) {
  AnswerWindow::Header &h = window_->header();
  if (frames.size() > kWindowBytes) return false;
  uint64_t placed = h.placed.load(std::memory_order_relaxed);
  if (placed - h.base.load(std::memory_order_relaxed) + frames.size() > kWindowBytes) {
    compact();
    while (!client_gone_ &&
           placed - h.base.load(std::memory_order_relaxed) + frames.size() > kWindowBytes) {
      send_placed(true);
      compact();
    }
    if (client_gone_) return true;
  }
  std::memcpy(window_->bytes() + (placed - h.base.load(std::memory_order_relaxed)),
              frames.data(), frames.size());
  const unsigned long count = wire::count_frames(frames);
  const std::size_t used = placed + frames.size() - h.base.load(std::memory_order_relaxed);
  if (used > widest_) widest_ = used;
  h.frames.fetch_add(count, std::memory_order_relaxed);
  h.progress_ms.store(now_ms(), std::memory_order_relaxed);
  h.placed.store(placed + frames.size(), std::memory_order_release);
  return true;
}

void DirectAnswer::compact() {
  AnswerWindow::Header &h = window_->header();
  window_->lock(AnswerWindow::kWorker, -1);
  const uint64_t base = h.base.load(std::memory_order_relaxed);
  const uint64_t sent = h.sent.load(std::memory_order_relaxed);
  const uint64_t placed = h.placed.load(std::memory_order_relaxed);
  if (sent > base) {
    std::memmove(window_->bytes(), window_->bytes() + (sent - base), placed - sent);
    h.base.store(sent, std::memory_order_release);
  }
  window_->unlock();
}

bool DirectAnswer::send_once() {
  AnswerWindow::Header &h = window_->header();
  window_->lock(AnswerWindow::kWorker, -1);
  const uint64_t base = h.base.load(std::memory_order_relaxed);
  const uint64_t sent = h.sent.load(std::memory_order_relaxed);
  const uint64_t placed = h.placed.load(std::memory_order_relaxed);
  bool more = false;
  if (sent < placed) {
    const ssize_t n = ::send(client_, window_->bytes() + (sent - base), placed - sent,
                             MSG_NOSIGNAL | MSG_DONTWAIT);
    if (n > 0) {
      const uint64_t now_sent = sent + static_cast<uint64_t>(n);
      h.sent.store(now_sent, std::memory_order_release);
      // An empty window starts again at its first byte.
      if (now_sent == placed) h.base.store(placed, std::memory_order_release);
      more = now_sent < placed;
      if (more) held_up_ = true;
    } else if (n < 0 && errno == EINTR) {
      more = true;
    } else if (n < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) {
      held_up_ = true;
    } else if (n < 0) {
      window_->unlock();
      drop_client();
      return false;
    }
  }
  window_->unlock();
  last_send_ms_ = now_ms();
  return more;
}

void DirectAnswer::send_placed(bool wait) {
  AnswerWindow::Header &h = window_->header();
  for (;;) {
    while (!client_gone_ && send_once()) {
    }
    if (client_gone_ || !wait) return;
    if (h.sent.load(std::memory_order_relaxed) == h.placed.load(std::memory_order_relaxed)) {
      return;
    }
    h.waiting_ms.store(now_ms(), std::memory_order_relaxed);
    struct pollfd pfd = {client_, POLLOUT, 0};
    const int n = poll(&pfd, 1, -1);
    h.waiting_ms.store(0, std::memory_order_relaxed);
    if (n < 0 && errno != EINTR) {
      drop_client();
      return;
    }
  }
}

// The client will take nothing more: the frames still placed are dropped, so the front finds
// nothing to send after them either.
void DirectAnswer::drop_client() {
  client_gone_ = true;
  AnswerWindow::Header &h = window_->header();
  h.flags.fetch_or(AnswerWindow::kClientGone, std::memory_order_release);
  window_->lock(AnswerWindow::kWorker, -1);
  const uint64_t placed = h.placed.load(std::memory_order_relaxed);
  h.sent.store(placed, std::memory_order_release);
  h.base.store(placed, std::memory_order_release);
  window_->unlock();
}

void DirectAnswer::release_pages() {
  if (window_ != nullptr && widest_ > kWindowKept) window_->release_beyond(kWindowKept);
  widest_ = 0;
}

void DirectAnswer::close_client(bool answered) {
  if (client_ < 0) return;
  if (answered) shutdown(client_, SHUT_WR);
  close(client_);
  client_ = -1;
}

}  // namespace hostd
