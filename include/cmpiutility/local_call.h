/*
 * local_call.h - calling a class's provider in the calling process, without a socket exchange.
 *
 * Each call finds the class's provider in the schema database, opens its library
 * "<provider directory>lib<provider name in lower case>.so" (the directory is "/lib/cmpi/"; the
 * environment variable CMPIUTILITY_PROVIDER_DIR overrides it outside set-user-ID programs),
 * calls one entry point that the library exports with C linkage, collects what the provider
 * returned into a result object and closes the library again. What the caller receives is a
 * copy that stays valid after the library is gone.
 *
 * Both functions write "Enter function = <name>" and "Exit  function = <name>" at level 4, and
 * one level-2 line on failure.
 */
#ifndef CMPIUTILITY_LOCAL_CALL_H
#define CMPIUTILITY_LOCAL_CALL_H

#include <cmpidt.h>
#include <cmpift.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Names of the entry points a provider library exports for local calls. */
#define CMPIU_LOCAL_GETINSTANCE_ENTRY "ReturnGetInstance"
#define CMPIU_LOCAL_ENUMERATE_ENTRY "ReturnEnumerateData"

/*
 * "ReturnGetInstance": returns the instance named by path into result (exactly one
 * returnInstance). properties is always NULL; className is the class name of path. A return
 * code whose low 16 bits are 0 counts as success; the instance is taken either way.
 */
typedef CMPIStatus (*CMPIULocalGetInstanceFn)(const CMPIBroker *broker, const CMPIContext *ctx,
                                              const CMPIResult *result, const CMPIObjectPath *path,
                                              const char **properties, const char *className);

/*
 * "ReturnEnumerateData": returns every instance of className into result (an empty, finished
 * result means "none"). status is an out-parameter the provider may set; flag is passed through
 * unchanged from CBEnumInstance and means whatever the provider defines. The returned data is
 * taken whatever the return code says.
 */
typedef CMPIStatus (*CMPIULocalEnumerateFn)(const CMPIBroker *broker, const CMPIContext *ctx,
                                            const CMPIObjectPath *path, const CMPIResult *result,
                                            CMPIStatus *status, unsigned char flag,
                                            const char *className);

/*
 * Calls "ReturnGetInstance" of the provider of path's class, handing ctx through unchanged.
 * ctx and path are borrowed: they are handed to the provider for the call only, never released
 * or kept, and stay the caller's. A NULL path fails (no class name); a NULL ctx is handed on.
 * Returns a clone of the one instance the provider returned, owned by the caller (CMRelease),
 * or NULL when the provider cannot be loaded or did not return exactly one instance.
 */
CMPIInstance *LocalGetInstance(CMPIContext *ctx, CMPIObjectPath *path);

/*
 * Calls "ReturnEnumerateData" of the provider of className with ctx, path and flag unchanged.
 * ctx, className and path are borrowed: handed to the provider for the call only, never released
 * or kept, and they stay the caller's.
 * Returns an enumeration over a copy of everything the provider returned, owned by the caller
 * (CMRelease), also when the provider reported a failure; an empty enumeration when it finished
 * its result without data; NULL when the provider cannot be loaded or left its result untouched.
 */
CMPIEnumeration *CBEnumInstance(CMPIContext *ctx, const char *className, CMPIObjectPath *path,
                                unsigned char flag);

#ifdef __cplusplus
}
#endif

#endif /* CMPIUTILITY_LOCAL_CALL_H */
