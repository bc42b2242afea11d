// local_peer.h - the local user behind a loopback TCP connection (--trust-local-peers).
//
// The kernel lists every TCP socket of this network namespace with the user that opened it
// (/proc/net/tcp and /proc/net/tcp6). The client's end of a connection is the socket whose
// local address is our peer's and whose remote address is ours; while we hold our end open
// that pair names exactly one socket. Only loopback peers are looked up.
#ifndef CMPI_WBEMD_HTTP_LOCAL_PEER_H
#define CMPI_WBEMD_HTTP_LOCAL_PEER_H

#include <sys/types.h>

#include <string>

namespace wbem {

// true and *uid when fd (our end of an accepted TCP connection) has a loopback peer whose
// socket is found. proc_net: the directory of the tcp files (a test may give another).
bool loopback_peer_uid(int fd, uid_t *uid, const std::string &proc_net = "/proc/net");

}  // namespace wbem

#endif  // CMPI_WBEMD_HTTP_LOCAL_PEER_H
