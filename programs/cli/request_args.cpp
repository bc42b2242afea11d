// request_args.cpp - checking the subcommands' arguments.
#include "request_args.h"

#include <strings.h>

#include <cctype>

#include "cli_error.h"
#include "cmpi_build.h"

namespace cli {
namespace {

ParsedPath parse_path_argument(const std::string &text, const std::string &command) {
  try {
    return parse_path(text);
  } catch (const SyntaxError &e) {
    throw UsageError("bad object path '" + text + "': " + e.what(), command);
  }
}

bool is_word_char(char c) { return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_'; }

}  // namespace

ParsedPath class_argument(const std::string &text, const std::string &command) {
  ParsedPath path = parse_path_argument(text, command);
  if (!path.keys.empty()) {
    throw UsageError(command + " takes a class, not an instance path: '" + text + "'", command);
  }
  return path;
}

ParsedPath instance_argument(const std::string &text, const std::string &command) {
  ParsedPath path = parse_path_argument(text, command);
  if (path.keys.empty()) {
    throw UsageError(command + " needs an instance path with its keys, e.g. " + path.class_name +
                         ".Name=\"value\", not '" + text + "'",
                     command);
  }
  return path;
}

ParsedPath any_path_argument(const std::string &text, const std::string &command) {
  return parse_path_argument(text, command);
}

std::vector<ParsedValue> value_arguments(const std::vector<std::string> &texts,
                                         const std::string &what, const std::string &command) {
  std::vector<ParsedValue> values;
  for (const std::string &text : texts) {
    ParsedValue value;
    try {
      value = parse_value(text);
    } catch (const SyntaxError &e) {
      throw UsageError("bad " + what + " '" + text + "': " + e.what(), command);
    }
    for (const ParsedValue &other : values) {
      if (strcasecmp(other.name.c_str(), value.name.c_str()) == 0) {
        throw UsageError(what + " '" + value.name + "' is given twice", command);
      }
    }
    values.push_back(std::move(value));
  }
  return values;
}

void check_sendable(const ParsedPath &path, const std::vector<ParsedValue> &values,
                    const std::string &command) {
  std::string why = unsendable_path_reason(path);
  if (!why.empty()) {
    throw UsageError("the path " + format_path(path) + " cannot be sent: " + why, command);
  }
  for (const ParsedValue &value : values) {
    why = unsendable_value_reason(value);
    if (!why.empty()) throw UsageError(why, command);
  }
}

std::string name_option(const std::string &value, const std::string &option,
                        const std::string &command) {
  if (!value.empty() && !is_identifier(value)) {
    throw UsageError(option + " takes a name (a letter or '_', then letters, digits or '_'), "
                     "not '" + value + "'",
                     command);
  }
  return value;
}

std::string class_of_query(const std::string &query) {
  for (std::size_t i = 0; i + 4 <= query.size(); ++i) {
    if (strncasecmp(query.c_str() + i, "from", 4) != 0) continue;
    if (i > 0 && is_word_char(query[i - 1])) continue;
    std::size_t j = i + 4;
    if (j < query.size() && is_word_char(query[j])) continue;
    while (j < query.size() && std::isspace(static_cast<unsigned char>(query[j])) != 0) ++j;
    std::size_t start = j;
    while (j < query.size() && is_word_char(query[j])) ++j;
    std::string name = query.substr(start, j - start);
    if (is_identifier(name)) return name;
  }
  return "";
}

ParsedPath with_namespace(ParsedPath path, const std::string &default_ns) {
  if (path.name_space.empty()) path.name_space = default_ns;
  for (KeyBinding &key : path.keys) {
    if (key.kind == KeyBinding::Kind::kReference && key.reference) {
      key.reference =
          std::make_shared<const ParsedPath>(with_namespace(*key.reference, path.name_space));
    }
  }
  return path;
}

}  // namespace cli
