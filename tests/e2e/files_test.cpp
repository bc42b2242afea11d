// files_test.cpp - the files the daemon makes (its socket and its pid file) cannot be
// redirected by someone who plants a link, and a socket directory others may write to stops
// the start.
#include <fcntl.h>
#include <grp.h>
#include <pwd.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <fstream>
#include <sstream>
#include <thread>

#include "hostd_fixture.h"

namespace e2e {
namespace {

bool exited_with(int status, int code) { return WIFEXITED(status) && WEXITSTATUS(status) == code; }

std::string contents(const std::string &path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream text;
  text << in.rdbuf();
  return text.str();
}

struct stat lstat_of(const std::string &path) {
  struct stat st;
  if (lstat(path.c_str(), &st) != 0) st = {};
  return st;
}

// A file that an attacker would like the daemon to write to: root's, mode 0600.
struct Precious {
  explicit Precious(const std::string &path) : path(path) {
    { std::ofstream(path) << "precious"; }
    chmod(path.c_str(), 0600);
    before = lstat_of(path);
  }
  // It is as it was: content, mode, owner and group.
  void expect_untouched() const {
    const struct stat now = lstat_of(path);
    EXPECT_EQ(contents(path), "precious");
    EXPECT_EQ(now.st_mode, before.st_mode);
    EXPECT_EQ(now.st_uid, before.st_uid);
    EXPECT_EQ(now.st_gid, before.st_gid);
    EXPECT_EQ(now.st_ino, before.st_ino);
  }
  std::string path;
  struct stat before;
};

std::string make_dir(const Workspace &ws, const std::string &name, mode_t mode) {
  const std::string dir = ws.dir + "/" + name;
  EXPECT_EQ(mkdir(dir.c_str(), 0700), 0);
  chmod(dir.c_str(), mode);  // whatever the umask
  return dir;
}

TEST(HostdFiles, ASocketDirectoryOthersMayWriteStopsTheStart) {
  Workspace ws;
  const std::string dir = make_dir(ws, "open", 0777);
  HostDaemon daemon(ws);
  EXPECT_FALSE(daemon.start({"--socket", dir + "/hostd.sock"}));
  EXPECT_TRUE(exited_with(daemon.start_status(), 1)) << daemon.start_status();
  const std::string message =
      "the socket's directory " + dir + " is writable by others and not sticky; refusing to start";
  EXPECT_EQ(daemon.standard_error(), "cmpi-hostd: " + message + "\n");
  EXPECT_TRUE(daemon.wait_for(Hostd("cannot start: " + message, 2), 1));
  EXPECT_EQ(lstat_of(dir + "/hostd.sock").st_mode, 0u);
}

TEST(HostdFiles, APrivateSocketDirectoryGivesTheSocketItsModeAndGroup) {
  if (geteuid() != 0 || getpwnam("nobody") == nullptr) GTEST_SKIP() << "needs root";
  const gid_t gid = getpwnam("nobody")->pw_gid;
  const struct group *gr = getgrgid(gid);
  ASSERT_NE(gr, nullptr);
  const std::string group = gr->gr_name;
  Workspace ws;
  const std::string dir = make_dir(ws, "private", 0755);
  const std::string socket = dir + "/hostd.sock";
  HostDaemon daemon(ws);
  ASSERT_TRUE(daemon.start({"--socket", socket, "--mode", "0660", "--group", group}));
  const struct stat st = lstat_of(socket);
  EXPECT_TRUE(S_ISSOCK(st.st_mode));
  EXPECT_EQ(st.st_mode & 07777, 0660u);
  EXPECT_EQ(st.st_uid, 0u);
  EXPECT_EQ(st.st_gid, gid);
  Answer a = get_instance(
      socket, build_frame(GETINST, "root",
                          make_path("Demo_Fan", {{"DeviceID", "fan0"}, {"SystemName", "bmc0"}})));
  EXPECT_EQ(a.rc, 0);
  EXPECT_TRUE(exited_with(daemon.stop(), 0));
  EXPECT_EQ(daemon.standard_error(), "");
}

TEST(HostdFiles, AStickyDirectoryOpenToAllIsAccepted) {
  Workspace ws;
  const std::string dir = make_dir(ws, "sticky", 01777);
  const std::string socket = dir + "/hostd.sock";
  HostDaemon daemon(ws);
  ASSERT_TRUE(daemon.start({"--socket", socket, "--mode", "0600"}));
  const struct stat st = lstat_of(socket);
  EXPECT_TRUE(S_ISSOCK(st.st_mode));
  EXPECT_EQ(st.st_mode & 07777, 0600u);
  EXPECT_EQ(st.st_uid, geteuid());
  EXPECT_TRUE(exited_with(daemon.stop(), 0));
}

TEST(HostdFiles, ALinkPlantedAtTheSocketsNameIsNotFollowed) {
  Workspace ws;
  Precious precious(ws.dir + "/precious");
  ASSERT_EQ(symlink(precious.path.c_str(), ws.socket.c_str()), 0);
  HostDaemon daemon(ws);
  EXPECT_FALSE(daemon.start());
  EXPECT_TRUE(exited_with(daemon.start_status(), 1)) << daemon.start_status();
  EXPECT_EQ(daemon.standard_error(),
            "cmpi-hostd: " + ws.socket + " exists and is not a socket; it is left alone\n");
  precious.expect_untouched();
  EXPECT_TRUE(S_ISLNK(lstat_of(ws.socket).st_mode));
}

TEST(HostdFiles, ALinkPlantedAtThePidFilesNameIsNotFollowed) {
  Workspace ws;
  Precious precious(ws.dir + "/precious");
  const std::string pid_file = ws.dir + "/hostd.pid";
  ASSERT_EQ(symlink(precious.path.c_str(), pid_file.c_str()), 0);
  HostDaemon daemon(ws);
  EXPECT_FALSE(daemon.start({"--pid-file", pid_file}));
  EXPECT_TRUE(exited_with(daemon.start_status(), 1)) << daemon.start_status();
  const std::string message =
      "the pid file " + pid_file + " is a symbolic link; it is not followed";
  EXPECT_EQ(daemon.standard_error(), "cmpi-hostd: " + message + "\n");
  EXPECT_TRUE(daemon.wait_for(Hostd("cannot start: " + message, 2), 1));
  precious.expect_untouched();
  EXPECT_TRUE(S_ISLNK(lstat_of(pid_file).st_mode));
  EXPECT_EQ(lstat_of(ws.socket).st_mode, 0u);  // the socket made before is gone again
}

TEST(HostdFiles, ALinkPlantedAtTheOldTemporaryNameIsNotFollowed) {
  Workspace ws;
  Precious precious(ws.dir + "/precious");
  const std::string pid_file = ws.dir + "/hostd.pid";
  ASSERT_EQ(symlink(precious.path.c_str(), (pid_file + ".tmp").c_str()), 0);
  HostDaemon daemon(ws);
  ASSERT_TRUE(daemon.start({"--pid-file", pid_file}));
  EXPECT_EQ(contents(pid_file), std::to_string(daemon.pid()) + "\n");
  EXPECT_EQ(lstat_of(pid_file).st_mode & 07777, 0644u);
  precious.expect_untouched();
  EXPECT_TRUE(exited_with(daemon.stop(), 0));
  EXPECT_EQ(lstat_of(pid_file).st_mode, 0u);
  precious.expect_untouched();
}

TEST(HostdFiles, ADetachedDaemonWhosePidFileIsALinkDoesNotStayBehind) {
  // The detached daemon is an orphan; this process adopts it so that it can wait for its end.
  prctl(PR_SET_CHILD_SUBREAPER, 1);
  Workspace ws;
  Precious precious(ws.dir + "/precious");
  const std::string pid_file = ws.dir + "/detached.pid";
  ASSERT_EQ(symlink(precious.path.c_str(), pid_file.c_str()), 0);
  std::vector<std::string> args = {
      HOSTD_BINARY,    "--socket",   ws.socket, "--schema-db", ws.schema_db, "--provider-dir",
      ws.provider_dir, "--pid-file", pid_file,  "--log-level", "4"};
  const pid_t pid = fork();
  ASSERT_GE(pid, 0);
  if (pid == 0) {
    setenv("DLOG_OUTPUT", ws.log_file.c_str(), 1);
    setenv("CMPI_DEMO_STATE", ws.state_file.c_str(), 1);
    int err = open(ws.stderr_file.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0644);
    dup2(err, STDERR_FILENO);
    std::vector<char *> argv;
    for (std::string &a : args) argv.push_back(a.data());
    argv.push_back(nullptr);
    execv(argv[0], argv.data());
    _exit(127);
  }
  int status = 0;
  ASSERT_EQ(waitpid(pid, &status, 0), pid);
  EXPECT_TRUE(exited_with(status, 1)) << status;
  HostDaemon log(ws);  // only to read the log and standard error
  EXPECT_EQ(log.standard_error(),
            "cmpi-hostd: the pid file " + pid_file + " is a symbolic link; it is not followed\n");
  // The detached child stops by itself, cleanly.
  int child_status = -1;
  pid_t child = 0;
  for (int i = 0; i < 1000 && child <= 0; ++i) {
    child = waitpid(-1, &child_status, WNOHANG);
    if (child <= 0) std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  if (child <= 0) {
    // Still running: end what this process adopted, so that the test leaves nothing behind.
    std::istringstream adopted(
        contents("/proc/self/task/" + std::to_string(getpid()) + "/children"));
    for (pid_t orphan = 0; adopted >> orphan;) {
      kill(orphan, SIGKILL);
      waitpid(orphan, nullptr, 0);
    }
    FAIL() << "the detached daemon is still running";
  }
  EXPECT_TRUE(exited_with(child_status, 0)) << child_status;
  EXPECT_TRUE(log.wait_for(Hostd("signal 15 received: shutting down", 3), 1));
  EXPECT_EQ(lstat_of(ws.socket).st_mode, 0u);
  precious.expect_untouched();
}

}  // namespace
}  // namespace e2e
