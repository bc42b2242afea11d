// instance_props_text.h - the "InstanceProps" of an instance written as text straight from the
// instance, without building the jsoncpp value first.
//
// The text is byte for byte what compact_text writes for the container getInstanceProps builds:
// the same value objects, the members sorted bytewise by property name as jsoncpp orders them (a
// name met twice keeps its last value, as a second assignment to a jsoncpp member does), numbers
// and strings through the compact writer's own pieces (compact_pieces.h). The walk is the one of
// getInstanceProps, step for step: the same CMPI calls in the same order, the same releases, the
// same log lines under the same function names ("getInstanceProps", and "getCMPIArgsArray" for
// the elements of arrays), the same text on standard output for references.
//
// References and embedded instances are written the same way, each as its encoder builds it
// (getCMPIArgsRef: the key text comes from the same reference_key_text, echo on standard output
// included; encode_embedded: the scratch request record is still allocated, so the walk stops
// where it stops today when that allocation fails). jsoncpp is not used at all.
#ifndef CMPIUTILITY_JSON_INSTANCE_PROPS_TEXT_H
#define CMPIUTILITY_JSON_INSTANCE_PROPS_TEXT_H

#include <cmpift.h>

#include <string>

namespace cmpiutility {

// What getInstanceProps would have returned, and whether it would have written "InstanceProps".
struct PropsOutcome {
  unsigned int result;
  bool written;
};

// Appends to *out the text of the "InstanceProps" value of instance (the object only, without the
// member name) when getInstanceProps would write it; otherwise *out is left as it was. Returns
// and logs what getInstanceProps(NULL, <record holding instance>, document) returns and logs.
PropsOutcome append_instance_props(CMPIInstance *instance, std::string *out);

}  // namespace cmpiutility

#endif  // CMPIUTILITY_JSON_INSTANCE_PROPS_TEXT_H
