// classes.h - the classes this provider serves, as the provider itself knows them: names, types
// and key flags of every property, in the order instances carry them.
//
// The same model is written down for clients in share/demo-classes.sql; both must agree.
#ifndef DEMO_PROVIDER_CLASSES_H
#define DEMO_PROVIDER_CLASSES_H

#include <cmpidt.h>

#include <cstddef>

namespace demo {

// Every demo class lives in this namespace.
inline constexpr const char *kNameSpace = "root/cimv2";

inline constexpr const char *kChassisClass = "Demo_Chassis";
inline constexpr const char *kFanClass = "Demo_Fan";
inline constexpr const char *kChassisFanClass = "Demo_ChassisFan";
inline constexpr const char *kSensorClass = "Demo_Sensor";

// The two ends of a Demo_ChassisFan.
inline constexpr const char *kGroupRole = "GroupComponent";
inline constexpr const char *kPartRole = "PartComponent";

enum PropertyFlags : unsigned {
  kPlain = 0,
  kKey = 1,       // part of the object path
  kComputed = 2,  // worked out for every request, never stored, ignored when written
};

struct PropertyDef {
  const char *name;
  CMPIType type;
  unsigned flags;
  // For a reference, the class it points to; for an embedded instance, the instance's class.
  const char *other_class;

  bool is_key() const { return (flags & kKey) != 0; }
  bool is_computed() const { return (flags & kComputed) != 0; }
};

struct ClassDef {
  const char *name;
  const PropertyDef *properties;
  size_t count;

  const PropertyDef *begin() const { return properties; }
  const PropertyDef *end() const { return properties + count; }
};

// CIM names compare without regard to ASCII case.
bool same_name(const char *a, const char *b);

// The class named name (any case) that has instances of its own (Demo_Chassis, Demo_Fan,
// Demo_ChassisFan), or nullptr. Demo_Sensor exists only embedded in a fan.
const ClassDef *find_class(const char *name);

// The embedded class Demo_Sensor.
const ClassDef &sensor_class();

// The property named name (any case) of cls, or nullptr.
const PropertyDef *find_property(const ClassDef &cls, const char *name);

}  // namespace demo

#endif  // DEMO_PROVIDER_CLASSES_H
