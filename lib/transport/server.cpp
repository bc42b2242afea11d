// server.cpp - the host's side of the transport: setting up the listening socket, accepting a
// connection, receiving and sending on it, and closing both descriptors.
#include <cmpiutility/transport.h>
#include <errno.h>
#include <fcntl.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/types.h>
#include <unistd.h>

#include "log/log.h"
#include "transport/socket.h"

// ---- set-up -----------------------------------------------------------------------------------

namespace {

constexpr int kListenBacklog = 50;

// Adds O_NONBLOCK to the socket's status flags. A failure is only noted: the server then works
// with a blocking socket.
void make_non_blocking(int fd) {
  const int flags = fcntl(fd, F_GETFL);
  if (flags < 0 || fcntl(fd, F_SETFL, flags | O_NONBLOCK) < 0) {
    const int error = errno;
    CMPIU_TRACE("INFO: Non blocking flag is not set for Server socket '%s'", strerror(error));
  }
}

unsigned int set_up_server(SockInfo *info, const char *path, bool non_blocking) {
  info->fd = socket(AF_UNIX, SOCK_STREAM, 0);
  if (info->fd < 0) {
    const int error = errno;
    CMPIU_ERROR("Error: server socket '%s'", strerror(error));
    return CMPIU_SOCK_ESOCKET;
  }
  if (non_blocking) make_non_blocking(info->fd);

  cmpiutility::fill_unix_address(&info->addr, path);
  // A socket file left behind by an earlier run would make bind fail. The cut path is the one
  // bind uses, so that is the one removed.
  unlink(info->addr.sun_path);

  // The length is always the whole address structure, not the length of the path.
  if (bind(info->fd, reinterpret_cast<const struct sockaddr *>(&info->addr),
           sizeof(info->addr)) < 0) {
    const int error = errno;
    CMPIU_ERROR("Error: Server bind '%s'", strerror(error));
    serverSockclose(info);
    return CMPIU_SOCK_EBIND;
  }
  if (listen(info->fd, kListenBacklog) < 0) {
    const int error = errno;
    CMPIU_ERROR("Error: Server listen '%s'", strerror(error));
    serverSockclose(info);
    return CMPIU_SOCK_ELISTEN;
  }
  return CMPIU_SOCK_OK;
}

}  // namespace

extern "C" unsigned int createServersock(SockInfo *info, const char *path) {
  CMPIU_TRACE_FUNCTION();
  return set_up_server(info, path, true);
}

extern "C" unsigned int blockServersock(SockInfo *info, const char *path) {
  CMPIU_TRACE_FUNCTION();
  return set_up_server(info, path, false);
}

// ---- accepting and closing --------------------------------------------------------------------

extern "C" unsigned int acceptServer(SockInfo *info) {
  CMPIU_TRACE_FUNCTION();
  info->lengthField = sizeof(info->peerAddr);
  // accept takes a 32-bit length; the record keeps it in its 64-bit field.
  socklen_t length = static_cast<socklen_t>(info->lengthField);
  info->connFd =
      accept(info->fd, reinterpret_cast<struct sockaddr *>(&info->peerAddr), &length);
  const int error = errno;
  info->lengthField = length;
  if (info->connFd < 0) {
    CMPIU_ERROR("Error: Server accept '%s'", strerror(error));
    return CMPIU_SOCK_EACCEPT;
  }
  return CMPIU_SOCK_OK;
}

extern "C" void serverAcceptclose(SockInfo *info) {
  CMPIU_TRACE_FUNCTION();
  close(info->connFd);
  info->connFd = -1;
}

extern "C" void serverSockclose(SockInfo *info) {
  CMPIU_TRACE_FUNCTION();
  close(info->fd);
  info->fd = -1;
}

// ---- receiving and sending --------------------------------------------------------------------

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
