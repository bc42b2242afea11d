// Return-code names, argument checks, the output sink and the program's dispatch.
#include <gtest/gtest.h>
#include <json/json.h>

#include <sstream>
#include <string>

#include "cli.h"
#include "cli_error.h"
#include "cmpi_build.h"
#include "help_text.h"
#include "output.h"
#include "request_args.h"
#include "status_names.h"

namespace {

std::string usage_error_of(void (*call)()) {
  try {
    call();
  } catch (const cli::UsageError &e) {
    return std::string(e.what()) + " [" + e.command() + "]";
  }
  return "<no error>";
}

// ---- return codes ------------------------------------------------------------------------------

TEST(StatusNames, NamesAndDescriptions) {
  EXPECT_EQ(wire::rc_name(0), "CMPI_RC_OK");
  EXPECT_EQ(wire::rc_name(1), "CMPI_RC_ERR_FAILED");
  EXPECT_EQ(wire::rc_name(2), "CMPI_RC_ERR_ACCESS_DENIED");
  EXPECT_EQ(wire::rc_name(5), "CMPI_RC_ERR_INVALID_CLASS");
  EXPECT_EQ(wire::rc_name(6), "CMPI_RC_ERR_NOT_FOUND");
  EXPECT_EQ(wire::rc_name(17), "CMPI_RC_ERR_METHOD_NOT_FOUND");
  EXPECT_EQ(wire::rc_name(61), "CMPI_RC_ERR_INVALID_DATA_TYPE");
  EXPECT_EQ(wire::rc_name(200), "CMPI_RC_ERROR");
  EXPECT_EQ(wire::rc_name(999), "CMPI_RC_999");
  EXPECT_EQ(wire::rc_description(6), "not found");
  EXPECT_EQ(wire::rc_description(999), "CMPI return code 999");
  EXPECT_EQ(wire::rc_line(6, ""), "CMPI_RC_ERR_NOT_FOUND: not found");
  EXPECT_EQ(wire::rc_line(6, "no fan9"), "CMPI_RC_ERR_NOT_FOUND: no fan9");
}

TEST(StatusNames, EveryNamedCodeOfTheHeaders) {
  const int codes[] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18, 50,
                       51, 60, 61, 100, 200};
  for (int code : codes) {
    EXPECT_EQ(wire::rc_name(code).rfind("CMPI_RC_", 0), 0u);
    EXPECT_NE(wire::rc_name(code), "CMPI_RC_" + std::to_string(code)) << code;
    EXPECT_NE(wire::rc_description(code).find_first_not_of(' '), std::string::npos) << code;
  }
}

// ---- argument checks ---------------------------------------------------------------------------

TEST(RequestArgs, ClassAndInstanceArguments) {
  EXPECT_EQ(cli::class_argument("root/cimv2:Demo_Fan", "enum").class_name, "Demo_Fan");
  EXPECT_EQ(cli::instance_argument("X.K=\"v\"", "get").keys.size(), 1u);
  EXPECT_EQ(cli::any_path_argument("X", "invoke").keys.size(), 0u);
  EXPECT_EQ(usage_error_of([] { cli::class_argument("X.K=1", "enum"); }),
            "enum takes a class, not an instance path: 'X.K=1' [enum]");
  EXPECT_EQ(usage_error_of([] { cli::instance_argument("Demo_Fan", "get"); }),
            "get needs an instance path with its keys, e.g. Demo_Fan.Name=\"value\", not "
            "'Demo_Fan' [get]");
  EXPECT_EQ(usage_error_of([] { cli::instance_argument("X.K=v", "delete"); }),
            "bad object path 'X.K=v': value 'v' of key 'K' at column 5 must be quoted (only "
            "numbers and true/false stand without quotes) [delete]");
}

TEST(RequestArgs, ValueArguments) {
  auto values = cli::value_arguments({"A=1", "B:uint8=2"}, "property", "create");
  ASSERT_EQ(values.size(), 2u);
  EXPECT_EQ(values[1].name, "B");
  EXPECT_EQ(usage_error_of([] { cli::value_arguments({"A:uint8=300"}, "property", "modify"); }),
            "bad property 'A:uint8=300': '300' is not a uint8 (0 to 255) [modify]");
  EXPECT_EQ(usage_error_of([] { cli::value_arguments({"A=1", "a=2"}, "argument", "invoke"); }),
            "argument 'a' is given twice [invoke]");
}

TEST(RequestArgs, CheckSendable) {
  cli::check_sendable(cli::parse_path("X.K=\"v\""), {cli::parse_value("C:ref=Y.K=\"w\"")}, "get");
  EXPECT_EQ(usage_error_of([] { cli::check_sendable(cli::parse_path("X.K=\"a,b\""), {}, "get"); }),
            "the path X.K=\"a,b\" cannot be sent: the value of key 'K' contains ',', which the "
            "request format cannot carry in a key [get]");
  EXPECT_EQ(usage_error_of([] {
              cli::check_sendable(cli::parse_path("X.K=\"v\""),
                                  {cli::parse_value("C:ref=Y.K=\"a=b\"")}, "create");
            }),
            "the reference in 'C' cannot be sent: the value of key 'K' contains '=', which the "
            "request format cannot carry in a key [create]");
}

