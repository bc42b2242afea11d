// Tests of the MOF default values a worker puts into the instances providers make.
#include "class_defaults.h"

#include <cmpiinterface.h>
#include <cmpimacs.h>
#include <gtest/gtest.h>
#include <sqlite3.h>

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "schema_cache.h"
#include "temp_dir.h"

namespace hostd {
namespace {

std::string database(const hostdtest::TempDir &dir, const char *rows) {
  const std::string path = dir.path() + "/schema.db";
  sqlite3 *db = nullptr;
  EXPECT_EQ(sqlite3_open(path.c_str(), &db), SQLITE_OK);
  std::string sql =
      "CREATE TABLE Tbl_Class (ClassName TEXT, SuperClass TEXT, NameSpace TEXT, "
      "IsAssociation INTEGER, IsAbstract INTEGER);"
      "CREATE TABLE Tbl_ClassProperty (ClassName TEXT, PropertyName TEXT, DataType INTEGER, "
      "IsKey INTEGER, Position INTEGER, ReferenceClass TEXT, DefaultValue TEXT);";
  sql += rows;
  char *error = nullptr;
  EXPECT_EQ(sqlite3_exec(db, sql.c_str(), nullptr, nullptr, &error), SQLITE_OK)
      << (error ? error : "");
  sqlite3_free(error);
  sqlite3_close(db);
  return path;
}

// "Name=value" of each default, the value as compact JSON.
std::vector<std::string> names(const std::vector<PropertyDefault> &defaults) {
  Json::StreamWriterBuilder writer;
  writer["indentation"] = "";
  std::vector<std::string> out;
  for (const PropertyDefault &d : defaults) {
    out.push_back(d.property + "=" + Json::writeString(writer, d.value));
  }
  return out;
}

TEST(ClassDefaults, InheritedDefaultsAreReplacedByRedeclaredProperties) {
  hostdtest::TempDir dir;
  const std::string db = database(
      dir,
      "INSERT INTO Tbl_Class VALUES ('Base', NULL, 'root/cimv2', 0, 1),"
      "('Mid', 'Base', 'root/cimv2', 0, 0), ('Leaf', 'mid', 'root/cimv2', 0, 0);"
      "INSERT INTO Tbl_ClassProperty VALUES "
      "('Base', 'State', 144, 0, 1, NULL, '2'), ('Base', 'Mode', 144, 0, 2, NULL, '12'),"
      "('Base', 'Name', 5632, 0, 3, NULL, NULL), ('Base', 'Broken', 144, 0, 4, NULL, '{oops'),"
      "('Mid', 'Mode', 144, 0, 1, NULL, NULL), ('Leaf', 'State', 144, 0, 1, NULL, '5');");
  EXPECT_EQ(names(load_class_defaults(db, "Base")),
            (std::vector<std::string>{"State=2", "Mode=12"}))
      << "no default and a default that is not JSON give nothing";
  EXPECT_EQ(names(load_class_defaults(db, "Mid")), (std::vector<std::string>{"State=2"}))
      << "a redeclared property without a default has none";
  EXPECT_EQ(names(load_class_defaults(db, "LEAF")), (std::vector<std::string>{"State=5"}));
  EXPECT_TRUE(load_class_defaults(db, "Unknown").empty());
  EXPECT_TRUE(load_class_defaults(dir.path() + "/missing.db", "Base").empty());
}

PropertyDefault def(const char *name, CMPIType type, const char *json) {
  PropertyDefault d;
  d.property = name;
  d.type = type;
  Json::CharReaderBuilder builder;
  std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
  std::string errors;
  const std::string text = json;
  EXPECT_TRUE(reader->parse(text.data(), text.data() + text.size(), &d.value, &errors)) << json;
  return d;
}

TEST(ClassDefaults, EveryTypeIsSetAndWhatDoesNotFitIsSkipped) {
  CMPIObjectPath *path = makeNewObjectPath("root/cimv2", "Leaf", nullptr);
  CMPIInstance *inst = makeNewCMPIInstance(path, nullptr);
  CMRelease(path);
  const std::vector<PropertyDefault> defaults = {
      def("B", CMPI_boolean, "true"),         def("C", CMPI_char16, "\"x\""),
      def("R32", CMPI_real32, "1.5"),         def("R64", CMPI_real64, "-2.25"),
      def("U8", CMPI_uint8, "255"),           def("U16", CMPI_uint16, "65535"),
      def("U32", CMPI_uint32, "4000000000"),  def("U64", CMPI_uint64, "18446744073709551615"),
      def("S8", CMPI_sint8, "-128"),          def("S16", CMPI_sint16, "-32768"),
      def("S32", CMPI_sint32, "-5"),          def("S64", CMPI_sint64, "-9223372036854775808"),
      def("S", CMPI_string, "\"text\""),      def("D", CMPI_dateTime, "\"20240101120000.000000+000\""),
      def("A", CMPI_uint16A, "[1, 2, 3]"),    def("SA", CMPI_stringA, "[\"a\", \"b\"]"),
      def("TooBig", CMPI_uint8, "256"),       def("Negative", CMPI_uint32, "-1"),
      def("Wrong", CMPI_string, "5"),         def("BadDate", CMPI_dateTime, "\"soon\""),
      def("BadArray", CMPI_uint8A, "[1, 300]"), def("NotArray", CMPI_uint8A, "7"),
  };
  EXPECT_EQ(apply_defaults(inst, defaults), 16);
  EXPECT_EQ(CMGetPropertyCount(inst, nullptr), 16u);
  // The records are packed: fields are copied out before the checks bind references to them.
  CMPIData u64 = CMGetProperty(inst, "U64", nullptr);
  const CMPIType u64_type = u64.type;
  const CMPIUint64 u64_value = u64.value.uint64;
  EXPECT_EQ(u64_type, CMPI_uint64);
  EXPECT_EQ(u64_value, 18446744073709551615ull);
  const CMPISint64 s64 = CMGetProperty(inst, "S64", nullptr).value.sint64;
  EXPECT_EQ(s64, INT64_MIN);
  const CMPIChar16 c = CMGetProperty(inst, "C", nullptr).value.char16;
  EXPECT_EQ(c, 'x');
  CMPIString *s = CMGetProperty(inst, "S", nullptr).value.string;
  EXPECT_STREQ(CMGetCharPtr(s), "text");
  CMRelease(s);
  CMPIData a = CMGetProperty(inst, "A", nullptr);
  const CMPIType a_type = a.type;
  CMPIArray *array = a.value.array;
  ASSERT_EQ(a_type, CMPI_uint16A);
  EXPECT_EQ(CMGetArrayCount(array, nullptr), 3u);
  const CMPIUint16 third = CMGetArrayElementAt(array, 2, nullptr).value.uint16;
  EXPECT_EQ(third, 3u);
  CMRelease(array);
  CMPIData d = CMGetProperty(inst, "D", nullptr);
  const CMPIType d_type = d.type;
  CMPIDateTime *when = d.value.dateTime;
  ASSERT_EQ(d_type, CMPI_dateTime);
  CMRelease(when);
  CMPIStatus st = {CMPI_RC_OK, nullptr};
  CMGetProperty(inst, "TooBig", &st);
  EXPECT_EQ(+st.rc, CMPI_RC_ERR_NO_SUCH_PROPERTY);
  CMRelease(inst);
}

}  // namespace
}  // namespace hostd

