// The instance MI of the demo provider, driven through its factory the way a host does.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <vector>

#include "demo_host.h"

namespace {

using namespace demotest;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

const std::string kChassis0 = "root/cimv2:Demo_Chassis.Tag=chassis0";
const std::string kFan0 = "root/cimv2:Demo_Fan.DeviceID=fan0,SystemName=bmc0";
const std::string kFan1 = "root/cimv2:Demo_Fan.DeviceID=fan1,SystemName=bmc0";

std::string Uid() { return std::to_string(geteuid()); }

// ---- factories ----------------------------------------------------------------------------------

TEST_F(DemoTest, FactoriesNameTheirMIsAndCleanUpWithOk) {
  EXPECT_STREQ(provider_.instanceMI()->ft->miName, "instanceDemoProvider");
  EXPECT_STREQ(provider_.methodMI()->ft->miName, "methodDemoProvider");
  EXPECT_STREQ(provider_.associationMI()->ft->miName, "associationDemoProvider");
  EXPECT_EQ(provider_.instanceMI()->ft->ftVersion, CMPICurrentVersion);
  const CMPIStatus st =
      provider_.instanceMI()->ft->cleanup(provider_.instanceMI(), provider_.context(), 0);
  const CMPIrc rc = st.rc;
  const CMPIString *msg = st.msg;
  EXPECT_EQ(rc, CMPI_RC_OK);
  EXPECT_EQ(msg, nullptr);
}

// ---- enumerations -------------------------------------------------------------------------------

TEST_F(DemoTest, EnumerateInstanceNamesOfEveryClass) {
  Owned<CMPIObjectPath> chassis(ClassPath("Demo_Chassis"));
  Answer a = provider_.enumerateInstanceNames(chassis.get());
  EXPECT_EQ(a.rc, CMPI_RC_OK);
  EXPECT_TRUE(a.finished);
  EXPECT_THAT(a.paths(), ElementsAre(kChassis0));

  Owned<CMPIObjectPath> fans(ClassPath("Demo_Fan"));
  Answer b = provider_.enumerateInstanceNames(fans.get());
  EXPECT_EQ(b.rc, CMPI_RC_OK);
  EXPECT_THAT(b.paths(), ElementsAre(kFan0, kFan1));

  Owned<CMPIObjectPath> memberships(ClassPath("Demo_ChassisFan"));
  Answer c = provider_.enumerateInstanceNames(memberships.get());
  EXPECT_EQ(c.rc, CMPI_RC_OK);
  EXPECT_THAT(c.paths(), ElementsAre("root/cimv2:Demo_ChassisFan.GroupComponent=" + kChassis0 +
                                         ",PartComponent=" + kFan0,
                                     "root/cimv2:Demo_ChassisFan.GroupComponent=" + kChassis0 +
                                         ",PartComponent=" + kFan1));
  // The reference keys are real references.
  ASSERT_EQ(c.size(), 2u);
  const CMPIData group = CMGetKey(c.path(0), "GroupComponent", nullptr);
  const CMPIType groupType = group.type;
  EXPECT_EQ(groupType, CMPI_ref);
  Release(group);
}

TEST_F(DemoTest, EnumerateInstancesOfEveryClass) {
  Owned<CMPIObjectPath> chassis(ClassPath("Demo_Chassis"));
  Answer a = provider_.enumerateInstances(chassis.get());
  EXPECT_EQ(a.rc, CMPI_RC_OK);
  ASSERT_EQ(a.size(), 1u);
  EXPECT_EQ(InstanceText(a.instance(0)),
            "Demo_Chassis{Tag=chassis0,Manufacturer=Demo Manufacturing,Model=DM-100,"
            "SerialNumber=SN-0001,FanCount=2}");

  Owned<CMPIObjectPath> fans(ClassPath("Demo_Fan"));
  Answer b = provider_.enumerateInstances(fans.get());
  EXPECT_EQ(b.rc, CMPI_RC_OK);
  EXPECT_THAT(b.paths(), ElementsAre(kFan0, kFan1));

  Owned<CMPIObjectPath> memberships(ClassPath("Demo_ChassisFan"));
  Answer c = provider_.enumerateInstances(memberships.get());
  EXPECT_EQ(c.rc, CMPI_RC_OK);
  ASSERT_EQ(c.size(), 2u);
  EXPECT_EQ(InstanceText(c.instance(1)),
            "Demo_ChassisFan{GroupComponent=" + kChassis0 + ",PartComponent=" + kFan1 + "}");
}

TEST_F(DemoTest, EnumerationOfAnUnknownClassIsInvalidClass) {
  Owned<CMPIObjectPath> op(ClassPath("Demo_Nothing"));
  Answer a = provider_.enumerateInstances(op.get());
  EXPECT_EQ(a.rc, CMPI_RC_ERR_INVALID_CLASS);
  EXPECT_EQ(a.message, "class 'Demo_Nothing' is not served by this provider");
  EXPECT_FALSE(a.finished);
  Answer b = provider_.enumerateInstanceNames(op.get());
  EXPECT_EQ(b.rc, CMPI_RC_ERR_INVALID_CLASS);
}

TEST_F(DemoTest, EnumerationInAnotherNamespaceIsInvalidNamespace) {
  Owned<CMPIObjectPath> op(ClassPath("Demo_Fan", "root/other"));
  Answer a = provider_.enumerateInstances(op.get());
  EXPECT_EQ(a.rc, CMPI_RC_ERR_INVALID_NAMESPACE);
  EXPECT_EQ(a.message, "namespace 'root/other' has no class Demo_Fan");
}

TEST_F(DemoTest, ClassNamesAndNamespacesCompareWithoutCase) {
  Owned<CMPIObjectPath> op(ClassPath("demo_FAN", "ROOT/CIMV2"));
  Answer a = provider_.enumerateInstanceNames(op.get());
  EXPECT_EQ(a.rc, CMPI_RC_OK);
  EXPECT_THAT(a.paths(), ElementsAre(kFan0, kFan1));
}

// ---- every property, every type -----------------------------------------------------------------

TEST_F(DemoTest, FanCarriesEveryPropertyWithItsTypeCode) {
  Owned<CMPIObjectPath> op(FanPath("fan0"));
  Answer a = provider_.getInstance(op.get());
  ASSERT_EQ(a.rc, CMPI_RC_OK) << a.message;
  ASSERT_EQ(a.size(), 1u);
  const CMPIInstance *fan = a.instance(0);
  const std::vector<std::tuple<const char *, CMPIType, std::string>> expected = {
      {"DeviceID", CMPI_string, "fan0"},
      {"SystemName", CMPI_string, "bmc0"},
      {"Name", CMPI_string, "Front fan"},
      {"Enabled", CMPI_boolean, "true"},
      {"Initial", CMPI_char16, "F"},
      {"HealthState", CMPI_uint16, "5"},
      {"Speed", CMPI_uint32, "2400"},
      {"DesiredSpeed", CMPI_uint32, "2400"},
      {"MaxSpeed", CMPI_uint64, "6000"},
      {"Level", CMPI_uint8, "40"},
      {"Offset", CMPI_sint8, "-5"},
      {"Trend", CMPI_sint16, "-12"},
      {"Temperature", CMPI_sint32, "35"},
      {"Accumulated", CMPI_sint64, "-1234567890123"},
      {"Ratio", CMPI_real32, "0.5"},
      {"Load", CMPI_real64, "0.25"},
      {"InstallDate", CMPI_dateTime, "20240115103000.000000+000"},
      {"SpeedHistory", CMPI_uint32A, "[2200,2300,2400]"},
      {"Tags", CMPI_stringA, "[front,intake]"},
      {"Chassis", CMPI_ref, kChassis0},
      {"Sensor", CMPI_instance, "Demo_Sensor{Reading=35,Units=Celsius}"},
      {"EffectiveUserID", CMPI_uint32, Uid()},
  };
  std::vector<std::string> names;
  for (const auto &[name, type, text] : expected) {
    SCOPED_TRACE(name);
    const Prop prop = Property(fan, name);
    EXPECT_FALSE(prop.missing);
    EXPECT_FALSE(prop.null);
    EXPECT_EQ(prop.type, type);
    EXPECT_EQ(prop.text, text);
    names.push_back(name);
  }
  // Notes is there, null, and a string.
  const Prop notes = Property(fan, "Notes");
  EXPECT_FALSE(notes.missing);
  EXPECT_TRUE(notes.null);
  EXPECT_EQ(notes.type, CMPI_string);
  names.push_back("Notes");
  // In class order, nothing else.
  EXPECT_EQ(PropertyNames(fan), names);
}

TEST_F(DemoTest, SecondFanHasNotesAnEmptyHistoryAndIsDisabled) {
  Owned<CMPIObjectPath> op(FanPath("fan1"));
  Answer a = provider_.getInstance(op.get());
  ASSERT_EQ(a.rc, CMPI_RC_OK) << a.message;
  const CMPIInstance *fan = a.instance(0);
  EXPECT_EQ(Text(fan, "Notes"), "replaced in 2023");
  EXPECT_EQ(Text(fan, "Enabled"), "false");
  EXPECT_EQ(Text(fan, "InstallDate"), "20230301080000.000000+060");
  const Prop history = Property(fan, "SpeedHistory");
  EXPECT_FALSE(history.null);  // empty, not null
  EXPECT_EQ(history.type, CMPI_uint32A);
  EXPECT_EQ(history.text, "[]");
}

TEST_F(DemoTest, ReferenceAndEmbeddedInstanceAreObjectsOfTheirClasses) {
  Owned<CMPIObjectPath> op(FanPath("fan0"));
  Answer a = provider_.getInstance(op.get());
  ASSERT_EQ(a.rc, CMPI_RC_OK) << a.message;
  const CMPIInstance *fan = a.instance(0);

  const CMPIData chassis = CMGetProperty(fan, "Chassis", nullptr);
  const CMPIValue ref = chassis.value;
  const CMPIType chassisType = chassis.type;
  ASSERT_EQ(chassisType, CMPI_ref);
  // The reference leads to the chassis itself.
  Answer b = provider_.getInstance(ref.ref);
  EXPECT_EQ(b.rc, CMPI_RC_OK);
  EXPECT_THAT(b.paths(), ElementsAre(kChassis0));
  Release(chassis);

  const CMPIData sensor = CMGetProperty(fan, "Sensor", nullptr);
  const CMPIValue embedded = sensor.value;
  const CMPIType sensorType = sensor.type;
  ASSERT_EQ(sensorType, CMPI_instance);
  const Prop reading = Property(embedded.inst, "Reading");
  EXPECT_EQ(reading.type, CMPI_uint16);
  EXPECT_EQ(reading.text, "35");
  const Prop units = Property(embedded.inst, "Units");
  EXPECT_EQ(units.type, CMPI_string);
  EXPECT_EQ(units.text, "Celsius");
  Release(sensor);
}

TEST_F(DemoTest, EffectiveUserIdIsTheProcessEffectiveUid) {
  Owned<CMPIObjectPath> op(ClassPath("Demo_Fan"));
  Answer a = provider_.enumerateInstances(op.get());
  ASSERT_EQ(a.size(), 2u);
  for (size_t i = 0; i < a.size(); ++i) {
    const Prop uid = Property(a.instance(i), "EffectiveUserID");
    EXPECT_EQ(uid.type, CMPI_uint32);
    EXPECT_EQ(uid.text, Uid());
  }
}

// ---- getInstance --------------------------------------------------------------------------------

TEST_F(DemoTest, GetInstanceFindsKeysGivenInAnyOrderWithoutNamespace) {
  Owned<CMPIObjectPath> op(makeNewObjectPath(nullptr, "Demo_Fan", nullptr));
  CMAddKey(op.get(), "SystemName", "bmc0", CMPI_chars);
  CMAddKey(op.get(), "DeviceID", "fan1", CMPI_chars);
  Answer a = provider_.getInstance(op.get());
  EXPECT_EQ(a.rc, CMPI_RC_OK);
  EXPECT_TRUE(a.finished);
  EXPECT_THAT(a.paths(), ElementsAre(kFan1));
}

TEST_F(DemoTest, GetInstanceOfAnUnknownInstanceIsNotFound) {
  Owned<CMPIObjectPath> op(FanPath("fan9"));
  Answer a = provider_.getInstance(op.get());
  EXPECT_EQ(a.rc, CMPI_RC_ERR_NOT_FOUND);
  EXPECT_EQ(a.message, "Demo_Fan DeviceID=\"fan9\",SystemName=\"bmc0\" does not exist");
  EXPECT_FALSE(a.finished);
  // Key values are compared exactly.
  Owned<CMPIObjectPath> upper(FanPath("FAN0"));
  EXPECT_EQ(provider_.getInstance(upper.get()).rc, CMPI_RC_ERR_NOT_FOUND);
}

TEST_F(DemoTest, GetInstanceWithoutAllKeysIsInvalidParameter) {
  Owned<CMPIObjectPath> op(makeNewObjectPath(kNs, "Demo_Fan", nullptr));
  CMAddKey(op.get(), "DeviceID", "fan0", CMPI_chars);
  Answer a = provider_.getInstance(op.get());
  EXPECT_EQ(a.rc, CMPI_RC_ERR_INVALID_PARAMETER);
  EXPECT_EQ(a.message, "key property 'SystemName' is missing");
  // A key of the wrong type is no key either.
  Owned<CMPIObjectPath> typed(makeNewObjectPath(kNs, "Demo_Chassis", nullptr));
  const CMPIUint32 number = 7;
  CMAddKey(typed.get(), "Tag", &number, CMPI_uint32);
  Answer b = provider_.getInstance(typed.get());
  EXPECT_EQ(b.rc, CMPI_RC_ERR_INVALID_PARAMETER);
  EXPECT_EQ(b.message, "key property 'Tag' must be a string");
}

TEST_F(DemoTest, PropertyListLimitsPropertiesButKeepsKeys) {
  Owned<CMPIObjectPath> op(FanPath("fan0"));
  const char *properties[] = {"speed", "EffectiveUserID", nullptr};
  Answer a = provider_.getInstance(op.get(), properties);
  ASSERT_EQ(a.rc, CMPI_RC_OK);
  EXPECT_THAT(PropertyNames(a.instance(0)),
              ElementsAre("DeviceID", "SystemName", "Speed", "EffectiveUserID"));
  const char *none[] = {nullptr};
  Owned<CMPIObjectPath> all(ClassPath("Demo_Fan"));
  Answer b = provider_.enumerateInstances(all.get(), none);
  ASSERT_EQ(b.size(), 2u);
  EXPECT_THAT(PropertyNames(b.instance(1)), ElementsAre("DeviceID", "SystemName"));
}

// ---- createInstance -----------------------------------------------------------------------------

// A new fan with a value of every kind.
Owned<CMPIInstance> NewFan(const char *deviceId) {
  Owned<CMPIObjectPath> op(FanPath(deviceId));
  Owned<CMPIInstance> inst(makeNewCMPIInstance(op.get(), nullptr));
  CMPIInstance *i = inst.get();
  const CMPIBoolean enabled = 1;
  const CMPIChar16 initial = 'Z';
  const CMPIUint16 health = 20;
  const CMPIUint32 speed = 4294967295U;
  const CMPIUint64 maxSpeed = 18446744073709551615ULL;
  const CMPIUint8 level = 255;
  const CMPISint8 offset = -128;
  const CMPISint16 trend = -32768;
  const CMPISint32 temperature = -2147483647 - 1;
  const CMPISint64 accumulated = -9223372036854775807LL - 1;
  const CMPIReal32 ratio = 3.14159274F;
  const CMPIReal64 load = 0.1;
  CMSetProperty(i, "DeviceID", deviceId, CMPI_chars);
  CMSetProperty(i, "SystemName", "bmc0", CMPI_chars);
  CMSetProperty(i, "Name", "Extra \"quoted\" fan, with comma", CMPI_chars);
  CMSetProperty(i, "Enabled", &enabled, CMPI_boolean);
  CMSetProperty(i, "Initial", &initial, CMPI_char16);
  CMSetProperty(i, "HealthState", &health, CMPI_uint16);
  CMSetProperty(i, "Speed", &speed, CMPI_uint32);
  CMSetProperty(i, "DesiredSpeed", &speed, CMPI_uint32);
  CMSetProperty(i, "MaxSpeed", &maxSpeed, CMPI_uint64);
  CMSetProperty(i, "Level", &level, CMPI_uint8);
  CMSetProperty(i, "Offset", &offset, CMPI_sint8);
  CMSetProperty(i, "Trend", &trend, CMPI_sint16);
  CMSetProperty(i, "Temperature", &temperature, CMPI_sint32);
  CMSetProperty(i, "Accumulated", &accumulated, CMPI_sint64);
  CMSetProperty(i, "Ratio", &ratio, CMPI_real32);
  CMSetProperty(i, "Load", &load, CMPI_real64);
  Owned<CMPIDateTime> date(makeNewCMPIDateTimeFromChars("00000001020304.000005:000", nullptr));
  CMPIDateTime *d = date.get();
  CMSetProperty(i, "InstallDate", &d, CMPI_dateTime);
  Owned<CMPIArray> history(makeNewCMPIArray(3, CMPI_uint32, nullptr));
  const CMPIUint32 h0 = 1, h2 = 3;
  CMSetArrayElementAt(history.get(), 0, &h0, CMPI_uint32);  // element 1 stays null
  CMSetArrayElementAt(history.get(), 2, &h2, CMPI_uint32);
  CMPIArray *h = history.get();
  CMSetProperty(i, "SpeedHistory", &h, CMPI_uint32A);
  Owned<CMPIArray> tags(makeNewCMPIArray(2, CMPI_string, nullptr));
  CMSetArrayElementAt(tags.get(), 0, "a:b~c", CMPI_chars);
  CMSetArrayElementAt(tags.get(), 1, "", CMPI_chars);
  CMPIArray *t = tags.get();
  CMSetProperty(i, "Tags", &t, CMPI_stringA);
  Owned<CMPIObjectPath> chassis(ChassisPath("chassis0"));
  CMPIObjectPath *c = chassis.get();
  CMSetProperty(i, "Chassis", &c, CMPI_ref);
  Owned<CMPIObjectPath> sensorPath(ClassPath("Demo_Sensor"));
  Owned<CMPIInstance> sensor(makeNewCMPIInstance(sensorPath.get(), nullptr));
  const CMPIUint16 reading = 65535;
  CMSetProperty(sensor.get(), "Reading", &reading, CMPI_uint16);
  CMSetProperty(sensor.get(), "Units", "RPM", CMPI_chars);
  CMPIInstance *s = sensor.get();
  CMSetProperty(i, "Sensor", &s, CMPI_instance);
  CMSetProperty(i, "Notes", "new", CMPI_chars);
  return inst;
}

const char *kNewFanText =
    "Demo_Fan{DeviceID=fan7,SystemName=bmc0,Name=Extra \"quoted\" fan, with comma,"
    "Enabled=true,Initial=Z,HealthState=20,Speed=4294967295,DesiredSpeed=4294967295,"
    "MaxSpeed=18446744073709551615,Level=255,Offset=-128,Trend=-32768,"
    "Temperature=-2147483648,Accumulated=-9223372036854775808,Ratio=3.14159274,"
    "Load=0.10000000000000001,InstallDate=00000001020304.000005:000,"
    "SpeedHistory=[1,null,3],Tags=[a:b~c,],Chassis=root/cimv2:Demo_Chassis.Tag=chassis0,"
    "Sensor=Demo_Sensor{Reading=65535,Units=RPM},EffectiveUserID=";

TEST_F(DemoTest, CreateInstanceKeepsEveryValueExactlyAcrossAFreshLoad) {
  Owned<CMPIInstance> fan = NewFan("fan7");
  Owned<CMPIObjectPath> op(FanPath("fan7"));
  Answer created = provider_.createInstance(op.get(), fan.get());
  ASSERT_EQ(created.rc, CMPI_RC_OK) << created.message;
  EXPECT_THAT(created.paths(), ElementsAre("root/cimv2:Demo_Fan.DeviceID=fan7,SystemName=bmc0"));
  EXPECT_EQ(created.type(0), CMPI_ref);

  provider_.reload();
  Answer a = provider_.getInstance(op.get());
  ASSERT_EQ(a.rc, CMPI_RC_OK) << a.message;
  EXPECT_EQ(InstanceText(a.instance(0)), kNewFanText + Uid() + ",Notes=new}");
  // The new fan comes last in the enumeration.
  Owned<CMPIObjectPath> all(ClassPath("Demo_Fan"));
  EXPECT_THAT(provider_.enumerateInstanceNames(all.get()).paths(),
              ElementsAre(kFan0, kFan1, "root/cimv2:Demo_Fan.DeviceID=fan7,SystemName=bmc0"));
}

TEST_F(DemoTest, CreateInstanceTakesMissingKeysFromThePathAndLeavesTheRestNull) {
  Owned<CMPIObjectPath> op(ChassisPath("chassis1"));
  Owned<CMPIObjectPath> bare(ClassPath("Demo_Chassis"));
  Owned<CMPIInstance> inst(makeNewCMPIInstance(bare.get(), nullptr));
  CMSetProperty(inst.get(), "Model", "DM-200", CMPI_chars);
  Answer created = provider_.createInstance(op.get(), inst.get());
  ASSERT_EQ(created.rc, CMPI_RC_OK) << created.message;
  EXPECT_THAT(created.paths(), ElementsAre("root/cimv2:Demo_Chassis.Tag=chassis1"));
  Answer a = provider_.getInstance(op.get());
  ASSERT_EQ(a.rc, CMPI_RC_OK);
  EXPECT_EQ(InstanceText(a.instance(0)),
            "Demo_Chassis{Tag=chassis1,Manufacturer=null,Model=DM-200,SerialNumber=null,"
            "FanCount=null}");
}

// Null references and embedded instances have no wire form: they are left out, other null
// properties are there as null.
TEST_F(DemoTest, AFanWithoutReferenceOrSensorLeavesThemOut) {
  Owned<CMPIObjectPath> op(FanPath("fan3"));
  Owned<CMPIInstance> inst(makeNewCMPIInstance(op.get(), nullptr));
  CMSetProperty(inst.get(), "Name", "bare", CMPI_chars);
  CMSetProperty(inst.get(), "Chassis", nullptr, CMPI_ref);
  ASSERT_EQ(provider_.createInstance(op.get(), inst.get()).rc, CMPI_RC_OK);
  Answer a = provider_.getInstance(op.get());
  ASSERT_EQ(a.rc, CMPI_RC_OK);
  EXPECT_EQ(InstanceText(a.instance(0)),
            "Demo_Fan{DeviceID=fan3,SystemName=bmc0,Name=bare,Enabled=null,Initial=null,"
            "HealthState=null,Speed=null,DesiredSpeed=null,MaxSpeed=null,Level=null,Offset=null,"
            "Trend=null,Temperature=null,Accumulated=null,Ratio=null,Load=null,InstallDate=null,"
            "SpeedHistory=null,Tags=null,EffectiveUserID=" +
                Uid() + ",Notes=null}");
  EXPECT_EQ(Property(a.instance(0), "SpeedHistory").type, CMPI_uint32A);
  EXPECT_EQ(Property(a.instance(0), "InstallDate").type, CMPI_dateTime);
}

TEST_F(DemoTest, CreateInstanceOfAnExistingInstanceIsAlreadyExists) {
  Owned<CMPIObjectPath> op(ChassisPath("chassis0"));
  Owned<CMPIInstance> inst(makeNewCMPIInstance(op.get(), nullptr));
  CMSetProperty(inst.get(), "Tag", "chassis0", CMPI_chars);
  CMSetProperty(inst.get(), "Model", "other", CMPI_chars);
  Answer a = provider_.createInstance(op.get(), inst.get());
  EXPECT_EQ(a.rc, CMPI_RC_ERR_ALREADY_EXISTS);
  EXPECT_EQ(a.message, "Demo_Chassis Tag=\"chassis0\" already exists");
  EXPECT_FALSE(a.finished);
  // Nothing changed.
  Answer b = provider_.getInstance(op.get());
  EXPECT_EQ(Text(b.instance(0), "Model"), "DM-100");
}

TEST_F(DemoTest, CreateInstanceRejectsUnknownPropertiesAndMissingKeys) {
  Owned<CMPIObjectPath> op(ChassisPath("chassis2"));
  Owned<CMPIInstance> inst(makeNewCMPIInstance(op.get(), nullptr));
  CMSetProperty(inst.get(), "Colour", "red", CMPI_chars);
  Answer a = provider_.createInstance(op.get(), inst.get());
  EXPECT_EQ(a.rc, CMPI_RC_ERR_NO_SUCH_PROPERTY);
  EXPECT_EQ(a.message, "class Demo_Chassis has no property 'Colour'");

  Owned<CMPIObjectPath> bare(ClassPath("Demo_Chassis"));
  Owned<CMPIInstance> keyless(makeNewCMPIInstance(bare.get(), nullptr));
  Answer b = provider_.createInstance(bare.get(), keyless.get());
  EXPECT_EQ(b.rc, CMPI_RC_ERR_INVALID_PARAMETER);
  EXPECT_EQ(b.message, "key property 'Tag' is missing");

  Answer c = provider_.createInstance(op.get(), nullptr);
  EXPECT_EQ(c.rc, CMPI_RC_ERR_INVALID_PARAMETER);
  // None of them was stored.
  Owned<CMPIObjectPath> all(ClassPath("Demo_Chassis"));
  EXPECT_EQ(provider_.enumerateInstanceNames(all.get()).size(), 1u);
}

TEST_F(DemoTest, CreateInstanceConvertsNumbersThatFitAndRejectsOthers) {
  Owned<CMPIObjectPath> op(FanPath("fan8"));
  Owned<CMPIInstance> inst(makeNewCMPIInstance(op.get(), nullptr));
  const CMPIUint16 speed = 1200;  // into uint32
  const CMPISint64 level = 200;   // into uint8
  const CMPIUint8 load = 3;       // into real64
  const CMPIReal64 trend = -7.0;  // an integral real into sint16
  CMSetProperty(inst.get(), "Speed", &speed, CMPI_uint16);
  CMSetProperty(inst.get(), "Level", &level, CMPI_sint64);
  CMSetProperty(inst.get(), "Load", &load, CMPI_uint8);
  CMSetProperty(inst.get(), "Trend", &trend, CMPI_real64);
  CMSetProperty(inst.get(), "Initial", "Q", CMPI_chars);  // into char16
  CMSetProperty(inst.get(), "InstallDate", "20250101000000.000000+000", CMPI_chars);
  Answer created = provider_.createInstance(op.get(), inst.get());
  ASSERT_EQ(created.rc, CMPI_RC_OK) << created.message;
  Answer a = provider_.getInstance(op.get());
  const CMPIInstance *fan = a.instance(0);
  EXPECT_EQ(Property(fan, "Speed").type, CMPI_uint32);
  EXPECT_EQ(Text(fan, "Speed"), "1200");
  EXPECT_EQ(Text(fan, "Level"), "200");
  EXPECT_EQ(Text(fan, "Load"), "3");
  EXPECT_EQ(Text(fan, "Trend"), "-7");
  EXPECT_EQ(Property(fan, "Initial").type, CMPI_char16);
  EXPECT_EQ(Text(fan, "Initial"), "Q");
  EXPECT_EQ(Property(fan, "InstallDate").type, CMPI_dateTime);
  EXPECT_EQ(Text(fan, "InstallDate"), "20250101000000.000000+000");
}

TEST_F(DemoTest, CreateInstanceWithAValueThatDoesNotFitIsTypeMismatch) {
  struct Case {
    const char *property;
    CMPIValue value;
    CMPIType type;
    const char *message;
  };
  CMPIValue tooBig;
  tooBig.uint32 = 256;
  CMPIValue negative;
  negative.sint32 = -1;
  CMPIValue fraction;
  fraction.real64 = 1.5;
  CMPIValue flag;
  flag.boolean = 1;
  const Case cases[] = {
      {"Level", tooBig, CMPI_uint32, "property 'Level' is a uint8; a uint32 value does not fit"},
      {"Speed", negative, CMPI_sint32, "property 'Speed' is a uint32; a sint32 value does not fit"},
      {"Temperature", fraction, CMPI_real64,
       "property 'Temperature' is a sint32; a real64 value does not fit"},
      {"Name", flag, CMPI_boolean, "property 'Name' is a string; a boolean value does not fit"},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.property);
    Owned<CMPIObjectPath> op(FanPath("fan8"));
    Owned<CMPIInstance> inst(makeNewCMPIInstance(op.get(), nullptr));
    CMSetProperty(inst.get(), c.property, &c.value, c.type);
    Answer a = provider_.createInstance(op.get(), inst.get());
    EXPECT_EQ(a.rc, CMPI_RC_ERR_TYPE_MISMATCH);
    EXPECT_EQ(a.message, c.message);
  }
  // Text that is no date-time, a reference to a fan where a chassis belongs, an embedded
  // instance of another class.
  Owned<CMPIObjectPath> op(FanPath("fan8"));
  Owned<CMPIInstance> inst(makeNewCMPIInstance(op.get(), nullptr));
  CMSetProperty(inst.get(), "InstallDate", "yesterday", CMPI_chars);
  EXPECT_EQ(provider_.createInstance(op.get(), inst.get()).message,
            "property 'InstallDate' is a dateTime; a string value does not fit");
  Owned<CMPIInstance> wrongRef(makeNewCMPIInstance(op.get(), nullptr));
  Owned<CMPIObjectPath> fan(FanPath("fan0"));
  CMPIObjectPath *f = fan.get();
  CMSetProperty(wrongRef.get(), "Chassis", &f, CMPI_ref);
  Answer b = provider_.createInstance(op.get(), wrongRef.get());
  EXPECT_EQ(b.rc, CMPI_RC_ERR_TYPE_MISMATCH);
  EXPECT_EQ(b.message, "property 'Chassis' must refer to a Demo_Chassis");
  Owned<CMPIInstance> wrongEmbedded(makeNewCMPIInstance(op.get(), nullptr));
  Owned<CMPIInstance> other(makeNewCMPIInstance(fan.get(), nullptr));
  CMPIInstance *o = other.get();
  CMSetProperty(wrongEmbedded.get(), "Sensor", &o, CMPI_instance);
  Answer c = provider_.createInstance(op.get(), wrongEmbedded.get());
  EXPECT_EQ(c.rc, CMPI_RC_ERR_TYPE_MISMATCH);
  EXPECT_EQ(c.message, "property 'Sensor' must hold a Demo_Sensor");
  Owned<CMPIInstance> scalarForArray(makeNewCMPIInstance(op.get(), nullptr));
  const CMPIUint32 one = 1;
  CMSetProperty(scalarForArray.get(), "SpeedHistory", &one, CMPI_uint32);
  EXPECT_EQ(provider_.createInstance(op.get(), scalarForArray.get()).message,
            "property 'SpeedHistory' is a uint32 array; a uint32 value does not fit");
}

