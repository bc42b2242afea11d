// decoders_shared.h - what the three decoder files (scalars, arrays, containers) share: the
// holder that releases an object the decoders made, the setters with their status code, the
// readers of a value object's codes, and the two decoders one file hands to another.
//
// Ownership and JSON conversions follow what decoders.h says.
//
// The readers of a document are templates over its value type: Json::Value (a jsoncpp tree) or
// cmpiutility::FrameNode (a frame read by FrameView, whose accessors give jsoncpp's results),
// so that one piece of code decodes both. Each is instantiated for the two types in its own
// source file.
#ifndef CMPIUTILITY_JSON_DECODERS_SHARED_H
#define CMPIUTILITY_JSON_DECODERS_SHARED_H

#include <cmpimacs.h>
#include <cmpiutility/records.h>
#include <json/json.h>

#include "json/frame_view.h"
#include "json/type_codes.h"

namespace json_decoding {

// The function names of the failure lines; callers match on them.
constexpr const char kAdd2CMPIArgs[] = "Add2CMPIArgs";
constexpr const char kSetCMArrayElement[] = "setCMArrayElement";

// Holds one object made by the object library and releases it through its own function table
// when the scope ends.
template <typename Object>
class Owned {
 public:
  explicit Owned(Object *object = nullptr) : object_(object) {}
  ~Owned() {
    if (object_ != nullptr) CMRelease(object_);
  }
  Owned(const Owned &) = delete;
  Owned &operator=(const Owned &) = delete;

  Object *get() const { return object_; }

 private:
  Object *object_;
};

// Log lines print a missing name as "(null)".
const char *printable(const char *text);

// For CMPI_chars the value pointer handed to a setter is the text itself (NULL: a null value).
const CMPIValue *chars_value(const char *text);

CMPIValue zero_value();

// The three setters with their status code. A missing target cannot take a value: that is
// reported as the object library reports an object without a handle, instead of calling through
// a NULL table.
CMPIrc add_arg(CMPIArgs *args, const char *name, const CMPIValue *value, CMPIType type);
CMPIrc set_property(CMPIInstance *instance, const char *name, const CMPIValue *value,
                    CMPIType type);
CMPIrc set_element(CMPIArray *array, CMPICount index, const CMPIValue *value, CMPIType type);

// "DataType" and "DataState" are read unsigned; both are 16-bit codes.
template <typename Node>
CMPIType type_of(const Node &valueObject);
template <typename Node>
CMPIValueState state_of(const Node &valueObject);

// One integer of the given code from the unsigned 64-bit number, truncated to the code's width
// (which restores the sign of a negative number written as its unsigned form), with the failure
// numbers of its add and set calls. False for a code that is not one of the eight integers.
struct IntegerSite {
  int add_line;
  int set_line;
  int element_line;
};

bool integer_value(CMPIType type, Json::UInt64 number, CMPIValue *value, IntegerSite *site);

// True for the eight integer codes.
using cmpiutility::is_integer_type;

// A new instance of the class and namespace of an embedded-instance object (no status is asked
// for). NULL when either factory gives nothing.
template <typename Node>
CMPIInstance *new_embedded_instance(const Node &embedded);

// Refuses a container that is neither an object nor null the way jsoncpp's getMemberNames does
// (with its exception), so that walking a container with iterators treats a malformed document
// exactly as listing its member names first did.
template <typename Node>
void require_members(const Node &container);

// What Add2CMPIArgs and setCMArrayElement do, reading the value object in place. Those two take
// their value object by copy, as peers expect; the decoders' own calls go through these and
// spare the copy of every value object decoded.
template <typename Node>
unsigned int decode_value_object(CMPIArgs *args, CMPIInstance *instance, const char *name,
                                 const Node &valueObject, int kind);
template <typename Node>
unsigned int fill_array(CMPIArray *array, const Node &valueObject, CMPIType elementType);

// Array values (the type carries CMPI_ARRAY; it keeps the flag when added or set):
// decoders_arrays.cpp.
template <typename Node>
unsigned int decode_array(CMPIArgs *args, CMPIInstance *instance, const char *name,
                          const Node &valueObject, CMPIType type, int kind);

// What createCMInst does (decoders.h), for either document type.
template <typename Node>
unsigned int create_instance(ClientReq *request, ServerResp *response, const Node &document);

}  // namespace json_decoding

#endif  // CMPIUTILITY_JSON_DECODERS_SHARED_H
