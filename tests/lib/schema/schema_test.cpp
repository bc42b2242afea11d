#include <cmpiutility/schema.h>
#include <dlog.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdio.h>

#include <cstdlib>
#include <string>
#include <type_traits>

#include "log_capture.h"
#include "schema/name_space.h"
#include "schema_database.h"

namespace {

using namespace cmpitest;
using ::testing::ElementsAre;

constexpr int kAux = 229;

// The returned strings are heap copies: take them over so every test frees what it gets.
std::string take(char *text) {
  std::string copy = text != nullptr ? text : "<null>";
  free(text);
  return copy;
}

std::string GetProviderNameOf(const char *className) { return take(GetProviderName(className)); }
std::string GetNameSpaceOf(const char *className) { return take(GetNameSpace(className)); }

const char kProviderStatement[] =
    "select providername from Tbl_ClassMetadata where classname=? COLLATE NOCASE";

LogLine ProviderQuery(const std::string &className) {
  return Trace(std::string("'GetProviderName:' sql_query = '") + kProviderStatement +
               "' for the class = '" + className + "'");
}

// ---- the declared interface -------------------------------------------------------------------

// Existing callers link against the mangled names, which encode exactly these parameter types.
TEST(SchemaInterface, ParameterTypesAreFixed) {
  EXPECT_TRUE((std::is_same_v<decltype(&GetPersistentProviderClassName), char *(*)()>));
  EXPECT_TRUE((std::is_same_v<decltype(&GetPersistentProviderName), char *(*)()>));
  EXPECT_TRUE((std::is_same_v<decltype(&GetProviderUnloadStatus), int (*)(char *, int)>));
  EXPECT_TRUE((std::is_same_v<decltype(&GetProviderName), char *(*)(const char *)>));
  EXPECT_TRUE((std::is_same_v<decltype(&GetNameSpace), char *(*)(const char *)>));
}

// ---- GetProviderName and GetNameSpace: case -----------------------------------------------------

TEST(GetProviderName, FindsTheClassWithoutRegardToCase) {
  SchemaDatabase db;
  db.add({"CIM_Foo", "Foo_Provider", "root/cimv2", "0"});
  LogCapture log;
  EXPECT_EQ(GetProviderNameOf("cim_foo"), "Foo_Provider");
  EXPECT_THAT(log.lines(),
              ElementsAre(Enter("GetProviderName"), ProviderQuery("cim_foo"),
                          Trace("providername value:Foo_Provider text = 'Foo_Provider'"),
                          Exit("GetProviderName")));
}

TEST(GetProviderName, ExactNameIsFoundToo) {
  SchemaDatabase db;
  db.add({"CIM_Foo", "Foo_Provider", "root/cimv2", "0"});
  EXPECT_EQ(GetProviderNameOf("CIM_Foo"), "Foo_Provider");
  EXPECT_EQ(GetProviderNameOf("CIM_FOO"), "Foo_Provider");
}

TEST(GetNameSpace, ComparesTheClassNameExactly) {
  SchemaDatabase db;
  db.add({"CIM_Foo", "Foo_Provider", "root/cimv2", "0"});
  LogCapture log;
  EXPECT_EQ(GetNameSpaceOf("cim_foo"), "<null>");
  EXPECT_THAT(log.lines(), ElementsAre(Enter("GetNameSpace"), Exit("GetNameSpace")));
  log.clear();
  EXPECT_EQ(GetNameSpaceOf("CIM_Foo"), "root/cimv2");
  EXPECT_THAT(log.lines(), ElementsAre(Enter("GetNameSpace"), Trace("NameSpace: 'root/cimv2'"),
                                       Exit("GetNameSpace")));
}

// GetNameSpace makes a plain copy: unlike the other look-ups, an empty text stays a text.
TEST(GetNameSpace, EmptyNamespaceIsCopiedAsEmptyText) {
  SchemaDatabase db;
  db.add({"CIM_Foo", "Foo_Provider", "", "0"});
  LogCapture log;
  char *nameSpace = GetNameSpace("CIM_Foo");
  ASSERT_NE(nameSpace, nullptr);
  EXPECT_STREQ(nameSpace, "");
  free(nameSpace);
  EXPECT_THAT(log.lines(),
              ElementsAre(Enter("GetNameSpace"), Trace("NameSpace: ''"), Exit("GetNameSpace")));
}

TEST(GetNameSpace, NullNamespaceGivesNull) {
  SchemaDatabase db;
  db.add({"CIM_Foo", "Foo_Provider", nullptr, "0"});
  LogCapture log;
  EXPECT_EQ(GetNameSpace("CIM_Foo"), nullptr);
  EXPECT_THAT(log.lines(), ElementsAre(Enter("GetNameSpace"), Trace("NameSpace: '(null)'"),
                                       Exit("GetNameSpace")));
}

TEST(GetNameSpace, UnknownClassGivesNull) {
  SchemaDatabase db;
  LogCapture log;
  EXPECT_EQ(GetNameSpace("CIM_None"), nullptr);
  EXPECT_THAT(log.lines(), ElementsAre(Enter("GetNameSpace"), Exit("GetNameSpace")));
}

// ---- GetProviderName: no row, empty name, null class -------------------------------------------

TEST(GetProviderName, UnknownClassLogsTheStepResult) {
  SchemaDatabase db;
  db.add({"CIM_Foo", "Foo_Provider", "root/cimv2", "0"});
  LogCapture log;
  EXPECT_EQ(GetProviderName("CIM_Bar"), nullptr);
  EXPECT_THAT(log.lines(),
              ElementsAre(Enter("GetProviderName"), ProviderQuery("CIM_Bar"),
                          Trace("getproviderename ret value:101:no more rows available"),
                          Exit("GetProviderName")));
}

TEST(GetProviderName, EmptyProviderNameGivesNull) {
  SchemaDatabase db;
  db.add({"CIM_Foo", "", "root/cimv2", "0"});
  LogCapture log;
  EXPECT_EQ(GetProviderName("CIM_Foo"), nullptr);
  EXPECT_THAT(log.lines(),
              ElementsAre(Enter("GetProviderName"), ProviderQuery("CIM_Foo"),
                          Trace("providername value:(null) text = ''"), Exit("GetProviderName")));
}

TEST(GetProviderName, NullProviderNameGivesNull) {
  SchemaDatabase db;
  db.add({"CIM_Foo", nullptr, "root/cimv2", "0"});
  LogCapture log;
  EXPECT_EQ(GetProviderName("CIM_Foo"), nullptr);
  EXPECT_THAT(log.lines(), ElementsAre(Enter("GetProviderName"), ProviderQuery("CIM_Foo"),
                                       Trace("providername value:(null) text = '(null)'"),
                                       Exit("GetProviderName")));
}

// A null class name never reaches the database: not even a missing one ends the process.
TEST(GetProviderName, NullClassNameGivesNullWithoutOpeningTheDatabase) {
  SchemaDatabase db;
  db.select_missing();
  LogCapture log;
  EXPECT_EQ(GetProviderName(nullptr), nullptr);
  EXPECT_THAT(log.lines(), ElementsAre(Enter("GetProviderName"), Exit("GetProviderName")));
}

// A file that is no database opens (SQLite reads lazily) but cannot be prepared: the step then
// finds no row, and the line names the step's result and SQLite's message.
TEST(GetProviderName, UnpreparableStatementFindsNoRow) {
  SchemaDatabase db;
  const std::string garbage = db.directory() + "/garbage.db";
  FILE *file = fopen(garbage.c_str(), "w");
  ASSERT_NE(file, nullptr);
  fputs("this is not an SQLite database, just text that is long enough to be read\n", file);
  for (int i = 0; i < 64; ++i) fputs("0123456789abcdef0123456789abcdef\n", file);
  fclose(file);
  setenv("CMPIUTILITY_SCHEMA_DB", garbage.c_str(), 1);
  LogCapture log;
  EXPECT_EQ(GetProviderName("CIM_Foo"), nullptr);
  EXPECT_THAT(log.lines(),
              ElementsAre(Enter("GetProviderName"), ProviderQuery("CIM_Foo"),
                          Trace("getproviderename ret value:21:file is not a database"),
                          Exit("GetProviderName")));
  EXPECT_EQ(GetNameSpace("CIM_Foo"), nullptr);
  EXPECT_EQ(GetProviderUnloadStatus(const_cast<char *>("CIM_Foo"), 1), 0);
  unlink(garbage.c_str());
}

// ---- GetProviderUnloadStatus ------------------------------------------------------------------

TEST(GetProviderUnloadStatus, ModeOneWithUnloadNeverOneGivesOne) {
  SchemaDatabase db;
  db.add({"X", "X_Provider", "root/cimv2", "1"});
  LogCapture log;
  char className[] = "X";
  EXPECT_EQ(GetProviderUnloadStatus(className, 1), 1);
  EXPECT_THAT(log.lines(), ElementsAre(Enter("GetProviderUnloadStatus"), Trace("Unload Never: '1'"),
                                       Exit("GetProviderUnloadStatus")));
}

TEST(GetProviderUnloadStatus, ModeOneWithUnloadNeverZeroGivesZero) {
  SchemaDatabase db;
  db.add({"X", "X_Provider", "root/cimv2", "0"});
  LogCapture log;
  char className[] = "X";
  EXPECT_EQ(GetProviderUnloadStatus(className, 1), 0);
  EXPECT_THAT(log.lines(), ElementsAre(Enter("GetProviderUnloadStatus"), Trace("Unload Never: '0'"),
                                       Exit("GetProviderUnloadStatus")));
}

TEST(GetProviderUnloadStatus, ModeOneWithoutRowGivesZero) {
  SchemaDatabase db;
  db.add({"Y", "Y_Provider", "root/cimv2", "1"});
  LogCapture log;
  char className[] = "X";
  EXPECT_EQ(GetProviderUnloadStatus(className, 1), 0);
  EXPECT_THAT(log.lines(),
              ElementsAre(Enter("GetProviderUnloadStatus"), Exit("GetProviderUnloadStatus")));
}

TEST(GetProviderUnloadStatus, ModeOneComparesTheClassNameExactly) {
  SchemaDatabase db;
  db.add({"CIM_Foo", "Foo_Provider", "root/cimv2", "1"});
  char lower[] = "cim_foo";
  char exact[] = "CIM_Foo";
  EXPECT_EQ(GetProviderUnloadStatus(lower, 1), 0);
  EXPECT_EQ(GetProviderUnloadStatus(exact, 1), 1);
}

TEST(GetProviderUnloadStatus, ModeOneConvertsTheTextInBaseTenKeptTo32Bits) {
  SchemaDatabase db;
  db.add({"Seven", "P", "root/cimv2", "7"});
  db.add({"Octal", "P", "root/cimv2", "010"});
  db.add({"Wide", "P", "root/cimv2", "4294967297"});
  char seven[] = "Seven";
  char octal[] = "Octal";
  char wide[] = "Wide";
  EXPECT_EQ(GetProviderUnloadStatus(seven, 1), 7);
  EXPECT_EQ(GetProviderUnloadStatus(octal, 1), 10);
  LogCapture log;
  EXPECT_EQ(GetProviderUnloadStatus(wide, 1), 1);
  EXPECT_TRUE(log.contains(Trace("Unload Never: '4294967297'")));
}

TEST(GetProviderUnloadStatus, ModeOneWithNullUnloadNeverGivesZero) {
  SchemaDatabase db;
  db.add({"X", "X_Provider", "root/cimv2", nullptr});
  LogCapture log;
  char className[] = "X";
  EXPECT_EQ(GetProviderUnloadStatus(className, 1), 0);
  EXPECT_THAT(log.lines(),
              ElementsAre(Enter("GetProviderUnloadStatus"), Trace("Unload Never: '(null)'"),
                          Exit("GetProviderUnloadStatus")));
}

TEST(GetProviderUnloadStatus, ModeZeroIsOneAsSoonAsAnyClassMustStayLoaded) {
  SchemaDatabase db;
  db.add({"A", "A_Provider", "root/cimv2", "0"});
  db.add({"B", "B_Provider", "root/cimv2", "1"});
  db.add({"C", "C_Provider", "root/cimv2", "1"});
  LogCapture log;
  char unrelated[] = "NoSuchClass";
  EXPECT_EQ(GetProviderUnloadStatus(unrelated, 0), 1);
  EXPECT_THAT(log.lines(), ElementsAre(Enter("GetProviderUnloadStatus"), Trace("Unload Never: 'B'"),
                                       Line("Class has UnloadNever true B", 4, kAux),
                                       Exit("GetProviderUnloadStatus")));
  // The class name plays no part in mode 0.
  EXPECT_EQ(GetProviderUnloadStatus(nullptr, 0), 1);
  char a[] = "A";
  EXPECT_EQ(GetProviderUnloadStatus(a, 0), 1);
}

TEST(GetProviderUnloadStatus, ModeZeroWithoutPersistentClassGivesZero) {
  SchemaDatabase db;
  db.add({"A", "A_Provider", "root/cimv2", "0"});
  LogCapture log;
  EXPECT_EQ(GetProviderUnloadStatus(nullptr, 0), 0);
  EXPECT_THAT(log.lines(),
              ElementsAre(Enter("GetProviderUnloadStatus"), Exit("GetProviderUnloadStatus")));
}

TEST(GetProviderUnloadStatus, ModeZeroRowWithNullClassNameGivesZero) {
  SchemaDatabase db;
  db.add({nullptr, "A_Provider", "root/cimv2", "1"});
  LogCapture log;
  EXPECT_EQ(GetProviderUnloadStatus(nullptr, 0), 0);
  EXPECT_THAT(log.lines(),
              ElementsAre(Enter("GetProviderUnloadStatus"), Trace("Unload Never: '(null)'"),
                          Exit("GetProviderUnloadStatus")));
}

TEST(GetProviderUnloadStatus, OtherModesGiveZero) {
  SchemaDatabase db;
  db.add({"X", "X_Provider", "root/cimv2", "1"});
  char className[] = "X";
  for (int mode : {2, -1, 100}) {
    LogCapture log;
    EXPECT_EQ(GetProviderUnloadStatus(className, mode), 0) << mode;
    EXPECT_THAT(log.lines(),
                ElementsAre(Enter("GetProviderUnloadStatus"), Exit("GetProviderUnloadStatus")));
  }
}

// ---- the persistent look-ups ------------------------------------------------------------------

TEST(GetPersistentProviderClassName, GivesTheFirstPersistentClass) {
  SchemaDatabase db;
  db.add({"A", "A_Provider", "root/cimv2", "0"});
  db.add({"B", "B_Provider", "root/cimv2", "1"});
  LogCapture log;
  EXPECT_EQ(take(GetPersistentProviderClassName()), "B");
  EXPECT_THAT(log.lines(),
              ElementsAre(Enter("GetPersistentProviderClassName"), Trace("ClassName: 'B'"),
                          Exit("GetPersistentProviderClassName")));
}

TEST(GetPersistentProviderClassName, NoPersistentClassGivesNull) {
  SchemaDatabase db;
  db.add({"A", "A_Provider", "root/cimv2", "0"});
  LogCapture log;
  EXPECT_EQ(GetPersistentProviderClassName(), nullptr);
  EXPECT_THAT(log.lines(), ElementsAre(Enter("GetPersistentProviderClassName"),
                                       Exit("GetPersistentProviderClassName")));
}

TEST(GetPersistentProviderName, GivesTheFirstPersistentProvider) {
  SchemaDatabase db;
  db.add({"A", "A_Provider", "root/cimv2", "0"});
  db.add({"B", "B_Provider", "root/cimv2", "1"});
  LogCapture log;
  EXPECT_EQ(take(GetPersistentProviderName()), "B_Provider");
  EXPECT_THAT(log.lines(),
              ElementsAre(Enter("GetPersistentProviderName"), Trace("ProviderName: 'B_Provider'"),
                          Exit("GetPersistentProviderName")));
}

TEST(GetPersistentProviderName, EmptyProviderNameGivesNull) {
  SchemaDatabase db;
  db.add({"B", "", "root/cimv2", "1"});
  LogCapture log;
  EXPECT_EQ(GetPersistentProviderName(), nullptr);
  EXPECT_THAT(log.lines(),
              ElementsAre(Enter("GetPersistentProviderName"), Trace("ProviderName: ''"),
                          Exit("GetPersistentProviderName")));
}

TEST(GetPersistentProviderName, NoPersistentClassGivesNull) {
  SchemaDatabase db;
  LogCapture log;
  EXPECT_EQ(GetPersistentProviderName(), nullptr);
  EXPECT_THAT(log.lines(),
              ElementsAre(Enter("GetPersistentProviderName"), Exit("GetPersistentProviderName")));
}

// ---- several matching rows: the first one SQLite returns wins ---------------------------------

TEST(SchemaLookups, FirstMatchingRowWins) {
  SchemaDatabase db;
  db.add({"CIM_Foo", "First_Provider", "root/first", "1"});
  db.add({"cim_foo", "Second_Provider", "root/second", "0"});
  db.add({"CIM_Foo", "Third_Provider", "root/third", "0"});
  db.add({"Other", "Other_Provider", "root/other", "1"});
  char exact[] = "CIM_Foo";
  EXPECT_EQ(GetProviderNameOf("CIM_FOO"), "First_Provider");
  EXPECT_EQ(GetNameSpaceOf("CIM_Foo"), "root/first");
  EXPECT_EQ(GetNameSpaceOf("cim_foo"), "root/second");
  EXPECT_EQ(GetProviderUnloadStatus(exact, 1), 1);
  EXPECT_EQ(take(GetPersistentProviderClassName()), "CIM_Foo");
  EXPECT_EQ(take(GetPersistentProviderName()), "First_Provider");
}

// ---- class names that carry a quote -----------------------------------------------------------

// The class name is bound as a parameter, so a quote in it is just a character of the name: it
// is found exactly and causes no SQL error, and no class name can widen the query.
TEST(SchemaLookups, ClassNameWithSingleQuoteIsMatchedExactly) {
  SchemaDatabase db;
  db.add({"Odd'Class", "Odd_Provider", "root/odd", "1"});
  db.add({"Plain", "Plain_Provider", "root/plain", "1"});
  char quoted[] = "Odd'Class";
  char injection[] = "x' or '1'='1";
  LogCapture log;
  EXPECT_EQ(GetNameSpaceOf("Odd'Class"), "root/odd");
  EXPECT_EQ(GetProviderUnloadStatus(quoted, 1), 1);
  EXPECT_EQ(GetProviderNameOf("odd'class"), "Odd_Provider");
  EXPECT_EQ(GetNameSpaceOf("x' or '1'='1"), "<null>");
  EXPECT_EQ(GetProviderUnloadStatus(injection, 1), 0);
  EXPECT_EQ(GetProviderNameOf("x' or '1'='1"), "<null>");
  EXPECT_TRUE(log.at_level(2).empty());
  EXPECT_TRUE(ContainsInOrder(
      log.lines(),
      {Enter("GetNameSpace"), Trace("NameSpace: 'root/odd'"), Exit("GetNameSpace"),
       Enter("GetProviderUnloadStatus"), Trace("Unload Never: '1'"),
       Exit("GetProviderUnloadStatus"), Enter("GetProviderName"), ProviderQuery("odd'class"),
       Trace("providername value:Odd_Provider text = 'Odd_Provider'"), Exit("GetProviderName")}));
}

// ---- a missing database -----------------------------------------------------------------------

LogLine CannotOpen() { return Error("Cannot open database: unable to open database file"); }

TEST(MissingDatabase, GetPersistentProviderNameGivesNull) {
  SchemaDatabase db;
  db.select_missing();
  LogCapture log;
  EXPECT_EQ(GetPersistentProviderName(), nullptr);
  EXPECT_THAT(log.lines(), ElementsAre(Enter("GetPersistentProviderName"), CannotOpen(),
                                       Exit("GetPersistentProviderName")));
}

TEST(MissingDatabase, GetPersistentProviderClassNameGivesNull) {
  SchemaDatabase db;
  db.select_missing();
  LogCapture log;
  EXPECT_EQ(GetPersistentProviderClassName(), nullptr);
  EXPECT_THAT(log.lines(), ElementsAre(Enter("GetPersistentProviderClassName"), CannotOpen(),
                                       Exit("GetPersistentProviderClassName")));
}

TEST(MissingDatabase, GetProviderUnloadStatusGivesZero) {
  SchemaDatabase db;
  db.select_missing();
  char className[] = "X";
  for (int mode : {0, 1}) {
    LogCapture log;
    EXPECT_EQ(GetProviderUnloadStatus(className, mode), 0);
    EXPECT_THAT(log.lines(), ElementsAre(Enter("GetProviderUnloadStatus"), CannotOpen(),
                                         Exit("GetProviderUnloadStatus")));
  }
}

TEST(MissingDatabase, GetNameSpaceGivesNull) {
  SchemaDatabase db;
  db.select_missing();
  LogCapture log;
  EXPECT_EQ(GetNameSpace("X"), nullptr);
  EXPECT_THAT(log.lines(), ElementsAre(Enter("GetNameSpace"), CannotOpen(), Exit("GetNameSpace")));
}

// The database is opened read-only: a missing file is not created.
TEST(MissingDatabase, IsNotCreated) {
  SchemaDatabase db;
  const std::string missing = db.directory() + "/CIMSchema-absent.db";
  setenv("CMPIUTILITY_SCHEMA_DB", missing.c_str(), 1);
  EXPECT_EQ(GetNameSpace("X"), nullptr);
  EXPECT_NE(access(missing.c_str(), F_OK), 0);
}

// Sets CMPIUTILITY_SCHEMA_DB to a file that cannot exist for the life of the object. The death
// tests use it instead of SchemaDatabase: the child process ends inside the test body, where no
// destructor would remove a temporary directory.
class MissingDatabaseSelected {
 public:
  MissingDatabaseSelected() {
    const char *old = getenv(kVariable);
    had_old_ = old != nullptr;
    if (had_old_) old_ = old;
    setenv(kVariable, "/nonexistent/cmpiutility-test/CIMSchema.db", 1);
  }
  ~MissingDatabaseSelected() {
    if (had_old_)
      setenv(kVariable, old_.c_str(), 1);
    else
      unsetenv(kVariable);
  }

 private:
  static constexpr const char *kVariable = "CMPIUTILITY_SCHEMA_DB";
  std::string old_;
  bool had_old_ = false;
};

// Only GetProviderName treats an unreadable database as fatal: the process ends with status 1
// (after the open error line).
TEST(MissingDatabaseDeathTest, GetProviderNameEndsTheProcessWithStatusOne) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  MissingDatabaseSelected missing;
  EXPECT_EXIT(GetProviderName("X"), ::testing::ExitedWithCode(1), "");
}

TEST(MissingDatabaseDeathTest, GetProviderNameLogsTheOpenErrorFirst) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  MissingDatabaseSelected missing;
  // The child sends its log lines to stderr, where the death test looks for the open error.
  EXPECT_EXIT(
      {
        setenv("DLOG_OUTPUT", "stderr", 1);
        setenv("DLOG_LEVEL", "2", 1);
        dlog_reload();
        GetProviderName("X");
      },
      ::testing::ExitedWithCode(1),
      "level=2 module=230: Cannot open database: unable to open database file");
}

}  // namespace
