// cmpi_build.cpp - making CMPI objects from the parsed command line.
#include "cmpi_build.h"

#include <strings.h>

#include <cstring>

#include "cli_error.h"

namespace cli {
namespace {

void check(CMPIStatus st, const std::string &what) {
  const CMPIrc rc = st.rc;
  CMPIString *msg = st.msg;
  std::string message = msg != nullptr ? text_of(msg) : std::string();
  if (msg != nullptr) CMRelease(msg);
  if (rc != CMPI_RC_OK) {
    throw CimError(rc, "cannot " + what + (message.empty() ? "" : ": " + message));
  }
}

// One CMPI value made from a parsed scalar, with the objects it points to.
class BuiltValue {
 public:
  BuiltValue(CMPIType type, const ScalarValue &scalar, const std::string &default_ns) {
    std::memset(&value_, 0, sizeof value_);
    type_ = type;
    switch (type) {
      case CMPI_boolean: value_.boolean = scalar.boolean_value ? 1 : 0; break;
      case CMPI_char16: value_.char16 = static_cast<CMPIChar16>(scalar.unsigned_value); break;
      case CMPI_uint8: value_.uint8 = static_cast<CMPIUint8>(scalar.unsigned_value); break;
      case CMPI_uint16: value_.uint16 = static_cast<CMPIUint16>(scalar.unsigned_value); break;
      case CMPI_uint32: value_.uint32 = static_cast<CMPIUint32>(scalar.unsigned_value); break;
      case CMPI_uint64: value_.uint64 = scalar.unsigned_value; break;
      case CMPI_sint8: value_.sint8 = static_cast<CMPISint8>(scalar.signed_value); break;
      case CMPI_sint16: value_.sint16 = static_cast<CMPISint16>(scalar.signed_value); break;
      case CMPI_sint32: value_.sint32 = static_cast<CMPISint32>(scalar.signed_value); break;
      case CMPI_sint64: value_.sint64 = scalar.signed_value; break;
      case CMPI_real32: value_.real32 = static_cast<CMPIReal32>(scalar.real_value); break;
      case CMPI_real64: value_.real64 = scalar.real_value; break;
      case CMPI_string:
        // Strings are handed over as CMPI_chars: the value pointer is the text itself.
        text_ = scalar.text;
        type_ = CMPI_chars;
        break;
      case CMPI_dateTime: {
        CMPIStatus st = {CMPI_RC_OK, nullptr};
        date_.reset(makeNewCMPIDateTimeFromChars(scalar.text.c_str(), &st));
        if (!date_) throw SyntaxError("'" + scalar.text + "' is not a valid date-time");
        value_.dateTime = date_.get();
        break;
      }
      case CMPI_ref:
        path_ = build_path(*scalar.reference, default_ns);
        value_.ref = path_.get();
        break;
      default:
        throw SyntaxError("values of " + type_name(type) + " cannot be written");
    }
  }

  // What a setter takes: the text itself for CMPI_chars, else the value.
  const CMPIValue *pointer() const {
    if (type_ == CMPI_chars) return reinterpret_cast<const CMPIValue *>(text_.c_str());
    return &value_;
  }
  CMPIType type() const { return type_; }

 private:
  CMPIValue value_;
  CMPIType type_ = CMPI_null;
  std::string text_;
  DateTimePtr date_;
  PathPtr path_;
};

// A whole parsed value (scalar, array or null) ready for a setter.
class BuiltDatum {
 public:
  BuiltDatum(const ParsedValue &parsed, const std::string &default_ns) {
    std::memset(&array_value_, 0, sizeof array_value_);
    const CMPIType element = parsed.element_type();
    if (parsed.is_null) {
      type_ = parsed.type;
      return;
    }
    if (!parsed.is_array()) {
      scalar_ = std::make_unique<BuiltValue>(element, parsed.items.at(0), default_ns);
      type_ = scalar_->type();
      return;
    }
    CMPIStatus st = {CMPI_RC_OK, nullptr};
    array_.reset(makeNewCMPIArray(static_cast<CMPICount>(parsed.items.size()), element, &st));
    if (!array_) check(st.rc != CMPI_RC_OK ? st : CMPIStatus{CMPI_RC_ERR_FAILED, nullptr},
                       "make an array");
    for (std::size_t i = 0; i < parsed.items.size(); ++i) {
      BuiltValue item(element, parsed.items[i], default_ns);
      check(CMSetArrayElementAt(array_.get(), static_cast<CMPICount>(i), item.pointer(),
                                item.type()),
            "set element " + std::to_string(i) + " of " + parsed.name);
    }
    array_value_.array = array_.get();
    type_ = parsed.type;
  }

  const CMPIValue *pointer() const {
    if (scalar_) return scalar_->pointer();
    if (array_) return &array_value_;
    return nullptr;  // a null value
  }
  CMPIType type() const { return type_; }

