// The command line: options anywhere, subcommand arguments, every usage mistake.
#include "command_line.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "cli_error.h"
#include "help_text.h"

namespace {

using cli::Invocation;

const cli::Defaults kDefaults{"/run/cmpi-hostd.sock", "alice"};

Invocation parse(const std::vector<std::string> &args) {
  return cli::parse_command_line(args, kDefaults);
}

// The message and the subcommand its hint names.
std::pair<std::string, std::string> error_of(const std::vector<std::string> &args) {
  try {
    parse(args);
  } catch (const cli::UsageError &e) {
    return {e.what(), e.command()};
  }
  return {"<no error>", ""};
}

TEST(CommandLine, DefaultsFromTheEnvironment) {
  Invocation inv = parse({"enum", "Demo_Fan"});
  EXPECT_EQ(inv.command, "enum");
  EXPECT_EQ(inv.arguments, std::vector<std::string>{"Demo_Fan"});
  EXPECT_EQ(inv.socket, "/run/cmpi-hostd.sock");
  EXPECT_EQ(inv.user, "alice");
  EXPECT_EQ(inv.timeout, 30);
  EXPECT_FALSE(inv.json);
  EXPECT_FALSE(inv.debug);
  EXPECT_EQ(inv.name_space, "root/cimv2");
}

TEST(CommandLine, OptionsBeforeAndAfterTheCommand) {
  Invocation inv = parse({"--socket", "/tmp/s", "get", "--user=bob", "X.K=1", "--json",
                          "--timeout", "0", "--namespace=interop", "--debug"});
  EXPECT_EQ(inv.command, "get");
  EXPECT_EQ(inv.socket, "/tmp/s");
  EXPECT_EQ(inv.user, "bob");
  EXPECT_EQ(inv.arguments, std::vector<std::string>{"X.K=1"});
  EXPECT_TRUE(inv.json);
  EXPECT_EQ(inv.timeout, 0);
  EXPECT_EQ(inv.name_space, "interop");
  EXPECT_TRUE(inv.debug);
}

TEST(CommandLine, DoubleDashEndsTheOptions) {
  Invocation inv = parse({"query", "--", "--json"});
  EXPECT_FALSE(inv.json);
  EXPECT_EQ(inv.arguments, std::vector<std::string>{"--json"});
}

TEST(CommandLine, AssociationOptions) {
  Invocation inv = parse({"associators", "X.K=1", "--assoc-class", "A", "--result-class=R",
                          "--role", "G", "--result-role", "P"});
  EXPECT_EQ(inv.assoc_class, "A");
  EXPECT_EQ(inv.result_class, "R");
  EXPECT_EQ(inv.role, "G");
  EXPECT_EQ(inv.result_role, "P");
  Invocation refs = parse({"references", "X.K=1", "--result-class", "R", "--role", "G"});
  EXPECT_EQ(refs.result_class, "R");
  EXPECT_EQ(refs.role, "G");
}

TEST(CommandLine, LocalEnumFlag) {
  EXPECT_EQ(parse({"local-enum", "Demo_Fan", "--flag", "1"}).flag, 1);
  EXPECT_EQ(parse({"local-enum", "Demo_Fan", "--flag=255"}).flag, 255);
  EXPECT_EQ(parse({"local-enum", "Demo_Fan"}).flag, 0);
}

TEST(CommandLine, HelpAndVersion) {
  EXPECT_TRUE(parse({"--help"}).help);
  EXPECT_TRUE(parse({"-h"}).help);
  Invocation sub = parse({"get", "--help"});
  EXPECT_TRUE(sub.help);
  EXPECT_EQ(sub.command, "get");
  Invocation help = parse({"help", "invoke"});
  EXPECT_TRUE(help.help);
  EXPECT_EQ(help.command, "invoke");
  EXPECT_TRUE(parse({"help"}).help);
  EXPECT_TRUE(parse({"--version"}).version);
  // Argument counts are not checked when help is asked for.
  EXPECT_TRUE(parse({"modify", "--help"}).help);
}

TEST(CommandLine, ArgumentCounts) {
  EXPECT_EQ(parse({"create", "X.K=1"}).arguments.size(), 1u);
  EXPECT_EQ(parse({"create", "X.K=1", "a=1", "b=2"}).arguments.size(), 3u);
  EXPECT_EQ(parse({"invoke", "X", "M"}).arguments.size(), 2u);
  EXPECT_EQ(parse({"query", "Q"}).arguments.size(), 1u);
  EXPECT_EQ(parse({"query", "C", "Q"}).arguments.size(), 2u);
}

TEST(CommandLineErrors, NoCommand) {
  EXPECT_EQ(error_of({}).first, "no command given");
  EXPECT_EQ(error_of({"--json"}).first, "no command given");
}

TEST(CommandLineErrors, UnknownCommand) {
  EXPECT_EQ(error_of({"list"}).first, "unknown command 'list'");
  EXPECT_EQ(error_of({"help", "list"}).first, "unknown command 'list'");
  EXPECT_EQ(error_of({"help", "get", "x"}).first, "help takes at most one command");
}

TEST(CommandLineErrors, UnknownOption) {
  auto e = error_of({"get", "--verbose", "X.K=1"});
  EXPECT_EQ(e.first, "unknown option '--verbose'");
  EXPECT_EQ(e.second, "get");
  EXPECT_EQ(error_of({"-x"}).first, "unknown option '-x'");
}

TEST(CommandLineErrors, OptionValues) {
  EXPECT_EQ(error_of({"enum", "X", "--socket"}).first, "option --socket needs a value");
  EXPECT_EQ(error_of({"enum", "X", "--json=1"}).first, "option --json takes no value");
  EXPECT_EQ(error_of({"enum", "X", "--socket="}).first, "--socket needs a path");
  EXPECT_EQ(error_of({"enum", "X", "--user="}).first, "--user needs a user name");
  EXPECT_EQ(error_of({"enum", "X", "--namespace="}).first, "--namespace needs a namespace");
  const std::string timeout = "--timeout takes whole seconds from 0 (no limit) to 86400, not '";
  EXPECT_EQ(error_of({"enum", "X", "--timeout", "-1"}).first, timeout + "-1'");
  EXPECT_EQ(error_of({"enum", "X", "--timeout=-1"}).first, timeout + "-1'");
  EXPECT_EQ(error_of({"enum", "X", "--timeout", "abc"}).first, timeout + "abc'");
  EXPECT_EQ(error_of({"enum", "X", "--timeout", "86401"}).first, timeout + "86401'");
  EXPECT_EQ(error_of({"local-enum", "X", "--flag", "256"}).first,
            "--flag takes a number from 0 to 255, not '256'");
  EXPECT_EQ(error_of({"local-enum", "X", "--flag", "256"}).second, "local-enum");
}

TEST(CommandLineErrors, OptionOfAnotherCommand) {
  auto e = error_of({"enum", "X", "--role", "G"});
  EXPECT_EQ(e.first, "option --role does not apply to enum");
  EXPECT_EQ(e.second, "enum");
  EXPECT_EQ(error_of({"references", "X.K=1", "--assoc-class", "A"}).first,
            "option --assoc-class does not apply to references");
  EXPECT_EQ(error_of({"--flag", "1"}).first, "option --flag belongs to a command");
}

TEST(CommandLineErrors, MissingArguments) {
  EXPECT_EQ(error_of({"enum"}).first, "enum needs CLASS");
  EXPECT_EQ(error_of({"get"}).first, "get needs PATH");
  EXPECT_EQ(error_of({"modify", "X.K=1"}).first, "modify needs PATH PROPERTY...");
  EXPECT_EQ(error_of({"invoke", "X"}).first, "invoke needs PATH METHOD [ARGUMENT...]");
  EXPECT_EQ(error_of({"query"}).first, "query needs [CLASS] QUERY");
  EXPECT_EQ(error_of({"get"}).second, "get");
}

TEST(CommandLineErrors, TooManyArguments) {
  EXPECT_EQ(error_of({"enum", "A", "B"}).first, "unexpected argument 'B' (enum takes CLASS)");
  EXPECT_EQ(error_of({"get", "A", "B"}).first, "unexpected argument 'B' (get takes PATH)");
  EXPECT_EQ(error_of({"query", "A", "B", "C"}).first,
            "unexpected argument 'C' (query takes [CLASS] QUERY)");
}

TEST(CommandTable, EverySubcommandHasHelp) {
  const std::vector<std::string> expected = {
      "enum",        "enum-names",       "get",        "create",          "modify",
      "delete",      "invoke",           "associators", "associator-names", "references",
      "reference-names", "query",        "get-class",  "local-get",       "local-enum"};
  ASSERT_EQ(cli::all_commands().size(), expected.size());
  for (const std::string &name : expected) {
    const cli::CommandInfo *info = cli::find_command(name);
    ASSERT_NE(info, nullptr) << name;
    const std::string help = cli::command_help(*info);
    EXPECT_EQ(help.rfind("Usage: cmpi-cli " + name + " [OPTION...] ", 0), 0u) << help;
    EXPECT_NE(help.find("Example: "), std::string::npos) << name;
    EXPECT_NE(help.find("--socket PATH"), std::string::npos) << name;
    for (const std::string &option : info->options) {
      EXPECT_NE(help.find(option), std::string::npos) << name << " " << option;
    }
    EXPECT_NE(cli::program_help().find("  " + name + " "), std::string::npos) << name;
  }
  EXPECT_EQ(cli::find_command("nope"), nullptr);
}

TEST(CommandTable, ProgramHelpExplainsSyntaxOutputAndExitStatus) {
  const std::string help = cli::program_help();
  for (const char *part : {"Object paths:", "Properties and method arguments:", "Output:",
                           "Exit status:", "Environment:", "CMPI_HOSTD_SOCKET",
                           "CMPIUTILITY_SCHEMA_DB", "CMPIUTILITY_PROVIDER_DIR", "--json",
                           "  3  connection error", "  4  time-out", "  2  usage error",
                           "  1  the operation failed"}) {
    EXPECT_NE(help.find(part), std::string::npos) << part;
  }
}

}  // namespace
