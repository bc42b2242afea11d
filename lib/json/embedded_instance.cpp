#include "json/embedded_instance.h"

#include <cmpimacs.h>

#include <cstdlib>
#include <utility>

#include "heap/heap.h"
#include "json/encoders.h"
#include "json/key_stream.h"
#include "json/member_names.h"
#include "log/log.h"

namespace cmpiutility {
namespace {

// A CMPI text as a JSON string; no text gives the empty string.
Json::Value text_or_empty(const CMPIString *string) {
  const char *chars = chars_of(string);
  return Json::Value(chars != nullptr ? chars : "");
}

}  // namespace

Embedded encode_embedded(CMPIInstance *instance, Json::Value *object) {
  ClientReq *scratch = static_cast<ClientReq *>(cmpiu_calloc(1, sizeof(ClientReq)));
  if (scratch == nullptr) {
    CMPIU_ERROR("Error: memallocation failed for creqInst ");
    return Embedded::kNoScratch;
  }
  if (instance == nullptr) {
    CMPIU_TRACE("instance is null ");
    free(scratch);
    return Embedded::kNullInstance;
  }

  Json::Value built(Json::objectValue);
  CMPIObjectPath *path = CMGetObjectPath(instance, nullptr);
  CMPIString *name_space = (path != nullptr) ? CMGetNameSpace(path, nullptr) : nullptr;
  CMPIString *class_name = (path != nullptr) ? CMGetClassName(path, nullptr) : nullptr;
  built[member::kRequestType] = 1;
  built[member::kClassName] = text_or_empty(class_name);
  built[member::kNameSpace] = text_or_empty(name_space);
  built["Principal"] = "TEMP";
  if (class_name != nullptr) CMRelease(class_name);
  if (name_space != nullptr) CMRelease(name_space);
  if (path != nullptr) CMRelease(path);

  scratch->CI = instance;
  const unsigned int failed = getInstanceProps(scratch, nullptr, built) & 1u;
  free(scratch);
  if (failed != 0) return Embedded::kPropsFailed;
  *object = std::move(built);
  return Embedded::kDone;
}

}  // namespace cmpiutility
