// wbemcli_e2e_test.cpp - the built cmpi-wbemd beside a running cmpi-hostd with the demo
// provider, driven by Debian's wbemcli (and by raw HTTP where the exact answer matters):
// every verb with the values it prints, HTTPS, large enumerations streamed with flat memory,
// errors mid-stream, real PAM logins of a real local user, and the separation of privileges.
// Everything here needs root (the daemon drops to nobody, the tests make a local user).
#include <dirent.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <fstream>
#include <sstream>

#include "hostd_fixture.h"
#include "raw_http.h"
#include "wbemd_process.h"

namespace {

using ::testing::HasSubstr;
using ::testing::Not;
using wbemtest::run;

const char kFan0[] = "Demo_Fan.DeviceID=\"fan0\",SystemName=\"bmc0\"";
const char kChassis0[] = "Demo_Chassis.Tag=\"chassis0\"";

std::vector<std::string> lines_of(const std::string &text) {
  std::vector<std::string> lines;
  std::istringstream in(text);
  std::string line;
  while (std::getline(in, line)) {
    if (!line.empty()) lines.push_back(line);
  }
  return lines;
}

class WbemdTest : public e2e::HostdTest {
 protected:
  // cmpi-hostd admits the daemon's user (nobody) as a proxy.
  std::vector<std::string> options() const override { return {"--allow-proxy-user", "nobody"}; }
  virtual std::vector<std::string> wbemd_options() const { return {}; }
  // Called before cmpi-hostd starts: more classes and providers for the workspace.
  virtual void prepare_workspace() {}

  void SetUp() override {
    if (geteuid() != 0) {
      skipped_ = true;
      GTEST_SKIP() << "needs root: cmpi-wbemd drops from root to nobody, and the login tests "
                      "make a local user";
    }
    prepare_workspace();
    e2e::HostdTest::SetUp();
    if (HasFatalFailure()) return;
    std::string error;
    ASSERT_TRUE(wbemtest::make_certificate(ws_.dir, &error)) << error;
    ASSERT_EQ(mkdir((ws_.dir + "/pam").c_str(), 0755), 0);
    ASSERT_TRUE(wbemtest::make_pam_dir(ws_.dir + "/pam", &error)) << error;
    ASSERT_TRUE(wbemd_.start(ws_.dir, ws_.socket, ws_.schema_db, wbemd_options()));
  }

  void TearDown() override {
    if (skipped_) return;
    int status = wbemd_.stop();
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "wait status " << status;
    std::string err = wbemd_.standard_error();
    EXPECT_EQ(err.find("Sanitizer"), std::string::npos) << err;
    EXPECT_EQ(err.find("runtime error"), std::string::npos) << err;
    e2e::HostdTest::TearDown();
  }

  // wbemcli VERB [flags] URL [more...] as root; output and exit status.
  int wbemcli(const std::vector<std::string> &args, std::string *out, int timeout_s = 60) {
    std::vector<std::string> argv = {"wbemcli"};
    argv.insert(argv.end(), args.begin(), args.end());
    return run(argv, out, timeout_s);
  }
  std::string url(const std::string &object, const std::string &credentials = "") const {
    return wbemd_.url(object, credentials);
  }

