// privileges.h - becoming the unprivileged user the daemon runs as.
#ifndef CMPI_WBEMD_HTTP_PRIVILEGES_H
#define CMPI_WBEMD_HTTP_PRIVILEGES_H

#include <string>

namespace wbem {

// Switches the whole process (every thread) to the local user `user`: its groups (initgroups,
// so that cmpi-hostd's --allow-proxy-group can name one), its group, then its user id; then
// checks that root cannot be regained. false with *error when the user is unknown, is root, or
// a step fails (the process must then not go on).
bool drop_privileges(const std::string &user, std::string *error);

}  // namespace wbem

#endif  // CMPI_WBEMD_HTTP_PRIVILEGES_H
