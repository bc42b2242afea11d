// daemonize.cpp - detaching from the terminal and writing the pid file.
#include "daemonize.h"

#include <dlog.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace hostd {

bool write_pid_file(const std::string &path, pid_t pid, std::string *error) {
  struct stat st;
  if (lstat(path.c_str(), &st) == 0) {
    if (S_ISLNK(st.st_mode)) {
      *error = "the pid file " + path + " is a symbolic link; it is not followed";
      return false;
    }
    if (!S_ISREG(st.st_mode)) {
      *error = "the pid file " + path + " exists and is not a regular file; it is left alone";
      return false;
    }
  }
  // A name hard to guess (the pid and the clock's nanoseconds); should something lie there all
  // the same, O_EXCL refuses it and another name is tried.
  std::string tmp;
  int fd = -1;
  for (int attempt = 0; fd < 0 && attempt < 100; ++attempt) {
    struct timespec ts;
    clock_gettime(CLOCK_MONOTONIC, &ts);
    tmp = path + ".tmp." + std::to_string(getpid()) + "." + std::to_string(ts.tv_nsec) + "." +
          std::to_string(attempt);
    fd = open(tmp.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0644);
    if (fd < 0 && errno != EEXIST) break;
  }
  if (fd < 0) {
    *error = "cannot write " + tmp + ": " + std::strerror(errno);
    return false;
  }
  std::string text = std::to_string(pid) + "\n";
  bool ok = fchmod(fd, 0644) == 0;  // whatever the umask
  ok = ok && write(fd, text.data(), text.size()) == static_cast<ssize_t>(text.size());
  ok = close(fd) == 0 && ok;
  if (!ok || rename(tmp.c_str(), path.c_str()) != 0) {
    *error = "cannot write " + path + ": " + std::strerror(errno);
    unlink(tmp.c_str());
    return false;
  }
  return true;
}

bool detach(const std::string &pid_file, std::string *error) {
  pid_t pid = fork();
  if (pid < 0) {
    *error = std::string("fork: ") + std::strerror(errno);
    return false;
  }
  if (pid > 0) {
    int status = 0;
    if (!pid_file.empty() && !write_pid_file(pid_file, pid, error)) {
      std::fprintf(stderr, "cmpi-hostd: %s\n", error->c_str());
      // A start that is reported failed must not leave a daemon behind: the child takes the
      // stop signal as soon as it listens, and shuts down cleanly.
      kill(pid, SIGTERM);
      status = 1;
    }
    _exit(status);
  }
  setsid();
  if (chdir("/") != 0) {
    // "/" always exists; nothing sensible is left to do if it cannot be entered.
  }
  int null_fd = open("/dev/null", O_RDWR);
  if (null_fd >= 0) {
    dup2(null_fd, STDIN_FILENO);
    dup2(null_fd, STDOUT_FILENO);
    dup2(null_fd, STDERR_FILENO);
    if (null_fd > STDERR_FILENO) close(null_fd);
  }
  const char *output = getenv("DLOG_OUTPUT");
  if (output == nullptr || *output == '\0') {
    setenv("DLOG_OUTPUT", "syslog", 1);
    dlog_reload();
  }
  return true;
}

}  // namespace hostd
