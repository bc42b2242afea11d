// schema_files.h - a schema database made from share/schema.sql and share/demo-classes.sql.
//
//   demotest::DemoSchema schema;   // temp CIMSchema.db from share/*.sql, selected through
//                                  // CMPIUTILITY_SCHEMA_DB; CMPIUTILITY_PROVIDER_DIR points at
//                                  // the directory the demo provider is built into
//
// Both variables are restored and the directory removed on destruction.
#ifndef DEMOTEST_SCHEMA_FILES_H
#define DEMOTEST_SCHEMA_FILES_H

#include <gtest/gtest.h>
#include <sqlite3.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

namespace demotest {

// The text of a file in share/.
inline std::string ShareFile(const char *name) {
  std::ifstream in(std::string(DEMO_SHARE_DIR) + "/" + name);
  EXPECT_TRUE(in.good()) << name;
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

// Runs an SQL script on the database at path (created when missing).
inline void RunScript(const std::string &path, const std::string &script) {
  sqlite3 *db = nullptr;
  ASSERT_EQ(sqlite3_open_v2(path.c_str(), &db, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, nullptr),
            SQLITE_OK);
  char *message = nullptr;
  EXPECT_EQ(sqlite3_exec(db, script.c_str(), nullptr, nullptr, &message), SQLITE_OK)
      << (message != nullptr ? message : "");
  sqlite3_free(message);
  sqlite3_close(db);
}

// Sets an environment variable while it lives.
class ScopedVariable {
 public:
  ScopedVariable(const char *name, const std::string &value) : name_(name) {
    const char *old = getenv(name);
    hadOld_ = old != nullptr;
    if (hadOld_) old_ = old;
    setenv(name, value.c_str(), 1);
  }
  ~ScopedVariable() {
    if (hadOld_)
      setenv(name_, old_.c_str(), 1);
    else
      unsetenv(name_);
  }
  ScopedVariable(const ScopedVariable &) = delete;
  ScopedVariable &operator=(const ScopedVariable &) = delete;

 private:
  const char *name_;
  std::string old_;
  bool hadOld_ = false;
};

class DemoSchema {
 public:
  DemoSchema() {
    char pattern[] = "/tmp/demo-schema-XXXXXX";
    const char *made = mkdtemp(pattern);
    EXPECT_NE(made, nullptr);
    if (made != nullptr) directory_ = made;
    path_ = directory_ + "/CIMSchema.db";
    RunScript(path_, ShareFile("schema.sql"));
    RunScript(path_, ShareFile("demo-classes.sql"));
    database_ = std::make_unique<ScopedVariable>("CMPIUTILITY_SCHEMA_DB", path_);
    providers_ = std::make_unique<ScopedVariable>("CMPIUTILITY_PROVIDER_DIR", DEMO_PROVIDER_DIR);
  }
  ~DemoSchema() {
    providers_.reset();
    database_.reset();
    std::error_code ignored;
    std::filesystem::remove_all(directory_, ignored);
  }
  DemoSchema(const DemoSchema &) = delete;
  DemoSchema &operator=(const DemoSchema &) = delete;

  const std::string &path() const { return path_; }
  const std::string &directory() const { return directory_; }

 private:
  std::string directory_;
  std::string path_;
  std::unique_ptr<ScopedVariable> database_;
  std::unique_ptr<ScopedVariable> providers_;
};

}  // namespace demotest

#endif  // DEMOTEST_SCHEMA_FILES_H
