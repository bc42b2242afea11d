// class_graph.h - the class hierarchy of the schema database, as a worker needs it.
//
// Read once from the database (Tbl_Class for superclasses and the association flag,
// Tbl_ClassProperty for reference properties and their target classes, Tbl_ClassMetadata for
// which classes have a provider) and kept by the worker's SchemaCache while the database file is
// unchanged. A database made before Tbl_Class existed, or without the ReferenceClass column,
// reads as classes without superclasses and references: names alone decide then.
//
// Class names compare without regard to case, as everywhere in the schema database; answers
// carry the spelling stored in the database. Superclass chains are followed at most
// kMaxDepth steps, so a cycle in a hand-written database cannot hang a worker.
#ifndef CMPI_HOSTD_CLASS_GRAPH_H
#define CMPI_HOSTD_CLASS_GRAPH_H

#include <map>
#include <string>
#include <vector>

#include "schema_rows.h"

namespace hostd {

class ClassGraph {
 public:
  static constexpr int kMaxDepth = wire::kMaxChain;

  struct Reference {
    std::string property;
    std::string target;  // the class it points at; empty when the database does not say
  };

  // Reads the graph from the database at path. false with *why when it cannot be opened or
  // read; missing tables or columns are not failures.
  bool load(const std::string &path, std::string *why);

  // Builders for tests and for load().
  void add_class(const std::string &name, const std::string &superclass, bool association);
  void add_reference(const std::string &class_name, const std::string &property,
                     const std::string &target);
  void add_provider(const std::string &class_name);

  bool known(const std::string &name) const;
  // The stored spelling of name, or name itself when unknown.
  std::string spelling(const std::string &name) const;
  bool is_association(const std::string &name) const;
  bool has_provider(const std::string &name) const;

  // Whether name is ancestor or one of its subclasses (a class is itself).
  bool is_a(const std::string &name, const std::string &ancestor) const;

  // name's superclasses, nearest first.
  std::vector<std::string> ancestors(const std::string &name) const;

  // Every class below name (not name itself), sorted by name without regard to case.
  std::vector<std::string> descendants(const std::string &name) const;

  // The reference properties of name, its own after its inherited ones (an own property of
  // the same name replaces the inherited one).
  std::vector<Reference> references(const std::string &name) const;

  // The association classes with a provider that can link an instance of source: one of their
  // references targets a class that source is, or a subclass of source. Sorted by name without
  // regard to case; an association class without target classes in the database counts.
  std::vector<std::string> associations_of(const std::string &source) const;

 private:
  struct Node {
    std::string name;
    std::string superclass;  // lower case, empty for none
    bool association = false;
    bool provider = false;
    std::vector<Reference> references;
  };
  const Node *node(const std::string &name) const;
  Node &node_for(const std::string &name);

  std::map<std::string, Node> nodes_;  // by lower-case name
};

using wire::lower_name;

}  // namespace hostd

#endif  // CMPI_HOSTD_CLASS_GRAPH_H
