// The convenience macros of cmpimacs.h, checked against hand-made function tables.
//
// Every fake table is filled in slot order with recording functions: a call stores the table,
// the slot number (as counted in the table's documented order, version field = slot 0) and every
// argument. A test runs a macro on a fake object and checks that exactly the expected slot was
// called with exactly the expected arguments, and that the macro hands back what the slot
// returned. No object library code is involved.
//
// The provider stubs are exercised by defining one MI of each kind in this file.

#include <cmpidt.h>
#include <cmpift.h>
#include <cmpimacs.h>

#include <gtest/gtest.h>

#include <cstdarg>
#include <cstring>
#include <functional>
#include <ostream>
#include <string>
#include <type_traits>
#include <vector>

namespace {

// Fields of the packed records are compared through a copy: the assertion macros take their
// operands by reference, and a reference to a packed field may be misaligned.
template <class T>
T Val(T v) {
  return v;
}

// ---- recording --------------------------------------------------------------------------------

enum Table {
  kNoTable = 0,
  kBroker,
  kEnc,
  kContext,
  kResult,
  kString,
  kArray,
  kEnumeration,
  kInstance,
  kObjectPath,
  kArgs,
  kDateTime,
  kSelectExp,
  kSelectCond,
  kSubCond,
  kPredicate,
  kError,
};

// One recorded argument: a pointer (compared by address) or a number.
struct Arg {
  bool isPointer;
  const void *pointer;
  unsigned long long number;
  bool operator==(const Arg &o) const {
    return isPointer == o.isPointer && (isPointer ? pointer == o.pointer : number == o.number);
  }
};
std::ostream &operator<<(std::ostream &os, const Arg &a) {
  if (a.isPointer) return os << "ptr " << a.pointer;
  return os << "num " << a.number;
}
Arg P(const void *p) { return Arg{true, p, 0}; }
Arg N(unsigned long long n) { return Arg{false, nullptr, n}; }

struct Call {
  int table = kNoTable;
  int slot = -1;
  std::vector<Arg> args;
};
Call g_call;
int g_calls = 0;

template <class T>
Arg ToArg(T v) {
  if constexpr (std::is_pointer_v<T>) {
    if constexpr (std::is_function_v<std::remove_pointer_t<T>>)
      return P(reinterpret_cast<const void *>(v));
    else
      return P(static_cast<const void *>(v));
  } else {
    return N(static_cast<unsigned long long>(v));
  }
}

// What every fake slot hands back, so a test can see the macro returns the slot's result.
int g_returned[4];
CMPIString *const kReturnedMsg = reinterpret_cast<CMPIString *>(&g_returned[1]);
constexpr CMPIrc kReturnedRc = CMPI_RC_ERR_NOT_FOUND;
constexpr unsigned kReturnedNumber = 7;
constexpr int kReturnedEnum = 2;  // a valid value of every enumeration returned by a slot
constexpr CMPIUint32 kReturnedDatum = 4242;

template <class R>
R Returned() {
  if constexpr (std::is_same_v<R, CMPIStatus>) {
    CMPIStatus st = {kReturnedRc, kReturnedMsg};
    return st;
  } else if constexpr (std::is_same_v<R, CMPIData>) {
    CMPIData d;
    d.type = CMPI_uint32;
    d.state = CMPI_goodValue;
    d.value.uint64 = 0;
    d.value.uint32 = kReturnedDatum;
    return d;
  } else if constexpr (std::is_pointer_v<R>) {
    return reinterpret_cast<R>(&g_returned[0]);
  } else if constexpr (std::is_enum_v<R>) {
    return static_cast<R>(kReturnedEnum);
  } else {
    return static_cast<R>(kReturnedNumber);
  }
}

template <int Tbl, int Slot, class F>
struct Fake;
template <int Tbl, int Slot, class R, class... A>
struct Fake<Tbl, Slot, R (*)(A...)> {
  static R Fn(A... a) {
    g_call.table = Tbl;
    g_call.slot = Slot;
    g_call.args = {ToArg(a)...};
    ++g_calls;
    return Returned<R>();
  }
};

// The recording function for slot k of table tbl, typed after the header's member.
#define SLOT(tbl, FT, k, member) (&Fake<tbl, k, decltype(FT::member)>::Fn)

void ExpectCall(int table, int slot, const std::vector<Arg> &args) {
  EXPECT_EQ(g_calls, 1) << "exactly one slot call expected";
  EXPECT_EQ(g_call.table, table);
  EXPECT_EQ(g_call.slot, slot);
  EXPECT_EQ(g_call.args, args);
}
#define CHECK_CALL(table, slot, ...) ExpectCall(table, slot, {__VA_ARGS__})

void ExpectReturnedStatus(const CMPIStatus &st) {
  EXPECT_EQ(Val(st.rc), kReturnedRc);
  EXPECT_EQ(Val(st.msg), kReturnedMsg);
}
void ExpectReturnedData(const CMPIData &d) {
  EXPECT_EQ(Val(d.type), CMPI_uint32);
  EXPECT_EQ(Val(d.value.uint32), kReturnedDatum);
}
template <class T>
void ExpectReturnedPointer(T *p) {
  EXPECT_EQ(static_cast<const void *>(p), static_cast<const void *>(&g_returned[0]));
}

// ---- message substitution values --------------------------------------------------------------

// One substitution value read back the way a message lookup reads it.
struct FmtValue {
  int type;
  long long s;
  unsigned long long u;
  double d;
  const void *p;
};

std::vector<FmtValue> ReadFmt(CMPICount count, va_list ap) {
  std::vector<FmtValue> out;
  for (CMPICount i = 0; i < count; ++i) {
    FmtValue v{va_arg(ap, int), 0, 0, 0.0, nullptr};
    switch (v.type) {
      case CMPI_sint32: v.s = va_arg(ap, int); break;
      case CMPI_uint32: v.u = va_arg(ap, unsigned int); break;
      case CMPI_sint64: v.s = va_arg(ap, long long); break;
      case CMPI_uint64: v.u = va_arg(ap, unsigned long long); break;
      case CMPI_real64: v.d = va_arg(ap, double); break;
      case CMPI_boolean: v.s = va_arg(ap, int); break;
      case CMPI_chars: v.p = va_arg(ap, char *); break;
      case CMPI_string: v.p = va_arg(ap, CMPIString *); break;
      default: ADD_FAILURE() << "unexpected type code " << v.type; return out;
    }
    out.push_back(v);
  }
  return out;
}

std::vector<FmtValue> g_fmt;
CMPICount g_fmtCount = 0;

// A variadic function taking a CMFmtArgsN list directly.
CMPICount Collect(CMPICount count, ...) {
  va_list ap;
  va_start(ap, count);
  g_fmt = ReadFmt(count, ap);
  va_end(ap);
  return count;
}

// ---- fake tables ------------------------------------------------------------------------------

CMPIString *FakeGetMessage(const CMPIBroker *mb, const char *msgId, const char *defMsg,
                           CMPIStatus *rc, CMPICount count, ...) {
  g_call.table = kEnc;
  g_call.slot = 14;
  g_call.args = {P(mb), P(msgId), P(defMsg), P(rc), N(count)};
  ++g_calls;
  va_list ap;
  va_start(ap, count);
  g_fmt = ReadFmt(count, ap);
  g_fmtCount = count;
  va_end(ap);
  return Returned<CMPIString *>();
}

CMPIString *FakeGetMessage2(const CMPIBroker *mb, const char *msgId, CMPIMsgFileHandle handle,
                            const char *defMsg, CMPIStatus *rc, CMPICount count, ...) {
  g_call.table = kEnc;
  g_call.slot = 20;
  g_call.args = {P(mb), P(msgId), P(handle), P(defMsg), P(rc), N(count)};
  ++g_calls;
  va_list ap;
  va_start(ap, count);
  g_fmt = ReadFmt(count, ap);
  g_fmtCount = count;
  va_end(ap);
  return Returned<CMPIString *>();
}

constexpr unsigned kCapabilities = CMPI_MB_Supports_Extended_Error | CMPI_MB_Class_2;
const char kBrokerName[] = "FakeBroker";

CMPIBrokerFT g_bft = {
    kCapabilities,
    CMPIVersion200,
    kBrokerName,
    SLOT(kBroker, CMPIBrokerFT, 3, prepareAttachThread),
    SLOT(kBroker, CMPIBrokerFT, 4, attachThread),
    SLOT(kBroker, CMPIBrokerFT, 5, detachThread),
    SLOT(kBroker, CMPIBrokerFT, 6, deliverIndication),
    SLOT(kBroker, CMPIBrokerFT, 7, enumerateInstanceNames),
    SLOT(kBroker, CMPIBrokerFT, 8, getInstance),
    SLOT(kBroker, CMPIBrokerFT, 9, createInstance),
    SLOT(kBroker, CMPIBrokerFT, 10, modifyInstance),
    SLOT(kBroker, CMPIBrokerFT, 11, deleteInstance),
    SLOT(kBroker, CMPIBrokerFT, 12, execQuery),
    SLOT(kBroker, CMPIBrokerFT, 13, enumerateInstances),
    SLOT(kBroker, CMPIBrokerFT, 14, associators),
    SLOT(kBroker, CMPIBrokerFT, 15, associatorNames),
    SLOT(kBroker, CMPIBrokerFT, 16, references),
    SLOT(kBroker, CMPIBrokerFT, 17, referenceNames),
    SLOT(kBroker, CMPIBrokerFT, 18, invokeMethod),
    SLOT(kBroker, CMPIBrokerFT, 19, setProperty),
    SLOT(kBroker, CMPIBrokerFT, 20, getProperty),
};

CMPIBrokerEncFT g_eft = {
    CMPICurrentVersion,
    SLOT(kEnc, CMPIBrokerEncFT, 1, newInstance),
    SLOT(kEnc, CMPIBrokerEncFT, 2, newObjectPath),
    SLOT(kEnc, CMPIBrokerEncFT, 3, newArgs),
    SLOT(kEnc, CMPIBrokerEncFT, 4, newString),
    SLOT(kEnc, CMPIBrokerEncFT, 5, newArray),
    SLOT(kEnc, CMPIBrokerEncFT, 6, newDateTime),
    SLOT(kEnc, CMPIBrokerEncFT, 7, newDateTimeFromBinary),
    SLOT(kEnc, CMPIBrokerEncFT, 8, newDateTimeFromChars),
    SLOT(kEnc, CMPIBrokerEncFT, 9, newSelectExp),
    SLOT(kEnc, CMPIBrokerEncFT, 10, classPathIsA),
    SLOT(kEnc, CMPIBrokerEncFT, 11, toString),
    SLOT(kEnc, CMPIBrokerEncFT, 12, isOfType),
    SLOT(kEnc, CMPIBrokerEncFT, 13, getType),
    &FakeGetMessage,
    SLOT(kEnc, CMPIBrokerEncFT, 15, logMessage),
    SLOT(kEnc, CMPIBrokerEncFT, 16, trace),
    SLOT(kEnc, CMPIBrokerEncFT, 17, newCMPIError),
    SLOT(kEnc, CMPIBrokerEncFT, 18, openMessageFile),
    SLOT(kEnc, CMPIBrokerEncFT, 19, closeMessageFile),
    &FakeGetMessage2,
};

CMPIContextFT g_contextFT = {
    CMPICurrentVersion,
    SLOT(kContext, CMPIContextFT, 1, release),
    SLOT(kContext, CMPIContextFT, 2, clone),
    SLOT(kContext, CMPIContextFT, 3, getEntry),
    SLOT(kContext, CMPIContextFT, 4, getEntryAt),
    SLOT(kContext, CMPIContextFT, 5, getEntryCount),
    SLOT(kContext, CMPIContextFT, 6, addEntry),
};

CMPIResultFT g_resultFT = {
    CMPICurrentVersion,
    SLOT(kResult, CMPIResultFT, 1, release),
    SLOT(kResult, CMPIResultFT, 2, clone),
    SLOT(kResult, CMPIResultFT, 3, returnData),
    SLOT(kResult, CMPIResultFT, 4, returnInstance),
    SLOT(kResult, CMPIResultFT, 5, returnObjectPath),
    SLOT(kResult, CMPIResultFT, 6, returnDone),
    SLOT(kResult, CMPIResultFT, 7, returnError),
};

CMPIStringFT g_stringFT = {
    CMPICurrentVersion,
    SLOT(kString, CMPIStringFT, 1, release),
    SLOT(kString, CMPIStringFT, 2, clone),
    SLOT(kString, CMPIStringFT, 3, getCharPtr),
};

CMPIArrayFT g_arrayFT = {
    CMPICurrentVersion,
    SLOT(kArray, CMPIArrayFT, 1, release),
    SLOT(kArray, CMPIArrayFT, 2, clone),
    SLOT(kArray, CMPIArrayFT, 3, getSize),
    SLOT(kArray, CMPIArrayFT, 4, getSimpleType),
    SLOT(kArray, CMPIArrayFT, 5, getElementAt),
    SLOT(kArray, CMPIArrayFT, 6, setElementAt),
};

CMPIEnumerationFT g_enumerationFT = {
    CMPICurrentVersion,
    SLOT(kEnumeration, CMPIEnumerationFT, 1, release),
    SLOT(kEnumeration, CMPIEnumerationFT, 2, clone),
    SLOT(kEnumeration, CMPIEnumerationFT, 3, getNext),
    SLOT(kEnumeration, CMPIEnumerationFT, 4, hasNext),
    SLOT(kEnumeration, CMPIEnumerationFT, 5, toArray),
};

CMPIInstanceFT g_instanceFT = {
    CMPICurrentVersion,
    SLOT(kInstance, CMPIInstanceFT, 1, release),
    SLOT(kInstance, CMPIInstanceFT, 2, clone),
    SLOT(kInstance, CMPIInstanceFT, 3, getProperty),
    SLOT(kInstance, CMPIInstanceFT, 4, getPropertyAt),
    SLOT(kInstance, CMPIInstanceFT, 5, getPropertyCount),
    SLOT(kInstance, CMPIInstanceFT, 6, setProperty),
    SLOT(kInstance, CMPIInstanceFT, 7, getObjectPath),
    SLOT(kInstance, CMPIInstanceFT, 8, setPropertyFilter),
    SLOT(kInstance, CMPIInstanceFT, 9, setObjectPath),
    SLOT(kInstance, CMPIInstanceFT, 10, setPropertyWithOrigin),
};

CMPIObjectPathFT g_objectPathFT = {
    CMPICurrentVersion,
    SLOT(kObjectPath, CMPIObjectPathFT, 1, release),
    SLOT(kObjectPath, CMPIObjectPathFT, 2, clone),
    SLOT(kObjectPath, CMPIObjectPathFT, 3, setNameSpace),
    SLOT(kObjectPath, CMPIObjectPathFT, 4, getNameSpace),
    SLOT(kObjectPath, CMPIObjectPathFT, 5, setHostname),
    SLOT(kObjectPath, CMPIObjectPathFT, 6, getHostname),
    SLOT(kObjectPath, CMPIObjectPathFT, 7, setClassName),
    SLOT(kObjectPath, CMPIObjectPathFT, 8, getClassName),
    SLOT(kObjectPath, CMPIObjectPathFT, 9, addKey),
    SLOT(kObjectPath, CMPIObjectPathFT, 10, getKey),
    SLOT(kObjectPath, CMPIObjectPathFT, 11, getKeyAt),
    SLOT(kObjectPath, CMPIObjectPathFT, 12, getKeyCount),
    SLOT(kObjectPath, CMPIObjectPathFT, 13, setNameSpaceFromObjectPath),
    SLOT(kObjectPath, CMPIObjectPathFT, 14, setHostAndNameSpaceFromObjectPath),
    SLOT(kObjectPath, CMPIObjectPathFT, 15, getClassQualifier),
    SLOT(kObjectPath, CMPIObjectPathFT, 16, getPropertyQualifier),
    SLOT(kObjectPath, CMPIObjectPathFT, 17, getMethodQualifier),
    SLOT(kObjectPath, CMPIObjectPathFT, 18, getParameterQualifier),
    SLOT(kObjectPath, CMPIObjectPathFT, 19, toString),
};

CMPIArgsFT g_argsFT = {
    CMPICurrentVersion,
    SLOT(kArgs, CMPIArgsFT, 1, release),
    SLOT(kArgs, CMPIArgsFT, 2, clone),
    SLOT(kArgs, CMPIArgsFT, 3, addArg),
    SLOT(kArgs, CMPIArgsFT, 4, getArg),
    SLOT(kArgs, CMPIArgsFT, 5, getArgAt),
    SLOT(kArgs, CMPIArgsFT, 6, getArgCount),
};

CMPIDateTimeFT g_dateTimeFT = {
    CMPICurrentVersion,
    SLOT(kDateTime, CMPIDateTimeFT, 1, release),
    SLOT(kDateTime, CMPIDateTimeFT, 2, clone),
    SLOT(kDateTime, CMPIDateTimeFT, 3, getBinaryFormat),
    SLOT(kDateTime, CMPIDateTimeFT, 4, getStringFormat),
    SLOT(kDateTime, CMPIDateTimeFT, 5, isInterval),
};

CMPISelectExpFT g_selectExpFT = {
    CMPICurrentVersion,
    SLOT(kSelectExp, CMPISelectExpFT, 1, release),
    SLOT(kSelectExp, CMPISelectExpFT, 2, clone),
    SLOT(kSelectExp, CMPISelectExpFT, 3, evaluate),
    SLOT(kSelectExp, CMPISelectExpFT, 4, getString),
    SLOT(kSelectExp, CMPISelectExpFT, 5, getDOC),
    SLOT(kSelectExp, CMPISelectExpFT, 6, getCOD),
    SLOT(kSelectExp, CMPISelectExpFT, 7, evaluateUsingAccessor),
};

CMPISelectCondFT g_selectCondFT = {
    CMPICurrentVersion,
    SLOT(kSelectCond, CMPISelectCondFT, 1, release),
    SLOT(kSelectCond, CMPISelectCondFT, 2, clone),
    SLOT(kSelectCond, CMPISelectCondFT, 3, getCountAndType),
    SLOT(kSelectCond, CMPISelectCondFT, 4, getSubCondAt),
};

CMPISubCondFT g_subCondFT = {
    CMPICurrentVersion,
    SLOT(kSubCond, CMPISubCondFT, 1, release),
    SLOT(kSubCond, CMPISubCondFT, 2, clone),
    SLOT(kSubCond, CMPISubCondFT, 3, getCount),
    SLOT(kSubCond, CMPISubCondFT, 4, getPredicateAt),
    SLOT(kSubCond, CMPISubCondFT, 5, getPredicate),
};

CMPIPredicateFT g_predicateFT = {
    CMPICurrentVersion,
    SLOT(kPredicate, CMPIPredicateFT, 1, release),
    SLOT(kPredicate, CMPIPredicateFT, 2, clone),
    SLOT(kPredicate, CMPIPredicateFT, 3, getData),
    SLOT(kPredicate, CMPIPredicateFT, 4, evaluateUsingAccessor),
};

CMPIErrorFT g_errorFT = {
    CMPICurrentVersion,
    SLOT(kError, CMPIErrorFT, 1, release),
    SLOT(kError, CMPIErrorFT, 2, clone),
    SLOT(kError, CMPIErrorFT, 3, getErrorType),
    SLOT(kError, CMPIErrorFT, 4, getOtherErrorType),
    SLOT(kError, CMPIErrorFT, 5, getOwningEntity),
    SLOT(kError, CMPIErrorFT, 6, getMessageID),
    SLOT(kError, CMPIErrorFT, 7, getMessage),
    SLOT(kError, CMPIErrorFT, 8, getPerceivedSeverity),
    SLOT(kError, CMPIErrorFT, 9, getProbableCause),
    SLOT(kError, CMPIErrorFT, 10, getProbableCauseDescription),
    SLOT(kError, CMPIErrorFT, 11, getRecommendedActions),
    SLOT(kError, CMPIErrorFT, 12, getErrorSource),
    SLOT(kError, CMPIErrorFT, 13, getErrorSourceFormat),
    SLOT(kError, CMPIErrorFT, 14, getOtherErrorSourceFormat),
    SLOT(kError, CMPIErrorFT, 15, getCIMStatusCode),
    SLOT(kError, CMPIErrorFT, 16, getCIMStatusCodeDescription),
    SLOT(kError, CMPIErrorFT, 17, getMessageArguments),
    SLOT(kError, CMPIErrorFT, 18, setErrorType),
    SLOT(kError, CMPIErrorFT, 19, setOtherErrorType),
    SLOT(kError, CMPIErrorFT, 20, setProbableCauseDescription),
    SLOT(kError, CMPIErrorFT, 21, setRecommendedActions),
    SLOT(kError, CMPIErrorFT, 22, setErrorSource),
    SLOT(kError, CMPIErrorFT, 23, setErrorSourceFormat),
    SLOT(kError, CMPIErrorFT, 24, setOtherErrorSourceFormat),
    SLOT(kError, CMPIErrorFT, 25, setCIMStatusCodeDescription),
    SLOT(kError, CMPIErrorFT, 26, setMessageArguments),
};

// ---- the fixture: one live fake object of each kind --------------------------------------------

class CmpiMacros : public ::testing::Test {
 protected:
  void SetUp() override {
    g_call = Call{};
    g_calls = 0;
    g_fmt.clear();
    g_fmtCount = 0;
  }
  void Reset() { SetUp(); }

