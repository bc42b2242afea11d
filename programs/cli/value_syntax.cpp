// value_syntax.cpp - the parser of typed command-line values.
#include "value_syntax.h"

#include <strings.h>

#include <cctype>
#include <cfloat>
#include <cmath>
#include <cstdlib>
#include <limits>

namespace cli {
namespace {

struct TypeEntry {
  const char *name;
  CMPIType code;
};

// The names this program reads; the first name of a code is the one it writes.
constexpr TypeEntry kTypes[] = {
    {"boolean", CMPI_boolean}, {"char16", CMPI_char16},       {"uint8", CMPI_uint8},
    {"uint16", CMPI_uint16},   {"uint32", CMPI_uint32},       {"uint64", CMPI_uint64},
    {"sint8", CMPI_sint8},     {"sint16", CMPI_sint16},       {"sint32", CMPI_sint32},
    {"sint64", CMPI_sint64},   {"real32", CMPI_real32},       {"real64", CMPI_real64},
    {"string", CMPI_string},   {"datetime", CMPI_dateTime},   {"reference", CMPI_ref},
    {"ref", CMPI_ref},
};

const char kKnownTypes[] =
    "boolean, char16, uint8, uint16, uint32, uint64, sint8, sint16, sint32, sint64, real32, "
    "real64, string, datetime, ref";

std::string at_column(std::size_t index) { return " at column " + std::to_string(index + 1); }

bool is_blank(char c) { return c == ' ' || c == '\t'; }

// Unsigned decimal digits (no sign) into *out; false when empty, not digits or above max.
bool read_unsigned(const std::string &digits, uint64_t max, uint64_t *out) {
  if (digits.empty()) return false;
  uint64_t value = 0;
  for (char c : digits) {
    if (std::isdigit(static_cast<unsigned char>(c)) == 0) return false;
    unsigned d = static_cast<unsigned>(c - '0');
    if (value > (max - d) / 10) return false;
    value = value * 10 + d;
  }
  *out = value;
  return true;
}

struct Range {
  uint64_t umax;
  int64_t smin;
  int64_t smax;
};

Range range_of(CMPIType type) {
  switch (type) {
    case CMPI_uint8: return {UINT8_MAX, 0, 0};
    case CMPI_uint16: return {UINT16_MAX, 0, 0};
    case CMPI_uint32: return {UINT32_MAX, 0, 0};
    case CMPI_uint64: return {UINT64_MAX, 0, 0};
    case CMPI_sint8: return {0, INT8_MIN, INT8_MAX};
    case CMPI_sint16: return {0, INT16_MIN, INT16_MAX};
    case CMPI_sint32: return {0, INT32_MIN, INT32_MAX};
    default: return {0, INT64_MIN, INT64_MAX};
  }
}

// The code point of text when it is exactly one UTF-8 encoded character of the 16-bit range.
bool single_character(const std::string &text, uint64_t *code) {
  const auto *b = reinterpret_cast<const unsigned char *>(text.data());
  const std::size_t n = text.size();
  if (n == 1 && b[0] < 0x80) {
    *code = b[0];
    return true;
  }
  if (n == 2 && (b[0] & 0xE0) == 0xC0 && (b[1] & 0xC0) == 0x80) {
    uint64_t c = ((b[0] & 0x1Fu) << 6) | (b[1] & 0x3Fu);
    if (c < 0x80) return false;
    *code = c;
    return true;
  }
  if (n == 3 && (b[0] & 0xF0) == 0xE0 && (b[1] & 0xC0) == 0x80 && (b[2] & 0xC0) == 0x80) {
    uint64_t c = ((b[0] & 0x0Fu) << 12) | ((b[1] & 0x3Fu) << 6) | (b[2] & 0x3Fu);
    if (c < 0x800 || (c >= 0xD800 && c <= 0xDFFF)) return false;
    *code = c;
    return true;
  }
  return false;
}

bool is_datetime(const std::string &text) {
  if (text.size() != 25 || text[14] != '.') return false;
  const char sign = text[21];
  if (sign != '+' && sign != '-' && sign != ':') return false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (i == 14 || i == 21) continue;
    if (std::isdigit(static_cast<unsigned char>(text[i])) == 0) return false;
  }
  return sign != ':' || text.compare(22, 3, "000") == 0;
}

bool read_real(const std::string &text, CMPIType type, double *out) {
  if (text.empty()) return false;
  for (char c : text) {
    if (std::isdigit(static_cast<unsigned char>(c)) == 0 && c != '+' && c != '-' && c != '.' &&
        c != 'e' && c != 'E') {
      return false;
    }
  }
  char *end = nullptr;
  double value = std::strtod(text.c_str(), &end);
  if (end != text.c_str() + text.size() || !std::isfinite(value)) return false;
  if (type == CMPI_real32 && std::fabs(value) > FLT_MAX) return false;
  *out = value;
  return true;
}

std::string quoted_for_message(const std::string &text) { return "'" + text + "'"; }

ScalarValue convert(CMPIType type, const std::string &text) {
  ScalarValue v;
  const std::string what = quoted_for_message(text);
  switch (type) {
    case CMPI_string:
      v.text = text;
      return v;
    case CMPI_boolean:
      if (strcasecmp(text.c_str(), "true") == 0) {
        v.boolean_value = true;
      } else if (strcasecmp(text.c_str(), "false") != 0) {
        throw SyntaxError(what + " is not a boolean (true or false)");
      }
      return v;
    case CMPI_char16:
      if (!single_character(text, &v.unsigned_value)) {
        throw SyntaxError(what + " is not a single character");
      }
      return v;
    case CMPI_uint8:
    case CMPI_uint16:
    case CMPI_uint32:
    case CMPI_uint64: {
      const Range r = range_of(type);
      if (!read_unsigned(text, r.umax, &v.unsigned_value)) {
        throw SyntaxError(what + " is not a " + type_name(type) + " (0 to " +
                          std::to_string(r.umax) + ")");
      }
      return v;
    }
    case CMPI_sint8:
    case CMPI_sint16:
    case CMPI_sint32:
    case CMPI_sint64: {
      const Range r = range_of(type);
      const bool negative = !text.empty() && text[0] == '-';
      const std::string digits =
          (!text.empty() && (text[0] == '-' || text[0] == '+')) ? text.substr(1) : text;
      uint64_t magnitude = 0;
      const uint64_t limit = negative ? static_cast<uint64_t>(-(r.smin + 1)) + 1
                                      : static_cast<uint64_t>(r.smax);
      if (!read_unsigned(digits, limit, &magnitude)) {
        throw SyntaxError(what + " is not a " + type_name(type) + " (" + std::to_string(r.smin) +
                          " to " + std::to_string(r.smax) + ")");
      }
      v.signed_value = negative ? static_cast<int64_t>(0 - magnitude) : static_cast<int64_t>(magnitude);
      return v;
    }
    case CMPI_real32:
    case CMPI_real64:
      if (!read_real(text, type, &v.real_value)) {
        throw SyntaxError(what + " is not a " + type_name(type) + " (a number such as 1.5 or -2e3)");
      }
      return v;
    case CMPI_dateTime:
      if (!is_datetime(text)) {
        throw SyntaxError(what +
                          " is not a date-time (yyyymmddhhmmss.mmmmmm+zzz, or "
                          "ddddddddhhmmss.mmmmmm:000 for an interval)");
      }
      v.text = text;
      return v;
    case CMPI_ref:
      try {
        v.reference = std::make_shared<const ParsedPath>(parse_path(text));
      } catch (const SyntaxError &e) {
        throw SyntaxError(what + " is not an object path: " + e.what());
      }
      return v;
    default:
      throw SyntaxError("values of " + type_name(type) + " cannot be written");
  }
}

// The elements of "[a, "b", c]"; offset is the column of value[0] in the whole argument.
std::vector<std::string> split_array(const std::string &value, std::size_t offset) {
  if (value.size() < 2 || value.front() != '[' || value.back() != ']') {
    throw SyntaxError("array value " + quoted_for_message(value) +
                      " must be written in brackets, e.g. [a,b]");
  }
  std::vector<std::string> elements;
  const std::size_t close = value.size() - 1;
  std::size_t i = 1;
  while (i < close && is_blank(value[i])) ++i;
  if (i == close) return elements;
  for (;;) {
    while (i < close && is_blank(value[i])) ++i;
    std::string element;
    if (i < close && value[i] == '"') {
      const std::size_t open = i++;
      for (;;) {
        if (i >= close) throw SyntaxError("unterminated quoted element" + at_column(offset + open));
        const char c = value[i];
        if (c == '"') {
          ++i;
          break;
        }
        if (c == '\\') {
          const char next = i + 1 < close ? value[i + 1] : '\0';
          if (next != '"' && next != '\\') {
            if (i + 1 >= close) {
              throw SyntaxError("unterminated quoted element" + at_column(offset + open));
            }
            throw SyntaxError(std::string("unknown escape '\\") + next + "'" +
                              at_column(offset + i) + " (only \\\" and \\\\)");
          }
          element += next;
          i += 2;
          continue;
        }
        element += c;
        ++i;
      }
    } else {
      const std::size_t start = i;
      while (i < close && value[i] != ',') {
        const char c = value[i];
        if (c == '"' || c == '[' || c == ']') {
          throw SyntaxError("unexpected '" + std::string(1, c) + "' in an array element" +
                            at_column(offset + i) + " (quote the element)");
        }
        ++i;
      }
      std::size_t end = i;
      while (end > start && is_blank(value[end - 1])) --end;
      if (end == start) {
        throw SyntaxError("empty array element" + at_column(offset + start) +
                          " (write \"\" for an empty string)");
      }
      element = value.substr(start, end - start);
    }
    elements.push_back(std::move(element));
    while (i < close && is_blank(value[i])) ++i;
    if (i == close) return elements;
    if (value[i] != ',') {
      throw SyntaxError("unexpected '" + std::string(1, value[i]) + "' after an array element" +
                        at_column(offset + i));
    }
    ++i;
  }
}

}  // namespace

