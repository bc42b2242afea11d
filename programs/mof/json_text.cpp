// json_text.cpp - see json_text.h.
#include "json_text.h"

#include <cstdio>
#include <cstdlib>

namespace mof {

std::string JsonString(std::string_view text) {
  std::string out = "\"";
  for (char c : text) {
    switch (c) {
      case '"': out += "\\\""; break;
      case '\\': out += "\\\\"; break;
      case '\b': out += "\\b"; break;
      case '\f': out += "\\f"; break;
      case '\n': out += "\\n"; break;
      case '\r': out += "\\r"; break;
      case '\t': out += "\\t"; break;
      default:
        if (static_cast<unsigned char>(c) < 0x20) {
          char buffer[8];
          std::snprintf(buffer, sizeof buffer, "\\u%04x", static_cast<unsigned>(c));
          out += buffer;
        } else {
          out += c;
        }
    }
  }
  return out + "\"";
}

namespace {

// The fewest significant digits that read back as value, written like a JSON number: plain
// decimal for exponents from -7 to 20 (0.00125, 2, 1500), else with an exponent (1.5e+300).
template <typename Real>
std::string Shortest(Real value, int maxDigits) {
  char buffer[64];
  for (int digits = 1; digits <= maxDigits; ++digits) {
    std::snprintf(buffer, sizeof buffer, "%.*e", digits - 1, static_cast<double>(value));
    if (static_cast<Real>(std::strtod(buffer, nullptr)) == value) break;
  }
  // buffer: [-]D[.DDD]e(+|-)XX
  std::string text = buffer;
  const bool negative = text[0] == '-';
  if (negative) text.erase(0, 1);
  const std::size_t e = text.find('e');
  const int exponent = std::atoi(text.c_str() + e + 1);
  std::string digits;
  for (std::size_t i = 0; i < e; ++i) {
    if (text[i] != '.') digits += text[i];
  }
  while (digits.size() > 1 && digits.back() == '0') digits.pop_back();
  std::string out = negative ? "-" : "";
  if (exponent >= 0 && exponent < 21) {
    const std::size_t whole = static_cast<std::size_t>(exponent) + 1;
    if (digits.size() <= whole) {
      out += digits + std::string(whole - digits.size(), '0');
    } else {
      out += digits.substr(0, whole) + "." + digits.substr(whole);
    }
  } else if (exponent < 0 && exponent >= -7) {
    out += "0." + std::string(static_cast<std::size_t>(-exponent - 1), '0') + digits;
  } else {
    out += digits.substr(0, 1);
    if (digits.size() > 1) out += "." + digits.substr(1);
    out += std::string("e") + (exponent < 0 ? "-" : "+") + std::to_string(exponent < 0 ? -exponent : exponent);
  }
  return out;
}

}  // namespace

std::string JsonReal64(double value) { return Shortest(value, 17); }

std::string JsonReal32(float value) { return Shortest(value, 9); }

}  // namespace mof
