// The decoders: value objects back into method arguments, instance properties and array
// elements, with every failure line and the asymmetries between arguments and properties.
#include "json/decoders.h"

#include <cmpimacs.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "cmpi_describe.h"
#include "cmpi_doubles.h"
#include "factory_faults.h"
#include "log_capture.h"

namespace {

using namespace cmpitest;
using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;

// Fields of the packed records may sit at unaligned addresses: compare copies only.
#define V(field) static_cast<decltype(field)>(field)

const char kNs[] = "root/cimv2";
const char kWhen[] = "20241114120523.243424-300";

Json::Value json(const std::string &text) {
  Json::CharReaderBuilder builder;
  const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
  Json::Value value;
  std::string errors;
  EXPECT_TRUE(reader->parse(text.data(), text.data() + text.size(), &value, &errors))
      << errors << " in " << text;
  return value;
}

CMPIInstance *new_instance(const char *class_name = "Demo_Fan", const char *ns = kNs) {
  CMPIObjectPath *path = makeNewObjectPath(ns, class_name, nullptr);
  CMPIInstance *instance = makeNewCMPIInstance(path, nullptr);
  CMRelease(path);
  return instance;
}

CMPIValue array_value(CMPIArray *array) {
  CMPIValue value;
  std::memset(&value, 0, sizeof(value));
  value.array = array;
  return value;
}

// What one Add2CMPIArgs call made of a value object named "p": its result, the argument list
// and the instance it was given, both described.
struct Decoded {
  unsigned int result;
  std::string args;
  std::string properties;
};

Decoded decode(const std::string &valueObject, int kind) {
  CMPIArgs *args = makeNewCMPIArgs(nullptr);
  CMPIInstance *instance = new_instance();
  const unsigned int result = Add2CMPIArgs(args, instance, "p", json(valueObject), kind);
  Decoded decoded{result, describe_args(args), describe_properties(instance)};
  CMRelease(args);
  CMRelease(instance);
  return decoded;
}

// The value object as a method argument: what the list holds ("" when nothing was added).
std::string as_argument(const std::string &valueObject) {
  const Decoded decoded = decode(valueObject, INVOKEMETHOD);
  EXPECT_EQ(decoded.result, 0u) << valueObject;
  EXPECT_EQ(decoded.properties, "") << valueObject;
  return decoded.args;
}

// The value object as an instance property: what the instance holds.
std::string as_property(const std::string &valueObject) {
  const Decoded decoded = decode(valueObject, MODIFYINST);
  EXPECT_EQ(decoded.result, 0u) << valueObject;
  EXPECT_EQ(decoded.args, "") << valueObject;
  return decoded.properties;
}

// ---- targets that refuse every value ----------------------------------------------------------

CMPIStatus refuse_arg(const CMPIArgs *, const char *, const CMPIValue *, CMPIType) {
  return CMPIStatus{CMPI_RC_ERR_FAILED, nullptr};
}

CMPIStatus refuse_property(const CMPIInstance *, const char *, const CMPIValue *, CMPIType) {
  return CMPIStatus{CMPI_RC_ERR_FAILED, nullptr};
}

// Array elements from this index on are refused.
CMPICount g_refuse_from = 0;

CMPIStatus refuse_element(CMPIArray *array, CMPICount index, const CMPIValue *value,
                          CMPIType type) {
  if (index >= g_refuse_from) return CMPIStatus{CMPI_RC_ERR_FAILED, nullptr};
  return ArrayDoctor::real()->setElementAt(array, index, value, type);
}

struct RefusingTargets {
  CMPIArgs *args = makeNewCMPIArgs(nullptr);
  CMPIInstance *instance = new_instance();
  ArgsDoctor args_doctor{args};
  InstanceDoctor instance_doctor{instance};

  RefusingTargets() {
    args_doctor.table().addArg = refuse_arg;
    instance_doctor.table().setProperty = refuse_property;
  }
  ~RefusingTargets() {
    CMRelease(args);
    CMRelease(instance);
  }
};

// An array of count elements of the element type whose setElementAt refuses from `from` on.
struct RefusingArray {
  CMPIArray *array;
  ArrayDoctor doctor;

