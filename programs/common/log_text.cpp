// log_text.cpp - escaping and shortening peer- and provider-given text for the log.
#include "log_text.h"

#include "utf8_sequence.h"

namespace wire {
namespace {

bool plain(unsigned char c) { return c >= 0x20 && c < 0x7f && c != '\\'; }

const char kHex[] = "0123456789abcdef";

std::string byte_escape(unsigned char c) {
  return std::string{'\\', 'x', kHex[c >> 4], kHex[c & 0xf]};
}

std::string code_escape(unsigned code) {
  return std::string{'\\',
                     'u',
                     kHex[(code >> 12) & 0xf],
                     kHex[(code >> 8) & 0xf],
                     kHex[(code >> 4) & 0xf],
                     kHex[code & 0xf]};
}

}  // namespace

std::string log_text(std::string_view text, std::size_t max_bytes) {
  if (text.size() <= max_bytes) {
    std::size_t i = 0;
    while (i < text.size() && plain(static_cast<unsigned char>(text[i]))) ++i;
    if (i == text.size()) return std::string(text);
  }
  std::string out;
  out.reserve(max_bytes < text.size() ? max_bytes + 24 : text.size() + 16);
  std::size_t i = 0;
  while (i < text.size()) {
    const unsigned char c = static_cast<unsigned char>(text[i]);
    std::string piece;
    std::size_t used = 1;
    unsigned code = 0;
    if (plain(c)) {
      piece.assign(1, static_cast<char>(c));
    } else if (c == '\\') {
      piece = "\\\\";
    } else if (c == '\n') {
      piece = "\\n";
    } else if (c == '\r') {
      piece = "\\r";
    } else if (c == '\t') {
      piece = "\\t";
    } else if (c < 0x80) {
      piece = byte_escape(c);  // the other controls and 0x7f
    } else if ((used = utf8_sequence(text, i, &code)) != 0) {
      if ((code >= 0x80 && code <= 0x9f) || code == 0x2028 || code == 0x2029) {
        piece = code_escape(code);
      } else {
        piece.assign(text.substr(i, used));
      }
    } else {
      used = 1;
      piece = byte_escape(c);
    }
    if (out.size() + piece.size() > max_bytes) break;
    out += piece;
    i += used;
  }
  if (i < text.size()) out += "...(+" + std::to_string(text.size() - i) + " bytes)";
  return out;
}

std::string log_text(const char *text, std::size_t max_bytes) {
  if (text == nullptr) return "(null)";
  return log_text(std::string_view(text), max_bytes);
}

}  // namespace wire
