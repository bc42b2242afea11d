/*
 * cmpidt.h - CMPI data types: scalar typedefs, type codes, value states, return codes,
 * invocation flags, context entry names, broker capability bits, the value union, the data
 * and status records, and the encapsulated object structures.
 *
 * Platform: Linux with the GNU toolchain (CMPI_PLATFORM_LINUX_GENERIC_GNU) only.
 *
 * Layout: every structure of this platform is packed to 1 byte. CMPIStatus is 12 bytes (rc,
 * then the message pointer directly after it), CMPIValue is 8 bytes (this platform carries no
 * CMPI_ptr values, so the union has no dataPtr member) and CMPIData is 12 bytes. Providers and
 * the object library must be compiled with these headers to agree on that layout.
 */
#ifndef CMPIDT_H
#define CMPIDT_H

#include <stddef.h>
#include "cmpios.h"

/* The one platform this library supports is Linux with the GNU toolchain; every type and layout
 * below is that platform's. Users define CMPI_PLATFORM_LINUX_GENERIC_GNU (the CMake package and
 * the pkg-config file do it for them). */
#if !defined(CMPI_PLATFORM_LINUX_GENERIC_GNU)
#error "CMPI_PLATFORM_LINUX_GENERIC_GNU is not defined: these headers support Linux with the GNU toolchain only"
#endif

/* ---- versions ------------------------------------------------------------------------------ */

#define CMPIVersion051 51
#define CMPIVersion060 60
#define CMPIVersion070 70
#define CMPIVersion080 80
#define CMPIVersion085 85
#define CMPIVersion086 86
#define CMPIVersion087 87
#define CMPIVersion090 90
#define CMPIVersion100 100
#define CMPIVersion200 200

/* The level a provider is built for. A provider written for an older level defines CMPI_VERSION
 * (for example 90 or 86) before it includes these headers; nothing set means 200. */
#ifndef CMPI_VERSION
#define CMPI_VERSION 200
#endif

/* The level symbols are cumulative: CMPI_VER_<n> is defined when CMPI_VERSION is n or above, so
 * the default level (200) defines every one of them and older provider code that tests them
 * finds its macros. A provider built for an older level does not get the newer symbols: that
 * is how it asks for the older forms (the instance MI stub of a level below 100 names its
 * modify entry SetInstance, see cmpimacs.h). Only the stub macros and these symbols depend on
 * the level; every structure and function table keeps one layout at every level. */
#if CMPI_VERSION >= 85
#define CMPI_VER_85 1
#endif
#if CMPI_VERSION >= 86
#define CMPI_VER_86 1
#endif
#if CMPI_VERSION >= 87
#define CMPI_VER_87 1
#endif
#if CMPI_VERSION >= 90
#define CMPI_VER_90 1
#endif
#if CMPI_VERSION >= 100
#define CMPI_VER_100 1
#endif
#if CMPI_VERSION >= 200
#define CMPI_VER_200 1
#endif

/* The version an MI built with these headers reports in its tables (ftVersion, miVersion): the
 * highest known level that is not above CMPI_VERSION. */
#if CMPI_VERSION >= 200
#define CMPICurrentVersion CMPIVersion200
#elif CMPI_VERSION >= 100
#define CMPICurrentVersion CMPIVersion100
#elif CMPI_VERSION >= 90
#define CMPICurrentVersion CMPIVersion090
#elif CMPI_VERSION >= 87
#define CMPICurrentVersion CMPIVersion087
#elif CMPI_VERSION >= 86
#define CMPICurrentVersion CMPIVersion086
#elif CMPI_VERSION >= 85
#define CMPICurrentVersion CMPIVersion085
#elif CMPI_VERSION >= 80
#define CMPICurrentVersion CMPIVersion080
#elif CMPI_VERSION >= 70
#define CMPICurrentVersion CMPIVersion070
#elif CMPI_VERSION >= 60
#define CMPICurrentVersion CMPIVersion060
#else
#define CMPICurrentVersion CMPIVersion051
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* ---- base typedefs ------------------------------------------------------------------------- */

