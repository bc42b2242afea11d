// Capturing and asserting dlog lines in tests.
//
//   cmpitest::LogCapture cap;
//   call_under_test();
//   EXPECT_THAT(cap.lines(), ::testing::ElementsAre(Enter("f"), Error("ERROR: __f#12: 'x'"),
//                                                   Exit("f")));
//   EXPECT_TRUE(ContainsInOrder(cap.lines(), {Enter("f"), Exit("f")}));
//
// A LogCapture sees every line whatever DLOG_LEVEL says. Captures nest: while one is alive a
// newer one takes the lines, and the older one gets them again once the newer one is gone.
// The lines are collected under dlog's lock; read them after logging threads have finished.
#ifndef CMPI_TEST_SUPPORT_LOG_CAPTURE_H
#define CMPI_TEST_SUPPORT_LOG_CAPTURE_H

#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <vector>

namespace cmpitest {

struct LogLine {
  std::string text;
  int level;
  int module;
};

bool operator==(const LogLine &a, const LogLine &b);
bool operator!=(const LogLine &a, const LogLine &b);
// Prints "(level, module) text".
std::ostream &operator<<(std::ostream &out, const LogLine &line);
void PrintTo(const LogLine &line, std::ostream *out);

class LogCapture {
 public:
  LogCapture();
  ~LogCapture();
  LogCapture(const LogCapture &) = delete;
  LogCapture &operator=(const LogCapture &) = delete;

  const std::vector<LogLine> &lines() const { return lines_; }
  void clear() { lines_.clear(); }
  std::vector<LogLine> at_level(int level) const;
  std::vector<std::string> texts() const;
  bool contains(const LogLine &line) const;

 private:
  static void collect(void *context, int level, int module, const char *text);

  std::vector<LogLine> lines_;
  LogCapture *previous_;
};

// Expected lines. Enter/Exit/Trace/Info are level 4, Error is level 2, all module 230.
LogLine Enter(const std::string &function);  // "Enter function = <function>"
LogLine Exit(const std::string &function);   // "Exit  function = <function>"
LogLine Trace(const std::string &text);
LogLine Error(const std::string &text);
LogLine Info(const std::string &text);
LogLine Line(const std::string &text, int level, int module);

// Success when `expected` occurs in `actual` in the same order, other lines allowed between.
::testing::AssertionResult ContainsInOrder(const std::vector<LogLine> &actual,
                                           const std::vector<LogLine> &expected);

}  // namespace cmpitest

#endif  // CMPI_TEST_SUPPORT_LOG_CAPTURE_H
