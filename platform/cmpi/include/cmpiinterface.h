/*
 * cmpiinterface.h - the factories of libcmpiinterface, this platform's CMPI object library,
 * and its class object type.
 *
 * Ownership on this platform (it differs from the plain CMPI memory model):
 *  - whatever a get operation hands out (name strings of getPropertyAt/getKeyAt/getArgAt, the
 *    strings of getNameSpace/getClassName/getHostname/toString, the path of getObjectPath, and
 *    encapsulated values inside a returned CMPIData) is a fresh copy that the caller releases:
 *    objects with CMRelease, values with cmpiReleaseCMPIValue(type, &value) unless the state is
 *    CMPI_nullValue;
 *  - setters (setProperty, addArg, addKey, setElementAt, addEntry, returnData, returnInstance,
 *    returnObjectPath) copy what they are given, so the caller may release its object right
 *    after the call;
 *  - CMPI_chars values are stored as CMPI_string and read back with that type. For CMPI_chars
 *    the value pointer given to a setter is the char* itself.
 *
 * Every rc parameter may be NULL. Every factory sets *rc to CMPI_RC_OK on success, and on
 * failure to a non-zero code with a NULL result.
 */
#ifndef CMPIINTERFACE_H
#define CMPIINTERFACE_H

#include "cmpidt.h"
#include "cmpift.h"

