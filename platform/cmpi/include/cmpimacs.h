/*
 * cmpimacs.h - convenience macros over the CMPI function tables, and the stub macros that
 * write a provider's MI function table and factory entry point.
 *
 * Every object macro calls through the object's own table, passing the object as the first
 * argument: CMGetProperty(i, n, rc) is i->ft->getProperty(i, n, rc). Macros taking a value
 * argument cast it to a CMPIValue pointer, so the address of a plain variable of the matching C
 * type may be passed (and, for CMPI_chars, the char pointer itself).
 *
 * All object macros are always defined, whatever CMPI_VERSION asks for. The level changes only
 * the stub macros at the end: below 100 the instance MI stub names its modify entry
 * pfxSetInstance, below 86 the indication MI stub has no enable and disable entries.
 *
 * Statement macros (CMReturn*, CMSetStatus*) are brace blocks { ... }, so they compile with and
 * without a trailing ';'. The price: between an unbraced if and its else they must be written
 * without the ';' (or the if given braces). The CMSetStatus family does nothing when the status
 * pointer is NULL, which every rc parameter of this interface may be.
 */
#ifndef CMPIMACS_H
#define CMPIMACS_H

#include <stddef.h>
#include "cmpidt.h"
#include "cmpift.h"

/* ---- status and return --------------------------------------------------------------------- */

/* Brace blocks, not do { } while (0): provider code calls these without a trailing ';'. */

/* Returns a status with code rcp and no message from the enclosing function. */
#define CMReturn(rcp)                                                                            \
  {                                                                                               \
    CMPIStatus cmpi_ret_status_ = {(CMPIrc)(rcp), NULL};                                          \
    return cmpi_ret_status_;                                                                      \
  }

/* Returns a status with code rcp and message str (a CMPIString pointer). */
#define CMReturnWithString(rcp, str)                                                             \
  {                                                                                               \
    CMPIStatus cmpi_ret_status_ = {(CMPIrc)(rcp), (str)};                                         \
    return cmpi_ret_status_;                                                                      \
  }

/* Returns a status with code rcp and a message string made from chars by broker b. Without a
 * broker the status carries no message. */
#define CMReturnWithChars(b, rcp, chars)                                                         \
  {                                                                                               \
    const CMPIBroker *cmpi_ret_broker_ = (b);                                                     \
    CMPIStatus cmpi_ret_status_ = {(CMPIrc)(rcp), NULL};                                          \
    if (cmpi_ret_broker_ != NULL)                                                                 \
      cmpi_ret_status_.msg = cmpi_ret_broker_->eft->newString(cmpi_ret_broker_, (chars), NULL);   \
    return cmpi_ret_status_;                                                                      \
  }

/* Sets *st to code rcp with no message; nothing when st is NULL. */
#define CMSetStatus(st, rcp)                                                                     \
  {                                                                                               \
    CMPIStatus *cmpi_set_status_ = (st);                                                          \
    if (cmpi_set_status_ != NULL) {                                                               \
      cmpi_set_status_->rc = (CMPIrc)(rcp);                                                       \
      cmpi_set_status_->msg = NULL;                                                               \
    }                                                                                             \
  }

/* Sets *st to code rcp with message str (a CMPIString pointer); nothing when st is NULL. */
#define CMSetStatusWithString(st, rcp, str)                                                      \
  {                                                                                               \
    CMPIStatus *cmpi_set_status_ = (st);                                                          \
    if (cmpi_set_status_ != NULL) {                                                               \
      cmpi_set_status_->rc = (CMPIrc)(rcp);                                                       \
      cmpi_set_status_->msg = (str);                                                              \
    }                                                                                             \
  }

/* Sets *st to code rcp with a message string made from chars by broker mb; nothing when st or
 * mb is NULL. */
#define CMSetStatusWithChars(mb, st, rcp, chars)                                                 \
  {                                                                                               \
    const CMPIBroker *cmpi_set_broker_ = (mb);                                                    \
    CMPIStatus *cmpi_set_status_ = (st);                                                          \
    if (cmpi_set_status_ != NULL && cmpi_set_broker_ != NULL) {                                   \
      cmpi_set_status_->rc = (CMPIrc)(rcp);                                                       \
      cmpi_set_status_->msg = cmpi_set_broker_->eft->newString(cmpi_set_broker_, (chars), NULL);  \
    }                                                                                             \
  }

