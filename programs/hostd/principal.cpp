// principal.cpp - looking the requesting user up.
#include "principal.h"

#include <pwd.h>

namespace hostd {

PrincipalCheck check_principal(const char *user, uid_t daemon_uid, Principal *principal) {
  if (user == nullptr || *user == '\0') return PrincipalCheck::kMissing;
  const struct passwd *pw = getpwnam(user);
  if (pw == nullptr) return PrincipalCheck::kUnknownUser;
  if (daemon_uid != 0 && pw->pw_uid != daemon_uid) return PrincipalCheck::kNotOwnUser;
  principal->name = pw->pw_name;
  principal->uid = pw->pw_uid;
  principal->gid = pw->pw_gid;
  return PrincipalCheck::kServe;
}

}  // namespace hostd
