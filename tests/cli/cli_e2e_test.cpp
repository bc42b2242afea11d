// cmpi-cli against a running cmpi-hostd: every subcommand, the text and JSON output, and every
// class of failure with its exit status and message.
#include <gtest/gtest.h>
#include <json/json.h>
#include <pwd.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "cli_runner.h"
#include "hostd_harness.h"

namespace {

using clitest::CliRun;
using clitest::occurrences;
using clitest::run_cli;

const char kFan0[] = "Demo_Fan.DeviceID=\"fan0\",SystemName=\"bmc0\"";
const char kFan1[] = "root/cimv2:Demo_Fan.DeviceID=\"fan1\",SystemName=\"bmc0\"";
const char kChassis0[] = "Demo_Chassis.Tag=\"chassis0\"";

const char kChassis0Text[] =
    "instance of Demo_Chassis {\n"
    "    FanCount = 2;\n"
    "    Manufacturer = \"Demo Manufacturing\";\n"
    "    Model = \"DM-100\";\n"
    "    SerialNumber = \"SN-0001\";\n"
    "    Tag = \"chassis0\";\n"
    "};\n";

Json::Value parse_json(const std::string &text) {
  Json::CharReaderBuilder builder;
  Json::Value doc;
  std::string errors;
  std::istringstream in(text);
  EXPECT_TRUE(Json::parseFromStream(builder, in, &doc, &errors)) << errors << "\n" << text;
  return doc;
}

// No sanitizer report from the program.
void expect_clean(const CliRun &run) {
  EXPECT_EQ(run.err.find("Sanitizer"), std::string::npos) << run.err;
  EXPECT_EQ(run.err.find("runtime error"), std::string::npos) << run.err;
}

class CliTest : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_TRUE(daemon_.start()); }

  void TearDown() override {
    int status = daemon_.stop();
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "wait status " << status;
    const std::string err = daemon_.standard_error();
    EXPECT_EQ(err.find("Sanitizer"), std::string::npos) << err;
    EXPECT_EQ(err.find("runtime error"), std::string::npos) << err;
  }

  // cmpi-cli on the test daemon's socket.
  CliRun cli(std::vector<std::string> args, bool terminal_stderr = false) {
    args.insert(args.begin(), {"--socket", ws_.socket});
    CliRun run = run_cli(args, {}, terminal_stderr);
    expect_clean(run);
    return run;
  }

  // cmpi-cli with the workspace's schema database, where the names commands read key
  // properties.
  CliRun cli_names(std::vector<std::string> args) {
    args.insert(args.begin(), {"--socket", ws_.socket});
    CliRun run = run_cli(args, {{"CMPIUTILITY_SCHEMA_DB", ws_.schema_db}});
    expect_clean(run);
    return run;
  }

  // The environment of the in-process calls: the workspace's database, providers and state.
  clitest::Environment local_env() const {
    return {{"CMPIUTILITY_SCHEMA_DB", ws_.schema_db},
            {"CMPIUTILITY_PROVIDER_DIR", ws_.provider_dir},
            {"CMPI_DEMO_STATE", ws_.state_file}};
  }

  e2e::Workspace ws_;
  e2e::HostDaemon daemon_{ws_};
};

// ---- reading -------------------------------------------------------------------------------

TEST_F(CliTest, GetPrintsTheInstance) {
  CliRun run = cli({"get", kChassis0});
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(run.out, kChassis0Text);
  EXPECT_EQ(run.err, "");
}

TEST_F(CliTest, GetShowsEveryKindOfValue) {
  CliRun run = cli({"get", std::string("root/cimv2:") + kFan0});
  ASSERT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(run.out.rfind("instance of Demo_Fan {\n", 0), 0u) << run.out;
  for (const char *line : {"    DeviceID = \"fan0\";\n", "    Enabled = true;\n",
                           "    Speed = 2400;\n", "    Offset = -5;\n", "    Ratio = 0.5;\n",
                           "    Load = 0.25;\n", "    Accumulated = -1234567890123;\n",
                           "    InstallDate = \"20240115103000.000000+000\";\n",
                           "    SpeedHistory = {2200, 2300, 2400};\n",
                           "    Tags = {\"front\", \"intake\"};\n",
                           "    Chassis = root/cimv2:Demo_Chassis.Tag=\"chassis0\";\n",
                           "    Sensor = instance of Demo_Sensor {\n"
                           "        Reading = 35;\n"
                           "        Units = \"Celsius\";\n"
                           "    };\n",
                           "    EffectiveUserID = 0;\n"}) {
    EXPECT_NE(run.out.find(line), std::string::npos) << line << "\n" << run.out;
  }
  EXPECT_EQ(run.out.substr(run.out.size() - 3), "};\n");
}

TEST_F(CliTest, GetJsonParsesBack) {
  CliRun run = cli({"--json", "get", kFan0});
  ASSERT_EQ(run.status, 0) << run.err;
  Json::Value doc = parse_json(run.out);
  const Json::Value &inst = doc["instance"];
  EXPECT_EQ(inst["className"].asString(), "Demo_Fan");
  EXPECT_EQ(inst["namespace"].asString(), "root/cimv2");
  const Json::Value &p = inst["properties"];
  EXPECT_EQ(p["Speed"]["type"].asString(), "uint32");
  EXPECT_EQ(p["Speed"]["value"].asUInt(), 2400u);
  EXPECT_EQ(p["Accumulated"]["value"].asInt64(), -1234567890123LL);
  EXPECT_EQ(p["Tags"]["type"].asString(), "string[]");
  EXPECT_EQ(p["Tags"]["value"][1].asString(), "intake");
  EXPECT_EQ(p["Chassis"]["value"]["path"].asString(), "root/cimv2:Demo_Chassis.Tag=\"chassis0\"");
  EXPECT_EQ(p["Chassis"]["value"]["keys"]["Tag"].asString(), "chassis0");
  EXPECT_EQ(p["Sensor"]["value"]["className"].asString(), "Demo_Sensor");
  EXPECT_EQ(p["Sensor"]["value"]["properties"]["Units"]["value"].asString(), "Celsius");
  EXPECT_EQ(p["InstallDate"]["value"].asString(), "20240115103000.000000+000");
}

