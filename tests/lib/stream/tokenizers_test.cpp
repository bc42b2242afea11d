// The six tokenizers' delivery steps and parseResponse: what each member hands out, returns and
// logs, including the cases where members differ.
#include <cmpimacs.h>
#include <cmpiutility/response.h>
#include <cmpiutility/stream.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>

#include "log_capture.h"
#include "response_objects.h"
#include "stream_helpers.h"

namespace {

// Fields of the packed status may sit at unaligned addresses: compare copies, never references
// to them.
#define V(field) static_cast<decltype(field)>(field)

using namespace cmpitest;
using namespace resptest;
using namespace streamtest;
using ::testing::ElementsAre;
using cmpiutility::status_code;

constexpr char kGet[] = "CMUtilGETStringTokenize";
constexpr char kGetClass[] = "CMUtilGETClassStringTokenize";
constexpr char kCreate[] = "CMUtilCreateInstStringTokenize";
constexpr char kInvoke[] = "CMUtilInvokeStringTokenize";
constexpr char kEnum[] = "CMUtilEnumStringTokenize";
constexpr char kSet[] = "CMUtilSETStringTokenize";

std::string with(const char *op, const std::string &text) { return std::string(op) + text; }

// An instance document of class Demo_Fan with Speed = speed.
std::string instance_doc(int type, int speed) {
  return "{\"ClassName\":\"Demo_Fan\",\"InstanceProps\":{\"Speed\":{\"DataState\":0,"
         "\"DataType\":160,\"Value\":" +
         std::to_string(speed) + "}},\"NameSpace\":\"root/cimv2\",\"RequestType\":" +
         std::to_string(type) + "}";
}

std::string names_doc() {
  return "{\"ClassName\":\"Demo_Fan\",\"NameSpace\":\"root/cimv2\",\"RequestType\":2,\"key\":\"" +
         std::string(kFanKey) + "\"}";
}

// The Speed property of an instance, or -1.
long long speed_of(CMPIInstance *inst) {
  if (inst == nullptr) return -1;
  CMPIData data = CMGetProperty(inst, "Speed", nullptr);
  return data.type == CMPI_uint32 ? static_cast<long long>(data.value.uint32) : -1;
}

void release_message(CMPIStatus &status) {
  if (status.msg != nullptr) CMRelease(status.msg);
  status.msg = nullptr;
}

std::string message_of(const CMPIStatus &status) {
  return status.msg != nullptr ? CMGetCharPtr(status.msg) : "<NULL>";
}

// ---- CMUtilGETStringTokenize ---------------------------------------------------------------------

// Edge case: an instance frame and the completion frame in one piece: code 0, flag set, instance
// delivered.
TEST(GetTokenizer, InstanceAndCompletionInOnePiece) {
  const std::string doc = instance_doc(GETINST, 4200);
  const std::string piece = frame(doc) + kComplete;
  Slot slot;
  uint32_t complete = 0;
  CMPIInstance *result = nullptr;
  LogCapture log;
  CMPIStatus st = CMUtilGETStringTokenize(piece.c_str(), &result, &slot, &complete);
  EXPECT_EQ(status_code(st), 0);
  EXPECT_EQ(V(st.msg), nullptr);
  EXPECT_EQ(complete, 1u);
  EXPECT_EQ(speed_of(result), 4200);
  EXPECT_EQ(slot.block, nullptr);
  EXPECT_TRUE(ContainsInOrder(
      log.lines(), {Enter(kGet), Trace(with(kGet, ": received string to tokenize ") + piece),
                    Trace(with(kGet, ": tokenized string") + doc), Enter("deserializeResp"),
                    Exit("deserializeResp"), Enter("releaseClientResponseData"),
                    Exit("releaseClientResponseData"),
                    Trace(with(kGet, ": tokenized stringCMPIOPERATION_COMPLETE")),
                    Trace(with(kGet, ": tokenized string CMPIOPERATION_COMPLETE")), Exit(kGet)}));
  CMRelease(result);
}

// Edge case: a frame with code 6 and a message delivers no instance, returns 6 with a clone of
// the message, and drops the frames behind it. (A GetInstance document keeps its message for
// code 4 only, so the message comes here in a set-instance document.)
TEST(GetTokenizer, NonZeroCodeEndsTheCallWithTheMessage) {
  const std::string piece = frame(set_doc(6, "no such disk")) +
                            frame(instance_doc(GETINST, 1)) + kComplete + "tail";
  Slot slot;
  uint32_t complete = 0;
  CMPIInstance *result = nullptr;
  LogCapture log;
  CMPIStatus st = CMUtilGETStringTokenize(piece.c_str(), &result, &slot, &complete);
  EXPECT_EQ(status_code(st), 6);
  EXPECT_EQ(message_of(st), "no such disk");
  EXPECT_EQ(result, nullptr);
  EXPECT_EQ(complete, 0u);
  EXPECT_EQ(slot.block, nullptr);
  EXPECT_EQ(log.lines().back(), Exit(kGet));
  EXPECT_FALSE(log.contains(Trace(with(kGet, ": no buffer left to carry forward"))));
  release_message(st);
}

TEST(GetTokenizer, FailedGetInstanceDocuments) {
  struct Case {
    std::string doc;
    int code;
    std::string message;
  };
  const Case cases[] = {
      {"{\"GetInstStatus\":6,\"GetInstStatusMsg\":\"no such disk\",\"RequestType\":3}", 6,
       "<NULL>"},
      {"{\"GetInstStatus\":4,\"GetInstStatusMsg\":\"bad key\",\"RequestType\":3}", 4, "bad key"},
  };
  for (const Case &c : cases) {
    Slot slot;
    uint32_t complete = 0;
    CMPIInstance *result = nullptr;
    CMPIStatus st = CMUtilGETStringTokenize(frame(c.doc).c_str(), &result, &slot, &complete);
    EXPECT_EQ(status_code(st), c.code);
    EXPECT_EQ(message_of(st), c.message);
    EXPECT_EQ(result, nullptr);
    release_message(st);
  }
}

TEST(GetTokenizer, LaterInstanceInTheSameCallReplacesTheEarlier) {
  const std::string piece = frame(instance_doc(GETINST, 1)) + frame(instance_doc(GETINST, 2));
  Slot slot;
  uint32_t complete = 0;
  CMPIInstance *result = nullptr;
  CMPIStatus st = CMUtilGETStringTokenize(piece.c_str(), &result, &slot, &complete);
  EXPECT_EQ(status_code(st), 0);
  EXPECT_EQ(speed_of(result), 2);
  EXPECT_EQ(complete, 0u);
  CMRelease(result);
}

// ---- CMUtilGETClassStringTokenize ------------------------------------------------------------------

TEST(GetClassTokenizer, ClassAndCompletion) {
  const std::string doc = "{" + std::string(kFanClassMembers) + ",\"RequestType\":10}";
  const std::string piece = frame(doc) + kComplete;
  Slot slot;
  uint32_t complete = 0;
  CMPIConstClass *result = nullptr;
  CMPIStatus st = CMUtilGETClassStringTokenize(piece.c_str(), &result, &slot, &complete);
  EXPECT_EQ(status_code(st), 0);
  EXPECT_EQ(complete, 1u);
  ASSERT_NE(result, nullptr);
  EXPECT_EQ(class_text(result), "{" + std::string(kFanClassMembers) + "}");
  release_class(result);
}

TEST(GetClassTokenizer, CodeFourEndsTheCallWithTheCodeAsMessage) {
  const std::string piece =
      frame("{\"GetClassStatus\":4,\"GetClassStatusMsg\":\"bad\",\"RequestType\":10}") +
      kComplete;
  Slot slot;
  uint32_t complete = 0;
  CMPIConstClass *result = nullptr;
  CMPIStatus st = CMUtilGETClassStringTokenize(piece.c_str(), &result, &slot, &complete);
  EXPECT_EQ(status_code(st), 4);
  EXPECT_EQ(message_of(st), "4");
  EXPECT_EQ(result, nullptr);
  EXPECT_EQ(complete, 0u);
  EXPECT_EQ(slot.block, nullptr);
  release_message(st);
}

TEST(GetClassTokenizer, FrameWithoutClassIsKept) {
  const std::string doc = "{\"ClassName\":\"Demo_Fan\",\"RequestType\":10}";
  Slot slot;
  uint32_t complete = 0;
  CMPIConstClass *result = nullptr;
  LogCapture log;
  CMPIStatus st = CMUtilGETClassStringTokenize(frame(doc).c_str(), &result, &slot, &complete);
  EXPECT_EQ(status_code(st), 0);
  EXPECT_EQ(result, nullptr);
  EXPECT_EQ(slot.text(), frame(doc));
  EXPECT_TRUE(log.contains(Error(with(kGetClass, ": clone failed, skip this frame"))));
}

// ---- CMUtilSETStringTokenize and CMUtilCreateInstStringTokenize ----------------------------------

// Edge case: the set member does not know the completion frame; it is decoded like any frame.
TEST(SetTokenizer, CompletionFrameIsDecodedLikeAnyFrame) {
  Slot slot;
  CMPIStatus st = {CMPI_RC_ERR_FAILED, nullptr};
  LogCapture log;
  CMUtilSETStringTokenize(kComplete, &slot, &st);
  EXPECT_EQ(status_code(st), 0);
  EXPECT_EQ(slot.block, nullptr);
  EXPECT_THAT(log.lines(),
              ::testing::ElementsAreArray(concat(
                  {{Enter(kSet), Trace(with(kSet, ": received string to tokenize ") + kComplete),
                    Trace(with(kSet, ": tokenized stringCMPIOPERATION_COMPLETE"))},
                   unparsed("CMPIOPERATION_COMPLETE"),
                   {Trace(with(kSet, ": no buffer left to carry forward")), Exit(kSet)}})));
}

TEST(SetTokenizer, WorksWithoutAStatus) {
  Slot slot;
  CMUtilSETStringTokenize((frame(set_doc(3, "m")) + "CMPIERROR:5CMPI_EOF").c_str(), &slot,
                          nullptr);
  EXPECT_EQ(slot.block, nullptr);
}

TEST(CreateTokenizer, PathFrameWritesTheStatusAndReturnsTheCloneStatus) {
  const std::string doc =
      "{\"ClassName\":\"Demo_Fan\",\"NameSpace\":\"root/cimv2\",\"RequestType\":9,"
      "\"SetInstStatus\":11,\"SetInstStatusMsg\":\"exists\",\"key\":\"" +
      std::string(kFanKey) + "\"}";
  Slot slot;
  CMPIStatus written = {CMPI_RC_OK, nullptr};
  int unused = 0;
  CMPIStatus st = CMUtilCreateInstStringTokenize(frame(doc).c_str(), &unused, &slot, &written);
  EXPECT_EQ(status_code(st), 0);  // cloning the new path worked
  EXPECT_EQ(status_code(written), 11);
  EXPECT_EQ(message_of(written), "exists");
  EXPECT_EQ(slot.block, nullptr);
  release_message(written);
}

TEST(CreateTokenizer, CompletionFrameIsDecodedAndErrorFrameGoesToTheReturnedStatus) {
  Slot slot;
  CMPIStatus written = {CMPI_RC_ERR_FAILED, nullptr};
  LogCapture log;
  CMPIStatus st = CMUtilCreateInstStringTokenize(
      (std::string(kComplete) + "CMPIERROR:0x7CMPI_EOF").c_str(), nullptr, &slot, &written);
  EXPECT_EQ(status_code(st), 7);
  EXPECT_EQ(status_code(written), 0);  // the completion frame decoded to a record of type 0
  EXPECT_TRUE(log.contains(Error("ERROR: __deserializeResp#2427: 'Json parsing failed'")));
  EXPECT_FALSE(log.contains(Trace(with(kCreate, ": rc.rc 7"))));
}

TEST(CreateTokenizer, WorksWithoutAStatus) {
  Slot slot;
  CMPIStatus st = CMUtilCreateInstStringTokenize(
      frame("{\"RequestType\":9,\"SetInstStatus\":11,\"SetInstStatusMsg\":\"x\"}").c_str(),
      nullptr, &slot, nullptr);
  EXPECT_EQ(status_code(st), 0);
}

// ---- CMUtilInvokeStringTokenize ---------------------------------------------------------------

std::string method_doc() { return "{" + kMethodArgs + ",\"RequestType\":5,\"RetVal\":160}"; }

TEST(InvokeTokenizer, CopiesArgumentsAndRetType) {
  const std::string piece = frame(method_doc()) + kComplete;
  CMPIArgs *out = makeNewCMPIArgs(nullptr);
  uint32_t retType = 0;
  Slot slot;
  uint32_t complete = 0;
  LogCapture log;
  CMPIStatus st = CMUtilInvokeStringTokenize(piece.c_str(), out, &retType, &slot, &complete);
  EXPECT_EQ(status_code(st), 0);
  EXPECT_EQ(retType, 160u);
  EXPECT_EQ(complete, 1u);
  testing::internal::CaptureStdout();
  EXPECT_EQ(args_text(out), "{" + kMethodArgs + "}");
  testing::internal::GetCapturedStdout();
  EXPECT_TRUE(log.contains(Trace(with(kInvoke, " Resp Arg count 6 "))));
  CMRelease(out);
}

TEST(InvokeTokenizer, WithoutOutputArgumentsStillStoresRetType) {
  uint32_t retType = 0;
  Slot slot;
  uint32_t complete = 0;
  LogCapture log;
  CMPIStatus st = CMUtilInvokeStringTokenize(frame(method_doc()).c_str(), nullptr, &retType,
                                             &slot, &complete);
  EXPECT_EQ(status_code(st), 0);
  EXPECT_EQ(retType, 160u);
  EXPECT_FALSE(log.contains(Trace(with(kInvoke, " Resp Arg count 6 "))));
  // And without a place for the return type either.
  st = CMUtilInvokeStringTokenize(frame(method_doc()).c_str(), nullptr, nullptr, &slot,
                                  &complete);
  EXPECT_EQ(status_code(st), 0);
}

// A target that is not the object library's own argument list cannot take the copy.
TEST(InvokeTokenizer, FailedCopyIsLoggedAndDeliveryGoesOn) {
  CMPIArgs *out = makeNewCMPIArgs(nullptr);
  CMPIArgsFT table = *out->ft;
  CMPIArgsFT *real = out->ft;
  out->ft = &table;
  uint32_t retType = 0;
  Slot slot;
  uint32_t complete = 0;
  LogCapture log;
  CMPIStatus st = CMUtilInvokeStringTokenize(frame(method_doc()).c_str(), out, &retType, &slot,
                                             &complete);
  EXPECT_EQ(status_code(st), CMPI_RC_ERR_INVALID_HANDLE);
  EXPECT_EQ(retType, 160u);
  EXPECT_TRUE(ContainsInOrder(log.lines(), {Trace(with(kInvoke, " Resp Arg count 6 ")),
                                            Error(with(kInvoke, ": CMPIArgs copy failed")),
                                            Trace(with(kInvoke, ": no buffer left to carry "
                                                                "forward"))}));
  out->ft = real;
  CMRelease(out);
}

// ---- CMUtilEnumStringTokenize ------------------------------------------------------------------

// Edge case: an array that already holds 3 elements gets the first new one at index 3.
TEST(EnumTokenizer, AppendsAtTheArraysSize) {
  CMPIArray *array = makeNewCMPIArray(3, CMPI_instance, nullptr);
  const std::string doc = instance_doc(ENUMINST, 9);
  Slot slot;
  uint32_t complete = 0;
  LogCapture log;
  CMPIStatus st = CMUtilEnumStringTokenize(frame(doc).c_str(), array, &slot, &complete);
  EXPECT_EQ(status_code(st), 0);
  ASSERT_EQ(CMGetArrayCount(array, nullptr), 4u);
  CMPIData element = CMGetArrayElementAt(array, 3, nullptr);
  EXPECT_EQ(element.type, CMPI_instance);
  EXPECT_EQ(speed_of(element.value.inst), 9);
  cmpiReleaseCMPIValue(element.type, &element.value);
  EXPECT_TRUE(ContainsInOrder(log.lines(),
                              {Enter(kEnum), Trace(with(kEnum, ": array count for 3")),
                               Trace(with(kEnum, ": tokenized string") + doc),
                               Exit("deserializeResp"), Trace(" Response Type 1"),
                               Trace(with(kEnum, ": total count 4 and rc 0 : 4")),
                               Enter("releaseClientResponseData"),
                               Trace(with(kEnum, ": no buffer left to carry forward")),
                               Exit(kEnum)}));
  CMRelease(array);
}

// Edge case: a response of type 2 is stored as CMPI_ref, every other type as CMPI_instance.
TEST(EnumTokenizer, ObjectPathsAsReferencesAndEveryOtherTypeAsInstances) {
  CMPIArray *paths = makeNewCMPIArray(0, CMPI_ref, nullptr);
  Slot slot;
  uint32_t complete = 0;
  LogCapture log;
  CMPIStatus st =
      CMUtilEnumStringTokenize((frame(names_doc()) + kComplete).c_str(), paths, &slot, &complete);
  EXPECT_EQ(status_code(st), 0);
  EXPECT_EQ(complete, 1u);
  ASSERT_EQ(CMGetArrayCount(paths, nullptr), 1u);
  CMPIData element = CMGetArrayElementAt(paths, 0, nullptr);
  EXPECT_EQ(element.type, CMPI_ref);
  EXPECT_EQ(path_text(element.value.ref),
            "{\"ClassName\":\"Demo_Fan\",\"NameSpace\":\"root/cimv2\",\"key\":\"" +
                std::string(kFanKey) + "\"}");
  cmpiReleaseCMPIValue(element.type, &element.value);
  EXPECT_TRUE(ContainsInOrder(log.lines(), {Trace("'CMUtilEnumStringTokenize': CMGetKeyCount = '2'"),
                                            Trace(" Response Type 2"),
                                            Trace(with(kEnum, ": total count 1 and rc 0 : 1"))}));
  CMRelease(paths);

  CMPIArray *instances = makeNewCMPIArray(0, CMPI_instance, nullptr);
  for (int type : {ENUMINST, GETINST, ASSOCIATORS, EXECQUERY}) {
    CMUtilEnumStringTokenize(frame(instance_doc(type, type)).c_str(), instances, &slot, &complete);
  }
  ASSERT_EQ(CMGetArrayCount(instances, nullptr), 4u);
  for (CMPICount i = 0; i < 4; ++i) {
    CMPIData e = CMGetArrayElementAt(instances, i, nullptr);
    EXPECT_EQ(e.type, CMPI_instance);
    cmpiReleaseCMPIValue(e.type, &e.value);
  }
  CMRelease(instances);
}

// A failed append leaves the index where it was; the next element goes to the same index. The
// returned status: code 0 at the normal end, the last append's status at completion.
TEST(EnumTokenizer, FailedAppendKeepsTheIndex) {
  CMPIArray *array = makeNewCMPIArray(0, CMPI_instance, nullptr);
  const std::string piece = frame(names_doc()) + frame(instance_doc(ENUMINST, 1));
  Slot slot;
  uint32_t complete = 0;
  LogCapture log;
  CMPIStatus st = CMUtilEnumStringTokenize(piece.c_str(), array, &slot, &complete);
  EXPECT_EQ(status_code(st), 0);
  EXPECT_EQ(CMGetArrayCount(array, nullptr), 1u);
  EXPECT_TRUE(ContainsInOrder(log.lines(),
                              {Trace(with(kEnum, ": total count 0 and rc 13 : 0")),
                               Trace(with(kEnum, ": total count 1 and rc 0 : 1"))}));
  st = CMUtilEnumStringTokenize((frame(names_doc()) + kComplete).c_str(), array, &slot,
                                &complete);
  EXPECT_EQ(status_code(st), CMPI_RC_ERR_TYPE_MISMATCH);
  EXPECT_EQ(complete, 1u);
  CMRelease(array);
}

TEST(EnumTokenizer, CompletionWithoutFramesReturnsTheSizeStatus) {
  CMPIArray *array = makeNewCMPIArray(2, CMPI_instance, nullptr);
  Slot slot;
  uint32_t complete = 0;
  CMPIStatus st = CMUtilEnumStringTokenize(kComplete, array, &slot, &complete);
  EXPECT_EQ(status_code(st), 0);
  EXPECT_EQ(complete, 1u);
  CMRelease(array);
}

// An object-path response without a path: the key count reads 0, the frame is kept.
TEST(EnumTokenizer, ObjectPathResponseWithoutPathIsKept) {
  CMPIArray *array = makeNewCMPIArray(0, CMPI_ref, nullptr);
  const std::string piece = frame("{\"RequestType\":2}") + kComplete;
  Slot slot;
  uint32_t complete = 0;
  LogCapture log;
  CMPIStatus st = CMUtilEnumStringTokenize(piece.c_str(), array, &slot, &complete);
  EXPECT_EQ(status_code(st), 0);
  EXPECT_EQ(complete, 0u);
  EXPECT_EQ(slot.text(), piece);
  EXPECT_TRUE(ContainsInOrder(log.lines(),
                              {Trace("'CMUtilEnumStringTokenize': CMGetKeyCount = '0'"),
                               Error(with(kEnum, ": clone failed, skip this frame")),
                               Line(with(kEnum, ": buffer to be appended next cycle ") + piece +
                                        ":" + piece,
                                    2, 230)}));
  CMRelease(array);
}

TEST(EnumTokenizer, NoArray) {
  Slot slot;
  uint32_t complete = 0;
  CMPIStatus st = CMUtilEnumStringTokenize((frame(instance_doc(ENUMINST, 1)) + kComplete).c_str(),
                                           nullptr, &slot, &complete);
  EXPECT_EQ(status_code(st), CMPI_RC_ERR_INVALID_HANDLE);
  EXPECT_EQ(complete, 1u);
}

// ---- the error frame, in every member --------------------------------------------------------------

TEST(EveryTokenizer, ErrorFrameCodeGoesIntoTheStatus) {
  const std::string piece = "CMPIERROR:06CMPI_EOF" + frame(set_doc(1)) + "tail";
  Slot slot;
  uint32_t complete = 0;
  {
    CMPIStatus st = {CMPI_RC_OK, nullptr};
    CMUtilSETStringTokenize(piece.c_str(), &slot, &st);
    EXPECT_EQ(status_code(st), 6);
  }
  {
    CMPIInstance *inst = nullptr;
    EXPECT_EQ(status_code(CMUtilGETStringTokenize(piece.c_str(), &inst, &slot, &complete)), 6);
  }
  {
    CMPIConstClass *cls = nullptr;
    EXPECT_EQ(status_code(CMUtilGETClassStringTokenize(piece.c_str(), &cls, &slot, &complete)),
              6);
  }
  {
    CMPIStatus st = {CMPI_RC_OK, nullptr};
    EXPECT_EQ(status_code(CMUtilCreateInstStringTokenize(piece.c_str(), nullptr, &slot, &st)), 6);
    EXPECT_EQ(status_code(st), 0);
  }
  {
    uint32_t retType = 0;
    EXPECT_EQ(status_code(CMUtilInvokeStringTokenize(piece.c_str(), nullptr, &retType, &slot,
                                                     &complete)),
              6);
  }
  {
    CMPIArray *array = makeNewCMPIArray(0, CMPI_instance, nullptr);
    EXPECT_EQ(status_code(CMUtilEnumStringTokenize(piece.c_str(), array, &slot, &complete)), 6);
    CMRelease(array);
  }
  EXPECT_EQ(complete, 0u);
  EXPECT_EQ(slot.block, nullptr);
}

// ---- parseResponse -------------------------------------------------------------------------------

// Edge cases: success/done, failed/no such class, and "success" without separator.
TEST(ParseResponse, SplitsTheReplyInPlace) {
  char ok[] = "success/done";
  LogCapture log;
  EXPECT_EQ(parseResponse(ok), 0);
  EXPECT_STREQ(ok, "done");
  EXPECT_THAT(log.lines(), ElementsAre(Enter("parseResponse"), Exit("parseResponse")));

  char failed[] = "failed/no such class";
  EXPECT_EQ(parseResponse(failed), 1);
  EXPECT_STREQ(failed, "no such class");

  char alone[] = "success";
  EXPECT_EQ(parseResponse(alone), 1);
  EXPECT_STREQ(alone, "success");
}

TEST(ParseResponse, OtherShapes) {
  EXPECT_EQ(parseResponse(nullptr), 1);
  char empty[] = "";
  EXPECT_EQ(parseResponse(empty), 1);
  char nothing_behind[] = "success/";
  EXPECT_EQ(parseResponse(nothing_behind), 0);
  EXPECT_STREQ(nothing_behind, "");
  char two[] = "success/a/b";
  EXPECT_EQ(parseResponse(two), 0);
  EXPECT_STREQ(two, "a/b");
  char near[] = "Success/x";
  EXPECT_EQ(parseResponse(near), 1);
  EXPECT_STREQ(near, "x");
  char longer[] = "successful/x";
  EXPECT_EQ(parseResponse(longer), 1);
}

TEST(ParseResponse, MovesAtMost8192BytesWithTheNul) {
  std::string text = "success/" + std::string(9000, 'r');
  std::vector<char> buffer(text.begin(), text.end());
  buffer.push_back('\0');
  EXPECT_EQ(parseResponse(buffer.data()), 0);
  EXPECT_EQ(strlen(buffer.data()), 8191u);
}

}  // namespace