typedef unsigned char CMPIBoolean;
typedef unsigned short CMPIChar16;
typedef unsigned char CMPIUint8;
typedef unsigned short CMPIUint16;
typedef unsigned int CMPIUint32;
typedef unsigned long long CMPIUint64;
typedef signed char CMPISint8;
typedef short CMPISint16;
typedef signed int CMPISint32;
typedef long long CMPISint64;
typedef float CMPIReal32;
typedef double CMPIReal64;

typedef unsigned int CMPICount;
typedef unsigned short CMPIType;
typedef unsigned short CMPIValueState;
typedef unsigned int CMPIFlags;
typedef void *CMPIMsgFileHandle;
typedef void CMPIGcStat;

/* ---- type codes ---------------------------------------------------------------------------- */

#define CMPI_null 0

#define CMPI_SIMPLE (2)
#define CMPI_boolean (2 + 0)
#define CMPI_char16 (2 + 1)

#define CMPI_REAL ((2) << 2)
#define CMPI_real32 ((2 + 0) << 2)
#define CMPI_real64 ((2 + 1) << 2)

#define CMPI_UINT ((8) << 4)
#define CMPI_uint8 ((8 + 0) << 4)
#define CMPI_uint16 ((8 + 1) << 4)
#define CMPI_uint32 ((8 + 2) << 4)
#define CMPI_uint64 ((8 + 3) << 4)
#define CMPI_SINT ((8 + 4) << 4)
#define CMPI_sint8 ((8 + 4) << 4)
#define CMPI_sint16 ((8 + 5) << 4)
#define CMPI_sint32 ((8 + 6) << 4)
#define CMPI_sint64 ((8 + 7) << 4)
#define CMPI_INTEGER ((CMPI_UINT | CMPI_SINT))

#define CMPI_ENC ((16) << 8)
#define CMPI_instance ((16 + 0) << 8)
#define CMPI_ref ((16 + 1) << 8)
#define CMPI_args ((16 + 2) << 8)
#define CMPI_class ((16 + 3) << 8)
#define CMPI_filter ((16 + 4) << 8)
#define CMPI_enumeration ((16 + 5) << 8)
#define CMPI_string ((16 + 6) << 8)
#define CMPI_chars ((16 + 7) << 8)
#define CMPI_dateTime ((16 + 8) << 8)
#define CMPI_ptr ((16 + 9) << 8)
#define CMPI_charsptr ((16 + 10) << 8)

#define CMPI_ARRAY ((1) << 13)
#define CMPI_SIMPLEA (CMPI_ARRAY | CMPI_SIMPLE)
#define CMPI_booleanA (CMPI_ARRAY | CMPI_boolean)
#define CMPI_char16A (CMPI_ARRAY | CMPI_char16)
#define CMPI_REALA (CMPI_ARRAY | CMPI_REAL)
#define CMPI_real32A (CMPI_ARRAY | CMPI_real32)
#define CMPI_real64A (CMPI_ARRAY | CMPI_real64)
#define CMPI_UINTA (CMPI_ARRAY | CMPI_UINT)
#define CMPI_uint8A (CMPI_ARRAY | CMPI_uint8)
#define CMPI_uint16A (CMPI_ARRAY | CMPI_uint16)
#define CMPI_uint32A (CMPI_ARRAY | CMPI_uint32)
#define CMPI_uint64A (CMPI_ARRAY | CMPI_uint64)
#define CMPI_SINTA (CMPI_ARRAY | CMPI_SINT)
#define CMPI_sint8A (CMPI_ARRAY | CMPI_sint8)
#define CMPI_sint16A (CMPI_ARRAY | CMPI_sint16)
#define CMPI_sint32A (CMPI_ARRAY | CMPI_sint32)
#define CMPI_sint64A (CMPI_ARRAY | CMPI_sint64)
#define CMPI_INTEGERA (CMPI_ARRAY | CMPI_INTEGER)
#define CMPI_ENCA (CMPI_ARRAY | CMPI_ENC)
#define CMPI_instanceA (CMPI_ARRAY | CMPI_instance)
#define CMPI_refA (CMPI_ARRAY | CMPI_ref)
#define CMPI_stringA (CMPI_ARRAY | CMPI_string)
#define CMPI_charsA (CMPI_ARRAY | CMPI_chars)
#define CMPI_dateTimeA (CMPI_ARRAY | CMPI_dateTime)
#define CMPI_charsptrA (CMPI_ARRAY | CMPI_charsptr)