  // One macro call of a table: the macro's name (for failure messages), the slot and arguments
  // it must reach, and the call itself with the check of what the macro returns.
  struct MacroCase {
    const char *macro;
    int table;
    int slot;
    std::vector<Arg> args;
    std::function<void()> run;
  };
  // Runs each case from a clean record and checks that it made exactly its one slot call.
  void CheckCases(const std::vector<MacroCase> &cases) {
    for (const MacroCase &c : cases) {
      SCOPED_TRACE(c.macro);
      Reset();
      c.run();
      ExpectCall(c.table, c.slot, c.args);
    }
  }

  int handle = 1;  // any non-NULL handle
  CMPIBroker broker = {&handle, &g_bft, &g_eft, nullptr, nullptr};
  CMPIContext context = {&handle, &g_contextFT};
  CMPIResult result = {&handle, &g_resultFT};
  CMPIString string = {&handle, &g_stringFT};
  CMPIArray array = {&handle, &g_arrayFT};
  CMPIEnumeration enumeration = {&handle, &g_enumerationFT};
  CMPIInstance instance = {&handle, &g_instanceFT};
  CMPIObjectPath path = {&handle, &g_objectPathFT};
  CMPIArgs args = {&handle, &g_argsFT};
  CMPIDateTime dateTime = {&handle, &g_dateTimeFT};
  CMPISelectExp selectExp = {&handle, &g_selectExpFT};
  CMPISelectCond selectCond = {&handle, &g_selectCondFT};
  CMPISubCond subCond = {&handle, &g_subCondFT};
  CMPIPredicate predicate = {&handle, &g_predicateFT};
  CMPIError error = {&handle, &g_errorFT};

