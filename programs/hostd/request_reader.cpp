// request_reader.cpp - one request frame from the client, bounded in size and time.
#include "request_reader.h"

#include <time.h>

#include <vector>

#include "frames.h"

namespace hostd {
namespace {

constexpr int kPieceSize = 64 * 1024;

long long now_ms() {
  struct timespec ts;
  clock_gettime(CLOCK_MONOTONIC, &ts);
  return static_cast<long long>(ts.tv_sec) * 1000 + ts.tv_nsec / 1000000;
}

}  // namespace

ReadOutcome read_request(SockInfo *conn, const RequestLimits &limits, std::string *document,
                         std::size_t *received) {
  std::string text;
  std::vector<char> piece(kPieceSize + 1);
  const long long deadline = now_ms() + static_cast<long long>(limits.timeout_seconds) * 1000;
  *received = 0;
  for (;;) {
    long long left_ms = deadline - now_ms();
    if (left_ms <= 0) return ReadOutcome::kTimedOut;
    // xselect counts whole seconds; round up so the limit is never cut short.
    int seconds = static_cast<int>((left_ms + 999) / 1000);
    if (xselect(conn->connFd, CMPIU_SELECT_READ, &seconds) == CMPIU_SOCK_TIMEOUT)
      return ReadOutcome::kTimedOut;
    std::size_t room = limits.max_bytes - text.size();
    int want =
        room < static_cast<std::size_t>(kPieceSize) ? static_cast<int>(room) + 1 : kPieceSize;
    unsigned int rc = serverRecv(conn, piece.data(), want);
    if (rc == CMPIU_SOCK_CLOSED) {
      return text.empty() ? ReadOutcome::kClosedEmpty : ReadOutcome::kTruncated;
    }
    if (rc != CMPIU_SOCK_OK) return ReadOutcome::kReceiveError;
    std::size_t count = static_cast<std::size_t>(conn->lengthField);
    std::size_t search_from =
        text.size() >= kTerminator.size() - 1 ? text.size() - (kTerminator.size() - 1) : 0;
    text.append(piece.data(), count);
    *received = text.size();
    std::size_t end = text.find(kTerminator, search_from);
    if (end != std::string::npos && end + kTerminator.size() <= limits.max_bytes) {
      text.resize(end);
      *document = std::move(text);
      return ReadOutcome::kComplete;
    }
    if (text.size() > limits.max_bytes || end != std::string::npos) return ReadOutcome::kTooLarge;
  }
}

}  // namespace hostd
