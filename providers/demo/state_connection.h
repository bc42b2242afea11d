// state_connection.h - one open SQLite connection to the state file, with its prepared
// statements and what it was opened for (process, identity, file), so that a later request may
// take it up again instead of opening the file anew.
//
// When a connection may serve again (reusable(), checked on every request before it is used):
//   - the same process: getpid() as when it was opened. A forked child never uses the
//     connection its parent opened (SQLite's advice: no connection crosses a fork);
//   - the same identity: effective uid, effective gid and supplementary groups as when it was
//     opened, so that a process that switched users opens the file again and the new user's
//     rights are checked again (state_file.h);
//   - the same path (CMPI_DEMO_STATE may have changed), and the rules of state_file.h still
//     hold there: a stat of the directory and an lstat of the file, no open. The directory must
//     still be a directory owned by root or the effective user and closed to group and others,
//     and must not have changed owner, group or mode since the connection was opened; the name
//     must still lead to the very inode SQLite has open (device and inode), a regular file with
//     one link, owned by root or the effective user, with the owner, group and mode it had.
//   - no transaction open (sqlite3_get_autocommit).
// Why a stat and an lstat are enough: the open() of state_file.cpp exists to create a missing
// file, to find out whether this identity may open the file, and to pin the inode SQLite then
// opens by name. A kept connection needs none of that: the file exists (lstat), SQLite reads it
// through the descriptor it already holds (so the inode checked is the inode read), the
// identity is the one whose rights were checked then, and the file's owner, group and mode are
// unchanged, so opening it again would find the same rights. Both calls run as the current
// identity and walk the whole path, so a directory above that the user may no longer search
// fails them. The only name SQLite still opens is its journal beside the file, in the directory
// checked again here; as at opening, only root and the provider's user can change names there.
// (Access lists are not compared; the provider's rules ignore them, as state_file.cpp does.)
// Any doubt closes the connection and opens the file again exactly as on first use, so every
// outcome and message is the one a fresh open gives.
//
// Writes by other processes are seen by the next read: SQLite compares the file's change
// counter at the start of every read transaction and drops its cache when it moved.
// One difference remains, on purpose: a kept connection does not look again whether the file has
// its tables and initial instances (that look is a read of the file per request). Tables removed
// from the file in place, by root or the provider's user (nobody else may write it), make
// requests fail until the connection is opened again, where a fresh open sets them up anew.
#ifndef DEMO_PROVIDER_STATE_CONNECTION_H
#define DEMO_PROVIDER_STATE_CONNECTION_H

#include <sys/types.h>

#include <string>
#include <vector>

struct sqlite3;
struct sqlite3_stmt;

namespace demo {

// The statements the store runs; each is prepared once per connection, on first use.
enum class Sql {
  kSeeded,
  kWalk,
  kFind,
  kInsertInstance,
  kWriteProperty,
  kClearProperties,
  kDeleteInstance,
  kCount  // the number of statements, not a statement
};

class StateConnection {
 public:
  // Takes db, opened on path after the file (device, inode) was checked there, and notes the
  // process, the identity, and the directory and file as they are now (when the name no longer
  // leads to that file, the connection is never reused). Owns db from here on.
  StateConnection(sqlite3 *db, std::string path, dev_t device, ino_t inode);
  // Finalizes every statement and closes the connection (an open transaction is rolled back).
  ~StateConnection();
  StateConnection(const StateConnection &) = delete;
  StateConnection &operator=(const StateConnection &) = delete;

  sqlite3 *db() const { return db_; }

  // Whether the checks above allow this connection to serve a request for path now.
  bool reusable(const std::string &path) const;

  // Whether this process opened the connection (a forked child did not).
  bool opened_here() const;

  // The prepared form of sql, made on first use; nullptr when it cannot be prepared (the
  // connection's error tells why). The caller resets it after use (StatementUse does).
  sqlite3_stmt *statement(Sql sql);

 private:
  struct Identity {
    uid_t uid = 0;
    gid_t gid = 0;
    std::vector<gid_t> groups;
  };
  static Identity current_identity();
  // Whether the process runs as identity_ now.
  bool same_identity() const;

  sqlite3 *db_;
  std::string path_;
  std::string directory_;
  pid_t pid_;
  Identity identity_;
  // The directory and the file as they were when the connection was opened.
  dev_t dirDevice_ = 0;
  ino_t dirInode_ = 0;
  uid_t dirOwner_ = 0;
  gid_t dirGroup_ = 0;
  mode_t dirMode_ = 0;
  dev_t device_ = 0;
  ino_t inode_ = 0;
  uid_t owner_ = 0;
  gid_t group_ = 0;
  mode_t mode_ = 0;
  bool known_ = false;  // false: the stats failed at opening; never reused
  sqlite3_stmt *statements_[static_cast<int>(Sql::kCount)] = {};
};

// One use of a prepared statement: the connection's own one, reset and cleared of its bindings
// when the use ends, or a private one, finalized then, when the connection's own is still in
// use (a walk that is still running).
class StatementUse {
 public:
  StatementUse(StateConnection &connection, Sql sql);
  ~StatementUse();
  StatementUse(const StatementUse &) = delete;
  StatementUse &operator=(const StatementUse &) = delete;

  bool prepared() const { return stmt_ != nullptr; }

  // The text is not copied: it must stay valid until the use ends.
  void bind(int index, const char *text, size_t size);
  void bind(int index, const std::string &text) { bind(index, text.data(), text.size()); }
  void bind(int index, const char *text);
  void bind(int index, int number);
  void bind_null(int index);

  int step();

  bool is_null(int column) const;
  // The text of a column and its size in bytes; valid until the next step.
  const char *chars(int column) const;
  size_t size(int column) const;
  std::string text(int column) const { return std::string(chars(column), size(column)); }

 private:
  sqlite3_stmt *stmt_ = nullptr;
  bool owned_ = false;
};

}  // namespace demo

#endif  // DEMO_PROVIDER_STATE_CONNECTION_H
