// schema_database.h - a throw-away schema database for tests.
//
//   cmpitest::SchemaDatabase db;                 // temp dir + empty class table, selected
//   db.add({"Demo_Fan", "Demo_Provider", "root/cimv2", "0"});
//   char *name = GetProviderName("Demo_Fan");
//
// The object creates a temporary directory holding "CIMSchema.db" with the table
// "Tbl_ClassMetadata" (ClassName, ProviderName, NameSpace, UnloadNever) and points
// CMPIUTILITY_SCHEMA_DB at it; on destruction it removes the file and the directory and restores
// the variable. Header-only so every test folder can use it.
#ifndef CMPITEST_SCHEMA_DATABASE_H
#define CMPITEST_SCHEMA_DATABASE_H

#include <gtest/gtest.h>
#include <sqlite3.h>
#include <stdlib.h>
#include <unistd.h>

#include <string>

namespace cmpitest {

// One row; a nullptr field is stored as SQL NULL.
struct ClassRow {
  const char *className;
  const char *providerName;
  const char *nameSpace;
  const char *unloadNever;
};

class SchemaDatabase {
 public:
  SchemaDatabase() {
    char pattern[] = "/tmp/cmpiu-schema-XXXXXX";
    const char *made = mkdtemp(pattern);
    EXPECT_NE(made, nullptr);
    if (made != nullptr) directory_ = made;
    path_ = directory_ + "/CIMSchema.db";
    const char *old = getenv(kVariable);
    had_old_ = old != nullptr;
    if (had_old_) old_ = old;
    execute(
        "create table Tbl_ClassMetadata (ClassName TEXT, ProviderName TEXT, NameSpace TEXT, "
        "UnloadNever INTEGER)");
    select();
  }

  ~SchemaDatabase() {
    if (had_old_)
      setenv(kVariable, old_.c_str(), 1);
    else
      unsetenv(kVariable);
    unlink(path_.c_str());
    rmdir(directory_.c_str());
  }

  SchemaDatabase(const SchemaDatabase &) = delete;
  SchemaDatabase &operator=(const SchemaDatabase &) = delete;

  // Inserts one row, every value bound as text (or NULL).
  void add(const ClassRow &row) {
    sqlite3 *db = open();
    sqlite3_stmt *stmt = nullptr;
    ASSERT_EQ(sqlite3_prepare_v2(db,
                                 "insert into Tbl_ClassMetadata (ClassName, ProviderName, "
                                 "NameSpace, UnloadNever) values (?, ?, ?, ?)",
                                 -1, &stmt, nullptr),
              SQLITE_OK)
        << sqlite3_errmsg(db);
    const char *values[] = {row.className, row.providerName, row.nameSpace, row.unloadNever};
    for (int i = 0; i < 4; ++i) {
      if (values[i] != nullptr)
        sqlite3_bind_text(stmt, i + 1, values[i], -1, SQLITE_TRANSIENT);
      else
        sqlite3_bind_null(stmt, i + 1);
    }
    EXPECT_EQ(sqlite3_step(stmt), SQLITE_DONE) << sqlite3_errmsg(db);
    sqlite3_finalize(stmt);
    sqlite3_close(db);
  }

  // Runs one SQL statement on the database.
  void execute(const char *sql) {
    sqlite3 *db = open();
    char *message = nullptr;
    EXPECT_EQ(sqlite3_exec(db, sql, nullptr, nullptr, &message), SQLITE_OK)
        << (message != nullptr ? message : "");
    sqlite3_free(message);
    sqlite3_close(db);
  }

  // Points the library at this database.
  void select() { setenv(kVariable, path_.c_str(), 1); }

  // Points the library at a file that does not exist (in this object's directory).
  void select_missing() { setenv(kVariable, missing_path().c_str(), 1); }

  const std::string &path() const { return path_; }
  const std::string &directory() const { return directory_; }
  std::string missing_path() const { return directory_ + "/missing/CIMSchema.db"; }

 private:
  static constexpr const char *kVariable = "CMPIUTILITY_SCHEMA_DB";

  sqlite3 *open() {
    sqlite3 *db = nullptr;
    EXPECT_EQ(
        sqlite3_open_v2(path_.c_str(), &db, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, nullptr),
        SQLITE_OK);
    return db;
  }

  std::string directory_;
  std::string path_;
  std::string old_;
  bool had_old_ = false;
};

}  // namespace cmpitest

#endif  // CMPITEST_SCHEMA_DATABASE_H
