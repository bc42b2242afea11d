// login_throttle.h - failed logins slow their peer down, more with every failure.
//
// Per peer address (without port): after the n-th failure in a row the peer waits
// base * 2^(n-1), at most max, before its answer; a new attempt that comes earlier waits until
// that time has passed before its credentials are even checked. A successful login forgets the
// peer; so does a quiet hour. At most 4096 peers are remembered: past that the oldest entry
// goes. Thread-safe.
#ifndef CMPI_WBEMD_HTTP_LOGIN_THROTTLE_H
#define CMPI_WBEMD_HTTP_LOGIN_THROTTLE_H

#include <chrono>
#include <map>
#include <mutex>
#include <string>

namespace wbem {

class LoginThrottle {
 public:
  using Clock = std::chrono::steady_clock;
  LoginThrottle(std::chrono::milliseconds base, std::chrono::milliseconds max)
      : base_(base), max_(max) {}

  // How long an attempt of peer_host must still wait before it is checked.
  std::chrono::milliseconds wait_before_check(const std::string &peer_host, Clock::time_point now);
  // Records a failure; returns the delay the failing answer is held back by.
  std::chrono::milliseconds failed(const std::string &peer_host, Clock::time_point now);
  void succeeded(const std::string &peer_host);
  // Failures in a row of peer_host (0 when unknown).
  int failures(const std::string &peer_host);

 private:
  struct Peer {
    int failures = 0;
    Clock::time_point not_before;
    Clock::time_point last;
  };
  std::chrono::milliseconds delay_for(int failures) const;

  std::chrono::milliseconds base_;
  std::chrono::milliseconds max_;
  std::mutex mutex_;
  std::map<std::string, Peer> peers_;
};

}  // namespace wbem

#endif  // CMPI_WBEMD_HTTP_LOGIN_THROTTLE_H
