// hostd_process.h - a cmpi-hostd for the end-to-end benchmark: a temporary directory with a
// schema database (share/schema.sql + share/demo-classes.sql + the benchmark class of
// bench/provider/bench.mof, registered with cmpi-mof), a provider directory holding the demo
// provider and the benchmark provider (BenchItem), the demo's state file, and the daemon running in the foreground on a socket in
// that directory. Everything goes away with the object (the daemon is stopped with SIGTERM).
// The daemon is the one built with the benchmark, or the program named by the environment
// variable BENCH_HOSTD (another build, e.g. of an earlier design, to compare in the same run).
// BENCH_UNLOAD_NEVER=1 marks the demo classes UnloadNever in the schema database, so that a
// worker keeps the demo provider loaded between requests (share/demo-classes.sql says '0').
#ifndef CMPIUTILITY_BENCH_HOSTD_PROCESS_H
#define CMPIUTILITY_BENCH_HOSTD_PROCESS_H

#include <sys/types.h>

#include <string>
#include <vector>

namespace bench {

class HostdProcess {
 public:
  HostdProcess() = default;
  ~HostdProcess();
  HostdProcess(const HostdProcess &) = delete;
  HostdProcess &operator=(const HostdProcess &) = delete;

  // Makes the directory and starts the daemon (log level 3, its log in the directory) with the
  // extra command-line options after the fixed ones, e.g. {"--worker-requests", "1"}, and the
  // extra environment ("NAME=value", e.g. "BENCH_ITEM_COUNT=100000"); returns once the daemon
  // says it listens. On failure *error says why.
  bool start(std::string *error, const std::vector<std::string> &extra_options = {},
             const std::vector<std::string> &extra_environment = {});
  // SIGTERM, wait (SIGKILL after 15 s); removes the directory.
  void stop();

  const std::string &socket() const { return socket_; }
  const std::string &directory() const { return dir_; }
  // The daemon's front process (it runs in the foreground, so it is the process started here);
  // -1 when it is not running.
  pid_t pid() const { return pid_; }

  // Makes the demo's state hold exactly count Demo_Fan instances (count >= 2): the initial fan0
  // and fan1 plus copies of fan0 whose DeviceID is "copyNNNNN". The state file must exist, i.e.
  // the demo provider must have served one request. The rows are written straight into the
  // state file (its tables are described in providers/demo/state_store.h); the daemon opens the
  // file anew for every request, so the next request sees them.
  bool set_fan_count(size_t count, std::string *error);

 private:
  std::string dir_;
  std::string socket_;
  std::string schema_db_;
  std::string provider_dir_;
  std::string state_file_;
  std::string log_file_;
  pid_t pid_ = -1;
  size_t copies_ = 0;
};

// The resident memory of a process in KiB (VmRSS, RssAnon and the peak VmHWM of
// /proc/<pid>/status, and Pss of /proc/<pid>/smaps_rollup); -1 each when the process is gone.
// VmRSS counts every page the process maps, also those it shares with other processes (its
// parent after a fork, every process using the same shared library), so the VmRSS of two
// processes added up counts their shared pages twice. Pss (proportional set size) charges
// each page divided by the number of processes that map it: the Pss of all processes adds up
// to the memory they use. It depends on what else runs on the machine (a library mapped by
// ten other programs costs a tenth of its pages).
struct ProcessMemory {
  long resident_kib = -1;
  long anonymous_kib = -1;
  long peak_kib = -1;
  long proportional_kib = -1;
};
ProcessMemory process_memory(pid_t pid);

// Ends a child process: SIGTERM, up to 15 s for it to go, then SIGKILL; reaps it.
void end_process(pid_t pid);

// The processes whose parent is parent (a scan of /proc/<pid>/stat), in ascending order.
std::vector<pid_t> child_processes(pid_t parent);

// The CPU time (nanoseconds, /proc/<pid>/task/<tid>/schedstat) a daemon and its children
// (workers) have used so far, every thread of each (a worker encodes large enumerations on a
// second thread).
long long daemon_cpu_ns(pid_t daemon);
// The same of the daemon's front process alone.
long long front_cpu_ns(pid_t daemon);
// How often a daemon and its children went to sleep waiting for something (voluntary context
// switches, /proc/<pid>/task/<tid>/status, every thread): each is a wake-up the request paid
// for.
long long daemon_sleeps(pid_t daemon);

}  // namespace bench

#endif  // CMPIUTILITY_BENCH_HOSTD_PROCESS_H
