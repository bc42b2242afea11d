// Tests of answers a worker writes to the client itself: the shared answer window (what the
// front finds there, and that it never trusts offsets that cannot be right) and DirectAnswer
// over real socketpairs standing for the client's connection and the channel to the front.
#include "direct_answer.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "answer_window.h"
#include "channel.h"
#include "clock.h"

namespace hostd {
namespace {

// A stream socketpair: end 0 stands for the client, end 1 for the daemon's copy of the
// connection (the front's); the worker gets a duplicate of end 1.
struct Pair {
  int fd[2] = {-1, -1};
  Pair() { EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, fd), 0) << std::strerror(errno); }
  ~Pair() {
    for (int &f : fd) {
      if (f >= 0) close(f);
    }
  }
  int worker_copy() const { return dup(fd[1]); }
};

// Everything the client end holds now, without waiting. *ended: the peer shut its side.
std::string read_now(int fd, bool *ended = nullptr) {
  std::string got;
  char buf[65536];
  for (;;) {
    ssize_t n = recv(fd, buf, sizeof buf, MSG_DONTWAIT);
    if (n > 0) {
      got.append(buf, static_cast<std::size_t>(n));
      continue;
    }
    if (ended != nullptr) *ended = (n == 0);
    return got;
  }
}

// Reads until the peer ends its side.
std::string read_to_end(int fd) {
  std::string got;
  char buf[65536];
  for (;;) {
    ssize_t n = recv(fd, buf, sizeof buf, 0);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return got;
    got.append(buf, static_cast<std::size_t>(n));
  }
}

std::string frame(const std::string &body) { return "{\"" + body + "\":1}CMPI_EOF"; }

std::unique_ptr<AnswerWindow> make_window() {
  std::unique_ptr<AnswerWindow> w(AnswerWindow::create());
  EXPECT_NE(w, nullptr);
  return w;
}

// ---- the window --------------------------------------------------------------------------------

TEST(AnswerWindow, AResetWindowHoldsAnEmptyConsistentAnswer) {
  auto w = make_window();
  ASSERT_NE(w, nullptr);
  w->header().placed.store(7);
  w->header().frames.store(2);
  w->reset();
  const AnswerWindow::Snapshot s = w->look();
  EXPECT_TRUE(s.consistent);
  EXPECT_EQ(s.placed, 0u);
  EXPECT_EQ(s.sent, 0u);
  EXPECT_EQ(s.frames, 0u);
  EXPECT_EQ(s.flags, 0u);
  EXPECT_TRUE(w->take_unsent().empty());
}

TEST(AnswerWindow, TakeUnsentGivesThePlacedBytesNotYetSentOnce) {
  auto w = make_window();
  ASSERT_NE(w, nullptr);
  std::memcpy(w->bytes(), "abcdefgh", 8);
  w->header().base.store(100);
  w->header().sent.store(103);
  w->header().placed.store(108);
  EXPECT_EQ(std::string(w->take_unsent()), "defgh");
  EXPECT_EQ(w->look().sent, 108u);
  EXPECT_TRUE(w->take_unsent().empty());
}

struct Offsets {
  const char *name;
  uint64_t base, sent, placed;
};

class InconsistentWindow : public ::testing::TestWithParam<Offsets> {};

TEST_P(InconsistentWindow, IsNeverSentFrom) {
  auto w = make_window();
  ASSERT_NE(w, nullptr);
  const Offsets &o = GetParam();
  w->header().base.store(o.base);
  w->header().sent.store(o.sent);
  w->header().placed.store(o.placed);
  EXPECT_FALSE(w->look().consistent);
  EXPECT_TRUE(w->take_unsent().empty());
  EXPECT_EQ(w->look().sent, o.sent);  // nothing marked sent either
}

INSTANTIATE_TEST_SUITE_P(
    Offsets, InconsistentWindow,
    ::testing::Values(Offsets{"SentBeforeBase", 10, 5, 20}, Offsets{"SentAfterPlaced", 0, 9, 4},
                      Offsets{"PlacedBeyondTheWindow", 0, 0, kWindowBytes + 1},
                      Offsets{"WrappedAround", ~0ull - 5, ~0ull, 10}),
    [](const ::testing::TestParamInfo<Offsets> &info) { return std::string(info.param.name); });

TEST(AnswerWindow, TheLockIsRefusedWhileTheOtherSideHoldsIt) {
  auto w = make_window();
  ASSERT_NE(w, nullptr);
  ASSERT_TRUE(w->lock(AnswerWindow::kWorker, 0));
  EXPECT_FALSE(w->lock(AnswerWindow::kFront, 0));
  const long long before = now_ms();
  EXPECT_FALSE(w->lock(AnswerWindow::kFront, 30));
  EXPECT_GE(now_ms() - before, 30);
  w->unlock();
  EXPECT_TRUE(w->lock(AnswerWindow::kFront, 0));
  EXPECT_EQ(w->header().lock.load(), AnswerWindow::kFront);
}

