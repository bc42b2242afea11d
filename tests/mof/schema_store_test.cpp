// The database writer: the rows of a class hierarchy, tables made from share/schema.sql,
// re-imports that replace rows, and failed imports that write nothing.
#include <gtest/gtest.h>
#include <gmock/gmock.h>
#include <sys/stat.h>

#include <fstream>
#include <sstream>
#include <string>

#include "import_check.h"
#include "mof_test_support.h"
#include "schema_store.h"
#include "sql_statements.h"

namespace {

using ::testing::ElementsAre;
using moftest::Dump;
using moftest::Rows;
using moftest::TempDir;

// The import, as cmpi-mof --database runs it: checked against the database, written only when
// there is no error. Returns the diagnostic lines (and "database: ..." for a database error).
std::string ImportInto(const std::string &path, const moftest::Files &files) {
  mof::Diagnostics diagnostics;
  try {
    mof::SchemaStore database(path);
    const mof::SchemaRows rows = moftest::Import(files, diagnostics, database);
    if (!diagnostics.failed()) database.write(mof::ImportStatements(rows));
  } catch (const mof::DatabaseError &e) {
    return moftest::Lines(diagnostics) + "database: " + e.what();
  }
  return moftest::Lines(diagnostics);
}

const char *const kHierarchy = R"(
// A small hierarchy with every kind of row.
[Abstract] class Test_Device {
    [Key] string DeviceID;
    string Name = "device";
};

class Test_Fan : Test_Device {
    boolean Enabled = true;
    char16 Initial = 'F';
    real32 Ratio = 0.5;
    real64 Load = -1.25e-3;
    uint8 Level = 0x10;
    uint16 State = 2;
    uint32 Speed = 017;
    uint64 Max = 18446744073709551615;
    sint8 Offset = -128;
    sint16 Trend = -2;
    sint32 Temp = 101b;
    sint64 Total = -9223372036854775808;
    datetime Installed = "20240102030405.000000+000";
    uint32 History[] = {1, 2, 3};
    string Tags[2] = {"a", "b\"c"};
    [EmbeddedInstance("Test_Sensor")] string Sensor;
    Test_Chassis REF Home;
    uint32 SetSpeed([In] uint32 Desired, [Out] uint32 Previous, [In, Out] string Log[],
                    [In(false), Out] Test_Chassis REF Where);
    uint32 Stop();
};

class Test_Chassis { [Key] string Tag; };

[Association] class Test_ChassisFan {
    [Key] Test_Chassis REF GroupComponent;
    [Key] Test_Fan REF PartComponent;
};

instance of CMPIUtility_ProviderRegistration {
    ProviderName = "TestProvider";
    ClassNames = {"Test_Fan", "Test_ChassisFan"};
};
#pragma namespace("root/interop")
instance of CMPIUtility_ProviderRegistration {
    ProviderName = "ChassisProvider";
    ClassNames = {"Test_Chassis"};
    UnloadNever = true;
};
)";

TEST(MofDatabase, RowsOfAHierarchy) {
  TempDir dir;
  const std::string db = dir.path() + "/schema.db";
  ASSERT_EQ(ImportInto(db, {{"h.mof", kHierarchy}}), "");
  EXPECT_THAT(Rows(db, "SELECT * FROM Tbl_Class ORDER BY rowid"),
              ElementsAre("Test_Device|NULL|root/cimv2|0|1", "Test_Fan|Test_Device|root/cimv2|0|0",
                          "Test_Chassis|NULL|root/cimv2|0|0",
                          "Test_ChassisFan|NULL|root/cimv2|1|0"));
  EXPECT_THAT(
      Rows(db, "SELECT * FROM Tbl_ClassProperty ORDER BY rowid"),
      ElementsAre("Test_Device|DeviceID|5632|1|1|NULL|NULL",
                  "Test_Device|Name|5632|0|2|NULL|\"device\"",
                  "Test_Fan|Enabled|2|0|1|NULL|true", "Test_Fan|Initial|3|0|2|NULL|\"F\"",
                  "Test_Fan|Ratio|8|0|3|NULL|0.5", "Test_Fan|Load|12|0|4|NULL|-0.00125",
                  "Test_Fan|Level|128|0|5|NULL|16", "Test_Fan|State|144|0|6|NULL|2",
                  "Test_Fan|Speed|160|0|7|NULL|15",
                  "Test_Fan|Max|176|0|8|NULL|18446744073709551615",
                  "Test_Fan|Offset|192|0|9|NULL|-128", "Test_Fan|Trend|208|0|10|NULL|-2",
                  "Test_Fan|Temp|224|0|11|NULL|5",
                  "Test_Fan|Total|240|0|12|NULL|-9223372036854775808",
                  "Test_Fan|Installed|6144|0|13|NULL|\"20240102030405.000000+000\"",
                  "Test_Fan|History|8352|0|14|NULL|[1,2,3]",
                  "Test_Fan|Tags|13824|0|15|NULL|[\"a\",\"b\\\"c\"]",
                  "Test_Fan|Sensor|4096|0|16|NULL|NULL",
                  "Test_Fan|Home|4352|0|17|Test_Chassis|NULL",
                  "Test_Chassis|Tag|5632|1|1|NULL|NULL",
                  "Test_ChassisFan|GroupComponent|4352|1|1|Test_Chassis|NULL",
                  "Test_ChassisFan|PartComponent|4352|1|2|Test_Fan|NULL"));
  // Defaults are stored as text, never as numbers that lose digits.
  EXPECT_THAT(Rows(db, "SELECT typeof(DefaultValue) FROM Tbl_ClassProperty "
                       "WHERE PropertyName = 'Max'"),
              ElementsAre("text"));
  EXPECT_THAT(Rows(db, "SELECT * FROM Tbl_ClassMethod ORDER BY rowid"),
              ElementsAre("Test_Fan|SetSpeed|160|1", "Test_Fan|Stop|160|2"));
  EXPECT_THAT(Rows(db, "SELECT * FROM Tbl_MethodParameter ORDER BY rowid"),
              ElementsAre("Test_Fan|SetSpeed|Desired|160|in|1|NULL",
                          "Test_Fan|SetSpeed|Previous|160|out|2|NULL",
                          "Test_Fan|SetSpeed|Log|13824|inout|3|NULL",
                          "Test_Fan|SetSpeed|Where|4352|out|4|Test_Chassis"));
  EXPECT_THAT(Rows(db, "SELECT * FROM Tbl_ClassMetadata ORDER BY rowid"),
              ElementsAre("Test_Fan|TestProvider|root/cimv2|0",
                          "Test_ChassisFan|TestProvider|root/cimv2|0",
                          "Test_Chassis|ChassisProvider|root/interop|1"));
}