  RefusingArray(CMPICount count, CMPIType type, CMPICount from = 0)
      : array(makeNewCMPIArray(count, type, nullptr)), doctor(array) {
    g_refuse_from = from;
    doctor.table().setElementAt = refuse_element;
  }
  ~RefusingArray() {
    CMRelease(array);
    g_refuse_from = 0;
  }
};

// ---- the edge cases ---------------------------------------------------------------------------

TEST(CreateCMArgs, ArgumentsAreAddedInJsonMemberOrder) {
  ClientReq req;
  std::memset(&req, 0, sizeof(req));
  LogCapture log;
  EXPECT_EQ(createCMArgs(&req, nullptr,
                         json(R"({"ArgsIn":{"b":{"DataType":144,"Value":2},)"
                              R"("a":{"DataType":144,"Value":1}}})")),
            0u);
  EXPECT_EQ(describe_args(V(req.ArgsIn)), "a(144)=1;b(144)=2;");
  EXPECT_THAT(log.lines(), ElementsAre(Trace("INFO: name = 'a'"), Trace("INFO: name = 'b'")));
  CMRelease(V(req.ArgsIn));
}

TEST(Add2CMPIArgs, BooleanArgumentIsDroppedButBooleanPropertyIsSet) {
  LogCapture log;
  EXPECT_EQ(as_argument(R"({"DataType":2,"Value":1})"), "");
  EXPECT_EQ(as_property(R"({"DataType":2,"Value":1})"), "p(2)=true;");
  EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(Add2CMPIArgs, BooleanPropertyTakesTheLowEightBits) {
  EXPECT_EQ(as_property(R"({"DataType":2,"Value":0})"), "p(2)=false;");
  EXPECT_EQ(as_property(R"({"DataType":2,"Value":257})"), "p(2)=true;");
  EXPECT_EQ(as_property(R"({"DataType":2,"Value":256})"), "p(2)=false;");
}

TEST(Add2CMPIArgs, NullIntegerPropertyButZeroArgument) {
  LogCapture log;
  EXPECT_EQ(as_property(R"({"DataType":144,"DataState":256})"), "p(144)=<null>;");
  EXPECT_EQ(as_argument(R"({"DataType":144,"DataState":256})"), "p(144)=0;");
  // The state decides, not the value.
  EXPECT_EQ(as_property(R"({"DataType":160,"DataState":256,"Value":7})"), "p(160)=<null>;");
  EXPECT_EQ(as_property(R"({"DataType":2,"DataState":256,"Value":1})"), "p(2)=<null>;");
  EXPECT_EQ(as_property(R"({"DataType":160,"DataState":512,"Value":7})"), "p(160)=7;");
  EXPECT_THAT(log.lines(), IsEmpty());
}

// A sint32 -5 is written as 18446744073709551611 and read back as -5.
TEST(Add2CMPIArgs, NegativeIntegerWrittenUnsignedReadsBackSigned) {
  EXPECT_EQ(as_property(R"({"DataType":224,"DataState":0,"Value":18446744073709551611})"),
            "p(224)=-5;");
  EXPECT_EQ(as_argument(R"({"DataType":224,"Value":18446744073709551611})"), "p(224)=-5;");
}

TEST(Add2CMPIArgs, MaximalUnsignedValueIsTheSint64MinusOne) {
  EXPECT_EQ(as_argument(R"({"DataType":240,"Value":18446744073709551615})"), "p(240)=-1;");
  EXPECT_EQ(as_property(R"({"DataType":240,"Value":18446744073709551615})"), "p(240)=-1;");
}

struct IntegerCase {
  int type;
  const char *value;
  const char *text;
};

class IntegerWidths : public ::testing::TestWithParam<IntegerCase> {};

TEST_P(IntegerWidths, ValueIsTruncatedToTheTypesWidth) {
  const IntegerCase c = GetParam();
  const std::string object =
      "{\"DataType\":" + std::to_string(c.type) + ",\"Value\":" + c.value + "}";
  const std::string expected = "p(" + std::to_string(c.type) + ")=" + c.text + ";";
  EXPECT_EQ(as_argument(object), expected);
  EXPECT_EQ(as_property(object), expected);
}

INSTANTIATE_TEST_SUITE_P(
    EightIntegers, IntegerWidths,
    ::testing::Values(IntegerCase{128, "263", "7"}, IntegerCase{192, "255", "-1"},
                      IntegerCase{144, "65537", "1"}, IntegerCase{208, "65535", "-1"},
                      IntegerCase{160, "4294967297", "1"},
                      IntegerCase{224, "18446744073709551611", "-5"},
                      IntegerCase{176, "18446744073709551615", "18446744073709551615"},
                      IntegerCase{240, "9223372036854775808", "-9223372036854775808"},
                      IntegerCase{160, "null", "0"}));

TEST(Add2CMPIArgs, OtherCodesOfTheIntegerFamilySetNothing) {
  EXPECT_EQ(as_argument(R"({"DataType":129,"Value":1})"), "");
  EXPECT_EQ(as_property(R"({"DataType":129,"Value":1})"), "");
}

// An instance property of type 5632 with text "null" is the text; an argument is null chars.
TEST(Add2CMPIArgs, TextNullIsNullForArgumentsInAnyCaseAndForPropertiesOnlyInCapitals) {
  LogCapture log;
  EXPECT_EQ(as_argument(R"({"DataType":5632,"Value":"null"})"), "p(5632)=<null>;");
  EXPECT_EQ(as_argument(R"({"DataType":5632,"Value":"NuLl"})"), "p(5632)=<null>;");
  EXPECT_EQ(as_property(R"({"DataType":5632,"DataState":0,"Value":"null"})"), "p(5632)=null;");
  EXPECT_EQ(as_property(R"({"DataType":5632,"DataState":0,"Value":"Null"})"), "p(5632)=Null;");
  EXPECT_EQ(as_property(R"({"DataType":5632,"DataState":0,"Value":"NULL"})"), "p(5632)=<null>;");
  EXPECT_THAT(log.lines(), IsEmpty());
}

// A JSON null text reads as the empty text, not as a null value.
TEST(Add2CMPIArgs, JsonNullTextIsTheEmptyText) {
  EXPECT_EQ(as_argument(R"({"DataType":5632,"Value":null})"), "p(5632)=;");
  EXPECT_EQ(as_property(R"({"DataType":5632,"DataState":256,"Value":null})"), "p(5632)=;");
}

class TextCodes : public ::testing::TestWithParam<int> {};

// Every text code is stored as CMPI_chars, which the object library keeps as a string.
TEST_P(TextCodes, AreStoredAsChars) {
  const std::string object = "{\"DataType\":" + std::to_string(GetParam()) + ",\"Value\":\"x\"}";
  EXPECT_EQ(as_argument(object), "p(5632)=x;");
  EXPECT_EQ(as_property(object), "p(5632)=x;");
}

INSTANTIATE_TEST_SUITE_P(FiveCodes, TextCodes, ::testing::Values(5632, 5634, 5884, 5888, 7680));

TEST(Add2CMPIArgs, RealsAreReadAsDoublesAndReal32IsNarrowed) {
  EXPECT_EQ(as_argument(R"({"DataType":8,"Value":0.1})"), "p(8)=0.100000001;");
  EXPECT_EQ(as_property(R"({"DataType":12,"DataState":0,"Value":0.10000000149011612})"),
            "p(12)=0.10000000149011612;");
  EXPECT_EQ(as_argument(R"({"DataType":12,"Value":2.5})"), "p(12)=2.5;");
  EXPECT_EQ(as_argument(R"({"DataType":12,"Value":0.1})"), "p(12)=0.10000000000000001;");
}

// Reals have no null test: a null real is 0.0, whatever the state.
TEST(Add2CMPIArgs, NullRealIsZero) {
  EXPECT_EQ(as_property(R"({"DataType":8,"DataState":256,"Value":null})"), "p(8)=0;");
  EXPECT_EQ(as_property(R"({"DataType":12,"DataState":256})"), "p(12)=0;");
  EXPECT_EQ(as_argument(R"({"DataType":12})"), "p(12)=0;");
}

TEST(Add2CMPIArgs, OtherCodesOfTheRealFamilySetNothing) {
  EXPECT_EQ(as_argument(R"({"DataType":9,"Value":1.5})"), "");
  EXPECT_EQ(as_property(R"({"DataType":13,"Value":1.5})"), "");
}

TEST(Add2CMPIArgs, Char16IsNeverSetExceptAsANullProperty) {
  EXPECT_EQ(as_argument(R"({"DataType":3,"Value":65})"), "");
  EXPECT_EQ(as_property(R"({"DataType":3,"DataState":0,"Value":65})"), "");
  EXPECT_EQ(as_property(R"({"DataType":3,"DataState":0})"), "");
  EXPECT_EQ(as_property(R"({"DataType":3,"DataState":256})"), "p(3)=<null>;");
}

// A value object without "DataType" (type 0), and codes without any family bit, are null data
// of type 0.
TEST(Add2CMPIArgs, TypeZeroAndCodesWithoutFamilyAreNullDataOfTypeZero) {
  EXPECT_EQ(as_argument(R"({"Value":5})"), "p(0)=<null>;");
  EXPECT_EQ(as_property(R"({"Value":5})"), "p(0)=<null>;");
  EXPECT_EQ(as_argument(R"({"DataType":16,"Value":5})"), "p(0)=<null>;");
  EXPECT_EQ(as_property(R"({"DataType":65536})"), "p(0)=<null>;");  // only 16 bits count
}

TEST(Add2CMPIArgs, OtherEncapsulatedCodesAreIgnored) {
  LogCapture log;
  for (int type : {4608, 4864, 5120, 6400, 6656, 7936}) {
    const std::string object = "{\"DataType\":" + std::to_string(type) + ",\"Value\":\"x\"}";
    EXPECT_EQ(as_argument(object), "") << type;
    EXPECT_EQ(as_property(object), "") << type;
  }
  EXPECT_THAT(log.lines(), IsEmpty());
}

// ---- date-times -------------------------------------------------------------------------------

TEST(Add2CMPIArgs, DateTimeIsParsedFromItsText) {
  const std::string object = std::string(R"({"DataType":6144,"Value":")") + kWhen + "\"}";
  LogCapture log;
  EXPECT_EQ(as_argument(object), std::string("p(6144)=") + kWhen + ";");
  EXPECT_EQ(as_property(object), std::string("p(6144)=") + kWhen + ";");
  EXPECT_THAT(log.lines(), ElementsAre(Trace("valstr.empty():0"), Trace("valstr.empty():0")));
}

TEST(Add2CMPIArgs, EmptyOrNullDateTimeIsANullValue) {
  LogCapture log;
  EXPECT_EQ(as_argument(R"({"DataType":6144,"Value":""})"), "p(6144)=<null>;");
  EXPECT_EQ(as_property(R"({"DataType":6144,"DataState":256,"Value":null})"), "p(6144)=<null>;");
  EXPECT_THAT(log.lines(),
              ElementsAre(Trace("valstr.empty():1"), Trace("data and time is NULL value "),
                          Trace("valstr.empty():1"), Trace("data and time is NULL value ")));
}

TEST(Add2CMPIArgs, MalformedDateTimeFails) {
  LogCapture log;
  EXPECT_EQ(decode(R"({"DataType":6144,"Value":"yesterday"})", INVOKEMETHOD).result, 1u);
  EXPECT_EQ(decode(R"({"DataType":6144,"Value":"yesterday"})", MODIFYINST).properties, "");
  const LogLine failed = Error("ERROR: __Add2CMPIArgs#1507: 'makeNewCMPIDateTimeFromChars failed");
  EXPECT_THAT(log.lines(),
              ElementsAre(Trace("valstr.empty():0"), failed, Trace("valstr.empty():0"), failed));
}

// ---- which test each branch makes for kinds other than 4 and 5 --------------------------------

TEST(Add2CMPIArgs, OtherKindsActAsPropertyOrArgumentByTheTestEachBranchMakes) {
  const int kOther = 7;
  // Branches that test for an argument (5): any other kind sets a property.
  EXPECT_EQ(decode(R"({"DataType":5632,"Value":"x"})", kOther).properties, "p(5632)=x;");
  EXPECT_EQ(decode(R"({"DataType":144,"Value":3})", kOther).properties, "p(144)=3;");
  EXPECT_EQ(decode(R"({"DataType":12,"Value":1.5})", kOther).properties, "p(12)=1.5;");
  EXPECT_EQ(decode(std::string(R"({"DataType":6144,"Value":")") + kWhen + "\"}", kOther).properties,
            std::string("p(6144)=") + kWhen + ";");
  EXPECT_EQ(decode(R"({"DataType":8336,"Value":[4]})", kOther).properties, "p(8336)=[4];");
  EXPECT_EQ(
      decode(R"({"DataType":4352,"Value":{"ClassName":"C","NameSpace":"n","key":null}})", kOther)
          .properties,
      "p(4352)=n:C;");
  // Branches that test for a property (4): any other kind adds an argument, or nothing.
  EXPECT_EQ(decode(R"({"DataType":6144,"Value":""})", kOther).args, "p(6144)=<null>;");
  EXPECT_EQ(decode(R"({"DataType":0})", kOther).args, "p(0)=<null>;");
  EXPECT_EQ(decode(R"({"DataType":2,"Value":1})", kOther).properties, "");
  EXPECT_EQ(decode(R"({"DataType":144,"DataState":256,"Value":3})", kOther).properties,
            "p(144)=3;");
  EXPECT_EQ(decode(R"({"DataType":8336,"Value":null})", kOther).properties, "");
  EXPECT_EQ(
      decode(R"({"DataType":4096,"CMPIInstance":{"ClassName":"C","NameSpace":"n"}})", kOther).args,
      "p(4096)={n:C|};");
}

// ---- references -------------------------------------------------------------------------------

TEST(Add2CMPIArgs, ReferenceIsAPathWithTheKeysOfItsKeyText) {
  const char object[] =
      R"({"DataType":4352,"Value":{"ClassName":"Demo_System","NameSpace":"root/cimv2",)"
      R"("key":"Name=bmc0,Rack=r1,"}})";
  LogCapture log;
  EXPECT_EQ(as_argument(object), "p(4352)=root/cimv2:Demo_System.Name=bmc0,Rack=r1;");
  EXPECT_THAT(log.lines(), ElementsAre(Enter("addCMKey"), Trace("addCMKey Name=bmc0,Rack=r1, "),
                                       Exit("addCMKey")));
  EXPECT_EQ(as_property(object), "p(4352)=root/cimv2:Demo_System.Name=bmc0,Rack=r1;");
}

TEST(Add2CMPIArgs, ReferenceWithoutKeys) {
  EXPECT_EQ(
      as_property(R"({"DataType":4352,"Value":{"ClassName":"C","NameSpace":"ns","key":null}})"),
      "p(4352)=ns:C;");
}

TEST(Add2CMPIArgs, ReferencePathFactoryErrorFails) {
  for (Fault fault : {Fault::kFail, Fault::kFailWithObject}) {
    FactoryFault armed(Factory::kObjectPath, fault, 0, "C");
    LogCapture log;
    const Decoded decoded =
        decode(R"({"DataType":4352,"Value":{"ClassName":"C","NameSpace":"n","key":"A=1,"}})",
               INVOKEMETHOD);
    EXPECT_EQ(decoded.result, 1u);
    EXPECT_EQ(decoded.args, "");
    EXPECT_THAT(log.lines(),
                ElementsAre(Error("ERROR: __Add2CMPIArgs#1447: 'makeNewObjectPath failed'")));
  }
}

// No path with a success status is information only: the keys cannot be added (information
// again) and a null reference is added.
TEST(Add2CMPIArgs, ReferenceWithoutPathButSuccessStatusGoesOn) {
  FactoryFault armed(Factory::kObjectPath, Fault::kOkNothing, 0, "C");
  LogCapture log;
  const Decoded decoded = decode(
      R"({"DataType":4352,"Value":{"ClassName":"C","NameSpace":"n","key":"A=1,"}})", MODIFYINST);
  EXPECT_EQ(decoded.result, 0u);
  EXPECT_EQ(decoded.properties, "p(4352)=<null>;");
  EXPECT_THAT(log.lines(),
              ElementsAre(Info("INFO: __Add2CMPIArgs#1447: 'makeNewObjectPath failed'"),
                          Enter("addCMKey"), Trace("addCMKey A=1, "),
                          Error("ERROR: __addCMKey#1106: 'A' key can not be added"),
                          Exit("addCMKey"), Info("INFO: __Add2CMPIArgs#1450: 'addCMKey failed'")));
}

// The status examined after a key failure is still the path factory's: the reference is added
// all the same, with the keys added before the failure.
TEST(Add2CMPIArgs, ReferenceKeyFailureIsInformationOnly) {
  FactoryFault armed(Factory::kString, Fault::kFail, 0, "boom");
  LogCapture log;
  const Decoded decoded = decode(
      R"({"DataType":4352,"Value":{"ClassName":"C","NameSpace":"n","key":"A=1,B=boom,C=3,"}})",
      INVOKEMETHOD);
  EXPECT_EQ(decoded.result, 0u);
  EXPECT_EQ(decoded.args, "p(4352)=n:C.A=1;");
  EXPECT_THAT(log.lines(),
              ElementsAre(Enter("addCMKey"), Trace("addCMKey A=1,B=boom,C=3, "),
                          Error("ERROR: __addCMKey#1106: 'B' key can not be added"),
                          Exit("addCMKey"), Info("INFO: __Add2CMPIArgs#1450: 'addCMKey failed'")));
}

// ---- embedded instances -----------------------------------------------------------------------

const char kSensor[] =
    R"({"DataType":4096,"DataState":0,"CMPIInstance":{"ClassName":"Demo_Sensor",)"
    R"("NameSpace":"root/cimv2","Principal":"TEMP","RequestType":1,"InstanceProps":{)"
    R"("Reading":{"DataType":144,"DataState":0,"Value":7},)"
    R"("Label":{"DataType":5632,"DataState":0,"Value":"front"}}}})";

TEST(Add2CMPIArgs, EmbeddedInstanceIsBuiltFromItsObject) {
  LogCapture log;
  EXPECT_EQ(as_property(kSensor),
            "p(4096)={root/cimv2:Demo_Sensor|Label(5632)=front;Reading(144)=7;};");
  EXPECT_EQ(as_argument(kSensor),
            "p(4096)={root/cimv2:Demo_Sensor|Label(5632)=front;Reading(144)=7;};");
  EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(Add2CMPIArgs, EmbeddedInstanceWithoutPropertiesOrObject) {
  EXPECT_EQ(as_property(R"({"DataType":4096,"CMPIInstance":{"ClassName":"C","NameSpace":"n"}})"),
            "p(4096)={n:C|};");
  EXPECT_EQ(as_argument(R"({"DataType":4096})"), "p(4096)={:|};");
}

const char kSensorWithBadDate[] =
    R"({"DataType":4096,"CMPIInstance":{"ClassName":"Demo_Sensor","NameSpace":"root/cimv2",)"
    R"("InstanceProps":{"Reading":{"DataType":144,"Value":7},)"
    R"("When":{"DataType":6144,"Value":"soon"}}}})";

// Inside a property the embedded properties that fail are passed over.
TEST(Add2CMPIArgs, EmbeddedPropertyFailureIsIgnoredForAProperty) {
  LogCapture log;
  EXPECT_EQ(as_property(kSensorWithBadDate), "p(4096)={root/cimv2:Demo_Sensor|Reading(144)=7;};");
  EXPECT_THAT(
      log.lines(),
      ElementsAre(Trace("valstr.empty():0"),
                  Error("ERROR: __Add2CMPIArgs#1507: 'makeNewCMPIDateTimeFromChars failed")));
}

TEST(Add2CMPIArgs, EmbeddedPropertyFailureFailsAnArgument) {
  LogCapture log;
  const Decoded decoded = decode(kSensorWithBadDate, INVOKEMETHOD);
  EXPECT_EQ(decoded.result, 1u);
  EXPECT_EQ(decoded.args, "");
  EXPECT_THAT(log.lines(),
              ElementsAre(Trace("valstr.empty():0"),
                          Error("ERROR: __Add2CMPIArgs#1507: 'makeNewCMPIDateTimeFromChars failed"),
                          Error("ERROR: __Add2CMPIArgs#1422: 'Add2CMPIArgs failed'")));
}

TEST(Add2CMPIArgs, EmbeddedInstanceThatCannotBeMadeFailsWithoutAWord) {
  LogCapture log;
  for (int kind : {MODIFYINST, INVOKEMETHOD}) {
    {
      FactoryFault armed(Factory::kObjectPath, Fault::kFail, 0, "Demo_Sensor");
      const Decoded decoded = decode(kSensor, kind);
      EXPECT_EQ(decoded.result, 1u);
      EXPECT_EQ(decoded.args + decoded.properties, "");
    }
    {
      // The first instance is the target of the decode.
      FactoryFault armed(Factory::kInstance, Fault::kFail, 1);
      const Decoded decoded = decode(kSensor, kind);
      EXPECT_EQ(decoded.result, 1u);
      EXPECT_EQ(decoded.args + decoded.properties, "");
      EXPECT_EQ(armed.calls(), 2);
    }
  }
  EXPECT_THAT(log.lines(), IsEmpty());
}

// ---- arrays -----------------------------------------------------------------------------------

TEST(Add2CMPIArgs, EmptyArraySetsNothing) {
  LogCapture log;
  EXPECT_EQ(as_argument(R"({"DataType":13824,"Value":[]})"), "");
  EXPECT_EQ(as_property(R"({"DataType":13824,"DataState":0,"Value":[]})"), "");
  EXPECT_THAT(log.lines(), ElementsAre(Trace("INFO: Args have empty array"),
                                       Trace("INFO: Args have empty array")));
}

// A null (or absent) "Value" is a null array property; an argument is dropped.
TEST(Add2CMPIArgs, NullArrayIsANullPropertyAndNoArgument) {
  LogCapture log;
  EXPECT_EQ(as_property(R"({"DataType":13824,"DataState":256,"Value":null})"), "p(13824)=<null>;");
  EXPECT_EQ(as_property(R"({"DataType":8194,"DataState":0})"), "p(8194)=<null>;");
  EXPECT_EQ(as_argument(R"({"DataType":13824,"Value":null})"), "");
  EXPECT_THAT(log.lines(), ElementsAre(Trace("INFO: Args have empty array")));
}

TEST(Add2CMPIArgs, ArrayOfReferencesHasItsElementsUnset) {
  const char object[] = R"({"DataType":12544,"Value":["root/cimv2:Demo_System.Name=bmc0"]})";
  LogCapture log;
  EXPECT_EQ(as_property(object), "p(12544)=[<null>];");
  EXPECT_EQ(as_argument(object), "p(12544)=[<null>];");
  EXPECT_THAT(log.lines(), IsEmpty());
}

struct ArrayCase {
  const char *label;
  const char *object;
  const char *expected;
};

class ArrayElements : public ::testing::TestWithParam<ArrayCase> {};

TEST_P(ArrayElements, AreDecodedByElementType) {
  const ArrayCase c = GetParam();
  EXPECT_EQ(as_argument(c.object), c.expected);
  EXPECT_EQ(as_property(c.object), c.expected);
}

INSTANTIATE_TEST_SUITE_P(
    ByType, ArrayElements,
    ::testing::Values(
        ArrayCase{"uint8", R"({"DataType":8320,"Value":[1,300]})", "p(8320)=[1,44];"},
        ArrayCase{"sint8", R"({"DataType":8384,"Value":[255]})", "p(8384)=[-1];"},
        ArrayCase{"uint16", R"({"DataType":8336,"Value":[65537]})", "p(8336)=[1];"},
        ArrayCase{"sint16", R"({"DataType":8400,"Value":[65535]})", "p(8400)=[-1];"},
        ArrayCase{"uint32", R"({"DataType":8352,"Value":[4294967296]})", "p(8352)=[0];"},
        ArrayCase{"sint32", R"({"DataType":8416,"Value":[18446744073709551611,7]})",
                  "p(8416)=[-5,7];"},
        ArrayCase{"uint64", R"({"DataType":8368,"Value":[18446744073709551615]})",
                  "p(8368)=[18446744073709551615];"},
        ArrayCase{"sint64", R"({"DataType":8432,"Value":[18446744073709551615]})", "p(8432)=[-1];"},
        ArrayCase{"real32", R"({"DataType":8200,"Value":[0.1,2]})", "p(8200)=[0.100000001,2];"},
        ArrayCase{"real64", R"({"DataType":8204,"Value":[0.1]})", "p(8204)=[0.10000000000000001];"},
        ArrayCase{"boolean", R"({"DataType":8194,"Value":["TRUE","no",true,1]})",
                  "p(8194)=[true,false,true,false];"},
        ArrayCase{"char16", R"({"DataType":8195,"Value":[65]})", "p(8195)=[<null>];"},
        ArrayCase{"string", R"({"DataType":13824,"Value":["a","NULL","null","b"]})",
                  "p(13824)=[a,<null>,<null>,b];"},
        ArrayCase{"booleanString", R"({"DataType":13826,"Value":["true","Null"]})",
                  "p(13826)=[true,<null>];"},
        ArrayCase{"numericString", R"({"DataType":14076,"Value":["12"]})", "p(14076)=[12];"},
        ArrayCase{"dateTimeString", R"({"DataType":15872,"Value":["x"]})", "p(15872)=[x];"},
        // Chars elements are the text as it stands, "NULL" included.
        ArrayCase{"chars", R"({"DataType":14080,"Value":["NULL","x"]})", "p(13824)=[NULL,x];"},
        ArrayCase{"dateTime", R"({"DataType":14336,"Value":["20241114120523.243424-300"]})",
                  "p(14336)=[20241114120523.243424-300];"},
        ArrayCase{"instance",
                  R"({"DataType":12288,"Value":[{"ClassName":"Demo_Sensor",)"
                  R"("NameSpace":"root/cimv2","InstanceProps":{"Reading":{"DataType":144,)"
                  R"("DataState":0,"Value":7}}},{"ClassName":"Demo_Sensor","NameSpace":"n"}]})",
                  "p(12288)=[{root/cimv2:Demo_Sensor|Reading(144)=7;},{n:Demo_Sensor|}];"}),
    [](const ::testing::TestParamInfo<ArrayCase> &info) { return std::string(info.param.label); });

TEST(Add2CMPIArgs, ArrayThatCannotBeMadeFails) {
  LogCapture log;
  // Element type 1 is no type the object library can hold.
  EXPECT_EQ(decode(R"({"DataType":8193,"Value":[1]})", INVOKEMETHOD).result, 1u);
  EXPECT_EQ(decode(R"({"DataType":8193,"Value":[1]})", MODIFYINST).result, 1u);
  for (Fault fault : {Fault::kFail, Fault::kFailWithObject}) {
    FactoryFault armed(Factory::kArray, fault);
    EXPECT_EQ(decode(R"({"DataType":8320,"Value":[1]})", INVOKEMETHOD).args, "");
  }
  const LogLine failed = Error("ERROR: __Add2CMPIArgs#1372: 'makeNewCMPIArray failed'");
  EXPECT_THAT(log.lines(), ElementsAre(failed, failed, failed, failed));
}

TEST(Add2CMPIArgs, ArrayWhoseElementFailsFailsAndIsReleased) {
  LogCapture log;
  const Decoded decoded =
      decode(R"({"DataType":14336,"Value":["20241114120523.243424-300","soon"]})", MODIFYINST);
  EXPECT_EQ(decoded.result, 1u);
  EXPECT_EQ(decoded.properties, "");
  EXPECT_THAT(log.lines(),
              ElementsAre(Error("ERROR: __setCMArrayElement#1214: 'makeNewCMPIDateTimeFromChars "
                                "failed"),
                          Error("ERROR: __Add2CMPIArgs#1376: 'setCMArrayElement failed'")));
}

// ---- every add and set failure ----------------------------------------------------------------

struct TargetFailure {
  std::string label;
  std::string object;
  int kind;
  std::vector<LogLine> lines;
};

void PrintTo(const TargetFailure &c, std::ostream *out) { *out << c.label; }

LogLine add_failed(int line) {
  return Error("ERROR: __Add2CMPIArgs#" + std::to_string(line) + ": 'CMAddArg failed for 'p' '");
}

LogLine set_failed(int line) {
  return Error("ERROR: __Add2CMPIArgs#" + std::to_string(line) +
               ": 'CMSetProperty failed for 'p' '");
}

std::vector<TargetFailure> target_failures() {
  std::vector<TargetFailure> cases;
  auto both = [&](const std::string &label, const std::string &object, int add_line, int set_line,
                  std::vector<LogLine> before = {}) {
    std::vector<LogLine> add = before;
    add.push_back(add_failed(add_line));
    std::vector<LogLine> set = before;
    set.push_back(set_failed(set_line));
    cases.push_back({label + "_argument", object, INVOKEMETHOD, add});
    cases.push_back({label + "_property", object, MODIFYINST, set});
  };
  const struct {
    const char *label;
    int type;
    int add_line;
    int set_line;
  } integers[] = {{"uint8", 128, 1573, 1578},  {"sint8", 192, 1587, 1592},
                  {"uint16", 144, 1601, 1606}, {"sint16", 208, 1615, 1620},
                  {"uint32", 160, 1629, 1634}, {"sint32", 224, 1643, 1648},
                  {"uint64", 176, 1657, 1662}, {"sint64", 240, 1672, 1677}};
  for (const auto &i : integers) {
    both(i.label, "{\"DataType\":" + std::to_string(i.type) + ",\"Value\":1}", i.add_line,
         i.set_line);
  }
  both("real32", R"({"DataType":8,"Value":1.5})", 1691, 1696);
  both("real64", R"({"DataType":12,"Value":1.5})", 1705, 1710);
  both("text", R"({"DataType":5632,"Value":"x"})", 1483, 1492);
  both("array", R"({"DataType":8320,"Value":[1]})", 1383, 1389);
  both("dateTime", std::string(R"({"DataType":6144,"Value":")") + kWhen + "\"}", 1513, 1518,
       {Trace("valstr.empty():0")});
  both("reference", R"({"DataType":4352,"Value":{"ClassName":"C","NameSpace":"n","key":null}})",
       1457, 1462, {Enter("addCMKey"), Trace("addCMKey  "), Exit("addCMKey")});
  cases.push_back(
      {"nullDateTime_argument",
       R"({"DataType":6144,"Value":""})",
       INVOKEMETHOD,
       {Trace("valstr.empty():1"), Trace("data and time is NULL value "), add_failed(1534)}});
  cases.push_back(
      {"nullDateTime_property",
       R"({"DataType":6144,"Value":""})",
       MODIFYINST,
       {Trace("valstr.empty():1"), Trace("data and time is NULL value "), set_failed(1528)}});
  cases.push_back(
      {"boolean_property", R"({"DataType":2,"Value":1})", MODIFYINST, {set_failed(1553)}});
  cases.push_back(
      {"nullArray_property", R"({"DataType":8320,"Value":null})", MODIFYINST, {set_failed(1359)}});
  cases.push_back({"typeZero_argument", R"({"DataType":0})", INVOKEMETHOD, {add_failed(1725)}});
  cases.push_back({"typeZero_property", R"({"DataType":0})", MODIFYINST, {set_failed(1719)}});
  cases.push_back({"embedded_argument",
                   R"({"DataType":4096,"CMPIInstance":{"ClassName":"C"}})",
                   INVOKEMETHOD,
                   {add_failed(1432)}});
  return cases;
}

class TargetFailures : public ::testing::TestWithParam<TargetFailure> {};

TEST_P(TargetFailures, AreLoggedWithTheirNumberAndFail) {
  const TargetFailure &c = GetParam();
  RefusingTargets targets;
  LogCapture log;
  EXPECT_EQ(Add2CMPIArgs(targets.args, targets.instance, "p", json(c.object), c.kind), 1u);
  EXPECT_THAT(log.lines(), ElementsAreArray(c.lines));
}

INSTANTIATE_TEST_SUITE_P(AddAndSet, TargetFailures, ::testing::ValuesIn(target_failures()),
                         [](const ::testing::TestParamInfo<TargetFailure> &info) {
                           return info.param.label;
                         });

// The outcome of setting a null boolean or integer property, and an embedded instance property,
// is not examined.
TEST(Add2CMPIArgs, SomePropertySetsAreNotExamined) {
  RefusingTargets targets;
  LogCapture log;
  for (const char *object :
       {R"({"DataType":2,"DataState":256})", R"({"DataType":3,"DataState":256})",
        R"({"DataType":160,"DataState":256})",
        R"({"DataType":4096,"CMPIInstance":{"ClassName":"C","NameSpace":"n"}})"}) {
    EXPECT_EQ(Add2CMPIArgs(targets.args, targets.instance, "p", json(object), MODIFYINST), 0u)
        << object;
  }
  EXPECT_THAT(log.lines(), IsEmpty());
}

// A missing target cannot take a value: the add or set counts as failed.
TEST(Add2CMPIArgs, MissingTargetFails) {
  LogCapture log;
  EXPECT_EQ(
      Add2CMPIArgs(nullptr, nullptr, "p", json(R"({"DataType":144,"Value":1})"), INVOKEMETHOD), 1u);
  EXPECT_EQ(Add2CMPIArgs(nullptr, nullptr, "p", json(R"({"DataType":144,"Value":1})"), MODIFYINST),
            1u);
  EXPECT_THAT(log.lines(), ElementsAre(add_failed(1601), set_failed(1606)));
}

// ---- setCMArrayElement ------------------------------------------------------------------------

struct ElementFailure {
  const char *label;
  int type;
  const char *entries;
  const char *line;
};

class ElementFailures : public ::testing::TestWithParam<ElementFailure> {};

TEST_P(ElementFailures, AreLoggedWithTheirNumberAndFail) {
  const ElementFailure c = GetParam();
  RefusingArray refusing(1, static_cast<CMPIType>(c.type));
  LogCapture log;
  EXPECT_EQ(setCMArrayElement(refusing.array, json(std::string("{\"Value\":") + c.entries + "}"),
                              static_cast<CMPIType>(c.type)),
            1u);
  EXPECT_THAT(log.lines(), ElementsAre(Error(c.line)));
}

INSTANTIATE_TEST_SUITE_P(
    EveryElementType, ElementFailures,
    ::testing::Values(
        ElementFailure{"chars", 5888, R"(["x"])",
                       "ERROR: __setCMArrayElement#1185: 'CMSetArrayElementAt failed to add 'x' "
                       "to index '0''"},
        ElementFailure{"instance", 4096, R"([{"ClassName":"C","NameSpace":"n"}])",
                       "ERROR: __setCMArrayElement#1170: 'CMSetArrayElementAt failed to add INST "
                       "to index '0''"},
        ElementFailure{"string", 5632, R"(["x"])",
                       "ERROR: __setCMArrayElement#1205: 'CMSetArrayElementAt failed"},
        ElementFailure{"booleanString", 5634, R"(["x"])",
                       "ERROR: __setCMArrayElement#1205: 'CMSetArrayElementAt failed"},
        ElementFailure{"numericString", 5884, R"(["x"])",
                       "ERROR: __setCMArrayElement#1205: 'CMSetArrayElementAt failed"},
        ElementFailure{"dateTimeString", 7680, R"(["x"])",
                       "ERROR: __setCMArrayElement#1205: 'CMSetArrayElementAt failed"},
        ElementFailure{"dateTime", 6144, R"(["20241114120523.243424-300"])",
                       "ERROR: __setCMArrayElement#1220: 'CMSetArrayElementAt failed"},
        ElementFailure{"boolean", 2, R"(["true"])",
                       "ERROR: __setCMArrayElement#1232: 'CMSetArrayElementAt failed"},
        ElementFailure{"uint8", 128, "[1]",
                       "ERROR: __setCMArrayElement#1247: 'CMSetArrayElementAt failed"},
        ElementFailure{"sint8", 192, "[1]",
                       "ERROR: __setCMArrayElement#1254: 'CMSetArrayElementAt failed"},
        ElementFailure{"uint16", 144, "[1]",
                       "ERROR: __setCMArrayElement#1261: 'CMSetArrayElementAt failed"},
        ElementFailure{"sint16", 208, "[1]",
                       "ERROR: __setCMArrayElement#1268: 'CMSetArrayElementAt failed"},
        ElementFailure{"uint32", 160, "[1]",
                       "ERROR: __setCMArrayElement#1275: 'CMSetArrayElementAt failed"},
        ElementFailure{"sint32", 224, "[1]",
                       "ERROR: __setCMArrayElement#1282: 'CMSetArrayElementAt failed"},
        ElementFailure{"uint64", 176, "[1]",
                       "ERROR: __setCMArrayElement#1289: 'CMSetArrayElementAt failed"},
        ElementFailure{"sint64", 240, "[1]",
                       "ERROR: __setCMArrayElement#1296: 'CMSetArrayElementAt failed"},
        ElementFailure{"real32", 8, "[1.5]",
                       "ERROR: __setCMArrayElement#1306: 'CMSetArrayElementAt failed"},
        ElementFailure{"real64", 12, "[1.5]",
                       "ERROR: __setCMArrayElement#1313: 'CMSetArrayElementAt failed"}),
    [](const ::testing::TestParamInfo<ElementFailure> &info) {
      return std::string(info.param.label);
    });

TEST(SetCMArrayElement, FailureNamesTheEntryAndItsIndex) {
  RefusingArray refusing(2, CMPI_chars, 1);
  LogCapture log;
  EXPECT_EQ(setCMArrayElement(refusing.array, json(R"({"Value":["a","b"]})"), CMPI_chars), 1u);
  EXPECT_THAT(log.lines(),
              ElementsAre(Error("ERROR: __setCMArrayElement#1185: 'CMSetArrayElementAt failed "
                                "to add 'b' to index '1''")));
  EXPECT_EQ(describe_value(CMPI_stringA, CMPI_goodValue, array_value(refusing.array)),
            "[a,<null>]");
}

// Elements that stay unset make no call at all, and a "NULL" text is set without looking at the
// outcome.
TEST(SetCMArrayElement, UnsetAndUnexaminedElementsNeverFail) {
  LogCapture log;
  const struct {
    int type;
    const char *entries;
  } cases[] = {{5632, R"(["NULL"])"},
               {7680, R"(["null"])"},
               {4352, R"(["n:C.k=v"])"},
               {3, "[65]"},
               {0, "[1]"},
               {129, "[1]"},
               {9, "[1.5]"},
               {4608, R"(["x"])"}};
  for (const auto &c : cases) {
    RefusingArray refusing(1, c.type == 0 || c.type == 129 || c.type == 9 || c.type == 4608
                                  ? CMPI_uint8
                                  : static_cast<CMPIType>(c.type));
    EXPECT_EQ(setCMArrayElement(refusing.array, json(std::string("{\"Value\":") + c.entries + "}"),
                                static_cast<CMPIType>(c.type)),
              0u)
        << c.type;
  }
  EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(SetCMArrayElement, StringThatCannotBeMadeFails) {
  for (Fault fault : {Fault::kFail, Fault::kFailWithObject, Fault::kOkNothing}) {
    CMPIArray *array = makeNewCMPIArray(2, CMPI_string, nullptr);
    FactoryFault armed(Factory::kString, fault, 0, "boom");
    LogCapture log;
    EXPECT_EQ(setCMArrayElement(array, json(R"({"Value":["a","boom","c"]})"), CMPI_string), 1u);
    EXPECT_THAT(log.lines(),
                ElementsAre(Error("ERROR: __setCMArrayElement#1199: 'CreateString failed")));
    EXPECT_EQ(describe_value(CMPI_stringA, CMPI_goodValue, array_value(array)), "[a,<null>]");
    CMRelease(array);
  }
}

TEST(SetCMArrayElement, DateTimeThatCannotBeMadeFails) {
  CMPIArray *array = makeNewCMPIArray(1, CMPI_dateTime, nullptr);
  LogCapture log;
  EXPECT_EQ(setCMArrayElement(array, json(R"({"Value":[""]})"), CMPI_dateTime), 1u);
  {
    FactoryFault armed(Factory::kDateTime, Fault::kFailWithObject);
    EXPECT_EQ(
        setCMArrayElement(array, json(R"({"Value":["20241114120523.243424-300"]})"), CMPI_dateTime),
        1u);
  }
  const LogLine failed =
      Error("ERROR: __setCMArrayElement#1214: 'makeNewCMPIDateTimeFromChars failed");
  EXPECT_THAT(log.lines(), ElementsAre(failed, failed));
  CMRelease(array);
}

TEST(SetCMArrayElement, InstanceElementWhosePropertyFailsFails) {
  CMPIArray *array = makeNewCMPIArray(1, CMPI_instance, nullptr);
  LogCapture log;
  EXPECT_EQ(setCMArrayElement(array,
                              json(R"({"Value":[{"ClassName":"C","NameSpace":"n",)"
                                   R"("InstanceProps":{"When":{"DataType":6144,"Value":"x"}}}]})"),
                              CMPI_instance),
            1u);
  EXPECT_THAT(log.lines(),
              ElementsAre(Trace("valstr.empty():0"),
                          Error("ERROR: __Add2CMPIArgs#1507: 'makeNewCMPIDateTimeFromChars failed"),
                          Error("ERROR: __setCMArrayElement#1164: 'Add2CMPIArgs failed'")));
  CMRelease(array);
}

// An instance that cannot be made leaves its element unset, and the walk goes on.
TEST(SetCMArrayElement, InstanceThatCannotBeMadeLeavesTheElementUnset) {
  CMPIArray *array = makeNewCMPIArray(2, CMPI_instance, nullptr);
  FactoryFault armed(Factory::kInstance, Fault::kFail, 1);
  LogCapture log;
  EXPECT_EQ(setCMArrayElement(
                array, json(R"({"Value":[{"ClassName":"A","NameSpace":"n"},{"ClassName":"B"}]})"),
                CMPI_instance),
            0u);
  EXPECT_EQ(armed.calls(), 2);
  EXPECT_EQ(describe_value(CMPI_instanceA, CMPI_goodValue, array_value(array)), "[{n:A|},<null>]");
  EXPECT_THAT(log.lines(), IsEmpty());
  CMRelease(array);
}

// ---- createCMArgs -----------------------------------------------------------------------------

TEST(CreateCMArgs, WithoutRequestTheListGoesToTheResponse) {
  ServerResp resp;
  std::memset(&resp, 0, sizeof(resp));
  EXPECT_EQ(createCMArgs(nullptr, &resp, json(R"({"ArgsIn":{"x":{"DataType":5632,"Value":"y"}}})")),
            0u);
  EXPECT_EQ(describe_args(resp.retVal.args), "x(5632)=y;");
  CMRelease(resp.retVal.args);
}

TEST(CreateCMArgs, TheRequestWinsOverTheResponse) {
  ClientReq req;
  std::memset(&req, 0, sizeof(req));
  ServerResp resp;
  std::memset(&resp, 0, sizeof(resp));
  EXPECT_EQ(createCMArgs(&req, &resp, json(R"({"ArgsIn":{}})")), 0u);
  EXPECT_NE(V(req.ArgsIn), nullptr);
  EXPECT_EQ(resp.retVal.args, nullptr);
  CMRelease(V(req.ArgsIn));
}

TEST(CreateCMArgs, AbsentOrEmptyArgsInGiveAnEmptyList) {
  for (const char *document : {"{}", R"({"ArgsIn":{}})", R"({"ArgsIn":null})"}) {
    ClientReq req;
    std::memset(&req, 0, sizeof(req));
    LogCapture log;
    EXPECT_EQ(createCMArgs(&req, nullptr, json(document)), 0u);
    ASSERT_NE(V(req.ArgsIn), nullptr);
    EXPECT_EQ(describe_args(V(req.ArgsIn)), "");
    EXPECT_THAT(log.lines(), IsEmpty());
    CMRelease(V(req.ArgsIn));
  }
}

TEST(CreateCMArgs, ListThatCannotBeMadeFails) {
  for (Fault fault : {Fault::kFail, Fault::kFailWithObject, Fault::kOkNothing}) {
    FactoryFault armed(Factory::kArgs, fault);
    ClientReq req;
    std::memset(&req, 0, sizeof(req));
    LogCapture log;
    EXPECT_EQ(createCMArgs(&req, nullptr, json(R"({"ArgsIn":{"a":{"DataType":144}}})")), 1u);
    EXPECT_EQ(V(req.ArgsIn), nullptr);
    EXPECT_THAT(log.lines(),
                ElementsAre(Error("ERROR: __createCMArgs#1979: 'makeNewCMPIArgs failed'")));
  }
}

TEST(CreateCMArgs, FailingArgumentStopsTheWalkAndEarlierArgumentsStay) {
  ClientReq req;
  std::memset(&req, 0, sizeof(req));
  LogCapture log;
  EXPECT_EQ(createCMArgs(&req, nullptr,
                         json(R"({"ArgsIn":{"a":{"DataType":144,"Value":1},)"
                              R"("b":{"DataType":6144,"Value":"bad"},)"
                              R"("c":{"DataType":144,"Value":3}}})")),
            1u);
  EXPECT_EQ(describe_args(V(req.ArgsIn)), "a(144)=1;");
  EXPECT_THAT(
      log.lines(),
      ElementsAre(Trace("INFO: name = 'a'"), Trace("INFO: name = 'b'"), Trace("valstr.empty():0"),
                  Error("ERROR: __Add2CMPIArgs#1507: 'makeNewCMPIDateTimeFromChars failed"),
                  Error("ERROR: __createCMArgs#1990: 'Add2CMPIArgs failed'")));
  CMRelease(V(req.ArgsIn));
}

// ---- createCMInst -----------------------------------------------------------------------------

CMPIObjectPath *fan_path() {
  CMPIObjectPath *path = makeNewObjectPath(kNs, "Demo_Fan", nullptr);
  CMAddKey(path, "DeviceID", chars_value("fan0"), CMPI_chars);
  return path;
}

const char kFanProps[] = R"({"InstanceProps":{"Speed":{"DataType":160,"DataState":0,"Value":4200},)"
                         R"("DeviceID":{"DataType":5632,"DataState":512,"Value":"fan0"}}})";

TEST(CreateCMInst, InstanceForTheRequestPathGoesToTheRequest) {
  ClientReq req;
  std::memset(&req, 0, sizeof(req));
  req.COP = fan_path();
  LogCapture log;
  EXPECT_EQ(createCMInst(&req, nullptr, json(kFanProps)), 0u);
  CMPIInstance *instance = V(req.CI);
  ASSERT_NE(instance, nullptr);
  EXPECT_EQ(describe_properties(instance), "DeviceID(5632)=fan0;Speed(160)=4200;");
  CMPIObjectPath *path = CMGetObjectPath(instance, nullptr);
  EXPECT_EQ(describe_path(path), "root/cimv2:Demo_Fan");
  EXPECT_EQ(describe_keys(path), "DeviceID(5632)=fan0;");
  CMRelease(path);
  // No key filter for a request.
  EXPECT_THAT(log.lines(), ElementsAre(Trace("property = DeviceID"), Trace("property = Speed")));
  CMRelease(instance);
  CMRelease(V(req.COP));
}

TEST(CreateCMInst, WithoutRequestTheResponseKeepsItsKeyPropertiesInTheFilter) {
  ServerResp resp;
  std::memset(&resp, 0, sizeof(resp));
  resp.objectPath = fan_path();
  FilterRecorder filters;
  LogCapture log;
  EXPECT_EQ(createCMInst(nullptr, &resp, json(kFanProps)), 0u);
  ASSERT_NE(resp.instance, nullptr);
  EXPECT_EQ(describe_properties(resp.instance), "DeviceID(5632)=fan0;Speed(160)=4200;");
  EXPECT_THAT(filters.calls(), ElementsAre("properties=NULL;keys=DeviceID"));
  EXPECT_THAT(log.lines(), ElementsAre(Trace("property = DeviceID"),
                                       Trace("createCMInst: key Property to be set DeviceID"),
                                       Trace("property = Speed")));
  CMRelease(resp.instance);
  CMRelease(resp.objectPath);
}

TEST(CreateCMInst, RequestWithKeyStateSetsNoFilter) {
  ClientReq req;
  std::memset(&req, 0, sizeof(req));
  req.COP = fan_path();
  FilterRecorder filters;
  EXPECT_EQ(createCMInst(&req, nullptr, json(kFanProps)), 0u);
  EXPECT_THAT(filters.calls(), IsEmpty());
  CMRelease(V(req.CI));
  CMRelease(V(req.COP));
}

TEST(CreateCMInst, NoPropertiesGiveAnEmptyInstance) {
  for (const char *document : {"{}", R"({"InstanceProps":{}})"}) {
    ServerResp resp;
    std::memset(&resp, 0, sizeof(resp));
    resp.objectPath = fan_path();
    LogCapture log;
    EXPECT_EQ(createCMInst(nullptr, &resp, json(document)), 0u);
    ASSERT_NE(resp.instance, nullptr);
    EXPECT_EQ(describe_properties(resp.instance), "");
    EXPECT_THAT(log.lines(), IsEmpty());
    CMRelease(resp.instance);
    CMRelease(resp.objectPath);
  }
}

TEST(CreateCMInst, InstanceFactoryErrorFails) {
  for (Fault fault : {Fault::kFail, Fault::kFailWithObject}) {
    FactoryFault armed(Factory::kInstance, fault);
    ClientReq req;
    std::memset(&req, 0, sizeof(req));
    req.COP = fan_path();
    LogCapture log;
    EXPECT_EQ(createCMInst(&req, nullptr, json(kFanProps)), 1u);
    EXPECT_EQ(V(req.CI), nullptr);
    EXPECT_THAT(log.lines(),
                ElementsAre(Error("ERROR: __createCMInst#1809: 'makeNewCMPIInstance failed'")));
    CMRelease(V(req.COP));
  }
}

// A record without a path gets no instance from the object library.
TEST(CreateCMInst, RecordWithoutPathFails) {
  ServerResp resp;
  std::memset(&resp, 0, sizeof(resp));
  LogCapture log;
  EXPECT_EQ(createCMInst(nullptr, &resp, json(kFanProps)), 1u);
  EXPECT_EQ(createCMInst(nullptr, nullptr, json(kFanProps)), 1u);
  const LogLine failed = Error("ERROR: __createCMInst#1809: 'makeNewCMPIInstance failed'");
  EXPECT_THAT(log.lines(), ElementsAre(failed, failed));
}

// No instance with a success status is information only: the NULL instance is stored and the
// properties are decoded into it (and fail there).
TEST(CreateCMInst, NoInstanceWithSuccessStatusGoesOn) {
  FactoryFault armed(Factory::kInstance, Fault::kOkNothing);
  ServerResp resp;
  std::memset(&resp, 0, sizeof(resp));
  resp.objectPath = fan_path();
  LogCapture log;
  EXPECT_EQ(createCMInst(nullptr, &resp, json("{}")), 0u);
  EXPECT_EQ(createCMInst(nullptr, &resp, json(kFanProps)), 1u);
  EXPECT_EQ(resp.instance, nullptr);
  const LogLine info = Info("INFO: __createCMInst#1809: 'makeNewCMPIInstance failed'");
  EXPECT_THAT(
      log.lines(),
      ElementsAre(info, info, Trace("property = DeviceID"),
                  Error("ERROR: __Add2CMPIArgs#1492: 'CMSetProperty failed for 'DeviceID' '"),
                  Error("ERROR: __createCMInst#1827: 'Add2CMPIArgs failed'")));
  CMRelease(resp.objectPath);
}

TEST(CreateCMInst, FailingPropertyStopsTheWalkAndEarlierPropertiesStay) {
  ClientReq req;
  std::memset(&req, 0, sizeof(req));
  req.COP = fan_path();
  LogCapture log;
  EXPECT_EQ(createCMInst(&req, nullptr,
                         json(R"({"InstanceProps":{"A":{"DataType":144,"Value":1},)"
                              R"("B":{"DataType":8193,"Value":[1]},)"
                              R"("C":{"DataType":144,"Value":3}}})")),
            1u);
  EXPECT_EQ(describe_properties(V(req.CI)), "A(144)=1;");
  EXPECT_THAT(log.lines(),
              ElementsAre(Trace("property = A"), Trace("property = B"),
                          Error("ERROR: __Add2CMPIArgs#1372: 'makeNewCMPIArray failed'"),
                          Error("ERROR: __createCMInst#1827: 'Add2CMPIArgs failed'")));
  CMRelease(V(req.CI));
  CMRelease(V(req.COP));
}

// ---- members of the wrong JSON type -----------------------------------------------------------

// jsoncpp's conversions throw; whatever the decoder had made is released (the sanitizer build
// sees any leak) and what was already added stays.
TEST(Decoders, WrongJsonTypesThrowAndLeaveNothingBehind) {
  const char *objects[] = {
      R"({"DataType":"x"})",
      R"({"DataType":[]})",
      R"({"DataType":144,"Value":"7"})",
      R"({"DataType":144,"Value":-1})",
      R"({"DataType":8,"Value":"1.5"})",
      R"({"DataType":5632,"Value":[1]})",
      R"({"DataType":6144,"Value":{}})",
      R"({"DataType":8320,"Value":[1,"x"]})",
      R"({"DataType":8320,"Value":{"a":1}})",
      R"({"DataType":13824,"Value":["a",{}]})",
      R"({"DataType":12288,"Value":[{"ClassName":"C","InstanceProps":[1]}]})",
      R"({"DataType":12288,"Value":[{"ClassName":"C","InstanceProps":{"x":{"DataType":"y"}}}]})",
      R"({"DataType":4096,"CMPIInstance":{"ClassName":"C","InstanceProps":{"x":5}}})",
      R"({"DataType":4096,"CMPIInstance":[]})",
      R"({"DataType":4352,"Value":"n:C.k=v"})",
      R"([1])",
      R"(5)",
  };
  for (const char *object : objects) {
    for (int kind : {INVOKEMETHOD, MODIFYINST}) {
      CMPIArgs *args = makeNewCMPIArgs(nullptr);
      CMPIInstance *instance = new_instance();
      EXPECT_THROW(Add2CMPIArgs(args, instance, "p", json(object), kind), std::exception) << object;
      EXPECT_EQ(describe_args(args), "");
      CMRelease(args);
      CMRelease(instance);
    }
  }
}

TEST(Decoders, ContainersOfTheWrongJsonTypeThrow) {
  for (const char *document : {R"({"ArgsIn":[1]})", R"({"ArgsIn":"x"})", "[]"}) {
    ClientReq req;
    std::memset(&req, 0, sizeof(req));
    EXPECT_THROW(createCMArgs(&req, nullptr, json(document)), std::exception) << document;
    EXPECT_EQ(V(req.ArgsIn), nullptr);
  }
  for (const char *document : {R"({"InstanceProps":[1]})", R"({"InstanceProps":3})"}) {
    ClientReq req;
    std::memset(&req, 0, sizeof(req));
    req.COP = fan_path();
    EXPECT_THROW(createCMInst(&req, nullptr, json(document)), std::exception) << document;
    EXPECT_EQ(V(req.CI), nullptr);
    CMRelease(V(req.COP));
  }
  // A property that throws half-way leaves the instance in the record, for it to release.
  ClientReq req;
  std::memset(&req, 0, sizeof(req));
  req.COP = fan_path();
  EXPECT_THROW(createCMInst(&req, nullptr,
                            json(R"({"InstanceProps":{"A":{"DataType":144,"Value":1},)"
                                 R"("B":{"DataType":144,"Value":"x"}}})")),
               std::exception);
  EXPECT_EQ(describe_properties(V(req.CI)), "A(144)=1;");
  CMRelease(V(req.CI));
  CMRelease(V(req.COP));
}

}  // namespace
