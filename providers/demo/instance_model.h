// instance_model.h - between CMPI objects and the stored form of an instance.
//
// A stored instance is its key text and the stored value of every property of its class that
// is not computed, in class order. The key text names the instance uniquely within its class:
//   Name="value",Name2="value"
// with the keys in class order, backslash before every '"' and '\' inside a value, and a
// reference key written as the referenced class name, '.', and the referenced instance's own key
// text (so GroupComponent="Demo_Chassis.Tag=\"chassis0\""). Namespaces and the order in which a
// client wrote the keys do not change it.
#ifndef DEMO_PROVIDER_INSTANCE_MODEL_H
#define DEMO_PROVIDER_INSTANCE_MODEL_H

#include <cmpidt.h>

#include <optional>
#include <string>
#include <vector>

#include "classes.h"
#include "outcome.h"

namespace demo {

struct StoredProperty {
  std::string name;
  CMPIType type = CMPI_null;
  std::optional<std::string> text;  // nullopt: the property is null
};

struct StoredInstance {
  std::string key;
  std::vector<StoredProperty> properties;

  StoredProperty *find(const char *name);
  const StoredProperty *find(const char *name) const;
};

// The class of op, checked: a class this provider serves and, when op names a namespace, the
// demo namespace. Unknown classes give CMPI_RC_ERR_INVALID_CLASS, other namespaces
// CMPI_RC_ERR_INVALID_NAMESPACE.
Outcome class_of_path(const CMPIObjectPath *op, const ClassDef **cls);

// When op (which may be NULL) names a namespace, it must be the demo namespace.
Outcome check_name_space(const CMPIObjectPath *op, const ClassDef &cls);

// The key text of the instance op names (every key of cls must be there, else
// CMPI_RC_ERR_INVALID_PARAMETER).
Outcome key_text_of_path(const CMPIBroker *broker, const ClassDef &cls, const CMPIObjectPath *op,
                      std::string *key);

// The stored form of a new instance: every key from inst or else from op, every other stored
// property from inst (missing ones null). Unknown properties give
// CMPI_RC_ERR_NO_SUCH_PROPERTY, values that do not convert to the property's type
// CMPI_RC_ERR_TYPE_MISMATCH, missing keys CMPI_RC_ERR_INVALID_PARAMETER. Computed properties
// are ignored.
Outcome stored_from_instance(const CMPIBroker *broker, const ClassDef &cls, const CMPIObjectPath *op,
                           const CMPIInstance *inst, StoredInstance *stored);

// Applies a modification to stored: every property named in properties (NULL: every property
// inst carries) takes inst's value, or null when inst does not carry it. Keys and computed
// properties are left alone; errors as for stored_from_instance.
Outcome apply_modification(const CMPIBroker *broker, const ClassDef &cls, const CMPIInstance *inst,
                          const char **properties, StoredInstance *stored);

// The object path of a stored instance, in the demo namespace; owned by the caller.
CMPIObjectPath *path_of(const CMPIBroker *broker, const ClassDef &cls, const StoredInstance &stored,
                       Outcome *outcome);

// The instance of a stored instance with its computed properties worked out now. properties
// (NULL: all) limits the non-key properties it carries; keys are always there. A null property
// is carried as null, except a null reference or embedded instance, which is left out (hosts
// have no wire form for those). Owned by the caller.
CMPIInstance *instance_of(const CMPIBroker *broker, const ClassDef &cls,
                         const StoredInstance &stored, const char **properties, Outcome *outcome);

// A stored value as a new CMPI value (owned by the caller, see release_value).
Outcome value_of(const CMPIBroker *broker, const StoredProperty &property, CMPIValue *value);

// The key text of the instance a stored reference points to, with its class.
Outcome key_text_of_reference(const CMPIBroker *broker, const StoredProperty &reference,
                           const ClassDef **cls, std::string *key);

// The type name used in messages ("uint32", "string array", ...).
std::string type_name(CMPIType type);

// name with "a " or "an " before it ("a uint32", "an embedded instance").
std::string with_article(const std::string &name);

}  // namespace demo

#endif  // DEMO_PROVIDER_INSTANCE_MODEL_H
