// deserializeResp: one received response document becomes a new response record (client side).
#include <cmpimacs.h>
#include <cmpiutility/response.h>
#include <stdint.h>
#include <stdlib.h>
#include <string.h>

#include <memory>
#include <string>

#include "heap/heap.h"
#include "json/document_reader.h"
#include "json/decoders.h"
#include "json/decoders_shared.h"
#include "json/frame_view.h"
#include "json/key_text.h"
#include "log/log.h"
#include "response/response_codec.h"

namespace {

using cmpiutility::FrameNode;
using cmpiutility::FrameView;
using cmpiutility::set_status_code;
using cmpiutility::status_code;

// The lines name these functions, also from inside the helpers below.
constexpr const char kDeserialize[] = "deserializeResp";
constexpr const char kCreateClass[] = "createConstClass";

// A member of the document; every member of a document that is not an object reads as absent.
const Json::Value &member(const Json::Value &document, const char *name) {
  if (!document.isObject()) return Json::Value::nullSingleton();
  return document[name];
}

// The view reads only documents that are objects, so every member can be looked up.
FrameNode member(const FrameNode &document, const char *name) { return document[name]; }

// Numbers go through the JSON library's unsigned 64-bit conversion (absent reads as 0; negative
// and non-numeric values raise its exception) and are then cut to the field's width.
template <typename Node>
uint64_t number(const Node &document, const char *name) {
  return member(document, name).asLargestUInt();
}

int32_t low_32_bits(uint64_t value) { return static_cast<int32_t>(static_cast<uint32_t>(value)); }

// Texts go through the JSON library's string conversion; absent reads as "".
template <typename Node>
auto text_of(const Node &document, const char *name) {
  return member(document, name).asString();
}

// Releases what a record holds when decoding unwinds with the JSON library's exception, so the
// exception leaves nothing behind.
struct RecordGuard {
  ServerResp *record;
  ~RecordGuard() {
    if (record == nullptr) return;
    if (record->constClass != nullptr) record->constClass->ft->release(record->constClass);
    if (record->type == INVOKEMETHOD && record->retVal.args != nullptr) {
      record->retVal.args->ft->release(record->retVal.args);
    }
    releaseClientResponseData(record);
  }
};

// A new object path for the record. A factory error (with or without a path) is logged at level
// 2 and gives false: the record is returned without a path. No path with a success status is
// logged at level 4 and decoding goes on without one.
bool make_path(const char *name_space, const char *class_name, int line, CMPIObjectPath **out) {
  CMPIStatus status = {CMPI_RC_OK, nullptr};
  CMPIObjectPath *path = makeNewObjectPath(name_space, class_name, &status);
  if (status_code(status) != 0) {
    if (path != nullptr) CMRelease(path);
    CMPIU_ERROR_AT(kDeserialize, line, "'makeNewObjectPath failed'");
    return false;
  }
  if (path == nullptr) CMPIU_INFO_AT(kDeserialize, line, "'makeNewObjectPath failed'");
  *out = path;
  return true;
}

// Source-line numbers of the messages of one instance-bearing branch.
struct InstanceLines {
  int empty;
  int path;
  int instance;
};

// "ClassName" and "NameSpace" into the record's path, then the instance from "InstanceProps".
template <typename Node>
void decode_instance(ServerResp *record, const Node &document, const InstanceLines &lines) {
  const auto class_name = text_of(document, "ClassName");
  const auto name_space = text_of(document, "NameSpace");
  if (class_name.empty() || name_space.empty()) {
    CMPIU_ERROR_AT(kDeserialize, lines.empty, "'class name or name space is empty'");
    return;
  }
  if (!make_path(name_space.c_str(), class_name.c_str(), lines.path, &record->objectPath)) return;
  if ((json_decoding::create_instance(nullptr, record, document) & 1) != 0) {
    CMPIU_ERROR_AT(kDeserialize, lines.instance, "'createCMInst failed'");
  }
}

// A path with the keys of "key". False when it could not be made or keyed; a path that got only
// part of its keys is released.
template <typename Node>
bool keyed_path(const Node &document, const char *name_space, const char *class_name,
                int path_line, int key_line, CMPIObjectPath **out) {
  CMPIObjectPath *path = nullptr;
  if (!make_path(name_space, class_name, path_line, &path)) return false;
  if (addCMKey(path, document) != 0) {
    CMPIU_ERROR_AT(kDeserialize, key_line, "'addCMKey failed'");
    if (path != nullptr) CMRelease(path);
    return false;
  }
  *out = path;
  return true;
}

// The status message as a new string made by the object library (one heap block, freed with
// free() by releaseClientResponseData).
template <typename Node>
CMPIString *message_string(const Node &message) {
  return CreateString(message.asString().c_str(), nullptr);
}

template <typename Node>
void decode_get_instance(ServerResp *record, const Node &document) {
  const int32_t code = low_32_bits(number(document, "GetInstStatus"));
  set_status_code(&record->status, code);
  CMPIU_TRACE("get operation (resp->status).rc %d", code);
  // Only code 4 is read as an error document; any other code goes on as an instance document,
  // so a document with another code (which has no "ClassName") gives a record with that code and
  // nothing else. Kept so: existing clients tell the cases apart this way.
  if (code == CMPI_RC_ERR_INVALID_PARAMETER) {
    CMPIU_TRACE("get operation (resp->status).rc = %d", code);
    const auto &message = member(document, "GetInstStatusMsg");
    if (message.isNull()) {
      CMPIU_TRACE("set operation GetInstStatusMsg is NULL");
    } else {
      CMPIU_TRACE("set operation CreateString for GetInstStatusMsg");
      record->status.msg = message_string(message);
      CMPIU_TRACE("set operation Created String for GetInstStatusMsg");
    }
    return;
  }
  decode_instance(record, document, {2474, 2478, 2482});
}

void decode_set_instance(ServerResp *record, const Json::Value &document) {
  CMPIU_TRACE("set operation");
  const int32_t code = low_32_bits(number(document, "SetInstStatus"));
  set_status_code(&record->status, code);
  CMPIU_TRACE("set operation (resp->status).rc = %d", code);
  const Json::Value &message = member(document, "SetInstStatusMsg");
  if (message.isNull()) {
    CMPIU_TRACE("set operation SetInstStatusMsg is NULL");
  } else {
    CMPIU_TRACE("set operation CreateString for SetInstStatusMsg");
    record->status.msg = message_string(message);
    CMPIU_TRACE("set operation Created String for SetInstStatusMsg");
  }
}

void decode_create_instance(ServerResp *record, const Json::Value &document) {
  const std::string class_name = text_of(document, "ClassName");
  const std::string name_space = text_of(document, "NameSpace");
  if (!class_name.empty() && !name_space.empty()) {
    // A path that cannot be made or keyed ends decoding before the status is read.
    if (!keyed_path(document, name_space.c_str(), class_name.c_str(), 2573, 2576,
                    &record->objectPath)) {
      return;
    }
  } else {
    // A provider may create nothing; that is not an error here.
    CMPIU_TRACE("__%s#%d: 'class name or name space is empty'", kDeserialize, 2568);
  }
  const int32_t code = low_32_bits(number(document, "SetInstStatus"));
  set_status_code(&record->status, code);
  CMPIU_TRACE("%d", code);
  const Json::Value &message = member(document, "SetInstStatusMsg");
  if (message.isNull()) {
    CMPIU_TRACE("create Inst operation SetInstStatusMsg is NULL");
  } else {
    record->status.msg = message_string(message);
  }
}

void decode_get_class(ServerResp *record, const Json::Value &document) {
  const int32_t code = low_32_bits(number(document, "GetClassStatus"));
  set_status_code(&record->status, code);
  CMPIU_TRACE("getclass operation (resp->status).rc %d", code);
  if (code == CMPI_RC_ERR_INVALID_PARAMETER) {
    CMPIU_TRACE("getclass operation (resp->status).rc = %d", code);
    // The message is made from "GetClassStatus" itself (so it reads "4"); the host's
    // "GetClassStatusMsg" is not read. Existing clients show exactly this text.
    const Json::Value &status = member(document, "GetClassStatus");
    if (status.isNull()) {
      CMPIU_TRACE("set operation GetClassStatus is NULL");
    } else {
      CMPIU_TRACE("set operation CreateString for GetClassStatus");
      record->status.msg = message_string(status);
      CMPIU_TRACE("set operation Created String for GetClassStatus");
    }
    return;
  }
  const std::string class_name = text_of(document, "ClassName");
  const std::string name_space = text_of(document, "NameSpace");
  if (class_name.empty() || name_space.empty()) {
    CMPIU_ERROR_AT(kDeserialize, 2508, "'class name or name space is empty'");
    return;
  }
  if (!make_path(name_space.c_str(), class_name.c_str(), 2512, &record->objectPath)) return;
  if (createConstClass(record, document) != 0) {
    CMPIU_ERROR_AT(kDeserialize, 2516, "'createConstClass failed'");
  }
}

// The branches of the record types whose documents carry an instance or a path, for both
// document types. False for every other type (nothing read, nothing logged).
template <typename Node>
bool decode_instance_branch(ServerResp *record, const Node &document) {
  switch (record->type) {
    case ENUMINST:
    case ASSOCIATORS:
    case EXECQUERY:
      decode_instance(record, document, {2441, 2445, 2449});
      return true;
    case ENUMINSTNAMES: {
      const auto class_name = text_of(document, "ClassName");
      const auto name_space = text_of(document, "NameSpace");
      if (class_name.empty() || name_space.empty()) {
        CMPIU_ERROR_AT(kDeserialize, 2527, "'class name or name space is empty'");
        return true;
      }
      keyed_path(document, name_space.c_str(), class_name.c_str(), 2531, 2534,
                 &record->objectPath);
      return true;
    }
    case GETINST:
      decode_get_instance(record, document);
      return true;
    default:
      return false;
  }
}

// A frame of one of the instance-bearing types, read without a jsoncpp tree. False, with
// nothing read into the record and nothing logged, for a frame the view does not take or of
// another type: the caller then reads it with jsoncpp.
bool decode_from_view(ServerResp *record, const char *text, size_t length) {
  FrameView view;
  if (!view.read(text, length)) return false;
  const FrameNode document = view.root();
  const int type = static_cast<int>(low_32_bits(number(document, "RequestType")));
  switch (type) {
    case ENUMINST:
    case ASSOCIATORS:
    case EXECQUERY:
    case ENUMINSTNAMES:
    case GETINST:
      break;
    default:
      return false;
  }
  record->type = type;
  return decode_instance_branch(record, document);
}

}  // namespace

