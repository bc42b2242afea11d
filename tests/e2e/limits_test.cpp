// limits_test.cpp - what idle and slow clients, greedy providers and full queues cannot do:
// hold up other requests, take the machine, or leave processes behind.
#include <cmpiutility/transport.h>
#include <poll.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <thread>

#include "hostd_fixture.h"

namespace e2e {
namespace {

int connect_to(const std::string &socket_path) {
  int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  struct sockaddr_un addr;
  std::memset(&addr, 0, sizeof addr);
  addr.sun_family = AF_UNIX;
  std::strncpy(addr.sun_path, socket_path.c_str(), sizeof addr.sun_path - 1);
  if (connect(fd, reinterpret_cast<struct sockaddr *>(&addr), sizeof addr) != 0) {
    close(fd);
    return -1;
  }
  return fd;
}

// Whether the daemon still holds the connection open (nothing to read, not closed).
bool still_open(int fd) {
  char byte;
  ssize_t n = recv(fd, &byte, 1, MSG_DONTWAIT);
  return n < 0 && (errno == EAGAIN || errno == EWOULDBLOCK);
}

void raise_descriptor_limit(rlim_t want) {
  struct rlimit limit;
  getrlimit(RLIMIT_NOFILE, &limit);
  if (limit.rlim_cur < want) {
    limit.rlim_cur = std::min(want, limit.rlim_max);
    setrlimit(RLIMIT_NOFILE, &limit);
  }
}

bool process_gone(pid_t pid, int seconds) {
  for (int i = 0; i < seconds * 100; ++i) {
    if (kill(pid, 0) != 0 && errno == ESRCH) return true;
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return false;
}

class IdleClients : public HostdTest {
 protected:
  // A read time-out far longer than the test: had a waiting connection held a slot, the
  // normal request would wait for it.
  std::vector<std::string> options() const override { return {"--read-timeout", "120"}; }
};

TEST_F(IdleClients, AThousandIdleConnectionsDoNotHoldUpANormalRequest) {
  raise_descriptor_limit(4096);
  std::vector<int> idle;
  for (int i = 0; i < 1000; ++i) {
    int fd = connect_to(socket());
    ASSERT_GE(fd, 0) << "connection " << i << ": " << std::strerror(errno);
    idle.push_back(fd);
  }
  Answer a = get_fan("fan0");
  EXPECT_EQ(a.rc, 0);
  EXPECT_EQ(a.instances.size(), 1u);
  int open = 0;
  for (int fd : idle) open += still_open(fd) ? 1 : 0;
  EXPECT_EQ(open, 1000) << "the idle connections were still waiting when the request was served";
  for (int fd : idle) close(fd);
}

TEST_F(IdleClients, TwoHundredTrickleSendersDoNotHoldUpANormalRequest) {
  std::vector<int> slow;
  for (int i = 0; i < 200; ++i) {
    int fd = connect_to(socket());
    ASSERT_GE(fd, 0);
    slow.push_back(fd);
  }
  std::atomic<bool> done{false};
  std::thread trickle([&] {
    const char *text = "{\"RequestType\":3,\"ClassName\":\"Demo_Fan\"";
    for (std::size_t i = 0; !done && text[i] != '\0'; ++i) {
      for (int fd : slow) (void)!send(fd, &text[i], 1, MSG_NOSIGNAL);
      std::this_thread::sleep_for(std::chrono::milliseconds(200));
    }
  });
  std::this_thread::sleep_for(std::chrono::milliseconds(500));
  Answer a = get_fan("fan1");
  done = true;
  trickle.join();
  EXPECT_EQ(a.rc, 0);
  EXPECT_EQ(a.instances.size(), 1u);
  int open = 0;
  for (int fd : slow) open += still_open(fd) ? 1 : 0;
  EXPECT_EQ(open, 200);
  for (int fd : slow) close(fd);
}

class GreedyProviders : public HostdTest {
 protected:
  std::vector<std::string> options() const override {
    return {"--worker-memory", "256", "--worker-cpu", "2", "--provider-timeout", "3",
            "--request-deadline", "30"};
  }
  void expect_next_request_served() {
    Answer next = get_fan("fan0");
    EXPECT_EQ(next.rc, 0);
    EXPECT_EQ(next.instances.size(), 1u);
  }
};

TEST_F(GreedyProviders, AProviderOverItsMemoryLimitEndsItsRequestOnly) {
  Answer a = enumerate(socket(), build_frame(ENUMINST, "root", make_path("Test_Hog")), ENUMINST);
  EXPECT_EQ(a.rc, CMPI_RC_ERR_FAILED);
  EXPECT_EQ(a.raw, "CMPIERROR:1CMPI_EOF");
#ifdef CMPIUTILITY_SANITIZED
  // Sanitized workers have no address-space limit; the front's watch of resident memory ends
  // them.
  EXPECT_TRUE(daemon_.wait_for(
      Hostd("EnumerateInstances of Test_Hog for root: worker N was killed: it used more than 256 "
            "MiB of memory (0 frames passed on); the client gets CMPIERROR:1",
            2)));
#else
  EXPECT_TRUE(daemon_.wait_for(
      Hostd("EnumerateInstances of Test_Hog for root: worker N was killed by signal 11 "
            "(Segmentation fault) before its answer was complete (0 frames passed on); the "
            "client gets CMPIERROR:1",
            2)));
#endif
  expect_next_request_served();
}

TEST_F(GreedyProviders, AProviderSpinningTheCpuWhileTricklingFramesIsStopped) {
  Answer a = enumerate(socket(), build_frame(ENUMINST, "root", make_path("Test_Spin")), ENUMINST);
  EXPECT_EQ(a.rc, CMPI_RC_ERR_FAILED);
  EXPECT_GE(a.instances.size(), 1u);
  EXPECT_FALSE(a.complete);
  EXPECT_TRUE(ends_with(a.raw, "}CMPI_EOFCMPIERROR:1CMPI_EOF")) << a.raw;
  bool logged = false;
  for (const cmpitest::LogLine &line : daemon_.lines()) {
    logged = logged || line.text.find("EnumerateInstances of Test_Spin for root: worker N was "
                                      "killed: it used more than 2 s of CPU time (") == 0;
  }
  EXPECT_TRUE(logged);
  expect_next_request_served();
}

TEST_F(GreedyProviders, NothingAProviderStartsOutlivesItsWorker) {
  Answer a = enumerate(socket(), build_frame(ENUMINST, "root", make_path("Test_Fork")), ENUMINST);
  EXPECT_EQ(a.rc, CMPI_RC_ERR_FAILED);
  ASSERT_EQ(a.instances.size(), 1u);
  const pid_t detached = static_cast<pid_t>(number_property(a.instances[0], "Pid"));
  ASSERT_GT(detached, 1);
  EXPECT_TRUE(daemon_.wait_for(
      Hostd("EnumerateInstances of Test_Fork for root: worker N was killed: it produced nothing "
            "for 3 s (1 frames passed on); the client gets CMPIERROR:1",
            2)));
  EXPECT_TRUE(process_gone(detached, 10)) << "process " << detached << " outlived its worker";
  EXPECT_TRUE(daemon_.wait_for(Hostd("process N was left behind by a provider; killed", 3)));
  expect_next_request_served();
}

// A client that asks for a large answer and then reads nothing holds its worker (which writes
// to the client itself) only for the provider time-out: then it is dropped, and the worker
// serves the next request.
TEST_F(GreedyProviders, AClientThatStopsReadingIsDroppedAndItsWorkerServesTheNext) {
  const int fd = connect_to(socket());
  ASSERT_GE(fd, 0);
  const std::string frame = build_frame(ENUMINST, "root", make_path("Test_Many"));
  ASSERT_EQ(send(fd, frame.data(), frame.size(), MSG_NOSIGNAL),
            static_cast<ssize_t>(frame.size()));
  EXPECT_TRUE(daemon_.wait_for(
      Hostd("EnumerateInstances of Test_Many for root: the client has not read its answer for "
            "3 s; it is dropped",
            2),
      10));
  expect_next_request_served();
  // The dropped client finds part of its answer and then the end, never a whole answer.
  std::string got;
  char buf[65536];
  for (;;) {
    ssize_t n = recv(fd, buf, sizeof buf, 0);
    if (n <= 0) break;
    got.append(buf, static_cast<std::size_t>(n));
  }
  close(fd);
  EXPECT_GT(count_frames(got), 0u);
  EXPECT_LT(count_frames(got), 3001u);
}

// Frames a provider returns in a quick burst before it goes quiet do not wait for it: the
// client has them long before the provider completes.
TEST_F(GreedyProviders, ABurstOfFramesReachesTheClientWhileItsProviderIsQuiet) {
  const int fd = connect_to(socket());
  ASSERT_GE(fd, 0);
  const std::string frame = build_frame(ENUMINST, "root", make_path("Test_Burst"));
  ASSERT_EQ(send(fd, frame.data(), frame.size(), MSG_NOSIGNAL),
            static_cast<ssize_t>(frame.size()));
  const auto start = std::chrono::steady_clock::now();
  std::string got;
  char buf[4096];
  while (count_frames(got) < 3 &&
         std::chrono::steady_clock::now() - start < std::chrono::milliseconds(1500)) {
    struct pollfd pfd = {fd, POLLIN, 0};
    if (poll(&pfd, 1, 100) <= 0) continue;
    ssize_t n = recv(fd, buf, sizeof buf, 0);
    if (n <= 0) break;
    got.append(buf, static_cast<std::size_t>(n));
  }
  // The provider completes after 2 s; three frames before 1.5 s came while it was quiet.
  EXPECT_EQ(count_frames(got), 3u) << got;
  for (;;) {
    ssize_t n = recv(fd, buf, sizeof buf, 0);
    if (n <= 0) break;
    got.append(buf, static_cast<std::size_t>(n));
  }
  close(fd);
  EXPECT_EQ(count_frames(got), 4u);  // and the completion frame at the end
}

class Deadlines : public HostdTest {
 protected:
  std::vector<std::string> options() const override { return {"--request-deadline", "1"}; }
};

TEST_F(Deadlines, ARequestPastItsDeadlineEndsWithAnErrorFrame) {
  Answer a = enumerate(socket(), build_frame(ENUMINST, "root", make_path("Test_Slow")), ENUMINST);
  EXPECT_EQ(a.rc, CMPI_RC_ERR_FAILED);
  EXPECT_LT(a.instances.size(), 10u);
  EXPECT_TRUE(ends_with(a.raw, "CMPIERROR:1CMPI_EOF")) << a.raw;
  bool logged = false;
  for (const cmpitest::LogLine &line : daemon_.lines()) {
    logged = logged || line.text.find("EnumerateInstances of Test_Slow for root: worker N was "
                                      "killed: it did not finish within the request deadline "
                                      "of 1 s (") == 0;
  }
  EXPECT_TRUE(logged);
}

TEST(FullQueue, ARequestThatFindsTheQueueFullGetsAnErrorFrameNotAHang) {
  Workspace ws;
  HostDaemon daemon(ws);
  ASSERT_TRUE(daemon.start({"--workers-per-user", "1", "--max-queue", "1", "--provider-timeout",
                            "60", "--shutdown-grace", "1"}));
  std::string hung;
  std::thread first([&] {
    hung = exchange_raw(ws.socket, build_frame(ENUMINST, "root", make_path("Test_Hang")));
  });
  ASSERT_TRUE(
      daemon.wait_for(Hostd("EnumerateInstances of Test_Hang for root: worker N serves it", 4)));
  std::string queued;
  std::thread second([&] {
    queued = exchange_raw(ws.socket, build_frame(ENUMINST, "root", make_path("Test_Plain")));
  });
  std::this_thread::sleep_for(std::chrono::milliseconds(300));
  std::string refused =
      exchange_raw(ws.socket, build_frame(ENUMINST, "root", make_path("Test_Plain")));
  EXPECT_EQ(refused, "CMPIERROR:1CMPI_EOF");
  EXPECT_TRUE(daemon.wait_for(Hostd(
      "EnumerateInstances of Test_Plain for root: refused, 1 requests already wait for a worker",
      2)));
  int status = daemon.stop();
  first.join();
  second.join();
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
  // The shutdown answers both waiting clients with an error frame.
  EXPECT_EQ(hung, "CMPIERROR:1CMPI_EOF");
  EXPECT_EQ(queued, "CMPIERROR:1CMPI_EOF");
}

}  // namespace
}  // namespace e2e
