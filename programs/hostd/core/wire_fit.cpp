// wire_fit.cpp - read first; copy, convert keys and leave out only when the wire needs it.
#include "wire_fit.h"

#include <cmpiinterface.h>
#include <cmpimacs.h>
#include <cmpipropertylook.h>
#include <json/json.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "log.h"
#include "log_text.h"
#include "operations.h"

namespace hostd {
using wire::log_text;
namespace {

// A datum and name handed out by a getter (caller-owned on this platform); released with the
// scope.
class Held {
 public:
  explicit Held(CMPIData data, CMPIString *name = nullptr) : data_(data), name_(name) {}
  ~Held() {
    if (name_ != nullptr) CMRelease(name_);
    if ((data_.state & CMPI_nullValue) == 0) cmpiReleaseCMPIValue(data_.type, &data_.value);
  }
  Held(const Held &) = delete;
  Held &operator=(const Held &) = delete;

  const CMPIData &data() const { return data_; }
  const char *name() const {
    return name_ != nullptr ? static_cast<const char *>(name_->hdl) : nullptr;
  }

 private:
  CMPIData data_;
  CMPIString *name_;
};

// The text of a string object handed out by a getter, then released; "" for none, and *had
// tells whether there was a text.
std::string take_text(CMPIString *s, bool *had = nullptr) {
  std::string text;
  const bool present = s != nullptr && s->hdl != nullptr;
  if (present) text = static_cast<const char *>(s->hdl);
  if (s != nullptr) CMRelease(s);
  if (had != nullptr) *had = present;
  return text;
}

// The object pointer of an encapsulated value; nullptr for scalars as well.
const void *object_of(const CMPIData &d) {
  if ((d.type & CMPI_ARRAY) != 0) return d.value.array;
  switch (d.type) {
    case CMPI_ref: return d.value.ref;
    case CMPI_instance: return d.value.inst;
    case CMPI_string:
    case CMPI_booleanString:
    case CMPI_numericString:
    case CMPI_dateTimeString: return d.value.string;
    case CMPI_chars: return d.value.chars;
    case CMPI_dateTime: return d.value.dateTime;
    default: return nullptr;
  }
}

bool is_null(const CMPIData &d) {
  if ((d.state & CMPI_nullValue) != 0) return true;
  // An encapsulated value without its object reads as null as well.
  const bool encapsulated = (d.type & (CMPI_ARRAY | CMPI_ENC)) != 0;
  return encapsulated && object_of(d) == nullptr;
}

bool is_text_type(CMPIType type) {
  return type == CMPI_string || type == CMPI_booleanString || type == CMPI_numericString ||
         type == CMPI_dateTimeString;
}

// Element types whose null element the encoder cannot write: integers would be written as 0,
// texts, date-times, references and embedded instances fail. Boolean, real and char16 arrays
// are written without elements, whatever they hold.
bool null_element_matters(CMPIType element) {
  return (element & CMPI_INTEGER) != 0 || (element & CMPI_ENC) != 0;
}

// Scalar argument types that arguments cannot carry as null (no null state in an argument).
bool null_argument_matters(CMPIType type) {
  return type == CMPI_boolean || (type & CMPI_INTEGER) != 0 || (type & CMPI_REAL) != 0;
}

const char *type_name(CMPIType type) {
  switch (type & ~CMPI_ARRAY) {
    case CMPI_boolean: return "boolean";
    case CMPI_char16: return "char16";
    case CMPI_real32: return "real32";
    case CMPI_real64: return "real64";
    case CMPI_uint8: return "uint8";
    case CMPI_uint16: return "uint16";
    case CMPI_uint32: return "uint32";
    case CMPI_uint64: return "uint64";
    case CMPI_sint8: return "sint8";
    case CMPI_sint16: return "sint16";
    case CMPI_sint32: return "sint32";
    case CMPI_sint64: return "sint64";
    case CMPI_instance: return "embedded-instance";
    case CMPI_ref: return "reference";
    case CMPI_string:
    case CMPI_chars:
    case CMPI_booleanString:
    case CMPI_numericString:
    case CMPI_dateTimeString: return "string";
    case CMPI_dateTime: return "dateTime";
    default: return "other";
  }
}

// Which keys a path may keep as they are: a path frame's "key" text takes string and
// reference keys, a reference value's key text the text types only.
enum class KeyUse { kPathFrame, kInReference };

bool key_fits(CMPIType type, KeyUse use) {
  if (use == KeyUse::kPathFrame) return type == CMPI_string || type == CMPI_ref;
  return is_text_type(type);
}

bool keys_fit(const CMPIObjectPath *path, KeyUse use) {
  const CMPICount count = CMGetKeyCount(path, nullptr);
  for (CMPICount i = 0; i < count; ++i) {
    CMPIStatus st = {CMPI_RC_OK, nullptr};
    const Held key(CMGetKeyAt(path, i, nullptr, &st));
    if (st.rc != CMPI_RC_OK) return true;  // nothing to convert; the encoder reports it
    if (!key_fits(key.data().type, use)) return false;
  }
  return true;
}

// Real values as the wire writes them: through single precision, then the JSON writer's text.
std::string real_text(const CMPIData &d) {
  char *text = value2Chars(d.type, &d.value);
  if (text == nullptr) return std::string();
  const double value = static_cast<double>(std::strtof(text, nullptr));
  std::free(text);
  Json::StreamWriterBuilder builder;
  builder["indentation"] = "";
  return Json::writeString(builder, Json::Value(value));
}

// The text a key of any type stands for; false when it has none.
bool key_text(const CMPIData &d, std::string *out) {
  if (d.type == CMPI_real32 || d.type == CMPI_real64) {
    *out = real_text(d);
    return !out->empty();
  }
  char *text = value2Chars(d.type, &d.value);
  if (text == nullptr) return false;
  *out = text;
  std::free(text);
  return true;
}

enum class Verdict { kKeep, kFix, kLeaveOut };

struct Judgement {
  Verdict verdict = Verdict::kKeep;
  std::string why;  // for kLeaveOut
};

enum class Holder { kProperty, kArgument };

// Sees each top-level property value while an instance is checked (lossy-value warnings).
struct ValueWatch {
  void (*see)(void *context, const CMPIInstance *inst, CMPICount index, const CMPIData &d);
  void *context;
};

bool instance_fits(const CMPIInstance *inst, const ValueWatch *watch = nullptr);

// A reference value: its path must have a namespace and a class name, and keys of the text
// types.
Judgement judge_reference(const CMPIObjectPath *ref) {
  Judgement j;
  bool had = false;
  take_text(CMGetNameSpace(ref, nullptr), &had);
  if (!had) {
    j.verdict = Verdict::kLeaveOut;
    j.why = "its reference has no namespace";
    return j;
  }
  take_text(CMGetClassName(ref, nullptr), &had);
  if (!had) {
    j.verdict = Verdict::kLeaveOut;
    j.why = "its reference has no class name";
    return j;
  }
  if (!keys_fit(ref, KeyUse::kInReference)) j.verdict = Verdict::kFix;
  return j;
}

Judgement judge_array(const CMPIArray *array, CMPIType array_type) {
  Judgement j;
  const CMPIType element_type = static_cast<CMPIType>(array_type & ~CMPI_ARRAY);
  if (!null_element_matters(element_type)) return j;
  CMPIStatus st = {CMPI_RC_OK, nullptr};
  const CMPICount count = CMGetArrayCount(array, &st);
  if (st.rc != CMPI_RC_OK) return j;  // the encoder reports it
  for (CMPICount i = 0; i < count; ++i) {
    st = CMPIStatus{CMPI_RC_OK, nullptr};
    const cmpiinterface::ElementLook element(array, i, &st);
    if (st.rc != CMPI_RC_OK) return j;
    CMPIData d = element.data();
    d.type = element_type;  // a null element may come back typed as the array's element
    if (is_null(d)) {
      j.verdict = Verdict::kLeaveOut;
      j.why = std::string("its ") + type_name(element_type) + " array holds a null element";
      return j;
    }
    if (element_type == CMPI_instance && !instance_fits(d.value.inst)) j.verdict = Verdict::kFix;
  }
  return j;
}

Judgement judge(const CMPIData &d, Holder holder) {
  Judgement j;
  if (is_null(d)) {
    if (d.type == CMPI_ref) {
      j.verdict = Verdict::kLeaveOut;
      j.why = "it is a null reference";
    } else if (d.type == CMPI_instance) {
      j.verdict = Verdict::kLeaveOut;
      j.why = "it is a null embedded instance";
    } else if (holder == Holder::kArgument &&
               ((d.type & CMPI_ARRAY) != 0 || null_argument_matters(d.type))) {
      j.verdict = Verdict::kLeaveOut;
      j.why = std::string("it is a null ") + type_name(d.type) +
              ((d.type & CMPI_ARRAY) != 0 ? " array argument" : " argument");
    }
    return j;
  }
  if ((d.type & CMPI_ARRAY) != 0) return judge_array(d.value.array, d.type);
  if (d.type == CMPI_ref) return judge_reference(d.value.ref);
  if (d.type == CMPI_instance && !instance_fits(d.value.inst)) j.verdict = Verdict::kFix;
  return j;
}

bool instance_fits(const CMPIInstance *inst, const ValueWatch *watch) {
  CMPIStatus st = {CMPI_RC_OK, nullptr};
  const CMPICount count = CMGetPropertyCount(inst, &st);
  if (st.rc != CMPI_RC_OK) return true;  // the encoder reports it
  bool fits = true;
  for (CMPICount i = 0; i < count; ++i) {
    st = CMPIStatus{CMPI_RC_OK, nullptr};
    const cmpiinterface::PropertyLook property(inst, i, &st);
    if (st.rc != CMPI_RC_OK) return fits;
    if (watch != nullptr) watch->see(watch->context, inst, i, property.data());
    if (judge(property.data(), Holder::kProperty).verdict != Verdict::kKeep) {
      fits = false;
      if (watch == nullptr) return false;  // the watch sees every property; else stop here
    }
  }
  return fits;
}

// Why a value that the wire carries arrives changed, or nullptr: the text "NULL" is read back
// as null, and a uint64 above the largest sint64 is written as that largest value.
const char *lossy_why(const CMPIData &d) {
  if (is_null(d)) return nullptr;
  if (d.type == CMPI_string && d.value.string != nullptr && d.value.string->hdl != nullptr &&
      std::strcmp(static_cast<const char *>(d.value.string->hdl), "NULL") == 0) {
    return "its text \"NULL\" arrives as null";
  }
  if (d.type == CMPI_uint64 && d.value.uint64 > static_cast<CMPIUint64>(INT64_MAX)) {
    return "its uint64 value above 9223372036854775807 arrives as 9223372036854775807";
  }
  if (d.type == CMPI_uint64A && d.value.array != nullptr) {
    const CMPICount n = CMGetArrayCount(d.value.array, nullptr);
    for (CMPICount i = 0; i < n; ++i) {
      const CMPIData e = CMGetArrayElementAt(d.value.array, i, nullptr);
      if (!is_null(e) && e.value.uint64 > static_cast<CMPIUint64>(INT64_MAX)) {
        return "its uint64 elements above 9223372036854775807 arrive as 9223372036854775807";
      }
    }
  }
  return nullptr;
}


bool args_fit(const CMPIArgs *args) {
  const CMPICount count = CMGetArgCount(args, nullptr);
  for (CMPICount i = 0; i < count; ++i) {
    CMPIStatus st = {CMPI_RC_OK, nullptr};
    const Held argument(CMGetArgAt(args, i, nullptr, &st));
    if (st.rc != CMPI_RC_OK) return true;
    if (judge(argument.data(), Holder::kArgument).verdict != Verdict::kKeep) return false;
  }
  return true;
}

// The value pointer a setter takes for a datum: NULL stores a null of its type.
const CMPIValue *setter_value(const CMPIData &d) { return is_null(d) ? nullptr : &d.value; }

using FittedArray = std::unique_ptr<CMPIArray, CmpiObjectRelease>;

// Builds the copies; logs what it leaves out, once per place, through the WireFit's memory.
class Copier {
 public:
  Copier(const char *operation, std::unordered_set<std::string> *logged)
      : operation_(operation), logged_(logged) {}

