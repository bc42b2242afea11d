// relay.h - passing a worker's frames on to the client.
//
// The supervisor reads the worker's pipe, cuts what arrives at "CMPI_EOF" and sends only whole
// frames to the client, so the client never sees half a frame. The worker's answer is complete
// with its final frame: the completion or error frame for the operations that end with one, the
// first frame for MODIFYINST, DELETEINST and CREATEINST. If the pipe ends before that (the worker
// crashed or exited), or nothing arrives for timeout_seconds (the provider hangs), the worker is
// killed with SIGKILL, what it left unfinished is dropped, the client gets "CMPIERROR:1", and the
// reason is logged.
#ifndef CMPI_HOSTD_RELAY_H
#define CMPI_HOSTD_RELAY_H

#include <cmpiutility/transport.h>
#include <sys/types.h>

#include <string>

namespace hostd {

struct RelayJob {
  int pipe_fd = -1;
  SockInfo *conn = nullptr;
  pid_t worker = 0;
  int type = 0;
  int timeout_seconds = 0;
  std::string what;  // "request type 1 for class X (provider Y)", for the log
};

enum class RelayOutcome {
  kAnswered,    // the final frame reached the client
  kWorkerDied,  // the worker ended early; the client got CMPIERROR:1
  kTimedOut,    // the provider was silent too long; the client got CMPIERROR:1
  kTooLarge,    // one frame grew beyond the relay's limit; the client got CMPIERROR:1
  kClientGone,  // the client closed or stopped reading; the worker was killed
};

RelayOutcome relay_worker(const RelayJob &job);

// "exited with status N" / "was killed by signal N (name)" of a wait status.
std::string describe_wait_status(int status);

}  // namespace hostd

#endif  // CMPI_HOSTD_RELAY_H