/* ---- any object, strings and data ---------------------------------------------------------- */

#define CMRelease(o) ((o)->ft->release((o)))
#define CMClone(o, rc) ((o)->ft->clone((o), (rc)))

/* The pointer itself is the text: a string's handle points straight at its NUL-terminated
 * characters, so this reads the handle without a call. Kept for providers built that way. */
#define CMGetCharPtr(s) ((char *)(s)->hdl)
#define CMGetCharsPtr(s, rc) ((s)->ft->getCharPtr((s), (rc)))

/* True for a NULL object pointer and for an object whose handle is NULL: a live object never
 * has a NULL handle. o is a pointer to any object of this interface (they all start with hdl);
 * the handle is read as a member, so an object placed at any address is read correctly. */
#define CMIsNullObject(o) ((o) == NULL || (o)->hdl == NULL)

/* Tests on a CMPIData taken by value. */
#define CMIsNullValue(d) (((d).state) & CMPI_nullValue)
#define CMIsKeyValue(d) (((d).state) & CMPI_keyValue)
#define CMIsArray(d) (((d).type) & CMPI_ARRAY)

/* ---- instance ------------------------------------------------------------------------------ */

#define CMGetPropertyCount(i, rc) ((i)->ft->getPropertyCount((i), (rc)))
#define CMGetPropertyAt(i, num, s, rc) ((i)->ft->getPropertyAt((i), (num), (s), (rc)))
#define CMGetProperty(i, n, rc) ((i)->ft->getProperty((i), (n), (rc)))
#define CMSetProperty(i, n, v, t) ((i)->ft->setProperty((i), (n), (const CMPIValue *)(v), (t)))
#define CMSetPropertyWithOrigin(i, n, v, t, o)                                                   \
  ((i)->ft->setPropertyWithOrigin((i), (n), (const CMPIValue *)(v), (t), (o)))
#define CMSetPropertyFilter(i, pl, k) ((i)->ft->setPropertyFilter((i), (pl), (k)))
#define CMGetObjectPath(i, rc) ((i)->ft->getObjectPath((i), (rc)))
#define CMSetObjectPath(i, p) ((i)->ft->setObjectPath((i), (p)))

/* ---- object path --------------------------------------------------------------------------- */

#define CMSetNameSpace(p, ns) ((p)->ft->setNameSpace((p), (ns)))
#define CMGetNameSpace(p, rc) ((p)->ft->getNameSpace((p), (rc)))
#define CMSetHostname(p, hn) ((p)->ft->setHostname((p), (hn)))
#define CMGetHostname(p, rc) ((p)->ft->getHostname((p), (rc)))
#define CMSetClassName(p, cn) ((p)->ft->setClassName((p), (cn)))
#define CMGetClassName(p, rc) ((p)->ft->getClassName((p), (rc)))
#define CMAddKey(p, n, v, t) ((p)->ft->addKey((p), (n), (const CMPIValue *)(v), (t)))
#define CMGetKey(p, n, rc) ((p)->ft->getKey((p), (n), (rc)))
#define CMGetKeyAt(p, i, n, rc) ((p)->ft->getKeyAt((p), (i), (n), (rc)))
#define CMGetKeyCount(p, rc) ((p)->ft->getKeyCount((p), (rc)))
#define CMSetNameSpaceFromObjectPath(p, s) ((p)->ft->setNameSpaceFromObjectPath((p), (s)))
#define CMSetHostAndNameSpaceFromObjectPath(p, s)                                                \
  ((p)->ft->setHostAndNameSpaceFromObjectPath((p), (s)))
#define CMGetClassQualifier(p, q, rc) ((p)->ft->getClassQualifier((p), (q), (rc)))
#define CMGetPropertyQualifier(p, pn, q, rc)                                                     \
  ((p)->ft->getPropertyQualifier((p), (pn), (q), (rc)))
