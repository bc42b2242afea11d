// worker_process.cpp - set-up, identity switch and the request loop of a worker.
#include "worker_process.h"

#include <cmpiutility/privilege.h>
#include <fcntl.h>
#include <poll.h>
#include <sched.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string>

#include "channel.h"
#include "direct_answer.h"
#include "log.h"
#include "memory_tuning.h"
#include "request_service.h"

namespace hostd {
namespace {

void leave_front_behind(const WorkerSetup &setup) {
  for (int fd : setup.close_fds) {
    if (fd != setup.channel_fd && fd > STDERR_FILENO) close(fd);
  }
  setpgid(0, 0);
  sigprocmask(SIG_SETMASK, &setup.signal_mask, nullptr);
  signal(SIGPIPE, SIG_DFL);
  int null_fd = open("/dev/null", O_RDWR | O_CLOEXEC);
  if (null_fd >= 0) {
    dup2(null_fd, STDIN_FILENO);
    dup2(null_fd, STDOUT_FILENO);
    close(null_fd);
  }
}

void set_limits(const WorkerSetup &setup) {
#ifndef CMPIUTILITY_SANITIZED
  // The address sanitizer reserves terabytes of address space at start, so the limit cannot
  // apply to sanitized builds; the front's watch of resident memory still does.
  if (setup.address_space != 0) {
    struct rlimit limit = {setup.address_space, setup.address_space};
    if (setrlimit(RLIMIT_AS, &limit) != 0) {
      HOSTD_ERROR("worker for %s: cannot limit its address space: %s",
                  setup.principal.name.c_str(), std::strerror(errno));
    }
  }
#else
  (void)setup;
#endif
  prctl(PR_SET_CHILD_SUBREAPER, 1);
}

bool switch_identity(const WorkerSetup &setup) {
  const Principal &p = setup.principal;
  if (geteuid() != p.uid || getuid() != p.uid) {
    if (assignBasePriv(0, p.name.c_str()) != 0) {
      HOSTD_ERROR("worker for %s: cannot switch to user %s", p.name.c_str(), p.name.c_str());
      return false;
    }
  }
  // Changing the identity clears the parent-death signal, so it is asked for afterwards.
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  return getppid() == setup.front;
}

// --encoder-thread on, and more than one processor for this worker (on one, the thread's
// copies are pure cost).
bool encoder_thread_wanted(EncoderThread choice) {
  if (choice != EncoderThread::kOn) return false;
  cpu_set_t set;
  CPU_ZERO(&set);
  return sched_getaffinity(0, sizeof set, &set) == 0 && CPU_COUNT(&set) > 1;
}

// Children that providers left behind and that have ended.
void reap_left_behind() {
  int status = 0;
  while (waitpid(-1, &status, WNOHANG) > 0) {
  }
}

// Waits until the front sends something, unloading providers as they become idle meanwhile.
// false when waiting failed.
bool wait_for_request(int fd, RequestService *service) {
  IdleRelease release;  // the heap's free pages go back if no request comes soon
  for (;;) {
    const long long wait_ms = release.wait_ms(service->unload_idle());
    struct pollfd pfd = {fd, POLLIN, 0};
    const int timeout = wait_ms < 0 ? -1 : static_cast<int>(std::min(wait_ms, 3600000LL));
    const int n = poll(&pfd, 1, timeout);
    if (n > 0) return true;
    if (n < 0 && errno != EINTR) return false;
    release.after_wait();
  }
}

}  // namespace

void run_worker_process(const WorkerSetup &setup) {
  leave_front_behind(setup);
  set_limits(setup);
  if (!switch_identity(setup)) _exit(3);
  int status = 0;
  {
    if (setup.window != nullptr) setup.window->keep_from_forks();
    DirectAnswer sink(setup.window, setup.channel_fd);
    RequestService service(setup.principal, &sink, setup.provider_idle_ms,
                           encoder_thread_wanted(setup.encoder_thread));
    std::string document;
    MessageKind kind;
    int client = -1;
    while (wait_for_request(setup.channel_fd, &service) &&
           read_message(setup.channel_fd, &kind, &document, &client)) {
      sink.begin(client);
      if (kind != MessageKind::kRequest) {
        HOSTD_ERROR("worker for %s: unexpected message %u from the front",
                    setup.principal.name.c_str(), static_cast<unsigned>(kind));
        status = 4;
        break;
      }
      std::string last = service.serve(document);
      document.clear();
      document.shrink_to_fit();
      reap_left_behind();
      if (!sink.finish(last)) {
        status = 5;
        break;
      }
    }
    service.retire();
  }
  reap_left_behind();
  std::exit(status);
}

}  // namespace hostd
