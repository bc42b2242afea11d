// The import checks: type codes, keys, associations, method parameters, registrations, and
// every mistake they refuse.
#include <gtest/gtest.h>

#include <map>
#include <string>

#include "import_check.h"
#include "mof_test_support.h"
#include "token.h"

namespace {

using mof::ClassRows;
using mof::RegistrationRows;

// Imports the text as t.mof; fails the test on errors.
mof::SchemaRows Good(const std::string &text,
                     const mof::ClassCatalog &catalog = mof::EmptyCatalog()) {
  mof::Diagnostics diagnostics;
  mof::SchemaRows rows = moftest::Import({{"t.mof", text}}, diagnostics, catalog);
  EXPECT_FALSE(diagnostics.failed()) << moftest::Lines(diagnostics);
  return rows;
}

const ClassRows &ClassAt(const mof::SchemaRows &rows, std::size_t i) {
  static const ClassRows none;
  if (i >= rows.entries.size() || !std::holds_alternative<ClassRows>(rows.entries[i])) {
    ADD_FAILURE() << "entry " << i << " is not a class";
    return none;
  }
  return std::get<ClassRows>(rows.entries[i]);
}

// Classes the database has: name -> is association.
class FakeCatalog : public mof::ClassCatalog {
 public:
  explicit FakeCatalog(std::map<std::string, bool> classes) : classes_(std::move(classes)) {}
  std::optional<mof::KnownClass> find(const std::string &name) const override {
    for (const auto &[known, association] : classes_) {
      if (mof::EqualNoCase(known, name)) return mof::KnownClass{known, association};
    }
    return std::nullopt;
  }

 private:
  std::map<std::string, bool> classes_;
};

TEST(MofImportCheck, TypeCodesOfEveryType) {
  const mof::SchemaRows rows = Good(R"(class T {
      boolean A; char16 B; real32 C; real64 D; uint8 E; uint16 F; uint32 G; uint64 H;
      sint8 I; sint16 J; sint32 K; sint64 L; string M; datetime N; T REF O;
      [EmbeddedInstance("X")] string P; [EmbeddedObject] string Q;
      BOOLEAN AA[]; DateTime NA[]; String MA[4]; [EmbeddedInstance("X")] string PA[]; T REF OA[];
  };)");
  const ClassRows &c = ClassAt(rows, 0);
  std::vector<int> codes;
  for (const auto &p : c.properties) codes.push_back(p.dataType);
  EXPECT_EQ(codes, (std::vector<int>{2, 3, 8, 12, 128, 144, 160, 176, 192, 208, 224, 240, 5632,
                                     6144, 4352, 4096, 4096, 8194, 14336, 13824, 12288, 12544}));
  EXPECT_EQ(c.properties[14].referenceClass, "T");
  EXPECT_EQ(c.properties[21].referenceClass, "T");
  EXPECT_FALSE(c.properties[0].referenceClass);
  for (std::size_t i = 0; i < c.properties.size(); ++i)
    EXPECT_EQ(c.properties[i].position, static_cast<int>(i) + 1);
}

TEST(MofImportCheck, HierarchyAssociationsAndAbstractClasses) {
  const mof::SchemaRows rows = Good(R"(
      [Abstract] class Base { [Key] string Id; };
      class Derived : BASE { uint8 Extra; };
      [Association, Abstract(false)] class Link { [Key] Base REF A; [Key] Derived REF B; };
      class SubLink : Link { };
      [Association(false)] class Plain { Base REF Loose; };)");
  ASSERT_EQ(rows.entries.size(), 5u);
  EXPECT_TRUE(ClassAt(rows, 0).isAbstract);
  EXPECT_FALSE(ClassAt(rows, 0).superClass);
  EXPECT_EQ(ClassAt(rows, 1).superClass, "Base");  // spelled as declared
  EXPECT_FALSE(ClassAt(rows, 1).isAbstract);
  ASSERT_EQ(ClassAt(rows, 1).properties.size(), 1u);  // only what it declares itself
  EXPECT_TRUE(ClassAt(rows, 2).isAssociation);
  EXPECT_FALSE(ClassAt(rows, 2).isAbstract);
  EXPECT_TRUE(ClassAt(rows, 2).properties[0].isKey);
  EXPECT_EQ(ClassAt(rows, 2).properties[1].referenceClass, "Derived");
  EXPECT_TRUE(ClassAt(rows, 3).isAssociation);  // inherited
  EXPECT_FALSE(ClassAt(rows, 4).isAssociation);  // a reference outside an association is fine
  EXPECT_EQ(ClassAt(rows, 4).properties[0].dataType, 4352);
}