  bool skipped_ = false;
  wbemtest::WbemDaemon wbemd_;
};

// Requests without credentials from a local root client are served as root (trusted local
// peers), and cmpi-hostd lets the proxy act as root: the verbs that change the demo state
// need root.
class WbemcliVerbTest : public WbemdTest {
 protected:
  std::vector<std::string> options() const override {
    return {"--allow-proxy-user", "nobody", "--allow-proxy-root"};
  }
  std::vector<std::string> wbemd_options() const override { return {"--trust-local-peers"}; }
};

TEST_F(WbemcliVerbTest, EiAndEinListBothFans) {
  std::string out;
  ASSERT_EQ(wbemcli({"ein", url("Demo_Fan")}, &out), 0) << out;
  std::string prefix = "127.0.0.1:" + std::to_string(wbemd_.http_port()) + "/root/cimv2:";
  EXPECT_THAT(lines_of(out),
              ::testing::ElementsAre(prefix + "Demo_Fan.DeviceID=\"fan0\",SystemName=\"bmc0\"",
                                     prefix + "Demo_Fan.DeviceID=\"fan1\",SystemName=\"bmc0\""));
  ASSERT_EQ(wbemcli({"ei", url("Demo_Fan")}, &out), 0) << out;
  auto lines = lines_of(out);
  ASSERT_EQ(lines.size(), 2u) << out;
  EXPECT_THAT(lines[0], HasSubstr("DeviceID=\"fan0\",EffectiveUserID=0,Enabled=TRUE"));
  EXPECT_THAT(lines[1], HasSubstr("Name=\"Rear fan\",Notes=\"replaced in 2023\""));
}

TEST_F(WbemcliVerbTest, GiPrintsEveryKindOfValue) {
  std::string out;
  ASSERT_EQ(wbemcli({"gi", url(kFan0)}, &out), 0) << out;
  EXPECT_THAT(out, HasSubstr("Accumulated=-1234567890123,"));                 // sint64
  EXPECT_THAT(out, HasSubstr("Chassis=vm/root/cimv2Demo_Chassis.Tag=\"chassis0\","));  // ref
  EXPECT_THAT(out, HasSubstr("Enabled=TRUE,"));                               // boolean
  EXPECT_THAT(out, HasSubstr("InstallDate=20240115103000.000000+000,"));      // datetime
  EXPECT_THAT(out, HasSubstr("Notes=,"));                                     // null
  EXPECT_THAT(out, HasSubstr("Offset=-5,Ratio=0.5,"));                        // sint, real
  EXPECT_THAT(out, HasSubstr("Sensor=\"<INSTANCE CLASSNAME=\\\"Demo_Sensor\\\">"));  // embedded
  EXPECT_THAT(out, HasSubstr("SpeedHistory=2200,2300,2400,"));                // array
  EXPECT_THAT(out, HasSubstr("Tags=\"front\",\"intake\","));                  // string array
}

TEST_F(WbemcliVerbTest, CiMiDiOnTwoRequestsPerConnection) {
  std::string out;
  const std::string chassis = "Demo_Chassis.Tag=\"chassis9\"";
  ASSERT_EQ(wbemcli({"ci", url(chassis), "Tag=\"chassis9\",Manufacturer=\"ACME\",Model=\"X1\",FanCount=0"}, &out), 0) << out;
  EXPECT_THAT(out, HasSubstr("/root/cimv2:Demo_Chassis.Tag=\"chassis9\""));
  // wbemcli asked for the class first, then created the instance, on one connection.
  std::string log = wbemd_.log();
  std::size_t create = log.find("module=235: CreateInstance root%2Fcimv2 from ");
  ASSERT_NE(create, std::string::npos) << log;
  std::size_t from = log.find(" from ", create) + 6;
  std::string peer = log.substr(from, log.find(' ', from) - from);
  EXPECT_THAT(log, HasSubstr("module=235: GetClass root%2Fcimv2 from " + peer + " as root"));
  ASSERT_EQ(wbemcli({"mi", url(chassis), "Model=\"X2\""}, &out), 0) << out;
  ASSERT_EQ(wbemcli({"gi", url(chassis)}, &out), 0) << out;
  EXPECT_THAT(out, HasSubstr("FanCount=0,Manufacturer=\"ACME\",Model=\"X2\""));
  ASSERT_EQ(wbemcli({"di", url(chassis)}, &out), 0) << out;
  EXPECT_EQ(wbemcli({"gi", url(chassis)}, &out), 16);
  EXPECT_THAT(out, HasSubstr("(6) CIM_ERR_NOT_FOUND: Demo_Chassis Tag=\"chassis9\" does not exist"));
}

TEST_F(WbemcliVerbTest, AiAinRiRinFollowTheAssociation) {
  std::string out;
  ASSERT_EQ(wbemcli({"ain", url(kChassis0)}, &out), 0) << out;
  EXPECT_THAT(lines_of(out), ::testing::ElementsAre(
                                 "vm/root/cimv2:Demo_Fan.DeviceID=\"fan0\",SystemName=\"bmc0\"",
                                 "vm/root/cimv2:Demo_Fan.DeviceID=\"fan1\",SystemName=\"bmc0\""));
  ASSERT_EQ(wbemcli({"ai", url(kChassis0)}, &out), 0) << out;
  ASSERT_EQ(lines_of(out).size(), 2u) << out;
  EXPECT_THAT(out, HasSubstr("Name=\"Front fan\""));
  ASSERT_EQ(wbemcli({"rin", url(kChassis0)}, &out), 0) << out;
  auto refs = lines_of(out);
  ASSERT_EQ(refs.size(), 2u) << out;
  EXPECT_THAT(refs[0], HasSubstr("vm/root/cimv2:Demo_ChassisFan.GroupComponent=vm/root/cimv2Demo_Chassis.Tag=\"chassis0\",PartComponent="));
  ASSERT_EQ(wbemcli({"ri", url(kChassis0)}, &out), 0) << out;
  EXPECT_EQ(lines_of(out).size(), 2u) << out;
  EXPECT_THAT(out, HasSubstr(" GroupComponent=vm/root/cimv2Demo_Chassis.Tag=\"chassis0\""));
}

TEST_F(WbemcliVerbTest, GcGcdEcEcnDc) {
  std::string out;
  ASSERT_EQ(wbemcli({"gc", url("Demo_Chassis")}, &out), 0) << out;
  EXPECT_THAT(out, HasSubstr("Demo_Chassis Tag=,Manufacturer=,Model=,SerialNumber=,FanCount="));
  ASSERT_EQ(wbemcli({"gcd", url("Demo_Chassis")}, &out), 0) << out;
  EXPECT_THAT(out, HasSubstr("<PROPERTY NAME=\"FanCount\" TYPE=\"uint8\">"));
  ASSERT_EQ(wbemcli({"ecn", url("")}, &out), 0) << out;
  EXPECT_THAT(out, HasSubstr("/root/cimv2:Demo_ChassisFan\n"));
  EXPECT_THAT(out, HasSubstr("/root/cimv2:Demo_Sensor\n"));
  ASSERT_EQ(wbemcli({"ec", url("")}, &out), 0) << out;
  EXPECT_THAT(out, HasSubstr("Demo_ChassisFan GroupComponent=,PartComponent="));
  EXPECT_EQ(wbemcli({"dc", url("Demo_Fan")}, &out), 16);
  EXPECT_THAT(out, HasSubstr("(7) CIM_ERR_NOT_SUPPORTED"));
}

TEST_F(WbemcliVerbTest, GpSpAndCm) {
  std::string out;
  ASSERT_EQ(wbemcli({"gp", url(kFan0), "Speed"}, &out), 0) << out;
  EXPECT_EQ(out, "2400\n");
  ASSERT_EQ(wbemcli({"sp", url(kFan0), "Notes=checked"}, &out), 0) << out;
  ASSERT_EQ(wbemcli({"gp", url(kFan0), "Notes"}, &out), 0) << out;
  EXPECT_EQ(out, "checked\n");
  ASSERT_EQ(wbemcli({"cm", url(kFan0), "SetSpeed.DesiredSpeed=3000"}, &out), 0) << out;
  EXPECT_THAT(out, HasSubstr("SetSpeed: 0, PreviousSpeed (uint32): 2400"));
  ASSERT_EQ(wbemcli({"gp", url(kFan0), "DesiredSpeed"}, &out), 0) << out;
  EXPECT_EQ(out, "3000\n");
}

TEST_F(WbemcliVerbTest, ErrorsAreCimStatusesNotParseErrors) {
  std::string out;
  EXPECT_EQ(wbemcli({"gi", url("Demo_Fan.DeviceID=\"fan9\",SystemName=\"bmc0\"")}, &out), 16);
  EXPECT_THAT(out, HasSubstr("(6) CIM_ERR_NOT_FOUND"));
  EXPECT_EQ(wbemcli({"ei", url("No_Such_Class")}, &out), 16);
  EXPECT_THAT(out, HasSubstr("(5) CIM_ERR_INVALID_CLASS"));
  ASSERT_EQ(wbemcli({"ei", url("Demo_Sensor")}, &out), 0) << out;  // an empty result
  EXPECT_EQ(out, "");
}

TEST_F(WbemcliVerbTest, HttpsWithNoverify) {
  std::string out;
  ASSERT_EQ(wbemcli({"-noverify", "ein", wbemd_.url("Demo_Fan", "", true)}, &out), 0) << out;
  EXPECT_EQ(lines_of(out).size(), 2u) << out;
  EXPECT_THAT(out, HasSubstr("Demo_Fan.DeviceID=\"fan1\",SystemName=\"bmc0\""));
  // Without -noverify the self-signed certificate is refused by the client.
  EXPECT_NE(wbemcli({"ein", wbemd_.url("Demo_Fan", "", true)}, &out), 0);
  // With it as the client's trusted certificate, it is accepted.
  ASSERT_EQ(wbemcli({"-cacert", ws_.dir + "/cert.pem", "ein", wbemd_.url("Demo_Fan", "", true)}, &out), 0) << out;
}

TEST_F(WbemcliVerbTest, AnErrorMidStreamIsATrailerOrABrokenAnswer) {
  std::string out;
  // Test_Partial's provider returns one instance, then fails.
  EXPECT_EQ(wbemcli({"-cte", "ei", url("Test_Partial")}, &out), 16);
  EXPECT_THAT(out, HasSubstr("(1) CIM_ERR_FAILED"));
  std::string plain;
  EXPECT_EQ(wbemcli({"ei", url("Test_Partial")}, &plain), 16);
  EXPECT_THAT(plain, Not(HasSubstr("Test_Partial.")));  // nothing taken for a whole result
  EXPECT_THAT(wbemd_.log(), HasSubstr("the client announced no trailers, so the answer is broken off"));
}

TEST_F(WbemcliVerbTest, ANestedEntityDocumentIsRefusedWhileANormalRequestIsServed) {
  std::string laughs =
      "<?xml version=\"1.0\"?><!DOCTYPE CIM [<!ENTITY a \"ha\">"
      "<!ENTITY b \"&a;&a;&a;&a;&a;&a;&a;&a;&a;&a;\"><!ENTITY c \"&b;&b;&b;&b;&b;&b;&b;&b;&b;&b;\">"
      "<!ENTITY d \"&c;&c;&c;&c;&c;&c;&c;&c;&c;&c;\"><!ENTITY e \"&d;&d;&d;&d;&d;&d;&d;&d;&d;&d;\">"
      "<!ENTITY f \"&e;&e;&e;&e;&e;&e;&e;&e;&e;&e;\"><!ENTITY g \"&f;&f;&f;&f;&f;&f;&f;&f;&f;&f;\">"
      "<!ENTITY h \"&g;&g;&g;&g;&g;&g;&g;&g;&g;&g;\"><!ENTITY i \"&h;&h;&h;&h;&h;&h;&h;&h;&h;&h;\">]>"
      "<CIM CIMVERSION=\"2.0\" DTDVERSION=\"2.0\">&i;</CIM>";
  httptest::Connection hostile(wbemd_.http_port());
  ASSERT_TRUE(hostile.send(httptest::cim_request("EnumerateInstances", laughs, "", "")));
  std::string out;
  ASSERT_EQ(wbemcli({"ein", url("Demo_Fan")}, &out), 0) << out;
  EXPECT_EQ(lines_of(out).size(), 2u);
  httptest::Answer refused = hostile.read_answer();
  EXPECT_EQ(refused.status, 400);
  EXPECT_EQ(refused.headers["cimerror"], "request-not-well-formed");
}

// The storage-free benchmark provider with 10,000 instances of eleven properties.
class WbemcliLargeTest : public WbemcliVerbTest {
 protected:
  void prepare_workspace() override {
    std::string out;
    ASSERT_EQ(run({MOF_BINARY, "--database", ws_.schema_db, BENCH_MOF}, &out), 0) << out;
    ASSERT_EQ(run({"cp", BENCH_PROVIDER, ws_.provider_dir + "libbenchitem.so"}, &out), 0) << out;
  }
};

// The EnumerateInstances request wbemcli sends (captured by the CIM half's tests), for a class.
std::string enumerate_instances_body(const std::string &class_name) {
  std::ifstream in(std::string(REQUESTS_DIR) + "/ei.xml", std::ios::binary);
  std::ostringstream text;
  text << in.rdbuf();
  std::string body = text.str();
  std::size_t at = body.find("\"Demo_Fan\"");
  if (at != std::string::npos) body.replace(at + 1, 8, class_name);
  return body;
}

std::size_t count_of(const std::string &text, const std::string &what) {
  std::size_t n = 0;
  for (std::size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1)) ++n;
  return n;
}

