// operations_test.cpp - every request type against the demo provider, through the tokenizer that
// serves it, with the frames the daemon sends for it.
#include <cmpimacs.h>

#include <cstdlib>
#include <cstring>
#include <set>

#include "hostd_fixture.h"

namespace e2e {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

const char kComplete[] = "CMPIOPERATION_COMPLETECMPI_EOF";

std::set<std::string> device_ids(const Answer &answer) {
  std::set<std::string> ids;
  for (CMPIInstance *inst : answer.instances) ids.insert(text_property(inst, "DeviceID"));
  return ids;
}

using Operations = HostdTest;

TEST_F(Operations, EnumerateInstancesStreamsOneFramePerInstanceThenCompletion) {
  Answer a = enumerate(socket(), build_frame(ENUMINST, "root", make_path("Demo_Fan")), ENUMINST);
  EXPECT_EQ(a.rc, 0);
  EXPECT_TRUE(a.complete);
  EXPECT_EQ(device_ids(a), (std::set<std::string>{"fan0", "fan1"}));
  EXPECT_EQ(count_frames(a.raw), 3u);
  EXPECT_TRUE(ends_with(a.raw, kComplete)) << a.raw;
  EXPECT_TRUE(daemon_.wait_for(
      Hostd("EnumerateInstances of Demo_Fan for root: answered with 3 frames by worker N", 4)));
}

TEST_F(Operations, EnumerateInstanceNamesStreamsObjectPaths) {
  Answer a =
      enumerate(socket(), build_frame(ENUMINSTNAMES, "root", make_path("Demo_Fan")), ENUMINSTNAMES);
  EXPECT_EQ(a.rc, 0);
  EXPECT_TRUE(a.complete);
  ASSERT_EQ(a.paths.size(), 2u);
  std::set<std::string> ids;
  for (CMPIObjectPath *p : a.paths) {
    ids.insert(key_text(p, "DeviceID"));
    EXPECT_EQ(key_text(p, "SystemName"), "bmc0");
  }
  EXPECT_EQ(ids, (std::set<std::string>{"fan0", "fan1"}));
  EXPECT_THAT(a.raw, HasSubstr("\"key\":\"DeviceID=fan0,SystemName=bmc0,\""));
  EXPECT_TRUE(ends_with(a.raw, kComplete));
}

TEST_F(Operations, GetInstanceSendsTheInstanceThenCompletion) {
  Answer a = get_fan("fan0");
  EXPECT_EQ(a.rc, 0);
  EXPECT_TRUE(a.complete);
  ASSERT_EQ(a.instances.size(), 1u);
  EXPECT_EQ(text_property(a.instances[0], "Name"), "Front fan");
  EXPECT_EQ(number_property(a.instances[0], "EffectiveUserID"), 0u);
  EXPECT_EQ(count_frames(a.raw), 2u);
  EXPECT_TRUE(ends_with(a.raw, kComplete));
}

TEST_F(Operations, GetInstanceOfAMissingInstanceSendsItsStatusFrame) {
  Answer a = get_fan("fan7");
  EXPECT_EQ(a.rc, CMPI_RC_ERR_NOT_FOUND);
  EXPECT_TRUE(a.instances.empty());
  // The tokenizer stops at the status frame; the whole answer, read to its end:
  std::string raw = exchange_raw(socket(), build_frame(GETINST, "root", fan("fan7")));
  EXPECT_EQ(count_frames(raw), 2u);
  EXPECT_THAT(raw, ::testing::StartsWith("{\"GetInstStatus\":6,\"GetInstStatusMsg\":"));
  EXPECT_TRUE(ends_with(raw, kComplete));
}

TEST_F(Operations, ModifyInstanceSendsOneStatusFrameAndCloses) {
  CMPIObjectPath *path = fan("fan1");
  CMPIInstance *inst = makeNewCMPIInstance(path, nullptr);
  CMSetProperty(inst, "Name", "Rear fan (renamed)", CMPI_chars);
  Answer a = set_instance(socket(), build_frame(MODIFYINST, "root", path, nullptr, inst));
  EXPECT_EQ(a.rc, 0);
  EXPECT_EQ(a.raw, "{\"RequestType\":4,\"SetInstStatus\":0,\"SetInstStatusMsg\":null}CMPI_EOF");
  Answer after = get_fan("fan1");
  ASSERT_EQ(after.instances.size(), 1u);
  EXPECT_EQ(text_property(after.instances[0], "Name"), "Rear fan (renamed)");
}

TEST_F(Operations, ModifyInstanceOfAMissingInstanceCarriesTheProvidersCode) {
  CMPIObjectPath *path = fan("fan7");
  CMPIInstance *inst = makeNewCMPIInstance(path, nullptr);
  Answer a = set_instance(socket(), build_frame(MODIFYINST, "root", path, nullptr, inst));
  EXPECT_EQ(a.rc, CMPI_RC_ERR_NOT_FOUND);
  EXPECT_EQ(count_frames(a.raw), 1u);
  EXPECT_THAT(a.raw, HasSubstr("\"SetInstStatus\":6"));
}

TEST_F(Operations, InvokeMethodReturnsOutputArgumentsAndTheReturnValue) {
  CMPIArgs *in = makeNewCMPIArgs(nullptr);
  CMPIUint32 desired = 3000;
  CMAddArg(in, "DesiredSpeed", &desired, CMPI_uint32);
  Answer a = invoke(
      socket(), build_frame(INVOKEMETHOD, "root", fan("fan0"), in, nullptr, nullptr, "SetSpeed"));
  EXPECT_EQ(a.rc, 0);
  EXPECT_TRUE(a.complete);
  EXPECT_EQ(a.ret_type, static_cast<uint32_t>(CMPI_uint32));
  CMPIType type = 0;
  EXPECT_EQ(number_argument(a.out, "__ReturnValue", &type), 0u);
  EXPECT_EQ(type, CMPI_uint32);
  EXPECT_EQ(number_argument(a.out, "PreviousSpeed"), 2400u);
  EXPECT_EQ(count_frames(a.raw), 2u);
  EXPECT_THAT(a.raw, HasSubstr("\"RetVal\":160"));

  Answer after = get_fan("fan0");
  ASSERT_EQ(after.instances.size(), 1u);
  EXPECT_EQ(number_property(after.instances[0], "Speed"), 3000u);
}

TEST_F(Operations, InvokeMethodOutOfRangeReturnsOne) {
  CMPIArgs *in = makeNewCMPIArgs(nullptr);
  CMPIUint32 desired = 99999;
  CMAddArg(in, "DesiredSpeed", &desired, CMPI_uint32);
  Answer a = invoke(
      socket(), build_frame(INVOKEMETHOD, "root", fan("fan0"), in, nullptr, nullptr, "SetSpeed"));
  EXPECT_EQ(a.rc, 0);
  EXPECT_EQ(number_argument(a.out, "__ReturnValue"), 1u);
  EXPECT_EQ(number_argument(a.out, "PreviousSpeed"), 2400u);
}

TEST_F(Operations, InvokeOfAnUnknownMethodSendsTheProvidersCodeAsErrorFrame) {
  Answer a = invoke(socket(), build_frame(INVOKEMETHOD, "root", fan("fan0"),
                                          makeNewCMPIArgs(nullptr), nullptr, nullptr, "Spin"));
  EXPECT_NE(a.rc, 0);
  EXPECT_EQ(a.raw, "CMPIERROR:" + std::to_string(a.rc) + "CMPI_EOF");
}

TEST_F(Operations, AssociatorsReturnTheFansOfTheChassis) {
  Answer a =
      enumerate(socket(),
                build_frame(ASSOCIATORS, "root", make_path("Demo_Chassis", {{"Tag", "chassis0"}}),
                            nullptr, nullptr, make_assoc("Demo_ChassisFan", nullptr, false)),
                ASSOCIATORS);
  EXPECT_EQ(a.rc, 0);
  EXPECT_TRUE(a.complete);
  EXPECT_EQ(device_ids(a), (std::set<std::string>{"fan0", "fan1"}));
}

TEST_F(Operations, ReferencesReturnTheAssociationInstances) {
  Answer a =
      enumerate(socket(),
                build_frame(ASSOCIATORS, "root", make_path("Demo_Chassis", {{"Tag", "chassis0"}}),
                            nullptr, nullptr, make_assoc(nullptr, "Demo_ChassisFan", true)),
                ASSOCIATORS);
  EXPECT_EQ(a.rc, 0);
  ASSERT_EQ(a.instances.size(), 2u);
  for (CMPIInstance *inst : a.instances) {
    CMPIObjectPath *path = CMGetObjectPath(inst, nullptr);
    CMPIString *cls = CMGetClassName(path, nullptr);
    EXPECT_STREQ(CMGetCharPtr(cls), "Demo_ChassisFan");
    CMRelease(cls);
    CMRelease(path);
  }
}

TEST_F(Operations, ExecQuerySelectsWithItsCondition) {
  Answer a = enumerate(socket(),
                       build_frame(EXECQUERY, "root", make_path("Demo_Fan"), nullptr, nullptr,
                                   nullptr, "SELECT * FROM Demo_Fan WHERE DeviceID = 'fan1'"),
                       EXECQUERY);
  EXPECT_EQ(a.rc, 0);
  EXPECT_TRUE(a.complete);
  EXPECT_EQ(device_ids(a), (std::set<std::string>{"fan1"}));
}

TEST_F(Operations, ExecQueryThatFailsEndsWithTheProvidersCode) {
  Answer a = enumerate(socket(),
                       build_frame(EXECQUERY, "root", make_path("Demo_Fan"), nullptr, nullptr,
                                   nullptr, "DROP TABLE Demo_Fan"),
                       EXECQUERY);
  EXPECT_EQ(a.rc, CMPI_RC_ERR_INVALID_QUERY);
  EXPECT_EQ(a.raw, "CMPIERROR:15CMPI_EOF");
}

TEST_F(Operations, DeleteInstanceSendsOneStatusFrameAndTheInstanceIsGone) {
  Answer a = set_instance(socket(), build_frame(DELETEINST, "root", fan("fan1")));
  EXPECT_EQ(a.rc, 0);
  EXPECT_EQ(a.raw, "{\"RequestType\":8,\"SetInstStatus\":0,\"SetInstStatusMsg\":null}CMPI_EOF");
  Answer rest = enumerate(socket(), build_frame(ENUMINST, "root", make_path("Demo_Fan")), ENUMINST);
  EXPECT_EQ(device_ids(rest), (std::set<std::string>{"fan0"}));
}

TEST_F(Operations, CreateInstanceSendsTheNewPathAndStatusInOneFrame) {
  CMPIObjectPath *path = fan("fan9");
  CMPIInstance *inst = makeNewCMPIInstance(path, nullptr);
  CMSetProperty(inst, "DeviceID", "fan9", CMPI_chars);
  CMSetProperty(inst, "SystemName", "bmc0", CMPI_chars);
  CMSetProperty(inst, "Name", "Spare fan", CMPI_chars);
  // The reference and the embedded instance must be set: the value encoding has no form for a
  // null reference or a null embedded instance, so such a fan could not be read back.
  CMPIObjectPath *chassis = make_path("Demo_Chassis", {{"Tag", "chassis0"}});
  CMSetProperty(inst, "Chassis", &chassis, CMPI_ref);
  CMRelease(chassis);
  CMPIObjectPath *sensor_path = make_path("Demo_Sensor");
  CMPIInstance *sensor = makeNewCMPIInstance(sensor_path, nullptr);
  CMPIUint16 reading = 30;
  CMSetProperty(sensor, "Reading", &reading, CMPI_uint16);
  CMSetProperty(sensor, "Units", "Celsius", CMPI_chars);
  CMSetProperty(inst, "Sensor", &sensor, CMPI_instance);
  CMRelease(sensor);
  CMRelease(sensor_path);
  Answer a = create_instance(socket(), build_frame(CREATEINST, "root", path, nullptr, inst));
  EXPECT_EQ(a.rc, 0);
  EXPECT_EQ(count_frames(a.raw), 1u);
  EXPECT_THAT(a.raw, HasSubstr("\"key\":\"DeviceID=fan9,SystemName=bmc0,\""));
  EXPECT_THAT(a.raw, HasSubstr("\"SetInstStatus\":0"));
  Answer after = get_fan("fan9");
  ASSERT_EQ(after.instances.size(), 1u) << after.raw;
  EXPECT_EQ(text_property(after.instances[0], "Name"), "Spare fan");
}

TEST_F(Operations, CreateInstanceWithATakenKeyCarriesTheProvidersCode) {
  CMPIObjectPath *path = fan("fan0");
  CMPIInstance *inst = makeNewCMPIInstance(path, nullptr);
  Answer a = create_instance(socket(), build_frame(CREATEINST, "root", path, nullptr, inst));
  EXPECT_EQ(a.rc, CMPI_RC_ERR_ALREADY_EXISTS);
  EXPECT_EQ(count_frames(a.raw), 1u);
  EXPECT_THAT(a.raw, Not(HasSubstr("\"key\"")));
}

TEST_F(Operations, GetClassIsAnsweredFromTheSchemaDatabase) {
  Answer a = get_class(socket(), build_frame(GETCLASS, "nobody", make_path("Demo_Fan")));
  EXPECT_EQ(a.rc, 0);
  EXPECT_TRUE(a.complete);
  ASSERT_NE(a.cls, nullptr);
  std::vector<std::string> props = class_property_names(a.cls);
  ASSERT_EQ(props.size(), 23u);
  EXPECT_EQ(props.front(), "DeviceID");
  EXPECT_EQ(props.back(), "Notes");
  ASSERT_EQ(a.cls->ft->getMethodCount(a.cls, nullptr), 1u);
  CMPIString *method = a.cls->ft->getMethodNameAt(a.cls, 0, nullptr);
  EXPECT_STREQ(CMGetCharPtr(method), "SetSpeed");
  CMRelease(method);
  auto *record = static_cast<CMPIClassRecord *>(a.cls->hdl);
  ASSERT_NE(record->methodParameters, nullptr);
  EXPECT_EQ(CMGetArrayCount(record->methodParameters, nullptr), 2u);
  EXPECT_THAT(a.raw, HasSubstr("\"ClassName\":\"CMPIUtility_MethodParameter\""));
  EXPECT_THAT(a.raw,
              HasSubstr("\"Direction\":{\"DataState\":0,\"DataType\":5632,\"Value\":\"out\"}"));
  EXPECT_EQ(count_frames(a.raw), 2u);
  EXPECT_TRUE(ends_with(a.raw, kComplete));
}

TEST_F(Operations, GetClassOfAnUnknownClassSendsInvalidClass) {
  Answer a = get_class(socket(), build_frame(GETCLASS, "root", make_path("Demo_Nothing")));
  EXPECT_EQ(a.rc, CMPI_RC_ERR_INVALID_CLASS);
  EXPECT_EQ(a.cls, nullptr);
  EXPECT_EQ(a.raw,
            "{\"GetClassStatus\":5,\"GetClassStatusMsg\":\"no such class\",\"RequestType\":10}"
            "CMPI_EOFCMPIOPERATION_COMPLETECMPI_EOF");
  EXPECT_TRUE(
      daemon_.wait_for(Hostd("GetClass Demo_Nothing: no such class in the schema database", 2)));
}

TEST_F(Operations, GetClassInAnotherNamespaceSendsInvalidClass) {
  Answer a =
      get_class(socket(), build_frame(GETCLASS, "root", make_path("Demo_Fan", {}, "root/interop")));
  EXPECT_EQ(a.rc, CMPI_RC_ERR_INVALID_CLASS);
  EXPECT_TRUE(daemon_.wait_for(
      Hostd("GetClass Demo_Fan: the class lives in namespace root/cimv2, not in root/interop", 2)));
}

}  // namespace
}  // namespace e2e