 private:
  CMPIType type_ = CMPI_null;
  std::unique_ptr<BuiltValue> scalar_;
  ArrayPtr array_;
  CMPIValue array_value_;
};

const char *kForbiddenKeyChars = ",=()";

std::string forbidden_char_reason(const std::string &text) {
  const std::size_t at = text.find_first_of(kForbiddenKeyChars);
  if (at == std::string::npos) return "";
  return std::string("contains '") + text[at] + "', which the request format cannot carry in a key";
}

}  // namespace

OwnedData::~OwnedData() {
  if ((data_.state & CMPI_nullValue) != 0) return;
  CMPIValue value = data_.value;
  cmpiReleaseCMPIValue(data_.type, &value);
}

std::string text_of(const CMPIString *string) {
  if (string == nullptr || string->hdl == nullptr) return "";
  return static_cast<const char *>(string->hdl);
}

std::string take_text(CMPIString *string) {
  std::string text = text_of(string);
  if (string != nullptr) CMRelease(string);
  return text;
}

PathPtr build_path(const ParsedPath &parsed, const std::string &default_ns) {
  const std::string &ns = parsed.name_space.empty() ? default_ns : parsed.name_space;
  CMPIStatus st = {CMPI_RC_OK, nullptr};
  PathPtr path(makeNewObjectPath(ns.c_str(), parsed.class_name.c_str(), &st));
  if (!path) {
    check(st.rc != CMPI_RC_OK ? st : CMPIStatus{CMPI_RC_ERR_FAILED, nullptr},
          "make the object path of " + parsed.class_name);
  }
  for (const KeyBinding &key : parsed.keys) {
    if (key.kind == KeyBinding::Kind::kReference) {
      PathPtr nested = build_path(*key.reference, ns);
      CMPIValue value;
      std::memset(&value, 0, sizeof value);
      value.ref = nested.get();
      check(CMAddKey(path.get(), key.name.c_str(), &value, CMPI_ref), "add key " + key.name);
    } else {
      check(CMAddKey(path.get(), key.name.c_str(), key.text.c_str(), CMPI_chars),
            "add key " + key.name);
    }
  }
  return path;
}

void set_property(CMPIInstance *inst, const ParsedValue &value, const std::string &default_ns) {
  BuiltDatum datum(value, default_ns);
  check(CMSetProperty(inst, value.name.c_str(), datum.pointer(), datum.type()),
        "set property " + value.name);
}

void add_argument(CMPIArgs *args, const ParsedValue &value, const std::string &default_ns) {
  BuiltDatum datum(value, default_ns);
  check(CMAddArg(args, value.name.c_str(), datum.pointer(), datum.type()),
        "add argument " + value.name);
}

void set_key_properties(CMPIInstance *inst, const ParsedPath &path,
                        const std::vector<ParsedValue> &values, const std::string &default_ns) {
  for (const KeyBinding &key : path.keys) {
    bool given = false;
    for (const ParsedValue &value : values) {
      if (strcasecmp(value.name.c_str(), key.name.c_str()) == 0) given = true;
    }
    if (given) continue;
    ParsedValue property;
    property.name = key.name;
    ScalarValue scalar;
    switch (key.kind) {
      case KeyBinding::Kind::kString:
        property.type = CMPI_string;
        scalar.text = key.text;
        break;
      case KeyBinding::Kind::kReference:
        property.type = CMPI_ref;
        scalar.reference = key.reference;
        break;
      case KeyBinding::Kind::kInteger:
        if (!key.text.empty() && key.text[0] == '-') {
          property.type = CMPI_sint64;
          scalar.signed_value = std::stoll(key.text);
        } else {
          property.type = CMPI_uint64;
          scalar.unsigned_value = std::stoull(key.text);
        }
        break;
      case KeyBinding::Kind::kReal:
        property.type = CMPI_real64;
        scalar.real_value = std::stod(key.text);
        break;
      case KeyBinding::Kind::kBoolean:
        property.type = CMPI_boolean;
        scalar.boolean_value = key.text == "true";
        break;
    }
    property.items.push_back(scalar);
    set_property(inst, property, path.name_space.empty() ? default_ns : path.name_space);
  }
}

std::string unsendable_path_reason(const ParsedPath &path) {
  bool has_reference = false;
  bool has_other = false;
  for (const KeyBinding &key : path.keys) {
    (key.kind == KeyBinding::Kind::kReference ? has_reference : has_other) = true;
  }
  if (has_reference && has_other) {
    return "it mixes reference keys with other keys, and the request format carries only the "
           "reference keys of such a path";
  }
  for (const KeyBinding &key : path.keys) {
    if (key.kind != KeyBinding::Kind::kReference) {
      std::string why = forbidden_char_reason(key.text);
      if (!why.empty()) return "the value of key '" + key.name + "' " + why;
      continue;
    }
    for (const KeyBinding &inner : key.reference->keys) {
      if (inner.kind == KeyBinding::Kind::kReference) {
        return "reference key '" + key.name +
               "' names a path with a reference key of its own, which the request format "
               "cannot carry";
      }
      std::string why = forbidden_char_reason(inner.text);
      if (!why.empty()) {
        return "the value of key '" + inner.name + "' in reference key '" + key.name + "' " + why;
      }
    }
  }
  return "";
}

std::string unsendable_value_reason(const ParsedValue &value) {
  if (value.is_null || value.is_array() || value.element_type() != CMPI_ref) return "";
  for (const ScalarValue &item : value.items) {
    std::string why = unsendable_path_reason(*item.reference);
    if (!why.empty()) return "the reference in '" + value.name + "' cannot be sent: " + why;
  }
  return "";
}

}  // namespace cli
