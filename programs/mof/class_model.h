// class_model.h - what a MOF import declares, as the parser reads it: classes with their
// properties, references and methods, and instances. Nothing here is checked yet beyond the
// syntax (see import_check.h).
#ifndef CMPI_MOF_CLASS_MODEL_H
#define CMPI_MOF_CLASS_MODEL_H

#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "diagnostics.h"
#include "mof_value.h"

namespace mof {

// One qualifier: Key, Description("..."), ValueMap{"1", "2"}. value is empty for a bare name.
struct Qualifier {
  std::string name;
  std::optional<Value> value;
  SourceLocation where;
};

// A type as written: a built-in type's name, or the target class of a reference.
struct WrittenType {
  std::string name;
  bool isReference = false;  // "name REF"
  SourceLocation where;
};

struct ArrayShape {
  bool isArray = false;
  std::uint64_t fixedSize = 0;  // Bytes[4]: 4; 0 for a variable-size array
};

struct PropertyDecl {
  std::vector<Qualifier> qualifiers;
  WrittenType type;
  std::string name;
  ArrayShape array;
  std::optional<Value> defaultValue;  // "= value"
  SourceLocation where;               // of the name
};

struct ParameterDecl {
  std::vector<Qualifier> qualifiers;
  WrittenType type;
  std::string name;
  ArrayShape array;
  SourceLocation where;
};

struct MethodDecl {
  std::vector<Qualifier> qualifiers;
  WrittenType returnType;
  std::string name;
  std::vector<ParameterDecl> parameters;
  SourceLocation where;
};

struct ClassDecl {
  std::vector<Qualifier> qualifiers;
  std::string name;
  std::string superClass;  // empty: none
  SourceLocation superClassWhere;
  std::string nameSpace;  // in effect where the class is declared
  std::vector<PropertyDecl> properties;
  std::vector<MethodDecl> methods;
  SourceLocation where;
};

struct PropertyValue {
  std::string name;
  Value value;
  SourceLocation where;
};

struct InstanceDecl {
  std::string className;
  std::string nameSpace;  // in effect where the instance is declared
  std::vector<PropertyValue> properties;
  SourceLocation where;  // of "instance"
};

// Everything an import declares, in reading order (included files where they are included).
struct MofDocument {
  std::vector<std::variant<ClassDecl, InstanceDecl>> declarations;
};

}  // namespace mof

#endif  // CMPI_MOF_CLASS_MODEL_H
