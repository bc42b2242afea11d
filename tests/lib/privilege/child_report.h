// Running identity changes in a forked child and bringing its findings back to the test.
//
// An identity change acts on the whole process, so each case runs its calls in a child made
// with fork. The child records values and the log lines it captured; they travel through a pipe
// and the parent asserts them. The child ends with _exit, so no gtest or sanitizer exit
// handling runs in it.
#ifndef CMPITEST_PRIVILEGE_CHILD_REPORT_H
#define CMPITEST_PRIVILEGE_CHILD_REPORT_H

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "log_capture.h"

namespace cmpitest {

// What the child sends back.
class ChildReport {
 public:
  void set(const std::string &key, long long value) { values_[key] = std::to_string(value); }
  void set(const std::string &key, const std::string &value) { values_[key] = value; }
  void set_lines(const std::string &key, const std::vector<LogLine> &lines) {
    lines_[key] = lines;
  }

  // In the parent: the value under key, or "<missing>".
  std::string value(const std::string &key) const;
  long long number(const std::string &key) const;
  const std::vector<LogLine> &lines(const std::string &key) const;

  // Text form for the pipe; keys and texts hold no tab or newline.
  std::string serialize() const;
  static ChildReport parse(const std::string &text);

 private:
  std::map<std::string, std::string> values_;
  std::map<std::string, std::vector<LogLine>> lines_;
};

struct ChildOutcome {
  bool exited_normally = false;  // the child reached _exit(0)
  ChildReport report;
};

// Forks, runs body in the child, and returns its report after the child has ended.
ChildOutcome RunInChild(const std::function<void(ChildReport &)> &body);

// The child's identity and mask as text, e.g. "uid=0,0,0 gid=0,0,0 groups=0".
std::string DescribeIdentity();

// Drops one capability from the effective set of the calling process; false if the kernel
// refuses.
bool DropEffectiveCapability(int capability);

}  // namespace cmpitest

#endif  // CMPITEST_PRIVILEGE_CHILD_REPORT_H
