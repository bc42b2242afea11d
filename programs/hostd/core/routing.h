// routing.h - which classes' providers serve an operation.
//
// The worker asks the provider of each target in turn (a top-level request streams every
// target's results into one answer; an up-call collects them into one enumeration), and the
// first target that fails ends the operation with its status. The rules:
//   - getInstance, createInstance, modifyInstance, deleteInstance, invokeMethod: the class
//     itself;
//   - enumerateInstances, enumerateInstanceNames, execQuery: the class itself when it has a
//     provider, then every subclass with a provider, by name; a class the database does not
//     list goes to its own provider's look-up (which then says what is wrong). A listed class
//     without any provider below it has no targets: the answer is empty;
//   - associators, associatorNames with an association class, references and referenceNames
//     with a result class: that class alone. Without one, every association class with a
//     provider that can refer to the source class (ClassGraph::associations_of, by name), each
//     asked with itself as the association class (associators) or result class (references),
//     so that a provider serving several association classes answers each once. When the
//     database lists no such class, the source class's own provider is asked, as before the
//     hierarchy was known.
#ifndef CMPI_HOSTD_ROUTING_H
#define CMPI_HOSTD_ROUTING_H

#include <string>
#include <vector>

#include "class_graph.h"
#include "mi_call.h"

namespace hostd {

struct Target {
  std::string class_name;   // the class whose provider is asked
  bool same_path = true;    // false: the MI gets a path naming class_name (a subclass)
  std::string association;  // non-empty: pass it as the association class / result class
};

std::vector<Target> plan_targets(const ClassGraph &graph, const std::string &class_name,
                                 const MiRequest &request);

}  // namespace hostd

#endif  // CMPI_HOSTD_ROUTING_H
