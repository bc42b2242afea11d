// The socket record's layout: existing peers are built against it.
#include <cmpiutility/transport.h>

#include <stddef.h>

static_assert(sizeof(struct sockaddr_un) == 110, "16-bit family and a 108-byte path");
static_assert(offsetof(SockInfo, fd) == 0, "fd comes first");
static_assert(offsetof(SockInfo, connFd) == 4, "connFd follows fd");
static_assert(offsetof(SockInfo, addr) == 8, "addr follows the two descriptors");
static_assert(offsetof(SockInfo, peerAddr) == 118, "peerAddr follows addr directly");
static_assert(offsetof(SockInfo, lengthField) == 232, "lengthField is 8-byte aligned");
static_assert(sizeof(SockInfo::lengthField) == 8, "lengthField is 64-bit");
static_assert(sizeof(SockInfo) == 240, "SockInfo keeps natural alignment");
