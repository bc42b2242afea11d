// The host's descriptors: accepting a connection and closing both sockets.
#include <cmpiutility/transport.h>
#include <errno.h>
#include <string.h>
#include <sys/socket.h>
#include <unistd.h>

#include "log/log.h"

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
