// clock.cpp - monotonic time.
#include "clock.h"

#include <time.h>

namespace hostd {

long long now_ms() {
  struct timespec ts;
  clock_gettime(CLOCK_MONOTONIC, &ts);
  return static_cast<long long>(ts.tv_sec) * 1000 + ts.tv_nsec / 1000000;
}

long long Deadline::left_ms(long long now) const {
  if (!set()) return 1LL << 40;
  return when_ > now ? when_ - now : 0;
}

}  // namespace hostd
