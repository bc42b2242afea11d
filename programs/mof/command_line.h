// command_line.h - the options of cmpi-mof and its help text.
//
//   cmpi-mof --database PATH [--namespace NS] FILE...
//   cmpi-mof --sql [--namespace NS] FILE...
//   cmpi-mof --help | --version
#ifndef CMPI_MOF_COMMAND_LINE_H
#define CMPI_MOF_COMMAND_LINE_H

#include <stdexcept>
#include <string>
#include <vector>

namespace mof {

inline constexpr const char *kDefaultNameSpace = "root/cimv2";

struct Options {
  enum class Action { Import, PrintSql, Help, Version };
  Action action = Action::Import;
  std::string database;                     // Import: the database file
  std::string nameSpace = kDefaultNameSpace;
  bool nameSpaceGiven = false;
  std::vector<std::string> files;
};

// A mistake in the command line; the message says what is wrong.
class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Reads the arguments (without the program name). Options take their value as the next
// argument or after '=' (--database=PATH); "--" ends the options. --help and --version win over
// everything else. Throws UsageError: an unknown option, a missing value, both or neither of
// --database and --sql, an empty namespace, no file.
Options ParseCommandLine(const std::vector<std::string> &args);

// The text of --help.
std::string HelpText();

}  // namespace mof

#endif  // CMPI_MOF_COMMAND_LINE_H
