// schema_rows.cpp - read-only access to the schema database's class tables.
#include "schema_rows.h"

#include <algorithm>
#include <cctype>

namespace wire {

std::string lower_name(const std::string &name) {
  std::string lower = name;
  for (char &c : lower) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return lower;
}

bool SchemaDatabase::open(const std::string &path, std::string *why) {
  if (sqlite3_open_v2(path.c_str(), &db_, SQLITE_OPEN_READONLY, nullptr) != SQLITE_OK) {
    *why = "cannot open " + path + ": " + (db_ != nullptr ? sqlite3_errmsg(db_) : "out of memory");
    return false;
  }
  sqlite3_busy_timeout(db_, 2000);
  return true;
}

bool SchemaQuery::prepare(sqlite3 *db, const char *sql) {
  return sqlite3_prepare_v2(db, sql, -1, &stmt_, nullptr) == SQLITE_OK;
}

void SchemaQuery::bind(const std::string &text) {
  sqlite3_reset(stmt_);
  sqlite3_bind_text(stmt_, 1, text.c_str(), -1, SQLITE_TRANSIENT);
}

bool SchemaQuery::step(bool *failed) {
  const int rc = sqlite3_step(stmt_);
  if (failed != nullptr) *failed = rc != SQLITE_ROW && rc != SQLITE_DONE;
  return rc == SQLITE_ROW;
}

std::string SchemaQuery::text(int column) const {
  const unsigned char *value = sqlite3_column_text(stmt_, column);
  return value != nullptr ? reinterpret_cast<const char *>(value) : "";
}

std::vector<std::string> superclass_chain(sqlite3 *db, const std::string &class_name) {
  std::vector<std::string> chain{class_name};
  SchemaQuery query;
  if (query.prepare(db, "SELECT SuperClass FROM Tbl_Class WHERE ClassName = ?1 COLLATE NOCASE")) {
    for (int depth = 0; depth < kMaxChain; ++depth) {
      query.bind(chain.back());
      if (!query.step()) break;
      const std::string up = query.text(0);
      if (up.empty()) break;
      const bool seen = std::any_of(chain.begin(), chain.end(), [&](const std::string &c) {
        return lower_name(c) == lower_name(up);
      });
      if (seen) break;
      chain.push_back(up);
    }
  }
  std::reverse(chain.begin(), chain.end());
  return chain;
}

}  // namespace wire
