// worker_pool.cpp - worker bookkeeping and the dispatch decision.
#include "worker_pool.h"

namespace hostd {

int WorkerPool::add(pid_t pid, uid_t uid, const std::string &user) {
  WorkerRecord record;
  record.id = next_id_++;
  record.pid = pid;
  record.uid = uid;
  record.user = user;
  record.state = WorkerState::kBusy;
  record.served = 1;
  workers_[record.id] = record;
  return record.id;
}

void WorkerPool::remove(int id) { workers_.erase(id); }

WorkerRecord *WorkerPool::find(int id) {
  auto it = workers_.find(id);
  return it == workers_.end() ? nullptr : &it->second;
}

WorkerRecord *WorkerPool::find_pid(pid_t pid) {
  for (auto &entry : workers_) {
    if (entry.second.pid == pid) return &entry.second;
  }
  return nullptr;
}

WorkerRecord *WorkerPool::idle_worker(uid_t uid) {
  WorkerRecord *best = nullptr;
  for (auto &entry : workers_) {
    WorkerRecord &w = entry.second;
    if (w.uid != uid || w.state != WorkerState::kIdle) continue;
    // The most recently used one stays warm; the others age out.
    if (best == nullptr || w.idle_since > best->idle_since) best = &w;
  }
  return best;
}

bool WorkerPool::below_user_limit(uid_t uid) const { return active_of(uid) < limits_.per_user; }

bool WorkerPool::may_start(uid_t uid) const {
  return below_user_limit(uid) && active() < limits_.total;
}

WorkerRecord *WorkerPool::evictable(uid_t for_uid) {
  WorkerRecord *oldest = nullptr;
  for (auto &entry : workers_) {
    WorkerRecord &w = entry.second;
    if (w.uid == for_uid || w.state != WorkerState::kIdle) continue;
    if (oldest == nullptr || w.idle_since < oldest->idle_since) oldest = &w;
  }
  return oldest;
}

void WorkerPool::mark_busy(int id) {
  WorkerRecord *w = find(id);
  if (w == nullptr) return;
  w->state = WorkerState::kBusy;
  w->finishing = false;
  ++w->served;
}

bool WorkerPool::mark_idle(int id, long long now) {
  WorkerRecord *w = find(id);
  if (w == nullptr) return false;
  w->finishing = false;
  if (limits_.max_requests != 0 && w->served >= limits_.max_requests) {
    w->state = WorkerState::kRetiring;
    return true;
  }
  w->state = WorkerState::kIdle;
  w->idle_since = now;
  return false;
}

void WorkerPool::mark_retiring(int id) {
  WorkerRecord *w = find(id);
  if (w != nullptr) w->state = WorkerState::kRetiring;
}

std::vector<int> WorkerPool::retire_idle(long long now) {
  std::vector<int> due;
  for (auto &entry : workers_) {
    WorkerRecord &w = entry.second;
    if (w.state == WorkerState::kIdle && now - w.idle_since >= limits_.idle_ms) {
      w.state = WorkerState::kRetiring;
      due.push_back(w.id);
    }
  }
  return due;
}

long long WorkerPool::next_idle_deadline() const {
  long long next = 0;
  for (const auto &entry : workers_) {
    const WorkerRecord &w = entry.second;
    if (w.state != WorkerState::kIdle) continue;
    long long due = w.idle_since + limits_.idle_ms;
    if (next == 0 || due < next) next = due;
  }
  return next;
}

bool WorkerPool::finishing(uid_t uid) const {
  for (const auto &entry : workers_) {
    const WorkerRecord &w = entry.second;
    if (w.uid == uid && w.state == WorkerState::kBusy && w.finishing) return true;
  }
  return false;
}

int WorkerPool::active() const {
  int n = 0;
  for (const auto &entry : workers_) {
    if (entry.second.state != WorkerState::kRetiring) ++n;
  }
  return n;
}

int WorkerPool::active_of(uid_t uid) const {
  int n = 0;
  for (const auto &entry : workers_) {
    if (entry.second.uid == uid && entry.second.state != WorkerState::kRetiring) ++n;
  }
  return n;
}

std::vector<int> WorkerPool::ids() const {
  std::vector<int> all;
  for (const auto &entry : workers_) all.push_back(entry.first);
  return all;
}

DispatchPlan plan_dispatch(const std::deque<QueuedRequest> &queue, WorkerPool &pool) {
  DispatchPlan plan;
  for (std::size_t i = 0; i < queue.size(); ++i) {
    const uid_t uid = queue[i].uid;
    if (WorkerRecord *idle = pool.idle_worker(uid)) {
      plan.action = DispatchPlan::Action::kUseIdle;
      plan.index = i;
      plan.worker = idle->id;
      return plan;
    }
    if (pool.finishing(uid)) continue;
    if (pool.may_start(uid)) {
      plan.action = DispatchPlan::Action::kStart;
      plan.index = i;
      return plan;
    }
    if (pool.below_user_limit(uid)) {
      if (WorkerRecord *victim = pool.evictable(uid)) {
        plan.action = DispatchPlan::Action::kEvictAndStart;
        plan.index = i;
        plan.evict = victim->id;
        return plan;
      }
    }
  }
  return plan;
}

}  // namespace hostd
