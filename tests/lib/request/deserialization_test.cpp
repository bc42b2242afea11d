// doDeserialization: request documents back into request records, every failure line, hostile
// documents, and the round trip of every request type through doSerialization.
#include "request/deserialization.h"

#include <cmpimacs.h>
#include <cmpiutility/request.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "cmpi_describe.h"
#include "factory_faults.h"
#include "fault_injection.h"
#include "log_capture.h"
#include "schema_database.h"

namespace {

using namespace cmpitest;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;

// Fields of the packed request record may sit at unaligned addresses: compare copies only.
#define V(field) static_cast<decltype(field)>(field)

const char kNs[] = "root/cimv2";
const char kSchemaNs[] = "root/interop";
const char kWhen[] = "20241114120523.243424-300";

using Lines = std::vector<LogLine>;

Lines operator+(Lines a, const Lines &b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

// The lines of releaseRequestData for a record with or without association parameters.
Lines release_lines(bool assoc = false) {
  Lines lines = {Enter("releaseRequestData"), Trace("request is not NULL"), Trace("Freeing user"),
                 Trace("Freeing COP"), Trace("Freeing CI")};
  if (assoc) {
    lines = lines + Lines{Trace("Freeing AssocClass"), Trace("Freeing ResultClass"),
                          Trace("Freeing Role"), Trace("Freeing ResultRole"),
                          Trace("Freeing assocref")};
  }
  return lines + Lines{Trace("Freeing ArgsIn"), Trace("Freeing QueryString"),
                       Trace("Freeing request"), Exit("releaseRequestData")};
}

// addCMKey reading a plain key text without trouble.
Lines key_lines(const std::string &text) {
  return {Enter("addCMKey"), Trace("addCMKey " + text + " "), Exit("addCMKey")};
}

// The opening lines of every parse of text.
Lines opening(const std::string &text) {
  return {Enter("doDeserialization"), Trace("INFO: serialized data = " + text)};
}

LogLine privilege(const std::string &user) { return Trace("INFO: privilege comes as " + user); }

LogLine error_at(int line, const std::string &text) {
  return Error("ERROR: __doDeserialization#" + std::to_string(line) + ": '" + text + "'");
}

const LogLine kExit = Exit("doDeserialization");

// A document with the four header members and more members as they stand.
std::string document(int type, const std::string &more = "", const char *class_name = "Demo_Fan",
                     const char *ns = kNs, const char *user = "admin") {
  std::string text = "{\"RequestType\":" + std::to_string(type) + ",\"ClassName\":\"" + class_name +
                     "\",\"NameSpace\":\"" + ns + "\",\"Principal\":\"" + user + "\"";
  if (!more.empty()) text += "," + more;
  return text + "}";
}

std::string text_or_null(const char *text) { return text != nullptr ? text : "<null>"; }

// The whole record as text, one field per line.
std::string describe_request(const ClientReq *req) {
  if (req == nullptr) return "<no record>";
  std::string out = "type=" + std::to_string(V(req->type)) + "\n";
  out += "user=" + text_or_null(V(req->user)) + "\n";
  CMPIObjectPath *cop = V(req->COP);
  out += "COP=" + describe_path(cop) + " keys=" + describe_keys(cop) + "\n";
  CMPIInstance *ci = V(req->CI);
  if (ci == nullptr) {
    out += "CI=<null>\n";
  } else {
    CMPIValue value;
    std::memset(&value, 0, sizeof(value));
    value.inst = ci;
    CMPIObjectPath *path = CMGetObjectPath(ci, nullptr);
    out += "CI=" + describe_value(CMPI_instance, CMPI_goodValue, value) +
           " keys=" + describe_keys(path) + "\n";
    CMRelease(path);
  }
  out += std::string("unused=") + (V(req->unused) == nullptr ? "<null>" : "set") + "\n";
  CMAssocReq *assoc = V(req->assocref);
  if (assoc == nullptr) {
    out += "assocref=<null>\n";
  } else {
    out += "assocref=AssocClass:" + text_or_null(assoc->AssocClass) +
           ";ResultClass:" + text_or_null(assoc->ResultClass) +
           ";Role:" + text_or_null(assoc->Role) + ";ResultRole:" + text_or_null(assoc->ResultRole) +
           ";RefsOnly:" + std::to_string(assoc->RefsOnly) + "\n";
  }
  CMPIArgs *args = V(req->ArgsIn);
  out += "ArgsIn=" + (args == nullptr ? std::string("<null>") : describe_args(args)) + "\n";
  out += "QueryString=" + text_or_null(V(req->QueryString)) + "\n";
  return out;
}

// The description of a record with only type, user and path set.
std::string header_record(int type, const std::string &path, const std::string &keys = "",
                          const char *user = "admin") {
  return "type=" + std::to_string(type) + "\nuser=" + text_or_null(user) + "\nCOP=" + path +
         " keys=" + keys +
         "\nCI=<null>\nunused=<null>\nassocref=<null>\nArgsIn=<null>\nQueryString=<null>\n";
}

// A parse that must fail: the record is NULL.
void expect_failure(const std::string &text, const Lines &lines) {
  LogCapture log;
  ClientReq *req = doDeserialization(text.c_str());
  EXPECT_EQ(req, nullptr) << text;
  EXPECT_THAT(log.lines(), ElementsAreArray(lines)) << text;
  releaseRequestData(req);
}

// ---- documents without keys -------------------------------------------------------------------

// "RequestType" 10 needs no keys: the four header members give a record with COP and user.
TEST(DoDeserialization, GetClassNeedsOnlyTheHeader) {
  const std::string text = document(GETCLASS);
  LogCapture log;
  ClientReq *req = doDeserialization(text.c_str());
  ASSERT_NE(req, nullptr);
  EXPECT_EQ(describe_request(req), header_record(GETCLASS, "root/cimv2:Demo_Fan"));
  EXPECT_THAT(log.lines(), ElementsAreArray(opening(text) + Lines{privilege("admin"), kExit}));
  releaseRequestData(req);
}

class EnumerationTypes : public ::testing::TestWithParam<int> {};

// Types 1, 2 and 10 do not read the keys.
TEST_P(EnumerationTypes, IgnoreKeys) {
  const std::string text = document(GetParam(), R"("key":"Name=x,")");
  ClientReq *req = doDeserialization(text.c_str());
  EXPECT_EQ(describe_request(req), header_record(GetParam(), "root/cimv2:Demo_Fan"));
  releaseRequestData(req);
}

INSTANTIATE_TEST_SUITE_P(OneTwoTen, EnumerationTypes,
                         ::testing::Values(ENUMINST, ENUMINSTNAMES, GETCLASS));

// An empty principal is no error: the record has no user.
TEST(DoDeserialization, EmptyPrincipalLeavesTheUserNull) {
  const std::vector<std::string> texts = {
      document(ENUMINST, "", "Demo_Fan", kNs, ""),
      R"({"RequestType":1,"ClassName":"Demo_Fan","NameSpace":"root/cimv2"})",
      R"({"RequestType":1,"ClassName":"Demo_Fan","NameSpace":"root/cimv2","Principal":null})"};
  for (const std::string &text : texts) {
    LogCapture log;
    ClientReq *req = doDeserialization(text.c_str());
    EXPECT_EQ(describe_request(req), header_record(ENUMINST, "root/cimv2:Demo_Fan", "", nullptr));
    EXPECT_THAT(log.lines(),
                ElementsAreArray(opening(text) +
                                 Lines{Info("INFO: __doDeserialization#2104: 'user is empty'"),
                                       privilege("(null)"), kExit}));
    releaseRequestData(req);
  }
}

// "RequestType" is read unsigned and kept to 32 bits.
TEST(DoDeserialization, RequestTypeIsKeptToThirtyTwoBits) {
  const std::string text = document(0).replace(15, 1, "4294967306");
  ASSERT_EQ(text.substr(0, 26), R"({"RequestType":4294967306,)");
  ClientReq *req = doDeserialization(text.c_str());
  EXPECT_EQ(describe_request(req), header_record(GETCLASS, "root/cimv2:Demo_Fan"));
  releaseRequestData(req);
}

// ---- keys, query, method ----------------------------------------------------------------------

class KeyedTypes : public ::testing::TestWithParam<int> {};

TEST_P(KeyedTypes, AddTheKeysToThePath) {
  const std::string text = document(GetParam(), R"("key":"DeviceID=fan0,Slot=2,")");
  LogCapture log;
  ClientReq *req = doDeserialization(text.c_str());
  EXPECT_EQ(describe_request(req),
            header_record(GetParam(), "root/cimv2:Demo_Fan", "DeviceID(5632)=fan0;Slot(5632)=2;"));
  EXPECT_THAT(log.lines(), ElementsAreArray(opening(text) + Lines{privilege("admin")} +
                                            key_lines("DeviceID=fan0,Slot=2,") + Lines{kExit}));
  releaseRequestData(req);
}

INSTANTIATE_TEST_SUITE_P(GetAndDelete, KeyedTypes, ::testing::Values(GETINST, DELETEINST));

TEST(DoDeserialization, QueryIsCopied) {
  const std::string text = document(EXECQUERY, R"("Query":"select * from Demo_Fan")");
  ClientReq *req = doDeserialization(text.c_str());
  ASSERT_NE(req, nullptr);
  EXPECT_STREQ(V(req->QueryString), "select * from Demo_Fan");
  releaseRequestData(req);
}

// A type-7 document without "Query" fails; with "Query" "" it succeeds without a query text.
TEST(DoDeserialization, QueryMustBePresentButMayBeEmpty) {
  for (const char *more : {"", R"("Query":null)"}) {
    const std::string text = document(EXECQUERY, more);
    expect_failure(text, opening(text) + Lines{privilege("admin")} + key_lines("") +
                             Lines{error_at(2169, "Query is NULL")} + release_lines() +
                             Lines{kExit});
  }
  const std::string text = document(EXECQUERY, R"("Query":"")");
  LogCapture log;
  ClientReq *req = doDeserialization(text.c_str());
  EXPECT_EQ(describe_request(req), header_record(EXECQUERY, "root/cimv2:Demo_Fan"));
  EXPECT_THAT(log.lines(), ElementsAreArray(opening(text) + Lines{privilege("admin")} +
                                            key_lines("") + Lines{kExit}));
  releaseRequestData(req);
}

TEST(DoDeserialization, MethodNameMustBePresentButMayBeEmpty) {
  const std::string missing =
      document(INVOKEMETHOD, R"("ArgsIn":{"a":{"DataType":144,"Value":1}})");
  expect_failure(missing,
                 opening(missing) + Lines{privilege("admin")} + key_lines("") +
                     Lines{Trace("INFO: name = 'a'"), error_at(2134, "MethodName is NULL")} +
                     release_lines() + Lines{kExit});

  const std::string empty = document(INVOKEMETHOD, R"("MethodName":"")");
  ClientReq *req = doDeserialization(empty.c_str());
  ASSERT_NE(req, nullptr);
  EXPECT_EQ(V(req->QueryString), nullptr);
  EXPECT_EQ(describe_args(V(req->ArgsIn)), "");
  releaseRequestData(req);

  const std::string named = document(
      INVOKEMETHOD, R"("MethodName":"SetSpeed","ArgsIn":{"rpm":{"DataType":160,"Value":900}})");
  req = doDeserialization(named.c_str());
  ASSERT_NE(req, nullptr);
  EXPECT_STREQ(V(req->QueryString), "SetSpeed");
  EXPECT_EQ(describe_args(V(req->ArgsIn)), "rpm(160)=900;");
  releaseRequestData(req);
}

// ---- associations -----------------------------------------------------------------------------

const char kAssocMembers[] =
    R"("AssocClass":"Demo_Link","ResultClass":"Demo_System","Role":"Fan","ResultRole":"Host",)"
    R"("RefsOnly":true)";

// The path of an association lies in the namespace that the schema table gives for the class,
// not in the document's.
TEST(DoDeserialization, AssociationPathUsesTheSchemaNamespace) {
  SchemaDatabase db;
  db.add({"Demo_Fan", "Demo_Provider", kSchemaNs, "0"});
  const std::string text = document(ASSOCIATORS, kAssocMembers, "Demo_Fan", "x");
  LogCapture log;
  ClientReq *req = doDeserialization(text.c_str());
  ASSERT_NE(req, nullptr);
  EXPECT_EQ(describe_request(req),
            "type=6\nuser=admin\nCOP=root/interop:Demo_Fan keys=\nCI=<null>\nunused=<null>\n"
            "assocref=AssocClass:Demo_Link;ResultClass:Demo_System;Role:Fan;ResultRole:Host;"
            "RefsOnly:1\nArgsIn=<null>\nQueryString=<null>\n");
  EXPECT_THAT(
      log.lines(),
      ElementsAreArray(
          opening(text) +
          Lines{Enter("GetNameSpace"), Trace("NameSpace: 'root/interop'"), Exit("GetNameSpace"),
                Trace("NameSpace for association left class x root/interop Demo_Fan"),
                privilege("admin")} +
          key_lines("") + Lines{Enter("createCMAssocReq"), Exit("createCMAssocReq"), kExit}));
  releaseRequestData(req);
}

TEST(DoDeserialization, AssociationWithoutSchemaRowFails) {
  SchemaDatabase db;
  db.add({"Other_Class", "Demo_Provider", kSchemaNs, "0"});
  const std::string text = document(ASSOCIATORS, kAssocMembers, "Demo_Fan", "x");
  expect_failure(text, opening(text) +
                           Lines{Enter("GetNameSpace"), Exit("GetNameSpace"),
                                 error_at(2087, "association NS null")} +
                           release_lines() + Lines{kExit});
}

// The namespace must not be empty although an association does not use it.
TEST(DoDeserialization, AssociationWithEmptyNamespaceFails) {
  SchemaDatabase db;
  db.add({"Demo_Fan", "Demo_Provider", kSchemaNs, "0"});
  const std::string text = document(ASSOCIATORS, kAssocMembers, "Demo_Fan", "");
  expect_failure(text, opening(text) + Lines{error_at(2081, "class name or name space is empty")} +
                           release_lines() + Lines{kExit});
}

// "Role" "" is kept as an empty (not null) text; absent and null members stay null.
TEST(DoDeserialization, AssociationTextsArePlainCopies) {
  SchemaDatabase db;
  db.add({"Demo_Fan", "Demo_Provider", kSchemaNs, "0"});
  const std::string text =
      document(ASSOCIATORS, R"("AssocClass":"Demo_Link","ResultClass":null,"Role":"")");
  ClientReq *req = doDeserialization(text.c_str());
  ASSERT_NE(req, nullptr);
  CMAssocReq *assoc = V(req->assocref);
  ASSERT_NE(assoc, nullptr);
  EXPECT_STREQ(assoc->AssocClass, "Demo_Link");
  EXPECT_EQ(assoc->ResultClass, nullptr);
  ASSERT_NE(assoc->Role, nullptr);
  EXPECT_STREQ(assoc->Role, "");
  EXPECT_EQ(assoc->ResultRole, nullptr);
  EXPECT_EQ(assoc->RefsOnly, 0);
  releaseRequestData(req);
}

TEST(DoDeserialization, AssociationRecordAllocationFailure) {
  SchemaDatabase db;
  db.add({"Demo_Fan", "Demo_Provider", kSchemaNs, "0"});
  const std::string text = document(ASSOCIATORS, kAssocMembers);
  LogCapture log;
  {
    FailingAllocation fail(Allocation::Calloc, 2);
    EXPECT_EQ(doDeserialization(text.c_str()), nullptr);
    EXPECT_TRUE(fail.triggered());
  }
  EXPECT_THAT(
      log.lines(),
      ElementsAreArray(
          opening(text) +
          Lines{Enter("GetNameSpace"), Trace("NameSpace: 'root/interop'"), Exit("GetNameSpace"),
                Trace("NameSpace for association left class root/cimv2 root/interop Demo_Fan"),
                privilege("admin")} +
          key_lines("") +
          Lines{Enter("createCMAssocReq"),
                Error("ERROR: __createCMAssocReq#1754: 'Memory allocation failed'"),
                Exit("createCMAssocReq"), error_at(2158, "createCMAssocReq failed")} +
          release_lines() + Lines{kExit}));
}

// ---- text that is not JSON, and the record allocation -----------------------------------------

// A frame cut by the terminator step is no JSON.
TEST(DoDeserialization, TextThatIsNotJsonFails) {
  for (const std::string &text :
       {std::string(R"({"RequestType":7,"ClassName":"Demo_Fan","Query":"select * fr)"),
        std::string(""), std::string("CMPI_EOF"), std::string("{\"a\":}")}) {
    expect_failure(text, opening(text) + Lines{error_at(2067, "Json parsing failed"), kExit});
  }
}

TEST(DoDeserialization, NullTextIsNoJson) {
  LogCapture log;
  EXPECT_EQ(doDeserialization(nullptr), nullptr);
  EXPECT_THAT(log.lines(), ElementsAreArray(Lines{Enter("doDeserialization"),
                                                  Trace("INFO: serialized data = (null)"),
                                                  error_at(2067, "Json parsing failed"), kExit}));
}

TEST(DoDeserialization, RecordAllocationFailure) {
  const std::string text = document(ENUMINST);
  LogCapture log;
  {
    FailingAllocation fail(Allocation::Calloc, 1);
    EXPECT_EQ(doDeserialization(text.c_str()), nullptr);
    EXPECT_TRUE(fail.triggered());
  }
  EXPECT_THAT(
      log.lines(),
      ElementsAreArray(opening(text) + Lines{error_at(2072, "Memory allocation failed"), kExit}));
}

// ---- header failures --------------------------------------------------------------------------

TEST(DoDeserialization, EmptyClassNameOrNamespaceFails) {
  for (const std::string &text :
       {document(ENUMINST, "", "", kNs), document(GETINST, "", "Demo_Fan", ""),
        std::string(R"({"RequestType":1,"Principal":"admin"})")}) {
    expect_failure(text, opening(text) +
                             Lines{error_at(2081, "class name or name space is empty")} +
                             release_lines() + Lines{kExit});
  }
}

TEST(DoDeserialization, UnknownRequestTypeFails) {
  for (const std::string &text :
       {document(0), document(11), document(GETCLASS).replace(15, 2, "4294967295"),
        std::string(R"({"ClassName":"Demo_Fan","NameSpace":"root/cimv2","Principal":"admin"})")}) {
    expect_failure(text, opening(text) +
                             Lines{privilege("admin"), Error("ERROR: Unknown request type")} +
                             release_lines() + Lines{kExit});
  }
}

TEST(DoDeserialization, PathFactoryErrorFails) {
  for (Fault fault : {Fault::kFail, Fault::kFailWithObject}) {
    FactoryFault armed(Factory::kObjectPath, fault);
    const std::string text = document(GETINST, R"("key":"Name=x,")");
    expect_failure(text, opening(text) + Lines{error_at(2098, "makeNewObjectPath failed")} +
                             release_lines() + Lines{kExit});
  }
}

TEST(DoDeserialization, AssociationPathFactoryErrorFails) {
  SchemaDatabase db;
  db.add({"Demo_Fan", "Demo_Provider", kSchemaNs, "0"});
  for (Fault fault : {Fault::kFail, Fault::kFailWithObject}) {
    FactoryFault armed(Factory::kObjectPath, fault);
    const std::string text = document(ASSOCIATORS, kAssocMembers);
    expect_failure(
        text,
        opening(text) +
            Lines{Enter("GetNameSpace"), Trace("NameSpace: 'root/interop'"), Exit("GetNameSpace"),
                  Trace("NameSpace for association left class root/cimv2 root/interop "
                        "Demo_Fan"),
                  error_at(2093, "association makeNewObjectPath failed")} +
            release_lines() + Lines{kExit});
  }
}

// No path with a success status is information only; the parse goes on without a path, and the
// key step then fails for a keyed type.
TEST(DoDeserialization, NoPathWithSuccessStatusGoesOn) {
  FactoryFault armed(Factory::kObjectPath, Fault::kOkNothing);
  const std::string plain = document(ENUMINST);
  LogCapture log;
  ClientReq *req = doDeserialization(plain.c_str());
  ASSERT_NE(req, nullptr);
  EXPECT_EQ(V(req->COP), nullptr);
  EXPECT_THAT(log.lines(),
              ElementsAreArray(opening(plain) +
                               Lines{Info("INFO: __doDeserialization#2098: 'makeNewObjectPath "
                                          "failed'"),
                                     privilege("admin"), kExit}));
  releaseRequestData(req);

  const std::string keyed = document(GETINST, R"("key":"Name=x,")");
  expect_failure(keyed, opening(keyed) +
                            Lines{Info("INFO: __doDeserialization#2098: 'makeNewObjectPath "
                                       "failed'"),
                                  privilege("admin"), Enter("addCMKey"), Trace("addCMKey Name=x, "),
                                  Error("ERROR: __addCMKey#1106: 'Name' key can not be added"),
                                  Exit("addCMKey"), Error("ERROR: Add key failed")} +
                            release_lines() + Lines{kExit});
}

TEST(DoDeserialization, AssociationWithoutPathButSuccessStatusGoesOn) {
  SchemaDatabase db;
  db.add({"Demo_Fan", "Demo_Provider", kSchemaNs, "0"});
  FactoryFault armed(Factory::kObjectPath, Fault::kOkNothing);
  const std::string text = document(ASSOCIATORS, kAssocMembers);
  LogCapture log;
  ClientReq *req = doDeserialization(text.c_str());
  ASSERT_NE(req, nullptr);
  EXPECT_EQ(V(req->COP), nullptr);
  EXPECT_NE(V(req->assocref), nullptr);
  EXPECT_TRUE(ContainsInOrder(
      log.lines(), {Info("INFO: __doDeserialization#2093: 'association makeNewObjectPath failed'"),
                    privilege("admin"), Enter("createCMAssocReq")}));
  releaseRequestData(req);
}

// ---- key, instance, argument and association step failures ------------------------------------

struct KeyFailure {
  int type;
  LogLine line;
};

class KeyFailures : public ::testing::TestWithParam<KeyFailure> {};

// A key that the path cannot take (its text cannot be made) fails the key step of every keyed
// type with that type's line.
TEST_P(KeyFailures, AreLoggedWithTheTypesLine) {
  SchemaDatabase db;
  db.add({"Demo_Fan", "Demo_Provider", kSchemaNs, "0"});
  FactoryFault armed(Factory::kString, Fault::kFail, 0, "boom");
  const int type = GetParam().type;
  const std::string text = document(type, R"("key":"Name=boom,")");
  Lines lines = opening(text);
  if (type == ASSOCIATORS) {
    lines = lines + Lines{Enter("GetNameSpace"), Trace("NameSpace: 'root/interop'"),
                          Exit("GetNameSpace"),
                          Trace("NameSpace for association left class root/cimv2 root/interop "
                                "Demo_Fan")};
  }
  lines = lines +
          Lines{privilege("admin"),
                Enter("addCMKey"),
                Trace("addCMKey Name=boom, "),
                Error("ERROR: __addCMKey#1106: 'Name' key can not be added"),
                Exit("addCMKey"),
                GetParam().line} +
          release_lines() + Lines{kExit};
  expect_failure(text, lines);
}

INSTANTIATE_TEST_SUITE_P(
    EveryKeyedType, KeyFailures,
    ::testing::Values(KeyFailure{GETINST, Error("ERROR: Add key failed")},
                      KeyFailure{DELETEINST, Error("ERROR: Add key failed")},
                      KeyFailure{MODIFYINST, error_at(2143, "addCMKey failed")},
                      KeyFailure{CREATEINST, error_at(2177, "addCMKey failed")},
                      KeyFailure{INVOKEMETHOD, error_at(2128, "addCMKey failed")},
                      KeyFailure{EXECQUERY, error_at(2165, "addCMKey failed")},
                      KeyFailure{ASSOCIATORS, error_at(2154, "addCMKey failed")}));

class InstanceFailures : public ::testing::TestWithParam<int> {};

// The instance that was made stays in the record and is released with it.
TEST_P(InstanceFailures, AreLoggedWithTheTypesLine) {
  const int type = GetParam();
  const std::string text =
      document(type, R"("InstanceProps":{"A":{"DataType":144,"DataState":0,"Value":1},)"
                     R"("When":{"DataType":6144,"DataState":0,"Value":"soon"}})");
  expect_failure(
      text, opening(text) + Lines{privilege("admin")} + key_lines("") +
                Lines{Trace("property = A"), Trace("property = When"), Trace("valstr.empty():0"),
                      Error("ERROR: __Add2CMPIArgs#1507: 'makeNewCMPIDateTimeFromChars failed"),
                      Error("ERROR: __createCMInst#1827: 'Add2CMPIArgs failed'"),
                      error_at(type == MODIFYINST ? 2147 : 2181, "createCMInst failed")} +
                release_lines() + Lines{kExit});
}

INSTANTIATE_TEST_SUITE_P(ModifyAndCreate, InstanceFailures,
                         ::testing::Values(MODIFYINST, CREATEINST));

TEST(DoDeserialization, ArgumentFailureFails) {
  const std::string text =
      document(INVOKEMETHOD, R"("MethodName":"Go","ArgsIn":{"a":{"DataType":8193,"Value":[1]}})");
  expect_failure(text, opening(text) + Lines{privilege("admin")} + key_lines("") +
                           Lines{Trace("INFO: name = 'a'"),
                                 Error("ERROR: __Add2CMPIArgs#1372: 'makeNewCMPIArray failed'"),
                                 Error("ERROR: __createCMArgs#1990: 'Add2CMPIArgs failed'"),
                                 error_at(2131, "createCMArgs failed")} +
                           release_lines() + Lines{kExit});
}

// ---- hostile documents ------------------------------------------------------------------------

struct Hostile {
  const char *label;
  std::string text;
  std::string reason;
  Lines before;  // lines between the opening and the conversion failure
};

void PrintTo(const Hostile &h, std::ostream *out) { *out << h.label; }

std::vector<Hostile> hostile_documents() {
  const Lines header = {privilege("admin")};
  // The association parameters fail half-way: createCMAssocReq frees what it built, and the
  // record is released without them.
  const Lines assoc_header = {Enter("GetNameSpace"),
                              Trace("NameSpace: 'root/interop'"),
                              Exit("GetNameSpace"),
                              Trace("NameSpace for association left class root/cimv2 "
                                    "root/interop Demo_Fan"),
                              privilege("admin"),
                              Enter("addCMKey"),
                              Trace("addCMKey  "),
                              Exit("addCMKey"),
                              Enter("createCMAssocReq"),
                              Exit("createCMAssocReq")};
  return {
      {"RequestTypeText",
       R"({"RequestType":"x","ClassName":"C","NameSpace":"n"})",
       "Value is not convertible to UInt64.",
       {}},
      {"RequestTypeNegative",
       R"({"RequestType":-1,"ClassName":"C","NameSpace":"n"})",
       "LargestInt out of UInt64 range",
       {}},
      {"RequestTypeArray",
       R"({"RequestType":[],"ClassName":"C","NameSpace":"n"})",
       "Value is not convertible to UInt64.",
       {}},
      {"ClassNameObject",
       R"({"RequestType":1,"ClassName":{},"NameSpace":"n"})",
       "Type is not convertible to string",
       {}},
      {"DataTypeArray",
       document(MODIFYINST, R"("InstanceProps":{"A":{"DataType":[],"DataState":0}})"),
       "Value is not convertible to UInt64.",
       header + key_lines("") + Lines{Trace("property = A")}},
      {"ValueTextForANumber",
       document(INVOKEMETHOD, R"("MethodName":"Go","ArgsIn":{"n":{"DataType":160,"Value":"abc"}})"),
       "Value is not convertible to UInt64.",
       header + key_lines("") + Lines{Trace("INFO: name = 'n'")}},
      {"ValueOfAnArrayAnObject",
       document(CREATEINST, R"("InstanceProps":{"A":{"DataType":8320,"Value":{"x":1}}})"),
       "in Json::Value::operator[](ArrayIndex)const: requires arrayValue",
       header + key_lines("") + Lines{Trace("property = A")}},
      {"ArgsInArray", document(INVOKEMETHOD, R"("MethodName":"Go","ArgsIn":[1])"),
       "in Json::Value::getMemberNames(), value must be objectValue", header + key_lines("")},
      {"MethodNameArray", document(INVOKEMETHOD, R"("MethodName":[1])"),
       "Type is not convertible to string", header + key_lines("")},
      {"PropertyNotAnObject", document(CREATEINST, R"("InstanceProps":{"A":5})"),
       "in Json::Value::find(begin, end): requires objectValue or nullValue",
       header + key_lines("") + Lines{Trace("property = A")}},
      {"RefsOnlyText", document(ASSOCIATORS, R"("RefsOnly":"yes")"),
       "Value is not convertible to bool.", assoc_header},
      {"RoleArray", document(ASSOCIATORS, R"("AssocClass":"A","Role":[1])"),
       "Type is not convertible to string", assoc_header},
  };
}

class HostileDocuments : public ::testing::TestWithParam<Hostile> {};

TEST_P(HostileDocuments, FailWithAConversionErrorAndLeaveNothingBehind) {
  SchemaDatabase db;
  db.add({"Demo_Fan", "Demo_Provider", kSchemaNs, "0"});
  const Hostile &h = GetParam();
  expect_failure(h.text, opening(h.text) + h.before +
                             Lines{error_at(2200, "Json conversion failed: " + h.reason)} +
                             release_lines() + Lines{kExit});
}

INSTANTIATE_TEST_SUITE_P(WrongJsonTypes, HostileDocuments, ::testing::ValuesIn(hostile_documents()),
                         [](const ::testing::TestParamInfo<Hostile> &info) {
                           return std::string(info.param.label);
                         });

// Valid JSON that is no object has no members to read.
TEST(DoDeserialization, DocumentThatIsNoObjectFails) {
  for (const char *text : {"[]", "3", "\"x\"", "null", "[{\"RequestType\":1}]", "true"}) {
    expect_failure(text, opening(text) +
                             Lines{error_at(2200,
                                            "Json conversion failed: the document is not a "
                                            "JSON object")} +
                             release_lines() + Lines{kExit});
  }
}

// Nesting deeper than the reader allows makes the reader itself throw; no record exists yet.
TEST(DoDeserialization, TooDeepNestingFails) {
  const std::string text = std::string(2000, '[') + std::string(2000, ']');
  LogCapture log;
  EXPECT_EQ(doDeserialization(text.c_str()), nullptr);
  EXPECT_THAT(
      log.lines(),
      ElementsAreArray(opening(text) + Lines{error_at(2200,
                                                      "Json conversion failed: Exceeded stackLimit "
                                                      "in readValue()."),
                                             kExit}));
}

// ---- round trips ------------------------------------------------------------------------------
//
// Each request type is built with getClientReq from real objects, written by doSerialization,
// stripped of its terminator and parsed again. The rebuilt record carries what the writer and
// the reader are meant to carry: every text comes back as CMPI_string, boolean and char16
// arguments are dropped, char16 properties are not set, reals pass through single precision,
// reference array elements are unset, string keys outside groups are dropped when the path also
// has reference keys, and an association's namespace comes from the schema database. Further:
// a null text comes back as the empty text, a property array that was written without "Value"
// (empty, boolean, char16 and real arrays) as a null array, such an argument array not at all,
// a null integer argument as 0, and a uint64 beyond the signed range as its saturated value.

CMPIObjectPath *system_path() {
  CMPIObjectPath *path = makeNewObjectPath(kNs, "Demo_System", nullptr);
  CMAddKey(path, "Name", "bmc0", CMPI_chars);
  return path;
}

// Demo_Fan with a string key and a reference key.
CMPIObjectPath *fan_path() {
  CMPIObjectPath *path = makeNewObjectPath(kNs, "Demo_Fan", nullptr);
  CMAddKey(path, "DeviceID", "fan0", CMPI_chars);
  CMPIObjectPath *system = system_path();
  CMAddKey(path, "System", &system, CMPI_ref);
  CMRelease(system);
  return path;
}

CMPIInstance *sensor() {
  CMPIObjectPath *path = makeNewObjectPath(kNs, "Demo_Sensor", nullptr);
  CMPIInstance *instance = makeNewCMPIInstance(path, nullptr);
  CMRelease(path);
  CMPIUint16 reading = 7;
  CMSetProperty(instance, "Reading", &reading, CMPI_uint16);
  return instance;
}

// Sets an array of the given element type holding the values, each set with its own type.
template <typename T>
void set_array(CMPIInstance *inst, CMPIArgs *args, const char *name, CMPIType element,
               const std::vector<T> &values) {
  CMPIArray *array = makeNewCMPIArray(0, element, nullptr);
  for (size_t i = 0; i < values.size(); ++i) {
    CMSetArrayElementAt(array, static_cast<CMPICount>(i), &values[i], element);
  }
  const CMPIType type = static_cast<CMPIType>(element | CMPI_ARRAY);
  if (inst != nullptr) CMSetProperty(inst, name, &array, type);
  if (args != nullptr) CMAddArg(args, name, &array, type);
  CMRelease(array);
}

// The same for arrays of objects (strings set as chars, references, date-times, instances).
void set_text_array(CMPIInstance *inst, CMPIArgs *args, const char *name,
                    const std::vector<const char *> &texts) {
  CMPIArray *array = makeNewCMPIArray(0, CMPI_string, nullptr);
  for (size_t i = 0; i < texts.size(); ++i) {
    CMSetArrayElementAt(array, static_cast<CMPICount>(i), texts[i], CMPI_chars);
  }
  if (inst != nullptr) CMSetProperty(inst, name, &array, CMPI_stringA);
  if (args != nullptr) CMAddArg(args, name, &array, CMPI_stringA);
  CMRelease(array);
}

template <typename Object>
void set_object_array(CMPIInstance *inst, CMPIArgs *args, const char *name, CMPIType element,
                      Object *object) {
  CMPIArray *array = makeNewCMPIArray(0, element, nullptr);
  CMSetArrayElementAt(array, 0, &object, element);
  CMRelease(object);
  const CMPIType type = static_cast<CMPIType>(element | CMPI_ARRAY);
  if (inst != nullptr) CMSetProperty(inst, name, &array, type);
  if (args != nullptr) CMAddArg(args, name, &array, type);
  CMRelease(array);
}

// An instance with a property of every kind the document carries.
CMPIInstance *full_instance(CMPIObjectPath *path) {
  CMPIInstance *inst = makeNewCMPIInstance(path, nullptr);
  CMPIBoolean yes = 1, no = 0;
  CMSetProperty(inst, "Active", &yes, CMPI_boolean);
  CMSetProperty(inst, "Disabled", &no, CMPI_boolean);
  CMPIChar16 initial = 'A';
  CMSetProperty(inst, "Initial", &initial, CMPI_char16);
  CMPIUint8 u8 = 200;
  CMSetProperty(inst, "Level8", &u8, CMPI_uint8);
  CMPISint8 s8 = -100;
  CMSetProperty(inst, "Offset8", &s8, CMPI_sint8);
  CMPIUint16 u16 = 65535;
  CMSetProperty(inst, "Level16", &u16, CMPI_uint16);
  CMPISint16 s16 = -30000;
  CMSetProperty(inst, "Offset16", &s16, CMPI_sint16);
  CMPIUint32 u32 = 4000000000u;
  CMSetProperty(inst, "Level32", &u32, CMPI_uint32);
  CMPISint32 s32 = -5;
  CMSetProperty(inst, "Offset32", &s32, CMPI_sint32);
  CMPIUint64 u64 = 18446744073709551615ull;
  CMSetProperty(inst, "Level64", &u64, CMPI_uint64);
  CMPISint64 s64 = -1;
  CMSetProperty(inst, "Offset64", &s64, CMPI_sint64);
  CMPIReal32 r32 = 0.1f;
  CMSetProperty(inst, "Ratio32", &r32, CMPI_real32);
  CMPIReal64 r64 = 0.1;
  CMSetProperty(inst, "Ratio64", &r64, CMPI_real64);
  CMPIString *name = CreateString("fan0", nullptr);
  CMSetProperty(inst, "Name", &name, CMPI_string);
  CMRelease(name);
  CMSetProperty(inst, "Label", "front", CMPI_chars);
  CMPIString *numeric = CreateString("42", nullptr);
  CMSetProperty(inst, "Numeric", &numeric, CMPI_numericString);
  CMRelease(numeric);
  CMSetProperty(inst, "Literal", "null", CMPI_chars);
  CMSetProperty(inst, "Missing", nullptr, CMPI_string);
  CMPIDateTime *installed = makeNewCMPIDateTimeFromChars(kWhen, nullptr);
  CMSetProperty(inst, "Installed", &installed, CMPI_dateTime);
  CMRelease(installed);
  CMSetProperty(inst, "Removed", nullptr, CMPI_dateTime);
  CMSetProperty(inst, "Speed", nullptr, CMPI_uint16);
  CMSetProperty(inst, "Flag", nullptr, CMPI_boolean);
  CMSetProperty(inst, "Gain", nullptr, CMPI_real32);
  CMPIObjectPath *system = system_path();
  CMSetProperty(inst, "System", &system, CMPI_ref);
  CMRelease(system);
  CMPIInstance *embedded = sensor();
  CMSetProperty(inst, "Sensor", &embedded, CMPI_instance);
  CMRelease(embedded);
  set_array<CMPIUint8>(inst, nullptr, "Levels", CMPI_uint8, {1, 2});
  set_array<CMPISint32>(inst, nullptr, "Deltas", CMPI_sint32, {-1, 7});
  set_text_array(inst, nullptr, "Tags", {"a", "null", "b"});
  set_object_array(inst, nullptr, "Times", CMPI_dateTime,
                   makeNewCMPIDateTimeFromChars(kWhen, nullptr));
  set_object_array(inst, nullptr, "Peers", CMPI_ref, system_path());
  set_object_array(inst, nullptr, "Sensors", CMPI_instance, sensor());
  set_array<CMPIBoolean>(inst, nullptr, "Switches", CMPI_boolean, {1});
  set_array<CMPIReal32>(inst, nullptr, "Weights", CMPI_real32, {1.5f});
  set_array<CMPIChar16>(inst, nullptr, "Letters", CMPI_char16, {'x'});
  set_array<CMPIUint8>(inst, nullptr, "Nothing", CMPI_uint8, {});
  CMSetProperty(inst, "Absent", nullptr, CMPI_stringA);
  return inst;
}

const char kSensorText[] = "{root/cimv2:Demo_Sensor|Reading(144)=7;}";

std::string full_instance_text() {
  return std::string("{root/cimv2:Demo_Fan|") +
         "Absent(13824)=<null>;"
         "Active(2)=true;"
         "Deltas(8416)=[-1,7];"
         "Disabled(2)=false;"
         "Flag(2)=<null>;"
         "Gain(8)=0;"
         "Installed(6144)=" +
         kWhen +
         ";"
         "Label(5632)=front;"
         "Letters(8195)=<null>;"
         "Level16(144)=65535;"
         "Level32(160)=4000000000;"
         "Level64(176)=9223372036854775807;"  // the writer's strtoll saturates
         "Level8(128)=200;"
         "Levels(8320)=[1,2];"
         "Literal(5632)=null;"
         "Missing(5632)=;"
         "Name(5632)=fan0;"
         "Nothing(8320)=<null>;"
         "Numeric(5632)=42;"
         "Offset16(208)=-30000;"
         "Offset32(224)=-5;"
         "Offset64(240)=-1;"
         "Offset8(192)=-100;"
         "Peers(12544)=[<null>];"
         "Ratio32(8)=0.100000001;"
         "Ratio64(12)=0.10000000149011612;"
         "Removed(6144)=<null>;"
         "Sensor(4096)=" +
         kSensorText +
         ";"
         "Sensors(12288)=[" +
         kSensorText +
         "];"
         "Speed(144)=<null>;"
         "Switches(8194)=<null>;"
         "System(4352)=root/cimv2:Demo_System.Name=bmc0;"
         "Tags(13824)=[a,<null>,b];"
         "Times(14336)=[" +
         kWhen +
         "];"
         "Weights(8200)=<null>;}";
}

// Method arguments of every kind.
CMPIArgs *full_args() {
  CMPIArgs *args = makeNewCMPIArgs(nullptr);
  CMPIUint32 count = 7;
  CMAddArg(args, "Count", &count, CMPI_uint32);
  CMPISint16 delta = -2;
  CMAddArg(args, "Delta", &delta, CMPI_sint16);
  CMPIBoolean enable = 1;
  CMAddArg(args, "Enable", &enable, CMPI_boolean);
  CMPIChar16 grade = 'B';
  CMAddArg(args, "Grade", &grade, CMPI_char16);
  CMAddArg(args, "Empty", nullptr, CMPI_string);
  CMAddArg(args, "Literal", "null", CMPI_chars);
  CMPIString *mode = CreateString("fast", nullptr);
  CMAddArg(args, "Mode", &mode, CMPI_string);
  CMRelease(mode);
  CMAddArg(args, "Label", "x", CMPI_chars);
  CMPIReal64 ratio = 0.1;
  CMAddArg(args, "Ratio", &ratio, CMPI_real64);
  CMPIReal32 scale = 2.5f;
  CMAddArg(args, "Scale", &scale, CMPI_real32);
  CMPIUint64 size = 12345678901ull;
  CMAddArg(args, "Size", &size, CMPI_uint64);
  CMAddArg(args, "Unset", nullptr, CMPI_uint32);
  CMPIDateTime *when = makeNewCMPIDateTimeFromChars(kWhen, nullptr);
  CMAddArg(args, "When", &when, CMPI_dateTime);
  CMRelease(when);
  CMAddArg(args, "Never", nullptr, CMPI_dateTime);
  CMPIObjectPath *target = system_path();
  CMAddArg(args, "Target", &target, CMPI_ref);
  CMRelease(target);
  CMPIInstance *probe = sensor();
  CMAddArg(args, "Probe", &probe, CMPI_instance);
  CMRelease(probe);
  set_array<CMPIUint16>(nullptr, args, "Ids", CMPI_uint16, {1, 2});
  set_text_array(nullptr, args, "Names", {"a", "NULL"});
  set_object_array(nullptr, args, "Refs", CMPI_ref, system_path());
  set_object_array(nullptr, args, "Probes", CMPI_instance, sensor());
  set_array<CMPIBoolean>(nullptr, args, "Flags", CMPI_boolean, {1});
  set_array<CMPIUint8>(nullptr, args, "Blank", CMPI_uint8, {});
  return args;
}

std::string full_args_text() {
  return std::string("Count(160)=7;") +
         "Delta(208)=-2;"
         "Empty(5632)=;"
         "Ids(8336)=[1,2];"
         "Label(5632)=x;"
         "Literal(5632)=<null>;"
         "Mode(5632)=fast;"
         "Names(13824)=[a,<null>];"
         "Never(6144)=<null>;"
         "Probe(4096)=" +
         kSensorText +
         ";"
         "Probes(12288)=[" +
         kSensorText +
         "];"
         "Ratio(12)=0.10000000149011612;"
         "Refs(12544)=[<null>];"
         "Scale(8)=2.5;"
         "Size(176)=12345678901;"
         "Target(4352)=root/cimv2:Demo_System.Name=bmc0;"
         "Unset(160)=0;"
         "When(6144)=" +
         kWhen + ";";
}

// The request frame of req as text, without its terminator.
std::string written(ClientReq *req) {
  std::vector<char> fixed(FRAME_BUFFER_SIZE, '\0');
  char *dyn = static_cast<char *>(calloc(1, FRAME_BUFFER_SIZE));
  testing::internal::CaptureStdout();  // references echo their key text
  const int result = doSerialization(req, fixed.data(), &dyn);
  testing::internal::GetCapturedStdout();
  EXPECT_EQ(result, 0);
  const int type = V(req->type);
  const bool dynamic = type == MODIFYINST || type == INVOKEMETHOD || type == CREATEINST;
  std::string frame = dynamic ? std::string(dyn) : std::string(fixed.data());
  free(dyn);
  const std::string terminator = "CMPI_EOF";
  EXPECT_EQ(frame.substr(frame.size() - terminator.size()), terminator);
  return frame.substr(0, frame.size() - terminator.size());
}

// Writes req, parses it again and describes the rebuilt record; releases both records.
std::string round_trip(ClientReq *req) {
  const std::string text = written(req);
  LogCapture log;
  ClientReq *rebuilt = doDeserialization(text.c_str());
  EXPECT_THAT(log.at_level(2), IsEmpty());
  EXPECT_NE(rebuilt, nullptr) << text;
  const std::string description = describe_request(rebuilt);
  releaseRequestData(rebuilt);
  releaseRequestData(req);
  return description;
}

ClientReq *client_request(int type, CMPIObjectPath *path, CMPIArgs *args = nullptr,
                          CMPIInstance *inst = nullptr, CMAssocReq *assoc = nullptr,
                          const char *text = nullptr) {
  ClientReq *req = nullptr;
  EXPECT_EQ(getClientReq(&req, "admin", type, path, args, inst, assoc, text), 0);
  return req;
}

// The rebuilt path of fan_path(): the reference key only.
const char kFanKeys[] = "System(4352)=root/cimv2:Demo_System.Name=bmc0;";

class HeaderRoundTrip : public ::testing::TestWithParam<int> {};

TEST_P(HeaderRoundTrip, CarriesTypeUserAndPath) {
  EXPECT_EQ(round_trip(client_request(GetParam(), fan_path())),
            header_record(GetParam(), "root/cimv2:Demo_Fan"));
}

INSTANTIATE_TEST_SUITE_P(EnumerationsAndClass, HeaderRoundTrip,
                         ::testing::Values(ENUMINST, ENUMINSTNAMES, GETCLASS));

class KeyRoundTrip : public ::testing::TestWithParam<int> {};

TEST_P(KeyRoundTrip, StringKeysOutsideGroupsAreDropped) {
  EXPECT_EQ(round_trip(client_request(GetParam(), fan_path())),
            header_record(GetParam(), "root/cimv2:Demo_Fan", kFanKeys));
}

TEST_P(KeyRoundTrip, StringKeysAloneComeBackAsStrings) {
  CMPIObjectPath *path = makeNewObjectPath(kNs, "Demo_Fan", nullptr);
  CMAddKey(path, "DeviceID", "fan0", CMPI_chars);
  CMAddKey(path, "Rack", "r1", CMPI_chars);
  EXPECT_EQ(round_trip(client_request(GetParam(), path)),
            header_record(GetParam(), "root/cimv2:Demo_Fan", "DeviceID(5632)=fan0;Rack(5632)=r1;"));
}

INSTANTIATE_TEST_SUITE_P(GetAndDelete, KeyRoundTrip, ::testing::Values(GETINST, DELETEINST));

class InstanceRoundTrip : public ::testing::TestWithParam<int> {};

TEST_P(InstanceRoundTrip, CarriesEveryKindOfProperty) {
  CMPIObjectPath *path = fan_path();
  const int type = GetParam();
  EXPECT_EQ(round_trip(client_request(type, path, nullptr, full_instance(path))),
            "type=" + std::to_string(type) + "\nuser=admin\nCOP=root/cimv2:Demo_Fan keys=" +
                kFanKeys + "\nCI=" + full_instance_text() + " keys=" + kFanKeys +
                "\nunused=<null>\nassocref=<null>\nArgsIn=<null>\nQueryString=<null>\n");
}

INSTANTIATE_TEST_SUITE_P(ModifyAndCreate, InstanceRoundTrip,
                         ::testing::Values(MODIFYINST, CREATEINST));

TEST(RoundTrip, InvokeMethodCarriesEveryKindOfArgument) {
  EXPECT_EQ(round_trip(client_request(INVOKEMETHOD, fan_path(), full_args(), nullptr, nullptr,
                                      "SetSpeed")),
            std::string("type=5\nuser=admin\nCOP=root/cimv2:Demo_Fan keys=") + kFanKeys +
                "\nCI=<null>\nunused=<null>\nassocref=<null>\nArgsIn=" + full_args_text() +
                "\nQueryString=SetSpeed\n");
}

TEST(RoundTrip, InvokeMethodWithoutArguments) {
  EXPECT_EQ(round_trip(client_request(INVOKEMETHOD, fan_path(), makeNewCMPIArgs(nullptr), nullptr,
                                      nullptr, "Reset")),
            std::string("type=5\nuser=admin\nCOP=root/cimv2:Demo_Fan keys=") + kFanKeys +
                "\nCI=<null>\nunused=<null>\nassocref=<null>\nArgsIn=\nQueryString=Reset\n");
}

CMAssocReq *assoc_request(const char *assoc_class, const char *result_class, const char *role,
                          const char *result_role, unsigned char refs_only) {
  CMAssocReq *assoc = static_cast<CMAssocReq *>(calloc(1, sizeof(CMAssocReq)));
  assoc->AssocClass = assoc_class != nullptr ? strdup(assoc_class) : nullptr;
  assoc->ResultClass = result_class != nullptr ? strdup(result_class) : nullptr;
  assoc->Role = role != nullptr ? strdup(role) : nullptr;
  assoc->ResultRole = result_role != nullptr ? strdup(result_role) : nullptr;
  assoc->RefsOnly = refs_only;
  return assoc;
}

TEST(RoundTrip, AssociatorsTakeTheNamespaceFromTheSchema) {
  SchemaDatabase db;
  db.add({"Demo_Fan", "Demo_Provider", kSchemaNs, "0"});
  EXPECT_EQ(round_trip(client_request(ASSOCIATORS, fan_path(), nullptr, nullptr,
                                      assoc_request("Demo_Link", "Demo_System", "", nullptr, 1))),
            std::string("type=6\nuser=admin\nCOP=root/interop:Demo_Fan keys=") + kFanKeys +
                "\nCI=<null>\nunused=<null>\nassocref=AssocClass:Demo_Link;"
                "ResultClass:Demo_System;Role:;ResultRole:<null>;RefsOnly:1\nArgsIn=<null>\n"
                "QueryString=<null>\n");
}

// A type-6 request with only "AssocClass" set carries the other texts as JSON null.
TEST(RoundTrip, AssociatorsWithOnlyTheAssociationClass) {
  SchemaDatabase db;
  db.add({"Demo_Fan", "Demo_Provider", kSchemaNs, "0"});
  EXPECT_EQ(round_trip(client_request(ASSOCIATORS, fan_path(), nullptr, nullptr,
                                      assoc_request("Demo_Link", nullptr, nullptr, nullptr, 0))),
            std::string("type=6\nuser=admin\nCOP=root/interop:Demo_Fan keys=") + kFanKeys +
                "\nCI=<null>\nunused=<null>\nassocref=AssocClass:Demo_Link;ResultClass:<null>;"
                "Role:<null>;ResultRole:<null>;RefsOnly:0\nArgsIn=<null>\nQueryString=<null>\n");
}

TEST(RoundTrip, ExecQueryCarriesTheQuery) {
  EXPECT_EQ(round_trip(client_request(EXECQUERY, fan_path(), nullptr, nullptr, nullptr,
                                      "select * from Demo_Fan where Speed > 3")),
            std::string("type=7\nuser=admin\nCOP=root/cimv2:Demo_Fan keys=") + kFanKeys +
                "\nCI=<null>\nunused=<null>\nassocref=<null>\nArgsIn=<null>\n"
                "QueryString=select * from Demo_Fan where Speed > 3\n");
}

// An instance whose document passes one fixed frame goes through the enlarged block and back.
TEST(RoundTrip, LargeInstance) {
  CMPIObjectPath *path = fan_path();
  CMPIInstance *inst = makeNewCMPIInstance(path, nullptr);
  const std::string big(20000, 'z');
  CMSetProperty(inst, "Blob", big.c_str(), CMPI_chars);
  EXPECT_EQ(round_trip(client_request(CREATEINST, path, nullptr, inst)),
            std::string("type=9\nuser=admin\nCOP=root/cimv2:Demo_Fan keys=") + kFanKeys +
                "\nCI={root/cimv2:Demo_Fan|Blob(5632)=" + big + ";} keys=" + kFanKeys +
                "\nunused=<null>\nassocref=<null>\nArgsIn=<null>\nQueryString=<null>\n");
}

}  // namespace
