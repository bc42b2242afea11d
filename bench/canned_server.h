// canned_server.h - the floor of the end-to-end benchmark: AF_UNIX server threads that read a
// request up to its "CMPI_EOF", answer with fixed bytes (an answer captured from cmpi-hostd) and
// close. A small pool of threads waits in accept on the same socket, each serving one
// connection at a time, so that concurrent clients are served concurrently (a single client
// is served by one of them, as by a single thread). They do nothing else, so a client talking
// to them pays only for the sockets and for its own work.
#ifndef CMPIUTILITY_BENCH_CANNED_SERVER_H
#define CMPIUTILITY_BENCH_CANNED_SERVER_H

#include <atomic>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace bench {

class CannedServer {
 public:
  CannedServer() = default;
  ~CannedServer();
  CannedServer(const CannedServer &) = delete;
  CannedServer &operator=(const CannedServer &) = delete;

  // Listens on path (an old file there is removed) with threads serving threads; false with the
  // reason in *error.
  bool start(const std::string &path, std::string *error, int threads = 8);
  void stop();

  // The bytes every later connection gets.
  void set_answer(const std::string &bytes);

  const std::string &path() const { return path_; }

 private:
  void serve();

  std::string path_;
  int listen_fd_ = -1;
  std::atomic<bool> stopping_{false};
  std::mutex mutex_;
  std::shared_ptr<const std::string> answer_;
  std::vector<std::thread> threads_;
};

// One bare exchange with the canned server (or anyone): connect, send request, receive until
// the peer closes. Returns the number of bytes received, -1 on a failure.
long bare_exchange(const std::string &path, const std::string &request);

}  // namespace bench

#endif  // CMPIUTILITY_BENCH_CANNED_SERVER_H