TEST_F(CliTest, EnumPrintsEveryInstance) {
  CliRun run = cli({"enum", "Demo_Fan"});
  ASSERT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(occurrences(run.out, "instance of Demo_Fan {\n"), 2);
  EXPECT_EQ(occurrences(run.out, "\n};\n\ninstance of Demo_Fan {\n"), 1);
  EXPECT_NE(run.out.find("DeviceID = \"fan1\";"), std::string::npos);
  EXPECT_EQ(run.err, "");
  CliRun chassis = cli({"enum", "root/cimv2:Demo_Chassis"});
  EXPECT_EQ(chassis.status, 0);
  EXPECT_EQ(chassis.out, kChassis0Text);
}

TEST_F(CliTest, EnumJson) {
  CliRun run = cli({"enum", "--json", "Demo_Fan"});
  ASSERT_EQ(run.status, 0) << run.err;
  Json::Value doc = parse_json(run.out);
  ASSERT_EQ(doc["instances"].size(), 2u);
  EXPECT_EQ(doc["instances"][1]["properties"]["DeviceID"]["value"].asString(), "fan1");
  EXPECT_FALSE(doc.isMember("error"));
}

TEST_F(CliTest, EnumNamesPrintsOnePathPerLine) {
  CliRun run = cli({"enum-names", "Demo_Fan"});
  ASSERT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(run.out, std::string("root/cimv2:") + kFan0 + "\n" + kFan1 + "\n");
  CliRun json = cli({"--json", "enum-names", "Demo_Fan"});
  Json::Value doc = parse_json(json.out);
  ASSERT_EQ(doc["paths"].size(), 2u);
  EXPECT_EQ(doc["paths"][1]["path"].asString(), kFan1);
  EXPECT_EQ(doc["paths"][1]["className"].asString(), "Demo_Fan");
  EXPECT_EQ(doc["paths"][1]["keys"]["DeviceID"].asString(), "fan1");
  // A printed path is read back by the other subcommands.
  CliRun again = cli({"get", std::string(kFan1)});
  EXPECT_EQ(again.status, 0);
  EXPECT_NE(again.out.find("DeviceID = \"fan1\";"), std::string::npos);
}

TEST_F(CliTest, GetClassShowsPropertiesAndMethods) {
  CliRun run = cli({"get-class", "Demo_Fan"});
  ASSERT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(run.out.rfind("class Demo_Fan {\n    property DeviceID;\n    property SystemName;\n", 0),
            0u)
      << run.out;
  EXPECT_EQ(occurrences(run.out, "    property "), 23);
  EXPECT_NE(run.out.find("    method SetSpeed(in uint32 DesiredSpeed, out uint32 PreviousSpeed);\n"
                         "};\n"),
            std::string::npos)
      << run.out;
  CliRun json = cli({"get-class", "--json", "Demo_Fan"});
  Json::Value doc = parse_json(json.out);
  EXPECT_EQ(doc["class"]["className"].asString(), "Demo_Fan");
  EXPECT_EQ(doc["class"]["properties"].size(), 23u);
  EXPECT_EQ(doc["class"]["methods"][0]["name"].asString(), "SetSpeed");
  EXPECT_EQ(doc["class"]["methods"][0]["parameters"][0]["direction"].asString(), "in");
}

TEST_F(CliTest, AssociatorsAndReferences) {
  CliRun fans = cli({"associators", kChassis0, "--assoc-class", "Demo_ChassisFan"});
  ASSERT_EQ(fans.status, 0) << fans.err;
  EXPECT_EQ(occurrences(fans.out, "instance of Demo_Fan {\n"), 2);
  CliRun chassis = cli({"associators", kFan0, "--result-class", "Demo_Chassis", "--role",
                        "PartComponent", "--result-role", "GroupComponent"});
  ASSERT_EQ(chassis.status, 0) << chassis.err;
  EXPECT_EQ(chassis.out, kChassis0Text);
  CliRun refs = cli({"references", kChassis0, "--result-class", "Demo_ChassisFan"});
  ASSERT_EQ(refs.status, 0) << refs.err;
  EXPECT_EQ(occurrences(refs.out, "instance of Demo_ChassisFan {\n"), 2);
  EXPECT_EQ(occurrences(refs.out, "    GroupComponent = root/cimv2:Demo_Chassis.Tag=\"chassis0\";\n"),
            2);
  EXPECT_NE(refs.out.find(std::string("    PartComponent = ") + kFan1 + ";\n"), std::string::npos);
  CliRun json = cli({"--json", "references", kFan0});
  Json::Value doc = parse_json(json.out);
  ASSERT_EQ(doc["instances"].size(), 1u);
  EXPECT_EQ(doc["instances"][0]["properties"]["GroupComponent"]["type"].asString(), "reference");
}

// Association providers that ask the broker for both ends (tests/e2e/providers), found from
// the source class alone through the class hierarchy.
TEST_F(CliTest, AssociationsServedThroughBrokerUpCalls) {
  CliRun disks = cli({"associators", "Test_Rack.Name=\"r1\""});
  ASSERT_EQ(disks.status, 0) << disks.err;
  EXPECT_EQ(occurrences(disks.out, "instance of Test_Disk {\n"), 2);
  EXPECT_NE(disks.out.find("    Id = \"d1\";\n"), std::string::npos) << disks.out;
  EXPECT_NE(disks.out.find("    Id = \"d2\";\n"), std::string::npos) << disks.out;
  CliRun rack = cli({"associators", "Test_Disk.Id=\"d3\"", "--result-class", "Test_Rack"});
  ASSERT_EQ(rack.status, 0) << rack.err;
  EXPECT_EQ(rack.out, "instance of Test_Rack {\n    Name = \"r2\";\n};\n");
  CliRun links = cli({"references", "Test_Disk.Id=\"d3\""});
  ASSERT_EQ(links.status, 0) << links.err;
  EXPECT_EQ(occurrences(links.out, "instance of Test_RackDevice {\n"), 1);
  EXPECT_NE(links.out.find("    Rack = root/cimv2:Test_Rack.Name=\"r2\";\n"), std::string::npos)
      << links.out;
}

