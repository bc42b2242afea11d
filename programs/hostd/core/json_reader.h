// json_reader.h - a strict, single-pass JSON reader (RFC 8259) that hands out one token at a
// time, for checking documents that come from untrusted peers before anything else reads them.
//
// Takes: a view of the text (not copied; it must outlive the reader) and the deepest nesting of
// objects and arrays allowed (the outermost container is level 1).
// Owns: only a stack of the open containers, never deeper than that limit.
// Gives: tokens in document order (next()), and after the end or an error the reason and the
// byte offset (counted from 0) where the text went wrong. Every byte is looked at once; nothing
// is allocated per byte and strings are not copied: a caller that wants a string's text asks
// decode() for it.
//
// Stricter than plain JSON syntax in three ways, so that no peer's bytes can mean two things:
//   - a raw byte 0 inside a string is reported as kNul, and an escaped \u0000 is flagged on the
//     string (JsonString::has_nul) for the caller to judge;
//   - raw bytes of 0x80 and above must form well-formed UTF-8 (no overlong forms, no encoded
//     surrogates, nothing above U+10FFFF);
//   - a \u escape of a UTF-16 surrogate must be a high one directly followed by an escaped low
//     one; unpaired surrogates are refused (kLoneSurrogate), never turned into bytes.
// The library's own writer escapes everything outside printable ASCII and never writes a lone
// surrogate, so none of this refuses a document it made.
#ifndef CMPI_HOSTD_JSON_READER_H
#define CMPI_HOSTD_JSON_READER_H

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace hostd {

// A string token as it stands in the text: the bytes between its quotes.
struct JsonString {
  std::size_t offset = 0;      // of the first byte after the opening quote
  std::size_t raw_length = 0;  // bytes up to the closing quote
  std::size_t length = 0;      // bytes of its UTF-8 text once unescaped
  bool escaped = false;        // holds at least one backslash escape
  bool has_nul = false;        // holds an escaped NUL (\u0000)
};

// A number token: its text, and whether it is a plain integer (no fraction, no exponent).
struct JsonNumber {
  std::size_t offset = 0;
  std::size_t length = 0;
  bool integer = false;
};

enum class JsonToken {
  kObjectBegin,
  kObjectEnd,
  kArrayBegin,
  kArrayEnd,
  kName,  // a member name; the reader has already passed its ":"
  kString,
  kNumber,
  kTrue,
  kFalse,
  kNull,
  kEnd,    // the one value and the whitespace after it are through
  kError,  // see error() and error_offset(); every later call gives kError again
};

enum class JsonError {
  kNone,
  kEmpty,          // nothing but whitespace
  kSyntax,         // not JSON here (also: control characters in strings, end of text too soon)
  kNul,            // a raw byte 0 inside a string
  kBadUtf8,        // a raw byte that does not belong to well-formed UTF-8
  kLoneSurrogate,  // a \u escape of a surrogate that has no partner
  kTooDeep,        // an object or array beyond the nesting limit
  kTrailing,       // something other than whitespace after the value
};

class JsonReader {
 public:
  JsonReader(std::string_view text, int max_depth);

  // The next token. kName and kString fill string(), kNumber fills number().
  JsonToken next();

  const JsonString &string() const { return string_; }
  const JsonNumber &number() const { return number_; }
  // Open containers after the last token: 1 inside the outermost one. A kName belongs to the
  // object at this depth.
  int depth() const { return static_cast<int>(open_.size()); }

  JsonError error() const { return error_; }
  std::size_t error_offset() const { return error_offset_; }

  // The text of a string token of this document, unescaped, into *out (replacing what it held).
  void decode(const JsonString &token, std::string *out) const;
  // The text of a number token as it stands.
  std::string_view text_of(const JsonNumber &token) const {
    return text_.substr(token.offset, token.length);
  }
  // The bytes between a string token's quotes as they stand.
  std::string_view raw_of(const JsonString &token) const {
    return text_.substr(token.offset, token.raw_length);
  }

 private:
  enum class Expect {
    kValue,            // a value: the document's, a member's or an array element
    kValueOrArrayEnd,  // just after "["
    kNameOrObjectEnd,  // just after "{"
    kName,             // after "," in an object
    kCommaOrEnd,       // after a value inside a container
    kNothing,          // after the document's value: only whitespace may follow
  };

  JsonToken fail(JsonError error, std::size_t offset);
  JsonToken value(char c);
  JsonToken open(char kind);
  JsonToken close();
  bool scan_string();
  bool scan_escape(std::size_t *pos);
  bool scan_utf8(std::size_t *pos);
  bool scan_hex4(std::size_t pos, unsigned *unit) const;
  bool scan_number();
  bool scan_literal(std::string_view word);
  void after_value();
  void skip_whitespace();

  std::string_view text_;
  std::size_t pos_ = 0;
  int max_depth_;
  std::vector<char> open_;  // '{' or '[' per open container
  Expect expect_ = Expect::kValue;
  bool started_ = false;
  JsonString string_;
  JsonNumber number_;
  JsonError error_ = JsonError::kNone;
  std::size_t error_offset_ = 0;
};

}  // namespace hostd

#endif  // CMPI_HOSTD_JSON_READER_H
