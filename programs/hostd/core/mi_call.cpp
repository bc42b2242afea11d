// mi_call.cpp - the MI calls of the ten request types.
#include "mi_call.h"

namespace hostd {
namespace {

const char *nonempty(const char *text) {
  return (text != nullptr && *text != '\0') ? text : nullptr;
}

CMPIStatus unsupported() {
  CMPIStatus st = {CMPI_RC_ERR_NOT_SUPPORTED, nullptr};
  return st;
}

CMPIStatus call_instance(CMPIInstanceMI *mi, const ClientReq *req, const CMPIContext *ctx,
                         const CMPIResult *result) {
  CMPIInstanceMIFT *ft = mi->ft;
  CMPIObjectPath *op = req->COP;
  switch (req->type) {
    case ENUMINST:
      return ft->enumerateInstances ? ft->enumerateInstances(mi, ctx, result, op, nullptr)
                                    : unsupported();
    case ENUMINSTNAMES:
      return ft->enumerateInstanceNames ? ft->enumerateInstanceNames(mi, ctx, result, op)
                                        : unsupported();
    case GETINST:
      return ft->getInstance ? ft->getInstance(mi, ctx, result, op, nullptr) : unsupported();
    case MODIFYINST:
      return ft->modifyInstance ? ft->modifyInstance(mi, ctx, result, op, req->CI, nullptr)
                                : unsupported();
    case DELETEINST:
      return ft->deleteInstance ? ft->deleteInstance(mi, ctx, result, op) : unsupported();
    case CREATEINST:
      return ft->createInstance ? ft->createInstance(mi, ctx, result, op, req->CI)
                                : unsupported();
    case EXECQUERY:
      return ft->execQuery ? ft->execQuery(mi, ctx, result, op, req->QueryString, "WQL")
                           : unsupported();
    default:
      return unsupported();
  }
}

CMPIStatus call_association(CMPIAssociationMI *mi, const ClientReq *req, const CMPIContext *ctx,
                            const CMPIResult *result) {
  const CMAssocReq *assoc = req->assocref;
  const char *assoc_class = assoc ? nonempty(assoc->AssocClass) : nullptr;
  const char *result_class = assoc ? nonempty(assoc->ResultClass) : nullptr;
  const char *role = assoc ? nonempty(assoc->Role) : nullptr;
  const char *result_role = assoc ? nonempty(assoc->ResultRole) : nullptr;
  if (assoc != nullptr && assoc->RefsOnly) {
    return mi->ft->references
               ? mi->ft->references(mi, ctx, result, req->COP, result_class, role, nullptr)
               : unsupported();
  }
  return mi->ft->associators ? mi->ft->associators(mi, ctx, result, req->COP, assoc_class,
                                                   result_class, role, result_role, nullptr)
                             : unsupported();
}

}  // namespace

CMPIStatus call_mi(wire::MIKind kind, void *mi, const ClientReq *request, const CMPIContext *ctx,
                   const CMPIResult *result, CMPIArgs *out_args) {
  switch (kind) {
    case wire::MIKind::kInstance:
      return call_instance(static_cast<CMPIInstanceMI *>(mi), request, ctx, result);
    case wire::MIKind::kMethod: {
      auto *mmi = static_cast<CMPIMethodMI *>(mi);
      if (mmi->ft->invokeMethod == nullptr) return unsupported();
      return mmi->ft->invokeMethod(mmi, ctx, result, request->COP, request->QueryString,
                                   request->ArgsIn, out_args);
    }
    case wire::MIKind::kAssociation:
      return call_association(static_cast<CMPIAssociationMI *>(mi), request, ctx, result);
    case wire::MIKind::kNone:
      break;
  }
  return unsupported();
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
