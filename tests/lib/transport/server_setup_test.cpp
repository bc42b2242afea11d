// createServersock and blockServersock on real socket files.
#include <cmpiutility/transport.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <string>
#include <vector>

#include "log_capture.h"
#include "socket_helpers.h"

namespace {

using namespace cmpitest;
using ::testing::ElementsAre;

class ServerSetup : public TransportTest {
 protected:
  TempDir dir_;
};

TEST_F(ServerSetup, CreateServersockListensNonBlockingOnTheSocketFile) {
  const std::string path = dir_.file("host.sock");
  SockInfo info = BlankInfo();
  LogCapture log;
  EXPECT_EQ(createServersock(&info, path.c_str()), 0u);
  EXPECT_THAT(log.lines(), ElementsAre(Enter("createServersock"), Exit("createServersock")));
  ASSERT_GE(info.fd, 0);
  EXPECT_TRUE(IsNonBlocking(info.fd));
  EXPECT_TRUE(IsSocketFile(path));
  EXPECT_EQ(info.addr.sun_family, AF_UNIX);
  EXPECT_EQ(std::string(info.addr.sun_path), path);
  int listening = 0;
  socklen_t size = sizeof(listening);
  ASSERT_EQ(getsockopt(info.fd, SOL_SOCKET, SO_ACCEPTCONN, &listening, &size), 0);
  EXPECT_EQ(listening, 1);
  serverSockclose(&info);
}

TEST_F(ServerSetup, BlockServersockListensWithABlockingSocket) {
  const std::string path = dir_.file("host.sock");
  SockInfo info = BlankInfo();
  LogCapture log;
  EXPECT_EQ(blockServersock(&info, path.c_str()), 0u);
  EXPECT_THAT(log.lines(), ElementsAre(Enter("blockServersock"), Exit("blockServersock")));
  ASSERT_GE(info.fd, 0);
  EXPECT_FALSE(IsNonBlocking(info.fd));
  EXPECT_TRUE(IsSocketFile(path));
  serverSockclose(&info);
}

TEST_F(ServerSetup, ServerSockcloseClosesButLeavesTheSocketFile) {
  const std::string path = dir_.file("host.sock");
  SockInfo info = BlankInfo();
  ASSERT_EQ(blockServersock(&info, path.c_str()), 0u);
  const int fd = info.fd;
  LogCapture log;
  serverSockclose(&info);
  EXPECT_THAT(log.lines(), ElementsAre(Enter("serverSockclose"), Exit("serverSockclose")));
  EXPECT_EQ(info.fd, -1);
  EXPECT_EQ(fcntl(fd, F_GETFD), -1);  // the descriptor is gone
  EXPECT_TRUE(IsSocketFile(path));    // removed only by the next set-up
}

TEST_F(ServerSetup, StaleFileAtThePathIsRemovedFirst) {
  const std::string path = dir_.file("host.sock");
  std::FILE *stale = std::fopen(path.c_str(), "w");
  ASSERT_NE(stale, nullptr);
  std::fclose(stale);
  ASSERT_FALSE(IsSocketFile(path));
  SockInfo info = BlankInfo();
  LogCapture log;
  EXPECT_EQ(createServersock(&info, path.c_str()), 0u);
  EXPECT_THAT(log.lines(), ElementsAre(Enter("createServersock"), Exit("createServersock")));
  EXPECT_TRUE(IsSocketFile(path));
  serverSockclose(&info);
}

TEST_F(ServerSetup, SocketFileOfAnEarlierRunDoesNotMakeBindFail) {
  const std::string path = dir_.file("host.sock");
  SockInfo first = BlankInfo();
  ASSERT_EQ(blockServersock(&first, path.c_str()), 0u);
  serverSockclose(&first);
  ASSERT_TRUE(IsSocketFile(path));
  SockInfo second = BlankInfo();
  LogCapture log;
  EXPECT_EQ(blockServersock(&second, path.c_str()), 0u);
  EXPECT_THAT(log.lines(), ElementsAre(Enter("blockServersock"), Exit("blockServersock")));
  const int client = RawConnect(path);
  EXPECT_GE(client, 0);  // the new socket is the one listening there
  if (client >= 0) close(client);
  serverSockclose(&second);
}

TEST_F(ServerSetup, PathOf107CharactersIsKept) {
  const std::string path = dir_.path_of_length(107);
  ASSERT_EQ(path.size(), 107u);
  SockInfo info = BlankInfo();
  ASSERT_EQ(blockServersock(&info, path.c_str()), 0u);
  EXPECT_EQ(std::string(info.addr.sun_path), path);
  EXPECT_TRUE(IsSocketFile(path));
  serverSockclose(&info);
}

class LongPath : public ServerSetup, public ::testing::WithParamInterface<std::size_t> {};

TEST_P(LongPath, IsCutTo107CharactersBeforeBind) {
  const std::string path = dir_.path_of_length(GetParam());
  ASSERT_EQ(path.size(), GetParam());
  const std::string cut = path.substr(0, 107);
  SockInfo info = BlankInfo();
  LogCapture log;
  ASSERT_EQ(createServersock(&info, path.c_str()), 0u);
  EXPECT_THAT(log.lines(), ElementsAre(Enter("createServersock"), Exit("createServersock")));
  EXPECT_EQ(std::string(info.addr.sun_path), cut);
  EXPECT_EQ(info.addr.sun_path[107], '\0');
  EXPECT_TRUE(IsSocketFile(cut));  // what bind made is the cut name
  EXPECT_FALSE(Exists(path));

  // The client cuts the same way, so the full name reaches the server.
  SockInfo client = BlankInfo();
  EXPECT_EQ(clientConnectServersock(&client, path.c_str()), 0u);
  EXPECT_EQ(std::string(client.addr.sun_path), cut);
  clientCloseConnection(&client);
  serverSockclose(&info);
}

INSTANTIATE_TEST_SUITE_P(OneHundredEightAndMore, LongPath, ::testing::Values(108u, 109u, 150u));

TEST_F(ServerSetup, CutPathWithAStaleFileIsFreedToo) {
  const std::string path = dir_.path_of_length(150);
  const std::string cut = path.substr(0, 107);
  std::FILE *stale = std::fopen(cut.c_str(), "w");
  ASSERT_NE(stale, nullptr);
  std::fclose(stale);
  SockInfo info = BlankInfo();
  EXPECT_EQ(blockServersock(&info, path.c_str()), 0u);
  EXPECT_TRUE(IsSocketFile(cut));
  serverSockclose(&info);
}

TEST_F(ServerSetup, CreateServersockBindFailureClosesTheSocket) {
  const std::string path = dir_.file("missing/host.sock");
  SockInfo info = BlankInfo();
  LogCapture log;
  EXPECT_EQ(createServersock(&info, path.c_str()), 2u);
  EXPECT_EQ(info.fd, -1);
  EXPECT_THAT(log.lines(),
              ElementsAre(Enter("createServersock"),
                          Error("Error: Server bind 'No such file or directory'"),
                          Enter("serverSockclose"), Exit("serverSockclose"),
                          Exit("createServersock")));
}

TEST_F(ServerSetup, BlockServersockBindFailureClosesTheSocket) {
  const std::string path = dir_.file("missing/host.sock");
  SockInfo info = BlankInfo();
  LogCapture log;
  EXPECT_EQ(blockServersock(&info, path.c_str()), 2u);
  EXPECT_EQ(info.fd, -1);
  EXPECT_THAT(log.lines(),
              ElementsAre(Enter("blockServersock"),
                          Error("Error: Server bind 'No such file or directory'"),
                          Enter("serverSockclose"), Exit("serverSockclose"),
                          Exit("blockServersock")));
}

TEST_F(ServerSetup, BindFailsWhereADirectoryIsInTheWay) {
  // Only files are removed before bind; a directory at the path stays and bind fails.
  const std::string path = dir_.file("a-directory");
  ASSERT_EQ(mkdir(path.c_str(), 0700), 0);
  SockInfo info = BlankInfo();
  LogCapture log;
  EXPECT_EQ(createServersock(&info, path.c_str()), 2u);
  EXPECT_EQ(info.fd, -1);
  EXPECT_THAT(log.lines(), ElementsAre(Enter("createServersock"),
                                       Error("Error: Server bind 'Address already in use'"),
                                       Enter("serverSockclose"), Exit("serverSockclose"),
                                       Exit("createServersock")));
}

TEST_F(ServerSetup, SocketFailure) {
  SockInfo info = BlankInfo();
  LogCapture log;
  unsigned int result = 0;
  {
    NoFreeDescriptors limit;
    result = createServersock(&info, dir_.file("host.sock").c_str());
  }
  EXPECT_EQ(result, 1u);
  EXPECT_EQ(info.fd, -1);
  EXPECT_THAT(log.lines(), ElementsAre(Enter("createServersock"),
                                       Error("Error: server socket 'Too many open files'"),
                                       Exit("createServersock")));
  EXPECT_FALSE(Exists(dir_.file("host.sock")));
}

TEST_F(ServerSetup, BacklogIsFifty) {
  const std::string path = dir_.file("host.sock");
  SockInfo info = BlankInfo();
  ASSERT_EQ(blockServersock(&info, path.c_str()), 0u);
  // The kernel queues connections until more than the backlog are waiting: 51 fit, the 52nd
  // is refused at once on a non-blocking client.
  std::vector<int> clients;
  for (int i = 0; i < 51; ++i) {
    const int fd = RawConnect(path, true);
    EXPECT_GE(fd, 0) << "connection " << i + 1;
    if (fd >= 0) clients.push_back(fd);
  }
  EXPECT_EQ(RawConnect(path, true), -1);
  for (int fd : clients) close(fd);
  serverSockclose(&info);
}

}  // namespace
