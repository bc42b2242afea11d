// login_throttle.cpp - growing delays for peers that fail to log in.
#include "login_throttle.h"

#include <algorithm>

namespace wbem {
namespace {
constexpr std::size_t kMaxPeers = 4096;
constexpr auto kForgetAfter = std::chrono::hours(1);
}  // namespace

std::chrono::milliseconds LoginThrottle::delay_for(int failures) const {
  if (failures <= 0) return std::chrono::milliseconds(0);
  auto delay = base_;
  for (int i = 1; i < failures && delay < max_; ++i) delay *= 2;
  return std::min(delay, max_);
}

std::chrono::milliseconds LoginThrottle::wait_before_check(const std::string &peer_host,
                                                           Clock::time_point now) {
  std::lock_guard<std::mutex> lock(mutex_);
  auto it = peers_.find(peer_host);
  if (it == peers_.end() || it->second.not_before <= now) return std::chrono::milliseconds(0);
  return std::chrono::duration_cast<std::chrono::milliseconds>(it->second.not_before - now);
}

std::chrono::milliseconds LoginThrottle::failed(const std::string &peer_host,
                                                Clock::time_point now) {
  std::lock_guard<std::mutex> lock(mutex_);
  auto it = peers_.find(peer_host);
  if (it != peers_.end() && now - it->second.last > kForgetAfter) it->second.failures = 0;
  if (it == peers_.end()) {
    if (peers_.size() >= kMaxPeers) {
      auto oldest = std::min_element(peers_.begin(), peers_.end(), [](const auto &a, const auto &b) {
        return a.second.last < b.second.last;
      });
      peers_.erase(oldest);
    }
    it = peers_.emplace(peer_host, Peer{}).first;
  }
  Peer &peer = it->second;
  ++peer.failures;
  peer.last = now;
  auto delay = delay_for(peer.failures);
  peer.not_before = now + delay;
  return delay;
}

void LoginThrottle::succeeded(const std::string &peer_host) {
  std::lock_guard<std::mutex> lock(mutex_);
  peers_.erase(peer_host);
}

int LoginThrottle::failures(const std::string &peer_host) {
  std::lock_guard<std::mutex> lock(mutex_);
  auto it = peers_.find(peer_host);
  return it == peers_.end() ? 0 : it->second.failures;
}

}  // namespace wbem
