// quiet_stdout.h - standard output sent to /dev/null for a while.
//
// The library writes the key text of every reference argument it encodes to standard output;
// while a request is written, standard output goes to /dev/null so that only results reach it.
#ifndef CMPI_CLI_QUIET_STDOUT_H
#define CMPI_CLI_QUIET_STDOUT_H

namespace cli {

// From construction to destruction, file descriptor 1 writes to /dev/null; both C++ and C
// streams are flushed first, and the descriptor is restored afterwards. If /dev/null cannot be
// opened, standard output stays as it is.
class QuietStdout {
 public:
  QuietStdout();
  ~QuietStdout();
  QuietStdout(const QuietStdout &) = delete;
  QuietStdout &operator=(const QuietStdout &) = delete;

 private:
  int saved_ = -1;
};

}  // namespace cli

#endif  // CMPI_CLI_QUIET_STDOUT_H
