// instance_frame_test.cpp - the instance-bearing answers of serializeResponse written straight
// from the instance (InstanceWriter::kDirect, what serializeResponse uses) against the jsoncpp
// document written by compact_text (InstanceWriter::kTree): for every CIM type, null values,
// arrays, references, embedded instances, awkward names and text, generated instances and every
// failure, both writers must give the same result, the same frame byte for byte, the same length,
// the same log lines and the same text on standard output.
#include <cmpimacs.h>
#include <cmpiutility/response.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "fault_injection.h"
#include "log_capture.h"
#include "response/response_codec.h"

namespace {

using cmpitest::Allocation;
using cmpitest::FailingAllocation;
using cmpitest::LogCapture;
using cmpitest::LogLine;
using cmpiutility::InstanceWriter;

constexpr char kNs[] = "root/cimv2";
const int kInstanceTypes[] = {ENUMINST, GETINST, ASSOCIATORS, EXECQUERY};

// Everything one serialisation leaves behind.
struct Outcome {
  int rc = -1;
  bool buffer_handed_out = false;
  std::string frame;
  uint32_t length = 0;
  std::vector<LogLine> lines;
  std::string printed;  // standard output
};

Outcome serialize(ServerResp *resp, InstanceWriter writer) {
  Outcome outcome;
  std::vector<char> fixed(FRAME_BUFFER_SIZE, 'F');
  char *method = nullptr;
  void *buffer = nullptr;
  uint32_t length = 0xDEADBEEF;
  testing::internal::CaptureStdout();
  {
    LogCapture log;
    outcome.rc =
        cmpiutility::serialize_response(resp, fixed.data(), &method, &length, &buffer, writer);
    outcome.lines = log.lines();
  }
  outcome.printed = testing::internal::GetCapturedStdout();
  outcome.length = length;
  if (buffer != nullptr) {
    outcome.buffer_handed_out = true;
    outcome.frame = static_cast<const char *>(buffer);
    free(buffer);
  }
  free(method);
  return outcome;
}

ServerResp *record(int type, CMPIInstance *inst) {
  ServerResp *resp = nullptr;
  CMPIStatus ok = {CMPI_RC_OK, nullptr};
  CMPIValue none;
  none.uint64 = 0;
  EXPECT_EQ(getResponseStruct(&resp, type, inst, nullptr, none, CMPI_null, &ok, nullptr), 0);
  return resp;
}

// Both writers on inst as an answer of the given type; returns the direct writer's outcome.
Outcome expect_same(CMPIInstance *inst, int type = ENUMINST, const std::string &what = "") {
  ServerResp *resp = record(type, inst);
  const Outcome tree = serialize(resp, InstanceWriter::kTree);
  const Outcome direct = serialize(resp, InstanceWriter::kDirect);
  releaseResponseData(resp);
  EXPECT_EQ(direct.rc, tree.rc) << what;
  EXPECT_EQ(direct.buffer_handed_out, tree.buffer_handed_out) << what;
  EXPECT_EQ(direct.frame, tree.frame) << what;
  EXPECT_EQ(direct.length, tree.length) << what;
  EXPECT_EQ(direct.lines, tree.lines) << what;
  EXPECT_EQ(direct.printed, tree.printed) << what;
  return direct;
}

// Both writers on inst for every instance-bearing type.
void expect_same_for_every_type(CMPIInstance *inst, const std::string &what = "") {
  for (int type : kInstanceTypes) expect_same(inst, type, what + " type " + std::to_string(type));
}

CMPIInstance *new_instance(const char *class_name = "Test_Thing", const char *ns = kNs) {
  CMPIObjectPath *path = makeNewObjectPath(ns, class_name, nullptr);
  CMPIInstance *inst = makeNewCMPIInstance(path, nullptr);
  CMRelease(path);
  return inst;
}

// An instance released at the end of the scope.
struct Instance {
  CMPIInstance *inst;
  explicit Instance(CMPIInstance *made = new_instance()) : inst(made) {}
  ~Instance() {
    if (inst != nullptr) CMRelease(inst);
  }
  Instance(const Instance &) = delete;
  Instance &operator=(const Instance &) = delete;
  template <typename T>
  void set(const char *name, T value, CMPIType type) {
    ASSERT_EQ(CMSetProperty(inst, name, &value, type).rc, CMPI_RC_OK) << name;
  }
  void set_text(const char *name, const char *text, CMPIType type = CMPI_chars) {
    ASSERT_EQ(CMSetProperty(inst, name, text, type).rc, CMPI_RC_OK) << name;
  }
  // A null datum of the type.
  void set_null(const char *name, CMPIType type) {
    ASSERT_EQ(CMSetProperty(inst, name, nullptr, type).rc, CMPI_RC_OK) << name;
  }
  // Hands an object (array, instance, path, date-time) over to the instance, which copies it.
  template <typename Object>
  void set_object(const char *name, Object *object, CMPIType type) {
    ASSERT_EQ(CMSetProperty(inst, name, &object, type).rc, CMPI_RC_OK) << name;
    CMRelease(object);
  }
};

CMPIObjectPath *path_with_keys(const char *class_name,
                               std::initializer_list<std::pair<const char *, const char *>> keys,
                               const char *ns = kNs) {
  CMPIObjectPath *path = makeNewObjectPath(ns, class_name, nullptr);
  for (const auto &key : keys) CMAddKey(path, key.first, key.second, CMPI_chars);
  return path;
}

template <typename T>
CMPIArray *number_array(std::initializer_list<T> numbers, CMPIType type) {
  CMPIArray *array = makeNewCMPIArray(static_cast<CMPICount>(numbers.size()), type, nullptr);
  CMPICount index = 0;
  for (T number : numbers) CMSetArrayElementAt(array, index++, &number, type);
  return array;
}

CMPIArray *text_array(std::initializer_list<const char *> texts, CMPIType type = CMPI_string) {
  CMPIArray *array = makeNewCMPIArray(static_cast<CMPICount>(texts.size()), type, nullptr);
  CMPICount index = 0;
  for (const char *text : texts) CMSetArrayElementAt(array, index++, text, CMPI_chars);
  return array;
}

CMPIInstance *sensor(int reading) {
  CMPIInstance *inst = new_instance("Test_Sensor");
  CMPISint32 value = reading;
  CMSetProperty(inst, "Reading", &value, CMPI_sint32);
  CMSetProperty(inst, "Units", "Celsius \"C\"", CMPI_chars);
  return inst;
}

// Texts that need every kind of escape, non-ASCII and malformed UTF-8.
std::vector<std::string> awkward_texts() {
  std::vector<std::string> texts = {"",
                                    "plain",
                                    "quote \" backslash \\ slash /",
                                    "\b\f\n\r\t",
                                    "\x7f delete",
                                    "caf\xc3\xa9 \xe2\x82\xac \xf0\x9f\x98\x80",
                                    "bad \xff\xfe utf-8 \xc3",
                                    "lone \xed\xa0\x80 surrogate",
                                    "NULL",
                                    "null",
                                    std::string(5000, 'x') + "\"end"};
  std::string controls;
  for (char c = 1; c < 0x20; ++c) controls.push_back(c);
  texts.push_back(controls);
  return texts;
}

// ---- every type, one property each ------------------------------------------------------------

TEST(InstanceFrame, UnsignedIntegersAtTheirLimits) {
  Instance i;
  i.set("U8", CMPIUint8{255}, CMPI_uint8);
  i.set("U8z", CMPIUint8{0}, CMPI_uint8);
  i.set("U16", CMPIUint16{65535}, CMPI_uint16);
  i.set("U32", CMPIUint32{4294967295u}, CMPI_uint32);
  i.set("U64", CMPIUint64{18446744073709551615ull}, CMPI_uint64);
  i.set("U64mid", CMPIUint64{9223372036854775808ull}, CMPI_uint64);
  i.set("U64big", CMPIUint64{9223372036854775807ull}, CMPI_uint64);
  i.set("U64z", CMPIUint64{0}, CMPI_uint64);
  const Outcome o = expect_same(i.inst);
  // A value above the signed range goes through strtoll and is written as its largest value.
  EXPECT_NE(
      o.frame.find("\"U64\":{\"DataState\":0,\"DataType\":176,\"Value\":9223372036854775807}"),
      std::string::npos)
      << o.frame;
  expect_same_for_every_type(i.inst);
}

TEST(InstanceFrame, SignedIntegersAtTheirLimits) {
  Instance i;
  i.set("S8", CMPISint8{-128}, CMPI_sint8);
  i.set("S8p", CMPISint8{127}, CMPI_sint8);
  i.set("S16", CMPISint16{-32768}, CMPI_sint16);
  i.set("S32", CMPISint32{-2147483647 - 1}, CMPI_sint32);
  i.set("S32m1", CMPISint32{-1}, CMPI_sint32);
  i.set("S64", CMPISint64{std::numeric_limits<int64_t>::min()}, CMPI_sint64);
  i.set("S64p", CMPISint64{std::numeric_limits<int64_t>::max()}, CMPI_sint64);
  i.set("S64z", CMPISint64{0}, CMPI_sint64);
  const Outcome o = expect_same(i.inst);
  EXPECT_NE(o.frame.find(
                "\"S32m1\":{\"DataState\":0,\"DataType\":224,\"Value\":18446744073709551615}"),
            std::string::npos)
      << o.frame;
  expect_same_for_every_type(i.inst);
}

TEST(InstanceFrame, RealsIncludingTheirEdgeValues) {
  const float floats[] = {0.0f,
                          -0.0f,
                          0.1f,
                          -1.5f,
                          1e-45f,
                          1.17549435e-38f,
                          3.4028235e38f,
                          std::numeric_limits<float>::infinity(),
                          -std::numeric_limits<float>::infinity(),
                          std::numeric_limits<float>::quiet_NaN(),
                          123456789.0f};
  const double doubles[] = {0.0,
                            0.1,
                            -2.5e-310,
                            1e300,
                            -1e300,
                            std::numeric_limits<double>::max(),
                            std::numeric_limits<double>::infinity(),
                            -std::numeric_limits<double>::infinity(),
                            std::numeric_limits<double>::quiet_NaN(),
                            3.141592653589793,
                            1e-320};
  Instance i;
  int n = 0;
  for (float f : floats) i.set(("R32_" + std::to_string(n++)).c_str(), f, CMPI_real32);
  n = 0;
  for (double d : doubles) i.set(("R64_" + std::to_string(n++)).c_str(), d, CMPI_real64);
  const Outcome o = expect_same(i.inst);
  EXPECT_EQ(o.rc, 0);
  expect_same_for_every_type(i.inst);
}

TEST(InstanceFrame, BooleansAndChar16) {
  Instance i;
  i.set("True", CMPIBoolean{1}, CMPI_boolean);
  i.set("False", CMPIBoolean{0}, CMPI_boolean);
  const CMPIChar16 units[] = {0, 'A', 0x7F, 0xE9, 0x20AC, 0xD800, 0xFFFF};
  int n = 0;
  for (CMPIChar16 unit : units) i.set(("C16_" + std::to_string(n++)).c_str(), unit, CMPI_char16);
  expect_same_for_every_type(i.inst);
}

TEST(InstanceFrame, TextsNeedingEscapesAsStringsAndChars) {
  Instance i;
  int n = 0;
  for (const std::string &text : awkward_texts()) {
    i.set_text(("S_" + std::to_string(n)).c_str(), text.c_str(), CMPI_chars);
    CMPIString *string = CreateString(text.c_str(), nullptr);
    i.set_object(("T_" + std::to_string(n)).c_str(), string, CMPI_string);
    ++n;
  }
  expect_same_for_every_type(i.inst);
}

TEST(InstanceFrame, DateTimes) {
  Instance i;
  for (const char *text : {"20241114120523.243424-300", "00000001020304.000005:000",
                           "19700101000000.000000+000"}) {
    CMPIDateTime *when = makeNewCMPIDateTimeFromChars(text, nullptr);
    ASSERT_NE(when, nullptr) << text;
    i.set_object(text, when, CMPI_dateTime);
  }
  expect_same_for_every_type(i.inst);
}

TEST(InstanceFrame, NullValuesOfEveryType) {
  Instance i;
  const CMPIType types[] = {CMPI_boolean, CMPI_char16,   CMPI_real32,   CMPI_real64,
                            CMPI_uint8,   CMPI_uint16,   CMPI_uint32,   CMPI_uint64,
                            CMPI_sint8,   CMPI_sint16,   CMPI_sint32,   CMPI_sint64,
                            CMPI_string,  CMPI_chars,    CMPI_dateTime, CMPI_ref,
                            CMPI_uint8A,  CMPI_stringA,  CMPI_real64A,  CMPI_instanceA,
                            CMPI_refA,    CMPI_booleanA, CMPI_dateTimeA};
  for (CMPIType type : types) i.set_null(("Null_" + std::to_string(type)).c_str(), type);
  // A null reference has no path: its encoder fails, as the tree path does.
  expect_same_for_every_type(i.inst, "with a null reference");

  Instance without_reference;
  for (CMPIType type : types) {
    if (type == CMPI_ref) continue;
    without_reference.set_null(("Null_" + std::to_string(type)).c_str(), type);
  }
  const Outcome o = expect_same(without_reference.inst);
  EXPECT_EQ(o.rc, 0);
  expect_same_for_every_type(without_reference.inst);
}

TEST(InstanceFrame, KeysOfTheInstancePath) {
  CMPIObjectPath *path = path_with_keys("Test_Keyed", {{"Name", "k\"1"}, {"Id", "7"}});
  Instance i(makeNewCMPIInstance(path, nullptr));
  CMRelease(path);
  i.set_text("Name", "k\"1");
  i.set_text("Id", "7");
  i.set("Other", CMPIUint16{3}, CMPI_uint16);
  expect_same_for_every_type(i.inst);
}

// ---- arrays -----------------------------------------------------------------------------------

TEST(InstanceFrame, ArraysOfEveryElementTypeAndEmptyOnes) {
  Instance i;
  i.set_object("U8s", number_array<CMPIUint8>({0, 1, 255}, CMPI_uint8), CMPI_uint8A);
  i.set_object("U64s", number_array<CMPIUint64>({0, 18446744073709551615ull}, CMPI_uint64),
               CMPI_uint64A);
  i.set_object("S32s", number_array<CMPISint32>({-1, 0, 2147483647}, CMPI_sint32), CMPI_sint32A);
  i.set_object("S64s", number_array<CMPISint64>({std::numeric_limits<int64_t>::min()}, CMPI_sint64),
               CMPI_sint64A);
  i.set_object("Bools", number_array<CMPIBoolean>({1, 0}, CMPI_boolean), CMPI_booleanA);
  i.set_object("Reals", number_array<CMPIReal32>({0.5f, 1.0f}, CMPI_real32), CMPI_real32A);
  i.set_object("Real64s", number_array<CMPIReal64>({0.1}, CMPI_real64), CMPI_real64A);
  i.set_object("Char16s", number_array<CMPIChar16>({'a', 0x20AC}, CMPI_char16), CMPI_char16A);
  i.set_object("Strings", text_array({"a", "b \"q\"", "\n", "caf\xc3\xa9", ""}), CMPI_stringA);
  i.set_object("Chars", text_array({"x", "y"}, CMPI_chars), CMPI_charsA);
  i.set_object("EmptyStrings", makeNewCMPIArray(0, CMPI_string, nullptr), CMPI_stringA);
  i.set_object("EmptyU32", makeNewCMPIArray(0, CMPI_uint32, nullptr), CMPI_uint32A);
  i.set_object("EmptyInstances", makeNewCMPIArray(0, CMPI_instance, nullptr), CMPI_instanceA);
  CMPIArray *dates = makeNewCMPIArray(2, CMPI_dateTime, nullptr);
  for (CMPICount n = 0; n < 2; ++n) {
    CMPIDateTime *when = makeNewCMPIDateTimeFromChars("20241114120523.243424-300", nullptr);
    CMSetArrayElementAt(dates, n, &when, CMPI_dateTime);
    CMRelease(when);
  }
  i.set_object("Dates", dates, CMPI_dateTimeA);
  CMPIArray *references = makeNewCMPIArray(2, CMPI_ref, nullptr);
  for (CMPICount n = 0; n < 2; ++n) {
    CMPIObjectPath *path = path_with_keys("Test_Target", {{"Tag", n == 0 ? "t0" : "t\"1"}});
    CMSetArrayElementAt(references, n, &path, CMPI_ref);
    CMRelease(path);
  }
  i.set_object("References", references, CMPI_refA);
  CMPIArray *sensors = makeNewCMPIArray(3, CMPI_instance, nullptr);
  for (CMPICount n = 0; n < 3; ++n) {
    CMPIInstance *s = (n == 1) ? new_instance("Test_Empty") : sensor(static_cast<int>(n) - 1);
    CMSetArrayElementAt(sensors, n, &s, CMPI_instance);
    CMRelease(s);
  }
  i.set_object("Sensors", sensors, CMPI_instanceA);
  const Outcome o = expect_same(i.inst);
  EXPECT_EQ(o.rc, 0);
  // Arrays whose elements append nothing, and empty arrays, have no "Value".
  EXPECT_NE(o.frame.find("\"Bools\":{\"DataState\":0,\"DataType\":8194}"), std::string::npos);
  EXPECT_NE(o.frame.find("\"EmptyStrings\":{\"DataState\":0,\"DataType\":13824}"),
            std::string::npos);
  expect_same_for_every_type(i.inst);
}

TEST(InstanceFrame, ArrayWithAnUnsetTextElementFailsAlike) {
  Instance i;
  i.set("First", CMPIUint8{1}, CMPI_uint8);
  CMPIArray *array = makeNewCMPIArray(2, CMPI_string, nullptr);
  CMSetArrayElementAt(array, 0, "set", CMPI_chars);
  i.set_object("Partly", array, CMPI_stringA);
  const Outcome o = expect_same(i.inst);
  EXPECT_EQ(o.rc, 1);
  EXPECT_TRUE(cmpitest::ContainsInOrder(
      o.lines, {cmpitest::Error("ERROR: __getCMPIArgsArray#403: 'value2Chars failed' "),
                cmpitest::Error("ERROR: __getInstanceProps#547: 'getCMPIArgsArray failed'"),
                cmpitest::Error("ERROR: __serializeResponse#2644: 'getInstanceProps failed'")}));
  expect_same_for_every_type(i.inst);
}

TEST(InstanceFrame, ArrayWithAnUnsetInstanceElementFailsAlike) {
  Instance i;
  CMPIArray *array = makeNewCMPIArray(2, CMPI_instance, nullptr);
  CMPIInstance *s = sensor(1);
  CMSetArrayElementAt(array, 0, &s, CMPI_instance);
  CMRelease(s);
  i.set_object("Sensors", array, CMPI_instanceA);
  EXPECT_EQ(expect_same(i.inst).rc, 1);
  expect_same_for_every_type(i.inst);
}

// ---- references and embedded instances --------------------------------------------------------

TEST(InstanceFrame, ReferencesWithAndWithoutKeys) {
  Instance i;
  i.set_object("Keyed", path_with_keys("Test_Target", {{"Name", "disk0"}, {"Type", "2"}}),
               CMPI_ref);
  i.set_object("Keyless", makeNewObjectPath(kNs, "Test_Singleton", nullptr), CMPI_ref);
  i.set_object("Escaped", path_with_keys("Test_Target", {{"Name", "a\"b\\c\n"}}, "root/\xc3\xa9"),
               CMPI_ref);
  // A key that is not text stops the key text where it stands.
  CMPIObjectPath *mixed = makeNewObjectPath(kNs, "Test_Target", nullptr);
  CMAddKey(mixed, "Before", "b", CMPI_chars);
  CMPIUint32 number = 5;
  CMAddKey(mixed, "Number", &number, CMPI_uint32);
  CMAddKey(mixed, "After", "a", CMPI_chars);
  i.set_object("Mixed", mixed, CMPI_ref);
  const Outcome o = expect_same(i.inst);
  EXPECT_EQ(o.rc, 0);
  EXPECT_FALSE(o.printed.empty());  // the key texts are echoed
  expect_same_for_every_type(i.inst);
}

TEST(InstanceFrame, ReferenceWithoutNamespaceFailsAlike) {
  Instance i;
  i.set("A", CMPIUint8{1}, CMPI_uint8);
  i.set_object("Broken", makeNewObjectPath(nullptr, "Test_Target", nullptr), CMPI_ref);
  EXPECT_EQ(expect_same(i.inst).rc, 1);
}

TEST(InstanceFrame, EmbeddedInstancesNestedAndEmpty) {
  Instance inner(sensor(-40));
  Instance middle(new_instance("Test_Middle"));
  CMPIInstance *copy = CMClone(inner.inst, nullptr);
  middle.set_object("Inner", copy, CMPI_instance);
  middle.set_object("Ref", path_with_keys("Test_Target", {{"Tag", "x"}}), CMPI_ref);
  Instance i;
  i.set_object("Middle", CMClone(middle.inst, nullptr), CMPI_instance);
  i.set_object("Empty", new_instance("Test_Empty"), CMPI_instance);
  i.set_object("NoNamespace", new_instance("Test_Lost", nullptr), CMPI_instance);
  i.set("Plain", CMPIUint32{1}, CMPI_uint32);
  const Outcome o = expect_same(i.inst);
  EXPECT_EQ(o.rc, 0);
  expect_same_for_every_type(i.inst);
}

TEST(InstanceFrame, NullEmbeddedInstanceFailsAlike) {
  Instance i;
  i.set("A", CMPIUint8{1}, CMPI_uint8);
  i.set_null("Missing", CMPI_instance);
  EXPECT_EQ(expect_same(i.inst).rc, 1);
}

// ---- names ------------------------------------------------------------------------------------

TEST(InstanceFrame, NamesInJsoncppsOrderWhateverTheOrderOfTheProperties) {
  Instance i;
  const std::string long_name(400, 'n');
  for (const char *name : {"b", "a", "ab", "B", "_", "aa", "a b", "Z9", "z", "Value", "DataType",
                           "quote\"d", "back\\slash", "tab\tname", "caf\xc3\xa9", "\xff", "~",
                           long_name.c_str(), "A"}) {
    i.set(name, CMPIUint16{7}, CMPI_uint16);
  }
  const Outcome o = expect_same(i.inst);
  EXPECT_EQ(o.frame.compare(0, 32, "{\"ClassName\":\"Test_Thing\",\"Insta"), 0) << o.frame;
  expect_same_for_every_type(i.inst);
}

// Up to 32 members are sorted one way, more another: both sides of that line, in reverse order
// and shuffled, with names differing only in case (kept apart, as jsoncpp keeps them).
TEST(InstanceFrame, ManyMembersOutOfOrderOnBothSidesOfTheSortingLine) {
  for (int count : {31, 32, 33, 200}) {
    Instance reversed;
    Instance shuffled;
    for (int n = count - 1; n >= 0; --n) {
      const std::string name = (n % 2 == 0 ? "Prop" : "prop") + std::to_string(n);
      reversed.set(name.c_str(), CMPIUint32{static_cast<CMPIUint32>(n)}, CMPI_uint32);
    }
    for (int k = 0; k < count; ++k) {
      const int n = (k * 7) % count;  // 7 and the counts share no factor: every n once
      const std::string name = (n % 2 == 0 ? "Prop" : "prop") + std::to_string(n);
      shuffled.set(name.c_str(), CMPIUint32{static_cast<CMPIUint32>(n)}, CMPI_uint32);
    }
    const Outcome a = expect_same(reversed.inst, ENUMINST, "reversed " + std::to_string(count));
    const Outcome b = expect_same(shuffled.inst, ENUMINST, "shuffled " + std::to_string(count));
    EXPECT_EQ(a.frame, b.frame) << count;
    // The smallest name bytewise comes first.
    EXPECT_NE(a.frame.find("\"InstanceProps\":{\"Prop0\":"), std::string::npos) << count;
  }
}

TEST(InstanceFrame, NamesAlreadyInOrder) {
  Instance i;
  for (const char *name : {"A", "B", "C", "a", "b"}) i.set(name, CMPIUint16{1}, CMPI_uint16);
  expect_same(i.inst);
}

TEST(InstanceFrame, InstanceWithoutPropertiesHasNoInstanceProps) {
  Instance i;
  const Outcome o = expect_same(i.inst);
  EXPECT_EQ(o.frame,
            "{\"ClassName\":\"Test_Thing\",\"NameSpace\":\"root/cimv2\",\"RequestType\":1}"
            "CMPI_EOF");
  expect_same_for_every_type(i.inst);
}

TEST(InstanceFrame, ClassAndNamespaceNeedingEscapes) {
  Instance i(new_instance("Test_\"Quoted\"", "root/caf\xc3\xa9\t"));
  i.set("A", CMPIUint8{1}, CMPI_uint8);
  expect_same_for_every_type(i.inst);
}

// ---- doctored instances: what the object library does not do ----------------------------------

// A name string without text; releasing it does nothing.
CMPIStatus keep_string(CMPIString *) { return CMPIStatus{CMPI_RC_OK, nullptr}; }
const char *no_chars(const CMPIString *, CMPIStatus *rc) {
  if (rc != nullptr) *rc = CMPIStatus{CMPI_RC_OK, nullptr};
  return nullptr;
}
CMPIStringFT no_text_table = {CMPICurrentVersion, keep_string, nullptr, no_chars};
CMPIString no_text = {nullptr, &no_text_table};

// An instance whose getPropertyAt is re-routed: property `failing` reports an error, property
// `nameless` has no name text, and property `twin` is named like property 0.
struct Doctored {
  static int failing;
  static int nameless;
  static int twin;
  static const CMPIInstanceFT *real;

