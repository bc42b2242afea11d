// Layout and constants of the CMPI headers of this platform.
//
// The static_asserts pin the 1-byte packed layout that providers and the object library share:
// a function table is its int version followed directly by the function pointers, so slot k
// sits at byte 4 + 8*(k-1); the broker's up-call table starts with three data fields and its
// functions from byte 16; an MI table has ftVersion, miVersion and miName, then its functions
// from byte 16. The numbers below are written out, not computed, so that any change of a table
// shows up here.
//
// The TESTs check every numeric constant of the data-type header against its documented value,
// including the places where two names share a number.

#include <cmpidt.h>
#include <cmpift.h>
#include <cmpiinterface.h>
#include <cmpimacs.h>

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <type_traits>

// ---- scalar typedefs ---------------------------------------------------------------------------

static_assert(std::is_same_v<CMPIBoolean, unsigned char>);
static_assert(std::is_same_v<CMPIChar16, unsigned short>);
static_assert(std::is_same_v<CMPIUint8, unsigned char>);
static_assert(std::is_same_v<CMPIUint16, unsigned short>);
static_assert(std::is_same_v<CMPIUint32, unsigned int>);
static_assert(std::is_same_v<CMPIUint64, unsigned long long>);
static_assert(std::is_same_v<CMPISint8, signed char>);
static_assert(std::is_same_v<CMPISint16, short>);
static_assert(std::is_same_v<CMPISint32, int>);
static_assert(std::is_same_v<CMPISint64, long long>);
static_assert(std::is_same_v<CMPIReal32, float>);
static_assert(std::is_same_v<CMPIReal64, double>);
static_assert(std::is_same_v<CMPICount, unsigned int>);
static_assert(std::is_same_v<CMPIType, unsigned short>);
static_assert(std::is_same_v<CMPIValueState, unsigned short>);
static_assert(std::is_same_v<CMPIFlags, unsigned int>);
static_assert(std::is_same_v<CMPIMsgFileHandle, void *>);
static_assert(std::is_same_v<CMPIAccessor, CMPIData(const char *, void *)>);
static_assert(sizeof(CMPIrc) == 4);
static_assert(sizeof(CMPIPredOp) == 4);

// ---- value, data and status --------------------------------------------------------------------

static_assert(sizeof(CMPIValuePtr) == 12);
static_assert(offsetof(CMPIValuePtr, ptr) == 0);
static_assert(offsetof(CMPIValuePtr, length) == 8);

static_assert(sizeof(CMPIValue) == 8);
static_assert(alignof(CMPIValue) == 1);
static_assert(offsetof(CMPIValue, uint64) == 0);
static_assert(offsetof(CMPIValue, chars) == 0);
static_assert(offsetof(CMPIValue, dateTime) == 0);

static_assert(sizeof(CMPIData) == 12);
static_assert(alignof(CMPIData) == 1);
static_assert(offsetof(CMPIData, type) == 0);
static_assert(offsetof(CMPIData, state) == 2);
static_assert(offsetof(CMPIData, value) == 4);

static_assert(sizeof(CMPIStatus) == 12);
static_assert(alignof(CMPIStatus) == 1);
static_assert(offsetof(CMPIStatus, rc) == 0);
static_assert(offsetof(CMPIStatus, msg) == 4);

// ---- objects: a handle, then the table ---------------------------------------------------------

#define OBJECT_LAYOUT(T)                                                                          \
  static_assert(sizeof(T) == 16);                                                                 \
  static_assert(offsetof(T, hdl) == 0);                                                           \
  static_assert(offsetof(T, ft) == 8)

OBJECT_LAYOUT(CMPIContext);
OBJECT_LAYOUT(CMPIResult);
OBJECT_LAYOUT(CMPIString);
OBJECT_LAYOUT(CMPIArray);
OBJECT_LAYOUT(CMPIEnumeration);
OBJECT_LAYOUT(CMPIInstance);
OBJECT_LAYOUT(CMPIObjectPath);
OBJECT_LAYOUT(CMPIArgs);
OBJECT_LAYOUT(CMPIDateTime);
OBJECT_LAYOUT(CMPISelectExp);
OBJECT_LAYOUT(CMPISelectCond);
OBJECT_LAYOUT(CMPISubCond);
OBJECT_LAYOUT(CMPIPredicate);
OBJECT_LAYOUT(CMPIError);
OBJECT_LAYOUT(CMPIConstClass);
OBJECT_LAYOUT(CMPIInstanceMI);
OBJECT_LAYOUT(CMPIMethodMI);
OBJECT_LAYOUT(CMPIAssociationMI);
OBJECT_LAYOUT(CMPIPropertyMI);
OBJECT_LAYOUT(CMPIIndicationMI);

static_assert(sizeof(CMPIBroker) == 40);
static_assert(offsetof(CMPIBroker, hdl) == 0);
static_assert(offsetof(CMPIBroker, bft) == 8);
static_assert(offsetof(CMPIBroker, eft) == 16);
static_assert(offsetof(CMPIBroker, xft) == 24);
static_assert(offsetof(CMPIBroker, mft) == 32);

// The records behind a class object and an enumeration.
static_assert(sizeof(CMPIClassRecord) == 48);
static_assert(offsetof(CMPIClassRecord, className) == 0);
static_assert(offsetof(CMPIClassRecord, nameSpace) == 8);
static_assert(offsetof(CMPIClassRecord, propertyNames) == 16);
static_assert(offsetof(CMPIClassRecord, reserved) == 24);
static_assert(offsetof(CMPIClassRecord, methodNames) == 32);
static_assert(offsetof(CMPIClassRecord, methodParameters) == 40);
// Only the first field of an enumeration's record is shared: the array it enumerates.
static_assert(offsetof(CMPIEnumerationRecord, array) == 0);

// ---- broker tables -----------------------------------------------------------------------------

