// server_limits.h - the limits one HTTP listener enforces, with their defaults.
#ifndef CMPI_WBEMD_HTTP_SERVER_LIMITS_H
#define CMPI_WBEMD_HTTP_SERVER_LIMITS_H

#include <cstddef>

namespace wbem {

struct ServerLimits {
  // Request line and headers together (libmicrohttpd's per-connection memory, which also holds
  // its read and write buffers); a request past it gets 431 (or 414 for a long request line).
  std::size_t max_header = 32 * 1024;
  // A request body; a larger Content-Length gets 413 before any of it is read, a chunked body
  // that grows past it closes the connection.
  std::size_t max_body = 4 * 1024 * 1024;
  unsigned max_connections = 256;          // open connections of one listener in all
  unsigned max_connections_per_peer = 16;  // of one peer address; further ones closed at once
  unsigned idle_timeout = 15;              // seconds a connection may stay silent
  // Seconds from a request's first line (or from the connection's start, or the end of the
  // previous answer) to its last body byte; past it the connection is closed.
  unsigned request_timeout = 30;
  // Answers up to this size go out whole with Content-Length; a larger one is sent chunked as
  // it is written, with at most this many bytes held at once.
  std::size_t stream_threshold = 64 * 1024;
};

}  // namespace wbem

#endif  // CMPI_WBEMD_HTTP_SERVER_LIMITS_H
