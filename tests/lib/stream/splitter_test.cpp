// The frame splitter shared by the six tokenizers: every case of splitting, carrying over and the
// control frames, with exact log lines (seen through CMUtilSETStringTokenize, the member with
// the simplest delivery, and CMUtilEnumStringTokenize where the wording differs); the frame that
// is not consumed; allocation failures; and the work it does, counted.
#include <cmpimacs.h>
#include <cmpiutility/stream.h>
#include <json/json.h>
#include <malloc.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "fault_injection.h"
#include "log_capture.h"
#include "response/response_codec.h"
#include "stream/frame_splitter.h"
#include "stream_helpers.h"

namespace {

using namespace cmpitest;
using namespace streamtest;
using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using cmpiutility::status_code;

constexpr char kSet[] = "CMUtilSETStringTokenize";
constexpr char kEnum[] = "CMUtilEnumStringTokenize";

LogLine tokenize(const char *op, const std::string &text) {
  return Trace(std::string(op) + ": received string to tokenize " + text);
}
LogLine tokenized(const char *op, const std::string &text) {
  return Trace(std::string(op) + ": tokenized string" + text);
}
LogLine present(const char *op, const std::string &tail) {
  return Trace(std::string(op) + ": buffer from last read data is present: " + tail);
}
LogLine carried(const char *op, const std::string &tail, int level = 4) {
  return Line(std::string(op) + ": buffer to be appended next cycle " + tail + ":" + tail, level,
              230);
}
LogLine nothing_left(const char *op) {
  return Trace(std::string(op) + ": no buffer left to carry forward");
}

// A status as the SET member leaves it, with the message it was given released.
struct SetStatus {
  CMPIStatus status = {CMPI_RC_OK, nullptr};
  ~SetStatus() {
    if (status.msg != nullptr) CMRelease(status.msg);
  }
  int code() const { return status_code(status); }
  std::string message() const {
    return status.msg != nullptr ? CMGetCharPtr(status.msg) : "<NULL>";
  }
};

// ---- pieces that end inside a frame --------------------------------------------------------------

// Edge case: a piece that ends in the middle of a frame leaves exactly that text in the slot; the
// next call completes it.
TEST(Splitter, PieceEndingInsideAFrameIsCarriedAndCompletedByTheNextCall) {
  const std::string doc = set_doc(3);
  const std::string first = doc.substr(0, 10), second = doc.substr(10) + kEof;
  Slot slot;
  SetStatus st;
  LogCapture log;
  CMUtilSETStringTokenize(first.c_str(), &slot, &st.status);
  EXPECT_EQ(slot.text(), first);
  EXPECT_THAT(log.lines(), ElementsAre(Enter(kSet), tokenize(kSet, first), carried(kSet, first),
                                       Exit(kSet)));
  EXPECT_EQ(st.code(), 0);
  log.clear();
  CMUtilSETStringTokenize(second.c_str(), &slot, &st.status);
  EXPECT_EQ(slot.block, nullptr);
  EXPECT_EQ(st.code(), 3);
  EXPECT_THAT(log.lines(),
              ElementsAreArray(concat({{Enter(kSet), present(kSet, first),
                                        tokenize(kSet, first + second), tokenized(kSet, doc)},
                                       decoded(doc, 3),
                                       {nothing_left(kSet), Exit(kSet)}})));
}

// Edge case: a piece that ends inside the terminator (its first six characters) leaves the
// unterminated text, those six characters included.
TEST(Splitter, PieceEndingInsideTheTerminatorIsCarried) {
  const std::string doc = set_doc(5);
  const std::string first = doc + "CMPI_E";
  Slot slot;
  SetStatus st;
  CMUtilSETStringTokenize(first.c_str(), &slot, &st.status);
  EXPECT_EQ(slot.text(), first);
  EXPECT_EQ(st.code(), 0);
  LogCapture log;
  CMUtilSETStringTokenize("OF", &slot, &st.status);
  EXPECT_EQ(slot.block, nullptr);
  EXPECT_EQ(st.code(), 5);
  EXPECT_TRUE(ContainsInOrder(log.lines(), {present(kSet, first), tokenize(kSet, first + "OF"),
                                            tokenized(kSet, doc), nothing_left(kSet)}));
}

// Every cut of the terminator, one byte at a time, in as many calls as there are bytes.
TEST(Splitter, FrameFedOneByteAtATime) {
  const std::string stream = frame(set_doc(7)) + frame(set_doc(9)) + "{\"Req";
  Slot slot;
  SetStatus st;
  std::vector<int> codes;
  for (size_t i = 0; i < stream.size(); ++i) {
    const std::string piece(1, stream[i]);
    CMUtilSETStringTokenize(piece.c_str(), &slot, &st.status);
    if (codes.empty() || codes.back() != st.code()) codes.push_back(st.code());
  }
  EXPECT_EQ(codes, (std::vector<int>{0, 7, 9}));
  EXPECT_EQ(slot.text(), "{\"Req");
}

// Frames full of underscores and near-misses of the terminator, cut into two pieces at every
// byte: each frame is found once, in order, whatever the cut (the splitter looks for the
// terminator's underscore first).
TEST(Splitter, UnderscoresAndNearMissesAroundEveryCut) {
  const std::vector<std::pair<int, std::string>> frames = {
      {4, frame(set_doc(4, "_CMPI_EO_F__CMPI_ EOF_"))},
      {5, frame(set_doc(5, "CMPIEOF _EOF CMPI__EOF C_MPI_EOF_"))},
      {6, frame(set_doc(6, "_"))},
      {7, frame(set_doc(7))}};
  std::string stream;
  for (const auto &f : frames) stream += f.second;
  for (size_t cut = 0; cut <= stream.size(); ++cut) {
    // The code of the last frame that ends within the first piece (0: none does).
    int first_expected = 0;
    size_t end = 0;
    for (const auto &f : frames) {
      end += f.second.size();
      if (end <= cut) first_expected = f.first;
    }
    Slot slot;
    std::vector<int> codes;
    for (const std::string &piece : {stream.substr(0, cut), stream.substr(cut)}) {
      SetStatus st;  // each call's status is the caller's, its message too
      CMUtilSETStringTokenize(piece.c_str(), &slot, &st.status);
      codes.push_back(st.code());
    }
    // The second call ends with the last frame, unless the first piece held it whole (then
    // the second finds nothing and leaves its status alone).
    const int second_expected = cut < stream.size() ? 7 : 0;
    EXPECT_EQ(codes, (std::vector<int>{first_expected, second_expected})) << cut;
    EXPECT_EQ(slot.text(), "<NULL>") << cut;  // nothing left over
  }
}

// ---- several frames, empty frames, empty pieces ---------------------------------------------------

// Edge case: several complete frames in one piece are delivered in order within one call.
TEST(Splitter, SeveralFramesInOnePieceAreDeliveredInOrder) {
  const std::string piece = frame(set_doc(1)) + frame(set_doc(2, "two")) + frame(set_doc(3)) +
                            "{\"RequestType\"";
  Slot slot;
  SetStatus st;
  LogCapture log;
  CMUtilSETStringTokenize(piece.c_str(), &slot, &st.status);
  EXPECT_EQ(st.code(), 3);
  EXPECT_EQ(st.message(), "<NULL>");  // the last frame's status stands
  EXPECT_EQ(slot.text(), "{\"RequestType\"");
  EXPECT_THAT(log.lines(),
              ElementsAreArray(concat({{Enter(kSet), tokenize(kSet, piece),
                                        tokenized(kSet, set_doc(1))},
                                       decoded(set_doc(1), 1),
                                       {tokenized(kSet, set_doc(2, "two"))},
                                       decoded(set_doc(2, "two"), 2, true),
                                       {tokenized(kSet, set_doc(3))},
                                       decoded(set_doc(3), 3),
                                       {carried(kSet, "{\"RequestType\""), Exit(kSet)}})));
}

// Edge case: a piece holding only the terminator yields an empty frame for deserializeResp.
TEST(Splitter, TerminatorAloneIsAnEmptyFrame) {
  Slot slot;
  SetStatus st;
  st.status.rc = CMPI_RC_ERR_FAILED;
  LogCapture log;
  CMUtilSETStringTokenize(kEof, &slot, &st.status);
  EXPECT_EQ(st.code(), 0);  // the empty frame decodes to a record of type 0, status 0
  EXPECT_EQ(slot.block, nullptr);
  EXPECT_THAT(log.lines(), ElementsAreArray(concat({{Enter(kSet), tokenize(kSet, kEof),
                                                     tokenized(kSet, "")},
                                                    unparsed(""),
                                                    {nothing_left(kSet), Exit(kSet)}})));
}

// Edge case: an empty carry-over block is freed silently and the slot becomes NULL.
TEST(Splitter, EmptyCarryOverBlockIsFreedSilently) {
  Slot slot;
  slot.block = static_cast<char *>(calloc(1, 16));
  SetStatus st;
  LogCapture log;
  CMUtilSETStringTokenize("", &slot, &st.status);
  EXPECT_EQ(slot.block, nullptr);
  EXPECT_THAT(log.lines(),
              ElementsAre(Enter(kSet), tokenize(kSet, ""), nothing_left(kSet), Exit(kSet)));
}

// Edge case: an empty piece with an empty slot delivers nothing.
TEST(Splitter, EmptyPieceWithEmptySlotDeliversNothing) {
  Slot slot;
  SetStatus st;
  st.status.rc = CMPI_RC_ERR_NOT_FOUND;
  LogCapture log;
  CMUtilSETStringTokenize("", &slot, &st.status);
  EXPECT_EQ(st.code(), CMPI_RC_ERR_NOT_FOUND);
  EXPECT_EQ(slot.block, nullptr);
  EXPECT_THAT(log.lines(),
              ElementsAre(Enter(kSet), tokenize(kSet, ""), nothing_left(kSet), Exit(kSet)));
}

TEST(Splitter, NoPieceReadsAsAnEmptyOne) {
  Slot slot;
  SetStatus st;
  CMUtilSETStringTokenize(nullptr, &slot, &st.status);
  EXPECT_EQ(slot.block, nullptr);
}

// A tail in a block the caller made (no record of its length) is measured and searched whole.
TEST(Splitter, TailInABlockTheCallerMadeIsUsedAsItIs) {
  const std::string doc = set_doc(4);
  Slot slot;
  slot.block = strdup((doc + "CMPI_").c_str());
  SetStatus st;
  CMUtilSETStringTokenize("EOF", &slot, &st.status);
  EXPECT_EQ(st.code(), 4);
  EXPECT_EQ(slot.block, nullptr);
}

// The tail is written at the start of the block, as a plain string the caller may read.
TEST(Splitter, CarriedTailIsAPlainStringAtTheStartOfTheBlock) {
  const std::string piece = frame(set_doc(1)) + frame(set_doc(2)) + "{\"Requ";
  Slot slot;
  SetStatus st;
  CMUtilSETStringTokenize(piece.c_str(), &slot, &st.status);
  ASSERT_NE(slot.block, nullptr);
  EXPECT_STREQ(slot.block, "{\"Requ");
  // Appended in place, the tail grows; the block holds it from its start each time.
  for (int i = 0; i < 100; ++i) {
    CMUtilSETStringTokenize("x", &slot, &st.status);
    EXPECT_EQ(strlen(slot.block), 6u + i + 1);
  }
  EXPECT_GE(malloc_usable_size(slot.block), strlen(slot.block) + 1);
}

// ---- control frames --------------------------------------------------------------------------

struct ErrorCode {
  std::string frame;
  std::string code_text;
  int code;
};

class ErrorFrame : public ::testing::TestWithParam<ErrorCode> {};

// Edge cases: "CMPIERROR:6" gives 6, "CMPIERROR 0x10" 16, "CMPIERRORx" 0; octal too. Frames
// behind the error frame are never delivered, and nothing is carried over.
TEST_P(ErrorFrame, EndsTheCallWithItsCode) {
  const ErrorCode e = GetParam();
  const std::string piece = frame(set_doc(1)) + frame(e.frame) + frame(set_doc(2)) + "{\"Re";
  Slot slot;
  slot.block = strdup("");
  SetStatus st;
  LogCapture log;
  CMUtilSETStringTokenize(piece.c_str(), &slot, &st.status);
  EXPECT_EQ(st.code(), e.code);
  EXPECT_EQ(slot.block, nullptr);
  EXPECT_THAT(log.lines(),
              ElementsAreArray(concat({{Enter(kSet), tokenize(kSet, piece),
                                        tokenized(kSet, set_doc(1))},
                                       decoded(set_doc(1), 1),
                                       {tokenized(kSet, e.frame),
                                        Trace(std::string(kSet) + ": tokenized string " +
                                              e.code_text),
                                        Trace(std::string(kSet) + ": rc.rc " +
                                              std::to_string(e.code)),
                                        Exit(kSet)}})));
}

INSTANTIATE_TEST_SUITE_P(
    DecimalHexOctalAndNone, ErrorFrame,
    ::testing::Values(ErrorCode{"CMPIERROR:6", "6", 6}, ErrorCode{"CMPIERROR 0x10", "0x10", 16},
                      ErrorCode{"CMPIERROR:010", "010", 8}, ErrorCode{"CMPIERRORx", "", 0},
                      ErrorCode{"CMPIERROR:12 trailing text", "12 trailing text", 12},
                      ErrorCode{"CMPIERROR:-1", "-1", -1},
                      ErrorCode{"CMPIERROR:0x1ffffffff", "0x1ffffffff", -1},
                      // Without separator and code: nothing stands behind the token, so 0.
                      ErrorCode{"CMPIERROR", "", 0}));

// The error frame may itself arrive in pieces, and its carried tail starts inside the token.
TEST(Splitter, ErrorFrameAcrossPieces) {
  Slot slot;
  SetStatus st;
  CMUtilSETStringTokenize("CMPIERR", &slot, &st.status);
  EXPECT_EQ(slot.text(), "CMPIERR");
  CMUtilSETStringTokenize("OR:11CMPI_", &slot, &st.status);
  EXPECT_EQ(slot.text(), "CMPIERROR:11CMPI_");
  CMUtilSETStringTokenize("EOF{\"RequestType\":8}CMPI_EOF", &slot, &st.status);
  EXPECT_EQ(st.code(), 11);
  EXPECT_EQ(slot.block, nullptr);
}

// Edge case (members that know it): frames behind the completion frame are never delivered and
// nothing is carried over; the enumeration member writes its carry line at level 2.
TEST(Splitter, CompletionFrameEndsTheCallAndDropsTheRest) {
  CMPIArray *array = makeNewCMPIArray(0, CMPI_instance, nullptr);
  const std::string piece = std::string("CMPIOPERATION_COMPLETE and moreCMPI_EOF") +
                            "{\"ClassName\":\"A\",\"NameSpace\":\"n\",\"RequestType\":1}" + kEof +
                            "tail";
  Slot slot;
  uint32_t complete = 0;
  LogCapture log;
  const CMPIStatus st = CMUtilEnumStringTokenize(piece.c_str(), array, &slot, &complete);
  EXPECT_EQ(status_code(st), 0);
  EXPECT_EQ(complete, 1u);
  EXPECT_EQ(slot.block, nullptr);
  EXPECT_EQ(CMGetArrayCount(array, nullptr), 0u);
  EXPECT_THAT(log.lines(),
              ElementsAre(Enter(kEnum), Trace(std::string(kEnum) + ": array count for 0"),
                          tokenize(kEnum, piece),
                          tokenized(kEnum, "CMPIOPERATION_COMPLETE and more"),
                          Trace(std::string(kEnum) + ": tokenized string " +
                                "CMPIOPERATION_COMPLETE and more"),
                          Exit(kEnum)));
  CMRelease(array);
}

TEST(Splitter, EnumerationWritesItsCarryLineAtLevelTwo) {
  CMPIArray *array = makeNewCMPIArray(0, CMPI_instance, nullptr);
  Slot slot;
  uint32_t complete = 0;
  LogCapture log;
  CMUtilEnumStringTokenize("{\"Requ", array, &slot, &complete);
  EXPECT_EQ(slot.text(), "{\"Requ");
  EXPECT_THAT(log.lines(),
              ElementsAre(Enter(kEnum), Trace(std::string(kEnum) + ": array count for 0"),
                          tokenize(kEnum, "{\"Requ"), carried(kEnum, "{\"Requ", 2), Exit(kEnum)));
  EXPECT_EQ(complete, 0u);
  CMRelease(array);
}

// ---- frames that are not consumed ---------------------------------------------------------------

// A frame that deserializeResp cannot turn into a record (here: no memory for the record) is
// logged once and carried forward, with everything behind it; the call does not look at it
// again. The next call starts with it.
TEST(Splitter, FrameThatDoesNotDecodeIsCarriedForwardNotRescanned) {
  const std::string rest = frame(set_doc(2)) + "{\"Re";
  const std::string piece = frame(set_doc(1)) + rest;
  Slot slot;
  SetStatus st;
  LogCapture log;
  {
    FailingAllocation failing(Allocation::Calloc, 1);
    CMUtilSETStringTokenize(piece.c_str(), &slot, &st.status);
    EXPECT_EQ(failing.calls(Allocation::Calloc), 1);  // decoded once, not again
  }
  EXPECT_EQ(st.code(), 0);
  EXPECT_EQ(slot.text(), piece);
  EXPECT_THAT(log.lines(),
              ElementsAre(Enter(kSet), tokenize(kSet, piece), tokenized(kSet, set_doc(1)),
                          Enter("deserializeResp"), received(set_doc(1)),
                          Error("ERROR: __deserializeResp#2422: 'Memory allocation failed'"),
                          Exit("deserializeResp"),
                          Trace(std::string(kSet) +
                                ": deserializeResp returns NULL SERVERRSP, need to skip this "
                                "token"),
                          carried(kSet, piece), Exit(kSet)));
  // The next call looks at the kept frame again from its start.
  log.clear();
  CMUtilSETStringTokenize("\"}", &slot, &st.status);
  EXPECT_EQ(st.code(), 2);
  EXPECT_EQ(slot.text(), "{\"Re\"}");
  EXPECT_TRUE(ContainsInOrder(log.lines(), {present(kSet, piece), tokenized(kSet, set_doc(1)),
                                            tokenized(kSet, set_doc(2)),
                                            carried(kSet, "{\"Re\"}")}));
}

// The members' "clone failed" case: an instance frame without an instance cannot be taken over.
// Logged once, carried forward with the frames behind it; a second call with the same frame
// stops at it again and returns (no call can hang on it).
TEST(Splitter, FrameWhoseObjectCannotBeTakenOverIsCarriedForward) {
  const std::string bad = "{\"RequestType\":3}";
  const std::string piece = frame(bad) + kComplete;
  Slot slot;
  uint32_t complete = 0;
  CMPIInstance *result = nullptr;
  LogCapture log;
  CMPIStatus st = CMUtilGETStringTokenize(piece.c_str(), &result, &slot, &complete);
  const char kGet[] = "CMUtilGETStringTokenize";
  EXPECT_EQ(status_code(st), 0);
  EXPECT_EQ(result, nullptr);
  EXPECT_EQ(complete, 0u);
  EXPECT_EQ(slot.text(), piece);
  EXPECT_THAT(log.lines(),
              ElementsAre(Enter(kGet), tokenize(kGet, piece), tokenized(kGet, bad),
                          Enter("deserializeResp"), received(bad),
                          Trace("get operation (resp->status).rc 0"),
                          Error("ERROR: __deserializeResp#2474: 'class name or name space is "
                                "empty'"),
                          Exit("deserializeResp"),
                          Error(std::string(kGet) + ": clone failed, skip this frame"),
                          Enter("releaseClientResponseData"), Exit("releaseClientResponseData"),
                          carried(kGet, piece), Exit(kGet)));
  log.clear();
  st = CMUtilGETStringTokenize("more", &result, &slot, &complete);
  EXPECT_EQ(slot.text(), piece + "more");
  EXPECT_EQ(complete, 0u);
  EXPECT_EQ(log.at_level(2).size(), 2u);  // the decoder's line and "clone failed", once each
}

// A number the decoder cannot convert raises the JSON library's exception out of the call; the
// slot is NULL then and the carried block is gone with the unconsumed text.
TEST(Splitter, ConversionErrorUnwindsWithoutLeaking) {
  Slot slot;
  SetStatus st;
  CMUtilSETStringTokenize("{\"RequestType\":-", &slot, &st.status);
  ASSERT_NE(slot.block, nullptr);
  LogCapture log;
  EXPECT_THROW(CMUtilSETStringTokenize("1}CMPI_EOFtail", &slot, &st.status), Json::LogicError);
  EXPECT_EQ(slot.block, nullptr);
  EXPECT_EQ(log.lines().back(), Exit(kSet));
  EXPECT_THROW(CMUtilSETStringTokenize("{\"RequestType\":-1}CMPI_EOFtail", &slot, &st.status),
               Json::LogicError);
  EXPECT_EQ(slot.block, nullptr);
}

// ---- allocation failures ----------------------------------------------------------------------

// A tail that cannot be stored is lost with the error line; what was delivered stays delivered.
TEST(Splitter, TailThatCannotBeStoredIsLost) {
  const std::string piece = frame(set_doc(6)) + "{\"Re";
  Slot slot;
  SetStatus st;
  LogCapture log;
  {
    FailingAllocation failing(Allocation::Malloc, 1);
    CMUtilSETStringTokenize(piece.c_str(), &slot, &st.status);
    EXPECT_TRUE(failing.triggered());
  }
  EXPECT_EQ(st.code(), 6);
  EXPECT_EQ(slot.block, nullptr);
  EXPECT_TRUE(ContainsInOrder(
      log.lines(), {tokenized(kSet, set_doc(6)),
                    Error(std::string(kSet) + ": ERROR in memory allocation for response buffer"),
                    Exit(kSet)}));
}

// A carried tail that cannot grow to take the new piece: both are lost with the same line.
TEST(Splitter, TailThatCannotGrowIsLostWithThePiece) {
  Slot slot;
  SetStatus st;
  CMUtilSETStringTokenize("{\"Re", &slot, &st.status);
  ASSERT_NE(slot.block, nullptr);
  const std::string big = "questType\":8,\"SetInstStatus\":4,\"pad\":\"" + std::string(100000, 'p') +
                          "\"}CMPI_EOF";
  LogCapture log;
  {
    FailingAllocation failing(Allocation::Realloc, 1);
    CMUtilSETStringTokenize(big.c_str(), &slot, &st.status);
    EXPECT_TRUE(failing.triggered());
  }
  EXPECT_EQ(st.code(), 0);
  EXPECT_EQ(slot.block, nullptr);
  EXPECT_THAT(log.lines(),
              ElementsAre(Enter(kSet), present(kSet, "{\"Re"),
                          Error(std::string(kSet) +
                                ": ERROR in memory allocation for response buffer"),
                          Exit(kSet)));
}

// ---- the work done, counted -----------------------------------------------------------------------

using cmpiutility::Delivery;
using cmpiutility::DeliveryStep;
using cmpiutility::split_frames;
using cmpiutility::SplitterWording;
using cmpiutility::WorkMeter;

constexpr SplitterWording kCounting = {"Counting", true, 4, false};

// 10,000 frames in one piece: each byte is searched about once and copied about once; nothing
// is re-copied or re-searched from the start per frame.
TEST(SplitterWork, TenThousandFramesInOnePieceStayLinear) {
  Quiet quiet;
  std::string piece;
  for (int i = 0; i < 10000; ++i) piece += frame(set_doc(i % 7));
  piece += "{\"Re";
  Slot slot;
  WorkMeter work;
  int delivered = 0;
  int last_code = -1;
  auto step = [&](ServerResp *record) {
    ++delivered;
    last_code = status_code(record->status);
    return Delivery::kNext;
  };
  split_frames(piece.c_str(), &slot, kCounting, nullptr, DeliveryStep(step), &work);
  EXPECT_EQ(delivered, 10000);
  EXPECT_EQ(last_code, 9999 % 7);
  EXPECT_EQ(slot.text(), "{\"Re");
  const size_t n = piece.size();
  EXPECT_LE(work.copied, n);
  EXPECT_LE(work.searched, 2 * n + 8);
  RecordProperty("bytes", static_cast<int>(n));
  RecordProperty("copied", static_cast<int>(work.copied));
  RecordProperty("searched", static_cast<int>(work.searched));
}

// One 5 MB frame arriving in 4 KB pieces: the tail grows in place and is never searched again
// from its start; the whole work stays a small multiple of the bytes received.
TEST(SplitterWork, FiveMegabyteFrameInFourKilobytePiecesStaysLinear) {
  Quiet quiet;
  const std::string doc =
      "{\"RequestType\":8,\"SetInstStatus\":5,\"pad\":\"" + std::string(5 << 20, 'p') + "\"}";
  const std::string stream = frame(doc) + kComplete;
  Slot slot;
  WorkMeter work;
  int delivered = 0;
  uint32_t complete = 0;
  auto step = [&](ServerResp *record) {
    ++delivered;
    EXPECT_EQ(status_code(record->status), 5);
    return Delivery::kNext;
  };
  size_t calls = 0;
  for (size_t at = 0; at < stream.size(); at += 4096, ++calls) {
    const std::string piece = stream.substr(at, 4096);
    split_frames(piece.c_str(), &slot, kCounting, &complete, DeliveryStep(step), &work);
  }
  EXPECT_EQ(delivered, 1);
  EXPECT_EQ(complete, 1u);
  EXPECT_EQ(slot.block, nullptr);
  const size_t n = stream.size();
  // Each piece is appended once, the block grows geometrically (the moves of all its growths
  // add up to less than twice its final size), and the frame is copied out once.
  EXPECT_LE(work.copied, 5 * n);
  // Each piece is measured once and searched once, plus 7 bytes of the old tail per call.
  EXPECT_LE(work.searched, 2 * n + 8 * calls);
  RecordProperty("bytes", static_cast<int>(n));
  RecordProperty("copied", static_cast<int>(work.copied));
  RecordProperty("searched", static_cast<int>(work.searched));
}

// Many small frames arriving in small pieces that cut them anywhere: still linear.
TEST(SplitterWork, ManyFramesInOddPiecesStayLinear) {
  Quiet quiet;
  std::string stream;
  for (int i = 0; i < 2000; ++i) stream += frame(set_doc(i));
  Slot slot;
  WorkMeter work;
  int delivered = 0;
  auto step = [&](ServerResp *) {
    ++delivered;
    return Delivery::kNext;
  };
  size_t calls = 0;
  for (size_t at = 0; at < stream.size(); at += 37, ++calls) {
    const std::string piece = stream.substr(at, 37);
    split_frames(piece.c_str(), &slot, kCounting, nullptr, DeliveryStep(step), &work);
  }
  EXPECT_EQ(delivered, 2000);
  EXPECT_EQ(slot.block, nullptr);
  const size_t n = stream.size();
  EXPECT_LE(work.copied, 4 * n);
  EXPECT_LE(work.searched, 2 * n + 8 * calls);
}

}  // namespace
