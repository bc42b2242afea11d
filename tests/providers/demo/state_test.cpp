// The demo provider's state file: created and seeded on first use, shared by processes (a
// forked, user-switched host can use it; kept_state_test.cpp tests the connection kept between
// requests), and read-only for users who cannot write it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pwd.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <string>
#include <vector>

#include "demo_host.h"
#include "state_sql.h"

namespace {

using namespace demotest;
using ::testing::ElementsAre;

// Creates chassis "<prefix>-<i>" for i in [0, count); the number of failures.
int CreateChassis(DemoProvider &provider, const std::string &prefix, int count) {
  int failures = 0;
  for (int i = 0; i < count; ++i) {
    const std::string tag = prefix + "-" + std::to_string(i);
    Owned<CMPIObjectPath> op(ChassisPath(tag.c_str()));
    Owned<CMPIInstance> inst(makeNewCMPIInstance(op.get(), nullptr));
    CMSetProperty(inst.get(), "Tag", tag.c_str(), CMPI_chars);
    if (provider.createInstance(op.get(), inst.get()).rc != CMPI_RC_OK) ++failures;
  }
  return failures;
}

size_t CountOf(DemoProvider &provider, const char *className) {
  Owned<CMPIObjectPath> op(ClassPath(className));
  return provider.enumerateInstanceNames(op.get()).size();
}

TEST_F(DemoTest, FirstUseCreatesTheFileWithItsTablesAndTheInitialState) {
  EXPECT_NE(access(state_.path().c_str(), F_OK), 0);
  EXPECT_EQ(CountOf(provider_, "Demo_Chassis"), 1u);
  EXPECT_EQ(access(state_.path().c_str(), F_OK), 0);
  EXPECT_EQ(Sql(state_.path(), "SELECT Value FROM DemoState WHERE Name = 'version'"), "1");
  EXPECT_EQ(Sql(state_.path(), "SELECT count(*) FROM DemoInstance"), "5");
  EXPECT_EQ(Sql(state_.path(),
                "SELECT InstanceKey FROM DemoInstance WHERE ClassName = "
                "'Demo_ChassisFan' ORDER BY rowid"),
            "GroupComponent=\"Demo_Chassis.Tag=\\\"chassis0\\\"\","
            "PartComponent=\"Demo_Fan.DeviceID=\\\"fan0\\\",SystemName=\\\"bmc0\\\"\"");
  EXPECT_EQ(Sql(state_.path(),
                "SELECT Value FROM DemoProperty WHERE ClassName = 'Demo_Fan' "
                "AND Name = 'Speed' ORDER BY InstanceKey"),
            "2400");
  // The computed property is never stored.
  EXPECT_EQ(Sql(state_.path(), "SELECT count(*) FROM DemoProperty WHERE Name = 'EffectiveUserID'"),
            "0");
}

TEST_F(DemoTest, AMissingDirectoryIsMadeOneLevelDeep) {
  const std::string path = state_.directory() + "/sub/state.db";
  state_.point_at(path);
  EXPECT_EQ(CountOf(provider_, "Demo_Fan"), 2u);
  EXPECT_EQ(access(path.c_str(), F_OK), 0);
}

TEST_F(DemoTest, AStateFileThatCannotBeOpenedFailsEveryRequest) {
  const std::string path = state_.directory() + "/a/b/state.db";
  state_.point_at(path);
  Owned<CMPIObjectPath> op(ClassPath("Demo_Fan"));
  Answer a = provider_.enumerateInstances(op.get());
  EXPECT_EQ(a.rc, CMPI_RC_ERR_FAILED);
  EXPECT_EQ(a.message,
            "the demo state " + path + " cannot be opened: unable to open database file");
  EXPECT_FALSE(a.finished);
  Owned<CMPIObjectPath> fan(FanPath("fan0"));
  EXPECT_EQ(provider_.getInstance(fan.get()).rc, CMPI_RC_ERR_FAILED);
  EXPECT_EQ(provider_.associatorNames(fan.get()).rc, CMPI_RC_ERR_FAILED);
}

TEST_F(DemoTest, AnUnreadableStoredValueIsAFailure) {
  ASSERT_EQ(CountOf(provider_, "Demo_Fan"), 2u);
  Sql(state_.path(), "UPDATE DemoProperty SET Value = 'fast' WHERE Name = 'Speed'");
  Owned<CMPIObjectPath> op(FanPath("fan0"));
  Answer a = provider_.getInstance(op.get());
  EXPECT_EQ(a.rc, CMPI_RC_ERR_FAILED);
  EXPECT_EQ(a.message, "the stored value of 'Speed' cannot be read");
  EXPECT_FALSE(a.finished);
}

TEST_F(DemoTest, AnAssociationWhoseEndIsGoneIsPassedOverByAssociators) {
  ASSERT_EQ(CountOf(provider_, "Demo_Fan"), 2u);
  // fan1 vanishes without its membership.
  Sql(state_.path(),
      "DELETE FROM DemoInstance WHERE ClassName = 'Demo_Fan' AND InstanceKey "
      "LIKE 'DeviceID=\"fan1\"%'");
  Owned<CMPIObjectPath> chassis(ChassisPath("chassis0"));
  EXPECT_THAT(provider_.associatorNames(chassis.get()).paths(),
              ElementsAre("root/cimv2:Demo_Fan.DeviceID=fan0,SystemName=bmc0"));
  EXPECT_EQ(provider_.associators(chassis.get()).size(), 1u);
  EXPECT_EQ(provider_.referenceNames(chassis.get()).size(), 2u);
}

TEST_F(DemoTest, ForkedProcessesShareTheStateAndWaitForEachOther) {
  // The library is loaded before the fork, as in a host that forks per request; the file does
  // not exist yet, so the children also race to create and seed it.
  constexpr int kChildren = 4;
  constexpr int kEach = 10;
  std::vector<pid_t> children;
  for (int c = 0; c < kChildren; ++c) {
    const pid_t pid = fork();
    ASSERT_GE(pid, 0);
    if (pid == 0) _exit(CreateChassis(provider_, "child" + std::to_string(c), kEach));
    children.push_back(pid);
  }
  for (const pid_t pid : children) EXPECT_EQ(Wait(pid), 0);
  EXPECT_EQ(CountOf(provider_, "Demo_Chassis"), 1u + kChildren * kEach);
  EXPECT_EQ(CountOf(provider_, "Demo_Fan"), 2u);  // seeded once
  EXPECT_EQ(CountOf(provider_, "Demo_ChassisFan"), 2u);
}

TEST_F(DemoTest, AWriterWaitsWhileAnotherProcessHoldsTheState) {
  ASSERT_EQ(CountOf(provider_, "Demo_Chassis"), 1u);
  // The child is forked before this process opens the file itself: SQLite connections must
  // not cross a fork (the provider's kept connection does not: the child opens its own).
  int locked[2];
  ASSERT_EQ(pipe(locked), 0);
  const pid_t pid = fork();
  ASSERT_GE(pid, 0);
  if (pid == 0) {
    close(locked[1]);
    char byte = 0;
    if (read(locked[0], &byte, 1) != 1) _exit(100);
    _exit(CreateChassis(provider_, "waiting", 1));
  }
  close(locked[0]);
  sqlite3 *db = nullptr;
  ASSERT_EQ(sqlite3_open(state_.path().c_str(), &db), SQLITE_OK);
  EXPECT_EQ(sqlite3_exec(db, "BEGIN EXCLUSIVE", nullptr, nullptr, nullptr), SQLITE_OK);
  const char byte = 'x';
  EXPECT_EQ(write(locked[1], &byte, 1), 1);
  close(locked[1]);
  usleep(200 * 1000);  // the child is (most likely) waiting for the lock by now
  EXPECT_EQ(sqlite3_exec(db, "COMMIT", nullptr, nullptr, nullptr), SQLITE_OK);
  sqlite3_close(db);
  EXPECT_EQ(Wait(pid), 0);
  EXPECT_EQ(CountOf(provider_, "Demo_Chassis"), 2u);
}

// A host serves requests under the requesting user's identity: as "nobody" the provider still
// reads the state (owned by root, readable by all), reports nobody's uid, and refuses writes.
TEST_F(DemoTest, ServedAsAnotherUserReadsReportsItsUidAndCannotWrite) {
  if (geteuid() != 0) GTEST_SKIP() << "needs root to switch users";
  const passwd *nobody = getpwnam("nobody");
  ASSERT_NE(nobody, nullptr);
  const uid_t uid = nobody->pw_uid;
  ASSERT_EQ(CountOf(provider_, "Demo_Fan"), 2u);  // made and seeded as root
  ASSERT_EQ(chmod(state_.directory().c_str(), 0755), 0);
  const pid_t pid = fork();
  ASSERT_GE(pid, 0);
  if (pid == 0) {
    if (setegid(nobody->pw_gid) != 0 || seteuid(uid) != 0) _exit(10);
    Owned<CMPIObjectPath> op(FanPath("fan0"));
    Answer a = provider_.getInstance(op.get());
    if (a.rc != CMPI_RC_OK || a.size() != 1) _exit(11);
    if (Text(a.instance(0), "EffectiveUserID") != std::to_string(uid)) _exit(12);
    Owned<CMPIInstance> inst(makeNewCMPIInstance(op.get(), nullptr));
    CMSetProperty(inst.get(), "Name", "renamed", CMPI_chars);
    Answer b = provider_.modifyInstance(op.get(), inst.get());
    if (b.rc != CMPI_RC_ERR_ACCESS_DENIED) _exit(13);
    if (b.message != "the demo state cannot be changed: attempt to write a readonly database") {
      fprintf(stderr, "unexpected message: %s\n", b.message.c_str());
      _exit(14);
    }
    _exit(0);
  }
  EXPECT_EQ(Wait(pid), 0);
  Owned<CMPIObjectPath> op(FanPath("fan0"));
  Answer a = provider_.getInstance(op.get());
  EXPECT_EQ(Text(a.instance(0), "Name"), "Front fan");
}

}  // namespace
