// Typed values as written on the command line: every type, arrays, null, every mistake.
#include "value_syntax.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <cstdint>
#include <string>

namespace {

using cli::ParsedValue;
using cli::SyntaxError;

std::string error_of(const std::string &text) {
  try {
    cli::parse_value(text);
  } catch (const SyntaxError &e) {
    return e.what();
  }
  return "<no error>";
}

CMPIType type_of(const ParsedValue &v) { return v.type; }

TEST(ValueSyntax, UntypedIsAString) {
  ParsedValue v = cli::parse_value("Name=fan 2");
  EXPECT_EQ(v.name, "Name");
  EXPECT_EQ(type_of(v), CMPI_string);
  EXPECT_FALSE(v.is_null);
  ASSERT_EQ(v.items.size(), 1u);
  EXPECT_EQ(v.items[0].text, "fan 2");
}

TEST(ValueSyntax, TextIsTakenLiterally) {
  EXPECT_EQ(cli::parse_value("Notes=").items.at(0).text, "");
  EXPECT_EQ(cli::parse_value("Notes=null").items.at(0).text, "null");
  EXPECT_EQ(cli::parse_value("Notes=\"q\" a=b \\").items.at(0).text, "\"q\" a=b \\");
  EXPECT_EQ(cli::parse_value("Notes:string=x").items.at(0).text, "x");
}

TEST(ValueSyntax, NoEqualsIsNull) {
  ParsedValue plain = cli::parse_value("Notes");
  EXPECT_TRUE(plain.is_null);
  EXPECT_EQ(type_of(plain), CMPI_string);
  EXPECT_TRUE(plain.items.empty());
  ParsedValue typed = cli::parse_value("Speed:uint32");
  EXPECT_TRUE(typed.is_null);
  EXPECT_EQ(type_of(typed), CMPI_uint32);
  ParsedValue array = cli::parse_value("Tags:string[]");
  EXPECT_TRUE(array.is_null);
  EXPECT_EQ(type_of(array), CMPI_stringA);
}

TEST(ValueSyntax, Booleans) {
  EXPECT_TRUE(cli::parse_value("E:boolean=true").items.at(0).boolean_value);
  EXPECT_TRUE(cli::parse_value("E:boolean=TRUE").items.at(0).boolean_value);
  EXPECT_FALSE(cli::parse_value("E:boolean=False").items.at(0).boolean_value);
  EXPECT_EQ(type_of(cli::parse_value("E:Boolean=true")), CMPI_boolean);
}

TEST(ValueSyntax, Char16) {
  EXPECT_EQ(cli::parse_value("C:char16=A").items.at(0).unsigned_value, 65u);
  EXPECT_EQ(cli::parse_value("C:char16=\xC3\xA9").items.at(0).unsigned_value, 0xE9u);
  EXPECT_EQ(cli::parse_value("C:char16=\xE2\x82\xAC").items.at(0).unsigned_value, 0x20ACu);
  EXPECT_EQ(type_of(cli::parse_value("C:char16=A")), CMPI_char16);
}

TEST(ValueSyntax, UnsignedIntegersAtTheirLimits) {
  EXPECT_EQ(cli::parse_value("V:uint8=255").items.at(0).unsigned_value, 255u);
  EXPECT_EQ(cli::parse_value("V:uint16=65535").items.at(0).unsigned_value, 65535u);
  EXPECT_EQ(cli::parse_value("V:uint32=4294967295").items.at(0).unsigned_value, 4294967295u);
  EXPECT_EQ(cli::parse_value("V:uint64=18446744073709551615").items.at(0).unsigned_value,
            UINT64_MAX);
  EXPECT_EQ(cli::parse_value("V:uint32=0").items.at(0).unsigned_value, 0u);
  EXPECT_EQ(type_of(cli::parse_value("V:uint8=1")), CMPI_uint8);
  EXPECT_EQ(type_of(cli::parse_value("V:uint16=1")), CMPI_uint16);
  EXPECT_EQ(type_of(cli::parse_value("V:uint64=1")), CMPI_uint64);
}

TEST(ValueSyntax, SignedIntegersAtTheirLimits) {
  EXPECT_EQ(cli::parse_value("V:sint8=-128").items.at(0).signed_value, -128);
  EXPECT_EQ(cli::parse_value("V:sint8=127").items.at(0).signed_value, 127);
  EXPECT_EQ(cli::parse_value("V:sint16=-32768").items.at(0).signed_value, -32768);
  EXPECT_EQ(cli::parse_value("V:sint32=-2147483648").items.at(0).signed_value, INT32_MIN);
  EXPECT_EQ(cli::parse_value("V:sint64=-9223372036854775808").items.at(0).signed_value,
            INT64_MIN);
  EXPECT_EQ(cli::parse_value("V:sint64=9223372036854775807").items.at(0).signed_value,
            INT64_MAX);
  EXPECT_EQ(cli::parse_value("V:sint32=+5").items.at(0).signed_value, 5);
  EXPECT_EQ(type_of(cli::parse_value("V:sint16=1")), CMPI_sint16);
  EXPECT_EQ(type_of(cli::parse_value("V:sint64=1")), CMPI_sint64);
}

TEST(ValueSyntax, Reals) {
  EXPECT_DOUBLE_EQ(cli::parse_value("R:real64=0.25").items.at(0).real_value, 0.25);
  EXPECT_DOUBLE_EQ(cli::parse_value("R:real64=-2e3").items.at(0).real_value, -2000.0);
  EXPECT_DOUBLE_EQ(cli::parse_value("R:real32=1.5").items.at(0).real_value, 1.5);
  EXPECT_DOUBLE_EQ(cli::parse_value("R:real64=7").items.at(0).real_value, 7.0);
  EXPECT_EQ(type_of(cli::parse_value("R:real32=1")), CMPI_real32);
  EXPECT_EQ(type_of(cli::parse_value("R:real64=1")), CMPI_real64);
}

TEST(ValueSyntax, DateTimes) {
  ParsedValue v = cli::parse_value("InstallDate:datetime=20241114120523.243424+000");
  EXPECT_EQ(type_of(v), CMPI_dateTime);
  EXPECT_EQ(v.items.at(0).text, "20241114120523.243424+000");
  EXPECT_EQ(cli::parse_value("D:datetime=20241114120523.243424-060").items.at(0).text,
            "20241114120523.243424-060");
  EXPECT_EQ(cli::parse_value("D:DateTime=00000001020304.000005:000").items.at(0).text,
            "00000001020304.000005:000");
}

TEST(ValueSyntax, References) {
  ParsedValue v = cli::parse_value("Chassis:ref=root/cimv2:Demo_Chassis.Tag=\"chassis0\"");
  EXPECT_EQ(type_of(v), CMPI_ref);
  ASSERT_TRUE(v.items.at(0).reference);
  EXPECT_EQ(v.items[0].reference->name_space, "root/cimv2");
  EXPECT_EQ(v.items[0].reference->class_name, "Demo_Chassis");
  EXPECT_EQ(v.items[0].reference->keys.at(0).text, "chassis0");
  EXPECT_EQ(type_of(cli::parse_value("C:reference=X")), CMPI_ref);
}

TEST(ValueSyntax, Arrays) {
  ParsedValue v = cli::parse_value("Tags:string[]=[a,b,c]");
  EXPECT_EQ(type_of(v), CMPI_stringA);
  EXPECT_TRUE(v.is_array());
  EXPECT_EQ(v.element_type(), CMPI_string);
  ASSERT_EQ(v.items.size(), 3u);
  EXPECT_EQ(v.items[0].text, "a");
  EXPECT_EQ(v.items[2].text, "c");
}

TEST(ValueSyntax, ArrayElementsTrimmedQuotedAndEscaped) {
  ParsedValue v = cli::parse_value(R"(T:string[]=[ front door , "b,c", "", "q\"\\" ,"[x]"])");
  ASSERT_EQ(v.items.size(), 5u);
  EXPECT_EQ(v.items[0].text, "front door");
  EXPECT_EQ(v.items[1].text, "b,c");
  EXPECT_EQ(v.items[2].text, "");
  EXPECT_EQ(v.items[3].text, "q\"\\");
  EXPECT_EQ(v.items[4].text, "[x]");
}

