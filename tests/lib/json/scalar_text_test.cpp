// scalar_text_test.cpp - ScalarText gives value2Chars' text for every scalar, and for integers
// the number strtoll reads from that text.
#include "json/scalar_text.h"

#include <cmpiinterface.h>
#include <cmpimacs.h>
#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <string>
#include <vector>

#include "json/type_codes.h"

namespace {

using cmpiutility::is_integer_type;
using cmpiutility::ScalarText;

// value2Chars' text, "<nullptr>" when it gives none.
std::string value2chars_text(CMPIType type, const CMPIValue &value) {
  char *text = value2Chars(type, &value);
  const std::string result = text != nullptr ? text : "<nullptr>";
  std::free(text);
  return result;
}

std::string scalar_text(CMPIType type, const CMPIValue &value) {
  const ScalarText text(type, value);
  return text.get() != nullptr ? text.get() : "<nullptr>";
}

struct Integer {
  CMPIType type;
  CMPIValue value;
};

template <typename T>
Integer integer(CMPIType type, T number) {
  Integer i{type, {}};
  switch (type) {
    case CMPI_uint8: i.value.uint8 = static_cast<CMPIUint8>(number); break;
    case CMPI_uint16: i.value.uint16 = static_cast<CMPIUint16>(number); break;
    case CMPI_uint32: i.value.uint32 = static_cast<CMPIUint32>(number); break;
    case CMPI_uint64: i.value.uint64 = static_cast<CMPIUint64>(number); break;
    case CMPI_sint8: i.value.sint8 = static_cast<CMPISint8>(number); break;
    case CMPI_sint16: i.value.sint16 = static_cast<CMPISint16>(number); break;
    case CMPI_sint32: i.value.sint32 = static_cast<CMPISint32>(number); break;
    default: i.value.sint64 = static_cast<CMPISint64>(number); break;
  }
  return i;
}

std::vector<Integer> integers_at_their_limits() {
  return {
      integer(CMPI_uint8, 0),           integer(CMPI_uint8, 255),
      integer(CMPI_uint16, 0),          integer(CMPI_uint16, 65535),
      integer(CMPI_uint32, 0),          integer(CMPI_uint32, UINT32_MAX),
      integer(CMPI_uint64, 0),          integer(CMPI_uint64, uint64_t{INT64_MAX}),
      integer(CMPI_uint64, uint64_t{INT64_MAX} + 1),
      integer(CMPI_uint64, UINT64_MAX),
      integer(CMPI_sint8, -128),        integer(CMPI_sint8, 127),
      integer(CMPI_sint16, -32768),     integer(CMPI_sint16, 32767),
      integer(CMPI_sint32, INT32_MIN),  integer(CMPI_sint32, INT32_MAX),
      integer(CMPI_sint64, INT64_MIN),  integer(CMPI_sint64, INT64_MAX),
      integer(CMPI_sint64, -1),         integer(CMPI_sint8, 0),
  };
}

TEST(ScalarText, IntegersReadAsValue2CharsWritesThem) {
  for (const Integer &i : integers_at_their_limits()) {
    const std::string expected = value2chars_text(i.type, i.value);
    EXPECT_EQ(scalar_text(i.type, i.value), expected) << "type " << i.type;
    const ScalarText text(i.type, i.value);
    EXPECT_EQ(text.read_back(), strtoll(expected.c_str(), nullptr, 10))
        << "type " << i.type << " text " << expected;
  }
}

TEST(ScalarText, AUint64BeyondTheLargestSint64ReadsBackAsThatLargestValue) {
  const Integer big = integer(CMPI_uint64, UINT64_MAX);
  const ScalarText text(big.type, big.value);
  EXPECT_STREQ(text.get(), "18446744073709551615");
  EXPECT_EQ(text.read_back(), LLONG_MAX);
}

TEST(ScalarText, OnlyTheEightIntegerCodesAreIntegers) {
  for (CMPIType type : {CMPI_uint8, CMPI_uint16, CMPI_uint32, CMPI_uint64, CMPI_sint8,
                        CMPI_sint16, CMPI_sint32, CMPI_sint64}) {
    EXPECT_TRUE(is_integer_type(type)) << type;
  }
  // The numeric-string code shares the integer bits and is still a text.
  for (CMPIType type : {CMPI_boolean, CMPI_char16, CMPI_real32, CMPI_real64, CMPI_string,
                        CMPI_numericString, CMPI_chars, CMPI_uint8A, CMPI_null}) {
    EXPECT_FALSE(is_integer_type(type)) << type;
  }
}

TEST(ScalarText, BooleansRealsAndChar16ReadAsValue2CharsWritesThem) {
  CMPIValue v = {};
  for (CMPIBoolean b : {CMPIBoolean{0}, CMPIBoolean{1}, CMPIBoolean{7}}) {
    v.boolean = b;
    EXPECT_EQ(scalar_text(CMPI_boolean, v), value2chars_text(CMPI_boolean, v));
  }
  v = {};
  v.real64 = 0.1;
  EXPECT_EQ(scalar_text(CMPI_real64, v), value2chars_text(CMPI_real64, v));
  v = {};
  v.real32 = -1.5e-7f;
  EXPECT_EQ(scalar_text(CMPI_real32, v), value2chars_text(CMPI_real32, v));
  v = {};
  v.char16 = 0x20AC;
  EXPECT_EQ(scalar_text(CMPI_char16, v), value2chars_text(CMPI_char16, v));
}

TEST(ScalarText, StringsAreBorrowedAndReadAsValue2CharsWritesThem) {
  CMPIString *s = CreateString("fan \"0\"", nullptr);
  for (CMPIType type :
       {CMPI_string, CMPI_booleanString, CMPI_numericString, CMPI_dateTimeString}) {
    CMPIValue v = {};
    v.string = s;
    const ScalarText text(type, v);
    EXPECT_EQ(text.get(), static_cast<const char *>(s->hdl)) << type;  // no copy
    EXPECT_EQ(scalar_text(type, v), value2chars_text(type, v)) << type;
  }
  CMPIValue chars = {};
  chars.chars = const_cast<char *>("plain");
  EXPECT_EQ(ScalarText(CMPI_chars, chars).get(), chars.chars);
  CMRelease(s);
}

TEST(ScalarText, MissingOrBrokenStringsHaveNoTextAsWithValue2Chars) {
  CMPIValue none = {};
  none.string = nullptr;
  EXPECT_EQ(ScalarText(CMPI_string, none).get(), nullptr);
  EXPECT_EQ(value2chars_text(CMPI_string, none), "<nullptr>");
  CMPIString *s = CreateString("x", nullptr);
  CMPIString no_handle = {nullptr, s->ft};
  CMPIValue broken = {};
  broken.string = &no_handle;
  EXPECT_EQ(ScalarText(CMPI_string, broken).get(), nullptr);
  EXPECT_EQ(value2chars_text(CMPI_string, broken), "<nullptr>");
  CMPIValue chars = {};
  chars.chars = nullptr;
  EXPECT_EQ(ScalarText(CMPI_chars, chars).get(), nullptr);
  EXPECT_EQ(value2chars_text(CMPI_chars, chars), "<nullptr>");
  CMRelease(s);
}

TEST(ScalarText, DateTimesAreValue2CharsOwnCopy) {
  CMPIDateTime *dt = makeNewCMPIDateTimeFromChars("20240102030405.000006+060", nullptr);
  ASSERT_NE(dt, nullptr);
  CMPIValue v = {};
  v.dateTime = dt;
  EXPECT_EQ(scalar_text(CMPI_dateTime, v), "20240102030405.000006+060");
  CMRelease(dt);
}

}  // namespace