TEST_F(DemoTest, CreateMembershipNeedsBothEnds) {
  Owned<CMPIObjectPath> group(ChassisPath("chassis0"));
  Owned<CMPIObjectPath> missing(FanPath("fan5"));
  Owned<CMPIObjectPath> op(MembershipPath(group.get(), missing.get()));
  Owned<CMPIInstance> inst(makeNewCMPIInstance(op.get(), nullptr));
  Answer a = provider_.createInstance(op.get(), inst.get());
  EXPECT_EQ(a.rc, CMPI_RC_ERR_INVALID_PARAMETER);
  EXPECT_EQ(a.message,
            "PartComponent refers to Demo_Fan DeviceID=\"fan5\",SystemName=\"bmc0\", which does "
            "not exist");

  // Once the fan exists, the membership can be made, and it shows in the traversal.
  Owned<CMPIInstance> fan = NewFan("fan5");
  ASSERT_EQ(provider_.createInstance(missing.get(), fan.get()).rc, CMPI_RC_OK);
  Answer b = provider_.createInstance(op.get(), inst.get());
  ASSERT_EQ(b.rc, CMPI_RC_OK) << b.message;
  EXPECT_THAT(b.paths(), ElementsAre("root/cimv2:Demo_ChassisFan.GroupComponent=" + kChassis0 +
                                     ",PartComponent=root/cimv2:Demo_Fan.DeviceID=fan5,"
                                     "SystemName=bmc0"));
  EXPECT_EQ(provider_.createInstance(op.get(), inst.get()).rc, CMPI_RC_ERR_ALREADY_EXISTS);
  EXPECT_EQ(provider_.associatorNames(group.get()).size(), 3u);
}

