#include "json/encoders.h"

#include <cmpimacs.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <functional>
#include <initializer_list>
#include <string>
#include <vector>

#include "cmpi_doubles.h"
#include "fault_injection.h"
#include "json/compact_text.h"
#include "log_capture.h"

namespace {

using namespace cmpitest;
using cmpiutility::compact_text;
using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;

// Fields of the packed records may sit at unaligned addresses: compare copies only.
#define V(field) static_cast<decltype(field)>(field)

const char kNs[] = "root/cimv2";
const char kWhen[] = "20240102030405.000000+000";

// ---- building CMPI data -----------------------------------------------------------------------

CMPIObjectPath *new_path(const char *class_name, const char *ns = kNs) {
  return makeNewObjectPath(ns, class_name, nullptr);
}

CMPIInstance *new_instance(const char *class_name = "Demo_Fan", const char *ns = kNs) {
  CMPIObjectPath *path = new_path(class_name, ns);
  CMPIInstance *instance = makeNewCMPIInstance(path, nullptr);
  CMRelease(path);
  return instance;
}

// A value whose pointer member (string, array, instance, reference, date-time) is object.
CMPIValue object_value(const void *object) {
  CMPIValue value;
  std::memset(&value, 0, sizeof(value));
  std::memcpy(&value, &object, sizeof(object));
  return value;
}

CMPIData datum(CMPIType type, const CMPIValue &value, CMPIValueState state = CMPI_goodValue) {
  CMPIData data;
  std::memset(&data, 0, sizeof(data));
  data.type = type;
  data.state = state;
  data.value = value;
  return data;
}

// The setter of a property or an argument; a NULL value makes a null datum of the type.
using Setter = std::function<void(const char *name, const void *value, CMPIType type)>;

Setter property_setter(CMPIInstance *instance) {
  return [instance](const char *name, const void *value, CMPIType type) {
    ASSERT_EQ(CMSetProperty(instance, name, value, type).rc, CMPI_RC_OK) << name;
  };
}

Setter argument_setter(CMPIArgs *args) {
  return [args](const char *name, const void *value, CMPIType type) {
    ASSERT_EQ(CMAddArg(args, name, value, type).rc, CMPI_RC_OK) << name;
  };
}

template <typename T>
void set_scalar(const Setter &set, const char *name, T number, CMPIType type) {
  set(name, &number, type);
}

// Sets an object (string, array, instance, reference, date-time) and releases our own: the
// setters copy.
template <typename Object>
void set_object(const Setter &set, const char *name, Object *object, CMPIType type) {
  const CMPIValue value = object_value(object);
  set(name, &value, type);
  CMRelease(object);
}

CMPIString *string_of(const char *text) { return CreateString(text, nullptr); }
CMPIDateTime *when() { return makeNewCMPIDateTimeFromChars(kWhen, nullptr); }

CMPIObjectPath *disk_path() {
  CMPIObjectPath *path = new_path("Demo_Disk");
  CMAddKey(path, "Name", "a", CMPI_chars);
  CMAddKey(path, "Id", "7", CMPI_chars);
  return path;
}

// An instance of Demo_Part with the uint16 property U16 = 7.
CMPIInstance *part() {
  CMPIInstance *instance = new_instance("Demo_Part");
  CMPIUint16 seven = 7;
  CMSetProperty(instance, "U16", &seven, CMPI_uint16);
  return instance;
}

const char kPartObject[] =
    R"({"ClassName":"Demo_Part","InstanceProps":{"U16":{"DataState":0,"DataType":144,"Value":7}},)"
    R"("NameSpace":"root/cimv2","Principal":"TEMP","RequestType":1})";

template <typename T>
CMPIArray *array_of(CMPIType element_type, const std::vector<T> &numbers) {
  CMPIArray *array = makeNewCMPIArray(0, element_type, nullptr);
  for (size_t i = 0; i < numbers.size(); ++i) {
    T number = numbers[i];
    CMSetArrayElementAt(array, static_cast<CMPICount>(i), &number, element_type);
  }
  return array;
}

// An array of objects, each set by value and then released (the array copies).
template <typename Object>
CMPIArray *array_of_objects(CMPIType element_type, const std::vector<Object *> &objects) {
  CMPIArray *array = makeNewCMPIArray(0, element_type, nullptr);
  for (size_t i = 0; i < objects.size(); ++i) {
    const CMPIValue value = object_value(objects[i]);
    CMSetArrayElementAt(array, static_cast<CMPICount>(i), &value, element_type);
    if (objects[i] != nullptr) CMRelease(objects[i]);
  }
  return array;
}

CMPIArray *chars_array(const std::vector<const char *> &texts) {
  CMPIArray *array = makeNewCMPIArray(0, CMPI_chars, nullptr);
  for (size_t i = 0; i < texts.size(); ++i) {
    CMSetArrayElementAt(array, static_cast<CMPICount>(i), texts[i], CMPI_chars);
  }
  return array;
}

// A request record that holds only the given instance or arguments; frees the record only.
class Request {
 public:
  explicit Request(CMPIInstance *instance) : req_(blank()) { req_->CI = instance; }
  explicit Request(CMPIArgs *args) : req_(blank()) { req_->ArgsIn = args; }
  ~Request() { free(req_); }
  Request(const Request &) = delete;
  Request &operator=(const Request &) = delete;
  ClientReq *get() { return req_; }

 private:
  static ClientReq *blank() { return static_cast<ClientReq *>(calloc(1, sizeof(ClientReq))); }
  ClientReq *req_;
};

ServerResp blank_response() {
  ServerResp resp;
  std::memset(&resp, 0, sizeof(resp));
  return resp;
}

// ---- getCMPIArgs ------------------------------------------------------------------------------

std::string scalar(CMPIType type, const char *text) {
  Json::Value object(Json::objectValue);
  getCMPIArgs(type, text, object);
  return compact_text(object);
}

// One scalar: the type code, the text (NULL: none) and the value object getCMPIArgs writes.
struct ScalarCase {
  CMPIType type;
  const char *text;
  const char *json;
};

void expect_scalars(std::initializer_list<ScalarCase> cases) {
  for (const ScalarCase &c : cases) {
    EXPECT_EQ(scalar(c.type, c.text), c.json)
        << "type " << c.type << ", text " << (c.text != nullptr ? c.text : "(null)");
  }
}

TEST(GetCMPIArgs, NoTextOrTypeZeroGivesNull) {
  expect_scalars({
      {CMPI_uint32, nullptr, R"({"Value":null})"},
      {CMPI_string, nullptr, R"({"Value":null})"},
      {CMPI_null, "5", R"({"Value":null})"},
  });
}

TEST(GetCMPIArgs, TheTextCodesAndDateTimesAreWrittenAsText) {
  for (CMPIType type : {5632, 5634, 5884, 5888, 6144, 7680}) {
    EXPECT_EQ(scalar(type, "some text"), R"({"Value":"some text"})") << type;
  }
}

TEST(GetCMPIArgs, OtherEncapsulatedCodesWriteNothing) {
  for (CMPIType type : {CMPI_instance, CMPI_ref, CMPI_args, CMPI_class, CMPI_filter,
                        CMPI_enumeration, CMPI_ptr, CMPI_charsptr, 5633, 4098, 4288}) {
    EXPECT_EQ(scalar(type, "x"), "{}") << type;
  }
}

TEST(GetCMPIArgs, BooleanIsTrueInAnyCaseElseFalse) {
  expect_scalars({
      {CMPI_boolean, "true", R"({"Value":1})"},
      {CMPI_boolean, "TRUE", R"({"Value":1})"},
      {CMPI_boolean, "True", R"({"Value":1})"},
      {CMPI_boolean, "false", R"({"Value":0})"},
      {CMPI_boolean, "1", R"({"Value":0})"},
      {CMPI_boolean, "yes", R"({"Value":0})"},
  });
}

TEST(GetCMPIArgs, Char16WritesNothing) { EXPECT_EQ(scalar(CMPI_char16, "A"), "{}"); }

TEST(GetCMPIArgs, IntegersAreUnsignedSixtyFourBitNumbers) {
  expect_scalars({
      {CMPI_uint8, "200", R"({"Value":200})"},
      {CMPI_uint16, "7", R"({"Value":7})"},
      {CMPI_uint32, "4000000000", R"({"Value":4000000000})"},
      {CMPI_uint64, "9223372036854775807", R"({"Value":9223372036854775807})"},
      {CMPI_sint8, "-1", R"({"Value":18446744073709551615})"},
      {CMPI_sint16, "-300", R"({"Value":18446744073709551316})"},
      {CMPI_sint32, "-5", R"({"Value":18446744073709551611})"},
      {CMPI_sint64, "-9000000000", R"({"Value":18446744064709551616})"},
  });
}

// The text is read with the signed 64-bit conversion: an unsigned value past its range stops
// at the largest signed value, and text that is no number reads as 0.
TEST(GetCMPIArgs, IntegersAreReadAsSignedSixtyFourBitText) {
  expect_scalars({
      {CMPI_uint64, "18446744073709551615", R"({"Value":9223372036854775807})"},
      {CMPI_uint32, "12abc", R"({"Value":12})"},
      {CMPI_uint32, "abc", R"({"Value":0})"},
  });
}

TEST(GetCMPIArgs, BothRealsGoThroughSinglePrecision) {
  Json::Value real32(Json::objectValue);
  Json::Value real64(Json::objectValue);
  getCMPIArgs(CMPI_real32, "0.1", real32);
  getCMPIArgs(CMPI_real64, "0.10000000000000001", real64);
  EXPECT_EQ(real32["Value"].asDouble(), static_cast<double>(0.1f));
  EXPECT_EQ(real64["Value"].asDouble(), static_cast<double>(0.1f));
  EXPECT_NE(real64["Value"].asDouble(), 0.1);
  EXPECT_EQ(compact_text(real64), R"({"Value":0.10000000149011612})");
  EXPECT_EQ(scalar(CMPI_real32, "1.5"), R"({"Value":1.5})");
}

// The families are tested in a fixed order (encapsulated, simple, integer, real) and the first
// that matches decides.
TEST(GetCMPIArgs, TheFirstMatchingFamilyDecides) {
  expect_scalars({
      {CMPI_boolean | CMPI_uint8, "true", "{}"},          // simple, but not boolean
      {CMPI_uint8 | CMPI_real32, "3", R"({"Value":3})"},  // integer before real
      {CMPI_real32 | 1, "3", "{}"},                       // real, but neither
      {1, "3", "{}"},                                     // no family
  });
}

TEST(GetCMPIArgs, LogsNothing) {
  LogCapture log;
  scalar(CMPI_uint8, "1");
  scalar(CMPI_string, nullptr);
  EXPECT_THAT(log.lines(), IsEmpty());
}

// ---- getCMPIArgsRef ---------------------------------------------------------------------------

TEST(GetCMPIArgsRef, KeysAreWrittenAsKeyTextAndEchoed) {
  CMPIObjectPath *path = disk_path();
  Json::Value object(Json::objectValue);
  LogCapture log;
  testing::internal::CaptureStdout();
  EXPECT_EQ(getCMPIArgsRef(datum(CMPI_ref, object_value(path)), object), 0u);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "Name=a,Id=7,\n");
  EXPECT_EQ(compact_text(object),
            R"({"Value":{"ClassName":"Demo_Disk","NameSpace":"root/cimv2","key":"Name=a,Id=7,"}})");
  EXPECT_THAT(log.lines(), ElementsAre(Trace("count = 2")));
  CMRelease(path);
}

