#include "json/scalar_text.h"

#include <cmpift.h>
#include <cmpiinterface.h>

#include <charconv>
#include <climits>
#include <cstdlib>

namespace cmpiutility {
namespace {

// A string object's own text, checked as value2Chars checks it.
const char *string_text(const CMPIString *s) {
  if (s == nullptr || s->hdl == nullptr || s->ft == nullptr) return nullptr;
  return s->ft->getCharPtr(s, nullptr);
}

}  // namespace

ScalarText::ScalarText(CMPIType type, const CMPIValue &value) {
  // The number as value2Chars widens it before writing it.
  switch (type) {
    case CMPI_uint8:
      unsigned_number_ = value.uint8;
      unsigned_ = true;
      break;
    case CMPI_uint16:
      unsigned_number_ = value.uint16;
      unsigned_ = true;
      break;
    case CMPI_uint32:
      unsigned_number_ = value.uint32;
      unsigned_ = true;
      break;
    case CMPI_uint64:
      unsigned_number_ = value.uint64;
      unsigned_ = true;
      break;
    case CMPI_sint8:
      number_ = value.sint8;
      break;
    case CMPI_sint16:
      number_ = value.sint16;
      break;
    case CMPI_sint32:
      number_ = value.sint32;
      break;
    case CMPI_sint64:
      number_ = value.sint64;
      break;
    case CMPI_boolean:
      text_ = value.boolean ? "true" : "false";
      return;
    case CMPI_chars:
      text_ = value.chars;
      return;
    case CMPI_string:
    case CMPI_booleanString:
    case CMPI_numericString:
    case CMPI_dateTimeString:
      text_ = string_text(value.string);
      return;
    default:
      owned_ = value2Chars(type, &value);
      text_ = owned_;
      return;
  }
  integer_ = true;
  if (unsigned_) {
    // strtoll stops at the largest sint64.
    number_ = unsigned_number_ > static_cast<unsigned long long>(LLONG_MAX)
                  ? LLONG_MAX
                  : static_cast<long long>(unsigned_number_);
  }
}

const char *ScalarText::get() const {
  if (integer_ && text_ == nullptr) {
    // buffer_ holds the longest decimal of 64 bits with its sign and NUL.
    const std::to_chars_result written =
        unsigned_ ? std::to_chars(buffer_, buffer_ + sizeof(buffer_) - 1, unsigned_number_)
                  : std::to_chars(buffer_, buffer_ + sizeof(buffer_) - 1, number_);
    *written.ptr = '\0';
    text_ = buffer_;
  }
  return text_;
}

ScalarText::~ScalarText() { std::free(owned_); }

}  // namespace cmpiutility
