// decoders_containers.cpp - the "ArgsIn" and "InstanceProps" containers back into a new
// argument list and a new instance, stored in the record that then owns them.
#include <cmpimacs.h>
#include <strings.h>

#include <cstring>
#include <string>
#include <vector>

#include "json/decoders.h"
#include "json/decoders_shared.h"
#include "json/key_text.h"
#include "log/log.h"

using namespace json_decoding;

namespace {
// The lines of the instance decoder keep the exported function's name.
constexpr const char kCreateCMInst[] = "createCMInst";
}  // namespace

unsigned int createCMArgs(ClientReq *request, ServerResp *response, const Json::Value &document) {
  // Read in place: the document outlives the walk, and copying the container costs more than
  // decoding a small one.
  const Json::Value &arguments = document["ArgsIn"];
  require_members(arguments);

  CMPIStatus status = {CMPI_RC_OK, nullptr};
  CMPIArgs *list = makeNewCMPIArgs(&status);
  if (list == nullptr || status.rc != CMPI_RC_OK) {
    if (list != nullptr) CMRelease(list);
    CMPIU_ERROR_AT(__func__, 1979, "'makeNewCMPIArgs failed'");
    return 1;
  }
  // With no record to keep it, the list is only decoded into and released again.
  const Owned<CMPIArgs> unkept((request == nullptr && response == nullptr) ? list : nullptr);
  if (request != nullptr) {
    request->ArgsIn = list;
  } else if (response != nullptr) {
    response->retVal.args = list;
  }

  for (Json::Value::const_iterator it = arguments.begin(); it != arguments.end(); ++it) {
    const std::string name = it.name();
    CMPIU_TRACE("INFO: name = '%s'", name.c_str());
    if ((decode_value_object(list, nullptr, name.c_str(), *it, INVOKEMETHOD) & 1u) != 0) {
      CMPIU_ERROR_AT(__func__, 1990, "'Add2CMPIArgs failed'");
      return 1;
    }
  }
  return 0;
}

unsigned int createCMInst(ClientReq *request, ServerResp *response, const Json::Value &document) {
  return create_instance(request, response, document);
}

template <typename Node>
unsigned int json_decoding::create_instance(ClientReq *request, ServerResp *response,
                                            const Node &document) {
  // Read in place, as in createCMArgs.
  const auto &properties = document["InstanceProps"];
  require_members(properties);

  CMPIObjectPath *path = nullptr;
  if (request != nullptr) {
    path = request->COP;
  } else if (response != nullptr) {
    path = response->objectPath;
  }
  CMPIStatus status = {CMPI_RC_OK, nullptr};
  CMPIInstance *instance = makeNewCMPIInstance(path, &status);
  const CMPIrc made = status.rc;
  if (made != CMPI_RC_OK && instance != nullptr) {
    CMRelease(instance);
    instance = nullptr;
  }
  if ((made != CMPI_RC_OK || instance == nullptr) &&
      !CMPIU_STATUS_RULE(made, kCreateCMInst, 1809, "'makeNewCMPIInstance failed'")) {
    return 1;
  }
  // A NULL instance that came with a success status is stored as it is and decoding goes on.
  if (request != nullptr) {
    request->CI = instance;
  } else if (response != nullptr) {
    response->instance = instance;
  }
  if (properties.empty()) return 0;

  for (auto it = properties.begin(); it != properties.end(); ++it) {
    const auto name = it.name();
    CMPIU_TRACE("property = %s", name.c_str());
    const auto &property = *it;
    // A result instance keeps its key properties: each one met is put into the instance's key
    // filter (a property list of none, a key list of this one name).
    if (request == nullptr && response != nullptr && response->instance != nullptr &&
        state_of(property) == CMPI_keyValue) {
      CMPIU_TRACE("%s: key Property to be set %s", kCreateCMInst, name.c_str());
      const char *keys[] = {name.c_str(), nullptr};
      CMSetPropertyFilter(response->instance, nullptr, keys);
    }
    if ((decode_value_object(nullptr, instance, name.c_str(), property, MODIFYINST) & 1u) != 0) {
      CMPIU_ERROR_AT(kCreateCMInst, 1827, "'Add2CMPIArgs failed'");
      return 1;
    }
  }
  return 0;
}

// The two document types the decoders read.
template unsigned int json_decoding::create_instance<Json::Value>(ClientReq *, ServerResp *,
                                                                  const Json::Value &);
template unsigned int json_decoding::create_instance<cmpiutility::FrameNode>(
    ClientReq *, ServerResp *, const cmpiutility::FrameNode &);
