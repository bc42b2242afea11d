#include "paths/fixed_paths.h"

#include <gtest/gtest.h>
#include <pwd.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <string>

namespace {

using cmpiutility::provider_directory;
using cmpiutility::schema_database_path;

// Sets or clears one environment variable for the life of the object, restoring the old value.
class ScopedEnv {
 public:
  ScopedEnv(const char *name, const char *value) : name_(name) {
    const char *old = getenv(name);
    had_ = old != nullptr;
    if (had_) old_ = old;
    if (value != nullptr)
      setenv(name, value, 1);
    else
      unsetenv(name);
  }
  ~ScopedEnv() {
    if (had_)
      setenv(name_.c_str(), old_.c_str(), 1);
    else
      unsetenv(name_.c_str());
  }

 private:
  std::string name_;
  std::string old_;
  bool had_ = false;
};

TEST(FixedPaths, UnsetVariablesGiveTheFixedPaths) {
  ScopedEnv db("CMPIUTILITY_SCHEMA_DB", nullptr);
  ScopedEnv dir("CMPIUTILITY_PROVIDER_DIR", nullptr);
  EXPECT_STREQ(schema_database_path(), "/etc/wsman/Database/Schema/CIMSchema.db");
  EXPECT_EQ(provider_directory(), "/lib/cmpi/");
}

TEST(FixedPaths, EmptyVariablesGiveTheFixedPaths) {
  ScopedEnv db("CMPIUTILITY_SCHEMA_DB", "");
  ScopedEnv dir("CMPIUTILITY_PROVIDER_DIR", "");
  EXPECT_STREQ(schema_database_path(), "/etc/wsman/Database/Schema/CIMSchema.db");
  EXPECT_EQ(provider_directory(), "/lib/cmpi/");
}

TEST(FixedPaths, OverridesAreHonoured) {
  ScopedEnv db("CMPIUTILITY_SCHEMA_DB", "/tmp/test-schema.db");
  ScopedEnv dir("CMPIUTILITY_PROVIDER_DIR", "/tmp/providers/");
  EXPECT_STREQ(schema_database_path(), "/tmp/test-schema.db");
  EXPECT_EQ(provider_directory(), "/tmp/providers/");
}

TEST(FixedPaths, ProviderDirectoryGetsItsTrailingSlash) {
  ScopedEnv dir("CMPIUTILITY_PROVIDER_DIR", "/tmp/providers");
  EXPECT_EQ(provider_directory(), "/tmp/providers/");
}

TEST(FixedPaths, EachCallReadsTheEnvironmentAfresh) {
  ScopedEnv db("CMPIUTILITY_SCHEMA_DB", "/tmp/first.db");
  EXPECT_STREQ(schema_database_path(), "/tmp/first.db");
  setenv("CMPIUTILITY_SCHEMA_DB", "/tmp/second.db", 1);
  EXPECT_STREQ(schema_database_path(), "/tmp/second.db");
}

// The probe's standard output (a sanitizer build's complaints on stderr are not part of it).
std::string run_probe(const std::string &program) {
  std::string command = program + " 2>/dev/null";
  FILE *pipe = popen(command.c_str(), "r");
  if (pipe == nullptr) return "popen failed";
  std::string out;
  char buffer[256];
  while (fgets(buffer, sizeof buffer, pipe) != nullptr) out += buffer;
  pclose(pipe);
  return out;
}

TEST(FixedPaths, ProbeSeesTheOverridesWhenUnprivileged) {
  ScopedEnv db("CMPIUTILITY_SCHEMA_DB", "/tmp/probe.db");
  ScopedEnv dir("CMPIUTILITY_PROVIDER_DIR", "/tmp/probe-providers");
  EXPECT_EQ(run_probe(FIXED_PATHS_PROBE), "/tmp/probe.db\n/tmp/probe-providers/\n");
}

// A set-user-ID program must not let its caller redirect it to another database or to other
// provider code: secure_getenv hides the overrides there.
TEST(FixedPaths, OverridesAreIgnoredInSetUserIdPrograms) {
  if (geteuid() != 0) GTEST_SKIP() << "needs root to make a set-user-ID copy owned by nobody";
  struct passwd *nobody = getpwnam("nobody");
  if (nobody == nullptr) GTEST_SKIP() << "no user nobody on this machine";

  char dir_template[] = "/tmp/fixed-paths-XXXXXX";
  ASSERT_NE(mkdtemp(dir_template), nullptr);
  struct statvfs fs {};
  if (statvfs(dir_template, &fs) == 0 && (fs.f_flag & ST_NOSUID) != 0) {
    rmdir(dir_template);
    GTEST_SKIP() << "/tmp is mounted nosuid";
  }
  std::string dir = dir_template;
  std::string copy = dir + "/probe";
  {
    std::ifstream in(FIXED_PATHS_PROBE, std::ios::binary);
    std::ofstream out(copy, std::ios::binary);
    out << in.rdbuf();
  }
  ASSERT_EQ(chmod(dir.c_str(), 0755), 0);
  ASSERT_EQ(chown(copy.c_str(), nobody->pw_uid, nobody->pw_gid), 0);
  ASSERT_EQ(chmod(copy.c_str(), 04755), 0);

  struct stat st {};
  ASSERT_EQ(stat(copy.c_str(), &st), 0);
  ASSERT_TRUE(st.st_mode & S_ISUID);

  ScopedEnv db("CMPIUTILITY_SCHEMA_DB", "/tmp/probe.db");
  ScopedEnv providers("CMPIUTILITY_PROVIDER_DIR", "/tmp/probe-providers");
  std::string out = run_probe(copy);
  unlink(copy.c_str());
  rmdir(dir.c_str());
  EXPECT_EQ(out, "/etc/wsman/Database/Schema/CIMSchema.db\n/lib/cmpi/\n");
}

}  // namespace
