// connection.h - one request to the daemon over its AF_UNIX socket, with the library's client
// socket functions: clientConnectServersock, clientSend, and xselect before every clientRecv
// for the time-out.
#ifndef CMPI_CLI_CONNECTION_H
#define CMPI_CLI_CONNECTION_H

#include <cmpiutility/transport.h>

#include <memory>
#include <string>
#include <vector>

#include "piece_source.h"

namespace cli {

class Connection : public PieceSource {
 public:
  // timeout_seconds: the longest wait for each piece of the answer; 0 waits without limit.
  Connection(std::string socket, int timeout_seconds);
  ~Connection() override;
  Connection(const Connection &) = delete;
  Connection &operator=(const Connection &) = delete;

  // Throws ConnectionError.
  void open();
  void send(const std::string &frame);

  // Waits for the next piece of the answer: true with *piece pointing at it (NUL-terminated,
  // valid until the next call), false when the daemon has closed the connection. Throws
  // TimeoutError when nothing arrived in time, ConnectionError when receiving failed.
  bool receive(const char **piece) override;

  static constexpr int kPieceSize = 64 * 1024;

 private:
  std::string socket_;
  int timeout_;
  SockInfo info_;
  bool open_ = false;
  // Not zeroed: clientRecv ends every piece it receives with a NUL, and a front end makes one
  // Connection per request.
  std::unique_ptr<char[]> buffer_;
};

}  // namespace cli

#endif  // CMPI_CLI_CONNECTION_H
