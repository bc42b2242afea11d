// class_definition.cpp - reading a class definition with SQLite.
#include "class_definition.h"

#include <sqlite3.h>

namespace hostd {
namespace {

class Database {
 public:
  ~Database() { sqlite3_close(db_); }
  bool open(const std::string &path, std::string *why) {
    if (sqlite3_open_v2(path.c_str(), &db_, SQLITE_OPEN_READONLY, nullptr) != SQLITE_OK) {
      *why = "cannot open " + path + ": " + (db_ ? sqlite3_errmsg(db_) : "out of memory");
      return false;
    }
    sqlite3_busy_timeout(db_, 2000);
    return true;
  }
  sqlite3 *get() const { return db_; }

 private:
  sqlite3 *db_ = nullptr;
};

class Statement {
 public:
  ~Statement() { sqlite3_finalize(stmt_); }
  bool prepare(sqlite3 *db, const char *sql, const std::string &class_name, std::string *why) {
    if (sqlite3_prepare_v2(db, sql, -1, &stmt_, nullptr) != SQLITE_OK) {
      *why = std::string("cannot read the class definitions: ") + sqlite3_errmsg(db);
      return false;
    }
    sqlite3_bind_text(stmt_, 1, class_name.c_str(), -1, SQLITE_TRANSIENT);
    return true;
  }
  // true with a row, false at the end; *failed when stepping failed.
  bool step(bool *failed) {
    int rc = sqlite3_step(stmt_);
    *failed = rc != SQLITE_ROW && rc != SQLITE_DONE;
    return rc == SQLITE_ROW;
  }
  std::string text(int column) const {
    const unsigned char *value = sqlite3_column_text(stmt_, column);
    return value ? reinterpret_cast<const char *>(value) : "";
  }
  unsigned integer(int column) const {
    return static_cast<unsigned>(sqlite3_column_int64(stmt_, column));
  }

 private:
  sqlite3_stmt *stmt_ = nullptr;
};

const char kClassSql[] =
    "SELECT ClassName, NameSpace FROM Tbl_ClassMetadata WHERE ClassName = ?1 COLLATE NOCASE";
const char kPropertySql[] =
    "SELECT PropertyName FROM Tbl_ClassProperty WHERE ClassName = ?1 COLLATE NOCASE "
    "ORDER BY Position";
const char kMethodSql[] =
    "SELECT MethodName FROM Tbl_ClassMethod WHERE ClassName = ?1 COLLATE NOCASE "
    "ORDER BY Position";
const char kParameterSql[] =
    "SELECT p.MethodName, p.ParameterName, p.DataType, p.Direction "
    "FROM Tbl_MethodParameter AS p LEFT JOIN Tbl_ClassMethod AS m "
    "ON m.ClassName = p.ClassName AND m.MethodName = p.MethodName "
    "WHERE p.ClassName = ?1 COLLATE NOCASE ORDER BY m.Position, p.MethodName, p.Position";

bool read_names(sqlite3 *db, const char *sql, const std::string &class_name,
                std::vector<std::string> *out, std::string *why) {
  Statement stmt;
  if (!stmt.prepare(db, sql, class_name, why)) return false;
  bool failed = false;
  while (stmt.step(&failed)) out->push_back(stmt.text(0));
  if (failed) *why = std::string("cannot read the class definitions: ") + sqlite3_errmsg(db);
  return !failed;
}

}  // namespace

bool schema_database_opens(const std::string &path, std::string *why) {
  Database db;
  return db.open(path, why);
}

ClassLookup load_class_definition(const std::string &path, const std::string &class_name,
                                  ClassDefinition *definition, std::string *why) {
  Database db;
  if (!db.open(path, why)) return ClassLookup::kFailed;
  {
    Statement stmt;
    if (!stmt.prepare(db.get(), kClassSql, class_name, why)) return ClassLookup::kFailed;
    bool failed = false;
    if (!stmt.step(&failed)) {
      if (failed) {
        *why = std::string("cannot read Tbl_ClassMetadata: ") + sqlite3_errmsg(db.get());
        return ClassLookup::kFailed;
      }
      return ClassLookup::kUnknownClass;
    }
    definition->name = stmt.text(0);
    definition->name_space = stmt.text(1);
  }
  if (!read_names(db.get(), kPropertySql, class_name, &definition->properties, why) ||
      !read_names(db.get(), kMethodSql, class_name, &definition->methods, why)) {
    return ClassLookup::kFailed;
  }
  Statement stmt;
  if (!stmt.prepare(db.get(), kParameterSql, class_name, why)) return ClassLookup::kFailed;
  bool failed = false;
  while (stmt.step(&failed)) {
    definition->parameters.push_back(
        MethodParameter{stmt.text(0), stmt.text(1), stmt.integer(2), stmt.text(3)});
  }
  if (failed) {
    *why = std::string("cannot read Tbl_MethodParameter: ") + sqlite3_errmsg(db.get());
    return ClassLookup::kFailed;
  }
  return ClassLookup::kFound;
}

}  // namespace hostd
