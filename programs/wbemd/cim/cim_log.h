// cim_log.h - how the CIM half of cmpi-wbemd writes its log lines.
//
// Through dlog_printf, like the other programs, with module 234 (the library uses 229-230, the
// providers' messages 231, cmpi-hostd 232, cmpi-cli 233):
//   level 2  a request refused (malformed XML, a limit passed, headers that do not match the
//            body), the host unreachable or failing, data that cannot be written as CIM-XML
//   level 4  one trace line per operation served
// Text a client or provider chose goes through log_name (wire::log_text) before it is logged.
#ifndef CMPI_WBEMD_CIM_LOG_H
#define CMPI_WBEMD_CIM_LOG_H

#include <dlog.h>

#include <string>
#include <string_view>

#include "log_text.h"

namespace wbem {

constexpr int kCimLogModule = 234;
constexpr int kCimLogError = 2;
constexpr int kCimLogTrace = 4;

inline std::string log_name(std::string_view text) { return wire::log_text(text); }

// Whether trace lines are written (the threshold is kCimLogTrace or more). cmpi-wbemd installs no
// dlog sink, so below that threshold a trace line goes nowhere: the per-operation trace line is
// issued only when this holds, which spares its log_name copies when tracing is off.
inline bool cim_tracing() { return dlog_threshold() >= kCimLogTrace; }

}  // namespace wbem

#define CIM_ERROR(fmt, ...) \
  dlog_printf(::wbem::kCimLogError, ::wbem::kCimLogModule, fmt, ##__VA_ARGS__)
#define CIM_WARNING(fmt, ...) \
  dlog_printf(::wbem::kCimLogError, ::wbem::kCimLogModule, fmt, ##__VA_ARGS__)
#define CIM_TRACE(fmt, ...) \
  dlog_printf(::wbem::kCimLogTrace, ::wbem::kCimLogModule, fmt, ##__VA_ARGS__)

#endif  // CMPI_WBEMD_CIM_LOG_H
