// The read loop of every answer, driven by canned pieces: where each operation's answer ends,
// what it hands back, and how a broken or failed answer is reported.
#include <cmpiutility/records.h>
#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "answer_reader.h"
#include "cli_error.h"
#include "cmpi_build.h"
#include "operations.h"
#include "output.h"
#include "piece_source.h"
#include "value_text.h"

namespace {

using cli::Answer;
using cli::OwnedData;

// Plays back pieces; a piece equal to kTimeout throws TimeoutError instead. After the last piece
// the peer closes (or, with silent_at_end, stays silent: TimeoutError).
const char kTimeout[] = "<timeout>";

class CannedPieces : public cli::PieceSource {
 public:
  explicit CannedPieces(std::vector<std::string> pieces, bool silent_at_end = false)
      : pieces_(std::move(pieces)), silent_at_end_(silent_at_end) {}

  bool receive(const char **piece) override {
    ++calls_;
    if (next_ == pieces_.size()) {
      if (silent_at_end_) throw cli::TimeoutError("silent");
      return false;
    }
    const std::string &current = pieces_[next_++];
    if (current == kTimeout) throw cli::TimeoutError("silent");
    *piece = current.c_str();
    return true;
  }
  int calls() const { return calls_; }
  std::size_t unread() const { return pieces_.size() - next_; }