TEST(GetCMPIArgsRef, PathWithoutKeysGivesKeyNull) {
  CMPIObjectPath *path = new_path("Demo_Disk");
  Json::Value object(Json::objectValue);
  LogCapture log;
  testing::internal::CaptureStdout();
  EXPECT_EQ(getCMPIArgsRef(datum(CMPI_ref, object_value(path)), object), 0u);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
  EXPECT_EQ(compact_text(object),
            R"({"Value":{"ClassName":"Demo_Disk","NameSpace":"root/cimv2","key":null}})");
  EXPECT_THAT(log.lines(), ElementsAre(Trace("count = 0"),
                                       Info("INFO: No key associated with args reference'")));
  CMRelease(path);
}

TEST(GetCMPIArgsRef, MissingNamespaceGivesTheEmptyReferenceObject) {
  CMPIObjectPath *path = makeNewObjectPath(nullptr, "Demo_Disk", nullptr);
  CMAddKey(path, "Name", "a", CMPI_chars);
  Json::Value object(Json::objectValue);
  LogCapture log;
  testing::internal::CaptureStdout();
  EXPECT_EQ(getCMPIArgsRef(datum(CMPI_ref, object_value(path)), object), 1u);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
  EXPECT_EQ(compact_text(object), R"({"Value":{}})");
  EXPECT_THAT(log.lines(), ElementsAre(Error("ERROR: __getCMPIArgsRef#442: 'namespace is NULL'")));
  CMRelease(path);
}

TEST(GetCMPIArgsRef, MissingClassNameGivesTheEmptyReferenceObject) {
  CMPIObjectPath *path = makeNewObjectPath(kNs, nullptr, nullptr);
  Json::Value object(Json::objectValue);
  LogCapture log;
  EXPECT_EQ(getCMPIArgsRef(datum(CMPI_ref, object_value(path)), object), 1u);
  EXPECT_EQ(compact_text(object), R"({"Value":{}})");
  EXPECT_THAT(log.lines(), ElementsAre(Error("ERROR: __getCMPIArgsRef#445: 'classname is NULL'")));
  CMRelease(path);
}

TEST(GetCMPIArgsRef, MissingPathIsMissingNamespace) {
  Json::Value object(Json::objectValue);
  LogCapture log;
  EXPECT_EQ(getCMPIArgsRef(datum(CMPI_ref, object_value(nullptr), CMPI_nullValue), object), 1u);
  EXPECT_EQ(compact_text(object), R"({"Value":{}})");
  EXPECT_THAT(log.lines(), ElementsAre(Error("ERROR: __getCMPIArgsRef#442: 'namespace is NULL'")));
}

CMPICount one_more_key(const CMPIObjectPath *op, CMPIStatus *rc) {
  return PathDoctor::real()->getKeyCount(op, rc) + 1;
}

TEST(GetCMPIArgsRef, KeyThatCannotBeFetchedFailsWithoutKeyMember) {
  CMPIObjectPath *path = disk_path();
  PathDoctor doctor(path);
  doctor.table().getKeyCount = one_more_key;
  Json::Value object(Json::objectValue);
  LogCapture log;
  testing::internal::CaptureStdout();
  EXPECT_EQ(getCMPIArgsRef(datum(CMPI_ref, object_value(path)), object), 1u);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
  EXPECT_EQ(compact_text(object),
            R"({"Value":{"ClassName":"Demo_Disk","NameSpace":"root/cimv2"}})");
  EXPECT_THAT(log.lines(),
              ElementsAre(Trace("count = 3"),
                          Error("ERROR: __getCMPIArgsRef#471: 'unable to get the key'")));
  CMRelease(path);
}

// The doctored getKeyAt of the reference tests: what it does at index g_key_index.
enum class KeyTrick { kNoName, kNameWithoutText, kValueWithoutText };
KeyTrick g_key_trick = KeyTrick::kNoName;
CMPICount g_key_index = 0;
FakeString g_fake_name;
FakeString g_fake_value;

CMPIData tricky_key_at(const CMPIObjectPath *op, CMPICount index, CMPIString **name,
                       CMPIStatus *rc) {
  CMPIData data = PathDoctor::real()->getKeyAt(op, index, name, rc);
  if (index != g_key_index) return data;
  if (g_key_trick == KeyTrick::kValueWithoutText) {
    CMPIValue value = data.value;
    cmpiReleaseCMPIValue(data.type, &value);
    value.string = g_fake_value.get();
    data.value = value;
  } else {
    CMRelease(*name);
    *name = (g_key_trick == KeyTrick::kNoName) ? nullptr : g_fake_name.get();
  }
  return data;
}

class TrickyReference : public ::testing::Test {
 protected:
  void SetUp() override {
    g_fake_name = FakeString(nullptr);
    g_fake_value = FakeString(nullptr);
    path_ = disk_path();
    CMAddKey(path_, "Tag", "t", CMPI_chars);
  }
  void TearDown() override { CMRelease(path_); }

  unsigned int run(KeyTrick trick, CMPICount index, Json::Value &object) {
    g_key_trick = trick;
    g_key_index = index;
    PathDoctor doctor(path_);
    doctor.table().getKeyAt = tricky_key_at;
    const unsigned int result = getCMPIArgsRef(datum(CMPI_ref, object_value(path_)), object);
    path_->ft = const_cast<CMPIObjectPathFT *>(PathDoctor::real());
    return result;
  }

  CMPIObjectPath *path_ = nullptr;
};

TEST_F(TrickyReference, KeyWithoutNameFails) {
  Json::Value object(Json::objectValue);
  LogCapture log;
  testing::internal::CaptureStdout();
  EXPECT_EQ(run(KeyTrick::kNoName, 1, object), 1u);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
  EXPECT_EQ(compact_text(object),
            R"({"Value":{"ClassName":"Demo_Disk","NameSpace":"root/cimv2"}})");
  EXPECT_THAT(log.lines(),
              ElementsAre(Trace("count = 3"),
                          Error("ERROR: __getCMPIArgsRef#471: 'unable to get the key'")));
}

