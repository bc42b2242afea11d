// idle_memory_test.cpp - a worker hands the free pages of its heap back once no request has come
// for a moment, and answers afterwards exactly as before.
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <string>
#include <thread>

#include "hostd_fixture.h"

namespace e2e {
namespace {

// RssAnon of /proc/<pid>/status in KiB; -1 when the process is gone.
long anonymous_kib(unsigned long long pid) {
  std::ifstream in("/proc/" + std::to_string(pid) + "/status");
  std::string line;
  while (std::getline(in, line)) {
    if (line.rfind("RssAnon:", 0) == 0) return std::atol(line.c_str() + 8);
  }
  return -1;
}

// The serving worker's pid and the provider's call count of one enumeration of cls.
struct Served {
  int rc = -1;
  unsigned long long pid = 0;
  unsigned long long count = 0;
};

Served served(const std::string &socket, const char *cls) {
  Answer a = enumerate(socket, build_frame(ENUMINST, "root", make_path(cls)), ENUMINST);
  Served s;
  s.rc = a.rc;
  if (a.rc == 0 && a.instances.size() == 1) {
    s.pid = number_property(a.instances[0], "Pid");
    s.count = number_property(a.instances[0], "Count");
  }
  return s;
}

// Waits up to five seconds for the worker's anonymous memory to fall to at most limit_kib;
// returns the last figure read.
long wait_for_anonymous_at_most(unsigned long long pid, long limit_kib) {
  long now = anonymous_kib(pid);
  for (int i = 0; i < 50 && now > limit_kib; ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    now = anonymous_kib(pid);
  }
  return now;
}

using IdleMemory = HostdTest;

TEST_F(IdleMemory, AnIdleWorkerGivesItsFreeHeapBackAndAnswersAsBefore) {
#ifdef CMPIUTILITY_SANITIZED
  GTEST_SKIP() << "the sanitizer's allocator is not the C library's and keeps freed memory in "
                  "quarantine; the plain build checks this";
#endif
  // The worker's memory once idle, with the demo provider's answer to compare later.
  Answer before = get_fan("fan0");
  ASSERT_EQ(before.rc, 0);
  const Served plain = served(socket(), "Test_Plain");
  ASSERT_EQ(plain.rc, 0);
  std::this_thread::sleep_for(std::chrono::milliseconds(1500));
  const long idle_kib = anonymous_kib(plain.pid);
  ASSERT_GT(idle_kib, 0);

  // The provider leaves 8 MiB of free heap behind that the heap's top cannot give back.
  const Served first = served(socket(), "Test_Scatter");
  ASSERT_EQ(first.rc, 0);
  ASSERT_EQ(first.pid, plain.pid) << "the same worker serves every request of root";
  const long after_kib = anonymous_kib(first.pid);
  EXPECT_GE(after_kib, idle_kib + 6 * 1024) << "the provider's freed blocks are still resident";

  const long released_kib = wait_for_anonymous_at_most(first.pid, idle_kib + 1024);
  EXPECT_LE(released_kib, idle_kib + 1024)
      << "idle " << idle_kib << " KiB, after the request " << after_kib << " KiB";

  // The same worker, the same loaded provider, the same answers.
  const Served second = served(socket(), "Test_Scatter");
  ASSERT_EQ(second.rc, 0);
  EXPECT_EQ(second.pid, first.pid);
  EXPECT_EQ(second.count, first.count + 1);
  Answer after = get_fan("fan0");
  ASSERT_EQ(after.rc, 0);
  EXPECT_EQ(after.raw, before.raw);
}

}  // namespace
}  // namespace e2e
