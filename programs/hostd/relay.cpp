// relay.cpp - whole frames from the worker's pipe to the client, under the provider time-out.
#include "relay.h"

#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <vector>

#include "frames.h"
#include "log.h"

namespace hostd {
namespace {

// A single response frame larger than this is not relayed.
constexpr std::size_t kMaxFrame = 256u * 1024u * 1024u;
constexpr std::size_t kPieceSize = 64 * 1024;

long long now_ms() {
  struct timespec ts;
  clock_gettime(CLOCK_MONOTONIC, &ts);
  return static_cast<long long>(ts.tv_sec) * 1000 + ts.tv_nsec / 1000000;
}

// Waits up to timeout_ms for the worker to end; kills it when it does not. Returns its status.
int reap_worker(pid_t worker, long long timeout_ms, bool *killed) {
  int status = 0;
  *killed = false;
  const long long deadline = now_ms() + timeout_ms;
  for (;;) {
    pid_t done = waitpid(worker, &status, WNOHANG);
    if (done == worker) return status;
    if (done < 0 && errno != EINTR) return 0;
    if (now_ms() >= deadline) break;
    struct timespec pause = {0, 2 * 1000 * 1000};
    nanosleep(&pause, nullptr);
  }
  kill(worker, SIGKILL);
  *killed = true;
  while (waitpid(worker, &status, 0) < 0 && errno == EINTR) {
  }
  return status;
}

int kill_worker(pid_t worker) {
  kill(worker, SIGKILL);
  int status = 0;
  while (waitpid(worker, &status, 0) < 0 && errno == EINTR) {
  }
  return status;
}

}  // namespace

std::string describe_wait_status(int status) {
  if (WIFEXITED(status)) return "exited with status " + std::to_string(WEXITSTATUS(status));
  if (WIFSIGNALED(status)) {
    int sig = WTERMSIG(status);
    const char *name = strsignal(sig);
    return "was killed by signal " + std::to_string(sig) + " (" + (name ? name : "?") + ")";
  }
  return "ended with wait status " + std::to_string(status);
}

RelayOutcome relay_worker(const RelayJob &job) {
  const char *what = job.what.c_str();
  const bool completion = ends_with_completion(job.type);
  const long long timeout_ms = static_cast<long long>(job.timeout_seconds) * 1000;
  std::string pending;
  std::vector<char> piece(kPieceSize);
  unsigned long relayed = 0;
  long long deadline = now_ms() + timeout_ms;
  bool final_seen = false;

  while (!final_seen) {
    long long left = deadline - now_ms();
    if (left <= 0) {
      int status = kill_worker(job.worker);
      HOSTD_ERROR(
          "%s: the provider produced nothing for %d s; worker %d killed (%s) after %lu "
          "frames",
          what, job.timeout_seconds, static_cast<int>(job.worker),
          describe_wait_status(status).c_str(), relayed);
      send_to_client(job.conn, error_frame(CMPI_RC_ERR_FAILED));
      return RelayOutcome::kTimedOut;
    }
    struct pollfd fds[2] = {{job.pipe_fd, POLLIN, 0}, {job.conn->connFd, 0, 0}};
    int ready = poll(fds, 2, static_cast<int>(left > 60000 ? 60000 : left));
    if (ready < 0) {
      if (errno == EINTR) continue;
      HOSTD_ERROR("%s: poll failed: %s", what, std::strerror(errno));
      kill_worker(job.worker);
      send_to_client(job.conn, error_frame(CMPI_RC_ERR_FAILED));
      return RelayOutcome::kWorkerDied;
    }
    if (ready == 0) continue;
    if ((fds[1].revents & (POLLHUP | POLLERR)) != 0) {
      int status = kill_worker(job.worker);
      HOSTD_ERROR(
          "%s: the client closed the connection before the answer was complete; worker "
          "%d killed (%s)",
          what, static_cast<int>(job.worker), describe_wait_status(status).c_str());
      return RelayOutcome::kClientGone;
    }
    if ((fds[0].revents & (POLLIN | POLLHUP | POLLERR)) == 0) continue;
    ssize_t n = read(job.pipe_fd, piece.data(), piece.size());
    if (n < 0) {
      if (errno == EINTR) continue;
      n = 0;  // a broken pipe counts as its end
    }
    if (n == 0) {
      int status = kill_worker(job.worker);
      HOSTD_ERROR(
          "%s: worker %d %s before its answer was complete (%lu frames passed on, %zu "
          "bytes of an unfinished frame dropped)",
          what, static_cast<int>(job.worker), describe_wait_status(status).c_str(), relayed,
          pending.size());
      send_to_client(job.conn, error_frame(CMPI_RC_ERR_FAILED));
      return RelayOutcome::kWorkerDied;
    }
    deadline = now_ms() + timeout_ms;
    std::size_t scan_from =
        pending.size() >= kTerminator.size() - 1 ? pending.size() - (kTerminator.size() - 1) : 0;
    pending.append(piece.data(), static_cast<std::size_t>(n));

    // Cut whole frames off the front; send them together.
    std::size_t start = 0;
    std::size_t end = 0;
    while (!final_seen &&
           (end = pending.find(kTerminator, start > scan_from ? start : scan_from)) !=
               std::string::npos) {
      FrameKind kind = classify_frame(std::string_view(pending).substr(start, end - start));
      start = end + kTerminator.size();
      ++relayed;
      final_seen = completion ? kind != FrameKind::kData : true;
    }
    if (start > 0) {
      if (!send_to_client(job.conn, pending.data(), start)) {
        int status = kill_worker(job.worker);
        HOSTD_ERROR("%s: the answer cannot be sent to the client; worker %d killed (%s)", what,
                    static_cast<int>(job.worker), describe_wait_status(status).c_str());
        return RelayOutcome::kClientGone;
      }
      pending.erase(0, start);
    }
    if (!final_seen && pending.size() > kMaxFrame) {
      int status = kill_worker(job.worker);
      HOSTD_ERROR("%s: a response frame grew beyond %zu bytes; worker %d killed (%s)", what,
                  kMaxFrame, static_cast<int>(job.worker), describe_wait_status(status).c_str());
      send_to_client(job.conn, error_frame(CMPI_RC_ERR_FAILED));
      return RelayOutcome::kTooLarge;
    }
  }

  // The client has its whole answer; the worker only has to end.
  serverAcceptclose(job.conn);
  close(job.pipe_fd);
  bool killed = false;
  int status = reap_worker(job.worker, timeout_ms, &killed);
  if (killed) {
    HOSTD_NOTICE("%s: worker %d did not end within %d s after its answer; killed", what,
                 static_cast<int>(job.worker), job.timeout_seconds);
  } else {
    HOSTD_TRACE("%s: answered with %lu frames; worker %d %s", what, relayed,
                static_cast<int>(job.worker), describe_wait_status(status).c_str());
  }
  return RelayOutcome::kAnswered;
}

}  // namespace hostd