// A provider written for CMPI level 90 (tests/platform/cmpi/older_level_provider.c): its
// modify entry is named SetInstance and its statement macros are called without ';'.
TEST_F(CliTest, AProviderBuiltForAnOlderLevelRunsUnchanged) {
  CliRun modified = cli({"modify", "Older_Good.Id=\"1\"", "X:uint32=5"});
  EXPECT_EQ(modified.status, 0) << modified.err;
  EXPECT_EQ(modified.out, "Status = CMPI_RC_OK;\n");
  CliRun names = cli({"enum-names", "Older_Good"});
  EXPECT_EQ(names.status, 1);
  EXPECT_EQ(names.err, "CMPI_RC_ERR_NOT_SUPPORTED: not supported\n");
  CliRun missing = cli({"get", "Older_Good.Id=\"2\""});
  EXPECT_EQ(missing.status, 1);
  EXPECT_EQ(missing.err, "CMPI_RC_ERR_NOT_FOUND: the provider returned no instance\n");
  CliRun deleted = cli({"delete", "Older_Good.Id=\"1\""});
  EXPECT_EQ(deleted.status, 1);
  EXPECT_EQ(deleted.err.rfind("CMPI_RC_ERR_ACCESS_DENIED", 0), 0u) << deleted.err;
}

// GetClass carries the defaults of the MOF, inherited ones included, and the inherited
// properties (tests/e2e/classes/test-classes.mof).
TEST_F(CliTest, GetClassShowsInheritedPropertiesAndDefaults) {
  CliRun run = cli({"get-class", "Test_Disk"});
  ASSERT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(run.out,
            "class Test_Disk {\n"
            "    property Id;\n"
            "    property Kind = \"device\";\n"
            "    property Health = 5;\n"
            "    property Roles = {\"storage\", \"spare\"};\n"
            "    property Since = \"20240101120000.000000+000\";\n"
            "    property Rack;\n"
            "    property Uid;\n"
            "};\n");
  CliRun json = cli({"--json", "get-class", "Test_Disk"});
  Json::Value doc = parse_json(json.out);
  EXPECT_EQ(doc["class"]["defaults"]["Health"]["value"].asUInt(), 5u) << json.out;
  EXPECT_TRUE(doc["class"]["methods"].empty()) << "defaults are not method parameters";
}

// Keys of other types than string and arrays with a null element (fit_provider.c): the keys
// arrive as their text, the arrays are left out, nothing fails.
TEST_F(CliTest, KeysOfAnyTypeAndNullArrayElementsThroughTheDaemon) {
  CliRun names = cli({"enum-names", "Test_Fit"});
  ASSERT_EQ(names.status, 0) << names.err;
  EXPECT_EQ(occurrences(names.out, "\n"), 500);
  EXPECT_EQ(names.out.substr(0, names.out.find('\n')),
            "root/cimv2:Test_Fit.When=\"20240101103000.000000+000\",Id=\"0\",Active=\"false\"");
  CliRun one = cli({"get", "Test_Fit.Id=\"7\""});
  ASSERT_EQ(one.status, 0) << one.err;
  EXPECT_NE(one.out.find("    Name = \"fit7\";\n"), std::string::npos) << one.out;
  EXPECT_EQ(one.out.find("Tags"), std::string::npos) << one.out;
  EXPECT_EQ(one.out.find("Codes"), std::string::npos) << one.out;
}

TEST_F(CliTest, AProvidersMessageReachesTheUser) {
  CliRun missing = cli({"get", "Test_Rack.Name=\"r9\""});
  EXPECT_EQ(missing.status, 1);
  EXPECT_EQ(missing.err, "CMPI_RC_ERR_NOT_FOUND: no such rack r9\n");
}

// The names operations are derived from the full results: the same paths, one per line.
TEST_F(CliTest, AssociatorNamesAndReferenceNamesAreThePathsOfTheFullResults) {
  CliRun names =
      cli_names({"associator-names", kChassis0, "--assoc-class", "Demo_ChassisFan"});
  ASSERT_EQ(names.status, 0) << names.err;
  CliRun fans = cli({"enum-names", "Demo_Fan"});
  ASSERT_EQ(fans.status, 0) << fans.err;
  EXPECT_EQ(occurrences(names.out, "\n"), 2);
  EXPECT_EQ(names.out, fans.out) << "chassis0 holds both fans";
  CliRun full = cli({"--json", "associators", kChassis0});
  CliRun json_names = cli_names({"--json", "associator-names", kChassis0});
  Json::Value instances = parse_json(full.out)["instances"];
  Json::Value paths = parse_json(json_names.out)["paths"];
  ASSERT_EQ(paths.size(), instances.size());
  ASSERT_EQ(paths.size(), 2u);
  for (Json::ArrayIndex i = 0; i < paths.size(); ++i) {
    EXPECT_EQ(paths[i]["className"], instances[i]["className"]) << json_names.out;
  }
  CliRun refs = cli_names({"reference-names", kFan0});
  ASSERT_EQ(refs.status, 0) << refs.err;
  EXPECT_EQ(refs.out,
            "root/cimv2:Demo_ChassisFan.GroupComponent=\"root/cimv2:Demo_Chassis.Tag=\\\"chassis0"
            "\\\"\",PartComponent=\"root/cimv2:Demo_Fan.DeviceID=\\\"fan0\\\",SystemName="
            "\\\"bmc0\\\"\"\n");
  CliRun rack_names = cli_names({"reference-names", "Test_Rack.Name=\"r1\"", "--result-class",
                                 "Test_RackPower"});
  ASSERT_EQ(rack_names.status, 0) << rack_names.err;
  EXPECT_EQ(occurrences(rack_names.out, "root/cimv2:Test_RackPower."), 1) << rack_names.out;
}

