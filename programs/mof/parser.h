// parser.h - reads the declarations of one MOF text into a MofDocument.
//
// Understood: #pragma include / namespace (other pragmas are read and ignored), qualifier
// declarations (read and ignored), class declarations with properties, references and
// methods, and instance declarations (kept for import_check.h, which stores the provider
// registrations among them). The grammar is read with loops only: nesting in MOF is flat
// (arrays hold scalars), and includes go through the IncludeHandler, which bounds their depth.
#ifndef CMPI_MOF_PARSER_H
#define CMPI_MOF_PARSER_H

#include <string>
#include <string_view>

#include "class_model.h"

namespace mof {

class IncludeHandler {
 public:
  virtual ~IncludeHandler() = default;
  // Reads the file that #pragma include("path") at where names (path as written), with
  // nameSpace in effect at its start, and appends its declarations to doc. Throws MofError.
  virtual void include(const std::string &path, const SourceLocation &where,
                       const std::string &nameSpace, MofDocument &doc) = 0;
};

// Parses text, whose locations name file, and appends its declarations to doc. nameSpace is in
// effect at the start; #pragma namespace changes it for the rest of this text (an included
// file's pragma ends with that file). Throws MofError at the first mistake; the declarations
// before it are in doc then.
void ParseMof(const std::string &file, std::string_view text, const std::string &nameSpace,
              IncludeHandler &includes, MofDocument &doc);

}  // namespace mof

#endif  // CMPI_MOF_PARSER_H
