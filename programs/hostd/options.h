// options.h - the command line of cmpi-hostd.
#ifndef CMPI_HOSTD_OPTIONS_H
#define CMPI_HOSTD_OPTIONS_H

#include <sys/types.h>

#include <cstddef>
#include <string>
#include <vector>

namespace hostd {

struct Options {
  std::string socket_path = "/run/cmpi-hostd.sock";
  mode_t socket_mode = 0660;
  std::string socket_group;  // empty: the file keeps the daemon's group
  bool foreground = false;
  std::string pid_file;  // empty: none
  int log_level = -1;    // -1: DLOG_LEVEL stays as the environment has it
  std::size_t max_request = 64u * 1024u * 1024u;
  int read_timeout = 10;      // seconds to deliver the whole request
  int provider_timeout = 30;  // seconds a provider may go without producing output
  int shutdown_grace = 10;    // seconds running connections get on SIGTERM/SIGINT
  int max_clients = 64;       // connections served at once
  std::string schema_db;      // empty: CMPIUTILITY_SCHEMA_DB or the fixed path
  std::string provider_dir;   // empty: CMPIUTILITY_PROVIDER_DIR or the fixed directory
  std::vector<std::string> allow_users;
  std::vector<std::string> allow_groups;
};

enum class ParseOutcome {
  kRun,          // options are complete, start the daemon
  kShowHelp,     // --help: print help_text and exit 0
  kShowVersion,  // --version: print version_text and exit 0
  kExitUsage,    // a bad option; *error says why
};

// Parses argv with getopt_long. Relative paths are made absolute against the current
// directory (the daemon changes to / when it detaches).
ParseOutcome parse_options(int argc, char **argv, Options *options, std::string *error);

std::string help_text(const char *program);
std::string version_text();

}  // namespace hostd

#endif  // CMPI_HOSTD_OPTIONS_H
