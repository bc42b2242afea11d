// memory_tuning.h - giving the heap's free memory back to the system when a process goes idle.
//
// The allocator keeps what a request freed for the next one: free space at the top of the heap
// up to its trim threshold (128 KiB unless tuned) and whole free pages between blocks still in
// use, without limit. A process that waits for work holds those pages for nothing, so the
// daemon hands them back once it has been idle for a moment:
//  - a worker when no request came for kIdleReleaseMs after its last answer (IdleRelease);
//  - the front when no connection has been open for kIdleReleaseMs.
// A worker does not release between the requests of a busy client: every request would then
// fault the same pages in again, which made a GetInstance measurably slower; the delay avoids
// that. docs/PERFORMANCE.md ("Idle memory") has what each release saves and costs.
#ifndef CMPI_HOSTD_MEMORY_TUNING_H
#define CMPI_HOSTD_MEMORY_TUNING_H

namespace hostd {

// Returns the heap's free pages to the system (malloc_trim with no padding: the top of the heap
// and every whole free page inside it). true when any memory was returned. Does nothing and
// returns false in sanitized builds, whose allocator is not the C library's. Logs nothing.
bool release_free_memory();

// How long a worker waits without a request before it releases (milliseconds). Long enough
// that a client sending requests one after another never meets a release, short enough that
// an idle worker is small by the time anyone looks.
inline constexpr long long kIdleReleaseMs = 500;

// One wait of a worker for its next request, releasing the heap's free pages once the wait has
// lasted delay_ms. Made when the wait begins; the waiter polls for at most wait_ms() and calls
// after_wait() after each poll that did not bring a request.
class IdleRelease {
 public:
  explicit IdleRelease(long long delay_ms = kIdleReleaseMs);

  // How long the next poll may last, given how long the caller would wait otherwise (negative:
  // without limit): the shorter of that and the time left until the release; the caller's own
  // figure once the release is done.
  long long wait_ms(long long other_ms) const;

  // Releases (once per wait) when the delay has passed. true when it released now.
  bool after_wait();

  bool released() const { return released_; }

 private:
  long long due_;  // monotonic milliseconds (clock.h)
  bool released_ = false;
};

}  // namespace hostd

#endif  // CMPI_HOSTD_MEMORY_TUNING_H
