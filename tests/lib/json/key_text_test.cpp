#include "json/key_text.h"

#include <cmpimacs.h>
#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "cmpi_doubles.h"
#include "json/compact_text.h"
#include "log_capture.h"

// ---- the path factory, as the key reader sees it
// -------------------------------------------------
//
// The reader makes the paths of reference keys with makeNewObjectPath. This program puts its own
// makeNewObjectPath in front of the object library's, so that a test can make the factory fail
// or hand out a path that refuses keys; in its normal mode it passes every call on.

namespace {

enum class Factory {
  kPassOn,          // the object library's path
  kFailNoPath,      // CMPI_RC_ERR_FAILED and no path
  kFailWithPath,    // CMPI_RC_ERR_FAILED and a path all the same
  kOkNoPath,        // CMPI_RC_OK and no path
  kRefusesBadKeys,  // a real path whose addKey refuses the key named "Bad"
};

Factory g_factory = Factory::kPassOn;
int g_factory_calls = 0;

using PathFactory = CMPIObjectPath *(*)(const char *, const char *, CMPIStatus *);

PathFactory real_factory() {
  static PathFactory real = reinterpret_cast<PathFactory>(dlsym(RTLD_NEXT, "makeNewObjectPath"));
  return real;
}

const CMPIObjectPathFT *g_real_path_ft = nullptr;

CMPIStatus refuse_bad_key(CMPIObjectPath *op, const char *name, const CMPIValue *value,
                          CMPIType type) {
  if (name != nullptr && std::strcmp(name, "Bad") == 0) {
    return CMPIStatus{CMPI_RC_ERR_INVALID_PARAMETER, nullptr};
  }
  return g_real_path_ft->addKey(op, name, value, type);
}

CMPIObjectPathFT *refusing_table(const CMPIObjectPathFT *real) {
  static CMPIObjectPathFT table;
  g_real_path_ft = real;
  table = *real;
  table.addKey = refuse_bad_key;
  return &table;
}

// Sets the factory mode for one test and puts it back afterwards.
class FactoryMode {
 public:
  explicit FactoryMode(Factory mode) {
    g_factory = mode;
    g_factory_calls = 0;
  }
  ~FactoryMode() { g_factory = Factory::kPassOn; }
};

}  // namespace

extern "C" CMPIObjectPath *makeNewObjectPath(const char *nameSpace, const char *className,
                                             CMPIStatus *rc) {
  if (g_factory != Factory::kPassOn) ++g_factory_calls;
  switch (g_factory) {
    case Factory::kPassOn:
      break;
    case Factory::kFailNoPath:
      if (rc != nullptr) *rc = CMPIStatus{CMPI_RC_ERR_FAILED, nullptr};
      return nullptr;
    case Factory::kFailWithPath: {
      CMPIObjectPath *path = real_factory()(nameSpace, className, nullptr);
      if (rc != nullptr) *rc = CMPIStatus{CMPI_RC_ERR_FAILED, nullptr};
      return path;  // the sanitizer build sees whether the reader releases it
    }
    case Factory::kOkNoPath:
      if (rc != nullptr) *rc = CMPIStatus{CMPI_RC_OK, nullptr};
      return nullptr;
    case Factory::kRefusesBadKeys: {
      CMPIObjectPath *path = real_factory()(nameSpace, className, rc);
      path->ft = refusing_table(path->ft);
      return path;
    }
  }
  return real_factory()(nameSpace, className, rc);
}

