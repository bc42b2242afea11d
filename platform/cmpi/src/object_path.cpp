// object_path.cpp - CMPIObjectPath: optional host, namespace and class name, and an ordered
// list of keys.
//
// Getters hand out caller-owned copies (new CMPIString objects, key values copied out with
// CMPI_keyValue added to their state); a part that was never set reads back as NULL with
// CMPI_RC_OK. Keys may not be null. toString writes this platform's path text:
//   namespace:Class.key=value,key=value
// with no host part, no quotes and no escaping, keys in the order they were first added.
#include <cstdlib>
#include <optional>
#include <string>

#include "named_values.h"
#include "object_impl.h"
#include "objects.h"
#include "value.h"

namespace {

using cmpi::make_status;
using cmpi::set_rc;

struct ObjectPathImpl {
  CMPIObjectPath object;
  std::optional<std::string> host;
  std::optional<std::string> name_space;
  std::optional<std::string> class_name;
  cmpi::NamedValues keys;
};

ObjectPathImpl *impl_of(const CMPIObjectPath *op) { return cmpi::impl_of<ObjectPathImpl>(op); }

cmpi::NamedValues *keys_of(const CMPIObjectPath *op) {
  return cmpi::member_of(op, &ObjectPathImpl::keys);
}

// A path given as an argument must be one of ours, since its parts are read directly.
ObjectPathImpl *our_path(const CMPIObjectPath *op) {
  return cmpi::our_impl<ObjectPathImpl>(op, cmpi::object_path_table());
}

CMPIStatus op_release(CMPIObjectPath *op) { return cmpi::release_impl<ObjectPathImpl>(op); }

CMPIrc copy_parts(const ObjectPathImpl &from, ObjectPathImpl *to) {
  try {
    to->host = from.host;
    to->name_space = from.name_space;
    to->class_name = from.class_name;
    return to->keys.copy_from(from.keys);
  } catch (...) {
    return CMPI_RC_ERR_FAILED;
  }
}

CMPIObjectPath *op_clone(const CMPIObjectPath *op, CMPIStatus *rc) {
  return cmpi::clone_impl<ObjectPathImpl>(op, cmpi::object_path_table(), rc, copy_parts);
}

CMPIStatus op_set_name_space(CMPIObjectPath *op, const char *ns) {
  return cmpi::text_part_in(op, &ObjectPathImpl::name_space, ns);
}

CMPIString *op_get_name_space(const CMPIObjectPath *op, CMPIStatus *rc) {
  return cmpi::text_part_out(op, &ObjectPathImpl::name_space, rc);
}

CMPIStatus op_set_hostname(CMPIObjectPath *op, const char *hn) {
  return cmpi::text_part_in(op, &ObjectPathImpl::host, hn);
}

CMPIString *op_get_hostname(const CMPIObjectPath *op, CMPIStatus *rc) {
  return cmpi::text_part_out(op, &ObjectPathImpl::host, rc);
}

CMPIStatus op_set_class_name(CMPIObjectPath *op, const char *cn) {
  return cmpi::text_part_in(op, &ObjectPathImpl::class_name, cn);
}

CMPIString *op_get_class_name(const CMPIObjectPath *op, CMPIStatus *rc) {
  return cmpi::text_part_out(op, &ObjectPathImpl::class_name, rc);
}

CMPIStatus op_add_key(CMPIObjectPath *op, const char *name, const CMPIValue *value,
                      const CMPIType type) {
  ObjectPathImpl *impl = impl_of(op);
  if (impl == nullptr) {
    return make_status(CMPI_RC_ERR_INVALID_HANDLE);
  }
  if (name == nullptr || value == nullptr || type == CMPI_null) {
    return make_status(CMPI_RC_ERR_INVALID_PARAMETER);
  }
  // A trial copy tells whether the value reads as null (a NULL object or text behind a valid
  // pointer), which a key may not be, before anything stored changes.
  CMPIData trial;
  CMPIrc code = cmpi::copy_in(value, type, &trial);
  if (code != CMPI_RC_OK) {
    return make_status(code);
  }
  const bool is_null = (trial.state & CMPI_nullValue) != 0;
  cmpi::release_data(&trial);
  if (is_null) {
    return make_status(CMPI_RC_ERR_INVALID_PARAMETER);
  }
  return make_status(impl->keys.set(name, value, type));
}

CMPIData op_get_key(const CMPIObjectPath *op, const char *name, CMPIStatus *rc) {
  return cmpi::get_in(keys_of(op), name, rc, CMPI_keyValue);
}

CMPIData op_get_key_at(const CMPIObjectPath *op, CMPICount index, CMPIString **name,
                       CMPIStatus *rc) {
  return cmpi::get_at_in(keys_of(op), index, name, rc, CMPI_keyValue);
}

CMPICount op_get_key_count(const CMPIObjectPath *op, CMPIStatus *rc) {
  return cmpi::count_in(keys_of(op), rc);
}

CMPIStatus op_set_name_space_from(CMPIObjectPath *op, const CMPIObjectPath *src) {
  ObjectPathImpl *impl = impl_of(op);
  const ObjectPathImpl *from = our_path(src);
  if (impl == nullptr || from == nullptr) {
    return make_status(CMPI_RC_ERR_INVALID_HANDLE);
  }
  try {
    std::optional<std::string> ns = from->name_space;
    std::optional<std::string> cn = from->class_name;
    impl->name_space.swap(ns);
    impl->class_name.swap(cn);
  } catch (...) {
    return make_status(CMPI_RC_ERR_FAILED);
  }
  return make_status(CMPI_RC_OK);
}

CMPIStatus op_set_host_and_name_space_from(CMPIObjectPath *op, const CMPIObjectPath *src) {
  ObjectPathImpl *impl = impl_of(op);
  const ObjectPathImpl *from = our_path(src);
  if (impl == nullptr || from == nullptr) {
    return make_status(CMPI_RC_ERR_INVALID_HANDLE);
  }
  try {
    std::optional<std::string> hn = from->host;
    std::optional<std::string> ns = from->name_space;
    std::optional<std::string> cn = from->class_name;
    impl->host.swap(hn);
    impl->name_space.swap(ns);
    impl->class_name.swap(cn);
  } catch (...) {
    return make_status(CMPI_RC_ERR_FAILED);
  }
  return make_status(CMPI_RC_OK);
}

// Qualifiers are not kept on this platform.
CMPIData unsupported_qualifier(const CMPIObjectPath *op, CMPIStatus *rc) {
  set_rc(rc, impl_of(op) == nullptr ? CMPI_RC_ERR_INVALID_HANDLE : CMPI_RC_ERR_NOT_SUPPORTED);
  return cmpi::null_data(CMPI_null);
}

CMPIData op_get_class_qualifier(const CMPIObjectPath *op, const char *, CMPIStatus *rc) {
  return unsupported_qualifier(op, rc);
}

CMPIData op_get_property_qualifier(const CMPIObjectPath *op, const char *, const char *,
                                   CMPIStatus *rc) {
  return unsupported_qualifier(op, rc);
}

CMPIData op_get_method_qualifier(const CMPIObjectPath *op, const char *, const char *,
                                 CMPIStatus *rc) {
  return unsupported_qualifier(op, rc);
}

CMPIData op_get_parameter_qualifier(const CMPIObjectPath *op, const char *, const char *,
                                    const char *, CMPIStatus *rc) {
  return unsupported_qualifier(op, rc);
}

// The text of one key value: a reference prints as its path's own text, everything else as
// value2Chars gives it; a value without text form prints as nothing.
void append_key_value(const CMPIData &data, std::string *out) {
  if ((data.state & CMPI_nullValue) != 0) {
    return;
  }
  if (data.type == CMPI_ref) {
    const CMPIObjectPath *ref = data.value.ref;
    if (ref == nullptr || ref->ft == nullptr) {
      return;
    }
    CMPIString *text = ref->ft->toString(ref, nullptr);
    if (text == nullptr) {
      return;
    }
    const char *chars = text->ft->getCharPtr(text, nullptr);
    try {
      if (chars != nullptr) {
        out->append(chars);
      }
    } catch (...) {
      text->ft->release(text);
      throw;
    }
    text->ft->release(text);
    return;
  }
  char *text = value2Chars(data.type, &data.value);
  if (text == nullptr) {
    return;
  }
  try {
    out->append(text);
  } catch (...) {
    std::free(text);
    throw;
  }
  std::free(text);
}

CMPIString *op_to_string(const CMPIObjectPath *op, CMPIStatus *rc) {
  const ObjectPathImpl *impl = impl_of(op);
  if (impl == nullptr) {
    set_rc(rc, CMPI_RC_ERR_INVALID_HANDLE);
    return nullptr;
  }
  try {
    std::string text;
    // An empty namespace counts as none: no leading colon.
    if (impl->name_space.has_value() && !impl->name_space->empty()) {
      text += *impl->name_space;
      text += ':';
    }
    if (impl->class_name.has_value()) {
      text += *impl->class_name;
    }
    for (size_t i = 0; i < impl->keys.size(); ++i) {
      text += (i == 0) ? '.' : ',';
      text += impl->keys.name_at(i);
      text += '=';
      append_key_value(impl->keys.at(i), &text);
    }
    return CreateString(text.c_str(), rc);
  } catch (...) {
    set_rc(rc, CMPI_RC_ERR_FAILED);
    return nullptr;
  }
}

const CMPIObjectPathFT object_path_ft = {
    CMPICurrentVersion,
    op_release,
    op_clone,
    op_set_name_space,
    op_get_name_space,
    op_set_hostname,
    op_get_hostname,
    op_set_class_name,
    op_get_class_name,
    op_add_key,
    op_get_key,
    op_get_key_at,
    op_get_key_count,
    op_set_name_space_from,
    op_set_host_and_name_space_from,
    op_get_class_qualifier,
    op_get_property_qualifier,
    op_get_method_qualifier,
    op_get_parameter_qualifier,
    op_to_string,
};

}  // namespace

namespace cmpi {

const CMPIObjectPathFT *object_path_table() { return &object_path_ft; }

bool path_has_key(const CMPIObjectPath *path, const char *name) {
  const ObjectPathImpl *impl = our_impl<ObjectPathImpl>(path, object_path_table());
  return impl != nullptr && impl->keys.find(name) != nullptr;
}

}  // namespace cmpi

extern "C" CMPIObjectPath *makeNewObjectPath(const char *nameSpace, const char *className,
                                             CMPIStatus *rc) {
  ObjectPathImpl *impl = cmpi::new_impl<ObjectPathImpl>(cmpi::object_path_table());
  if (impl == nullptr) {
    set_rc(rc, CMPI_RC_ERR_FAILED);
    return nullptr;
  }
  try {
    if (nameSpace != nullptr) {
      impl->name_space = std::string(nameSpace);
    }
    if (className != nullptr) {
      impl->class_name = std::string(className);
    }
  } catch (...) {
    delete impl;
    set_rc(rc, CMPI_RC_ERR_FAILED);
    return nullptr;
  }
  set_rc(rc, CMPI_RC_OK);
  return &impl->object;
}
