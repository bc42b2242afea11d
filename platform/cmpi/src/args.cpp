// args.cpp - CMPIArgs: the ordered, named arguments of a method call.
//
// addArg copies what it is given (adding a name that is already there replaces its value in
// place); getArg and getArgAt hand out caller-owned copies, and getArgAt the name as a new
// CMPIString.
#include "named_values.h"
#include "object_impl.h"
#include "objects.h"
#include "value.h"

namespace {

using cmpi::make_status;

struct ArgsImpl {
  CMPIArgs object;
  cmpi::NamedValues args;
};

cmpi::NamedValues *args_of(const CMPIArgs *as) { return cmpi::member_of(as, &ArgsImpl::args); }

// An args object given as an argument must be one of ours, since its entries are read directly.
ArgsImpl *our_args(const CMPIArgs *as) {
  return cmpi::our_impl<ArgsImpl>(as, cmpi::args_table());
}

CMPIStatus args_release(CMPIArgs *as) { return cmpi::release_impl<ArgsImpl>(as); }

CMPIArgs *args_clone(const CMPIArgs *as, CMPIStatus *rc) {
  return cmpi::clone_impl<ArgsImpl>(
      as, cmpi::args_table(), rc,
      [](const ArgsImpl &from, ArgsImpl *to) { return to->args.copy_from(from.args); });
}

CMPIStatus args_add_arg(const CMPIArgs *as, const char *name, const CMPIValue *value,
                        const CMPIType type) {
  return cmpi::set_in(args_of(as), name, value, type);
}

CMPIData args_get_arg(const CMPIArgs *as, const char *name, CMPIStatus *rc) {
  return cmpi::get_in(args_of(as), name, rc);
}

CMPIData args_get_arg_at(const CMPIArgs *as, CMPICount index, CMPIString **name,
                         CMPIStatus *rc) {
  return cmpi::get_at_in(args_of(as), index, name, rc);
}

CMPICount args_get_arg_count(const CMPIArgs *as, CMPIStatus *rc) {
  return cmpi::count_in(args_of(as), rc);
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
  return cmpi::made(cmpi::new_impl<ArgsImpl>(cmpi::args_table()), rc);
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