namespace hostd {
namespace {

// The defaults a worker reads for instances made through the broker: the database file is
// checked once per request, so a change made while a request runs shows in the next one.
TEST(SchemaCacheDefaults, TheDatabaseIsCheckedOncePerRequest) {
  hostdtest::TempDir dir;
  const std::string db = database(
      dir,
      "INSERT INTO Tbl_Class VALUES ('Base', NULL, 'root/cimv2', 0, 0);"
      "INSERT INTO Tbl_ClassProperty VALUES ('Base', 'State', 144, 0, 1, NULL, '2');");
  SchemaCache cache;
  cache.begin_request();
  EXPECT_EQ(names(cache.defaults_of(db, "Base")), (std::vector<std::string>{"State=2"}));

  // Rewritten with another default (another size, so the file's stamp changes).
  std::filesystem::remove(db);
  database(dir,
           "INSERT INTO Tbl_Class VALUES ('Base', NULL, 'root/cimv2', 0, 0);"
           "INSERT INTO Tbl_ClassProperty VALUES ('Base', 'State', 144, 0, 1, NULL, '7'),"
           "('Base', 'Mode', 144, 0, 2, NULL, '12');");
  EXPECT_EQ(names(cache.defaults_of(db, "Base")), (std::vector<std::string>{"State=2"}))
      << "within the request the database is taken as it was at its first look-up";

  cache.begin_request();
  EXPECT_EQ(names(cache.defaults_of(db, "Base")),
            (std::vector<std::string>{"State=7", "Mode=12"}))
      << "the next request sees the change";

  std::filesystem::remove(db);
  cache.begin_request();
  EXPECT_TRUE(cache.defaults_of(db, "Base").empty()) << "a database gone gives no defaults";
}

}  // namespace
}  // namespace hostd
