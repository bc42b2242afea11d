// The parser and the include reader: declarations read into the document, qualifiers and
// pragmas that do not matter ignored, includes, and errors with file:line:column.
#include <gtest/gtest.h>

#include <string>

#include "memory_source_reader.h"
#include "mof_reader.h"
#include "mof_test_support.h"

namespace {

using mof::ClassDecl;
using mof::InstanceDecl;
using mof::MofDocument;
using mof::MofError;
using mof::Scalar;

// Reads main.mof (and what it includes) from the files; fails the test on an error.
MofDocument Parse(const moftest::Files &files, const std::string &main = "main.mof") {
  mof::MemorySourceReader sources;
  for (const auto &[name, text] : files) sources.add(name, text);
  MofDocument doc;
  try {
    mof::MofReader(sources).read(main, "root/default", doc);
  } catch (const MofError &e) {
    ADD_FAILURE() << mof::FormatLocation(e.where()) << ": " << e.what();
  }
  return doc;
}

MofDocument Parse(const std::string &text) { return Parse({{"main.mof", text}}); }

// "FILE:LINE:COLUMN: message" of the error reading main.mof gives.
std::string ErrorOf(const moftest::Files &files) {
  mof::MemorySourceReader sources;
  for (const auto &[name, text] : files) sources.add(name, text);
  MofDocument doc;
  try {
    mof::MofReader(sources).read("main.mof", "root/default", doc);
  } catch (const MofError &e) {
    return mof::FormatLocation(e.where()) + ": " + e.what();
  }
  return "no error";
}

std::string ErrorOf(const std::string &text) { return ErrorOf({{"main.mof", text}}); }

const ClassDecl &ClassAt(const MofDocument &doc, std::size_t i) {
  static const ClassDecl none;
  if (i >= doc.declarations.size() || !std::holds_alternative<ClassDecl>(doc.declarations[i])) {
    ADD_FAILURE() << "declaration " << i << " is not a class";
    return none;
  }
  return std::get<ClassDecl>(doc.declarations[i]);
}

TEST(MofParser, ClassWithPropertiesReferencesAndMethods) {
  const MofDocument doc = Parse(R"(
    [Abstract, Description("A fan" " of the demo"), Version("1.0.0")]
    class Test_Fan : Test_Device {
        [Key, Override("DeviceID")] string DeviceID;
        uint32 Values[];
        uint8 Bytes[4];
        uint16 State = 2;
        string Tags[] = {"a", "b"};
        Test_Chassis REF Group;
        [Static, ValueMap{"0", "1"}, Values{"Done", "Failed"}]
        uint32 SetSpeed([In] uint32 Desired, [Out] uint32 Previous, [In, Out] string Log[],
                        Test_Chassis REF Where);
        uint32 Stop();
    };)");
  ASSERT_EQ(doc.declarations.size(), 1u);
  const ClassDecl &c = ClassAt(doc, 0);
  EXPECT_EQ(c.name, "Test_Fan");
  EXPECT_EQ(c.superClass, "Test_Device");
  EXPECT_EQ(c.nameSpace, "root/default");
  ASSERT_EQ(c.qualifiers.size(), 3u);
  EXPECT_EQ(c.qualifiers[1].value->scalar.text, "A fan of the demo");  // adjacent strings joined
  ASSERT_EQ(c.properties.size(), 6u);
  EXPECT_EQ(c.properties[0].name, "DeviceID");
  EXPECT_EQ(c.properties[0].qualifiers.size(), 2u);
  EXPECT_TRUE(c.properties[1].array.isArray);
  EXPECT_EQ(c.properties[1].array.fixedSize, 0u);
  EXPECT_EQ(c.properties[2].array.fixedSize, 4u);
  ASSERT_TRUE(c.properties[3].defaultValue);
  EXPECT_EQ(c.properties[3].defaultValue->scalar.magnitude, 2u);
  ASSERT_TRUE(c.properties[4].defaultValue);
  ASSERT_EQ(c.properties[4].defaultValue->elements.size(), 2u);
  EXPECT_EQ(c.properties[4].defaultValue->elements[1].text, "b");
  EXPECT_TRUE(c.properties[5].type.isReference);
  EXPECT_EQ(c.properties[5].type.name, "Test_Chassis");
  ASSERT_EQ(c.methods.size(), 2u);
  EXPECT_EQ(c.methods[0].name, "SetSpeed");
  ASSERT_EQ(c.methods[0].parameters.size(), 4u);
  EXPECT_TRUE(c.methods[0].parameters[2].array.isArray);
  EXPECT_TRUE(c.methods[0].parameters[3].type.isReference);
  EXPECT_TRUE(c.methods[1].parameters.empty());
}

TEST(MofParser, EveryValueForm) {
  const MofDocument doc = Parse(R"(class T {
      boolean A = true; boolean B = FALSE; char16 C = 'x'; string D = "x" "y";
      sint32 E = -0x10; uint8 F = 101b; uint8 G = 017; real64 H = -.5e3; string I = null;
      uint8 J[] = {}; };)");
  const ClassDecl &c = ClassAt(doc, 0);
  ASSERT_EQ(c.properties.size(), 10u);
  const auto scalar = [&](std::size_t i) { return c.properties[i].defaultValue->scalar; };
  EXPECT_EQ(scalar(0).kind, Scalar::Kind::Boolean);
  EXPECT_TRUE(scalar(0).boolean);
  EXPECT_FALSE(scalar(1).boolean);
  EXPECT_EQ(scalar(2).character, U'x');
  EXPECT_EQ(scalar(3).text, "xy");
  EXPECT_TRUE(scalar(4).negative);
  EXPECT_EQ(scalar(4).magnitude, 16u);
  EXPECT_EQ(scalar(5).magnitude, 5u);
  EXPECT_EQ(scalar(6).magnitude, 15u);
  EXPECT_DOUBLE_EQ(scalar(7).real, -500);
  EXPECT_EQ(scalar(8).kind, Scalar::Kind::Null);
  EXPECT_TRUE(c.properties[9].defaultValue->isArray);
  EXPECT_TRUE(c.properties[9].defaultValue->elements.empty());
}

