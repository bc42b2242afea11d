// front_state.h - the front's state, shared by front.cpp (connections, signals, shutdown) and
// front_workers.cpp (workers and their channels). Not for use outside the front.
#ifndef CMPI_HOSTD_FRONT_STATE_H
#define CMPI_HOSTD_FRONT_STATE_H

#include <sys/types.h>

#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "admission.h"
#include "answer_window.h"
#include "channel.h"
#include "clock.h"
#include "front.h"
#include "refusal_limiter.h"
#include "request_buffer.h"
#include "worker_pool.h"

namespace hostd {

// A pending output: bytes written from `sent` on.
// Bytes waiting to go to a peer; sent counts those already gone. add() drops the sent ones
// once they are 64 KiB or more and no fewer than those still waiting, so the buffer holds
// about twice what waits, however long the stream.
inline constexpr std::size_t kOutputCompact = 64u << 10;
struct Output {
  std::string bytes;
  std::size_t sent = 0;
  std::size_t pending() const { return bytes.size() - sent; }
  void add(std::string_view more);
};

struct Connection {
  enum class Phase { kReading, kQueued, kServing, kClosing };
  int id = 0;
  int fd = -1;
  PeerCredentials peer;
  PeerKind kind = PeerKind::kSelf;
  Phase phase = Phase::kReading;
  RequestBuffer request;
  Deadline read_deadline;
  std::string document;  // a complete request, until it is handed to a worker
  RequestFacts facts;
  Principal principal;
  std::string what;  // "<operation> of <class> for <user>", for the log
  Output out;
  long long out_progress = 0;  // when output last moved (or was added to an empty buffer)
  bool client_gone = false;    // the client closed or stopped reading: answers are dropped
  bool counted = false;        // counted against its user's connection limit
  int worker = 0;              // serving: the worker's id
  unsigned long frames = 0;    // frame messages passed on
  uint32_t events = 0;         // what epoll watches now
  bool registered = false;     // added to epoll
  explicit Connection(std::size_t max_request) : request(max_request) {}
};

struct WorkerChannel {
  int id = 0;  // the pool's id
  int fd = -1;
  pid_t pid = 0;
  MessageReader reader;
  Output out;
  int connection = 0;        // the connection being served, 0 when none
  Deadline silence;          // the provider must produce something before this
  Deadline total;            // the request must be done before this
  Deadline kill_at;          // a retiring worker must be gone before this
  long long cpu_base_ms = -1;  // CPU time when first watched during the request (-1: not yet)
  bool paused = false;       // not read while its client's output is full
  bool eof = false;          // the worker ended the channel
  std::unique_ptr<AnswerWindow> window;  // shared with the worker; nullptr: none could be made
  bool direct = false;       // the worker holds the client's connection and writes to it
  bool window_locked = false;  // the front holds the window's lock (the worker is being killed)
  uint32_t events = 0;
  bool registered = false;
};

class Front {
 public:
  Front(SockInfo *server, const FrontConfig &config, const sigset_t &old_mask);
  int run();

 private:
  // front.cpp
  bool set_up();
  void loop_once();
  long long timeout_ms(long long now) const;
  void on_signal();
  void accept_connections();
  void admit(int fd);
  void on_connection(Connection &c, uint32_t events);
  void read_request(Connection &c);
  void request_complete(Connection &c);
  void refuse(Connection &c, int rc);
  void send(Connection &c, std::string_view bytes);
  void flush(Connection &c);
  void close_connection(int id);
  void watch_connection(Connection &c);
  void watch(int fd, uint64_t data, uint32_t events, bool *registered, uint32_t *current);
  void check_connections(long long now);
  bool log_refusal(const PeerCredentials &peer);
  void begin_shutdown();
  void end_grace();
  void finish();
  Connection *connection(int id);

  // front_workers.cpp
  void dispatch();
  bool start_worker(Connection &c);
  void hand_over(Connection &c, WorkerChannel &ch);
  void on_worker(WorkerChannel &ch, uint32_t events);
  void read_worker(WorkerChannel &ch);
  void flush_worker(WorkerChannel &ch);
  void watch_worker(WorkerChannel &ch);
  void request_done(WorkerChannel &ch, Connection *c);
  bool answer_done(const WorkerChannel &ch) const;
  void end_direct_answer(WorkerChannel &ch);
  void collect_answers();
  void want_answer_ends();
  bool serves_directly(const Connection &c);
  void fail_request(WorkerChannel &ch, const std::string &why);
  bool take_over_answer(WorkerChannel &ch, Connection &c);
  void kill_worker(WorkerChannel &ch, const std::string &why);
  void retire_worker(WorkerChannel &ch);
  void reap();
  void worker_gone(WorkerChannel &ch, int status);
  void sweep_left_behind();
  void check_workers(long long now);
  void resume_if_drained(Connection &c);
  WorkerChannel *channel(int id);
  std::vector<int> front_fds() const;

  SockInfo *server_;
  const FrontConfig &config_;
  sigset_t old_mask_;
  int epoll_fd_ = -1;
  int signal_fd_ = -1;
  bool listening_ = true;
  bool accepting_ = true;
  bool stopping_ = false;
  bool grace_over_ = false;
  bool at_limit_logged_ = false;
  Deadline grace_;
  Deadline release_at_;  // when the heap's free pages go back, if no connection is open then
  long long last_watch_ = 0;
  std::map<int, Connection> connections_;
  std::map<int, WorkerChannel> channels_;
  std::map<uid_t, int> per_user_;
  std::deque<QueuedRequest> queue_;
  WorkerPool pool_;
  std::size_t buffered_ = 0;
  RefusalLimiter refusals_;
  UserCache users_;
  long long refusals_flushed_ = 0;
  int next_connection_ = 1;
  // Connections whose request came complete in this round: watched (for a hang-up while they
  // wait) only if no worker took them over directly by the round's end.
  std::vector<int> unwatched_;
  bool look_again_ = false;  // an answer ended while the front asked to hear of it: no sleep
};

// epoll's user data: what kind of descriptor, and its id.
enum class Tag : uint64_t { kListen = 1, kSignal = 2, kConnection = 3, kWorker = 4 };
inline uint64_t tag(Tag t, int id = 0) {
  return (static_cast<uint64_t>(t) << 32) | static_cast<uint32_t>(id);
}

// Bytes past which a worker is not read until its client has taken them, and below which it
// is read again.
inline constexpr std::size_t kOutputHigh = 1u << 20;
inline constexpr std::size_t kOutputLow = 256u << 10;
// How often busy workers' CPU time and memory are looked at.
inline constexpr long long kWatchEveryMs = 200;
// Frames a worker placed in its answer window and left there this long (its provider went
// quiet right after them) are sent by the front.
inline constexpr long long kWaitingFramesMs = 20;

// "exited with status N" / "was killed by signal N (name)" of a wait status.
std::string describe_wait_status(int status);

}  // namespace hostd

#endif  // CMPI_HOSTD_FRONT_STATE_H
