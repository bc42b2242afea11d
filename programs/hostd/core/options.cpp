// options.cpp - parsing and documenting the command line of cmpi-hostd.
#include "options.h"

#include <getopt.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>

#ifndef CMPI_HOSTD_VERSION
#define CMPI_HOSTD_VERSION "0"
#endif

namespace hostd {
namespace {

// Every option once: its name, whether it takes a value, and what it does with it.
enum class Kind { kFlag, kPath, kText, kList, kNumber };

struct OptionRow {
  const char *name;
  Kind kind;
  int base;                 // kNumber
  unsigned long long low;   // kNumber
  unsigned long long high;  // kNumber
};

const OptionRow kOptionRows[] = {
    {"socket", Kind::kPath, 0, 0, 0},
    {"mode", Kind::kNumber, 8, 0, 07777},
    {"group", Kind::kText, 0, 0, 0},
    {"foreground", Kind::kFlag, 0, 0, 0},
    {"pid-file", Kind::kPath, 0, 0, 0},
    {"log-level", Kind::kNumber, 10, 0, 9},
    {"shutdown-grace", Kind::kNumber, 10, 0, 3600},
    {"max-request", Kind::kNumber, 10, 64, 1ull << 31},
    {"read-timeout", Kind::kNumber, 10, 1, 86400},
    {"max-connections", Kind::kNumber, 10, 1, 65536},
    {"max-connections-per-user", Kind::kNumber, 10, 1, 65536},
    {"max-buffered", Kind::kNumber, 10, 4096, 1ull << 40},
    {"max-queue", Kind::kNumber, 10, 1, 65536},
    {"workers-per-user", Kind::kNumber, 10, 1, 256},
    {"max-workers", Kind::kNumber, 10, 1, 4096},
    {"max-clients", Kind::kNumber, 10, 1, 4096},  // the earlier name of --max-workers
    {"worker-idle", Kind::kNumber, 10, 1, 86400 * 30},
    {"provider-idle", Kind::kNumber, 10, 0, 86400 * 30},
    {"worker-requests", Kind::kNumber, 10, 0, 1ull << 40},
    {"worker-memory", Kind::kNumber, 10, 0, 1ull << 30},
    {"worker-cpu", Kind::kNumber, 10, 0, 86400},
    {"provider-timeout", Kind::kNumber, 10, 1, 86400},
    {"request-deadline", Kind::kNumber, 10, 0, 86400 * 7},
    {"schema-db", Kind::kPath, 0, 0, 0},
    {"provider-dir", Kind::kPath, 0, 0, 0},
    {"allow-user", Kind::kList, 0, 0, 0},
    {"allow-group", Kind::kList, 0, 0, 0},
    {"allow-proxy-user", Kind::kList, 0, 0, 0},
    {"allow-proxy-group", Kind::kList, 0, 0, 0},
    {"allow-proxy-root", Kind::kFlag, 0, 0, 0},
    {"help", Kind::kFlag, 0, 0, 0},
    {"version", Kind::kFlag, 0, 0, 0},
};
constexpr int kOptionCount = static_cast<int>(sizeof kOptionRows / sizeof kOptionRows[0]);

// A whole non-negative number in the given base within [low, high]; nothing else accepted.
bool parse_number(const char *text, int base, unsigned long long low, unsigned long long high,
                  unsigned long long *out) {
  // strtoull would skip leading blanks and take a sign: only a digit may start the text.
  if (text == nullptr || *text < '0' || *text > '9') return false;
  errno = 0;
  char *end = nullptr;
  unsigned long long value = std::strtoull(text, &end, base);
  if (errno != 0 || end == text || *end != '\0') return false;
  if (value < low || value > high) return false;
  *out = value;
  return true;
}

// A bound as the option is typed: octal with its leading 0, else decimal.
std::string bound_text(unsigned long long value, int base) {
  if (base != 8 || value == 0) return std::to_string(value);
  std::string digits;
  for (; value != 0; value /= 8) digits.insert(digits.begin(), static_cast<char>('0' + value % 8));
  return "0" + digits;
}

std::string absolute(const std::string &path) {
  if (path.empty() || path[0] == '/') return path;
  char cwd[PATH_MAX];
  if (getcwd(cwd, sizeof cwd) == nullptr) return path;
  std::string joined = cwd;
  if (joined.back() != '/') joined += '/';
  return joined + path;
}

// Stores a parsed value into its field; false with *error for a value out of place.
bool store(const std::string &name, const std::string &text, unsigned long long n,
           Options *o, std::string *error) {
  if (name == "socket") {
    if (text.empty()) {
      *error = "--socket: the path is empty";
      return false;
    }
    o->socket_path = absolute(text);
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
    o->pid_file = absolute(text);
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
  } else if (name == "schema-db") {
    o->schema_db = absolute(text);
  } else if (name == "provider-dir") {
    o->provider_dir = absolute(text);
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
  struct option longs[kOptionCount + 1];
  for (int i = 0; i < kOptionCount; ++i) {
    longs[i] = {kOptionRows[i].name, kOptionRows[i].kind == Kind::kFlag ? no_argument : required_argument,
                nullptr, 256 + i};
  }
  longs[kOptionCount] = {nullptr, 0, nullptr, 0};
  // 0, not 1: getopt then starts afresh, forgetting a cluster of short options it was inside
  // and the arguments it moved on an earlier call.
  optind = 0;
  opterr = 0;
  for (;;) {
    int index = 0;
    int c = getopt_long(argc, argv, ":", longs, &index);
    if (c == -1) break;
    if (c == ':') {
      *error = std::string("option '") + argv[optind - 1] + "' needs a value";
      return ParseOutcome::kExitUsage;
    }
    if (c < 256 || c >= 256 + kOptionCount) {
      // getopt tells in optopt what it refused: a short option letter (argv[optind - 1] is not
      // it when more letters follow in the same word), a flag given a value, or 0 for an
      // unknown or ambiguous long option.
      if (optopt >= 256 && optopt < 256 + kOptionCount) {
        *error = std::string("option '--") + kOptionRows[optopt - 256].name + "' takes no value";
      } else if (optopt > 0 && optopt < 256) {
        *error = std::string("unknown option '-") + static_cast<char>(optopt) + "'";
      } else {
        *error = std::string("unknown option '") + argv[optind - 1] + "'";
      }
      return ParseOutcome::kExitUsage;
    }
    const OptionRow &row = kOptionRows[c - 256];
    const std::string name = row.name;
    if (name == "help") return ParseOutcome::kShowHelp;
    if (name == "version") return ParseOutcome::kShowVersion;
    unsigned long long n = 0;
    if (row.kind == Kind::kNumber && !parse_number(optarg, row.base, row.low, row.high, &n)) {
      *error = "--" + name + ": '" + (optarg ? optarg : "") + "' is not a number from " +
               bound_text(row.low, row.base) + " to " + bound_text(row.high, row.base);
      return ParseOutcome::kExitUsage;
    }
    if (!store(name, optarg != nullptr ? optarg : "", n, options, error)) {
      return ParseOutcome::kExitUsage;
    }
  }
  if (optind < argc) {
    *error = std::string("unexpected argument '") + argv[optind] + "'";
    return ParseOutcome::kExitUsage;
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
