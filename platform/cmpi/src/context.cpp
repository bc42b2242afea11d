// context.cpp - CMPIContext: the named entries a host hands to a provider with each call
// (principal, invocation flags, initial namespace, ...).
//
// addEntry copies what it is given (adding a name that is already there replaces its value in
// place); getEntry and getEntryAt hand out caller-owned copies, and getEntryAt the name as a
// new CMPIString.
#include <new>

#include "named_values.h"
#include "objects.h"
#include "value.h"

namespace {

using cmpi::make_status;
using cmpi::set_rc;

struct ContextImpl {
  CMPIContext object;
  cmpi::NamedValues entries;
};

ContextImpl *impl_of(const CMPIContext *ctx) {
  if (ctx == nullptr || ctx->hdl == nullptr) {
    return nullptr;
  }
  return static_cast<ContextImpl *>(ctx->hdl);
}

ContextImpl *new_impl() {
  ContextImpl *impl = new (std::nothrow) ContextImpl();
  if (impl == nullptr) {
    return nullptr;
  }
  impl->object.hdl = impl;
  impl->object.ft = const_cast<CMPIContextFT *>(cmpi::context_table());
  return impl;
}

CMPIStatus ctx_release(CMPIContext *ctx) {
  ContextImpl *impl = impl_of(ctx);
  if (impl == nullptr) {
    return make_status(CMPI_RC_ERR_INVALID_HANDLE);
  }
  delete impl;
  return make_status(CMPI_RC_OK);
}

CMPIContext *ctx_clone(const CMPIContext *ctx, CMPIStatus *rc) {
  const ContextImpl *impl = impl_of(ctx);
  if (impl == nullptr) {
    set_rc(rc, CMPI_RC_ERR_INVALID_HANDLE);
    return nullptr;
  }
  ContextImpl *copy = new_impl();
  if (copy == nullptr) {
    set_rc(rc, CMPI_RC_ERR_FAILED);
    return nullptr;
  }
  const CMPIrc code = copy->entries.copy_from(impl->entries);
  if (code != CMPI_RC_OK) {
    delete copy;
    set_rc(rc, code);
    return nullptr;
  }
  set_rc(rc, CMPI_RC_OK);
  return &copy->object;
}

CMPIData ctx_get_entry(const CMPIContext *ctx, const char *name, CMPIStatus *rc) {
  const ContextImpl *impl = impl_of(ctx);
  if (impl == nullptr) {
    set_rc(rc, CMPI_RC_ERR_INVALID_HANDLE);
    return cmpi::null_data(CMPI_null);
  }
  return impl->entries.get(name, rc);
}

CMPIData ctx_get_entry_at(const CMPIContext *ctx, CMPICount index, CMPIString **name,
                          CMPIStatus *rc) {
  const ContextImpl *impl = impl_of(ctx);
  if (impl == nullptr) {
    if (name != nullptr) {
      *name = nullptr;
    }
    set_rc(rc, CMPI_RC_ERR_INVALID_HANDLE);
    return cmpi::null_data(CMPI_null);
  }
  return impl->entries.get_at(index, name, rc);
}

CMPICount ctx_get_entry_count(const CMPIContext *ctx, CMPIStatus *rc) {
  const ContextImpl *impl = impl_of(ctx);
  if (impl == nullptr) {
    set_rc(rc, CMPI_RC_ERR_INVALID_HANDLE);
    return 0;
  }
  set_rc(rc, CMPI_RC_OK);
  return static_cast<CMPICount>(impl->entries.size());
}

CMPIStatus ctx_add_entry(const CMPIContext *ctx, const char *name, const CMPIValue *value,
                         const CMPIType type) {
  ContextImpl *impl = impl_of(ctx);
  if (impl == nullptr) {
    return make_status(CMPI_RC_ERR_INVALID_HANDLE);
  }
  return make_status(impl->entries.set(name, value, type));
}

const CMPIContextFT context_ft = {
    CMPICurrentVersion, ctx_release,         ctx_clone,     ctx_get_entry,
    ctx_get_entry_at,   ctx_get_entry_count, ctx_add_entry,
};

}  // namespace

namespace cmpi {

const CMPIContextFT *context_table() { return &context_ft; }

}  // namespace cmpi

extern "C" CMPIContext *makeNewCMPIContext(CMPIStatus *rc) {
  ContextImpl *impl = new_impl();
  if (impl == nullptr) {
    set_rc(rc, CMPI_RC_ERR_FAILED);
    return nullptr;
  }
  set_rc(rc, CMPI_RC_OK);
  return &impl->object;
}
