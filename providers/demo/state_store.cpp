// state_store.cpp - the SQLite file behind the provider's state.
#include "state_store.h"

#include <sqlite3.h>
#include <stdlib.h>

#include <map>

#include "initial_state.h"
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

// One prepared statement, finalized with the object.
class Statement {
 public:
  Statement(sqlite3 *db, const char *sql) {
    rc_ = sqlite3_prepare_v2(db, sql, -1, &stmt_, nullptr);
  }
  ~Statement() { sqlite3_finalize(stmt_); }
  Statement(const Statement &) = delete;
  Statement &operator=(const Statement &) = delete;

  bool prepared() const { return rc_ == SQLITE_OK; }

  void bind(int index, const std::string &text) {
    sqlite3_bind_text(stmt_, index, text.data(), static_cast<int>(text.size()), SQLITE_TRANSIENT);
  }
  void bind(int index, int number) { sqlite3_bind_int(stmt_, index, number); }
  void bind_null(int index) { sqlite3_bind_null(stmt_, index); }

  int step() { return sqlite3_step(stmt_); }

  bool is_null(int column) const { return sqlite3_column_type(stmt_, column) == SQLITE_NULL; }
  std::string text(int column) const {
    const unsigned char *chars = sqlite3_column_text(stmt_, column);
    if (chars == nullptr) return std::string();
    return std::string(reinterpret_cast<const char *>(chars),
                       static_cast<size_t>(sqlite3_column_bytes(stmt_, column)));
  }

 private:
  sqlite3_stmt *stmt_ = nullptr;
  int rc_ = SQLITE_ERROR;
};

// Orders stored properties as the class does; properties without a row are null.
StoredInstance assemble(const ClassDef &cls, const std::string &key,
                        const std::map<std::string, std::optional<std::string>> &values) {
  StoredInstance instance;
  instance.key = key;
  for (const PropertyDef &def : cls) {
    if (def.is_computed()) continue;
    StoredProperty property;
    property.name = def.name;
    property.type = def.type;
    const auto it = values.find(def.name);
    if (it != values.end()) property.text = it->second;
    instance.properties.push_back(std::move(property));
  }
  return instance;
}

}  // namespace

StateStore::~StateStore() {
  if (db_ == nullptr) return;
  if (inTransaction_) sqlite3_exec(db_, "ROLLBACK", nullptr, nullptr, nullptr);
  sqlite3_close(db_);
}

std::string StateStore::path() {
  const char *value = secure_getenv(kVariable);
  return value != nullptr && value[0] != '\0' ? value : kDefaultPath;
}

Outcome StateStore::error(const char *what) const {
  const int code = sqlite3_errcode(db_) & 0xff;
  const CMPIrc rc = code == SQLITE_READONLY || code == SQLITE_PERM || code == SQLITE_AUTH
                        ? CMPI_RC_ERR_ACCESS_DENIED
                        : CMPI_RC_ERR_FAILED;
  return failure(rc, std::string(what) + ": " + sqlite3_errmsg(db_));
}

Outcome StateStore::execute(const char *sql) {
  if (sqlite3_exec(db_, sql, nullptr, nullptr, nullptr) != SQLITE_OK)
    return error("the demo state cannot be changed");
  return success();
}

bool StateStore::seeded() {
  Statement query(db_, "SELECT Value FROM DemoState WHERE Name = 'version'");
  return query.prepared() && query.step() == SQLITE_ROW;
}

Outcome StateStore::open(const CMPIBroker *broker) {
  if (db_ != nullptr) return success();
  const std::string file = path();
  StateFile checked;
  Outcome opened = checked.open(file);
  if (!opened.ok()) return opened;
  // The file exists and has been checked: SQLite may neither create it nor follow a link.
  if (sqlite3_open_v2(file.c_str(), &db_, SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOFOLLOW, nullptr) !=
      SQLITE_OK) {
    Outcome outcome = error(("the demo state " + file + " cannot be opened").c_str());
    if (outcome.rc == CMPI_RC_ERR_FAILED && db_ != nullptr &&
        (sqlite3_errcode(db_) & 0xff) == SQLITE_CANTOPEN)
      outcome.rc = CMPI_RC_ERR_ACCESS_DENIED;
    sqlite3_close(db_);
    db_ = nullptr;
    return outcome;
  }
  opened = checked.same_file(file);
  checked.close();  // before SQLite takes any lock
  if (!opened.ok()) {
    sqlite3_close(db_);
    db_ = nullptr;
    return opened;
  }
  sqlite3_busy_timeout(db_, kBusyTimeoutMs);
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
  return outcome;
}

Outcome StateStore::begin() {
  if (inTransaction_) return success();
  if (sqlite3_exec(db_, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr) != SQLITE_OK)
    return error("the demo state cannot be written");
  inTransaction_ = true;
  return success();
}

Outcome StateStore::commit() {
  if (!inTransaction_) return success();
  if (sqlite3_exec(db_, "COMMIT", nullptr, nullptr, nullptr) != SQLITE_OK)
    return error("the demo state cannot be saved");
  inTransaction_ = false;
  return success();
}

