#include "json/compact_text.h"

#include <charconv>
#include <cmath>
#include <cstring>

#include "json/compact_pieces.h"

namespace cmpiutility {
namespace {

template <typename Number>
void append_number(Number n, std::string *out) {
  char digits[24];
  const std::to_chars_result r = std::to_chars(digits, digits + sizeof digits, n);
  // By length: the iterator-range append goes through the general replace path.
  out->append(digits, static_cast<size_t>(r.ptr - digits));
}

// The bytes a string cannot hold as they are: control characters, '"', '\\' and everything
// outside printable ASCII (jsoncpp writes those as escapes).
struct EscapedBytes {
  bool needs[256];
  constexpr EscapedBytes() : needs() {
    for (int u = 0; u < 256; ++u) needs[u] = u < 0x20 || u > 0x7E || u == '"' || u == '\\';
  }
};
constexpr EscapedBytes kEscaped;

}  // namespace

namespace compact {

bool append_quoted(const char *begin, const char *end, std::string *out) {
  bool plain = true;
  for (const char *c = begin; c != end; ++c) {
    if (kEscaped.needs[static_cast<unsigned char>(*c)]) {
      plain = false;
      break;
    }
  }
  if (plain) {
    out->push_back('"');
    out->append(begin, static_cast<size_t>(end - begin));
    out->push_back('"');
    return true;
  }
  if (std::memchr(begin, '\0', static_cast<size_t>(end - begin)) != nullptr) return false;
  // jsoncpp keeps a NUL after every string it holds, so begin is a C string ending at end.
  out->append(Json::valueToQuotedString(begin));
  return true;
}

void append_unsigned(uint64_t number, std::string *out) { append_number(number, out); }

void append_signed(int64_t number, std::string *out) { append_number(number, out); }

void append_real(double number, std::string *out) {
  if (!std::isfinite(number)) {
    // The stream writer's settings: no special floats (null, 1e+9999, -1e+9999).
    out->append(Json::valueToString(number, 17, Json::PrecisionType::significantDigits));
    return;
  }
  // What jsoncpp writes for a finite real: printf's %.17g, which to_chars with the general
  // format and a precision of 17 is defined to match, plus ".0" when the text shows neither a
  // point nor an exponent (so that it reads back as a real).
  char digits[40];
  const std::to_chars_result r =
      std::to_chars(digits, digits + sizeof digits, number, std::chars_format::general, 17);
  const size_t length = static_cast<size_t>(r.ptr - digits);
  out->append(digits, length);
  if (std::memchr(digits, '.', length) == nullptr && std::memchr(digits, 'e', length) == nullptr) {
    out->append(".0");
  }
}

bool append_value(const Json::Value &value, std::string *out) {
  switch (value.type()) {
    case Json::nullValue:
      out->append("null");
      return true;
    case Json::intValue:
      append_signed(value.asLargestInt(), out);
      return true;
    case Json::uintValue:
      append_unsigned(value.asLargestUInt(), out);
      return true;
    case Json::realValue:
      append_real(value.asDouble(), out);
      return true;
    case Json::stringValue: {
      const char *begin = nullptr;
      const char *end = nullptr;
      value.getString(&begin, &end);
      return begin == nullptr || append_quoted(begin, end, out);
    }
    case Json::booleanValue:
      out->append(value.asBool() ? "true" : "false");
      return true;
    case Json::arrayValue: {
      if (value.empty()) {
        out->append("[]");
        return true;
      }
      out->push_back('[');
      bool first = true;
      for (const Json::Value &element : value) {
        if (!first) out->push_back(',');
        first = false;
        if (!append_value(element, out)) return false;
      }
      out->push_back(']');
      return true;
    }
    case Json::objectValue: {
      if (value.empty()) {
        out->append("{}");
        return true;
      }
      out->push_back('{');
      bool first = true;
      for (Json::Value::const_iterator it = value.begin(); it != value.end(); ++it) {
        if (!first) out->push_back(',');
        first = false;
        const char *name_end = nullptr;
        const char *name = it.memberName(&name_end);
        if (!append_quoted(name, name_end, out)) return false;
        out->push_back(':');
        if (!append_value(*it, out)) return false;
      }
      out->push_back('}');
      return true;
    }
  }
  return false;
}

}  // namespace compact

std::string compact_text(const Json::Value &document) {
  std::string text;
  text.reserve(1024);
  if (compact::append_value(document, &text)) return text;
  return compact_text_by_jsoncpp(document);
}

std::string compact_text_by_jsoncpp(const Json::Value &document) {
  Json::StreamWriterBuilder builder;
  builder["indentation"] = "";
  return Json::writeString(builder, document);
}

}  // namespace cmpiutility
