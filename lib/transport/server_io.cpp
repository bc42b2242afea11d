// Receiving and sending on the host's accepted connection.
#include <cmpiutility/transport.h>
#include <errno.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/types.h>

#include "log/log.h"
#include "transport/send.h"

extern "C" unsigned int serverRecv(SockInfo *info, char *buf, int len) {
  CMPIU_TRACE_FUNCTION();
  ssize_t count = -1;
  if (len < 0) {
    errno = EINVAL;  // never hand a negative length to the kernel as a huge size
  } else {
    count = recv(info->connFd, buf, static_cast<size_t>(len), 0);
  }
  const int error = errno;
  info->lengthField = count;
  if (count < 0) {
    // No retry, not even after an interruption.
    CMPIU_ERROR("Error: Server receive '%s'", strerror(error));
    buf[0] = '\0';
    return CMPIU_SOCK_ERECV;
  }
  if (count == 0) {
    // Unlike clientRecv, buf keeps what it held.
    CMPIU_TRACE("INFO: connection closed '%s'", strerror(error));
    return CMPIU_SOCK_CLOSED;
  }
  buf[count] = '\0';
  return CMPIU_SOCK_OK;
}

extern "C" unsigned int serverSend(SockInfo *info, const void *buf, int len) {
  CMPIU_TRACE_FUNCTION();
  return cmpiutility::send_once(info->connFd, buf, len);
}
