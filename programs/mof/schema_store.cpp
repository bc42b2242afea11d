// schema_store.cpp - see schema_store.h.
#include "schema_store.h"

#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cctype>

#include "schema_sql.h"

namespace mof {

namespace {

// The tables of share/schema.sql.
const char *const kTables[] = {"Tbl_ClassMetadata", "Tbl_Class", "Tbl_ClassProperty",
                               "Tbl_ClassMethod", "Tbl_MethodParameter"};

std::string Lower(std::string name) {
  for (char &c : name) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return name;
}

struct Finalizer {
  void operator()(sqlite3_stmt *statement) const { sqlite3_finalize(statement); }
};
using Statement = std::unique_ptr<sqlite3_stmt, Finalizer>;

bool FileExists(const std::string &path) {
  struct stat info {};
  return stat(path.c_str(), &info) == 0;
}

}  // namespace

void SchemaStore::Closer::operator()(sqlite3 *db) const { sqlite3_close(db); }

SchemaStore::SchemaStore(std::string path) : path_(std::move(path)) {
  if (!FileExists(path_)) return;
  open(false);
  tables();  // a file that is no database fails here, before any class is looked up
}

SchemaStore::~SchemaStore() = default;

void SchemaStore::fail(const std::string &what) const {
  throw DatabaseError(path_ + ": " + what + (db_ ? std::string(": ") + sqlite3_errmsg(db_.get()) : ""));
}

void SchemaStore::open(bool create) {
  sqlite3 *db = nullptr;
  const int flags = SQLITE_OPEN_READWRITE | (create ? SQLITE_OPEN_CREATE : 0);
  const int rc = sqlite3_open_v2(path_.c_str(), &db, flags, nullptr);
  db_.reset(db);
  if (rc != SQLITE_OK) fail("cannot open the database");
  sqlite3_busy_timeout(db, 5000);
}

std::set<std::string> SchemaStore::tables() const {
  std::set<std::string> names;
  if (!db_) return names;
  sqlite3_stmt *raw = nullptr;
  if (sqlite3_prepare_v2(db_.get(), "SELECT name FROM sqlite_master WHERE type = 'table'", -1, &raw,
                         nullptr) != SQLITE_OK)
    fail("cannot read the list of tables");
  Statement statement(raw);
  int rc;
  while ((rc = sqlite3_step(raw)) == SQLITE_ROW) {
    const unsigned char *text = sqlite3_column_text(raw, 0);
    names.insert(Lower(text != nullptr ? reinterpret_cast<const char *>(text) : ""));
  }
  if (rc != SQLITE_DONE) fail("cannot read the list of tables");
  return names;
}

std::optional<KnownClass> SchemaStore::find(const std::string &name) const {
  if (!db_ || tables().count("tbl_class") == 0) return std::nullopt;
  sqlite3_stmt *raw = nullptr;
  if (sqlite3_prepare_v2(db_.get(),
                         "SELECT ClassName, IsAssociation FROM Tbl_Class "
                         "WHERE ClassName = ? COLLATE NOCASE ORDER BY rowid LIMIT 1",
                         -1, &raw, nullptr) != SQLITE_OK)
    fail("cannot read Tbl_Class");
  Statement statement(raw);
  sqlite3_bind_text(raw, 1, name.c_str(), static_cast<int>(name.size()), SQLITE_TRANSIENT);
  const int rc = sqlite3_step(raw);
  if (rc == SQLITE_DONE) return std::nullopt;
  if (rc != SQLITE_ROW) fail("cannot read Tbl_Class");
  const unsigned char *text = sqlite3_column_text(raw, 0);
  return KnownClass{text != nullptr ? reinterpret_cast<const char *>(text) : name,
                    sqlite3_column_int(raw, 1) != 0};
}

void SchemaStore::write(const std::vector<SqlGroup> &groups) {
  const bool created = !db_;
  if (created) open(true);
  try {
    if (sqlite3_exec(db_.get(), "BEGIN IMMEDIATE", nullptr, nullptr, nullptr) != SQLITE_OK)
      fail("cannot start a transaction");
    try {
      writeInTransaction(groups);
    } catch (...) {
      sqlite3_exec(db_.get(), "ROLLBACK", nullptr, nullptr, nullptr);
      throw;
    }
  } catch (...) {
    if (created) {
      db_.reset();
      unlink(path_.c_str());
      unlink((path_ + "-journal").c_str());
    }
    throw;
  }
}

void SchemaStore::writeInTransaction(const std::vector<SqlGroup> &groups) {
  const std::set<std::string> present = tables();
  std::string missing;
  std::size_t found = 0;
  for (const char *table : kTables) {
    if (present.count(Lower(table)) != 0)
      ++found;
    else
      missing += std::string(missing.empty() ? "" : ", ") + table;
  }
  if (found > 0 && !missing.empty())
    throw DatabaseError(path_ + ": the database has only some of the schema tables (missing: " +
                        missing + "); it was made from an older share/schema.sql");
  if (found == 0) {
    char *message = nullptr;
    if (sqlite3_exec(db_.get(), kSchemaSql, nullptr, nullptr, &message) != SQLITE_OK) {
      const std::string reason = message != nullptr ? message : "unknown error";
      sqlite3_free(message);
      throw DatabaseError(path_ + ": cannot create the tables: " + reason);
    }
  }
  for (const SqlGroup &group : groups) {
    for (const SqlStatement &s : group.statements) {
      sqlite3_stmt *raw = nullptr;
      if (sqlite3_prepare_v2(db_.get(), s.sql.c_str(), static_cast<int>(s.sql.size()), &raw,
                             nullptr) != SQLITE_OK)
        fail("cannot store " + group.title);
      Statement statement(raw);
      for (std::size_t i = 0; i < s.parameters.size(); ++i) {
        const int index = static_cast<int>(i) + 1;
        const SqlValue &value = s.parameters[i];
        if (const auto *number = std::get_if<std::int64_t>(&value)) {
          sqlite3_bind_int64(raw, index, *number);
        } else if (const auto *text = std::get_if<std::string>(&value)) {
          sqlite3_bind_text(raw, index, text->c_str(), static_cast<int>(text->size()),
                            SQLITE_TRANSIENT);
        } else {
          sqlite3_bind_null(raw, index);
        }
      }
      if (sqlite3_step(raw) != SQLITE_DONE) fail("cannot store " + group.title);
    }
  }
  if (sqlite3_exec(db_.get(), "COMMIT", nullptr, nullptr, nullptr) != SQLITE_OK)
    fail("cannot commit the import");
}

}  // namespace mof
