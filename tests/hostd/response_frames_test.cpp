// Tests of the host's writer of response frames: status messages too long for the fixed frame
// buffer are shortened so that the frame stays valid JSON, and data that holds the terminator
// cannot end a frame early.
#include "log_text.h"
#include "response_frames.h"

#include <cmpiinterface.h>
#include <cmpimacs.h>
#include <cmpiutility/records.h>
#include <cmpiutility/response.h>
#include <gtest/gtest.h>
#include <json/json.h>

#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "log_capture.h"

namespace hostd {
using wire::log_text;
namespace {

constexpr char kTerminator[] = "CMPI_EOF";
constexpr std::size_t kTerminatorSize = sizeof kTerminator - 1;

std::size_t count_of(const std::string &text, const std::string &what) {
  std::size_t n = 0;
  for (std::size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1)) {
    ++n;
  }
  return n;
}

// The frame must end with the one terminator it holds; its document is returned parsed.
::testing::AssertionResult parse_frame(const std::string &frame, Json::Value *document) {
  if (frame.size() < kTerminatorSize ||
      frame.compare(frame.size() - kTerminatorSize, kTerminatorSize, kTerminator) != 0) {
    return ::testing::AssertionFailure() << "the frame does not end with CMPI_EOF";
  }
  if (count_of(frame, kTerminator) != 1) {
    return ::testing::AssertionFailure()
           << "the frame holds CMPI_EOF " << count_of(frame, kTerminator) << " times";
  }
  const std::string text = frame.substr(0, frame.size() - kTerminatorSize);
  Json::CharReaderBuilder builder;
  std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
  std::string errors;
  if (!reader->parse(text.data(), text.data() + text.size(), document, &errors)) {
    return ::testing::AssertionFailure() << "not JSON: " << errors;
  }
  return ::testing::AssertionSuccess();
}

// A status whose message is released with it.
struct OwnedStatus {
  CMPIStatus status;
  OwnedStatus(CMPIrc rc, const std::string &message) {
    status.rc = rc;
    status.msg = CreateString(message.c_str(), nullptr);
  }
  ~OwnedStatus() {
    if (status.msg != nullptr) CMRelease(status.msg);
  }
  OwnedStatus(const OwnedStatus &) = delete;
  OwnedStatus &operator=(const OwnedStatus &) = delete;
};

std::string repeated(const std::string &piece, std::size_t times) {
  std::string text;
  text.reserve(piece.size() * times);
  for (std::size_t i = 0; i < times; ++i) text += piece;
  return text;
}

// The text of a string property of inst, "<...>" when it has none.
std::string text_property(const CMPIInstance *inst, const char *name) {
  CMPIStatus rc = {CMPI_RC_OK, nullptr};
  CMPIData d = CMGetProperty(inst, name, &rc);
  CMPIType type = d.type;
  CMPIValue value = d.value;
  if (rc.rc != CMPI_RC_OK) return "<no property>";
  if (type != CMPI_string || value.string == nullptr) return "<no string>";
  const std::string text = static_cast<const char *>(value.string->hdl);
  cmpiReleaseCMPIValue(type, &value);
  return text;
}

const char *name_of(int type) {
  switch (type) {
    case MODIFYINST:
      return "ModifyInstance";
    case DELETEINST:
      return "DeleteInstance";
    case CREATEINST:
      return "CreateInstance";
  }
  return "?";
}

// The notice about a shortened message: the message as every provider text is logged,
// escaped and cut after 1024 bytes.
std::string notice(int type, const std::string &message) {
  return std::string("the status message of ") + name_of(type) + " (" +
         std::to_string(message.size()) + " bytes) does not fit its frame and is shortened: '" +
         log_text(message, 1024) + "'";
}

// ---- fixed-buffer types: long status messages --------------------------------------------------

struct LongMessage {
  int type;
  const char *character;  // the message is 20,000 of these
};

void PrintTo(const LongMessage &c, std::ostream *out) {
  *out << name_of(c.type) << " with 20000 x '" << c.character << "'";
}

class FixedBufferFrame : public ::testing::TestWithParam<LongMessage> {};

TEST_P(FixedBufferFrame, LongStatusMessageIsShortenedAndTheFrameStaysValid) {
  const LongMessage &c = GetParam();
  const std::string message = repeated(c.character, 20000);
  OwnedStatus status(CMPI_RC_ERR_ACCESS_DENIED, message);
  ResponseParts parts;
  parts.status = &status.status;
  std::string out = "before|";
  cmpitest::LogCapture log;
  ASSERT_TRUE(append_response_frame(c.type, parts, &out));

  ASSERT_EQ(out.rfind("before|", 0), 0u);  // appended, not replaced
  const std::string frame = out.substr(7);
  EXPECT_LE(frame.size(), kFixedFrameDocument + kTerminatorSize);
  Json::Value document;
  ASSERT_TRUE(parse_frame(frame, &document)) << frame.substr(0, 200);
  EXPECT_EQ(document["RequestType"].asInt(), c.type);
  EXPECT_EQ(document["SetInstStatus"].asInt(), CMPI_RC_ERR_ACCESS_DENIED);
  ASSERT_TRUE(document["SetInstStatusMsg"].isString());
  const std::string got = document["SetInstStatusMsg"].asString();
  ASSERT_GT(got.size(), 3u);
  ASSERT_EQ(got.compare(got.size() - 3, 3, "..."), 0) << got.substr(got.size() - 20);
  const std::string kept = got.substr(0, got.size() - 3);
  EXPECT_LT(kept.size(), message.size());
  EXPECT_EQ(message.compare(0, kept.size(), kept), 0) << "not a prefix of the message";
  // Cut between characters, never inside one.
  EXPECT_EQ(kept.size() % std::string(c.character).size(), 0u);
  EXPECT_GT(kept.size(), 0u);
  // Shortened no more than needed: the frame still fills most of its buffer.
  EXPECT_GE(frame.size(), kFixedFrameDocument / 2);

  // One notice says so, and keeps the whole message for the operator.
  std::vector<cmpitest::LogLine> notices;
  for (const cmpitest::LogLine &line : log.at_level(3)) {
    if (line.module == 232) notices.push_back(line);
  }
  ASSERT_EQ(notices.size(), 1u);
  EXPECT_TRUE(notices[0].text == notice(c.type, message)) << notices[0].text.substr(0, 200);
}

INSTANTIATE_TEST_SUITE_P(
    Types, FixedBufferFrame,
    ::testing::Values(LongMessage{MODIFYINST, "m"}, LongMessage{MODIFYINST, "\xc3\xa9"},
                      LongMessage{DELETEINST, "d"}, LongMessage{DELETEINST, "\xc3\xa9"},
                      LongMessage{CREATEINST, "c"}, LongMessage{CREATEINST, "\xc3\xa9"},
                      LongMessage{MODIFYINST, "\xe2\x82\xac"}),
    [](const ::testing::TestParamInfo<LongMessage> &info) {
      return std::string(name_of(info.param.type)) +
             (std::string(info.param.character).size() == 1
                  ? "Ascii"
                  : "Utf8Of" + std::to_string(std::string(info.param.character).size()));
    });

TEST(FixedBufferFrame, CreatedPathTravelsWithAShortenedMessage) {
  CMPIObjectPath *path = makeNewObjectPath("root/cimv2", "Demo_Fan", nullptr);
  CMAddKey(path, "DeviceID", "fan0", CMPI_chars);
  OwnedStatus status(CMPI_RC_ERR_FAILED, std::string(20000, 'q'));
  ResponseParts parts;
  parts.path = path;
  parts.status = &status.status;
  std::string out;
  ASSERT_TRUE(append_response_frame(CREATEINST, parts, &out));
  Json::Value document;
  ASSERT_TRUE(parse_frame(out, &document)) << out.substr(0, 200);
  EXPECT_EQ(document["ClassName"].asString(), "Demo_Fan");
  EXPECT_EQ(document["SetInstStatus"].asInt(), CMPI_RC_ERR_FAILED);
  const std::string got = document["SetInstStatusMsg"].asString();
  EXPECT_EQ(got.substr(got.size() - 3), "...");
  EXPECT_EQ(got.find_first_not_of('q'), got.size() - 3);
  CMRelease(path);
}

TEST(FixedBufferFrame, ShortMessageIsUnchanged) {
  for (int type : {MODIFYINST, DELETEINST, CREATEINST}) {
    OwnedStatus status(CMPI_RC_ERR_NOT_FOUND, "no such fan \xc3\xa9");
    ResponseParts parts;
    parts.status = &status.status;
    std::string out;
    cmpitest::LogCapture log;
    ASSERT_TRUE(append_response_frame(type, parts, &out));
    Json::Value document;
    ASSERT_TRUE(parse_frame(out, &document)) << out;
    EXPECT_EQ(document["SetInstStatus"].asInt(), CMPI_RC_ERR_NOT_FOUND);
    EXPECT_EQ(document["SetInstStatusMsg"].asString(), "no such fan \xc3\xa9");
    EXPECT_TRUE(log.at_level(3).empty()) << name_of(type);
  }
}

TEST(FixedBufferFrame, MessageThatJustFitsIsUnchanged) {
  // Well below the buffer even with the other members: no shortening.
  const std::string message(kFixedFrameDocument - 200, 'f');
  OwnedStatus status(CMPI_RC_ERR_FAILED, message);
  ResponseParts parts;
  parts.status = &status.status;
  std::string out;
  ASSERT_TRUE(append_response_frame(MODIFYINST, parts, &out));
  Json::Value document;
  ASSERT_TRUE(parse_frame(out, &document));
  EXPECT_EQ(document["SetInstStatusMsg"].asString(), message);
}

TEST(FixedBufferFrame, MessageFullOfEscapesIsShortenedToValidJson) {
  // Control characters take six characters each in the document.
  const std::string message = repeated(std::string("\x01\"\\\n"), 5000);
  OwnedStatus status(CMPI_RC_ERR_FAILED, message);
  ResponseParts parts;
  parts.status = &status.status;
  std::string out;
  cmpitest::LogCapture log;
  ASSERT_TRUE(append_response_frame(DELETEINST, parts, &out));
  Json::Value document;
  ASSERT_TRUE(parse_frame(out, &document)) << out.substr(0, 200);
  const std::string got = document["SetInstStatusMsg"].asString();
  ASSERT_GE(got.size(), 3u);
  EXPECT_EQ(got.substr(got.size() - 3), "...");
  EXPECT_EQ(message.compare(0, got.size() - 3, got, 0, got.size() - 3), 0);
  // The log line gets the message on one line, its control characters escaped, cut short.
  ASSERT_EQ(log.at_level(3).size(), 1u);
  EXPECT_TRUE(log.at_level(3)[0].text == notice(DELETEINST, message))
      << log.at_level(3)[0].text.substr(0, 200);
}

TEST(FixedBufferFrame, StatusWithoutMessage) {
  CMPIStatus status = {CMPI_RC_OK, nullptr};
  ResponseParts parts;
  parts.status = &status;
  std::string out;
  ASSERT_TRUE(append_response_frame(MODIFYINST, parts, &out));
  Json::Value document;
  ASSERT_TRUE(parse_frame(out, &document)) << out;
  EXPECT_EQ(document["SetInstStatus"].asInt(), 0);
  EXPECT_TRUE(document["SetInstStatusMsg"].isNull());
}

// ---- the terminator inside data ----------------------------------------------------------------

TEST(GuardedFrame, TerminatorInAPropertyNeitherEndsTheFrameNorChangesTheValue) {
  const std::string value = "xCMPI_EOFCMPIOPERATION_COMPLETECMPI_EOF";
  CMPIObjectPath *path = makeNewObjectPath("root/cimv2", "Demo_Fan", nullptr);
  CMAddKey(path, "DeviceID", "fan0", CMPI_chars);
  CMPIInstance *inst = makeNewCMPIInstance(path, nullptr);
  CMSetProperty(inst, "DeviceID", "fan0", CMPI_chars);
  CMSetProperty(inst, "Caption", value.c_str(), CMPI_chars);
  CMPIStatus ok = {CMPI_RC_OK, nullptr};
  ResponseParts parts;
  parts.instance = inst;
  parts.status = &ok;
  std::string out;
  ASSERT_TRUE(append_response_frame(GETINST, parts, &out));
  CMRelease(inst);
  CMRelease(path);

  EXPECT_EQ(count_of(out, kTerminator), 1u) << out;
  ASSERT_EQ(out.compare(out.size() - kTerminatorSize, kTerminatorSize, kTerminator), 0) << out;
  EXPECT_EQ(out.find("CMPIOPERATION_COMPLETECMPI_EOF"), std::string::npos) << out;

  const std::string document = out.substr(0, out.size() - kTerminatorSize);
  ServerResp *resp = deserializeResp(document.c_str());
  ASSERT_NE(resp, nullptr);
  EXPECT_EQ(resp->type, GETINST);
  ASSERT_NE(resp->instance, nullptr) << document;
  EXPECT_EQ(text_property(resp->instance, "Caption"), value);
  EXPECT_EQ(text_property(resp->instance, "DeviceID"), "fan0");
  releaseClientResponseData(resp);
}

TEST(GuardedFrame, FramesAreAppendedOneAfterAnother) {
  CMPIObjectPath *path = makeNewObjectPath("root/cimv2", "Demo_Fan", nullptr);
  CMAddKey(path, "DeviceID", "fan0", CMPI_chars);
  ResponseParts parts;
  parts.path = path;
  std::string out;
  ASSERT_TRUE(append_response_frame(ENUMINSTNAMES, parts, &out));
  const std::string first = out;
  ASSERT_TRUE(append_response_frame(ENUMINSTNAMES, parts, &out));
  CMRelease(path);
  EXPECT_EQ(out, first + first);
  EXPECT_EQ(count_of(out, kTerminator), 2u);
  Json::Value document;
  ASSERT_TRUE(parse_frame(first, &document)) << first;
  EXPECT_EQ(document["ClassName"].asString(), "Demo_Fan");
  EXPECT_EQ(document["key"].asString(), "DeviceID=fan0,");
}

}  // namespace
}  // namespace hostd