TEST(ValueSyntax, EmptyArrays) {
  EXPECT_TRUE(cli::parse_value("T:uint32[]=[]").items.empty());
  EXPECT_TRUE(cli::parse_value("T:uint32[]=[  ]").items.empty());
  EXPECT_FALSE(cli::parse_value("T:uint32[]=[]").is_null);
}

TEST(ValueSyntax, TypedArrays) {
  ParsedValue u = cli::parse_value("H:uint32[]=[1, 2,3]");
  EXPECT_EQ(type_of(u), CMPI_uint32A);
  ASSERT_EQ(u.items.size(), 3u);
  EXPECT_EQ(u.items[1].unsigned_value, 2u);
  ParsedValue d = cli::parse_value(
      "D:datetime[]=[20241114120523.243424+000,\"20250101000000.000000+000\"]");
  EXPECT_EQ(type_of(d), CMPI_dateTimeA);
  EXPECT_EQ(d.items.at(1).text, "20250101000000.000000+000");
  ParsedValue r = cli::parse_value(
      R"(R:ref[]=["Demo_Fan.DeviceID=\"fan0\",SystemName=\"bmc0\"", "Demo_Chassis.Tag=\"c\""])");
  EXPECT_EQ(type_of(r), CMPI_refA);
  ASSERT_EQ(r.items.size(), 2u);
  EXPECT_EQ(r.items[0].reference->keys.size(), 2u);
  EXPECT_EQ(r.items[1].reference->class_name, "Demo_Chassis");
  ParsedValue b = cli::parse_value("B:boolean[]=[true,FALSE]");
  EXPECT_EQ(type_of(b), CMPI_booleanA);
  EXPECT_TRUE(b.items.at(0).boolean_value);
  EXPECT_FALSE(b.items.at(1).boolean_value);
  ParsedValue s = cli::parse_value("S:sint8[]=[-1,1]");
  EXPECT_EQ(s.items.at(0).signed_value, -1);
  ParsedValue f = cli::parse_value("F:real64[]=[0.5]");
  EXPECT_DOUBLE_EQ(f.items.at(0).real_value, 0.5);
}