#define CMGetMethodQualifier(p, m, q, rc) ((p)->ft->getMethodQualifier((p), (m), (q), (rc)))
#define CMGetParameterQualifier(p, m, pn, q, rc)                                                 \
  ((p)->ft->getParameterQualifier((p), (m), (pn), (q), (rc)))
/* The path as text; this platform gives namespace:Class.key=value,key=value. */
#define CMObjectPathToString(p, rc) ((p)->ft->toString((p), (rc)))

/* ---- method arguments ---------------------------------------------------------------------- */

#define CMGetArgCount(a, rc) ((a)->ft->getArgCount((a), (rc)))
#define CMGetArgAt(a, p, n, rc) ((a)->ft->getArgAt((a), (p), (n), (rc)))
#define CMGetArg(a, n, rc) ((a)->ft->getArg((a), (n), (rc)))
#define CMAddArg(a, n, v, t) ((a)->ft->addArg((a), (n), (const CMPIValue *)(v), (t)))

/* ---- array: the count is the table's getSize, the type its getSimpleType ------------------- */

#define CMGetArrayCount(a, rc) ((a)->ft->getSize((a), (rc)))
#define CMGetArrayType(a, rc) ((a)->ft->getSimpleType((a), (rc)))
#define CMGetArrayElementAt(a, n, rc) ((a)->ft->getElementAt((a), (n), (rc)))
#define CMSetArrayElementAt(a, n, v, t)                                                          \
  ((a)->ft->setElementAt((a), (n), (const CMPIValue *)(v), (t)))

/* ---- enumeration --------------------------------------------------------------------------- */

#define CMGetNext(e, rc) ((e)->ft->getNext((e), (rc)))
#define CMHasNext(e, rc) ((e)->ft->hasNext((e), (rc)))
#define CMToArray(e, rc) ((e)->ft->toArray((e), (rc)))

/* ---- date-time ----------------------------------------------------------------------------- */

#define CMGetBinaryFormat(d, rc) ((d)->ft->getBinaryFormat((d), (rc)))
#define CMGetStringFormat(d, rc) ((d)->ft->getStringFormat((d), (rc)))
#define CMIsInterval(d, rc) ((d)->ft->isInterval((d), (rc)))

/* ---- context ------------------------------------------------------------------------------- */

#define CMGetContextEntry(c, n, rc) ((c)->ft->getEntry((c), (n), (rc)))
#define CMGetContextEntryAt(c, p, n, rc) ((c)->ft->getEntryAt((c), (p), (n), (rc)))
#define CMGetContextEntryCount(c, rc) ((c)->ft->getEntryCount((c), (rc)))
#define CMAddContextEntry(c, n, v, t) ((c)->ft->addEntry((c), (n), (const CMPIValue *)(v), (t)))

/* ---- select expressions, conditions and predicates ----------------------------------------- */

#define CMEvaluateSelExp(s, i, rc) ((s)->ft->evaluate((s), (i), (rc)))
#define CMEvaluateSelExpUsingAccessor(s, i, p, rc)                                               \
  ((s)->ft->evaluateUsingAccessor((s), (i), (p), (rc)))
#define CMGetSelExpString(s, rc) ((s)->ft->getString((s), (rc)))
#define CMGetDoc(s, rc) ((s)->ft->getDOC((s), (rc)))
#define CMGetCod(s, rc) ((s)->ft->getCOD((s), (rc)))
#define CMGetSubCondCountAndType(c, t, rc) ((c)->ft->getCountAndType((c), (t), (rc)))
#define CMGetSubCondAt(c, p, rc) ((c)->ft->getSubCondAt((c), (p), (rc)))
#define CMGetPredicateCount(s, rc) ((s)->ft->getCount((s), (rc)))
#define CMGetPredicateAt(s, p, rc) ((s)->ft->getPredicateAt((s), (p), (rc)))
#define CMGetPredicate(s, n, rc) ((s)->ft->getPredicate((s), (n), (rc)))
#define CMGetPredicateData(p, t, o, n, v) ((p)->ft->getData((p), (t), (o), (n), (v)))
#define CMEvaluatePredicateUsingAccessor(p, a, parm, rc)                                         \
  ((p)->ft->evaluateUsingAccessor((p), (a), (parm), (rc)))

/* ---- extended errors ----------------------------------------------------------------------- */

