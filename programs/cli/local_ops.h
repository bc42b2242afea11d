// local_ops.h - local-get and local-enum: the class's provider called in this process through
// the library's LocalGetInstance and CBEnumInstance (no daemon; the schema database and the
// provider directory are the library's, see CMPIUTILITY_SCHEMA_DB / CMPIUTILITY_PROVIDER_DIR).
#ifndef CMPI_CLI_LOCAL_OPS_H
#define CMPI_CLI_LOCAL_OPS_H

#include "command_line.h"
#include "output.h"

namespace cli {

// Throws UsageError, or CimError (CMPI_RC_ERR_FAILED) when the call returned nothing: the
// library hands back no return code.
void run_local(const Invocation &inv, Output &out);

}  // namespace cli

#endif  // CMPI_CLI_LOCAL_OPS_H
