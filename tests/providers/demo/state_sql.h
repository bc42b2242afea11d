// state_sql.h - what the demo provider's state tests do to the state file behind the
// provider's back: one SQL statement on a connection of their own, and waiting for a child.
#ifndef DEMO_TESTS_STATE_SQL_H
#define DEMO_TESTS_STATE_SQL_H

#include <gtest/gtest.h>
#include <sqlite3.h>
#include <sys/types.h>
#include <sys/wait.h>

#include <string>

namespace demotest {

// Runs one statement on the state file directly; returns the first column of the first row
// ("" when there is none).
inline std::string Sql(const std::string &path, const std::string &statement) {
  sqlite3 *db = nullptr;
  EXPECT_EQ(sqlite3_open_v2(path.c_str(), &db, SQLITE_OPEN_READWRITE, nullptr), SQLITE_OK);
  sqlite3_stmt *stmt = nullptr;
  EXPECT_EQ(sqlite3_prepare_v2(db, statement.c_str(), -1, &stmt, nullptr), SQLITE_OK)
      << sqlite3_errmsg(db);
  std::string out;
  const int rc = sqlite3_step(stmt);
  EXPECT_TRUE(rc == SQLITE_ROW || rc == SQLITE_DONE) << sqlite3_errmsg(db);
  if (rc == SQLITE_ROW && sqlite3_column_text(stmt, 0) != nullptr)
    out = reinterpret_cast<const char *>(sqlite3_column_text(stmt, 0));
  sqlite3_finalize(stmt);
  sqlite3_close(db);
  return out;
}

// Waits for a child and gives its exit status (-1 if it did not exit normally).
inline int Wait(pid_t pid) {
  int status = 0;
  if (waitpid(pid, &status, 0) != pid || !WIFEXITED(status)) return -1;
  return WEXITSTATUS(status);
}

}  // namespace demotest

#endif  // DEMO_TESTS_STATE_SQL_H
