// doDeserialization: a request document, as the client side writes it, back into a request
// record made of live CMPI objects (provider host side).
#include "request/deserialization.h"

#include <cmpimacs.h>
#include <cmpiutility/request.h>
#include <stdint.h>
#include <stdlib.h>
#include <string.h>

#include <exception>
#include <memory>
#include <string>

#include "heap/heap.h"
#include "json/document_reader.h"
#include "json/decoders.h"
#include "json/key_text.h"
#include "log/log.h"
#include "records/util_string.h"
#include "schema/name_space.h"

namespace {

constexpr const char kFunction[] = "doDeserialization";

// The line number of the one message for a document that jsoncpp cannot convert as the request
// needs it (see request.h). The other numbers of this function lie between 2067 and 2181.
constexpr int kConversionLine = 2200;

// The request's object path until the record takes it; released when the parse fails before.
class PathHolder {
 public:
  PathHolder() = default;
  ~PathHolder() { reset(nullptr); }
  PathHolder(const PathHolder &) = delete;
  PathHolder &operator=(const PathHolder &) = delete;

  CMPIObjectPath *get() const { return path_; }
  void reset(CMPIObjectPath *path) {
    if (path_ != nullptr) CMRelease(path_);
    path_ = path;
  }
  // Hands the path to the record.
  CMPIObjectPath *release() {
    CMPIObjectPath *path = path_;
    path_ = nullptr;
    return path;
  }

 private:
  CMPIObjectPath *path_ = nullptr;
};

// The association parameters while they are built; freed unless handed to the record.
struct AssocHolder {
  CMAssocReq *assoc;
  ~AssocHolder() {
    if (assoc == nullptr) return;
    free(assoc->AssocClass);
    free(assoc->ResultClass);
    free(assoc->Role);
    free(assoc->ResultRole);
    free(assoc);
  }
};

// A plain copy of a member that is present and not JSON null (an empty string is kept);
// NULL otherwise.
char *plain_copy(const Json::Value &member) {
  if (member.isNull()) return nullptr;
  return strdup(member.asString().c_str());
}

// Makes the request's object path: in the document's namespace, or for an association in the
// namespace that the schema database gives for the class. False after a level-2 line.
bool make_path(int type, const std::string &className, const std::string &nameSpace,
               PathHolder *path) {
  CMPIStatus status = {CMPI_RC_OK, nullptr};
  const bool association = type == ASSOCIATORS;
  if (association) {
    // The document's namespace is not used for an association's path.
    std::unique_ptr<char, decltype(&free)> schemaNameSpace(GetNameSpace(className.c_str()), &free);
    if (schemaNameSpace == nullptr) {
      CMPIU_ERROR_AT(kFunction, 2087, "'association NS null'");
      return false;
    }
    CMPIU_TRACE("NameSpace for association left class %s %s %s", nameSpace.c_str(),
                schemaNameSpace.get(), className.c_str());
    path->reset(makeNewObjectPath(schemaNameSpace.get(), className.c_str(), &status));
  } else {
    path->reset(makeNewObjectPath(nameSpace.c_str(), className.c_str(), &status));
  }
  const CMPIrc rc = status.rc;
  if (rc == CMPI_RC_OK && path->get() != nullptr) return true;
  // A failing status fails whether or not a path came back; no path with a success status is
  // information only, and the parse goes on without a path.
  const bool go_on =
      association ? CMPIU_STATUS_RULE(rc, kFunction, 2093, "'association makeNewObjectPath failed'")
                  : CMPIU_STATUS_RULE(rc, kFunction, 2098, "'makeNewObjectPath failed'");
  if (!go_on) path->reset(nullptr);
  return go_on;
}

// Steps 4 to 9 of the parse on a document that is a JSON object: fills req. False after a
// level-2 line; jsoncpp's conversion errors pass as exceptions.
bool fill_request(ClientReq *req, const Json::Value &document) {
  req->type = static_cast<int>(static_cast<uint32_t>(document["RequestType"].asLargestUInt()));
  const int type = req->type;
  const std::string className = document["ClassName"].asString();
  const std::string nameSpace = document["NameSpace"].asString();
  const std::string principal = document["Principal"].asString();

  // Checked for every type, also for an association whose namespace is not used.
  if (className.empty() || nameSpace.empty()) {
    CMPIU_ERROR_AT(kFunction, 2081, "'class name or name space is empty'");
    return false;
  }

  PathHolder path;
  if (!make_path(type, className, nameSpace, &path)) return false;

  // An empty principal is not an error here; the record then has no user.
  if (principal.empty()) {
    CMPIU_INFO_AT(kFunction, 2104, "'user is empty'");
  } else {
    req->user = utilString_strdup(principal.c_str());
  }
  const char *user = req->user;
  CMPIU_TRACE("INFO: privilege comes as %s", user != nullptr ? user : "(null)");

  // Each step's short form stands for "ERROR: __doDeserialization#<line>: '<text>'".
  switch (type) {
    case ENUMINST:
    case ENUMINSTNAMES:
    case GETCLASS:
      req->COP = path.release();
      return true;
    case GETINST:
    case DELETEINST:
      if (addCMKey(path.get(), document) != 0) {
        CMPIU_ERROR("ERROR: Add key failed");
        return false;
      }
      req->COP = path.release();
      return true;
    case MODIFYINST:
    case CREATEINST: {
      const bool modify = type == MODIFYINST;
      if (addCMKey(path.get(), document) != 0) {
        CMPIU_ERROR_AT(kFunction, modify ? 2143 : 2177, "'addCMKey failed'");
        return false;
      }
      req->COP = path.release();
      if ((createCMInst(req, nullptr, document) & 1u) != 0) {
        CMPIU_ERROR_AT(kFunction, modify ? 2147 : 2181, "'createCMInst failed'");
        return false;
      }
      return true;
    }
    case INVOKEMETHOD: {
      if (addCMKey(path.get(), document) != 0) {
        CMPIU_ERROR_AT(kFunction, 2128, "'addCMKey failed'");
        return false;
      }
      if ((createCMArgs(req, nullptr, document) & 1u) != 0) {
        CMPIU_ERROR_AT(kFunction, 2131, "'createCMArgs failed'");
        return false;
      }
      const Json::Value &method = document["MethodName"];
      if (method.isNull()) {
        CMPIU_ERROR_AT(kFunction, 2134, "'MethodName is NULL'");
        return false;
      }
      // An empty name leaves QueryString null without an error.
      req->QueryString = utilString_strdup(method.asString().c_str());
      req->COP = path.release();
      return true;
    }
    case EXECQUERY: {
      if (addCMKey(path.get(), document) != 0) {
        CMPIU_ERROR_AT(kFunction, 2165, "'addCMKey failed'");
        return false;
      }
      req->COP = path.release();
      const Json::Value &query = document["Query"];
      if (query.isNull()) {
        CMPIU_ERROR_AT(kFunction, 2169, "'Query is NULL'");
        return false;
      }
      // An empty query leaves QueryString null without an error.
      req->QueryString = utilString_strdup(query.asString().c_str());
      return true;
    }
    case ASSOCIATORS:
      if (addCMKey(path.get(), document) != 0) {
        CMPIU_ERROR_AT(kFunction, 2154, "'addCMKey failed'");
        return false;
      }
      req->COP = path.release();
      if (createCMAssocReq(req, document) != 0) {
        CMPIU_ERROR_AT(kFunction, 2158, "'createCMAssocReq failed'");
        return false;
      }
      return true;
    default:
      CMPIU_ERROR("ERROR: Unknown request type");
      return false;
  }
}

}  // namespace