/* Key-binding synonyms, meaningful together with CMPI_keyValue. */
#define CMPI_keyInteger (CMPI_sint64)
#define CMPI_keyString (CMPI_string)
#define CMPI_keyBoolean (CMPI_boolean)
#define CMPI_keyRef (CMPI_ref)

/* Predicate-only types. Two of them share numbers with real type codes. */
#define CMPI_charString (CMPI_string)
#define CMPI_integerString (CMPI_string | CMPI_sint64)
#define CMPI_realString (CMPI_string | CMPI_real64)
#define CMPI_numericString (CMPI_string | CMPI_sint64 | CMPI_real64)
#define CMPI_booleanString (CMPI_string | CMPI_boolean)
#define CMPI_dateTimeString (CMPI_string | CMPI_dateTime)
#define CMPI_classNameString (CMPI_string | CMPI_class)
#define CMPI_nameString (CMPI_string | ((16 + 10) << 8))

#ifndef CMPI_NO_SYNONYM_SUPPORT
#define CMPI_Byte CMPI_sint8
#define CMPI_Short CMPI_sint16
#define CMPI_Int CMPI_sint32
#define CMPI_Long CMPI_sint64
#define CMPI_Float CMPI_real32
#define CMPI_Double CMPI_real64
#define CMPI_ByteA CMPI_sint8A
#define CMPI_ShortA CMPI_sint16A
#define CMPI_IntA CMPI_sint32A
#define CMPI_LongA CMPI_sint64A
#define CMPI_FloatA CMPI_real32A
#define CMPI_DoubleA CMPI_real64A
#endif

/* ---- value states -------------------------------------------------------------------------- */

#define CMPI_goodValue (0)
#define CMPI_nullValue (1 << 8)
#define CMPI_keyValue (2 << 8)
#define CMPI_notFound (4 << 8)
#define CMPI_badValue (0x80 << 8)

/* ---- return codes -------------------------------------------------------------------------- */

typedef enum _CMPIrc {
  CMPI_RC_OK = 0,
  CMPI_RC_ERR_FAILED = 1,
  CMPI_RC_ERR_ACCESS_DENIED = 2,
  CMPI_RC_ERR_INVALID_NAMESPACE = 3,
  CMPI_RC_ERR_INVALID_PARAMETER = 4,
  CMPI_RC_ERR_INVALID_CLASS = 5,
  CMPI_RC_ERR_NOT_FOUND = 6,
  CMPI_RC_ERR_NOT_SUPPORTED = 7,
  CMPI_RC_ERR_CLASS_HAS_CHILDREN = 8,
  CMPI_RC_ERR_CLASS_HAS_INSTANCES = 9,
  CMPI_RC_ERR_INVALID_SUPERCLASS = 10,
  CMPI_RC_ERR_ALREADY_EXISTS = 11,
  CMPI_RC_ERR_NO_SUCH_PROPERTY = 12,
  CMPI_RC_ERR_TYPE_MISMATCH = 13,
  CMPI_RC_ERR_QUERY_LANGUAGE_NOT_SUPPORTED = 14,
  CMPI_RC_ERR_INVALID_QUERY = 15,
  CMPI_RC_ERR_METHOD_NOT_AVAILABLE = 16,
  CMPI_RC_ERR_METHOD_NOT_FOUND = 17,
  /* Not in the 2.0 enumeration, used by enumerations that run past their end. */
  CMPI_RC_NO_MORE_ELEMENTS = 18,
  CMPI_RC_DO_NOT_UNLOAD = 50,
  CMPI_RC_NEVER_UNLOAD = 51,
  CMPI_RC_ERR_INVALID_HANDLE = 60,
  CMPI_RC_ERR_INVALID_DATA_TYPE = 61,
  CMPI_RC_ERROR_SYSTEM = 100,
  CMPI_RC_ERROR = 200
} CMPIrc;