// ---- modifyInstance -----------------------------------------------------------------------------

TEST_F(DemoTest, ModifyInstanceWithAPropertyListChangesOnlyThoseAndPersists) {
  Owned<CMPIObjectPath> op(FanPath("fan0"));
  Owned<CMPIInstance> inst(makeNewCMPIInstance(op.get(), nullptr));
  const CMPIUint16 health = 10;
  const CMPISint32 temperature = -20;
  CMSetProperty(inst.get(), "HealthState", &health, CMPI_uint16);
  CMSetProperty(inst.get(), "Temperature", &temperature, CMPI_sint32);
  CMSetProperty(inst.get(), "Name", "ignored: not in the list", CMPI_chars);
  const char *properties[] = {"HealthState", "temperature", "Tags", nullptr};
  Answer a = provider_.modifyInstance(op.get(), inst.get(), properties);
  ASSERT_EQ(a.rc, CMPI_RC_OK) << a.message;
  EXPECT_EQ(a.size(), 0u);
  EXPECT_TRUE(a.finished);

  provider_.reload();
  Answer b = provider_.getInstance(op.get());
  const CMPIInstance *fan = b.instance(0);
  EXPECT_EQ(Text(fan, "HealthState"), "10");
  EXPECT_EQ(Text(fan, "Temperature"), "-20");
  EXPECT_EQ(Text(fan, "Tags"), "<null>");  // listed but not given: null
  EXPECT_EQ(Text(fan, "Name"), "Front fan");
  EXPECT_EQ(Text(fan, "Speed"), "2400");
}

