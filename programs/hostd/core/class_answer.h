// class_answer.h - GetClass, answered by the daemon itself from the schema database.
//
// Frames: one response frame (the class, or the status CMPI_RC_ERR_INVALID_CLASS for a class the
// database does not list in that namespace), then "CMPIOPERATION_COMPLETE". An unreadable
// database gives the error frame "CMPIERROR:1" instead.
//
// The class travels as the library encodes a class object: "PropList" and "MethodList" hold the
// property and method names, "MethodParamList" one instance of class
// "CMPIUtility_MethodParameter" (in the class's namespace) per method parameter, with the
// properties "MethodName" (string), "Name" (string), "DataType" (uint16, the CMPI type code) and
// "Direction" (string: "in", "out" or "inout"). After them, one instance of class
// "CMPIUtility_PropertyDefault" per property with a default value in the schema database (its
// own or inherited), with "Name" (string) and "Value" (the default, of the property's type):
// the frame has no other place for them, and a client that reads method parameters tells the
// two apart by class name.
#ifndef CMPI_HOSTD_CLASS_ANSWER_H
#define CMPI_HOSTD_CLASS_ANSWER_H

#include <cmpiinterface.h>

#include <string>

#include "class_definition.h"

namespace hostd {

inline constexpr char kMethodParameterClass[] = "CMPIUtility_MethodParameter";
inline constexpr char kPropertyDefaultClass[] = "CMPIUtility_PropertyDefault";

// Builds the class object the way the library's class encoder reads it: makeNewCMPIClass with a
// calloc'd class record of strdup'd texts and CMPIArray fields. The caller releases it through
// its own release entry. NULL when an object cannot be made.
CMPIConstClass *build_class(const ClassDefinition &definition);

// The whole answer to a GetClass request for class_name in name_space: the frames to send.
// *rc is the CMPI return code the client is given (0 when the class is sent).
std::string answer_get_class(const std::string &class_name, const std::string &name_space,
                             int *rc);

}  // namespace hostd

#endif  // CMPI_HOSTD_CLASS_ANSWER_H