  // Pointers as providers hold them.
  const CMPIBroker *mb = &broker;
  const CMPIContext *ctx = &context;
  const CMPIResult *rslt = &result;
  CMPIString *str = &string;
  CMPIArray *arr = &array;
  CMPIEnumeration *en = &enumeration;
  CMPIInstance *inst = &instance;
  CMPIObjectPath *op = &path;
  CMPIArgs *as = &args;
  CMPIDateTime *dt = &dateTime;
  CMPISelectExp *se = &selectExp;
  CMPISelectCond *sc = &selectCond;
  CMPISubCond *sub = &subCond;
  CMPIPredicate *pr = &predicate;
  CMPIError *er = &error;

  CMPIStatus st = {CMPI_RC_ERR_FAILED, nullptr};
  const char *name = "Name";
  const char *other = "Other";
  const char *third = "Third";
  const char *fourth = "Fourth";
  const char *props[2] = {"Name", nullptr};
};

// ---- generic, string and data macros ----------------------------------------------------------

TEST_F(CmpiMacros, ReleaseAndCloneUseSlotsOneAndTwo) {
  CheckCases({
      {"CMRelease", kInstance, 1, {P(inst)},
       [&] { ExpectReturnedStatus(CMRelease(inst)); }},
      {"CMClone", kInstance, 2, {P(inst), P(&st)},
       [&] { ExpectReturnedPointer(CMClone(inst, &st)); }},
      {"CMRelease", kString, 1, {P(str)},
       [&] { ExpectReturnedStatus(CMRelease(str)); }},
      {"CMClone", kArray, 2, {P(arr), P(nullptr)},
       [&] { ExpectReturnedPointer(CMClone(arr, nullptr)); }},
      {"CMRelease", kError, 1, {P(er)},
       [&] { ExpectReturnedStatus(CMRelease(er)); }},
  });
}

TEST_F(CmpiMacros, GetCharPtrReadsTheHandleWithoutACall) {
  char text[] = "hello";
  CMPIString s[2] = {{text, &g_stringFT}, {&handle, &g_stringFT}};
  EXPECT_EQ(CMGetCharPtr(&s[0]), text);
  // The argument is parenthesised: an expression works.
  EXPECT_EQ(CMGetCharPtr(s + 1), reinterpret_cast<char *>(&handle));
  const CMPIString *cs = &s[0];
  EXPECT_STREQ(CMGetCharPtr(cs), "hello");
  EXPECT_EQ(g_calls, 0);
}

TEST_F(CmpiMacros, GetCharsPtrCallsGetCharPtr) {
  ExpectReturnedPointer(CMGetCharsPtr(str, &st));
  CHECK_CALL(kString, 3, P(str), P(&st));
}

TEST_F(CmpiMacros, IsNullObject) {
  CMPIInstance *none = nullptr;
  CMPIInstance dead = {nullptr, &g_instanceFT};
  CMPIInstance *deadp = &dead;
  EXPECT_TRUE(CMIsNullObject(none));
  EXPECT_TRUE(CMIsNullObject(deadp));
  EXPECT_FALSE(CMIsNullObject(inst));
  const CMPIBroker *noBroker = nullptr;
  EXPECT_TRUE(CMIsNullObject(noBroker));
  EXPECT_FALSE(CMIsNullObject(mb));
  EXPECT_EQ(g_calls, 0);
}

TEST_F(CmpiMacros, DataTests) {
  CMPIData d{};
  d.type = CMPI_string;
  d.state = CMPI_goodValue;
  EXPECT_FALSE(CMIsNullValue(d));
  EXPECT_FALSE(CMIsKeyValue(d));
  EXPECT_FALSE(CMIsArray(d));
  d.state = CMPI_nullValue | CMPI_notFound;
  EXPECT_TRUE(CMIsNullValue(d));
  EXPECT_FALSE(CMIsKeyValue(d));
  d.state = CMPI_keyValue;
  EXPECT_FALSE(CMIsNullValue(d));
  EXPECT_TRUE(CMIsKeyValue(d));
  d.type = CMPI_stringA;
  EXPECT_TRUE(CMIsArray(d));
  d.type = CMPI_ARRAY | CMPI_sint8;
  EXPECT_TRUE(CMIsArray(d));
}

// ---- instance ---------------------------------------------------------------------------------

TEST_F(CmpiMacros, InstanceMacros) {
  ExpectReturnedData(CMGetProperty(inst, name, &st));
  CHECK_CALL(kInstance, 3, P(inst), P(name), P(&st));
  Reset();

  CMPIString *got = nullptr;
  ExpectReturnedData(CMGetPropertyAt(inst, 3, &got, &st));
  CHECK_CALL(kInstance, 4, P(inst), N(3), P(&got), P(&st));
  Reset();
  ExpectReturnedData(CMGetPropertyAt(inst, 0, nullptr, nullptr));
  CHECK_CALL(kInstance, 4, P(inst), N(0), P(nullptr), P(nullptr));
  Reset();

  EXPECT_EQ(CMGetPropertyCount(inst, &st), kReturnedNumber);
  CHECK_CALL(kInstance, 5, P(inst), P(&st));
  Reset();

  // The value is the address of a plain variable of the property's C type.
  CMPIUint16 port = 5988;
  ExpectReturnedStatus(CMSetProperty(inst, name, &port, CMPI_uint16));
  CHECK_CALL(kInstance, 6, P(inst), P(name), P(&port), N(CMPI_uint16));
  Reset();
  // For CMPI_chars the value pointer is the text itself.
  const char *text = "abc";
  ExpectReturnedStatus(CMSetProperty(inst, name, text, CMPI_chars));
  CHECK_CALL(kInstance, 6, P(inst), P(name), P(text), N(CMPI_chars));
  Reset();
  ExpectReturnedStatus(CMSetProperty(inst, name, "literal", CMPI_chars));
  EXPECT_EQ(g_call.slot, 6);
  EXPECT_STREQ(static_cast<const char *>(g_call.args[2].pointer), "literal");
  Reset();

  ExpectReturnedPointer(CMGetObjectPath(inst, &st));
  CHECK_CALL(kInstance, 7, P(inst), P(&st));
  Reset();
  const char *keys[1] = {nullptr};
  ExpectReturnedStatus(CMSetPropertyFilter(inst, props, keys));
  CHECK_CALL(kInstance, 8, P(inst), P(props), P(keys));
  Reset();
  ExpectReturnedStatus(CMSetObjectPath(inst, op));
  CHECK_CALL(kInstance, 9, P(inst), P(op));
  Reset();
  const char *origin = "CIM_Origin";
  ExpectReturnedStatus(CMSetPropertyWithOrigin(inst, name, &port, CMPI_uint16, origin));
  CHECK_CALL(kInstance, 10, P(inst), P(name), P(&port), N(CMPI_uint16), P(origin));
}

// ---- object path ------------------------------------------------------------------------------

TEST_F(CmpiMacros, ObjectPathNameMacros) {
  CheckCases({
      {"CMSetNameSpace", kObjectPath, 3, {P(op), P(name)},
       [&] { ExpectReturnedStatus(CMSetNameSpace(op, name)); }},
      {"CMGetNameSpace", kObjectPath, 4, {P(op), P(&st)},
       [&] { ExpectReturnedPointer(CMGetNameSpace(op, &st)); }},
      {"CMSetHostname", kObjectPath, 5, {P(op), P(name)},
       [&] { ExpectReturnedStatus(CMSetHostname(op, name)); }},
      {"CMGetHostname", kObjectPath, 6, {P(op), P(&st)},
       [&] { ExpectReturnedPointer(CMGetHostname(op, &st)); }},
      {"CMSetClassName", kObjectPath, 7, {P(op), P(name)},
       [&] { ExpectReturnedStatus(CMSetClassName(op, name)); }},
      {"CMGetClassName", kObjectPath, 8, {P(op), P(&st)},
       [&] { ExpectReturnedPointer(CMGetClassName(op, &st)); }},
  });
}

TEST_F(CmpiMacros, ObjectPathKeyMacros) {
  CMPISint32 id = -4;
  CMPIString *got = nullptr;
  CheckCases({
      {"CMAddKey", kObjectPath, 9, {P(op), P(name), P(&id), N(CMPI_sint32)},
       [&] { ExpectReturnedStatus(CMAddKey(op, name, &id, CMPI_sint32)); }},
      {"CMGetKey", kObjectPath, 10, {P(op), P(name), P(&st)},
       [&] { ExpectReturnedData(CMGetKey(op, name, &st)); }},
      {"CMGetKeyAt", kObjectPath, 11, {P(op), N(2), P(&got), P(&st)},
       [&] { ExpectReturnedData(CMGetKeyAt(op, 2, &got, &st)); }},
      {"CMGetKeyCount", kObjectPath, 12, {P(op), P(&st)},
       [&] { EXPECT_EQ(CMGetKeyCount(op, &st), kReturnedNumber); }},
  });
}

TEST_F(CmpiMacros, ObjectPathCopyQualifierAndTextMacros) {
  CMPIObjectPath source = {&handle, &g_objectPathFT};
  CheckCases({
      {"CMSetNameSpaceFromObjectPath", kObjectPath, 13, {P(op), P(&source)},
       [&] { ExpectReturnedStatus(CMSetNameSpaceFromObjectPath(op, &source)); }},
      {"CMSetHostAndNameSpaceFromObjectPath", kObjectPath, 14, {P(op), P(&source)},
       [&] { ExpectReturnedStatus(CMSetHostAndNameSpaceFromObjectPath(op, &source)); }},
      {"CMGetClassQualifier", kObjectPath, 15, {P(op), P(name), P(&st)},
       [&] { ExpectReturnedData(CMGetClassQualifier(op, name, &st)); }},
      {"CMGetPropertyQualifier", kObjectPath, 16, {P(op), P(name), P(other), P(&st)},
       [&] { ExpectReturnedData(CMGetPropertyQualifier(op, name, other, &st)); }},
      {"CMGetMethodQualifier", kObjectPath, 17, {P(op), P(name), P(other), P(&st)},
       [&] { ExpectReturnedData(CMGetMethodQualifier(op, name, other, &st)); }},
      {"CMGetParameterQualifier", kObjectPath, 18, {P(op), P(name), P(other), P(third), P(&st)},
       [&] { ExpectReturnedData(CMGetParameterQualifier(op, name, other, third, &st)); }},
      {"CMObjectPathToString", kObjectPath, 19, {P(op), P(&st)},
       [&] { ExpectReturnedPointer(CMObjectPathToString(op, &st)); }},
  });
}

// ---- args, array, enumeration, date-time, context ----------------------------------------------

TEST_F(CmpiMacros, ArgsMacros) {
  CMPIBoolean flag = 1;
  CMPIString *got = nullptr;
  CheckCases({
      {"CMAddArg", kArgs, 3, {P(as), P(name), P(&flag), N(CMPI_boolean)},
       [&] { ExpectReturnedStatus(CMAddArg(as, name, &flag, CMPI_boolean)); }},
      {"CMGetArg", kArgs, 4, {P(as), P(name), P(&st)},
       [&] { ExpectReturnedData(CMGetArg(as, name, &st)); }},
      {"CMGetArgAt", kArgs, 5, {P(as), N(1), P(&got), P(&st)},
       [&] { ExpectReturnedData(CMGetArgAt(as, 1, &got, &st)); }},
      {"CMGetArgCount", kArgs, 6, {P(as), P(&st)},
       [&] { EXPECT_EQ(CMGetArgCount(as, &st), kReturnedNumber); }},
  });
}

TEST_F(CmpiMacros, ArrayMacrosUseTheTableNames) {
  EXPECT_EQ(CMGetArrayCount(arr, &st), kReturnedNumber);
  CHECK_CALL(kArray, 3, P(arr), P(&st));  // getSize
  Reset();
  EXPECT_EQ(CMGetArrayType(arr, &st), kReturnedNumber);
  CHECK_CALL(kArray, 4, P(arr), P(&st));  // getSimpleType
  Reset();
  ExpectReturnedData(CMGetArrayElementAt(arr, 5, &st));
  CHECK_CALL(kArray, 5, P(arr), N(5), P(&st));
  Reset();
  CMPIReal64 x = 2.5;
  ExpectReturnedStatus(CMSetArrayElementAt(arr, 5, &x, CMPI_real64));
  CHECK_CALL(kArray, 6, P(arr), N(5), P(&x), N(CMPI_real64));
  Reset();
  ExpectReturnedStatus(CMSetArrayElementAt(arr, 0, "text", CMPI_chars));
  EXPECT_EQ(g_call.slot, 6);
  EXPECT_STREQ(static_cast<const char *>(g_call.args[2].pointer), "text");
}

TEST_F(CmpiMacros, EnumerationMacros) {
  CheckCases({
      {"CMGetNext", kEnumeration, 3, {P(en), P(&st)},
       [&] { ExpectReturnedData(CMGetNext(en, &st)); }},
      {"CMHasNext", kEnumeration, 4, {P(en), P(&st)},
       [&] { EXPECT_TRUE(CMHasNext(en, &st)); }},
      {"CMToArray", kEnumeration, 5, {P(en), P(nullptr)},
       [&] { ExpectReturnedPointer(CMToArray(en, nullptr)); }},
  });
}

TEST_F(CmpiMacros, DateTimeMacros) {
  CheckCases({
      {"CMGetBinaryFormat", kDateTime, 3, {P(dt), P(&st)},
       [&] { EXPECT_EQ(CMGetBinaryFormat(dt, &st), kReturnedNumber); }},
      {"CMGetStringFormat", kDateTime, 4, {P(dt), P(&st)},
       [&] { ExpectReturnedPointer(CMGetStringFormat(dt, &st)); }},
      {"CMIsInterval", kDateTime, 5, {P(dt), P(&st)},
       [&] { EXPECT_TRUE(CMIsInterval(dt, &st)); }},
  });
}

TEST_F(CmpiMacros, ContextMacros) {
  ExpectReturnedData(CMGetContextEntry(ctx, CMPIInvocationFlags, &st));
  EXPECT_EQ(g_call.slot, 3);
  EXPECT_STREQ(static_cast<const char *>(g_call.args[1].pointer), "CMPIInvocationFlags");
  Reset();
  ExpectReturnedData(CMGetContextEntry(ctx, name, &st));
  CHECK_CALL(kContext, 3, P(ctx), P(name), P(&st));
  Reset();
  CMPIString *got = nullptr;
  ExpectReturnedData(CMGetContextEntryAt(ctx, 4, &got, &st));
  CHECK_CALL(kContext, 4, P(ctx), N(4), P(&got), P(&st));
  Reset();
  EXPECT_EQ(CMGetContextEntryCount(ctx, &st), kReturnedNumber);
  CHECK_CALL(kContext, 5, P(ctx), P(&st));
  Reset();
  CMPIUint32 flags = CMPI_FLAG_DeepInheritance;
  ExpectReturnedStatus(CMAddContextEntry(ctx, name, &flags, CMPI_uint32));
  CHECK_CALL(kContext, 6, P(ctx), P(name), P(&flags), N(CMPI_uint32));
}

// ---- select expressions and predicates --------------------------------------------------------

CMPIData Accessor(const char *, void *) { return CMPIData{}; }

TEST_F(CmpiMacros, SelectExpressionMacros) {
  int parm = 0;
  CheckCases({
      {"CMEvaluateSelExp", kSelectExp, 3, {P(se), P(inst), P(&st)},
       [&] { EXPECT_TRUE(CMEvaluateSelExp(se, inst, &st)); }},
      {"CMGetSelExpString", kSelectExp, 4, {P(se), P(&st)},
       [&] { ExpectReturnedPointer(CMGetSelExpString(se, &st)); }},
      {"CMGetDoc", kSelectExp, 5, {P(se), P(&st)},
       [&] { ExpectReturnedPointer(CMGetDoc(se, &st)); }},
      {"CMGetCod", kSelectExp, 6, {P(se), P(&st)},
       [&] { ExpectReturnedPointer(CMGetCod(se, &st)); }},
      {"CMEvaluateSelExpUsingAccessor", kSelectExp, 7,
       {P(se), P(reinterpret_cast<const void *>(&Accessor)), P(&parm), P(&st)},
       [&] { EXPECT_TRUE(CMEvaluateSelExpUsingAccessor(se, &Accessor, &parm, &st)); }},
  });
}

TEST_F(CmpiMacros, ConditionAndPredicateMacros) {
  int type = 0;
  CMPIType t = 0;
  CMPIPredOp o = CMPI_PredOp_Equals;
  CMPIString *lhs = nullptr;
  CMPIString *rhs = nullptr;
  int parm = 0;
  CheckCases({
      {"CMGetSubCondCountAndType", kSelectCond, 3, {P(sc), P(&type), P(&st)},
       [&] { EXPECT_EQ(CMGetSubCondCountAndType(sc, &type, &st), kReturnedNumber); }},
      {"CMGetSubCondAt", kSelectCond, 4, {P(sc), N(1), P(&st)},
       [&] { ExpectReturnedPointer(CMGetSubCondAt(sc, 1, &st)); }},
      {"CMGetPredicateCount", kSubCond, 3, {P(sub), P(&st)},
       [&] { EXPECT_EQ(CMGetPredicateCount(sub, &st), kReturnedNumber); }},
      {"CMGetPredicateAt", kSubCond, 4, {P(sub), N(2), P(&st)},
       [&] { ExpectReturnedPointer(CMGetPredicateAt(sub, 2, &st)); }},
      {"CMGetPredicate", kSubCond, 5, {P(sub), P(name), P(&st)},
       [&] { ExpectReturnedPointer(CMGetPredicate(sub, name, &st)); }},
      {"CMGetPredicateData", kPredicate, 3, {P(pr), P(&t), P(&o), P(&lhs), P(&rhs)},
       [&] { ExpectReturnedStatus(CMGetPredicateData(pr, &t, &o, &lhs, &rhs)); }},
      {"CMEvaluatePredicateUsingAccessor", kPredicate, 4,
       {P(pr), P(reinterpret_cast<const void *>(&Accessor)), P(&parm), P(&st)},
       [&] { EXPECT_TRUE(CMEvaluatePredicateUsingAccessor(pr, &Accessor, &parm, &st)); }},
  });
}

// ---- extended errors --------------------------------------------------------------------------

TEST_F(CmpiMacros, ErrorGetters) {
  CheckCases({
      {"CMGetErrorType", kError, 3, {P(er), P(&st)},
       [&] { EXPECT_EQ(CMGetErrorType(er, &st), static_cast<CMPIErrorType>(kReturnedEnum)); }},
      {"CMGetOtherErrorType", kError, 4, {P(er), P(&st)},
       [&] { ExpectReturnedPointer(CMGetOtherErrorType(er, &st)); }},
      {"CMGetOwningEntity", kError, 5, {P(er), P(&st)},
       [&] { ExpectReturnedPointer(CMGetOwningEntity(er, &st)); }},
      {"CMGetMessageID", kError, 6, {P(er), P(&st)},
       [&] { ExpectReturnedPointer(CMGetMessageID(er, &st)); }},
      {"CMGetErrorMessage", kError, 7, {P(er), P(&st)},
       [&] { ExpectReturnedPointer(CMGetErrorMessage(er, &st)); }},
      {"CMGetPerceivedSeverity", kError, 8, {P(er), P(&st)},
       [&] {
         EXPECT_EQ(CMGetPerceivedSeverity(er, &st),
                   static_cast<CMPIErrorSeverity>(kReturnedEnum));
       }},
      {"CMGetProbableCause", kError, 9, {P(er), P(&st)},
       [&] {
         EXPECT_EQ(CMGetProbableCause(er, &st),
                   static_cast<CMPIErrorProbableCause>(kReturnedEnum));
       }},
      {"CMGetProbableCauseDescription", kError, 10, {P(er), P(&st)},
       [&] { ExpectReturnedPointer(CMGetProbableCauseDescription(er, &st)); }},
      {"CMGetRecommendedActions", kError, 11, {P(er), P(&st)},
       [&] { ExpectReturnedPointer(CMGetRecommendedActions(er, &st)); }},
      {"CMGetErrorSource", kError, 12, {P(er), P(&st)},
       [&] { ExpectReturnedPointer(CMGetErrorSource(er, &st)); }},
      {"CMGetErrorSourceFormat", kError, 13, {P(er), P(&st)},
       [&] {
         EXPECT_EQ(CMGetErrorSourceFormat(er, &st),
                   static_cast<CMPIErrorSrcFormat>(kReturnedEnum));
       }},
      {"CMGetOtherErrorSourceFormat", kError, 14, {P(er), P(&st)},
       [&] { ExpectReturnedPointer(CMGetOtherErrorSourceFormat(er, &st)); }},
      {"CMGetCIMStatusCode", kError, 15, {P(er), P(&st)},
       [&] { EXPECT_EQ(CMGetCIMStatusCode(er, &st), static_cast<CMPIrc>(kReturnedEnum)); }},
      {"CMGetCIMStatusCodeDescription", kError, 16, {P(er), P(&st)},
       [&] { ExpectReturnedPointer(CMGetCIMStatusCodeDescription(er, &st)); }},
      {"CMGetMessageArguments", kError, 17, {P(er), P(&st)},
       [&] { ExpectReturnedPointer(CMGetMessageArguments(er, &st)); }},
  });
}

TEST_F(CmpiMacros, ErrorSetters) {
  CheckCases({
      {"CMSetErrorType", kError, 18, {P(er), N(SoftwareError)},
       [&] { ExpectReturnedStatus(CMSetErrorType(er, SoftwareError)); }},
      {"CMSetOtherErrorType", kError, 19, {P(er), P(name)},
       [&] { ExpectReturnedStatus(CMSetOtherErrorType(er, name)); }},
      {"CMSetProbableCauseDescription", kError, 20, {P(er), P(name)},
       [&] { ExpectReturnedStatus(CMSetProbableCauseDescription(er, name)); }},
      {"CMSetRecommendedActions", kError, 21, {P(er), P(arr)},
       [&] { ExpectReturnedStatus(CMSetRecommendedActions(er, arr)); }},
      {"CMSetErrorSource", kError, 22, {P(er), P(name)},
       [&] { ExpectReturnedStatus(CMSetErrorSource(er, name)); }},
      {"CMSetErrorSourceFormat", kError, 23, {P(er), N(CIMObjectHandle)},
       [&] { ExpectReturnedStatus(CMSetErrorSourceFormat(er, CIMObjectHandle)); }},
      {"CMSetOtherErrorSourceFormat", kError, 24, {P(er), P(name)},
       [&] { ExpectReturnedStatus(CMSetOtherErrorSourceFormat(er, name)); }},
      {"CMSetCIMStatusCodeDescription", kError, 25, {P(er), P(name)},
       [&] { ExpectReturnedStatus(CMSetCIMStatusCodeDescription(er, name)); }},
      {"CMSetMessageArguments", kError, 26, {P(er), P(arr)},
       [&] { ExpectReturnedStatus(CMSetMessageArguments(er, arr)); }},
  });
}

// ---- result -----------------------------------------------------------------------------------

TEST_F(CmpiMacros, ResultMacros) {
  CMPIUint64 big = 1ULL << 40;
  CheckCases({
      {"CMReturnData", kResult, 3, {P(rslt), P(&big), N(CMPI_uint64)},
       [&] { ExpectReturnedStatus(CMReturnData(rslt, &big, CMPI_uint64)); }},
      {"CMReturnInstance", kResult, 4, {P(rslt), P(inst)},
       [&] { ExpectReturnedStatus(CMReturnInstance(rslt, inst)); }},
      {"CMReturnObjectPath", kResult, 5, {P(rslt), P(op)},
       [&] { ExpectReturnedStatus(CMReturnObjectPath(rslt, op)); }},
      {"CMReturnDone", kResult, 6, {P(rslt)},
       [&] { ExpectReturnedStatus(CMReturnDone(rslt)); }},
      {"CMReturnError", kResult, 7, {P(rslt), P(er)},
       [&] { ExpectReturnedStatus(CMReturnError(rslt, er)); }},
  });
}

// ---- broker factories and helpers -------------------------------------------------------------

TEST_F(CmpiMacros, BrokerFactories) {
  CMPIArray *projection = nullptr;
  CheckCases({
      {"CMNewInstance", kEnc, 1, {P(mb), P(op), P(&st)},
       [&] { ExpectReturnedPointer(CMNewInstance(mb, op, &st)); }},
      {"CMNewObjectPath", kEnc, 2, {P(mb), P(name), P(other), P(&st)},
       [&] { ExpectReturnedPointer(CMNewObjectPath(mb, name, other, &st)); }},
      {"CMNewArgs", kEnc, 3, {P(mb), P(&st)},
       [&] { ExpectReturnedPointer(CMNewArgs(mb, &st)); }},
      {"CMNewString", kEnc, 4, {P(mb), P(name), P(&st)},
       [&] { ExpectReturnedPointer(CMNewString(mb, name, &st)); }},
      {"CMNewArray", kEnc, 5, {P(mb), N(3), N(CMPI_string), P(&st)},
       [&] { ExpectReturnedPointer(CMNewArray(mb, 3, CMPI_string, &st)); }},
      {"CMNewDateTime", kEnc, 6, {P(mb), P(&st)},
       [&] { ExpectReturnedPointer(CMNewDateTime(mb, &st)); }},
      {"CMNewDateTimeFromBinary", kEnc, 7, {P(mb), N(1234567890123ULL), N(1), P(&st)},
       [&] { ExpectReturnedPointer(CMNewDateTimeFromBinary(mb, 1234567890123ULL, 1, &st)); }},
      {"CMNewDateTimeFromChars", kEnc, 8, {P(mb), P(name), P(&st)},
       [&] { ExpectReturnedPointer(CMNewDateTimeFromChars(mb, name, &st)); }},
      {"CMNewSelectExp", kEnc, 9, {P(mb), P(name), P(other), P(&projection), P(&st)},
       [&] { ExpectReturnedPointer(CMNewSelectExp(mb, name, other, &projection, &st)); }},
      {"CMNewCMPIError", kEnc, 17,
       {P(mb), P(name), P(other), P(third), N(ErrorSevHigh), N(ErrorProbCauseOther),
        N(CMPI_RC_ERR_FAILED), P(&st)},
       [&] {
         ExpectReturnedPointer(CMNewCMPIError(
             mb, name, other, third, ErrorSevHigh, ErrorProbCauseOther, CMPI_RC_ERR_FAILED, &st));
       }},
  });
}

TEST_F(CmpiMacros, BrokerHelpers) {
  CMPIMsgFileHandle handleOut = nullptr;
  CMPIMsgFileHandle fileHandle = &handle;
  CheckCases({
      {"CMClassPathIsA", kEnc, 10, {P(mb), P(op), P(name), P(&st)},
       [&] { EXPECT_TRUE(CMClassPathIsA(mb, op, name, &st)); }},
      {"CDToString", kEnc, 11, {P(mb), P(inst), P(&st)},
       [&] { ExpectReturnedPointer(CDToString(mb, inst, &st)); }},
      {"CDIsOfType", kEnc, 12, {P(mb), P(inst), P(name), P(&st)},
       [&] { EXPECT_TRUE(CDIsOfType(mb, inst, name, &st)); }},
      {"CDGetType", kEnc, 13, {P(mb), P(op), P(&st)},
       [&] { ExpectReturnedPointer(CDGetType(mb, op, &st)); }},
      {"CMLogMessage", kEnc, 15, {P(mb), N(CMPI_SEV_WARNING), P(name), P(other), P(str)},
       [&] { ExpectReturnedStatus(CMLogMessage(mb, CMPI_SEV_WARNING, name, other, str)); }},
      {"CMTraceMessage", kEnc, 16, {P(mb), N(CMPI_LEV_VERBOSE), P(name), P(other), P(nullptr)},
       [&] { ExpectReturnedStatus(CMTraceMessage(mb, CMPI_LEV_VERBOSE, name, other, nullptr)); }},
      {"CMOpenMessageFile", kEnc, 18, {P(mb), P(name), P(&handleOut)},
       [&] { ExpectReturnedStatus(CMOpenMessageFile(mb, name, &handleOut)); }},
      {"CMCloseMessageFile", kEnc, 19, {P(mb), P(fileHandle)},
       [&] { ExpectReturnedStatus(CMCloseMessageFile(mb, fileHandle)); }},
  });
}

// ---- messages and their substitution values ---------------------------------------------------

TEST_F(CmpiMacros, FmtHelpersGiveTypeAndValuePairs) {
  EXPECT_EQ(Collect(CMFmtArgs0()), 0u);
  EXPECT_TRUE(g_fmt.empty());

  char chars[] = "chars";
  EXPECT_EQ(Collect(CMFmtArgs8(CMFmtSint(-5), CMFmtUint(4000000000u), CMFmtSint64(-(1LL << 40)),
                               CMFmtUint64(~0ULL), CMFmtReal(1.5f), CMFmtBoolean(1),
                               CMFmtChars(chars), CMFmtString(str))),
            8u);
  ASSERT_EQ(g_fmt.size(), 8u);
  EXPECT_EQ(g_fmt[0].type, CMPI_sint32);
  EXPECT_EQ(g_fmt[0].s, -5);
  EXPECT_EQ(g_fmt[1].type, CMPI_uint32);
  EXPECT_EQ(g_fmt[1].u, 4000000000u);
  EXPECT_EQ(g_fmt[2].type, CMPI_sint64);
  EXPECT_EQ(g_fmt[2].s, -(1LL << 40));
  EXPECT_EQ(g_fmt[3].type, CMPI_uint64);
  EXPECT_EQ(g_fmt[3].u, ~0ULL);
  EXPECT_EQ(g_fmt[4].type, CMPI_real64);
  EXPECT_EQ(g_fmt[4].d, 1.5);
  EXPECT_EQ(g_fmt[5].type, CMPI_boolean);
  EXPECT_EQ(g_fmt[5].s, 1);
  EXPECT_EQ(g_fmt[6].type, CMPI_chars);
  EXPECT_EQ(g_fmt[6].p, chars);
  EXPECT_EQ(g_fmt[7].type, CMPI_string);
  EXPECT_EQ(g_fmt[7].p, str);
}

TEST_F(CmpiMacros, FmtArgsCountsEveryArity) {
  EXPECT_EQ(Collect(CMFmtArgs1(CMFmtSint(1))), 1u);
  EXPECT_EQ(Collect(CMFmtArgs2(CMFmtSint(1), CMFmtSint(2))), 2u);
  EXPECT_EQ(Collect(CMFmtArgs3(CMFmtSint(1), CMFmtSint(2), CMFmtSint(3))), 3u);
  EXPECT_EQ(Collect(CMFmtArgs4(CMFmtSint(1), CMFmtSint(2), CMFmtSint(3), CMFmtSint(4))), 4u);
  EXPECT_EQ(Collect(CMFmtArgs5(CMFmtSint(1), CMFmtSint(2), CMFmtSint(3), CMFmtSint(4),
                               CMFmtSint(5))),
            5u);
  EXPECT_EQ(Collect(CMFmtArgs6(CMFmtSint(1), CMFmtSint(2), CMFmtSint(3), CMFmtSint(4),
                               CMFmtSint(5), CMFmtSint(6))),
            6u);
  EXPECT_EQ(Collect(CMFmtArgs7(CMFmtSint(1), CMFmtSint(2), CMFmtSint(3), CMFmtSint(4),
                               CMFmtSint(5), CMFmtSint(6), CMFmtSint(7))),
            7u);
  EXPECT_EQ(Collect(CMFmtArgs9(CMFmtSint(1), CMFmtSint(2), CMFmtSint(3), CMFmtSint(4),
                               CMFmtSint(5), CMFmtSint(6), CMFmtSint(7), CMFmtSint(8),
                               CMFmtSint(9))),
            9u);
  EXPECT_EQ(Collect(CMFmtArgs10(CMFmtSint(1), CMFmtSint(2), CMFmtSint(3), CMFmtSint(4),
                                CMFmtSint(5), CMFmtSint(6), CMFmtSint(7), CMFmtSint(8),
                                CMFmtSint(9), CMFmtUint(10))),
            10u);
  ASSERT_EQ(g_fmt.size(), 10u);
  for (int i = 0; i < 9; ++i) {
    EXPECT_EQ(g_fmt[i].type, CMPI_sint32);
    EXPECT_EQ(g_fmt[i].s, i + 1);
  }
  EXPECT_EQ(g_fmt[9].type, CMPI_uint32);
  EXPECT_EQ(g_fmt[9].u, 10u);
}

TEST_F(CmpiMacros, GetMessagePassesTheFormattedValues) {
  const char *id = "Msg.Id";
  const char *def = "value $0 for $1";
  ExpectReturnedPointer(
      CMGetMessage(mb, id, def, &st, CMFmtArgs2(CMFmtSint(42), CMFmtChars("disk"))));
  CHECK_CALL(kEnc, 14, P(mb), P(id), P(def), P(&st), N(2));
  ASSERT_EQ(g_fmt.size(), 2u);
  EXPECT_EQ(g_fmt[0].type, CMPI_sint32);
  EXPECT_EQ(g_fmt[0].s, 42);
  EXPECT_EQ(g_fmt[1].type, CMPI_chars);
  EXPECT_STREQ(static_cast<const char *>(g_fmt[1].p), "disk");
  Reset();

  ExpectReturnedPointer(CMGetMessage(mb, id, def, nullptr, CMFmtArgs0()));
  CHECK_CALL(kEnc, 14, P(mb), P(id), P(def), P(nullptr), N(0));
  EXPECT_TRUE(g_fmt.empty());
  Reset();

  CMPIMsgFileHandle fileHandle = &handle;
  ExpectReturnedPointer(CMGetMessage2(mb, id, fileHandle, def, &st,
                                      CMFmtArgs1(CMFmtUint64(1ULL << 63))));
  CHECK_CALL(kEnc, 20, P(mb), P(id), P(fileHandle), P(def), P(&st), N(1));
  ASSERT_EQ(g_fmt.size(), 1u);
  EXPECT_EQ(g_fmt[0].type, CMPI_uint64);
  EXPECT_EQ(g_fmt[0].u, 1ULL << 63);
}

// ---- broker up-calls --------------------------------------------------------------------------

TEST_F(CmpiMacros, BrokerDataFields) {
  EXPECT_EQ(Val(CBGetBrokerCapabilities(mb)), kCapabilities);
  EXPECT_EQ(Val(CBGetClassification(mb)), kCapabilities);
  EXPECT_EQ(Val(CBGetCapabilities(mb)), kCapabilities);
  EXPECT_EQ(Val(CBBrokerVersion(mb)), 200u);
  EXPECT_STREQ(CBBrokerName(mb), "FakeBroker");
  EXPECT_EQ(g_calls, 0);
}

TEST_F(CmpiMacros, BrokerThreadAndIndicationCalls) {
  CheckCases({
      {"CBPrepareAttachThread", kBroker, 3, {P(mb), P(ctx)},
       [&] { ExpectReturnedPointer(CBPrepareAttachThread(mb, ctx)); }},
      {"CBAttachThread", kBroker, 4, {P(mb), P(ctx)},
       [&] { ExpectReturnedStatus(CBAttachThread(mb, ctx)); }},
      {"CBDetachThread", kBroker, 5, {P(mb), P(ctx)},
       [&] { ExpectReturnedStatus(CBDetachThread(mb, ctx)); }},
      {"CBDeliverIndication", kBroker, 6, {P(mb), P(ctx), P(name), P(inst)},
       [&] { ExpectReturnedStatus(CBDeliverIndication(mb, ctx, name, inst)); }},
  });
}

TEST_F(CmpiMacros, BrokerInstanceCalls) {
  const char *query = "select * from X";
  const char *lang = "WQL";
  CheckCases({
      {"CBEnumInstanceNames", kBroker, 7, {P(mb), P(ctx), P(op), P(&st)},
       [&] { ExpectReturnedPointer(CBEnumInstanceNames(mb, ctx, op, &st)); }},
      {"CBGetInstance", kBroker, 8, {P(mb), P(ctx), P(op), P(props), P(&st)},
       [&] { ExpectReturnedPointer(CBGetInstance(mb, ctx, op, props, &st)); }},
      {"CBCreateInstance", kBroker, 9, {P(mb), P(ctx), P(op), P(inst), P(&st)},
       [&] { ExpectReturnedPointer(CBCreateInstance(mb, ctx, op, inst, &st)); }},
      {"CBModifyInstance", kBroker, 10, {P(mb), P(ctx), P(op), P(inst), P(props)},
       [&] { ExpectReturnedStatus(CBModifyInstance(mb, ctx, op, inst, props)); }},
      {"CBSetInstance", kBroker, 10, {P(mb), P(ctx), P(op), P(inst), P(props)},
       [&] { ExpectReturnedStatus(CBSetInstance(mb, ctx, op, inst, props)); }},
      {"CBSetInstance", kBroker, 10, {P(mb), P(ctx), P(op), P(inst), P(nullptr)},
       [&] { ExpectReturnedStatus(CBSetInstance(mb, ctx, op, inst)); }},
      {"CBDeleteInstance", kBroker, 11, {P(mb), P(ctx), P(op)},
       [&] { ExpectReturnedStatus(CBDeleteInstance(mb, ctx, op)); }},
      {"CBExecQuery", kBroker, 12, {P(mb), P(ctx), P(op), P(query), P(lang), P(&st)},
       [&] { ExpectReturnedPointer(CBExecQuery(mb, ctx, op, query, lang, &st)); }},
      {"CBEnumInstances", kBroker, 13, {P(mb), P(ctx), P(op), P(props), P(&st)},
       [&] { ExpectReturnedPointer(CBEnumInstances(mb, ctx, op, props, &st)); }},
  });
}

TEST_F(CmpiMacros, BrokerAssociationCalls) {
  CheckCases({
      {"CBAssociators", kBroker, 14,
       {P(mb), P(ctx), P(op), P(name), P(other), P(third), P(fourth), P(props), P(&st)},
       [&] {
         ExpectReturnedPointer(
             CBAssociators(mb, ctx, op, name, other, third, fourth, props, &st));
       }},
      {"CBAssociatorNames", kBroker, 15,
       {P(mb), P(ctx), P(op), P(name), P(other), P(third), P(fourth), P(&st)},
       [&] {
         ExpectReturnedPointer(
             CBAssociatorNames(mb, ctx, op, name, other, third, fourth, &st));
       }},
      {"CBReferences", kBroker, 16, {P(mb), P(ctx), P(op), P(name), P(other), P(props), P(&st)},
       [&] { ExpectReturnedPointer(CBReferences(mb, ctx, op, name, other, props, &st)); }},
      {"CBReferenceNames", kBroker, 17, {P(mb), P(ctx), P(op), P(name), P(other), P(&st)},
       [&] { ExpectReturnedPointer(CBReferenceNames(mb, ctx, op, name, other, &st)); }},
  });
}

TEST_F(CmpiMacros, BrokerMethodAndPropertyCalls) {
  CMPIArgs out = {&handle, &g_argsFT};
  CMPISint64 v = -1;
  CheckCases({
      {"CBInvokeMethod", kBroker, 18, {P(mb), P(ctx), P(op), P(name), P(as), P(&out), P(&st)},
       [&] { ExpectReturnedData(CBInvokeMethod(mb, ctx, op, name, as, &out, &st)); }},
      {"CBSetProperty", kBroker, 19, {P(mb), P(ctx), P(op), P(name), P(&v), N(CMPI_sint64)},
       [&] { ExpectReturnedStatus(CBSetProperty(mb, ctx, op, name, &v, CMPI_sint64)); }},
      {"CBGetProperty", kBroker, 20, {P(mb), P(ctx), P(op), P(name), P(&st)},
       [&] { ExpectReturnedData(CBGetProperty(mb, ctx, op, name, &st)); }},
  });
}

// ---- status and return macros -----------------------------------------------------------------

TEST_F(CmpiMacros, SetStatusWithANullStatusDoesNothing) {
  CMPIStatus *none = nullptr;
  CMSetStatus(none, CMPI_RC_ERR_FAILED);
  CMSetStatusWithString(none, CMPI_RC_ERR_FAILED, str);
  CMSetStatusWithChars(mb, none, CMPI_RC_ERR_FAILED, "text");
  EXPECT_EQ(g_calls, 0);  // no message string made for nobody
}

TEST_F(CmpiMacros, SetStatusFillsTheStatus) {
  CMPIStatus *rc = &st;
  st.msg = str;
  CMSetStatus(rc, CMPI_RC_ERR_NOT_SUPPORTED);
  EXPECT_EQ(Val(st.rc), CMPI_RC_ERR_NOT_SUPPORTED);
  EXPECT_EQ(Val(st.msg), nullptr);

  CMSetStatus(&st, CMPI_RC_OK);  // the address of a local works too
  EXPECT_EQ(Val(st.rc), CMPI_RC_OK);

  CMSetStatusWithString(rc, CMPI_RC_ERR_INVALID_PARAMETER, str);
  EXPECT_EQ(Val(st.rc), CMPI_RC_ERR_INVALID_PARAMETER);
  EXPECT_EQ(Val(st.msg), str);
  EXPECT_EQ(g_calls, 0);

  // An int code is accepted as well as the enumeration.
  CMSetStatus(rc, 4);
  EXPECT_EQ(Val(st.rc), CMPI_RC_ERR_INVALID_PARAMETER);
}

TEST_F(CmpiMacros, SetStatusWithCharsMakesTheMessageThroughTheBroker) {
  const char *text = "broken";
  CMSetStatusWithChars(mb, &st, CMPI_RC_ERR_FAILED, text);
  CHECK_CALL(kEnc, 4, P(mb), P(text), P(nullptr));
  EXPECT_EQ(Val(st.rc), CMPI_RC_ERR_FAILED);
  EXPECT_EQ(static_cast<void *>(st.msg), static_cast<void *>(&g_returned[0]));
  Reset();

  // Without a broker nothing is set.
  st.rc = CMPI_RC_OK;
  st.msg = nullptr;
  const CMPIBroker *noBroker = nullptr;
  CMSetStatusWithChars(noBroker, &st, CMPI_RC_ERR_FAILED, text);
  EXPECT_EQ(Val(st.rc), CMPI_RC_OK);
  EXPECT_EQ(Val(st.msg), nullptr);
  EXPECT_EQ(g_calls, 0);
}

TEST_F(CmpiMacros, StatementMacrosAreBraceBlocks) {
  // Braced if/else around each statement macro, with and without the ';' (provider code writes
  // both), picks the right branch.
  bool taken = false;
  if (taken) {
    CMSetStatus(&st, CMPI_RC_ERR_FAILED);
  } else {
    CMSetStatus(&st, CMPI_RC_ERR_ACCESS_DENIED)
  }
  EXPECT_EQ(Val(st.rc), CMPI_RC_ERR_ACCESS_DENIED);
  if (!taken) {
    CMSetStatusWithString(&st, CMPI_RC_ERR_NOT_FOUND, nullptr)
  } else {
    CMSetStatusWithChars(mb, &st, CMPI_RC_ERR_FAILED, "x");
  }
  EXPECT_EQ(Val(st.rc), CMPI_RC_ERR_NOT_FOUND);
  // Between an unbraced if and its else the macro stands without its ';'.
  if (taken)
    CMSetStatus(&st, CMPI_RC_ERR_FAILED)
  else
    CMSetStatus(&st, CMPI_RC_ERR_TYPE_MISMATCH);
  EXPECT_EQ(Val(st.rc), CMPI_RC_ERR_TYPE_MISMATCH);
  EXPECT_EQ(g_calls, 0);
}

CMPIStatus ReturnPlain(bool fail) {
  if (fail) {
    CMReturn(CMPI_RC_ERR_FAILED)
  } else {
    CMReturn(CMPI_RC_OK);
  }
}

CMPIStatus ReturnWithString(CMPIString *msg) { CMReturnWithString(CMPI_RC_ERR_NOT_FOUND, msg); }

CMPIStatus ReturnWithChars(const CMPIBroker *b, const char *chars) {
  CMReturnWithChars(b, CMPI_RC_ERR_INVALID_CLASS, chars);
}

CMPIStatus ReturnFromMiddle(int which) {
  if (which == 1) CMReturn(CMPI_RC_ERR_ACCESS_DENIED);
  if (which == 2) CMReturnWithString(CMPI_RC_ERR_TYPE_MISMATCH, nullptr);
  CMReturn(3);  // an int code
}

TEST_F(CmpiMacros, ReturnMacrosReturnAStatus) {
  CMPIStatus r = ReturnPlain(true);
  EXPECT_EQ(Val(r.rc), CMPI_RC_ERR_FAILED);
  EXPECT_EQ(Val(r.msg), nullptr);
  r = ReturnPlain(false);
  EXPECT_EQ(Val(r.rc), CMPI_RC_OK);
  EXPECT_EQ(Val(r.msg), nullptr);

  r = ReturnWithString(str);
  EXPECT_EQ(Val(r.rc), CMPI_RC_ERR_NOT_FOUND);
  EXPECT_EQ(Val(r.msg), str);

  EXPECT_EQ(Val(ReturnFromMiddle(1).rc), CMPI_RC_ERR_ACCESS_DENIED);
  EXPECT_EQ(Val(ReturnFromMiddle(2).rc), CMPI_RC_ERR_TYPE_MISMATCH);
  EXPECT_EQ(Val(ReturnFromMiddle(0).rc), CMPI_RC_ERR_INVALID_NAMESPACE);
  EXPECT_EQ(g_calls, 0);
}

TEST_F(CmpiMacros, ReturnWithCharsMakesTheMessageThroughTheBroker) {
  const char *text = "no such class";
  CMPIStatus r = ReturnWithChars(mb, text);
  CHECK_CALL(kEnc, 4, P(mb), P(text), P(nullptr));
  EXPECT_EQ(Val(r.rc), CMPI_RC_ERR_INVALID_CLASS);
  EXPECT_EQ(static_cast<void *>(r.msg), static_cast<void *>(&g_returned[0]));
  Reset();
  r = ReturnWithChars(nullptr, text);
  EXPECT_EQ(Val(r.rc), CMPI_RC_ERR_INVALID_CLASS);
  EXPECT_EQ(Val(r.msg), nullptr);
  EXPECT_EQ(g_calls, 0);
}

}  // namespace

