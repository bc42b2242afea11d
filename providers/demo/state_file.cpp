// state_file.cpp - checking (and on first use creating) the demo state file.
#include "state_file.h"

#include <fcntl.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace demo {

namespace {

std::string owners() { return "neither root nor uid " + std::to_string(geteuid()); }

bool denied_errno(int error) { return error == EACCES || error == EPERM || error == EROFS; }

Outcome check_directory(const std::string &path) {
  const std::string dir = state_directory_of(path);
  if (dir != "/" && dir != ".") mkdir(dir.c_str(), 0755);  // one level; the checks below decide
  struct stat st;
  if (stat(dir.c_str(), &st) != 0) {
    // The words SQLite uses for a file it cannot open.
    return failure(
        denied_errno(errno) ? CMPI_RC_ERR_ACCESS_DENIED : CMPI_RC_ERR_FAILED,
        "the demo state " + path + " cannot be opened: " + sqlite3_errstr(SQLITE_CANTOPEN));
  }
  if (!S_ISDIR(st.st_mode))
    return failure(CMPI_RC_ERR_FAILED, "the demo state directory " + dir + " is not a directory");
  if (!trusted_state_owner(st.st_uid)) {
    return failure(CMPI_RC_ERR_FAILED, "the demo state directory " + dir + " belongs to uid " +
                                           std::to_string(st.st_uid) + ", " + owners() +
                                           "; the state is not kept there");
  }
  if ((st.st_mode & (S_IWGRP | S_IWOTH)) != 0) {
    return failure(CMPI_RC_ERR_FAILED, "the demo state directory " + dir +
                                           " is writable by others; the state is not kept there");
  }
  return success();
}

// Opens the file without following a link: for writing if allowed, else for reading; creates
// it when it is missing. -1 with errno on failure.
int open_file(const std::string &path) {
  constexpr int kFlags = O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
  for (int attempt = 0; attempt < 2; ++attempt) {
    int fd = ::open(path.c_str(), O_RDWR | kFlags);
    if (fd < 0 && denied_errno(errno)) fd = ::open(path.c_str(), O_RDONLY | kFlags);
    if (fd >= 0 || errno != ENOENT) return fd;
    fd = ::open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | kFlags, 0644);
    if (fd >= 0) {
      fchmod(fd, 0644);  // readable by the users a host serves, whatever the umask
      return fd;
    }
    if (errno != EEXIST) return -1;
    // Another process made it in between: open that one.
  }
  return -1;
}

}  // namespace

std::string state_directory_of(const std::string &path) {
  const size_t slash = path.rfind('/');
  if (slash == std::string::npos) return ".";
  if (slash == 0) return "/";
  return path.substr(0, slash);
}

bool trusted_state_owner(uid_t owner) { return owner == 0 || owner == geteuid(); }

StateFile::~StateFile() { close(); }

void StateFile::close() {
  if (fd_ >= 0) ::close(fd_);
  fd_ = -1;
}

Outcome StateFile::open(const std::string &path) {
  close();
  Outcome outcome = check_directory(path);
  if (!outcome.ok()) return outcome;
  const int fd = open_file(path);
  if (fd < 0) {
    const int error = errno;
    if (error == ELOOP) {
      return failure(CMPI_RC_ERR_FAILED,
                     "the demo state " + path + " is a symbolic link; it is not followed");
    }
    return failure(denied_errno(error) ? CMPI_RC_ERR_ACCESS_DENIED : CMPI_RC_ERR_FAILED,
                   "the demo state " + path + " cannot be opened: " + std::strerror(error));
  }
  fd_ = fd;
  struct stat st;
  if (fstat(fd_, &st) != 0) {
    outcome = failure(CMPI_RC_ERR_FAILED,
                      "the demo state " + path + " cannot be examined: " + std::strerror(errno));
  } else if (!S_ISREG(st.st_mode)) {
    outcome = failure(CMPI_RC_ERR_FAILED,
                      "the demo state " + path + " is not a regular file; it is not used");
  } else if (!trusted_state_owner(st.st_uid)) {
    outcome = failure(CMPI_RC_ERR_FAILED, "the demo state " + path + " belongs to uid " +
                                              std::to_string(st.st_uid) + ", " + owners() +
                                              "; it is not used");
  } else if (st.st_nlink != 1) {
    outcome =
        failure(CMPI_RC_ERR_FAILED, "the demo state " + path + " has " +
                                        std::to_string(st.st_nlink) + " links; it is not used");
  }
  if (!outcome.ok()) {
    close();
    return outcome;
  }
  device_ = st.st_dev;
  inode_ = st.st_ino;
  return success();
}

Outcome StateFile::same_file(const std::string &path) const {
  struct stat st;
  if (fd_ < 0 || lstat(path.c_str(), &st) != 0 || !S_ISREG(st.st_mode) || st.st_dev != device_ ||
      st.st_ino != inode_) {
    return failure(CMPI_RC_ERR_FAILED,
                   "the demo state " + path + " was replaced while it was opened; it is not used");
  }
  return success();
}

}  // namespace demo
