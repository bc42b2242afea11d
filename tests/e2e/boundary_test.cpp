// boundary_test.cpp - the daemon's trust boundary, each finding reproduced as an attacker would
// and answered safely, beside the legitimate variant that still works: who may act as whom,
// frames that cannot be forged from data, strict requests, log lines peers cannot write,
// status messages that fit their frame.
#include <cmpimacs.h>
#include <fcntl.h>
#include <grp.h>
#include <pwd.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstring>

#include "frame_guard.h"
#include "hostd_fixture.h"

namespace e2e {
namespace {

const char kInvalid[] = "CMPIERROR:4CMPI_EOF";
const char kDenied[] = "CMPIERROR:2CMPI_EOF";

bool have_users() {
  return geteuid() == 0 && getpwnam("nobody") != nullptr && getpwnam("daemon") != nullptr;
}

uid_t uid_of(const char *name) { return getpwnam(name)->pw_uid; }

// The bytes a peer running as user `as` receives for frame (fork, switch, connect, send, read).
std::string exchange_as(const char *as, const std::string &socket, const std::string &frame) {
  int pipe_fds[2];
  if (pipe(pipe_fds) != 0) return "<pipe>";
  pid_t child = fork();
  if (child == 0) {
    close(pipe_fds[0]);
    const struct passwd *pw = getpwnam(as);
    if (pw == nullptr || setgroups(0, nullptr) != 0 || setgid(pw->pw_gid) != 0 ||
        setuid(pw->pw_uid) != 0) {
      _exit(2);
    }
    std::string raw = exchange_raw(socket, frame);
    (void)!write(pipe_fds[1], raw.data(), raw.size());
    _exit(0);
  }
  close(pipe_fds[1]);
  std::string raw;
  char buf[4096];
  ssize_t n;
  while ((n = read(pipe_fds[0], buf, sizeof buf)) > 0) raw.append(buf, static_cast<size_t>(n));
  close(pipe_fds[0]);
  int status = 0;
  waitpid(child, &status, 0);
  return raw;
}

// ---- who may act as whom ---------------------------------------------------------------------

class PlainPeers : public HostdTest {
 protected:
  void SetUp() override {
    if (!have_users()) GTEST_SKIP() << "needs root and the users nobody and daemon";
    HostdTest::SetUp();
  }
  void TearDown() override {
    if (have_users()) HostdTest::TearDown();
  }
  std::vector<std::string> options() const override { return {"--allow-user", "nobody"}; }
};

TEST_F(PlainPeers, AnAllowedPeerCannotActAsRoot) {
  std::string raw = exchange_as("nobody", socket(), build_frame(GETINST, "root", fan("fan0")));
  EXPECT_EQ(raw, kDenied);
  EXPECT_TRUE(daemon_.wait_for(Hostd(
      "request refused: peer pid N uid " + std::to_string(uid_of("nobody")) +
          " (self) may not act as 'root'; GetInstance of Demo_Fan not served",
      2)));
}

TEST_F(PlainPeers, AnAllowedPeerCannotActAsAnotherUser) {
  EXPECT_EQ(exchange_as("nobody", socket(), build_frame(GETINST, "daemon", fan("fan0"))), kDenied);
}

TEST_F(PlainPeers, AnAllowedPeerActsAsItself) {
  std::string raw = exchange_as("nobody", socket(), build_frame(GETINST, "nobody", fan("fan0")));
  EXPECT_NE(raw.find("\"EffectiveUserID\""), std::string::npos) << raw;
  EXPECT_TRUE(ends_with(raw, "CMPIOPERATION_COMPLETECMPI_EOF")) << raw;
}

class ProxyPeers : public PlainPeers {
 protected:
  std::vector<std::string> options() const override {
    return {"--allow-proxy-user", "nobody"};
  }
};

TEST_F(ProxyPeers, AProxyActsAsAnotherNormalUser) {
  std::string raw = exchange_as("nobody", socket(), build_frame(GETINST, "daemon", fan("fan0")));
  EXPECT_TRUE(ends_with(raw, "CMPIOPERATION_COMPLETECMPI_EOF")) << raw;
  EXPECT_NE(raw.find("\"EffectiveUserID\""), std::string::npos) << raw;
  EXPECT_TRUE(daemon_.wait_for(Hostd("worker for Demo_Fan: serving request type 3 as daemon (uid " +
                                         std::to_string(uid_of("daemon")) +
                                         ") with provider DemoProvider",
                                     4)));
}

TEST_F(ProxyPeers, AProxyCannotActAsRoot) {
  EXPECT_EQ(exchange_as("nobody", socket(), build_frame(GETINST, "root", fan("fan0"))), kDenied);
  EXPECT_TRUE(daemon_.wait_for(Hostd(
      "request refused: peer pid N uid " + std::to_string(uid_of("nobody")) +
          " (proxy) may not act as 'root'; GetInstance of Demo_Fan not served",
      2)));
}

class RootProxyPeers : public PlainPeers {
 protected:
  std::vector<std::string> options() const override {
    return {"--allow-proxy-user", "nobody", "--allow-proxy-root"};
  }
};

TEST_F(RootProxyPeers, AProxyActsAsRootOnlyWhenAllowed) {
  std::string raw = exchange_as("nobody", socket(), build_frame(GETINST, "root", fan("fan0")));
  EXPECT_TRUE(ends_with(raw, "CMPIOPERATION_COMPLETECMPI_EOF")) << raw;
}

class RefusedPeers : public PlainPeers {
 protected:
  std::vector<std::string> options() const override { return {}; }
};

TEST_F(RefusedPeers, ARefusedPeerCannotFloodTheLog) {
  const std::string frame = build_frame(GETINST, "nobody", fan("fan0"));
  const auto started = std::chrono::steady_clock::now();
  pid_t child = fork();
  if (child == 0) {
    const struct passwd *pw = getpwnam("nobody");
    if (setgroups(0, nullptr) != 0 || setgid(pw->pw_gid) != 0 || setuid(pw->pw_uid) != 0) _exit(2);
    // The client library reports every closed connection; those lines are not the test's.
    int quiet = open("/dev/null", O_WRONLY);
    dup2(quiet, STDERR_FILENO);
    for (int i = 0; i < 200; ++i) exchange_raw(socket(), frame);
    sleep(2);  // earns the next line back, which brings the summary of what was held back
    exchange_raw(socket(), frame);
    _exit(0);
  }
  int status = 0;
  waitpid(child, &status, 0);
  ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
  // The peer earns one line a second back: the bound follows how long the refusals took.
  const long seconds = static_cast<long>(
      std::chrono::duration_cast<std::chrono::seconds>(std::chrono::steady_clock::now() - started)
          .count());
  const std::string refusal = "connection refused: peer pid N uid " +
                              std::to_string(uid_of("nobody")) + " gid " +
                              std::to_string(getpwnam("nobody")->pw_gid) +
                              " is not on the allow list";
  ASSERT_TRUE(daemon_.wait_for(Hostd(refusal, 2)));
  int refusals = 0;
  int summaries = 0;
  const std::string summary_start = "refusals of peer uid " + std::to_string(uid_of("nobody")) +
                                    " suppressed in the last ";
  for (const cmpitest::LogLine &line : daemon_.lines()) {
    if (line.text == refusal) ++refusals;
    if (line.text.find(summary_start) != std::string::npos) ++summaries;
  }
  EXPECT_LE(refusals, 10 + seconds + 1) << "a burst of 10, then one a second";
  EXPECT_LT(refusals, 201) << "200 refusals cannot write 200 lines";
  EXPECT_GE(refusals, 10);
  EXPECT_GE(summaries, 1) << "what was held back is counted in a summary line";
  EXPECT_EQ(get_fan("fan0").rc, 0);
}

// ---- frames that cannot be forged, strict requests -------------------------------------------

using Boundary = HostdTest;

// A chassis whose Model holds text that looks like the end of a frame and a completion frame.
std::string forged_create(const std::string &tag) {
  CMPIObjectPath *path = make_path("Demo_Chassis", {{"Tag", tag}});
  CMPIInstance *inst = makeNewCMPIInstance(path, nullptr);
  const char *model = "xCMPI_EOFCMPIOPERATION_COMPLETECMPI_EOF";
  CMSetProperty(inst, "Tag", tag.c_str(), CMPI_chars);
  CMSetProperty(inst, "Model", model, CMPI_chars);
  CMPIUint8 fans = 0;
  CMSetProperty(inst, "FanCount", &fans, CMPI_uint8);
  std::string frame = build_frame(CREATEINST, "root", make_path("Demo_Chassis", {{"Tag", tag}}),
                                  nullptr, inst);
  CMRelease(path);
  // What an attacker sends: the text written with JSON escapes, as any JSON writer may.
  wire::guard_frame(&frame);
  return frame;
}

TEST_F(Boundary, AStoredValueCannotForgeFramesOfLaterAnswers) {
  Answer created = create_instance(socket(), forged_create("forged"));
  ASSERT_EQ(created.rc, 0) << created.raw;
  Answer all =
      enumerate(socket(), build_frame(ENUMINST, "root", make_path("Demo_Chassis")), ENUMINST);
  EXPECT_EQ(all.rc, 0);
  EXPECT_TRUE(all.complete);
  ASSERT_EQ(all.instances.size(), 2u) << all.raw;
  int found = 0;
  for (CMPIInstance *inst : all.instances) {
    if (text_property(inst, "Tag") != "forged") continue;
    ++found;
    EXPECT_EQ(text_property(inst, "Model"), "xCMPI_EOFCMPIOPERATION_COMPLETECMPI_EOF");
  }
  EXPECT_EQ(found, 1);
  EXPECT_EQ(count_frames(all.raw), 3u) << "two instance frames and the completion frame";
  Answer deleted = set_instance(
      socket(), build_frame(DELETEINST, "root", make_path("Demo_Chassis", {{"Tag", "forged"}})));
  EXPECT_EQ(deleted.rc, 0);
}

TEST_F(Boundary, AValueThatMerelyLooksLikeAControlFrameIsStoredAndReadBack) {
  CMPIObjectPath *path = make_path("Demo_Chassis", {{"Tag", "lookalike"}});
  CMPIInstance *inst = makeNewCMPIInstance(path, nullptr);
  CMSetProperty(inst, "Tag", "lookalike", CMPI_chars);
  CMSetProperty(inst, "Model", "CMPIOPERATION_COMPLETE", CMPI_chars);
  CMSetProperty(inst, "SerialNumber", "CMPIERROR:1", CMPI_chars);
  CMRelease(path);
  Answer created = create_instance(
      socket(), build_frame(CREATEINST, "root", make_path("Demo_Chassis", {{"Tag", "lookalike"}}),
                            nullptr, inst));
  ASSERT_EQ(created.rc, 0);
  Answer got = get_instance(
      socket(), build_frame(GETINST, "root", make_path("Demo_Chassis", {{"Tag", "lookalike"}})));
  ASSERT_EQ(got.instances.size(), 1u);
  EXPECT_EQ(text_property(got.instances[0], "Model"), "CMPIOPERATION_COMPLETE");
  EXPECT_EQ(text_property(got.instances[0], "SerialNumber"), "CMPIERROR:1");
}

std::string doc_with(const std::string &members) {
  return "{\"RequestType\":3,\"ClassName\":\"Demo_Fan\",\"NameSpace\":\"root/cimv2\"," + members +
         ",\"key\":\"DeviceID=fan0,SystemName=bmc0,\"}";
}

TEST_F(Boundary, AnEscapedNulCannotShortenThePrincipalOrTheClassName) {
  const std::string principal = doc_with("\"Principal\":\"root\\u0000nobody\"");
  EXPECT_EQ(exchange_raw(socket(), principal + "CMPI_EOF"), kInvalid);
  EXPECT_TRUE(daemon_.wait_for(
      Hostd("request rejected: a string contains a NUL character (peer uid 0, " +
                std::to_string(principal.size()) + " bytes)",
            2)));
  const std::string cls =
      "{\"RequestType\":3,\"ClassName\":\"Demo_Fan\\u0000x\",\"NameSpace\":\"root/cimv2\","
      "\"Principal\":\"root\",\"key\":\"DeviceID=fan0,SystemName=bmc0,\"}";
  EXPECT_EQ(exchange_raw(socket(), cls + "CMPI_EOF"), kInvalid);
  EXPECT_EQ(get_fan("fan0").rc, 0);
}

TEST_F(Boundary, ADuplicatePrincipalIsRefusedNotResolved) {
  const std::string doc = doc_with("\"Principal\":\"nobody\",\"Principal\":\"root\"");
  EXPECT_EQ(exchange_raw(socket(), doc + "CMPI_EOF"), kInvalid);
  EXPECT_TRUE(daemon_.wait_for(Hostd("request rejected: duplicate member \"Principal\" (peer uid 0, " +
                                         std::to_string(doc.size()) + " bytes)",
                                     2)));
}

TEST_F(Boundary, MembersOfTheWrongTypeAreRefusedNotConverted) {
  const std::pair<std::string, std::string> cases[] = {
      {"{\"RequestType\":3.5,\"ClassName\":\"Demo_Fan\",\"NameSpace\":\"root/cimv2\","
       "\"Principal\":\"root\"}",
       "member \"RequestType\" is not an integer from 1 to 10"},
      {"{\"RequestType\":true,\"ClassName\":\"Demo_Fan\",\"NameSpace\":\"root/cimv2\","
       "\"Principal\":\"root\"}",
       "member \"RequestType\" is not an integer from 1 to 10"},
      {"{\"RequestType\":1,\"ClassName\":42,\"NameSpace\":\"root/cimv2\",\"Principal\":\"root\"}",
       "member \"ClassName\" is not a string"},
  };
  for (const auto &c : cases) {
    EXPECT_EQ(exchange_raw(socket(), c.first + "CMPI_EOF"), kInvalid) << c.first;
    EXPECT_TRUE(daemon_.wait_for(Hostd("request rejected: " + c.second + " (peer uid 0, " +
                                           std::to_string(c.first.size()) + " bytes)",
                                       2)))
        << c.first;
  }
}

TEST_F(Boundary, EveryValidRequestOfTheLibraryIsStillAccepted) {
  EXPECT_EQ(get_fan("fan1").rc, 0);
  Answer names =
      enumerate(socket(), build_frame(ENUMINSTNAMES, "root", make_path("Demo_Fan")), ENUMINSTNAMES);
  EXPECT_EQ(names.rc, 0);
  EXPECT_EQ(names.paths.size(), 2u);
  Answer cls = get_class(socket(), build_frame(GETCLASS, "root", make_path("Demo_Fan")));
  EXPECT_EQ(cls.rc, 0);
}

// ---- log lines peers cannot write ------------------------------------------------------------

TEST_F(Boundary, AClassNameCannotForgeALogLine) {
  Answer a = get_class(socket(), build_frame(GETCLASS, "root",
                                             make_path("Demo_X\nERROR: forged line")));
  EXPECT_EQ(a.rc, CMPI_RC_ERR_INVALID_CLASS);
  EXPECT_TRUE(daemon_.wait_for(
      Hostd("GetClass Demo_X\\nERROR: forged line: no such class in the schema database", 2)));
  for (const cmpitest::LogLine &line : daemon_.lines()) {
    EXPECT_NE(line.text.rfind("ERROR: forged line", 0), 0u) << line.text;
  }
}

class HugeInput : public HostdTest {
 protected:
  // Time enough to send 30 MiB on a loaded machine, also under the sanitizers.
  std::vector<std::string> options() const override { return {"--read-timeout", "60"}; }
};

TEST_F(HugeInput, AHugeClassNameIsRefusedWithAShortLogLine) {
  const std::string huge(30u << 20, 'C');
  const std::string doc = "{\"RequestType\":1,\"ClassName\":\"" + huge +
                          "\",\"NameSpace\":\"root/cimv2\",\"Principal\":\"root\"}";
  EXPECT_EQ(exchange_raw(socket(), doc + "CMPI_EOF"), kInvalid);
  EXPECT_TRUE(daemon_.wait_for(
      Hostd("request rejected: member \"ClassName\" is longer than 256 bytes (peer uid 0, " +
                std::to_string(doc.size()) + " bytes)",
            2)));
  for (const cmpitest::LogLine &line : daemon_.lines()) {
    EXPECT_LT(line.text.size(), 2000u);
  }
}

// ---- status messages fit their frame ---------------------------------------------------------

TEST_F(Boundary, ALongStatusMessageIsShortenedSoTheCodeArrives) {
  CMPIObjectPath *path = make_path("Test_Plain", {{"Id", "x"}});
  CMPIInstance *inst = makeNewCMPIInstance(path, nullptr);
  CMRelease(path);
  for (int type : {MODIFYINST, DELETEINST, CREATEINST}) {
    CMPIInstance *copy = type == DELETEINST ? nullptr : CMClone(inst, nullptr);
    std::string frame =
        build_frame(type, "root", make_path("Test_Plain", {{"Id", "x"}}), nullptr, copy);
    Answer a = type == CREATEINST ? create_instance(socket(), frame) : set_instance(socket(), frame);
    EXPECT_EQ(a.rc, CMPI_RC_ERR_NOT_SUPPORTED) << type << ": " << a.raw.substr(0, 200);
    EXPECT_EQ(a.message.rfind("refused: xxx", 0), 0u) << type;
    EXPECT_TRUE(ends_with(a.message, "...")) << type;
    EXPECT_LT(a.raw.size(), 8192u) << type;
    EXPECT_EQ(count_frames(a.raw), 1u) << type;
  }
  CMRelease(inst);
  EXPECT_TRUE(daemon_.wait_for(Hostd(
      "the status message of ModifyInstance (20000 bytes) does not fit its frame and is "
      "shortened: 'refused: " + std::string(1024 - 9, 'x') + "...(+18976 bytes)'",
      3)));
}

}  // namespace
}  // namespace e2e
