/*
 * fault_provider.c - small instance providers for the end-to-end tests of cmpi-hostd, written the
 * way a provider author would, against our CMPI headers. One source, built once per behaviour:
 *
 *   FAULT_PROVIDER  the provider name; the specific factory is <name>_Create_InstanceMI
 *   FAULT_MODE      what the provider does:
 *     MODE_CRASH    enumerateInstances dies of SIGSEGV (the default action, so no sanitizer
 *                   handler turns it into an orderly exit)
 *     MODE_HANG     enumerateInstances never returns
 *     MODE_PARTIAL  enumerateInstances returns one instance (for class Test_PartialMany 200,
 *                   "item0" to "item199", as fast as it can), then the process exits with
 *                   status 3
 *     MODE_GENERIC  only the generic factory _Generic_Create_InstanceMI is exported;
 *                   enumerateInstances returns, for class Test_Many, 3000 instances with an
 *                   "Index"; for any other class one instance that tells what the provider was
 *                   given: "MIName" (the name passed to the generic factory), "Principal",
 *                   "InitNameSpace" and "InvocationFlags" (the context entries); getInstance
 *                   succeeds without returning anything; execQuery fails with
 *                   CMPI_RC_ERR_QUERY_LANGUAGE_NOT_SUPPORTED and the language it was given as
 *                   message
 */
#include <cmpimacs.h>
#include <signal.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>

#define MODE_CRASH 1
#define MODE_HANG 2
#define MODE_PARTIAL 3
#define MODE_GENERIC 4

#ifndef FAULT_PROVIDER
#error "FAULT_PROVIDER must be defined"
#endif
#ifndef FAULT_MODE
#error "FAULT_MODE must be defined"
#endif

#define EXPORTED __attribute__((visibility("default")))
#define JOIN2(a, b) a##b
#define JOIN(a, b) JOIN2(a, b)

static const CMPIBroker *broker_;
static char mi_name_[64] __attribute__((unused)) = "";

static CMPIStatus ok_status(void) {
  CMPIStatus st = {CMPI_RC_OK, NULL};
  return st;
}

__attribute__((unused)) static CMPIInstance *new_instance(const CMPIObjectPath *op,
                                                          const char *id) {
  CMPIString *ns = CMGetNameSpace(op, NULL);
  CMPIString *cn = CMGetClassName(op, NULL);
  CMPIObjectPath *path = CMNewObjectPath(broker_, CMGetCharPtr(ns), CMGetCharPtr(cn), NULL);
  CMAddKey(path, "Id", id, CMPI_chars);
  CMPIInstance *inst = CMNewInstance(broker_, path, NULL);
  CMSetProperty(inst, "Id", id, CMPI_chars);
  CMRelease(path);
  CMRelease(ns);
  CMRelease(cn);
  return inst;
}

/* Copies the text entry name of ctx into inst (as property prop). */
__attribute__((unused)) static void copy_text_entry(const CMPIContext *ctx, const char *name,
                                                    CMPIInstance *inst, const char *prop) {
  CMPIData d = CMGetContextEntry(ctx, name, NULL);
  CMPIType type = d.type;
  CMPIValueState state = d.state;
  CMPIValue value = d.value;
  if ((state & CMPI_nullValue) != 0 || type != CMPI_string) return;
  CMSetProperty(inst, prop, CMGetCharPtr(value.string), CMPI_chars);
  CMRelease(value.string);
}

static CMPIStatus cleanup(CMPIInstanceMI *mi, const CMPIContext *ctx, CMPIBoolean terminating) {
  (void)mi;
  (void)ctx;
  (void)terminating;
  return ok_status();
}

static CMPIStatus enum_names(CMPIInstanceMI *mi, const CMPIContext *ctx, const CMPIResult *rslt,
                             const CMPIObjectPath *op) {
  (void)mi;
  (void)ctx;
  (void)rslt;
  (void)op;
  CMReturn(CMPI_RC_ERR_NOT_SUPPORTED);
}

