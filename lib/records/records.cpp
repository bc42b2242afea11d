// The request and response records: constructors and release operations.
#include <cmpiutility/records.h>

#include <stddef.h>
#include <stdlib.h>

#include "heap/heap.h"
#include "log/log.h"
#include "records/util_string.h"

// The layouts are shared with existing peers built against them.
static_assert(sizeof(ClientReq) == 60, "ClientReq is packed to 60 bytes");
static_assert(offsetof(ClientReq, user) == 4, "user follows the 32-bit type directly");
static_assert(offsetof(ClientReq, COP) == 12, "COP");
static_assert(offsetof(ClientReq, CI) == 20, "CI");
static_assert(offsetof(ClientReq, unused) == 28, "the unnamed fifth field");
static_assert(offsetof(ClientReq, assocref) == 36, "assocref");
static_assert(offsetof(ClientReq, ArgsIn) == 44, "ArgsIn");
static_assert(offsetof(ClientReq, QueryString) == 52, "QueryString");
static_assert(offsetof(ServerResp, instance) == 8, "ServerResp keeps natural alignment");
static_assert(offsetof(ServerResp, retVal) == 32, "retVal");
static_assert(offsetof(ServerResp, status) == 40, "status");
static_assert(offsetof(ServerResp, retType) == 52, "retType follows the packed 12-byte status");
static_assert(sizeof(ServerResp) == 56, "ServerResp");

namespace {

// Copies a caller's status; a missing one leaves the zero status (code 0, no message).
void copy_status(ServerResp *resp, const CMPIStatus *status) {
  if (status != nullptr) resp->status = *status;
}

}  // namespace

extern "C" int getClientReq(ClientReq **out, const char *user, int type, CMPIObjectPath *cop,
                            CMPIArgs *argsIn, CMPIInstance *inst, CMAssocReq *assoc,
                            const char *text) {
  CMPIU_TRACE_FUNCTION();
  ClientReq *req = nullptr;
  // On failure the record itself is freed and *out is cleared; callers rely on *out being
  // NULL before the call, because with a null cop whatever *out holds is freed.
  auto fail = [&]() {
    if (req != nullptr) {
      free(req->user);
      free(req->QueryString);
      free(req);
    } else if (out != nullptr && *out != nullptr) {
      free(*out);
    }
    if (out != nullptr) *out = nullptr;
    return 1;
  };

  if (out == nullptr) return 1;
  if (cop == nullptr) {
    CMPIU_ERROR_AT(__func__, 2324, "'Object Path issue'");
    return fail();
  }
  req = static_cast<ClientReq *>(cmpiu_calloc(1, sizeof(ClientReq)));
  if (req == nullptr) {
    CMPIU_ERROR_AT(__func__, 2328, "'Memory allocation failed'");
    return fail();
  }
  *out = req;
  req->type = type;
  req->COP = cop;

  // No user, an empty user or no memory all leave user null; that is not an error here (the
  // serialiser refuses a request without a user).
  req->user = utilString_strdup(user);
  if (req->user != nullptr) CMPIU_TRACE("%s: user comes as %s", __func__, req->user);

  switch (type) {
    case ASSOCIATORS:
      req->assocref = assoc;
      break;
    case MODIFYINST:
      req->CI = inst;
      break;
    case CREATEINST:
      if (inst != nullptr) req->CI = inst;
      break;
    case INVOKEMETHOD:
      req->ArgsIn = argsIn;
      req->QueryString = utilString_strdup(text);
      if (req->QueryString == nullptr) {
        CMPIU_ERROR("ERROR: utilString_strdup failed");
        return fail();
      }
      break;
    case EXECQUERY:
      req->QueryString = utilString_strdup(text);
      if (req->QueryString == nullptr) {
        CMPIU_ERROR("ERROR: utilString_strdup failed");
        return fail();
      }
      CMPIU_TRACE("Query %s", req->QueryString);
      break;
    case ENUMINST:
    case ENUMINSTNAMES:
    case GETINST:
    case DELETEINST:
    case GETCLASS:
      break;
    default:
      CMPIU_ERROR("ERROR: Unknown request type");
      return fail();
  }
  return 0;
}

