// tool_runner.h - runs the built cmpi-mof (MOF_BINARY) as a user would, for the end-to-end and
// golden tests.
//
//   moftest::ToolResult r = moftest::RunTool({"--sql", "a.mof"}, "/some/dir");
//   r.status, r.out, r.err
#ifndef MOFTEST_TOOL_RUNNER_H
#define MOFTEST_TOOL_RUNNER_H

#include <stdio.h>
#include <sys/wait.h>

#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "mof_test_support.h"

namespace moftest {

struct ToolResult {
  int status = -1;  // exit status; -1 when it did not exit normally
  std::string out;
  std::string err;
};

inline std::string Quoted(const std::string &word) {
  std::string quoted = "'";
  for (char c : word) quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return quoted + "'";
}

// Runs cmpi-mof with args in the folder directory (the current one when empty).
inline ToolResult RunTool(const std::vector<std::string> &args, const std::string &directory = "") {
  TempDir scratch;
  const std::string errFile = scratch.path() + "/stderr";
  std::string command;
  if (!directory.empty()) command = "cd " + Quoted(directory) + " && ";
  command += Quoted(MOF_BINARY);
  for (const std::string &arg : args) command += " " + Quoted(arg);
  command += " 2>" + Quoted(errFile);
  ToolResult result;
  FILE *pipe = popen(command.c_str(), "r");
  if (pipe == nullptr) {
    ADD_FAILURE() << "cannot run " << command;
    return result;
  }
  char buffer[4096];
  size_t got;
  while ((got = fread(buffer, 1, sizeof buffer, pipe)) > 0) result.out.append(buffer, got);
  const int status = pclose(pipe);
  result.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  std::ifstream in(errFile);
  std::stringstream err;
  err << in.rdbuf();
  result.err = err.str();
  return result;
}

}  // namespace moftest

#endif  // MOFTEST_TOOL_RUNNER_H
