// help_text.cpp - the subcommand table and the help texts.
#include "help_text.h"

namespace cli {
namespace {

const char kGlobalOptions[] = R"(Options (before or after the subcommand):
  --socket PATH     the daemon's socket (default: $CMPI_HOSTD_SOCKET, else
                    /run/cmpi-hostd.sock)
  --user NAME       the user the request is served as (default: you)
  --timeout SECONDS how long to wait for each piece of the answer (default 30;
                    0 waits without limit)
  --namespace NS    the namespace of paths that name none (default root/cimv2)
  --json            print results as one JSON document instead of text
  --debug           show the library's diagnostic lines (DLOG_LEVEL=4) on standard
                    error; without it they are hidden unless DLOG_LEVEL is set
  --help            this text; "cmpi-cli COMMAND --help" explains a subcommand
  --version         the program's version
)";

const char kPathSyntax[] = R"(Object paths:
  [NAMESPACE:]CLASS[.KEY=VALUE{,KEY=VALUE}]
    root/cimv2:Demo_Fan.DeviceID="fan0",SystemName="bmc0"
    Demo_Fan.DeviceID="fan0",SystemName="bmc0"       (namespace from --namespace)
  String values are double-quoted, with \" for a quote and \\ for a backslash.
  Numbers (12, -3, 1.5) and true/false stand without quotes. A reference key is a
  quoted path whose own quotes are escaped:
    Demo_ChassisFan.GroupComponent="Demo_Chassis.Tag=\"chassis0\"",
      PartComponent="Demo_Fan.DeviceID=\"fan0\",SystemName=\"bmc0\""
  A path without keys names a class. No blanks outside quotes. Keys travel as text,
  whatever their kind; the request format cannot carry ',', '=', '(' or ')' in a
  key value, nor string keys next to reference keys, and such paths are refused.
)";

const char kValueSyntax[] = R"(Properties and method arguments:
  NAME=TEXT                     a string (taken literally: Notes=null is "null")
  NAME:TYPE=VALUE               Speed:uint32=4200  Enabled:boolean=true
                                InstallDate:datetime=20241114120523.243424+000
                                Chassis:ref=Demo_Chassis.Tag="chassis0"
  NAME:TYPE[]=[V1,V2,...]       Tags:string[]=[front,"left, upper"]  Tags:string[]=[]
  NAME  or  NAME:TYPE           no '=': a null value (a null string without a type)
  TYPE is one of boolean, char16, uint8, uint16, uint32, uint64, sint8, sint16,
  sint32, sint64, real32, real64, string, datetime, ref (also reference); any case.
  Array elements are bare or double-quoted (\" and \\ inside quotes); "" is the
  empty string. Date-times have the 25-character CIM form yyyymmddhhmmss.mmmmmm+zzz
  (intervals ddddddddhhmmss.mmmmmm:000).
  The request format does not carry char16 values, boolean method arguments,
  arrays of booleans, char16 or reals, nor the elements of reference arrays; a
  null string travels as an empty one, and the provider host reads the text NULL
  (in any case for method arguments) as null.
)";

const char kOutput[] = R"(Output:
  Text: an instance as "instance of CLASS {" with one "Name = value;" line per
  property, as the answer carried it (strings quoted, arrays as {a, b}, an empty
  array as {}, references as their path, embedded instances nested, NULL for null,
  (char16, no value carried) for a char16 property, whose value the answer never
  holds); enum-names, associator-names, reference-names one path per line; invoke
  "ReturnValue = v;" and one line per output argument; modify/delete
  "Status = CMPI_RC_OK;"; create "Created = PATH;" and the status. A progress
  line goes to standard error during long enumerations when it is a terminal.
  JSON (--json), one document on standard output:
    enum, associators, references, query, local-enum  {"instances": [INSTANCE...]}
    enum-names, associator-names, reference-names  {"paths": [PATH...]}
    get, local-get  {"instance": INSTANCE}
    get-class    {"class": {"className", "namespace", "properties": [NAME...],
                  "methods": [{"name", "parameters": [{"name", "type", "direction"}]}]}}
    create       {"path": PATH, "status": STATUS}
    modify, delete  {"status": STATUS}
    invoke       {"method": NAME, "returnValue": VALUE, "output": {NAME: VALUE...}}
    INSTANCE = {"className", "namespace", "properties": {NAME: VALUE...}}
    VALUE    = {"type": "uint32", "value": 4200}   (value null when null; arrays as
               JSON arrays, type "string[]"; a reference's value is a PATH, an
               embedded instance's an INSTANCE; date-times and char16 as strings;
               an empty array is []; a value the answer does not carry, such as
               any char16 property, is {"type": "char16", "value": null,
               "carried": false})
    PATH     = {"path": TEXT, "namespace", "className", "keys": {NAME: value...}}
    STATUS   = {"code": 0, "name": "CMPI_RC_OK", "message": TEXT or null}
  On failure the document holds what arrived before it and
    "error": {"kind": "cim"|"connection"|"timeout", "code", "name", "message"}.
)";

