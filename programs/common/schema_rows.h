// schema_rows.h - reading the schema database's class tables, for every program that does.
//
// The daemon (class hierarchy, GetClass, defaults) and the client (key properties) read the
// same tables the same way: the database opened read-only with a busy time-out, statements
// that take the class name as parameter 1, class names compared without regard to case, and
// superclass chains followed at most kMaxChain steps so that a cycle in a hand-written
// database cannot hang anyone. A statement that cannot be prepared (a database made before a
// table or column existed) reads as no rows.
#ifndef CMPI_WIRE_SCHEMA_ROWS_H
#define CMPI_WIRE_SCHEMA_ROWS_H

#include <sqlite3.h>

#include <string>
#include <vector>

namespace wire {

inline constexpr int kMaxChain = 64;

// name in lower case (ASCII), the key class names are compared by.
std::string lower_name(const std::string &name);

// The database at path, read-only; closed with the object.
class SchemaDatabase {
 public:
  SchemaDatabase() = default;
  ~SchemaDatabase() { sqlite3_close(db_); }
  SchemaDatabase(const SchemaDatabase &) = delete;
  SchemaDatabase &operator=(const SchemaDatabase &) = delete;

  // false with *why ("cannot open PATH: reason") when it cannot be opened.
  bool open(const std::string &path, std::string *why);
  sqlite3 *get() const { return db_; }

 private:
  sqlite3 *db_ = nullptr;
};

// One statement; finalized with the object.
class SchemaQuery {
 public:
  SchemaQuery() = default;
  ~SchemaQuery() { sqlite3_finalize(stmt_); }
  SchemaQuery(const SchemaQuery &) = delete;
  SchemaQuery &operator=(const SchemaQuery &) = delete;

  // false when the statement cannot be prepared.
  bool prepare(sqlite3 *db, const char *sql);
  // Starts over with text as parameter 1.
  void bind(const std::string &text);
  // true with a row, false at the end; *failed (when given) when stepping failed.
  bool step(bool *failed = nullptr);
  std::string text(int column) const;
  long long integer(int column) const { return sqlite3_column_int64(stmt_, column); }
  bool is_null(int column) const { return sqlite3_column_type(stmt_, column) == SQLITE_NULL; }

 private:
  sqlite3_stmt *stmt_ = nullptr;
};

// class_name and its superclasses (Tbl_Class.SuperClass), farthest first, class_name last.
// A database without Tbl_Class gives class_name alone.
std::vector<std::string> superclass_chain(sqlite3 *db, const std::string &class_name);

}  // namespace wire

#endif  // CMPI_WIRE_SCHEMA_ROWS_H
