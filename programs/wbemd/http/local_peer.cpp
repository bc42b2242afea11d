// local_peer.cpp - the owner of a loopback connection's client socket, from /proc/net/tcp*.
#include "local_peer.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <cstdio>
#include <cstring>
#include <fstream>
#include <sstream>

namespace wbem {
namespace {

// The kernel's text of an address and port: each 32-bit word of the address as the machine
// stores it, in upper-case hex, then ':' and the port in hex.
std::string v4_text(const struct in_addr &address, uint16_t port) {
  char text[32];
  uint32_t word;
  std::memcpy(&word, &address, 4);
  std::snprintf(text, sizeof text, "%08X:%04X", word, port);
  return text;
}

std::string v6_text(const struct in6_addr &address, uint16_t port) {
  std::string text;
  for (int i = 0; i < 4; ++i) {
    uint32_t word;
    std::memcpy(&word, address.s6_addr + 4 * i, 4);
    char piece[16];
    std::snprintf(piece, sizeof piece, "%08X", word);
    text += piece;
  }
  char tail[8];
  std::snprintf(tail, sizeof tail, ":%04X", port);
  return text + tail;
}

bool find_owner(const std::string &file, const std::string &local, const std::string &remote,
                uid_t *uid) {
  std::ifstream in(file);
  std::string line;
  std::getline(in, line);  // the column names
  while (std::getline(in, line)) {
    std::istringstream fields(line);
    std::string slot, l, r, state, queues, timer, retransmits;
    unsigned long owner = 0;
    if (!(fields >> slot >> l >> r >> state >> queues >> timer >> retransmits >> owner)) continue;
    if (l == local && r == remote) {
      *uid = static_cast<uid_t>(owner);
      return true;
    }
  }
  return false;
}

// IPv4 address of a v4 or v4-mapped v6 address; false for a real v6 one.
bool as_v4(const struct sockaddr_storage &s, struct in_addr *v4, uint16_t *port) {
  if (s.ss_family == AF_INET) {
    const auto *a = reinterpret_cast<const struct sockaddr_in *>(&s);
    *v4 = a->sin_addr;
    *port = ntohs(a->sin_port);
    return true;
  }
  const auto *a = reinterpret_cast<const struct sockaddr_in6 *>(&s);
  if (!IN6_IS_ADDR_V4MAPPED(&a->sin6_addr)) return false;
  std::memcpy(v4, a->sin6_addr.s6_addr + 12, 4);
  *port = ntohs(a->sin6_port);
  return true;
}

}  // namespace

bool loopback_peer_uid(int fd, uid_t *uid, const std::string &proc_net) {
  struct sockaddr_storage peer, self;
  socklen_t peer_size = sizeof peer, self_size = sizeof self;
  if (getpeername(fd, reinterpret_cast<struct sockaddr *>(&peer), &peer_size) != 0 ||
      getsockname(fd, reinterpret_cast<struct sockaddr *>(&self), &self_size) != 0) {
    return false;
  }
  struct in_addr peer4, self4;
  uint16_t peer_port = 0, self_port = 0;
  if (as_v4(peer, &peer4, &peer_port) && as_v4(self, &self4, &self_port)) {
    if ((ntohl(peer4.s_addr) >> 24) != 127) return false;
    if (find_owner(proc_net + "/tcp", v4_text(peer4, peer_port), v4_text(self4, self_port), uid)) {
      return true;
    }
    // A client with an IPv6 socket talking to an IPv4-mapped address.
    struct in6_addr mapped_peer, mapped_self;
    std::memset(&mapped_peer, 0, sizeof mapped_peer);
    std::memset(&mapped_self, 0, sizeof mapped_self);
    mapped_peer.s6_addr[10] = mapped_peer.s6_addr[11] = 0xff;
    mapped_self.s6_addr[10] = mapped_self.s6_addr[11] = 0xff;
    std::memcpy(mapped_peer.s6_addr + 12, &peer4, 4);
    std::memcpy(mapped_self.s6_addr + 12, &self4, 4);
    return find_owner(proc_net + "/tcp6", v6_text(mapped_peer, peer_port),
                      v6_text(mapped_self, self_port), uid);
  }
  if (peer.ss_family != AF_INET6 || self.ss_family != AF_INET6) return false;
  const auto *p6 = reinterpret_cast<const struct sockaddr_in6 *>(&peer);
  const auto *s6 = reinterpret_cast<const struct sockaddr_in6 *>(&self);
  if (!IN6_IS_ADDR_LOOPBACK(&p6->sin6_addr)) return false;
  return find_owner(proc_net + "/tcp6", v6_text(p6->sin6_addr, ntohs(p6->sin6_port)),
                    v6_text(s6->sin6_addr, ntohs(s6->sin6_port)), uid);
}

}  // namespace wbem