#define CMGetErrorType(e, rc) ((e)->ft->getErrorType((e), (rc)))
#define CMGetOtherErrorType(e, rc) ((e)->ft->getOtherErrorType((e), (rc)))
#define CMGetOwningEntity(e, rc) ((e)->ft->getOwningEntity((e), (rc)))
#define CMGetMessageID(e, rc) ((e)->ft->getMessageID((e), (rc)))
/* The error's own message text (CMGetMessage is the broker's message lookup). */
#define CMGetErrorMessage(e, rc) ((e)->ft->getMessage((e), (rc)))
#define CMGetPerceivedSeverity(e, rc) ((e)->ft->getPerceivedSeverity((e), (rc)))
#define CMGetProbableCause(e, rc) ((e)->ft->getProbableCause((e), (rc)))
#define CMGetProbableCauseDescription(e, rc) ((e)->ft->getProbableCauseDescription((e), (rc)))
#define CMGetRecommendedActions(e, rc) ((e)->ft->getRecommendedActions((e), (rc)))
#define CMGetErrorSource(e, rc) ((e)->ft->getErrorSource((e), (rc)))
#define CMGetErrorSourceFormat(e, rc) ((e)->ft->getErrorSourceFormat((e), (rc)))
#define CMGetOtherErrorSourceFormat(e, rc) ((e)->ft->getOtherErrorSourceFormat((e), (rc)))
#define CMGetCIMStatusCode(e, rc) ((e)->ft->getCIMStatusCode((e), (rc)))
#define CMGetCIMStatusCodeDescription(e, rc) ((e)->ft->getCIMStatusCodeDescription((e), (rc)))
#define CMGetMessageArguments(e, rc) ((e)->ft->getMessageArguments((e), (rc)))
#define CMSetErrorType(e, et) ((e)->ft->setErrorType((e), (et)))
#define CMSetOtherErrorType(e, ot) ((e)->ft->setOtherErrorType((e), (ot)))
#define CMSetProbableCauseDescription(e, pcd) ((e)->ft->setProbableCauseDescription((e), (pcd)))
#define CMSetRecommendedActions(e, ra) ((e)->ft->setRecommendedActions((e), (ra)))
#define CMSetErrorSource(e, es) ((e)->ft->setErrorSource((e), (es)))
#define CMSetErrorSourceFormat(e, esf) ((e)->ft->setErrorSourceFormat((e), (esf)))
#define CMSetOtherErrorSourceFormat(e, oesf) ((e)->ft->setOtherErrorSourceFormat((e), (oesf)))
#define CMSetCIMStatusCodeDescription(e, scd) ((e)->ft->setCIMStatusCodeDescription((e), (scd)))
#define CMSetMessageArguments(e, values) ((e)->ft->setMessageArguments((e), (values)))

/* ---- result -------------------------------------------------------------------------------- */

#define CMReturnData(r, v, t) ((r)->ft->returnData((r), (const CMPIValue *)(v), (t)))
#define CMReturnInstance(r, i) ((r)->ft->returnInstance((r), (i)))
#define CMReturnObjectPath(r, p) ((r)->ft->returnObjectPath((r), (p)))
#define CMReturnDone(r) ((r)->ft->returnDone((r)))
#define CMReturnError(r, e) ((r)->ft->returnError((r), (e)))

/* ---- broker factories and helpers (through b->eft) ----------------------------------------- */

/* op is an object path: the new instance takes its namespace, class and keys. */
#define CMNewInstance(b, op, rc) ((b)->eft->newInstance((b), (op), (rc)))
#define CMNewObjectPath(b, n, c, rc) ((b)->eft->newObjectPath((b), (n), (c), (rc)))
#define CMNewArgs(b, rc) ((b)->eft->newArgs((b), (rc)))
#define CMNewString(b, s, rc) ((b)->eft->newString((b), (s), (rc)))
#define CMNewArray(b, c, t, rc) ((b)->eft->newArray((b), (c), (t), (rc)))
#define CMNewDateTime(b, rc) ((b)->eft->newDateTime((b), (rc)))
#define CMNewDateTimeFromBinary(b, d, i, rc)                                                     \
  ((b)->eft->newDateTimeFromBinary((b), (d), (i), (rc)))
