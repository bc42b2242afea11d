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

bool is_null(CMPIData data) {
  const CMPIValueState state = data.state;
  return (state & (CMPI_nullValue | CMPI_notFound)) != 0;
}

bool listed(const char **properties, const char *name) {
  for (const char **p = properties; *p != nullptr; ++p) {
    if (same_name(*p, name)) return true;
  }
  return false;
}

// The class name of an object path, or of an instance's path.
std::string class_name_of(const CMPIObjectPath *op) { return take(CMGetClassName(op, nullptr)); }

std::string class_name_of(const CMPIInstance *inst) {
  CMPIObjectPath *op = CMGetObjectPath(inst, nullptr);
  if (op == nullptr) return std::string();
  std::string name = class_name_of(op);
  CMRelease(op);
  return name;
}

// The key text of one key value (a getter's datum; the caller releases it).
Outcome key_value_text(const CMPIBroker *broker, const PropertyDef &def, CMPIData data,
                     std::string *out) {
  if (is_null(data)) {
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
  if (type == CMPI_ref && value.ref != nullptr) target = find_class(class_name_of(value.ref).c_str());
  if (target == nullptr || !same_name(target->name, def.other_class)) {
    return failure(CMPI_RC_ERR_INVALID_PARAMETER, std::string("key property '") + def.name +
                                                      "' must refer to a " + def.other_class);
  }
  std::string inner;
  Outcome outcome = key_text_of_path(broker, *target, value.ref, &inner);
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
  if (is_null(data)) return success();
  const CMPIType type = data.type;
  const CMPIValue value = data.value;
  std::string text;
  const CMPIrc rc = encode_value(broker, def.type, type, &value, &text);
  if (rc == CMPI_RC_ERR_TYPE_MISMATCH) {
    return failure(rc, std::string("property '") + def.name + "' is " +
                           with_article(type_name(def.type)) + "; " + with_article(type_name(type)) +
                           " value does not fit");
  }
  if (rc != CMPI_RC_OK) {
    return failure(rc, std::string("property '") + def.name + "' has an unusable value");
  }
  if (def.other_class != nullptr) {
    const std::string class_name =
        type == CMPI_ref ? class_name_of(value.ref) : class_name_of(value.inst);
    if (!same_name(class_name.c_str(), def.other_class)) {
      return failure(CMPI_RC_ERR_TYPE_MISMATCH,
                     std::string("property '") + def.name +
                         (type == CMPI_ref ? "' must refer to a " : "' must hold a ") +
                         def.other_class);
    }
  }
  out->text = std::move(text);
  return success();
}

// Every property inst carries must belong to cls.
Outcome check_property_names(const ClassDef &cls, const CMPIInstance *inst) {
  const CMPICount count = CMGetPropertyCount(inst, nullptr);
  for (CMPICount i = 0; i < count; ++i) {
    CMPIString *name = nullptr;
    release_data(CMGetPropertyAt(inst, i, &name, nullptr));
    const std::string text = take(name);
    if (find_property(cls, text.c_str()) == nullptr) {
      return failure(CMPI_RC_ERR_NO_SUCH_PROPERTY,
                     std::string("class ") + cls.name + " has no property '" + text + "'");
    }
  }
  return success();
}

// The value of a computed property at this moment.
void computed_value(const PropertyDef &def, CMPIValue *value, CMPIType *type) {
  // EffectiveUserID: the user this request is served as.
  (void)def;
  value->uint32 = static_cast<CMPIUint32>(geteuid());
  *type = CMPI_uint32;
}

// The stored property of def in stored: where class order puts it (at *next, just after the
// previous one found), else wherever it is. Names are unique within a stored instance, so the
// one found in place is the one find() would give.
const StoredProperty *stored_property(const StoredInstance &stored, const PropertyDef &def,
                                      size_t *next) {
  const std::vector<StoredProperty> &properties = stored.properties;
  const StoredProperty *found = nullptr;
  if (*next < properties.size() && same_name(properties[*next].name.c_str(), def.name))
    found = &properties[*next];
  else
    found = stored.find(def.name);
  if (found != nullptr) *next = static_cast<size_t>(found - properties.data()) + 1;
  return found;
}

// Sets the stored value of property on inst (as def's type); a string goes in as its
// characters, which the broker copies into a string of its own.
Outcome set_stored_value(const CMPIBroker *broker, CMPIInstance *inst, const PropertyDef &def,
                         const StoredProperty &property) {
  if (def.type == CMPI_string && property.type == CMPI_string && property.text) {
    CMSetProperty(inst, def.name, property.text->c_str(), CMPI_chars);
    return success();
  }
  CMPIValue value;
  Outcome outcome = value_of(broker, property, &value);
  if (!outcome.ok()) return outcome;
  CMSetProperty(inst, def.name, &value, def.type);
  release_value(def.type, &value);
  return success();
}

}  // namespace