int createCMAssocReq(ClientReq *request, const Json::Value &document) {
  CMPIU_TRACE_FUNCTION();
  AssocHolder holder{static_cast<CMAssocReq *>(cmpiu_calloc(1, sizeof(CMAssocReq)))};
  CMAssocReq *assoc = holder.assoc;
  if (assoc == nullptr) {
    CMPIU_ERROR_AT(__func__, 1754, "'Memory allocation failed'");
    return 1;
  }
  assoc->AssocClass = plain_copy(document["AssocClass"]);
  assoc->ResultClass = plain_copy(document["ResultClass"]);
  assoc->Role = plain_copy(document["Role"]);
  assoc->ResultRole = plain_copy(document["ResultRole"]);
  const Json::Value &refsOnly = document["RefsOnly"];
  if (!refsOnly.isNull()) assoc->RefsOnly = refsOnly.asBool() ? 1 : 0;
  request->assocref = assoc;
  holder.assoc = nullptr;
  return 0;
}

extern "C" ClientReq *doDeserialization(const char *text) {
  CMPIU_TRACE_FUNCTION();
  CMPIU_TRACE("INFO: serialized data = %s", text != nullptr ? text : "(null)");
  if (text == nullptr) {
    // No text is no JSON.
    CMPIU_ERROR_AT(__func__, 2067, "'Json parsing failed'");
    return nullptr;
  }

  ClientReq *req = nullptr;
  // A hostile document must not bring the provider host down: whatever jsoncpp throws while the
  // text is parsed or converted ends the parse like any other failure.
  try {
    const std::unique_ptr<Json::CharReader> reader = cmpiutility::new_document_reader();
    Json::Value document;
    std::string errors;
    if (!reader->parse(text, text + strlen(text), &document, &errors)) {
      CMPIU_ERROR_AT(__func__, 2067, "'Json parsing failed'");
      return nullptr;
    }

    req = static_cast<ClientReq *>(cmpiu_calloc(1, sizeof(ClientReq)));
    if (req == nullptr) {
      CMPIU_ERROR_AT(__func__, 2072, "'Memory allocation failed'");
      return nullptr;
    }

    // A document that is valid JSON but no object (an array, a number, a string, null) has no
    // members to read; it fails as a conversion would.
    bool filled = false;
    if (!document.isObject()) {
      CMPIU_ERROR_AT(__func__, kConversionLine, "'Json conversion failed: %s'",
                     "the document is not a JSON object");
    } else {
      filled = fill_request(req, document);
    }
    if (!filled) {
      releaseRequestData(req);
      return nullptr;
    }
    return req;
  } catch (const std::exception &error) {
    CMPIU_ERROR_AT(__func__, kConversionLine, "'Json conversion failed: %s'", error.what());
    if (req != nullptr) releaseRequestData(req);
    return nullptr;
  }
}
