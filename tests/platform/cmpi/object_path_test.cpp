// Tests of CMPIObjectPath: every slot of its table, keys of every type code, this platform's
// path text, caller-owned results and clone independence.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "cmpiinterface.h"
#include "objects.h"
#include "value_sweep.h"

namespace {

using namespace cmpitest;

// ---- object path tests ---------------------------------------------------------------------

// The text of a part read through its getter (a slot of op's table), which answers CMPI_RC_OK.
std::string part_of(const CMPIObjectPath *op,
                    CMPIString *(*getter)(const CMPIObjectPath *, CMPIStatus *)) {
  CMPIStatus rc = unset_status();
  CMPIString *s = getter(op, &rc);
  EXPECT_EQ(CMPI_RC_OK, +rc.rc);
  return take(s);
}

std::string name_space_of(const CMPIObjectPath *op) { return part_of(op, op->ft->getNameSpace); }

std::string class_name_of(const CMPIObjectPath *op) { return part_of(op, op->ft->getClassName); }

std::string host_of(const CMPIObjectPath *op) { return part_of(op, op->ft->getHostname); }

CMPIStatus add_chars_key(CMPIObjectPath *op, const char *name, const char *text) {
  return op->ft->addKey(op, name, reinterpret_cast<const CMPIValue *>(text), CMPI_chars);
}

CMPIObjectPath *demo_fan() {
  CMPIObjectPath *op = new_path("root/cimv2", "Demo_Fan");
  const CMPIUint32 speed = 4200;
  EXPECT_EQ(CMPI_RC_OK, +add_chars_key(op, "DeviceID", "fan0").rc);
  EXPECT_EQ(CMPI_RC_OK,
            +op->ft->addKey(op, "Speed", reinterpret_cast<const CMPIValue *>(&speed), CMPI_uint32)
                .rc);
  return op;
}

TEST(ObjectPath, FactoryKeepsNamespaceAndClassName) {
  CMPIStatus rc = unset_status();
  CMPIObjectPath *op = makeNewObjectPath("root/cimv2", "Demo_Fan", &rc);
  EXPECT_EQ(CMPI_RC_OK, +rc.rc);
  ASSERT_NE(nullptr, op);
  EXPECT_NE(nullptr, op->hdl);
  EXPECT_EQ(cmpi::object_path_table(), op->ft);
  EXPECT_EQ("root/cimv2", name_space_of(op));
  EXPECT_EQ("Demo_Fan", class_name_of(op));
  EXPECT_EQ("<null>", host_of(op));
  EXPECT_EQ(0u, op->ft->getKeyCount(op, &rc));
  EXPECT_EQ(CMPI_RC_OK, +rc.rc);
  EXPECT_EQ(CMPI_RC_OK, +op->ft->release(op).rc);
  op = makeNewObjectPath("ns", "C", nullptr);  // rc may be NULL
  ASSERT_NE(nullptr, op);
  op->ft->release(op);
}

TEST(ObjectPath, PartsNeverSetReadAsNullWithOk) {
  CMPIObjectPath *op = new_path(nullptr, nullptr);
  ASSERT_NE(nullptr, op);
  CMPIStatus rc = unset_status();
  EXPECT_EQ(nullptr, op->ft->getNameSpace(op, &rc));
  EXPECT_EQ(CMPI_RC_OK, +rc.rc);
  rc = unset_status();
  EXPECT_EQ(nullptr, op->ft->getClassName(op, &rc));
  EXPECT_EQ(CMPI_RC_OK, +rc.rc);
  rc = unset_status();
  EXPECT_EQ(nullptr, op->ft->getHostname(op, &rc));
  EXPECT_EQ(CMPI_RC_OK, +rc.rc);
  EXPECT_EQ(nullptr, op->ft->getNameSpace(op, nullptr));
  op->ft->release(op);
}

TEST(ObjectPath, TableVersionAndEverySlotSet) {
  const CMPIObjectPathFT *ft = cmpi::object_path_table();
  EXPECT_EQ(CMPICurrentVersion, +ft->ftVersion);
  EXPECT_TRUE(ft->release != nullptr);
  EXPECT_TRUE(ft->clone != nullptr);
  EXPECT_TRUE(ft->setNameSpace != nullptr);
  EXPECT_TRUE(ft->getNameSpace != nullptr);
  EXPECT_TRUE(ft->setHostname != nullptr);
  EXPECT_TRUE(ft->getHostname != nullptr);
  EXPECT_TRUE(ft->setClassName != nullptr);
  EXPECT_TRUE(ft->getClassName != nullptr);
  EXPECT_TRUE(ft->addKey != nullptr);
  EXPECT_TRUE(ft->getKey != nullptr);
  EXPECT_TRUE(ft->getKeyAt != nullptr);
  EXPECT_TRUE(ft->getKeyCount != nullptr);
  EXPECT_TRUE(ft->setNameSpaceFromObjectPath != nullptr);
  EXPECT_TRUE(ft->setHostAndNameSpaceFromObjectPath != nullptr);
  EXPECT_TRUE(ft->getClassQualifier != nullptr);
  EXPECT_TRUE(ft->getPropertyQualifier != nullptr);
  EXPECT_TRUE(ft->getMethodQualifier != nullptr);
  EXPECT_TRUE(ft->getParameterQualifier != nullptr);
  EXPECT_TRUE(ft->toString != nullptr);
}

TEST(ObjectPath, SettersReplaceAndNullUnsets) {
  CMPIObjectPath *op = new_path("a", "B");
  char text[] = "root/new";
  EXPECT_EQ(CMPI_RC_OK, +op->ft->setNameSpace(op, text).rc);
  std::strcpy(text, "xxxx/xxx");  // the text was copied
  EXPECT_EQ(CMPI_RC_OK, +op->ft->setHostname(op, "host1").rc);
  EXPECT_EQ(CMPI_RC_OK, +op->ft->setClassName(op, "New_Class").rc);
  EXPECT_EQ("root/new", name_space_of(op));
  EXPECT_EQ("host1", host_of(op));
  EXPECT_EQ("New_Class", class_name_of(op));
  EXPECT_EQ(CMPI_RC_OK, +op->ft->setNameSpace(op, nullptr).rc);
  EXPECT_EQ(CMPI_RC_OK, +op->ft->setHostname(op, nullptr).rc);
  EXPECT_EQ(CMPI_RC_OK, +op->ft->setClassName(op, nullptr).rc);
  EXPECT_EQ("<null>", name_space_of(op));
  EXPECT_EQ("<null>", host_of(op));
  EXPECT_EQ("<null>", class_name_of(op));
  op->ft->release(op);
}

TEST(ObjectPath, GettersHandOutNewStringsEachTime) {
  CMPIObjectPath *op = demo_fan();
  op->ft->setHostname(op, "h");
  CMPIString *a = op->ft->getNameSpace(op, nullptr);
  CMPIString *b = op->ft->getNameSpace(op, nullptr);
  EXPECT_NE(a, b);
  EXPECT_EQ("root/cimv2", take(a));
  EXPECT_EQ("root/cimv2", take(b));
  CMPIString *c1 = op->ft->getClassName(op, nullptr);
  CMPIString *c2 = op->ft->getClassName(op, nullptr);
  EXPECT_NE(c1, c2);
  take(c1);
  take(c2);
  CMPIString *h1 = op->ft->getHostname(op, nullptr);
  CMPIString *h2 = op->ft->getHostname(op, nullptr);
  EXPECT_NE(h1, h2);
  take(h1);
  take(h2);
  CMPIString *t1 = op->ft->toString(op, nullptr);
  CMPIString *t2 = op->ft->toString(op, nullptr);
  EXPECT_NE(t1, t2);
  take(t1);
  take(t2);
  // Changing the path afterwards does not touch a string already handed out.
  CMPIString *held = op->ft->getClassName(op, nullptr);
  op->ft->setClassName(op, "Other");
  EXPECT_EQ("Demo_Fan", take(held));
  op->ft->release(op);
}

TEST(ObjectPath, KeysOfEveryType) {
  CMPIObjectPath *op = new_path("root/k", "Keyed");
  const Setter set = [op](const char *name, const CMPIValue *value, CMPIType type) {
    return op->ft->addKey(op, name, value, type);
  };
  const Getter get = [op](const char *name, CMPIStatus *rc) {
    return op->ft->getKey(op, name, rc);
  };
  sweep_every_type(set, get, CMPI_keyValue);
  EXPECT_EQ(38u, op->ft->getKeyCount(op, nullptr));
  op->ft->release(op);
}

TEST(ObjectPath, CharsKeyReadsBackAsStringKey) {
  CMPIObjectPath *op = demo_fan();
  CMPIStatus rc = unset_status();
  CMPIData d = op->ft->getKey(op, "DeviceID", &rc);
  EXPECT_EQ(CMPI_RC_OK, +rc.rc);
  EXPECT_EQ(CMPI_string, +d.type);
  EXPECT_EQ(CMPI_keyValue, +d.state);
  EXPECT_EQ("fan0", text_of(+d.value.string));
  release_data(&d);
  d = op->ft->getKey(op, "Speed", nullptr);
  EXPECT_EQ(CMPI_uint32, +d.type);
  EXPECT_EQ(CMPI_keyValue, +d.state);
  EXPECT_EQ(4200u, +d.value.uint32);
  op->ft->release(op);
}

TEST(ObjectPath, GetKeyAtHandsOutNameAndValueInOrderAdded) {
  CMPIObjectPath *op = new_path("ns", "C");
  add_chars_key(op, "Zeta", "z");
  add_chars_key(op, "Alpha", "a");
  // Same name in another case replaces in place and keeps the first spelling.
  add_chars_key(op, "ZETA", "z2");
  EXPECT_EQ(2u, op->ft->getKeyCount(op, nullptr));
  CMPIString *name = nullptr;
  CMPIStatus rc = unset_status();
  CMPIData d = op->ft->getKeyAt(op, 0, &name, &rc);
  EXPECT_EQ(CMPI_RC_OK, +rc.rc);
  EXPECT_EQ("Zeta", take(name));
  EXPECT_EQ(CMPI_keyValue, +d.state);
  EXPECT_EQ("z2", text_of(+d.value.string));
  release_data(&d);
  d = op->ft->getKeyAt(op, 1, &name, nullptr);
  EXPECT_EQ("Alpha", take(name));
  EXPECT_EQ("a", text_of(+d.value.string));
  release_data(&d);
  d = op->ft->getKeyAt(op, 1, nullptr, nullptr);  // no name wanted
  EXPECT_EQ("a", text_of(+d.value.string));
  release_data(&d);
  d = op->ft->getKey(op, "alpha", nullptr);
  EXPECT_EQ("a", text_of(+d.value.string));
  release_data(&d);
  op->ft->release(op);
}

TEST(ObjectPath, MissingKeyOrIndexGivesNoSuchProperty) {
  CMPIObjectPath *op = demo_fan();
  CMPIStatus rc = unset_status();
  CMPIData d = op->ft->getKey(op, "Missing", &rc);
  EXPECT_EQ(CMPI_RC_ERR_NO_SUCH_PROPERTY, +rc.rc);
  EXPECT_EQ(CMPI_null, +d.type);
  EXPECT_EQ(CMPI_nullValue | CMPI_notFound, +d.state);
  rc = unset_status();
  op->ft->getKey(op, nullptr, &rc);
  EXPECT_EQ(CMPI_RC_ERR_NO_SUCH_PROPERTY, +rc.rc);
  CMPIString *name = reinterpret_cast<CMPIString *>(0x1);
  rc = unset_status();
  d = op->ft->getKeyAt(op, 2, &name, &rc);
  EXPECT_EQ(CMPI_RC_ERR_NO_SUCH_PROPERTY, +rc.rc);
  EXPECT_EQ(nullptr, name);
  EXPECT_EQ(CMPI_nullValue | CMPI_notFound, +d.state);
  op->ft->getKeyAt(op, 99, nullptr, nullptr);
  op->ft->release(op);
}

TEST(ObjectPath, KeysMayNotBeNull) {
  CMPIObjectPath *op = demo_fan();
  const CMPIUint32 v = 1;
  EXPECT_EQ(CMPI_RC_ERR_INVALID_PARAMETER, +op->ft->addKey(op, "K", nullptr, CMPI_uint32).rc);
  EXPECT_EQ(CMPI_RC_ERR_INVALID_PARAMETER,
            +op->ft->addKey(op, "K", reinterpret_cast<const CMPIValue *>(&v), CMPI_null).rc);
  CMPIString *no_string = nullptr;
  EXPECT_EQ(CMPI_RC_ERR_INVALID_PARAMETER,
            +op->ft->addKey(op, "K", reinterpret_cast<const CMPIValue *>(&no_string), CMPI_string)
                .rc);
  char *no_chars = nullptr;
  EXPECT_EQ(CMPI_RC_ERR_INVALID_PARAMETER,
            +op->ft->addKey(op, "K", reinterpret_cast<const CMPIValue *>(&no_chars), CMPI_charsptr)
                .rc);
  // A null value for an existing key leaves it as it was.
  EXPECT_EQ(CMPI_RC_ERR_INVALID_PARAMETER, +op->ft->addKey(op, "Speed", nullptr, CMPI_uint32).rc);
  EXPECT_EQ(CMPI_RC_ERR_INVALID_PARAMETER,
            +op->ft->addKey(op, nullptr, reinterpret_cast<const CMPIValue *>(&v), CMPI_uint32).rc);
  int dummy = 0;
  EXPECT_EQ(CMPI_RC_ERR_INVALID_DATA_TYPE,
            +op->ft->addKey(op, "K", reinterpret_cast<const CMPIValue *>(&dummy), CMPI_ptr).rc);
  EXPECT_EQ(2u, op->ft->getKeyCount(op, nullptr));
  EXPECT_EQ("root/cimv2:Demo_Fan.DeviceID=fan0,Speed=4200", path_text(op));
  op->ft->release(op);
}

TEST(ObjectPath, AddKeyCopiesTheValue) {
  CMPIObjectPath *op = new_path("ns", "C");
  CMPIString *s = CreateString("v1", nullptr);
  op->ft->addKey(op, "S", reinterpret_cast<const CMPIValue *>(&s), CMPI_string);
  s->ft->release(s);
  CMPIObjectPath *ref = demo_fan();
  op->ft->addKey(op, "R", reinterpret_cast<const CMPIValue *>(&ref), CMPI_ref);
  ref->ft->setClassName(ref, "Changed");
  ref->ft->release(ref);
  EXPECT_EQ("ns:C.S=v1,R=root/cimv2:Demo_Fan.DeviceID=fan0,Speed=4200", path_text(op));
  op->ft->release(op);
}

TEST(ObjectPath, ToStringExactTexts) {
  CMPIObjectPath *fan = demo_fan();
  CMPIStatus rc = unset_status();
  CMPIString *text = fan->ft->toString(fan, &rc);
  EXPECT_EQ(CMPI_RC_OK, +rc.rc);
  EXPECT_EQ("root/cimv2:Demo_Fan.DeviceID=fan0,Speed=4200", take(text));

  // A host is never part of the text.
  fan->ft->setHostname(fan, "server.example");
  EXPECT_EQ("root/cimv2:Demo_Fan.DeviceID=fan0,Speed=4200", path_text(fan));

  // A reference key prints as the referenced path's own text.
  CMPIObjectPath *link = new_path("root/cimv2", "Demo_Link");
  link->ft->addKey(link, "Fan", reinterpret_cast<const CMPIValue *>(&fan), CMPI_ref);
  add_chars_key(link, "Tag", "t1");
  EXPECT_EQ("root/cimv2:Demo_Link.Fan=root/cimv2:Demo_Fan.DeviceID=fan0,Speed=4200,Tag=t1",
            path_text(link));
  link->ft->release(link);

  // No namespace, or an empty one: no colon.
  CMPIObjectPath *bare = new_path(nullptr, "Demo_Fan");
  add_chars_key(bare, "DeviceID", "fan0");
  EXPECT_EQ("Demo_Fan.DeviceID=fan0", path_text(bare));
  bare->ft->setNameSpace(bare, "");
  EXPECT_EQ("Demo_Fan.DeviceID=fan0", path_text(bare));
  bare->ft->release(bare);

  // No keys: no dot.
  CMPIObjectPath *cls = new_path("root/cimv2", "Demo_Fan");
  EXPECT_EQ("root/cimv2:Demo_Fan", path_text(cls));
  cls->ft->release(cls);
  CMPIObjectPath *only = new_path(nullptr, "Demo_Fan");
  EXPECT_EQ("Demo_Fan", path_text(only));
  only->ft->release(only);
  fan->ft->release(fan);
}

TEST(ObjectPath, ToStringValueForms) {
  CMPIObjectPath *op = new_path("ns", "C");
  const CMPIBoolean b = 1;
  const CMPISint32 s = -5;
  const CMPIReal64 r = 2.5;
  const CMPIChar16 c = 'x';
  const CMPIUint64 big = 18446744073709551615ull;
  CMPIDateTime *dt = new_datetime("20240102030405.123456+060");
  op->ft->addKey(op, "B", reinterpret_cast<const CMPIValue *>(&b), CMPI_boolean);
  op->ft->addKey(op, "S", reinterpret_cast<const CMPIValue *>(&s), CMPI_sint32);
  op->ft->addKey(op, "R", reinterpret_cast<const CMPIValue *>(&r), CMPI_real64);
  op->ft->addKey(op, "Ch", reinterpret_cast<const CMPIValue *>(&c), CMPI_char16);
  op->ft->addKey(op, "U", reinterpret_cast<const CMPIValue *>(&big), CMPI_uint64);
  op->ft->addKey(op, "D", reinterpret_cast<const CMPIValue *>(&dt), CMPI_dateTime);
  // No quotes and no escaping, whatever the text holds.
  add_chars_key(op, "T", "a \"b\",c\\d");
  dt->ft->release(dt);
  EXPECT_EQ("ns:C.B=true,S=-5,R=2.5,Ch=x,U=18446744073709551615,D=20240102030405.123456+060,"
            "T=a \"b\",c\\d",
            path_text(op));
  op->ft->release(op);
}

TEST(ObjectPath, ReplacingAKeyKeepsItsPosition) {
  CMPIObjectPath *op = demo_fan();
  add_chars_key(op, "deviceid", "fan7");
  EXPECT_EQ("root/cimv2:Demo_Fan.DeviceID=fan7,Speed=4200", path_text(op));
  op->ft->release(op);
}

TEST(ObjectPath, SetNameSpaceFromObjectPathCopiesNamespaceAndClassName) {
  CMPIObjectPath *src = demo_fan();
  src->ft->setHostname(src, "srchost");
  CMPIObjectPath *op = new_path("old/ns", "Old_Class");
  op->ft->setHostname(op, "myhost");
  add_chars_key(op, "K", "v");
  EXPECT_EQ(CMPI_RC_OK, +op->ft->setNameSpaceFromObjectPath(op, src).rc);
  EXPECT_EQ("root/cimv2", name_space_of(op));
  EXPECT_EQ("Demo_Fan", class_name_of(op));
  EXPECT_EQ("myhost", host_of(op));
  EXPECT_EQ(1u, op->ft->getKeyCount(op, nullptr));
  // Parts the source never had are unset here too.
  CMPIObjectPath *empty = new_path(nullptr, nullptr);
  EXPECT_EQ(CMPI_RC_OK, +op->ft->setNameSpaceFromObjectPath(op, empty).rc);
  EXPECT_EQ("<null>", name_space_of(op));
  EXPECT_EQ("<null>", class_name_of(op));
  EXPECT_EQ("myhost", host_of(op));
  empty->ft->release(empty);
  op->ft->release(op);
  src->ft->release(src);
}

TEST(ObjectPath, SetHostAndNameSpaceFromObjectPathCopiesHostNamespaceAndClassName) {
  CMPIObjectPath *src = demo_fan();
  src->ft->setHostname(src, "srchost");
  CMPIObjectPath *op = new_path("old/ns", "Old_Class");
  op->ft->setHostname(op, "myhost");
  EXPECT_EQ(CMPI_RC_OK, +op->ft->setHostAndNameSpaceFromObjectPath(op, src).rc);
  EXPECT_EQ("root/cimv2", name_space_of(op));
  EXPECT_EQ("Demo_Fan", class_name_of(op));
  EXPECT_EQ("srchost", host_of(op));
  EXPECT_EQ(0u, op->ft->getKeyCount(op, nullptr));
  op->ft->release(op);
  src->ft->release(src);
}

TEST(ObjectPath, CopyingFromNullOrForeignSourceGivesInvalidHandle) {
  CMPIObjectPath *op = demo_fan();
  CMPIObjectPath no_handle = {nullptr, op->ft};
  CMPIArgs *args = makeNewCMPIArgs(nullptr);
  const CMPIObjectPath *bad_sources[] = {nullptr, &no_handle,
                                         reinterpret_cast<const CMPIObjectPath *>(args)};
  for (const CMPIObjectPath *src : bad_sources) {
    EXPECT_EQ(CMPI_RC_ERR_INVALID_HANDLE, +op->ft->setNameSpaceFromObjectPath(op, src).rc);
    EXPECT_EQ(CMPI_RC_ERR_INVALID_HANDLE, +op->ft->setHostAndNameSpaceFromObjectPath(op, src).rc);
  }
  EXPECT_EQ("root/cimv2", name_space_of(op));
  args->ft->release(args);
  op->ft->release(op);
}

TEST(ObjectPath, QualifierSlotsAreNotSupported) {
  CMPIObjectPath *op = demo_fan();
  CMPIStatus rc = unset_status();
  CMPIData d = op->ft->getClassQualifier(op, "Key", &rc);
  EXPECT_EQ(CMPI_RC_ERR_NOT_SUPPORTED, +rc.rc);
  EXPECT_EQ(CMPI_nullValue, +d.state);
  rc = unset_status();
  d = op->ft->getPropertyQualifier(op, "DeviceID", "Key", &rc);
  EXPECT_EQ(CMPI_RC_ERR_NOT_SUPPORTED, +rc.rc);
  EXPECT_EQ(CMPI_nullValue, +d.state);
  rc = unset_status();
  d = op->ft->getMethodQualifier(op, "Start", "Static", &rc);
  EXPECT_EQ(CMPI_RC_ERR_NOT_SUPPORTED, +rc.rc);
  rc = unset_status();
  d = op->ft->getParameterQualifier(op, "Start", "Level", "In", &rc);
  EXPECT_EQ(CMPI_RC_ERR_NOT_SUPPORTED, +rc.rc);
  EXPECT_EQ(CMPI_nullValue, +d.state);
  // rc may be NULL.
  op->ft->getClassQualifier(op, "Key", nullptr);
  op->ft->getPropertyQualifier(op, "a", "b", nullptr);
  op->ft->getMethodQualifier(op, "a", "b", nullptr);
  op->ft->getParameterQualifier(op, "a", "b", "c", nullptr);
  op->ft->release(op);
}

TEST(ObjectPath, CloneIsDeepAndIndependent) {
  CMPIObjectPath *op = demo_fan();
  op->ft->setHostname(op, "h1");
  CMPIObjectPath *ref = new_ref_path();
  op->ft->addKey(op, "Ref", reinterpret_cast<const CMPIValue *>(&ref), CMPI_ref);
  ref->ft->release(ref);
  CMPIStatus rc = unset_status();
  CMPIObjectPath *copy = op->ft->clone(op, &rc);
  EXPECT_EQ(CMPI_RC_OK, +rc.rc);
  ASSERT_NE(nullptr, copy);
  EXPECT_NE(copy, op);
  const std::string original = "root/cimv2:Demo_Fan.DeviceID=fan0,Speed=4200,Ref=root/ref:Ref_Class.Id=r1";
  EXPECT_EQ(original, path_text(copy));
  EXPECT_EQ("h1", host_of(copy));

  copy->ft->setNameSpace(copy, "other");
  copy->ft->setHostname(copy, "h2");
  copy->ft->setClassName(copy, "Other");
  add_chars_key(copy, "DeviceID", "fan1");
  add_chars_key(copy, "Extra", "e");
  EXPECT_EQ(original, path_text(op));
  EXPECT_EQ("h1", host_of(op));
  EXPECT_EQ(3u, op->ft->getKeyCount(op, nullptr));

  op->ft->release(op);
  EXPECT_EQ("other:Other.DeviceID=fan1,Speed=4200,Ref=root/ref:Ref_Class.Id=r1,Extra=e",
            path_text(copy));
  EXPECT_EQ("h2", host_of(copy));
  EXPECT_EQ(CMPI_RC_OK, +copy->ft->release(copy).rc);
}

TEST(ObjectPath, NullHandleGivesInvalidHandleOnEverySlot) {
  CMPIObjectPath *good = demo_fan();
  const CMPIObjectPathFT *ft = good->ft;
  CMPIObjectPath no_handle = {nullptr, good->ft};
  const CMPIUint8 v = 1;
  for (CMPIObjectPath *bad : {&no_handle, static_cast<CMPIObjectPath *>(nullptr)}) {
    CMPIStatus rc = unset_status();
    EXPECT_EQ(CMPI_RC_ERR_INVALID_HANDLE, +ft->release(bad).rc);
    EXPECT_EQ(nullptr, ft->clone(bad, &rc));
    EXPECT_EQ(CMPI_RC_ERR_INVALID_HANDLE, +rc.rc);
    EXPECT_EQ(CMPI_RC_ERR_INVALID_HANDLE, +ft->setNameSpace(bad, "x").rc);
    rc = unset_status();
    EXPECT_EQ(nullptr, ft->getNameSpace(bad, &rc));
    EXPECT_EQ(CMPI_RC_ERR_INVALID_HANDLE, +rc.rc);
    EXPECT_EQ(CMPI_RC_ERR_INVALID_HANDLE, +ft->setHostname(bad, "x").rc);
    rc = unset_status();
    EXPECT_EQ(nullptr, ft->getHostname(bad, &rc));
    EXPECT_EQ(CMPI_RC_ERR_INVALID_HANDLE, +rc.rc);
    EXPECT_EQ(CMPI_RC_ERR_INVALID_HANDLE, +ft->setClassName(bad, "x").rc);
    rc = unset_status();
    EXPECT_EQ(nullptr, ft->getClassName(bad, &rc));
    EXPECT_EQ(CMPI_RC_ERR_INVALID_HANDLE, +rc.rc);
    EXPECT_EQ(CMPI_RC_ERR_INVALID_HANDLE,
              +ft->addKey(bad, "K", reinterpret_cast<const CMPIValue *>(&v), CMPI_uint8).rc);
    rc = unset_status();
    CMPIData d = ft->getKey(bad, "K", &rc);
    EXPECT_EQ(CMPI_RC_ERR_INVALID_HANDLE, +rc.rc);
    EXPECT_NE(0, +d.state & CMPI_nullValue);
    rc = unset_status();
    CMPIString *name = reinterpret_cast<CMPIString *>(0x1);
    d = ft->getKeyAt(bad, 0, &name, &rc);
    EXPECT_EQ(CMPI_RC_ERR_INVALID_HANDLE, +rc.rc);
    EXPECT_EQ(nullptr, name);
    rc = unset_status();
    EXPECT_EQ(0u, ft->getKeyCount(bad, &rc));
    EXPECT_EQ(CMPI_RC_ERR_INVALID_HANDLE, +rc.rc);
    EXPECT_EQ(CMPI_RC_ERR_INVALID_HANDLE, +ft->setNameSpaceFromObjectPath(bad, good).rc);
    EXPECT_EQ(CMPI_RC_ERR_INVALID_HANDLE, +ft->setHostAndNameSpaceFromObjectPath(bad, good).rc);
    rc = unset_status();
    ft->getClassQualifier(bad, "q", &rc);
    EXPECT_EQ(CMPI_RC_ERR_INVALID_HANDLE, +rc.rc);
    rc = unset_status();
    ft->getPropertyQualifier(bad, "p", "q", &rc);
    EXPECT_EQ(CMPI_RC_ERR_INVALID_HANDLE, +rc.rc);
    rc = unset_status();
    ft->getMethodQualifier(bad, "m", "q", &rc);
    EXPECT_EQ(CMPI_RC_ERR_INVALID_HANDLE, +rc.rc);
    rc = unset_status();
    ft->getParameterQualifier(bad, "m", "p", "q", &rc);
    EXPECT_EQ(CMPI_RC_ERR_INVALID_HANDLE, +rc.rc);
    rc = unset_status();
    EXPECT_EQ(nullptr, ft->toString(bad, &rc));
    EXPECT_EQ(CMPI_RC_ERR_INVALID_HANDLE, +rc.rc);
    // rc may be NULL.
    EXPECT_EQ(nullptr, ft->clone(bad, nullptr));
    EXPECT_EQ(nullptr, ft->getNameSpace(bad, nullptr));
    EXPECT_EQ(nullptr, ft->getHostname(bad, nullptr));
    EXPECT_EQ(nullptr, ft->getClassName(bad, nullptr));
    ft->getKey(bad, "K", nullptr);
    ft->getKeyAt(bad, 0, nullptr, nullptr);
    EXPECT_EQ(0u, ft->getKeyCount(bad, nullptr));
    EXPECT_EQ(nullptr, ft->toString(bad, nullptr));
  }
  good->ft->release(good);
}

}  // namespace
