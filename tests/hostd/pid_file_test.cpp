// Tests of the pid file: written through a new file of its own and renamed into place, never
// through a link planted at the pid file's name or at a temporary name.
#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

#include <set>

#include "daemonize.h"
#include "temp_dir.h"

namespace hostd {
namespace {

using hostdtest::lstat_of;
using hostdtest::read_file;
using hostdtest::TempDir;
using hostdtest::write_file;

std::set<std::string> names_in(const std::string &dir) {
  std::set<std::string> names;
  if (DIR *d = opendir(dir.c_str())) {
    while (struct dirent *e = readdir(d)) {
      std::string name = e->d_name;
      if (name != "." && name != "..") names.insert(name);
    }
    closedir(d);
  }
  return names;
}

TEST(PidFile, HoldsThePidWithMode0644WhateverTheUmask) {
  TempDir dir;
  const mode_t before = umask(077);
  std::string error;
  EXPECT_TRUE(write_pid_file(dir / "hostd.pid", 4242, &error)) << error;
  umask(before);
  EXPECT_EQ(read_file(dir / "hostd.pid"), "4242\n");
  const struct stat st = lstat_of(dir / "hostd.pid");
  EXPECT_TRUE(S_ISREG(st.st_mode));
  EXPECT_EQ(st.st_mode & 07777, 0644u);
  EXPECT_EQ(names_in(dir.path()), std::set<std::string>{"hostd.pid"});
}

TEST(PidFile, AnOldPidFileIsReplaced) {
  TempDir dir;
  write_file(dir / "hostd.pid", "17\n", 0644);
  const ino_t old_inode = lstat_of(dir / "hostd.pid").st_ino;
  std::string error;
  EXPECT_TRUE(write_pid_file(dir / "hostd.pid", 99, &error)) << error;
  EXPECT_EQ(read_file(dir / "hostd.pid"), "99\n");
  EXPECT_NE(lstat_of(dir / "hostd.pid").st_ino, old_inode);  // a new file, renamed into place
}

TEST(PidFile, ALinkAtThePidFilesNameIsRefusedAndItsTargetUntouched) {
  TempDir dir;
  TempDir elsewhere;
  const std::string precious = elsewhere / "precious";
  write_file(precious, "secret", 0600);
  ASSERT_EQ(symlink(precious.c_str(), (dir / "hostd.pid").c_str()), 0);
  std::string error;
  EXPECT_FALSE(write_pid_file(dir / "hostd.pid", 4242, &error));
  EXPECT_EQ(error,
            "the pid file " + (dir / "hostd.pid") + " is a symbolic link; it is not followed");
  EXPECT_EQ(read_file(precious), "secret");
  EXPECT_EQ(lstat_of(precious).st_mode & 07777, 0600u);
  EXPECT_TRUE(S_ISLNK(lstat_of(dir / "hostd.pid").st_mode));
  EXPECT_EQ(names_in(dir.path()), std::set<std::string>{"hostd.pid"});
}

TEST(PidFile, ALinkAtTheOldTemporaryNameIsNotFollowed) {
  TempDir dir;
  TempDir elsewhere;
  const std::string precious = elsewhere / "precious";
  write_file(precious, "secret", 0600);
  ASSERT_EQ(symlink(precious.c_str(), (dir / "hostd.pid.tmp").c_str()), 0);
  std::string error;
  EXPECT_TRUE(write_pid_file(dir / "hostd.pid", 4242, &error)) << error;
  EXPECT_EQ(read_file(dir / "hostd.pid"), "4242\n");
  EXPECT_EQ(read_file(precious), "secret");
  EXPECT_EQ(lstat_of(precious).st_mode & 07777, 0600u);
  EXPECT_EQ(names_in(dir.path()), (std::set<std::string>{"hostd.pid", "hostd.pid.tmp"}));
}

TEST(PidFile, AnythingButARegularFileIsLeftAlone) {
  TempDir dir;
  ASSERT_EQ(mkdir((dir / "hostd.pid").c_str(), 0755), 0);
  std::string error;
  EXPECT_FALSE(write_pid_file(dir / "hostd.pid", 4242, &error));
  EXPECT_EQ(error, "the pid file " + (dir / "hostd.pid") +
                       " exists and is not a regular file; it is left alone");
  EXPECT_EQ(names_in(dir.path()), std::set<std::string>{"hostd.pid"});
}

TEST(PidFile, AMissingDirectoryIsReported) {
  TempDir dir;
  std::string error;
  EXPECT_FALSE(write_pid_file(dir / "gone/hostd.pid", 4242, &error));
  EXPECT_EQ(error.rfind("cannot write " + (dir / "gone/hostd.pid") + ".tmp.", 0), 0u) << error;
  EXPECT_NE(error.find(": No such file or directory"), std::string::npos) << error;
}

}  // namespace
}  // namespace hostd