TEST_F(CliTest, AssociationInstanceByItsReferenceKeys) {
  const std::string path =
      "Demo_ChassisFan.GroupComponent=\"Demo_Chassis.Tag=\\\"chassis0\\\"\","
      "PartComponent=\"Demo_Fan.DeviceID=\\\"fan1\\\",SystemName=\\\"bmc0\\\"\"";
  CliRun run = cli({"get", path});
  ASSERT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(run.out, std::string("instance of Demo_ChassisFan {\n") +
                         "    GroupComponent = root/cimv2:Demo_Chassis.Tag=\"chassis0\";\n" +
                         "    PartComponent = " + kFan1 + ";\n};\n");
}

TEST_F(CliTest, QueryWithAndWithoutTheClass) {
  CliRun run = cli({"query", "SELECT * FROM Demo_Fan WHERE DeviceID = 'fan1'"});
  ASSERT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(occurrences(run.out, "instance of Demo_Fan {\n"), 1);
  EXPECT_NE(run.out.find("DeviceID = \"fan1\";"), std::string::npos);
  CliRun explicit_class = cli({"query", "Demo_Fan", "SELECT DeviceID FROM Demo_Fan"});
  ASSERT_EQ(explicit_class.status, 0) << explicit_class.err;
  EXPECT_EQ(occurrences(explicit_class.out, "instance of Demo_Fan {\n"), 2);
  CliRun bad = cli({"query", "SELECT * FROM Demo_Fan WHERE"});
  EXPECT_EQ(bad.status, 1);
  EXPECT_EQ(bad.err.rfind("CMPI_RC_ERR_INVALID_QUERY: ", 0), 0u) << bad.err;
}

// ---- methods and changes ---------------------------------------------------------------------

TEST_F(CliTest, InvokePrintsReturnValueAndOutputArguments) {
  CliRun run = cli({"invoke", kFan0, "SetSpeed", "DesiredSpeed:uint32=3000"});
  ASSERT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(run.out, "ReturnValue = 0;\nPreviousSpeed = 2400;\n");
  CliRun get = cli({"get", kFan0});
  EXPECT_NE(get.out.find("    Speed = 3000;\n"), std::string::npos);
  CliRun range = cli({"--json", "invoke", kFan0, "SetSpeed", "DesiredSpeed:uint32=9000"});
  ASSERT_EQ(range.status, 0) << range.err;
  Json::Value doc = parse_json(range.out);
  EXPECT_EQ(doc["method"].asString(), "SetSpeed");
  EXPECT_EQ(doc["returnValue"]["type"].asString(), "uint32");
  EXPECT_EQ(doc["returnValue"]["value"].asUInt(), 1u);
  EXPECT_EQ(doc["output"]["PreviousSpeed"]["value"].asUInt(), 3000u);
  EXPECT_FALSE(doc["output"].isMember("__ReturnValue"));
}

TEST_F(CliTest, InvokeWithAReferenceArgumentKeepsStandardOutputClean) {
  // The library echoes the key text of reference arguments on standard output while it writes
  // the request; none of it may reach the program's output.
  CliRun run = cli({"invoke", kFan0, "SetSpeed", "DesiredSpeed:uint32=2000",
                    "Origin:ref=Demo_Chassis.Tag=\"chassis0\""});
  ASSERT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(run.out, "ReturnValue = 0;\nPreviousSpeed = 2400;\n");
}

TEST_F(CliTest, CreateModifyDelete) {
  const std::string path = "Demo_Chassis.Tag=\"chassis1\"";
  CliRun created = cli({"create", path, "Manufacturer=ACME", "Model=X1",
                        "SerialNumber=SN \"9\"", "FanCount:uint8=0"});
  ASSERT_EQ(created.status, 0) << created.err;
  EXPECT_EQ(created.out,
            "Created = root/cimv2:Demo_Chassis.Tag=\"chassis1\";\nStatus = CMPI_RC_OK;\n");
  CliRun get = cli({"get", path});
  EXPECT_EQ(get.status, 0);
  EXPECT_EQ(get.out,
            "instance of Demo_Chassis {\n"
            "    FanCount = 0;\n"
            "    Manufacturer = \"ACME\";\n"
            "    Model = \"X1\";\n"
            "    SerialNumber = \"SN \\\"9\\\"\";\n"
            "    Tag = \"chassis1\";\n"
            "};\n");
  CliRun modified = cli({"modify", path, "Model=X2", "FanCount:uint8=3"});
  ASSERT_EQ(modified.status, 0) << modified.err;
  EXPECT_EQ(modified.out, "Status = CMPI_RC_OK;\n");
  CliRun after = cli({"get", path});
  EXPECT_NE(after.out.find("    Model = \"X2\";\n"), std::string::npos) << after.out;
  EXPECT_NE(after.out.find("    FanCount = 3;\n"), std::string::npos) << after.out;
  CliRun again = cli({"create", path});
  EXPECT_EQ(again.status, 1);
  EXPECT_EQ(again.err.rfind("CMPI_RC_ERR_ALREADY_EXISTS: ", 0), 0u) << again.err;
  CliRun deleted = cli({"delete", path});
  ASSERT_EQ(deleted.status, 0) << deleted.err;
  EXPECT_EQ(deleted.out, "Status = CMPI_RC_OK;\n");
  CliRun gone = cli({"get", path});
  EXPECT_EQ(gone.status, 1);
  EXPECT_EQ(gone.out, "");
  EXPECT_EQ(gone.err, "CMPI_RC_ERR_NOT_FOUND: Demo_Chassis Tag=\"chassis1\" does not exist\n");
}

