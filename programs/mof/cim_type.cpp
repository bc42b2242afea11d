// cim_type.cpp - see cim_type.h.
#include "cim_type.h"

#include "token.h"

namespace mof {

namespace {

struct TypeEntry {
  CimType type;
  const char *name;
  int code;
};

// Type codes as CMPI defines them; callers store these numbers.
constexpr TypeEntry kTypes[] = {
    {CimType::Boolean, "boolean", 2},     {CimType::Char16, "char16", 3},
    {CimType::Real32, "real32", 8},       {CimType::Real64, "real64", 12},
    {CimType::Uint8, "uint8", 128},       {CimType::Uint16, "uint16", 144},
    {CimType::Uint32, "uint32", 160},     {CimType::Uint64, "uint64", 176},
    {CimType::Sint8, "sint8", 192},       {CimType::Sint16, "sint16", 208},
    {CimType::Sint32, "sint32", 224},     {CimType::Sint64, "sint64", 240},
    {CimType::String, "string", 5632},    {CimType::DateTime, "datetime", 6144},
    {CimType::Reference, nullptr, 4352},  {CimType::Instance, nullptr, 4096},
};

constexpr int kArrayFlag = 8192;

const TypeEntry &Entry(CimType type) {
  for (const TypeEntry &entry : kTypes) {
    if (entry.type == type) return entry;
  }
  return kTypes[0];  // not reached: every type has an entry
}

}  // namespace

std::optional<CimType> BuiltInType(std::string_view name) {
  for (const TypeEntry &entry : kTypes) {
    if (entry.name != nullptr && EqualNoCase(name, entry.name)) return entry.type;
  }
  return std::nullopt;
}

int TypeCode(CimType type, bool isArray) { return Entry(type).code + (isArray ? kArrayFlag : 0); }

const char *TypeName(CimType type) {
  switch (type) {
    case CimType::Reference: return "reference";
    case CimType::Instance: return "embedded instance";
    case CimType::DateTime: return "datetime";
    default: return Entry(type).name;
  }
}

bool IsInteger(CimType type) {
  switch (type) {
    case CimType::Uint8:
    case CimType::Uint16:
    case CimType::Uint32:
    case CimType::Uint64:
    case CimType::Sint8:
    case CimType::Sint16:
    case CimType::Sint32:
    case CimType::Sint64: return true;
    default: return false;
  }
}

bool IsSigned(CimType type) {
  return type == CimType::Sint8 || type == CimType::Sint16 || type == CimType::Sint32 ||
         type == CimType::Sint64;
}

int IntegerBits(CimType type) {
  switch (type) {
    case CimType::Uint8:
    case CimType::Sint8: return 8;
    case CimType::Uint16:
    case CimType::Sint16: return 16;
    case CimType::Uint32:
    case CimType::Sint32: return 32;
    default: return 64;
  }
}

}  // namespace mof
