// doSerialization: golden request frames for every request type, the buffer rule and failures.
#include <cmpimacs.h>
#include <cmpiutility/request.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "demo_paths.h"
#include "fault_injection.h"
#include "log_capture.h"
#include "request/serialization.h"

namespace {

using namespace cmpitest;
using ::testing::ElementsAre;

constexpr char kNamespace[] = "root/cimv2";


const char kFanKey[] = "\"key\":\"DeviceID=fan0,(System=root/cimv2:Demo_System.Name=bmc0,)\"";
const char kHeader[] = "\"ClassName\":\"Demo_Fan\",\"NameSpace\":\"root/cimv2\",\"Principal\":\"admin\"";

// An instance with a property of every kind the document carries.
CMPIInstance *fan_instance(CMPIObjectPath *path) {
  CMPIInstance *inst = makeNewCMPIInstance(path, nullptr);
  CMSetProperty(inst, "DeviceID", "fan0", CMPI_chars);
  CMPIBoolean enabled = 1;
  CMSetProperty(inst, "Enabled", &enabled, CMPI_boolean);
  CMPIChar16 initial = 'A';
  CMSetProperty(inst, "Initial", &initial, CMPI_char16);
  CMPIDateTime *installed = makeNewCMPIDateTimeFromChars("20241114120523.243424-300", nullptr);
  CMSetProperty(inst, "Installed", &installed, CMPI_dateTime);
  CMRelease(installed);
  CMPIArray *levels = makeNewCMPIArray(2, CMPI_uint8, nullptr);
  CMPIUint8 one = 1, two = 2;
  CMSetArrayElementAt(levels, 0, &one, CMPI_uint8);
  CMSetArrayElementAt(levels, 1, &two, CMPI_uint8);
  CMSetProperty(inst, "Levels", &levels, CMPI_uint8A);
  CMRelease(levels);
  CMSetProperty(inst, "Location", nullptr, CMPI_string);
  CMPISint32 offset = -5;
  CMSetProperty(inst, "Offset", &offset, CMPI_sint32);
  CMPIReal64 ratio = 0.1;
  CMSetProperty(inst, "Ratio", &ratio, CMPI_real64);
  CMPIObjectPath *sensor_path = makeNewObjectPath(kNamespace, "Demo_Sensor", nullptr);
  CMPIInstance *sensor = makeNewCMPIInstance(sensor_path, nullptr);
  CMPIUint16 reading = 7;
  CMSetProperty(sensor, "Reading", &reading, CMPI_uint16);
  CMSetProperty(inst, "Sensor", &sensor, CMPI_instance);
  CMRelease(sensor);
  CMRelease(sensor_path);
  CMPIUint32 speed = 4200;
  CMSetProperty(inst, "Speed", &speed, CMPI_uint32);
  CMPIObjectPath *system = system_path();
  CMSetProperty(inst, "System", &system, CMPI_ref);
  CMRelease(system);
  CMPIArray *tags = makeNewCMPIArray(2, CMPI_string, nullptr);
  CMSetArrayElementAt(tags, 0, "a", CMPI_chars);
  CMSetArrayElementAt(tags, 1, "b", CMPI_chars);
  CMSetProperty(inst, "Tags", &tags, CMPI_stringA);
  CMRelease(tags);
  return inst;
}

const char kFanProps[] =
    "\"InstanceProps\":{"
    "\"DeviceID\":{\"DataState\":0,\"DataType\":5632,\"Value\":\"fan0\"},"
    "\"Enabled\":{\"DataState\":0,\"DataType\":2,\"Value\":1},"
    "\"Initial\":{\"DataState\":0,\"DataType\":3},"
    "\"Installed\":{\"DataState\":0,\"DataType\":6144,\"Value\":\"20241114120523.243424-300\"},"
    "\"Levels\":{\"DataState\":0,\"DataType\":8320,\"Value\":[1,2]},"
    "\"Location\":{\"DataState\":256,\"DataType\":5632,\"Value\":null},"
    "\"Offset\":{\"DataState\":0,\"DataType\":224,\"Value\":18446744073709551611},"
    "\"Ratio\":{\"DataState\":0,\"DataType\":12,\"Value\":0.10000000149011612},"
    "\"Sensor\":{\"CMPIInstance\":{\"ClassName\":\"Demo_Sensor\",\"InstanceProps\":{"
    "\"Reading\":{\"DataState\":0,\"DataType\":144,\"Value\":7}},"
    "\"NameSpace\":\"root/cimv2\",\"Principal\":\"TEMP\",\"RequestType\":1},"
    "\"DataState\":0,\"DataType\":4096},"
    "\"Speed\":{\"DataState\":0,\"DataType\":160,\"Value\":4200},"
    "\"System\":{\"DataState\":0,\"DataType\":4352,\"Value\":{\"ClassName\":\"Demo_System\","
    "\"NameSpace\":\"root/cimv2\",\"key\":\"Name=bmc0,\"}},"
    "\"Tags\":{\"DataState\":0,\"DataType\":13824,\"Value\":[\"a\",\"b\"]}}";

// The caller's two buffers: the fixed one, and the growable block.
struct Buffers {
  std::vector<char> fixed = std::vector<char>(FRAME_BUFFER_SIZE, '\0');
  char *dyn = static_cast<char *>(calloc(1, FRAME_BUFFER_SIZE));
  Buffers() = default;
  Buffers(const Buffers &) = delete;
  ~Buffers() { free(dyn); }
};

ClientReq *request(int type, CMPIObjectPath *path, CMPIArgs *args = nullptr,
                   CMPIInstance *inst = nullptr, CMAssocReq *assoc = nullptr,
                   const char *text = nullptr, const char *user = "admin") {
  ClientReq *req = nullptr;
  EXPECT_EQ(getClientReq(&req, user, type, path, args, inst, assoc, text), 0);
  return req;
}

// ---- golden frames ----------------------------------------------------------------------------

class HeaderOnly : public ::testing::TestWithParam<int> {};

TEST_P(HeaderOnly, WritesTheHeaderIntoTheFixedBuffer) {
  const int type = GetParam();
  ClientReq *req = request(type, fan_path());
  Buffers b;
  ASSERT_EQ(doSerialization(req, b.fixed.data(), &b.dyn), 0);
  EXPECT_EQ(std::string(b.fixed.data()),
            "{" + std::string(kHeader) + ",\"RequestType\":" + std::to_string(type) + "}CMPI_EOF");
  EXPECT_STREQ(b.dyn, "");
  releaseRequestData(req);
}

INSTANTIATE_TEST_SUITE_P(EnumerationsAndClass, HeaderOnly,
                         ::testing::Values(ENUMINST, ENUMINSTNAMES, GETCLASS));

class KeysOnly : public ::testing::TestWithParam<int> {};

TEST_P(KeysOnly, WritesHeaderAndKeyTextIntoTheFixedBuffer) {
  const int type = GetParam();
  ClientReq *req = request(type, fan_path());
  Buffers b;
  testing::internal::CaptureStdout();
  ASSERT_EQ(doSerialization(req, b.fixed.data(), &b.dyn), 0);
  testing::internal::GetCapturedStdout();
  EXPECT_EQ(std::string(b.fixed.data()), "{" + std::string(kHeader) + ",\"RequestType\":" +
                                             std::to_string(type) + "," + kFanKey + "}CMPI_EOF");
  releaseRequestData(req);
}

INSTANTIATE_TEST_SUITE_P(GetAndDelete, KeysOnly, ::testing::Values(GETINST, DELETEINST));

TEST(DoSerialization, ExecQueryCarriesTheQuery) {
  ClientReq *req = request(EXECQUERY, fan_path(), nullptr, nullptr, nullptr,
                           "select * from Demo_Fan");
  Buffers b;
  ASSERT_EQ(doSerialization(req, b.fixed.data(), &b.dyn), 0);
  EXPECT_EQ(std::string(b.fixed.data()),
            "{" + std::string(kHeader) + ",\"Query\":\"select * from Demo_Fan\",\"RequestType\":7," +
                kFanKey + "}CMPI_EOF");
  releaseRequestData(req);
}

TEST(DoSerialization, AssociatorsCarriesEveryParameter) {
  CMAssocReq *assoc = static_cast<CMAssocReq *>(calloc(1, sizeof(CMAssocReq)));
  assoc->AssocClass = strdup("Demo_FanInSystem");
  assoc->ResultClass = strdup("Demo_System");
  assoc->Role = strdup("PartComponent");
  assoc->ResultRole = strdup("GroupComponent");
  assoc->RefsOnly = 1;
  ClientReq *req = request(ASSOCIATORS, fan_path(), nullptr, nullptr, assoc);
  Buffers b;
  LogCapture log;
  ASSERT_EQ(doSerialization(req, b.fixed.data(), &b.dyn), 0);
  EXPECT_EQ(std::string(b.fixed.data()),
            "{\"AssocClass\":\"Demo_FanInSystem\"," + std::string(kHeader) +
                ",\"RefsOnly\":true,\"RequestType\":6,\"ResultClass\":\"Demo_System\","
                "\"ResultRole\":\"GroupComponent\",\"Role\":\"PartComponent\"," +
                kFanKey + "}CMPI_EOF");
  EXPECT_TRUE(ContainsInOrder(log.lines(), {Enter("getCMAssocData"), Exit("getCMAssocData")}));
  releaseRequestData(req);
}

TEST(DoSerialization, AssociatorsWithOnlyAssocClassWritesNullsAndFalse) {
  CMAssocReq *assoc = static_cast<CMAssocReq *>(calloc(1, sizeof(CMAssocReq)));
  assoc->AssocClass = strdup("Demo_FanInSystem");
  ClientReq *req = request(ASSOCIATORS, fan_path(), nullptr, nullptr, assoc);
  Buffers b;
  ASSERT_EQ(doSerialization(req, b.fixed.data(), &b.dyn), 0);
  EXPECT_EQ(std::string(b.fixed.data()),
            "{\"AssocClass\":\"Demo_FanInSystem\"," + std::string(kHeader) +
                ",\"RefsOnly\":false,\"RequestType\":6,\"ResultClass\":null,"
                "\"ResultRole\":null,\"Role\":null," +
                kFanKey + "}CMPI_EOF");
  releaseRequestData(req);
}

class WithInstance : public ::testing::TestWithParam<int> {};

TEST_P(WithInstance, WritesKeysAndEveryPropertyKindIntoTheBlock) {
  const int type = GetParam();
  CMPIObjectPath *path = fan_path();
  ClientReq *req = request(type, path, nullptr, fan_instance(path));
  Buffers b;
  testing::internal::CaptureStdout();
  ASSERT_EQ(doSerialization(req, b.fixed.data(), &b.dyn), 0);
  // The reference property's key text is echoed to standard output.
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "Name=bmc0,\n");
  // Members come in sorted order: "InstanceProps" between "ClassName" and "NameSpace".
  EXPECT_EQ(std::string(b.dyn), "{\"ClassName\":\"Demo_Fan\"," + std::string(kFanProps) +
                                    ",\"NameSpace\":\"root/cimv2\",\"Principal\":\"admin\","
                                    "\"RequestType\":" +
                                    std::to_string(type) + "," + kFanKey + "}CMPI_EOF");
  EXPECT_STREQ(b.fixed.data(), "");
  releaseRequestData(req);
}

