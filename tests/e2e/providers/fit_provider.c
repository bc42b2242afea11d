/*
 * fit_provider.c - an instance provider whose instances hold what the wire cannot carry as it
 * is, for the end-to-end tests of the host's fitting (programs/hostd/core/wire_fit.h).
 *
 *   FIT_PROVIDER  the provider name; the factory is <name>_Create_InstanceMI
 *   FIT_MODE      unused (one behaviour)
 *
 * Instance n (0 <= n < FIT_COUNT) of the requested class has the keys, in this order,
 *   When    dateTime  2024-01-(n % 28 + 1) 10:30:00 UTC  ("202401DD103000.000000+000")
 *   Id      uint32    n
 *   Active  boolean   n is odd
 * and the same three as properties, plus
 *   Name    string    "fit<n>"
 *   Tags    string[]  "a", null, "c"
 *   Codes   uint32[]  1, null, 3
 *   Level   uint32    n * 10
 * Instances of class Test_Lossy also have two values the wire carries but changes:
 *   Note    string    "NULL"                  (read back as null)
 *   Serial  uint64    18446744073709551615    (written as 9223372036854775807)
 * enumerateInstances and enumerateInstanceNames return all of them; getInstance finds the one
 * whose "Id" key (sent as text) names it, else CMPI_RC_ERR_NOT_FOUND. Everything else answers
 * CMPI_RC_ERR_NOT_SUPPORTED.
 */
#include <cmpimacs.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#define FIT_COUNT 500

#define EXPORTED __attribute__((visibility("default")))
#define JOIN2(a, b) a##b
#define JOIN(a, b) JOIN2(a, b)

static const CMPIBroker *broker_;

static CMPIStatus status_of(CMPIrc rc) {
  CMPIStatus st = {rc, NULL};
  return st;
}

/* The date-time of instance n (the caller releases it). */
static CMPIDateTime *when_of(CMPIUint32 n) {
  char text[32];
  snprintf(text, sizeof text, "202401%02u103000.000000+000", (unsigned)(n % 28 + 1));
  return CMNewDateTimeFromChars(broker_, text, NULL);
}

/* The path of instance n, in the namespace and class of op. */
static CMPIObjectPath *fit_path(const CMPIObjectPath *op, CMPIUint32 n) {
  CMPIString *ns = CMGetNameSpace(op, NULL);
  CMPIString *cn = CMGetClassName(op, NULL);
  CMPIObjectPath *path = CMNewObjectPath(broker_, CMGetCharPtr(ns), CMGetCharPtr(cn), NULL);
  CMPIDateTime *when = when_of(n);
  CMPIBoolean active = (CMPIBoolean)(n % 2);
  CMAddKey(path, "When", &when, CMPI_dateTime);
  CMAddKey(path, "Id", &n, CMPI_uint32);
  CMAddKey(path, "Active", &active, CMPI_boolean);
  CMRelease(when);
  CMRelease(ns);
  CMRelease(cn);
  return path;
}

static CMPIInstance *fit_instance(const CMPIObjectPath *op, CMPIUint32 n) {
  CMPIObjectPath *path = fit_path(op, n);
  CMPIInstance *inst = CMNewInstance(broker_, path, NULL);
  CMPIDateTime *when = when_of(n);
  CMPIBoolean active = (CMPIBoolean)(n % 2);
  CMPIUint32 level = n * 10;
  char name[32];
  snprintf(name, sizeof name, "fit%u", (unsigned)n);
  CMSetProperty(inst, "When", &when, CMPI_dateTime);
  CMRelease(when);
  CMSetProperty(inst, "Id", &n, CMPI_uint32);
  CMSetProperty(inst, "Active", &active, CMPI_boolean);
  CMSetProperty(inst, "Name", name, CMPI_chars);
  CMSetProperty(inst, "Level", &level, CMPI_uint32);
  CMPIString *cn = CMGetClassName(op, NULL);
  if (strcmp(CMGetCharPtr(cn), "Test_Lossy") == 0) {
    CMPIUint64 serial = 18446744073709551615ull;
    CMSetProperty(inst, "Note", "NULL", CMPI_chars);
    CMSetProperty(inst, "Serial", &serial, CMPI_uint64);
  }
  CMRelease(cn);

  /* Element 1 of each array is never set, so it stays null. */
  CMPIArray *tags = CMNewArray(broker_, 3, CMPI_string, NULL);
  CMSetArrayElementAt(tags, 0, "a", CMPI_chars);
  CMSetArrayElementAt(tags, 2, "c", CMPI_chars);
  CMSetProperty(inst, "Tags", &tags, CMPI_stringA);
  CMRelease(tags);
  CMPIArray *codes = CMNewArray(broker_, 3, CMPI_uint32, NULL);
  CMPIUint32 one = 1;
  CMPIUint32 three = 3;
  CMSetArrayElementAt(codes, 0, &one, CMPI_uint32);
  CMSetArrayElementAt(codes, 2, &three, CMPI_uint32);
  CMSetProperty(inst, "Codes", &codes, CMPI_uint32A);
  CMRelease(codes);
  CMRelease(path);
  return inst;
}

