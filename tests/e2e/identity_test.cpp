// identity_test.cpp - requests are served as their principal, and only admitted peers connect.
#include <cmpiutility/transport.h>
#include <grp.h>
#include <pwd.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>

#include "hostd_fixture.h"

namespace e2e {
namespace {

using ::testing::HasSubstr;

uid_t nobody_uid() {
  const struct passwd *pw = getpwnam("nobody");
  return pw != nullptr ? pw->pw_uid : static_cast<uid_t>(-1);
}

gid_t nobody_gid() {
  const struct passwd *pw = getpwnam("nobody");
  return pw != nullptr ? pw->pw_gid : static_cast<gid_t>(-1);
}

// What a peer running as nobody got for a GetInstance: the bytes received.
enum PeerResult { kNothing = 0, kAnswer = 1, kNoConnect = 2, kNoSwitch = 3 };

PeerResult connect_as_nobody(const std::string &socket, const std::string &frame) {
  pid_t child = fork();
  if (child == 0) {
    if (setgroups(0, nullptr) != 0 || setgid(nobody_gid()) != 0 || setuid(nobody_uid()) != 0)
      _exit(kNoSwitch);
    SockInfo info;
    std::memset(&info, 0, sizeof info);
    if (clientConnectServersock(&info, socket.c_str()) != CMPIU_SOCK_OK) _exit(kNoConnect);
    send(info.fd, frame.data(), frame.size(), MSG_NOSIGNAL);
    char buf[4096];
    int seconds = 20;
    std::size_t total = 0;
    while (xselect(info.fd, CMPIU_SELECT_READ, &seconds) == CMPIU_SOCK_OK) {
      ssize_t n = recv(info.fd, buf, sizeof buf, 0);
      if (n <= 0) break;
      total += static_cast<std::size_t>(n);
    }
    _exit(total == 0 ? kNothing : kAnswer);
  }
  int status = 0;
  waitpid(child, &status, 0);
  return WIFEXITED(status) ? static_cast<PeerResult>(WEXITSTATUS(status)) : kNoSwitch;
}

class Identity : public HostdTest {
 protected:
  void SetUp() override {
    if (geteuid() != 0 || getpwnam("nobody") == nullptr) {
      GTEST_SKIP() << "needs root and the user nobody";
    }
    HostdTest::SetUp();
  }
  void TearDown() override {
    if (geteuid() == 0 && getpwnam("nobody") != nullptr) HostdTest::TearDown();
  }
};

TEST_F(Identity, RequestOfNobodyIsServedAsNobody) {
  Answer a = get_fan("fan0", "nobody");
  EXPECT_EQ(a.rc, 0);
  ASSERT_EQ(a.instances.size(), 1u);
  EXPECT_EQ(number_property(a.instances[0], "EffectiveUserID"), nobody_uid());
  EXPECT_TRUE(
      daemon_.wait_for(Hostd("worker for Demo_Fan: serving request type 3 as nobody (uid " +
                                 std::to_string(nobody_uid()) + ") with provider DemoProvider",
                             4)));
}

TEST_F(Identity, RequestOfRootIsServedAsRoot) {
  Answer a = get_fan("fan1", "root");
  ASSERT_EQ(a.instances.size(), 1u);
  EXPECT_EQ(number_property(a.instances[0], "EffectiveUserID"), 0u);
}

TEST_F(Identity, EnumerationOfNobodyIsServedAsNobody) {
  Answer a = enumerate(socket(), build_frame(ENUMINST, "nobody", make_path("Demo_Fan")), ENUMINST);
  EXPECT_EQ(a.rc, 0);
  ASSERT_EQ(a.instances.size(), 2u);
  for (CMPIInstance *inst : a.instances) {
    EXPECT_EQ(number_property(inst, "EffectiveUserID"), nobody_uid());
  }
}

TEST_F(Identity, UnknownUserIsRefusedWithAccessDenied) {
  Answer a = get_fan("fan0", "no_such_user_e2e");
  EXPECT_EQ(a.rc, CMPI_RC_ERR_ACCESS_DENIED);
  EXPECT_EQ(a.raw, "CMPIERROR:2CMPI_EOF");
  EXPECT_TRUE(daemon_.wait_for(
      Hostd("request refused: principal 'no_such_user_e2e' is not a local user", 2)));
  EXPECT_EQ(get_fan("fan0").rc, 0);
}

TEST_F(Identity, RequestWithoutPrincipalIsRefusedWithAccessDenied) {
  std::string raw =
      exchange_raw(socket(),
                   "{\"RequestType\":3,\"ClassName\":\"Demo_Fan\",\"NameSpace\":\"root/cimv2\","
                   "\"Principal\":\"\",\"key\":\"DeviceID=fan0,SystemName=bmc0,\"}CMPI_EOF");
  EXPECT_EQ(raw, "CMPIERROR:2CMPI_EOF");
  EXPECT_TRUE(
      daemon_.wait_for(Hostd("request refused: GetInstance of Demo_Fan names no principal", 2)));
}

TEST_F(Identity, PeerNotOnTheAllowListIsClosedWithoutAnswer) {
  std::string frame = build_frame(GETINST, "nobody", fan("fan0"));
  EXPECT_EQ(connect_as_nobody(socket(), frame), kNothing);
  EXPECT_TRUE(daemon_.wait_for(Hostd("connection refused: peer pid N uid " +
                                         std::to_string(nobody_uid()) + " gid " +
                                         std::to_string(nobody_gid()) + " is not on the allow list",
                                     2)));
  EXPECT_EQ(get_fan("fan0").rc, 0);
}

class IdentityAllowUser : public Identity {
 protected:
  std::vector<std::string> options() const override { return {"--allow-user", "nobody"}; }
};

TEST_F(IdentityAllowUser, AllowedUserIsAnswered) {
  EXPECT_EQ(connect_as_nobody(socket(), build_frame(GETINST, "nobody", fan("fan0"))), kAnswer);
}

class IdentityAllowGroup : public Identity {
 protected:
  std::vector<std::string> options() const override {
    const struct group *gr = getgrgid(nobody_gid());
    return {"--allow-group", gr != nullptr ? gr->gr_name : "nogroup"};
  }
};

TEST_F(IdentityAllowGroup, MemberOfAllowedGroupIsAnswered) {
  EXPECT_EQ(connect_as_nobody(socket(), build_frame(GETINST, "nobody", fan("fan0"))), kAnswer);
}

}  // namespace
}  // namespace e2e
