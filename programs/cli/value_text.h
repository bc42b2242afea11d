// value_text.h - readable text of CMPI data, instances and object paths.
//
//   instance of Demo_Fan {
//       DeviceID = "fan0";
//       Enabled = true;
//       Speed = 4200;
//       Tags = {"front", "left"};
//       Chassis = root/cimv2:Demo_Chassis.Tag="chassis0";
//       Sensor = instance of Demo_Sensor {
//           Reading = 42;
//       };
//       Notes = NULL;
//   };
//
// Strings, date-times and char16 values are quoted (" and \ escaped), references are shown as
// their path text, numbers and booleans bare, a null value as NULL.
#ifndef CMPI_CLI_VALUE_TEXT_H
#define CMPI_CLI_VALUE_TEXT_H

#include <cmpidt.h>
#include <cmpiinterface.h>

#include <json/json.h>

#include <string>
#include <vector>

#include "path_syntax.h"

namespace cli {

// The path as parsed form: keys of type string (and date-times) become string keys, numbers
// integer or real keys, booleans boolean keys, references nested paths.
ParsedPath to_parsed_path(const CMPIObjectPath *path);

// The path's text in the command-line syntax.
std::string path_text(const CMPIObjectPath *path);

// The class name of an instance (from its object path).
std::string instance_class(const CMPIInstance *inst);

// One value. indent is the indentation of the line the value stands on (for embedded instances).
std::string data_text(CMPIType type, CMPIValue value, bool is_null, int indent = 0);

// The UTF-8 text of a 16-bit character code.
std::string utf8_character(unsigned code);

// A real as the shortest text that reads back as the same number.
std::string real_text(double value, bool single);

// The instance block, its lines indented by indent, ending in "};" and a newline when top_level
// (an embedded one ends in "}" for the caller's ";").
//
// props, when it is an object, is the "InstanceProps" of the frame the instance came in, and the
// block then shows what that frame carried, property by property in its order: a null
// ("DataState":256) as NULL also where the decoded value is not null (a null string), an empty
// array as {} (the decoded one is null), a value that the frame does not carry (char16) as
// kNotCarried, and embedded instances with their own part of the frame.
std::string instance_text(const CMPIInstance *inst, int indent = 0, bool top_level = true,
                          const Json::Value &props = Json::Value());

// The text standing for a value that its frame does not carry: "(char16, no value carried)".
std::string not_carried_text(CMPIType type);

// "Name = value;\n" for every argument, except the one named skip.
std::string args_text(const CMPIArgs *args, const std::string &skip);

// What a GetClass answer tells about a class. The method parameters and the property defaults
// come from the class record that the class object's handle points to (instances of
// CMPIUtility_MethodParameter and of CMPIUtility_PropertyDefault).
struct ParameterInfo {
  std::string name;
  CMPIType type = CMPI_null;
  std::string direction;  // "in", "out" or "inout"
};
struct MethodInfo {
  std::string name;
  std::vector<ParameterInfo> parameters;
};
struct DefaultInfo {
  std::string property;
  std::string text;   // the value as data_text writes it
  Json::Value json;   // the value as data_json writes it
};
struct ClassInfo {
  std::string name;
  std::string name_space;
  std::vector<std::string> properties;
  std::vector<MethodInfo> methods;
  std::vector<DefaultInfo> defaults;
};
ClassInfo read_class(const CMPIConstClass *cls);

//   class Demo_Fan {
//       property DeviceID;
//       property HealthState = 5;          (a property with a default)
//       method SetSpeed(in uint32 DesiredSpeed, out uint32 PreviousSpeed);
//   };
std::string class_text(const ClassInfo &info);

}  // namespace cli

#endif  // CMPI_CLI_VALUE_TEXT_H
