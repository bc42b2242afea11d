// answer_pipe.cpp - the bounded hand-over of an answer from serve() to the HTTP answer.
#include "answer_pipe.h"

#include <algorithm>
#include <cstring>

namespace wbem {

// Waiters are woken after the lock is released, so that they do not wake only to wait for it.

void AnswerPipe::protocol_error(int http_status, const std::string &cim_error) {
  std::unique_lock<std::mutex> lock(mutex_);
  if (end_ != End::kOpen) return;
  if (held() > 0 || offset_ > 0) {
    // Bytes were already written: the contract was broken; the answer can only break off.
    fail_status_ = 1;
    fail_description_ = "internal error";
    end_ = End::kFailed;
  } else {
    http_status_ = http_status;
    cim_error_ = cim_error;
    end_ = End::kProtocolError;
  }
  lock.unlock();
  changed_.notify_all();
}

void AnswerPipe::write(const char *data, std::size_t size) {
  std::unique_lock<std::mutex> lock(mutex_);
  while (size > 0) {
    if (abandoned_ || end_ != End::kOpen) return;
    // Before the shape is given, fill up to the capacity (then the answer streams); afterwards
    // wait for the reader to make room.
    changed_.wait(lock, [&] { return abandoned_ || hold_all_ || held() < capacity_; });
    if (abandoned_) return;
    std::size_t piece = hold_all_ ? size : std::min(capacity_ - held(), size);
    if (offset_ > 0 && offset_ >= buffer_.size() / 2) {
      buffer_.erase(0, offset_);
      offset_ = 0;
    }
    buffer_.append(data, piece);
    peak_ = std::max(peak_, held());
    data += piece;
    size -= piece;
    lock.unlock();
    changed_.notify_all();
    if (size > 0) lock.lock();
  }
}

void AnswerPipe::finish() {
  {
    std::lock_guard<std::mutex> lock(mutex_);
    if (end_ == End::kOpen) end_ = End::kFinished;
  }
  changed_.notify_all();
}

void AnswerPipe::fail(int cim_status, const std::string &description) {
  {
    std::lock_guard<std::mutex> lock(mutex_);
    if (end_ != End::kOpen) return;
    fail_status_ = cim_status;
    fail_description_ = description;
    end_ = End::kFailed;
  }
  changed_.notify_all();
}

AnswerPipe::Shape AnswerPipe::wait_for_shape() {
  std::unique_lock<std::mutex> lock(mutex_);
  changed_.wait(lock, [&] { return end_ != End::kOpen || (!hold_all_ && held() >= capacity_); });
  if (end_ == End::kFinished && (!hold_all_ || held() <= capacity_)) return Shape::kWhole;
  if (end_ == End::kProtocolError) return Shape::kProtocolError;
  return Shape::kStream;
}

std::string AnswerPipe::take_whole() {
  std::lock_guard<std::mutex> lock(mutex_);
  std::string body = offset_ == 0 ? std::move(buffer_) : buffer_.substr(offset_);
  buffer_.clear();
  offset_ = 0;
  return body;
}

std::size_t AnswerPipe::read(char *out, std::size_t max) {
  std::unique_lock<std::mutex> lock(mutex_);
  changed_.wait(lock, [&] { return held() > 0 || end_ != End::kOpen; });
  std::size_t n = std::min(max, held());
  if (n == 0) return 0;
  std::memcpy(out, buffer_.data() + offset_, n);
  offset_ += n;
  if (offset_ == buffer_.size()) {
    buffer_.clear();
    offset_ = 0;
  }
  lock.unlock();
  changed_.notify_all();
  return n;
}

AnswerPipe::End AnswerPipe::end() {
  std::lock_guard<std::mutex> lock(mutex_);
  return end_;
}

void AnswerPipe::abandon() {
  {
    std::lock_guard<std::mutex> lock(mutex_);
    abandoned_ = true;
    buffer_.clear();
    offset_ = 0;
  }
  changed_.notify_all();
}

std::size_t AnswerPipe::peak_held() {
  std::lock_guard<std::mutex> lock(mutex_);
  return peak_;
}

}  // namespace wbem