extern "C" int getResponseStruct(ServerResp **out, int type, CMPIInstance *inst,
                                 CMPIObjectPath *path, CMPIValue retVal, CMPIType retType,
                                 CMPIStatus *status, CMPIConstClass *cls) {
  CMPIU_TRACE_FUNCTION();
  if (out == nullptr) return 1;
  ServerResp *resp = static_cast<ServerResp *>(cmpiu_calloc(1, sizeof(ServerResp)));
  *out = resp;
  if (resp == nullptr) {
    CMPIU_ERROR_AT(__func__, 2224, "'Memory allocation failed'");
    return 1;
  }
  resp->type = type;
  switch (type) {
    case ENUMINST:
    case ASSOCIATORS:
    case EXECQUERY:
      resp->instance = inst;
      break;
    case ENUMINSTNAMES:
      resp->objectPath = path;
      break;
    case GETINST:
    case GETCLASS:
      // A failed get carries its status and no result; a successful one its result only.
      if (status != nullptr && status->rc != CMPI_RC_OK) {
        copy_status(resp, status);
        CMPIU_TRACE("getResponseStruct retstatus->rc %d: ", static_cast<int>(status->rc));
      } else if (type == GETINST) {
        resp->instance = inst;
        CMPIU_TRACE("getResponseStruct assign instance ");
      } else {
        resp->constClass = cls;
        CMPIU_TRACE("getResponseStruct assign instance ");
      }
      break;
    case MODIFYINST:
    case DELETEINST:
      copy_status(resp, status);
      break;
    case CREATEINST:
      resp->objectPath = path;
      copy_status(resp, status);
      CMPIU_TRACE("restatus: %d", static_cast<int>(resp->status.rc));
      break;
    case INVOKEMETHOD:
      // The status is not carried for a method call: it stays zero (OK).
      resp->retVal = retVal;
      resp->retType = retType;
      break;
    default:
      CMPIU_ERROR("ERROR: Unknown request type");
      return 1;
  }
  return 0;
}

extern "C" void releaseRequestData(ClientReq *req) {
  CMPIU_TRACE_FUNCTION();
  if (req == nullptr) return;
  CMPIU_TRACE("request is not NULL");
  CMPIU_TRACE("Freeing user");
  free(req->user);
  CMPIU_TRACE("Freeing COP");
  if (req->COP != nullptr) req->COP->ft->release(req->COP);
  CMPIU_TRACE("Freeing CI");
  if (req->CI != nullptr) req->CI->ft->release(req->CI);
  if (req->assocref != nullptr) {
    CMAssocReq *assoc = req->assocref;
    CMPIU_TRACE("Freeing AssocClass");
    free(assoc->AssocClass);
    CMPIU_TRACE("Freeing ResultClass");
    free(assoc->ResultClass);
    CMPIU_TRACE("Freeing Role");
    free(assoc->Role);
    CMPIU_TRACE("Freeing ResultRole");
    free(assoc->ResultRole);
    CMPIU_TRACE("Freeing assocref");
    free(assoc);
  }
  CMPIU_TRACE("Freeing ArgsIn");
  if (req->ArgsIn != nullptr) req->ArgsIn->ft->release(req->ArgsIn);
  CMPIU_TRACE("Freeing QueryString");
  free(req->QueryString);
  CMPIU_TRACE("Freeing request");
  free(req);
}

extern "C" void releaseResponseData(ServerResp *resp) {
  CMPIU_TRACE_FUNCTION();
  free(resp);
}

void releaseClientResponseData(ServerResp *resp) {
  CMPIU_TRACE_FUNCTION();
  if (resp == nullptr) return;
  if (resp->instance != nullptr) resp->instance->ft->release(resp->instance);
  // The message is a string made by the object library's CreateString, one heap block that a
  // plain free releases; peers free it this way, so it stays so.
  free(resp->status.msg);
  if (resp->objectPath != nullptr) resp->objectPath->ft->release(resp->objectPath);
  free(resp);
}
