// bench_instances.h - the instances and response documents the codec and tokenizer benchmarks
// work on, made with the platform's own objects and the library's own encoder.
//
// Codec instances (class "Bench_Device" in root/cimv2) have N properties named Prop000,
// Prop001, ... whose types repeat a cycle of ten kinds: string, uint32, uint64, sint32, boolean,
// real64, dateTime, reference, uint32 array, string array. Every value is a function of the
// property's index, so the same document can be rebuilt from plain data (the floor) without
// going through any CMPI object.
//
// Fan instances have the shape of the demo provider's Demo_Fan (23 properties: every scalar
// kind, two arrays, a reference, an embedded instance and a null string).
#ifndef CMPIUTILITY_BENCH_INSTANCES_H
#define CMPIUTILITY_BENCH_INSTANCES_H

#include <cmpidt.h>
#include <cmpift.h>
#include <stdint.h>

#include <string>
#include <vector>

namespace bench {

constexpr const char *kNameSpace = "root/cimv2";
constexpr const char *kDeviceClass = "Bench_Device";

enum class Kind {
  kString,
  kUint32,
  kUint64,
  kSint32,
  kBoolean,
  kReal64,
  kDateTime,
  kReference,
  kUint32Array,
  kStringArray,
};

struct Property {
  std::string name;
  Kind kind;
  unsigned index;
};

// count properties of the cycle above.
std::vector<Property> property_set(size_t count);

// The value of property number i, per kind.
std::string text_value(unsigned i);
uint32_t uint32_value(unsigned i);
uint64_t uint64_value(unsigned i);
int32_t sint32_value(unsigned i);
bool boolean_value(unsigned i);
double real64_value(unsigned i);  // exact in single precision
const char *date_value();
constexpr const char *kReferencedClass = "Demo_Chassis";
constexpr const char *kReferencedKey = "Tag";
std::string reference_key_value(unsigned i);  // the referenced chassis' Tag
std::vector<uint32_t> uint32_array_value(unsigned i);
std::vector<std::string> string_array_value(unsigned i);

// The CMPI type code of a kind.
CMPIType type_of(Kind kind);

// A new Bench_Device instance carrying properties; the caller releases it.
CMPIInstance *make_instance(const std::vector<Property> &properties);

// A new instance shaped like the demo's Demo_Fan with the given DeviceID; the caller releases it.
CMPIInstance *make_fan(const std::string &device_id);

// The response document (without "CMPI_EOF") serializeResponse writes for inst as a result of
// the request type (ENUMINST, GETINST, ...); empty when the encoder refuses.
std::string response_document(CMPIInstance *inst, int type);

}  // namespace bench

#endif  // CMPIUTILITY_BENCH_INSTANCES_H
