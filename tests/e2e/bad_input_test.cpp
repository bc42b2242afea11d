// bad_input_test.cpp - every kind of bad request gets a clear log line and, where the connection
// still allows one, the error frame CMPIERROR:4; the daemon goes on serving.
#include "hostd_fixture.h"

namespace e2e {
namespace {

using cmpitest::ContainsInOrder;
using cmpitest::Error;
using cmpitest::LogLine;

const char kInvalid[] = "CMPIERROR:4CMPI_EOF";

class BadInput : public HostdTest {
 protected:
  std::vector<std::string> options() const override { return {"--max-request", "4096"}; }

  void expect_next_request_served() {
    Answer next = get_fan("fan0");
    EXPECT_EQ(next.rc, 0);
    EXPECT_EQ(next.instances.size(), 1u);
  }

  // The daemon's rejection line for a document of n bytes.
  static LogLine rejected(std::size_t n) {
    return Hostd("request rejected: the document is not a valid request (" + std::to_string(n) +
                     " bytes; the parser's line above says why)",
                 2);
  }

  // The front's line for a document of n bytes that its strict check refused.
  static LogLine refused(const std::string &reason, std::size_t n) {
    return Hostd("request rejected: " + reason + " (peer uid 0, " + std::to_string(n) + " bytes)",
                 2);
  }

