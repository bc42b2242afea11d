// frame_view.h - the data frames of an answer as the daemon wrote them.
//
// The library's tokenizers decode frames into CMPI objects, which cannot hold everything a frame
// says: a char16 property arrives without a value and is left out, a null string property
// ("DataState":256,"Value":null) becomes "", an empty array (no "Value") a null array, and the
// GetInstance and GetClass tokenizers drop the status message. The program shows what arrived,
// so it also reads each data frame itself, with these helpers, and lets the frame decide where
// the decoded object lost something.
#ifndef CMPI_CLI_FRAME_VIEW_H
#define CMPI_CLI_FRAME_VIEW_H

#include <json/json.h>

#include <deque>
#include <string>

namespace cli {

// Cuts a stream that arrives in pieces into frames; keeps the data frames (not the control
// frames) as parsed JSON, a null value for one that is not JSON.
class FrameSplitter {
 public:
  // Adds a piece (NUL-terminated text); the data frames that end in it are appended to frames.
  void add(const char *piece, std::deque<Json::Value> *frames);

 private:
  std::string text_;
};

// The status message a status frame carries in "GetInstStatusMsg", "SetInstStatusMsg" or
// "GetClassStatusMsg"; false when the frame has none (no such member, or null).
bool frame_status_message(const Json::Value &frame, std::string *message);

// What a value object of a frame says beyond the decoded value.
struct WireValue {
  unsigned type = 0;           // "DataType"
  bool is_null = false;        // "DataState":256
  bool empty_array = false;    // an array that is not null and has no "Value"
  bool value_missing = false;  // a scalar that is not null and has neither "Value" nor "CMPIInstance"
};
WireValue wire_value(const Json::Value &value_object);

}  // namespace cli

#endif  // CMPI_CLI_FRAME_VIEW_H
