// cmpi_describe.h - CMPI data as text, so that tests can compare what a decoder built with one
// string.
//
//   describe_properties(inst)  "name(type)=value;" per property, in the instance's order
//   describe_args(args)        the same per argument
//   describe_keys(path)        the same per key
//   describe_path(path)        "namespace:Class" (or the parts that are missing as "<none>")
//
// A value is its value2Chars text, "<null>" when its state says so, "[a,b]" for an array (each
// element described the same way), "{namespace:Class|properties}" for an embedded instance and
// the path text for a reference. Everything the object library hands out is released again.
#ifndef CMPITEST_JSON_CMPI_DESCRIBE_H
#define CMPITEST_JSON_CMPI_DESCRIBE_H

#include <cmpidt.h>
#include <cmpift.h>
#include <cmpiinterface.h>
#include <cmpimacs.h>

#include <cstdlib>
#include <string>

namespace cmpitest {

inline std::string describe_properties(const CMPIInstance *instance);

// Text of a CMPIString handed out by the library, which it then releases.
inline std::string take_text(CMPIString *string) {
  if (string == nullptr) return "<none>";
  std::string text = CMGetCharPtr(string) != nullptr ? CMGetCharPtr(string) : "<none>";
  CMRelease(string);
  return text;
}

inline std::string describe_path(const CMPIObjectPath *path) {
  if (path == nullptr) return "<no path>";
  return take_text(CMGetNameSpace(path, nullptr)) + ":" + take_text(CMGetClassName(path, nullptr));
}

inline std::string describe_value(CMPIType type, CMPIValueState state, const CMPIValue &value) {
  if ((state & CMPI_nullValue) != 0) return "<null>";
  if ((type & CMPI_ARRAY) != 0) {
    CMPIArray *array = value.array;
    std::string out = "[";
    const CMPICount count = CMGetArrayCount(array, nullptr);
    for (CMPICount i = 0; i < count; ++i) {
      CMPIData element = CMGetArrayElementAt(array, i, nullptr);
      CMPIValue element_value = element.value;
      if (i != 0) out += ",";
      out += describe_value(element.type, element.state, element_value);
      if ((element.state & CMPI_nullValue) == 0) cmpiReleaseCMPIValue(element.type, &element_value);
    }
    return out + "]";
  }
  if (type == CMPI_instance) {
    CMPIInstance *instance = value.inst;
    CMPIObjectPath *path = CMGetObjectPath(instance, nullptr);
    std::string out = "{" + describe_path(path) + "|" + describe_properties(instance) + "}";
    if (path != nullptr) CMRelease(path);
    return out;
  }
  char *text = value2Chars(type, &value);
  std::string out = text != nullptr ? text : "<no text>";
  free(text);
  return out;
}

// "name(type)=value;" for one datum handed out with its name; releases both.
inline std::string describe_entry(CMPIString *name, CMPIData data) {
  CMPIValue value = data.value;
  std::string out = take_text(name) + "(" + std::to_string(data.type) +
                    ")=" + describe_value(data.type, data.state, value) + ";";
  if ((data.state & CMPI_nullValue) == 0) cmpiReleaseCMPIValue(data.type, &value);
  return out;
}

inline std::string describe_properties(const CMPIInstance *instance) {
  if (instance == nullptr) return "<no instance>";
  std::string out;
  const CMPICount count = CMGetPropertyCount(instance, nullptr);
  for (CMPICount i = 0; i < count; ++i) {
    CMPIString *name = nullptr;
    const CMPIData data = CMGetPropertyAt(instance, i, &name, nullptr);
    out += describe_entry(name, data);
  }
  return out;
}

inline std::string describe_args(const CMPIArgs *args) {
  if (args == nullptr) return "<no args>";
  std::string out;
  const CMPICount count = CMGetArgCount(args, nullptr);
  for (CMPICount i = 0; i < count; ++i) {
    CMPIString *name = nullptr;
    const CMPIData data = CMGetArgAt(args, i, &name, nullptr);
    out += describe_entry(name, data);
  }
  return out;
}

inline std::string describe_keys(const CMPIObjectPath *path) {
  if (path == nullptr) return "<no path>";
  std::string out;
  const CMPICount count = CMGetKeyCount(path, nullptr);
  for (CMPICount i = 0; i < count; ++i) {
    CMPIString *name = nullptr;
    const CMPIData data = CMGetKeyAt(path, i, &name, nullptr);
    out += describe_entry(name, data);
  }
  return out;
}

}  // namespace cmpitest

#endif  // CMPITEST_JSON_CMPI_DESCRIBE_H