// ---- provider stubs ---------------------------------------------------------------------------
//
// One MI of each kind, all with the prefix Tst, as a provider library would write them.

namespace {

int g_hookRuns = 0;
const CMPIBroker *g_hookBroker = nullptr;
const CMPIContext *g_hookContext = nullptr;

void RecordHook(const CMPIBroker *b, const CMPIContext *c) {
  ++g_hookRuns;
  g_hookBroker = b;
  g_hookContext = c;
}

CMPIStatus Ok() {
  CMPIStatus s = {CMPI_RC_OK, nullptr};
  return s;
}

// Instance MI functions.
CMPIStatus TstCleanup(CMPIInstanceMI *, const CMPIContext *, CMPIBoolean) { return Ok(); }
CMPIStatus TstEnumInstanceNames(CMPIInstanceMI *, const CMPIContext *, const CMPIResult *,
                                const CMPIObjectPath *) {
  return Ok();
}
CMPIStatus TstEnumInstances(CMPIInstanceMI *, const CMPIContext *, const CMPIResult *,
                            const CMPIObjectPath *, const char **) {
  return Ok();
}
CMPIStatus TstGetInstance(CMPIInstanceMI *, const CMPIContext *, const CMPIResult *,
                          const CMPIObjectPath *, const char **) {
  return Ok();
}
CMPIStatus TstCreateInstance(CMPIInstanceMI *, const CMPIContext *, const CMPIResult *,
                             const CMPIObjectPath *, const CMPIInstance *) {
  return Ok();
}
CMPIStatus TstModifyInstance(CMPIInstanceMI *, const CMPIContext *, const CMPIResult *,
                             const CMPIObjectPath *, const CMPIInstance *, const char **) {
  return Ok();
}
CMPIStatus TstDeleteInstance(CMPIInstanceMI *, const CMPIContext *, const CMPIResult *,
                             const CMPIObjectPath *) {
  return Ok();
}
CMPIStatus TstExecQuery(CMPIInstanceMI *, const CMPIContext *, const CMPIResult *,
                        const CMPIObjectPath *, const char *, const char *) {
  return Ok();
}

// Method MI functions.
CMPIStatus TstMethodCleanup(CMPIMethodMI *, const CMPIContext *, CMPIBoolean) { return Ok(); }
CMPIStatus TstInvokeMethod(CMPIMethodMI *, const CMPIContext *, const CMPIResult *,
                           const CMPIObjectPath *, const char *, const CMPIArgs *, CMPIArgs *) {
  return Ok();
}

// Association MI functions.
CMPIStatus TstAssociationCleanup(CMPIAssociationMI *, const CMPIContext *, CMPIBoolean) {
  return Ok();
}
CMPIStatus TstAssociators(CMPIAssociationMI *, const CMPIContext *, const CMPIResult *,
                          const CMPIObjectPath *, const char *, const char *, const char *,
                          const char *, const char **) {
  return Ok();
}
CMPIStatus TstAssociatorNames(CMPIAssociationMI *, const CMPIContext *, const CMPIResult *,
                              const CMPIObjectPath *, const char *, const char *, const char *,
                              const char *) {
  return Ok();
}
CMPIStatus TstReferences(CMPIAssociationMI *, const CMPIContext *, const CMPIResult *,
                         const CMPIObjectPath *, const char *, const char *, const char **) {
  return Ok();
}
CMPIStatus TstReferenceNames(CMPIAssociationMI *, const CMPIContext *, const CMPIResult *,
                             const CMPIObjectPath *, const char *, const char *) {
  return Ok();
}

// Property MI functions.
CMPIStatus TstPropertyCleanup(CMPIPropertyMI *, const CMPIContext *, CMPIBoolean) { return Ok(); }
CMPIStatus TstSetProperty(CMPIPropertyMI *, const CMPIContext *, const CMPIResult *,
                          const CMPIObjectPath *, const char *, const CMPIData) {
  return Ok();
}
CMPIStatus TstGetProperty(CMPIPropertyMI *, const CMPIContext *, const CMPIResult *,
                          const CMPIObjectPath *, const char *) {
  return Ok();
}

// Indication MI functions.
CMPIStatus TstIndicationCleanup(CMPIIndicationMI *, const CMPIContext *, CMPIBoolean) {
  return Ok();
}
CMPIStatus TstAuthorizeFilter(CMPIIndicationMI *, const CMPIContext *, const CMPISelectExp *,
                              const char *, const CMPIObjectPath *, const char *) {
  return Ok();
}
CMPIStatus TstMustPoll(CMPIIndicationMI *, const CMPIContext *, const CMPISelectExp *,
                       const char *, const CMPIObjectPath *) {
  return Ok();
}
CMPIStatus TstActivateFilter(CMPIIndicationMI *, const CMPIContext *, const CMPISelectExp *,
                             const char *, const CMPIObjectPath *, CMPIBoolean) {
  return Ok();
}
CMPIStatus TstDeActivateFilter(CMPIIndicationMI *, const CMPIContext *, const CMPISelectExp *,
                               const char *, const CMPIObjectPath *, CMPIBoolean) {
  return Ok();
}
CMPIStatus TstEnableIndications(CMPIIndicationMI *, const CMPIContext *) { return Ok(); }
CMPIStatus TstDisableIndications(CMPIIndicationMI *, const CMPIContext *) { return Ok(); }

// Each kind stores its broker in its own variable, so each test sees its own factory's store.
const CMPIBroker *g_instanceBroker = nullptr;
const CMPIBroker *g_methodBroker = nullptr;
const CMPIBroker *g_associationBroker = nullptr;
const CMPIBroker *g_propertyBroker = nullptr;
const CMPIBroker *g_indicationBroker = nullptr;

}  // namespace