// ---- the worker's answer --------------------------------------------------------------------

// A worker's answer begun on a client connection, with its window and its channel to the front.
class DirectAnswering : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_NE(w, nullptr);
    answer.begin(client.worker_copy());
  }
  std::unique_ptr<AnswerWindow> w{AnswerWindow::create()};
  Pair client;
  Pair channel;
  DirectAnswer answer{w.get(), channel.fd[1]};
  // Whether the front's end of the channel has a message waiting now.
  bool channel_has_message() {
    char byte;
    return recv(channel.fd[0], &byte, 1, MSG_DONTWAIT | MSG_PEEK) > 0;
  }
};

TEST_F(DirectAnswering, AQuickAnswerReachesTheClientWholeAndEndsTheConnection) {
  ASSERT_TRUE(answer.send(frame("one")));
  ASSERT_TRUE(answer.finish(frame("last")));
  close(client.fd[1]);  // the front closes its copy once it hears of the end
  client.fd[1] = -1;
  EXPECT_EQ(read_to_end(client.fd[0]), frame("one") + frame("last"));
  // The end is said in the window only: nobody asked to be woken for it.
  EXPECT_FALSE(channel_has_message());
  const AnswerWindow::Snapshot s = w->look();
  EXPECT_EQ(s.frames, 2u);
  EXPECT_EQ(s.sent, s.placed);
  EXPECT_NE(s.flags & AnswerWindow::kFinal, 0u);
  EXPECT_NE(s.flags & AnswerWindow::kDone, 0u);
  EXPECT_EQ(s.flags & AnswerWindow::kClientGone, 0u);
}

TEST_F(DirectAnswering, AClientThatTakesLessThanItIsOfferedHoldsTheAnswerUp) {
  ASSERT_TRUE(answer.send(frame("one")));
  EXPECT_FALSE(answer.held_up());
  // The client reads nothing: its socket fills long before the window does.
  const std::string piece = frame(std::string(32 * 1024, 'p'));
  for (int i = 0; i < 24 && !answer.held_up(); ++i) ASSERT_TRUE(answer.send(piece));
  EXPECT_TRUE(answer.held_up());
  // The next answer starts afresh.
  Pair next;
  answer.begin(next.worker_copy());
  EXPECT_FALSE(answer.held_up());
}

TEST_F(DirectAnswering, AFrontThatAskedToHearOfTheEndIsWokenWithAnEmptyMessage) {
  ASSERT_TRUE(answer.send(frame("one")));
  EXPECT_FALSE(channel_has_message());
  w->header().flags.fetch_or(AnswerWindow::kWanted);
  ASSERT_TRUE(answer.finish(frame("last")));
  MessageKind kind;
  std::string payload = "x";
  ASSERT_TRUE(read_message(channel.fd[0], &kind, &payload));
  EXPECT_EQ(kind, MessageKind::kWake);
  EXPECT_EQ(payload, "");  // the frames went to the client, not to the front
  EXPECT_NE(w->look().flags & AnswerWindow::kDone, 0u);
  close(client.fd[1]);
  client.fd[1] = -1;
  EXPECT_EQ(read_to_end(client.fd[0]), frame("one") + frame("last"));
}

TEST_F(DirectAnswering, AnAnswerIsNotDoneBeforeItsEnd) {
  ASSERT_TRUE(answer.send(frame("one")));
  EXPECT_EQ(w->look().flags & AnswerWindow::kDone, 0u);
  w->reset();  // the front's, before the next request: no flag is left over
  EXPECT_EQ(w->look().flags, 0u);
}

TEST_F(DirectAnswering, TheClientSeesTheEndEvenWhileTheFrontStillHoldsTheConnection) {
  ASSERT_TRUE(answer.finish(frame("last")));
  // client.fd[1] (the front's copy) stays open.
  EXPECT_EQ(read_to_end(client.fd[0]), frame("last"));
}

TEST_F(DirectAnswering, WhatWasPlacedButNotSentIsLeftInTheWindowInOrder) {
  std::string expected;
  for (int i = 0; i < 5; ++i) {
    expected += frame("frame" + std::to_string(i));
    ASSERT_TRUE(answer.send(frame("frame" + std::to_string(i))));
  }
  // The worker dies here. Whatever it sent is with the client; the rest is in the window, and
  // together they are every frame once, in order.
  const std::string received = read_now(client.fd[0]);
  ASSERT_TRUE(w->lock(AnswerWindow::kFront, 0));
  EXPECT_EQ(received + std::string(w->take_unsent()), expected);
  EXPECT_EQ(w->look().frames, 5u);
}

