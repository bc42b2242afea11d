// frame_view.cpp - reading the daemon's data frames next to the library's tokenizers.
#include "frame_view.h"

#include <cmpidt.h>

#include <memory>

#include "wire.h"

namespace cli {

namespace {

bool starts_with(const std::string &text, const std::string &head) {
  return text.compare(0, head.size(), head) == 0;
}

Json::Value parse_frame(const std::string &text) {
  Json::CharReaderBuilder builder;
  builder["collectComments"] = false;
  const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
  Json::Value document;
  std::string error;
  if (!reader->parse(text.data(), text.data() + text.size(), &document, &error)) {
    return Json::Value();
  }
  return document;
}

}  // namespace

void FrameSplitter::add(const char *piece, std::deque<Json::Value> *frames) {
  text_ += piece;
  std::size_t start = 0;
  std::size_t at = 0;
  while ((at = text_.find(wire::kTerminator, start)) != std::string::npos) {
    const std::string frame = text_.substr(start, at - start);
    start = at + wire::kTerminator.size();
    if (starts_with(frame, "CMPIOPERATION_COMPLETE") || starts_with(frame, "CMPIERROR")) continue;
    frames->push_back(parse_frame(frame));
  }
  text_.erase(0, start);
}

bool frame_status_message(const Json::Value &frame, std::string *message) {
  if (!frame.isObject()) return false;
  for (const char *member : {"GetInstStatusMsg", "SetInstStatusMsg", "GetClassStatusMsg"}) {
    const Json::Value &text = frame[member];
    if (text.isString()) {
      *message = text.asString();
      return true;
    }
  }
  return false;
}

WireValue wire_value(const Json::Value &value_object) {
  WireValue out;
  if (!value_object.isObject()) return out;
  const Json::Value &type = value_object["DataType"];
  if (type.isUInt()) out.type = type.asUInt();
  const Json::Value &state = value_object["DataState"];
  out.is_null = state.isUInt() && state.asUInt() == CMPI_nullValue;
  const bool has_value =
      value_object.isMember("Value") || value_object.isMember("CMPIInstance");
  if (!out.is_null && !has_value) {
    if ((out.type & CMPI_ARRAY) != 0) {
      out.empty_array = true;
    } else {
      out.value_missing = true;
    }
  }
  return out;
}

}  // namespace cli
