// broker.cpp - the broker handed to providers.
//
// One shared broker, built on first use and never released. Its factory table really makes
// objects (through the public factories and the internal constructors), its operating-system
// table offers real POSIX threads, mutexes, conditions and thread keys, and its memory table
// is the plain heap. Up-calls that need a CIM server behind them answer
// CMPI_RC_ERR_NOT_SUPPORTED. Log and trace lines go to dlog under module 231.
#include <poll.h>
#include <pthread.h>
#include <sched.h>

#include <cerrno>
#include <climits>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <new>
#include <string>

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

const char kBrokerName[] = "cmpiinterface";

// Message files are not read on this platform; openMessageFile hands out this marker so that
// the handle is never NULL.
const char kMessageFileMarker[] = "message file";

// ---- up-calls ------------------------------------------------------------------------------

CMPIContext *mb_prepare_attach_thread(const CMPIBroker *, const CMPIContext *ctx) {
  if (ctx == nullptr || ctx->hdl == nullptr || ctx->ft == nullptr) {
    return nullptr;
  }
  return ctx->ft->clone(ctx, nullptr);
}

CMPIStatus mb_attach_thread(const CMPIBroker *, const CMPIContext *) {
  return make_status(CMPI_RC_OK);
}

CMPIStatus mb_detach_thread(const CMPIBroker *, const CMPIContext *) {
  return make_status(CMPI_RC_OK);
}

CMPIStatus mb_deliver_indication(const CMPIBroker *, const CMPIContext *, const char *,
                                 const CMPIInstance *) {
  return make_status(CMPI_RC_ERR_NOT_SUPPORTED);
}

CMPIEnumeration *mb_enumerate_instance_names(const CMPIBroker *, const CMPIContext *,
                                             const CMPIObjectPath *, CMPIStatus *rc) {
  set_rc(rc, CMPI_RC_ERR_NOT_SUPPORTED);
  return nullptr;
}

CMPIInstance *mb_get_instance(const CMPIBroker *, const CMPIContext *, const CMPIObjectPath *,
                              const char **, CMPIStatus *rc) {
  set_rc(rc, CMPI_RC_ERR_NOT_SUPPORTED);
  return nullptr;
}

CMPIObjectPath *mb_create_instance(const CMPIBroker *, const CMPIContext *,
                                   const CMPIObjectPath *, const CMPIInstance *, CMPIStatus *rc) {
  set_rc(rc, CMPI_RC_ERR_NOT_SUPPORTED);
  return nullptr;
}

CMPIStatus mb_modify_instance(const CMPIBroker *, const CMPIContext *, const CMPIObjectPath *,
                              const CMPIInstance *, const char **) {
  return make_status(CMPI_RC_ERR_NOT_SUPPORTED);
}

CMPIStatus mb_delete_instance(const CMPIBroker *, const CMPIContext *, const CMPIObjectPath *) {
  return make_status(CMPI_RC_ERR_NOT_SUPPORTED);
}

CMPIEnumeration *mb_exec_query(const CMPIBroker *, const CMPIContext *, const CMPIObjectPath *,
                               const char *, const char *, CMPIStatus *rc) {
  set_rc(rc, CMPI_RC_ERR_NOT_SUPPORTED);
  return nullptr;
}

CMPIEnumeration *mb_enumerate_instances(const CMPIBroker *, const CMPIContext *,
                                        const CMPIObjectPath *, const char **, CMPIStatus *rc) {
  set_rc(rc, CMPI_RC_ERR_NOT_SUPPORTED);
  return nullptr;
}

CMPIEnumeration *mb_associators(const CMPIBroker *, const CMPIContext *, const CMPIObjectPath *,
                                const char *, const char *, const char *, const char *,
                                const char **, CMPIStatus *rc) {
  set_rc(rc, CMPI_RC_ERR_NOT_SUPPORTED);
  return nullptr;
}

CMPIEnumeration *mb_associator_names(const CMPIBroker *, const CMPIContext *,
                                     const CMPIObjectPath *, const char *, const char *,
                                     const char *, const char *, CMPIStatus *rc) {
  set_rc(rc, CMPI_RC_ERR_NOT_SUPPORTED);
  return nullptr;
}

CMPIEnumeration *mb_references(const CMPIBroker *, const CMPIContext *, const CMPIObjectPath *,
                               const char *, const char *, const char **, CMPIStatus *rc) {
  set_rc(rc, CMPI_RC_ERR_NOT_SUPPORTED);
  return nullptr;
}

CMPIEnumeration *mb_reference_names(const CMPIBroker *, const CMPIContext *,
                                    const CMPIObjectPath *, const char *, const char *,
                                    CMPIStatus *rc) {
  set_rc(rc, CMPI_RC_ERR_NOT_SUPPORTED);
  return nullptr;
}