  bool logged_with_prefix(const std::string &prefix, int module) {
    for (const LogLine &line : daemon_.lines()) {
      if (line.module == module && line.text.rfind(prefix, 0) == 0) return true;
    }
    return false;
  }
};

TEST_F(BadInput, TextThatIsNotJsonIsRejected) {
  EXPECT_EQ(exchange_raw(socket(), "garbageCMPI_EOF"), kInvalid);
  EXPECT_TRUE(daemon_.wait_for(refused("not valid JSON at byte 0", 7)));
  expect_next_request_served();
}

TEST_F(BadInput, TruncatedFrameFollowedByShutdownGetsAnErrorFrame) {
  RawOptions o;
  o.shutdown_write = true;
  EXPECT_EQ(exchange_raw(socket(), "{\"RequestType\":1,", o), kInvalid);
  EXPECT_TRUE(daemon_.wait_for(
      Hostd("request truncated: the client stopped sending after 17 bytes, without the frame "
            "terminator",
            2)));
  expect_next_request_served();
}

TEST_F(BadInput, TruncatedFrameFollowedByCloseIsLogged) {
  RawOptions o;
  o.close_at_once = true;
  exchange_raw(socket(), "{\"RequestType\":1,\"Class", o);
  EXPECT_TRUE(daemon_.wait_for(
      Hostd("request truncated: the client stopped sending after 23 bytes, without the frame "
            "terminator",
            2)));
  expect_next_request_served();
}

TEST_F(BadInput, ConnectionClosedWithoutABytesIsOnlyTraced) {
  RawOptions o;
  o.close_at_once = true;
  exchange_raw(socket(), "", o);
  EXPECT_TRUE(
      daemon_.wait_for(Hostd("connection closed by the client before it sent a request", 4)));
  expect_next_request_served();
}

TEST_F(BadInput, OversizedRequestIsRefused) {
  EXPECT_EQ(exchange_raw(socket(), std::string(5000, 'x')), kInvalid);
  EXPECT_TRUE(daemon_.wait_for(
      Hostd("request too large: more than 4096 bytes without the frame terminator", 2)));
  expect_next_request_served();
}

TEST_F(BadInput, FrameWhoseTerminatorLiesBeyondTheLimitIsRefused) {
  std::string frame = build_frame(GETINST, "root", fan("fan0"));
  std::string padded = frame.substr(0, frame.size() - 8) + std::string(4200, ' ') + "CMPI_EOF";
  EXPECT_EQ(exchange_raw(socket(), padded), kInvalid);
  EXPECT_TRUE(daemon_.wait_for(
      Hostd("request too large: more than 4096 bytes without the frame terminator", 2)));
}

TEST_F(BadInput, RequestUpToTheLimitIsServed) {
  std::string frame = build_frame(GETINST, "root", fan("fan0"));
  std::string padded = frame.substr(0, frame.size() - 8);
  padded += std::string(4096 - padded.size() - 8, ' ') + "CMPI_EOF";
  ASSERT_EQ(padded.size(), 4096u);
  std::string raw = exchange_raw(socket(), padded);
  EXPECT_NE(raw.find("\"DeviceID\":{\"DataState\":0,\"DataType\":5632,\"Value\":\"fan0\"}"),
            std::string::npos)
      << raw;
}

TEST_F(BadInput, SlowSenderRunsIntoTheReadTimeOut) {
  RawOptions o;
  o.read_limit_s = 20;
  EXPECT_EQ(exchange_raw(socket(), "{\"RequestType\":1,", o), kInvalid);
  EXPECT_TRUE(daemon_.wait_for(Hostd("request not complete within 2 s (17 bytes received)", 2)));
  expect_next_request_served();
}

TEST_F(BadInput, UnknownRequestTypesAreRejected) {
  for (const char *type : {"11", "0", "4294967295"}) {
    std::string doc = std::string("{\"RequestType\":") + type +
                      ",\"ClassName\":\"Demo_Fan\",\"NameSpace\":\"root/cimv2\","
                      "\"Principal\":\"root\"}";
    EXPECT_EQ(exchange_raw(socket(), doc + "CMPI_EOF"), kInvalid) << type;
    EXPECT_TRUE(daemon_.wait_for(
        refused("member \"RequestType\" is not an integer from 1 to 10", doc.size())))
        << type;
  }
  expect_next_request_served();
}

TEST_F(BadInput, WrongJsonValueTypesAreRejected) {
  // The strict check at the front refuses wrong types of the members it routes by.
  const std::pair<std::string, std::string> checked[] = {
      {"{\"RequestType\":\"x\",\"ClassName\":\"Demo_Fan\",\"NameSpace\":\"root/cimv2\","
       "\"Principal\":\"root\"}",
       "member \"RequestType\" is not an integer from 1 to 10"},
      {"{\"RequestType\":-1,\"ClassName\":\"Demo_Fan\",\"NameSpace\":\"root/cimv2\","
       "\"Principal\":\"root\"}",
       "member \"RequestType\" is not an integer from 1 to 10"},
      {"{\"RequestType\":3,\"ClassName\":\"Demo_Fan\",\"NameSpace\":\"root/cimv2\","
       "\"Principal\":{},\"key\":\"DeviceID=fan0,SystemName=bmc0,\"}",
       "member \"Principal\" is not a string"},
  };
  for (const auto &entry : checked) {
    EXPECT_EQ(exchange_raw(socket(), entry.first + "CMPI_EOF"), kInvalid) << entry.first;
    EXPECT_TRUE(daemon_.wait_for(refused(entry.second, entry.first.size()))) << entry.first;
  }
  // What only the library's parser can tell (a value of the wrong kind inside the arguments)
  // is refused by the worker, as the requesting user.
  const std::string doc =
      "{\"RequestType\":5,\"ClassName\":\"Demo_Fan\",\"NameSpace\":\"root/cimv2\","
      "\"Principal\":\"root\",\"key\":\"DeviceID=fan0,SystemName=bmc0,\",\"MethodName\":"
      "\"SetSpeed\",\"ArgsIn\":{\"DesiredSpeed\":{\"DataType\":160,\"Value\":\"fast\"}}}";
  EXPECT_EQ(exchange_raw(socket(), doc + "CMPI_EOF"), kInvalid);
  EXPECT_TRUE(daemon_.wait_for(rejected(doc.size())));
  EXPECT_EQ(exchange_raw(socket(), "[1,2,3]CMPI_EOF"), kInvalid);
  EXPECT_TRUE(daemon_.wait_for(refused("the document is not a JSON object", 7)));
  EXPECT_TRUE(
      logged_with_prefix("ERROR: __doDeserialization#2200: 'Json conversion failed: ", 230));
  expect_next_request_served();
}

TEST_F(BadInput, NulByteInTheDocumentIsRejected) {
  std::string doc = "{\"RequestType\":1,";
  doc += '\0';
  doc += "}CMPI_EOF";
  EXPECT_EQ(exchange_raw(socket(), doc), kInvalid);
  EXPECT_TRUE(daemon_.wait_for(Hostd("request rejected: the document contains a NUL byte", 2)));
  expect_next_request_served();
}

TEST_F(BadInput, EmptyMethodNameIsRejected) {
  std::string doc =
      "{\"RequestType\":5,\"ClassName\":\"Demo_Fan\",\"NameSpace\":\"root/cimv2\","
      "\"Principal\":\"root\",\"key\":\"DeviceID=fan0,SystemName=bmc0,\",\"MethodName\":\"\"}";
  EXPECT_EQ(exchange_raw(socket(), doc + "CMPI_EOF"), kInvalid);
  EXPECT_TRUE(daemon_.wait_for(
      Hostd("request rejected: InvokeMethod of Demo_Fan has an empty method name", 2)));
}

TEST_F(BadInput, BytesBehindTheTerminatorAreIgnored) {
  std::string raw = exchange_raw(socket(), build_frame(GETINST, "root", fan("fan1")) + "trailing");
  EXPECT_NE(raw.find("\"Value\":\"fan1\""), std::string::npos) << raw;
  EXPECT_NE(raw.find("CMPIOPERATION_COMPLETECMPI_EOF"), std::string::npos);
}

}  // namespace
}  // namespace e2e
