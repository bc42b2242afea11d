// schema_rows.h - the rows an import puts into the schema database, per declaration, in
// declaration order (see share/schema.sql for the tables).
#ifndef CMPI_MOF_SCHEMA_ROWS_H
#define CMPI_MOF_SCHEMA_ROWS_H

#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace mof {

struct PropertyRow {  // Tbl_ClassProperty
  std::string name;
  int dataType = 0;
  bool isKey = false;
  int position = 0;
  std::optional<std::string> referenceClass;
  std::optional<std::string> defaultValue;  // JSON text
};

struct ParameterRow {  // Tbl_MethodParameter
  std::string name;
  int dataType = 0;
  std::string direction;  // "in", "out" or "inout"
  int position = 0;
  std::optional<std::string> referenceClass;
};

struct MethodRow {  // Tbl_ClassMethod
  std::string name;
  int returnType = 0;
  int position = 0;
  std::vector<ParameterRow> parameters;
};

// A class and everything it declares itself. Storing it replaces the rows of the class of
// that name (any case) in Tbl_Class, Tbl_ClassProperty, Tbl_ClassMethod and Tbl_MethodParameter.
struct ClassRows {
  std::string name;
  std::optional<std::string> superClass;
  std::string nameSpace;
  bool isAssociation = false;
  bool isAbstract = false;
  std::vector<PropertyRow> properties;
  std::vector<MethodRow> methods;
};

struct MetadataRow {  // Tbl_ClassMetadata
  std::string className;
  std::string providerName;
  std::string nameSpace;
  bool unloadNever = false;
};

// One provider registration: storing it replaces the Tbl_ClassMetadata rows of its classes.
struct RegistrationRows {
  std::string providerName;
  std::vector<MetadataRow> classes;
};

struct SchemaRows {
  std::vector<std::variant<ClassRows, RegistrationRows>> entries;
};

}  // namespace mof

#endif  // CMPI_MOF_SCHEMA_ROWS_H
