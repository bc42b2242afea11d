// serializeResponse and getConstClassProps: golden response frames for every request type and
// status variant, the three buffers, and every failure with its exact line.
#include <cmpimacs.h>
#include <cmpiutility/response.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "fault_injection.h"
#include "log_capture.h"
#include "response_objects.h"

namespace {

using namespace cmpitest;
using namespace resptest;
using ::testing::ElementsAre;

// The caller's buffers, with marks that show which ones a call touched.
struct Out {
  std::vector<char> fixed = std::vector<char>(FRAME_BUFFER_SIZE, 'F');
  char method_mark = 0;
  char *method = &method_mark;
  uint32_t length = 0xDEADBEEF;
  char buffer_mark = 0;
  void *buffer = &buffer_mark;

  Out() { fixed.back() = '\0'; }
  Out(const Out &) = delete;
  ~Out() {
    if (method != &method_mark) free(method);
    if (buffer != &buffer_mark) free(buffer);
  }
  int serialize(ServerResp *resp) {
    return serializeResponse(resp, fixed.data(), &method, &length, &buffer);
  }
  bool fixed_untouched() const { return fixed[0] == 'F'; }
  bool method_untouched() const { return method == &method_mark; }
  bool buffer_untouched() const { return buffer == &buffer_mark; }
  std::string general() const { return static_cast<const char *>(buffer); }
};

ServerResp *record(int type, CMPIInstance *inst, CMPIObjectPath *path, CMPIStatus *status,
                   CMPIConstClass *cls = nullptr, CMPIArgs *args = nullptr,
                   CMPIType retType = 0) {
  ServerResp *resp = nullptr;
  CMPIValue retVal;
  retVal.args = args;
  EXPECT_EQ(getResponseStruct(&resp, type, inst, path, retVal, retType, status, cls), 0);
  return resp;
}

// Runs f with standard output captured (reference keys are echoed there).
template <typename F>
void quietly(F f) {
  testing::internal::CaptureStdout();
  f();
  testing::internal::GetCapturedStdout();
}

// ---- golden frames -----------------------------------------------------------------------------

class InstanceResult : public ::testing::TestWithParam<int> {};

TEST_P(InstanceResult, WritesNamesAndPropertiesIntoTheGeneralBuffer) {
  const int type = GetParam();
  CMPIInstance *inst = fan_instance();
  CMPIStatus ok = status_of(CMPI_RC_OK);
  ServerResp *resp = record(type, inst, nullptr, &ok);
  // The status of a result-set member is not looked at.
  if (type != GETINST) cmpiutility::set_status_code(&resp->status, CMPI_RC_ERR_FAILED);
  Out out;
  int rc = -1;
  quietly([&] { rc = out.serialize(resp); });
  ASSERT_EQ(rc, 0);
  const std::string expected = "{\"ClassName\":\"Demo_Fan\"," + kFanProps +
                               ",\"NameSpace\":\"root/cimv2\",\"RequestType\":" +
                               std::to_string(type) + "}CMPI_EOF";
  EXPECT_EQ(out.general(), expected);
  EXPECT_EQ(out.length, expected.size());
  EXPECT_TRUE(out.fixed_untouched());
  EXPECT_TRUE(out.method_untouched());
  releaseResponseData(resp);
  CMRelease(inst);
}

INSTANTIATE_TEST_SUITE_P(EveryInstanceType, InstanceResult,
                         ::testing::Values(ENUMINST, GETINST, ASSOCIATORS, EXECQUERY));

TEST(SerializeResponse, EnumInstanceNamesWritesTheKeyText) {
  CMPIObjectPath *path = fan_path();
  ServerResp *resp = record(ENUMINSTNAMES, nullptr, path, nullptr);
  Out out;
  LogCapture log;
  ASSERT_EQ(out.serialize(resp), 0);
  const std::string expected =
      "{\"ClassName\":\"Demo_Fan\",\"NameSpace\":\"root/cimv2\",\"RequestType\":2,\"key\":\"" +
      std::string(kFanKey) + "\"}CMPI_EOF";
  EXPECT_EQ(out.general(), expected);
  EXPECT_EQ(out.length, expected.size());
  EXPECT_TRUE(ContainsInOrder(log.lines(), {Enter("serializeResponse"), Enter("getCMKey"),
                                            Exit("getCMKey"), Enter("formDynamicDataAsString"),
                                            Exit("formDynamicDataAsString"),
                                            Exit("serializeResponse")}));
  EXPECT_TRUE(out.fixed_untouched());
  releaseResponseData(resp);
  CMRelease(path);
}

TEST(SerializeResponse, EnumInstanceNamesOfAPathWithoutKeysHasNoKeyMember) {
  CMPIObjectPath *path = makeNewObjectPath(kNamespace, "Demo_Fan", nullptr);
  ServerResp *resp = record(ENUMINSTNAMES, nullptr, path, nullptr);
  Out out;
  ASSERT_EQ(out.serialize(resp), 0);
  EXPECT_EQ(out.general(),
            "{\"ClassName\":\"Demo_Fan\",\"NameSpace\":\"root/cimv2\",\"RequestType\":2}CMPI_EOF");
  releaseResponseData(resp);
  CMRelease(path);
}

// Edge case: status 6 with a message gives the status pair and no "ClassName".
TEST(SerializeResponse, FailedGetInstanceCarriesTheStatusAndNoInstance) {
  CMPIInstance *inst = small_instance();
  CMPIStatus status = status_of(CMPI_RC_ERR_NOT_FOUND, "no such disk");
  ServerResp *resp = record(GETINST, inst, nullptr, &status);
  Out out;
  LogCapture log;
  ASSERT_EQ(out.serialize(resp), 0);
  const std::string expected =
      "{\"GetInstStatus\":6,\"GetInstStatusMsg\":\"no such disk\",\"RequestType\":3}CMPI_EOF";
  EXPECT_EQ(out.general(), expected);
  EXPECT_EQ(out.length, expected.size());
  EXPECT_THAT(log.lines(),
              ElementsAre(Enter("serializeResponse"), Enter("formDynamicDataAsString"),
                          Trace("formDynamicDataAsString: len = " +
                                std::to_string(expected.size() - 8) + " data received " +
                                expected.substr(0, expected.size() - 8)),
                          Exit("formDynamicDataAsString"), Exit("serializeResponse")));
  releaseResponseData(resp);
  CMRelease(status.msg);
  CMRelease(inst);
}

TEST(SerializeResponse, FailedGetInstanceWithoutMessageWritesNull) {
  CMPIStatus status = status_of(CMPI_RC_ERR_INVALID_PARAMETER);
  ServerResp *resp = record(GETINST, nullptr, nullptr, &status);
  Out out;
  ASSERT_EQ(out.serialize(resp), 0);
  EXPECT_EQ(out.general(),
            "{\"GetInstStatus\":4,\"GetInstStatusMsg\":null,\"RequestType\":3}CMPI_EOF");
  releaseResponseData(resp);
}

class SetInstance : public ::testing::TestWithParam<int> {};

TEST_P(SetInstance, WritesTheStatusIntoTheFixedBuffer) {
  const int type = GetParam();
  CMPIStatus ok = status_of(CMPI_RC_OK);
  ServerResp *resp = record(type, nullptr, nullptr, &ok);
  Out out;
  ASSERT_EQ(out.serialize(resp), 0);
  EXPECT_STREQ(out.fixed.data(), ("{\"RequestType\":" + std::to_string(type) +
                                  ",\"SetInstStatus\":0,\"SetInstStatusMsg\":null}CMPI_EOF")
                                     .c_str());
  EXPECT_EQ(out.length, 0xDEADBEEFu);
  EXPECT_TRUE(out.buffer_untouched());
  EXPECT_TRUE(out.method_untouched());
  releaseResponseData(resp);

  CMPIStatus denied = status_of(CMPI_RC_ERR_ACCESS_DENIED, "not yours");
  resp = record(type, nullptr, nullptr, &denied);
  ASSERT_EQ(out.serialize(resp), 0);
  EXPECT_STREQ(out.fixed.data(), ("{\"RequestType\":" + std::to_string(type) +
                                  ",\"SetInstStatus\":2,\"SetInstStatusMsg\":\"not yours\"}"
                                  "CMPI_EOF")
                                     .c_str());
  releaseResponseData(resp);
  CMRelease(denied.msg);
}

INSTANTIATE_TEST_SUITE_P(ModifyAndDelete, SetInstance, ::testing::Values(MODIFYINST, DELETEINST));

TEST(SerializeResponse, InvokeMethodWritesRetValAndArgumentsIntoTheMethodBuffer) {
  CMPIArgs *args = method_args();
  ServerResp *resp = record(INVOKEMETHOD, nullptr, nullptr, nullptr, nullptr, args, CMPI_uint32);
  Out out;
  int rc = -1;
  quietly([&] { rc = out.serialize(resp); });
  ASSERT_EQ(rc, 0);
  const std::string expected =
      "{" + kMethodArgs + ",\"RequestType\":5,\"RetVal\":160}CMPI_EOF";
  ASSERT_FALSE(out.method_untouched());
  EXPECT_EQ(std::string(out.method), expected);
  EXPECT_EQ(out.length, expected.size());
  EXPECT_TRUE(out.buffer_untouched());
  EXPECT_TRUE(out.fixed_untouched());
  releaseResponseData(resp);
  CMRelease(args);
}

TEST(SerializeResponse, InvokeMethodWithoutArgumentsWritesRetValOnly) {
  CMPIArgs *args = makeNewCMPIArgs(nullptr);
  ServerResp *resp = record(INVOKEMETHOD, nullptr, nullptr, nullptr, nullptr, args, 0xFFFF);
  Out out;
  ASSERT_EQ(out.serialize(resp), 0);
  EXPECT_STREQ(out.method, "{\"RequestType\":5,\"RetVal\":65535}CMPI_EOF");
  releaseResponseData(resp);
  CMRelease(args);
}

// A method result whose document text has the given length: one string argument padded to fit.
std::string method_text_of_length(size_t length, CMPIArgs **args) {
  const std::string shell = "{\"ArgsIn\":{\"M\":{\"DataType\":5632,\"Value\":\"\"}},"
                            "\"RequestType\":5,\"RetVal\":0}";
  const std::string padding(length - shell.size(), 'x');
  *args = makeNewCMPIArgs(nullptr);
  CMAddArg(*args, "M", padding.c_str(), CMPI_chars);
  return "{\"ArgsIn\":{\"M\":{\"DataType\":5632,\"Value\":\"" + padding +
         "\"}},\"RequestType\":5,\"RetVal\":0}";
}

TEST(SerializeResponse, MethodDocumentThatFitsTheCapIsKeptWhole) {
  // 5,242,868 characters + 12 = 5,242,880: the largest buffer, still big enough.
  CMPIArgs *args = nullptr;
  const std::string text = method_text_of_length(MAX_METHOD_RESPONSE - 12, &args);
  ServerResp *resp = record(INVOKEMETHOD, nullptr, nullptr, nullptr, nullptr, args, 0);
  Out out;
  ASSERT_EQ(out.serialize(resp), 0);
  EXPECT_EQ(out.length, text.size() + 8);
  EXPECT_TRUE(std::string(out.method) == text + "CMPI_EOF");
  releaseResponseData(resp);
  CMRelease(args);
}

// Edge case: a method document longer than 5,242,879 bytes gets a buffer of exactly 5,242,880
// bytes, which keeps 5,242,869 characters of it (size - 11) before the terminator.
TEST(SerializeResponse, MethodDocumentBeyondTheCapIsCutToTheCappedBuffer) {
  for (size_t length : {size_t{MAX_METHOD_RESPONSE} - 11, size_t{MAX_METHOD_RESPONSE} + 1000}) {
    CMPIArgs *args = nullptr;
    const std::string text = method_text_of_length(length, &args);
    ServerResp *resp = record(INVOKEMETHOD, nullptr, nullptr, nullptr, nullptr, args, 0);
    Out out;
    ASSERT_EQ(out.serialize(resp), 0);
    EXPECT_EQ(out.length, MAX_METHOD_RESPONSE - 11 + 8u);
    EXPECT_TRUE(std::string(out.method) ==
                text.substr(0, MAX_METHOD_RESPONSE - 11) + "CMPI_EOF");
    releaseResponseData(resp);
    CMRelease(args);
  }
}

TEST(SerializeResponse, CreateInstanceWritesPathAndStatusIntoTheFixedBuffer) {
  CMPIObjectPath *path = fan_path();
  CMPIStatus ok = status_of(CMPI_RC_OK);
  ServerResp *resp = record(CREATEINST, nullptr, path, &ok);
  Out out;
  ASSERT_EQ(out.serialize(resp), 0);
  EXPECT_STREQ(out.fixed.data(),
               ("{\"ClassName\":\"Demo_Fan\",\"NameSpace\":\"root/cimv2\",\"RequestType\":9,"
                "\"SetInstStatus\":0,\"SetInstStatusMsg\":null,\"key\":\"" +
                std::string(kFanKey) + "\"}CMPI_EOF")
                   .c_str());
  EXPECT_TRUE(out.buffer_untouched());
  EXPECT_EQ(out.length, 0xDEADBEEFu);
  releaseResponseData(resp);
  CMRelease(path);
}

// Edge case: no object path, still the status pair.
TEST(SerializeResponse, CreateInstanceWithoutPathStillWritesTheStatus) {
  CMPIStatus exists = status_of(CMPI_RC_ERR_ALREADY_EXISTS, "exists");
  ServerResp *resp = record(CREATEINST, nullptr, nullptr, &exists);
  Out out;
  ASSERT_EQ(out.serialize(resp), 0);
  EXPECT_STREQ(out.fixed.data(),
               "{\"RequestType\":9,\"SetInstStatus\":11,\"SetInstStatusMsg\":\"exists\"}CMPI_EOF");
  releaseResponseData(resp);
  CMRelease(exists.msg);
}

TEST(SerializeResponse, GetClassWritesTheClassIntoTheGeneralBuffer) {
  CMPIConstClass *cls = fan_class();
  ServerResp *resp = record(GETCLASS, nullptr, nullptr, nullptr, cls);
  Out out;
  LogCapture log;
  ASSERT_EQ(out.serialize(resp), 0);
  const std::string expected =
      "{" + std::string(kFanClassMembers) + ",\"RequestType\":10}CMPI_EOF";
  EXPECT_EQ(out.general(), expected);
  EXPECT_EQ(out.length, expected.size());
  EXPECT_TRUE(ContainsInOrder(
      log.lines(), {Enter("serializeResponse"), Enter("getConstClassProps"),
                    Trace("__getConstClassProps#613: const class serialization"),
                    Exit("getConstClassProps"), Exit("serializeResponse")}));
  releaseResponseData(resp);
  release_class(cls);
}

TEST(SerializeResponse, FailedGetClassCarriesTheStatus) {
  CMPIConstClass *cls = fan_class();
  CMPIStatus status = status_of(CMPI_RC_ERR_INVALID_CLASS, "no such class");
  ServerResp *resp = record(GETCLASS, nullptr, nullptr, &status, cls);
  Out out;
  ASSERT_EQ(out.serialize(resp), 0);
  EXPECT_EQ(out.general(),
            "{\"GetClassStatus\":5,\"GetClassStatusMsg\":\"no such class\",\"RequestType\":10}"
            "CMPI_EOF");
  releaseResponseData(resp);
  CMRelease(status.msg);
  release_class(cls);
}

TEST(GetConstClassProps, EmptyListsAfterAFullOneAreEmptyObjectsAndBeforeAnyNull) {
  CMPIConstClass *cls = fan_class();
  CMPIClassRecord *rec = static_cast<CMPIClassRecord *>(cls->hdl);
  CMRelease(rec->propertyNames);
  rec->propertyNames = makeNewCMPIArray(0, CMPI_string, nullptr);
  CMRelease(rec->methodParameters);
  rec->methodParameters = nullptr;  // a missing array is written like an empty one
  ServerResp resp{};
  resp.constClass = cls;
  Json::Value document(Json::objectValue);
  ASSERT_EQ(getConstClassProps(&resp, document), 0);
  EXPECT_EQ(cmpiutility::compact_text(document),
            "{\"ClassName\":\"Demo_Fan\",\"MethodList\":{\"Value\":[\"Reset\"]},"
            "\"MethodParamList\":{},\"NameSpace\":\"root/cimv2\",\"PropList\":null}");
  release_class(cls);
}

// Edge case: type 11 returns 0 and leaves every out-pointer untouched.
TEST(SerializeResponse, UnknownTypeWritesNothingAndSucceeds) {
  for (int type : {0, 11, -1}) {
    ServerResp *resp = nullptr;
    CMPIValue none;
    none.uint64 = 0;
    getResponseStruct(&resp, type, nullptr, nullptr, none, 0, nullptr, nullptr);
    Out out;
    LogCapture log;
    EXPECT_EQ(out.serialize(resp), 0);
    EXPECT_THAT(log.lines(), ElementsAre(Enter("serializeResponse"), Exit("serializeResponse")));
    EXPECT_TRUE(out.fixed_untouched());
    EXPECT_TRUE(out.method_untouched());
    EXPECT_TRUE(out.buffer_untouched());
    EXPECT_EQ(out.length, 0xDEADBEEFu);
    releaseResponseData(resp);
  }
}

// ---- failures ----------------------------------------------------------------------------------

TEST(SerializeResponse, NoRecordIsAnInvalidResponse) {
  Out out;
  LogCapture log;
  EXPECT_EQ(out.serialize(nullptr), 1);
  EXPECT_THAT(log.lines(),
              ElementsAre(Enter("serializeResponse"),
                          Error("ERROR: __serializeResponse#2621: 'invalid response'"),
                          Exit("serializeResponse")));
  EXPECT_TRUE(out.buffer_untouched());
}

// An instance whose table is doctored: getObjectPath yields nothing, or getPropertyCount fails.
struct DoctoredInstance {
  CMPIInstance *inst = small_instance();
  CMPIInstanceFT table = *inst->ft;
  explicit DoctoredInstance(bool no_path) {
    if (no_path) {
      table.getObjectPath = [](const CMPIInstance *, CMPIStatus *rc) -> CMPIObjectPath * {
        if (rc != nullptr) *rc = CMPIStatus{CMPI_RC_OK, nullptr};
        return nullptr;
      };
    } else {
      table.getPropertyCount = [](const CMPIInstance *, CMPIStatus *rc) -> CMPICount {
        if (rc != nullptr) *rc = CMPIStatus{CMPI_RC_ERR_FAILED, nullptr};
        return 0;
      };
    }
    inst->ft = &table;
  }
  ~DoctoredInstance() { CMRelease(inst); }
};

struct InstanceFailure {
  int type;
  int path_line, ns_line, cn_line, props_line;
};

class InstanceFailures : public ::testing::TestWithParam<InstanceFailure> {};

// Edge case (for type 7): an instance without object path fails with 'Object Path issue'.
TEST_P(InstanceFailures, InstanceWithoutObjectPath) {
  const InstanceFailure f = GetParam();
  DoctoredInstance doctored(true);
  ServerResp *resp = record(f.type, doctored.inst, nullptr, nullptr);
  Out out;
  LogCapture log;
  EXPECT_EQ(out.serialize(resp), 1);
  EXPECT_THAT(log.lines(), ElementsAre(Enter("serializeResponse"),
                                       Error("ERROR: __serializeResponse#" +
                                             std::to_string(f.path_line) +
                                             ": 'Object Path issue'"),
                                       Exit("serializeResponse")));
  EXPECT_TRUE(out.buffer_untouched());
  releaseResponseData(resp);
}

TEST_P(InstanceFailures, NoInstanceAtAllIsAnObjectPathIssueToo) {
  const InstanceFailure f = GetParam();
  ServerResp *resp = record(f.type, nullptr, nullptr, nullptr);
  Out out;
  LogCapture log;
  EXPECT_EQ(out.serialize(resp), 1);
  EXPECT_TRUE(log.contains(Error("ERROR: __serializeResponse#" + std::to_string(f.path_line) +
                                 ": 'Object Path issue'")));
  releaseResponseData(resp);
}

TEST_P(InstanceFailures, PathWithoutNamespaceOrClassName) {
  const InstanceFailure f = GetParam();
  for (bool missing_namespace : {true, false}) {
    CMPIObjectPath *path = missing_namespace ? makeNewObjectPath(nullptr, "Demo_Fan", nullptr)
                                             : makeNewObjectPath(kNamespace, nullptr, nullptr);
    CMPIInstance *inst = makeNewCMPIInstance(path, nullptr);
    ServerResp *resp = record(f.type, inst, nullptr, nullptr);
    Out out;
    LogCapture log;
    EXPECT_EQ(out.serialize(resp), 1);
    const std::string expected =
        missing_namespace
            ? "ERROR: __serializeResponse#" + std::to_string(f.ns_line) + ": 'namespace is NULL'"
            : "ERROR: __serializeResponse#" + std::to_string(f.cn_line) + ": 'classname is NULL'";
    EXPECT_THAT(log.lines(),
                ElementsAre(Enter("serializeResponse"), Error(expected), Exit("serializeResponse")));
    releaseResponseData(resp);
    CMRelease(inst);
    CMRelease(path);
  }
}

TEST_P(InstanceFailures, PropertiesThatCannotBeRead) {
  const InstanceFailure f = GetParam();
  DoctoredInstance doctored(false);
  ServerResp *resp = record(f.type, doctored.inst, nullptr, nullptr);
  Out out;
  LogCapture log;
  EXPECT_EQ(out.serialize(resp), 1);
  EXPECT_THAT(log.lines(),
              ElementsAre(Enter("serializeResponse"),
                          Error("ERROR: __getInstanceProps#521: 'CMGetPropertyCount issue'"),
                          Error("ERROR: __serializeResponse#" + std::to_string(f.props_line) +
                                ": 'getInstanceProps failed'"),
                          Exit("serializeResponse")));
  EXPECT_TRUE(out.buffer_untouched());
  releaseResponseData(resp);
}

INSTANTIATE_TEST_SUITE_P(EveryInstanceType, InstanceFailures,
                         ::testing::Values(InstanceFailure{ENUMINST, 2632, 2636, 2639, 2644},
                                           InstanceFailure{ASSOCIATORS, 2632, 2636, 2639, 2644},
                                           InstanceFailure{EXECQUERY, 2632, 2636, 2639, 2644},
                                           InstanceFailure{GETINST, 2679, 2683, 2686, 2691}));

struct PathFailure {
  int type;
  int ns_line, cn_line, key_line;
};

class PathFailures : public ::testing::TestWithParam<PathFailure> {};

TEST_P(PathFailures, PathWithoutNamespaceOrClassName) {
  const PathFailure f = GetParam();
  for (bool missing_namespace : {true, false}) {
    CMPIObjectPath *path = missing_namespace ? makeNewObjectPath(nullptr, "Demo_Fan", nullptr)
                                             : makeNewObjectPath(kNamespace, nullptr, nullptr);
    CMPIStatus ok = status_of(CMPI_RC_OK);
    ServerResp *resp = record(f.type, nullptr, path, &ok);
    Out out;
    LogCapture log;
    EXPECT_EQ(out.serialize(resp), 1);
    const std::string expected =
        missing_namespace
            ? "ERROR: __serializeResponse#" + std::to_string(f.ns_line) + ": 'namespace is NULL'"
            : "ERROR: __serializeResponse#" + std::to_string(f.cn_line) + ": 'classname is NULL'";
    EXPECT_THAT(log.lines(),
                ElementsAre(Enter("serializeResponse"), Error(expected), Exit("serializeResponse")));
    EXPECT_TRUE(out.fixed_untouched());
    EXPECT_TRUE(out.buffer_untouched());
    releaseResponseData(resp);
    CMRelease(path);
  }
}

// A numeric key cannot be carried by the key text.
TEST_P(PathFailures, KeysThatCannotBeWritten) {
  const PathFailure f = GetParam();
  CMPIObjectPath *path = makeNewObjectPath(kNamespace, "Demo_Fan", nullptr);
  CMPIUint32 number = 3;
  CMAddKey(path, "Number", &number, CMPI_uint32);
  CMPIStatus ok = status_of(CMPI_RC_OK);
  ServerResp *resp = record(f.type, nullptr, path, &ok);
  Out out;
  LogCapture log;
  EXPECT_EQ(out.serialize(resp), 1);
  EXPECT_TRUE(ContainsInOrder(
      log.lines(), {Error("ERROR: __getCMKey#262: 'unable to get the key'"), Exit("getCMKey"),
                    Error("ERROR: __serializeResponse#" + std::to_string(f.key_line) +
                          ": 'getCMKey failed'"),
                    Exit("serializeResponse")}));
  EXPECT_TRUE(out.fixed_untouched());
  EXPECT_TRUE(out.buffer_untouched());
  releaseResponseData(resp);
  CMRelease(path);
}

INSTANTIATE_TEST_SUITE_P(NamesAndCreate, PathFailures,
                         ::testing::Values(PathFailure{ENUMINSTNAMES, 2740, 2743, 2748},
                                           PathFailure{CREATEINST, 2796, 2799, 2804}));

TEST(SerializeResponse, ArgumentsThatCannotBeEncoded) {
  CMPIArgs *args = makeNewCMPIArgs(nullptr);
  CMPIObjectPath *nowhere = makeNewObjectPath(nullptr, "Demo_System", nullptr);
  CMAddArg(args, "Target", &nowhere, CMPI_ref);
  CMRelease(nowhere);
  ServerResp *resp = record(INVOKEMETHOD, nullptr, nullptr, nullptr, nullptr, args, 0);
  Out out;
  LogCapture log;
  EXPECT_EQ(out.serialize(resp), 1);
  EXPECT_TRUE(ContainsInOrder(
      log.lines(), {Error("ERROR: __getCMPIArgsRef#442: 'namespace is NULL'"),
                    Error("ERROR: __getArgs#714: 'getCMPIArgsRef failed'"),
                    Error("ERROR: __serializeResponse#2773: 'getArgs failed'"),
                    Exit("serializeResponse")}));
  EXPECT_TRUE(out.method_untouched());
  releaseResponseData(resp);
  CMRelease(args);
}

TEST(GetConstClassProps, NoClassIsInvalid) {
  ServerResp *resp = record(GETCLASS, nullptr, nullptr, nullptr, nullptr);
  Out out;
  LogCapture log;
  EXPECT_EQ(out.serialize(resp), 1);
  EXPECT_THAT(log.lines(),
              ElementsAre(Enter("serializeResponse"), Enter("getConstClassProps"),
                          Error("__getConstClassProps#671: invalid constClass"),
                          Exit("getConstClassProps"),
                          Error("ERROR: __serializeResponse#2724: 'getConstClassProps failed'"),
                          Exit("serializeResponse")));
  EXPECT_TRUE(out.buffer_untouched());
  releaseResponseData(resp);
}

TEST(GetConstClassProps, ClassWithoutRecordNameOrNamespaceIsInvalid) {
  for (int broken = 0; broken < 3; ++broken) {
    CMPIConstClass *cls = fan_class();
    CMPIClassRecord *rec = static_cast<CMPIClassRecord *>(cls->hdl);
    CMPIClassRecord *kept = rec;
    if (broken == 0) cls->hdl = nullptr;
    if (broken == 1) {
      free(rec->className);
      rec->className = nullptr;
    }
    if (broken == 2) {
      free(rec->nameSpace);
      rec->nameSpace = nullptr;
    }
    ServerResp resp{};
    resp.constClass = cls;
    Json::Value document(Json::objectValue);
    LogCapture log;
    EXPECT_EQ(getConstClassProps(&resp, document), 1);
    EXPECT_THAT(log.lines(),
                ElementsAre(Enter("getConstClassProps"),
                            Trace("__getConstClassProps#613: const class serialization"),
                            Error("__getConstClassProps#623: invalid class or namespace"),
                            Exit("getConstClassProps")));
    cls->hdl = kept;
    release_class(cls);
  }
}

// An array with an unset element has no text for it, which the array encoder refuses.
TEST(GetConstClassProps, ListsThatCannotBeEncoded) {
  struct Case {
    int field;
    std::string line;
  };
  const Case cases[] = {
      {0, "__getConstClassProps#636: const class prop array serialize failed"},
      {1, "__getConstClassProps#650: const class method array serialize failed"},
      {2, "__getConstClassProps#664: const class method array serialize failed"},
  };
  for (const Case &c : cases) {
    CMPIConstClass *cls = fan_class();
    CMPIClassRecord *rec = static_cast<CMPIClassRecord *>(cls->hdl);
    CMPIArray **field = c.field == 0   ? &rec->propertyNames
                        : c.field == 1 ? &rec->methodNames
                                       : &rec->methodParameters;
    CMRelease(*field);
    *field = makeNewCMPIArray(1, c.field == 2 ? CMPI_instance : CMPI_string, nullptr);
    ServerResp *resp = record(GETCLASS, nullptr, nullptr, nullptr, cls);
    Out out;
    LogCapture log;
    EXPECT_EQ(out.serialize(resp), 1);
    EXPECT_TRUE(ContainsInOrder(log.lines(),
                                {Error(c.line), Exit("getConstClassProps"),
                                 Error("ERROR: __serializeResponse#2724: 'getConstClassProps "
                                       "failed'"),
                                 Exit("serializeResponse")}));
    EXPECT_TRUE(out.buffer_untouched());
    releaseResponseData(resp);
    release_class(cls);
  }
}

// ---- allocation failures -------------------------------------------------------------------------

struct BufferFailure {
  const char *name;
  int type;
  bool failed_status;
  int line;
  int nth;  // the buffer's calloc (a class's parameter instance needs a scratch record first)
};

class BufferFailures : public ::testing::TestWithParam<BufferFailure> {};

TEST_P(BufferFailures, NoBufferIsHandedOut) {
  const BufferFailure f = GetParam();
  CMPIInstance *inst = small_instance();
  CMPIObjectPath *path = fan_path();
  CMPIConstClass *cls = fan_class();
  CMPIArgs *args = makeNewCMPIArgs(nullptr);
  CMPIStatus status = status_of(f.failed_status ? CMPI_RC_ERR_NOT_FOUND : CMPI_RC_OK);
  ServerResp *resp = record(f.type, inst, path, &status, cls, args, 0);
  Out out;
  LogCapture log;
  {
    FailingAllocation failing(Allocation::Calloc, f.nth);
    EXPECT_EQ(out.serialize(resp), 1);
    EXPECT_TRUE(failing.triggered());
  }
  EXPECT_TRUE(ContainsInOrder(
      log.lines(), {Error("ERROR: __serializeResponse#" + std::to_string(f.line) +
                          ": Callcoc failed"),
                    Exit("serializeResponse")}));
  if (f.type == INVOKEMETHOD) {
    EXPECT_EQ(out.method, nullptr);
    out.method = &out.method_mark;
  } else {
    EXPECT_EQ(out.buffer, nullptr);
    out.buffer = &out.buffer_mark;
  }
  EXPECT_EQ(out.length, 0xDEADBEEFu);
  releaseResponseData(resp);
  CMRelease(args);
  release_class(cls);
  CMRelease(path);
  CMRelease(inst);
}

INSTANTIATE_TEST_SUITE_P(
    EveryAllocatedBuffer, BufferFailures,
    ::testing::Values(BufferFailure{"EnumInst", ENUMINST, false, 2652, 1},
                      BufferFailure{"Associators", ASSOCIATORS, false, 2652, 1},
                      BufferFailure{"ExecQuery", EXECQUERY, false, 2652, 1},
                      BufferFailure{"EnumInstNames", ENUMINSTNAMES, false, 2755, 1},
                      BufferFailure{"GetInstFailed", GETINST, true, 2670, 1},
                      BufferFailure{"GetInst", GETINST, false, 2698, 1},
                      BufferFailure{"Invoke", INVOKEMETHOD, false, 2785, 1},
                      BufferFailure{"GetClassFailed", GETCLASS, true, 2716, 1},
                      BufferFailure{"GetClass", GETCLASS, false, 2731, 2}),
    [](const ::testing::TestParamInfo<BufferFailure> &info) { return info.param.name; });

}  // namespace
