// log_text.h - text from a peer or a provider made safe to put into one log line.
//
// Class names, principals, namespaces, provider messages: whatever a peer or a provider chose
// goes through log_text before it reaches a log line, so that it can neither start a line of
// its own nor make the line arbitrarily long.
//
// The result:
//   - printable ASCII (0x20..0x7e) is kept, except the backslash, which is doubled ("\\");
//   - newline, carriage return and tab are written "\n", "\r", "\t"; every other byte below
//     0x20 and 0x7f as "\xNN" (two lower-case hex digits);
//   - a well-formed UTF-8 sequence (no overlong form, no surrogate, nothing above U+10FFFF) is
//     kept as it is, except the C1 controls U+0080..U+009F and the line and paragraph
//     separators U+2028 and U+2029, which some viewers take as control or line breaks: they
//     are written "\u0085", "\u2028" and so on;
//   - any other byte (a stray continuation byte, a truncated or malformed sequence) is written
//     "\xNN";
//   - at most max_bytes bytes of this output are kept, never ending inside an escape or a UTF-8
//     sequence; when input is left over, "...(+N bytes)" follows, N being the number of input
//     bytes left out. A text of any length costs work in proportion to max_bytes only (a C
//     string is measured first).
// Text made only of printable ASCII without a backslash and no longer than max_bytes is
// returned unchanged after one scan (the common case).
#ifndef CMPI_WIRE_LOG_TEXT_H
#define CMPI_WIRE_LOG_TEXT_H

#include <cstddef>
#include <string>
#include <string_view>

namespace wire {

// How many bytes of escaped text a log line gets of one peer- or provider-given text.
constexpr std::size_t kLogTextMax = 200;

std::string log_text(std::string_view text, std::size_t max_bytes = kLogTextMax);

// The same for a C string; a null pointer gives "(null)".
std::string log_text(const char *text, std::size_t max_bytes = kLogTextMax);

}  // namespace wire

#endif  // CMPI_WIRE_LOG_TEXT_H
