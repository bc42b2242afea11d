// help_text.h - the subcommands and their --help texts.
#ifndef CMPI_CLI_HELP_TEXT_H
#define CMPI_CLI_HELP_TEXT_H

#include <string>
#include <vector>

namespace cli {

struct CommandInfo {
  const char *name;
  const char *arguments;  // the usage line's arguments, e.g. "PATH METHOD [ARGUMENT...]"
  int min_arguments;
  int max_arguments;      // -1: no limit
  std::vector<std::string> options;  // subcommand options ("--role", ...)
  const char *summary;
  const char *details;    // the rest of the help text
};

// The description of a subcommand, or nullptr.
const CommandInfo *find_command(const std::string &name);
const std::vector<CommandInfo> &all_commands();

// "cmpi-cli --help" and "cmpi-cli <command> --help".
std::string program_help();
std::string command_help(const CommandInfo &info);

}  // namespace cli

#endif  // CMPI_CLI_HELP_TEXT_H
