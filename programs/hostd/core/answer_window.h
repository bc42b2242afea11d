// answer_window.h - the memory a worker and the front share for the answer being written.
//
// The front hands each request's client connection to the worker with the request, and the
// worker writes its answer to the client itself: one process, one wake-up and two copies fewer
// per answer than passing every frame through the front. The worker first places whole frames
// in this window (mapped by the front before the worker is forked, so both see the same
// bytes), then sends them to the client from there and records how far it got. When the worker
// dies (a provider crashed, or the front killed it), the front still finds every whole frame
// that was placed but not sent, sends those and then the error frame: the client never loses a
// frame it was owed and never sees part of one.
//
// Who writes what:
//   - `placed`, `frames`, `progress_ms`, `waiting_ms`, `flags` but kWanted: the worker, with
//     release stores after the bytes they describe;
//   - kWanted: the front, when something waits for the worker (a queued request, a shutdown).
//     The answer's end is said by kDone alone, which wakes nobody: the front looks at the
//     window whenever it wakes anyway (and at least once a second), and asks for a wake-up
//     only when it cannot wait. kDone and kWanted are set with read-modify-writes of `flags`,
//     so whichever side comes second sees the other's bit;
//   - `sent`: whoever holds `lock` (the worker while it sends, the front when it sends frames
//     that waited too long or takes over the rest of a dead or killed worker's answer);
//   - `base`, and the bytes before `placed`: the worker, holding the lock. The lock is never
//     held across anything that blocks.
//   - everything: the front, between requests (reset(), while the worker waits for its next
//     request).
// The worker is not trusted (it runs providers): the front reads the header once into a
// Snapshot, checks every offset against the window, and treats anything inconsistent like a
// worker that died in the middle of a send.
#ifndef CMPI_HOSTD_ANSWER_WINDOW_H
#define CMPI_HOSTD_ANSWER_WINDOW_H

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace hostd {

// Frames wider than this in one piece go through the front instead (the worker's channel).
inline constexpr std::size_t kWindowBytes = 1u << 20;

class AnswerWindow {
 public:
  enum Lock : uint32_t { kFree = 0, kWorker = 1, kFront = 2 };
  enum Flag : uint32_t {
    kFinal = 1,  // the end of the answer is placed: what the client reads from now on ends it
    kDone = 2,   // the worker is done: all sent, the connection closed; it waits for a request
    kClientGone = 4,  // the client's connection refused bytes; the rest of the answer was dropped
    kWanted = 8,  // (front) tell me when you are done: the worker then sends a kWake message
  };

  struct Header {
    std::atomic<uint32_t> lock;
    std::atomic<uint32_t> flags;
    std::atomic<uint64_t> base;    // the answer offset of the window's first byte
    std::atomic<uint64_t> placed;  // the answer offset after the last whole frame placed
    std::atomic<uint64_t> sent;    // the answer offset after the last byte the socket took
    std::atomic<uint64_t> frames;  // whole frames placed
    std::atomic<int64_t> progress_ms;  // when the last frame was placed (now_ms())
    std::atomic<int64_t> waiting_ms;   // since when the worker waits for the client; 0: not
  };

  // What the front reads of the header, checked: consistent is false when the offsets cannot
  // be right (base <= sent <= placed, placed - base within the window).
  struct Snapshot {
    bool consistent = false;
    uint64_t base = 0;
    uint64_t placed = 0;
    uint64_t sent = 0;
    uint64_t frames = 0;
    uint32_t flags = 0;
    long long progress_ms = 0;
    long long waiting_ms = 0;
  };

  // A new shared window, or nullptr when it cannot be mapped (the worker then sends every
  // answer through the front).
  static AnswerWindow *create();
  ~AnswerWindow();
  AnswerWindow(const AnswerWindow &) = delete;
  AnswerWindow &operator=(const AnswerWindow &) = delete;

  // Keeps later forks of this process from inheriting the mapping (no worker may see another
  // worker's answers; nothing a provider forks keeps it).
  void keep_from_forks();

  Header &header() { return *header_; }
  char *bytes() { return bytes_; }

  // The front, while the worker waits for a request: an empty answer.
  void reset();

  // The worker, with its answer sent: gives the memory of the window's bytes from `keep` on
  // back to the system (both processes' pages: the window is one shared object), so that a large
  // answer does not leave a megabyte resident in an idle worker.
  void release_beyond(std::size_t keep);

  // The front's reading of the header.
  Snapshot look() const;

  // Takes the lock for `by`, waiting while the other side holds it, at most spin_ms
  // milliseconds (-1: as long as it takes). false when it was not free in time.
  bool lock(Lock by, int spin_ms);
  void unlock();

  // The front, holding the lock (or with the worker gone): the whole frames placed but not
  // sent, and marks them sent. Empty when there are none or the header is not consistent.
  std::string_view take_unsent();

  // The front, for a live worker whose placed frames have waited too long (its provider went
  // quiet right after a burst): sends what the client's socket takes now without blocking, if
  // the worker does not hold the lock. Only `sent` moves; `base` stays the worker's. Returns
  // the bytes sent.
  std::size_t send_waiting(int client);

 private:
  AnswerWindow(void *mapping, std::size_t size);
  void *mapping_;
  std::size_t size_;
  Header *header_;
  char *bytes_;
};

}  // namespace hostd

#endif  // CMPI_HOSTD_ANSWER_WINDOW_H
