// upcalls_test.cpp - providers that call the broker: association providers that ask for the
// instances at both ends, routing of associators and references over the class hierarchy,
// class-path checks against superclasses, and provider statuses with their messages.
// Classes (tests/support/hostd_harness.cpp): Test_Rack and Test_Disk (a Test_Device) served by
// TestEnds; the association Test_RackDevice served by TestLinks, and the second association on
// racks, Test_RackPower (to a Test_Feed), served by TestPower, which fails for rack r2
// (tests/e2e/providers/association_provider.c).
#include <cmpimacs.h>
#include <pwd.h>
#include <unistd.h>

#include <set>

#include "hostd_fixture.h"

namespace e2e {
namespace {

CMPIObjectPath *rack(const char *name) { return make_path("Test_Rack", {{"Name", name}}); }
CMPIObjectPath *disk(const char *id) { return make_path("Test_Disk", {{"Id", id}}); }

Answer associators(const std::string &socket, CMPIObjectPath *source, const char *assoc_class,
                   const char *result_class, const char *user = "root") {
  return enumerate(socket,
                   build_frame(ASSOCIATORS, user, source, nullptr, nullptr,
                               make_assoc(assoc_class, result_class, false)),
                   ASSOCIATORS);
}

Answer references(const std::string &socket, CMPIObjectPath *source, const char *result_class) {
  return enumerate(socket,
                   build_frame(ASSOCIATORS, "root", source, nullptr, nullptr,
                               make_assoc(nullptr, result_class, true)),
                   ASSOCIATORS);
}

std::string class_of(CMPIInstance *inst) {
  CMPIObjectPath *path = CMGetObjectPath(inst, nullptr);
  CMPIString *cls = CMGetClassName(path, nullptr);
  std::string name = CMGetCharPtr(cls);
  CMRelease(cls);
  CMRelease(path);
  return name;
}

std::set<std::string> values_of(const Answer &answer, const char *property) {
  std::set<std::string> values;
  for (CMPIInstance *inst : answer.instances) values.insert(text_property(inst, property));
  return values;
}

std::string text_argument(const CMPIArgs *args, const char *name) {
  CMPIData d = CMGetArg(args, name, nullptr);
  if ((d.state & CMPI_nullValue) || d.type != CMPI_string || d.value.string == nullptr) return "";
  std::string text = CMGetCharPtr(d.value.string);
  CMRelease(d.value.string);
  return text;
}

// The text of reference property name's key "Id" or "Name".
std::string referenced_key(CMPIInstance *inst, const char *name, const char *key) {
  CMPIData d = CMGetProperty(inst, name, nullptr);
  if ((d.state & CMPI_nullValue) || d.type != CMPI_ref) return "";
  std::string text = key_text(d.value.ref, key);
  CMRelease(d.value.ref);
  return text;
}

using Upcalls = HostdTest;

TEST_F(Upcalls, AssociatorsOfARackAskTheBrokerForEveryDeviceAndItsInstance) {
  Answer a = associators(socket(), rack("r1"), "Test_RackDevice", nullptr);
  EXPECT_EQ(a.rc, 0);
  EXPECT_TRUE(a.complete);
  EXPECT_EQ(values_of(a, "Id"), (std::set<std::string>{"d1", "d2"}));
  for (CMPIInstance *inst : a.instances) EXPECT_EQ(class_of(inst), "Test_Disk");
  // The enumeration of the abstract Test_Device reached the provider of its subclass.
  EXPECT_TRUE(daemon_.wait_for(Hostd("up-call enumerateInstanceNames of Test_Device for root (depth 1)", 4)));
  EXPECT_TRUE(daemon_.wait_for(Hostd("up-call getInstance of Test_Disk for root (depth 1)", 4)));
}

TEST_F(Upcalls, AssociatorsOfADiskFindItsRackThroughTheSuperclassReference) {
  Answer a = associators(socket(), disk("d3"), nullptr, nullptr);
  EXPECT_EQ(a.rc, 0);
  ASSERT_EQ(a.instances.size(), 1u);
  EXPECT_EQ(text_property(a.instances[0], "Name"), "r2");
  EXPECT_EQ(class_of(a.instances[0]), "Test_Rack");
}

TEST_F(Upcalls, AnAssociationClassNamedByTheClientIsAskedAlone) {
  Answer named = associators(socket(), rack("r2"), "Test_RackDevice", nullptr);
  EXPECT_EQ(named.rc, 0);
  EXPECT_EQ(values_of(named, "Id"), (std::set<std::string>{"d3"}));
}

TEST_F(Upcalls, AResultClassFilterOnASuperclassMatchesItsSubclasses) {
  Answer devices = associators(socket(), rack("r1"), "Test_RackDevice", "Test_Device");
  EXPECT_EQ(devices.rc, 0);
  EXPECT_EQ(values_of(devices, "Id"), (std::set<std::string>{"d1", "d2"}));
  Answer racks = associators(socket(), rack("r1"), "Test_RackDevice", "Test_Rack");
  EXPECT_EQ(racks.rc, 0);
  EXPECT_TRUE(racks.complete);
  EXPECT_TRUE(racks.instances.empty());
}

TEST_F(Upcalls, ReferencesWithoutAResultClassAskEveryAssociationThatCanReferToTheClass) {
  Answer a = references(socket(), rack("r1"), nullptr);
  EXPECT_EQ(a.rc, 0);
  ASSERT_EQ(a.instances.size(), 3u);
  std::set<std::string> devices;
  for (std::size_t i = 0; i < 2; ++i) {
    EXPECT_EQ(class_of(a.instances[i]), "Test_RackDevice") << "by association class name";
    EXPECT_EQ(referenced_key(a.instances[i], "Rack", "Name"), "r1");
    devices.insert(referenced_key(a.instances[i], "Device", "Id"));
  }
  EXPECT_EQ(devices, (std::set<std::string>{"d1", "d2"}));
  EXPECT_EQ(class_of(a.instances[2]), "Test_RackPower");
  EXPECT_EQ(referenced_key(a.instances[2], "Feed", "Id"), "f1");
}

TEST_F(Upcalls, AssociatorsWithoutAnAssociationClassAreTheUnionInOrderOfTheAssociationClasses) {
  Answer a = associators(socket(), rack("r1"), nullptr, nullptr);
  EXPECT_EQ(a.rc, 0);
  EXPECT_TRUE(a.complete);
  ASSERT_EQ(a.instances.size(), 3u);
  EXPECT_EQ(class_of(a.instances[0]), "Test_Disk");
  EXPECT_EQ(class_of(a.instances[1]), "Test_Disk");
  EXPECT_EQ(class_of(a.instances[2]), "Test_Feed");
  EXPECT_EQ(values_of(a, "Id"), (std::set<std::string>{"d1", "d2", "f1"}));
}

TEST_F(Upcalls, WhenOneAssociationProviderFailsTheWholeCallFailsWithItsStatus) {
  Answer a = associators(socket(), rack("r2"), nullptr, nullptr);
  EXPECT_EQ(a.rc, CMPI_RC_ERR_FAILED);
  EXPECT_FALSE(a.complete);
  ASSERT_EQ(a.instances.size(), 1u) << "the results before the failing provider were sent";
  EXPECT_EQ(text_property(a.instances[0], "Id"), "d3");
  EXPECT_TRUE(daemon_.wait_for(Hostd(
      "provider TestPower failed associators of Test_RackPower for root: CMPI_RC_ERR_FAILED "
      "(1): the power feed of rack r2 cannot be reached",
      2)));
  Answer names_only = references(socket(), rack("r2"), "Test_RackDevice");
  EXPECT_EQ(names_only.rc, 0) << "asked alone, the other association still answers";
}

TEST_F(Upcalls, AnAssociationClassWithoutInstanceProviderEnumeratesAsEmpty) {
  for (int type : {ENUMINST, ENUMINSTNAMES}) {
    Answer a =
        enumerate(socket(), build_frame(type, "root", make_path("Test_RackDevice")), type);
    EXPECT_EQ(a.rc, 0) << type;
    EXPECT_TRUE(a.complete) << type;
    EXPECT_TRUE(a.instances.empty() && a.paths.empty()) << type;
  }
  EXPECT_TRUE(daemon_.wait_for(Hostd(
      "class Test_RackDevice: provider TestLinks offers no Instance MI; the association class "
      "enumerates as empty",
      4)));
  Answer get = get_instance(socket(), build_frame(GETINST, "root", make_path("Test_RackDevice",
                                                                             {{"Rack", "x"}})));
  EXPECT_EQ(get.rc, CMPI_RC_ERR_NOT_SUPPORTED);
}

TEST_F(Upcalls, ReferencesHonourTheResultClass) {
  Answer named = references(socket(), disk("d2"), "Test_RackDevice");
  EXPECT_EQ(named.rc, 0);
  ASSERT_EQ(named.instances.size(), 1u);
  EXPECT_EQ(referenced_key(named.instances[0], "Rack", "Name"), "r1");
}

TEST_F(Upcalls, EnumeratingASuperclassWithoutProviderReachesItsSubclassesProviders) {
  Answer a =
      enumerate(socket(), build_frame(ENUMINST, "root", make_path("Test_Device")), ENUMINST);
  EXPECT_EQ(a.rc, 0);
  EXPECT_EQ(values_of(a, "Id"), (std::set<std::string>{"d1", "d2", "d3"}));
}

TEST_F(Upcalls, GetClassOfASubclassCarriesItsInheritedProperties) {
  Answer a = get_class(socket(), build_frame(GETCLASS, "root", make_path("Test_Disk")));
  EXPECT_EQ(a.rc, 0);
  ASSERT_NE(a.cls, nullptr);
  EXPECT_EQ(class_property_names(a.cls),
            (std::vector<std::string>{"Id", "Kind", "Health", "Roles", "Since", "Rack", "Uid"}));
}

TEST_F(Upcalls, AnInstanceMadeThroughTheBrokerStartsWithItsClassDefaults) {
  Answer a = get_instance(socket(), build_frame(GETINST, "root", disk("d2")));
  ASSERT_EQ(a.rc, 0);
  ASSERT_EQ(a.instances.size(), 1u);
  EXPECT_EQ(number_property(a.instances[0], "Health"), 5u);
  const std::string raw = exchange_raw(socket(), build_frame(GETINST, "root", disk("d2")));
  // Inherited from Test_Device's defaults, which the provider never sets.
  EXPECT_NE(raw.find("\"Health\":{\"DataState\":0,\"DataType\":144,\"Value\":5}"),
            std::string::npos) << raw;
  EXPECT_NE(raw.find("\"Roles\":{\"DataState\":0,\"DataType\":13824,\"Value\":[\"storage\","
                     "\"spare\"]}"),
            std::string::npos) << raw;
  EXPECT_NE(raw.find("\"Since\":{\"DataState\":0,\"DataType\":6144,\"Value\":"
                     "\"20240101120000.000000+000\"}"),
            std::string::npos) << raw;
  // What the provider sets wins over the default.
  EXPECT_NE(raw.find("\"Kind\":{\"DataState\":0,\"DataType\":5632,\"Value\":\"disk\"}"),
            std::string::npos) << raw;
}

// One request makes instances of several classes through the broker (the association
// provider asks for both ends): each starts with its own class's defaults, none with those of
// the class made before it.
TEST_F(Upcalls, InstancesOfSeveralClassesMadeInOneRequestStartWithTheirOwnDefaults) {
  Answer racks = associators(socket(), disk("d3"), nullptr, nullptr);
  ASSERT_EQ(racks.rc, 0);
  ASSERT_EQ(racks.instances.size(), 1u);
  EXPECT_TRUE(daemon_.wait_for(Hostd("up-call getInstance of Test_Disk for root (depth 1)", 4)));
  EXPECT_TRUE(daemon_.wait_for(Hostd("up-call getInstance of Test_Rack for root (depth 1)", 4)));
  CMPIInstance *rack = racks.instances[0];
  EXPECT_EQ(class_of(rack), "Test_Rack");
  EXPECT_EQ(CMGetPropertyCount(rack, nullptr), 1u);  // Name alone: no Test_Device default
  Answer disks = associators(socket(), make_path("Test_Rack", {{"Name", "r1"}}),
                             "Test_RackDevice", "Test_Device");
  ASSERT_EQ(disks.rc, 0);
  ASSERT_EQ(disks.instances.size(), 2u);
  for (CMPIInstance *d : disks.instances) EXPECT_EQ(number_property(d, "Health"), 5u);
}

TEST_F(Upcalls, AFailingUpCallGivesTheProviderItsStatusAndMessage) {
  Answer a = associators(socket(), disk("d9"), nullptr, nullptr);
  EXPECT_EQ(a.rc, CMPI_RC_ERR_NOT_FOUND);
  EXPECT_TRUE(daemon_.wait_for(Hostd(
      "provider TestEnds failed getInstance of Test_Disk for root: CMPI_RC_ERR_NOT_FOUND (6): "
      "no such disk d9 (up-call)",
      2)));
  EXPECT_TRUE(daemon_.wait_for(Hostd(
      "provider TestLinks failed associators of Test_RackDevice for root: "
      "CMPI_RC_ERR_NOT_FOUND (6): cannot read the device: no such disk d9",
      2)));
  // The worker lived through it.
  Answer after = associators(socket(), disk("d1"), nullptr, nullptr);
  EXPECT_EQ(after.rc, 0);
  EXPECT_EQ(values_of(after, "Name"), (std::set<std::string>{"r1"}));
}

TEST_F(Upcalls, AFailingProviderIsLoggedWithItsMessageAndTheStatusFrameCarriesIt) {
  Answer a = get_instance(socket(), build_frame(GETINST, "root", rack("r9")));
  EXPECT_EQ(a.rc, CMPI_RC_ERR_NOT_FOUND);
  // The status frame carries the provider's message to the client.
  const std::string raw = exchange_raw(socket(), build_frame(GETINST, "root", rack("r9")));
  EXPECT_THAT(raw, ::testing::StartsWith(
                       "{\"GetInstStatus\":6,\"GetInstStatusMsg\":\"no such rack r9\""));
  EXPECT_TRUE(daemon_.wait_for(Hostd(
      "provider TestEnds failed getInstance of Test_Rack for root: CMPI_RC_ERR_NOT_FOUND (6): "
      "no such rack r9",
      2)));
}

TEST_F(Upcalls, WhatTheBrokerDoesNotOfferAnswersWithAMessage) {
  Answer a = invoke(socket(), build_frame(INVOKEMETHOD, "root", make_path("Test_RackDevice"),
                                          makeNewCMPIArgs(nullptr), nullptr, nullptr, "Probe"));
  ASSERT_EQ(a.rc, 0);
  ASSERT_NE(a.out, nullptr);
  EXPECT_EQ(text_argument(a.out, "SetPropertyMessage"),
            "setProperty is not offered by this broker: get the instance and modify it");
  EXPECT_EQ(text_argument(a.out, "IndicationMessage"), "this host delivers no indications");
  EXPECT_EQ(number_argument(a.out, "DiskIsDevice"), 1u);
  EXPECT_EQ(number_argument(a.out, "DiskIsRack"), 0u);
}

TEST_F(Upcalls, UpCallsRunAsTheRequestingUser) {
  if (geteuid() != 0 || getpwnam("nobody") == nullptr) {
    GTEST_SKIP() << "needs root and the user nobody";
  }
  const unsigned long long nobody = getpwnam("nobody")->pw_uid;
  Answer a = associators(socket(), rack("r1"), "Test_RackDevice", nullptr, "nobody");
  EXPECT_EQ(a.rc, 0);
  ASSERT_EQ(a.instances.size(), 2u);
  for (CMPIInstance *inst : a.instances) EXPECT_EQ(number_property(inst, "Uid"), nobody);
}

}  // namespace
}  // namespace e2e
