// demo_host.h - a provider host in miniature for the demo provider tests.
//
//   demotest::StateFile state;           // CMPI_DEMO_STATE -> a new temporary file
//   demotest::DemoProvider provider;     // dlopen libdemoprovider.so, call the three factories
//   demotest::Owned<CMPIObjectPath> op(demotest::FanPath("fan0"));
//   demotest::Answer answer = provider.getInstance(op.get());
//   EXPECT_EQ(answer.rc, CMPI_RC_OK);
//   CMPIInstance *inst = answer.instance(0);
//
// The provider is driven exactly as a host drives it: the library is opened with dlopen, its
// factories DemoProvider_Create_<Kind>MI get the platform broker (getCMPIBroker) and a context
// (makeNewCMPIContext) holding "CMPIPrincipal", "CMPIInitNameSpace" and
// "CMPIInvocationFlags"; every call gets a new result (makeNewCMPIResult) whose collection
// (cmpiConvertResult2Array) is copied into the Answer. The MIs are cleaned up and the library
// closed when the object goes.
#ifndef DEMOTEST_DEMO_HOST_H
#define DEMOTEST_DEMO_HOST_H

#include <cmpiinterface.h>
#include <cmpimacs.h>
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace demotest {

// ---- ownership ----------------------------------------------------------------------------------

struct Releaser {
  template <typename T>
  void operator()(T *object) const {
    if (object != nullptr) CMRelease(object);
  }
};

// An object of the platform library, released with CMRelease when the pointer goes.
template <typename T>
using Owned = std::unique_ptr<T, Releaser>;

// Releases the value of a caller-owned datum (not for null data).
inline void Release(CMPIData data) {
  const CMPIValueState state = data.state;
  CMPIValue value = data.value;
  if ((state & CMPI_nullValue) == 0) cmpiReleaseCMPIValue(data.type, &value);
}

// ---- the state file -----------------------------------------------------------------------------

// Points CMPI_DEMO_STATE at "state.db" in a new temporary directory while it lives; restores
// the variable and removes the directory afterwards.
class StateFile {
 public:
  StateFile() {
    char pattern[] = "/tmp/demo-state-XXXXXX";
    const char *made = mkdtemp(pattern);
    EXPECT_NE(made, nullptr);
    if (made != nullptr) directory_ = made;
    path_ = directory_ + "/state.db";
    const char *old = getenv(kVariable);
    hadOld_ = old != nullptr;
    if (hadOld_) old_ = old;
    setenv(kVariable, path_.c_str(), 1);
  }
  ~StateFile() {
    if (hadOld_)
      setenv(kVariable, old_.c_str(), 1);
    else
      unsetenv(kVariable);
    std::error_code ignored;
    std::filesystem::remove_all(directory_, ignored);
  }
  StateFile(const StateFile &) = delete;
  StateFile &operator=(const StateFile &) = delete;

  const std::string &path() const { return path_; }
  const std::string &directory() const { return directory_; }

  // Points the variable at another file.
  void point_at(const std::string &path) { setenv(kVariable, path.c_str(), 1); }

 private:
  static constexpr const char *kVariable = "CMPI_DEMO_STATE";
  std::string directory_;
  std::string path_;
  std::string old_;
  bool hadOld_ = false;
};

// ---- answers ------------------------------------------------------------------------------------

// What one MI call gave back: its status and copies of everything it returned into the result.
class Answer {
 public:
  Answer() = default;
  ~Answer() {
    for (const CMPIData &item : items) Release(item);
  }
  Answer(Answer &&other) noexcept
      : rc(other.rc),
        message(std::move(other.message)),
        finished(other.finished),
        items(std::move(other.items)) {
    other.items.clear();
  }
  Answer &operator=(Answer &&) = delete;
  Answer(const Answer &) = delete;

  CMPIrc rc = CMPI_RC_OK;
  std::string message;    // the status message, "" when none
  bool finished = false;  // the result holds a collection (returnDone or something returned)
  std::vector<CMPIData> items;

  size_t size() const { return items.size(); }
  CMPIType type(size_t i) const { return items.at(i).type; }
  CMPIInstance *instance(size_t i) const {
    EXPECT_EQ(type(i), CMPI_instance);
    const CMPIValue value = items.at(i).value;
    return value.inst;
  }
  CMPIObjectPath *path(size_t i) const {
    EXPECT_EQ(type(i), CMPI_ref);
    const CMPIValue value = items.at(i).value;
    return value.ref;
  }
  // The text of every returned path, or of the path of every returned instance.
  std::vector<std::string> paths() const;
};

// Fills answer from a call's status and result, then releases the result and the status
// message.
inline void Collect(CMPIStatus status, CMPIResult *result, Answer *answer) {
  answer->rc = status.rc;
  CMPIString *msg = status.msg;
  if (msg != nullptr) {
    answer->message = CMGetCharPtr(msg);
    CMRelease(msg);
  }
  CMPIArray *collection = cmpiConvertResult2Array(result);
  answer->finished = collection != nullptr;
  if (collection != nullptr) {
    const CMPICount count = CMGetArrayCount(collection, nullptr);
    for (CMPICount i = 0; i < count; ++i)
      answer->items.push_back(CMGetArrayElementAt(collection, i, nullptr));
  }
  CMRelease(result);
}

// The platform's path text of op (namespace:Class.key=value,...).
inline std::string PathText(const CMPIObjectPath *op) {
  if (op == nullptr) return "<no path>";
  CMPIString *text = CMObjectPathToString(op, nullptr);
  std::string out = text != nullptr ? CMGetCharPtr(text) : "<no text>";
  if (text != nullptr) CMRelease(text);
  return out;
}

inline std::vector<std::string> Answer::paths() const {
  std::vector<std::string> out;
  for (const CMPIData &item : items) {
    const CMPIType t = item.type;
    const CMPIValue value = item.value;
    if (t == CMPI_ref) {
      out.push_back(PathText(value.ref));
    } else if (t == CMPI_instance) {
      Owned<CMPIObjectPath> op(CMGetObjectPath(value.inst, nullptr));
      out.push_back(PathText(op.get()));
    } else {
      out.push_back("<type " + std::to_string(t) + ">");
    }
  }
  return out;
}

// ---- paths and instances ------------------------------------------------------------------------

inline constexpr const char *kNs = "root/cimv2";

inline CMPIObjectPath *ChassisPath(const char *tag, const char *ns = kNs) {
  CMPIObjectPath *op = makeNewObjectPath(ns, "Demo_Chassis", nullptr);
  CMAddKey(op, "Tag", tag, CMPI_chars);
  return op;
}

inline CMPIObjectPath *FanPath(const char *deviceId, const char *systemName = "bmc0",
                               const char *ns = kNs) {
  CMPIObjectPath *op = makeNewObjectPath(ns, "Demo_Fan", nullptr);
  CMAddKey(op, "DeviceID", deviceId, CMPI_chars);
  CMAddKey(op, "SystemName", systemName, CMPI_chars);
  return op;
}

inline CMPIObjectPath *MembershipPath(const CMPIObjectPath *group, const CMPIObjectPath *part) {
  CMPIObjectPath *op = makeNewObjectPath(kNs, "Demo_ChassisFan", nullptr);
  CMAddKey(op, "GroupComponent", &group, CMPI_ref);
  CMAddKey(op, "PartComponent", &part, CMPI_ref);
  return op;
}

inline CMPIObjectPath *ClassPath(const char *className, const char *ns = kNs) {
  return makeNewObjectPath(ns, className, nullptr);
}

// One property as seen by a test: its type code, whether it is null or missing, and its value
// as text (scalars as the platform writes them, arrays as "[a,b]" with "null" elements, an
// embedded instance as "<Class>{Name=value,...}").
struct Prop {
  CMPIType type = CMPI_null;
  bool null = false;
  bool missing = false;
  std::string text;
};

std::string ValueText(CMPIType type, const CMPIValue &value);

inline std::string InstanceText(const CMPIInstance *inst) {
  Owned<CMPIObjectPath> op(CMGetObjectPath(inst, nullptr));
  Owned<CMPIString> cn(CMGetClassName(op.get(), nullptr));
  std::string out = std::string(CMGetCharPtr(cn.get())) + "{";
  const CMPICount count = CMGetPropertyCount(inst, nullptr);
  for (CMPICount i = 0; i < count; ++i) {
    CMPIString *name = nullptr;
    const CMPIData data = CMGetPropertyAt(inst, i, &name, nullptr);
    const CMPIValueState state = data.state;
    const CMPIValue value = data.value;
    if (i > 0) out += ",";
    out += std::string(CMGetCharPtr(name)) + "=";
    out += (state & CMPI_nullValue) != 0 ? "null" : ValueText(data.type, value);
    Release(data);
    CMRelease(name);
  }
  return out + "}";
}

inline std::string ValueText(CMPIType type, const CMPIValue &value) {
  if ((type & CMPI_ARRAY) != 0) {
    std::string out = "[";
    const CMPICount count = CMGetArrayCount(value.array, nullptr);
    for (CMPICount i = 0; i < count; ++i) {
      const CMPIData element = CMGetArrayElementAt(value.array, i, nullptr);
      const CMPIValueState state = element.state;
      const CMPIValue elementValue = element.value;
      if (i > 0) out += ",";
      out += (state & CMPI_nullValue) != 0 ? "null" : ValueText(element.type, elementValue);
      Release(element);
    }
    return out + "]";
  }
  if (type == CMPI_instance) return InstanceText(value.inst);
  char *text = value2Chars(type, &value);
  std::string out = text != nullptr ? text : "<no text>";
  free(text);
  return out;
}

inline Prop Property(const CMPIInstance *inst, const char *name) {
  Prop prop;
  CMPIStatus st = {CMPI_RC_OK, nullptr};
  const CMPIData data = CMGetProperty(inst, name, &st);
  const CMPIValueState state = data.state;
  const CMPIValue value = data.value;
  prop.type = data.type;
  prop.missing = (state & CMPI_notFound) != 0 || st.rc != CMPI_RC_OK;
  prop.null = (state & CMPI_nullValue) != 0;
  if (!prop.null && !prop.missing) prop.text = ValueText(prop.type, value);
  if (!prop.missing) Release(data);
  return prop;
}

inline std::string Text(const CMPIInstance *inst, const char *name) {
  const Prop prop = Property(inst, name);
  if (prop.missing) return "<missing>";
  if (prop.null) return "<null>";
  return prop.text;
}

inline std::vector<std::string> PropertyNames(const CMPIInstance *inst) {
  std::vector<std::string> names;
  const CMPICount count = CMGetPropertyCount(inst, nullptr);
  for (CMPICount i = 0; i < count; ++i) {
    CMPIString *name = nullptr;
    Release(CMGetPropertyAt(inst, i, &name, nullptr));
    names.push_back(CMGetCharPtr(name));
    CMRelease(name);
  }
  return names;
}

// ---- the provider -------------------------------------------------------------------------------

class DemoProvider {
 public:
  explicit DemoProvider(const std::string &library = DEMO_PROVIDER_LIBRARY) : library_(library) {
    broker_ = getCMPIBroker(nullptr);
    context_ = makeNewCMPIContext(nullptr);
    const CMPIUint32 flags = 0;
    CMAddContextEntry(context_, CMPIPrincipal, "root", CMPI_chars);
    CMAddContextEntry(context_, CMPIInitNameSpace, kNs, CMPI_chars);
    CMAddContextEntry(context_, CMPIInvocationFlags, &flags, CMPI_uint32);
    load();
  }
  ~DemoProvider() {
    unload();
    CMRelease(context_);
  }
  DemoProvider(const DemoProvider &) = delete;
  DemoProvider &operator=(const DemoProvider &) = delete;

  // Cleans the MIs up, closes the library (which must then be gone from the process) and
  // opens it afresh: nothing but the state file can carry anything over.
  void reload() {
    unload();
    void *still = dlopen(library_.c_str(), RTLD_LAZY | RTLD_NOLOAD);
    EXPECT_EQ(still, nullptr) << "the provider library stayed loaded";
    if (still != nullptr) dlclose(still);
    load();
  }

  void *handle() const { return handle_; }
  const CMPIBroker *broker() const { return broker_; }
  const CMPIContext *context() const { return context_; }
  CMPIInstanceMI *instanceMI() const { return instance_; }
  CMPIMethodMI *methodMI() const { return method_; }
  CMPIAssociationMI *associationMI() const { return association_; }

  Answer enumerateInstanceNames(const CMPIObjectPath *op) {
    CMPIResult *r = makeNewCMPIResult(nullptr);
    return collect(instance_->ft->enumerateInstanceNames(instance_, context_, r, op), r);
  }
  Answer enumerateInstances(const CMPIObjectPath *op, const char **properties = nullptr) {
    CMPIResult *r = makeNewCMPIResult(nullptr);
    return collect(instance_->ft->enumerateInstances(instance_, context_, r, op, properties), r);
  }
  Answer getInstance(const CMPIObjectPath *op, const char **properties = nullptr) {
    CMPIResult *r = makeNewCMPIResult(nullptr);
    return collect(instance_->ft->getInstance(instance_, context_, r, op, properties), r);
  }
  Answer createInstance(const CMPIObjectPath *op, const CMPIInstance *inst) {
    CMPIResult *r = makeNewCMPIResult(nullptr);
    return collect(instance_->ft->createInstance(instance_, context_, r, op, inst), r);
  }
  Answer modifyInstance(const CMPIObjectPath *op, const CMPIInstance *inst,
                        const char **properties = nullptr) {
    CMPIResult *r = makeNewCMPIResult(nullptr);
    return collect(instance_->ft->modifyInstance(instance_, context_, r, op, inst, properties), r);
  }
  Answer deleteInstance(const CMPIObjectPath *op) {
    CMPIResult *r = makeNewCMPIResult(nullptr);
    return collect(instance_->ft->deleteInstance(instance_, context_, r, op), r);
  }
  Answer execQuery(const CMPIObjectPath *op, const char *query, const char *lang = "WQL") {
    CMPIResult *r = makeNewCMPIResult(nullptr);
    return collect(instance_->ft->execQuery(instance_, context_, r, op, query, lang), r);
  }
  Answer invokeMethod(const CMPIObjectPath *op, const char *method, const CMPIArgs *in,
                      CMPIArgs *out) {
    CMPIResult *r = makeNewCMPIResult(nullptr);
    return collect(method_->ft->invokeMethod(method_, context_, r, op, method, in, out), r);
  }
  Answer associators(const CMPIObjectPath *op, const char *assocClass = nullptr,
                     const char *resultClass = nullptr, const char *role = nullptr,
                     const char *resultRole = nullptr, const char **properties = nullptr) {
    CMPIResult *r = makeNewCMPIResult(nullptr);
    return collect(association_->ft->associators(association_, context_, r, op, assocClass,
                                                 resultClass, role, resultRole, properties),
                   r);
  }
  Answer associatorNames(const CMPIObjectPath *op, const char *assocClass = nullptr,
                         const char *resultClass = nullptr, const char *role = nullptr,
                         const char *resultRole = nullptr) {
    CMPIResult *r = makeNewCMPIResult(nullptr);
    return collect(association_->ft->associatorNames(association_, context_, r, op, assocClass,
                                                     resultClass, role, resultRole),
                   r);
  }
  Answer references(const CMPIObjectPath *op, const char *resultClass = nullptr,
                    const char *role = nullptr, const char **properties = nullptr) {
    CMPIResult *r = makeNewCMPIResult(nullptr);
    return collect(
        association_->ft->references(association_, context_, r, op, resultClass, role, properties),
        r);
  }
  Answer referenceNames(const CMPIObjectPath *op, const char *resultClass = nullptr,
                        const char *role = nullptr) {
    CMPIResult *r = makeNewCMPIResult(nullptr);
    return collect(
        association_->ft->referenceNames(association_, context_, r, op, resultClass, role), r);
  }

 private:
  using InstanceFactory = CMPIInstanceMI *(*)(const CMPIBroker *, const CMPIContext *,
                                              CMPIStatus *);
  using MethodFactory = CMPIMethodMI *(*)(const CMPIBroker *, const CMPIContext *, CMPIStatus *);
  using AssociationFactory = CMPIAssociationMI *(*)(const CMPIBroker *, const CMPIContext *,
                                                    CMPIStatus *);

  static Answer collect(CMPIStatus status, CMPIResult *result) {
    Answer answer;
    Collect(status, result, &answer);
    return answer;
  }

  template <typename Factory>
  Factory factory(const char *name) {
    void *symbol = dlsym(handle_, name);
    EXPECT_NE(symbol, nullptr) << name;
    return reinterpret_cast<Factory>(symbol);
  }

  template <typename MI, typename Factory>
  MI *create(Factory make) {
    CMPIStatus st = {CMPI_RC_ERR_FAILED, nullptr};
    MI *mi = make != nullptr ? make(broker_, context_, &st) : nullptr;
    const CMPIrc rc = st.rc;
    EXPECT_EQ(rc, CMPI_RC_OK);
    EXPECT_NE(mi, nullptr);
    return mi;
  }

  void load() {
    handle_ = dlopen(library_.c_str(), RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(handle_, nullptr) << dlerror();
    instance_ = create<CMPIInstanceMI>(factory<InstanceFactory>("DemoProvider_Create_InstanceMI"));
    method_ = create<CMPIMethodMI>(factory<MethodFactory>("DemoProvider_Create_MethodMI"));
    association_ =
        create<CMPIAssociationMI>(factory<AssociationFactory>("DemoProvider_Create_AssociationMI"));
  }

  void unload() {
    if (handle_ == nullptr) return;
    if (instance_ != nullptr) instance_->ft->cleanup(instance_, context_, 1);
    if (method_ != nullptr) method_->ft->cleanup(method_, context_, 1);
    if (association_ != nullptr) association_->ft->cleanup(association_, context_, 1);
    instance_ = nullptr;
    method_ = nullptr;
    association_ = nullptr;
    dlclose(handle_);
    handle_ = nullptr;
  }

  std::string library_;
  const CMPIBroker *broker_ = nullptr;
  CMPIContext *context_ = nullptr;
  void *handle_ = nullptr;
  CMPIInstanceMI *instance_ = nullptr;
  CMPIMethodMI *method_ = nullptr;
  CMPIAssociationMI *association_ = nullptr;
};

// The usual fixture: a fresh state file and the provider loaded.
class DemoTest : public ::testing::Test {
 protected:
  StateFile state_;
  DemoProvider provider_;
};

}  // namespace demotest

#endif  // DEMOTEST_DEMO_HOST_H
