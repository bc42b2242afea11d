// compact_pieces.h - the pieces the compact writer (compact_text.h) is made of, for writers that
// produce the same text without building a document first (response/instance_frame.h).
//
// Each function appends to *out exactly the bytes compact_text writes for the same value: a
// string quoted and escaped as jsoncpp escapes it, an unsigned or signed integer in decimal, a
// real with 17 significant digits (no special floats: NaN is written null, infinities as
// 1e+9999 and -1e+9999), a whole value with its members in jsoncpp's sorted order.
#ifndef CMPIUTILITY_JSON_COMPACT_PIECES_H
#define CMPIUTILITY_JSON_COMPACT_PIECES_H

#include <json/json.h>
#include <stdint.h>

#include <string>

namespace cmpiutility {
namespace compact {

// The quoted text of [begin, end); begin must be a C string whose terminating NUL is at end (or
// earlier). False, with nothing appended, when the text holds a NUL byte before end: jsoncpp's
// own quoting stops there, so such text is left to jsoncpp's writer.
bool append_quoted(const char *begin, const char *end, std::string *out);

void append_unsigned(uint64_t number, std::string *out);
void append_signed(int64_t number, std::string *out);
void append_real(double number, std::string *out);

// The text of value. False when a string in it holds a NUL byte; *out then holds a partial
// text, and the caller writes the value with compact_text_by_jsoncpp instead.
bool append_value(const Json::Value &value, std::string *out);

}  // namespace compact
}  // namespace cmpiutility

#endif  // CMPIUTILITY_JSON_COMPACT_PIECES_H