INSTANTIATE_TEST_SUITE_P(ModifyAndCreate, WithInstance, ::testing::Values(MODIFYINST, CREATEINST));

TEST(DoSerialization, CreateTracesItsType) {
  CMPIObjectPath *path = fan_path();
  ClientReq *req = request(CREATEINST, path, nullptr, fan_instance(path));
  Buffers b;
  LogCapture log;
  testing::internal::CaptureStdout();
  ASSERT_EQ(doSerialization(req, b.fixed.data(), &b.dyn), 0);
  testing::internal::GetCapturedStdout();
  EXPECT_TRUE(log.contains(Trace("Request type is: CREATEINST")));
  releaseRequestData(req);
}

TEST(DoSerialization, InvokeMethodCarriesArgumentsAndMethodName) {
  CMPIArgs *args = makeNewCMPIArgs(nullptr);
  CMPIUint8 level = 3;
  CMAddArg(args, "Level", &level, CMPI_uint8);
  CMAddArg(args, "Mode", "auto", CMPI_chars);
  CMPIObjectPath *system = system_path();
  CMAddArg(args, "Target", &system, CMPI_ref);
  CMRelease(system);
  ClientReq *req = request(INVOKEMETHOD, fan_path(), args, nullptr, nullptr, "SetSpeed");
  Buffers b;
  testing::internal::CaptureStdout();
  ASSERT_EQ(doSerialization(req, b.fixed.data(), &b.dyn), 0);
  testing::internal::GetCapturedStdout();
  EXPECT_EQ(std::string(b.dyn),
            "{\"ArgsIn\":{\"Level\":{\"DataType\":128,\"Value\":3},"
            "\"Mode\":{\"DataType\":5632,\"Value\":\"auto\"},"
            "\"Target\":{\"DataType\":4352,\"Value\":{\"ClassName\":\"Demo_System\","
            "\"NameSpace\":\"root/cimv2\",\"key\":\"Name=bmc0,\"}}},"
            "\"ClassName\":\"Demo_Fan\",\"MethodName\":\"SetSpeed\",\"NameSpace\":\"root/cimv2\","
            "\"Principal\":\"admin\",\"RequestType\":5," +
                std::string(kFanKey) + "}CMPI_EOF");
  releaseRequestData(req);
}

