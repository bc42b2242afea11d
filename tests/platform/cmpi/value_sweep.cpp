// value_sweep.cpp - helpers the CMPI object tests share (see value_sweep.h).
#include "value_sweep.h"

#include <gtest/gtest.h>

#include <cstring>

namespace cmpitest {

CMPIStatus unset_status() {
  CMPIStatus st;
  st.rc = static_cast<CMPIrc>(-1);
  st.msg = nullptr;
  return st;
}

std::string text_of(const CMPIString *s) {
  return s == nullptr ? std::string("<null>") : std::string(static_cast<const char *>(s->hdl));
}

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

std::string string_value(const Getter &get, const char *name) {
  CMPIStatus rc = unset_status();
  CMPIData d = get(name, &rc);
  if (rc.rc != CMPI_RC_OK) {
    return "<missing>";
  }
  std::string text = d.type == CMPI_string ? text_of(d.value.string) : "<wrong type>";
  release_data(&d);
  return text;
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

namespace {

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

// An encapsulated object, set and released right after (the container keeps its own copy),
// then read back; check looks at the datum read.
template <typename Object>
void check_object(const Setter &set, const Getter &get, const char *name, CMPIType type,
                  Object *object, CMPIValueState state,
                  const std::function<void(const CMPIData &)> &check) {
  SCOPED_TRACE(name);
  EXPECT_EQ(CMPI_RC_OK, +set(name, reinterpret_cast<const CMPIValue *>(&object), type).rc);
  object->ft->release(object);
  CMPIData d = get(name, nullptr);
  EXPECT_EQ(type, +d.type);
  EXPECT_EQ(state, +d.state);
  check(d);
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

}  // namespace

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
    EXPECT_EQ(CMPI_RC_OK,
              +set("vString", reinterpret_cast<const CMPIValue *>(&s), CMPI_string).rc);
    s->ft->release(s);
    char buffer[] = "from chars";
    EXPECT_EQ(CMPI_RC_OK,
              +set("vChars", reinterpret_cast<const CMPIValue *>(buffer), CMPI_chars).rc);
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

  // Encapsulated objects: a date-time, a reference, an embedded instance, args and an
  // enumeration.
  check_object(set, get, "vDateTime", CMPI_dateTime, new_datetime("20240102030405.123456+060"),
               state, [](const CMPIData &d) {
                 EXPECT_EQ("20240102030405.123456+060", datetime_text(+d.value.dateTime));
               });
  check_object(set, get, "vRef", CMPI_ref, new_ref_path(), state, [](const CMPIData &d) {
    EXPECT_EQ("root/ref:Ref_Class.Id=r1", path_text(+d.value.ref));
  });
  check_object(set, get, "vInstance", CMPI_instance, new_embedded("embedded"), state,
               [](const CMPIData &d) { EXPECT_EQ("embedded", embedded_marker(+d.value.inst)); });
  {
    CMPIArgs *args = makeNewCMPIArgs(nullptr);
    CMPIUint16 n = 7;
    args->ft->addArg(args, "N", reinterpret_cast<const CMPIValue *>(&n), CMPI_uint16);
    check_object(set, get, "vArgs", CMPI_args, args, state, [](const CMPIData &d) {
      CMPIData n_back = d.value.args->ft->getArg(d.value.args, "N", nullptr);
      EXPECT_EQ(7, +n_back.value.uint16);
    });
  }
  {
    CMPIArray *a = makeNewCMPIArray(1, CMPI_string, nullptr);
    a->ft->setElementAt(a, 0, reinterpret_cast<const CMPIValue *>("e0"), CMPI_chars);
    check_object(set, get, "vEnum", CMPI_enumeration, makeNewCMPIEnumeration(a, nullptr), state,
                 [](const CMPIData &d) {
                   CMPIData first = d.value.Enum->ft->getNext(d.value.Enum, nullptr);
                   EXPECT_EQ("e0", text_of(+first.value.string));
                   release_data(&first);
                 });
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
  check_scalar_array<CMPIUint64>(set, get, "aUint64", CMPI_uint64, 3, 18446744073709551615ull,
                                 state);
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

}  // namespace cmpitest
