// broker_threads.cpp - the broker's operating-system services (the CMPIBrokerExtFT table):
// library file names, and real POSIX threads, mutexes, conditions and thread keys.
#include <poll.h>
#include <pthread.h>
#include <sched.h>

#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <new>

#include "broker_tables.h"
#include "value.h"

namespace {

using cmpi::make_status;
using cmpi::set_rc;

char *ext_resolve_file_name(const char *filename) {
  if (filename == nullptr) {
    return nullptr;
  }
  const size_t length = std::strlen(filename) + sizeof("lib.so");
  char *path = static_cast<char *>(std::malloc(length));
  if (path == nullptr) {
    return nullptr;
  }
  std::snprintf(path, length, "lib%s.so", filename);
  return path;
}

CMPI_THREAD_TYPE handle_of(pthread_t thread) {
  return reinterpret_cast<CMPI_THREAD_TYPE>(static_cast<uintptr_t>(thread));
}

pthread_t thread_of(CMPI_THREAD_TYPE handle) {
  return static_cast<pthread_t>(reinterpret_cast<uintptr_t>(handle));
}

CMPI_THREAD_TYPE ext_new_thread(CMPI_THREAD_RETURN(CMPI_THREAD_CDECL *start)(void *), void *parm,
                                int detached) {
  if (start == nullptr) {
    return nullptr;
  }
  pthread_attr_t attr;
  if (pthread_attr_init(&attr) != 0) {
    return nullptr;
  }
  if (detached != 0) {
    pthread_attr_setdetachstate(&attr, PTHREAD_CREATE_DETACHED);
  }
  pthread_t thread;
  const int failed = pthread_create(&thread, &attr, start, parm);
  pthread_attr_destroy(&attr);
  return failed != 0 ? nullptr : handle_of(thread);
}

int ext_join_thread(CMPI_THREAD_TYPE thread, CMPI_THREAD_RETURN *retval) {
  if (thread == nullptr) {
    return EINVAL;
  }
  return pthread_join(thread_of(thread), retval);
}

int ext_exit_thread(CMPI_THREAD_RETURN return_code) { pthread_exit(return_code); }

int ext_cancel_thread(CMPI_THREAD_TYPE thread) {
  if (thread == nullptr) {
    return EINVAL;
  }
  return pthread_cancel(thread_of(thread));
}

// Milliseconds of the monotonic clock. Kept out of line: its timespec then lives in a frame of
// its own that is gone before the sleeping starts.
__attribute__((noinline)) CMPIUint64 monotonic_ms() {
  struct timespec now;
  clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<CMPIUint64>(now.tv_sec) * 1000u +
         static_cast<CMPIUint64>(now.tv_nsec) / 1000000u;
}

// Sleeps in poll without descriptors, a cancellation point. No stack object of this frame is in
// use while it waits, so a thread cancelled here unwinds cleanly (also under the address
// sanitizer, whose stack bookkeeping a forced unwind bypasses). A signal only shortens one
// round: the loop goes on until the time is up.
int ext_thread_sleep(CMPIUint32 msec) {
  const CMPIUint64 deadline = monotonic_ms() + msec;
  for (CMPIUint64 now = monotonic_ms(); now < deadline; now = monotonic_ms()) {
    const CMPIUint64 left = deadline - now;
    poll(nullptr, 0, left > static_cast<CMPIUint64>(INT_MAX) ? INT_MAX : static_cast<int>(left));
  }
  return 0;
}

// pthread_once on a plain int: 0 = not run yet, 1 = running, anything else = done. Exactly one
// caller runs init; the others return once it has finished.
constexpr int kOnceRunning = 1;
constexpr int kOnceDone = 2;

int ext_thread_once(int *once, void (*init)(void)) {
  if (once == nullptr || init == nullptr) {
    return EINVAL;
  }
  int expected = 0;
  if (__atomic_compare_exchange_n(once, &expected, kOnceRunning, false, __ATOMIC_ACQ_REL,
                                  __ATOMIC_ACQUIRE)) {
    init();
    __atomic_store_n(once, kOnceDone, __ATOMIC_RELEASE);
    return 0;
  }
  while (__atomic_load_n(once, __ATOMIC_ACQUIRE) == kOnceRunning) {
    sched_yield();
  }
  return 0;
}

int ext_create_thread_key(CMPI_THREAD_KEY_TYPE *key, void (*cleanup)(void *)) {
  if (key == nullptr) {
    return EINVAL;
  }
  return pthread_key_create(key, cleanup);
}

int ext_destroy_thread_key(CMPI_THREAD_KEY_TYPE key) { return pthread_key_delete(key); }

void *ext_get_thread_specific(CMPI_THREAD_KEY_TYPE key) { return pthread_getspecific(key); }

int ext_set_thread_specific(CMPI_THREAD_KEY_TYPE key, void *value) {
  return pthread_setspecific(key, value);
}

// Mutexes are recursive, whatever opt says: a provider that locks again on the same thread
// does not deadlock.
CMPI_MUTEX_TYPE ext_new_mutex(int) {
  pthread_mutex_t *mutex = new (std::nothrow) pthread_mutex_t;
  if (mutex == nullptr) {
    return nullptr;
  }
  pthread_mutexattr_t attr;
  pthread_mutexattr_init(&attr);
  pthread_mutexattr_settype(&attr, PTHREAD_MUTEX_RECURSIVE);
  const int failed = pthread_mutex_init(mutex, &attr);
  pthread_mutexattr_destroy(&attr);
  if (failed != 0) {
    delete mutex;
    return nullptr;
  }
  return mutex;
}

void ext_destroy_mutex(CMPI_MUTEX_TYPE mutex) {
  if (mutex == nullptr) {
    return;
  }
  pthread_mutex_t *m = static_cast<pthread_mutex_t *>(mutex);
  pthread_mutex_destroy(m);
  delete m;
}

void ext_lock_mutex(CMPI_MUTEX_TYPE mutex) {
  if (mutex != nullptr) {
    pthread_mutex_lock(static_cast<pthread_mutex_t *>(mutex));
  }
}

void ext_unlock_mutex(CMPI_MUTEX_TYPE mutex) {
  if (mutex != nullptr) {
    pthread_mutex_unlock(static_cast<pthread_mutex_t *>(mutex));
  }
}

CMPI_COND_TYPE ext_new_condition(int) {
  pthread_cond_t *cond = new (std::nothrow) pthread_cond_t;
  if (cond == nullptr) {
    return nullptr;
  }
  if (pthread_cond_init(cond, nullptr) != 0) {
    delete cond;
    return nullptr;
  }
  return cond;
}

void ext_destroy_condition(CMPI_COND_TYPE cond) {
  if (cond == nullptr) {
    return;
  }
  pthread_cond_t *c = static_cast<pthread_cond_t *>(cond);
  pthread_cond_destroy(c);
  delete c;
}

int ext_cond_wait(CMPI_COND_TYPE cond, CMPI_MUTEX_TYPE mutex) {
  if (cond == nullptr || mutex == nullptr) {
    return EINVAL;
  }
  return pthread_cond_wait(static_cast<pthread_cond_t *>(cond),
                           static_cast<pthread_mutex_t *>(mutex));
}

// wait is an absolute CLOCK_REALTIME deadline, as with pthread_cond_timedwait; NULL waits
// without a deadline. A deadline that passes gives ETIMEDOUT.
int ext_timed_cond_wait(CMPI_COND_TYPE cond, CMPI_MUTEX_TYPE mutex, struct timespec *wait) {
  if (wait == nullptr) {
    return ext_cond_wait(cond, mutex);
  }
  if (cond == nullptr || mutex == nullptr) {
    return EINVAL;
  }
  return pthread_cond_timedwait(static_cast<pthread_cond_t *>(cond),
                                static_cast<pthread_mutex_t *>(mutex), wait);
}

int ext_signal_condition(CMPI_COND_TYPE cond) {
  if (cond == nullptr) {
    return EINVAL;
  }
  return pthread_cond_signal(static_cast<pthread_cond_t *>(cond));
}

}  // namespace

namespace cmpi {

const CMPIBrokerExtFT broker_ext_ft = {
    CMPICurrentVersion,
    ext_resolve_file_name,
    ext_new_thread,
    ext_join_thread,
    ext_exit_thread,
    ext_cancel_thread,
    ext_thread_sleep,
    ext_thread_once,
    ext_create_thread_key,
    ext_destroy_thread_key,
    ext_get_thread_specific,
    ext_set_thread_specific,
    ext_new_mutex,
    ext_destroy_mutex,
    ext_lock_mutex,
    ext_unlock_mutex,
    ext_new_condition,
    ext_destroy_condition,
    ext_cond_wait,
    ext_timed_cond_wait,
    ext_signal_condition,
};


}  // namespace cmpi