TEST(DoSerialization, InvokeMethodWithoutArgumentsWritesNoArgsIn) {
  ClientReq *req = request(INVOKEMETHOD, fan_path(), makeNewCMPIArgs(nullptr), nullptr, nullptr,
                           "Reset");
  Buffers b;
  ASSERT_EQ(doSerialization(req, b.fixed.data(), &b.dyn), 0);
  EXPECT_EQ(std::string(b.dyn), "{\"ClassName\":\"Demo_Fan\",\"MethodName\":\"Reset\","
                                "\"NameSpace\":\"root/cimv2\",\"Principal\":\"admin\","
                                "\"RequestType\":5," +
                                    std::string(kFanKey) + "}CMPI_EOF");
  releaseRequestData(req);
}

// ---- the fixed and the grown buffer -----------------------------------------------------------

// A MODIFYINST request whose document is exactly length characters long: one string property
// padded to fit.
ClientReq *modify_request_of_length(size_t length) {
  CMPIObjectPath *path = makeNewObjectPath(kNamespace, "Demo_Fan", nullptr);
  CMAddKey(path, "DeviceID", "fan0", CMPI_chars);
  const std::string base =
      "{\"ClassName\":\"Demo_Fan\",\"InstanceProps\":{\"Note\":{\"DataState\":0,\"DataType\":5632,"
      "\"Value\":\"\"}},\"NameSpace\":\"root/cimv2\",\"Principal\":\"admin\",\"RequestType\":4,"
      "\"key\":\"DeviceID=fan0,\"}";
  EXPECT_GE(length, base.size());
  std::string note(length - base.size(), 'n');
  CMPIInstance *inst = makeNewCMPIInstance(path, nullptr);
  CMSetProperty(inst, "Note", note.c_str(), CMPI_chars);
  return request(MODIFYINST, path, nullptr, inst);
}

