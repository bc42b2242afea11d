// Defaults: every type's JSON text, and the values that do not fit their property.
#include <gtest/gtest.h>

#include <string>

#include "default_value.h"
#include "mof_test_support.h"

namespace {

// The DefaultValue of the one property of "class T { DECLARATION };", or "NULL" / the error.
std::string DefaultOf(const std::string &declaration) {
  mof::Diagnostics diagnostics;
  const mof::SchemaRows rows = moftest::Import({{"t.mof", "class T {\n" + declaration + "\n};"}},
                                               diagnostics);
  if (diagnostics.failed()) return moftest::Lines(diagnostics);
  const auto &c = std::get<mof::ClassRows>(rows.entries.at(0));
  if (c.properties.size() != 1) return "not one property";
  return c.properties[0].defaultValue.value_or("NULL");
}

TEST(MofDefaults, JsonTextOfEveryType) {
  EXPECT_EQ(DefaultOf("boolean P = true;"), "true");
  EXPECT_EQ(DefaultOf("boolean P = False;"), "false");
  EXPECT_EQ(DefaultOf("char16 P = 'x';"), "\"x\"");
  EXPECT_EQ(DefaultOf("char16 P = '\\\"';"), "\"\\\"\"");
  EXPECT_EQ(DefaultOf("string P = \"a\\\"b\\\\c\\n\" \"d\";"), "\"a\\\"b\\\\c\\nd\"");
  EXPECT_EQ(DefaultOf("string P = \"\\x01\xC3\xA9\";"), "\"\\u0001\xC3\xA9\"");
  EXPECT_EQ(DefaultOf("datetime P = \"20240102030405.123456+060\";"),
            "\"20240102030405.123456+060\"");
  EXPECT_EQ(DefaultOf("datetime P = \"00000001020304.000000:000\";"),
            "\"00000001020304.000000:000\"");
  EXPECT_EQ(DefaultOf("uint8 P = 255;"), "255");
  EXPECT_EQ(DefaultOf("uint8 P = 0xFF;"), "255");
  EXPECT_EQ(DefaultOf("uint16 P = 65535;"), "65535");
  EXPECT_EQ(DefaultOf("uint32 P = 4294967295;"), "4294967295");
  EXPECT_EQ(DefaultOf("uint64 P = 18446744073709551615;"), "18446744073709551615");
  EXPECT_EQ(DefaultOf("uint8 P = -0;"), "0");
  EXPECT_EQ(DefaultOf("sint8 P = -128;"), "-128");
  EXPECT_EQ(DefaultOf("sint8 P = 127;"), "127");
  EXPECT_EQ(DefaultOf("sint16 P = -32768;"), "-32768");
  EXPECT_EQ(DefaultOf("sint32 P = -2147483648;"), "-2147483648");
  EXPECT_EQ(DefaultOf("sint64 P = -9223372036854775808;"), "-9223372036854775808");
  EXPECT_EQ(DefaultOf("sint64 P = 017;"), "15");
  EXPECT_EQ(DefaultOf("sint32 P = -101b;"), "-5");
  EXPECT_EQ(DefaultOf("real32 P = 0.1;"), "0.1");
  EXPECT_EQ(DefaultOf("real32 P = 2;"), "2");
  EXPECT_EQ(DefaultOf("real64 P = -.5e3;"), "-500");
  EXPECT_EQ(DefaultOf("real64 P = 0.1;"), "0.1");
  EXPECT_EQ(DefaultOf("real64 P = 1.5e300;"), "1.5e+300");
  EXPECT_EQ(DefaultOf("real64 P = 1500.0;"), "1500");
  EXPECT_EQ(DefaultOf("real64 P = 123.456;"), "123.456");
  EXPECT_EQ(DefaultOf("real64 P = 0.0;"), "0");
  EXPECT_EQ(DefaultOf("real64 P = 1.0e21;"), "1e+21");
  EXPECT_EQ(DefaultOf("real64 P = -3.25e-8;"), "-3.25e-8");
  EXPECT_EQ(DefaultOf("real32 P = 3.4e38;"), "3.4e+38");
  EXPECT_EQ(DefaultOf("string P = null;"), "NULL");
  EXPECT_EQ(DefaultOf("uint32 P;"), "NULL");
}

TEST(MofDefaults, ArraysOfEveryKind) {
  EXPECT_EQ(DefaultOf("string P[] = {\"a\", \"b\"};"), "[\"a\",\"b\"]");
  EXPECT_EQ(DefaultOf("uint8 P[3] = {1, 0x2, 11b};"), "[1,2,3]");
  EXPECT_EQ(DefaultOf("boolean P[] = {true, false};"), "[true,false]");
  EXPECT_EQ(DefaultOf("real32 P[] = {1.5, -2};"), "[1.5,-2]");
  EXPECT_EQ(DefaultOf("char16 P[] = {'a', 'b'};"), "[\"a\",\"b\"]");
  EXPECT_EQ(DefaultOf("uint16 P[] = {};"), "[]");
  EXPECT_EQ(DefaultOf("uint16 P[] = null;"), "NULL");
}

TEST(MofDefaults, ValuesThatDoNotFitAreErrors) {
  EXPECT_EQ(DefaultOf("uint8 P = \"1\";"),
            "t.mof:2:11: error: the default of property P must be a uint8 value, not a string\n");
  EXPECT_EQ(DefaultOf("uint8 P = 300;"),
            "t.mof:2:11: error: the default of property P, 300, is out of the range of uint8\n");
  EXPECT_EQ(DefaultOf("uint8 P = -1;"),
            "t.mof:2:11: error: the default of property P, -1, is out of the range of uint8\n");
  EXPECT_EQ(DefaultOf("sint8 P = 128;"),
            "t.mof:2:11: error: the default of property P, 128, is out of the range of sint8\n");
  EXPECT_EQ(DefaultOf("sint64 P = 9223372036854775808;"),
            "t.mof:2:12: error: the default of property P, 9223372036854775808, is out of the "
            "range of sint64\n");
  EXPECT_EQ(DefaultOf("uint32 P = 1.5;"),
            "t.mof:2:12: error: the default of property P must be a uint32 value, not the real "
            "number 1.5\n");
  EXPECT_EQ(DefaultOf("real32 P = 1.0e39;"),
            "t.mof:2:12: error: the default of property P, 1.0e39, is out of the range of real32\n");
  EXPECT_EQ(DefaultOf("boolean P = 1;"),
            "t.mof:2:13: error: the default of property P must be true or false, not the integer 1\n");
  EXPECT_EQ(DefaultOf("char16 P = \"x\";"),
            "t.mof:2:12: error: the default of property P must be a char16 value, not a string\n");
  EXPECT_EQ(DefaultOf("string P = 'x';"),
            "t.mof:2:12: error: the default of property P must be a string value, not a char16 "
            "literal\n");
  EXPECT_EQ(DefaultOf("datetime P = \"2024-01-02\";"),
            "t.mof:2:14: error: the default of property P is not CIM date-time text "
            "(yyyymmddhhmmss.mmmmmmsutc or ddddddddhhmmss.mmmmmm:000)\n");
  EXPECT_EQ(DefaultOf("uint8 P = {1};"),
            "t.mof:2:11: error: the default of property P is an array, but property P is not\n");
  EXPECT_EQ(DefaultOf("uint8 P[] = 1;"),
            "t.mof:2:13: error: the default of property P must be an array ({...}), not the "
            "integer 1\n");
  EXPECT_EQ(DefaultOf("uint8 P[2] = {1, 2, 3};"),
            "t.mof:2:14: error: the default of property P has 3 elements; the array holds 2\n");
  EXPECT_EQ(DefaultOf("uint8 P[] = {1, null};"),
            "t.mof:2:17: error: the default of property P holds a null element\n");
  EXPECT_EQ(DefaultOf("uint8 P[] = {1, \"2\"};"),
            "t.mof:2:17: error: the default of property P must be a uint8 value, not a string\n");
  EXPECT_EQ(DefaultOf("T REF P = \"T.K=1\";"),
            "t.mof:2:11: error: a reference cannot have a default (only null): property P\n");
  EXPECT_EQ(DefaultOf("T REF P = null;"), "NULL");
  EXPECT_EQ(DefaultOf("[EmbeddedObject] string P = \"x\";"),
            "t.mof:2:29: error: an embedded instance cannot have a default (only null): property P\n");
  EXPECT_EQ(DefaultOf("uint8 P = $A;"), "t.mof:2:11: error: an alias cannot be the default of property P\n");
}

TEST(MofDefaults, DateTimeText) {
  EXPECT_TRUE(mof::IsDateTimeText("20240102030405.123456-300"));
  EXPECT_TRUE(mof::IsDateTimeText("2024**02030405.******+000"));
  EXPECT_TRUE(mof::IsDateTimeText("12345678123456.123456:000"));
  EXPECT_FALSE(mof::IsDateTimeText("12345678123456.123456:001"));
  EXPECT_FALSE(mof::IsDateTimeText("20240102030405.123456+06"));
  EXPECT_FALSE(mof::IsDateTimeText("20240102030405,123456+060"));
  EXPECT_FALSE(mof::IsDateTimeText("2024010203040a.123456+060"));
}

}  // namespace
