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

enum LongOnly {
  kOptSocket = 256,
  kOptMode,
  kOptGroup,
  kOptForeground,
  kOptPidFile,
  kOptLogLevel,
  kOptMaxRequest,
  kOptReadTimeout,
  kOptProviderTimeout,
  kOptShutdownGrace,
  kOptMaxClients,
  kOptSchemaDb,
  kOptProviderDir,
  kOptAllowUser,
  kOptAllowGroup,
  kOptHelp,
  kOptVersion,
};

const struct option kLongOptions[] = {
    {"socket", required_argument, nullptr, kOptSocket},
    {"mode", required_argument, nullptr, kOptMode},
    {"group", required_argument, nullptr, kOptGroup},
    {"foreground", no_argument, nullptr, kOptForeground},
    {"pid-file", required_argument, nullptr, kOptPidFile},
    {"log-level", required_argument, nullptr, kOptLogLevel},
    {"max-request", required_argument, nullptr, kOptMaxRequest},
    {"read-timeout", required_argument, nullptr, kOptReadTimeout},
    {"provider-timeout", required_argument, nullptr, kOptProviderTimeout},
    {"shutdown-grace", required_argument, nullptr, kOptShutdownGrace},
    {"max-clients", required_argument, nullptr, kOptMaxClients},
    {"schema-db", required_argument, nullptr, kOptSchemaDb},
    {"provider-dir", required_argument, nullptr, kOptProviderDir},
    {"allow-user", required_argument, nullptr, kOptAllowUser},
    {"allow-group", required_argument, nullptr, kOptAllowGroup},
    {"help", no_argument, nullptr, kOptHelp},
    {"version", no_argument, nullptr, kOptVersion},
    {nullptr, 0, nullptr, 0},
};

// A whole non-negative number in the given base within [low, high]; nothing else accepted.
bool parse_number(const char *text, int base, unsigned long long low, unsigned long long high,
                  unsigned long long *out) {
  if (text == nullptr || *text == '\0' || *text == '-' || *text == '+') return false;
  errno = 0;
  char *end = nullptr;
  unsigned long long value = std::strtoull(text, &end, base);
  if (errno != 0 || end == text || *end != '\0') return false;
  if (value < low || value > high) return false;
  *out = value;
  return true;
}

std::string absolute(const std::string &path) {
  if (path.empty() || path[0] == '/') return path;
  char cwd[PATH_MAX];
  if (getcwd(cwd, sizeof cwd) == nullptr) return path;
  std::string joined = cwd;
  if (joined.back() != '/') joined += '/';
  return joined + path;
}

bool number_option(const char *name, const char *text, int base, unsigned long long low,
                   unsigned long long high, unsigned long long *out, std::string *error) {
  if (parse_number(text, base, low, high, out)) return true;
  *error = std::string("--") + name + ": '" + (text ? text : "") + "' is not a number from " +
           std::to_string(low) + " to " + std::to_string(high);
  return false;
}

}  // namespace

