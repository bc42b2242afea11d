// The demo provider's "ReturnGetInstance" and "ReturnEnumerateData", reached through the
// library's own LocalGetInstance and CBEnumInstance with a schema database made from share/.
#include <cmpiutility/local_call.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "demo_host.h"
#include "log_capture.h"
#include "schema_files.h"

namespace {

using namespace demotest;
using cmpitest::ContainsInOrder;
using cmpitest::Enter;
using cmpitest::Exit;
using cmpitest::LogCapture;
using cmpitest::Trace;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

const std::string kFan0 = "root/cimv2:Demo_Fan.DeviceID=fan0,SystemName=bmc0";
const std::string kFan1 = "root/cimv2:Demo_Fan.DeviceID=fan1,SystemName=bmc0";

bool IsLoaded() {
  void *handle = dlopen(DEMO_PROVIDER_LIBRARY, RTLD_LAZY | RTLD_NOLOAD);
  if (handle == nullptr) return false;
  dlclose(handle);
  return true;
}

class LocalCalls : public ::testing::Test {
 protected:
  void SetUp() override {
    ctx_ = makeNewCMPIContext(nullptr);
    CMAddContextEntry(ctx_, CMPIPrincipal, "root", CMPI_chars);
  }
  void TearDown() override { CMRelease(ctx_); }

  // The instances CBEnumInstance gives for className, as InstanceText, released here.
  std::vector<std::string> Enumerate(const char *className, unsigned char flag) {
    Owned<CMPIObjectPath> op(ClassPath(className));
    Owned<CMPIEnumeration> en(CBEnumInstance(ctx_, className, op.get(), flag));
    std::vector<std::string> texts;
    EXPECT_NE(en, nullptr);
    if (en == nullptr) return texts;
    while (CMHasNext(en.get(), nullptr)) {
      const CMPIData data = CMGetNext(en.get(), nullptr);
      const CMPIType type = data.type;
      const CMPIValue value = data.value;
      EXPECT_EQ(type, CMPI_instance);
      if (type == CMPI_instance) texts.push_back(InstanceText(value.inst));
      Release(data);
    }
    return texts;
  }

