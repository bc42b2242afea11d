// log.h - how cmpi-hostd writes its own log lines.
//
// The daemon is a program, not part of the library: it calls dlog_printf directly, always with
// module 232, so its lines are told apart from the library's (230 and 229) in one log stream.
//   level 2  errors: a refused peer or request, a failing or misbehaving provider, a failed
//            system call; and warnings: data a provider returned that the wire cannot carry,
//            left out of an answer that goes on (wire_fit.h). Warnings share level 2 so that
//            the default threshold shows them: the client gets less than the provider gave.
//   level 3  notices: start, stop, limits reached, a worker killed after its answer was complete
//   level 4  traces: one line per step of a connection
// The threshold and destination are dlog's: DLOG_LEVEL (set by --log-level) and DLOG_OUTPUT.
#ifndef CMPI_HOSTD_LOG_H
#define CMPI_HOSTD_LOG_H

#include <dlog.h>

namespace hostd {

constexpr int kLogModule = 232;
constexpr int kLogError = 2;
constexpr int kLogWarning = 2;
constexpr int kLogNotice = 3;
constexpr int kLogTrace = 4;

}  // namespace hostd

#define HOSTD_ERROR(fmt, ...) \
  dlog_printf(::hostd::kLogError, ::hostd::kLogModule, fmt, ##__VA_ARGS__)
#define HOSTD_WARNING(fmt, ...) \
  dlog_printf(::hostd::kLogWarning, ::hostd::kLogModule, fmt, ##__VA_ARGS__)
#define HOSTD_NOTICE(fmt, ...) \
  dlog_printf(::hostd::kLogNotice, ::hostd::kLogModule, fmt, ##__VA_ARGS__)
// The arguments are worked out only when the line can be seen (some are system calls).
#define HOSTD_TRACE(fmt, ...)                                                     \
  do {                                                                          \
    if (dlog_may_emit(::hostd::kLogTrace) != 0) {                               \
      dlog_printf(::hostd::kLogTrace, ::hostd::kLogModule, fmt, ##__VA_ARGS__); \
    }                                                                           \
  } while (0)

#endif  // CMPI_HOSTD_LOG_H