TEST(MofImportCheck, SuperclassesAndRegisteredClassesFromTheCatalog) {
  const FakeCatalog catalog({{"Db_Base", false}, {"Db_Link", true}});
  const mof::SchemaRows rows = Good(R"(
      class T_Fan : db_base { };
      class T_Link : DB_LINK { };
      instance of CMPIUtility_ProviderRegistration {
        ProviderName = "P"; ClassNames = {"t_fan", "DB_BASE"}; };)",
                                    catalog);
  EXPECT_EQ(ClassAt(rows, 0).superClass, "Db_Base");
  EXPECT_TRUE(ClassAt(rows, 1).isAssociation);
  const auto &registration = std::get<RegistrationRows>(rows.entries.at(2));
  ASSERT_EQ(registration.classes.size(), 2u);
  EXPECT_EQ(registration.classes[0].className, "T_Fan");
  EXPECT_EQ(registration.classes[1].className, "Db_Base");
}

TEST(MofImportCheck, MethodsAndParameterDirections) {
  const mof::SchemaRows rows = Good(R"(class T {
      uint8 P;
      [Static] uint32 Set([In] uint32 A, [Out] uint32 B, [In, Out] string C[], [In(false), Out]
                          boolean D, sint8 E, [IN(true), OUT(false)] T REF F, [Out] T REF G[]);
      [EmbeddedInstance("X")] string Get();
      real64 None();
  };)");
  const ClassRows &c = ClassAt(rows, 0);
  ASSERT_EQ(c.methods.size(), 3u);
  EXPECT_EQ(c.methods[0].name, "Set");
  EXPECT_EQ(c.methods[0].returnType, 160);
  EXPECT_EQ(c.methods[0].position, 1);
  EXPECT_EQ(c.methods[1].returnType, 4096);
  EXPECT_EQ(c.methods[2].position, 3);
  std::vector<std::string> parameters;
  for (const auto &p : c.methods[0].parameters) {
    parameters.push_back(p.name + "|" + std::to_string(p.dataType) + "|" + p.direction + "|" +
                         std::to_string(p.position) + "|" + p.referenceClass.value_or("NULL"));
  }
  EXPECT_EQ(parameters, (std::vector<std::string>{"A|160|in|1|NULL", "B|160|out|2|NULL",
                                                  "C|13824|inout|3|NULL", "D|2|out|4|NULL",
                                                  "E|192|in|5|NULL", "F|4352|in|6|T",
                                                  "G|12544|out|7|T"}));
}

TEST(MofImportCheck, Registrations) {
  const mof::SchemaRows rows = Good(R"(
      instance of CMPIUtility_ProviderRegistration {
        ProviderName = "First_Provider"; ClassNames = {"B", "A"}; };
      class A { }; class B { };
      #pragma namespace("root/other")
      class C { };
      instance of cmpiutility_providerregistration {
        providername = "Second"; classnames = {"c"}; unloadnever = true; namespace = "root/x"; };
      instance of CMPIUtility_ProviderRegistration {
        ProviderName = "Third"; ClassNames = {"a_" "B"}; UnloadNever = null; NameSpace = null; };
      class A_B { };)");
  ASSERT_EQ(rows.entries.size(), 7u);
  const auto &first = std::get<RegistrationRows>(rows.entries[0]);
  EXPECT_EQ(first.providerName, "First_Provider");
  ASSERT_EQ(first.classes.size(), 2u);
  EXPECT_EQ(first.classes[0].className, "B");
  EXPECT_EQ(first.classes[0].nameSpace, "root/cimv2");
  EXPECT_FALSE(first.classes[0].unloadNever);
  const auto &second = std::get<RegistrationRows>(rows.entries[4]);
  ASSERT_EQ(second.classes.size(), 1u);
  EXPECT_EQ(second.classes[0].className, "C");
  EXPECT_EQ(second.classes[0].nameSpace, "root/x");
  EXPECT_TRUE(second.classes[0].unloadNever);
  const auto &third = std::get<RegistrationRows>(rows.entries[5]);
  ASSERT_EQ(third.classes.size(), 1u);
  EXPECT_EQ(third.classes[0].className, "A_B");
  EXPECT_EQ(third.classes[0].nameSpace, "root/other");  // the namespace in effect
}

