#include "transport/address.h"

#include <string.h>
#include <sys/socket.h>

namespace cmpiutility {

void fill_unix_address(struct sockaddr_un *addr, const char *path) {
  memset(addr, 0, sizeof(*addr));
  addr->sun_family = AF_UNIX;
  const size_t length = strnlen(path, sizeof(addr->sun_path) - 1);
  memcpy(addr->sun_path, path, length);  // the NUL is already there from the memset
}

}  // namespace cmpiutility
