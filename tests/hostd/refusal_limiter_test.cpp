// Tests of the refusal limiter: bursts, the steady rate, summaries, eviction and flushing.
// Time is passed in, so nothing here sleeps.
#include "refusal_limiter.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace hostd {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

// Counts the refusals written out of count made at now.
int written(RefusalLimiter &limiter, const RefusalPeer &peer, int count, long long now) {
  int n = 0;
  for (int i = 0; i < count; ++i) n += limiter.admit(peer, now).write ? 1 : 0;
  return n;
}

TEST(RefusalLimiter, ABurstIsWrittenThenTheRestIsCounted) {
  RefusalLimiter limiter;
  const RefusalPeer peer = RefusalPeer::uid(1000);
  for (int i = 0; i < 10; ++i) {
    RefusalDecision d = limiter.admit(peer, 5000);
    EXPECT_TRUE(d.write) << i;
    EXPECT_THAT(d.summaries, IsEmpty());
  }
  RefusalDecision d = limiter.admit(peer, 5000);
  EXPECT_FALSE(d.write);
  EXPECT_THAT(d.summaries, IsEmpty());
}

TEST(RefusalLimiter, TheNextAllowedLineBringsTheSummary) {
  RefusalLimiter limiter;
  const RefusalPeer peer = RefusalPeer::uid(1000);
  EXPECT_EQ(written(limiter, peer, 15, 5000), 10);
  EXPECT_FALSE(limiter.admit(peer, 5999).write);  // not a whole line earned yet
  RefusalDecision d = limiter.admit(peer, 6000);
  EXPECT_TRUE(d.write);
  EXPECT_THAT(d.summaries, ElementsAre("6 refusals of peer uid 1000 suppressed in the last 1 s"));
  // The count starts again.
  d = limiter.admit(peer, 7000);
  EXPECT_TRUE(d.write);
  EXPECT_THAT(d.summaries, IsEmpty());
}

TEST(RefusalLimiter, AFloodOfOneSecondWritesTheBurstOnly) {
  RefusalLimiter limiter;
  const RefusalPeer peer = RefusalPeer::uid(1000);
  int n = 0;
  for (int i = 0; i < 56000; ++i) n += limiter.admit(peer, 10000 + i / 56).write ? 1 : 0;
  EXPECT_EQ(n, 10);
  RefusalDecision d = limiter.admit(peer, 11000);
  EXPECT_TRUE(d.write);
  EXPECT_THAT(d.summaries,
              ElementsAre("55990 refusals of peer uid 1000 suppressed in the last 1 s"));
}

TEST(RefusalLimiter, TheSteadyRateIsPerSecond) {
  RefusalLimiter limiter(RefusalLimits{10, 2, 16});
  const RefusalPeer peer = RefusalPeer::uid(7);
  EXPECT_EQ(written(limiter, peer, 100, 0), 10);
  int n = 0;
  for (long long t = 1; t <= 10000; ++t) n += written(limiter, peer, 1, t);
  EXPECT_EQ(n, 20);  // 2 a second for 10 s
}

TEST(RefusalLimiter, TheBucketRefillsNoFurtherThanTheBurst) {
  RefusalLimiter limiter;
  const RefusalPeer peer = RefusalPeer::uid(7);
  EXPECT_EQ(written(limiter, peer, 1, 0), 1);
  EXPECT_EQ(written(limiter, peer, 100, 86400000LL * 365), 10);
}

TEST(RefusalLimiter, SecondsAreRoundedUpFromTheFirstSuppressedRefusal) {
  RefusalLimiter limiter(RefusalLimits{1, 1, 16});
  const RefusalPeer peer = RefusalPeer::uid(1000);
  EXPECT_TRUE(limiter.admit(peer, 100).write);
  EXPECT_FALSE(limiter.admit(peer, 150).write);
  EXPECT_FALSE(limiter.admit(peer, 900).write);
  RefusalDecision d = limiter.admit(peer, 1150);
  EXPECT_TRUE(d.write);
  // 1000 ms since the first suppressed one: 1 s. Then 1 more and 2001 ms later: 3 s.
  EXPECT_THAT(d.summaries, ElementsAre("2 refusals of peer uid 1000 suppressed in the last 1 s"));
  EXPECT_FALSE(limiter.admit(peer, 1160).write);
  d = limiter.admit(peer, 3161);
  EXPECT_TRUE(d.write);
  EXPECT_THAT(d.summaries, ElementsAre("1 refusal of peer uid 1000 suppressed in the last 3 s"));
}

