// schema_store.h - the schema database an import reads classes from and writes its rows to.
#ifndef CMPI_MOF_SCHEMA_STORE_H
#define CMPI_MOF_SCHEMA_STORE_H

#include <memory>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include "class_catalog.h"
#include "sql_statements.h"

struct sqlite3;

namespace mof {

// Why the database could not be read or written; the message names the file.
class DatabaseError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

class SchemaStore : public ClassCatalog {
 public:
  // Opens the database file at path when there is one; a missing file is made by write().
  // Throws DatabaseError when the file cannot be opened or is no SQLite database.
  explicit SchemaStore(std::string path);
  ~SchemaStore() override;
  SchemaStore(const SchemaStore &) = delete;
  SchemaStore &operator=(const SchemaStore &) = delete;

  // The class in Tbl_Class (name compared without regard to case); none in a database without
  // tables. Throws DatabaseError.
  std::optional<KnownClass> find(const std::string &name) const override;

  // Runs the groups' statements in one transaction. A database with none of the tables gets
  // them first, from share/schema.sql (schema_sql.h), in the same transaction; one with only
  // some of them is refused. Throws DatabaseError; nothing is written then (a file this call
  // made is removed again).
  void write(const std::vector<SqlGroup> &groups);

 private:
  struct Closer {
    void operator()(sqlite3 *db) const;
  };
  void open(bool create);
  std::set<std::string> tables() const;  // lower-case names of the tables there
  void writeInTransaction(const std::vector<SqlGroup> &groups);
  [[noreturn]] void fail(const std::string &what) const;  // what + SQLite's message

  std::string path_;
  std::unique_ptr<sqlite3, Closer> db_;
};

}  // namespace mof

#endif  // CMPI_MOF_SCHEMA_STORE_H
