// worker.h - the worker process: serves one request with the provider, as the requesting user.
//
// The supervisor forks the worker after it has checked the request. The worker
//  1. switches its identity for good to the principal (assignBasePriv; skipped when the process
//     already runs as that user) and asks to be killed if the supervisor goes away;
//  2. opens the provider library and creates the MI that the request type needs;
//  3. calls the MI with a context holding "CMPIPrincipal", "CMPIInitNameSpace" (the request's
//     namespace) and "CMPIInvocationFlags" (0: the protocol carries no flags) and with a
//     StreamingResult, so results go to the pipe as frames while the MI runs;
//  4. writes the type's last data frame (GETINST, INVOKEMETHOD), calls the MI's cleanup with
//     terminating = true (the provider is unloaded after every request), writes the final
//     frame, and exits.
// The worker never touches the client's socket: it writes whole frames to out_fd, and the
// supervisor passes on only what is complete.
#ifndef CMPI_HOSTD_WORKER_H
#define CMPI_HOSTD_WORKER_H

#include <cmpiutility/records.h>
#include <sys/types.h>

#include <string>

#include "principal.h"

namespace hostd {

struct WorkOrder {
  ClientReq *request = nullptr;  // the parsed request; the worker releases it
  int type = 0;
  std::string class_name;
  std::string name_space;
  std::string provider;  // as the schema database spells it
  std::string library_path;
  Principal principal;
  pid_t supervisor = 0;
  int out_fd = -1;  // the write end of the pipe to the supervisor
};

// Serves the order and ends the process (exit status 0 when the final frame was written).
[[noreturn]] void run_worker(WorkOrder &order);

}  // namespace hostd

#endif  // CMPI_HOSTD_WORKER_H