#define CMNewDateTimeFromChars(b, d, rc) ((b)->eft->newDateTimeFromChars((b), (d), (rc)))
#define CMNewSelectExp(b, q, l, p, rc) ((b)->eft->newSelectExp((b), (q), (l), (p), (rc)))
#define CMNewCMPIError(b, owner, msgID, msg, sev, pc, cimStatusCode, rc)                         \
  ((b)->eft->newCMPIError((b), (owner), (msgID), (msg), (sev), (pc), (cimStatusCode), (rc)))
#define CMClassPathIsA(b, p, pn, rc) ((b)->eft->classPathIsA((b), (p), (pn), (rc)))
#define CDToString(b, o, rc) ((b)->eft->toString((b), (const void *)(o), (rc)))
#define CDIsOfType(b, o, t, rc) ((b)->eft->isOfType((b), (const void *)(o), (t), (rc)))
#define CDGetType(b, o, rc) ((b)->eft->getType((b), (const void *)(o), (rc)))
#define CMLogMessage(b, severity, id, text, string)                                              \
  ((b)->eft->logMessage((b), (severity), (id), (text), (string)))
#define CMTraceMessage(b, level, component, text, string)                                        \
  ((b)->eft->trace((b), (level), (component), (text), (string)))

/* Message lookup. args is a CMFmtArgsN(...) list: the count, then for each substitution value
 * its type code and the value (see the CMFmt helpers below). */
#define CMGetMessage(b, id, def, rc, args) ((b)->eft->getMessage((b), (id), (def), (rc), args))
#define CMGetMessage2(b, id, mfh, def, rc, args)                                                 \
  ((b)->eft->getMessage2((b), (id), (mfh), (def), (rc), args))
#define CMOpenMessageFile(b, mf, mfh) ((b)->eft->openMessageFile((b), (mf), (mfh)))
#define CMCloseMessageFile(b, mfh) ((b)->eft->closeMessageFile((b), (mfh)))

/* ---- message substitution values ----------------------------------------------------------- */

/* Each helper gives a type code followed by the value promoted the way the message lookup reads
 * it back: 32-bit and smaller integers and booleans as int or unsigned int, 64-bit integers as
 * long long or unsigned long long, reals as double, texts as pointers. */
#define CMFmtSint(v) CMPI_sint32, ((int)(v))
#define CMFmtUint(v) CMPI_uint32, ((unsigned int)(v))
#define CMFmtSint64(v) CMPI_sint64, ((long long)(v))
#define CMFmtUint64(v) CMPI_uint64, ((unsigned long long)(v))
#define CMFmtReal(v) CMPI_real64, ((double)(v))
#define CMFmtBoolean(v) CMPI_boolean, ((int)(v))
#define CMFmtChars(v) CMPI_chars, ((char *)(v))
#define CMFmtString(v) CMPI_string, ((CMPIString *)(v))

/* The count of substitution values, then the values (each one a CMFmt helper). */
#define CMFmtArgs0() 0
#define CMFmtArgs1(v1) 1, v1
#define CMFmtArgs2(v1, v2) 2, v1, v2
#define CMFmtArgs3(v1, v2, v3) 3, v1, v2, v3
#define CMFmtArgs4(v1, v2, v3, v4) 4, v1, v2, v3, v4
#define CMFmtArgs5(v1, v2, v3, v4, v5) 5, v1, v2, v3, v4, v5
#define CMFmtArgs6(v1, v2, v3, v4, v5, v6) 6, v1, v2, v3, v4, v5, v6
#define CMFmtArgs7(v1, v2, v3, v4, v5, v6, v7) 7, v1, v2, v3, v4, v5, v6, v7
#define CMFmtArgs8(v1, v2, v3, v4, v5, v6, v7, v8) 8, v1, v2, v3, v4, v5, v6, v7, v8
#define CMFmtArgs9(v1, v2, v3, v4, v5, v6, v7, v8, v9) 9, v1, v2, v3, v4, v5, v6, v7, v8, v9
#define CMFmtArgs10(v1, v2, v3, v4, v5, v6, v7, v8, v9, v10)                                     \
  10, v1, v2, v3, v4, v5, v6, v7, v8, v9, v10

