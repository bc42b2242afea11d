// Object paths as written on the command line: every form, every escape, every mistake.
#include "path_syntax.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using cli::KeyBinding;
using cli::ParsedPath;
using cli::SyntaxError;
using Kind = cli::KeyBinding::Kind;

std::string error_of(const std::string &text) {
  try {
    cli::parse_path(text);
  } catch (const SyntaxError &e) {
    return e.what();
  }
  return "<no error>";
}

TEST(PathSyntax, ClassAlone) {
  ParsedPath p = cli::parse_path("Demo_Fan");
  EXPECT_EQ(p.name_space, "");
  EXPECT_EQ(p.class_name, "Demo_Fan");
  EXPECT_TRUE(p.keys.empty());
}

TEST(PathSyntax, NamespaceAndClass) {
  ParsedPath p = cli::parse_path("root/cimv2:Demo_Fan");
  EXPECT_EQ(p.name_space, "root/cimv2");
  EXPECT_EQ(p.class_name, "Demo_Fan");
  EXPECT_TRUE(p.keys.empty());
}

TEST(PathSyntax, NamespaceSegmentsMayHoldDashesAndDigits) {
  EXPECT_EQ(cli::parse_path("root/my-ns_2:X").name_space, "root/my-ns_2");
  EXPECT_EQ(cli::parse_path("interop:X").name_space, "interop");
}

TEST(PathSyntax, QuotedStringKeys) {
  ParsedPath p = cli::parse_path("root/cimv2:Demo_Fan.DeviceID=\"fan0\",SystemName=\"bmc0\"");
  ASSERT_EQ(p.keys.size(), 2u);
  EXPECT_EQ(p.keys[0].name, "DeviceID");
  EXPECT_EQ(p.keys[0].kind, Kind::kString);
  EXPECT_EQ(p.keys[0].text, "fan0");
  EXPECT_EQ(p.keys[1].name, "SystemName");
  EXPECT_EQ(p.keys[1].text, "bmc0");
}

TEST(PathSyntax, EscapedQuoteAndBackslashInAString) {
  ParsedPath p = cli::parse_path(R"(X.Name="say \"hi\" C:\\dir")");
  ASSERT_EQ(p.keys.size(), 1u);
  EXPECT_EQ(p.keys[0].text, R"(say "hi" C:\dir)");
}

TEST(PathSyntax, QuotedValuesMayHoldSeparators) {
  ParsedPath p = cli::parse_path(R"(X.A="a,b.c:d=e",B="")");
  ASSERT_EQ(p.keys.size(), 2u);
  EXPECT_EQ(p.keys[0].text, "a,b.c:d=e");
  EXPECT_EQ(p.keys[0].kind, Kind::kString);
  EXPECT_EQ(p.keys[1].text, "");
  EXPECT_EQ(p.name_space, "");
}

TEST(PathSyntax, UnquotedNumbersAndBooleans) {
  ParsedPath p = cli::parse_path("X.A=12,B=-3,C=+7,D=1.5,E=-2e3,F=2.5E-1,G=true,H=FALSE");
  ASSERT_EQ(p.keys.size(), 8u);
  EXPECT_EQ(p.keys[0].kind, Kind::kInteger);
  EXPECT_EQ(p.keys[0].text, "12");
  EXPECT_EQ(p.keys[1].kind, Kind::kInteger);
  EXPECT_EQ(p.keys[1].text, "-3");
  EXPECT_EQ(p.keys[2].kind, Kind::kInteger);
  EXPECT_EQ(p.keys[2].text, "+7");
  EXPECT_EQ(p.keys[3].kind, Kind::kReal);
  EXPECT_EQ(p.keys[3].text, "1.5");
  EXPECT_EQ(p.keys[4].kind, Kind::kReal);
  EXPECT_EQ(p.keys[5].kind, Kind::kReal);
  EXPECT_EQ(p.keys[6].kind, Kind::kBoolean);
  EXPECT_EQ(p.keys[6].text, "true");
  EXPECT_EQ(p.keys[7].kind, Kind::kBoolean);
  EXPECT_EQ(p.keys[7].text, "false");
}

