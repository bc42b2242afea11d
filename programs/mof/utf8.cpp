// utf8.cpp - see utf8.h.
#include "utf8.h"

namespace mof {

namespace {

bool IsContinuation(unsigned char byte) { return (byte & 0xC0) == 0x80; }

// The byte count of the well-formed sequence at text[pos], or 0 when it is not one.
std::size_t SequenceLength(std::string_view text, std::size_t pos) {
  const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[pos + i]); };
  const std::size_t left = text.size() - pos;
  const unsigned char lead = byte(0);
  if (lead < 0x80) return 1;
  if (lead >= 0xC2 && lead <= 0xDF) return left >= 2 && IsContinuation(byte(1)) ? 2 : 0;
  if (lead >= 0xE0 && lead <= 0xEF) {
    if (left < 3 || !IsContinuation(byte(1)) || !IsContinuation(byte(2))) return 0;
    if (lead == 0xE0 && byte(1) < 0xA0) return 0;   // overlong
    if (lead == 0xED && byte(1) >= 0xA0) return 0;  // surrogate
    return 3;
  }
  if (lead >= 0xF0 && lead <= 0xF4) {
    if (left < 4 || !IsContinuation(byte(1)) || !IsContinuation(byte(2)) ||
        !IsContinuation(byte(3)))
      return 0;
    if (lead == 0xF0 && byte(1) < 0x90) return 0;   // overlong
    if (lead == 0xF4 && byte(1) >= 0x90) return 0;  // above U+10FFFF
    return 4;
  }
  return 0;
}

}  // namespace

std::size_t FirstInvalidUtf8(std::string_view text) {
  std::size_t pos = 0;
  while (pos < text.size()) {
    const std::size_t length = SequenceLength(text, pos);
    if (length == 0) return pos;
    pos += length;
  }
  return std::string_view::npos;
}

char32_t DecodeUtf8(std::string_view text, std::size_t pos, std::size_t &length) {
  const auto byte = [&](std::size_t i) { return static_cast<char32_t>(static_cast<unsigned char>(text[pos + i])); };
  const char32_t lead = byte(0);
  if (lead < 0x80) {
    length = 1;
    return lead;
  }
  if (lead < 0xE0) {
    length = 2;
    return ((lead & 0x1F) << 6) | (byte(1) & 0x3F);
  }
  if (lead < 0xF0) {
    length = 3;
    return ((lead & 0x0F) << 12) | ((byte(1) & 0x3F) << 6) | (byte(2) & 0x3F);
  }
  length = 4;
  return ((lead & 0x07) << 18) | ((byte(1) & 0x3F) << 12) | ((byte(2) & 0x3F) << 6) |
         (byte(3) & 0x3F);
}

void AppendUtf8(std::string &out, char32_t cp) {
  if (cp < 0x80) {
    out += static_cast<char>(cp);
  } else if (cp < 0x800) {
    out += static_cast<char>(0xC0 | (cp >> 6));
    out += static_cast<char>(0x80 | (cp & 0x3F));
  } else if (cp < 0x10000) {
    out += static_cast<char>(0xE0 | (cp >> 12));
    out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (cp & 0x3F));
  } else {
    out += static_cast<char>(0xF0 | (cp >> 18));
    out += static_cast<char>(0x80 | ((cp >> 12) & 0x3F));
    out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (cp & 0x3F));
  }
}

}  // namespace mof