TEST_F(WbemcliLargeTest, TenThousandInstancesStreamWithFlatMemory) {
  std::string out;
  ASSERT_EQ(wbemcli({"ein", url("Demo_Fan")}, &out), 0) << out;  // warm up
  long before = wbemtest::status_field(wbemd_.pid(), "VmHWM");

  // The answer itself, on one kept-alive connection: chunked, whole, 10,000 instances, and the
  // status trailer for the client that asked for trailers.
  httptest::Connection c(wbemd_.http_port());
  std::string body = enumerate_instances_body("Bench_Item");
  ASSERT_TRUE(c.send(httptest::cim_request("EnumerateInstances", body, "", "")));
  httptest::Answer plain = c.read_answer(120000);
  EXPECT_EQ(plain.status, 200);
  EXPECT_TRUE(plain.chunked);
  EXPECT_TRUE(plain.complete);
  EXPECT_EQ(count_of(plain.body, "<VALUE.NAMEDINSTANCE>"), 10000u);
  EXPECT_GT(plain.body.size(), 8u * 1024 * 1024);
  ASSERT_TRUE(c.send(httptest::cim_request("EnumerateInstances", body, "TE: trailers\r\n", "")));
  httptest::Answer trailers = c.read_answer(120000);
  EXPECT_TRUE(trailers.complete);
  EXPECT_EQ(trailers.trailers["cimstatuscode"], "0");
  EXPECT_EQ(trailers.body.size(), plain.body.size());

  // And as wbemcli prints it, without and with -cte.
  ASSERT_EQ(wbemcli({"ei", url("Bench_Item")}, &out, 120), 0) << out.substr(0, 2000);
  auto lines = lines_of(out);
  ASSERT_EQ(lines.size(), 10000u);
  EXPECT_THAT(lines[42], HasSubstr("Bench_Item.Id=\"item000042\" "));
  EXPECT_THAT(lines[42], HasSubstr("Count=294,"));
  EXPECT_THAT(lines[9999], HasSubstr("Label=\"Bench item number 9999\""));
  ASSERT_EQ(wbemcli({"-cte", "ei", url("Bench_Item")}, &out, 120), 0) << out.substr(0, 2000);
  EXPECT_EQ(lines_of(out).size(), 10000u);

  // Four answers of about 10 MB passed; the daemon's peak resident set grew by less than one
  // answer would take held whole: half of one (the sanitizer build's allocator and its shadow
  // memory keep more per thread, so there by less than one).
  long after = wbemtest::status_field(wbemd_.pid(), "VmHWM");
  std::printf("cmpi-wbemd VmHWM %ld kB -> %ld kB for answers of %zu bytes\n", before, after,
              plain.body.size());
#ifdef CMPIUTILITY_SANITIZED
  const long bound_kib = static_cast<long>(plain.body.size() / 1024);
#else
  const long bound_kib = static_cast<long>(plain.body.size() / 1024 / 2);
#endif
  EXPECT_LT(after - before, bound_kib) << "VmHWM " << before << " kB -> " << after << " kB";
}