TEST(ValueSyntax, TypeNames) {
  EXPECT_EQ(cli::type_name(CMPI_uint32), "uint32");
  EXPECT_EQ(cli::type_name(CMPI_stringA), "string[]");
  EXPECT_EQ(cli::type_name(CMPI_chars), "string");
  EXPECT_EQ(cli::type_name(CMPI_ref), "reference");
  EXPECT_EQ(cli::type_name(CMPI_instance), "instance");
  EXPECT_EQ(cli::type_name(CMPI_instanceA), "instance[]");
  EXPECT_EQ(cli::type_name(CMPI_dateTime), "datetime");
  EXPECT_EQ(cli::type_name(CMPI_null), "null");
  EXPECT_EQ(cli::type_name(CMPI_args), "type 4608");
  EXPECT_EQ(cli::type_from_name("UINT8"), CMPI_uint8);
  EXPECT_EQ(cli::type_from_name("ref"), CMPI_ref);
  EXPECT_EQ(cli::type_from_name("int"), 0);
}

// ---- every mistake ----------------------------------------------------------------------------

TEST(ValueSyntaxErrors, Names) {
  EXPECT_EQ(error_of("=x"), "missing name in '=x'");
  EXPECT_EQ(error_of(":uint32=1"), "missing name in ':uint32=1'");
  EXPECT_EQ(error_of("9x=1"), "bad name '9x' (a letter or '_', then letters, digits or '_')");
  EXPECT_EQ(error_of("a b=1"), "bad name 'a b' (a letter or '_', then letters, digits or '_')");
}

TEST(ValueSyntaxErrors, Types) {
  EXPECT_EQ(error_of("X:=1"), "missing type after 'X:'");
  EXPECT_EQ(error_of("X:[]=[1]"), "missing type after 'X:'");
  EXPECT_EQ(error_of("X:int=1"),
            "unknown type 'int' (known: boolean, char16, uint8, uint16, uint32, uint64, sint8, "
            "sint16, sint32, sint64, real32, real64, string, datetime, ref)");
  EXPECT_EQ(error_of("X:instance=1"),
            "unknown type 'instance' (known: boolean, char16, uint8, uint16, uint32, uint64, "
            "sint8, sint16, sint32, sint64, real32, real64, string, datetime, ref)");
}

TEST(ValueSyntaxErrors, Booleans) {
  EXPECT_EQ(error_of("E:boolean=yes"), "'yes' is not a boolean (true or false)");
  EXPECT_EQ(error_of("E:boolean="), "'' is not a boolean (true or false)");
}

TEST(ValueSyntaxErrors, Char16) {
  EXPECT_EQ(error_of("C:char16=AB"), "'AB' is not a single character");
  EXPECT_EQ(error_of("C:char16="), "'' is not a single character");
  EXPECT_EQ(error_of("C:char16=\xF0\x9F\x98\x80"), "'\xF0\x9F\x98\x80' is not a single character");
}

TEST(ValueSyntaxErrors, Unsigned) {
  EXPECT_EQ(error_of("V:uint8=256"), "'256' is not a uint8 (0 to 255)");
  EXPECT_EQ(error_of("V:uint16=-1"), "'-1' is not a uint16 (0 to 65535)");
  EXPECT_EQ(error_of("V:uint32=4294967296"), "'4294967296' is not a uint32 (0 to 4294967295)");
  EXPECT_EQ(error_of("V:uint64=18446744073709551616"),
            "'18446744073709551616' is not a uint64 (0 to 18446744073709551615)");
  EXPECT_EQ(error_of("V:uint32=12x"), "'12x' is not a uint32 (0 to 4294967295)");
  EXPECT_EQ(error_of("V:uint32="), "'' is not a uint32 (0 to 4294967295)");
  EXPECT_EQ(error_of("V:uint32=0x10"), "'0x10' is not a uint32 (0 to 4294967295)");
}

