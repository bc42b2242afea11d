// piece_source.h - where the pieces of an answer come from: the connection to the daemon, or
// canned pieces in tests.
#ifndef CMPI_CLI_PIECE_SOURCE_H
#define CMPI_CLI_PIECE_SOURCE_H

namespace cli {

class PieceSource {
 public:
  virtual ~PieceSource() = default;
  // Waits for the next piece: true with *piece pointing at it (NUL-terminated, valid until the
  // next call), false when the peer has closed. Throws TimeoutError when nothing arrived in
  // time, ConnectionError when receiving failed.
  virtual bool receive(const char **piece) = 0;
};

}  // namespace cli

#endif  // CMPI_CLI_PIECE_SOURCE_H
