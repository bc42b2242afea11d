// Readable text and JSON of instances, paths, values, method results and classes.
#include <cmpiinterface.h>
#include <cmpimacs.h>
#include <gtest/gtest.h>
#include <json/json.h>

#include <cstdlib>
#include <cstring>
#include <string>

#include "cmpi_build.h"
#include "value_json.h"
#include "value_syntax.h"
#include "value_text.h"

namespace {

cli::PathPtr path_of(const std::string &text) {
  return cli::build_path(cli::parse_path(text), "root/cimv2");
}

void set(CMPIInstance *inst, const std::string &text) {
  cli::set_property(inst, cli::parse_value(text), "root/cimv2");
}

// A fan with one property of every kind, an embedded sensor among them.
cli::InstancePtr demo_fan() {
  cli::PathPtr path = path_of("Demo_Fan");
  cli::InstancePtr fan(makeNewCMPIInstance(path.get(), nullptr));
  set(fan.get(), "DeviceID=fan0");
  set(fan.get(), "Enabled:boolean=true");
  set(fan.get(), "Initial:char16=F");
  set(fan.get(), "Speed:uint32=4200");
  set(fan.get(), "Offset:sint8=-5");
  set(fan.get(), "Ratio:real32=0.1");
  set(fan.get(), "Load:real64=0.25");
  set(fan.get(), "InstallDate:datetime=20241114120523.243424+000");
  set(fan.get(), "SpeedHistory:uint32[]=[1,2]");
  set(fan.get(), "Tags:string[]=[front, \"say \\\"hi\\\"\"]");
  set(fan.get(), "Chassis:ref=Demo_Chassis.Tag=\"chassis0\"");
  cli::PathPtr sensor_path = path_of("Demo_Sensor");
  cli::InstancePtr sensor(makeNewCMPIInstance(sensor_path.get(), nullptr));
  set(sensor.get(), "Reading:uint16=42");
  set(sensor.get(), "Units=rpm");
  CMPIValue value;
  std::memset(&value, 0, sizeof value);
  value.inst = sensor.get();
  CMSetProperty(fan.get(), "Sensor", &value, CMPI_instance);
  set(fan.get(), "Notes");
  set(fan.get(), "Empty:uint8[]=[]");
  return fan;
}

const char kFanText[] =
    "instance of Demo_Fan {\n"
    "    DeviceID = \"fan0\";\n"
    "    Enabled = true;\n"
    "    Initial = 'F';\n"
    "    Speed = 4200;\n"
    "    Offset = -5;\n"
    "    Ratio = 0.1;\n"
    "    Load = 0.25;\n"
    "    InstallDate = \"20241114120523.243424+000\";\n"
    "    SpeedHistory = {1, 2};\n"
    "    Tags = {\"front\", \"say \\\"hi\\\"\"};\n"
    "    Chassis = root/cimv2:Demo_Chassis.Tag=\"chassis0\";\n"
    "    Sensor = instance of Demo_Sensor {\n"
    "        Reading = 42;\n"
    "        Units = \"rpm\";\n"
    "    };\n"
    "    Notes = NULL;\n"
    "    Empty = {};\n"
    "};\n";

TEST(InstanceText, EveryKindOfProperty) {
  cli::InstancePtr fan = demo_fan();
  EXPECT_EQ(cli::instance_text(fan.get()), kFanText);
  EXPECT_EQ(cli::instance_class(fan.get()), "Demo_Fan");
}

TEST(InstanceText, EmptyInstance) {
  cli::PathPtr path = path_of("Demo_Chassis");
  cli::InstancePtr inst(makeNewCMPIInstance(path.get(), nullptr));
  EXPECT_EQ(cli::instance_text(inst.get()), "instance of Demo_Chassis {\n};\n");
  EXPECT_EQ(cli::instance_text(inst.get(), 4, false), "instance of Demo_Chassis {\n    }");
}

TEST(ValueText, Scalars) {
  CMPIValue v;
  std::memset(&v, 0, sizeof v);
  v.sint64 = -9223372036854775807LL - 1;
  EXPECT_EQ(cli::data_text(CMPI_sint64, v, false), "-9223372036854775808");
  v.uint64 = 18446744073709551615ULL;
  EXPECT_EQ(cli::data_text(CMPI_uint64, v, false), "18446744073709551615");
  v.uint8 = 200;
  EXPECT_EQ(cli::data_text(CMPI_uint8, v, false), "200");
  v.sint16 = -300;
  EXPECT_EQ(cli::data_text(CMPI_sint16, v, false), "-300");
  v.boolean = 0;
  EXPECT_EQ(cli::data_text(CMPI_boolean, v, false), "false");
  v.char16 = 0x20AC;
  EXPECT_EQ(cli::data_text(CMPI_char16, v, false), "'\xE2\x82\xAC'");
  EXPECT_EQ(cli::data_text(CMPI_uint32, v, true), "NULL");
  char text[] = "a\"b";
  v.chars = text;
  EXPECT_EQ(cli::data_text(CMPI_chars, v, false), "\"a\\\"b\"");
}

TEST(ValueText, Reals) {
  EXPECT_EQ(cli::real_text(0.1f, true), "0.1");
  EXPECT_EQ(cli::real_text(0.1, false), "0.1");
  EXPECT_EQ(cli::real_text(static_cast<double>(0.1f), false), "0.10000000149011612");
  EXPECT_EQ(cli::real_text(1e20, false), "1e+20");
  EXPECT_EQ(cli::real_text(-2.5, false), "-2.5");
  EXPECT_EQ(cli::real_text(0.0 / 0.0, false), "NaN");
  EXPECT_EQ(cli::real_text(1.0 / 0.0, false), "Infinity");
  EXPECT_EQ(cli::real_text(-1.0 / 0.0, true), "-Infinity");
}

TEST(ValueText, Utf8) {
  EXPECT_EQ(cli::utf8_character('A'), "A");
  EXPECT_EQ(cli::utf8_character(0xE9), "\xC3\xA9");
  EXPECT_EQ(cli::utf8_character(0x20AC), "\xE2\x82\xAC");
}

TEST(PathText, KeysOfEveryKind) {
  cli::PathPtr path = path_of("root/cimv2:Demo_ChassisFan.GroupComponent=\"Demo_Chassis.Tag=\\\"c\\\"\"");
  EXPECT_EQ(cli::path_text(path.get()),
            "root/cimv2:Demo_ChassisFan.GroupComponent=\"root/cimv2:Demo_Chassis.Tag=\\\"c\\\"\"");
  // Numeric and boolean keys made by a provider stand bare.
  CMPIObjectPath *typed = makeNewObjectPath("ns", "X", nullptr);
  CMPIUint32 n = 7;
  CMPIBoolean b = 1;
  CMPIReal64 r = 1.5;
  CMAddKey(typed, "N", &n, CMPI_uint32);
  CMAddKey(typed, "B", &b, CMPI_boolean);
  CMAddKey(typed, "R", &r, CMPI_real64);
  CMAddKey(typed, "S", "x", CMPI_chars);
  EXPECT_EQ(cli::path_text(typed), "ns:X.N=7,B=true,R=1.5,S=\"x\"");
  cli::ParsedPath parsed = cli::to_parsed_path(typed);
  EXPECT_EQ(parsed.keys.at(0).kind, cli::KeyBinding::Kind::kInteger);
  EXPECT_EQ(parsed.keys.at(1).kind, cli::KeyBinding::Kind::kBoolean);
  EXPECT_EQ(parsed.keys.at(2).kind, cli::KeyBinding::Kind::kReal);
  EXPECT_EQ(parsed.keys.at(3).kind, cli::KeyBinding::Kind::kString);
  CMRelease(typed);
  cli::PathPtr bare = path_of("X");
  EXPECT_EQ(cli::path_text(bare.get()), "root/cimv2:X");
}

TEST(ArgsText, EveryArgumentButTheSkippedOne) {
  cli::ArgsPtr args(makeNewCMPIArgs(nullptr));
  cli::add_argument(args.get(), cli::parse_value("__ReturnValue:uint32=0"), "ns");
  cli::add_argument(args.get(), cli::parse_value("PreviousSpeed:uint32=4200"), "ns");
  cli::add_argument(args.get(), cli::parse_value("Log:string[]=[a]"), "ns");
  EXPECT_EQ(cli::args_text(args.get(), "__ReturnValue"),
            "PreviousSpeed = 4200;\nLog = {\"a\"};\n");
  EXPECT_EQ(cli::args_text(nullptr, "x"), "");
}

// ---- JSON --------------------------------------------------------------------------------------

TEST(InstanceJson, EveryKindOfProperty) {
  cli::InstancePtr fan = demo_fan();
  Json::Value j = cli::instance_json(fan.get());
  EXPECT_EQ(j["className"].asString(), "Demo_Fan");
  EXPECT_EQ(j["namespace"].asString(), "root/cimv2");
  const Json::Value &p = j["properties"];
  EXPECT_EQ(p["DeviceID"]["type"].asString(), "string");
  EXPECT_EQ(p["DeviceID"]["value"].asString(), "fan0");
  EXPECT_EQ(p["Enabled"]["value"].asBool(), true);
  EXPECT_EQ(p["Initial"]["type"].asString(), "char16");
  EXPECT_EQ(p["Initial"]["value"].asString(), "F");
  EXPECT_EQ(p["Speed"]["type"].asString(), "uint32");
  EXPECT_EQ(p["Speed"]["value"].asUInt(), 4200u);
  EXPECT_EQ(p["Offset"]["value"].asInt(), -5);
  EXPECT_DOUBLE_EQ(p["Ratio"]["value"].asDouble(), 0.1);
  EXPECT_DOUBLE_EQ(p["Load"]["value"].asDouble(), 0.25);
  EXPECT_EQ(p["InstallDate"]["type"].asString(), "datetime");
  EXPECT_EQ(p["InstallDate"]["value"].asString(), "20241114120523.243424+000");
  EXPECT_EQ(p["SpeedHistory"]["type"].asString(), "uint32[]");
  ASSERT_TRUE(p["SpeedHistory"]["value"].isArray());
  EXPECT_EQ(p["SpeedHistory"]["value"][1].asUInt(), 2u);
  EXPECT_EQ(p["Tags"]["value"][1].asString(), "say \"hi\"");
  EXPECT_EQ(p["Chassis"]["type"].asString(), "reference");
  EXPECT_EQ(p["Chassis"]["value"]["path"].asString(), "root/cimv2:Demo_Chassis.Tag=\"chassis0\"");
  EXPECT_EQ(p["Chassis"]["value"]["className"].asString(), "Demo_Chassis");
  EXPECT_EQ(p["Chassis"]["value"]["keys"]["Tag"].asString(), "chassis0");
  EXPECT_EQ(p["Sensor"]["type"].asString(), "instance");
  EXPECT_EQ(p["Sensor"]["value"]["className"].asString(), "Demo_Sensor");
  EXPECT_EQ(p["Sensor"]["value"]["properties"]["Reading"]["value"].asUInt(), 42u);
  EXPECT_EQ(p["Notes"]["type"].asString(), "string");
  EXPECT_TRUE(p["Notes"]["value"].isNull());
  EXPECT_TRUE(p["Empty"]["value"].isArray());
  EXPECT_EQ(p["Empty"]["value"].size(), 0u);
}

TEST(ValueJson, SixtyFourBitIntegers) {
  CMPIValue v;
  std::memset(&v, 0, sizeof v);
  v.uint64 = 18446744073709551615ULL;
  EXPECT_EQ(cli::data_json(CMPI_uint64, v, false)["value"].asUInt64(), 18446744073709551615ULL);
  v.sint64 = -9223372036854775807LL - 1;
  EXPECT_EQ(cli::data_json(CMPI_sint64, v, false)["value"].asInt64(), -9223372036854775807LL - 1);
  EXPECT_TRUE(cli::data_json(CMPI_sint64, v, true)["value"].isNull());
  v.real64 = 1.0 / 0.0;
  EXPECT_EQ(cli::data_json(CMPI_real64, v, false)["value"].asString(), "Infinity");
}

TEST(PathJson, KeysKeepTheirKinds) {
  Json::Value j = cli::path_json(cli::parse_path(
      R"(ns:X.S="s",I=-7,U=7,R=0.5,B=true,Ref="Demo_Chassis.Tag=\"c\"")"));
  EXPECT_EQ(j["path"].asString(), R"(ns:X.S="s",I=-7,U=7,R=0.5,B=true,Ref="Demo_Chassis.Tag=\"c\"")");
  EXPECT_EQ(j["namespace"].asString(), "ns");
  EXPECT_EQ(j["className"].asString(), "X");
  EXPECT_EQ(j["keys"]["S"].asString(), "s");
  EXPECT_EQ(j["keys"]["I"].asInt64(), -7);
  EXPECT_EQ(j["keys"]["U"].asUInt64(), 7u);
  EXPECT_DOUBLE_EQ(j["keys"]["R"].asDouble(), 0.5);
  EXPECT_TRUE(j["keys"]["B"].asBool());
  EXPECT_EQ(j["keys"]["Ref"]["className"].asString(), "Demo_Chassis");
  EXPECT_EQ(j["keys"]["Ref"]["keys"]["Tag"].asString(), "c");
}

TEST(StatusJson, CodeNameMessage) {
  Json::Value ok = cli::status_json(0, "");
  EXPECT_EQ(ok["code"].asInt(), 0);
  EXPECT_EQ(ok["name"].asString(), "CMPI_RC_OK");
  EXPECT_TRUE(ok["message"].isNull());
  Json::Value nf = cli::status_json(6, "gone");
  EXPECT_EQ(nf["name"].asString(), "CMPI_RC_ERR_NOT_FOUND");
  EXPECT_EQ(nf["message"].asString(), "gone");
}

TEST(ArgsJson, EveryArgumentButTheSkippedOne) {
  cli::ArgsPtr args(makeNewCMPIArgs(nullptr));
  cli::add_argument(args.get(), cli::parse_value("__ReturnValue:uint32=1"), "ns");
  cli::add_argument(args.get(), cli::parse_value("PreviousSpeed:uint32=4200"), "ns");
  Json::Value j = cli::args_json(args.get(), "__ReturnValue");
  EXPECT_EQ(j.size(), 1u);
  EXPECT_EQ(j["PreviousSpeed"]["type"].asString(), "uint32");
  EXPECT_EQ(j["PreviousSpeed"]["value"].asUInt(), 4200u);
}

TEST(JsonText, IndentedWithAFinalNewline) {
  Json::Value doc(Json::objectValue);
  doc["a"] = 1;
  EXPECT_EQ(cli::json_text(doc), "{\n  \"a\" : 1\n}\n");
}

// ---- classes -----------------------------------------------------------------------------------

// A class built the way the library's class decoder fills one.
cli::ClassPtr demo_class() {
  CMPIConstClass *cls = makeNewCMPIClass(nullptr);
  auto *record = static_cast<CMPIClassRecord *>(std::calloc(1, sizeof(CMPIClassRecord)));
  record->className = strdup("Demo_Fan");
  record->nameSpace = strdup("root/cimv2");
  record->propertyNames = makeNewCMPIArray(0, CMPI_string, nullptr);
  record->methodNames = makeNewCMPIArray(0, CMPI_string, nullptr);
  record->methodParameters = makeNewCMPIArray(0, CMPI_instance, nullptr);
  CMSetArrayElementAt(record->propertyNames, 0, "DeviceID", CMPI_chars);
  CMSetArrayElementAt(record->propertyNames, 1, "Speed", CMPI_chars);
  CMSetArrayElementAt(record->methodNames, 0, "SetSpeed", CMPI_chars);
  CMSetArrayElementAt(record->methodNames, 1, "Reset", CMPI_chars);
  const char *const params[][3] = {{"SetSpeed", "DesiredSpeed", "in"},
                                   {"SetSpeed", "PreviousSpeed", "out"}};
  CMPICount index = 0;
  for (const auto &p : params) {
    CMPIObjectPath *path = makeNewObjectPath("root/cimv2", "CMPIUtility_MethodParameter", nullptr);
    CMPIInstance *inst = makeNewCMPIInstance(path, nullptr);
    CMSetProperty(inst, "MethodName", p[0], CMPI_chars);
    CMSetProperty(inst, "Name", p[1], CMPI_chars);
    CMPIUint16 type = CMPI_uint32;
    CMSetProperty(inst, "DataType", &type, CMPI_uint16);
    CMSetProperty(inst, "Direction", p[2], CMPI_chars);
    CMPIValue value;
    std::memset(&value, 0, sizeof value);
    value.inst = inst;
    CMSetArrayElementAt(record->methodParameters, index++, &value, CMPI_instance);
    CMRelease(inst);
    CMRelease(path);
  }
  cls->hdl = record;
  return cli::ClassPtr(cls);
}

TEST(ClassText, PropertiesAndMethodsWithParameters) {
  cli::ClassPtr cls = demo_class();
  cli::ClassInfo info = cli::read_class(cls.get());
  EXPECT_EQ(info.name, "Demo_Fan");
  EXPECT_EQ(info.name_space, "root/cimv2");
  EXPECT_EQ(cli::class_text(info),
            "class Demo_Fan {\n"
            "    property DeviceID;\n"
            "    property Speed;\n"
            "    method SetSpeed(in uint32 DesiredSpeed, out uint32 PreviousSpeed);\n"
            "    method Reset();\n"
            "};\n");
  Json::Value j = cli::class_json(info);
  EXPECT_EQ(j["className"].asString(), "Demo_Fan");
  EXPECT_EQ(j["properties"][1].asString(), "Speed");
  EXPECT_EQ(j["methods"][0]["name"].asString(), "SetSpeed");
  EXPECT_EQ(j["methods"][0]["parameters"][1]["name"].asString(), "PreviousSpeed");
  EXPECT_EQ(j["methods"][0]["parameters"][1]["type"].asString(), "uint32");
  EXPECT_EQ(j["methods"][0]["parameters"][1]["direction"].asString(), "out");
  EXPECT_EQ(j["methods"][1]["parameters"].size(), 0u);
}

}  // namespace
