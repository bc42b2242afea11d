// mi_call.h - calling a provider's MI for a request, and its cleanup.
//
// The one place that knows which MI function each request type calls and with which arguments
// (the operations table names the function; the signatures differ, so the call is made here).
// A function the MI table leaves NULL answers CMPI_RC_ERR_NOT_SUPPORTED.
#ifndef CMPI_HOSTD_MI_CALL_H
#define CMPI_HOSTD_MI_CALL_H

#include <cmpidt.h>
#include <cmpift.h>
#include <cmpiutility/records.h>

#include "operations.h"

namespace hostd {

// mi is the CMPIInstanceMI*, CMPIMethodMI* or CMPIAssociationMI* of kind. The status is the
// MI's (its message belongs to the caller).
CMPIStatus call_mi(wire::MIKind kind, void *mi, const ClientReq *request, const CMPIContext *ctx,
                   const CMPIResult *result, CMPIArgs *out_args);

// The MI's cleanup with the given terminating flag; its status (message owned by the caller).
CMPIStatus cleanup_mi(wire::MIKind kind, void *mi, const CMPIContext *ctx, bool terminating);

}  // namespace hostd

#endif  // CMPI_HOSTD_MI_CALL_H
