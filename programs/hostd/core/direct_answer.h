// direct_answer.h - a worker writes its answer to the client itself, through the answer
// window (answer_window.h).
//
// Per request: begin() with the client's connection the front passed (or -1: none came, and
// everything goes through the front as kFrames/kEnd messages, as when no window could be
// mapped); send() for the frames the providers produce; finish() with the final frames.
//  - Frames are placed in the window whole and sent from there: at once when the last send was
//    more than kSendAfterMs ago (a provider that returns one result now and then has each one
//    reach the client at once), otherwise once kSendAtBytes wait (a fast provider's frames go
//    out several per system call). Placing never blocks; sending never blocks with the lock
//    held.
//  - When the window is full the worker waits for the client to read (the front sees it
//    waiting in the window and drops a client that reads nothing for the provider time-out by
//    shutting the connection, which ends the wait).
//  - Frames wider than the window: everything placed is sent first, then these and everything
//    after them go through the front, in order.
//  - A client that is gone (the connection refuses more bytes) makes send() drop frames and
//    still return true: the provider runs on; the window says so (kClientGone) and the front
//    logs the client's going.
//  - finish() marks the answer final, sends the rest, shuts the connection for writing (the
//    client sees the end even while the front still holds it), closes the worker's copy and
//    marks the answer done in the window (kDone), waking the front with a kWake message only
//    when it asked for that (kWanted); an answer that used more than kWindowKept of the window
//    gives the pages beyond that back. Without a connection (or once the answer went on through
//    the front) the end is a kEnd message with the last frames, as before.
#ifndef CMPI_HOSTD_DIRECT_ANSWER_H
#define CMPI_HOSTD_DIRECT_ANSWER_H

#include <cstddef>
#include <string>
#include <string_view>

#include "answer_window.h"
#include "frame_sink.h"

namespace hostd {

inline constexpr long long kSendAfterMs = 1;
inline constexpr std::size_t kSendAtBytes = 64u << 10;
// After an answer that used more of the window than this, the rest of its pages are given back.
inline constexpr std::size_t kWindowKept = 64u << 10;

class DirectAnswer : public FrameSink {
 public:
  // window may be nullptr (every answer through the front); channel_fd is the worker's end of
  // the channel to the front. Neither is owned.
  DirectAnswer(AnswerWindow *window, int channel_fd) : window_(window), channel_(channel_fd) {}
  ~DirectAnswer() override;

  // A new answer; client is the connection passed with the request (owned from here on), or
  // -1.
  void begin(int client);
  bool send(const std::string &frames) override;
  // The client's socket took less than it was offered (or nothing) at least once since begin().
  bool held_up() const override { return held_up_; }
  // The final frames; false when the channel to the front failed.
  bool finish(const std::string &last);

 private:
  bool direct() const { return client_ >= 0 && !relayed_; }
  // Places frames in the window, making room first; false when they cannot fit at all.
  bool place(std::string_view frames);
  // Sends what is placed: as much as the socket takes now, or (wait) all of it.
  void send_placed(bool wait);
  // One send under the lock; false when the socket takes nothing more now.
  bool send_once();
  // Moves the unsent bytes to the start of the window (under the lock).
  void compact();
  void drop_client();
  // After an answer that used more than kWindowKept of the window: the pages beyond it go back.
  void release_pages();
  // Closes the worker's copy of the connection; answered: the whole answer went out here, so
  // the connection is also shut for writing (the client sees the end at once).
  void close_client(bool answered);

  AnswerWindow *window_;
  int channel_;
  int client_ = -1;
  bool relayed_ = false;     // frames went through the front: all the rest does too
  bool client_gone_ = false;
  bool held_up_ = false;
  long long last_send_ms_ = 0;
  std::size_t widest_ = 0;   // the most of the window this answer has used
};

}  // namespace hostd

#endif  // CMPI_HOSTD_DIRECT_ANSWER_H
