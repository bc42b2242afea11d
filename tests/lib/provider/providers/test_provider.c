/*
 * test_provider.c - small provider libraries for the local-call tests, written the way a provider
 * author would, against the public entry-point typedefs. One source, built once per behaviour:
 *
 *   PROVIDER_LABEL    text stored in every instance's "Provider" property
 *   PROVIDER_COUNT    instances returned by each entry
 *   PROVIDER_RC       return code of both entries (0 = success)
 *   PROVIDER_MODE     what the entries put into the result:
 *                       MODE_INSTANCES  PROVIDER_COUNT instances, then returnDone
 *                       MODE_DONE_ONLY  nothing but returnDone (an empty, finished result)
 *                       MODE_UNTOUCHED  the result is not touched at all
 *                       MODE_NULL_DATUM one datum of type instance with a null value
 *                       MODE_REFERENCE  one object path instead of an instance
 *   PROVIDER_NO_ENTRY defined: the library exports neither entry point
 *
 * Every returned instance tells what the entry received: "ClassName", "Context" (the context
 * pointer as a number), "Flag" (the enumeration flag; 0 for GetInstance), "PropertiesNull" (the
 * property list was NULL), "BrokerSet" (a broker was passed) and "RequestedId" (the "Id" key of
 * the path passed, if any).
 */
#include <cmpimacs.h>
#include <cmpiutility/local_call.h>
#include <stdint.h>
#include <stdio.h>

#define MODE_INSTANCES 0
#define MODE_DONE_ONLY 1
#define MODE_UNTOUCHED 2
#define MODE_NULL_DATUM 3
#define MODE_REFERENCE 4

#ifndef PROVIDER_LABEL
#error "PROVIDER_LABEL must be defined"
#endif
#ifndef PROVIDER_COUNT
#define PROVIDER_COUNT 1
#endif
#ifndef PROVIDER_RC
#define PROVIDER_RC 0
#endif
#ifndef PROVIDER_MODE
#define PROVIDER_MODE MODE_INSTANCES
#endif

#define EXPORTED __attribute__((visibility("default")))

#ifndef PROVIDER_NO_ENTRY

/* Copies the "Id" key of path (if any) into inst as "RequestedId". */
static void copy_requested_id(const CMPIObjectPath *path, CMPIInstance *inst) {
  if (path == NULL) return;
  CMPIStatus rc = {CMPI_RC_OK, NULL};
  CMPIData key = CMGetKey(path, "Id", &rc);
  CMPIValue value = key.value;
  CMPIType type = key.type;
  CMPIValueState state = key.state;
  if (rc.rc != CMPI_RC_OK || (state & CMPI_nullValue) != 0) return;
  CMSetProperty(inst, "RequestedId", &value, type);
  if (type == CMPI_string && value.string != NULL) CMRelease(value.string);
}

static CMPIInstance *new_instance(const CMPIBroker *broker, const CMPIContext *ctx,
                                  const CMPIObjectPath *path, const char *className, int index,
                                  unsigned char flag, int propertiesNull) {
  char name[64];
  snprintf(name, sizeof(name), "%s-%d", PROVIDER_LABEL, index);
  CMPIObjectPath *op = CMNewObjectPath(broker, "root/test", className, NULL);
  if (op == NULL) return NULL;
  CMAddKey(op, "Name", name, CMPI_chars);
  CMPIInstance *inst = CMNewInstance(broker, op, NULL);
  CMRelease(op);
  if (inst == NULL) return NULL;
  CMPIUint64 context = (CMPIUint64)(uintptr_t)ctx;
  CMPIUint8 flagValue = flag;
  CMPIBoolean propertiesNullValue = propertiesNull ? 1 : 0;
  CMPIBoolean brokerSet = broker != NULL ? 1 : 0;
  CMSetProperty(inst, "Name", name, CMPI_chars);
  CMSetProperty(inst, "Provider", PROVIDER_LABEL, CMPI_chars);
  CMSetProperty(inst, "ClassName", className, CMPI_chars);
  CMSetProperty(inst, "Context", &context, CMPI_uint64);
  CMSetProperty(inst, "Flag", &flagValue, CMPI_uint8);
  CMSetProperty(inst, "PropertiesNull", &propertiesNullValue, CMPI_boolean);
  CMSetProperty(inst, "BrokerSet", &brokerSet, CMPI_boolean);
  copy_requested_id(path, inst);
  return inst;
}

/* Fills result as PROVIDER_MODE says. */
static void fill(const CMPIBroker *broker, const CMPIContext *ctx, const CMPIResult *result,
                 const CMPIObjectPath *path, const char *className, unsigned char flag,
                 int propertiesNull) {
  switch (PROVIDER_MODE) {
    case MODE_INSTANCES:
      for (int i = 0; i < PROVIDER_COUNT; ++i) {
        CMPIInstance *inst = new_instance(broker, ctx, path, className, i, flag, propertiesNull);
        if (inst == NULL) continue;
        CMReturnInstance(result, inst); /* the result keeps a copy */
        CMRelease(inst);
      }
      CMReturnDone(result);
      break;
    case MODE_DONE_ONLY:
      CMReturnDone(result);
      break;
    case MODE_NULL_DATUM:
      CMReturnData(result, NULL, CMPI_instance);
      CMReturnDone(result);
      break;
    case MODE_REFERENCE: {
      CMPIObjectPath *op = CMNewObjectPath(broker, "root/test", className, NULL);
      if (op != NULL) {
        CMReturnObjectPath(result, op);
        CMRelease(op);
      }
      CMReturnDone(result);
      break;
    }
    default: /* MODE_UNTOUCHED */
      break;
  }
}

EXPORTED CMPIStatus ReturnGetInstance(const CMPIBroker *broker, const CMPIContext *ctx,
                                      const CMPIResult *result, const CMPIObjectPath *path,
                                      const char **properties, const char *className) {
  fill(broker, ctx, result, path, className, 0, properties == NULL);
  if (PROVIDER_RC != 0) CMReturnWithChars(broker, PROVIDER_RC, "get failed in " PROVIDER_LABEL);
  CMReturn(CMPI_RC_OK);
}

EXPORTED CMPIStatus ReturnEnumerateData(const CMPIBroker *broker, const CMPIContext *ctx,
                                        const CMPIObjectPath *path, const CMPIResult *result,
                                        CMPIStatus *status, unsigned char flag,
                                        const char *className) {
  fill(broker, ctx, result, path, className, flag, 1);
  if (PROVIDER_RC != 0) {
    /* A failing provider reports through both channels, each with a message of its own. */
    if (status != NULL) {
      status->rc = (CMPIrc)PROVIDER_RC;
      status->msg = broker->eft->newString(broker, "status of " PROVIDER_LABEL, NULL);
    }
    CMReturnWithChars(broker, PROVIDER_RC, "enumeration failed in " PROVIDER_LABEL);
  }
  if (status != NULL) CMSetStatus(status, CMPI_RC_OK);
  CMReturn(CMPI_RC_OK);
}

/* Both entries checked against the typedefs provider authors use. */
static const CMPIULocalGetInstanceFn check_get_instance = ReturnGetInstance;
static const CMPIULocalEnumerateFn check_enumerate = ReturnEnumerateData;
EXPORTED const void *test_provider_entries[2] = {(const void *)&check_get_instance,
                                                 (const void *)&check_enumerate};

#else

/* A library that is a provider of something else: neither local-call entry is there. */
EXPORTED int ReturnSomethingElse(void) { return 0; }

#endif