/* ---- broker up-calls (through b->bft) ------------------------------------------------------ */

#define CBGetBrokerCapabilities(b) ((b)->bft->brokerCapabilities)
/* Older names of the same capability field. */
#define CBGetClassification(b) CBGetBrokerCapabilities(b)
#define CBGetCapabilities(b) CBGetBrokerCapabilities(b)
#define CBBrokerVersion(b) ((b)->bft->brokerVersion)
#define CBBrokerName(b) ((b)->bft->brokerName)

#define CBPrepareAttachThread(b, c) ((b)->bft->prepareAttachThread((b), (c)))
#define CBAttachThread(b, c) ((b)->bft->attachThread((b), (c)))
#define CBDetachThread(b, c) ((b)->bft->detachThread((b), (c)))
#define CBDeliverIndication(b, c, n, i) ((b)->bft->deliverIndication((b), (c), (n), (i)))
#define CBEnumInstanceNames(b, c, p, rc) ((b)->bft->enumerateInstanceNames((b), (c), (p), (rc)))
#define CBEnumInstances(b, c, p, pr, rc)                                                         \
  ((b)->bft->enumerateInstances((b), (c), (p), (pr), (rc)))
#define CBGetInstance(b, c, p, pr, rc) ((b)->bft->getInstance((b), (c), (p), (pr), (rc)))
#define CBCreateInstance(b, c, p, i, rc) ((b)->bft->createInstance((b), (c), (p), (i), (rc)))
#define CBModifyInstance(b, c, p, i, pr) ((b)->bft->modifyInstance((b), (c), (p), (i), (pr)))
/* The older name of CBModifyInstance. Old code calls it without the property list, newer code
 * with it; both shapes reach modifyInstance (a missing list means all properties). */
#define CBSetInstance(b, c, p, ...)                                                              \
  CMPI_MACS_PICK3_(__VA_ARGS__, CMPI_MACS_SETINST5_, CMPI_MACS_SETINST4_, unused)(b, c, p,      \
                                                                                  __VA_ARGS__)
#define CMPI_MACS_PICK3_(a1, a2, a3, ...) a3
#define CMPI_MACS_SETINST4_(b, c, p, i) CBModifyInstance(b, c, p, i, NULL)
#define CMPI_MACS_SETINST5_(b, c, p, i, pr) CBModifyInstance(b, c, p, i, pr)
#define CBDeleteInstance(b, c, p) ((b)->bft->deleteInstance((b), (c), (p)))
#define CBExecQuery(b, c, p, l, x, rc) ((b)->bft->execQuery((b), (c), (p), (l), (x), (rc)))
#define CBAssociators(b, c, p, acl, rcl, r, rr, pr, rc)                                          \
  ((b)->bft->associators((b), (c), (p), (acl), (rcl), (r), (rr), (pr), (rc)))
#define CBAssociatorNames(b, c, p, acl, rcl, r, rr, rc)                                          \
  ((b)->bft->associatorNames((b), (c), (p), (acl), (rcl), (r), (rr), (rc)))
#define CBReferences(b, c, p, acl, r, pr, rc)                                                    \
  ((b)->bft->references((b), (c), (p), (acl), (r), (pr), (rc)))
#define CBReferenceNames(b, c, p, acl, r, rc)                                                    \
  ((b)->bft->referenceNames((b), (c), (p), (acl), (r), (rc)))
#define CBInvokeMethod(b, c, p, m, ai, ao, rc)                                                   \
  ((b)->bft->invokeMethod((b), (c), (p), (m), (ai), (ao), (rc)))
#define CBSetProperty(b, c, p, n, v, t)                                                          \
  ((b)->bft->setProperty((b), (c), (p), (n), (const CMPIValue *)(v), (t)))
#define CBGetProperty(b, c, p, n, rc) ((b)->bft->getProperty((b), (c), (p), (n), (rc)))

/* ---- provider stubs ------------------------------------------------------------------------ */

/* A hook that does nothing, for the stub macros below. */
#define CMNoHook

