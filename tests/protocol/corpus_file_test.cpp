// corpus_file_test.cpp - the case file format of docs/protocol/: reading, writing, and the
// hexadecimal form for bytes that cannot stand on a line.
#include "corpus_file.h"

#include <gtest/gtest.h>

namespace corpus {
namespace {

TEST(CaseFileFormat, ReadsCommentsRequestsAndAnswers) {
  CaseFile file;
  std::string error;
  ASSERT_TRUE(parse("# one\n#\n\n>>> abcCMPI_EOF\n<<< CMPIERROR:4CMPI_EOF\n>>>hex 41ff\n<<< \n",
                    &file, &error))
      << error;
  ASSERT_EQ(file.comments.size(), 2u);
  EXPECT_EQ(file.comments[0], "one");
  EXPECT_EQ(file.comments[1], "");
  ASSERT_EQ(file.exchanges.size(), 2u);
  EXPECT_EQ(file.exchanges[0].request, "abcCMPI_EOF");
  EXPECT_EQ(file.exchanges[0].response, "CMPIERROR:4CMPI_EOF");
  EXPECT_EQ(file.exchanges[1].request, std::string("A\xff"));
  EXPECT_TRUE(file.exchanges[1].has_response);
  EXPECT_EQ(file.exchanges[1].response, "");
}

TEST(CaseFileFormat, RefusesMalformedLines) {
  CaseFile file;
  std::string error;
  EXPECT_FALSE(parse("hello\n", &file, &error));
  EXPECT_EQ(error, "line 1: neither a comment, a request nor an answer");
  EXPECT_FALSE(parse("<<< x\n", &file, &error));
  EXPECT_EQ(error, "line 1: an answer without its request");
  EXPECT_FALSE(parse(">>>hex 4G\n", &file, &error));
  EXPECT_EQ(error, "line 1: not lower-case hexadecimal");
  EXPECT_FALSE(parse(">>>x\n", &file, &error));
}

TEST(CaseFileFormat, RequestsMayWaitForTheirAnswers) {
  CaseFile file;
  std::string error;
  ASSERT_TRUE(parse(">>> a\n>>> b\n<<< c\n", &file, &error)) << error;
  ASSERT_EQ(file.exchanges.size(), 2u);
  EXPECT_FALSE(file.exchanges[0].has_response);
  EXPECT_EQ(file.exchanges[1].response, "c");
}

TEST(CaseFileFormat, WritesTextVerbatimAndOtherBytesInHex) {
  EXPECT_EQ(line_for(">>>", "{\"a\":\"caf\xc3\xa9\"}CMPI_EOF"), ">>> {\"a\":\"caf\xc3\xa9\"}CMPI_EOF");
  EXPECT_EQ(line_for(">>>", "a\nb"), ">>>hex 610a62");
  EXPECT_EQ(line_for("<<<", "bad \xff"), "<<<hex 62616420ff");
  EXPECT_EQ(line_for("<<<", "ends "), "<<<hex 656e647320");
  EXPECT_EQ(line_for("<<<", "\xc0\xaf"), "<<<hex c0af");  // overlong form
}

TEST(CaseFileFormat, WritesWhatItReads) {
  CaseFile file;
  std::string error;
  const std::string text = "# case\n\n>>> x\n<<< y\n\n>>>hex 0a\n<<< z\n";
  ASSERT_TRUE(parse(text, &file, &error)) << error;
  EXPECT_EQ(format(file), text);
}

TEST(CaseFileFormat, ReplacesEveryOccurrence) {
  EXPECT_EQ(replace_all("/tmp/w/a /tmp/w/b", "/tmp/w", "<workspace>"),
            "<workspace>/a <workspace>/b");
}

}  // namespace
}  // namespace corpus
