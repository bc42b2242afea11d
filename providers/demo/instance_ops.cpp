// instance_ops.cpp - enumerate, get, create, modify, delete and query over the state.
#include "instance_ops.h"

#include <cmpimacs.h>

#include <string>
#include <vector>

#include "instance_model.h"
#include "query.h"
#include "state_store.h"

namespace demo {

namespace {

// Returns inst into result and releases it.
void return_instance(const CMPIResult *result, CMPIInstance *inst) {
  CMReturnInstance(result, inst);
  CMRelease(inst);
}

void return_path(const CMPIResult *result, CMPIObjectPath *op) {
  CMReturnObjectPath(result, op);
  CMRelease(op);
}

Outcome not_found(const ClassDef &cls, const std::string &key) {
  return failure(CMPI_RC_ERR_NOT_FOUND, std::string(cls.name) + " " + key + " does not exist");
}

// Both ends of a new Demo_ChassisFan must exist.
Outcome check_ends(const CMPIBroker *broker, StateStore &store, const StoredInstance &stored) {
  for (const char *role : {kGroupRole, kPartRole}) {
    const StoredProperty *end = stored.find(role);
    const ClassDef *cls = nullptr;
    std::string key;
    Outcome outcome = end != nullptr ? key_text_of_reference(broker, *end, &cls, &key)
                                     : failure(CMPI_RC_ERR_INVALID_PARAMETER, "no end");
    StoredInstance target;
    bool found = false;
    if (outcome.ok()) outcome = store.find(*cls, key, &target, &found);
    if (!outcome.ok()) return outcome;
    if (!found) {
      return failure(CMPI_RC_ERR_INVALID_PARAMETER, std::string(role) + " refers to " + cls->name +
                                                        " " + key + ", which does not exist");
    }
  }
  return success();
}

// Removes every Demo_ChassisFan that has the instance (cls, key) at one of its ends.
Outcome remove_memberships(const CMPIBroker *broker, StateStore &store, const ClassDef &cls,
                          const std::string &key) {
  const ClassDef &association = *find_class(kChassisFanClass);
  std::vector<StoredInstance> memberships;
  Outcome outcome = store.list(association, &memberships);
  for (const StoredInstance &membership : memberships) {
    for (const char *role : {kGroupRole, kPartRole}) {
      const StoredProperty *end = membership.find(role);
      const ClassDef *end_class = nullptr;
      std::string end_key;
      if (!outcome.ok() || end == nullptr) break;
      outcome = key_text_of_reference(broker, *end, &end_class, &end_key);
      if (outcome.ok() && end_class == &cls && end_key == key) {
        outcome = store.remove(association, membership.key);
        break;
      }
    }
  }
  return outcome;
}

// The class and key text of the instance op names, and the state opened: how every operation
// on one instance starts.
Outcome open_instance_state(const CMPIBroker *broker, const CMPIObjectPath *op,
                            const ClassDef **cls, std::string *key, StateStore *store) {
  Outcome outcome = class_of_path(op, cls);
  if (outcome.ok()) outcome = key_text_of_path(broker, **cls, op, key);
  if (outcome.ok()) outcome = store->open(broker);
  return outcome;
}

}  // namespace

Outcome enumerate_instance_names(const CMPIBroker *broker, const CMPIResult *result,
                               const CMPIObjectPath *op) {
  const ClassDef *cls = nullptr;
  Outcome outcome = class_of_path(op, &cls);
  StateStore store;
  if (outcome.ok()) outcome = store.open(broker);
  if (outcome.ok()) {
    outcome = store.each(*cls, [&](const StoredInstance &stored) {
      Outcome made = success();
      CMPIObjectPath *path = path_of(broker, *cls, stored, &made);
      if (path != nullptr) return_path(result, path);
      return made;
    });
  }
  if (outcome.ok()) CMReturnDone(result);
  return outcome;
}

Outcome enumerate_instances(const CMPIBroker *broker, const CMPIResult *result, const ClassDef &cls,
                           const char **properties) {
  StateStore store;
  Outcome outcome = store.open(broker);
  if (outcome.ok()) {
    outcome = store.each(cls, [&](const StoredInstance &stored) {
      Outcome made = success();
      CMPIInstance *inst = instance_of(broker, cls, stored, properties, &made);
      if (inst != nullptr) return_instance(result, inst);
      return made;
    });
  }
  if (outcome.ok()) CMReturnDone(result);
  return outcome;
}

Outcome get_instance(const CMPIBroker *broker, const CMPIResult *result, const CMPIObjectPath *op,
                    const char **properties) {
  const ClassDef *cls = nullptr;
  std::string key;
  StateStore store;
  Outcome outcome = open_instance_state(broker, op, &cls, &key, &store);
  StoredInstance stored;
  bool found = false;
  if (outcome.ok()) outcome = store.find(*cls, key, &stored, &found);
  if (!outcome.ok()) return outcome;
  if (!found) return not_found(*cls, key);
  CMPIInstance *inst = instance_of(broker, *cls, stored, properties, &outcome);
  if (inst == nullptr) return outcome;
  return_instance(result, inst);
  CMReturnDone(result);
  return success();
}

Outcome create_instance(const CMPIBroker *broker, const CMPIResult *result, const CMPIObjectPath *op,
                       const CMPIInstance *inst) {
  if (inst == nullptr) return failure(CMPI_RC_ERR_INVALID_PARAMETER, "no instance given");
  CMPIObjectPath *own = op == nullptr ? CMGetObjectPath(inst, nullptr) : nullptr;
  const CMPIObjectPath *path = op != nullptr ? op : own;
  const ClassDef *cls = nullptr;
  Outcome outcome = class_of_path(path, &cls);
  StoredInstance stored;
  if (outcome.ok()) outcome = stored_from_instance(broker, *cls, path, inst, &stored);
  if (own != nullptr) CMRelease(own);
  StateStore store;
  if (outcome.ok()) outcome = store.open(broker);
  if (outcome.ok()) outcome = store.begin();
  if (outcome.ok() && same_name(cls->name, kChassisFanClass))
    outcome = check_ends(broker, store, stored);
  if (outcome.ok()) outcome = store.insert(*cls, stored);
  if (outcome.ok()) outcome = store.commit();
  if (!outcome.ok()) return outcome;
  CMPIObjectPath *created = path_of(broker, *cls, stored, &outcome);
  if (created == nullptr) return outcome;
  return_path(result, created);
  CMReturnDone(result);
  return success();
}

Outcome modify_instance(const CMPIBroker *broker, const CMPIResult *result, const CMPIObjectPath *op,
                       const CMPIInstance *inst, const char **properties) {
  const ClassDef *cls = nullptr;
  std::string key;
  StateStore store;
  Outcome outcome = open_instance_state(broker, op, &cls, &key, &store);
  if (outcome.ok()) outcome = store.begin();
  StoredInstance stored;
  bool found = false;
  if (outcome.ok()) outcome = store.find(*cls, key, &stored, &found);
  if (outcome.ok() && !found) outcome = not_found(*cls, key);
  if (outcome.ok()) outcome = apply_modification(broker, *cls, inst, properties, &stored);
  if (outcome.ok()) outcome = store.update(*cls, stored);
  if (outcome.ok()) outcome = store.commit();
  if (outcome.ok()) CMReturnDone(result);
  return outcome;
}

Outcome delete_instance(const CMPIBroker *broker, const CMPIResult *result,
                       const CMPIObjectPath *op) {
  const ClassDef *cls = nullptr;
  std::string key;
  StateStore store;
  Outcome outcome = open_instance_state(broker, op, &cls, &key, &store);
  if (outcome.ok()) outcome = store.begin();
  if (outcome.ok()) outcome = store.remove(*cls, key);
  if (outcome.ok() && !same_name(cls->name, kChassisFanClass))
    outcome = remove_memberships(broker, store, *cls, key);
  if (outcome.ok()) outcome = store.commit();
  if (outcome.ok()) CMReturnDone(result);
  return outcome;
}

Outcome exec_query(const CMPIBroker *broker, const CMPIResult *result, const CMPIObjectPath *op,
                  const char *text, const char *language) {
  if (!is_supported_language(language)) {
    return failure(CMPI_RC_ERR_QUERY_LANGUAGE_NOT_SUPPORTED,
                   std::string("query language '") + language + "' is not supported");
  }
  Query query;
  Outcome outcome = parse_query(text, &query);
  if (!outcome.ok()) return outcome;
  const ClassDef *cls = find_class(query.class_name.c_str());
  if (cls == nullptr) {
    return failure(CMPI_RC_ERR_INVALID_CLASS,
                   "class '" + query.class_name + "' is not served by this provider");
  }
  // The path gives the namespace; its class, if any, does not matter.
  outcome = check_name_space(op, *cls);
  if (!outcome.ok()) return outcome;
  outcome = check_query(*cls, query);
  if (!outcome.ok()) return outcome;
  std::vector<const char *> projection;
  for (const std::string &name : query.properties) projection.push_back(name.c_str());
  projection.push_back(nullptr);
  StateStore store;
  outcome = store.open(broker);
  if (outcome.ok()) {
    // The condition is evaluated on the whole instance, then the selected properties are taken.
    outcome = store.each(*cls, [&](const StoredInstance &stored) {
      Outcome made = success();
      CMPIInstance *inst = instance_of(broker, *cls, stored, nullptr, &made);
      if (inst == nullptr) return made;
      if (!matches(query, inst)) {
        CMRelease(inst);
        return made;
      }
      if (!query.properties.empty()) {
        CMRelease(inst);
        inst = instance_of(broker, *cls, stored, projection.data(), &made);
        if (inst == nullptr) return made;
      }
      return_instance(result, inst);
      return made;
    });
  }
  if (outcome.ok()) CMReturnDone(result);
  return outcome;
}

}  // namespace demo
