// import_check.cpp - see import_check.h.
#include "import_check.h"

#include <cctype>
#include <map>
#include <set>

#include "cim_type.h"
#include "default_value.h"
#include "qualifiers.h"
#include "token.h"

namespace mof {

namespace {

std::string Lower(const std::string &name) {
  std::string lower = name;
  for (char &c : lower) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return lower;
}

struct DeclaredClass {
  std::string name;
  bool isAssociation = false;
  SourceLocation where;
};

struct ResolvedType {
  CimType type = CimType::String;
  std::optional<std::string> referenceClass;
};

bool IsIdentifier(const std::string &text) {
  if (text.empty() || std::isdigit(static_cast<unsigned char>(text[0])) != 0) return false;
  for (char c : text) {
    if (std::isalnum(static_cast<unsigned char>(c)) == 0 && c != '_') return false;
  }
  return true;
}

class ImportChecker {
 public:
  ImportChecker(const ClassCatalog &catalog, Diagnostics &diagnostics)
      : catalog_(catalog), diagnostics_(diagnostics) {}

  SchemaRows check(const MofDocument &doc) {
    SchemaRows rows;
    std::vector<std::pair<std::size_t, const InstanceDecl *>> registrations;
    for (const auto &declaration : doc.declarations) {
      if (const auto *decl = std::get_if<ClassDecl>(&declaration)) {
        std::optional<ClassRows> classRows = checkClass(*decl);
        if (classRows) rows.entries.emplace_back(std::move(*classRows));
        continue;
      }
      const InstanceDecl &instance = std::get<InstanceDecl>(declaration);
      if (!EqualNoCase(instance.className, kRegistrationClass)) {
        diagnostics_.warning(instance.where, "instance of " + instance.className +
                                                 " is not stored (only provider registrations are)");
        continue;
      }
      // Registrations may name classes declared after them: checked once all are known.
      registrations.emplace_back(rows.entries.size(), &instance);
      rows.entries.emplace_back(RegistrationRows{});
    }
    for (const auto &[index, instance] : registrations) {
      rows.entries[index] = checkRegistration(*instance);
    }
    return rows;
  }

 private:
  // Runs one check; a MofError becomes an error line and returns false.
  template <typename Check>
  bool report(Check &&check) {
    try {
      check();
      return true;
    } catch (const MofError &e) {
      diagnostics_.error(e);
      return false;
    }
  }

  std::optional<KnownClass> findClass(const std::string &name) const {
    const auto found = declared_.find(Lower(name));
    if (found != declared_.end()) return KnownClass{found->second.name, found->second.isAssociation};
    return catalog_.find(name);
  }

  ResolvedType resolveType(const WrittenType &written, const std::vector<Qualifier> &qualifiers,
                           const std::string &what) {
    ResolvedType resolved;
    if (written.isReference) {
      resolved.type = CimType::Reference;
      resolved.referenceClass = written.name;
    } else {
      const std::optional<CimType> builtIn = BuiltInType(written.name);
      if (!builtIn) {
        std::string hint;
        if (findClass(written.name)) hint = " (a reference is written '" + written.name + " REF Name')";
        throw MofError(written.where, "unknown type '" + written.name + "' of " + what + hint);
      }
      resolved.type = *builtIn;
    }
    if (EmbeddedQualifier(qualifiers)) {
      if (resolved.type != CimType::String)
        throw MofError(written.where, "EmbeddedInstance and EmbeddedObject apply to strings only, "
                                   "not to the " + std::string(TypeName(resolved.type)) + " " + what);
      resolved.type = CimType::Instance;
    }
    return resolved;
  }

  // Names used in one class (properties and methods share them), or in one method.
  class NameSet {
   public:
    // False when the name was there already.
    bool add(const std::string &name) { return names_.insert(Lower(name)).second; }

   private:
    std::set<std::string> names_;
  };