StoredProperty *StoredInstance::find(const char *name) {
  for (StoredProperty &property : properties) {
    if (same_name(property.name.c_str(), name)) return &property;
  }
  return nullptr;
}

const StoredProperty *StoredInstance::find(const char *name) const {
  return const_cast<StoredInstance *>(this)->find(name);
}

Outcome class_of_path(const CMPIObjectPath *op, const ClassDef **cls) {
  if (op == nullptr) return failure(CMPI_RC_ERR_INVALID_PARAMETER, "no object path given");
  const std::string name = class_name_of(op);
  *cls = find_class(name.c_str());
  if (*cls == nullptr) {
    return failure(CMPI_RC_ERR_INVALID_CLASS,
                   "class '" + name + "' is not served by this provider");
  }
  return check_name_space(op, **cls);
}

Outcome check_name_space(const CMPIObjectPath *op, const ClassDef &cls) {
  if (op == nullptr) return success();
  const std::string ns = take(CMGetNameSpace(op, nullptr));
  if (!ns.empty() && !same_name(ns.c_str(), kNameSpace))
    return failure(CMPI_RC_ERR_INVALID_NAMESPACE,
                   "namespace '" + ns + "' has no class " + cls.name);
  return success();
}

Outcome key_text_of_path(const CMPIBroker *broker, const ClassDef &cls, const CMPIObjectPath *op,
                      std::string *key) {
  key->clear();
  for (const PropertyDef &def : cls) {
    if (!def.is_key()) continue;
    const CMPIData data = CMGetKey(op, def.name, nullptr);
    std::string text;
    const Outcome outcome = key_value_text(broker, def, data, &text);
    release_data(data);
    if (!outcome.ok()) return outcome;
    if (!key->empty()) key->push_back(',');
    key->append(def.name).append("=").append(text);
  }
  return success();
}

Outcome stored_from_instance(const CMPIBroker *broker, const ClassDef &cls, const CMPIObjectPath *op,
                           const CMPIInstance *inst, StoredInstance *stored) {
  if (inst == nullptr) return failure(CMPI_RC_ERR_INVALID_PARAMETER, "no instance given");
  Outcome outcome = check_property_names(cls, inst);
  if (!outcome.ok()) return outcome;
  stored->key.clear();
  stored->properties.clear();
  for (const PropertyDef &def : cls) {
    if (def.is_computed()) continue;
    CMPIData data = CMGetProperty(inst, def.name, nullptr);
    if (def.is_key() && is_null(data) && op != nullptr) {
      release_data(data);
      data = CMGetKey(op, def.name, nullptr);
    }
    StoredProperty property;
    outcome = convert(broker, def, data, &property);
    if (outcome.ok() && def.is_key()) {
      std::string text;
      outcome = key_value_text(broker, def, data, &text);
      if (!stored->key.empty()) stored->key.push_back(',');
      stored->key.append(def.name).append("=").append(text);
    }
    release_data(data);
    if (!outcome.ok()) return outcome;
    stored->properties.push_back(std::move(property));
  }
  return success();
}

Outcome apply_modification(const CMPIBroker *broker, const ClassDef &cls, const CMPIInstance *inst,
                          const char **properties, StoredInstance *stored) {
  if (inst == nullptr) return failure(CMPI_RC_ERR_INVALID_PARAMETER, "no instance given");
  std::vector<std::string> names;
  if (properties != nullptr) {
    for (const char **p = properties; *p != nullptr; ++p) names.emplace_back(*p);
  } else {
    const CMPICount count = CMGetPropertyCount(inst, nullptr);
    for (CMPICount i = 0; i < count; ++i) {
      CMPIString *name = nullptr;
      release_data(CMGetPropertyAt(inst, i, &name, nullptr));
      names.push_back(take(name));
    }
  }
  for (const std::string &name : names) {
    const PropertyDef *def = find_property(cls, name.c_str());
    if (def == nullptr) {
      return failure(CMPI_RC_ERR_NO_SUCH_PROPERTY,
                     std::string("class ") + cls.name + " has no property '" + name + "'");
    }
    if (def->is_key() || def->is_computed()) continue;
    const CMPIData data = CMGetProperty(inst, def->name, nullptr);
    StoredProperty property;
    const Outcome outcome = convert(broker, *def, data, &property);
    release_data(data);
    if (!outcome.ok()) return outcome;
    StoredProperty *target = stored->find(def->name);
    if (target != nullptr)
      *target = std::move(property);
    else
      stored->properties.push_back(std::move(property));
  }
  return success();
}