int createConstClass(ServerResp *response, const Json::Value &document) {
  CMPIU_TRACE_FUNCTION();
  CMPIStatus status = {CMPI_RC_OK, nullptr};
  CMPIConstClass *cls = makeNewCMPIClass(&status);
  if (status_code(status) != 0) {
    free(cls);
    CMPIU_ERROR_AT(kCreateClass, 1849, "'createConstClass failed'");
    return 1;
  }
  if (cls == nullptr) {
    // No class with a success status: logged by the status rule, but there is nothing to fill.
    CMPIU_INFO_AT(kCreateClass, 1849, "'createConstClass failed'");
    return 1;
  }
  CMPIClassRecord *record =
      static_cast<CMPIClassRecord *>(cmpiu_calloc(1, sizeof(CMPIClassRecord)));
  if (record == nullptr) {
    CMPIU_ERROR("Error while creating p_constclassDS");
    free(cls);
    return 1;
  }
  record->className = strdup(text_of(document, "ClassName").c_str());
  record->nameSpace = strdup(text_of(document, "NameSpace").c_str());

  // Everything built so far goes on failure, the arrays already in the record included.
  auto discard = [&]() {
    CMPIArray *arrays[] = {record->propertyNames, record->methodNames, record->methodParameters};
    for (CMPIArray *array : arrays) {
      if (array != nullptr) CMRelease(array);
    }
    free(record->className);
    free(record->nameSpace);
    free(record);
    free(cls);
    return 1;
  };

  struct List {
    const char *member;
    CMPIType element_type;
    CMPIArray **field;
  };
  const List lists[] = {
      {"PropList", CMPI_string, &record->propertyNames},
      {"MethodList", CMPI_string, &record->methodNames},
      {"MethodParamList", CMPI_instance, &record->methodParameters},
  };
  for (const List &list : lists) {
    CMPIArray *array = nullptr;
    try {
      const Json::Value &encoded = member(document, list.member);
      const CMPICount count = member(encoded, "Value").size();
      status = CMPIStatus{CMPI_RC_OK, nullptr};
      array = makeNewCMPIArray(count, list.element_type, &status);
      if (status_code(status) != 0 || array == nullptr) {
        CMPIU_ERROR("Error while creating array");
        if (array != nullptr) CMRelease(array);
        return discard();
      }
      if ((setCMArrayElement(array, encoded, list.element_type) & 1) != 0) {
        CMPIU_ERROR("Error while serializing array");
        CMRelease(array);
        return discard();
      }
      *list.field = CMClone(array, nullptr);
      CMRelease(array);
    } catch (...) {
      // A conversion exception of the JSON library goes on to the caller, as the contract says,
      // but what was built here is released first.
      if (array != nullptr) CMRelease(array);
      discard();
      throw;
    }
  }
  cls->hdl = record;
  response->constClass = cls;
  return 0;
}