/*
 * CM<Kind>MIStub(pfx, pn, broker, hook) writes the factory entry point of MI pn:
 *
 *   CMPI<Kind>MI *pn_Create_<Kind>MI(const CMPIBroker *brkr, const CMPIContext *ctx,
 *                                     CMPIStatus *rc)
 *
 * with C linkage, exported. Its function table is static, carries CMPICurrentVersion as table
 * and MI version and "<kind>pn" as MI name, and points at the provider's functions, named by
 * the prefix pfx (pfxCleanup, pfxEnumInstanceNames, ... as listed at each macro). They must be
 * declared before the stub with exactly the table's signatures. The factory stores brkr in the
 * provider's broker variable, runs hook (a statement that may use brkr and ctx; CMNoHook for
 * none), sets *rc to CMPI_RC_OK when rc is not NULL, and returns a static MI object whose handle
 * is NULL.
 */

/* The entries that depend on the level the provider is built for (cmpidt.h): below 100 the
 * modify entry of an instance MI is named pfxSetInstance (older providers define that name);
 * below 86 an indication MI stub has no enable and disable entries, so those slots stay NULL.
 * The tables keep their size and order either way. */
#ifdef CMPI_VER_100
#define CMPI_STUB_MODIFY_ENTRY_(pfx) pfx##ModifyInstance
#else
#define CMPI_STUB_MODIFY_ENTRY_(pfx) pfx##SetInstance
#endif
#ifdef CMPI_VER_86
#define CMPI_STUB_INDICATION_SWITCHES_(pfx) , pfx##EnableIndications, pfx##DisableIndications
#else
#define CMPI_STUB_INDICATION_SWITCHES_(pfx) , NULL, NULL
#endif

/* Instance MI: pfxCleanup, pfxEnumInstanceNames, pfxEnumInstances, pfxGetInstance,
 * pfxCreateInstance, pfxModifyInstance (pfxSetInstance below level 100), pfxDeleteInstance,
 * pfxExecQuery. */
