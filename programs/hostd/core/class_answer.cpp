// class_answer.cpp - GetClass from the class-definition tables.
#include "class_answer.h"

#include <cmpiinterface.h>
#include <cmpimacs.h>
#include <cmpiutility/records.h>
#include <strings.h>

#include <cstdlib>
#include <cstring>
#include <vector>

#include "response_frames.h"
#include "log_text.h"
#include "wire.h"
#include "locations.h"
#include "log.h"

namespace hostd {
using wire::log_text;
namespace {

CMPIArray *string_array(const std::vector<std::string> &texts) {
  CMPIStatus rc = {CMPI_RC_OK, nullptr};
  CMPIArray *array = makeNewCMPIArray(static_cast<CMPICount>(texts.size()), CMPI_string, &rc);
  if (array == nullptr) return nullptr;
  for (std::size_t i = 0; i < texts.size(); ++i) {
    CMPIStatus set =
        CMSetArrayElementAt(array, static_cast<CMPICount>(i), texts[i].c_str(), CMPI_chars);
    if (set.rc != CMPI_RC_OK) {
      CMRelease(array);
      return nullptr;
    }
  }
  return array;
}

// An empty instance of one of the helper classes, in the class's namespace (NULL without memory).
CMPIInstance *helper_instance(const ClassDefinition &definition, const char *helper_class) {
  CMPIObjectPath *path = makeNewObjectPath(definition.name_space.c_str(), helper_class, nullptr);
  if (path == nullptr) return nullptr;
  CMPIInstance *inst = makeNewCMPIInstance(path, nullptr);
  CMRelease(path);
  return inst;
}

CMPIInstance *parameter_instance(const ClassDefinition &definition, const MethodParameter &p) {
  CMPIInstance *inst = helper_instance(definition, kMethodParameterClass);
  if (inst == nullptr) return nullptr;
  CMPIUint16 type = static_cast<CMPIUint16>(p.data_type);
  bool ok = CMSetProperty(inst, "MethodName", p.method.c_str(), CMPI_chars).rc == CMPI_RC_OK &&
            CMSetProperty(inst, "Name", p.name.c_str(), CMPI_chars).rc == CMPI_RC_OK &&
            CMSetProperty(inst, "DataType", &type, CMPI_uint16).rc == CMPI_RC_OK &&
            CMSetProperty(inst, "Direction", p.direction.c_str(), CMPI_chars).rc == CMPI_RC_OK;
  if (!ok) {
    CMRelease(inst);
    return nullptr;
  }
  return inst;
}

// A property's default: "Name" (string) and "Value" (the default, of the property's type).
CMPIInstance *default_instance(const ClassDefinition &definition, const PropertyDefault &d) {
  CMPIInstance *inst = helper_instance(definition, kPropertyDefaultClass);
  if (inst == nullptr) return nullptr;
  PropertyDefault value = d;
  value.property = "Value";
  if (CMSetProperty(inst, "Name", d.property.c_str(), CMPI_chars).rc != CMPI_RC_OK ||
      apply_defaults(inst, {value}) != 1) {
    CMRelease(inst);
    return nullptr;
  }
  return inst;
}

// The method parameters, then the property defaults (a default that does not fit its type is
// left out).
CMPIArray *parameter_array(const ClassDefinition &definition) {
  std::vector<CMPIInstance *> items;
  bool ok = true;
  for (const MethodParameter &p : definition.parameters) {
    CMPIInstance *inst = parameter_instance(definition, p);
    if (inst == nullptr) ok = false;
    items.push_back(inst);
  }
  for (const PropertyDefault &d : definition.defaults) {
    CMPIInstance *inst = default_instance(definition, d);
    if (inst != nullptr) items.push_back(inst);
  }
  CMPIArray *array =
      ok ? makeNewCMPIArray(static_cast<CMPICount>(items.size()), CMPI_instance, nullptr)
         : nullptr;
  for (std::size_t i = 0; i < items.size(); ++i) {
    if (array != nullptr &&
        CMSetArrayElementAt(array, static_cast<CMPICount>(i), &items[i], CMPI_instance).rc !=
            CMPI_RC_OK) {
      CMRelease(array);
      array = nullptr;
    }
    if (items[i] != nullptr) CMRelease(items[i]);
  }
  return array;
}

// One status-only GetClass frame and the completion frame.
std::string class_status(CMPIrc code, const char *message) {
  CMPIStatus status = {code, CreateString(message, nullptr)};
  ResponseParts parts;
  parts.status = &status;
  std::string out;
  if (append_response_frame(GETCLASS, parts, &out)) {
    out += wire::complete_frame();
  } else {
    out = wire::error_frame(CMPI_RC_ERR_FAILED);
  }
  if (status.msg != nullptr) CMRelease(status.msg);
  return out;
}

}  // namespace

CMPIConstClass *build_class(const ClassDefinition &definition) {
  CMPIConstClass *cls = makeNewCMPIClass(nullptr);
  if (cls == nullptr) return nullptr;
  auto *record = static_cast<CMPIClassRecord *>(std::calloc(1, sizeof(CMPIClassRecord)));
  if (record == nullptr) {
    std::free(cls);
    return nullptr;
  }
  cls->hdl = record;
  record->className = strdup(definition.name.c_str());
  record->nameSpace = strdup(definition.name_space.c_str());
  record->propertyNames = string_array(definition.properties);
  record->methodNames = string_array(definition.methods);
  record->methodParameters = parameter_array(definition);
  if (record->className == nullptr || record->nameSpace == nullptr ||
      record->propertyNames == nullptr || record->methodNames == nullptr ||
      record->methodParameters == nullptr) {
    cls->ft->release(cls);
    return nullptr;
  }
  return cls;
}

std::string answer_get_class(const std::string &class_name, const std::string &name_space,
                             int *rc) {
  const std::string database = schema_database_path();
  ClassDefinition definition;
  std::string why;
  switch (load_class_definition(database, class_name, &definition, &why)) {
    case ClassLookup::kFailed:
      HOSTD_ERROR("GetClass %s: the schema database cannot be read: %s", log_text(class_name).c_str(),
                  why.c_str());
      *rc = CMPI_RC_ERR_FAILED;
      return wire::error_frame(CMPI_RC_ERR_FAILED);
    case ClassLookup::kUnknownClass:
      HOSTD_ERROR("GetClass %s: no such class in the schema database", log_text(class_name).c_str());
      *rc = CMPI_RC_ERR_INVALID_CLASS;
      return class_status(CMPI_RC_ERR_INVALID_CLASS, "no such class");
    case ClassLookup::kFound:
      break;
  }
  if (definition.name_space.empty()) {
    definition.name_space = name_space;
  } else if (strcasecmp(definition.name_space.c_str(), name_space.c_str()) != 0) {
    HOSTD_ERROR("GetClass %s: the class lives in namespace %s, not in %s",
                log_text(class_name).c_str(), log_text(definition.name_space).c_str(),
                log_text(name_space).c_str());
    *rc = CMPI_RC_ERR_INVALID_CLASS;
    return class_status(CMPI_RC_ERR_INVALID_CLASS, "no such class in this namespace");
  }
  CMPIConstClass *cls = build_class(definition);
  if (cls == nullptr) {
    HOSTD_ERROR("GetClass %s: the class object cannot be built", log_text(class_name).c_str());
    *rc = CMPI_RC_ERR_FAILED;
    return wire::error_frame(CMPI_RC_ERR_FAILED);
  }
  CMPIStatus ok = {CMPI_RC_OK, nullptr};
  ResponseParts parts;
  parts.status = &ok;
  parts.cls = cls;
  std::string out;
  if (append_response_frame(GETCLASS, parts, &out)) {
    out += wire::complete_frame();
    *rc = CMPI_RC_OK;
    HOSTD_TRACE("GetClass %s: %zu properties, %zu methods, %zu parameters sent",
                log_text(class_name).c_str(), definition.properties.size(),
                definition.methods.size(), definition.parameters.size());
  } else {
    HOSTD_ERROR("GetClass %s: the class cannot be encoded", log_text(class_name).c_str());
    out = wire::error_frame(CMPI_RC_ERR_FAILED);
    *rc = CMPI_RC_ERR_FAILED;
  }
  cls->ft->release(cls);
  return out;
}

}  // namespace hostd
