// The program against a peer that plays back captured answers: which library functions carry
// the exchange, how each answer is decoded, and what a broken answer does.
#include <cmpiutility/records.h>
#include <cmpiutility/request.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <json/json.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>

#include "cli.h"
#include "cli_error.h"
#include "cmpi_build.h"
#include "corpus_file.h"
#include "log_capture.h"

namespace {

using cmpitest::ContainsInOrder;
using cmpitest::Enter;
using cmpitest::Error;
using cmpitest::Exit;

// Accepts one connection, reads the request frame, writes the answer, then closes (or, with
// keep_open, waits until the client closes).
class CannedPeer {
 public:
  CannedPeer(std::string answer, bool keep_open = false)
      : path_("/tmp/cmpi-cli-canned-" + std::to_string(getpid()) + "-" +
              std::to_string(counter_++) + ".sock") {
    fd_ = socket(AF_UNIX, SOCK_STREAM, 0);
    struct sockaddr_un addr;
    std::memset(&addr, 0, sizeof addr);
    addr.sun_family = AF_UNIX;
    std::strncpy(addr.sun_path, path_.c_str(), sizeof addr.sun_path - 1);
    unlink(path_.c_str());
    EXPECT_EQ(bind(fd_, reinterpret_cast<struct sockaddr *>(&addr), sizeof addr), 0);
    EXPECT_EQ(listen(fd_, 4), 0);
    thread_ = std::thread([this, answer, keep_open] {
      const int conn = accept(fd_, nullptr, nullptr);
      if (conn < 0) return;
      char buf[4096];
      std::string request;
      while (request.find("CMPI_EOF") == std::string::npos) {
        const ssize_t n = read(conn, buf, sizeof buf);
        if (n <= 0) break;
        request.append(buf, static_cast<std::size_t>(n));
      }
      request_ = request;
      if (!answer.empty()) {
        EXPECT_EQ(send(conn, answer.data(), answer.size(), MSG_NOSIGNAL),
                  static_cast<ssize_t>(answer.size()));
      }
      if (keep_open) {
        while (read(conn, buf, sizeof buf) > 0) {
        }
      }
      close(conn);
    });
  }
  ~CannedPeer() {
    shutdown(fd_, SHUT_RDWR);
    if (thread_.joinable()) thread_.join();
    close(fd_);
    unlink(path_.c_str());
  }
  const std::string &path() const { return path_; }
  // Valid once the client has finished.
  std::string request() {
    shutdown(fd_, SHUT_RDWR);
    if (thread_.joinable()) thread_.join();
    return request_;
  }

 private:
  static int counter_;
  std::string path_;
  int fd_ = -1;
  std::thread thread_;
  std::string request_;
};
int CannedPeer::counter_ = 0;

struct Ran {
  int status;
  std::string out;
  std::string err;
};

Ran run(std::vector<std::string> args, const std::string &socket) {
  args.insert(args.begin(), {"--socket", socket, "--timeout", "5"});
  cli::RunSettings settings;
  settings.defaults = {"/nonexistent.sock", "root"};
  std::ostringstream out;
  std::ostringstream err;
  const int status = cli::run(args, settings, out, err);
  return {status, out.str(), err.str()};
}

const char kChassisFrame[] =
    "{\"ClassName\":\"Demo_Chassis\",\"InstanceProps\":{\"FanCount\":{\"DataState\":0,"
    "\"DataType\":128,\"Value\":2},\"Tag\":{\"DataState\":0,\"DataType\":5632,\"Value\":"
    "\"chassis0\"}},\"NameSpace\":\"root/cimv2\",\"RequestType\":3}CMPI_EOF";

TEST(CannedPeer, GetInstanceGoesThroughTheLibrarysClientFunctions) {
  CannedPeer peer(std::string(kChassisFrame) + "CMPIOPERATION_COMPLETECMPI_EOF");
  cmpitest::LogCapture log;
  Ran r = run({"get", "Demo_Chassis.Tag=\"chassis0\""}, peer.path());
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "instance of Demo_Chassis {\n    FanCount = 2;\n    Tag = \"chassis0\";\n};\n");
  EXPECT_EQ(r.err, "");
  EXPECT_TRUE(ContainsInOrder(
      log.lines(),
      {Enter("getClientReq"), Exit("getClientReq"), Enter("doSerialization"),
       Exit("doSerialization"), Enter("clientConnectServersock"), Exit("clientConnectServersock"),
       Enter("clientSend"), Exit("clientSend"), Enter("xselect"), Exit("xselect"),
       Enter("clientRecv"), Exit("clientRecv"), Enter("CMUtilGETStringTokenize"),
       Exit("CMUtilGETStringTokenize"), Enter("releaseRequestData"), Exit("releaseRequestData")}));
  EXPECT_EQ(peer.request(),
            "{\"ClassName\":\"Demo_Chassis\",\"NameSpace\":\"root/cimv2\",\"Principal\":\"root\","
            "\"RequestType\":3,\"key\":\"Tag=chassis0,\"}CMPI_EOF");
}

