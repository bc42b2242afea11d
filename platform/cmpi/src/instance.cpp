// instance.cpp - CMPIInstance: an object path of its own (namespace, class name, keys), an
// ordered list of properties and an optional property filter.
//
// Setters copy what they are given. getObjectPath hands out a new path the caller releases,
// and property values come out as caller-owned copies. Setting a property that is also a key
// of the instance's path updates that key too, so the two never disagree.
#include <string>
#include <vector>

#include "named_values.h"
#include "object_impl.h"
#include "objects.h"
#include "value.h"

namespace {

using cmpi::make_status;
using cmpi::set_rc;

struct InstanceImpl {
  CMPIInstance object;
  CMPIObjectPath *path = nullptr;  // a private clone, always one of ours
  cmpi::NamedValues properties;
  bool filtered = false;              // false: every name is accepted
  std::vector<std::string> accepted;  // the names accepted while filtered

  ~InstanceImpl() {
    if (path != nullptr) {
      path->ft->release(path);
    }
  }
};

InstanceImpl *impl_of(const CMPIInstance *inst) { return cmpi::impl_of<InstanceImpl>(inst); }

cmpi::NamedValues *properties_of(const CMPIInstance *inst) {
  return cmpi::member_of(inst, &InstanceImpl::properties);
}

bool is_our_path(const CMPIObjectPath *op) {
  return op != nullptr && op->hdl != nullptr && op->ft == cmpi::object_path_table();
}

// A private copy of a path, or nullptr with *code set.
CMPIObjectPath *clone_path(const CMPIObjectPath *op, CMPIrc *code) {
  CMPIStatus st = make_status(CMPI_RC_OK);
  CMPIObjectPath *copy = op->ft->clone(op, &st);
  if (copy == nullptr) {
    *code = cmpi::rc_of_failed_clone(st);
    return nullptr;
  }
  *code = CMPI_RC_OK;
  return copy;
}

InstanceImpl *new_impl() { return cmpi::new_impl<InstanceImpl>(cmpi::instance_table()); }

bool accepts(const InstanceImpl &impl, const char *name) {
  if (!impl.filtered) {
    return true;
  }
  for (const std::string &accepted : impl.accepted) {
    if (cmpi::same_name(accepted.c_str(), name)) {
      return true;
    }
  }
  return false;
}

// When name is a key of the path, the key takes the new value as well. A null value leaves the
// key as it was, since keys may not be null.
void update_key(const InstanceImpl &impl, const char *name, const CMPIValue *value,
                CMPIType type) {
  CMPIObjectPath *path = impl.path;
  if (cmpi::path_has_key(path, name)) {
    path->ft->addKey(path, name, value, type);
  }
}

CMPIStatus inst_release(CMPIInstance *inst) { return cmpi::release_impl<InstanceImpl>(inst); }

CMPIrc copy_parts(const InstanceImpl &from, InstanceImpl *to) {
  CMPIrc code = CMPI_RC_OK;
  to->path = clone_path(from.path, &code);
  if (code == CMPI_RC_OK) {
    code = to->properties.copy_from(from.properties);
  }
  if (code == CMPI_RC_OK) {
    try {
      to->filtered = from.filtered;
      to->accepted = from.accepted;
    } catch (...) {
      code = CMPI_RC_ERR_FAILED;
    }
  }
  return code;
}

CMPIInstance *inst_clone(const CMPIInstance *inst, CMPIStatus *rc) {
  return cmpi::clone_impl<InstanceImpl>(inst, cmpi::instance_table(), rc, copy_parts);
}

CMPIData inst_get_property(const CMPIInstance *inst, const char *name, CMPIStatus *rc) {
  return cmpi::get_in(properties_of(inst), name, rc);
}

CMPIData inst_get_property_at(const CMPIInstance *inst, CMPICount index, CMPIString **name,
                              CMPIStatus *rc) {
  return cmpi::get_at_in(properties_of(inst), index, name, rc);
}

CMPICount inst_get_property_count(const CMPIInstance *inst, CMPIStatus *rc) {
  return cmpi::count_in(properties_of(inst), rc);
}

CMPIStatus inst_set_property(const CMPIInstance *inst, const char *name, const CMPIValue *value,
                             CMPIType type) {
  InstanceImpl *impl = impl_of(inst);
  if (impl == nullptr) {
    return make_status(CMPI_RC_ERR_INVALID_HANDLE);
  }
  if (name == nullptr) {
    return make_status(CMPI_RC_ERR_INVALID_PARAMETER);
  }
  if (!accepts(*impl, name)) {
    // Outside the filter: quietly not kept.
    return make_status(CMPI_RC_OK);
  }
  const CMPIrc code = impl->properties.set(name, value, type);
  if (code != CMPI_RC_OK) {
    return make_status(code);
  }
  update_key(*impl, name, value, type);
  return make_status(CMPI_RC_OK);
}

CMPIObjectPath *inst_get_object_path(const CMPIInstance *inst, CMPIStatus *rc) {
  const InstanceImpl *impl = impl_of(inst);
  if (impl == nullptr) {
    set_rc(rc, CMPI_RC_ERR_INVALID_HANDLE);
    return nullptr;
  }
  CMPIrc code = CMPI_RC_OK;
  CMPIObjectPath *copy = clone_path(impl->path, &code);
  set_rc(rc, code);
  return copy;
}

CMPIStatus inst_set_property_filter(CMPIInstance *inst, const char **propertyList,
                                    const char **) {
  InstanceImpl *impl = impl_of(inst);
  if (impl == nullptr) {
    return make_status(CMPI_RC_ERR_INVALID_HANDLE);
  }
  if (propertyList == nullptr) {
    impl->filtered = false;
    impl->accepted.clear();
    return make_status(CMPI_RC_OK);
  }
  try {
    std::vector<std::string> accepted;
    for (const char **name = propertyList; *name != nullptr; ++name) {
      accepted.emplace_back(*name);
    }
    impl->accepted.swap(accepted);
    impl->filtered = true;
  } catch (...) {
    return make_status(CMPI_RC_ERR_FAILED);
  }
  return make_status(CMPI_RC_OK);
}

CMPIStatus inst_set_object_path(CMPIInstance *inst, const CMPIObjectPath *op) {
  InstanceImpl *impl = impl_of(inst);
  if (impl == nullptr || !is_our_path(op)) {
    return make_status(CMPI_RC_ERR_INVALID_HANDLE);
  }
  CMPIrc code = CMPI_RC_OK;
  CMPIObjectPath *copy = clone_path(op, &code);
  if (copy == nullptr) {
    return make_status(code);
  }
  impl->path->ft->release(impl->path);
  impl->path = copy;
  return make_status(CMPI_RC_OK);
}

CMPIStatus inst_set_property_with_origin(const CMPIInstance *inst, const char *name,
                                         const CMPIValue *value, const CMPIType type,
                                         const char *) {
  return inst_set_property(inst, name, value, type);
}

const CMPIInstanceFT instance_ft = {
    CMPICurrentVersion,
    inst_release,
    inst_clone,
    inst_get_property,
    inst_get_property_at,
    inst_get_property_count,
    inst_set_property,
    inst_get_object_path,
    inst_set_property_filter,
    inst_set_object_path,
    inst_set_property_with_origin,
};

}  // namespace

