// provider_fixture.h - a temporary provider directory and schema database for the local-call
// tests.
//
// ProviderSetup copies the test provider libraries built into TEST_PROVIDER_BUILD_DIR into a new
// temporary directory, points CMPIUTILITY_PROVIDER_DIR at it and registers their classes in a
// temporary schema database (SchemaDatabase, which points CMPIUTILITY_SCHEMA_DB at itself). Both
// variables are restored and both directories removed on destruction.
#ifndef CMPITEST_PROVIDER_FIXTURE_H
#define CMPITEST_PROVIDER_FIXTURE_H

#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <string>

#include "schema_database.h"

namespace cmpitest {

// Class → provider registrations. Each provider's library file is "lib" + its name in lower case
// + ".so", except Test_Absent, which has no library file at all.
struct Registration {
  const char *className;
  const char *providerName;
  const char *libraryFile;  // the built file copied into the directory, or nullptr
};

inline constexpr Registration kRegistrations[] = {
    {"Test_One", "Test_One", "libtest_one.so"},
    {"Test_Two", "Test_Two", "libtest_two.so"},
    {"Test_None", "Test_None", "libtest_none.so"},
    {"Test_Failing", "Test_Failing", "libtest_failing.so"},
    {"Test_FailingOne", "Test_Failing_One", "libtest_failing_one.so"},
    {"Test_NoEntry", "Test_NoEntry", "libtest_noentry.so"},
    {"Test_Untouched", "Test_Untouched", "libtest_untouched.so"},
    {"Test_NullDatum", "Test_NullDatum", "libtest_nulldatum.so"},
    {"Test_Reference", "Test_Reference", "libtest_reference.so"},
    {"Demo_Fan", "Demo_MixedCase", "libdemo_mixedcase.so"},
    {"Test_Absent", "Test_Absent", nullptr},
};

class ProviderSetup {
 public:
  ProviderSetup() {
    char pattern[] = "/tmp/cmpiu-providers-XXXXXX";
    const char *made = mkdtemp(pattern);
    EXPECT_NE(made, nullptr);
    if (made != nullptr) root_ = made;
    directory_ = root_ + "/";
    namespace fs = std::filesystem;
    for (const Registration &r : kRegistrations) {
      db_.add({r.className, r.providerName, "root/test", "0"});
      if (r.libraryFile != nullptr) {
        fs::copy_file(fs::path(TEST_PROVIDER_BUILD_DIR) / r.libraryFile,
                      directory_ + r.libraryFile);
      }
    }
    // A decoy under the provider's name as the schema spells it: a loader that forgot to lower
    // the case would load the two-instance provider instead.
    fs::copy_file(fs::path(TEST_PROVIDER_BUILD_DIR) / "libtest_two.so",
                  directory_ + "libDemo_MixedCase.so");
    const char *old = getenv(kVariable);
    had_old_ = old != nullptr;
    if (had_old_) old_ = old;
    setenv(kVariable, directory_.c_str(), 1);
  }

  ~ProviderSetup() {
    if (had_old_)
      setenv(kVariable, old_.c_str(), 1);
    else
      unsetenv(kVariable);
    std::error_code ignored;
    std::filesystem::remove_all(root_, ignored);
  }

  ProviderSetup(const ProviderSetup &) = delete;
  ProviderSetup &operator=(const ProviderSetup &) = delete;

  // The provider directory, with its trailing slash.
  const std::string &directory() const { return directory_; }
  // The full path of a library file in the directory.
  std::string library(const std::string &file) const { return directory_ + file; }
  SchemaDatabase &database() { return db_; }

 private:
  static constexpr const char *kVariable = "CMPIUTILITY_PROVIDER_DIR";

  SchemaDatabase db_;
  std::string root_;
  std::string directory_;
  std::string old_;
  bool had_old_ = false;
};

}  // namespace cmpitest

#endif  // CMPITEST_PROVIDER_FIXTURE_H
