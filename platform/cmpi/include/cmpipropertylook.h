/* cmpipropertylook.h - reading one property of any instance (or one element of any array), in
 * place when this platform's object library made it (C++ only).
 *
 * getPropertyAt hands out a copy of the name and of the value, which the caller then releases:
 * for code that only reads a property (encoders, checks of what the wire can carry) that is
 * pure cost. PropertyLook looks at an instance of this object library in place
 * (cmpiPeekPropertyAt) and asks any other instance with getPropertyAt, releasing what it handed
 * out when the look ends. Either way name() and data() read the same, and the status is what
 * getPropertyAt would have set. The look is valid while the instance is neither changed nor
 * released. */
#ifndef CMPIPROPERTYLOOK_H
#define CMPIPROPERTYLOOK_H

#include <cmpiinterface.h>
#include <cmpimacs.h>

namespace cmpiinterface {

class PropertyLook {
 public:
  PropertyLook(const CMPIInstance *instance, CMPICount index, CMPIStatus *status) {
    const char *name = nullptr;
    if (cmpiPeekPropertyAt(instance, index, &name, &data_) == CMPI_RC_OK) {
      name_ = name;
      if (status != nullptr) *status = CMPIStatus{CMPI_RC_OK, nullptr};
      return;
    }
    data_ = CMGetPropertyAt(instance, index, &fetched_name_, status);
    owned_ = true;
    // On this platform a string's handle is its NUL-terminated text.
    name_ = fetched_name_ != nullptr ? static_cast<const char *>(fetched_name_->hdl) : nullptr;
  }
  ~PropertyLook() {
    if (!owned_) return;
    if (fetched_name_ != nullptr) CMRelease(fetched_name_);
    if ((data_.state & CMPI_nullValue) == 0) cmpiReleaseCMPIValue(data_.type, &data_.value);
  }
  PropertyLook(const PropertyLook &) = delete;
  PropertyLook &operator=(const PropertyLook &) = delete;

  /* NULL when the property came without a name (or its name without text). */
  const char *name() const { return name_; }
  const CMPIData &data() const { return data_; }

 private:
  CMPIData data_ = {};
  const char *name_ = nullptr;
  CMPIString *fetched_name_ = nullptr;
  bool owned_ = false;
};

/* The same for one element of any array: in place for an array of this object library
 * (cmpiPeekArrayElementAt), else through getElementAt, whose copy is released when the look
 * ends. data() and the status read as getElementAt gives them. */
class ElementLook {
 public:
  ElementLook(const CMPIArray *array, CMPICount index, CMPIStatus *status) {
    if (cmpiPeekArrayElementAt(array, index, &data_) == CMPI_RC_OK) {
      if (status != nullptr) *status = CMPIStatus{CMPI_RC_OK, nullptr};
      return;
    }
    data_ = CMGetArrayElementAt(array, index, status);
    owned_ = true;
  }
  ~ElementLook() {
    if (owned_ && (data_.state & CMPI_nullValue) == 0) {
      cmpiReleaseCMPIValue(data_.type, &data_.value);
    }
  }
  ElementLook(const ElementLook &) = delete;
  ElementLook &operator=(const ElementLook &) = delete;

  const CMPIData &data() const { return data_; }

 private:
  CMPIData data_ = {};
  bool owned_ = false;
};

}  // namespace cmpiinterface

#endif /* CMPIPROPERTYLOOK_H */