TEST(CannedPeer, EnumerationUsesTheEnumTokenizer) {
  std::string frame(kChassisFrame);
  frame.replace(frame.find("\"RequestType\":3"), 15, "\"RequestType\":1");
  CannedPeer peer(frame + frame + "CMPIOPERATION_COMPLETECMPI_EOF");
  cmpitest::LogCapture log;
  Ran r = run({"enum", "Demo_Chassis"}, peer.path());
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out,
            "instance of Demo_Chassis {\n    FanCount = 2;\n    Tag = \"chassis0\";\n};\n\n"
            "instance of Demo_Chassis {\n    FanCount = 2;\n    Tag = \"chassis0\";\n};\n");
  EXPECT_TRUE(ContainsInOrder(log.lines(), {Enter("CMUtilEnumStringTokenize"),
                                            Exit("CMUtilEnumStringTokenize")}));
}

TEST(CannedPeer, ErrorFrameIsACimError) {
  CannedPeer peer("CMPIERROR:6CMPI_EOF");
  Ran r = run({"enum", "Demo_Chassis"}, peer.path());
  EXPECT_EQ(r.status, cli::kExitCimError);
  EXPECT_EQ(r.out, "");
  EXPECT_EQ(r.err, "CMPI_RC_ERR_NOT_FOUND: not found\n");
}

TEST(CannedPeer, UnknownCodeKeepsItsNumber) {
  CannedPeer peer("CMPIERROR:77CMPI_EOF");
  Ran r = run({"invoke", "X", "M"}, peer.path());
  EXPECT_EQ(r.status, cli::kExitCimError);
  EXPECT_EQ(r.err, "CMPI_RC_77: CMPI return code 77\n");
}

TEST(CannedPeer, StatusFrameOfSetOperationsAndTheirMessage) {
  CannedPeer peer(
      "{\"RequestType\":8,\"SetInstStatus\":6,\"SetInstStatusMsg\":\"Demo_Chassis "
      "Tag=\\\"x\\\" does not exist\"}CMPI_EOF");
  cmpitest::LogCapture log;
  Ran r = run({"delete", "Demo_Chassis.Tag=\"x\""}, peer.path());
  EXPECT_EQ(r.status, cli::kExitCimError);
  EXPECT_EQ(r.err, "CMPI_RC_ERR_NOT_FOUND: Demo_Chassis Tag=\"x\" does not exist\n");
  EXPECT_TRUE(ContainsInOrder(log.lines(), {Enter("CMUtilSETStringTokenize"),
                                            Exit("CMUtilSETStringTokenize")}));
}

TEST(CannedPeer, SetOperationAnsweredButLeftOpenEndsAtTheTimeout) {
  // A peer that sends the status frame but does not close: the answer stands after the wait.
  CannedPeer peer("{\"RequestType\":4,\"SetInstStatus\":0,\"SetInstStatusMsg\":null}CMPI_EOF",
                  true);
  Ran r = run({"--timeout", "1", "modify", "Demo_Chassis.Tag=\"x\"", "Model=M"}, peer.path());
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "Status = CMPI_RC_OK;\n");
}