// Up-calls: three data fields, then the functions from byte 16.
static_assert(offsetof(CMPIBrokerFT, brokerCapabilities) == 0);
static_assert(offsetof(CMPIBrokerFT, brokerVersion) == 4);
static_assert(offsetof(CMPIBrokerFT, brokerName) == 8);
static_assert(offsetof(CMPIBrokerFT, prepareAttachThread) == 16);
static_assert(offsetof(CMPIBrokerFT, attachThread) == 24);
static_assert(offsetof(CMPIBrokerFT, detachThread) == 32);
static_assert(offsetof(CMPIBrokerFT, deliverIndication) == 40);
static_assert(offsetof(CMPIBrokerFT, enumerateInstanceNames) == 48);
static_assert(offsetof(CMPIBrokerFT, getInstance) == 56);
static_assert(offsetof(CMPIBrokerFT, createInstance) == 64);
static_assert(offsetof(CMPIBrokerFT, modifyInstance) == 72);
static_assert(offsetof(CMPIBrokerFT, deleteInstance) == 80);
static_assert(offsetof(CMPIBrokerFT, execQuery) == 88);
static_assert(offsetof(CMPIBrokerFT, enumerateInstances) == 96);
static_assert(offsetof(CMPIBrokerFT, associators) == 104);
static_assert(offsetof(CMPIBrokerFT, associatorNames) == 112);
static_assert(offsetof(CMPIBrokerFT, references) == 120);
static_assert(offsetof(CMPIBrokerFT, referenceNames) == 128);
static_assert(offsetof(CMPIBrokerFT, invokeMethod) == 136);
static_assert(offsetof(CMPIBrokerFT, setProperty) == 144);
static_assert(offsetof(CMPIBrokerFT, getProperty) == 152);
static_assert(sizeof(CMPIBrokerFT) == 160);

static_assert(offsetof(CMPIBrokerEncFT, ftVersion) == 0);
static_assert(offsetof(CMPIBrokerEncFT, newInstance) == 4);
static_assert(offsetof(CMPIBrokerEncFT, newObjectPath) == 12);
static_assert(offsetof(CMPIBrokerEncFT, newArgs) == 20);
static_assert(offsetof(CMPIBrokerEncFT, newString) == 28);
static_assert(offsetof(CMPIBrokerEncFT, newArray) == 36);
static_assert(offsetof(CMPIBrokerEncFT, newDateTime) == 44);
static_assert(offsetof(CMPIBrokerEncFT, newDateTimeFromBinary) == 52);
static_assert(offsetof(CMPIBrokerEncFT, newDateTimeFromChars) == 60);
static_assert(offsetof(CMPIBrokerEncFT, newSelectExp) == 68);
static_assert(offsetof(CMPIBrokerEncFT, classPathIsA) == 76);
static_assert(offsetof(CMPIBrokerEncFT, toString) == 84);
static_assert(offsetof(CMPIBrokerEncFT, isOfType) == 92);
static_assert(offsetof(CMPIBrokerEncFT, getType) == 100);
static_assert(offsetof(CMPIBrokerEncFT, getMessage) == 108);
static_assert(offsetof(CMPIBrokerEncFT, logMessage) == 116);
static_assert(offsetof(CMPIBrokerEncFT, trace) == 124);
static_assert(offsetof(CMPIBrokerEncFT, newCMPIError) == 132);
static_assert(offsetof(CMPIBrokerEncFT, openMessageFile) == 140);
static_assert(offsetof(CMPIBrokerEncFT, closeMessageFile) == 148);
static_assert(offsetof(CMPIBrokerEncFT, getMessage2) == 156);
static_assert(sizeof(CMPIBrokerEncFT) == 164);

static_assert(offsetof(CMPIBrokerExtFT, resolveFileName) == 4);
static_assert(offsetof(CMPIBrokerExtFT, newThread) == 12);
static_assert(offsetof(CMPIBrokerExtFT, createThreadKey) == 60);
static_assert(offsetof(CMPIBrokerExtFT, newMutex) == 92);
static_assert(offsetof(CMPIBrokerExtFT, timedCondWait) == 148);
static_assert(offsetof(CMPIBrokerExtFT, signalCondition) == 156);
static_assert(sizeof(CMPIBrokerExtFT) == 164);

static_assert(offsetof(CMPIBrokerMemFT, mark) == 4);
static_assert(offsetof(CMPIBrokerMemFT, release) == 12);
static_assert(offsetof(CMPIBrokerMemFT, cmpiFree) == 52);
static_assert(offsetof(CMPIBrokerMemFT, freeSelectExp) == 108);
static_assert(sizeof(CMPIBrokerMemFT) == 116);

// ---- object tables -----------------------------------------------------------------------------

static_assert(offsetof(CMPIContextFT, ftVersion) == 0);
static_assert(offsetof(CMPIContextFT, release) == 4);
static_assert(offsetof(CMPIContextFT, clone) == 12);
static_assert(offsetof(CMPIContextFT, getEntry) == 20);
static_assert(offsetof(CMPIContextFT, getEntryAt) == 28);
static_assert(offsetof(CMPIContextFT, getEntryCount) == 36);
static_assert(offsetof(CMPIContextFT, addEntry) == 44);
static_assert(sizeof(CMPIContextFT) == 52);

static_assert(offsetof(CMPIResultFT, release) == 4);
static_assert(offsetof(CMPIResultFT, clone) == 12);
static_assert(offsetof(CMPIResultFT, returnData) == 20);
static_assert(offsetof(CMPIResultFT, returnInstance) == 28);
static_assert(offsetof(CMPIResultFT, returnObjectPath) == 36);
static_assert(offsetof(CMPIResultFT, returnDone) == 44);
static_assert(offsetof(CMPIResultFT, returnError) == 52);
static_assert(sizeof(CMPIResultFT) == 60);