TEST(MofParser, QualifierDeclarationsFlavorsAndOtherPragmasAreIgnored) {
  const MofDocument doc = Parse(R"(
    #pragma locale("en_US")
    #pragma instancelocale ("de_DE")
    Qualifier Key : boolean = false, Scope(property, reference), Flavor(DisableOverride);
    qualifier ValueMap : string[], Scope(property, method, parameter);
    QUALIFIER Description : string = null, Scope(any), Flavor(EnableOverride, ToSubclass, Translatable);
    [Description("x") : ToSubclass Translatable, Abstract : DisableOverride]
    class A { };)");
  ASSERT_EQ(doc.declarations.size(), 1u);
  EXPECT_EQ(ClassAt(doc, 0).name, "A");
  EXPECT_EQ(ClassAt(doc, 0).qualifiers.size(), 2u);
}

TEST(MofParser, NamespacePragmaAppliesToWhatFollows) {
  const MofDocument doc = Parse(R"(class A { };
    #pragma namespace("root/interop")
    class B { };
    instance of X { Name = "n"; };)");
  ASSERT_EQ(doc.declarations.size(), 3u);
  EXPECT_EQ(ClassAt(doc, 0).nameSpace, "root/default");
  EXPECT_EQ(ClassAt(doc, 1).nameSpace, "root/interop");
  EXPECT_EQ(std::get<InstanceDecl>(doc.declarations[2]).nameSpace, "root/interop");
}

TEST(MofParser, InstancesWithAliasesAndQualifiedValues) {
  const MofDocument doc = Parse(R"(
    instance of Test_Thing as $T1 { [Key] Name = "a"; Values = {1, 2}; Other = $T2; };
    instance of Test_Empty { };)");
  ASSERT_EQ(doc.declarations.size(), 2u);
  const InstanceDecl &instance = std::get<InstanceDecl>(doc.declarations[0]);
  EXPECT_EQ(instance.className, "Test_Thing");
  ASSERT_EQ(instance.properties.size(), 3u);
  EXPECT_EQ(instance.properties[1].value.elements.size(), 2u);
  EXPECT_EQ(instance.properties[2].value.scalar.kind, Scalar::Kind::Alias);
  EXPECT_EQ(instance.where.line, 2);
}

TEST(MofParser, IncludesAreReadWhereTheyStandRelativeToTheIncluder) {
  const MofDocument doc = Parse({
      {"main.mof", "class A { };\n#pragma include(\"sub/b.mof\")\nclass D { };"},
      {"sub/b.mof", "#pragma namespace(\"root/b\")\nclass B { };\n#pragma include (\"c.mof\")"},
      {"sub/c.mof", "class C { };"},
  });
  ASSERT_EQ(doc.declarations.size(), 4u);
  EXPECT_EQ(ClassAt(doc, 1).name, "B");
  EXPECT_EQ(ClassAt(doc, 1).where.file, "sub/b.mof");
  EXPECT_EQ(ClassAt(doc, 1).nameSpace, "root/b");
  EXPECT_EQ(ClassAt(doc, 2).name, "C");
  EXPECT_EQ(ClassAt(doc, 2).where.file, "sub/c.mof");
  EXPECT_EQ(ClassAt(doc, 2).nameSpace, "root/b");  // the includer's namespace at the include
  EXPECT_EQ(ClassAt(doc, 3).name, "D");
  EXPECT_EQ(ClassAt(doc, 3).nameSpace, "root/default");  // b.mof's pragma ended with b.mof
}

