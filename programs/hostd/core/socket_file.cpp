// socket_file.cpp - checking, creating and removing the socket file.
#include "socket_file.h"

#include <fcntl.h>
#include <grp.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
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

std::string octal(mode_t mode) {
  char text[16];
  std::snprintf(text, sizeof text, "%04o", static_cast<unsigned>(mode));
  return text;
}

bool directory_allowed(const struct stat &st, const std::string &dir, std::string *error) {
  if (!S_ISDIR(st.st_mode)) {
    *error = "the socket's directory " + dir + " is not a directory; refusing to start";
    return false;
  }
  const uid_t me = geteuid();
  if (st.st_uid != 0 && st.st_uid != me) {
    *error = "the socket's directory " + dir + " belongs to uid " + std::to_string(st.st_uid) +
             ", neither root nor uid " + std::to_string(me) + "; refusing to start";
    return false;
  }
  if ((st.st_mode & (S_IWGRP | S_IWOTH)) != 0 && (st.st_mode & S_ISVTX) == 0) {
    *error = "the socket's directory " + dir +
             " is writable by others and not sticky; refusing to start";
    return false;
  }
  return true;
}

// Closes the descriptor when it goes.
class Fd {
 public:
  explicit Fd(int fd) : fd_(fd) {}
  ~Fd() {
    if (fd_ >= 0) close(fd_);
  }
  Fd(const Fd &) = delete;
  Fd &operator=(const Fd &) = delete;
  int get() const { return fd_; }

 private:
  int fd_;
};

}  // namespace

std::string directory_of(const std::string &path) {
  const std::size_t slash = path.rfind('/');
  if (slash == std::string::npos) return ".";
  if (slash == 0) return "/";
  return path.substr(0, slash);
}

std::string name_of(const std::string &path) {
  const std::size_t slash = path.rfind('/');
  return slash == std::string::npos ? path : path.substr(slash + 1);
}

bool check_socket_directory(const std::string &dir, std::string *error) {
  struct stat st;
  if (stat(dir.c_str(), &st) != 0) {
    *error = "cannot use the socket's directory " + dir + ": " + std::strerror(errno);
    return false;
  }
  return directory_allowed(st, dir, error);
}

bool set_socket_group(int dir_fd, const std::string &name, gid_t gid, std::string *error) {
  if (fchownat(dir_fd, name.c_str(), static_cast<uid_t>(-1), gid, AT_SYMLINK_NOFOLLOW) != 0) {
    *error = std::strerror(errno);
    return false;
  }
  return true;
}

bool verify_socket_file(int dir_fd, const std::string &name, const std::string &path, mode_t mode,
                        gid_t gid, std::string *error) {
  struct stat st;
  if (fstatat(dir_fd, name.c_str(), &st, AT_SYMLINK_NOFOLLOW) != 0) {
    *error = path + " is gone after it was made: " + std::strerror(errno);
    return false;
  }
  if (!S_ISSOCK(st.st_mode)) {
    *error = path + " is no longer the socket that was made; refusing to start";
    return false;
  }
  if (st.st_uid != geteuid()) {
    *error = path + " belongs to uid " + std::to_string(st.st_uid) + ", not to this daemon's uid " +
             std::to_string(geteuid()) + "; refusing to start";
    return false;
  }
  if ((st.st_mode & 0777) != (mode & 0777)) {
    *error = path + " has the mode " + octal(st.st_mode & 0777) + ", not " + octal(mode & 0777) +
             " (does its directory have a default ACL?); refusing to start";
    return false;
  }
  if (gid != static_cast<gid_t>(-1) && st.st_gid != gid) {
    *error = path + " has the group " + std::to_string(st.st_gid) + ", not " + std::to_string(gid) +
             "; refusing to start";
    return false;
  }
  return true;
}

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
  const std::string dir = directory_of(path);
  const std::string name = name_of(path);
  // Everything after the bind goes through this descriptor of the directory that was checked.
  Fd dir_fd(open(dir.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  struct stat st;
  if (dir_fd.get() < 0 || fstat(dir_fd.get(), &st) != 0) {
    *error = "cannot use the socket's directory " + dir + ": " + std::strerror(errno);
    return false;
  }
  if (!directory_allowed(st, dir, error)) return false;
  if (fstatat(dir_fd.get(), name.c_str(), &st, AT_SYMLINK_NOFOLLOW) == 0) {
    if (!S_ISSOCK(st.st_mode)) {
      *error = path + " exists and is not a socket; it is left alone";
      return false;
    }
    if (someone_listens(path)) {
      *error = "another process already serves " + path;
      return false;
    }
  }
  // bind makes the file with 0777 & ~umask: the umask gives it its mode as it comes into
  // being. umask is per process; the daemon has no other thread at this point.
  const mode_t old_mask = umask(~mode & 0777);
  const unsigned int rc = createServersock(server, path.c_str());
  umask(old_mask);
  if (rc != CMPIU_SOCK_OK) {
    *error = "cannot listen on " + path + " (socket set-up failed with code " + std::to_string(rc) +
             ", see the line above)";
    return false;
  }
  fcntl(server->fd, F_SETFD, FD_CLOEXEC);
  std::string why;
  bool ok = gid == static_cast<gid_t>(-1) || set_socket_group(dir_fd.get(), name, gid, &why);
  if (!ok) why = "cannot give " + path + " the group " + group + ": " + why;
  ok = ok && verify_socket_file(dir_fd.get(), name, path, mode, gid, &why);
  if (!ok) {
    *error = why;
    serverSockclose(server);
    // Only a socket is removed: a link planted at the name stays for the owner to see.
    if (fstatat(dir_fd.get(), name.c_str(), &st, AT_SYMLINK_NOFOLLOW) == 0 &&
        S_ISSOCK(st.st_mode)) {
      unlinkat(dir_fd.get(), name.c_str(), 0);
    }
    return false;
  }
  return true;
}

void remove_socket_file(const std::string &path, ino_t inode) {
  if (inode != 0 && socket_file_inode(path) == inode) unlink(path.c_str());
}

}  // namespace hostd
