// Enumerations hand each instance to the result as its rows are read from the state file: many
// instances come back once each and in the order of creation, and a read that fails part-way
// ends the enumeration with a failure after the instances already returned.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sqlite3.h>
#include <stdio.h>

#include <cstdio>
#include <string>
#include <vector>

#include "demo_host.h"

namespace {

using namespace demotest;
using ::testing::StartsWith;

constexpr int kCopies = 400;

// Runs statements on the state file directly; false (and a test failure) on an error.
bool Exec(const std::string &path, const std::string &sql) {
  sqlite3 *db = nullptr;
  EXPECT_EQ(sqlite3_open_v2(path.c_str(), &db, SQLITE_OPEN_READWRITE, nullptr), SQLITE_OK);
  char *message = nullptr;
  const bool ok = sqlite3_exec(db, sql.c_str(), nullptr, nullptr, &message) == SQLITE_OK;
  EXPECT_TRUE(ok) << (message != nullptr ? message : "");
  sqlite3_free(message);
  sqlite3_close(db);
  return ok;
}

// The first column of the first row of a query on the state file, as an integer (-1: none).
long long Number(const std::string &path, const std::string &sql) {
  sqlite3 *db = nullptr;
  EXPECT_EQ(sqlite3_open_v2(path.c_str(), &db, SQLITE_OPEN_READONLY, nullptr), SQLITE_OK);
  sqlite3_stmt *stmt = nullptr;
  long long out = -1;
  if (sqlite3_prepare_v2(db, sql.c_str(), -1, &stmt, nullptr) == SQLITE_OK &&
      sqlite3_step(stmt) == SQLITE_ROW)
    out = sqlite3_column_int64(stmt, 0);
  EXPECT_NE(out, -1) << sqlite3_errmsg(db);
  sqlite3_finalize(stmt);
  sqlite3_close(db);
  return out;
}

// "copy0001" ... "copy<count>", the Tags of the copies of chassis0, in the order they are made.
std::vector<std::string> CopyTags(int count) {
  std::vector<std::string> tags;
  char tag[16];
  for (int i = 1; i <= count; ++i) {
    std::snprintf(tag, sizeof tag, "copy%04d", i);
    tags.push_back(tag);
  }
  return tags;
}

class Enumeration : public DemoTest {
 protected:
  // Seeds the state through the provider, then adds kCopies copies of chassis0 directly in one
  // transaction (through the provider that would be one transaction per instance).
  void SetUp() override {
    Owned<CMPIObjectPath> op(ClassPath("Demo_Chassis"));
    ASSERT_EQ(provider_.enumerateInstanceNames(op.get()).size(), 1u);
    const std::string range = "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n"
                              " WHERE i < " + std::to_string(kCopies) + ")";
    const std::string key = "printf('Tag=\"copy%04d\"', i)";
    ASSERT_TRUE(Exec(state_.path(),
                     "BEGIN IMMEDIATE;" + range +
                         " INSERT INTO DemoInstance (ClassName, InstanceKey)"
                         " SELECT 'Demo_Chassis', " + key + " FROM n;" + range +
                         " INSERT INTO DemoProperty (ClassName, InstanceKey, Name, DataType, Value)"
                         " SELECT 'Demo_Chassis', " + key + ", p.Name, p.DataType,"
                         " CASE p.Name WHEN 'Tag' THEN printf('copy%04d', i) ELSE p.Value END"
                         " FROM n, DemoProperty p WHERE p.ClassName = 'Demo_Chassis'"
                         " AND p.InstanceKey = 'Tag=\"chassis0\"';"
                         "COMMIT;"));
  }

  // The Tag of every returned instance or path, in the order returned.
  static std::vector<std::string> Tags(const Answer &answer) {
    std::vector<std::string> tags;
    for (size_t i = 0; i < answer.size(); ++i) {
      if (answer.type(i) == CMPI_instance) {
        tags.push_back(Text(answer.instance(i), "Tag"));
      } else {
        // The key comes as a copy owned by the caller.
        const CMPIData key = CMGetKey(answer.path(i), "Tag", nullptr);
        const CMPIValue value = key.value;
        const CMPIType type = key.type;
        const CMPIValueState state = key.state;
        const bool text = type == CMPI_string && (state & CMPI_nullValue) == 0;
        tags.push_back(text ? CMGetCharPtr(value.string) : "<no tag>");
        if (text) Release(key);
      }
    }
    return tags;
  }

