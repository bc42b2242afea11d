// libvorndlog: see dlog.h for the contract.
//
// Design notes:
// - g_gate is the only thing the disabled path reads: the highest level that may produce any
//   output (the threshold, or INT_MAX while a sink is installed or before the settings are
//   loaded). Everything else is guarded by g_mutex and re-checked under it.
// - g_mutex is recursive so that a sink may itself log (the nested line is written but not fed
//   back to the sink) or replace the sink. It is a plain pthread mutex with a static
//   initializer, so it is usable from any static constructor or destructor, and it is
//   re-initialized in a forked child, where the thread that might have held it no longer exists.
// - Nothing allocated here outlives a call, so nothing is left behind at exit.

#include "dlog.h"

#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <memory>
#include <new>

#include <fcntl.h>
#include <pthread.h>
#include <syslog.h>
#include <unistd.h>

namespace {

constexpr int kDefaultThreshold = 2;
// Stack space for one line (prefix and message); longer lines are formatted on the heap.
constexpr size_t kStackLine = 1024;
constexpr size_t kMaxPrefix = 128;

enum class Destination { Stderr, Syslog, File };

pthread_mutex_t g_mutex = PTHREAD_RECURSIVE_MUTEX_INITIALIZER_NP;
std::atomic<int> g_gate{INT_MAX};
std::atomic<unsigned long> g_formatted{0};

// Guarded by g_mutex.
bool g_loaded = false;
int g_threshold = kDefaultThreshold;
Destination g_destination = Destination::Stderr;
int g_fd = STDERR_FILENO;
dlog_sink_fn g_sink = nullptr;
void *g_sink_context = nullptr;

// True while this thread is inside the sink callback.
thread_local bool t_in_sink = false;

class Lock {
 public:
  Lock() { pthread_mutex_lock(&g_mutex); }
  ~Lock() { pthread_mutex_unlock(&g_mutex); }
  Lock(const Lock &) = delete;
  Lock &operator=(const Lock &) = delete;
};

class InSink {
 public:
  InSink() { t_in_sink = true; }
  ~InSink() { t_in_sink = false; }
  InSink(const InSink &) = delete;
  InSink &operator=(const InSink &) = delete;
};

void before_fork() { pthread_mutex_lock(&g_mutex); }
void after_fork_parent() { pthread_mutex_unlock(&g_mutex); }
void after_fork_child() {
  pthread_mutexattr_t attr;
  pthread_mutexattr_init(&attr);
  pthread_mutexattr_settype(&attr, PTHREAD_MUTEX_RECURSIVE);
  pthread_mutex_init(&g_mutex, &attr);
  pthread_mutexattr_destroy(&attr);
}

__attribute__((constructor)) void register_fork_handlers() {
  pthread_atfork(before_fork, after_fork_parent, after_fork_child);
}

void update_gate_locked() {
  g_gate.store((g_loaded && g_sink == nullptr) ? g_threshold : INT_MAX,
               std::memory_order_relaxed);
}

// An integer with optional surrounding blanks; anything else gives the default.
int parse_threshold(const char *text) {
  if (text == nullptr) return kDefaultThreshold;
  errno = 0;
  char *end = nullptr;
  const long value = std::strtol(text, &end, 10);
  if (end == text || errno == ERANGE || value < INT_MIN || value > INT_MAX)
    return kDefaultThreshold;
  while (*end == ' ' || *end == '\t' || *end == '\n') ++end;
  if (*end != '\0') return kDefaultThreshold;
  return static_cast<int>(value);
}

void close_destination_locked() {
  if (g_destination == Destination::File) close(g_fd);
  if (g_destination == Destination::Syslog) closelog();
  g_destination = Destination::Stderr;
  g_fd = STDERR_FILENO;
}

void load_settings_locked() {
  close_destination_locked();
  g_threshold = parse_threshold(std::getenv("DLOG_LEVEL"));
  const char *output = std::getenv("DLOG_OUTPUT");
  if (output == nullptr || *output == '\0' || std::strcmp(output, "stderr") == 0) {
    // stderr is the default.
  } else if (std::strcmp(output, "syslog") == 0) {
    openlog(nullptr, LOG_PID, LOG_USER);
    g_destination = Destination::Syslog;
  } else {
    const int fd = open(output, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0644);
    if (fd >= 0) {
      g_destination = Destination::File;
      g_fd = fd;
    } else {
      dprintf(STDERR_FILENO, "dlog: cannot open log file '%s' (%s); logging to stderr\n",
              output, std::strerror(errno));
    }
  }
  g_loaded = true;
  update_gate_locked();
}

int syslog_priority(int level) {
  if (level <= 0) return LOG_CRIT;
  if (level <= 2) return LOG_ERR;
  if (level == 3) return LOG_NOTICE;
  if (level == 4) return LOG_INFO;
  return LOG_DEBUG;
}

// Writes "<UTC time> pid=<pid> level=<level> module=<module>: " into out (kMaxPrefix bytes).
size_t format_prefix(char *out, int level, int module) {
  struct timespec now {};
  clock_gettime(CLOCK_REALTIME, &now);
  struct tm utc {};
  gmtime_r(&now.tv_sec, &utc);
  const int n = std::snprintf(out, kMaxPrefix,
                              "%04d-%02d-%02dT%02d:%02d:%02d.%06ldZ pid=%ld level=%d module=%d: ",
                              utc.tm_year + 1900, utc.tm_mon + 1, utc.tm_mday, utc.tm_hour,
                              utc.tm_min, utc.tm_sec, static_cast<long>(now.tv_nsec / 1000),
                              static_cast<long>(getpid()), level, module);
  if (n < 0) return 0;
  return static_cast<size_t>(n) < kMaxPrefix ? static_cast<size_t>(n) : kMaxPrefix - 1;
}

void write_all(int fd, const char *data, size_t size) {
  while (size > 0) {
    const ssize_t n = write(fd, data, size);
    if (n < 0) {
      if (errno == EINTR) continue;
      return;
    }
    data += n;
    size -= static_cast<size_t>(n);
  }
}

void emit(int level, int module, const char *format, va_list args) {
  Lock lock;
  if (!g_loaded) load_settings_locked();
  const bool write_line = level <= g_threshold;
  const dlog_sink_fn sink = t_in_sink ? nullptr : g_sink;
  void *const sink_context = g_sink_context;
  if (!write_line && sink == nullptr) return;

  char stack_line[kStackLine];
  char *line = stack_line;
  std::unique_ptr<char[]> heap_line;
  size_t prefix = 0;
  if (write_line && g_destination != Destination::Syslog)
    prefix = format_prefix(stack_line, level, module);

  // The message goes after the prefix; its terminating NUL becomes the newline when writing.
  size_t room = kStackLine - prefix;
  va_list first;
  va_copy(first, args);
  const int formatted = std::vsnprintf(line + prefix, room, format, first);
  va_end(first);
  size_t length = 0;
  if (formatted < 0) {
    line[prefix] = '\0';
  } else if (static_cast<size_t>(formatted) < room) {
    length = static_cast<size_t>(formatted);
  } else {
    room = static_cast<size_t>(formatted) + 1;
    heap_line.reset(new (std::nothrow) char[prefix + room]);
    if (heap_line) {
      std::memcpy(heap_line.get(), stack_line, prefix);
      line = heap_line.get();
      std::vsnprintf(line + prefix, room, format, args);
      length = static_cast<size_t>(formatted);
    } else {
      length = kStackLine - prefix - 1;  // out of memory: keep what fitted
    }
  }
  g_formatted.fetch_add(1, std::memory_order_relaxed);

  if (write_line) {
    if (g_destination == Destination::Syslog) {
      syslog(syslog_priority(level), "level=%d module=%d: %s", level, module, line + prefix);
    } else {
      line[prefix + length] = '\n';
      write_all(g_fd, line, prefix + length + 1);
      line[prefix + length] = '\0';
    }
  }
  if (sink != nullptr) {
    InSink guard;
    sink(sink_context, level, module, line + prefix);
  }
}

}  // namespace

extern "C" {

void dlog_printf(int level, int module, const char *format, ...) {
  if (level > g_gate.load(std::memory_order_relaxed)) return;
  va_list args;
  va_start(args, format);
  emit(level, module, format, args);
  va_end(args);
}

int dlog_may_emit(int level) { return level <= g_gate.load(std::memory_order_relaxed) ? 1 : 0; }

void dlog_set_sink(dlog_sink_fn sink, void *context) {
  Lock lock;
  g_sink = sink;
  g_sink_context = sink != nullptr ? context : nullptr;
  update_gate_locked();
}

void dlog_reload(void) {
  Lock lock;
  load_settings_locked();
}

int dlog_threshold(void) {
  Lock lock;
  if (!g_loaded) load_settings_locked();
  return g_threshold;
}

unsigned long dlog_formatted_count(void) {
  return g_formatted.load(std::memory_order_relaxed);
}

}  // extern "C"
