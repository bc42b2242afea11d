// answer_producer.cpp - one kept thread per connection that runs serve().
#include "answer_producer.h"

#include <system_error>

namespace wbem {

void serve_into(CimService &service, const CimCall &call, AnswerPipe &pipe) {
  service.serve(call, pipe);
  // serve() must end every answer; one it left open breaks off rather than looking whole.
  if (pipe.end() == AnswerPipe::End::kOpen) pipe.fail(1, "the answer was left incomplete");
}

AnswerProducer::~AnswerProducer() {
  {
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait(lock, [&] { return call_ == nullptr; });
    stopping_ = true;
  }
  changed_.notify_all();
  if (thread_.joinable()) thread_.join();
}

bool AnswerProducer::start(const CimCall &call, AnswerPipe &pipe) {
  std::unique_lock<std::mutex> lock(mutex_);
  changed_.wait(lock, [&] { return call_ == nullptr; });
  if (!thread_.joinable()) {
    try {
      thread_ = std::thread([this] { run(); });
    } catch (const std::system_error &) {
      return false;
    }
  }
  call_ = &call;
  pipe_ = &pipe;
  lock.unlock();
  changed_.notify_all();
  return true;
}

void AnswerProducer::wait_idle() {
  std::unique_lock<std::mutex> lock(mutex_);
  changed_.wait(lock, [&] { return call_ == nullptr; });
}

void AnswerProducer::run() {
  std::unique_lock<std::mutex> lock(mutex_);
  for (;;) {
    changed_.wait(lock, [&] { return stopping_ || call_ != nullptr; });
    if (call_ == nullptr) return;  // stopping, and nothing left to run
    const CimCall &call = *call_;
    AnswerPipe &pipe = *pipe_;
    lock.unlock();
    serve_into(service_, call, pipe);
    lock.lock();
    call_ = nullptr;
    pipe_ = nullptr;
    lock.unlock();
    changed_.notify_all();
    lock.lock();
  }
}

}  // namespace wbem
