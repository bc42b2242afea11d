// Tests of the front's worker bookkeeping and its dispatch decision. Times are plain numbers of
// milliseconds handed in by the test: nothing here reads a clock.
#include "worker_pool.h"

#include <gtest/gtest.h>

#include <deque>
#include <ostream>
#include <string>
#include <vector>

namespace hostd {
namespace {

constexpr uid_t kAlice = 1001;
constexpr uid_t kBob = 1002;
constexpr uid_t kCarol = 1003;

WorkerLimits limits(int per_user, int total, long long idle_ms = 1000,
                    unsigned long max_requests = 0) {
  WorkerLimits l;
  l.per_user = per_user;
  l.total = total;
  l.idle_ms = idle_ms;
  l.max_requests = max_requests;
  return l;
}

// ---- records -----------------------------------------------------------------------------------

TEST(WorkerPool, AddMakesABusyWorkerThatHasServedOneRequest) {
  WorkerPool pool(limits(4, 8));
  const int id = pool.add(4242, kAlice, "alice");
  WorkerRecord *w = pool.find(id);
  ASSERT_NE(w, nullptr);
  EXPECT_EQ(w->id, id);
  EXPECT_EQ(w->pid, 4242);
  EXPECT_EQ(w->uid, kAlice);
  EXPECT_EQ(w->user, "alice");
  EXPECT_EQ(w->state, WorkerState::kBusy);
  EXPECT_EQ(w->served, 1u);
  EXPECT_EQ(pool.size(), 1u);
  EXPECT_EQ(pool.active(), 1);
  EXPECT_EQ(pool.active_of(kAlice), 1);
  EXPECT_EQ(pool.active_of(kBob), 0);
}

TEST(WorkerPool, IdsAreNeverReused) {
  WorkerPool pool(limits(4, 8));
  const int first = pool.add(100, kAlice, "alice");
  const int second = pool.add(101, kAlice, "alice");
  EXPECT_NE(first, second);
  pool.remove(first);
  pool.remove(second);
  EXPECT_EQ(pool.size(), 0u);
  const int third = pool.add(100, kAlice, "alice");
  EXPECT_NE(third, first);
  EXPECT_NE(third, second);
  EXPECT_EQ(pool.ids(), std::vector<int>{third});
}

TEST(WorkerPool, FindsByIdAndByPidAndForgetsRemovedWorkers) {
  WorkerPool pool(limits(4, 8));
  const int a = pool.add(100, kAlice, "alice");
  const int b = pool.add(200, kBob, "bob");
  ASSERT_NE(pool.find_pid(200), nullptr);
  EXPECT_EQ(pool.find_pid(200)->id, b);
  EXPECT_EQ(pool.find_pid(100)->id, a);
  EXPECT_EQ(pool.find_pid(300), nullptr);
  EXPECT_EQ(pool.find(b + 100), nullptr);

  pool.remove(a);
  EXPECT_EQ(pool.find(a), nullptr);
  EXPECT_EQ(pool.find_pid(100), nullptr);
  EXPECT_NE(pool.find(b), nullptr);
  EXPECT_EQ(pool.ids(), std::vector<int>{b});
  pool.remove(a);  // twice: nothing happens
  EXPECT_EQ(pool.size(), 1u);
}

TEST(WorkerPool, IdleWorkerIsTheMostRecentlyIdleOneOfThatUser) {
  WorkerPool pool(limits(4, 8));
  const int early = pool.add(100, kAlice, "alice");
  const int late = pool.add(101, kAlice, "alice");
  const int busy = pool.add(102, kAlice, "alice");
  const int other = pool.add(200, kBob, "bob");
  pool.mark_idle(early, 10);
  pool.mark_idle(late, 20);
  pool.mark_idle(other, 30);
  ASSERT_NE(pool.idle_worker(kAlice), nullptr);
  EXPECT_EQ(pool.idle_worker(kAlice)->id, late);
  EXPECT_EQ(pool.idle_worker(kBob)->id, other);
  EXPECT_EQ(pool.idle_worker(kCarol), nullptr);

  pool.mark_busy(late);
  EXPECT_EQ(pool.find(late)->state, WorkerState::kBusy);
  EXPECT_EQ(pool.idle_worker(kAlice)->id, early);
  pool.mark_retiring(early);
  EXPECT_EQ(pool.idle_worker(kAlice), nullptr);
  EXPECT_EQ(pool.find(busy)->state, WorkerState::kBusy);
}

TEST(WorkerPool, MarkBusyCountsTheRequest) {
  WorkerPool pool(limits(4, 8));
  const int id = pool.add(100, kAlice, "alice");
  pool.mark_idle(id, 5);
  pool.mark_busy(id);
  pool.mark_idle(id, 6);
  pool.mark_busy(id);
  EXPECT_EQ(pool.find(id)->served, 3u);
  pool.mark_busy(id + 1);  // unknown: nothing happens
  EXPECT_EQ(pool.size(), 1u);
  EXPECT_FALSE(pool.mark_idle(id + 1, 7));
}

TEST(WorkerPool, FinishingIsForgottenWhenTheWorkerIsIdleOrBusyAgain) {
  WorkerPool pool(limits(4, 8));
  const int id = pool.add(100, kAlice, "alice");
  pool.find(id)->finishing = true;
  EXPECT_TRUE(pool.finishing(kAlice));
  EXPECT_FALSE(pool.finishing(kBob));
  pool.mark_idle(id, 5);
  EXPECT_FALSE(pool.finishing(kAlice));
  pool.mark_busy(id);
  pool.find(id)->finishing = true;
  pool.mark_busy(id);
  EXPECT_FALSE(pool.finishing(kAlice));
  pool.find(id)->finishing = true;
  pool.mark_retiring(id);
  EXPECT_FALSE(pool.finishing(kAlice));  // only a busy worker finishes an answer
}

// ---- limits ------------------------------------------------------------------------------------

TEST(WorkerPool, MayStartWithinThePerUserLimit) {
  WorkerPool pool(limits(2, 10));
  EXPECT_TRUE(pool.may_start(kAlice));
  pool.add(100, kAlice, "alice");
  EXPECT_TRUE(pool.may_start(kAlice));
  EXPECT_TRUE(pool.below_user_limit(kAlice));
  pool.add(101, kAlice, "alice");
  EXPECT_FALSE(pool.may_start(kAlice));
  EXPECT_FALSE(pool.below_user_limit(kAlice));
  EXPECT_TRUE(pool.may_start(kBob));
}

TEST(WorkerPool, MayStartWithinTheTotalLimit) {
  WorkerPool pool(limits(2, 3));
  pool.add(100, kAlice, "alice");
  pool.add(101, kAlice, "alice");
  pool.add(200, kBob, "bob");
  EXPECT_EQ(pool.active(), 3);
  EXPECT_FALSE(pool.may_start(kBob));
  EXPECT_FALSE(pool.may_start(kCarol));
  // Below their own limit, still: only the total holds them back.
  EXPECT_TRUE(pool.below_user_limit(kBob));
  EXPECT_TRUE(pool.below_user_limit(kCarol));
}

TEST(WorkerPool, RetiringWorkersDoNotCount) {
  WorkerPool pool(limits(1, 2));
  const int a = pool.add(100, kAlice, "alice");
  const int b = pool.add(200, kBob, "bob");
  EXPECT_FALSE(pool.may_start(kAlice));
  EXPECT_FALSE(pool.may_start(kCarol));
  pool.mark_retiring(a);
  EXPECT_EQ(pool.find(a)->state, WorkerState::kRetiring);
  EXPECT_EQ(pool.active(), 1);
  EXPECT_EQ(pool.active_of(kAlice), 0);
  EXPECT_EQ(pool.size(), 2u);
  EXPECT_TRUE(pool.may_start(kAlice));
  pool.mark_retiring(b);
  EXPECT_EQ(pool.active(), 0);
  EXPECT_TRUE(pool.may_start(kCarol));
}

TEST(WorkerPool, MarkIdleRetiresAWorkerAtItsRequestLimit) {
  WorkerPool pool(limits(4, 8, 1000, 3));
  const int id = pool.add(100, kAlice, "alice");  // request 1
  EXPECT_FALSE(pool.mark_idle(id, 10));
  EXPECT_EQ(pool.find(id)->state, WorkerState::kIdle);
  EXPECT_EQ(pool.find(id)->idle_since, 10);
  pool.mark_busy(id);  // request 2
  EXPECT_FALSE(pool.mark_idle(id, 20));
  pool.mark_busy(id);  // request 3
  EXPECT_TRUE(pool.mark_idle(id, 30));
  EXPECT_EQ(pool.find(id)->state, WorkerState::kRetiring);
  EXPECT_EQ(pool.idle_worker(kAlice), nullptr);
  EXPECT_EQ(pool.active(), 0);
}

TEST(WorkerPool, ARequestLimitOfOneRetiresAfterTheFirstRequest) {
  WorkerPool pool(limits(4, 8, 1000, 1));
  const int id = pool.add(100, kAlice, "alice");
  EXPECT_TRUE(pool.mark_idle(id, 10));
  EXPECT_EQ(pool.find(id)->state, WorkerState::kRetiring);
}

TEST(WorkerPool, ARequestLimitOfZeroNeverRetires) {
  WorkerPool pool(limits(4, 8, 1000, 0));
  const int id = pool.add(100, kAlice, "alice");
  for (int i = 0; i < 20000; ++i) {
    ASSERT_FALSE(pool.mark_idle(id, i)) << "after request " << i + 1;
    pool.mark_busy(id);
  }
  EXPECT_EQ(pool.find(id)->served, 20001u);
  EXPECT_EQ(pool.find(id)->state, WorkerState::kBusy);
}

// ---- idle time ---------------------------------------------------------------------------------

TEST(WorkerPool, RetireIdleAtItsIdleTime) {
  WorkerPool pool(limits(4, 8, 500));
  const int a = pool.add(100, kAlice, "alice");
  const int b = pool.add(200, kBob, "bob");
  const int busy = pool.add(300, kCarol, "carol");
  pool.mark_idle(a, 1000);
  pool.mark_idle(b, 1200);
  EXPECT_TRUE(pool.retire_idle(1499).empty());
  EXPECT_EQ(pool.retire_idle(1500), std::vector<int>{a});
  EXPECT_EQ(pool.find(a)->state, WorkerState::kRetiring);
  EXPECT_EQ(pool.find(b)->state, WorkerState::kIdle);
  EXPECT_TRUE(pool.retire_idle(1500).empty());  // already retiring: not again
  EXPECT_EQ(pool.retire_idle(100000), std::vector<int>{b});
  EXPECT_EQ(pool.find(busy)->state, WorkerState::kBusy);
}

TEST(WorkerPool, AWorkerUsedAgainStartsItsIdleTimeAfresh) {
  WorkerPool pool(limits(4, 8, 500));
  const int a = pool.add(100, kAlice, "alice");
  pool.mark_idle(a, 1000);
  pool.mark_busy(a);
  pool.mark_idle(a, 1400);
  EXPECT_TRUE(pool.retire_idle(1500).empty());
  EXPECT_EQ(pool.next_idle_deadline(), 1900);
  EXPECT_EQ(pool.retire_idle(1900), std::vector<int>{a});
}

TEST(WorkerPool, NextIdleDeadlineIsTheEarliestOfTheIdleWorkers) {
  WorkerPool pool(limits(4, 8, 500));
  EXPECT_EQ(pool.next_idle_deadline(), 0);
  const int a = pool.add(100, kAlice, "alice");
  const int b = pool.add(200, kBob, "bob");
  EXPECT_EQ(pool.next_idle_deadline(), 0);  // busy workers have none
  pool.mark_idle(b, 3000);
  EXPECT_EQ(pool.next_idle_deadline(), 3500);
  pool.mark_idle(a, 2000);
  EXPECT_EQ(pool.next_idle_deadline(), 2500);
  pool.mark_retiring(a);
  EXPECT_EQ(pool.next_idle_deadline(), 3500);
  pool.mark_busy(b);
  EXPECT_EQ(pool.next_idle_deadline(), 0);
}

// ---- eviction ----------------------------------------------------------------------------------

TEST(WorkerPool, EvictablePicksTheLongestIdleWorkerOfAnotherUser) {
  WorkerPool pool(limits(4, 8));
  const int own = pool.add(100, kAlice, "alice");
  const int bob_recent = pool.add(200, kBob, "bob");
  const int carol_old = pool.add(300, kCarol, "carol");
  const int bob_busy = pool.add(201, kBob, "bob");
  pool.mark_idle(own, 1);  // the oldest of all, but Alice's own
  pool.mark_idle(bob_recent, 50);
  pool.mark_idle(carol_old, 20);
  ASSERT_NE(pool.evictable(kAlice), nullptr);
  EXPECT_EQ(pool.evictable(kAlice)->id, carol_old);
  EXPECT_EQ(pool.evictable(kCarol)->id, own);
  pool.mark_retiring(carol_old);
  EXPECT_EQ(pool.evictable(kAlice)->id, bob_recent);
  pool.mark_busy(bob_recent);
  EXPECT_EQ(pool.evictable(kAlice), nullptr);  // only busy and retiring ones are left
  EXPECT_EQ(pool.find(bob_busy)->state, WorkerState::kBusy);
}

// ---- plan_dispatch -----------------------------------------------------------------------------

using Action = DispatchPlan::Action;

struct WorkerSetup {
  uid_t uid;
  WorkerState state;
  long long idle_since;  // for idle workers
  bool finishing = false;  // for busy workers: the end of its answer is on its way
};

struct DispatchCase {
  const char *name;
  int per_user;
  int total;
  std::vector<WorkerSetup> workers;
  std::vector<uid_t> queue;
  Action action;
  std::size_t index;  // the queue entry the plan serves
  int worker;         // kUseIdle: position in `workers` of the chosen one
  int evict;          // kEvictAndStart: position in `workers` of the victim
};

constexpr WorkerState kIdle = WorkerState::kIdle;
constexpr WorkerState kBusy = WorkerState::kBusy;
constexpr WorkerState kRetiring = WorkerState::kRetiring;

const DispatchCase kDispatchCases[] = {
    {"EmptyQueue", 2, 4, {{kAlice, kIdle, 5}}, {}, Action::kNothing, 0, -1, -1},
    {"StartsTheFirstWorker", 2, 4, {}, {kAlice}, Action::kStart, 0, -1, -1},
    {"IdleWorkerBeforeStarting", 2, 4, {{kAlice, kIdle, 5}}, {kAlice}, Action::kUseIdle, 0, 0,
     -1},
    {"MostRecentlyIdleOfTheUser", 4, 8,
     {{kAlice, kIdle, 5}, {kAlice, kIdle, 9}, {kAlice, kIdle, 7}, {kBob, kIdle, 20}},
     {kAlice},
     Action::kUseIdle, 0, 1, -1},
    {"OldestRequestFirst", 2, 4, {}, {kBob, kAlice}, Action::kStart, 0, -1, -1},
    {"OldestRequestFirstWithIdleWorkers", 2, 4, {{kAlice, kIdle, 5}, {kBob, kIdle, 6}},
     {kBob, kAlice}, Action::kUseIdle, 0, 1, -1},
    {"UserAtItsLimitDoesNotBlockAnother", 1, 4, {{kAlice, kBusy, 0}}, {kAlice, kAlice, kBob},
     Action::kStart, 2, -1, -1},
    {"UserAtItsLimitDoesNotBlockAnotherWithAnIdleWorker", 1, 4,
     {{kAlice, kBusy, 0}, {kBob, kIdle, 3}}, {kAlice, kBob}, Action::kUseIdle, 1, 1, -1},
    {"EverybodyAtTheirLimit", 1, 4, {{kAlice, kBusy, 0}, {kBob, kBusy, 0}}, {kAlice, kBob},
     Action::kNothing, 0, -1, -1},
    {"RetiringWorkersLeaveRoom", 1, 4, {{kAlice, kRetiring, 0}}, {kAlice}, Action::kStart, 0,
     -1, -1},
    {"RetiringWorkersAreNotUsed", 2, 4, {{kAlice, kRetiring, 0}, {kAlice, kBusy, 0}}, {kAlice},
     Action::kStart, 0, -1, -1},
    {"TotalFullEvictsAnotherUsersIdleWorker", 2, 2, {{kBob, kIdle, 5}, {kBob, kBusy, 0}},
     {kAlice}, Action::kEvictAndStart, 0, -1, 0},
    {"TotalFullEvictsTheLongestIdle", 2, 3,
     {{kBob, kIdle, 50}, {kCarol, kIdle, 10}, {kBob, kIdle, 30}}, {kAlice},
     Action::kEvictAndStart, 0, -1, 1},
    {"TotalFullAndNothingIdle", 2, 2, {{kBob, kBusy, 0}, {kCarol, kBusy, 0}}, {kAlice},
     Action::kNothing, 0, -1, -1},
    {"TotalFullAndUserAtItsOwnLimitEvictsNothing", 1, 2, {{kAlice, kBusy, 0}, {kBob, kIdle, 5}},
     {kAlice}, Action::kNothing, 0, -1, -1},
    {"TotalFullAndTheUserAtItsLimitWaitsForTheNextOne", 1, 2,
     {{kAlice, kBusy, 0}, {kBob, kIdle, 5}}, {kAlice, kCarol}, Action::kEvictAndStart, 1, -1,
     1},
    {"TotalFullUsesOwnIdleBeforeEvicting", 2, 2, {{kAlice, kIdle, 9}, {kBob, kIdle, 1}},
     {kAlice}, Action::kUseIdle, 0, 0, -1},
    {"TotalFullCountsOnlyActiveWorkers", 2, 2, {{kBob, kRetiring, 0}, {kBob, kBusy, 0}},
     {kAlice}, Action::kStart, 0, -1, -1},
    {"AFinishingWorkerIsWaitedForRatherThanAnotherStarted", 2, 4, {{kAlice, kBusy, 0, true}},
     {kAlice}, Action::kNothing, 0, -1, -1},
    {"AFinishingWorkerDoesNotHoldUpAnotherUser", 2, 4, {{kAlice, kBusy, 0, true}},
     {kAlice, kBob}, Action::kStart, 1, -1, -1},
    {"ABusyWorkerThatIsNotFinishingIsNotWaitedFor", 2, 4, {{kAlice, kBusy, 0, false}},
     {kAlice}, Action::kStart, 0, -1, -1},
    {"AnIdleWorkerGoesBeforeAFinishingOne", 2, 4,
     {{kAlice, kBusy, 0, true}, {kAlice, kIdle, 3}}, {kAlice}, Action::kUseIdle, 0, 1, -1},
};

void PrintTo(const DispatchCase &c, std::ostream *out) { *out << c.name; }

class PlanDispatch : public ::testing::TestWithParam<DispatchCase> {};

TEST_P(PlanDispatch, ChoosesTheFirstRequestThatCanBeServed) {
  const DispatchCase &c = GetParam();
  WorkerPool pool(limits(c.per_user, c.total, 1000000));
  std::vector<int> ids;
  pid_t pid = 1000;
  for (const WorkerSetup &s : c.workers) {
    const int id = pool.add(pid++, s.uid, "user" + std::to_string(s.uid));
    if (s.state == kIdle) pool.mark_idle(id, s.idle_since);
    if (s.state == kRetiring) pool.mark_retiring(id);
    pool.find(id)->finishing = s.finishing;
    ids.push_back(id);
  }
  std::deque<QueuedRequest> queue;
  int connection = 10;
  for (uid_t uid : c.queue) queue.push_back({connection++, uid});

  const DispatchPlan plan = plan_dispatch(queue, pool);
  ASSERT_EQ(plan.action, c.action);
  if (c.action == Action::kNothing) return;
  EXPECT_EQ(plan.index, c.index);
  if (c.action == Action::kUseIdle) {
    EXPECT_EQ(plan.worker, ids.at(c.worker));
  }
  if (c.action == Action::kEvictAndStart) {
    EXPECT_EQ(plan.evict, ids.at(c.evict));
  }
  // Planning changes nothing in the pool.
  EXPECT_EQ(pool.size(), c.workers.size());
  for (std::size_t i = 0; i < ids.size(); ++i) {
    EXPECT_EQ(pool.find(ids[i])->state, c.workers[i].state) << "worker " << i;
  }
}

INSTANTIATE_TEST_SUITE_P(Cases, PlanDispatch, ::testing::ValuesIn(kDispatchCases),
                         [](const ::testing::TestParamInfo<DispatchCase> &info) {
                           return std::string(info.param.name);
                         });

// The front's loop: plan, carry out, plan again, until nothing more can go.
TEST(PlanDispatchLoop, ServesEveryUserFairlyUpToTheLimits) {
  WorkerPool pool(limits(2, 3, 1000000));
  std::deque<QueuedRequest> queue = {{1, kAlice}, {2, kAlice}, {3, kAlice}, {4, kBob},
                                     {5, kBob},   {6, kCarol}};
  std::vector<int> started_for;
  pid_t pid = 500;
  for (;;) {
    DispatchPlan plan = plan_dispatch(queue, pool);
    if (plan.action == Action::kNothing) break;
    ASSERT_EQ(plan.action, Action::kStart);
    pool.add(pid++, queue[plan.index].uid, "u");
    started_for.push_back(queue[plan.index].connection);
    queue.erase(queue.begin() + static_cast<std::ptrdiff_t>(plan.index));
  }
  // Alice gets her two, Bob the last place; Alice's third, Bob's second and Carol wait.
  EXPECT_EQ(started_for, (std::vector<int>{1, 2, 4}));
  EXPECT_EQ(queue.size(), 3u);
  EXPECT_EQ(pool.active(), 3);
}

}  // namespace
}  // namespace hostd
