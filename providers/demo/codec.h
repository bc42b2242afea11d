// codec.h - property values as text, the way the state database keeps them.
//
// Scalars are plain text: integers in decimal, reals with enough digits to read back the same
// value, booleans "true"/"false", a char16 as the decimal number of its code unit, strings as
// themselves, date-times as their 25-character CIM text. Compound values are a sequence of
// fields (fields.h), each "<length>:<bytes>" or "~" for a null:
//   array      one field per element;
//   reference  namespace, class name, then name, type code and value of every key;
//   instance   namespace, class name, key count, the keys as for a reference, then name, type
//              code and value of every property.
// Every value this platform hands out is a copy the receiver releases; release_value and
// release_data do that.
#ifndef DEMO_PROVIDER_CODEC_H
#define DEMO_PROVIDER_CODEC_H

#include <cmpidt.h>

#include <string>

namespace demo {

// Releases an encapsulated value (string, array, instance, reference, date-time, args,
// enumeration); nothing for scalars or a NULL pointer.
void release_value(CMPIType type, CMPIValue *value);

// Releases the value of a datum a getter handed out, unless the datum is null.
void release_data(CMPIData data);

// Writes value (of type) as the stored text of target. Numbers convert between numeric types
// when the value fits the target exactly; a string converts to a date-time when it is valid CIM
// date-time text and to a char16 when it is one character; array elements convert the same way.
// Anything else gives CMPI_RC_ERR_TYPE_MISMATCH. value must not be null.
CMPIrc encode_value(const CMPIBroker *broker, CMPIType target, CMPIType type, const CMPIValue *value,
                   std::string *text);

// Reads stored text of type back into a new value made with broker, owned by the caller
// (release_value). Text that does not read as type gives CMPI_RC_ERR_FAILED.
CMPIrc decode_value(const CMPIBroker *broker, CMPIType type, const std::string &text,
                   CMPIValue *value);

}  // namespace demo

#endif  // DEMO_PROVIDER_CODEC_H
