// local_ops.cpp - the two in-process calls.
#include "local_ops.h"

#include <cmpiutility/local_call.h>

#include "cli_error.h"
#include "cmpi_build.h"
#include "request_args.h"
#include "value_json.h"
#include "value_text.h"

namespace cli {
namespace {

// The context handed to the provider: the user and the namespace, as a host would give them.
ContextPtr make_context(const Invocation &inv, const std::string &name_space) {
  CMPIStatus st = {CMPI_RC_OK, nullptr};
  ContextPtr ctx(makeNewCMPIContext(&st));
  if (!ctx) throw CimError(CMPI_RC_ERR_FAILED, "cannot make a context");
  if (!inv.user.empty()) CMAddContextEntry(ctx.get(), CMPIPrincipal, inv.user.c_str(), CMPI_chars);
  CMAddContextEntry(ctx.get(), CMPIInitNameSpace, name_space.c_str(), CMPI_chars);
  return ctx;
}

void run_local_get(const Invocation &inv, Output &out) {
  const ParsedPath parsed = with_namespace(instance_argument(inv.arguments[0], inv.command),
                                           inv.name_space);
  PathPtr path = build_path(parsed, inv.name_space);
  ContextPtr ctx = make_context(inv, parsed.name_space);
  InstancePtr inst(LocalGetInstance(ctx.get(), path.get()));
  if (!inst) {
    throw CimError(CMPI_RC_ERR_FAILED,
                   "LocalGetInstance returned no instance: the instance does not exist, or the "
                   "class has no provider that can be loaded (--debug shows the library's reason)");
  }
  out.member("instance", instance_json(inst.get()));
  out.text(instance_text(inst.get()));
}

void run_local_enum(const Invocation &inv, Output &out) {
  const ParsedPath parsed =
      with_namespace(class_argument(inv.arguments[0], inv.command), inv.name_space);
  PathPtr path = build_path(parsed, inv.name_space);
  ContextPtr ctx = make_context(inv, parsed.name_space);
  EnumerationPtr results(CBEnumInstance(ctx.get(), parsed.class_name.c_str(), path.get(),
                                        static_cast<unsigned char>(inv.flag)));
  if (!results) {
    throw CimError(CMPI_RC_ERR_FAILED,
                   "CBEnumInstance returned nothing: the class has no provider that can be "
                   "loaded, or the provider returned no result (--debug shows the library's "
                   "reason)");
  }
  out.start_list("instances");
  while (CMHasNext(results.get(), nullptr)) {
    OwnedData d(CMGetNext(results.get(), nullptr));
    const CMPIValue value = d.value();
    if (!d.is_null() && d.type() == CMPI_instance && value.inst != nullptr) {
      out.add_instance(value.inst);
    }
  }
}

}  // namespace

void run_local(const Invocation &inv, Output &out) {
  if (inv.command == "local-get") return run_local_get(inv, out);
  if (inv.command == "local-enum") return run_local_enum(inv, out);
  throw UsageError("unknown command '" + inv.command + "'");
}

}  // namespace cli
