/*
 * cmpift.h - CMPI function tables: the broker's up-call, factory, operating-system and memory
 * tables, the tables of every encapsulated object, the provider (MI) tables and the provider
 * factory entry points.
 *
 * Layout: packed to 1 byte like everything of this platform. A table starts with its int
 * version and the function pointers follow directly, so slot k sits at byte offset 4 + 8*(k-1).
 * CMPIBrokerFT is the exception: it starts with three data fields and has no version slot.
 * Slot order is the binary interface; never reorder, only append.
 */
#ifndef CMPIFT_H
#define CMPIFT_H

#include <time.h>
#include "cmpidt.h"

#ifdef __cplusplus
extern "C" {
#endif

#pragma pack(push, 1)

/* ---- broker up-calls (no version slot) ----------------------------------------------------- */

struct _CMPIBrokerFT {
  unsigned int brokerCapabilities;
  unsigned int brokerVersion;
  const char *brokerName;
  CMPIContext *(*prepareAttachThread)(const CMPIBroker *mb, const CMPIContext *ctx);
  CMPIStatus (*attachThread)(const CMPIBroker *mb, const CMPIContext *ctx);
  CMPIStatus (*detachThread)(const CMPIBroker *mb, const CMPIContext *ctx);
  CMPIStatus (*deliverIndication)(const CMPIBroker *mb, const CMPIContext *ctx, const char *ns,
                                  const CMPIInstance *ind);
  CMPIEnumeration *(*enumerateInstanceNames)(const CMPIBroker *mb, const CMPIContext *ctx,
                                             const CMPIObjectPath *op, CMPIStatus *rc);
  CMPIInstance *(*getInstance)(const CMPIBroker *mb, const CMPIContext *ctx,
                               const CMPIObjectPath *op, const char **properties, CMPIStatus *rc);
  CMPIObjectPath *(*createInstance)(const CMPIBroker *mb, const CMPIContext *ctx,
                                    const CMPIObjectPath *op, const CMPIInstance *inst,
                                    CMPIStatus *rc);
  CMPIStatus (*modifyInstance)(const CMPIBroker *mb, const CMPIContext *ctx,
                               const CMPIObjectPath *op, const CMPIInstance *inst,
                               const char **properties);
  CMPIStatus (*deleteInstance)(const CMPIBroker *mb, const CMPIContext *ctx,
                               const CMPIObjectPath *op);
  /* execQuery comes before enumerateInstances in this table. */
  CMPIEnumeration *(*execQuery)(const CMPIBroker *mb, const CMPIContext *ctx,
                                const CMPIObjectPath *op, const char *query, const char *lang,
                                CMPIStatus *rc);
  CMPIEnumeration *(*enumerateInstances)(const CMPIBroker *mb, const CMPIContext *ctx,
                                         const CMPIObjectPath *op, const char **properties,
                                         CMPIStatus *rc);
  CMPIEnumeration *(*associators)(const CMPIBroker *mb, const CMPIContext *ctx,
                                  const CMPIObjectPath *op, const char *assocClass,
                                  const char *resultClass, const char *role,
                                  const char *resultRole, const char **properties, CMPIStatus *rc);
  CMPIEnumeration *(*associatorNames)(const CMPIBroker *mb, const CMPIContext *ctx,
                                      const CMPIObjectPath *op, const char *assocClass,
                                      const char *resultClass, const char *role,
                                      const char *resultRole, CMPIStatus *rc);
  CMPIEnumeration *(*references)(const CMPIBroker *mb, const CMPIContext *ctx,
                                 const CMPIObjectPath *op, const char *resultClass,
                                 const char *role, const char **properties, CMPIStatus *rc);
  CMPIEnumeration *(*referenceNames)(const CMPIBroker *mb, const CMPIContext *ctx,
                                     const CMPIObjectPath *op, const char *resultClass,
                                     const char *role, CMPIStatus *rc);
  CMPIData (*invokeMethod)(const CMPIBroker *mb, const CMPIContext *ctx, const CMPIObjectPath *op,
                           const char *method, const CMPIArgs *in, CMPIArgs *out, CMPIStatus *rc);
  CMPIStatus (*setProperty)(const CMPIBroker *mb, const CMPIContext *ctx, const CMPIObjectPath *op,
                            const char *name, const CMPIValue *value, CMPIType type);
  CMPIData (*getProperty)(const CMPIBroker *mb, const CMPIContext *ctx, const CMPIObjectPath *op,
                          const char *name, CMPIStatus *rc);
};

/* ---- broker factories and helpers ---------------------------------------------------------- */

struct _CMPIBrokerEncFT {
  int ftVersion;
  CMPIInstance *(*newInstance)(const CMPIBroker *mb, const CMPIObjectPath *op, CMPIStatus *rc);
  CMPIObjectPath *(*newObjectPath)(const CMPIBroker *mb, const char *ns, const char *cn,
                                   CMPIStatus *rc);
  CMPIArgs *(*newArgs)(const CMPIBroker *mb, CMPIStatus *rc);
  CMPIString *(*newString)(const CMPIBroker *mb, const char *data, CMPIStatus *rc);
  CMPIArray *(*newArray)(const CMPIBroker *mb, CMPICount max, CMPIType type, CMPIStatus *rc);
  CMPIDateTime *(*newDateTime)(const CMPIBroker *mb, CMPIStatus *rc);
  CMPIDateTime *(*newDateTimeFromBinary)(const CMPIBroker *mb, CMPIUint64 binTime,
                                         CMPIBoolean interval, CMPIStatus *rc);
  CMPIDateTime *(*newDateTimeFromChars)(const CMPIBroker *mb, const char *utcTime, CMPIStatus *rc);
  CMPISelectExp *(*newSelectExp)(const CMPIBroker *mb, const char *query, const char *lang,
                                 CMPIArray **projection, CMPIStatus *st);
  CMPIBoolean (*classPathIsA)(const CMPIBroker *mb, const CMPIObjectPath *op, const char *type,
                              CMPIStatus *rc);
  CMPIString *(*toString)(const CMPIBroker *mb, const void *object, CMPIStatus *rc);
  CMPIBoolean (*isOfType)(const CMPIBroker *mb, const void *object, const char *type,
                          CMPIStatus *rc);
  CMPIString *(*getType)(const CMPIBroker *mb, const void *object, CMPIStatus *rc);
  CMPIString *(*getMessage)(const CMPIBroker *mb, const char *msgId, const char *defMsg,
                            CMPIStatus *rc, CMPICount count, ...);
  CMPIStatus (*logMessage)(const CMPIBroker *mb, int severity, const char *id, const char *text,
                           const CMPIString *string);
  CMPIStatus (*trace)(const CMPIBroker *mb, int level, const char *component, const char *text,
                      const CMPIString *string);
  CMPIError *(*newCMPIError)(const CMPIBroker *mb, const char *owner, const char *msgID,
                             const char *msg, const CMPIErrorSeverity sev,
                             const CMPIErrorProbableCause pc, const CMPIrc cimStatusCode,
                             CMPIStatus *rc);
  CMPIStatus (*openMessageFile)(const CMPIBroker *mb, const char *msgFile,
                                CMPIMsgFileHandle *msgFileHandle);
  CMPIStatus (*closeMessageFile)(const CMPIBroker *mb, const CMPIMsgFileHandle msgFileHandle);
  CMPIString *(*getMessage2)(const CMPIBroker *mb, const char *msgId,
                             const CMPIMsgFileHandle msgFileHandle, const char *defMsg,
                             CMPIStatus *rc, CMPICount count, ...);
};

/* ---- operating-system services ------------------------------------------------------------- */

struct _CMPIBrokerExtFT {
  int ftVersion;
  char *(*resolveFileName)(const char *filename);
  CMPI_THREAD_TYPE (*newThread)(CMPI_THREAD_RETURN(CMPI_THREAD_CDECL *start)(void *), void *parm,
                                int detached);
  int (*joinThread)(CMPI_THREAD_TYPE thread, CMPI_THREAD_RETURN *retval);
  int (*exitThread)(CMPI_THREAD_RETURN return_code);
  int (*cancelThread)(CMPI_THREAD_TYPE thread);
  int (*threadSleep)(CMPIUint32 msec);
  int (*threadOnce)(int *once, void (*init)(void));
  int (*createThreadKey)(CMPI_THREAD_KEY_TYPE *key, void (*cleanup)(void *));
  int (*destroyThreadKey)(CMPI_THREAD_KEY_TYPE key);
  void *(*getThreadSpecific)(CMPI_THREAD_KEY_TYPE key);
  int (*setThreadSpecific)(CMPI_THREAD_KEY_TYPE key, void *value);
  CMPI_MUTEX_TYPE (*newMutex)(int opt);
  void (*destroyMutex)(CMPI_MUTEX_TYPE mutex);
  void (*lockMutex)(CMPI_MUTEX_TYPE mutex);
  void (*unlockMutex)(CMPI_MUTEX_TYPE mutex);
  CMPI_COND_TYPE (*newCondition)(int opt);
  void (*destroyCondition)(CMPI_COND_TYPE cond);
  int (*condWait)(CMPI_COND_TYPE cond, CMPI_MUTEX_TYPE mutex);
  int (*timedCondWait)(CMPI_COND_TYPE cond, CMPI_MUTEX_TYPE mutex, struct timespec *wait);
  int (*signalCondition)(CMPI_COND_TYPE cond);
};

/* ---- memory services ----------------------------------------------------------------------- */

struct _CMPIBrokerMemFT {
  const int ftVersion;
  CMPIGcStat *(*mark)(const CMPIBroker *mb, CMPIStatus *rc);
  CMPIStatus (*release)(const CMPIBroker *mb, const CMPIGcStat *gc);
  void *(*cmpiMalloc)(const CMPIBroker *mb, size_t size);
  void *(*cmpiCalloc)(const CMPIBroker *mb, size_t nElems, size_t sizeElem);
  void *(*cmpiRealloc)(const CMPIBroker *mb, void *ptr, size_t size);
  char *(*cmpiStrDup)(const CMPIBroker *mb, const char *str);
  void (*cmpiFree)(const CMPIBroker *mb, void *ptr);
  void (*freeInstance)(const CMPIBroker *mb, CMPIInstance *inst);
  void (*freeObjectPath)(const CMPIBroker *mb, CMPIObjectPath *obj);
  void (*freeArgs)(const CMPIBroker *mb, CMPIArgs *args);
  void (*freeString)(const CMPIBroker *mb, CMPIString *str);
  void (*freeArray)(const CMPIBroker *mb, CMPIArray *array);
  void (*freeDateTime)(const CMPIBroker *mb, CMPIDateTime *date);
  void (*freeSelectExp)(const CMPIBroker *mb, CMPISelectExp *se);
};

/* ---- context ------------------------------------------------------------------------------- */

struct _CMPIContextFT {
  int ftVersion;
  CMPIStatus (*release)(CMPIContext *ctx);
  CMPIContext *(*clone)(const CMPIContext *ctx, CMPIStatus *rc);
  CMPIData (*getEntry)(const CMPIContext *ctx, const char *name, CMPIStatus *rc);
  CMPIData (*getEntryAt)(const CMPIContext *ctx, CMPICount index, CMPIString **name,
                         CMPIStatus *rc);
  CMPICount (*getEntryCount)(const CMPIContext *ctx, CMPIStatus *rc);
  CMPIStatus (*addEntry)(const CMPIContext *ctx, const char *name, const CMPIValue *value,
                         const CMPIType type);
};

/* ---- result -------------------------------------------------------------------------------- */

struct _CMPIResultFT {
  int ftVersion;
  CMPIStatus (*release)(CMPIResult *rslt);
  CMPIResult *(*clone)(const CMPIResult *rslt, CMPIStatus *rc);
  CMPIStatus (*returnData)(const CMPIResult *rslt, const CMPIValue *value, const CMPIType type);
  CMPIStatus (*returnInstance)(const CMPIResult *rslt, const CMPIInstance *inst);
  CMPIStatus (*returnObjectPath)(const CMPIResult *rslt, const CMPIObjectPath *ref);
  CMPIStatus (*returnDone)(const CMPIResult *rslt);
  CMPIStatus (*returnError)(const CMPIResult *rslt, const CMPIError *er);
};

/* ---- string -------------------------------------------------------------------------------- */

struct _CMPIStringFT {
  int ftVersion;
  CMPIStatus (*release)(CMPIString *st);
  CMPIString *(*clone)(const CMPIString *st, CMPIStatus *rc);
  const char *(*getCharPtr)(const CMPIString *st, CMPIStatus *rc);
};

/* ---- array --------------------------------------------------------------------------------- */

struct _CMPIArrayFT {
  int ftVersion;
  CMPIStatus (*release)(CMPIArray *ar);
  CMPIArray *(*clone)(const CMPIArray *ar, CMPIStatus *rc);
  CMPICount (*getSize)(const CMPIArray *ar, CMPIStatus *rc);
  CMPIType (*getSimpleType)(const CMPIArray *ar, CMPIStatus *rc);
  CMPIData (*getElementAt)(const CMPIArray *ar, CMPICount index, CMPIStatus *rc);
  CMPIStatus (*setElementAt)(CMPIArray *ar, CMPICount index, const CMPIValue *value,
                             CMPIType type);
};

/* ---- enumeration --------------------------------------------------------------------------- */

struct _CMPIEnumerationFT {
  int ftVersion;
  CMPIStatus (*release)(CMPIEnumeration *en);
  CMPIEnumeration *(*clone)(const CMPIEnumeration *en, CMPIStatus *rc);
  CMPIData (*getNext)(const CMPIEnumeration *en, CMPIStatus *rc);
  CMPIBoolean (*hasNext)(const CMPIEnumeration *en, CMPIStatus *rc);
  CMPIArray *(*toArray)(const CMPIEnumeration *en, CMPIStatus *rc);
};

/* ---- instance ------------------------------------------------------------------------------ */

struct _CMPIInstanceFT {
  int ftVersion;
  CMPIStatus (*release)(CMPIInstance *inst);
  CMPIInstance *(*clone)(const CMPIInstance *inst, CMPIStatus *rc);
  CMPIData (*getProperty)(const CMPIInstance *inst, const char *name, CMPIStatus *rc);
  CMPIData (*getPropertyAt)(const CMPIInstance *inst, CMPICount index, CMPIString **name,
                            CMPIStatus *rc);
  CMPICount (*getPropertyCount)(const CMPIInstance *inst, CMPIStatus *rc);
  CMPIStatus (*setProperty)(const CMPIInstance *inst, const char *name, const CMPIValue *value,
                            CMPIType type);
  CMPIObjectPath *(*getObjectPath)(const CMPIInstance *inst, CMPIStatus *rc);
  /* keys is ignored; the slot keeps its two-list form for binary compatibility. */
  CMPIStatus (*setPropertyFilter)(CMPIInstance *inst, const char **propertyList,
                                  const char **keys);
  CMPIStatus (*setObjectPath)(CMPIInstance *inst, const CMPIObjectPath *op);
  CMPIStatus (*setPropertyWithOrigin)(const CMPIInstance *inst, const char *name,
                                      const CMPIValue *value, const CMPIType type,
                                      const char *origin);
};

/* ---- object path --------------------------------------------------------------------------- */

struct _CMPIObjectPathFT {
  int ftVersion;
  CMPIStatus (*release)(CMPIObjectPath *op);
  CMPIObjectPath *(*clone)(const CMPIObjectPath *op, CMPIStatus *rc);
  CMPIStatus (*setNameSpace)(CMPIObjectPath *op, const char *ns);
  CMPIString *(*getNameSpace)(const CMPIObjectPath *op, CMPIStatus *rc);
  CMPIStatus (*setHostname)(CMPIObjectPath *op, const char *hn);
  CMPIString *(*getHostname)(const CMPIObjectPath *op, CMPIStatus *rc);
  CMPIStatus (*setClassName)(CMPIObjectPath *op, const char *cn);
  CMPIString *(*getClassName)(const CMPIObjectPath *op, CMPIStatus *rc);
  CMPIStatus (*addKey)(CMPIObjectPath *op, const char *name, const CMPIValue *value,
                       const CMPIType type);
  CMPIData (*getKey)(const CMPIObjectPath *op, const char *name, CMPIStatus *rc);
  CMPIData (*getKeyAt)(const CMPIObjectPath *op, CMPICount index, CMPIString **name,
                       CMPIStatus *rc);
  CMPICount (*getKeyCount)(const CMPIObjectPath *op, CMPIStatus *rc);
  /* Copies namespace and class name from src. */
  CMPIStatus (*setNameSpaceFromObjectPath)(CMPIObjectPath *op, const CMPIObjectPath *src);
  /* Copies host, namespace and class name from src. */
  CMPIStatus (*setHostAndNameSpaceFromObjectPath)(CMPIObjectPath *op, const CMPIObjectPath *src);
  CMPIData (*getClassQualifier)(const CMPIObjectPath *op, const char *qName, CMPIStatus *rc);
  CMPIData (*getPropertyQualifier)(const CMPIObjectPath *op, const char *pName, const char *qName,
                                   CMPIStatus *rc);
  CMPIData (*getMethodQualifier)(const CMPIObjectPath *op, const char *methodName,
                                 const char *qName, CMPIStatus *rc);
  CMPIData (*getParameterQualifier)(const CMPIObjectPath *op, const char *mName, const char *pName,
                                    const char *qName, CMPIStatus *rc);
  CMPIString *(*toString)(const CMPIObjectPath *op, CMPIStatus *rc);
};

/* ---- method arguments ---------------------------------------------------------------------- */

struct _CMPIArgsFT {
  int ftVersion;
  CMPIStatus (*release)(CMPIArgs *as);
  CMPIArgs *(*clone)(const CMPIArgs *as, CMPIStatus *rc);
  CMPIStatus (*addArg)(const CMPIArgs *as, const char *name, const CMPIValue *value,
                       const CMPIType type);
  CMPIData (*getArg)(const CMPIArgs *as, const char *name, CMPIStatus *rc);
  CMPIData (*getArgAt)(const CMPIArgs *as, CMPICount index, CMPIString **name, CMPIStatus *rc);
  CMPICount (*getArgCount)(const CMPIArgs *as, CMPIStatus *rc);
};

/* ---- date-time ----------------------------------------------------------------------------- */

struct _CMPIDateTimeFT {
  int ftVersion;
  CMPIStatus (*release)(CMPIDateTime *dt);
  CMPIDateTime *(*clone)(const CMPIDateTime *dt, CMPIStatus *rc);
  CMPIUint64 (*getBinaryFormat)(const CMPIDateTime *dt, CMPIStatus *rc);
  CMPIString *(*getStringFormat)(const CMPIDateTime *dt, CMPIStatus *rc);
  CMPIBoolean (*isInterval)(const CMPIDateTime *dt, CMPIStatus *rc);
};

/* ---- select expressions and their parts ---------------------------------------------------- */

struct _CMPISelectExpFT {
  int ftVersion;
  CMPIStatus (*release)(CMPISelectExp *se);
  CMPISelectExp *(*clone)(const CMPISelectExp *se, CMPIStatus *rc);
  CMPIBoolean (*evaluate)(const CMPISelectExp *se, const CMPIInstance *inst, CMPIStatus *rc);
  CMPIString *(*getString)(const CMPISelectExp *se, CMPIStatus *rc);
  CMPISelectCond *(*getDOC)(const CMPISelectExp *se, CMPIStatus *rc);
  CMPISelectCond *(*getCOD)(const CMPISelectExp *se, CMPIStatus *rc);
  CMPIBoolean (*evaluateUsingAccessor)(const CMPISelectExp *se, CMPIAccessor *accessor, void *parm,
                                       CMPIStatus *rc);
};

struct _CMPISelectCondFT {
  const int ftVersion;
  CMPIStatus (*release)(CMPISelectCond *sc);
  CMPISelectCond *(*clone)(const CMPISelectCond *sc, CMPIStatus *rc);
  CMPICount (*getCountAndType)(const CMPISelectCond *sc, int *type, CMPIStatus *rc);
  CMPISubCond *(*getSubCondAt)(const CMPISelectCond *sc, CMPICount index, CMPIStatus *rc);
};

struct _CMPISubCondFT {
  int ftVersion;
  CMPIStatus (*release)(CMPISubCond *sc);
  CMPISubCond *(*clone)(const CMPISubCond *sc, CMPIStatus *rc);
  CMPICount (*getCount)(const CMPISubCond *sc, CMPIStatus *rc);
  CMPIPredicate *(*getPredicateAt)(const CMPISubCond *sc, CMPICount index, CMPIStatus *rc);
  CMPIPredicate *(*getPredicate)(const CMPISubCond *sc, const char *name, CMPIStatus *rc);
};

struct _CMPIPredicateFT {
  int ftVersion;
  CMPIStatus (*release)(CMPIPredicate *pr);
  CMPIPredicate *(*clone)(const CMPIPredicate *pr, CMPIStatus *rc);
  CMPIStatus (*getData)(const CMPIPredicate *pr, CMPIType *type, CMPIPredOp *op, CMPIString **lhs,
                        CMPIString **rhs);
  CMPIBoolean (*evaluateUsingAccessor)(const CMPIPredicate *pr, CMPIAccessor *accessorFnc,
                                       void *parm, CMPIStatus *rc);
};

/* ---- extended errors ----------------------------------------------------------------------- */

struct _CMPIErrorFT {
  CMPISint32 ftVersion;
  CMPIStatus (*release)(CMPIError *er);
  CMPIError *(*clone)(const CMPIError *er, CMPIStatus *rc);
  CMPIErrorType (*getErrorType)(const CMPIError *er, CMPIStatus *rc);
  CMPIString *(*getOtherErrorType)(const CMPIError *er, CMPIStatus *rc);
  CMPIString *(*getOwningEntity)(const CMPIError *er, CMPIStatus *rc);
  CMPIString *(*getMessageID)(const CMPIError *er, CMPIStatus *rc);
  CMPIString *(*getMessage)(const CMPIError *er, CMPIStatus *rc);
  CMPIErrorSeverity (*getPerceivedSeverity)(const CMPIError *er, CMPIStatus *rc);
  CMPIErrorProbableCause (*getProbableCause)(const CMPIError *er, CMPIStatus *rc);
  CMPIString *(*getProbableCauseDescription)(const CMPIError *er, CMPIStatus *rc);
  CMPIArray *(*getRecommendedActions)(const CMPIError *er, CMPIStatus *rc);
  CMPIString *(*getErrorSource)(const CMPIError *er, CMPIStatus *rc);
  CMPIErrorSrcFormat (*getErrorSourceFormat)(const CMPIError *er, CMPIStatus *rc);
  CMPIString *(*getOtherErrorSourceFormat)(const CMPIError *er, CMPIStatus *rc);
  CMPIrc (*getCIMStatusCode)(const CMPIError *er, CMPIStatus *rc);
  CMPIString *(*getCIMStatusCodeDescription)(const CMPIError *er, CMPIStatus *rc);
  CMPIArray *(*getMessageArguments)(const CMPIError *er, CMPIStatus *rc);
  CMPIStatus (*setErrorType)(CMPIError *er, const CMPIErrorType et);
  CMPIStatus (*setOtherErrorType)(CMPIError *er, const char *ot);
  CMPIStatus (*setProbableCauseDescription)(CMPIError *er, const char *pcd);
  CMPIStatus (*setRecommendedActions)(CMPIError *er, const CMPIArray *ra);
  CMPIStatus (*setErrorSource)(CMPIError *er, const char *es);
  CMPIStatus (*setErrorSourceFormat)(CMPIError *er, const CMPIErrorSrcFormat esf);
  CMPIStatus (*setOtherErrorSourceFormat)(CMPIError *er, const char *oesf);
  CMPIStatus (*setCIMStatusCodeDescription)(CMPIError *er, const char *scd);
  CMPIStatus (*setMessageArguments)(CMPIError *er, CMPIArray *values);
};

/* ---- provider (MI) side -------------------------------------------------------------------- */

struct _CMPIInstanceMI;
struct _CMPIAssociationMI;
struct _CMPIMethodMI;
struct _CMPIPropertyMI;
struct _CMPIIndicationMI;
struct _CMPIInstanceMIFT;
struct _CMPIAssociationMIFT;
struct _CMPIMethodMIFT;
struct _CMPIPropertyMIFT;
struct _CMPIIndicationMIFT;

typedef struct _CMPIInstanceMI CMPIInstanceMI;
typedef struct _CMPIAssociationMI CMPIAssociationMI;
typedef struct _CMPIMethodMI CMPIMethodMI;
typedef struct _CMPIPropertyMI CMPIPropertyMI;
typedef struct _CMPIIndicationMI CMPIIndicationMI;
typedef struct _CMPIInstanceMIFT CMPIInstanceMIFT;
typedef struct _CMPIAssociationMIFT CMPIAssociationMIFT;
typedef struct _CMPIMethodMIFT CMPIMethodMIFT;
typedef struct _CMPIPropertyMIFT CMPIPropertyMIFT;
typedef struct _CMPIIndicationMIFT CMPIIndicationMIFT;

struct _CMPIInstanceMI {
  void *hdl;
  CMPIInstanceMIFT *ft;
};
struct _CMPIAssociationMI {
  void *hdl;
  CMPIAssociationMIFT *ft;
};
struct _CMPIMethodMI {
  void *hdl;
  CMPIMethodMIFT *ft;
};
struct _CMPIPropertyMI {
  void *hdl;
  CMPIPropertyMIFT *ft;
};
struct _CMPIIndicationMI {
  void *hdl;
  CMPIIndicationMIFT *ft;
};

/* Every MI table starts with ftVersion, miVersion and miName; the functions follow. */
struct _CMPIInstanceMIFT {
  int ftVersion;
  int miVersion;
  const char *miName;
  CMPIStatus (*cleanup)(CMPIInstanceMI *mi, const CMPIContext *ctx, CMPIBoolean terminating);
  CMPIStatus (*enumerateInstanceNames)(CMPIInstanceMI *mi, const CMPIContext *ctx,
                                       const CMPIResult *rslt, const CMPIObjectPath *op);
  CMPIStatus (*enumerateInstances)(CMPIInstanceMI *mi, const CMPIContext *ctx,
                                   const CMPIResult *rslt, const CMPIObjectPath *op,
                                   const char **properties);
  CMPIStatus (*getInstance)(CMPIInstanceMI *mi, const CMPIContext *ctx, const CMPIResult *rslt,
                            const CMPIObjectPath *op, const char **properties);
  CMPIStatus (*createInstance)(CMPIInstanceMI *mi, const CMPIContext *ctx, const CMPIResult *rslt,
                               const CMPIObjectPath *op, const CMPIInstance *inst);
  CMPIStatus (*modifyInstance)(CMPIInstanceMI *mi, const CMPIContext *ctx, const CMPIResult *rslt,
                               const CMPIObjectPath *op, const CMPIInstance *inst,
                               const char **properties);
  CMPIStatus (*deleteInstance)(CMPIInstanceMI *mi, const CMPIContext *ctx, const CMPIResult *rslt,
                               const CMPIObjectPath *op);
  CMPIStatus (*execQuery)(CMPIInstanceMI *mi, const CMPIContext *ctx, const CMPIResult *rslt,
                          const CMPIObjectPath *op, const char *query, const char *lang);
};

struct _CMPIMethodMIFT {
  int ftVersion;
  int miVersion;
  const char *miName;
  CMPIStatus (*cleanup)(CMPIMethodMI *mi, const CMPIContext *ctx, CMPIBoolean terminating);
  CMPIStatus (*invokeMethod)(CMPIMethodMI *mi, const CMPIContext *ctx, const CMPIResult *rslt,
                             const CMPIObjectPath *op, const char *method, const CMPIArgs *in,
                             CMPIArgs *out);
};

struct _CMPIAssociationMIFT {
  int ftVersion;
  const CMPISint32 miVersion;
  const char *miName;
  CMPIStatus (*cleanup)(CMPIAssociationMI *mi, const CMPIContext *ctx, CMPIBoolean terminating);
  CMPIStatus (*associators)(CMPIAssociationMI *mi, const CMPIContext *ctx, const CMPIResult *rslt,
                            const CMPIObjectPath *op, const char *assocClass,
                            const char *resultClass, const char *role, const char *resultRole,
                            const char **properties);
  CMPIStatus (*associatorNames)(CMPIAssociationMI *mi, const CMPIContext *ctx,
                                const CMPIResult *rslt, const CMPIObjectPath *op,
                                const char *assocClass, const char *resultClass, const char *role,
                                const char *resultRole);
  CMPIStatus (*references)(CMPIAssociationMI *mi, const CMPIContext *ctx, const CMPIResult *rslt,
                           const CMPIObjectPath *op, const char *resultClass, const char *role,
                           const char **properties);
  CMPIStatus (*referenceNames)(CMPIAssociationMI *mi, const CMPIContext *ctx,
                               const CMPIResult *rslt, const CMPIObjectPath *op,
                               const char *resultClass, const char *role);
};

struct _CMPIPropertyMIFT {
  int ftVersion;
  int miVersion;
  const char *miName;
  CMPIStatus (*cleanup)(CMPIPropertyMI *mi, const CMPIContext *ctx, CMPIBoolean terminating);
  CMPIStatus (*setProperty)(CMPIPropertyMI *mi, const CMPIContext *ctx, const CMPIResult *rslt,
                            const CMPIObjectPath *op, const char *name, const CMPIData data);
  CMPIStatus (*getProperty)(CMPIPropertyMI *mi, const CMPIContext *ctx, const CMPIResult *rslt,
                            const CMPIObjectPath *op, const char *name);
  CMPIStatus (*setPropertyWithOrigin)(CMPIPropertyMI *mi, const CMPIContext *ctx,
                                      const CMPIResult *rslt, CMPIObjectPath *op, const char *name,
                                      const CMPIData data, const char *origin);
};

struct _CMPIIndicationMIFT {
  int ftVersion;
  int miVersion;
  const char *miName;
  CMPIStatus (*cleanup)(CMPIIndicationMI *mi, const CMPIContext *ctx, CMPIBoolean terminating);
  CMPIStatus (*authorizeFilter)(CMPIIndicationMI *mi, const CMPIContext *ctx,
                                const CMPISelectExp *filter, const char *className,
                                const CMPIObjectPath *op, const char *owner);
  CMPIStatus (*mustPoll)(CMPIIndicationMI *mi, const CMPIContext *ctx, const CMPISelectExp *filter,
                         const char *className, const CMPIObjectPath *classPath);
  CMPIStatus (*activateFilter)(CMPIIndicationMI *mi, const CMPIContext *ctx,
                               const CMPISelectExp *filter, const char *className,
                               const CMPIObjectPath *classPath, CMPIBoolean firstActivation);
  CMPIStatus (*deActivateFilter)(CMPIIndicationMI *mi, const CMPIContext *ctx,
                                 const CMPISelectExp *filter, const char *className,
                                 const CMPIObjectPath *classPath, CMPIBoolean lastActivation);
  CMPIStatus (*enableIndications)(CMPIIndicationMI *mi, const CMPIContext *ctx);
  CMPIStatus (*disableIndications)(CMPIIndicationMI *mi, const CMPIContext *ctx);
};

#pragma pack(pop)

/* ---- provider factory entry points --------------------------------------------------------- */

/* A provider library exports, for each kind of MI it offers, either the specific factory
 *   <miName>_Create_<Kind>MI(const CMPIBroker *mb, const CMPIContext *ctx, CMPIStatus *rc)
 * or the generic one
 *   _Generic_Create_<Kind>MI(const CMPIBroker *mb, const CMPIContext *ctx, const char *miName,
 *                            CMPIStatus *rc)
 * with C linkage. A host looks for the specific symbol first. A NULL return or a non-OK rc means
 * the MI failed to initialise; its cleanup is then never called. These typedefs name the two
 * shapes for hosts that look the symbols up. */
typedef CMPIInstanceMI *(*CMPIInstanceMIFactory)(const CMPIBroker *mb, const CMPIContext *ctx,
                                                 CMPIStatus *rc);
typedef CMPIMethodMI *(*CMPIMethodMIFactory)(const CMPIBroker *mb, const CMPIContext *ctx,
                                             CMPIStatus *rc);
typedef CMPIAssociationMI *(*CMPIAssociationMIFactory)(const CMPIBroker *mb,
                                                       const CMPIContext *ctx, CMPIStatus *rc);
typedef CMPIPropertyMI *(*CMPIPropertyMIFactory)(const CMPIBroker *mb, const CMPIContext *ctx,
                                                 CMPIStatus *rc);
typedef CMPIIndicationMI *(*CMPIIndicationMIFactory)(const CMPIBroker *mb, const CMPIContext *ctx,
                                                     CMPIStatus *rc);
typedef CMPIInstanceMI *(*CMPIGenericInstanceMIFactory)(const CMPIBroker *mb,
                                                        const CMPIContext *ctx,
                                                        const char *miName, CMPIStatus *rc);
typedef CMPIMethodMI *(*CMPIGenericMethodMIFactory)(const CMPIBroker *mb, const CMPIContext *ctx,
                                                    const char *miName, CMPIStatus *rc);
typedef CMPIAssociationMI *(*CMPIGenericAssociationMIFactory)(const CMPIBroker *mb,
                                                              const CMPIContext *ctx,
                                                              const char *miName, CMPIStatus *rc);
typedef CMPIPropertyMI *(*CMPIGenericPropertyMIFactory)(const CMPIBroker *mb,
                                                        const CMPIContext *ctx,
                                                        const char *miName, CMPIStatus *rc);
typedef CMPIIndicationMI *(*CMPIGenericIndicationMIFactory)(const CMPIBroker *mb,
                                                            const CMPIContext *ctx,
                                                            const char *miName, CMPIStatus *rc);

/* Declarations of the generic factories, for a provider that implements them. */
CMPI_EXTERN_C CMPIInstanceMI *_Generic_Create_InstanceMI(const CMPIBroker *mb,
                                                         const CMPIContext *ctx,
                                                         const char *miName, CMPIStatus *rc);
CMPI_EXTERN_C CMPIMethodMI *_Generic_Create_MethodMI(const CMPIBroker *mb, const CMPIContext *ctx,
                                                     const char *miName, CMPIStatus *rc);
CMPI_EXTERN_C CMPIAssociationMI *_Generic_Create_AssociationMI(const CMPIBroker *mb,
                                                               const CMPIContext *ctx,
                                                               const char *miName,
                                                               CMPIStatus *rc);
CMPI_EXTERN_C CMPIPropertyMI *_Generic_Create_PropertyMI(const CMPIBroker *mb,
                                                         const CMPIContext *ctx,
                                                         const char *miName, CMPIStatus *rc);
CMPI_EXTERN_C CMPIIndicationMI *_Generic_Create_IndicationMI(const CMPIBroker *mb,
                                                             const CMPIContext *ctx,
                                                             const char *miName, CMPIStatus *rc);

/* Declares the specific factory of one MI: CMPI_FACTORY_DECL(Demo_Fan, Instance) declares
 * CMPIInstanceMI *Demo_Fan_Create_InstanceMI(const CMPIBroker*, const CMPIContext*, CMPIStatus*). */
#define CMPI_FACTORY_DECL(miName, kind)                                                          \
  CMPI_EXTERN_C CMPI##kind##MI *miName##_Create_##kind##MI(const CMPIBroker *mb,                  \
                                                            const CMPIContext *ctx, CMPIStatus *rc)

#ifdef __cplusplus
}
#endif

#endif /* CMPIFT_H */
