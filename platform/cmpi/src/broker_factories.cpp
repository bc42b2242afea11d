// broker_factories.cpp - the broker's factories and helpers (the CMPIBrokerEncFT table).
//
// Factories make real objects through the public factories and the internal constructors;
// messages are formatted with their substitutions, and log and trace lines go to dlog under
// module 231.
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "broker_tables.h"
#include "dlog.h"
#include "named_values.h"
#include "objects.h"
#include "value.h"

namespace {

using cmpi::make_status;
using cmpi::set_rc;

constexpr int kProviderLogModule = 231;
constexpr int kLogLevelError = 2;
constexpr int kLogLevelWarning = 3;
constexpr int kLogLevelInfo = 4;

// Message files are not read on this platform; openMessageFile hands out this marker so that
// the handle is never NULL.
const char kMessageFileMarker[] = "message file";

CMPIInstance *enc_new_instance(const CMPIBroker *, const CMPIObjectPath *op, CMPIStatus *rc) {
  return makeNewCMPIInstance(op, rc);
}

CMPIObjectPath *enc_new_object_path(const CMPIBroker *, const char *ns, const char *cn,
                                    CMPIStatus *rc) {
  return makeNewObjectPath(ns, cn, rc);
}

CMPIArgs *enc_new_args(const CMPIBroker *, CMPIStatus *rc) { return makeNewCMPIArgs(rc); }

CMPIString *enc_new_string(const CMPIBroker *, const char *data, CMPIStatus *rc) {
  return CreateString(data, rc);
}

CMPIArray *enc_new_array(const CMPIBroker *, CMPICount max, CMPIType type, CMPIStatus *rc) {
  return makeNewCMPIArray(max, type, rc);
}

CMPIDateTime *enc_new_date_time(const CMPIBroker *, CMPIStatus *rc) {
  return cmpi::new_datetime_now(rc);
}

CMPIDateTime *enc_new_date_time_from_binary(const CMPIBroker *, CMPIUint64 binTime,
                                            CMPIBoolean interval, CMPIStatus *rc) {
  return cmpi::new_datetime_from_binary(binTime, interval != 0, rc);
}

CMPIDateTime *enc_new_date_time_from_chars(const CMPIBroker *, const char *utcTime,
                                           CMPIStatus *rc) {
  return makeNewCMPIDateTimeFromChars(utcTime, rc);
}

// Queries are not evaluated on this platform.
CMPISelectExp *enc_new_select_exp(const CMPIBroker *, const char *, const char *,
                                  CMPIArray **projection, CMPIStatus *st) {
  if (projection != nullptr) {
    *projection = nullptr;
  }
  set_rc(st, CMPI_RC_ERR_NOT_SUPPORTED);
  return nullptr;
}

// This platform knows no class hierarchy: a path is of a class when it names that class.
CMPIBoolean enc_class_path_is_a(const CMPIBroker *, const CMPIObjectPath *op, const char *type,
                                CMPIStatus *rc) {
  if (op == nullptr || op->hdl == nullptr || op->ft == nullptr) {
    set_rc(rc, CMPI_RC_ERR_INVALID_HANDLE);
    return 0;
  }
  if (type == nullptr) {
    set_rc(rc, CMPI_RC_ERR_INVALID_PARAMETER);
    return 0;
  }
  CMPIStatus st = make_status(CMPI_RC_OK);
  CMPIString *class_name = op->ft->getClassName(op, &st);
  if (st.rc != CMPI_RC_OK) {
    if (class_name != nullptr) {
      class_name->ft->release(class_name);
    }
    set_rc(rc, st.rc);
    return 0;
  }
  bool is_a = false;
  if (class_name != nullptr) {
    const char *text = class_name->ft->getCharPtr(class_name, nullptr);
    is_a = cmpi::same_name(text, type);
    class_name->ft->release(class_name);
  }
  set_rc(rc, CMPI_RC_OK);
  return is_a ? 1 : 0;
}

// The kind name of an object made by this library, or nullptr with *rc set.
const char *kind_of(const void *object, CMPIStatus *rc) {
  if (object == nullptr) {
    set_rc(rc, CMPI_RC_ERR_INVALID_HANDLE);
    return nullptr;
  }
  const void *hdl = nullptr;
  std::memcpy(&hdl, object, sizeof(hdl));
  const char *name = cmpi::object_type_name(object);
  if (hdl == nullptr || name == nullptr) {
    set_rc(rc, CMPI_RC_ERR_INVALID_HANDLE);
    return nullptr;
  }
  return name;
}

CMPIString *enc_to_string(const CMPIBroker *, const void *object, CMPIStatus *rc) {
  const char *kind = kind_of(object, rc);
  if (kind == nullptr) {
    return nullptr;
  }
  if (std::strcmp(kind, "CMPIObjectPath") == 0) {
    const CMPIObjectPath *op = static_cast<const CMPIObjectPath *>(object);
    return op->ft->toString(op, rc);
  }
  if (std::strcmp(kind, "CMPIString") == 0) {
    const CMPIString *s = static_cast<const CMPIString *>(object);
    return CreateString(static_cast<const char *>(s->hdl), rc);
  }
  try {
    const std::string text = std::string("<") + kind + ">";
    return CreateString(text.c_str(), rc);
  } catch (...) {
    set_rc(rc, CMPI_RC_ERR_FAILED);
    return nullptr;
  }
}

CMPIBoolean enc_is_of_type(const CMPIBroker *, const void *object, const char *type,
                           CMPIStatus *rc) {
  const char *kind = kind_of(object, rc);
  if (kind == nullptr) {
    return 0;
  }
  if (type == nullptr) {
    set_rc(rc, CMPI_RC_ERR_INVALID_PARAMETER);
    return 0;
  }
  set_rc(rc, CMPI_RC_OK);
  return std::strcmp(kind, type) == 0 ? 1 : 0;
}

CMPIString *enc_get_type(const CMPIBroker *, const void *object, CMPIStatus *rc) {
  const char *kind = kind_of(object, rc);
  if (kind == nullptr) {
    return nullptr;
  }
  return CreateString(kind, rc);
}

// -- message substitution --

// The shortest decimal text that reads back as the same value.
std::string real_text(double value, bool single) {
  char buffer[64];
  for (int precision = 1; precision <= 17; ++precision) {
    std::snprintf(buffer, sizeof(buffer), "%.*g", precision, value);
    const bool same = single ? std::strtof(buffer, nullptr) == static_cast<float>(value)
                             : std::strtod(buffer, nullptr) == value;
    if (same) {
      break;
    }
  }
  return buffer;
}

// A UCS-2 code unit as UTF-8.
std::string char16_text(unsigned int unit) {
  unit &= 0xFFFFu;
  std::string text;
  if (unit < 0x80u) {
    text += static_cast<char>(unit);
  } else if (unit < 0x800u) {
    text += static_cast<char>(0xC0u | (unit >> 6));
    text += static_cast<char>(0x80u | (unit & 0x3Fu));
  } else {
    text += static_cast<char>(0xE0u | (unit >> 12));
    text += static_cast<char>(0x80u | ((unit >> 6) & 0x3Fu));
    text += static_cast<char>(0x80u | (unit & 0x3Fu));
  }
  return text;
}

constexpr int kMaxSubstitutions = 10;  // "$0" .. "$9"

// Reads up to ten (type code, value) pairs. Reading stops at a type code whose value width is
// unknown, since nothing after it can be located; *known tells how many were read.
void read_substitutions(CMPICount count, va_list args, std::string (&values)[kMaxSubstitutions],
                        int *known) {
  *known = 0;
  const int wanted = count < static_cast<CMPICount>(kMaxSubstitutions)
                         ? static_cast<int>(count)
                         : kMaxSubstitutions;
  for (int i = 0; i < wanted; ++i) {
    const int type = va_arg(args, int);
    std::string &text = values[i];
    switch (type) {
      case CMPI_sint8:
      case CMPI_sint16:
      case CMPI_sint32:
        text = std::to_string(va_arg(args, int));
        break;
      case CMPI_uint8:
      case CMPI_uint16:
      case CMPI_uint32:
        text = std::to_string(va_arg(args, unsigned int));
        break;
      case CMPI_boolean:
        text = va_arg(args, int) != 0 ? "true" : "false";
        break;
      case CMPI_char16:
        text = char16_text(va_arg(args, unsigned int));
        break;
      case CMPI_real32:
        text = real_text(va_arg(args, double), true);
        break;
      case CMPI_real64:
        text = real_text(va_arg(args, double), false);
        break;
      case CMPI_sint64:
        text = std::to_string(va_arg(args, long long));
        break;
      case CMPI_uint64:
        text = std::to_string(va_arg(args, unsigned long long));
        break;
      case CMPI_chars: {
        const char *chars = va_arg(args, const char *);
        text = chars != nullptr ? chars : "";
        break;
      }
      case CMPI_string: {
        const CMPIString *s = va_arg(args, const CMPIString *);
        const char *chars = nullptr;
        if (s != nullptr && s->hdl != nullptr && s->ft != nullptr) {
          chars = s->ft->getCharPtr(s, nullptr);
        }
        text = chars != nullptr ? chars : "";
        break;
      }
      default:
        return;
    }
    *known = i + 1;
  }
}

// defMsg with "$0".."$9" replaced by the substitution values; a "$n" without a value stays.
CMPIString *format_message(const char *defMsg, CMPIStatus *rc, CMPICount count, va_list args) {
  if (defMsg == nullptr) {
    set_rc(rc, CMPI_RC_ERR_INVALID_PARAMETER);
    return nullptr;
  }
  try {
    std::string values[kMaxSubstitutions];
    int known = 0;
    read_substitutions(count, args, values, &known);
    std::string text;
    for (const char *p = defMsg; *p != '\0'; ++p) {
      if (p[0] == '$' && p[1] >= '0' && p[1] <= '9' && p[1] - '0' < known) {
        text += values[p[1] - '0'];
        ++p;
      } else {
        text += *p;
      }
    }
    return CreateString(text.c_str(), rc);
  } catch (...) {
    set_rc(rc, CMPI_RC_ERR_FAILED);
    return nullptr;
  }
}

CMPIString *enc_get_message(const CMPIBroker *, const char *, const char *defMsg, CMPIStatus *rc,
                            CMPICount count, ...) {
  va_list args;
  va_start(args, count);
  CMPIString *result = format_message(defMsg, rc, count, args);
  va_end(args);
  return result;
}

CMPIString *enc_get_message2(const CMPIBroker *, const char *, const CMPIMsgFileHandle,
                             const char *defMsg, CMPIStatus *rc, CMPICount count, ...) {
  va_list args;
  va_start(args, count);
  CMPIString *result = format_message(defMsg, rc, count, args);
  va_end(args);
  return result;
}

// The text to log: text itself, else the string's text; NULL when there is neither.
const char *log_text(const char *text, const CMPIString *string) {
  if (text != nullptr) {
    return text;
  }
  if (string == nullptr || string->hdl == nullptr || string->ft == nullptr) {
    return nullptr;
  }
  return string->ft->getCharPtr(string, nullptr);
}

CMPIStatus enc_log_message(const CMPIBroker *, int severity, const char *, const char *text,
                           const CMPIString *string) {
  const char *line = log_text(text, string);
  if (line != nullptr) {
    int level = kLogLevelInfo;
    if (severity == CMPI_SEV_ERROR) {
      level = kLogLevelError;
    } else if (severity == CMPI_SEV_WARNING) {
      level = kLogLevelWarning;
    }
    dlog_printf(level, kProviderLogModule, "%s", line);
  }
  return make_status(CMPI_RC_OK);
}

CMPIStatus enc_trace(const CMPIBroker *, int level, const char *, const char *text,
                     const CMPIString *string) {
  const char *line = log_text(text, string);
  if (line != nullptr) {
    dlog_printf(level == CMPI_LEV_WARNING ? kLogLevelWarning : kLogLevelInfo, kProviderLogModule,
                "%s", line);
  }
  return make_status(CMPI_RC_OK);
}

CMPIError *enc_new_cmpi_error(const CMPIBroker *, const char *owner, const char *msgID,
                              const char *msg, const CMPIErrorSeverity sev,
                              const CMPIErrorProbableCause pc, const CMPIrc cimStatusCode,
                              CMPIStatus *rc) {
  return cmpi::new_error(owner, msgID, msg, sev, pc, cimStatusCode, rc);
}

CMPIStatus enc_open_message_file(const CMPIBroker *, const char *,
                                 CMPIMsgFileHandle *msgFileHandle) {
  if (msgFileHandle == nullptr) {
    return make_status(CMPI_RC_ERR_INVALID_PARAMETER);
  }
  *msgFileHandle = const_cast<char *>(kMessageFileMarker);
  return make_status(CMPI_RC_OK);
}

CMPIStatus enc_close_message_file(const CMPIBroker *, const CMPIMsgFileHandle) {
  return make_status(CMPI_RC_OK);
}

}  // namespace

namespace cmpi {

const CMPIBrokerEncFT broker_enc_ft = {
    CMPICurrentVersion,
    enc_new_instance,
    enc_new_object_path,
    enc_new_args,
    enc_new_string,
    enc_new_array,
    enc_new_date_time,
    enc_new_date_time_from_binary,
    enc_new_date_time_from_chars,
    enc_new_select_exp,
    enc_class_path_is_a,
    enc_to_string,
    enc_is_of_type,
    enc_get_type,
    enc_get_message,
    enc_log_message,
    enc_trace,
    enc_new_cmpi_error,
    enc_open_message_file,
    enc_close_message_file,
    enc_get_message2,
};


}  // namespace cmpi
