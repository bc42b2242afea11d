// wbemd_process.cpp - starting cmpi-wbemd for the benchmark, with its certificate, PAM files
// and user.
#include "wbemd_process.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <chrono>
#include <cstring>
#include <fstream>
#include <sstream>
#include <thread>

#include "free_port.h"
#include "hostd_process.h"
#include "read_file.h"

namespace bench {

using testsupport::copy_file;
using testsupport::free_port;
using testsupport::read_file;

namespace {

// Runs argv (no shell) with input on its standard input; its output and error in *output.
// The exit status, or -1.
int run(const std::vector<std::string> &argv, std::string *output, const std::string &input = "") {
  char name[] = "/tmp/wbench-run-XXXXXX";
  const int out = mkstemp(name);
  if (out < 0) return -1;
  unlink(name);
  int in_pipe[2];
  if (pipe(in_pipe) != 0) {
    close(out);
    return -1;
  }
  const pid_t pid = fork();
  if (pid == 0) {
    dup2(in_pipe[0], STDIN_FILENO);
    close(in_pipe[1]);
    dup2(out, STDOUT_FILENO);
    dup2(out, STDERR_FILENO);
    std::vector<char *> args;
    for (const std::string &a : argv) args.push_back(const_cast<char *>(a.c_str()));
    args.push_back(nullptr);
    execvp(args[0], args.data());
    _exit(127);
  }
  close(in_pipe[0]);
  if (!input.empty() && write(in_pipe[1], input.data(), input.size()) < 0) {
    // the command's status tells
  }
  close(in_pipe[1]);
  int status = 0;
  waitpid(pid, &status, 0);
  output->clear();
  lseek(out, 0, SEEK_SET);
  char buffer[4096];
  ssize_t n;
  while ((n = read(out, buffer, sizeof buffer)) > 0) output->append(buffer, static_cast<size_t>(n));
  close(out);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

// The user database is locked while another program changes it: tried again for a while.
int run_retrying(const std::vector<std::string> &argv, std::string *out,
                 const std::string &input = "") {
  int status = -1;
  for (int attempt = 0; attempt < 50; ++attempt) {
    status = run(argv, out, input);
    if (status == 0 || out->find("lock") == std::string::npos) break;
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
  }
  return status;
}

}  // namespace

bool make_certificate(const std::string &dir, std::string *error) {
  std::string out;
  std::ofstream(dir + "/cert.cfg") << "cn = localhost\nexpiration_days = 2\ntls_www_server\n"
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
  const std::string pam = dir + "/pam";
  if (mkdir(pam.c_str(), 0755) != 0 && errno != EEXIST) {
    *error = "mkdir " + pam + ": " + std::strerror(errno);
    return false;
  }
  if (!copy_file(std::string(SHARE_DIR) + "/cmpi-wbemd.pam", pam + "/cmpi-wbemd")) {
    *error = "cannot copy share/cmpi-wbemd.pam";
    return false;
  }
  for (const char *name : {"common-auth", "common-account", "common-password"}) {
    if (!copy_file(std::string("/etc/pam.d/") + name, pam + "/" + name)) {
      *error = std::string("cannot copy /etc/pam.d/") + name;
      return false;
    }
  }
  return true;
}

BenchUser::~BenchUser() { remove(); }

bool BenchUser::make(const std::string &name, const std::string &password, std::string *error) {
  std::string out;
  name_ = name;
  run({"userdel", name_}, &out);
  if (run_retrying({"useradd", "--no-create-home", "--shell", "/usr/sbin/nologin", name_}, &out) !=
      0) {
    *error = "useradd: " + out;
    return false;
  }
  made_ = true;
  if (run_retrying({"chpasswd"}, &out, name_ + ":" + password + "\n") != 0) {
    *error = "chpasswd: " + out;
    return false;
  }
  return true;
}

void BenchUser::remove() {
  if (!made_) return;
  std::string out;
  run_retrying({"userdel", name_}, &out);
  made_ = false;
}

WbemdProcess::~WbemdProcess() { stop(); }

bool WbemdProcess::start(const std::string &dir, const std::string &host_socket,
                         const std::string &schema_db, const std::vector<std::string> &extra,
                         std::string *error) {
  http_port_ = free_port();
  https_port_ = free_port();
  log_file_ = dir + "/wbemd.log";
  // WBEMD_BENCH_BINARY runs another build of the daemon (an earlier commit, for comparisons in
  // turns) under the same benchmark.
  const char *other = getenv("WBEMD_BENCH_BINARY");
  const std::string binary = other != nullptr && other[0] != '\0' ? other : WBEMD_BINARY;
  std::vector<std::string> args = {
      binary,            "--foreground",      "--user",         "nobody",
      "--http-port",     std::to_string(http_port_),            "--https-port",
      std::to_string(https_port_),            "--https-address", "127.0.0.1",
      "--cert",          dir + "/cert.pem",   "--key",          dir + "/key.pem",
      "--pam-config-dir", dir + "/pam",       "--host-socket",  host_socket,
      "--schema-db",     schema_db,           "--log-level",    "3",
      "--trust-local-peers"};
  args.insert(args.end(), extra.begin(), extra.end());
  const pid_t parent = getpid();
  pid_ = fork();
  if (pid_ < 0) {
    *error = std::string("fork: ") + std::strerror(errno);
    return false;
  }
  if (pid_ == 0) {
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    if (getppid() != parent) _exit(127);
    setenv("DLOG_OUTPUT", log_file_.c_str(), 1);
    const int null_fd = open("/dev/null", O_RDWR);
    dup2(null_fd, STDIN_FILENO);
    dup2(null_fd, STDOUT_FILENO);
    std::vector<char *> argv;
    for (std::string &a : args) argv.push_back(a.data());
    argv.push_back(nullptr);
    execv(argv[0], argv.data());
    _exit(127);
  }
  // The daemon drops to nobody, which clears its parent-death signal: a watcher that keeps
  // root waits for the end of a pipe only the benchmark holds, and stops the daemon when the
  // benchmark ends without stop() (a crash, an abort).
  int watch[2];
  if (pipe2(watch, O_CLOEXEC) == 0) {
    const pid_t daemon = pid_;
    watcher_ = fork();
    if (watcher_ == 0) {
      close(watch[1]);
      char byte;
      while (read(watch[0], &byte, 1) < 0 && errno == EINTR) {
      }
      kill(daemon, SIGTERM);
      _exit(0);
    }
    close(watch[0]);
    watch_fd_ = watch[1];
  }
  const std::string started = "pid=" + std::to_string(pid_) + " level=3 module=235: cmpi-wbemd started";
  for (int i = 0; i < 1000; ++i) {
    int status = 0;
    if (waitpid(pid_, &status, WNOHANG) == pid_) {
      pid_ = -1;
      *error = "cmpi-wbemd ended at start: " + read_file(log_file_);
      return false;
    }
    if (read_file(log_file_).find(started) != std::string::npos) return true;
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  *error = "cmpi-wbemd did not start: " + read_file(log_file_);
  return false;
}

void WbemdProcess::stop() {
  // The watcher first, so that it never signals a process id that was reaped already.
  if (watcher_ > 0) {
    kill(watcher_, SIGKILL);
    waitpid(watcher_, nullptr, 0);
    watcher_ = -1;
  }
  if (watch_fd_ >= 0) close(watch_fd_);
  watch_fd_ = -1;
  end_process(pid_);
  pid_ = -1;
}

}  // namespace bench
