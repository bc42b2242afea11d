// cim_type.h - the data types a MOF property, parameter or method may have, and their CMPI
// type codes as the schema database stores them.
#ifndef CMPI_MOF_CIM_TYPE_H
#define CMPI_MOF_CIM_TYPE_H

#include <optional>
#include <string_view>

namespace mof {

enum class CimType {
  Boolean,
  Char16,
  Real32,
  Real64,
  Uint8,
  Uint16,
  Uint32,
  Uint64,
  Sint8,
  Sint16,
  Sint32,
  Sint64,
  String,
  DateTime,
  Reference,  // ClassName REF
  Instance,   // a string with EmbeddedInstance or EmbeddedObject
};

// The built-in type named name ("uint32", "DateTime", ...; any case). Reference and Instance
// have no name of their own, so they are never returned.
std::optional<CimType> BuiltInType(std::string_view name);

// The CMPI type code; arrays add 8192.
int TypeCode(CimType type, bool isArray);

// The MOF name of the type, for messages ("uint8", "reference", "embedded instance").
const char *TypeName(CimType type);

bool IsInteger(CimType type);
bool IsSigned(CimType type);
int IntegerBits(CimType type);  // 8, 16, 32 or 64 for the integer types

}  // namespace mof

#endif  // CMPI_MOF_CIM_TYPE_H
