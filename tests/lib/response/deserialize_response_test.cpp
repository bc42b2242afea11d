// deserializeResp and createConstClass: every document type and status variant, the narrow
// status tests, and every failure with its exact lines (object-library factories made to fail
// through factory_faults.h, and makeNewCMPIClass through the stand-in below).
#include <cmpimacs.h>
#include <cmpiutility/response.h>
#include <dlfcn.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>

#include "factory_faults.h"
#include "fault_injection.h"
#include "log_capture.h"
#include "response_objects.h"

// ---- makeNewCMPIClass, made to fail on demand -----------------------------------------------

namespace {

enum class ClassFault { kNone, kFail, kFailWithObject, kOkNothing };
ClassFault g_class_fault = ClassFault::kNone;

struct ClassFaultScope {
  explicit ClassFaultScope(ClassFault fault) { g_class_fault = fault; }
  ~ClassFaultScope() { g_class_fault = ClassFault::kNone; }
};

}  // namespace

extern "C" CMPIConstClass *makeNewCMPIClass(CMPIStatus *rc) {
  using Real = CMPIConstClass *(*)(CMPIStatus *);
  static const Real real = reinterpret_cast<Real>(dlsym(RTLD_NEXT, "makeNewCMPIClass"));
  switch (g_class_fault) {
    case ClassFault::kNone:
      return real(rc);
    case ClassFault::kFail:
      if (rc != nullptr) *rc = CMPIStatus{CMPI_RC_ERR_FAILED, nullptr};
      return nullptr;
    case ClassFault::kFailWithObject: {
      CMPIConstClass *cls = real(nullptr);
      if (rc != nullptr) *rc = CMPIStatus{CMPI_RC_ERR_FAILED, nullptr};
      return cls;
    }
    case ClassFault::kOkNothing:
      if (rc != nullptr) *rc = CMPIStatus{CMPI_RC_OK, nullptr};
      return nullptr;
  }
  return nullptr;
}

