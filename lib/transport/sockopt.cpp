// setsockopt with its failure logged.
#include <cmpiutility/transport.h>
#include <errno.h>
#include <string.h>
#include <sys/socket.h>

#include "log/log.h"

// C++ linkage on purpose: existing callers link against the mangled name.
void xsetsockopt(int fd, int level, int optname, void *optval, socklen_t optlen) {
  CMPIU_TRACE_FUNCTION();
  if (setsockopt(fd, level, optname, optval, optlen) < 0) {
    const int error = errno;
    CMPIU_ERROR("Error: setsockopt failed '%s'", strerror(error));
  }
}
