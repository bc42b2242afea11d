// result_names.h - the names operations, derived on the client side.
//
// The host protocol has no associator-names or reference-names request: a client asks for
// the full associators or references and takes the object path of each instance that comes
// back. This is the one place that does it, for cmpi-cli and for any object manager built on
// the library (the CIM-XML front end answers AssociatorNames and ReferenceNames with it).
// Names travel as full objects: the cost of a names operation is that of the full one.
#ifndef CMPI_WIRE_RESULT_NAMES_H
#define CMPI_WIRE_RESULT_NAMES_H

#include <cmpidt.h>
#include <cmpift.h>

#include <string>
#include <vector>

namespace wire {

// The request type and association filter of a names operation are those of the full one:
// associator names are Associators results, reference names References results (RefsOnly).

// The object path naming inst, owned by the caller (CMRelease), NULL when it cannot be made.
// A decoded instance carries no key flags, so its keys are the properties that keys names
// (ClassKeys for its class), with their values and types; a key property the instance lacks
// is left out. The namespace is the instance's, or name_space (the request's) when it names
// none, as CIM clients expect every name to be complete.
CMPIObjectPath *result_name(const CMPIInstance *inst, const std::string &name_space,
                            const std::vector<std::string> &keys);

// The class name of inst ("" when it has none).
std::string class_of(const CMPIInstance *inst);

}  // namespace wire

#endif  // CMPI_WIRE_RESULT_NAMES_H
