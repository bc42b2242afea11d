// value_text.cpp - a value as text (value2Chars) and the release of an encapsulated value
// (cmpiReleaseCMPIValue).
#include <charconv>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <type_traits>

#include "value.h"

namespace {

char *duplicate(const char *text) {
  if (text == nullptr) {
    return nullptr;
  }
  const size_t length = std::strlen(text);
  char *copy = static_cast<char *>(std::malloc(length + 1));
  if (copy != nullptr) {
    std::memcpy(copy, text, length + 1);
  }
  return copy;
}

// A number in the text printf would give it ("%u", "%d", "%llu", "%lld" for integers; "%.9g"
// and "%.17g" for reals, precision given): to_chars writes exactly that text in the "C"
// locale, without printf's parsing of a format, which made this the costliest step of
// encoding a property.
template <typename Number>
char *number_text(Number number, int precision = 0) {
  char buffer[64];
  std::to_chars_result written;
  if constexpr (std::is_floating_point_v<Number>) {
    written = std::to_chars(buffer, buffer + sizeof(buffer) - 1, number,
                            std::chars_format::general, precision);
  } else {
    written = std::to_chars(buffer, buffer + sizeof(buffer) - 1, number);
  }
  if (written.ec != std::errc()) {
    return nullptr;
  }
  *written.ptr = '\0';
  return duplicate(buffer);
}

// One UTF-16 code unit as UTF-8. A lone surrogate half has no character of its own and becomes
// U+FFFD; the code unit 0 gives the empty text.
char *char16_text(CMPIChar16 unit) {
  char buffer[4] = {0, 0, 0, 0};
  if (unit == 0) {
    // empty text
  } else if (unit < 0x80) {
    buffer[0] = static_cast<char>(unit);
  } else if (unit < 0x800) {
    buffer[0] = static_cast<char>(0xC0 | (unit >> 6));
    buffer[1] = static_cast<char>(0x80 | (unit & 0x3F));
  } else {
    const unsigned code = (unit >= 0xD800 && unit <= 0xDFFF) ? 0xFFFDu : unit;
    buffer[0] = static_cast<char>(0xE0 | (code >> 12));
    buffer[1] = static_cast<char>(0x80 | ((code >> 6) & 0x3F));
    buffer[2] = static_cast<char>(0x80 | (code & 0x3F));
  }
  return duplicate(buffer);
}

// Copies the text of a string object of any implementation (through its own table).
char *string_text(const CMPIString *s) {
  if (s == nullptr || s->hdl == nullptr || s->ft == nullptr) {
    return nullptr;
  }
  return duplicate(s->ft->getCharPtr(s, nullptr));
}

// Copies the text of a caller-owned CMPIString handed out by an object, then releases it.
char *take_text(CMPIString *s) {
  if (s == nullptr) {
    return nullptr;
  }
  char *text = string_text(s);
  s->ft->release(s);
  return text;
}

// Releases an object through its own table (the caller then clears its pointer).
template <typename Object>
void release_object(Object *object) {
  if (object != nullptr && object->ft != nullptr) {
    object->ft->release(object);
  }
}

}  // namespace

extern "C" char *value2Chars(CMPIType type, const CMPIValue *value) {
  if (value == nullptr) {
    return nullptr;
  }
  switch (type) {
    case CMPI_boolean:
      return duplicate(value->boolean ? "true" : "false");
    case CMPI_char16:
      return char16_text(value->char16);
    case CMPI_real32:
      return number_text(static_cast<double>(value->real32), 9);
    case CMPI_real64:
      return number_text(value->real64, 17);
    case CMPI_uint8:
      return number_text(static_cast<unsigned>(value->uint8));
    case CMPI_uint16:
      return number_text(static_cast<unsigned>(value->uint16));
    case CMPI_uint32:
      return number_text(static_cast<unsigned>(value->uint32));
    case CMPI_uint64:
      return number_text(static_cast<unsigned long long>(value->uint64));
    case CMPI_sint8:
      return number_text(static_cast<int>(value->sint8));
    case CMPI_sint16:
      return number_text(static_cast<int>(value->sint16));
    case CMPI_sint32:
      return number_text(static_cast<int>(value->sint32));
    case CMPI_sint64:
      return number_text(static_cast<long long>(value->sint64));
    case CMPI_chars:
      return duplicate(value->chars);
    case CMPI_string:
    case CMPI_booleanString:
    case CMPI_numericString:
    case CMPI_dateTimeString:
      return string_text(value->string);
    case CMPI_dateTime: {
      const CMPIDateTime *dt = value->dateTime;
      if (dt == nullptr || dt->hdl == nullptr || dt->ft == nullptr) {
        return nullptr;
      }
      return take_text(dt->ft->getStringFormat(dt, nullptr));
    }
    case CMPI_ref: {
      const CMPIObjectPath *op = value->ref;
      if (op == nullptr || op->hdl == nullptr || op->ft == nullptr) {
        return nullptr;
      }
      return take_text(op->ft->toString(op, nullptr));
    }
    default:
      return nullptr;
  }
}

extern "C" void cmpiReleaseCMPIValue(CMPIType type, CMPIValue *value) {
  if (value == nullptr) {
    return;
  }
  if ((type & CMPI_ARRAY) != 0) {
    release_object(value->array);
    value->array = nullptr;
    return;
  }
  switch (type) {
    case CMPI_string:
    case CMPI_booleanString:
    case CMPI_numericString:
    case CMPI_dateTimeString:
      release_object(value->string);
      value->string = nullptr;
      break;
    case CMPI_chars:
      std::free(value->chars);
      value->chars = nullptr;
      break;
    case CMPI_dateTime:
      release_object(value->dateTime);
      value->dateTime = nullptr;
      break;
    case CMPI_instance:
      release_object(value->inst);
      value->inst = nullptr;
      break;
    case CMPI_ref:
      release_object(value->ref);
      value->ref = nullptr;
      break;
    case CMPI_args:
      release_object(value->args);
      value->args = nullptr;
      break;
    case CMPI_enumeration:
      release_object(value->Enum);
      value->Enum = nullptr;
      break;
    default:
      break;  // scalars own nothing
  }
}
