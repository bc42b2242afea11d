// Tests of the daemon's clock and deadlines.
#include "clock.h"

#include <gtest/gtest.h>

namespace hostd {
namespace {

TEST(Clock, NeverRunsBackwards) {
  long long first = now_ms();
  long long second = now_ms();
  EXPECT_GE(second, first);
  EXPECT_GT(first, 0);
}

TEST(Deadline, UnsetIsNeverPassed) {
  Deadline none;
  EXPECT_FALSE(none.set());
  EXPECT_FALSE(none.passed(now_ms()));
  EXPECT_GT(none.left_ms(now_ms()), 1000LL * 86400 * 365);
}

TEST(Deadline, PassesAtItsTime) {
  Deadline d = Deadline::at_ms(5000);
  EXPECT_TRUE(d.set());
  EXPECT_FALSE(d.passed(4999));
  EXPECT_TRUE(d.passed(5000));
  EXPECT_EQ(d.left_ms(4000), 1000);
  EXPECT_EQ(d.left_ms(6000), 0);
}

TEST(Deadline, InMillisecondsCountsFromNow) {
  long long before = now_ms();
  Deadline d = Deadline::in_ms(250);
  EXPECT_GE(d.when(), before + 250);
  EXPECT_LE(d.when(), now_ms() + 250);
}

}  // namespace
}  // namespace hostd
