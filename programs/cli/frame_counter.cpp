// frame_counter.cpp - terminators across piece boundaries.
#include "frame_counter.h"

#include "wire.h"

namespace cli {

int FrameCounter::add(const char *piece) {
  std::string text = tail_ + piece;
  int found = 0;
  std::size_t at = 0;
  while ((at = text.find(wire::kTerminator, at)) != std::string::npos) {
    ++found;
    at += wire::kTerminator.size();
  }
  const std::size_t keep = wire::kTerminator.size() - 1;
  tail_ = text.size() > keep ? text.substr(text.size() - keep) : text;
  total_ += found;
  return found;
}

}  // namespace cli