// Logins checked with PAM for a real local user; cmpi-hostd does not let the proxy act as root.
class WbemdLoginTest : public WbemdTest {
 protected:
  static void SetUpTestSuite() {
    if (geteuid() == 0) user_ = new wbemtest::LocalUser("wbemdt" + std::to_string(getpid() % 100000), kPassword);
  }
  static void TearDownTestSuite() {
    delete user_;
    user_ = nullptr;
  }
  void SetUp() override {
    WbemdTest::SetUp();
    if (skipped_ || HasFatalFailure()) return;
    ASSERT_NE(user_, nullptr);
    ASSERT_TRUE(user_->made());
  }
  std::string credentials(const std::string &password = kPassword) const {
    return user_->name() + ":" + password;
  }

  static constexpr const char *kPassword = "Wbem-test-7pw";
  static wbemtest::LocalUser *user_;
};
wbemtest::LocalUser *WbemdLoginTest::user_ = nullptr;

TEST_F(WbemdLoginTest, TheRightPasswordIsServedAsThatUser) {
  std::string out;
  ASSERT_EQ(wbemcli({"gi", url(kFan0, credentials())}, &out), 0) << out << wbemd_.log();
  EXPECT_THAT(out, HasSubstr("EffectiveUserID=" + std::to_string(user_->uid()) + ","));
  EXPECT_THAT(wbemd_.log(), HasSubstr("GetInstance root%2Fcimv2 from 127.0.0.1:"));
  EXPECT_THAT(wbemd_.log(), HasSubstr(" as " + user_->name() + "\n"));
  // The CIM side's trace line of the operation (the daemon runs at level 4).
  EXPECT_THAT(wbemd_.log(), HasSubstr("operation GetInstance in root"));
  EXPECT_THAT(wbemd_.log(), HasSubstr(" for " + user_->name() + " from 127.0.0.1:"));
}

