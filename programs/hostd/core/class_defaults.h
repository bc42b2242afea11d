// class_defaults.h - the default values a class's MOF gives its properties.
//
// The schema database keeps them as JSON text (Tbl_ClassProperty.DefaultValue: a number, a
// string, true/false, or an array of those; date-times and char16 as strings). A class has the
// defaults of its superclasses, overridden by its own (a redeclared property with a default
// replaces the inherited one; one without keeps none). An instance that a provider makes
// through the worker's broker starts with them, as under a CIM object manager.
#ifndef CMPI_HOSTD_CLASS_DEFAULTS_H
#define CMPI_HOSTD_CLASS_DEFAULTS_H

#include <cmpidt.h>
#include <cmpift.h>
#include <json/json.h>

#include <string>
#include <vector>

namespace hostd {

struct PropertyDefault {
  std::string property;
  CMPIType type = CMPI_null;  // the CMPI type code, array flag included
  Json::Value value;
};

// The defaults of class_name from the database at path (empty when it lists none or cannot be
// read; a default that is not valid JSON is skipped).
std::vector<PropertyDefault> load_class_defaults(const std::string &path,
                                                 const std::string &class_name);

// Sets each default on inst. A value that does not fit its type is skipped. Returns how many
// were set.
int apply_defaults(CMPIInstance *inst, const std::vector<PropertyDefault> &defaults);

}  // namespace hostd

#endif  // CMPI_HOSTD_CLASS_DEFAULTS_H
