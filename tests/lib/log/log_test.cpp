// The log layer: exact text, level and module of every kind of line.
#include "log/log.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

#include "log_capture.h"

namespace {

using namespace cmpitest;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

int traced_with_early_return(bool early) {
  CMPIU_TRACE_FUNCTION();
  if (early) return 1;
  CMPIU_TRACE("past the early return");
  return 2;
}

void traced_and_throwing() {
  CMPIU_TRACE_FUNCTION();
  throw std::runtime_error("unwind");
}

void traced_outer();
void traced_inner() { CMPIU_TRACE_FUNCTION(); }
void traced_outer() {
  CMPIU_TRACE_FUNCTION();
  traced_inner();
}

TEST(ScopedTrace, EntersAndExitsWithTheGivenName) {
  LogCapture cap;
  { cmpiutility::ScopedTrace trace("doSerialization"); }
  EXPECT_THAT(cap.lines(),
              ElementsAre(Line("Enter function = doSerialization", 4, 230),
                          Line("Exit  function = doSerialization", 4, 230)));
}

TEST(ScopedTrace, MacroUsesTheFunctionName) {
  LogCapture cap;
  EXPECT_EQ(traced_with_early_return(false), 2);
  EXPECT_THAT(cap.lines(), ElementsAre(Enter("traced_with_early_return"),
                                       Trace("past the early return"),
                                       Exit("traced_with_early_return")));
}

TEST(ScopedTrace, ExitIsLoggedOnEarlyReturn) {
  LogCapture cap;
  EXPECT_EQ(traced_with_early_return(true), 1);
  EXPECT_THAT(cap.lines(), ElementsAre(Enter("traced_with_early_return"),
                                       Exit("traced_with_early_return")));
}

TEST(ScopedTrace, ExitIsLoggedWhenAnExceptionUnwinds) {
  LogCapture cap;
  EXPECT_THROW(traced_and_throwing(), std::runtime_error);
  EXPECT_THAT(cap.lines(),
              ElementsAre(Enter("traced_and_throwing"), Exit("traced_and_throwing")));
}

TEST(ScopedTrace, NestedCallsNest) {
  LogCapture cap;
  traced_outer();
  EXPECT_THAT(cap.lines(), ElementsAre(Enter("traced_outer"), Enter("traced_inner"),
                                       Exit("traced_inner"), Exit("traced_outer")));
}

TEST(ScopedTrace, ExitLineHasTwoBlanks) {
  LogCapture cap;
  { cmpiutility::ScopedTrace trace("f"); }
  ASSERT_EQ(cap.lines().size(), 2u);
  EXPECT_EQ(cap.lines()[1].text, "Exit  function = f");
  EXPECT_EQ(Exit("f").text, "Exit  function = f");
}

TEST(LogMacros, TraceIsLevelFourModule230) {
  LogCapture cap;
  CMPIU_TRACE("plain");
  CMPIU_TRACE("with %s and %d", "text", 7);
  EXPECT_THAT(cap.lines(), ElementsAre(Line("plain", 4, 230), Line("with text and 7", 4, 230)));
}

TEST(LogMacros, ErrorIsLevelTwoModule230) {
  LogCapture cap;
  CMPIU_ERROR("'plain'");
  CMPIU_ERROR("'%s' %u", "x", 3u);
  EXPECT_THAT(cap.lines(), ElementsAre(Line("'plain'", 2, 230), Line("'x' 3", 2, 230)));
}

TEST(LogMacros, LogTakesLevelAndModule) {
  LogCapture cap;
  CMPIU_LOG(3, 17, "any %d", 1);
  CMPIU_LOG(cmpiutility::kLogLevelError, cmpiutility::kLogModule, "no args");
  EXPECT_THAT(cap.lines(), ElementsAre(Line("any 1", 3, 17), Line("no args", 2, 230)));
}

TEST(LogMacros, Module229Lines) {
  LogCapture cap;
  CMPIU_LOG(cmpiutility::kLogLevelError, cmpiutility::kLogModuleAux, "seteuid to root failed ");
  CMPIU_LOG(cmpiutility::kLogLevelTrace, cmpiutility::kLogModuleAux,
            "Class has UnloadNever true %s", "CIM_Foo");
  EXPECT_EQ(cmpiutility::kLogModuleAux, 229);
  EXPECT_THAT(cap.lines(), ElementsAre(Line("seteuid to root failed ", 2, 229),
                                       Line("Class has UnloadNever true CIM_Foo", 4, 229)));
}

TEST(LogMacros, ErrorAtPrefixesFunctionAndNumber) {
  LogCapture cap;
  CMPIU_ERROR_AT("doSerialization", 412, "'Add2CMPIArgs failed'");
  CMPIU_ERROR_AT(__func__, 7, "'%s failed for %d'", "thing", 3);
  ASSERT_THAT(cap.lines(),
              ElementsAre(Error("ERROR: __doSerialization#412: 'Add2CMPIArgs failed'"),
                          Error(std::string("ERROR: __") + __func__ + "#7: 'thing failed for 3'")));
  EXPECT_EQ(cap.lines()[0].level, 2);
  EXPECT_EQ(cap.lines()[0].module, 230);
}

TEST(LogMacros, InfoAtPrefixesFunctionAndNumber) {
  LogCapture cap;
  CMPIU_INFO_AT("createCMInst", 1809, "'makeNewCMPIInstance failed'");
  CMPIU_INFO_AT("f", 2, "'%s'", "arg");
  ASSERT_THAT(cap.lines(),
              ElementsAre(Info("INFO: __createCMInst#1809: 'makeNewCMPIInstance failed'"),
                          Info("INFO: __f#2: 'arg'")));
  EXPECT_EQ(cap.lines()[0].level, 4);
  EXPECT_EQ(cap.lines()[0].module, 230);
}

TEST(StatusRule, OkStatusIsInfoAndGoesOn) {
  LogCapture cap;
  const bool goes_on = CMPIU_STATUS_RULE(0, "createCMInst", 1809, "'makeNewCMPIInstance failed'");
  EXPECT_TRUE(goes_on);
  EXPECT_THAT(cap.lines(),
              ElementsAre(Line("INFO: __createCMInst#1809: 'makeNewCMPIInstance failed'", 4, 230)));
}

TEST(StatusRule, NonZeroStatusIsErrorAndFails) {
  LogCapture cap;
  const bool goes_on = CMPIU_STATUS_RULE(1, "createCMInst", 1809, "'makeNewCMPIInstance failed'");
  EXPECT_FALSE(goes_on);
  ASSERT_THAT(cap.lines(),
              ElementsAre(Error("ERROR: __createCMInst#1809: 'makeNewCMPIInstance failed'")));
  EXPECT_EQ(cap.lines()[0].level, 2);
  EXPECT_EQ(cap.lines()[0].module, 230);
}

TEST(StatusRule, ExtraArgumentsInBothBranches) {
  LogCapture cap;
  EXPECT_TRUE(CMPIU_STATUS_RULE(0, "Add2CMPIArgs", 95, "'CMAddArg failed for '%s' '", "Speed"));
  EXPECT_FALSE(CMPIU_STATUS_RULE(4, "Add2CMPIArgs", 95, "'CMAddArg failed for '%s' '", "Speed"));
  EXPECT_THAT(cap.lines(),
              ElementsAre(Info("INFO: __Add2CMPIArgs#95: 'CMAddArg failed for 'Speed' '"),
                          Error("ERROR: __Add2CMPIArgs#95: 'CMAddArg failed for 'Speed' '")));
}

TEST(StatusRule, StatusIsEvaluatedOnce) {
  LogCapture cap;
  int calls = 0;
  auto status = [&calls] {
    ++calls;
    return 0;
  };
  EXPECT_TRUE(CMPIU_STATUS_RULE(status(), "f", 1, "'x'"));
  EXPECT_EQ(calls, 1);
}

TEST(StatusRule, UsableAsACondition) {
  LogCapture cap;
  int processed = 0;
  for (int rc : {0, 2}) {
    if (!CMPIU_STATUS_RULE(rc, "f", 3, "'x'")) continue;
    ++processed;
  }
  EXPECT_EQ(processed, 1);
}

TEST(LogMacros, TracesAreNotWrittenAtTheDefaultThreshold) {
  // Nothing captured here; traces below the threshold are dropped before formatting.
  const unsigned long before = dlog_formatted_count();
  if (dlog_threshold() < 4) {
    CMPIU_TRACE("not formatted %s", "at all");
    { CMPIU_TRACE_FUNCTION(); }
    EXPECT_EQ(dlog_formatted_count(), before);
  }
  LogCapture cap;
  EXPECT_THAT(cap.lines(), IsEmpty());
}

}  // namespace
