// Tests of the host's fitting of provider data to the wire (wire_fit.h), through the one frame
// writer (append_response_frame) and the streaming result: keys of every type arrive as the text
// a string key would have given, what the wire cannot carry is left out of the frame and logged
// once per request and place, and data that needs nothing encodes to the very bytes the library
// writes without the host.
#include "wire_fit.h"

#include <cmpiinterface.h>
#include <cmpimacs.h>
#include <cmpiutility/records.h>
#include <cmpiutility/response.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "frame_sink.h"
#include "log_capture.h"
#include "response_frames.h"
#include "streaming_result.h"

namespace hostd {
namespace {

using cmpitest::LogCapture;
using cmpitest::LogLine;

using Instance = FittedInstance;
using Path = FittedPath;
using Args = FittedArgs;
using Array = std::unique_ptr<CMPIArray, CmpiObjectRelease>;
using DateTime = std::unique_ptr<CMPIDateTime, CmpiObjectRelease>;

constexpr char kNs[] = "root/cimv2";
constexpr char kWhen[] = "20240115103000.000000+000";

Path make_path(const char *cls, const char *ns = kNs) {
  return Path(makeNewObjectPath(ns, cls, nullptr));
}

Instance make_instance(const char *cls) {
  Path p = make_path(cls);
  return Instance(makeNewCMPIInstance(p.get(), nullptr));
}

void add_chars_key(CMPIObjectPath *p, const char *name, const char *text) {
  ASSERT_EQ(CMAddKey(p, name, text, CMPI_chars).rc, CMPI_RC_OK);
}

template <class T>
void add_key(CMPIObjectPath *p, const char *name, T value, CMPIType type) {
  ASSERT_EQ(CMAddKey(p, name, &value, type).rc, CMPI_RC_OK);
}

void add_datetime_key(CMPIObjectPath *p, const char *name) {
  DateTime dt(makeNewCMPIDateTimeFromChars(kWhen, nullptr));
  ASSERT_NE(dt, nullptr);
  CMPIDateTime *raw = dt.get();
  ASSERT_EQ(CMAddKey(p, name, &raw, CMPI_dateTime).rc, CMPI_RC_OK);
}

void add_ref_key(CMPIObjectPath *p, const char *name, CMPIObjectPath *target) {
  ASSERT_EQ(CMAddKey(p, name, &target, CMPI_ref).rc, CMPI_RC_OK);
}

void set_chars(CMPIInstance *inst, const char *name, const char *text) {
  ASSERT_EQ(CMSetProperty(inst, name, text, CMPI_chars).rc, CMPI_RC_OK);
}

template <class T>
void set_value(CMPIInstance *inst, const char *name, T value, CMPIType type) {
  ASSERT_EQ(CMSetProperty(inst, name, &value, type).rc, CMPI_RC_OK);
}

void set_null(CMPIInstance *inst, const char *name, CMPIType type) {
  ASSERT_EQ(CMSetProperty(inst, name, nullptr, type).rc, CMPI_RC_OK);
}

// The frame the host writes for one response.
std::string frame(int type, CMPIInstance *inst, CMPIObjectPath *path = nullptr,
                  WireFit *fit = nullptr) {
  ResponseParts parts;
  parts.instance = inst;
  parts.path = path;
  parts.fit = fit;
  std::string out;
  EXPECT_TRUE(append_response_frame(type, parts, &out));
  return out;
}

std::string method_frame(CMPIArgs *args, CMPIType return_type) {
  ResponseParts parts;
  parts.value.args = args;
  parts.value_type = return_type;
  std::string out;
  EXPECT_TRUE(append_response_frame(INVOKEMETHOD, parts, &out));
  return out;
}

// The frame the library writes by itself, without the host's fitting (enumeration types).
std::string library_frame(int type, CMPIInstance *inst, CMPIObjectPath *path) {
  ServerResp *resp = nullptr;
  CMPIValue none{};
  EXPECT_EQ(getResponseStruct(&resp, type, inst, path, none, 0, nullptr, nullptr), 0);
  char fixed[FRAME_BUFFER_SIZE];
  fixed[0] = '\0';
  char *method_buffer = nullptr;
  void *buffer = nullptr;
  uint32_t length = 0;
  EXPECT_EQ(serializeResponse(resp, fixed, &method_buffer, &length, &buffer), 0);
  releaseResponseData(resp);
  std::string out(buffer != nullptr ? static_cast<const char *>(buffer) : "", length);
  std::free(method_buffer);
  std::free(buffer);
  return out;
}

// The daemon's own lines (module 232) at level 3 or below.
std::vector<LogLine> daemon_lines(const LogCapture &cap) {
  std::vector<LogLine> out;
  for (const LogLine &line : cap.lines()) {
    if (line.module == 232 && line.level <= 3) out.push_back(line);
  }
  return out;
}

LogLine warning(const std::string &text) { return cmpitest::Line(text, 2, 232); }

// ---- keys ----------------------------------------------------------------------------------

TEST(WireFit, KeysOfEveryTypeArriveAsTheTextOfStringKeys) {
  Path typed = make_path("Test_Fit");
  add_datetime_key(typed.get(), "When");
  add_key<CMPIUint32>(typed.get(), "Id", 7, CMPI_uint32);
  add_key<CMPISint16>(typed.get(), "Offset", -5, CMPI_sint16);
  add_key<CMPIUint64>(typed.get(), "Big", 18446744073709551615ULL, CMPI_uint64);
  add_key<CMPISint64>(typed.get(), "Low", -9223372036854775807LL - 1, CMPI_sint64);
  add_key<CMPIUint8>(typed.get(), "Level", 200, CMPI_uint8);
  add_key<CMPIBoolean>(typed.get(), "Flag", 1, CMPI_boolean);
  add_key<CMPIBoolean>(typed.get(), "Off", 0, CMPI_boolean);
  add_key<CMPIReal32>(typed.get(), "Ratio", 0.1f, CMPI_real32);
  add_key<CMPIReal64>(typed.get(), "Half", 0.5, CMPI_real64);
  add_key<CMPIReal32>(typed.get(), "Three", 3.0f, CMPI_real32);
  add_key<CMPIChar16>(typed.get(), "Initial", 'A', CMPI_char16);
  add_chars_key(typed.get(), "Name", "n1");

  Path strings = make_path("Test_Fit");
  add_chars_key(strings.get(), "When", kWhen);
  add_chars_key(strings.get(), "Id", "7");
  add_chars_key(strings.get(), "Offset", "-5");
  add_chars_key(strings.get(), "Big", "18446744073709551615");
  add_chars_key(strings.get(), "Low", "-9223372036854775808");
  add_chars_key(strings.get(), "Level", "200");
  add_chars_key(strings.get(), "Flag", "true");
  add_chars_key(strings.get(), "Off", "false");
  add_chars_key(strings.get(), "Ratio", "0.10000000149011612");
  add_chars_key(strings.get(), "Half", "0.5");
  add_chars_key(strings.get(), "Three", "3.0");
  add_chars_key(strings.get(), "Initial", "A");
  add_chars_key(strings.get(), "Name", "n1");

  LogCapture cap;
  const std::string got = frame(ENUMINSTNAMES, nullptr, typed.get());
  EXPECT_EQ(got, frame(ENUMINSTNAMES, nullptr, strings.get()));
  EXPECT_NE(got.find("\"key\":\"When=20240115103000.000000+000,Id=7,Offset=-5,"
                     "Big=18446744073709551615,Low=-9223372036854775808,Level=200,Flag=true,"
                     "Off=false,Ratio=0.10000000149011612,Half=0.5,Three=3.0,Initial=A,Name=n1,\""),
            std::string::npos)
      << got;
  // CreateInstance writes the same key text for its created path.
  EXPECT_EQ(frame(CREATEINST, nullptr, typed.get()), frame(CREATEINST, nullptr, strings.get()));
  EXPECT_TRUE(daemon_lines(cap).empty());
}

TEST(WireFit, TextTypedKeysBecomeStringKeys) {
  Path typed = make_path("Test_Fit");
  CMPIString *text = CreateString("42", nullptr);
  ASSERT_EQ(CMAddKey(typed.get(), "Count", &text, CMPI_numericString).rc, CMPI_RC_OK);
  CMRelease(text);
  Path strings = make_path("Test_Fit");
  add_chars_key(strings.get(), "Count", "42");
  EXPECT_EQ(frame(ENUMINSTNAMES, nullptr, typed.get()),
            frame(ENUMINSTNAMES, nullptr, strings.get()));
}

TEST(WireFit, AReferenceKeyOfAPathFrameStaysAGroupWhateverItsTargetsKeys) {
  Path target = make_path("Test_Owner");
  add_key<CMPIUint32>(target.get(), "Id", 7, CMPI_uint32);
  add_datetime_key(target.get(), "Since");
  Path typed = make_path("Test_Link");
  add_ref_key(typed.get(), "Owner", target.get());
  add_key<CMPIUint16>(typed.get(), "Slot", 3, CMPI_uint16);

  const std::string got = frame(ENUMINSTNAMES, nullptr, typed.get());
  EXPECT_NE(got.find("\"key\":\"(Owner=root/cimv2:Test_Owner.Id=7,Since=" + std::string(kWhen) +
                     ",)Slot=3,\""),
            std::string::npos)
      << got;
}

TEST(WireFit, KeysOfAReferenceValueArriveAsTheTextOfStringKeys) {
  Path parent = make_path("Test_Parent");
  add_chars_key(parent.get(), "Name", "p");
  Path typed_ref = make_path("Test_Owner");
  add_key<CMPIUint32>(typed_ref.get(), "Id", 7, CMPI_uint32);
  add_datetime_key(typed_ref.get(), "Since");
  add_ref_key(typed_ref.get(), "Parent", parent.get());
  add_key<CMPIBoolean>(typed_ref.get(), "Active", 1, CMPI_boolean);
  Path string_ref = make_path("Test_Owner");
  add_chars_key(string_ref.get(), "Id", "7");
  add_chars_key(string_ref.get(), "Since", kWhen);
  add_chars_key(string_ref.get(), "Parent", "root/cimv2:Test_Parent.Name=p");
  add_chars_key(string_ref.get(), "Active", "true");

  Instance typed = make_instance("Test_Fit");
  set_chars(typed.get(), "Id", "a");
  set_value(typed.get(), "Owner", typed_ref.get(), CMPI_ref);
  Instance strings = make_instance("Test_Fit");
  set_chars(strings.get(), "Id", "a");
  set_value(strings.get(), "Owner", string_ref.get(), CMPI_ref);

  LogCapture cap;
  const std::string got = frame(ENUMINST, typed.get());
  EXPECT_EQ(got, frame(ENUMINST, strings.get()));
  EXPECT_NE(got.find("\"key\":\"Id=7,Since=" + std::string(kWhen) +
                     ",Parent=root/cimv2:Test_Parent.Name=p,Active=true,\""),
            std::string::npos)
      << got;
  EXPECT_TRUE(daemon_lines(cap).empty());
}

// ---- null elements ------------------------------------------------------------------------

struct ArrayCase {
  CMPIType element;
  const char *name;  // as the log line names the type
};

// Sets element 0 of an array of two of the given element type; element 1 stays null.
Array array_with_null(CMPIType element) {
  Array array(makeNewCMPIArray(2, element, nullptr));
  CMPIValue v{};
  Path ref_target = make_path("Test_Owner");
  add_chars_key(ref_target.get(), "Id", "x");
  Instance inner = make_instance("Test_Inner");
  DateTime dt(makeNewCMPIDateTimeFromChars(kWhen, nullptr));
  CMPIType given = element;
  switch (element) {
    case CMPI_string:
      v.chars = const_cast<char *>("first");
      given = CMPI_chars;
      break;
    case CMPI_dateTime:
      v.dateTime = dt.get();
      break;
    case CMPI_ref:
      v.ref = ref_target.get();
      break;
    case CMPI_instance:
      set_chars(inner.get(), "Tag", "t");
      v.inst = inner.get();
      break;
    case CMPI_real32:
      v.real32 = 1.5f;
      break;
    case CMPI_real64:
      v.real64 = 1.5;
      break;
    case CMPI_char16:
      v.char16 = 'c';
      break;
    case CMPI_boolean:
      v.boolean = 1;
      break;
    default:
      v.uint64 = 9;  // every integer width reads 9 from it (little-endian)
      break;
  }
  const CMPIValue *value = given == CMPI_chars ? reinterpret_cast<const CMPIValue *>(v.chars) : &v;
  EXPECT_EQ(CMSetArrayElementAt(array.get(), 0, value, given).rc, CMPI_RC_OK);
  return array;
}

TEST(WireFit, ANullElementLeavesTheArrayPropertyOutOfTheInstance) {
  const ArrayCase cases[] = {
      {CMPI_uint8, "uint8"},     {CMPI_uint16, "uint16"},   {CMPI_uint32, "uint32"},
      {CMPI_uint64, "uint64"},   {CMPI_sint8, "sint8"},     {CMPI_sint16, "sint16"},
      {CMPI_sint32, "sint32"},   {CMPI_sint64, "sint64"},   {CMPI_string, "string"},
      {CMPI_dateTime, "dateTime"}, {CMPI_ref, "reference"}, {CMPI_instance, "embedded-instance"},
  };
  for (const ArrayCase &c : cases) {
    SCOPED_TRACE(c.name);
    Array array = array_with_null(c.element);
    Instance given = make_instance("Test_Fit");
    set_chars(given.get(), "Id", "a");
    set_value(given.get(), "Values", array.get(), static_cast<CMPIType>(c.element | CMPI_ARRAY));
    Instance without = make_instance("Test_Fit");
    set_chars(without.get(), "Id", "a");

    LogCapture cap;
    EXPECT_EQ(frame(ENUMINST, given.get()), frame(ENUMINST, without.get()));
    EXPECT_EQ(frame(GETINST, given.get()), frame(GETINST, without.get()));
    EXPECT_EQ(daemon_lines(cap),
              std::vector<LogLine>(
                  {warning(std::string("EnumerateInstances: property Values of Test_Fit is left "
                                       "out: its ") +
                           c.name + " array holds a null element, which the wire cannot carry"),
                   warning(std::string("GetInstance: property Values of Test_Fit is left out: "
                                       "its ") +
                           c.name + " array holds a null element, which the wire cannot carry")}));
  }
}

TEST(WireFit, ANullElementOfABooleanRealOrChar16ArrayChangesNothing) {
  // These arrays are written without elements, whatever they hold: nothing is left out.
  for (CMPIType element : {CMPI_boolean, CMPI_real32, CMPI_real64, CMPI_char16}) {
    SCOPED_TRACE(element);
    Array array = array_with_null(element);
    Instance given = make_instance("Test_Fit");
    set_value(given.get(), "Values", array.get(), static_cast<CMPIType>(element | CMPI_ARRAY));
    LogCapture cap;
    WireFit fit(ENUMINST);
    EXPECT_EQ(fit.instance(given.get()), nullptr);
    const std::string got = frame(ENUMINST, given.get());
    EXPECT_EQ(got, library_frame(ENUMINST, given.get(), nullptr));
    EXPECT_NE(got.find("\"Values\":{\"DataState\":0,\"DataType\":" +
                       std::to_string(element | CMPI_ARRAY) + "}"),
              std::string::npos)
        << got;
    EXPECT_TRUE(daemon_lines(cap).empty());
  }
}

// ---- null references and embedded instances ---------------------------------------------

TEST(WireFit, NullReferenceAndEmbeddedInstanceValuesAreLeftOut) {
  Path no_ns = make_path("Test_Owner", nullptr);
  add_chars_key(no_ns.get(), "Id", "x");
  Path no_class = make_path(nullptr);
  add_chars_key(no_class.get(), "Id", "x");
  Instance given = make_instance("Test_Fit");
  set_chars(given.get(), "Id", "a");
  set_null(given.get(), "Owner", CMPI_ref);
  set_null(given.get(), "Sensor", CMPI_instance);
  set_value(given.get(), "Homeless", no_ns.get(), CMPI_ref);
  set_value(given.get(), "Nameless", no_class.get(), CMPI_ref);
  set_null(given.get(), "Codes", CMPI_uint32A);  // a null array is carried: it stays
  set_null(given.get(), "Count", CMPI_uint32);   // so is a null integer property
  Instance kept = make_instance("Test_Fit");
  set_chars(kept.get(), "Id", "a");
  set_null(kept.get(), "Codes", CMPI_uint32A);
  set_null(kept.get(), "Count", CMPI_uint32);

  LogCapture cap;
  EXPECT_EQ(frame(ASSOCIATORS, given.get()), frame(ASSOCIATORS, kept.get()));
  EXPECT_EQ(
      daemon_lines(cap),
      std::vector<LogLine>({
          warning("Associators: property Owner of Test_Fit is left out: it is a null "
                  "reference, which the wire cannot carry"),
          warning("Associators: property Sensor of Test_Fit is left out: it is a null embedded "
                  "instance, which the wire cannot carry"),
          warning("Associators: property Homeless of Test_Fit is left out: its reference has no "
                  "namespace, which the wire cannot carry"),
          warning("Associators: property Nameless of Test_Fit is left out: its reference has no "
                  "class name, which the wire cannot carry"),
      }));
}

TEST(WireFit, NestedEmbeddedInstancesAreFittedAtEveryDepth) {
  Array codes = array_with_null(CMPI_uint32);
  Path owner = make_path("Test_Owner");
  add_key<CMPIUint32>(owner.get(), "Id", 7, CMPI_uint32);
  Path owner_text = make_path("Test_Owner");
  add_chars_key(owner_text.get(), "Id", "7");

  // given: Test_Fit.Sensor = Test_Inner1 { Deep = Test_Inner2 { Codes = [9, null], Owner } }
  auto build = [&](bool fitted) {
    Instance inner2 = make_instance("Test_Inner2");
    set_chars(inner2.get(), "Tag", "deep");
    if (!fitted) set_value(inner2.get(), "Codes", codes.get(), CMPI_uint32A);
    set_value(inner2.get(), "Owner", fitted ? owner_text.get() : owner.get(), CMPI_ref);
    Instance inner1 = make_instance("Test_Inner1");
    set_chars(inner1.get(), "Tag", "middle");
    set_value(inner1.get(), "Deep", inner2.get(), CMPI_instance);
    if (!fitted) set_null(inner1.get(), "Gone", CMPI_instance);
    // An array of embedded instances whose element needs fitting.
    Array list(makeNewCMPIArray(1, CMPI_instance, nullptr));
    CMPIInstance *raw = inner2.get();
    EXPECT_EQ(CMSetArrayElementAt(list.get(), 0, &raw, CMPI_instance).rc, CMPI_RC_OK);
    Instance outer = make_instance("Test_Fit");
    set_chars(outer.get(), "Id", "a");
    set_value(outer.get(), "Sensor", inner1.get(), CMPI_instance);
    set_value(outer.get(), "Parts", list.get(), CMPI_instanceA);
    return outer;
  };
  Instance given = build(false);
  Instance expected = build(true);

  LogCapture cap;
  const std::string got = frame(EXECQUERY, given.get());
  EXPECT_EQ(got, frame(EXECQUERY, expected.get()));
  EXPECT_NE(got.find("\"Tag\":{\"DataState\":0,\"DataType\":5632,\"Value\":\"deep\"}"),
            std::string::npos);
  EXPECT_EQ(daemon_lines(cap),
            std::vector<LogLine>({
                warning("ExecQuery: property Codes of Test_Inner2 (embedded in Test_Inner1.Deep, "
                        "embedded in Test_Fit.Sensor) is left out: its uint32 array holds a null "
                        "element, which the wire cannot carry"),
                warning("ExecQuery: property Gone of Test_Inner1 (embedded in Test_Fit.Sensor) "
                        "is left out: it is a null embedded instance, which the wire cannot "
                        "carry"),
                warning("ExecQuery: property Codes of Test_Inner2 (embedded in Test_Fit.Parts) "
                        "is left out: its uint32 array holds a null element, which the wire "
                        "cannot carry"),
            }));
}

// ---- nothing to fix --------------------------------------------------------------------------

TEST(WireFit, DataThatFitsIsNeitherCopiedNorChanged) {
  Path owner = make_path("Test_Owner");
  add_chars_key(owner.get(), "Id", "x");
  Instance sensor = make_instance("Test_Sensor");
  set_value<CMPIUint16>(sensor.get(), "Reading", 35, CMPI_uint16);
  Array speeds(makeNewCMPIArray(0, CMPI_uint32, nullptr));
  for (CMPIUint32 v : {2200u, 2300u}) {
    ASSERT_EQ(CMSetArrayElementAt(speeds.get(), CMGetArrayCount(speeds.get(), nullptr), &v,
                                  CMPI_uint32)
                  .rc,
              CMPI_RC_OK);
  }
  DateTime dt(makeNewCMPIDateTimeFromChars(kWhen, nullptr));
  Instance inst = make_instance("Test_Fit");
  set_chars(inst.get(), "Id", "a");
  set_null(inst.get(), "Notes", CMPI_string);
  set_null(inst.get(), "Level", CMPI_uint8);
  set_value<CMPIBoolean>(inst.get(), "Enabled", 1, CMPI_boolean);
  set_value<CMPISint32>(inst.get(), "Trend", -12, CMPI_sint32);
  set_value<CMPIReal32>(inst.get(), "Load", 0.25f, CMPI_real32);
  set_value(inst.get(), "Installed", dt.get(), CMPI_dateTime);
  set_value(inst.get(), "Owner", owner.get(), CMPI_ref);
  set_value(inst.get(), "Sensor", sensor.get(), CMPI_instance);
  set_value(inst.get(), "Speeds", speeds.get(), CMPI_uint32A);
  set_null(inst.get(), "Tags", CMPI_stringA);

  Path path = make_path("Test_Fit");
  add_chars_key(path.get(), "Id", "a");
  add_ref_key(path.get(), "Owner", owner.get());

  LogCapture cap;
  WireFit fit(ENUMINST);
  EXPECT_EQ(fit.instance(inst.get()), nullptr);
  EXPECT_EQ(fit.path(path.get()), nullptr);
  EXPECT_EQ(frame(ENUMINST, inst.get()), library_frame(ENUMINST, inst.get(), nullptr));
  EXPECT_EQ(frame(ENUMINSTNAMES, nullptr, path.get()),
            library_frame(ENUMINSTNAMES, nullptr, path.get()));
  EXPECT_TRUE(daemon_lines(cap).empty());
}

// ---- once per request ------------------------------------------------------------------------

TEST(WireFit, AStreamedAnswerLogsEachPlaceOnce) {
  Array codes = array_with_null(CMPI_uint32);
  StringSink sink;
  LogCapture cap;
  {
    StreamingResult result(ENUMINST, &sink, nullptr);
    for (int i = 0; i < 1000; ++i) {
      Instance inst = make_instance("Test_Fit");
      set_chars(inst.get(), "Id", std::to_string(i).c_str());
      set_value(inst.get(), "Codes", codes.get(), CMPI_uint32A);
      set_null(inst.get(), "Owner", CMPI_ref);
      ASSERT_EQ(CMReturnInstance(result.result(), inst.get()).rc, CMPI_RC_OK);
    }
    EXPECT_EQ(result.frames(), 1000u);
    EXPECT_FALSE(result.failed());
  }
  EXPECT_EQ(sink.text.find("Codes"), std::string::npos);
  EXPECT_EQ(sink.text.find("Owner"), std::string::npos);
  EXPECT_NE(sink.text.find("\"Value\":\"999\""), std::string::npos);
  EXPECT_EQ(daemon_lines(cap),
            std::vector<LogLine>({
                warning("EnumerateInstances: property Codes of Test_Fit is left out: its uint32 "
                        "array holds a null element, which the wire cannot carry"),
                warning("EnumerateInstances: property Owner of Test_Fit is left out: it is a null "
                        "reference, which the wire cannot carry"),
            }));

  // The next request logs again.
  cap.clear();
  StringSink second;
  StreamingResult again(ENUMINST, &second, nullptr);
  Instance inst = make_instance("Test_Fit");
  set_value(inst.get(), "Codes", codes.get(), CMPI_uint32A);
  ASSERT_EQ(CMReturnInstance(again.result(), inst.get()).rc, CMPI_RC_OK);
  EXPECT_EQ(daemon_lines(cap).size(), 1u);
}

TEST(WireFit, AStreamedPathWithTypedKeysArrivesAsText) {
  StringSink sink;
  StreamingResult result(ENUMINSTNAMES, &sink, nullptr);
  Path path = make_path("Test_Fit");
  add_datetime_key(path.get(), "When");
  add_key<CMPISint32>(path.get(), "Id", -3, CMPI_sint32);
  ASSERT_EQ(CMReturnObjectPath(result.result(), path.get()).rc, CMPI_RC_OK);
  // An instance returned to EnumerateInstanceNames streams its path, fitted the same way.
  Instance inst(makeNewCMPIInstance(path.get(), nullptr));
  ASSERT_EQ(CMReturnInstance(result.result(), inst.get()).rc, CMPI_RC_OK);
  const std::string key = "\"key\":\"When=" + std::string(kWhen) + ",Id=-3,\"";
  const std::size_t first = sink.text.find(key);
  ASSERT_NE(first, std::string::npos) << sink.text;
  EXPECT_NE(sink.text.find(key, first + 1), std::string::npos) << sink.text;
  EXPECT_EQ(result.frames(), 2u);
}

// ---- method output arguments -----------------------------------------------------------------

TEST(WireFit, OutputArgumentsTheWireCannotCarryAreLeftOut) {
  Array codes = array_with_null(CMPI_uint32);
  Path owner = make_path("Test_Owner");
  add_key<CMPIUint32>(owner.get(), "Id", 7, CMPI_uint32);
  Path owner_text = make_path("Test_Owner");
  add_chars_key(owner_text.get(), "Id", "7");
  CMPIUint32 rv = 0;
  CMPIUint32 previous = 2400;

  Args given(makeNewCMPIArgs(nullptr));
  ASSERT_EQ(CMAddArg(given.get(), "__ReturnValue", &rv, CMPI_uint32).rc, CMPI_RC_OK);
  ASSERT_EQ(CMAddArg(given.get(), "Previous", &previous, CMPI_uint32).rc, CMPI_RC_OK);
  ASSERT_EQ(CMAddArg(given.get(), "Missing", nullptr, CMPI_uint32).rc, CMPI_RC_OK);
  ASSERT_EQ(CMAddArg(given.get(), "Flag", nullptr, CMPI_boolean).rc, CMPI_RC_OK);
  ASSERT_EQ(CMAddArg(given.get(), "NoList", nullptr, CMPI_stringA).rc, CMPI_RC_OK);
  ASSERT_EQ(CMAddArg(given.get(), "Nobody", nullptr, CMPI_ref).rc, CMPI_RC_OK);
  ASSERT_EQ(CMAddArg(given.get(), "Codes", codes.get(), CMPI_uint32A).rc, CMPI_RC_OK);
  ASSERT_EQ(CMAddArg(given.get(), "Note", nullptr, CMPI_string).rc, CMPI_RC_OK);
  CMPIObjectPath *raw_owner = owner.get();
  ASSERT_EQ(CMAddArg(given.get(), "Owner", &raw_owner, CMPI_ref).rc, CMPI_RC_OK);

  Args expected(makeNewCMPIArgs(nullptr));
  ASSERT_EQ(CMAddArg(expected.get(), "__ReturnValue", &rv, CMPI_uint32).rc, CMPI_RC_OK);
  ASSERT_EQ(CMAddArg(expected.get(), "Previous", &previous, CMPI_uint32).rc, CMPI_RC_OK);
  ASSERT_EQ(CMAddArg(expected.get(), "Note", nullptr, CMPI_string).rc, CMPI_RC_OK);
  CMPIObjectPath *raw_text = owner_text.get();
  ASSERT_EQ(CMAddArg(expected.get(), "Owner", &raw_text, CMPI_ref).rc, CMPI_RC_OK);

  LogCapture cap;
  EXPECT_EQ(method_frame(given.get(), CMPI_uint32), method_frame(expected.get(), CMPI_uint32));
  EXPECT_EQ(daemon_lines(cap),
            std::vector<LogLine>({
                warning("InvokeMethod: output argument Missing is left out: it is a null uint32 "
                        "argument, which the wire cannot carry"),
                warning("InvokeMethod: output argument Flag is left out: it is a null boolean "
                        "argument, which the wire cannot carry"),
                warning("InvokeMethod: output argument NoList is left out: it is a null string "
                        "array argument, which the wire cannot carry"),
                warning("InvokeMethod: output argument Nobody is left out: it is a null "
                        "reference, which the wire cannot carry"),
                warning("InvokeMethod: output argument Codes is left out: its uint32 array holds "
                        "a null element, which the wire cannot carry"),
            }));
}

}  // namespace
}  // namespace hostd
