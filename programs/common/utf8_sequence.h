// utf8_sequence.h - one well-formed UTF-8 sequence, for the programs that escape text for a
// log line (log_text.h) or an XML answer (cmpi-wbemd).
#ifndef CMPI_WIRE_UTF8_SEQUENCE_H
#define CMPI_WIRE_UTF8_SEQUENCE_H

#include <cstddef>
#include <string_view>

namespace wire {

// The length of the well-formed UTF-8 sequence of two or more bytes that starts at text[i]
// (i < text.size()), and its code point in *code; 0 when there is none there: an ASCII byte, a
// stray continuation byte, a cut sequence, an overlong form, a surrogate (U+D800..U+DFFF) or a
// value above U+10FFFF.
std::size_t utf8_sequence(std::string_view text, std::size_t i, unsigned *code);

}  // namespace wire

#endif  // CMPI_WIRE_UTF8_SEQUENCE_H
