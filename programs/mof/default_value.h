// default_value.h - checks a property's default against its type and writes it as the JSON
// text of the DefaultValue column.
#ifndef CMPI_MOF_DEFAULT_VALUE_H
#define CMPI_MOF_DEFAULT_VALUE_H

#include <optional>
#include <string>

#include "cim_type.h"
#include "class_model.h"

namespace mof {

// The JSON text of value as the default of a property of type and shape: a number, a string
// (string, char16 and datetime values), true or false, or an array of those. None for "= null".
// what names the property in messages ("property Speed").
//
// Throws MofError at the value when it does not fit: another kind of value (a string for a
// uint8, a real for an integer), an integer out of the type's range, a real32 out of range, an
// array for a scalar or a scalar for an array, more elements than a fixed-size array holds, a
// null element in an array, datetime text that is not 25 characters of CIM date-time, an alias,
// or any value but null for a reference or an embedded instance.
std::optional<std::string> DefaultValueJson(const Value &value, CimType type,
                                            const ArrayShape &array, const std::string &what);

// Whether text is CIM date-time text: yyyymmddhhmmss.mmmmmmsutc (s is + or -) or the interval
// ddddddddhhmmss.mmmmmm:000; any digit may be '*'.
bool IsDateTimeText(const std::string &text);

}  // namespace mof

#endif  // CMPI_MOF_DEFAULT_VALUE_H
