// Tests of the request buffer: finding the terminator however the bytes arrive, the size limit
// (terminator included), room() and taking the document out.
#include "request_buffer.h"

#include <gtest/gtest.h>

#include <string>

namespace hostd {
namespace {

using State = RequestBuffer::State;

constexpr std::size_t kLarge = 1u << 20;

State add(RequestBuffer *buffer, const std::string &text) {
  return buffer->add(text.data(), text.size());
}

TEST(RequestBuffer, StartsIncompleteWithRoomForOneByteMoreThanTheLimit) {
  RequestBuffer buffer(100);
  EXPECT_EQ(buffer.state(), State::kIncomplete);
  EXPECT_EQ(buffer.room(), 101u);
  EXPECT_EQ(buffer.size(), 0u);
  EXPECT_EQ(buffer.received(), 0u);
}

TEST(RequestBuffer, FrameInOnePiece) {
  RequestBuffer buffer(kLarge);
  EXPECT_EQ(add(&buffer, "{\"RequestType\":1}CMPI_EOF"), State::kComplete);
  EXPECT_EQ(buffer.state(), State::kComplete);
  EXPECT_EQ(buffer.size(), 17u);
  EXPECT_EQ(buffer.take_document(), "{\"RequestType\":1}");
}

TEST(RequestBuffer, EmptyDocument) {
  RequestBuffer buffer(kLarge);
  EXPECT_EQ(add(&buffer, "CMPI_EOF"), State::kComplete);
  EXPECT_EQ(buffer.take_document(), "");
}

// The frame cut in two at every position, and in three at every pair of positions.
TEST(RequestBuffer, TerminatorFoundWhereverTheFrameIsCut) {
  const std::string frame = "{\"a\":\"CMPI_EO\"}CMPI_EOF";
  const std::string document = frame.substr(0, frame.size() - 8);
  for (std::size_t i = 1; i < frame.size(); ++i) {
    RequestBuffer buffer(kLarge);
    EXPECT_EQ(add(&buffer, frame.substr(0, i)), State::kIncomplete) << "cut at " << i;
    EXPECT_EQ(add(&buffer, frame.substr(i)), State::kComplete) << "cut at " << i;
    EXPECT_EQ(buffer.take_document(), document) << "cut at " << i;
    for (std::size_t j = i + 1; j < frame.size(); ++j) {
      RequestBuffer three(kLarge);
      add(&three, frame.substr(0, i));
      EXPECT_EQ(add(&three, frame.substr(i, j - i)), State::kIncomplete) << i << "," << j;
      EXPECT_EQ(add(&three, frame.substr(j)), State::kComplete) << i << "," << j;
      EXPECT_EQ(three.take_document(), document) << i << "," << j;
    }
  }
}

TEST(RequestBuffer, TerminatorFoundFedOneByteAtATime) {
  const std::string frame = "CMPI_ECMPI_CMPI_EOCMPI_EOF";
  RequestBuffer buffer(kLarge);
  for (std::size_t i = 0; i + 1 < frame.size(); ++i) {
    ASSERT_EQ(buffer.add(&frame[i], 1), State::kIncomplete) << "byte " << i;
  }
  EXPECT_EQ(buffer.add(&frame.back(), 1), State::kComplete);
  EXPECT_EQ(buffer.take_document(), "CMPI_ECMPI_CMPI_EO");
}

TEST(RequestBuffer, EmptyAddChangesNothing) {
  RequestBuffer buffer(kLarge);
  EXPECT_EQ(add(&buffer, "CMPI_"), State::kIncomplete);
  EXPECT_EQ(buffer.add("", 0), State::kIncomplete);
  EXPECT_EQ(add(&buffer, "EOF"), State::kComplete);
  EXPECT_EQ(buffer.take_document(), "");
}

// ---- the limit ---------------------------------------------------------------------------------

TEST(RequestBuffer, FrameOfExactlyTheLimitIsComplete) {
  const std::size_t limit = 64;
  const std::string document(limit - 8, 'd');
  RequestBuffer buffer(limit);
  EXPECT_EQ(add(&buffer, document + "CMPI_EOF"), State::kComplete);
  EXPECT_EQ(buffer.take_document(), document);
}

TEST(RequestBuffer, FrameOneByteOverTheLimitIsTooLarge) {
  const std::size_t limit = 64;
  const std::string frame = std::string(limit - 7, 'd') + "CMPI_EOF";
  RequestBuffer buffer(limit);
  EXPECT_EQ(add(&buffer, frame), State::kTooLarge);
  EXPECT_EQ(buffer.state(), State::kTooLarge);
  EXPECT_EQ(buffer.size(), 0u);  // nothing is held on to
  EXPECT_EQ(buffer.room(), 0u);
}

TEST(RequestBuffer, LimitHoldsWhenTheBytesComeOneByOne) {
  const std::size_t limit = 40;
  for (std::size_t length : {limit - 8, limit - 7}) {
    const std::string frame = std::string(length, 'd') + "CMPI_EOF";
    RequestBuffer buffer(limit);
    State state = State::kIncomplete;
    for (std::size_t i = 0; i < frame.size(); ++i) {
      ASSERT_EQ(state, State::kIncomplete) << "byte " << i;
      ASSERT_GE(buffer.room(), 1u);
      state = buffer.add(&frame[i], 1);
    }
    EXPECT_EQ(state, length == limit - 8 ? State::kComplete : State::kTooLarge) << length;
  }
}

TEST(RequestBuffer, NoTerminatorWithinTheLimitIsTooLargeAtTheFirstByteBeyond) {
  const std::size_t limit = 32;
  RequestBuffer buffer(limit);
  EXPECT_EQ(add(&buffer, std::string(limit, 'x')), State::kIncomplete);
  EXPECT_EQ(buffer.room(), 1u);
  EXPECT_EQ(add(&buffer, "x"), State::kTooLarge);
}

TEST(RequestBuffer, TooLargeStaysTooLarge) {
  RequestBuffer buffer(16);
  EXPECT_EQ(add(&buffer, std::string(17, 'x')), State::kTooLarge);
  EXPECT_EQ(add(&buffer, "CMPI_EOF"), State::kTooLarge);
  EXPECT_EQ(buffer.state(), State::kTooLarge);
  EXPECT_EQ(buffer.take_document(), "");
}

TEST(RequestBuffer, RoomShrinksAsBytesArrive) {
  RequestBuffer buffer(100);
  add(&buffer, std::string(30, 'a'));
  EXPECT_EQ(buffer.room(), 71u);
  add(&buffer, "CMPI_EO");
  EXPECT_EQ(buffer.room(), 64u);
  EXPECT_EQ(buffer.size(), 37u);
  add(&buffer, "F");
  EXPECT_EQ(buffer.state(), State::kComplete);
  EXPECT_EQ(buffer.room(), 0u);
}

// ---- what follows the terminator ---------------------------------------------------------------

TEST(RequestBuffer, BytesAfterTheTerminatorAreIgnored) {
  RequestBuffer buffer(kLarge);
  EXPECT_EQ(add(&buffer, "docCMPI_EOFjunkCMPI_EOF"), State::kComplete);
  EXPECT_EQ(buffer.size(), 3u);
  EXPECT_EQ(buffer.received(), 23u);
  EXPECT_EQ(add(&buffer, "more"), State::kComplete);
  EXPECT_EQ(buffer.received(), 23u);  // nothing more is taken in
  EXPECT_EQ(buffer.size(), 3u);
  EXPECT_EQ(buffer.take_document(), "doc");
}

// The limit is about the frame: bytes behind it in the same piece do not make it too large.
TEST(RequestBuffer, BytesAfterAFrameAtTheLimitDoNotMakeItTooLarge) {
  const std::size_t limit = 24;
  const std::string document(limit - 8, 'd');
  RequestBuffer buffer(limit);
  EXPECT_EQ(add(&buffer, document + "CMPI_EOF" + std::string(100, 'j')), State::kComplete);
  EXPECT_EQ(buffer.take_document(), document);
}

TEST(RequestBuffer, TakeDocumentEmptiesTheBuffer) {
  RequestBuffer buffer(kLarge);
  add(&buffer, "abcCMPI_EOF");
  EXPECT_EQ(buffer.take_document(), "abc");
  EXPECT_EQ(buffer.size(), 0u);
  EXPECT_EQ(buffer.take_document(), "");
  EXPECT_EQ(buffer.state(), State::kComplete);
}

TEST(RequestBuffer, ReceivedCountsEveryByteTakenIn) {
  RequestBuffer buffer(kLarge);
  add(&buffer, "ab");
  add(&buffer, "cdeCMP");
  EXPECT_EQ(buffer.received(), 8u);
  EXPECT_EQ(buffer.size(), 8u);
  add(&buffer, "I_EOF");
  EXPECT_EQ(buffer.received(), 13u);
  EXPECT_EQ(buffer.size(), 5u);
}

}  // namespace
}  // namespace hostd
