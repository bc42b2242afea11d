// command_line.h - the command line of cmpi-cli: global options, the subcommand, its options and
// its arguments. Options may stand before or after the subcommand; "--" ends the options.
#ifndef CMPI_CLI_COMMAND_LINE_H
#define CMPI_CLI_COMMAND_LINE_H

#include <string>
#include <vector>

namespace cli {

// What the environment supplies when the command line does not say.
struct Defaults {
  std::string socket;  // $CMPI_HOSTD_SOCKET, else /run/cmpi-hostd.sock
  std::string user;    // the invoking user's name (empty when it cannot be told)
};

struct Invocation {
  std::string command;  // one of the subcommands; empty when none was given
  bool help = false;    // --help (for the program, or for the subcommand)
  bool version = false;
  std::string socket;
  std::string user;
  int timeout = 30;  // seconds per read; 0: no limit
  bool json = false;
  bool debug = false;
  std::string name_space = "root/cimv2";
  std::vector<std::string> arguments;  // the subcommand's arguments

  // associators / references
  std::string assoc_class;
  std::string result_class;
  std::string role;
  std::string result_role;
  // local-enum
  int flag = 0;
};

// Parses the arguments (without the program name). Throws UsageError. The argument counts of
// the subcommand are checked unless help was asked for.
Invocation parse_command_line(const std::vector<std::string> &args, const Defaults &defaults);

// The defaults of this process: environment and password database.
Defaults process_defaults();

}  // namespace cli

#endif  // CMPI_CLI_COMMAND_LINE_H
