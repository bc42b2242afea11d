// Tests of what the front reads about processes from /proc.
#include "process_watch.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <fstream>
#include <string>
#include <vector>

namespace hostd {
namespace {

bool contains(const std::vector<pid_t> &pids, pid_t pid) {
  return std::find(pids.begin(), pids.end(), pid) != pids.end();
}

// A pid that no process has: above the kernel's limit.
pid_t unused_pid() {
  long max = 4194304;
  std::ifstream in("/proc/sys/kernel/pid_max");
  in >> max;
  return static_cast<pid_t>(std::min<long>(max + 1, INT_MAX));
}

long long cpu_ms_of_self() {
  struct rusage ru;
  EXPECT_EQ(getrusage(RUSAGE_SELF, &ru), 0);
  return (ru.ru_utime.tv_sec + ru.ru_stime.tv_sec) * 1000LL +
         (ru.ru_utime.tv_usec + ru.ru_stime.tv_usec) / 1000;
}

TEST(ReadUsage, OfThisProcess) {
  // Some work, so that there is CPU time to see.
  volatile unsigned long sink = 0;
  for (unsigned long i = 0; i < 20000000ul; ++i) sink = sink + i;
  ProcessUsage usage;
  usage.cpu_ms = -1;
  usage.rss_kib = -1;
  const long long before = cpu_ms_of_self();
  ASSERT_TRUE(read_usage(getpid(), &usage));
  const long long after = cpu_ms_of_self();
  EXPECT_GE(usage.cpu_ms, 0);
  EXPECT_GT(usage.rss_kib, 0);
  // The same CPU time the kernel reports to the process itself, give or take its clock ticks.
  EXPECT_GE(usage.cpu_ms, before - 30);
  EXPECT_LE(usage.cpu_ms, after + 30);
}

TEST(ReadUsage, ResidentMemoryGrowsWithTouchedPages) {
  ProcessUsage before;
  ASSERT_TRUE(read_usage(getpid(), &before));
  const std::size_t size = 64u * 1024u * 1024u;
  std::vector<char> block(size, 1);  // every page written
  ProcessUsage after;
  ASSERT_TRUE(read_usage(getpid(), &after));
  // Counted in KiB: the block is 65536 of them.
  EXPECT_GE(after.rss_kib - before.rss_kib, static_cast<long long>(size / 1024 / 2));
  EXPECT_LE(after.rss_kib - before.rss_kib, static_cast<long long>(size / 1024 * 2));
  EXPECT_EQ(block[size - 1], 1);
}

TEST(ReadUsage, OfAProcessThatDoesNotExist) {
  ProcessUsage usage;
  usage.cpu_ms = 7;
  usage.rss_kib = 9;
  EXPECT_FALSE(read_usage(unused_pid(), &usage));
  EXPECT_FALSE(read_usage(0, &usage));
  EXPECT_FALSE(read_usage(-1, &usage));
}

TEST(ChildrenOf, FindsAForkedChildUntilItIsReaped) {
  const pid_t child = fork();
  ASSERT_GE(child, 0) << errno;
  if (child == 0) {
    for (;;) pause();  // until killed
  }
  std::vector<pid_t> children = children_of(getpid());
  EXPECT_TRUE(contains(children, child)) << "child " << child;
  EXPECT_FALSE(contains(children, getpid()));
  for (pid_t pid : children) EXPECT_GT(pid, 0);

  ProcessUsage usage;
  EXPECT_TRUE(read_usage(child, &usage));

  ASSERT_EQ(kill(child, SIGKILL), 0);
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFSIGNALED(status));
  EXPECT_FALSE(contains(children_of(getpid()), child));
  EXPECT_FALSE(read_usage(child, &usage));
}

TEST(ChildrenOf, FindsEveryChildAndNoGrandchild) {
  int ready[2];
  ASSERT_EQ(pipe(ready), 0);
  std::vector<pid_t> kids;
  pid_t grandchild = 0;
  for (int i = 0; i < 3; ++i) {
    const pid_t pid = fork();
    ASSERT_GE(pid, 0);
    if (pid == 0) {
      if (i == 0) {
        // The first child starts a grandchild and tells its pid.
        const pid_t g = fork();
        if (g == 0) {
          for (;;) pause();
        }
        (void)!write(ready[1], &g, sizeof g);
        int st;
        waitpid(g, &st, 0);
        _exit(0);
      }
      for (;;) pause();
    }
    kids.push_back(pid);
  }
  ASSERT_EQ(read(ready[0], &grandchild, sizeof grandchild),
            static_cast<ssize_t>(sizeof grandchild));
  ASSERT_GT(grandchild, 0);

  const std::vector<pid_t> children = children_of(getpid());
  for (pid_t kid : kids) EXPECT_TRUE(contains(children, kid)) << kid;
  EXPECT_FALSE(contains(children, grandchild));
  EXPECT_TRUE(contains(children_of(kids[0]), grandchild));

  kill(grandchild, SIGKILL);
  for (pid_t kid : kids) {
    if (kid != kids[0]) kill(kid, SIGKILL);
    int status;
    waitpid(kid, &status, 0);
  }
  close(ready[0]);
  close(ready[1]);
  for (pid_t kid : kids) EXPECT_FALSE(contains(children_of(getpid()), kid));
}

TEST(ChildrenOf, NoneForAProcessThatDoesNotExist) {
  EXPECT_TRUE(children_of(unused_pid()).empty());
}

}  // namespace
}  // namespace hostd
