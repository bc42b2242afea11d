// response_objects.h - what a provider host hands to the response codec in the response and
// stream tests: real platform objects, and the document texts they encode to.
//
// Every builder returns a new object that the caller releases (classes through their own table).
#ifndef CMPITEST_RESPONSE_OBJECTS_H
#define CMPITEST_RESPONSE_OBJECTS_H

#include <cmpimacs.h>
#include <cmpiutility/records.h>

#include <cstdlib>
#include <cstring>
#include <string>

#include "json/compact_text.h"
#include "json/encoders.h"
#include "json/key_text.h"
#include "response/response_codec.h"

namespace resptest {

constexpr char kNamespace[] = "root/cimv2";

// Demo_System.Name=bmc0
inline CMPIObjectPath *system_path() {
  CMPIObjectPath *path = makeNewObjectPath(kNamespace, "Demo_System", nullptr);
  CMAddKey(path, "Name", "bmc0", CMPI_chars);
  return path;
}

// Demo_Fan.DeviceID=fan0,SystemName=bmc0: string keys only, which the key text carries both ways.
inline CMPIObjectPath *fan_path() {
  CMPIObjectPath *path = makeNewObjectPath(kNamespace, "Demo_Fan", nullptr);
  CMAddKey(path, "DeviceID", "fan0", CMPI_chars);
  CMAddKey(path, "SystemName", "bmc0", CMPI_chars);
  return path;
}
constexpr char kFanKey[] = "DeviceID=fan0,SystemName=bmc0,";

// Demo_Sensor with Reading = 7 (uint16), for embedding.
inline CMPIInstance *sensor_instance() {
  CMPIObjectPath *path = makeNewObjectPath(kNamespace, "Demo_Sensor", nullptr);
  CMPIInstance *sensor = makeNewCMPIInstance(path, nullptr);
  CMPIUint16 reading = 7;
  CMSetProperty(sensor, "Reading", &reading, CMPI_uint16);
  CMRelease(path);
  return sensor;
}
constexpr char kSensorObject[] =
    "{\"ClassName\":\"Demo_Sensor\",\"InstanceProps\":{"
    "\"Reading\":{\"DataState\":0,\"DataType\":144,\"Value\":7}},"
    "\"NameSpace\":\"root/cimv2\",\"Principal\":\"TEMP\",\"RequestType\":1}";

// A Demo_Fan instance with a property of every kind that the document carries both ways (no
// char16 and no null text, which the format does not bring back).
inline CMPIInstance *fan_instance() {
  CMPIObjectPath *path = fan_path();
  CMPIInstance *inst = makeNewCMPIInstance(path, nullptr);
  CMRelease(path);
  CMSetProperty(inst, "DeviceID", "fan0", CMPI_chars);
  CMPIBoolean enabled = 1;
  CMSetProperty(inst, "Enabled", &enabled, CMPI_boolean);
  CMPIDateTime *installed = makeNewCMPIDateTimeFromChars("20241114120523.243424-300", nullptr);
  CMSetProperty(inst, "Installed", &installed, CMPI_dateTime);
  CMRelease(installed);
  CMPIArray *levels = makeNewCMPIArray(2, CMPI_uint8, nullptr);
  CMPIUint8 one = 1, two = 2;
  CMSetArrayElementAt(levels, 0, &one, CMPI_uint8);
  CMSetArrayElementAt(levels, 1, &two, CMPI_uint8);
  CMSetProperty(inst, "Levels", &levels, CMPI_uint8A);
  CMRelease(levels);
  CMPISint32 offset = -5;
  CMSetProperty(inst, "Offset", &offset, CMPI_sint32);
  CMPIReal64 ratio = 0.1;
  CMSetProperty(inst, "Ratio", &ratio, CMPI_real64);
  CMPIInstance *sensor = sensor_instance();
  CMSetProperty(inst, "Sensor", &sensor, CMPI_instance);
  CMRelease(sensor);
  CMPIUint32 speed = 4200;
  CMSetProperty(inst, "Speed", &speed, CMPI_uint32);
  CMPIObjectPath *system = system_path();
  CMSetProperty(inst, "System", &system, CMPI_ref);
  CMRelease(system);
  CMPIArray *tags = makeNewCMPIArray(2, CMPI_string, nullptr);
  CMSetArrayElementAt(tags, 0, "a", CMPI_chars);
  CMSetArrayElementAt(tags, 1, "b", CMPI_chars);
  CMSetProperty(inst, "Tags", &tags, CMPI_stringA);
  CMRelease(tags);
  return inst;
}
const std::string kFanProps =
    std::string("\"InstanceProps\":{"
                "\"DeviceID\":{\"DataState\":0,\"DataType\":5632,\"Value\":\"fan0\"},"
                "\"Enabled\":{\"DataState\":0,\"DataType\":2,\"Value\":1},"
                "\"Installed\":{\"DataState\":0,\"DataType\":6144,"
                "\"Value\":\"20241114120523.243424-300\"},"
                "\"Levels\":{\"DataState\":0,\"DataType\":8320,\"Value\":[1,2]},"
                "\"Offset\":{\"DataState\":0,\"DataType\":224,\"Value\":18446744073709551611},"
                "\"Ratio\":{\"DataState\":0,\"DataType\":12,\"Value\":0.10000000149011612},"
                "\"Sensor\":{\"CMPIInstance\":") +
    kSensorObject +
    ",\"DataState\":0,\"DataType\":4096},"
    "\"Speed\":{\"DataState\":0,\"DataType\":160,\"Value\":4200},"
    "\"System\":{\"DataState\":0,\"DataType\":4352,\"Value\":{\"ClassName\":\"Demo_System\","
    "\"NameSpace\":\"root/cimv2\",\"key\":\"Name=bmc0,\"}},"
    "\"Tags\":{\"DataState\":0,\"DataType\":13824,\"Value\":[\"a\",\"b\"]}}";

// A small instance without embedded instances (no scratch allocation while it is encoded).
inline CMPIInstance *small_instance() {
  CMPIObjectPath *path = fan_path();
  CMPIInstance *inst = makeNewCMPIInstance(path, nullptr);
  CMRelease(path);
  CMPIUint32 speed = 4200;
  CMSetProperty(inst, "Speed", &speed, CMPI_uint32);
  return inst;
}
constexpr char kSmallProps[] =
    "\"InstanceProps\":{\"Speed\":{\"DataState\":0,\"DataType\":160,\"Value\":4200}}";

// Output arguments of a method: every kind that travels both ways (boolean arguments do not).
inline CMPIArgs *method_args() {
  CMPIArgs *args = makeNewCMPIArgs(nullptr);
  CMPIUint32 code = 7;
  CMAddArg(args, "Code", &code, CMPI_uint32);
  CMAddArg(args, "Message", "done", CMPI_chars);
  CMPIObjectPath *target = system_path();
  CMAddArg(args, "Target", &target, CMPI_ref);
  CMRelease(target);
  CMPIArray *names = makeNewCMPIArray(2, CMPI_string, nullptr);
  CMSetArrayElementAt(names, 0, "a", CMPI_chars);
  CMSetArrayElementAt(names, 1, "b", CMPI_chars);
  CMAddArg(args, "Names", &names, CMPI_stringA);
  CMRelease(names);
  CMPIDateTime *when = makeNewCMPIDateTimeFromChars("20241114120523.243424-300", nullptr);
  CMAddArg(args, "When", &when, CMPI_dateTime);
  CMRelease(when);
  CMPIInstance *child = sensor_instance();
  CMAddArg(args, "Child", &child, CMPI_instance);
  CMRelease(child);
  return args;
}
const std::string kMethodArgs =
    std::string("\"ArgsIn\":{\"Child\":{\"CMPIInstance\":") + kSensorObject +
    ",\"DataType\":4096},"
    "\"Code\":{\"DataType\":160,\"Value\":7},"
    "\"Message\":{\"DataType\":5632,\"Value\":\"done\"},"
    "\"Names\":{\"DataType\":13824,\"Value\":[\"a\",\"b\"]},"
    "\"Target\":{\"DataType\":4352,\"Value\":{\"ClassName\":\"Demo_System\","
    "\"NameSpace\":\"root/cimv2\",\"key\":\"Name=bmc0,\"}},"
    "\"When\":{\"DataType\":6144,\"Value\":\"20241114120523.243424-300\"}}";

// A string array of the given texts.
inline CMPIArray *string_array(std::initializer_list<const char *> texts) {
  CMPIArray *array = makeNewCMPIArray(static_cast<CMPICount>(texts.size()), CMPI_string, nullptr);
  CMPICount index = 0;
  for (const char *text : texts) CMSetArrayElementAt(array, index++, text, CMPI_chars);
  return array;
}

// The class Demo_Fan as a host fills it: two properties, one method, one parameter description.
inline CMPIConstClass *fan_class() {
  CMPIConstClass *cls = makeNewCMPIClass(nullptr);
  CMPIClassRecord *record = static_cast<CMPIClassRecord *>(calloc(1, sizeof(CMPIClassRecord)));
  record->className = strdup("Demo_Fan");
  record->nameSpace = strdup(kNamespace);
  record->propertyNames = string_array({"DeviceID", "Speed"});
  record->methodNames = string_array({"Reset"});
  CMPIObjectPath *path = makeNewObjectPath(kNamespace, "Demo_MethodParameter", nullptr);
  CMPIInstance *parameter = makeNewCMPIInstance(path, nullptr);
  CMRelease(path);
  CMSetProperty(parameter, "Name", "Force", CMPI_chars);
  CMPIUint16 type = CMPI_boolean;
  CMSetProperty(parameter, "Type", &type, CMPI_uint16);
  record->methodParameters = makeNewCMPIArray(1, CMPI_instance, nullptr);
  CMSetArrayElementAt(record->methodParameters, 0, &parameter, CMPI_instance);
  CMRelease(parameter);
  cls->hdl = record;
  return cls;
}
constexpr char kFanClassMembers[] =
    "\"ClassName\":\"Demo_Fan\","
    "\"MethodList\":{\"Value\":[\"Reset\"]},"
    "\"MethodParamList\":{\"Value\":[{\"ClassName\":\"Demo_MethodParameter\",\"InstanceProps\":{"
    "\"Name\":{\"DataState\":0,\"DataType\":5632,\"Value\":\"Force\"},"
    "\"Type\":{\"DataState\":0,\"DataType\":144,\"Value\":2}},"
    "\"NameSpace\":\"root/cimv2\",\"Principal\":\"TEMP\",\"RequestType\":1}]},"
    "\"NameSpace\":\"root/cimv2\","
    "\"PropList\":{\"Value\":[\"DeviceID\",\"Speed\"]}";

inline void release_class(CMPIConstClass *cls) {
  if (cls != nullptr) cls->ft->release(cls);
}

// A status with an optional message (a new string, released by the test).
inline CMPIStatus status_of(CMPIrc code, const char *message = nullptr) {
  CMPIStatus status;
  status.rc = code;
  status.msg = (message != nullptr) ? CreateString(message, nullptr) : nullptr;
  return status;
}

// ---- what a client received, written back as document text for comparison ------------------

// "ClassName", "NameSpace" and the properties of an instance, as the encoders write them.
inline std::string instance_text(CMPIInstance *inst) {
  if (inst == nullptr) return "<no instance>";
  Json::Value document(Json::objectValue);
  CMPIObjectPath *path = CMGetObjectPath(inst, nullptr);
  CMPIString *cn = CMGetClassName(path, nullptr);
  CMPIString *ns = CMGetNameSpace(path, nullptr);
  document["ClassName"] = CMGetCharPtr(cn);
  document["NameSpace"] = CMGetCharPtr(ns);
  CMRelease(cn);
  CMRelease(ns);
  CMRelease(path);
  ServerResp resp{};
  resp.instance = inst;
  getInstanceProps(nullptr, &resp, document);
  return cmpiutility::compact_text(document);
}

// Namespace, class name and key text of an object path.
inline std::string path_text(CMPIObjectPath *path) {
  if (path == nullptr) return "<no path>";
  Json::Value document(Json::objectValue);
  CMPIString *cn = CMGetClassName(path, nullptr);
  CMPIString *ns = CMGetNameSpace(path, nullptr);
  document["ClassName"] = CMGetCharPtr(cn);
  document["NameSpace"] = CMGetCharPtr(ns);
  CMRelease(cn);
  CMRelease(ns);
  ServerResp resp{};
  resp.objectPath = path;
  getCMKey(nullptr, &resp, document);
  return cmpiutility::compact_text(document);
}

// The class members of a class, as the class serialiser writes them.
inline std::string class_text(CMPIConstClass *cls) {
  if (cls == nullptr) return "<no class>";
  Json::Value document(Json::objectValue);
  ServerResp resp{};
  resp.constClass = cls;
  getConstClassProps(&resp, document);
  return cmpiutility::compact_text(document);
}

// The arguments of an argument list, as the encoders write them.
inline std::string args_text(CMPIArgs *args) {
  Json::Value document(Json::objectValue);
  ServerResp resp{};
  resp.retVal.args = args;
  getArgs(nullptr, &resp, document);
  return cmpiutility::compact_text(document);
}

}  // namespace resptest

#endif  // CMPITEST_RESPONSE_OBJECTS_H
