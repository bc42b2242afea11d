// Tests of CMPIObjectPath: every slot of its table, keys of every type code, this platform's
// path text, caller-owned results and clone independence.
#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <string>

#include "cmpiinterface.h"
#include "objects.h"

namespace {

// ---- helpers shared by the value sweep ----------------------------------------------------

CMPIStatus unset_status() {
  CMPIStatus st;
  st.rc = static_cast<CMPIrc>(-1);
  st.msg = nullptr;
  return st;
}

std::string text_of(const CMPIString *s) {
  return s == nullptr ? std::string("<null>") : std::string(static_cast<const char *>(s->hdl));
}

// The text of a caller-owned string, which is released.
std::string take(CMPIString *s) {
  std::string text = text_of(s);
  if (s != nullptr) {
    EXPECT_EQ(CMPI_RC_OK,+ +s->ft->release(s).rc);
  }
  return text;
}

void release_data(CMPIData *d) {
  if ((d->state & CMPI_nullValue) == 0) {
    cmpiReleaseCMPIValue(d->type, &d->value);
  }
}

std::string path_text(const CMPIObjectPath *op) { return take(op->ft->toString(op, nullptr)); }

std::string datetime_text(const CMPIDateTime *dt) {
  return take(dt->ft->getStringFormat(dt, nullptr));
}

CMPIObjectPath *new_path(const char *ns, const char *cn) {
  CMPIStatus rc = unset_status();
  CMPIObjectPath *op = makeNewObjectPath(ns, cn, &rc);
  EXPECT_EQ(CMPI_RC_OK,+ +rc.rc);
  return op;
}

CMPIObjectPath *new_ref_path() {
  CMPIObjectPath *op = new_path("root/ref", "Ref_Class");
  EXPECT_EQ(CMPI_RC_OK,
           + +op->ft->addKey(op, "Id", reinterpret_cast<const CMPIValue *>("r1"), CMPI_chars).rc);
  return op;
}

CMPIInstance *new_embedded(const char *marker) {
  CMPIObjectPath *op = new_path("root/emb", "Emb_Class");
  CMPIInstance *inst = makeNewCMPIInstance(op, nullptr);
  op->ft->release(op);
  inst->ft->setProperty(inst, "Marker", reinterpret_cast<const CMPIValue *>(marker), CMPI_chars);
  return inst;
}

std::string embedded_marker(const CMPIInstance *inst) {
  CMPIData d = inst->ft->getProperty(inst, "Marker", nullptr);
  std::string text = d.type == CMPI_string ? text_of(d.value.string) : "<wrong type>";
  release_data(&d);
  return text;
}

CMPIDateTime *new_datetime(const char *text) {
  CMPIStatus rc = unset_status();
  CMPIDateTime *dt = makeNewCMPIDateTimeFromChars(text, &rc);
  EXPECT_EQ(CMPI_RC_OK,+ +rc.rc);
  return dt;
}

using Setter = std::function<CMPIStatus(const char *, const CMPIValue *, CMPIType)>;
using Getter = std::function<CMPIData(const char *, CMPIStatus *)>;

// A value member read by its C type (the packed union is copied, never bound by reference).
template <typename T>
T member_of(const CMPIValue &value) {
  T out;
  std::memcpy(&out, &value, sizeof(out));
  return out;
}

// Sets a plain variable of the member's C type (as providers pass it) and reads it back.
template <typename T>
void check_scalar(const Setter &set, const Getter &get, const char *name, CMPIType type, T value,
                  CMPIValueState state) {
  SCOPED_TRACE(name);
  T variable = value;
  EXPECT_EQ(CMPI_RC_OK,+ +set(name, reinterpret_cast<const CMPIValue *>(&variable), type).rc);
  CMPIStatus rc = unset_status();
  CMPIData d = get(name, &rc);
  EXPECT_EQ(CMPI_RC_OK,+ +rc.rc);
  EXPECT_EQ(type, +d.type);
  EXPECT_EQ(state, +d.state);
  EXPECT_EQ(value, member_of<T>(d.value));
}

// An array of two scalar elements, set as an array value and read back.
template <typename T>
void check_scalar_array(const Setter &set, const Getter &get, const char *name, CMPIType element,
                        T v0, T v1, CMPIValueState state) {
  SCOPED_TRACE(name);
  CMPIArray *a = makeNewCMPIArray(2, element, nullptr);
  ASSERT_NE(nullptr, a);
  T variable = v0;
  ASSERT_EQ(CMPI_RC_OK,
           + +a->ft->setElementAt(a, 0, reinterpret_cast<const CMPIValue *>(&variable), element).rc);
  variable = v1;
  ASSERT_EQ(CMPI_RC_OK,
           + +a->ft->setElementAt(a, 1, reinterpret_cast<const CMPIValue *>(&variable), element).rc);
  const CMPIType array_type = static_cast<CMPIType>(element | CMPI_ARRAY);
  EXPECT_EQ(CMPI_RC_OK,+ +set(name, reinterpret_cast<const CMPIValue *>(&a), array_type).rc);
  a->ft->release(a);  // the container keeps its own copy

  CMPIStatus rc = unset_status();
  CMPIData d = get(name, &rc);
  EXPECT_EQ(CMPI_RC_OK,+ +rc.rc);
  EXPECT_EQ(array_type, +d.type);
  EXPECT_EQ(state, +d.state);
  ASSERT_NE(nullptr, +d.value.array);
  CMPIArray *got = d.value.array;
  EXPECT_EQ(2u, got->ft->getSize(got, nullptr));
  EXPECT_EQ(element, got->ft->getSimpleType(got, nullptr));
  CMPIData e0 = got->ft->getElementAt(got, 0, nullptr);
  CMPIData e1 = got->ft->getElementAt(got, 1, nullptr);
  EXPECT_EQ(v0, member_of<T>(e0.value));
  EXPECT_EQ(v1, member_of<T>(e1.value));
  release_data(&d);
}

// An array of two encapsulated or text elements; check reads an element datum.
void check_object_array(const Setter &set, const Getter &get, const char *name, CMPIType made_with,
                        CMPIType set_type, CMPIType read_type,
                        const std::function<void(CMPIArray *, CMPICount)> &fill,
                        const std::function<std::string(const CMPIData &)> &read,
                        const std::string &t0, const std::string &t1, CMPIValueState state) {
  SCOPED_TRACE(name);
  CMPIArray *a = makeNewCMPIArray(2, made_with, nullptr);
  ASSERT_NE(nullptr, a);
  fill(a, 0);
  fill(a, 1);
  EXPECT_EQ(CMPI_RC_OK,+ +set(name, reinterpret_cast<const CMPIValue *>(&a), set_type).rc);
  a->ft->release(a);

  CMPIStatus rc = unset_status();
  CMPIData d = get(name, &rc);
  EXPECT_EQ(CMPI_RC_OK,+ +rc.rc);
  EXPECT_EQ(read_type, +d.type);
  EXPECT_EQ(state, +d.state);
  ASSERT_NE(nullptr, +d.value.array);
  CMPIArray *got = d.value.array;
  ASSERT_EQ(2u, got->ft->getSize(got, nullptr));
  CMPIData e0 = got->ft->getElementAt(got, 0, nullptr);
  CMPIData e1 = got->ft->getElementAt(got, 1, nullptr);
  EXPECT_EQ(t0, read(e0));
  EXPECT_EQ(t1, read(e1));
  release_data(&e0);
  release_data(&e1);
  release_data(&d);
}

// Every type code this platform holds, set through set and read back through get. state is
// the state every good value reads back with (CMPI_keyValue for keys).
void sweep_every_type(const Setter &set, const Getter &get, CMPIValueState state) {
  check_scalar<CMPIBoolean>(set, get, "vBoolean", CMPI_boolean, 1, state);
  check_scalar<CMPIChar16>(set, get, "vChar16", CMPI_char16, 0x263A, state);
  check_scalar<CMPIReal32>(set, get, "vReal32", CMPI_real32, 1.5f, state);
  check_scalar<CMPIReal64>(set, get, "vReal64", CMPI_real64, -2.25, state);
  check_scalar<CMPIUint8>(set, get, "vUint8", CMPI_uint8, 200, state);
  check_scalar<CMPIUint16>(set, get, "vUint16", CMPI_uint16, 60000, state);
  check_scalar<CMPIUint32>(set, get, "vUint32", CMPI_uint32, 4000000000u,
                           state);
  check_scalar<CMPIUint64>(set, get, "vUint64", CMPI_uint64, 18000000000000000000ull, state);
  check_scalar<CMPISint8>(set, get, "vSint8", CMPI_sint8, -100, state);
  check_scalar<CMPISint16>(set, get, "vSint16", CMPI_sint16, -30000, state);
  check_scalar<CMPISint32>(set, get, "vSint32", CMPI_sint32, -2000000000,
                           state);
  check_scalar<CMPISint64>(set, get, "vSint64", CMPI_sint64, -9000000000000000000ll, state);

  // Text: a string object (released right after the set), chars (the pointer is the text; the
  // buffer is overwritten after the set) and charsptr (a pointer to a char*). All read back as
  // CMPI_string.
  {
    SCOPED_TRACE("text");
    CMPIString *s = CreateString("from string", nullptr);
    EXPECT_EQ(CMPI_RC_OK,+ +set("vString", reinterpret_cast<const CMPIValue *>(&s), CMPI_string).rc);
    s->ft->release(s);
    char buffer[] = "from chars";
    EXPECT_EQ(CMPI_RC_OK,+ +set("vChars", reinterpret_cast<const CMPIValue *>(buffer), CMPI_chars).rc);
    std::strcpy(buffer, "overwrite");
    char ptr_buffer[] = "from charsptr";
    char *ptr = ptr_buffer;
    EXPECT_EQ(CMPI_RC_OK,
             + +set("vCharsPtr", reinterpret_cast<const CMPIValue *>(&ptr), CMPI_charsptr).rc);
    const char *names[] = {"vString", "vChars", "vCharsPtr"};
    const char *texts[] = {"from string", "from chars", "from charsptr"};
    for (int i = 0; i < 3; ++i) {
      CMPIStatus rc = unset_status();
      CMPIData d = get(names[i], &rc);
      EXPECT_EQ(CMPI_RC_OK,+ +rc.rc);
      EXPECT_EQ(CMPI_string, +d.type) << names[i];
      EXPECT_EQ(state, +d.state) << names[i];
      EXPECT_EQ(texts[i], text_of(+d.value.string));
      release_data(&d);
    }
  }

  // Date-time.
  {
    SCOPED_TRACE("dateTime");
    CMPIDateTime *dt = new_datetime("20240102030405.123456+060");
    EXPECT_EQ(CMPI_RC_OK,
             + +set("vDateTime", reinterpret_cast<const CMPIValue *>(&dt), CMPI_dateTime).rc);
    dt->ft->release(dt);
    CMPIData d = get("vDateTime", nullptr);
    EXPECT_EQ(CMPI_dateTime, +d.type);
    EXPECT_EQ(state, +d.state);
    EXPECT_EQ("20240102030405.123456+060", datetime_text(+d.value.dateTime));
    release_data(&d);
  }

  // Reference.
  {
    SCOPED_TRACE("ref");
    CMPIObjectPath *op = new_ref_path();
    EXPECT_EQ(CMPI_RC_OK,+ +set("vRef", reinterpret_cast<const CMPIValue *>(&op), CMPI_ref).rc);
    op->ft->release(op);
    CMPIData d = get("vRef", nullptr);
    EXPECT_EQ(CMPI_ref, +d.type);
    EXPECT_EQ(state, +d.state);
    EXPECT_EQ("root/ref:Ref_Class.Id=r1", path_text(+d.value.ref));
    release_data(&d);
  }

  // Embedded instance.
  {
    SCOPED_TRACE("instance");
    CMPIInstance *inst = new_embedded("embedded");
    EXPECT_EQ(CMPI_RC_OK,
             + +set("vInstance", reinterpret_cast<const CMPIValue *>(&inst), CMPI_instance).rc);
    inst->ft->release(inst);
    CMPIData d = get("vInstance", nullptr);
    EXPECT_EQ(CMPI_instance, +d.type);
    EXPECT_EQ(state, +d.state);
    EXPECT_EQ("embedded", embedded_marker(+d.value.inst));
    release_data(&d);
  }

  // Args.
  {
    SCOPED_TRACE("args");
    CMPIArgs *args = makeNewCMPIArgs(nullptr);
    CMPIUint16 n = 7;
    args->ft->addArg(args, "N", reinterpret_cast<const CMPIValue *>(&n), CMPI_uint16);
    EXPECT_EQ(CMPI_RC_OK,+ +set("vArgs", reinterpret_cast<const CMPIValue *>(&args), CMPI_args).rc);
    args->ft->release(args);
    CMPIData d = get("vArgs", nullptr);
    EXPECT_EQ(CMPI_args, +d.type);
    EXPECT_EQ(state, +d.state);
    CMPIData n_back = d.value.args->ft->getArg(d.value.args, "N", nullptr);
    EXPECT_EQ(7, +n_back.value.uint16);
    release_data(&d);
  }

  // Enumeration.
  {
    SCOPED_TRACE("enumeration");
    CMPIArray *a = makeNewCMPIArray(1, CMPI_string, nullptr);
    a->ft->setElementAt(a, 0, reinterpret_cast<const CMPIValue *>("e0"), CMPI_chars);
    CMPIEnumeration *en = makeNewCMPIEnumeration(a, nullptr);
    EXPECT_EQ(CMPI_RC_OK,
             + +set("vEnum", reinterpret_cast<const CMPIValue *>(&en), CMPI_enumeration).rc);
    en->ft->release(en);
    CMPIData d = get("vEnum", nullptr);
    EXPECT_EQ(CMPI_enumeration, +d.type);
    EXPECT_EQ(state, +d.state);
    CMPIData first = d.value.Enum->ft->getNext(d.value.Enum, nullptr);
    EXPECT_EQ("e0", text_of(+first.value.string));
    release_data(&first);
    release_data(&d);
  }

  // Arrays of every element type.
  check_scalar_array<CMPIBoolean>(set, get, "aBoolean", CMPI_boolean, 1, 0,
                                  state);
  check_scalar_array<CMPIChar16>(set, get, "aChar16", CMPI_char16, 'a', 0x00E9, state);
  check_scalar_array<CMPIReal32>(set, get, "aReal32", CMPI_real32, 0.5f, -8.25f, state);
  check_scalar_array<CMPIReal64>(set, get, "aReal64", CMPI_real64, 1e300, -0.125, state);
  check_scalar_array<CMPIUint8>(set, get, "aUint8", CMPI_uint8, 0, 255, state);
  check_scalar_array<CMPIUint16>(set, get, "aUint16", CMPI_uint16, 1, 65535,
                                 state);
  check_scalar_array<CMPIUint32>(set, get, "aUint32", CMPI_uint32, 2, 4294967295u, state);
  check_scalar_array<CMPIUint64>(set, get, "aUint64", CMPI_uint64, 3, 18446744073709551615ull, state);
  check_scalar_array<CMPISint8>(set, get, "aSint8", CMPI_sint8, -128, 127,
                                state);
  check_scalar_array<CMPISint16>(set, get, "aSint16", CMPI_sint16, -32768, 32767, state);
  check_scalar_array<CMPISint32>(set, get, "aSint32", CMPI_sint32, -5, 5,
                                 state);
  check_scalar_array<CMPISint64>(set, get, "aSint64", CMPI_sint64, -6, 6,
                                 state);

  const auto fill_text = [](CMPIArray *a, CMPICount i) {
    const char *texts[] = {"t0", "t1"};
    a->ft->setElementAt(a, i, reinterpret_cast<const CMPIValue *>(texts[i]), CMPI_chars);
  };
  const auto read_text = [](const CMPIData &e) {
    return e.type == CMPI_string ? text_of(e.value.string) : std::string("<wrong type>");
  };
  check_object_array(set, get, "aString", CMPI_string, CMPI_stringA, CMPI_stringA, fill_text,
                     read_text, "t0", "t1", state);
  check_object_array(set, get, "aChars", CMPI_chars, CMPI_charsA, CMPI_stringA, fill_text,
                     read_text, "t0", "t1", state);
  check_object_array(set, get, "aCharsPtr", CMPI_charsptr, CMPI_charsptrA, CMPI_stringA,
                     fill_text, read_text, "t0", "t1", state);

  check_object_array(
      set, get, "aDateTime", CMPI_dateTime, CMPI_dateTimeA, CMPI_dateTimeA,
      [](CMPIArray *a, CMPICount i) {
        CMPIDateTime *dt = new_datetime(i == 0 ? "20200101000000.000000+000"
                                               : "00000001120032.000000:000");
        a->ft->setElementAt(a, i, reinterpret_cast<const CMPIValue *>(&dt), CMPI_dateTime);
        dt->ft->release(dt);
      },
      [](const CMPIData &e) {
        return e.type == CMPI_dateTime ? datetime_text(e.value.dateTime) : "<wrong type>";
      },
      "20200101000000.000000+000", "00000001120032.000000:000", state);

  check_object_array(
      set, get, "aRef", CMPI_ref, CMPI_refA, CMPI_refA,
      [](CMPIArray *a, CMPICount i) {
        CMPIObjectPath *op = new_path("root/a", i == 0 ? "A0" : "A1");
        a->ft->setElementAt(a, i, reinterpret_cast<const CMPIValue *>(&op), CMPI_ref);
        op->ft->release(op);
      },
      [](const CMPIData &e) {
        return e.type == CMPI_ref ? path_text(e.value.ref) : std::string("<wrong type>");
      },
      "root/a:A0", "root/a:A1", state);

  check_object_array(
      set, get, "aInstance", CMPI_instance, CMPI_instanceA, CMPI_instanceA,
      [](CMPIArray *a, CMPICount i) {
        CMPIInstance *inst = new_embedded(i == 0 ? "i0" : "i1");
        a->ft->setElementAt(a, i, reinterpret_cast<const CMPIValue *>(&inst), CMPI_instance);
        inst->ft->release(inst);
      },
      [](const CMPIData &e) {
        return e.type == CMPI_instance ? embedded_marker(e.value.inst) : "<wrong type>";
      },
      "i0", "i1", state);
}

// ---- object path tests ---------------------------------------------------------------------

std::string name_space_of(const CMPIObjectPath *op) {
  CMPIStatus rc = unset_status();
  CMPIString *s = op->ft->getNameSpace(op, &rc);
  EXPECT_EQ(CMPI_RC_OK, +rc.rc);
  return take(s);
}

std::string class_name_of(const CMPIObjectPath *op) {
  CMPIStatus rc = unset_status();
  CMPIString *s = op->ft->getClassName(op, &rc);
  EXPECT_EQ(CMPI_RC_OK, +rc.rc);
  return take(s);
}

std::string host_of(const CMPIObjectPath *op) {
  CMPIStatus rc = unset_status();
  CMPIString *s = op->ft->getHostname(op, &rc);
  EXPECT_EQ(CMPI_RC_OK, +rc.rc);
  return take(s);
}

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
