// state_store.cpp - the SQLite file behind the provider's state.
#include "state_store.h"

#include <sqlite3.h>
#include <stdlib.h>

#include "initial_state.h"
#include "instance_rows.h"
#include "kept_connection.h"
#include "state_connection.h"
#include "state_file.h"

namespace demo {

namespace {

constexpr const char *kDefaultPath = "/var/lib/cmpi-demo/state.db";
constexpr const char *kVariable = "CMPI_DEMO_STATE";
constexpr int kBusyTimeoutMs = 10000;

constexpr const char *kCreateTables =
    "CREATE TABLE IF NOT EXISTS DemoState ("
    " Name TEXT PRIMARY KEY,"
    " Value TEXT);"
    "CREATE TABLE IF NOT EXISTS DemoInstance ("
    " ClassName TEXT NOT NULL,"
    " InstanceKey TEXT NOT NULL,"
    " PRIMARY KEY (ClassName, InstanceKey));"
    "CREATE TABLE IF NOT EXISTS DemoProperty ("
    " ClassName TEXT NOT NULL,"
    " InstanceKey TEXT NOT NULL,"
    " Name TEXT NOT NULL,"
    " DataType INTEGER NOT NULL,"
    " Value TEXT,"
    " PRIMARY KEY (ClassName, InstanceKey, Name));";

// Whether a statement of db is part-way through its rows.
bool statement_running(sqlite3 *db) {
  for (sqlite3_stmt *stmt = sqlite3_next_stmt(db, nullptr); stmt != nullptr;
       stmt = sqlite3_next_stmt(db, stmt)) {
    if (sqlite3_stmt_busy(stmt) != 0) return true;
  }
  return false;
}

}  // namespace

StateStore::StateStore() = default;

StateStore::~StateStore() {
  if (connection_ == nullptr) return;
  sqlite3 *db = connection_->db();
  if (inTransaction_) sqlite3_exec(db, "ROLLBACK", nullptr, nullptr, nullptr);
  // Kept only when it is as a fresh one would be: no transaction (a ROLLBACK that failed leaves
  // it to closing, which rolls back) and no statement running.
  if (sqlite3_get_autocommit(db) == 0 || statement_running(db)) return;  // connection_ closes
  keep_connection(std::move(connection_));
}

std::string StateStore::path() {
  const char *value = secure_getenv(kVariable);
  return value != nullptr && value[0] != '\0' ? value : kDefaultPath;
}

Outcome StateStore::error(const char *what) const {
  sqlite3 *db = connection_->db();
  const int code = sqlite3_errcode(db) & 0xff;
  const CMPIrc rc = code == SQLITE_READONLY || code == SQLITE_PERM || code == SQLITE_AUTH
                        ? CMPI_RC_ERR_ACCESS_DENIED
                        : CMPI_RC_ERR_FAILED;
  return failure(rc, std::string(what) + ": " + sqlite3_errmsg(db));
}

Outcome StateStore::execute(const char *sql) {
  if (sqlite3_exec(connection_->db(), sql, nullptr, nullptr, nullptr) != SQLITE_OK)
    return error("the demo state cannot be changed");
  return success();
}

bool StateStore::seeded() {
  StatementUse query(*connection_, Sql::kSeeded);
  return query.prepared() && query.step() == SQLITE_ROW;
}

Outcome StateStore::open(const CMPIBroker *broker) {
  if (connection_ != nullptr) return success();
  const std::string file = path();
  connection_ = take_kept_connection();
  if (connection_ != nullptr) {
    if (connection_->reusable(file)) return success();
    connection_.reset();
  }
  StateFile checked;
  Outcome opened = checked.open(file);
  if (!opened.ok()) return opened;
  // The file exists and has been checked: SQLite may neither create it nor follow a link. The
  // connection is used by one thread at a time (kept_connection.h hands it to one store), so
  // SQLite need not lock it on every call.
  sqlite3 *db = nullptr;
  if (sqlite3_open_v2(file.c_str(), &db,
                      SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOFOLLOW | SQLITE_OPEN_NOMUTEX,
                      nullptr) != SQLITE_OK) {
    const int code = db != nullptr ? sqlite3_errcode(db) & 0xff : SQLITE_NOMEM;
    Outcome outcome = failure(code == SQLITE_READONLY || code == SQLITE_PERM || code == SQLITE_AUTH
                                  ? CMPI_RC_ERR_ACCESS_DENIED
                                  : CMPI_RC_ERR_FAILED,
                              "the demo state " + file + " cannot be opened: " +
                                  (db != nullptr ? sqlite3_errmsg(db) : sqlite3_errstr(code)));
    if (outcome.rc == CMPI_RC_ERR_FAILED && code == SQLITE_CANTOPEN)
      outcome.rc = CMPI_RC_ERR_ACCESS_DENIED;
    sqlite3_close(db);
    return outcome;
  }
  opened = checked.same_file(file);
  checked.close();  // before SQLite takes any lock
  if (!opened.ok()) {
    sqlite3_close(db);
    return opened;
  }
  sqlite3_busy_timeout(db, kBusyTimeoutMs);
  connection_ = std::make_unique<StateConnection>(db, file, checked.device(), checked.inode());
  if (seeded()) return success();
  // First use: one process creates and seeds the tables, the others wait and find them done.
  Outcome outcome = begin();
  if (outcome.ok()) outcome = execute(kCreateTables);
  if (outcome.ok() && !seeded()) {
    outcome = seed_initial_state(broker, *this);
    if (outcome.ok())
      outcome = execute("INSERT INTO DemoState (Name, Value) VALUES ('version', '1')");
  }
  if (outcome.ok()) outcome = commit();
  if (!outcome.ok()) {
    // Closed, not kept, as before: the next request tries the first use again.
    if (inTransaction_) sqlite3_exec(db, "ROLLBACK", nullptr, nullptr, nullptr);
    inTransaction_ = false;
    connection_.reset();
  }
  return outcome;
}

Outcome StateStore::begin() {
  if (inTransaction_) return success();
  if (sqlite3_exec(connection_->db(), "BEGIN IMMEDIATE", nullptr, nullptr, nullptr) != SQLITE_OK)
    return error("the demo state cannot be written");
  inTransaction_ = true;
  return success();
}

Outcome StateStore::commit() {
  if (!inTransaction_) return success();
  if (sqlite3_exec(connection_->db(), "COMMIT", nullptr, nullptr, nullptr) != SQLITE_OK)
    return error("the demo state cannot be saved");
  inTransaction_ = false;
  return success();
}

Outcome StateStore::each(const ClassDef &cls, const Visitor &visit) {
  StatementUse query(*connection_, Sql::kWalk);
  if (!query.prepared()) return error("the demo state cannot be read");
  query.bind(1, cls.name);
  InstanceRows rows(cls);
  bool any = false;
  int rc = SQLITE_ROW;
  while ((rc = query.step()) == SQLITE_ROW) {
    const char *key = query.chars(0);
    const size_t key_size = query.size(0);
    if (!any || !rows.same_key(key, key_size)) {
      if (any) {
        // The first row of the next instance: the previous one is complete.
        Outcome visited = visit(rows.finish());
        if (!visited.ok()) return visited;
      }
      rows.start(key, key_size);
    }
    any = true;
    if (query.is_null(1)) continue;  // an instance without property rows
    const bool null = query.is_null(2);
    rows.add(query.chars(1), query.size(1), null ? nullptr : query.chars(2),
             null ? 0 : query.size(2));
  }
  if (rc != SQLITE_DONE) return error("the demo state cannot be read");
  if (any) return visit(rows.finish());
  return success();
}

Outcome StateStore::list(const ClassDef &cls, std::vector<StoredInstance> *instances) {
  instances->clear();
  std::vector<StoredInstance> read;
  Outcome outcome = each(cls, [&read](const StoredInstance &instance) {
    read.push_back(instance);
    return success();
  });
  // All or nothing, as before the walk existed.
  if (outcome.ok()) instances->swap(read);
  return outcome;
}

Outcome StateStore::find(const ClassDef &cls, const std::string &key, StoredInstance *instance,
                         bool *found) {
  *found = false;
  StatementUse query(*connection_, Sql::kFind);
  if (!query.prepared()) return error("the demo state cannot be read");
  query.bind(1, cls.name);
  query.bind(2, key);
  InstanceRows rows(cls);
  rows.start(key.data(), key.size());
  bool any = false;
  int step = SQLITE_ROW;
  while ((step = query.step()) == SQLITE_ROW) {
    any = true;
    if (query.is_null(0)) continue;  // an instance without property rows
    const bool null = query.is_null(1);
    rows.add(query.chars(0), query.size(0), null ? nullptr : query.chars(1),
             null ? 0 : query.size(1));
  }
  if (step != SQLITE_DONE) return error("the demo state cannot be read");
  if (!any) return success();
  *instance = rows.take();
  *found = true;
  return success();
}

Outcome StateStore::write_properties(const ClassDef &cls, const StoredInstance &instance) {
  for (const StoredProperty &property : instance.properties) {
    StatementUse insert(*connection_, Sql::kWriteProperty);
    if (!insert.prepared()) return error("the demo state cannot be changed");
    insert.bind(1, cls.name);
    insert.bind(2, instance.key);
    insert.bind(3, property.name);
    insert.bind(4, static_cast<int>(property.type));
    if (property.text)
      insert.bind(5, *property.text);
    else
      insert.bind_null(5);
    if (insert.step() != SQLITE_DONE) return error("the demo state cannot be changed");
  }
  return success();
}

Outcome StateStore::insert(const ClassDef &cls, const StoredInstance &instance) {
  Outcome outcome = begin();
  if (!outcome.ok()) return outcome;
  StatementUse insert(*connection_, Sql::kInsertInstance);
  if (!insert.prepared()) return error("the demo state cannot be changed");
  insert.bind(1, cls.name);
  insert.bind(2, instance.key);
  const int rc = insert.step();
  if ((rc & 0xff) == SQLITE_CONSTRAINT) {
    return failure(CMPI_RC_ERR_ALREADY_EXISTS,
                   std::string(cls.name) + " " + instance.key + " already exists");
  }
  if (rc != SQLITE_DONE) return error("the demo state cannot be changed");
  return write_properties(cls, instance);
}

Outcome StateStore::update(const ClassDef &cls, const StoredInstance &instance) {
  Outcome outcome = begin();
  if (!outcome.ok()) return outcome;
  StoredInstance existing;
  bool found = false;
  outcome = find(cls, instance.key, &existing, &found);
  if (!outcome.ok()) return outcome;
  if (!found) {
    return failure(CMPI_RC_ERR_NOT_FOUND,
                   std::string(cls.name) + " " + instance.key + " does not exist");
  }
  StatementUse clear(*connection_, Sql::kClearProperties);
  if (!clear.prepared()) return error("the demo state cannot be changed");
  clear.bind(1, cls.name);
  clear.bind(2, instance.key);
  if (clear.step() != SQLITE_DONE) return error("the demo state cannot be changed");
  return write_properties(cls, instance);
}

Outcome StateStore::remove(const ClassDef &cls, const std::string &key) {
  Outcome outcome = begin();
  if (!outcome.ok()) return outcome;
  StatementUse drop(*connection_, Sql::kDeleteInstance);
  if (!drop.prepared()) return error("the demo state cannot be changed");
  drop.bind(1, cls.name);
  drop.bind(2, key);
  if (drop.step() != SQLITE_DONE) return error("the demo state cannot be changed");
  if (sqlite3_changes(connection_->db()) == 0)
    return failure(CMPI_RC_ERR_NOT_FOUND, std::string(cls.name) + " " + key + " does not exist");
  StatementUse clear(*connection_, Sql::kClearProperties);
  if (!clear.prepared()) return error("the demo state cannot be changed");
  clear.bind(1, cls.name);
  clear.bind(2, key);
  if (clear.step() != SQLITE_DONE) return error("the demo state cannot be changed");
  return success();
}

}  // namespace demo
