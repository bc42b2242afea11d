// class_defaults.cpp - reading and applying MOF default values.
#include "class_defaults.h"

#include <cmpiinterface.h>
#include <cmpimacs.h>

#include <algorithm>
#include <cstdint>
#include <limits>
#include <memory>

#include "schema_rows.h"

namespace hostd {
namespace {

bool fits_integer(const Json::Value &v, long double low, long double high) {
  if (!v.isNumeric()) return false;
  if (v.isInt64()) return v.asInt64() >= low && v.asInt64() <= high;
  if (v.isUInt64()) return static_cast<long double>(v.asUInt64()) <= high;
  return false;
}

// One scalar of type base from v into *value, *as its type; false when it does not fit. A
// string or date-time made here is released by the caller after the set (release_scalar).
bool scalar_value(CMPIType base, const Json::Value &v, CMPIValue *value, CMPIType *as) {
  *as = base;
  switch (base) {
    case CMPI_boolean:
      if (!v.isBool()) return false;
      value->boolean = v.asBool() ? 1 : 0;
      return true;
    case CMPI_char16:
      if (!v.isString() || v.asString().size() != 1) return false;
      value->char16 = static_cast<CMPIChar16>(static_cast<unsigned char>(v.asString()[0]));
      return true;
    case CMPI_real32:
      if (!v.isNumeric()) return false;
      value->real32 = static_cast<CMPIReal32>(v.asDouble());
      return true;
    case CMPI_real64:
      if (!v.isNumeric()) return false;
      value->real64 = v.asDouble();
      return true;
    case CMPI_uint8:
      if (!fits_integer(v, 0, UINT8_MAX)) return false;
      value->uint8 = static_cast<CMPIUint8>(v.asUInt64());
      return true;
    case CMPI_uint16:
      if (!fits_integer(v, 0, UINT16_MAX)) return false;
      value->uint16 = static_cast<CMPIUint16>(v.asUInt64());
      return true;
    case CMPI_uint32:
      if (!fits_integer(v, 0, UINT32_MAX)) return false;
      value->uint32 = static_cast<CMPIUint32>(v.asUInt64());
      return true;
    case CMPI_uint64:
      if (!fits_integer(v, 0, static_cast<long double>(UINT64_MAX))) return false;
      value->uint64 = v.asUInt64();
      return true;
    case CMPI_sint8:
      if (!fits_integer(v, INT8_MIN, INT8_MAX)) return false;
      value->sint8 = static_cast<CMPISint8>(v.asInt64());
      return true;
    case CMPI_sint16:
      if (!fits_integer(v, INT16_MIN, INT16_MAX)) return false;
      value->sint16 = static_cast<CMPISint16>(v.asInt64());
      return true;
    case CMPI_sint32:
      if (!fits_integer(v, INT32_MIN, INT32_MAX)) return false;
      value->sint32 = static_cast<CMPISint32>(v.asInt64());
      return true;
    case CMPI_sint64:
      if (!fits_integer(v, static_cast<long double>(INT64_MIN),
                        static_cast<long double>(INT64_MAX))) {
        return false;
      }
      value->sint64 = v.asInt64();
      return true;
    case CMPI_string:
      if (!v.isString()) return false;
      value->string = CreateString(v.asCString(), nullptr);
      return value->string != nullptr;
    case CMPI_dateTime:
      if (!v.isString()) return false;
      value->dateTime = makeNewCMPIDateTimeFromChars(v.asCString(), nullptr);
      return value->dateTime != nullptr;
    default:
      return false;
  }
}

void release_scalar(CMPIType type, CMPIValue *value) {
  if (type == CMPI_string || type == CMPI_dateTime) cmpiReleaseCMPIValue(type, value);
}

bool set_default(CMPIInstance *inst, const PropertyDefault &d) {
  const CMPIType base = d.type & ~CMPI_ARRAY;
  if ((d.type & CMPI_ARRAY) == 0) {
    CMPIValue value;
    CMPIType as;
    if (!scalar_value(base, d.value, &value, &as)) return false;
    const CMPIStatus st = CMSetProperty(inst, d.property.c_str(), &value, as);
    release_scalar(as, &value);
    return st.rc == CMPI_RC_OK;
  }
  if (!d.value.isArray()) return false;
  CMPIArray *array = makeNewCMPIArray(d.value.size(), base, nullptr);
  if (array == nullptr) return false;
  bool ok = true;
  for (Json::ArrayIndex i = 0; ok && i < d.value.size(); ++i) {
    CMPIValue value;
    CMPIType as;
    ok = scalar_value(base, d.value[i], &value, &as);
    if (ok) {
      ok = CMSetArrayElementAt(array, i, &value, as).rc == CMPI_RC_OK;
      release_scalar(as, &value);
    }
  }
  if (ok) {
    CMPIValue whole;
    whole.array = array;
    ok = CMSetProperty(inst, d.property.c_str(), &whole, d.type).rc == CMPI_RC_OK;
  }
  CMRelease(array);
  return ok;
}

}  // namespace

std::vector<PropertyDefault> load_class_defaults(const std::string &path,
                                                 const std::string &class_name) {
  std::vector<PropertyDefault> defaults;
  wire::SchemaDatabase db;
  std::string why;
  if (!db.open(path, &why)) return defaults;
  wire::SchemaQuery rows;
  if (!rows.prepare(db.get(),
                    "SELECT PropertyName, DataType, DefaultValue FROM Tbl_ClassProperty "
                    "WHERE ClassName = ?1 COLLATE NOCASE ORDER BY Position")) {
    return defaults;  // a database without the DefaultValue column
  }
  Json::CharReaderBuilder builder;
  std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
  for (const std::string &cls : wire::superclass_chain(db.get(), class_name)) {
    rows.bind(cls);
    while (rows.step()) {
      const std::string name = rows.text(0);
      // A redeclared property replaces what it inherits, default or not.
      const std::string key = wire::lower_name(name);
      defaults.erase(std::remove_if(defaults.begin(), defaults.end(),
                                    [&](const PropertyDefault &d) {
                                      return wire::lower_name(d.property) == key;
                                    }),
                     defaults.end());
      if (rows.is_null(2)) continue;
      const std::string text = rows.text(2);
      PropertyDefault d;
      d.property = name;
      d.type = static_cast<CMPIType>(rows.integer(1));
      std::string errors;
      if (!reader->parse(text.data(), text.data() + text.size(), &d.value, &errors)) continue;
      if (d.value.isNull()) continue;
      defaults.push_back(std::move(d));
    }
  }
  return defaults;
}

int apply_defaults(CMPIInstance *inst, const std::vector<PropertyDefault> &defaults) {
  int set = 0;
  for (const PropertyDefault &d : defaults) {
    if (set_default(inst, d)) ++set;
  }
  return set;
}

}  // namespace hostd
