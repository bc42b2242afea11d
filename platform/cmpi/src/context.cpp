// context.cpp - CMPIContext: the named entries a host hands to a provider with each call
// (principal, invocation flags, initial namespace, ...).
//
// addEntry copies what it is given (adding a name that is already there replaces its value in
// place); getEntry and getEntryAt hand out caller-owned copies, and getEntryAt the name as a
// new CMPIString.
#include "named_values.h"
#include "object_impl.h"
#include "objects.h"
#include "value.h"

namespace {

struct ContextImpl {
  CMPIContext object;
  cmpi::NamedValues entries;
};

cmpi::NamedValues *entries_of(const CMPIContext *ctx) {
  return cmpi::member_of(ctx, &ContextImpl::entries);
}

CMPIStatus ctx_release(CMPIContext *ctx) { return cmpi::release_impl<ContextImpl>(ctx); }

CMPIContext *ctx_clone(const CMPIContext *ctx, CMPIStatus *rc) {
  return cmpi::clone_impl<ContextImpl>(
      ctx, cmpi::context_table(), rc,
      [](const ContextImpl &from, ContextImpl *to) { return to->entries.copy_from(from.entries); });
}

CMPIData ctx_get_entry(const CMPIContext *ctx, const char *name, CMPIStatus *rc) {
  return cmpi::get_in(entries_of(ctx), name, rc);
}

CMPIData ctx_get_entry_at(const CMPIContext *ctx, CMPICount index, CMPIString **name,
                          CMPIStatus *rc) {
  return cmpi::get_at_in(entries_of(ctx), index, name, rc);
}

CMPICount ctx_get_entry_count(const CMPIContext *ctx, CMPIStatus *rc) {
  return cmpi::count_in(entries_of(ctx), rc);
}

CMPIStatus ctx_add_entry(const CMPIContext *ctx, const char *name, const CMPIValue *value,
                         const CMPIType type) {
  return cmpi::set_in(entries_of(ctx), name, value, type);
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
  return cmpi::made(cmpi::new_impl<ContextImpl>(cmpi::context_table()), rc);
}
