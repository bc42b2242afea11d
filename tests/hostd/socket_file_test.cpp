// Tests of the socket file: the directory check, the mode and group given at creation, and
// links planted at the socket's name, which must never be followed.
#include "socket_file.h"

#include <fcntl.h>
#include <grp.h>
#include <pwd.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>

#include "temp_dir.h"

namespace hostd {
namespace {

using hostdtest::lstat_of;
using hostdtest::read_file;
using hostdtest::TempDir;
using hostdtest::write_file;

gid_t nobody_gid() {
  const struct passwd *pw = getpwnam("nobody");
  return pw != nullptr ? pw->pw_gid : static_cast<gid_t>(-1);
}

std::string nobody_group() {
  const struct group *gr = getgrgid(nobody_gid());
  return gr != nullptr ? gr->gr_name : "";
}

bool connects(const std::string &path) {
  int fd = socket(AF_UNIX, SOCK_STREAM, 0);
  struct sockaddr_un addr;
  std::memset(&addr, 0, sizeof addr);
  addr.sun_family = AF_UNIX;
  std::strncpy(addr.sun_path, path.c_str(), sizeof addr.sun_path - 1);
  bool ok = connect(fd, reinterpret_cast<struct sockaddr *>(&addr), sizeof addr) == 0;
  close(fd);
  return ok;
}

TEST(SocketPath, IsSplitIntoDirectoryAndName) {
  EXPECT_EQ(directory_of("/run/cmpi-hostd.sock"), "/run");
  EXPECT_EQ(name_of("/run/cmpi-hostd.sock"), "cmpi-hostd.sock");
  EXPECT_EQ(directory_of("/hostd.sock"), "/");
  EXPECT_EQ(name_of("/hostd.sock"), "hostd.sock");
  EXPECT_EQ(directory_of("hostd.sock"), ".");
  EXPECT_EQ(name_of("hostd.sock"), "hostd.sock");
}

TEST(SocketDirectory, AnOpenNonStickyDirectoryIsRefused) {
  TempDir dir(0777);
  std::string error;
  EXPECT_FALSE(check_socket_directory(dir.path(), &error));
  EXPECT_EQ(error, "the socket's directory " + dir.path() +
                       " is writable by others and not sticky; refusing to start");
}

TEST(SocketDirectory, AGroupWritableNonStickyDirectoryIsRefused) {
  TempDir dir(0775);
  std::string error;
  EXPECT_FALSE(check_socket_directory(dir.path(), &error));
  EXPECT_EQ(error, "the socket's directory " + dir.path() +
                       " is writable by others and not sticky; refusing to start");
}

TEST(SocketDirectory, APrivateOrStickyDirectoryIsAccepted) {
  for (mode_t mode : {0700, 0755, 01777, 01775}) {
    TempDir dir(mode);
    std::string error;
    EXPECT_TRUE(check_socket_directory(dir.path(), &error)) << std::oct << mode << ": " << error;
    EXPECT_EQ(error, "");
  }
}

TEST(SocketDirectory, ADirectoryOfAnotherUserIsRefused) {
  if (geteuid() != 0) GTEST_SKIP() << "needs root";
  const struct passwd *pw = getpwnam("nobody");
  ASSERT_NE(pw, nullptr);
  TempDir dir(0755);
  ASSERT_EQ(chown(dir.path().c_str(), pw->pw_uid, pw->pw_gid), 0);
  std::string error;
  EXPECT_FALSE(check_socket_directory(dir.path(), &error));
  EXPECT_EQ(error, "the socket's directory " + dir.path() + " belongs to uid " +
                       std::to_string(pw->pw_uid) + ", neither root nor uid 0; refusing to start");
}

TEST(SocketDirectory, AMissingDirectoryIsNamed) {
  TempDir dir;
  std::string error;
  EXPECT_FALSE(check_socket_directory(dir / "gone", &error));
  EXPECT_EQ(error,
            "cannot use the socket's directory " + (dir / "gone") + ": No such file or directory");
}

TEST(ListeningSocket, ComesIntoBeingWithItsModeWhateverTheUmask) {
  TempDir dir;
  const std::string path = dir / "hostd.sock";
  const mode_t before = umask(077);
  SockInfo server;
  std::string error;
  ASSERT_TRUE(open_listening_socket(path, 0666, "", &server, &error)) << error;
  EXPECT_EQ(umask(before), 077u);  // given back
  struct stat st = lstat_of(path);
  EXPECT_TRUE(S_ISSOCK(st.st_mode));
  EXPECT_EQ(st.st_mode & 07777, 0666u);
  EXPECT_EQ(st.st_uid, geteuid());
  EXPECT_EQ(socket_file_inode(path), st.st_ino);
  EXPECT_TRUE(connects(path));
  serverSockclose(&server);
  remove_socket_file(path, st.st_ino);
  EXPECT_EQ(lstat_of(path).st_mode, 0u);
}

TEST(ListeningSocket, GetsTheWantedGroup) {
  if (geteuid() != 0) GTEST_SKIP() << "needs root";
  ASSERT_NE(nobody_group(), "");
  TempDir dir;
  const std::string path = dir / "hostd.sock";
  SockInfo server;
  std::string error;
  ASSERT_TRUE(open_listening_socket(path, 0660, nobody_group(), &server, &error)) << error;
  struct stat st = lstat_of(path);
  EXPECT_TRUE(S_ISSOCK(st.st_mode));
  EXPECT_EQ(st.st_mode & 07777, 0660u);
  EXPECT_EQ(st.st_gid, nobody_gid());
  serverSockclose(&server);
  remove_socket_file(path, st.st_ino);
}

TEST(ListeningSocket, IsNotMadeInADirectoryOthersMayWrite) {
  TempDir dir(0777);
  const std::string path = dir / "hostd.sock";
  SockInfo server;
  std::string error;
  EXPECT_FALSE(open_listening_socket(path, 0660, "", &server, &error));
  EXPECT_EQ(error, "the socket's directory " + dir.path() +
                       " is writable by others and not sticky; refusing to start");
  EXPECT_EQ(lstat_of(path).st_mode, 0u);
}

TEST(ListeningSocket, ALinkPlantedAtTheNameIsLeftAloneAndItsTargetUntouched) {
  TempDir dir;
  TempDir elsewhere;
  const std::string precious = elsewhere / "precious";
  write_file(precious, "secret", 0600);
  const struct stat before = lstat_of(precious);
  const std::string path = dir / "hostd.sock";
  ASSERT_EQ(symlink(precious.c_str(), path.c_str()), 0);
  SockInfo server;
  std::string error;
  EXPECT_FALSE(open_listening_socket(path, 0666, "", &server, &error));
  EXPECT_EQ(error, path + " exists and is not a socket; it is left alone");
  const struct stat after = lstat_of(precious);
  EXPECT_EQ(after.st_mode, before.st_mode);
  EXPECT_EQ(after.st_uid, before.st_uid);
  EXPECT_EQ(after.st_gid, before.st_gid);
  EXPECT_EQ(read_file(precious), "secret");
  EXPECT_TRUE(S_ISLNK(lstat_of(path).st_mode));
}

// What the daemon does after its bind, with a link planted at the name in between: the link's
// target keeps its group and mode, and the check afterwards fails.
TEST(ListeningSocket, ALinkPlantedAfterTheBindIsNeverFollowed) {
  TempDir dir;
  TempDir elsewhere;
  const std::string precious = elsewhere / "precious";
  write_file(precious, "secret", 0600);
  const struct stat before = lstat_of(precious);
  const std::string path = dir / "hostd.sock";
  ASSERT_EQ(symlink(precious.c_str(), path.c_str()), 0);
  const int dir_fd = open(dir.path().c_str(), O_RDONLY | O_DIRECTORY);
  ASSERT_GE(dir_fd, 0);
  std::string error;
  if (geteuid() == 0) {
    EXPECT_TRUE(set_socket_group(dir_fd, "hostd.sock", nobody_gid(), &error)) << error;
    EXPECT_EQ(lstat_of(path).st_gid, nobody_gid());  // the link itself
  }
  EXPECT_FALSE(
      verify_socket_file(dir_fd, "hostd.sock", path, 0666, static_cast<gid_t>(-1), &error));
  EXPECT_EQ(error, path + " is no longer the socket that was made; refusing to start");
  close(dir_fd);
  const struct stat after = lstat_of(precious);
  EXPECT_EQ(after.st_mode, before.st_mode);
  EXPECT_EQ(after.st_uid, before.st_uid);
  EXPECT_EQ(after.st_gid, before.st_gid);
  EXPECT_EQ(read_file(precious), "secret");
}

TEST(ListeningSocket, TheCheckAfterCreationWantsTheModeAndGroup) {
  TempDir dir;
  const std::string path = dir / "hostd.sock";
  SockInfo server;
  std::string error;
  ASSERT_TRUE(open_listening_socket(path, 0600, "", &server, &error)) << error;
  const int dir_fd = open(dir.path().c_str(), O_RDONLY | O_DIRECTORY);
  EXPECT_TRUE(verify_socket_file(dir_fd, "hostd.sock", path, 0600, getegid(), &error)) << error;
  EXPECT_FALSE(verify_socket_file(dir_fd, "hostd.sock", path, 0660, getegid(), &error));
  EXPECT_EQ(error, path +
                       " has the mode 0600, not 0660 (does its directory have a default "
                       "ACL?); refusing to start");
  EXPECT_FALSE(verify_socket_file(dir_fd, "hostd.sock", path, 0600, getegid() + 1, &error));
  EXPECT_EQ(error, path + " has the group " + std::to_string(getegid()) + ", not " +
                       std::to_string(getegid() + 1) + "; refusing to start");
  EXPECT_FALSE(
      verify_socket_file(dir_fd, "missing.sock", dir / "missing.sock", 0600, getegid(), &error));
  EXPECT_EQ(error, (dir / "missing.sock") +
                       " is gone after it was made: No such file or "
                       "directory");
  close(dir_fd);
  serverSockclose(&server);
  remove_socket_file(path, socket_file_inode(path));
}

TEST(ListeningSocket, AStaleSocketIsReplacedButALiveOneIsNot) {
  TempDir dir;
  const std::string path = dir / "hostd.sock";
  SockInfo first;
  std::string error;
  ASSERT_TRUE(open_listening_socket(path, 0600, "", &first, &error)) << error;
  SockInfo second;
  EXPECT_FALSE(open_listening_socket(path, 0600, "", &second, &error));
  EXPECT_EQ(error, "another process already serves " + path);
  serverSockclose(&first);  // the file stays, nobody answers on it
  ASSERT_TRUE(open_listening_socket(path, 0640, "", &second, &error)) << error;
  EXPECT_EQ(lstat_of(path).st_mode & 07777, 0640u);
  serverSockclose(&second);
  remove_socket_file(path, socket_file_inode(path));
}

TEST(ListeningSocket, AnUnknownGroupIsNamed) {
  TempDir dir;
  SockInfo server;
  std::string error;
  EXPECT_FALSE(open_listening_socket(dir / "hostd.sock", 0660, "no_such_group_x", &server, &error));
  EXPECT_EQ(error, "--group: no local group 'no_such_group_x'");
}

}  // namespace
}  // namespace hostd
