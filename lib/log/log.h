// The library's log layer: the only code in lib/ that calls dlog_printf.
//
// Levels: 2 carries errors, 4 carries traces and "INFO:" lines.
// Module: 230 for every line, except the few that name kLogModuleAux (229) explicitly.
//
// The macros join their format to a fixed prefix by string-literal concatenation, so the
// format is built at compile time and checked against the arguments by dlog_printf's printf
// attribute. A line below the dlog threshold (and with no sink installed) is not formatted.
#ifndef CMPIUTILITY_LOG_LOG_H
#define CMPIUTILITY_LOG_LOG_H

#include <dlog.h>

namespace cmpiutility {

constexpr int kLogLevelError = 2;
constexpr int kLogLevelTrace = 4;
constexpr int kLogModule = 230;
constexpr int kLogModuleAux = 229;

// Logs "Enter function = <function>" when constructed and "Exit  function = <function>" (two
// blanks after "Exit") when destroyed, both at level 4, module 230, so every way out of the
// enclosing scope (return, exception) writes the exit line. `function` must outlive the object.
class ScopedTrace {
 public:
  explicit ScopedTrace(const char *function) noexcept;
  ~ScopedTrace();
  ScopedTrace(const ScopedTrace &) = delete;
  ScopedTrace &operator=(const ScopedTrace &) = delete;

 private:
  const char *function_;
};

}  // namespace cmpiutility

// Enter/Exit lines for the enclosing function, named after __func__.
#define CMPIU_TRACE_FUNCTION() ::cmpiutility::ScopedTrace cmpiu_scoped_trace_(__func__)

// fmt at the given level and module.
#define CMPIU_LOG(level, module, fmt, ...) dlog_printf((level), (module), fmt, ##__VA_ARGS__)

// fmt at level 4, module 230. The arguments are worked out only when the line can be seen
// (written or passed to a sink): with tracing off they cost nothing.
#define CMPIU_TRACE(fmt, ...)                                                                 \
  do {                                                                                      \
    if (dlog_may_emit(::cmpiutility::kLogLevelTrace) != 0) {                                \
      CMPIU_LOG(::cmpiutility::kLogLevelTrace, ::cmpiutility::kLogModule, fmt, ##__VA_ARGS__); \
    }                                                                                       \
  } while (0)

// fmt at level 2, module 230.
#define CMPIU_ERROR(fmt, ...) \
  CMPIU_LOG(::cmpiutility::kLogLevelError, ::cmpiutility::kLogModule, fmt, ##__VA_ARGS__)

// "ERROR: __<function>#<number>: " fmt at level 2, module 230.
//
// The numbers in these lines (and in CMPIU_INFO_AT's) are fixed site numbers, not source line
// numbers: each one names one failure point of its function, and it stays the same whatever
// file or line the code moves to. They are part of the log text that callers and log readers
// match on, so a number is never changed or reused; a new failure point that needs one gets a
// number of its own.
#define CMPIU_ERROR_AT(function, number, fmt, ...)                                         \
  CMPIU_LOG(::cmpiutility::kLogLevelError, ::cmpiutility::kLogModule,                      \
            "ERROR: __%s#%d: " fmt, static_cast<const char *>(function),                   \
            static_cast<int>(number), ##__VA_ARGS__)

// "INFO: __<function>#<number>: " fmt at level 4, module 230.
#define CMPIU_INFO_AT(function, number, fmt, ...)                                          \
  CMPIU_LOG(::cmpiutility::kLogLevelTrace, ::cmpiutility::kLogModule,                      \
            "INFO: __%s#%d: " fmt, static_cast<const char *>(function),                    \
            static_cast<int>(number), ##__VA_ARGS__)

// For a factory of the CMPI object library that returned nothing: with status code rc == 0
// (OK) the message is written as CMPIU_INFO_AT and the expression is true (processing goes
// on); otherwise it is written as CMPIU_ERROR_AT and the expression is false (the operation
// fails). rc is evaluated once.
#define CMPIU_STATUS_RULE(rc, function, number, fmt, ...)                                  \
  (((rc) == 0) ? (CMPIU_INFO_AT(function, number, fmt, ##__VA_ARGS__), true)               \
               : (CMPIU_ERROR_AT(function, number, fmt, ##__VA_ARGS__), false))

#endif  // CMPIUTILITY_LOG_LOG_H
