#include "log_capture.h"

#include <dlog.h>

#include <algorithm>
#include <iterator>
#include <new>
#include <sstream>

namespace cmpitest {

namespace {

constexpr int kTraceLevel = 4;
constexpr int kErrorLevel = 2;
constexpr int kModule = 230;

// The capture that owns the dlog sink; the others are chained through previous_.
LogCapture *g_active = nullptr;

}  // namespace

bool operator==(const LogLine &a, const LogLine &b) {
  return a.level == b.level && a.module == b.module && a.text == b.text;
}

bool operator!=(const LogLine &a, const LogLine &b) { return !(a == b); }

std::ostream &operator<<(std::ostream &out, const LogLine &line) {
  return out << '(' << line.level << ", " << line.module << ") " << line.text;
}

void PrintTo(const LogLine &line, std::ostream *out) { *out << line; }

LogCapture::LogCapture() : previous_(g_active) {
  g_active = this;
  dlog_set_sink(&LogCapture::collect, this);
}

LogCapture::~LogCapture() {
  g_active = previous_;
  if (previous_ != nullptr)
    dlog_set_sink(&LogCapture::collect, previous_);
  else
    dlog_set_sink(nullptr, nullptr);
}

void LogCapture::collect(void *context, int level, int module, const char *text) {
  // Called from C code: nothing may escape.
  try {
    static_cast<LogCapture *>(context)->lines_.push_back(LogLine{text, level, module});
  } catch (const std::bad_alloc &) {
  }
}

std::vector<LogLine> LogCapture::at_level(int level) const {
  std::vector<LogLine> result;
  std::copy_if(lines_.begin(), lines_.end(), std::back_inserter(result),
               [level](const LogLine &line) { return line.level == level; });
  return result;
}

std::vector<std::string> LogCapture::texts() const {
  std::vector<std::string> result;
  result.reserve(lines_.size());
  for (const LogLine &line : lines_) result.push_back(line.text);
  return result;
}

bool LogCapture::contains(const LogLine &line) const {
  return std::find(lines_.begin(), lines_.end(), line) != lines_.end();
}

LogLine Enter(const std::string &function) {
  return LogLine{"Enter function = " + function, kTraceLevel, kModule};
}

LogLine Exit(const std::string &function) {
  return LogLine{"Exit  function = " + function, kTraceLevel, kModule};
}

LogLine Trace(const std::string &text) { return LogLine{text, kTraceLevel, kModule}; }

LogLine Error(const std::string &text) { return LogLine{text, kErrorLevel, kModule}; }

LogLine Info(const std::string &text) { return LogLine{text, kTraceLevel, kModule}; }

LogLine Line(const std::string &text, int level, int module) {
  return LogLine{text, level, module};
}

::testing::AssertionResult ContainsInOrder(const std::vector<LogLine> &actual,
                                           const std::vector<LogLine> &expected) {
  auto from = actual.begin();
  for (size_t i = 0; i < expected.size(); ++i) {
    const auto found = std::find(from, actual.end(), expected[i]);
    if (found == actual.end()) {
      std::ostringstream out;
      out << "expected line #" << i << " " << expected[i] << " not found";
      if (i > 0) out << " after " << expected[i - 1];
      out << "\nactual lines:";
      for (size_t j = 0; j < actual.size(); ++j) out << "\n  #" << j << " " << actual[j];
      if (actual.empty()) out << " (none)";
      return ::testing::AssertionFailure() << out.str();
    }
    from = found + 1;
  }
  return ::testing::AssertionSuccess();
}

}  // namespace cmpitest
