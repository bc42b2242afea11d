// Tests of what the worker's broker hands out: kept until the request ends, whether or not the
// provider releases it, and the broker's own enumerations.
#include "broker_owned.h"

#include <cmpiinterface.h>
#include <cmpimacs.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace hostd {
namespace {

CMPIInstance *fan(const char *id) {
  CMPIObjectPath *path = makeNewObjectPath("root/cimv2", "Demo_Fan", nullptr);
  CMAddKey(path, "DeviceID", id, CMPI_chars);
  CMPIInstance *inst = makeNewCMPIInstance(path, nullptr);
  CMSetProperty(inst, "DeviceID", id, CMPI_chars);
  CMRelease(path);
  return inst;
}

std::string id_of(const CMPIInstance *inst) {
  CMPIData d = CMGetProperty(inst, "DeviceID", nullptr);
  std::string id = CMGetCharPtr(d.value.string);
  CMRelease(d.value.string);
  return id;
}

CMPIData instance_data(CMPIInstance *inst) {
  CMPIData d = {CMPI_instance, CMPI_goodValue, {}};
  d.value.inst = inst;
  return d;
}

// The sanitizer build reports a leak or a double free if ownership goes wrong in any of these.
TEST(BrokerOwned, AProviderThatReleasesWhatItGotDoesNotFreeItTwice) {
  BrokerOwned owned;
  CMPIInstance *inst = owned.keep(fan("fan0"));
  EXPECT_EQ(+CMRelease(inst).rc, CMPI_RC_OK);
  EXPECT_EQ(id_of(inst), "fan0") << "still usable until the request ends";
  EXPECT_EQ(owned.size(), 1u);
  owned.release_all();
  EXPECT_EQ(owned.size(), 0u);
}

TEST(BrokerOwned, AProviderThatReleasesNothingLeaksNothing) {
  BrokerOwned owned;
  owned.keep(fan("fan0"));
  owned.keep(CreateString("message", nullptr));
  owned.keep(makeNewObjectPath("root/cimv2", "Demo_Fan", nullptr));
  EXPECT_EQ(owned.size(), 3u);
}

TEST(BrokerOwned, KeepingTheSameObjectTwiceKeepsItOnce) {
  BrokerOwned owned;
  CMPIInstance *inst = owned.keep(fan("fan0"));
  owned.keep(inst);
  owned.keep(instance_data(inst));
  EXPECT_EQ(owned.size(), 1u);
}

TEST(BrokerOwned, ACloneIsTheCallersOwnObject) {
  BrokerOwned owned;
  CMPIInstance *inst = owned.keep(fan("fan0"));
  CMPIInstance *copy = CMClone(inst, nullptr);
  ASSERT_NE(copy, nullptr);
  owned.release_all();
  EXPECT_EQ(id_of(copy), "fan0");
  EXPECT_EQ(+CMRelease(copy).rc, CMPI_RC_OK);
}

TEST(BrokerOwned, NullAndScalarDataPassThrough) {
  BrokerOwned owned;
  EXPECT_EQ(owned.keep(static_cast<CMPIInstance *>(nullptr)), nullptr);
  CMPIData number = {CMPI_uint32, CMPI_goodValue, {}};
  number.value.uint32 = 7;
  const CMPIUint32 kept = owned.keep(number).value.uint32;
  EXPECT_EQ(kept, 7u);
  CMPIData null = {CMPI_string, CMPI_nullValue, {}};
  owned.keep(null);
  EXPECT_EQ(owned.size(), 0u);
}

TEST(BrokerOwned, AnEnumerationHandsOutItsElementsInOrderWithoutCopies) {
  BrokerOwned owned;
  CMPIInstance *first = fan("fan0");
  CMPIInstance *second = fan("fan1");
  CMPIEnumeration *en = owned.enumeration({instance_data(first), instance_data(second)});
  ASSERT_NE(en, nullptr);
  EXPECT_TRUE(CMHasNext(en, nullptr));
  CMPIStatus st = {CMPI_RC_OK, nullptr};
  // The records are packed: fields are copied out before the checks bind references to them.
  const CMPIInstance *got = CMGetNext(en, &st).value.inst;
  EXPECT_EQ(got, first);
  EXPECT_EQ(+st.rc, CMPI_RC_OK);
  CMPIInstance *next = CMGetNext(en, nullptr).value.inst;
  EXPECT_EQ(next, second);
  CMRelease(next);  // code written for caller-owned copies releases it: harmless
  EXPECT_FALSE(CMHasNext(en, nullptr));
  CMGetNext(en, &st);
  EXPECT_EQ(+st.rc, CMPI_RC_NO_MORE_ELEMENTS);
  EXPECT_EQ(+CMRelease(en).rc, CMPI_RC_OK);
}

TEST(BrokerOwned, AnEnumerationsCloneAndArrayAreCopies) {
  BrokerOwned owned;
  CMPIEnumeration *en = owned.enumeration({instance_data(fan("fan0")), instance_data(fan("fan1"))});
  CMGetNext(en, nullptr);
  CMPIEnumeration *copy = CMClone(en, nullptr);
  ASSERT_NE(copy, nullptr);
  CMPIInstance *rest = CMGetNext(copy, nullptr).value.inst;
  EXPECT_EQ(id_of(rest), "fan1") << "the clone continues where the original stands";
  CMRelease(rest);
  EXPECT_FALSE(CMHasNext(copy, nullptr));
  CMRelease(copy);
  CMPIArray *array = CMToArray(en, nullptr);
  ASSERT_NE(array, nullptr);
  EXPECT_EQ(CMGetArrayCount(array, nullptr), 2u);
  CMRelease(array);  // the broker's: released with the request
  owned.release_all();
}

TEST(BrokerOwned, AnEmptyEnumerationHasNothing) {
  BrokerOwned owned;
  CMPIEnumeration *en = owned.enumeration({});
  EXPECT_FALSE(CMHasNext(en, nullptr));
  CMPIStatus st = {CMPI_RC_OK, nullptr};
  CMGetNext(en, &st);
  EXPECT_EQ(+st.rc, CMPI_RC_NO_MORE_ELEMENTS);
}

}  // namespace
}  // namespace hostd
