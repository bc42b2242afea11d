// bare_http_server.h - the floor of the front-end benchmark: a loopback TCP server that does
// nothing but the transport. A pool of threads waits in accept on one listening socket, each
// serving one connection at a time and keeping it open: it reads a request (headers up to the
// blank line, then the body up to its Content-Length) and writes fixed answer bytes (captured
// from cmpi-wbemd, status line and headers included), again and again until the client closes.
// With TLS it does the same inside a GnuTLS session with the given certificate and key, so a
// client measured against it pays for the sockets, the TLS records and its own work only.
#ifndef CMPIUTILITY_BENCH_BARE_HTTP_SERVER_H
#define CMPIUTILITY_BENCH_BARE_HTTP_SERVER_H

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace bench {

class BareHttpServer {
 public:
  BareHttpServer() = default;
  ~BareHttpServer();
  BareHttpServer(const BareHttpServer &) = delete;
  BareHttpServer &operator=(const BareHttpServer &) = delete;

  // Listens on 127.0.0.1 (a free port) with threads serving threads. certificate_file and
  // key_file (PEM) switch TLS on when not empty. false with the reason in *error.
  bool start(std::string *error, int threads = 8, const std::string &certificate_file = "",
             const std::string &key_file = "");
  void stop();

  // The bytes every later request gets.
  void set_answer(const std::string &bytes);
  uint16_t port() const { return port_; }

 private:
  void serve();
  void serve_connection(int fd);

  int listen_fd_ = -1;
  uint16_t port_ = 0;
  std::atomic<bool> stopping_{false};
  std::mutex mutex_;
  std::shared_ptr<const std::string> answer_;
  std::vector<std::thread> threads_;
  void *credentials_ = nullptr;  // gnutls_certificate_credentials_t with TLS
};

}  // namespace bench

#endif  // CMPIUTILITY_BENCH_BARE_HTTP_SERVER_H