TEST_F(DemoTest, ModifyInstanceWithoutAListChangesWhatTheInstanceCarries) {
  Owned<CMPIObjectPath> op(FanPath("fan1"));
  Owned<CMPIInstance> inst(makeNewCMPIInstance(op.get(), nullptr));
  const CMPIUint32 uid = 4242;
  CMSetProperty(inst.get(), "DeviceID", "renamed", CMPI_chars);     // keys stay as they are
  CMSetProperty(inst.get(), "EffectiveUserID", &uid, CMPI_uint32);  // computed: ignored
  CMSetProperty(inst.get(), "Notes", nullptr, CMPI_string);         // set to null
  CMSetProperty(inst.get(), "Name", "Rear fan 2", CMPI_chars);
  Answer a = provider_.modifyInstance(op.get(), inst.get());
  ASSERT_EQ(a.rc, CMPI_RC_OK) << a.message;
  Answer b = provider_.getInstance(op.get());
  ASSERT_EQ(b.rc, CMPI_RC_OK);
  const CMPIInstance *fan = b.instance(0);
  EXPECT_EQ(Text(fan, "DeviceID"), "fan1");
  EXPECT_EQ(Text(fan, "EffectiveUserID"), Uid());
  EXPECT_EQ(Text(fan, "Notes"), "<null>");
  EXPECT_EQ(Text(fan, "Name"), "Rear fan 2");
  EXPECT_EQ(Text(fan, "Tags"), "[rear,exhaust]");
}