const char kExitStatus[] = R"(Exit status:
  0  success
  1  the operation failed with a CMPI return code; standard error shows
     "CMPI_RC_<NAME>: <message>", the message being the provider's own when the
     answer carried one, else a description of the code (local calls that
     return nothing also end so)
  2  usage error: unknown subcommand or option, bad path or value syntax
  3  connection error: the daemon cannot be reached, or the connection broke or
     ended before the answer was complete, or the answer could not be decoded
  4  time-out: nothing arrived within --timeout seconds
)";

const char kEnvironment[] = R"(Environment:
  CMPI_HOSTD_SOCKET         the default socket
  CMPIUTILITY_SCHEMA_DB     the schema database (default
                            /etc/wsman/Database/Schema/CIMSchema.db): local-get and
                            local-enum use it, associator-names and reference-names
                            read the key properties of classes from it
  CMPIUTILITY_PROVIDER_DIR  local-get, local-enum: the provider directory, with a
                            trailing slash (default /lib/cmpi/)
  DLOG_LEVEL, DLOG_OUTPUT   the library's diagnostic lines (see --debug)
)";

std::vector<CommandInfo> make_commands() {
  return {
      {"enum", "CLASS", 1, 1, {},
       "enumerate the instances of a class",
       "CLASS is [NAMESPACE:]CLASS. Instances are printed as they arrive.\n"
       "Example: cmpi-cli enum Demo_Fan\n"},
      {"enum-names", "CLASS", 1, 1, {},
       "enumerate the instance paths of a class",
       "Prints one path per line, in the syntax the other subcommands read.\n"
       "Example: cmpi-cli enum-names root/cimv2:Demo_Fan\n"},
      {"get", "PATH", 1, 1, {},
       "get one instance",
       "PATH names the instance with all its keys.\n"
       "Example: cmpi-cli get 'Demo_Fan.DeviceID=\"fan0\",SystemName=\"bmc0\"'\n"},
      {"create", "PATH [PROPERTY...]", 1, -1, {},
       "create an instance",
       "PATH gives the class and the keys of the new instance; the keys are set as\n"
       "properties too unless a PROPERTY names them. Prints the path that was asked\n"
       "for: the library hands this client the status of the answer, not the path.\n"
       "Example: cmpi-cli create 'Demo_Chassis.Tag=\"chassis1\"' Manufacturer=ACME \\\n"
       "           Model=X1 FanCount:uint8=0\n"},
      {"modify", "PATH PROPERTY...", 2, -1, {},
       "change properties of an instance",
       "Only the named properties change; NAME alone (no '=') sets a null value.\n"
       "Example: cmpi-cli modify 'Demo_Fan.DeviceID=\"fan0\",SystemName=\"bmc0\"' \\\n"
       "           DesiredSpeed:uint32=3000 Notes\n"},
      {"delete", "PATH", 1, 1, {},
       "delete an instance",
       "Example: cmpi-cli delete 'Demo_Fan.DeviceID=\"fan2\",SystemName=\"bmc0\"'\n"},
      {"invoke", "PATH METHOD [ARGUMENT...]", 2, -1, {},
       "call a method",
       "PATH is an instance path, or a class for a static method. Prints the return\n"
       "value and the output arguments.\n"
       "Example: cmpi-cli invoke 'Demo_Fan.DeviceID=\"fan0\",SystemName=\"bmc0\"' \\\n"
       "           SetSpeed DesiredSpeed:uint32=3000\n"},
      {"associators", "PATH", 1, 1, {"--assoc-class", "--result-class", "--role", "--result-role"},
       "the instances associated with an instance",
       "Options:\n"
       "  --assoc-class CLASS   only through associations of this class\n"
       "  --result-class CLASS  only associated instances of this class\n"
       "  --role NAME           the role the source instance plays\n"
       "  --result-role NAME    the role the associated instances play\n"
       "Example: cmpi-cli associators 'Demo_Chassis.Tag=\"chassis0\"' "
       "--assoc-class Demo_ChassisFan\n"},
      {"associator-names", "PATH", 1, 1,
       {"--assoc-class", "--result-class", "--role", "--result-role"},
       "the paths of the instances associated with an instance",
       "Options:\n"
       "  --assoc-class CLASS   only through associations of this class\n"
       "  --result-class CLASS  only associated instances of this class\n"
       "  --role NAME           the role the source instance plays\n"
       "  --result-role NAME    the role the associated instances play\n"
       "Prints one path per line. The daemon has no names request: the full\n"
       "associators are asked for and their paths shown, with the key properties that\n"
       "the schema database declares for their classes.\n"
       "Example: cmpi-cli associator-names 'Demo_Chassis.Tag=\"chassis0\"'\n"},
      {"references", "PATH", 1, 1, {"--result-class", "--role"},
       "the association instances that refer to an instance",
       "Options:\n"
       "  --result-class CLASS  only associations of this class\n"
       "  --role NAME           the role the source instance plays\n"
       "Example: cmpi-cli references 'Demo_Chassis.Tag=\"chassis0\"'\n"},
      {"reference-names", "PATH", 1, 1, {"--result-class", "--role"},
       "the paths of the association instances that refer to an instance",
       "Options:\n"
       "  --result-class CLASS  only associations of this class\n"
       "  --role NAME           the role the source instance plays\n"
       "Prints one path per line, derived from the full references as for\n"
       "associator-names.\n"
       "Example: cmpi-cli reference-names 'Demo_Chassis.Tag=\"chassis0\"'\n"},
      {"query", "[CLASS] QUERY", 1, 2, {},
       "run a query",
       "CLASS ([NAMESPACE:]CLASS) chooses the provider; without it the class is the\n"
       "name after FROM in the query.\n"
       "Example: cmpi-cli query 'SELECT * FROM Demo_Fan WHERE Speed > 1000'\n"},
      {"get-class", "CLASS", 1, 1, {},
       "show a class: its properties and its methods with their parameters",
       "Example: cmpi-cli get-class Demo_Fan\n"},
      {"local-get", "PATH", 1, 1, {},
       "get one instance from the provider, called in this process",
       "No daemon is involved: the class's provider is found in the schema database\n"
       "and loaded from the provider directory (see Environment in cmpi-cli --help).\n"
       "The call hands back no return code, so a missing instance ends with\n"
       "CMPI_RC_ERR_FAILED.\n"
       "Example: CMPIUTILITY_SCHEMA_DB=/tmp/schema.db CMPIUTILITY_PROVIDER_DIR=/tmp/p/ \\\n"
       "           cmpi-cli local-get 'Demo_Fan.DeviceID=\"fan0\",SystemName=\"bmc0\"'\n"},
      {"local-enum", "CLASS", 1, 1, {"--flag"},
       "enumerate the instances of a class from the provider, called in this process",
       "Options:\n"
       "  --flag N   a number 0 to 255 handed to the provider unchanged (for the demo\n"
       "             provider, 1 asks for the key properties only)\n"
       "Example: cmpi-cli local-enum Demo_Fan --flag 1\n"},
  };
}

}  // namespace

