// options.h - the command line of cmpi-hostd.
#ifndef CMPI_HOSTD_OPTIONS_H
#define CMPI_HOSTD_OPTIONS_H

#include <sys/types.h>

#include <cstddef>
#include <string>
#include <vector>

namespace hostd {

// Whether a worker encodes the instances of larger enumerations on a second thread while the
// provider makes the next ones (frame_encoder_thread.h; never on a single processor, where the
// copies it needs are pure cost). Off unless asked for: on the two-processor machine it was
// measured on, it cost 20 to 70% more CPU per instance and its gain in rate stayed within the
// machine's noise (docs/PERFORMANCE.md). An answer stops handing instances over once its client
// reads slower than it is made.
enum class EncoderThread { kOff, kOn };

struct Options {
  // Socket and process.
  std::string socket_path = "/run/cmpi-hostd.sock";
  mode_t socket_mode = 0660;
  std::string socket_group;  // empty: the file keeps the daemon's group
  bool foreground = false;
  std::string pid_file;  // empty: none
  int log_level = -1;    // -1: DLOG_LEVEL stays as the environment has it
  int shutdown_grace = 10;  // seconds running requests get on SIGTERM/SIGINT

  // Connections and requests (the front).
  std::size_t max_request = 64u * 1024u * 1024u;  // one request frame, terminator included
  int read_timeout = 10;                            // seconds to deliver the whole request
  int max_connections = 1024;                       // open connections in all
  int max_connections_per_user = 64;                // of one peer user (root, proxies exempt)
  std::size_t max_buffered = 256u * 1024u * 1024u;  // request bytes held in all
  int max_queue = 256;                              // requests waiting for a worker

  // Workers.
  int workers_per_user = 4;
  int max_workers = 64;
  int worker_idle = 300;                 // seconds an idle worker lives
  int provider_idle = 120;               // seconds an unused provider stays loaded
  unsigned long worker_requests = 10000;  // requests after which a worker retires (0: never)
  std::size_t worker_memory_mib = 2048;  // address space and resident limit (0: none)
  int worker_cpu = 60;                   // CPU seconds one request may use (0: no limit)
  int provider_timeout = 30;  // seconds a provider may go without producing output
  int request_deadline = 300;  // seconds one request may take in all (0: no limit)
  EncoderThread encoder_thread = EncoderThread::kOff;

  // Where things are.
  std::string schema_db;     // empty: CMPIUTILITY_SCHEMA_DB or the fixed path
  std::string provider_dir;  // empty: CMPIUTILITY_PROVIDER_DIR or the fixed directory

  // Who may connect, and as whom they may act.
  std::vector<std::string> allow_users;
  std::vector<std::string> allow_groups;
  std::vector<std::string> proxy_users;
  std::vector<std::string> proxy_groups;
  bool proxy_root = false;
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
