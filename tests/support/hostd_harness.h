// hostd_harness.h - running cmpi-hostd for the end-to-end tests.
//
// A Workspace is a temporary directory holding everything one daemon needs: a schema database
// made from share/schema.sql and share/demo-classes.sql plus the rows of the test providers, a
// provider directory with copies of libdemoprovider.so and the test providers, and the demo
// provider's state, set up before any daemon starts as an administrator sets it up: a 0755
// directory of this process's user (root in the suite) holding a file made and seeded by one
// in-process call of the provider. A worker running as nobody may read it, not change it.
// A HostDaemon starts the built cmpi-hostd in the foreground on the workspace's socket, with its
// log (DLOG_OUTPUT) in a file that the tests read back, and its standard error in another file
// that must stay free of sanitizer reports. With the environment variable E2E_KEEP set, the
// workspace directories are left in /tmp for inspection.
#ifndef CMPI_E2E_HOSTD_HARNESS_H
#define CMPI_E2E_HOSTD_HARNESS_H

#include <gtest/gtest.h>
#include <sys/types.h>

#include <string>
#include <vector>

#include "log_capture.h"

namespace e2e {

constexpr int kHostdModule = 232;

class Workspace {
 public:
  Workspace();
  ~Workspace();
  Workspace(const Workspace &) = delete;
  Workspace &operator=(const Workspace &) = delete;

  std::string dir;
  std::string socket;
  std::string schema_db;
  std::string provider_dir;  // with a trailing slash
  std::string state_file;
  std::string log_file;
  std::string stderr_file;

  // Runs SQL on the schema database (ADD_FAILURE on an error).
  void exec_sql(const std::string &sql) const;
};

class HostDaemon {
 public:
  explicit HostDaemon(const Workspace &ws) : ws_(ws) {}
  ~HostDaemon();
  HostDaemon(const HostDaemon &) = delete;
  HostDaemon &operator=(const HostDaemon &) = delete;

  // The common arguments (foreground, socket, schema database, provider directory, log level 4,
  // socket mode 0666, read time-out 2 s, provider time-out 3 s) followed by extra, which may
  // repeat any of them to override it. Waits until the daemon says it listens (on the last
  // --socket given). When the daemon ends instead, start fails and start_status() gives its
  // wait status.
  ::testing::AssertionResult start(const std::vector<std::string> &extra = {});
  int start_status() const { return start_status_; }
  // SIGTERM and wait; returns the wait status (-1 when it had to be killed).
  int stop();
  pid_t pid() const { return pid_; }

  // The daemon's log lines (all modules), with process ids replaced by "N" (see normalize).
  std::vector<cmpitest::LogLine> lines() const;
  // Waits until the log holds the line (bounded); succeeds when it appears.
  ::testing::AssertionResult wait_for(const cmpitest::LogLine &line, int seconds = 10) const;
  // Everything the daemon wrote to standard error.
  std::string standard_error() const;

 private:
  const Workspace &ws_;
  pid_t pid_ = -1;
  int start_status_ = -1;
};

// Replaces the number after "worker ", "supervisor ", "pid " and "(pid " by N.
std::string normalize(const std::string &text);

// A line of the daemon (module 232).
cmpitest::LogLine Hostd(const std::string &text, int level);

// /proc/<pid>: number of open descriptors, resident set in KiB.
int open_fd_count(pid_t pid);
long resident_kib(pid_t pid);

}  // namespace e2e

#endif  // CMPI_E2E_HOSTD_HARNESS_H