static CMPIStatus enum_instances(CMPIInstanceMI *mi, const CMPIContext *ctx, const CMPIResult *rslt,
                                 const CMPIObjectPath *op, const char **properties) {
  (void)mi;
  (void)properties;
#if FAULT_MODE == MODE_CRASH
  (void)ctx;
  (void)rslt;
  (void)op;
  signal(SIGSEGV, SIG_DFL);
  raise(SIGSEGV);
  return ok_status();
#elif FAULT_MODE == MODE_HANG
  (void)ctx;
  (void)rslt;
  (void)op;
  for (;;) {
    if (pause() < 0 && rslt == NULL) break;
  }
  return ok_status();
#elif FAULT_MODE == MODE_PARTIAL
  (void)ctx;
  CMPIString *cn = CMGetClassName(op, NULL);
  int many = strcmp(CMGetCharPtr(cn), "Test_PartialMany") == 0;
  CMRelease(cn);
  if (many) {
    for (unsigned i = 0; i < 200; ++i) {
      char id[32];
      snprintf(id, sizeof id, "item%u", i);
      CMPIInstance *inst = new_instance(op, id);
      CMReturnInstance(rslt, inst);
      CMRelease(inst);
    }
    _exit(3);
  }
  CMPIInstance *inst = new_instance(op, "first");
  CMReturnInstance(rslt, inst);
  CMRelease(inst);
  _exit(3);
#else
  CMPIString *cn = CMGetClassName(op, NULL);
  int many = strcmp(CMGetCharPtr(cn), "Test_Many") == 0;
  CMRelease(cn);
  if (many) {
    for (CMPIUint32 i = 0; i < 3000; ++i) {
      char id[32];
      snprintf(id, sizeof id, "item%u", (unsigned)i);
      CMPIInstance *inst = new_instance(op, id);
      CMSetProperty(inst, "Index", &i, CMPI_uint32);
      CMReturnInstance(rslt, inst);
      CMRelease(inst);
    }
  } else {
    CMPIInstance *inst = new_instance(op, "context");
    CMSetProperty(inst, "MIName", mi_name_, CMPI_chars);
    copy_text_entry(ctx, CMPIPrincipal, inst, "Principal");
    copy_text_entry(ctx, CMPIInitNameSpace, inst, "InitNameSpace");
    CMPIData flags = CMGetContextEntry(ctx, CMPIInvocationFlags, NULL);
    CMPIValue flag_value = flags.value;
    CMSetProperty(inst, "InvocationFlags", &flag_value.uint32, CMPI_uint32);
    CMReturnInstance(rslt, inst);
    CMRelease(inst);
  }
  CMReturnDone(rslt);
  return ok_status();
#endif
}

static CMPIStatus get_instance(CMPIInstanceMI *mi, const CMPIContext *ctx, const CMPIResult *rslt,
                               const CMPIObjectPath *op, const char **properties) {
  (void)mi;
  (void)ctx;
  (void)rslt;
  (void)op;
  (void)properties;
  return ok_status();
}

static CMPIStatus exec_query(CMPIInstanceMI *mi, const CMPIContext *ctx, const CMPIResult *rslt,
                             const CMPIObjectPath *op, const char *query, const char *lang) {
  (void)mi;
  (void)ctx;
  (void)rslt;
  (void)op;
  (void)query;
  CMReturnWithChars(broker_, CMPI_RC_ERR_QUERY_LANGUAGE_NOT_SUPPORTED, lang);
}

static CMPIInstanceMIFT instance_ft = {
    CMPICurrentVersion, CMPICurrentVersion, "fault", cleanup, enum_names,
    enum_instances,     get_instance,       NULL,    NULL,    NULL,
    exec_query,
};
static CMPIInstanceMI instance_mi = {NULL, &instance_ft};

#if FAULT_MODE == MODE_GENERIC
EXPORTED CMPIInstanceMI *_Generic_Create_InstanceMI(const CMPIBroker *mb, const CMPIContext *ctx,
                                                    const char *miName, CMPIStatus *rc) {
  (void)ctx;
  broker_ = mb;
  snprintf(mi_name_, sizeof mi_name_, "%s", miName ? miName : "");
  if (rc != NULL) *rc = ok_status();
  return &instance_mi;
}
#else
EXPORTED CMPIInstanceMI *JOIN(FAULT_PROVIDER, _Create_InstanceMI)(const CMPIBroker *mb,
                                                                  const CMPIContext *ctx,
                                                                  CMPIStatus *rc) {
  (void)ctx;
  broker_ = mb;
  if (rc != NULL) *rc = ok_status();
  return &instance_mi;
}
#endif
