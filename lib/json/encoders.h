// encoders.h - CMPI data into value objects: the writers of the "InstanceProps" and "ArgsIn"
// containers and of one value's "Value".
//
// The value object of one datum carries "DataType" (the CMPI type code), "DataState" (the value
// state; instance properties only, never for method arguments), "Value" (scalars, arrays,
// references) or "CMPIInstance" (an embedded instance). Every function but getCMPIArgs returns
// 0 for success and 1 for failure, and logs each failure at level 2 before returning it.
//
// On this platform every object, text and value that a CMPI get operation hands out belongs to
// the caller; the encoders release each one once they are done with it.
#ifndef CMPIUTILITY_JSON_ENCODERS_H
#define CMPIUTILITY_JSON_ENCODERS_H

#include <cmpiutility/records.h>
#include <json/json.h>

// Writes valueObject["Value"] for a scalar of the given type from its text (as value2Chars
// gives it; may be NULL): JSON null for no text or type 0; the text for the text codes 5632,
// 5634, 5884, 5888, 7680 and for date-times; 1/0 for a boolean ("true" in any case gives 1);
// integers as unsigned 64-bit numbers (so -1 is 18446744073709551615); real32 and real64 both
// through single precision. Other codes write nothing.
void getCMPIArgs(CMPIType type, const char *text, Json::Value &valueObject);

// Writes valueObject["Value"] = the reference object of a CMPI_ref datum: "ClassName",
// "NameSpace" and "key" (the key text «name=value,...,», JSON null without keys).
// Kept for compatibility: the key text is echoed to standard output followed by a newline.
unsigned int getCMPIArgsRef(CMPIData data, Json::Value &valueObject);

// Writes valueObject["Value"] = a JSON array with one entry per integer, text, date-time,
// reference or embedded-instance element. Boolean, char16 and real elements append nothing, and
// "Value" comes into being only with its first entry, so an empty array or an array of those
// types gets no "Value".
unsigned int getCMPIArgsArray(CMPIData data, Json::Value &valueObject);

// Writes target["InstanceProps"] from the request's CI, or without a request from the
// response's instance. Not written for an instance without properties, nor on failure.
unsigned int getInstanceProps(ClientReq *request, ServerResp *response, Json::Value &target);

// Writes target["ArgsIn"] from the request's ArgsIn, or without a request from the response's
// output arguments (retVal.args). Not written for a list without arguments.
unsigned int getArgs(ClientReq *request, ServerResp *response, Json::Value &target);

#endif  // CMPIUTILITY_JSON_ENCODERS_H
