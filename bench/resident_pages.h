// resident_pages.h - the memory of a group of processes, each physical page counted once.
//
// Neither VmRSS nor Pss answers "how much memory do these processes hold together": the VmRSS
// of a daemon's front and its forked workers added up counts every page they share (library
// text, pages not yet copied after the fork) once per process, and Pss divides shared pages
// among every process of the machine that maps them. This counts the distinct physical pages
// that any of the processes maps: what the group holds in memory, whoever else shares it.
#ifndef CMPIUTILITY_BENCH_RESIDENT_PAGES_H
#define CMPIUTILITY_BENCH_RESIDENT_PAGES_H

#include <sys/types.h>

#include <vector>

namespace bench {

// KiB of distinct physical pages mapped by any of pids (present pages of /proc/<pid>/pagemap
// over the ranges of /proc/<pid>/maps). -1 when it cannot be known: a process is gone, or the
// caller may not see page frame numbers (that needs CAP_SYS_ADMIN; they read as 0 otherwise).
long distinct_resident_kib(const std::vector<pid_t> &pids);

}  // namespace bench

#endif  // CMPIUTILITY_BENCH_RESIDENT_PAGES_H
