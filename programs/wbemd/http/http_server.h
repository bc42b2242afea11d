// http_server.h - one HTTP or HTTPS listener of cmpi-wbemd (libmicrohttpd, one thread per
// connection).
//
// It serves exactly POST /cimom. For each request, in this order: the request line
// (request_checks.h), HTTP Basic credentials checked by the Authenticator (401 with
// 'WWW-Authenticate: Basic realm="cimom"' when missing or wrong; failures logged with user
// and peer and slowed down by the LoginThrottle), the body's framing and the CIM headers. Only
// then is the body read (within max_body) and handed to CimService::serve() as a CimCall whose
// user is the authenticated user. serve() writes through an AnswerPipe: a small answer goes out
// with Content-Length, a larger one chunked. An answer that serve() holds whole anyway
// (CimService::answers_at_once) is made on the connection's own thread before any of it is
// sent; any other runs on the connection's producer thread (one kept per connection from its
// first streamed answer to its close, answer_producer.h) and is sent as it comes.
// A failure in the middle of a chunked answer becomes the CIMStatusCode and
// CIMStatusDescription trailers for a client that sent "TE: trailers" (declared in a Trailer
// header), and a broken answer (the connection closed without the last chunk) for any other.
// Connections stay open between requests (keep-alive) until the idle time-out.
#ifndef CMPI_WBEMD_HTTP_HTTP_SERVER_H
#define CMPI_WBEMD_HTTP_HTTP_SERVER_H

#include <cstdint>
#include <memory>
#include <string>

#include "authenticator.h"
#include "exchange.h"
#include "listen_socket.h"
#include "login_throttle.h"
#include "server_limits.h"

namespace wbem {

struct TlsMaterial {
  std::string certificate_pem;  // the server's certificate chain
  std::string key_pem;          // its private key
};

class HttpServer {
 public:
  // The service, authenticator and throttle must outlive the server.
  HttpServer(const ServerLimits &limits, CimService &service, Authenticator &authenticator,
             LoginThrottle &throttle);
  ~HttpServer();
  HttpServer(const HttpServer &) = delete;
  HttpServer &operator=(const HttpServer &) = delete;

  // Serves on listen_fd (a listening socket, see listen_socket.h, which the server then owns
  // and closes); tls null means plain HTTP. false with *error when it cannot (the socket is
  // closed then too).
  bool start(int listen_fd, const TlsMaterial *tls, std::string *error);
  // Opens the socket for listen, then as above.
  bool start(const ListenPoint &listen, const TlsMaterial *tls, std::string *error);
  // With trust, a request that brings no Authorization header over a loopback connection is
  // served as the local user owning the client's socket (local_peer.h) instead of getting 401.
  // Call before start().
  void trust_local_peers(bool trust);
  // Stops accepting, closes every connection and waits for running answers.
  void stop();
  uint16_t port() const;

  struct State;

 private:
  std::unique_ptr<State> state_;
};

}  // namespace wbem

#endif  // CMPI_WBEMD_HTTP_HTTP_SERVER_H
