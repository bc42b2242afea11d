// cmpi_build.h - CMPI objects made from parsed command-line paths and values, and owners that
// release them.
//
// Keys travel as text whatever their kind (the request format carries string and reference keys
// only), so every non-reference key is added as a string holding the text as written; reference
// keys become CMPI_ref keys holding the nested path.
#ifndef CMPI_CLI_CMPI_BUILD_H
#define CMPI_CLI_CMPI_BUILD_H

#include <cmpidt.h>
#include <cmpiinterface.h>
#include <cmpimacs.h>

#include <memory>
#include <string>
#include <vector>

#include "path_syntax.h"
#include "value_syntax.h"

namespace cli {

template <class T>
struct CmpiReleaser {
  void operator()(T *object) const {
    if (object != nullptr) CMRelease(object);
  }
};
struct ClassReleaser {
  void operator()(CMPIConstClass *cls) const {
    if (cls != nullptr) cls->ft->release(cls);
  }
};

using PathPtr = std::unique_ptr<CMPIObjectPath, CmpiReleaser<CMPIObjectPath>>;
using InstancePtr = std::unique_ptr<CMPIInstance, CmpiReleaser<CMPIInstance>>;
using ArgsPtr = std::unique_ptr<CMPIArgs, CmpiReleaser<CMPIArgs>>;
using ArrayPtr = std::unique_ptr<CMPIArray, CmpiReleaser<CMPIArray>>;
using StringPtr = std::unique_ptr<CMPIString, CmpiReleaser<CMPIString>>;
using ContextPtr = std::unique_ptr<CMPIContext, CmpiReleaser<CMPIContext>>;
using DateTimePtr = std::unique_ptr<CMPIDateTime, CmpiReleaser<CMPIDateTime>>;
using EnumerationPtr = std::unique_ptr<CMPIEnumeration, CmpiReleaser<CMPIEnumeration>>;
using ClassPtr = std::unique_ptr<CMPIConstClass, ClassReleaser>;

// A datum handed out by a get operation; its value is released with it (unless it is null).
class OwnedData {
 public:
  explicit OwnedData(CMPIData data) : data_(data) {}
  ~OwnedData();
  OwnedData(const OwnedData &) = delete;
  OwnedData &operator=(const OwnedData &) = delete;

  CMPIType type() const { return data_.type; }
  CMPIValueState state() const { return data_.state; }
  CMPIValue value() const { return data_.value; }
  bool is_null() const { return (data_.state & CMPI_nullValue) != 0; }

 private:
  CMPIData data_;
};

// Calls visit(name, datum) for each argument of args (none when args is NULL) except the one
// named skip, in the order the arguments hold them.
template <class Visit>
void for_each_argument(const CMPIArgs *args, const std::string &skip, Visit visit);

// The text of a string object ("" for NULL).
std::string text_of(const CMPIString *string);
// Takes over a string handed out by a get operation and returns its text.
std::string take_text(CMPIString *string);

// The object path of parsed; the path and nested references without a namespace get
// default_ns. Throws CimError when the object library fails.
PathPtr build_path(const ParsedPath &parsed, const std::string &default_ns);

// Sets the value as a property of inst, or adds it as an argument to args. Throws SyntaxError
// for a value the object library refuses (a date-time it cannot read), CimError when it fails.
void set_property(CMPIInstance *inst, const ParsedValue &value, const std::string &default_ns);
void add_argument(CMPIArgs *args, const ParsedValue &value, const std::string &default_ns);

template <class Visit>
void for_each_argument(const CMPIArgs *args, const std::string &skip, Visit visit) {
  if (args == nullptr) return;
  const CMPICount n = args->ft->getArgCount(args, nullptr);
  for (CMPICount i = 0; i < n; ++i) {
    CMPIString *name = nullptr;
    OwnedData d(args->ft->getArgAt(args, i, &name, nullptr));
    const std::string text = take_text(name);
    if (text != skip) visit(text, d);
  }
}

// Sets every key of path that values does not name as a property of inst: strings and
// references as such, integers as uint64 (sint64 when negative), reals as real64, booleans as
// boolean.
void set_key_properties(CMPIInstance *inst, const ParsedPath &path,
                        const std::vector<ParsedValue> &values, const std::string &default_ns);

// Why the request format cannot carry path as written (empty when it can): key values with ',',
// '=', '(' or ')'; reference keys next to other keys; references whose paths hold references.
std::string unsendable_path_reason(const ParsedPath &path);
// The same for the references inside a value.
std::string unsendable_value_reason(const ParsedValue &value);

}  // namespace cli

#endif  // CMPI_CLI_CMPI_BUILD_H