TEST(RequestArgs, NameOptions) {
  EXPECT_EQ(cli::name_option("Demo_ChassisFan", "--assoc-class", "associators"), "Demo_ChassisFan");
  EXPECT_EQ(cli::name_option("", "--role", "references"), "");
  EXPECT_EQ(usage_error_of([] { cli::name_option("a b", "--role", "references"); }),
            "--role takes a name (a letter or '_', then letters, digits or '_'), not 'a b' "
            "[references]");
}

TEST(RequestArgs, ClassOfQuery) {
  EXPECT_EQ(cli::class_of_query("SELECT * FROM Demo_Fan WHERE Speed > 1"), "Demo_Fan");
  EXPECT_EQ(cli::class_of_query("select Name from  Demo_Chassis"), "Demo_Chassis");
  EXPECT_EQ(cli::class_of_query("SELECT fromage FROM X"), "X");
  EXPECT_EQ(cli::class_of_query("SELECT * FROM"), "");
  EXPECT_EQ(cli::class_of_query("SELECT 1"), "");
}

TEST(RequestArgs, WithNamespaceFillsNestedReferences) {
  cli::ParsedPath p = cli::with_namespace(cli::parse_path("A.R=\"B.K=\\\"v\\\"\""), "ns");
  EXPECT_EQ(cli::format_path(p), "ns:A.R=\"ns:B.K=\\\"v\\\"\"");
  cli::ParsedPath q = cli::with_namespace(cli::parse_path("other:A"), "ns");
  EXPECT_EQ(q.name_space, "other");
}

// ---- output ------------------------------------------------------------------------------------

cli::InstancePtr chassis(const std::string &tag) {
  cli::PathPtr path = cli::build_path(cli::parse_path("Demo_Chassis"), "root/cimv2");
  cli::InstancePtr inst(makeNewCMPIInstance(path.get(), nullptr));
  cli::set_property(inst.get(), cli::parse_value("Tag=" + tag), "root/cimv2");
  return inst;
}

TEST(Output, TextSeparatesInstancesByABlankLine) {
  std::ostringstream out;
  std::ostringstream err;
  {
    cli::Output o(out, err, false, false);
    o.start_list("instances");
    o.add_instance(chassis("a").get());
    o.add_instance(chassis("b").get());
    o.member("ignored", 1);
    o.finish();
  }
  EXPECT_EQ(out.str(),
            "instance of Demo_Chassis {\n    Tag = \"a\";\n};\n\n"
            "instance of Demo_Chassis {\n    Tag = \"b\";\n};\n");
  EXPECT_EQ(err.str(), "");
}

TEST(Output, JsonCollectsOneDocumentWithTheError) {
  std::ostringstream out;
  std::ostringstream err;
  cli::Output o(out, err, true, false);
  o.start_list("paths");
  cli::PathPtr path = cli::build_path(cli::parse_path("X.K=\"v\""), "ns");
  o.add_path(path.get());
  o.text("ignored in JSON");
  Json::Value error(Json::objectValue);
  error["kind"] = "timeout";
  o.error(error);
  o.finish();
  o.finish();
  Json::Value doc;
  std::istringstream in(out.str());
  in >> doc;
  ASSERT_TRUE(doc["paths"].isArray());
  EXPECT_EQ(doc["paths"][0]["path"].asString(), "ns:X.K=\"v\"");
  EXPECT_EQ(doc["error"]["kind"].asString(), "timeout");
  EXPECT_EQ(o.count(), 1u);
}

TEST(Output, ProgressLineEveryStepOnlyWhenAsked) {
  std::ostringstream out;
  std::ostringstream err;
  cli::PathPtr path = cli::build_path(cli::parse_path("X.K=\"v\""), "ns");
  {
    cli::Output o(out, err, true, true);
    o.start_list("paths");
    for (std::size_t i = 0; i < 2 * cli::Output::kProgressStep + 1; ++i) o.add_path(path.get());
    o.finish();
  }
  EXPECT_EQ(err.str(),
            "\rcmpi-cli: 100 results so far\rcmpi-cli: 200 results so far\r\033[K");
  std::ostringstream quiet;
  {
    cli::Output o(out, quiet, true, false);
    o.start_list("paths");
    for (std::size_t i = 0; i < 2 * cli::Output::kProgressStep; ++i) o.add_path(path.get());
    o.finish();
  }
  EXPECT_EQ(quiet.str(), "");
}

TEST(Output, TextClearsTheProgressLineBeforeResults) {
  std::ostringstream out;
  std::ostringstream err;
  cli::PathPtr path = cli::build_path(cli::parse_path("X.K=\"v\""), "ns");
  cli::Output o(out, err, false, true);
  o.start_list("paths");
  for (std::size_t i = 0; i < cli::Output::kProgressStep + 1; ++i) o.add_path(path.get());
  o.finish();
  EXPECT_EQ(err.str(), "\rcmpi-cli: 100 results so far\r\033[K");
}

