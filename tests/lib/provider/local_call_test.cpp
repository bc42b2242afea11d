#include <cmpiinterface.h>
#include <cmpimacs.h>
#include <cmpiutility/local_call.h>
#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "fault_injection.h"
#include "log_capture.h"
#include "provider_fixture.h"

namespace {

using namespace cmpitest;
using ::testing::ElementsAreArray;

constexpr int kAux = 229;

// ---- helpers ----------------------------------------------------------------------------------

// A path of className in root/test with the key Id = "42" (the providers echo it back).
CMPIObjectPath *NewPath(const char *className) {
  CMPIObjectPath *path = makeNewObjectPath("root/test", className, nullptr);
  CMAddKey(path, "Id", "42", CMPI_chars);
  return path;
}

// Releases a caller-owned datum's encapsulated value.
void ReleaseData(CMPIData data) {
  const CMPIValueState state = data.state;
  CMPIValue value = data.value;
  if ((state & CMPI_nullValue) == 0) cmpiReleaseCMPIValue(data.type, &value);
}

// A property of inst read through the getter (a caller-owned copy, released here), as text.
std::string Text(const CMPIInstance *inst, const char *name) {
  const CMPIData data = CMGetProperty(inst, name, nullptr);
  const CMPIType type = data.type;
  const CMPIValueState state = data.state;
  const CMPIValue value = data.value;
  std::string text = "<unexpected type>";
  if ((state & CMPI_notFound) != 0) {
    text = "<missing>";
  } else if ((state & CMPI_nullValue) != 0) {
    text = "<null>";
  } else if (type == CMPI_string) {
    text = static_cast<const char *>(value.string->hdl);
  } else if (type == CMPI_uint64) {
    text = std::to_string(value.uint64);
  } else if (type == CMPI_uint8) {
    text = std::to_string(value.uint8);
  } else if (type == CMPI_boolean) {
    text = value.boolean ? "true" : "false";
  }
  ReleaseData(data);
  return text;
}

std::string Number(const void *pointer) {
  return std::to_string(reinterpret_cast<std::uintptr_t>(pointer));
}

// The lines GetProviderName writes when it finds the provider of className.
std::vector<LogLine> ProviderFound(const std::string &className, const std::string &provider) {
  return {Enter("GetProviderName"),
          Trace("'GetProviderName:' sql_query = 'select providername from Tbl_ClassMetadata "
                "where classname=? COLLATE NOCASE' for the class = '" +
                className + "'"),
          Trace("providername value:" + provider + " text = '" + provider + "'"),
          Exit("GetProviderName")};
}

// The lines of a successful load of "lib<lower>.so" from dir for className.
std::vector<LogLine> Loaded(const std::string &className, const std::string &provider,
                            const std::string &lower, const std::string &dir,
                            const std::string &symbol) {
  std::vector<LogLine> lines = ProviderFound(className, provider);
  const std::string path = dir + "lib" + lower + ".so";
  for (const LogLine &line :
       {Trace("1. providerName = '" + provider + "'"), Trace("providerName = '" + lower + "'"),
        Trace("Class Name = " + className + " libPath = '" + path + "'"),
        Trace("libpath to be open : " + path), Enter("getSymHandler"),
        Trace("dlopen success, symbol to be called " + symbol), Exit("getSymHandler")}) {
    lines.push_back(line);
  }
  return lines;
}

std::vector<LogLine> Framed(const std::string &function, std::vector<LogLine> inner) {
  inner.insert(inner.begin(), Enter(function));
  inner.push_back(Exit(function));
  return inner;
}

bool IsLoaded(const std::string &path) {
  void *handle = dlopen(path.c_str(), RTLD_LAZY | RTLD_NOLOAD);
  if (handle == nullptr) return false;
  dlclose(handle);
  return true;
}

// Every element of the enumeration's own array, in order, as instance copies (the caller
// releases them); the enumeration's cursor is not moved.
std::vector<CMPIInstance *> Elements(const CMPIEnumeration *en) {
  std::vector<CMPIInstance *> out;
  const CMPIEnumerationRecord *record = static_cast<const CMPIEnumerationRecord *>(en->hdl);
  CMPIArray *array = record->array;
  if (array == nullptr) return out;
  const CMPICount count = CMGetArrayCount(array, nullptr);
  for (CMPICount i = 0; i < count; ++i) {
    const CMPIData data = CMGetArrayElementAt(array, i, nullptr);
    const CMPIType type = data.type;
    const CMPIValue value = data.value;
    EXPECT_EQ(type, CMPI_instance);
    out.push_back(type == CMPI_instance ? value.inst : nullptr);
  }
  return out;
}

class LocalCall : public ::testing::Test {
 protected:
  void SetUp() override { ctx_ = makeNewCMPIContext(nullptr); }
  void TearDown() override { CMRelease(ctx_); }