  StateFile state_;
  DemoSchema schema_;
  CMPIContext *ctx_ = nullptr;
};

TEST_F(LocalCalls, LocalGetInstanceReturnsTheFanAndClosesTheProvider) {
  Owned<CMPIObjectPath> op(FanPath("fan0"));
  LogCapture log;
  Owned<CMPIInstance> inst(LocalGetInstance(ctx_, op.get()));
  ASSERT_NE(inst, nullptr);
  EXPECT_TRUE(ContainsInOrder(
      log.lines(),
      {Enter("LocalGetInstance"), Trace("providerName = 'demoprovider'"),
       Trace("libpath to be open : " + std::string(DEMO_PROVIDER_DIR) + "libdemoprovider.so"),
       Trace("dlopen success, symbol to be called ReturnGetInstance"), Exit("LocalGetInstance")}));
  EXPECT_THAT(log.at_level(2), IsEmpty());
  EXPECT_FALSE(IsLoaded());
  // The clone outlives the provider library.
  EXPECT_EQ(InstanceText(inst.get()),
            "Demo_Fan{DeviceID=fan0,SystemName=bmc0,Name=Front fan,Enabled=true,Initial=F,"
            "HealthState=5,Speed=2400,DesiredSpeed=2400,MaxSpeed=6000,Level=40,Offset=-5,"
            "Trend=-12,Temperature=35,Accumulated=-1234567890123,Ratio=0.5,Load=0.25,"
            "InstallDate=20240115103000.000000+000,SpeedHistory=[2200,2300,2400],"
            "Tags=[front,intake],Chassis=root/cimv2:Demo_Chassis.Tag=chassis0,"
            "Sensor=Demo_Sensor{Reading=35,Units=Celsius},EffectiveUserID=" +
                std::to_string(geteuid()) + ",Notes=null}");
  EXPECT_EQ(Property(inst.get(), "SpeedHistory").type, CMPI_uint32A);
}

TEST_F(LocalCalls, LocalGetInstanceOfAMissingFanIsNull) {
  Owned<CMPIObjectPath> op(FanPath("fan9"));
  LogCapture log;
  EXPECT_EQ(LocalGetInstance(ctx_, op.get()), nullptr);
  // The provider answered NOT_FOUND without touching the result.
  EXPECT_TRUE(ContainsInOrder(log.lines(), {Enter("LocalGetInstance"),
                                            Trace("LocalGetInstance: No Array data in CMPIResult"),
                                            Exit("LocalGetInstance")}));
  EXPECT_THAT(log.at_level(2), IsEmpty());
}

TEST_F(LocalCalls, LocalGetInstanceOfTheChassisAndAMembership) {
  Owned<CMPIObjectPath> chassis(ChassisPath("chassis0"));
  Owned<CMPIInstance> a(LocalGetInstance(ctx_, chassis.get()));
  ASSERT_NE(a, nullptr);
  EXPECT_EQ(Text(a.get(), "SerialNumber"), "SN-0001");
  Owned<CMPIObjectPath> fan(FanPath("fan1"));
  Owned<CMPIObjectPath> link(MembershipPath(chassis.get(), fan.get()));
  Owned<CMPIInstance> b(LocalGetInstance(ctx_, link.get()));
  ASSERT_NE(b, nullptr);
  EXPECT_EQ(Text(b.get(), "PartComponent"), kFan1);
}

TEST_F(LocalCalls, CBEnumInstanceReturnsEveryInstanceOrOnlyKeys) {
  LogCapture log;
  const std::vector<std::string> full = Enumerate("Demo_Fan", 0);
  EXPECT_TRUE(ContainsInOrder(
      log.lines(),
      {Enter("CBEnumInstance"), Trace("dlopen success, symbol to be called ReturnEnumerateData"),
       Exit("CBEnumInstance")}));
  EXPECT_THAT(log.at_level(2), IsEmpty());
  EXPECT_FALSE(IsLoaded());
  ASSERT_EQ(full.size(), 2u);
  EXPECT_THAT(full[1],
              ::testing::StartsWith("Demo_Fan{DeviceID=fan1,SystemName=bmc0,Name=Rear fan,"));
  // Flag bit 0: key properties only.
  EXPECT_THAT(Enumerate("Demo_Fan", 1), ElementsAre("Demo_Fan{DeviceID=fan0,SystemName=bmc0}",
                                                    "Demo_Fan{DeviceID=fan1,SystemName=bmc0}"));
  EXPECT_THAT(Enumerate("Demo_Chassis", 0xFE),  // other bits mean nothing
              ElementsAre("Demo_Chassis{Tag=chassis0,Manufacturer=Demo Manufacturing,"
                          "Model=DM-100,SerialNumber=SN-0001,FanCount=2}"));
  EXPECT_THAT(Enumerate("Demo_ChassisFan", 0),
              ElementsAre("Demo_ChassisFan{GroupComponent=root/cimv2:Demo_Chassis.Tag=chassis0,"
                          "PartComponent=" +
                              kFan0 + "}",
                          "Demo_ChassisFan{GroupComponent=root/cimv2:Demo_Chassis.Tag=chassis0,"
                          "PartComponent=" +
                              kFan1 + "}"));
}

TEST_F(LocalCalls, LocalCallsSeeWhatTheMIsChanged) {
  {
    DemoProvider provider;
    Owned<CMPIObjectPath> op(FanPath("fan1"));
    Owned<CMPIArgs> in(makeNewCMPIArgs(nullptr));
    Owned<CMPIArgs> out(makeNewCMPIArgs(nullptr));
    const CMPIUint32 speed = 1234;
    CMAddArg(in.get(), "DesiredSpeed", &speed, CMPI_uint32);
    ASSERT_EQ(provider.invokeMethod(op.get(), "SetSpeed", in.get(), out.get()).rc, CMPI_RC_OK);
    Owned<CMPIObjectPath> fan0(FanPath("fan0"));
    ASSERT_EQ(provider.deleteInstance(fan0.get()).rc, CMPI_RC_OK);
  }
  Owned<CMPIObjectPath> op(FanPath("fan1"));
  Owned<CMPIInstance> inst(LocalGetInstance(ctx_, op.get()));
  ASSERT_NE(inst, nullptr);
  EXPECT_EQ(Text(inst.get(), "Speed"), "1234");
  EXPECT_THAT(Enumerate("Demo_Fan", 1), ElementsAre("Demo_Fan{DeviceID=fan1,SystemName=bmc0}"));
  EXPECT_EQ(Enumerate("Demo_ChassisFan", 1).size(), 1u);
}

TEST_F(LocalCalls, AClassWithoutAProviderIsNotLoaded) {
  Owned<CMPIObjectPath> op(ClassPath("Demo_Sensor"));
  LogCapture log;
  EXPECT_EQ(CBEnumInstance(ctx_, "Demo_Sensor", op.get(), 0), nullptr);
  EXPECT_TRUE(log.contains(cmpitest::Error("ERROR: GetProviderName failed")));
}

// The entries called directly, as the library calls them, to see what they report.
class Entries : public LocalCalls {
 protected:
  void SetUp() override {
    LocalCalls::SetUp();
    handle_ = dlopen(DEMO_PROVIDER_LIBRARY, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(handle_, nullptr);
    get_ = reinterpret_cast<CMPIULocalGetInstanceFn>(dlsym(handle_, CMPIU_LOCAL_GETINSTANCE_ENTRY));
    enumerate_ =
        reinterpret_cast<CMPIULocalEnumerateFn>(dlsym(handle_, CMPIU_LOCAL_ENUMERATE_ENTRY));
    ASSERT_NE(get_, nullptr);
    ASSERT_NE(enumerate_, nullptr);
  }
  void TearDown() override {
    if (handle_ != nullptr) dlclose(handle_);
    LocalCalls::TearDown();
  }

  void *handle_ = nullptr;
  CMPIULocalGetInstanceFn get_ = nullptr;
  CMPIULocalEnumerateFn enumerate_ = nullptr;
  const CMPIBroker *broker_ = getCMPIBroker(nullptr);
};

TEST_F(Entries, EnumerateReportsThroughBothStatuses) {
  CMPIResult *result = makeNewCMPIResult(nullptr);
  CMPIStatus status = {CMPI_RC_ERR_FAILED, nullptr};
  const CMPIStatus returned = enumerate_(broker_, ctx_, nullptr, result, &status, 0, "Demo_Fan");
  const CMPIrc statusRc = status.rc;
  const CMPIString *statusMsg = status.msg;
  EXPECT_EQ(statusRc, CMPI_RC_OK);
  EXPECT_EQ(statusMsg, nullptr);
  Answer a;
  Collect(returned, result, &a);
  EXPECT_EQ(a.rc, CMPI_RC_OK);
  EXPECT_TRUE(a.finished);
  EXPECT_THAT(a.paths(), ElementsAre(kFan0, kFan1));

  CMPIResult *unknown = makeNewCMPIResult(nullptr);
  const CMPIStatus failed = enumerate_(broker_, ctx_, nullptr, unknown, &status, 0, "Demo_Nope");
  const CMPIrc failedRc = status.rc;
  EXPECT_EQ(failedRc, CMPI_RC_ERR_INVALID_CLASS);
  Answer b;
  Collect(failed, unknown, &b);
  EXPECT_EQ(b.rc, CMPI_RC_ERR_INVALID_CLASS);
  EXPECT_EQ(b.message, "class 'Demo_Nope' is not served by this provider");
  EXPECT_FALSE(b.finished);  // the result is left untouched
}

TEST_F(Entries, EnumerateTakesTheClassFromThePathWhenNoNameIsGiven) {
  Owned<CMPIObjectPath> op(ClassPath("Demo_Chassis"));
  CMPIResult *result = makeNewCMPIResult(nullptr);
  Answer a;
  Collect(enumerate_(broker_, ctx_, op.get(), result, nullptr, 1, nullptr), result, &a);
  EXPECT_EQ(a.rc, CMPI_RC_OK);
  EXPECT_THAT(a.paths(), ElementsAre("root/cimv2:Demo_Chassis.Tag=chassis0"));
}

TEST_F(Entries, GetInstanceHonoursThePropertyListAndReportsNotFound) {
  Owned<CMPIObjectPath> op(FanPath("fan0"));
  const char *properties[] = {"Name", nullptr};
  CMPIResult *result = makeNewCMPIResult(nullptr);
  Answer a;
  Collect(get_(broker_, ctx_, result, op.get(), properties, "Demo_Fan"), result, &a);
  EXPECT_EQ(a.rc, CMPI_RC_OK);
  ASSERT_EQ(a.size(), 1u);
  EXPECT_EQ(InstanceText(a.instance(0)), "Demo_Fan{DeviceID=fan0,SystemName=bmc0,Name=Front fan}");

  Owned<CMPIObjectPath> missing(FanPath("fan9"));
  CMPIResult *none = makeNewCMPIResult(nullptr);
  Answer b;
  Collect(get_(broker_, ctx_, none, missing.get(), nullptr, "Demo_Fan"), none, &b);
  EXPECT_EQ(b.rc, CMPI_RC_ERR_NOT_FOUND);
  EXPECT_FALSE(b.finished);
}

}  // namespace
