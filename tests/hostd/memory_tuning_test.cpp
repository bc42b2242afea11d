// memory_tuning_test.cpp - the heap's free pages go back to the system, and a waiting worker
// releases once, after its delay.
#include "memory_tuning.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>
#include <vector>

namespace hostd {
namespace {

// RssAnon of this process in KiB.
long anonymous_kib() {
  std::ifstream in("/proc/self/status");
  std::string line;
  while (std::getline(in, line)) {
    if (line.rfind("RssAnon:", 0) == 0) return std::atol(line.c_str() + 8);
  }
  return -1;
}

TEST(ReleaseFreeMemory, FreePagesInsideTheHeapGoBack) {
#ifdef CMPIUTILITY_SANITIZED
  GTEST_SKIP() << "the sanitizer's allocator is not the C library's";
#endif
  release_free_memory();
  // 16 MiB of small blocks, all freed but the last one made, which keeps the heap from
  // shrinking from its top on its own.
  constexpr std::size_t kBlocks = 16 * 1024;
  constexpr std::size_t kBlockSize = 1024;
  std::vector<void *> blocks(kBlocks);
  for (void *&block : blocks) {
    block = std::malloc(kBlockSize);
    ASSERT_NE(block, nullptr);
    std::memset(block, 1, kBlockSize);
  }
  for (std::size_t i = 0; i + 1 < kBlocks; ++i) std::free(blocks[i]);
  const long held = anonymous_kib();

  EXPECT_TRUE(release_free_memory());
  const long released = anonymous_kib();
  std::free(blocks.back());

  EXPECT_GE(held - released, 12 * 1024) << "held " << held << " KiB, then " << released;
}

TEST(IdleRelease, WaitsNoLongerThanTheDelayAndReleasesOnceItHasPassed) {
  IdleRelease release(60000);
  EXPECT_LE(release.wait_ms(-1), 60000);
  EXPECT_GT(release.wait_ms(-1), 50000);
  EXPECT_EQ(release.wait_ms(20), 20);
  EXPECT_FALSE(release.after_wait());
  EXPECT_FALSE(release.released());
}

TEST(IdleRelease, AfterTheDelayItReleasesOnceAndThenWaitsAsTheCallerWould) {
  IdleRelease release(0);
  EXPECT_EQ(release.wait_ms(-1), 0);
  EXPECT_EQ(release.wait_ms(500), 0);
  EXPECT_TRUE(release.after_wait());
  EXPECT_TRUE(release.released());
  EXPECT_FALSE(release.after_wait());
  EXPECT_EQ(release.wait_ms(-1), -1);
  EXPECT_EQ(release.wait_ms(500), 500);
}

}  // namespace
}  // namespace hostd
