// remote_ops.h - the subcommands that send one request to the daemon.
//
// Per request type, what the daemon answers and which tokenizer reads it:
//   ENUMINST, ENUMINSTNAMES, ASSOCIATORS, EXECQUERY   one frame per result, then the completion
//                                                     frame: CMUtilEnumStringTokenize
//   GETINST     one frame, then completion: CMUtilGETStringTokenize
//   GETCLASS    one frame, then completion: CMUtilGETClassStringTokenize
//   INVOKEMETHOD  one frame (output arguments, the return value among them as "__ReturnValue",
//                 and "RetVal", its type code), then completion: CMUtilInvokeStringTokenize
//   MODIFYINST, DELETEINST  one status frame, then the daemon closes: CMUtilSETStringTokenize
//   CREATEINST  one frame (new path and status), then the daemon closes:
//               CMUtilCreateInstStringTokenize
// Any operation may end with an error frame instead ("CMPIERROR:<code>").
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
