// class_defaults.cpp - reading and applying MOF default values.
#include "class_defaults.h"

#include <cmpiinterface.h>
#include <cmpimacs.h>
#include <sqlite3.h>

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <limits>
#include <memory>

namespace hostd {
namespace {

struct DatabaseClose {
  void operator()(sqlite3 *db) const { sqlite3_close(db); }
};
struct StatementFinalize {
  void operator()(sqlite3_stmt *stmt) const { sqlite3_finalize(stmt); }
};

std::string lower(std::string text) {
  for (char &c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return text;
}

std::string text_at(sqlite3_stmt *stmt, int column) {
  const unsigned char *text = sqlite3_column_text(stmt, column);
  return text != nullptr ? reinterpret_cast<const char *>(text) : "";
}

// The superclass chain of class_name, farthest first, the class itself last.
std::vector<std::string> chain_of(sqlite3 *db, const std::string &class_name) {
  std::vector<std::string> chain{class_name};
  sqlite3_stmt *raw = nullptr;
  if (sqlite3_prepare_v2(db, "SELECT SuperClass FROM Tbl_Class WHERE ClassName = ?1 COLLATE NOCASE",
                         -1, &raw, nullptr) != SQLITE_OK) {
    return chain;
  }
  std::unique_ptr<sqlite3_stmt, StatementFinalize> stmt(raw);
  for (int depth = 0; depth < 64; ++depth) {
    sqlite3_reset(raw);
    sqlite3_bind_text(raw, 1, chain.back().c_str(), -1, SQLITE_TRANSIENT);
    if (sqlite3_step(raw) != SQLITE_ROW) break;
    const std::string up = text_at(raw, 0);
    if (up.empty()) break;
    const bool seen = std::any_of(chain.begin(), chain.end(),
                                  [&](const std::string &c) { return lower(c) == lower(up); });
    if (seen) break;
    chain.push_back(up);
  }
  std::reverse(chain.begin(), chain.end());
  return chain;
}

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
  sqlite3 *raw = nullptr;
  if (sqlite3_open_v2(path.c_str(), &raw, SQLITE_OPEN_READONLY, nullptr) != SQLITE_OK) {
    sqlite3_close(raw);
    return defaults;
  }
  std::unique_ptr<sqlite3, DatabaseClose> db(raw);
  sqlite3_busy_timeout(raw, 2000);
  sqlite3_stmt *rows = nullptr;
  if (sqlite3_prepare_v2(raw,
                         "SELECT PropertyName, DataType, DefaultValue FROM Tbl_ClassProperty "
                         "WHERE ClassName = ?1 COLLATE NOCASE ORDER BY Position",
                         -1, &rows, nullptr) != SQLITE_OK) {
    return defaults;  // a database without the DefaultValue column
  }
  std::unique_ptr<sqlite3_stmt, StatementFinalize> stmt(rows);
  Json::CharReaderBuilder builder;
  std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
  for (const std::string &cls : chain_of(raw, class_name)) {
    sqlite3_reset(rows);
    sqlite3_bind_text(rows, 1, cls.c_str(), -1, SQLITE_TRANSIENT);
    while (sqlite3_step(rows) == SQLITE_ROW) {
      const std::string name = text_at(rows, 0);
      // A redeclared property replaces what it inherits, default or not.
      defaults.erase(std::remove_if(defaults.begin(), defaults.end(),
                                    [&](const PropertyDefault &d) {
                                      return lower(d.property) == lower(name);
                                    }),
                     defaults.end());
      if (sqlite3_column_type(rows, 2) == SQLITE_NULL) continue;
      const std::string text = text_at(rows, 2);
      PropertyDefault d;
      d.property = name;
      d.type = static_cast<CMPIType>(sqlite3_column_int(rows, 1));
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
