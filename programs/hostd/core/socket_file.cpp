// socket_file.cpp - checking, creating and removing the socket file.
#include "socket_file.h"

#include <fcntl.h>
#include <grp.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace hostd {
namespace {

// true when a process accepts connections on the socket file at path.
bool someone_listens(const std::string &path) {
  int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (fd < 0) return false;
  struct sockaddr_un addr;
  std::memset(&addr, 0, sizeof addr);
  addr.sun_family = AF_UNIX;
  std::strncpy(addr.sun_path, path.c_str(), sizeof addr.sun_path - 1);
  bool live = connect(fd, reinterpret_cast<struct sockaddr *>(&addr), sizeof addr) == 0;
  close(fd);
  return live;
}

}  // namespace

ino_t socket_file_inode(const std::string &path) {
  struct stat st;
  if (lstat(path.c_str(), &st) != 0 || !S_ISSOCK(st.st_mode)) return 0;
  return st.st_ino;
}

bool open_listening_socket(const std::string &path, mode_t mode, const std::string &group,
                           SockInfo *server, std::string *error) {
  gid_t gid = static_cast<gid_t>(-1);
  if (!group.empty()) {
    const struct group *gr = getgrnam(group.c_str());
    if (gr == nullptr) {
      *error = "--group: no local group '" + group + "'";
      return false;
    }
    gid = gr->gr_gid;
  }
  struct stat st;
  if (lstat(path.c_str(), &st) == 0) {
    if (!S_ISSOCK(st.st_mode)) {
      *error = path + " exists and is not a socket; it is left alone";
      return false;
    }
    if (someone_listens(path)) {
      *error = "another process already serves " + path;
      return false;
    }
  }
  // The file comes into being with no permissions for anyone but the owner; the wanted mode
  // and group are applied before the first connection can be accepted.
  mode_t old_mask = umask(0177);
  unsigned int rc = createServersock(server, path.c_str());
  umask(old_mask);
  if (rc != CMPIU_SOCK_OK) {
    *error = "cannot listen on " + path + " (socket set-up failed with code " + std::to_string(rc) +
             ", see the line above)";
    return false;
  }
  fcntl(server->fd, F_SETFD, FD_CLOEXEC);
  if (gid != static_cast<gid_t>(-1) && chown(path.c_str(), static_cast<uid_t>(-1), gid) != 0) {
    *error = "cannot give " + path + " the group " + group + ": " + std::strerror(errno);
    serverSockclose(server);
    unlink(path.c_str());
    return false;
  }
  if (chmod(path.c_str(), mode) != 0) {
    *error = "cannot set the mode of " + path + ": " + std::strerror(errno);
    serverSockclose(server);
    unlink(path.c_str());
    return false;
  }
  return true;
}

void remove_socket_file(const std::string &path, ino_t inode) {
  if (inode != 0 && socket_file_inode(path) == inode) unlink(path.c_str());
}

}  // namespace hostd
