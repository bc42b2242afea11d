// class_graph.cpp - reading and walking the class hierarchy.
#include "class_graph.h"

#include <sqlite3.h>

#include <algorithm>
#include <cctype>
#include <memory>

namespace hostd {
namespace {

struct DatabaseClose {
  void operator()(sqlite3 *db) const { sqlite3_close(db); }
};
struct StatementFinalize {
  void operator()(sqlite3_stmt *stmt) const { sqlite3_finalize(stmt); }
};

std::string column_text(sqlite3_stmt *stmt, int column) {
  const unsigned char *text = sqlite3_column_text(stmt, column);
  return text != nullptr ? reinterpret_cast<const char *>(text) : "";
}

// Runs sql and hands each row to row(). A statement that cannot be prepared (an older database
// without the table or column) reads as no rows; a failing step is a failure.
template <class Row>
bool read_rows(sqlite3 *db, const char *sql, Row row, std::string *why) {
  sqlite3_stmt *raw = nullptr;
  if (sqlite3_prepare_v2(db, sql, -1, &raw, nullptr) != SQLITE_OK) return true;
  std::unique_ptr<sqlite3_stmt, StatementFinalize> stmt(raw);
  int rc;
  while ((rc = sqlite3_step(raw)) == SQLITE_ROW) row(raw);
  if (rc != SQLITE_DONE) {
    *why = std::string("cannot read the class hierarchy: ") + sqlite3_errmsg(db);
    return false;
  }
  return true;
}

bool less_name(const std::string &a, const std::string &b) {
  return lower_name(a) < lower_name(b);
}

}  // namespace

std::string lower_name(const std::string &name) {
  std::string lower = name;
  for (char &c : lower) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return lower;
}

bool ClassGraph::load(const std::string &path, std::string *why) {
  sqlite3 *raw = nullptr;
  if (sqlite3_open_v2(path.c_str(), &raw, SQLITE_OPEN_READONLY, nullptr) != SQLITE_OK) {
    *why = "cannot open " + path + ": " + (raw != nullptr ? sqlite3_errmsg(raw) : "out of memory");
    sqlite3_close(raw);
    return false;
  }
  std::unique_ptr<sqlite3, DatabaseClose> db(raw);
  sqlite3_busy_timeout(raw, 2000);
  nodes_.clear();
  return read_rows(
             raw, "SELECT ClassName, SuperClass, IsAssociation FROM Tbl_Class",
             [this](sqlite3_stmt *row) {
               add_class(column_text(row, 0), column_text(row, 1),
                         sqlite3_column_int(row, 2) != 0);
             },
             why) &&
         read_rows(
             raw,
             "SELECT ClassName, PropertyName, ReferenceClass FROM Tbl_ClassProperty "
             "WHERE DataType IN (4352, 12544) ORDER BY Position",
             [this](sqlite3_stmt *row) {
               add_reference(column_text(row, 0), column_text(row, 1), column_text(row, 2));
             },
             why) &&
         read_rows(
             raw,
             "SELECT ClassName FROM Tbl_ClassMetadata WHERE ProviderName IS NOT NULL AND "
             "ProviderName != ''",
             [this](sqlite3_stmt *row) { add_provider(column_text(row, 0)); }, why);
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
