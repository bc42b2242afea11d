// The safe XML reader: every limit, every kind of declaration refused before expansion,
// malformed XML and text that is not UTF-8.
#include <gtest/gtest.h>

#include <chrono>
#include <string>

#include "xml_reader.h"

namespace {

using wbem::read_xml;
using wbem::XmlLimits;

TEST(XmlReader, ReadsElementsAttributesAndText) {
  auto r = read_xml("<?xml version=\"1.0\" encoding=\"utf-8\" ?><A x=\"1\" y=\"&lt;&amp;&#65;\">"
                    "t<!-- skipped --><B/>u<C>v</C></A>",
                    XmlLimits());
  ASSERT_TRUE(r.root) << r.error;
  EXPECT_EQ(r.root->name, "A");
  ASSERT_EQ(r.root->attributes.size(), 2u);
  EXPECT_EQ(*r.root->attribute("y"), "<&A");
  EXPECT_EQ(r.root->attribute("z"), nullptr);
  EXPECT_EQ(r.root->text, "tu");
  ASSERT_EQ(r.root->children.size(), 2u);
  EXPECT_EQ(r.root->child("C")->text, "v");
  EXPECT_EQ(r.root->child("D"), nullptr);
}

TEST(XmlReader, RefusesADoctype) {
  auto r = read_xml("<!DOCTYPE CIM SYSTEM \"cim.dtd\"><CIM/>", XmlLimits());
  EXPECT_FALSE(r.root);
  EXPECT_EQ(r.error, "a document type declaration is not accepted");
  EXPECT_FALSE(r.limit_exceeded);
}

TEST(XmlReader, RefusesEntityDeclarationsAndExternalEntities) {
  auto internal = read_xml("<!DOCTYPE a [<!ENTITY e \"x\">]><a>&e;</a>", XmlLimits());
  EXPECT_FALSE(internal.root);
  EXPECT_EQ(internal.error, "a document type declaration is not accepted");
  auto external = read_xml("<!DOCTYPE a [<!ENTITY e SYSTEM \"file:///etc/passwd\">]><a>&e;</a>",
                           XmlLimits());
  EXPECT_FALSE(external.root);
  EXPECT_NE(external.error.find("not accepted"), std::string::npos);
  // An entity used without a declaration is malformed.
  auto undeclared = read_xml("<a>&e;</a>", XmlLimits());
  EXPECT_FALSE(undeclared.root);
  EXPECT_NE(undeclared.error.find("malformed XML"), std::string::npos);
}

TEST(XmlReader, BillionLaughsFailsFast) {
  std::string doc = "<?xml version=\"1.0\"?><!DOCTYPE lolz [<!ENTITY lol \"lol\">";
  doc += "<!ENTITY lol1 \"&lol;&lol;&lol;&lol;&lol;&lol;&lol;&lol;&lol;&lol;\">";
  for (int i = 2; i <= 9; ++i) {
    doc += "<!ENTITY lol" + std::to_string(i) + " \"";
    for (int k = 0; k < 10; ++k) doc += "&lol" + std::to_string(i - 1) + ";";
    doc += "\">";
  }
  doc += "]><lolz>&lol9;</lolz>";
  const auto start = std::chrono::steady_clock::now();
  auto r = read_xml(doc, XmlLimits());
  const auto took = std::chrono::steady_clock::now() - start;
  EXPECT_FALSE(r.root);
  EXPECT_EQ(r.error, "a document type declaration is not accepted");
  EXPECT_LT(std::chrono::duration_cast<std::chrono::milliseconds>(took).count(), 100);
}

TEST(XmlReader, RefusesProcessingInstructionsAndOtherEncodings) {
  EXPECT_FALSE(read_xml("<?xml-stylesheet href=\"x\"?><a/>", XmlLimits()).root);
  auto latin = read_xml("<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?><a/>", XmlLimits());
  EXPECT_FALSE(latin.root);
  EXPECT_NE(latin.error.find("ISO-8859-1"), std::string::npos);
  EXPECT_TRUE(read_xml("<?xml version=\"1.0\" encoding=\"US-ASCII\"?><a/>", XmlLimits()).root);
}

TEST(XmlReader, RefusesInvalidUtf8) {
  for (const char *bad : {"<a>\xff</a>", "<a>\xc3</a>", "<a>\xc0\xaf</a>", "<a x=\"\xed\xa0\x80\"/>",
                          "<a>\xf4\x90\x80\x80</a>"}) {
    auto r = read_xml(bad, XmlLimits());
    EXPECT_FALSE(r.root) << bad;
    EXPECT_NE(r.error.find("malformed XML"), std::string::npos) << r.error;
  }
  EXPECT_TRUE(read_xml("<a>M\xc3\xbcnchen \xe2\x82\xac \xf0\x9f\x98\x80</a>", XmlLimits()).root);
}

TEST(XmlReader, MalformedXmlSaysWhere) {
  auto r = read_xml("<a>\n<b></a>", XmlLimits());
  EXPECT_FALSE(r.root);
  EXPECT_EQ(r.error, "malformed XML: mismatched tag at line 2, column 6");
  EXPECT_FALSE(read_xml("", XmlLimits()).root);
  EXPECT_FALSE(read_xml("<a></a><b/>", XmlLimits()).root);
  EXPECT_FALSE(read_xml(std::string("<a>\0</a>", 8), XmlLimits()).root);
  EXPECT_FALSE(read_xml("<a>\x01</a>", XmlLimits()).root);
}

TEST(XmlReader, DepthLimit) {
  XmlLimits limits;
  limits.max_depth = 3;
  EXPECT_TRUE(read_xml("<a><b><c/></b></a>", limits).root);
  auto r = read_xml("<a><b><c><d/></c></b></a>", limits);
  EXPECT_FALSE(r.root);
  EXPECT_TRUE(r.limit_exceeded);
  EXPECT_EQ(r.error, "elements nested deeper than 3");
  // The default stops a deep document long before the stack is at risk.
  std::string deep;
  for (int i = 0; i < 100000; ++i) deep += "<a>";
  auto d = read_xml(deep, XmlLimits());
  EXPECT_TRUE(d.limit_exceeded);
}

TEST(XmlReader, ElementLimit) {
  XmlLimits limits;
  limits.max_elements = 4;
  EXPECT_TRUE(read_xml("<a><b/><b/><b/></a>", limits).root);
  auto r = read_xml("<a><b/><b/><b/><b/></a>", limits);
  EXPECT_FALSE(r.root);
  EXPECT_TRUE(r.limit_exceeded);
  EXPECT_EQ(r.error, "more than 4 elements");
}

TEST(XmlReader, AttributeLimit) {
  XmlLimits limits;
  limits.max_attributes = 2;
  EXPECT_TRUE(read_xml("<a x=\"1\" y=\"2\"/>", limits).root);
  auto r = read_xml("<a x=\"1\" y=\"2\" z=\"3\"/>", limits);
  EXPECT_TRUE(r.limit_exceeded);
  EXPECT_EQ(r.error, "element a has more than 2 attributes");
}

TEST(XmlReader, TextLimitCountsTextAndAttributeValues) {
  XmlLimits limits;
  limits.max_text = 10;
  EXPECT_TRUE(read_xml("<a x=\"12345\">12345</a>", limits).root);
  auto text = read_xml("<a>12345678901</a>", limits);
  EXPECT_TRUE(text.limit_exceeded);
  EXPECT_EQ(text.error, "more than 10 bytes of text");
  EXPECT_TRUE(read_xml("<a x=\"123456\">12345</a>", limits).limit_exceeded);
}

}  // namespace
