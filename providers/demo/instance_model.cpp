// instance_model.cpp - conversions between CMPI objects and stored instances, key texts, and the
// computed property.
#include "instance_model.h"

#include <cmpimacs.h>
#include <unistd.h>

#include "codec.h"

namespace demo {

namespace {

// The text of a string a getter handed out, which is released here ("" for none).
std::string take(CMPIString *string) {
  if (string == nullptr) return std::string();
  const char *chars = CMGetCharPtr(string);
  std::string text = chars != nullptr ? chars : "";
  CMRelease(string);
  return text;
}

std::string quoted(const std::string &text) {
  std::string out = "\"";
  for (const char c : text) {
    if (c == '"' || c == '\\') out.push_back('\\');
    out.push_back(c);
  }
  out.push_back('"');
  return out;
}

bool isNull(CMPIData data) {
  const CMPIValueState state = data.state;
  return (state & (CMPI_nullValue | CMPI_notFound)) != 0;
}

bool listed(const char **properties, const char *name) {
  for (const char **p = properties; *p != nullptr; ++p) {
    if (sameName(*p, name)) return true;
  }
  return false;
}

// The class name of an object path, or of an instance's path.
std::string classNameOf(const CMPIObjectPath *op) { return take(CMGetClassName(op, nullptr)); }

std::string classNameOf(const CMPIInstance *inst) {
  CMPIObjectPath *op = CMGetObjectPath(inst, nullptr);
  if (op == nullptr) return std::string();
  std::string name = classNameOf(op);
  CMRelease(op);
  return name;
}

// The key text of one key value (a getter's datum; the caller releases it).
Outcome keyValueText(const CMPIBroker *broker, const PropertyDef &def, CMPIData data,
                     std::string *out) {
  if (isNull(data)) {
    return failure(CMPI_RC_ERR_INVALID_PARAMETER,
                   std::string("key property '") + def.name + "' is missing");
  }
  const CMPIType type = data.type;
  const CMPIValue value = data.value;
  if (def.type == CMPI_string) {
    if ((type != CMPI_string && type != CMPI_chars) || value.string == nullptr) {
      return failure(CMPI_RC_ERR_INVALID_PARAMETER,
                     std::string("key property '") + def.name + "' must be a string");
    }
    *out = quoted(type == CMPI_chars ? value.chars : CMGetCharPtr(value.string));
    return success();
  }
  // A reference key.
  const ClassDef *target = nullptr;
  if (type == CMPI_ref && value.ref != nullptr) target = findClass(classNameOf(value.ref).c_str());
  if (target == nullptr || !sameName(target->name, def.otherClass)) {
    return failure(CMPI_RC_ERR_INVALID_PARAMETER, std::string("key property '") + def.name +
                                                      "' must refer to a " + def.otherClass);
  }
  std::string inner;
  Outcome outcome = keyTextOfPath(broker, *target, value.ref, &inner);
  if (!outcome.ok()) return outcome;
  *out = quoted(std::string(target->name) + "." + inner);
  return success();
}

// Converts a value given by a client (a getter's datum) into the stored form of def.
Outcome convert(const CMPIBroker *broker, const PropertyDef &def, CMPIData data,
                StoredProperty *out) {
  out->name = def.name;
  out->type = def.type;
  out->text.reset();
  if (isNull(data)) return success();
  const CMPIType type = data.type;
  const CMPIValue value = data.value;
  std::string text;
  const CMPIrc rc = encodeValue(broker, def.type, type, &value, &text);
  if (rc == CMPI_RC_ERR_TYPE_MISMATCH) {
    return failure(rc, std::string("property '") + def.name + "' is " +
                           withArticle(typeName(def.type)) + "; " + withArticle(typeName(type)) +
                           " value does not fit");
  }
  if (rc != CMPI_RC_OK) {
    return failure(rc, std::string("property '") + def.name + "' has an unusable value");
  }
  if (def.otherClass != nullptr) {
    const std::string className =
        type == CMPI_ref ? classNameOf(value.ref) : classNameOf(value.inst);
    if (!sameName(className.c_str(), def.otherClass)) {
      return failure(CMPI_RC_ERR_TYPE_MISMATCH,
                     std::string("property '") + def.name +
                         (type == CMPI_ref ? "' must refer to a " : "' must hold a ") +
                         def.otherClass);
    }
  }
  out->text = std::move(text);
  return success();
}

// Every property inst carries must belong to cls.
Outcome checkPropertyNames(const ClassDef &cls, const CMPIInstance *inst) {
  const CMPICount count = CMGetPropertyCount(inst, nullptr);
  for (CMPICount i = 0; i < count; ++i) {
    CMPIString *name = nullptr;
    releaseData(CMGetPropertyAt(inst, i, &name, nullptr));
    const std::string text = take(name);
    if (findProperty(cls, text.c_str()) == nullptr) {
      return failure(CMPI_RC_ERR_NO_SUCH_PROPERTY,
                     std::string("class ") + cls.name + " has no property '" + text + "'");
    }
  }
  return success();
}

// The value of a computed property at this moment.
void computedValue(const PropertyDef &def, CMPIValue *value, CMPIType *type) {
  // EffectiveUserID: the user this request is served as.
  (void)def;
  value->uint32 = static_cast<CMPIUint32>(geteuid());
  *type = CMPI_uint32;
}

}  // namespace

StoredProperty *StoredInstance::find(const char *name) {
  for (StoredProperty &property : properties) {
    if (sameName(property.name.c_str(), name)) return &property;
  }
  return nullptr;
}

const StoredProperty *StoredInstance::find(const char *name) const {
  return const_cast<StoredInstance *>(this)->find(name);
}

Outcome classOfPath(const CMPIObjectPath *op, const ClassDef **cls) {
  if (op == nullptr) return failure(CMPI_RC_ERR_INVALID_PARAMETER, "no object path given");
  const std::string name = classNameOf(op);
  *cls = findClass(name.c_str());
  if (*cls == nullptr) {
    return failure(CMPI_RC_ERR_INVALID_CLASS,
                   "class '" + name + "' is not served by this provider");
  }
  return checkNameSpace(op, **cls);
}

Outcome checkNameSpace(const CMPIObjectPath *op, const ClassDef &cls) {
  if (op == nullptr) return success();
  const std::string ns = take(CMGetNameSpace(op, nullptr));
  if (!ns.empty() && !sameName(ns.c_str(), kNameSpace))
    return failure(CMPI_RC_ERR_INVALID_NAMESPACE,
                   "namespace '" + ns + "' has no class " + cls.name);
  return success();
}

Outcome keyTextOfPath(const CMPIBroker *broker, const ClassDef &cls, const CMPIObjectPath *op,
                      std::string *key) {
  key->clear();
  for (const PropertyDef &def : cls) {
    if (!def.isKey()) continue;
    const CMPIData data = CMGetKey(op, def.name, nullptr);
    std::string text;
    const Outcome outcome = keyValueText(broker, def, data, &text);
    releaseData(data);
    if (!outcome.ok()) return outcome;
    if (!key->empty()) key->push_back(',');
    key->append(def.name).append("=").append(text);
  }
  return success();
}

Outcome storedFromInstance(const CMPIBroker *broker, const ClassDef &cls, const CMPIObjectPath *op,
                           const CMPIInstance *inst, StoredInstance *stored) {
  if (inst == nullptr) return failure(CMPI_RC_ERR_INVALID_PARAMETER, "no instance given");
  Outcome outcome = checkPropertyNames(cls, inst);
  if (!outcome.ok()) return outcome;
  stored->key.clear();
  stored->properties.clear();
  for (const PropertyDef &def : cls) {
    if (def.isComputed()) continue;
    CMPIData data = CMGetProperty(inst, def.name, nullptr);
    if (def.isKey() && isNull(data) && op != nullptr) {
      releaseData(data);
      data = CMGetKey(op, def.name, nullptr);
    }
    StoredProperty property;
    outcome = convert(broker, def, data, &property);
    if (outcome.ok() && def.isKey()) {
      std::string text;
      outcome = keyValueText(broker, def, data, &text);
      if (!stored->key.empty()) stored->key.push_back(',');
      stored->key.append(def.name).append("=").append(text);
    }
    releaseData(data);
    if (!outcome.ok()) return outcome;
    stored->properties.push_back(std::move(property));
  }
  return success();
}

Outcome applyModification(const CMPIBroker *broker, const ClassDef &cls, const CMPIInstance *inst,
                          const char **properties, StoredInstance *stored) {
  if (inst == nullptr) return failure(CMPI_RC_ERR_INVALID_PARAMETER, "no instance given");
  std::vector<std::string> names;
  if (properties != nullptr) {
    for (const char **p = properties; *p != nullptr; ++p) names.emplace_back(*p);
  } else {
    const CMPICount count = CMGetPropertyCount(inst, nullptr);
    for (CMPICount i = 0; i < count; ++i) {
      CMPIString *name = nullptr;
      releaseData(CMGetPropertyAt(inst, i, &name, nullptr));
      names.push_back(take(name));
    }
  }
  for (const std::string &name : names) {
    const PropertyDef *def = findProperty(cls, name.c_str());
    if (def == nullptr) {
      return failure(CMPI_RC_ERR_NO_SUCH_PROPERTY,
                     std::string("class ") + cls.name + " has no property '" + name + "'");
    }
    if (def->isKey() || def->isComputed()) continue;
    const CMPIData data = CMGetProperty(inst, def->name, nullptr);
    StoredProperty property;
    const Outcome outcome = convert(broker, *def, data, &property);
    releaseData(data);
    if (!outcome.ok()) return outcome;
    StoredProperty *target = stored->find(def->name);
    if (target != nullptr)
      *target = std::move(property);
    else
      stored->properties.push_back(std::move(property));
  }
  return success();
}

Outcome valueOf(const CMPIBroker *broker, const StoredProperty &property, CMPIValue *value) {
  if (!property.text) return failure(CMPI_RC_ERR_FAILED, "'" + property.name + "' is null");
  const CMPIrc rc = decodeValue(broker, property.type, *property.text, value);
  if (rc != CMPI_RC_OK)
    return failure(rc, "the stored value of '" + property.name + "' cannot be read");
  return success();
}

CMPIObjectPath *pathOf(const CMPIBroker *broker, const ClassDef &cls, const StoredInstance &stored,
                       Outcome *outcome) {
  CMPIStatus st = {CMPI_RC_OK, nullptr};
  CMPIObjectPath *op = CMNewObjectPath(broker, kNameSpace, cls.name, &st);
  if (op == nullptr) {
    *outcome = failure(CMPI_RC_ERR_FAILED, "no object path could be made");
    return nullptr;
  }
  for (const PropertyDef &def : cls) {
    if (!def.isKey()) continue;
    const StoredProperty *property = stored.find(def.name);
    CMPIValue value;
    *outcome = property != nullptr
                   ? valueOf(broker, *property, &value)
                   : failure(CMPI_RC_ERR_FAILED, std::string("key '") + def.name + "' is lost");
    if (!outcome->ok()) {
      CMRelease(op);
      return nullptr;
    }
    CMAddKey(op, def.name, &value, def.type);
    releaseValue(def.type, &value);
  }
  *outcome = success();
  return op;
}

CMPIInstance *instanceOf(const CMPIBroker *broker, const ClassDef &cls,
                         const StoredInstance &stored, const char **properties, Outcome *outcome) {
  CMPIObjectPath *op = pathOf(broker, cls, stored, outcome);
  if (op == nullptr) return nullptr;
  CMPIInstance *inst = CMNewInstance(broker, op, nullptr);
  CMRelease(op);
  if (inst == nullptr) {
    *outcome = failure(CMPI_RC_ERR_FAILED, "no instance could be made");
    return nullptr;
  }
  for (const PropertyDef &def : cls) {
    if (!def.isKey() && properties != nullptr && !listed(properties, def.name)) continue;
    CMPIValue value;
    CMPIType type = def.type;
    if (def.isComputed()) {
      computedValue(def, &value, &type);
      CMSetProperty(inst, def.name, &value, type);
      continue;
    }
    const StoredProperty *property = stored.find(def.name);
    if (property == nullptr || !property->text) {
      // A null reference or embedded instance is left out: the wire form of an instance has no
      // null for them, and a host could not pass the instance on.
      if (def.type != CMPI_ref && def.type != CMPI_instance)
        CMSetProperty(inst, def.name, nullptr, def.type);
      continue;
    }
    *outcome = valueOf(broker, *property, &value);
    if (!outcome->ok()) {
      CMRelease(inst);
      return nullptr;
    }
    CMSetProperty(inst, def.name, &value, def.type);
    releaseValue(def.type, &value);
  }
  *outcome = success();
  return inst;
}

Outcome keyTextOfReference(const CMPIBroker *broker, const StoredProperty &reference,
                           const ClassDef **cls, std::string *key) {
  CMPIValue value;
  Outcome outcome = valueOf(broker, reference, &value);
  if (!outcome.ok()) return outcome;
  *cls = findClass(classNameOf(value.ref).c_str());
  if (*cls == nullptr) {
    outcome = failure(CMPI_RC_ERR_FAILED, "'" + reference.name + "' refers to an unknown class");
  } else {
    outcome = keyTextOfPath(broker, **cls, value.ref, key);
  }
  releaseValue(CMPI_ref, &value);
  return outcome;
}

std::string withArticle(const std::string &name) {
  const bool vowel =
      !name.empty() && (name[0] == 'a' || name[0] == 'e' || name[0] == 'i' || name[0] == 'o');
  return (vowel ? "an " : "a ") + name;
}

std::string typeName(CMPIType type) {
  std::string name;
  switch (type & static_cast<CMPIType>(~CMPI_ARRAY)) {
    case CMPI_boolean:
      name = "boolean";
      break;
    case CMPI_char16:
      name = "char16";
      break;
    case CMPI_real32:
      name = "real32";
      break;
    case CMPI_real64:
      name = "real64";
      break;
    case CMPI_uint8:
      name = "uint8";
      break;
    case CMPI_uint16:
      name = "uint16";
      break;
    case CMPI_uint32:
      name = "uint32";
      break;
    case CMPI_uint64:
      name = "uint64";
      break;
    case CMPI_sint8:
      name = "sint8";
      break;
    case CMPI_sint16:
      name = "sint16";
      break;
    case CMPI_sint32:
      name = "sint32";
      break;
    case CMPI_sint64:
      name = "sint64";
      break;
    case CMPI_string:
      name = "string";
      break;
    case CMPI_chars:
      name = "string";
      break;
    case CMPI_dateTime:
      name = "dateTime";
      break;
    case CMPI_ref:
      name = "reference";
      break;
    case CMPI_instance:
      name = "embedded instance";
      break;
    default:
      name = "type " + std::to_string(type & static_cast<CMPIType>(~CMPI_ARRAY));
      break;
  }
  if ((type & CMPI_ARRAY) != 0) name += " array";
  return name;
}

}  // namespace demo