TEST(MofImportCheck, OtherInstancesAreSkippedWithAWarning) {
  mof::Diagnostics diagnostics;
  const mof::SchemaRows rows = moftest::Import(
      {{"t.mof", "class A { };\n\n  instance of A { Name = 1; };"}}, diagnostics);
  EXPECT_FALSE(diagnostics.failed());
  EXPECT_EQ(moftest::Lines(diagnostics),
            "t.mof:3: warning: instance of A is not stored (only provider registrations are)\n");
  EXPECT_EQ(rows.entries.size(), 1u);
}

TEST(MofImportCheck, ClassMistakes) {
  using moftest::OnlyError;
  EXPECT_EQ(OnlyError("class A : B { };"),
            "t.mof:1:11: error: superclass B of class A is neither declared before it nor in the "
            "database");
  EXPECT_EQ(OnlyError("class A : B { };\nclass B { };"),
            "t.mof:1:11: error: superclass B of class A is neither declared before it nor in the "
            "database");
  EXPECT_EQ(OnlyError("class A : A { };"),
            "t.mof:1:11: error: superclass A of class A is neither declared before it nor in the "
            "database");
  EXPECT_EQ(OnlyError("class A { };\nclass a { };"),
            "t.mof:2:7: error: class a is declared twice in this import (first at t.mof:1:7)");
  EXPECT_EQ(OnlyError("class A { uint8 X; string x; };"),
            "t.mof:1:27: error: property x is declared twice in class A");
  EXPECT_EQ(OnlyError("class A { uint8 M(); uint8 m(); };"),
            "t.mof:1:28: error: method m is declared twice in class A (or a property has its name)");
  EXPECT_EQ(OnlyError("class A { uint8 M; uint8 M(); };"),
            "t.mof:1:26: error: method M is declared twice in class A (or a property has its name)");
  EXPECT_EQ(OnlyError("class A { uint8 M(uint8 P, uint8 p); };"),
            "t.mof:1:34: error: parameter p is declared twice in method M");
  EXPECT_EQ(OnlyError("class A { [Key] string Ids[]; };"),
            "t.mof:1:24: error: key property Ids cannot be an array");
  EXPECT_EQ(OnlyError("class A { unit32 X; };"), "t.mof:1:11: error: unknown type 'unit32' of property X");
  EXPECT_EQ(OnlyError("class B { };\nclass A { B X; };"),
            "t.mof:2:11: error: unknown type 'B' of property X (a reference is written 'B REF Name')");
  EXPECT_EQ(OnlyError("class A { uint8 M(foo P); };"),
            "t.mof:1:19: error: unknown type 'foo' of parameter P");
  EXPECT_EQ(OnlyError("class A { foo M(); };"), "t.mof:1:11: error: unknown type 'foo' of method M");
  EXPECT_EQ(OnlyError("class A { [EmbeddedInstance(\"X\")] uint8 X; };"),
            "t.mof:1:35: error: EmbeddedInstance and EmbeddedObject apply to strings only, not to "
            "the uint8 property X");
  EXPECT_EQ(OnlyError("class A { [EmbeddedInstance] string X; };"),
            "t.mof:1:12: error: qualifier EmbeddedInstance takes the embedded class's name as a string");
  EXPECT_EQ(OnlyError("class A { [Key(1)] string X; };"),
            "t.mof:1:16: error: qualifier Key takes true or false, not the integer 1");
  EXPECT_EQ(OnlyError("class A { [Key, KEY] string X; };"),
            "t.mof:1:17: error: qualifier KEY is given twice");
  EXPECT_EQ(OnlyError("[Association(\"yes\")] class A { };"),
            "t.mof:1:14: error: qualifier Association takes true or false, not a string");
  EXPECT_EQ(OnlyError("class A { uint8 M([In(false)] uint8 P); };"),
            "t.mof:1:37: error: parameter P of method M is neither in nor out");
}

