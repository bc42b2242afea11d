// instance_ops.h - the instance operations on the provider's state, shared by the instance MI
// and the local-call entries. Each opens the state for itself (taking up the connection kept
// from an earlier request when it may, state_store.h) and lets it go before returning; what it
// returns goes into result, ended with returnDone when the operation succeeds. The
// enumerations and the query return each instance as soon as its rows are read from the state
// (StateStore::each); a failure part-way ends them without returnDone, after the instances
// already returned.
#ifndef DEMO_PROVIDER_INSTANCE_OPS_H
#define DEMO_PROVIDER_INSTANCE_OPS_H

#include <cmpidt.h>

#include "classes.h"
#include "outcome.h"

namespace demo {

// The path of every instance of op's class.
Outcome enumerate_instance_names(const CMPIBroker *broker, const CMPIResult *result,
                               const CMPIObjectPath *op);

// Every instance of cls (properties: see instance_of).
Outcome enumerate_instances(const CMPIBroker *broker, const CMPIResult *result, const ClassDef &cls,
                           const char **properties);

// The instance op names: CMPI_RC_ERR_NOT_FOUND when there is none.
Outcome get_instance(const CMPIBroker *broker, const CMPIResult *result, const CMPIObjectPath *op,
                    const char **properties);

// Adds inst and returns its path: CMPI_RC_ERR_ALREADY_EXISTS when its key is taken. A new
// Demo_ChassisFan must connect a chassis and a fan that exist (else
// CMPI_RC_ERR_INVALID_PARAMETER).
Outcome create_instance(const CMPIBroker *broker, const CMPIResult *result, const CMPIObjectPath *op,
                       const CMPIInstance *inst);

// Changes the instance op names (see apply_modification): CMPI_RC_ERR_NOT_FOUND when there is
// none. Returns nothing.
Outcome modify_instance(const CMPIBroker *broker, const CMPIResult *result, const CMPIObjectPath *op,
                       const CMPIInstance *inst, const char **properties);

// Removes the instance op names, and with a chassis or fan every Demo_ChassisFan that refers to
// it: CMPI_RC_ERR_NOT_FOUND when there is none. Returns nothing.
Outcome delete_instance(const CMPIBroker *broker, const CMPIResult *result,
                       const CMPIObjectPath *op);

// The instances a query selects (query.h). Other languages give
// CMPI_RC_ERR_QUERY_LANGUAGE_NOT_SUPPORTED, queries of another form CMPI_RC_ERR_INVALID_QUERY,
// unknown classes CMPI_RC_ERR_INVALID_CLASS.
Outcome exec_query(const CMPIBroker *broker, const CMPIResult *result, const CMPIObjectPath *op,
                  const char *query, const char *language);

}  // namespace demo

#endif  // DEMO_PROVIDER_INSTANCE_OPS_H
