// Schema database look-ups: provider names, namespaces and the unload policy of classes.
#include <cmpiutility/schema.h>

#include <sqlite3.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "log/log.h"
#include "paths/fixed_paths.h"
#include "records/util_string.h"
#include "schema/name_space.h"

namespace {

constexpr char kClassTable[] = "Tbl_ClassMetadata";

// Statement texts are formatted into a buffer of this size, with the table name as parameter.
constexpr size_t kStatementSize = 512;

// Log lines print a missing text as "(null)".
const char *printable(const char *text) { return text != nullptr ? text : "(null)"; }

// One look-up: a read-only connection of its own, one statement stepped once, both finalized and
// closed when the object goes out of scope.
class SchemaQuery {
 public:
  // Opens the database; on failure logs "Cannot open database: %s" and closes what SQLite
  // handed back, leaving opened() false.
  SchemaQuery() {
    if (sqlite3_open_v2(cmpiutility::schema_database_path(), &db_, SQLITE_OPEN_READONLY, nullptr) !=
        SQLITE_OK) {
      CMPIU_ERROR("Cannot open database: %s", sqlite3_errmsg(db_));
      sqlite3_close(db_);
      db_ = nullptr;
    }
  }
  ~SchemaQuery() {
    sqlite3_finalize(stmt_);
    sqlite3_close(db_);
  }
  SchemaQuery(const SchemaQuery &) = delete;
  SchemaQuery &operator=(const SchemaQuery &) = delete;

  bool opened() const { return db_ != nullptr; }

  // Prepares sql. A preparation error is not reported: the statement is then missing and the
  // step finds no row.
  void prepare(const char *sql) {
    sqlite3_prepare_v2(db_, sql, static_cast<int>(strlen(sql)), &stmt_, nullptr);
  }

  // Binds text (up to its NUL, copied by SQLite) as parameter 1.
  void bind(const char *text) { sqlite3_bind_text(stmt_, 1, text, -1, SQLITE_TRANSIENT); }

  // Steps once and returns SQLite's result code (SQLITE_ROW when a row was found).
  int step() { return sqlite3_step(stmt_); }

  // Column 0 of the current row as text; nullptr for an SQL NULL.
  const char *column_text() const {
    return reinterpret_cast<const char *>(sqlite3_column_text(stmt_, 0));
  }

  const char *error_message() const { return sqlite3_errmsg(db_); }

 private:
  sqlite3 *db_ = nullptr;
  sqlite3_stmt *stmt_ = nullptr;
};

// The shared form of the two persistent look-ups: column 0 of the first row of sql, logged with
// label and copied with utilString_strdup (an empty text gives null).
char *first_persistent_text(const char *format, const char *label) {
  SchemaQuery query;
  if (!query.opened()) return nullptr;
  char sql[kStatementSize];
  snprintf(sql, sizeof(sql), format, kClassTable);
  query.prepare(sql);
  if (query.step() != SQLITE_ROW) return nullptr;
  const char *text = query.column_text();
  CMPIU_TRACE("%s: '%s'", label, printable(text));
  return utilString_strdup(text);
}

}  // namespace

char *GetPersistentProviderClassName() {
  CMPIU_TRACE_FUNCTION();
  return first_persistent_text("select ClassName from %s where UnloadNever=1", "ClassName");
}

char *GetPersistentProviderName() {
  CMPIU_TRACE_FUNCTION();
  return first_persistent_text("select ProviderName from %s where UnloadNever=1", "ProviderName");
}

int GetProviderUnloadStatus(char *className, int mode) {
  CMPIU_TRACE_FUNCTION();
  SchemaQuery query;
  if (!query.opened()) return 0;
  // Only modes 0 and 1 have a statement; any other mode runs the empty one and finds no row.
  char sql[kStatementSize] = "";
  if (mode == 1) {
    // The class name is bound, never pasted into the text, so no class name can alter the query.
    snprintf(sql, sizeof(sql), "select UnloadNever from %s where ClassName=?", kClassTable);
  } else if (mode == 0) {
    // Mode 0 asks whether any class at all must stay loaded; the class name plays no part.
    snprintf(sql, sizeof(sql), "select classname from %s where UnloadNever=1", kClassTable);
  }
  query.prepare(sql);
  if (mode == 1) query.bind(className);
  if (query.step() != SQLITE_ROW) return 0;
  const char *text = query.column_text();
  CMPIU_TRACE("Unload Never: '%s'", printable(text));
  if (mode == 1) {
    // Kept to 32 bits like the column's meaning (0 or 1); an SQL NULL counts as 0.
    return text != nullptr ? static_cast<int>(strtol(text, nullptr, 10)) : 0;
  }
  if (text == nullptr) return 0;
  CMPIU_LOG(cmpiutility::kLogLevelTrace, cmpiutility::kLogModuleAux,
            "Class has UnloadNever true %s", text);
  return 1;
}

char *GetProviderName(const char *className) {
  CMPIU_TRACE_FUNCTION();
  if (className == nullptr) return nullptr;
  SchemaQuery query;
  // Without the schema no request can be routed to a provider: the process cannot go on.
  if (!query.opened()) exit(1);
  char sql[kStatementSize];
  snprintf(sql, sizeof(sql), "select providername from %s where classname=? COLLATE NOCASE",
           kClassTable);
  CMPIU_TRACE("'%s:' sql_query = '%s' for the class = '%s'", __func__, sql, className);
  query.prepare(sql);
  query.bind(className);
  const int rc = query.step();
  if (rc != SQLITE_ROW) {
    CMPIU_TRACE("getproviderename ret value:%d:%s", rc, query.error_message());
    return nullptr;
  }
  const char *text = query.column_text();
  char *providerName = utilString_strdup(text);
  CMPIU_TRACE("providername value:%s text = '%s'", printable(providerName), printable(text));
  return providerName;
}

char *GetNameSpace(const char *className) {
  CMPIU_TRACE_FUNCTION();
  SchemaQuery query;
  if (!query.opened()) return nullptr;
  char sql[kStatementSize];
  // The class name is bound, never pasted into the text, so no class name can alter the query.
  snprintf(sql, sizeof(sql), "select NameSpace from %s where ClassName=?", kClassTable);
  query.prepare(sql);
  query.bind(className);
  if (query.step() != SQLITE_ROW) return nullptr;
  const char *text = query.column_text();
  CMPIU_TRACE("NameSpace: '%s'", printable(text));
  return text != nullptr ? strdup(text) : nullptr;
}