TEST(ValueSyntaxErrors, Signed) {
  EXPECT_EQ(error_of("V:sint8=-129"), "'-129' is not a sint8 (-128 to 127)");
  EXPECT_EQ(error_of("V:sint8=128"), "'128' is not a sint8 (-128 to 127)");
  EXPECT_EQ(error_of("V:sint16=40000"), "'40000' is not a sint16 (-32768 to 32767)");
  EXPECT_EQ(error_of("V:sint32=-"), "'-' is not a sint32 (-2147483648 to 2147483647)");
  EXPECT_EQ(error_of("V:sint64=9223372036854775808"),
            "'9223372036854775808' is not a sint64 (-9223372036854775808 to "
            "9223372036854775807)");
}

TEST(ValueSyntaxErrors, Reals) {
  const std::string why = " (a number such as 1.5 or -2e3)";
  EXPECT_EQ(error_of("R:real64=abc"), "'abc' is not a real64" + why);
  EXPECT_EQ(error_of("R:real64=nan"), "'nan' is not a real64" + why);
  EXPECT_EQ(error_of("R:real64=1e999"), "'1e999' is not a real64" + why);
  EXPECT_EQ(error_of("R:real32=1e39"), "'1e39' is not a real32" + why);
  EXPECT_EQ(error_of("R:real64= 1"), "' 1' is not a real64" + why);
  EXPECT_EQ(error_of("R:real64="), "'' is not a real64" + why);
}

TEST(ValueSyntaxErrors, DateTimes) {
  const std::string why =
      " is not a date-time (yyyymmddhhmmss.mmmmmm+zzz, or ddddddddhhmmss.mmmmmm:000 for an "
      "interval)";
  EXPECT_EQ(error_of("D:datetime=2024-11-14"), "'2024-11-14'" + why);
  EXPECT_EQ(error_of("D:datetime=20241114120523.243424*000"), "'20241114120523.243424*000'" + why);
  EXPECT_EQ(error_of("D:datetime=20241114120523,243424+000"), "'20241114120523,243424+000'" + why);
  EXPECT_EQ(error_of("D:datetime=2024111412052x.243424+000"), "'2024111412052x.243424+000'" + why);
  EXPECT_EQ(error_of("D:datetime=00000001020304.000005:001"), "'00000001020304.000005:001'" + why);
}

TEST(ValueSyntaxErrors, References) {
  EXPECT_EQ(error_of("C:ref=Demo_Chassis.Tag=chassis0"),
            "'Demo_Chassis.Tag=chassis0' is not an object path: value 'chassis0' of key 'Tag' at "
            "column 18 must be quoted (only numbers and true/false stand without quotes)");
  EXPECT_EQ(error_of("C:ref="), "'' is not an object path: empty object path");
}

TEST(ValueSyntaxErrors, Arrays) {
  EXPECT_EQ(error_of("T:string[]=a,b"), "array value 'a,b' must be written in brackets, e.g. [a,b]");
  EXPECT_EQ(error_of("T:string[]="), "array value '' must be written in brackets, e.g. [a,b]");
  EXPECT_EQ(error_of("T:string[]=[a,b"), "array value '[a,b' must be written in brackets, e.g. [a,b]");
  EXPECT_EQ(error_of("T:string[]=[a,,b]"),
            "empty array element at column 15 (write \"\" for an empty string)");
  EXPECT_EQ(error_of("T:string[]=[a,]"),
            "empty array element at column 15 (write \"\" for an empty string)");
  EXPECT_EQ(error_of("T:string[]=[\"a]"), "unterminated quoted element at column 13");
  EXPECT_EQ(error_of("T:string[]=[\"a\\]"), "unterminated quoted element at column 13");
  EXPECT_EQ(error_of("T:string[]=[\"a\\tb\"]"),
            "unknown escape '\\t' at column 15 (only \\\" and \\\\)");
  EXPECT_EQ(error_of("T:string[]=[a\"b\"]"),
            "unexpected '\"' in an array element at column 14 (quote the element)");
  EXPECT_EQ(error_of("T:string[]=[a]]"),
            "unexpected ']' in an array element at column 14 (quote the element)");
  EXPECT_EQ(error_of("T:string[]=[\"a\" b]"), "unexpected 'b' after an array element at column 17");
  EXPECT_EQ(error_of("T:uint8[]=[1,300]"), "'300' is not a uint8 (0 to 255)");
}

}  // namespace
