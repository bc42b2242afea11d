// association_mi.cpp - the association MI of DemoProvider (factory
// DemoProvider_Create_AssociationMI): traversal of Demo_ChassisFan, which links a Demo_Chassis
// (role GroupComponent) with a Demo_Fan (role PartComponent).
//
// Filters: assocClass (associators, associatorNames) and resultClass (references,
// referenceNames) name the association class; resultClass (associators, associatorNames) the
// class of the instance at the other end; role the role of the given object, resultRole the role
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
  const char *assocClass;
  const char *resultClass;  // of the other end
  const char *role;
  const char *resultRole;
};

// A Demo_ChassisFan that has the given object at one end, and its other end.
struct Link {
  demo::StoredInstance association;
  const demo::ClassDef *otherClass;
  std::string otherKey;
};

bool passes(const char *filter, const char *name) {
  return filter == nullptr || filter[0] == '\0' || demo::sameName(filter, name);
}

// Every Demo_ChassisFan that links op with something, within the filters.
demo::Outcome findLinks(demo::StateStore &store, const CMPIObjectPath *op, const Filters &filters,
                        std::vector<Link> *links) {
  const demo::ClassDef *cls = nullptr;
  std::string key;
  demo::Outcome outcome = demo::classOfPath(op, &cls);
  if (outcome.ok()) outcome = demo::keyTextOfPath(broker_, *cls, op, &key);
  if (outcome.ok()) outcome = store.open(broker_);
  if (!outcome.ok()) return outcome;
  const demo::ClassDef &association = *demo::findClass(demo::kChassisFanClass);
  if (!passes(filters.assocClass, association.name)) return demo::success();
  std::vector<demo::StoredInstance> all;
  outcome = store.list(association, &all);
  const std::pair<const char *, const char *> ends[] = {{demo::kGroupRole, demo::kPartRole},
                                                        {demo::kPartRole, demo::kGroupRole}};
  for (const demo::StoredInstance &candidate : all) {
    for (const auto &[role, otherRole] : ends) {
      const demo::StoredProperty *end = candidate.find(role);
      const demo::StoredProperty *other = candidate.find(otherRole);
      const demo::ClassDef *endClass = nullptr;
      std::string endKey;
      Link link{candidate, nullptr, std::string()};
      if (!outcome.ok() || end == nullptr || other == nullptr) break;
      outcome = demo::keyTextOfReference(broker_, *end, &endClass, &endKey);
      if (!outcome.ok() || endClass != cls || endKey != key) continue;
      if (!passes(filters.role, role) || !passes(filters.resultRole, otherRole)) continue;
      outcome = demo::keyTextOfReference(broker_, *other, &link.otherClass, &link.otherKey);
      if (!outcome.ok() || !passes(filters.resultClass, link.otherClass->name)) continue;
      links->push_back(std::move(link));
    }
  }
  return outcome;
}

// associators (names false) and associatorNames (names true).
demo::Outcome associated(const CMPIResult *rslt, const CMPIObjectPath *op, const Filters &filters,
                         const char **properties, bool names) {
  demo::StateStore store;
  std::vector<Link> links;
  demo::Outcome outcome = findLinks(store, op, filters, &links);
  std::set<std::pair<const demo::ClassDef *, std::string>> seen;
  for (const Link &link : links) {
    if (!outcome.ok()) break;
    if (!seen.insert({link.otherClass, link.otherKey}).second) continue;
    demo::StoredInstance target;
    bool found = false;
    outcome = store.find(*link.otherClass, link.otherKey, &target, &found);
    if (!outcome.ok() || !found) continue;
    if (names) {
      CMPIObjectPath *path = demo::pathOf(broker_, *link.otherClass, target, &outcome);
      if (path == nullptr) break;
      CMReturnObjectPath(rslt, path);
      CMRelease(path);
    } else {
      CMPIInstance *inst =
          demo::instanceOf(broker_, *link.otherClass, target, properties, &outcome);
      if (inst == nullptr) break;
      CMReturnInstance(rslt, inst);
      CMRelease(inst);
    }
  }
  if (outcome.ok()) CMReturnDone(rslt);
  return outcome;
}

// references (names false) and referenceNames (names true).
demo::Outcome referencing(const CMPIResult *rslt, const CMPIObjectPath *op, const char *resultClass,
                          const char *role, const char **properties, bool names) {
  demo::StateStore store;
  std::vector<Link> links;
  demo::Outcome outcome =
      findLinks(store, op, Filters{resultClass, nullptr, role, nullptr}, &links);
  const demo::ClassDef &association = *demo::findClass(demo::kChassisFanClass);
  std::set<std::string> seen;
  for (const Link &link : links) {
    if (!outcome.ok()) break;
    if (!seen.insert(link.association.key).second) continue;
    if (names) {
      CMPIObjectPath *path = demo::pathOf(broker_, association, link.association, &outcome);
      if (path == nullptr) break;
      CMReturnObjectPath(rslt, path);
      CMRelease(path);
    } else {
      CMPIInstance *inst =
          demo::instanceOf(broker_, association, link.association, properties, &outcome);
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
                                  const CMPIObjectPath *op, const char *assocClass,
                                  const char *resultClass, const char *role, const char *resultRole,
                                  const char **properties) {
  return demo::serve(broker_, [&] {
    return associated(rslt, op, Filters{assocClass, resultClass, role, resultRole}, properties,
                      false);
  });
}

static CMPIStatus DemoAssociatorNames(CMPIAssociationMI *, const CMPIContext *,
                                      const CMPIResult *rslt, const CMPIObjectPath *op,
                                      const char *assocClass, const char *resultClass,
                                      const char *role, const char *resultRole) {
  return demo::serve(broker_, [&] {
    return associated(rslt, op, Filters{assocClass, resultClass, role, resultRole}, nullptr, true);
  });
}

static CMPIStatus DemoReferences(CMPIAssociationMI *, const CMPIContext *, const CMPIResult *rslt,
                                 const CMPIObjectPath *op, const char *resultClass,
                                 const char *role, const char **properties) {
  return demo::serve(broker_,
                     [&] { return referencing(rslt, op, resultClass, role, properties, false); });
}

static CMPIStatus DemoReferenceNames(CMPIAssociationMI *, const CMPIContext *,
                                     const CMPIResult *rslt, const CMPIObjectPath *op,
                                     const char *resultClass, const char *role) {
  return demo::serve(broker_,
                     [&] { return referencing(rslt, op, resultClass, role, nullptr, true); });
}

CMAssociationMIStub(Demo, DemoProvider, broker_, CMNoHook)
