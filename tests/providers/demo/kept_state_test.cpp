// The demo provider keeps its state connection between requests of one process and one
// identity, and opens the file afresh whenever that would not be the same as opening it now: a
// file renamed over the state, a directory opened up to others, a forked child, a process that
// switched users. A kept connection sees what others wrote, and a failed request leaves no
// transaction behind.
//
// Whether a connection was kept is seen from outside the provider: the descriptor SQLite holds
// on the state file stays open between requests, and a mark put on that descriptor (its
// close-on-exec flag cleared; SQLite opens with the flag set) is still there at the next request
// only when the same descriptor served it, not a new one.
#include <dirent.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <limits.h>
#include <pwd.h>
#include <sqlite3.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "demo_host.h"
#include "state_sql.h"

namespace {

using namespace demotest;

// The descriptors of this process open on the file at path.
std::vector<int> DescriptorsOn(const std::string &path) {
  char real[PATH_MAX];
  const std::string wanted = realpath(path.c_str(), real) != nullptr ? real : path;
  std::vector<int> fds;
  DIR *dir = opendir("/proc/self/fd");
  if (dir == nullptr) return fds;
  const int own = dirfd(dir);
  while (const dirent *entry = readdir(dir)) {
    if (entry->d_name[0] == '.') continue;
    const int fd = atoi(entry->d_name);
    if (fd == own) continue;
    char target[PATH_MAX];
    const std::string link = std::string("/proc/self/fd/") + entry->d_name;
    const ssize_t n = readlink(link.c_str(), target, sizeof target - 1);
    if (n <= 0) continue;
    target[n] = '\0';
    if (wanted == target) fds.push_back(fd);
  }
  closedir(dir);
  return fds;
}

bool Marked(int fd) { return (fcntl(fd, F_GETFD) & FD_CLOEXEC) == 0; }

// Runs statements on the file through a connection of its own; false on an error.
bool Exec(const std::string &path, const std::string &sql) {
  sqlite3 *db = nullptr;
  bool ok = sqlite3_open_v2(path.c_str(), &db, SQLITE_OPEN_READWRITE, nullptr) == SQLITE_OK;
  char *message = nullptr;
  ok = ok && sqlite3_exec(db, sql.c_str(), nullptr, nullptr, &message) == SQLITE_OK;
  EXPECT_TRUE(ok) << (message != nullptr ? message : sqlite3_errmsg(db));
  sqlite3_free(message);
  sqlite3_close(db);
  return ok;
}

const passwd *Nobody() { return getpwnam("nobody"); }

constexpr const char *kFan0Name =
    "UPDATE DemoProperty SET Value = '%s' WHERE ClassName = 'Demo_Fan' AND Name = 'Name'"
    " AND InstanceKey LIKE 'DeviceID=\"fan0\"%%'";

std::string RenameFan0(const char *name) {
  char sql[256];
  snprintf(sql, sizeof sql, kFan0Name, name);
  return sql;
}

class KeptState : public DemoTest {
 protected:
  Answer GetFan() {
    Owned<CMPIObjectPath> op(FanPath("fan0"));
    return provider_.getInstance(op.get());
  }
  std::string FanName() {
    Answer a = GetFan();
    EXPECT_EQ(a.rc, CMPI_RC_OK) << a.message;
    return a.rc == CMPI_RC_OK && a.size() == 1 ? Text(a.instance(0), "Name") : "";
  }
  Answer CreateChassis(const char *tag) {
    Owned<CMPIObjectPath> op(ChassisPath(tag));
    Owned<CMPIInstance> inst(makeNewCMPIInstance(op.get(), nullptr));
    CMSetProperty(inst.get(), "Tag", tag, CMPI_chars);
    return provider_.createInstance(op.get(), inst.get());
  }
  bool ChassisExists(const char *tag) {
    Owned<CMPIObjectPath> op(ChassisPath(tag));
    return provider_.getInstance(op.get()).rc == CMPI_RC_OK;
  }
  // Marks the one descriptor open on the state file; false when there is not exactly one.
  bool MarkTheConnection() {
    const std::vector<int> fds = DescriptorsOn(state_.path());
    EXPECT_EQ(fds.size(), 1u);
    if (fds.size() != 1) return false;
    EXPECT_FALSE(Marked(fds[0])) << "SQLite opened the file without close-on-exec";
    return fcntl(fds[0], F_SETFD, 0) == 0 && Marked(fds[0]);
  }
  // Whether the one descriptor open on the state file carries the mark.
  bool SameConnection() {
    const std::vector<int> fds = DescriptorsOn(state_.path());
    return fds.size() == 1 && Marked(fds[0]);
  }
  // A copy of the state (taken through SQLite) at path, with fan0 renamed.
  void CopyWithFanName(const std::string &path, const char *name) {
    ASSERT_TRUE(Exec(state_.path(), "VACUUM INTO '" + path + "'"));
    ASSERT_TRUE(Exec(path, RenameFan0(name)));
  }
};

TEST_F(KeptState, TwoRequestsInOneProcessUseOneConnection) {
  EXPECT_TRUE(DescriptorsOn(state_.path()).empty());
  ASSERT_EQ(FanName(), "Front fan");
  ASSERT_TRUE(MarkTheConnection());
  EXPECT_EQ(FanName(), "Front fan");
  EXPECT_TRUE(SameConnection());
  EXPECT_EQ(CreateChassis("chassis7").rc, CMPI_RC_OK);
  EXPECT_TRUE(ChassisExists("chassis7"));
  EXPECT_TRUE(SameConnection());
}

TEST_F(KeptState, UnloadingTheProviderClosesTheKeptConnection) {
  ASSERT_EQ(FanName(), "Front fan");
  EXPECT_EQ(DescriptorsOn(state_.path()).size(), 1u);
  provider_.reload();
  EXPECT_TRUE(DescriptorsOn(state_.path()).empty());
  EXPECT_EQ(FanName(), "Front fan");
}

TEST_F(KeptState, AFileRenamedOverTheStateBetweenRequestsIsTheOneServed) {
  ASSERT_EQ(FanName(), "Front fan");
  ASSERT_TRUE(MarkTheConnection());
  const std::string replacement = state_.directory() + "/replacement.db";
  CopyWithFanName(replacement, "Replaced fan");
  ASSERT_EQ(rename(replacement.c_str(), state_.path().c_str()), 0);
  EXPECT_EQ(FanName(), "Replaced fan");
  EXPECT_FALSE(SameConnection());
  EXPECT_EQ(DescriptorsOn(state_.path()).size(), 1u);  // the old connection is closed
}

TEST_F(KeptState, ALinkRenamedOverTheStateBetweenRequestsIsRefused) {
  ASSERT_EQ(FanName(), "Front fan");
  const std::string target = state_.directory() + "/elsewhere.db";
  CopyWithFanName(target, "Linked fan");
  const std::string link = state_.directory() + "/link";
  ASSERT_EQ(symlink(target.c_str(), link.c_str()), 0);
  ASSERT_EQ(rename(link.c_str(), state_.path().c_str()), 0);
  Answer a = GetFan();
  EXPECT_EQ(a.rc, CMPI_RC_ERR_FAILED);
  EXPECT_EQ(a.message,
            "the demo state " + state_.path() + " is a symbolic link; it is not followed");
  EXPECT_EQ(Sql(target, "SELECT count(*) FROM DemoInstance"), "5");
}

TEST_F(KeptState, AHardLinkMadeToTheStateBetweenRequestsIsRefused) {
  ASSERT_EQ(FanName(), "Front fan");
  const std::string second = state_.directory() + "/second-name";
  ASSERT_EQ(link(state_.path().c_str(), second.c_str()), 0);
  Answer a = GetFan();
  EXPECT_EQ(a.rc, CMPI_RC_ERR_FAILED);
  EXPECT_EQ(a.message, "the demo state " + state_.path() + " has 2 links; it is not used");
  ASSERT_EQ(unlink(second.c_str()), 0);
  EXPECT_EQ(FanName(), "Front fan");
}

TEST_F(KeptState, ADirectoryMadeGroupWritableBetweenRequestsIsRefused) {
  ASSERT_EQ(FanName(), "Front fan");
  ASSERT_EQ(chmod(state_.directory().c_str(), 0770), 0);
  Answer a = GetFan();
  EXPECT_EQ(a.rc, CMPI_RC_ERR_FAILED);
  EXPECT_EQ(a.message, "the demo state directory " + state_.directory() +
                           " is writable by others; the state is not kept there");
  Answer b = CreateChassis("chassis7");
  EXPECT_EQ(b.rc, CMPI_RC_ERR_FAILED);
  EXPECT_EQ(b.message, a.message);
  ASSERT_EQ(chmod(state_.directory().c_str(), 0700), 0);
  EXPECT_EQ(FanName(), "Front fan");
  EXPECT_FALSE(ChassisExists("chassis7"));
}

TEST_F(KeptState, AChangeWrittenByAnotherConnectionIsSeenByTheNextRequest) {
  ASSERT_EQ(FanName(), "Front fan");
  ASSERT_TRUE(MarkTheConnection());
  ASSERT_TRUE(Exec(state_.path(), RenameFan0("Renamed elsewhere")));
  EXPECT_EQ(FanName(), "Renamed elsewhere");
  ASSERT_TRUE(Exec(state_.path(), RenameFan0("Renamed again")));
  Owned<CMPIObjectPath> fans(ClassPath("Demo_Fan"));
  Answer all = provider_.enumerateInstances(fans.get());
  ASSERT_EQ(all.rc, CMPI_RC_OK);
  ASSERT_EQ(all.size(), 2u);
  EXPECT_EQ(Text(all.instance(0), "Name"), "Renamed again");
  EXPECT_TRUE(SameConnection());  // the kept connection saw both changes
}

TEST_F(KeptState, AChangeWrittenByAnotherProcessIsSeenByTheNextRequest) {
  ASSERT_EQ(FanName(), "Front fan");
  ASSERT_TRUE(MarkTheConnection());
  const pid_t pid = fork();
  ASSERT_GE(pid, 0);
  if (pid == 0) _exit(CreateChassis("from-child").rc == CMPI_RC_OK ? 0 : 1);
  ASSERT_EQ(Wait(pid), 0);
  EXPECT_TRUE(ChassisExists("from-child"));
  EXPECT_TRUE(SameConnection());
}

TEST_F(KeptState, AForkedChildOpensItsOwnConnectionAndTheParentsStillWorks) {
  ASSERT_EQ(FanName(), "Front fan");
  ASSERT_TRUE(MarkTheConnection());
  const pid_t pid = fork();
  ASSERT_GE(pid, 0);
  if (pid == 0) {
    // The inherited descriptor is there, marked, until the child's first request.
    if (!SameConnection()) _exit(1);
    Answer a = GetFan();
    if (a.rc != CMPI_RC_OK || a.size() != 1) _exit(2);
    const std::vector<int> fds = DescriptorsOn(state_.path());
    if (fds.size() != 1) _exit(3);  // the inherited one is closed
    if (Marked(fds[0])) _exit(4);   // and the one left is the child's own
    if (CreateChassis("from-child").rc != CMPI_RC_OK) _exit(5);
    _exit(0);
  }
  EXPECT_EQ(Wait(pid), 0);
  EXPECT_TRUE(SameConnection());
  EXPECT_EQ(FanName(), "Front fan");
  EXPECT_TRUE(ChassisExists("from-child"));
  EXPECT_EQ(CreateChassis("from-parent").rc, CMPI_RC_OK);
  EXPECT_TRUE(SameConnection());
  EXPECT_EQ(Sql(state_.path(), "SELECT count(*) FROM DemoInstance WHERE ClassName = "
                                 "'Demo_Chassis'"),
            "3");
}

TEST_F(KeptState, AfterSwitchingToNobodyAFileNobodyMayNotReadIsAccessDenied) {
  if (geteuid() != 0 || Nobody() == nullptr) GTEST_SKIP() << "needs root and the user nobody";
  ASSERT_EQ(chmod(state_.directory().c_str(), 0755), 0);
  ASSERT_EQ(FanName(), "Front fan");  // set up by root, mode 0644
  ASSERT_EQ(chmod(state_.path().c_str(), 0600), 0);
  ASSERT_EQ(FanName(), "Front fan");  // root still may; its connection is kept
  ASSERT_EQ(DescriptorsOn(state_.path()).size(), 1u);
  ASSERT_EQ(setegid(Nobody()->pw_gid), 0);
  ASSERT_EQ(seteuid(Nobody()->pw_uid), 0);
  Answer a = GetFan();
  Answer b = CreateChassis("chassis7");
  const bool back = seteuid(0) == 0 && setegid(0) == 0;
  ASSERT_TRUE(back) << "could not switch back to root";
  EXPECT_EQ(a.rc, CMPI_RC_ERR_ACCESS_DENIED);
  EXPECT_EQ(a.message, "the demo state " + state_.path() + " cannot be opened: Permission denied");
  EXPECT_FALSE(a.finished);
  EXPECT_EQ(b.rc, CMPI_RC_ERR_ACCESS_DENIED);
  EXPECT_EQ(b.message, a.message);
  EXPECT_EQ(FanName(), "Front fan");
  EXPECT_FALSE(ChassisExists("chassis7"));
}

TEST_F(KeptState, ARequestThatFailsMidTransactionLeavesNothingHalfWritten) {
  ASSERT_EQ(FanName(), "Front fan");
  ASSERT_TRUE(MarkTheConnection());
  // Deleting chassis0 removes it, then fails on its membership, whose end cannot be read.
  ASSERT_TRUE(Exec(state_.path(),
                   "UPDATE DemoProperty SET Value = 'unreadable' WHERE ClassName = "
                   "'Demo_ChassisFan' AND Name = 'GroupComponent'"));
  Owned<CMPIObjectPath> chassis(ChassisPath("chassis0"));
  Answer failed = provider_.deleteInstance(chassis.get());
  EXPECT_EQ(failed.rc, CMPI_RC_ERR_FAILED);
  EXPECT_EQ(failed.message, "the stored value of 'GroupComponent' cannot be read");
  // Nothing of it lasted, and no transaction holds the file: another connection may write.
  EXPECT_TRUE(ChassisExists("chassis0"));
  EXPECT_EQ(Sql(state_.path(), "SELECT count(*) FROM DemoInstance WHERE ClassName = "
                                 "'Demo_Chassis'"),
            "1");
  EXPECT_TRUE(Exec(state_.path(), RenameFan0("Written elsewhere")));
  // The next request writes through the same connection, and its write lasts.
  EXPECT_EQ(CreateChassis("chassis7").rc, CMPI_RC_OK);
  EXPECT_TRUE(SameConnection());
  EXPECT_EQ(Sql(state_.path(), "SELECT count(*) FROM DemoInstance WHERE ClassName = "
                                 "'Demo_Chassis'"),
            "2");
  EXPECT_EQ(FanName(), "Written elsewhere");
}

}  // namespace
