// initPriv and assignBasePriv switching the identity for real. Every case runs its calls in a
// forked child (see child_report.h) and asserts the child's findings here. The cases need root
// and are skipped otherwise.
#include <cmpiutility/privilege.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <grp.h>
#include <gtest/gtest.h>
#include <linux/capability.h>
#include <pwd.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

#include "child_report.h"
#include "log_capture.h"

namespace {

using namespace cmpitest;
using ::testing::ElementsAre;

const char kUnknownUser[] = "cmpiu-no-such-user";

struct Account {
  uid_t uid = 0;
  gid_t gid = 0;
  std::string groups;  // the supplementary groups initgroups gives it, sorted, comma-separated
};

Account LookUp(const char *name) {
  Account account;
  const struct passwd *pw = getpwnam(name);
  if (pw == nullptr) return account;
  account.uid = pw->pw_uid;
  account.gid = pw->pw_gid;
  int count = 64;
  std::vector<gid_t> groups(static_cast<std::size_t>(count));
  if (getgrouplist(name, pw->pw_gid, groups.data(), &count) < 0) {
    groups.resize(static_cast<std::size_t>(count));
    getgrouplist(name, pw->pw_gid, groups.data(), &count);
  }
  groups.resize(static_cast<std::size_t>(count));
  std::sort(groups.begin(), groups.end());
  groups.erase(std::unique(groups.begin(), groups.end()), groups.end());
  std::ostringstream out;
  for (std::size_t i = 0; i < groups.size(); ++i) out << (i ? "," : "") << groups[i];
  account.groups = out.str();
  return account;
}

// "uid=r,e,s gid=r,e,s groups=..." as DescribeIdentity writes it.
std::string Identity(uid_t ruid, uid_t euid, uid_t suid, gid_t rgid, gid_t egid, gid_t sgid,
                     const std::string &groups) {
  std::ostringstream out;
  out << "uid=" << ruid << ',' << euid << ',' << suid << " gid=" << rgid << ',' << egid << ','
      << sgid << " groups=" << groups;
  return out.str();
}

LogLine Failure(const std::string &text, int module) { return Line(text, 2, module); }

class Privilege : public ::testing::Test {
 protected:
  void SetUp() override {
    if (geteuid() != 0)
      GTEST_SKIP() << "switching identities needs root; run the suite as root to test it";
    if (getpwnam("nobody") == nullptr || getpwnam("daemon") == nullptr)
      GTEST_SKIP() << "the users nobody and daemon are needed";
    nobody_ = LookUp("nobody");
    daemon_ = LookUp("daemon");
    root_ = LookUp("root");
  }

  // The identity of a child after initPriv(0, "nobody"): only the effective ids moved.
  std::string EffectivelyNobody() const {
    return Identity(0, nobody_.uid, 0, 0, nobody_.gid, 0, nobody_.groups);
  }

