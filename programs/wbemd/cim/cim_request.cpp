// cim_request.cpp - the request's envelope, headers and parameters.
#include "cim_request.h"

#include <strings.h>

#include <cerrno>
#include <cstdlib>
#include <limits>

#include "schema_rows.h"

namespace wbem {
namespace {

[[noreturn]] void not_valid(const std::string &why) {
  throw ProtocolError(400, "request-not-valid", why);
}

[[noreturn]] void bad_param(const std::string &why) {
  throw OperationError(CMPI_RC_ERR_INVALID_PARAMETER, why);
}

const XmlElement &only_child(const XmlElement &e, const char *name) {
  const XmlElement *c = e.child(name);
  if (c == nullptr) not_valid(e.name + " has no " + name);
  return *c;
}

std::string trim(const std::string &text) {
  const auto first = text.find_first_not_of(" \t\r\n");
  if (first == std::string::npos) return "";
  const auto last = text.find_last_not_of(" \t\r\n");
  return text.substr(first, last - first + 1);
}

std::string trim_slashes(std::string text) {
  while (!text.empty() && text.front() == '/') text.erase(0, 1);
  while (!text.empty() && text.back() == '/') text.pop_back();
  return text;
}

bool same_name(const std::string &a, const std::string &b) {
  return strcasecmp(a.c_str(), b.c_str()) == 0;
}

// A version attribute: present, with the major version wanted ("2.0", "2.1" for major '2').
void check_version(const std::string *value, char major, const char *what, const char *cim_error) {
  if (value == nullptr || value->size() < 2 || (*value)[0] != major || (*value)[1] != '.') {
    throw ProtocolError(400, cim_error,
                        std::string("unsupported ") + what + " " + (value ? *value : "(none)"));
  }
}

// The character of a char16 text: exactly one character of the Basic Multilingual Plane.
bool char16_of(const std::string &text, uint64_t *code) {
  const auto *s = reinterpret_cast<const unsigned char *>(text.data());
  const std::size_t n = text.size();
  if (n == 1 && s[0] < 0x80) {
    *code = s[0];
    return true;
  }
  if (n == 2 && (s[0] & 0xe0) == 0xc0 && (s[1] & 0xc0) == 0x80) {
    *code = ((s[0] & 0x1fu) << 6) | (s[1] & 0x3fu);
    return true;
  }
  if (n == 3 && (s[0] & 0xf0) == 0xe0 && (s[1] & 0xc0) == 0x80 && (s[2] & 0xc0) == 0x80) {
    *code = ((s[0] & 0x0fu) << 12) | ((s[1] & 0x3fu) << 6) | (s[2] & 0x3fu);
    return true;
  }
  return false;
}

bool unsigned_of(const std::string &text, uint64_t max, uint64_t *out) {
  if (text.empty() || text.find_first_not_of("0123456789") != std::string::npos) return false;
  errno = 0;
  const unsigned long long v = std::strtoull(text.c_str(), nullptr, 10);
  if (errno == ERANGE || v > max) return false;
  *out = v;
  return true;
}

bool signed_of(const std::string &text, int64_t min, int64_t max, int64_t *out) {
  const std::size_t digits = (!text.empty() && (text[0] == '-' || text[0] == '+')) ? 1 : 0;
  if (text.size() == digits || text.find_first_not_of("0123456789", digits) != std::string::npos) {
    return false;
  }
  errno = 0;
  const long long v = std::strtoll(text.c_str(), nullptr, 10);
  if (errno == ERANGE || v < min || v > max) return false;
  *out = v;
  return true;
}

bool real_of(const std::string &text, double *out) {
  if (text == "INF" || text == "+INF") {
    *out = std::numeric_limits<double>::infinity();
    return true;
  }
  if (text == "-INF") {
    *out = -std::numeric_limits<double>::infinity();
    return true;
  }
  if (text == "NaN") {
    *out = std::numeric_limits<double>::quiet_NaN();
    return true;
  }
  if (text.empty()) return false;
  char *end = nullptr;
  errno = 0;
  *out = std::strtod(text.c_str(), &end);
  return end != nullptr && *end == '\0' && errno != ERANGE;
}

// One scalar of type from text; false when the text is not a value of the type.
bool scalar_of(CMPIType type, const std::string &raw, cli::ScalarValue *v) {
  const std::string text = (type == CMPI_string) ? raw : trim(raw);
  switch (type) {
    case CMPI_boolean:
      if (same_name(text, "true")) v->boolean_value = true;
      else if (same_name(text, "false")) v->boolean_value = false;
      else return false;
      return true;
    case CMPI_char16: return char16_of(raw, &v->unsigned_value);
    case CMPI_uint8: return unsigned_of(text, 0xff, &v->unsigned_value);
    case CMPI_uint16: return unsigned_of(text, 0xffff, &v->unsigned_value);
    case CMPI_uint32: return unsigned_of(text, 0xffffffffu, &v->unsigned_value);
    case CMPI_uint64: return unsigned_of(text, std::numeric_limits<uint64_t>::max(), &v->unsigned_value);
    case CMPI_sint8: return signed_of(text, -128, 127, &v->signed_value);
    case CMPI_sint16: return signed_of(text, -32768, 32767, &v->signed_value);
    case CMPI_sint32: return signed_of(text, std::numeric_limits<int32_t>::min(),
                                       std::numeric_limits<int32_t>::max(), &v->signed_value);
    case CMPI_sint64: return signed_of(text, std::numeric_limits<int64_t>::min(),
                                       std::numeric_limits<int64_t>::max(), &v->signed_value);
    case CMPI_real32:
    case CMPI_real64: return real_of(text, &v->real_value);
    case CMPI_dateTime:
    case CMPI_string: v->text = text; return true;
    default: return false;
  }
}

}  // namespace

bool percent_decode(const std::string &text, std::string *out) {
  out->clear();
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '%') {
      out->push_back(text[i]);
      continue;
    }
    if (i + 2 >= text.size()) return false;
    const std::string hex = text.substr(i + 1, 2);
    if (hex.size() != 2 || hex.find_first_not_of("0123456789abcdefABCDEF") != std::string::npos) {
      return false;
    }
    out->push_back(static_cast<char>(std::strtoul(hex.c_str(), nullptr, 16)));
    i += 2;
  }
  return true;
}

