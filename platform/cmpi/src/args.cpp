// args.cpp - CMPIArgs: the ordered, named arguments of a method call.
//
// addArg copies what it is given (adding a name that is already there replaces its value in
// place); getArg and getArgAt hand out caller-owned copies, and getArgAt the name as a new
// CMPIString.
#include <new>

#include "named_values.h"
#include "objects.h"
#include "value.h"

namespace {

using cmpi::make_status;
using cmpi::set_rc;

struct ArgsImpl {
  CMPIArgs object;
  cmpi::NamedValues args;
};

ArgsImpl *impl_of(const CMPIArgs *as) {
  if (as == nullptr || as->hdl == nullptr) {
    return nullptr;
  }
  return static_cast<ArgsImpl *>(as->hdl);
}

// An args object given as an argument must be one of ours, since its entries are read directly.
ArgsImpl *our_args(const CMPIArgs *as) {
  if (as == nullptr || as->ft != cmpi::args_table()) {
    return nullptr;
  }
  return impl_of(as);
}

ArgsImpl *new_impl() {
  ArgsImpl *impl = new (std::nothrow) ArgsImpl();
  if (impl == nullptr) {
    return nullptr;
  }
  impl->object.hdl = impl;
  impl->object.ft = const_cast<CMPIArgsFT *>(cmpi::args_table());
  return impl;
}

CMPIStatus args_release(CMPIArgs *as) {
  ArgsImpl *impl = impl_of(as);
  if (impl == nullptr) {
    return make_status(CMPI_RC_ERR_INVALID_HANDLE);
  }
  delete impl;
  return make_status(CMPI_RC_OK);
}

CMPIArgs *args_clone(const CMPIArgs *as, CMPIStatus *rc) {
  const ArgsImpl *impl = impl_of(as);
  if (impl == nullptr) {
    set_rc(rc, CMPI_RC_ERR_INVALID_HANDLE);
    return nullptr;
  }
  ArgsImpl *copy = new_impl();
  if (copy == nullptr) {
    set_rc(rc, CMPI_RC_ERR_FAILED);
    return nullptr;
  }
  const CMPIrc code = copy->args.copy_from(impl->args);
  if (code != CMPI_RC_OK) {
    delete copy;
    set_rc(rc, code);
    return nullptr;
  }
  set_rc(rc, CMPI_RC_OK);
  return &copy->object;
}

CMPIStatus args_add_arg(const CMPIArgs *as, const char *name, const CMPIValue *value,
                        const CMPIType type) {
  ArgsImpl *impl = impl_of(as);
  if (impl == nullptr) {
    return make_status(CMPI_RC_ERR_INVALID_HANDLE);
  }
  return make_status(impl->args.set(name, value, type));
}

CMPIData args_get_arg(const CMPIArgs *as, const char *name, CMPIStatus *rc) {
  const ArgsImpl *impl = impl_of(as);
  if (impl == nullptr) {
    set_rc(rc, CMPI_RC_ERR_INVALID_HANDLE);
    return cmpi::null_data(CMPI_null);
  }
  return impl->args.get(name, rc);
}

CMPIData args_get_arg_at(const CMPIArgs *as, CMPICount index, CMPIString **name,
                         CMPIStatus *rc) {
  const ArgsImpl *impl = impl_of(as);
  if (impl == nullptr) {
    if (name != nullptr) {
      *name = nullptr;
    }
    set_rc(rc, CMPI_RC_ERR_INVALID_HANDLE);
    return cmpi::null_data(CMPI_null);
  }
  return impl->args.get_at(index, name, rc);
}

CMPICount args_get_arg_count(const CMPIArgs *as, CMPIStatus *rc) {
  const ArgsImpl *impl = impl_of(as);
  if (impl == nullptr) {
    set_rc(rc, CMPI_RC_ERR_INVALID_HANDLE);
    return 0;
  }
  set_rc(rc, CMPI_RC_OK);
  return static_cast<CMPICount>(impl->args.size());
}

const CMPIArgsFT args_ft = {
    CMPICurrentVersion, args_release,    args_clone,         args_add_arg,
    args_get_arg,       args_get_arg_at, args_get_arg_count,
};

}  // namespace

namespace cmpi {

const CMPIArgsFT *args_table() { return &args_ft; }

}  // namespace cmpi

extern "C" CMPIArgs *makeNewCMPIArgs(CMPIStatus *rc) {
  ArgsImpl *impl = new_impl();
  if (impl == nullptr) {
    set_rc(rc, CMPI_RC_ERR_FAILED);
    return nullptr;
  }
  set_rc(rc, CMPI_RC_OK);
  return &impl->object;
}

// Every argument of source is set into target (same names replace); a failing argument does not
// stop the others, and the first failure is what is answered.
extern "C" CMPIStatus copyCMPIArgs(const CMPIArgs *source, CMPIArgs *target) {
  const ArgsImpl *from = our_args(source);
  ArgsImpl *to = our_args(target);
  if (from == nullptr || to == nullptr) {
    return make_status(CMPI_RC_ERR_INVALID_HANDLE);
  }
  CMPIrc first_failure = CMPI_RC_OK;
  // The count is taken first: copying an args object into itself adds nothing new.
  const size_t count = from->args.size();
  for (size_t i = 0; i < count; ++i) {
    const CMPIData &data = from->args.at(i);
    const CMPIValue *value = (data.state & CMPI_nullValue) != 0 ? nullptr : &data.value;
    const CMPIrc code = to->args.set(from->args.name_at(i).c_str(), value, data.type);
    if (code != CMPI_RC_OK && first_failure == CMPI_RC_OK) {
      first_failure = code;
    }
  }
  return make_status(first_failure);
}
