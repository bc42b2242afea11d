#include "json/compact_text.h"

namespace cmpiutility {

std::string compact_text(const Json::Value &document) {
  Json::StreamWriterBuilder builder;
  builder["indentation"] = "";
  return Json::writeString(builder, document);
}

}  // namespace cmpiutility
