// quiet_stdout.cpp - redirecting file descriptor 1 and restoring it.
#include "quiet_stdout.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <iostream>

namespace cli {

QuietStdout::QuietStdout() {
  std::cout.flush();
  std::fflush(stdout);
  saved_ = dup(STDOUT_FILENO);
  const int null_fd = ::open("/dev/null", O_WRONLY | O_CLOEXEC);
  if (saved_ >= 0 && null_fd >= 0) dup2(null_fd, STDOUT_FILENO);
  if (null_fd >= 0) close(null_fd);
}

QuietStdout::~QuietStdout() {
  std::fflush(stdout);
  if (saved_ >= 0) {
    dup2(saved_, STDOUT_FILENO);
    close(saved_);
  }
}

}  // namespace cli
