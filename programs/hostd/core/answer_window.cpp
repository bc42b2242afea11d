// answer_window.cpp - the shared answer window.
#include "answer_window.h"

#include <sched.h>
#include <sys/socket.h>
#include <sys/mman.h>

#include <new>

#include "clock.h"

namespace hostd {

// Both processes use the atomics through the same shared page: they must not need a lock of
// their own.
static_assert(std::atomic<uint32_t>::is_always_lock_free);
static_assert(std::atomic<uint64_t>::is_always_lock_free);
static_assert(std::atomic<int64_t>::is_always_lock_free);

namespace {

// The header takes the first cache line pair; the bytes start on a page of their own.
constexpr std::size_t kHeaderPage = 4096;
static_assert(sizeof(AnswerWindow::Header) <= kHeaderPage);

}  // namespace

AnswerWindow *AnswerWindow::create() {
  const std::size_t size = kHeaderPage + kWindowBytes;
  // MAP_NORESERVE: pages exist once touched; an answer of a few frames uses a few pages.
  void *mapping = mmap(nullptr, size, PROT_READ | PROT_WRITE,
                       MAP_SHARED | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  if (mapping == MAP_FAILED) return nullptr;
  return new (std::nothrow) AnswerWindow(mapping, size);
}

AnswerWindow::AnswerWindow(void *mapping, std::size_t size)
    : mapping_(mapping),
      size_(size),
      header_(new (mapping) Header()),
      bytes_(static_cast<char *>(mapping) + kHeaderPage) {
  reset();
}

AnswerWindow::~AnswerWindow() { munmap(mapping_, size_); }

void AnswerWindow::keep_from_forks() { madvise(mapping_, size_, MADV_DONTFORK); }

void AnswerWindow::reset() {
  Header &h = *header_;
  h.base.store(0, std::memory_order_relaxed);
  h.placed.store(0, std::memory_order_relaxed);
  h.sent.store(0, std::memory_order_relaxed);
  h.frames.store(0, std::memory_order_relaxed);
  h.progress_ms.store(0, std::memory_order_relaxed);
  h.waiting_ms.store(0, std::memory_order_relaxed);
  h.flags.store(0, std::memory_order_relaxed);
  h.lock.store(kFree, std::memory_order_release);
}

void AnswerWindow::release_beyond(std::size_t keep) {
  if (keep >= kWindowBytes) return;
  madvise(bytes_ + keep, kWindowBytes - keep, MADV_REMOVE);
}

AnswerWindow::Snapshot AnswerWindow::look() const {
  const Header &h = *header_;
  Snapshot s;
  s.placed = h.placed.load(std::memory_order_acquire);
  s.base = h.base.load(std::memory_order_acquire);
  s.sent = h.sent.load(std::memory_order_acquire);
  s.frames = h.frames.load(std::memory_order_relaxed);
  s.flags = h.flags.load(std::memory_order_acquire);
  s.progress_ms = h.progress_ms.load(std::memory_order_relaxed);
  s.waiting_ms = h.waiting_ms.load(std::memory_order_relaxed);
  s.consistent = s.base <= s.sent && s.sent <= s.placed && s.placed - s.base <= kWindowBytes;
  return s;
}

bool AnswerWindow::lock(Lock by, int spin_ms) {
  const long long until = spin_ms < 0 ? 0 : now_ms() + spin_ms;
  for (;;) {
    uint32_t expected = kFree;
    if (header_->lock.compare_exchange_weak(expected, by, std::memory_order_acquire,
                                            std::memory_order_relaxed)) {
      return true;
    }
    if (spin_ms >= 0 && now_ms() >= until) return false;
    sched_yield();
  }
}

void AnswerWindow::unlock() { header_->lock.store(kFree, std::memory_order_release); }

std::string_view AnswerWindow::take_unsent() {
  const Snapshot s = look();
  if (!s.consistent || s.sent == s.placed) return std::string_view();
  header_->sent.store(s.placed, std::memory_order_release);
  return std::string_view(bytes_ + (s.sent - s.base), s.placed - s.sent);
}

std::size_t AnswerWindow::send_waiting(int client) {
  if (!lock(kFront, 0)) return 0;
  const Snapshot s = look();
  std::size_t done = 0;
  if (s.consistent && s.sent < s.placed) {
    const ssize_t n = ::send(client, bytes_ + (s.sent - s.base), s.placed - s.sent,
                             MSG_NOSIGNAL | MSG_DONTWAIT);
    if (n > 0) {
      done = static_cast<std::size_t>(n);
      header_->sent.store(s.sent + done, std::memory_order_release);
    }
  }
  unlock();
  return done;
}

}  // namespace hostd
