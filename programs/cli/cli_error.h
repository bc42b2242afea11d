// cli_error.h - the four ways cmpi-cli fails, each with its own exit status.
//
//   0  success
//   1  the operation failed with a CMPI return code (printed as "CMPI_RC_<NAME>: <message>")
//   2  usage error: unknown subcommand or option, bad object path or value syntax
//   3  connection error: the daemon cannot be reached, the connection broke, or the answer
//      ended early or could not be decoded
//   4  time-out: no data from the daemon within --timeout seconds
#ifndef CMPI_CLI_CLI_ERROR_H
#define CMPI_CLI_CLI_ERROR_H

#include <stdexcept>
#include <string>

namespace cli {

enum ExitCode : int {
  kExitSuccess = 0,
  kExitCimError = 1,
  kExitUsage = 2,
  kExitConnection = 3,
  kExitTimeout = 4,
};

// A mistake in the command line. The message says what is wrong; the help hint names the
// subcommand whose --help explains it (empty: the program's).
class UsageError : public std::runtime_error {
 public:
  explicit UsageError(const std::string &message, std::string command = "")
      : std::runtime_error(message), command_(std::move(command)) {}
  const std::string &command() const { return command_; }

 private:
  std::string command_;
};

// The operation ended with a non-zero CMPI return code. message is the provider's text, or
// empty when the answer carried none.
class CimError : public std::runtime_error {
 public:
  CimError(int code, const std::string &message) : std::runtime_error(message), code_(code) {}
  int code() const { return code_; }

 private:
  int code_;
};

// The daemon could not be reached, the connection broke or the answer was unusable.
class ConnectionError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Nothing arrived within the time limit.
class TimeoutError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

}  // namespace cli

#endif  // CMPI_CLI_CLI_ERROR_H