/* ---- invocation flags and context entry names ---------------------------------------------- */

#define CMPI_FLAG_LocalOnly 1
#define CMPI_FLAG_DeepInheritance 2
#define CMPI_FLAG_IncludeQualifiers 4
#define CMPI_FLAG_IncludeClassOrigin 8

#define CMPIInvocationFlags "CMPIInvocationFlags"
#define CMPIPrincipal "CMPIPrincipal"
#define CMPIInitNameSpace "CMPIInitNameSpace"
#define CMPIRole "CMPIRole"
#define CMPIAcceptLanguage "CMPIAcceptLanguage"
#define CMPIContentLanguage "CMPIContentLanguage"

/* ---- broker capabilities ------------------------------------------------------------------- */

#define CMPI_MB_Class_0 0x00000001
#define CMPI_MB_Class_1 0x00000003
#define CMPI_MB_Class_2 0x00000007
#define CMPI_MB_BasicRead 0x00000001
#define CMPI_MB_BasicWrite 0x00000003
#define CMPI_MB_InstanceManipulation 0x00000007
#define CMPI_MB_AssociationTraversal 0x00000009
#define CMPI_MB_QueryExecution 0x00000011
#define CMPI_MB_QueryNormalization 0x00000031
#define CMPI_MB_Indications 0x00000081
#define CMPI_MB_BasicQualifierSupport 0x00000047
#define CMPI_MB_OSEncapsulationSupport 0x00000100
#define CMPI_MB_Supports_PropertyMI 0x00000100
#define CMPI_MB_Supports_IndicationMI 0x00000200
#define CMPI_MB_Supports_IndicationPolling 0x00000400
#define CMPI_MB_Supports_QueryNormalization 0x00000800
#define CMPI_MB_Supports_Qualifier 0x00001000
#define CMPI_MB_Supports_Schema 0x00003000
#define CMPI_MB_Supports_MemEnhancements 0x00004000
#define CMPI_MB_Supports_Extended_Error 0x00008000

/* ---- other enumerations -------------------------------------------------------------------- */

typedef enum _CMPIPredOp {
  CMPI_PredOp_Equals = 1,
  CMPI_PredOp_NotEquals = 2,
  CMPI_PredOp_LessThan = 3,
  CMPI_PredOp_GreaterThanOrEquals = 4,
  CMPI_PredOp_GreaterThan = 5,
  CMPI_PredOp_LessThanOrEquals = 6,
  CMPI_PredOp_Isa = 7,
  CMPI_PredOp_NotIsa = 8,
  CMPI_PredOp_Like = 9,
  CMPI_PredOp_NotLike = 10,
  CMPI_PredOp_Not_Null = 11,
  CMPI_PredOp_Null = 12,
  CMPI_PredOp_And = 13,
  CMPI_PredOp_Or = 14
} CMPIPredOp;

/* "DEV" in the last name is the established spelling. */
typedef enum _CMPISeverity {
  CMPI_SEV_ERROR = 1,
  CMPI_SEV_INFO = 2,
  CMPI_SEV_WARNING = 3,
  CMPI_DEV_DEBUG = 4
} CMPISeverity;

typedef enum _CMPILevel { CMPI_LEV_INFO = 1, CMPI_LEV_WARNING = 2, CMPI_LEV_VERBOSE = 3 } CMPILevel;

typedef enum _CMPISelectCondType { CMPI_COND_DOC = 0, CMPI_COND_COD = 1 } CMPISelectCondType;

