// basic_credentials.cpp - strict parsing of HTTP Basic credentials.
#include "basic_credentials.h"

#include <cctype>

namespace wbem {
namespace {

int base64_value(char c) {
  if (c >= 'A' && c <= 'Z') return c - 'A';
  if (c >= 'a' && c <= 'z') return c - 'a' + 26;
  if (c >= '0' && c <= '9') return c - '0' + 52;
  if (c == '+') return 62;
  if (c == '/') return 63;
  return -1;
}

// Standard base64 with padding, length a multiple of four; false for anything else.
bool decode_base64(std::string_view text, std::string *out) {
  if (text.empty() || text.size() % 4 != 0) return false;
  out->clear();
  for (std::size_t i = 0; i < text.size(); i += 4) {
    int v[4];
    int pad = 0;
    for (int k = 0; k < 4; ++k) {
      char c = text[i + k];
      if (c == '=') {
        // Padding only in the last group, only at its end.
        if (i + 4 != text.size() || k < 2) return false;
        v[k] = 0;
        ++pad;
      } else {
        if (pad != 0) return false;
        v[k] = base64_value(c);
        if (v[k] < 0) return false;
      }
    }
    unsigned bits = (static_cast<unsigned>(v[0]) << 18) | (static_cast<unsigned>(v[1]) << 12) |
                    (static_cast<unsigned>(v[2]) << 6) | static_cast<unsigned>(v[3]);
    out->push_back(static_cast<char>((bits >> 16) & 0xff));
    if (pad < 2) out->push_back(static_cast<char>((bits >> 8) & 0xff));
    if (pad < 1) out->push_back(static_cast<char>(bits & 0xff));
  }
  return true;
}

}  // namespace

bool valid_user_name(std::string_view user) {
  if (user.empty() || user.size() > kMaxUserName || user[0] == '-') return false;
  for (char c : user) {
    bool ok = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
              c == '.' || c == '_' || c == '-' || c == '@';
    if (!ok) return false;
  }
  return true;
}

bool parse_basic_credentials(std::string_view header, BasicCredentials *out) {
  constexpr std::size_t kMaxEncoded = 4 * ((kMaxUserName + 1 + kMaxPassword + 2) / 3);
  if (header.size() < 6) return false;
  static const char kScheme[] = "basic";
  for (std::size_t i = 0; i < 5; ++i) {
    if (std::tolower(static_cast<unsigned char>(header[i])) != kScheme[i]) return false;
  }
  if (header[5] != ' ') return false;
  std::size_t start = 5;
  while (start < header.size() && header[start] == ' ') ++start;
  std::string_view encoded = header.substr(start);
  if (encoded.size() > kMaxEncoded) return false;
  std::string decoded;
  if (!decode_base64(encoded, &decoded)) return false;
  std::size_t colon = decoded.find(':');
  if (colon == std::string::npos) return false;
  out->user = decoded.substr(0, colon);
  out->password = decoded.substr(colon + 1);
  if (!valid_user_name(out->user)) return false;
  if (out->password.size() > kMaxPassword) return false;
  for (char c : out->password) {
    if (c == '\0' || c == '\r' || c == '\n') return false;
  }
  return true;
}

}  // namespace wbem