std::string read_namespace(const XmlElement &e) {
  std::string ns;
  for (const auto &c : e.children) {
    if (c->name != "NAMESPACE") continue;
    const std::string *name = c->attribute("NAME");
    if (name == nullptr || name->empty()) not_valid("NAMESPACE without NAME");
    if (!ns.empty()) ns += '/';
    ns += *name;
  }
  if (ns.empty()) not_valid(e.name + " names no namespace");
  return ns;
}

cli::ParsedPath read_reference(const XmlElement &e, const std::string &name_space) {
  for (const auto &c : e.children) {
    if (c->name == "INSTANCEPATH") {
      const XmlElement &nsp = only_child(*c, "NAMESPACEPATH");
      const std::string ns = read_namespace(only_child(nsp, "LOCALNAMESPACEPATH"));
      return read_instance_name(only_child(*c, "INSTANCENAME"), ns);
    }
    if (c->name == "LOCALINSTANCEPATH") {
      const std::string ns = read_namespace(only_child(*c, "LOCALNAMESPACEPATH"));
      return read_instance_name(only_child(*c, "INSTANCENAME"), ns);
    }
    if (c->name == "INSTANCENAME") return read_instance_name(*c, name_space);
  }
  bad_param("a VALUE.REFERENCE must hold an instance path");
}