static_assert(offsetof(CMPIStringFT, release) == 4);
static_assert(offsetof(CMPIStringFT, clone) == 12);
static_assert(offsetof(CMPIStringFT, getCharPtr) == 20);
static_assert(sizeof(CMPIStringFT) == 28);

static_assert(offsetof(CMPIArrayFT, release) == 4);
static_assert(offsetof(CMPIArrayFT, clone) == 12);
static_assert(offsetof(CMPIArrayFT, getSize) == 20);
static_assert(offsetof(CMPIArrayFT, getSimpleType) == 28);
static_assert(offsetof(CMPIArrayFT, getElementAt) == 36);
static_assert(offsetof(CMPIArrayFT, setElementAt) == 44);
static_assert(sizeof(CMPIArrayFT) == 52);

static_assert(offsetof(CMPIEnumerationFT, release) == 4);
static_assert(offsetof(CMPIEnumerationFT, clone) == 12);
static_assert(offsetof(CMPIEnumerationFT, getNext) == 20);
static_assert(offsetof(CMPIEnumerationFT, hasNext) == 28);
static_assert(offsetof(CMPIEnumerationFT, toArray) == 36);
static_assert(sizeof(CMPIEnumerationFT) == 44);

static_assert(offsetof(CMPIInstanceFT, ftVersion) == 0);
static_assert(offsetof(CMPIInstanceFT, release) == 4);
static_assert(offsetof(CMPIInstanceFT, clone) == 12);
static_assert(offsetof(CMPIInstanceFT, getProperty) == 20);
static_assert(offsetof(CMPIInstanceFT, getPropertyAt) == 28);
static_assert(offsetof(CMPIInstanceFT, getPropertyCount) == 36);
static_assert(offsetof(CMPIInstanceFT, setProperty) == 44);
static_assert(offsetof(CMPIInstanceFT, getObjectPath) == 52);
static_assert(offsetof(CMPIInstanceFT, setPropertyFilter) == 60);
static_assert(offsetof(CMPIInstanceFT, setObjectPath) == 68);
static_assert(offsetof(CMPIInstanceFT, setPropertyWithOrigin) == 76);
static_assert(sizeof(CMPIInstanceFT) == 84);

static_assert(offsetof(CMPIObjectPathFT, release) == 4);
static_assert(offsetof(CMPIObjectPathFT, clone) == 12);
static_assert(offsetof(CMPIObjectPathFT, setNameSpace) == 20);
static_assert(offsetof(CMPIObjectPathFT, getNameSpace) == 28);
static_assert(offsetof(CMPIObjectPathFT, setHostname) == 36);
static_assert(offsetof(CMPIObjectPathFT, getHostname) == 44);
static_assert(offsetof(CMPIObjectPathFT, setClassName) == 52);
static_assert(offsetof(CMPIObjectPathFT, getClassName) == 60);
static_assert(offsetof(CMPIObjectPathFT, addKey) == 68);
static_assert(offsetof(CMPIObjectPathFT, getKey) == 76);
static_assert(offsetof(CMPIObjectPathFT, getKeyAt) == 84);
static_assert(offsetof(CMPIObjectPathFT, getKeyCount) == 92);
static_assert(offsetof(CMPIObjectPathFT, setNameSpaceFromObjectPath) == 100);
static_assert(offsetof(CMPIObjectPathFT, setHostAndNameSpaceFromObjectPath) == 108);
static_assert(offsetof(CMPIObjectPathFT, getClassQualifier) == 116);
static_assert(offsetof(CMPIObjectPathFT, getPropertyQualifier) == 124);
static_assert(offsetof(CMPIObjectPathFT, getMethodQualifier) == 132);
static_assert(offsetof(CMPIObjectPathFT, getParameterQualifier) == 140);
static_assert(offsetof(CMPIObjectPathFT, toString) == 148);
static_assert(sizeof(CMPIObjectPathFT) == 156);

static_assert(offsetof(CMPIArgsFT, release) == 4);
static_assert(offsetof(CMPIArgsFT, clone) == 12);
static_assert(offsetof(CMPIArgsFT, addArg) == 20);
static_assert(offsetof(CMPIArgsFT, getArg) == 28);
static_assert(offsetof(CMPIArgsFT, getArgAt) == 36);
static_assert(offsetof(CMPIArgsFT, getArgCount) == 44);
static_assert(sizeof(CMPIArgsFT) == 52);

static_assert(offsetof(CMPIDateTimeFT, release) == 4);
static_assert(offsetof(CMPIDateTimeFT, clone) == 12);
static_assert(offsetof(CMPIDateTimeFT, getBinaryFormat) == 20);
static_assert(offsetof(CMPIDateTimeFT, getStringFormat) == 28);
static_assert(offsetof(CMPIDateTimeFT, isInterval) == 36);
static_assert(sizeof(CMPIDateTimeFT) == 44);

static_assert(offsetof(CMPISelectExpFT, evaluate) == 20);
static_assert(offsetof(CMPISelectExpFT, getString) == 28);
static_assert(offsetof(CMPISelectExpFT, getDOC) == 36);
static_assert(offsetof(CMPISelectExpFT, getCOD) == 44);
static_assert(offsetof(CMPISelectExpFT, evaluateUsingAccessor) == 52);
static_assert(sizeof(CMPISelectExpFT) == 60);

static_assert(offsetof(CMPISelectCondFT, getCountAndType) == 20);
static_assert(offsetof(CMPISelectCondFT, getSubCondAt) == 28);
static_assert(sizeof(CMPISelectCondFT) == 36);

static_assert(offsetof(CMPISubCondFT, getCount) == 20);
static_assert(offsetof(CMPISubCondFT, getPredicateAt) == 28);
static_assert(offsetof(CMPISubCondFT, getPredicate) == 36);
static_assert(sizeof(CMPISubCondFT) == 44);