typedef enum _CMPIErrorType {
  UnknownErrorType = 0,
  OtherErrorType = 1,
  CommunicationsError = 2,
  QualityOfServiceError = 3,
  SoftwareError = 4,
  HardwareError = 5,
  EnvironmentalError = 6,
  SecurityError = 7,
  Oversubscription_Error = 8,
  UnavailableResourceError = 9,
  UnsupportedOperationError = 10
} CMPIErrorType;

typedef enum _CMPIErrorSeverity {
  ErrorSevUnknown = 0,
  ErrorSevLow = 2,
  ErrorSevMedium = 3,
  ErrorSevHigh = 4,
  ErrorSevFatal = 5
} CMPIErrorSeverity;

/* Probable causes: 0 unknown, 1 other, then 2..130 for the standard probable-cause list. The
 * named values are the ones code tends to test; any number in 0..130 is valid. */
typedef enum _CMPIErrorProbableCause {
  ErrorProbCauseUnknown = 0,
  ErrorProbCauseOther = 1,
  ErrorProbCauseLast = 130
} CMPIErrorProbableCause;

typedef enum _CMPIErrorSrcFormat {
  CMPIErrSrcUnknown = 0,
  CMPIErrSrcOther = 1,
  CIMObjectHandle = 2
} CMPIErrorSrcFormat;

/* ---- packed structures from here on -------------------------------------------------------- */
#pragma pack(push, 1)

struct _CMPIBroker;
struct _CMPIContext;
struct _CMPIResult;
struct _CMPIString;
struct _CMPIArray;
struct _CMPIEnumeration;
struct _CMPIInstance;
struct _CMPIObjectPath;
struct _CMPIArgs;
struct _CMPIDateTime;
struct _CMPISelectExp;
struct _CMPISelectCond;
struct _CMPISubCond;
struct _CMPIPredicate;
struct _CMPIError;

typedef struct _CMPIBroker CMPIBroker;
typedef struct _CMPIContext CMPIContext;
typedef struct _CMPIResult CMPIResult;
typedef struct _CMPIString CMPIString;
typedef struct _CMPIArray CMPIArray;
typedef struct _CMPIEnumeration CMPIEnumeration;
typedef struct _CMPIInstance CMPIInstance;
typedef struct _CMPIObjectPath CMPIObjectPath;
typedef struct _CMPIArgs CMPIArgs;
typedef struct _CMPIDateTime CMPIDateTime;
typedef struct _CMPISelectExp CMPISelectExp;
typedef struct _CMPISelectCond CMPISelectCond;
typedef struct _CMPISubCond CMPISubCond;
typedef struct _CMPIPredicate CMPIPredicate;
typedef struct _CMPIError CMPIError;

typedef struct _CMPIValuePtr {
  void *ptr;
  CMPICount length;
} CMPIValuePtr;

/* 8 bytes: this platform has no CMPI_ptr values and so no dataPtr member. */
typedef union _CMPIValue {
  CMPIUint64 uint64;
  CMPIUint32 uint32;
  CMPIUint16 uint16;
  CMPIUint8 uint8;
  CMPISint64 sint64;
  CMPISint32 sint32;
  CMPISint16 sint16;
  CMPISint8 sint8;
  CMPIReal64 real64;
  CMPIReal32 real32;
  CMPIBoolean boolean;
  CMPIChar16 char16;
  CMPIInstance *inst;
  CMPIObjectPath *ref;
  CMPIArgs *args;
  CMPISelectExp *filter;
  CMPIEnumeration *Enum;
  CMPIArray *array;
  CMPIString *string;
  char *chars;
  CMPIDateTime *dateTime;
  CMPISint8 Byte;
  CMPISint16 Short;
  CMPISint32 Int;
  CMPISint64 Long;
  CMPIReal32 Float;
  CMPIReal64 Double;
} CMPIValue;

typedef struct _CMPIData {
  CMPIType type;
  CMPIValueState state;
  CMPIValue value;
} CMPIData;

typedef CMPIData CMPIAccessor(const char *propertyName, void *parm);