TEST(MofImportCheck, EveryMistakeIsReported) {
  mof::Diagnostics diagnostics;
  moftest::Import({{"t.mof", "class A { unit8 X; uint8 Y = \"y\"; };\nclass A { };"},
                   {"u.mof", "class B {"}},
                  diagnostics);
  EXPECT_EQ(moftest::Lines(diagnostics),
            "u.mof:1:10: error: expected '}' to end class B\n"
            "t.mof:1:11: error: unknown type 'unit8' of property X\n"
            "t.mof:1:30: error: the default of property Y must be a uint8 value, not a string\n"
            "t.mof:2:7: error: class A is declared twice in this import (first at t.mof:1:7)\n");
}

TEST(MofImportCheck, RegistrationMistakes) {
  using moftest::OnlyError;
  const std::string reg = "instance of CMPIUtility_ProviderRegistration ";
  EXPECT_EQ(OnlyError("class A { };\n" + reg + "{ ClassNames = {\"A\"}; };"),
            "t.mof:2:1: error: the provider registration has no ProviderName");
  EXPECT_EQ(OnlyError(reg + "{ ProviderName = \"P\"; };"),
            "t.mof:1:1: error: the provider registration has no ClassNames");
  EXPECT_EQ(OnlyError(reg + "{ ProviderName = \"P\"; ClassNames = {}; };"),
            "t.mof:1:81: error: ClassNames must be a non-empty array of class names, not an array");
  EXPECT_EQ(OnlyError(reg + "{ ProviderName = \"P\"; ClassNames = \"A\"; };"),
            "t.mof:1:81: error: ClassNames must be a non-empty array of class names, not a string");
  EXPECT_EQ(OnlyError(reg + "{ ProviderName = \"P\"; ClassNames = {\"Nope\"}; };"),
            "t.mof:1:82: error: class Nope of provider P is neither declared in this import nor "
            "in the database");
  EXPECT_EQ(OnlyError("class A { };\n" + reg + "{ ProviderName = \"P\"; ClassNames = {\"A\", \"a\"}; };"),
            "t.mof:2:87: error: class A is registered twice in this import");
  EXPECT_EQ(OnlyError("class A { };\n" + reg + "{ ProviderName = \"../x\"; ClassNames = {\"A\"}; };"),
            "t.mof:2:63: error: ProviderName must be letters, digits and '_' (it names the library "
            "lib<ProviderName>.so and its MI factories), not \"../x\"");
  EXPECT_EQ(OnlyError("class A { };\n" + reg + "{ ProviderName = 1; ClassNames = {\"A\"}; };"),
            "t.mof:2:63: error: ProviderName must be a non-empty string, not the integer 1");
  EXPECT_EQ(OnlyError("class A { };\n" + reg +
                      "{ ProviderName = \"P\"; ClassNames = {\"A\"}; UnloadNever = \"yes\"; };"),
            "t.mof:2:102: error: UnloadNever must be true or false, not a string");
  EXPECT_EQ(OnlyError("class A { };\n" + reg +
                      "{ ProviderName = \"P\"; ClassNames = {\"A\"}; Unload = true; };"),
            "t.mof:2:88: error: CMPIUtility_ProviderRegistration has no property Unload (it has "
            "ProviderName, ClassNames, UnloadNever and NameSpace)");
  EXPECT_EQ(OnlyError("class A { };\n" + reg +
                      "{ ProviderName = \"P\"; providerName = \"Q\"; ClassNames = {\"A\"}; };"),
            "t.mof:2:68: error: property providerName is given twice");
}

}  // namespace
