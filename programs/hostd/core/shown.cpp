// shown.cpp - log-safe text (interim: escapes control characters, cuts at 200 bytes).
#include "shown.h"

#include <cstdio>

namespace hostd {

std::string shown(std::string_view text) {
  std::string out;
  const std::size_t limit = 200;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (out.size() >= limit) {
      out += "...(+" + std::to_string(text.size() - i) + " bytes)";
      break;
    }
    unsigned char c = static_cast<unsigned char>(text[i]);
    if (c < 0x20 || c == 0x7f || c == '\\') {
      char esc[8];
      std::snprintf(esc, sizeof esc, c == '\\' ? "\\\\" : "\\x%02x", c);
      out += esc;
    } else {
      out += static_cast<char>(c);
    }
  }
  return out;
}

}  // namespace hostd