CMPIData mb_invoke_method(const CMPIBroker *, const CMPIContext *, const CMPIObjectPath *,
                          const char *, const CMPIArgs *, CMPIArgs *, CMPIStatus *rc) {
  set_rc(rc, CMPI_RC_ERR_NOT_SUPPORTED);
  return cmpi::null_data(CMPI_null);
}

CMPIStatus mb_set_property(const CMPIBroker *, const CMPIContext *, const CMPIObjectPath *,
                           const char *, const CMPIValue *, CMPIType) {
  return make_status(CMPI_RC_ERR_NOT_SUPPORTED);
}

CMPIData mb_get_property(const CMPIBroker *, const CMPIContext *, const CMPIObjectPath *,
                         const char *, CMPIStatus *rc) {
  set_rc(rc, CMPI_RC_ERR_NOT_SUPPORTED);
  return cmpi::null_data(CMPI_null);
}

const CMPIBrokerFT broker_ft = {
    CMPI_MB_OSEncapsulationSupport,
    CMPICurrentVersion,
    kBrokerName,
    mb_prepare_attach_thread,
    mb_attach_thread,
    mb_detach_thread,
    mb_deliver_indication,
    mb_enumerate_instance_names,
    mb_get_instance,
    mb_create_instance,
    mb_modify_instance,
    mb_delete_instance,
    mb_exec_query,
    mb_enumerate_instances,
    mb_associators,
    mb_associator_names,
    mb_references,
    mb_reference_names,
    mb_invoke_method,
    mb_set_property,
    mb_get_property,
};

// ---- factories and helpers -----------------------------------------------------------------

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

// ---- operating-system services -------------------------------------------------------------

char *ext_resolve_file_name(const char *filename) {
  if (filename == nullptr) {
    return nullptr;
  }
  const size_t length = std::strlen(filename) + sizeof("lib.so");
  char *path = static_cast<char *>(std::malloc(length));
  if (path == nullptr) {
    return nullptr;
  }
  std::snprintf(path, length, "lib%s.so", filename);
  return path;
}

CMPI_THREAD_TYPE handle_of(pthread_t thread) {
  return reinterpret_cast<CMPI_THREAD_TYPE>(static_cast<uintptr_t>(thread));
}

pthread_t thread_of(CMPI_THREAD_TYPE handle) {
  return static_cast<pthread_t>(reinterpret_cast<uintptr_t>(handle));
}

CMPI_THREAD_TYPE ext_new_thread(CMPI_THREAD_RETURN(CMPI_THREAD_CDECL *start)(void *), void *parm,
                                int detached) {
  if (start == nullptr) {
    return nullptr;
  }
  pthread_attr_t attr;
  if (pthread_attr_init(&attr) != 0) {
    return nullptr;
  }
  if (detached != 0) {
    pthread_attr_setdetachstate(&attr, PTHREAD_CREATE_DETACHED);
  }
  pthread_t thread;
  const int failed = pthread_create(&thread, &attr, start, parm);
  pthread_attr_destroy(&attr);
  return failed != 0 ? nullptr : handle_of(thread);
}

int ext_join_thread(CMPI_THREAD_TYPE thread, CMPI_THREAD_RETURN *retval) {
  if (thread == nullptr) {
    return EINVAL;
  }
  return pthread_join(thread_of(thread), retval);
}

int ext_exit_thread(CMPI_THREAD_RETURN return_code) { pthread_exit(return_code); }

int ext_cancel_thread(CMPI_THREAD_TYPE thread) {
  if (thread == nullptr) {
    return EINVAL;
  }
  return pthread_cancel(thread_of(thread));
}

// Milliseconds of the monotonic clock. Kept out of line: its timespec then lives in a frame of
// its own that is gone before the sleeping starts.
__attribute__((noinline)) CMPIUint64 monotonic_ms() {
  struct timespec now;
  clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<CMPIUint64>(now.tv_sec) * 1000u +
         static_cast<CMPIUint64>(now.tv_nsec) / 1000000u;
}

// Sleeps in poll without descriptors, a cancellation point. No stack object of this frame is in
// use while it waits, so a thread cancelled here unwinds cleanly (also under the address
// sanitizer, whose stack bookkeeping a forced unwind bypasses). A signal only shortens one
// round: the loop goes on until the time is up.
int ext_thread_sleep(CMPIUint32 msec) {
  const CMPIUint64 deadline = monotonic_ms() + msec;
  for (CMPIUint64 now = monotonic_ms(); now < deadline; now = monotonic_ms()) {
    const CMPIUint64 left = deadline - now;
    poll(nullptr, 0, left > static_cast<CMPIUint64>(INT_MAX) ? INT_MAX : static_cast<int>(left));
  }
  return 0;
}

