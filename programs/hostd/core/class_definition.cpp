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

namespace {

const char kClassTableSql[] =
    "SELECT ClassName, NameSpace FROM Tbl_Class WHERE ClassName = ?1 COLLATE NOCASE";
const char kSuperClassSql[] =
    "SELECT SuperClass FROM Tbl_Class WHERE ClassName = ?1 COLLATE NOCASE";

// The first row's columns 0 and 1 of sql for class_name; false at no row or when the statement
// cannot be prepared (a database without Tbl_Class); *failed when stepping failed.
bool first_row(sqlite3 *db, const char *sql, const std::string &class_name, std::string *a,
               std::string *b, bool *failed) {
  *failed = false;
  Statement stmt;
  std::string ignored;
  if (!stmt.prepare(db, sql, class_name, &ignored)) return false;
  if (!stmt.step(failed)) return false;
  *a = stmt.text(0);
  if (b != nullptr) *b = stmt.text(1);
  return true;
}

bool same_name(const std::string &a, const std::string &b) {
  return a.size() == b.size() && sqlite3_strnicmp(a.c_str(), b.c_str(), static_cast<int>(a.size())) == 0;
}

void add_unique(std::vector<std::string> *names, const std::string &name) {
  for (const std::string &known : *names) {
    if (same_name(known, name)) return;
  }
  names->push_back(name);
}

// What class_name declares itself, merged into *definition: properties and methods it
// redeclares keep their inherited place; a redeclared method's parameters are its own.
bool merge_own(sqlite3 *db, const std::string &class_name, ClassDefinition *definition,
               std::string *why) {
  std::vector<std::string> properties;
  std::vector<std::string> methods;
  if (!read_names(db, kPropertySql, class_name, &properties, why) ||
      !read_names(db, kMethodSql, class_name, &methods, why)) {
    return false;
  }
  for (const std::string &name : properties) add_unique(&definition->properties, name);
  for (const std::string &name : methods) add_unique(&definition->methods, name);
  Statement stmt;
  if (!stmt.prepare(db, kParameterSql, class_name, why)) return false;
  std::vector<MethodParameter> own;
  bool failed = false;
  while (stmt.step(&failed)) {
    own.push_back(MethodParameter{stmt.text(0), stmt.text(1), stmt.integer(2), stmt.text(3)});
  }
  if (failed) {
    *why = std::string("cannot read Tbl_MethodParameter: ") + sqlite3_errmsg(db);
    return false;
  }
  std::vector<MethodParameter> merged;
  for (const MethodParameter &inherited : definition->parameters) {
    bool redeclared = false;
    for (const std::string &method : methods) redeclared = redeclared || same_name(method, inherited.method);
    if (!redeclared) merged.push_back(inherited);
  }
  merged.insert(merged.end(), own.begin(), own.end());
  definition->parameters = std::move(merged);
  return true;
}

}  // namespace

ClassLookup load_class_definition(const std::string &path, const std::string &class_name,
                                  ClassDefinition *definition, std::string *why) {
  Database db;
  if (!db.open(path, why)) return ClassLookup::kFailed;
  bool failed = false;
  if (!first_row(db.get(), kClassSql, class_name, &definition->name, &definition->name_space,
                 &failed)) {
    if (failed) {
      *why = std::string("cannot read Tbl_ClassMetadata: ") + sqlite3_errmsg(db.get());
      return ClassLookup::kFailed;
    }
    // A class without a provider is still a class when the hierarchy lists it.
    if (!first_row(db.get(), kClassTableSql, class_name, &definition->name,
                   &definition->name_space, &failed)) {
      if (failed) {
        *why = std::string("cannot read Tbl_Class: ") + sqlite3_errmsg(db.get());
        return ClassLookup::kFailed;
      }
      return ClassLookup::kUnknownClass;
    }
  }
  // The superclasses, nearest first; a cycle or a very deep chain stops the walk.
  std::vector<std::string> chain{definition->name};
  std::string current = definition->name;
  for (int depth = 0; depth < 64; ++depth) {
    std::string superclass;
    if (!first_row(db.get(), kSuperClassSql, current, &superclass, nullptr, &failed) ||
        superclass.empty()) {
      break;
    }
    bool seen = false;
    for (const std::string &known : chain) seen = seen || same_name(known, superclass);
    if (seen) break;
    chain.push_back(superclass);
    current = superclass;
  }
  for (auto it = chain.rbegin(); it != chain.rend(); ++it) {
    if (!merge_own(db.get(), *it, definition, why)) return ClassLookup::kFailed;
  }
  definition->defaults = load_class_defaults(path, definition->name);
  return ClassLookup::kFound;
}

}  // namespace hostd