TEST(DoSerialization, A8180CharacterDocumentIsFramedInPlace) {
  ClientReq *req = modify_request_of_length(8180);
  Buffers b;
  {
    FailingAllocation counter(Allocation::Realloc, 1000);
    ASSERT_EQ(doSerialization(req, b.fixed.data(), &b.dyn), 0);
    EXPECT_EQ(counter.calls(Allocation::Realloc), 0);
  }
  std::string frame(b.dyn);
  EXPECT_EQ(frame.size(), 8180u + 8u);
  EXPECT_EQ(frame.substr(8180), "CMPI_EOF");
  releaseRequestData(req);
}

TEST(DoSerialization, A8181CharacterDocumentGrowsTheBlockTo8193Bytes) {
  ClientReq *req = modify_request_of_length(8181);
  Buffers b;
  {
    FailingAllocation counter(Allocation::Realloc, 1000);
    ASSERT_EQ(doSerialization(req, b.fixed.data(), &b.dyn), 0);
    EXPECT_EQ(counter.calls(Allocation::Realloc), 1);
  }
  ASSERT_NE(b.dyn, nullptr);
  std::string frame(b.dyn);
  EXPECT_EQ(frame.size(), 8181u + 8u);
  EXPECT_EQ(frame.substr(8181), "CMPI_EOF");
  releaseRequestData(req);
}