  std::optional<ClassRows> checkClass(const ClassDecl &decl) {
    const std::string key = Lower(decl.name);
    const auto earlier = declared_.find(key);
    if (earlier != declared_.end()) {
      diagnostics_.error(decl.where, "class " + decl.name + " is declared twice in this import "
                                     "(first at " + FormatLocation(earlier->second.where) + ")");
      return std::nullopt;
    }
    ClassRows rows;
    rows.name = decl.name;
    rows.nameSpace = decl.nameSpace;
    report([&] {
      rows.isAssociation = BooleanQualifier(decl.qualifiers, "Association").value_or(false);
    });
    report([&] { rows.isAbstract = BooleanQualifier(decl.qualifiers, "Abstract").value_or(false); });
    if (!decl.superClass.empty()) {
      report([&] {
        const std::optional<KnownClass> super = findClass(decl.superClass);
        if (!super)
          throw MofError(decl.superClassWhere,
                         "superclass " + decl.superClass + " of class " + decl.name +
                             " is neither declared before it nor in the database");
        rows.superClass = super->name;
        rows.isAssociation = rows.isAssociation || super->isAssociation;
      });
    }
    NameSet names;
    for (const PropertyDecl &property : decl.properties) {
      report([&] {
        PropertyRow row = checkProperty(property, decl, names);
        row.position = static_cast<int>(rows.properties.size()) + 1;
        rows.properties.push_back(std::move(row));
      });
    }
    for (const MethodDecl &method : decl.methods) {
      report([&] {
        MethodRow row = checkMethod(method, decl, names);
        row.position = static_cast<int>(rows.methods.size()) + 1;
        rows.methods.push_back(std::move(row));
      });
    }
    declared_[key] = DeclaredClass{decl.name, rows.isAssociation, decl.where};
    return rows;
  }

  PropertyRow checkProperty(const PropertyDecl &property, const ClassDecl &decl, NameSet &names) {
    const std::string what = "property " + property.name;
    if (!names.add(property.name))
      throw MofError(property.where, "property " + property.name +
                                         " is declared twice in class " + decl.name);
    PropertyRow row;
    row.name = property.name;
    const ResolvedType type = resolveType(property.type, property.qualifiers, what);
    row.dataType = TypeCode(type.type, property.array.isArray);
    row.referenceClass = type.referenceClass;
    row.isKey = BooleanQualifier(property.qualifiers, "Key").value_or(false);
    if (row.isKey && property.array.isArray)
      throw MofError(property.where, "key property " + property.name + " cannot be an array");
    if (property.defaultValue)
      row.defaultValue = DefaultValueJson(*property.defaultValue, type.type, property.array, what);
    return row;
  }

  MethodRow checkMethod(const MethodDecl &method, const ClassDecl &decl, NameSet &names) {
    if (!names.add(method.name))
      throw MofError(method.where, "method " + method.name + " is declared twice in class " +
                                       decl.name + " (or a property has its name)");
    MethodRow row;
    row.name = method.name;
    row.returnType =
        TypeCode(resolveType(method.returnType, method.qualifiers, "method " + method.name).type,
                 false);
    NameSet parameterNames;
    for (const ParameterDecl &parameter : method.parameters) {
      if (!parameterNames.add(parameter.name))
        throw MofError(parameter.where, "parameter " + parameter.name +
                                            " is declared twice in method " + method.name);
      ParameterRow p;
      p.name = parameter.name;
      const ResolvedType type =
          resolveType(parameter.type, parameter.qualifiers, "parameter " + parameter.name);
      p.dataType = TypeCode(type.type, parameter.array.isArray);
      p.referenceClass = type.referenceClass;
      // [In] or nothing: in; [Out]: out; [In, Out]: inout; [In(false), Out]: out.
      const std::optional<bool> out = BooleanQualifier(parameter.qualifiers, "Out");
      const std::optional<bool> in = BooleanQualifier(parameter.qualifiers, "In");
      const bool isOut = out.value_or(false);
      const bool isIn = in.value_or(!isOut);
      if (!isIn && !isOut)
        throw MofError(parameter.where,
                       "parameter " + parameter.name + " of method " + method.name +
                           " is neither in nor out");
      p.direction = isIn && isOut ? "inout" : isIn ? "in" : "out";
      p.position = static_cast<int>(row.parameters.size()) + 1;
      row.parameters.push_back(std::move(p));
    }
    return row;
  }

