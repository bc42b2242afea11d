// cli.cpp - dispatch, error reporting and exit status.
#include "cli.h"

#include <dlog.h>
#include <signal.h>
#include <unistd.h>

#include <cstdlib>
#include <iostream>

#include "cli_error.h"
#include "help_text.h"
#include "local_ops.h"
#include "output.h"
#include "remote_ops.h"
#include "status_names.h"
#include "value_json.h"

namespace cli {
namespace {

// The library writes its diagnostic lines through the log library. cmpi-cli reports every
// failure itself, so they are hidden unless DLOG_LEVEL asks for them or --debug is given.
void configure_logging(bool debug) {
  if (debug) {
    setenv("DLOG_LEVEL", "4", 1);
  } else if (std::getenv("DLOG_LEVEL") == nullptr) {
    setenv("DLOG_LEVEL", "1", 1);
  } else {
    return;
  }
  dlog_reload();
}

Json::Value error_json(const std::string &kind, int code, const std::string &message) {
  Json::Value error(Json::objectValue);
  error["kind"] = kind;
  error["code"] = code >= 0 ? Json::Value(code) : Json::Value();
  error["name"] = code >= 0 ? Json::Value(wire::rc_name(code)) : Json::Value();
  error["message"] = !message.empty() ? message : code >= 0 ? wire::rc_description(code) : "";
  return error;
}

std::string help_hint(const std::string &command) {
  return "Try 'cmpi-cli " + (command.empty() ? std::string() : command + " ") + "--help'.\n";
}

}  // namespace

int run(const std::vector<std::string> &args, const RunSettings &settings, std::ostream &out,
        std::ostream &err) {
  Invocation inv;
  try {
    inv = parse_command_line(args, settings.defaults);
  } catch (const UsageError &e) {
    err << "cmpi-cli: " << e.what() << "\n" << help_hint(e.command());
    return kExitUsage;
  }
  if (inv.version) {
    out << "cmpi-cli " << CMPI_CLI_VERSION << "\n";
    return kExitSuccess;
  }
  if (inv.help) {
    const CommandInfo *info = inv.command.empty() ? nullptr : find_command(inv.command);
    out << (info != nullptr ? command_help(*info) : program_help());
    return kExitSuccess;
  }
  if (settings.configure_logging) configure_logging(inv.debug);

  Output output(out, err, inv.json, settings.progress);
  int status = kExitSuccess;
  try {
    if (is_remote_command(inv.command)) {
      run_remote(inv, output);
    } else {
      run_local(inv, output);
    }
  } catch (const UsageError &e) {
    err << "cmpi-cli: " << e.what() << "\n" << help_hint(e.command());
    return kExitUsage;
  } catch (const CimError &e) {
    output.error(error_json("cim", e.code(), e.what()));
    status = kExitCimError;
    output.finish();
    err << wire::rc_line(e.code(), e.what()) << "\n";
    return status;
  } catch (const ConnectionError &e) {
    output.error(error_json("connection", -1, e.what()));
    output.finish();
    err << "cmpi-cli: " << e.what() << "\n";
    return kExitConnection;
  } catch (const TimeoutError &e) {
    output.error(error_json("timeout", -1, e.what()));
    output.finish();
    err << "cmpi-cli: " << e.what() << "\n";
    return kExitTimeout;
  } catch (const std::exception &e) {
    output.error(error_json("cim", CMPI_RC_ERR_FAILED, e.what()));
    output.finish();
    err << wire::rc_line(CMPI_RC_ERR_FAILED, e.what()) << "\n";
    return kExitCimError;
  }
  output.finish();
  return status;
}

int main_entry(int argc, char **argv) {
  // A daemon that closes early must not kill the client with SIGPIPE: the send fails instead.
  signal(SIGPIPE, SIG_IGN);
  RunSettings settings;
  settings.defaults = process_defaults();
  settings.progress = isatty(STDERR_FILENO) != 0;
  settings.configure_logging = true;
  std::vector<std::string> args(argv + (argc > 0 ? 1 : 0), argv + argc);
  return run(args, settings, std::cout, std::cerr);
}

}  // namespace cli
