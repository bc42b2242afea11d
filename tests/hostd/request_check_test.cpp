// Tests of the strict request check: every request the library writes passes with the right
// facts, and every hostile or malformed document is refused with the right reason.
#include "request_check.h"

#include <cmpimacs.h>
#include <cmpiutility/records.h>
#include <cmpiutility/request.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <ostream>
#include <string>
#include <vector>

#include "demo_paths.h"

namespace hostd {
namespace {

constexpr char kNamespace[] = "root/cimv2";
constexpr char kEof[] = "CMPI_EOF";

// ---- requests written by the library -----------------------------------------------------------

using cmpitest::fan_path;
using cmpitest::system_path;

CMPIInstance *sensor_instance(const char *name, CMPIUint16 reading) {
  CMPIObjectPath *path = makeNewObjectPath(kNamespace, "Demo_Sensor", nullptr);
  CMPIInstance *sensor = makeNewCMPIInstance(path, nullptr);
  CMRelease(path);
  CMSetProperty(sensor, "Name", name, CMPI_chars);
  CMSetProperty(sensor, "Reading", &reading, CMPI_uint16);
  return sensor;
}

template <typename T>
void set_array(CMPIInstance *inst, const char *name, CMPIType element, const std::vector<T> &items) {
  CMPIArray *array = makeNewCMPIArray(static_cast<CMPICount>(items.size()), element, nullptr);
  for (CMPICount i = 0; i < items.size(); ++i) {
    T item = items[i];
    CMSetArrayElementAt(array, i, &item, element);
  }
  CMSetProperty(inst, name, &array, element | CMPI_ARRAY);
  CMRelease(array);
}

// An instance with a property of every value kind the document carries: each scalar type,
// null values, arrays of several element types (empty and null ones too), an embedded
// instance, an array of embedded instances, a reference, and texts that need escaping.
CMPIInstance *every_kind_instance(CMPIObjectPath *path) {
  CMPIInstance *inst = makeNewCMPIInstance(path, nullptr);
  CMSetProperty(inst, "DeviceID", "fan0", CMPI_chars);
  CMSetProperty(inst, "Caption", "quote \" backslash \\ tab \t newline \n caf\xc3\xa9 \xf0\x9f\x98\x80",
                CMPI_chars);
  CMPIBoolean enabled = 1;
  CMSetProperty(inst, "Enabled", &enabled, CMPI_boolean);
  CMPIChar16 initial = 'A';
  CMSetProperty(inst, "Initial", &initial, CMPI_char16);
  CMPIDateTime *installed = makeNewCMPIDateTimeFromChars("20241114120523.243424-300", nullptr);
  CMSetProperty(inst, "Installed", &installed, CMPI_dateTime);
  CMRelease(installed);
  CMPIUint8 u8 = 200;
  CMSetProperty(inst, "U8", &u8, CMPI_uint8);
  CMPIUint16 u16 = 60000;
  CMSetProperty(inst, "U16", &u16, CMPI_uint16);
  CMPIUint32 u32 = 4000000000u;
  CMSetProperty(inst, "U32", &u32, CMPI_uint32);
  CMPIUint64 u64 = 18000000000000000000ull;
  CMSetProperty(inst, "U64", &u64, CMPI_uint64);
  CMPISint8 s8 = -100;
  CMSetProperty(inst, "S8", &s8, CMPI_sint8);
  CMPISint16 s16 = -30000;
  CMSetProperty(inst, "S16", &s16, CMPI_sint16);
  CMPISint32 s32 = -5;
  CMSetProperty(inst, "S32", &s32, CMPI_sint32);
  CMPISint64 s64 = -9000000000000000000ll;
  CMSetProperty(inst, "S64", &s64, CMPI_sint64);
  CMPIReal32 r32 = 1.5e-7f;
  CMSetProperty(inst, "R32", &r32, CMPI_real32);
  CMPIReal64 r64 = -2.5e300;
  CMSetProperty(inst, "R64", &r64, CMPI_real64);
  CMSetProperty(inst, "Location", nullptr, CMPI_string);
  CMSetProperty(inst, "Spare", nullptr, CMPI_uint32);
  set_array<CMPIUint8>(inst, "Levels", CMPI_uint8, {1, 2, 3});
  set_array<CMPISint64>(inst, "Offsets", CMPI_sint64, {-1, 0, 1});
  set_array<CMPIBoolean>(inst, "Flags", CMPI_boolean, {1, 0});
  set_array<CMPIReal32>(inst, "Ratios", CMPI_real32, {0.5f});
  set_array<CMPIUint16>(inst, "Nothing", CMPI_uint16, {});
  CMPIArray *tags = makeNewCMPIArray(3, CMPI_string, nullptr);
  CMSetArrayElementAt(tags, 0, "a", CMPI_chars);
  CMSetArrayElementAt(tags, 1, "NULL", CMPI_chars);
  CMSetArrayElementAt(tags, 2, "with \"quotes\"", CMPI_chars);
  CMSetProperty(inst, "Tags", &tags, CMPI_stringA);
  CMRelease(tags);
  CMPIArray *times = makeNewCMPIArray(1, CMPI_dateTime, nullptr);
  CMPIDateTime *when = makeNewCMPIDateTimeFromChars("00000001020304.000000:000", nullptr);
  CMSetArrayElementAt(times, 0, &when, CMPI_dateTime);
  CMRelease(when);
  CMSetProperty(inst, "Times", &times, CMPI_dateTimeA);
  CMRelease(times);
  CMSetProperty(inst, "Missing", nullptr, CMPI_stringA);
  CMPIInstance *sensor = sensor_instance("s0", 7);
  CMSetProperty(inst, "Sensor", &sensor, CMPI_instance);
  CMRelease(sensor);
  CMPIArray *sensors = makeNewCMPIArray(2, CMPI_instance, nullptr);
  for (CMPICount i = 0; i < 2; ++i) {
    CMPIInstance *one = sensor_instance(i == 0 ? "s1" : "s2", static_cast<CMPIUint16>(i));
    CMSetArrayElementAt(sensors, i, &one, CMPI_instance);
    CMRelease(one);
  }
  CMSetProperty(inst, "Sensors", &sensors, CMPI_instanceA);
  CMRelease(sensors);
  CMPIObjectPath *system = system_path();
  CMSetProperty(inst, "System", &system, CMPI_ref);
  CMPIArray *systems = makeNewCMPIArray(1, CMPI_ref, nullptr);
  CMSetArrayElementAt(systems, 0, &system, CMPI_ref);
  CMSetProperty(inst, "Systems", &systems, CMPI_refA);
  CMRelease(systems);
  CMRelease(system);
  return inst;
}

// Method arguments of every kind an argument list carries.
CMPIArgs *every_kind_args() {
  CMPIArgs *args = makeNewCMPIArgs(nullptr);
  CMPIUint8 level = 3;
  CMAddArg(args, "Level", &level, CMPI_uint8);
  CMPISint32 delta = -40;
  CMAddArg(args, "Delta", &delta, CMPI_sint32);
  CMPIReal64 factor = 0.25;
  CMAddArg(args, "Factor", &factor, CMPI_real64);
  CMAddArg(args, "Mode", "auto \"fast\"", CMPI_chars);
  CMAddArg(args, "Nothing", nullptr, CMPI_string);
  CMPIDateTime *at = makeNewCMPIDateTimeFromChars("20250101000000.000000+000", nullptr);
  CMAddArg(args, "At", &at, CMPI_dateTime);
  CMRelease(at);
  CMPIObjectPath *system = system_path();
  CMAddArg(args, "Target", &system, CMPI_ref);
  CMRelease(system);
  CMPIInstance *sensor = sensor_instance("s9", 9);
  CMAddArg(args, "Sensor", &sensor, CMPI_instance);
  CMRelease(sensor);
  CMPIArray *names = makeNewCMPIArray(2, CMPI_string, nullptr);
  CMSetArrayElementAt(names, 0, "x", CMPI_chars);
  CMSetArrayElementAt(names, 1, "y", CMPI_chars);
  CMAddArg(args, "Names", &names, CMPI_stringA);
  CMRelease(names);
  return args;
}

CMAssocReq *assoc_params(bool all) {
  auto *assoc = static_cast<CMAssocReq *>(calloc(1, sizeof(CMAssocReq)));
  assoc->AssocClass = strdup("Demo_FanInSystem");
  if (all) {
    assoc->ResultClass = strdup("Demo_System");
    assoc->Role = strdup("PartComponent");
    assoc->ResultRole = strdup("GroupComponent");
    assoc->RefsOnly = 1;
  }
  return assoc;
}

// The document text of the frame that doSerialization writes for req (its terminator cut
// off); the request is released.
std::string document_of(ClientReq *req) {
  std::vector<char> fixed(FRAME_BUFFER_SIZE, '\0');
  char *dyn = static_cast<char *>(calloc(1, FRAME_BUFFER_SIZE));
  // Reference key texts are echoed to standard output on the way.
  testing::internal::CaptureStdout();
  const int rc = doSerialization(req, fixed.data(), &dyn);
  testing::internal::GetCapturedStdout();
  EXPECT_EQ(rc, 0);
  const bool sized = req->type == MODIFYINST || req->type == CREATEINST || req->type == INVOKEMETHOD;
  std::string frame = sized ? std::string(dyn) : std::string(fixed.data());
  free(dyn);
  releaseRequestData(req);
  const std::size_t eof = frame.rfind(kEof);
  EXPECT_EQ(eof, frame.size() - std::strlen(kEof));
  frame.resize(eof);
  return frame;
}

ClientReq *build(int type, const char *user = "admin") {
  CMPIObjectPath *path = fan_path();
  CMPIArgs *args = nullptr;
  CMPIInstance *inst = nullptr;
  CMAssocReq *assoc = nullptr;
  const char *text = nullptr;
  switch (type) {
    case MODIFYINST:
    case CREATEINST:
      inst = every_kind_instance(path);
      break;
    case INVOKEMETHOD:
      args = every_kind_args();
      text = "SetSpeed";
      break;
    case ASSOCIATORS:
      assoc = assoc_params(true);
      break;
    case EXECQUERY:
      text = "select * from Demo_Fan where DeviceID = \"fan0\"";
      break;
    default:
      break;
  }
  ClientReq *req = nullptr;
  EXPECT_EQ(getClientReq(&req, user, type, path, args, inst, assoc, text), 0);
  return req;
}

class LibraryRequest : public ::testing::TestWithParam<int> {};

TEST_P(LibraryRequest, IsAcceptedWithItsFacts) {
  const int type = GetParam();
  const std::string document = document_of(build(type));
  const RequestCheck check = check_request(document);
  EXPECT_TRUE(check.accepted) << check.reason << "\n" << document;
  EXPECT_EQ(check.reason, "");
  EXPECT_EQ(check.facts.type, type);
  EXPECT_EQ(check.facts.principal, "admin");
  EXPECT_EQ(check.facts.class_name, "Demo_Fan");
  EXPECT_EQ(check.facts.name_space, "root/cimv2");
}

INSTANTIATE_TEST_SUITE_P(EveryType, LibraryRequest,
                         ::testing::Values(ENUMINST, ENUMINSTNAMES, GETINST, MODIFYINST,
                                           INVOKEMETHOD, ASSOCIATORS, EXECQUERY, DELETEINST,
                                           CREATEINST, GETCLASS));

TEST(LibraryRequests, CarryWhatTheCheckLooksAt) {
  // The instance request really holds nested objects, arrays, embedded instances and escapes.
  const std::string document = document_of(build(CREATEINST));
  for (const char *part : {"\"InstanceProps\":{", "\"CMPIInstance\":{", "\"Value\":[{",
                           "\"key\":\"Name=bmc0,\"", "\\\"", "\\u00e9", "\\ud83d\\ude00"}) {
    EXPECT_NE(document.find(part), std::string::npos) << part << "\n" << document;
  }
}

TEST(LibraryRequests, AssociatorsWithNullParametersAreAccepted) {
  CMAssocReq *assoc = assoc_params(false);
  ClientReq *req = nullptr;
  ASSERT_EQ(getClientReq(&req, "admin", ASSOCIATORS, fan_path(), nullptr, nullptr, assoc, nullptr),
            0);
  const std::string document = document_of(req);
  ASSERT_NE(document.find("\"Role\":null"), std::string::npos);
  ASSERT_NE(document.find("\"RefsOnly\":false"), std::string::npos);
  EXPECT_TRUE(check_request(document).accepted);
}

TEST(LibraryRequests, MethodWithoutArgumentsAndPathWithoutKeysAreAccepted) {
  ClientReq *req = nullptr;
  ASSERT_EQ(getClientReq(&req, "admin", INVOKEMETHOD,
                         makeNewObjectPath(kNamespace, "Demo_Fan", nullptr),
                         makeNewCMPIArgs(nullptr), nullptr, nullptr, "Reset"),
            0);
  const std::string document = document_of(req);
  EXPECT_EQ(document.find("ArgsIn"), std::string::npos);
  EXPECT_EQ(document.find("\"key\""), std::string::npos);
  const RequestCheck check = check_request(document);
  EXPECT_TRUE(check.accepted) << check.reason;
  EXPECT_EQ(check.facts.type, INVOKEMETHOD);
}

TEST(LibraryRequests, NonAsciiPrincipalComesBackUnescaped) {
  const std::string document = document_of(build(ENUMINST, "jos\xc3\xa9"));
  ASSERT_NE(document.find("jos\\u00e9"), std::string::npos) << document;
  const RequestCheck check = check_request(document);
  ASSERT_TRUE(check.accepted) << check.reason;
  EXPECT_EQ(check.facts.principal, "jos\xc3\xa9");
}

TEST(LibraryRequests, LargeInstanceIsAccepted) {
  CMPIObjectPath *path = makeNewObjectPath(kNamespace, "Demo_Fan", nullptr);
  CMPIInstance *inst = makeNewCMPIInstance(path, nullptr);
  CMSetProperty(inst, "Firmware", std::string(3 * 1024 * 1024, 'm').c_str(), CMPI_chars);
  for (int i = 0; i < 2000; ++i) {
    CMPIUint32 value = static_cast<CMPIUint32>(i);
    CMSetProperty(inst, ("Prop" + std::to_string(i)).c_str(), &value, CMPI_uint32);
  }
  ClientReq *req = nullptr;
  ASSERT_EQ(getClientReq(&req, "admin", CREATEINST, path, nullptr, inst, nullptr, nullptr), 0);
  const RequestCheck check = check_request(document_of(req));
  EXPECT_TRUE(check.accepted) << check.reason;
}

// ---- hand-written documents ------------------------------------------------------------------

// A type-1 request with the given members in front of the usual header (which the members may
// repeat: the check then sees the duplicate).
std::string header(const std::string &extra = "") {
  return "{" + extra +
         "\"ClassName\":\"Demo_Fan\",\"NameSpace\":\"root/cimv2\",\"Principal\":\"admin\"}";
}

std::string request_of_type(int type, const std::string &extra = "") {
  return header(extra + "\"RequestType\":" + std::to_string(type) + ",");
}

std::string repeat(const std::string &unit, std::size_t times) {
  std::string text;
  text.reserve(unit.size() * times);
  for (std::size_t i = 0; i < times; ++i) text += unit;
  return text;
}

struct Refused {
  const char *what;
  std::string document;
  std::string reason;
};

void PrintTo(const Refused &c, std::ostream *os) { *os << c.what; }

class RefusedDocument : public ::testing::TestWithParam<Refused> {};

TEST_P(RefusedDocument, IsRefusedWithItsReason) {
  const RequestCheck check = check_request(GetParam().document);
  EXPECT_FALSE(check.accepted);
  EXPECT_EQ(check.reason, GetParam().reason);
  // Nothing of a refused document is handed on.
  EXPECT_EQ(check.facts.type, 0);
  EXPECT_EQ(check.facts.principal, "");
  EXPECT_EQ(check.facts.class_name, "");
  EXPECT_EQ(check.facts.name_space, "");
}

const char kNul[] = "a string contains a NUL character";

std::string with_raw_nul(const std::string &before, const std::string &after) {
  std::string text = before;
  text.push_back('\0');
  return text + after;
}

std::string instance_request(const std::string &props) {
  return request_of_type(CREATEINST, "\"InstanceProps\":{" + props + "},\"key\":\"DeviceID=fan0,\",");
}

INSTANTIATE_TEST_SUITE_P(
    Nul, RefusedDocument,
    ::testing::Values(
        Refused{"escaped NUL in the principal",
                "{\"ClassName\":\"C\",\"NameSpace\":\"n\",\"Principal\":\"root\\u0000nobody\","
                "\"RequestType\":1}",
                kNul},
        Refused{"raw NUL in the principal",
                with_raw_nul("{\"ClassName\":\"C\",\"NameSpace\":\"n\",\"Principal\":\"root",
                             "nobody\",\"RequestType\":1}"),
                kNul},
        Refused{"escaped NUL in the class name",
                "{\"ClassName\":\"Demo_Fan\\u0000Evil\",\"NameSpace\":\"n\",\"RequestType\":1}",
                kNul},
        Refused{"raw NUL in the class name",
                with_raw_nul("{\"ClassName\":\"Demo_Fan", "Evil\",\"NameSpace\":\"n\",\"RequestType\":1}"),
                kNul},
        Refused{"escaped NUL in a nested property value",
                instance_request("\"Note\":{\"DataState\":0,\"DataType\":5632,\"Value\":\"a\\u0000b\"}"),
                kNul},
        Refused{"raw NUL in a nested property value",
                instance_request(with_raw_nul("\"Note\":{\"DataType\":5632,\"Value\":\"a", "b\"}")),
                kNul},
        Refused{"escaped NUL in an array element",
                instance_request("\"Tags\":{\"DataType\":13824,\"Value\":[\"a\",\"\\u0000\"]}"),
                kNul},
        Refused{"escaped NUL in a top-level member name", request_of_type(1, "\"Na\\u0000me\":1,"),
                kNul},
        Refused{"raw NUL in a top-level member name",
                request_of_type(1, with_raw_nul("\"Na", "me\":1,")), kNul},
        Refused{"escaped NUL in a property name",
                instance_request("\"No\\u0000te\":{\"DataType\":5632,\"Value\":\"x\"}"), kNul}));

INSTANTIATE_TEST_SUITE_P(
    Duplicates, RefusedDocument,
    ::testing::Values(
        Refused{"two principals, the later one root",
                "{\"ClassName\":\"C\",\"NameSpace\":\"n\",\"Principal\":\"nobody\","
                "\"RequestType\":1,\"Principal\":\"root\"}",
                "duplicate member \"Principal\""},
        Refused{"a principal spelt with an escape",
                request_of_type(1, "\"\\u0050rincipal\":\"root\","), "duplicate member \"Principal\""},
        Refused{"two request types", request_of_type(1, "\"RequestType\":3,"),
                "duplicate member \"RequestType\""},
        Refused{"two properties of one name",
                instance_request("\"P\":{\"DataType\":144,\"Value\":1},\"P\":{\"DataType\":144,"
                                 "\"Value\":2}"),
                "duplicate member \"P\""},
        Refused{"two values in one value object",
                instance_request("\"P\":{\"DataType\":144,\"Value\":1,\"Value\":2}"),
                "duplicate member \"Value\""},
        Refused{"two class names in an embedded instance",
                instance_request("\"S\":{\"DataType\":4096,\"CMPIInstance\":{\"ClassName\":\"A\","
                                 "\"NameSpace\":\"n\",\"ClassName\":\"B\"}}"),
                "duplicate member \"ClassName\""},
        Refused{"duplicates in an object inside an array",
                request_of_type(1, "\"Extra\":[1,{\"a\":1,\"b\":2,\"a\":3}],"),
                "duplicate member \"a\""},
        Refused{"a duplicated name that is not ASCII",
                request_of_type(1, "\"\\u00e9\":1,\"\xc3\xa9\":2,"), "duplicate member name"},
        Refused{"a duplicated name with a quote", request_of_type(1, "\"a\\\"b\":1,\"a\\\"b\":2,"),
                "duplicate member name"},
        Refused{"a duplicated long name",
                request_of_type(1, "\"" + std::string(65, 'x') + "\":1,\"" + std::string(65, 'x') +
                                       "\":2,"),
                "duplicate member name"}));

const char kBadType[] = "member \"RequestType\" is not an integer from 1 to 10";

Refused bad_type(const char *what, const std::string &value) {
  return Refused{what,
                 "{\"ClassName\":\"C\",\"NameSpace\":\"n\",\"RequestType\":" + value + "}",
                 kBadType};
}

INSTANTIATE_TEST_SUITE_P(
    RequestType, RefusedDocument,
    ::testing::Values(bad_type("a fraction", "3.5"), bad_type("a whole fraction", "3.0"),
                      bad_type("true", "true"), bad_type("false", "false"),
                      bad_type("null", "null"), bad_type("a string", "\"3\""),
                      bad_type("zero", "0"), bad_type("eleven", "11"), bad_type("minus one", "-1"),
                      bad_type("minus zero", "-0"), bad_type("an exponent", "1e0"),
                      bad_type("a capital exponent", "3E0"), bad_type("a hundred", "100"),
                      bad_type("too large for any integer", "123456789012345678901234567890"),
                      bad_type("an array", "[3]"), bad_type("an object", "{\"a\":3}"),
                      Refused{"no request type",
                              "{\"ClassName\":\"C\",\"NameSpace\":\"n\",\"Principal\":\"a\"}",
                              "member \"RequestType\" is missing"}));

INSTANTIATE_TEST_SUITE_P(
    MemberTypes, RefusedDocument,
    ::testing::Values(
        Refused{"a number as class name",
                "{\"ClassName\":42,\"NameSpace\":\"n\",\"RequestType\":1}",
                "member \"ClassName\" is not a string"},
        Refused{"null as namespace", "{\"ClassName\":\"C\",\"NameSpace\":null,\"RequestType\":1}",
                "member \"NameSpace\" is not a string"},
        Refused{"an object as namespace",
                "{\"ClassName\":\"C\",\"NameSpace\":{},\"RequestType\":1}",
                "member \"NameSpace\" is not a string"},
        Refused{"an empty class name", "{\"ClassName\":\"\",\"NameSpace\":\"n\",\"RequestType\":1}",
                "member \"ClassName\" is empty"},
        Refused{"an empty namespace", "{\"ClassName\":\"C\",\"NameSpace\":\"\",\"RequestType\":1}",
                "member \"NameSpace\" is empty"},
        Refused{"no class name", "{\"NameSpace\":\"n\",\"RequestType\":1}",
                "member \"ClassName\" is missing"},
        Refused{"no namespace", "{\"ClassName\":\"C\",\"RequestType\":1}",
                "member \"NameSpace\" is missing"},
        Refused{"a number as principal",
                "{\"ClassName\":\"C\",\"NameSpace\":\"n\",\"Principal\":0,\"RequestType\":1}",
                "member \"Principal\" is not a string"},
        Refused{"true as principal",
                "{\"ClassName\":\"C\",\"NameSpace\":\"n\",\"Principal\":true,\"RequestType\":1}",
                "member \"Principal\" is not a string"},
        Refused{"an array as principal",
                "{\"ClassName\":\"C\",\"NameSpace\":\"n\",\"Principal\":[\"root\"],"
                "\"RequestType\":1}",
                "member \"Principal\" is not a string"},
        Refused{"a number as method name", request_of_type(INVOKEMETHOD, "\"MethodName\":1,"),
                "member \"MethodName\" is not a string"},
        Refused{"null as method name", request_of_type(INVOKEMETHOD, "\"MethodName\":null,"),
                "member \"MethodName\" is not a string"},
        Refused{"a method call without method name", request_of_type(INVOKEMETHOD),
                "member \"MethodName\" is missing"},
        Refused{"an array as query", request_of_type(EXECQUERY, "\"Query\":[],"),
                "member \"Query\" is not a string"},
        Refused{"a query request without query", request_of_type(EXECQUERY),
                "member \"Query\" is missing"},
        Refused{"an object as key text", request_of_type(GETINST, "\"key\":{},"),
                "member \"key\" is not a string"},
        Refused{"null as key text", request_of_type(GETINST, "\"key\":null,"),
                "member \"key\" is not a string"},
        Refused{"a number as association class",
                request_of_type(ASSOCIATORS, "\"AssocClass\":1,"),
                "member \"AssocClass\" is not a string or null"},
        Refused{"an object as result role",
                request_of_type(ASSOCIATORS, "\"ResultRole\":{},"),
                "member \"ResultRole\" is not a string or null"},
        Refused{"a string as refs-only flag",
                request_of_type(ASSOCIATORS, "\"RefsOnly\":\"true\","),
                "member \"RefsOnly\" is not true, false or null"},
        Refused{"a number as refs-only flag", request_of_type(ASSOCIATORS, "\"RefsOnly\":1,"),
                "member \"RefsOnly\" is not true, false or null"},
        Refused{"an array as instance properties",
                request_of_type(CREATEINST, "\"InstanceProps\":[],"),
                "member \"InstanceProps\" is not an object"},
        Refused{"a string as method arguments",
                request_of_type(INVOKEMETHOD, "\"ArgsIn\":\"x\",\"MethodName\":\"M\","),
                "member \"ArgsIn\" is not an object"},
        Refused{"a misplaced member of the wrong type still counts",
                request_of_type(ENUMINST, "\"Query\":5,"), "member \"Query\" is not a string"}));

// A name or text member of exactly n bytes in an otherwise valid request.
std::string with_member(const std::string &member, const std::string &value, int type = 1) {
  if (member == "ClassName") {
    return "{\"ClassName\":\"" + value + "\",\"NameSpace\":\"n\",\"RequestType\":" +
           std::to_string(type) + "}";
  }
  if (member == "NameSpace") {
    return "{\"ClassName\":\"C\",\"NameSpace\":\"" + value + "\",\"RequestType\":" +
           std::to_string(type) + "}";
  }
  std::string extra = "\"" + member + "\":\"" + value + "\",";
  if (member != "MethodName" && type == INVOKEMETHOD) extra += "\"MethodName\":\"M\",";
  if (member != "Query" && type == EXECQUERY) extra += "\"Query\":\"q\",";
  return "{" + extra + "\"ClassName\":\"C\",\"NameSpace\":\"n\",\"RequestType\":" +
         std::to_string(type) + "}";
}

struct Limited {
  const char *member;
  int type;
  std::size_t limit;
};

class LengthLimit : public ::testing::TestWithParam<Limited> {};

TEST_P(LengthLimit, ExactlyTheLimitPassesOneMoreByteIsRefused) {
  const Limited &c = GetParam();
  const RequestCheck at = check_request(with_member(c.member, std::string(c.limit, 'x'), c.type));
  EXPECT_TRUE(at.accepted) << at.reason;
  const RequestCheck over =
      check_request(with_member(c.member, std::string(c.limit + 1, 'x'), c.type));
  EXPECT_FALSE(over.accepted);
  EXPECT_EQ(over.reason, "member \"" + std::string(c.member) + "\" is longer than " +
                             std::to_string(c.limit) + " bytes");
}

TEST_P(LengthLimit, CountsBytesOnceUnescaped) {
  const Limited &c = GetParam();
  // Six bytes of text per letter, one byte once unescaped: passes.
  EXPECT_TRUE(check_request(with_member(c.member, repeat("\\u0041", c.limit), c.type)).accepted);
  // Six bytes per two-byte letter: the unescaped length decides, half the limit plus one fails.
  const std::size_t half = c.limit / 2;
  EXPECT_TRUE(check_request(with_member(c.member, repeat("\\u00e9", half), c.type)).accepted);
  EXPECT_FALSE(
      check_request(with_member(c.member, repeat("\\u00e9", half) + "x", c.type)).accepted);
  // Raw UTF-8 counts its bytes too.
  EXPECT_FALSE(
      check_request(with_member(c.member, repeat("\xc3\xa9", half) + "x", c.type)).accepted);
}

INSTANTIATE_TEST_SUITE_P(
    Defaults, LengthLimit,
    ::testing::Values(Limited{"ClassName", 1, 256}, Limited{"NameSpace", 1, 256},
                      Limited{"Principal", 1, 256}, Limited{"MethodName", INVOKEMETHOD, 256},
                      Limited{"AssocClass", ASSOCIATORS, 256},
                      Limited{"ResultClass", ASSOCIATORS, 256}, Limited{"Role", ASSOCIATORS, 256},
                      Limited{"ResultRole", ASSOCIATORS, 256}, Limited{"key", GETINST, 65536},
                      Limited{"Query", EXECQUERY, 65536}),
    [](const ::testing::TestParamInfo<Limited> &info) { return std::string(info.param.member); });

TEST(LengthLimits, MemberNamesAnywhere) {
  const std::string at(256, 'n');
  const std::string over(257, 'n');
  EXPECT_TRUE(check_request(request_of_type(1, "\"" + at + "\":1,")).accepted);
  const RequestCheck top = check_request(request_of_type(1, "\"" + over + "\":1,"));
  EXPECT_FALSE(top.accepted);
  EXPECT_EQ(top.reason, "a member name is longer than 256 bytes");
  EXPECT_TRUE(check_request(instance_request("\"" + at + "\":{\"DataType\":144,\"Value\":1}"))
                  .accepted);
  const RequestCheck property =
      check_request(instance_request("\"" + over + "\":{\"DataType\":144,\"Value\":1}"));
  EXPECT_EQ(property.reason, "a member name is longer than 256 bytes");
  const RequestCheck argument = check_request(request_of_type(
      INVOKEMETHOD, "\"ArgsIn\":{\"" + over + "\":{\"DataType\":144,\"Value\":1}},\"MethodName\":\"M\","));
  EXPECT_EQ(argument.reason, "a member name is longer than 256 bytes");
}

TEST(LengthLimits, NamesAndTextsInsideEmbeddedInstancesAndReferences) {
  const auto embedded = [](const std::string &class_name) {
    return instance_request("\"S\":{\"DataType\":4096,\"CMPIInstance\":{\"ClassName\":\"" +
                            class_name + "\",\"NameSpace\":\"n\",\"Principal\":\"TEMP\","
                            "\"RequestType\":1}}");
  };
  EXPECT_TRUE(check_request(embedded(std::string(256, 'c'))).accepted);
  EXPECT_EQ(check_request(embedded(std::string(257, 'c'))).reason,
            "member \"ClassName\" is longer than 256 bytes");
  const auto reference = [](const std::string &key) {
    return instance_request("\"R\":{\"DataType\":4352,\"Value\":{\"ClassName\":\"C\","
                            "\"NameSpace\":\"n\",\"key\":\"" + key + "\"}}");
  };
  EXPECT_TRUE(check_request(reference(std::string(65536, 'k'))).accepted);
  EXPECT_EQ(check_request(reference(std::string(65537, 'k'))).reason,
            "member \"key\" is longer than 65536 bytes");
  // A property that happens to be called "ClassName" is an object, not a name: no limit there,
  // and its string "Value" is data, which has none either.
  EXPECT_TRUE(check_request(instance_request("\"ClassName\":{\"DataType\":5632,\"Value\":\"" +
                                             std::string(100000, 'v') + "\"}"))
                  .accepted);
}

TEST(LengthLimits, AHugeClassNameIsRefused) {
  const std::string document = with_member("ClassName", std::string(30 * 1024 * 1024, 'C'));
  const RequestCheck check = check_request(document);
  EXPECT_FALSE(check.accepted);
  EXPECT_EQ(check.reason, "member \"ClassName\" is longer than 256 bytes");
}

TEST(LengthLimits, AreTheCallersToChoose) {
  RequestCheckLimits limits;
  limits.max_name = 8;
  limits.max_text = 16;
  EXPECT_TRUE(check_request(with_member("Principal", "12345678"), limits).accepted);
  EXPECT_EQ(check_request(with_member("Principal", "123456789"), limits).reason,
            "member \"Principal\" is longer than 8 bytes");
  EXPECT_EQ(check_request(request_of_type(1, "\"LongName1\":0,"), limits).reason,
            "a member name is longer than 8 bytes");
  // The members a request is made of keep their own names, however short the limit.
  limits.max_name = 1;
  const auto tiny = [](const char *property) {
    return "{\"ClassName\":\"C\",\"InstanceProps\":{\"" + std::string(property) +
           "\":{\"DataType\":144}},\"NameSpace\":\"n\",\"RequestType\":9}";
  };
  const RequestCheck short_names = check_request(tiny("P"), limits);
  EXPECT_TRUE(short_names.accepted) << short_names.reason;
  EXPECT_EQ(check_request(tiny("PP"), limits).reason, "a member name is longer than 1 bytes");
  EXPECT_TRUE(check_request(with_member("key", std::string(16, 'k'), GETINST), limits).accepted);
  EXPECT_EQ(check_request(with_member("key", std::string(17, 'k'), GETINST), limits).reason,
            "member \"key\" is longer than 16 bytes");
}

// ---- nesting -----------------------------------------------------------------------------------

// A request whose member "Extra" nests arrays so that the deepest one is at level depth.
std::string nested_arrays(int depth) {
  const auto arrays = static_cast<std::size_t>(depth - 1);
  return request_of_type(1, "\"Extra\":" + std::string(arrays, '[') + std::string(arrays, ']') + ",");
}

std::string nested_objects(int depth) {
  std::string value = "0";
  for (int i = 1; i < depth; ++i) value = "{\"o\":" + value + "}";
  return request_of_type(1, "\"Extra\":" + value + ",");
}

TEST(Nesting, UpToTheLimitPassesOneLevelMoreIsRefused) {
  EXPECT_TRUE(check_request(nested_arrays(64)).accepted);
  EXPECT_EQ(check_request(nested_arrays(65)).reason, "nesting deeper than 64 levels");
  EXPECT_TRUE(check_request(nested_objects(64)).accepted);
  EXPECT_EQ(check_request(nested_objects(65)).reason, "nesting deeper than 64 levels");
}

TEST(Nesting, TheLimitIsTheCallersToChoose) {
  RequestCheckLimits limits;
  limits.max_depth = 3;
  EXPECT_TRUE(check_request(nested_arrays(3), limits).accepted);
  EXPECT_EQ(check_request(nested_arrays(4), limits).reason, "nesting deeper than 3 levels");
  limits.max_depth = 0;
  EXPECT_EQ(check_request(header("\"RequestType\":1,"), limits).reason,
            "nesting deeper than 0 levels");
}

TEST(Nesting, AMillionOpenArraysAreRefusedWithoutRecursion) {
  const std::string document = "{\"Extra\":" + std::string(1000000, '[');
  EXPECT_EQ(check_request(document).reason, "nesting deeper than 64 levels");
  RequestCheckLimits limits;
  limits.max_depth = 2000000;
  // With a limit that lets them all open, the text simply ends too soon.
  EXPECT_EQ(check_request(document, limits).reason,
            "not valid JSON at byte " + std::to_string(document.size()));
}

// ---- syntax ----------------------------------------------------------------------------------

Refused bad_json(const char *what, const std::string &document, std::size_t offset) {
  return Refused{what, document, "not valid JSON at byte " + std::to_string(offset)};
}

INSTANTIATE_TEST_SUITE_P(
    Syntax, RefusedDocument,
    ::testing::Values(
        Refused{"nothing", "", "the document is empty"},
        Refused{"only whitespace", " \t\r\n ", "the document is empty"},
        Refused{"an array", "[1,2]", "the document is not a JSON object"},
        Refused{"a string", "\"text\"", "the document is not a JSON object"},
        Refused{"a number", "42", "the document is not a JSON object"},
        Refused{"null", "null", "the document is not a JSON object"},
        Refused{"an empty object", "{}", "member \"RequestType\" is missing"},
        bad_json("an unterminated string", "{\"ClassName\":\"abc", 17),
        bad_json("an unterminated object", "{\"ClassName\":\"C\"", 16),
        bad_json("an unterminated object after a comma", "{\"ClassName\":\"C\",", 17),
        bad_json("a bad escape", "{\"ClassName\":\"a\\xb\"}", 16),
        bad_json("a short unicode escape", "{\"ClassName\":\"a\\u12\"}", 19),
        bad_json("a unicode escape with a non-hex digit", "{\"ClassName\":\"\\u12G4\"}", 18),
        bad_json("an escape at the very end", "{\"ClassName\":\"\\", 15),
        bad_json("a raw control character", "{\"ClassName\":\"a\x01z\"}", 15),
        bad_json("a raw tab", "{\"ClassName\":\"a\tz\"}", 15),
        bad_json("a raw newline", "{\"ClassName\":\"a\nz\"}", 15),
        bad_json("a raw NUL outside a string", with_raw_nul("{", "}"), 1),
        bad_json("a missing colon", "{\"ClassName\" \"C\"}", 13),
        bad_json("a missing comma", "{\"ClassName\":\"C\" \"NameSpace\":\"n\"}", 17),
        bad_json("a trailing comma in an object", "{\"ClassName\":\"C\",}", 17),
        bad_json("a trailing comma in an array", "{\"Extra\":[1,]}", 12),
        bad_json("an empty element", "{\"Extra\":[1,,2]}", 12),
        bad_json("a name in single quotes", "{'ClassName':\"C\"}", 1),
        bad_json("an unquoted name", "{ClassName:\"C\"}", 1),
        bad_json("a number as name", "{1:2}", 1),
        bad_json("a leading zero", "{\"Extra\":01}", 10),
        bad_json("a plus sign", "{\"RequestType\":+1}", 15),
        bad_json("a bare fraction", "{\"Extra\":.5}", 9),
        bad_json("a fraction without digits", "{\"Extra\":1.}", 11),
        bad_json("an exponent without digits", "{\"Extra\":1e+}", 12),
        bad_json("a lone minus", "{\"Extra\":-}", 10),
        bad_json("NaN", "{\"Extra\":NaN}", 9),
        bad_json("Infinity", "{\"Extra\":Infinity}", 9),
        bad_json("a misspelt literal", "{\"Extra\":tru}", 12),
        bad_json("a literal run on", "{\"Extra\":nullx}", 13),
        bad_json("a comment", "{/* c */\"RequestType\":1}", 1),
        bad_json("a closing bracket of the wrong kind", "{\"Extra\":[1}", 11),
        bad_json("a stray closing brace", "{\"Extra\":}", 9),
        bad_json("raw non-ASCII outside a string", "{\"Extra\":\xc3\xa9}", 9),
        Refused{"text after the document", header("\"RequestType\":1,") + " x",
                "text after the document at byte " +
                    std::to_string(header("\"RequestType\":1,").size() + 1)},
        Refused{"a second document", header("\"RequestType\":1,") + "{}",
                "text after the document at byte " +
                    std::to_string(header("\"RequestType\":1,").size())},
        Refused{"a NUL after the document", with_raw_nul(header("\"RequestType\":1,"), ""),
                "text after the document at byte " +
                    std::to_string(header("\"RequestType\":1,").size())}));

// Unicode: surrogate escapes must pair up, raw bytes must be well-formed UTF-8.
INSTANTIATE_TEST_SUITE_P(
    Unicode, RefusedDocument,
    ::testing::Values(
        Refused{"a lone high surrogate", "{\"ClassName\":\"a\\ud800\"}",
                "an unpaired surrogate escape at byte 15"},
        Refused{"a lone low surrogate", "{\"ClassName\":\"\\udc00\"}",
                "an unpaired surrogate escape at byte 14"},
        Refused{"a high surrogate followed by a letter", "{\"ClassName\":\"\\ud800x\"}",
                "an unpaired surrogate escape at byte 14"},
        Refused{"two high surrogates", "{\"ClassName\":\"\\ud800\\ud800\"}",
                "an unpaired surrogate escape at byte 14"},
        Refused{"a high surrogate and a plain escape", "{\"ClassName\":\"\\ud800\\u0041\"}",
                "an unpaired surrogate escape at byte 14"},
        Refused{"a high surrogate and a broken escape", "{\"ClassName\":\"\\ud800\\uZ\"}",
                "not valid JSON at byte 22"},
        Refused{"a surrogate in a member name", "{\"\\udfff\":1}",
                "an unpaired surrogate escape at byte 2"},
        Refused{"a byte that is never UTF-8", "{\"ClassName\":\"a\xff\"}",
                "not valid UTF-8 at byte 15"},
        Refused{"a lone continuation byte", "{\"ClassName\":\"\x80\"}", "not valid UTF-8 at byte 14"},
        Refused{"an overlong slash", "{\"ClassName\":\"\xc0\xaf\"}", "not valid UTF-8 at byte 14"},
        Refused{"an overlong three-byte form", "{\"ClassName\":\"\xe0\x80\xaf\"}",
                "not valid UTF-8 at byte 15"},
        Refused{"an encoded surrogate", "{\"ClassName\":\"\xed\xa0\x80\"}",
                "not valid UTF-8 at byte 15"},
        Refused{"a code point above U+10FFFF", "{\"ClassName\":\"\xf4\x90\x80\x80\"}",
                "not valid UTF-8 at byte 15"},
        Refused{"a sequence cut short by the quote", "{\"ClassName\":\"\xe2\x82\"}",
                "not valid UTF-8 at byte 16"},
        Refused{"a sequence cut short by the end", "{\"ClassName\":\"\xe2\x82",
                "not valid UTF-8 at byte 16"}));

// ---- what passes -------------------------------------------------------------------------------

TEST(Accepted, WhitespaceEverywhere) {
  const std::string document =
      " \r\n\t{ \"ClassName\" :\t\"Demo_Fan\" ,\n\"NameSpace\"\r:\"root/cimv2\"  ,  \"RequestType\""
      " : 3 , \"key\" : \"DeviceID=fan0,\" , \"Extra\" : [ 1 , { } , [ ] , \"x\" ] \n}\n\t ";
  const RequestCheck check = check_request(document);
  ASSERT_TRUE(check.accepted) << check.reason;
  EXPECT_EQ(check.facts.type, GETINST);
  EXPECT_EQ(check.facts.class_name, "Demo_Fan");
  EXPECT_EQ(check.facts.name_space, "root/cimv2");
  EXPECT_EQ(check.facts.principal, "");
}

TEST(Accepted, UnknownMembersAnywhere) {
  const std::string document = request_of_type(
      MODIFYINST,
      "\"Extra\":{\"a\":[1,-2.5e-3,true,false,null,{\"b\":{}}],\"RequestType\":\"x\"},"
      "\"InstanceProps\":{\"P\":{\"DataType\":144,\"Value\":1,\"Unknown\":[]}},\"Zzz\":0,");
  const RequestCheck check = check_request(document);
  EXPECT_TRUE(check.accepted) << check.reason;
  EXPECT_EQ(check.facts.type, MODIFYINST);
}

TEST(Accepted, TheSameNameInDifferentObjects) {
  // Siblings at one depth and objects at different depths may reuse names, also after a large
  // object at that depth.
  std::string props;
  for (int i = 0; i < 1000; ++i) {
    props += "\"P" + std::to_string(i) + "\":{\"DataType\":144,\"Value\":" + std::to_string(i) + "},";
  }
  props += "\"ClassName\":{\"DataType\":5632,\"Value\":\"x\"}";
  const std::string document = instance_request(props);
  const RequestCheck check = check_request(document);
  EXPECT_TRUE(check.accepted) << check.reason;
}

TEST(Accepted, ManyMembersInOneObjectAndTheirDuplicate) {
  std::string props;
  for (int i = 0; i < 100000; ++i) {
    props += "\"P" + std::to_string(i) + "\":{\"DataType\":144,\"Value\":1},";
  }
  EXPECT_TRUE(check_request(instance_request(props + "\"Last\":{}")).accepted);
  EXPECT_EQ(check_request(instance_request(props + "\"P0\":{}")).reason, "duplicate member \"P0\"");
  EXPECT_EQ(check_request(instance_request(props + "\"P9\\u0039999\":{}")).reason,
            "duplicate member \"P99999\"");
}

TEST(Accepted, AssociationParametersMayBeNull) {
  const RequestCheck check = check_request(request_of_type(
      ASSOCIATORS,
      "\"AssocClass\":null,\"ResultClass\":null,\"Role\":\"\",\"ResultRole\":null,"
      "\"RefsOnly\":null,"));
  EXPECT_TRUE(check.accepted) << check.reason;
}

TEST(Accepted, EmptyPrincipalMethodNameAndQueryAreTheParsersBusiness) {
  EXPECT_TRUE(check_request("{\"ClassName\":\"C\",\"NameSpace\":\"n\",\"RequestType\":1}").accepted);
  EXPECT_TRUE(check_request(with_member("Principal", "")).accepted);
  EXPECT_TRUE(check_request(with_member("MethodName", "", INVOKEMETHOD)).accepted);
  EXPECT_TRUE(check_request(with_member("Query", "", EXECQUERY)).accepted);
}

TEST(Accepted, EveryRequestTypeFromOneToTen) {
  for (int type = 1; type <= 10; ++type) {
    std::string extra;
    if (type == INVOKEMETHOD) extra = "\"MethodName\":\"M\",";
    if (type == EXECQUERY) extra = "\"Query\":\"q\",";
    const RequestCheck check = check_request(request_of_type(type, extra));
    EXPECT_TRUE(check.accepted) << type << ": " << check.reason;
    EXPECT_EQ(check.facts.type, type);
  }
}

TEST(Facts, AreUnescaped) {
  const std::string document =
      "{\"ClassName\":\"Demo\\/Fan\\u005f\",\"NameSpace\":\"root\\\\cimv2\","
      "\"Principal\":\"a\\\"b\\b\\f\\n\\r\\t\\u00e9\\u20ac\\ud83d\\ude00\xc3\xa9\","
      "\"RequestType\":10}";
  const RequestCheck check = check_request(document);
  ASSERT_TRUE(check.accepted) << check.reason;
  EXPECT_EQ(check.facts.type, GETCLASS);
  EXPECT_EQ(check.facts.class_name, "Demo/Fan_");
  EXPECT_EQ(check.facts.name_space, "root\\cimv2");
  EXPECT_EQ(check.facts.principal,
            "a\"b\b\f\n\r\t\xc3\xa9\xe2\x82\xac\xf0\x9f\x98\x80\xc3\xa9");
}

TEST(Facts, AreTakenFromTheTopLevelOnly) {
  const std::string document = instance_request(
      "\"S\":{\"DataType\":4096,\"CMPIInstance\":{\"ClassName\":\"Inner\",\"NameSpace\":\"inner\","
      "\"Principal\":\"root\",\"RequestType\":1}}");
  const RequestCheck check = check_request(document);
  ASSERT_TRUE(check.accepted) << check.reason;
  EXPECT_EQ(check.facts.type, CREATEINST);
  EXPECT_EQ(check.facts.principal, "admin");
  EXPECT_EQ(check.facts.class_name, "Demo_Fan");
  EXPECT_EQ(check.facts.name_space, "root/cimv2");
}

TEST(Facts, TheDocumentNeedNotEndInANul) {
  // The check reads exactly the view it is given: a frame buffer's neighbouring bytes are not
  // looked at, and a view cut before the closing brace is incomplete.
  const std::string text = header("\"RequestType\":2,") + "garbage";
  const std::string_view document(text.data(), text.size() - 7);
  EXPECT_TRUE(check_request(document).accepted);
  EXPECT_EQ(check_request(document.substr(0, document.size() - 1)).reason,
            "not valid JSON at byte " + std::to_string(document.size() - 1));
}

}  // namespace
}  // namespace hostd
