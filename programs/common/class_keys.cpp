// class_keys.cpp - key property names read from the schema database.
#include "class_keys.h"

#include <sqlite3.h>

#include <algorithm>
#include <cctype>
#include <memory>

namespace wire {
namespace {

struct DatabaseClose {
  void operator()(sqlite3 *db) const { sqlite3_close(db); }
};
struct StatementFinalize {
  void operator()(sqlite3_stmt *stmt) const { sqlite3_finalize(stmt); }
};

std::string lower(std::string text) {
  for (char &c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return text;
}

// Column 0 of every row of sql with class_name bound; nothing when it cannot be prepared (an
// older database without the table).
std::vector<std::string> column(sqlite3 *db, const char *sql, const std::string &class_name) {
  std::vector<std::string> values;
  sqlite3_stmt *raw = nullptr;
  if (sqlite3_prepare_v2(db, sql, -1, &raw, nullptr) != SQLITE_OK) return values;
  std::unique_ptr<sqlite3_stmt, StatementFinalize> stmt(raw);
  sqlite3_bind_text(raw, 1, class_name.c_str(), -1, SQLITE_TRANSIENT);
  while (sqlite3_step(raw) == SQLITE_ROW) {
    const unsigned char *text = sqlite3_column_text(raw, 0);
    if (text != nullptr) values.emplace_back(reinterpret_cast<const char *>(text));
  }
  return values;
}

}  // namespace

const std::vector<std::string> &ClassKeys::of(const std::string &class_name) {
  const std::string key = lower(class_name);
  auto found = known_.find(key);
  if (found == known_.end()) found = known_.emplace(key, read(class_name)).first;
  return found->second;
}

std::vector<std::string> ClassKeys::read(const std::string &class_name) const {
  sqlite3 *raw = nullptr;
  if (sqlite3_open_v2(database_.c_str(), &raw, SQLITE_OPEN_READONLY, nullptr) != SQLITE_OK) {
    sqlite3_close(raw);
    return {};
  }
  std::unique_ptr<sqlite3, DatabaseClose> db(raw);
  sqlite3_busy_timeout(raw, 2000);
  // The class and its superclasses, farthest first.
  std::vector<std::string> chain{class_name};
  for (int depth = 0; depth < 64; ++depth) {
    const std::vector<std::string> up = column(
        raw, "SELECT SuperClass FROM Tbl_Class WHERE ClassName = ?1 COLLATE NOCASE",
        chain.back());
    if (up.empty() || up.front().empty()) break;
    const bool seen = std::any_of(chain.begin(), chain.end(), [&](const std::string &c) {
      return lower(c) == lower(up.front());
    });
    if (seen) break;
    chain.push_back(up.front());
  }
  std::vector<std::string> keys;
  for (auto it = chain.rbegin(); it != chain.rend(); ++it) {
    for (const std::string &name :
         column(raw,
                "SELECT PropertyName FROM Tbl_ClassProperty WHERE ClassName = ?1 COLLATE NOCASE "
                "AND IsKey != 0 ORDER BY Position",
                *it)) {
      const bool known = std::any_of(keys.begin(), keys.end(),
                                     [&](const std::string &k) { return lower(k) == lower(name); });
      if (!known) keys.push_back(name);
    }
  }
  return keys;
}

}  // namespace wire