TEST(MofParser, IncludeErrors) {
  EXPECT_EQ(ErrorOf("class A { };\n  #pragma include(\"missing.mof\")"),
            "main.mof:2:19: cannot read included file missing.mof: No such file or directory");
  EXPECT_EQ(ErrorOf({{"main.mof", "#pragma include(\"a.mof\")"},
                     {"a.mof", "\n#pragma include(\"b.mof\")"},
                     {"b.mof", "#pragma include(\"./main.mof\")"}}),
            "b.mof:1:17: include cycle: main.mof -> a.mof -> b.mof -> ./main.mof");
  EXPECT_EQ(ErrorOf("#pragma include(\"main.mof\")"),
            "main.mof:1:17: include cycle: main.mof -> main.mof");
  EXPECT_EQ(ErrorOf({{"main.mof", "#pragma include(\"bad.mof\")"}, {"bad.mof", "class \xFE"}}),
            "bad.mof:1:7: the file is not UTF-8 text (byte 0xFE)");
  EXPECT_EQ(ErrorOf({{"main.mof", "#pragma include(\"sub/bad.mof\")"},
                     {"sub/bad.mof", "class A {\n  uint8 X\n};"}}),
            "sub/bad.mof:3:1: expected ';' after property X");
}

TEST(MofParser, IncludesNestedTooDeepAreRefused) {
  moftest::Files files;
  for (int i = 0; i < 40; ++i)
    files.push_back({i == 0 ? "main.mof" : "f" + std::to_string(i) + ".mof",
                     "#pragma include(\"f" + std::to_string(i + 1) + ".mof\")"});
  files.push_back({"f40.mof", "class A { };"});
  EXPECT_EQ(ErrorOf(files), "f31.mof:1:17: includes nested more than 32 deep at f32.mof");
}

TEST(MofParser, MissingTopLevelFile) {
  EXPECT_EQ(ErrorOf({{"other.mof", ""}}), "main.mof: cannot read the file: No such file or directory");
}

TEST(MofParser, SyntaxErrorsNameFileLineAndColumn) {
  EXPECT_EQ(ErrorOf("class Demo_Fan {\n    uint32 Speed\n    uint32 Other;\n};"),
            "main.mof:3:5: expected ';' after property Speed");
  EXPECT_EQ(ErrorOf("class A { uint8 X = ; };"),
            "main.mof:1:21: expected a value as the default of property X, not ';'");
  EXPECT_EQ(ErrorOf("class A { uint8 X[0]; };"),
            "main.mof:1:19: the size of array property X must be a positive integer");
  EXPECT_EQ(ErrorOf("class A { uint8 X; }"),
            "main.mof:1:21: expected ';' after the declaration of class A");
  EXPECT_EQ(ErrorOf("class A { uint8 X;"), "main.mof:1:19: expected '}' to end class A");
  EXPECT_EQ(ErrorOf("class { };"), "main.mof:1:7: expected a class name after 'class', not '{'");
  EXPECT_EQ(ErrorOf("klass A { };"),
            "main.mof:1:1: expected a class, instance or qualifier declaration or a #pragma, "
            "not 'klass'");
  EXPECT_EQ(ErrorOf("class A { uint32 M(uint8 a, ); };"),
            "main.mof:1:29: expected a parameter type in method M, not ')'");
  EXPECT_EQ(ErrorOf("[Key(] class A { };"),
            "main.mof:1:6: expected a value as the value of qualifier Key, not ']'");
  EXPECT_EQ(ErrorOf("#pragma include(a.mof)"),
            "main.mof:1:17: expected a string as the argument of #pragma include");
  EXPECT_EQ(ErrorOf("#include(\"a\")"), "main.mof:1:2: expected 'pragma' after '#'");
  EXPECT_EQ(ErrorOf("instance X { };"), "main.mof:1:10: expected 'of' after 'instance'");
  EXPECT_EQ(ErrorOf("class A { uint8 X[] = {1, {2}}; };"),
            "main.mof:1:27: expected a value in the array as the default of property X, not '{'");
  EXPECT_EQ(ErrorOf("qualifier Q : boolean, Size(any);"),
            "main.mof:1:24: expected 'scope' or 'flavor' in the declaration of qualifier Q, not 'Size'");
}

}  // namespace

namespace {

TEST(MofParser, TextReadInAllIsBounded) {
  // One file of 4 MiB included twenty times is more than 64 MiB of text.
  std::string big(4u << 20, ' ');
  std::string main;
  for (int i = 0; i < 20; ++i) main += "#pragma include(\"big.mof\")\n";
  EXPECT_EQ(ErrorOf({{"main.mof", main}, {"big.mof", big}}),
            "main.mof:16:17: more than 64 MiB of MOF text read (at big.mof)");
}

}  // namespace
