// cli_runner.cpp - fork, exec, wait, read back.
#include "cli_runner.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <sstream>

#include "read_file.h"

namespace clitest {

using testsupport::read_file;

int occurrences(const std::string &text, const std::string &needle) {
  int n = 0;
  for (std::size_t at = text.find(needle); at != std::string::npos;
       at = text.find(needle, at + needle.size())) {
    ++n;
  }
  return n;
}

CliRun run_cli(const std::vector<std::string> &args, const Environment &env,
               bool terminal_stderr) {
  CliRun run;
  char dir_template[] = "/tmp/cmpi-cli-run-XXXXXX";
  if (mkdtemp(dir_template) == nullptr) {
    ADD_FAILURE() << "mkdtemp: " << std::strerror(errno);
    return run;
  }
  const std::string dir = dir_template;
  const std::string out_file = dir + "/stdout";
  const std::string err_file = dir + "/stderr";

  int master = -1;
  std::string slave_name;
  if (terminal_stderr) {
    master = posix_openpt(O_RDWR | O_NOCTTY);
    if (master < 0 || grantpt(master) != 0 || unlockpt(master) != 0) {
      ADD_FAILURE() << "no pseudo-terminal: " << std::strerror(errno);
      return run;
    }
    slave_name = ptsname(master);
  }

  std::vector<std::string> argv_text = {CLI_BINARY};
  argv_text.insert(argv_text.end(), args.begin(), args.end());
  const pid_t pid = fork();
  if (pid < 0) {
    ADD_FAILURE() << "fork: " << std::strerror(errno);
    return run;
  }
  if (pid == 0) {
    unsetenv("CMPI_HOSTD_SOCKET");
    unsetenv("DLOG_LEVEL");
    unsetenv("DLOG_OUTPUT");
    for (const auto &[name, value] : env) setenv(name.c_str(), value.c_str(), 1);
    const int null_fd = open("/dev/null", O_RDONLY);
    const int out_fd = open(out_file.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    const int err_fd = terminal_stderr ? open(slave_name.c_str(), O_RDWR | O_NOCTTY)
                                       : open(err_file.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    if (null_fd < 0 || out_fd < 0 || err_fd < 0) _exit(126);
    dup2(null_fd, STDIN_FILENO);
    dup2(out_fd, STDOUT_FILENO);
    dup2(err_fd, STDERR_FILENO);
    if (master >= 0) close(master);
    std::vector<char *> argv;
    for (std::string &a : argv_text) argv.push_back(a.data());
    argv.push_back(nullptr);
    execv(argv[0], argv.data());
    _exit(127);
  }

  int wait_status = 0;
  bool exited = false;
  std::string terminal;
  while (!exited || master >= 0) {
    if (!exited && waitpid(pid, &wait_status, WNOHANG) == pid) exited = true;
    if (master >= 0) {
      struct pollfd p = {master, POLLIN, 0};
      if (poll(&p, 1, 20) > 0) {
        char buf[4096];
        const ssize_t n = read(master, buf, sizeof buf);
        if (n > 0) {
          terminal.append(buf, static_cast<std::size_t>(n));
          continue;
        }
      }
      if (exited) {
        close(master);
        master = -1;
      }
    } else if (!exited) {
      waitpid(pid, &wait_status, 0);
      exited = true;
    }
  }
  run.status = WIFEXITED(wait_status) ? WEXITSTATUS(wait_status) : -1;
  run.out = read_file(out_file);
  run.err = terminal_stderr ? terminal : read_file(err_file);
  unlink(out_file.c_str());
  unlink(err_file.c_str());
  rmdir(dir.c_str());
  return run;
}

}  // namespace clitest
