// peer_check.h - who may connect: the peer's kernel credentials against an allow list.
//
// The check runs on the accepted socket before a single byte is read from it. root and the
// daemon's own user are always on the list; --allow-user adds users, --allow-group adds every
// process whose primary or supplementary groups include the group.
#ifndef CMPI_HOSTD_PEER_CHECK_H
#define CMPI_HOSTD_PEER_CHECK_H

#include <sys/types.h>

#include <set>
#include <string>
#include <vector>

namespace hostd {

struct PeerCredentials {
  pid_t pid = 0;
  uid_t uid = 0;
  gid_t gid = 0;
  std::vector<gid_t> groups;  // supplementary groups, when the kernel reports them
};

class AllowList {
 public:
  void allow_uid(uid_t uid) { uids_.insert(uid); }
  void allow_gid(gid_t gid) { gids_.insert(gid); }
  bool admits(const PeerCredentials &peer) const;

 private:
  std::set<uid_t> uids_;
  std::set<gid_t> gids_;
};

// root, the daemon's effective user, and the named users and groups. An unknown name is an
// error (*error names it).
bool build_allow_list(const std::vector<std::string> &users, const std::vector<std::string> &groups,
                      AllowList *list, std::string *error);

// SO_PEERCRED (and SO_PEERGROUPS when available) of a connected AF_UNIX socket.
bool read_peer_credentials(int fd, PeerCredentials *peer, std::string *error);

}  // namespace hostd

#endif  // CMPI_HOSTD_PEER_CHECK_H
