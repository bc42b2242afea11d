// http_log.cpp - log_safe.
#include "http_log.h"

#include <cstdio>

namespace wbem {

std::string log_safe(std::string_view text) {
  constexpr std::size_t kMax = 100;
  std::string out;
  std::size_t i = 0;
  for (; i < text.size() && out.size() < kMax; ++i) {
    unsigned char c = static_cast<unsigned char>(text[i]);
    if (c >= 0x20 && c < 0x7f && c != '\\') {
      out += static_cast<char>(c);
    } else {
      char hex[8];
      std::snprintf(hex, sizeof hex, "\\x%02x", c);
      out += hex;
    }
  }
  if (i < text.size()) out += "...(+" + std::to_string(text.size() - i) + " bytes)";
  return out;
}

}  // namespace wbem
