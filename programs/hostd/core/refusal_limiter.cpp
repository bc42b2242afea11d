// refusal_limiter.cpp - per-peer buckets of refusal lines.
#include "refusal_limiter.h"

#include <algorithm>

namespace hostd {
namespace {

constexpr long long kUnit = 1000;  // credit of one line

}  // namespace

std::string RefusalPeer::label() const {
  return (kind == Kind::kUid ? "uid " : "pid ") + std::to_string(id);
}

RefusalLimiter::RefusalLimiter(RefusalLimits limits) : limits_(limits) {
  limits_.burst = std::max(limits_.burst, 1);
  limits_.per_second = std::max(limits_.per_second, 1);
  limits_.max_peers = std::max<std::size_t>(limits_.max_peers, 1);
}

void RefusalLimiter::refill(Entry *e, long long now) const {
  // per_second lines in 1000 ms: per_second thousandths of a line per millisecond.
  const long long full = limits_.burst * kUnit;
  const long long elapsed = now - e->refilled_at;
  if (elapsed > 0) {
    const long long most = (full - e->credit) / limits_.per_second + 1;
    e->credit = std::min(full, e->credit + std::min(elapsed, most) * limits_.per_second);
  }
  e->refilled_at = now;
}

std::string RefusalLimiter::summary(Entry *e, long long now) const {
  const long long seconds = std::max(1LL, (now - e->first_suppressed + 999) / 1000);
  std::string text = std::to_string(e->suppressed) +
                     (e->suppressed == 1 ? " refusal of peer " : " refusals of peer ") +
                     e->peer.label() + " suppressed in the last " + std::to_string(seconds) + " s";
  e->suppressed = 0;
  e->first_suppressed = 0;
  return text;
}

RefusalDecision RefusalLimiter::admit(const RefusalPeer &peer, long long now_ms) {
  latest_ = std::max(latest_, now_ms);
  const long long now = latest_;
  RefusalDecision decision;
  auto found = index_.find(peer);
  if (found != index_.end()) {
    entries_.splice(entries_.begin(), entries_, found->second);
  } else {
    if (entries_.size() >= limits_.max_peers) {
      Entry &oldest = entries_.back();
      if (oldest.suppressed > 0) decision.summaries.push_back(summary(&oldest, now));
      index_.erase(oldest.peer);
      entries_.pop_back();
    }
    Entry fresh;
    fresh.peer = peer;
    fresh.credit = limits_.burst * kUnit;
    fresh.refilled_at = now;
    entries_.push_front(fresh);
    index_[peer] = entries_.begin();
  }
  Entry &e = entries_.front();
  refill(&e, now);
  if (e.credit >= kUnit) {
    e.credit -= kUnit;
    if (e.suppressed > 0) decision.summaries.push_back(summary(&e, now));
    decision.write = true;
  } else {
    if (e.suppressed == 0) e.first_suppressed = now;
    ++e.suppressed;
  }
  return decision;
}

std::vector<std::string> RefusalLimiter::flush(long long now_ms) {
  latest_ = std::max(latest_, now_ms);
  const long long now = latest_;
  std::vector<std::string> out;
  for (auto it = entries_.begin(); it != entries_.end();) {
    if (it->suppressed > 0) out.push_back(summary(&*it, now));
    refill(&*it, now);
    if (it->credit >= limits_.burst * kUnit) {
      index_.erase(it->peer);
      it = entries_.erase(it);
    } else {
      ++it;
    }
  }
  return out;
}

}  // namespace hostd