TEST(DoSerialization, FailedGrowthLeavesTheBlockNull) {
  ClientReq *req = modify_request_of_length(9000);
  Buffers b;
  LogCapture log;
  {
    FailingAllocation fail(Allocation::Realloc, 1);
    EXPECT_EQ(doSerialization(req, b.fixed.data(), &b.dyn), 1);
    EXPECT_TRUE(fail.triggered());
  }
  EXPECT_EQ(b.dyn, nullptr);
  EXPECT_TRUE(log.contains(Error("ERROR: __doSerialization#941: reallcoc failed")));
  EXPECT_EQ(log.lines().back(), Exit("doSerialization"));
  releaseRequestData(req);
}

TEST(DoSerialization, FailedGrowthOfACreateAndAMethodUseTheirOwnNumbers) {
  {
    CMPIObjectPath *path = makeNewObjectPath(kNamespace, "Demo_Fan", nullptr);
    CMPIInstance *inst = makeNewCMPIInstance(path, nullptr);
    CMSetProperty(inst, "Note", std::string(9000, 'n').c_str(), CMPI_chars);
    ClientReq *req = request(CREATEINST, path, nullptr, inst);
    Buffers b;
    LogCapture log;
    FailingAllocation fail(Allocation::Realloc, 1);
    EXPECT_EQ(doSerialization(req, b.fixed.data(), &b.dyn), 1);
    EXPECT_TRUE(log.contains(Error("ERROR: __doSerialization#982: reallcoc failed")));
    releaseRequestData(req);
  }
  {
    CMPIArgs *args = makeNewCMPIArgs(nullptr);
    CMAddArg(args, "Note", std::string(9000, 'n').c_str(), CMPI_chars);
    ClientReq *req = request(INVOKEMETHOD, makeNewObjectPath(kNamespace, "Demo_Fan", nullptr),
                             args, nullptr, nullptr, "Write");
    Buffers b;
    LogCapture log;
    FailingAllocation fail(Allocation::Realloc, 1);
    EXPECT_EQ(doSerialization(req, b.fixed.data(), &b.dyn), 1);
    EXPECT_TRUE(log.contains(Error("ERROR: __doSerialization#919: reallcoc failed")));
    releaseRequestData(req);
  }
}

// A method call whose document is exactly length characters long.
ClientReq *method_request_of_length(size_t length) {
  const std::string base =
      "{\"ArgsIn\":{\"Blob\":{\"DataType\":5632,\"Value\":\"\"}},\"ClassName\":\"Demo_Fan\","
      "\"MethodName\":\"Write\",\"NameSpace\":\"root/cimv2\",\"Principal\":\"admin\","
      "\"RequestType\":5}";
  EXPECT_GE(length, base.size());
  CMPIArgs *args = makeNewCMPIArgs(nullptr);
  CMAddArg(args, "Blob", std::string(length - base.size(), 'x').c_str(), CMPI_chars);
  return request(INVOKEMETHOD, makeNewObjectPath(kNamespace, "Demo_Fan", nullptr), args, nullptr,
                 nullptr, "Write");
}

