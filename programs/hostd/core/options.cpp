// options.cpp - parsing and documenting the command line of cmpi-hostd.
#include "options.h"

#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>

#include "option_table.h"

#ifndef CMPI_HOSTD_VERSION
#define CMPI_HOSTD_VERSION "0"
#endif

namespace hostd {
namespace {

// Every option once: its name, whether it takes a value, and what it does with it.
using wire::OptionRow;
constexpr wire::OptionKind kFlag = wire::OptionKind::kFlag;
constexpr wire::OptionKind kPath = wire::OptionKind::kPath;
constexpr wire::OptionKind kText = wire::OptionKind::kText;
constexpr wire::OptionKind kList = wire::OptionKind::kList;
constexpr wire::OptionKind kNumber = wire::OptionKind::kNumber;

const OptionRow kOptionRows[] = {
    {"socket", kPath, 0, 0, 0},
    {"mode", kNumber, 8, 0, 07777},
    {"group", kText, 0, 0, 0},
    {"foreground", kFlag, 0, 0, 0},
    {"pid-file", kPath, 0, 0, 0},
    {"log-level", kNumber, 10, 0, 9},
    {"shutdown-grace", kNumber, 10, 0, 3600},
    {"max-request", kNumber, 10, 64, 1ull << 31},
    {"read-timeout", kNumber, 10, 1, 86400},
    {"max-connections", kNumber, 10, 1, 65536},
    {"max-connections-per-user", kNumber, 10, 1, 65536},
    {"max-buffered", kNumber, 10, 4096, 1ull << 40},
    {"max-queue", kNumber, 10, 1, 65536},
    {"workers-per-user", kNumber, 10, 1, 256},
    {"max-workers", kNumber, 10, 1, 4096},
    {"max-clients", kNumber, 10, 1, 4096},  // the earlier name of --max-workers
    {"worker-idle", kNumber, 10, 1, 86400 * 30},
    {"provider-idle", kNumber, 10, 0, 86400 * 30},
    {"worker-requests", kNumber, 10, 0, 1ull << 40},
    {"worker-memory", kNumber, 10, 0, 1ull << 30},
    {"worker-cpu", kNumber, 10, 0, 86400},
    {"provider-timeout", kNumber, 10, 1, 86400},
    {"request-deadline", kNumber, 10, 0, 86400 * 7},
    {"encoder-thread", kText, 0, 0, 0},
    {"schema-db", kPath, 0, 0, 0},
    {"provider-dir", kPath, 0, 0, 0},
    {"allow-user", kList, 0, 0, 0},
    {"allow-group", kList, 0, 0, 0},
    {"allow-proxy-user", kList, 0, 0, 0},
    {"allow-proxy-group", kList, 0, 0, 0},
    {"allow-proxy-root", kFlag, 0, 0, 0},
    {"help", kFlag, 0, 0, 0},
    {"version", kFlag, 0, 0, 0},
};
constexpr int kOptionCount = static_cast<int>(sizeof kOptionRows / sizeof kOptionRows[0]);

using wire::absolute_path;

// Stores a parsed value into its field; false with *error for a value out of place.
bool store(const std::string &name, const std::string &text, unsigned long long n,
           Options *o, std::string *error) {
  if (name == "socket") {
    if (text.empty()) {
      *error = "--socket: the path is empty";
      return false;
    }
    o->socket_path = absolute_path(text);
    if (o->socket_path.size() > 107) {
      *error = "--socket: the path is longer than 107 characters";
      return false;
    }
  } else if (name == "mode") {
    o->socket_mode = static_cast<mode_t>(n);
  } else if (name == "group") {
    o->socket_group = text;
  } else if (name == "foreground") {
    o->foreground = true;
  } else if (name == "pid-file") {
    o->pid_file = absolute_path(text);
  } else if (name == "log-level") {
    o->log_level = static_cast<int>(n);
  } else if (name == "shutdown-grace") {
    o->shutdown_grace = static_cast<int>(n);
  } else if (name == "max-request") {
    o->max_request = static_cast<std::size_t>(n);
  } else if (name == "read-timeout") {
    o->read_timeout = static_cast<int>(n);
  } else if (name == "max-connections") {
    o->max_connections = static_cast<int>(n);
  } else if (name == "max-connections-per-user") {
    o->max_connections_per_user = static_cast<int>(n);
  } else if (name == "max-buffered") {
    o->max_buffered = static_cast<std::size_t>(n);
  } else if (name == "max-queue") {
    o->max_queue = static_cast<int>(n);
  } else if (name == "workers-per-user") {
    o->workers_per_user = static_cast<int>(n);
  } else if (name == "max-workers" || name == "max-clients") {
    o->max_workers = static_cast<int>(n);
  } else if (name == "worker-idle") {
    o->worker_idle = static_cast<int>(n);
  } else if (name == "provider-idle") {
    o->provider_idle = static_cast<int>(n);
  } else if (name == "worker-requests") {
    o->worker_requests = static_cast<unsigned long>(n);
  } else if (name == "worker-memory") {
    o->worker_memory_mib = static_cast<std::size_t>(n);
  } else if (name == "worker-cpu") {
    o->worker_cpu = static_cast<int>(n);
  } else if (name == "provider-timeout") {
    o->provider_timeout = static_cast<int>(n);
  } else if (name == "request-deadline") {
    o->request_deadline = static_cast<int>(n);
  } else if (name == "encoder-thread") {
    if (text == "on") {
      o->encoder_thread = EncoderThread::kOn;
    } else if (text == "off") {
      o->encoder_thread = EncoderThread::kOff;
    } else {
      *error = "--encoder-thread: '" + text + "' is neither on nor off";
      return false;
    }
  } else if (name == "schema-db") {
    o->schema_db = absolute_path(text);
  } else if (name == "provider-dir") {
    o->provider_dir = absolute_path(text);
    if (!o->provider_dir.empty() && o->provider_dir.back() != '/') o->provider_dir += '/';
  } else if (name == "allow-user") {
    o->allow_users.push_back(text);
  } else if (name == "allow-group") {
    o->allow_groups.push_back(text);
  } else if (name == "allow-proxy-user") {
    o->proxy_users.push_back(text);
  } else if (name == "allow-proxy-group") {
    o->proxy_groups.push_back(text);
  } else if (name == "allow-proxy-root") {
    o->proxy_root = true;
  }
  return true;
}

}  // namespace

ParseOutcome parse_options(int argc, char **argv, Options *options, std::string *error) {
  const wire::OptionStore keep = [options](const OptionRow &row, const std::string &text,
                                           unsigned long long n, std::string *why) {
    return store(row.name, text, n, options, why);
  };
  switch (wire::walk_options(argc, argv, kOptionRows, kOptionCount, keep, error)) {
    case wire::OptionWalk::kShowHelp:
      return ParseOutcome::kShowHelp;
    case wire::OptionWalk::kShowVersion:
      return ParseOutcome::kShowVersion;
    case wire::OptionWalk::kExitUsage:
      return ParseOutcome::kExitUsage;
    case wire::OptionWalk::kRun:
      break;
  }
  return ParseOutcome::kRun;
}

std::string version_text() { return "cmpi-hostd " CMPI_HOSTD_VERSION "\n"; }

std::string help_text(const char *program) {
  std::string text = "Usage: ";
  text += program;
  text += R"( [OPTION]...
The CMPI provider host: listens on an AF_UNIX socket, reads one request frame per
connection, and serves it under the identity of the request's principal with the
provider that the schema database names for the class, streaming the results back as
frames. One front process accepts and reads requests from all connections at once;
persistent worker processes, one user each, serve them one at a time.

Socket and process:
  --socket PATH           socket file to listen on (default /run/cmpi-hostd.sock); an
                          old socket file there is replaced, any other kind of file is not
  --mode OCTAL            permissions of the socket file (default 0660)
  --group NAME            group of the socket file (default: the daemon's group)
  --foreground            stay in the foreground; otherwise detach (fork, new session,
                          working directory /, standard streams to /dev/null)
  --pid-file PATH         write the daemon's process id there; removed at shutdown
  --shutdown-grace SECS   on SIGTERM or SIGINT, how long running requests may still
                          finish before their clients get an error frame (default 10)

Who may connect (checked with the peer's SO_PEERCRED before a byte is read):
  --allow-user NAME       also admit this local user (repeatable)
  --allow-group NAME      also admit members of this local group (repeatable)
                          root and the daemon's own user are always admitted.
As whom a request is served (its "Principal", which must be a local user):
  root may act as any user; a proxy as any user but root; every other peer only as
  itself. A request outside this gets CMPIERROR:2 (access denied).
  --allow-proxy-user NAME admit this user as a proxy (repeatable)
  --allow-proxy-group NAME
                          admit members of this group as proxies (repeatable)
  --allow-proxy-root      proxies may act as root too (default: they may not)
  A daemon that does not run as root serves only requests of its own user.

Connections and requests:
  --max-request BYTES     largest request frame, terminator included (default 67108864)
  --read-timeout SECS     time a client has to deliver its whole request (default 10)
  --max-connections N     open connections in all (default 1024); further ones wait in
                          the listen queue
  --max-connections-per-user N
                          open connections of one peer user (default 64); root and
                          proxies, which speak for many users, are exempt
  --max-buffered BYTES    request bytes held in all, read and waiting (default
                          268435456); a request that would pass it is refused
  --max-queue N           requests waiting for a worker (default 256); when full, a
                          request is refused with CMPIERROR:1

Workers (one user each, serving that user's requests one at a time):
  --workers-per-user N    workers of one user at once (default 4)
  --max-workers N         workers in all (default 64; --max-clients is the old name)
  --worker-idle SECS      an idle worker retires after this long (default 300)
  --provider-idle SECS    a provider not marked UnloadNever stays loaded in its worker
                          until unused this long (default 120; 0: unloaded after each
                          request); UnloadNever providers stay until the worker retires
  --worker-requests N     a worker retires after this many requests (default 10000;
                          0: never)
  --worker-memory MIB     address space and resident memory of a worker (default 2048;
                          0: no limit); a worker past it is ended
  --worker-cpu SECS       CPU time one request may use (default 60; 0: no limit)
  --provider-timeout SECS longest time a provider may go without producing output
                          (default 30)
  --request-deadline SECS longest time one request may take in all (default 300; 0: no
                          limit)
  --encoder-thread on|off whether a second thread in the worker encodes the
                          instances of an enumeration while the provider makes the
                          next ones (default off; never on a single processor, and
                          only while the client keeps up; the bytes are the same)
  A worker past a limit, or one that crashes, ends only the request it was serving: the
  client gets the whole frames sent so far and the error frame CMPIERROR:1, and the next
  request gets a new worker. Nothing a provider starts outlives its worker.

Where things are:
  --schema-db PATH        schema database (sets CMPIUTILITY_SCHEMA_DB; default
                          /etc/wsman/Database/Schema/CIMSchema.db)
  --provider-dir DIR      provider libraries, lib<provider name in lower case>.so (sets
                          CMPIUTILITY_PROVIDER_DIR; default /lib/cmpi/)

Logging (through dlog, module 232: level 2 errors, 3 notices, 4 traces):
  --log-level N           log threshold 0-9 (sets DLOG_LEVEL; default 2)
  DLOG_OUTPUT             stderr (default), syslog or a file path; a detached daemon
                          logs to syslog unless DLOG_OUTPUT is set

  --help                  show this text and exit
  --version               show the version and exit

Signals: SIGTERM and SIGINT stop the daemon cleanly (no new connections, running
requests finish within the grace period, every client still waiting then gets an error
frame, no worker is left, the socket file and pid file are removed, exit status 0); a
second one ends the grace period at once. SIGHUP is ignored.
Exit status: 0 after a clean shutdown or --help/--version, 1 when the daemon cannot
start, 2 for a bad command line.
The wire protocol is described in docs/protocol.md.
)";
  return text;
}

}  // namespace hostd
