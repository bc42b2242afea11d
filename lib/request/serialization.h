// serialization.h - the parts of the request serialiser that are not exported.
#ifndef CMPIUTILITY_REQUEST_SERIALIZATION_H
#define CMPIUTILITY_REQUEST_SERIALIZATION_H

#include <cmpiutility/records.h>
#include <json/json.h>

// Writes "AssocClass", "ResultClass", "Role", "ResultRole" (each a string, or JSON null when
// the field is null) and "RefsOnly" (boolean) from assoc into document. Traces Enter/Exit.
void getCMAssocData(const CMAssocReq *assoc, Json::Value &document);

#endif
