// state_connection.cpp - a connection to the state file kept for later requests, and the uses
// of its prepared statements.
#include "state_connection.h"

#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>

#include "state_file.h"

namespace demo {

namespace {

const char *const kStatements[] = {
    // kSeeded
    "SELECT Value FROM DemoState WHERE Name = 'version'",
    // kWalk: one row per stored property (or one row with NULLs for an instance without any),
    // the rows of one instance together, instances in the order of creation. The unary + keeps
    // SQLite from searching DemoInstance by its (ClassName, InstanceKey) key, which would need
    // the whole result sorted by rowid before the first row comes out; a scan in rowid order
    // needs no sort, so each row is read only when it is asked for.
    "SELECT i.InstanceKey, p.Name, p.Value FROM DemoInstance i"
    " LEFT JOIN DemoProperty p"
    " ON p.ClassName = i.ClassName AND p.InstanceKey = i.InstanceKey"
    " WHERE +i.ClassName = ? ORDER BY i.rowid",
    // kFind: no row when there is no such instance, else one row per stored property (or one
    // row with NULLs for an instance without any): one read of the file, not two.
    "SELECT p.Name, p.Value FROM DemoInstance i"
    " LEFT JOIN DemoProperty p"
    " ON p.ClassName = i.ClassName AND p.InstanceKey = i.InstanceKey"
    " WHERE i.ClassName = ? AND i.InstanceKey = ?",
    // kInsertInstance
    "INSERT INTO DemoInstance (ClassName, InstanceKey) VALUES (?, ?)",
    // kWriteProperty
    "INSERT OR REPLACE INTO DemoProperty"
    " (ClassName, InstanceKey, Name, DataType, Value) VALUES (?, ?, ?, ?, ?)",
    // kClearProperties
    "DELETE FROM DemoProperty WHERE ClassName = ? AND InstanceKey = ?",
    // kDeleteInstance
    "DELETE FROM DemoInstance WHERE ClassName = ? AND InstanceKey = ?",
};
static_assert(sizeof(kStatements) / sizeof(kStatements[0]) == static_cast<size_t>(Sql::kCount),
              "one text per statement");

}  // namespace

StateConnection::Identity StateConnection::current_identity() {
  Identity identity;
  identity.uid = geteuid();
  identity.gid = getegid();
  gid_t groups[64];
  const int count = getgroups(64, groups);
  if (count >= 0) {
    identity.groups.assign(groups, groups + count);
  } else {
    // More than 64 groups: ask for the number first.
    const int needed = getgroups(0, nullptr);
    identity.groups.resize(needed > 0 ? static_cast<size_t>(needed) : 0);
    const int got = getgroups(static_cast<int>(identity.groups.size()), identity.groups.data());
    identity.groups.resize(got > 0 ? static_cast<size_t>(got) : 0);
  }
  return identity;
}

bool StateConnection::same_identity() const {
  if (geteuid() != identity_.uid || getegid() != identity_.gid) return false;
  gid_t groups[64];
  const int count = getgroups(64, groups);
  if (count < 0) return current_identity().groups == identity_.groups;
  return static_cast<size_t>(count) == identity_.groups.size() &&
         std::equal(groups, groups + count, identity_.groups.begin());
}

StateConnection::StateConnection(sqlite3 *db, std::string path, dev_t device, ino_t inode)
    : db_(db),
      path_(std::move(path)),
      directory_(state_directory_of(path_)),
      pid_(getpid()),
      identity_(current_identity()) {
  struct stat dir;
  struct stat file;
  if (stat(directory_.c_str(), &dir) != 0 || lstat(path_.c_str(), &file) != 0) return;
  if (file.st_dev != device || file.st_ino != inode) return;
  dirDevice_ = dir.st_dev;
  dirInode_ = dir.st_ino;
  dirOwner_ = dir.st_uid;
  dirGroup_ = dir.st_gid;
  dirMode_ = dir.st_mode;
  device_ = file.st_dev;
  inode_ = file.st_ino;
  owner_ = file.st_uid;
  group_ = file.st_gid;
  mode_ = file.st_mode;
  known_ = true;
}

StateConnection::~StateConnection() {
  for (sqlite3_stmt *&stmt : statements_) {
    sqlite3_finalize(stmt);
    stmt = nullptr;
  }
  sqlite3_close(db_);
}

bool StateConnection::opened_here() const { return pid_ == getpid(); }

bool StateConnection::reusable(const std::string &path) const {
  if (!known_ || !opened_here() || path != path_) return false;
  if (!same_identity()) return false;
  if (sqlite3_get_autocommit(db_) == 0) return false;
  struct stat dir;
  if (stat(directory_.c_str(), &dir) != 0 || !S_ISDIR(dir.st_mode) ||
      !trusted_state_owner(dir.st_uid) || (dir.st_mode & (S_IWGRP | S_IWOTH)) != 0 ||
      dir.st_dev != dirDevice_ || dir.st_ino != dirInode_ || dir.st_uid != dirOwner_ ||
      dir.st_gid != dirGroup_ || dir.st_mode != dirMode_)
    return false;
  struct stat file;
  return lstat(path_.c_str(), &file) == 0 && S_ISREG(file.st_mode) && file.st_nlink == 1 &&
         trusted_state_owner(file.st_uid) && file.st_dev == device_ && file.st_ino == inode_ &&
         file.st_uid == owner_ && file.st_gid == group_ && file.st_mode == mode_;
}

sqlite3_stmt *StateConnection::statement(Sql sql) {
  sqlite3_stmt *&stmt = statements_[static_cast<int>(sql)];
  if (stmt == nullptr &&
      sqlite3_prepare_v3(db_, kStatements[static_cast<int>(sql)], -1, SQLITE_PREPARE_PERSISTENT,
                         &stmt, nullptr) != SQLITE_OK) {
    sqlite3_finalize(stmt);
    stmt = nullptr;
  }
  return stmt;
}

StatementUse::StatementUse(StateConnection &connection, Sql sql) {
  stmt_ = connection.statement(sql);
  if (stmt_ != nullptr && sqlite3_stmt_busy(stmt_) != 0) {
    // The connection's own statement is part-way through a walk: use a private one.
    stmt_ = nullptr;
    owned_ = true;
    if (sqlite3_prepare_v2(connection.db(), sqlite3_sql(connection.statement(sql)), -1, &stmt_,
                           nullptr) != SQLITE_OK) {
      sqlite3_finalize(stmt_);
      stmt_ = nullptr;
    }
  }
}

StatementUse::~StatementUse() {
  if (stmt_ == nullptr) return;
  if (owned_) {
    sqlite3_finalize(stmt_);
    return;
  }
  sqlite3_reset(stmt_);
  sqlite3_clear_bindings(stmt_);
}

void StatementUse::bind(int index, const char *text, size_t size) {
  sqlite3_bind_text(stmt_, index, text, static_cast<int>(size), SQLITE_STATIC);
}

void StatementUse::bind(int index, const char *text) {
  sqlite3_bind_text(stmt_, index, text, -1, SQLITE_STATIC);
}

void StatementUse::bind(int index, int number) { sqlite3_bind_int(stmt_, index, number); }

void StatementUse::bind_null(int index) { sqlite3_bind_null(stmt_, index); }

int StatementUse::step() { return sqlite3_step(stmt_); }

bool StatementUse::is_null(int column) const {
  return sqlite3_column_type(stmt_, column) == SQLITE_NULL;
}

const char *StatementUse::chars(int column) const {
  const unsigned char *text = sqlite3_column_text(stmt_, column);
  return text != nullptr ? reinterpret_cast<const char *>(text) : "";
}

size_t StatementUse::size(int column) const {
  return static_cast<size_t>(sqlite3_column_bytes(stmt_, column));
}

}  // namespace demo
