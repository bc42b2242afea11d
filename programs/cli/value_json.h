// value_json.h - the --json form of what the daemon or a provider returned.
//
//   value     {"type": "uint32", "value": 4200}; "value" is null for a null value; arrays are
//             JSON arrays ("type": "string[]"); a reference's value is a path object, an
//             embedded instance's an instance object; date-times and char16 values are strings;
//             64-bit integers are JSON integers.
//   instance  {"className": "Demo_Fan", "namespace": "root/cimv2",
//              "properties": {"Speed": value, ...}}
//   path      {"path": "<text as on the command line>", "namespace": ..., "className": ...,
//              "keys": {"DeviceID": "fan0", "Count": 3, "Owner": path}}
//   status    {"code": 6, "name": "CMPI_RC_ERR_NOT_FOUND", "message": "..." or null}
//   class     {"className": ..., "namespace": ..., "properties": ["DeviceID", ...],
//              "methods": [{"name": "SetSpeed", "parameters":
//                           [{"name": ..., "type": "uint32", "direction": "in"}]}]}
#ifndef CMPI_CLI_VALUE_JSON_H
#define CMPI_CLI_VALUE_JSON_H

#include <cmpidt.h>
#include <cmpiinterface.h>
#include <json/json.h>

#include <string>

#include "path_syntax.h"
#include "value_text.h"

namespace cli {

Json::Value data_json(CMPIType type, CMPIValue value, bool is_null);
// props: as for instance_text; a value its frame does not carry is
// {"type": "char16", "value": null, "carried": false}.
Json::Value instance_json(const CMPIInstance *inst, const Json::Value &props = Json::Value());
Json::Value path_json(const ParsedPath &path);
Json::Value path_json(const CMPIObjectPath *path);
Json::Value status_json(int code, const std::string &message);
Json::Value class_json(const ClassInfo &info);
// {"Name": value, ...} for every argument except the one named skip.
Json::Value args_json(const CMPIArgs *args, const std::string &skip);

// Pretty text (two-blank indentation) with a final newline.
std::string json_text(const Json::Value &document);

}  // namespace cli

#endif  // CMPI_CLI_VALUE_JSON_H