// ---- the program without a daemon ------------------------------------------------------------

struct Ran {
  int status;
  std::string out;
  std::string err;
};

Ran run(const std::vector<std::string> &args) {
  cli::RunSettings settings;
  settings.defaults = {"/nonexistent/cmpi-cli-test.sock", "root"};
  std::ostringstream out;
  std::ostringstream err;
  int status = cli::run(args, settings, out, err);
  return {status, out.str(), err.str()};
}

TEST(Run, HelpVersionAndUsage) {
  Ran help = run({"--help"});
  EXPECT_EQ(help.status, 0);
  EXPECT_EQ(help.out, cli::program_help());
  Ran sub = run({"invoke", "--help"});
  EXPECT_EQ(sub.status, 0);
  EXPECT_EQ(sub.out.rfind("Usage: cmpi-cli invoke [OPTION...] PATH METHOD [ARGUMENT...]\n", 0), 0u);
  Ran version = run({"--version"});
  EXPECT_EQ(version.status, 0);
  EXPECT_EQ(version.out.rfind("cmpi-cli ", 0), 0u);
  Ran none = run({});
  EXPECT_EQ(none.status, cli::kExitUsage);
  EXPECT_EQ(none.err, "cmpi-cli: no command given\nTry 'cmpi-cli --help'.\n");
}

TEST(Run, SyntaxMistakesAreUsageErrorsBeforeAnyConnection) {
  Ran bad = run({"get", "Demo_Fan.DeviceID=fan0"});
  EXPECT_EQ(bad.status, cli::kExitUsage);
  EXPECT_EQ(bad.out, "");
  EXPECT_EQ(bad.err,
            "cmpi-cli: bad object path 'Demo_Fan.DeviceID=fan0': value 'fan0' of key 'DeviceID' "
            "at column 19 must be quoted (only numbers and true/false stand without quotes)\n"
            "Try 'cmpi-cli get --help'.\n");
  Ran value = run({"--json", "modify", "X.K=\"v\"", "S:uint8=x"});
  EXPECT_EQ(value.status, cli::kExitUsage);
  EXPECT_EQ(value.out, "");
  EXPECT_EQ(value.err,
            "cmpi-cli: bad property 'S:uint8=x': 'x' is not a uint8 (0 to 255)\n"
            "Try 'cmpi-cli modify --help'.\n");
  Ran method = run({"invoke", "X", "1st"});
  EXPECT_EQ(method.status, cli::kExitUsage);
  EXPECT_EQ(method.err,
            "cmpi-cli: bad method name '1st' (a letter or '_', then letters, digits or '_')\n"
            "Try 'cmpi-cli invoke --help'.\n");
  Ran query = run({"query", "SELECT 1"});
  EXPECT_EQ(query.status, cli::kExitUsage);
  EXPECT_EQ(query.err,
            "cmpi-cli: no class after FROM in the query; give it: query CLASS QUERY\n"
            "Try 'cmpi-cli query --help'.\n");
  Ran empty = run({"query", "X", ""});
  EXPECT_EQ(empty.err, "cmpi-cli: the query is empty\nTry 'cmpi-cli query --help'.\n");
}

TEST(Run, NoUserName) {
  cli::RunSettings settings;
  settings.defaults = {"/nonexistent.sock", ""};
  std::ostringstream out;
  std::ostringstream err;
  EXPECT_EQ(cli::run({"enum", "X"}, settings, out, err), cli::kExitUsage);
  EXPECT_EQ(err.str(),
            "cmpi-cli: cannot tell your user name; give one with --user\n"
            "Try 'cmpi-cli enum --help'.\n");
}

TEST(Run, DaemonDownIsAConnectionError) {
  Ran down = run({"enum", "Demo_Fan"});
  EXPECT_EQ(down.status, cli::kExitConnection);
  EXPECT_EQ(down.out, "");
  EXPECT_EQ(down.err,
            "cmpi-cli: cannot connect to the daemon at /nonexistent/cmpi-cli-test.sock: No such "
            "file or directory\n");
  Ran json = run({"--json", "enum", "Demo_Fan"});
  EXPECT_EQ(json.status, cli::kExitConnection);
  Json::Value doc;
  std::istringstream in(json.out);
  in >> doc;
  EXPECT_EQ(doc["error"]["kind"].asString(), "connection");
  EXPECT_TRUE(doc["error"]["code"].isNull());
  EXPECT_EQ(doc["instances"].size(), 0u);
}

TEST(Run, OverlongSocketPath) {
  Ran r = run({"--socket", "/" + std::string(120, 's'), "enum", "X"});
  EXPECT_EQ(r.status, cli::kExitConnection);
  EXPECT_EQ(r.err, "cmpi-cli: the socket path /" + std::string(120, 's') +
                       " is longer than 107 characters\n");
}

}  // namespace