typedef struct _CMPIStatus {
  CMPIrc rc;
  CMPIString *msg;
} CMPIStatus;

/* Function tables, declared in cmpift.h. */
struct _CMPIBrokerFT;
struct _CMPIBrokerEncFT;
struct _CMPIBrokerExtFT;
struct _CMPIBrokerMemFT;
struct _CMPIContextFT;
struct _CMPIResultFT;
struct _CMPIStringFT;
struct _CMPIArrayFT;
struct _CMPIEnumerationFT;
struct _CMPIInstanceFT;
struct _CMPIObjectPathFT;
struct _CMPIArgsFT;
struct _CMPIDateTimeFT;
struct _CMPISelectExpFT;
struct _CMPISelectCondFT;
struct _CMPISubCondFT;
struct _CMPIPredicateFT;
struct _CMPIErrorFT;

typedef struct _CMPIBrokerFT CMPIBrokerFT;
typedef struct _CMPIBrokerEncFT CMPIBrokerEncFT;
typedef struct _CMPIBrokerExtFT CMPIBrokerExtFT;
typedef struct _CMPIBrokerMemFT CMPIBrokerMemFT;
typedef struct _CMPIContextFT CMPIContextFT;
typedef struct _CMPIResultFT CMPIResultFT;
typedef struct _CMPIStringFT CMPIStringFT;
typedef struct _CMPIArrayFT CMPIArrayFT;
typedef struct _CMPIEnumerationFT CMPIEnumerationFT;
typedef struct _CMPIInstanceFT CMPIInstanceFT;
typedef struct _CMPIObjectPathFT CMPIObjectPathFT;
typedef struct _CMPIArgsFT CMPIArgsFT;
typedef struct _CMPIDateTimeFT CMPIDateTimeFT;
typedef struct _CMPISelectExpFT CMPISelectExpFT;
typedef struct _CMPISelectCondFT CMPISelectCondFT;
typedef struct _CMPISubCondFT CMPISubCondFT;
typedef struct _CMPIPredicateFT CMPIPredicateFT;
typedef struct _CMPIErrorFT CMPIErrorFT;

/* Encapsulated objects: an implementation handle, then the function table. A live object never
 * has a NULL handle (CMIsNullObject relies on that). */
struct _CMPIBroker {
  void *hdl;
  CMPIBrokerFT *bft;
  CMPIBrokerEncFT *eft;
  CMPIBrokerExtFT *xft;
  CMPIBrokerMemFT *mft;
};
struct _CMPIContext {
  void *hdl;
  CMPIContextFT *ft;
};
struct _CMPIResult {
  void *hdl;
  CMPIResultFT *ft;
};
/* hdl points straight at the NUL-terminated text: CMGetCharPtr reads it directly. */
struct _CMPIString {
  void *hdl;
  CMPIStringFT *ft;
};
struct _CMPIArray {
  void *hdl;
  CMPIArrayFT *ft;
};
struct _CMPIEnumeration {
  void *hdl;
  CMPIEnumerationFT *ft;
};
struct _CMPIInstance {
  void *hdl;
  CMPIInstanceFT *ft;
};
struct _CMPIObjectPath {
  void *hdl;
  CMPIObjectPathFT *ft;
};
struct _CMPIArgs {
  void *hdl;
  CMPIArgsFT *ft;
};
struct _CMPIDateTime {
  void *hdl;
  CMPIDateTimeFT *ft;
};
struct _CMPISelectExp {
  void *hdl;
  CMPISelectExpFT *ft;
};
struct _CMPISelectCond {
  void *hdl;
  CMPISelectCondFT *ft;
};
struct _CMPISubCond {
  void *hdl;
  CMPISubCondFT *ft;
};
struct _CMPIPredicate {
  void *hdl;
  CMPIPredicateFT *ft;
};
struct _CMPIError {
  void *hdl;
  CMPIErrorFT *ft;
};

#pragma pack(pop)

#ifdef __cplusplus
}
#endif

#endif /* CMPIDT_H */