  CMPIInstance *inst;
  CMPIInstanceFT table;
  explicit Doctored(CMPIInstance *made) : inst(made), table(*made->ft) {
    real = made->ft;
    table.getPropertyAt = property_at;
    inst->ft = &table;
  }
  ~Doctored() { CMRelease(inst); }
  Doctored(const Doctored &) = delete;
  Doctored &operator=(const Doctored &) = delete;

  static CMPIData property_at(const CMPIInstance *inst, CMPICount index, CMPIString **name,
                              CMPIStatus *rc) {
    if (static_cast<int>(index) == failing) {
      if (rc != nullptr) *rc = CMPIStatus{CMPI_RC_ERR_FAILED, nullptr};
      CMPIData nothing;
      std::memset(&nothing, 0, sizeof nothing);
      nothing.state = CMPI_nullValue;
      return nothing;
    }
    CMPIString *own_name = nullptr;
    const CMPIData data = real->getPropertyAt(inst, index, &own_name, rc);
    if (static_cast<int>(index) == twin) {
      CMRelease(own_name);
      CMPIData first = real->getPropertyAt(inst, 0, &own_name, nullptr);
      if ((first.state & CMPI_nullValue) == 0) cmpiReleaseCMPIValue(first.type, &first.value);
    }
    if (static_cast<int>(index) == nameless) {
      CMRelease(own_name);
      own_name = &no_text;
    }
    *name = own_name;
    return data;
  }
};
int Doctored::failing = -1;
int Doctored::nameless = -1;
int Doctored::twin = -1;
const CMPIInstanceFT *Doctored::real = nullptr;

CMPIInstance *mixed_instance() {
  CMPIInstance *inst = new_instance();
  CMPIUint32 number = 42;
  CMSetProperty(inst, "Number", &number, CMPI_uint32);
  CMSetProperty(inst, "Text", "t", CMPI_chars);
  CMPIArray *array = number_array<CMPIUint8>({1, 2}, CMPI_uint8);
  CMSetProperty(inst, "Array", &array, CMPI_uint8A);
  CMRelease(array);
  CMPIObjectPath *path = path_with_keys("Test_Target", {{"Tag", "r"}});
  CMSetProperty(inst, "Ref", &path, CMPI_ref);
  CMRelease(path);
  CMPIInstance *s = sensor(3);
  CMSetProperty(inst, "Sensor", &s, CMPI_instance);
  CMRelease(s);
  CMSetProperty(inst, "Last", "l", CMPI_chars);
  return inst;
}

class DoctoredInstance : public ::testing::Test {
 protected:
  void SetUp() override { Doctored::failing = Doctored::nameless = Doctored::twin = -1; }
};

TEST_F(DoctoredInstance, PropertyThatCannotBeReadAtEachIndex) {
  for (int index = 0; index < 6; ++index) {
    Doctored d(mixed_instance());
    Doctored::failing = index;
    const Outcome o = expect_same(d.inst, ENUMINST, "failing at " + std::to_string(index));
    EXPECT_EQ(o.rc, 1);
    EXPECT_TRUE(o.lines.size() > 2);
  }
}

TEST_F(DoctoredInstance, PropertiesWithoutNameArePassedOver) {
  for (int index = 0; index < 6; ++index) {
    Doctored d(mixed_instance());
    Doctored::nameless = index;
    const Outcome o = expect_same(d.inst, GETINST, "nameless at " + std::to_string(index));
    EXPECT_EQ(o.rc, 0);
  }
}

TEST_F(DoctoredInstance, OnlyNamelessPropertiesGiveAnEmptyContainer) {
  Instance plain;
  plain.set("Only", CMPIUint8{1}, CMPI_uint8);
  Doctored d(CMClone(plain.inst, nullptr));
  Doctored::nameless = 0;
  const Outcome o = expect_same(d.inst);
  EXPECT_NE(o.frame.find("\"InstanceProps\":{},"), std::string::npos) << o.frame;
}

TEST_F(DoctoredInstance, ANameMetTwiceKeepsItsLastValue) {
  for (int index = 1; index < 6; ++index) {
    Doctored d(mixed_instance());
    Doctored::twin = index;
    const Outcome o = expect_same(d.inst, ENUMINST, "twin at " + std::to_string(index));
    EXPECT_EQ(o.rc, 0);
    EXPECT_EQ(o.frame.find("\"Number\":{"), o.frame.rfind("\"Number\":{")) << o.frame;
  }
}

// ---- allocations that fail ---------------------------------------------------------------------

// Every calloc of one serialisation made to fail in turn: the scratch records of embedded
// instances (the walk stops, with result 0 once an array, reference or embedded instance was met
// before) and the frame block.
TEST(InstanceFrame, EveryAllocationThatCanFailFailsAlike) {
  const std::function<CMPIInstance *()> makers[] = {
      [] { return mixed_instance(); },
      [] {
        CMPIInstance *inst = new_instance();
        CMPIInstance *s = sensor(1);
        CMSetProperty(inst, "A_Sensor", &s, CMPI_instance);
        CMRelease(s);
        CMSetProperty(inst, "B_Text", "b", CMPI_chars);
        return inst;
      },
      [] {
        CMPIInstance *inst = new_instance();
        CMPIArray *sensors = makeNewCMPIArray(2, CMPI_instance, nullptr);
        for (CMPICount n = 0; n < 2; ++n) {
          CMPIInstance *s = sensor(static_cast<int>(n));
          CMSetArrayElementAt(sensors, n, &s, CMPI_instance);
          CMRelease(s);
        }
        CMSetProperty(inst, "Sensors", &sensors, CMPI_instanceA);
        CMRelease(sensors);
        return inst;
      },
  };
  for (const auto &make : makers) {
    Instance i(make());
    ServerResp *resp = record(ENUMINST, i.inst);
    int callocs = 0;
    {
      FailingAllocation counting(Allocation::Calloc, 1000);
      serialize(resp, InstanceWriter::kTree);
      callocs = counting.calls(Allocation::Calloc);
    }
    ASSERT_GT(callocs, 0);
    for (int nth = 1; nth <= callocs; ++nth) {
      Outcome tree;
      Outcome direct;
      {
        FailingAllocation failing(Allocation::Calloc, nth);
        tree = serialize(resp, InstanceWriter::kTree);
        EXPECT_TRUE(failing.triggered()) << nth;
      }
      {
        FailingAllocation failing(Allocation::Calloc, nth);
        direct = serialize(resp, InstanceWriter::kDirect);
        EXPECT_TRUE(failing.triggered()) << nth;
      }
      EXPECT_EQ(direct.rc, tree.rc) << nth;
      EXPECT_EQ(direct.frame, tree.frame) << nth;
      EXPECT_EQ(direct.length, tree.length) << nth;
      EXPECT_EQ(direct.lines, tree.lines) << nth;
      EXPECT_EQ(direct.printed, tree.printed) << nth;
    }
    releaseResponseData(resp);
  }
}

// ---- generated instances ----------------------------------------------------------------------

// Sets one property of a kind picked by the generator.
void set_random_property(Instance &i, const std::string &name, std::mt19937 &random, int depth) {
  const std::vector<std::string> texts = awkward_texts();
  const auto pick = [&random](size_t n) { return static_cast<size_t>(random() % n); };
  const char *n = name.c_str();
  switch (pick(depth > 0 ? 16 : 18)) {
    case 0: i.set(n, static_cast<CMPIUint8>(random()), CMPI_uint8); break;
    case 1: i.set(n, static_cast<CMPIUint16>(random()), CMPI_uint16); break;
    case 2: i.set(n, static_cast<CMPIUint32>(random()), CMPI_uint32); break;
    case 3: i.set(n, (static_cast<CMPIUint64>(random()) << 32) | random(), CMPI_uint64); break;
    case 4: i.set(n, static_cast<CMPISint8>(random()), CMPI_sint8); break;
    case 5: i.set(n, static_cast<CMPISint16>(random()), CMPI_sint16); break;
    case 6: i.set(n, static_cast<CMPISint32>(random()), CMPI_sint32); break;
    case 7:
      i.set(n, static_cast<CMPISint64>((static_cast<uint64_t>(random()) << 32) | random()),
            CMPI_sint64);
      break;
    case 8: {
      uint32_t bits = static_cast<uint32_t>(random());
      float f;
      std::memcpy(&f, &bits, sizeof f);
      i.set(n, f, CMPI_real32);
      break;
    }
    case 9: {
      const uint64_t bits = (static_cast<uint64_t>(random()) << 32) | random();
      double d;
      std::memcpy(&d, &bits, sizeof d);
      i.set(n, d, CMPI_real64);
      break;
    }
    case 10: i.set(n, static_cast<CMPIBoolean>(random() % 2), CMPI_boolean); break;
    case 11: i.set(n, static_cast<CMPIChar16>(random()), CMPI_char16); break;
    case 12: i.set_text(n, texts[pick(texts.size())].c_str()); break;
    case 13: {
      CMPIDateTime *when = makeNewCMPIDateTimeFromChars("20241114120523.243424-300", nullptr);
      i.set_object(n, when, CMPI_dateTime);
      break;
    }
    case 14: {
      const CMPIType types[] = {CMPI_uint8,  CMPI_uint64, CMPI_sint16, CMPI_string, CMPI_boolean,
                                CMPI_real32, CMPI_chars,  CMPI_sint64, CMPI_char16};
      const CMPIType type = types[pick(sizeof types / sizeof types[0])];
      const CMPICount count = static_cast<CMPICount>(pick(5));
      CMPIArray *array = makeNewCMPIArray(count, type, nullptr);
      for (CMPICount e = 0; e < count; ++e) {
        if (type == CMPI_string || type == CMPI_chars) {
          CMSetArrayElementAt(array, e, texts[pick(texts.size())].c_str(), CMPI_chars);
        } else {
          uint64_t bits = (static_cast<uint64_t>(random()) << 32) | random();
          if (type == CMPI_boolean) bits &= 1;
          CMSetArrayElementAt(array, e, &bits, type);
        }
      }
      i.set_object(n, array, static_cast<CMPIType>(type | CMPI_ARRAY));
      break;
    }
    case 15: i.set_null(n, random() % 2 ? CMPI_string : CMPI_uint32A); break;
    case 16:
      i.set_object(n, path_with_keys("Test_Target", {{"Tag", texts[pick(3)].c_str()}}), CMPI_ref);
      break;
    default: {
      Instance embedded(new_instance("Test_Embedded"));
      const int count = static_cast<int>(pick(4));
      for (int p = 0; p < count; ++p) {
        set_random_property(embedded, "E" + std::to_string(pick(1000)), random, depth + 1);
      }
      i.set_object(n, CMClone(embedded.inst, nullptr), CMPI_instance);
      break;
    }
  }
}

TEST(InstanceFrame, ManyGeneratedInstances) {
  std::mt19937 random(20261124);
  for (int round = 0; round < 300; ++round) {
    Instance i;
    const int count = static_cast<int>(random() % 40);
    for (int p = 0; p < count; ++p) {
      // Names drawn from a small set so that some repeat (a repeated name replaces the value).
      std::string name = "P" + std::to_string(random() % 60);
      if (random() % 7 == 0) name = "p" + name;
      set_random_property(i, name, random, 0);
    }
    expect_same(i.inst, kInstanceTypes[round % 4], "round " + std::to_string(round));
    if (testing::Test::HasFailure()) break;
  }
}

}  // namespace
