// mof_value.h - a value written in MOF: a property default, a qualifier's argument or a
// property of an instance. Arrays hold scalars only (MOF has no nested arrays).
#ifndef CMPI_MOF_MOF_VALUE_H
#define CMPI_MOF_MOF_VALUE_H

#include <cstdint>
#include <string>
#include <vector>

#include "diagnostics.h"

namespace mof {

struct Scalar {
  enum class Kind { Null, Boolean, Integer, Real, String, Char16, Alias };
  Kind kind = Kind::Null;
  bool boolean = false;         // Boolean
  std::uint64_t magnitude = 0;  // Integer: the value is -magnitude when negative
  bool negative = false;
  double real = 0;         // Real
  std::string text;        // String (decoded, adjacent strings joined), Real and Integer as
                           // written, Char16 as UTF-8, Alias name
  char32_t character = 0;  // Char16
  SourceLocation where;
};

struct Value {
  bool isArray = false;
  Scalar scalar;                 // when !isArray
  std::vector<Scalar> elements;  // when isArray
  SourceLocation where;
};

// For messages: "a string", "an integer", "null", "an array".
std::string DescribeValue(const Value &value);
std::string DescribeScalar(const Scalar &scalar);

}  // namespace mof

#endif  // CMPI_MOF_MOF_VALUE_H
