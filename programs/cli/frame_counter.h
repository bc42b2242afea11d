// frame_counter.h - counting frame terminators in a stream that arrives in pieces.
#ifndef CMPI_CLI_FRAME_COUNTER_H
#define CMPI_CLI_FRAME_COUNTER_H

#include <string>

namespace cli {

// Counts the "CMPI_EOF" terminators of a stream, also those split across pieces: the last
// characters of a piece that may begin a terminator are kept for the next one.
class FrameCounter {
 public:
  // How many terminators end in this piece (a NUL-terminated text).
  int add(const char *piece);
  // How many terminators have ended so far.
  int total() const { return total_; }

 private:
  std::string tail_;
  int total_ = 0;
};

}  // namespace cli

#endif  // CMPI_CLI_FRAME_COUNTER_H
