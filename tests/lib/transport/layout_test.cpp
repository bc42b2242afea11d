#include <cmpiutility/transport.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <type_traits>

namespace {

TEST(SockInfoLayout, FieldsInOrderWithNaturalAlignment) {
  EXPECT_EQ(sizeof(struct sockaddr_un), 110u);
  EXPECT_EQ(offsetof(SockInfo, fd), 0u);
  EXPECT_EQ(offsetof(SockInfo, connFd), 4u);
  EXPECT_EQ(offsetof(SockInfo, addr), 8u);
  EXPECT_EQ(offsetof(SockInfo, peerAddr), 118u);
  EXPECT_EQ(offsetof(SockInfo, lengthField), 232u);
  EXPECT_EQ(sizeof(SockInfo), 240u);
  EXPECT_TRUE((std::is_same_v<decltype(SockInfo::lengthField), int64_t>));
}

TEST(ResultCodes, AreTheSmallIntegersOfEachOutcome) {
  EXPECT_EQ(CMPIU_SOCK_OK, 0);
  EXPECT_EQ(CMPIU_SOCK_ESOCKET, 1);
  EXPECT_EQ(CMPIU_SOCK_EBIND, 2);
  EXPECT_EQ(CMPIU_SOCK_ELISTEN, 3);
  EXPECT_EQ(CMPIU_SOCK_EACCEPT, 4);
  EXPECT_EQ(CMPIU_SOCK_ECONNECT, 5);
  EXPECT_EQ(CMPIU_SOCK_ESEND, 6);
  EXPECT_EQ(CMPIU_SOCK_ERECV, 7);
  EXPECT_EQ(CMPIU_SOCK_CLOSED, 9);
  EXPECT_EQ(CMPIU_SOCK_TIMEOUT, 10);
  EXPECT_EQ(CMPIU_SELECT_READ, 1);
  EXPECT_EQ(CMPIU_SELECT_WRITE, 2);
}

// The mangled name _Z11xsetsockoptiiiPvj spells exactly this parameter list (socklen_t is
// unsigned int).
TEST(Xsetsockopt, KeepsItsCppSignature) {
  EXPECT_TRUE((std::is_same_v<socklen_t, unsigned int>));
  EXPECT_TRUE(
      (std::is_same_v<decltype(&xsetsockopt), void (*)(int, int, int, void *, socklen_t)>));
}

}  // namespace
