// result_test.cpp - CMPIResult: what is returned into it, the collection handed out by
// cmpiConvertResult2Array, and every ResultFT slot.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "cmpiinterface.h"
#include "objects.h"
#include "value_sweep.h"

namespace {

using namespace cmpitest;

CMPIStatus return_data(CMPIResult *r, const void *value, CMPIType type) {
  return r->ft->returnData(r, static_cast<const CMPIValue *>(value), type);
}

TEST(MakeNewCMPIResult, StartsUntouched) {
  CMPIStatus rc;
  CMPIResult *r = makeNewCMPIResult(&rc);
  ASSERT_NE(r, nullptr);
  EXPECT_EQ(rc.rc, CMPI_RC_OK);
  EXPECT_NE(r->hdl, nullptr);
  EXPECT_EQ(r->ft, cmpi::result_table());
  EXPECT_EQ(r->ft->ftVersion, CMPICurrentVersion);
  EXPECT_EQ(cmpiConvertResult2Array(r), nullptr);  // nothing returned, not finished
  EXPECT_EQ(r->ft->release(r).rc, CMPI_RC_OK);
  CMPIResult *no_rc = makeNewCMPIResult(nullptr);
  ASSERT_NE(no_rc, nullptr);
  no_rc->ft->release(no_rc);
}

TEST(ResultDone, OnAnEmptyResultGivesAnEmptyArray) {
  CMPIResult *r = makeNewCMPIResult(nullptr);
  EXPECT_EQ(r->ft->returnDone(r).rc, CMPI_RC_OK);
  CMPIArray *a = cmpiConvertResult2Array(r);
  ASSERT_NE(a, nullptr);
  EXPECT_EQ(a->ft->getSize(a, nullptr), 0u);
  EXPECT_EQ(a->ft->getSimpleType(a, nullptr), CMPI_null);
  EXPECT_EQ(r->ft->returnDone(r).rc, CMPI_RC_OK);  // again: the same collection
  EXPECT_EQ(cmpiConvertResult2Array(r), a);
  r->ft->release(r);  // the collection belongs to the result
}

TEST(ResultDone, FirstItemAfterDoneFixesTheType) {
  CMPIResult *r = makeNewCMPIResult(nullptr);
  r->ft->returnDone(r);
  CMPIArray *a = cmpiConvertResult2Array(r);
  CMPIUint16 x = 5;
  EXPECT_EQ(return_data(r, &x, CMPI_uint16).rc, CMPI_RC_OK);  // still collected after done
  EXPECT_EQ(cmpiConvertResult2Array(r), a);
  EXPECT_EQ(a->ft->getSimpleType(a, nullptr), CMPI_uint16);
  EXPECT_EQ(a->ft->getSize(a, nullptr), 1u);
  EXPECT_EQ(val(a->ft->getElementAt(a, 0, nullptr).value.uint16), 5);
  r->ft->release(r);
}

TEST(ResultData, EveryScalarType) {
  struct Case {
    CMPIType type;
    CMPIUint64 bits;
    size_t width;
  } cases[] = {
      {CMPI_boolean, 1, 1},        {CMPI_char16, 'Z', 2},
      {CMPI_uint8, 200, 1},        {CMPI_uint16, 60000, 2},
      {CMPI_uint32, 4000000000u, 4}, {CMPI_uint64, 18446744073709551615ull, 8},
      {CMPI_sint8, 0x80, 1},       {CMPI_sint16, 0x8000, 2},
      {CMPI_sint32, 0xFFFFFFFBu, 4}, {CMPI_sint64, 0x8000000000000000ull, 8},
  };
  for (const Case &c : cases) {
    CMPIResult *r = makeNewCMPIResult(nullptr);
    unsigned char plain[8];
    std::memcpy(plain, &c.bits, sizeof(plain));  // little-endian: the low bytes first
    EXPECT_EQ(return_data(r, plain, c.type).rc, CMPI_RC_OK) << c.type;
    EXPECT_EQ(return_data(r, plain, c.type).rc, CMPI_RC_OK) << c.type;
    r->ft->returnDone(r);
    CMPIArray *a = cmpiConvertResult2Array(r);
    ASSERT_NE(a, nullptr);
    EXPECT_EQ(a->ft->getSimpleType(a, nullptr), c.type);
    ASSERT_EQ(a->ft->getSize(a, nullptr), 2u);
    const CMPIData d = a->ft->getElementAt(a, 1, nullptr);
    EXPECT_EQ(d.type, c.type);
    EXPECT_EQ(d.state, CMPI_goodValue);
    CMPIUint64 bits = 0;
    std::memcpy(&bits, &d.value, c.width);
    EXPECT_EQ(bits, c.bits) << c.type;
    r->ft->release(r);
  }
}

TEST(ResultData, Reals) {
  CMPIResult *r = makeNewCMPIResult(nullptr);
  CMPIReal32 f = 0.5f;
  EXPECT_EQ(return_data(r, &f, CMPI_real32).rc, CMPI_RC_OK);
  CMPIReal64 g = 0.25;
  EXPECT_EQ(return_data(r, &g, CMPI_real64).rc, CMPI_RC_ERR_TYPE_MISMATCH);
  CMPIArray *a = cmpiConvertResult2Array(r);
  EXPECT_EQ(val(a->ft->getElementAt(a, 0, nullptr).value.real32), 0.5f);
  r->ft->release(r);
  r = makeNewCMPIResult(nullptr);
  EXPECT_EQ(return_data(r, &g, CMPI_real64).rc, CMPI_RC_OK);
  a = cmpiConvertResult2Array(r);
  EXPECT_EQ(val(a->ft->getElementAt(a, 0, nullptr).value.real64), 0.25);
  r->ft->release(r);
}

TEST(ResultData, TextIsCopiedAndCharsComeBackAsStrings) {
  CMPIResult *r = makeNewCMPIResult(nullptr);
  char buffer[] = "first";
  EXPECT_EQ(return_data(r, buffer, CMPI_chars).rc, CMPI_RC_OK);
  buffer[0] = 'X';
  CMPIString *s = CreateString("second", nullptr);
  CMPIValue v;
  v.string = s;
  EXPECT_EQ(r->ft->returnData(r, &v, CMPI_string).rc, CMPI_RC_OK);
  s->ft->release(s);
  CMPIArray *a = cmpiConvertResult2Array(r);
  EXPECT_EQ(a->ft->getSimpleType(a, nullptr), CMPI_string);
  CMPIData d0 = a->ft->getElementAt(a, 0, nullptr);
  CMPIData d1 = a->ft->getElementAt(a, 1, nullptr);
  EXPECT_EQ(d0.type, CMPI_string);
  EXPECT_EQ(text_of(val(d0.value.string)), "first");
  EXPECT_EQ(text_of(val(d1.value.string)), "second");
  release_data(&d0);
  release_data(&d1);
  r->ft->release(r);
}

TEST(ResultData, DateTimeIsCloned) {
  CMPIResult *r = makeNewCMPIResult(nullptr);
  CMPIDateTime *dt = makeNewCMPIDateTimeFromChars("20240101000000.000000+000", nullptr);
  CMPIValue v;
  v.dateTime = dt;
  EXPECT_EQ(r->ft->returnData(r, &v, CMPI_dateTime).rc, CMPI_RC_OK);
  dt->ft->release(dt);
  CMPIArray *a = cmpiConvertResult2Array(r);
  CMPIData d = a->ft->getElementAt(a, 0, nullptr);
  EXPECT_EQ(d.type, CMPI_dateTime);
  EXPECT_EQ(cmpi::datetime_table()->getBinaryFormat(val(d.value.dateTime), nullptr),
            1704067200000000u);
  release_data(&d);
  r->ft->release(r);
}

TEST(ResultData, NullValueIsANullElement) {
  CMPIResult *r = makeNewCMPIResult(nullptr);
  EXPECT_EQ(r->ft->returnData(r, nullptr, CMPI_uint32).rc, CMPI_RC_OK);
  CMPIArray *a = cmpiConvertResult2Array(r);
  ASSERT_NE(a, nullptr);
  EXPECT_EQ(a->ft->getSimpleType(a, nullptr), CMPI_uint32);
  const CMPIData d = a->ft->getElementAt(a, 0, nullptr);
  EXPECT_EQ(d.type, CMPI_uint32);
  EXPECT_EQ(d.state, CMPI_nullValue);
  r->ft->release(r);
}

TEST(ResultData, ArraysAndUnknownTypesAreInvalidDataType) {
  CMPIResult *r = makeNewCMPIResult(nullptr);
  CMPIArray *inner = makeNewCMPIArray(1, CMPI_uint8, nullptr);
  CMPIValue v;
  v.array = inner;
  EXPECT_EQ(r->ft->returnData(r, &v, CMPI_uint8A).rc, CMPI_RC_ERR_INVALID_DATA_TYPE);
  CMPIUint32 x = 1;
  EXPECT_EQ(return_data(r, &x, 9999).rc, CMPI_RC_ERR_INVALID_DATA_TYPE);
  EXPECT_EQ(return_data(r, &x, CMPI_ptr).rc, CMPI_RC_ERR_INVALID_DATA_TYPE);
  EXPECT_EQ(cmpiConvertResult2Array(r), nullptr);  // a failed return leaves it untouched
  inner->ft->release(inner);
  r->ft->release(r);
}

TEST(ResultInstances, ReturnInstanceAppendsAClone) {
  CMPIObjectPath *op = makeNewObjectPath("root/cimv2", "Demo_Fan", nullptr);
  CMPIInstance *inst = makeNewCMPIInstance(op, nullptr);
  CMPIUint32 speed = 4200;
  inst->ft->setProperty(inst, "Speed", reinterpret_cast<CMPIValue *>(&speed), CMPI_uint32);
  CMPIResult *r = makeNewCMPIResult(nullptr);
  EXPECT_EQ(r->ft->returnInstance(r, inst).rc, CMPI_RC_OK);
  EXPECT_EQ(r->ft->returnInstance(r, inst).rc, CMPI_RC_OK);
  speed = 1;
  inst->ft->setProperty(inst, "Speed", reinterpret_cast<CMPIValue *>(&speed), CMPI_uint32);
  inst->ft->release(inst);  // the result holds its own copies
  EXPECT_EQ(r->ft->returnDone(r).rc, CMPI_RC_OK);
  CMPIArray *a = cmpiConvertResult2Array(r);
  EXPECT_EQ(a->ft->getSimpleType(a, nullptr), CMPI_instance);
  ASSERT_EQ(a->ft->getSize(a, nullptr), 2u);
  CMPIData d = a->ft->getElementAt(a, 0, nullptr);
  EXPECT_EQ(d.type, CMPI_instance);
  CMPIInstance *got = val(d.value.inst);
  EXPECT_EQ(val(got->ft->getProperty(got, "Speed", nullptr).value.uint32), 4200u);
  release_data(&d);
  // An object path after instances is another family.
  EXPECT_EQ(r->ft->returnObjectPath(r, op).rc, CMPI_RC_ERR_TYPE_MISMATCH);
  EXPECT_EQ(a->ft->getSize(a, nullptr), 2u);
  op->ft->release(op);
  r->ft->release(r);
}

TEST(ResultInstances, ReturnObjectPathAppendsARef) {
  CMPIObjectPath *op = makeNewObjectPath("root/cimv2", "Demo_Fan", nullptr);
  op->ft->addKey(op, "DeviceID", reinterpret_cast<const CMPIValue *>("fan0"), CMPI_chars);
  CMPIResult *r = makeNewCMPIResult(nullptr);
  EXPECT_EQ(r->ft->returnObjectPath(r, op).rc, CMPI_RC_OK);
  op->ft->release(op);
  CMPIArray *a = cmpiConvertResult2Array(r);
  ASSERT_NE(a, nullptr);
  EXPECT_EQ(a->ft->getSimpleType(a, nullptr), CMPI_ref);
  CMPIData d = a->ft->getElementAt(a, 0, nullptr);
  EXPECT_EQ(d.type, CMPI_ref);
  CMPIObjectPath *got = val(d.value.ref);
  CMPIString *s = got->ft->toString(got, nullptr);
  EXPECT_EQ(text_of(s), "root/cimv2:Demo_Fan.DeviceID=fan0");
  s->ft->release(s);
  release_data(&d);
  // An instance after object paths, or data of another type, is a mismatch.
  CMPIObjectPath *op2 = makeNewObjectPath("root/cimv2", "Demo_Fan", nullptr);
  CMPIInstance *inst = makeNewCMPIInstance(op2, nullptr);
  EXPECT_EQ(r->ft->returnInstance(r, inst).rc, CMPI_RC_ERR_TYPE_MISMATCH);
  EXPECT_EQ(return_data(r, "text", CMPI_chars).rc, CMPI_RC_ERR_TYPE_MISMATCH);
  // returnData with CMPI_ref is the same family as returnObjectPath.
  CMPIValue v;
  v.ref = op2;
  EXPECT_EQ(r->ft->returnData(r, &v, CMPI_ref).rc, CMPI_RC_OK);
  EXPECT_EQ(a->ft->getSize(a, nullptr), 2u);
  inst->ft->release(inst);
  op2->ft->release(op2);
  r->ft->release(r);
}

TEST(ResultInstances, NullOrInvalidObjectIsInvalidHandle) {
  CMPIResult *r = makeNewCMPIResult(nullptr);
  EXPECT_EQ(r->ft->returnInstance(r, nullptr).rc, CMPI_RC_ERR_INVALID_HANDLE);
  EXPECT_EQ(r->ft->returnObjectPath(r, nullptr).rc, CMPI_RC_ERR_INVALID_HANDLE);
  CMPIInstance bad_inst;
  bad_inst.hdl = nullptr;
  bad_inst.ft = const_cast<CMPIInstanceFT *>(cmpi::instance_table());
  EXPECT_EQ(r->ft->returnInstance(r, &bad_inst).rc, CMPI_RC_ERR_INVALID_HANDLE);
  CMPIObjectPath bad_op;
  bad_op.hdl = nullptr;
  bad_op.ft = const_cast<CMPIObjectPathFT *>(cmpi::object_path_table());
  EXPECT_EQ(r->ft->returnObjectPath(r, &bad_op).rc, CMPI_RC_ERR_INVALID_HANDLE);
  EXPECT_EQ(cmpiConvertResult2Array(r), nullptr);
  r->ft->release(r);
}

TEST(ResultMismatch, LaterItemOfAnotherFamilyIsTypeMismatch) {
  CMPIResult *r = makeNewCMPIResult(nullptr);
  CMPIUint32 x = 1;
  EXPECT_EQ(return_data(r, &x, CMPI_uint32).rc, CMPI_RC_OK);
  EXPECT_EQ(return_data(r, "one", CMPI_chars).rc, CMPI_RC_ERR_TYPE_MISMATCH);
  CMPISint32 y = -1;
  EXPECT_EQ(return_data(r, &y, CMPI_sint32).rc, CMPI_RC_ERR_TYPE_MISMATCH);
  EXPECT_EQ(return_data(r, &x, CMPI_uint32).rc, CMPI_RC_OK);
  CMPIArray *a = cmpiConvertResult2Array(r);
  EXPECT_EQ(a->ft->getSize(a, nullptr), 2u);
  r->ft->release(r);
}

TEST(ResultError, KeepsNothingAndAnswersOk) {
  CMPIResult *r = makeNewCMPIResult(nullptr);
  CMPIError *err = cmpi::new_error("owner", "MSG1", "failed", ErrorSevHigh, ErrorProbCauseOther,
                                   CMPI_RC_ERR_FAILED, nullptr);
  ASSERT_NE(err, nullptr);
  EXPECT_EQ(r->ft->returnError(r, err).rc, CMPI_RC_OK);
  EXPECT_EQ(r->ft->returnError(r, err).rc, CMPI_RC_OK);  // may come more than once
  EXPECT_EQ(r->ft->returnError(r, nullptr).rc, CMPI_RC_OK);
  EXPECT_EQ(cmpiConvertResult2Array(r), nullptr);
  err->ft->release(err);
  r->ft->release(r);
}

TEST(ResultClone, DeepAndIndependent) {
  CMPIResult *r = makeNewCMPIResult(nullptr);
  return_data(r, "a", CMPI_chars);
  CMPIStatus rc;
  CMPIResult *c = r->ft->clone(r, &rc);
  ASSERT_NE(c, nullptr);
  EXPECT_EQ(rc.rc, CMPI_RC_OK);
  EXPECT_NE(c, r);
  CMPIArray *ra = cmpiConvertResult2Array(r);
  CMPIArray *ca = cmpiConvertResult2Array(c);
  ASSERT_NE(ca, nullptr);
  EXPECT_NE(ca, ra);
  // Returning into the clone leaves the original alone.
  EXPECT_EQ(return_data(c, "b", CMPI_chars).rc, CMPI_RC_OK);
  EXPECT_EQ(ra->ft->getSize(ra, nullptr), 1u);
  // Releasing the original leaves the clone valid.
  r->ft->release(r);
  ASSERT_EQ(ca->ft->getSize(ca, nullptr), 2u);
  CMPIData d = ca->ft->getElementAt(ca, 0, nullptr);
  EXPECT_EQ(text_of(val(d.value.string)), "a");
  release_data(&d);
  c->ft->release(c);
}

TEST(ResultClone, KeepsUntouchedAndFinishedStates) {
  CMPIResult *untouched = makeNewCMPIResult(nullptr);
  CMPIResult *c1 = untouched->ft->clone(untouched, nullptr);
  ASSERT_NE(c1, nullptr);
  EXPECT_EQ(cmpiConvertResult2Array(c1), nullptr);
  CMPIResult *done = makeNewCMPIResult(nullptr);
  done->ft->returnDone(done);
  CMPIResult *c2 = done->ft->clone(done, nullptr);
  ASSERT_NE(c2, nullptr);
  CMPIArray *a = cmpiConvertResult2Array(c2);
  ASSERT_NE(a, nullptr);
  EXPECT_EQ(a->ft->getSize(a, nullptr), 0u);
  untouched->ft->release(untouched);
  done->ft->release(done);
  c1->ft->release(c1);
  c2->ft->release(c2);
}

TEST(ResultHandles, NullObjectOrHandleIsInvalidHandleInEverySlot) {
  const CMPIResultFT *ft = cmpi::result_table();
  CMPIResult bad;
  bad.hdl = nullptr;
  bad.ft = const_cast<CMPIResultFT *>(ft);
  CMPIObjectPath *op = makeNewObjectPath("ns", "C", nullptr);
  CMPIInstance *inst = makeNewCMPIInstance(op, nullptr);
  for (CMPIResult *r : {static_cast<CMPIResult *>(nullptr), &bad}) {
    CMPIStatus rc;
    EXPECT_EQ(ft->release(r).rc, CMPI_RC_ERR_INVALID_HANDLE);
    rc.rc = CMPI_RC_OK;
    EXPECT_EQ(ft->clone(r, &rc), nullptr);
    EXPECT_EQ(rc.rc, CMPI_RC_ERR_INVALID_HANDLE);
    EXPECT_EQ(ft->clone(r, nullptr), nullptr);
    CMPIUint32 x = 1;
    EXPECT_EQ(ft->returnData(r, reinterpret_cast<CMPIValue *>(&x), CMPI_uint32).rc,
              CMPI_RC_ERR_INVALID_HANDLE);
    EXPECT_EQ(ft->returnInstance(r, inst).rc, CMPI_RC_ERR_INVALID_HANDLE);
    EXPECT_EQ(ft->returnObjectPath(r, op).rc, CMPI_RC_ERR_INVALID_HANDLE);
    EXPECT_EQ(ft->returnDone(r).rc, CMPI_RC_ERR_INVALID_HANDLE);
    EXPECT_EQ(ft->returnError(r, nullptr).rc, CMPI_RC_ERR_INVALID_HANDLE);
    EXPECT_EQ(cmpiConvertResult2Array(r), nullptr);
  }
  inst->ft->release(inst);
  op->ft->release(op);
}

TEST(ResultHandles, ConvertIgnoresObjectsThatAreNotResults) {
  CMPIArray *a = makeNewCMPIArray(0, CMPI_uint8, nullptr);
  EXPECT_EQ(cmpiConvertResult2Array(reinterpret_cast<const CMPIResult *>(a)), nullptr);
  a->ft->release(a);
}

}  // namespace
