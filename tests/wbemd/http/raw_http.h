// raw_http.h - a minimal HTTP/1.1 client over a plain TCP socket for the HTTP half's tests.
//
// It writes exactly the bytes a test gives (so malformed and slow requests are possible) and
// reads one answer: status line, headers, a body framed by Content-Length or chunked (with its
// trailers), or up to the connection's end. Every wait is bounded.
#ifndef CMPI_WBEMD_HTTP_TEST_RAW_HTTP_H
#define CMPI_WBEMD_HTTP_TEST_RAW_HTTP_H

#include <cstdint>
#include <map>
#include <string>

namespace httptest {

struct Answer {
  int status = 0;  // 0: no status line came (connection closed or timed out)
  std::map<std::string, std::string> headers;   // names in lower case
  std::map<std::string, std::string> trailers;  // names in lower case
  std::string body;
  bool chunked = false;
  bool complete = false;  // the body ended as its framing says (last chunk, full length)
  bool closed = false;    // the server closed the connection while or after answering
};

class Connection {
 public:
  // Connects to 127.0.0.1:port, from source (a local address) when it is not empty.
  explicit Connection(uint16_t port, const std::string &source = "");
  ~Connection();
  Connection(const Connection &) = delete;
  Connection &operator=(const Connection &) = delete;

  bool connected() const { return fd_ >= 0; }
  bool send(const std::string &bytes);
  // Reads one answer within timeout_ms.
  Answer read_answer(int timeout_ms = 10000);
  // True when the server closes the connection within timeout_ms (pending bytes are dropped).
  bool closed_within(int timeout_ms);

 private:
  bool fill(int deadline_ms);  // reads more into buffer_; false on end or time-out
  bool read_line(std::string *line, long long deadline);
  bool read_bytes(std::size_t n, std::string *out, long long deadline);

  int fd_ = -1;
  std::string buffer_;
  bool eof_ = false;
};

// A CIM operation request as wbemcli sends it, with the given method, body and extra header
// lines (each ending in "\r\n").
std::string cim_request(const std::string &cim_method, const std::string &body,
                        const std::string &extra_headers = "",
                        const std::string &authorization = "Basic YWxpY2U6c2VjcmV0");

// "Basic " + base64(user:password).
std::string basic(const std::string &user, const std::string &password);

}  // namespace httptest

#endif  // CMPI_WBEMD_HTTP_TEST_RAW_HTTP_H
