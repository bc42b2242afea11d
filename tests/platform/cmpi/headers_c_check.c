/*
 * The CMPI headers compiled as C: the packed layout is the same as seen from C++, and the
 * convenience and stub macros expand to valid C. headers_test.cpp calls the functions below.
 */
#include <stddef.h>

#include "cmpidt.h"
#include "cmpift.h"
#include "cmpiinterface.h"
#include "cmpimacs.h"

_Static_assert(sizeof(CMPIStatus) == 12, "CMPIStatus is rc then msg, packed");
_Static_assert(offsetof(CMPIStatus, msg) == 4, "msg follows rc directly");
_Static_assert(sizeof(CMPIData) == 12, "CMPIData is type, state, value, packed");
_Static_assert(offsetof(CMPIData, value) == 4, "value follows type and state directly");
_Static_assert(sizeof(CMPIValue) == 8, "CMPIValue has no dataPtr member");
_Static_assert(sizeof(CMPIBroker) == 40, "five pointers");
_Static_assert(offsetof(CMPIBrokerFT, prepareAttachThread) == 16, "functions from byte 16");
_Static_assert(sizeof(CMPIInstanceFT) == 84, "version and ten slots");
_Static_assert(offsetof(CMPIObjectPathFT, toString) == 148, "slot 19");

size_t headers_c_check_size(int which);
CMPIStatus headers_c_check_status(const CMPIBroker *mb, CMPIStatus *rc, int which);
CMPIString *headers_c_check_message(const CMPIBroker *mb, const CMPIInstance *inst,
                                    const CMPIString *name);

size_t headers_c_check_size(int which) {
  switch (which) {
    case 0: return sizeof(CMPIStatus);
    case 1: return sizeof(CMPIData);
    case 2: return sizeof(CMPIValue);
    case 3: return sizeof(CMPIBrokerFT);
    case 4: return sizeof(CMPIInstanceFT);
    case 5: return sizeof(CMPIObjectPathFT);
    case 6: return sizeof(CMPIBroker);
    case 7: return sizeof(CMPIInstanceMIFT);
    case 8: return sizeof(CMPIBrokerEncFT);
    default: return 0;
  }
}

/* which 0: sets *rc to NOT_FOUND and returns OK; otherwise returns INVALID_HANDLE with a message
 * from mb (none without a broker). */
CMPIStatus headers_c_check_status(const CMPIBroker *mb, CMPIStatus *rc, int which) {
  if (which == 0) {
    CMSetStatus(rc, CMPI_RC_ERR_NOT_FOUND);
    CMReturn(CMPI_RC_OK);
  }
  CMSetStatusWithChars(mb, rc, CMPI_RC_ERR_FAILED, "not reached without a broker");
  CMReturnWithChars(mb, CMPI_RC_ERR_INVALID_HANDLE, "no object");
}

/* Only compiled, never called: the object macros and the message helpers expand to valid C. */
CMPIString *headers_c_check_message(const CMPIBroker *mb, const CMPIInstance *inst,
                                    const CMPIString *name) {
  CMPIStatus st = {CMPI_RC_OK, NULL};
  CMPIUint16 port = 5988;
  CMPIData d;
  if (CMIsNullObject(inst)) return NULL;
  CMSetProperty(inst, "Port", &port, CMPI_uint16);
  CMSetProperty(inst, "Name", "text", CMPI_chars);
  d = CMGetProperty(inst, "Port", &st);
  if (CMIsNullValue(d) || CMIsArray(d)) return NULL;
  return CMGetMessage(mb, "id", "default $0 $1 $2", &st,
                      CMFmtArgs3(CMFmtSint(d.value.uint16), CMFmtChars(CMGetCharPtr(name)),
                                 CMFmtString(name)));
}

/* A method MI written with the stub macro. */
const CMPIBroker *headers_c_check_broker = NULL;

static CMPIStatus HeadersCCheckMethodCleanup(CMPIMethodMI *mi, const CMPIContext *ctx,
                                             CMPIBoolean terminating) {
  (void)mi;
  (void)ctx;
  (void)terminating;
  CMReturn(CMPI_RC_OK);
}

static CMPIStatus HeadersCCheckInvokeMethod(CMPIMethodMI *mi, const CMPIContext *ctx,
                                            const CMPIResult *rslt, const CMPIObjectPath *op,
                                            const char *method, const CMPIArgs *in,
                                            CMPIArgs *out) {
  (void)mi;
  (void)ctx;
  (void)op;
  (void)method;
  (void)in;
  (void)out;
  CMReturnDone(rslt);
  CMReturn(CMPI_RC_OK);
}

CMMethodMIStub(HeadersCCheck, HeadersCCheck, headers_c_check_broker, CMNoHook)