#ifdef __cplusplus
extern "C" {
#endif

#pragma pack(push, 1)

struct _CMPIConstClass;
struct _CMPIConstClassFT;
typedef struct _CMPIConstClass CMPIConstClass;
typedef struct _CMPIConstClassFT CMPIConstClassFT;

/* A class object. hdl starts NULL in a class made by makeNewCMPIClass; whoever fills the class
 * points it at a class record (CMPIClassRecord below). The object itself is one heap block, so
 * a plain free() of it is valid once its record has been dealt with. */
struct _CMPIConstClass {
  void *hdl;
  CMPIConstClassFT *ft;
};

/* What a class object's handle points to: six pointer-sized fields. Whoever fills it allocates
 * the record with calloc and the two texts with strdup; release frees them with free and
 * releases the arrays with CMRelease. */
typedef struct _CMPIClassRecord {
  char *className;
  char *nameSpace;
  CMPIArray *propertyNames;    /* CMPI_string elements */
  void *reserved;              /* neither set nor read; kept for layout */
  CMPIArray *methodNames;      /* CMPI_string elements */
  CMPIArray *methodParameters; /* CMPI_instance elements */
} CMPIClassRecord;

struct _CMPIConstClassFT {
  int ftVersion;
  /* Frees the record's strings and arrays, the record and the object. */
  CMPIStatus (*release)(CMPIConstClass *cc);
  /* Deep copy. */
  CMPIConstClass *(*clone)(const CMPIConstClass *cc, CMPIStatus *rc);
  CMPIString *(*getClassName)(const CMPIConstClass *cc, CMPIStatus *rc);
  CMPIString *(*getNameSpace)(const CMPIConstClass *cc, CMPIStatus *rc);
  CMPICount (*getPropertyCount)(const CMPIConstClass *cc, CMPIStatus *rc);
  CMPIString *(*getPropertyNameAt)(const CMPIConstClass *cc, CMPICount index, CMPIStatus *rc);
  CMPICount (*getMethodCount)(const CMPIConstClass *cc, CMPIStatus *rc);
  CMPIString *(*getMethodNameAt)(const CMPIConstClass *cc, CMPICount index, CMPIStatus *rc);
};

#pragma pack(pop)

/* A new object path with the given namespace and class name (either may be NULL). */
CMPIObjectPath *makeNewObjectPath(const char *nameSpace, const char *className, CMPIStatus *rc);

/* A new instance without properties; namespace, class and keys are copied from path. */
CMPIInstance *makeNewCMPIInstance(const CMPIObjectPath *path, CMPIStatus *rc);

/* A new, empty argument list. */
CMPIArgs *makeNewCMPIArgs(CMPIStatus *rc);

/* A new array of size elements of elementType (the array flag, if given, is ignored); every
 * element starts null. setElementAt at index == size appends one element. */
CMPIArray *makeNewCMPIArray(CMPICount size, CMPIType elementType, CMPIStatus *rc);

/* A new class object with a NULL handle, one heap block. */
CMPIConstClass *makeNewCMPIClass(CMPIStatus *rc);

/* A date-time parsed from the 25-character CIM text (point in time or interval); malformed text
 * gives NULL and CMPI_RC_ERR_INVALID_PARAMETER. */
CMPIDateTime *makeNewCMPIDateTimeFromChars(const char *cimDateTime, CMPIStatus *rc);

/* A new enumeration over array (taken over, released with the enumeration); array may be NULL,
 * giving an enumeration with no array yet. Its handle points to a record whose first field is
 * the array pointer (CMPIEnumerationRecord below). */
CMPIEnumeration *makeNewCMPIEnumeration(CMPIArray *array, CMPIStatus *rc);

#pragma pack(push, 1)
typedef struct _CMPIEnumerationRecord {
  CMPIArray *array;
  CMPICount cursor;
} CMPIEnumerationRecord;
#pragma pack(pop)

/* A new, empty context (entries are added with addEntry). Hosts pass one to providers. */
CMPIContext *makeNewCMPIContext(CMPIStatus *rc);

/* A new result object that collects what is returned into it. */
CMPIResult *makeNewCMPIResult(CMPIStatus *rc);

/* The broker handed to providers: working factories, up-calls answering
 * CMPI_RC_ERR_NOT_SUPPORTED. The broker is shared and never released. */
CMPIBroker *getCMPIBroker(CMPIStatus *rc);

/* What was returned into result, as an array owned by the result (NULL if nothing was). */
CMPIArray *cmpiConvertResult2Array(const CMPIResult *result);

/* Adds a copy of every argument of source to target. */
CMPIStatus copyCMPIArgs(const CMPIArgs *source, CMPIArgs *target);

/* Releases an encapsulated value (string, array, instance, reference, args, date-time,
 * enumeration, chars); does nothing for scalars. */
void cmpiReleaseCMPIValue(CMPIType type, CMPIValue *value);

/* The value as text, malloc'd for the caller to free; NULL for an unsupported type. Integers in
 * decimal, booleans "true"/"false", real32 "%.9g", real64 "%.17g", char16 as the character,
 * strings and chars as their text, date-times as the CIM text, references as their path text. */
char *value2Chars(CMPIType type, const CMPIValue *value);

/* A look at property index of an instance made by this library, without copying anything:
 * *name and *data point into the instance and stay valid while the instance is neither changed
 * nor released; the caller releases nothing. The datum reads as getPropertyAt would hand it out
 * (for those who only read a property, such as encoders, getPropertyAt's copy and release are
 * pure cost). CMPI_RC_OK; CMPI_RC_ERR_NOT_SUPPORTED when inst is not an instance of this
 * library (use getPropertyAt); CMPI_RC_ERR_NO_SUCH_PROPERTY for an index past the end. */
CMPIrc cmpiPeekPropertyAt(const CMPIInstance *inst, CMPICount index, const char **name,
                          CMPIData *data);

/* The same look at element index of an array made by this library: *data points into the
 * array and stays valid while the array is neither changed nor released; the caller releases
 * nothing. The datum reads as getElementAt would hand it out. CMPI_RC_OK;
 * CMPI_RC_ERR_NOT_SUPPORTED when ar is not an array of this library (use getElementAt);
 * CMPI_RC_ERR_NO_SUCH_PROPERTY for an index past the end. */
CMPIrc cmpiPeekArrayElementAt(const CMPIArray *ar, CMPICount index, CMPIData *data);

/* setElementAt without the copy: the instance (CMPI_instance) or object path (CMPI_ref) that
 * value points at goes into element index of the array itself, and the array owns it from
 * then on, as if setElementAt had stored a copy and the caller had released the original. The
 * same checks and status as setElementAt. On CMPI_RC_OK the caller must neither use nor
 * release the object any more; on any other status it still owns it.
 * CMPI_RC_ERR_NOT_SUPPORTED when the array or the object was not made by this library, or the
 * type is neither of the two (use setElementAt and release the object). */
CMPIStatus cmpiArrayTakeElementAt(CMPIArray *ar, CMPICount index, CMPIValue *value,
                                  CMPIType type);

/* 1 when inst is an instance made by this library, else 0 (also for NULL). Such an instance's
 * clone is a deep copy that shares no state of this library with the original, so the clone may
 * be read and released on another thread while the original is changed. */
int cmpiIsOwnInstance(const CMPIInstance *inst);

/* A new string holding a copy of text, one heap block: CMRelease or plain free() release it. */
CMPIString *CreateString(const char *text, CMPIStatus *rc);

#ifdef __cplusplus
}
#endif

#endif /* CMPIINTERFACE_H */
