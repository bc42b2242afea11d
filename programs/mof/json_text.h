// json_text.h - JSON text of the values a default may hold (DefaultValue column).
#ifndef CMPI_MOF_JSON_TEXT_H
#define CMPI_MOF_JSON_TEXT_H

#include <string>
#include <string_view>

namespace mof {

// A JSON string: quotes, backslashes and control characters escaped, other characters (UTF-8)
// as they are.
std::string JsonString(std::string_view text);

// The shortest decimal text that reads back as value (a finite double), in JSON number syntax:
// plain decimal for exponents from -7 to 20 (2, 0.5, -0.00125, 100000000000000000000), else
// with an exponent (1e+21, -3.25e-8, 1.5e+300).
std::string JsonReal64(double value);
// The same for a real32 value: the shortest text that reads back as the same float.
std::string JsonReal32(float value);

}  // namespace mof

#endif  // CMPI_MOF_JSON_TEXT_H