  // nullptr when a copy cannot be made.
  FittedPath path(const CMPIObjectPath *path, KeyUse use, const std::string &subject);
  FittedInstance instance(const CMPIInstance *inst, const std::string &embedded_in);
  FittedArgs args(const CMPIArgs *args);

 private:
  // Makes the fitted form of d (judged kFix) and hands it to set(value, type); false when it
  // cannot be made or set. here names the holder for what is embedded in d.
  template <class Set>
  bool set_fitted(const CMPIData &d, const std::string &subject, const std::string &here,
                  Set set);
  FittedArray instance_array(const CMPIArray *array, const std::string &here);
  void leave_out(const std::string &subject, const std::string &why);

  const char *operation_;
  std::unordered_set<std::string> *logged_;
};

void Copier::leave_out(const std::string &subject, const std::string &why) {
  if (!logged_->insert(subject).second) return;
  HOSTD_WARNING("%s: %s is left out: %s, which the wire cannot carry", operation_,
                subject.c_str(), why.c_str());
}

FittedPath Copier::path(const CMPIObjectPath *path, KeyUse use, const std::string &subject) {
  bool has_name_space = false;
  bool has_class = false;
  bool has_host = false;
  const std::string name_space = take_text(CMGetNameSpace(path, nullptr), &has_name_space);
  const std::string class_name = take_text(CMGetClassName(path, nullptr), &has_class);
  const std::string host = take_text(CMGetHostname(path, nullptr), &has_host);
  FittedPath copy(makeNewObjectPath(has_name_space ? name_space.c_str() : nullptr,
                                    has_class ? class_name.c_str() : nullptr, nullptr));
  if (copy == nullptr) return nullptr;
  if (has_host && CMSetHostname(copy.get(), host.c_str()).rc != CMPI_RC_OK) return nullptr;
  const CMPICount count = CMGetKeyCount(path, nullptr);
  for (CMPICount i = 0; i < count; ++i) {
    CMPIString *name = nullptr;
    CMPIStatus st = {CMPI_RC_OK, nullptr};
    const CMPIData got = CMGetKeyAt(path, i, &name, &st);  // name is set by the call
    const Held key(got, name);
    if (st.rc != CMPI_RC_OK || key.name() == nullptr) return nullptr;
    const CMPIData &d = key.data();
    if (key_fits(d.type, use)) {
      st = CMAddKey(copy.get(), key.name(), setter_value(d), d.type);
    } else {
      std::string text;
      if (!key_text(d, &text)) {
        leave_out("key " + log_text(key.name()) + " of " + subject,
                  std::string("its ") + type_name(d.type) + " value has no text form");
        continue;
      }
      // For CMPI_chars the value pointer is the text itself.
      st = CMAddKey(copy.get(), key.name(), text.c_str(), CMPI_chars);
    }
    if (st.rc != CMPI_RC_OK) return nullptr;
  }
  return copy;
}

FittedArray Copier::instance_array(const CMPIArray *array, const std::string &here) {
  CMPIStatus st = {CMPI_RC_OK, nullptr};
  const CMPICount count = CMGetArrayCount(array, &st);
  if (st.rc != CMPI_RC_OK) return nullptr;
  FittedArray copy(makeNewCMPIArray(count, CMPI_instance, nullptr));
  if (copy == nullptr) return nullptr;
  for (CMPICount i = 0; i < count; ++i) {
    const Held element(CMGetArrayElementAt(array, i, &st));
    if (st.rc != CMPI_RC_OK) return nullptr;
    CMPIInstance *inner = element.data().value.inst;
    FittedInstance fitted;
    if (!instance_fits(inner)) {
      fitted = instance(inner, here);
      if (fitted == nullptr) return nullptr;
    }
    CMPIValue value;
    value.inst = fitted != nullptr ? fitted.get() : inner;
    if (CMSetArrayElementAt(copy.get(), i, &value, CMPI_instance).rc != CMPI_RC_OK) {
      return nullptr;
    }
  }
  return copy;
}

template <class Set>
bool Copier::set_fitted(const CMPIData &d, const std::string &subject, const std::string &here,
                        Set set) {
  CMPIValue value;
  if (d.type == CMPI_ref) {
    FittedPath fitted = path(d.value.ref, KeyUse::kInReference, "the reference in " + subject);
    if (fitted == nullptr) return false;
    value.ref = fitted.get();
    return set(&value, d.type).rc == CMPI_RC_OK;
  }
  if (d.type == CMPI_instance) {
    FittedInstance fitted = instance(d.value.inst, here);
    if (fitted == nullptr) return false;
    value.inst = fitted.get();
    return set(&value, d.type).rc == CMPI_RC_OK;
  }
  if (d.type == CMPI_instanceA) {
    FittedArray fitted = instance_array(d.value.array, here);
    if (fitted == nullptr) return false;
    value.array = fitted.get();
    return set(&value, d.type).rc == CMPI_RC_OK;
  }
  return false;  // judge() gives kFix to nothing else
}

FittedInstance Copier::instance(const CMPIInstance *inst, const std::string &embedded_in) {
  CMPIStatus st = {CMPI_RC_OK, nullptr};
  FittedPath own_path(CMGetObjectPath(inst, &st));
  if (own_path == nullptr) return nullptr;
  const std::string class_name = log_text(take_text(CMGetClassName(own_path.get(), nullptr)));
  FittedInstance copy(makeNewCMPIInstance(own_path.get(), nullptr));
  if (copy == nullptr) return nullptr;
  const std::string where = embedded_in.empty() ? "" : " (embedded in " + embedded_in + ")";
  const CMPICount count = CMGetPropertyCount(inst, &st);
  if (st.rc != CMPI_RC_OK) return nullptr;
  for (CMPICount i = 0; i < count; ++i) {
    CMPIString *name = nullptr;
    st = CMPIStatus{CMPI_RC_OK, nullptr};
    const CMPIData got = CMGetPropertyAt(inst, i, &name, &st);
    const Held property(got, name);
    if (st.rc != CMPI_RC_OK) return nullptr;
    if (property.name() == nullptr) continue;  // the encoder passes it over as well
    const CMPIData &d = property.data();
    const std::string shown = log_text(property.name());
    const std::string subject = "property " + shown + " of " + class_name + where;
    const Judgement j = judge(d, Holder::kProperty);
    CMPIInstance *target = copy.get();
    const char *name_text = property.name();
    auto set = [target, name_text](const CMPIValue *value, CMPIType type) {
      return CMSetProperty(target, name_text, value, type);
    };
    switch (j.verdict) {
      case Verdict::kKeep:
        if (set(setter_value(d), d.type).rc != CMPI_RC_OK) return nullptr;
        break;
      case Verdict::kLeaveOut:
        leave_out(subject, j.why);
        break;
      case Verdict::kFix: {
        std::string here = class_name + "." + shown;
        if (!embedded_in.empty()) here += ", embedded in " + embedded_in;
        if (!set_fitted(d, subject, here, set)) return nullptr;
        break;
      }
    }
  }
  return copy;
}

FittedArgs Copier::args(const CMPIArgs *args) {
  FittedArgs copy(makeNewCMPIArgs(nullptr));
  if (copy == nullptr) return nullptr;
  const CMPICount count = CMGetArgCount(args, nullptr);
  for (CMPICount i = 0; i < count; ++i) {
    CMPIString *name = nullptr;
    CMPIStatus st = {CMPI_RC_OK, nullptr};
    const CMPIData got = CMGetArgAt(args, i, &name, &st);
    const Held argument(got, name);
    if (st.rc != CMPI_RC_OK) return nullptr;
    if (argument.name() == nullptr) continue;  // the encoder skips it as well
    const CMPIData &d = argument.data();
    const std::string subject = "output argument " + log_text(argument.name());
    const Judgement j = judge(d, Holder::kArgument);
    CMPIArgs *target = copy.get();
    const char *name_text = argument.name();
    auto set = [target, name_text](const CMPIValue *value, CMPIType type) {
      return CMAddArg(target, name_text, value, type);
    };
    switch (j.verdict) {
      case Verdict::kKeep:
        if (set(setter_value(d), d.type).rc != CMPI_RC_OK) return nullptr;
        break;
      case Verdict::kLeaveOut:
        leave_out(subject, j.why);
        break;
      case Verdict::kFix:
        if (!set_fitted(d, subject, subject, set)) return nullptr;
        break;
    }
  }
  return copy;
}

}  // namespace

WireFit::WireFit(int request_type) : operation_(wire::operation_name(request_type)) {}

void WireFit::set_source(const std::string &provider, std::unordered_set<std::string> *warned) {
  provider_ = provider;
  warned_ = warned;
}

void WireFit::see_value(void *context, const CMPIInstance *inst, CMPICount index,
                        const CMPIData &d) {
  const char *why = lossy_why(d);
  if (why == nullptr) return;
  auto *self = static_cast<WireFit *>(context);
  CMPIString *name = nullptr;
  const CMPIData value = CMGetPropertyAt(inst, index, &name, nullptr);
  const Held again(value, name);
  const std::string property = again.name() != nullptr ? again.name() : "";
  CMPIObjectPath *path = CMGetObjectPath(inst, nullptr);
  const std::string cls = path != nullptr ? take_text(CMGetClassName(path, nullptr)) : "";
  if (path != nullptr) CMRelease(path);
  const std::string place = self->provider_ + '\n' + cls + '\n' + property + '\n' + why;
  if (!self->warned_->insert(place).second) return;
  HOSTD_WARNING("%s: property %s of %s from provider %s: %s (the wire cannot carry it); "
                "logged once per provider and property",
                self->operation_, log_text(property).c_str(), log_text(cls).c_str(),
                log_text(self->provider_).c_str(), why);
}

FittedInstance WireFit::instance(const CMPIInstance *inst) {
  if (inst == nullptr) return nullptr;
  const ValueWatch watch = {&WireFit::see_value, this};
  if (instance_fits(inst, warned_ != nullptr ? &watch : nullptr)) return nullptr;
  Copier copier(operation_, &logged_);
  FittedInstance copy = copier.instance(inst, std::string());
  if (copy == nullptr) {
    HOSTD_ERROR("%s: an instance that the wire cannot carry as it is cannot be copied; it is "
                "encoded as it is", operation_);
  }
  return copy;
}

FittedPath WireFit::path(const CMPIObjectPath *path) {
  if (path == nullptr || keys_fit(path, KeyUse::kPathFrame)) return nullptr;
  Copier copier(operation_, &logged_);
  const std::string subject = "the path of " + log_text(take_text(CMGetClassName(path, nullptr)));
  FittedPath copy = copier.path(path, KeyUse::kPathFrame, subject);
  if (copy == nullptr) {
    HOSTD_ERROR("%s: %s has keys the wire cannot carry and cannot be copied; it is encoded as "
                "it is", operation_, subject.c_str());
  }
  return copy;
}

FittedArgs WireFit::arguments(const CMPIArgs *args) {
  if (args == nullptr || args_fit(args)) return nullptr;
  Copier copier(operation_, &logged_);
  FittedArgs copy = copier.args(args);
  if (copy == nullptr) {
    HOSTD_ERROR("%s: output arguments that the wire cannot carry as they are cannot be copied; "
                "they are encoded as they are", operation_);
  }
  return copy;
}

}  // namespace hostd
