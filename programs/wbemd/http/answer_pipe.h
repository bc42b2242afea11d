// answer_pipe.h - the bounded buffer between CimService::serve() and the HTTP answer.
//
// serve() runs on the connection's producer thread (answer_producer.h) and writes into the pipe
// (it is the AnswerSink); the HTTP side first waits for the answer's shape (wait_for_shape): a
// whole small answer (sent with Content-Length), a protocol error, or a stream (more than
// `capacity` bytes before the end, or a failure). For a stream it then reads pieces (read) as
// libmicrohttpd asks for them. write() blocks while `capacity` bytes wait unread, so the daemon
// holds at most about `capacity` bytes of an answer however large the answer is. Once the reader
// is gone (abandon: the client went away), write() drops what it is given so that serve() runs
// to its end without blocking.
//
// A pipe made to hold everything (hold_all) never blocks write(): it is for an answer that
// serve() holds whole anyway (CimService::answers_at_once) and writes before anyone reads. Its
// shape, once serve() has returned, is kWhole when it finished within `capacity` bytes and
// kStream otherwise, so that the client sees the same framing either way.
#ifndef CMPI_WBEMD_HTTP_ANSWER_PIPE_H
#define CMPI_WBEMD_HTTP_ANSWER_PIPE_H

#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <string>

#include "exchange.h"

namespace wbem {

class AnswerPipe : public AnswerSink {
 public:
  explicit AnswerPipe(std::size_t capacity, bool hold_all = false)
      : capacity_(capacity == 0 ? 1 : capacity), hold_all_(hold_all) {}

  // AnswerSink, called by serve()'s thread.
  void protocol_error(int http_status, const std::string &cim_error) override;
  void write(const char *data, std::size_t size) override;
  void finish() override;
  void fail(int cim_status, const std::string &description) override;

  enum class Shape { kWhole, kProtocolError, kStream };
  enum class End { kOpen, kFinished, kFailed, kProtocolError };

  // Blocks until the answer's shape is known. For kWhole, take_whole() gives the body.
  Shape wait_for_shape();
  std::string take_whole();
  int http_status() const { return http_status_; }
  const std::string &cim_error() const { return cim_error_; }

  // Copies up to max bytes of the stream into out, blocking until some are there or the answer
  // has ended. Returns the count; 0 means the answer has ended (see end()).
  std::size_t read(char *out, std::size_t max);
  End end();
  int fail_status() const { return fail_status_; }
  const std::string &fail_description() const { return fail_description_; }

  // The reader is gone: wake and unblock the writer; later writes are dropped.
  void abandon();

  // Largest number of unread bytes held at once (for tests of the memory bound).
  std::size_t peak_held();

 private:
  std::size_t held() const { return buffer_.size() - offset_; }

  const std::size_t capacity_;
  const bool hold_all_;
  std::mutex mutex_;
  std::condition_variable changed_;
  std::string buffer_;
  std::size_t offset_ = 0;
  std::size_t peak_ = 0;
  End end_ = End::kOpen;
  bool abandoned_ = false;
  int http_status_ = 200;
  std::string cim_error_;
  int fail_status_ = 0;
  std::string fail_description_;
};

}  // namespace wbem

#endif  // CMPI_WBEMD_HTTP_ANSWER_PIPE_H
