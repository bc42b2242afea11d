// client.cpp - the client's side of the transport: connecting to the host's socket file,
// sending and receiving on the connection, and closing it.
#include <cmpiutility/transport.h>
#include <errno.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/types.h>
#include <unistd.h>

#include "log/log.h"
#include "transport/socket.h"

// ---- the connection ---------------------------------------------------------------------------

extern "C" unsigned int clientConnectServersock(SockInfo *info, const char *path) {
  CMPIU_TRACE_FUNCTION();
  info->fd = socket(AF_UNIX, SOCK_STREAM, 0);
  if (info->fd < 0) {
    const int error = errno;
    CMPIU_ERROR("Error: client socket '%s'", strerror(error));
    return CMPIU_SOCK_ESOCKET;
  }
  cmpiutility::fill_unix_address(&info->addr, path);
  // The length is always the whole address structure, not the length of the path.
  if (connect(info->fd, reinterpret_cast<const struct sockaddr *>(&info->addr),
              sizeof(info->addr)) < 0) {
    const int error = errno;
    CMPIU_ERROR("Error: client connect '%s'", strerror(error));
    clientCloseConnection(info);
    return CMPIU_SOCK_ECONNECT;
  }
  return CMPIU_SOCK_OK;
}

extern "C" void clientCloseConnection(SockInfo *info) {
  CMPIU_TRACE_FUNCTION();
  close(info->fd);
  info->fd = -1;
}

// ---- sending and receiving --------------------------------------------------------------------

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