TEST_F(CliTest, CreateModifyDeleteJson) {
  const std::string path = "root/cimv2:Demo_Chassis.Tag=\"chassis2\"";
  CliRun created = cli({"--json", "create", path, "Model=Y"});
  ASSERT_EQ(created.status, 0) << created.err;
  Json::Value doc = parse_json(created.out);
  EXPECT_EQ(doc["path"]["path"].asString(), path);
  EXPECT_EQ(doc["path"]["keys"]["Tag"].asString(), "chassis2");
  EXPECT_EQ(doc["status"]["code"].asInt(), 0);
  EXPECT_EQ(doc["status"]["name"].asString(), "CMPI_RC_OK");
  CliRun modified = cli({"--json", "modify", path, "Model=Z"});
  EXPECT_EQ(parse_json(modified.out)["status"]["name"].asString(), "CMPI_RC_OK");
  CliRun deleted = cli({"--json", "delete", path});
  EXPECT_EQ(parse_json(deleted.out)["status"]["code"].asInt(), 0);
}

TEST_F(CliTest, ModifyToNull) {
  CliRun modified = cli({"modify", kChassis0, "FanCount:uint8"});
  ASSERT_EQ(modified.status, 0) << modified.err;
  CliRun text = cli({"get", kChassis0});
  EXPECT_NE(text.out.find("    FanCount = NULL;\n"), std::string::npos) << text.out;
  CliRun json = cli({"--json", "get", kChassis0});
  Json::Value doc = parse_json(json.out);
  EXPECT_EQ(doc["instance"]["properties"]["FanCount"]["type"].asString(), "uint8");
  EXPECT_TRUE(doc["instance"]["properties"]["FanCount"]["value"].isNull()) << json.out;
}

// Property values holding the frame terminator and the control-frame texts.
const char kTerminatorValue[] = "xCMPI_EOFCMPIOPERATION_COMPLETECMPI_EOF";
const char kEofChassis[] = "Demo_Chassis.Tag=\"chassis-eof\"";

TEST_F(CliTest, ATerminatorInsideAValueReachesTheProviderWhole) {
  // The request frame carries the text as data: the provider stores exactly what was given,
  // as the in-process call, which reads the provider's state without any frame, shows.
  CliRun created = cli({"create", kEofChassis, "Manufacturer=CMPI_EO",
                        std::string("Model=") + kTerminatorValue, "SerialNumber=CMPIERROR:1",
                        "FanCount:uint8=0"});
  ASSERT_EQ(created.status, 0) << created.err;
  EXPECT_EQ(created.out,
            "Created = root/cimv2:Demo_Chassis.Tag=\"chassis-eof\";\nStatus = CMPI_RC_OK;\n");
  CliRun stored = run_cli({"local-get", kEofChassis}, local_env());
  expect_clean(stored);
  ASSERT_EQ(stored.status, 0) << stored.err;
  EXPECT_EQ(stored.out,
            std::string("instance of Demo_Chassis {\n"
                        "    Tag = \"chassis-eof\";\n"
                        "    Manufacturer = \"CMPI_EO\";\n"
                        "    Model = \"") +
                kTerminatorValue +
                "\";\n"
                "    SerialNumber = \"CMPIERROR:1\";\n"
                "    FanCount = 0;\n"
                "};\n");
  CliRun deleted = cli({"delete", kEofChassis});
  ASSERT_EQ(deleted.status, 0) << deleted.err;
  EXPECT_EQ(deleted.out, "Status = CMPI_RC_OK;\n");
  CliRun gone = run_cli({"local-get", kEofChassis}, local_env());
  EXPECT_EQ(gone.status, 1);
}

// NOTE: this read-back needs cmpi-hostd to guard the answer frames it sends (a terminator
// inside a value written as "CMPI\u005fEOF"), as the cli guards its requests. Until the daemon
// does, its instance frame is cut inside the value and get and enum fail with "the daemon
// closed the connection before the answer was complete".
TEST_F(CliTest, ATerminatorInsideAValueReadsBackExactly) {
  const std::string value = kTerminatorValue;
  CliRun created = cli({"create", kEofChassis, "Manufacturer=CMPI_EO", "Model=" + value,
                        "SerialNumber=CMPIERROR:1", "FanCount:uint8=0"});
  ASSERT_EQ(created.status, 0) << created.err;
  CliRun get = cli({"get", kEofChassis});
  EXPECT_EQ(get.status, 0) << get.err;
  EXPECT_EQ(get.out,
            "instance of Demo_Chassis {\n"
            "    FanCount = 0;\n"
            "    Manufacturer = \"CMPI_EO\";\n"
            "    Model = \"" + value + "\";\n"
            "    SerialNumber = \"CMPIERROR:1\";\n"
            "    Tag = \"chassis-eof\";\n"
            "};\n");
  CliRun json = cli({"--json", "get", kEofChassis});
  EXPECT_EQ(json.status, 0) << json.err;
  if (json.status == 0) {
    EXPECT_EQ(parse_json(json.out)["instance"]["properties"]["Model"]["value"].asString(), value);
  }
  CliRun enumerated = cli({"--json", "enum", "Demo_Chassis"});
  EXPECT_EQ(enumerated.status, 0) << enumerated.err;
  int found = 0;
  if (enumerated.status == 0) {
    const Json::Value instances = parse_json(enumerated.out)["instances"];
    EXPECT_EQ(instances.size(), 2u) << enumerated.out;
    for (const Json::Value &inst : instances) {
      if (inst["properties"]["Tag"]["value"].asString() != "chassis-eof") continue;
      ++found;
      EXPECT_EQ(inst["properties"]["Model"]["value"].asString(), value);
      EXPECT_EQ(inst["properties"]["SerialNumber"]["value"].asString(), "CMPIERROR:1");
      EXPECT_EQ(inst["properties"]["Manufacturer"]["value"].asString(), "CMPI_EO");
    }
  }
  EXPECT_EQ(found, 1);
  CliRun deleted = cli({"delete", kEofChassis});
  ASSERT_EQ(deleted.status, 0) << deleted.err;
  EXPECT_EQ(deleted.out, "Status = CMPI_RC_OK;\n");
  CliRun gone = cli({"get", kEofChassis});
  EXPECT_EQ(gone.status, 1);
  EXPECT_EQ(gone.err, "CMPI_RC_ERR_NOT_FOUND: Demo_Chassis Tag=\"chassis-eof\" does not exist\n");
}

