// numbers.cpp - conversions of numeric property values.
#include "numbers.h"

#include <cerrno>
#include <climits>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>

namespace demo {

namespace {

bool is_real(CMPIType type) { return type == CMPI_real32 || type == CMPI_real64; }

std::string format(const char *pattern, ...) __attribute__((format(printf, 1, 2)));
std::string format(const char *pattern, ...) {
  char buffer[64];
  va_list args;
  va_start(args, pattern);
  vsnprintf(buffer, sizeof(buffer), pattern, args);
  va_end(args);
  return buffer;
}

}  // namespace

bool read_number(CMPIType type, const CMPIValue *value, Number *n) {
  switch (type) {
    case CMPI_uint8:
      n->kind = Number::kUnsigned;
      n->u = value->uint8;
      return true;
    case CMPI_uint16:
      n->kind = Number::kUnsigned;
      n->u = value->uint16;
      return true;
    case CMPI_uint32:
      n->kind = Number::kUnsigned;
      n->u = value->uint32;
      return true;
    case CMPI_uint64:
      n->kind = Number::kUnsigned;
      n->u = value->uint64;
      return true;
    case CMPI_sint8:
      n->kind = Number::kSigned;
      n->s = value->sint8;
      return true;
    case CMPI_sint16:
      n->kind = Number::kSigned;
      n->s = value->sint16;
      return true;
    case CMPI_sint32:
      n->kind = Number::kSigned;
      n->s = value->sint32;
      return true;
    case CMPI_sint64:
      n->kind = Number::kSigned;
      n->s = value->sint64;
      return true;
    case CMPI_real32:
      n->kind = Number::kReal;
      n->r = value->real32;
      return true;
    case CMPI_real64:
      n->kind = Number::kReal;
      n->r = value->real64;
      return true;
    default:
      return false;
  }
}

// The range of an integer type.
void integer_range(CMPIType type, long long *min, unsigned long long *max) {
  switch (type) {
    case CMPI_uint8:
      *min = 0;
      *max = UCHAR_MAX;
      return;
    case CMPI_uint16:
      *min = 0;
      *max = USHRT_MAX;
      return;
    case CMPI_uint32:
      *min = 0;
      *max = UINT_MAX;
      return;
    case CMPI_uint64:
      *min = 0;
      *max = ULLONG_MAX;
      return;
    case CMPI_sint8:
      *min = SCHAR_MIN;
      *max = SCHAR_MAX;
      return;
    case CMPI_sint16:
      *min = SHRT_MIN;
      *max = SHRT_MAX;
      return;
    case CMPI_sint32:
      *min = INT_MIN;
      *max = INT_MAX;
      return;
    default:
      *min = LLONG_MIN;
      *max = LLONG_MAX;
      return;
  }
}

CMPIrc number_text(CMPIType target, Number n, std::string *text) {
  if (is_real(target)) {
    double d = n.kind == Number::kReal       ? n.r
               : n.kind == Number::kUnsigned ? static_cast<double>(n.u)
                                             : static_cast<double>(n.s);
    *text = target == CMPI_real32 ? format("%.9g", static_cast<double>(static_cast<float>(d)))
                                  : format("%.17g", d);
    return CMPI_RC_OK;
  }
  if (n.kind == Number::kReal) {
    // A real becomes an integer only when it is one.
    if (!std::isfinite(n.r) || n.r != std::floor(n.r)) return CMPI_RC_ERR_TYPE_MISMATCH;
    if (n.r >= 0) {
      if (n.r >= 18446744073709551616.0) return CMPI_RC_ERR_TYPE_MISMATCH;
      n.kind = Number::kUnsigned;
      n.u = static_cast<unsigned long long>(n.r);
    } else {
      if (n.r < -9223372036854775808.0) return CMPI_RC_ERR_TYPE_MISMATCH;
      n.kind = Number::kSigned;
      n.s = static_cast<long long>(n.r);
    }
  }
  long long min = 0;
  unsigned long long max = 0;
  integer_range(target, &min, &max);
  if (n.kind == Number::kSigned && n.s < 0) {
    if (n.s < min) return CMPI_RC_ERR_TYPE_MISMATCH;
    *text = format("%lld", n.s);
    return CMPI_RC_OK;
  }
  const unsigned long long magnitude =
      n.kind == Number::kUnsigned ? n.u : static_cast<unsigned long long>(n.s);
  if (magnitude > max) return CMPI_RC_ERR_TYPE_MISMATCH;
  *text = format("%llu", magnitude);
  return CMPI_RC_OK;
}

bool read_unsigned(const std::string &text, unsigned long long max, unsigned long long *out) {
  if (text.empty() || text[0] == '-') return false;
  errno = 0;
  char *end = nullptr;
  const unsigned long long value = strtoull(text.c_str(), &end, 10);
  if (errno != 0 || *end != '\0' || value > max) return false;
  *out = value;
  return true;
}

bool read_signed(const std::string &text, long long min, long long max, long long *out) {
  if (text.empty()) return false;
  errno = 0;
  char *end = nullptr;
  const long long value = strtoll(text.c_str(), &end, 10);
  if (errno != 0 || *end != '\0' || value < min || value > max) return false;
  *out = value;
  return true;
}

namespace {

// The whole text as a real number of type Real, read by parse (strtod, strtof or strtold).
template <typename Real>
bool read_whole_real(const std::string &text, Real (*parse)(const char *, char **), Real *out) {
  if (text.empty()) return false;
  char *end = nullptr;
  *out = parse(text.c_str(), &end);
  return *end == '\0';
}

}  // namespace

bool read_real(const std::string &text, double *out) { return read_whole_real(text, strtod, out); }

bool read_real32(const std::string &text, float *out) { return read_whole_real(text, strtof, out); }

bool read_long_real(const std::string &text, long double *out) {
  return read_whole_real(text, strtold, out);
}

}  // namespace demo