TEST(PathSyntax, ReferenceKeysAreQuotedNestedPaths) {
  ParsedPath p = cli::parse_path(
      R"(Demo_ChassisFan.GroupComponent="Demo_Chassis.Tag=\"chassis0\"",)"
      R"(PartComponent="root/cimv2:Demo_Fan.DeviceID=\"fan0\",SystemName=\"bmc0\"")");
  ASSERT_EQ(p.keys.size(), 2u);
  ASSERT_EQ(p.keys[0].kind, Kind::kReference);
  ASSERT_TRUE(p.keys[0].reference);
  EXPECT_EQ(p.keys[0].reference->name_space, "");
  EXPECT_EQ(p.keys[0].reference->class_name, "Demo_Chassis");
  ASSERT_EQ(p.keys[0].reference->keys.size(), 1u);
  EXPECT_EQ(p.keys[0].reference->keys[0].text, "chassis0");
  ASSERT_EQ(p.keys[1].kind, Kind::kReference);
  EXPECT_EQ(p.keys[1].reference->name_space, "root/cimv2");
  ASSERT_EQ(p.keys[1].reference->keys.size(), 2u);
  EXPECT_EQ(p.keys[1].reference->keys[1].name, "SystemName");
  EXPECT_EQ(p.keys[1].reference->keys[1].text, "bmc0");
}

TEST(PathSyntax, ReferenceInsideAReferenceNestsTwoLevelsOfEscapes) {
  ParsedPath p = cli::parse_path(R"(A.R="B.S=\"C.K=\\\"v\\\"\"")");
  ASSERT_EQ(p.keys[0].kind, Kind::kReference);
  const ParsedPath &b = *p.keys[0].reference;
  ASSERT_EQ(b.keys.size(), 1u);
  ASSERT_EQ(b.keys[0].kind, Kind::kReference);
  EXPECT_EQ(b.keys[0].reference->class_name, "C");
  EXPECT_EQ(b.keys[0].reference->keys[0].text, "v");
}

TEST(PathSyntax, QuotedTextThatIsNotAKeyedPathIsAString) {
  // A class name alone, or a path with a mistake inside, stays a string.
  EXPECT_EQ(cli::parse_path(R"(X.K="Demo_Chassis")").keys[0].kind, Kind::kString);
  ParsedPath p = cli::parse_path(R"(X.K="Demo_Chassis.Tag=chassis0")");
  EXPECT_EQ(p.keys[0].kind, Kind::kString);
  EXPECT_EQ(p.keys[0].text, "Demo_Chassis.Tag=chassis0");
}

