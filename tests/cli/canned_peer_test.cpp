// The program against a peer that plays back captured answers: which library functions carry
// the exchange, how each answer is decoded, and what a broken answer does.
#include <cmpiutility/records.h>
#include <cmpiutility/request.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>
#include <sstream>
#include <string>
#include <thread>

#include "cli.h"
#include "cli_error.h"
#include "cmpi_build.h"
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
