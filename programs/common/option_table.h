// option_table.h - the command lines of the daemons, read from a table of long options.
//
// Each program lists its options once as rows (name, kind, and for numbers their base and
// bounds); this walker hands every option given to the program's store function, after
// checking that a number is a whole number in range. "--help" and "--version" end the walk
// at once. Only long options exist; the messages name what was wrong:
//   "option '--x' needs a value", "option '--x' takes no value", "unknown option '--x'",
//   "unknown option '-x'", "--x: 'v' is not a number from L to H" (octal bounds with their
//   leading 0 for a base-8 number), "unexpected argument 'a'".
#ifndef CMPI_PROGRAMS_OPTION_TABLE_H
#define CMPI_PROGRAMS_OPTION_TABLE_H

#include <functional>
#include <string>

namespace wire {

enum class OptionKind { kFlag, kPath, kText, kList, kNumber };

struct OptionRow {
  const char *name;
  OptionKind kind;
  int base;                 // kNumber: 8 or 10
  unsigned long long low;   // kNumber
  unsigned long long high;  // kNumber
};

enum class OptionWalk { kRun, kShowHelp, kShowVersion, kExitUsage };

// Stores one option: its row, its text ("" for a flag) and, for a number, its value. False with
// *error for a value out of place.
using OptionStore = std::function<bool(const OptionRow &row, const std::string &text,
                                       unsigned long long number, std::string *error)>;

// Walks argv (getopt_long, started afresh: tests parse several command lines) over the count
// rows. kRun when every option was stored; kExitUsage with *error for the first problem.
OptionWalk walk_options(int argc, char **argv, const OptionRow *rows, int count,
                        const OptionStore &store, std::string *error);

// path made absolute against the working directory (unchanged when already absolute, empty,
// or when the working directory cannot be had).
std::string absolute_path(const std::string &path);

}  // namespace wire

#endif  // CMPI_PROGRAMS_OPTION_TABLE_H
