// remote_ops.h - the subcommands that send one request to the daemon.
//
// Each subcommand sends one request of its request type. What the daemon answers, how the answer
// ends and which of the library's tokenizers reads it are the request type's row of the table of
// operations (operations.h); answer_reader.h reads every answer with it. A method's return value
// arrives among its output arguments as wire::kReturnValueArgument and is printed apart from
// them. Any operation may end with an error frame instead ("CMPIERROR:<code>").
#ifndef CMPI_CLI_REMOTE_OPS_H
#define CMPI_CLI_REMOTE_OPS_H

#include "command_line.h"
#include "output.h"

namespace cli {

// True for the subcommands served by the daemon.
bool is_remote_command(const std::string &command);

// Runs one of them. Throws UsageError, CimError, ConnectionError or TimeoutError.
void run_remote(const Invocation &inv, Output &out);

}  // namespace cli

#endif  // CMPI_CLI_REMOTE_OPS_H