namespace {

// Fields of the packed status may sit at unaligned addresses: compare copies, never references
// to them.
#define V(field) static_cast<decltype(field)>(field)

using namespace cmpitest;
using namespace resptest;
using ::testing::ElementsAre;
using cmpiutility::status_code;

// Releases a decoded record with everything in it.
void release(ServerResp *resp) {
  if (resp == nullptr) return;
  release_class(resp->constClass);
  if (resp->type == INVOKEMETHOD && resp->retVal.args != nullptr) CMRelease(resp->retVal.args);
  releaseClientResponseData(resp);
}

const char *message_of(const ServerResp *resp) {
  return resp->status.msg != nullptr ? CMGetCharPtr(resp->status.msg) : nullptr;
}

std::string received(const std::string &text) {
  return "INFO: serialized data len:" + std::to_string(text.size()) + " and data = " + text;
}

// ---- documents of every type --------------------------------------------------------------------

// Edge case: «{}» yields a record of type 0 and nothing else.
TEST(DeserializeResp, EmptyObjectYieldsTypeZero) {
  LogCapture log;
  ServerResp *resp = deserializeResp("{}");
  ASSERT_NE(resp, nullptr);
  EXPECT_EQ(resp->type, 0);
  EXPECT_EQ(resp->instance, nullptr);
  EXPECT_EQ(resp->objectPath, nullptr);
  EXPECT_EQ(resp->constClass, nullptr);
  EXPECT_EQ(status_code(resp->status), 0);
  EXPECT_THAT(log.lines(), ElementsAre(Enter("deserializeResp"), Trace(received("{}")),
                                       Exit("deserializeResp")));
  release(resp);
}

// Edge case: «[» yields the parse error line and a record of type 0.
TEST(DeserializeResp, TextThatDoesNotParseYieldsTypeZero) {
  for (const char *text : {"[", "", "{\"RequestType\":"}) {
    LogCapture log;
    ServerResp *resp = deserializeResp(text);
    ASSERT_NE(resp, nullptr);
    EXPECT_EQ(resp->type, 0);
    EXPECT_THAT(log.lines(),
                ElementsAre(Enter("deserializeResp"), Trace(received(text)),
                            Error("ERROR: __deserializeResp#2427: 'Json parsing failed'"),
                            Exit("deserializeResp")));
    release(resp);
  }
}

TEST(DeserializeResp, DocumentThatIsNoObjectReadsAsAnEmptyOne) {
  for (const char *text : {"[1,2]", "7", "\"RequestType\""}) {
    ServerResp *resp = deserializeResp(text);
    ASSERT_NE(resp, nullptr);
    EXPECT_EQ(resp->type, 0);
    release(resp);
  }
}

TEST(DeserializeResp, NoTextGivesNoRecord) {
  LogCapture log;
  EXPECT_EQ(deserializeResp(nullptr), nullptr);
  EXPECT_THAT(log.lines(), ElementsAre(Enter("deserializeResp"), Exit("deserializeResp")));
}

TEST(DeserializeResp, NoMemoryGivesNoRecord) {
  LogCapture log;
  FailingAllocation failing(Allocation::Calloc, 1);
  EXPECT_EQ(deserializeResp("{}"), nullptr);
  EXPECT_THAT(log.lines(),
              ElementsAre(Enter("deserializeResp"), Trace(received("{}")),
                          Error("ERROR: __deserializeResp#2422: 'Memory allocation failed'"),
                          Exit("deserializeResp")));
}

TEST(DeserializeResp, TypesOutsideOneToTenHoldOnlyTheType) {
  for (unsigned type : {11u, 0u, 4294967295u}) {
    const std::string text = "{\"RequestType\":" + std::to_string(type) +
                             ",\"ClassName\":\"Demo_Fan\",\"NameSpace\":\"root/cimv2\"}";
    ServerResp *resp = deserializeResp(text.c_str());
    EXPECT_EQ(static_cast<unsigned>(resp->type), type);
    EXPECT_EQ(resp->objectPath, nullptr);
    release(resp);
  }
}

// Numbers above 32 bits keep their low 32 bits.
TEST(DeserializeResp, RequestTypeKeepsItsLow32Bits) {
  ServerResp *resp = deserializeResp("{\"RequestType\":4294967304,\"SetInstStatus\":0}");
  EXPECT_EQ(resp->type, DELETEINST);
  release(resp);
}

TEST(DeserializeResp, NegativeNumbersRaiseTheConversionErrorWithoutLeaking) {
  EXPECT_THROW(deserializeResp("{\"RequestType\":-1}"), Json::LogicError);
  EXPECT_THROW(deserializeResp("{\"RequestType\":3,\"GetInstStatus\":-4}"), Json::LogicError);
  EXPECT_THROW(deserializeResp("{\"RequestType\":5,\"RetVal\":\"x\"}"), Json::LogicError);
  // The path made before the conversion failed goes with the record.
  EXPECT_THROW(deserializeResp("{\"RequestType\":9,\"ClassName\":\"Demo_Fan\",\"NameSpace\":"
                               "\"root/cimv2\",\"SetInstStatus\":-1}"),
               Json::LogicError);
}

// Found by the response fuzzer: a method parameter whose property is a bare string instead of a
// value object makes the decoder's conversion throw half-way through a class. The exception
// goes on to the caller; the class, its record and the lists built so far must not be lost
// (the sanitizer build checks that nothing leaks).
TEST(DeserializeResp, ConversionErrorInsideAClassReleasesWhatWasBuilt) {
  EXPECT_THROW(deserializeResp("{\"ClassName\":\"C\",\"MethodParamList\":{\"Value\":[{"
                               "\"ClassName\":\"P\",\"InstanceProps\":{\"x\":\"s\"},"
                               "\"NameSpace\":\"n\"}]},\"NameSpace\":\"n\","
                               "\"PropList\":{\"Value\":[\"a\"]},\"RequestType\":10}"),
               Json::LogicError);
}

class InstanceDocument : public ::testing::TestWithParam<int> {};

TEST_P(InstanceDocument, YieldsPathAndInstance) {
  const int type = GetParam();
  const std::string text = "{\"ClassName\":\"Demo_Fan\"," + kFanProps +
                           ",\"NameSpace\":\"root/cimv2\",\"RequestType\":" +
                           std::to_string(type) + "}";
  LogCapture log;
  ServerResp *resp = deserializeResp(text.c_str());
  ASSERT_EQ(resp->type, type);
  EXPECT_EQ(path_text(resp->objectPath),
            "{\"ClassName\":\"Demo_Fan\",\"NameSpace\":\"root/cimv2\"}");
  testing::internal::CaptureStdout();
  EXPECT_EQ(instance_text(resp->instance),
            "{\"ClassName\":\"Demo_Fan\"," + kFanProps + ",\"NameSpace\":\"root/cimv2\"}");
  testing::internal::GetCapturedStdout();
  EXPECT_EQ(status_code(resp->status), 0);
  EXPECT_EQ(V(resp->status.msg), nullptr);
  EXPECT_TRUE(ContainsInOrder(log.lines(), {Enter("deserializeResp"), Trace(received(text)),
                                            Exit("deserializeResp")}));
  release(resp);
}

INSTANTIATE_TEST_SUITE_P(EveryInstanceType, InstanceDocument,
                         ::testing::Values(ENUMINST, GETINST, ASSOCIATORS, EXECQUERY));

struct EmptyNames {
  int type;
  int line;
};

class EmptyNamesDocument : public ::testing::TestWithParam<EmptyNames> {};

TEST_P(EmptyNamesDocument, IsAnErrorAndYieldsNoPath) {
  const EmptyNames e = GetParam();
  for (const char *names : {"\"NameSpace\":\"root/cimv2\"", "\"ClassName\":\"Demo_Fan\"",
                            "\"ClassName\":\"\",\"NameSpace\":\"root/cimv2\""}) {
    const std::string text =
        "{\"RequestType\":" + std::to_string(e.type) + "," + names + "}";
    LogCapture log;
    ServerResp *resp = deserializeResp(text.c_str());
    EXPECT_EQ(resp->type, e.type);
    EXPECT_EQ(resp->objectPath, nullptr);
    EXPECT_EQ(resp->instance, nullptr);
    EXPECT_EQ(resp->constClass, nullptr);
    EXPECT_TRUE(log.contains(Error("ERROR: __deserializeResp#" + std::to_string(e.line) +
                                   ": 'class name or name space is empty'")));
    release(resp);
  }
}

INSTANTIATE_TEST_SUITE_P(EveryNamedType, EmptyNamesDocument,
                         ::testing::Values(EmptyNames{ENUMINST, 2441}, EmptyNames{ASSOCIATORS, 2441},
                                           EmptyNames{EXECQUERY, 2441},
                                           EmptyNames{ENUMINSTNAMES, 2527},
                                           EmptyNames{GETINST, 2474}, EmptyNames{GETCLASS, 2508}));

TEST(DeserializeResp, InstanceThatCannotBeBuiltKeepsThePath) {
  const std::string text =
      "{\"ClassName\":\"Demo_Fan\",\"InstanceProps\":{\"When\":{\"DataState\":0,"
      "\"DataType\":6144,\"Value\":\"not a date\"}},\"NameSpace\":\"root/cimv2\","
      "\"RequestType\":7}";
  LogCapture log;
  ServerResp *resp = deserializeResp(text.c_str());
  EXPECT_NE(resp->objectPath, nullptr);
  EXPECT_TRUE(ContainsInOrder(
      log.lines(), {Error("ERROR: __createCMInst#1827: 'Add2CMPIArgs failed'"),
                    Error("ERROR: __deserializeResp#2449: 'createCMInst failed'"),
                    Exit("deserializeResp")}));
  release(resp);
}

TEST(DeserializeResp, EnumInstanceNamesYieldsAKeyedPath) {
  const std::string text = "{\"ClassName\":\"Demo_Fan\",\"NameSpace\":\"root/cimv2\","
                           "\"RequestType\":2,\"key\":\"" +
                           std::string(kFanKey) + "\"}";
  ServerResp *resp = deserializeResp(text.c_str());
  EXPECT_EQ(resp->type, ENUMINSTNAMES);
  EXPECT_EQ(path_text(resp->objectPath),
            "{\"ClassName\":\"Demo_Fan\",\"NameSpace\":\"root/cimv2\",\"key\":\"" +
                std::string(kFanKey) + "\"}");
  EXPECT_EQ(resp->instance, nullptr);
  release(resp);
}

// A reference key whose path cannot be made cannot be added.
TEST(DeserializeResp, KeysThatCannotBeAddedDropThePath) {
  for (int type : {ENUMINSTNAMES, CREATEINST}) {
    const std::string text = "{\"ClassName\":\"Demo_Fan\",\"NameSpace\":\"root/cimv2\","
                             "\"RequestType\":" + std::to_string(type) +
                             ",\"SetInstStatus\":3,\"key\":\"(System=root/cimv2:Demo_System."
                             "Name=bmc0,)\"}";
    LogCapture log;
    ServerResp *resp = nullptr;
    {
      FactoryFault fault(Factory::kObjectPath, Fault::kFail, 0, "Demo_System");
      resp = deserializeResp(text.c_str());
    }
    EXPECT_EQ(resp->objectPath, nullptr);
    const int line = type == ENUMINSTNAMES ? 2534 : 2576;
    EXPECT_TRUE(ContainsInOrder(
        log.lines(),
        {Error("ERROR: __addCMKey#1067: 'makeNewObjectPath failed'"), Exit("addCMKey"),
         Error("ERROR: __deserializeResp#" + std::to_string(line) + ": 'addCMKey failed'"),
         Exit("deserializeResp")}));
    // CreateInstance returns at once: its status is not read.
    EXPECT_EQ(status_code(resp->status), 0);
    release(resp);
  }
}

// Edge case: GetInstance with code 4 carries its message back, and no path.
TEST(DeserializeResp, GetInstanceWithCodeFourKeepsItsMessage) {
  const char text[] = "{\"GetInstStatus\":4,\"GetInstStatusMsg\":\"bad key\",\"RequestType\":3}";
  LogCapture log;
  ServerResp *resp = deserializeResp(text);
  EXPECT_EQ(status_code(resp->status), 4);
  EXPECT_STREQ(message_of(resp), "bad key");
  EXPECT_EQ(resp->objectPath, nullptr);
  EXPECT_EQ(resp->instance, nullptr);
  EXPECT_THAT(log.lines(),
              ElementsAre(Enter("deserializeResp"), Trace(received(text)),
                          Trace("get operation (resp->status).rc 4"),
                          Trace("get operation (resp->status).rc = 4"),
                          Trace("set operation CreateString for GetInstStatusMsg"),
                          Trace("set operation Created String for GetInstStatusMsg"),
                          Exit("deserializeResp")));
  release(resp);
}

TEST(DeserializeResp, GetInstanceWithCodeFourAndNoMessage) {
  const char text[] = "{\"GetInstStatus\":4,\"GetInstStatusMsg\":null,\"RequestType\":3}";
  LogCapture log;
  ServerResp *resp = deserializeResp(text);
  EXPECT_EQ(status_code(resp->status), 4);
  EXPECT_EQ(V(resp->status.msg), nullptr);
  EXPECT_THAT(log.lines(),
              ElementsAre(Enter("deserializeResp"), Trace(received(text)),
                          Trace("get operation (resp->status).rc 4"),
                          Trace("get operation (resp->status).rc = 4"),
                          Trace("set operation GetInstStatusMsg is NULL"),
                          Exit("deserializeResp")));
  release(resp);
}

// Edge case: any other code is read as an instance document: code, no message, no instance.
TEST(DeserializeResp, GetInstanceWithAnotherCodeLosesItsMessage) {
  const char text[] =
      "{\"GetInstStatus\":6,\"GetInstStatusMsg\":\"no such disk\",\"RequestType\":3}";
  LogCapture log;
  ServerResp *resp = deserializeResp(text);
  EXPECT_EQ(status_code(resp->status), 6);
  EXPECT_EQ(V(resp->status.msg), nullptr);
  EXPECT_EQ(resp->instance, nullptr);
  EXPECT_THAT(log.lines(),
              ElementsAre(Enter("deserializeResp"), Trace(received(text)),
                          Trace("get operation (resp->status).rc 6"),
                          Error("ERROR: __deserializeResp#2474: 'class name or name space is "
                                "empty'"),
                          Exit("deserializeResp")));
  release(resp);
}

class SetInstanceDocument : public ::testing::TestWithParam<int> {};

TEST_P(SetInstanceDocument, YieldsCodeAndMessage) {
  const int type = GetParam();
  const std::string text = "{\"RequestType\":" + std::to_string(type) +
                           ",\"SetInstStatus\":2,\"SetInstStatusMsg\":\"not yours\"}";
  LogCapture log;
  ServerResp *resp = deserializeResp(text.c_str());
  EXPECT_EQ(resp->type, type);
  EXPECT_EQ(status_code(resp->status), 2);
  EXPECT_STREQ(message_of(resp), "not yours");
  EXPECT_THAT(log.lines(),
              ElementsAre(Enter("deserializeResp"), Trace(received(text)),
                          Trace("set operation"), Trace("set operation (resp->status).rc = 2"),
                          Trace("set operation CreateString for SetInstStatusMsg"),
                          Trace("set operation Created String for SetInstStatusMsg"),
                          Exit("deserializeResp")));
  release(resp);
}

TEST_P(SetInstanceDocument, WithoutMessage) {
  const int type = GetParam();
  const std::string text = "{\"RequestType\":" + std::to_string(type) +
                           ",\"SetInstStatus\":0,\"SetInstStatusMsg\":null}";
  LogCapture log;
  ServerResp *resp = deserializeResp(text.c_str());
  EXPECT_EQ(status_code(resp->status), 0);
  EXPECT_EQ(V(resp->status.msg), nullptr);
  EXPECT_THAT(log.lines(),
              ElementsAre(Enter("deserializeResp"), Trace(received(text)),
                          Trace("set operation"), Trace("set operation (resp->status).rc = 0"),
                          Trace("set operation SetInstStatusMsg is NULL"),
                          Exit("deserializeResp")));
  release(resp);
}

INSTANTIATE_TEST_SUITE_P(ModifyAndDelete, SetInstanceDocument,
                         ::testing::Values(MODIFYINST, DELETEINST));

TEST(DeserializeResp, InvokeMethodYieldsRetTypeAndArguments) {
  const std::string text = "{" + kMethodArgs + ",\"RequestType\":5,\"RetVal\":160}";
  ServerResp *resp = deserializeResp(text.c_str());
  EXPECT_EQ(resp->type, INVOKEMETHOD);
  EXPECT_EQ(resp->retType, CMPI_uint32);
  ASSERT_NE(resp->retVal.args, nullptr);
  testing::internal::CaptureStdout();
  EXPECT_EQ(args_text(resp->retVal.args), "{" + kMethodArgs + "}");
  testing::internal::GetCapturedStdout();
  release(resp);
}

TEST(DeserializeResp, RetValKeepsItsLow16Bits) {
  ServerResp *resp = deserializeResp("{\"RequestType\":5,\"RetVal\":65696}");
  EXPECT_EQ(resp->retType, 160);
  ASSERT_NE(resp->retVal.args, nullptr);
  EXPECT_EQ(CMGetArgCount(resp->retVal.args, nullptr), 0u);
  release(resp);
}

TEST(DeserializeResp, ArgumentsThatCannotBeBuilt) {
  LogCapture log;
  ServerResp *resp = deserializeResp(
      "{\"ArgsIn\":{\"When\":{\"DataType\":6144,\"Value\":\"bad\"}},\"RequestType\":5,"
      "\"RetVal\":0}");
  EXPECT_TRUE(ContainsInOrder(
      log.lines(), {Error("ERROR: __createCMArgs#1990: 'Add2CMPIArgs failed'"),
                    Error("ERROR: __deserializeResp#2558: 'createCMArgs failed'"),
                    Exit("deserializeResp")}));
  release(resp);
}

TEST(DeserializeResp, CreateInstanceYieldsPathAndStatus) {
  const std::string text =
      "{\"ClassName\":\"Demo_Fan\",\"NameSpace\":\"root/cimv2\",\"RequestType\":9,"
      "\"SetInstStatus\":0,\"SetInstStatusMsg\":null,\"key\":\"" +
      std::string(kFanKey) + "\"}";
  LogCapture log;
  ServerResp *resp = deserializeResp(text.c_str());
  EXPECT_EQ(path_text(resp->objectPath),
            "{\"ClassName\":\"Demo_Fan\",\"NameSpace\":\"root/cimv2\",\"key\":\"" +
                std::string(kFanKey) + "\"}");
  EXPECT_EQ(status_code(resp->status), 0);
  EXPECT_EQ(V(resp->status.msg), nullptr);
  EXPECT_TRUE(ContainsInOrder(log.lines(),
                              {Exit("addCMKey"), Trace("0"),
                               Trace("create Inst operation SetInstStatusMsg is NULL"),
                               Exit("deserializeResp")}));
  release(resp);
}

// Edge case: no "ClassName", still the status and message.
TEST(DeserializeResp, CreateInstanceWithoutPathStillYieldsTheStatus) {
  const char text[] = "{\"RequestType\":9,\"SetInstStatus\":11,\"SetInstStatusMsg\":\"exists\"}";
  LogCapture log;
  ServerResp *resp = deserializeResp(text);
  EXPECT_EQ(resp->objectPath, nullptr);
  EXPECT_EQ(status_code(resp->status), 11);
  EXPECT_STREQ(message_of(resp), "exists");
  EXPECT_THAT(log.lines(),
              ElementsAre(Enter("deserializeResp"), Trace(received(text)),
                          Trace("__deserializeResp#2568: 'class name or name space is empty'"),
                          Trace("11"), Exit("deserializeResp")));
  release(resp);
}

TEST(DeserializeResp, GetClassYieldsTheClass) {
  const std::string text = "{" + std::string(kFanClassMembers) + ",\"RequestType\":10}";
  LogCapture log;
  ServerResp *resp = deserializeResp(text.c_str());
  ASSERT_NE(resp->constClass, nullptr);
  EXPECT_EQ(class_text(resp->constClass), "{" + std::string(kFanClassMembers) + "}");
  EXPECT_EQ(path_text(resp->objectPath),
            "{\"ClassName\":\"Demo_Fan\",\"NameSpace\":\"root/cimv2\"}");
  EXPECT_TRUE(ContainsInOrder(log.lines(), {Trace("getclass operation (resp->status).rc 0"),
                                            Enter("createConstClass"), Exit("createConstClass"),
                                            Exit("deserializeResp")}));
  release(resp);
}

// Edge case: an empty "MethodList" array gives a method-name array of 0 elements.
TEST(DeserializeResp, GetClassWithEmptyListsHasEmptyArrays) {
  for (const char *lists : {"\"MethodList\":{\"Value\":[]}", "\"MethodList\":{}",
                            "\"MethodList\":null", "\"PropList\":{}"}) {
    const std::string text = std::string("{\"ClassName\":\"Demo_Fan\",") + lists +
                             ",\"NameSpace\":\"root/cimv2\",\"RequestType\":10}";
    ServerResp *resp = deserializeResp(text.c_str());
    ASSERT_NE(resp->constClass, nullptr) << text;
    const CMPIClassRecord *rec = static_cast<const CMPIClassRecord *>(resp->constClass->hdl);
    ASSERT_NE(rec->methodNames, nullptr);
    EXPECT_EQ(CMGetArrayCount(rec->methodNames, nullptr), 0u);
    EXPECT_EQ(CMGetArrayCount(rec->propertyNames, nullptr), 0u);
    EXPECT_EQ(CMGetArrayCount(rec->methodParameters, nullptr), 0u);
    EXPECT_EQ(resp->constClass->ft->getMethodCount(resp->constClass, nullptr), 0u);
    release(resp);
  }
}

// Edge case: code 4 takes its message from "GetClassStatus" itself («4»).
TEST(DeserializeResp, GetClassWithCodeFourGetsTheCodeAsMessage) {
  const char text[] =
      "{\"GetClassStatus\":4,\"GetClassStatusMsg\":\"bad class\",\"RequestType\":10}";
  LogCapture log;
  ServerResp *resp = deserializeResp(text);
  EXPECT_EQ(status_code(resp->status), 4);
  EXPECT_STREQ(message_of(resp), "4");
  EXPECT_EQ(resp->constClass, nullptr);
  EXPECT_THAT(log.lines(),
              ElementsAre(Enter("deserializeResp"), Trace(received(text)),
                          Trace("getclass operation (resp->status).rc 4"),
                          Trace("getclass operation (resp->status).rc = 4"),
                          Trace("set operation CreateString for GetClassStatus"),
                          Trace("set operation Created String for GetClassStatus"),
                          Exit("deserializeResp")));
  release(resp);
}

TEST(DeserializeResp, GetClassWithAnotherCodeHasNoMessageAndNoClass) {
  const char text[] =
      "{\"GetClassStatus\":5,\"GetClassStatusMsg\":\"no such class\",\"RequestType\":10}";
  ServerResp *resp = deserializeResp(text);
  EXPECT_EQ(status_code(resp->status), 5);
  EXPECT_EQ(V(resp->status.msg), nullptr);
  EXPECT_EQ(resp->constClass, nullptr);
  release(resp);
}

// ---- createConstClass failures -----------------------------------------------------------------

const std::string kClassText = "{" + std::string(kFanClassMembers) + ",\"RequestType\":10}";

TEST(CreateConstClass, ListThatCannotBeFilled) {
  const std::string text =
      "{\"ClassName\":\"Demo_Fan\",\"MethodParamList\":{\"Value\":[{\"ClassName\":\"P\","
      "\"InstanceProps\":{\"When\":{\"DataState\":0,\"DataType\":6144,\"Value\":\"bad\"}},"
      "\"NameSpace\":\"root/cimv2\"}]},\"NameSpace\":\"root/cimv2\",\"PropList\":{\"Value\":"
      "[\"DeviceID\"]},\"RequestType\":10}";
  LogCapture log;
  ServerResp *resp = deserializeResp(text.c_str());
  EXPECT_EQ(resp->constClass, nullptr);
  EXPECT_NE(resp->objectPath, nullptr);
  EXPECT_TRUE(ContainsInOrder(
      log.lines(), {Enter("createConstClass"),
                    Error("ERROR: __setCMArrayElement#1164: 'Add2CMPIArgs failed'"),
                    Error("Error while serializing array"), Exit("createConstClass"),
                    Error("ERROR: __deserializeResp#2516: 'createConstClass failed'"),
                    Exit("deserializeResp")}));
  release(resp);
}

TEST(CreateConstClass, ArrayThatCannotBeMade) {
  for (int skip : {0, 1, 2}) {
    LogCapture log;
    ServerResp *resp = nullptr;
    {
      FactoryFault fault(Factory::kArray, Fault::kFailWithObject, skip);
      resp = deserializeResp(kClassText.c_str());
    }
    EXPECT_EQ(resp->constClass, nullptr);
    EXPECT_TRUE(ContainsInOrder(
        log.lines(), {Enter("createConstClass"), Error("Error while creating array"),
                      Exit("createConstClass"),
                      Error("ERROR: __deserializeResp#2516: 'createConstClass failed'")}));
    release(resp);
  }
}

TEST(CreateConstClass, ArrayFactoryThatGivesNothingWithSuccess) {
  LogCapture log;
  ServerResp *resp = nullptr;
  {
    FactoryFault fault(Factory::kArray, Fault::kOkNothing);
    resp = deserializeResp(kClassText.c_str());
  }
  EXPECT_EQ(resp->constClass, nullptr);
  EXPECT_TRUE(log.contains(Error("Error while creating array")));
  release(resp);
}

TEST(CreateConstClass, ClassFactoryFailure) {
  for (ClassFault fault : {ClassFault::kFail, ClassFault::kFailWithObject}) {
    LogCapture log;
    ServerResp *resp = nullptr;
    {
      ClassFaultScope scope(fault);
      resp = deserializeResp(kClassText.c_str());
    }
    EXPECT_EQ(resp->constClass, nullptr);
    EXPECT_NE(resp->objectPath, nullptr);
    EXPECT_TRUE(ContainsInOrder(
        log.lines(), {Enter("createConstClass"),
                      Error("ERROR: __createConstClass#1849: 'createConstClass failed'"),
                      Exit("createConstClass"),
                      Error("ERROR: __deserializeResp#2516: 'createConstClass failed'"),
                      Exit("deserializeResp")}));
    release(resp);
  }
}

// No class with a success status is logged by the status rule, and there is nothing to fill.
TEST(CreateConstClass, ClassFactoryThatGivesNothingWithSuccess) {
  LogCapture log;
  ServerResp *resp = nullptr;
  {
    ClassFaultScope scope(ClassFault::kOkNothing);
    resp = deserializeResp(kClassText.c_str());
  }
  EXPECT_EQ(resp->constClass, nullptr);
  EXPECT_TRUE(ContainsInOrder(
      log.lines(), {Enter("createConstClass"),
                    Info("INFO: __createConstClass#1849: 'createConstClass failed'"),
                    Exit("createConstClass"),
                    Error("ERROR: __deserializeResp#2516: 'createConstClass failed'")}));
  release(resp);
}

TEST(CreateConstClass, ClassRecordThatCannotBeAllocated) {
  LogCapture log;
  ServerResp *resp = nullptr;
  {
    FailingAllocation failing(Allocation::Calloc, 2);  // the response record comes first
    resp = deserializeResp(kClassText.c_str());
    EXPECT_TRUE(failing.triggered());
  }
  EXPECT_EQ(resp->constClass, nullptr);
  EXPECT_TRUE(ContainsInOrder(
      log.lines(), {Enter("createConstClass"), Error("Error while creating p_constclassDS"),
                    Exit("createConstClass"),
                    Error("ERROR: __deserializeResp#2516: 'createConstClass failed'")}));
  release(resp);
}

// ---- object paths that cannot be made ----------------------------------------------------------

struct PathLine {
  std::string text;
  int line;
};

class PathFactory : public ::testing::TestWithParam<PathLine> {};

TEST_P(PathFactory, ErrorReturnsTheRecordWithoutPath) {
  const PathLine p = GetParam();
  for (Fault f : {Fault::kFail, Fault::kFailWithObject}) {
    LogCapture log;
    ServerResp *resp = nullptr;
    {
      FactoryFault fault(Factory::kObjectPath, f);
      resp = deserializeResp(p.text.c_str());
    }
    EXPECT_EQ(resp->objectPath, nullptr);
    EXPECT_EQ(resp->instance, nullptr);
    EXPECT_EQ(resp->constClass, nullptr);
    EXPECT_TRUE(ContainsInOrder(log.lines(),
                                {Error("ERROR: __deserializeResp#" + std::to_string(p.line) +
                                       ": 'makeNewObjectPath failed'"),
                                 Exit("deserializeResp")}));
    EXPECT_FALSE(log.contains(Enter("createConstClass")));
    release(resp);
  }
}

TEST_P(PathFactory, NothingWithSuccessGoesOnWithoutPath) {
  const PathLine p = GetParam();
  LogCapture log;
  ServerResp *resp = nullptr;
  {
    FactoryFault fault(Factory::kObjectPath, Fault::kOkNothing);
    resp = deserializeResp(p.text.c_str());
  }
  EXPECT_EQ(resp->objectPath, nullptr);
  EXPECT_TRUE(log.contains(
      Info("INFO: __deserializeResp#" + std::to_string(p.line) + ": 'makeNewObjectPath failed'")));
  release(resp);
}

const std::string kNames = "\"ClassName\":\"Demo_Fan\",\"NameSpace\":\"root/cimv2\",";

INSTANTIATE_TEST_SUITE_P(
    EveryPathMade, PathFactory,
    ::testing::Values(PathLine{"{" + kNames + "\"RequestType\":1}", 2445},
                      PathLine{"{" + kNames + "\"RequestType\":6}", 2445},
                      PathLine{"{" + kNames + "\"RequestType\":7}", 2445},
                      PathLine{"{" + kNames + "\"RequestType\":2,\"key\":\"a=b,\"}", 2531},
                      PathLine{"{" + kNames + "\"RequestType\":3}", 2478},
                      PathLine{"{" + kNames + "\"RequestType\":9,\"SetInstStatus\":0}", 2573},
                      PathLine{"{" + kNames + "\"RequestType\":10}", 2512}));

}  // namespace
