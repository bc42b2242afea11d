// admission.cpp - the allow list, peer credentials and the principal policy.
#include "admission.h"

#include <grp.h>
#include <pwd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace hostd {
namespace {

bool add_users(const std::vector<std::string> &names, const char *option, PeerSet *set,
               std::string *error) {
  for (const std::string &name : names) {
    const struct passwd *pw = getpwnam(name.c_str());
    if (pw == nullptr) {
      *error = std::string(option) + ": no local user '" + name + "'";
      return false;
    }
    set->add_uid(pw->pw_uid);
  }
  return true;
}

bool add_groups(const std::vector<std::string> &names, const char *option, PeerSet *set,
                std::string *error) {
  for (const std::string &name : names) {
    const struct group *gr = getgrnam(name.c_str());
    if (gr == nullptr) {
      *error = std::string(option) + ": no local group '" + name + "'";
      return false;
    }
    set->add_gid(gr->gr_gid);
  }
  return true;
}

}  // namespace

bool PeerSet::contains(const PeerCredentials &peer) const {
  if (uids_.count(peer.uid) != 0) return true;
  if (gids_.count(peer.gid) != 0) return true;
  for (gid_t g : peer.groups) {
    if (gids_.count(g) != 0) return true;
  }
  return false;
}

bool AdmissionPolicy::admits(const PeerCredentials &peer) const {
  return peer.uid == 0 || peer.uid == daemon_uid || allowed.contains(peer) ||
         proxies.contains(peer);
}

PeerKind AdmissionPolicy::kind_of(const PeerCredentials &peer) const {
  if (peer.uid == 0) return PeerKind::kRoot;
  if (proxies.contains(peer)) return PeerKind::kProxy;
  return PeerKind::kSelf;
}

const char *peer_kind_name(PeerKind kind) {
  switch (kind) {
    case PeerKind::kRoot:
      return "root";
    case PeerKind::kProxy:
      return "proxy";
    case PeerKind::kSelf:
      break;
  }
  return "self";
}

bool build_admission_policy(const AdmissionOptions &options, uid_t daemon_uid,
                            AdmissionPolicy *policy, std::string *error) {
  policy->daemon_uid = daemon_uid;
  policy->proxies_may_be_root = options.proxy_root;
  return add_users(options.allow_users, "--allow-user", &policy->allowed, error) &&
         add_groups(options.allow_groups, "--allow-group", &policy->allowed, error) &&
         add_users(options.proxy_users, "--allow-proxy-user", &policy->proxies, error) &&
         add_groups(options.proxy_groups, "--allow-proxy-group", &policy->proxies, error);
}

namespace {

// The user database's entry for name; false when there is none.
bool look_up(const std::string &name, Principal *user) {
  struct passwd pw;
  struct passwd *found = nullptr;
  char buffer[4096];
  if (getpwnam_r(name.c_str(), &pw, buffer, sizeof buffer, &found) != 0 || found == nullptr) {
    return false;
  }
  user->name = pw.pw_name;
  user->uid = pw.pw_uid;
  user->gid = pw.pw_gid;
  return true;
}

}  // namespace

bool UserCache::find(const std::string &name, long long now, Principal *user) {
  auto it = known_.find(name);
  if (it == known_.end() || now - it->second.at >= ttl_ms_ || now < it->second.at) {
    if (known_.size() >= 4096) known_.clear();
    Known fresh;
    fresh.found = look_up(name, &fresh.user);
    fresh.at = now;
    it = known_.insert_or_assign(name, fresh).first;
  }
  if (it->second.found) *user = it->second.user;
  return it->second.found;
}

PrincipalVerdict decide_principal(const AdmissionPolicy &policy, const PeerCredentials &peer,
                                  const std::string &user, Principal *principal,
                                  UserCache *cache, long long now) {
  if (user.empty()) return PrincipalVerdict::kMissing;
  Principal found;
  const bool known = cache != nullptr ? cache->find(user, now, &found) : look_up(user, &found);
  if (!known) return PrincipalVerdict::kUnknownUser;
  if (policy.daemon_uid != 0 && found.uid != policy.daemon_uid) {
    return PrincipalVerdict::kNotOwnUser;
  }
  switch (policy.kind_of(peer)) {
    case PeerKind::kRoot:
      break;
    case PeerKind::kProxy:
      if (found.uid == 0 && !policy.proxies_may_be_root) return PrincipalVerdict::kNotAllowed;
      break;
    case PeerKind::kSelf:
      if (found.uid != peer.uid) return PrincipalVerdict::kNotAllowed;
      break;
  }
  *principal = found;
  return PrincipalVerdict::kServe;
}

bool read_peer_credentials(int fd, PeerCredentials *peer, std::string *error, bool with_groups) {
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
  if (!with_groups) return true;
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