TEST(PathSyntax, FormatQuotesEscapesAndNestsReferences) {
  const std::string text =
      R"(root/cimv2:Demo_ChassisFan.GroupComponent="Demo_Chassis.Tag=\"a\\\"b\"",N=5,B=true)";
  ParsedPath p = cli::parse_path(text);
  EXPECT_EQ(cli::format_path(p), text);
  EXPECT_EQ(cli::format_path(cli::parse_path(R"(X.Name="q\"\\")")), R"(X.Name="q\"\\")");
  EXPECT_EQ(cli::format_path(cli::parse_path("Demo_Fan")), "Demo_Fan");
}

TEST(PathSyntax, QuoteEscapesOnlyQuoteAndBackslash) {
  EXPECT_EQ(cli::quote("a\"b\\c\nd"), "\"a\\\"b\\\\c\nd\"");
  EXPECT_EQ(cli::quote(""), "\"\"");
}

TEST(PathSyntax, Identifiers) {
  EXPECT_TRUE(cli::is_identifier("Demo_Fan"));
  EXPECT_TRUE(cli::is_identifier("_x1"));
  EXPECT_FALSE(cli::is_identifier("1x"));
  EXPECT_FALSE(cli::is_identifier(""));
  EXPECT_FALSE(cli::is_identifier("a-b"));
}

// ---- every mistake ----------------------------------------------------------------------------

TEST(PathSyntaxErrors, Empty) { EXPECT_EQ(error_of(""), "empty object path"); }

TEST(PathSyntaxErrors, EmptyNamespace) {
  EXPECT_EQ(error_of(":Demo_Fan"), "missing namespace before ':' at column 1");
}

TEST(PathSyntaxErrors, BadNamespace) {
  const std::string why = "' (segments of letters, digits, '_' and '-' joined by '/')";
  EXPECT_EQ(error_of("root//cimv2:X"), "bad namespace 'root//cimv2" + why);
  EXPECT_EQ(error_of("/root:X"), "bad namespace '/root" + why);
  EXPECT_EQ(error_of("root/:X"), "bad namespace 'root/" + why);
  EXPECT_EQ(error_of("ro ot:X"), "bad namespace 'ro ot" + why);
}

TEST(PathSyntaxErrors, MissingClass) {
  EXPECT_EQ(error_of("root/cimv2:"), "missing class name at column 12");
  EXPECT_EQ(error_of(".Key=1"), "missing class name at column 1");
}

TEST(PathSyntaxErrors, BadClassName) {
  EXPECT_EQ(error_of("1Fan"), "bad class name '1Fan' at column 1");
}

TEST(PathSyntaxErrors, JunkAfterClass) {
  EXPECT_EQ(error_of("Demo_Fan Key"), "unexpected ' ' at column 9 (a '.' comes before the keys)");
  EXPECT_EQ(error_of("Demo-Fan"), "unexpected '-' at column 5 (a '.' comes before the keys)");
}

TEST(PathSyntaxErrors, MissingKeyName) {
  EXPECT_EQ(error_of("Demo_Fan."), "missing key name at column 10");
  EXPECT_EQ(error_of("Demo_Fan.=\"x\""), "missing key name at column 10");
  EXPECT_EQ(error_of("Demo_Fan.A=1,"), "missing key name at column 14");
}

TEST(PathSyntaxErrors, BadKeyName) {
  EXPECT_EQ(error_of("Demo_Fan.9A=1"), "bad key name '9A' at column 10");
}

TEST(PathSyntaxErrors, MissingEquals) {
  EXPECT_EQ(error_of("Demo_Fan.DeviceID"), "missing '=' after key name 'DeviceID'");
  EXPECT_EQ(error_of("Demo_Fan.DeviceID:\"x\""),
            "unexpected ':' at column 18 (an '=' follows the key name 'DeviceID')");
}

TEST(PathSyntaxErrors, MissingValue) {
  EXPECT_EQ(error_of("Demo_Fan.DeviceID="), "missing value for key 'DeviceID' at column 19");
  EXPECT_EQ(error_of("Demo_Fan.DeviceID=,A=1"), "missing value for key 'DeviceID' at column 19");
}

TEST(PathSyntaxErrors, UnquotedText) {
  EXPECT_EQ(error_of("Demo_Fan.DeviceID=fan0"),
            "value 'fan0' of key 'DeviceID' at column 19 must be quoted (only numbers and "
            "true/false stand without quotes)");
  EXPECT_EQ(error_of("X.A=1.,B=1"),
            "value '1.' of key 'A' at column 5 must be quoted (only numbers and true/false "
            "stand without quotes)");
}

TEST(PathSyntaxErrors, UnterminatedQuote) {
  EXPECT_EQ(error_of("X.A=\"abc"), "unterminated quoted value at column 5");
  EXPECT_EQ(error_of("X.A=\"abc\\"), "unterminated quoted value at column 5");
}

TEST(PathSyntaxErrors, UnknownEscape) {
  EXPECT_EQ(error_of(R"(X.A="a\nb")"), "unknown escape '\\n' at column 7 (only \\\" and \\\\)");
}

TEST(PathSyntaxErrors, JunkAfterValue) {
  EXPECT_EQ(error_of(R"(X.A="a"b)"), "unexpected 'b' at column 8 after the value of key 'A'");
  EXPECT_EQ(error_of(R"(X.A="a" ,B=1)"), "unexpected ' ' at column 8 after the value of key 'A'");
}

TEST(PathSyntaxErrors, DuplicateKey) {
  EXPECT_EQ(error_of(R"(X.A="a",a="b")"), "key 'a' is given twice");
}

}  // namespace
