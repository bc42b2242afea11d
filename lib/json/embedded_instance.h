// embedded_instance.h - the embedded-instance object of an instance value (the "CMPIInstance" of
// a scalar instance property or argument, and each entry of an instance array's "Value").
//
// The object holds "RequestType" 1, "ClassName", "NameSpace", "Principal" "TEMP" and, when the
// instance has properties, "InstanceProps", written by getInstanceProps on a scratch request
// record (allocated with cmpiu_calloc) that holds only the instance. A path, namespace or class
// name that cannot be had is written as the empty text.
#ifndef CMPIUTILITY_JSON_EMBEDDED_INSTANCE_H
#define CMPIUTILITY_JSON_EMBEDDED_INSTANCE_H

#include <cmpift.h>
#include <json/json.h>

namespace cmpiutility {

enum class Embedded {
  kDone,          // *object holds the embedded-instance object
  kNoScratch,     // the scratch record could not be allocated; logged at level 2
  kNullInstance,  // no instance; traced "instance is null "
  kPropsFailed,   // getInstanceProps failed (it logged why)
};

// Builds the embedded-instance object of instance into *object; *object is only written on
// kDone. The scratch record is freed on every way out. Logs
//   "Error: memallocation failed for creqInst "   (level 2) for kNoScratch
//   "instance is null "                           (level 4) for kNullInstance
// and whatever getInstanceProps logs.
Embedded encode_embedded(CMPIInstance *instance, Json::Value *object);

}  // namespace cmpiutility

#endif  // CMPIUTILITY_JSON_EMBEDDED_INSTANCE_H
