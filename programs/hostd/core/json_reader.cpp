// json_reader.cpp - the strict JSON reader: a state machine over the text, one byte at a time.
#include "json_reader.h"

#include <cstring>

namespace hostd {

namespace {

bool is_digit(char c) { return c >= '0' && c <= '9'; }

// The value of one hexadecimal digit, or -1.
int hex_digit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

bool is_high_surrogate(unsigned unit) { return unit >= 0xD800 && unit <= 0xDBFF; }
bool is_low_surrogate(unsigned unit) { return unit >= 0xDC00 && unit <= 0xDFFF; }

// UTF-8 length of a code point below U+10000.
std::size_t utf8_length(unsigned unit) {
  if (unit < 0x80) return 1;
  if (unit < 0x800) return 2;
  return 3;
}

// Where four hexadecimal digits from pos break off: the first byte that is none, or the end of
// the text when it ends before the fourth.
std::size_t first_non_hex(std::string_view text, std::size_t pos) {
  for (std::size_t i = 0; i < 4 && pos + i < text.size(); ++i) {
    if (hex_digit(text[pos + i]) < 0) return pos + i;
  }
  return text.size();
}

// Four hexadecimal digits known to be valid.
unsigned hex4(const char *p) {
  unsigned unit = 0;
  for (int i = 0; i < 4; ++i) unit = unit * 16 + static_cast<unsigned>(hex_digit(p[i]));
  return unit;
}

void append_utf8(unsigned long cp, std::string *out) {
  if (cp < 0x80) {
    out->push_back(static_cast<char>(cp));
  } else if (cp < 0x800) {
    out->push_back(static_cast<char>(0xC0 | (cp >> 6)));
    out->push_back(static_cast<char>(0x80 | (cp & 0x3F)));
  } else if (cp < 0x10000) {
    out->push_back(static_cast<char>(0xE0 | (cp >> 12)));
    out->push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
    out->push_back(static_cast<char>(0x80 | (cp & 0x3F)));
  } else {
    out->push_back(static_cast<char>(0xF0 | (cp >> 18)));
    out->push_back(static_cast<char>(0x80 | ((cp >> 12) & 0x3F)));
    out->push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
    out->push_back(static_cast<char>(0x80 | (cp & 0x3F)));
  }
}

}  // namespace

JsonReader::JsonReader(std::string_view text, int max_depth) : text_(text), max_depth_(max_depth) {}

JsonToken JsonReader::fail(JsonError error, std::size_t offset) {
  error_ = error;
  error_offset_ = offset;
  return JsonToken::kError;
}

void JsonReader::skip_whitespace() {
  while (pos_ < text_.size()) {
    const char c = text_[pos_];
    if (c != ' ' && c != '\t' && c != '\n' && c != '\r') return;
    ++pos_;
  }
}

void JsonReader::after_value() { expect_ = open_.empty() ? Expect::kNothing : Expect::kCommaOrEnd; }

JsonToken JsonReader::next() {
  if (error_ != JsonError::kNone) return JsonToken::kError;
  for (;;) {
    skip_whitespace();
    if (pos_ == text_.size()) {
      if (expect_ == Expect::kNothing) return JsonToken::kEnd;
      return fail(started_ ? JsonError::kSyntax : JsonError::kEmpty, pos_);
    }
    started_ = true;
    const char c = text_[pos_];
    switch (expect_) {
      case Expect::kNothing:
        return fail(JsonError::kTrailing, pos_);
      case Expect::kValue:
        return value(c);
      case Expect::kValueOrArrayEnd:
        if (c == ']') return close();
        return value(c);
      case Expect::kNameOrObjectEnd:
        if (c == '}') return close();
        [[fallthrough]];
      case Expect::kName:
        if (c != '"') return fail(JsonError::kSyntax, pos_);
        if (!scan_string()) return JsonToken::kError;
        skip_whitespace();
        if (pos_ == text_.size() || text_[pos_] != ':') return fail(JsonError::kSyntax, pos_);
        ++pos_;
        expect_ = Expect::kValue;
        return JsonToken::kName;
      case Expect::kCommaOrEnd: {
        const char kind = open_.back();
        if (c == ',') {
          ++pos_;
          expect_ = kind == '{' ? Expect::kName : Expect::kValue;
          continue;  // the token after the comma
        }
        if ((kind == '{' && c == '}') || (kind == '[' && c == ']')) return close();
        return fail(JsonError::kSyntax, pos_);
      }
    }
    return fail(JsonError::kSyntax, pos_);
  }
}

JsonToken JsonReader::value(char c) {
  switch (c) {
    case '{':
    case '[':
      return open(c);
    case '"':
      if (!scan_string()) return JsonToken::kError;
      after_value();
      return JsonToken::kString;
    case 't':
      if (!scan_literal("true")) return JsonToken::kError;
      return JsonToken::kTrue;
    case 'f':
      if (!scan_literal("false")) return JsonToken::kError;
      return JsonToken::kFalse;
    case 'n':
      if (!scan_literal("null")) return JsonToken::kError;
      return JsonToken::kNull;
    default:
      if (c == '-' || is_digit(c)) {
        if (!scan_number()) return JsonToken::kError;
        return JsonToken::kNumber;
      }
      return fail(JsonError::kSyntax, pos_);
  }
}

JsonToken JsonReader::open(char kind) {
  if (depth() >= max_depth_) return fail(JsonError::kTooDeep, pos_);
  open_.push_back(kind);
  ++pos_;
  expect_ = kind == '{' ? Expect::kNameOrObjectEnd : Expect::kValueOrArrayEnd;
  return kind == '{' ? JsonToken::kObjectBegin : JsonToken::kArrayBegin;
}

JsonToken JsonReader::close() {
  const char kind = open_.back();
  open_.pop_back();
  ++pos_;
  after_value();
  return kind == '{' ? JsonToken::kObjectEnd : JsonToken::kArrayEnd;
}

bool JsonReader::scan_literal(std::string_view word) {
  for (std::size_t i = 0; i < word.size(); ++i) {
    if (pos_ + i == text_.size() || text_[pos_ + i] != word[i]) {
      fail(JsonError::kSyntax, pos_ + i);
      return false;
    }
  }
  pos_ += word.size();
  after_value();
  return true;
}

bool JsonReader::scan_number() {
  const std::size_t start = pos_;
  const std::size_t size = text_.size();
  std::size_t p = pos_;
  bool integer = true;
  if (text_[p] == '-') ++p;
  if (p < size && text_[p] == '0') {
    ++p;
  } else if (p < size && is_digit(text_[p])) {
    while (p < size && is_digit(text_[p])) ++p;
  } else {
    fail(JsonError::kSyntax, p);
    return false;
  }
  if (p < size && text_[p] == '.') {
    integer = false;
    ++p;
    if (p == size || !is_digit(text_[p])) {
      fail(JsonError::kSyntax, p);
      return false;
    }
    while (p < size && is_digit(text_[p])) ++p;
  }
  if (p < size && (text_[p] == 'e' || text_[p] == 'E')) {
    integer = false;
    ++p;
    if (p < size && (text_[p] == '+' || text_[p] == '-')) ++p;
    if (p == size || !is_digit(text_[p])) {
      fail(JsonError::kSyntax, p);
      return false;
    }
    while (p < size && is_digit(text_[p])) ++p;
  }
  number_.offset = start;
  number_.length = p - start;
  number_.integer = integer;
  pos_ = p;
  after_value();
  return true;
}

bool JsonReader::scan_string() {
  // pos_ is at the opening quote.
  string_ = JsonString();
  string_.offset = pos_ + 1;
  const std::size_t size = text_.size();
  std::size_t p = pos_ + 1;
  for (;;) {
    // The common run of plain printable ASCII first.
    while (p < size) {
      const unsigned char b = static_cast<unsigned char>(text_[p]);
      if (b < 0x20 || b >= 0x80 || b == '"' || b == '\\') break;
      ++p;
      ++string_.length;
    }
    if (p == size) {
      fail(JsonError::kSyntax, p);
      return false;
    }
    const unsigned char b = static_cast<unsigned char>(text_[p]);
    if (b == '"') break;
    if (b == '\\') {
      string_.escaped = true;
      if (!scan_escape(&p)) return false;
    } else if (b < 0x20) {
      fail(b == 0 ? JsonError::kNul : JsonError::kSyntax, p);
      return false;
    } else {
      const std::size_t start = p;
      if (!scan_utf8(&p)) return false;
      string_.length += p - start;
    }
  }
  string_.raw_length = p - string_.offset;
  pos_ = p + 1;
  return true;
}

bool JsonReader::scan_hex4(std::size_t pos, unsigned *unit) const {
  *unit = 0;
  for (std::size_t i = 0; i < 4; ++i) {
    if (pos + i >= text_.size()) return false;
    const int digit = hex_digit(text_[pos + i]);
    if (digit < 0) return false;
    *unit = *unit * 16 + static_cast<unsigned>(digit);
  }
  return true;
}

bool JsonReader::scan_escape(std::size_t *pos) {
  const std::size_t p = *pos;  // at the backslash
  if (p + 1 == text_.size()) {
    fail(JsonError::kSyntax, p + 1);
    return false;
  }
  switch (text_[p + 1]) {
    case '"':
    case '\\':
    case '/':
    case 'b':
    case 'f':
    case 'n':
    case 'r':
    case 't':
      ++string_.length;
      *pos = p + 2;
      return true;
    case 'u':
      break;
    default:
      fail(JsonError::kSyntax, p + 1);
      return false;
  }
  unsigned unit = 0;
  if (!scan_hex4(p + 2, &unit)) {
    fail(JsonError::kSyntax, first_non_hex(text_, p + 2));
    return false;
  }
  if (is_low_surrogate(unit)) {
    fail(JsonError::kLoneSurrogate, p);
    return false;
  }
  if (is_high_surrogate(unit)) {
    // Its partner must follow at once, as an escape of its own.
    const std::size_t q = p + 6;
    if (q + 1 >= text_.size() || text_[q] != '\\' || text_[q + 1] != 'u') {
      fail(JsonError::kLoneSurrogate, p);
      return false;
    }
    unsigned low = 0;
    if (!scan_hex4(q + 2, &low)) {
      fail(JsonError::kSyntax, first_non_hex(text_, q + 2));
      return false;
    }
    if (!is_low_surrogate(low)) {
      fail(JsonError::kLoneSurrogate, p);
      return false;
    }
    string_.length += 4;
    *pos = q + 6;
    return true;
  }
  if (unit == 0) string_.has_nul = true;
  string_.length += utf8_length(unit);
  *pos = p + 6;
  return true;
}

bool JsonReader::scan_utf8(std::size_t *pos) {
  // Well-formed sequences as Unicode lists them: the lead byte fixes the number of continuation
  // bytes and the range of the first one, which shuts out overlong forms, surrogates and code
  // points above U+10FFFF.
  const std::size_t p = *pos;
  const unsigned char lead = static_cast<unsigned char>(text_[p]);
  std::size_t more = 0;
  unsigned char low = 0x80;
  unsigned char high = 0xBF;
  if (lead >= 0xC2 && lead <= 0xDF) {
    more = 1;
  } else if (lead == 0xE0) {
    more = 2;
    low = 0xA0;
  } else if (lead == 0xED) {
    more = 2;
    high = 0x9F;
  } else if (lead >= 0xE1 && lead <= 0xEF) {
    more = 2;
  } else if (lead == 0xF0) {
    more = 3;
    low = 0x90;
  } else if (lead >= 0xF1 && lead <= 0xF3) {
    more = 3;
  } else if (lead == 0xF4) {
    more = 3;
    high = 0x8F;
  } else {
    fail(JsonError::kBadUtf8, p);
    return false;
  }
  for (std::size_t i = 1; i <= more; ++i) {
    if (p + i == text_.size()) {
      fail(JsonError::kBadUtf8, p + i);
      return false;
    }
    const unsigned char b = static_cast<unsigned char>(text_[p + i]);
    const unsigned char from = i == 1 ? low : 0x80;
    const unsigned char to = i == 1 ? high : 0xBF;
    if (b < from || b > to) {
      fail(JsonError::kBadUtf8, p + i);
      return false;
    }
  }
  *pos = p + 1 + more;
  return true;
}

void JsonReader::decode(const JsonString &token, std::string *out) const {
  const char *p = text_.data() + token.offset;
  const char *const end = p + token.raw_length;
  out->clear();
  if (!token.escaped) {
    out->assign(p, token.raw_length);
    return;
  }
  out->reserve(token.length);
  while (p < end) {
    const void *found = std::memchr(p, '\\', static_cast<std::size_t>(end - p));
    const char *backslash = found != nullptr ? static_cast<const char *>(found) : end;
    out->append(p, static_cast<std::size_t>(backslash - p));
    if (backslash == end) break;
    const char e = backslash[1];
    p = backslash + 2;
    switch (e) {
      case 'b':
        out->push_back('\b');
        break;
      case 'f':
        out->push_back('\f');
        break;
      case 'n':
        out->push_back('\n');
        break;
      case 'r':
        out->push_back('\r');
        break;
      case 't':
        out->push_back('\t');
        break;
      case 'u': {
        // The reader has checked the digits and the pairing.
        const unsigned unit = hex4(p);
        p += 4;
        if (is_high_surrogate(unit)) {
          const unsigned low = hex4(p + 2);
          p += 6;
          append_utf8(0x10000UL + ((static_cast<unsigned long>(unit) - 0xD800) << 10) +
                          (low - 0xDC00),
                      out);
        } else {
          append_utf8(unit, out);
        }
        break;
      }
      default:  // '"', '\\', '/'
        out->push_back(e);
        break;
    }
  }
}

}  // namespace hostd
