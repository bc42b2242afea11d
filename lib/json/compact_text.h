// compact_text.h - the one way documents are turned into text: the text jsoncpp's stream writer
// makes with the "indentation" setting empty (compact, members in jsoncpp's sorted order, text
// escaped as jsoncpp escapes it, reals with 17 significant digits).
//
// The text is written here directly instead of through jsoncpp's stream writer, which builds a
// writer and an output stream for every document and copies every member name; the bytes are
// the same (peers compare frames byte for byte, and the tests compare the two writers on every
// kind of value). What this writer does not write itself it takes from jsoncpp: the text of a
// real and of a string that needs escaping, and a whole document holding a string with a NUL
// byte in it.
#ifndef CMPIUTILITY_JSON_COMPACT_TEXT_H
#define CMPIUTILITY_JSON_COMPACT_TEXT_H

#include <json/json.h>

#include <string>

namespace cmpiutility {

std::string compact_text(const Json::Value &document);

// The same text, made by jsoncpp's own stream writer (the reference compact_text matches).
std::string compact_text_by_jsoncpp(const Json::Value &document);

}  // namespace cmpiutility

#endif