TEST_F(DirectAnswering, TheFrontSendsWaitingFramesAndTheWorkerGoesOnAfterThem) {
  ASSERT_TRUE(answer.send(frame("a")));
  ASSERT_TRUE(answer.send(frame("b")));
  std::string got = read_now(client.fd[0]);
  // The front's copy of the connection (end 1) sends whatever still waits.
  const AnswerWindow::Snapshot before = w->look();
  EXPECT_EQ(w->send_waiting(client.fd[1]), before.placed - before.sent);
  EXPECT_EQ(w->look().base, before.base);  // the worker's layout is left alone
  got += read_now(client.fd[0]);
  EXPECT_EQ(got, frame("a") + frame("b"));
  ASSERT_TRUE(answer.send(frame("c")));
  ASSERT_TRUE(answer.finish(frame("last")));
  got += read_to_end(client.fd[0]);
  EXPECT_EQ(got, frame("a") + frame("b") + frame("c") + frame("last"));
}

TEST(DirectAnswer, TheFrontSendsNothingWhileTheWorkerHoldsTheLock) {
  auto w = make_window();
  ASSERT_NE(w, nullptr);
  Pair client;
  std::memcpy(w->bytes(), "xyz", 3);
  w->header().placed.store(3);
  ASSERT_TRUE(w->lock(AnswerWindow::kWorker, 0));
  EXPECT_EQ(w->send_waiting(client.fd[1]), 0u);
  EXPECT_EQ(read_now(client.fd[0]), "");
  w->unlock();
  EXPECT_EQ(w->send_waiting(client.fd[1]), 3u);
  EXPECT_EQ(read_now(client.fd[0]), "xyz");
}

TEST_F(DirectAnswering, ManyFramesInQuickSuccessionAreAllDeliveredOnceInOrder) {
  const std::string one = frame(std::string(1000, 'a'));
  for (int i = 0; i < 15; ++i) ASSERT_TRUE(answer.send(one));
  // 15,000 bytes placed within a millisecond stay below the 64 KiB that force a send, so they
  // may all still wait in the window; the machine may be slower than that, so only the sum is
  // certain.
  std::string received = read_now(client.fd[0]);
  AnswerWindow::Snapshot s = w->look();
  EXPECT_EQ(received.size() + (s.placed - s.sent), 15 * one.size());
  ASSERT_TRUE(answer.send(one));
  ASSERT_TRUE(answer.send(one));
  ASSERT_TRUE(answer.finish(frame("last")));
  received += read_to_end(client.fd[0]);
  std::string expected;
  for (int i = 0; i < 17; ++i) expected += one;
  EXPECT_EQ(received, expected + frame("last"));
}

TEST(DirectAnswer, AFrameWiderThanTheWindowGoesThroughTheFrontAfterWhatCameBefore) {
  auto w = make_window();
  ASSERT_NE(w, nullptr);
  Pair client;
  Pair channel;
  std::string wide = frame(std::string(kWindowBytes + 10, 'w'));
  std::vector<std::pair<MessageKind, std::string>> messages;
  std::thread front([&] {
    MessageKind kind;
    std::string payload;
    while (read_message(channel.fd[0], &kind, &payload)) {
      messages.emplace_back(kind, payload);
      if (kind == MessageKind::kEnd) break;
    }
  });
  {
    DirectAnswer answer(w.get(), channel.fd[1]);
    answer.begin(client.worker_copy());
    ASSERT_TRUE(answer.send(frame("first")));
    ASSERT_TRUE(answer.send(wide));
    ASSERT_TRUE(answer.send(frame("after")));
    ASSERT_TRUE(answer.finish(frame("last")));
  }
  front.join();
  bool ended = false;
  EXPECT_EQ(read_now(client.fd[0], &ended), frame("first"));
  EXPECT_FALSE(ended);  // the front sends the rest and ends the connection
  ASSERT_EQ(messages.size(), 3u);
  EXPECT_EQ(messages[0].first, MessageKind::kFrames);
  EXPECT_EQ(messages[0].second, wide);
  EXPECT_EQ(messages[1].first, MessageKind::kFrames);
  EXPECT_EQ(messages[1].second, frame("after"));
  EXPECT_EQ(messages[2].first, MessageKind::kEnd);
  EXPECT_EQ(messages[2].second, frame("last"));
}

TEST_F(DirectAnswering, AClientThatIsGoneMakesTheFramesDropQuietly) {
  close(client.fd[0]);
  client.fd[0] = -1;
  for (int i = 0; i < 40; ++i) ASSERT_TRUE(answer.send(frame(std::string(1000, 'x'))));
  ASSERT_TRUE(answer.finish(frame("last")));
  const AnswerWindow::Snapshot s = w->look();
  EXPECT_EQ(s.sent, s.placed);  // nothing is left for the front to send either
  // The front learns from the window that the client went away (and logs it).
  EXPECT_NE(s.flags & AnswerWindow::kClientGone, 0u);
  EXPECT_NE(s.flags & AnswerWindow::kDone, 0u);
  EXPECT_FALSE(channel_has_message());
}

