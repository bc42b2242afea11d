#include "provider/loader.h"

#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <string>
#include <vector>

#include "fault_injection.h"
#include "log_capture.h"
#include "provider_fixture.h"

namespace {

using namespace cmpitest;
using ::testing::ElementsAreArray;

// The lines GetProviderName writes when it finds the provider of className.
std::vector<LogLine> ProviderFound(const std::string &className, const std::string &provider) {
  return {Enter("GetProviderName"),
          Trace("'GetProviderName:' sql_query = 'select providername from Tbl_ClassMetadata "
                "where classname=? COLLATE NOCASE' for the class = '" +
                className + "'"),
          Trace("providername value:" + provider + " text = '" + provider + "'"),
          Exit("GetProviderName")};
}

std::vector<LogLine> Join(std::vector<LogLine> first, const std::vector<LogLine> &second) {
  first.insert(first.end(), second.begin(), second.end());
  return first;
}

// Whether the library at path is loaded in this process right now.
bool IsLoaded(const std::string &path) {
  void *handle = dlopen(path.c_str(), RTLD_LAZY | RTLD_NOLOAD);
  if (handle == nullptr) return false;
  dlclose(handle);
  return true;
}

// Marks for out-parameters that must stay untouched.
void *const kUntouched = reinterpret_cast<void *>(0x1);

TEST(ProviderOpenMode, IsLazyDeepbindGlobalOutsideTheSanitizedBuild) {
#ifdef CMPIUTILITY_SANITIZED
  // The sanitizer runtime refuses RTLD_DEEPBIND.
  EXPECT_EQ(cmpiutility::kProviderOpenMode, 0x101);
  EXPECT_EQ(cmpiutility::kProviderOpenMode, RTLD_LAZY | RTLD_GLOBAL);
#else
  EXPECT_EQ(cmpiutility::kProviderOpenMode, 0x109);
  EXPECT_EQ(cmpiutility::kProviderOpenMode, RTLD_LAZY | RTLD_DEEPBIND | RTLD_GLOBAL);
#endif
}

TEST(LocalloadProvider, OpensTheLibraryAndFindsTheEntry) {
  ProviderSetup setup;
  const std::string path = setup.library("libtest_one.so");
  void *handle = kUntouched;
  void *entry = kUntouched;
  LogCapture log;
  ASSERT_EQ(localloadProvider("Test_One", "ReturnGetInstance", &handle, &entry), 0);
  ASSERT_NE(handle, nullptr);
  ASSERT_NE(handle, kUntouched);
  EXPECT_EQ(entry, dlsym(handle, "ReturnGetInstance"));
  EXPECT_THAT(log.lines(),
              ElementsAreArray(
                  Join(ProviderFound("Test_One", "Test_One"),
                       {Trace("1. providerName = 'Test_One'"), Trace("providerName = 'test_one'"),
                        Trace("Class Name = Test_One libPath = '" + path + "'"),
                        Trace("libpath to be open : " + path), Enter("getSymHandler"),
                        Trace("dlopen success, symbol to be called ReturnGetInstance"),
                        Exit("getSymHandler")})));
  // The caller owns the handle.
  EXPECT_TRUE(IsLoaded(path));
  dlclose(handle);
  EXPECT_FALSE(IsLoaded(path));
}

TEST(LocalloadProvider, LooksUpTheSymbolItIsGiven) {
  ProviderSetup setup;
  void *handle = nullptr;
  void *entry = nullptr;
  LogCapture log;
  ASSERT_EQ(localloadProvider("Test_Two", "ReturnEnumerateData", &handle, &entry), 0);
  EXPECT_EQ(entry, dlsym(handle, "ReturnEnumerateData"));
  EXPECT_TRUE(log.contains(Trace("dlopen success, symbol to be called ReturnEnumerateData")));
  dlclose(handle);
}

// The schema spells the provider Demo_MixedCase; the file is libdemo_mixedcase.so. (A decoy
// libDemo_MixedCase.so holding another provider sits next to it.)
TEST(LocalloadProvider, MixedCaseProviderLoadsTheLowerCaseFile) {
  ProviderSetup setup;
  const std::string path = setup.library("libdemo_mixedcase.so");
  void *handle = nullptr;
  void *entry = nullptr;
  LogCapture log;
  ASSERT_EQ(localloadProvider("Demo_Fan", "ReturnGetInstance", &handle, &entry), 0);
  EXPECT_TRUE(ContainsInOrder(log.lines(), {Trace("1. providerName = 'Demo_MixedCase'"),
                                            Trace("providerName = 'demo_mixedcase'"),
                                            Trace("Class Name = Demo_Fan libPath = '" + path + "'"),
                                            Trace("libpath to be open : " + path)}));
  Dl_info info;
  ASSERT_NE(dladdr(entry, &info), 0);
  EXPECT_EQ(std::filesystem::path(info.dli_fname).filename(), "libdemo_mixedcase.so");
  EXPECT_TRUE(IsLoaded(path));
  EXPECT_FALSE(IsLoaded(setup.library("libDemo_MixedCase.so")));
  dlclose(handle);
}

// The class is looked up without regard to case, so any spelling of it finds the provider.
TEST(LocalloadProvider, ClassNameCaseDoesNotMatter) {
  ProviderSetup setup;
  void *handle = nullptr;
  void *entry = nullptr;
  ASSERT_EQ(localloadProvider("DEMO_FAN", "ReturnGetInstance", &handle, &entry), 0);
  dlclose(handle);
}

TEST(LocalloadProvider, ClassWithoutProviderFailsAtTheFirstStep) {
  ProviderSetup setup;
  void *handle = kUntouched;
  void *entry = kUntouched;
  LogCapture log;
  EXPECT_EQ(localloadProvider("Test_Unregistered", "ReturnGetInstance", &handle, &entry), 1);
  EXPECT_EQ(handle, kUntouched);
  EXPECT_EQ(entry, kUntouched);
  EXPECT_EQ(log.lines().back(), Error("ERROR: GetProviderName failed"));
  EXPECT_EQ(log.at_level(2), std::vector<LogLine>{Error("ERROR: GetProviderName failed")});
  EXPECT_FALSE(log.contains(Enter("getSymHandler")));
}

TEST(LocalloadProvider, NullClassNameFailsAtTheFirstStep) {
  ProviderSetup setup;
  void *handle = kUntouched;
  void *entry = kUntouched;
  LogCapture log;
  EXPECT_EQ(localloadProvider(nullptr, "ReturnGetInstance", &handle, &entry), 1);
  EXPECT_THAT(log.lines(), ElementsAreArray({Enter("GetProviderName"), Exit("GetProviderName"),
                                             Error("ERROR: GetProviderName failed")}));
  EXPECT_EQ(handle, kUntouched);
}

TEST(LocalloadProvider, LibraryWithoutTheEntryIsClosedAgain) {
  ProviderSetup setup;
  const std::string path = setup.library("libtest_noentry.so");
  void *handle = kUntouched;
  void *entry = kUntouched;
  LogCapture log;
  EXPECT_EQ(localloadProvider("Test_NoEntry", "ReturnGetInstance", &handle, &entry), 1);
  EXPECT_EQ(handle, nullptr);
  EXPECT_EQ(entry, nullptr);
  EXPECT_FALSE(IsLoaded(path));
  EXPECT_THAT(
      log.lines(),
      ElementsAreArray(
          Join(ProviderFound("Test_NoEntry", "Test_NoEntry"),
               {Trace("1. providerName = 'Test_NoEntry'"), Trace("providerName = 'test_noentry'"),
                Trace("Class Name = Test_NoEntry libPath = '" + path + "'"),
                Trace("libpath to be open : " + path), Enter("getSymHandler"),
                Trace("dlopen success, symbol to be called ReturnGetInstance"),
                Error("Error: dlsym '" + path + ": undefined symbol: ReturnGetInstance'"),
                Exit("getSymHandler"),
                // The message was taken by the line before: nothing is left to print.
                Error("Unable to load library (null)")})));
}

TEST(LocalloadProvider, MissingLibraryFileFailsAtDlopen) {
  ProviderSetup setup;
  const std::string path = setup.library("libtest_absent.so");
  void *handle = kUntouched;
  void *entry = kUntouched;
  LogCapture log;
  EXPECT_EQ(localloadProvider("Test_Absent", "ReturnGetInstance", &handle, &entry), 1);
  EXPECT_EQ(handle, nullptr);
  EXPECT_EQ(entry, nullptr);
  EXPECT_THAT(log.lines(),
              ElementsAreArray(Join(
                  ProviderFound("Test_Absent", "Test_Absent"),
                  {Trace("1. providerName = 'Test_Absent'"), Trace("providerName = 'test_absent'"),
                   Trace("Class Name = Test_Absent libPath = '" + path + "'"),
                   Trace("libpath to be open : " + path),
                   Error("Error: dlopen '" + path +
                         ": cannot open shared object file: No such file or "
                         "directory'"),
                   Error("Unable to load library (null)")})));
}

TEST(LocalloadProvider, PathBufferAllocationFailure) {
  ProviderSetup setup;
  void *handle = kUntouched;
  void *entry = kUntouched;
  LogCapture log;
  {
    FailingAllocation fail(Allocation::Calloc, 1);
    EXPECT_EQ(localloadProvider("Test_One", "ReturnGetInstance", &handle, &entry), 1);
    EXPECT_TRUE(fail.triggered());
  }
  EXPECT_EQ(handle, kUntouched);
  EXPECT_EQ(entry, kUntouched);
  EXPECT_THAT(log.lines(), ElementsAreArray(Join(ProviderFound("Test_One", "Test_One"),
                                                 {Trace("1. providerName = 'Test_One'"),
                                                  Trace("providerName = 'test_one'"),
                                                  Error("libPath memory allocation failed")})));
  EXPECT_FALSE(IsLoaded(setup.library("libtest_one.so")));
}

// The buffer is sized from the directory in use: a long directory works as well as the fixed one.
TEST(LocalloadProvider, LongProviderDirectory) {
  ProviderSetup setup;
  std::string deep = setup.directory();
  for (int i = 0; i < 8; ++i) deep += "a-rather-long-directory-name-" + std::to_string(i) + "/";
  std::filesystem::create_directories(deep);
  const std::string path = deep + "libtest_one.so";
  std::filesystem::copy_file(setup.library("libtest_one.so"), path);
  // Given without its trailing slash: the directory gets one.
  std::string without_slash = deep.substr(0, deep.size() - 1);
  setenv("CMPIUTILITY_PROVIDER_DIR", without_slash.c_str(), 1);
  void *handle = nullptr;
  void *entry = nullptr;
  LogCapture log;
  ASSERT_EQ(localloadProvider("Test_One", "ReturnGetInstance", &handle, &entry), 0);
  EXPECT_TRUE(log.contains(Trace("libpath to be open : " + path)));
  EXPECT_TRUE(IsLoaded(path));
  dlclose(handle);
}

// Without the override the fixed directory "/lib/cmpi/" is used.
TEST(LocalloadProvider, FixedDirectoryWithoutOverride) {
  ProviderSetup setup;
  unsetenv("CMPIUTILITY_PROVIDER_DIR");
  void *handle = nullptr;
  void *entry = nullptr;
  LogCapture log;
  const int rc = localloadProvider("Test_Absent", "ReturnGetInstance", &handle, &entry);
  EXPECT_EQ(rc, 1);
  EXPECT_TRUE(
      log.contains(Trace("Class Name = Test_Absent libPath = '/lib/cmpi/libtest_absent.so'")));
  EXPECT_TRUE(log.contains(Trace("libpath to be open : /lib/cmpi/libtest_absent.so")));
}

}  // namespace
