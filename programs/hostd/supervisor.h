// supervisor.h - the process that owns one client connection.
//
// Forked by the listener for each admitted connection, still as root. It
//  1. reads the request frame (size limit, read time-out) and parses it with doDeserialization;
//  2. checks the principal (a local user; the daemon's own user when the daemon is not root);
//  3. answers GETCLASS itself from the schema database;
//  4. otherwise finds the provider (GetProviderName, "<provider dir>lib<name>.so"), forks the
//     worker connected to it by a pipe, and relays the worker's whole frames to the client
//     under the provider time-out.
// Every refusal sends an error frame "CMPIERROR:<code>" where the connection still allows one,
// and logs one line saying why. The process ends when the connection is done.
#ifndef CMPI_HOSTD_SUPERVISOR_H
#define CMPI_HOSTD_SUPERVISOR_H

#include <cmpiutility/transport.h>
#include <sys/types.h>

#include "request_reader.h"

namespace hostd {

struct SupervisorConfig {
  RequestLimits limits;
  int provider_timeout = 30;
  uid_t daemon_uid = 0;
};

// conn: a copy of the listener's record with connFd set and fd closed (-1).
[[noreturn]] void run_supervisor(SockInfo conn, const SupervisorConfig &config);

}  // namespace hostd

#endif  // CMPI_HOSTD_SUPERVISOR_H
