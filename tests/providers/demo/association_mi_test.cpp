// The association MI of the demo provider: Demo_ChassisFan between Demo_Chassis
// (GroupComponent) and Demo_Fan (PartComponent).
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "demo_host.h"

namespace {

using namespace demotest;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

const std::string kChassis0 = "root/cimv2:Demo_Chassis.Tag=chassis0";
const std::string kFan0 = "root/cimv2:Demo_Fan.DeviceID=fan0,SystemName=bmc0";
const std::string kFan1 = "root/cimv2:Demo_Fan.DeviceID=fan1,SystemName=bmc0";
const std::string kLink0 =
    "root/cimv2:Demo_ChassisFan.GroupComponent=" + kChassis0 + ",PartComponent=" + kFan0;
const std::string kLink1 =
    "root/cimv2:Demo_ChassisFan.GroupComponent=" + kChassis0 + ",PartComponent=" + kFan1;

class Associations : public DemoTest {
 protected:
  Owned<CMPIObjectPath> chassis_{ChassisPath("chassis0")};
  Owned<CMPIObjectPath> fan0_{FanPath("fan0")};
  Owned<CMPIObjectPath> fan1_{FanPath("fan1")};
};

TEST_F(Associations, AssociatorsOfTheChassisAreItsFans) {
  Answer names = provider_.associatorNames(chassis_.get());
  EXPECT_EQ(names.rc, CMPI_RC_OK);
  EXPECT_TRUE(names.finished);
  EXPECT_THAT(names.paths(), ElementsAre(kFan0, kFan1));
  EXPECT_EQ(names.type(0), CMPI_ref);

  Answer instances = provider_.associators(chassis_.get());
  EXPECT_EQ(instances.rc, CMPI_RC_OK);
  ASSERT_EQ(instances.size(), 2u);
  EXPECT_EQ(instances.type(1), CMPI_instance);
  EXPECT_EQ(Text(instances.instance(1), "Name"), "Rear fan");
  EXPECT_EQ(Text(instances.instance(1), "EffectiveUserID"), std::to_string(geteuid()));
}

TEST_F(Associations, AssociatorsOfAFanIsItsChassis) {
  EXPECT_THAT(provider_.associatorNames(fan1_.get()).paths(), ElementsAre(kChassis0));
  Answer a = provider_.associators(fan0_.get());
  ASSERT_EQ(a.size(), 1u);
  EXPECT_EQ(Text(a.instance(0), "Model"), "DM-100");
}

TEST_F(Associations, AssociatorFiltersSelectByAssociationClassRoleAndResult) {
  struct Case {
    const char *assocClass, *resultClass, *role, *resultRole;
    size_t count;
  };
  const Case cases[] = {
      {"Demo_ChassisFan", nullptr, nullptr, nullptr, 2},
      {"demo_chassisfan", nullptr, nullptr, nullptr, 2},
      {"Demo_Other", nullptr, nullptr, nullptr, 0},
      {nullptr, "Demo_Fan", nullptr, nullptr, 2},
      {nullptr, "DEMO_FAN", nullptr, nullptr, 2},
      {nullptr, "Demo_Chassis", nullptr, nullptr, 0},
      {nullptr, nullptr, "GroupComponent", nullptr, 2},
      {nullptr, nullptr, "groupcomponent", nullptr, 2},
      {nullptr, nullptr, "PartComponent", nullptr, 0},
      {nullptr, nullptr, nullptr, "PartComponent", 2},
      {nullptr, nullptr, nullptr, "GroupComponent", 0},
      {"Demo_ChassisFan", "Demo_Fan", "GroupComponent", "PartComponent", 2},
      {"", "", "", "", 2},  // empty filters do not filter
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(::testing::Message()
                 << (c.assocClass ? c.assocClass : "-") << " "
                 << (c.resultClass ? c.resultClass : "-") << " " << (c.role ? c.role : "-") << " "
                 << (c.resultRole ? c.resultRole : "-"));
    Answer names = provider_.associatorNames(chassis_.get(), c.assocClass, c.resultClass, c.role,
                                             c.resultRole);
    EXPECT_EQ(names.rc, CMPI_RC_OK);
    EXPECT_TRUE(names.finished);
    EXPECT_EQ(names.size(), c.count);
    Answer instances =
        provider_.associators(chassis_.get(), c.assocClass, c.resultClass, c.role, c.resultRole);
    EXPECT_EQ(instances.rc, CMPI_RC_OK);
    EXPECT_EQ(instances.size(), c.count);
  }
  // From the fan's side the roles swap.
  EXPECT_THAT(
      provider_
          .associatorNames(fan0_.get(), nullptr, "Demo_Chassis", "PartComponent", "GroupComponent")
          .paths(),
      ElementsAre(kChassis0));
  EXPECT_THAT(provider_.associatorNames(fan0_.get(), nullptr, nullptr, "GroupComponent").paths(),
              IsEmpty());
}

TEST_F(Associations, AssociatorsHonourThePropertyList) {
  const char *properties[] = {"Speed", nullptr};
  Answer a = provider_.associators(chassis_.get(), nullptr, nullptr, nullptr, nullptr, properties);
  ASSERT_EQ(a.size(), 2u);
  EXPECT_THAT(PropertyNames(a.instance(0)), ElementsAre("DeviceID", "SystemName", "Speed"));
}

TEST_F(Associations, ReferencesAreTheAssociationInstances) {
  Answer names = provider_.referenceNames(chassis_.get());
  EXPECT_EQ(names.rc, CMPI_RC_OK);
  EXPECT_THAT(names.paths(), ElementsAre(kLink0, kLink1));
  Answer instances = provider_.references(fan1_.get());
  EXPECT_EQ(instances.rc, CMPI_RC_OK);
  ASSERT_EQ(instances.size(), 1u);
  EXPECT_EQ(InstanceText(instances.instance(0)),
            "Demo_ChassisFan{GroupComponent=" + kChassis0 + ",PartComponent=" + kFan1 + "}");
  const CMPIData part = CMGetProperty(instances.instance(0), "PartComponent", nullptr);
  const CMPIType partType = part.type;
  EXPECT_EQ(partType, CMPI_ref);
  Release(part);
}

TEST_F(Associations, ReferenceFiltersSelectByAssociationClassAndRole) {
  EXPECT_EQ(provider_.referenceNames(chassis_.get(), "Demo_ChassisFan").size(), 2u);
  EXPECT_EQ(provider_.referenceNames(chassis_.get(), "Demo_Fan").size(), 0u);
  EXPECT_EQ(provider_.referenceNames(chassis_.get(), nullptr, "GroupComponent").size(), 2u);
  EXPECT_EQ(provider_.referenceNames(chassis_.get(), nullptr, "PartComponent").size(), 0u);
  EXPECT_THAT(provider_.referenceNames(fan0_.get(), "DEMO_CHASSISFAN", "partcomponent").paths(),
              ElementsAre(kLink0));
  EXPECT_EQ(provider_.references(fan0_.get(), nullptr, "GroupComponent").size(), 0u);
  const char *none[] = {nullptr};
  Answer a = provider_.references(chassis_.get(), nullptr, nullptr, none);
  ASSERT_EQ(a.size(), 2u);  // keys are always there
  EXPECT_THAT(PropertyNames(a.instance(0)), ElementsAre("GroupComponent", "PartComponent"));
}

TEST_F(Associations, AnObjectWithoutAssociationsHasNone) {
  Owned<CMPIObjectPath> lonely(ChassisPath("chassis9"));
  Answer a = provider_.associatorNames(lonely.get());
  EXPECT_EQ(a.rc, CMPI_RC_OK);
  EXPECT_TRUE(a.finished);
  EXPECT_EQ(a.size(), 0u);
  EXPECT_EQ(provider_.references(lonely.get()).size(), 0u);
  // Keys matter exactly: another SystemName is another fan.
  Owned<CMPIObjectPath> other(FanPath("fan0", "bmc1"));
  EXPECT_EQ(provider_.associatorNames(other.get()).size(), 0u);
}

TEST_F(Associations, UnknownClassesAndMissingKeysAreErrors) {
  Owned<CMPIObjectPath> unknown(ClassPath("Demo_Pump"));
  Answer a = provider_.associators(unknown.get());
  EXPECT_EQ(a.rc, CMPI_RC_ERR_INVALID_CLASS);
  EXPECT_EQ(a.message, "class 'Demo_Pump' is not served by this provider");
  EXPECT_FALSE(a.finished);
  Owned<CMPIObjectPath> keyless(ClassPath("Demo_Fan"));
  Answer b = provider_.referenceNames(keyless.get());
  EXPECT_EQ(b.rc, CMPI_RC_ERR_INVALID_PARAMETER);
  EXPECT_EQ(b.message, "key property 'DeviceID' is missing");
  Owned<CMPIObjectPath> elsewhere(ChassisPath("chassis0", "root/other"));
  EXPECT_EQ(provider_.associatorNames(elsewhere.get()).rc, CMPI_RC_ERR_INVALID_NAMESPACE);
}

TEST_F(Associations, DeletingAFanTakesItsMembershipAlong) {
  Owned<CMPIObjectPath> fan(FanPath("fan1"));
  ASSERT_EQ(provider_.deleteInstance(fan.get()).rc, CMPI_RC_OK);
  EXPECT_THAT(provider_.associatorNames(chassis_.get()).paths(), ElementsAre(kFan0));
  EXPECT_THAT(provider_.referenceNames(chassis_.get()).paths(), ElementsAre(kLink0));
}

}  // namespace
