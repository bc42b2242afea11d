/*
 * records.h - the request record, the association parameters, the response record, the request
 * types, and their constructors and release operations.
 *
 * Layouts are part of the binary interface:
 *  - ClientReq is packed to 1 byte like the CMPI structures (60 bytes on x86-64, user at 4);
 *  - CMAssocReq has natural alignment;
 *  - ServerResp has natural alignment around the packed 12-byte CMPIStatus it embeds (status at
 *    40, retType at 52 on x86-64).
 * The struct tags ClientReq, CMAssocReq and ServerResp are fixed: the tag ServerResp is part of
 * the mangled name of releaseClientResponseData, which keeps C++ linkage for existing callers.
 *
 * Every function writes "Enter function = <name>" and "Exit  function = <name>" at level 4.
 */
#ifndef CMPIUTILITY_RECORDS_H
#define CMPIUTILITY_RECORDS_H

#include <cmpidt.h>
#include <cmpift.h>
#include <cmpiinterface.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Request types; they travel as "RequestType" in both documents. Any other value is rejected
 * with "ERROR: Unknown request type". */
#define ENUMINST 1      /* EnumerateInstances: one instance per response */
#define ENUMINSTNAMES 2 /* EnumerateInstanceNames: one object path per response */
#define GETINST 3       /* GetInstance: the instance, or the status when it is not OK */
#define MODIFYINST 4    /* ModifyInstance: CI is the modified instance; status only */
#define INVOKEMETHOD 5  /* InvokeMethod: ArgsIn, QueryString = method name; output args, retType */
#define ASSOCIATORS 6   /* Associators or References (RefsOnly): assocref; one instance */
#define EXECQUERY 7     /* ExecQuery: QueryString = the query; one instance */
#define DELETEINST 8    /* DeleteInstance: status only */
#define CREATEINST 9    /* CreateInstance: CI is the new instance; new path and status */
#define GETCLASS 10     /* GetClass: the class, or the status when it is not OK */

/* Association parameters of an ASSOCIATORS request; zero-filled, strings owned, null when
 * absent. RefsOnly selects References instead of Associators. */
typedef struct CMAssocReq {
  char *AssocClass;
  char *ResultClass;
  char *Role;
  char *ResultRole;
  unsigned char RefsOnly;
} CMAssocReq;

#pragma pack(push, 1)
/* The request record, zero-filled when created. CMPI objects are held by pointer; user and
 * QueryString are owned heap copies. */
typedef struct ClientReq {
  int type;                    /* request type */
  char *user;                  /* the requesting user ("Principal"); null when none was given */
  CMPIObjectPath *COP;         /* target object path */
  CMPIInstance *CI;            /* instance of MODIFYINST and CREATEINST */
  void *unused;                /* nothing sets or reads it; it keeps the field order */
  struct CMAssocReq *assocref; /* ASSOCIATORS only, owned */
  CMPIArgs *ArgsIn;            /* input arguments of INVOKEMETHOD */
  char *QueryString;           /* the query of EXECQUERY, the method name of INVOKEMETHOD */
} ClientReq;
#pragma pack(pop)

/* The response record, one per result, zero-filled when created. */
typedef struct ServerResp {
  int type;                   /* the request type it answers */
  CMPIInstance *instance;     /* result instance of ENUMINST, GETINST, ASSOCIATORS, EXECQUERY */
  CMPIConstClass *constClass; /* class of GETCLASS */
  CMPIObjectPath *objectPath; /* result path of ENUMINSTNAMES and CREATEINST */
  CMPIValue retVal;           /* INVOKEMETHOD: args holds the output arguments */
  CMPIStatus status;          /* copied by value from the provider's status */
  CMPIType retType;           /* INVOKEMETHOD: the code carried as "RetVal", never interpreted */
} ServerResp;

/*
 * Client side. Builds a request record in *out. Callers set *out to NULL first: when cop is NULL
 * whatever *out holds is freed.
 * The record always keeps cop, and by type (pointers kept as they are, no clone):
 *   ASSOCIATORS   assoc
 *   MODIFYINST    inst (also a NULL one)
 *   CREATEINST    inst, when not NULL
 *   INVOKEMETHOD  argsIn, and a copy of text (the method name) in QueryString
 *   EXECQUERY     a copy of text (the query) in QueryString
 *   ENUMINST, ENUMINSTNAMES, GETINST, DELETEINST, GETCLASS: nothing more
 * Arguments a type does not use are ignored and stay the caller's. user is copied; a NULL or
 * empty user (or no memory for the copy) leaves user NULL, which is not a failure here.
 * What the record keeps belongs to it from then on: releaseRequestData releases it.
 * Returns 0, or 1 with *out NULL:
 *   - out NULL: 1 at once, no line;
 *   - cop NULL: "ERROR: __getClientReq#2324: 'Object Path issue'";
 *   - no memory for the record: "ERROR: __getClientReq#2328: 'Memory allocation failed'";
 *   - INVOKEMETHOD or EXECQUERY with a NULL or empty text (or no memory for its copy):
 *     "ERROR: utilString_strdup failed";
 *   - any other type: "ERROR: Unknown request type".
 * After a failure the record and its own copies (user, QueryString) are freed, but none of cop,
 * argsIn, inst and assoc is released: they stay the caller's, also when the record had taken
 * them before it failed.
 */
int getClientReq(ClientReq **out, const char *user, int type, CMPIObjectPath *cop,
                 CMPIArgs *argsIn, CMPIInstance *inst, CMAssocReq *assoc, const char *text);

/*
 * Provider host side. Builds a response record of the given type in *out; the record keeps the
 * provider's objects as they are (no clone), and they stay the provider's:
 *   ENUMINST, ASSOCIATORS, EXECQUERY  instance = inst
 *   ENUMINSTNAMES                     objectPath = path
 *   GETINST, GETCLASS                 with a status whose code is not OK: that status only;
 *                                     otherwise instance = inst (GETINST) or constClass = cls
 *   MODIFYINST, DELETEINST            the status
 *   CREATEINST                        objectPath = path and the status
 *   INVOKEMETHOD                      retVal and retType; the status stays zero (OK)
 * The status is copied by value (its message pointer is shared, not duplicated); a NULL status
 * leaves the zero status. Arguments a type does not use are ignored.
 * Returns 0, or 1: out NULL (no line); no memory ("ERROR: __getResponseStruct#2224: 'Memory
 * allocation failed'", *out NULL); an unknown type ("ERROR: Unknown request type", the
 * zero-filled record with only its type set is left in *out for the caller to free with
 * releaseResponseData).
 */
int getResponseStruct(ServerResp **out, int type, CMPIInstance *inst, CMPIObjectPath *path,
                      CMPIValue retVal, CMPIType retType, CMPIStatus *status,
                      CMPIConstClass *cls);

/* Releases a request record and everything it holds (user, COP, CI, assocref with its strings,
 * ArgsIn, QueryString); the objects through their own release. NULL does nothing but write the
 * Enter and Exit lines. */
void releaseRequestData(ClientReq *req);

/* Provider host side: frees the record only; its objects and its status message belong to the
 * provider. NULL does nothing. */
void releaseResponseData(ServerResp *resp);

#ifdef __cplusplus
}

/* Client side: releases instance and objectPath through their function tables, frees the
 * status message with free(), then frees the record; constClass stays with its owner. NULL
 * does nothing. C++ linkage, kept for existing callers. */
void releaseClientResponseData(ServerResp *resp);
#endif

#endif /* CMPIUTILITY_RECORDS_H */
