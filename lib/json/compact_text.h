// compact_text.h - the one way documents are turned into text: jsoncpp's stream writer with the
// "indentation" setting empty, so the text is compact (member order is jsoncpp's sorted order).
#ifndef CMPIUTILITY_JSON_COMPACT_TEXT_H
#define CMPIUTILITY_JSON_COMPACT_TEXT_H

#include <json/json.h>

#include <string>

namespace cmpiutility {

std::string compact_text(const Json::Value &document);

}  // namespace cmpiutility

#endif
