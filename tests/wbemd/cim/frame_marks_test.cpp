// frame_marks_test.cpp - the marks of a data frame read in one scan agree with what the whole
// frame parsed with jsoncpp says, for every kind of property; frames split across pieces.
#include "frame_marks.h"

#include <gtest/gtest.h>

#include <memory>

#include "frame_view.h"

namespace {

Json::Value parse(const std::string &text) {
  Json::CharReaderBuilder builder;
  const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
  Json::Value document;
  std::string error;
  EXPECT_TRUE(reader->parse(text.data(), text.data() + text.size(), &document, &error)) << error;
  return document;
}

// Every property of full's InstanceProps reads the same from marks for what the front end asks
// (null, empty array, missing value; recursively for embedded instances); returns how many
// properties the marks keep.
int expect_same_marks(const Json::Value &full, const Json::Value &marks, const std::string &where) {
  int kept = 0;
  const Json::Value &props = full["InstanceProps"];
  if (!props.isObject()) {
    EXPECT_FALSE(marks["InstanceProps"].isObject()) << where;
    return 0;
  }
  EXPECT_TRUE(marks["InstanceProps"].isObject()) << where;
  for (const std::string &name : props.getMemberNames()) {
    const Json::Value &a = props[name];
    const Json::Value &b = marks["InstanceProps"][name];
    const std::string at = where + "/" + name;
    const cli::WireValue wa = cli::wire_value(a);
    const cli::WireValue wb = cli::wire_value(b);
    EXPECT_EQ(wa.is_null, wb.is_null) << at;
    EXPECT_EQ(wa.empty_array, wb.empty_array) << at;
    EXPECT_EQ(wa.value_missing, wb.value_missing) << at;
    if (!b.isNull()) {
      ++kept;
      EXPECT_EQ(wa.type, wb.type) << at;
    }
    if (a.isObject() && a["CMPIInstance"].isObject()) {
      kept += expect_same_marks(a["CMPIInstance"], b["CMPIInstance"], at);
    }
  }
  return kept;
}

const char kFrame[] =
    "{\"ClassName\":\"Demo_Thing\",\"NameSpace\":\"root/cimv2\",\"Keys\":{\"Id\":{\"DataType\":5632,"
    "\"Value\":\"a \\\"quoted\\\" {key}\"}},\"InstanceProps\":{"
    "\"Id\":{\"DataState\":0,\"DataType\":5632,\"Value\":\"a \\\"quoted\\\" {key}\"},"
    "\"Gone\":{\"DataState\":256,\"DataType\":144},"
    "\"Count\":{\"DataState\":0,\"DataType\":144,\"Value\":42},"
    "\"Ratio\":{\"DataState\":0,\"DataType\":11,\"Value\":-1.5e3},"
    "\"Empty\":{\"DataState\":0,\"DataType\":12288},"
    "\"NullArray\":{\"DataState\":256,\"DataType\":12288},"
    "\"Names\":{\"DataState\":0,\"DataType\":12288,\"Value\":[\"x]\",\"y}\",null]},"
    "\"Missing\":{\"DataState\":0,\"DataType\":5632},"
    "\"Odd\":{\"DataState\":\"256\",\"DataType\":-3,\"Value\":true},"
    "\"Plain\":7,\"Nothing\":null,"
    "\"Back\\\\slash\\n\":{\"DataType\":5632,\"Value\":\"\\u00e9\"},"
    "\"Inner\":{\"DataState\":0,\"DataType\":4096,\"CMPIInstance\":{\"ClassName\":\"Demo_Part\","
    "\"InstanceProps\":{\"Label\":{\"DataState\":256,\"DataType\":5632},"
    "\"List\":{\"DataState\":0,\"DataType\":12288}}}}},"
    "\"Trailer\":[{\"InstanceProps\":{}}]}";

TEST(FrameMarks, AgreeWithTheWholeParseForEveryKindOfProperty) {
  const Json::Value full = parse(kFrame);
  const Json::Value marks = wbem::frame_marks(kFrame);
  // Kept: Gone, Empty, NullArray, Missing, Inner and, inside it, Label and List.
  EXPECT_EQ(expect_same_marks(full, marks, ""), 7);
  // Only the marks are kept: no values, no other members, no plain properties.
  EXPECT_FALSE(marks.isMember("ClassName"));
  for (const char *plain : {"Id", "Count", "Ratio", "Names", "Odd", "Plain", "Nothing"}) {
    EXPECT_FALSE(marks["InstanceProps"].isMember(plain)) << plain;
  }
  EXPECT_TRUE(marks["InstanceProps"]["Gone"]["DataState"].isUInt());
  EXPECT_EQ(marks["InstanceProps"]["Gone"]["DataState"].asUInt(), 256u);
  EXPECT_TRUE(cli::wire_value(marks["InstanceProps"]["Inner"]["CMPIInstance"]["InstanceProps"]
                                   ["Label"]).is_null);
  // An embedded instance with nothing telling is left out whole.
  const Json::Value plain_inner = wbem::frame_marks(
      "{\"InstanceProps\":{\"In\":{\"DataType\":4096,\"CMPIInstance\":{\"InstanceProps\":{"
      "\"A\":{\"DataType\":144,\"Value\":1}}}}}}");
  ASSERT_TRUE(plain_inner["InstanceProps"].isObject());
  EXPECT_TRUE(plain_inner["InstanceProps"].empty());
}

TEST(FrameMarks, FramesItCannotFollowAreParsedWhole) {
  // A key with a \u escape: the whole parse decodes it.
  const std::string escaped =
      "{\"InstanceProps\":{\"Caf\\u00e9\":{\"DataState\":256,\"DataType\":5632}}}";
  const Json::Value marks = wbem::frame_marks(escaped);
  EXPECT_TRUE(cli::wire_value(marks["InstanceProps"]["Caf\xc3\xa9"]).is_null);
  // Not JSON at all: a null document, as before.
  EXPECT_TRUE(wbem::frame_marks("not a frame").isNull());
  EXPECT_TRUE(wbem::frame_marks("{\"InstanceProps\":{\"A\":{\"DataState\":").isNull());
  // An instance without properties.
  EXPECT_FALSE(wbem::frame_marks("{\"ClassName\":\"X\"}").isMember("InstanceProps"));
}

TEST(FrameMarks, SplitsFramesAcrossPiecesAndSkipsStatusFrames) {
  const std::string one = "{\"InstanceProps\":{\"A\":{\"DataState\":256,\"DataType\":144}}}";
  const std::string two = "{\"InstanceProps\":{\"B\":{\"DataState\":0,\"DataType\":12288}}}";
  const std::string answer = one + "CMPI_EOF" + two + "CMPI_EOF" +
                             "CMPIOPERATION_COMPLETE{\"rc\":0}CMPI_EOF";
  wbem::FrameMarks splitter;
  std::deque<Json::Value> frames;
  // Three bytes at a time: terminators and frames cut anywhere.
  for (std::size_t at = 0; at < answer.size(); at += 3) {
    splitter.add(answer.substr(at, 3).c_str(), &frames);
  }
  ASSERT_EQ(frames.size(), 2u);
  EXPECT_TRUE(cli::wire_value(frames[0]["InstanceProps"]["A"]).is_null);
  EXPECT_TRUE(cli::wire_value(frames[1]["InstanceProps"]["B"]).empty_array);
}

}  // namespace
