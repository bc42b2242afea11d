// The method MI of the demo provider: Demo_Fan.SetSpeed(in DesiredSpeed, out PreviousSpeed).
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "demo_host.h"

namespace {

using namespace demotest;
using ::testing::ElementsAre;

class SetSpeed : public DemoTest {
 protected:
  // Calls SetSpeed on fan with DesiredSpeed of the given type; out receives the output.
  Answer Call(const char *fan, const CMPIValue *desired, CMPIType type, CMPIArgs *out,
              const char *method = "SetSpeed") {
    Owned<CMPIObjectPath> op(FanPath(fan));
    Owned<CMPIArgs> in(makeNewCMPIArgs(nullptr));
    if (desired != nullptr) CMAddArg(in.get(), "DesiredSpeed", desired, type);
    return provider_.invokeMethod(op.get(), method, in.get(), out);
  }

  Answer Call(const char *fan, CMPIUint32 desired, CMPIArgs *out) {
    CMPIValue value;
    value.uint32 = desired;
    return Call(fan, &value, CMPI_uint32, out);
  }

  // The uint32 return value of a finished call.
  static std::string Returned(const Answer &a) {
    if (a.size() != 1) return "<" + std::to_string(a.size()) + " items>";
    if (a.type(0) != CMPI_uint32) return "<type " + std::to_string(a.type(0)) + ">";
    const CMPIValue value = a.items[0].value;
    return std::to_string(value.uint32);
  }

  // PreviousSpeed in out, as "type:value".
  static std::string Previous(const CMPIArgs *out) {
    if (CMGetArgCount(out, nullptr) != 1) return "<count>";
    const CMPIData data = CMGetArg(out, "PreviousSpeed", nullptr);
    const CMPIType type = data.type;
    const CMPIValueState state = data.state;
    const CMPIValue value = data.value;
    if ((state & CMPI_notFound) != 0) return "<missing>";
    Release(data);
    return std::to_string(type) + ":" + std::to_string(value.uint32);
  }