  // A registration property's value as one non-empty string.
  static std::string StringValue(const PropertyValue &property) {
    const Value &value = property.value;
    if (value.isArray || value.scalar.kind != Scalar::Kind::String || value.scalar.text.empty())
      throw MofError(value.where, property.name + " must be a non-empty string, not " +
                                      DescribeValue(value));
    return value.scalar.text;
  }

  static bool IsNull(const PropertyValue &property) {
    return !property.value.isArray && property.value.scalar.kind == Scalar::Kind::Null;
  }

  RegistrationRows checkRegistration(const InstanceDecl &instance) {
    RegistrationRows rows;
    const PropertyValue *provider = nullptr;
    const PropertyValue *classNames = nullptr;
    bool unloadNever = false;
    std::string nameSpace = instance.nameSpace;
    std::set<std::string> given;
    for (const PropertyValue &property : instance.properties) {
      report([&] {
        if (!given.insert(Lower(property.name)).second)
          throw MofError(property.where, "property " + property.name + " is given twice");
        if (EqualNoCase(property.name, "ProviderName")) {
          provider = &property;
          const std::string name = StringValue(property);
          if (!IsIdentifier(name))
            throw MofError(property.value.where,
                           "ProviderName must be letters, digits and '_' (it names the library "
                           "lib<ProviderName>.so and its MI factories), not \"" + name + "\"");
          rows.providerName = name;
        } else if (EqualNoCase(property.name, "ClassNames")) {
          classNames = &property;
        } else if (EqualNoCase(property.name, "UnloadNever")) {
          if (IsNull(property)) return;
          const Value &value = property.value;
          if (value.isArray || value.scalar.kind != Scalar::Kind::Boolean)
            throw MofError(value.where, "UnloadNever must be true or false, not " + DescribeValue(value));
          unloadNever = value.scalar.boolean;
        } else if (EqualNoCase(property.name, "NameSpace")) {
          if (!IsNull(property)) nameSpace = StringValue(property);
        } else {
          throw MofError(property.where, std::string(kRegistrationClass) + " has no property " +
                                             property.name +
                                             " (it has ProviderName, ClassNames, UnloadNever and "
                                             "NameSpace)");
        }
      });
    }
    if (provider == nullptr)
      diagnostics_.error(instance.where, "the provider registration has no ProviderName");
    if (classNames == nullptr) {
      diagnostics_.error(instance.where, "the provider registration has no ClassNames");
      return rows;
    }
    const Value &value = classNames->value;
    if (!value.isArray || value.elements.empty()) {
      diagnostics_.error(value.where, "ClassNames must be a non-empty array of class names, not " +
                                          DescribeValue(value));
      return rows;
    }
    for (const Scalar &element : value.elements) {
      report([&] {
        if (element.kind != Scalar::Kind::String || element.text.empty())
          throw MofError(element.where, "ClassNames must hold class names (strings), not " +
                                            DescribeScalar(element));
        const std::optional<KnownClass> known = findClass(element.text);
        if (!known)
          throw MofError(element.where, "class " + element.text + " of provider " +
                                            (rows.providerName.empty() ? "?" : rows.providerName) +
                                            " is neither declared in this import nor in the database");
        if (!registered_.insert(Lower(known->name)).second)
          throw MofError(element.where, "class " + known->name +
                                            " is registered twice in this import");
        rows.classes.push_back({known->name, rows.providerName, nameSpace, unloadNever});
      });
    }
    return rows;
  }

  const ClassCatalog &catalog_;
  Diagnostics &diagnostics_;
  std::map<std::string, DeclaredClass> declared_;  // by lower-case name
  std::set<std::string> registered_;               // lower-case class names
};

}  // namespace

SchemaRows CheckImport(const MofDocument &doc, const ClassCatalog &catalog,
                       Diagnostics &diagnostics) {
  return ImportChecker(catalog, diagnostics).check(doc);
}

}  // namespace mof