ParseOutcome parse_options(int argc, char **argv, Options *options, std::string *error) {
  optind = 1;
  opterr = 0;
  for (;;) {
    int index = 0;
    int c = getopt_long(argc, argv, ":", kLongOptions, &index);
    if (c == -1) break;
    unsigned long long n = 0;
    switch (c) {
      case kOptSocket:
        if (*optarg == '\0') {
          *error = "--socket: the path is empty";
          return ParseOutcome::kExitUsage;
        }
        options->socket_path = absolute(optarg);
        if (options->socket_path.size() > 107) {
          *error = "--socket: the path is longer than 107 characters";
          return ParseOutcome::kExitUsage;
        }
        break;
      case kOptMode:
        if (!number_option("mode", optarg, 8, 0, 07777, &n, error)) return ParseOutcome::kExitUsage;
        options->socket_mode = static_cast<mode_t>(n);
        break;
      case kOptGroup:
        options->socket_group = optarg;
        break;
      case kOptForeground:
        options->foreground = true;
        break;
      case kOptPidFile:
        options->pid_file = absolute(optarg);
        break;
      case kOptLogLevel:
        if (!number_option("log-level", optarg, 10, 0, 9, &n, error))
          return ParseOutcome::kExitUsage;
        options->log_level = static_cast<int>(n);
        break;
      case kOptMaxRequest:
        if (!number_option("max-request", optarg, 10, 64, 1ull << 31, &n, error))
          return ParseOutcome::kExitUsage;
        options->max_request = static_cast<std::size_t>(n);
        break;
      case kOptReadTimeout:
        if (!number_option("read-timeout", optarg, 10, 1, 86400, &n, error))
          return ParseOutcome::kExitUsage;
        options->read_timeout = static_cast<int>(n);
        break;
      case kOptProviderTimeout:
        if (!number_option("provider-timeout", optarg, 10, 1, 86400, &n, error))
          return ParseOutcome::kExitUsage;
        options->provider_timeout = static_cast<int>(n);
        break;
      case kOptShutdownGrace:
        if (!number_option("shutdown-grace", optarg, 10, 0, 3600, &n, error))
          return ParseOutcome::kExitUsage;
        options->shutdown_grace = static_cast<int>(n);
        break;
      case kOptMaxClients:
        if (!number_option("max-clients", optarg, 10, 1, 512, &n, error))
          return ParseOutcome::kExitUsage;
        options->max_clients = static_cast<int>(n);
        break;
      case kOptSchemaDb:
        options->schema_db = absolute(optarg);
        break;
      case kOptProviderDir:
        options->provider_dir = absolute(optarg);
        if (!options->provider_dir.empty() && options->provider_dir.back() != '/')
          options->provider_dir += '/';
        break;
      case kOptAllowUser:
        options->allow_users.emplace_back(optarg);
        break;
      case kOptAllowGroup:
        options->allow_groups.emplace_back(optarg);
        break;
      case kOptHelp:
        return ParseOutcome::kShowHelp;
      case kOptVersion:
        return ParseOutcome::kShowVersion;
      case ':':
        *error = std::string("option '") + argv[optind - 1] + "' needs a value";
        return ParseOutcome::kExitUsage;
      default:
        *error = std::string("unknown option '") + argv[optind - 1] + "'";
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
connection, serves it under the identity of the requesting user with the provider that
the schema database names for the class, and streams the results back as frames.

Socket and process:
  --socket PATH           socket file to listen on (default /run/cmpi-hostd.sock); an
                          old socket file there is replaced, any other kind of file is not
  --mode OCTAL            permissions of the socket file (default 0660)
  --group NAME            group of the socket file (default: the daemon's group)
  --foreground            stay in the foreground; otherwise detach (fork, new session,
                          working directory /, standard streams to /dev/null)
  --pid-file PATH         write the daemon's process id there; removed at shutdown
  --max-clients N         connections served at once (default 64, at most 512); further
                          connections wait in the listen queue
  --shutdown-grace SECS   on SIGTERM or SIGINT, how long running connections may still
                          finish before they are killed (default 10)

Who may connect (checked with the peer's SO_PEERCRED before a byte is read):
  --allow-user NAME       also admit this local user (repeatable)
  --allow-group NAME      also admit members of this local group (repeatable)
                          root and the daemon's own user are always admitted.
  Requests are served as the request's "Principal", which must be a local user; a daemon
  that does not run as root serves only requests of its own user.

Limits:
  --max-request BYTES     largest request frame, terminator included (default 67108864)
  --read-timeout SECS     time a client has to deliver its whole request (default 10)
  --provider-timeout SECS longest time a provider may go without producing output
                          (default 30); a provider past it is killed and the client gets
                          the error frame CMPIERROR:1

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

Signals: SIGTERM and SIGINT stop the daemon cleanly (no new connections, running ones
finish within the grace period, the socket file and pid file are removed, exit status 0);
a second one ends the grace period at once. SIGHUP is ignored.
Exit status: 0 after a clean shutdown or --help/--version, 1 when the daemon cannot
start, 2 for a bad command line.
The wire protocol is described in docs/protocol.md.
)";
  return text;
}

}  // namespace hostd
