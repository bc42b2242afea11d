// request_buffer.cpp - terminator search over a growing request.
#include "request_buffer.h"

#include "wire.h"

namespace hostd {

std::size_t RequestBuffer::room() const {
  if (state_ != State::kIncomplete) return 0;
  return max_bytes_ + 1 - text_.size();
}

RequestBuffer::State RequestBuffer::add(const char *data, std::size_t size) {
  if (state_ != State::kIncomplete) return state_;
  const std::size_t overlap = wire::kTerminator.size() - 1;
  const std::size_t search_from = text_.size() >= overlap ? text_.size() - overlap : 0;
  text_.append(data, size);
  received_ += size;
  const std::size_t end = text_.find(wire::kTerminator, search_from);
  if (end != std::string::npos && end + wire::kTerminator.size() <= max_bytes_) {
    text_.resize(end);
    state_ = State::kComplete;
  } else if (end != std::string::npos || text_.size() > max_bytes_) {
    state_ = State::kTooLarge;
    text_.clear();
    text_.shrink_to_fit();
  }
  return state_;
}

std::string RequestBuffer::take_document() {
  std::string out;
  out.swap(text_);
  return out;
}

}  // namespace hostd
