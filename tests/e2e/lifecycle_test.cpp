// lifecycle_test.cpp - the command line, start-up checks, the socket file, detaching and the
// clean shutdown.
#include <fcntl.h>
#include <poll.h>
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

using ::testing::HasSubstr;

struct RunResult {
  int status = -1;
  std::string out;
  std::string err;
};

// Runs cmpi-hostd with args to its end, with its log in log_file and the demo state in ws.
RunResult run_hostd(const Workspace &ws, const std::vector<std::string> &args,
                    const std::string &log_file) {
  int out_pipe[2];
  int err_pipe[2];
  RunResult run;
  if (pipe(out_pipe) != 0 || pipe(err_pipe) != 0) return run;
  pid_t pid = fork();
  if (pid == 0) {
    setenv("DLOG_OUTPUT", log_file.c_str(), 1);
    setenv("CMPI_DEMO_STATE", ws.state_file.c_str(), 1);
    dup2(out_pipe[1], STDOUT_FILENO);
    dup2(err_pipe[1], STDERR_FILENO);
    close(out_pipe[0]);
    close(err_pipe[0]);
    close(out_pipe[1]);
    close(err_pipe[1]);
    std::vector<std::string> all = {HOSTD_BINARY};
    all.insert(all.end(), args.begin(), args.end());
    std::vector<char *> argv;
    for (std::string &a : all) argv.push_back(a.data());
    argv.push_back(nullptr);
    execv(argv[0], argv.data());
    _exit(127);
  }
  close(out_pipe[1]);
  close(err_pipe[1]);
  // Reads until the stream ends or nothing arrives for 30 s.
  auto drain = [](int fd, std::string *into) {
    char buf[4096];
    struct pollfd p = {fd, POLLIN, 0};
    while (poll(&p, 1, 30000) > 0) {
      ssize_t n = read(fd, buf, sizeof buf);
      if (n <= 0) break;
      into->append(buf, static_cast<std::size_t>(n));
    }
    close(fd);
  };
  std::thread err_reader(drain, err_pipe[0], &run.err);
  drain(out_pipe[0], &run.out);
  err_reader.join();
  for (int i = 0; i < 3000 && waitpid(pid, &run.status, WNOHANG) != pid; ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  if (run.status == -1) {
    kill(pid, SIGKILL);
    waitpid(pid, &run.status, 0);
  }
  return run;
}

bool exited_with(int status, int code) { return WIFEXITED(status) && WEXITSTATUS(status) == code; }

TEST(HostdCommandLine, HelpDocumentsEveryOption) {
  Workspace ws;
  RunResult run = run_hostd(ws, {"--help"}, ws.log_file);
  EXPECT_TRUE(exited_with(run.status, 0));
  for (const char *option :
       {"--socket", "--mode", "--group", "--foreground", "--pid-file", "--log-level",
        "--max-request", "--read-timeout", "--provider-timeout", "--schema-db", "--provider-dir",
        "--allow-user", "--allow-group", "--max-clients", "--shutdown-grace", "--help", "--version",
        "DLOG_OUTPUT", "SIGTERM"}) {
    EXPECT_THAT(run.out, HasSubstr(option));
  }
}

TEST(HostdCommandLine, VersionNamesTheProgram) {
  Workspace ws;
  RunResult run = run_hostd(ws, {"--version"}, ws.log_file);
  EXPECT_TRUE(exited_with(run.status, 0));
  EXPECT_THAT(run.out, ::testing::StartsWith("cmpi-hostd "));
}

TEST(HostdCommandLine, BadOptionsExitWithTwo) {
  Workspace ws;
  for (const std::vector<std::string> &args :
       std::vector<std::vector<std::string>>{{"--no-such-option"},
                                             {"--mode", "999"},
                                             {"--read-timeout", "0"},
                                             {"--max-request", "12x"},
                                             {"--socket"},
                                             {"stray"}}) {
    RunResult run = run_hostd(ws, args, ws.log_file);
    EXPECT_TRUE(exited_with(run.status, 2)) << args[0];
    EXPECT_THAT(run.err, HasSubstr("Try '")) << args[0];
  }
}

TEST(HostdStart, UnknownAllowedUserStopsTheStart) {
  Workspace ws;
  RunResult run = run_hostd(
      ws, {"--foreground", "--socket", ws.socket, "--allow-user", "no_such_user_e2e"}, ws.log_file);
  EXPECT_TRUE(exited_with(run.status, 1));
  EXPECT_THAT(run.err, HasSubstr("--allow-user: no local user 'no_such_user_e2e'"));
}

TEST(HostdStart, AFileThatIsNoSocketIsLeftAlone) {
  Workspace ws;
  { std::ofstream(ws.socket) << "precious"; }
  RunResult run = run_hostd(ws, {"--foreground", "--socket", ws.socket}, ws.log_file);
  EXPECT_TRUE(exited_with(run.status, 1));
  EXPECT_THAT(run.err, HasSubstr(ws.socket + " exists and is not a socket; it is left alone"));
  std::ifstream in(ws.socket);
  std::string content;
  in >> content;
  EXPECT_EQ(content, "precious");
}

TEST(HostdStart, ALiveDaemonsSocketIsNotTaken) {
  Workspace ws;
  HostDaemon first(ws);
  ASSERT_TRUE(first.start());
  RunResult run = run_hostd(ws, {"--foreground", "--socket", ws.socket}, ws.dir + "/second.log");
  EXPECT_TRUE(exited_with(run.status, 1));
  EXPECT_THAT(run.err, HasSubstr("another process already serves " + ws.socket));
  Answer a = get_instance(
      ws.socket,
      build_frame(GETINST, "root",
                  make_path("Demo_Fan", {{"DeviceID", "fan0"}, {"SystemName", "bmc0"}})));
  EXPECT_EQ(a.rc, 0);
}

TEST(HostdStart, StaleSocketFileIsReplacedAndGetsItsMode) {
  Workspace ws;
  {
    HostDaemon old(ws);
    ASSERT_TRUE(old.start());
    // A daemon that dies without cleaning up leaves its socket file behind.
    kill(old.pid(), SIGKILL);
    old.stop();
  }
  struct stat st;
  ASSERT_EQ(lstat(ws.socket.c_str(), &st), 0);
  HostDaemon daemon(ws);
  ASSERT_TRUE(daemon.start({"--mode", "0640"}));
  ASSERT_EQ(lstat(ws.socket.c_str(), &st), 0);
  EXPECT_TRUE(S_ISSOCK(st.st_mode));
  EXPECT_EQ(st.st_mode & 07777, 0640u);
}

TEST(HostdShutdown, SigtermRemovesSocketAndPidFileAndExitsZero) {
  Workspace ws;
  HostDaemon daemon(ws);
  std::string pid_file = ws.dir + "/hostd.pid";
  ASSERT_TRUE(daemon.start({"--pid-file", pid_file}));
  std::ifstream in(pid_file);
  pid_t written = 0;
  in >> written;
  EXPECT_EQ(written, daemon.pid());
  int status = daemon.stop();
  EXPECT_TRUE(exited_with(status, 0)) << status;
  struct stat st;
  EXPECT_NE(lstat(ws.socket.c_str(), &st), 0);
  EXPECT_NE(lstat(pid_file.c_str(), &st), 0);
  EXPECT_TRUE(daemon.wait_for(Hostd("signal 15 received: shutting down", 3)));
  EXPECT_TRUE(daemon.wait_for(Hostd("stopped", 3)));
}

TEST(HostdShutdown, ClientsStillWaitingAfterTheGracePeriodGetAnErrorFrame) {
  Workspace ws;
  HostDaemon daemon(ws);
  ASSERT_TRUE(daemon.start({"--shutdown-grace", "1", "--provider-timeout", "60"}));
  std::string raw;
  std::thread client([&ws, &raw] {
    raw = exchange_raw(ws.socket, build_frame(ENUMINST, "root", make_path("Test_Hang")));
  });
  ASSERT_TRUE(daemon.wait_for(Hostd("EnumerateInstances of Test_Hang for root: worker N serves it", 4)));
  int status = daemon.stop();
  client.join();
  EXPECT_TRUE(exited_with(status, 0)) << status;
  EXPECT_EQ(raw, "CMPIERROR:1CMPI_EOF");
  EXPECT_TRUE(daemon.wait_for(Hostd("waiting up to 1 s for 1 running connections", 3)));
  EXPECT_TRUE(daemon.wait_for(
      Hostd("the grace period is over: 1 clients still waiting get CMPIERROR:1", 3)));
  EXPECT_TRUE(daemon.wait_for(
      Hostd("EnumerateInstances of Test_Hang for root: worker N was killed: it was still running "
            "when the grace period ended (0 frames passed on); the client gets CMPIERROR:1",
            2)));
}

TEST(HostdShutdown, RequestsInFlightFinishWithinTheGracePeriod) {
  Workspace ws;
  HostDaemon daemon(ws);
  ASSERT_TRUE(daemon.start({"--shutdown-grace", "20"}));
  std::vector<std::string> raws(3);
  std::vector<std::thread> clients;
  for (std::size_t i = 0; i < raws.size(); ++i) {
    clients.emplace_back([&ws, &raws, i] {
      raws[i] = exchange_raw(ws.socket, build_frame(ENUMINST, "root", make_path("Test_Slow")));
    });
  }
  for (int i = 0; i < 3; ++i) {
    ASSERT_TRUE(daemon.wait_for(Hostd("EnumerateInstances of Test_Slow for root: worker N serves it", 4)));
  }
  int status = daemon.stop();
  for (std::thread &t : clients) t.join();
  EXPECT_TRUE(exited_with(status, 0)) << status;
  for (const std::string &raw : raws) {
    EXPECT_EQ(count_frames(raw), 11u) << raw;
    EXPECT_TRUE(ends_with(raw, "CMPIOPERATION_COMPLETECMPI_EOF")) << raw;
  }
  EXPECT_TRUE(daemon.wait_for(Hostd("stopped", 3)));
}

TEST(HostdDetach, DetachedDaemonWritesItsPidFileAndServes) {
  // The detached daemon is an orphan; this process adopts it so that it can wait for its end.
  prctl(PR_SET_CHILD_SUBREAPER, 1);
  Workspace ws;
  std::string pid_file = ws.dir + "/detached.pid";
  RunResult run = run_hostd(ws,
                            {"--socket", ws.socket, "--schema-db", ws.schema_db, "--provider-dir",
                             ws.provider_dir, "--pid-file", pid_file},
                            ws.log_file);
  ASSERT_TRUE(exited_with(run.status, 0)) << run.err;
  pid_t pid = 0;
  std::ifstream(pid_file) >> pid;
  ASSERT_GT(pid, 0);
  Answer a = get_instance(
      ws.socket,
      build_frame(GETINST, "root",
                  make_path("Demo_Fan", {{"DeviceID", "fan0"}, {"SystemName", "bmc0"}})));
  EXPECT_EQ(a.rc, 0);
  EXPECT_EQ(getsid(pid), pid);
  kill(pid, SIGTERM);
  int status = -1;
  for (int i = 0; i < 2000 && waitpid(pid, &status, WNOHANG) != pid; ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  if (status == -1) {
    kill(pid, SIGKILL);
    waitpid(pid, &status, 0);
    ADD_FAILURE() << "the detached daemon did not stop on SIGTERM";
  }
  EXPECT_TRUE(exited_with(status, 0)) << status;
  struct stat st;
  EXPECT_NE(lstat(ws.socket.c_str(), &st), 0);
}

}  // namespace
}  // namespace e2e
