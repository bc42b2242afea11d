// member_names.h - the fixed member names of frame documents as jsoncpp keys whose text is
// static: a document built with them stores a pointer to the name instead of a copy of it,
// which spares an allocation for every member of every value object. The text written is the
// same.
#ifndef CMPIUTILITY_JSON_MEMBER_NAMES_H
#define CMPIUTILITY_JSON_MEMBER_NAMES_H

#include <json/json.h>

namespace cmpiutility {
namespace member {

inline const Json::StaticString kValue("Value");
inline const Json::StaticString kDataType("DataType");
inline const Json::StaticString kDataState("DataState");
inline const Json::StaticString kEmbeddedInstance("CMPIInstance");
inline const Json::StaticString kInstanceProps("InstanceProps");
inline const Json::StaticString kClassName("ClassName");
inline const Json::StaticString kNameSpace("NameSpace");
inline const Json::StaticString kKey("key");
inline const Json::StaticString kRequestType("RequestType");

}  // namespace member
}  // namespace cmpiutility

#endif
