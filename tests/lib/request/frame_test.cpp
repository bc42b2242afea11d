#include "request/frame.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "log_capture.h"

namespace {

using namespace cmpitest;
using ::testing::ElementsAre;

TEST(Frame, BufferSizeIs8192) { EXPECT_EQ(FRAME_BUFFER_SIZE, 8192); }

TEST(FormString, WritesCompactTextThenTheTerminator) {
  Json::Value doc;
  doc["RequestType"] = 1;
  doc["ClassName"] = "Demo_Fan";
  char buf[FRAME_BUFFER_SIZE];
  LogCapture log;
  formString(doc, buf);
  EXPECT_STREQ(buf, "{\"ClassName\":\"Demo_Fan\",\"RequestType\":1}CMPI_EOF");
  EXPECT_THAT(log.lines(),
              ElementsAre(Enter("formString"),
                          Trace("formString: data received "
                                "{\"ClassName\":\"Demo_Fan\",\"RequestType\":1} Len = 40"),
                          Exit("formString")));
}

TEST(FormString, CutsALongDocumentAt8181Characters) {
  Json::Value doc = std::string(9000, 'a');  // text: a quote, 9000 letters, a quote
  std::vector<char> buf(FRAME_BUFFER_SIZE, 'X');
  formString(doc, buf.data());
  std::string frame(buf.data());
  ASSERT_EQ(frame.size(), 8181u + 8u);
  EXPECT_EQ(frame.substr(0, 8181), "\"" + std::string(8180, 'a'));
  EXPECT_EQ(frame.substr(8181), "CMPI_EOF");
  EXPECT_EQ(buf[8189], '\0');
  EXPECT_EQ(buf[8190], 'X');  // the largest frame is 8190 bytes
}

TEST(FormDynamicDataAsString, RemovesOneTrailingNewline) {
  char buf[64];
  formDynamicDataAsString("{\"a\":1}\n", buf, sizeof buf);
  EXPECT_STREQ(buf, "{\"a\":1}CMPI_EOF");
  formDynamicDataAsString("{\"a\":1}\n\n", buf, sizeof buf);
  EXPECT_STREQ(buf, "{\"a\":1}\nCMPI_EOF");
}

TEST(FormDynamicDataAsString, KeepsEveryCharacterOfATextWithoutNewline) {
  char buf[64];
  LogCapture log;
  formDynamicDataAsString("{\"a\":1}", buf, 7 + 12);
  EXPECT_STREQ(buf, "{\"a\":1}CMPI_EOF");
  EXPECT_THAT(log.lines(), ElementsAre(Enter("formDynamicDataAsString"),
                                       Trace("formDynamicDataAsString: len = 7 data received "
                                             "{\"a\":1}"),
                                       Exit("formDynamicDataAsString")));
}

TEST(FormDynamicDataAsString, EmptyTextGivesAnEmptyBufferWithoutTerminator) {
  char buf[32];
  std::memset(buf, 'X', sizeof buf);
  formDynamicDataAsString("", buf, sizeof buf);
  EXPECT_STREQ(buf, "");
  EXPECT_EQ(buf[1], 'X');
}

TEST(FormDynamicDataAsString, Size8193Keeps8181CharactersAndTerminatesAt8181) {
  std::string text(8181, 'b');
  std::vector<char> buf(8193, 'X');
  formDynamicDataAsString(text, buf.data(), 8193);
  EXPECT_EQ(std::string(buf.data(), 8181), text);
  EXPECT_EQ(std::string(buf.data() + 8181), "CMPI_EOF");
  EXPECT_EQ(buf[8189], '\0');
}

TEST(FormDynamicDataAsString, CutsAtSizeMinusEleven) {
  std::string text(100, 'c');
  std::vector<char> buf(50, 'X');
  formDynamicDataAsString(text, buf.data(), 50);
  EXPECT_EQ(std::string(buf.data()), std::string(39, 'c') + "CMPI_EOF");
}

TEST(FormDynamicDataAsString, TooSmallABlockGivesAnEmptyFrame) {
  char buf[10];
  std::memset(buf, 'X', sizeof buf);
  formDynamicDataAsString("{}", buf, sizeof buf);
  EXPECT_STREQ(buf, "");
}

}  // namespace