TEST(DirectAnswer, WithoutAConnectionEverythingGoesThroughTheFront) {
  Pair channel;
  for (bool with_window : {false, true}) {
    std::unique_ptr<AnswerWindow> w(with_window ? AnswerWindow::create() : nullptr);
    DirectAnswer answer(w.get(), channel.fd[1]);
    answer.begin(-1);
    ASSERT_TRUE(answer.send(frame("one")));
    ASSERT_TRUE(answer.finish(frame("last")));
    MessageKind kind;
    std::string payload;
    ASSERT_TRUE(read_message(channel.fd[0], &kind, &payload));
    EXPECT_EQ(kind, MessageKind::kFrames);
    EXPECT_EQ(payload, frame("one"));
    ASSERT_TRUE(read_message(channel.fd[0], &kind, &payload));
    EXPECT_EQ(kind, MessageKind::kEnd);
    EXPECT_EQ(payload, frame("last"));
  }
}

TEST(DirectAnswer, AConnectionWithoutAWindowIsClosedAndNotUsed) {
  Pair client;
  Pair channel;
  DirectAnswer answer(nullptr, channel.fd[1]);
  answer.begin(client.worker_copy());
  ASSERT_TRUE(answer.finish(frame("last")));
  bool ended = true;
  EXPECT_EQ(read_now(client.fd[0], &ended), "");
  EXPECT_FALSE(ended);
  close(client.fd[1]);
  client.fd[1] = -1;
  EXPECT_EQ(read_to_end(client.fd[0]), "");  // the worker's copy was closed too
}

// Resident pages of [data, data + size) (mincore; the window is shared memory).
std::size_t resident_pages(char *data, std::size_t size) {
  const std::size_t page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
  std::vector<unsigned char> in(size / page);
  if (mincore(data, size, in.data()) != 0) return ~std::size_t(0);
  std::size_t n = 0;
  for (unsigned char c : in) n += c & 1;
  return n;
}

// A client that reads nothing until the worker waits for it, then everything: the worker (on
// a thread of its own) sends pieces frames of piece_size bytes and a last frame.
class SlowClient : public ::testing::Test {
 protected:
  // Runs the worker until it waits for the client; returns since when it waits (0: it never
  // did within five seconds).
  long long start_worker(std::size_t piece_size, int pieces) {
    piece_ = frame(std::string(piece_size, 'p'));
    pieces_ = pieces;
    worker_ = std::thread([this] {
      DirectAnswer answer(w.get(), channel_.fd[1]);
      answer.begin(client_.worker_copy());
      for (int i = 0; i < pieces_; ++i) answer.send(piece_);
      answer.finish(frame("last"));
    });
    long long waiting = 0;
    for (int i = 0; i < 500 && waiting == 0; ++i) {
      waiting = w->header().waiting_ms.load();
      if (waiting == 0) std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return waiting;
  }
  // The client reads to the end (the front's copy closed); the worker is done then.
  void read_all() {
    close(client_.fd[1]);
    client_.fd[1] = -1;
    got = read_to_end(client_.fd[0]);
    worker_.join();
    EXPECT_EQ(got.size(), pieces_ * piece_.size() + frame("last").size());
    EXPECT_EQ(got.substr(got.size() - frame("last").size()), frame("last"));
  }
  void TearDown() override {
    if (worker_.joinable()) read_all();
  }

  std::unique_ptr<AnswerWindow> w{AnswerWindow::create()};
  std::string got;

 private:
  Pair client_;
  Pair channel_;
  std::string piece_;
  int pieces_ = 0;
  std::thread worker_;
};

TEST_F(SlowClient, ALargeAnswerGivesItsWindowPagesBackWhenItEnds) {
  ASSERT_NE(w, nullptr);
  // 2 MiB, and the client reads nothing until the window is full.
  EXPECT_GT(start_worker(100 * 1024, 20), 0);
  // The window is full now: its far pages are resident.
  EXPECT_GT(resident_pages(w->bytes() + kWindowKept, kWindowBytes - kWindowKept), 0u);
  read_all();
  EXPECT_EQ(resident_pages(w->bytes() + kWindowKept, kWindowBytes - kWindowKept), 0u);
}

TEST_F(SlowClient, IsWaitedForAndTheWindowSaysSinceWhen) {
  ASSERT_NE(w, nullptr);
  // 2.5 MiB: more than the window and the socket together.
  EXPECT_GT(start_worker(64 * 1024, 40), 0);
  read_all();
  EXPECT_EQ(w->header().waiting_ms.load(), 0);
}

}  // namespace
}  // namespace hostd