static_assert(offsetof(CMPIPredicateFT, getData) == 20);
static_assert(offsetof(CMPIPredicateFT, evaluateUsingAccessor) == 28);
static_assert(sizeof(CMPIPredicateFT) == 36);

static_assert(offsetof(CMPIErrorFT, ftVersion) == 0);
static_assert(offsetof(CMPIErrorFT, release) == 4);
static_assert(offsetof(CMPIErrorFT, getErrorType) == 20);
static_assert(offsetof(CMPIErrorFT, getMessage) == 52);
static_assert(offsetof(CMPIErrorFT, getCIMStatusCode) == 116);
static_assert(offsetof(CMPIErrorFT, getMessageArguments) == 132);
static_assert(offsetof(CMPIErrorFT, setErrorType) == 140);
static_assert(offsetof(CMPIErrorFT, setCIMStatusCodeDescription) == 196);
static_assert(offsetof(CMPIErrorFT, setMessageArguments) == 204);
static_assert(sizeof(CMPIErrorFT) == 212);

static_assert(offsetof(CMPIConstClassFT, release) == 4);
static_assert(offsetof(CMPIConstClassFT, clone) == 12);
static_assert(offsetof(CMPIConstClassFT, getClassName) == 20);
static_assert(offsetof(CMPIConstClassFT, getNameSpace) == 28);
static_assert(offsetof(CMPIConstClassFT, getPropertyCount) == 36);
static_assert(offsetof(CMPIConstClassFT, getPropertyNameAt) == 44);
static_assert(offsetof(CMPIConstClassFT, getMethodCount) == 52);
static_assert(offsetof(CMPIConstClassFT, getMethodNameAt) == 60);
static_assert(sizeof(CMPIConstClassFT) == 68);

// ---- MI tables: ftVersion, miVersion, miName, then the functions from byte 16 ------------------

#define MI_HEADER_LAYOUT(T)                                                                       \
  static_assert(offsetof(T, ftVersion) == 0);                                                     \
  static_assert(offsetof(T, miVersion) == 4);                                                     \
  static_assert(offsetof(T, miName) == 8);                                                        \
  static_assert(offsetof(T, cleanup) == 16)

MI_HEADER_LAYOUT(CMPIInstanceMIFT);
static_assert(offsetof(CMPIInstanceMIFT, enumerateInstanceNames) == 24);
static_assert(offsetof(CMPIInstanceMIFT, enumerateInstances) == 32);
static_assert(offsetof(CMPIInstanceMIFT, getInstance) == 40);
static_assert(offsetof(CMPIInstanceMIFT, createInstance) == 48);
static_assert(offsetof(CMPIInstanceMIFT, modifyInstance) == 56);
static_assert(offsetof(CMPIInstanceMIFT, deleteInstance) == 64);
static_assert(offsetof(CMPIInstanceMIFT, execQuery) == 72);
static_assert(sizeof(CMPIInstanceMIFT) == 80);

MI_HEADER_LAYOUT(CMPIMethodMIFT);
static_assert(offsetof(CMPIMethodMIFT, invokeMethod) == 24);
static_assert(sizeof(CMPIMethodMIFT) == 32);

MI_HEADER_LAYOUT(CMPIAssociationMIFT);
static_assert(offsetof(CMPIAssociationMIFT, associators) == 24);
static_assert(offsetof(CMPIAssociationMIFT, associatorNames) == 32);
static_assert(offsetof(CMPIAssociationMIFT, references) == 40);
static_assert(offsetof(CMPIAssociationMIFT, referenceNames) == 48);
static_assert(sizeof(CMPIAssociationMIFT) == 56);

MI_HEADER_LAYOUT(CMPIPropertyMIFT);
static_assert(offsetof(CMPIPropertyMIFT, setProperty) == 24);
static_assert(offsetof(CMPIPropertyMIFT, getProperty) == 32);
static_assert(offsetof(CMPIPropertyMIFT, setPropertyWithOrigin) == 40);
static_assert(sizeof(CMPIPropertyMIFT) == 48);

MI_HEADER_LAYOUT(CMPIIndicationMIFT);
static_assert(offsetof(CMPIIndicationMIFT, authorizeFilter) == 24);
static_assert(offsetof(CMPIIndicationMIFT, mustPoll) == 32);
static_assert(offsetof(CMPIIndicationMIFT, activateFilter) == 40);
static_assert(offsetof(CMPIIndicationMIFT, deActivateFilter) == 48);
static_assert(offsetof(CMPIIndicationMIFT, enableIndications) == 56);
static_assert(offsetof(CMPIIndicationMIFT, disableIndications) == 64);
static_assert(sizeof(CMPIIndicationMIFT) == 72);

// ---- the same headers compiled as C (headers_c_check.c) ---------------------------------------

extern "C" {
size_t headers_c_check_size(int which);
CMPIMethodMI *HeadersCCheck_Create_MethodMI(const CMPIBroker *brkr, const CMPIContext *ctx,
                                            CMPIStatus *rc);
extern const CMPIBroker *headers_c_check_broker;
CMPIStatus headers_c_check_status(const CMPIBroker *mb, CMPIStatus *rc, int which);
}

