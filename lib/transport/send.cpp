#include "transport/send.h"

#include <cmpiutility/transport.h>
#include <errno.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/types.h>

#include "log/log.h"

namespace cmpiutility {

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