cli::ParsedPath read_instance_name(const XmlElement &e, const std::string &name_space) {
  cli::ParsedPath path;
  path.name_space = name_space;
  const std::string *cls = e.attribute("CLASSNAME");
  if (cls == nullptr || cls->empty()) not_valid("INSTANCENAME without CLASSNAME");
  path.class_name = *cls;
  for (const auto &c : e.children) {
    if (c->name != "KEYBINDING") continue;
    cli::KeyBinding key;
    const std::string *name = c->attribute("NAME");
    if (name == nullptr || name->empty()) not_valid("KEYBINDING without NAME");
    key.name = *name;
    if (const XmlElement *ref = c->child("VALUE.REFERENCE")) {
      key.kind = cli::KeyBinding::Kind::kReference;
      key.reference = std::make_shared<cli::ParsedPath>(read_reference(*ref, name_space));
    } else if (const XmlElement *kv = c->child("KEYVALUE")) {
      const std::string *vt = kv->attribute("VALUETYPE");
      const std::string type = vt != nullptr ? *vt : "string";
      key.text = kv->text;
      if (type == "string") {
        key.kind = cli::KeyBinding::Kind::kString;
      } else if (type == "boolean") {
        key.kind = cli::KeyBinding::Kind::kBoolean;
        key.text = trim(key.text);
        if (!same_name(key.text, "true") && !same_name(key.text, "false")) {
          bad_param("key " + key.name + ": '" + key.text + "' is not a boolean");
        }
      } else if (type == "numeric") {
        key.text = trim(key.text);
        cli::ScalarValue v;
        if (signed_of(key.text, std::numeric_limits<int64_t>::min(),
                      std::numeric_limits<int64_t>::max(), &v.signed_value) ||
            unsigned_of(key.text, std::numeric_limits<uint64_t>::max(), &v.unsigned_value)) {
          key.kind = cli::KeyBinding::Kind::kInteger;
        } else if (real_of(key.text, &v.real_value)) {
          key.kind = cli::KeyBinding::Kind::kReal;
        } else {
          bad_param("key " + key.name + ": '" + key.text + "' is not a number");
        }
      } else {
        not_valid("KEYVALUE with VALUETYPE " + type);
      }
    } else {
      not_valid("KEYBINDING " + key.name + " without a value");
    }
    path.keys.push_back(std::move(key));
  }
  return path;
}

cli::ParsedValue read_typed_value(const std::string &name, CMPIType type, const XmlElement *value,
                                  const std::string &name_space) {
  cli::ParsedValue v;
  v.name = name;
  v.type = type;
  if (value == nullptr) {
    v.is_null = true;
    return v;
  }
  const CMPIType element = static_cast<CMPIType>(type & ~CMPI_ARRAY);
  if (element == CMPI_instance) {
    throw OperationError(CMPI_RC_ERR_NOT_SUPPORTED,
                         name + ": embedded instances cannot be sent to the provider host");
  }
  auto one = [&](const XmlElement &e) {
    cli::ScalarValue s;
    if (element == CMPI_ref) {
      if (e.name != "VALUE.REFERENCE") bad_param(name + ": a reference needs VALUE.REFERENCE");
      s.reference = std::make_shared<cli::ParsedPath>(read_reference(e, name_space));
    } else {
      if (e.name != "VALUE") bad_param(name + ": " + e.name + " where a VALUE belongs");
      if (!scalar_of(element, e.text, &s)) {
        bad_param(name + ": '" + e.text + "' is not a " + cim_type_name(element));
      }
    }
    return s;
  };
  if ((type & CMPI_ARRAY) != 0) {
    if (value->name != "VALUE.ARRAY" && value->name != "VALUE.REFARRAY") {
      bad_param(name + ": an array needs VALUE.ARRAY");
    }
    for (const auto &c : value->children) {
      if (c->name == "VALUE.NULL") bad_param(name + ": null array elements cannot be sent");
      v.items.push_back(one(*c));
    }
    return v;
  }
  v.items.push_back(one(*value));
  return v;
}

