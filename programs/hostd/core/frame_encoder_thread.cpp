// frame_encoder_thread.cpp - encoding an enumeration's frames beside the provider.
#include "frame_encoder_thread.h"

#include <cmpimacs.h>
#include <signal.h>

#include <cerrno>
#include <cstring>
#include <system_error>

#include "log.h"
#include "response_frames.h"

namespace hostd {
FrameEncoderThread::~FrameEncoderThread() {
  finish();
  if (!thread_.joinable()) return;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    stopping_ = true;
  }
  work_.notify_one();
  thread_.join();
}

bool FrameEncoderThread::start() {
  if (thread_.joinable()) return true;
  // The new thread takes the creating thread's signal mask: every signal stays with the
  // worker's own thread, whose handling (and a provider's) is what it was before.
  sigset_t all;
  sigset_t before;
  sigfillset(&all);
  if (pthread_sigmask(SIG_SETMASK, &all, &before) != 0) return false;
  try {
    thread_ = std::thread(&FrameEncoderThread::run, this);
  } catch (const std::system_error &) {
    // No thread (a limit on processes or address space): the caller encodes on its own.
  }
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
  return thread_.joinable();
}

void FrameEncoderThread::begin(int type, FrameSink *sink, unsigned long results_before) {
  std::lock_guard<std::mutex> lock(mutex_);
  type_ = type;
  results_before_ = results_before;
  encoded_.clear();
  encoded_total_ = 0;
  failed_ = false;
  sink_ = sink;
  sink_failed_ = false;
  passed_on_ = 0;
  open_ = true;
}

bool FrameEncoderThread::push(CMPIInstance *inst) {
  if (!running()) {
    CMRelease(inst);
    return false;
  }
  std::unique_lock<std::mutex> lock(mutex_);
  while (waiting_.size() >= kQueueMax && !failed_) {
    pusher_waits_ = true;
    room_.wait(lock);
  }
  if (failed_) {
    pass_on(lock);
    lock.unlock();
    CMRelease(inst);
    return false;
  }
  waiting_.push_back(inst);
  if (thread_sleeps_ && waiting_.size() >= kWakeAt) work_.notify_one();
  pass_on(lock);
  return !failed_;
}

FrameEncoderThread::Outcome FrameEncoderThread::finish() {
  Outcome outcome;
  if (!open_) return outcome;
  std::unique_lock<std::mutex> lock(mutex_);
  finishing_ = true;
  if (thread_sleeps_) work_.notify_one();
  while (!waiting_.empty() || thread_busy_) room_.wait(lock);
  finishing_ = false;
  pass_on(lock);
  open_ = false;
  outcome.frames = passed_on_;
  outcome.failed = failed_;
  return outcome;
}

void FrameEncoderThread::pass_on(std::unique_lock<std::mutex> &lock) {
  if (encoded_.empty()) return;
  passing_.swap(encoded_);
  if (sink_failed_) {  // the sink takes nothing more: the frames are dropped
    passing_.clear();
    return;
  }
  lock.unlock();
  bool refused = false;
  int error = 0;
  for (const Encoded &piece : passing_) {
    if (!sink_->send(piece.frames)) {
      error = errno;
      refused = true;
      break;
    }
    passed_on_ += piece.count;
  }
  // The pieces go now, not with the next stream: an idle worker keeps none of their memory.
  passing_.clear();
  lock.lock();
  if (!refused) return;
  HOSTD_ERROR("result %lu of request type %d cannot be passed on: %s",
              results_before_ + passed_on_ + 1, type_, std::strerror(error));
  sink_failed_ = true;
  failed_ = true;
}

void FrameEncoderThread::run() {
  std::vector<CMPIInstance *> batch;
  std::vector<Encoded> pieces;
  std::unique_lock<std::mutex> lock(mutex_);
  for (;;) {
    while (!stopping_ && waiting_.size() < kWakeAt && !(finishing_ && !waiting_.empty())) {
      thread_sleeps_ = true;
      work_.wait(lock);
      thread_sleeps_ = false;
    }
    if (waiting_.empty()) {
      if (stopping_) return;
      continue;
    }
    batch.swap(waiting_);
    thread_busy_ = true;
    const bool skip = failed_;
    const int type = type_;
    const unsigned long first = results_before_ + encoded_total_ + 1;
    if (pusher_waits_) {
      pusher_waits_ = false;
      room_.notify_one();
    }
    lock.unlock();

    unsigned long count = 0;
    bool failed = skip;
    Encoded piece;
    for (CMPIInstance *inst : batch) {
      const std::size_t before = piece.frames.size();
      if (!failed && encode(inst, type, first + count, &piece.frames)) {
        ++count;
        if (before > 0 && piece.frames.size() > kPieceBytes) {
          // The new frame begins the next piece.
          Encoded next{piece.frames.substr(before), 1};
          piece.frames.resize(before);
          pieces.push_back(std::move(piece));
          piece = std::move(next);
        } else {
          ++piece.count;
        }
      } else {
        failed = true;
      }
      CMRelease(inst);
    }
    batch.clear();
    if (piece.count > 0) pieces.push_back(std::move(piece));

    lock.lock();
    for (Encoded &done : pieces) encoded_.push_back(std::move(done));
    pieces.clear();
    encoded_total_ += count;
    if (failed) failed_ = true;
    thread_busy_ = false;
    if (finishing_ && waiting_.empty()) room_.notify_one();
  }
}

bool FrameEncoderThread::encode(CMPIInstance *inst, int type, unsigned long number,
                                std::string *out) {
  ResponseParts parts;
  parts.instance = inst;
  parts.fitted = true;
  if (append_response_frame(type, parts, out)) return true;
  HOSTD_ERROR("result %lu of request type %d cannot be encoded; the answer ends with an error",
              number, type);
  return false;
}

}  // namespace hostd
