// Tests of CMPIInstance: every slot of its table, properties of every type code, the property
// filter, key/path consistency, caller-owned results and clone independence.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "cmpiinterface.h"
#include "cmpipropertylook.h"
#include "objects.h"
#include "value_sweep.h"

namespace {

using namespace cmpitest;

// ---- instance fixtures ---------------------------------------------------------------------

class InstanceTest : public ::testing::Test {
 protected:
  void SetUp() override {
    path_ = new_path("root/cimv2", "Demo_Fan");
    const CMPIUint32 speed = 4200;
    path_->ft->addKey(path_, "DeviceID", reinterpret_cast<const CMPIValue *>("fan0"), CMPI_chars);
    path_->ft->addKey(path_, "Speed", reinterpret_cast<const CMPIValue *>(&speed), CMPI_uint32);
    CMPIStatus rc = unset_status();
    inst_ = makeNewCMPIInstance(path_, &rc);
    ASSERT_EQ(CMPI_RC_OK, +rc.rc);
    ASSERT_NE(nullptr, inst_);
  }
  void TearDown() override {
    if (inst_ != nullptr) {
      EXPECT_EQ(CMPI_RC_OK, +inst_->ft->release(inst_).rc);
    }
    path_->ft->release(path_);
  }

  Setter setter() {
    return [this](const char *name, const CMPIValue *value, CMPIType type) {
      return inst_->ft->setProperty(inst_, name, value, type);
    };
  }
  Getter getter() {
    return [this](const char *name, CMPIStatus *rc) {
      return inst_->ft->getProperty(inst_, name, rc);
    };
  }

  std::string string_property(const CMPIInstance *inst, const char *name) {
    return string_value(
        [inst](const char *n, CMPIStatus *rc) { return inst->ft->getProperty(inst, n, rc); },
        name);
  }