TEST(DoSerialization, MethodCallOf525309CharactersIsAccepted) {
  ClientReq *req = method_request_of_length(525309);
  Buffers b;
  ASSERT_EQ(doSerialization(req, b.fixed.data(), &b.dyn), 0);
  EXPECT_EQ(strlen(b.dyn), 525309u + 8u);
  releaseRequestData(req);
}

TEST(DoSerialization, MethodCallOf525310CharactersIsRefused) {
  ClientReq *req = method_request_of_length(525310);
  Buffers b;
  LogCapture log;
  EXPECT_EQ(doSerialization(req, b.fixed.data(), &b.dyn), 1);
  EXPECT_TRUE(log.contains(Error("ERROR: Input request size is maximum")));
  EXPECT_NE(b.dyn, nullptr);  // the caller's block is untouched
  releaseRequestData(req);
}

TEST(DoSerialization, CreateOfSeveralMegabytesIsFramedInOneGrownBlock) {
  CMPIObjectPath *path = makeNewObjectPath(kNamespace, "Demo_Fan", nullptr);
  CMPIInstance *inst = makeNewCMPIInstance(path, nullptr);
  const std::string big(3 * 1024 * 1024, 'm');
  CMSetProperty(inst, "Firmware", big.c_str(), CMPI_chars);
  ClientReq *req = request(CREATEINST, path, nullptr, inst);
  Buffers b;
  ASSERT_EQ(doSerialization(req, b.fixed.data(), &b.dyn), 0);
  std::string frame(b.dyn);
  EXPECT_NE(frame.find(big), std::string::npos);
  EXPECT_EQ(frame.substr(frame.size() - 9), "}CMPI_EOF");
  releaseRequestData(req);
}

TEST(DoSerialization, LongQueryIsCutInTheFixedBuffer) {
  const std::string query = "select * from Demo_Fan where " + std::string(9000, 'q');
  ClientReq *req = request(EXECQUERY, fan_path(), nullptr, nullptr, nullptr, query.c_str());
  Buffers b;
  ASSERT_EQ(doSerialization(req, b.fixed.data(), &b.dyn), 0);
  std::string frame(b.fixed.data());
  EXPECT_EQ(frame.size(), 8181u + 8u);
  EXPECT_EQ(frame.substr(8181), "CMPI_EOF");
  Json::Value parsed;
  std::string errors;
  std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
  std::string text = frame.substr(0, 8181);
  EXPECT_FALSE(reader->parse(text.data(), text.data() + text.size(), &parsed, &errors));
  releaseRequestData(req);
}

// ---- failures ---------------------------------------------------------------------------------

TEST(DoSerialization, NullRequest) {
  Buffers b;
  LogCapture log;
  EXPECT_EQ(doSerialization(nullptr, b.fixed.data(), &b.dyn), 1);
  EXPECT_THAT(log.lines(), ElementsAre(Enter("doSerialization"),
                                       Error("ERROR: Invalid Client request"),
                                       Exit("doSerialization")));
}

TEST(DoSerialization, NullUserFailsEvenForEnumerations) {
  ClientReq *req = request(ENUMINST, fan_path(), nullptr, nullptr, nullptr, nullptr, "");
  Buffers b;
  LogCapture log;
  EXPECT_EQ(doSerialization(req, b.fixed.data(), &b.dyn), 1);
  EXPECT_THAT(log.lines(), ElementsAre(Enter("doSerialization"),
                                       Error("ERROR: __doSerialization#874: 'user is NULL'"),
                                       Exit("doSerialization")));
  EXPECT_STREQ(b.fixed.data(), "");
  releaseRequestData(req);
}

