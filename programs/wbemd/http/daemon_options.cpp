// daemon_options.cpp - parsing and documenting the command line of cmpi-wbemd.
#include "daemon_options.h"

#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdlib>

#include "option_table.h"

#ifndef CMPI_WBEMD_VERSION
#define CMPI_WBEMD_VERSION "0"
#endif

namespace wbem {
namespace {

using wire::OptionRow;
constexpr wire::OptionKind kFlag = wire::OptionKind::kFlag;
constexpr wire::OptionKind kPath = wire::OptionKind::kPath;
constexpr wire::OptionKind kText = wire::OptionKind::kText;
constexpr wire::OptionKind kNumber = wire::OptionKind::kNumber;

const OptionRow kRows[] = {
    {"https-port", kNumber, 10, 0, 65535},
    {"https-address", kText, 0, 0, 0},
    {"http-port", kNumber, 10, 0, 65535},
    {"http-address", kText, 0, 0, 0},
    {"allow-remote-http", kFlag, 0, 0, 0},
    {"cert", kPath, 0, 0, 0},
    {"key", kPath, 0, 0, 0},
    {"pam-service", kText, 0, 0, 0},
    {"pam-config-dir", kPath, 0, 0, 0},
    {"user", kText, 0, 0, 0},
    {"login-delay", kNumber, 10, 0, 60000},
    {"login-delay-max", kNumber, 10, 0, 600000},
    {"trust-local-peers", kFlag, 0, 0, 0},
    {"max-header", kNumber, 10, 4096, 1u << 20},
    {"max-body", kNumber, 10, 1024, 1ull << 31},
    {"max-connections", kNumber, 10, 1, 65536},
    {"max-connections-per-peer", kNumber, 10, 1, 65536},
    {"idle-timeout", kNumber, 10, 1, 86400},
    {"request-timeout", kNumber, 10, 1, 86400},
    {"stream-threshold", kNumber, 10, 1024, 1u << 30},
    {"max-xml-depth", kNumber, 10, 4, 10000},
    {"max-xml-elements", kNumber, 10, 16, 1ull << 32},
    {"max-xml-attributes", kNumber, 10, 4, 10000},
    {"max-xml-text", kNumber, 10, 1024, 1ull << 31},
    {"host-socket", kPath, 0, 0, 0},
    {"host-timeout", kNumber, 10, 0, 86400},
    {"schema-db", kPath, 0, 0, 0},
    {"host-name", kText, 0, 0, 0},
    {"foreground", kFlag, 0, 0, 0},
    {"log-level", kNumber, 10, 0, 9},
    {"help", kFlag, 0, 0, 0},
    {"version", kFlag, 0, 0, 0},
};
constexpr int kCount = static_cast<int>(sizeof kRows / sizeof kRows[0]);

using wire::absolute_path;

bool store(const std::string &name, const std::string &text, unsigned long long n,
           DaemonOptions *o, std::string *error) {
  if ((name == "cert" || name == "key" || name == "host-socket" || name == "user" ||
       name == "pam-service") &&
      text.empty()) {
    *error = "--" + name + ": the value is empty";
    return false;
  }
  ServerLimits &l = o->limits;
  if (name == "https-port") o->https_port = static_cast<int>(n);
  else if (name == "https-address") o->https_address = text == "*" ? "" : text;
  else if (name == "http-port") o->http_port = static_cast<int>(n);
  else if (name == "http-address") o->http_address = text == "*" ? "" : text;
  else if (name == "allow-remote-http") o->allow_remote_http = true;
  else if (name == "cert") o->certificate = absolute_path(text);
  else if (name == "key") o->key = absolute_path(text);
  else if (name == "pam-service") o->pam_service = text;
  else if (name == "pam-config-dir") o->pam_config_dir = absolute_path(text);
  else if (name == "user") o->user = text;
  else if (name == "login-delay") o->login_delay_ms = static_cast<long>(n);
  else if (name == "login-delay-max") o->login_delay_max_ms = static_cast<long>(n);
  else if (name == "trust-local-peers") o->trust_local_peers = true;
  else if (name == "max-header") l.max_header = static_cast<std::size_t>(n);
  else if (name == "max-body") l.max_body = static_cast<std::size_t>(n);
  else if (name == "max-connections") l.max_connections = static_cast<unsigned>(n);
  else if (name == "max-connections-per-peer") l.max_connections_per_peer = static_cast<unsigned>(n);
  else if (name == "idle-timeout") l.idle_timeout = static_cast<unsigned>(n);
  else if (name == "request-timeout") l.request_timeout = static_cast<unsigned>(n);
  else if (name == "stream-threshold") l.stream_threshold = static_cast<std::size_t>(n);
  else if (name == "max-xml-depth") o->max_xml_depth = static_cast<std::size_t>(n);
  else if (name == "max-xml-elements") o->max_xml_elements = static_cast<std::size_t>(n);
  else if (name == "max-xml-attributes") o->max_xml_attributes = static_cast<std::size_t>(n);
  else if (name == "max-xml-text") o->max_xml_text = static_cast<std::size_t>(n);
  else if (name == "host-socket") o->host_socket = absolute_path(text);
  else if (name == "host-timeout") o->host_timeout = static_cast<int>(n);
  else if (name == "schema-db") o->schema_db = absolute_path(text);
  else if (name == "host-name") o->host_name = text;
  else if (name == "foreground") o->foreground = true;
  else if (name == "log-level") o->log_level = static_cast<int>(n);
  return true;
}

}  // namespace

DaemonParse parse_daemon_options(int argc, char **argv, DaemonOptions *options,
                                 std::string *error) {
  const wire::OptionStore keep = [options](const OptionRow &row, const std::string &text,
                                           unsigned long long n, std::string *why) {
    return store(row.name, text, n, options, why);
  };
  switch (wire::walk_options(argc, argv, kRows, kCount, keep, error)) {
    case wire::OptionWalk::kShowHelp:
      return DaemonParse::kShowHelp;
    case wire::OptionWalk::kShowVersion:
      return DaemonParse::kShowVersion;
    case wire::OptionWalk::kExitUsage:
      return DaemonParse::kExitUsage;
    case wire::OptionWalk::kRun:
      break;
  }
  if (options->https_port == 0 && options->http_port == 0) {
    *error = "--https-port 0 and --http-port 0: nothing to listen on";
    return DaemonParse::kExitUsage;
  }
  if (options->login_delay_max_ms < options->login_delay_ms) {
    *error = "--login-delay-max is smaller than --login-delay";
    return DaemonParse::kExitUsage;
  }
  return DaemonParse::kRun;
}

std::string daemon_version_text() { return "cmpi-wbemd " CMPI_WBEMD_VERSION "\n"; }

std::string daemon_help_text(const char *program) {
  std::string text = "Usage: ";
  text += program;
  text += R"( [OPTION]...
The CIM-XML front end: serves CIM operations over HTTP and HTTPS (POST /cimom) to standard
WBEM clients, authenticates each request with HTTP Basic and PAM, and sends the operation to
cmpi-hostd as the authenticated user. The process that reads HTTP and XML runs as an
unprivileged user; a small helper that keeps root only answers "may this user log in".

Listening (port 0 switches a listener off):
  --https-port N          HTTPS port (default 5989)
  --https-address ADDR    HTTPS address, IPv4 or IPv6, '*' for every address (default:
                          every address)
  --http-port N           plain HTTP port (default 5988)
  --http-address ADDR     plain HTTP address (default 127.0.0.1); it must be a loopback
                          address unless --allow-remote-http is given
  --allow-remote-http     plain HTTP may listen on other addresses (passwords then cross
                          the network in clear text)
  --cert PATH             PEM certificate (chain) of the HTTPS listener (default
                          /etc/cmpi-wbemd/server.pem)
  --key PATH              its PEM private key, read as root before the daemon drops its
                          privileges (default /etc/cmpi-wbemd/server.key)

Authentication and privileges:
  --pam-service NAME      PAM service checking logins (default cmpi-wbemd, the file
                          /etc/pam.d/cmpi-wbemd)
  --pam-config-dir DIR    read the PAM service file from DIR instead of /etc/pam.d
  --user NAME             the unprivileged user the daemon runs as once it listens
                          (default cmpi-wbemd); cmpi-hostd must admit it as a proxy
                          (--allow-proxy-user NAME) and its socket must be open to it
  --login-delay MS        a failed login holds its answer back this long, doubling with
                          each further failure of the same peer address (default 500)
  --login-delay-max MS    the longest such delay (default 16000)
  --trust-local-peers     a request without credentials over a loopback connection is
                          served as the local user who owns the client's socket (off by
                          default)
  Every other request without valid credentials gets 401 with a Basic challenge.

Limits:
  --max-header BYTES      request line and headers, with the connection's buffers
                          (default 32768); past it: 431
  --max-body BYTES        request body (default 4194304); past it: 413
  --max-connections N     open connections per listener (default 256)
  --max-connections-per-peer N
                          open connections of one peer address (default 16); further
                          ones are closed at once
  --idle-timeout SECS     a silent connection is closed (default 15)
  --request-timeout SECS  longest time to receive one request, first line to last body
                          byte (default 30); past it the connection is closed
  --stream-threshold BYTES
                          answers up to this size go out with Content-Length, larger ones
                          chunked as they come, with at most this much held (default 65536)
  --max-xml-depth N       nesting of XML elements in a request (default 64)
  --max-xml-elements N    XML elements in a request (default 200000)
  --max-xml-attributes N  attributes of one XML element (default 32)
  --max-xml-text BYTES    character data in a request (default 16777216)

The provider host:
  --host-socket PATH      cmpi-hostd's socket (default /run/cmpi-hostd.sock)
  --host-timeout SECS     longest wait for each piece of the host's answer (default 60;
                          0: no limit)
  --schema-db PATH        schema database (default: CMPIUTILITY_SCHEMA_DB, else
                          /etc/wsman/Database/Schema/CIMSchema.db)
  --host-name NAME        host name written into instance paths (default: this host's)

Process and logging (through dlog, modules 234 and 235):
  --foreground            stay in the foreground; otherwise detach (fork, new session,
                          working directory /, standard streams to /dev/null)
  --log-level N           log threshold 0-9 (sets DLOG_LEVEL; default 2)
  DLOG_OUTPUT             stderr (default), syslog or a file path; a detached daemon
                          logs to syslog unless DLOG_OUTPUT is set

  --help                  show this text and exit
  --version               show the version and exit

Signals: SIGTERM and SIGINT stop the daemon (no new connections; running answers end).
Exit status: 0 after a clean stop or --help/--version, 1 when the daemon cannot start,
2 for a bad command line.
Running it is described in docs/wbemd.md, the operations in docs/cimxml.md.
)";
  return text;
}

}  // namespace wbem
