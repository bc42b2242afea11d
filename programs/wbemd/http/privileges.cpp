// privileges.cpp - the switch to the daemon's unprivileged user.
#include "privileges.h"

#include <grp.h>
#include <pwd.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <vector>

namespace wbem {

bool drop_privileges(const std::string &user, std::string *error) {
  std::vector<char> buffer(16384);
  struct passwd entry;
  struct passwd *found = nullptr;
  if (getpwnam_r(user.c_str(), &entry, buffer.data(), buffer.size(), &found) != 0 ||
      found == nullptr) {
    *error = "--user " + user + ": no such local user";
    return false;
  }
  if (found->pw_uid == 0) {
    *error = "--user " + user + ": the daemon must not run as root";
    return false;
  }
  uid_t uid = found->pw_uid;
  gid_t gid = found->pw_gid;
  if (initgroups(user.c_str(), gid) != 0 || setgid(gid) != 0 || setuid(uid) != 0) {
    *error = "cannot become " + user + ": " + std::strerror(errno);
    return false;
  }
  if (setuid(0) == 0 || geteuid() == 0 || getegid() != gid) {
    *error = "the switch to " + user + " did not hold";
    return false;
  }
  return true;
}

}  // namespace wbem
