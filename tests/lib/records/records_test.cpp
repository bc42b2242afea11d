#include <cmpiutility/records.h>
#include <cmpimacs.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdlib>
#include <cstring>

#include "fault_injection.h"
#include "log_capture.h"
#include "records/util_string.h"

namespace {

// Fields of the packed request record may sit at unaligned addresses: compare copies, never
// references to them.
#define V(field) static_cast<decltype(field)>(field)

using namespace cmpitest;
using ::testing::ElementsAre;

CMPIObjectPath *new_path() { return makeNewObjectPath("root/cimv2", "Demo_Fan", nullptr); }

// ---- layouts ----------------------------------------------------------------------------------

TEST(RecordLayout, ClientReqIsPackedToSixtyBytes) {
  EXPECT_EQ(sizeof(ClientReq), 60u);
  EXPECT_EQ(offsetof(ClientReq, type), 0u);
  EXPECT_EQ(offsetof(ClientReq, user), 4u);
  EXPECT_EQ(offsetof(ClientReq, COP), 12u);
  EXPECT_EQ(offsetof(ClientReq, CI), 20u);
  EXPECT_EQ(offsetof(ClientReq, unused), 28u);
  EXPECT_EQ(offsetof(ClientReq, assocref), 36u);
  EXPECT_EQ(offsetof(ClientReq, ArgsIn), 44u);
  EXPECT_EQ(offsetof(ClientReq, QueryString), 52u);
}

TEST(RecordLayout, ServerRespKeepsNaturalAlignmentAroundThePackedStatus) {
  EXPECT_EQ(offsetof(ServerResp, type), 0u);
  EXPECT_EQ(offsetof(ServerResp, instance), 8u);
  EXPECT_EQ(offsetof(ServerResp, constClass), 16u);
  EXPECT_EQ(offsetof(ServerResp, objectPath), 24u);
  EXPECT_EQ(offsetof(ServerResp, retVal), 32u);
  EXPECT_EQ(offsetof(ServerResp, status), 40u);
  EXPECT_EQ(offsetof(ServerResp, retType), 52u);
  EXPECT_EQ(sizeof(CMPIStatus), 12u);
}

TEST(RecordLayout, CMAssocReqHasFiveFieldsInOrder) {
  EXPECT_EQ(offsetof(CMAssocReq, AssocClass), 0u);
  EXPECT_EQ(offsetof(CMAssocReq, ResultClass), 8u);
  EXPECT_EQ(offsetof(CMAssocReq, Role), 16u);
  EXPECT_EQ(offsetof(CMAssocReq, ResultRole), 24u);
  EXPECT_EQ(offsetof(CMAssocReq, RefsOnly), 32u);
}

TEST(RequestTypes, AreOneToTen) {
  EXPECT_EQ(ENUMINST, 1);
  EXPECT_EQ(ENUMINSTNAMES, 2);
  EXPECT_EQ(GETINST, 3);
  EXPECT_EQ(MODIFYINST, 4);
  EXPECT_EQ(INVOKEMETHOD, 5);
  EXPECT_EQ(ASSOCIATORS, 6);
  EXPECT_EQ(EXECQUERY, 7);
  EXPECT_EQ(DELETEINST, 8);
  EXPECT_EQ(CREATEINST, 9);
  EXPECT_EQ(GETCLASS, 10);
}

// ---- utilString_strdup ------------------------------------------------------------------------

TEST(UtilStringStrdup, NullAndEmptyGiveNull) {
  EXPECT_EQ(utilString_strdup(nullptr), nullptr);
  EXPECT_EQ(utilString_strdup(""), nullptr);
}

TEST(UtilStringStrdup, CopiesTextWithItsNul) {
  const char text[] = "admin";
  char *copy = utilString_strdup(text);
  ASSERT_NE(copy, nullptr);
  EXPECT_NE(copy, text);
  EXPECT_STREQ(copy, "admin");
  free(copy);
}

TEST(UtilStringStrdup, NoMemoryGivesNull) {
  FailingAllocation fail(Allocation::Malloc, 1);
  EXPECT_EQ(utilString_strdup("admin"), nullptr);
  EXPECT_TRUE(fail.triggered());
}

// ---- getClientReq -----------------------------------------------------------------------------

TEST(GetClientReq, KeepsObjectsByPointerAndCopiesTexts) {
  CMPIObjectPath *cop = new_path();
  ClientReq *req = nullptr;
  LogCapture log;
  ASSERT_EQ(getClientReq(&req, "admin", GETINST, cop, nullptr, nullptr, nullptr, nullptr), 0);
  ASSERT_NE(req, nullptr);
  EXPECT_EQ(V(req->type), GETINST);
  EXPECT_EQ(V(req->COP), cop);
  EXPECT_STREQ(req->user, "admin");
  EXPECT_EQ(V(req->CI), nullptr);
  EXPECT_EQ(V(req->unused), nullptr);
  EXPECT_EQ(V(req->assocref), nullptr);
  EXPECT_EQ(V(req->ArgsIn), nullptr);
  EXPECT_EQ(V(req->QueryString), nullptr);
  EXPECT_THAT(log.lines(), ElementsAre(Enter("getClientReq"),
                                       Trace("getClientReq: user comes as admin"),
                                       Exit("getClientReq")));
  releaseRequestData(req);
}

TEST(GetClientReq, EmptyUserSucceedsWithUserNull) {
  CMPIObjectPath *cop = new_path();
  ClientReq *req = nullptr;
  LogCapture log;
  ASSERT_EQ(getClientReq(&req, "", ENUMINST, cop, nullptr, nullptr, nullptr, nullptr), 0);
  EXPECT_EQ(V(req->user), nullptr);
  EXPECT_THAT(log.lines(), ElementsAre(Enter("getClientReq"), Exit("getClientReq")));
  releaseRequestData(req);
}

TEST(GetClientReq, NullObjectPathFails) {
  ClientReq *req = nullptr;
  LogCapture log;
  EXPECT_EQ(getClientReq(&req, "admin", ENUMINST, nullptr, nullptr, nullptr, nullptr, nullptr), 1);
  EXPECT_EQ(req, nullptr);
  EXPECT_THAT(log.lines(), ElementsAre(Enter("getClientReq"),
                                       Error("ERROR: __getClientReq#2324: 'Object Path issue'"),
                                       Exit("getClientReq")));
}

// A null cop frees whatever the out pointer holds: callers must clear it before the call.
TEST(GetClientReq, NullObjectPathFreesWhatTheOutPointerHeld) {
  ClientReq *req = static_cast<ClientReq *>(calloc(1, sizeof(ClientReq)));
  EXPECT_EQ(getClientReq(&req, "admin", ENUMINST, nullptr, nullptr, nullptr, nullptr, nullptr), 1);
  EXPECT_EQ(req, nullptr);  // and the sanitizer build sees no leak of the block
}

TEST(GetClientReq, RecordAllocationFailure) {
  CMPIObjectPath *cop = new_path();
  ClientReq *req = nullptr;
  LogCapture log;
  {
    FailingAllocation fail(Allocation::Calloc, 1);
    EXPECT_EQ(getClientReq(&req, "admin", ENUMINST, cop, nullptr, nullptr, nullptr, nullptr), 1);
    EXPECT_TRUE(fail.triggered());
  }
  EXPECT_EQ(req, nullptr);
  EXPECT_THAT(log.lines(),
              ElementsAre(Enter("getClientReq"),
                          Error("ERROR: __getClientReq#2328: 'Memory allocation failed'"),
                          Exit("getClientReq")));
  CMRelease(cop);
}

TEST(GetClientReq, MethodNameIsCopiedAndArgsKept) {
  CMPIObjectPath *cop = new_path();
  CMPIArgs *args = makeNewCMPIArgs(nullptr);
  ClientReq *req = nullptr;
  const char method[] = "SetSpeed";
  ASSERT_EQ(getClientReq(&req, "admin", INVOKEMETHOD, cop, args, nullptr, nullptr, method), 0);
  EXPECT_EQ(V(req->ArgsIn), args);
  EXPECT_STREQ(req->QueryString, "SetSpeed");
  EXPECT_NE(V(req->QueryString), method);
  releaseRequestData(req);
}

TEST(GetClientReq, QueryIsCopiedAndTraced) {
  CMPIObjectPath *cop = new_path();
  ClientReq *req = nullptr;
  LogCapture log;
  ASSERT_EQ(getClientReq(&req, "admin", EXECQUERY, cop, nullptr, nullptr, nullptr,
                         "select * from Demo_Fan"),
            0);
  EXPECT_STREQ(req->QueryString, "select * from Demo_Fan");
  EXPECT_THAT(log.lines(), ElementsAre(Enter("getClientReq"),
                                       Trace("getClientReq: user comes as admin"),
                                       Trace("Query select * from Demo_Fan"),
                                       Exit("getClientReq")));
  releaseRequestData(req);
}

class EmptyTextFails : public ::testing::TestWithParam<int> {};

TEST_P(EmptyTextFails, WithUtilStringStrdupFailed) {
  CMPIObjectPath *cop = new_path();
  ClientReq *req = nullptr;
  LogCapture log;
  EXPECT_EQ(getClientReq(&req, "admin", GetParam(), cop, nullptr, nullptr, nullptr, ""), 1);
  EXPECT_EQ(req, nullptr);
  EXPECT_TRUE(log.contains(Error("ERROR: utilString_strdup failed")));
  EXPECT_EQ(log.lines().back(), Exit("getClientReq"));
  CMRelease(cop);
}

INSTANTIATE_TEST_SUITE_P(MethodAndQuery, EmptyTextFails,
                         ::testing::Values(INVOKEMETHOD, EXECQUERY));

TEST(GetClientReq, NoMemoryForTheQueryCopyFails) {
  CMPIObjectPath *cop = new_path();
  ClientReq *req = nullptr;
  LogCapture log;
  {
    // The first copy is the user's, the second the query's.
    FailingAllocation fail(Allocation::Malloc, 2);
    EXPECT_EQ(getClientReq(&req, "admin", EXECQUERY, cop, nullptr, nullptr, nullptr, "q"), 1);
    EXPECT_TRUE(fail.triggered());
  }
  EXPECT_EQ(req, nullptr);
  EXPECT_TRUE(log.contains(Error("ERROR: utilString_strdup failed")));
  CMRelease(cop);
}

TEST(GetClientReq, CreateWithNullInstanceSucceeds) {
  CMPIObjectPath *cop = new_path();
  ClientReq *req = nullptr;
  ASSERT_EQ(getClientReq(&req, "admin", CREATEINST, cop, nullptr, nullptr, nullptr, nullptr), 0);
  EXPECT_EQ(V(req->CI), nullptr);
  releaseRequestData(req);
}

TEST(GetClientReq, ModifyStoresTheInstanceEvenWhenNull) {
  CMPIObjectPath *cop = new_path();
  ClientReq *req = nullptr;
  ASSERT_EQ(getClientReq(&req, "admin", MODIFYINST, cop, nullptr, nullptr, nullptr, nullptr), 0);
  EXPECT_EQ(V(req->CI), nullptr);
  releaseRequestData(req);

  cop = new_path();
  CMPIInstance *inst = makeNewCMPIInstance(cop, nullptr);
  req = nullptr;
  ASSERT_EQ(getClientReq(&req, "admin", MODIFYINST, cop, nullptr, inst, nullptr, nullptr), 0);
  EXPECT_EQ(V(req->CI), inst);
  releaseRequestData(req);
}

TEST(GetClientReq, AssociatorsKeepsTheParameters) {
  CMPIObjectPath *cop = new_path();
  CMAssocReq *assoc = static_cast<CMAssocReq *>(calloc(1, sizeof(CMAssocReq)));
  assoc->AssocClass = strdup("Demo_FanInSystem");
  ClientReq *req = nullptr;
  ASSERT_EQ(getClientReq(&req, "admin", ASSOCIATORS, cop, nullptr, nullptr, assoc, nullptr), 0);
  EXPECT_EQ(V(req->assocref), assoc);
  releaseRequestData(req);
}

class UnknownType : public ::testing::TestWithParam<int> {};

TEST_P(UnknownType, IsRejected) {
  CMPIObjectPath *cop = new_path();
  ClientReq *req = nullptr;
  LogCapture log;
  EXPECT_EQ(getClientReq(&req, "admin", GetParam(), cop, nullptr, nullptr, nullptr, nullptr), 1);
  EXPECT_EQ(req, nullptr);
  EXPECT_THAT(log.lines(), ElementsAre(Enter("getClientReq"),
                                       Trace("getClientReq: user comes as admin"),
                                       Error("ERROR: Unknown request type"),
                                       Exit("getClientReq")));
  CMRelease(cop);
}

INSTANTIATE_TEST_SUITE_P(OutOfRange, UnknownType, ::testing::Values(0, -1, 11));

// ---- getResponseStruct ------------------------------------------------------------------------

CMPIValue no_value() {
  CMPIValue v;
  std::memset(&v, 0, sizeof v);
  return v;
}

TEST(GetResponseStruct, InstanceTypesKeepTheInstance) {
  for (int type : {ENUMINST, ASSOCIATORS, EXECQUERY}) {
    CMPIObjectPath *cop = new_path();
    CMPIInstance *inst = makeNewCMPIInstance(cop, nullptr);
    ServerResp *resp = nullptr;
    ASSERT_EQ(getResponseStruct(&resp, type, inst, cop, no_value(), 0, nullptr, nullptr), 0);
    EXPECT_EQ(V(resp->type), type);
    EXPECT_EQ(V(resp->instance), inst);
    EXPECT_EQ(V(resp->objectPath), nullptr);
    EXPECT_EQ(V(resp->status.rc), CMPI_RC_OK);
    releaseClientResponseData(resp);  // releases the instance
    CMRelease(cop);
  }
}

TEST(GetResponseStruct, NamesKeepThePath) {
  CMPIObjectPath *cop = new_path();
  ServerResp *resp = nullptr;
  ASSERT_EQ(getResponseStruct(&resp, ENUMINSTNAMES, nullptr, cop, no_value(), 0, nullptr, nullptr),
            0);
  EXPECT_EQ(V(resp->objectPath), cop);
  releaseClientResponseData(resp);
}

TEST(GetResponseStruct, GetInstanceWithFailedStatusKeepsStatusOnly) {
  CMPIObjectPath *cop = new_path();
  CMPIInstance *inst = makeNewCMPIInstance(cop, nullptr);
  CMPIStatus status = {CMPI_RC_ERR_ACCESS_DENIED, nullptr};
  ServerResp *resp = nullptr;
  LogCapture log;
  ASSERT_EQ(getResponseStruct(&resp, GETINST, inst, cop, no_value(), 0, &status, nullptr), 0);
  EXPECT_EQ(V(resp->status.rc), CMPI_RC_ERR_ACCESS_DENIED);
  EXPECT_EQ(V(resp->instance), nullptr);
  EXPECT_THAT(log.lines(), ElementsAre(Enter("getResponseStruct"),
                                       Trace("getResponseStruct retstatus->rc 2: "),
                                       Exit("getResponseStruct")));
  releaseResponseData(resp);
  CMRelease(inst);
  CMRelease(cop);
}

TEST(GetResponseStruct, GetInstanceWithOkStatusKeepsTheInstance) {
  CMPIObjectPath *cop = new_path();
  CMPIInstance *inst = makeNewCMPIInstance(cop, nullptr);
  CMPIStatus status = {CMPI_RC_OK, nullptr};
  ServerResp *resp = nullptr;
  LogCapture log;
  ASSERT_EQ(getResponseStruct(&resp, GETINST, inst, cop, no_value(), 0, &status, nullptr), 0);
  EXPECT_EQ(V(resp->instance), inst);
  EXPECT_THAT(log.lines(), ElementsAre(Enter("getResponseStruct"),
                                       Trace("getResponseStruct assign instance "),
                                       Exit("getResponseStruct")));
  releaseResponseData(resp);
  CMRelease(inst);
  CMRelease(cop);
}

TEST(GetResponseStruct, GetClassKeepsClassOrFailedStatus) {
  CMPIConstClass *cls = makeNewCMPIClass(nullptr);
  ServerResp *resp = nullptr;
  ASSERT_EQ(getResponseStruct(&resp, GETCLASS, nullptr, nullptr, no_value(), 0, nullptr, cls), 0);
  EXPECT_EQ(V(resp->constClass), cls);
  releaseResponseData(resp);

  CMPIStatus status = {CMPI_RC_ERR_INVALID_CLASS, nullptr};
  resp = nullptr;
  ASSERT_EQ(getResponseStruct(&resp, GETCLASS, nullptr, nullptr, no_value(), 0, &status, cls), 0);
  EXPECT_EQ(V(resp->constClass), nullptr);
  EXPECT_EQ(V(resp->status.rc), CMPI_RC_ERR_INVALID_CLASS);
  releaseResponseData(resp);
  free(cls);
}

TEST(GetResponseStruct, ModifyAndDeleteCopyTheStatus) {
  for (int type : {MODIFYINST, DELETEINST}) {
    CMPIStatus status = {CMPI_RC_ERR_NOT_FOUND, nullptr};
    ServerResp *resp = nullptr;
    ASSERT_EQ(getResponseStruct(&resp, type, nullptr, nullptr, no_value(), 0, &status, nullptr), 0);
    EXPECT_EQ(V(resp->status.rc), CMPI_RC_ERR_NOT_FOUND);
    EXPECT_EQ(V(resp->instance), nullptr);
    releaseResponseData(resp);
  }
}

TEST(GetResponseStruct, CreateKeepsPathAndStatus) {
  CMPIObjectPath *cop = new_path();
  CMPIStatus status = {CMPI_RC_ERR_ALREADY_EXISTS, nullptr};
  ServerResp *resp = nullptr;
  LogCapture log;
  ASSERT_EQ(getResponseStruct(&resp, CREATEINST, nullptr, cop, no_value(), 0, &status, nullptr), 0);
  EXPECT_EQ(V(resp->objectPath), cop);
  EXPECT_EQ(V(resp->status.rc), CMPI_RC_ERR_ALREADY_EXISTS);
  EXPECT_THAT(log.lines(), ElementsAre(Enter("getResponseStruct"), Trace("restatus: 11"),
                                       Exit("getResponseStruct")));
  releaseClientResponseData(resp);
}

TEST(GetResponseStruct, MethodCarriesRetValAndRetTypeButNoStatus) {
  CMPIArgs *out = makeNewCMPIArgs(nullptr);
  CMPIValue ret = no_value();
  ret.args = out;
  CMPIString *msg = CreateString("ignored", nullptr);
  CMPIStatus status = {CMPI_RC_ERR_FAILED, msg};
  ServerResp *resp = nullptr;
  ASSERT_EQ(getResponseStruct(&resp, INVOKEMETHOD, nullptr, nullptr, ret, CMPI_uint32, &status,
                              nullptr),
            0);
  EXPECT_EQ(V(resp->retVal.args), out);
  EXPECT_EQ(V(resp->retType), CMPI_uint32);
  EXPECT_EQ(V(resp->status.rc), CMPI_RC_OK);
  EXPECT_EQ(V(resp->status.msg), nullptr);
  releaseResponseData(resp);
  CMRelease(out);
  CMRelease(msg);
}

TEST(GetResponseStruct, UnknownTypeLeavesTheZeroFilledRecord) {
  ServerResp *resp = nullptr;
  LogCapture log;
  EXPECT_EQ(getResponseStruct(&resp, 11, nullptr, nullptr, no_value(), 0, nullptr, nullptr), 1);
  ASSERT_NE(resp, nullptr);
  EXPECT_EQ(V(resp->type), 11);
  EXPECT_EQ(V(resp->instance), nullptr);
  EXPECT_EQ(V(resp->status.rc), CMPI_RC_OK);
  EXPECT_THAT(log.lines(), ElementsAre(Enter("getResponseStruct"),
                                       Error("ERROR: Unknown request type"),
                                       Exit("getResponseStruct")));
  releaseResponseData(resp);
}

TEST(GetResponseStruct, RecordAllocationFailure) {
  ServerResp *resp = nullptr;
  LogCapture log;
  {
    FailingAllocation fail(Allocation::Calloc, 1);
    EXPECT_EQ(getResponseStruct(&resp, ENUMINST, nullptr, nullptr, no_value(), 0, nullptr, nullptr),
              1);
  }
  EXPECT_EQ(resp, nullptr);
  EXPECT_THAT(log.lines(),
              ElementsAre(Enter("getResponseStruct"),
                          Error("ERROR: __getResponseStruct#2224: 'Memory allocation failed'"),
                          Exit("getResponseStruct")));
}

// ---- release operations -----------------------------------------------------------------------

TEST(ReleaseRequestData, NullOnlyTraces) {
  LogCapture log;
  releaseRequestData(nullptr);
  EXPECT_THAT(log.lines(), ElementsAre(Enter("releaseRequestData"), Exit("releaseRequestData")));
}

TEST(ReleaseRequestData, AssociationWithOnlyAssocClassFreesThatOneString) {
  CMPIObjectPath *cop = new_path();
  CMAssocReq *assoc = static_cast<CMAssocReq *>(calloc(1, sizeof(CMAssocReq)));
  assoc->AssocClass = strdup("Demo_FanInSystem");
  ClientReq *req = nullptr;
  ASSERT_EQ(getClientReq(&req, "admin", ASSOCIATORS, cop, nullptr, nullptr, assoc, nullptr), 0);
  LogCapture log;
  releaseRequestData(req);  // the sanitizer build checks that nothing is left
  EXPECT_THAT(log.lines(),
              ElementsAre(Enter("releaseRequestData"), Trace("request is not NULL"),
                          Trace("Freeing user"), Trace("Freeing COP"), Trace("Freeing CI"),
                          Trace("Freeing AssocClass"), Trace("Freeing ResultClass"),
                          Trace("Freeing Role"), Trace("Freeing ResultRole"),
                          Trace("Freeing assocref"), Trace("Freeing ArgsIn"),
                          Trace("Freeing QueryString"), Trace("Freeing request"),
                          Exit("releaseRequestData")));
}

TEST(ReleaseRequestData, ReleasesEverythingTheRecordHolds) {
  CMPIObjectPath *cop = new_path();
  CMPIArgs *args = makeNewCMPIArgs(nullptr);
  CMPIUint32 speed = 4200;
  CMAddArg(args, "Speed", &speed, CMPI_uint32);
  ClientReq *req = nullptr;
  ASSERT_EQ(getClientReq(&req, "admin", INVOKEMETHOD, cop, args, nullptr, nullptr, "SetSpeed"), 0);
  LogCapture log;
  releaseRequestData(req);
  EXPECT_FALSE(log.contains(Trace("Freeing assocref")));
  EXPECT_TRUE(log.contains(Trace("Freeing ArgsIn")));
}

TEST(ReleaseResponseData, FreesTheRecordOnly) {
  CMPIObjectPath *cop = new_path();
  ServerResp *resp = nullptr;
  ASSERT_EQ(getResponseStruct(&resp, ENUMINSTNAMES, nullptr, cop, no_value(), 0, nullptr, nullptr),
            0);
  LogCapture log;
  releaseResponseData(resp);
  EXPECT_THAT(log.lines(), ElementsAre(Enter("releaseResponseData"), Exit("releaseResponseData")));
  // The path still belongs to its owner and is usable.
  CMPIStatus rc{};
  CMPIString *cls = CMGetClassName(cop, &rc);
  EXPECT_EQ(rc.rc, CMPI_RC_OK);
  EXPECT_STREQ(CMGetCharPtr(cls), "Demo_Fan");
  CMRelease(cls);
  CMRelease(cop);
  releaseResponseData(nullptr);
}

TEST(ReleaseClientResponseData, ReleasesInstancePathAndMessageButNotTheClass) {
  CMPIObjectPath *cop = new_path();
  CMPIInstance *inst = makeNewCMPIInstance(cop, nullptr);
  CMPIConstClass *cls = makeNewCMPIClass(nullptr);
  ServerResp *resp = static_cast<ServerResp *>(calloc(1, sizeof(ServerResp)));
  resp->instance = inst;
  resp->objectPath = cop;
  resp->constClass = cls;
  resp->status.msg = CreateString("gone", nullptr);
  LogCapture log;
  releaseClientResponseData(resp);
  EXPECT_THAT(log.lines(),
              ElementsAre(Enter("releaseClientResponseData"), Exit("releaseClientResponseData")));
  free(cls);  // the class stays with its owner
  releaseClientResponseData(nullptr);
}

}  // namespace
