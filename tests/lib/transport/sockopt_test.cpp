#include <cmpiutility/transport.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include "log_capture.h"
#include "socket_helpers.h"

namespace {

using namespace cmpitest;
using ::testing::ElementsAre;

TEST_F(TransportTest, XsetsockoptSetsTheOption) {
  const int fd = socket(AF_UNIX, SOCK_STREAM, 0);
  ASSERT_GE(fd, 0);
  int size = 65536;
  LogCapture log;
  xsetsockopt(fd, SOL_SOCKET, SO_SNDBUF, &size, sizeof(size));
  EXPECT_THAT(log.lines(), ElementsAre(Enter("xsetsockopt"), Exit("xsetsockopt")));
  int got = 0;
  socklen_t length = sizeof(got);
  ASSERT_EQ(getsockopt(fd, SOL_SOCKET, SO_SNDBUF, &got, &length), 0);
  EXPECT_EQ(got, 2 * size);  // the kernel doubles it for its own bookkeeping
  close(fd);
}

TEST_F(TransportTest, XsetsockoptFailureIsLogged) {
  int on = 1;
  LogCapture log;
  xsetsockopt(-1, SOL_SOCKET, SO_REUSEADDR, &on, sizeof(on));
  EXPECT_THAT(log.lines(), ElementsAre(Enter("xsetsockopt"),
                                       Error("Error: setsockopt failed 'Bad file descriptor'"),
                                       Exit("xsetsockopt")));
}

TEST_F(TransportTest, XsetsockoptWithAnUnknownOptionIsLogged) {
  const int fd = socket(AF_UNIX, SOCK_STREAM, 0);
  ASSERT_GE(fd, 0);
  int on = 1;
  LogCapture log;
  xsetsockopt(fd, SOL_SOCKET, 12345, &on, sizeof(on));
  EXPECT_THAT(log.lines(), ElementsAre(Enter("xsetsockopt"),
                                       Error("Error: setsockopt failed 'Protocol not available'"),
                                       Exit("xsetsockopt")));
  close(fd);
}

}  // namespace