// pthread_once on a plain int: 0 = not run yet, 1 = running, anything else = done. Exactly one
// caller runs init; the others return once it has finished.
constexpr int kOnceRunning = 1;
constexpr int kOnceDone = 2;

int ext_thread_once(int *once, void (*init)(void)) {
  if (once == nullptr || init == nullptr) {
    return EINVAL;
  }
  int expected = 0;
  if (__atomic_compare_exchange_n(once, &expected, kOnceRunning, false, __ATOMIC_ACQ_REL,
                                  __ATOMIC_ACQUIRE)) {
    init();
    __atomic_store_n(once, kOnceDone, __ATOMIC_RELEASE);
    return 0;
  }
  while (__atomic_load_n(once, __ATOMIC_ACQUIRE) == kOnceRunning) {
    sched_yield();
  }
  return 0;
}

int ext_create_thread_key(CMPI_THREAD_KEY_TYPE *key, void (*cleanup)(void *)) {
  if (key == nullptr) {
    return EINVAL;
  }
  return pthread_key_create(key, cleanup);
}

int ext_destroy_thread_key(CMPI_THREAD_KEY_TYPE key) { return pthread_key_delete(key); }

void *ext_get_thread_specific(CMPI_THREAD_KEY_TYPE key) { return pthread_getspecific(key); }

int ext_set_thread_specific(CMPI_THREAD_KEY_TYPE key, void *value) {
  return pthread_setspecific(key, value);
}

// Mutexes are recursive, whatever opt says: a provider that locks again on the same thread
// does not deadlock.
CMPI_MUTEX_TYPE ext_new_mutex(int) {
  pthread_mutex_t *mutex = new (std::nothrow) pthread_mutex_t;
  if (mutex == nullptr) {
    return nullptr;
  }
  pthread_mutexattr_t attr;
  pthread_mutexattr_init(&attr);
  pthread_mutexattr_settype(&attr, PTHREAD_MUTEX_RECURSIVE);
  const int failed = pthread_mutex_init(mutex, &attr);
  pthread_mutexattr_destroy(&attr);
  if (failed != 0) {
    delete mutex;
    return nullptr;
  }
  return mutex;
}

void ext_destroy_mutex(CMPI_MUTEX_TYPE mutex) {
  if (mutex == nullptr) {
    return;
  }
  pthread_mutex_t *m = static_cast<pthread_mutex_t *>(mutex);
  pthread_mutex_destroy(m);
  delete m;
}

void ext_lock_mutex(CMPI_MUTEX_TYPE mutex) {
  if (mutex != nullptr) {
    pthread_mutex_lock(static_cast<pthread_mutex_t *>(mutex));
  }
}

void ext_unlock_mutex(CMPI_MUTEX_TYPE mutex) {
  if (mutex != nullptr) {
    pthread_mutex_unlock(static_cast<pthread_mutex_t *>(mutex));
  }
}

CMPI_COND_TYPE ext_new_condition(int) {
  pthread_cond_t *cond = new (std::nothrow) pthread_cond_t;
  if (cond == nullptr) {
    return nullptr;
  }
  if (pthread_cond_init(cond, nullptr) != 0) {
    delete cond;
    return nullptr;
  }
  return cond;
}

void ext_destroy_condition(CMPI_COND_TYPE cond) {
  if (cond == nullptr) {
    return;
  }
  pthread_cond_t *c = static_cast<pthread_cond_t *>(cond);
  pthread_cond_destroy(c);
  delete c;
}

int ext_cond_wait(CMPI_COND_TYPE cond, CMPI_MUTEX_TYPE mutex) {
  if (cond == nullptr || mutex == nullptr) {
    return EINVAL;
  }
  return pthread_cond_wait(static_cast<pthread_cond_t *>(cond),
                           static_cast<pthread_mutex_t *>(mutex));
}

// wait is an absolute CLOCK_REALTIME deadline, as with pthread_cond_timedwait; NULL waits
// without a deadline. A deadline that passes gives ETIMEDOUT.
int ext_timed_cond_wait(CMPI_COND_TYPE cond, CMPI_MUTEX_TYPE mutex, struct timespec *wait) {
  if (wait == nullptr) {
    return ext_cond_wait(cond, mutex);
  }
  if (cond == nullptr || mutex == nullptr) {
    return EINVAL;
  }
  return pthread_cond_timedwait(static_cast<pthread_cond_t *>(cond),
                                static_cast<pthread_mutex_t *>(mutex), wait);
}

int ext_signal_condition(CMPI_COND_TYPE cond) {
  if (cond == nullptr) {
    return EINVAL;
  }
  return pthread_cond_signal(static_cast<pthread_cond_t *>(cond));
}

