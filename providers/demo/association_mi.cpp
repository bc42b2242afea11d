// association_mi.cpp - the association MI of DemoProvider (factory
// DemoProvider_Create_AssociationMI): traversal of Demo_ChassisFan, which links a Demo_Chassis
// (role GroupComponent) with a Demo_Fan (role PartComponent).
//
// Filters: assoc_class (associators, associatorNames) and result_class (references,
// referenceNames) name the association class; result_class (associators, associatorNames) the
// class of the instance at the other end; role the role of the given object, result_role the role
// of the other end. A NULL or empty filter does not filter; names compare without regard to
// case. An association whose other end no longer exists is passed over by associators and
// associatorNames; each associated instance is returned once.
#include <cmpimacs.h>

#include <set>
#include <string>
#include <utility>
#include <vector>

#include "instance_model.h"
#include "request.h"
#include "state_store.h"

namespace {

const CMPIBroker *broker_ = nullptr;

struct Filters {
  const char *assoc_class;
  const char *result_class;  // of the other end
  const char *role;
  const char *result_role;
};

// A Demo_ChassisFan that has the given object at one end, and its other end.
struct Link {
  demo::StoredInstance association;
  const demo::ClassDef *other_class;
  std::string other_key;
};

bool passes(const char *filter, const char *name) {
  return filter == nullptr || filter[0] == '\0' || demo::same_name(filter, name);
}

// Every Demo_ChassisFan that links op with something, within the filters.
demo::Outcome find_links(demo::StateStore &store, const CMPIObjectPath *op, const Filters &filters,
                        std::vector<Link> *links) {
  const demo::ClassDef *cls = nullptr;
  std::string key;
  demo::Outcome outcome = demo::class_of_path(op, &cls);
  if (outcome.ok()) outcome = demo::key_text_of_path(broker_, *cls, op, &key);
  if (outcome.ok()) outcome = store.open(broker_);
  if (!outcome.ok()) return outcome;
  const demo::ClassDef &association = *demo::find_class(demo::kChassisFanClass);
  if (!passes(filters.assoc_class, association.name)) return demo::success();
  const std::pair<const char *, const char *> ends[] = {{demo::kGroupRole, demo::kPartRole},
                                                        {demo::kPartRole, demo::kGroupRole}};
  // Only the links are kept, not every association read.
  outcome = store.each(association, [&](const demo::StoredInstance &candidate) {
    for (const auto &[role, other_role] : ends) {
      const demo::StoredProperty *end = candidate.find(role);
      const demo::StoredProperty *other = candidate.find(other_role);
      const demo::ClassDef *end_class = nullptr;
      std::string end_key;
      if (end == nullptr || other == nullptr) break;
      demo::Outcome read = demo::key_text_of_reference(broker_, *end, &end_class, &end_key);
      if (!read.ok()) return read;
      if (end_class != cls || end_key != key) continue;
      if (!passes(filters.role, role) || !passes(filters.result_role, other_role)) continue;
      Link link{candidate, nullptr, std::string()};
      read = demo::key_text_of_reference(broker_, *other, &link.other_class, &link.other_key);
      if (!read.ok()) return read;
      if (!passes(filters.result_class, link.other_class->name)) continue;
      links->push_back(std::move(link));
    }
    return demo::success();
  });
  return outcome;
}

// associators (names false) and associatorNames (names true).
demo::Outcome associated(const CMPIResult *rslt, const CMPIObjectPath *op, const Filters &filters,
                         const char **properties, bool names) {
  demo::StateStore store;
  std::vector<Link> links;
  demo::Outcome outcome = find_links(store, op, filters, &links);
  std::set<std::pair<const demo::ClassDef *, std::string>> seen;
  for (const Link &link : links) {
    if (!outcome.ok()) break;
    if (!seen.insert({link.other_class, link.other_key}).second) continue;
    demo::StoredInstance target;
    bool found = false;
    outcome = store.find(*link.other_class, link.other_key, &target, &found);
    if (!outcome.ok() || !found) continue;
    if (names) {
      CMPIObjectPath *path = demo::path_of(broker_, *link.other_class, target, &outcome);
      if (path == nullptr) break;
      CMReturnObjectPath(rslt, path);
      CMRelease(path);
    } else {
      CMPIInstance *inst =
          demo::instance_of(broker_, *link.other_class, target, properties, &outcome);
      if (inst == nullptr) break;
      CMReturnInstance(rslt, inst);
      CMRelease(inst);
    }
  }
  if (outcome.ok()) CMReturnDone(rslt);
  return outcome;
}

// references (names false) and referenceNames (names true).
demo::Outcome referencing(const CMPIResult *rslt, const CMPIObjectPath *op, const char *result_class,
                          const char *role, const char **properties, bool names) {
  demo::StateStore store;
  std::vector<Link> links;
  demo::Outcome outcome =
      find_links(store, op, Filters{result_class, nullptr, role, nullptr}, &links);
  const demo::ClassDef &association = *demo::find_class(demo::kChassisFanClass);
  std::set<std::string> seen;
  for (const Link &link : links) {
    if (!outcome.ok()) break;
    if (!seen.insert(link.association.key).second) continue;
    if (names) {
      CMPIObjectPath *path = demo::path_of(broker_, association, link.association, &outcome);
      if (path == nullptr) break;
      CMReturnObjectPath(rslt, path);
      CMRelease(path);
    } else {
      CMPIInstance *inst =
          demo::instance_of(broker_, association, link.association, properties, &outcome);
      if (inst == nullptr) break;
      CMReturnInstance(rslt, inst);
      CMRelease(inst);
    }
  }
  if (outcome.ok()) CMReturnDone(rslt);
  return outcome;
}

}  // namespace

static CMPIStatus DemoAssociationCleanup(CMPIAssociationMI *, const CMPIContext *, CMPIBoolean) {
  CMReturn(CMPI_RC_OK);
}

static CMPIStatus DemoAssociators(CMPIAssociationMI *, const CMPIContext *, const CMPIResult *rslt,
                                  const CMPIObjectPath *op, const char *assoc_class,
                                  const char *result_class, const char *role, const char *result_role,
                                  const char **properties) {
  return demo::serve(broker_, [&] {
    return associated(rslt, op, Filters{assoc_class, result_class, role, result_role}, properties,
                      false);
  });
}

static CMPIStatus DemoAssociatorNames(CMPIAssociationMI *, const CMPIContext *,
                                      const CMPIResult *rslt, const CMPIObjectPath *op,
                                      const char *assoc_class, const char *result_class,
                                      const char *role, const char *result_role) {
  return demo::serve(broker_, [&] {
    return associated(rslt, op, Filters{assoc_class, result_class, role, result_role}, nullptr, true);
  });
}

static CMPIStatus DemoReferences(CMPIAssociationMI *, const CMPIContext *, const CMPIResult *rslt,
                                 const CMPIObjectPath *op, const char *result_class,
                                 const char *role, const char **properties) {
  return demo::serve(broker_,
                     [&] { return referencing(rslt, op, result_class, role, properties, false); });
}

static CMPIStatus DemoReferenceNames(CMPIAssociationMI *, const CMPIContext *,
                                     const CMPIResult *rslt, const CMPIObjectPath *op,
                                     const char *result_class, const char *role) {
  return demo::serve(broker_,
                     [&] { return referencing(rslt, op, result_class, role, nullptr, true); });
}

CMAssociationMIStub(Demo, DemoProvider, broker_, CMNoHook)
