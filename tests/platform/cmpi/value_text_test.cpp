// value_text_test.cpp - value2Chars for every type, cmpiReleaseCMPIValue for every encapsulated
// kind.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>

#include "cmpiinterface.h"

namespace {

template <typename T>
T val(T v) {
  return v;
}

// value2Chars as a std::string ("<null>" for a NULL result), freeing the text.
std::string text(CMPIType type, const CMPIValue *value) {
  char *t = value2Chars(type, value);
  if (t == nullptr) {
    return "<null>";
  }
  std::string s(t);
  std::free(t);
  return s;
}

template <typename T>
std::string text_of_scalar(CMPIType type, T v) {
  CMPIValue value;
  std::memset(&value, 0, sizeof(value));
  std::memcpy(&value, &v, sizeof(v));
  return text(type, &value);
}

TEST(Value2Chars, Integers) {
  EXPECT_EQ(text_of_scalar<CMPISint32>(CMPI_sint32, -5), "-5");
  EXPECT_EQ(text_of_scalar<CMPISint8>(CMPI_sint8, -1), "-1");
  EXPECT_EQ(text_of_scalar<CMPISint8>(CMPI_sint8, 65), "65");  // a number, not 'A'
  EXPECT_EQ(text_of_scalar<CMPIUint8>(CMPI_uint8, 200), "200");
  EXPECT_EQ(text_of_scalar<CMPIUint8>(CMPI_uint8, 0), "0");
  EXPECT_EQ(text_of_scalar<CMPIUint16>(CMPI_uint16, 65535), "65535");
  EXPECT_EQ(text_of_scalar<CMPISint16>(CMPI_sint16, -32768), "-32768");
  EXPECT_EQ(text_of_scalar<CMPIUint32>(CMPI_uint32, 4294967295u), "4294967295");
  EXPECT_EQ(text_of_scalar<CMPISint32>(CMPI_sint32, -2147483647 - 1), "-2147483648");
  EXPECT_EQ(text_of_scalar<CMPIUint64>(CMPI_uint64, 18446744073709551615ull),
            "18446744073709551615");
  EXPECT_EQ(text_of_scalar<CMPISint64>(CMPI_sint64, -9223372036854775807ll - 1),
            "-9223372036854775808");
  EXPECT_EQ(text_of_scalar<CMPISint64>(CMPI_sint64, 42), "42");
}

TEST(Value2Chars, Booleans) {
  EXPECT_EQ(text_of_scalar<CMPIBoolean>(CMPI_boolean, 1), "true");
  EXPECT_EQ(text_of_scalar<CMPIBoolean>(CMPI_boolean, 0), "false");
}

TEST(Value2Chars, RealsRoundTrip) {
  EXPECT_EQ(text_of_scalar<CMPIReal32>(CMPI_real32, 0.1f), "0.100000001");
  EXPECT_EQ(text_of_scalar<CMPIReal64>(CMPI_real64, 0.1), "0.10000000000000001");
  EXPECT_EQ(text_of_scalar<CMPIReal32>(CMPI_real32, 1.5f), "1.5");
  EXPECT_EQ(text_of_scalar<CMPIReal64>(CMPI_real64, -2.0), "-2");
  EXPECT_EQ(text_of_scalar<CMPIReal64>(CMPI_real64, 1e300), "1.0000000000000001e+300");
}

// Reals are written as printf writes "%.9g" (real32) and "%.17g" (real64), the special values
// included; checked against printf itself for many bit patterns.
TEST(Value2Chars, RealsAreWhatPrintfWrites) {
  std::mt19937_64 bits(20261124);
  const double specials[] = {0.0, -0.0, NAN, -NAN, INFINITY, -INFINITY, 5e-324, 1e-320,
                             1.7976931348623157e308, 1e21, 1e-7, 100.0, 123456789.0};
  auto check64 = [](double d) {
    char expected[64];
    std::snprintf(expected, sizeof expected, "%.17g", d);
    EXPECT_EQ(text_of_scalar<CMPIReal64>(CMPI_real64, d), expected);
  };
  auto check32 = [](float f) {
    char expected[64];
    std::snprintf(expected, sizeof expected, "%.9g", static_cast<double>(f));
    EXPECT_EQ(text_of_scalar<CMPIReal32>(CMPI_real32, f), expected);
  };
  for (double d : specials) {
    check64(d);
    check32(static_cast<float>(d));
  }
  for (int i = 0; i < 20000; ++i) {
    const uint64_t word = bits();
    double d;
    std::memcpy(&d, &word, sizeof d);
    check64(d);
    const uint32_t half = static_cast<uint32_t>(word >> 17);
    float f;
    std::memcpy(&f, &half, sizeof f);
    check32(f);
  }
}

TEST(Value2Chars, Char16AsTheCharacterInUtf8) {
  EXPECT_EQ(text_of_scalar<CMPIChar16>(CMPI_char16, 'A'), "A");
  EXPECT_EQ(text_of_scalar<CMPIChar16>(CMPI_char16, 0x00E9), "\xC3\xA9");
  EXPECT_EQ(text_of_scalar<CMPIChar16>(CMPI_char16, 0x263A), "\xE2\x98\xBA");
  EXPECT_EQ(text_of_scalar<CMPIChar16>(CMPI_char16, 0xD800), "\xEF\xBF\xBD");  // lone surrogate
  EXPECT_EQ(text_of_scalar<CMPIChar16>(CMPI_char16, 0), "");
}

TEST(Value2Chars, CharsIsTheTextOfTheCharsMember) {
  CMPIValue v;
  v.chars = const_cast<char *>("hello world");
  EXPECT_EQ(text(CMPI_chars, &v), "hello world");
  v.chars = nullptr;
  EXPECT_EQ(text(CMPI_chars, &v), "<null>");
}

TEST(Value2Chars, StringAndTheOtherTextCodes) {
  CMPIString *s = CreateString("fan0", nullptr);
  CMPIValue v;
  v.string = s;
  EXPECT_EQ(text(CMPI_string, &v), "fan0");
  EXPECT_EQ(text(CMPI_booleanString, &v), "fan0");
  EXPECT_EQ(text(CMPI_numericString, &v), "fan0");
  EXPECT_EQ(text(CMPI_dateTimeString, &v), "fan0");
  s->ft->release(s);
  v.string = nullptr;
  EXPECT_EQ(text(CMPI_string, &v), "<null>");
}

TEST(Value2Chars, DateTimeIsItsCimText) {
  CMPIDateTime *dt = makeNewCMPIDateTimeFromChars("20041114120523.243424-300", nullptr);
  ASSERT_NE(dt, nullptr);
  CMPIValue v;
  v.dateTime = dt;
  EXPECT_EQ(text(CMPI_dateTime, &v), "20041114120523.243424-300");
  dt->ft->release(dt);
  CMPIDateTime *iv = makeNewCMPIDateTimeFromChars("00000001120032.000000:000", nullptr);
  v.dateTime = iv;
  EXPECT_EQ(text(CMPI_dateTime, &v), "00000001120032.000000:000");
  iv->ft->release(iv);
  v.dateTime = nullptr;
  EXPECT_EQ(text(CMPI_dateTime, &v), "<null>");
}

TEST(Value2Chars, RefIsItsPathText) {
  CMPIObjectPath *op = makeNewObjectPath("root/cimv2", "Demo_Fan", nullptr);
  ASSERT_NE(op, nullptr);
  op->ft->addKey(op, "DeviceID", reinterpret_cast<const CMPIValue *>("fan0"), CMPI_chars);
  CMPIUint32 speed = 4200;
  op->ft->addKey(op, "Speed", reinterpret_cast<const CMPIValue *>(&speed), CMPI_uint32);
  CMPIValue v;
  v.ref = op;
  EXPECT_EQ(text(CMPI_ref, &v), "root/cimv2:Demo_Fan.DeviceID=fan0,Speed=4200");
  op->ft->release(op);
  v.ref = nullptr;
  EXPECT_EQ(text(CMPI_ref, &v), "<null>");
}

TEST(Value2Chars, NullValuePointerGivesNull) {
  const CMPIType types[] = {CMPI_boolean, CMPI_sint32, CMPI_real64, CMPI_char16, CMPI_chars,
                            CMPI_string, CMPI_dateTime, CMPI_ref};
  for (CMPIType t : types) {
    EXPECT_EQ(value2Chars(t, nullptr), nullptr) << t;
  }
}

TEST(Value2Chars, UnsupportedTypesGiveNull) {
  CMPIValue v;
  std::memset(&v, 0, sizeof(v));
  const CMPIType types[] = {CMPI_null,     CMPI_instance, CMPI_args, CMPI_enumeration,
                            CMPI_uint32A,  CMPI_stringA,  CMPI_ptr,  CMPI_class,
                            CMPI_charsptr, 9999};
  for (CMPIType t : types) {
    EXPECT_EQ(value2Chars(t, &v), nullptr) << t;
  }
}

// ---- cmpiReleaseCMPIValue ---------------------------------------------------------------------

TEST(ReleaseValue, ReleasesEveryEncapsulatedKindAndClearsThePointer) {
  CMPIObjectPath *op = makeNewObjectPath("ns", "C", nullptr);
  struct Case {
    CMPIType type;
    CMPIValue value;
  };
  Case cases[12];
  std::memset(cases, 0, sizeof(cases));
  cases[0].type = CMPI_string;
  cases[0].value.string = CreateString("a", nullptr);
  cases[1].type = CMPI_booleanString;
  cases[1].value.string = CreateString("TRUE", nullptr);
  cases[2].type = CMPI_numericString;
  cases[2].value.string = CreateString("12", nullptr);
  cases[3].type = CMPI_dateTimeString;
  cases[3].value.string = CreateString("d", nullptr);
  cases[4].type = CMPI_uint8A;
  cases[4].value.array = makeNewCMPIArray(3, CMPI_uint8, nullptr);
  cases[5].type = CMPI_instance;
  cases[5].value.inst = makeNewCMPIInstance(op, nullptr);
  cases[6].type = CMPI_ref;
  cases[6].value.ref = op->ft->clone(op, nullptr);
  cases[7].type = CMPI_args;
  cases[7].value.args = makeNewCMPIArgs(nullptr);
  cases[8].type = CMPI_enumeration;
  cases[8].value.Enum = makeNewCMPIEnumeration(makeNewCMPIArray(1, CMPI_string, nullptr), nullptr);
  cases[9].type = CMPI_dateTime;
  cases[9].value.dateTime = makeNewCMPIDateTimeFromChars("20000101000000.000000+000", nullptr);
  cases[10].type = CMPI_chars;
  cases[10].value.chars = strdup("malloc'd text");
  cases[11].type = CMPI_charsA;
  cases[11].value.array = makeNewCMPIArray(1, CMPI_chars, nullptr);
  op->ft->release(op);
  for (Case &c : cases) {
    ASSERT_NE(val(c.value.uint64), 0u) << c.type;
    cmpiReleaseCMPIValue(c.type, &c.value);
    EXPECT_EQ(val(c.value.uint64), 0u) << c.type;
  }
}

TEST(ReleaseValue, NothingForScalarsNullPointersAndNullValues) {
  CMPIValue v;
  v.uint64 = 0x1122334455667788ull;
  const CMPIType scalars[] = {CMPI_boolean, CMPI_char16, CMPI_real32, CMPI_real64,
                              CMPI_uint8,   CMPI_uint16, CMPI_uint32, CMPI_uint64,
                              CMPI_sint8,   CMPI_sint16, CMPI_sint32, CMPI_sint64, CMPI_null};
  for (CMPIType t : scalars) {
    cmpiReleaseCMPIValue(t, &v);
    EXPECT_EQ(val(v.uint64), 0x1122334455667788ull) << t;
  }
  std::memset(&v, 0, sizeof(v));
  for (CMPIType t : {CMPI_string, CMPI_chars, CMPI_instance, CMPI_ref, CMPI_args,
                     CMPI_enumeration, CMPI_dateTime, CMPI_stringA}) {
    cmpiReleaseCMPIValue(t, &v);  // a NULL object: nothing to release
    EXPECT_EQ(val(v.uint64), 0u);
  }
  cmpiReleaseCMPIValue(CMPI_string, nullptr);
}

}  // namespace