Outcome StateStore::each(const ClassDef &cls, const Visitor &visit) {
  // One row per stored property (or one row with NULLs for an instance without any), the rows
  // of one instance together, instances in the order of creation. The unary + keeps SQLite from
  // searching DemoInstance by its (ClassName, InstanceKey) key, which would need the whole
  // result sorted by rowid before the first row comes out; a scan in rowid order needs no sort,
  // so each row is read only when it is asked for.
  Statement query(db_,
                  "SELECT i.InstanceKey, p.Name, p.Value FROM DemoInstance i"
                  " LEFT JOIN DemoProperty p"
                  " ON p.ClassName = i.ClassName AND p.InstanceKey = i.InstanceKey"
                  " WHERE +i.ClassName = ? ORDER BY i.rowid");
  if (!query.prepared()) return error("the demo state cannot be read");
  query.bind(1, std::string(cls.name));
  std::string key;
  std::map<std::string, std::optional<std::string>> values;
  bool any = false;
  int rc = SQLITE_ROW;
  while ((rc = query.step()) == SQLITE_ROW) {
    std::string row_key = query.text(0);
    if (any && row_key != key) {
      // The first row of the next instance: the previous one is complete.
      Outcome visited = visit(assemble(cls, key, values));
      if (!visited.ok()) return visited;
      values.clear();
    }
    any = true;
    key = std::move(row_key);
    if (query.is_null(1)) continue;  // an instance without property rows
    std::optional<std::string> value;
    if (!query.is_null(2)) value = query.text(2);
    values[query.text(1)] = std::move(value);
  }
  if (rc != SQLITE_DONE) return error("the demo state cannot be read");
  if (any) return visit(assemble(cls, key, values));
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
  Statement exists(db_, "SELECT 1 FROM DemoInstance WHERE ClassName = ? AND InstanceKey = ?");
  if (!exists.prepared()) return error("the demo state cannot be read");
  exists.bind(1, std::string(cls.name));
  exists.bind(2, key);
  const int rc = exists.step();
  if (rc == SQLITE_DONE) return success();
  if (rc != SQLITE_ROW) return error("the demo state cannot be read");
  Statement query(db_,
                  "SELECT Name, Value FROM DemoProperty WHERE ClassName = ? AND InstanceKey = ?");
  if (!query.prepared()) return error("the demo state cannot be read");
  query.bind(1, std::string(cls.name));
  query.bind(2, key);
  std::map<std::string, std::optional<std::string>> values;
  int step = SQLITE_ROW;
  while ((step = query.step()) == SQLITE_ROW) {
    std::optional<std::string> value;
    if (!query.is_null(1)) value = query.text(1);
    values[query.text(0)] = std::move(value);
  }
  if (step != SQLITE_DONE) return error("the demo state cannot be read");
  *instance = assemble(cls, key, values);
  *found = true;
  return success();
}

Outcome StateStore::write_properties(const ClassDef &cls, const StoredInstance &instance) {
  for (const StoredProperty &property : instance.properties) {
    Statement insert(db_,
                     "INSERT OR REPLACE INTO DemoProperty"
                     " (ClassName, InstanceKey, Name, DataType, Value) VALUES (?, ?, ?, ?, ?)");
    if (!insert.prepared()) return error("the demo state cannot be changed");
    insert.bind(1, std::string(cls.name));
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
  Statement insert(db_, "INSERT INTO DemoInstance (ClassName, InstanceKey) VALUES (?, ?)");
  if (!insert.prepared()) return error("the demo state cannot be changed");
  insert.bind(1, std::string(cls.name));
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
  Statement clear(db_, "DELETE FROM DemoProperty WHERE ClassName = ? AND InstanceKey = ?");
  if (!clear.prepared()) return error("the demo state cannot be changed");
  clear.bind(1, std::string(cls.name));
  clear.bind(2, instance.key);
  if (clear.step() != SQLITE_DONE) return error("the demo state cannot be changed");
  return write_properties(cls, instance);
}

Outcome StateStore::remove(const ClassDef &cls, const std::string &key) {
  Outcome outcome = begin();
  if (!outcome.ok()) return outcome;
  Statement drop(db_, "DELETE FROM DemoInstance WHERE ClassName = ? AND InstanceKey = ?");
  if (!drop.prepared()) return error("the demo state cannot be changed");
  drop.bind(1, std::string(cls.name));
  drop.bind(2, key);
  if (drop.step() != SQLITE_DONE) return error("the demo state cannot be changed");
  if (sqlite3_changes(db_) == 0)
    return failure(CMPI_RC_ERR_NOT_FOUND, std::string(cls.name) + " " + key + " does not exist");
  Statement clear(db_, "DELETE FROM DemoProperty WHERE ClassName = ? AND InstanceKey = ?");
  if (!clear.prepared()) return error("the demo state cannot be changed");
  clear.bind(1, std::string(cls.name));
  clear.bind(2, key);
  if (clear.step() != SQLITE_DONE) return error("the demo state cannot be changed");
  return success();
}

}  // namespace demo
