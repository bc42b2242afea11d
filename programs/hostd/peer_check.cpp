// peer_check.cpp - reading the peer's credentials and matching them against the allow list.
#include "peer_check.h"

#include <grp.h>
#include <pwd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace hostd {

bool AllowList::admits(const PeerCredentials &peer) const {
  if (uids_.count(peer.uid) != 0) return true;
  if (gids_.count(peer.gid) != 0) return true;
  for (gid_t g : peer.groups) {
    if (gids_.count(g) != 0) return true;
  }
  return false;
}

bool build_allow_list(const std::vector<std::string> &users, const std::vector<std::string> &groups,
                      AllowList *list, std::string *error) {
  list->allow_uid(0);
  list->allow_uid(geteuid());
  for (const std::string &name : users) {
    const struct passwd *pw = getpwnam(name.c_str());
    if (pw == nullptr) {
      *error = "--allow-user: no local user '" + name + "'";
      return false;
    }
    list->allow_uid(pw->pw_uid);
  }
  for (const std::string &name : groups) {
    const struct group *gr = getgrnam(name.c_str());
    if (gr == nullptr) {
      *error = "--allow-group: no local group '" + name + "'";
      return false;
    }
    list->allow_gid(gr->gr_gid);
  }
  return true;
}

bool read_peer_credentials(int fd, PeerCredentials *peer, std::string *error) {
  struct ucred cred;
  socklen_t length = sizeof cred;
  if (getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &cred, &length) != 0 || length != sizeof cred) {
    *error = std::string("SO_PEERCRED: ") + std::strerror(errno);
    return false;
  }
  peer->pid = cred.pid;
  peer->uid = cred.uid;
  peer->gid = cred.gid;
  peer->groups.clear();
#ifdef SO_PEERGROUPS
  // The kernel reports the peer's supplementary groups as they were at connect time; a kernel
  // without the option leaves only the primary group to match.
  std::vector<gid_t> groups(32);
  for (int attempt = 0; attempt < 4; ++attempt) {
    socklen_t bytes = static_cast<socklen_t>(groups.size() * sizeof(gid_t));
    if (getsockopt(fd, SOL_SOCKET, SO_PEERGROUPS, groups.data(), &bytes) == 0) {
      groups.resize(bytes / sizeof(gid_t));
      peer->groups = groups;
      break;
    }
    if (errno != ERANGE) break;
    groups.resize(bytes / sizeof(gid_t) + 1);
  }
#endif
  return true;
}

}  // namespace hostd