TEST(MofDatabase, TablesAreThoseOfShareSchemaSql) {
  TempDir dir;
  const std::string made = dir.path() + "/made.db";
  ASSERT_EQ(ImportInto(made, {{"a.mof", "class A { };"}}), "");
  // The same tables, made by running share/schema.sql itself.
  const std::string reference = dir.path() + "/reference.db";
  {
    std::ifstream in(std::string(SHARE_DIR) + "/schema.sql");
    std::stringstream sql;
    sql << in.rdbuf();
    sqlite3 *db = nullptr;
    ASSERT_EQ(sqlite3_open(reference.c_str(), &db), SQLITE_OK);
    EXPECT_EQ(sqlite3_exec(db, sql.str().c_str(), nullptr, nullptr, nullptr), SQLITE_OK);
    sqlite3_close(db);
  }
  const std::string tables = "SELECT name, sql FROM sqlite_master ORDER BY name";
  EXPECT_EQ(Rows(made, tables), Rows(reference, tables));
  EXPECT_EQ(Rows(made, tables).size(), 5u);
}

TEST(MofDatabase, ImportingTwiceGivesTheSameDatabase) {
  TempDir dir;
  const std::string db = dir.path() + "/schema.db";
  ASSERT_EQ(ImportInto(db, {{"h.mof", kHierarchy}}), "");
  const std::vector<std::string> once = Dump(db);
  ASSERT_GT(once.size(), 30u);
  ASSERT_EQ(ImportInto(db, {{"h.mof", kHierarchy}}), "");
  EXPECT_EQ(Dump(db), once);
}

