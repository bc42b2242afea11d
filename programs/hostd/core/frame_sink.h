// frame_sink.h - where a worker's response frames go.
#ifndef CMPI_HOSTD_FRAME_SINK_H
#define CMPI_HOSTD_FRAME_SINK_H

#include <string>

namespace hostd {

class FrameSink {
 public:
  virtual ~FrameSink() = default;
  // Passes whole frames on; false when they cannot go anywhere any more.
  virtual bool send(const std::string &frames) = 0;
  // The receiver has, at least once in this answer, taken less than it was offered: it reads
  // slower than the answer is made, so making it faster gains nothing.
  virtual bool held_up() const { return false; }
};

// A sink that keeps everything (for tests and for answers built in one piece).
class StringSink : public FrameSink {
 public:
  bool send(const std::string &frames) override {
    text += frames;
    return true;
  }
  std::string text;
};

}  // namespace hostd

#endif  // CMPI_HOSTD_FRAME_SINK_H
