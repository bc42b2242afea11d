// What the server and client halves of the transport share: the socket file's address and
// the one-shot send.
#ifndef CMPIUTILITY_TRANSPORT_SOCKET_H
#define CMPIUTILITY_TRANSPORT_SOCKET_H

#include <sys/un.h>

namespace cmpiutility {

// Zeroes *addr, sets the family to AF_UNIX and copies path into sun_path, cut silently to
// sizeof(sun_path) - 1 (107) characters so the NUL always fits.
void fill_unix_address(struct sockaddr_un *addr, const char *path);

// One send(fd, buf, len, 0). Returns 0 when exactly len bytes went out; otherwise (failure,
// short send, or a negative len, which fails as EINVAL without calling send) logs
// "Error: Send failed '%s'" and returns 6. A short send is not continued.
unsigned int send_once(int fd, const void *buf, int len);

}  // namespace cmpiutility

#endif  // CMPIUTILITY_TRANSPORT_SOCKET_H