TEST_F(DemoTest, ModifyInstanceFailuresChangeNothing) {
  Owned<CMPIObjectPath> op(FanPath("fan0"));
  Owned<CMPIInstance> inst(makeNewCMPIInstance(op.get(), nullptr));
  const CMPIUint32 speed = 1;
  CMSetProperty(inst.get(), "Speed", &speed, CMPI_uint32);
  CMSetProperty(inst.get(), "Nope", "x", CMPI_chars);
  Answer a = provider_.modifyInstance(op.get(), inst.get());
  EXPECT_EQ(a.rc, CMPI_RC_ERR_NO_SUCH_PROPERTY);
  EXPECT_EQ(a.message, "class Demo_Fan has no property 'Nope'");
  const char *unknown[] = {"Speed", "Colour", nullptr};
  EXPECT_EQ(provider_.modifyInstance(op.get(), inst.get(), unknown).rc,
            CMPI_RC_ERR_NO_SUCH_PROPERTY);
  Owned<CMPIInstance> wrong(makeNewCMPIInstance(op.get(), nullptr));
  CMSetProperty(wrong.get(), "Speed", "fast", CMPI_chars);
  EXPECT_EQ(provider_.modifyInstance(op.get(), wrong.get()).rc, CMPI_RC_ERR_TYPE_MISMATCH);
  Owned<CMPIObjectPath> missing(FanPath("fan9"));
  Answer b = provider_.modifyInstance(missing.get(), inst.get());
  EXPECT_EQ(b.rc, CMPI_RC_ERR_NOT_FOUND);
  EXPECT_EQ(b.message, "Demo_Fan DeviceID=\"fan9\",SystemName=\"bmc0\" does not exist");
  Answer c = provider_.getInstance(op.get());
  EXPECT_EQ(Text(c.instance(0), "Speed"), "2400");
}