  Account nobody_;
  Account daemon_;
  Account root_;
};

#define ASSERT_CHILD_OK(outcome) ASSERT_TRUE((outcome).exited_normally) << "the child failed"

// ---- initPriv ---------------------------------------------------------------------------------

TEST_F(Privilege, InitPrivSwitchesTheEffectiveUserAndGroups) {
  const ChildOutcome child = RunInChild([](ChildReport &report) {
    LogCapture log;
    report.set("result", initPriv(0, "nobody"));
    report.set_lines("log", log.lines());
    report.set("identity", DescribeIdentity());
  });
  ASSERT_CHILD_OK(child);
  EXPECT_EQ(child.report.number("result"), 0);
  EXPECT_EQ(child.report.value("identity"), EffectivelyNobody());
  EXPECT_THAT(child.report.lines("log"), ElementsAre(Enter("initPriv"), Exit("initPriv")));
}

TEST_F(Privilege, InitPrivWithBaseUidZeroBringsTheProcessBackToRoot) {
  const ChildOutcome child = RunInChild([](ChildReport &report) {
    report.set("first", initPriv(0, "nobody"));
    LogCapture log;
    report.set("second", initPriv(0, "root"));
    report.set_lines("log", log.lines());
    report.set("identity", DescribeIdentity());
  });
  ASSERT_CHILD_OK(child);
  EXPECT_EQ(child.report.number("first"), 0);
  EXPECT_EQ(child.report.number("second"), 0);
  EXPECT_EQ(child.report.value("identity"), Identity(0, 0, 0, 0, 0, 0, root_.groups));
  EXPECT_THAT(child.report.lines("log"), ElementsAre(Enter("initPriv"), Exit("initPriv")));
}

TEST_F(Privilege, InitPrivAfterInitPrivSwitchesToAnotherUser) {
  const ChildOutcome child = RunInChild([](ChildReport &report) {
    report.set("first", initPriv(0, "nobody"));
    LogCapture log;
    report.set("second", initPriv(0, "daemon"));
    report.set_lines("log", log.lines());
    report.set("identity", DescribeIdentity());
  });
  ASSERT_CHILD_OK(child);
  EXPECT_EQ(child.report.number("first"), 0);
  EXPECT_EQ(child.report.number("second"), 0);
  EXPECT_EQ(child.report.value("identity"),
            Identity(0, daemon_.uid, 0, 0, daemon_.gid, 0, daemon_.groups));
  EXPECT_THAT(child.report.lines("log"), ElementsAre(Enter("initPriv"), Exit("initPriv")));
}

TEST_F(Privilege, InitPrivWithAnUnknownUserFailsAfterReturningToBaseUid) {
  const ChildOutcome child = RunInChild([](ChildReport &report) {
    report.set("first", initPriv(0, "nobody"));
    LogCapture log;
    report.set("second", initPriv(0, kUnknownUser));
    report.set_lines("log", log.lines());
    report.set("identity", DescribeIdentity());
  });
  ASSERT_CHILD_OK(child);
  EXPECT_EQ(child.report.number("first"), 0);
  EXPECT_EQ(child.report.number("second"), 1);
  // Step 1 already ran: the effective uid is baseUid again; the groups are still nobody's.
  EXPECT_EQ(child.report.value("identity"),
            Identity(0, 0, 0, 0, nobody_.gid, 0, nobody_.groups));
  EXPECT_THAT(child.report.lines("log"),
              ElementsAre(Enter("initPriv"), Failure("getpwnam failed", 230), Exit("initPriv")));
}

TEST_F(Privilege, InitPrivWithoutAUserNameFailsLikeAnUnknownUser) {
  const ChildOutcome child = RunInChild([](ChildReport &report) {
    LogCapture log;
    report.set("result", initPriv(0, nullptr));
    report.set_lines("log", log.lines());
  });
  ASSERT_CHILD_OK(child);
  EXPECT_EQ(child.report.number("result"), 1);
  EXPECT_THAT(child.report.lines("log"),
              ElementsAre(Enter("initPriv"), Failure("getpwnam failed", 230), Exit("initPriv")));
}

// As nobody (euid only), with nobody as the base: the group of daemon may not be taken.
TEST_F(Privilege, InitPrivFailsWhenTheGroupMayNotBeChanged) {
  const uid_t base = nobody_.uid;
  const ChildOutcome child = RunInChild([base](ChildReport &report) {
    report.set("first", initPriv(0, "nobody"));
    LogCapture log;
    report.set("second", initPriv(base, "daemon"));
    report.set_lines("log", log.lines());
    report.set("identity", DescribeIdentity());
  });
  ASSERT_CHILD_OK(child);
  EXPECT_EQ(child.report.number("first"), 0);
  EXPECT_EQ(child.report.number("second"), 1);
  EXPECT_EQ(child.report.value("identity"), EffectivelyNobody());
  EXPECT_THAT(child.report.lines("log"),
              ElementsAre(Enter("initPriv"), Failure("setgid failed ", 230), Exit("initPriv")));
}

// As nobody with nobody as the base: the own group may be set again, the group list may not.
TEST_F(Privilege, InitPrivFailsWhenTheGroupListMayNotBeChanged) {
  const uid_t base = nobody_.uid;
  const ChildOutcome child = RunInChild([base](ChildReport &report) {
    report.set("first", initPriv(0, "nobody"));
    LogCapture log;
    report.set("second", initPriv(base, "nobody"));
    report.set_lines("log", log.lines());
    report.set("identity", DescribeIdentity());
  });
  ASSERT_CHILD_OK(child);
  EXPECT_EQ(child.report.number("first"), 0);
  EXPECT_EQ(child.report.number("second"), 1);
  EXPECT_EQ(child.report.value("identity"), EffectivelyNobody());
  EXPECT_THAT(child.report.lines("log"), ElementsAre(Enter("initPriv"),
                                                     Failure("initgroups failed ", 229),
                                                     Exit("initPriv")));
}

// Root without the right to change users: everything up to the last step succeeds, so the
// process keeps euid 0 with the user's groups and the new mask.
TEST_F(Privilege, InitPrivFailsWhenTheUserMayNotBeChanged) {
  const ChildOutcome child = RunInChild([](ChildReport &report) {
    report.set("dropped", DropEffectiveCapability(CAP_SETUID) ? 1 : 0);
    umask(0);
    LogCapture log;
    report.set("result", initPriv(0, "nobody"));
    report.set_lines("log", log.lines());
    report.set("identity", DescribeIdentity());
    report.set("umask", static_cast<long long>(umask(0)));
  });
  ASSERT_CHILD_OK(child);
  if (child.report.number("dropped") != 1) GTEST_SKIP() << "capabilities cannot be dropped here";
  EXPECT_EQ(child.report.number("result"), 1);
  EXPECT_EQ(child.report.value("identity"),
            Identity(0, 0, 0, 0, nobody_.gid, 0, nobody_.groups));
  EXPECT_EQ(child.report.number("umask"), 07);
  EXPECT_THAT(child.report.lines("log"), ElementsAre(Enter("initPriv"),
                                                     Failure("seteuid in main failed", 230),
                                                     Exit("initPriv")));
}

// ---- assignBasePriv ---------------------------------------------------------------------------

TEST_F(Privilege, AssignBasePrivSwitchesRealEffectiveAndSavedIdentity) {
  const ChildOutcome child = RunInChild([](ChildReport &report) {
    LogCapture log;
    report.set("result", assignBasePriv(0, "nobody"));
    report.set_lines("log", log.lines());
    report.set("identity", DescribeIdentity());
  });
  ASSERT_CHILD_OK(child);
  EXPECT_EQ(child.report.number("result"), 0);
  EXPECT_EQ(child.report.value("identity"),
            Identity(nobody_.uid, nobody_.uid, nobody_.uid, nobody_.gid, nobody_.gid,
                     nobody_.gid, nobody_.groups));
  EXPECT_THAT(child.report.lines("log"),
              ElementsAre(Enter("assignBasePriv"), Exit("assignBasePriv")));
}

TEST_F(Privilege, InitPrivAfterAssignBasePrivFailsAtTheFirstStep) {
  const ChildOutcome child = RunInChild([](ChildReport &report) {
    report.set("first", assignBasePriv(0, "nobody"));
    LogCapture log;
    report.set("second", initPriv(0, "root"));
    report.set_lines("log", log.lines());
    report.set("identity", DescribeIdentity());
  });
  ASSERT_CHILD_OK(child);
  EXPECT_EQ(child.report.number("first"), 0);
  EXPECT_EQ(child.report.number("second"), 1);
  EXPECT_EQ(child.report.value("identity"),
            Identity(nobody_.uid, nobody_.uid, nobody_.uid, nobody_.gid, nobody_.gid,
                     nobody_.gid, nobody_.groups));
  EXPECT_THAT(child.report.lines("log"), ElementsAre(Enter("initPriv"),
                                                     Failure("seteuid to root failed ", 229),
                                                     Exit("initPriv")));
}

TEST_F(Privilege, AssignBasePrivAfterAssignBasePrivFailsAtTheFirstStep) {
  const ChildOutcome child = RunInChild([](ChildReport &report) {
    report.set("first", assignBasePriv(0, "nobody"));
    LogCapture log;
    report.set("second", assignBasePriv(0, "daemon"));
    report.set_lines("log", log.lines());
  });
  ASSERT_CHILD_OK(child);
  EXPECT_EQ(child.report.number("first"), 0);
  EXPECT_EQ(child.report.number("second"), 1);
  EXPECT_THAT(child.report.lines("log"), ElementsAre(Enter("assignBasePriv"),
                                                     Failure("seteuid to root failed ", 229),
                                                     Exit("assignBasePriv")));
}

TEST_F(Privilege, AssignBasePrivAfterInitPrivSwitchesToAnotherUserForGood) {
  const ChildOutcome child = RunInChild([](ChildReport &report) {
    report.set("first", initPriv(0, "nobody"));
    report.set("second", assignBasePriv(0, "daemon"));
    report.set("identity", DescribeIdentity());
  });
  ASSERT_CHILD_OK(child);
  EXPECT_EQ(child.report.number("first"), 0);
  EXPECT_EQ(child.report.number("second"), 0);
  EXPECT_EQ(child.report.value("identity"),
            Identity(daemon_.uid, daemon_.uid, daemon_.uid, daemon_.gid, daemon_.gid,
                     daemon_.gid, daemon_.groups));
}

TEST_F(Privilege, AssignBasePrivWithAnUnknownUserFailsAfterReturningToBaseUid) {
  const ChildOutcome child = RunInChild([](ChildReport &report) {
    report.set("first", initPriv(0, "nobody"));
    LogCapture log;
    report.set("second", assignBasePriv(0, kUnknownUser));
    report.set_lines("log", log.lines());
    report.set("identity", DescribeIdentity());
  });
  ASSERT_CHILD_OK(child);
  EXPECT_EQ(child.report.number("first"), 0);
  EXPECT_EQ(child.report.number("second"), 1);
  EXPECT_EQ(child.report.value("identity"),
            Identity(0, 0, 0, 0, nobody_.gid, 0, nobody_.groups));
  EXPECT_THAT(child.report.lines("log"), ElementsAre(Enter("assignBasePriv"),
                                                     Failure("getpwnam failed", 230),
                                                     Exit("assignBasePriv")));
}

// As nobody (euid only) with nobody as the base: real, effective and saved group may not all
// become daemon's.
TEST_F(Privilege, AssignBasePrivFailsWhenTheGroupMayNotBeChanged) {
  const uid_t base = nobody_.uid;
  const ChildOutcome child = RunInChild([base](ChildReport &report) {
    report.set("first", initPriv(0, "nobody"));
    LogCapture log;
    report.set("second", assignBasePriv(base, "daemon"));
    report.set_lines("log", log.lines());
    report.set("identity", DescribeIdentity());
  });
  ASSERT_CHILD_OK(child);
  EXPECT_EQ(child.report.number("second"), 1);
  EXPECT_EQ(child.report.value("identity"), EffectivelyNobody());
  EXPECT_THAT(child.report.lines("log"), ElementsAre(Enter("assignBasePriv"),
                                                     Failure("setgid failed ", 230),
                                                     Exit("assignBasePriv")));
}

// The effective group already is nobody's, so all three may become it; the group list may not
// change.
TEST_F(Privilege, AssignBasePrivFailsWhenTheGroupListMayNotBeChanged) {
  const uid_t base = nobody_.uid;
  const ChildOutcome child = RunInChild([base](ChildReport &report) {
    report.set("first", initPriv(0, "nobody"));
    LogCapture log;
    report.set("second", assignBasePriv(base, "nobody"));
    report.set_lines("log", log.lines());
    report.set("identity", DescribeIdentity());
  });
  ASSERT_CHILD_OK(child);
  EXPECT_EQ(child.report.number("second"), 1);
  // The group change of step 3 stays in place.
  EXPECT_EQ(child.report.value("identity"),
            Identity(0, nobody_.uid, 0, nobody_.gid, nobody_.gid, nobody_.gid, nobody_.groups));
  EXPECT_THAT(child.report.lines("log"), ElementsAre(Enter("assignBasePriv"),
                                                     Failure("initgroups failed ", 229),
                                                     Exit("assignBasePriv")));
}

TEST_F(Privilege, AssignBasePrivFailsWhenTheUserMayNotBeChanged) {
  const ChildOutcome child = RunInChild([](ChildReport &report) {
    report.set("dropped", DropEffectiveCapability(CAP_SETUID) ? 1 : 0);
    LogCapture log;
    report.set("result", assignBasePriv(0, "nobody"));
    report.set_lines("log", log.lines());
    report.set("identity", DescribeIdentity());
  });
  ASSERT_CHILD_OK(child);
  if (child.report.number("dropped") != 1) GTEST_SKIP() << "capabilities cannot be dropped here";
  EXPECT_EQ(child.report.number("result"), 1);
  EXPECT_EQ(child.report.value("identity"),
            Identity(0, 0, 0, nobody_.gid, nobody_.gid, nobody_.gid, nobody_.groups));
  EXPECT_THAT(child.report.lines("log"), ElementsAre(Enter("assignBasePriv"),
                                                     Failure("seteuid in main failed", 230),
                                                     Exit("assignBasePriv")));
}

// ---- the file creation mask ---------------------------------------------------------------------

// A directory everybody may write in, removed at the end of the scope.
class SharedDir {
 public:
  SharedDir() {
    char pattern[] = "/tmp/cmpiu-privilege-XXXXXX";
    if (mkdtemp(pattern) == nullptr) ADD_FAILURE() << "mkdtemp failed";
    path_ = pattern;
    chmod(path_.c_str(), 0777);
  }
  ~SharedDir() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  const std::string &path() const { return path_; }

