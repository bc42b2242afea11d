// worker_process.h - the life of one worker process.
//
// The front forks a worker for one user and gives it one end of a socketpair. The worker
//  1. leaves the front's descriptors and signal mask behind, takes its own process group (so
//     that the front can end it and everything it started at once), and points its standard
//     output at /dev/null (what a provider prints there is dropped);
//  2. sets its resource limits while still root (address space; a provider cannot raise them
//     again), becomes a child subreaper (processes its providers leave behind become its
//     children, not init's, and end with it);
//  3. switches its identity for good to the user (assignBasePriv; skipped when the process
//     already runs as that user) and asks to be killed when the front goes away;
//  4. serves request messages one at a time (RequestService), writing the answer to the
//     client connection that came with the request through the answer window (direct_answer.h;
//     without one, frames go to the front as kFrames messages and the last frames as kEnd),
//     and reaps what its providers leave behind; while
//     it waits for the next request, it unloads the providers unused for provider_idle_ms;
//  5. when the front ends the channel, unloads its providers (cleanup, terminating true) and
//     exits with status 0.
#ifndef CMPI_HOSTD_WORKER_PROCESS_H
#define CMPI_HOSTD_WORKER_PROCESS_H

#include <signal.h>
#include <sys/types.h>

#include <cstddef>
#include <vector>

#include "admission.h"
#include "answer_window.h"
#include "options.h"

namespace hostd {

struct WorkerSetup {
  Principal principal;
  int channel_fd = -1;           // the worker's end of the socketpair
  std::vector<int> close_fds;    // the front's descriptors, closed at once in the child
  sigset_t signal_mask;          // the mask the daemon started with
  pid_t front = 0;               // the front's pid, to notice its end
  std::size_t address_space = 0;  // bytes; 0: no limit
  long long provider_idle_ms = 0;  // unused providers are unloaded after this long
  // Whether large enumerations are encoded on a second thread (options.h).
  EncoderThread encoder_thread = EncoderThread::kOff;
  AnswerWindow *window = nullptr;  // shared with the front; nullptr: answers go through it
};

[[noreturn]] void run_worker_process(const WorkerSetup &setup);

}  // namespace hostd

#endif  // CMPI_HOSTD_WORKER_PROCESS_H
