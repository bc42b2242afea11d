// value_syntax.h - typed property and argument values as written on the command line.
//
//   Name=text                       a string
//   Name:type=value                 a value of that type
//   Name:type[]=[v1,v2,...]         an array of that type; [] is the empty array
//   Name   or   Name:type           no '=': a null value (of type string when none is named)
//
// Types (any case): boolean, char16, uint8, uint16, uint32, uint64, sint8, sint16, sint32,
// sint64, real32, real64, string, datetime, ref (also: reference).
// Scalar values are taken literally after the '=' (no quotes, no escapes): Name= is the empty
// string, Notes=null the four letters "null".
//   boolean   true or false (any case)
//   char16    exactly one character
//   uintN     decimal digits within the type's range; sintN the same with an optional sign
//   realN     a decimal or scientific number (1.5, -2e3)
//   datetime  the 25-character CIM form: yyyymmddhhmmss.mmmmmm+zzz (or -zzz), or the interval
//             ddddddddhhmmss.mmmmmm:000
//   ref       an object path (see path_syntax.h), e.g. root/cimv2:Demo_Chassis.Tag="chassis0"
// Array elements are separated by commas inside the brackets; blanks around an element are
// dropped. An element is bare (no ',', '[', ']' or '"' in it) or double-quoted, where \" stands
// for a quote and \\ for a backslash (no other escape): Tags:string[]=[a, "b,c", ""] has the
// elements a, b,c and the empty string.
#ifndef CMPI_CLI_VALUE_SYNTAX_H
#define CMPI_CLI_VALUE_SYNTAX_H

#include <cmpidt.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "path_syntax.h"

namespace cli {

// One value of a scalar type; the member that its type selects is set.
struct ScalarValue {
  uint64_t unsigned_value = 0;  // uintN, and char16 (the character's code)
  int64_t signed_value = 0;     // sintN
  double real_value = 0;        // realN
  bool boolean_value = false;   // boolean
  std::string text;             // string, datetime
  std::shared_ptr<const ParsedPath> reference;  // ref
};

struct ParsedValue {
  std::string name;
  CMPIType type = CMPI_string;  // element type, with CMPI_ARRAY for arrays
  bool is_null = false;
  std::vector<ScalarValue> items;  // one for a scalar, one per element for an array

  bool is_array() const { return (type & CMPI_ARRAY) != 0; }
  CMPIType element_type() const { return static_cast<CMPIType>(type & ~CMPI_ARRAY); }
};

// Parses "Name[:type[[]]][=value]"; throws SyntaxError with the detail of the first mistake.
ParsedValue parse_value(const std::string &text);

// The type code of a type name of the list above (without "[]"); 0 when unknown.
CMPIType type_from_name(const std::string &name);

// The name of a type code as this program writes it ("uint32", "string[]", "reference",
// "instance", "datetime"); "type <code>" for codes without a name.
std::string type_name(CMPIType type);

}  // namespace cli

#endif  // CMPI_CLI_VALUE_SYNTAX_H