// How often the login helper answered for user so far (its trace lines in the daemon's log).
int helper_answers(const std::string &log, const std::string &user) {
  const std::string line = "login helper answered for user " + user + " from ";
  int n = 0;
  for (std::size_t at = log.find(line); at != std::string::npos; at = log.find(line, at + 1)) ++n;
  return n;
}

TEST_F(WbemdLoginTest, AKeptAliveConnectionRunsPamOnceAndAChangedPasswordIsCheckedAgain) {
  const std::string body = "<?xml version=\"1.0\" encoding=\"utf-8\"?><CIM CIMVERSION=\"2.0\" "
      "DTDVERSION=\"2.0\"><MESSAGE ID=\"1\" PROTOCOLVERSION=\"1.0\"><SIMPLEREQ>"
      "<IMETHODCALL NAME=\"EnumerateInstanceNames\"><LOCALNAMESPACEPATH><NAMESPACE "
      "NAME=\"root\"/><NAMESPACE NAME=\"cimv2\"/></LOCALNAMESPACEPATH><IPARAMVALUE "
      "NAME=\"ClassName\"><CLASSNAME NAME=\"Demo_Fan\"/></IPARAMVALUE></IMETHODCALL>"
      "</SIMPLEREQ></MESSAGE></CIM>";
  const std::string right = httptest::basic(user_->name(), kPassword);
  httptest::Connection c(wbemd_.http_port());
  ASSERT_TRUE(c.connected());
  for (int i = 0; i < 3; ++i) {
    ASSERT_TRUE(c.send(httptest::cim_request("EnumerateInstanceNames", body, "", right)));
    httptest::Answer a = c.read_answer();
    ASSERT_EQ(a.status, 200) << wbemd_.log();
    EXPECT_THAT(a.body, HasSubstr("fan0"));
    EXPECT_FALSE(a.closed);
  }
  EXPECT_EQ(helper_answers(wbemd_.log(), user_->name()), 1) << wbemd_.log();
  // The same connection with a wrong password: asked again, and refused.
  ASSERT_TRUE(c.send(httptest::cim_request("EnumerateInstanceNames", body, "",
                                           httptest::basic(user_->name(), "Not-the-pw-4"))));
  EXPECT_EQ(c.read_answer().status, 401);
  EXPECT_EQ(helper_answers(wbemd_.log(), user_->name()), 2) << wbemd_.log();
  // A new connection is checked on its own.
  httptest::Connection other(wbemd_.http_port());
  ASSERT_TRUE(other.send(httptest::cim_request("EnumerateInstanceNames", body, "", right)));
  EXPECT_EQ(other.read_answer().status, 200);
  EXPECT_EQ(helper_answers(wbemd_.log(), user_->name()), 3) << wbemd_.log();
}

