// path_syntax.h - object paths as CIM users write them on the command line, and back to text.
//
//   [namespace:]ClassName[.Key=Value{,Key=Value}]
//
//   root/cimv2:Demo_Fan.DeviceID="fan0",SystemName="bmc0"
//   Demo_Fan.DeviceID="fan0",SystemName="bmc0"            (namespace from --namespace)
//   Demo_ChassisFan.GroupComponent="Demo_Chassis.Tag=\"chassis0\"",PartComponent="..."
//
// - namespace: segments of letters, digits, '_' and '-' joined by '/'; it ends at the first ':'
//   that comes before any '.', '=' or '"'.
// - class and key names: a letter or '_' followed by letters, digits and '_'.
// - key values: a double-quoted string, in which \" stands for " and \\ for \ (no other escape);
//   or, without quotes, an integer (-12), a real (1.5, 2e3) or true/false (any case).
// - a quoted value that is itself a complete object path with at least one key is a reference
//   key (a path nested in quotes, its own quotes escaped); any other quoted value is a string.
// - no blanks outside quotes; a key may be given once (names compare without regard to case).
#ifndef CMPI_CLI_PATH_SYNTAX_H
#define CMPI_CLI_PATH_SYNTAX_H

#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace cli {

// A syntax mistake; what() is the detail ("unterminated quoted value at column 17").
class SyntaxError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

struct ParsedPath;

struct KeyBinding {
  enum class Kind { kString, kInteger, kReal, kBoolean, kReference };
  std::string name;
  Kind kind = Kind::kString;
  std::string text;                             // the value (unescaped); empty for references
  std::shared_ptr<const ParsedPath> reference;  // kReference only
};

struct ParsedPath {
  std::string name_space;  // empty when the text named none
  std::string class_name;
  std::vector<KeyBinding> keys;
};

// Parses text; throws SyntaxError with the detail of the first mistake.
ParsedPath parse_path(const std::string &text);

// The path as text in the syntax above (strings quoted and escaped, references nested).
std::string format_path(const ParsedPath &path);

// "\"" + text with " and \ escaped + "\"".
std::string quote(const std::string &text);

// True for a CIM name: a letter or '_', then letters, digits or '_'.
bool is_identifier(const std::string &text);

}  // namespace cli

#endif  // CMPI_CLI_PATH_SYNTAX_H