 private:
  std::string path_;
};

// Switches with `switch_user`, then creates `file` asking for mode 0666, in a child whose own
// mask was 0 before; reports the mask then in force and the file's mode and owner.
ChildOutcome CreateFileAfterSwitching(int (*switch_user)(uid_t, const char *),
                                      const std::string &file) {
  return RunInChild([switch_user, &file](ChildReport &report) {
    umask(0);
    report.set("result", switch_user(0, "nobody"));
    const mode_t mask = umask(0);
    umask(mask);
    report.set("umask", static_cast<long long>(mask));
    const int fd = open(file.c_str(), O_WRONLY | O_CREAT | O_EXCL, 0666);
    report.set("open", fd >= 0 ? 1 : 0);
    struct stat st {};
    if (fd >= 0 && fstat(fd, &st) == 0) {
      report.set("mode", static_cast<long long>(st.st_mode & 07777));
      report.set("owner", static_cast<long long>(st.st_uid));
    }
    if (fd >= 0) close(fd);
  });
}

TEST_F(Privilege, AfterInitPrivNewFilesHaveNoPermissionsForOthers) {
  SharedDir dir;
  const ChildOutcome child = CreateFileAfterSwitching(initPriv, dir.path() + "/made-by-nobody");
  ASSERT_CHILD_OK(child);
  EXPECT_EQ(child.report.number("result"), 0);
  EXPECT_EQ(child.report.number("umask"), 07);
  ASSERT_EQ(child.report.number("open"), 1);
  EXPECT_EQ(child.report.number("mode"), 0660);
  EXPECT_EQ(child.report.number("owner"), static_cast<long long>(nobody_.uid));
}

TEST_F(Privilege, AfterAssignBasePrivNewFilesHaveNoPermissionsForOthers) {
  SharedDir dir;
  const ChildOutcome child =
      CreateFileAfterSwitching(assignBasePriv, dir.path() + "/made-by-nobody");
  ASSERT_CHILD_OK(child);
  EXPECT_EQ(child.report.number("result"), 0);
  EXPECT_EQ(child.report.number("umask"), 07);
  ASSERT_EQ(child.report.number("open"), 1);
  EXPECT_EQ(child.report.number("mode"), 0660);
  EXPECT_EQ(child.report.number("owner"), static_cast<long long>(nobody_.uid));
}

// ---- the helpers of this file -------------------------------------------------------------------

TEST(ChildReport, CarriesValuesAndLinesThroughItsTextForm) {
  ChildReport report;
  report.set("n", 42);
  report.set("s", "uid=0,0,0 gid=1 groups=");
  report.set_lines("log", {Line("seteuid to root failed ", 2, 229), Enter("initPriv")});
  const ChildReport back = ChildReport::parse(report.serialize());
  EXPECT_EQ(back.number("n"), 42);
  EXPECT_EQ(back.value("s"), "uid=0,0,0 gid=1 groups=");
  EXPECT_THAT(back.lines("log"),
              ElementsAre(Line("seteuid to root failed ", 2, 229), Enter("initPriv")));
}

TEST(ChildReport, ChildThatDoesNotFinishIsReported) {
  const ChildOutcome child = RunInChild([](ChildReport &) { _exit(5); });
  EXPECT_FALSE(child.exited_normally);
}

}  // namespace
