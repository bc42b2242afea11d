// array_test.cpp - CMPIArray: makeNewCMPIArray and every ArrayFT slot, for every element type.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>

#include "cmpiinterface.h"
#include "cmpipropertylook.h"
#include "objects.h"
#include "value_sweep.h"

namespace {

using namespace cmpitest;

CMPIStatus set_at(CMPIArray *a, CMPICount i, const void *value, CMPIType type) {
  return a->ft->setElementAt(a, i, static_cast<const CMPIValue *>(value), type);
}

// ---- creation ---------------------------------------------------------------------------------

TEST(MakeNewCMPIArray, EveryElementStartsNullWithTheElementType) {
  CMPIStatus rc;
  CMPIArray *a = makeNewCMPIArray(3, CMPI_uint32, &rc);
  ASSERT_NE(a, nullptr);
  EXPECT_EQ(rc.rc, CMPI_RC_OK);
  EXPECT_NE(a->hdl, nullptr);
  EXPECT_EQ(a->ft, cmpi::array_table());
  EXPECT_EQ(a->ft->getSize(a, &rc), 3u);
  EXPECT_EQ(rc.rc, CMPI_RC_OK);
  EXPECT_EQ(a->ft->getSimpleType(a, &rc), CMPI_uint32);
  EXPECT_EQ(rc.rc, CMPI_RC_OK);
  for (CMPICount i = 0; i < 3; ++i) {
    const CMPIData d = a->ft->getElementAt(a, i, &rc);
    EXPECT_EQ(rc.rc, CMPI_RC_OK);
    EXPECT_EQ(d.type, CMPI_uint32);
    EXPECT_EQ(d.state, CMPI_nullValue);
  }
  EXPECT_EQ(a->ft->release(a).rc, CMPI_RC_OK);
}

TEST(MakeNewCMPIArray, ArrayFlagIsIgnoredAndCharsBecomeString) {
  CMPIArray *a = makeNewCMPIArray(1, CMPI_sint16A, nullptr);
  ASSERT_NE(a, nullptr);
  EXPECT_EQ(a->ft->getSimpleType(a, nullptr), CMPI_sint16);
  a->ft->release(a);
  for (CMPIType t : {CMPI_chars, CMPI_charsA, CMPI_charsptr}) {
    a = makeNewCMPIArray(1, t, nullptr);
    ASSERT_NE(a, nullptr);
    EXPECT_EQ(a->ft->getSimpleType(a, nullptr), CMPI_string);
    EXPECT_EQ(a->ft->getElementAt(a, 0, nullptr).type, CMPI_string);
    a->ft->release(a);
  }
}

TEST(MakeNewCMPIArray, EmptyArrayAndRcNull) {
  CMPIArray *a = makeNewCMPIArray(0, CMPI_string, nullptr);
  ASSERT_NE(a, nullptr);
  EXPECT_EQ(a->ft->getSize(a, nullptr), 0u);
  a->ft->release(a);
}

TEST(MakeNewCMPIArray, UnsupportedElementTypeIsInvalidDataType) {
  for (CMPIType t : {CMPIType(CMPI_args), CMPIType(CMPI_enumeration), CMPIType(CMPI_ptr),
                     CMPIType(CMPI_class), CMPIType(CMPI_filter), CMPIType(9999)}) {
    CMPIStatus rc;
    EXPECT_EQ(makeNewCMPIArray(1, t, &rc), nullptr) << t;
    EXPECT_EQ(rc.rc, CMPI_RC_ERR_INVALID_DATA_TYPE) << t;
    EXPECT_EQ(makeNewCMPIArray(1, t, nullptr), nullptr);
  }
}

// ---- scalars of every width -------------------------------------------------------------------

template <typename T>
void check_scalar(CMPIType type, T first, T second) {
  CMPIStatus rc;
  CMPIArray *a = makeNewCMPIArray(2, type, &rc);
  ASSERT_NE(a, nullptr) << type;
  EXPECT_EQ(set_at(a, 0, &first, type).rc, CMPI_RC_OK) << type;
  EXPECT_EQ(set_at(a, 1, &second, type).rc, CMPI_RC_OK) << type;
  CMPIData d0 = a->ft->getElementAt(a, 0, &rc);
  EXPECT_EQ(rc.rc, CMPI_RC_OK);
  CMPIData d1 = a->ft->getElementAt(a, 1, &rc);
  EXPECT_EQ(d0.type, type);
  EXPECT_EQ(d0.state, CMPI_goodValue);
  EXPECT_EQ(d1.type, type);
  T v0;
  T v1;
  std::memcpy(&v0, &d0.value, sizeof(T));
  std::memcpy(&v1, &d1.value, sizeof(T));
  EXPECT_EQ(v0, first) << type;
  EXPECT_EQ(v1, second) << type;
  a->ft->release(a);
}

TEST(ArrayScalars, EveryScalarType) {
  check_scalar<CMPIBoolean>(CMPI_boolean, 1, 0);
  check_scalar<CMPIChar16>(CMPI_char16, 'A', 0x263A);
  check_scalar<CMPIReal32>(CMPI_real32, 0.5f, -1.25f);
  check_scalar<CMPIReal64>(CMPI_real64, 1e300, -0.1);
  check_scalar<CMPIUint8>(CMPI_uint8, 0, 255);
  check_scalar<CMPIUint16>(CMPI_uint16, 1, 65535);
  check_scalar<CMPIUint32>(CMPI_uint32, 7, 4294967295u);
  check_scalar<CMPIUint64>(CMPI_uint64, 1, 18446744073709551615ull);
  check_scalar<CMPISint8>(CMPI_sint8, -128, 127);
  check_scalar<CMPISint16>(CMPI_sint16, -32768, 32767);
  check_scalar<CMPISint32>(CMPI_sint32, -5, 2147483647);
  check_scalar<CMPISint64>(CMPI_sint64, -9223372036854775807ll - 1, 9223372036854775807ll);
}

TEST(ArrayScalars, OtherScalarTypeIsTypeMismatch) {
  CMPIArray *a = makeNewCMPIArray(1, CMPI_uint16, nullptr);
  CMPIUint32 u32 = 1;
  CMPISint16 s16 = 1;
  EXPECT_EQ(set_at(a, 0, &u32, CMPI_uint32).rc, CMPI_RC_ERR_TYPE_MISMATCH);
  EXPECT_EQ(set_at(a, 0, &s16, CMPI_sint16).rc, CMPI_RC_ERR_TYPE_MISMATCH);
  EXPECT_EQ(set_at(a, 0, "1", CMPI_chars).rc, CMPI_RC_ERR_TYPE_MISMATCH);
  EXPECT_EQ(set_at(a, 1, &u32, CMPI_uint32).rc, CMPI_RC_ERR_TYPE_MISMATCH);  // no append either
  EXPECT_EQ(a->ft->getSize(a, nullptr), 1u);
  EXPECT_EQ(a->ft->getElementAt(a, 0, nullptr).state, CMPI_nullValue);
  a->ft->release(a);
}

TEST(ArrayScalars, ArrayValueIntoAnArrayIsTypeMismatch) {
  CMPIArray *a = makeNewCMPIArray(1, CMPI_uint32, nullptr);
  CMPIArray *inner = makeNewCMPIArray(1, CMPI_uint32, nullptr);
  CMPIValue v;
  v.array = inner;
  EXPECT_EQ(a->ft->setElementAt(a, 0, &v, CMPI_uint32A).rc, CMPI_RC_ERR_TYPE_MISMATCH);
  inner->ft->release(inner);
  a->ft->release(a);
}

// ---- strings and the text family --------------------------------------------------------------

TEST(ArrayText, StringElementsAreClonedCopies) {
  CMPIArray *a = makeNewCMPIArray(1, CMPI_string, nullptr);
  CMPIString *s = CreateString("alpha", nullptr);
  CMPIValue v;
  v.string = s;
  EXPECT_EQ(a->ft->setElementAt(a, 0, &v, CMPI_string).rc, CMPI_RC_OK);
  s->ft->release(s);  // the array holds its own copy
  CMPIData d = a->ft->getElementAt(a, 0, nullptr);
  EXPECT_EQ(d.type, CMPI_string);
  EXPECT_EQ(d.state, CMPI_goodValue);
  EXPECT_EQ(text_of(d.value.string), "alpha");
  CMPIData again = a->ft->getElementAt(a, 0, nullptr);
  EXPECT_NE(val(again.value.string), val(d.value.string));  // every get is a new copy
  release_data(&d);
  release_data(&again);
  a->ft->release(a);
}

TEST(ArrayText, CharsAndCharsPtrGoIntoStringArraysAsStrings) {
  CMPIArray *a = makeNewCMPIArray(0, CMPI_string, nullptr);
  char buffer[] = "by-pointer";
  char *p = buffer;
  EXPECT_EQ(set_at(a, 0, "chars", CMPI_chars).rc, CMPI_RC_OK);
  EXPECT_EQ(set_at(a, 1, &p, CMPI_charsptr).rc, CMPI_RC_OK);
  buffer[0] = 'X';
  ASSERT_EQ(a->ft->getSize(a, nullptr), 2u);
  CMPIData d0 = a->ft->getElementAt(a, 0, nullptr);
  CMPIData d1 = a->ft->getElementAt(a, 1, nullptr);
  EXPECT_EQ(d0.type, CMPI_string);
  EXPECT_EQ(text_of(d0.value.string), "chars");
  EXPECT_EQ(d1.type, CMPI_string);
  EXPECT_EQ(text_of(d1.value.string), "by-pointer");
  release_data(&d0);
  release_data(&d1);
  a->ft->release(a);
}

TEST(ArrayText, ArrayMadeWithCharsTakesStringsAndChars) {
  CMPIArray *a = makeNewCMPIArray(0, CMPI_chars, nullptr);
  CMPIString *s = CreateString("s", nullptr);
  CMPIValue v;
  v.string = s;
  EXPECT_EQ(set_at(a, 0, "c", CMPI_chars).rc, CMPI_RC_OK);
  EXPECT_EQ(a->ft->setElementAt(a, 1, &v, CMPI_string).rc, CMPI_RC_OK);
  s->ft->release(s);
  CMPIData d = a->ft->getElementAt(a, 1, nullptr);
  EXPECT_EQ(d.type, CMPI_string);
  EXPECT_EQ(text_of(d.value.string), "s");
  release_data(&d);
  a->ft->release(a);
}

TEST(ArrayText, OtherTextCodesKeepTheirCode) {
  for (CMPIType t : {CMPI_booleanString, CMPI_numericString, CMPI_dateTimeString}) {
    CMPIArray *a = makeNewCMPIArray(0, t, nullptr);
    ASSERT_NE(a, nullptr) << t;
    EXPECT_EQ(a->ft->getSimpleType(a, nullptr), t);
    CMPIString *s = CreateString("TRUE", nullptr);
    CMPIValue v;
    v.string = s;
    EXPECT_EQ(set_at(a, 0, "chars", CMPI_chars).rc, CMPI_RC_OK);
    EXPECT_EQ(a->ft->setElementAt(a, 1, &v, CMPI_string).rc, CMPI_RC_OK);
    EXPECT_EQ(a->ft->setElementAt(a, 2, &v, t).rc, CMPI_RC_OK);
    s->ft->release(s);
    const char *expected[] = {"chars", "TRUE", "TRUE"};
    for (CMPICount i = 0; i < 3; ++i) {
      CMPIData d = a->ft->getElementAt(a, i, nullptr);
      EXPECT_EQ(d.type, t);
      EXPECT_EQ(d.state, CMPI_goodValue);
      EXPECT_EQ(text_of(d.value.string), expected[i]);
      release_data(&d);
    }
    a->ft->release(a);
  }
}

TEST(ArrayText, StringArrayTakesTheOtherTextCodes) {
  CMPIArray *a = makeNewCMPIArray(0, CMPI_string, nullptr);
  CMPIString *s = CreateString("42", nullptr);
  CMPIValue v;
  v.string = s;
  EXPECT_EQ(a->ft->setElementAt(a, 0, &v, CMPI_numericString).rc, CMPI_RC_OK);
  s->ft->release(s);
  CMPIData d = a->ft->getElementAt(a, 0, nullptr);
  EXPECT_EQ(d.type, CMPI_string);
  EXPECT_EQ(text_of(d.value.string), "42");
  release_data(&d);
  a->ft->release(a);
}

TEST(ArrayText, NonTextIntoStringArrayIsTypeMismatch) {
  CMPIArray *a = makeNewCMPIArray(1, CMPI_string, nullptr);
  CMPIUint8 x = 1;
  EXPECT_EQ(set_at(a, 0, &x, CMPI_uint8).rc, CMPI_RC_ERR_TYPE_MISMATCH);
  CMPIDateTime *dt = makeNewCMPIDateTimeFromChars("20000101000000.000000+000", nullptr);
  CMPIValue v;
  v.dateTime = dt;
  EXPECT_EQ(a->ft->setElementAt(a, 0, &v, CMPI_dateTime).rc, CMPI_RC_ERR_TYPE_MISMATCH);
  dt->ft->release(dt);
  a->ft->release(a);
}

// ---- date-times, instances, references --------------------------------------------------------

TEST(ArrayObjects, DateTimes) {
  CMPIArray *a = makeNewCMPIArray(1, CMPI_dateTime, nullptr);
  CMPIDateTime *dt = makeNewCMPIDateTimeFromChars("20240229235959.999999-030", nullptr);
  CMPIValue v;
  v.dateTime = dt;
  EXPECT_EQ(a->ft->setElementAt(a, 0, &v, CMPI_dateTime).rc, CMPI_RC_OK);
  dt->ft->release(dt);
  CMPIData d = a->ft->getElementAt(a, 0, nullptr);
  EXPECT_EQ(d.type, CMPI_dateTime);
  EXPECT_EQ(d.state, CMPI_goodValue);
  CMPIDateTime *got = val(d.value.dateTime);
  CMPIString *s = got->ft->getStringFormat(got, nullptr);
  EXPECT_EQ(text_of(s), "20240229235959.999999-030");
  s->ft->release(s);
  release_data(&d);
  EXPECT_EQ(set_at(a, 0, "20240229235959.999999-030", CMPI_chars).rc, CMPI_RC_ERR_TYPE_MISMATCH);
  a->ft->release(a);
}

TEST(ArrayObjects, Instances) {
  CMPIObjectPath *op = makeNewObjectPath("root/cimv2", "Demo_Fan", nullptr);
  CMPIInstance *inst = makeNewCMPIInstance(op, nullptr);
  ASSERT_NE(inst, nullptr);
  inst->ft->setProperty(inst, "Name", reinterpret_cast<const CMPIValue *>("fan0"), CMPI_chars);
  CMPIArray *a = makeNewCMPIArray(0, CMPI_instance, nullptr);
  CMPIValue v;
  v.inst = inst;
  EXPECT_EQ(a->ft->setElementAt(a, 0, &v, CMPI_instance).rc, CMPI_RC_OK);
  inst->ft->release(inst);
  CMPIData d = a->ft->getElementAt(a, 0, nullptr);
  EXPECT_EQ(d.type, CMPI_instance);
  EXPECT_EQ(d.state, CMPI_goodValue);
  CMPIInstance *got = val(d.value.inst);
  CMPIData name = got->ft->getProperty(got, "Name", nullptr);
  EXPECT_EQ(name.type, CMPI_string);
  EXPECT_EQ(text_of(name.value.string), "fan0");
  release_data(&name);
  release_data(&d);
  v.ref = op;
  EXPECT_EQ(a->ft->setElementAt(a, 1, &v, CMPI_ref).rc, CMPI_RC_ERR_TYPE_MISMATCH);
  op->ft->release(op);
  a->ft->release(a);
}

TEST(ArrayObjects, References) {
  CMPIObjectPath *op = makeNewObjectPath("root/cimv2", "Demo_Fan", nullptr);
  CMPIUint32 id = 7;
  op->ft->addKey(op, "ID", reinterpret_cast<const CMPIValue *>(&id), CMPI_uint32);
  CMPIArray *a = makeNewCMPIArray(0, CMPI_refA, nullptr);
  EXPECT_EQ(a->ft->getSimpleType(a, nullptr), CMPI_ref);
  CMPIValue v;
  v.ref = op;
  EXPECT_EQ(a->ft->setElementAt(a, 0, &v, CMPI_ref).rc, CMPI_RC_OK);
  op->ft->release(op);
  CMPIData d = a->ft->getElementAt(a, 0, nullptr);
  EXPECT_EQ(d.type, CMPI_ref);
  CMPIObjectPath *got = val(d.value.ref);
  CMPIString *s = got->ft->toString(got, nullptr);
  EXPECT_EQ(text_of(s), "root/cimv2:Demo_Fan.ID=7");
  s->ft->release(s);
  release_data(&d);
  a->ft->release(a);
}

// ---- growing, indexes and null elements ---------------------------------------------------------

TEST(ArrayGrow, SetAtSizeAppendsOneElement) {
  CMPIArray *a = makeNewCMPIArray(0, CMPI_sint32, nullptr);
  for (CMPISint32 i = 0; i < 5; ++i) {
    const CMPICount size = a->ft->getSize(a, nullptr);
    EXPECT_EQ(size, static_cast<CMPICount>(i));
    EXPECT_EQ(set_at(a, size, &i, CMPI_sint32).rc, CMPI_RC_OK);
  }
  EXPECT_EQ(a->ft->getSize(a, nullptr), 5u);
  for (CMPICount i = 0; i < 5; ++i) {
    EXPECT_EQ(val(a->ft->getElementAt(a, i, nullptr).value.sint32), static_cast<CMPISint32>(i));
  }
  a->ft->release(a);
}

TEST(ArrayGrow, IndexBeyondSizeIsNoSuchProperty) {
  CMPIArray *a = makeNewCMPIArray(2, CMPI_uint8, nullptr);
  CMPIUint8 x = 1;
  EXPECT_EQ(set_at(a, 3, &x, CMPI_uint8).rc, CMPI_RC_ERR_NO_SUCH_PROPERTY);
  EXPECT_EQ(set_at(a, 100, nullptr, CMPI_null).rc, CMPI_RC_ERR_NO_SUCH_PROPERTY);
  EXPECT_EQ(a->ft->getSize(a, nullptr), 2u);
  a->ft->release(a);
}

TEST(ArrayGrow, GetPastTheEndIsNoSuchPropertyAndNotFound) {
  CMPIArray *a = makeNewCMPIArray(2, CMPI_uint8, nullptr);
  CMPIStatus rc;
  CMPIData d = a->ft->getElementAt(a, 2, &rc);
  EXPECT_EQ(rc.rc, CMPI_RC_ERR_NO_SUCH_PROPERTY);
  EXPECT_EQ(d.type, CMPI_null);
  EXPECT_EQ(d.state, CMPI_nullValue | CMPI_notFound);
  d = a->ft->getElementAt(a, 0xFFFFFFFFu, nullptr);
  EXPECT_EQ(d.state, CMPI_nullValue | CMPI_notFound);
  a->ft->release(a);
}

TEST(ArrayNull, NullValueOrTypeNullMakesTheElementNull) {
  CMPIArray *a = makeNewCMPIArray(0, CMPI_string, nullptr);
  ASSERT_EQ(set_at(a, 0, "x", CMPI_chars).rc, CMPI_RC_OK);
  ASSERT_EQ(set_at(a, 1, "y", CMPI_chars).rc, CMPI_RC_OK);
  EXPECT_EQ(set_at(a, 0, nullptr, CMPI_string).rc, CMPI_RC_OK);  // releases "x"
  EXPECT_EQ(set_at(a, 1, "ignored", CMPI_null).rc, CMPI_RC_OK);  // releases "y"
  EXPECT_EQ(set_at(a, 2, nullptr, CMPI_null).rc, CMPI_RC_OK);     // appends a null element
  ASSERT_EQ(a->ft->getSize(a, nullptr), 3u);
  for (CMPICount i = 0; i < 3; ++i) {
    const CMPIData d = a->ft->getElementAt(a, i, nullptr);
    EXPECT_EQ(d.type, CMPI_string);
    EXPECT_EQ(d.state, CMPI_nullValue);
  }
  a->ft->release(a);
}

TEST(ArrayNull, NullEncapsulatedPointerMakesTheElementNull) {
  CMPIArray *a = makeNewCMPIArray(1, CMPI_instance, nullptr);
  CMPIValue v;
  v.inst = nullptr;
  EXPECT_EQ(a->ft->setElementAt(a, 0, &v, CMPI_instance).rc, CMPI_RC_OK);
  EXPECT_EQ(a->ft->getElementAt(a, 0, nullptr).state, CMPI_nullValue);
  a->ft->release(a);
}

TEST(ArrayNull, ReplacingReleasesTheOldElement) {
  CMPIArray *a = makeNewCMPIArray(1, CMPI_dateTime, nullptr);
  for (const char *t : {"20000101000000.000000+000", "20010101000000.000000+000"}) {
    CMPIDateTime *dt = makeNewCMPIDateTimeFromChars(t, nullptr);
    CMPIValue v;
    v.dateTime = dt;
    EXPECT_EQ(a->ft->setElementAt(a, 0, &v, CMPI_dateTime).rc, CMPI_RC_OK);
    dt->ft->release(dt);
  }
  CMPIData d = a->ft->getElementAt(a, 0, nullptr);
  EXPECT_EQ(cmpi::datetime_table()->getBinaryFormat(val(d.value.dateTime), nullptr),
            978307200000000ull);
  release_data(&d);
  a->ft->release(a);  // the leak check proves the first date-time was released
}

// ---- untyped arrays ---------------------------------------------------------------------------

TEST(ArrayUntyped, FirstTypedElementFixesTheType) {
  CMPIArray *a = makeNewCMPIArray(1, CMPI_null, nullptr);
  ASSERT_NE(a, nullptr);
  EXPECT_EQ(a->ft->getSimpleType(a, nullptr), CMPI_null);
  EXPECT_EQ(set_at(a, 1, nullptr, CMPI_null).rc, CMPI_RC_OK);  // still untyped
  EXPECT_EQ(a->ft->getSimpleType(a, nullptr), CMPI_null);
  EXPECT_EQ(set_at(a, 2, "text", CMPI_chars).rc, CMPI_RC_OK);
  EXPECT_EQ(a->ft->getSimpleType(a, nullptr), CMPI_string);
  for (CMPICount i = 0; i < 2; ++i) {
    const CMPIData d = a->ft->getElementAt(a, i, nullptr);
    EXPECT_EQ(d.type, CMPI_string);  // the earlier null elements take the type too
    EXPECT_EQ(d.state, CMPI_nullValue);
  }
  CMPIUint8 x = 1;
  EXPECT_EQ(set_at(a, 3, &x, CMPI_uint8).rc, CMPI_RC_ERR_TYPE_MISMATCH);
  a->ft->release(a);
}

TEST(ArrayUntyped, NullValueWithATypeFixesTheType) {
  CMPIArray *a = makeNewCMPIArray(0, CMPI_null, nullptr);
  EXPECT_EQ(set_at(a, 0, nullptr, CMPI_uint64).rc, CMPI_RC_OK);
  EXPECT_EQ(a->ft->getSimpleType(a, nullptr), CMPI_uint64);
  a->ft->release(a);
}

TEST(ArrayUntyped, ArrayOrUnsupportedTypeIsInvalidDataType) {
  CMPIArray *a = makeNewCMPIArray(0, CMPI_null, nullptr);
  CMPIArgs *args = makeNewCMPIArgs(nullptr);
  CMPIValue v;
  v.args = args;
  EXPECT_EQ(a->ft->setElementAt(a, 0, &v, CMPI_args).rc, CMPI_RC_ERR_INVALID_DATA_TYPE);
  EXPECT_EQ(a->ft->setElementAt(a, 0, &v, CMPI_uint32A).rc, CMPI_RC_ERR_INVALID_DATA_TYPE);
  EXPECT_EQ(a->ft->getSize(a, nullptr), 0u);
  EXPECT_EQ(a->ft->getSimpleType(a, nullptr), CMPI_null);
  args->ft->release(args);
  a->ft->release(a);
}

// ---- clone ------------------------------------------------------------------------------------

TEST(ArrayClone, DeepAndIndependent) {
  CMPIArray *a = makeNewCMPIArray(0, CMPI_string, nullptr);
  set_at(a, 0, "one", CMPI_chars);
  set_at(a, 1, nullptr, CMPI_null);
  CMPIStatus rc;
  CMPIArray *c = a->ft->clone(a, &rc);
  ASSERT_NE(c, nullptr);
  EXPECT_EQ(rc.rc, CMPI_RC_OK);
  EXPECT_NE(c, a);
  EXPECT_EQ(c->ft->getSize(c, nullptr), 2u);
  EXPECT_EQ(c->ft->getSimpleType(c, nullptr), CMPI_string);
  // Mutate the clone: the original is unchanged.
  set_at(c, 0, "changed", CMPI_chars);
  set_at(c, 2, "appended", CMPI_chars);
  EXPECT_EQ(a->ft->getSize(a, nullptr), 2u);
  CMPIData d = a->ft->getElementAt(a, 0, nullptr);
  EXPECT_EQ(text_of(d.value.string), "one");
  release_data(&d);
  // Release the original: the clone is still valid.
  a->ft->release(a);
  d = c->ft->getElementAt(c, 0, nullptr);
  EXPECT_EQ(text_of(d.value.string), "changed");
  release_data(&d);
  EXPECT_EQ(c->ft->getElementAt(c, 1, nullptr).state, CMPI_nullValue);
  c->ft->release(c);
}

TEST(ArrayClone, KeepsTextCodeAndObjects) {
  CMPIArray *a = makeNewCMPIArray(0, CMPI_dateTimeString, nullptr);
  set_at(a, 0, "20000101000000.000000+000", CMPI_chars);
  CMPIArray *c = a->ft->clone(a, nullptr);
  a->ft->release(a);
  ASSERT_NE(c, nullptr);
  EXPECT_EQ(c->ft->getSimpleType(c, nullptr), CMPI_dateTimeString);
  CMPIData d = c->ft->getElementAt(c, 0, nullptr);
  EXPECT_EQ(d.type, CMPI_dateTimeString);
  EXPECT_EQ(text_of(d.value.string), "20000101000000.000000+000");
  release_data(&d);
  c->ft->release(c);

  CMPIObjectPath *op = makeNewObjectPath("ns", "C", nullptr);
  a = makeNewCMPIArray(0, CMPI_ref, nullptr);
  CMPIValue v;
  v.ref = op;
  a->ft->setElementAt(a, 0, &v, CMPI_ref);
  op->ft->release(op);
  c = a->ft->clone(a, nullptr);
  CMPIData da = a->ft->getElementAt(a, 0, nullptr);
  a->ft->release(a);
  CMPIData dc = c->ft->getElementAt(c, 0, nullptr);
  CMPIObjectPath *pc = val(dc.value.ref);
  CMPIString *s = pc->ft->toString(pc, nullptr);
  EXPECT_EQ(text_of(s), "ns:C");
  s->ft->release(s);
  release_data(&da);
  release_data(&dc);
  c->ft->release(c);
}

// ---- handles and rc ---------------------------------------------------------------------------

TEST(ArrayHandles, NullObjectOrHandleIsInvalidHandleInEverySlot) {
  const CMPIArrayFT *ft = cmpi::array_table();
  EXPECT_EQ(ft->ftVersion, CMPICurrentVersion);
  CMPIArray bad;
  bad.hdl = nullptr;
  bad.ft = const_cast<CMPIArrayFT *>(ft);
  for (CMPIArray *a : {static_cast<CMPIArray *>(nullptr), &bad}) {
    CMPIStatus rc;
    EXPECT_EQ(ft->release(a).rc, CMPI_RC_ERR_INVALID_HANDLE);
    rc.rc = CMPI_RC_OK;
    EXPECT_EQ(ft->clone(a, &rc), nullptr);
    EXPECT_EQ(rc.rc, CMPI_RC_ERR_INVALID_HANDLE);
    rc.rc = CMPI_RC_OK;
    EXPECT_EQ(ft->getSize(a, &rc), 0u);
    EXPECT_EQ(rc.rc, CMPI_RC_ERR_INVALID_HANDLE);
    rc.rc = CMPI_RC_OK;
    EXPECT_EQ(ft->getSimpleType(a, &rc), CMPI_null);
    EXPECT_EQ(rc.rc, CMPI_RC_ERR_INVALID_HANDLE);
    rc.rc = CMPI_RC_OK;
    EXPECT_EQ(ft->getElementAt(a, 0, &rc).state, CMPI_nullValue);
    EXPECT_EQ(rc.rc, CMPI_RC_ERR_INVALID_HANDLE);
    CMPIUint8 x = 1;
    EXPECT_EQ(ft->setElementAt(a, 0, reinterpret_cast<CMPIValue *>(&x), CMPI_uint8).rc,
              CMPI_RC_ERR_INVALID_HANDLE);
    // rc may be NULL everywhere
    EXPECT_EQ(ft->clone(a, nullptr), nullptr);
    EXPECT_EQ(ft->getSize(a, nullptr), 0u);
    EXPECT_EQ(ft->getSimpleType(a, nullptr), CMPI_null);
    EXPECT_EQ(ft->getElementAt(a, 0, nullptr).state, CMPI_nullValue);
  }
}

TEST(ArrayHandles, RcMayBeNullOnValidArrays) {
  CMPIArray *a = makeNewCMPIArray(1, CMPI_boolean, nullptr);
  CMPIBoolean t = 1;
  EXPECT_EQ(set_at(a, 0, &t, CMPI_boolean).rc, CMPI_RC_OK);
  EXPECT_EQ(a->ft->getSize(a, nullptr), 1u);
  EXPECT_EQ(a->ft->getSimpleType(a, nullptr), CMPI_boolean);
  EXPECT_EQ(val(a->ft->getElementAt(a, 0, nullptr).value.boolean), 1);
  EXPECT_EQ(a->ft->getElementAt(a, 5, nullptr).state, CMPI_nullValue | CMPI_notFound);
  CMPIArray *c = a->ft->clone(a, nullptr);
  ASSERT_NE(c, nullptr);
  c->ft->release(c);
  a->ft->release(a);
}

// ---- looks in place ---------------------------------------------------------------------------

namespace look {

// The value text of a datum (value2Chars), "<null>" for a null one.
std::string text(const CMPIData &d) {
  if ((d.state & CMPI_nullValue) != 0) return "<null>";
  char *chars = value2Chars(d.type, &d.value);
  const std::string result = chars != nullptr ? chars : "<no text>";
  free(chars);
  return result;
}

}  // namespace look

TEST(ArrayPeek, APeekReadsEveryElementAsGetElementAtHandsItOut) {
  CMPIArray *numbers = makeNewCMPIArray(3, CMPI_sint64, nullptr);
  const CMPISint64 low = -9223372036854775807LL - 1;
  const CMPISint64 high = 42;
  ASSERT_EQ(set_at(numbers, 0, &low, CMPI_sint64).rc, CMPI_RC_OK);
  ASSERT_EQ(set_at(numbers, 2, &high, CMPI_sint64).rc, CMPI_RC_OK);  // element 1 stays null
  CMPIArray *texts = makeNewCMPIArray(2, CMPI_string, nullptr);
  ASSERT_EQ(set_at(texts, 0, "alpha", CMPI_chars).rc, CMPI_RC_OK);
  ASSERT_EQ(set_at(texts, 1, "", CMPI_chars).rc, CMPI_RC_OK);
  CMPIArray *stamps = makeNewCMPIArray(1, CMPI_dateTime, nullptr);
  CMPIDateTime *stamp = makeNewCMPIDateTimeFromChars("20240102030405.000006+000", nullptr);
  CMPIValue stamp_value;
  stamp_value.dateTime = stamp;
  ASSERT_EQ(set_at(stamps, 0, &stamp_value, CMPI_dateTime).rc, CMPI_RC_OK);
  stamp->ft->release(stamp);
  for (CMPIArray *a : {numbers, texts, stamps}) {
    const CMPICount count = a->ft->getSize(a, nullptr);
    for (CMPICount i = 0; i < count; ++i) {
      CMPIData copy = a->ft->getElementAt(a, i, nullptr);
      CMPIData peeked = {};
      ASSERT_EQ(CMPI_RC_OK, +cmpiPeekArrayElementAt(a, i, &peeked));
      EXPECT_EQ(val(copy.type), val(peeked.type)) << i;
      EXPECT_EQ(val(copy.state), val(peeked.state)) << i;
      EXPECT_EQ(look::text(copy), look::text(peeked)) << i;
      release_data(&copy);  // the copy is the caller's; the peeked datum is not
    }
  }
  EXPECT_EQ("<null>", [&] {
    CMPIData d = {};
    EXPECT_EQ(CMPI_RC_OK, +cmpiPeekArrayElementAt(numbers, 1, &d));
    return look::text(d);
  }());
  for (CMPIArray *a : {numbers, texts, stamps}) a->ft->release(a);
}

TEST(ArrayPeek, APeekBorrowsTheStoredObject) {
  CMPIArray *a = makeNewCMPIArray(1, CMPI_string, nullptr);
  ASSERT_EQ(set_at(a, 0, "alpha", CMPI_chars).rc, CMPI_RC_OK);
  CMPIData one = {};
  CMPIData two = {};
  ASSERT_EQ(CMPI_RC_OK, +cmpiPeekArrayElementAt(a, 0, &one));
  ASSERT_EQ(CMPI_RC_OK, +cmpiPeekArrayElementAt(a, 0, &two));
  EXPECT_EQ(val(one.value.string), val(two.value.string));  // the stored object, twice
  EXPECT_EQ(text_of(one.value.string), "alpha");
  a->ft->release(a);
}

TEST(ArrayPeek, APeekPastTheEndOrAtAnotherLibrarysArrayIsRefused) {
  CMPIArray *a = makeNewCMPIArray(1, CMPI_uint8, nullptr);
  CMPIData d = {};
  EXPECT_EQ(CMPI_RC_ERR_NO_SUCH_PROPERTY, +cmpiPeekArrayElementAt(a, 1, &d));
  EXPECT_EQ(CMPI_RC_ERR_NOT_SUPPORTED, +cmpiPeekArrayElementAt(nullptr, 0, &d));
  // The same record behind another function table: not known to be one of ours.
  CMPIArrayFT other_table = *a->ft;
  CMPIArray other = {a->hdl, &other_table};
  EXPECT_EQ(CMPI_RC_ERR_NOT_SUPPORTED, +cmpiPeekArrayElementAt(&other, 0, &d));
  CMPIArray no_handle = {nullptr, a->ft};
  EXPECT_EQ(CMPI_RC_ERR_NOT_SUPPORTED, +cmpiPeekArrayElementAt(&no_handle, 0, &d));
  a->ft->release(a);
}

TEST(ArrayPeek, AnElementLookReadsOursInPlaceAndAnyOtherThroughItsGetter) {
  CMPIArray *a = makeNewCMPIArray(1, CMPI_string, nullptr);
  ASSERT_EQ(set_at(a, 0, "fan", CMPI_chars).rc, CMPI_RC_OK);
  CMPIArrayFT other_table = *a->ft;
  CMPIArray other = {a->hdl, &other_table};
  CMPIData stored = {};
  ASSERT_EQ(CMPI_RC_OK, +cmpiPeekArrayElementAt(a, 0, &stored));
  for (const CMPIArray *array : {static_cast<const CMPIArray *>(a),
                                 static_cast<const CMPIArray *>(&other)}) {
    CMPIStatus rc = {CMPI_RC_ERR_FAILED, nullptr};
    // The look of the other array owns a copy and releases it (the sanitizers' leak check
    // would report it otherwise).
    const cmpiinterface::ElementLook look(array, 0, &rc);
    EXPECT_EQ(CMPI_RC_OK, +rc.rc);
    EXPECT_EQ(CMPI_string, +look.data().type);
    EXPECT_EQ("fan", text_of(look.data().value.string));
    // Ours is read in place, the other one through a copy.
    EXPECT_EQ(array == a, look.data().value.string == stored.value.string);
  }
  CMPIStatus rc = {CMPI_RC_OK, nullptr};
  const cmpiinterface::ElementLook past(&other, 5, &rc);
  EXPECT_EQ(CMPI_RC_ERR_NO_SUCH_PROPERTY, +rc.rc);
  a->ft->release(a);
}

// ---- objects handed over -----------------------------------------------------------------------

CMPIInstance *new_instance() {
  CMPIObjectPath *path = makeNewObjectPath("root", "Test_Thing", nullptr);
  CMPIInstance *inst = makeNewCMPIInstance(path, nullptr);
  path->ft->release(path);
  return inst;
}

TEST(ArrayTake, AnInstanceOrPathOfOursGoesInItselfAndTheArrayOwnsIt) {
  CMPIArray *instances = makeNewCMPIArray(0, CMPI_instance, nullptr);
  CMPIValue v;
  v.inst = new_instance();
  const CMPIUint8 mark = 7;
  ASSERT_EQ(v.inst->ft->setProperty(v.inst, "Mark", reinterpret_cast<const CMPIValue *>(&mark),
                                    CMPI_uint8).rc, CMPI_RC_OK);
  CMPIInstance *given = v.inst;
  EXPECT_EQ(cmpiArrayTakeElementAt(instances, 0, &v, CMPI_instance).rc, CMPI_RC_OK);
  CMPIData stored = {};
  ASSERT_EQ(CMPI_RC_OK, +cmpiPeekArrayElementAt(instances, 0, &stored));
  EXPECT_EQ(val(stored.value.inst), given);  // no copy
  EXPECT_EQ(val(stored.state), val(CMPI_goodValue));
  EXPECT_EQ(val(stored.type), val(CMPI_instance));
  // A getter still hands out a copy, with the same property.
  CMPIData copy = instances->ft->getElementAt(instances, 0, nullptr);
  EXPECT_NE(val(copy.value.inst), given);
  EXPECT_EQ(val(copy.value.inst->ft->getProperty(copy.value.inst, "Mark", nullptr).value.uint8),
            7);
  release_data(&copy);
  instances->ft->release(instances);  // releases the instance handed over (the leak check sees)

  CMPIArray *paths = makeNewCMPIArray(0, CMPI_null, nullptr);  // untyped: takes the type
  CMPIValue p;
  p.ref = makeNewObjectPath("root", "Test_Thing", nullptr);
  EXPECT_EQ(cmpiArrayTakeElementAt(paths, 0, &p, CMPI_ref).rc, CMPI_RC_OK);
  EXPECT_EQ(val(paths->ft->getSimpleType(paths, nullptr)), val(CMPI_ref));
  ASSERT_EQ(CMPI_RC_OK, +cmpiPeekArrayElementAt(paths, 0, &stored));
  EXPECT_EQ(val(stored.value.ref), val(p.ref));
  paths->ft->release(paths);
}

TEST(ArrayTake, RefusedCallsLeaveTheObjectWithTheCaller) {
  CMPIArray *numbers = makeNewCMPIArray(0, CMPI_uint8, nullptr);
  CMPIArray *instances = makeNewCMPIArray(1, CMPI_instance, nullptr);
  CMPIValue v;
  v.inst = new_instance();
  // The checks of setElementAt: a type of another family, an index past the end.
  EXPECT_EQ(cmpiArrayTakeElementAt(numbers, 0, &v, CMPI_instance).rc, CMPI_RC_ERR_TYPE_MISMATCH);
  EXPECT_EQ(cmpiArrayTakeElementAt(instances, 2, &v, CMPI_instance).rc,
            CMPI_RC_ERR_NO_SUCH_PROPERTY);
  // Not handed over: another library's array or instance, a type that is no object.
  CMPIArrayFT other_array_table = *instances->ft;
  CMPIArray other_array = {instances->hdl, &other_array_table};
  EXPECT_EQ(cmpiArrayTakeElementAt(&other_array, 0, &v, CMPI_instance).rc,
            CMPI_RC_ERR_NOT_SUPPORTED);
  CMPIInstanceFT other_instance_table = *v.inst->ft;
  CMPIInstance other_instance = {v.inst->hdl, &other_instance_table};
  CMPIValue other;
  other.inst = &other_instance;
  EXPECT_EQ(cmpiArrayTakeElementAt(instances, 0, &other, CMPI_instance).rc,
            CMPI_RC_ERR_NOT_SUPPORTED);
  CMPIValue text;
  text.string = CreateString("x", nullptr);
  EXPECT_EQ(cmpiArrayTakeElementAt(instances, 0, &text, CMPI_string).rc,
            CMPI_RC_ERR_NOT_SUPPORTED);
  EXPECT_EQ(cmpiArrayTakeElementAt(nullptr, 0, &v, CMPI_instance).rc, CMPI_RC_ERR_NOT_SUPPORTED);
  // Element 0 is still the null it was made with; the caller still owns what it gave.
  CMPIData stored = {};
  ASSERT_EQ(CMPI_RC_OK, +cmpiPeekArrayElementAt(instances, 0, &stored));
  EXPECT_NE(stored.state & CMPI_nullValue, 0);
  text.string->ft->release(text.string);
  v.inst->ft->release(v.inst);
  numbers->ft->release(numbers);
  instances->ft->release(instances);
}

}  // namespace
