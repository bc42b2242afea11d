// option_table.cpp - the command lines of the daemons, read from a table of long options.
#include "option_table.h"

#include <getopt.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <vector>

namespace wire {
namespace {

// A whole non-negative number in the given base within [low, high]; nothing else accepted.
bool parse_number(const char *text, int base, unsigned long long low, unsigned long long high,
                  unsigned long long *out) {
  // strtoull would skip leading blanks and take a sign: only a digit may start the text.
  if (text == nullptr || *text < '0' || *text > '9') return false;
  errno = 0;
  char *end = nullptr;
  unsigned long long value = std::strtoull(text, &end, base);
  if (errno != 0 || end == text || *end != '\0') return false;
  if (value < low || value > high) return false;
  *out = value;
  return true;
}

// A bound as the option is typed: octal with its leading 0, else decimal.
std::string bound_text(unsigned long long value, int base) {
  if (base != 8 || value == 0) return std::to_string(value);
  std::string digits;
  for (; value != 0; value /= 8) digits.insert(digits.begin(), static_cast<char>('0' + value % 8));
  return "0" + digits;
}

}  // namespace

OptionWalk walk_options(int argc, char **argv, const OptionRow *rows, int count,
                        const OptionStore &store, std::string *error) {
  std::vector<struct option> longs(static_cast<size_t>(count) + 1);
  for (int i = 0; i < count; ++i) {
    longs[static_cast<size_t>(i)] = {
        rows[i].name, rows[i].kind == OptionKind::kFlag ? no_argument : required_argument,
        nullptr, 256 + i};
  }
  longs[static_cast<size_t>(count)] = {nullptr, 0, nullptr, 0};
  // 0, not 1: getopt then starts afresh, forgetting a cluster of short options it was inside
  // and the arguments it moved on an earlier call.
  optind = 0;
  opterr = 0;
  for (;;) {
    int index = 0;
    const int c = getopt_long(argc, argv, ":", longs.data(), &index);
    if (c == -1) break;
    if (c == ':') {
      *error = std::string("option '") + argv[optind - 1] + "' needs a value";
      return OptionWalk::kExitUsage;
    }
    if (c < 256 || c >= 256 + count) {
      // getopt tells in optopt what it refused: a short option letter (argv[optind - 1] is not
      // it when more letters follow in the same word), a flag given a value, or 0 for an
      // unknown or ambiguous long option.
      if (optopt >= 256 && optopt < 256 + count) {
        *error = std::string("option '--") + rows[optopt - 256].name + "' takes no value";
      } else if (optopt > 0 && optopt < 256) {
        *error = std::string("unknown option '-") + static_cast<char>(optopt) + "'";
      } else {
        *error = std::string("unknown option '") + argv[optind - 1] + "'";
      }
      return OptionWalk::kExitUsage;
    }
    const OptionRow &row = rows[c - 256];
    const std::string name = row.name;
    if (name == "help") return OptionWalk::kShowHelp;
    if (name == "version") return OptionWalk::kShowVersion;
    unsigned long long n = 0;
    if (row.kind == OptionKind::kNumber && !parse_number(optarg, row.base, row.low, row.high, &n)) {
      *error = "--" + name + ": '" + (optarg ? optarg : "") + "' is not a number from " +
               bound_text(row.low, row.base) + " to " + bound_text(row.high, row.base);
      return OptionWalk::kExitUsage;
    }
    if (!store(row, optarg != nullptr ? optarg : "", n, error)) return OptionWalk::kExitUsage;
  }
  if (optind < argc) {
    *error = std::string("unexpected argument '") + argv[optind] + "'";
    return OptionWalk::kExitUsage;
  }
  return OptionWalk::kRun;
}

std::string absolute_path(const std::string &path) {
  if (path.empty() || path[0] == '/') return path;
  char cwd[PATH_MAX];
  if (getcwd(cwd, sizeof cwd) == nullptr) return path;
  std::string joined = cwd;
  if (joined.back() != '/') joined += '/';
  return joined + path;
}

}  // namespace wire
