// Filling the socket file's address, shared by the server and client set-up.
#ifndef CMPIUTILITY_TRANSPORT_ADDRESS_H
#define CMPIUTILITY_TRANSPORT_ADDRESS_H

#include <sys/un.h>

namespace cmpiutility {

// Zeroes *addr, sets the family to AF_UNIX and copies path into sun_path, cut silently to
// sizeof(sun_path) - 1 (107) characters so the NUL always fits.
void fill_unix_address(struct sockaddr_un *addr, const char *path);

}  // namespace cmpiutility

#endif  // CMPIUTILITY_TRANSPORT_ADDRESS_H