// ---- in-process calls ------------------------------------------------------------------------

TEST_F(CliTest, LocalGetAndLocalEnum) {
  CliRun get = run_cli({"local-get", kChassis0}, local_env());
  expect_clean(get);
  ASSERT_EQ(get.status, 0) << get.err;
  EXPECT_EQ(get.out,
            "instance of Demo_Chassis {\n"
            "    Tag = \"chassis0\";\n"
            "    Manufacturer = \"Demo Manufacturing\";\n"
            "    Model = \"DM-100\";\n"
            "    SerialNumber = \"SN-0001\";\n"
            "    FanCount = 2;\n"
            "};\n");
  CliRun keys = run_cli({"local-enum", "Demo_Fan", "--flag", "1"}, local_env());
  expect_clean(keys);
  ASSERT_EQ(keys.status, 0) << keys.err;
  EXPECT_EQ(keys.out,
            "instance of Demo_Fan {\n    DeviceID = \"fan0\";\n    SystemName = \"bmc0\";\n};\n\n"
            "instance of Demo_Fan {\n    DeviceID = \"fan1\";\n    SystemName = \"bmc0\";\n};\n");
  CliRun json = run_cli({"--json", "local-enum", "Demo_Fan"}, local_env());
  Json::Value doc = parse_json(json.out);
  ASSERT_EQ(doc["instances"].size(), 2u);
  EXPECT_EQ(doc["instances"][0]["properties"]["Speed"]["value"].asUInt(), 2400u);
  EXPECT_EQ(doc["instances"][0]["properties"]["Sensor"]["value"]["className"].asString(),
            "Demo_Sensor");
}

TEST_F(CliTest, LocalCallsThatReturnNothing) {
  CliRun get = run_cli({"local-get", "Demo_Chassis.Tag=\"nope\""}, local_env());
  expect_clean(get);
  EXPECT_EQ(get.status, 1);
  EXPECT_EQ(get.out, "");
  EXPECT_EQ(get.err,
            "CMPI_RC_ERR_FAILED: LocalGetInstance returned no instance: the instance does not "
            "exist, or the class has no provider that can be loaded (--debug shows the library's "
            "reason)\n");
  CliRun enumerate = run_cli({"local-enum", "Demo_Nope"}, local_env());
  expect_clean(enumerate);
  EXPECT_EQ(enumerate.status, 1);
  EXPECT_EQ(enumerate.err,
            "CMPI_RC_ERR_FAILED: CBEnumInstance returned nothing: the class has no provider that "
            "can be loaded, or the provider returned no result (--debug shows the library's "
            "reason)\n");
  CliRun debug = run_cli({"local-enum", "--debug", "Demo_Nope"}, local_env());
  EXPECT_NE(debug.err.find("ERROR: library is not loaded"), std::string::npos) << debug.err;
}

// ---- identity --------------------------------------------------------------------------------

TEST_F(CliTest, RequestServedAsAnotherUser) {
  const struct passwd *pw = getpwnam("nobody");
  ASSERT_NE(pw, nullptr);
  const unsigned nobody = pw->pw_uid;
  CliRun run = cli({"--user", "nobody", "--json", "get", kFan0});
  ASSERT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(parse_json(run.out)["instance"]["properties"]["EffectiveUserID"]["value"].asUInt(),
            nobody);
}

// ---- failures --------------------------------------------------------------------------------

TEST_F(CliTest, BadPathSyntaxIsAUsageError) {
  CliRun run = cli({"get", "Demo_Fan.DeviceID=\"fan0"});
  EXPECT_EQ(run.status, 2);
  EXPECT_EQ(run.out, "");
  EXPECT_EQ(run.err,
            "cmpi-cli: bad object path 'Demo_Fan.DeviceID=\"fan0': unterminated quoted value at "
            "column 19\nTry 'cmpi-cli get --help'.\n");
  CliRun value = cli({"invoke", kFan0, "SetSpeed", "DesiredSpeed:uint32=fast"});
  EXPECT_EQ(value.status, 2);
  EXPECT_EQ(value.err,
            "cmpi-cli: bad argument 'DesiredSpeed:uint32=fast': 'fast' is not a uint32 (0 to "
            "4294967295)\nTry 'cmpi-cli invoke --help'.\n");
  CliRun unsendable = cli({"get", "Demo_Chassis.Tag=\"a,b\""});
  EXPECT_EQ(unsendable.status, 2);
  EXPECT_EQ(unsendable.err,
            "cmpi-cli: the path Demo_Chassis.Tag=\"a,b\" cannot be sent: the value of key 'Tag' "
            "contains ',', which the request format cannot carry in a key\n"
            "Try 'cmpi-cli get --help'.\n");
  CliRun command = cli({"fetch", kFan0});
  EXPECT_EQ(command.status, 2);
  EXPECT_EQ(command.err, "cmpi-cli: unknown command 'fetch'\nTry 'cmpi-cli --help'.\n");
}