  ProviderSetup setup_;
  CMPIContext *ctx_ = nullptr;
};

// ---- LocalGetInstance -------------------------------------------------------------------------

TEST_F(LocalCall, GetInstanceReturnsACloneThatOutlivesTheLibrary) {
  CMPIObjectPath *path = NewPath("Test_One");
  LogCapture log;
  CMPIInstance *inst = LocalGetInstance(ctx_, path);
  ASSERT_NE(inst, nullptr);
  EXPECT_THAT(log.lines(),
              ElementsAreArray(
                  Framed("LocalGetInstance", Loaded("Test_One", "Test_One", "test_one",
                                                    setup_.directory(), "ReturnGetInstance"))));
  // The library is closed again; the clone lives on.
  EXPECT_FALSE(IsLoaded(setup_.library("libtest_one.so")));
  EXPECT_EQ(Text(inst, "Name"), "one-0");
  EXPECT_EQ(Text(inst, "Provider"), "one");
  // What the provider received: the class name of the path, the caller's context unchanged, no
  // property list, a broker, and the path itself.
  EXPECT_EQ(Text(inst, "ClassName"), "Test_One");
  EXPECT_EQ(Text(inst, "Context"), Number(ctx_));
  EXPECT_EQ(Text(inst, "PropertiesNull"), "true");
  EXPECT_EQ(Text(inst, "BrokerSet"), "true");
  EXPECT_EQ(Text(inst, "RequestedId"), "42");
  CMRelease(inst);
  CMRelease(path);
}

TEST_F(LocalCall, GetInstanceWithTwoInstancesGivesNull) {
  CMPIObjectPath *path = NewPath("Test_Two");
  LogCapture log;
  EXPECT_EQ(LocalGetInstance(ctx_, path), nullptr);
  std::vector<LogLine> expected =
      Loaded("Test_Two", "Test_Two", "test_two", setup_.directory(), "ReturnGetInstance");
  expected.push_back(Trace("LocalGetInstance: Array has more than one elmenet, not expected"));
  EXPECT_THAT(log.lines(), ElementsAreArray(Framed("LocalGetInstance", expected)));
  EXPECT_FALSE(IsLoaded(setup_.library("libtest_two.so")));
  CMRelease(path);
}

// A finished result without data holds an empty array: zero elements are not one either.
TEST_F(LocalCall, GetInstanceWithNoInstanceGivesNullWithTheSameLine) {
  CMPIObjectPath *path = NewPath("Test_None");
  LogCapture log;
  EXPECT_EQ(LocalGetInstance(ctx_, path), nullptr);
  std::vector<LogLine> expected =
      Loaded("Test_None", "Test_None", "test_none", setup_.directory(), "ReturnGetInstance");
  expected.push_back(Trace("LocalGetInstance: Array has more than one elmenet, not expected"));
  EXPECT_THAT(log.lines(), ElementsAreArray(Framed("LocalGetInstance", expected)));
  CMRelease(path);
}

TEST_F(LocalCall, GetInstanceWithUntouchedResultGivesNull) {
  CMPIObjectPath *path = NewPath("Test_Untouched");
  LogCapture log;
  EXPECT_EQ(LocalGetInstance(ctx_, path), nullptr);
  std::vector<LogLine> expected = Loaded("Test_Untouched", "Test_Untouched", "test_untouched",
                                         setup_.directory(), "ReturnGetInstance");
  expected.push_back(Trace("LocalGetInstance: No Array data in CMPIResult"));
  EXPECT_THAT(log.lines(), ElementsAreArray(Framed("LocalGetInstance", expected)));
  CMRelease(path);
}

TEST_F(LocalCall, GetInstanceWithNullInstanceDatumGivesNull) {
  CMPIObjectPath *path = NewPath("Test_NullDatum");
  LogCapture log;
  EXPECT_EQ(LocalGetInstance(ctx_, path), nullptr);
  std::vector<LogLine> expected = Loaded("Test_NullDatum", "Test_NullDatum", "test_nulldatum",
                                         setup_.directory(), "ReturnGetInstance");
  expected.push_back(Line("LocalGetInstance: NULL Instance has come", 4, kAux));
  EXPECT_THAT(log.lines(), ElementsAreArray(Framed("LocalGetInstance", expected)));
  CMRelease(path);
}

// An element that holds an object path holds no instance.
TEST_F(LocalCall, GetInstanceWithObjectPathElementGivesNull) {
  CMPIObjectPath *path = NewPath("Test_Reference");
  LogCapture log;
  EXPECT_EQ(LocalGetInstance(ctx_, path), nullptr);
  EXPECT_EQ(log.lines().end()[-2], Line("LocalGetInstance: NULL Instance has come", 4, kAux));
  EXPECT_TRUE(log.at_level(2).empty());
  CMRelease(path);
}

// The provider's failure code is not passed on: the instance it returned is the answer. (Its
// message string is released by the call: the sanitized build checks that nothing leaks.)
TEST_F(LocalCall, GetInstanceFromFailingProviderStillGivesItsInstance) {
  CMPIObjectPath *path = NewPath("Test_FailingOne");
  LogCapture log;
  CMPIInstance *inst = LocalGetInstance(ctx_, path);
  ASSERT_NE(inst, nullptr);
  EXPECT_EQ(Text(inst, "Name"), "failing-one-0");
  EXPECT_THAT(log.lines(), ElementsAreArray(Framed(
                               "LocalGetInstance",
                               Loaded("Test_FailingOne", "Test_Failing_One", "test_failing_one",
                                      setup_.directory(), "ReturnGetInstance"))));
  CMRelease(inst);
  CMRelease(path);
}

TEST_F(LocalCall, GetInstanceFromMixedCaseProvider) {
  CMPIObjectPath *path = NewPath("Demo_Fan");
  LogCapture log;
  CMPIInstance *inst = LocalGetInstance(ctx_, path);
  ASSERT_NE(inst, nullptr);
  EXPECT_EQ(Text(inst, "Provider"), "mixedcase");
  EXPECT_EQ(Text(inst, "ClassName"), "Demo_Fan");
  EXPECT_THAT(log.lines(),
              ElementsAreArray(
                  Framed("LocalGetInstance", Loaded("Demo_Fan", "Demo_MixedCase", "demo_mixedcase",
                                                    setup_.directory(), "ReturnGetInstance"))));
  CMRelease(inst);
  CMRelease(path);
}

TEST_F(LocalCall, GetInstanceForClassWithoutProvider) {
  CMPIObjectPath *path = NewPath("Test_Unregistered");
  LogCapture log;
  EXPECT_EQ(LocalGetInstance(ctx_, path), nullptr);
  EXPECT_TRUE(ContainsInOrder(log.lines(),
                              {Enter("LocalGetInstance"), Error("ERROR: GetProviderName failed"),
                               Error("ERROR: library is not loaded"), Exit("LocalGetInstance")}));
  EXPECT_EQ(log.at_level(2).size(), 2u);
  CMRelease(path);
}

TEST_F(LocalCall, GetInstanceFromLibraryWithoutEntry) {
  CMPIObjectPath *path = NewPath("Test_NoEntry");
  const std::string lib = setup_.library("libtest_noentry.so");
  LogCapture log;
  EXPECT_EQ(LocalGetInstance(ctx_, path), nullptr);
  EXPECT_EQ(log.at_level(2),
            (std::vector<LogLine>{
                Error("Error: dlsym '" + lib + ": undefined symbol: ReturnGetInstance'"),
                Error("Unable to load library (null)"), Error("ERROR: library is not loaded")}));
  EXPECT_EQ(log.lines().back(), Exit("LocalGetInstance"));
  EXPECT_FALSE(IsLoaded(lib));
  CMRelease(path);
}

TEST_F(LocalCall, GetInstanceWithMissingLibraryFile) {
  CMPIObjectPath *path = NewPath("Test_Absent");
  const std::string lib = setup_.library("libtest_absent.so");
  LogCapture log;
  EXPECT_EQ(LocalGetInstance(ctx_, path), nullptr);
  EXPECT_EQ(log.at_level(2),
            (std::vector<LogLine>{
                Error("Error: dlopen '" + lib +
                      ": cannot open shared object file: No such file or directory'"),
                Error("Unable to load library (null)"), Error("ERROR: library is not loaded")}));
  CMRelease(path);
}

TEST_F(LocalCall, GetInstanceWhenThePathBufferCannotBeAllocated) {
  CMPIObjectPath *path = NewPath("Test_One");
  LogCapture log;
  {
    FailingAllocation fail(Allocation::Calloc, 1);
    EXPECT_EQ(LocalGetInstance(ctx_, path), nullptr);
    EXPECT_TRUE(fail.triggered());
  }
  EXPECT_EQ(log.at_level(2), (std::vector<LogLine>{Error("libPath memory allocation failed"),
                                                   Error("ERROR: library is not loaded")}));
  CMRelease(path);
}

TEST_F(LocalCall, GetInstanceWithPathWithoutClassName) {
  CMPIObjectPath *path = makeNewObjectPath("root/test", nullptr, nullptr);
  LogCapture log;
  EXPECT_EQ(LocalGetInstance(ctx_, path), nullptr);
  EXPECT_THAT(log.lines(),
              ElementsAreArray({Enter("LocalGetInstance"),
                                Error("LocalGetInstance: CMPIString comes as NULL from "
                                      "CMGetClassName"),
                                Exit("LocalGetInstance")}));
  CMRelease(path);
}

TEST_F(LocalCall, GetInstanceWithNullPath) {
  LogCapture log;
  EXPECT_EQ(LocalGetInstance(ctx_, nullptr), nullptr);
  EXPECT_THAT(log.lines(),
              ElementsAreArray({Enter("LocalGetInstance"),
                                Error("LocalGetInstance: CMPIString comes as NULL from "
                                      "CMGetClassName"),
                                Exit("LocalGetInstance")}));
}

// ---- CBEnumInstance ---------------------------------------------------------------------------

TEST_F(LocalCall, EnumerationHoldsClonesOfEveryInstance) {
  CMPIObjectPath *path = NewPath("Test_Two");
  LogCapture log;
  CMPIEnumeration *en = CBEnumInstance(ctx_, "Test_Two", path, 0xA5);
  ASSERT_NE(en, nullptr);
  EXPECT_THAT(log.lines(),
              ElementsAreArray(
                  Framed("CBEnumInstance", Loaded("Test_Two", "Test_Two", "test_two",
                                                  setup_.directory(), "ReturnEnumerateData"))));
  // The provider's result and library are gone; the enumeration's own array still holds both
  // instances (the sanitized build would flag any reference into the released result).
  EXPECT_FALSE(IsLoaded(setup_.library("libtest_two.so")));
  std::vector<CMPIInstance *> elements = Elements(en);
  ASSERT_EQ(elements.size(), 2u);
  for (size_t i = 0; i < elements.size(); ++i) {
    EXPECT_EQ(Text(elements[i], "Name"), "two-" + std::to_string(i));
    EXPECT_EQ(Text(elements[i], "ClassName"), "Test_Two");
    EXPECT_EQ(Text(elements[i], "Flag"), "165");
    EXPECT_EQ(Text(elements[i], "Context"), Number(ctx_));
    EXPECT_EQ(Text(elements[i], "RequestedId"), "42");
    CMRelease(elements[i]);
  }
  // And it enumerates from the start.
  CMPIStatus rc = {CMPI_RC_OK, nullptr};
  ASSERT_TRUE(CMHasNext(en, &rc));
  CMPIData first = CMGetNext(en, &rc);
  const CMPIType type = first.type;
  const CMPIValue value = first.value;
  ASSERT_EQ(type, CMPI_instance);
  EXPECT_EQ(Text(value.inst, "Name"), "two-0");
  ReleaseData(first);
  CMRelease(en);
  CMRelease(path);
}

TEST_F(LocalCall, EnumerationPassesTheFlagThrough) {
  CMPIObjectPath *path = NewPath("Test_One");
  for (unsigned char flag : {0, 1, 255}) {
    CMPIEnumeration *en = CBEnumInstance(ctx_, "Test_One", path, flag);
    ASSERT_NE(en, nullptr);
    std::vector<CMPIInstance *> elements = Elements(en);
    ASSERT_EQ(elements.size(), 1u);
    EXPECT_EQ(Text(elements[0], "Flag"), std::to_string(flag));
    CMRelease(elements[0]);
    CMRelease(en);
  }
  CMRelease(path);
}

// The class name given is the one looked up and handed to the provider; the path is only passed.
TEST_F(LocalCall, EnumerationUsesTheGivenClassNameAndAcceptsANullPath) {
  CMPIEnumeration *en = CBEnumInstance(ctx_, "Test_One", nullptr, 7);
  ASSERT_NE(en, nullptr);
  std::vector<CMPIInstance *> elements = Elements(en);
  ASSERT_EQ(elements.size(), 1u);
  EXPECT_EQ(Text(elements[0], "ClassName"), "Test_One");
  EXPECT_EQ(Text(elements[0], "RequestedId"), "<missing>");
  CMRelease(elements[0]);
  CMRelease(en);
}

// A provider that finished its result without data: an empty enumeration, not NULL.
TEST_F(LocalCall, EnumerationOfNothingIsEmpty) {
  CMPIObjectPath *path = NewPath("Test_None");
  LogCapture log;
  CMPIEnumeration *en = CBEnumInstance(ctx_, "Test_None", path, 0);
  ASSERT_NE(en, nullptr);
  EXPECT_THAT(log.lines(),
              ElementsAreArray(
                  Framed("CBEnumInstance", Loaded("Test_None", "Test_None", "test_none",
                                                  setup_.directory(), "ReturnEnumerateData"))));
  const CMPIEnumerationRecord *record = static_cast<const CMPIEnumerationRecord *>(en->hdl);
  CMPIArray *array = record->array;
  ASSERT_NE(array, nullptr);
  EXPECT_EQ(CMGetArrayCount(array, nullptr), 0u);
  EXPECT_FALSE(CMHasNext(en, nullptr));
  CMRelease(en);
  CMRelease(path);
}

// The return code only settles the local status: the data of a failing provider is answered.
// (Both of its message strings are released by the call.)
TEST_F(LocalCall, EnumerationFromFailingProviderStillGivesItsData) {
  CMPIObjectPath *path = NewPath("Test_Failing");
  LogCapture log;
  CMPIEnumeration *en = CBEnumInstance(ctx_, "Test_Failing", path, 0);
  ASSERT_NE(en, nullptr);
  EXPECT_THAT(log.lines(),
              ElementsAreArray(
                  Framed("CBEnumInstance", Loaded("Test_Failing", "Test_Failing", "test_failing",
                                                  setup_.directory(), "ReturnEnumerateData"))));
  std::vector<CMPIInstance *> elements = Elements(en);
  ASSERT_EQ(elements.size(), 2u);
  EXPECT_EQ(Text(elements[0], "Name"), "failing-0");
  EXPECT_EQ(Text(elements[1], "Name"), "failing-1");
  for (CMPIInstance *inst : elements) CMRelease(inst);
  CMRelease(en);
  CMRelease(path);
}

TEST_F(LocalCall, EnumerationWithUntouchedResultIsNull) {
  CMPIObjectPath *path = NewPath("Test_Untouched");
  LogCapture log;
  EXPECT_EQ(CBEnumInstance(ctx_, "Test_Untouched", path, 0), nullptr);
  EXPECT_THAT(log.lines(),
              ElementsAreArray(Framed("CBEnumInstance",
                                      Loaded("Test_Untouched", "Test_Untouched", "test_untouched",
                                             setup_.directory(), "ReturnEnumerateData"))));
  EXPECT_FALSE(IsLoaded(setup_.library("libtest_untouched.so")));
  CMRelease(path);
}

// Whatever the provider returned is enumerated, object paths included.
TEST_F(LocalCall, EnumerationOfObjectPaths) {
  CMPIObjectPath *path = NewPath("Test_Reference");
  CMPIEnumeration *en = CBEnumInstance(ctx_, "Test_Reference", path, 0);
  ASSERT_NE(en, nullptr);
  CMPIStatus rc = {CMPI_RC_OK, nullptr};
  CMPIData first = CMGetNext(en, &rc);
  const CMPIType type = first.type;
  EXPECT_EQ(type, CMPI_ref);
  ReleaseData(first);
  EXPECT_FALSE(CMHasNext(en, nullptr));
  CMRelease(en);
  CMRelease(path);
}

TEST_F(LocalCall, EnumerationFromMixedCaseProvider) {
  CMPIObjectPath *path = NewPath("Demo_Fan");
  LogCapture log;
  CMPIEnumeration *en = CBEnumInstance(ctx_, "Demo_Fan", path, 0);
  ASSERT_NE(en, nullptr);
  EXPECT_THAT(log.lines(),
              ElementsAreArray(
                  Framed("CBEnumInstance", Loaded("Demo_Fan", "Demo_MixedCase", "demo_mixedcase",
                                                  setup_.directory(), "ReturnEnumerateData"))));
  std::vector<CMPIInstance *> elements = Elements(en);
  ASSERT_EQ(elements.size(), 1u);
  EXPECT_EQ(Text(elements[0], "Provider"), "mixedcase");
  CMRelease(elements[0]);
  CMRelease(en);
  CMRelease(path);
}

TEST_F(LocalCall, EnumerationForClassWithoutProvider) {
  LogCapture log;
  EXPECT_EQ(CBEnumInstance(ctx_, "Test_Unregistered", nullptr, 0), nullptr);
  EXPECT_EQ(log.at_level(2), (std::vector<LogLine>{Error("ERROR: GetProviderName failed"),
                                                   Error("ERROR: library is not loaded")}));
  EXPECT_EQ(log.lines().front(), Enter("CBEnumInstance"));
  EXPECT_EQ(log.lines().back(), Exit("CBEnumInstance"));
}

TEST_F(LocalCall, EnumerationForNullClassName) {
  LogCapture log;
  EXPECT_EQ(CBEnumInstance(ctx_, nullptr, nullptr, 0), nullptr);
  EXPECT_THAT(log.lines(),
              ElementsAreArray({Enter("CBEnumInstance"), Enter("GetProviderName"),
                                Exit("GetProviderName"), Error("ERROR: GetProviderName failed"),
                                Error("ERROR: library is not loaded"), Exit("CBEnumInstance")}));
}

TEST_F(LocalCall, EnumerationFromLibraryWithoutEntry) {
  const std::string lib = setup_.library("libtest_noentry.so");
  LogCapture log;
  EXPECT_EQ(CBEnumInstance(ctx_, "Test_NoEntry", nullptr, 0), nullptr);
  EXPECT_EQ(log.at_level(2),
            (std::vector<LogLine>{
                Error("Error: dlsym '" + lib + ": undefined symbol: ReturnEnumerateData'"),
                Error("Unable to load library (null)"), Error("ERROR: library is not loaded")}));
  EXPECT_FALSE(IsLoaded(lib));
}

TEST_F(LocalCall, EnumerationWithMissingLibraryFile) {
  const std::string lib = setup_.library("libtest_absent.so");
  LogCapture log;
  EXPECT_EQ(CBEnumInstance(ctx_, "Test_Absent", nullptr, 0), nullptr);
  EXPECT_EQ(log.at_level(2),
            (std::vector<LogLine>{
                Error("Error: dlopen '" + lib +
                      ": cannot open shared object file: No such file or directory'"),
                Error("Unable to load library (null)"), Error("ERROR: library is not loaded")}));
}

TEST_F(LocalCall, EnumerationWhenThePathBufferCannotBeAllocated) {
  LogCapture log;
  {
    FailingAllocation fail(Allocation::Calloc, 1);
    EXPECT_EQ(CBEnumInstance(ctx_, "Test_One", nullptr, 0), nullptr);
    EXPECT_TRUE(fail.triggered());
  }
  EXPECT_EQ(log.at_level(2), (std::vector<LogLine>{Error("libPath memory allocation failed"),
                                                   Error("ERROR: library is not loaded")}));
}

}  // namespace
