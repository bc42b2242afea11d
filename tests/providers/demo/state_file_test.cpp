// The demo state file cannot be taken over or redirected: a link at its name is never
// followed, a file or directory of another user is not used, a directory others may write to
// is not used, and the state set up by root serves other users for reading.
#include <gtest/gtest.h>
#include <pwd.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>

#include "demo_host.h"

namespace {

using namespace demotest;

std::string Contents(const std::string &path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream text;
  text << in.rdbuf();
  return text.str();
}

struct stat LstatOf(const std::string &path) {
  struct stat st;
  if (lstat(path.c_str(), &st) != 0) st = {};
  return st;
}

int Wait(pid_t pid) {
  int status = 0;
  if (waitpid(pid, &status, 0) != pid || !WIFEXITED(status)) return -1;
  return WEXITSTATUS(status);
}

const passwd *Nobody() { return getpwnam("nobody"); }

class StateFileTest : public DemoTest {
 protected:
  // A GetInstance of fan0.
  Answer GetFan() {
    Owned<CMPIObjectPath> op(FanPath("fan0"));
    return provider_.getInstance(op.get());
  }
  // A CreateInstance of a new chassis.
  Answer CreateChassis(const char *tag) {
    Owned<CMPIObjectPath> op(ChassisPath(tag));
    Owned<CMPIInstance> inst(makeNewCMPIInstance(op.get(), nullptr));
    CMSetProperty(inst.get(), "Tag", tag, CMPI_chars);
    return provider_.createInstance(op.get(), inst.get());
  }
  // Expects every kind of request to fail with rc and message.
  void ExpectRefused(CMPIrc rc, const std::string &message) {
    Answer get = GetFan();
    EXPECT_EQ(get.rc, rc);
    EXPECT_EQ(get.message, message);
    EXPECT_FALSE(get.finished);
    Answer create = CreateChassis("chassis9");
    EXPECT_EQ(create.rc, rc);
    EXPECT_EQ(create.message, message);
  }
  // Runs body as nobody in a child; its exit status (0 for success).
  template <typename Body>
  int AsNobody(Body body) {
    const passwd *nobody = Nobody();
    const pid_t pid = fork();
    if (pid == 0) {
      if (setegid(nobody->pw_gid) != 0 || seteuid(nobody->pw_uid) != 0) _exit(100);
      _exit(body());
    }
    return Wait(pid);
  }
  // A file an attacker wants written: mode 0600, "precious".
  std::string Precious(const std::string &path) {
    { std::ofstream(path) << "precious"; }
    chmod(path.c_str(), 0600);
    return path;
  }
  void ExpectPrecious(const std::string &path) {
    EXPECT_EQ(Contents(path), "precious");
    EXPECT_EQ(LstatOf(path).st_mode & 07777, 0600u);
    EXPECT_EQ(LstatOf(path).st_nlink, 1u);
  }
};

TEST_F(StateFileTest, ALinkPlantedAtTheStatePathIsNotFollowed) {
  char pattern[] = "/tmp/demo-elsewhere-XXXXXX";
  ASSERT_NE(mkdtemp(pattern), nullptr);
  const std::string elsewhere = pattern;
  const std::string target = Precious(elsewhere + "/precious");
  ASSERT_EQ(symlink(target.c_str(), state_.path().c_str()), 0);
  ExpectRefused(CMPI_RC_ERR_FAILED,
                "the demo state " + state_.path() + " is a symbolic link; it is not followed");
  ExpectPrecious(target);
  EXPECT_TRUE(S_ISLNK(LstatOf(state_.path()).st_mode));
  unlink(target.c_str());
  rmdir(elsewhere.c_str());
}

TEST_F(StateFileTest, ADanglingLinkDoesNotMakeItsTarget) {
  const std::string target = state_.directory() + "/made-through-the-link.db";
  ASSERT_EQ(symlink(target.c_str(), state_.path().c_str()), 0);
  ExpectRefused(CMPI_RC_ERR_FAILED,
                "the demo state " + state_.path() + " is a symbolic link; it is not followed");
  EXPECT_NE(access(target.c_str(), F_OK), 0);
}

TEST_F(StateFileTest, AHardLinkIsNotUsed) {
  const std::string target = Precious(state_.directory() + "/precious");
  ASSERT_EQ(link(target.c_str(), state_.path().c_str()), 0);
  ExpectRefused(CMPI_RC_ERR_FAILED,
                "the demo state " + state_.path() + " has 2 links; it is not used");
  EXPECT_EQ(Contents(target), "precious");
}

TEST_F(StateFileTest, APipeIsNotUsedAndDoesNotBlock) {
  ASSERT_EQ(mkfifo(state_.path().c_str(), 0644), 0);
  ExpectRefused(CMPI_RC_ERR_FAILED,
                "the demo state " + state_.path() + " is not a regular file; it is not used");
}

TEST_F(StateFileTest, AFileOfAnotherUserIsNotUsed) {
  if (geteuid() != 0 || Nobody() == nullptr) GTEST_SKIP() << "needs root and the user nobody";
  // Planted by nobody before the set-up (or handed over afterwards): the same refusal.
  { std::ofstream(state_.path()) << ""; }
  ASSERT_EQ(chown(state_.path().c_str(), Nobody()->pw_uid, Nobody()->pw_gid), 0);
  ExpectRefused(CMPI_RC_ERR_FAILED, "the demo state " + state_.path() + " belongs to uid " +
                                        std::to_string(Nobody()->pw_uid) +
                                        ", neither root nor uid 0; it is not used");
  EXPECT_EQ(LstatOf(state_.path()).st_size, 0);  // not seeded
}

TEST_F(StateFileTest, ADirectoryOthersMayWriteIsNotUsedStickyOrNot) {
  for (mode_t mode : {0777, 01777, 0775}) {
    ASSERT_EQ(chmod(state_.directory().c_str(), mode), 0);
    ExpectRefused(CMPI_RC_ERR_FAILED, "the demo state directory " + state_.directory() +
                                          " is writable by others; the state is not kept there");
    EXPECT_NE(access(state_.path().c_str(), F_OK), 0) << std::oct << mode;
  }
  // Nor is a state made before the directory was opened up.
  ASSERT_EQ(chmod(state_.directory().c_str(), 0700), 0);
  ASSERT_EQ(GetFan().rc, CMPI_RC_OK);
  ASSERT_EQ(chmod(state_.directory().c_str(), 0777), 0);
  ExpectRefused(CMPI_RC_ERR_FAILED, "the demo state directory " + state_.directory() +
                                        " is writable by others; the state is not kept there");
}

TEST_F(StateFileTest, ADirectoryOfAnotherUserIsNotUsed) {
  if (geteuid() != 0 || Nobody() == nullptr) GTEST_SKIP() << "needs root and the user nobody";
  ASSERT_EQ(chown(state_.directory().c_str(), Nobody()->pw_uid, Nobody()->pw_gid), 0);
  ExpectRefused(CMPI_RC_ERR_FAILED, "the demo state directory " + state_.directory() +
                                        " belongs to uid " + std::to_string(Nobody()->pw_uid) +
                                        ", neither root nor uid 0; the state is not kept there");
  EXPECT_NE(access(state_.path().c_str(), F_OK), 0);
}

TEST_F(StateFileTest, TheSetUpMakesAFileReadableByAllWhateverTheUmask) {
  const mode_t before = umask(077);
  Answer a = GetFan();
  umask(before);
  EXPECT_EQ(a.rc, CMPI_RC_OK);
  const struct stat st = LstatOf(state_.path());
  EXPECT_TRUE(S_ISREG(st.st_mode));
  EXPECT_EQ(st.st_mode & 07777, 0644u);
  EXPECT_EQ(st.st_uid, geteuid());
}

TEST_F(StateFileTest, TheStateSetUpByRootServesNobodyForReadingOnly) {
  if (geteuid() != 0 || Nobody() == nullptr) GTEST_SKIP() << "needs root and the user nobody";
  ASSERT_EQ(chmod(state_.directory().c_str(), 0755), 0);
  ASSERT_EQ(GetFan().rc, CMPI_RC_OK);  // the set-up, by root
  const std::string uid = std::to_string(Nobody()->pw_uid);
  EXPECT_EQ(AsNobody([&] {
              Answer a = GetFan();
              if (a.rc != CMPI_RC_OK || a.size() != 1) return 1;
              if (Text(a.instance(0), "EffectiveUserID") != uid) return 2;
              Answer b = CreateChassis("chassis9");
              if (b.rc != CMPI_RC_ERR_ACCESS_DENIED) return 3;
              if (b.message !=
                  "the demo state cannot be changed: attempt to write a readonly "
                  "database") {
                fprintf(stderr, "unexpected message: %s\n", b.message.c_str());
                return 4;
              }
              return 0;
            }),
            0);
  EXPECT_EQ(LstatOf(state_.path()).st_uid, 0u);
}

TEST_F(StateFileTest, NobodyCannotSetTheStateUpInRootsDirectory) {
  if (geteuid() != 0 || Nobody() == nullptr) GTEST_SKIP() << "needs root and the user nobody";
  ASSERT_EQ(chmod(state_.directory().c_str(), 0755), 0);
  const std::string expected =
      "the demo state " + state_.path() + " cannot be opened: Permission denied";
  EXPECT_EQ(AsNobody([&] {
              Answer a = GetFan();
              if (a.rc != CMPI_RC_ERR_ACCESS_DENIED) return 1;
              if (a.message != expected) {
                fprintf(stderr, "unexpected message: %s\n", a.message.c_str());
                return 2;
              }
              return 0;
            }),
            0);
  EXPECT_NE(access(state_.path().c_str(), F_OK), 0);
}

TEST_F(StateFileTest, AUserMayKeepTheStateInADirectoryOfItsOwn) {
  if (geteuid() != 0 || Nobody() == nullptr) GTEST_SKIP() << "needs root and the user nobody";
  ASSERT_EQ(chmod(state_.directory().c_str(), 0755), 0);
  const std::string own = state_.directory() + "/nobody";
  ASSERT_EQ(mkdir(own.c_str(), 0755), 0);
  ASSERT_EQ(chown(own.c_str(), Nobody()->pw_uid, Nobody()->pw_gid), 0);
  state_.point_at(own + "/state.db");
  EXPECT_EQ(AsNobody([&] {
              if (GetFan().rc != CMPI_RC_OK) return 1;
              if (CreateChassis("chassis9").rc != CMPI_RC_OK) return 2;
              return 0;
            }),
            0);
  EXPECT_EQ(LstatOf(own + "/state.db").st_uid, Nobody()->pw_uid);
  // Root does not use a state that nobody could swap.
  ExpectRefused(CMPI_RC_ERR_FAILED, "the demo state directory " + own + " belongs to uid " +
                                        std::to_string(Nobody()->pw_uid) +
                                        ", neither root nor uid 0; the state is not kept there");
}

}  // namespace