TEST_F(WbemdLoginTest, AWrongPasswordGets401AndIsLoggedWithoutIt) {
  std::string out;
  EXPECT_EQ(wbemcli({"gi", url(kFan0, credentials("Not-the-pw-3"))}, &out), 16);
  EXPECT_THAT(out, HasSubstr("Invalid username/password"));
  std::string log = wbemd_.log();
  EXPECT_THAT(log, HasSubstr("level=2 module=235: failed login of user " + user_->name() +
                             " from 127.0.0.1:"));
  EXPECT_THAT(log, Not(HasSubstr("Not-the-pw-3")));
  EXPECT_THAT(log, Not(HasSubstr(kPassword)));
  // An unknown user is refused the same way.
  EXPECT_EQ(wbemcli({"gi", url(kFan0, "nosuchuser:whatever")}, &out), 16);
  EXPECT_THAT(out, HasSubstr("Invalid username/password"));
}

TEST_F(WbemdLoginTest, NoCredentialsGet401WithTheChallenge) {
  httptest::Connection c(wbemd_.http_port());
  ASSERT_TRUE(c.send(httptest::cim_request("EnumerateInstanceNames", "<CIM/>", "", "")));
  httptest::Answer a = c.read_answer();
  EXPECT_EQ(a.status, 401);
  EXPECT_EQ(a.headers["www-authenticate"], "Basic realm=\"cimom\"");
  std::string out;
  EXPECT_EQ(wbemcli({"ein", url("Demo_Fan")}, &out), 16);
  EXPECT_THAT(out, HasSubstr("Username/password required"));
}