  CMPIObjectPath *path_ = nullptr;
  CMPIInstance *inst_ = nullptr;
};

TEST_F(InstanceTest, FactoryCopiesNamespaceClassAndKeysAndHasNoProperties) {
  CMPIStatus rc = unset_status();
  EXPECT_EQ(0u, inst_->ft->getPropertyCount(inst_, &rc));
  EXPECT_EQ(CMPI_RC_OK, +rc.rc);
  CMPIObjectPath *op = inst_->ft->getObjectPath(inst_, &rc);
  EXPECT_EQ(CMPI_RC_OK, +rc.rc);
  ASSERT_NE(nullptr, op);
  EXPECT_EQ("root/cimv2:Demo_Fan.DeviceID=fan0,Speed=4200", path_text(op));
  op->ft->release(op);
  EXPECT_EQ(+inst_->ft, cmpi::instance_table());
  EXPECT_NE(nullptr, +inst_->hdl);
}

TEST_F(InstanceTest, FactoryCopiesThePathSoTheCallerMayChangeOrReleaseIt) {
  path_->ft->setClassName(path_, "Other");
  const CMPIUint32 speed = 1;
  path_->ft->addKey(path_, "Speed", reinterpret_cast<const CMPIValue *>(&speed), CMPI_uint32);
  CMPIObjectPath *op = inst_->ft->getObjectPath(inst_, nullptr);
  EXPECT_EQ("root/cimv2:Demo_Fan.DeviceID=fan0,Speed=4200", path_text(op));
  op->ft->release(op);
}

TEST(InstanceFactory, NullOrInvalidPathGivesInvalidHandle) {
  CMPIStatus rc = unset_status();
  EXPECT_EQ(nullptr, makeNewCMPIInstance(nullptr, &rc));
  EXPECT_EQ(CMPI_RC_ERR_INVALID_HANDLE, +rc.rc);
  CMPIObjectPath *op = new_path("ns", "C");
  CMPIObjectPath no_handle = {nullptr, op->ft};
  rc = unset_status();
  EXPECT_EQ(nullptr, makeNewCMPIInstance(&no_handle, &rc));
  EXPECT_EQ(CMPI_RC_ERR_INVALID_HANDLE, +rc.rc);
  // Something that is not an object path of this library.
  CMPIArgs *args = makeNewCMPIArgs(nullptr);
  rc = unset_status();
  EXPECT_EQ(nullptr, makeNewCMPIInstance(reinterpret_cast<CMPIObjectPath *>(args), &rc));
  EXPECT_EQ(CMPI_RC_ERR_INVALID_HANDLE, +rc.rc);
  args->ft->release(args);
  EXPECT_EQ(nullptr, makeNewCMPIInstance(nullptr, nullptr));  // rc may be NULL
  op->ft->release(op);
}

TEST(InstanceFactory, PathWithoutKeysOrNames) {
  CMPIObjectPath *op = new_path(nullptr, nullptr);
  CMPIInstance *inst = makeNewCMPIInstance(op, nullptr);
  ASSERT_NE(nullptr, inst);
  CMPIObjectPath *back = inst->ft->getObjectPath(inst, nullptr);
  CMPIStatus rc = unset_status();
  EXPECT_EQ(nullptr, back->ft->getNameSpace(back, &rc));
  EXPECT_EQ(CMPI_RC_OK, +rc.rc);
  EXPECT_EQ(nullptr, back->ft->getClassName(back, &rc));
  EXPECT_EQ(0u, back->ft->getKeyCount(back, nullptr));
  back->ft->release(back);
  inst->ft->release(inst);
  op->ft->release(op);
}

TEST_F(InstanceTest, TableVersionAndEverySlotSet) {
  const CMPIInstanceFT *ft = inst_->ft;
  EXPECT_EQ(CMPICurrentVersion, +ft->ftVersion);
  EXPECT_TRUE(ft->release != nullptr);
  EXPECT_TRUE(ft->clone != nullptr);
  EXPECT_TRUE(ft->getProperty != nullptr);
  EXPECT_TRUE(ft->getPropertyAt != nullptr);
  EXPECT_TRUE(ft->getPropertyCount != nullptr);
  EXPECT_TRUE(ft->setProperty != nullptr);
  EXPECT_TRUE(ft->getObjectPath != nullptr);
  EXPECT_TRUE(ft->setPropertyFilter != nullptr);
  EXPECT_TRUE(ft->setObjectPath != nullptr);
  EXPECT_TRUE(ft->setPropertyWithOrigin != nullptr);
}

TEST_F(InstanceTest, PropertiesOfEveryType) {
  sweep_every_type(setter(), getter(), CMPI_goodValue);
  EXPECT_EQ(38u, inst_->ft->getPropertyCount(inst_, nullptr));
}

TEST_F(InstanceTest, NullPropertyValues) {
  sweep_null_values(setter(), getter());
  EXPECT_EQ(12u, inst_->ft->getPropertyCount(inst_, nullptr));
}

TEST_F(InstanceTest, UnsupportedTypesAreRefusedAndNothingIsStored) {
  int dummy = 0;
  const CMPIType refused[] = {CMPI_ptr, CMPI_class, CMPI_filter, 0x0777};
  for (CMPIType type : refused) {
    EXPECT_EQ(CMPI_RC_ERR_INVALID_DATA_TYPE,
              +inst_->ft->setProperty(inst_, "Bad", reinterpret_cast<const CMPIValue *>(&dummy),
                                     type)
                  .rc)
        << type;
  }
  EXPECT_EQ(0u, inst_->ft->getPropertyCount(inst_, nullptr));
}

TEST_F(InstanceTest, GetPropertyAtHandsOutNameAndValueInOrderOfFirstSet) {
  const CMPIUint8 a = 1, b = 2, c = 3;
  inst_->ft->setProperty(inst_, "Alpha", reinterpret_cast<const CMPIValue *>(&a), CMPI_uint8);
  inst_->ft->setProperty(inst_, "Beta", reinterpret_cast<const CMPIValue *>(&b), CMPI_uint8);
  // Same name in another case replaces in place and keeps the first spelling.
  inst_->ft->setProperty(inst_, "ALPHA", reinterpret_cast<const CMPIValue *>(&c), CMPI_uint8);
  EXPECT_EQ(2u, inst_->ft->getPropertyCount(inst_, nullptr));

  CMPIString *name = nullptr;
  CMPIStatus rc = unset_status();
  CMPIData d = inst_->ft->getPropertyAt(inst_, 0, &name, &rc);
  EXPECT_EQ(CMPI_RC_OK, +rc.rc);
  EXPECT_EQ("Alpha", take(name));
  EXPECT_EQ(CMPI_uint8, +d.type);
  EXPECT_EQ(3, +d.value.uint8);
  d = inst_->ft->getPropertyAt(inst_, 1, &name, &rc);
  EXPECT_EQ("Beta", take(name));
  EXPECT_EQ(2, +d.value.uint8);
  // The name out-parameter may be NULL, and so may rc.
  d = inst_->ft->getPropertyAt(inst_, 1, nullptr, nullptr);
  EXPECT_EQ(2, +d.value.uint8);
}

TEST_F(InstanceTest, LookupIsCaseInsensitive) {
  inst_->ft->setProperty(inst_, "Label", reinterpret_cast<const CMPIValue *>("x"), CMPI_chars);
  EXPECT_EQ("x", string_property(inst_, "lAbEl"));
}

TEST_F(InstanceTest, MissingNameOrIndexGivesNoSuchProperty) {
  CMPIStatus rc = unset_status();
  CMPIData d = inst_->ft->getProperty(inst_, "Nope", &rc);
  EXPECT_EQ(CMPI_RC_ERR_NO_SUCH_PROPERTY, +rc.rc);
  EXPECT_EQ(CMPI_null, +d.type);
  EXPECT_EQ(CMPI_nullValue | CMPI_notFound, +d.state);
  rc = unset_status();
  d = inst_->ft->getProperty(inst_, nullptr, &rc);
  EXPECT_EQ(CMPI_RC_ERR_NO_SUCH_PROPERTY, +rc.rc);

  CMPIString *name = reinterpret_cast<CMPIString *>(0x1);
  rc = unset_status();
  d = inst_->ft->getPropertyAt(inst_, 0, &name, &rc);
  EXPECT_EQ(CMPI_RC_ERR_NO_SUCH_PROPERTY, +rc.rc);
  EXPECT_EQ(nullptr, name);
  EXPECT_EQ(CMPI_nullValue | CMPI_notFound, +d.state);
  inst_->ft->getProperty(inst_, "Nope", nullptr);  // rc may be NULL
}

TEST_F(InstanceTest, SetPropertyWithoutNameIsInvalidParameter) {
  const CMPIUint8 v = 1;
  EXPECT_EQ(CMPI_RC_ERR_INVALID_PARAMETER,
            +inst_->ft->setProperty(inst_, nullptr, reinterpret_cast<const CMPIValue *>(&v),
                                   CMPI_uint8)
                .rc);
}

TEST_F(InstanceTest, GettersHandOutCopies) {
  inst_->ft->setProperty(inst_, "Label", reinterpret_cast<const CMPIValue *>("x"), CMPI_chars);
  CMPIData first = inst_->ft->getProperty(inst_, "Label", nullptr);
  CMPIData second = inst_->ft->getProperty(inst_, "Label", nullptr);
  EXPECT_NE(+first.value.string, +second.value.string);
  release_data(&first);
  EXPECT_EQ("x", text_of(+second.value.string));
  release_data(&second);
  EXPECT_EQ("x", string_property(inst_, "Label"));

  CMPIObjectPath *p1 = inst_->ft->getObjectPath(inst_, nullptr);
  CMPIObjectPath *p2 = inst_->ft->getObjectPath(inst_, nullptr);
  EXPECT_NE(p1, p2);
  p1->ft->setNameSpace(p1, "changed");
  p1->ft->release(p1);
  EXPECT_EQ("root/cimv2:Demo_Fan.DeviceID=fan0,Speed=4200", path_text(p2));
  p2->ft->release(p2);
}

TEST_F(InstanceTest, SettingAKeyPropertyUpdatesThePathKey) {
  const CMPIUint32 speed = 5000;
  EXPECT_EQ(CMPI_RC_OK,
            +inst_->ft->setProperty(inst_, "speed", reinterpret_cast<const CMPIValue *>(&speed),
                                   CMPI_uint32)
                .rc);
  inst_->ft->setProperty(inst_, "DeviceID", reinterpret_cast<const CMPIValue *>("fan9"),
                         CMPI_chars);
  inst_->ft->setProperty(inst_, "Other", reinterpret_cast<const CMPIValue *>("o"), CMPI_chars);
  CMPIObjectPath *op = inst_->ft->getObjectPath(inst_, nullptr);
  EXPECT_EQ("root/cimv2:Demo_Fan.DeviceID=fan9,Speed=5000", path_text(op));
  EXPECT_EQ(2u, op->ft->getKeyCount(op, nullptr));
  op->ft->release(op);
  EXPECT_EQ(3u, inst_->ft->getPropertyCount(inst_, nullptr));
}

TEST_F(InstanceTest, NullValueForAKeyPropertyLeavesTheKey) {
  EXPECT_EQ(CMPI_RC_OK, +inst_->ft->setProperty(inst_, "DeviceID", nullptr, CMPI_string).rc);
  CMPIData d = inst_->ft->getProperty(inst_, "DeviceID", nullptr);
  EXPECT_EQ(CMPI_nullValue, +d.state);
  CMPIObjectPath *op = inst_->ft->getObjectPath(inst_, nullptr);
  EXPECT_EQ("root/cimv2:Demo_Fan.DeviceID=fan0,Speed=4200", path_text(op));
  op->ft->release(op);
}

TEST_F(InstanceTest, PropertyFilterKeepsOnlyListedNames) {
  const char *list[] = {"Wanted", "Speed", nullptr};
  const char *keys[] = {"DeviceID", nullptr};
  EXPECT_EQ(CMPI_RC_OK, +inst_->ft->setPropertyFilter(inst_, list, keys).rc);
  const CMPIUint32 v = 9;
  EXPECT_EQ(CMPI_RC_OK, +inst_->ft->setProperty(inst_, "wanted",
                                               reinterpret_cast<const CMPIValue *>(&v),
                                               CMPI_uint32)
                            .rc);
  // Outside the list: answered OK and not kept (keys of the filter call are ignored).
  EXPECT_EQ(CMPI_RC_OK, +inst_->ft->setProperty(inst_, "Unwanted",
                                               reinterpret_cast<const CMPIValue *>(&v),
                                               CMPI_uint32)
                            .rc);
  EXPECT_EQ(CMPI_RC_OK, +inst_->ft->setProperty(inst_, "DeviceID",
                                               reinterpret_cast<const CMPIValue *>("fanX"),
                                               CMPI_chars)
                            .rc);
  EXPECT_EQ(CMPI_RC_OK, +inst_->ft->setPropertyWithOrigin(
                            inst_, "Unwanted2", reinterpret_cast<const CMPIValue *>(&v),
                            CMPI_uint32, "Origin")
                            .rc);
  EXPECT_EQ(1u, inst_->ft->getPropertyCount(inst_, nullptr));
  CMPIStatus rc = unset_status();
  inst_->ft->getProperty(inst_, "Unwanted", &rc);
  EXPECT_EQ(CMPI_RC_ERR_NO_SUCH_PROPERTY, +rc.rc);
  // The path key of a filtered-out property stays as it was.
  CMPIObjectPath *op = inst_->ft->getObjectPath(inst_, nullptr);
  EXPECT_EQ("root/cimv2:Demo_Fan.DeviceID=fan0,Speed=4200", path_text(op));
  op->ft->release(op);
}

TEST_F(InstanceTest, PropertyFilterListIsCopied) {
  char wanted[] = "Wanted";
  const char *list[] = {wanted, nullptr};
  inst_->ft->setPropertyFilter(inst_, list, nullptr);
  std::strcpy(wanted, "Zzzzzz");
  const CMPIUint8 v = 1;
  inst_->ft->setProperty(inst_, "Wanted", reinterpret_cast<const CMPIValue *>(&v), CMPI_uint8);
  EXPECT_EQ(1u, inst_->ft->getPropertyCount(inst_, nullptr));
}

TEST_F(InstanceTest, EmptyFilterAcceptsNothingAndNullFilterAcceptsAll) {
  const char *empty[] = {nullptr};
  const CMPIUint8 v = 1;
  inst_->ft->setPropertyFilter(inst_, empty, nullptr);
  inst_->ft->setProperty(inst_, "A", reinterpret_cast<const CMPIValue *>(&v), CMPI_uint8);
  EXPECT_EQ(0u, inst_->ft->getPropertyCount(inst_, nullptr));
  EXPECT_EQ(CMPI_RC_OK, +inst_->ft->setPropertyFilter(inst_, nullptr, nullptr).rc);
  inst_->ft->setProperty(inst_, "A", reinterpret_cast<const CMPIValue *>(&v), CMPI_uint8);
  EXPECT_EQ(1u, inst_->ft->getPropertyCount(inst_, nullptr));
}

TEST_F(InstanceTest, SetPropertyWithOriginBehavesAsSetProperty) {
  const CMPISint16 v = -3;
  EXPECT_EQ(CMPI_RC_OK, +inst_->ft->setPropertyWithOrigin(
                            inst_, "P", reinterpret_cast<const CMPIValue *>(&v), CMPI_sint16,
                            "CIM_Origin")
                            .rc);
  EXPECT_EQ(CMPI_RC_OK, +inst_->ft->setPropertyWithOrigin(
                            inst_, "Q", reinterpret_cast<const CMPIValue *>("q"), CMPI_chars,
                            nullptr)
                            .rc);
  CMPIData d = inst_->ft->getProperty(inst_, "P", nullptr);
  EXPECT_EQ(CMPI_sint16, +d.type);
  EXPECT_EQ(-3, +d.value.sint16);
  EXPECT_EQ("q", string_property(inst_, "Q"));
  // A key set with origin updates the path too.
  const CMPIUint32 speed = 77;
  inst_->ft->setPropertyWithOrigin(inst_, "Speed", reinterpret_cast<const CMPIValue *>(&speed),
                                   CMPI_uint32, "X");
  CMPIObjectPath *op = inst_->ft->getObjectPath(inst_, nullptr);
  EXPECT_EQ("root/cimv2:Demo_Fan.DeviceID=fan0,Speed=77", path_text(op));
  op->ft->release(op);
}

TEST_F(InstanceTest, SetObjectPathTakesAClone) {
  CMPIObjectPath *op = new_path("root/other", "Other_Class");
  op->ft->addKey(op, "Name", reinterpret_cast<const CMPIValue *>("n1"), CMPI_chars);
  EXPECT_EQ(CMPI_RC_OK, +inst_->ft->setObjectPath(inst_, op).rc);
  op->ft->setClassName(op, "Changed");
  op->ft->release(op);
  CMPIObjectPath *back = inst_->ft->getObjectPath(inst_, nullptr);
  EXPECT_EQ("root/other:Other_Class.Name=n1", path_text(back));
  back->ft->release(back);
  // The new path's keys are the ones kept consistent from now on.
  inst_->ft->setProperty(inst_, "Name", reinterpret_cast<const CMPIValue *>("n2"), CMPI_chars);
  back = inst_->ft->getObjectPath(inst_, nullptr);
  EXPECT_EQ("root/other:Other_Class.Name=n2", path_text(back));
  back->ft->release(back);
}

TEST_F(InstanceTest, SetObjectPathRefusesNullOrForeignPath) {
  EXPECT_EQ(CMPI_RC_ERR_INVALID_HANDLE, +inst_->ft->setObjectPath(inst_, nullptr).rc);
  CMPIObjectPath no_handle = {nullptr, path_->ft};
  EXPECT_EQ(CMPI_RC_ERR_INVALID_HANDLE, +inst_->ft->setObjectPath(inst_, &no_handle).rc);
  CMPIObjectPath *back = inst_->ft->getObjectPath(inst_, nullptr);
  EXPECT_EQ("root/cimv2:Demo_Fan.DeviceID=fan0,Speed=4200", path_text(back));
  back->ft->release(back);
}

TEST_F(InstanceTest, CloneIsDeepAndIndependent) {
  inst_->ft->setProperty(inst_, "Label", reinterpret_cast<const CMPIValue *>("orig"), CMPI_chars);
  CMPIInstance *embedded = new_embedded("emb");
  inst_->ft->setProperty(inst_, "Emb", reinterpret_cast<const CMPIValue *>(&embedded),
                         CMPI_instance);
  embedded->ft->release(embedded);
  const char *list[] = {"Label", "Emb", "Speed", nullptr};
  inst_->ft->setPropertyFilter(inst_, list, nullptr);

  CMPIStatus rc = unset_status();
  CMPIInstance *copy = inst_->ft->clone(inst_, &rc);
  EXPECT_EQ(CMPI_RC_OK, +rc.rc);
  ASSERT_NE(nullptr, copy);
  EXPECT_NE(copy, inst_);
  EXPECT_EQ(2u, copy->ft->getPropertyCount(copy, nullptr));
  EXPECT_EQ("orig", string_property(copy, "Label"));

  // The filter came along.
  const CMPIUint8 v = 1;
  copy->ft->setProperty(copy, "Filtered", reinterpret_cast<const CMPIValue *>(&v), CMPI_uint8);
  EXPECT_EQ(2u, copy->ft->getPropertyCount(copy, nullptr));

  // Mutating the clone leaves the original unchanged.
  copy->ft->setProperty(copy, "Label", reinterpret_cast<const CMPIValue *>("changed"),
                        CMPI_chars);
  const CMPIUint32 speed = 1;
  copy->ft->setProperty(copy, "Speed", reinterpret_cast<const CMPIValue *>(&speed), CMPI_uint32);
  EXPECT_EQ("orig", string_property(inst_, "Label"));
  EXPECT_EQ(2u, inst_->ft->getPropertyCount(inst_, nullptr));
  CMPIObjectPath *op = inst_->ft->getObjectPath(inst_, nullptr);
  EXPECT_EQ("root/cimv2:Demo_Fan.DeviceID=fan0,Speed=4200", path_text(op));
  op->ft->release(op);

  // Releasing the original leaves the clone valid.
  inst_->ft->release(inst_);
  inst_ = nullptr;
  EXPECT_EQ("changed", string_property(copy, "Label"));
  CMPIData emb = copy->ft->getProperty(copy, "Emb", nullptr);
  EXPECT_EQ("emb", embedded_marker(+emb.value.inst));
  release_data(&emb);
  op = copy->ft->getObjectPath(copy, nullptr);
  EXPECT_EQ("root/cimv2:Demo_Fan.DeviceID=fan0,Speed=1", path_text(op));
  op->ft->release(op);
  EXPECT_EQ(CMPI_RC_OK, +copy->ft->release(copy).rc);
}

TEST_F(InstanceTest, NullHandleGivesInvalidHandleOnEverySlot) {
  CMPIInstance no_handle = {nullptr, inst_->ft};
  const CMPIInstanceFT *ft = inst_->ft;
  const CMPIUint8 v = 1;
  for (CMPIInstance *bad : {&no_handle, static_cast<CMPIInstance *>(nullptr)}) {
    CMPIStatus rc = unset_status();
    EXPECT_EQ(CMPI_RC_ERR_INVALID_HANDLE, +ft->release(bad).rc);
    EXPECT_EQ(nullptr, ft->clone(bad, &rc));
    EXPECT_EQ(CMPI_RC_ERR_INVALID_HANDLE, +rc.rc);
    rc = unset_status();
    CMPIData d = ft->getProperty(bad, "A", &rc);
    EXPECT_EQ(CMPI_RC_ERR_INVALID_HANDLE, +rc.rc);
    EXPECT_NE(0, +d.state & CMPI_nullValue);
    rc = unset_status();
    CMPIString *name = reinterpret_cast<CMPIString *>(0x1);
    d = ft->getPropertyAt(bad, 0, &name, &rc);
    EXPECT_EQ(CMPI_RC_ERR_INVALID_HANDLE, +rc.rc);
    EXPECT_EQ(nullptr, name);
    rc = unset_status();
    EXPECT_EQ(0u, ft->getPropertyCount(bad, &rc));
    EXPECT_EQ(CMPI_RC_ERR_INVALID_HANDLE, +rc.rc);
    EXPECT_EQ(CMPI_RC_ERR_INVALID_HANDLE,
              +ft->setProperty(bad, "A", reinterpret_cast<const CMPIValue *>(&v), CMPI_uint8).rc);
    rc = unset_status();
    EXPECT_EQ(nullptr, ft->getObjectPath(bad, &rc));
    EXPECT_EQ(CMPI_RC_ERR_INVALID_HANDLE, +rc.rc);
    EXPECT_EQ(CMPI_RC_ERR_INVALID_HANDLE, +ft->setPropertyFilter(bad, nullptr, nullptr).rc);
    EXPECT_EQ(CMPI_RC_ERR_INVALID_HANDLE, +ft->setObjectPath(bad, path_).rc);
    EXPECT_EQ(CMPI_RC_ERR_INVALID_HANDLE,
              +ft->setPropertyWithOrigin(bad, "A", reinterpret_cast<const CMPIValue *>(&v),
                                        CMPI_uint8, nullptr)
                  .rc);
    // rc may be NULL.
    EXPECT_EQ(nullptr, ft->clone(bad, nullptr));
    ft->getProperty(bad, "A", nullptr);
    ft->getPropertyAt(bad, 0, nullptr, nullptr);
    EXPECT_EQ(0u, ft->getPropertyCount(bad, nullptr));
    EXPECT_EQ(nullptr, ft->getObjectPath(bad, nullptr));
  }
}

// ---- looking at a property in place --------------------------------------------------------

// What a datum holds, as text: scalars, strings, date-times and references as value2Chars
// writes them, embedded instances by their marker, arrays element by element.
std::string datum_text(const CMPIData &d) {
  if ((d.state & CMPI_nullValue) != 0) return "<null>";
  if ((d.type & CMPI_ARRAY) != 0) {
    const CMPIArray *array = d.value.array;
    std::string text = "[";
    const CMPICount count = array->ft->getSize(array, nullptr);
    for (CMPICount i = 0; i < count; ++i) {
      CMPIData element = array->ft->getElementAt(array, i, nullptr);
      text += datum_text(element) + ";";
      release_data(&element);
    }
    return text + "]";
  }
  if (d.type == CMPI_instance) return "instance " + embedded_marker(d.value.inst);
  char *chars = value2Chars(d.type, &d.value);
  const std::string text = chars != nullptr ? chars : "<no text>";
  free(chars);
  return text;
}

TEST_F(InstanceTest, APeekReadsEveryPropertyAsGetPropertyAtHandsItOut) {
  sweep_every_type(setter(), getter(), CMPI_goodValue);
  sweep_null_values(setter(), getter());
  const CMPICount count = inst_->ft->getPropertyCount(inst_, nullptr);
  ASSERT_EQ(50u, count);
  for (CMPICount i = 0; i < count; ++i) {
    CMPIString *name = nullptr;
    CMPIData copy = inst_->ft->getPropertyAt(inst_, i, &name, nullptr);
    const char *peeked_name = nullptr;
    CMPIData peeked = {};
    ASSERT_EQ(CMPI_RC_OK, +cmpiPeekPropertyAt(inst_, i, &peeked_name, &peeked));
    const std::string expected_name = take(name);
    EXPECT_EQ(expected_name, peeked_name);
    EXPECT_EQ(val(copy.type), val(peeked.type)) << expected_name;
    EXPECT_EQ(val(copy.state), val(peeked.state)) << expected_name;
    EXPECT_EQ(datum_text(copy), datum_text(peeked)) << expected_name;
    release_data(&copy);  // the copy is the caller's; the peeked datum is not
  }
}

TEST_F(InstanceTest, APeekBorrowsTheStoredValueAndSeesItReplaced) {
  inst_->ft->setProperty(inst_, "Name", reinterpret_cast<const CMPIValue *>("first"), CMPI_chars);
  const char *name = nullptr;
  CMPIData one = {};
  CMPIData two = {};
  ASSERT_EQ(CMPI_RC_OK, +cmpiPeekPropertyAt(inst_, 0, &name, &one));
  ASSERT_EQ(CMPI_RC_OK, +cmpiPeekPropertyAt(inst_, 0, &name, &two));
  EXPECT_EQ(val(one.value.string), val(two.value.string));  // the stored object, twice
  CMPIData copy = inst_->ft->getPropertyAt(inst_, 0, nullptr, nullptr);
  EXPECT_NE(val(one.value.string), val(copy.value.string));  // a getter hands out a copy
  release_data(&copy);
  inst_->ft->setProperty(inst_, "Name", reinterpret_cast<const CMPIValue *>("second"), CMPI_chars);
  ASSERT_EQ(CMPI_RC_OK, +cmpiPeekPropertyAt(inst_, 0, &name, &one));
  EXPECT_STREQ("second", static_cast<const char *>(val(one.value.string)->hdl));
}

TEST_F(InstanceTest, APeekPastTheEndOrAtAnotherLibrarysInstanceIsRefused) {
  const CMPIUint8 a = 1;
  inst_->ft->setProperty(inst_, "Alpha", reinterpret_cast<const CMPIValue *>(&a), CMPI_uint8);
  const char *name = nullptr;
  CMPIData d = {};
  EXPECT_EQ(CMPI_RC_ERR_NO_SUCH_PROPERTY, +cmpiPeekPropertyAt(inst_, 1, &name, &d));
  EXPECT_EQ(CMPI_RC_ERR_NOT_SUPPORTED, +cmpiPeekPropertyAt(nullptr, 0, &name, &d));
  // The same record behind another function table: not known to be one of ours.
  CMPIInstanceFT other_table = *inst_->ft;
  CMPIInstance other = {inst_->hdl, &other_table};
  EXPECT_EQ(CMPI_RC_ERR_NOT_SUPPORTED, +cmpiPeekPropertyAt(&other, 0, &name, &d));
  CMPIInstance no_handle = {nullptr, inst_->ft};
  EXPECT_EQ(CMPI_RC_ERR_NOT_SUPPORTED, +cmpiPeekPropertyAt(&no_handle, 0, &name, &d));
}

TEST_F(InstanceTest, OwnInstancesAreToldFromAnyOther) {
  EXPECT_EQ(1, cmpiIsOwnInstance(inst_));
  CMPIStatus rc = unset_status();
  CMPIInstance *copy = inst_->ft->clone(inst_, &rc);
  ASSERT_NE(nullptr, copy);
  EXPECT_EQ(1, cmpiIsOwnInstance(copy));
  EXPECT_EQ(CMPI_RC_OK, +copy->ft->release(copy).rc);
  EXPECT_EQ(0, cmpiIsOwnInstance(nullptr));
  CMPIInstanceFT other_table = *inst_->ft;
  CMPIInstance other = {inst_->hdl, &other_table};
  EXPECT_EQ(0, cmpiIsOwnInstance(&other));
  CMPIInstance no_handle = {nullptr, inst_->ft};
  EXPECT_EQ(0, cmpiIsOwnInstance(&no_handle));
}

TEST_F(InstanceTest, APropertyLookReadsOursInPlaceAndAnyOtherThroughItsGetter) {
  inst_->ft->setProperty(inst_, "Name", reinterpret_cast<const CMPIValue *>("fan"), CMPI_chars);
  CMPIInstanceFT other_table = *inst_->ft;
  CMPIInstance other = {inst_->hdl, &other_table};
  for (const CMPIInstance *inst : {static_cast<const CMPIInstance *>(inst_),
                                   static_cast<const CMPIInstance *>(&other)}) {
    CMPIStatus rc = unset_status();
    // The look of the other instance owns copies and releases them (the sanitizers' leak
    // check would report them otherwise).
    const cmpiinterface::PropertyLook look(inst, 0, &rc);
    EXPECT_EQ(CMPI_RC_OK, +rc.rc);
    EXPECT_STREQ("Name", look.name());
    EXPECT_EQ(CMPI_string, +look.data().type);
    EXPECT_EQ("fan", datum_text(look.data()));
  }
  CMPIStatus rc = unset_status();
  const cmpiinterface::PropertyLook past(&other, 5, &rc);
  EXPECT_EQ(CMPI_RC_ERR_NO_SUCH_PROPERTY, +rc.rc);
  EXPECT_EQ(nullptr, past.name());
}

}  // namespace