namespace {

// What deserializeResp does inside its Enter and Exit lines, with the given reader.
ServerResp *read_response(const char *text, cmpiutility::FrameReader frame_reader) {
  using cmpiutility::FrameReader;
  if (text == nullptr) return nullptr;
  const size_t length = strlen(text);
  CMPIU_TRACE("INFO: serialized data len:%zu and data = %s", length, text);
  ServerResp *record = static_cast<ServerResp *>(cmpiu_calloc(1, sizeof(ServerResp)));
  if (record == nullptr) {
    CMPIU_ERROR_AT(kDeserialize, 2422, "'Memory allocation failed'");
    return nullptr;
  }
  RecordGuard guard{record};

  if (frame_reader == FrameReader::kViewFirst && decode_from_view(record, text, length)) {
    guard.record = nullptr;
    return record;
  }

  const std::unique_ptr<Json::CharReader> reader = cmpiutility::new_document_reader();
  Json::Value document;
  std::string errors;
  if (!reader->parse(text, text + length, &document, &errors)) {
    CMPIU_ERROR_AT(kDeserialize, 2427, "'Json parsing failed'");
    guard.record = nullptr;
    return record;
  }

  record->type = static_cast<int>(low_32_bits(number(document, "RequestType")));
  if (decode_instance_branch(record, document)) {
    guard.record = nullptr;
    return record;
  }
  switch (record->type) {
    case MODIFYINST:
    case DELETEINST:
      decode_set_instance(record, document);
      break;
    case INVOKEMETHOD:
      record->retType = static_cast<CMPIType>(number(document, "RetVal") & 0xFFFFu);
      if ((createCMArgs(nullptr, record, document) & 1) != 0) {
        CMPIU_ERROR_AT(kDeserialize, 2558, "'createCMArgs failed'");
      }
      break;
    case CREATEINST:
      decode_create_instance(record, document);
      break;
    case GETCLASS:
      decode_get_class(record, document);
      break;
    default:
      // Another type gives a record that holds only the type.
      break;
  }
  guard.record = nullptr;
  return record;
}

}  // namespace

extern "C" ServerResp *deserializeResp(const char *text) {
  CMPIU_TRACE_FUNCTION();
  return read_response(text, cmpiutility::FrameReader::kViewFirst);
}

ServerResp *cmpiutility::deserialize_response(const char *text, FrameReader frame_reader) {
  ::cmpiutility::ScopedTrace cmpiu_scoped_trace_(kDeserialize);
  return read_response(text, frame_reader);
}
