// objects.h - what the object library's files know of each other: the function table of each
// object kind (to recognise an object's kind from its table pointer) and the constructors that
// are not public factories.
#ifndef CMPIINTERFACE_OBJECTS_H
#define CMPIINTERFACE_OBJECTS_H

#include "cmpiinterface.h"

namespace cmpi {

// The one function table of each kind; an object belongs to a kind when its ft is that table.
const CMPIStringFT *string_table();
const CMPIArrayFT *array_table();
const CMPIDateTimeFT *datetime_table();
const CMPIEnumerationFT *enumeration_table();
const CMPIResultFT *result_table();
const CMPIInstanceFT *instance_table();
const CMPIObjectPathFT *object_path_table();
const CMPIArgsFT *args_table();
const CMPIContextFT *context_table();
const CMPIConstClassFT *const_class_table();
const CMPIErrorFT *error_table();

// Whether path (one of ours) has a key of that name; nothing is copied. false for a path that is
// not ours.
bool path_has_key(const CMPIObjectPath *path, const char *name);

// The CMPI type name of an object ("CMPIInstance", "CMPIObjectPath", "CMPIString", "CMPIArray",
// "CMPIArgs", "CMPIDateTime", "CMPIEnumeration", "CMPIResult", "CMPIContext",
// "CMPIConstClass", "CMPIError"), or nullptr when its table is none of ours.
const char *object_type_name(const void *object);

// Date-times besides the text factory: the current time, and from microseconds (since the
// epoch for a point in time, the length for an interval).
CMPIDateTime *new_datetime_now(CMPIStatus *rc);
CMPIDateTime *new_datetime_from_binary(CMPIUint64 microseconds, bool interval, CMPIStatus *rc);

// An extended error object (broker factory newCMPIError).
CMPIError *new_error(const char *owner, const char *msgID, const char *msg, CMPIErrorSeverity sev,
                     CMPIErrorProbableCause pc, CMPIrc cimStatusCode, CMPIStatus *rc);

}  // namespace cmpi

#endif