namespace {

using namespace cmpitest;
using cmpiutility::compact_text;
using ::testing::ElementsAre;
using ::testing::ElementsAreArray;

// Fields of the packed records may sit at unaligned addresses: compare copies only.
#define V(field) static_cast<decltype(field)>(field)

const char kNs[] = "root/cimv2";

CMPIObjectPath *new_path(const char *class_name = "Demo_Disk", const char *ns = kNs) {
  return makeNewObjectPath(ns, class_name, nullptr);
}

void add_string_key(CMPIObjectPath *path, const char *name, const char *value) {
  ASSERT_EQ(CMAddKey(path, name, chars_value(value), CMPI_chars).rc, CMPI_RC_OK);
}

void add_ref_key(CMPIObjectPath *path, const char *name, CMPIObjectPath *reference) {
  CMPIValue value;
  std::memset(&value, 0, sizeof(value));
  value.ref = reference;
  ASSERT_EQ(CMAddKey(path, name, &value, CMPI_ref).rc, CMPI_RC_OK);
}

// The keys of a path as "name(type)=text;" entries, the text being value2Chars' (a reference
// prints its path text).
std::string keys_of(const CMPIObjectPath *path) {
  std::string out;
  const CMPICount count = CMGetKeyCount(path, nullptr);
  for (CMPICount i = 0; i < count; ++i) {
    CMPIString *name = nullptr;
    CMPIData key = CMGetKeyAt(path, i, &name, nullptr);
    CMPIValue value = key.value;
    char *text = value2Chars(key.type, &value);
    out += std::string(CMGetCharPtr(name)) + "(" + std::to_string(key.type) +
           ")=" + (text != nullptr ? text : "<none>") + ";";
    free(text);
    CMRelease(name);
    if ((key.state & CMPI_nullValue) == 0) cmpiReleaseCMPIValue(key.type, &value);
  }
  return out;
}

Json::Value key_document(const std::string &text) {
  Json::Value document(Json::objectValue);
  document["key"] = text;
  return document;
}

ClientReq *new_request(CMPIObjectPath *cop) {
  ClientReq *req = static_cast<ClientReq *>(calloc(1, sizeof(ClientReq)));
  req->type = GETINST;
  req->COP = cop;
  return req;
}

void release_request(ClientReq *req) {
  CMPIObjectPath *cop = V(req->COP);
  if (cop != nullptr) CMRelease(cop);
  free(req);
}

// ---- getCMKey ---------------------------------------------------------------------------------

TEST(GetCMKey, OneStringKeyIsWrittenWithItsTrailingComma) {
  ClientReq *req = new_request(new_path());
  add_string_key(V(req->COP), "Name", "x");
  Json::Value document(Json::objectValue);
  LogCapture log;
  EXPECT_EQ(getCMKey(req, nullptr, document), 0);
  EXPECT_EQ(compact_text(document), R"({"key":"Name=x,"})");
  EXPECT_THAT(log.lines(),
              ElementsAre(Enter("getCMKey"), Trace("KeyString Name=x, "), Exit("getCMKey")));
  release_request(req);
}

TEST(GetCMKey, KeysFollowTheirIndexOrderWithNothingBetween) {
  ClientReq *req = new_request(new_path());
  add_string_key(V(req->COP), "Tag", "disk0");
  add_string_key(V(req->COP), "Owner", "sys1");
  Json::Value document(Json::objectValue);
  document["ClassName"] = "Demo_Disk";
  EXPECT_EQ(getCMKey(req, nullptr, document), 0);
  EXPECT_EQ(compact_text(document), R"({"ClassName":"Demo_Disk","key":"Tag=disk0,Owner=sys1,"})");
  release_request(req);
}

TEST(GetCMKey, PathWithoutKeysWritesNoKeyMember) {
  ClientReq *req = new_request(new_path());
  Json::Value document(Json::objectValue);
  document["ClassName"] = "Demo_Disk";
  LogCapture log;
  EXPECT_EQ(getCMKey(req, nullptr, document), 0);
  EXPECT_EQ(compact_text(document), R"({"ClassName":"Demo_Disk"})");
  EXPECT_THAT(log.lines(),
              ElementsAre(Enter("getCMKey"), Info("INFO: No key associated with client request"),
                          Exit("getCMKey")));
  release_request(req);
}

TEST(GetCMKey, WithoutRequestTheResponsePathIsUsed) {
  ServerResp resp;
  std::memset(&resp, 0, sizeof(resp));
  resp.type = CREATEINST;
  resp.objectPath = new_path();
  add_string_key(resp.objectPath, "Id", "42");
  Json::Value document(Json::objectValue);
  EXPECT_EQ(getCMKey(nullptr, &resp, document), 0);
  EXPECT_EQ(compact_text(document), R"({"key":"Id=42,"})");
  CMRelease(resp.objectPath);
}

TEST(GetCMKey, TheRequestWinsOverTheResponse) {
  ClientReq *req = new_request(new_path());
  add_string_key(V(req->COP), "Id", "request");
  ServerResp resp;
  std::memset(&resp, 0, sizeof(resp));
  resp.objectPath = new_path();
  add_string_key(resp.objectPath, "Id", "response");
  Json::Value document(Json::objectValue);
  EXPECT_EQ(getCMKey(req, &resp, document), 0);
  EXPECT_EQ(compact_text(document), R"({"key":"Id=request,"})");
  CMRelease(resp.objectPath);
  release_request(req);
}

TEST(GetCMKey, MissingPathCountsAsNoKeys) {
  ClientReq *req = new_request(nullptr);
  Json::Value document(Json::objectValue);
  LogCapture log;
  EXPECT_EQ(getCMKey(req, nullptr, document), 0);
  EXPECT_EQ(getCMKey(nullptr, nullptr, document), 0);
  EXPECT_EQ(compact_text(document), "{}");
  EXPECT_THAT(log.lines(),
              ElementsAre(Enter("getCMKey"), Info("INFO: No key associated with client request"),
                          Exit("getCMKey"), Enter("getCMKey"),
                          Info("INFO: No key associated with client request"), Exit("getCMKey")));
  release_request(req);
}

TEST(GetCMKey, ReferenceKeyIsWrittenAsAGroup) {
  CMPIObjectPath *disk = new_path("Abc_Disk", "root/ns");
  add_string_key(disk, "DeviceID", "d1");
  add_string_key(disk, "SystemName", "s1");
  ClientReq *req = new_request(new_path("Abc_Use"));
  add_ref_key(V(req->COP), "Antecedent", disk);
  CMRelease(disk);
  Json::Value document(Json::objectValue);
  LogCapture log;
  EXPECT_EQ(getCMKey(req, nullptr, document), 0);
  EXPECT_EQ(compact_text(document),
            R"j({"key":"(Antecedent=root/ns:Abc_Disk.DeviceID=d1,SystemName=s1,)"})j");
  EXPECT_THAT(
      log.lines(),
      ElementsAre(Enter("getCMKey"),
                  Trace("KeyString (Antecedent=root/ns:Abc_Disk.DeviceID=d1,SystemName=s1,) "),
                  Exit("getCMKey")));
  release_request(req);
}

TEST(GetCMKey, StringAndReferenceKeysMix) {
  CMPIObjectPath *system = new_path("Abc_System", "root/ns");
  add_string_key(system, "Name", "s1");
  ClientReq *req = new_request(new_path("Abc_Use"));
  add_string_key(V(req->COP), "Tag", "t");
  add_ref_key(V(req->COP), "Dependent", system);
  add_string_key(V(req->COP), "Slot", "4");
  CMRelease(system);
  Json::Value document(Json::objectValue);
  EXPECT_EQ(getCMKey(req, nullptr, document), 0);
  EXPECT_EQ(compact_text(document),
            R"({"key":"Tag=t,(Dependent=root/ns:Abc_System.Name=s1,)Slot=4,"})");
  release_request(req);
}

TEST(GetCMKey, NumericKeyMakesTheWriterFailAndLeavesTheDocument) {
  ClientReq *req = new_request(new_path());
  add_string_key(V(req->COP), "Name", "x");
  CMPIUint32 index = 3;
  ASSERT_EQ(CMAddKey(V(req->COP), "Index", &index, CMPI_uint32).rc, CMPI_RC_OK);
  Json::Value document(Json::objectValue);
  document["ClassName"] = "Demo_Disk";
  LogCapture log;
  EXPECT_EQ(getCMKey(req, nullptr, document), 1);
  EXPECT_EQ(compact_text(document), R"({"ClassName":"Demo_Disk"})");
  EXPECT_THAT(log.lines(), ElementsAre(Enter("getCMKey"),
                                       Error("ERROR: __getCMKey#262: 'unable to get the key'"),
                                       Exit("getCMKey")));
  release_request(req);
}

class OtherKeyTypes : public ::testing::TestWithParam<CMPIType> {};

TEST_P(OtherKeyTypes, CannotBeCarried) {
  ClientReq *req = new_request(new_path());
  CMPIValue value;
  std::memset(&value, 0, sizeof(value));
  CMPIDateTime *when = nullptr;
  if (GetParam() == CMPI_dateTime) {
    when = makeNewCMPIDateTimeFromChars("20240102030405.000000+000", nullptr);
    value.dateTime = when;
  } else {
    value.uint8 = 1;
  }
  ASSERT_EQ(CMAddKey(V(req->COP), "K", &value, GetParam()).rc, CMPI_RC_OK);
  if (when != nullptr) CMRelease(when);
  Json::Value document(Json::objectValue);
  LogCapture log;
  EXPECT_EQ(getCMKey(req, nullptr, document), 1);
  EXPECT_EQ(compact_text(document), "{}");
  EXPECT_TRUE(log.contains(Error("ERROR: __getCMKey#262: 'unable to get the key'")));
  release_request(req);
}

INSTANTIATE_TEST_SUITE_P(NumbersBooleansDateTimes, OtherKeyTypes,
                         ::testing::Values(CMPI_boolean, CMPI_uint8, CMPI_uint32, CMPI_sint64,
                                           CMPI_real32, CMPI_dateTime));

// ---- getCMKey with a doctored path: missing names and missing texts ---------------------------

// What the doctored getKeyAt does at the index chosen by g_key_index.
enum class KeyTrick { kNoName, kNameWithoutText, kValueWithoutText, kReferenceWithoutText };
KeyTrick g_key_trick = KeyTrick::kNoName;
CMPICount g_key_index = 0;
FakeString g_fake_name;
FakeString g_fake_value;
CMPIObjectPathFT g_textless_reference_ft;
int g_reference_text_calls = 0;

CMPIString *no_reference_text(const CMPIObjectPath *, CMPIStatus *rc) {
  ++g_reference_text_calls;
  if (rc != nullptr) *rc = CMPIStatus{CMPI_RC_OK, nullptr};
  return nullptr;
}

CMPIData tricky_key_at(const CMPIObjectPath *op, CMPICount index, CMPIString **name,
                       CMPIStatus *rc) {
  CMPIData data = PathDoctor::real()->getKeyAt(op, index, name, rc);
  if (index != g_key_index) return data;
  switch (g_key_trick) {
    case KeyTrick::kNoName:
      CMRelease(*name);
      *name = nullptr;
      break;
    case KeyTrick::kNameWithoutText:
      CMRelease(*name);
      *name = g_fake_name.get();
      break;
    case KeyTrick::kValueWithoutText: {
      CMPIValue value = data.value;
      cmpiReleaseCMPIValue(data.type, &value);
      value.string = g_fake_value.get();
      data.value = value;
      break;
    }
    case KeyTrick::kReferenceWithoutText: {
      // The key's path is a caller-owned copy: its own table is doctored, and it is released
      // through that table as usual.
      CMPIValue value = data.value;
      g_textless_reference_ft = *value.ref->ft;
      g_textless_reference_ft.toString = no_reference_text;
      value.ref->ft = &g_textless_reference_ft;
      break;
    }
  }
  return data;
}

class TrickyKeys : public ::testing::Test {
 protected:
  void SetUp() override {
    g_fake_name = FakeString(nullptr);
    g_fake_value = FakeString(nullptr);
    g_reference_text_calls = 0;
    CMPIObjectPath *target = new_path("Abc_Target", "root/ns");
    add_string_key(target, "T", "1");
    req_ = new_request(new_path());
    add_string_key(V(req_->COP), "A", "1");
    add_string_key(V(req_->COP), "B", "2");
    add_ref_key(V(req_->COP), "R", target);
    add_string_key(V(req_->COP), "C", "3");
    CMRelease(target);
  }
  void TearDown() override { release_request(req_); }

