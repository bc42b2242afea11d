// listen_socket.cpp - binding the listeners.
#include "listen_socket.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace wbem {
namespace {

bool bind_and_listen(int family, const struct sockaddr *address, socklen_t size, bool v6only,
                     int *fd, std::string *error) {
  int s = socket(family, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (s < 0) {
    *error = std::string("socket: ") + std::strerror(errno);
    return false;
  }
  int on = 1;
  setsockopt(s, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
  if (family == AF_INET6) {
    int only = v6only ? 1 : 0;
    setsockopt(s, IPPROTO_IPV6, IPV6_V6ONLY, &only, sizeof only);
  }
  if (bind(s, address, size) != 0 || listen(s, 128) != 0) {
    *error = std::strerror(errno);
    close(s);
    return false;
  }
  *fd = s;
  return true;
}

}  // namespace

bool is_loopback_address(const std::string &address) {
  struct in_addr v4;
  struct in6_addr v6;
  if (inet_pton(AF_INET, address.c_str(), &v4) == 1) return (ntohl(v4.s_addr) >> 24) == 127;
  if (inet_pton(AF_INET6, address.c_str(), &v6) == 1) return IN6_IS_ADDR_LOOPBACK(&v6);
  return false;
}

bool open_listening_socket(const ListenPoint &point, int *fd, std::string *error) {
  struct sockaddr_in v4;
  struct sockaddr_in6 v6;
  std::memset(&v4, 0, sizeof v4);
  std::memset(&v6, 0, sizeof v6);
  v4.sin_family = AF_INET;
  v4.sin_port = htons(point.port);
  v6.sin6_family = AF_INET6;
  v6.sin6_port = htons(point.port);
  std::string where = (point.address.empty() ? std::string("every address") : point.address) +
                      " port " + std::to_string(point.port);
  bool ok;
  if (point.address.empty()) {
    v6.sin6_addr = in6addr_any;
    ok = bind_and_listen(AF_INET6, reinterpret_cast<struct sockaddr *>(&v6), sizeof v6, false,
                         fd, error);
    if (!ok) {
      v4.sin_addr.s_addr = htonl(INADDR_ANY);
      ok = bind_and_listen(AF_INET, reinterpret_cast<struct sockaddr *>(&v4), sizeof v4, false,
                           fd, error);
    }
  } else if (inet_pton(AF_INET, point.address.c_str(), &v4.sin_addr) == 1) {
    ok = bind_and_listen(AF_INET, reinterpret_cast<struct sockaddr *>(&v4), sizeof v4, false, fd,
                         error);
  } else if (inet_pton(AF_INET6, point.address.c_str(), &v6.sin6_addr) == 1) {
    ok = bind_and_listen(AF_INET6, reinterpret_cast<struct sockaddr *>(&v6), sizeof v6, true, fd,
                         error);
  } else {
    *error = "'" + point.address + "' is not an IPv4 or IPv6 address";
    return false;
  }
  if (!ok) *error = "cannot listen on " + where + ": " + *error;
  return ok;
}

}  // namespace wbem
