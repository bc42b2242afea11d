// clientConnectServersock, clientSend, clientRecv and clientCloseConnection with real peers.
#include <cmpiutility/transport.h>
#include <errno.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "log_capture.h"
#include "socket_helpers.h"

namespace {

using namespace cmpitest;
using ::testing::ElementsAre;

// A blocking server with the library's client connected to it and the connection accepted.
class ClientConnection : public TransportTest {
 protected:
  void SetUp() override {
    TransportTest::SetUp();
    path_ = dir_.file("host.sock");
    ASSERT_EQ(blockServersock(&server_, path_.c_str()), 0u);
    ASSERT_EQ(clientConnectServersock(&client_, path_.c_str()), 0u);
    ASSERT_EQ(acceptServer(&server_), 0u);
  }
  void TearDown() override {
    if (client_.fd >= 0) clientCloseConnection(&client_);
    if (server_.connFd >= 0) serverAcceptclose(&server_);
    if (server_.fd >= 0) serverSockclose(&server_);
  }

  TempDir dir_;
  std::string path_;
  SockInfo server_ = BlankInfo();
  SockInfo client_ = BlankInfo();
};

// A record whose fd is one end of a pair; the test keeps the other end as the server.
struct PairedClient {
  SockInfo info = BlankInfo();
  int server = -1;
  PairedClient() {
    int fds[2];
    if (socketpair(AF_UNIX, SOCK_STREAM, 0, fds) != 0) {
      ADD_FAILURE() << "socketpair";
      return;
    }
    info.fd = fds[0];
    server = fds[1];
  }
  ~PairedClient() {
    if (info.fd >= 0) close(info.fd);
    if (server >= 0) close(server);
  }
};

// ---- clientConnectServersock ------------------------------------------------------------------

TEST_F(TransportTest, ClientConnectServersockConnectsWithABlockingSocket) {
  TempDir dir;
  const std::string path = dir.file("host.sock");
  SockInfo server = BlankInfo();
  ASSERT_EQ(createServersock(&server, path.c_str()), 0u);
  SockInfo client = BlankInfo();
  LogCapture log;
  EXPECT_EQ(clientConnectServersock(&client, path.c_str()), 0u);
  EXPECT_THAT(log.lines(),
              ElementsAre(Enter("clientConnectServersock"), Exit("clientConnectServersock")));
  ASSERT_GE(client.fd, 0);
  EXPECT_FALSE(IsNonBlocking(client.fd));
  EXPECT_EQ(client.addr.sun_family, AF_UNIX);
  EXPECT_EQ(std::string(client.addr.sun_path), path);
  int limit = 5;
  EXPECT_EQ(xselect(server.fd, CMPIU_SELECT_READ, &limit), 0u);
  EXPECT_EQ(acceptServer(&server), 0u);
  clientCloseConnection(&client);
  serverAcceptclose(&server);
  serverSockclose(&server);
}

TEST_F(TransportTest, ClientConnectServersockToAMissingPathFails) {
  TempDir dir;
  SockInfo client = BlankInfo();
  LogCapture log;
  EXPECT_EQ(clientConnectServersock(&client, dir.file("nobody-listens").c_str()), 5u);
  EXPECT_EQ(client.fd, -1);
  EXPECT_THAT(log.lines(), ElementsAre(Enter("clientConnectServersock"),
                                       Error("Error: client connect 'No such file or directory'"),
                                       Enter("clientCloseConnection"),
                                       Exit("clientCloseConnection"),
                                       Exit("clientConnectServersock")));
}

TEST_F(TransportTest, ClientConnectServersockToASocketFileNobodyListensOnFails) {
  TempDir dir;
  const std::string path = dir.file("host.sock");
  SockInfo server = BlankInfo();
  ASSERT_EQ(blockServersock(&server, path.c_str()), 0u);
  serverSockclose(&server);  // the file stays, nobody listens
  SockInfo client = BlankInfo();
  LogCapture log;
  EXPECT_EQ(clientConnectServersock(&client, path.c_str()), 5u);
  EXPECT_EQ(client.fd, -1);
  EXPECT_THAT(log.lines(), ElementsAre(Enter("clientConnectServersock"),
                                       Error("Error: client connect 'Connection refused'"),
                                       Enter("clientCloseConnection"),
                                       Exit("clientCloseConnection"),
                                       Exit("clientConnectServersock")));
}

TEST_F(TransportTest, ClientConnectServersockSocketFailure) {
  TempDir dir;
  SockInfo client = BlankInfo();
  LogCapture log;
  unsigned int result = 0;
  {
    NoFreeDescriptors limit;
    result = clientConnectServersock(&client, dir.file("host.sock").c_str());
  }
  EXPECT_EQ(result, 1u);
  EXPECT_EQ(client.fd, -1);
  EXPECT_THAT(log.lines(), ElementsAre(Enter("clientConnectServersock"),
                                       Error("Error: client socket 'Too many open files'"),
                                       Exit("clientConnectServersock")));
}

TEST_F(ClientConnection, ClientCloseConnectionClosesTheSocket) {
  const int fd = client_.fd;
  LogCapture log;
  clientCloseConnection(&client_);
  EXPECT_THAT(log.lines(),
              ElementsAre(Enter("clientCloseConnection"), Exit("clientCloseConnection")));
  EXPECT_EQ(client_.fd, -1);
  EXPECT_EQ(fcntl(fd, F_GETFD), -1);
}

// ---- clientSend -------------------------------------------------------------------------------

TEST_F(ClientConnection, ClientSendSendsAllBytesOnFd) {
  const std::string text = "{\"RequestType\":3}CMPI_EOF";
  LogCapture log;
  EXPECT_EQ(clientSend(&client_, text.c_str(), static_cast<int>(text.size())), 0u);
  EXPECT_THAT(log.lines(), ElementsAre(Enter("clientSend"), Exit("clientSend")));
  std::vector<char> buf(text.size() + 1);
  EXPECT_EQ(serverRecv(&server_, buf.data(), static_cast<int>(text.size())), 0u);
  EXPECT_EQ(std::string(buf.data()), text);
}

TEST_F(TransportTest, ClientSendOnAFullSendBufferFails) {
  SmallBufferPair pair;
  pair.fill();
  SockInfo info = BlankInfo();
  info.fd = pair.writer;
  const std::vector<char> data(100, 'd');
  LogCapture log;
  EXPECT_EQ(clientSend(&info, data.data(), 100), 6u);
  EXPECT_THAT(log.lines(),
              ElementsAre(Enter("clientSend"),
                          Error("Error: Send failed 'Resource temporarily unavailable'"),
                          Exit("clientSend")));
}

TEST_F(TransportTest, ClientSendOfMoreThanFitsIsAShortSendAndIsNotContinued) {
  SmallBufferPair pair;
  SockInfo info = BlankInfo();
  info.fd = pair.writer;
  const int size = 1 << 20;
  const std::vector<char> data(size, 'd');
  LogCapture log;
  errno = 0;  // a short send sets no errno: the line carries whatever it held
  EXPECT_EQ(clientSend(&info, data.data(), size), 6u);
  EXPECT_THAT(log.lines(), ElementsAre(Enter("clientSend"), Error("Error: Send failed 'Success'"),
                                       Exit("clientSend")));
  const std::size_t arrived = DrainAvailable(pair.reader);
  EXPECT_GT(arrived, 0u);
  EXPECT_LT(arrived, static_cast<std::size_t>(size));
}

TEST_F(TransportTest, ClientSendWithANegativeLengthFails) {
  PairedClient pair;
  LogCapture log;
  EXPECT_EQ(clientSend(&pair.info, "x", -5), 6u);
  EXPECT_THAT(log.lines(), ElementsAre(Enter("clientSend"),
                                       Error("Error: Send failed 'Invalid argument'"),
                                       Exit("clientSend")));
}

// ---- clientRecv -------------------------------------------------------------------------------

TEST_F(ClientConnection, ClientRecvReturnsTheBytesWithANulAndKeepsTheCountInConnFd) {
  const std::string text = "{\"x\":1}CMPI_EOF";
  ASSERT_EQ(serverSend(&server_, text.c_str(), static_cast<int>(text.size())), 0u);
  std::vector<char> buf(64 + 1, 'x');
  LogCapture log;
  EXPECT_EQ(clientRecv(&client_, buf.data(), 64), 0u);
  EXPECT_THAT(log.lines(), ElementsAre(Enter("clientRecv"), Exit("clientRecv")));
  EXPECT_EQ(std::string(buf.data()), text);
  EXPECT_EQ(client_.connFd, static_cast<int>(text.size()));
}

TEST_F(ClientConnection, ClientRecvOfAFullBufferWritesTheNulAtLen) {
  ASSERT_EQ(serverSend(&server_, "abcdefgh", 8), 0u);
  std::vector<char> buf(5, 'x');
  EXPECT_EQ(clientRecv(&client_, buf.data(), 4), 0u);
  EXPECT_EQ(std::string(buf.data()), "abcd");
  EXPECT_EQ(client_.connFd, 4);
}

TEST_F(ClientConnection, ClientRecvWhenThePeerClosedEmptiesTheBuffer) {
  serverAcceptclose(&server_);
  char buf[16] = "previous";
  LogCapture log;
  errno = 0;  // recv returning 0 sets no errno: the line carries whatever it held
  EXPECT_EQ(clientRecv(&client_, buf, 15), 9u);
  EXPECT_THAT(log.lines(), ElementsAre(Enter("clientRecv"),
                                       Info("INFO: Server closed connection 'Success'"),
                                       Exit("clientRecv")));
  EXPECT_EQ(buf[0], '\0');
  EXPECT_EQ(client_.connFd, 0);
  EXPECT_GE(client_.fd, 0);  // left open for the caller to close
}

TEST_F(TransportTest, ClientRecvFailureEmptiesTheBuffer) {
  int pipe_fds[2];
  ASSERT_EQ(pipe(pipe_fds), 0);
  SockInfo info = BlankInfo();
  info.fd = pipe_fds[0];  // not a socket
  char buf[16] = "previous";
  LogCapture log;
  EXPECT_EQ(clientRecv(&info, buf, 15), 7u);
  EXPECT_THAT(log.lines(),
              ElementsAre(Enter("clientRecv"),
                          Error("Error: receive error 'Socket operation on non-socket'"),
                          Exit("clientRecv")));
  EXPECT_EQ(buf[0], '\0');
  EXPECT_EQ(info.connFd, -1);
  close(pipe_fds[0]);
  close(pipe_fds[1]);
}

TEST_F(TransportTest, ClientRecvWithANegativeLengthFails) {
  PairedClient pair;
  RawSendAll(pair.server, "hello");
  char buf[16] = "previous";
  LogCapture log;
  EXPECT_EQ(clientRecv(&pair.info, buf, -1), 7u);
  EXPECT_THAT(log.lines(), ElementsAre(Enter("clientRecv"),
                                       Error("Error: receive error 'Invalid argument'"),
                                       Exit("clientRecv")));
  EXPECT_EQ(buf[0], '\0');
  EXPECT_EQ(pair.info.connFd, -1);
}

TEST_F(TransportTest, ClientRecvOnANonBlockingSocketSpinsUntilDataArrives) {
  PairedClient pair;
  MakeNonBlocking(pair.info.fd);
  char buf[32] = "previous";
  std::thread peer([&pair] {
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    RawSendAll(pair.server, "late answer");
  });
  LogCapture log;
  const auto start = std::chrono::steady_clock::now();
  const unsigned int result = clientRecv(&pair.info, buf, 31);
  const auto waited = std::chrono::steady_clock::now() - start;
  peer.join();
  EXPECT_EQ(result, 0u);
  EXPECT_STREQ(buf, "late answer");
  EXPECT_EQ(pair.info.connFd, 11);
  EXPECT_GE(waited, std::chrono::milliseconds(250));
  // The EAGAIN failures before the data came are retried without a word.
  EXPECT_THAT(log.lines(), ElementsAre(Enter("clientRecv"), Exit("clientRecv")));
}

TEST_F(TransportTest, ClientRecvOnANonBlockingSocketSpinsUntilThePeerCloses) {
  PairedClient pair;
  MakeNonBlocking(pair.info.fd);
  char buf[32] = "previous";
  std::thread peer([&pair] {
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    close(pair.server);
    pair.server = -1;
  });
  LogCapture log;
  errno = EAGAIN;  // also what every failed try before the close leaves there
  const unsigned int result = clientRecv(&pair.info, buf, 31);
  peer.join();
  EXPECT_EQ(result, 9u);
  EXPECT_EQ(buf[0], '\0');
  // The recv that saw the close set no errno: the line carries the EAGAIN of the tries before.
  EXPECT_THAT(log.lines(),
              ElementsAre(Enter("clientRecv"),
                          Info("INFO: Server closed connection 'Resource temporarily unavailable'"),
                          Exit("clientRecv")));
}

TEST_F(TransportTest, ClientRecvIsRetriedAfterAnInterruption) {
  PairedClient pair;  // blocking
  CountingSignal signal;
  char buf[32] = "";
  const pthread_t reader = pthread_self();
  std::thread peer([&pair, reader] {
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    CountingSignal::raise_in(reader);
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    RawSendAll(pair.server, "after the signal");
  });
  LogCapture log;
  const unsigned int result = clientRecv(&pair.info, buf, 31);
  peer.join();
  EXPECT_EQ(result, 0u);
  EXPECT_EQ(signal.count(), 1);
  EXPECT_STREQ(buf, "after the signal");
  EXPECT_THAT(log.lines(), ElementsAre(Enter("clientRecv"), Exit("clientRecv")));
}

// ---- a whole exchange -------------------------------------------------------------------------

// The host on this thread, the client on another, both through the library.
TEST_F(TransportTest, HostAndClientExchangeARequestAndItsAnswers) {
  TempDir dir;
  const std::string path = dir.file("host.sock");
  const std::string request = "{\"RequestType\":1}CMPI_EOF";
  const std::string answer = "{\"RequestType\":1}CMPI_EOFCMPIOPERATION_COMPLETE";

  SockInfo server = BlankInfo();
  ASSERT_EQ(createServersock(&server, path.c_str()), 0u);

  std::string client_got;
  unsigned int client_codes[4] = {99, 99, 99, 99};
  LogCapture log;
  std::thread client([&] {
    SockInfo info = BlankInfo();
    client_codes[0] = clientConnectServersock(&info, path.c_str());
    if (client_codes[0] != 0) return;
    client_codes[1] = clientSend(&info, request.c_str(), static_cast<int>(request.size()));
    std::vector<char> buf(16 + 1);
    for (;;) {
      const unsigned int code = clientRecv(&info, buf.data(), 16);
      if (code != 0) {
        client_codes[2] = code;
        break;
      }
      client_got += buf.data();
    }
    clientCloseConnection(&info);
    client_codes[3] = 0;
  });

  int limit = 10;
  EXPECT_EQ(xselect(server.fd, CMPIU_SELECT_READ, &limit), 0u);
  EXPECT_EQ(acceptServer(&server), 0u);
  std::string server_got;
  std::vector<char> buf(64 + 1);
  while (server_got.size() < request.size()) {
    if (serverRecv(&server, buf.data(), 64) != 0) break;
    server_got += buf.data();
  }
  EXPECT_EQ(serverSend(&server, answer.c_str(), static_cast<int>(answer.size())), 0u);
  serverAcceptclose(&server);
  client.join();
  serverSockclose(&server);

  EXPECT_EQ(server_got, request);
  EXPECT_EQ(client_got, answer);
  EXPECT_EQ(client_codes[0], 0u);
  EXPECT_EQ(client_codes[1], 0u);
  EXPECT_EQ(client_codes[2], 9u);  // the host closed after its answer
  EXPECT_EQ(client_codes[3], 0u);
  EXPECT_TRUE(ContainsInOrder(
      log.lines(), {Enter("xselect"), Exit("xselect"), Enter("acceptServer"),
                    Exit("acceptServer"), Enter("serverRecv"), Exit("serverRecv"),
                    Enter("serverSend"), Exit("serverSend"), Enter("serverAcceptclose"),
                    Exit("serverAcceptclose"), Enter("serverSockclose"), Exit("serverSockclose")}));
  EXPECT_TRUE(ContainsInOrder(
      log.lines(), {Enter("clientConnectServersock"), Exit("clientConnectServersock"),
                    Enter("clientSend"), Exit("clientSend"), Enter("clientRecv"),
                    Exit("clientRecv"), Enter("clientCloseConnection"),
                    Exit("clientCloseConnection")}));
  EXPECT_TRUE(log.at_level(2).empty());
}

}  // namespace