TEST_F(CliTest, UnknownClassIsACimError) {
  CliRun run = cli({"enum", "Demo_Nope"});
  EXPECT_EQ(run.status, 1);
  EXPECT_EQ(run.out, "");
  EXPECT_EQ(run.err, "CMPI_RC_ERR_INVALID_CLASS: invalid class\n");
  CliRun cls = cli({"get-class", "Demo_Nope"});
  EXPECT_EQ(cls.status, 1);
  EXPECT_EQ(cls.err, "CMPI_RC_ERR_INVALID_CLASS: no such class\n");
  CliRun json = cli({"--json", "get", "Demo_Nope.Id=\"1\""});
  EXPECT_EQ(json.status, 1);
  Json::Value doc = parse_json(json.out);
  EXPECT_EQ(doc["error"]["kind"].asString(), "cim");
  EXPECT_EQ(doc["error"]["code"].asInt(), 5);
  EXPECT_EQ(doc["error"]["name"].asString(), "CMPI_RC_ERR_INVALID_CLASS");
  EXPECT_EQ(doc["error"]["message"].asString(), "invalid class");
}

TEST_F(CliTest, ProviderErrorsAreCimErrors) {
  CliRun missing = cli({"get", "Demo_Fan.DeviceID=\"fan9\",SystemName=\"bmc0\""});
  EXPECT_EQ(missing.status, 1);
  EXPECT_EQ(missing.err,
            "CMPI_RC_ERR_NOT_FOUND: Demo_Fan DeviceID=\"fan9\",SystemName=\"bmc0\" does not "
            "exist\n");
  CliRun json = cli({"--json", "get", "Demo_Fan.DeviceID=\"fan9\",SystemName=\"bmc0\""});
  EXPECT_EQ(json.status, 1);
  Json::Value doc = parse_json(json.out);
  EXPECT_EQ(doc["error"]["code"].asInt(), 6);
  EXPECT_EQ(doc["error"]["name"].asString(), "CMPI_RC_ERR_NOT_FOUND");
  EXPECT_FALSE(doc.isMember("instance"));
  CliRun deleted = cli({"delete", "Demo_Chassis.Tag=\"nope\""});
  EXPECT_EQ(deleted.status, 1);
  EXPECT_EQ(deleted.err.rfind("CMPI_RC_ERR_NOT_FOUND: ", 0), 0u) << deleted.err;
  CliRun arguments = cli({"invoke", kFan0, "SetSpeed"});
  EXPECT_EQ(arguments.status, 1);
  EXPECT_EQ(arguments.err, "CMPI_RC_ERR_INVALID_PARAMETER: invalid parameter\n");
  CliRun unknown_user = cli({"--user", "no-such-user-here", "enum", "Demo_Fan"});
  EXPECT_EQ(unknown_user.status, 1);
  EXPECT_EQ(unknown_user.err, "CMPI_RC_ERR_ACCESS_DENIED: access denied\n");
}

TEST_F(CliTest, CrashingProviderIsACimError) {
  CliRun run = cli({"enum", "Test_Crash"});
  EXPECT_EQ(run.status, 1);
  EXPECT_EQ(run.out, "");
  EXPECT_EQ(run.err, "CMPI_RC_ERR_FAILED: the operation failed\n");
}

TEST_F(CliTest, ResultsBeforeAFailureAreKept) {
  CliRun run = cli({"enum", "Test_Partial"});
  EXPECT_EQ(run.status, 1);
  EXPECT_EQ(occurrences(run.out, "instance of Test_Partial {\n"), 1);
  EXPECT_EQ(run.err, "CMPI_RC_ERR_FAILED: the operation failed\n");
  CliRun json = cli({"--json", "enum", "Test_Partial"});
  EXPECT_EQ(json.status, 1);
  Json::Value doc = parse_json(json.out);
  EXPECT_EQ(doc["instances"].size(), 1u);
  EXPECT_EQ(doc["error"]["name"].asString(), "CMPI_RC_ERR_FAILED");
}

TEST_F(CliTest, LongEnumerationShowsProgressOnATerminal) {
  CliRun terminal = cli({"--json", "enum", "Test_Many"}, true);
  ASSERT_EQ(terminal.status, 0) << terminal.err;
  EXPECT_EQ(parse_json(terminal.out)["instances"].size(), 3000u);
  EXPECT_NE(terminal.err.find("\rcmpi-cli: 100 results so far"), std::string::npos)
      << terminal.err;
  EXPECT_NE(terminal.err.find("\rcmpi-cli: 3000 results so far"), std::string::npos);
  CliRun file = cli({"enum", "Test_Many"});
  ASSERT_EQ(file.status, 0) << file.err;
  EXPECT_EQ(occurrences(file.out, "instance of Test_Many {\n"), 3000);
  EXPECT_EQ(file.err, "");
}

TEST_F(CliTest, HungProviderRunsIntoTheTimeout) {
  CliRun run = cli({"--timeout", "1", "enum", "Test_Hang"});
  EXPECT_EQ(run.status, 4);
  EXPECT_EQ(run.out, "");
  EXPECT_EQ(run.err, "cmpi-cli: no answer from the daemon at " + ws_.socket + " within 1 second\n");
}

TEST_F(CliTest, DaemonDownIsAConnectionError) {
  daemon_.stop();
  CliRun run = cli({"enum", "Demo_Fan"});
  EXPECT_EQ(run.status, 3);
  EXPECT_EQ(run.out, "");
  EXPECT_EQ(run.err.rfind("cmpi-cli: cannot connect to the daemon at " + ws_.socket + ": ", 0), 0u)
      << run.err;
  ASSERT_TRUE(daemon_.start());
}

// ---- peers that are not a daemon -------------------------------------------------------------

