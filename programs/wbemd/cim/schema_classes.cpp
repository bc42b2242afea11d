// schema_classes.cpp - the class tables read into ClassModel.
#include "schema_classes.h"

#include <strings.h>

#include <algorithm>
#include <map>
#include <set>

#include "schema_rows.h"

namespace wbem {
namespace {

bool same(const std::string &a, const std::string &b) { return strcasecmp(a.c_str(), b.c_str()) == 0; }

struct ClassRow {
  std::string name;
  std::string superclass;
  std::string name_space;
  bool association = false;
  bool abstract = false;
};

// Every class of the database, by lower-case name: Tbl_Class rows, and Tbl_ClassMetadata rows
// of classes Tbl_Class does not list (a provider registered without a declaration).
std::map<std::string, ClassRow> all_classes(sqlite3 *db) {
  std::map<std::string, ClassRow> rows;
  wire::SchemaQuery q;
  if (q.prepare(db, "SELECT ClassName, SuperClass, NameSpace, IsAssociation, IsAbstract FROM Tbl_Class")) {
    while (q.step()) {
      ClassRow r;
      r.name = q.text(0);
      r.superclass = q.is_null(1) ? "" : q.text(1);
      r.name_space = q.text(2);
      r.association = q.integer(3) != 0;
      r.abstract = q.integer(4) != 0;
      rows.emplace(wire::lower_name(r.name), r);
    }
  }
  wire::SchemaQuery m;
  if (m.prepare(db, "SELECT ClassName, NameSpace FROM Tbl_ClassMetadata")) {
    while (m.step()) {
      ClassRow r;
      r.name = m.text(0);
      r.name_space = m.text(1);
      rows.emplace(wire::lower_name(r.name), r);  // a Tbl_Class row stays
    }
  }
  return rows;
}

}  // namespace

const PropertyModel *ClassModel::property(const std::string &n) const {
  for (const PropertyModel &p : properties) {
    if (same(p.name, n)) return &p;
  }
  return nullptr;
}

const MethodModel *ClassModel::method(const std::string &n) const {
  for (const MethodModel &m : methods) {
    if (same(m.name, n)) return &m;
  }
  return nullptr;
}

ClassLookup load_class(const std::string &database, const std::string &name_space,
                       const std::string &class_name, ClassModel *out, std::string *why) {
  wire::SchemaDatabase db;
  if (!db.open(database, why)) return ClassLookup::kUnreadable;
  const std::map<std::string, ClassRow> rows = all_classes(db.get());
  const auto it = rows.find(wire::lower_name(class_name));
  if (it == rows.end() || !same(it->second.name_space, name_space)) return ClassLookup::kNoClass;
  ClassModel model;
  model.name = it->second.name;
  model.superclass = it->second.superclass;
  model.name_space = it->second.name_space;
  model.is_association = it->second.association;
  model.is_abstract = it->second.abstract;

  wire::SchemaQuery props, methods, params;
  const bool have_props = props.prepare(
      db.get(),
      "SELECT PropertyName, DataType, IsKey, ReferenceClass FROM Tbl_ClassProperty "
      "WHERE ClassName = ?1 COLLATE NOCASE ORDER BY Position");
  const bool have_methods = methods.prepare(
      db.get(),
      "SELECT MethodName, ReturnType FROM Tbl_ClassMethod WHERE ClassName = ?1 COLLATE NOCASE "
      "ORDER BY Position");
  const bool have_params = params.prepare(
      db.get(),
      "SELECT MethodName, ParameterName, DataType, Direction, ReferenceClass FROM "
      "Tbl_MethodParameter WHERE ClassName = ?1 COLLATE NOCASE ORDER BY Position");
  for (const std::string &cls : wire::superclass_chain(db.get(), model.name)) {
    if (have_props) {
      props.bind(cls);
      while (props.step()) {
        PropertyModel p;
        p.name = props.text(0);
        p.type = static_cast<CMPIType>(props.integer(1));
        p.is_key = props.integer(2) != 0;
        p.reference_class = props.is_null(3) ? "" : props.text(3);
        p.origin = cls;
        auto old = std::find_if(model.properties.begin(), model.properties.end(),
                                [&](const PropertyModel &q) { return same(q.name, p.name); });
        if (old != model.properties.end()) {
          p.is_key = p.is_key || old->is_key;
          *old = p;
        } else {
          model.properties.push_back(p);
        }
      }
    }
    if (have_methods) {
      std::vector<MethodModel> own;
      methods.bind(cls);
      while (methods.step()) {
        MethodModel m;
        m.name = methods.text(0);
        m.return_type = static_cast<CMPIType>(methods.integer(1));
        m.origin = cls;
        own.push_back(m);
      }
      if (have_params) {
        params.bind(cls);
        while (params.step()) {
          for (MethodModel &m : own) {
            if (!same(m.name, params.text(0))) continue;
            ParameterModel p;
            p.name = params.text(1);
            p.type = static_cast<CMPIType>(params.integer(2));
            p.direction = params.text(3);
            p.reference_class = params.is_null(4) ? "" : params.text(4);
            m.parameters.push_back(p);
          }
        }
      }
      for (MethodModel &m : own) {
        auto old = std::find_if(model.methods.begin(), model.methods.end(),
                                [&](const MethodModel &q) { return same(q.name, m.name); });
        if (old != model.methods.end()) {
          *old = m;
        } else {
          model.methods.push_back(m);
        }
      }
    }
  }
  *out = std::move(model);
  return ClassLookup::kFound;
}

bool list_classes(const std::string &database, const std::string &name_space,
                  const std::string &class_name, bool deep, std::vector<std::string> *out,
                  std::string *why) {
  wire::SchemaDatabase db;
  if (!db.open(database, why)) return false;
  const std::map<std::string, ClassRow> rows = all_classes(db.get());
  std::set<std::string> parents{wire::lower_name(class_name)};
  std::set<std::string> found;
  // Breadth first from class_name ("" stands for the root); each round takes the next level.
  for (int round = 0; round < wire::kMaxChain && !parents.empty(); ++round) {
    std::set<std::string> next;
    for (const auto &entry : rows) {
      const ClassRow &r = entry.second;
      if (!same(r.name_space, name_space)) continue;
      if (parents.count(wire::lower_name(r.superclass)) == 0) continue;
      if (found.insert(r.name).second) next.insert(entry.first);
    }
    if (!deep) break;
    parents = std::move(next);
  }
  out->assign(found.begin(), found.end());
  return true;
}

}  // namespace wbem
