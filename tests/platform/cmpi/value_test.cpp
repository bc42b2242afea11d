// value_test.cpp - stored values: type recognition, copy_in/copy_out/release_data for every type
// code, and ownership (every copy is independent and released).
#include "value.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "objects.h"
#include "value_sweep.h"

namespace {

using namespace cmpitest;

// Scalar type codes with the width of their C type.
const CMPIType kScalars[] = {CMPI_boolean, CMPI_char16, CMPI_real32, CMPI_real64,
                             CMPI_uint8,   CMPI_uint16, CMPI_uint32, CMPI_uint64,
                             CMPI_sint8,   CMPI_sint16, CMPI_sint32, CMPI_sint64};
const CMPIType kTextCodes[] = {CMPI_string, CMPI_booleanString, CMPI_numericString, CMPI_chars,
                               CMPI_dateTimeString, CMPI_charsptr};

TEST(ValueKnownType, ScalarsAreKnown) {
  for (CMPIType t : kScalars) {
    EXPECT_TRUE(cmpi::is_known_type(t)) << t;
  }
  EXPECT_TRUE(cmpi::is_known_type(2));
  EXPECT_TRUE(cmpi::is_known_type(3));
  EXPECT_TRUE(cmpi::is_known_type(8));
  EXPECT_TRUE(cmpi::is_known_type(12));
  for (CMPIType t = 128; t <= 240; t = static_cast<CMPIType>(t + 16)) {
    EXPECT_TRUE(cmpi::is_known_type(t)) << t;
  }
}

TEST(ValueKnownType, EncapsulatedAndTextCodesAreKnown) {
  const CMPIType known[] = {4096, 4352, 4608, 5376, 5632, 5888, 6144, 6656, 5634, 5884, 7680};
  for (CMPIType t : known) {
    EXPECT_TRUE(cmpi::is_known_type(t)) << t;
  }
}

TEST(ValueKnownType, ArraysOfElementTypesAreKnown) {
  for (CMPIType t : kScalars) {
    EXPECT_TRUE(cmpi::is_known_type(static_cast<CMPIType>(t | CMPI_ARRAY))) << t;
  }
  for (CMPIType t : kTextCodes) {
    EXPECT_TRUE(cmpi::is_known_type(static_cast<CMPIType>(t | CMPI_ARRAY))) << t;
  }
  EXPECT_TRUE(cmpi::is_known_type(CMPI_dateTimeA));
  EXPECT_TRUE(cmpi::is_known_type(CMPI_instanceA));
  EXPECT_TRUE(cmpi::is_known_type(CMPI_refA));
  EXPECT_TRUE(cmpi::is_known_type(CMPI_stringA));
  EXPECT_TRUE(cmpi::is_known_type(CMPI_charsA));
}

TEST(ValueKnownType, OtherCodesAreUnknown) {
  const CMPIType unknown[] = {CMPI_null,
                              CMPI_ptr,
                              CMPI_class,
                              CMPI_filter,
                              1,
                              4,
                              100,
                              241,
                              9999,
                              5872 /* integerString */,
                              5644 /* realString */,
                              CMPI_ARRAY,
                              CMPI_ARRAY | CMPI_args,
                              CMPI_ARRAY | CMPI_enumeration,
                              CMPI_ARRAY | CMPI_ptr,
                              CMPI_ARRAY | CMPI_class};
  for (CMPIType t : unknown) {
    EXPECT_FALSE(cmpi::is_known_type(t)) << t;
  }
}

TEST(ValueStoredType, CharsAndCharsPtrBecomeString) {
  EXPECT_EQ(cmpi::stored_type(CMPI_chars), CMPI_string);
  EXPECT_EQ(cmpi::stored_type(CMPI_charsptr), CMPI_string);
  EXPECT_EQ(cmpi::stored_type(CMPI_charsA), CMPI_stringA);
  EXPECT_EQ(cmpi::stored_type(CMPI_charsptrA), CMPI_stringA);
}

TEST(ValueStoredType, OtherTypesAreKept) {
  for (CMPIType t : kScalars) {
    EXPECT_EQ(cmpi::stored_type(t), t);
    EXPECT_EQ(cmpi::stored_type(static_cast<CMPIType>(t | CMPI_ARRAY)), t | CMPI_ARRAY);
  }
  const CMPIType kept[] = {CMPI_string,  CMPI_booleanString, CMPI_numericString,
                           CMPI_dateTimeString, CMPI_dateTime, CMPI_instance,
                           CMPI_ref,     CMPI_args,          CMPI_enumeration,
                           CMPI_stringA, CMPI_refA,          CMPI_null};
  for (CMPIType t : kept) {
    EXPECT_EQ(cmpi::stored_type(t), t);
  }
}

TEST(ValueSameFamily, TextCodesAreOneFamily) {
  for (CMPIType a : kTextCodes) {
    for (CMPIType b : kTextCodes) {
      EXPECT_TRUE(cmpi::same_family(a, b)) << a << " " << b;
    }
  }
}

TEST(ValueSameFamily, EqualTypesOnlyOtherwise) {
  for (CMPIType a : kScalars) {
    for (CMPIType b : kScalars) {
      EXPECT_EQ(cmpi::same_family(a, b), a == b) << a << " " << b;
    }
    EXPECT_FALSE(cmpi::same_family(a, CMPI_string));
    EXPECT_FALSE(cmpi::same_family(CMPI_chars, a));
  }
  EXPECT_TRUE(cmpi::same_family(CMPI_dateTime, CMPI_dateTime));
  EXPECT_TRUE(cmpi::same_family(CMPI_instance, CMPI_instance));
  EXPECT_TRUE(cmpi::same_family(CMPI_ref, CMPI_ref));
  EXPECT_FALSE(cmpi::same_family(CMPI_ref, CMPI_instance));
  EXPECT_FALSE(cmpi::same_family(CMPI_string, CMPI_dateTime));
  EXPECT_FALSE(cmpi::same_family(CMPI_uint32, CMPI_uint32A));
  EXPECT_TRUE(cmpi::same_family(CMPI_stringA, CMPI_charsA));
  EXPECT_FALSE(cmpi::same_family(CMPI_string, CMPI_stringA));
}

TEST(ValueNullData, KeepsTypeAndIsNull) {
  const CMPIData d = cmpi::null_data(CMPI_uint32);
  EXPECT_EQ(d.type, CMPI_uint32);
  EXPECT_EQ(d.state, CMPI_nullValue);
  EXPECT_EQ(val(d.value.uint64), 0u);
}

TEST(ValueNotFoundData, TypeZeroNullAndNotFound) {
  const CMPIData d = cmpi::not_found_data();
  EXPECT_EQ(d.type, CMPI_null);
  EXPECT_EQ(d.state, CMPI_nullValue | CMPI_notFound);
}

// ---- copy_in of scalars: the value argument is a plain variable of the C type ------------------

template <typename T>
CMPIData copy_scalar(T v, CMPIType type) {
  CMPIData d;
  EXPECT_EQ(cmpi::copy_in(reinterpret_cast<const CMPIValue *>(&v), type, &d), CMPI_RC_OK);
  EXPECT_EQ(d.type, type);
  EXPECT_EQ(d.state, CMPI_goodValue);
  return d;
}

TEST(ValueCopyIn, EveryScalarFromAPlainVariable) {
  EXPECT_EQ(val(copy_scalar<CMPIBoolean>(1, CMPI_boolean).value.boolean), 1);
  EXPECT_EQ(val(copy_scalar<CMPIChar16>(0x263A, CMPI_char16).value.char16), 0x263A);
  EXPECT_EQ(val(copy_scalar<CMPIReal32>(1.5f, CMPI_real32).value.real32), 1.5f);
  EXPECT_EQ(val(copy_scalar<CMPIReal64>(-2.25, CMPI_real64).value.real64), -2.25);
  EXPECT_EQ(val(copy_scalar<CMPIUint8>(200, CMPI_uint8).value.uint8), 200);
  EXPECT_EQ(val(copy_scalar<CMPIUint16>(65000, CMPI_uint16).value.uint16), 65000);
  EXPECT_EQ(val(copy_scalar<CMPIUint32>(4000000000u, CMPI_uint32).value.uint32), 4000000000u);
  EXPECT_EQ(val(copy_scalar<CMPIUint64>(18446744073709551615ull, CMPI_uint64).value.uint64),
            18446744073709551615ull);
  EXPECT_EQ(val(copy_scalar<CMPISint8>(-100, CMPI_sint8).value.sint8), -100);
  EXPECT_EQ(val(copy_scalar<CMPISint16>(-30000, CMPI_sint16).value.sint16), -30000);
  EXPECT_EQ(val(copy_scalar<CMPISint32>(-2000000000, CMPI_sint32).value.sint32), -2000000000);
  EXPECT_EQ(val(copy_scalar<CMPISint64>(-9000000000000000000ll, CMPI_sint64).value.sint64),
            -9000000000000000000ll);
}

TEST(ValueCopyIn, NarrowScalarDoesNotPickUpNeighbouringBytes) {
  CMPIValue v;
  std::memset(&v, 0xFF, sizeof(v));
  v.uint8 = 7;
  CMPIData d;
  ASSERT_EQ(cmpi::copy_in(&v, CMPI_uint8, &d), CMPI_RC_OK);
  EXPECT_EQ(val(d.value.uint64), 7u);  // the other bytes of the stored value are zero
}

// ---- copy_in of text -------------------------------------------------------------------------

TEST(ValueCopyIn, CharsValuePointerIsTheTextItselfAndReadsBackAsString) {
  char buffer[] = "fan0";
  CMPIData d;
  ASSERT_EQ(cmpi::copy_in(reinterpret_cast<const CMPIValue *>(buffer), CMPI_chars, &d),
            CMPI_RC_OK);
  EXPECT_EQ(d.type, CMPI_string);
  EXPECT_EQ(d.state, CMPI_goodValue);
  buffer[0] = 'X';  // the stored copy is independent of the caller's buffer
  EXPECT_EQ(text_of(val(d.value.string)), "fan0");
  cmpi::release_data(&d);
  EXPECT_EQ(d.type, CMPI_string);
  EXPECT_EQ(d.state, CMPI_nullValue);
  EXPECT_EQ(val(d.value.string), nullptr);
}

TEST(ValueCopyIn, EmptyCharsIsAnEmptyString) {
  CMPIData d;
  ASSERT_EQ(cmpi::copy_in(reinterpret_cast<const CMPIValue *>(""), CMPI_chars, &d), CMPI_RC_OK);
  EXPECT_EQ(d.state, CMPI_goodValue);
  EXPECT_EQ(text_of(val(d.value.string)), "");
  cmpi::release_data(&d);
}

TEST(ValueCopyIn, CharsPtrValuePointsAtACharPointer) {
  char buffer[] = "abc";
  char *p = buffer;
  CMPIData d;
  ASSERT_EQ(cmpi::copy_in(reinterpret_cast<const CMPIValue *>(&p), CMPI_charsptr, &d),
            CMPI_RC_OK);
  EXPECT_EQ(d.type, CMPI_string);
  EXPECT_EQ(d.state, CMPI_goodValue);
  EXPECT_EQ(text_of(val(d.value.string)), "abc");
  EXPECT_NE(val(d.value.string)->hdl, static_cast<void *>(buffer));
  cmpi::release_data(&d);
}

TEST(ValueCopyIn, CharsPtrToNullIsANullString) {
  char *p = nullptr;
  CMPIData d;
  ASSERT_EQ(cmpi::copy_in(reinterpret_cast<const CMPIValue *>(&p), CMPI_charsptr, &d),
            CMPI_RC_OK);
  EXPECT_EQ(d.type, CMPI_string);
  EXPECT_EQ(d.state, CMPI_nullValue);
}

TEST(ValueCopyIn, StringIsClonedAndKeepsType) {
  CMPIString *s = CreateString("hello", nullptr);
  CMPIValue v;
  v.string = s;
  CMPIData d;
  ASSERT_EQ(cmpi::copy_in(&v, CMPI_string, &d), CMPI_RC_OK);
  EXPECT_EQ(d.type, CMPI_string);
  EXPECT_EQ(d.state, CMPI_goodValue);
  EXPECT_NE(val(d.value.string), s);
  s->ft->release(s);  // the copy outlives the original
  EXPECT_EQ(text_of(val(d.value.string)), "hello");
  cmpi::release_data(&d);
}

TEST(ValueCopyIn, OtherTextCodesAreClonedStringsUnderTheirOwnCode) {
  for (CMPIType t : {CMPI_booleanString, CMPI_numericString, CMPI_dateTimeString}) {
    CMPIString *s = CreateString("TRUE", nullptr);
    CMPIValue v;
    v.string = s;
    CMPIData d;
    ASSERT_EQ(cmpi::copy_in(&v, t, &d), CMPI_RC_OK) << t;
    EXPECT_EQ(d.type, t);
    EXPECT_EQ(d.state, CMPI_goodValue);
    EXPECT_NE(val(d.value.string), s);
    EXPECT_EQ(text_of(val(d.value.string)), "TRUE");
    s->ft->release(s);
    cmpi::release_data(&d);
    EXPECT_EQ(d.type, t);
  }
}

// ---- copy_in of encapsulated objects ----------------------------------------------------------

TEST(ValueCopyIn, DateTimeIsCloned) {
  CMPIDateTime *dt = makeNewCMPIDateTimeFromChars("20240102030405.000006+060", nullptr);
  ASSERT_NE(dt, nullptr);
  CMPIValue v;
  v.dateTime = dt;
  CMPIData d;
  ASSERT_EQ(cmpi::copy_in(&v, CMPI_dateTime, &d), CMPI_RC_OK);
  EXPECT_EQ(d.type, CMPI_dateTime);
  EXPECT_NE(val(d.value.dateTime), dt);
  dt->ft->release(dt);
  CMPIString *text = d.value.dateTime->ft->getStringFormat(d.value.dateTime, nullptr);
  EXPECT_EQ(text_of(text), "20240102030405.000006+060");
  text->ft->release(text);
  cmpi::release_data(&d);
}

TEST(ValueCopyIn, InstanceIsCloned) {
  CMPIObjectPath *op = makeNewObjectPath("root/cimv2", "Demo_Fan", nullptr);
  CMPIInstance *inst = makeNewCMPIInstance(op, nullptr);
  ASSERT_NE(inst, nullptr);
  CMPIUint32 speed = 4200;
  inst->ft->setProperty(inst, "Speed", reinterpret_cast<CMPIValue *>(&speed), CMPI_uint32);
  CMPIValue v;
  v.inst = inst;
  CMPIData d;
  ASSERT_EQ(cmpi::copy_in(&v, CMPI_instance, &d), CMPI_RC_OK);
  EXPECT_EQ(d.type, CMPI_instance);
  EXPECT_EQ(d.state, CMPI_goodValue);
  EXPECT_NE(val(d.value.inst), inst);
  inst->ft->release(inst);
  op->ft->release(op);
  CMPIStatus rc;
  CMPIData p = d.value.inst->ft->getProperty(d.value.inst, "Speed", &rc);
  EXPECT_EQ(rc.rc, CMPI_RC_OK);
  EXPECT_EQ(val(p.value.uint32), 4200u);
  cmpi::release_data(&d);
}

TEST(ValueCopyIn, RefIsCloned) {
  CMPIObjectPath *op = makeNewObjectPath("root/cimv2", "Demo_Fan", nullptr);
  ASSERT_NE(op, nullptr);
  CMPIValue v;
  v.ref = op;
  CMPIData d;
  ASSERT_EQ(cmpi::copy_in(&v, CMPI_ref, &d), CMPI_RC_OK);
  EXPECT_EQ(d.type, CMPI_ref);
  EXPECT_NE(val(d.value.ref), op);
  op->ft->release(op);
  CMPIString *cn = d.value.ref->ft->getClassName(d.value.ref, nullptr);
  EXPECT_EQ(text_of(cn), "Demo_Fan");
  cn->ft->release(cn);
  cmpi::release_data(&d);
}

TEST(ValueCopyIn, ArgsIsCloned) {
  CMPIArgs *args = makeNewCMPIArgs(nullptr);
  ASSERT_NE(args, nullptr);
  CMPISint32 n = -3;
  args->ft->addArg(args, "N", reinterpret_cast<CMPIValue *>(&n), CMPI_sint32);
  CMPIValue v;
  v.args = args;
  CMPIData d;
  ASSERT_EQ(cmpi::copy_in(&v, CMPI_args, &d), CMPI_RC_OK);
  EXPECT_EQ(d.type, CMPI_args);
  EXPECT_NE(val(d.value.args), args);
  args->ft->release(args);
  EXPECT_EQ(val(d.value.args)->ft->getArgCount(val(d.value.args), nullptr), 1u);
  EXPECT_EQ(val(val(d.value.args)->ft->getArg(val(d.value.args), "N", nullptr).value.sint32), -3);
  cmpi::release_data(&d);
}

TEST(ValueCopyIn, EnumerationIsCloned) {
  CMPIArray *a = makeNewCMPIArray(1, CMPI_uint16, nullptr);
  CMPIUint16 x = 9;
  a->ft->setElementAt(a, 0, reinterpret_cast<CMPIValue *>(&x), CMPI_uint16);
  CMPIEnumeration *en = makeNewCMPIEnumeration(a, nullptr);
  ASSERT_NE(en, nullptr);
  CMPIValue v;
  v.Enum = en;
  CMPIData d;
  ASSERT_EQ(cmpi::copy_in(&v, CMPI_enumeration, &d), CMPI_RC_OK);
  EXPECT_EQ(d.type, CMPI_enumeration);
  EXPECT_NE(val(d.value.Enum), en);
  en->ft->release(en);
  CMPIData e = d.value.Enum->ft->getNext(d.value.Enum, nullptr);
  EXPECT_EQ(e.type, CMPI_uint16);
  EXPECT_EQ(val(e.value.uint16), 9);
  cmpi::release_data(&d);
}

TEST(ValueCopyIn, ArraysOfEveryElementTypeAreCloned) {
  const CMPIType elements[] = {CMPI_boolean, CMPI_char16, CMPI_real32, CMPI_real64,
                               CMPI_uint8,   CMPI_uint16, CMPI_uint32, CMPI_uint64,
                               CMPI_sint8,   CMPI_sint16, CMPI_sint32, CMPI_sint64,
                               CMPI_string,  CMPI_booleanString, CMPI_numericString,
                               CMPI_dateTimeString, CMPI_dateTime, CMPI_instance, CMPI_ref};
  for (CMPIType t : elements) {
    CMPIArray *a = makeNewCMPIArray(2, t, nullptr);
    ASSERT_NE(a, nullptr) << t;
    CMPIValue v;
    v.array = a;
    CMPIData d;
    const CMPIType at = static_cast<CMPIType>(t | CMPI_ARRAY);
    ASSERT_EQ(cmpi::copy_in(&v, at, &d), CMPI_RC_OK) << t;
    EXPECT_EQ(d.type, at);
    EXPECT_EQ(d.state, CMPI_goodValue);
    EXPECT_NE(val(d.value.array), a);
    a->ft->release(a);
    EXPECT_EQ(val(d.value.array)->ft->getSize(val(d.value.array), nullptr), 2u);
    EXPECT_EQ(val(d.value.array)->ft->getSimpleType(val(d.value.array), nullptr), t);
    cmpi::release_data(&d);
    EXPECT_EQ(d.type, at);
    EXPECT_EQ(d.state, CMPI_nullValue);
  }
}

TEST(ValueCopyIn, CharsArrayIsStoredAsStringArray) {
  CMPIArray *a = makeNewCMPIArray(0, CMPI_chars, nullptr);
  a->ft->setElementAt(a, 0, reinterpret_cast<const CMPIValue *>("x"), CMPI_chars);
  for (CMPIType t : {CMPI_charsA, CMPI_charsptrA}) {
    CMPIValue v;
    v.array = a;
    CMPIData d;
    ASSERT_EQ(cmpi::copy_in(&v, t, &d), CMPI_RC_OK);
    EXPECT_EQ(d.type, CMPI_stringA);
    CMPIData e = d.value.array->ft->getElementAt(d.value.array, 0, nullptr);
    EXPECT_EQ(e.type, CMPI_string);
    EXPECT_EQ(text_of(val(e.value.string)), "x");
    cmpiReleaseCMPIValue(e.type, &e.value);
    cmpi::release_data(&d);
  }
  a->ft->release(a);
}

// ---- null values, unknown types and bad handles -----------------------------------------------

TEST(ValueCopyIn, NullValuePointerGivesANullDatumOfTheStoredType) {
  const CMPIType types[] = {CMPI_uint32, CMPI_string, CMPI_chars, CMPI_charsptr, CMPI_dateTime,
                            CMPI_instance, CMPI_ref, CMPI_args, CMPI_enumeration, CMPI_uint8A,
                            CMPI_charsA, CMPI_booleanString};
  for (CMPIType t : types) {
    CMPIData d;
    ASSERT_EQ(cmpi::copy_in(nullptr, t, &d), CMPI_RC_OK) << t;
    EXPECT_EQ(d.type, cmpi::stored_type(t));
    EXPECT_EQ(d.state, CMPI_nullValue);
    EXPECT_EQ(val(d.value.uint64), 0u);
  }
}

TEST(ValueCopyIn, TypeNullGivesANullDatum) {
  CMPIUint32 x = 5;
  CMPIData d;
  ASSERT_EQ(cmpi::copy_in(reinterpret_cast<CMPIValue *>(&x), CMPI_null, &d), CMPI_RC_OK);
  EXPECT_EQ(d.type, CMPI_null);
  EXPECT_EQ(d.state, CMPI_nullValue);
}

TEST(ValueCopyIn, NullEncapsulatedPointerGivesANullDatum) {
  const CMPIType types[] = {CMPI_string, CMPI_dateTime, CMPI_instance, CMPI_ref,
                            CMPI_args,   CMPI_enumeration, CMPI_uint32A, CMPI_dateTimeString};
  for (CMPIType t : types) {
    CMPIValue v;
    std::memset(&v, 0, sizeof(v));
    CMPIData d;
    ASSERT_EQ(cmpi::copy_in(&v, t, &d), CMPI_RC_OK) << t;
    EXPECT_EQ(d.type, t);
    EXPECT_EQ(d.state, CMPI_nullValue);
  }
}

TEST(ValueCopyIn, UnknownTypeIsInvalidDataType) {
  CMPIUint32 x = 5;
  for (CMPIType t : {CMPIType(CMPI_ptr), CMPIType(CMPI_class), CMPIType(CMPI_filter),
                     CMPIType(9999), CMPIType(CMPI_ARRAY | CMPI_args)}) {
    CMPIData d;
    EXPECT_EQ(cmpi::copy_in(reinterpret_cast<CMPIValue *>(&x), t, &d),
              CMPI_RC_ERR_INVALID_DATA_TYPE)
        << t;
    EXPECT_EQ(d.state, CMPI_nullValue);
  }
}

TEST(ValueCopyIn, ObjectWithNullHandleIsInvalidHandle) {
  CMPIString fake;
  fake.hdl = nullptr;
  fake.ft = const_cast<CMPIStringFT *>(cmpi::string_table());
  CMPIValue v;
  v.string = &fake;
  CMPIData d;
  EXPECT_EQ(cmpi::copy_in(&v, CMPI_string, &d), CMPI_RC_ERR_INVALID_HANDLE);
  EXPECT_EQ(d.state, CMPI_nullValue);
}

// ---- copy_out -----------------------------------------------------------------------------

TEST(ValueCopyOut, ScalarsAreCopied) {
  CMPISint64 x = -42;
  CMPIData stored;
  ASSERT_EQ(cmpi::copy_in(reinterpret_cast<CMPIValue *>(&x), CMPI_sint64, &stored), CMPI_RC_OK);
  const CMPIData out = cmpi::copy_out(stored);
  EXPECT_EQ(out.type, CMPI_sint64);
  EXPECT_EQ(out.state, CMPI_goodValue);
  EXPECT_EQ(val(out.value.sint64), -42);
}

TEST(ValueCopyOut, EncapsulatedValuesAreNewCallerOwnedCopies) {
  CMPIData stored;
  ASSERT_EQ(cmpi::copy_in(reinterpret_cast<const CMPIValue *>("abc"), CMPI_chars, &stored),
            CMPI_RC_OK);
  CMPIData out = cmpi::copy_out(stored);
  EXPECT_EQ(out.type, CMPI_string);
  EXPECT_NE(val(out.value.string), val(stored.value.string));
  cmpi::release_data(&stored);  // the handed-out copy stays valid
  EXPECT_EQ(text_of(val(out.value.string)), "abc");
  cmpiReleaseCMPIValue(out.type, &out.value);
  EXPECT_EQ(val(out.value.string), nullptr);
}

TEST(ValueCopyOut, EveryEncapsulatedKindIsCopied) {
  CMPIObjectPath *op = makeNewObjectPath("ns", "C", nullptr);
  CMPIInstance *inst = makeNewCMPIInstance(op, nullptr);
  CMPIArgs *args = makeNewCMPIArgs(nullptr);
  CMPIDateTime *dt = makeNewCMPIDateTimeFromChars("00000001000000.000000:000", nullptr);
  CMPIArray *arr = makeNewCMPIArray(1, CMPI_real64, nullptr);
  CMPIEnumeration *en = makeNewCMPIEnumeration(nullptr, nullptr);
  CMPIString *s = CreateString("t", nullptr);
  struct {
    CMPIType type;
    CMPIValue value;
  } cases[8];
  cases[0].type = CMPI_ref;
  cases[0].value.ref = op;
  cases[1].type = CMPI_instance;
  cases[1].value.inst = inst;
  cases[2].type = CMPI_args;
  cases[2].value.args = args;
  cases[3].type = CMPI_dateTime;
  cases[3].value.dateTime = dt;
  cases[4].type = CMPI_real64A;
  cases[4].value.array = arr;
  cases[5].type = CMPI_enumeration;
  cases[5].value.Enum = en;
  cases[6].type = CMPI_string;
  cases[6].value.string = s;
  cases[7].type = CMPI_numericString;
  cases[7].value.string = s;
  for (auto &c : cases) {
    CMPIData stored;
    ASSERT_EQ(cmpi::copy_in(&c.value, c.type, &stored), CMPI_RC_OK) << c.type;
    CMPIData out = cmpi::copy_out(stored);
    EXPECT_EQ(out.type, c.type);
    EXPECT_EQ(out.state, CMPI_goodValue);
    EXPECT_NE(val(out.value.uint64), val(stored.value.uint64)) << c.type;  // another object
    EXPECT_NE(val(out.value.uint64), val(c.value.uint64)) << c.type;
    cmpi::release_data(&stored);
    cmpiReleaseCMPIValue(out.type, &out.value);
    EXPECT_EQ(val(out.value.uint64), 0u);
  }
  s->ft->release(s);
  en->ft->release(en);
  arr->ft->release(arr);
  dt->ft->release(dt);
  args->ft->release(args);
  inst->ft->release(inst);
  op->ft->release(op);
}

TEST(ValueCopyOut, NullStaysNullAndStateIsKept) {
  CMPIData stored = cmpi::null_data(CMPI_string);
  CMPIData out = cmpi::copy_out(stored);
  EXPECT_EQ(out.type, CMPI_string);
  EXPECT_EQ(out.state, CMPI_nullValue);
  EXPECT_EQ(val(out.value.string), nullptr);

  CMPIUint16 x = 3;
  ASSERT_EQ(cmpi::copy_in(reinterpret_cast<CMPIValue *>(&x), CMPI_uint16, &stored), CMPI_RC_OK);
  stored.state = CMPI_keyValue;
  out = cmpi::copy_out(stored);
  EXPECT_EQ(out.state, CMPI_keyValue);
  EXPECT_EQ(val(out.value.uint16), 3);
}

// ---- release_data -----------------------------------------------------------------------------

TEST(ValueRelease, LeavesANullDatumOfTheSameType) {
  CMPIReal32 x = 2.5f;
  CMPIData d;
  ASSERT_EQ(cmpi::copy_in(reinterpret_cast<CMPIValue *>(&x), CMPI_real32, &d), CMPI_RC_OK);
  cmpi::release_data(&d);
  EXPECT_EQ(d.type, CMPI_real32);
  EXPECT_EQ(d.state, CMPI_nullValue);
  EXPECT_EQ(val(d.value.uint64), 0u);
  cmpi::release_data(&d);  // releasing a null datum again is harmless
  EXPECT_EQ(d.state, CMPI_nullValue);
  cmpi::release_data(nullptr);
}

}  // namespace
