// schema_classes.h - classes as the schema database declares them, for GetClass,
// EnumerateClasses and EnumerateClassNames, and for the types of values that a request sends
// without one (method parameters, SetProperty's new value).
//
// Read with wire::SchemaDatabase (read-only, class names without regard to case). A class
// exists when Tbl_Class or Tbl_ClassMetadata lists it. Its properties and methods are its
// superclasses' (farthest first) followed by its own; one it redeclares keeps its inherited
// place and takes the new declaration. Nothing is cached: each call opens the database.
#ifndef CMPI_WBEMD_SCHEMA_CLASSES_H
#define CMPI_WBEMD_SCHEMA_CLASSES_H

#include <cmpidt.h>

#include <string>
#include <vector>

namespace wbem {

struct PropertyModel {
  std::string name;
  CMPIType type = CMPI_string;  // with CMPI_ARRAY for arrays
  bool is_key = false;
  std::string reference_class;
  std::string origin;  // the class that declares it
};

struct ParameterModel {
  std::string name;
  CMPIType type = CMPI_string;
  std::string direction;  // "in", "out", "inout"
  std::string reference_class;
};

struct MethodModel {
  std::string name;
  CMPIType return_type = 0;
  std::vector<ParameterModel> parameters;
  std::string origin;
};

struct ClassModel {
  std::string name;         // as stored
  std::string superclass;   // "" for none
  std::string name_space;
  bool is_association = false;
  bool is_abstract = false;
  std::vector<PropertyModel> properties;
  std::vector<MethodModel> methods;

  const PropertyModel *property(const std::string &name) const;
  const MethodModel *method(const std::string &name) const;
};

enum class ClassLookup { kFound, kNoClass, kUnreadable };

// The class class_name in name_space (names compared without regard to case). *why says what
// went wrong for kUnreadable.
ClassLookup load_class(const std::string &database, const std::string &name_space,
                       const std::string &class_name, ClassModel *out, std::string *why);

// The classes of name_space: with class_name empty, the top-level classes (deep: all); else the
// direct subclasses of class_name (deep: all below it). Sorted by name. false with *why when
// the database cannot be read.
bool list_classes(const std::string &database, const std::string &name_space,
                  const std::string &class_name, bool deep, std::vector<std::string> *out,
                  std::string *why);

}  // namespace wbem

#endif  // CMPI_WBEMD_SCHEMA_CLASSES_H
