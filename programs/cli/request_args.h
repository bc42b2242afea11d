// request_args.h - the subcommands' arguments checked and turned into parsed paths and values.
// Every mistake is a UsageError naming the subcommand.
#ifndef CMPI_CLI_REQUEST_ARGS_H
#define CMPI_CLI_REQUEST_ARGS_H

#include <string>
#include <vector>

#include "path_syntax.h"
#include "value_syntax.h"

namespace cli {

// A class: [NAMESPACE:]CLASS without keys.
ParsedPath class_argument(const std::string &text, const std::string &command);
// An instance path with at least one key.
ParsedPath instance_argument(const std::string &text, const std::string &command);
// A class or an instance path.
ParsedPath any_path_argument(const std::string &text, const std::string &command);

// Properties ("property") or method arguments ("argument"); a name may be given once.
std::vector<ParsedValue> value_arguments(const std::vector<std::string> &texts,
                                         const std::string &what, const std::string &command);

// Refuses (UsageError) a path or reference values that the request format cannot carry.
void check_sendable(const ParsedPath &path, const std::vector<ParsedValue> &values,
                    const std::string &command);

// A class or role name given to an option.
std::string name_option(const std::string &value, const std::string &option,
                        const std::string &command);

// The class a query selects from: the name after FROM (any case). Empty when there is none.
std::string class_of_query(const std::string &query);

// path with default_ns filled in where it names no namespace (also in references).
ParsedPath with_namespace(ParsedPath path, const std::string &default_ns);

}  // namespace cli

#endif  // CMPI_CLI_REQUEST_ARGS_H
