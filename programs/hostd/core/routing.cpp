// routing.cpp - the targets of an operation.
#include "routing.h"

namespace hostd {
namespace {

bool given(const char *text) { return text != nullptr && *text != '\0'; }

}  // namespace

std::vector<Target> plan_targets(const ClassGraph &graph, const std::string &class_name,
                                 const MiRequest &request) {
  std::vector<Target> targets;
  switch (request.operation) {
    case MiOperation::kEnumerateInstances:
    case MiOperation::kEnumerateInstanceNames:
    case MiOperation::kExecQuery: {
      if (!graph.known(class_name) || graph.has_provider(class_name)) {
        targets.push_back({class_name, true, ""});
      }
      if (!graph.known(class_name)) break;
      for (const std::string &below : graph.descendants(class_name)) {
        if (graph.has_provider(below)) targets.push_back({below, false, ""});
      }
      break;
    }
    case MiOperation::kAssociators:
    case MiOperation::kAssociatorNames:
      if (given(request.assoc_class)) {
        targets.push_back({request.assoc_class, true, ""});
        break;
      }
      for (const std::string &assoc : graph.associations_of(class_name)) {
        targets.push_back({assoc, true, assoc});
      }
      if (targets.empty()) targets.push_back({class_name, true, ""});
      break;
    case MiOperation::kReferences:
    case MiOperation::kReferenceNames:
      if (given(request.result_class)) {
        targets.push_back({request.result_class, true, ""});
        break;
      }
      for (const std::string &assoc : graph.associations_of(class_name)) {
        targets.push_back({assoc, true, assoc});
      }
      if (targets.empty()) targets.push_back({class_name, true, ""});
      break;
    default:
      targets.push_back({class_name, true, ""});
      break;
  }
  return targets;
}

}  // namespace hostd
