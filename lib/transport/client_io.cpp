// Sending and receiving on the client's connection.
#include <cmpiutility/transport.h>
#include <errno.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/types.h>

#include "log/log.h"
#include "transport/send.h"

extern "C" unsigned int clientSend(SockInfo *info, const void *buf, int len) {
  CMPIU_TRACE_FUNCTION();
  return cmpiutility::send_once(info->fd, buf, len);
}

extern "C" unsigned int clientRecv(SockInfo *info, char *buf, int len) {
  CMPIU_TRACE_FUNCTION();
  ssize_t count = -1;
  int error = 0;
  if (len < 0) {
    errno = error = EINVAL;  // never hand a negative length to the kernel as a huge size
  } else {
    // Interrupted or not yet readable: try again at once. On a non-blocking socket this spins
    // until data, the peer's close or another error arrives.
    do {
      count = recv(info->fd, buf, static_cast<size_t>(len), 0);
      error = errno;
    } while (count < 0 && (error == EINTR || error == EAGAIN || error == EWOULDBLOCK));
  }
  // The record keeps the count as a 32-bit value.
  info->connFd = static_cast<int>(count);
  if (count == 0) {
    buf[0] = '\0';
    CMPIU_TRACE("INFO: Server closed connection '%s'", strerror(error));
    return CMPIU_SOCK_CLOSED;
  }
  if (count < 0) {
    buf[0] = '\0';
    CMPIU_ERROR("Error: receive error '%s'", strerror(error));
    return CMPIU_SOCK_ERECV;
  }
  buf[count] = '\0';
  return CMPIU_SOCK_OK;
}
