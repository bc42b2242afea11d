// worker_pool.h - the front's book of worker processes and its queue of waiting requests.
//
// Pure bookkeeping, no processes: the front starts and ends workers and tells the pool. A
// worker serves one user (uid) for its whole life and one request at a time. Limits: workers
// per user, workers in total, the idle time after which a worker retires and the number of
// requests after which it retires. Workers that are retiring (told to end, not yet gone) do not
// count against the limits.
#ifndef CMPI_HOSTD_WORKER_POOL_H
#define CMPI_HOSTD_WORKER_POOL_H

#include <sys/types.h>

#include <cstddef>
#include <deque>
#include <map>
#include <string>
#include <vector>

namespace hostd {

struct WorkerLimits {
  int per_user = 4;
  int total = 64;
  long long idle_ms = 300000;
  unsigned long max_requests = 10000;  // 0: no limit
};

enum class WorkerState { kIdle, kBusy, kRetiring };

struct WorkerRecord {
  int id = 0;            // the pool's handle, never reused
  pid_t pid = 0;
  uid_t uid = 0;
  std::string user;
  WorkerState state = WorkerState::kBusy;
  unsigned long served = 0;   // requests dispatched to it
  long long idle_since = 0;   // when it last became idle
  // Busy, but the end of its answer is already on its way to the client: it is idle in a
  // moment, and a request of its user waits for it rather than start another worker (the
  // client may send its next request before the front hears that the answer ended).
  bool finishing = false;
};

class WorkerPool {
 public:
  explicit WorkerPool(const WorkerLimits &limits) : limits_(limits) {}

  const WorkerLimits &limits() const { return limits_; }

  // A new worker, busy with its first request; returns its id.
  int add(pid_t pid, uid_t uid, const std::string &user);
  void remove(int id);
  WorkerRecord *find(int id);
  WorkerRecord *find_pid(pid_t pid);

  // An idle worker of this user (the most recently idle one, so that the others age out), or
  // nullptr.
  WorkerRecord *idle_worker(uid_t uid);
  // Whether a busy worker of this user is finishing its answer.
  bool finishing(uid_t uid) const;
  // Whether a worker for uid may be started without passing a limit.
  bool may_start(uid_t uid) const;
  // Whether uid is below its own limit (the total may still be full).
  bool below_user_limit(uid_t uid) const;
  // The longest-idle worker of another user, to retire when the total is full; nullptr if none.
  WorkerRecord *evictable(uid_t for_uid);

  // A request goes to an idle worker.
  void mark_busy(int id);
  // The worker finished a request at time now. true when it is due to retire (its request
  // count is reached): it is then marked retiring.
  bool mark_idle(int id, long long now);
  void mark_retiring(int id);

  // Idle workers whose idle time has passed at now (marked retiring).
  std::vector<int> retire_idle(long long now);
  // When the next idle worker is due to retire; 0 when none is idle.
  long long next_idle_deadline() const;

  // Counts of workers that are not retiring.
  int active() const;
  int active_of(uid_t uid) const;
  std::size_t size() const { return workers_.size(); }
  std::vector<int> ids() const;

 private:
  WorkerLimits limits_;
  std::map<int, WorkerRecord> workers_;
  int next_id_ = 1;
};

// A request waiting for a worker: which connection, for which user.
struct QueuedRequest {
  int connection = 0;
  uid_t uid = 0;
};

// What the front should do next with its queue.
struct DispatchPlan {
  enum class Action {
    kNothing,        // no queued request can go anywhere now
    kUseIdle,        // send queue[index] to worker
    kStart,          // start a worker for queue[index]
    kEvictAndStart,  // retire worker `evict` (idle, another user), then start one for queue[index]
  };
  Action action = Action::kNothing;
  std::size_t index = 0;
  int worker = 0;
  int evict = 0;
};

// The first request in the queue (oldest first) that can be served now, and how. A request of a
// user whose workers are all busy and at that user's limit waits without holding up the others;
// so does a request of a user whose worker is finishing an answer (it goes to that worker).
DispatchPlan plan_dispatch(const std::deque<QueuedRequest> &queue, WorkerPool &pool);

}  // namespace hostd

#endif  // CMPI_HOSTD_WORKER_POOL_H
