// upcall_broker.cpp - up-calls served by the providers of the same worker.
#include "upcall_broker.h"

#include <cmpiinterface.h>
#include <cmpimacs.h>

#include "log.h"
#include "log_text.h"
#include "routing.h"

namespace hostd {
using wire::log_text;
namespace {

std::string text_of(CMPIString *s) {
  std::string text;
  if (s != nullptr) {
    if (s->hdl != nullptr) text = static_cast<const char *>(s->hdl);
    CMRelease(s);
  }
  return text;
}

void set_status(CMPIStatus *rc, const CMPIStatus &st) {
  if (rc != nullptr) *rc = st;
}

CMPIData null_data() {
  CMPIData data = {CMPI_null, CMPI_nullValue, {}};
  return data;
}

// Associators and their names take the association class as such; references and their
// names take it as the result class.
bool takes_assoc_class(MiOperation op) {
  return op == MiOperation::kAssociators || op == MiOperation::kAssociatorNames;
}

// ---- the up-call table ----

CMPIEnumeration *enumerate_run(const CMPIBroker *mb, const CMPIContext *ctx,
                               const CMPIObjectPath *op, const MiRequest &request,
                               CMPIStatus *rc) {
  UpcallBroker *self = UpcallBroker::of(mb);
  std::vector<CMPIData> items;
  CMPIStatus st = self->run(ctx, op, request, &items, nullptr);
  set_status(rc, st);
  if (st.rc != CMPI_RC_OK) {
    for (CMPIData &item : items) cmpiReleaseCMPIValue(item.type, &item.value);
    return nullptr;
  }
  return self->owned().enumeration(std::move(items));
}

CMPIEnumeration *mb_enumerate_instance_names(const CMPIBroker *mb, const CMPIContext *ctx,
                                             const CMPIObjectPath *op, CMPIStatus *rc) {
  MiRequest r;
  r.operation = MiOperation::kEnumerateInstanceNames;
  return enumerate_run(mb, ctx, op, r, rc);
}

CMPIEnumeration *mb_enumerate_instances(const CMPIBroker *mb, const CMPIContext *ctx,
                                        const CMPIObjectPath *op, const char **properties,
                                        CMPIStatus *rc) {
  MiRequest r;
  r.operation = MiOperation::kEnumerateInstances;
  r.properties = properties;
  return enumerate_run(mb, ctx, op, r, rc);
}

CMPIEnumeration *mb_exec_query(const CMPIBroker *mb, const CMPIContext *ctx,
                               const CMPIObjectPath *op, const char *query, const char *lang,
                               CMPIStatus *rc) {
  MiRequest r;
  r.operation = MiOperation::kExecQuery;
  r.text = query;
  r.language = lang;
  return enumerate_run(mb, ctx, op, r, rc);
}

CMPIEnumeration *mb_associators(const CMPIBroker *mb, const CMPIContext *ctx,
                                const CMPIObjectPath *op, const char *assoc_class,
                                const char *result_class, const char *role,
                                const char *result_role, const char **properties,
                                CMPIStatus *rc) {
  MiRequest r;
  r.operation = MiOperation::kAssociators;
  r.assoc_class = assoc_class;
  r.result_class = result_class;
  r.role = role;
  r.result_role = result_role;
  r.properties = properties;
  return enumerate_run(mb, ctx, op, r, rc);
}

CMPIEnumeration *mb_associator_names(const CMPIBroker *mb, const CMPIContext *ctx,
                                     const CMPIObjectPath *op, const char *assoc_class,
                                     const char *result_class, const char *role,
                                     const char *result_role, CMPIStatus *rc) {
  MiRequest r;
  r.operation = MiOperation::kAssociatorNames;
  r.assoc_class = assoc_class;
  r.result_class = result_class;
  r.role = role;
  r.result_role = result_role;
  return enumerate_run(mb, ctx, op, r, rc);
}

CMPIEnumeration *mb_references(const CMPIBroker *mb, const CMPIContext *ctx,
                               const CMPIObjectPath *op, const char *result_class,
                               const char *role, const char **properties, CMPIStatus *rc) {
  MiRequest r;
  r.operation = MiOperation::kReferences;
  r.result_class = result_class;
  r.role = role;
  r.properties = properties;
  return enumerate_run(mb, ctx, op, r, rc);
}

CMPIEnumeration *mb_reference_names(const CMPIBroker *mb, const CMPIContext *ctx,
                                    const CMPIObjectPath *op, const char *result_class,
                                    const char *role, CMPIStatus *rc) {
  MiRequest r;
  r.operation = MiOperation::kReferenceNames;
  r.result_class = result_class;
  r.role = role;
  return enumerate_run(mb, ctx, op, r, rc);
}

// The first instance (or path) of what a single-result call returned; the rest released.
CMPIData first_of(std::vector<CMPIData> *items, CMPIType type) {
  CMPIData first = null_data();
  for (CMPIData &item : *items) {
    if (first.type == CMPI_null && item.type == type) {
      first = item;
    } else {
      cmpiReleaseCMPIValue(item.type, &item.value);
    }
  }
  items->clear();
  return first;
}

CMPIInstance *mb_get_instance(const CMPIBroker *mb, const CMPIContext *ctx,
                              const CMPIObjectPath *op, const char **properties,
                              CMPIStatus *rc) {
  UpcallBroker *self = UpcallBroker::of(mb);
  MiRequest r;
  r.operation = MiOperation::kGetInstance;
  r.properties = properties;
  std::vector<CMPIData> items;
  CMPIStatus st = self->run(ctx, op, r, &items, nullptr);
  CMPIData first = first_of(&items, CMPI_instance);
  if (st.rc == CMPI_RC_OK && first.type != CMPI_instance) {
    st = self->refuse(CMPI_RC_ERR_NOT_FOUND, "the provider returned no instance");
  }
  set_status(rc, st);
  if (st.rc != CMPI_RC_OK) {
    if (first.type == CMPI_instance) cmpiReleaseCMPIValue(first.type, &first.value);
    return nullptr;
  }
  return self->owned().keep(first.value.inst);
}

CMPIObjectPath *mb_create_instance(const CMPIBroker *mb, const CMPIContext *ctx,
                                   const CMPIObjectPath *op, const CMPIInstance *inst,
                                   CMPIStatus *rc) {
  UpcallBroker *self = UpcallBroker::of(mb);
  MiRequest r;
  r.operation = MiOperation::kCreateInstance;
  r.instance = inst;
  std::vector<CMPIData> items;
  CMPIStatus st = self->run(ctx, op, r, &items, nullptr);
  CMPIData first = first_of(&items, CMPI_ref);
  set_status(rc, st);
  if (st.rc != CMPI_RC_OK || first.type != CMPI_ref) {
    if (first.type == CMPI_ref) cmpiReleaseCMPIValue(first.type, &first.value);
    return nullptr;
  }
  return self->owned().keep(first.value.ref);
}

CMPIStatus status_only(const CMPIBroker *mb, const CMPIContext *ctx, const CMPIObjectPath *op,
                       const MiRequest &r) {
  UpcallBroker *self = UpcallBroker::of(mb);
  std::vector<CMPIData> items;
  CMPIStatus st = self->run(ctx, op, r, &items, nullptr);
  for (CMPIData &item : items) cmpiReleaseCMPIValue(item.type, &item.value);
  return st;
}

CMPIStatus mb_modify_instance(const CMPIBroker *mb, const CMPIContext *ctx,
                              const CMPIObjectPath *op, const CMPIInstance *inst,
                              const char **properties) {
  MiRequest r;
  r.operation = MiOperation::kModifyInstance;
  r.instance = inst;
  r.properties = properties;
  return status_only(mb, ctx, op, r);
}

CMPIStatus mb_delete_instance(const CMPIBroker *mb, const CMPIContext *ctx,
                              const CMPIObjectPath *op) {
  MiRequest r;
  r.operation = MiOperation::kDeleteInstance;
  return status_only(mb, ctx, op, r);
}

CMPIData mb_invoke_method(const CMPIBroker *mb, const CMPIContext *ctx, const CMPIObjectPath *op,
                          const char *method, const CMPIArgs *in, CMPIArgs *out,
                          CMPIStatus *rc) {
  UpcallBroker *self = UpcallBroker::of(mb);
  MiRequest r;
  r.operation = MiOperation::kInvokeMethod;
  r.text = method;
  r.in = in;
  r.out = out;
  std::vector<CMPIData> items;
  CMPIData returned = null_data();
  CMPIStatus st = self->run(ctx, op, r, &items, &returned);
  for (CMPIData &item : items) cmpiReleaseCMPIValue(item.type, &item.value);
  set_status(rc, st);
  if (st.rc != CMPI_RC_OK) {
    cmpiReleaseCMPIValue(returned.type, &returned.value);
    return null_data();
  }
  return self->owned().keep(returned);
}

CMPIData mb_get_property(const CMPIBroker *mb, const CMPIContext *ctx, const CMPIObjectPath *op,
                         const char *name, CMPIStatus *rc) {
  CMPIStatus st = {CMPI_RC_OK, nullptr};
  CMPIInstance *inst = mb_get_instance(mb, ctx, op, nullptr, &st);
  if (inst == nullptr) {
    set_status(rc, st);
    return null_data();
  }
  CMPIData data = inst->ft->getProperty(inst, name, &st);
  set_status(rc, st);
  return st.rc == CMPI_RC_OK ? UpcallBroker::of(mb)->owned().keep(data) : null_data();
}

CMPIStatus mb_set_property(const CMPIBroker *mb, const CMPIContext *, const CMPIObjectPath *,
                           const char *, const CMPIValue *, CMPIType) {
  return UpcallBroker::of(mb)->refuse(
      CMPI_RC_ERR_NOT_SUPPORTED,
      "setProperty is not offered by this broker: get the instance and modify it");
}

CMPIStatus mb_deliver_indication(const CMPIBroker *mb, const CMPIContext *, const char *,
                                 const CMPIInstance *) {
  return UpcallBroker::of(mb)->refuse(CMPI_RC_ERR_NOT_SUPPORTED,
                                      "this host delivers no indications");
}

CMPIInstance *enc_new_instance(const CMPIBroker *mb, const CMPIObjectPath *op, CMPIStatus *rc) {
  return UpcallBroker::of(mb)->new_instance(op, rc);
}

CMPIBoolean enc_class_path_is_a(const CMPIBroker *mb, const CMPIObjectPath *op, const char *type,
                                CMPIStatus *rc) {
  return UpcallBroker::of(mb)->is_a(op, type, rc) ? 1 : 0;
}

}  // namespace

UpcallBroker::UpcallBroker() {
  const CMPIBroker *library = getCMPIBroker(nullptr);
  calls_table_ = *library->bft;
  calls_table_.deliverIndication = mb_deliver_indication;
  calls_table_.enumerateInstanceNames = mb_enumerate_instance_names;
  calls_table_.getInstance = mb_get_instance;
  calls_table_.createInstance = mb_create_instance;
  calls_table_.modifyInstance = mb_modify_instance;
  calls_table_.deleteInstance = mb_delete_instance;
  calls_table_.execQuery = mb_exec_query;
  calls_table_.enumerateInstances = mb_enumerate_instances;
  calls_table_.associators = mb_associators;
  calls_table_.associatorNames = mb_associator_names;
  calls_table_.references = mb_references;
  calls_table_.referenceNames = mb_reference_names;
  calls_table_.invokeMethod = mb_invoke_method;
  calls_table_.setProperty = mb_set_property;
  calls_table_.getProperty = mb_get_property;
  library_factories_ = library->eft;
  factories_ = *library->eft;
  factories_.classPathIsA = enc_class_path_is_a;
  factories_.newInstance = enc_new_instance;
  broker_.hdl = this;
  broker_.bft = &calls_table_;
  broker_.eft = &factories_;
  broker_.xft = library->xft;
  broker_.mft = library->mft;
}

UpcallBroker *UpcallBroker::of(const CMPIBroker *mb) {
  return static_cast<UpcallBroker *>(mb->hdl);
}

void UpcallBroker::begin(ProviderCalls *calls, BrokerOwned *owned, const CMPIContext *ctx) {
  calls_ = calls;
  owned_ = owned;
  ctx_ = ctx;
  depth_ = 0;
  defaults_ = nullptr;
}

void UpcallBroker::end() {
  calls_ = nullptr;
  owned_ = nullptr;
  ctx_ = nullptr;
  defaults_ = nullptr;
}

CMPIStatus UpcallBroker::refuse(CMPIrc rc, const std::string &message) {
  CMPIStatus st = {rc, owned().keep(CreateString(message.c_str(), nullptr))};
  return st;
}

bool UpcallBroker::is_a(const CMPIObjectPath *op, const char *type, CMPIStatus *rc) {
  if (calls_ == nullptr || op == nullptr || type == nullptr) {
    return library_factories_->classPathIsA(&broker_, op, type, rc) != 0;
  }
  const std::string class_name = text_of(op->ft->getClassName(op, nullptr));
  if (rc != nullptr) *rc = {CMPI_RC_OK, nullptr};
  return calls_->graph().is_a(class_name, type);
}

CMPIInstance *UpcallBroker::new_instance(const CMPIObjectPath *op, CMPIStatus *rc) {
  CMPIInstance *inst = library_factories_->newInstance(&broker_, op, rc);
  if (inst == nullptr || calls_ == nullptr || op == nullptr) return inst;
  CMPIString *name = op->ft->getClassName(op, nullptr);
  const char *class_name = name != nullptr && name->hdl != nullptr
                               ? static_cast<const char *>(name->hdl)
                               : "";
  if (defaults_ == nullptr || defaults_class_ != class_name) {
    defaults_class_ = class_name;
    defaults_ = &calls_->defaults_of(defaults_class_);
  }
  if (name != nullptr) CMRelease(name);
  if (!defaults_->empty()) apply_defaults(inst, *defaults_);
  return inst;
}

CMPIStatus UpcallBroker::run(const CMPIContext *ctx, const CMPIObjectPath *op,
                             MiRequest request, std::vector<CMPIData> *items,
                             CMPIData *returned) {
  const char *function = mi_function_name(request.operation);
  if (calls_ == nullptr) {
    return refuse(CMPI_RC_ERR_NOT_SUPPORTED,
                  std::string("the broker answers ") + function +
                      " only while the provider serves a request");
  }
  if (op == nullptr || op->ft == nullptr) {
    return refuse(CMPI_RC_ERR_INVALID_PARAMETER,
                  std::string(function) + " was called without an object path");
  }
  if (depth_ >= kMaxDepth) {
    HOSTD_ERROR("an up-call %s nests deeper than %d up-calls; refused", function, kMaxDepth);
    return refuse(CMPI_RC_ERR_FAILED, std::string(function) + " nests deeper than " +
                                          std::to_string(kMaxDepth) + " up-calls");
  }
  if (ctx == nullptr) ctx = ctx_;
  const std::string class_name = text_of(op->ft->getClassName(op, nullptr));
  const std::string name_space = text_of(op->ft->getNameSpace(op, nullptr));
  HOSTD_TRACE("up-call %s of %s for %s (depth %d)", function, log_text(class_name).c_str(),
              log_text(calls_->user()).c_str(), depth_ + 1);
  for (const Target &target : plan_targets(calls_->graph(), class_name, request)) {
    void *mi = nullptr;
    std::string provider;
    Failure failure;
    if (!calls_->find_mi(target.class_name, request.operation, ctx, &mi, &provider, &failure)) {
      if (failure.empty) continue;
      return refuse(static_cast<CMPIrc>(failure.rc), failure.message);
    }
    MiRequest asked = request;
    if (!target.association.empty()) {
      (takes_assoc_class(request.operation) ? asked.assoc_class : asked.result_class) =
          target.association.c_str();
    }
    CMPIObjectPath *own_path = nullptr;
    if (!target.same_path) {
      own_path = makeNewObjectPath(name_space.c_str(), target.class_name.c_str(), nullptr);
      asked.path = own_path;
    } else {
      asked.path = op;
    }
    CMPIResult *result = makeNewCMPIResult(nullptr);
    if (result == nullptr || asked.path == nullptr) {
      if (own_path != nullptr) CMRelease(own_path);
      if (result != nullptr) CMRelease(result);
      return refuse(CMPI_RC_ERR_FAILED, "out of memory");
    }
    ++depth_;
    CMPIStatus st = call_mi(mi, asked, ctx, result);
    --depth_;
    if (own_path != nullptr) CMRelease(own_path);
    CMPIArray *array = cmpiConvertResult2Array(result);
    const CMPICount count = array != nullptr ? array->ft->getSize(array, nullptr) : 0;
    for (CMPICount i = 0; i < count; ++i) {
      CMPIData data = array->ft->getElementAt(array, i, nullptr);
      if (data.state & CMPI_nullValue) continue;
      if (returned != nullptr && returned->type == CMPI_null) {
        *returned = data;
      } else {
        items->push_back(data);
      }
    }
    CMRelease(result);
    if (st.rc != CMPI_RC_OK) {
      owned().keep(st.msg);
      calls_->log_failure(provider, mi_function_name(asked.operation), target.class_name, st,
                          true);
      return st;
    }
    if (st.msg != nullptr) CMRelease(st.msg);
  }
  CMPIStatus ok = {CMPI_RC_OK, nullptr};
  return ok;
}

}  // namespace hostd
