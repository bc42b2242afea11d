// memory_tuning.cpp - the heap's free pages back to the system when the process goes idle.
#include "memory_tuning.h"

#include <malloc.h>

#include <algorithm>

#include "clock.h"

namespace hostd {

bool release_free_memory() {
#ifndef CMPIUTILITY_SANITIZED
  return malloc_trim(0) != 0;
#else
  return false;
#endif
}

IdleRelease::IdleRelease(long long delay_ms) : due_(now_ms() + std::max(0LL, delay_ms)) {}

long long IdleRelease::wait_ms(long long other_ms) const {
  if (released_) return other_ms;
  const long long left = std::max(0LL, due_ - now_ms());
  return other_ms < 0 ? left : std::min(other_ms, left);
}

bool IdleRelease::after_wait() {
  if (released_ || now_ms() < due_) return false;
  released_ = true;
  release_free_memory();
  return true;
}

}  // namespace hostd
