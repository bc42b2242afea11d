// fetched.h - ownership of what one CMPI get operation (property, argument, key or array
// element) hands out.
//
// On this platform the name string and the value of a get operation both belong to the caller.
// Fetched holds them for the enclosing scope and releases them when the scope ends: the name
// with CMRelease, the value with cmpiReleaseCMPIValue unless its state is CMPI_nullValue.
#ifndef CMPIUTILITY_JSON_FETCHED_H
#define CMPIUTILITY_JSON_FETCHED_H

#include <cmpiinterface.h>
#include <cmpimacs.h>

namespace cmpiutility {

class Fetched {
 public:
  Fetched(CMPIString *name, CMPIData data)
      : name_(name), type_(data.type), state_(data.state), value_(data.value) {}
  ~Fetched() {
    if (name_ != nullptr) CMRelease(name_);
    if ((state_ & CMPI_nullValue) == 0) cmpiReleaseCMPIValue(type_, &value_);
  }
  Fetched(const Fetched &) = delete;
  Fetched &operator=(const Fetched &) = delete;

 private:
  CMPIString *name_;
  CMPIType type_;
  CMPIValueState state_;
  CMPIValue value_;
};

}  // namespace cmpiutility

#endif  // CMPIUTILITY_JSON_FETCHED_H
