// default_value.cpp - see default_value.h.
#include "default_value.h"

#include <cfloat>
#include <cmath>
#include <cstdint>

#include "json_text.h"

namespace mof {

namespace {

bool IsDigitOrStar(char c) { return (c >= '0' && c <= '9') || c == '*'; }

[[noreturn]] void Mismatch(const Scalar &scalar, CimType type, const std::string &what) {
  const std::string expected =
      type == CimType::Boolean ? "true or false" : std::string("a ") + TypeName(type) + " value";
  throw MofError(scalar.where, "the default of " + what + " must be " + expected + ", not " +
                                   DescribeScalar(scalar));
}

std::string IntegerJson(const Scalar &scalar, CimType type, const std::string &what) {
  const int bits = IntegerBits(type);
  const std::uint64_t magnitude = scalar.magnitude;
  bool fits;
  if (IsSigned(type)) {
    const std::uint64_t limit = std::uint64_t{1} << (bits - 1);  // |minimum|
    fits = scalar.negative ? magnitude <= limit : magnitude < limit;
  } else {
    fits = scalar.negative ? magnitude == 0
                           : (bits == 64 || magnitude < (std::uint64_t{1} << bits));
  }
  if (!fits)
    throw MofError(scalar.where, "the default of " + what + ", " + scalar.text +
                                     ", is out of the range of " + TypeName(type));
  return (scalar.negative && magnitude != 0 ? "-" : "") + std::to_string(magnitude);
}

std::string RealJson(const Scalar &scalar, CimType type, const std::string &what) {
  double value = scalar.real;
  if (scalar.kind == Scalar::Kind::Integer) {
    value = static_cast<double>(scalar.magnitude);
    if (scalar.negative) value = -value;
  }
  if (type == CimType::Real32) {
    if (std::fabs(value) > FLT_MAX)
      throw MofError(scalar.where, "the default of " + what + ", " + scalar.text +
                                       ", is out of the range of real32");
    return JsonReal32(static_cast<float>(value));
  }
  return JsonReal64(value);
}

std::string ScalarJson(const Scalar &scalar, CimType type, const std::string &what) {
  using Kind = Scalar::Kind;
  if (scalar.kind == Kind::Alias)
    throw MofError(scalar.where, "an alias cannot be the default of " + what);
  switch (type) {
    case CimType::Boolean:
      if (scalar.kind != Kind::Boolean) Mismatch(scalar, type, what);
      return scalar.boolean ? "true" : "false";
    case CimType::Char16:
      if (scalar.kind != Kind::Char16) Mismatch(scalar, type, what);
      return JsonString(scalar.text);
    case CimType::String:
      if (scalar.kind != Kind::String) Mismatch(scalar, type, what);
      return JsonString(scalar.text);
    case CimType::DateTime:
      if (scalar.kind != Kind::String) Mismatch(scalar, type, what);
      if (!IsDateTimeText(scalar.text))
        throw MofError(scalar.where, "the default of " + what +
                                         " is not CIM date-time text "
                                         "(yyyymmddhhmmss.mmmmmmsutc or ddddddddhhmmss.mmmmmm:000)");
      return JsonString(scalar.text);
    case CimType::Real32:
    case CimType::Real64:
      if (scalar.kind != Kind::Real && scalar.kind != Kind::Integer) Mismatch(scalar, type, what);
      return RealJson(scalar, type, what);
    case CimType::Reference:
    case CimType::Instance:
      throw MofError(scalar.where, std::string(type == CimType::Instance ? "an " : "a ") +
                                       TypeName(type) +
                                       " cannot have a default (only null): " + what);
    default:
      if (scalar.kind != Kind::Integer) Mismatch(scalar, type, what);
      return IntegerJson(scalar, type, what);
  }
}

}  // namespace

bool IsDateTimeText(const std::string &text) {
  if (text.size() != 25) return false;
  for (std::size_t i = 0; i < 14; ++i) {
    if (!IsDigitOrStar(text[i])) return false;
  }
  if (text[14] != '.') return false;
  for (std::size_t i = 15; i < 21; ++i) {
    if (!IsDigitOrStar(text[i])) return false;
  }
  const char sign = text[21];
  if (sign == ':') return text.compare(22, 3, "000") == 0;
  if (sign != '+' && sign != '-') return false;
  for (std::size_t i = 22; i < 25; ++i) {
    if (!IsDigitOrStar(text[i])) return false;
  }
  return true;
}

std::optional<std::string> DefaultValueJson(const Value &value, CimType type,
                                            const ArrayShape &array, const std::string &what) {
  if (!value.isArray && value.scalar.kind == Scalar::Kind::Null) return std::nullopt;
  if (value.isArray && !array.isArray)
    throw MofError(value.where, "the default of " + what + " is an array, but " + what +
                                    " is not");
  if (!value.isArray && array.isArray)
    throw MofError(value.where, "the default of " + what + " must be an array ({...}), not " +
                                    DescribeValue(value));
  if (!value.isArray) return ScalarJson(value.scalar, type, what);
  if (array.fixedSize != 0 && value.elements.size() > array.fixedSize)
    throw MofError(value.where, "the default of " + what + " has " +
                                    std::to_string(value.elements.size()) +
                                    " elements; the array holds " +
                                    std::to_string(array.fixedSize));
  std::string json = "[";
  for (std::size_t i = 0; i < value.elements.size(); ++i) {
    const Scalar &element = value.elements[i];
    if (element.kind == Scalar::Kind::Null)
      throw MofError(element.where, "the default of " + what + " holds a null element");
    if (i > 0) json += ",";
    json += ScalarJson(element, type, what);
  }
  return json + "]";
}

}  // namespace mof
