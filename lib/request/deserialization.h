// deserialization.h - the parts of the request parser that are not exported.
#ifndef CMPIUTILITY_REQUEST_DESERIALIZATION_H
#define CMPIUTILITY_REQUEST_DESERIALIZATION_H

#include <cmpiutility/records.h>
#include <json/json.h>

// Builds the association parameters of an ASSOCIATORS request from document and stores them in
// request->assocref: "AssocClass", "ResultClass", "Role" and "ResultRole" as plain copies when
// present and not JSON null (an empty string stays an empty string), "RefsOnly" as a boolean
// when present and not null. Traces Enter/Exit. Returns 0, or 1 after
// "ERROR: __createCMAssocReq#1754: 'Memory allocation failed'" (assocref is then unchanged).
// A member that jsoncpp cannot convert (an array as "Role", a string as "RefsOnly") throws; the
// parameters built so far are freed first and assocref is left unchanged.
int createCMAssocReq(ClientReq *request, const Json::Value &document);

#endif
