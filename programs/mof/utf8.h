// utf8.h - checking, decoding and encoding UTF-8 text.
#ifndef CMPI_MOF_UTF8_H
#define CMPI_MOF_UTF8_H

#include <cstddef>
#include <string>
#include <string_view>

namespace mof {

// The offset of the first byte of text that is not part of well-formed UTF-8, or
// std::string_view::npos when all of it is. Overlong forms, surrogates (U+D800..U+DFFF) and
// values above U+10FFFF are not well-formed.
std::size_t FirstInvalidUtf8(std::string_view text);

// The code point that starts at text[pos]; length receives its byte count. text must be
// well-formed UTF-8 from pos on (see FirstInvalidUtf8) and pos < text.size().
char32_t DecodeUtf8(std::string_view text, std::size_t pos, std::size_t &length);

// Appends code point (at most U+10FFFF, not a surrogate) to out as UTF-8.
void AppendUtf8(std::string &out, char32_t codePoint);

}  // namespace mof

#endif  // CMPI_MOF_UTF8_H
