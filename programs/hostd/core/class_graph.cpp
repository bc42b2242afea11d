// class_graph.cpp - reading and walking the class hierarchy.
#include "class_graph.h"

#include <algorithm>

namespace hostd {
namespace {

// Runs sql and hands each row to row(). A statement that cannot be prepared (an older database
// without the table or column) reads as no rows; a failing step is a failure.
template <class Row>
bool read_rows(sqlite3 *db, const char *sql, Row row, std::string *why) {
  wire::SchemaQuery query;
  if (!query.prepare(db, sql)) return true;
  bool failed = false;
  while (query.step(&failed)) row(query);
  if (failed) *why = std::string("cannot read the class hierarchy: ") + sqlite3_errmsg(db);
  return !failed;
}

bool less_name(const std::string &a, const std::string &b) {
  return lower_name(a) < lower_name(b);
}

}  // namespace

bool ClassGraph::load(const std::string &path, std::string *why) {
  wire::SchemaDatabase db;
  if (!db.open(path, why)) return false;
  nodes_.clear();
  return read_rows(
             db.get(), "SELECT ClassName, SuperClass, IsAssociation FROM Tbl_Class",
             [this](const wire::SchemaQuery &row) {
               add_class(row.text(0), row.text(1), row.integer(2) != 0);
             },
             why) &&
         read_rows(
             db.get(),
             "SELECT ClassName, PropertyName, ReferenceClass FROM Tbl_ClassProperty "
             "WHERE DataType IN (4352, 12544) ORDER BY Position",
             [this](const wire::SchemaQuery &row) {
               add_reference(row.text(0), row.text(1), row.text(2));
             },
             why) &&
         read_rows(
             db.get(),
             "SELECT ClassName FROM Tbl_ClassMetadata WHERE ProviderName IS NOT NULL AND "
             "ProviderName != ''",
             [this](const wire::SchemaQuery &row) { add_provider(row.text(0)); }, why);
}

ClassGraph::Node &ClassGraph::node_for(const std::string &name) {
  Node &n = nodes_[lower_name(name)];
  if (n.name.empty()) n.name = name;
  return n;
}

const ClassGraph::Node *ClassGraph::node(const std::string &name) const {
  auto it = nodes_.find(lower_name(name));
  return it != nodes_.end() ? &it->second : nullptr;
}

void ClassGraph::add_class(const std::string &name, const std::string &superclass,
                           bool association) {
  if (name.empty()) return;
  Node &n = node_for(name);
  n.name = name;
  n.superclass = lower_name(superclass);
  n.association = n.association || association;
}

void ClassGraph::add_reference(const std::string &class_name, const std::string &property,
                               const std::string &target) {
  if (class_name.empty()) return;
  node_for(class_name).references.push_back({property, target});
}

void ClassGraph::add_provider(const std::string &class_name) {
  if (class_name.empty()) return;
  node_for(class_name).provider = true;
}

bool ClassGraph::known(const std::string &name) const { return node(name) != nullptr; }

std::string ClassGraph::spelling(const std::string &name) const {
  const Node *n = node(name);
  return n != nullptr ? n->name : name;
}

bool ClassGraph::is_association(const std::string &name) const {
  const Node *n = node(name);
  if (n == nullptr) return false;
  if (n->association) return true;
  for (const std::string &up : ancestors(name)) {
    const Node *a = node(up);
    if (a != nullptr && a->association) return true;
  }
  return false;
}

bool ClassGraph::has_provider(const std::string &name) const {
  const Node *n = node(name);
  return n != nullptr && n->provider;
}

std::vector<std::string> ClassGraph::ancestors(const std::string &name) const {
  std::vector<std::string> chain;
  const Node *n = node(name);
  for (int depth = 0; n != nullptr && !n->superclass.empty() && depth < kMaxDepth; ++depth) {
    auto it = nodes_.find(n->superclass);
    if (it == nodes_.end()) {
      chain.push_back(n->superclass);  // declared superclass the database does not list
      break;
    }
    chain.push_back(it->second.name);
    n = &it->second;
  }
  return chain;
}

bool ClassGraph::is_a(const std::string &name, const std::string &ancestor) const {
  const std::string wanted = lower_name(ancestor);
  if (lower_name(name) == wanted) return true;
  for (const std::string &up : ancestors(name)) {
    if (lower_name(up) == wanted) return true;
  }
  return false;
}

std::vector<std::string> ClassGraph::descendants(const std::string &name) const {
  std::vector<std::string> below;
  const std::string root = lower_name(name);
  for (const auto &entry : nodes_) {
    if (entry.first != root && is_a(entry.second.name, name)) below.push_back(entry.second.name);
  }
  std::sort(below.begin(), below.end(), less_name);
  return below;
}

std::vector<ClassGraph::Reference> ClassGraph::references(const std::string &name) const {
  std::vector<std::string> chain = ancestors(name);
  std::reverse(chain.begin(), chain.end());
  chain.push_back(name);
  std::vector<Reference> refs;
  for (const std::string &cls : chain) {
    const Node *n = node(cls);
    if (n == nullptr) continue;
    for (const Reference &ref : n->references) {
      auto same = std::find_if(refs.begin(), refs.end(), [&](const Reference &r) {
        return lower_name(r.property) == lower_name(ref.property);
      });
      if (same != refs.end()) {
        *same = ref;
      } else {
        refs.push_back(ref);
      }
    }
  }
  return refs;
}

std::vector<std::string> ClassGraph::associations_of(const std::string &source) const {
  std::vector<std::string> found;
  for (const auto &entry : nodes_) {
    const Node &n = entry.second;
    if (!n.provider || !is_association(n.name)) continue;
    const std::vector<Reference> refs = references(n.name);
    bool links = false;
    bool any_target = false;
    for (const Reference &ref : refs) {
      if (ref.target.empty()) continue;
      any_target = true;
      if (is_a(source, ref.target) || is_a(ref.target, source)) links = true;
    }
    if (links || !any_target) found.push_back(n.name);
  }
  std::sort(found.begin(), found.end(), less_name);
  return found;
}

}  // namespace hostd
