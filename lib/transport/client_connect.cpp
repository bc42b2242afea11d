// The client's connection: connecting to the host's socket file and closing.
#include <cmpiutility/transport.h>
#include <errno.h>
#include <string.h>
#include <sys/socket.h>
#include <unistd.h>

#include "log/log.h"
#include "transport/address.h"

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
