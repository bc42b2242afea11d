// compact_text_test.cpp - the library's own compact writer against jsoncpp's stream writer:
// every kind of value, escapes, non-ASCII and malformed UTF-8 text, reals, nesting, member
// order, and many generated documents, all byte for byte.
#include "json/compact_text.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <random>
#include <string>

namespace {

using cmpiutility::compact_text;
using cmpiutility::compact_text_by_jsoncpp;

void expect_same(const Json::Value &document) {
  EXPECT_EQ(compact_text(document), compact_text_by_jsoncpp(document));
}

TEST(CompactText, WritesScalarsCompactly) {
  Json::Value doc(Json::objectValue);
  doc["b"] = true;
  doc["a"] = Json::Value();
  doc["n"] = -42;
  doc["u"] = Json::UInt64(18446744073709551615ull);
  doc["s"] = "text";
  doc["f"] = false;
  EXPECT_EQ(compact_text(doc),
            "{\"a\":null,\"b\":true,\"f\":false,\"n\":-42,\"s\":\"text\",\"u\":18446744073709551615}");
  expect_same(doc);
}

TEST(CompactText, EmptyContainersAndNesting) {
  Json::Value doc(Json::objectValue);
  doc["empty_array"] = Json::Value(Json::arrayValue);
  doc["empty_object"] = Json::Value(Json::objectValue);
  Json::Value &list = doc["list"];
  list.append(1);
  list.append("two");
  list.append(Json::Value(Json::objectValue))["x"] = Json::Value(Json::arrayValue);
  EXPECT_EQ(compact_text(doc),
            "{\"empty_array\":[],\"empty_object\":{},\"list\":[1,\"two\",{\"x\":[]}]}");
  expect_same(doc);
  expect_same(Json::Value());
  expect_same(Json::Value(Json::arrayValue));
  expect_same(Json::Value("alone"));
}

TEST(CompactText, MembersInJsoncppsOrder) {
  Json::Value doc(Json::objectValue);
  for (const char *name : {"b", "a", "ab", "B", "_", "aa", "a b", "Z9", "z", "Value", "DataType"}) {
    doc[name] = name;
  }
  expect_same(doc);
  EXPECT_EQ(compact_text(doc).substr(0, 12), "{\"B\":\"B\",\"Da");
}

TEST(CompactText, EscapesAsJsoncppDoes) {
  const std::string texts[] = {
      "quote \" backslash \\ slash /",
      "controls \b \f \n \r \t \x01 \x1f end",
      "del \x7f",
      "Gr\xc3\xbc\xc3\x9f" "e \xe2\x82\xac \xf0\x9f\x98\x80",
      "bad \xff \xc3 cut",
      "surrogate \xed\xa0\x80 overlong \xc0\xaf",
      "cut at end \xe2\x82",
  };
  for (const std::string &text : texts) {
    Json::Value doc(Json::objectValue);
    doc[text] = text;
    doc["list"].append(text);
    SCOPED_TRACE(text);
    expect_same(doc);
  }
}

TEST(CompactText, TextWithANulByteIsLeftToJsoncpp) {
  Json::Value doc(Json::objectValue);
  doc["nul"] = Json::Value(std::string("before\0after", 12));
  expect_same(doc);
}

TEST(CompactText, RealsWithSeventeenDigits) {
  const double reals[] = {0.0,     -0.0,   1.0,     0.1,   1.5e300, -2.25e-300, 3.14159265358979,
                          1e21,    1e-7,   123456789012345678.0,     static_cast<float>(0.1),
                          std::numeric_limits<double>::infinity(),
                          -std::numeric_limits<double>::infinity(), std::nan("")};
  for (double r : reals) {
    Json::Value doc(Json::arrayValue);
    doc.append(r);
    SCOPED_TRACE(r);
    expect_same(doc);
  }
}

// Reals are written without jsoncpp's formatting call: every bit pattern of a double, the
// widened single-precision values the encoders write, and whole numbers (which gain ".0"), each
// as jsoncpp writes it.
TEST(CompactText, RealsOfEveryMagnitudeAsJsoncppWritesThem) {
  std::mt19937_64 rng(20261124);
  Json::Value doc(Json::arrayValue);
  for (int i = 0; i < 20000; ++i) {
    const uint64_t bits = rng();
    double d;
    std::memcpy(&d, &bits, sizeof d);
    doc.append(d);
    const uint32_t narrow = static_cast<uint32_t>(bits >> 32);
    float f;
    std::memcpy(&f, &narrow, sizeof f);
    doc.append(static_cast<double>(f));
    doc.append(static_cast<double>(static_cast<int64_t>(bits) >> (bits % 64)));
  }
  for (double whole : {100.0, -7.0, 1e15, 1e16, 1e17, 12345678901234567.0, 4294967296.0}) {
    doc.append(whole);
  }
  EXPECT_EQ(compact_text(doc), compact_text_by_jsoncpp(doc));
}

// Documents of random shape and content, the same from both writers.
Json::Value random_value(std::mt19937 &rng, int depth) {
  std::uniform_int_distribution<int> kind(0, depth > 3 ? 5 : 7);
  switch (kind(rng)) {
    case 0:
      return Json::Value();
    case 1:
      return Json::Value(static_cast<Json::Int64>(static_cast<Json::Int64>(rng()) - (Json::Int64(1) << 31)));
    case 2:
      return Json::Value(static_cast<Json::UInt64>(rng()) << 20);
    case 3:
      return Json::Value(std::ldexp(static_cast<double>(rng()), static_cast<int>(rng() % 80) - 40));
    case 4:
      return Json::Value(rng() % 2 == 0);
    case 5: {
      std::string text;
      const size_t length = rng() % 12;
      for (size_t i = 0; i < length; ++i) text.push_back(static_cast<char>(rng() % 256));
      return Json::Value(text);
    }
    case 6: {
      Json::Value array(Json::arrayValue);
      const size_t n = rng() % 4;
      for (size_t i = 0; i < n; ++i) array.append(random_value(rng, depth + 1));
      return array;
    }
    default: {
      Json::Value object(Json::objectValue);
      const size_t n = rng() % 4;
      for (size_t i = 0; i < n; ++i) {
        object["m" + std::to_string(rng() % 100)] = random_value(rng, depth + 1);
      }
      return object;
    }
  }
}

TEST(CompactText, GeneratedDocumentsMatch) {
  std::mt19937 rng(20261124);
  for (int i = 0; i < 2000; ++i) {
    const Json::Value doc = random_value(rng, 0);
    const std::string ours = compact_text(doc);
    const std::string theirs = compact_text_by_jsoncpp(doc);
    ASSERT_EQ(ours, theirs) << "document " << i;
  }
}

}  // namespace