TEST(MofDatabase, ReimportReplacesAClassUnderAnySpelling) {
  TempDir dir;
  const std::string db = dir.path() + "/schema.db";
  ASSERT_EQ(ImportInto(db, {{"h.mof", kHierarchy}}), "");
  // Test_Fan again, smaller, spelled otherwise; its superclass and registration come from the
  // database.
  ASSERT_EQ(ImportInto(db, {{"fan.mof", R"(class TEST_FAN : test_device { uint8 Only; };
      instance of CMPIUtility_ProviderRegistration {
          ProviderName = "NewProvider"; ClassNames = {"test_fan", "TEST_CHASSIS"}; };)"}}),
            "");
  EXPECT_THAT(Rows(db, "SELECT * FROM Tbl_Class WHERE ClassName LIKE 'test_fan'"),
              ElementsAre("TEST_FAN|Test_Device|root/cimv2|0|0"));
  EXPECT_THAT(Rows(db, "SELECT * FROM Tbl_ClassProperty WHERE ClassName LIKE 'test_fan'"),
              ElementsAre("TEST_FAN|Only|128|0|1|NULL|NULL"));
  EXPECT_THAT(Rows(db, "SELECT * FROM Tbl_ClassMethod WHERE ClassName LIKE 'test_fan'"),
              ElementsAre());
  EXPECT_THAT(Rows(db, "SELECT * FROM Tbl_MethodParameter"), ElementsAre());
  EXPECT_THAT(Rows(db, "SELECT * FROM Tbl_ClassMetadata ORDER BY ClassName"),
              ElementsAre("TEST_FAN|NewProvider|root/cimv2|0",
                          "Test_Chassis|NewProvider|root/cimv2|0",
                          "Test_ChassisFan|TestProvider|root/cimv2|0"));
  // The other classes are untouched.
  EXPECT_EQ(Rows(db, "SELECT count(*) FROM Tbl_ClassProperty WHERE ClassName = 'Test_Device'"),
            std::vector<std::string>{"2"});
}

TEST(MofDatabase, AFailedImportWritesNothing) {
  TempDir dir;
  const std::string db = dir.path() + "/schema.db";
  ASSERT_EQ(ImportInto(db, {{"h.mof", kHierarchy}}), "");
  const std::vector<std::string> before = Dump(db);
  // A good file and a bad one: neither is stored.
  EXPECT_EQ(ImportInto(db, {{"good.mof", "class Test_Fan { uint8 X; };\nclass New_Class { };"},
                            {"bad.mof", "class Other : Missing_Base { };"}}),
            "bad.mof:1:15: error: superclass Missing_Base of class Other is neither declared "
            "before it nor in the database\n");
  EXPECT_EQ(Dump(db), before);
  // An error that only the database finds, in the middle of writing: rolled back.
  {
    sqlite3 *handle = nullptr;
    ASSERT_EQ(sqlite3_open(db.c_str(), &handle), SQLITE_OK);
    ASSERT_EQ(sqlite3_exec(handle,
                           "CREATE TRIGGER no_x BEFORE INSERT ON Tbl_ClassProperty "
                           "WHEN NEW.PropertyName = 'Refused' BEGIN SELECT RAISE(ABORT, 'refused'); END",
                           nullptr, nullptr, nullptr),
              SQLITE_OK);
    sqlite3_close(handle);
  }
  const std::vector<std::string> withTrigger = Dump(db);
  const std::string result =
      ImportInto(db, {{"x.mof", "class Test_Fan { uint8 Fine; };\nclass Z { uint8 Refused; };"}});
  EXPECT_NE(result.find("database: " + db + ": cannot store class Z (root/cimv2): refused"),
            std::string::npos)
      << result;
  EXPECT_EQ(Dump(db), withTrigger);
}

TEST(MofDatabase, AFailedImportMakesNoFile) {
  TempDir dir;
  const std::string db = dir.path() + "/new.db";
  EXPECT_NE(ImportInto(db, {{"bad.mof", "class A : B { };"}}), "");
  struct stat info {};
  EXPECT_NE(stat(db.c_str(), &info), 0);
}

TEST(MofDatabase, ClassesOfTheDatabaseAreKnown) {
  TempDir dir;
  const std::string db = dir.path() + "/schema.db";
  ASSERT_EQ(ImportInto(db, {{"base.mof", "[Association] class Base_Link { };"}}), "");
  mof::SchemaStore database(db);
  const std::optional<mof::KnownClass> known = database.find("BASE_LINK");
  ASSERT_TRUE(known);
  EXPECT_EQ(known->name, "Base_Link");
  EXPECT_TRUE(known->isAssociation);
  EXPECT_FALSE(database.find("Other"));
}

TEST(MofDatabase, DatabasesWithOnlySomeTablesAreRefused) {
  TempDir dir;
  const std::string db = dir.path() + "/old.db";
  {
    sqlite3 *handle = nullptr;
    ASSERT_EQ(sqlite3_open(db.c_str(), &handle), SQLITE_OK);
    ASSERT_EQ(sqlite3_exec(handle,
                           "CREATE TABLE Tbl_ClassMetadata (ClassName TEXT NOT NULL, ProviderName "
                           "TEXT, NameSpace TEXT, UnloadNever TEXT NOT NULL DEFAULT '0')",
                           nullptr, nullptr, nullptr),
              SQLITE_OK);
    sqlite3_close(handle);
  }
  EXPECT_EQ(ImportInto(db, {{"a.mof", "class A { };"}}),
            "database: " + db +
                ": the database has only some of the schema tables (missing: Tbl_Class, "
                "Tbl_ClassProperty, Tbl_ClassMethod, Tbl_MethodParameter); it was made from an "
                "older share/schema.sql");
  EXPECT_THAT(Rows(db, "SELECT name FROM sqlite_master"), ElementsAre("Tbl_ClassMetadata"));
}

TEST(MofDatabase, AFileThatIsNoDatabaseIsRefused) {
  TempDir dir;
  const std::string db = dir.write("text.db", "this is not a database, only some text that is long enough");
  const std::string result = ImportInto(db, {{"a.mof", "class A { };"}});
  EXPECT_EQ(result, "database: " + db + ": cannot read the list of tables: file is not a database");
}

}  // namespace