TEST(CannedPeer, CreateReadsTheStatusWithTheCreateTokenizer) {
  CannedPeer peer(
      "{\"ClassName\":\"Demo_Chassis\",\"NameSpace\":\"root/cimv2\",\"RequestType\":9,"
      "\"SetInstStatus\":0,\"SetInstStatusMsg\":null,\"key\":\"Tag=c1,\"}CMPI_EOF");
  cmpitest::LogCapture log;
  Ran r = run({"create", "Demo_Chassis.Tag=\"c1\"", "Model=M"}, peer.path());
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "Created = root/cimv2:Demo_Chassis.Tag=\"c1\";\nStatus = CMPI_RC_OK;\n");
  EXPECT_TRUE(ContainsInOrder(log.lines(), {Enter("CMUtilCreateInstStringTokenize"),
                                            Exit("CMUtilCreateInstStringTokenize")}));
  // The key became a property too.
  const std::string request = peer.request();
  EXPECT_NE(request.find("\"Tag\":{\"DataState\":0,\"DataType\":5632,\"Value\":\"c1\"}"),
            std::string::npos)
      << request;
}

TEST(CannedPeer, ATerminatorInsideAValueDoesNotEndTheRequest) {
  // The peer cuts the request at its first "CMPI_EOF", as the daemon does; the value must reach
  // it whole and read back as written.
  const std::string value = "xCMPI_EOFCMPIOPERATION_COMPLETECMPI_EOF";
  CannedPeer peer(
      "{\"ClassName\":\"Demo_Chassis\",\"NameSpace\":\"root/cimv2\",\"RequestType\":9,"
      "\"SetInstStatus\":0,\"SetInstStatusMsg\":null,\"key\":\"Tag=c1,\"}CMPI_EOF");
  Ran r = run({"create", "Demo_Chassis.Tag=\"c1\"", "Model=" + value}, peer.path());
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "Created = root/cimv2:Demo_Chassis.Tag=\"c1\";\nStatus = CMPI_RC_OK;\n");
  const std::string request = peer.request();
  ASSERT_GE(request.size(), 8u);
  EXPECT_EQ(request.find("CMPI_EOF"), request.size() - 8) << request;
  const std::string document = request.substr(0, request.size() - 8);
  ClientReq *parsed = doDeserialization(document.c_str());
  ASSERT_NE(parsed, nullptr) << document;
  CMPIInstance *inst = parsed->CI;  // copied out of the packed record
  ASSERT_NE(inst, nullptr);
  cli::OwnedData model(CMGetProperty(inst, "Model", nullptr));
  ASSERT_EQ(model.type(), CMPI_string);
  EXPECT_EQ(cli::text_of(model.value().string), value);
  releaseRequestData(parsed);
}

TEST(CannedPeer, MethodAnswerWithoutReturnValue) {
  CannedPeer peer(
      "{\"ArgsIn\":{\"Out\":{\"DataType\":160,\"Value\":7}},\"RequestType\":5,\"RetVal\":0}"
      "CMPI_EOFCMPIOPERATION_COMPLETECMPI_EOF");
  cmpitest::LogCapture log;
  Ran r = run({"invoke", "X", "M"}, peer.path());
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "ReturnValue = NULL;\nOut = 7;\n");
  EXPECT_TRUE(ContainsInOrder(log.lines(), {Enter("CMUtilInvokeStringTokenize"),
                                            Exit("CMUtilInvokeStringTokenize")}));
}

TEST(CannedPeer, GetClassUsesTheClassTokenizer) {
  CannedPeer peer(
      "{\"ClassName\":\"Demo_Chassis\",\"MethodList\":{},\"MethodParamList\":{},\"NameSpace\":"
      "\"root/cimv2\",\"PropList\":{\"Value\":[\"Tag\",\"Model\"]},\"RequestType\":10}CMPI_EOF"
      "CMPIOPERATION_COMPLETECMPI_EOF");
  cmpitest::LogCapture log;
  Ran r = run({"get-class", "Demo_Chassis"}, peer.path());
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "class Demo_Chassis {\n    property Tag;\n    property Model;\n};\n");
  EXPECT_TRUE(ContainsInOrder(log.lines(), {Enter("CMUtilGETClassStringTokenize"),
                                            Exit("CMUtilGETClassStringTokenize")}));
}

TEST(CannedPeer, UndecodableAnswerIsAConnectionError) {
  CannedPeer peer("{\"RequestType\":-1}CMPI_EOF");
  Ran r = run({"enum", "Demo_Chassis"}, peer.path());
  EXPECT_EQ(r.status, cli::kExitConnection);
  EXPECT_EQ(r.err.rfind("cmpi-cli: the answer could not be decoded: ", 0), 0u) << r.err;
}