std::vector<cli::ParsedValue> read_instance_values(const XmlElement &instance,
                                                   const std::string &name_space) {
  std::vector<cli::ParsedValue> values;
  for (const auto &c : instance.children) {
    const std::string *name = c->attribute("NAME");
    if (c->name != "PROPERTY" && c->name != "PROPERTY.ARRAY" && c->name != "PROPERTY.REFERENCE") {
      continue;
    }
    if (name == nullptr || name->empty()) not_valid(c->name + " without NAME");
    CMPIType type = CMPI_ref;
    const XmlElement *value = nullptr;
    if (c->name == "PROPERTY.REFERENCE") {
      value = c->child("VALUE.REFERENCE");
    } else {
      const std::string *type_name = c->attribute("TYPE");
      type = type_name != nullptr ? cmpi_type(*type_name) : CMPI_string;
      if (type == 0 || type == CMPI_ref || type == CMPI_instance) {
        bad_param("property " + *name + " has the unknown TYPE " + (type_name ? *type_name : ""));
      }
      const std::string *embedded = c->attribute("EmbeddedObject");
      if (embedded == nullptr) embedded = c->attribute("EMBEDDEDOBJECT");
      if (embedded != nullptr) type = CMPI_instance;
      if (c->name == "PROPERTY.ARRAY") {
        type = static_cast<CMPIType>(type | CMPI_ARRAY);
        value = c->child("VALUE.ARRAY");
      } else {
        value = c->child("VALUE");
      }
    }
    values.push_back(read_typed_value(*name, type, value, name_space));
  }
  return values;
}

CimRequest decode_request(const XmlElement &root, const std::string &cim_method,
                          const std::string &cim_object) {
  if (root.name != "CIM") not_valid("the document is not a CIM element but " + root.name);
  check_version(root.attribute("CIMVERSION"), '2', "CIM version", "unsupported-cim-version");
  check_version(root.attribute("DTDVERSION"), '2', "DTD version", "unsupported-dtd-version");
  const XmlElement &message = only_child(root, "MESSAGE");
  check_version(message.attribute("PROTOCOLVERSION"), '1', "protocol version",
                "unsupported-protocol-version");
  CimRequest r;
  if (const std::string *id = message.attribute("ID")) r.message_id = *id;
  if (r.message_id.empty()) not_valid("MESSAGE without ID");
  if (message.child("MULTIREQ") != nullptr) {
    throw ProtocolError(501, "multiple-requests-unsupported", "multiple requests are not served");
  }
  const XmlElement &simple = only_child(message, "SIMPLEREQ");
  const XmlElement *call = simple.child("IMETHODCALL");
  r.intrinsic = call != nullptr;
  if (call == nullptr) call = simple.child("METHODCALL");
  if (call == nullptr) not_valid("SIMPLEREQ holds neither IMETHODCALL nor METHODCALL");
  const std::string *name = call->attribute("NAME");
  if (name == nullptr || name->empty()) not_valid(call->name + " without NAME");
  r.name = *name;

  std::string object;
  if (!percent_decode(cim_object, &object)) {
    throw ProtocolError(400, "header-mismatch", "the CIMObject header is not %-encoded text");
  }
  object = trim(object);
  if (cim_method != r.name) {
    throw ProtocolError(400, "header-mismatch",
                        "the CIMMethod header '" + cim_method + "' does not name " + r.name);
  }
  if (r.intrinsic) {
    r.name_space = read_namespace(only_child(*call, "LOCALNAMESPACEPATH"));
    for (const auto &c : call->children) {
      if (c->name != "IPARAMVALUE") continue;
      const std::string *pname = c->attribute("NAME");
      if (pname == nullptr || pname->empty()) not_valid("IPARAMVALUE without NAME");
      r.params[wire::lower_name(*pname)] = c.get();
    }
    if (!same_name(trim_slashes(object), r.name_space)) {
      throw ProtocolError(400, "header-mismatch",
                          "the CIMObject header '" + object + "' does not name " + r.name_space);
    }
    return r;
  }
  if (const XmlElement *lip = call->child("LOCALINSTANCEPATH")) {
    r.name_space = read_namespace(only_child(*lip, "LOCALNAMESPACEPATH"));
    r.target = read_instance_name(only_child(*lip, "INSTANCENAME"), r.name_space);
  } else if (const XmlElement *lcp = call->child("LOCALCLASSPATH")) {
    r.name_space = read_namespace(only_child(*lcp, "LOCALNAMESPACEPATH"));
    const std::string *cls = only_child(*lcp, "CLASSNAME").attribute("NAME");
    if (cls == nullptr || cls->empty()) not_valid("CLASSNAME without NAME");
    r.target.name_space = r.name_space;
    r.target.class_name = *cls;
  } else {
    not_valid("METHODCALL holds neither LOCALINSTANCEPATH nor LOCALCLASSPATH");
  }
  for (const auto &c : call->children) {
    if (c->name != "PARAMVALUE") continue;
    const std::string *pname = c->attribute("NAME");
    if (pname == nullptr || pname->empty()) not_valid("PARAMVALUE without NAME");
    r.method_params.push_back(c.get());
  }
  // CIMObject: "<namespace>:<class>[.<keys>]"; the keys are compared as the body's.
  const std::string expect = r.name_space + ":" + r.target.class_name;
  const std::string given = trim_slashes(object);
  if (given.size() < expect.size() || !same_name(given.substr(0, expect.size()), expect) ||
      (given.size() > expect.size() && given[expect.size()] != '.')) {
    throw ProtocolError(400, "header-mismatch",
                        "the CIMObject header '" + object + "' does not name " + expect);
  }
  return r;
}

