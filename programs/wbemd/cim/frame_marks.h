// frame_marks.h - what the decoded CMPI objects of a streamed answer lose, read from the host's
// data frames without building the whole frame as a JSON document.
//
// The library's tokenizer turns each data frame into a CMPI instance, but a decoded instance
// cannot tell a null property from one that is not null, nor an empty array from a null one;
// the frame can ("DataState", a value object without "Value"). The front end used to parse every
// frame a second time into a full jsoncpp document to ask that; for large enumerations the
// second parse was a quarter of the time. FrameMarks splits the answer into frames like
// cli::FrameSplitter (status and error frames skipped) and scans each frame once, keeping only
// the marks, in a small document of the same shape as the frame, so that member() and
// cli::wire_value() read it unchanged:
//
//   {"InstanceProps": {"<property>": {"DataType": <n>, "DataState": <n>, "Value": true,
//                                     "CMPIInstance": {"InstanceProps": {...}}}, ...}}
//
// "DataType" and "DataState" are kept when they are unsigned integers (otherwise a non-number
// stands in), "Value" only says that the member is there, and an embedded instance keeps its
// own marks. Only the properties whose marks tell something are kept: a null one ("DataState"
// 256), one without "Value" or "CMPIInstance" (an empty array, a missing value), and one whose
// embedded instance keeps properties of its own. Any other property, and one whose value is
// not an object, is left out: a property that is not there reads as a null Json::Value, for
// which cli::wire_value() reports nothing null, empty or missing, as for the property itself.
// (Most properties are plain values; building their marks was most of the scan's cost.) A frame
// the scan does not follow (not an object, a key with a \u escape) is parsed whole with jsoncpp
// as before, and one that does not parse gives a null document.
#ifndef CMPI_WBEMD_FRAME_MARKS_H
#define CMPI_WBEMD_FRAME_MARKS_H

#include <json/json.h>

#include <deque>
#include <string>
#include <string_view>

namespace wbem {

class FrameMarks {
 public:
  // Adds a piece of the answer (NUL-terminated text); the marks of the data frames that end in
  // it are appended to frames, in order.
  void add(const char *piece, std::deque<Json::Value> *frames);

 private:
  std::string text_;
};

// The marks of one data frame (without its terminator), as described above.
Json::Value frame_marks(std::string_view frame);

}  // namespace wbem

#endif  // CMPI_WBEMD_FRAME_MARKS_H
