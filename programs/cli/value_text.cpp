// value_text.cpp - readable text of what the daemon or a provider returned.
#include "value_text.h"

#include <cmpimacs.h>
#include <strings.h>

#include <charconv>
#include <cstdlib>
#include <cmath>

#include "cmpi_build.h"
#include "frame_view.h"
#include "result_names.h"
#include "value_json.h"
#include "value_syntax.h"

namespace cli {
namespace {

std::string spaces(int n) { return std::string(static_cast<std::size_t>(n > 0 ? n : 0), ' '); }

}  // namespace

std::string utf8_character(unsigned code) {
  std::string out;
  if (code < 0x80) {
    out += static_cast<char>(code);
  } else if (code < 0x800) {
    out += static_cast<char>(0xC0 | (code >> 6));
    out += static_cast<char>(0x80 | (code & 0x3F));
  } else {
    out += static_cast<char>(0xE0 | (code >> 12));
    out += static_cast<char>(0x80 | ((code >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (code & 0x3F));
  }
  return out;
}

namespace {

std::string datetime_text(const CMPIDateTime *dt) {
  if (dt == nullptr) return "";
  return take_text(CMGetStringFormat(dt, nullptr));
}

// A key value as the parsed form holds it.
KeyBinding key_of(const std::string &name, CMPIType type, CMPIValue value, bool is_null) {
  KeyBinding key;
  key.name = name;
  if (is_null) {
    key.text = "";
    return key;
  }
  switch (type) {
    case CMPI_ref:
      key.kind = KeyBinding::Kind::kReference;
      key.reference = std::make_shared<const ParsedPath>(to_parsed_path(value.ref));
      return key;
    case CMPI_boolean:
      key.kind = KeyBinding::Kind::kBoolean;
      key.text = value.boolean ? "true" : "false";
      return key;
    case CMPI_uint8: case CMPI_uint16: case CMPI_uint32: case CMPI_uint64:
    case CMPI_sint8: case CMPI_sint16: case CMPI_sint32: case CMPI_sint64:
      key.kind = KeyBinding::Kind::kInteger;
      key.text = data_text(type, value, false);
      return key;
    case CMPI_real32: case CMPI_real64:
      key.kind = KeyBinding::Kind::kReal;
      key.text = data_text(type, value, false);
      return key;
    case CMPI_dateTime:
      key.text = datetime_text(value.dateTime);
      return key;
    case CMPI_string:
      key.text = text_of(value.string);
      return key;
    default: {
      char *text = value2Chars(type, &value);
      key.text = text != nullptr ? text : "";
      std::free(text);
      return key;
    }
  }
}

std::string scalar_text(CMPIType type, CMPIValue value, int indent) {
  switch (type) {
    case CMPI_boolean: return value.boolean ? "true" : "false";
    case CMPI_char16: return "'" + utf8_character(value.char16) + "'";
    case CMPI_uint8: return std::to_string(value.uint8);
    case CMPI_uint16: return std::to_string(value.uint16);
    case CMPI_uint32: return std::to_string(value.uint32);
    case CMPI_uint64: return std::to_string(value.uint64);
    case CMPI_sint8: return std::to_string(value.sint8);
    case CMPI_sint16: return std::to_string(value.sint16);
    case CMPI_sint32: return std::to_string(value.sint32);
    case CMPI_sint64: return std::to_string(value.sint64);
    case CMPI_real32: return real_text(value.real32, true);
    case CMPI_real64: return real_text(value.real64, false);
    case CMPI_string: return quote(text_of(value.string));
    case CMPI_chars: return quote(value.chars != nullptr ? value.chars : "");
    case CMPI_dateTime: return quote(datetime_text(value.dateTime));
    case CMPI_ref: return value.ref != nullptr ? path_text(value.ref) : "NULL";
    case CMPI_instance:
      return value.inst != nullptr ? instance_text(value.inst, indent, false) : "NULL";
    default: {
      char *text = value2Chars(type, &value);
      std::string out = text != nullptr ? quote(text) : "<" + type_name(type) + ">";
      std::free(text);
      return out;
    }
  }
}

std::string array_text(const CMPIArray *array, int indent) {
  if (array == nullptr) return "NULL";
  std::string out = "{";
  const CMPICount n = CMGetArrayCount(array, nullptr);
  for (CMPICount i = 0; i < n; ++i) {
    OwnedData element(CMGetArrayElementAt(array, i, nullptr));
    if (i > 0) out += ", ";
    out += data_text(element.type(), element.value(), element.is_null(), indent);
  }
  return out + "}";
}

}  // namespace

std::string real_text(double value, bool single) {
  if (std::isnan(value)) return "NaN";
  if (std::isinf(value)) return value > 0 ? "Infinity" : "-Infinity";
  char buf[64];
  std::to_chars_result r = single ? std::to_chars(buf, buf + sizeof buf, static_cast<float>(value))
                                  : std::to_chars(buf, buf + sizeof buf, value);
  return std::string(buf, r.ptr);
}

ParsedPath to_parsed_path(const CMPIObjectPath *path) {
  ParsedPath parsed;
  if (path == nullptr) return parsed;
  parsed.name_space = take_text(CMGetNameSpace(path, nullptr));
  parsed.class_name = take_text(CMGetClassName(path, nullptr));
  const CMPICount n = CMGetKeyCount(path, nullptr);
  for (CMPICount i = 0; i < n; ++i) {
    CMPIString *name = nullptr;
    OwnedData key(CMGetKeyAt(path, i, &name, nullptr));
    parsed.keys.push_back(key_of(take_text(name), key.type(), key.value(), key.is_null()));
  }
  return parsed;
}

std::string path_text(const CMPIObjectPath *path) { return format_path(to_parsed_path(path)); }

std::string instance_class(const CMPIInstance *inst) {
  PathPtr path(CMGetObjectPath(inst, nullptr));
  return path ? take_text(CMGetClassName(path.get(), nullptr)) : "";
}

std::string data_text(CMPIType type, CMPIValue value, bool is_null, int indent) {
  if (is_null) return "NULL";
  if ((type & CMPI_ARRAY) != 0) return array_text(value.array, indent);
  return scalar_text(type, value, indent);
}

std::string not_carried_text(CMPIType type) {
  return "(" + type_name(type) + ", no value carried)";
}

namespace {

// One property as its frame carried it (see instance_text).
std::string carried_text(const CMPIInstance *inst, const std::string &name,
                         const Json::Value &value_object, int indent) {
  const WireValue wire = wire_value(value_object);
  const CMPIType type = static_cast<CMPIType>(wire.type);
  if (wire.is_null) return "NULL";
  if (wire.empty_array) return "{}";
  CMPIStatus found = {CMPI_RC_OK, nullptr};
  OwnedData d(CMGetProperty(inst, name.c_str(), &found));
  if (found.rc != CMPI_RC_OK || wire.value_missing) return not_carried_text(type);
  const CMPIValue value = d.value();
  if (d.type() == CMPI_instance && !d.is_null() && value.inst != nullptr) {
    return instance_text(value.inst, indent, false, value_object["CMPIInstance"]["InstanceProps"]);
  }
  return data_text(d.type(), value, d.is_null(), indent);
}

}  // namespace

std::string instance_text(const CMPIInstance *inst, int indent, bool top_level,
                          const Json::Value &props) {
  std::string out = "instance of " + instance_class(inst) + " {\n";
  if (props.isObject()) {
    for (const std::string &name : props.getMemberNames()) {
      out += spaces(indent + 4) + name + " = " +
             carried_text(inst, name, props[name], indent + 4) + ";\n";
    }
  } else {
    const CMPICount n = CMGetPropertyCount(inst, nullptr);
    for (CMPICount i = 0; i < n; ++i) {
      CMPIString *name = nullptr;
      OwnedData d(CMGetPropertyAt(inst, i, &name, nullptr));
      out += spaces(indent + 4) + take_text(name) + " = " +
             data_text(d.type(), d.value(), d.is_null(), indent + 4) + ";\n";
    }
  }
  out += spaces(indent) + "}";
  if (top_level) out += ";\n";
  return out;
}

std::string args_text(const CMPIArgs *args, const std::string &skip) {
  std::string out;
  for_each_argument(args, skip, [&](const std::string &name, const OwnedData &d) {
    out += name + " = " + data_text(d.type(), d.value(), d.is_null(), 0) + ";\n";
  });
  return out;
}

ClassInfo read_class(const CMPIConstClass *cls) {
  ClassInfo info;
  if (cls == nullptr || cls->ft == nullptr) return info;
  info.name = take_text(cls->ft->getClassName(cls, nullptr));
  info.name_space = take_text(cls->ft->getNameSpace(cls, nullptr));
  const CMPICount properties = cls->ft->getPropertyCount(cls, nullptr);
  for (CMPICount i = 0; i < properties; ++i) {
    info.properties.push_back(take_text(cls->ft->getPropertyNameAt(cls, i, nullptr)));
  }
  const CMPICount methods = cls->ft->getMethodCount(cls, nullptr);
  for (CMPICount i = 0; i < methods; ++i) {
    MethodInfo method;
    method.name = take_text(cls->ft->getMethodNameAt(cls, i, nullptr));
    info.methods.push_back(method);
  }
  const auto *record = static_cast<const CMPIClassRecord *>(cls->hdl);
  const CMPIArray *parameters = record != nullptr ? record->methodParameters : nullptr;
  const CMPICount n = parameters != nullptr ? CMGetArrayCount(parameters, nullptr) : 0;
  for (CMPICount i = 0; i < n; ++i) {
    OwnedData element(CMGetArrayElementAt(parameters, i, nullptr));
    const CMPIValue value = element.value();
    if (element.is_null() || element.type() != CMPI_instance || value.inst == nullptr) continue;
    auto text_property = [&](const char *name) {
      OwnedData d(CMGetProperty(value.inst, name, nullptr));
      const CMPIValue v = d.value();
      if (d.is_null()) return std::string();
      if (d.type() == CMPI_string) return text_of(v.string);
      return std::string();
    };
    if (wire::class_of(value.inst) == "CMPIUtility_PropertyDefault") {
      OwnedData d(CMGetProperty(value.inst, "Value", nullptr));
      info.defaults.push_back(
          {text_property("Name"), data_text(d.type(), d.value(), d.is_null()),
           data_json(d.type(), d.value(), d.is_null())});
      continue;
    }
    ParameterInfo parameter;
    parameter.name = text_property("Name");
    parameter.direction = text_property("Direction");
    {
      OwnedData d(CMGetProperty(value.inst, "DataType", nullptr));
      const CMPIValue v = d.value();
      if (!d.is_null() && d.type() == CMPI_uint16) parameter.type = v.uint16;
    }
    const std::string method_name = text_property("MethodName");
    MethodInfo *owner = nullptr;
    for (MethodInfo &method : info.methods) {
      if (strcasecmp(method.name.c_str(), method_name.c_str()) == 0) owner = &method;
    }
    if (owner == nullptr) {
      info.methods.push_back(MethodInfo{method_name, {}});
      owner = &info.methods.back();
    }
    owner->parameters.push_back(parameter);
  }
  return info;
}

std::string class_text(const ClassInfo &info) {
  std::string out = "class " + info.name + " {\n";
  for (const std::string &property : info.properties) {
    out += "    property " + property;
    for (const DefaultInfo &d : info.defaults) {
      if (strcasecmp(d.property.c_str(), property.c_str()) == 0) out += " = " + d.text;
    }
    out += ";\n";
  }
  for (const MethodInfo &method : info.methods) {
    out += "    method " + method.name + "(";
    for (std::size_t i = 0; i < method.parameters.size(); ++i) {
      const ParameterInfo &p = method.parameters[i];
      if (i > 0) out += ", ";
      out += p.direction + " " + type_name(p.type) + " " + p.name;
    }
    out += ");\n";
  }
  return out + "};\n";
}

}  // namespace cli