// A missing name or value text puts the key text in its failed state; the text so far is
// written and echoed, and the result is success.
TEST_F(TrickyReference, ValueWithoutTextCutsTheKeyText) {
  Json::Value object(Json::objectValue);
  LogCapture log;
  testing::internal::CaptureStdout();
  EXPECT_EQ(run(KeyTrick::kValueWithoutText, 1, object), 0u);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "Name=a,Id=\n");
  EXPECT_EQ(compact_text(object),
            R"({"Value":{"ClassName":"Demo_Disk","NameSpace":"root/cimv2","key":"Name=a,Id="}})");
  EXPECT_THAT(log.lines(), ElementsAre(Trace("count = 3")));
  EXPECT_EQ(g_fake_value.releases, 1);
}

TEST_F(TrickyReference, NameWithoutTextCutsTheKeyText) {
  Json::Value object(Json::objectValue);
  testing::internal::CaptureStdout();
  EXPECT_EQ(run(KeyTrick::kNameWithoutText, 2, object), 0u);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "Name=a,Id=7,\n");
  EXPECT_EQ(object["Value"]["key"].asString(), "Name=a,Id=7,");
  EXPECT_EQ(g_fake_name.releases, 1);
}

// Key values are read as strings; a key of another type has no text to give and cuts the key
// text like a missing value.
TEST(GetCMPIArgsRef, NonStringKeyCutsTheKeyText) {
  CMPIObjectPath *path = new_path("Demo_Disk");
  CMAddKey(path, "Name", "a", CMPI_chars);
  CMPIUint32 id = 7;
  CMAddKey(path, "Id", &id, CMPI_uint32);
  CMAddKey(path, "Tag", "t", CMPI_chars);
  Json::Value object(Json::objectValue);
  testing::internal::CaptureStdout();
  EXPECT_EQ(getCMPIArgsRef(datum(CMPI_ref, object_value(path)), object), 0u);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "Name=a,Id=\n");
  EXPECT_EQ(object["Value"]["key"].asString(), "Name=a,Id=");
  CMRelease(path);
}

TEST(GetCMPIArgsRef, KeyValuesAreNotEscaped) {
  CMPIObjectPath *path = new_path("Demo_Disk");
  CMAddKey(path, "Name", "a,b=(c)", CMPI_chars);
  Json::Value object(Json::objectValue);
  testing::internal::CaptureStdout();
  EXPECT_EQ(getCMPIArgsRef(datum(CMPI_ref, object_value(path)), object), 0u);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "Name=a,b=(c),\n");
  EXPECT_EQ(object["Value"]["key"].asString(), "Name=a,b=(c),");
  CMRelease(path);
}

// ---- getCMPIArgsArray -------------------------------------------------------------------------

std::string array_json(CMPIArray *array, unsigned int expected_result = 0) {
  Json::Value object(Json::objectValue);
  EXPECT_EQ(getCMPIArgsArray(datum(CMPI_ARRAY, object_value(array)), object), expected_result);
  return compact_text(object);
}

