// listener.h - the main process: accept, check the peer, fork a supervisor, reap, shut down.
//
// The main process never reads a byte from a client and never loads a provider. Signals reach
// it through a signalfd: SIGCHLD reaps supervisors, SIGTERM and SIGINT start the shutdown,
// SIGHUP is ignored. At most max_clients supervisors run at once; further connections wait in
// the listen queue.
#ifndef CMPI_HOSTD_LISTENER_H
#define CMPI_HOSTD_LISTENER_H

#include <cmpiutility/transport.h>
#include <signal.h>

#include <string>

#include "peer_check.h"
#include "supervisor.h"

namespace hostd {

struct ListenerConfig {
  std::string socket_path;
  ino_t socket_inode = 0;
  std::string pid_file;
  int max_clients = 64;
  int shutdown_grace = 10;
  AllowList allow;
  SupervisorConfig supervisor;
};

// The signals the main process takes through its signalfd; block them before anything forks.
sigset_t listener_signals();

// Serves until SIGTERM or SIGINT; returns the exit status (0 after a clean shutdown).
// old_mask is the signal mask to give supervisors.
int run_listener(SockInfo *server, const ListenerConfig &config, const sigset_t &old_mask);

}  // namespace hostd

#endif  // CMPI_HOSTD_LISTENER_H
