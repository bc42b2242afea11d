// Waiting for a socket to become ready, with an optional time limit.
#include <cmpiutility/transport.h>
#include <errno.h>
#include <string.h>
#include <sys/select.h>
#include <sys/time.h>

#include "log/log.h"

extern "C" unsigned int xselect(int fd, int mode, int *timeoutSeconds) {
  CMPIU_TRACE_FUNCTION();
  // Set once: select leaves the time not yet spent in it, so a retry after an interruption
  // waits only for the rest of the limit.
  struct timeval limit {};
  struct timeval *limit_ptr = nullptr;
  if (timeoutSeconds != nullptr) {
    limit.tv_sec = *timeoutSeconds;
    limit.tv_usec = 0;
    limit_ptr = &limit;
  }

  int ready = 0;
  for (;;) {
    // select rewrites the sets, so they are built afresh for every try.
    fd_set read_set;
    fd_set write_set;
    FD_ZERO(&read_set);
    FD_ZERO(&write_set);
    if ((mode & CMPIU_SELECT_READ) != 0) FD_SET(fd, &read_set);
    if ((mode & CMPIU_SELECT_WRITE) != 0) FD_SET(fd, &write_set);
    ready = select(fd + 1, &read_set, &write_set, nullptr, limit_ptr);
    if (ready >= 0) break;
    const int error = errno;
    // Only readiness or the time limit end the wait: an interruption is retried silently,
    // any other failure is logged and retried as well.
    if (error != EINTR) CMPIU_ERROR("Error: select '%s'", strerror(error));
  }
  if (ready == 0) {
    // select did not fail: the text is that of whatever errno holds.
    const int error = errno;
    CMPIU_ERROR("Error: Socket timeout '%s'", strerror(error));
    return CMPIU_SOCK_TIMEOUT;
  }
  return CMPIU_SOCK_OK;
}