TEST(GetCMPIArgsArray, IntegersOfEveryWidth) {
  struct Case {
    CMPIType type;
    CMPIArray *array;
    const char *json;
  } cases[] = {
      {CMPI_uint8, array_of<CMPIUint8>(CMPI_uint8, {1, 255}), R"({"Value":[1,255]})"},
      {CMPI_uint16, array_of<CMPIUint16>(CMPI_uint16, {7}), R"({"Value":[7]})"},
      {CMPI_uint32, array_of<CMPIUint32>(CMPI_uint32, {4000000000u}), R"({"Value":[4000000000]})"},
      {CMPI_uint64, array_of<CMPIUint64>(CMPI_uint64, {5}), R"({"Value":[5]})"},
      {CMPI_sint8, array_of<CMPISint8>(CMPI_sint8, {-1}), R"({"Value":[18446744073709551615]})"},
      {CMPI_sint16, array_of<CMPISint16>(CMPI_sint16, {-300}),
       R"({"Value":[18446744073709551316]})"},
      {CMPI_sint32, array_of<CMPISint32>(CMPI_sint32, {-5, 3}),
       R"({"Value":[18446744073709551611,3]})"},
      {CMPI_sint64, array_of<CMPISint64>(CMPI_sint64, {-9000000000LL}),
       R"({"Value":[18446744064709551616]})"},
  };
  LogCapture log;
  for (const Case &c : cases) {
    EXPECT_EQ(array_json(c.array), c.json) << c.type;
    CMRelease(c.array);
  }
  EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(GetCMPIArgsArray, TextsDateTimesAndReferencesAreWrittenAsText) {
  CMPIArray *strings = array_of_objects<CMPIString>(CMPI_string, {string_of("a"), string_of("b")});
  CMPIArray *chars = chars_array({"c", "NULL"});
  CMPIArray *dates = array_of_objects<CMPIDateTime>(CMPI_dateTime, {when()});
  CMPIArray *refs = array_of_objects<CMPIObjectPath>(CMPI_ref, {disk_path()});
  LogCapture log;
  testing::internal::CaptureStdout();
  EXPECT_EQ(array_json(strings), R"({"Value":["a","b"]})");
  EXPECT_EQ(array_json(chars), R"({"Value":["c","NULL"]})");
  EXPECT_EQ(array_json(dates), std::string(R"({"Value":[")") + kWhen + R"("]})");
  EXPECT_EQ(array_json(refs), R"({"Value":["root/cimv2:Demo_Disk.Name=a,Id=7"]})");
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");  // reference elements are not echoed
  EXPECT_THAT(log.lines(), IsEmpty());
  for (CMPIArray *array : {strings, chars, dates, refs}) CMRelease(array);
}

// Booleans, char16 and reals append nothing, and "Value" only comes into being with an entry.
TEST(GetCMPIArgsArray, BooleansChar16AndRealsGetNoValue) {
  CMPIArray *booleans = array_of<CMPIBoolean>(CMPI_boolean, {1, 0, 1});
  CMPIArray *chars16 = array_of<CMPIChar16>(CMPI_char16, {'x'});
  CMPIArray *reals32 = array_of<CMPIReal32>(CMPI_real32, {1.5f, 0.1f});
  CMPIArray *reals64 = array_of<CMPIReal64>(CMPI_real64, {0.1});
  LogCapture log;
  for (CMPIArray *array : {booleans, chars16, reals32, reals64}) {
    EXPECT_EQ(array_json(array), "{}");
    CMRelease(array);
  }
  EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(GetCMPIArgsArray, EmptyArrayWritesNoValue) {
  CMPIArray *empty = makeNewCMPIArray(0, CMPI_uint32, nullptr);
  LogCapture log;
  EXPECT_EQ(array_json(empty), "{}");
  EXPECT_THAT(log.lines(), ElementsAre(Info("INFO: No array associated to the request'")));
  CMRelease(empty);
}

TEST(GetCMPIArgsArray, InstancesBecomeEmbeddedInstanceObjects) {
  CMPIArray *instances =
      array_of_objects<CMPIInstance>(CMPI_instance, {part(), new_instance("Demo_Empty", "root/x")});
  LogCapture log;
  EXPECT_EQ(array_json(instances),
            std::string(R"({"Value":[)") + kPartObject +
                R"(,{"ClassName":"Demo_Empty","NameSpace":"root/x","Principal":"TEMP",)"
                R"("RequestType":1}]})");
  EXPECT_THAT(log.lines(),
              ElementsAre(Trace("numproperties = 1"), Trace("'getInstanceProps' valuestr = 7"),
                          Info("INFO: 'No property is associated with the instance'")));
  CMRelease(instances);
}

TEST(GetCMPIArgsArray, ArrayWithoutHandleCannotTellItsSize) {
  CMPIArray *real = makeNewCMPIArray(1, CMPI_uint8, nullptr);
  CMPIArray broken = {nullptr, real->ft};
  LogCapture log;
  EXPECT_EQ(array_json(&broken, 1), "{}");
  EXPECT_EQ(array_json(nullptr, 1), "{}");
  EXPECT_THAT(log.lines(),
              ElementsAre(Error("ERROR: __getCMPIArgsArray#358: 'Unable to get size of array' "),
                          Error("ERROR: __getCMPIArgsArray#358: 'Unable to get size of array' ")));
  CMRelease(real);
}

CMPICount one_more_element(const CMPIArray *ar, CMPIStatus *rc) {
  return ArrayDoctor::real()->getSize(ar, rc) + 1;
}

TEST(GetCMPIArgsArray, ElementThatCannotBeFetchedReusesTheSizeMessage) {
  CMPIArray *array = array_of<CMPIUint8>(CMPI_uint8, {1, 2});
  ArrayDoctor doctor(array);
  doctor.table().getSize = one_more_element;
  LogCapture log;
  EXPECT_EQ(array_json(array, 1), R"({"Value":[1,2]})");
  EXPECT_THAT(log.lines(),
              ElementsAre(Error("ERROR: __getCMPIArgsArray#370: 'Unable to get size of array' ")));
  CMRelease(array);
}

TEST(GetCMPIArgsArray, ElementWithoutTextFails) {
  CMPIArray *strings = array_of_objects<CMPIString>(CMPI_string, {string_of("a"), nullptr});
  LogCapture log;
  EXPECT_EQ(array_json(strings, 1), R"({"Value":["a"]})");
  EXPECT_THAT(log.lines(),
              ElementsAre(Error("ERROR: __getCMPIArgsArray#403: 'value2Chars failed' ")));
  CMRelease(strings);
}

TEST(GetCMPIArgsArray, NullInstanceElementFails) {
  CMPIArray *instances = array_of_objects<CMPIInstance>(CMPI_instance, {part(), nullptr});
  LogCapture log;
  EXPECT_EQ(array_json(instances, 1), std::string(R"({"Value":[)") + kPartObject + "]}");
  EXPECT_THAT(log.lines(),
              ElementsAre(Trace("numproperties = 1"), Trace("'getInstanceProps' valuestr = 7"),
                          Trace("instance is null "),
                          Error("ERROR: __getCMPIArgsArray#396: 'getInstanceProps failed'")));
  CMRelease(instances);
}

// An instance whose only property is a reference without namespace: its encoding fails.
CMPIInstance *broken_part() {
  CMPIInstance *instance = new_instance("Demo_Broken");
  CMPIObjectPath *nowhere = makeNewObjectPath(nullptr, "Demo_Disk", nullptr);
  const CMPIValue value = object_value(nowhere);
  CMSetProperty(instance, "Ref", &value, CMPI_ref);
  CMRelease(nowhere);
  return instance;
}

TEST(GetCMPIArgsArray, EmbeddedInstanceThatFailsFailsTheArray) {
  CMPIArray *instances = array_of_objects<CMPIInstance>(CMPI_instance, {broken_part()});
  LogCapture log;
  EXPECT_EQ(array_json(instances, 1), "{}");
  EXPECT_THAT(log.lines(),
              ElementsAre(Trace("numproperties = 1"),
                          Error("ERROR: __getCMPIArgsRef#442: 'namespace is NULL'"),
                          Error("ERROR: __getInstanceProps#540: 'getCMPIArgsRef failed'"),
                          Error("ERROR: __getCMPIArgsArray#396: 'getInstanceProps failed'")));
  CMRelease(instances);
}

TEST(GetCMPIArgsArray, ScratchRecordThatCannotBeAllocatedFails) {
  CMPIArray *instances = array_of_objects<CMPIInstance>(CMPI_instance, {part(), part()});
  LogCapture log;
  {
    FailingAllocation fail(Allocation::Calloc, 2);
    EXPECT_EQ(array_json(instances, 1), std::string(R"({"Value":[)") + kPartObject + "]}");
    EXPECT_TRUE(fail.triggered());
    EXPECT_EQ(fail.calls(Allocation::Calloc), 2);
  }
  EXPECT_THAT(log.lines(),
              ElementsAre(Trace("numproperties = 1"), Trace("'getInstanceProps' valuestr = 7"),
                          Error("Error: memallocation failed for creqInst ")));
  CMRelease(instances);
}

// ---- getInstanceProps: value types ------------------------------------------------------------

// Every scalar kind but references and embedded instances, in this order.
void fill_every_scalar(const Setter &set) {
  set_scalar<CMPIBoolean>(set, "B", 1, CMPI_boolean);
  set_scalar<CMPIBoolean>(set, "BF", 0, CMPI_boolean);
  set_scalar<CMPIChar16>(set, "C", 'A', CMPI_char16);
  set_scalar<CMPIReal32>(set, "R32", 1.5f, CMPI_real32);
  set_scalar<CMPIReal64>(set, "R64", 0.1, CMPI_real64);
  set_scalar<CMPIUint8>(set, "U8", 200, CMPI_uint8);
  set_scalar<CMPIUint16>(set, "U16", 7, CMPI_uint16);
  set_scalar<CMPIUint32>(set, "U32", 4000000000u, CMPI_uint32);
  set_scalar<CMPIUint64>(set, "U64", 18446744073709551615ull, CMPI_uint64);
  set_scalar<CMPISint8>(set, "S8", -1, CMPI_sint8);
  set_scalar<CMPISint16>(set, "S16", -300, CMPI_sint16);
  set_scalar<CMPISint32>(set, "S32", -5, CMPI_sint32);
  set_scalar<CMPISint64>(set, "S64", -9000000000LL, CMPI_sint64);
  set_object(set, "Str", string_of("hello"), CMPI_string);
  set("Chs", "plain", CMPI_chars);
  set_object(set, "DT", when(), CMPI_dateTime);
}

// What every scalar is written as: name, "DataType" and the "Value" member (empty: none).
struct Written {
  const char *name;
  int type;
  std::string value;
};

std::vector<Written> every_scalar_written() {
  return {
      {"B", 2, R"("Value":1)"},
      {"BF", 2, R"("Value":0)"},
      {"C", 3, ""},
      {"R32", 8, R"("Value":1.5)"},
      {"R64", 12, R"("Value":0.10000000149011612)"},
      {"U8", 128, R"("Value":200)"},
      {"U16", 144, R"("Value":7)"},
      {"U32", 160, R"("Value":4000000000)"},
      {"U64", 176, R"("Value":9223372036854775807)"},
      {"S8", 192, R"("Value":18446744073709551615)"},
      {"S16", 208, R"("Value":18446744073709551316)"},
      {"S32", 224, R"("Value":18446744073709551611)"},
      {"S64", 240, R"("Value":18446744064709551616)"},
      {"Str", 5632, R"("Value":"hello")"},
      {"Chs", 5632, R"("Value":"plain")"},  // chars are kept as strings by the object library
      {"DT", 6144, std::string(R"("Value":")") + kWhen + "\""},
  };
}

std::string property_json(const Written &w, int state = 0) {
  std::string out =
      "{\"DataState\":" + std::to_string(state) + ",\"DataType\":" + std::to_string(w.type);
  if (!w.value.empty()) out += "," + w.value;
  return out + "}";
}

std::string argument_json(const Written &w) {
  std::string out = "{\"DataType\":" + std::to_string(w.type);
  if (!w.value.empty()) out += "," + w.value;
  return out + "}";
}

TEST(GetInstanceProps, OneUint16PropertyInGoodState) {
  CMPIInstance *instance = new_instance();
  CMPIUint16 seven = 7;
  CMSetProperty(instance, "Speed", &seven, CMPI_uint16);
  Request req(instance);
  Json::Value target(Json::objectValue);
  LogCapture log;
  EXPECT_EQ(getInstanceProps(req.get(), nullptr, target), 0u);
  EXPECT_EQ(compact_text(target),
            R"({"InstanceProps":{"Speed":{"DataState":0,"DataType":144,"Value":7}}})");
  EXPECT_THAT(log.lines(),
              ElementsAre(Trace("numproperties = 1"), Trace("'getInstanceProps' valuestr = 7")));
  CMRelease(instance);
}

TEST(GetInstanceProps, EveryScalarType) {
  CMPIInstance *instance = new_instance();
  fill_every_scalar(property_setter(instance));
  Request req(instance);
  Json::Value target(Json::objectValue);
  LogCapture log;
  EXPECT_EQ(getInstanceProps(req.get(), nullptr, target), 0u);
  const std::vector<Written> written = every_scalar_written();
  EXPECT_EQ(target["InstanceProps"].size(), written.size());
  for (const Written &w : written) {
    EXPECT_EQ(compact_text(target["InstanceProps"][w.name]), property_json(w)) << w.name;
  }
  std::vector<LogLine> expected = {Trace("numproperties = 16")};
  for (const char *text :
       {"true", "false", "A", "1.5", "0.10000000000000001", "200", "7", "4000000000",
        "18446744073709551615", "-1", "-300", "-5", "-9000000000", "hello", "plain", kWhen}) {
    expected.push_back(Trace(std::string("'getInstanceProps' valuestr = ") + text));
  }
  EXPECT_THAT(log.lines(), ElementsAreArray(expected));
  CMRelease(instance);
}

TEST(GetInstanceProps, WithoutRequestTheResponseInstanceIsUsed) {
  CMPIInstance *instance = new_instance();
  set_scalar<CMPISint32>(property_setter(instance), "S32", -5, CMPI_sint32);
  ServerResp resp = blank_response();
  resp.instance = instance;
  Json::Value target(Json::objectValue);
  EXPECT_EQ(getInstanceProps(nullptr, &resp, target), 0u);
  EXPECT_EQ(compact_text(target), R"({"InstanceProps":{"S32":{"DataState":0,"DataType":224,)"
                                  R"("Value":18446744073709551611}}})");
  CMRelease(instance);
}

TEST(GetInstanceProps, TheRequestWinsOverTheResponse) {
  CMPIInstance *mine = new_instance();
  set_scalar<CMPIUint8>(property_setter(mine), "Mine", 1, CMPI_uint8);
  CMPIInstance *theirs = new_instance();
  set_scalar<CMPIUint8>(property_setter(theirs), "Theirs", 2, CMPI_uint8);
  Request req(mine);
  ServerResp resp = blank_response();
  resp.instance = theirs;
  Json::Value target(Json::objectValue);
  EXPECT_EQ(getInstanceProps(req.get(), &resp, target), 0u);
  EXPECT_EQ(target["InstanceProps"].getMemberNames(), std::vector<std::string>{"Mine"});
  CMRelease(mine);
  CMRelease(theirs);
}

TEST(GetInstanceProps, InstanceWithoutPropertiesWritesNoInstanceProps) {
  CMPIInstance *instance = new_instance();
  Request req(instance);
  Json::Value target(Json::objectValue);
  target["ClassName"] = "Demo_Fan";
  LogCapture log;
  EXPECT_EQ(getInstanceProps(req.get(), nullptr, target), 0u);
  EXPECT_EQ(compact_text(target), R"({"ClassName":"Demo_Fan"})");
  EXPECT_THAT(log.lines(),
              ElementsAre(Info("INFO: 'No property is associated with the instance'")));
  CMRelease(instance);
}

TEST(GetInstanceProps, NullValuesKeepTheirTypeAndState) {
  CMPIInstance *instance = new_instance();
  const Setter set = property_setter(instance);
  set("NStr", nullptr, CMPI_string);
  set("NU32", nullptr, CMPI_uint32);
  set("NB", nullptr, CMPI_boolean);
  set("NC16", nullptr, CMPI_char16);
  set("NR64", nullptr, CMPI_real64);
  set("NDT", nullptr, CMPI_dateTime);
  set("NArr", nullptr, CMPI_uint32A);
  Request req(instance);
  Json::Value target(Json::objectValue);
  LogCapture log;
  EXPECT_EQ(getInstanceProps(req.get(), nullptr, target), 0u);
  const Json::Value &props = target["InstanceProps"];
  // A null string has no text: "Value" null. The other scalars are written from the text of
  // their (zero) value, and the state tells the reader that they are null.
  EXPECT_EQ(compact_text(props["NStr"]), R"({"DataState":256,"DataType":5632,"Value":null})");
  EXPECT_EQ(compact_text(props["NU32"]), R"({"DataState":256,"DataType":160,"Value":0})");
  EXPECT_EQ(compact_text(props["NB"]), R"({"DataState":256,"DataType":2,"Value":0})");
  EXPECT_EQ(compact_text(props["NC16"]), R"({"DataState":256,"DataType":3})");
  EXPECT_EQ(compact_text(props["NR64"]), R"({"DataState":256,"DataType":12,"Value":0.0})");
  EXPECT_EQ(compact_text(props["NDT"]), R"({"DataState":256,"DataType":6144,"Value":null})");
  // An array property without an array handle: "Value" null.
  EXPECT_EQ(compact_text(props["NArr"]), R"({"DataState":256,"DataType":8352,"Value":null})");
  EXPECT_THAT(
      log.lines(),
      ElementsAre(Trace("numproperties = 7"), Trace("'getInstanceProps' valuestr = (null)"),
                  Trace("'getInstanceProps' valuestr = 0"),
                  Trace("'getInstanceProps' valuestr = false"),
                  Trace("'getInstanceProps' valuestr = "), Trace("'getInstanceProps' valuestr = 0"),
                  Trace("'getInstanceProps' valuestr = (null)")));
  CMRelease(instance);
}

// The doctored getPropertyAt for the release tests: the property's value becomes g_fake_value
// with the state g_fake_state.
CMPIValueState g_fake_state = CMPI_nullValue;

CMPIData fake_string_property(const CMPIInstance *inst, CMPICount index, CMPIString **name,
                              CMPIStatus *rc) {
  CMPIData data = InstanceDoctor::real()->getPropertyAt(inst, index, name, rc);
  CMPIValue value = data.value;
  if ((data.state & CMPI_nullValue) == 0) cmpiReleaseCMPIValue(data.type, &value);
  value.string = g_fake_value.get();
  data.value = value;
  data.state = g_fake_state;
  return data;
}

TEST(GetInstanceProps, NullStringValueIsNotReleased) {
  CMPIInstance *instance = new_instance();
  property_setter(instance)("Label", nullptr, CMPI_string);
  InstanceDoctor doctor(instance);
  doctor.table().getPropertyAt = fake_string_property;
  g_fake_value = FakeString(nullptr);
  g_fake_state = CMPI_nullValue;
  Request req(instance);
  Json::Value target(Json::objectValue);
  EXPECT_EQ(getInstanceProps(req.get(), nullptr, target), 0u);
  EXPECT_EQ(compact_text(target),
            R"({"InstanceProps":{"Label":{"DataState":256,"DataType":5632,"Value":null}}})");
  EXPECT_EQ(g_fake_value.releases, 0);
  CMRelease(instance);
}

TEST(GetInstanceProps, GoodStringValueIsReleased) {
  CMPIInstance *instance = new_instance();
  property_setter(instance)("Label", nullptr, CMPI_string);
  InstanceDoctor doctor(instance);
  doctor.table().getPropertyAt = fake_string_property;
  g_fake_value = FakeString("text");
  g_fake_state = CMPI_goodValue;
  Request req(instance);
  Json::Value target(Json::objectValue);
  EXPECT_EQ(getInstanceProps(req.get(), nullptr, target), 0u);
  EXPECT_EQ(compact_text(target),
            R"({"InstanceProps":{"Label":{"DataState":0,"DataType":5632,"Value":"text"}}})");
  EXPECT_EQ(g_fake_value.releases, 1);
  CMRelease(instance);
}

TEST(GetInstanceProps, ReferencePropertyIsAReferenceObjectAndIsEchoed) {
  CMPIInstance *instance = new_instance();
  set_object(property_setter(instance), "Disk", disk_path(), CMPI_ref);
  Request req(instance);
  Json::Value target(Json::objectValue);
  LogCapture log;
  testing::internal::CaptureStdout();
  EXPECT_EQ(getInstanceProps(req.get(), nullptr, target), 0u);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "Name=a,Id=7,\n");
  EXPECT_EQ(compact_text(target),
            R"({"InstanceProps":{"Disk":{"DataState":0,"DataType":4352,"Value":{)"
            R"("ClassName":"Demo_Disk","NameSpace":"root/cimv2","key":"Name=a,Id=7,"}}}})");
  EXPECT_THAT(log.lines(), ElementsAre(Trace("numproperties = 1"), Trace("count = 2")));
  CMRelease(instance);
}

TEST(GetInstanceProps, EmbeddedInstancePropertyNests) {
  CMPIInstance *middle = new_instance("Demo_Middle");
  set_object(property_setter(middle), "Inner", part(), CMPI_instance);
  CMPIInstance *instance = new_instance();
  set_object(property_setter(instance), "Outer", middle, CMPI_instance);
  Request req(instance);
  Json::Value target(Json::objectValue);
  LogCapture log;
  EXPECT_EQ(getInstanceProps(req.get(), nullptr, target), 0u);
  EXPECT_EQ(compact_text(target),
            std::string(R"({"InstanceProps":{"Outer":{"CMPIInstance":{"ClassName":"Demo_Middle",)"
                        R"("InstanceProps":{"Inner":{"CMPIInstance":)") +
                kPartObject +
                R"(,"DataState":0,"DataType":4096}},"NameSpace":"root/cimv2","Principal":"TEMP",)"
                R"("RequestType":1},"DataState":0,"DataType":4096}}})");
  EXPECT_THAT(log.lines(),
              ElementsAre(Trace("numproperties = 1"), Trace("numproperties = 1"),
                          Trace("numproperties = 1"), Trace("'getInstanceProps' valuestr = 7")));
  CMRelease(instance);
}

TEST(GetInstanceProps, EmbeddedInstanceWithoutPropertiesHasNoInstanceProps) {
  CMPIInstance *instance = new_instance();
  set_object(property_setter(instance), "Empty", new_instance("Demo_Empty"), CMPI_instance);
  Request req(instance);
  Json::Value target(Json::objectValue);
  EXPECT_EQ(getInstanceProps(req.get(), nullptr, target), 0u);
  EXPECT_EQ(compact_text(target),
            R"({"InstanceProps":{"Empty":{"CMPIInstance":{"ClassName":"Demo_Empty",)"
            R"("NameSpace":"root/cimv2","Principal":"TEMP","RequestType":1},)"
            R"("DataState":0,"DataType":4096}}})");
  CMRelease(instance);
}

// Every kind of array, in this order; "ANull" (no array at all) only where the setter allows it.
void fill_every_array(const Setter &set) {
  set_object(set, "AU8", array_of<CMPIUint8>(CMPI_uint8, {1, 2}), CMPI_uint8A);
  set_object(set, "AU16", array_of<CMPIUint16>(CMPI_uint16, {7}), CMPI_uint16A);
  set_object(set, "AU32", array_of<CMPIUint32>(CMPI_uint32, {4000000000u}), CMPI_uint32A);
  set_object(set, "AU64", array_of<CMPIUint64>(CMPI_uint64, {5}), CMPI_uint64A);
  set_object(set, "AS8", array_of<CMPISint8>(CMPI_sint8, {-1}), CMPI_sint8A);
  set_object(set, "AS16", array_of<CMPISint16>(CMPI_sint16, {-300}), CMPI_sint16A);
  set_object(set, "AS32", array_of<CMPISint32>(CMPI_sint32, {-5, 3}), CMPI_sint32A);
  set_object(set, "AS64", array_of<CMPISint64>(CMPI_sint64, {-9000000000LL}), CMPI_sint64A);
  set_object(set, "AStr",
             array_of_objects<CMPIString>(CMPI_string, {string_of("a"), string_of("b")}),
             CMPI_stringA);
  set_object(set, "ACh", chars_array({"c"}), CMPI_charsA);
  set_object(set, "ADT", array_of_objects<CMPIDateTime>(CMPI_dateTime, {when()}), CMPI_dateTimeA);
  set_object(set, "ARef", array_of_objects<CMPIObjectPath>(CMPI_ref, {disk_path()}), CMPI_refA);
  set_object(set, "AInst", array_of_objects<CMPIInstance>(CMPI_instance, {part()}), CMPI_instanceA);
  set_object(set, "ABool", array_of<CMPIBoolean>(CMPI_boolean, {1, 0, 1}), CMPI_booleanA);
  set_object(set, "AC16", array_of<CMPIChar16>(CMPI_char16, {'x'}), CMPI_char16A);
  set_object(set, "AR32", array_of<CMPIReal32>(CMPI_real32, {1.5f}), CMPI_real32A);
  set_object(set, "AR64", array_of<CMPIReal64>(CMPI_real64, {0.1}), CMPI_real64A);
  set_object(set, "AEmpty", makeNewCMPIArray(0, CMPI_uint32, nullptr), CMPI_uint32A);
}

std::vector<Written> every_array_written() {
  return {
      {"AU8", 8320, R"("Value":[1,2])"},
      {"AU16", 8336, R"("Value":[7])"},
      {"AU32", 8352, R"("Value":[4000000000])"},
      {"AU64", 8368, R"("Value":[5])"},
      {"AS8", 8384, R"("Value":[18446744073709551615])"},
      {"AS16", 8400, R"("Value":[18446744073709551316])"},
      {"AS32", 8416, R"("Value":[18446744073709551611,3])"},
      {"AS64", 8432, R"("Value":[18446744064709551616])"},
      {"AStr", 13824, R"("Value":["a","b"])"},
      {"ACh", 13824, R"("Value":["c"])"},  // kept as a string array by the object library
      {"ADT", 14336, std::string(R"("Value":[")") + kWhen + "\"]"},
      {"ARef", 12544, R"("Value":["root/cimv2:Demo_Disk.Name=a,Id=7"])"},
      {"AInst", 12288, std::string(R"("Value":[)") + kPartObject + "]"},
      {"ABool", 8194, ""},
      {"AC16", 8195, ""},
      {"AR32", 8200, ""},
      {"AR64", 8204, ""},
      {"AEmpty", 8352, ""},
  };
}

TEST(GetInstanceProps, EveryArrayType) {
  CMPIInstance *instance = new_instance();
  fill_every_array(property_setter(instance));
  Request req(instance);
  Json::Value target(Json::objectValue);
  LogCapture log;
  testing::internal::CaptureStdout();
  EXPECT_EQ(getInstanceProps(req.get(), nullptr, target), 0u);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
  const std::vector<Written> written = every_array_written();
  EXPECT_EQ(target["InstanceProps"].size(), written.size());
  for (const Written &w : written) {
    EXPECT_EQ(compact_text(target["InstanceProps"][w.name]), property_json(w)) << w.name;
  }
  EXPECT_THAT(log.lines(), ElementsAre(Trace("numproperties = 18"), Trace("numproperties = 1"),
                                       Trace("'getInstanceProps' valuestr = 7"),
                                       Info("INFO: No array associated to the request'")));
  CMRelease(instance);
}

// ---- getInstanceProps: failures ---------------------------------------------------------------

TEST(GetInstanceProps, MissingInstanceFails) {
  Request no_instance(static_cast<CMPIInstance *>(nullptr));
  ServerResp resp = blank_response();
  CMPIInstance *instance = new_instance();
  resp.instance = instance;  // not looked at: the request decides
  Json::Value target(Json::objectValue);
  LogCapture log;
  EXPECT_EQ(getInstanceProps(no_instance.get(), &resp, target), 1u);
  EXPECT_EQ(getInstanceProps(nullptr, nullptr, target), 1u);
  ServerResp empty = blank_response();
  EXPECT_EQ(getInstanceProps(nullptr, &empty, target), 1u);
  EXPECT_EQ(compact_text(target), "{}");
  EXPECT_THAT(log.lines(), ElementsAre(Error("ERROR: __getInstanceProps#516: 'Instance is NULL'"),
                                       Error("ERROR: __getInstanceProps#516: 'Instance is NULL'"),
                                       Error("ERROR: __getInstanceProps#516: 'Instance is NULL'")));
  CMRelease(instance);
}

TEST(GetInstanceProps, PropertyCountThatCannotBeHadFails) {
  CMPIInstance *real = new_instance();
  CMPIInstance broken = {nullptr, real->ft};
  Request req(&broken);
  Json::Value target(Json::objectValue);
  LogCapture log;
  EXPECT_EQ(getInstanceProps(req.get(), nullptr, target), 1u);
  EXPECT_EQ(compact_text(target), "{}");
  EXPECT_THAT(log.lines(),
              ElementsAre(Error("ERROR: __getInstanceProps#521: 'CMGetPropertyCount issue'")));
  CMRelease(real);
}

CMPICount one_more_property(const CMPIInstance *inst, CMPIStatus *rc) {
  return InstanceDoctor::real()->getPropertyCount(inst, rc) + 1;
}

TEST(GetInstanceProps, PropertyThatCannotBeFetchedFails) {
  CMPIInstance *instance = new_instance();
  set_scalar<CMPIUint8>(property_setter(instance), "U8", 1, CMPI_uint8);
  InstanceDoctor doctor(instance);
  doctor.table().getPropertyCount = one_more_property;
  Request req(instance);
  Json::Value target(Json::objectValue);
  LogCapture log;
  EXPECT_EQ(getInstanceProps(req.get(), nullptr, target), 1u);
  EXPECT_EQ(compact_text(target), "{}");
  EXPECT_THAT(log.lines(),
              ElementsAre(Trace("numproperties = 2"), Trace("'getInstanceProps' valuestr = 1"),
                          Error("ERROR: __getInstanceProps#535: 'No property available at 1'")));
  CMRelease(instance);
}

TEST(GetInstanceProps, ReferenceThatFailsFailsTheInstance) {
  CMPIInstance *instance = new_instance();
  set_scalar<CMPIUint8>(property_setter(instance), "U8", 1, CMPI_uint8);
  set_object(property_setter(instance), "Ref", makeNewObjectPath(kNs, nullptr, nullptr), CMPI_ref);
  Request req(instance);
  Json::Value target(Json::objectValue);
  LogCapture log;
  EXPECT_EQ(getInstanceProps(req.get(), nullptr, target), 1u);
  EXPECT_EQ(compact_text(target), "{}");
  EXPECT_THAT(log.lines(),
              ElementsAre(Trace("numproperties = 2"), Trace("'getInstanceProps' valuestr = 1"),
                          Error("ERROR: __getCMPIArgsRef#445: 'classname is NULL'"),
                          Error("ERROR: __getInstanceProps#540: 'getCMPIArgsRef failed'")));
  CMRelease(instance);
}

// A null reference has no path and so no namespace: the instance cannot be written.
TEST(GetInstanceProps, NullReferenceFailsTheInstance) {
  CMPIInstance *instance = new_instance();
  property_setter(instance)("Ref", nullptr, CMPI_ref);
  Request req(instance);
  Json::Value target(Json::objectValue);
  LogCapture log;
  EXPECT_EQ(getInstanceProps(req.get(), nullptr, target), 1u);
  EXPECT_THAT(log.lines(),
              ElementsAre(Trace("numproperties = 1"),
                          Error("ERROR: __getCMPIArgsRef#442: 'namespace is NULL'"),
                          Error("ERROR: __getInstanceProps#540: 'getCMPIArgsRef failed'")));
  CMRelease(instance);
}

TEST(GetInstanceProps, ArrayThatFailsFailsTheInstance) {
  CMPIInstance *instance = new_instance();
  set_object(property_setter(instance), "AStr",
             array_of_objects<CMPIString>(CMPI_string, {nullptr}), CMPI_stringA);
  Request req(instance);
  Json::Value target(Json::objectValue);
  LogCapture log;
  EXPECT_EQ(getInstanceProps(req.get(), nullptr, target), 1u);
  EXPECT_EQ(compact_text(target), "{}");
  EXPECT_THAT(log.lines(),
              ElementsAre(Trace("numproperties = 1"),
                          Error("ERROR: __getCMPIArgsArray#403: 'value2Chars failed' "),
                          Error("ERROR: __getInstanceProps#547: 'getCMPIArgsArray failed'")));
  CMRelease(instance);
}

TEST(GetInstanceProps, EmbeddedInstanceThatFailsFailsTheInstance) {
  CMPIInstance *instance = new_instance();
  set_object(property_setter(instance), "E", broken_part(), CMPI_instance);
  Request req(instance);
  Json::Value target(Json::objectValue);
  LogCapture log;
  EXPECT_EQ(getInstanceProps(req.get(), nullptr, target), 1u);
  EXPECT_EQ(compact_text(target), "{}");
  EXPECT_THAT(log.lines(),
              ElementsAre(Trace("numproperties = 1"), Trace("numproperties = 1"),
                          Error("ERROR: __getCMPIArgsRef#442: 'namespace is NULL'"),
                          Error("ERROR: __getInstanceProps#540: 'getCMPIArgsRef failed'"),
                          Error("ERROR: __getInstanceProps#568: 'getInstanceProps failed'")));
  CMRelease(instance);
}

TEST(GetInstanceProps, NullEmbeddedInstanceFailsTheInstance) {
  CMPIInstance *instance = new_instance();
  property_setter(instance)("E", nullptr, CMPI_instance);
  Request req(instance);
  Json::Value target(Json::objectValue);
  LogCapture log;
  EXPECT_EQ(getInstanceProps(req.get(), nullptr, target), 1u);
  EXPECT_THAT(log.lines(),
              ElementsAre(Trace("numproperties = 1"), Trace("instance is null "),
                          Error("ERROR: __getInstanceProps#568: 'getInstanceProps failed'")));
  CMRelease(instance);
}

// When the scratch record for an embedded instance cannot be allocated, the walk stops and
// "InstanceProps" is not written; the result is 1 unless a reference, an array or an embedded
// instance came before in the same instance.
struct ScratchCase {
  const char *name;
  std::function<void(const Setter &)> before;
  unsigned int result;
  int failing_calloc;
};

class ScratchFailure : public ::testing::TestWithParam<ScratchCase> {};

TEST_P(ScratchFailure, StopsTheWalk) {
  CMPIInstance *instance = new_instance();
  const Setter set = property_setter(instance);
  GetParam().before(set);
  set_object(set, "ZEmbedded", part(), CMPI_instance);
  set_scalar<CMPIUint8>(set, "ZLast", 1, CMPI_uint8);
  Request req(instance);
  Json::Value target(Json::objectValue);
  target["ClassName"] = "Demo_Fan";
  LogCapture log;
  testing::internal::CaptureStdout();
  {
    FailingAllocation fail(Allocation::Calloc, GetParam().failing_calloc);
    EXPECT_EQ(getInstanceProps(req.get(), nullptr, target), GetParam().result);
    EXPECT_TRUE(fail.triggered());
  }
  testing::internal::GetCapturedStdout();
  EXPECT_EQ(compact_text(target), R"({"ClassName":"Demo_Fan"})");
  EXPECT_TRUE(log.contains(Error("Error: memallocation failed for creqInst ")));
  EXPECT_EQ(log.lines().back(), Error("Error: memallocation failed for creqInst "));
  EXPECT_EQ(log.at_level(2).size(), 1u);
  CMRelease(instance);
}

INSTANTIATE_TEST_SUITE_P(
    EarlierProperties, ScratchFailure,
    ::testing::Values(
        ScratchCase{"Nothing", [](const Setter &) {}, 1, 1},
        ScratchCase{"Scalar",
                    [](const Setter &set) { set_scalar<CMPIUint8>(set, "A", 1, CMPI_uint8); }, 1,
                    1},
        ScratchCase{"String", [](const Setter &set) { set("A", "a", CMPI_chars); }, 1, 1},
        ScratchCase{"Reference",
                    [](const Setter &set) { set_object(set, "A", disk_path(), CMPI_ref); }, 0, 1},
        ScratchCase{"Array",
                    [](const Setter &set) {
                      set_object(set, "A", array_of<CMPIUint8>(CMPI_uint8, {1}), CMPI_uint8A);
                    },
                    0, 1},
        ScratchCase{"EmptyArray",
                    [](const Setter &set) {
                      set_object(set, "A", makeNewCMPIArray(0, CMPI_uint8, nullptr), CMPI_uint8A);
                    },
                    0, 1},
        ScratchCase{"NullArray", [](const Setter &set) { set("A", nullptr, CMPI_uint8A); }, 0, 1},
        ScratchCase{"EmbeddedInstance",
                    [](const Setter &set) { set_object(set, "A", part(), CMPI_instance); }, 0, 2},
        ScratchCase{"ReferenceThenScalar",
                    [](const Setter &set) {
                      set_object(set, "A", disk_path(), CMPI_ref);
                      set_scalar<CMPIUint8>(set, "B", 1, CMPI_uint8);
                    },
                    0, 1}),
    [](const ::testing::TestParamInfo<ScratchCase> &info) { return info.param.name; });

// ---- getArgs ----------------------------------------------------------------------------------

TEST(GetArgs, MethodWithoutArgumentsWritesNoArgsIn) {
  CMPIArgs *args = makeNewCMPIArgs(nullptr);
  Request req(args);
  Request no_args(static_cast<CMPIArgs *>(nullptr));
  Json::Value target(Json::objectValue);
  target["MethodName"] = "Start";
  LogCapture log;
  EXPECT_EQ(getArgs(req.get(), nullptr, target), 0u);
  EXPECT_EQ(getArgs(no_args.get(), nullptr, target), 0u);
  EXPECT_EQ(getArgs(nullptr, nullptr, target), 0u);
  EXPECT_EQ(compact_text(target), R"({"MethodName":"Start"})");
  EXPECT_THAT(log.lines(), IsEmpty());
  CMRelease(args);
}

TEST(GetArgs, EveryScalarTypeWithoutDataState) {
  CMPIArgs *args = makeNewCMPIArgs(nullptr);
  fill_every_scalar(argument_setter(args));
  Request req(args);
  Json::Value target(Json::objectValue);
  LogCapture log;
  EXPECT_EQ(getArgs(req.get(), nullptr, target), 0u);
  const std::vector<Written> written = every_scalar_written();
  EXPECT_EQ(target["ArgsIn"].size(), written.size());
  for (const Written &w : written) {
    EXPECT_EQ(compact_text(target["ArgsIn"][w.name]), argument_json(w)) << w.name;
  }
  EXPECT_THAT(log.lines(), IsEmpty());
  CMRelease(args);
}

TEST(GetArgs, EveryArrayType) {
  CMPIArgs *args = makeNewCMPIArgs(nullptr);
  fill_every_array(argument_setter(args));
  Request req(args);
  Json::Value target(Json::objectValue);
  LogCapture log;
  EXPECT_EQ(getArgs(req.get(), nullptr, target), 0u);
  const std::vector<Written> written = every_array_written();
  EXPECT_EQ(target["ArgsIn"].size(), written.size());
  for (const Written &w : written) {
    EXPECT_EQ(compact_text(target["ArgsIn"][w.name]), argument_json(w)) << w.name;
  }
  EXPECT_THAT(log.lines(),
              ElementsAre(Trace("numproperties = 1"), Trace("'getInstanceProps' valuestr = 7"),
                          Info("INFO: No array associated to the request'")));
  CMRelease(args);
}

TEST(GetArgs, NullValues) {
  CMPIArgs *args = makeNewCMPIArgs(nullptr);
  const Setter set = argument_setter(args);
  set("NStr", nullptr, CMPI_string);
  set("NU32", nullptr, CMPI_uint32);
  set("NDT", nullptr, CMPI_dateTime);
  Request req(args);
  Json::Value target(Json::objectValue);
  EXPECT_EQ(getArgs(req.get(), nullptr, target), 0u);
  EXPECT_EQ(compact_text(target),
            R"({"ArgsIn":{"NDT":{"DataType":6144,"Value":null},"NStr":{"DataType":5632,)"
            R"("Value":null},"NU32":{"DataType":160,"Value":0}}})");
  CMRelease(args);
}

TEST(GetArgs, ReferenceArgumentWithoutKeysHasKeyNull) {
  CMPIArgs *args = makeNewCMPIArgs(nullptr);
  set_object(argument_setter(args), "Target", new_path("Demo_Disk"), CMPI_ref);
  Request req(args);
  Json::Value target(Json::objectValue);
  LogCapture log;
  EXPECT_EQ(getArgs(req.get(), nullptr, target), 0u);
  EXPECT_EQ(compact_text(target),
            R"({"ArgsIn":{"Target":{"DataType":4352,"Value":{"ClassName":"Demo_Disk",)"
            R"("NameSpace":"root/cimv2","key":null}}}})");
  EXPECT_THAT(log.lines(), ElementsAre(Trace("count = 0"),
                                       Info("INFO: No key associated with args reference'")));
  CMRelease(args);
}

TEST(GetArgs, ReferenceArgumentWithKeysIsEchoed) {
  CMPIArgs *args = makeNewCMPIArgs(nullptr);
  set_object(argument_setter(args), "Target", disk_path(), CMPI_ref);
  Request req(args);
  Json::Value target(Json::objectValue);
  testing::internal::CaptureStdout();
  EXPECT_EQ(getArgs(req.get(), nullptr, target), 0u);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "Name=a,Id=7,\n");
  EXPECT_EQ(compact_text(target),
            R"({"ArgsIn":{"Target":{"DataType":4352,"Value":{"ClassName":"Demo_Disk",)"
            R"("NameSpace":"root/cimv2","key":"Name=a,Id=7,"}}}})");
  CMRelease(args);
}

TEST(GetArgs, EmbeddedInstanceArgument) {
  CMPIArgs *args = makeNewCMPIArgs(nullptr);
  set_object(argument_setter(args), "Part", part(), CMPI_instance);
  Request req(args);
  Json::Value target(Json::objectValue);
  EXPECT_EQ(getArgs(req.get(), nullptr, target), 0u);
  EXPECT_EQ(compact_text(target), std::string(R"({"ArgsIn":{"Part":{"CMPIInstance":)") +
                                      kPartObject + R"(,"DataType":4096}}})");
  CMRelease(args);
}

TEST(GetArgs, WithoutRequestTheResponseArgumentsAreUsed) {
  CMPIArgs *args = makeNewCMPIArgs(nullptr);
  set_scalar<CMPIUint32>(argument_setter(args), "Result", 3, CMPI_uint32);
  ServerResp resp = blank_response();
  resp.type = INVOKEMETHOD;
  resp.retVal.args = args;
  Json::Value target(Json::objectValue);
  EXPECT_EQ(getArgs(nullptr, &resp, target), 0u);
  EXPECT_EQ(compact_text(target), R"({"ArgsIn":{"Result":{"DataType":160,"Value":3}}})");
  CMRelease(args);
}

CMPICount one_more_argument(const CMPIArgs *as, CMPIStatus *rc) {
  return ArgsDoctor::real()->getArgCount(as, rc) + 1;
}

TEST(GetArgs, ArgumentThatCannotBeFetchedFailsAndEarlierArgumentsStay) {
  CMPIArgs *args = makeNewCMPIArgs(nullptr);
  set_scalar<CMPIUint8>(argument_setter(args), "First", 1, CMPI_uint8);
  ArgsDoctor doctor(args);
  doctor.table().getArgCount = one_more_argument;
  Request req(args);
  Json::Value target(Json::objectValue);
  LogCapture log;
  EXPECT_EQ(getArgs(req.get(), nullptr, target), 1u);
  EXPECT_EQ(compact_text(target), R"({"ArgsIn":{"First":{"DataType":128,"Value":1}}})");
  EXPECT_THAT(log.lines(), ElementsAre(Error("ERROR: __getArgs#706: 'CMGetArgAt failed'")));
  CMRelease(args);
}

CMPIData nameless_first_argument(const CMPIArgs *as, CMPICount index, CMPIString **name,
                                 CMPIStatus *rc) {
  CMPIData data = ArgsDoctor::real()->getArgAt(as, index, name, rc);
  if (index == 0) {
    CMRelease(*name);
    *name = nullptr;
  }
  return data;
}

TEST(GetArgs, ArgumentWithoutNameIsSkipped) {
  CMPIArgs *args = makeNewCMPIArgs(nullptr);
  set_object(argument_setter(args), "Skipped", string_of("x"), CMPI_string);
  set_scalar<CMPIUint8>(argument_setter(args), "Kept", 1, CMPI_uint8);
  ArgsDoctor doctor(args);
  doctor.table().getArgAt = nameless_first_argument;
  Request req(args);
  Json::Value target(Json::objectValue);
  EXPECT_EQ(getArgs(req.get(), nullptr, target), 0u);
  EXPECT_EQ(compact_text(target), R"({"ArgsIn":{"Kept":{"DataType":128,"Value":1}}})");
  CMRelease(args);
}

TEST(GetArgs, ReferenceThatFailsFailsTheArguments) {
  CMPIArgs *args = makeNewCMPIArgs(nullptr);
  set_scalar<CMPIUint8>(argument_setter(args), "First", 1, CMPI_uint8);
  set_object(argument_setter(args), "Ref", makeNewObjectPath(nullptr, "Demo_Disk", nullptr),
             CMPI_ref);
  Request req(args);
  Json::Value target(Json::objectValue);
  LogCapture log;
  EXPECT_EQ(getArgs(req.get(), nullptr, target), 1u);
  EXPECT_EQ(compact_text(target), R"({"ArgsIn":{"First":{"DataType":128,"Value":1}}})");
  EXPECT_THAT(log.lines(), ElementsAre(Error("ERROR: __getCMPIArgsRef#442: 'namespace is NULL'"),
                                       Error("ERROR: __getArgs#714: 'getCMPIArgsRef failed'")));
  CMRelease(args);
}

TEST(GetArgs, ArrayThatFailsFailsTheArguments) {
  CMPIArgs *args = makeNewCMPIArgs(nullptr);
  set_object(argument_setter(args), "AStr",
             array_of_objects<CMPIString>(CMPI_string, {string_of("a"), nullptr}), CMPI_stringA);
  Request req(args);
  Json::Value target(Json::objectValue);
  LogCapture log;
  EXPECT_EQ(getArgs(req.get(), nullptr, target), 1u);
  EXPECT_EQ(compact_text(target), "{}");
  EXPECT_THAT(log.lines(),
              ElementsAre(Error("ERROR: __getCMPIArgsArray#403: 'value2Chars failed' "),
                          Error("ERROR: __getArgs#718: 'getCMPIArgsArray failed'")));
  CMRelease(args);
}

// Arguments have no test for a missing array: it fails as an array that cannot tell its size.
TEST(GetArgs, NullArrayFailsTheArguments) {
  CMPIArgs *args = makeNewCMPIArgs(nullptr);
  argument_setter(args)("Numbers", nullptr, CMPI_uint32A);
  Request req(args);
  Json::Value target(Json::objectValue);
  LogCapture log;
  EXPECT_EQ(getArgs(req.get(), nullptr, target), 1u);
  EXPECT_EQ(compact_text(target), "{}");
  EXPECT_THAT(log.lines(),
              ElementsAre(Error("ERROR: __getCMPIArgsArray#358: 'Unable to get size of array' "),
                          Error("ERROR: __getArgs#718: 'getCMPIArgsArray failed'")));
  CMRelease(args);
}

TEST(GetArgs, EmbeddedInstanceThatFailsFailsTheArguments) {
  CMPIArgs *args = makeNewCMPIArgs(nullptr);
  set_object(argument_setter(args), "E", broken_part(), CMPI_instance);
  Request req(args);
  Json::Value target(Json::objectValue);
  LogCapture log;
  EXPECT_EQ(getArgs(req.get(), nullptr, target), 1u);
  EXPECT_EQ(compact_text(target), "{}");
  EXPECT_THAT(log.lines(),
              ElementsAre(Trace("numproperties = 1"),
                          Error("ERROR: __getCMPIArgsRef#442: 'namespace is NULL'"),
                          Error("ERROR: __getInstanceProps#540: 'getCMPIArgsRef failed'"),
                          Error("ERROR: __getArgs#746: 'getInstanceProps failed'")));
  CMRelease(args);
}

TEST(GetArgs, NullEmbeddedInstanceFailsTheArguments) {
  CMPIArgs *args = makeNewCMPIArgs(nullptr);
  argument_setter(args)("E", nullptr, CMPI_instance);
  Request req(args);
  Json::Value target(Json::objectValue);
  LogCapture log;
  EXPECT_EQ(getArgs(req.get(), nullptr, target), 1u);
  EXPECT_THAT(log.lines(), ElementsAre(Trace("instance is null "),
                                       Error("ERROR: __getArgs#746: 'getInstanceProps failed'")));
  CMRelease(args);
}

TEST(GetArgs, ScratchRecordThatCannotBeAllocatedFailsTheArguments) {
  CMPIArgs *args = makeNewCMPIArgs(nullptr);
  set_object(argument_setter(args), "A", disk_path(), CMPI_ref);
  set_object(argument_setter(args), "E", part(), CMPI_instance);
  Request req(args);
  Json::Value target(Json::objectValue);
  LogCapture log;
  testing::internal::CaptureStdout();
  {
    FailingAllocation fail(Allocation::Calloc, 1);
    EXPECT_EQ(getArgs(req.get(), nullptr, target), 1u);
    EXPECT_TRUE(fail.triggered());
  }
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "Name=a,Id=7,\n");
  EXPECT_EQ(target["ArgsIn"].getMemberNames(), std::vector<std::string>{"A"});
  EXPECT_THAT(log.lines(),
              ElementsAre(Trace("count = 2"), Error("Error: memallocation failed for creqInst "),
                          Error("ERROR: __getArgs#746: 'getInstanceProps failed'")));
  CMRelease(args);
}

}  // namespace