// ---- deleteInstance -----------------------------------------------------------------------------

TEST_F(DemoTest, DeleteInstanceRemovesItAndItsMembershipsAcrossAFreshLoad) {
  Owned<CMPIObjectPath> op(FanPath("fan0"));
  Answer a = provider_.deleteInstance(op.get());
  ASSERT_EQ(a.rc, CMPI_RC_OK) << a.message;
  EXPECT_EQ(a.size(), 0u);
  EXPECT_TRUE(a.finished);

  provider_.reload();
  EXPECT_EQ(provider_.getInstance(op.get()).rc, CMPI_RC_ERR_NOT_FOUND);
  Owned<CMPIObjectPath> fans(ClassPath("Demo_Fan"));
  EXPECT_THAT(provider_.enumerateInstanceNames(fans.get()).paths(), ElementsAre(kFan1));
  Owned<CMPIObjectPath> memberships(ClassPath("Demo_ChassisFan"));
  EXPECT_THAT(provider_.enumerateInstanceNames(memberships.get()).paths(),
              ElementsAre("root/cimv2:Demo_ChassisFan.GroupComponent=" + kChassis0 +
                          ",PartComponent=" + kFan1));
  Answer again = provider_.deleteInstance(op.get());
  EXPECT_EQ(again.rc, CMPI_RC_ERR_NOT_FOUND);
  EXPECT_EQ(again.message, "Demo_Fan DeviceID=\"fan0\",SystemName=\"bmc0\" does not exist");
}

