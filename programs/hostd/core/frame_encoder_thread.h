// frame_encoder_thread.h - a worker's second thread, which encodes the instances of an
// enumeration into frames while the provider makes the next ones.
//
// A provider's returnInstance has to leave the instance to the provider (it may change or
// release it as soon as the call returns), so what the thread gets is a copy the caller made
// and owns no longer: an instance of the object library, whose clone shares nothing with the
// original. The thread encodes each as a response frame of the stream's request type
// (append_response_frame, with the fitting already done by the caller) and releases it, in the
// order they were handed over.
//
// The frames are passed on to the sink by the provider's thread, never by this one: push()
// passes on what is encoded so far, finish() the rest. A provider that crashes kills the whole
// process, and the front can take over a dead worker's answer only when the worker did not die
// inside a send (answer_window.h); the provider's thread is never inside a send while provider
// code runs.
//
// Hand-overs are batched so that neither thread wakes the other per instance:
//  - the thread is woken when kWakeAt instances wait and when the stream is finished;
//  - push() waits while kQueueMax instances wait (memory stays that of a few hundred instances
//    and frames, whatever the size of the enumeration).
//
// A frame that cannot be encoded or passed on fails the stream, logged as the provider
// thread's own failures are (level 2, module 232):
//   "result N of request type T cannot be encoded; the answer ends with an error"
//   "result N of request type T cannot be passed on: <error>"
// The frames encoded before a frame that cannot be encoded are still passed on; the instances
// still waiting are released unencoded, and every later push() refuses.
//
// One stream at a time: begin(), any number of push(), finish(), all from the same thread (the
// one that runs the provider). The thread is started by start() and lives until destruction;
// it blocks every signal, so signals reach the worker's own thread as before.
#ifndef CMPI_HOSTD_FRAME_ENCODER_THREAD_H
#define CMPI_HOSTD_FRAME_ENCODER_THREAD_H

#include <cmpidt.h>
#include <cmpift.h>

#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "frame_sink.h"

namespace hostd {

class FrameEncoderThread {
 public:
  static constexpr std::size_t kWakeAt = 16;
  static constexpr std::size_t kQueueMax = 64;
  // The frames are passed to the sink in pieces of at most this many bytes, or of one frame:
  // the worker's sink places each piece whole in its answer window, and a piece wider than the
  // window would send the rest of the answer the slow way (direct_answer.h).
  static constexpr std::size_t kPieceBytes = 64u << 10;

  struct Outcome {
    unsigned long frames = 0;  // frames passed on in this stream
    bool failed = false;
  };

  FrameEncoderThread() = default;
  ~FrameEncoderThread();  // finishes a stream still open, stops and joins the thread
  FrameEncoderThread(const FrameEncoderThread &) = delete;
  FrameEncoderThread &operator=(const FrameEncoderThread &) = delete;

  // Starts the thread unless it runs; false when it cannot be started (the caller then encodes
  // on its own thread). Logs nothing.
  bool start();
  bool running() const { return thread_.joinable(); }

  // Opens a stream of frames of request type `type` into sink; results_before is the number of
  // results of the answer already passed on, so that failures name the right result.
  void begin(int type, FrameSink *sink, unsigned long results_before);
  // Takes inst (owned from here on; released by the thread), then passes on the frames
  // encoded so far. false, with inst released at once, when the stream has failed or the
  // thread does not run (start() first).
  bool push(CMPIInstance *inst);
  // Waits until every instance pushed is encoded (or released after a failure), passes the
  // frames on, and closes the stream. Without an open stream it returns an empty outcome.
  Outcome finish();
  bool open() const { return open_; }

 private:
  void run();
  // Encodes into *out; false when the frame cannot be encoded (logged).
  bool encode(CMPIInstance *inst, int type, unsigned long number, std::string *out);
  // On the provider's thread, with the lock held by `lock`: hands the frames encoded so far
  // to the sink (outside the lock).
  void pass_on(std::unique_lock<std::mutex> &lock);

  std::mutex mutex_;
  std::condition_variable work_;  // the thread waits here for instances
  std::condition_variable room_;  // push() waits here for room, finish() for the end
  std::vector<CMPIInstance *> waiting_;
  // Frames encoded and not yet passed on, one piece per batch (moved, never copied, under the
  // lock).
  struct Encoded {
    std::string frames;
    unsigned long count = 0;
  };
  std::vector<Encoded> encoded_;
  unsigned long encoded_total_ = 0;  // frames encoded in this stream
  bool thread_sleeps_ = false;
  bool thread_busy_ = false;
  bool finishing_ = false;
  bool stopping_ = false;
  bool pusher_waits_ = false;
  bool failed_ = false;     // the stream failed; nothing more is encoded
  int type_ = 0;
  unsigned long results_before_ = 0;
  // The provider's thread only.
  bool open_ = false;
  FrameSink *sink_ = nullptr;
  bool sink_failed_ = false;
  unsigned long passed_on_ = 0;
  std::vector<Encoded> passing_;
  std::thread thread_;
};

}  // namespace hostd

#endif  // CMPI_HOSTD_FRAME_ENCODER_THREAD_H
