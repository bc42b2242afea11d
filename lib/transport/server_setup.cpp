// Setting up the host's listening socket.
#include <cmpiutility/transport.h>
#include <errno.h>
#include <fcntl.h>
#include <string.h>
#include <sys/socket.h>
#include <unistd.h>

#include "log/log.h"
#include "transport/address.h"

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
