// Tests of CMPIConstClass: the one-block factory, a class record filled by hand the way a
// response parser fills it, every slot of the table, release and deep clone.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "cmpiinterface.h"
#include "objects.h"
#include "value_sweep.h"

namespace {

using namespace cmpitest;

// An array of CMPI_string names, filled as a parser fills it: each name set as chars at the
// array's next free index.
CMPIArray *names_array(CMPIType element_type, const std::vector<const char *> &names) {
  CMPIStatus rc = unset_status();
  CMPIArray *array = makeNewCMPIArray(0, element_type, &rc);
  EXPECT_EQ(CMPI_RC_OK, +rc.rc);
  for (const char *name : names) {
    const CMPICount next = array->ft->getSize(array, nullptr);
    EXPECT_EQ(CMPI_RC_OK,
              +array->ft->setElementAt(array, next, reinterpret_cast<const CMPIValue *>(name),
                                       CMPI_chars)
                   .rc);
  }
  return array;
}

CMPIArray *parameters_array() {
  CMPIObjectPath *op = makeNewObjectPath("root/cimv2", "Demo_Fan_SetSpeed", nullptr);
  CMPIInstance *inst = makeNewCMPIInstance(op, nullptr);
  const CMPIUint32 speed = 1;
  inst->ft->setProperty(inst, "Speed", reinterpret_cast<const CMPIValue *>(&speed), CMPI_uint32);
  CMPIArray *array = makeNewCMPIArray(1, CMPI_instance, nullptr);
  array->ft->setElementAt(array, 0, reinterpret_cast<const CMPIValue *>(&inst), CMPI_instance);
  inst->ft->release(inst);
  op->ft->release(op);
  return array;
}

// A class filled the way the response parser fills one.
CMPIConstClass *filled_class() {
  CMPIStatus rc = unset_status();
  CMPIConstClass *cc = makeNewCMPIClass(&rc);
  EXPECT_EQ(CMPI_RC_OK, +rc.rc);
  CMPIClassRecord *record = static_cast<CMPIClassRecord *>(calloc(1, sizeof(CMPIClassRecord)));
  record->className = strdup("Demo_Fan");
  record->nameSpace = strdup("root/cimv2");
  record->propertyNames = names_array(CMPI_string, {"DeviceID", "Speed", "Label"});
  record->methodNames = names_array(CMPI_string, {"SetSpeed", "Reset"});
  record->methodParameters = parameters_array();
  cc->hdl = record;
  return cc;
}

CMPIClassRecord *record_of(const CMPIConstClass *cc) {
  return static_cast<CMPIClassRecord *>(cc->hdl);
}

TEST(ConstClass, FactoryMakesOneBlockWithNullHandle) {
  CMPIStatus rc = unset_status();
  CMPIConstClass *cc = makeNewCMPIClass(&rc);
  EXPECT_EQ(CMPI_RC_OK, +rc.rc);
  ASSERT_NE(nullptr, cc);
  EXPECT_EQ(nullptr, +cc->hdl);
  EXPECT_EQ(cmpi::const_class_table(), +cc->ft);
  free(cc);  // a plain free releases it fully (the leak check of the sanitizer build shows it)
  cc = makeNewCMPIClass(nullptr);  // rc may be NULL
  ASSERT_NE(nullptr, cc);
  free(cc);
}

TEST(ConstClass, ReleaseOfAnUnfilledClassJustFreesIt) {
  CMPIConstClass *cc = makeNewCMPIClass(nullptr);
  EXPECT_EQ(CMPI_RC_OK, +cc->ft->release(cc).rc);
}

TEST(ConstClass, TableVersionAndEverySlotSet) {
  const CMPIConstClassFT *ft = cmpi::const_class_table();
  EXPECT_EQ(CMPICurrentVersion, +ft->ftVersion);
  EXPECT_TRUE(ft->release != nullptr);
  EXPECT_TRUE(ft->clone != nullptr);
  EXPECT_TRUE(ft->getClassName != nullptr);
  EXPECT_TRUE(ft->getNameSpace != nullptr);
  EXPECT_TRUE(ft->getPropertyCount != nullptr);
  EXPECT_TRUE(ft->getPropertyNameAt != nullptr);
  EXPECT_TRUE(ft->getMethodCount != nullptr);
  EXPECT_TRUE(ft->getMethodNameAt != nullptr);
}

TEST(ConstClass, GettersOfAFilledClass) {
  CMPIConstClass *cc = filled_class();
  CMPIStatus rc = unset_status();
  EXPECT_EQ("Demo_Fan", take(cc->ft->getClassName(cc, &rc)));
  EXPECT_EQ(CMPI_RC_OK, +rc.rc);
  rc = unset_status();
  EXPECT_EQ("root/cimv2", take(cc->ft->getNameSpace(cc, &rc)));
  EXPECT_EQ(CMPI_RC_OK, +rc.rc);
  rc = unset_status();
  EXPECT_EQ(3u, cc->ft->getPropertyCount(cc, &rc));
  EXPECT_EQ(CMPI_RC_OK, +rc.rc);
  const char *properties[] = {"DeviceID", "Speed", "Label"};
  for (CMPICount i = 0; i < 3; ++i) {
    rc = unset_status();
    EXPECT_EQ(properties[i], take(cc->ft->getPropertyNameAt(cc, i, &rc)));
    EXPECT_EQ(CMPI_RC_OK, +rc.rc);
  }
  rc = unset_status();
  EXPECT_EQ(2u, cc->ft->getMethodCount(cc, &rc));
  EXPECT_EQ(CMPI_RC_OK, +rc.rc);
  rc = unset_status();
  EXPECT_EQ("SetSpeed", take(cc->ft->getMethodNameAt(cc, 0, &rc)));
  EXPECT_EQ(CMPI_RC_OK, +rc.rc);
  EXPECT_EQ("Reset", take(cc->ft->getMethodNameAt(cc, 1, nullptr)));
  // rc may be NULL everywhere.
  EXPECT_EQ("Demo_Fan", take(cc->ft->getClassName(cc, nullptr)));
  EXPECT_EQ("root/cimv2", take(cc->ft->getNameSpace(cc, nullptr)));
  EXPECT_EQ(3u, cc->ft->getPropertyCount(cc, nullptr));
  EXPECT_EQ("Label", take(cc->ft->getPropertyNameAt(cc, 2, nullptr)));
  EXPECT_EQ(2u, cc->ft->getMethodCount(cc, nullptr));
  EXPECT_EQ(CMPI_RC_OK, +cc->ft->release(cc).rc);  // leak-free release of everything
}

TEST(ConstClass, GettersHandOutNewStrings) {
  CMPIConstClass *cc = filled_class();
  CMPIString *a = cc->ft->getClassName(cc, nullptr);
  CMPIString *b = cc->ft->getClassName(cc, nullptr);
  EXPECT_NE(a, b);
  EXPECT_NE(static_cast<const void *>(record_of(cc)->className), +a->hdl);
  take(a);
  take(b);
  CMPIString *p1 = cc->ft->getPropertyNameAt(cc, 0, nullptr);
  CMPIString *p2 = cc->ft->getPropertyNameAt(cc, 0, nullptr);
  EXPECT_NE(p1, p2);
  take(p1);
  // The class still answers after a handed-out name is gone.
  EXPECT_EQ("DeviceID", take(p2));
  EXPECT_EQ("DeviceID", take(cc->ft->getPropertyNameAt(cc, 0, nullptr)));
  cc->ft->release(cc);
}

TEST(ConstClass, IndexPastTheEndGivesNoSuchProperty) {
  CMPIConstClass *cc = filled_class();
  CMPIStatus rc = unset_status();
  EXPECT_EQ(nullptr, cc->ft->getPropertyNameAt(cc, 3, &rc));
  EXPECT_EQ(CMPI_RC_ERR_NO_SUCH_PROPERTY, +rc.rc);
  rc = unset_status();
  EXPECT_EQ(nullptr, cc->ft->getMethodNameAt(cc, 2, &rc));
  EXPECT_EQ(CMPI_RC_ERR_NO_SUCH_PROPERTY, +rc.rc);
  EXPECT_EQ(nullptr, cc->ft->getMethodNameAt(cc, 100, nullptr));
  cc->ft->release(cc);
}

TEST(ConstClass, PartsNeverFilledReadAsNullOrZero) {
  CMPIConstClass *cc = makeNewCMPIClass(nullptr);
  cc->hdl = calloc(1, sizeof(CMPIClassRecord));
  CMPIStatus rc = unset_status();
  EXPECT_EQ(nullptr, cc->ft->getClassName(cc, &rc));
  EXPECT_EQ(CMPI_RC_OK, +rc.rc);
  rc = unset_status();
  EXPECT_EQ(nullptr, cc->ft->getNameSpace(cc, &rc));
  EXPECT_EQ(CMPI_RC_OK, +rc.rc);
  rc = unset_status();
  EXPECT_EQ(0u, cc->ft->getPropertyCount(cc, &rc));
  EXPECT_EQ(CMPI_RC_OK, +rc.rc);
  rc = unset_status();
  EXPECT_EQ(0u, cc->ft->getMethodCount(cc, &rc));
  EXPECT_EQ(CMPI_RC_OK, +rc.rc);
  rc = unset_status();
  EXPECT_EQ(nullptr, cc->ft->getPropertyNameAt(cc, 0, &rc));
  EXPECT_EQ(CMPI_RC_ERR_NO_SUCH_PROPERTY, +rc.rc);
  rc = unset_status();
  EXPECT_EQ(nullptr, cc->ft->getMethodNameAt(cc, 0, &rc));
  EXPECT_EQ(CMPI_RC_ERR_NO_SUCH_PROPERTY, +rc.rc);
  // An empty record clones and releases too.
  CMPIConstClass *copy = cc->ft->clone(cc, &rc);
  ASSERT_NE(nullptr, copy);
  EXPECT_EQ(nullptr, cc->ft->getClassName(copy, nullptr));
  copy->ft->release(copy);
  EXPECT_EQ(CMPI_RC_OK, +cc->ft->release(cc).rc);
}

TEST(ConstClass, NamesOfAnotherTypeGiveTypeMismatch) {
  CMPIConstClass *cc = makeNewCMPIClass(nullptr);
  CMPIClassRecord *record = static_cast<CMPIClassRecord *>(calloc(1, sizeof(CMPIClassRecord)));
  CMPIArray *numbers = makeNewCMPIArray(1, CMPI_uint32, nullptr);
  const CMPIUint32 n = 5;
  numbers->ft->setElementAt(numbers, 0, reinterpret_cast<const CMPIValue *>(&n), CMPI_uint32);
  record->propertyNames = numbers;
  record->methodNames = parameters_array();  // instances, not names
  cc->hdl = record;
  CMPIStatus rc = unset_status();
  EXPECT_EQ(1u, cc->ft->getPropertyCount(cc, nullptr));
  EXPECT_EQ(nullptr, cc->ft->getPropertyNameAt(cc, 0, &rc));
  EXPECT_EQ(CMPI_RC_ERR_TYPE_MISMATCH, +rc.rc);
  rc = unset_status();
  EXPECT_EQ(nullptr, cc->ft->getMethodNameAt(cc, 0, &rc));
  EXPECT_EQ(CMPI_RC_ERR_TYPE_MISMATCH, +rc.rc);
  cc->ft->release(cc);
}

TEST(ConstClass, NullNameElementReadsAsNullWithOk) {
  CMPIConstClass *cc = makeNewCMPIClass(nullptr);
  CMPIClassRecord *record = static_cast<CMPIClassRecord *>(calloc(1, sizeof(CMPIClassRecord)));
  record->propertyNames = makeNewCMPIArray(2, CMPI_string, nullptr);  // elements start null
  cc->hdl = record;
  CMPIStatus rc = unset_status();
  EXPECT_EQ(nullptr, cc->ft->getPropertyNameAt(cc, 1, &rc));
  EXPECT_EQ(CMPI_RC_OK, +rc.rc);
  cc->ft->release(cc);
}

TEST(ConstClass, CloneIsDeepAndIndependent) {
  CMPIConstClass *cc = filled_class();
  CMPIStatus rc = unset_status();
  CMPIConstClass *copy = cc->ft->clone(cc, &rc);
  EXPECT_EQ(CMPI_RC_OK, +rc.rc);
  ASSERT_NE(nullptr, copy);
  EXPECT_NE(copy, cc);
  EXPECT_EQ(+cc->ft, +copy->ft);
  const CMPIClassRecord *original = record_of(cc);
  const CMPIClassRecord *copied = record_of(copy);
  ASSERT_NE(nullptr, copied);
  EXPECT_NE(original, copied);
  EXPECT_NE(original->className, copied->className);
  EXPECT_NE(original->nameSpace, copied->nameSpace);
  EXPECT_NE(original->propertyNames, copied->propertyNames);
  EXPECT_NE(original->methodNames, copied->methodNames);
  EXPECT_NE(original->methodParameters, copied->methodParameters);
  EXPECT_STREQ("Demo_Fan", copied->className);
  ASSERT_NE(nullptr, copied->methodParameters);
  EXPECT_EQ(1u, copied->methodParameters->ft->getSize(copied->methodParameters, nullptr));

  // Changing the original's record leaves the clone as it was.
  CMPIClassRecord *mutable_original = record_of(cc);
  mutable_original->className[0] = 'X';
  mutable_original->propertyNames->ft->setElementAt(
      mutable_original->propertyNames, 0, reinterpret_cast<const CMPIValue *>("Changed"),
      CMPI_chars);
  EXPECT_EQ("Demo_Fan", take(copy->ft->getClassName(copy, nullptr)));
  EXPECT_EQ("DeviceID", take(copy->ft->getPropertyNameAt(copy, 0, nullptr)));

  // Releasing the original leaves the clone valid.
  cc->ft->release(cc);
  EXPECT_EQ("root/cimv2", take(copy->ft->getNameSpace(copy, nullptr)));
  EXPECT_EQ(3u, copy->ft->getPropertyCount(copy, nullptr));
  EXPECT_EQ("Reset", take(copy->ft->getMethodNameAt(copy, 1, nullptr)));
  EXPECT_EQ(CMPI_RC_OK, +copy->ft->release(copy).rc);
}

TEST(ConstClass, NullHandleGivesInvalidHandle) {
  CMPIConstClass *unfilled = makeNewCMPIClass(nullptr);
  const CMPIConstClassFT *ft = unfilled->ft;
  for (CMPIConstClass *bad : {unfilled, static_cast<CMPIConstClass *>(nullptr)}) {
    CMPIStatus rc = unset_status();
    EXPECT_EQ(nullptr, ft->clone(bad, &rc));
    EXPECT_EQ(CMPI_RC_ERR_INVALID_HANDLE, +rc.rc);
    rc = unset_status();
    EXPECT_EQ(nullptr, ft->getClassName(bad, &rc));
    EXPECT_EQ(CMPI_RC_ERR_INVALID_HANDLE, +rc.rc);
    rc = unset_status();
    EXPECT_EQ(nullptr, ft->getNameSpace(bad, &rc));
    EXPECT_EQ(CMPI_RC_ERR_INVALID_HANDLE, +rc.rc);
    rc = unset_status();
    EXPECT_EQ(0u, ft->getPropertyCount(bad, &rc));
    EXPECT_EQ(CMPI_RC_ERR_INVALID_HANDLE, +rc.rc);
    rc = unset_status();
    EXPECT_EQ(nullptr, ft->getPropertyNameAt(bad, 0, &rc));
    EXPECT_EQ(CMPI_RC_ERR_INVALID_HANDLE, +rc.rc);
    rc = unset_status();
    EXPECT_EQ(0u, ft->getMethodCount(bad, &rc));
    EXPECT_EQ(CMPI_RC_ERR_INVALID_HANDLE, +rc.rc);
    rc = unset_status();
    EXPECT_EQ(nullptr, ft->getMethodNameAt(bad, 0, &rc));
    EXPECT_EQ(CMPI_RC_ERR_INVALID_HANDLE, +rc.rc);
    EXPECT_EQ(nullptr, ft->clone(bad, nullptr));
    EXPECT_EQ(nullptr, ft->getClassName(bad, nullptr));
    EXPECT_EQ(0u, ft->getMethodCount(bad, nullptr));
  }
  EXPECT_EQ(CMPI_RC_ERR_INVALID_HANDLE, +ft->release(nullptr).rc);
  free(unfilled);
}

}  // namespace