#define CMInstanceMIStub(pfx, pn, broker, hook)                                                  \
  CMPI_EXTERN_C CMPIInstanceMI *pn##_Create_InstanceMI(const CMPIBroker *brkr,                    \
                                                       const CMPIContext *ctx, CMPIStatus *rc)    \
  {                                                                                               \
    static CMPIInstanceMIFT cmpi_stub_ft_ = {                                                     \
        CMPICurrentVersion,   CMPICurrentVersion,    "instance" #pn,        pfx##Cleanup,         \
        pfx##EnumInstanceNames, pfx##EnumInstances,  pfx##GetInstance,      pfx##CreateInstance,  \
        CMPI_STUB_MODIFY_ENTRY_(pfx), pfx##DeleteInstance, pfx##ExecQuery};                       \
    static CMPIInstanceMI cmpi_stub_mi_ = {NULL, &cmpi_stub_ft_};                                 \
    (void)ctx;                                                                                    \
    broker = brkr;                                                                                \
    hook;                                                                                         \
    if (rc != NULL) {                                                                             \
      rc->rc = CMPI_RC_OK;                                                                        \
      rc->msg = NULL;                                                                             \
    }                                                                                             \
    return &cmpi_stub_mi_;                                                                        \
  }

/* Method MI: pfxMethodCleanup, pfxInvokeMethod. */
#define CMMethodMIStub(pfx, pn, broker, hook)                                                    \
  CMPI_EXTERN_C CMPIMethodMI *pn##_Create_MethodMI(const CMPIBroker *brkr,                        \
                                                   const CMPIContext *ctx, CMPIStatus *rc)        \
  {                                                                                               \
    static CMPIMethodMIFT cmpi_stub_ft_ = {CMPICurrentVersion, CMPICurrentVersion, "method" #pn,  \
                                           pfx##MethodCleanup, pfx##InvokeMethod};                \
    static CMPIMethodMI cmpi_stub_mi_ = {NULL, &cmpi_stub_ft_};                                   \
    (void)ctx;                                                                                    \
    broker = brkr;                                                                                \
    hook;                                                                                         \
    if (rc != NULL) {                                                                             \
      rc->rc = CMPI_RC_OK;                                                                        \
      rc->msg = NULL;                                                                             \
    }                                                                                             \
    return &cmpi_stub_mi_;                                                                        \
  }

/* Association MI: pfxAssociationCleanup, pfxAssociators, pfxAssociatorNames, pfxReferences,
 * pfxReferenceNames. */
#define CMAssociationMIStub(pfx, pn, broker, hook)                                               \
  CMPI_EXTERN_C CMPIAssociationMI *pn##_Create_AssociationMI(const CMPIBroker *brkr,              \
                                                             const CMPIContext *ctx,              \
                                                             CMPIStatus *rc)                      \
  {                                                                                               \
    static CMPIAssociationMIFT cmpi_stub_ft_ = {                                                  \
        CMPICurrentVersion, CMPICurrentVersion, "association" #pn, pfx##AssociationCleanup,       \
        pfx##Associators,   pfx##AssociatorNames, pfx##References, pfx##ReferenceNames};          \
    static CMPIAssociationMI cmpi_stub_mi_ = {NULL, &cmpi_stub_ft_};                              \
    (void)ctx;                                                                                    \
    broker = brkr;                                                                                \
    hook;                                                                                         \
    if (rc != NULL) {                                                                             \
      rc->rc = CMPI_RC_OK;                                                                        \
      rc->msg = NULL;                                                                             \
    }                                                                                             \
    return &cmpi_stub_mi_;                                                                        \
  }

/* Property MI: pfxPropertyCleanup, pfxSetProperty, pfxGetProperty. The stub leaves the
 * setPropertyWithOrigin slot empty (NULL); a provider that offers it fills its own table. */
#define CMPropertyMIStub(pfx, pn, broker, hook)                                                  \
  CMPI_EXTERN_C CMPIPropertyMI *pn##_Create_PropertyMI(const CMPIBroker *brkr,                    \
                                                       const CMPIContext *ctx, CMPIStatus *rc)    \
  {                                                                                               \
    static CMPIPropertyMIFT cmpi_stub_ft_ = {CMPICurrentVersion, CMPICurrentVersion,              \
                                             "property" #pn,     pfx##PropertyCleanup,            \
                                             pfx##SetProperty,   pfx##GetProperty,                \
                                             NULL};                                               \
    static CMPIPropertyMI cmpi_stub_mi_ = {NULL, &cmpi_stub_ft_};                                 \
    (void)ctx;                                                                                    \
    broker = brkr;                                                                                \
    hook;                                                                                         \
    if (rc != NULL) {                                                                             \
      rc->rc = CMPI_RC_OK;                                                                        \
      rc->msg = NULL;                                                                             \
    }                                                                                             \
    return &cmpi_stub_mi_;                                                                        \
  }

/* Indication MI: pfxIndicationCleanup, pfxAuthorizeFilter, pfxMustPoll, pfxActivateFilter,
 * pfxDeActivateFilter, pfxEnableIndications, pfxDisableIndications (the last two from level 86
 * on). */
#define CMIndicationMIStub(pfx, pn, broker, hook)                                                \
  CMPI_EXTERN_C CMPIIndicationMI *pn##_Create_IndicationMI(const CMPIBroker *brkr,                \
                                                           const CMPIContext *ctx,                \
                                                           CMPIStatus *rc)                        \
  {                                                                                               \
    static CMPIIndicationMIFT cmpi_stub_ft_ = {                                                   \
        CMPICurrentVersion,      CMPICurrentVersion,   "Indication" #pn,                          \
        pfx##IndicationCleanup,  pfx##AuthorizeFilter, pfx##MustPoll,                             \
        pfx##ActivateFilter,     pfx##DeActivateFilter                                            \
        CMPI_STUB_INDICATION_SWITCHES_(pfx)};                                                     \
    static CMPIIndicationMI cmpi_stub_mi_ = {NULL, &cmpi_stub_ft_};                               \
    (void)ctx;                                                                                    \
    broker = brkr;                                                                                \
    hook;                                                                                         \
    if (rc != NULL) {                                                                             \
      rc->rc = CMPI_RC_OK;                                                                        \
      rc->msg = NULL;                                                                             \
    }                                                                                             \
    return &cmpi_stub_mi_;                                                                        \
  }

#endif /* CMPIMACS_H */
