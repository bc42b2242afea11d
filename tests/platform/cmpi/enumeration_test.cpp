// enumeration_test.cpp - CMPIEnumeration: the record layout, ownership of the array, and every
// EnumerationFT slot.
#include <gtest/gtest.h>

#include <string>

#include "cmpiinterface.h"
#include "objects.h"
#include "value_sweep.h"

namespace {

using namespace cmpitest;

CMPIArray *string_array(std::initializer_list<const char *> texts) {
  CMPIArray *a = makeNewCMPIArray(0, CMPI_string, nullptr);
  CMPICount i = 0;
  for (const char *t : texts) {
    a->ft->setElementAt(a, i++, reinterpret_cast<const CMPIValue *>(t), CMPI_chars);
  }
  return a;
}

// Every remaining element's text, consuming the enumeration.
std::string drain(CMPIEnumeration *en) {
  std::string all;
  while (en->ft->hasNext(en, nullptr)) {
    CMPIData d = en->ft->getNext(en, nullptr);
    all += text_of(val(d.value.string));
    all += ';';
    release_data(&d);
  }
  return all;
}

TEST(MakeNewCMPIEnumeration, HandleIsTheRecordWithTheArrayFirst) {
  CMPIArray *a = string_array({"a"});
  CMPIStatus rc;
  CMPIEnumeration *en = makeNewCMPIEnumeration(a, &rc);
  ASSERT_NE(en, nullptr);
  EXPECT_EQ(rc.rc, CMPI_RC_OK);
  EXPECT_EQ(en->ft, cmpi::enumeration_table());
  EXPECT_EQ(en->ft->ftVersion, CMPICurrentVersion);
  const CMPIEnumerationRecord *record = static_cast<const CMPIEnumerationRecord *>(en->hdl);
  ASSERT_NE(record, nullptr);
  EXPECT_EQ(val(record->array), a);  // taken over, not copied
  EXPECT_EQ(val(record->cursor), 0u);
  EXPECT_EQ(*static_cast<CMPIArray *const *>(en->hdl), a);  // the first field
  EXPECT_EQ(en->ft->release(en).rc, CMPI_RC_OK);  // releases the array too
}

TEST(MakeNewCMPIEnumeration, WithoutArrayAndFilledLater) {
  CMPIStatus rc;
  CMPIEnumeration *en = makeNewCMPIEnumeration(nullptr, &rc);
  ASSERT_NE(en, nullptr);
  EXPECT_EQ(rc.rc, CMPI_RC_OK);
  CMPIEnumerationRecord *record = static_cast<CMPIEnumerationRecord *>(en->hdl);
  EXPECT_EQ(val(record->array), nullptr);
  EXPECT_EQ(en->ft->hasNext(en, &rc), 0);
  EXPECT_EQ(rc.rc, CMPI_RC_OK);
  CMPIData d = en->ft->getNext(en, &rc);
  EXPECT_EQ(rc.rc, CMPI_RC_NO_MORE_ELEMENTS);
  EXPECT_EQ(d.state, CMPI_nullValue);
  rc.rc = CMPI_RC_ERR_FAILED;
  EXPECT_EQ(en->ft->toArray(en, &rc), nullptr);
  EXPECT_EQ(rc.rc, CMPI_RC_OK);
  // A filler stores an array into the record; the enumeration owns it from then on.
  record->array = string_array({"x", "y"});
  EXPECT_EQ(drain(en), "x;y;");
  en->ft->release(en);
}

TEST(MakeNewCMPIEnumeration, RcMayBeNull) {
  CMPIEnumeration *en = makeNewCMPIEnumeration(string_array({"a"}), nullptr);
  ASSERT_NE(en, nullptr);
  EXPECT_EQ(drain(en), "a;");
  en->ft->release(en);
}

TEST(MakeNewCMPIEnumeration, ArrayWithoutHandleIsInvalidHandle) {
  CMPIArray bad;
  bad.hdl = nullptr;
  bad.ft = const_cast<CMPIArrayFT *>(cmpi::array_table());
  CMPIStatus rc;
  EXPECT_EQ(makeNewCMPIEnumeration(&bad, &rc), nullptr);
  EXPECT_EQ(rc.rc, CMPI_RC_ERR_INVALID_HANDLE);
}

TEST(EnumerationFT, GetNextWalksTheArrayAndEndsWithNoMoreElements) {
  CMPIArray *a = makeNewCMPIArray(0, CMPI_uint32, nullptr);
  for (CMPIUint32 i = 0; i < 3; ++i) {
    CMPIUint32 v = 10 + i;
    a->ft->setElementAt(a, i, reinterpret_cast<CMPIValue *>(&v), CMPI_uint32);
  }
  CMPIEnumeration *en = makeNewCMPIEnumeration(a, nullptr);
  const CMPIEnumerationRecord *record = static_cast<const CMPIEnumerationRecord *>(en->hdl);
  CMPIStatus rc;
  for (CMPIUint32 i = 0; i < 3; ++i) {
    EXPECT_EQ(en->ft->hasNext(en, &rc), 1);
    EXPECT_EQ(rc.rc, CMPI_RC_OK);
    const CMPIData d = en->ft->getNext(en, &rc);
    EXPECT_EQ(rc.rc, CMPI_RC_OK);
    EXPECT_EQ(d.type, CMPI_uint32);
    EXPECT_EQ(d.state, CMPI_goodValue);
    EXPECT_EQ(val(d.value.uint32), 10 + i);
    EXPECT_EQ(val(record->cursor), i + 1);
  }
  EXPECT_EQ(en->ft->hasNext(en, &rc), 0);
  EXPECT_EQ(rc.rc, CMPI_RC_OK);
  const CMPIData end = en->ft->getNext(en, &rc);
  EXPECT_EQ(rc.rc, CMPI_RC_NO_MORE_ELEMENTS);
  EXPECT_EQ(end.type, CMPI_null);
  EXPECT_EQ(end.state, CMPI_nullValue);
  EXPECT_EQ(val(record->cursor), 3u);
  EXPECT_EQ(en->ft->getNext(en, nullptr).state, CMPI_nullValue);
  en->ft->release(en);
}

TEST(EnumerationFT, ElementsAreCallerOwnedCopies) {
  CMPIObjectPath *op = makeNewObjectPath("root/cimv2", "Demo_Fan", nullptr);
  CMPIArray *a = makeNewCMPIArray(0, CMPI_ref, nullptr);
  CMPIValue v;
  v.ref = op;
  a->ft->setElementAt(a, 0, &v, CMPI_ref);
  CMPIInstance *inst = makeNewCMPIInstance(op, nullptr);
  CMPIArray *b = makeNewCMPIArray(0, CMPI_instance, nullptr);
  v.inst = inst;
  b->ft->setElementAt(b, 0, &v, CMPI_instance);
  inst->ft->release(inst);
  op->ft->release(op);

  CMPIEnumeration *refs = makeNewCMPIEnumeration(a, nullptr);
  CMPIData d = refs->ft->getNext(refs, nullptr);
  refs->ft->release(refs);  // the element handed out outlives the enumeration
  EXPECT_EQ(d.type, CMPI_ref);
  CMPIObjectPath *got = val(d.value.ref);
  CMPIString *s = got->ft->toString(got, nullptr);
  EXPECT_EQ(text_of(s), "root/cimv2:Demo_Fan");
  s->ft->release(s);
  release_data(&d);

  CMPIEnumeration *insts = makeNewCMPIEnumeration(b, nullptr);
  d = insts->ft->getNext(insts, nullptr);
  insts->ft->release(insts);
  EXPECT_EQ(d.type, CMPI_instance);
  EXPECT_EQ(d.state, CMPI_goodValue);
  CMPIInstance *gi = val(d.value.inst);
  EXPECT_EQ(gi->ft->getPropertyCount(gi, nullptr), 0u);
  release_data(&d);
}

TEST(EnumerationFT, NullElementsComeBackNull) {
  CMPIArray *a = makeNewCMPIArray(2, CMPI_string, nullptr);
  CMPIEnumeration *en = makeNewCMPIEnumeration(a, nullptr);
  CMPIStatus rc;
  const CMPIData d = en->ft->getNext(en, &rc);
  EXPECT_EQ(rc.rc, CMPI_RC_OK);
  EXPECT_EQ(d.type, CMPI_string);
  EXPECT_EQ(d.state, CMPI_nullValue);
  EXPECT_EQ(en->ft->hasNext(en, nullptr), 1);
  en->ft->release(en);
}

TEST(EnumerationFT, ToArrayIsACallerOwnedCopy) {
  CMPIEnumeration *en = makeNewCMPIEnumeration(string_array({"a", "b"}), nullptr);
  CMPIStatus rc;
  CMPIArray *copy = en->ft->toArray(en, &rc);
  ASSERT_NE(copy, nullptr);
  EXPECT_EQ(rc.rc, CMPI_RC_OK);
  EXPECT_NE(copy, val(static_cast<CMPIEnumerationRecord *>(en->hdl)->array));
  // Mutating the copy leaves the enumeration alone.
  copy->ft->setElementAt(copy, 0, reinterpret_cast<const CMPIValue *>("changed"), CMPI_chars);
  EXPECT_EQ(drain(en), "a;b;");
  // toArray is independent of the cursor: always the whole array.
  CMPIArray *again = en->ft->toArray(en, nullptr);
  ASSERT_NE(again, nullptr);
  EXPECT_EQ(again->ft->getSize(again, nullptr), 2u);
  en->ft->release(en);
  CMPIData d = copy->ft->getElementAt(copy, 0, nullptr);
  EXPECT_EQ(text_of(val(d.value.string)), "changed");
  release_data(&d);
  copy->ft->release(copy);
  again->ft->release(again);
}

TEST(EnumerationFT, CloneIsDeepAndKeepsTheCursor) {
  CMPIEnumeration *en = makeNewCMPIEnumeration(string_array({"a", "b", "c"}), nullptr);
  CMPIData first = en->ft->getNext(en, nullptr);
  release_data(&first);
  CMPIStatus rc;
  CMPIEnumeration *c = en->ft->clone(en, &rc);
  ASSERT_NE(c, nullptr);
  EXPECT_EQ(rc.rc, CMPI_RC_OK);
  EXPECT_NE(c, en);
  const CMPIEnumerationRecord *rc_record = static_cast<const CMPIEnumerationRecord *>(c->hdl);
  const CMPIEnumerationRecord *en_record = static_cast<const CMPIEnumerationRecord *>(en->hdl);
  EXPECT_NE(val(rc_record->array), val(en_record->array));
  EXPECT_EQ(val(rc_record->cursor), 1u);
  // Advancing the clone leaves the original where it was.
  EXPECT_EQ(drain(c), "b;c;");
  EXPECT_EQ(val(en_record->cursor), 1u);
  // Releasing the original leaves the clone valid.
  en->ft->release(en);
  CMPIArray *arr = c->ft->toArray(c, nullptr);
  EXPECT_EQ(arr->ft->getSize(arr, nullptr), 3u);
  arr->ft->release(arr);
  c->ft->release(c);

  CMPIEnumeration *empty = makeNewCMPIEnumeration(nullptr, nullptr);
  CMPIEnumeration *empty_clone = empty->ft->clone(empty, nullptr);
  ASSERT_NE(empty_clone, nullptr);
  EXPECT_EQ(val(static_cast<CMPIEnumerationRecord *>(empty_clone->hdl)->array), nullptr);
  empty->ft->release(empty);
  empty_clone->ft->release(empty_clone);
}

TEST(EnumerationFT, NullObjectOrHandleIsInvalidHandleInEverySlot) {
  const CMPIEnumerationFT *ft = cmpi::enumeration_table();
  CMPIEnumeration bad;
  bad.hdl = nullptr;
  bad.ft = const_cast<CMPIEnumerationFT *>(ft);
  for (CMPIEnumeration *en : {static_cast<CMPIEnumeration *>(nullptr), &bad}) {
    CMPIStatus rc;
    EXPECT_EQ(ft->release(en).rc, CMPI_RC_ERR_INVALID_HANDLE);
    rc.rc = CMPI_RC_OK;
    EXPECT_EQ(ft->clone(en, &rc), nullptr);
    EXPECT_EQ(rc.rc, CMPI_RC_ERR_INVALID_HANDLE);
    rc.rc = CMPI_RC_OK;
    EXPECT_EQ(ft->getNext(en, &rc).state, CMPI_nullValue);
    EXPECT_EQ(rc.rc, CMPI_RC_ERR_INVALID_HANDLE);
    rc.rc = CMPI_RC_OK;
    EXPECT_EQ(ft->hasNext(en, &rc), 0);
    EXPECT_EQ(rc.rc, CMPI_RC_ERR_INVALID_HANDLE);
    rc.rc = CMPI_RC_OK;
    EXPECT_EQ(ft->toArray(en, &rc), nullptr);
    EXPECT_EQ(rc.rc, CMPI_RC_ERR_INVALID_HANDLE);
    EXPECT_EQ(ft->clone(en, nullptr), nullptr);
    EXPECT_EQ(ft->getNext(en, nullptr).state, CMPI_nullValue);
    EXPECT_EQ(ft->hasNext(en, nullptr), 0);
    EXPECT_EQ(ft->toArray(en, nullptr), nullptr);
  }
}

}  // namespace