TEST(DoSerialization, PathWithoutNamespaceOrClass) {
  Buffers b;
  {
    ClientReq *req = request(ENUMINST, makeNewObjectPath(nullptr, "Demo_Fan", nullptr));
    LogCapture log;
    EXPECT_EQ(doSerialization(req, b.fixed.data(), &b.dyn), 1);
    EXPECT_THAT(log.lines(), ElementsAre(Enter("doSerialization"),
                                         Error("ERROR: __doSerialization#868: 'namespace is NULL'"),
                                         Exit("doSerialization")));
    releaseRequestData(req);
  }
  {
    ClientReq *req = request(ENUMINST, makeNewObjectPath(kNamespace, nullptr, nullptr));
    LogCapture log;
    EXPECT_EQ(doSerialization(req, b.fixed.data(), &b.dyn), 1);
    EXPECT_THAT(log.lines(), ElementsAre(Enter("doSerialization"),
                                         Error("ERROR: __doSerialization#871: 'classname is NULL'"),
                                         Exit("doSerialization")));
    releaseRequestData(req);
  }
}

// Only string and reference keys can be carried; a numeric key makes the key writer fail.
class KeyFailure : public ::testing::TestWithParam<std::pair<int, int>> {};

TEST_P(KeyFailure, IsReportedWithTheTypesNumber) {
  const int type = GetParam().first;
  const int line = GetParam().second;
  CMPIObjectPath *path = makeNewObjectPath(kNamespace, "Demo_Fan", nullptr);
  CMPIUint32 index = 3;
  CMAddKey(path, "Index", &index, CMPI_uint32);
  CMAssocReq *assoc = nullptr;
  if (type == ASSOCIATORS) assoc = static_cast<CMAssocReq *>(calloc(1, sizeof(CMAssocReq)));
  CMPIArgs *args = type == INVOKEMETHOD ? makeNewCMPIArgs(nullptr) : nullptr;
  ClientReq *req = request(type, path, args, nullptr, assoc, "text");
  Buffers b;
  LogCapture log;
  EXPECT_EQ(doSerialization(req, b.fixed.data(), &b.dyn), 1);
  EXPECT_TRUE(ContainsInOrder(
      log.lines(), {Error("ERROR: __getCMKey#262: 'unable to get the key'"),
                    Error("ERROR: __doSerialization#" + std::to_string(line) +
                          ": 'getCMKey failed'"),
                    Exit("doSerialization")}));
  releaseRequestData(req);
}

INSTANTIATE_TEST_SUITE_P(EveryKeyedType, KeyFailure,
                         ::testing::Values(std::make_pair(GETINST, 892),
                                           std::make_pair(DELETEINST, 892),
                                           std::make_pair(INVOKEMETHOD, 900),
                                           std::make_pair(MODIFYINST, 930),
                                           std::make_pair(ASSOCIATORS, 952),
                                           std::make_pair(EXECQUERY, 961),
                                           std::make_pair(CREATEINST, 971)));

TEST(DoSerialization, MissingInstanceFailsTheProperties) {
  for (auto [type, line] : {std::make_pair(MODIFYINST, 934), std::make_pair(CREATEINST, 975)}) {
    ClientReq *req = request(type, fan_path());
    Buffers b;
    LogCapture log;
    testing::internal::CaptureStdout();
    EXPECT_EQ(doSerialization(req, b.fixed.data(), &b.dyn), 1);
    testing::internal::GetCapturedStdout();
    EXPECT_TRUE(ContainsInOrder(
        log.lines(), {Error("ERROR: __getInstanceProps#516: 'Instance is NULL'"),
                      Error("ERROR: __doSerialization#" + std::to_string(line) +
                            ": 'getInstanceProps failed'")}));
    releaseRequestData(req);
  }
}

TEST(DoSerialization, UnknownTypeIsRejectedAfterTheHeader) {
  ClientReq *req = request(ENUMINST, fan_path());
  req->type = 12;
  Buffers b;
  LogCapture log;
  EXPECT_EQ(doSerialization(req, b.fixed.data(), &b.dyn), 1);
  EXPECT_THAT(log.lines(), ElementsAre(Enter("doSerialization"),
                                       Error("ERROR: Unknown request type"),
                                       Exit("doSerialization")));
  releaseRequestData(req);
}

}  // namespace
