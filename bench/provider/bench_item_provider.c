/*
 * bench_item_provider.c - the benchmark provider "BenchItem": class Bench_Item, instances
 * computed on the fly with no storage, so that the end-to-end benchmarks measure the host and
 * the library, not a provider's storage. Registered from bench.mof with cmpi-mof.
 *
 * Instance n (0 <= n < count) has
 *   Id       string    "item<n>", zero-padded to 6 digits ("item000042")  [key]
 *   Small    uint8     n % 256
 *   Medium   uint16    n % 65536
 *   Count    uint32    n * 7
 *   Total    uint64    n * 1000003
 *   Offset   sint32    500 - n
 *   Enabled  boolean   n is even
 *   Ratio    real64    n / 8.0
 *   Stamp    datetime  2024-01-(n % 28 + 1) 10:30:00 UTC
 *   Label    string    "Bench item number <n>"
 *   Tags     string[]  "bench", "item", "n<n % 10>"
 * count is BENCH_ITEM_COUNT from the environment when it holds a number from 1 to 10,000,000,
 * else 10,000. enumerateInstances and enumerateInstanceNames return every instance in order;
 * getInstance finds the instance its "Id" key names, else CMPI_RC_ERR_NOT_FOUND. Everything
 * else answers CMPI_RC_ERR_NOT_SUPPORTED.
 */
#include <cmpimacs.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#define EXPORTED __attribute__((visibility("default")))

enum { kDefaultCount = 10000, kMostCount = 10000000 };

static const CMPIBroker *broker_;
static unsigned long count_ = kDefaultCount;

static CMPIStatus status_of(CMPIrc rc) {
  CMPIStatus st = {rc, NULL};
  return st;
}

static CMPIObjectPath *item_path(const CMPIObjectPath *op, unsigned long n) {
  CMPIString *ns = CMGetNameSpace(op, NULL);
  CMPIObjectPath *path = CMNewObjectPath(broker_, CMGetCharPtr(ns), "Bench_Item", NULL);
  CMRelease(ns);
  char id[32];
  snprintf(id, sizeof id, "item%06lu", n);
  CMAddKey(path, "Id", id, CMPI_chars);
  return path;
}

static CMPIInstance *item_instance(const CMPIObjectPath *op, unsigned long n) {
  CMPIObjectPath *path = item_path(op, n);
  CMPIInstance *inst = CMNewInstance(broker_, path, NULL);
  CMRelease(path);

  char text[64];
  snprintf(text, sizeof text, "item%06lu", n);
  CMSetProperty(inst, "Id", text, CMPI_chars);
  CMPIUint8 small = (CMPIUint8)(n % 256);
  CMSetProperty(inst, "Small", &small, CMPI_uint8);
  CMPIUint16 medium = (CMPIUint16)(n % 65536);
  CMSetProperty(inst, "Medium", &medium, CMPI_uint16);
  CMPIUint32 count = (CMPIUint32)(n * 7);
  CMSetProperty(inst, "Count", &count, CMPI_uint32);
  CMPIUint64 total = (CMPIUint64)n * 1000003u;
  CMSetProperty(inst, "Total", &total, CMPI_uint64);
  CMPISint32 offset = (CMPISint32)(500 - (long)n);
  CMSetProperty(inst, "Offset", &offset, CMPI_sint32);
  CMPIBoolean enabled = (CMPIBoolean)(n % 2 == 0);
  CMSetProperty(inst, "Enabled", &enabled, CMPI_boolean);
  CMPIReal64 ratio = (CMPIReal64)n / 8.0;
  CMSetProperty(inst, "Ratio", &ratio, CMPI_real64);
  snprintf(text, sizeof text, "202401%02lu103000.000000+000", n % 28 + 1);
  CMPIDateTime *stamp = CMNewDateTimeFromChars(broker_, text, NULL);
  CMSetProperty(inst, "Stamp", &stamp, CMPI_dateTime);
  CMRelease(stamp);
  snprintf(text, sizeof text, "Bench item number %lu", n);
  CMSetProperty(inst, "Label", text, CMPI_chars);

  CMPIArray *tags = CMNewArray(broker_, 3, CMPI_string, NULL);
  CMSetArrayElementAt(tags, 0, "bench", CMPI_chars);
  CMSetArrayElementAt(tags, 1, "item", CMPI_chars);
  snprintf(text, sizeof text, "n%lu", n % 10);
  CMSetArrayElementAt(tags, 2, text, CMPI_chars);
  CMSetProperty(inst, "Tags", &tags, CMPI_stringA);
  CMRelease(tags);
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
  for (unsigned long n = 0; n < count_; ++n) {
    CMPIObjectPath *path = item_path(op, n);
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
  for (unsigned long n = 0; n < count_; ++n) {
    CMPIInstance *inst = item_instance(op, n);
    CMReturnInstance(rslt, inst);
    CMRelease(inst);
  }
  CMReturnDone(rslt);
  return status_of(CMPI_RC_OK);
}

/* The number n of an "Id" key "item<digits>", or count_ when it names no instance. */
static unsigned long item_number(const CMPIObjectPath *op) {
  CMPIData id = CMGetKey(op, "Id", NULL);
  if (CMIsNullValue(id) || id.type != CMPI_string) return count_;
  const char *text = CMGetCharsPtr(id.value.string, NULL);
  unsigned long n = count_;
  if (text != NULL && strncmp(text, "item", 4) == 0 && text[4] >= '0' && text[4] <= '9') {
    char *end = NULL;
    n = strtoul(text + 4, &end, 10);
    if (end == NULL || *end != '\0') n = count_;
  }
  CMRelease(id.value.string);
  return n < count_ ? n : count_;
}

static CMPIStatus get_instance(CMPIInstanceMI *mi, const CMPIContext *ctx,
                               const CMPIResult *rslt, const CMPIObjectPath *op,
                               const char **properties) {
  (void)mi;
  (void)ctx;
  (void)properties;
  unsigned long n = item_number(op);
  if (n >= count_) return status_of(CMPI_RC_ERR_NOT_FOUND);
  CMPIInstance *inst = item_instance(op, n);
  CMReturnInstance(rslt, inst);
  CMRelease(inst);
  CMReturnDone(rslt);
  return status_of(CMPI_RC_OK);
}

static CMPIStatus not_supported(void) { return status_of(CMPI_RC_ERR_NOT_SUPPORTED); }

static CMPIStatus create_instance(CMPIInstanceMI *mi, const CMPIContext *ctx,
                                  const CMPIResult *rslt, const CMPIObjectPath *op,
                                  const CMPIInstance *inst) {
  (void)mi;
  (void)ctx;
  (void)rslt;
  (void)op;
  (void)inst;
  return not_supported();
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
    CMPICurrentVersion, CMPICurrentVersion, "instanceBenchItem", cleanup,         enum_names,
    enum_instances,     get_instance,       create_instance,     modify_instance, delete_instance,
    exec_query};
static CMPIInstanceMI instance_mi = {NULL, &instance_ft};

EXPORTED CMPIInstanceMI *BenchItem_Create_InstanceMI(const CMPIBroker *broker,
                                                     const CMPIContext *ctx, CMPIStatus *rc) {
  (void)ctx;
  broker_ = broker;
  const char *text = getenv("BENCH_ITEM_COUNT");
  if (text != NULL) {
    char *end = NULL;
    unsigned long n = strtoul(text, &end, 10);
    if (end != text && *end == '\0' && n >= 1 && n <= kMostCount) count_ = n;
  }
  if (rc != NULL) *rc = status_of(CMPI_RC_OK);
  return &instance_mi;
}
