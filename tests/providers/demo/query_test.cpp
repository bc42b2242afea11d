// execQuery of the demo provider: SELECT ... FROM <class> [WHERE <property> <op> <literal>].
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "demo_host.h"

namespace {

using namespace demotest;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class Query : public DemoTest {
 protected:
  // The DeviceIDs (or Tags) of the instances the query returns; fails the test on an error.
  std::vector<std::string> Select(const char *query, const char *lang = "WQL") {
    Owned<CMPIObjectPath> op(ClassPath("Demo_Fan"));
    Answer a = provider_.execQuery(op.get(), query, lang);
    EXPECT_EQ(a.rc, CMPI_RC_OK) << query << ": " << a.message;
    EXPECT_TRUE(a.finished) << query;
    std::vector<std::string> ids;
    for (size_t i = 0; i < a.size(); ++i) {
      const CMPIInstance *inst = a.instance(i);
      ids.push_back(Property(inst, "DeviceID").missing ? Text(inst, "Tag")
                                                       : Text(inst, "DeviceID"));
    }
    return ids;
  }

  Answer Fails(const char *query, const char *lang = "WQL") {
    Owned<CMPIObjectPath> op(ClassPath("Demo_Fan"));
    Answer a = provider_.execQuery(op.get(), query, lang);
    EXPECT_FALSE(a.finished) << query;
    EXPECT_EQ(a.size(), 0u) << query;
    return a;
  }
};

TEST_F(Query, SelectStarReturnsEveryInstanceOfTheClass) {
  EXPECT_THAT(Select("SELECT * FROM Demo_Fan"), ElementsAre("fan0", "fan1"));
  EXPECT_THAT(Select("SELECT * FROM Demo_Chassis"), ElementsAre("chassis0"));
  // Full instances, computed property included.
  Owned<CMPIObjectPath> op(ClassPath("Demo_Fan"));
  Answer a = provider_.execQuery(op.get(), "SELECT * FROM Demo_Fan", "WQL");
  ASSERT_EQ(a.size(), 2u);
  EXPECT_EQ(PropertyNames(a.instance(0)).size(), 23u);
  EXPECT_EQ(Text(a.instance(0), "EffectiveUserID"), std::to_string(geteuid()));
}

TEST_F(Query, EveryOperatorOnAnUnsignedProperty) {
  // fan0 Speed 2400, fan1 Speed 0.
  EXPECT_THAT(Select("SELECT * FROM Demo_Fan WHERE Speed = 2400"), ElementsAre("fan0"));
  EXPECT_THAT(Select("SELECT * FROM Demo_Fan WHERE Speed != 2400"), ElementsAre("fan1"));
  EXPECT_THAT(Select("SELECT * FROM Demo_Fan WHERE Speed <> 2400"), ElementsAre("fan1"));
  EXPECT_THAT(Select("SELECT * FROM Demo_Fan WHERE Speed < 2400"), ElementsAre("fan1"));
  EXPECT_THAT(Select("SELECT * FROM Demo_Fan WHERE Speed <= 2400"), ElementsAre("fan0", "fan1"));
  EXPECT_THAT(Select("SELECT * FROM Demo_Fan WHERE Speed > 0"), ElementsAre("fan0"));
  EXPECT_THAT(Select("SELECT * FROM Demo_Fan WHERE Speed >= 0"), ElementsAre("fan0", "fan1"));
  EXPECT_THAT(Select("SELECT * FROM Demo_Fan WHERE Speed > 2400"), IsEmpty());
  // No blanks needed around the operator; a real literal compares by value.
  EXPECT_THAT(Select("SELECT * FROM Demo_Fan WHERE Speed>=2399.5"), ElementsAre("fan0"));
  EXPECT_THAT(Select("SELECT * FROM Demo_Fan WHERE MaxSpeed = 4.5e3"), ElementsAre("fan1"));
}

TEST_F(Query, SignedRealBooleanCharAndDateTimeProperties) {
  EXPECT_THAT(Select("SELECT * FROM Demo_Fan WHERE Offset < 0"), ElementsAre("fan0"));
  EXPECT_THAT(Select("SELECT * FROM Demo_Fan WHERE Offset = +3"), ElementsAre("fan1"));
  EXPECT_THAT(Select("SELECT * FROM Demo_Fan WHERE Accumulated <= -1234567890123"),
              ElementsAre("fan0"));
  EXPECT_THAT(Select("SELECT * FROM Demo_Fan WHERE Accumulated > 9876543209"), ElementsAre("fan1"));
  EXPECT_THAT(Select("SELECT * FROM Demo_Fan WHERE Ratio > 0.2"), ElementsAre("fan0"));
  EXPECT_THAT(Select("SELECT * FROM Demo_Fan WHERE Load = 0.75"), ElementsAre("fan1"));
  EXPECT_THAT(Select("SELECT * FROM Demo_Fan WHERE Enabled = TRUE"), ElementsAre("fan0"));
  EXPECT_THAT(Select("SELECT * FROM Demo_Fan WHERE Enabled <> true"), ElementsAre("fan1"));
  EXPECT_THAT(Select("SELECT * FROM Demo_Fan WHERE Initial = 'R'"), ElementsAre("fan1"));
  EXPECT_THAT(Select("SELECT * FROM Demo_Fan WHERE Initial = 70"), ElementsAre("fan0"));
  EXPECT_THAT(Select("SELECT * FROM Demo_Fan WHERE InstallDate < '20240101000000.000000+000'"),
              ElementsAre("fan1"));
  const std::string uid = std::to_string(geteuid());
  EXPECT_THAT(Select(("SELECT * FROM Demo_Fan WHERE EffectiveUserID = " + uid).c_str()),
              ElementsAre("fan0", "fan1"));
}

TEST_F(Query, StringLiteralsInEitherQuoteWithDoubledQuotes) {
  EXPECT_THAT(Select("SELECT * FROM Demo_Fan WHERE Name = 'Rear fan'"), ElementsAre("fan1"));
  EXPECT_THAT(Select("SELECT * FROM Demo_Fan WHERE Name = \"Front fan\""), ElementsAre("fan0"));
  EXPECT_THAT(Select("SELECT * FROM Demo_Fan WHERE Name > 'G'"), ElementsAre("fan1"));
  EXPECT_THAT(Select("SELECT * FROM Demo_Fan WHERE Name = 'rear fan'"), IsEmpty());
  // Change a name to hold a quote, then find it.
  Owned<CMPIObjectPath> op(FanPath("fan0"));
  Owned<CMPIInstance> inst(makeNewCMPIInstance(op.get(), nullptr));
  CMSetProperty(inst.get(), "Name", "it's", CMPI_chars);
  ASSERT_EQ(provider_.modifyInstance(op.get(), inst.get()).rc, CMPI_RC_OK);
  EXPECT_THAT(Select("SELECT * FROM Demo_Fan WHERE Name = 'it''s'"), ElementsAre("fan0"));
  EXPECT_THAT(Select("SELECT * FROM Demo_Fan WHERE Name = \"it's\""), ElementsAre("fan0"));
}

TEST_F(Query, NullPropertiesMatchNoCondition) {
  // fan0 has no Notes: neither = nor != selects it.
  EXPECT_THAT(Select("SELECT * FROM Demo_Fan WHERE Notes = 'x'"), IsEmpty());
  EXPECT_THAT(Select("SELECT * FROM Demo_Fan WHERE Notes != 'x'"), ElementsAre("fan1"));
}

TEST_F(Query, KeywordsPropertiesAndLanguagesIgnoreCase) {
  EXPECT_THAT(Select("select * from demo_fan where speed >= 2400"), ElementsAre("fan0"));
  EXPECT_THAT(Select("  SeLeCt  *  FrOm  Demo_Fan  "), ElementsAre("fan0", "fan1"));
  EXPECT_THAT(Select("SELECT * FROM Demo_Fan", "cql"), ElementsAre("fan0", "fan1"));
  EXPECT_THAT(Select("SELECT * FROM Demo_Fan", "DMTF:CQL"), ElementsAre("fan0", "fan1"));
  EXPECT_THAT(Select("SELECT * FROM Demo_Fan", nullptr), ElementsAre("fan0", "fan1"));
}

TEST_F(Query, SelectedPropertiesLimitTheInstancesButKeepKeys) {
  Owned<CMPIObjectPath> op(ClassPath("Demo_Fan"));
  Answer a =
      provider_.execQuery(op.get(), "SELECT Name, speed FROM Demo_Fan WHERE Level > 10", "WQL");
  ASSERT_EQ(a.rc, CMPI_RC_OK) << a.message;
  ASSERT_EQ(a.size(), 1u);
  EXPECT_EQ(InstanceText(a.instance(0)),
            "Demo_Fan{DeviceID=fan0,SystemName=bmc0,Name=Front fan,Speed=2400}");
}

TEST_F(Query, QueriesOfAnotherFormAreInvalidQuery) {
  const char *queries[] = {
      "",
      "DELETE FROM Demo_Fan",
      "SELECT FROM Demo_Fan",
      "SELECT * Demo_Fan",
      "SELECT * FROM",
      "SELECT * FROM Demo_Fan WHERE",
      "SELECT * FROM Demo_Fan WHERE Speed",
      "SELECT * FROM Demo_Fan WHERE Speed =",
      "SELECT * FROM Demo_Fan WHERE Speed ~ 3",
      "SELECT * FROM Demo_Fan WHERE Speed == 3",
      "SELECT * FROM Demo_Fan WHERE Speed = 3 AND Level = 1",
      "SELECT * FROM Demo_Fan WHERE Name = 'open",
      "SELECT * FROM Demo_Fan WHERE Name = Front",
      "SELECT * FROM Demo_Fan WHERE Speed = 1.2.3",
      "SELECT * FROM Demo_Fan ORDER BY Speed",
      "SELECT Name, FROM Demo_Fan",
  };
  for (const char *query : queries) {
    Answer a = Fails(query);
    EXPECT_EQ(a.rc, CMPI_RC_ERR_INVALID_QUERY) << query;
    EXPECT_EQ(a.message, std::string("unsupported query: ") + query);
  }
}

TEST_F(Query, ConditionsThatCannotBeEvaluatedAreInvalidQuery) {
  struct Case {
    const char *query;
    const char *message;
  };
  const Case cases[] = {
      {"SELECT * FROM Demo_Fan WHERE Nope = 1", "class Demo_Fan has no property 'Nope'"},
      {"SELECT Nope FROM Demo_Fan", "class Demo_Fan has no property 'Nope'"},
      {"SELECT * FROM Demo_Fan WHERE Speed = 'fast'",
       "property 'Speed' is a uint32 and cannot be compared with a string"},
      {"SELECT * FROM Demo_Fan WHERE Name = 3",
       "property 'Name' is a string and cannot be compared with an integer"},
      {"SELECT * FROM Demo_Fan WHERE Enabled = 1",
       "property 'Enabled' is a boolean and cannot be compared with an integer"},
      {"SELECT * FROM Demo_Fan WHERE Speed = TRUE",
       "property 'Speed' is a uint32 and cannot be compared with a boolean"},
      {"SELECT * FROM Demo_Fan WHERE Initial = 'AB'",
       "property 'Initial' is a char16 and cannot be compared with a string"},
      {"SELECT * FROM Demo_Fan WHERE Tags = 'front'",
       "property 'Tags' is a string array and cannot be compared with a string"},
      {"SELECT * FROM Demo_Fan WHERE Chassis = 'x'",
       "property 'Chassis' is a reference and cannot be compared with a string"},
      {"SELECT * FROM Demo_Fan WHERE Sensor = 'x'",
       "property 'Sensor' is an embedded instance and cannot be compared with a string"},
      {"SELECT * FROM Demo_Fan WHERE Ratio = 'x'",
       "property 'Ratio' is a real32 and cannot be compared with a string"},
  };
  for (const Case &c : cases) {
    Answer a = Fails(c.query);
    EXPECT_EQ(a.rc, CMPI_RC_ERR_INVALID_QUERY) << c.query;
    EXPECT_EQ(a.message, c.message);
  }
}

TEST_F(Query, OtherLanguagesUnknownClassesAndNamespaces) {
  Answer a = Fails("SELECT * FROM Demo_Fan", "SQL");
  EXPECT_EQ(a.rc, CMPI_RC_ERR_QUERY_LANGUAGE_NOT_SUPPORTED);
  EXPECT_EQ(a.message, "query language 'SQL' is not supported");
  // The language is checked before the query.
  EXPECT_EQ(Fails("nonsense", "XPath").rc, CMPI_RC_ERR_QUERY_LANGUAGE_NOT_SUPPORTED);
  Answer b = Fails("SELECT * FROM Demo_Nope");
  EXPECT_EQ(b.rc, CMPI_RC_ERR_INVALID_CLASS);
  EXPECT_EQ(b.message, "class 'Demo_Nope' is not served by this provider");
  Owned<CMPIObjectPath> other(ClassPath("Demo_Fan", "root/other"));
  Answer c = provider_.execQuery(other.get(), "SELECT * FROM Demo_Fan", "WQL");
  EXPECT_EQ(c.rc, CMPI_RC_ERR_INVALID_NAMESPACE);
  // The path's class does not matter, the query names it.
  Owned<CMPIObjectPath> chassis(ClassPath("Demo_Chassis"));
  Answer d = provider_.execQuery(chassis.get(), "SELECT * FROM Demo_Fan WHERE Level = 0", "WQL");
  EXPECT_EQ(d.rc, CMPI_RC_OK);
  EXPECT_THAT(d.paths(), ElementsAre("root/cimv2:Demo_Fan.DeviceID=fan1,SystemName=bmc0"));
}

TEST_F(Query, QueriesSeeChangesMadeThroughOtherOperations) {
  Owned<CMPIObjectPath> op(FanPath("fan1"));
  Owned<CMPIInstance> inst(makeNewCMPIInstance(op.get(), nullptr));
  const CMPIUint32 speed = 3000;
  CMSetProperty(inst.get(), "Speed", &speed, CMPI_uint32);
  ASSERT_EQ(provider_.modifyInstance(op.get(), inst.get()).rc, CMPI_RC_OK);
  EXPECT_THAT(Select("SELECT * FROM Demo_Fan WHERE Speed > 2400"), ElementsAre("fan1"));
}

}  // namespace
