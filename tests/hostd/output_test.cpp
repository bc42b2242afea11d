// Tests of the front's output buffer: what waits for a peer, and the memory it keeps.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "front_state.h"

namespace hostd {
namespace {

// A stream of 100 MiB passed through a buffer whose peer always takes all but a little: what
// the buffer holds stays near what waits, instead of growing with the stream.
TEST(Output, AStreamThatNeverDrainsKeepsTheBufferSmall) {
  Output out;
  const std::string frame(1700, 'x');
  std::size_t largest = 0;
  std::string received;
  for (int i = 0; i < 60000; ++i) {
    out.add(frame);
    // The peer takes everything but the last 100 bytes.
    const std::size_t take = out.pending() - 100;
    if (i % 1000 == 0) received.append(out.bytes, out.sent, take);
    out.sent += take;
    largest = std::max(largest, out.bytes.size());
  }
  EXPECT_EQ(out.pending(), 100u);
  EXPECT_LT(largest, 2 * kOutputCompact + 2 * frame.size());
  EXPECT_EQ(received.find_first_not_of('x'), std::string::npos);
}

TEST(Output, BytesComeOutInTheOrderTheyWentIn) {
  Output out;
  std::string all;
  std::string got;
  for (int i = 0; i < 5000; ++i) {
    const std::string piece = std::to_string(i) + ",";
    all += piece;
    out.add(piece);
    const std::size_t take = out.pending() > 7 ? out.pending() - 7 : 0;
    got.append(out.bytes, out.sent, take);
    out.sent += take;
  }
  got.append(out.bytes, out.sent, out.pending());
  EXPECT_EQ(got, all);
}

}  // namespace
}  // namespace hostd
