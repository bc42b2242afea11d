// The CIM-XML writer: escaping of every markup character, every value type, nulls, arrays,
// references, embedded instances, char16 and date-times, and round trips through the reader.
#include <cmpiinterface.h>
#include <cmpimacs.h>
#include <gtest/gtest.h>

#include <cctype>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <random>
#include <vector>
#include <string>

#include "cim_request.h"
#include "cim_test_support.h"
#include "cmpi_build.h"
#include "value_xml.h"
#include "xml_writer.h"

namespace {

using cimtest::attr;
using cimtest::first;
using cimtest::property;
using cimtest::value_of;
using wbem::XmlOut;

std::string wire_lower(const char *name) {
  std::string out(name);
  for (char &c : out) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return out;
}

std::string escaped_text(const std::string &in) {
  std::string out;
  wbem::escape_text(in, &out);
  return out;
}
std::string escaped_attribute(const std::string &in) {
  std::string out;
  wbem::escape_attribute(in, &out);
  return out;
}

TEST(XmlWriter, EscapesTheFiveMarkupCharacters) {
  EXPECT_EQ(escaped_text("a<b>&c\"d'e"), "a&lt;b&gt;&amp;c&quot;d&apos;e");
  EXPECT_EQ(escaped_attribute("<&>\"'"), "&lt;&amp;&gt;&quot;&apos;");
}

TEST(XmlWriter, KeepsWhitespaceThroughAttributeNormalisation) {
  EXPECT_EQ(escaped_text("a\tb\nc\rd"), "a\tb\nc&#13;d");
  EXPECT_EQ(escaped_attribute("a\tb\nc\rd"), "a&#9;b&#10;c&#13;d");
}

TEST(XmlWriter, ReplacesWhatXmlCannotCarry) {
  EXPECT_EQ(escaped_text(std::string("a\0b", 3)), "a\xef\xbf\xbd" "b");
  EXPECT_EQ(escaped_text("\x01\x1f"), "\xef\xbf\xbd\xef\xbf\xbd");
  EXPECT_EQ(escaped_text("\x7f"), "&#127;");
  EXPECT_EQ(escaped_text("a\xff" "b"), "a\xef\xbf\xbd" "b");           // not UTF-8
  EXPECT_EQ(escaped_text("\xc3"), "\xef\xbf\xbd");                      // cut short
  EXPECT_EQ(escaped_text("\xed\xa0\x80"), "\xef\xbf\xbd\xef\xbf\xbd\xef\xbf\xbd");  // surrogate
  EXPECT_EQ(escaped_text("\xef\xbf\xbe"), "\xef\xbf\xbd");              // U+FFFE
  EXPECT_EQ(escaped_text("M\xc3\xbcnchen \xf0\x9f\x98\x80"), "M\xc3\xbcnchen \xf0\x9f\x98\x80");
}

TEST(XmlWriter, PlainRunsAndEscapesMixAnywhere) {
  // Plain characters are copied in runs: escapes at the start, the end, side by side and
  // between long runs come out in place.
  const std::string run(300, 'x');
  EXPECT_EQ(escaped_text("&" + run + "<"), "&amp;" + run + "&lt;");
  EXPECT_EQ(escaped_text(run + "\x01" + run), run + "\xef\xbf\xbd" + run);
  EXPECT_EQ(escaped_attribute("\n\t" + run + "\xc3\xa9" + run + "\"'"),
            "&#10;&#9;" + run + "\xc3\xa9" + run + "&quot;&apos;");
  EXPECT_EQ(escaped_text(""), "");
  EXPECT_EQ(escaped_text(run), run);
}

TEST(XmlWriter, TagsWithPlainAndEscapedAttributesAlike) {
  XmlOut out;
  out.open("A", {{"X", "plain"}, {"Y", "a<b\"c"}});
  out.open("B", {{"X", ""}, {"LONG", std::string(200, 'v')}});
  out.leaf("C", "t&t", {{"Z", "z"}});
  out.close("B");
  out.open("D");
  out.close("A");
  // Longer than the writer's buffers on the stack: a start tag of 600 bytes, a long end tag.
  const std::string name(70, 'N');
  out.open(name, {{"V", std::string(600, 'w')}});
  out.close(name);
  EXPECT_EQ(out.str(), "<A X=\"plain\" Y=\"a&lt;b&quot;c\"><B X=\"\" LONG=\"" + std::string(200, 'v') +
                           "\"><C Z=\"z\">t&amp;t</C></B><D></A><" + name + " V=\"" +
                           std::string(600, 'w') + "\"></" + name + ">");
}

TEST(XmlWriter, EmptyElementsAreNeverSelfClosing) {
  XmlOut out;
  out.empty("IRETURNVALUE");
  out.open("QUALIFIER", {{"NAME", "Key"}, {"TYPE", "boolean"}});
  out.close("QUALIFIER");
  EXPECT_EQ(out.str(), "<IRETURNVALUE></IRETURNVALUE><QUALIFIER NAME=\"Key\" TYPE=\"boolean\"></QUALIFIER>");
}

TEST(XmlWriter, EscapedTextReadsBackTheSame) {
  const std::string nasty = "<CIM>&amp; \"quoted\" 'single' \ttab\nline\r\xc3\xa9\xe2\x82\xac";
  XmlOut out;
  out.open("A", {{"V", nasty}});
  out.text(nasty);
  out.close("A");
  auto root = cimtest::parse(out.str());
  ASSERT_NE(root, nullptr);
  EXPECT_EQ(*root->attribute("V"), nasty);
  EXPECT_EQ(root->text, nasty);
}

// An instance with one property of every kind, made with the object library.
class ValueWriting : public ::testing::Test {
 protected:
  void SetUp() override {
    CMPIStatus st = {CMPI_RC_OK, nullptr};
    path_.reset(makeNewObjectPath("root/cimv2", "Test_All", &st));
    const char *id = "a<&>\"b";
    CMAddKey(path_.get(), "Id", id, CMPI_chars);
    inst_.reset(makeNewCMPIInstance(path_.get(), &st));
    ASSERT_TRUE(inst_);
    set("Id", CMPIValue{}, CMPI_chars, id);
    CMPIValue v;
    v.boolean = 1; set("Flag", v, CMPI_boolean);
    v.char16 = 0xe9; set("Letter", v, CMPI_char16);
    v.uint8 = 255; set("U8", v, CMPI_uint8);
    v.uint16 = 65535; set("U16", v, CMPI_uint16);
    v.uint32 = 4294967295u; set("U32", v, CMPI_uint32);
    v.uint64 = 18446744073709551615ull; set("U64", v, CMPI_uint64);
    v.sint8 = -128; set("S8", v, CMPI_sint8);
    v.sint16 = -32768; set("S16", v, CMPI_sint16);
    v.sint32 = -2147483647 - 1; set("S32", v, CMPI_sint32);
    v.sint64 = -9223372036854775807ll - 1; set("S64", v, CMPI_sint64);
    v.real32 = 0.25f; set("R32", v, CMPI_real32);
    v.real64 = 0.1; set("R64", v, CMPI_real64);
    CMPIDateTime *when = makeNewCMPIDateTimeFromChars("20240115103000.000000+060", &st);
    v.dateTime = when; set("When", v, CMPI_dateTime);
    CMRelease(when);
    CMSetProperty(inst_.get(), "Nothing", nullptr, CMPI_string);
    CMPIArray *array = makeNewCMPIArray(3, CMPI_uint16, &st);
    for (CMPICount i = 0; i < 3; ++i) {
      CMPIValue e;
      e.uint16 = static_cast<CMPIUint16>(10 * (i + 1));
      CMSetArrayElementAt(array, i, &e, CMPI_uint16);
    }
    v.array = array; set("List", v, CMPI_uint16A);
    CMRelease(array);
    CMPIObjectPath *target = makeNewObjectPath("root/other", "Test_Target", &st);
    CMAddKey(target, "Name", "t1", CMPI_chars);
    CMPIValue n;
    n.uint32 = 7;
    CMAddKey(target, "Number", &n, CMPI_uint32);
    v.ref = target; set("Target", v, CMPI_ref);
    CMPIObjectPath *inner_path = makeNewObjectPath("root/cimv2", "Test_Inner", &st);
    CMPIInstance *inner = makeNewCMPIInstance(inner_path, &st);
    CMSetProperty(inner, "Text", "x<y", CMPI_chars);
    v.inst = inner; set("Inner", v, CMPI_instance);
    CMRelease(inner);
    CMRelease(inner_path);
    CMRelease(target);
  }

