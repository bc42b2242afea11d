// xselect: readiness, time limits and interruptions. Time is only checked from below.
#include <cmpiutility/transport.h>
#include <errno.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <thread>

#include "log_capture.h"
#include "socket_helpers.h"

namespace {

using namespace cmpitest;
using ::testing::ElementsAre;
using Clock = std::chrono::steady_clock;

class Xselect : public TransportTest {
 protected:
  void SetUp() override {
    TransportTest::SetUp();
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, fds_), 0);
  }
  void TearDown() override {
    close(fds_[0]);
    close(fds_[1]);
  }
  int fds_[2] = {-1, -1};
};

TEST_F(Xselect, ReadableSocketIsReady) {
  RawSendAll(fds_[1], "x");
  int limit = 5;
  LogCapture log;
  EXPECT_EQ(xselect(fds_[0], CMPIU_SELECT_READ, &limit), 0u);
  EXPECT_THAT(log.lines(), ElementsAre(Enter("xselect"), Exit("xselect")));
  EXPECT_EQ(limit, 5);  // the caller's value is only read
}

TEST_F(Xselect, WritableSocketIsReady) {
  int limit = 5;
  LogCapture log;
  EXPECT_EQ(xselect(fds_[0], CMPIU_SELECT_WRITE, &limit), 0u);
  EXPECT_THAT(log.lines(), ElementsAre(Enter("xselect"), Exit("xselect")));
}

TEST_F(Xselect, ReadOrWriteIsReadyWhenEitherIs) {
  int limit = 5;
  EXPECT_EQ(xselect(fds_[0], CMPIU_SELECT_READ | CMPIU_SELECT_WRITE, &limit), 0u);
}

TEST_F(Xselect, NoLimitWithDataReadyReturnsAtOnce) {
  RawSendAll(fds_[1], "x");
  LogCapture log;
  EXPECT_EQ(xselect(fds_[0], CMPIU_SELECT_READ, nullptr), 0u);
  EXPECT_THAT(log.lines(), ElementsAre(Enter("xselect"), Exit("xselect")));
}

TEST_F(Xselect, NoLimitWaitsForData) {
  std::thread peer([this] {
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    RawSendAll(fds_[1], "x");
  });
  const auto start = Clock::now();
  EXPECT_EQ(xselect(fds_[0], CMPIU_SELECT_READ, nullptr), 0u);
  EXPECT_GE(Clock::now() - start, std::chrono::milliseconds(150));
  peer.join();
}

// A mode with neither bit waits on no descriptor: the call only sleeps out the limit.
TEST_F(Xselect, ModeZeroSleepsUntilTheLimitAndTimesOut) {
  RawSendAll(fds_[1], "x");  // readable, but mode 0 does not ask
  int limit = 2;
  LogCapture log;
  errno = 0;  // a time-out sets no errno: the line carries whatever it held
  const auto start = Clock::now();
  const unsigned int result = xselect(fds_[0], 0, &limit);
  const auto waited = Clock::now() - start;
  EXPECT_EQ(result, 10u);
  EXPECT_GE(waited, std::chrono::seconds(2));
  EXPECT_THAT(log.lines(), ElementsAre(Enter("xselect"), Error("Error: Socket timeout 'Success'"),
                                       Exit("xselect")));
}

TEST_F(Xselect, ReadWithoutDataTimesOut) {
  int limit = 1;
  LogCapture log;
  errno = 0;
  const auto start = Clock::now();
  EXPECT_EQ(xselect(fds_[0], CMPIU_SELECT_READ, &limit), 10u);
  EXPECT_GE(Clock::now() - start, std::chrono::seconds(1));
  EXPECT_THAT(log.lines(), ElementsAre(Enter("xselect"), Error("Error: Socket timeout 'Success'"),
                                       Exit("xselect")));
}

TEST_F(Xselect, ZeroLimitPollsOnce) {
  int limit = 0;
  LogCapture log;
  errno = 0;
  EXPECT_EQ(xselect(fds_[0], CMPIU_SELECT_READ, &limit), 10u);
  EXPECT_THAT(log.lines(), ElementsAre(Enter("xselect"), Error("Error: Socket timeout 'Success'"),
                                       Exit("xselect")));
  RawSendAll(fds_[1], "x");
  EXPECT_EQ(xselect(fds_[0], CMPIU_SELECT_READ, &limit), 0u);
}

TEST_F(Xselect, PeerCloseMakesTheSocketReadable) {
  close(fds_[1]);
  fds_[1] = socket(AF_UNIX, SOCK_STREAM, 0);  // something for TearDown to close
  int limit = 5;
  EXPECT_EQ(xselect(fds_[0], CMPIU_SELECT_READ, &limit), 0u);
}

TEST_F(Xselect, InterruptionIsRetriedSilently) {
  CountingSignal signal;
  const pthread_t waiter = pthread_self();
  std::thread peer([this, waiter] {
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    CountingSignal::raise_in(waiter);
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    RawSendAll(fds_[1], "x");
  });
  LogCapture log;
  const unsigned int result = xselect(fds_[0], CMPIU_SELECT_READ, nullptr);
  peer.join();
  EXPECT_EQ(result, 0u);
  EXPECT_EQ(signal.count(), 1);
  EXPECT_THAT(log.lines(), ElementsAre(Enter("xselect"), Exit("xselect")));
}

// After an interruption the wait goes on with the time left; the time-out line then carries the
// text of the interruption, which is what errno still holds.
TEST_F(Xselect, InterruptedWaitStillTimesOut) {
  CountingSignal signal;
  const pthread_t waiter = pthread_self();
  std::thread peer([waiter] {
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    CountingSignal::raise_in(waiter);
  });
  int limit = 2;
  LogCapture log;
  errno = EINTR;  // also what the interrupted try leaves, should the signal come early
  const auto start = Clock::now();
  const unsigned int result = xselect(fds_[0], 0, &limit);
  const auto waited = Clock::now() - start;
  peer.join();
  EXPECT_EQ(result, 10u);
  EXPECT_EQ(signal.count(), 1);
  EXPECT_GE(waited, std::chrono::seconds(2));
  EXPECT_THAT(log.lines(),
              ElementsAre(Enter("xselect"), Error("Error: Socket timeout 'Interrupted system call'"),
                          Exit("xselect")));
}

}  // namespace
