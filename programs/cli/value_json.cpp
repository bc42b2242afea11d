// value_json.cpp - the JSON form of results.
#include "value_json.h"

#include <cmpimacs.h>

#include <cmath>
#include <cstdlib>

#include "cmpi_build.h"
#include "frame_view.h"
#include "status_names.h"
#include "value_syntax.h"

namespace cli {
namespace {

Json::Value real_json(double value, bool single) {
  if (!std::isfinite(value)) return Json::Value(real_text(value, single));
  // Through the shortest text, so that a real32 shows as 0.1 and not 0.100000001490116.
  return Json::Value(std::strtod(real_text(value, single).c_str(), nullptr));
}

Json::Value scalar_json(CMPIType type, CMPIValue value) {
  switch (type) {
    case CMPI_boolean: return Json::Value(value.boolean != 0);
    case CMPI_char16: return Json::Value(utf8_character(value.char16));
    case CMPI_uint8: return Json::Value(static_cast<Json::UInt>(value.uint8));
    case CMPI_uint16: return Json::Value(static_cast<Json::UInt>(value.uint16));
    case CMPI_uint32: return Json::Value(static_cast<Json::UInt>(value.uint32));
    case CMPI_uint64: return Json::Value(static_cast<Json::UInt64>(value.uint64));
    case CMPI_sint8: return Json::Value(static_cast<Json::Int>(value.sint8));
    case CMPI_sint16: return Json::Value(static_cast<Json::Int>(value.sint16));
    case CMPI_sint32: return Json::Value(static_cast<Json::Int>(value.sint32));
    case CMPI_sint64: return Json::Value(static_cast<Json::Int64>(value.sint64));
    case CMPI_real32: return real_json(value.real32, true);
    case CMPI_real64: return real_json(value.real64, false);
    case CMPI_string: return Json::Value(text_of(value.string));
    case CMPI_chars: return Json::Value(value.chars != nullptr ? value.chars : "");
    case CMPI_dateTime:
      return Json::Value(value.dateTime != nullptr
                             ? take_text(CMGetStringFormat(value.dateTime, nullptr))
                             : std::string());
    case CMPI_ref: return value.ref != nullptr ? path_json(value.ref) : Json::Value();
    case CMPI_instance: return value.inst != nullptr ? instance_json(value.inst) : Json::Value();
    default: {
      char *text = value2Chars(type, &value);
      Json::Value out = text != nullptr ? Json::Value(text) : Json::Value();
      std::free(text);
      return out;
    }
  }
}

Json::Value bare_json(CMPIType type, CMPIValue value, bool is_null) {
  if (is_null) return Json::Value();
  if ((type & CMPI_ARRAY) == 0) return scalar_json(type, value);
  Json::Value out(Json::arrayValue);
  if (value.array == nullptr) return Json::Value();
  const CMPICount n = CMGetArrayCount(value.array, nullptr);
  for (CMPICount i = 0; i < n; ++i) {
    OwnedData element(CMGetArrayElementAt(value.array, i, nullptr));
    out.append(bare_json(element.type(), element.value(), element.is_null()));
  }
  return out;
}

Json::Value key_json(const KeyBinding &key) {
  switch (key.kind) {
    case KeyBinding::Kind::kReference:
      return key.reference ? path_json(*key.reference) : Json::Value();
    case KeyBinding::Kind::kInteger:
      if (!key.text.empty() && key.text[0] == '-') {
        return Json::Value(static_cast<Json::Int64>(std::strtoll(key.text.c_str(), nullptr, 10)));
      }
      return Json::Value(static_cast<Json::UInt64>(std::strtoull(key.text.c_str(), nullptr, 10)));
    case KeyBinding::Kind::kReal:
      return Json::Value(std::strtod(key.text.c_str(), nullptr));
    case KeyBinding::Kind::kBoolean:
      return Json::Value(key.text == "true");
    case KeyBinding::Kind::kString:
      break;
  }
  return Json::Value(key.text);
}

}  // namespace

Json::Value data_json(CMPIType type, CMPIValue value, bool is_null) {
  Json::Value out(Json::objectValue);
  out["type"] = type_name(type);
  out["value"] = bare_json(type, value, is_null);
  return out;
}

namespace {

// One property as its frame carried it (see instance_text).
Json::Value carried_json(const CMPIInstance *inst, const std::string &name,
                         const Json::Value &value_object) {
  const WireValue wire = wire_value(value_object);
  const CMPIType type = static_cast<CMPIType>(wire.type);
  Json::Value out(Json::objectValue);
  out["type"] = type_name(type);
  if (wire.is_null) {
    out["value"] = Json::Value();
    return out;
  }
  if (wire.empty_array) {
    out["value"] = Json::Value(Json::arrayValue);
    return out;
  }
  CMPIStatus found = {CMPI_RC_OK, nullptr};
  OwnedData d(CMGetProperty(inst, name.c_str(), &found));
  if (found.rc != CMPI_RC_OK || wire.value_missing) {
    out["value"] = Json::Value();
    out["carried"] = false;
    return out;
  }
  const CMPIValue value = d.value();
  if (d.type() == CMPI_instance && !d.is_null() && value.inst != nullptr) {
    out["type"] = type_name(d.type());
    out["value"] = instance_json(value.inst, value_object["CMPIInstance"]["InstanceProps"]);
    return out;
  }
  return data_json(d.type(), value, d.is_null());
}

}  // namespace

Json::Value instance_json(const CMPIInstance *inst, const Json::Value &props) {
  Json::Value out(Json::objectValue);
  PathPtr path(CMGetObjectPath(inst, nullptr));
  out["className"] = path ? take_text(CMGetClassName(path.get(), nullptr)) : std::string();
  out["namespace"] = path ? take_text(CMGetNameSpace(path.get(), nullptr)) : std::string();
  Json::Value properties(Json::objectValue);
  if (props.isObject()) {
    for (const std::string &name : props.getMemberNames()) {
      properties[name] = carried_json(inst, name, props[name]);
    }
  } else {
    const CMPICount n = CMGetPropertyCount(inst, nullptr);
    for (CMPICount i = 0; i < n; ++i) {
      CMPIString *name = nullptr;
      OwnedData d(CMGetPropertyAt(inst, i, &name, nullptr));
      properties[take_text(name)] = data_json(d.type(), d.value(), d.is_null());
    }
  }
  out["properties"] = properties;
  return out;
}

Json::Value path_json(const ParsedPath &path) {
  Json::Value out(Json::objectValue);
  out["path"] = format_path(path);
  out["namespace"] = path.name_space;
  out["className"] = path.class_name;
  Json::Value keys(Json::objectValue);
  for (const KeyBinding &key : path.keys) keys[key.name] = key_json(key);
  out["keys"] = keys;
  return out;
}

Json::Value path_json(const CMPIObjectPath *path) { return path_json(to_parsed_path(path)); }

Json::Value status_json(int code, const std::string &message) {
  Json::Value out(Json::objectValue);
  out["code"] = code;
  out["name"] = wire::rc_name(code);
  out["message"] = message.empty() ? Json::Value() : Json::Value(message);
  return out;
}

Json::Value class_json(const ClassInfo &info) {
  Json::Value out(Json::objectValue);
  out["className"] = info.name;
  out["namespace"] = info.name_space;
  Json::Value properties(Json::arrayValue);
  for (const std::string &property : info.properties) properties.append(property);
  out["properties"] = properties;
  Json::Value methods(Json::arrayValue);
  for (const MethodInfo &method : info.methods) {
    Json::Value m(Json::objectValue);
    m["name"] = method.name;
    Json::Value parameters(Json::arrayValue);
    for (const ParameterInfo &p : method.parameters) {
      Json::Value param(Json::objectValue);
      param["name"] = p.name;
      param["type"] = type_name(p.type);
      param["direction"] = p.direction;
      parameters.append(param);
    }
    m["parameters"] = parameters;
    methods.append(m);
  }
  out["methods"] = methods;
  Json::Value defaults(Json::objectValue);
  for (const DefaultInfo &d : info.defaults) defaults[d.property] = d.json;
  out["defaults"] = defaults;
  return out;
}

Json::Value args_json(const CMPIArgs *args, const std::string &skip) {
  Json::Value out(Json::objectValue);
  for_each_argument(args, skip, [&](const std::string &name, const OwnedData &d) {
    out[name] = data_json(d.type(), d.value(), d.is_null());
  });
  return out;
}

std::string json_text(const Json::Value &document) {
  Json::StreamWriterBuilder builder;
  builder["indentation"] = "  ";
  return Json::writeString(builder, document) + "\n";
}

}  // namespace cli
