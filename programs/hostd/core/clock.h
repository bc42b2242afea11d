// clock.h - the daemon's one clock: monotonic milliseconds, and deadlines built on it.
#ifndef CMPI_HOSTD_CLOCK_H
#define CMPI_HOSTD_CLOCK_H

namespace hostd {

// Milliseconds of CLOCK_MONOTONIC (never jumps with the wall clock).
long long now_ms();

// A point in monotonic time after which something is overdue; 0 means "none set".
class Deadline {
 public:
  Deadline() = default;
  static Deadline in_ms(long long ms) { return Deadline(now_ms() + ms); }
  static Deadline at_ms(long long when) { return Deadline(when); }

  bool set() const { return when_ != 0; }
  long long when() const { return when_; }
  // Milliseconds left (0 when passed); a large number when none is set.
  long long left_ms(long long now) const;
  bool passed(long long now) const { return set() && now >= when_; }

 private:
  explicit Deadline(long long when) : when_(when) {}
  long long when_ = 0;
};

}  // namespace hostd

#endif  // CMPI_HOSTD_CLOCK_H
