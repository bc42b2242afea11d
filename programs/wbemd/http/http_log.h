// http_log.h - how the HTTP half of cmpi-wbemd writes its log lines.
//
// Through dlog_printf with module 235 (the library uses 229-230, the providers' messages 231,
// cmpi-hostd 232, cmpi-cli 233, the CIM half of cmpi-wbemd 234):
//   level 2  errors: a failed login (user and peer address, never the password), a refused
//            request or connection, a failed system call or TLS setup
//   level 3  notices: start, stop, the listening addresses, the user the daemon runs as
//   level 4  traces: one line per request answered
// Client-chosen text (user names, paths, header values) goes through log_safe() first.
#ifndef CMPI_WBEMD_HTTP_LOG_H
#define CMPI_WBEMD_HTTP_LOG_H

#include <dlog.h>

#include <string>
#include <string_view>

namespace wbem {

constexpr int kHttpLogModule = 235;
constexpr int kHttpLogError = 2;
constexpr int kHttpLogNotice = 3;
constexpr int kHttpLogTrace = 4;

// Whether trace lines are written (the threshold is kHttpLogTrace or more). cmpi-wbemd installs
// no dlog sink, so below that threshold a trace line goes nowhere: per-request trace lines are
// issued only when this holds, which spares making their arguments (log_safe copies) for every
// request when tracing is off.
inline bool http_tracing() { return dlog_threshold() >= kHttpLogTrace; }

// At most 100 bytes of text, printable ASCII kept, every other byte written "\xNN", so that a
// client cannot start a log line of its own or make one arbitrarily long.
std::string log_safe(std::string_view text);

}  // namespace wbem

#define HTTP_ERROR(fmt, ...) \
  dlog_printf(::wbem::kHttpLogError, ::wbem::kHttpLogModule, fmt, ##__VA_ARGS__)
#define HTTP_NOTICE(fmt, ...) \
  dlog_printf(::wbem::kHttpLogNotice, ::wbem::kHttpLogModule, fmt, ##__VA_ARGS__)
#define HTTP_TRACE(fmt, ...) \
  dlog_printf(::wbem::kHttpLogTrace, ::wbem::kHttpLogModule, fmt, ##__VA_ARGS__)

#endif  // CMPI_WBEMD_HTTP_LOG_H
