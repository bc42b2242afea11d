// Tests of CMPIInstance: every slot of its table, properties of every type code, the property
// filter, key/path consistency, caller-owned results and clone independence.
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
    EXPECT_EQ(CMPI_RC_OK, +s->ft->release(s).rc);
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
  EXPECT_EQ(CMPI_RC_OK, +rc.rc);
  return op;
}

CMPIObjectPath *new_ref_path() {
  CMPIObjectPath *op = new_path("root/ref", "Ref_Class");
  EXPECT_EQ(CMPI_RC_OK,
            +op->ft->addKey(op, "Id", reinterpret_cast<const CMPIValue *>("r1"), CMPI_chars).rc);
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
  EXPECT_EQ(CMPI_RC_OK, +rc.rc);
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
  EXPECT_EQ(CMPI_RC_OK, +set(name, reinterpret_cast<const CMPIValue *>(&variable), type).rc);
  CMPIStatus rc = unset_status();
  CMPIData d = get(name, &rc);
  EXPECT_EQ(CMPI_RC_OK, +rc.rc);
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
            +a->ft->setElementAt(a, 0, reinterpret_cast<const CMPIValue *>(&variable), element).rc);
  variable = v1;
  ASSERT_EQ(CMPI_RC_OK,
            +a->ft->setElementAt(a, 1, reinterpret_cast<const CMPIValue *>(&variable), element).rc);
  const CMPIType array_type = static_cast<CMPIType>(element | CMPI_ARRAY);
  EXPECT_EQ(CMPI_RC_OK, +set(name, reinterpret_cast<const CMPIValue *>(&a), array_type).rc);
  a->ft->release(a);  // the container keeps its own copy

  CMPIStatus rc = unset_status();
  CMPIData d = get(name, &rc);
  EXPECT_EQ(CMPI_RC_OK, +rc.rc);
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
  EXPECT_EQ(CMPI_RC_OK, +set(name, reinterpret_cast<const CMPIValue *>(&a), set_type).rc);
  a->ft->release(a);

  CMPIStatus rc = unset_status();
  CMPIData d = get(name, &rc);
  EXPECT_EQ(CMPI_RC_OK, +rc.rc);
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
    EXPECT_EQ(CMPI_RC_OK, +set("vString", reinterpret_cast<const CMPIValue *>(&s), CMPI_string).rc);
    s->ft->release(s);
    char buffer[] = "from chars";
    EXPECT_EQ(CMPI_RC_OK, +set("vChars", reinterpret_cast<const CMPIValue *>(buffer), CMPI_chars).rc);
    std::strcpy(buffer, "overwrite");
    char ptr_buffer[] = "from charsptr";
    char *ptr = ptr_buffer;
    EXPECT_EQ(CMPI_RC_OK,
              +set("vCharsPtr", reinterpret_cast<const CMPIValue *>(&ptr), CMPI_charsptr).rc);
    const char *names[] = {"vString", "vChars", "vCharsPtr"};
    const char *texts[] = {"from string", "from chars", "from charsptr"};
    for (int i = 0; i < 3; ++i) {
      CMPIStatus rc = unset_status();
      CMPIData d = get(names[i], &rc);
      EXPECT_EQ(CMPI_RC_OK, +rc.rc);
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
              +set("vDateTime", reinterpret_cast<const CMPIValue *>(&dt), CMPI_dateTime).rc);
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
    EXPECT_EQ(CMPI_RC_OK, +set("vRef", reinterpret_cast<const CMPIValue *>(&op), CMPI_ref).rc);
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
              +set("vInstance", reinterpret_cast<const CMPIValue *>(&inst), CMPI_instance).rc);
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
    EXPECT_EQ(CMPI_RC_OK, +set("vArgs", reinterpret_cast<const CMPIValue *>(&args), CMPI_args).rc);
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
              +set("vEnum", reinterpret_cast<const CMPIValue *>(&en), CMPI_enumeration).rc);
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

// Null values of several kinds: a NULL value pointer, type CMPI_null, a NULL object behind a
// valid pointer. Each reads back as a null datum of the stored type.
void sweep_null_values(const Setter &set, const Getter &get) {
  struct Case {
    const char *name;
    CMPIType set_type;
    CMPIType read_type;
  };
  const Case cases[] = {
      {"nUint32", CMPI_uint32, CMPI_uint32},       {"nBoolean", CMPI_boolean, CMPI_boolean},
      {"nReal64", CMPI_real64, CMPI_real64},       {"nString", CMPI_string, CMPI_string},
      {"nChars", CMPI_chars, CMPI_string},         {"nDateTime", CMPI_dateTime, CMPI_dateTime},
      {"nRef", CMPI_ref, CMPI_ref},                {"nInstance", CMPI_instance, CMPI_instance},
      {"nStringA", CMPI_stringA, CMPI_stringA},    {"nSint8A", CMPI_sint8A, CMPI_sint8A},
      {"nNull", CMPI_null, CMPI_null},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(CMPI_RC_OK, +set(c.name, nullptr, c.set_type).rc);
    CMPIStatus rc = unset_status();
    CMPIData d = get(c.name, &rc);
    EXPECT_EQ(CMPI_RC_OK, +rc.rc);
    EXPECT_EQ(c.read_type, +d.type);
    EXPECT_EQ(CMPI_nullValue, +d.state & CMPI_nullValue);
  }
  CMPIString *no_string = nullptr;
  EXPECT_EQ(CMPI_RC_OK,
            +set("nStringObject", reinterpret_cast<const CMPIValue *>(&no_string), CMPI_string).rc);
  CMPIData d = get("nStringObject", nullptr);
  EXPECT_EQ(CMPI_string, +d.type);
  EXPECT_EQ(CMPI_nullValue, +d.state & CMPI_nullValue);
}

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
    CMPIStatus rc = unset_status();
    CMPIData d = inst->ft->getProperty(inst, name, &rc);
    if (rc.rc != CMPI_RC_OK) {
      return "<missing>";
    }
    std::string text = d.type == CMPI_string ? text_of(d.value.string) : "<wrong type>";
    release_data(&d);
    return text;
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

}  // namespace
