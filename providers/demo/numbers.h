// numbers.h - numeric property values: reading a number of any numeric CMPI type, converting
// it to the text of another numeric type when it fits, and reading such text back.
#ifndef DEMO_PROVIDER_NUMBERS_H
#define DEMO_PROVIDER_NUMBERS_H

#include <cmpidt.h>

#include <string>

namespace demo {

// A number read from a value of any numeric type.
struct Number {
  enum Kind { kUnsigned, kSigned, kReal } kind = kUnsigned;
  unsigned long long u = 0;
  long long s = 0;
  double r = 0;
};

// Reads value of a numeric type; false for other types.
bool read_number(CMPIType type, const CMPIValue *value, Number *n);

// The range of an integer type.
void integer_range(CMPIType type, long long *min, unsigned long long *max);

// The stored text of n as a value of the numeric type target: CMPI_RC_ERR_TYPE_MISMATCH when it
// does not fit (out of range, or a real with a fraction for an integer type). Integers are
// decimal, real32 "%.9g" and real64 "%.17g", enough to read back the same value.
CMPIrc number_text(CMPIType target, Number n, std::string *text);

// Strict readers of decimal text: the whole text, within the bounds.
bool read_unsigned(const std::string &text, unsigned long long max, unsigned long long *out);
bool read_signed(const std::string &text, long long min, long long max, long long *out);
bool read_real(const std::string &text, double *out);
bool read_real32(const std::string &text, float *out);
bool read_long_real(const std::string &text, long double *out);

}  // namespace demo

#endif  // DEMO_PROVIDER_NUMBERS_H
