// mof_tool.h - the program cmpi-mof: command line in, database rows or SQL text out.
#ifndef CMPI_MOF_MOF_TOOL_H
#define CMPI_MOF_MOF_TOOL_H

#include <ostream>
#include <string>
#include <vector>

#include "class_catalog.h"
#include "diagnostics.h"
#include "schema_rows.h"
#include "source_reader.h"

namespace mof {

// Reads the files in order (each starts with nameSpace in effect) and checks their declarations
// against catalog. Every error and warning goes to diagnostics (reading stops at a file's first
// syntax error, the other files are still read); the rows are fit to store only when diagnostics
// has no error. Throws what catalog.find throws.
SchemaRows ImportFiles(const std::vector<std::string> &files, const std::string &nameSpace,
                       SourceReader &sources, const ClassCatalog &catalog,
                       Diagnostics &diagnostics);

// The comment line on top of the --sql output: it says the text is generated and the command
// that generates it again.
std::string GeneratedHeader(const std::vector<std::string> &args);

// Runs cmpi-mof with args (without the program name): SQL, help and version text go to out,
// error and warning lines to err. Returns the exit status: 0 done, 1 an error in the input or
// the database (nothing written then), 2 a usage error.
int RunTool(const std::vector<std::string> &args, std::ostream &out, std::ostream &err);

}  // namespace mof

#endif  // CMPI_MOF_MOF_TOOL_H