CMInstanceMIStub(Tst, TstProvider, g_instanceBroker, RecordHook(brkr, ctx))
CMMethodMIStub(Tst, TstProvider, g_methodBroker, CMNoHook)
CMAssociationMIStub(Tst, TstProvider, g_associationBroker, RecordHook(brkr, ctx))
CMPropertyMIStub(Tst, TstProvider, g_propertyBroker, RecordHook(brkr, ctx))
CMIndicationMIStub(Tst, TstProvider, g_indicationBroker, RecordHook(brkr, ctx))

namespace {

class CmpiMIStubs : public ::testing::Test {
 protected:
  void SetUp() override {
    g_hookRuns = 0;
    g_hookBroker = nullptr;
    g_hookContext = nullptr;
  }
  int handle = 1;
  CMPIBroker broker = {&handle, &g_bft, &g_eft, nullptr, nullptr};
  CMPIContext context = {&handle, &g_contextFT};
  CMPIStatus st = {CMPI_RC_ERR_FAILED, reinterpret_cast<CMPIString *>(&handle)};

  void ExpectHookRanOnce() {
    EXPECT_EQ(g_hookRuns, 1);
    EXPECT_EQ(g_hookBroker, &broker);
    EXPECT_EQ(g_hookContext, &context);
  }
  void ExpectStatusOk() {
    EXPECT_EQ(Val(st.rc), CMPI_RC_OK);
    EXPECT_EQ(Val(st.msg), nullptr);
  }
};

TEST_F(CmpiMIStubs, InstanceFactory) {
  CMPIInstanceMI *mi = TstProvider_Create_InstanceMI(&broker, &context, &st);
  ASSERT_NE(mi, nullptr);
  ExpectStatusOk();
  ExpectHookRanOnce();
  EXPECT_EQ(g_instanceBroker, &broker);
  EXPECT_EQ(Val(mi->hdl), nullptr);
  const CMPIInstanceMIFT *ft = mi->ft;
  ASSERT_NE(ft, nullptr);
  EXPECT_EQ(Val(ft->ftVersion), CMPICurrentVersion);
  EXPECT_EQ(Val(ft->miVersion), CMPICurrentVersion);
  EXPECT_STREQ(ft->miName, "instanceTstProvider");
  EXPECT_EQ(Val(ft->cleanup), &TstCleanup);
  EXPECT_EQ(Val(ft->enumerateInstanceNames), &TstEnumInstanceNames);
  EXPECT_EQ(Val(ft->enumerateInstances), &TstEnumInstances);
  EXPECT_EQ(Val(ft->getInstance), &TstGetInstance);
  EXPECT_EQ(Val(ft->createInstance), &TstCreateInstance);
  EXPECT_EQ(Val(ft->modifyInstance), &TstModifyInstance);
  EXPECT_EQ(Val(ft->deleteInstance), &TstDeleteInstance);
  EXPECT_EQ(Val(ft->execQuery), &TstExecQuery);
  // The MI object is static: a second call hands out the same one.
  EXPECT_EQ(TstProvider_Create_InstanceMI(&broker, &context, nullptr), mi);
  EXPECT_EQ(g_hookRuns, 2);
}

TEST_F(CmpiMIStubs, MethodFactoryWithoutHook) {
  CMPIMethodMI *mi = TstProvider_Create_MethodMI(&broker, &context, &st);
  ASSERT_NE(mi, nullptr);
  ExpectStatusOk();
  EXPECT_EQ(g_hookRuns, 0);
  EXPECT_EQ(g_methodBroker, &broker);
  EXPECT_EQ(Val(mi->hdl), nullptr);
  const CMPIMethodMIFT *ft = mi->ft;
  ASSERT_NE(ft, nullptr);
  EXPECT_EQ(Val(ft->ftVersion), CMPICurrentVersion);
  EXPECT_EQ(Val(ft->miVersion), CMPICurrentVersion);
  EXPECT_STREQ(ft->miName, "methodTstProvider");
  EXPECT_EQ(Val(ft->cleanup), &TstMethodCleanup);
  EXPECT_EQ(Val(ft->invokeMethod), &TstInvokeMethod);
  EXPECT_EQ(TstProvider_Create_MethodMI(&broker, nullptr, nullptr), mi);
}

TEST_F(CmpiMIStubs, AssociationFactory) {
  CMPIAssociationMI *mi = TstProvider_Create_AssociationMI(&broker, &context, &st);
  ASSERT_NE(mi, nullptr);
  ExpectStatusOk();
  ExpectHookRanOnce();
  EXPECT_EQ(g_associationBroker, &broker);
  EXPECT_EQ(Val(mi->hdl), nullptr);
  const CMPIAssociationMIFT *ft = mi->ft;
  ASSERT_NE(ft, nullptr);
  EXPECT_EQ(Val(ft->ftVersion), CMPICurrentVersion);
  EXPECT_EQ(Val(ft->miVersion), CMPICurrentVersion);
  EXPECT_STREQ(ft->miName, "associationTstProvider");
  EXPECT_EQ(Val(ft->cleanup), &TstAssociationCleanup);
  EXPECT_EQ(Val(ft->associators), &TstAssociators);
  EXPECT_EQ(Val(ft->associatorNames), &TstAssociatorNames);
  EXPECT_EQ(Val(ft->references), &TstReferences);
  EXPECT_EQ(Val(ft->referenceNames), &TstReferenceNames);
}

TEST_F(CmpiMIStubs, PropertyFactory) {
  CMPIPropertyMI *mi = TstProvider_Create_PropertyMI(&broker, &context, &st);
  ASSERT_NE(mi, nullptr);
  ExpectStatusOk();
  ExpectHookRanOnce();
  EXPECT_EQ(g_propertyBroker, &broker);
  EXPECT_EQ(Val(mi->hdl), nullptr);
  const CMPIPropertyMIFT *ft = mi->ft;
  ASSERT_NE(ft, nullptr);
  EXPECT_EQ(Val(ft->ftVersion), CMPICurrentVersion);
  EXPECT_EQ(Val(ft->miVersion), CMPICurrentVersion);
  EXPECT_STREQ(ft->miName, "propertyTstProvider");
  EXPECT_EQ(Val(ft->cleanup), &TstPropertyCleanup);
  EXPECT_EQ(Val(ft->setProperty), &TstSetProperty);
  EXPECT_EQ(Val(ft->getProperty), &TstGetProperty);
  EXPECT_EQ(Val(ft->setPropertyWithOrigin), nullptr);
}

TEST_F(CmpiMIStubs, IndicationFactoryIncludesEnableAndDisable) {
  CMPIIndicationMI *mi = TstProvider_Create_IndicationMI(&broker, &context, &st);
  ASSERT_NE(mi, nullptr);
  ExpectStatusOk();
  ExpectHookRanOnce();
  EXPECT_EQ(g_indicationBroker, &broker);
  EXPECT_EQ(Val(mi->hdl), nullptr);
  const CMPIIndicationMIFT *ft = mi->ft;
  ASSERT_NE(ft, nullptr);
  EXPECT_EQ(Val(ft->ftVersion), CMPICurrentVersion);
  EXPECT_EQ(Val(ft->miVersion), CMPICurrentVersion);
  EXPECT_STREQ(ft->miName, "IndicationTstProvider");
  EXPECT_EQ(Val(ft->cleanup), &TstIndicationCleanup);
  EXPECT_EQ(Val(ft->authorizeFilter), &TstAuthorizeFilter);
  EXPECT_EQ(Val(ft->mustPoll), &TstMustPoll);
  EXPECT_EQ(Val(ft->activateFilter), &TstActivateFilter);
  EXPECT_EQ(Val(ft->deActivateFilter), &TstDeActivateFilter);
  EXPECT_EQ(Val(ft->enableIndications), &TstEnableIndications);
  EXPECT_EQ(Val(ft->disableIndications), &TstDisableIndications);
}

TEST_F(CmpiMIStubs, NullStatusIsAccepted) {
  EXPECT_NE(TstProvider_Create_AssociationMI(&broker, &context, nullptr), nullptr);
  EXPECT_NE(TstProvider_Create_PropertyMI(&broker, &context, nullptr), nullptr);
  EXPECT_NE(TstProvider_Create_IndicationMI(&broker, &context, nullptr), nullptr);
  EXPECT_EQ(g_hookRuns, 3);
}

// The factories have the shapes a host looks up.
TEST_F(CmpiMIStubs, FactoriesMatchTheFactoryShapes) {
  CMPIInstanceMIFactory i = &TstProvider_Create_InstanceMI;
  CMPIMethodMIFactory m = &TstProvider_Create_MethodMI;
  CMPIAssociationMIFactory a = &TstProvider_Create_AssociationMI;
  CMPIPropertyMIFactory p = &TstProvider_Create_PropertyMI;
  CMPIIndicationMIFactory n = &TstProvider_Create_IndicationMI;
  EXPECT_NE(i(&broker, &context, &st), nullptr);
  EXPECT_NE(m(&broker, &context, &st), nullptr);
  EXPECT_NE(a(&broker, &context, &st), nullptr);
  EXPECT_NE(p(&broker, &context, &st), nullptr);
  EXPECT_NE(n(&broker, &context, &st), nullptr);
  ExpectStatusOk();
}

}  // namespace