TEST_F(DemoTest, DeleteMembershipLeavesBothEnds) {
  Owned<CMPIObjectPath> group(ChassisPath("chassis0"));
  Owned<CMPIObjectPath> part(FanPath("fan1"));
  Owned<CMPIObjectPath> op(MembershipPath(group.get(), part.get()));
  ASSERT_EQ(provider_.deleteInstance(op.get()).rc, CMPI_RC_OK);
  EXPECT_EQ(provider_.getInstance(op.get()).rc, CMPI_RC_ERR_NOT_FOUND);
  EXPECT_EQ(provider_.getInstance(part.get()).rc, CMPI_RC_OK);
  EXPECT_EQ(provider_.getInstance(group.get()).rc, CMPI_RC_OK);
  EXPECT_THAT(provider_.associatorNames(group.get()).paths(), ElementsAre(kFan0));
}

TEST_F(DemoTest, DeleteChassisRemovesEveryMembership) {
  Owned<CMPIObjectPath> group(ChassisPath("chassis0"));
  ASSERT_EQ(provider_.deleteInstance(group.get()).rc, CMPI_RC_OK);
  Owned<CMPIObjectPath> memberships(ClassPath("Demo_ChassisFan"));
  Answer a = provider_.enumerateInstanceNames(memberships.get());
  EXPECT_EQ(a.rc, CMPI_RC_OK);
  EXPECT_TRUE(a.finished);
  EXPECT_EQ(a.size(), 0u);
  Owned<CMPIObjectPath> fans(ClassPath("Demo_Fan"));
  EXPECT_EQ(provider_.enumerateInstanceNames(fans.get()).size(), 2u);
}

}  // namespace
