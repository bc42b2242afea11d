// CMPI objects made from parsed paths and values, and the request format's limits.
#include "cmpi_build.h"

#include <gtest/gtest.h>

#include <string>

#include "cli_error.h"
#include "value_text.h"

namespace {

using cli::OwnedData;

// The stored datum of a property, with its type and state copied out of the packed record.
struct Got {
  CMPIType type;
  bool null;
  std::string text;
};

Got property(const CMPIInstance *inst, const char *name) {
  CMPIStatus rc = {CMPI_RC_OK, nullptr};
  OwnedData d(CMGetProperty(inst, name, &rc));
  Got got{d.type(), d.is_null(), cli::data_text(d.type(), d.value(), d.is_null())};
  return got;
}

Got argument(const CMPIArgs *args, const char *name) {
  OwnedData d(CMGetArg(args, name, nullptr));
  Got got{d.type(), d.is_null(), cli::data_text(d.type(), d.value(), d.is_null())};
  return got;
}

cli::InstancePtr new_instance() {
  cli::PathPtr path = cli::build_path(cli::parse_path("Demo_Fan"), "root/cimv2");
  return cli::InstancePtr(makeNewCMPIInstance(path.get(), nullptr));
}

TEST(BuildPath, NamespaceFromTheTextOrTheDefault) {
  cli::PathPtr a = cli::build_path(cli::parse_path("interop:X"), "root/cimv2");
  EXPECT_EQ(cli::path_text(a.get()), "interop:X");
  cli::PathPtr b = cli::build_path(cli::parse_path("X"), "root/cimv2");
  EXPECT_EQ(cli::path_text(b.get()), "root/cimv2:X");
}

TEST(BuildPath, EveryKeyIsTextExceptReferences) {
  cli::PathPtr path = cli::build_path(
      cli::parse_path(R"(X.S="a\"b",I=-3,R=1.5,B=true,Ref="Demo_Chassis.Tag=\"c0\"")"), "ns");
  EXPECT_EQ(CMGetKeyCount(path.get(), nullptr), 5u);
  for (const char *name : {"S", "I", "R", "B"}) {
    OwnedData key(CMGetKey(path.get(), name, nullptr));
    EXPECT_EQ(key.type(), CMPI_string) << name;
  }
  OwnedData ref(CMGetKey(path.get(), "Ref", nullptr));
  EXPECT_EQ(ref.type(), CMPI_ref);
  // Nested references without a namespace take the outer path's.
  EXPECT_EQ(cli::data_text(ref.type(), ref.value(), false), "ns:Demo_Chassis.Tag=\"c0\"");
  EXPECT_EQ(cli::path_text(path.get()),
            R"(ns:X.S="a\"b",I="-3",R="1.5",B="true",Ref="ns:Demo_Chassis.Tag=\"c0\"")");
}

TEST(SetProperty, EveryScalarType) {
  cli::InstancePtr inst = new_instance();
  const char *const texts[] = {
      "Name=fan 2",        "E:boolean=true",  "C:char16=A",       "U8:uint8=255",
      "U16:uint16=65535",  "U32:uint32=4200", "U64:uint64=18446744073709551615",
      "S8:sint8=-128",     "S16:sint16=-2",   "S32:sint32=-3",    "S64:sint64=-4",
      "R32:real32=0.1",    "R64:real64=0.25", "D:datetime=20241114120523.243424+000",
      "Ref:ref=root/cimv2:Demo_Chassis.Tag=\"chassis0\""};
  for (const char *text : texts) cli::set_property(inst.get(), cli::parse_value(text), "root/cimv2");
  struct Expect {
    const char *name;
    CMPIType type;
    const char *text;
  };
  const Expect expected[] = {
      {"Name", CMPI_string, "\"fan 2\""},
      {"E", CMPI_boolean, "true"},
      {"C", CMPI_char16, "'A'"},
      {"U8", CMPI_uint8, "255"},
      {"U16", CMPI_uint16, "65535"},
      {"U32", CMPI_uint32, "4200"},
      {"U64", CMPI_uint64, "18446744073709551615"},
      {"S8", CMPI_sint8, "-128"},
      {"S16", CMPI_sint16, "-2"},
      {"S32", CMPI_sint32, "-3"},
      {"S64", CMPI_sint64, "-4"},
      {"R32", CMPI_real32, "0.1"},
      {"R64", CMPI_real64, "0.25"},
      {"D", CMPI_dateTime, "\"20241114120523.243424+000\""},
      {"Ref", CMPI_ref, "root/cimv2:Demo_Chassis.Tag=\"chassis0\""},
  };
  for (const Expect &e : expected) {
    Got got = property(inst.get(), e.name);
    EXPECT_EQ(got.type, e.type) << e.name;
    EXPECT_FALSE(got.null) << e.name;
    EXPECT_EQ(got.text, e.text) << e.name;
  }
}

TEST(SetProperty, NullValuesKeepTheirType) {
  cli::InstancePtr inst = new_instance();
  cli::set_property(inst.get(), cli::parse_value("Notes"), "ns");
  cli::set_property(inst.get(), cli::parse_value("Speed:uint32"), "ns");
  cli::set_property(inst.get(), cli::parse_value("Tags:string[]"), "ns");
  Got notes = property(inst.get(), "Notes");
  EXPECT_TRUE(notes.null);
  EXPECT_EQ(notes.type, CMPI_string);
  EXPECT_EQ(notes.text, "NULL");
  Got speed = property(inst.get(), "Speed");
  EXPECT_TRUE(speed.null);
  EXPECT_EQ(speed.type, CMPI_uint32);
  Got tags = property(inst.get(), "Tags");
  EXPECT_TRUE(tags.null);
  EXPECT_EQ(tags.type, CMPI_stringA);
}

TEST(SetProperty, Arrays) {
  cli::InstancePtr inst = new_instance();
  cli::set_property(inst.get(), cli::parse_value("Tags:string[]=[a, \"b,c\"]"), "ns");
  cli::set_property(inst.get(), cli::parse_value("H:uint32[]=[1,2,3]"), "ns");
  cli::set_property(inst.get(), cli::parse_value("E:uint8[]=[]"), "ns");
  cli::set_property(inst.get(),
                    cli::parse_value("D:datetime[]=[20241114120523.243424+000]"), "ns");
  cli::set_property(inst.get(), cli::parse_value(R"(R:ref[]=["Demo_Chassis.Tag=\"c\""])"), "ns");
  Got tags = property(inst.get(), "Tags");
  EXPECT_EQ(tags.type, CMPI_stringA);
  EXPECT_EQ(tags.text, "{\"a\", \"b,c\"}");
  Got h = property(inst.get(), "H");
  EXPECT_EQ(h.type, CMPI_uint32A);
  EXPECT_EQ(h.text, "{1, 2, 3}");
  Got e = property(inst.get(), "E");
  EXPECT_EQ(e.type, CMPI_uint8A);
  EXPECT_FALSE(e.null);
  EXPECT_EQ(e.text, "{}");
  EXPECT_EQ(property(inst.get(), "D").text, "{\"20241114120523.243424+000\"}");
  EXPECT_EQ(property(inst.get(), "R").text, "{ns:Demo_Chassis.Tag=\"c\"}");
}

TEST(SetProperty, DateTimeTheObjectLibraryRefusesIsASyntaxError) {
  cli::InstancePtr inst = new_instance();
  // The shape is right (so the parser takes it); month 13 is refused by the object library.
  const cli::ParsedValue value = cli::parse_value("D:datetime=20241301000000.000000+000");
  try {
    cli::set_property(inst.get(), value, "ns");
    ADD_FAILURE() << "no error";
  } catch (const cli::SyntaxError &e) {
    EXPECT_EQ(std::string(e.what()), "'20241301000000.000000+000' is not a valid date-time");
  }
  EXPECT_EQ(CMGetPropertyCount(inst.get(), nullptr), 0u);
}

TEST(AddArgument, TypedAndNull) {
  cli::ArgsPtr args(makeNewCMPIArgs(nullptr));
  cli::add_argument(args.get(), cli::parse_value("DesiredSpeed:uint32=3000"), "ns");
  cli::add_argument(args.get(), cli::parse_value("Label=x"), "ns");
  cli::add_argument(args.get(), cli::parse_value("Target:ref=C.K=\"v\""), "ns");
  cli::add_argument(args.get(), cli::parse_value("Nothing:sint8"), "ns");
  EXPECT_EQ(CMGetArgCount(args.get(), nullptr), 4u);
  Got speed = argument(args.get(), "DesiredSpeed");
  EXPECT_EQ(speed.type, CMPI_uint32);
  EXPECT_EQ(speed.text, "3000");
  EXPECT_EQ(argument(args.get(), "Label").text, "\"x\"");
  EXPECT_EQ(argument(args.get(), "Target").text, "ns:C.K=\"v\"");
  Got nothing = argument(args.get(), "Nothing");
  EXPECT_TRUE(nothing.null);
  EXPECT_EQ(nothing.type, CMPI_sint8);
}

TEST(SetKeyProperties, KeysBecomePropertiesUnlessGiven) {
  cli::ParsedPath path =
      cli::parse_path(R"(X.S="s",I=7,N=-7,R=0.5,B=false,Ref="Demo_Chassis.Tag=\"c\"",Given="k")");
  cli::PathPtr built = cli::build_path(path, "ns");
  cli::InstancePtr inst(makeNewCMPIInstance(built.get(), nullptr));
  cli::set_key_properties(inst.get(), path, {cli::parse_value("given=mine")}, "ns");
  EXPECT_EQ(property(inst.get(), "S").text, "\"s\"");
  EXPECT_EQ(property(inst.get(), "I").type, CMPI_uint64);
  EXPECT_EQ(property(inst.get(), "I").text, "7");
  EXPECT_EQ(property(inst.get(), "N").type, CMPI_sint64);
  EXPECT_EQ(property(inst.get(), "N").text, "-7");
  EXPECT_EQ(property(inst.get(), "R").type, CMPI_real64);
  EXPECT_EQ(property(inst.get(), "B").text, "false");
  EXPECT_EQ(property(inst.get(), "Ref").text, "ns:Demo_Chassis.Tag=\"c\"");
  EXPECT_EQ(CMGetPropertyCount(inst.get(), nullptr), 6u);
}

TEST(Sendable, PlainPathsPass) {
  EXPECT_EQ(cli::unsendable_path_reason(cli::parse_path(R"(X.A="a b",N=5)")), "");
  EXPECT_EQ(cli::unsendable_path_reason(cli::parse_path(
                R"(A.G="Demo_Chassis.Tag=\"c\"",P="Demo_Fan.DeviceID=\"f\",SystemName=\"s\"")")),
            "");
  EXPECT_EQ(cli::unsendable_path_reason(cli::parse_path("X")), "");
}

TEST(Sendable, ForbiddenCharactersInKeyValues) {
  for (char c : {',', '=', '(', ')'}) {
    const std::string value(1, c);
    EXPECT_EQ(cli::unsendable_path_reason(cli::parse_path("X.A=\"x" + value + "\"")),
              "the value of key 'A' contains '" + value +
                  "', which the request format cannot carry in a key");
  }
}

TEST(Sendable, MixedReferenceAndOtherKeys) {
  EXPECT_EQ(cli::unsendable_path_reason(cli::parse_path(R"(A.G="C.K=\"v\"",Name="x")")),
            "it mixes reference keys with other keys, and the request format carries only the "
            "reference keys of such a path");
}

TEST(Sendable, ReferenceToAPathWithAReference) {
  EXPECT_EQ(cli::unsendable_path_reason(cli::parse_path(R"(A.R="B.S=\"C.K=\\\"v\\\"\"")")),
            "reference key 'R' names a path with a reference key of its own, which the request "
            "format cannot carry");
}

TEST(Sendable, ForbiddenCharacterInsideAReferenceKey) {
  EXPECT_EQ(cli::unsendable_path_reason(cli::parse_path(R"(A.R="B.K=\"a(b\"")")),
            "the value of key 'K' in reference key 'R' contains '(', which the request format "
            "cannot carry in a key");
}

TEST(Sendable, ReferenceValues) {
  EXPECT_EQ(cli::unsendable_value_reason(cli::parse_value("C:ref=B.K=\"a\"")), "");
  EXPECT_EQ(cli::unsendable_value_reason(cli::parse_value("C:ref=B.K=\"a,b\"")),
            "the reference in 'C' cannot be sent: the value of key 'K' contains ',', which the "
            "request format cannot carry in a key");
  EXPECT_EQ(cli::unsendable_value_reason(cli::parse_value("C=a,b")), "");
  EXPECT_EQ(cli::unsendable_value_reason(cli::parse_value("C:ref")), "");
}

TEST(OwnedText, TextOfStrings) {
  CMPIString *s = CreateString("hello", nullptr);
  EXPECT_EQ(cli::text_of(s), "hello");
  EXPECT_EQ(cli::take_text(s), "hello");
  EXPECT_EQ(cli::text_of(nullptr), "");
  EXPECT_EQ(cli::take_text(nullptr), "");
}

}  // namespace
