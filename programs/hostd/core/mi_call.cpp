// mi_call.cpp - the MI calls of every operation.
#include "mi_call.h"

#include <cmpiinterface.h>

#include <string>

namespace hostd {
namespace {

const char *nonempty(const char *text) {
  return (text != nullptr && *text != '\0') ? text : nullptr;
}

CMPIStatus missing(MiOperation operation) {
  const std::string text = std::string("the provider's MI offers no ") +
                           mi_function_name(operation) + " function";
  CMPIStatus st = {CMPI_RC_ERR_NOT_SUPPORTED, CreateString(text.c_str(), nullptr)};
  return st;
}

CMPIStatus call_instance(CMPIInstanceMI *mi, const MiRequest &r, const CMPIContext *ctx,
                         const CMPIResult *result) {
  CMPIInstanceMIFT *ft = mi->ft;
  switch (r.operation) {
    case MiOperation::kEnumerateInstances:
      if (ft->enumerateInstances == nullptr) break;
      return ft->enumerateInstances(mi, ctx, result, r.path, r.properties);
    case MiOperation::kEnumerateInstanceNames:
      if (ft->enumerateInstanceNames == nullptr) break;
      return ft->enumerateInstanceNames(mi, ctx, result, r.path);
    case MiOperation::kGetInstance:
      if (ft->getInstance == nullptr) break;
      return ft->getInstance(mi, ctx, result, r.path, r.properties);
    case MiOperation::kModifyInstance:
      if (ft->modifyInstance == nullptr) break;
      return ft->modifyInstance(mi, ctx, result, r.path, r.instance, r.properties);
    case MiOperation::kDeleteInstance:
      if (ft->deleteInstance == nullptr) break;
      return ft->deleteInstance(mi, ctx, result, r.path);
    case MiOperation::kCreateInstance:
      if (ft->createInstance == nullptr) break;
      return ft->createInstance(mi, ctx, result, r.path, r.instance);
    case MiOperation::kExecQuery:
      if (ft->execQuery == nullptr) break;
      return ft->execQuery(mi, ctx, result, r.path, r.text, r.language);
    default:
      break;
  }
  return missing(r.operation);
}

CMPIStatus call_association(CMPIAssociationMI *mi, const MiRequest &r, const CMPIContext *ctx,
                            const CMPIResult *result) {
  CMPIAssociationMIFT *ft = mi->ft;
  const char *assoc_class = nonempty(r.assoc_class);
  const char *result_class = nonempty(r.result_class);
  const char *role = nonempty(r.role);
  const char *result_role = nonempty(r.result_role);
  switch (r.operation) {
    case MiOperation::kAssociators:
      if (ft->associators == nullptr) break;
      return ft->associators(mi, ctx, result, r.path, assoc_class, result_class, role,
                             result_role, r.properties);
    case MiOperation::kAssociatorNames:
      if (ft->associatorNames == nullptr) break;
      return ft->associatorNames(mi, ctx, result, r.path, assoc_class, result_class, role,
                                 result_role);
    case MiOperation::kReferences:
      if (ft->references == nullptr) break;
      return ft->references(mi, ctx, result, r.path, result_class, role, r.properties);
    case MiOperation::kReferenceNames:
      if (ft->referenceNames == nullptr) break;
      return ft->referenceNames(mi, ctx, result, r.path, result_class, role);
    default:
      break;
  }
  return missing(r.operation);
}

}  // namespace

wire::MIKind mi_kind_of(MiOperation operation) {
  switch (operation) {
    case MiOperation::kAssociators:
    case MiOperation::kAssociatorNames:
    case MiOperation::kReferences:
    case MiOperation::kReferenceNames:
      return wire::MIKind::kAssociation;
    case MiOperation::kInvokeMethod:
      return wire::MIKind::kMethod;
    default:
      return wire::MIKind::kInstance;
  }
}

const char *mi_function_name(MiOperation operation) {
  switch (operation) {
    case MiOperation::kEnumerateInstanceNames: return "enumerateInstanceNames";
    case MiOperation::kEnumerateInstances: return "enumerateInstances";
    case MiOperation::kGetInstance: return "getInstance";
    case MiOperation::kCreateInstance: return "createInstance";
    case MiOperation::kModifyInstance: return "modifyInstance";
    case MiOperation::kDeleteInstance: return "deleteInstance";
    case MiOperation::kExecQuery: return "execQuery";
    case MiOperation::kAssociators: return "associators";
    case MiOperation::kAssociatorNames: return "associatorNames";
    case MiOperation::kReferences: return "references";
    case MiOperation::kReferenceNames: return "referenceNames";
    case MiOperation::kInvokeMethod: return "invokeMethod";
  }
  return "";
}

MiRequest mi_request_of(const ClientReq *request, CMPIArgs *out) {
  MiRequest r;
  r.path = request->COP;
  r.instance = request->CI;
  switch (request->type) {
    case ENUMINST: r.operation = MiOperation::kEnumerateInstances; break;
    case ENUMINSTNAMES: r.operation = MiOperation::kEnumerateInstanceNames; break;
    case GETINST: r.operation = MiOperation::kGetInstance; break;
    case MODIFYINST: r.operation = MiOperation::kModifyInstance; break;
    case DELETEINST: r.operation = MiOperation::kDeleteInstance; break;
    case CREATEINST: r.operation = MiOperation::kCreateInstance; break;
    case EXECQUERY:
      r.operation = MiOperation::kExecQuery;
      r.text = request->QueryString;
      break;
    case INVOKEMETHOD:
      r.operation = MiOperation::kInvokeMethod;
      r.text = request->QueryString;
      r.in = request->ArgsIn;
      r.out = out;
      break;
    case ASSOCIATORS: {
      const CMAssocReq *assoc = request->assocref;
      const bool refs = assoc != nullptr && assoc->RefsOnly;
      r.operation = refs ? MiOperation::kReferences : MiOperation::kAssociators;
      if (assoc != nullptr) {
        r.assoc_class = nonempty(assoc->AssocClass);
        r.result_class = nonempty(assoc->ResultClass);
        r.role = nonempty(assoc->Role);
        r.result_role = nonempty(assoc->ResultRole);
      }
      break;
    }
    default:
      break;
  }
  return r;
}

CMPIStatus call_mi(void *mi, const MiRequest &request, const CMPIContext *ctx,
                   const CMPIResult *result) {
  switch (mi_kind_of(request.operation)) {
    case wire::MIKind::kInstance:
      return call_instance(static_cast<CMPIInstanceMI *>(mi), request, ctx, result);
    case wire::MIKind::kMethod: {
      auto *mmi = static_cast<CMPIMethodMI *>(mi);
      if (mmi->ft->invokeMethod == nullptr) return missing(request.operation);
      return mmi->ft->invokeMethod(mmi, ctx, result, request.path, request.text, request.in,
                                   request.out);
    }
    case wire::MIKind::kAssociation:
      return call_association(static_cast<CMPIAssociationMI *>(mi), request, ctx, result);
    case wire::MIKind::kNone:
      break;
  }
  return missing(request.operation);
}

CMPIStatus cleanup_mi(wire::MIKind kind, void *mi, const CMPIContext *ctx, bool terminating) {
  CMPIStatus st = {CMPI_RC_OK, nullptr};
  const CMPIBoolean flag = terminating ? 1 : 0;
  switch (kind) {
    case wire::MIKind::kInstance: {
      auto *imi = static_cast<CMPIInstanceMI *>(mi);
      if (imi->ft->cleanup) st = imi->ft->cleanup(imi, ctx, flag);
      break;
    }
    case wire::MIKind::kMethod: {
      auto *mmi = static_cast<CMPIMethodMI *>(mi);
      if (mmi->ft->cleanup) st = mmi->ft->cleanup(mmi, ctx, flag);
      break;
    }
    case wire::MIKind::kAssociation: {
      auto *ami = static_cast<CMPIAssociationMI *>(mi);
      if (ami->ft->cleanup) st = ami->ft->cleanup(ami, ctx, flag);
      break;
    }
    case wire::MIKind::kNone:
      break;
  }
  return st;
}

}  // namespace hostd
