// refusal_limiter.h - how many refusal lines one peer may make the daemon write.
//
// A peer that is refused (not on the allow list, a bad principal, a bad frame) could otherwise
// make the daemon write one log line per connection, tens of thousands a second. The limiter
// keeps a bucket of lines per peer: a peer starts with `burst` lines and earns `per_second`
// lines a second back, up to `burst`. A refusal that finds the bucket empty is not written but
// counted; when the peer's next line is allowed (or at a flush) the count comes out as one
// summary line to write before it:
//   "<N> refusals of peer uid <U> suppressed in the last <S> s"
// ("1 refusal of ..." for one; "peer pid <P>" for peers told apart by process id), S being the
// whole seconds, rounded up, since the first refusal it counts.
//
// Memory is bounded: at most max_peers peers are tracked; a new peer beyond that evicts the one
// seen longest ago (its pending summary, if any, is handed out with that decision). Time is
// the caller's (monotonic milliseconds, e.g. now_ms()), so that the limiter itself never reads
// a clock; a time earlier than one already seen counts as that time.
#ifndef CMPI_HOSTD_REFUSAL_LIMITER_H
#define CMPI_HOSTD_REFUSAL_LIMITER_H

#include <sys/types.h>

#include <cstddef>
#include <functional>
#include <list>
#include <string>
#include <unordered_map>
#include <vector>

namespace hostd {

// Who a refusal is about: a peer with a known uid, or else a process id.
struct RefusalPeer {
  enum class Kind { kUid, kPid };
  Kind kind = Kind::kUid;
  unsigned long id = 0;

  static RefusalPeer uid(uid_t u) { return {Kind::kUid, static_cast<unsigned long>(u)}; }
  static RefusalPeer pid(pid_t p) { return {Kind::kPid, static_cast<unsigned long>(p)}; }
  // "uid 1000", "pid 4242"
  std::string label() const;
  bool operator==(const RefusalPeer &o) const { return kind == o.kind && id == o.id; }
};

struct RefusalLimits {
  int burst = 10;                // lines a peer may have at once (at least 1)
  int per_second = 1;            // lines a second it earns back (at least 1)
  std::size_t max_peers = 1024;  // peers tracked at once (at least 1)
};

// What to do with one refusal.
struct RefusalDecision {
  bool write = false;                  // write the refusal's own line
  std::vector<std::string> summaries;  // lines to write first (possibly also when !write)
};

class RefusalLimiter {
 public:
  explicit RefusalLimiter(RefusalLimits limits = RefusalLimits());

  // One refusal of peer at now_ms.
  RefusalDecision admit(const RefusalPeer &peer, long long now_ms);

  // The summaries of every peer with suppressed refusals (their counts start again), and
  // forgets the peers that have a full bucket and nothing pending. For a periodic call; the
  // peer seen most recently comes first.
  std::vector<std::string> flush(long long now_ms);

  // Peers tracked now.
  std::size_t tracked() const { return entries_.size(); }

 private:
  struct Entry {
    RefusalPeer peer;
    long long credit = 0;       // thousandths of a line
    long long refilled_at = 0;  // the time credit was last brought up to date
    unsigned long long suppressed = 0;
    long long first_suppressed = 0;
  };
  struct PeerHash {
    std::size_t operator()(const RefusalPeer &p) const {
      return std::hash<unsigned long>()(p.id) ^ (p.kind == RefusalPeer::Kind::kPid ? 0x9e37 : 0);
    }
  };
  using List = std::list<Entry>;

  void refill(Entry *e, long long now) const;
  std::string summary(Entry *e, long long now) const;

  RefusalLimits limits_;
  long long latest_ = 0;
  List entries_;  // most recently seen first
  std::unordered_map<RefusalPeer, List::iterator, PeerHash> index_;
};

}  // namespace hostd

#endif  // CMPI_HOSTD_REFUSAL_LIMITER_H