Outcome value_of(const CMPIBroker *broker, const StoredProperty &property, CMPIValue *value) {
  if (!property.text) return failure(CMPI_RC_ERR_FAILED, "'" + property.name + "' is null");
  const CMPIrc rc = decode_value(broker, property.type, *property.text, value);
  if (rc != CMPI_RC_OK)
    return failure(rc, "the stored value of '" + property.name + "' cannot be read");
  return success();
}

CMPIObjectPath *path_of(const CMPIBroker *broker, const ClassDef &cls, const StoredInstance &stored,
                       Outcome *outcome) {
  CMPIStatus st = {CMPI_RC_OK, nullptr};
  CMPIObjectPath *op = CMNewObjectPath(broker, kNameSpace, cls.name, &st);
  if (op == nullptr) {
    *outcome = failure(CMPI_RC_ERR_FAILED, "no object path could be made");
    return nullptr;
  }
  size_t next = 0;
  for (const PropertyDef &def : cls) {
    if (!def.is_key()) continue;
    const StoredProperty *property = stored_property(stored, def, &next);
    if (property != nullptr && def.type == CMPI_string && property->type == CMPI_string &&
        property->text) {
      // The characters go in as they are; the broker makes the string.
      CMAddKey(op, def.name, property->text->c_str(), CMPI_chars);
      continue;
    }
    CMPIValue value;
    *outcome = property != nullptr
                   ? value_of(broker, *property, &value)
                   : failure(CMPI_RC_ERR_FAILED, std::string("key '") + def.name + "' is lost");
    if (!outcome->ok()) {
      CMRelease(op);
      return nullptr;
    }
    CMAddKey(op, def.name, &value, def.type);
    release_value(def.type, &value);
  }
  *outcome = success();
  return op;
}

CMPIInstance *instance_of(const CMPIBroker *broker, const ClassDef &cls,
                         const StoredInstance &stored, const char **properties, Outcome *outcome) {
  CMPIObjectPath *op = path_of(broker, cls, stored, outcome);
  if (op == nullptr) return nullptr;
  CMPIInstance *inst = CMNewInstance(broker, op, nullptr);
  CMRelease(op);
  if (inst == nullptr) {
    *outcome = failure(CMPI_RC_ERR_FAILED, "no instance could be made");
    return nullptr;
  }
  size_t next = 0;
  for (const PropertyDef &def : cls) {
    if (!def.is_key() && properties != nullptr && !listed(properties, def.name)) continue;
    if (def.is_computed()) {
      CMPIValue value;
      CMPIType type = def.type;
      computed_value(def, &value, &type);
      CMSetProperty(inst, def.name, &value, type);
      continue;
    }
    const StoredProperty *property = stored_property(stored, def, &next);
    if (property == nullptr || !property->text) {
      // A null reference or embedded instance is left out: the wire form of an instance has no
      // null for them, and a host could not pass the instance on.
      if (def.type != CMPI_ref && def.type != CMPI_instance)
        CMSetProperty(inst, def.name, nullptr, def.type);
      continue;
    }
    *outcome = set_stored_value(broker, inst, def, *property);
    if (!outcome->ok()) {
      CMRelease(inst);
      return nullptr;
    }
  }
  *outcome = success();
  return inst;
}

Outcome key_text_of_reference(const CMPIBroker *broker, const StoredProperty &reference,
                           const ClassDef **cls, std::string *key) {
  CMPIValue value;
  Outcome outcome = value_of(broker, reference, &value);
  if (!outcome.ok()) return outcome;
  *cls = find_class(class_name_of(value.ref).c_str());
  if (*cls == nullptr) {
    outcome = failure(CMPI_RC_ERR_FAILED, "'" + reference.name + "' refers to an unknown class");
  } else {
    outcome = key_text_of_path(broker, **cls, value.ref, key);
  }
  release_value(CMPI_ref, &value);
  return outcome;
}

std::string with_article(const std::string &name) {
  const bool vowel =
      !name.empty() && (name[0] == 'a' || name[0] == 'e' || name[0] == 'i' || name[0] == 'o');
  return (vowel ? "an " : "a ") + name;
}

std::string type_name(CMPIType type) {
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
