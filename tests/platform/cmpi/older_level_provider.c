/*
 * older_level_provider.c - an instance provider written the way providers for an older CMPI
 * level are: it asks for level 90 before the headers, names its modify entry SetInstance, and
 * calls the statement macros without a trailing ';' inside braced if/else.
 *
 * The build itself checks two things: with the level ignored the stub would name
 * OlderModifyInstance, which is not declared here, and a statement macro that needs its ';'
 * (do { } while (0)) does not compile where it is written without one. older_level_test.cpp
 * calls the MI through its table.
 */
#define CMPI_VERSION 90

#include <cmpidt.h>
#include <cmpift.h>
#include <cmpimacs.h>

#include <string.h>

#if defined(CMPI_VER_100) || defined(CMPI_VER_200)
#error "a provider built for level 90 must not see the level symbols of 100 and 200"
#endif
#if !defined(CMPI_VER_85) || !defined(CMPI_VER_86) || !defined(CMPI_VER_87) || !defined(CMPI_VER_90)
#error "a provider built for level 90 sees the level symbols up to 90"
#endif

const CMPIBroker *older_level_broker = NULL;

/* The layout this provider was compiled with, for the test to compare with its own. */
size_t older_level_size(int which) {
  switch (which) {
    case 0: return sizeof(CMPIStatus);
    case 1: return sizeof(CMPIData);
    case 2: return sizeof(CMPIValue);
    case 3: return sizeof(CMPIBrokerFT);
    case 4: return sizeof(CMPIInstanceFT);
    case 5: return sizeof(CMPIObjectPathFT);
    case 6: return sizeof(CMPIBroker);
    case 7: return sizeof(CMPIInstanceMIFT);
    case 8: return sizeof(CMPIInstanceMI);
    case 9: return sizeof(CMPIIndicationMIFT);
    default: return 0;
  }
}

/* The class named by op: 0 none, 1 "Older_Good", 2 anything else. */
static int which_class(const CMPIObjectPath *op) {
  CMPIString *name = op != NULL ? CMGetClassName(op, NULL) : NULL;
  int which = 0;
  if (name != NULL) {
    which = strcmp(CMGetCharsPtr(name, NULL), "Older_Good") == 0 ? 1 : 2;
    CMRelease(name);
  }
  return which;
}

static CMPIStatus OlderCleanup(CMPIInstanceMI *mi, const CMPIContext *ctx,
                               CMPIBoolean terminating) {
  (void)mi;
  (void)ctx;
  if (terminating) {
    CMReturn(CMPI_RC_OK)
  } else {
    CMReturn(CMPI_RC_DO_NOT_UNLOAD)
  }
}

static CMPIStatus OlderEnumInstanceNames(CMPIInstanceMI *mi, const CMPIContext *ctx,
                                         const CMPIResult *rslt, const CMPIObjectPath *op) {
  (void)mi;
  (void)ctx;
  (void)rslt;
  (void)op;
  CMReturnWithChars(older_level_broker, CMPI_RC_ERR_NOT_SUPPORTED, "no names")
}

static CMPIStatus OlderEnumInstances(CMPIInstanceMI *mi, const CMPIContext *ctx,
                                     const CMPIResult *rslt, const CMPIObjectPath *op,
                                     const char **properties) {
  (void)mi;
  (void)ctx;
  (void)rslt;
  (void)op;
  (void)properties;
  CMReturn(CMPI_RC_ERR_NOT_SUPPORTED);
}

static CMPIStatus OlderGetInstance(CMPIInstanceMI *mi, const CMPIContext *ctx,
                                   const CMPIResult *rslt, const CMPIObjectPath *op,
                                   const char **properties) {
  CMPIStatus st = {CMPI_RC_OK, NULL};
  (void)mi;
  (void)ctx;
  (void)rslt;
  (void)properties;
  if (which_class(op) == 1) {
    CMSetStatus(&st, CMPI_RC_OK)
  } else {
    CMSetStatusWithChars(older_level_broker, &st, CMPI_RC_ERR_NOT_FOUND, "no such instance")
  }
  return st;
}

static CMPIStatus OlderCreateInstance(CMPIInstanceMI *mi, const CMPIContext *ctx,
                                      const CMPIResult *rslt, const CMPIObjectPath *op,
                                      const CMPIInstance *inst) {
  (void)mi;
  (void)ctx;
  (void)rslt;
  (void)op;
  (void)inst;
  CMReturn(CMPI_RC_ERR_NOT_SUPPORTED)
}

/* The modify entry under its older name. */
static CMPIStatus OlderSetInstance(CMPIInstanceMI *mi, const CMPIContext *ctx,
                                   const CMPIResult *rslt, const CMPIObjectPath *op,
                                   const CMPIInstance *inst, const char **properties) {
  CMPIStatus st = {CMPI_RC_OK, NULL};
  (void)mi;
  (void)ctx;
  (void)rslt;
  (void)properties;
  if (inst == NULL) {
    CMSetStatusWithChars(older_level_broker, &st, CMPI_RC_ERR_INVALID_PARAMETER, "no instance")
    return st;
  }
  if (which_class(op) != 1) {
    CMSetStatusWithChars(older_level_broker, &st, CMPI_RC_ERR_FAILED, "x")
  } else {
    CMSetStatusWithString(&st, CMPI_RC_OK, NULL)
  }
  return st;
}

static CMPIStatus OlderDeleteInstance(CMPIInstanceMI *mi, const CMPIContext *ctx,
                                      const CMPIResult *rslt, const CMPIObjectPath *op) {
  (void)mi;
  (void)ctx;
  (void)rslt;
  if (which_class(op) == 1) {
    CMReturnWithString(CMPI_RC_ERR_ACCESS_DENIED, NULL)
  }
  CMReturn(CMPI_RC_ERR_NOT_FOUND)
}

static CMPIStatus OlderExecQuery(CMPIInstanceMI *mi, const CMPIContext *ctx,
                                 const CMPIResult *rslt, const CMPIObjectPath *op,
                                 const char *query, const char *lang) {
  (void)mi;
  (void)ctx;
  (void)rslt;
  (void)op;
  (void)query;
  (void)lang;
  CMReturn(CMPI_RC_ERR_NOT_SUPPORTED)
}

CMInstanceMIStub(Older, Older_Provider, older_level_broker, CMNoHook)

/* The functions the stub must have put into the table, for the test to compare slot by slot:
 * 0 cleanup ... 7 execQuery, in table order. */
void *older_level_function(int slot) {
  switch (slot) {
    case 0: return (void *)OlderCleanup;
    case 1: return (void *)OlderEnumInstanceNames;
    case 2: return (void *)OlderEnumInstances;
    case 3: return (void *)OlderGetInstance;
    case 4: return (void *)OlderCreateInstance;
    case 5: return (void *)OlderSetInstance;
    case 6: return (void *)OlderDeleteInstance;
    case 7: return (void *)OlderExecQuery;
    default: return NULL;
  }
}
