// mof_value.cpp - see mof_value.h.
#include "mof_value.h"

namespace mof {

std::string DescribeScalar(const Scalar &scalar) {
  switch (scalar.kind) {
    case Scalar::Kind::Null: return "null";
    case Scalar::Kind::Boolean: return scalar.boolean ? "true" : "false";
    case Scalar::Kind::Integer: return "the integer " + scalar.text;
    case Scalar::Kind::Real: return "the real number " + scalar.text;
    case Scalar::Kind::String: return "a string";
    case Scalar::Kind::Char16: return "a char16 literal";
    case Scalar::Kind::Alias: return "alias $" + scalar.text;
  }
  return "a value";
}

std::string DescribeValue(const Value &value) {
  return value.isArray ? "an array" : DescribeScalar(value.scalar);
}

}  // namespace mof
