// frame_view_test.cpp - reading the daemon's data frames beside the tokenizers: frames cut
// across pieces, control frames passed over, status messages, and what a value object says.
#include "frame_view.h"

#include <gtest/gtest.h>

namespace {

TEST(FrameSplitter, KeepsDataFramesAcrossPieces) {
  cli::FrameSplitter splitter;
  std::deque<Json::Value> frames;
  splitter.add("{\"a\":1}CMPI_E", &frames);
  EXPECT_TRUE(frames.empty());
  splitter.add("OF{\"b\":", &frames);
  ASSERT_EQ(frames.size(), 1u);
  EXPECT_EQ(frames[0]["a"].asInt(), 1);
  splitter.add("2}CMPI_EOFCMPIOPERATION_COMPLETECMPI_EOF", &frames);
  ASSERT_EQ(frames.size(), 2u);
  EXPECT_EQ(frames[1]["b"].asInt(), 2);
  splitter.add("CMPIERROR:1CMPI_EOFnot jsonCMPI_EOF", &frames);
  ASSERT_EQ(frames.size(), 3u);
  EXPECT_TRUE(frames[2].isNull());
}

TEST(FrameStatusMessage, ReadsEachKindOfStatusFrame) {
  std::string message;
  Json::Value frame;
  frame["GetInstStatus"] = 6;
  frame["GetInstStatusMsg"] = "gone";
  EXPECT_TRUE(cli::frame_status_message(frame, &message));
  EXPECT_EQ(message, "gone");
  Json::Value set;
  set["SetInstStatusMsg"] = Json::Value();
  EXPECT_FALSE(cli::frame_status_message(set, &message));
  Json::Value cls;
  cls["GetClassStatusMsg"] = "no such class";
  EXPECT_TRUE(cli::frame_status_message(cls, &message));
  EXPECT_EQ(message, "no such class");
  EXPECT_FALSE(cli::frame_status_message(Json::Value(), &message));
}

TEST(WireValue, TellsNullEmptyAndMissingApart) {
  Json::Value null_string;
  null_string["DataState"] = 256;
  null_string["DataType"] = 5632;
  null_string["Value"] = Json::Value();
  EXPECT_TRUE(cli::wire_value(null_string).is_null);

  Json::Value empty_array;
  empty_array["DataState"] = 0;
  empty_array["DataType"] = 8352;
  const cli::WireValue empty = cli::wire_value(empty_array);
  EXPECT_TRUE(empty.empty_array);
  EXPECT_FALSE(empty.is_null);

  Json::Value char16;
  char16["DataState"] = 0;
  char16["DataType"] = 3;
  const cli::WireValue c = cli::wire_value(char16);
  EXPECT_TRUE(c.value_missing);
  EXPECT_EQ(c.type, 3u);

  Json::Value embedded;
  embedded["DataState"] = 0;
  embedded["DataType"] = 4096;
  embedded["CMPIInstance"] = Json::Value(Json::objectValue);
  EXPECT_FALSE(cli::wire_value(embedded).value_missing);
}

}  // namespace