namespace cmpi {

const CMPIInstanceFT *instance_table() { return &instance_ft; }

}  // namespace cmpi

extern "C" CMPIrc cmpiPeekPropertyAt(const CMPIInstance *inst, CMPICount index,
                                     const char **name, CMPIData *data) {
  const InstanceImpl *impl = cmpi::our_impl<InstanceImpl>(inst, cmpi::instance_table());
  if (impl == nullptr) {
    return CMPI_RC_ERR_NOT_SUPPORTED;
  }
  if (index >= impl->properties.size()) {
    return CMPI_RC_ERR_NO_SUCH_PROPERTY;
  }
  *name = impl->properties.name_at(index).c_str();
  *data = cmpi::peek_out(impl->properties.at(index));
  return CMPI_RC_OK;
}

extern "C" int cmpiIsOwnInstance(const CMPIInstance *inst) {
  return cmpi::our_impl<InstanceImpl>(inst, cmpi::instance_table()) != nullptr ? 1 : 0;
}

extern "C" CMPIInstance *makeNewCMPIInstance(const CMPIObjectPath *path, CMPIStatus *rc) {
  if (!is_our_path(path)) {
    set_rc(rc, CMPI_RC_ERR_INVALID_HANDLE);
    return nullptr;
  }
  InstanceImpl *impl = new_impl();
  if (impl == nullptr) {
    set_rc(rc, CMPI_RC_ERR_FAILED);
    return nullptr;
  }
  CMPIrc code = CMPI_RC_OK;
  impl->path = clone_path(path, &code);
  if (impl->path == nullptr) {
    delete impl;
    set_rc(rc, code);
    return nullptr;
  }
  set_rc(rc, CMPI_RC_OK);
  return &impl->object;
}