const CMPIBrokerExtFT broker_ext_ft = {
    CMPICurrentVersion,
    ext_resolve_file_name,
    ext_new_thread,
    ext_join_thread,
    ext_exit_thread,
    ext_cancel_thread,
    ext_thread_sleep,
    ext_thread_once,
    ext_create_thread_key,
    ext_destroy_thread_key,
    ext_get_thread_specific,
    ext_set_thread_specific,
    ext_new_mutex,
    ext_destroy_mutex,
    ext_lock_mutex,
    ext_unlock_mutex,
    ext_new_condition,
    ext_destroy_condition,
    ext_cond_wait,
    ext_timed_cond_wait,
    ext_signal_condition,
};

// ---- memory services -----------------------------------------------------------------------

CMPIGcStat *mem_mark(const CMPIBroker *, CMPIStatus *rc) {
  set_rc(rc, CMPI_RC_ERR_NOT_SUPPORTED);
  return nullptr;
}

CMPIStatus mem_release(const CMPIBroker *, const CMPIGcStat *) {
  return make_status(CMPI_RC_ERR_NOT_SUPPORTED);
}

void *mem_malloc(const CMPIBroker *, size_t size) { return std::malloc(size); }

void *mem_calloc(const CMPIBroker *, size_t nElems, size_t sizeElem) {
  return std::calloc(nElems, sizeElem);
}

void *mem_realloc(const CMPIBroker *, void *ptr, size_t size) { return std::realloc(ptr, size); }

char *mem_strdup(const CMPIBroker *, const char *str) {
  return str != nullptr ? strdup(str) : nullptr;
}

void mem_free(const CMPIBroker *, void *ptr) { std::free(ptr); }

template <typename Object>
void release_object(Object *object) {
  if (object != nullptr && object->ft != nullptr) {
    object->ft->release(object);
  }
}

void mem_free_instance(const CMPIBroker *, CMPIInstance *inst) { release_object(inst); }
void mem_free_object_path(const CMPIBroker *, CMPIObjectPath *obj) { release_object(obj); }
void mem_free_args(const CMPIBroker *, CMPIArgs *args) { release_object(args); }
void mem_free_string(const CMPIBroker *, CMPIString *str) { release_object(str); }
void mem_free_array(const CMPIBroker *, CMPIArray *array) { release_object(array); }
void mem_free_date_time(const CMPIBroker *, CMPIDateTime *date) { release_object(date); }

// No select expression is ever made here, so there is nothing to free.
void mem_free_select_exp(const CMPIBroker *, CMPISelectExp *) {}

const CMPIBrokerMemFT broker_mem_ft = {
    CMPICurrentVersion,
    mem_mark,
    mem_release,
    mem_malloc,
    mem_calloc,
    mem_realloc,
    mem_strdup,
    mem_free,
    mem_free_instance,
    mem_free_object_path,
    mem_free_args,
    mem_free_string,
    mem_free_array,
    mem_free_date_time,
    mem_free_select_exp,
};

}  // namespace

namespace cmpi {

// Every object starts with its handle and then its table pointer; the table tells the kind.
const char *object_type_name(const void *object) {
  if (object == nullptr) {
    return nullptr;
  }
  const void *ft = nullptr;
  std::memcpy(&ft, static_cast<const char *>(object) + sizeof(void *), sizeof(ft));
  if (ft == nullptr) {
    return nullptr;
  }
  if (ft == string_table()) return "CMPIString";
  if (ft == array_table()) return "CMPIArray";
  if (ft == datetime_table()) return "CMPIDateTime";
  if (ft == enumeration_table()) return "CMPIEnumeration";
  if (ft == result_table()) return "CMPIResult";
  if (ft == instance_table()) return "CMPIInstance";
  if (ft == object_path_table()) return "CMPIObjectPath";
  if (ft == args_table()) return "CMPIArgs";
  if (ft == context_table()) return "CMPIContext";
  if (ft == const_class_table()) return "CMPIConstClass";
  if (ft == error_table()) return "CMPIError";
  return nullptr;
}

}  // namespace cmpi

extern "C" CMPIBroker *getCMPIBroker(CMPIStatus *rc) {
  static CMPIBroker broker = {
      const_cast<char *>(kBrokerName),
      const_cast<CMPIBrokerFT *>(&broker_ft),
      const_cast<CMPIBrokerEncFT *>(&broker_enc_ft),
      const_cast<CMPIBrokerExtFT *>(&broker_ext_ft),
      const_cast<CMPIBrokerMemFT *>(&broker_mem_ft),
  };
  set_rc(rc, CMPI_RC_OK);
  return &broker;
}
