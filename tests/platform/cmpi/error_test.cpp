// Tests of CMPIError: the constructor, every getter and setter of its table, caller-owned
// results, copying setters and clone independence.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "cmpiinterface.h"
#include "objects.h"
#include "value_sweep.h"

namespace {

using namespace cmpitest;

CMPIArray *string_array(const std::vector<const char *> &texts) {
  CMPIArray *array = makeNewCMPIArray(static_cast<CMPICount>(texts.size()), CMPI_string, nullptr);
  for (CMPICount i = 0; i < texts.size(); ++i) {
    array->ft->setElementAt(array, i, reinterpret_cast<const CMPIValue *>(texts[i]), CMPI_chars);
  }
  return array;
}

// The texts of a caller-owned array of strings, which is released. "<null>" for no array.
std::string take_array(CMPIArray *array) {
  if (array == nullptr) {
    return "<null>";
  }
  std::string joined;
  const CMPICount size = array->ft->getSize(array, nullptr);
  for (CMPICount i = 0; i < size; ++i) {
    CMPIData d = array->ft->getElementAt(array, i, nullptr);
    joined += (i == 0 ? "" : "|") + text_of(+d.value.string);
    if ((d.state & CMPI_nullValue) == 0) {
      cmpiReleaseCMPIValue(d.type, &d.value);
    }
  }
  EXPECT_EQ(CMPI_RC_OK, +array->ft->release(array).rc);
  return joined;
}

CMPIError *new_demo_error() {
  CMPIStatus rc = unset_status();
  CMPIError *er = cmpi::new_error("Demo", "DEMO0001", "The fan stopped", ErrorSevHigh,
                                  static_cast<CMPIErrorProbableCause>(42),
                                  CMPI_RC_ERR_NOT_FOUND, &rc);
  EXPECT_EQ(CMPI_RC_OK, +rc.rc);
  return er;
}

TEST(Error, ConstructorSetsTheGivenPartsAndDefaults) {
  CMPIError *er = new_demo_error();
  ASSERT_NE(nullptr, er);
  EXPECT_NE(nullptr, +er->hdl);
  EXPECT_EQ(cmpi::error_table(), +er->ft);
  CMPIStatus rc = unset_status();
  EXPECT_EQ("Demo", take(er->ft->getOwningEntity(er, &rc)));
  EXPECT_EQ(CMPI_RC_OK, +rc.rc);
  EXPECT_EQ("DEMO0001", take(er->ft->getMessageID(er, &rc)));
  EXPECT_EQ("The fan stopped", take(er->ft->getMessage(er, &rc)));
  rc = unset_status();
  EXPECT_EQ(ErrorSevHigh, er->ft->getPerceivedSeverity(er, &rc));
  EXPECT_EQ(CMPI_RC_OK, +rc.rc);
  rc = unset_status();
  EXPECT_EQ(42, er->ft->getProbableCause(er, &rc));
  EXPECT_EQ(CMPI_RC_OK, +rc.rc);
  rc = unset_status();
  EXPECT_EQ(CMPI_RC_ERR_NOT_FOUND, er->ft->getCIMStatusCode(er, &rc));
  EXPECT_EQ(CMPI_RC_OK, +rc.rc);
  rc = unset_status();
  EXPECT_EQ(UnknownErrorType, er->ft->getErrorType(er, &rc));
  EXPECT_EQ(CMPI_RC_OK, +rc.rc);
  rc = unset_status();
  EXPECT_EQ(CMPIErrSrcUnknown, er->ft->getErrorSourceFormat(er, &rc));
  EXPECT_EQ(CMPI_RC_OK, +rc.rc);

  // Parts never set read as NULL with CMPI_RC_OK.
  CMPIString *(*const text_getters[])(const CMPIError *, CMPIStatus *) = {
      er->ft->getOtherErrorType, er->ft->getProbableCauseDescription, er->ft->getErrorSource,
      er->ft->getOtherErrorSourceFormat, er->ft->getCIMStatusCodeDescription};
  for (auto getter : text_getters) {
    rc = unset_status();
    EXPECT_EQ(nullptr, getter(er, &rc));
    EXPECT_EQ(CMPI_RC_OK, +rc.rc);
  }
  rc = unset_status();
  EXPECT_EQ(nullptr, er->ft->getRecommendedActions(er, &rc));
  EXPECT_EQ(CMPI_RC_OK, +rc.rc);
  rc = unset_status();
  EXPECT_EQ(nullptr, er->ft->getMessageArguments(er, &rc));
  EXPECT_EQ(CMPI_RC_OK, +rc.rc);
  EXPECT_EQ(CMPI_RC_OK, +er->ft->release(er).rc);
}

TEST(Error, ConstructorAcceptsMissingTextsAndNullRc) {
  CMPIError *er = cmpi::new_error(nullptr, nullptr, nullptr, ErrorSevLow, ErrorProbCauseOther,
                                  CMPI_RC_ERR_FAILED, nullptr);
  ASSERT_NE(nullptr, er);
  CMPIStatus rc = unset_status();
  EXPECT_EQ(nullptr, er->ft->getOwningEntity(er, &rc));
  EXPECT_EQ(CMPI_RC_OK, +rc.rc);
  EXPECT_EQ(nullptr, er->ft->getMessageID(er, nullptr));
  EXPECT_EQ(nullptr, er->ft->getMessage(er, nullptr));
  EXPECT_EQ(ErrorSevLow, er->ft->getPerceivedSeverity(er, nullptr));
  EXPECT_EQ(ErrorProbCauseOther, er->ft->getProbableCause(er, nullptr));
  EXPECT_EQ(CMPI_RC_ERR_FAILED, er->ft->getCIMStatusCode(er, nullptr));
  er->ft->release(er);
}

TEST(Error, TableVersionAndEverySlotSet) {
  const CMPIErrorFT *ft = cmpi::error_table();
  EXPECT_EQ(CMPICurrentVersion, +ft->ftVersion);
  EXPECT_TRUE(ft->release != nullptr);
  EXPECT_TRUE(ft->clone != nullptr);
  EXPECT_TRUE(ft->getErrorType != nullptr);
  EXPECT_TRUE(ft->getOtherErrorType != nullptr);
  EXPECT_TRUE(ft->getOwningEntity != nullptr);
  EXPECT_TRUE(ft->getMessageID != nullptr);
  EXPECT_TRUE(ft->getMessage != nullptr);
  EXPECT_TRUE(ft->getPerceivedSeverity != nullptr);
  EXPECT_TRUE(ft->getProbableCause != nullptr);
  EXPECT_TRUE(ft->getProbableCauseDescription != nullptr);
  EXPECT_TRUE(ft->getRecommendedActions != nullptr);
  EXPECT_TRUE(ft->getErrorSource != nullptr);
  EXPECT_TRUE(ft->getErrorSourceFormat != nullptr);
  EXPECT_TRUE(ft->getOtherErrorSourceFormat != nullptr);
  EXPECT_TRUE(ft->getCIMStatusCode != nullptr);
  EXPECT_TRUE(ft->getCIMStatusCodeDescription != nullptr);
  EXPECT_TRUE(ft->getMessageArguments != nullptr);
  EXPECT_TRUE(ft->setErrorType != nullptr);
  EXPECT_TRUE(ft->setOtherErrorType != nullptr);
  EXPECT_TRUE(ft->setProbableCauseDescription != nullptr);
  EXPECT_TRUE(ft->setRecommendedActions != nullptr);
  EXPECT_TRUE(ft->setErrorSource != nullptr);
  EXPECT_TRUE(ft->setErrorSourceFormat != nullptr);
  EXPECT_TRUE(ft->setOtherErrorSourceFormat != nullptr);
  EXPECT_TRUE(ft->setCIMStatusCodeDescription != nullptr);
  EXPECT_TRUE(ft->setMessageArguments != nullptr);
}

TEST(Error, EverySetterIsReadBackByItsGetter) {
  CMPIError *er = new_demo_error();
  EXPECT_EQ(CMPI_RC_OK, +er->ft->setErrorType(er, SoftwareError).rc);
  EXPECT_EQ(CMPI_RC_OK, +er->ft->setOtherErrorType(er, "Fan firmware").rc);
  EXPECT_EQ(CMPI_RC_OK, +er->ft->setProbableCauseDescription(er, "Bearing worn").rc);
  CMPIArray *actions = string_array({"Replace fan", "Call support"});
  EXPECT_EQ(CMPI_RC_OK, +er->ft->setRecommendedActions(er, actions).rc);
  EXPECT_EQ(CMPI_RC_OK, +er->ft->setErrorSource(er, "root/cimv2:Demo_Fan.DeviceID=fan0").rc);
  EXPECT_EQ(CMPI_RC_OK, +er->ft->setErrorSourceFormat(er, CIMObjectHandle).rc);
  EXPECT_EQ(CMPI_RC_OK, +er->ft->setOtherErrorSourceFormat(er, "Path text").rc);
  EXPECT_EQ(CMPI_RC_OK, +er->ft->setCIMStatusCodeDescription(er, "Not found").rc);
  CMPIArray *arguments = string_array({"fan0", "4200"});
  EXPECT_EQ(CMPI_RC_OK, +er->ft->setMessageArguments(er, arguments).rc);

  // The setters copied: the caller's arrays may change or go.
  actions->ft->setElementAt(actions, 0, reinterpret_cast<const CMPIValue *>("Changed"),
                            CMPI_chars);
  actions->ft->release(actions);
  arguments->ft->release(arguments);

  CMPIStatus rc = unset_status();
  EXPECT_EQ(SoftwareError, er->ft->getErrorType(er, &rc));
  EXPECT_EQ(CMPI_RC_OK, +rc.rc);
  EXPECT_EQ("Fan firmware", take(er->ft->getOtherErrorType(er, &rc)));
  EXPECT_EQ("Bearing worn", take(er->ft->getProbableCauseDescription(er, &rc)));
  rc = unset_status();
  EXPECT_EQ("Replace fan|Call support", take_array(er->ft->getRecommendedActions(er, &rc)));
  EXPECT_EQ(CMPI_RC_OK, +rc.rc);
  EXPECT_EQ("root/cimv2:Demo_Fan.DeviceID=fan0", take(er->ft->getErrorSource(er, nullptr)));
  EXPECT_EQ(CIMObjectHandle, er->ft->getErrorSourceFormat(er, nullptr));
  EXPECT_EQ("Path text", take(er->ft->getOtherErrorSourceFormat(er, nullptr)));
  EXPECT_EQ("Not found", take(er->ft->getCIMStatusCodeDescription(er, nullptr)));
  rc = unset_status();
  EXPECT_EQ("fan0|4200", take_array(er->ft->getMessageArguments(er, &rc)));
  EXPECT_EQ(CMPI_RC_OK, +rc.rc);
  er->ft->release(er);
}

TEST(Error, GettersHandOutNewObjectsEachTime) {
  CMPIError *er = new_demo_error();
  CMPIArray *actions = string_array({"a"});
  er->ft->setRecommendedActions(er, actions);
  er->ft->setMessageArguments(er, actions);
  actions->ft->release(actions);
  CMPIString *m1 = er->ft->getMessage(er, nullptr);
  CMPIString *m2 = er->ft->getMessage(er, nullptr);
  EXPECT_NE(m1, m2);
  take(m1);
  take(m2);
  CMPIArray *a1 = er->ft->getRecommendedActions(er, nullptr);
  CMPIArray *a2 = er->ft->getRecommendedActions(er, nullptr);
  EXPECT_NE(a1, a2);
  EXPECT_EQ("a", take_array(a1));
  EXPECT_EQ("a", take_array(a2));
  CMPIArray *g1 = er->ft->getMessageArguments(er, nullptr);
  CMPIArray *g2 = er->ft->getMessageArguments(er, nullptr);
  EXPECT_NE(g1, g2);
  take_array(g1);
  take_array(g2);
  er->ft->release(er);
}

TEST(Error, SettingNullUnsetsAPart) {
  CMPIError *er = new_demo_error();
  CMPIArray *actions = string_array({"a"});
  er->ft->setOtherErrorType(er, "x");
  er->ft->setProbableCauseDescription(er, "x");
  er->ft->setErrorSource(er, "x");
  er->ft->setOtherErrorSourceFormat(er, "x");
  er->ft->setCIMStatusCodeDescription(er, "x");
  er->ft->setRecommendedActions(er, actions);
  er->ft->setMessageArguments(er, actions);
  actions->ft->release(actions);
  EXPECT_EQ(CMPI_RC_OK, +er->ft->setOtherErrorType(er, nullptr).rc);
  EXPECT_EQ(CMPI_RC_OK, +er->ft->setProbableCauseDescription(er, nullptr).rc);
  EXPECT_EQ(CMPI_RC_OK, +er->ft->setErrorSource(er, nullptr).rc);
  EXPECT_EQ(CMPI_RC_OK, +er->ft->setOtherErrorSourceFormat(er, nullptr).rc);
  EXPECT_EQ(CMPI_RC_OK, +er->ft->setCIMStatusCodeDescription(er, nullptr).rc);
  EXPECT_EQ(CMPI_RC_OK, +er->ft->setRecommendedActions(er, nullptr).rc);
  EXPECT_EQ(CMPI_RC_OK, +er->ft->setMessageArguments(er, nullptr).rc);
  EXPECT_EQ(nullptr, er->ft->getOtherErrorType(er, nullptr));
  EXPECT_EQ(nullptr, er->ft->getProbableCauseDescription(er, nullptr));
  EXPECT_EQ(nullptr, er->ft->getErrorSource(er, nullptr));
  EXPECT_EQ(nullptr, er->ft->getOtherErrorSourceFormat(er, nullptr));
  EXPECT_EQ(nullptr, er->ft->getCIMStatusCodeDescription(er, nullptr));
  EXPECT_EQ(nullptr, er->ft->getRecommendedActions(er, nullptr));
  EXPECT_EQ(nullptr, er->ft->getMessageArguments(er, nullptr));
  er->ft->release(er);
}

TEST(Error, ArraySetterRefusesAnArrayWithoutHandle) {
  CMPIError *er = new_demo_error();
  CMPIArray *actions = string_array({"kept"});
  er->ft->setRecommendedActions(er, actions);
  CMPIArray no_handle = {nullptr, actions->ft};
  EXPECT_EQ(CMPI_RC_ERR_INVALID_HANDLE, +er->ft->setRecommendedActions(er, &no_handle).rc);
  EXPECT_EQ(CMPI_RC_ERR_INVALID_HANDLE, +er->ft->setMessageArguments(er, &no_handle).rc);
  EXPECT_EQ("kept", take_array(er->ft->getRecommendedActions(er, nullptr)));
  actions->ft->release(actions);
  er->ft->release(er);
}

TEST(Error, CloneIsDeepAndIndependent) {
  CMPIError *er = new_demo_error();
  er->ft->setErrorType(er, HardwareError);
  er->ft->setOtherErrorType(er, "other");
  er->ft->setErrorSource(er, "source");
  er->ft->setErrorSourceFormat(er, CMPIErrSrcOther);
  er->ft->setOtherErrorSourceFormat(er, "format");
  er->ft->setProbableCauseDescription(er, "cause");
  er->ft->setCIMStatusCodeDescription(er, "status");
  CMPIArray *actions = string_array({"act"});
  er->ft->setRecommendedActions(er, actions);
  er->ft->setMessageArguments(er, actions);
  actions->ft->release(actions);

  CMPIStatus rc = unset_status();
  CMPIError *copy = er->ft->clone(er, &rc);
  EXPECT_EQ(CMPI_RC_OK, +rc.rc);
  ASSERT_NE(nullptr, copy);
  EXPECT_NE(copy, er);

  copy->ft->setErrorType(copy, SecurityError);
  copy->ft->setOtherErrorType(copy, "changed");
  CMPIArray *replacement = string_array({"new"});
  copy->ft->setRecommendedActions(copy, replacement);
  replacement->ft->release(replacement);
  EXPECT_EQ(HardwareError, er->ft->getErrorType(er, nullptr));
  EXPECT_EQ("other", take(er->ft->getOtherErrorType(er, nullptr)));
  EXPECT_EQ("act", take_array(er->ft->getRecommendedActions(er, nullptr)));

  er->ft->release(er);
  EXPECT_EQ(SecurityError, copy->ft->getErrorType(copy, nullptr));
  EXPECT_EQ("changed", take(copy->ft->getOtherErrorType(copy, nullptr)));
  EXPECT_EQ("Demo", take(copy->ft->getOwningEntity(copy, nullptr)));
  EXPECT_EQ("DEMO0001", take(copy->ft->getMessageID(copy, nullptr)));
  EXPECT_EQ("The fan stopped", take(copy->ft->getMessage(copy, nullptr)));
  EXPECT_EQ(ErrorSevHigh, copy->ft->getPerceivedSeverity(copy, nullptr));
  EXPECT_EQ(42, copy->ft->getProbableCause(copy, nullptr));
  EXPECT_EQ("cause", take(copy->ft->getProbableCauseDescription(copy, nullptr)));
  EXPECT_EQ("new", take_array(copy->ft->getRecommendedActions(copy, nullptr)));
  EXPECT_EQ("source", take(copy->ft->getErrorSource(copy, nullptr)));
  EXPECT_EQ(CMPIErrSrcOther, copy->ft->getErrorSourceFormat(copy, nullptr));
  EXPECT_EQ("format", take(copy->ft->getOtherErrorSourceFormat(copy, nullptr)));
  EXPECT_EQ(CMPI_RC_ERR_NOT_FOUND, copy->ft->getCIMStatusCode(copy, nullptr));
  EXPECT_EQ("status", take(copy->ft->getCIMStatusCodeDescription(copy, nullptr)));
  EXPECT_EQ("act", take_array(copy->ft->getMessageArguments(copy, nullptr)));
  EXPECT_EQ(CMPI_RC_OK, +copy->ft->release(copy).rc);
}

TEST(Error, NullHandleGivesInvalidHandleOnEverySlot) {
  const CMPIErrorFT *ft = cmpi::error_table();
  CMPIError no_handle = {nullptr, const_cast<CMPIErrorFT *>(ft)};
  CMPIArray *array = string_array({"a"});
  for (CMPIError *bad : {&no_handle, static_cast<CMPIError *>(nullptr)}) {
    EXPECT_EQ(CMPI_RC_ERR_INVALID_HANDLE, +ft->release(bad).rc);
    CMPIStatus rc = unset_status();
    EXPECT_EQ(nullptr, ft->clone(bad, &rc));
    EXPECT_EQ(CMPI_RC_ERR_INVALID_HANDLE, +rc.rc);

    rc = unset_status();
    EXPECT_EQ(UnknownErrorType, ft->getErrorType(bad, &rc));
    EXPECT_EQ(CMPI_RC_ERR_INVALID_HANDLE, +rc.rc);
    rc = unset_status();
    EXPECT_EQ(ErrorSevUnknown, ft->getPerceivedSeverity(bad, &rc));
    EXPECT_EQ(CMPI_RC_ERR_INVALID_HANDLE, +rc.rc);
    rc = unset_status();
    EXPECT_EQ(ErrorProbCauseUnknown, ft->getProbableCause(bad, &rc));
    EXPECT_EQ(CMPI_RC_ERR_INVALID_HANDLE, +rc.rc);
    rc = unset_status();
    EXPECT_EQ(CMPIErrSrcUnknown, ft->getErrorSourceFormat(bad, &rc));
    EXPECT_EQ(CMPI_RC_ERR_INVALID_HANDLE, +rc.rc);
    rc = unset_status();
    EXPECT_EQ(CMPI_RC_OK, ft->getCIMStatusCode(bad, &rc));
    EXPECT_EQ(CMPI_RC_ERR_INVALID_HANDLE, +rc.rc);

    CMPIString *(*const text_getters[])(const CMPIError *, CMPIStatus *) = {
        ft->getOtherErrorType,           ft->getOwningEntity,
        ft->getMessageID,                ft->getMessage,
        ft->getProbableCauseDescription, ft->getErrorSource,
        ft->getOtherErrorSourceFormat,   ft->getCIMStatusCodeDescription};
    for (auto getter : text_getters) {
      rc = unset_status();
      EXPECT_EQ(nullptr, getter(bad, &rc));
      EXPECT_EQ(CMPI_RC_ERR_INVALID_HANDLE, +rc.rc);
      EXPECT_EQ(nullptr, getter(bad, nullptr));
    }
    rc = unset_status();
    EXPECT_EQ(nullptr, ft->getRecommendedActions(bad, &rc));
    EXPECT_EQ(CMPI_RC_ERR_INVALID_HANDLE, +rc.rc);
    rc = unset_status();
    EXPECT_EQ(nullptr, ft->getMessageArguments(bad, &rc));
    EXPECT_EQ(CMPI_RC_ERR_INVALID_HANDLE, +rc.rc);

    EXPECT_EQ(CMPI_RC_ERR_INVALID_HANDLE, +ft->setErrorType(bad, SoftwareError).rc);
    EXPECT_EQ(CMPI_RC_ERR_INVALID_HANDLE, +ft->setOtherErrorType(bad, "x").rc);
    EXPECT_EQ(CMPI_RC_ERR_INVALID_HANDLE, +ft->setProbableCauseDescription(bad, "x").rc);
    EXPECT_EQ(CMPI_RC_ERR_INVALID_HANDLE, +ft->setRecommendedActions(bad, array).rc);
    EXPECT_EQ(CMPI_RC_ERR_INVALID_HANDLE, +ft->setErrorSource(bad, "x").rc);
    EXPECT_EQ(CMPI_RC_ERR_INVALID_HANDLE, +ft->setErrorSourceFormat(bad, CMPIErrSrcOther).rc);
    EXPECT_EQ(CMPI_RC_ERR_INVALID_HANDLE, +ft->setOtherErrorSourceFormat(bad, "x").rc);
    EXPECT_EQ(CMPI_RC_ERR_INVALID_HANDLE, +ft->setCIMStatusCodeDescription(bad, "x").rc);
    EXPECT_EQ(CMPI_RC_ERR_INVALID_HANDLE, +ft->setMessageArguments(bad, array).rc);

    // rc may be NULL.
    EXPECT_EQ(nullptr, ft->clone(bad, nullptr));
    EXPECT_EQ(UnknownErrorType, ft->getErrorType(bad, nullptr));
    EXPECT_EQ(nullptr, ft->getRecommendedActions(bad, nullptr));
  }
  array->ft->release(array);
}

}  // namespace