bool has_param(const CimRequest &r, const char *name) {
  return r.params.count(wire::lower_name(name)) != 0;
}

const XmlElement &param(const CimRequest &r, const char *name) {
  const auto it = r.params.find(wire::lower_name(name));
  if (it == r.params.end()) bad_param(std::string("the parameter ") + name + " is missing");
  return *it->second;
}

bool param_bool(const CimRequest &r, const char *name, bool fallback) {
  if (!has_param(r, name)) return fallback;
  const XmlElement *value = param(r, name).child("VALUE");
  if (value == nullptr) return fallback;
  const std::string text = trim(value->text);
  if (same_name(text, "true")) return true;
  if (same_name(text, "false")) return false;
  bad_param(std::string(name) + ": '" + text + "' is not TRUE or FALSE");
}

std::string param_class(const CimRequest &r, const char *name, bool required) {
  if (!has_param(r, name)) {
    if (required) bad_param(std::string("the parameter ") + name + " is missing");
    return "";
  }
  const XmlElement *cls = param(r, name).child("CLASSNAME");
  if (cls == nullptr) {
    if (required) bad_param(std::string(name) + " holds no CLASSNAME");
    return "";
  }
  const std::string *n = cls->attribute("NAME");
  if (n == nullptr || n->empty()) not_valid("CLASSNAME without NAME");
  return *n;
}

std::string param_text(const CimRequest &r, const char *name, bool required) {
  if (!has_param(r, name)) {
    if (required) bad_param(std::string("the parameter ") + name + " is missing");
    return "";
  }
  const XmlElement *value = param(r, name).child("VALUE");
  if (value == nullptr) {
    if (required) bad_param(std::string(name) + " holds no VALUE");
    return "";
  }
  return trim(value->text);
}

PropertyFilter param_property_list(const CimRequest &r) {
  PropertyFilter filter;
  if (!has_param(r, "PropertyList")) return filter;
  const XmlElement *array = param(r, "PropertyList").child("VALUE.ARRAY");
  if (array == nullptr) return filter;  // no list (NULL): every property
  filter.all = false;
  for (const auto &c : array->children) {
    if (c->name == "VALUE") filter.names.insert(wire::lower_name(trim(c->text)));
  }
  return filter;
}

}  // namespace wbem
