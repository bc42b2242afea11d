// The factories of the object library as a test program sees them (factory_faults.h).
#include "factory_faults.h"

#include <cmpidt.h>
#include <cmpift.h>
#include <cmpiinterface.h>
#include <dlfcn.h>

#include <cstring>

namespace {

struct Armed {
  bool active = false;
  cmpitest::Fault fault = cmpitest::Fault::kFail;
  int skip = 0;
  std::string text;
  bool has_text = false;
  int calls = 0;
};

constexpr int kFactories = 6;
Armed g_armed[kFactories];

Armed &armed(cmpitest::Factory factory) { return g_armed[static_cast<int>(factory)]; }

// Whether this call gets a fault, and which.
bool faulted(cmpitest::Factory factory, const char *text, cmpitest::Fault *fault) {
  Armed &a = armed(factory);
  if (!a.active) return false;
  if (a.has_text && (text == nullptr || a.text != text)) return false;
  a.calls += 1;
  if (a.calls <= a.skip) return false;
  *fault = a.fault;
  return true;
}

void set_rc(CMPIStatus *rc, CMPIrc code) {
  if (rc != nullptr) *rc = CMPIStatus{code, nullptr};
}

// Runs the real factory, or applies the fault.
template <typename Object, typename Make>
Object *produce(cmpitest::Factory factory, const char *text, CMPIStatus *rc, Make make) {
  cmpitest::Fault fault = cmpitest::Fault::kFail;
  if (!faulted(factory, text, &fault)) return make(rc);
  switch (fault) {
    case cmpitest::Fault::kFail:
      set_rc(rc, CMPI_RC_ERR_FAILED);
      return nullptr;
    case cmpitest::Fault::kFailWithObject: {
      Object *object = make(nullptr);
      set_rc(rc, CMPI_RC_ERR_FAILED);
      return object;  // the sanitizer build sees whether the caller releases it
    }
    case cmpitest::Fault::kOkNothing:
      set_rc(rc, CMPI_RC_OK);
      return nullptr;
  }
  return nullptr;
}

template <typename Function>
Function next(const char *name) {
  return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

// ---- the filter recorder ---------------------------------------------------------------------

std::vector<std::string> *g_filter_calls = nullptr;
const CMPIInstanceFT *g_real_instance_ft = nullptr;

std::string list_text(const char **list) {
  if (list == nullptr) return "NULL";
  std::string out;
  for (const char **name = list; *name != nullptr; ++name) {
    if (!out.empty()) out += ",";
    out += *name;
  }
  return out;
}

CMPIStatus recording_filter(CMPIInstance *inst, const char **properties, const char **keys) {
  if (g_filter_calls != nullptr) {
    g_filter_calls->push_back("properties=" + list_text(properties) + ";keys=" + list_text(keys));
  }
  return g_real_instance_ft->setPropertyFilter(inst, properties, keys);
}

CMPIInstanceFT *recording_table(const CMPIInstanceFT *real) {
  static CMPIInstanceFT table;
  g_real_instance_ft = real;
  table = *real;
  table.setPropertyFilter = recording_filter;
  return &table;
}

}  // namespace

namespace cmpitest {

FactoryFault::FactoryFault(Factory factory, Fault fault, int skip, const char *text) {
  Armed &a = armed(factory);
  a = Armed();
  a.active = true;
  a.fault = fault;
  a.skip = skip;
  a.has_text = text != nullptr;
  if (text != nullptr) a.text = text;
  factory_ = factory;
}

FactoryFault::~FactoryFault() { armed(factory_) = Armed(); }

int FactoryFault::calls() const { return armed(factory_).calls; }

FilterRecorder::FilterRecorder() { g_filter_calls = &calls_; }

FilterRecorder::~FilterRecorder() { g_filter_calls = nullptr; }

const std::vector<std::string> &FilterRecorder::calls() const { return calls_; }

}  // namespace cmpitest

extern "C" CMPIObjectPath *makeNewObjectPath(const char *nameSpace, const char *className,
                                             CMPIStatus *rc) {
  using Real = CMPIObjectPath *(*)(const char *, const char *, CMPIStatus *);
  static const Real real = next<Real>("makeNewObjectPath");
  return produce<CMPIObjectPath>(cmpitest::Factory::kObjectPath, className, rc,
                                 [&](CMPIStatus *r) { return real(nameSpace, className, r); });
}

extern "C" CMPIInstance *makeNewCMPIInstance(const CMPIObjectPath *path, CMPIStatus *rc) {
  using Real = CMPIInstance *(*)(const CMPIObjectPath *, CMPIStatus *);
  static const Real real = next<Real>("makeNewCMPIInstance");
  CMPIInstance *instance = produce<CMPIInstance>(cmpitest::Factory::kInstance, nullptr, rc,
                                                 [&](CMPIStatus *r) { return real(path, r); });
  if (instance != nullptr && g_filter_calls != nullptr)
    instance->ft = recording_table(instance->ft);
  return instance;
}

extern "C" CMPIArgs *makeNewCMPIArgs(CMPIStatus *rc) {
  using Real = CMPIArgs *(*)(CMPIStatus *);
  static const Real real = next<Real>("makeNewCMPIArgs");
  return produce<CMPIArgs>(cmpitest::Factory::kArgs, nullptr, rc,
                           [&](CMPIStatus *r) { return real(r); });
}

extern "C" CMPIArray *makeNewCMPIArray(CMPICount size, CMPIType elementType, CMPIStatus *rc) {
  using Real = CMPIArray *(*)(CMPICount, CMPIType, CMPIStatus *);
  static const Real real = next<Real>("makeNewCMPIArray");
  return produce<CMPIArray>(cmpitest::Factory::kArray, nullptr, rc,
                            [&](CMPIStatus *r) { return real(size, elementType, r); });
}

extern "C" CMPIDateTime *makeNewCMPIDateTimeFromChars(const char *text, CMPIStatus *rc) {
  using Real = CMPIDateTime *(*)(const char *, CMPIStatus *);
  static const Real real = next<Real>("makeNewCMPIDateTimeFromChars");
  return produce<CMPIDateTime>(cmpitest::Factory::kDateTime, text, rc,
                               [&](CMPIStatus *r) { return real(text, r); });
}

extern "C" CMPIString *CreateString(const char *text, CMPIStatus *rc) {
  using Real = CMPIString *(*)(const char *, CMPIStatus *);
  static const Real real = next<Real>("CreateString");
  return produce<CMPIString>(cmpitest::Factory::kString, text, rc,
                             [&](CMPIStatus *r) { return real(text, r); });
}
