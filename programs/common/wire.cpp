// wire.cpp - control frames.
#include "wire.h"

namespace wire {

std::string complete_frame() {
  std::string frame(kCompleteToken);
  frame += kTerminator;
  return frame;
}

std::string error_frame(int rc) {
  std::string frame(kErrorToken);
  frame += ':';
  frame += std::to_string(rc);
  frame += kTerminator;
  return frame;
}

FrameKind classify_frame(std::string_view text) {
  if (text.substr(0, kCompleteToken.size()) == kCompleteToken) return FrameKind::kComplete;
  if (text.substr(0, kErrorToken.size()) == kErrorToken) return FrameKind::kError;
  return FrameKind::kData;
}

unsigned long count_frames(std::string_view frames) {
  unsigned long n = 0;
  for (std::size_t at = frames.find(kTerminator); at != std::string_view::npos;
       at = frames.find(kTerminator, at + kTerminator.size())) {
    ++n;
  }
  return n;
}

}  // namespace wire