  void set(const char *name, CMPIValue v, CMPIType type, const char *chars = nullptr) {
    if (type == CMPI_chars) {
      CMSetProperty(inst_.get(), name, chars, CMPI_chars);
    } else {
      CMSetProperty(inst_.get(), name, &v, type);
    }
  }

  std::unique_ptr<wbem::XmlElement> written(const wbem::PropertyFilter &filter = {}) {
    XmlOut out;
    write_instance(out, inst_.get(), Json::Value(), filter, {"here", "root/cimv2"});
    text_ = out.str();
    return cimtest::parse(text_);
  }

  cli::PathPtr path_;
  cli::InstancePtr inst_;
  std::string text_;
};

TEST_F(ValueWriting, EveryScalarType) {
  auto inst = written();
  ASSERT_NE(inst, nullptr);
  EXPECT_EQ(attr(inst.get(), "CLASSNAME"), "Test_All");
  const std::pair<const char *, const char *> expected[] = {
      {"Flag", "TRUE"}, {"U8", "255"}, {"U16", "65535"}, {"U32", "4294967295"},
      {"U64", "18446744073709551615"}, {"S8", "-128"}, {"S16", "-32768"},
      {"S32", "-2147483648"}, {"S64", "-9223372036854775808"}, {"R32", "0.25"},
      {"R64", "0.10000000000000001"}, {"When", "20240115103000.000000+060"},
      {"Letter", "\xc3\xa9"}, {"Id", "a<&>\"b"}};
  for (const auto &e : expected) EXPECT_EQ(value_of(property(*inst, e.first)), e.second) << e.first;
  const std::pair<const char *, const char *> types[] = {
      {"Flag", "boolean"}, {"Letter", "char16"}, {"U8", "uint8"}, {"U16", "uint16"},
      {"U32", "uint32"}, {"U64", "uint64"}, {"S8", "sint8"}, {"S16", "sint16"},
      {"S32", "sint32"}, {"S64", "sint64"}, {"R32", "real32"}, {"R64", "real64"},
      {"When", "datetime"}, {"Id", "string"}};
  for (const auto &t : types) EXPECT_EQ(attr(property(*inst, t.first), "TYPE"), t.second) << t.first;
}

TEST_F(ValueWriting, NullIsAPropertyWithoutValue) {
  auto inst = written();
  const wbem::XmlElement *nothing = property(*inst, "Nothing");
  ASSERT_NE(nothing, nullptr);
  EXPECT_TRUE(nothing->children.empty());
  EXPECT_NE(text_.find("<PROPERTY NAME=\"Nothing\" TYPE=\"string\"></PROPERTY>"), std::string::npos);
}

TEST_F(ValueWriting, AFrameTellsANullStringFromAnEmptyOne) {
  CMSetProperty(inst_.get(), "Note", "", CMPI_chars);
  Json::Value props;
  props["Note"]["DataState"] = 256;
  props["Note"]["DataType"] = 5632;
  XmlOut out;
  write_instance(out, inst_.get(), props, {}, {"here", "root/cimv2"});
  auto inst = cimtest::parse(out.str());
  EXPECT_EQ(value_of(property(*inst, "Note")), "(null)");
  XmlOut plain;
  write_instance(plain, inst_.get(), Json::Value(), {}, {"here", "root/cimv2"});
  EXPECT_EQ(value_of(property(*cimtest::parse(plain.str()), "Note")), "");
}

TEST_F(ValueWriting, AFrameTellsAnEmptyArrayFromANullOne) {
  CMSetProperty(inst_.get(), "Empty", nullptr, CMPI_uint16A);
  Json::Value props;
  props["Empty"]["DataState"] = 0;
  props["Empty"]["DataType"] = 8352;
  XmlOut out;
  write_instance(out, inst_.get(), props, {}, {"here", "root/cimv2"});
  EXPECT_NE(out.str().find("<PROPERTY.ARRAY NAME=\"Empty\" TYPE=\"uint16\"><VALUE.ARRAY></VALUE.ARRAY>"
                           "</PROPERTY.ARRAY>"),
            std::string::npos);
  XmlOut plain;
  write_instance(plain, inst_.get(), Json::Value(), {}, {"here", "root/cimv2"});
  EXPECT_NE(plain.str().find("<PROPERTY.ARRAY NAME=\"Empty\" TYPE=\"uint16\"></PROPERTY.ARRAY>"),
            std::string::npos);
}

TEST_F(ValueWriting, Arrays) {
  auto inst = written();
  const wbem::XmlElement *list = property(*inst, "List");
  ASSERT_NE(list, nullptr);
  EXPECT_EQ(list->name, "PROPERTY.ARRAY");
  EXPECT_EQ(attr(list, "TYPE"), "uint16");
  const auto items = cimtest::all(*list, "VALUE");
  ASSERT_EQ(items.size(), 3u);
  EXPECT_EQ(items[0]->text, "10");
  EXPECT_EQ(items[2]->text, "30");
}

TEST_F(ValueWriting, ReferencesCarryTheirHostAndNamespace) {
  auto inst = written();
  const wbem::XmlElement *target = property(*inst, "Target");
  ASSERT_NE(target, nullptr);
  EXPECT_EQ(target->name, "PROPERTY.REFERENCE");
  EXPECT_EQ(first(*target, "HOST")->text, "here");
  const auto ns = cimtest::all(*target, "NAMESPACE");
  ASSERT_EQ(ns.size(), 2u);
  EXPECT_EQ(attr(ns[1], "NAME"), "other");
  const auto keys = cimtest::all(*target, "KEYVALUE");
  ASSERT_EQ(keys.size(), 2u);
  EXPECT_EQ(attr(keys[0], "VALUETYPE"), "string");
  EXPECT_EQ(keys[0]->text, "t1");
  EXPECT_EQ(attr(keys[1], "VALUETYPE"), "numeric");
  EXPECT_EQ(keys[1]->text, "7");
}

TEST_F(ValueWriting, EmbeddedInstanceIsEscapedInstanceText) {
  auto inst = written();
  const wbem::XmlElement *inner = property(*inst, "Inner");
  ASSERT_NE(inner, nullptr);
  EXPECT_EQ(attr(inner, "EmbeddedObject"), "instance");
  EXPECT_EQ(attr(inner, "TYPE"), "string");
  EXPECT_NE(text_.find("&lt;INSTANCE CLASSNAME=&quot;Test_Inner&quot;&gt;"), std::string::npos);
  auto embedded = cimtest::parse(value_of(inner));
  ASSERT_NE(embedded, nullptr);
  EXPECT_EQ(value_of(property(*embedded, "Text")), "x<y");
}

TEST_F(ValueWriting, PropertyListFilter) {
  wbem::PropertyFilter filter;
  filter.all = false;
  filter.names = {"u8", "when"};
  auto inst = written(filter);
  ASSERT_EQ(inst->children.size(), 2u);
  EXPECT_NE(property(*inst, "U8"), nullptr);
  EXPECT_NE(property(*inst, "When"), nullptr);
}

// Written, read back with the reader, decoded as a request's instance: the same values.
TEST_F(ValueWriting, RoundTrip) {
  wbem::PropertyFilter all_but_embedded;
  all_but_embedded.all = false;
  for (const char *name : {"Id", "Flag", "Letter", "U8", "U16", "U32", "U64", "S8", "S16", "S32",
                           "S64", "R32", "R64", "When", "Nothing", "List", "Target"}) {
    all_but_embedded.names.insert(wire_lower(name));
  }
  auto inst = written(all_but_embedded);
  ASSERT_NE(inst, nullptr);
  const std::vector<cli::ParsedValue> values = wbem::read_instance_values(*inst, "root/cimv2");
  ASSERT_EQ(values.size(), 17u);
  auto find = [&](const std::string &name) -> const cli::ParsedValue & {
    for (const auto &v : values) {
      if (v.name == name) return v;
    }
    ADD_FAILURE() << name;
    return values[0];
  };
  EXPECT_EQ(find("Id").items[0].text, "a<&>\"b");
  EXPECT_TRUE(find("Flag").items[0].boolean_value);
  EXPECT_EQ(find("Letter").type, static_cast<CMPIType>(CMPI_char16));
  EXPECT_EQ(find("Letter").items[0].unsigned_value, 0xe9u);
  EXPECT_EQ(find("U64").items[0].unsigned_value, 18446744073709551615ull);
  EXPECT_EQ(find("S8").items[0].signed_value, -128);
  EXPECT_EQ(find("S64").items[0].signed_value, -9223372036854775807ll - 1);
  EXPECT_EQ(find("R32").items[0].real_value, 0.25);
  EXPECT_EQ(find("R64").items[0].real_value, 0.1);
  EXPECT_EQ(find("When").type, static_cast<CMPIType>(CMPI_dateTime));
  EXPECT_EQ(find("When").items[0].text, "20240115103000.000000+060");
  EXPECT_TRUE(find("Nothing").is_null);
  const cli::ParsedValue &list = find("List");
  EXPECT_EQ(list.type, static_cast<CMPIType>(CMPI_uint16A));
  ASSERT_EQ(list.items.size(), 3u);
  EXPECT_EQ(list.items[1].unsigned_value, 20u);
  const cli::ParsedValue &target = find("Target");
  EXPECT_EQ(target.type, static_cast<CMPIType>(CMPI_ref));
  ASSERT_TRUE(target.items[0].reference);
  EXPECT_EQ(target.items[0].reference->name_space, "root/other");
  EXPECT_EQ(target.items[0].reference->class_name, "Test_Target");
  ASSERT_EQ(target.items[0].reference->keys.size(), 2u);
  EXPECT_EQ(target.items[0].reference->keys[1].kind, cli::KeyBinding::Kind::kInteger);
  EXPECT_EQ(target.items[0].reference->keys[1].text, "7");
}

TEST_F(ValueWriting, InstanceNameAndPath) {
  XmlOut out;
  write_instance_path(out, path_.get(), {"here", "root/cimv2"});
  auto root = cimtest::parse(out.str());
  ASSERT_NE(root, nullptr);
  EXPECT_EQ(root->name, "INSTANCEPATH");
  EXPECT_EQ(attr(first(*root, "INSTANCENAME"), "CLASSNAME"), "Test_All");
  EXPECT_EQ(first(*root, "KEYVALUE")->text, "a<&>\"b");
  EXPECT_EQ(attr(first(*root, "KEYBINDING"), "NAME"), "Id");
}

TEST(ValueXml, WriteValueOfNullWritesNothing) {
  CMPIData data;
  data.type = CMPI_uint32;
  data.state = CMPI_nullValue;
  data.value.uint32 = 5;
  XmlOut out;
  write_value(out, data, {"here", "root/cimv2"});
  EXPECT_EQ(out.str(), "");
  data.state = 0;
  write_value(out, data, {"here", "root/cimv2"});
  EXPECT_EQ(out.str(), "<VALUE>5</VALUE>");
}

TEST(ValueXml, RealsInfinities) {
  std::string text;
  CMPIValue v;
  v.real64 = 1.0 / 0.0;
  ASSERT_TRUE(wbem::scalar_text(CMPI_real64, v, &text));
  EXPECT_EQ(text, "INF");
  v.real64 = -1.0 / 0.0;
  wbem::scalar_text(CMPI_real64, v, &text);
  EXPECT_EQ(text, "-INF");
  v.real32 = 3.0f;
  wbem::scalar_text(CMPI_real32, v, &text);
  EXPECT_EQ(text, "3");
}

TEST(ValueXml, RealsHaveTheDigitsPrintfWrites) {
  // 17 significant digits for real64 and 9 for real32, as "%.17g" and "%.9g" write them.
  std::mt19937_64 random(20261125);
  std::vector<double> values = {0.0, -0.0, 1.0, 0.1, -2.5, 1e21, 1e-7, 123456789012345678.0,
                                5e-324, 1.7976931348623157e308, 100.0, 1e16, 0.30000000000000004};
  for (int i = 0; i < 20000; ++i) {
    const uint64_t bits = random();
    double v = 0;
    std::memcpy(&v, &bits, sizeof v);
    if (std::isfinite(v)) values.push_back(v);
    values.push_back(static_cast<double>(static_cast<int64_t>(bits >> 24)) / 1000.0);
  }
  for (double v : values) {
    char expected[64];
    std::string text;
    CMPIValue value;
    value.real64 = v;
    ASSERT_TRUE(wbem::scalar_text(CMPI_real64, value, &text));
    std::snprintf(expected, sizeof expected, "%.17g", v);
    ASSERT_EQ(text, expected);
    value.real32 = static_cast<float>(v);
    ASSERT_TRUE(wbem::scalar_text(CMPI_real32, value, &text));
    std::snprintf(expected, sizeof expected, "%.9g", static_cast<double>(value.real32));
    if (std::isfinite(value.real32)) {
      ASSERT_EQ(text, expected);
    }
  }
}

TEST(ValueXml, SixtyFourBitIntegersInFull) {
  std::string text;
  CMPIValue v;
  v.uint64 = 18446744073709551615ull;
  ASSERT_TRUE(wbem::scalar_text(CMPI_uint64, v, &text));
  EXPECT_EQ(text, "18446744073709551615");
  v.sint64 = -9223372036854775807ll - 1;
  ASSERT_TRUE(wbem::scalar_text(CMPI_sint64, v, &text));
  EXPECT_EQ(text, "-9223372036854775808");
}

TEST(ValueXml, TypeNames) {
  EXPECT_EQ(wbem::cim_type_name(CMPI_chars), "string");
  EXPECT_EQ(wbem::cim_type_name(CMPI_dateTime), "datetime");
  EXPECT_EQ(wbem::cmpi_type("UINT32"), static_cast<CMPIType>(CMPI_uint32));
  EXPECT_EQ(wbem::cmpi_type("reference"), static_cast<CMPIType>(CMPI_ref));
  EXPECT_EQ(wbem::cmpi_type("nothing"), 0u);
}

}  // namespace
