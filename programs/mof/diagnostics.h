// diagnostics.h - where in a MOF file something is, the error that stops reading it, and the
// list of error and warning lines an import produces.
//
// Lines read "FILE:LINE:COLUMN: error: MESSAGE" (the column is left out when it is 0, the line
// too when that is 0) and "FILE:LINE: warning: MESSAGE"; a message about no file at all reads
// "cmpi-mof: error: MESSAGE".
#ifndef CMPI_MOF_DIAGNOSTICS_H
#define CMPI_MOF_DIAGNOSTICS_H

#include <stdexcept>
#include <string>
#include <vector>

namespace mof {

struct SourceLocation {
  std::string file;  // as the user named it (an included file: joined to its includer's folder)
  int line = 0;      // from 1; 0 when the message is about the whole file
  int column = 0;    // from 1, counted in characters; 0 when not known
};

// A mistake in the input at one place; reading stops there.
class MofError : public std::runtime_error {
 public:
  MofError(SourceLocation where, const std::string &message)
      : std::runtime_error(message), where_(std::move(where)) {}
  const SourceLocation &where() const { return where_; }

 private:
  SourceLocation where_;
};

// The messages of one import, in the order they were reported.
class Diagnostics {
 public:
  void error(const SourceLocation &where, const std::string &message);
  void error(const MofError &e) { error(e.where(), e.what()); }
  // An error that concerns no file (a database, the command line).
  void error(const std::string &message);
  // Warnings carry no column: they are about a whole declaration.
  void warning(const SourceLocation &where, const std::string &message);

  bool failed() const { return errors_ > 0; }
  int errorCount() const { return errors_; }
  const std::vector<std::string> &lines() const { return lines_; }

 private:
  std::vector<std::string> lines_;
  int errors_ = 0;
};

// "FILE:LINE:COLUMN" with the zero parts left out.
std::string FormatLocation(const SourceLocation &where);

}  // namespace mof

#endif  // CMPI_MOF_DIAGNOSTICS_H
