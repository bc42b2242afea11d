// Tests of the programs' shared wire pieces: control frames, the operations table and the
// frame guard.
#include <cmpiutility/records.h>
#include <gtest/gtest.h>
#include <json/json.h>

#include <memory>
#include <string>
#include <vector>

#include "frame_guard.h"
#include "operations.h"
#include "wire.h"

namespace wire {
namespace {

TEST(ControlFrames, AreSpelledAsTheTokenizersReadThem) {
  EXPECT_EQ(complete_frame(), "CMPIOPERATION_COMPLETECMPI_EOF");
  EXPECT_EQ(error_frame(1), "CMPIERROR:1CMPI_EOF");
  EXPECT_EQ(error_frame(4), "CMPIERROR:4CMPI_EOF");
}

TEST(ControlFrames, AreClassifiedByTheirLeadingToken) {
  EXPECT_EQ(classify_frame("CMPIOPERATION_COMPLETE"), FrameKind::kComplete);
  EXPECT_EQ(classify_frame("CMPIERROR:6"), FrameKind::kError);
  EXPECT_EQ(classify_frame("{\"x\":\"CMPIERROR:6\"}"), FrameKind::kData);
  EXPECT_EQ(classify_frame(""), FrameKind::kData);
}

TEST(ControlFrames, FramesAreCountedByTheirTerminators) {
  EXPECT_EQ(count_frames(""), 0u);
  EXPECT_EQ(count_frames("{}"), 0u);
  EXPECT_EQ(count_frames("{}CMPI_EOF"), 1u);
  EXPECT_EQ(count_frames("{}CMPI_EOF{\"a\":1}CMPI_EOFCMPIOPERATION_COMPLETECMPI_EOF"), 3u);
  // A guarded frame holds no terminator but its last.
  std::string guarded = "{\"v\":\"CMPI_EOF\"}CMPI_EOF";
  EXPECT_EQ(count_frames(guarded), 2u);
  EXPECT_EQ(guard_frame(&guarded), 1u);
  EXPECT_EQ(count_frames(guarded), 1u);
}

TEST(Operations, OneRowPerRequestTypeInOrder) {
  int count = 0;
  const Operation *ops = all_operations(&count);
  ASSERT_EQ(count, 10);
  for (int i = 0; i < count; ++i) {
    EXPECT_EQ(ops[i].type, i + 1);
    EXPECT_EQ(find_operation(i + 1), &ops[i]);
  }
  EXPECT_EQ(find_operation(0), nullptr);
  EXPECT_EQ(find_operation(11), nullptr);
  EXPECT_STREQ(operation_name(42), "unknown");
}

TEST(Operations, SayWhatServesEachTypeAndHowItEnds) {
  EXPECT_STREQ(operation_name(ENUMINST), "EnumerateInstances");
  EXPECT_EQ(find_operation(ASSOCIATORS)->mi, MIKind::kAssociation);
  EXPECT_EQ(find_operation(INVOKEMETHOD)->mi, MIKind::kMethod);
  EXPECT_EQ(find_operation(GETCLASS)->mi, MIKind::kNone);
  EXPECT_EQ(find_operation(EXECQUERY)->tokenizer, Tokenizer::kEnum);
  for (int type : {MODIFYINST, DELETEINST, CREATEINST}) {
    EXPECT_EQ(find_operation(type)->ending, Ending::kSingleFrame) << type;
  }
  for (int type : {ENUMINST, ENUMINSTNAMES, GETINST, INVOKEMETHOD, ASSOCIATORS, EXECQUERY,
                   GETCLASS}) {
    EXPECT_EQ(find_operation(type)->ending, Ending::kCompletionFrame) << type;
  }
  EXPECT_STREQ(mi_kind_name(MIKind::kInstance), "Instance");
  EXPECT_STREQ(mi_kind_name(MIKind::kNone), "");
}

// The value of member "v" of a document, read by a JSON reader.
std::string read_member(const std::string &document) {
  Json::CharReaderBuilder builder;
  std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
  Json::Value root;
  std::string errors;
  EXPECT_TRUE(reader->parse(document.data(), document.data() + document.size(), &root, &errors))
      << errors << " in " << document;
  return root["v"].asString();
}

TEST(FrameGuard, LeavesAnOrdinaryFrameAlone) {
  std::string frame = "{\"v\":\"fan0\"}CMPI_EOF";
  EXPECT_EQ(guard_frame(&frame), 0u);
  EXPECT_EQ(frame, "{\"v\":\"fan0\"}CMPI_EOF");
}

TEST(FrameGuard, EscapesTheTerminatorInsideAValueAndTheValueReadsTheSame) {
  const std::string value = "xCMPI_EOFCMPIOPERATION_COMPLETECMPI_EOF";
  std::string frame = "{\"v\":\"" + value + "\"}CMPI_EOF";
  EXPECT_EQ(guard_frame(&frame), 2u);
  EXPECT_EQ(frame.find("CMPI_EOF"), frame.size() - 8) << frame;
  EXPECT_EQ(read_member(frame.substr(0, frame.size() - 8)), value);
}

TEST(FrameGuard, HandlesTerminatorsAtBothEndsAndBackToBack) {
  for (const std::string value :
       {"CMPI_EOF", "CMPI_EOFCMPI_EOF", "aCMPI_EOF", "CMPI_EOFz", "\\CMPI_EOF", "CMPI_EO",
        "MPI_EOF", "CMPIERROR:1", "CMPIOPERATION_COMPLETE", "CMPI_EOFCMPI_EO"}) {
    std::string json_value;
    for (char c : value) {
      if (c == '\\') json_value += "\\\\";
      else json_value += c;
    }
    std::string frame = "{\"v\":\"" + json_value + "\"}CMPI_EOF";
    guard_frame(&frame);
    EXPECT_EQ(frame.find("CMPI_EOF"), frame.size() - 8) << frame;
    EXPECT_EQ(read_member(frame.substr(0, frame.size() - 8)), value) << frame;
  }
}

TEST(FrameGuard, GuardsADocumentWithoutTerminator) {
  std::string document = "{\"v\":\"CMPI_EOF\"}";
  EXPECT_EQ(guard_document(&document), 1u);
  EXPECT_EQ(document, "{\"v\":\"CMPI\\u005fEOF\"}");
  EXPECT_EQ(read_member(document), "CMPI_EOF");
}

// Texts made of pieces of the terminator, underscores and other bytes (the guard looks for
// underscores first), drawn with a fixed seed: the guard escapes exactly the terminators a
// plain left-to-right search finds, and undoing the escapes gives the text back.
TEST(FrameGuard, EscapesExactlyTheTerminatorsAPlainSearchFinds) {
  const std::vector<std::string> pieces = {"CMPI_EOF", "CMPI_", "_EOF", "CMPI", "EOF", "C",
                                           "_",        "F",     "x",    "I_E",  ""};
  unsigned state = 12345;
  const auto next = [&state](std::size_t below) {
    state = state * 1103515245u + 12345u;
    return (state >> 16) % below;
  };
  std::size_t found_any = 0;
  for (int round = 0; round < 20000; ++round) {
    std::string text;
    const std::size_t count = next(7);
    for (std::size_t i = 0; i < count; ++i) text += pieces[next(pieces.size())];
    std::size_t expected = 0;
    for (std::size_t at = text.find("CMPI_EOF"); at != std::string::npos;
         at = text.find("CMPI_EOF", at + 8)) {
      ++expected;
    }
    found_any += expected;
    std::string guarded = text;
    EXPECT_EQ(guard_document(&guarded), expected) << text;
    EXPECT_EQ(guarded.find("CMPI_EOF"), std::string::npos) << text;
    std::string undone = guarded;
    for (std::size_t at = undone.find("\\u005f"); at != std::string::npos;
         at = undone.find("\\u005f", at + 1)) {
      undone.replace(at, 6, "_");
    }
    EXPECT_EQ(undone, text);
  }
  EXPECT_GT(found_any, 1000u);  // the pieces do make terminators, often
}

TEST(FrameGuard, AFrameWithoutTerminatorIsLeftAlone) {
  std::string text = "no frame";
  EXPECT_EQ(guard_frame(&text), 0u);
  EXPECT_EQ(text, "no frame");
}

}  // namespace
}  // namespace wire
