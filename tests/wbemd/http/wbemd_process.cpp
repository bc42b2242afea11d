// wbemd_process.cpp - running cmpi-wbemd, wbemcli and the tools the end-to-end tests need.
#include "wbemd_process.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <grp.h>
#include <netinet/in.h>
#include <pwd.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstring>
#include <fstream>
#include <sstream>
#include <thread>

#include "free_port.h"
#include "read_file.h"

namespace wbemtest {

using testsupport::copy_file;
using testsupport::free_port;
using testsupport::read_file;

int run(const std::vector<std::string> &argv, std::string *output, int timeout_s, int as_uid,
        int as_gid) {
  char name[] = "/tmp/wbemd-run-XXXXXX";
  int out = mkstemp(name);
  if (out < 0) return -1;
  unlink(name);
  pid_t pid = fork();
  if (pid == 0) {
    int null_fd = open("/dev/null", O_RDONLY);
    dup2(null_fd, STDIN_FILENO);
    dup2(out, STDOUT_FILENO);
    dup2(out, STDERR_FILENO);
    if (as_gid >= 0 && (setgroups(0, nullptr) != 0 || setgid(as_gid) != 0)) _exit(126);
    if (as_uid >= 0 && setuid(as_uid) != 0) _exit(126);
    std::vector<char *> args;
    for (const std::string &a : argv) args.push_back(const_cast<char *>(a.c_str()));
    args.push_back(nullptr);
    execvp(args[0], args.data());
    _exit(127);
  }
  int status = 0;
  bool ended = false;
  auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(timeout_s);
  while (std::chrono::steady_clock::now() < deadline) {
    if (waitpid(pid, &status, WNOHANG) == pid) {
      ended = true;
      break;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  if (!ended) {
    kill(pid, SIGKILL);
    waitpid(pid, &status, 0);
  }
  output->clear();
  lseek(out, 0, SEEK_SET);
  char buffer[65536];
  ssize_t n;
  while ((n = read(out, buffer, sizeof buffer)) > 0) output->append(buffer, n);
  close(out);
  if (!ended) return -1;
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

bool make_certificate(const std::string &dir, std::string *error) {
  std::string out;
  std::ofstream(dir + "/cert.cfg") << "cn = localhost\nexpiration_days = 30\ntls_www_server\n"
                                      "signing_key\n";
  if (run({"certtool", "--generate-privkey", "--key-type=ecdsa", "--outfile", dir + "/key.pem"},
          &out) != 0 ||
      run({"certtool", "--generate-self-signed", "--load-privkey", dir + "/key.pem", "--template",
           dir + "/cert.cfg", "--outfile", dir + "/cert.pem"},
          &out) != 0) {
    *error = "certtool: " + out;
    return false;
  }
  return true;
}

bool make_pam_dir(const std::string &dir, std::string *error) {
  if (!copy_file(std::string(SHARE_DIR) + "/cmpi-wbemd.pam", dir + "/cmpi-wbemd")) {
    *error = "cannot copy share/cmpi-wbemd.pam";
    return false;
  }
  for (const char *name : {"common-auth", "common-account", "common-password"}) {
    if (!copy_file(std::string("/etc/pam.d/") + name, dir + "/" + name)) {
      *error = std::string("cannot copy /etc/pam.d/") + name;
      return false;
    }
  }
  return true;
}

namespace {

// The user database is locked while another test program changes it (ctest runs several at
// once): such a command is tried again for a few seconds.
int run_retrying(const std::vector<std::string> &argv, std::string *out) {
  int status = -1;
  for (int attempt = 0; attempt < 50; ++attempt) {
    status = run(argv, out);
    if (status == 0 || out->find("lock") == std::string::npos) break;
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
  }
  return status;
}

}  // namespace

LocalUser::LocalUser(const std::string &name, const std::string &password) : name_(name) {
  std::string out;
  run({"userdel", name_}, &out);
  if (run_retrying({"useradd", "--no-create-home", "--shell", "/usr/sbin/nologin", name_}, &out) !=
      0) {
    ADD_FAILURE() << "useradd: " << out;
    return;
  }
  made_ = true;
  std::string input = name_ + ":" + password + "\n";
  char file[] = "/tmp/wbemd-chpasswd-XXXXXX";
  int fd = mkstemp(file);
  if (fd < 0 || write(fd, input.data(), input.size()) != static_cast<ssize_t>(input.size())) {
    ADD_FAILURE() << "cannot write the chpasswd input";
  }
  if (fd >= 0) close(fd);
  if (run_retrying({"sh", "-c", std::string("chpasswd < ") + file}, &out) != 0) {
    ADD_FAILURE() << "chpasswd: " << out;
  }
  unlink(file);
  struct passwd *entry = getpwnam(name_.c_str());
  if (entry != nullptr) uid_ = entry->pw_uid;
}

LocalUser::~LocalUser() {
  if (!made_) return;
  std::string out;
  if (run_retrying({"userdel", name_}, &out) != 0) ADD_FAILURE() << "userdel: " << out;
}

WbemDaemon::~WbemDaemon() {
  if (pid_ > 0) stop();
}

::testing::AssertionResult WbemDaemon::start(const std::string &dir,
                                             const std::string &host_socket,
                                             const std::string &schema_db,
                                             const std::vector<std::string> &extra) {
  http_port_ = free_port();
  https_port_ = free_port();
  log_file_ = dir + "/wbemd.log";
  stderr_file_ = dir + "/wbemd.stderr";
  std::vector<std::string> args = {WBEMD_BINARY,
                                   "--foreground",
                                   "--user",
                                   "nobody",
                                   "--http-port",
                                   std::to_string(http_port_),
                                   "--https-port",
                                   std::to_string(https_port_),
                                   "--https-address",
                                   "127.0.0.1",
                                   "--cert",
                                   dir + "/cert.pem",
                                   "--key",
                                   dir + "/key.pem",
                                   "--pam-config-dir",
                                   dir + "/pam",
                                   "--host-socket",
                                   host_socket,
                                   "--schema-db",
                                   schema_db,
                                   "--log-level",
                                   "4",
                                   "--login-delay",
                                   "100",
                                   "--login-delay-max",
                                   "400"};
  args.insert(args.end(), extra.begin(), extra.end());
  pid_ = fork();
  if (pid_ < 0) return ::testing::AssertionFailure() << "fork: " << std::strerror(errno);
  if (pid_ == 0) {
    setenv("DLOG_OUTPUT", log_file_.c_str(), 1);
    // In the sanitizer build, freed memory is held back in a quarantine of up to 256 MiB,
    // which would hide whether the daemon's memory stays flat; a small one keeps the checks.
    const char *asan = getenv("ASAN_OPTIONS");
    std::string asan_options = asan != nullptr ? asan : "";
    asan_options += (asan_options.empty() ? "" : ":");
    asan_options += "quarantine_size_mb=0:thread_local_quarantine_size_kb=0";
    setenv("ASAN_OPTIONS", asan_options.c_str(), 1);
    int err = open(stderr_file_.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0644);
    int null_fd = open("/dev/null", O_RDWR);
    dup2(null_fd, STDIN_FILENO);
    dup2(null_fd, STDOUT_FILENO);
    dup2(err, STDERR_FILENO);
    std::vector<char *> argv;
    for (std::string &a : args) argv.push_back(a.data());
    argv.push_back(nullptr);
    execv(argv[0], argv.data());
    _exit(127);
  }
  const std::string started = "pid=" + std::to_string(pid_) + " level=3 module=235: cmpi-wbemd started";
  for (int i = 0; i < 1000; ++i) {
    int status = 0;
    if (waitpid(pid_, &status, WNOHANG) == pid_) {
      pid_ = -1;
      return ::testing::AssertionFailure() << "cmpi-wbemd ended at start (status " << status
                                           << "): " << standard_error() << log();
    }
    if (log().find(started) != std::string::npos) return ::testing::AssertionSuccess();
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return ::testing::AssertionFailure() << "cmpi-wbemd did not start: " << log();
}

int WbemDaemon::stop() {
  if (pid_ <= 0) return -1;
  kill(pid_, SIGTERM);
  int status = 0;
  for (int i = 0; i < 2000; ++i) {
    if (waitpid(pid_, &status, WNOHANG) == pid_) {
      pid_ = -1;
      return status;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  kill(pid_, SIGKILL);
  waitpid(pid_, &status, 0);
  pid_ = -1;
  return -1;
}

std::string WbemDaemon::log() const { return read_file(log_file_); }
std::string WbemDaemon::standard_error() const { return read_file(stderr_file_); }

std::string WbemDaemon::url(const std::string &object, const std::string &credentials,
                            bool https) const {
  std::string text = https ? "https://" : "http://";
  if (!credentials.empty()) text += credentials + "@";
  text += "127.0.0.1:" + std::to_string(https ? https_port_ : http_port_) + "/root/cimv2:" + object;
  return text;
}

long status_field(pid_t pid, const std::string &field) {
  std::ifstream in("/proc/" + std::to_string(pid) + "/status");
  std::string line;
  while (std::getline(in, line)) {
    if (line.compare(0, field.size() + 1, field + ":") == 0) {
      return std::strtol(line.c_str() + field.size() + 1, nullptr, 10);
    }
  }
  return -1;
}

}  // namespace wbemtest
