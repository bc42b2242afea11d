// cli_runner.h - running the built cmpi-cli as a subprocess and collecting what it did.
#ifndef CMPI_TESTS_CLI_CLI_RUNNER_H
#define CMPI_TESTS_CLI_CLI_RUNNER_H

#include <string>
#include <utility>
#include <vector>

namespace clitest {

struct CliRun {
  int status = -1;  // the exit status; -1 when the program did not exit normally
  std::string out;
  std::string err;
};

using Environment = std::vector<std::pair<std::string, std::string>>;

// Runs cmpi-cli with args. The child's environment is the test's, without CMPI_HOSTD_SOCKET,
// DLOG_LEVEL and DLOG_OUTPUT, plus env. With terminal_stderr its standard error is a
// pseudo-terminal (so the program shows its progress line); standard output is always a file.
CliRun run_cli(const std::vector<std::string> &args, const Environment &env = {},
               bool terminal_stderr = false);

// The number of times needle occurs in text.
int occurrences(const std::string &text, const std::string &needle);

}  // namespace clitest

#endif  // CMPI_TESTS_CLI_CLI_RUNNER_H
