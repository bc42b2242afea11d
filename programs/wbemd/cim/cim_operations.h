// cim_operations.h - each CIM operation served: decoded parameters, the host's request, the
// answer written.
//
// serve_operation writes the operation's answer into the response writer and finishes it, or
// throws OperationError; when it throws, whatever it flushed stays flushed and the caller ends
// the answer with ResponseWriter::fail. docs/cimxml.md has the table of operations.
#ifndef CMPI_WBEMD_CIM_OPERATIONS_H
#define CMPI_WBEMD_CIM_OPERATIONS_H

#include <string>

#include "cim_request.h"
#include "host_link.h"
#include "response_writer.h"
#include "value_xml.h"

namespace wbem {

struct OperationContext {
  std::string user;      // the request's principal
  HostLink link;
  std::string database;  // the schema database
  PathContext where;     // host name; the request's namespace
};

void serve_operation(const CimRequest &request, const OperationContext &context,
                     ResponseWriter &answer);

}  // namespace wbem

#endif  // CMPI_WBEMD_CIM_OPERATIONS_H
