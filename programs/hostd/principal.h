// principal.h - whose request it is: the request's "Principal" must be a local user, and a
// daemon that does not run as root serves only its own user.
#ifndef CMPI_HOSTD_PRINCIPAL_H
#define CMPI_HOSTD_PRINCIPAL_H

#include <sys/types.h>

#include <string>

namespace hostd {

struct Principal {
  std::string name;
  uid_t uid = 0;
  gid_t gid = 0;
};

enum class PrincipalCheck {
  kServe,        // *principal is filled
  kMissing,      // no principal in the request
  kUnknownUser,  // getpwnam does not know the name
  kNotOwnUser,   // the daemon is not root and the principal is another user
};

PrincipalCheck check_principal(const char *user, uid_t daemon_uid, Principal *principal);

}  // namespace hostd

#endif  // CMPI_HOSTD_PRINCIPAL_H
