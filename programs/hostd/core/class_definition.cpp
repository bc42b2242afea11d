// class_definition.cpp - reading a class definition with SQLite.
#include "class_definition.h"

#include <sqlite3.h>

#include "schema_rows.h"

namespace hostd {
namespace {

using wire::SchemaDatabase;
using wire::SchemaQuery;

const char kClassSql[] =
    "SELECT ClassName, NameSpace FROM Tbl_ClassMetadata WHERE ClassName = ?1 COLLATE NOCASE";
const char kClassTableSql[] =
    "SELECT ClassName, NameSpace FROM Tbl_Class WHERE ClassName = ?1 COLLATE NOCASE";
const char kPropertySql[] =
    "SELECT PropertyName FROM Tbl_ClassProperty WHERE ClassName = ?1 COLLATE NOCASE "
    "ORDER BY Position";
const char kMethodSql[] =
    "SELECT MethodName FROM Tbl_ClassMethod WHERE ClassName = ?1 COLLATE NOCASE "
    "ORDER BY Position";
const char kParameterSql[] =
    "SELECT p.MethodName, p.ParameterName, p.DataType, p.Direction "
    "FROM Tbl_MethodParameter AS p LEFT JOIN Tbl_ClassMethod AS m "
    "ON m.ClassName = p.ClassName AND m.MethodName = p.MethodName "
    "WHERE p.ClassName = ?1 COLLATE NOCASE ORDER BY m.Position, p.MethodName, p.Position";

// A statement of the class tables, prepared with class_name bound; *why when it cannot be.
bool prepare(SchemaQuery *query, sqlite3 *db, const char *sql, const std::string &class_name,
             std::string *why) {
  if (!query->prepare(db, sql)) {
    *why = std::string("cannot read the class definitions: ") + sqlite3_errmsg(db);
    return false;
  }
  query->bind(class_name);
  return true;
}

bool read_names(sqlite3 *db, const char *sql, const std::string &class_name,
                std::vector<std::string> *out, std::string *why) {
  SchemaQuery query;
  if (!prepare(&query, db, sql, class_name, why)) return false;
  bool failed = false;
  while (query.step(&failed)) out->push_back(query.text(0));
  if (failed) *why = std::string("cannot read the class definitions: ") + sqlite3_errmsg(db);
  return !failed;
}

// The class's stored name and namespace from sql's first row; false at no row or when the
// statement cannot be prepared (a database without Tbl_Class); *failed when stepping failed.
bool class_row(sqlite3 *db, const char *sql, const std::string &class_name,
               ClassDefinition *definition, bool *failed) {
  *failed = false;
  SchemaQuery query;
  if (!query.prepare(db, sql)) return false;
  query.bind(class_name);
  if (!query.step(failed)) return false;
  definition->name = query.text(0);
  definition->name_space = query.text(1);
  return true;
}

bool same_name(const std::string &a, const std::string &b) {
  return wire::lower_name(a) == wire::lower_name(b);
}

void add_unique(std::vector<std::string> *names, const std::string &name) {
  for (const std::string &known : *names) {
    if (same_name(known, name)) return;
  }
  names->push_back(name);
}

// What class_name declares itself, merged into *definition: properties and methods it
// redeclares keep their inherited place; a redeclared method's parameters are its own.
bool merge_own(sqlite3 *db, const std::string &class_name, ClassDefinition *definition,
               std::string *why) {
  std::vector<std::string> properties;
  std::vector<std::string> methods;
  if (!read_names(db, kPropertySql, class_name, &properties, why) ||
      !read_names(db, kMethodSql, class_name, &methods, why)) {
    return false;
  }
  for (const std::string &name : properties) add_unique(&definition->properties, name);
  for (const std::string &name : methods) add_unique(&definition->methods, name);
  SchemaQuery query;
  if (!prepare(&query, db, kParameterSql, class_name, why)) return false;
  std::vector<MethodParameter> own;
  bool failed = false;
  while (query.step(&failed)) {
    own.push_back(MethodParameter{query.text(0), query.text(1),
                                  static_cast<unsigned>(query.integer(2)), query.text(3)});
  }
  if (failed) {
    *why = std::string("cannot read Tbl_MethodParameter: ") + sqlite3_errmsg(db);
    return false;
  }
  std::vector<MethodParameter> merged;
  for (const MethodParameter &inherited : definition->parameters) {
    bool redeclared = false;
    for (const std::string &method : methods) {
      redeclared = redeclared || same_name(method, inherited.method);
    }
    if (!redeclared) merged.push_back(inherited);
  }
  merged.insert(merged.end(), own.begin(), own.end());
  definition->parameters = std::move(merged);
  return true;
}

}  // namespace

bool schema_database_opens(const std::string &path, std::string *why) {
  SchemaDatabase db;
  return db.open(path, why);
}

ClassLookup load_class_definition(const std::string &path, const std::string &class_name,
                                  ClassDefinition *definition, std::string *why) {
  SchemaDatabase db;
  if (!db.open(path, why)) return ClassLookup::kFailed;
  bool failed = false;
  if (!class_row(db.get(), kClassSql, class_name, definition, &failed)) {
    if (failed) {
      *why = std::string("cannot read Tbl_ClassMetadata: ") + sqlite3_errmsg(db.get());
      return ClassLookup::kFailed;
    }
    // A class without a provider is still a class when the hierarchy lists it.
    if (!class_row(db.get(), kClassTableSql, class_name, definition, &failed)) {
      if (failed) {
        *why = std::string("cannot read Tbl_Class: ") + sqlite3_errmsg(db.get());
        return ClassLookup::kFailed;
      }
      return ClassLookup::kUnknownClass;
    }
  }
  // From the farthest superclass down to the class itself.
  for (const std::string &cls : wire::superclass_chain(db.get(), definition->name)) {
    if (!merge_own(db.get(), cls, definition, why)) return ClassLookup::kFailed;
  }
  definition->defaults = load_class_defaults(path, definition->name);
  return ClassLookup::kFound;
}

}  // namespace hostd
