// mi_call.h - calling a provider's MI, and its cleanup.
//
// The one place that knows which MI function each operation calls and with which arguments.
// Both the requests that come over the wire and the broker's up-calls are described as an
// MiRequest first (the wire's references travel as Associators with RefsOnly set; up-calls
// add the names variants and property lists). A function the MI table leaves NULL answers
// CMPI_RC_ERR_NOT_SUPPORTED with a message saying which function is missing.
#ifndef CMPI_HOSTD_MI_CALL_H
#define CMPI_HOSTD_MI_CALL_H

#include <cmpidt.h>
#include <cmpift.h>
#include <cmpiutility/records.h>

#include "operations.h"

namespace hostd {

enum class MiOperation {
  kEnumerateInstanceNames,
  kEnumerateInstances,
  kGetInstance,
  kCreateInstance,
  kModifyInstance,
  kDeleteInstance,
  kExecQuery,
  kAssociators,
  kAssociatorNames,
  kReferences,
  kReferenceNames,
  kInvokeMethod,
};

// What one MI call needs. Pointers are borrowed for the call; empty texts are passed as NULL.
struct MiRequest {
  MiOperation operation = MiOperation::kGetInstance;
  const CMPIObjectPath *path = nullptr;
  const CMPIInstance *instance = nullptr;  // create, modify
  const char *text = nullptr;              // the query, or the method name
  const char *language = "WQL";            // the query language
  const char *assoc_class = nullptr;
  const char *result_class = nullptr;      // references: the association class
  const char *role = nullptr;
  const char *result_role = nullptr;
  const char **properties = nullptr;
  const CMPIArgs *in = nullptr;
  CMPIArgs *out = nullptr;
};

wire::MIKind mi_kind_of(MiOperation operation);
// The MI function's name, e.g. "enumerateInstanceNames".
const char *mi_function_name(MiOperation operation);

// The MI request of a parsed wire request (pointers into *request); out: the method's output
// arguments (INVOKEMETHOD).
MiRequest mi_request_of(const ClientReq *request, CMPIArgs *out);

// mi is the CMPIInstanceMI*, CMPIMethodMI* or CMPIAssociationMI* of the operation's kind. The
// status is the MI's (its message belongs to the caller).
CMPIStatus call_mi(void *mi, const MiRequest &request, const CMPIContext *ctx,
                   const CMPIResult *result);

// The MI's cleanup with the given terminating flag; its status (message owned by the caller).
CMPIStatus cleanup_mi(wire::MIKind kind, void *mi, const CMPIContext *ctx, bool terminating);

}  // namespace hostd

#endif  // CMPI_HOSTD_MI_CALL_H
