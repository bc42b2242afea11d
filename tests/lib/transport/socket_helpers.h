// Helpers for the transport tests: temporary directories, raw peer sockets, limits, signals.
#ifndef CMPITEST_TRANSPORT_SOCKET_HELPERS_H
#define CMPITEST_TRANSPORT_SOCKET_HELPERS_H

#include <cmpiutility/transport.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/resource.h>

#include <atomic>
#include <cstddef>
#include <string>

namespace cmpitest {

// A fresh directory under /tmp, removed with everything in it at the end of the scope.
class TempDir {
 public:
  TempDir();
  ~TempDir();
  TempDir(const TempDir &) = delete;
  TempDir &operator=(const TempDir &) = delete;

  const std::string &path() const { return path_; }
  // path()/name
  std::string file(const std::string &name) const;
  // A path inside the directory that is exactly `length` characters long.
  std::string path_of_length(std::size_t length) const;

 private:
  std::string path_;
};

// Base for the transport tests: loads the log settings before anything is captured, so that
// loading them cannot change errno in the middle of a call under test.
class TransportTest : public ::testing::Test {
 protected:
  void SetUp() override;
};

// A record as a caller would start it: both descriptors -1, everything else zero.
SockInfo BlankInfo();

bool IsSocketFile(const std::string &path);
bool Exists(const std::string &path);
bool IsNonBlocking(int fd);
void MakeNonBlocking(int fd);

// A raw AF_UNIX stream connection to path, made without the library (so it logs nothing);
// -1 on failure.
int RawConnect(const std::string &path, bool non_blocking = false);

// Sends all of text on fd without the library.
void RawSendAll(int fd, const std::string &text);

// Reads whatever fd has without waiting (fd must be non-blocking) and returns its size.
std::size_t DrainAvailable(int fd);

// A connected non-blocking stream pair whose first end has the smallest send buffer the
// kernel allows.
struct SmallBufferPair {
  int writer = -1;
  int reader = -1;
  SmallBufferPair();
  ~SmallBufferPair();
  // Sends on writer until the kernel says EAGAIN.
  void fill();
};

// While alive, no new descriptor can be opened (the soft descriptor limit is lowered to the
// lowest free descriptor number).
class NoFreeDescriptors {
 public:
  NoFreeDescriptors();
  ~NoFreeDescriptors();

 private:
  struct rlimit saved_ {};
};

// While alive, SIGUSR1 runs a handler that only counts (no SA_RESTART), so a blocking call of
// the thread that receives it fails with EINTR.
class CountingSignal {
 public:
  CountingSignal();
  ~CountingSignal();
  int count() const;
  // Sends SIGUSR1 to the given thread.
  static void raise_in(pthread_t thread);
};

}  // namespace cmpitest

#endif  // CMPITEST_TRANSPORT_SOCKET_HELPERS_H