namespace {

// Fields of the packed records are compared through a copy: the assertion macros take their
// operands by reference, and a reference to a packed field may be misaligned.
template <class T>
T Val(T v) {
  return v;
}

TEST(CmpiHeaders, CompiledAsCTheLayoutIsTheSame) {
  EXPECT_EQ(headers_c_check_size(0), sizeof(CMPIStatus));
  EXPECT_EQ(headers_c_check_size(1), sizeof(CMPIData));
  EXPECT_EQ(headers_c_check_size(2), sizeof(CMPIValue));
  EXPECT_EQ(headers_c_check_size(3), sizeof(CMPIBrokerFT));
  EXPECT_EQ(headers_c_check_size(4), sizeof(CMPIInstanceFT));
  EXPECT_EQ(headers_c_check_size(5), sizeof(CMPIObjectPathFT));
  EXPECT_EQ(headers_c_check_size(6), sizeof(CMPIBroker));
  EXPECT_EQ(headers_c_check_size(7), sizeof(CMPIInstanceMIFT));
  EXPECT_EQ(headers_c_check_size(8), sizeof(CMPIBrokerEncFT));
  EXPECT_EQ(headers_c_check_size(99), 0u);
}

TEST(CmpiHeaders, CStatusMacrosWork) {
  CMPIStatus st = {CMPI_RC_ERR_FAILED, nullptr};
  CMPIStatus ret = headers_c_check_status(nullptr, &st, 0);
  EXPECT_EQ(Val(ret.rc), CMPI_RC_OK);
  EXPECT_EQ(Val(ret.msg), nullptr);
  EXPECT_EQ(Val(st.rc), CMPI_RC_ERR_NOT_FOUND);
  EXPECT_EQ(Val(st.msg), nullptr);
  ret = headers_c_check_status(nullptr, nullptr, 1);  // NULL status and broker: no crash
  EXPECT_EQ(Val(ret.rc), CMPI_RC_ERR_INVALID_HANDLE);
  EXPECT_EQ(Val(ret.msg), nullptr);
}

TEST(CmpiHeaders, CStubMakesAWorkingFactory) {
  CMPIBroker fake = {};
  const CMPIBroker *broker = &fake;
  CMPIStatus st = {CMPI_RC_ERR_FAILED, nullptr};
  CMPIMethodMI *mi = HeadersCCheck_Create_MethodMI(broker, nullptr, &st);
  ASSERT_NE(mi, nullptr);
  EXPECT_EQ(Val(st.rc), CMPI_RC_OK);
  EXPECT_EQ(Val(mi->hdl), nullptr);
  ASSERT_NE(Val(mi->ft), nullptr);
  EXPECT_EQ(Val(mi->ft->ftVersion), CMPICurrentVersion);
  EXPECT_EQ(Val(mi->ft->miVersion), CMPICurrentVersion);
  EXPECT_STREQ(mi->ft->miName, "methodHeadersCCheck");
  EXPECT_NE(Val(mi->ft->cleanup), nullptr);
  EXPECT_NE(Val(mi->ft->invokeMethod), nullptr);
  EXPECT_EQ(headers_c_check_broker, broker);
  CMPIStatus cleaned = mi->ft->cleanup(mi, nullptr, 1);
  EXPECT_EQ(Val(cleaned.rc), CMPI_RC_OK);
}

// ---- versions -----------------------------------------------------------------------------------

TEST(CmpiHeaders, Versions) {
  EXPECT_EQ(CMPIVersion051, 51);
  EXPECT_EQ(CMPIVersion060, 60);
  EXPECT_EQ(CMPIVersion070, 70);
  EXPECT_EQ(CMPIVersion080, 80);
  EXPECT_EQ(CMPIVersion085, 85);
  EXPECT_EQ(CMPIVersion086, 86);
  EXPECT_EQ(CMPIVersion087, 87);
  EXPECT_EQ(CMPIVersion090, 90);
  EXPECT_EQ(CMPIVersion100, 100);
  EXPECT_EQ(CMPIVersion200, 200);
  EXPECT_EQ(CMPICurrentVersion, 200);
  EXPECT_EQ(CMPI_VERSION, 200);
#if !defined(CMPI_VER_85) || !defined(CMPI_VER_86) || !defined(CMPI_VER_87) ||                 \
    !defined(CMPI_VER_90) || !defined(CMPI_VER_100) || !defined(CMPI_VER_200)
  ADD_FAILURE() << "a level symbol is missing";
#endif
}

// ---- type codes ---------------------------------------------------------------------------------

TEST(CmpiHeaders, ScalarTypeCodes) {
  EXPECT_EQ(CMPI_null, 0);
  EXPECT_EQ(CMPI_SIMPLE, 2);
  EXPECT_EQ(CMPI_boolean, 2);
  EXPECT_EQ(CMPI_char16, 3);
  EXPECT_EQ(CMPI_REAL, 8);
  EXPECT_EQ(CMPI_real32, 8);
  EXPECT_EQ(CMPI_real64, 12);
  EXPECT_EQ(CMPI_UINT, 128);
  EXPECT_EQ(CMPI_uint8, 128);
  EXPECT_EQ(CMPI_uint16, 144);
  EXPECT_EQ(CMPI_uint32, 160);
  EXPECT_EQ(CMPI_uint64, 176);
  EXPECT_EQ(CMPI_SINT, 192);
  EXPECT_EQ(CMPI_sint8, 192);
  EXPECT_EQ(CMPI_sint16, 208);
  EXPECT_EQ(CMPI_sint32, 224);
  EXPECT_EQ(CMPI_sint64, 240);
  EXPECT_EQ(CMPI_INTEGER, 192);
  EXPECT_EQ(CMPI_ENC, 4096);
  EXPECT_EQ(CMPI_instance, 4096);
  EXPECT_EQ(CMPI_ref, 4352);
  EXPECT_EQ(CMPI_args, 4608);
  EXPECT_EQ(CMPI_class, 4864);
  EXPECT_EQ(CMPI_filter, 5120);
  EXPECT_EQ(CMPI_enumeration, 5376);
  EXPECT_EQ(CMPI_string, 5632);
  EXPECT_EQ(CMPI_chars, 5888);
  EXPECT_EQ(CMPI_dateTime, 6144);
  EXPECT_EQ(CMPI_ptr, 6400);
  EXPECT_EQ(CMPI_charsptr, 6656);
  EXPECT_EQ(CMPI_ARRAY, 8192);
  // The same numbers in hex, as they are usually quoted.
  EXPECT_EQ(CMPI_uint64, 0x00B0);
  EXPECT_EQ(CMPI_sint64, 0x00F0);
  EXPECT_EQ(CMPI_charsptr, 0x1A00);
  EXPECT_EQ(CMPI_ARRAY, 0x2000);
}

TEST(CmpiHeaders, ArrayTypeCodes) {
  EXPECT_EQ(CMPI_SIMPLEA, 8194);
  EXPECT_EQ(CMPI_booleanA, 8194);
  EXPECT_EQ(CMPI_char16A, 8195);
  EXPECT_EQ(CMPI_REALA, 8200);
  EXPECT_EQ(CMPI_real32A, 8200);
  EXPECT_EQ(CMPI_real64A, 8204);
  EXPECT_EQ(CMPI_UINTA, 8320);
  EXPECT_EQ(CMPI_uint8A, 8320);
  EXPECT_EQ(CMPI_uint16A, 8336);
  EXPECT_EQ(CMPI_uint32A, 8352);
  EXPECT_EQ(CMPI_uint64A, 8368);
  EXPECT_EQ(CMPI_SINTA, 8384);
  EXPECT_EQ(CMPI_sint8A, 8384);
  EXPECT_EQ(CMPI_sint16A, 8400);
  EXPECT_EQ(CMPI_sint32A, 8416);
  EXPECT_EQ(CMPI_sint64A, 8432);
  EXPECT_EQ(CMPI_INTEGERA, 8384);
  EXPECT_EQ(CMPI_ENCA, 12288);
  EXPECT_EQ(CMPI_instanceA, 12288);
  EXPECT_EQ(CMPI_refA, 12544);
  EXPECT_EQ(CMPI_stringA, 13824);
  EXPECT_EQ(CMPI_charsA, 14080);
  EXPECT_EQ(CMPI_dateTimeA, 14336);
  EXPECT_EQ(CMPI_charsptrA, 14848);
}

TEST(CmpiHeaders, KeyPredicateAndSynonymCodes) {
  EXPECT_EQ(CMPI_keyInteger, 240);
  EXPECT_EQ(CMPI_keyString, 5632);
  EXPECT_EQ(CMPI_keyBoolean, 2);
  EXPECT_EQ(CMPI_keyRef, 4352);

  EXPECT_EQ(CMPI_charString, 5632);
  EXPECT_EQ(CMPI_integerString, 5872);
  EXPECT_EQ(CMPI_realString, 5644);
  EXPECT_EQ(CMPI_numericString, 5884);
  EXPECT_EQ(CMPI_booleanString, 5634);
  EXPECT_EQ(CMPI_dateTimeString, 7680);
  EXPECT_EQ(CMPI_classNameString, 5888);
  EXPECT_EQ(CMPI_nameString, 7680);

  EXPECT_EQ(CMPI_Byte, CMPI_sint8);
  EXPECT_EQ(CMPI_Short, CMPI_sint16);
  EXPECT_EQ(CMPI_Int, CMPI_sint32);
  EXPECT_EQ(CMPI_Long, CMPI_sint64);
  EXPECT_EQ(CMPI_Float, CMPI_real32);
  EXPECT_EQ(CMPI_Double, CMPI_real64);
  EXPECT_EQ(CMPI_ByteA, CMPI_sint8A);
  EXPECT_EQ(CMPI_ShortA, CMPI_sint16A);
  EXPECT_EQ(CMPI_IntA, CMPI_sint32A);
  EXPECT_EQ(CMPI_LongA, CMPI_sint64A);
  EXPECT_EQ(CMPI_FloatA, CMPI_real32A);
  EXPECT_EQ(CMPI_DoubleA, CMPI_real64A);
}

// Family masks share numbers with the first member of their family, some predicate codes share
// numbers with real types, and the unsigned mask also matches signed integers.
TEST(CmpiHeaders, TypeCodeCollisionsAndMaskTests) {
  EXPECT_EQ(CMPI_SIMPLE, CMPI_boolean);
  EXPECT_EQ(CMPI_REAL, CMPI_real32);
  EXPECT_EQ(CMPI_UINT, CMPI_uint8);
  EXPECT_EQ(CMPI_SINT, CMPI_sint8);
  EXPECT_EQ(CMPI_INTEGER, CMPI_sint8);
  EXPECT_EQ(CMPI_ENC, CMPI_instance);
  EXPECT_EQ(CMPI_ENCA, CMPI_instanceA);
  EXPECT_EQ(CMPI_classNameString, CMPI_chars);
  EXPECT_EQ(CMPI_nameString, CMPI_dateTimeString);

  const CMPIType ints[] = {CMPI_uint8,  CMPI_uint16, CMPI_uint32, CMPI_uint64,
                           CMPI_sint8,  CMPI_sint16, CMPI_sint32, CMPI_sint64};
  for (CMPIType t : ints) EXPECT_TRUE(t & CMPI_UINT) << t;
  const CMPIType signedInts[] = {CMPI_sint8, CMPI_sint16, CMPI_sint32, CMPI_sint64};
  for (CMPIType t : signedInts) EXPECT_TRUE(t & 0x40) << t;
  const CMPIType unsignedInts[] = {CMPI_uint8, CMPI_uint16, CMPI_uint32, CMPI_uint64};
  for (CMPIType t : unsignedInts) EXPECT_FALSE(t & 0x40) << t;

  const CMPIType encs[] = {CMPI_instance, CMPI_ref,    CMPI_args,     CMPI_class,
                           CMPI_filter,   CMPI_enumeration, CMPI_string, CMPI_chars,
                           CMPI_dateTime, CMPI_ptr,    CMPI_charsptr};
  for (CMPIType t : encs) {
    EXPECT_TRUE(t & CMPI_ENC) << t;
    EXPECT_FALSE(t & CMPI_ARRAY) << t;
  }
  EXPECT_TRUE(CMPI_real32 & CMPI_REAL);
  EXPECT_TRUE(CMPI_real64 & CMPI_REAL);
  EXPECT_TRUE(CMPI_stringA & CMPI_ARRAY);
  EXPECT_EQ(CMPI_stringA & ~CMPI_ARRAY, CMPI_string);
  EXPECT_FALSE(CMPI_boolean & CMPI_ARRAY);
}

// ---- states, return codes, flags, context names -------------------------------------------------

TEST(CmpiHeaders, ValueStates) {
  EXPECT_EQ(CMPI_goodValue, 0);
  EXPECT_EQ(CMPI_nullValue, 256);
  EXPECT_EQ(CMPI_keyValue, 512);
  EXPECT_EQ(CMPI_notFound, 1024);
  EXPECT_EQ(CMPI_badValue, 32768);
  EXPECT_EQ(CMPI_badValue, 0x8000);
}

TEST(CmpiHeaders, ReturnCodes) {
  EXPECT_EQ(CMPI_RC_OK, 0);
  EXPECT_EQ(CMPI_RC_ERR_FAILED, 1);
  EXPECT_EQ(CMPI_RC_ERR_ACCESS_DENIED, 2);
  EXPECT_EQ(CMPI_RC_ERR_INVALID_NAMESPACE, 3);
  EXPECT_EQ(CMPI_RC_ERR_INVALID_PARAMETER, 4);
  EXPECT_EQ(CMPI_RC_ERR_INVALID_CLASS, 5);
  EXPECT_EQ(CMPI_RC_ERR_NOT_FOUND, 6);
  EXPECT_EQ(CMPI_RC_ERR_NOT_SUPPORTED, 7);
  EXPECT_EQ(CMPI_RC_ERR_CLASS_HAS_CHILDREN, 8);
  EXPECT_EQ(CMPI_RC_ERR_CLASS_HAS_INSTANCES, 9);
  EXPECT_EQ(CMPI_RC_ERR_INVALID_SUPERCLASS, 10);
  EXPECT_EQ(CMPI_RC_ERR_ALREADY_EXISTS, 11);
  EXPECT_EQ(CMPI_RC_ERR_NO_SUCH_PROPERTY, 12);
  EXPECT_EQ(CMPI_RC_ERR_TYPE_MISMATCH, 13);
  EXPECT_EQ(CMPI_RC_ERR_QUERY_LANGUAGE_NOT_SUPPORTED, 14);
  EXPECT_EQ(CMPI_RC_ERR_INVALID_QUERY, 15);
  EXPECT_EQ(CMPI_RC_ERR_METHOD_NOT_AVAILABLE, 16);
  EXPECT_EQ(CMPI_RC_ERR_METHOD_NOT_FOUND, 17);
  EXPECT_EQ(CMPI_RC_NO_MORE_ELEMENTS, 18);
  EXPECT_EQ(CMPI_RC_DO_NOT_UNLOAD, 50);
  EXPECT_EQ(CMPI_RC_NEVER_UNLOAD, 51);
  EXPECT_EQ(CMPI_RC_ERR_INVALID_HANDLE, 60);
  EXPECT_EQ(CMPI_RC_ERR_INVALID_DATA_TYPE, 61);
  EXPECT_EQ(CMPI_RC_ERROR_SYSTEM, 100);
  EXPECT_EQ(CMPI_RC_ERROR, 200);
}

TEST(CmpiHeaders, InvocationFlags) {
  EXPECT_EQ(CMPI_FLAG_LocalOnly, 1);
  EXPECT_EQ(CMPI_FLAG_DeepInheritance, 2);
  EXPECT_EQ(CMPI_FLAG_IncludeQualifiers, 4);
  EXPECT_EQ(CMPI_FLAG_IncludeClassOrigin, 8);
}

TEST(CmpiHeaders, ContextEntryNamesAreTheirOwnText) {
  EXPECT_STREQ(CMPIPrincipal, "CMPIPrincipal");
  EXPECT_STREQ(CMPIInvocationFlags, "CMPIInvocationFlags");
  EXPECT_STREQ(CMPIInitNameSpace, "CMPIInitNameSpace");
  EXPECT_STREQ(CMPIRole, "CMPIRole");
  EXPECT_STREQ(CMPIAcceptLanguage, "CMPIAcceptLanguage");
  EXPECT_STREQ(CMPIContentLanguage, "CMPIContentLanguage");
  // They are string literals: sizeof counts the terminator.
  EXPECT_EQ(sizeof(CMPIInvocationFlags), std::strlen("CMPIInvocationFlags") + 1);
}

TEST(CmpiHeaders, BrokerCapabilities) {
  EXPECT_EQ(CMPI_MB_Class_0, 0x1);
  EXPECT_EQ(CMPI_MB_Class_1, 0x3);
  EXPECT_EQ(CMPI_MB_Class_2, 0x7);
  EXPECT_EQ(CMPI_MB_BasicRead, 0x1);
  EXPECT_EQ(CMPI_MB_BasicWrite, 0x3);
  EXPECT_EQ(CMPI_MB_InstanceManipulation, 0x7);
  EXPECT_EQ(CMPI_MB_AssociationTraversal, 0x9);
  EXPECT_EQ(CMPI_MB_QueryExecution, 0x11);
  EXPECT_EQ(CMPI_MB_QueryNormalization, 0x31);
  EXPECT_EQ(CMPI_MB_Indications, 0x81);
  EXPECT_EQ(CMPI_MB_BasicQualifierSupport, 0x47);
  EXPECT_EQ(CMPI_MB_OSEncapsulationSupport, 0x100);
  EXPECT_EQ(CMPI_MB_Supports_PropertyMI, 0x100);
  EXPECT_EQ(CMPI_MB_Supports_IndicationMI, 0x200);
  EXPECT_EQ(CMPI_MB_Supports_IndicationPolling, 0x400);
  EXPECT_EQ(CMPI_MB_Supports_QueryNormalization, 0x800);
  EXPECT_EQ(CMPI_MB_Supports_Qualifier, 0x1000);
  EXPECT_EQ(CMPI_MB_Supports_Schema, 0x3000);
  EXPECT_EQ(CMPI_MB_Supports_MemEnhancements, 0x4000);
  EXPECT_EQ(CMPI_MB_Supports_Extended_Error, 0x8000);
}

// ---- other enumerations -------------------------------------------------------------------------

TEST(CmpiHeaders, PredicateOperators) {
  EXPECT_EQ(CMPI_PredOp_Equals, 1);
  EXPECT_EQ(CMPI_PredOp_NotEquals, 2);
  EXPECT_EQ(CMPI_PredOp_LessThan, 3);
  EXPECT_EQ(CMPI_PredOp_GreaterThanOrEquals, 4);
  EXPECT_EQ(CMPI_PredOp_GreaterThan, 5);
  EXPECT_EQ(CMPI_PredOp_LessThanOrEquals, 6);
  EXPECT_EQ(CMPI_PredOp_Isa, 7);
  EXPECT_EQ(CMPI_PredOp_NotIsa, 8);
  EXPECT_EQ(CMPI_PredOp_Like, 9);
  EXPECT_EQ(CMPI_PredOp_NotLike, 10);
  EXPECT_EQ(CMPI_PredOp_Not_Null, 11);
  EXPECT_EQ(CMPI_PredOp_Null, 12);
  EXPECT_EQ(CMPI_PredOp_And, 13);
  EXPECT_EQ(CMPI_PredOp_Or, 14);
}

TEST(CmpiHeaders, SeverityLevelAndConditionType) {
  EXPECT_EQ(CMPI_SEV_ERROR, 1);
  EXPECT_EQ(CMPI_SEV_INFO, 2);
  EXPECT_EQ(CMPI_SEV_WARNING, 3);
  EXPECT_EQ(CMPI_DEV_DEBUG, 4);
  EXPECT_EQ(CMPI_LEV_INFO, 1);
  EXPECT_EQ(CMPI_LEV_WARNING, 2);
  EXPECT_EQ(CMPI_LEV_VERBOSE, 3);
  EXPECT_EQ(CMPI_COND_DOC, 0);
  EXPECT_EQ(CMPI_COND_COD, 1);
}

TEST(CmpiHeaders, ErrorEnumerations) {
  EXPECT_EQ(UnknownErrorType, 0);
  EXPECT_EQ(OtherErrorType, 1);
  EXPECT_EQ(CommunicationsError, 2);
  EXPECT_EQ(QualityOfServiceError, 3);
  EXPECT_EQ(SoftwareError, 4);
  EXPECT_EQ(HardwareError, 5);
  EXPECT_EQ(EnvironmentalError, 6);
  EXPECT_EQ(SecurityError, 7);
  EXPECT_EQ(Oversubscription_Error, 8);
  EXPECT_EQ(UnavailableResourceError, 9);
  EXPECT_EQ(UnsupportedOperationError, 10);

  EXPECT_EQ(ErrorSevUnknown, 0);
  EXPECT_EQ(ErrorSevLow, 2);
  EXPECT_EQ(ErrorSevMedium, 3);
  EXPECT_EQ(ErrorSevHigh, 4);
  EXPECT_EQ(ErrorSevFatal, 5);

  EXPECT_EQ(ErrorProbCauseUnknown, 0);
  EXPECT_EQ(ErrorProbCauseOther, 1);
  // Every probable cause up to 130 fits the enumeration.
  CMPIErrorProbableCause last = static_cast<CMPIErrorProbableCause>(130);
  EXPECT_EQ(static_cast<int>(last), 130);

  EXPECT_EQ(CMPIErrSrcUnknown, 0);
  EXPECT_EQ(CMPIErrSrcOther, 1);
  EXPECT_EQ(CIMObjectHandle, 2);
}

// ---- the layout at run time ---------------------------------------------------------------------

// A status written field by field lands where a provider built with these headers reads it.
TEST(CmpiHeaders, PackedRecordsReadBackByteForByte) {
  unsigned char bytes[sizeof(CMPIStatus)];
  CMPIStatus st;
  st.rc = CMPI_RC_ERR_NOT_SUPPORTED;
  st.msg = reinterpret_cast<CMPIString *>(static_cast<uintptr_t>(0x1122334455667788ULL));
  std::memcpy(bytes, &st, sizeof st);
  int rc = 0;
  std::memcpy(&rc, bytes + 0, sizeof rc);
  EXPECT_EQ(rc, 7);
  uintptr_t msg = 0;
  std::memcpy(&msg, bytes + 4, sizeof msg);
  EXPECT_EQ(msg, static_cast<uintptr_t>(0x1122334455667788ULL));

  CMPIData d;
  d.type = CMPI_uint64;
  d.state = CMPI_keyValue;
  d.value.uint64 = 0x0102030405060708ULL;
  unsigned char dbytes[sizeof(CMPIData)];
  std::memcpy(dbytes, &d, sizeof d);
  unsigned short type = 0, state = 0;
  unsigned long long value = 0;
  std::memcpy(&type, dbytes + 0, 2);
  std::memcpy(&state, dbytes + 2, 2);
  std::memcpy(&value, dbytes + 4, 8);
  EXPECT_EQ(type, CMPI_uint64);
  EXPECT_EQ(state, CMPI_keyValue);
  EXPECT_EQ(value, 0x0102030405060708ULL);
}

}  // namespace
