/*
 * libvorndlog: leveled, per-module diagnostic lines.
 *
 * Settings come from the environment and are read once, on first use (and again on
 * dlog_reload()):
 *   DLOG_LEVEL   integer threshold, default 2; a line is written when its level <= threshold.
 *   DLOG_OUTPUT  "stderr" (default, also when unset or empty), "syslog", or any other value,
 *                taken as the path of a file opened for appending (created with mode 0644).
 *                If the file cannot be opened, lines go to stderr.
 *
 * A written line reads
 *   2024-05-01T12:34:56.123456Z pid=1234 level=2 module=230: <message>
 * (UTC time with microseconds) and reaches the file or stderr in a single write(2), so lines
 * of processes appending to one file never interleave. Syslog receives
 * "level=2 module=230: <message>" with a priority derived from the level (<=0 crit, 1-2 err,
 * 3 notice, 4 info, >=5 debug).
 *
 * A line that is neither written nor passed to a sink is not formatted: the check is a single
 * relaxed atomic load, so disabled trace lines cost almost nothing.
 *
 * All functions are thread-safe. None is async-signal-safe.
 */
#ifndef VORN_DLOG_H
#define VORN_DLOG_H

#if defined(__GNUC__)
#define DLOG_API __attribute__((visibility("default")))
#define DLOG_PRINTF_CHECK(fmt_index, args_index) \
  __attribute__((format(printf, fmt_index, args_index)))
#else
#define DLOG_API
#define DLOG_PRINTF_CHECK(fmt_index, args_index)
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* Formats and emits one line with the given level and module. Lines of any length. */
DLOG_API void dlog_printf(int level, int module, const char *format, ...)
    DLOG_PRINTF_CHECK(3, 4);

/*
 * A sink receives every line, whatever the threshold: the formatted message alone (no time,
 * pid or level prefix, no trailing newline), its level and its module. Calls are serialized.
 * The text is only valid during the call. A dlog_printf issued from inside the sink goes to
 * the destination as usual but is not passed to the sink again.
 */
typedef void (*dlog_sink_fn)(void *context, int level, int module, const char *text);

/* Installs the sink (replacing any previous one); NULL removes it. */
DLOG_API void dlog_set_sink(dlog_sink_fn sink, void *context);

/* Re-reads DLOG_LEVEL and DLOG_OUTPUT, closing the previous file or syslog connection. */
DLOG_API void dlog_reload(void);

/*
 * 0 when a line of this level would be neither written nor passed to a sink, so that a caller
 * may skip working out its arguments; otherwise 1 (also before the settings are first read).
 * The same single relaxed atomic load dlog_printf makes first.
 */
DLOG_API int dlog_may_emit(int level);

/* The threshold in effect. */
DLOG_API int dlog_threshold(void);

/* Diagnostic: how many lines have been formatted since the library was loaded. */
DLOG_API unsigned long dlog_formatted_count(void);

#ifdef __cplusplus
}
#endif

#endif /* VORN_DLOG_H */
