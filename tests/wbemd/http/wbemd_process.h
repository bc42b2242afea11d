// wbemd_process.h - the built cmpi-wbemd as a subprocess of the end-to-end tests, and the
// tools around it: a self-signed certificate, a PAM directory, a real local user, wbemcli.
//
// WbemDaemon starts cmpi-wbemd in the foreground beside a running cmpi-hostd (the workspace of
// hostd_harness.h), as root dropping to nobody, on free loopback ports for HTTP and HTTPS,
// with its log (DLOG_OUTPUT) in a file the tests read and its standard error in another that
// must stay free of sanitizer reports.
#ifndef CMPI_WBEMD_HTTP_TEST_WBEMD_PROCESS_H
#define CMPI_WBEMD_HTTP_TEST_WBEMD_PROCESS_H

#include <gtest/gtest.h>
#include <sys/types.h>

#include <cstdint>
#include <string>
#include <vector>

namespace wbemtest {

// Runs argv (no shell), standard output and error together; returns the exit status (-1 when
// it did not end within timeout_s and was killed). as_uid/as_gid >= 0 runs it as that user.
int run(const std::vector<std::string> &argv, std::string *output, int timeout_s = 60,
        int as_uid = -1, int as_gid = -1);

// A directory with a self-signed ECDSA certificate (cert.pem) and its key (key.pem) for
// "localhost", made with certtool.
bool make_certificate(const std::string &dir, std::string *error);

// A PAM directory for --pam-config-dir: the project's share/cmpi-wbemd.pam as "cmpi-wbemd",
// and the system's common-auth, common-account and common-password it includes.
bool make_pam_dir(const std::string &dir, std::string *error);

// A local user with a password, made with useradd and chpasswd and removed with userdel.
class LocalUser {
 public:
  LocalUser(const std::string &name, const std::string &password);
  ~LocalUser();
  bool made() const { return made_; }
  const std::string &name() const { return name_; }
  uid_t uid() const { return uid_; }

 private:
  std::string name_;
  bool made_ = false;
  uid_t uid_ = 0;
};

class WbemDaemon {
 public:
  WbemDaemon() = default;
  ~WbemDaemon();
  WbemDaemon(const WbemDaemon &) = delete;
  WbemDaemon &operator=(const WbemDaemon &) = delete;

  // Starts it with the common options plus extra (which may repeat one to override it); waits
  // for its "started" log line.
  ::testing::AssertionResult start(const std::string &dir, const std::string &host_socket,
                                   const std::string &schema_db,
                                   const std::vector<std::string> &extra = {});
  // SIGTERM and wait; the wait status (-1 when it had to be killed).
  int stop();

  pid_t pid() const { return pid_; }
  uint16_t http_port() const { return http_port_; }
  uint16_t https_port() const { return https_port_; }
  std::string log() const;
  std::string standard_error() const;
  // "http://<credentials>@127.0.0.1:<port>/root/cimv2:<object>" (no credentials part when
  // credentials is empty).
  std::string url(const std::string &object, const std::string &credentials = "",
                  bool https = false) const;

 private:
  pid_t pid_ = -1;
  uint16_t http_port_ = 0;
  uint16_t https_port_ = 0;
  std::string log_file_;
  std::string stderr_file_;
};

// /proc/<pid>/status: the real user id, and the peak resident set in KiB.
long status_field(pid_t pid, const std::string &field);

}  // namespace wbemtest

#endif  // CMPI_WBEMD_HTTP_TEST_WBEMD_PROCESS_H
