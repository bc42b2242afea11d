// answer_producer.h - the thread that runs CimService::serve() for the answers of one
// connection.
//
// A streamed answer's serve() must run beside the HTTP side, which reads the answer out of an
// AnswerPipe while it is being written (answer_pipe.h). Rather than a new thread per request,
// each connection keeps one producer: its thread starts with the connection's first streamed
// answer and waits, between answers, for the next one; it ends when the producer is destroyed
// (the connection closed and the last answer released it, see http_server.cpp). A connection
// serves one request at a time, so one thread per connection is enough; it costs a thread start
// per connection instead of one per request. (Answers held whole do not need it: they are made
// on the connection's own thread, CimService::answers_at_once.)
//
// The producer runs one answer at a time: start() hands it a call and a pipe, and serve_into()
// runs with them. Neither the call nor the pipe is owned: both must stay alive until
// wait_idle() has returned.
#ifndef CMPI_WBEMD_HTTP_ANSWER_PRODUCER_H
#define CMPI_WBEMD_HTTP_ANSWER_PRODUCER_H

#include <condition_variable>
#include <mutex>
#include <thread>

#include "answer_pipe.h"
#include "exchange.h"

namespace wbem {

// Runs service.serve(call, pipe) on the calling thread; an answer that serve() left open is
// failed afterwards ("the answer was left incomplete"), so that it breaks off rather than
// looking whole.
void serve_into(CimService &service, const CimCall &call, AnswerPipe &pipe);

class AnswerProducer {
 public:
  // The service must outlive the producer.
  explicit AnswerProducer(CimService &service) : service_(service) {}
  // Waits for the running answer to end (abandon its pipe first if its reader is gone), then
  // ends the thread.
  ~AnswerProducer();
  AnswerProducer(const AnswerProducer &) = delete;
  AnswerProducer &operator=(const AnswerProducer &) = delete;

  // Runs serve_into(service, call, pipe) on the producer's thread (started on first use), after
  // the previous answer has ended. false when the thread cannot be started (nothing runs then).
  bool start(const CimCall &call, AnswerPipe &pipe);

  // Blocks until the answer started last has left serve() and the producer no longer touches
  // its call or pipe. Returns at once when nothing runs.
  void wait_idle();

 private:
  void run();

  CimService &service_;
  std::mutex mutex_;
  std::condition_variable changed_;
  const CimCall *call_ = nullptr;  // the answer to run or running; null when idle
  AnswerPipe *pipe_ = nullptr;
  bool stopping_ = false;
  std::thread thread_;
};

}  // namespace wbem

#endif  // CMPI_WBEMD_HTTP_ANSWER_PRODUCER_H
