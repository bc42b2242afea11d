// diagnostics.cpp - see diagnostics.h.
#include "diagnostics.h"

namespace mof {

std::string FormatLocation(const SourceLocation &where) {
  std::string text = where.file;
  if (where.line > 0) {
    text += ":" + std::to_string(where.line);
    if (where.column > 0) text += ":" + std::to_string(where.column);
  }
  return text;
}

void Diagnostics::error(const SourceLocation &where, const std::string &message) {
  lines_.push_back(FormatLocation(where) + ": error: " + message);
  ++errors_;
}

void Diagnostics::error(const std::string &message) {
  lines_.push_back("cmpi-mof: error: " + message);
  ++errors_;
}

void Diagnostics::warning(const SourceLocation &where, const std::string &message) {
  SourceLocation lineOnly = where;
  lineOnly.column = 0;
  lines_.push_back(FormatLocation(lineOnly) + ": warning: " + message);
}

}  // namespace mof