  // Overwrites the last leaf page of DemoProperty, which holds the properties of the last
  // copies made, so that reading them fails while the first instances read well.
  void DamageTheLastPropertyPage() {
    const long long page_size = Number(state_.path(), "PRAGMA page_size");
    const long long page = Number(state_.path(),
                                  "SELECT pageno FROM dbstat WHERE name = 'DemoProperty'"
                                  " AND pagetype = 'leaf' ORDER BY path DESC LIMIT 1");
    ASSERT_GT(page, 1);
    // The copies' properties must span several pages, or the damage would hide them all.
    ASSERT_GT(Number(state_.path(), "SELECT count(*) FROM dbstat WHERE name = 'DemoProperty'"
                                    " AND pagetype = 'leaf'"),
              4);
    FILE *file = std::fopen(state_.path().c_str(), "r+b");
    ASSERT_NE(file, nullptr);
    ASSERT_EQ(std::fseek(file, static_cast<long>((page - 1) * page_size), SEEK_SET), 0);
    const std::vector<unsigned char> garbage(static_cast<size_t>(page_size), 0xee);
    EXPECT_EQ(std::fwrite(garbage.data(), 1, garbage.size(), file), garbage.size());
    std::fclose(file);
  }

  std::vector<std::string> AllTags() const {
    std::vector<std::string> tags = CopyTags(kCopies);
    tags.insert(tags.begin(), "chassis0");
    return tags;
  }
};

TEST_F(Enumeration, ManyInstancesComeBackOnceEachInTheOrderOfCreation) {
  Owned<CMPIObjectPath> op(ClassPath("Demo_Chassis"));
  Answer instances = provider_.enumerateInstances(op.get());
  EXPECT_EQ(instances.rc, CMPI_RC_OK) << instances.message;
  EXPECT_TRUE(instances.finished);
  EXPECT_EQ(Tags(instances), AllTags());
  Answer names = provider_.enumerateInstanceNames(op.get());
  EXPECT_EQ(names.rc, CMPI_RC_OK) << names.message;
  EXPECT_EQ(Tags(names), AllTags());
  // Every copy carries chassis0's other properties.
  ASSERT_EQ(instances.size(), static_cast<size_t>(kCopies) + 1);
  EXPECT_EQ(Text(instances.instance(kCopies), "Manufacturer"),
            Text(instances.instance(0), "Manufacturer"));
}

TEST_F(Enumeration, AQueryFiltersAndProjectsEveryInstanceAsItIsRead) {
  Owned<CMPIObjectPath> op(ClassPath("Demo_Chassis"));
  Answer a = provider_.execQuery(op.get(), "SELECT Model FROM Demo_Chassis WHERE Tag >= 'copy0390'");
  EXPECT_EQ(a.rc, CMPI_RC_OK) << a.message;
  EXPECT_TRUE(a.finished);
  const std::vector<std::string> copies = CopyTags(kCopies);
  EXPECT_EQ(Tags(a), std::vector<std::string>(copies.begin() + 389, copies.end()));
  ASSERT_GT(a.size(), 0u);
  // Projected: the key and Model only.
  EXPECT_TRUE(Property(a.instance(0), "Manufacturer").missing);
  EXPECT_FALSE(Property(a.instance(0), "Model").missing);
}

TEST_F(Enumeration, AReadFailurePartWayEndsTheEnumerationAfterTheInstancesReturned) {
  DamageTheLastPropertyPage();
  Owned<CMPIObjectPath> op(ClassPath("Demo_Chassis"));
  for (const bool names : {false, true}) {
    Answer a = names ? provider_.enumerateInstanceNames(op.get())
                     : provider_.enumerateInstances(op.get());
    EXPECT_EQ(a.rc, CMPI_RC_ERR_FAILED) << names;
    EXPECT_THAT(a.message, StartsWith("the demo state cannot be read: ")) << names;
    // The instances read before the failure were returned, each once and in order.
    EXPECT_TRUE(a.finished) << names;
    EXPECT_GT(a.size(), 1u) << names;
    EXPECT_LT(a.size(), static_cast<size_t>(kCopies)) << names;
    const std::vector<std::string> all = AllTags();
    EXPECT_EQ(Tags(a), std::vector<std::string>(all.begin(), all.begin() + a.size())) << names;
  }
  Answer query = provider_.execQuery(op.get(), "SELECT * FROM Demo_Chassis");
  EXPECT_EQ(query.rc, CMPI_RC_ERR_FAILED);
  EXPECT_THAT(query.message, StartsWith("the demo state cannot be read: "));
  EXPECT_GT(query.size(), 1u);
}

TEST_F(Enumeration, AnUnreadableValuePartWayEndsTheEnumerationAfterTheInstancesReturned) {
  Exec(state_.path(),
       "UPDATE DemoProperty SET Value = 'many' WHERE Name = 'FanCount'"
       " AND InstanceKey = 'Tag=\"copy0200\"'");
  Owned<CMPIObjectPath> op(ClassPath("Demo_Chassis"));
  Answer a = provider_.enumerateInstances(op.get());
  EXPECT_EQ(a.rc, CMPI_RC_ERR_FAILED);
  EXPECT_EQ(a.message, "the stored value of 'FanCount' cannot be read");
  const std::vector<std::string> all = AllTags();
  EXPECT_EQ(Tags(a), std::vector<std::string>(all.begin(), all.begin() + 200));
  // The names need only the key: all of them come back.
  Answer names = provider_.enumerateInstanceNames(op.get());
  EXPECT_EQ(names.rc, CMPI_RC_OK) << names.message;
  EXPECT_EQ(names.size(), all.size());
}

}  // namespace