static CMPIStatus cleanup(CMPIInstanceMI *mi, const CMPIContext *ctx, CMPIBoolean terminating) {
  (void)mi;
  (void)ctx;
  (void)terminating;
  return status_of(CMPI_RC_OK);
}

static CMPIStatus enum_names(CMPIInstanceMI *mi, const CMPIContext *ctx, const CMPIResult *rslt,
                             const CMPIObjectPath *op) {
  (void)mi;
  (void)ctx;
  for (CMPIUint32 n = 0; n < FIT_COUNT; ++n) {
    CMPIObjectPath *path = fit_path(op, n);
    CMReturnObjectPath(rslt, path);
    CMRelease(path);
  }
  CMReturnDone(rslt);
  return status_of(CMPI_RC_OK);
}

static CMPIStatus enum_instances(CMPIInstanceMI *mi, const CMPIContext *ctx,
                                 const CMPIResult *rslt, const CMPIObjectPath *op,
                                 const char **properties) {
  (void)mi;
  (void)ctx;
  (void)properties;
  for (CMPIUint32 n = 0; n < FIT_COUNT; ++n) {
    CMPIInstance *inst = fit_instance(op, n);
    CMReturnInstance(rslt, inst);
    CMRelease(inst);
  }
  CMReturnDone(rslt);
  return status_of(CMPI_RC_OK);
}

static CMPIStatus get_instance(CMPIInstanceMI *mi, const CMPIContext *ctx,
                               const CMPIResult *rslt, const CMPIObjectPath *op,
                               const char **properties) {
  (void)mi;
  (void)ctx;
  (void)properties;
  CMPIData id = CMGetKey(op, "Id", NULL);
  CMPIString *text = id.value.string;
  if (CMIsNullValue(id) || id.type != CMPI_string) return status_of(CMPI_RC_ERR_NOT_FOUND);
  char *end = NULL;
  unsigned long n = strtoul(CMGetCharsPtr(text, NULL), &end, 10);
  int found = end != NULL && *end == '\0' && n < FIT_COUNT;
  CMRelease(text);
  if (!found) return status_of(CMPI_RC_ERR_NOT_FOUND);
  CMPIInstance *inst = fit_instance(op, (CMPIUint32)n);
  CMReturnInstance(rslt, inst);
  CMRelease(inst);
  CMReturnDone(rslt);
  return status_of(CMPI_RC_OK);
}

static CMPIStatus create_instance(CMPIInstanceMI *mi, const CMPIContext *ctx,
                                  const CMPIResult *rslt, const CMPIObjectPath *op,
                                  const CMPIInstance *inst) {
  (void)mi;
  (void)ctx;
  (void)rslt;
  (void)op;
  (void)inst;
  return status_of(CMPI_RC_ERR_NOT_SUPPORTED);
}

static CMPIStatus modify_instance(CMPIInstanceMI *mi, const CMPIContext *ctx,
                                  const CMPIResult *rslt, const CMPIObjectPath *op,
                                  const CMPIInstance *inst, const char **properties) {
  (void)properties;
  return create_instance(mi, ctx, rslt, op, inst);
}

static CMPIStatus delete_instance(CMPIInstanceMI *mi, const CMPIContext *ctx,
                                  const CMPIResult *rslt, const CMPIObjectPath *op) {
  return create_instance(mi, ctx, rslt, op, NULL);
}

static CMPIStatus exec_query(CMPIInstanceMI *mi, const CMPIContext *ctx, const CMPIResult *rslt,
                             const CMPIObjectPath *op, const char *query, const char *lang) {
  (void)query;
  (void)lang;
  return create_instance(mi, ctx, rslt, op, NULL);
}

static CMPIInstanceMIFT instance_ft = {
    CMPICurrentVersion, CMPICurrentVersion, "instanceFit", cleanup,         enum_names,
    enum_instances,     get_instance,       create_instance, modify_instance, delete_instance,
    exec_query};
static CMPIInstanceMI instance_mi = {NULL, &instance_ft};

EXPORTED CMPIInstanceMI *JOIN(FIT_PROVIDER, _Create_InstanceMI)(const CMPIBroker *broker,
                                                                 const CMPIContext *ctx,
                                                                 CMPIStatus *rc) {
  (void)ctx;
  broker_ = broker;
  if (rc != NULL) *rc = status_of(CMPI_RC_OK);
  return &instance_mi;
}
