// listen_socket.h - the listening sockets, opened while the daemon still has its privileges.
#ifndef CMPI_WBEMD_HTTP_LISTEN_SOCKET_H
#define CMPI_WBEMD_HTTP_LISTEN_SOCKET_H

#include <cstdint>
#include <string>

namespace wbem {

struct ListenPoint {
  std::string address;  // an IPv4 or IPv6 address; empty: every address (IPv6 and IPv4)
  uint16_t port = 0;    // 0: any free port
};

// A bound, listening TCP socket (close-on-exec, SO_REUSEADDR) for point; every address means
// [::] accepting IPv4 too, or 0.0.0.0 on a machine without IPv6. false with *error.
bool open_listening_socket(const ListenPoint &point, int *fd, std::string *error);

// "127.0.0.1", "::1": true when the address is a loopback address (empty is not).
bool is_loopback_address(const std::string &address);

}  // namespace wbem

#endif  // CMPI_WBEMD_HTTP_LISTEN_SOCKET_H
