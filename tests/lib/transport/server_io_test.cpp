// acceptServer, serverRecv, serverSend and serverAcceptclose with real peers.
#include <cmpiutility/transport.h>
#include <errno.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstring>
#include <string>
#include <vector>

#include "log_capture.h"
#include "socket_helpers.h"

namespace {

using namespace cmpitest;
using ::testing::ElementsAre;

// A blocking server with one accepted connection from a raw client.
class ServerConnection : public TransportTest {
 protected:
  void SetUp() override {
    TransportTest::SetUp();
    path_ = dir_.file("host.sock");
    ASSERT_EQ(blockServersock(&server_, path_.c_str()), 0u);
    client_ = RawConnect(path_);
    ASSERT_GE(client_, 0);
    ASSERT_EQ(acceptServer(&server_), 0u);
  }
  void TearDown() override {
    if (client_ >= 0) close(client_);
    if (server_.connFd >= 0) serverAcceptclose(&server_);
    if (server_.fd >= 0) serverSockclose(&server_);
  }

  TempDir dir_;
  std::string path_;
  SockInfo server_ = BlankInfo();
  int client_ = -1;
};

// ---- acceptServer -----------------------------------------------------------------------------

TEST_F(TransportTest, AcceptServerTakesThePendingConnection) {
  TempDir dir;
  const std::string path = dir.file("host.sock");
  SockInfo info = BlankInfo();
  ASSERT_EQ(createServersock(&info, path.c_str()), 0u);
  const int client = RawConnect(path);
  ASSERT_GE(client, 0);
  int limit = 5;
  ASSERT_EQ(xselect(info.fd, CMPIU_SELECT_READ, &limit), 0u);
  info.lengthField = -7;
  LogCapture log;
  EXPECT_EQ(acceptServer(&info), 0u);
  EXPECT_THAT(log.lines(), ElementsAre(Enter("acceptServer"), Exit("acceptServer")));
  EXPECT_GE(info.connFd, 0);
  EXPECT_NE(info.connFd, info.fd);
  EXPECT_EQ(info.peerAddr.sun_family, AF_UNIX);
  // An unnamed peer: accept reports only the family.
  EXPECT_EQ(info.lengthField, static_cast<int64_t>(sizeof(sa_family_t)));
  close(client);
  serverAcceptclose(&info);
  serverSockclose(&info);
}

TEST_F(TransportTest, AcceptServerWithNothingPendingOnANonBlockingSocketFails) {
  TempDir dir;
  SockInfo info = BlankInfo();
  ASSERT_EQ(createServersock(&info, dir.file("host.sock").c_str()), 0u);
  LogCapture log;
  EXPECT_EQ(acceptServer(&info), 4u);
  EXPECT_THAT(log.lines(),
              ElementsAre(Enter("acceptServer"),
                          Error("Error: Server accept 'Resource temporarily unavailable'"),
                          Exit("acceptServer")));
  EXPECT_EQ(info.connFd, -1);
  EXPECT_EQ(info.lengthField, 110);  // set before the call, left alone by the failing accept
  EXPECT_GE(info.fd, 0);             // the listening socket stays open
  serverSockclose(&info);
}

TEST_F(TransportTest, AcceptServerOnAClosedSocketFails) {
  SockInfo info = BlankInfo();
  LogCapture log;
  EXPECT_EQ(acceptServer(&info), 4u);
  EXPECT_THAT(log.lines(), ElementsAre(Enter("acceptServer"),
                                       Error("Error: Server accept 'Bad file descriptor'"),
                                       Exit("acceptServer")));
  EXPECT_EQ(info.connFd, -1);
}

TEST_F(ServerConnection, ServerAcceptcloseClosesTheConnection) {
  const int fd = server_.connFd;
  LogCapture log;
  serverAcceptclose(&server_);
  EXPECT_THAT(log.lines(), ElementsAre(Enter("serverAcceptclose"), Exit("serverAcceptclose")));
  EXPECT_EQ(server_.connFd, -1);
  EXPECT_EQ(fcntl(fd, F_GETFD), -1);
  EXPECT_GE(server_.fd, 0);  // the listening socket is untouched
  char byte = 0;
  EXPECT_EQ(recv(client_, &byte, 1, 0), 0);  // the client sees the close
}

// ---- serverRecv -------------------------------------------------------------------------------

TEST_F(ServerConnection, ServerRecvReturnsTheBytesWithANul) {
  RawSendAll(client_, "hello");
  std::vector<char> buf(64 + 1, 'x');
  LogCapture log;
  EXPECT_EQ(serverRecv(&server_, buf.data(), 64), 0u);
  EXPECT_THAT(log.lines(), ElementsAre(Enter("serverRecv"), Exit("serverRecv")));
  EXPECT_STREQ(buf.data(), "hello");
  EXPECT_EQ(server_.lengthField, 5);
  EXPECT_EQ(buf[6], 'x');
}

TEST_F(ServerConnection, ServerRecvOfAFullBufferWritesTheNulAtLen) {
  RawSendAll(client_, "abcdefgh");
  std::vector<char> buf(4 + 1, 'x');  // exactly len + 1 bytes: the sanitizer sees any overrun
  EXPECT_EQ(serverRecv(&server_, buf.data(), 4), 0u);
  EXPECT_EQ(std::string(buf.data()), "abcd");
  EXPECT_EQ(server_.lengthField, 4);
  EXPECT_EQ(serverRecv(&server_, buf.data(), 4), 0u);
  EXPECT_EQ(std::string(buf.data()), "efgh");
}

TEST_F(ServerConnection, ServerRecvWhenThePeerClosedLeavesTheBufferAsItWas) {
  close(client_);
  client_ = -1;
  char buf[16] = "previous";
  LogCapture log;
  errno = 0;  // recv returning 0 sets no errno: the line carries whatever it held
  EXPECT_EQ(serverRecv(&server_, buf, 15), 9u);
  EXPECT_THAT(log.lines(), ElementsAre(Enter("serverRecv"),
                                       Info("INFO: connection closed 'Success'"),
                                       Exit("serverRecv")));
  EXPECT_STREQ(buf, "previous");
  EXPECT_EQ(server_.lengthField, 0);
  EXPECT_GE(server_.connFd, 0);  // left open for the caller to close
}

TEST_F(ServerConnection, ServerRecvFailureEmptiesTheBuffer) {
  int pipe_fds[2];
  ASSERT_EQ(pipe(pipe_fds), 0);
  SockInfo info = server_;
  info.connFd = pipe_fds[0];  // not a socket
  char buf[16] = "previous";
  LogCapture log;
  EXPECT_EQ(serverRecv(&info, buf, 15), 7u);
  EXPECT_THAT(log.lines(),
              ElementsAre(Enter("serverRecv"),
                          Error("Error: Server receive 'Socket operation on non-socket'"),
                          Exit("serverRecv")));
  EXPECT_EQ(buf[0], '\0');
  EXPECT_EQ(info.lengthField, -1);
  close(pipe_fds[0]);
  close(pipe_fds[1]);
}

// Unlike clientRecv, serverRecv tries once: with nothing there a non-blocking connection fails.
TEST_F(ServerConnection, ServerRecvDoesNotWaitOnANonBlockingConnection) {
  MakeNonBlocking(server_.connFd);
  char buf[16] = "previous";
  LogCapture log;
  EXPECT_EQ(serverRecv(&server_, buf, 15), 7u);
  EXPECT_THAT(log.lines(),
              ElementsAre(Enter("serverRecv"),
                          Error("Error: Server receive 'Resource temporarily unavailable'"),
                          Exit("serverRecv")));
  EXPECT_EQ(buf[0], '\0');
}

TEST_F(ServerConnection, ServerRecvWithANegativeLengthFails) {
  RawSendAll(client_, "hello");
  char buf[16] = "previous";
  LogCapture log;
  EXPECT_EQ(serverRecv(&server_, buf, -1), 7u);
  EXPECT_THAT(log.lines(), ElementsAre(Enter("serverRecv"),
                                       Error("Error: Server receive 'Invalid argument'"),
                                       Exit("serverRecv")));
  EXPECT_EQ(buf[0], '\0');
  EXPECT_EQ(server_.lengthField, -1);
}

// ---- serverSend -------------------------------------------------------------------------------

TEST_F(ServerConnection, ServerSendSendsAllBytes) {
  const std::string text = "{\"RequestType\":1}CMPI_EOF";
  LogCapture log;
  EXPECT_EQ(serverSend(&server_, text.c_str(), static_cast<int>(text.size())), 0u);
  EXPECT_THAT(log.lines(), ElementsAre(Enter("serverSend"), Exit("serverSend")));
  std::string got(text.size(), '\0');
  ASSERT_EQ(recv(client_, &got[0], got.size(), MSG_WAITALL), static_cast<ssize_t>(text.size()));
  EXPECT_EQ(got, text);
}

TEST_F(TransportTest, ServerSendOnAFullSendBufferFails) {
  SmallBufferPair pair;
  pair.fill();
  SockInfo info = BlankInfo();
  info.connFd = pair.writer;
  const std::vector<char> data(100, 'd');
  LogCapture log;
  EXPECT_EQ(serverSend(&info, data.data(), 100), 6u);
  EXPECT_THAT(log.lines(),
              ElementsAre(Enter("serverSend"),
                          Error("Error: Send failed 'Resource temporarily unavailable'"),
                          Exit("serverSend")));
}

TEST_F(TransportTest, ServerSendOfMoreThanFitsIsAShortSendAndIsNotContinued) {
  SmallBufferPair pair;
  SockInfo info = BlankInfo();
  info.connFd = pair.writer;
  const int size = 1 << 20;
  const std::vector<char> data(size, 'd');
  LogCapture log;
  errno = 0;  // a short send sets no errno: the line carries whatever it held
  EXPECT_EQ(serverSend(&info, data.data(), size), 6u);
  EXPECT_THAT(log.lines(), ElementsAre(Enter("serverSend"), Error("Error: Send failed 'Success'"),
                                       Exit("serverSend")));
  const std::size_t arrived = DrainAvailable(pair.reader);
  EXPECT_GT(arrived, 0u);                             // part went out ...
  EXPECT_LT(arrived, static_cast<std::size_t>(size));  // ... and the rest was not sent
}

TEST_F(TransportTest, ServerSendOnAClosedConnectionFails) {
  SockInfo info = BlankInfo();
  LogCapture log;
  EXPECT_EQ(serverSend(&info, "x", 1), 6u);
  EXPECT_THAT(log.lines(), ElementsAre(Enter("serverSend"),
                                       Error("Error: Send failed 'Bad file descriptor'"),
                                       Exit("serverSend")));
}

TEST_F(ServerConnection, ServerSendWithANegativeLengthFails) {
  LogCapture log;
  EXPECT_EQ(serverSend(&server_, "x", -1), 6u);
  EXPECT_THAT(log.lines(), ElementsAre(Enter("serverSend"),
                                       Error("Error: Send failed 'Invalid argument'"),
                                       Exit("serverSend")));
}

TEST_F(ServerConnection, ServerSendOfNothingSucceeds) {
  LogCapture log;
  EXPECT_EQ(serverSend(&server_, "", 0), 0u);
  EXPECT_THAT(log.lines(), ElementsAre(Enter("serverSend"), Exit("serverSend")));
}

}  // namespace