TEST(RefusalLimiter, PeersHaveTheirOwnBuckets) {
  RefusalLimiter limiter;
  EXPECT_EQ(written(limiter, RefusalPeer::uid(1000), 20, 0), 10);
  EXPECT_EQ(written(limiter, RefusalPeer::uid(1001), 20, 0), 10);
  // A uid and a pid of the same number are different peers.
  EXPECT_EQ(written(limiter, RefusalPeer::pid(1000), 20, 0), 10);
  EXPECT_EQ(limiter.tracked(), 3u);
}

TEST(RefusalLimiter, APeerByProcessIdIsNamedSo) {
  RefusalLimiter limiter(RefusalLimits{1, 1, 16});
  const RefusalPeer peer = RefusalPeer::pid(4242);
  EXPECT_EQ(peer.label(), "pid 4242");
  EXPECT_EQ(RefusalPeer::uid(0).label(), "uid 0");
  EXPECT_EQ(written(limiter, peer, 4, 0), 1);
  RefusalDecision d = limiter.admit(peer, 1000);
  EXPECT_THAT(d.summaries, ElementsAre("3 refusals of peer pid 4242 suppressed in the last 1 s"));
}

TEST(RefusalLimiter, TheNumberOfPeersIsCappedAndTheOldestGoes) {
  RefusalLimiter limiter(RefusalLimits{1, 1, 2});
  EXPECT_EQ(written(limiter, RefusalPeer::uid(1), 3, 0), 1);  // 2 pending
  EXPECT_EQ(written(limiter, RefusalPeer::uid(2), 1, 10), 1);
  EXPECT_EQ(limiter.tracked(), 2u);
  // uid 1 was seen longest ago: it goes, and its pending count comes out now.
  RefusalDecision d = limiter.admit(RefusalPeer::uid(3), 500);
  EXPECT_TRUE(d.write);
  EXPECT_THAT(d.summaries, ElementsAre("2 refusals of peer uid 1 suppressed in the last 1 s"));
  EXPECT_EQ(limiter.tracked(), 2u);
  // Seeing uid 2 again makes uid 3 the oldest.
  EXPECT_FALSE(limiter.admit(RefusalPeer::uid(2), 600).write);
  d = limiter.admit(RefusalPeer::uid(4), 700);
  EXPECT_TRUE(d.write);
  EXPECT_THAT(d.summaries, IsEmpty());
  EXPECT_EQ(limiter.tracked(), 2u);
  EXPECT_THAT(limiter.flush(700),
              ElementsAre("1 refusal of peer uid 2 suppressed in the last 1 s"));
}

TEST(RefusalLimiter, TrackingStaysBoundedUnderManyPeers) {
  RefusalLimiter limiter(RefusalLimits{10, 1, 64});
  for (int pid = 1; pid <= 100000; ++pid) limiter.admit(RefusalPeer::pid(pid), pid);
  EXPECT_EQ(limiter.tracked(), 64u);
}

TEST(RefusalLimiter, FlushGivesEveryPendingSummaryAndForgetsIdlePeers) {
  RefusalLimiter limiter;
  EXPECT_EQ(written(limiter, RefusalPeer::uid(1000), 12, 0), 10);
  EXPECT_EQ(written(limiter, RefusalPeer::uid(1001), 3, 100), 3);
  EXPECT_EQ(written(limiter, RefusalPeer::pid(55), 11, 200), 10);
  EXPECT_THAT(limiter.flush(2500),
              ElementsAre("1 refusal of peer pid 55 suppressed in the last 3 s",
                          "2 refusals of peer uid 1000 suppressed in the last 3 s"));
  EXPECT_THAT(limiter.flush(2600), IsEmpty());
  EXPECT_EQ(limiter.tracked(), 3u);  // none has its whole burst back yet
  EXPECT_THAT(limiter.flush(20000), IsEmpty());
  EXPECT_EQ(limiter.tracked(), 0u);
  // A forgotten peer starts with a whole burst.
  EXPECT_EQ(written(limiter, RefusalPeer::uid(1000), 12, 20000), 10);
}

TEST(RefusalLimiter, ATimeGoingBackCountsAsTheLatest) {
  RefusalLimiter limiter(RefusalLimits{1, 1, 16});
  const RefusalPeer peer = RefusalPeer::uid(9);
  EXPECT_TRUE(limiter.admit(peer, 10000).write);
  EXPECT_FALSE(limiter.admit(peer, 0).write);
  EXPECT_FALSE(limiter.admit(peer, 10999).write);
  RefusalDecision d = limiter.admit(peer, 11000);
  EXPECT_TRUE(d.write);
  EXPECT_THAT(d.summaries, ElementsAre("2 refusals of peer uid 9 suppressed in the last 1 s"));
}

}  // namespace
}  // namespace hostd
