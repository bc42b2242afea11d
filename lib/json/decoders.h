// decoders.h - value objects back into CMPI data: the readers of the "ArgsIn" and
// "InstanceProps" containers and of one value object.
//
// The target kind is a request type number: INVOKEMETHOD (5) adds a value as a method argument,
// MODIFYINST (4) sets it as an instance property. Where a branch tests for 5 every other number
// acts as 4, and the other way round. Every function returns 0 for success and 1 for failure
// (callers test the low bit) and logs each failure once, at level 2, where it happens; nothing
// already added or set is undone.
//
// Objects the decoders make (arrays, paths, date-times, strings, embedded instances) are copied
// by the object library when they are added or set, so the decoders release their own after
// the call; the new argument list and the new instance belong to the record they are stored in.
#ifndef CMPIUTILITY_JSON_DECODERS_H
#define CMPIUTILITY_JSON_DECODERS_H

#include <cmpiutility/records.h>
#include <json/json.h>

// Decodes one value object by its "DataType" (low 16 bits) and adds it to args (kind 5) or sets
// it on instance (kind 4) under name. The value object is taken by copy, as peers expect.
unsigned int Add2CMPIArgs(CMPIArgs *args, CMPIInstance *instance, const char *name,
                          Json::Value valueObject, int kind);

// Fills array from the "Value" list of an array's value object, one element per entry.
unsigned int setCMArrayElement(CMPIArray *array, Json::Value valueObject, CMPIType elementType);

// A new argument list from document["ArgsIn"], stored in request->ArgsIn when request is given,
// else in response->retVal.args.
unsigned int createCMArgs(ClientReq *request, ServerResp *response, const Json::Value &document);

// A new instance from document["InstanceProps"] for the record's object path (the request's COP
// when request is given, else the response's objectPath), stored in request->CI or
// response->instance.
unsigned int createCMInst(ClientReq *request, ServerResp *response, const Json::Value &document);

#endif  // CMPIUTILITY_JSON_DECODERS_H
