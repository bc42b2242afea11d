// front.h - the daemon's front process: one event loop for every connection and worker.
//
// The front runs as root and never parses a request with the library or loads a provider. It
//  - accepts connections, reads the peer's credentials (SO_PEERCRED) and admits or refuses the
//    peer (admission.h); a peer that is not root or a proxy may hold at most
//    max_connections_per_user connections, and at most max_connections are open in all;
//  - reads request frames from all connections at once (epoll), each within its read deadline
//    (the whole request) and the size limit, and all together within max_buffered bytes;
//  - checks each complete request strictly (request_check.h) and the principal against the
//    peer (admission.h), refusing with an error frame and one log line;
//  - queues accepted requests (at most max_queue; a full queue answers CMPIERROR:1) and hands
//    each to an idle worker of its principal, with the client's connection, starting a worker
//    when the limits allow (worker_pool.h, worker_process.h); a request waits for a worker of
//    its user that is finishing its answer rather than start another;
//  - lets the worker write the answer to the client itself through the answer window
//    (answer_window.h, direct_answer.h), sends frames the worker left waiting there for 20 ms,
//    and drops a client that reads nothing for the provider time-out; frames a worker sends
//    through its channel instead (frames wider than the window, or when no window could be
//    made) it passes on as whole messages, with back-pressure (a client that does not read
//    stalls its worker, not the front);
//  - ends the answer with the whole frames the worker placed but did not send and CMPIERROR:1
//    when the worker crashes, falls silent past the provider time-out, passes its request
//    deadline, CPU time or memory;
//  - retires idle workers, and kills whatever a provider left behind when its worker ends (the
//    front is a child subreaper: orphans of a dead worker become its children);
//  - on SIGTERM/SIGINT stops accepting, lets running requests finish within the grace period,
//    then answers every waiting client with CMPIERROR:1 and ends every worker.
#ifndef CMPI_HOSTD_FRONT_H
#define CMPI_HOSTD_FRONT_H

#include <cmpiutility/transport.h>
#include <signal.h>
#include <sys/types.h>

#include <cstddef>
#include <string>

#include "admission.h"
#include "options.h"
#include "request_check.h"
#include "worker_pool.h"

namespace hostd {

struct FrontConfig {
  std::string socket_path;
  ino_t socket_inode = 0;
  std::string pid_file;
  int shutdown_grace = 10;
  AdmissionPolicy admission;
  RequestCheckLimits check;
  std::size_t max_request = 64u << 20;
  int read_timeout = 10;
  int max_connections = 1024;
  int max_connections_per_user = 64;
  std::size_t max_buffered = 256u << 20;
  int max_queue = 256;
  WorkerLimits workers;
  std::size_t worker_memory = 0;  // bytes; 0: none
  long long provider_idle_ms = 0;  // an unused provider stays loaded this long in its worker
  int worker_cpu = 0;             // seconds per request; 0: none
  int provider_timeout = 30;
  int request_deadline = 0;       // seconds; 0: none
  EncoderThread encoder_thread = EncoderThread::kOff;  // see options.h
};

// The signals the front takes through its signalfd; block them before anything forks.
sigset_t front_signals();

// Serves until SIGTERM or SIGINT; returns the exit status (0 after a clean shutdown).
// old_mask is the signal mask workers get.
int run_front(SockInfo *server, const FrontConfig &config, const sigset_t &old_mask);

}  // namespace hostd

#endif  // CMPI_HOSTD_FRONT_H
