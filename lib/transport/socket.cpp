// socket.cpp - the transport's socket helpers: waiting for a socket to become ready (xselect),
// setsockopt with its failure logged (xsetsockopt), and what the server and client share (the
// socket file's address, the one-shot send, the socket record's layout).
#include "transport/socket.h"

#include <cmpiutility/transport.h>
#include <errno.h>
#include <stddef.h>
#include <string.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/types.h>

#include "log/log.h"

// ---- the socket record ------------------------------------------------------------------------

// The socket record's layout: existing peers are built against it.
static_assert(sizeof(struct sockaddr_un) == 110, "16-bit family and a 108-byte path");
static_assert(offsetof(SockInfo, fd) == 0, "fd comes first");
static_assert(offsetof(SockInfo, connFd) == 4, "connFd follows fd");
static_assert(offsetof(SockInfo, addr) == 8, "addr follows the two descriptors");
static_assert(offsetof(SockInfo, peerAddr) == 118, "peerAddr follows addr directly");
static_assert(offsetof(SockInfo, lengthField) == 232, "lengthField is 8-byte aligned");
static_assert(sizeof(SockInfo::lengthField) == 8, "lengthField is 64-bit");
static_assert(sizeof(SockInfo) == 240, "SockInfo keeps natural alignment");

// ---- waiting ----------------------------------------------------------------------------------

// Waiting for a socket to become ready, with an optional time limit.
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

// ---- options ----------------------------------------------------------------------------------

// setsockopt with its failure logged.
// C++ linkage on purpose: existing callers link against the mangled name.
void xsetsockopt(int fd, int level, int optname, void *optval, socklen_t optlen) {
  CMPIU_TRACE_FUNCTION();
  if (setsockopt(fd, level, optname, optval, optlen) < 0) {
    const int error = errno;
    CMPIU_ERROR("Error: setsockopt failed '%s'", strerror(error));
  }
}

// ---- shared by the server and the client ------------------------------------------------------

namespace cmpiutility {

void fill_unix_address(struct sockaddr_un *addr, const char *path) {
  memset(addr, 0, sizeof(*addr));
  addr->sun_family = AF_UNIX;
  const size_t length = strnlen(path, sizeof(addr->sun_path) - 1);
  memcpy(addr->sun_path, path, length);  // the NUL is already there from the memset
}

unsigned int send_once(int fd, const void *buf, int len) {
  if (len < 0) {
    // Never hand a negative length to the kernel as a huge size.
    errno = EINVAL;
    CMPIU_ERROR("Error: Send failed '%s'", strerror(EINVAL));
    return CMPIU_SOCK_ESEND;
  }
  const ssize_t sent = send(fd, buf, static_cast<size_t>(len), 0);
  const int error = errno;
  if (sent != len) {
    CMPIU_ERROR("Error: Send failed '%s'", strerror(error));
    return CMPIU_SOCK_ESEND;
  }
  return CMPIU_SOCK_OK;
}

}  // namespace cmpiutility
