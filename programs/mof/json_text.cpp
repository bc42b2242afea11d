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

// printf's %g text made JSON: no leading '+' in the exponent is fine, "inf"/"nan" never come
// here (the caller's values are finite).
template <typename Real>
std::string Shortest(Real value, int maxDigits) {
  char buffer[64];
  for (int digits = 1; digits <= maxDigits; ++digits) {
    std::snprintf(buffer, sizeof buffer, "%.*g", digits, static_cast<double>(value));
    if (static_cast<Real>(std::strtod(buffer, nullptr)) == value) break;
  }
  return buffer;
}

}  // namespace

std::string JsonReal64(double value) { return Shortest(value, 17); }

std::string JsonReal32(float value) { return Shortest(value, 9); }

}  // namespace mof
