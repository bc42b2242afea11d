// stream_helpers.h - frames and expected log lines shared by the stream tests.
#ifndef CMPITEST_STREAM_HELPERS_H
#define CMPITEST_STREAM_HELPERS_H

#include <cmpiutility/stream.h>
#include <dlog.h>
#include <stdlib.h>

#include <initializer_list>
#include <string>
#include <vector>

#include "log_capture.h"

namespace streamtest {

using cmpitest::Enter;
using cmpitest::Error;
using cmpitest::Exit;
using cmpitest::LogLine;
using cmpitest::Trace;

constexpr char kEof[] = "CMPI_EOF";
constexpr char kComplete[] = "CMPIOPERATION_COMPLETECMPI_EOF";

// A set-instance document with the given code (and message, when given).
inline std::string set_doc(int code, const char *message = nullptr) {
  std::string doc = "{\"RequestType\":8,\"SetInstStatus\":" + std::to_string(code);
  if (message != nullptr) doc += std::string(",\"SetInstStatusMsg\":\"") + message + "\"";
  return doc + "}";
}

inline std::string frame(const std::string &doc) { return doc + kEof; }

// Lines of several lists, one after the other.
inline std::vector<LogLine> concat(std::initializer_list<std::vector<LogLine>> parts) {
  std::vector<LogLine> all;
  for (const auto &part : parts) all.insert(all.end(), part.begin(), part.end());
  return all;
}

inline LogLine received(const std::string &doc) {
  return Trace("INFO: serialized data len:" + std::to_string(doc.size()) + " and data = " + doc);
}

// What decoding a set-instance document with the given code and releasing its record log.
inline std::vector<LogLine> decoded(const std::string &doc, int code, bool message = false) {
  std::vector<LogLine> lines = {Enter("deserializeResp"), received(doc), Trace("set operation"),
                                Trace("set operation (resp->status).rc = " + std::to_string(code))};
  if (message) {
    lines.push_back(Trace("set operation CreateString for SetInstStatusMsg"));
    lines.push_back(Trace("set operation Created String for SetInstStatusMsg"));
  } else {
    lines.push_back(Trace("set operation SetInstStatusMsg is NULL"));
  }
  lines.push_back(Exit("deserializeResp"));
  lines.push_back(Enter("releaseClientResponseData"));
  lines.push_back(Exit("releaseClientResponseData"));
  return lines;
}

// Lines of a frame that does not parse, and the release of its record.
inline std::vector<LogLine> unparsed(const std::string &doc) {
  return {Enter("deserializeResp"), received(doc),
          Error("ERROR: __deserializeResp#2427: 'Json parsing failed'"), Exit("deserializeResp"),
          Enter("releaseClientResponseData"), Exit("releaseClientResponseData")};
}

// Keeps every dlog line from being written while it lives (many thousands of calls would
// otherwise print their level-2 lines); LogCapture still sees lines when one is alive.
class Quiet {
 public:
  Quiet() : previous_(getenv("DLOG_LEVEL") != nullptr ? getenv("DLOG_LEVEL") : "") {
    setenv("DLOG_LEVEL", "-1", 1);
    dlog_reload();
  }
  ~Quiet() {
    if (previous_.empty()) {
      unsetenv("DLOG_LEVEL");
    } else {
      setenv("DLOG_LEVEL", previous_.c_str(), 1);
    }
    dlog_reload();
  }
  Quiet(const Quiet &) = delete;
  Quiet &operator=(const Quiet &) = delete;

 private:
  std::string previous_;
};

// The caller's carry-over slot, freed when the test is done with it.
struct Slot {
  char *block = nullptr;
  Slot() = default;
  Slot(const Slot &) = delete;
  ~Slot() { free(block); }
  char **operator&() { return &block; }
  std::string text() const { return block != nullptr ? block : "<NULL>"; }
};

}  // namespace streamtest

#endif  // CMPITEST_STREAM_HELPERS_H
