// cli.h - the program: command line in, results and messages out, exit status back.
#ifndef CMPI_CLI_CLI_H
#define CMPI_CLI_CLI_H

#include <ostream>
#include <string>
#include <vector>

#include "command_line.h"

namespace cli {

struct RunSettings {
  Defaults defaults;
  bool progress = false;           // standard error is a terminal
  bool configure_logging = false;  // set the library's log threshold (--debug)
};

// Runs one invocation; returns the exit status (see cli_error.h).
int run(const std::vector<std::string> &args, const RunSettings &settings, std::ostream &out,
        std::ostream &err);

// main(): the process's defaults, SIGPIPE ignored, then run().
int main_entry(int argc, char **argv);

}  // namespace cli

#endif  // CMPI_CLI_CLI_H
