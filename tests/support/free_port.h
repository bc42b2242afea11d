// free_port.h - a loopback TCP port nobody listens on now, for tests and benchmarks that start
// a daemon on a port of their own. Header only, without GoogleTest.
#ifndef CMPI_TEST_SUPPORT_FREE_PORT_H
#define CMPI_TEST_SUPPORT_FREE_PORT_H

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdint>
#include <cstring>

namespace testsupport {

// The port the kernel gave a socket bound to port 0 on 127.0.0.1 (then closed); 0 when none.
inline uint16_t free_port() {
  const int s = socket(AF_INET, SOCK_STREAM, 0);
  if (s < 0) return 0;
  struct sockaddr_in a;
  std::memset(&a, 0, sizeof a);
  a.sin_family = AF_INET;
  a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof a;
  uint16_t port = 0;
  if (bind(s, reinterpret_cast<struct sockaddr *>(&a), size) == 0 &&
      getsockname(s, reinterpret_cast<struct sockaddr *>(&a), &size) == 0) {
    port = ntohs(a.sin_port);
  }
  close(s);
  return port;
}

}  // namespace testsupport

#endif  // CMPI_TEST_SUPPORT_FREE_PORT_H
