// wbemd_process.h - a cmpi-wbemd for the front-end benchmark, and what it needs: a self-signed
// certificate made for the run with certtool, a PAM directory (the project's service file and
// the system's common-* files it includes), and a local user with a password for Basic logins.
//
// The daemon runs in the foreground as a child of the benchmark (as root, dropping to nobody),
// on free loopback ports for HTTP and HTTPS, with --trust-local-peers so that a request
// without credentials is served as the benchmark's own user, and its log (level 2) in its
// directory. Everything here needs root. A small watcher process stops the daemon should the
// benchmark end without stop().
#ifndef CMPIUTILITY_BENCH_WBEMD_PROCESS_H
#define CMPIUTILITY_BENCH_WBEMD_PROCESS_H

#include <sys/types.h>

#include <cstdint>
#include <string>
#include <vector>

namespace bench {

// cert.pem and key.pem (ECDSA, "localhost") in dir, and a PAM directory dir/pam. false with the
// reason in *error.
bool make_certificate(const std::string &dir, std::string *error);
bool make_pam_dir(const std::string &dir, std::string *error);

// A local user with a password, made with useradd and chpasswd and removed with userdel.
class BenchUser {
 public:
  BenchUser() = default;
  ~BenchUser();
  BenchUser(const BenchUser &) = delete;
  BenchUser &operator=(const BenchUser &) = delete;
  bool make(const std::string &name, const std::string &password, std::string *error);
  void remove();
  const std::string &name() const { return name_; }

 private:
  std::string name_;
  bool made_ = false;
};

class WbemdProcess {
 public:
  WbemdProcess() = default;
  ~WbemdProcess();
  WbemdProcess(const WbemdProcess &) = delete;
  WbemdProcess &operator=(const WbemdProcess &) = delete;

  // Starts the daemon with its files in dir (made by make_certificate and make_pam_dir),
  // talking to host_socket with schema_db, extra options last; returns once it logs that it
  // started. false with the reason in *error.
  bool start(const std::string &dir, const std::string &host_socket,
             const std::string &schema_db, const std::vector<std::string> &extra,
             std::string *error);
  // SIGTERM, wait (SIGKILL after 15 s).
  void stop();

  pid_t pid() const { return pid_; }
  uint16_t http_port() const { return http_port_; }
  uint16_t https_port() const { return https_port_; }

 private:
  pid_t pid_ = -1;
  pid_t watcher_ = -1;  // stops the daemon if the benchmark ends without stop()
  int watch_fd_ = -1;   // the pipe end whose closing wakes the watcher
  uint16_t http_port_ = 0;
  uint16_t https_port_ = 0;
  std::string log_file_;
};

}  // namespace bench

#endif  // CMPIUTILITY_BENCH_WBEMD_PROCESS_H
