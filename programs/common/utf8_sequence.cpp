// utf8_sequence.cpp - one multi-byte UTF-8 sequence checked and decoded.
#include "utf8_sequence.h"

namespace wire {
namespace {

bool continuation(unsigned char c) { return (c & 0xc0) == 0x80; }

}  // namespace

std::size_t utf8_sequence(std::string_view text, std::size_t i, unsigned *code) {
  const auto at = [&](std::size_t k) { return static_cast<unsigned char>(text[i + k]); };
  const unsigned char lead = at(0);
  std::size_t length = 0;
  unsigned char low = 0x80;  // the range of the second byte
  unsigned char high = 0xbf;
  if (lead >= 0xc2 && lead <= 0xdf) {
    length = 2;
  } else if (lead >= 0xe0 && lead <= 0xef) {
    length = 3;
    if (lead == 0xe0) low = 0xa0;   // overlong below U+0800
    if (lead == 0xed) high = 0x9f;  // surrogates U+D800..U+DFFF
  } else if (lead >= 0xf0 && lead <= 0xf4) {
    length = 4;
    if (lead == 0xf0) low = 0x90;   // overlong below U+10000
    if (lead == 0xf4) high = 0x8f;  // above U+10FFFF
  } else {
    return 0;
  }
  if (text.size() - i < length) return 0;
  if (at(1) < low || at(1) > high) return 0;
  for (std::size_t k = 2; k < length; ++k) {
    if (!continuation(at(k))) return 0;
  }
  unsigned value = lead & (0x7fu >> length);
  for (std::size_t k = 1; k < length; ++k) value = (value << 6) | (at(k) & 0x3fu);
  *code = value;
  return length;
}

}  // namespace wire
