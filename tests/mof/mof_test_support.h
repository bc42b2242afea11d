// mof_test_support.h - helpers of the cmpi-mof tests: MOF read from memory, a temporary folder,
// and the rows of an SQLite query.
//
//   mof::Diagnostics d;
//   mof::SchemaRows rows = moftest::Import({{"a.mof", "class A { };"}}, d);
//   moftest::TempDir dir;                        // removed with everything in it
//   moftest::Rows(dir.path() + "/db", "SELECT ...")   // each row "a|b|NULL"
#ifndef MOFTEST_MOF_TEST_SUPPORT_H
#define MOFTEST_MOF_TEST_SUPPORT_H

#include <gtest/gtest.h>
#include <sqlite3.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <utility>
#include <vector>

#include "class_catalog.h"
#include "diagnostics.h"
#include "memory_source_reader.h"
#include "mof_tool.h"
#include "schema_rows.h"

namespace moftest {

using Files = std::vector<std::pair<std::string, std::string>>;

// Imports the files (all read, in order) from memory, with root/cimv2 as the namespace.
inline mof::SchemaRows Import(const Files &files, mof::Diagnostics &diagnostics,
                              const mof::ClassCatalog &catalog = mof::EmptyCatalog()) {
  mof::MemorySourceReader sources;
  std::vector<std::string> names;
  for (const auto &[name, text] : files) {
    sources.add(name, text);
    names.push_back(name);
  }
  return mof::ImportFiles(names, "root/cimv2", sources, catalog, diagnostics);
}

// All diagnostic lines joined with newlines (for failure messages and matching).
inline std::string Lines(const mof::Diagnostics &diagnostics) {
  std::string text;
  for (const std::string &line : diagnostics.lines()) text += line + "\n";
  return text;
}

// The one error line an import of text as "t.mof" gives; fails the test when there is not
// exactly one line.
inline std::string OnlyError(const std::string &text) {
  mof::Diagnostics diagnostics;
  Import({{"t.mof", text}}, diagnostics);
  EXPECT_EQ(diagnostics.lines().size(), 1u) << Lines(diagnostics);
  EXPECT_TRUE(diagnostics.failed());
  return diagnostics.lines().empty() ? "" : diagnostics.lines()[0];
}

class TempDir {
 public:
  TempDir() {
    char pattern[] = "/tmp/cmpi-mof-test-XXXXXX";
    const char *made = mkdtemp(pattern);
    EXPECT_NE(made, nullptr);
    if (made != nullptr) path_ = made;
  }
  ~TempDir() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  TempDir(const TempDir &) = delete;
  TempDir &operator=(const TempDir &) = delete;

  const std::string &path() const { return path_; }
  // Writes text to the file name in the folder; returns its path.
  std::string write(const std::string &name, const std::string &text) const {
    const std::string file = path_ + "/" + name;
    std::filesystem::create_directories(std::filesystem::path(file).parent_path());
    std::ofstream(file, std::ios::binary) << text;
    return file;
  }

 private:
  std::string path_;
};

// Every row of a query on the database at path, columns joined with '|', NULL as "NULL".
inline std::vector<std::string> Rows(const std::string &path, const std::string &query) {
  sqlite3 *db = nullptr;
  std::vector<std::string> rows;
  if (sqlite3_open_v2(path.c_str(), &db, SQLITE_OPEN_READONLY, nullptr) != SQLITE_OK) {
    ADD_FAILURE() << "cannot open " << path;
    sqlite3_close(db);
    return rows;
  }
  sqlite3_stmt *stmt = nullptr;
  if (sqlite3_prepare_v2(db, query.c_str(), -1, &stmt, nullptr) != SQLITE_OK) {
    ADD_FAILURE() << sqlite3_errmsg(db) << " in " << query;
  }
  while (stmt != nullptr && sqlite3_step(stmt) == SQLITE_ROW) {
    std::string row;
    for (int i = 0; i < sqlite3_column_count(stmt); ++i) {
      if (i > 0) row += "|";
      const unsigned char *text = sqlite3_column_text(stmt, i);
      row += text != nullptr ? reinterpret_cast<const char *>(text) : "NULL";
    }
    rows.push_back(row);
  }
  sqlite3_finalize(stmt);
  sqlite3_close(db);
  return rows;
}

// The whole content of the five schema tables, in a stable order.
inline std::vector<std::string> Dump(const std::string &path) {
  std::vector<std::string> all;
  for (const char *table : {"Tbl_ClassMetadata", "Tbl_Class", "Tbl_ClassProperty",
                            "Tbl_ClassMethod", "Tbl_MethodParameter"}) {
    for (const std::string &row :
         Rows(path, std::string("SELECT * FROM ") + table + " ORDER BY 1, 2, 3, 4"))
      all.push_back(std::string(table) + ": " + row);
  }
  return all;
}

}  // namespace moftest

#endif  // MOFTEST_MOF_TEST_SUPPORT_H