// A socket that accepts connections and, per connection, reads the request and then either
// says nothing (silent) or closes at once.
class FakePeer {
 public:
  FakePeer(const std::string &path, bool silent) : path_(path) {
    fd_ = socket(AF_UNIX, SOCK_STREAM, 0);
    struct sockaddr_un addr;
    std::memset(&addr, 0, sizeof addr);
    addr.sun_family = AF_UNIX;
    std::strncpy(addr.sun_path, path.c_str(), sizeof addr.sun_path - 1);
    unlink(path.c_str());
    EXPECT_EQ(bind(fd_, reinterpret_cast<struct sockaddr *>(&addr), sizeof addr), 0);
    EXPECT_EQ(listen(fd_, 8), 0);
    thread_ = std::thread([this, silent] {
      const int conn = accept(fd_, nullptr, nullptr);
      if (conn < 0) return;
      char buf[8192];
      std::string request;
      while (request.find("CMPI_EOF") == std::string::npos) {
        const ssize_t n = read(conn, buf, sizeof buf);
        if (n <= 0) break;
        request.append(buf, static_cast<std::size_t>(n));
      }
      request_ = request;
      if (silent) {
        // Wait until the client gives up.
        while (read(conn, buf, sizeof buf) > 0) {
        }
      }
      close(conn);
    });
  }
  ~FakePeer() {
    finish();
    close(fd_);
    unlink(path_.c_str());
  }
  // Stops accepting and waits for the connection to end; then request() may be read.
  void finish() {
    if (!thread_.joinable()) return;
    shutdown(fd_, SHUT_RDWR);
    thread_.join();
  }
  const std::string &request() const { return request_; }

 private:
  std::string path_;
  int fd_ = -1;
  std::thread thread_;
  std::string request_;
};

TEST(CliPeer, SilentPeerRunsIntoTheTimeout) {
  const std::string path = "/tmp/cmpi-cli-silent-" + std::to_string(getpid()) + ".sock";
  std::string request;
  {
    FakePeer peer(path, true);
    CliRun run = run_cli({"--socket", path, "--timeout", "1", "--user", "root", "get", kFan0});
    expect_clean(run);
    EXPECT_EQ(run.status, 4);
    EXPECT_EQ(run.out, "");
    EXPECT_EQ(run.err, "cmpi-cli: no answer from the daemon at " + path + " within 1 second\n");
    peer.finish();
    request = peer.request();
  }
  // The request that was sent is one frame of the request format.
  EXPECT_EQ(request.substr(request.size() - 8), "CMPI_EOF");
  Json::Value doc = parse_json(request.substr(0, request.size() - 8));
  EXPECT_EQ(doc["RequestType"].asInt(), 3);
  EXPECT_EQ(doc["ClassName"].asString(), "Demo_Fan");
  EXPECT_EQ(doc["NameSpace"].asString(), "root/cimv2");
  EXPECT_EQ(doc["Principal"].asString(), "root");
}

TEST(CliPeer, TimeoutJsonDocument) {
  const std::string path = "/tmp/cmpi-cli-silent-json-" + std::to_string(getpid()) + ".sock";
  FakePeer peer(path, true);
  CliRun run = run_cli({"--socket", path, "--timeout", "1", "--json", "enum", "X"});
  expect_clean(run);
  EXPECT_EQ(run.status, 4);
  Json::Value doc = parse_json(run.out);
  EXPECT_EQ(doc["error"]["kind"].asString(), "timeout");
  EXPECT_TRUE(doc["error"]["code"].isNull());
}

TEST(CliPeer, PeerThatClosesWithoutAnswerIsAConnectionError) {
  const std::string path = "/tmp/cmpi-cli-closing-" + std::to_string(getpid()) + ".sock";
  {
    FakePeer peer(path, false);
    CliRun run = run_cli({"--socket", path, "enum", "Demo_Fan"});
    expect_clean(run);
    EXPECT_EQ(run.status, 3);
    EXPECT_EQ(run.err,
              "cmpi-cli: the daemon closed the connection before the answer was complete\n");
  }
  {
    FakePeer peer(path, false);
    CliRun run = run_cli({"--socket", path, "delete", kChassis0});
    expect_clean(run);
    EXPECT_EQ(run.status, 3);
    EXPECT_EQ(run.err, "cmpi-cli: the daemon closed the connection without an answer\n");
  }
}

TEST(CliPeer, NoSocketFile) {
  CliRun run = run_cli({"--socket", "/nonexistent/cmpi.sock", "enum", "Demo_Fan"});
  expect_clean(run);
  EXPECT_EQ(run.status, 3);
  EXPECT_EQ(run.err,
            "cmpi-cli: cannot connect to the daemon at /nonexistent/cmpi.sock: No such file or "
            "directory\n");
}

TEST(CliPeer, SocketFromTheEnvironment) {
  CliRun run = run_cli({"enum", "Demo_Fan"}, {{"CMPI_HOSTD_SOCKET", "/nonexistent/env.sock"}});
  EXPECT_EQ(run.status, 3);
  EXPECT_EQ(run.err.rfind("cmpi-cli: cannot connect to the daemon at /nonexistent/env.sock: ", 0),
            0u);
}

TEST(CliPeer, HelpForEverySubcommand) {
  for (const char *command : {"enum", "enum-names", "get", "create", "modify", "delete", "invoke",
                              "associators", "references", "query", "get-class", "local-get",
                              "local-enum"}) {
    CliRun run = run_cli({command, "--help"});
    EXPECT_EQ(run.status, 0) << command;
    EXPECT_EQ(run.out.rfind(std::string("Usage: cmpi-cli ") + command + " ", 0), 0u) << run.out;
    EXPECT_EQ(run.err, "");
  }
  CliRun help = run_cli({"--help"});
  EXPECT_EQ(help.status, 0);
  EXPECT_EQ(help.out.rfind("Usage: cmpi-cli [OPTION...] COMMAND [ARGUMENT...]\n", 0), 0u);
}

}  // namespace
