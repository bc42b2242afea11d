// http_client.h - the HTTP/1.1 client of the front-end benchmark: one kept-alive connection to
// 127.0.0.1, over plain TCP or over TLS (GnuTLS), that sends a request's bytes and reads one
// answer to its last byte (framed by Content-Length or chunked, trailers included). It does
// only what timing the front end needs: no redirects, no pipelining, and a TLS session that does
// not check the server's certificate (the benchmark made that certificate itself).
//
// One HttpConnection belongs to one thread at a time.
#ifndef CMPIUTILITY_BENCH_HTTP_CLIENT_H
#define CMPIUTILITY_BENCH_HTTP_CLIENT_H

#include <cstddef>
#include <cstdint>
#include <string>

namespace bench {

struct HttpAnswer {
  int status = 0;            // 0 when no status line arrived
  std::size_t bytes = 0;     // every byte of the answer: status line, headers, body, trailers
  std::size_t body_bytes = 0;
  bool chunked = false;
  bool complete = false;     // ended as its framing says
  bool keeps_alive = true;   // false when the server said "Connection: close"
  std::string trailers;      // the trailer lines of a chunked answer, as sent
};

class HttpConnection {
 public:
  HttpConnection() = default;
  ~HttpConnection();
  HttpConnection(const HttpConnection &) = delete;
  HttpConnection &operator=(const HttpConnection &) = delete;

  // Connects to 127.0.0.1:port (TCP_NODELAY) and, with tls, makes the TLS handshake. false with
  // the reason in *error.
  bool open(uint16_t port, bool tls, std::string *error);
  void close();
  bool is_open() const { return fd_ >= 0; }

  // Sends request (every byte) and reads one answer through its last byte. raw, when given,
  // receives every byte of the answer. false when sending or reading failed or the answer ended
  // early; the connection is closed then, and answer says what arrived.
  bool exchange(const std::string &request, HttpAnswer *answer, std::string *raw = nullptr);

 private:
  bool send_all(const char *data, std::size_t size);
  long receive(char *buffer, std::size_t size);
  bool fill();                               // more bytes into buffer_; false at end or error
  bool read_line(std::string *line);         // up to CRLF, which is dropped
  bool skip(std::size_t n);                  // n body bytes, counted and dropped

  int fd_ = -1;
  void *session_ = nullptr;      // gnutls_session_t with TLS
  void *credentials_ = nullptr;  // gnutls_certificate_credentials_t
  std::string buffer_;
  std::size_t position_ = 0;
  std::string *raw_ = nullptr;
  std::size_t received_ = 0;
};

}  // namespace bench

#endif  // CMPIUTILITY_BENCH_HTTP_CLIENT_H
