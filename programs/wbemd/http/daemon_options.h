// daemon_options.h - the command line of cmpi-wbemd.
#ifndef CMPI_WBEMD_HTTP_DAEMON_OPTIONS_H
#define CMPI_WBEMD_HTTP_DAEMON_OPTIONS_H

#include <cstddef>
#include <string>

#include "server_limits.h"

namespace wbem {

struct DaemonOptions {
  // Where it listens. Port 0 switches a listener off.
  int https_port = 5989;
  std::string https_address;  // empty: every address
  int http_port = 5988;
  std::string http_address = "127.0.0.1";
  bool allow_remote_http = false;  // plain HTTP may listen on a non-loopback address
  std::string certificate = "/etc/cmpi-wbemd/server.pem";
  std::string key = "/etc/cmpi-wbemd/server.key";

  // Who may log in, and who the daemon becomes.
  std::string pam_service = "cmpi-wbemd";
  std::string pam_config_dir;  // empty: the system's (/etc/pam.d)
  std::string user = "cmpi-wbemd";
  long login_delay_ms = 500;
  long login_delay_max_ms = 16000;
  bool trust_local_peers = false;

  ServerLimits limits;

  // The CIM half.
  std::string host_socket = "/run/cmpi-hostd.sock";
  int host_timeout = 60;
  std::string schema_db;
  std::string host_name;
  std::size_t max_xml_depth = 64;
  std::size_t max_xml_elements = 200000;
  std::size_t max_xml_attributes = 32;
  std::size_t max_xml_text = 16u * 1024 * 1024;

  // The process.
  bool foreground = false;
  int log_level = -1;  // -1: DLOG_LEVEL stays as the environment has it
};

enum class DaemonParse { kRun, kShowHelp, kShowVersion, kExitUsage };

// Parses argv with getopt_long; relative paths are made absolute against the current
// directory (the daemon changes to /). *error says what was wrong for kExitUsage.
DaemonParse parse_daemon_options(int argc, char **argv, DaemonOptions *options,
                                 std::string *error);

std::string daemon_help_text(const char *program);
std::string daemon_version_text();

}  // namespace wbem

#endif  // CMPI_WBEMD_HTTP_DAEMON_OPTIONS_H
