// doSerialization: a filled request record becomes one request frame.
#include <cmpimacs.h>
#include <cmpiutility/request.h>
#include <stdint.h>
#include <stdlib.h>

#include <string>

#include "heap/heap.h"
#include "json/compact_text.h"
#include "json/encoders.h"
#include "json/key_text.h"
#include "log/log.h"
#include "request/frame.h"
#include "request/serialization.h"

namespace {

// Releases a CMPIString handed out by the object library, if any.
void release_string(CMPIString *text) {
  if (text != nullptr) CMRelease(text);
}

// Frames text into the caller's block, growing it to exactly the frame size when needed. A
// method call may not pass MAX_DYNAMIC_REQUEST; instances have no upper bound.
int sized_frame(const std::string &text, char **dynBuf, bool bounded, int realloc_line) {
  const uint32_t length = static_cast<uint32_t>(text.size());
  // Text, "CMPI_EOF", NUL and some slack.
  const uint32_t size = length + 12;
  if (size <= FRAME_BUFFER_SIZE) {
    formString(text, *dynBuf);
    return 0;
  }
  if (bounded && length + 2 > MAX_DYNAMIC_REQUEST) {
    CMPIU_ERROR("ERROR: Input request size is maximum");
    return 1;
  }
  char *grown = static_cast<char *>(cmpiu_realloc(*dynBuf, size));
  if (grown == nullptr) {
    // Callers see the block gone (NULL) after a failed growth; it is freed here rather than
    // lost, since nobody can reach it any more.
    free(*dynBuf);
    *dynBuf = nullptr;
    CMPIU_ERROR_AT("doSerialization", realloc_line, "reallcoc failed");
    return 1;
  }
  *dynBuf = grown;
  formDynamicDataAsString(text, grown, size);
  return 0;
}

}  // namespace

void getCMAssocData(const CMAssocReq *assoc, Json::Value &document) {
  CMPIU_TRACE_FUNCTION();
  auto text_or_null = [](const char *text) {
    return text != nullptr ? Json::Value(text) : Json::Value();
  };
  document["AssocClass"] = text_or_null(assoc->AssocClass);
  document["ResultClass"] = text_or_null(assoc->ResultClass);
  document["Role"] = text_or_null(assoc->Role);
  document["ResultRole"] = text_or_null(assoc->ResultRole);
  document["RefsOnly"] = assoc->RefsOnly != 0;
}

extern "C" int doSerialization(ClientReq *req, char *fixedBuf, char **dynBuf) {
  CMPIU_TRACE_FUNCTION();
  // The error lines name this function, also from inside the helpers below.
  static constexpr const char *kFunction = "doSerialization";
  if (req == nullptr) {
    CMPIU_ERROR("ERROR: Invalid Client request");
    return 1;
  }
  CMPIObjectPath *cop = req->COP;
  CMPIString *nameSpace = CMGetNameSpace(cop, nullptr);
  if (nameSpace == nullptr) {
    CMPIU_ERROR_AT(__func__, 868, "'namespace is NULL'");
    return 1;
  }
  CMPIString *className = CMGetClassName(cop, nullptr);
  if (className == nullptr) {
    CMPIU_ERROR_AT(__func__, 871, "'classname is NULL'");
    release_string(nameSpace);
    return 1;
  }
  // Both strings go back to the object library on every way out from here.
  struct Release {
    CMPIString *a, *b;
    ~Release() {
      release_string(a);
      release_string(b);
    }
  } release{nameSpace, className};

  const char *user = req->user;
  if (user == nullptr) {
    CMPIU_ERROR_AT(__func__, 874, "'user is NULL'");
    return 1;
  }

  Json::Value document(Json::objectValue);
  document["RequestType"] = req->type;
  document["ClassName"] = CMGetCharPtr(className);
  document["NameSpace"] = CMGetCharPtr(nameSpace);
  document["Principal"] = user;

  auto keys = [&](int line) {
    if (getCMKey(req, nullptr, document) != 0) {
      CMPIU_ERROR_AT(kFunction, line, "'getCMKey failed'");
      return false;
    }
    return true;
  };
  auto properties = [&](int line) {
    if ((getInstanceProps(req, nullptr, document) & 1) != 0) {
      CMPIU_ERROR_AT(kFunction, line, "'getInstanceProps failed'");
      return false;
    }
    return true;
  };

  switch (req->type) {
    case ENUMINST:
    case ENUMINSTNAMES:
    case GETCLASS:
      formString(document, fixedBuf);
      return 0;
    case GETINST:
    case DELETEINST:
      if (!keys(892)) return 1;
      formString(document, fixedBuf);
      return 0;
    case EXECQUERY:
      if (!keys(961)) return 1;
      document["Query"] = req->QueryString;
      formString(document, fixedBuf);
      return 0;
    case ASSOCIATORS:
      if (!keys(952)) return 1;
      getCMAssocData(req->assocref, document);
      formString(document, fixedBuf);
      return 0;
    case MODIFYINST:
      if (!keys(930) || !properties(934)) return 1;
      return sized_frame(cmpiutility::compact_text(document), dynBuf, false, 941);
    case CREATEINST:
      CMPIU_TRACE("Request type is: CREATEINST");
      if (!keys(971) || !properties(975)) return 1;
      return sized_frame(cmpiutility::compact_text(document), dynBuf, false, 982);
    case INVOKEMETHOD:
      if (!keys(900)) return 1;
      if ((getArgs(req, nullptr, document) & 1) != 0) {
        CMPIU_ERROR_AT(__func__, 903, "'getArgs failed'");
        return 1;
      }
      document["MethodName"] = req->QueryString;
      return sized_frame(cmpiutility::compact_text(document), dynBuf, true, 919);
    default:
      CMPIU_ERROR("ERROR: Unknown request type");
      return 1;
  }
}