 private:
  std::vector<std::string> pieces_;
  bool silent_at_end_;
  std::size_t next_ = 0;
  int calls_ = 0;
};

// Splits text into pieces of at most size characters.
std::vector<std::string> chopped(const std::string &text, std::size_t size) {
  std::vector<std::string> pieces;
  for (std::size_t at = 0; at < text.size(); at += size) pieces.push_back(text.substr(at, size));
  return pieces;
}

const wire::Operation &op(int type) { return *wire::find_operation(type); }

// An Output writing text into strings.
struct Sink {
  std::ostringstream text;
  std::ostringstream err;
  cli::Output out;
  explicit Sink(bool json = false) : out(text, err, json, false) {}
};

std::string string_property(const CMPIInstance *inst, const char *name) {
  CMPIStatus st = {CMPI_RC_OK, nullptr};
  OwnedData d(CMGetProperty(inst, name, &st));
  EXPECT_EQ(st.rc, CMPI_RC_OK) << name;
  EXPECT_EQ(d.type(), CMPI_string) << name;
  return d.is_null() ? std::string("<null>") : cli::text_of(d.value().string);
}

const char kComplete[] = "CMPIOPERATION_COMPLETECMPI_EOF";

const char kChassisFrame[] =
    "{\"ClassName\":\"Demo_Chassis\",\"InstanceProps\":{\"Model\":{\"DataState\":0,\"DataType\":"
    "5632,\"Value\":\"DM-100\"},\"Tag\":{\"DataState\":0,\"DataType\":5632,\"Value\":"
    "\"chassis0\"}},\"NameSpace\":\"root/cimv2\",\"RequestType\":3}CMPI_EOF";

const char kFanPathsAnswer[] =
    "{\"ClassName\":\"Demo_Fan\",\"NameSpace\":\"root/cimv2\",\"RequestType\":2,\"key\":"
    "\"DeviceID=fan0,SystemName=bmc0,\"}CMPI_EOF{\"ClassName\":\"Demo_Fan\",\"NameSpace\":"
    "\"root/cimv2\",\"RequestType\":2,\"key\":\"DeviceID=fan1,SystemName=bmc0,\"}CMPI_EOF"
    "CMPIOPERATION_COMPLETECMPI_EOF";

const char kFanPathsText[] =
    "root/cimv2:Demo_Fan.DeviceID=\"fan0\",SystemName=\"bmc0\"\n"
    "root/cimv2:Demo_Fan.DeviceID=\"fan1\",SystemName=\"bmc0\"\n";

// ---- answers that end with the completion frame ----------------------------------------------

TEST(AnswerReader, GetInstanceFromOnePiece) {
  CannedPieces source({std::string(kChassisFrame) + kComplete});
  Sink sink;
  Answer answer = cli::read_answer(source, op(GETINST), sink.out);
  ASSERT_TRUE(answer.instance);
  EXPECT_EQ(string_property(answer.instance.get(), "Model"), "DM-100");
  EXPECT_EQ(string_property(answer.instance.get(), "Tag"), "chassis0");
  EXPECT_EQ(answer.status.code, CMPI_RC_OK);
  EXPECT_EQ(source.calls(), 1);
  EXPECT_EQ(sink.text.str(), "");
}

TEST(AnswerReader, PiecesMayEndAnywhereEvenInsideTheTerminator) {
  const std::string whole = std::string(kChassisFrame) + kComplete;
  for (std::size_t size : {1u, 3u, 7u, 8u, 9u, 64u}) {
    CannedPieces source(chopped(whole, size));
    Sink sink;
    Answer answer = cli::read_answer(source, op(GETINST), sink.out);
    ASSERT_TRUE(answer.instance) << size;
    EXPECT_EQ(string_property(answer.instance.get(), "Tag"), "chassis0") << size;
    // The loop stops at the completion frame: no piece is left, none asked for beyond it.
    EXPECT_EQ(source.unread(), 0u) << size;
  }
}

TEST(AnswerReader, EnumerationStreamsEveryResultToTheOutput) {
  CannedPieces source(chopped(kFanPathsAnswer, 50));
  Sink sink;
  Answer answer = cli::read_answer(source, op(ENUMINSTNAMES), sink.out);
  EXPECT_EQ(sink.text.str(), kFanPathsText);
  EXPECT_EQ(sink.out.count(), 2u);
  EXPECT_EQ(answer.status.code, CMPI_RC_OK);
  EXPECT_FALSE(answer.instance);
}

TEST(AnswerReader, EnumerationOfInstancesSeparatesThemWithABlankLine) {
  std::string frame(kChassisFrame);
  frame.replace(frame.find("\"RequestType\":3"), 15, "\"RequestType\":1");
  CannedPieces source({frame, frame + kComplete});
  Sink sink;
  cli::read_answer(source, op(ENUMINST), sink.out);
  const std::string one =
      "instance of Demo_Chassis {\n    Model = \"DM-100\";\n    Tag = \"chassis0\";\n};\n";
  EXPECT_EQ(sink.text.str(), one + "\n" + one);
}

TEST(AnswerReader, ResultsBeforeAnErrorFrameAreKept) {
  std::string answer_text(kFanPathsAnswer);
  answer_text.replace(answer_text.rfind(kComplete), std::string::npos, "CMPIERROR:1CMPI_EOF");
  CannedPieces source({answer_text});
  Sink sink;
  try {
    cli::read_answer(source, op(ENUMINSTNAMES), sink.out);
    FAIL() << "no error";
  } catch (const cli::CimError &e) {
    EXPECT_EQ(e.code(), CMPI_RC_ERR_FAILED);
  }
  EXPECT_EQ(sink.text.str(), kFanPathsText);
}

TEST(AnswerReader, TheResultListStartsBeforeTheFirstRead) {
  // A --json enumeration that times out still shows its (empty) list beside the error.
  CannedPieces source({kTimeout});
  Sink sink(true);
  EXPECT_THROW(cli::read_answer(source, op(ENUMINSTNAMES), sink.out), cli::TimeoutError);
  sink.out.finish();
  EXPECT_NE(sink.text.str().find("\"paths\" : []"), std::string::npos) << sink.text.str();
}

TEST(AnswerReader, CloseBeforeTheCompletionFrameIsAConnectionError) {
  for (int type : {ENUMINST, GETINST, INVOKEMETHOD, GETCLASS}) {
    CannedPieces source({kChassisFrame});
    Sink sink;
    try {
      cli::read_answer(source, op(type), sink.out);
      ADD_FAILURE() << "no error for type " << type;
    } catch (const cli::ConnectionError &e) {
      EXPECT_STREQ(e.what(), "the daemon closed the connection before the answer was complete")
          << type;
    }
  }
}

TEST(AnswerReader, GetInstanceStatusFrameIsACimError) {
  CannedPieces source(
      {std::string("{\"GetInstStatus\":4,\"GetInstStatusMsg\":\"bad key\",\"RequestType\":3}"
                   "CMPI_EOF") +
       kComplete});
  Sink sink;
  try {
    cli::read_answer(source, op(GETINST), sink.out);
    FAIL() << "no error";
  } catch (const cli::CimError &e) {
    EXPECT_EQ(e.code(), CMPI_RC_ERR_INVALID_PARAMETER);
    EXPECT_STREQ(e.what(), "bad key");
  }
}

TEST(AnswerReader, CompletionWithoutTheObjectIsNotFound) {
  for (int type : {GETINST, GETCLASS}) {
    CannedPieces source({kComplete});
    Sink sink;
    try {
      cli::read_answer(source, op(type), sink.out);
      ADD_FAILURE() << "no error for type " << type;
    } catch (const cli::CimError &e) {
      EXPECT_EQ(e.code(), CMPI_RC_ERR_NOT_FOUND);
      EXPECT_STREQ(e.what(), type == GETINST ? "the daemon returned no instance"
                                             : "the daemon returned no class");
    }
  }
}

TEST(AnswerReader, GetClassHandsBackTheClass) {
  CannedPieces source(
      {"{\"ClassName\":\"Demo_Chassis\",\"MethodList\":{},\"MethodParamList\":{},\"NameSpace\":"
       "\"root/cimv2\",\"PropList\":{\"Value\":[\"Tag\",\"Model\"]},\"RequestType\":10}CMPI_EOF",
       kComplete});
  Sink sink;
  Answer answer = cli::read_answer(source, op(GETCLASS), sink.out);
  ASSERT_TRUE(answer.cls);
  EXPECT_EQ(cli::class_text(cli::read_class(answer.cls.get())),
            "class Demo_Chassis {\n    property Tag;\n    property Model;\n};\n");
}

TEST(AnswerReader, MethodAnswerHandsBackTheArgumentsAndTheReturnType) {
  CannedPieces source(chopped(
      "{\"ArgsIn\":{\"PreviousSpeed\":{\"DataType\":160,\"Value\":2400},\"__ReturnValue\":{"
      "\"DataType\":160,\"Value\":1}},\"RequestType\":5,\"RetVal\":160}CMPI_EOF"
      "CMPIOPERATION_COMPLETECMPI_EOF",
      20));
  Sink sink;
  Answer answer = cli::read_answer(source, op(INVOKEMETHOD), sink.out);
  ASSERT_TRUE(answer.out);
  EXPECT_EQ(answer.return_type, 160u);
  EXPECT_EQ(cli::args_text(answer.out.get(), "__ReturnValue"), "PreviousSpeed = 2400;\n");
  EXPECT_EQ(CMGetArgCount(answer.out.get(), nullptr), 2u);
}

TEST(AnswerReader, EveryOperationTakesAnErrorFrameAsItsCode) {
  int count = 0;
  const wire::Operation *all = wire::all_operations(&count);
  for (int i = 0; i < count; ++i) {
    CannedPieces source({"CMPIERROR:", "15CMPI_EOF"});
    Sink sink;
    try {
      cli::read_answer(source, all[i], sink.out);
      ADD_FAILURE() << "no error for " << all[i].name;
    } catch (const cli::CimError &e) {
      EXPECT_EQ(e.code(), CMPI_RC_ERR_INVALID_QUERY) << all[i].name;
    }
  }
}

TEST(AnswerReader, UndecodableFrameIsAConnectionError) {
  CannedPieces source({"{\"RequestType\":-1}CMPI_EOF"});
  Sink sink;
  try {
    cli::read_answer(source, op(ENUMINST), sink.out);
    FAIL() << "no error";
  } catch (const cli::ConnectionError &e) {
    EXPECT_EQ(std::string(e.what()).rfind("the answer could not be decoded: ", 0), 0u)
        << e.what();
  }
}

// ---- answers that end when the daemon closes -------------------------------------------------

const char kSetOk[] = "{\"RequestType\":4,\"SetInstStatus\":0,\"SetInstStatusMsg\":null}CMPI_EOF";

TEST(AnswerReader, SetStatusThenClose) {
  CannedPieces source({kSetOk});
  Sink sink;
  Answer answer = cli::read_answer(source, op(MODIFYINST), sink.out);
  EXPECT_EQ(answer.status.code, CMPI_RC_OK);
  EXPECT_EQ(answer.status.message, "");
  // It read on to the close.
  EXPECT_EQ(source.calls(), 2);
}

TEST(AnswerReader, SetStatusWithACodeIsACimErrorWithItsMessage) {
  CannedPieces source(chopped(
      "{\"RequestType\":8,\"SetInstStatus\":6,\"SetInstStatusMsg\":\"Demo_Chassis Tag=\\\"x\\\" "
      "does not exist\"}CMPI_EOF",
      13));
  Sink sink;
  try {
    cli::read_answer(source, op(DELETEINST), sink.out);
    FAIL() << "no error";
  } catch (const cli::CimError &e) {
    EXPECT_EQ(e.code(), CMPI_RC_ERR_NOT_FOUND);
    EXPECT_STREQ(e.what(), "Demo_Chassis Tag=\"x\" does not exist");
  }
}

TEST(AnswerReader, TheStatusOfThePieceWhereTheFrameEndsStands) {
  // The terminator is split over two pieces; the second piece, which ends it, carries the status.
  const std::string frame = kSetOk;
  CannedPieces source({frame.substr(0, frame.size() - 3), frame.substr(frame.size() - 3)});
  Sink sink;
  EXPECT_EQ(cli::read_answer(source, op(MODIFYINST), sink.out).status.code, CMPI_RC_OK);
}

TEST(AnswerReader, SilenceAfterTheFrameEndsTheAnswer) {
  CannedPieces source({kSetOk}, true);
  Sink sink;
  EXPECT_EQ(cli::read_answer(source, op(MODIFYINST), sink.out).status.code, CMPI_RC_OK);
}

TEST(AnswerReader, SilenceBeforeAnyFrameIsATimeout) {
  std::string part = kSetOk;
  part.resize(part.size() - 8);
  CannedPieces source({part}, true);
  Sink sink;
  EXPECT_THROW(cli::read_answer(source, op(MODIFYINST), sink.out), cli::TimeoutError);
}

TEST(AnswerReader, CloseWithoutAFrameIsAConnectionError) {
  for (int type : {MODIFYINST, DELETEINST, CREATEINST}) {
    CannedPieces source({});
    Sink sink;
    try {
      cli::read_answer(source, op(type), sink.out);
      ADD_FAILURE() << "no error for type " << type;
    } catch (const cli::ConnectionError &e) {
      EXPECT_STREQ(e.what(), "the daemon closed the connection without an answer") << type;
    }
  }
}

TEST(AnswerReader, CreateStatusAndItsErrorFrame) {
  CannedPieces created(
      {"{\"ClassName\":\"Demo_Chassis\",\"NameSpace\":\"root/cimv2\",\"RequestType\":9,"
       "\"SetInstStatus\":0,\"SetInstStatusMsg\":null,\"key\":\"Tag=c1,\"}CMPI_EOF"});
  Sink sink;
  EXPECT_EQ(cli::read_answer(created, op(CREATEINST), sink.out).status.code, CMPI_RC_OK);
  CannedPieces refused({"{\"RequestType\":9,\"SetInstStatus\":11,\"SetInstStatusMsg\":\"exists\"}"
                        "CMPI_EOF"});
  try {
    cli::read_answer(refused, op(CREATEINST), sink.out);
    FAIL() << "no error";
  } catch (const cli::CimError &e) {
    EXPECT_EQ(e.code(), CMPI_RC_ERR_ALREADY_EXISTS);
    EXPECT_STREQ(e.what(), "exists");
  }
}

// ---- guarded frames ----------------------------------------------------------------------------

TEST(AnswerReader, AnEscapedTerminatorInsideAValueReadsBackAsTheText) {
  // A sender writes the terminator inside a string as "CMPI\u005fEOF"; the frame still ends only
  // at its real terminator, and the value arrives as written.
  std::string frame(kChassisFrame);
  frame.replace(frame.find("DM-100"), 6, "xCMPI\\u005fEOFCMPIOPERATION_COMPLETECMPI\\u005fEOF");
  for (std::size_t size : {5u, 4096u}) {
    CannedPieces source(chopped(frame + kComplete, size));
    Sink sink;
    Answer answer = cli::read_answer(source, op(GETINST), sink.out);
    ASSERT_TRUE(answer.instance);
    EXPECT_EQ(string_property(answer.instance.get(), "Model"),
              "xCMPI_EOFCMPIOPERATION_COMPLETECMPI_EOF");
  }
  CannedPieces status({"{\"RequestType\":8,\"SetInstStatus\":6,\"SetInstStatusMsg\":\"no "
                       "CMPI\\u005fEOF here\"}CMPI_EOF"});
  Sink sink;
  try {
    cli::read_answer(status, op(DELETEINST), sink.out);
    FAIL() << "no error";
  } catch (const cli::CimError &e) {
    EXPECT_EQ(e.code(), CMPI_RC_ERR_NOT_FOUND);
    EXPECT_STREQ(e.what(), "no CMPI_EOF here");
  }
}

}  // namespace
