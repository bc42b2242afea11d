// share/schema.sql and share/demo-classes.sql: the tables of the design, read by the library's
// schema look-ups, and class definitions that agree with what the demo provider serves.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sqlite3.h>

#include <cstdlib>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

#include "cmpiutility/schema.h"
#include "demo_host.h"
#include "schema/name_space.h"
#include "schema_files.h"

namespace {

using namespace demotest;
using ::testing::ElementsAre;

struct FreeText {
  void operator()(char *text) const { free(text); }
};
using Text_ = std::unique_ptr<char, FreeText>;

std::string Str(char *text) {
  Text_ owned(text);
  return owned ? owned.get() : "<null>";
}

// Every row of a query, columns joined with '|'.
std::vector<std::string> Rows(const std::string &path, const std::string &query) {
  sqlite3 *db = nullptr;
  EXPECT_EQ(sqlite3_open_v2(path.c_str(), &db, SQLITE_OPEN_READONLY, nullptr), SQLITE_OK);
  sqlite3_stmt *stmt = nullptr;
  EXPECT_EQ(sqlite3_prepare_v2(db, query.c_str(), -1, &stmt, nullptr), SQLITE_OK)
      << sqlite3_errmsg(db);
  std::vector<std::string> rows;
  while (stmt != nullptr && sqlite3_step(stmt) == SQLITE_ROW) {
    std::string row;
    for (int i = 0; i < sqlite3_column_count(stmt); ++i) {
      if (i > 0) row += "|";
      const unsigned char *text = sqlite3_column_text(stmt, i);
      row += text != nullptr ? reinterpret_cast<const char *>(text) : "NULL";
    }
    rows.push_back(row);
  }
  sqlite3_finalize(stmt);
  sqlite3_close(db);
  return rows;
}

class SchemaSql : public ::testing::Test {
 protected:
  DemoSchema schema_;
};

TEST_F(SchemaSql, GetProviderNameReadsDemoProvider) {
  EXPECT_EQ(Str(GetProviderName("Demo_Fan")), "DemoProvider");
  EXPECT_EQ(Str(GetProviderName("Demo_Chassis")), "DemoProvider");
  EXPECT_EQ(Str(GetProviderName("Demo_ChassisFan")), "DemoProvider");
  EXPECT_EQ(Str(GetProviderName("demo_fan")), "DemoProvider");
  EXPECT_EQ(Str(GetProviderName("Demo_Sensor")), "<null>");  // embedded only
  EXPECT_EQ(Str(GetNameSpace("Demo_Fan")), "root/cimv2");
  char fan[] = "Demo_Fan";
  EXPECT_EQ(GetProviderUnloadStatus(fan, 1), 0);
  EXPECT_EQ(GetProviderUnloadStatus(fan, 0), 0);
  EXPECT_EQ(Str(GetPersistentProviderName()), "<null>");
}

TEST_F(SchemaSql, TablesHaveTheColumnsOfTheDesign) {
  // name|type|notnull|default, in column order
  EXPECT_THAT(Rows(schema_.path(),
                   "SELECT name, type, \"notnull\", dflt_value FROM "
                   "pragma_table_info('Tbl_ClassMetadata')"),
              ElementsAre("ClassName|TEXT|1|NULL", "ProviderName|TEXT|0|NULL",
                          "NameSpace|TEXT|0|NULL", "UnloadNever|TEXT|1|'0'"));
  EXPECT_THAT(
      Rows(schema_.path(),
           "SELECT name, type, \"notnull\", dflt_value FROM "
           "pragma_table_info('Tbl_ClassProperty')"),
      ElementsAre("ClassName|TEXT|1|NULL", "PropertyName|TEXT|1|NULL", "DataType|INTEGER|1|NULL",
                  "IsKey|INTEGER|1|0", "Position|INTEGER|1|NULL", "ReferenceClass|TEXT|0|NULL",
                  "DefaultValue|TEXT|0|NULL"));
  EXPECT_THAT(Rows(schema_.path(),
                   "SELECT name, type, \"notnull\", dflt_value FROM "
                   "pragma_table_info('Tbl_Class')"),
              ElementsAre("ClassName|TEXT|1|NULL", "SuperClass|TEXT|0|NULL",
                          "NameSpace|TEXT|0|NULL", "IsAssociation|INTEGER|1|0",
                          "IsAbstract|INTEGER|1|0"));
  EXPECT_THAT(Rows(schema_.path(),
                   "SELECT name, type, \"notnull\", dflt_value FROM "
                   "pragma_table_info('Tbl_ClassMethod')"),
              ElementsAre("ClassName|TEXT|1|NULL", "MethodName|TEXT|1|NULL",
                          "ReturnType|INTEGER|1|NULL", "Position|INTEGER|1|NULL"));
  EXPECT_THAT(
      Rows(schema_.path(),
           "SELECT name, type, \"notnull\", dflt_value FROM "
           "pragma_table_info('Tbl_MethodParameter')"),
      ElementsAre("ClassName|TEXT|1|NULL", "MethodName|TEXT|1|NULL", "ParameterName|TEXT|1|NULL",
                  "DataType|INTEGER|1|NULL", "Direction|TEXT|1|NULL", "Position|INTEGER|1|NULL",
                  "ReferenceClass|TEXT|0|NULL"));
  EXPECT_THAT(Rows(schema_.path(), "SELECT * FROM Tbl_ClassMetadata ORDER BY ClassName"),
              ElementsAre("Demo_Chassis|DemoProvider|root/cimv2|0",
                          "Demo_ChassisFan|DemoProvider|root/cimv2|0",
                          "Demo_Fan|DemoProvider|root/cimv2|0"));
}

TEST_F(SchemaSql, TheDocumentedCommandsMakeTheSameDatabase) {
  if (std::system("command -v sqlite3 >/dev/null 2>&1") != 0) GTEST_SKIP() << "no sqlite3 command";
  const std::string path = schema_.directory() + "/by-command.db";
  const std::string share = DEMO_SHARE_DIR;
  const std::string command = "sqlite3 '" + path + "' < '" + share + "/schema.sql' && sqlite3 '" +
                              path + "' < '" + share + "/demo-classes.sql'";
  ASSERT_EQ(std::system(command.c_str()), 0);
  for (const char *table : {"Tbl_ClassMetadata", "Tbl_Class", "Tbl_ClassProperty",
                            "Tbl_ClassMethod", "Tbl_MethodParameter"}) {
    const std::string all = std::string("SELECT * FROM ") + table + " ORDER BY 1, 2, 3";
    EXPECT_EQ(Rows(path, all), Rows(schema_.path(), all)) << table;
  }
  ScopedVariable selected("CMPIUTILITY_SCHEMA_DB", path);
  EXPECT_EQ(Str(GetProviderName("Demo_Fan")), "DemoProvider");
}

// The rows of Tbl_ClassProperty for className: "Name|DataType|IsKey" in Position order.
std::vector<std::string> DefinedProperties(const std::string &path, const char *className) {
  return Rows(path, std::string("SELECT PropertyName, DataType, IsKey FROM Tbl_ClassProperty "
                                "WHERE ClassName = '") +
                        className + "' ORDER BY Position");
}

// The same for an instance the provider returned: its properties in order, their type codes,
// and whether its path has them as keys.
std::vector<std::string> ServedProperties(const CMPIInstance *inst) {
  Owned<CMPIObjectPath> op(CMGetObjectPath(inst, nullptr));
  std::vector<std::string> rows;
  for (const std::string &name : PropertyNames(inst)) {
    const CMPIData key = CMGetKey(op.get(), name.c_str(), nullptr);
    const CMPIValueState state = key.state;
    const bool isKey = (state & CMPI_notFound) == 0;
    if (isKey) Release(key);
    rows.push_back(name + "|" + std::to_string(Property(inst, name.c_str()).type) + "|" +
                   (isKey ? "1" : "0"));
  }
  return rows;
}

TEST_F(SchemaSql, ClassDefinitionsAgreeWithWhatTheProviderServes) {
  StateFile state;
  DemoProvider provider;
  for (const char *className : {"Demo_Chassis", "Demo_Fan", "Demo_ChassisFan"}) {
    SCOPED_TRACE(className);
    Owned<CMPIObjectPath> op(ClassPath(className));
    Answer a = provider.enumerateInstances(op.get());
    ASSERT_GE(a.size(), 1u);
    EXPECT_EQ(DefinedProperties(schema_.path(), className), ServedProperties(a.instance(0)));
  }
  // The embedded sensor.
  Owned<CMPIObjectPath> fan(FanPath("fan0"));
  Answer a = provider.getInstance(fan.get());
  ASSERT_EQ(a.size(), 1u);
  const CMPIData sensor = CMGetProperty(a.instance(0), "Sensor", nullptr);
  const CMPIValue value = sensor.value;
  EXPECT_EQ(DefinedProperties(schema_.path(), "Demo_Sensor"), ServedProperties(value.inst));
  Release(sensor);
}

TEST_F(SchemaSql, MethodDefinitionAgreesWithSetSpeed) {
  EXPECT_THAT(Rows(schema_.path(),
                   "SELECT ClassName, MethodName, ReturnType, Position FROM "
                   "Tbl_ClassMethod"),
              ElementsAre("Demo_Fan|SetSpeed|160|1"));
  EXPECT_THAT(Rows(schema_.path(),
                   "SELECT ParameterName, DataType, Direction FROM "
                   "Tbl_MethodParameter WHERE ClassName = 'Demo_Fan' AND "
                   "MethodName = 'SetSpeed' ORDER BY Position"),
              ElementsAre("DesiredSpeed|160|in", "PreviousSpeed|160|out"));
  StateFile state;
  DemoProvider provider;
  Owned<CMPIObjectPath> op(FanPath("fan0"));
  Owned<CMPIArgs> in(makeNewCMPIArgs(nullptr));
  Owned<CMPIArgs> out(makeNewCMPIArgs(nullptr));
  const CMPIUint32 speed = 100;
  CMAddArg(in.get(), "DesiredSpeed", &speed, CMPI_uint32);
  Answer a = provider.invokeMethod(op.get(), "SetSpeed", in.get(), out.get());
  ASSERT_EQ(a.size(), 1u);
  EXPECT_EQ(a.type(0), 160);
  const CMPIData previous = CMGetArg(out.get(), "PreviousSpeed", nullptr);
  const CMPIType previousType = previous.type;
  EXPECT_EQ(previousType, 160);
  Release(previous);
}

}  // namespace
