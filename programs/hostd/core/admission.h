// admission.h - who may connect, and as whom a connected peer may act.
//
// Connecting: the peer's kernel credentials (SO_PEERCRED, read before a byte of the request) are
// matched against the allow list. root and the daemon's own user are always on it;
// --allow-user/--allow-group add users and groups; proxies (below) are admitted too.
//
// Acting: a request names its "Principal", the local user it is served as. Three kinds of peer:
//   root     may act as any local user;
//   proxy    (--allow-proxy-user/--allow-proxy-group) may act as any local user except root,
//            and as root too only with --allow-proxy-root; such peers speak for many users, as
//            an object manager or a protocol front end does;
//   self     every other admitted peer may act only as itself.
// A daemon that does not run as root can only serve its own user, whoever asks.
#ifndef CMPI_HOSTD_ADMISSION_H
#define CMPI_HOSTD_ADMISSION_H

#include <sys/types.h>

#include <map>
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

// A set of users and groups a peer can belong to.
class PeerSet {
 public:
  void add_uid(uid_t uid) { uids_.insert(uid); }
  void add_gid(gid_t gid) { gids_.insert(gid); }
  bool contains(const PeerCredentials &peer) const;
  bool empty() const { return uids_.empty() && gids_.empty(); }
  bool has_groups() const { return !gids_.empty(); }

 private:
  std::set<uid_t> uids_;
  std::set<gid_t> gids_;
};

// The local user a request is served as.
struct Principal {
  std::string name;
  uid_t uid = 0;
  gid_t gid = 0;
};

enum class PeerKind { kRoot, kProxy, kSelf };

struct AdmissionPolicy {
  PeerSet allowed;             // may connect
  PeerSet proxies;             // may act as other users
  bool proxies_may_be_root = false;
  uid_t daemon_uid = 0;

  bool admits(const PeerCredentials &peer) const;
  PeerKind kind_of(const PeerCredentials &peer) const;
  // Whether a peer's supplementary groups can change a decision (a group was allowed).
  bool needs_groups() const { return allowed.has_groups() || proxies.has_groups(); }
};

struct AdmissionOptions {
  std::vector<std::string> allow_users;
  std::vector<std::string> allow_groups;
  std::vector<std::string> proxy_users;
  std::vector<std::string> proxy_groups;
  bool proxy_root = false;
};

// Resolves the names; an unknown name is an error (*error names the option and the name).
bool build_admission_policy(const AdmissionOptions &options, uid_t daemon_uid,
                            AdmissionPolicy *policy, std::string *error);

// SO_PEERCRED (and, with_groups, SO_PEERGROUPS when available) of a connected AF_UNIX socket.
// Without groups, peer->groups is left empty: the front asks for them only when a group
// policy needs them (one system call less per connection).
bool read_peer_credentials(int fd, PeerCredentials *peer, std::string *error,
                           bool with_groups = true);


// Local users by name, remembered for a few seconds, so that a busy front does not read the
// user database for every request. Unknown names are remembered too. At most 4096 names are
// held; past that the memory starts afresh.
class UserCache {
 public:
  explicit UserCache(long long ttl_ms = 5000) : ttl_ms_(ttl_ms) {}
  // false when there is no local user of that name. now: monotonic milliseconds.
  bool find(const std::string &name, long long now, Principal *user);

 private:
  struct Known {
    bool found = false;
    Principal user;
    long long at = 0;
  };
  long long ttl_ms_;
  std::map<std::string, Known> known_;
};

enum class PrincipalVerdict {
  kServe,        // *principal is filled
  kMissing,      // the request names no principal
  kUnknownUser,  // no local user of that name
  kNotOwnUser,   // the daemon is not root and the principal is another user
  kNotAllowed,   // the peer may not act as that user
};

// Decides whether peer may have a request served as user (the request's "Principal"). With a
// cache, the user is looked up there (at time now).
PrincipalVerdict decide_principal(const AdmissionPolicy &policy, const PeerCredentials &peer,
                                  const std::string &user, Principal *principal,
                                  UserCache *cache = nullptr, long long now = 0);

const char *peer_kind_name(PeerKind kind);  // "root", "proxy", "self"

}  // namespace hostd

#endif  // CMPI_HOSTD_ADMISSION_H
