// class_definition.h - class definitions from the schema database, for GetClass.
//
// Besides "Tbl_ClassMetadata" (class, provider, namespace, unload policy), the schema database
// holds three tables that describe a class:
//   Tbl_ClassProperty   (ClassName, PropertyName, DataType, IsKey, Position)
//   Tbl_ClassMethod     (ClassName, MethodName, ReturnType, Position)
//   Tbl_MethodParameter (ClassName, MethodName, ParameterName, DataType, Direction, Position)
// and Tbl_Class holds each class's superclass. A class exists when Tbl_ClassMetadata or
// Tbl_Class lists it. Its definition is what it inherits (from the farthest superclass down)
// plus what it declares itself: a property or method it redeclares keeps its inherited place,
// a redeclared method has its own parameters. Class names match without regard to case; the
// answer carries the spelling stored in Tbl_ClassMetadata (else Tbl_Class).
#ifndef CMPI_HOSTD_CLASS_DEFINITION_H
#define CMPI_HOSTD_CLASS_DEFINITION_H

#include <string>

#include "class_defaults.h"
#include <vector>

namespace hostd {

struct MethodParameter {
  std::string method;
  std::string name;
  unsigned data_type = 0;
  std::string direction;  // "in", "out" or "inout"
};

struct ClassDefinition {
  std::string name;
  std::string name_space;
  std::vector<std::string> properties;      // Position order
  std::vector<std::string> methods;         // Position order
  std::vector<MethodParameter> parameters;  // by method Position, then parameter Position
  std::vector<PropertyDefault> defaults;    // inherited first (class_defaults.h)
};

enum class ClassLookup { kFound, kUnknownClass, kFailed };

// Reads the definition of class_name from the database at path; *why says what failed.
ClassLookup load_class_definition(const std::string &path, const std::string &class_name,
                                  ClassDefinition *definition, std::string *why);

// Whether the database at path can be opened read-only (the library's provider look-up ends
// the whole process when it cannot, so the daemon asks first).
bool schema_database_opens(const std::string &path, std::string *why);

}  // namespace hostd

#endif  // CMPI_HOSTD_CLASS_DEFINITION_H
