// In-process provider calls: GetInstance and EnumerateInstances without a socket exchange.
#include <cmpiutility/local_call.h>

#include <cmpiinterface.h>
#include <cmpimacs.h>
#include <dlfcn.h>

#include "log/log.h"
#include "provider/loader.h"

namespace {

// Settles the provider's answer into the local status: a return code whose low 16 bits are 0
// counts as success. The local status is never handed back, so message strings the provider
// attached (to its return value or to the status out-parameter) are released here; they are
// caller-owned strings made for us.
void settle_status(CMPIStatus returned, CMPIStatus *status) {
  CMPIString *returned_msg = returned.msg;
  CMPIString *status_msg = status->msg;
  if (returned_msg != nullptr) CMRelease(returned_msg);
  if (status_msg != nullptr && status_msg != returned_msg) CMRelease(status_msg);
  status->msg = nullptr;
  if ((static_cast<unsigned int>(returned.rc) & 0xFFFFu) == 0) status->rc = CMPI_RC_OK;
}

// The one instance a GetInstance provider returned into result, as a clone for the caller, or
// nullptr (with its trace line) when the result holds no array, not exactly one element, or an
// element that is no instance.
CMPIInstance *single_instance(const char *function, const CMPIResult *result, CMPIStatus *status) {
  CMPIArray *array = cmpiConvertResult2Array(result);
  if (array == nullptr) {
    CMPIU_TRACE("%s: No Array data in CMPIResult", function);
    return nullptr;
  }
  // Zero elements are as unexpected as several.
  if (CMGetArrayCount(array, status) != 1) {
    CMPIU_TRACE("%s: Array has more than one elmenet, not expected", function);
    return nullptr;
  }
  // The element is a caller-owned copy: clone what the caller gets, release the copy.
  const CMPIData element = CMGetArrayElementAt(array, 0, status);
  const CMPIType type = element.type;
  const CMPIValueState state = element.state;
  CMPIValue value = element.value;
  CMPIInstance *clone = nullptr;
  if (type == CMPI_instance && (state & CMPI_nullValue) == 0 && value.inst != nullptr) {
    clone = CMClone(value.inst, status);
  }
  if ((state & CMPI_nullValue) == 0) cmpiReleaseCMPIValue(type, &value);
  if (clone == nullptr) {
    CMPIU_LOG(cmpiutility::kLogLevelTrace, cmpiutility::kLogModuleAux, "%s: NULL Instance has come",
              function);
  }
  return clone;
}

// An enumeration over a clone of array (nullptr for no array) for the caller; the enumeration
// owns the clone.
CMPIEnumeration *enumeration_over(const char *function, const CMPIArray *array,
                                  CMPIStatus *status) {
  if (array == nullptr) return nullptr;
  CMPIArray *copy = CMClone(array, status);
  CMPIEnumeration *enumeration = makeNewCMPIEnumeration(nullptr, status);
  if (copy == nullptr || enumeration == nullptr) {
    CMPIU_ERROR("%s: Error in creating CMPIEnumeration", function);
    if (copy != nullptr) CMRelease(copy);
    if (enumeration != nullptr) CMRelease(enumeration);
    return nullptr;
  }
  CMPIEnumerationRecord *record = static_cast<CMPIEnumerationRecord *>(enumeration->hdl);
  if (record == nullptr) {
    CMRelease(copy);
    CMRelease(enumeration);
    return nullptr;
  }
  record->array = copy;
  return enumeration;
}

}  // namespace

extern "C" CMPIInstance *LocalGetInstance(CMPIContext *ctx, CMPIObjectPath *path) {
  CMPIU_TRACE_FUNCTION();
  CMPIStatus status = {CMPI_RC_ERR_FAILED, nullptr};
  CMPIString *classNameString = path != nullptr ? CMGetClassName(path, &status) : nullptr;
  if (classNameString == nullptr) {
    CMPIU_ERROR("%s: CMPIString comes as NULL from CMGetClassName", __func__);
    return nullptr;
  }
  // The string's handle is its NUL-terminated text.
  const char *className = static_cast<const char *>(classNameString->hdl);

  void *handle = nullptr;
  void *entry = nullptr;
  if (localloadProvider(className, CMPIU_LOCAL_GETINSTANCE_ENTRY, &handle, &entry) != 0) {
    CMPIU_ERROR("ERROR: library is not loaded");
    CMRelease(classNameString);
    if (handle != nullptr) dlclose(handle);
    return nullptr;
  }

  CMPIInstance *answer = nullptr;
  CMPIBroker *broker = getCMPIBroker(&status);
  if (broker == nullptr) {
    CMPIU_ERROR("Error: Broker initialization failed, invoke provider is not possible");
  } else {
    CMPIResult *result = makeNewCMPIResult(&status);
    if (result == nullptr) {
      CMPIU_ERROR("%s: CMPIResult creation failed, CBGetinstance is not possible", __func__);
    } else {
      const auto getInstance = reinterpret_cast<CMPIULocalGetInstanceFn>(entry);
      // Whatever the provider answers, what it returned into the result decides.
      settle_status(getInstance(broker, ctx, result, path, nullptr, className), &status);
      answer = single_instance(__func__, result, &status);
      // The result goes before the library: the provider's code may not be needed after close.
      CMRelease(result);
    }
  }
  CMRelease(classNameString);
  dlclose(handle);
  return answer;
}

extern "C" CMPIEnumeration *CBEnumInstance(CMPIContext *ctx, const char *className,
                                           CMPIObjectPath *path, unsigned char flag) {
  CMPIU_TRACE_FUNCTION();
  CMPIStatus status = {CMPI_RC_ERR_FAILED, nullptr};
  void *handle = nullptr;
  void *entry = nullptr;
  if (localloadProvider(className, CMPIU_LOCAL_ENUMERATE_ENTRY, &handle, &entry) != 0) {
    CMPIU_ERROR("ERROR: library is not loaded");
    return nullptr;
  }
  CMPIBroker *broker = getCMPIBroker(&status);
  if (broker == nullptr) {
    CMPIU_ERROR("Error: Broker initialization failed, invoke provider is not possible");
    dlclose(handle);
    return nullptr;
  }
  CMPIResult *result = makeNewCMPIResult(&status);
  if (result == nullptr) {
    CMPIU_ERROR("Error: CMPIResult creation failed, invoke provider is not possible");
    dlclose(handle);
    return nullptr;
  }
  const auto enumerate = reinterpret_cast<CMPIULocalEnumerateFn>(entry);
  // The return code only settles the local status: data returned by a failing provider is still
  // handed on.
  settle_status(enumerate(broker, ctx, path, result, &status, flag, className), &status);
  CMPIEnumeration *answer = enumeration_over(__func__, cmpiConvertResult2Array(result), &status);
  CMRelease(result);
  dlclose(handle);
  return answer;
}