  // Runs getCMKey with the trick at the index; the doctored table lives for the call only.
  int run(KeyTrick trick, CMPICount index, Json::Value &document) {
    g_key_trick = trick;
    g_key_index = index;
    PathDoctor doctor(V(req_->COP));
    doctor.table().getKeyAt = tricky_key_at;
    const int result = getCMKey(req_, nullptr, document);
    CMPIObjectPath *cop = V(req_->COP);
    cop->ft = const_cast<CMPIObjectPathFT *>(PathDoctor::real());
    return result;
  }

  ClientReq *req_ = nullptr;
};

TEST_F(TrickyKeys, StringKeyWithoutNameFails) {
  Json::Value document(Json::objectValue);
  LogCapture log;
  EXPECT_EQ(run(KeyTrick::kNoName, 1, document), 1);
  EXPECT_EQ(compact_text(document), "{}");
  EXPECT_THAT(log.lines(), ElementsAre(Enter("getCMKey"),
                                       Error("ERROR: __getCMKey#262: 'unable to get the key'"),
                                       Exit("getCMKey")));
}

TEST_F(TrickyKeys, ReferenceKeyWithoutNameFails) {
  Json::Value document(Json::objectValue);
  LogCapture log;
  EXPECT_EQ(run(KeyTrick::kNoName, 2, document), 1);
  EXPECT_EQ(compact_text(document), "{}");
  EXPECT_THAT(log.lines(), ElementsAre(Enter("getCMKey"),
                                       Error("ERROR: __getCMKey#262: 'unable to get the key'"),
                                       Exit("getCMKey")));
}

// A name or value without characters puts the text stream in its failed state: what stood
// before is written, nothing after it, and the result is still success.
TEST_F(TrickyKeys, ValueWithoutTextStopsTheTextAfterTheEqualsSign) {
  Json::Value document(Json::objectValue);
  LogCapture log;
  EXPECT_EQ(run(KeyTrick::kValueWithoutText, 1, document), 0);
  EXPECT_EQ(compact_text(document), R"({"key":"A=1,B="})");
  EXPECT_THAT(log.lines(),
              ElementsAre(Enter("getCMKey"), Trace("KeyString A=1,B= "), Exit("getCMKey")));
  EXPECT_EQ(g_fake_value.releases, 1);  // the value handed out is released all the same
}

TEST_F(TrickyKeys, NameWithoutTextStopsTheTextAtTheName) {
  Json::Value document(Json::objectValue);
  EXPECT_EQ(run(KeyTrick::kNameWithoutText, 0, document), 0);
  EXPECT_EQ(compact_text(document), R"({"key":""})");
  EXPECT_EQ(g_fake_name.releases, 1);
}

TEST_F(TrickyKeys, ReferenceNameWithoutTextStopsTheTextAtTheParenthesis) {
  Json::Value document(Json::objectValue);
  EXPECT_EQ(run(KeyTrick::kNameWithoutText, 2, document), 0);
  EXPECT_EQ(compact_text(document), R"({"key":"A=1,B=2,("})");
  EXPECT_EQ(g_fake_name.releases, 1);
}

TEST_F(TrickyKeys, ReferenceWithoutTextStopsTheTextAfterTheEqualsSign) {
  Json::Value document(Json::objectValue);
  EXPECT_EQ(run(KeyTrick::kReferenceWithoutText, 2, document), 0);
  EXPECT_EQ(compact_text(document), R"({"key":"A=1,B=2,(R="})");
  EXPECT_EQ(g_reference_text_calls, 1);
}

TEST_F(TrickyKeys, WithoutTricksEveryKeyIsWritten) {
  Json::Value document(Json::objectValue);
  EXPECT_EQ(run(KeyTrick::kNoName, 99, document), 0);
  EXPECT_EQ(compact_text(document), R"({"key":"A=1,B=2,(R=root/ns:Abc_Target.T=1,)C=3,"})");
}

// ---- addCMKey: plain form ---------------------------------------------------------------------

TEST(AddCMKey, OneStringKeyIsAddedAsChars) {
  CMPIObjectPath *path = new_path();
  LogCapture log;
  EXPECT_EQ(addCMKey(path, key_document("Name=x,")), 0);
  // CMPI_chars keys are kept as strings by the object library.
  EXPECT_EQ(keys_of(path), "Name(5632)=x;");
  EXPECT_THAT(log.lines(),
              ElementsAre(Enter("addCMKey"), Trace("addCMKey Name=x, "), Exit("addCMKey")));
  CMRelease(path);
}

TEST(AddCMKey, SeveralKeysInOrder) {
  CMPIObjectPath *path = new_path();
  EXPECT_EQ(addCMKey(path, key_document("Tag=disk0,Owner=sys1,")), 0);
  EXPECT_EQ(keys_of(path), "Tag(5632)=disk0;Owner(5632)=sys1;");
  CMRelease(path);
}

TEST(AddCMKey, TextAfterTheLastCommaIsIgnored) {
  CMPIObjectPath *path = new_path();
  LogCapture log;
  EXPECT_EQ(addCMKey(path, key_document("Name=x")), 0);
  EXPECT_EQ(keys_of(path), "");
  EXPECT_EQ(addCMKey(path, key_document("A=1,B=2")), 0);
  EXPECT_EQ(keys_of(path), "A(5632)=1;");
  EXPECT_THAT(log.lines(),
              ElementsAre(Enter("addCMKey"), Trace("addCMKey Name=x "), Exit("addCMKey"),
                          Enter("addCMKey"), Trace("addCMKey A=1,B=2 "), Exit("addCMKey")));
  CMRelease(path);
}

TEST(AddCMKey, EntryWithoutEqualsSignIsNameAndValue) {
  CMPIObjectPath *path = new_path();
  EXPECT_EQ(addCMKey(path, key_document("abc,")), 0);
  EXPECT_EQ(keys_of(path), "abc(5632)=abc;");
  CMRelease(path);
}

TEST(AddCMKey, ValueSplitsAtTheFirstEqualsSignOnly) {
  CMPIObjectPath *path = new_path();
  EXPECT_EQ(addCMKey(path, key_document("Expr=a=b,")), 0);
  EXPECT_EQ(keys_of(path), "Expr(5632)=a=b;");
  CMRelease(path);
}

TEST(AddCMKey, EmptyAbsentOrNullKeyAddsNothing) {
  CMPIObjectPath *path = new_path();
  Json::Value absent(Json::objectValue);
  Json::Value null_key(Json::objectValue);
  null_key["key"] = Json::Value();
  LogCapture log;
  EXPECT_EQ(addCMKey(path, key_document("")), 0);
  EXPECT_EQ(addCMKey(path, absent), 0);
  EXPECT_EQ(addCMKey(path, null_key), 0);
  EXPECT_EQ(keys_of(path), "");
  EXPECT_THAT(log.lines(), ElementsAre(Enter("addCMKey"), Trace("addCMKey  "), Exit("addCMKey"),
                                       Enter("addCMKey"), Trace("addCMKey  "), Exit("addCMKey"),
                                       Enter("addCMKey"), Trace("addCMKey  "), Exit("addCMKey")));
  CMRelease(path);
}

TEST(AddCMKey, OpeningParenthesisWithoutClosingOneIsPlainForm) {
  CMPIObjectPath *path = new_path();
  LogCapture log;
  EXPECT_EQ(addCMKey(path, key_document("Name=(x,Id=7,")), 0);
  EXPECT_EQ(keys_of(path), "Name(5632)=(x;Id(5632)=7;");
  EXPECT_THAT(log.lines(),
              ElementsAre(Enter("addCMKey"), Trace("addCMKey Name=(x,Id=7, "), Exit("addCMKey")));
  CMRelease(path);
}

TEST(AddCMKey, KeyThatCannotBeAddedFailsAndEarlierKeysStay) {
  CMPIObjectPath *path = new_path();
  PathDoctor doctor(path);
  g_real_path_ft = PathDoctor::real();
  doctor.table().addKey = refuse_bad_key;
  LogCapture log;
  EXPECT_EQ(addCMKey(path, key_document("A=1,Bad=2,C=3,")), 1);
  EXPECT_EQ(keys_of(path), "A(5632)=1;");
  EXPECT_THAT(log.lines(), ElementsAre(Enter("addCMKey"), Trace("addCMKey A=1,Bad=2,C=3, "),
                                       Error("ERROR: __addCMKey#1106: 'Bad' key can not be added"),
                                       Exit("addCMKey")));
  CMRelease(path);
}

TEST(AddCMKey, PathWithoutHandleCannotTakeKeys) {
  CMPIObjectPath *real = new_path();
  CMPIObjectPath broken = {nullptr, real->ft};
  LogCapture log;
  EXPECT_EQ(addCMKey(&broken, key_document("Name=x,")), 1);
  EXPECT_EQ(addCMKey(nullptr, key_document("Name=x,")), 1);
  EXPECT_EQ(log.at_level(2),
            std::vector<LogLine>({Error("ERROR: __addCMKey#1106: 'Name' key can not be added"),
                                  Error("ERROR: __addCMKey#1106: 'Name' key can not be added")}));
  CMRelease(real);
}

// ---- addCMKey: group form ---------------------------------------------------------------------

TEST(AddCMKey, GroupBecomesAReferenceKey) {
  CMPIObjectPath *path = new_path("Abc_Use");
  const std::string text = "(Antecedent=root/ns:Abc_Disk.DeviceID=d1,SystemName=s1,)";
  LogCapture log;
  EXPECT_EQ(addCMKey(path, key_document(text)), 0);
  EXPECT_EQ(keys_of(path), "Antecedent(4352)=root/ns:Abc_Disk.DeviceID=d1,SystemName=s1;");
  EXPECT_THAT(
      log.lines(),
      ElementsAre(Enter("addCMKey"), Trace("addCMKey " + text + " "), Trace("******************"),
                  Trace("props:Antecedent=root/ns:Abc_Disk.DeviceID=d1,SystemName=s1, "),
                  Trace("role:Antecedent "), Trace("ns:root/ns "), Trace("cn:Abc_Disk "),
                  Trace("key props:DeviceID=d1,SystemName=s1, "), Trace("CMAddKey:DeviceID,d1 "),
                  Trace("CMAddKey:SystemName,s1 "), Trace("get next Role: "), Exit("addCMKey")));

  // The reference's own keys are chars keys of a path in that namespace and class.
  CMPIData key = CMGetKey(path, "Antecedent", nullptr);
  CMPIValue value = key.value;
  ASSERT_NE(value.ref, nullptr);
  CMPIString *ns = CMGetNameSpace(value.ref, nullptr);
  CMPIString *cn = CMGetClassName(value.ref, nullptr);
  EXPECT_STREQ(CMGetCharPtr(ns), "root/ns");
  EXPECT_STREQ(CMGetCharPtr(cn), "Abc_Disk");
  EXPECT_EQ(keys_of(value.ref), "DeviceID(5632)=d1;SystemName(5632)=s1;");
  CMRelease(ns);
  CMRelease(cn);
  cmpiReleaseCMPIValue(key.type, &value);
  CMRelease(path);
}

TEST(AddCMKey, TwoGroupsBecomeTwoReferences) {
  CMPIObjectPath *path = new_path("Abc_Use");
  LogCapture log;
  EXPECT_EQ(addCMKey(path, key_document("(A=ns:C1.k=1,)(B=ns:C2.j=2,m=3,)")), 0);
  EXPECT_EQ(keys_of(path), "A(4352)=ns:C1.k=1;B(4352)=ns:C2.j=2,m=3;");
  EXPECT_THAT(
      log.texts(),
      ElementsAre("Enter function = addCMKey", "addCMKey (A=ns:C1.k=1,)(B=ns:C2.j=2,m=3,) ",
                  "******************", "props:A=ns:C1.k=1, ", "role:A ", "ns:ns ", "cn:C1 ",
                  "key props:k=1, ", "CMAddKey:k,1 ", "get next Role: (B=ns:C2.j=2,m=3,)",
                  "******************", "props:B=ns:C2.j=2,m=3, ", "role:B ", "ns:ns ", "cn:C2 ",
                  "key props:j=2,m=3, ", "CMAddKey:j,2 ", "CMAddKey:m,3 ",
                  "get next Role: ", "Exit  function = addCMKey"));
  CMRelease(path);
}

// The inner text is as long as the position of ")" minus one, counted from the start of the
// text: behind leading string keys it runs on past the ")".
TEST(AddCMKey, StringKeysOutsideGroupsAreDroppedAndTheInnerTextRunsOn) {
  CMPIObjectPath *path = new_path("Abc_Use");
  LogCapture log;
  EXPECT_EQ(addCMKey(path, key_document("Name=x,(R=ns:C.k=v,)")), 0);
  EXPECT_EQ(keys_of(path), "R(4352)=ns:C.k=v;");
  EXPECT_THAT(log.texts(),
              ElementsAre("Enter function = addCMKey", "addCMKey Name=x,(R=ns:C.k=v,) ",
                          "******************", "props:R=ns:C.k=v,) ", "role:R ", "ns:ns ", "cn:C ",
                          "key props:k=v,) ", "CMAddKey:k,v ",
                          "get next Role: ", "Exit  function = addCMKey"));
  CMRelease(path);
}

TEST(AddCMKey, InnerTextRunningOnPicksUpKeysBehindTheGroup) {
  CMPIObjectPath *path = new_path("Abc_Use");
  // "(" at 7, ")" at 19: the inner text starts at 8 and is 18 characters long, cut at the end.
  LogCapture log;
  EXPECT_EQ(addCMKey(path, key_document("abcdef,(R=ns:C.k=v,)x=y,")), 0);
  EXPECT_EQ(keys_of(path), "R(4352)=ns:C.k=v,)x=y;");
  EXPECT_TRUE(
      ContainsInOrder(log.lines(), {Trace("props:R=ns:C.k=v,)x=y, "), Trace("CMAddKey:k,v "),
                                    Trace("CMAddKey:)x,y "), Trace("get next Role: x=y,")}));
  CMRelease(path);
}

TEST(AddCMKey, InnerTextRunningIntoTheNextGroup) {
  CMPIObjectPath *path = new_path("Abc_Use");
  LogCapture log;
  EXPECT_EQ(addCMKey(path, key_document("Name=x,(R=ns:C.k=v,)(S=ns:D.j=w,)")), 0);
  EXPECT_EQ(keys_of(path), "R(4352)=ns:C.k=v;S(4352)=ns:D.j=w;");
  EXPECT_TRUE(ContainsInOrder(
      log.lines(), {Trace("props:R=ns:C.k=v,)(S=ns: "), Trace("key props:k=v,)(S=ns: "),
                    Trace("get next Role: (S=ns:D.j=w,)"), Trace("props:S=ns:D.j=w, ")}));
  CMRelease(path);
}

TEST(AddCMKey, ClosingParenthesisFirstGivesAnInnerTextToTheEnd) {
  CMPIObjectPath *path = new_path("Abc_Use");
  LogCapture log;
  EXPECT_EQ(addCMKey(path, key_document(")(R=ns:C.k=v,")), 0);
  EXPECT_EQ(keys_of(path), "R(4352)=ns:C.k=v;");
  EXPECT_TRUE(ContainsInOrder(log.lines(),
                              {Trace("props:R=ns:C.k=v, "), Trace("get next Role: (R=ns:C.k=v,")}));
  CMRelease(path);
}

TEST(AddCMKey, MalformedGroupsAreSkippedQuietly) {
  CMPIObjectPath *path = new_path("Abc_Use");
  LogCapture log;
  EXPECT_EQ(addCMKey(path, key_document("(noequals)(R=nocolon)(S=ns:nodot)(T=ns:C.k=v,)")), 0);
  EXPECT_EQ(keys_of(path), "T(4352)=ns:C.k=v;");
  EXPECT_THAT(log.texts(), ElementsAreArray(std::vector<std::string>{
                               "Enter function = addCMKey",
                               "addCMKey (noequals)(R=nocolon)(S=ns:nodot)(T=ns:C.k=v,) ",
                               "******************",
                               "props:noequals ",
                               "get next Role: (R=nocolon)(S=ns:nodot)(T=ns:C.k=v,)",
                               "******************",
                               "props:R=nocolon ",
                               "role:R ",
                               "get next Role: (S=ns:nodot)(T=ns:C.k=v,)",
                               "******************",
                               "props:S=ns:nodot ",
                               "role:S ",
                               "ns:ns ",
                               "get next Role: (T=ns:C.k=v,)",
                               "******************",
                               "props:T=ns:C.k=v, ",
                               "role:T ",
                               "ns:ns ",
                               "cn:C ",
                               "key props:k=v, ",
                               "CMAddKey:k,v ",
                               "get next Role: ",
                               "Exit  function = addCMKey"}));
  EXPECT_EQ(log.at_level(2).size(), 0u);
  CMRelease(path);
}

TEST(AddCMKey, GroupWithoutKeysGivesAReferenceWithoutKeys) {
  CMPIObjectPath *path = new_path("Abc_Use");
  EXPECT_EQ(addCMKey(path, key_document("(R=ns:C.)")), 0);
  EXPECT_EQ(keys_of(path), "R(4352)=ns:C;");
  CMRelease(path);
}

TEST(AddCMKey, PathFactoryErrorFails) {
  for (Factory mode : {Factory::kFailNoPath, Factory::kFailWithPath}) {
    CMPIObjectPath *path = new_path("Abc_Use");
    LogCapture log;
    {
      FactoryMode factory(mode);
      EXPECT_EQ(addCMKey(path, key_document("(R=ns:C.k=v,)")), 1);
      EXPECT_EQ(g_factory_calls, 1);
    }
    EXPECT_EQ(keys_of(path), "");
    EXPECT_THAT(log.texts(),
                ElementsAre("Enter function = addCMKey", "addCMKey (R=ns:C.k=v,) ",
                            "******************", "props:R=ns:C.k=v, ", "role:R ", "ns:ns ",
                            "cn:C ", "ERROR: __addCMKey#1067: 'makeNewObjectPath failed'",
                            "Exit  function = addCMKey"));
    EXPECT_TRUE(log.contains(Error("ERROR: __addCMKey#1067: 'makeNewObjectPath failed'")));
    CMRelease(path);
  }
}

// With no path and a success status the reader goes on: the keys and the reference have no path
// to go to and are passed over.
TEST(AddCMKey, NoPathWithSuccessStatusIsInformationOnly) {
  CMPIObjectPath *path = new_path("Abc_Use");
  LogCapture log;
  {
    FactoryMode factory(Factory::kOkNoPath);
    EXPECT_EQ(addCMKey(path, key_document("(R=ns:C.k=v,)(S=ns:D.j=w,)")), 0);
    EXPECT_EQ(g_factory_calls, 2);
  }
  EXPECT_EQ(keys_of(path), "");
  EXPECT_THAT(log.lines(), ElementsAreArray(std::vector<LogLine>{
                               Enter("addCMKey"),
                               Trace("addCMKey (R=ns:C.k=v,)(S=ns:D.j=w,) "),
                               Trace("******************"),
                               Trace("props:R=ns:C.k=v, "),
                               Trace("role:R "),
                               Trace("ns:ns "),
                               Trace("cn:C "),
                               Info("INFO: __addCMKey#1067: 'makeNewObjectPath failed'"),
                               Trace("key props:k=v, "),
                               Trace("CMAddKey:k,v "),
                               Trace("get next Role: (S=ns:D.j=w,)"),
                               Trace("******************"),
                               Trace("props:S=ns:D.j=w, "),
                               Trace("role:S "),
                               Trace("ns:ns "),
                               Trace("cn:D "),
                               Info("INFO: __addCMKey#1067: 'makeNewObjectPath failed'"),
                               Trace("key props:j=w, "),
                               Trace("CMAddKey:j,w "),
                               Trace("get next Role: "),
                               Exit("addCMKey")}));
  CMRelease(path);
}

TEST(AddCMKey, KeyThatTheReferencedPathRefusesFails) {
  CMPIObjectPath *path = new_path("Abc_Use");
  LogCapture log;
  {
    FactoryMode factory(Factory::kRefusesBadKeys);
    EXPECT_EQ(addCMKey(path, key_document("(R=ns:C.k=v,)(S=ns:D.j=w,Bad=1,m=2,)")), 1);
  }
  // The first reference stays; the second is not added, and its path is released.
  EXPECT_EQ(keys_of(path), "R(4352)=ns:C.k=v;");
  EXPECT_TRUE(ContainsInOrder(
      log.lines(),
      {Trace("CMAddKey:j,w "), Trace("CMAddKey:Bad,1 "),
       Error("ERROR: __addCMKey#1078: 'Bad' key can not be added"), Exit("addCMKey")}));
  EXPECT_FALSE(log.contains(Trace("CMAddKey:m,2 ")));
  CMRelease(path);
}

CMPIStatus refuse_reference_s(CMPIObjectPath *op, const char *name, const CMPIValue *value,
                              CMPIType type) {
  if (type == CMPI_ref && std::strcmp(name, "S") == 0) {
    return CMPIStatus{CMPI_RC_ERR_FAILED, nullptr};
  }
  return PathDoctor::real()->addKey(op, name, value, type);
}

TEST(AddCMKey, ReferenceThatCannotBeAddedFails) {
  CMPIObjectPath *path = new_path("Abc_Use");
  PathDoctor doctor(path);
  doctor.table().addKey = refuse_reference_s;
  LogCapture log;
  EXPECT_EQ(addCMKey(path, key_document("(R=ns:C.k=v,)(S=ns:D.j=w,)(T=ns:E.i=u,)")), 1);
  EXPECT_EQ(keys_of(path), "R(4352)=ns:C.k=v;");
  EXPECT_TRUE(ContainsInOrder(
      log.lines(), {Trace("CMAddKey:j,w "), Error("ERROR: __addCMKey#1085: CMAddKey failed "),
                    Exit("addCMKey")}));
  EXPECT_FALSE(log.contains(Trace("role:T ")));
  CMRelease(path);
}

// ---- reading back what the writer wrote -------------------------------------------------------

TEST(KeyTextRoundTrip, StringKeysComeBackAsStrings) {
  ClientReq *req = new_request(new_path());
  add_string_key(V(req->COP), "Name", "x");
  add_string_key(V(req->COP), "Owner", "sys1");
  Json::Value document(Json::objectValue);
  ASSERT_EQ(getCMKey(req, nullptr, document), 0);
  CMPIObjectPath *back = new_path();
  EXPECT_EQ(addCMKey(back, document), 0);
  EXPECT_EQ(keys_of(back), keys_of(V(req->COP)));
  EXPECT_EQ(keys_of(back), "Name(5632)=x;Owner(5632)=sys1;");
  CMRelease(back);
  release_request(req);
}

TEST(KeyTextRoundTrip, ReferenceKeysComeBackAsReferences) {
  CMPIObjectPath *disk = new_path("Abc_Disk", "root/ns");
  add_string_key(disk, "DeviceID", "d1");
  add_string_key(disk, "SystemName", "s1");
  CMPIObjectPath *system = new_path("Abc_System", "root/ns");
  add_string_key(system, "Name", "s1");
  ClientReq *req = new_request(new_path("Abc_Use"));
  add_ref_key(V(req->COP), "Antecedent", disk);
  add_ref_key(V(req->COP), "Dependent", system);
  CMRelease(disk);
  CMRelease(system);
  Json::Value document(Json::objectValue);
  ASSERT_EQ(getCMKey(req, nullptr, document), 0);
  CMPIObjectPath *back = new_path("Abc_Use");
  EXPECT_EQ(addCMKey(back, document), 0);
  EXPECT_EQ(keys_of(back), keys_of(V(req->COP)));
  EXPECT_EQ(keys_of(back),
            "Antecedent(4352)=root/ns:Abc_Disk.DeviceID=d1,SystemName=s1;"
            "Dependent(4352)=root/ns:Abc_System.Name=s1;");
  CMRelease(back);
  release_request(req);
}

TEST(KeyTextRoundTrip, MixedKeysComeBackWithTheirReferencesOnly) {
  CMPIObjectPath *system = new_path("Abc_System", "root/ns");
  add_string_key(system, "Name", "s1");
  ClientReq *req = new_request(new_path("Abc_Use"));
  add_ref_key(V(req->COP), "Dependent", system);
  add_string_key(V(req->COP), "Slot", "4");
  CMRelease(system);
  Json::Value document(Json::objectValue);
  ASSERT_EQ(getCMKey(req, nullptr, document), 0);
  CMPIObjectPath *back = new_path("Abc_Use");
  EXPECT_EQ(addCMKey(back, document), 0);
  EXPECT_EQ(keys_of(back), "Dependent(4352)=root/ns:Abc_System.Name=s1;");
  CMRelease(back);
  release_request(req);
}

// There is no escaping: separators inside a value split it into wrong keys when read.
TEST(KeyTextRoundTrip, SeparatorsInValuesAreNotEscaped) {
  ClientReq *req = new_request(new_path());
  add_string_key(V(req->COP), "Name", "a,b=c");
  Json::Value document(Json::objectValue);
  ASSERT_EQ(getCMKey(req, nullptr, document), 0);
  EXPECT_EQ(compact_text(document), R"({"key":"Name=a,b=c,"})");
  CMPIObjectPath *back = new_path();
  EXPECT_EQ(addCMKey(back, document), 0);
  EXPECT_EQ(keys_of(back), "Name(5632)=a;b(5632)=c;");
  CMRelease(back);
  release_request(req);
}

TEST(KeyTextRoundTrip, ParenthesesInValuesSwitchTheReaderToTheGroupForm) {
  ClientReq *req = new_request(new_path());
  add_string_key(V(req->COP), "Name", "(x)");
  Json::Value document(Json::objectValue);
  ASSERT_EQ(getCMKey(req, nullptr, document), 0);
  EXPECT_EQ(compact_text(document), R"({"key":"Name=(x),"})");
  CMPIObjectPath *back = new_path();
  LogCapture log;
  EXPECT_EQ(addCMKey(back, document), 0);
  EXPECT_EQ(keys_of(back), "");  // the "group" x), has no "=" and is skipped
  EXPECT_TRUE(log.contains(Trace("props:x), ")));
  CMRelease(back);
  release_request(req);
}

TEST(KeyTextRoundTrip, EqualsSignInAReferencedValueStaysWithTheValue) {
  CMPIObjectPath *target = new_path("C", "ns");
  add_string_key(target, "k", "a=b");
  ClientReq *req = new_request(new_path("Abc_Use"));
  add_ref_key(V(req->COP), "R", target);
  CMRelease(target);
  Json::Value document(Json::objectValue);
  ASSERT_EQ(getCMKey(req, nullptr, document), 0);
  CMPIObjectPath *back = new_path("Abc_Use");
  EXPECT_EQ(addCMKey(back, document), 0);
  EXPECT_EQ(keys_of(back), "R(4352)=ns:C.k=a=b;");
  CMRelease(back);
  release_request(req);
}

// A long key text is built by appending, so its cost grows with its length only.
TEST(KeyTextRoundTrip, ManyKeys) {
  ClientReq *req = new_request(new_path());
  std::string expected;
  for (int i = 0; i < 2000; ++i) {
    const std::string name = "K" + std::to_string(i);
    const std::string value = std::string(20, static_cast<char>('a' + i % 26));
    add_string_key(V(req->COP), name.c_str(), value.c_str());
    expected += name + "=" + value + ",";
  }
  Json::Value document(Json::objectValue);
  ASSERT_EQ(getCMKey(req, nullptr, document), 0);
  EXPECT_EQ(document["key"].asString(), expected);
  CMPIObjectPath *back = new_path();
  EXPECT_EQ(addCMKey(back, document), 0);
  EXPECT_EQ(CMGetKeyCount(back, nullptr), 2000u);
  CMRelease(back);
  release_request(req);
}

}  // namespace
