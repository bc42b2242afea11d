// Switching the process's identity to a named user.
#include <cmpiutility/privilege.h>
#include <grp.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include "log/log.h"

namespace {

using cmpiutility::kLogLevelError;
using cmpiutility::kLogModule;
using cmpiutility::kLogModuleAux;

// New files get no permissions for others.
constexpr mode_t kFileCreationMask = 007;

// The steps both operations share; they differ only in how the group and the user are set.
int switch_to_user(uid_t base_uid, const char *user_name, int (*set_group)(gid_t),
                   int (*set_user)(uid_t)) {
  if (seteuid(base_uid) != 0) {
    CMPIU_LOG(kLogLevelError, kLogModuleAux, "seteuid to root failed ");
    return 1;
  }
  // A missing name is an unknown user (getpwnam itself must not see NULL).
  const struct passwd *user = user_name != nullptr ? getpwnam(user_name) : nullptr;
  if (user == nullptr) {
    CMPIU_LOG(kLogLevelError, kLogModule, "getpwnam failed");
    return 1;
  }
  const uid_t uid = user->pw_uid;
  const gid_t gid = user->pw_gid;
  // The group first: once the user has changed, the groups may no longer be changed.
  if (set_group(gid) != 0) {
    CMPIU_LOG(kLogLevelError, kLogModule, "setgid failed ");
    return 1;
  }
  if (initgroups(user->pw_name, gid) != 0) {
    CMPIU_LOG(kLogLevelError, kLogModuleAux, "initgroups failed ");
    return 1;
  }
  umask(kFileCreationMask);
  if (set_user(uid) != 0) {
    CMPIU_LOG(kLogLevelError, kLogModule, "seteuid in main failed");
    return 1;
  }
  return 0;
}

int set_effective_group(gid_t gid) { return setegid(gid); }
int set_effective_user(uid_t uid) { return seteuid(uid); }
int set_all_groups(gid_t gid) { return setresgid(gid, gid, gid); }
int set_all_users(uid_t uid) { return setresuid(uid, uid, uid); }

}  // namespace

extern "C" int initPriv(uid_t baseUid, const char *userName) {
  CMPIU_TRACE_FUNCTION();
  return switch_to_user(baseUid, userName, set_effective_group, set_effective_user);
}

extern "C" int assignBasePriv(uid_t baseUid, const char *userName) {
  CMPIU_TRACE_FUNCTION();
  return switch_to_user(baseUid, userName, set_all_groups, set_all_users);
}
