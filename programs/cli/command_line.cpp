// command_line.cpp - option and argument parsing.
#include "command_line.h"

#include <pwd.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>

#include "cli_error.h"
#include "help_text.h"

namespace cli {
namespace {

const char kDefaultSocket[] = "/run/cmpi-hostd.sock";

// A whole number in [low, high], or false.
bool read_number(const std::string &text, int low, int high, int *out) {
  if (text.empty() || text.size() > 9) return false;
  long value = 0;
  for (char c : text) {
    if (c < '0' || c > '9') return false;
    value = value * 10 + (c - '0');
  }
  if (value < low || value > high) return false;
  *out = static_cast<int>(value);
  return true;
}

bool takes_value(const std::string &option) {
  static const char *const kWithValue[] = {"--socket", "--user",       "--timeout",
                                           "--namespace", "--assoc-class", "--result-class",
                                           "--role",   "--result-role", "--flag"};
  return std::find(std::begin(kWithValue), std::end(kWithValue), option) != std::end(kWithValue);
}

bool is_global(const std::string &option) {
  static const char *const kGlobal[] = {"--socket", "--user",  "--timeout", "--namespace",
                                        "--json",   "--debug", "--help",    "-h",
                                        "--version"};
  return std::find(std::begin(kGlobal), std::end(kGlobal), option) != std::end(kGlobal);
}

bool is_known(const std::string &option) {
  if (is_global(option)) return true;
  for (const CommandInfo &info : all_commands()) {
    if (std::find(info.options.begin(), info.options.end(), option) != info.options.end()) {
      return true;
    }
  }
  return false;
}

struct PendingOption {
  std::string name;
  std::string value;
};

void apply(Invocation *inv, const PendingOption &opt) {
  const std::string &name = opt.name;
  const std::string &value = opt.value;
  if (name == "--socket") {
    if (value.empty()) throw UsageError("--socket needs a path");
    inv->socket = value;
  } else if (name == "--user") {
    if (value.empty()) throw UsageError("--user needs a user name");
    inv->user = value;
  } else if (name == "--timeout") {
    if (!read_number(value, 0, 86400, &inv->timeout)) {
      throw UsageError("--timeout takes whole seconds from 0 (no limit) to 86400, not '" + value +
                       "'");
    }
  } else if (name == "--namespace") {
    if (value.empty()) throw UsageError("--namespace needs a namespace");
    inv->name_space = value;
  } else if (name == "--json") {
    inv->json = true;
  } else if (name == "--debug") {
    inv->debug = true;
  } else if (name == "--help" || name == "-h") {
    inv->help = true;
  } else if (name == "--version") {
    inv->version = true;
  } else if (name == "--assoc-class") {
    inv->assoc_class = value;
  } else if (name == "--result-class") {
    inv->result_class = value;
  } else if (name == "--role") {
    inv->role = value;
  } else if (name == "--result-role") {
    inv->result_role = value;
  } else if (name == "--flag") {
    if (!read_number(value, 0, 255, &inv->flag)) {
      throw UsageError("--flag takes a number from 0 to 255, not '" + value + "'", "local-enum");
    }
  }
}

}  // namespace

Defaults process_defaults() {
  Defaults d;
  const char *socket = std::getenv("CMPI_HOSTD_SOCKET");
  d.socket = (socket != nullptr && *socket != '\0') ? socket : kDefaultSocket;
  if (const struct passwd *pw = getpwuid(getuid())) {
    if (pw->pw_name != nullptr) d.user = pw->pw_name;
  }
  return d;
}

Invocation parse_command_line(const std::vector<std::string> &args, const Defaults &defaults) {
  Invocation inv;
  inv.socket = defaults.socket;
  inv.user = defaults.user;
  std::vector<PendingOption> options;
  bool options_ended = false;
  bool help_command = false;
  for (std::size_t i = 0; i < args.size(); ++i) {
    const std::string &arg = args[i];
    if (!options_ended && arg == "--") {
      options_ended = true;
      continue;
    }
    if (!options_ended && arg.size() > 1 && arg[0] == '-') {
      PendingOption opt;
      const std::size_t eq = arg.find('=');
      opt.name = arg.substr(0, eq);
      if (!is_known(opt.name)) {
        throw UsageError("unknown option '" + opt.name + "'", inv.command);
      }
      if (takes_value(opt.name)) {
        if (eq != std::string::npos) {
          opt.value = arg.substr(eq + 1);
        } else if (i + 1 < args.size()) {
          opt.value = args[++i];
        } else {
          throw UsageError("option " + opt.name + " needs a value", inv.command);
        }
      } else if (eq != std::string::npos) {
        throw UsageError("option " + opt.name + " takes no value", inv.command);
      }
      options.push_back(opt);
      continue;
    }
    if (inv.command.empty() && !help_command) {
      if (arg == "help") {
        help_command = true;
        inv.help = true;
        continue;
      }
      if (find_command(arg) == nullptr) throw UsageError("unknown command '" + arg + "'");
      inv.command = arg;
      continue;
    }
    if (help_command && inv.command.empty()) {
      if (find_command(arg) == nullptr) throw UsageError("unknown command '" + arg + "'");
      inv.command = arg;
      continue;
    }
    inv.arguments.push_back(arg);
  }
  if (help_command && !inv.arguments.empty()) {
    throw UsageError("help takes at most one command");
  }

  const CommandInfo *info = inv.command.empty() ? nullptr : find_command(inv.command);
  for (const PendingOption &opt : options) {
    if (!is_global(opt.name)) {
      if (info == nullptr) throw UsageError("option " + opt.name + " belongs to a command");
      if (std::find(info->options.begin(), info->options.end(), opt.name) == info->options.end()) {
        throw UsageError("option " + opt.name + " does not apply to " + inv.command, inv.command);
      }
    }
    try {
      apply(&inv, opt);
    } catch (const UsageError &e) {
      throw UsageError(e.what(), inv.command);
    }
  }
  if (inv.help || inv.version) return inv;
  if (info == nullptr) throw UsageError("no command given");

  const int count = static_cast<int>(inv.arguments.size());
  if (count < info->min_arguments) {
    throw UsageError(std::string(info->name) + " needs " + info->arguments, inv.command);
  }
  if (info->max_arguments >= 0 && count > info->max_arguments) {
    throw UsageError("unexpected argument '" + inv.arguments[info->max_arguments] + "' (" +
                         info->name + " takes " + info->arguments + ")",
                     inv.command);
  }
  return inv;
}

}  // namespace cli
