// workers_test.cpp - persistent workers: one per user, reused, retired and replaced; providers
// marked UnloadNever keep their memory between requests.
#include <pwd.h>
#include <unistd.h>

#include <set>
#include <thread>
#include <vector>

#include "hostd_fixture.h"

namespace e2e {
namespace {

// One enumeration of a lifetime test class (one instance "count"): its Count, Pid, Created.
struct Served {
  int rc = -1;
  unsigned long long count = 0;
  unsigned long long pid = 0;
  unsigned long long created = 0;
};

Served served(const std::string &socket, const char *cls, const char *user = "root") {
  Answer a = enumerate(socket, build_frame(ENUMINST, user, make_path(cls)), ENUMINST);
  Served s;
  s.rc = a.rc;
  if (a.rc == 0 && a.instances.size() == 1) {
    s.count = number_property(a.instances[0], "Count");
    s.pid = number_property(a.instances[0], "Pid");
    s.created = number_property(a.instances[0], "Created");
  }
  return s;
}

bool can_switch_to_nobody() { return geteuid() == 0 && getpwnam("nobody") != nullptr; }

using Workers = HostdTest;

TEST_F(Workers, TheSameWorkerServesTwoRequestsOfOneUser) {
  Served first = served(socket(), "Test_Plain");
  Served second = served(socket(), "Test_Plain");
  ASSERT_EQ(first.rc, 0);
  ASSERT_EQ(second.rc, 0);
  EXPECT_NE(first.pid, 0u);
  EXPECT_EQ(first.pid, second.pid);
  EXPECT_NE(first.pid, static_cast<unsigned long long>(daemon_.pid()));
}

TEST_F(Workers, EveryProviderStaysLoadedBetweenRequestsOfItsWorker) {
  Served keep1 = served(socket(), "Test_Keep");
  Served keep2 = served(socket(), "Test_Keep");
  Served keep3 = served(socket(), "Test_Keep");
  EXPECT_EQ(keep1.count, 1u);
  EXPECT_EQ(keep2.count, 2u);
  EXPECT_EQ(keep3.count, 3u);
  EXPECT_EQ(keep3.created, 1u) << "the MI is created once and reused";
  Served plain1 = served(socket(), "Test_Plain");
  Served plain2 = served(socket(), "Test_Plain");
  EXPECT_EQ(plain1.count, 1u);
  EXPECT_EQ(plain2.count, 2u) << "unused for less than --provider-idle: still loaded";
  EXPECT_EQ(plain2.created, 1u);
  EXPECT_EQ(plain1.pid, keep1.pid);
  for (const cmpitest::LogLine &line : daemon_.lines()) {
    EXPECT_EQ(line.text.find("Instance MI cleanup returned"), std::string::npos)
        << "no provider is cleaned up while its worker serves: " << line.text;
  }
}

// --provider-idle 0: providers not marked UnloadNever are unloaded after each request.
class WorkersUnloadAtOnce : public HostdTest {
 protected:
  std::vector<std::string> options() const override { return {"--provider-idle", "0"}; }
};

TEST_F(WorkersUnloadAtOnce, AnUnloadNeverProviderKeepsItsMemoryAndOthersDoNot) {
  Served keep1 = served(socket(), "Test_Keep");
  Served keep2 = served(socket(), "Test_Keep");
  EXPECT_EQ(keep2.count, 2u);
  Served plain1 = served(socket(), "Test_Plain");
  Served plain2 = served(socket(), "Test_Plain");
  EXPECT_EQ(plain1.count, 1u);
  EXPECT_EQ(plain2.count, 1u) << "a provider without UnloadNever starts afresh";
  EXPECT_EQ(plain1.pid, keep1.pid);
  EXPECT_TRUE(daemon_.wait_for(Hostd("provider TestPlain: Instance MI cleanup returned 0", 4)));
  for (const cmpitest::LogLine &line : daemon_.lines()) {
    EXPECT_NE(line.text, "provider TestKeep: Instance MI cleanup returned 0")
        << "an UnloadNever provider is cleaned up only when its worker retires";
  }
}

// --provider-idle 1: a provider unused for a second is unloaded by its worker.
class WorkersUnloadIdleProviders : public HostdTest {
 protected:
  std::vector<std::string> options() const override { return {"--provider-idle", "1"}; }
};

TEST_F(WorkersUnloadIdleProviders, AnIdleProviderIsUnloadedOnceAndStartsAfreshAfterwards) {
  Served first = served(socket(), "Test_Plain");
  Served second = served(socket(), "Test_Plain");
  EXPECT_EQ(first.count, 1u);
  EXPECT_EQ(second.count, 2u);
  Served keep = served(socket(), "Test_Keep");
  EXPECT_TRUE(daemon_.wait_for(Hostd("provider TestPlain was unused for 1 s: unloaded", 4)));
  EXPECT_TRUE(daemon_.wait_for(Hostd("provider TestPlain: Instance MI cleanup returned 0", 4)));
  Served after = served(socket(), "Test_Plain");
  EXPECT_EQ(after.count, 1u) << "loaded afresh";
  EXPECT_EQ(after.pid, first.pid) << "by the same worker";
  Served keep_after = served(socket(), "Test_Keep");
  EXPECT_EQ(keep_after.count, keep.count + 1) << "an UnloadNever provider is never idle";
}

TEST_F(WorkersUnloadIdleProviders, AProviderWithASlowCleanupPaysItOnceNotPerRequest) {
  Served first = served(socket(), "Test_Linger");
  Served second = served(socket(), "Test_Linger");
  EXPECT_EQ(second.count, 2u);
  Served third = served(socket(), "Test_Linger");
  EXPECT_EQ(first.count, 1u);
  EXPECT_EQ(third.count, 3u) << "one loaded copy served all three";
  EXPECT_EQ(third.created, 1u);
  EXPECT_TRUE(daemon_.wait_for(Hostd("provider TestLinger: Instance MI cleanup returned 0", 4)));
  int cleanups = 0;
  for (const cmpitest::LogLine &line : daemon_.lines()) {
    if (line.text == "provider TestLinger: Instance MI cleanup returned 0") ++cleanups;
  }
  EXPECT_EQ(cleanups, 1);
}

TEST_F(Workers, TwoUsersGetTwoWorkers) {
  if (!can_switch_to_nobody()) GTEST_SKIP() << "needs root and the user nobody";
  Served as_root = served(socket(), "Test_Plain", "root");
  Served as_nobody = served(socket(), "Test_Plain", "nobody");
  Served root_again = served(socket(), "Test_Plain", "root");
  ASSERT_EQ(as_root.rc, 0);
  ASSERT_EQ(as_nobody.rc, 0);
  EXPECT_NE(as_root.pid, as_nobody.pid);
  EXPECT_EQ(as_root.pid, root_again.pid);
}

TEST_F(Workers, AWorkerCrashEndsOnlyItsRequestAndANewWorkerServesTheNext) {
  Served before = served(socket(), "Test_Plain");
  Answer crash = enumerate(socket(), build_frame(ENUMINST, "root", make_path("Test_Partial")),
                           ENUMINST);
  EXPECT_EQ(crash.rc, CMPI_RC_ERR_FAILED);
  EXPECT_EQ(crash.instances.size(), 1u);
  EXPECT_TRUE(ends_with(crash.raw, "}CMPI_EOFCMPIERROR:1CMPI_EOF")) << crash.raw;
  Served after = served(socket(), "Test_Plain");
  ASSERT_EQ(after.rc, 0);
  EXPECT_NE(before.pid, after.pid);
}

class WorkersRetireAfterRequests : public HostdTest {
 protected:
  std::vector<std::string> options() const override { return {"--worker-requests", "2"}; }
};

TEST_F(WorkersRetireAfterRequests, ARetiredWorkerIsReplaced) {
  Served first = served(socket(), "Test_Keep");
  Served second = served(socket(), "Test_Keep");
  ASSERT_TRUE(daemon_.wait_for(Hostd("worker N of user root retires", 4)));
  // The retiring worker unloads its UnloadNever provider once, with its cleanup.
  EXPECT_TRUE(daemon_.wait_for(Hostd("provider TestKeep: Instance MI cleanup returned 0", 4)));
  Served third = served(socket(), "Test_Keep");
  EXPECT_EQ(first.pid, second.pid);
  EXPECT_NE(second.pid, third.pid);
  EXPECT_EQ(second.count, 2u);
  EXPECT_EQ(third.count, 1u) << "the new worker loads the provider afresh";
}

class WorkersRetireWhenIdle : public HostdTest {
 protected:
  std::vector<std::string> options() const override { return {"--worker-idle", "1"}; }
};

TEST_F(WorkersRetireWhenIdle, AnIdleWorkerRetiresAndTheNextRequestGetsANewOne) {
  Served first = served(socket(), "Test_Plain");
  ASSERT_TRUE(daemon_.wait_for(Hostd("worker N of user root retires", 4)));
  ASSERT_TRUE(daemon_.wait_for(Hostd("worker N exited with status 0", 4)));
  Served second = served(socket(), "Test_Plain");
  ASSERT_EQ(second.rc, 0);
  EXPECT_NE(first.pid, second.pid);
}

// One worker for the user: concurrent requests wait for it while it answers, and the front
// asks to hear when each answer ends (the worker then wakes it).
class WorkersOnePerUser : public HostdTest {
 protected:
  std::vector<std::string> options() const override { return {"--workers-per-user", "1"}; }
};

TEST_F(WorkersOnePerUser, ConcurrentRequestsOfOneUserAreAllServedInTurnByItsOneWorker) {
  constexpr int kClients = 4;
  constexpr int kEach = 5;
  std::vector<std::vector<Served>> results(kClients);
  std::vector<std::thread> clients;
  for (int c = 0; c < kClients; ++c) {
    clients.emplace_back([&, c] {
      for (int i = 0; i < kEach; ++i) results[c].push_back(served(socket(), "Test_Plain"));
    });
  }
  for (std::thread &t : clients) t.join();
  std::set<unsigned long long> pids;
  for (const std::vector<Served> &one : results) {
    ASSERT_EQ(one.size(), static_cast<size_t>(kEach));
    for (const Served &s : one) {
      EXPECT_EQ(s.rc, 0);
      pids.insert(s.pid);
    }
  }
  EXPECT_EQ(pids.size(), 1u) << "one worker served every request";
  EXPECT_EQ(pids.count(0), 0u);
}

}  // namespace
}  // namespace e2e