TEST_F(WbemdLoginTest, RepeatedFailuresAreSlowedDown) {
  std::vector<long long> took;
  for (int i = 0; i < 3; ++i) {
    httptest::Connection c(wbemd_.http_port());
    auto start = std::chrono::steady_clock::now();
    ASSERT_TRUE(c.send(httptest::cim_request("EnumerateInstanceNames", "<CIM/>", "",
                                             httptest::basic(user_->name(), "wrong"))));
    EXPECT_EQ(c.read_answer().status, 401);
    took.push_back(std::chrono::duration_cast<std::chrono::milliseconds>(
                       std::chrono::steady_clock::now() - start).count());
  }
  // --login-delay 100, doubling: 100, 200, 400 ms.
  EXPECT_GE(took[0], 100);
  EXPECT_GE(took[1], 200);
  EXPECT_GE(took[2], 400);
  EXPECT_THAT(wbemd_.log(), HasSubstr("(3 in a row from this address; answer held back 400 ms)"));
}

TEST_F(WbemdLoginTest, ANonRootUserCannotActAsRoot) {
  std::string out;
  // Only root may change the demo state; the request runs as the user who logged in.
  EXPECT_EQ(wbemcli({"ci", url("Demo_Chassis.Tag=\"chassis7\"", credentials()),
                     "Tag=\"chassis7\",Manufacturer=\"ACME\",Model=\"X1\",FanCount=0"},
                    &out),
            16);
  EXPECT_THAT(out, HasSubstr("CIM_ERR_ACCESS_DENIED"));
  ASSERT_EQ(wbemcli({"ei", url("Demo_Fan", credentials())}, &out), 0) << out;
  EXPECT_THAT(out, Not(HasSubstr("EffectiveUserID=0,")));
  // Without --trust-local-peers, root's own local client gets no service without a password.
  EXPECT_EQ(wbemcli({"ein", url("Demo_Fan")}, &out), 16);
}

TEST_F(WbemdLoginTest, TheDaemonRunsAsNobodyAndOnlyItsLoginHelperKeepsRoot) {
  EXPECT_EQ(wbemtest::status_field(wbemd_.pid(), "Uid"), 65534);
  std::vector<pid_t> children;
  DIR *proc = opendir("/proc");
  ASSERT_NE(proc, nullptr);
  while (struct dirent *entry = readdir(proc)) {
    pid_t pid = std::atoi(entry->d_name);
    if (pid > 0 && wbemtest::status_field(pid, "PPid") == wbemd_.pid()) children.push_back(pid);
  }
  closedir(proc);
  ASSERT_EQ(children.size(), 1u);
  EXPECT_EQ(wbemtest::status_field(children[0], "Uid"), 0);
  char cwd[64] = {};
  ASSERT_GT(readlink(("/proc/" + std::to_string(wbemd_.pid()) + "/cwd").c_str(), cwd, sizeof cwd - 1), 0);
  EXPECT_STREQ(cwd, "/");
}

}  // namespace
