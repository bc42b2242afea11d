// The test helper that captures dlog lines.
#include "log_capture.h"

#include <dlog.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

namespace {

using namespace cmpitest;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

TEST(LogCapture, CollectsLinesWithLevelAndModule) {
  LogCapture cap;
  dlog_printf(4, 230, "a %d", 1);
  dlog_printf(2, 229, "b");
  EXPECT_THAT(cap.lines(), ElementsAre(Line("a 1", 4, 230), Line("b", 2, 229)));
  EXPECT_THAT(cap.texts(), ElementsAre("a 1", "b"));
}

TEST(LogCapture, StopsCollectingWhenDestroyed) {
  std::vector<LogLine> seen;
  {
    LogCapture cap;
    dlog_printf(4, 230, "inside");
    seen = cap.lines();
  }
  dlog_printf(4, 230, "outside");
  EXPECT_THAT(seen, ElementsAre(Trace("inside")));
  LogCapture later;
  EXPECT_THAT(later.lines(), IsEmpty());
}

TEST(LogCapture, NestedCapturesHandBackTheSink) {
  LogCapture outer;
  dlog_printf(4, 230, "one");
  {
    LogCapture inner;
    dlog_printf(4, 230, "two");
    EXPECT_THAT(inner.lines(), ElementsAre(Trace("two")));
  }
  dlog_printf(4, 230, "three");
  EXPECT_THAT(outer.lines(), ElementsAre(Trace("one"), Trace("three")));
}

TEST(LogCapture, Clear) {
  LogCapture cap;
  dlog_printf(4, 230, "old");
  cap.clear();
  EXPECT_THAT(cap.lines(), IsEmpty());
  dlog_printf(4, 230, "new");
  EXPECT_THAT(cap.lines(), ElementsAre(Trace("new")));
}

TEST(LogCapture, AtLevel) {
  LogCapture cap;
  dlog_printf(4, 230, "t1");
  dlog_printf(2, 230, "e1");
  dlog_printf(4, 229, "t2");
  dlog_printf(2, 230, "e2");
  EXPECT_THAT(cap.at_level(2), ElementsAre(Error("e1"), Error("e2")));
  EXPECT_THAT(cap.at_level(4), ElementsAre(Trace("t1"), Line("t2", 4, 229)));
  EXPECT_THAT(cap.at_level(3), IsEmpty());
}

TEST(LogCapture, Contains) {
  LogCapture cap;
  dlog_printf(2, 230, "e");
  EXPECT_TRUE(cap.contains(Error("e")));
  EXPECT_FALSE(cap.contains(Trace("e")));            // level differs
  EXPECT_FALSE(cap.contains(Line("e", 2, 229)));     // module differs
  EXPECT_FALSE(cap.contains(Error("e ")));           // text differs
}

TEST(LogLine, Builders) {
  EXPECT_EQ(Enter("f"), Line("Enter function = f", 4, 230));
  EXPECT_EQ(Exit("f"), Line("Exit  function = f", 4, 230));
  EXPECT_EQ(Trace("x"), Line("x", 4, 230));
  EXPECT_EQ(Info("x"), Line("x", 4, 230));
  EXPECT_EQ(Error("x"), Line("x", 2, 230));
  EXPECT_NE(Error("x"), Trace("x"));
}

TEST(LogLine, PrintsLevelModuleAndText) {
  std::ostringstream out;
  out << Line("Exit  function = f", 4, 229);
  EXPECT_EQ(out.str(), "(4, 229) Exit  function = f");
  EXPECT_EQ(::testing::PrintToString(Error("'x'")), "(2, 230) 'x'");
}

TEST(ContainsInOrder, AcceptsASubsequence) {
  const std::vector<LogLine> actual = {Enter("f"), Trace("t"), Error("e"), Exit("f")};
  EXPECT_TRUE(ContainsInOrder(actual, {Enter("f"), Exit("f")}));
  EXPECT_TRUE(ContainsInOrder(actual, {Trace("t"), Error("e")}));
  EXPECT_TRUE(ContainsInOrder(actual, actual));
  EXPECT_TRUE(ContainsInOrder(actual, {}));
}

TEST(ContainsInOrder, FailsOnWrongOrder) {
  const std::vector<LogLine> actual = {Enter("f"), Error("e"), Exit("f")};
  const ::testing::AssertionResult result = ContainsInOrder(actual, {Exit("f"), Enter("f")});
  EXPECT_FALSE(result);
  EXPECT_THAT(result.message(), ::testing::HasSubstr("(4, 230) Enter function = f"));
  EXPECT_THAT(result.message(), ::testing::HasSubstr("after (4, 230) Exit  function = f"));
}

TEST(ContainsInOrder, FailsOnMissingLineOrRepeatedLine) {
  const std::vector<LogLine> actual = {Error("e")};
  EXPECT_FALSE(ContainsInOrder(actual, {Error("other")}));
  EXPECT_FALSE(ContainsInOrder(actual, {Error("e"), Error("e")}));
  EXPECT_FALSE(ContainsInOrder({}, {Error("e")}));
  EXPECT_FALSE(ContainsInOrder(actual, {Line("e", 2, 229)}));
}

}  // namespace
