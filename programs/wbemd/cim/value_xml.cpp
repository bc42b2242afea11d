// value_xml.cpp - CMPI data to CIM-XML elements.
#include "value_xml.h"

#include <cmpimacs.h>
#include <strings.h>

#include <charconv>
#include <cmath>
#include <utility>
#include <vector>

#include "cim_log.h"
#include "cmpi_build.h"
#include "frame_view.h"
#include "schema_rows.h"

namespace wbem {
namespace {

struct TypeName {
  CMPIType type;
  const char *name;
};
constexpr TypeName kTypes[] = {
    {CMPI_boolean, "boolean"}, {CMPI_char16, "char16"},   {CMPI_real32, "real32"},
    {CMPI_real64, "real64"},   {CMPI_uint8, "uint8"},     {CMPI_uint16, "uint16"},
    {CMPI_uint32, "uint32"},   {CMPI_uint64, "uint64"},   {CMPI_sint8, "sint8"},
    {CMPI_sint16, "sint16"},   {CMPI_sint32, "sint32"},   {CMPI_sint64, "sint64"},
    {CMPI_string, "string"},   {CMPI_dateTime, "datetime"}, {CMPI_ref, "reference"},
    {CMPI_instance, "instance"},
};

bool is_text_type(CMPIType t) {
  return t == CMPI_string || t == CMPI_chars || t == CMPI_charsptr || t == CMPI_numericString ||
         t == CMPI_booleanString || t == CMPI_dateTimeString || t == CMPI_classNameString;
}

// cim_type_name without a string made for every property written.
const char *type_name_of(CMPIType type) {
  if (is_text_type(type)) return "string";
  for (const TypeName &t : kTypes) {
    if (t.type == type) return t.name;
  }
  return "";
}

// digits significant digits, exactly as printf's "%.*g" writes them (to_chars with a precision
// is defined as that, in the "C" locale, without printf's cost).
std::string real_text(double v, int digits) {
  if (std::isnan(v)) return "NaN";
  if (std::isinf(v)) return v > 0 ? "INF" : "-INF";
  char buf[64];
  const std::to_chars_result end =
      std::to_chars(buf, buf + sizeof buf, v, std::chars_format::general, digits);
  return std::string(buf, end.ptr);
}

void utf8_append(unsigned code, std::string *out) {
  if (code < 0x80) {
    out->push_back(static_cast<char>(code));
  } else if (code < 0x800) {
    out->push_back(static_cast<char>(0xc0 | (code >> 6)));
    out->push_back(static_cast<char>(0x80 | (code & 0x3f)));
  } else {
    out->push_back(static_cast<char>(0xe0 | (code >> 12)));
    out->push_back(static_cast<char>(0x80 | ((code >> 6) & 0x3f)));
    out->push_back(static_cast<char>(0x80 | (code & 0x3f)));
  }
}

std::string path_namespace(const CMPIObjectPath *path, const PathContext &where) {
  std::string ns = cli::take_text(CMGetNameSpace(path, nullptr));
  return ns.empty() ? where.name_space : ns;
}

const char *key_value_type(CMPIType type) {
  if (type == CMPI_boolean) return "boolean";
  if ((type & (CMPI_UINT | CMPI_SINT | CMPI_REAL)) != 0 && type != CMPI_boolean &&
      type != CMPI_char16) {
    return "numeric";
  }
  return "string";
}

void write_reference(XmlOut &out, const CMPIObjectPath *path, const PathContext &where) {
  out.open("VALUE.REFERENCE");
  write_instance_path(out, path, where);
  out.close("VALUE.REFERENCE");
}

std::string instance_text(const CMPIInstance *inst, const Json::Value &props,
                          const PathContext &where) {
  XmlOut inner;
  write_instance(inner, inst, props, PropertyFilter(), where);
  return inner.str();
}

const Json::Value &member(const Json::Value &object, const char *name) {
  static const Json::Value null_value;
  if (!object.isObject()) return null_value;
  const Json::Value *found = object.find(name, name + std::strlen(name));
  return found != nullptr ? *found : null_value;
}

void write_property(XmlOut &out, const std::string &name, const CMPIData &data,
                    const Json::Value &wire, const PathContext &where, const std::string &cls) {
  const bool wire_null = !wire.isNull() && cli::wire_value(wire).is_null;
  const bool is_null = (data.state & CMPI_nullValue) != 0 || wire_null;
  const CMPIType type = data.type;
  if ((type & CMPI_ARRAY) != 0) {
    const CMPIType element = static_cast<CMPIType>(type & ~CMPI_ARRAY);
    if (element == CMPI_ref) {
      CIM_WARNING("property %s of %s: an array of references has no CIM-XML property form and "
                  "is left out", log_name(name).c_str(), log_name(cls).c_str());
      return;
    }
    const char *type_name = type_name_of(element == CMPI_instance ? CMPI_string : element);
    out.open("PROPERTY.ARRAY", {{"NAME", name}, {"TYPE", type_name}});
    // The decoded array cannot tell empty from null; the frame can.
    const bool empty = !wire.isNull() && cli::wire_value(wire).empty_array;
    if (empty) {
      out.empty("VALUE.ARRAY");
    } else if (!is_null && data.value.array != nullptr) {
      out.open("VALUE.ARRAY");
      const CMPICount n = CMGetArrayCount(data.value.array, nullptr);
      for (CMPICount i = 0; i < n; ++i) {
        const CMPIData item = CMGetArrayElementAt(data.value.array, i, nullptr);
        cli::OwnedData owned(item);  // a copy, released here
        std::string text;
        if ((item.state & CMPI_nullValue) != 0) {
          out.raw("<VALUE.NULL></VALUE.NULL>");
        } else if (element == CMPI_instance) {
          out.leaf("VALUE", instance_text(item.value.inst, Json::Value(), where));
        } else if (scalar_text(element, item.value, &text)) {
          out.leaf("VALUE", text);
        }
      }
      out.close("VALUE.ARRAY");
    }
    out.close("PROPERTY.ARRAY");
    return;
  }
  if (type == CMPI_ref) {
    out.open("PROPERTY.REFERENCE", {{"NAME", name}});
    if (!is_null && data.value.ref != nullptr) write_reference(out, data.value.ref, where);
    out.close("PROPERTY.REFERENCE");
    return;
  }
  if (type == CMPI_instance) {
    out.open("PROPERTY", {{"NAME", name}, {"TYPE", "string"}, {"EmbeddedObject", "instance"}});
    if (!is_null && data.value.inst != nullptr) {
      out.leaf("VALUE",
               instance_text(data.value.inst, member(member(wire, "CMPIInstance"), "InstanceProps"),
                             where));
    }
    out.close("PROPERTY");
    return;
  }
  const char *type_name = type_name_of(type);
  if (*type_name == '\0') return;
  out.open("PROPERTY", {{"NAME", name}, {"TYPE", type_name}});
  std::string text;
  if (!is_null && scalar_text(type, data.value, &text)) out.leaf("VALUE", text);
  out.close("PROPERTY");
}

}  // namespace

std::string cim_type_name(CMPIType type) { return type_name_of(type); }

CMPIType cmpi_type(const std::string &name) {
  for (const TypeName &t : kTypes) {
    if (strcasecmp(t.name, name.c_str()) == 0) return t.type;
  }
  if (strcasecmp(name.c_str(), "ref") == 0) return CMPI_ref;
  return 0;
}

bool scalar_text(CMPIType type, const CMPIValue &v, std::string *text) {
  switch (type) {
    case CMPI_boolean: *text = v.boolean ? "TRUE" : "FALSE"; return true;
    case CMPI_char16: text->clear(); utf8_append(v.char16, text); return true;
    case CMPI_real32: *text = real_text(v.real32, 9); return true;
    case CMPI_real64: *text = real_text(v.real64, 17); return true;
    case CMPI_uint8: *text = std::to_string(v.uint8); return true;
    case CMPI_uint16: *text = std::to_string(v.uint16); return true;
    case CMPI_uint32: *text = std::to_string(v.uint32); return true;
    case CMPI_uint64: *text = std::to_string(static_cast<unsigned long long>(v.uint64)); return true;
    case CMPI_sint8: *text = std::to_string(v.sint8); return true;
    case CMPI_sint16: *text = std::to_string(v.sint16); return true;
    case CMPI_sint32: *text = std::to_string(v.sint32); return true;
    case CMPI_sint64: *text = std::to_string(static_cast<long long>(v.sint64)); return true;
    case CMPI_dateTime:
      if (v.dateTime == nullptr) return false;
      *text = cli::take_text(CMGetStringFormat(v.dateTime, nullptr));
      return true;
    default:
      break;
  }
  if (is_text_type(type)) {
    if (type == CMPI_chars || type == CMPI_charsptr) {
      *text = v.chars != nullptr ? v.chars : "";
    } else {
      *text = cli::text_of(v.string);
    }
    return true;
  }
  return false;
}

bool PropertyFilter::keeps(const std::string &name) const {
  return all || names.count(wire::lower_name(name)) != 0;
}

void write_local_namespace(XmlOut &out, const std::string &name_space) {
  out.open("LOCALNAMESPACEPATH");
  std::size_t start = 0;
  while (start <= name_space.size()) {
    const std::size_t slash = name_space.find('/', start);
    const std::size_t end = slash == std::string::npos ? name_space.size() : slash;
    if (end > start) out.empty("NAMESPACE", {{"NAME", std::string_view(name_space).substr(start, end - start)}});
    if (slash == std::string::npos) break;
    start = slash + 1;
  }
  out.close("LOCALNAMESPACEPATH");
}

void write_instance_name(XmlOut &out, const CMPIObjectPath *path, const PathContext &where) {
  const std::string cls = cli::take_text(CMGetClassName(path, nullptr));
  out.open("INSTANCENAME", {{"CLASSNAME", cls}});
  const CMPICount n = CMGetKeyCount(path, nullptr);
  for (CMPICount i = 0; i < n; ++i) {
    CMPIString *name = nullptr;
    cli::OwnedData key(CMGetKeyAt(path, i, &name, nullptr));
    const std::string key_name = cli::take_text(name);
    out.open("KEYBINDING", {{"NAME", key_name}});
    const CMPIValue value = key.value();
    std::string text;
    if (key.type() == CMPI_ref) {
      if (value.ref != nullptr) write_reference(out, value.ref, where);
    } else if (!key.is_null() && scalar_text(key.type(), value, &text)) {
      if (key.type() == CMPI_boolean) text = value.boolean ? "true" : "false";
      out.leaf("KEYVALUE", text, {{"VALUETYPE", key_value_type(key.type())}});
    } else {
      out.leaf("KEYVALUE", "", {{"VALUETYPE", "string"}});
    }
    out.close("KEYBINDING");
  }
  out.close("INSTANCENAME");
}

void write_instance_path(XmlOut &out, const CMPIObjectPath *path, const PathContext &where) {
  out.open("INSTANCEPATH");
  out.open("NAMESPACEPATH");
  out.leaf("HOST", where.host);
  write_local_namespace(out, path_namespace(path, where));
  out.close("NAMESPACEPATH");
  write_instance_name(out, path, where);
  out.close("INSTANCEPATH");
}

void write_instance(XmlOut &out, const CMPIInstance *inst, const Json::Value &props,
                    const PropertyFilter &filter, const PathContext &where) {
  std::string cls;
  {
    cli::PathPtr path(CMGetObjectPath(inst, nullptr));
    if (path) cls = cli::take_text(CMGetClassName(path.get(), nullptr));
  }
  out.open("INSTANCE", {{"CLASSNAME", cls}});
  // Most frames mark no property at all (frame_marks.h): then no look-up per property.
  static const Json::Value unmarked;
  const bool marked = props.isObject() && !props.empty();
  const CMPICount n = CMGetPropertyCount(inst, nullptr);
  for (CMPICount i = 0; i < n; ++i) {
    CMPIString *name = nullptr;
    const CMPIData data = CMGetPropertyAt(inst, i, &name, nullptr);
    cli::OwnedData owned(data);
    const std::string prop = cli::take_text(name);
    if (!filter.keeps(prop)) continue;
    write_property(out, prop, data, marked ? member(props, prop.c_str()) : unmarked, where, cls);
  }
  out.close("INSTANCE");
}

void write_value(XmlOut &out, const CMPIData &data, const PathContext &where) {
  if ((data.state & CMPI_nullValue) != 0) return;
  const CMPIType type = data.type;
  std::string text;
  if ((type & CMPI_ARRAY) != 0) {
    if (data.value.array == nullptr) return;
    const CMPIType element = static_cast<CMPIType>(type & ~CMPI_ARRAY);
    const bool refs = element == CMPI_ref;
    out.open(refs ? "VALUE.REFARRAY" : "VALUE.ARRAY");
    const CMPICount n = CMGetArrayCount(data.value.array, nullptr);
    for (CMPICount i = 0; i < n; ++i) {
      const CMPIData item = CMGetArrayElementAt(data.value.array, i, nullptr);
      cli::OwnedData owned(item);  // a copy, released here
      if ((item.state & CMPI_nullValue) != 0) {
        out.raw("<VALUE.NULL></VALUE.NULL>");
      } else if (refs) {
        if (item.value.ref != nullptr) write_reference(out, item.value.ref, where);
      } else if (element == CMPI_instance) {
        out.leaf("VALUE", instance_text(item.value.inst, Json::Value(), where));
      } else if (scalar_text(element, item.value, &text)) {
        out.leaf("VALUE", text);
      }
    }
    out.close(refs ? "VALUE.REFARRAY" : "VALUE.ARRAY");
    return;
  }
  if (type == CMPI_ref) {
    if (data.value.ref != nullptr) write_reference(out, data.value.ref, where);
    return;
  }
  if (type == CMPI_instance) {
    if (data.value.inst != nullptr) {
      out.leaf("VALUE", instance_text(data.value.inst, Json::Value(), where));
    }
    return;
  }
  if (scalar_text(type, data.value, &text)) out.leaf("VALUE", text);
}

}  // namespace wbem