  std::string Fan(const char *fan, const char *property) {
    Owned<CMPIObjectPath> op(FanPath(fan));
    Answer a = provider_.getInstance(op.get());
    if (a.rc != CMPI_RC_OK || a.size() != 1) return "<no fan>";
    return Text(a.instance(0), property);
  }
};

TEST_F(SetSpeed, SetsTheSpeedAndGivesThePreviousOneAndZero) {
  Owned<CMPIArgs> out(makeNewCMPIArgs(nullptr));
  Answer a = Call("fan1", 3000, out.get());
  ASSERT_EQ(a.rc, CMPI_RC_OK) << a.message;
  EXPECT_TRUE(a.finished);
  EXPECT_EQ(Returned(a), "0");
  EXPECT_EQ(Previous(out.get()), "160:0");
  EXPECT_EQ(Fan("fan1", "Speed"), "3000");
  EXPECT_EQ(Fan("fan1", "DesiredSpeed"), "3000");
  EXPECT_EQ(Fan("fan1", "SpeedHistory"), "[3000]");

  Owned<CMPIArgs> second(makeNewCMPIArgs(nullptr));
  Answer b = Call("fan1", 1500, second.get());
  EXPECT_EQ(Returned(b), "0");
  EXPECT_EQ(Previous(second.get()), "160:3000");
  EXPECT_EQ(Fan("fan1", "SpeedHistory"), "[3000,1500]");
}

TEST_F(SetSpeed, ASpeedAboveMaxSpeedIsOutOfRangeAndChangesNothing) {
  Owned<CMPIArgs> out(makeNewCMPIArgs(nullptr));
  Answer a = Call("fan1", 4501, out.get());  // MaxSpeed 4500
  ASSERT_EQ(a.rc, CMPI_RC_OK) << a.message;
  EXPECT_EQ(Returned(a), "1");
  EXPECT_EQ(Previous(out.get()), "160:0");
  EXPECT_EQ(Fan("fan1", "Speed"), "0");
  EXPECT_EQ(Fan("fan1", "SpeedHistory"), "[]");
  // MaxSpeed itself is in range.
  Owned<CMPIArgs> edge(makeNewCMPIArgs(nullptr));
  EXPECT_EQ(Returned(Call("fan1", 4500, edge.get())), "0");
  EXPECT_EQ(Fan("fan1", "Speed"), "4500");
}

TEST_F(SetSpeed, PersistsAcrossAFreshLoad) {
  Owned<CMPIArgs> out(makeNewCMPIArgs(nullptr));
  ASSERT_EQ(Returned(Call("fan0", 5000, out.get())), "0");
  EXPECT_EQ(Previous(out.get()), "160:2400");
  provider_.reload();
  EXPECT_EQ(Fan("fan0", "Speed"), "5000");
  EXPECT_EQ(Fan("fan0", "SpeedHistory"), "[2200,2300,2400,5000]");
}

TEST_F(SetSpeed, HistoryKeepsTheLastTenSpeeds) {
  for (CMPIUint32 speed = 1; speed <= 12; ++speed) {
    Owned<CMPIArgs> out(makeNewCMPIArgs(nullptr));
    ASSERT_EQ(Returned(Call("fan1", speed * 100, out.get())), "0");
  }
  EXPECT_EQ(Fan("fan1", "SpeedHistory"), "[300,400,500,600,700,800,900,1000,1100,1200]");
}

TEST_F(SetSpeed, OtherIntegerTypesThatFitAreAccepted) {
  CMPIValue value;
  value.uint16 = 1000;
  Owned<CMPIArgs> out(makeNewCMPIArgs(nullptr));
  Answer a = Call("fan0", &value, CMPI_uint16, out.get());
  EXPECT_EQ(a.rc, CMPI_RC_OK) << a.message;
  EXPECT_EQ(Returned(a), "0");
  EXPECT_EQ(Fan("fan0", "Speed"), "1000");
  // The method name is matched without regard to case.
  Owned<CMPIArgs> again(makeNewCMPIArgs(nullptr));
  value.uint32 = 1100;
  EXPECT_EQ(Returned(Call("fan0", &value, CMPI_uint32, again.get(), "setspeed")), "0");
}

TEST_F(SetSpeed, AMissingOrUnusableArgumentIsInvalidParameter) {
  Owned<CMPIArgs> out(makeNewCMPIArgs(nullptr));
  Answer missing = Call("fan0", nullptr, CMPI_uint32, out.get());
  EXPECT_EQ(missing.rc, CMPI_RC_ERR_INVALID_PARAMETER);
  EXPECT_EQ(missing.message, "argument 'DesiredSpeed' (uint32) is missing");
  EXPECT_FALSE(missing.finished);
  EXPECT_EQ(CMGetArgCount(out.get(), nullptr), 0u);

  CMPIValue negative;
  negative.sint32 = -1;
  Answer a = Call("fan0", &negative, CMPI_sint32, out.get());
  EXPECT_EQ(a.rc, CMPI_RC_ERR_INVALID_PARAMETER);
  EXPECT_EQ(a.message, "argument 'DesiredSpeed' must be a uint32, not a sint32");
  // For chars the value pointer is the text itself.
  Answer b = Call("fan0", reinterpret_cast<const CMPIValue *>("fast"), CMPI_chars, out.get());
  EXPECT_EQ(b.rc, CMPI_RC_ERR_INVALID_PARAMETER);
  EXPECT_EQ(b.message, "argument 'DesiredSpeed' must be a uint32, not a string");
  EXPECT_EQ(Fan("fan0", "Speed"), "2400");

  Owned<CMPIObjectPath> op(FanPath("fan0"));
  Answer c = provider_.invokeMethod(op.get(), "SetSpeed", nullptr, out.get());
  EXPECT_EQ(c.rc, CMPI_RC_ERR_INVALID_PARAMETER);
}

TEST_F(SetSpeed, UnknownMethodsAreMethodNotFound) {
  Owned<CMPIArgs> out(makeNewCMPIArgs(nullptr));
  Answer a = Call("fan0", 100, out.get());
  ASSERT_EQ(a.rc, CMPI_RC_OK);
  CMPIValue value;
  value.uint32 = 100;
  Answer b = Call("fan0", &value, CMPI_uint32, out.get(), "Reset");
  EXPECT_EQ(b.rc, CMPI_RC_ERR_METHOD_NOT_FOUND);
  EXPECT_EQ(b.message, "class Demo_Fan has no method 'Reset'");
  EXPECT_FALSE(b.finished);
  // The chassis has no methods at all.
  Owned<CMPIObjectPath> chassis(ChassisPath("chassis0"));
  Owned<CMPIArgs> in(makeNewCMPIArgs(nullptr));
  Answer c = provider_.invokeMethod(chassis.get(), "SetSpeed", in.get(), out.get());
  EXPECT_EQ(c.rc, CMPI_RC_ERR_METHOD_NOT_FOUND);
  EXPECT_EQ(c.message, "class Demo_Chassis has no method 'SetSpeed'");
  Owned<CMPIObjectPath> unknown(ClassPath("Demo_Pump"));
  EXPECT_EQ(provider_.invokeMethod(unknown.get(), "SetSpeed", in.get(), out.get()).rc,
            CMPI_RC_ERR_INVALID_CLASS);
}

TEST_F(SetSpeed, OnAFanThatDoesNotExistIsNotFound) {
  Owned<CMPIArgs> out(makeNewCMPIArgs(nullptr));
  Answer a = Call("fan9", 100, out.get());
  EXPECT_EQ(a.rc, CMPI_RC_ERR_NOT_FOUND);
  EXPECT_EQ(a.message, "Demo_Fan DeviceID=\"fan9\",SystemName=\"bmc0\" does not exist");
  EXPECT_EQ(CMGetArgCount(out.get(), nullptr), 0u);
}

}  // namespace