const std::vector<CommandInfo> &all_commands() {
  static const std::vector<CommandInfo> commands = make_commands();
  return commands;
}

const CommandInfo *find_command(const std::string &name) {
  for (const CommandInfo &info : all_commands()) {
    if (name == info.name) return &info;
  }
  return nullptr;
}

std::string program_help() {
  std::string out =
      "Usage: cmpi-cli [OPTION...] COMMAND [ARGUMENT...]\n"
      "The client of cmpi-hostd: sends one request, prints the answer.\n\nCommands:\n";
  for (const CommandInfo &info : all_commands()) {
    std::string name = info.name;
    name.resize(18, ' ');
    out += "  " + name + info.summary + "\n";
  }
  out += "  help [COMMAND]    this text, or a subcommand's\n\n";
  out += kGlobalOptions;
  out += "\n";
  out += kPathSyntax;
  out += "\n";
  out += kValueSyntax;
  out += "\n";
  out += kOutput;
  out += "\n";
  out += kExitStatus;
  out += "\n";
  out += kEnvironment;
  return out;
}

std::string command_help(const CommandInfo &info) {
  std::string out = std::string("Usage: cmpi-cli ") + info.name + " [OPTION...] " +
                    info.arguments + "\n" + info.summary + ".\n\n" + info.details + "\n" +
                    kGlobalOptions + "\nPaths, values, output and exit status: cmpi-cli --help\n";
  return out;
}

}  // namespace cli