TEST(CannedPeer, AnswerEndingEarlyIsAConnectionError) {
  CannedPeer peer(kChassisFrame);
  Ran r = run({"get", "Demo_Chassis.Tag=\"chassis0\""}, peer.path());
  EXPECT_EQ(r.status, cli::kExitConnection);
  EXPECT_EQ(r.err, "cmpi-cli: the daemon closed the connection before the answer was complete\n");
}

TEST(CannedPeer, ConnectFailureIsLoggedByTheLibrary) {
  cmpitest::LogCapture log;
  Ran r = run({"enum", "X"}, "/nonexistent/canned.sock");
  EXPECT_EQ(r.status, cli::kExitConnection);
  EXPECT_TRUE(ContainsInOrder(log.lines(),
                              {Enter("clientConnectServersock"),
                               Error("Error: client connect 'No such file or directory'"),
                               Exit("clientConnectServersock")}));
}

}  // namespace

// ---- what the frames carried ---------------------------------------------------------------
// The answers below are the daemon's own, from the captured exchanges in docs/protocol/.

namespace {

// The answer to request number index (from 0) of a case file of docs/protocol/.
std::string captured_answer(const std::string &name, std::size_t index) {
  std::ifstream in(std::string(CORPUS_DIR) + "/" + name, std::ios::binary);
  std::ostringstream text;
  text << in.rdbuf();
  corpus::CaseFile file;
  std::string error;
  EXPECT_TRUE(corpus::parse(text.str(), &file, &error)) << name << ": " << error;
  if (index >= file.exchanges.size()) {
    ADD_FAILURE() << name << " has no request " << index;
    return std::string();
  }
  return file.exchanges[index].response;
}

Json::Value parse_document(const std::string &text) {
  Json::Value doc;
  std::istringstream in(text);
  in >> doc;
  return doc;
}

const char kFan1[] = "Demo_Fan.DeviceID=\"fan1\",SystemName=\"bmc0\"";

bool has_line(const std::string &out, const std::string &line) {
  return out.find(line) != std::string::npos;
}

TEST(CapturedAnswers, ANullStringIsShownAsNull) {
  CannedPeer peer(captured_answer("null-string.txt", 1));
  Ran r = run({"get", kFan1}, peer.path());
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_TRUE(has_line(r.out, "    Notes = NULL;\n")) << r.out;
  EXPECT_TRUE(has_line(r.out, "    Name = \"abc\";\n")) << r.out;
  EXPECT_TRUE(has_line(r.out, "    HealthState = 5;\n")) << r.out;

  CannedPeer again(captured_answer("null-string.txt", 3));
  Ran empty = run({"--json", "get", kFan1}, again.path());
  ASSERT_EQ(empty.status, 0) << empty.err;
  const Json::Value props = parse_document(empty.out)["instance"]["properties"];
  EXPECT_EQ(props["Notes"]["type"].asString(), "string");
  EXPECT_TRUE(props["Notes"]["value"].isString());
  EXPECT_EQ(props["Notes"]["value"].asString(), "");
  EXPECT_EQ(props["Name"]["value"].asString(), "null");
}

TEST(CapturedAnswers, EmptyAndNullArraysStayApart) {
  CannedPeer empty(captured_answer("array-empty-and-null.txt", 0));
  Ran r = run({"get", kFan1}, empty.path());
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_TRUE(has_line(r.out, "    SpeedHistory = {};\n")) << r.out;
  EXPECT_TRUE(has_line(r.out, "    Tags = {\"rear\", \"exhaust\"};\n")) << r.out;

  CannedPeer null_tags(captured_answer("array-empty-and-null.txt", 4));
  Ran n = run({"--json", "get", kFan1}, null_tags.path());
  ASSERT_EQ(n.status, 0) << n.err;
  const Json::Value props = parse_document(n.out)["instance"]["properties"];
  EXPECT_EQ(props["Tags"]["type"].asString(), "string[]");
  EXPECT_TRUE(props["Tags"]["value"].isNull());
  EXPECT_EQ(props["SpeedHistory"]["type"].asString(), "uint32[]");
  EXPECT_TRUE(props["SpeedHistory"]["value"].isArray());
  EXPECT_EQ(props["SpeedHistory"]["value"].size(), 0u);
}

TEST(CapturedAnswers, Char16PropertiesAreShownWithoutAValue) {
  CannedPeer peer(captured_answer("value-char16.txt", 1));
  Ran r = run({"get", kFan1}, peer.path());
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_TRUE(has_line(r.out, "    HealthState = 5;\n    Initial = (char16, no value carried);\n"))
      << r.out;

  CannedPeer json_peer(captured_answer("value-char16.txt", 1));
  Ran j = run({"--json", "get", kFan1}, json_peer.path());
  ASSERT_EQ(j.status, 0) << j.err;
  const Json::Value initial = parse_document(j.out)["instance"]["properties"]["Initial"];
  EXPECT_EQ(initial["type"].asString(), "char16");
  EXPECT_TRUE(initial["value"].isNull());
  EXPECT_FALSE(initial["carried"].asBool());
  EXPECT_TRUE(initial.isMember("carried"));
}

TEST(CapturedAnswers, EnumeratedInstancesShowTheirFramesToo) {
  CannedPeer peer(captured_answer("op-06-associators.txt", 0));
  Ran r = run({"associators", "Demo_Chassis.Tag=\"chassis0\""}, peer.path());
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_TRUE(has_line(r.out, "    Initial = (char16, no value carried);\n")) << r.out;
  EXPECT_TRUE(has_line(r.out, "    Notes = NULL;\n")) << r.out;  // fan0 has no notes
  EXPECT_TRUE(has_line(r.out, "    Sensor = instance of Demo_Sensor {\n        Reading = 35;\n"))
      << r.out;
}

TEST(CapturedAnswers, TheProvidersMessageStandsBesideTheCode) {
  CannedPeer missing(captured_answer("op-03-get-instance-not-found.txt", 0));
  Ran r = run({"get", "Demo_Fan.DeviceID=\"fan7\",SystemName=\"bmc0\""}, missing.path());
  EXPECT_EQ(r.status, cli::kExitCimError);
  EXPECT_EQ(r.out, "");
  EXPECT_EQ(r.err,
            "CMPI_RC_ERR_NOT_FOUND: Demo_Fan DeviceID=\"fan7\",SystemName=\"bmc0\" does not exist\n");

  CannedPeer json_peer(captured_answer("op-03-get-instance-not-found.txt", 0));
  Ran j = run({"--json", "get", "Demo_Fan.DeviceID=\"fan7\",SystemName=\"bmc0\""},
              json_peer.path());
  EXPECT_EQ(j.status, cli::kExitCimError);
  const Json::Value error = parse_document(j.out)["error"];
  EXPECT_EQ(error["code"].asInt(), 6);
  EXPECT_EQ(error["message"].asString(),
            "Demo_Fan DeviceID=\"fan7\",SystemName=\"bmc0\" does not exist");

  CannedPeer namespace_peer(captured_answer("error-unknown-namespace.txt", 1));
  Ran ns = run({"--namespace", "root/other", "get", "Demo_Fan.DeviceID=\"fan0\",SystemName=\"bmc0\""},
               namespace_peer.path());
  EXPECT_EQ(ns.status, cli::kExitCimError);
  EXPECT_EQ(ns.err, "CMPI_RC_ERR_INVALID_NAMESPACE: namespace 'root/other' has no class Demo_Fan\n");

  CannedPeer class_peer(captured_answer("op-10-get-class.txt", 2));
  Ran c = run({"get-class", "Demo_Nothing"}, class_peer.path());
  EXPECT_EQ(c.status, cli::kExitCimError);
  EXPECT_EQ(c.err, "CMPI_RC_ERR_INVALID_CLASS: no such class\n");

  CannedPeer delete_peer(captured_answer("op-08-delete-instance.txt", 1));
  Ran d = run({"delete", kFan1}, delete_peer.path());
  EXPECT_EQ(d.status, cli::kExitCimError);
  EXPECT_EQ(d.err,
            "CMPI_RC_ERR_NOT_FOUND: Demo_Fan DeviceID=\"fan1\",SystemName=\"bmc0\" does not exist\n");
}

TEST(CapturedAnswers, AnErrorFrameHasOnlyItsCode) {
  CannedPeer peer(captured_answer("error-no-provider.txt", 0));
  Ran r = run({"enum", "Demo_Sensor"}, peer.path());
  EXPECT_EQ(r.status, cli::kExitCimError);
  EXPECT_EQ(r.err, "CMPI_RC_ERR_INVALID_CLASS: invalid class\n");
}

}  // namespace
