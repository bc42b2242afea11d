// request_reader.h - reading the one request frame of a connection.
//
// The request is read until its terminator "CMPI_EOF", in as many pieces as the socket yields,
// within two limits: the whole frame (terminator included) may be at most max_bytes long, and
// it must have arrived within timeout_seconds of the start of the read. Bytes behind the
// terminator are ignored: a connection carries one request.
#ifndef CMPI_HOSTD_REQUEST_READER_H
#define CMPI_HOSTD_REQUEST_READER_H

#include <cmpiutility/transport.h>

#include <cstddef>
#include <string>

namespace hostd {

struct RequestLimits {
  std::size_t max_bytes = 0;
  int timeout_seconds = 0;
};

enum class ReadOutcome {
  kComplete,      // *document holds the text in front of the terminator
  kClosedEmpty,   // the peer closed before sending anything
  kTruncated,     // the peer closed (or shut down its sending side) in the middle of the frame
  kTooLarge,      // more than max_bytes arrived without a terminator
  kTimedOut,      // the frame was not complete within the time limit
  kReceiveError,  // the socket failed
};

// *received is the number of bytes read in all (also on failure).
ReadOutcome read_request(SockInfo *conn, const RequestLimits &limits, std::string *document,
                         std::size_t *received);

}  // namespace hostd

#endif  // CMPI_HOSTD_REQUEST_READER_H
