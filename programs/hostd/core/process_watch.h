// process_watch.h - what the front reads about processes from /proc.
#ifndef CMPI_HOSTD_PROCESS_WATCH_H
#define CMPI_HOSTD_PROCESS_WATCH_H

#include <sys/types.h>

#include <vector>

namespace hostd {

struct ProcessUsage {
  long long cpu_ms = 0;   // user and system time so far
  long long rss_kib = 0;  // resident memory now
};

// false when the process is gone (or /proc cannot be read).
bool read_usage(pid_t pid, ProcessUsage *usage);

// The processes whose parent is parent: the kernel's list of each of its threads' children
// (/proc/<pid>/task/<tid>/children), or a scan of all of /proc where the kernel keeps no such
// list.
std::vector<pid_t> children_of(pid_t parent);

}  // namespace hostd

#endif  // CMPI_HOSTD_PROCESS_WATCH_H
