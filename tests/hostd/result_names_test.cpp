// Tests of the client-side names operations: key properties from the schema database and the
// names made from decoded instances.
#include "result_names.h"

#include <cmpiinterface.h>
#include <cmpimacs.h>
#include <gtest/gtest.h>
#include <sqlite3.h>

#include <string>
#include <vector>

#include "class_keys.h"
#include "temp_dir.h"

namespace wire {
namespace {

using Names = std::vector<std::string>;

std::string make_database(const hostdtest::TempDir &dir) {
  const std::string path = dir.path() + "/schema.db";
  sqlite3 *db = nullptr;
  EXPECT_EQ(sqlite3_open(path.c_str(), &db), SQLITE_OK);
  const char *sql =
      "CREATE TABLE Tbl_Class (ClassName TEXT, SuperClass TEXT, NameSpace TEXT, "
      "IsAssociation INTEGER, IsAbstract INTEGER);"
      "CREATE TABLE Tbl_ClassProperty (ClassName TEXT, PropertyName TEXT, DataType INTEGER, "
      "IsKey INTEGER, Position INTEGER, ReferenceClass TEXT, DefaultValue TEXT);"
      "INSERT INTO Tbl_Class VALUES ('CIM_Device', NULL, 'root/cimv2', 0, 1),"
      "('Test_Disk', 'CIM_Device', 'root/cimv2', 0, 0);"
      "INSERT INTO Tbl_ClassProperty VALUES "
      "('CIM_Device', 'SystemName', 5632, 1, 1, NULL, NULL),"
      "('CIM_Device', 'DeviceID', 5632, 1, 2, NULL, NULL),"
      "('Test_Disk', 'Slot', 160, 1, 1, NULL, NULL),"
      "('Test_Disk', 'Size', 176, 0, 2, NULL, NULL);";
  char *error = nullptr;
  EXPECT_EQ(sqlite3_exec(db, sql, nullptr, nullptr, &error), SQLITE_OK) << (error ? error : "");
  sqlite3_free(error);
  sqlite3_close(db);
  return path;
}

TEST(ClassKeys, KeysAreInheritedFirstThenTheClassesOwnInDeclarationOrder) {
  hostdtest::TempDir dir;
  ClassKeys keys(make_database(dir));
  EXPECT_EQ(keys.of("Test_Disk"), (Names{"SystemName", "DeviceID", "Slot"}));
  EXPECT_EQ(keys.of("test_disk"), (Names{"SystemName", "DeviceID", "Slot"}));
  EXPECT_EQ(keys.of("CIM_Device"), (Names{"SystemName", "DeviceID"}));
  EXPECT_TRUE(keys.of("Unknown").empty());
}

TEST(ClassKeys, AnUnreadableDatabaseHasNoKeys) {
  ClassKeys keys("/nonexistent/dir/schema.db");
  EXPECT_TRUE(keys.of("Test_Disk").empty());
}

TEST(ResultNames, TheNameOfADecodedInstanceIsMadeFromItsKeyProperties) {
  CMPIObjectPath *bare = makeNewObjectPath(nullptr, "Test_Disk", nullptr);
  CMPIInstance *inst = makeNewCMPIInstance(bare, nullptr);
  CMRelease(bare);
  CMSetProperty(inst, "SystemName", "bmc0", CMPI_chars);
  CMPIUint32 slot = 3;
  CMSetProperty(inst, "Slot", &slot, CMPI_uint32);
  CMPIUint64 size = 512;
  CMSetProperty(inst, "Size", &size, CMPI_uint64);
  EXPECT_EQ(class_of(inst), "Test_Disk");
  CMPIObjectPath *name = result_name(inst, "root/cimv2", {"SystemName", "DeviceID", "Slot"});
  ASSERT_NE(name, nullptr);
  CMPIString *text = CMObjectPathToString(name, nullptr);
  // DeviceID is missing from the instance and left out; Size is no key.
  EXPECT_STREQ(CMGetCharPtr(text), "root/cimv2:Test_Disk.SystemName=bmc0,Slot=3");
  CMRelease(text);
  EXPECT_EQ(CMGetKeyCount(name, nullptr), 2u);
  CMPIData d = CMGetKey(name, "Slot", nullptr);
  const CMPIType type = d.type;
  EXPECT_EQ(type, CMPI_uint32) << "a key keeps its type";
  CMRelease(name);
  CMRelease(inst);
}

TEST(ResultNames, AnInstanceNamespaceStandsAndNoInstanceHasNoName) {
  CMPIObjectPath *path = makeNewObjectPath("interop", "Test_Disk", nullptr);
  CMPIInstance *inst = makeNewCMPIInstance(path, nullptr);
  CMRelease(path);
  CMPIObjectPath *name = result_name(inst, "root/cimv2", {});
  CMPIString *ns = CMGetNameSpace(name, nullptr);
  EXPECT_STREQ(CMGetCharPtr(ns), "interop");
  CMRelease(ns);
  CMRelease(name);
  CMRelease(inst);
  EXPECT_EQ(result_name(nullptr, "root/cimv2", {}), nullptr);
  EXPECT_EQ(class_of(nullptr), "");
}

}  // namespace
}  // namespace wire