CMPIType type_from_name(const std::string &name) {
  for (const TypeEntry &entry : kTypes) {
    if (strcasecmp(entry.name, name.c_str()) == 0) return entry.code;
  }
  return 0;
}

std::string type_name(CMPIType type) {
  const bool array = (type & CMPI_ARRAY) != 0;
  const CMPIType element = static_cast<CMPIType>(type & ~CMPI_ARRAY);
  std::string name;
  switch (element) {
    case CMPI_null:
      return "null";
    case CMPI_chars:
      name = "string";
      break;
    case CMPI_instance:
      name = "instance";
      break;
    default:
      for (const TypeEntry &entry : kTypes) {
        if (entry.code == element) {
          name = entry.name;
          break;
        }
      }
      break;
  }
  if (name.empty()) return "type " + std::to_string(type);
  return array ? name + "[]" : name;
}

ParsedValue parse_value(const std::string &text) {
  ParsedValue parsed;
  const std::size_t eq = text.find('=');
  const std::string head = text.substr(0, eq);
  const std::size_t colon = head.find(':');
  parsed.name = head.substr(0, colon);
  if (parsed.name.empty()) throw SyntaxError("missing name in '" + text + "'");
  if (!is_identifier(parsed.name)) {
    throw SyntaxError("bad name '" + parsed.name +
                      "' (a letter or '_', then letters, digits or '_')");
  }
  if (colon != std::string::npos) {
    std::string type_text = head.substr(colon + 1);
    const bool array = type_text.size() >= 2 && type_text.compare(type_text.size() - 2, 2, "[]") == 0;
    if (array) type_text.resize(type_text.size() - 2);
    if (type_text.empty()) throw SyntaxError("missing type after '" + parsed.name + ":'");
    const CMPIType code = type_from_name(type_text);
    if (code == 0) {
      throw SyntaxError("unknown type '" + type_text + "' (known: " + kKnownTypes + ")");
    }
    parsed.type = array ? static_cast<CMPIType>(code | CMPI_ARRAY) : code;
  }
  if (eq == std::string::npos) {
    parsed.is_null = true;
    return parsed;
  }
  const std::string value = text.substr(eq + 1);
  const CMPIType element = parsed.element_type();
  if (parsed.is_array()) {
    for (const std::string &item : split_array(value, eq + 1)) {
      parsed.items.push_back(convert(element, item));
    }
  } else {
    parsed.items.push_back(convert(element, value));
  }
  return parsed;
}

}  // namespace cli
