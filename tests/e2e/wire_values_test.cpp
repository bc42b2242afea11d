// wire_values_test.cpp - what the bytes of a request become on the other side, and how the host
// writes them back: nulls per type and direction, empty and null arrays, number widths and
// precision, char16 and boolean, text encoding, tolerated members, key text, shortened status
// messages and where an error code shows up. Every case writes raw request bytes, changes fan1
// of the demo state where it needs a stored value, and reads the exact bytes of the answer.
// docs/protocol.md describes each of these outcomes; a change here is a change of the protocol.
#include "hostd_fixture.h"

namespace e2e {
namespace {

const std::string kHeader =
    R"("ClassName":"Demo_Fan","NameSpace":"root/cimv2","Principal":"root")";
const std::string kFan0 = R"("key":"DeviceID=fan0,SystemName=bmc0,")";
const std::string kFan1 = R"("key":"DeviceID=fan1,SystemName=bmc0,")";
const std::string kModified = R"({"RequestType":4,"SetInstStatus":0,"SetInstStatusMsg":null}CMPI_EOF)";
const std::string kInvalid = "CMPIERROR:4CMPI_EOF";

// The member "name":{...} of a frame (the first one), braces balanced; "" when absent.
std::string member(const std::string &raw, const std::string &name) {
  const std::string head = "\"" + name + "\":{";
  const std::size_t start = raw.find(head);
  if (start == std::string::npos) return std::string();
  int depth = 0;
  bool in_string = false;
  for (std::size_t i = start + head.size() - 1; i < raw.size(); ++i) {
    const char c = raw[i];
    if (in_string) {
      if (c == '\\') ++i;
      else if (c == '"') in_string = false;
      continue;
    }
    if (c == '"') in_string = true;
    if (c == '{') ++depth;
    if (c == '}' && --depth == 0) return raw.substr(start, i + 1 - start);
  }
  return std::string();
}

class WireValues : public HostdTest {
 protected:
  std::string send(const std::string &document) {
    return exchange_raw(socket(), document + "CMPI_EOF");
  }
  // ModifyInstance of fan1 with these properties (the text inside "InstanceProps":{...}).
  std::string modify_fan1(const std::string &properties) {
    return send("{" + kHeader + R"(,"RequestType":4,)" + kFan1 + R"(,"InstanceProps":{)" +
                properties + "}}");
  }
  std::string get_fan1() { return send("{" + kHeader + R"(,"RequestType":3,)" + kFan1 + "}"); }
  // Modifies fan1 with one property and returns that property as GetInstance writes it back.
  std::string round_trip(const std::string &name, const std::string &value_object) {
    EXPECT_EQ(modify_fan1("\"" + name + "\":" + value_object), kModified);
    return member(get_fan1(), name);
  }
  std::string set_speed(const std::string &arguments) {
    return send("{" + kHeader + R"(,"RequestType":5,)" + kFan0 +
                R"(,"MethodName":"SetSpeed","ArgsIn":{)" + arguments + "}}");
  }
};

TEST_F(WireValues, NullIntegersAndBooleansAreWrittenWithValueZero) {
  EXPECT_EQ(round_trip("HealthState", R"({"DataState":256,"DataType":144,"Value":7})"),
            R"("HealthState":{"DataState":256,"DataType":144,"Value":0})");
  EXPECT_EQ(round_trip("Enabled", R"({"DataState":256,"DataType":2,"Value":1})"),
            R"("Enabled":{"DataState":256,"DataType":2,"Value":0})");
  // A boolean keeps the low 8 bits of its number.
  EXPECT_EQ(round_trip("Enabled", R"({"DataState":0,"DataType":2,"Value":256})"),
            R"("Enabled":{"DataState":0,"DataType":2,"Value":0})");
  EXPECT_EQ(round_trip("Enabled", R"({"DataState":0,"DataType":2,"Value":2})"),
            R"("Enabled":{"DataState":0,"DataType":2,"Value":1})");
}

TEST_F(WireValues, OnlyTheTextNullMakesANullStringProperty) {
  EXPECT_EQ(round_trip("Notes", R"({"DataState":0,"DataType":5632,"Value":"NULL"})"),
            R"("Notes":{"DataState":256,"DataType":5632,"Value":null})");
  // DataState 256 is ignored for strings, a JSON null arrives as "", other spellings are text.
  EXPECT_EQ(round_trip("Name", R"({"DataState":256,"DataType":5632,"Value":"abc"})"),
            R"("Name":{"DataState":0,"DataType":5632,"Value":"abc"})");
  EXPECT_EQ(round_trip("Name", R"({"DataState":0,"DataType":5632,"Value":null})"),
            R"("Name":{"DataState":0,"DataType":5632,"Value":""})");
  EXPECT_EQ(round_trip("Name", R"({"DataState":0,"DataType":5632,"Value":"null"})"),
            R"("Name":{"DataState":0,"DataType":5632,"Value":"null"})");
}

TEST_F(WireValues, RealsHaveNoNullAndDateTimesAreNullWhenEmpty) {
  EXPECT_EQ(round_trip("Ratio", R"({"DataState":256,"DataType":8,"Value":0.5})"),
            R"("Ratio":{"DataState":0,"DataType":8,"Value":0.5})");
  EXPECT_EQ(round_trip("Load", R"({"DataState":0,"DataType":12,"Value":null})"),
            R"("Load":{"DataState":0,"DataType":12,"Value":0.0})");
  EXPECT_EQ(round_trip("InstallDate", R"({"DataState":0,"DataType":6144,"Value":""})"),
            R"("InstallDate":{"DataState":256,"DataType":6144,"Value":null})");
  EXPECT_EQ(round_trip("InstallDate",
                       R"({"DataState":256,"DataType":6144,"Value":"20240115103000.000000+000"})"),
            R"("InstallDate":{"DataState":0,"DataType":6144,"Value":"20240115103000.000000+000"})");
}

TEST_F(WireValues, EmptyArraysAreNotDeliveredAndNullArraysAre) {
  // fan1 starts with an empty SpeedHistory: empty is written without "Value".
  EXPECT_EQ(member(get_fan1(), "SpeedHistory"), R"("SpeedHistory":{"DataState":0,"DataType":8352})");
  // [] in a request leaves the property out: the stored tags stay.
  EXPECT_EQ(round_trip("Tags", R"({"DataState":0,"DataType":13824,"Value":[]})"),
            R"("Tags":{"DataState":0,"DataType":13824,"Value":["rear","exhaust"]})");
  // No "Value" is a null array, written back as null.
  EXPECT_EQ(round_trip("Tags", R"({"DataState":0,"DataType":13824})"),
            R"("Tags":{"DataState":256,"DataType":13824,"Value":null})");
  // A JSON null element arrives as "".
  EXPECT_EQ(round_trip("Tags", R"({"DataState":0,"DataType":13824,"Value":["a",null]})"),
            R"("Tags":{"DataState":0,"DataType":13824,"Value":["a",""]})");
}

TEST_F(WireValues, AnArrayWithANullElementIsLeftOutOfTheInstance) {
  EXPECT_EQ(modify_fan1(R"("Tags":{"DataState":0,"DataType":13824,"Value":["a","NULL"]})"),
            kModified);
  // The host cannot write the null element: the instance arrives without the property.
  const std::string answer = get_fan1();
  EXPECT_TRUE(ends_with(answer, "}CMPI_EOFCMPIOPERATION_COMPLETECMPI_EOF")) << answer;
  EXPECT_EQ(member(answer, "Tags"), "");
  EXPECT_EQ(member(answer, "DeviceID"),
            R"("DeviceID":{"DataState":0,"DataType":5632,"Value":"fan1"})");
  EXPECT_TRUE(daemon_.wait_for(Hostd("GetInstance: property Tags of Demo_Fan is left out: its "
                                     "string array holds a null element, which the wire "
                                     "cannot carry",
                                     2)));
}

TEST_F(WireValues, IntegersAreCutToTheirWidth) {
  EXPECT_EQ(round_trip("MaxSpeed", R"({"DataState":0,"DataType":176,"Value":18446744073709551615})"),
            R"("MaxSpeed":{"DataState":0,"DataType":176,"Value":9223372036854775807})");
  EXPECT_EQ(
      round_trip("Accumulated", R"({"DataState":0,"DataType":240,"Value":18446744073709551615})"),
      R"("Accumulated":{"DataState":0,"DataType":240,"Value":18446744073709551615})");
  EXPECT_EQ(round_trip("Level", R"({"DataState":0,"DataType":128,"Value":300})"),
            R"("Level":{"DataState":0,"DataType":128,"Value":44})");
  EXPECT_EQ(round_trip("HealthState", R"({"DataState":0,"DataType":144,"Value":7.0})"),
            R"("HealthState":{"DataState":0,"DataType":144,"Value":7})");
  // A negative number is not an unsigned integer: the request is refused.
  EXPECT_EQ(modify_fan1(R"("Temperature":{"DataState":0,"DataType":224,"Value":-5})"), kInvalid);
}

TEST_F(WireValues, RealsPassThroughSinglePrecision) {
  EXPECT_EQ(round_trip("Load", R"({"DataState":0,"DataType":12,"Value":0.1})"),
            R"("Load":{"DataState":0,"DataType":12,"Value":0.10000000149011612})");
  EXPECT_EQ(round_trip("Ratio", R"({"DataState":0,"DataType":8,"Value":3})"),
            R"("Ratio":{"DataState":0,"DataType":8,"Value":3.0})");
  EXPECT_EQ(round_trip("Load", R"({"DataState":0,"DataType":12,"Value":1e300})"),
            R"("Load":{"DataState":0,"DataType":12,"Value":1e+9999})");
}

TEST_F(WireValues, Char16IsNeitherWrittenNorRead) {
  EXPECT_EQ(round_trip("Initial", R"({"DataState":0,"DataType":3,"Value":65})"),
            R"("Initial":{"DataState":0,"DataType":3})");
  EXPECT_EQ(round_trip("Initial", R"({"DataState":256,"DataType":3})"),
            R"("Initial":{"DataState":256,"DataType":3})");
  const std::string done = R"("__ReturnValue":{"DataType":160,"Value":0})";
  const std::string speed = R"("DesiredSpeed":{"DataType":160,"Value":100})";
  EXPECT_NE(set_speed(speed + R"(,"C":{"DataType":3,"Value":65})").find(done), std::string::npos);
  EXPECT_NE(set_speed(speed + R"(,"C":{"DataType":3})").find(done), std::string::npos);
  EXPECT_EQ(set_speed(speed + R"(,"C":{"DataType":3,"Value":"A"})"), kInvalid);
}

TEST_F(WireValues, BooleanAndNullArgumentsDoNotReachTheProvider) {
  // The provider answers a missing DesiredSpeed with CMPI_RC_ERR_INVALID_PARAMETER.
  EXPECT_EQ(set_speed(R"("DesiredSpeed":{"DataType":2,"Value":1})"), kInvalid);
  EXPECT_EQ(set_speed(R"("DesiredSpeed":{"DataType":5632,"Value":"nUlL"})"), kInvalid);
  EXPECT_NE(set_speed(R"("DesiredSpeed":{"DataType":160,"Value":1000.0})").find("\"RetVal\":160"),
            std::string::npos);
}

TEST_F(WireValues, NonAsciiIsWrittenAsEscapes) {
  EXPECT_EQ(
      round_trip("Name", "{\"DataState\":0,\"DataType\":5632,\"Value\":\"caf\\u00e9 raw:\xc3\xa9 "
                         "\\ud83d\\ude00 x_CMPI\\u005fEOF\"}"),
      R"("Name":{"DataState":0,"DataType":5632,"Value":"caf\u00e9 raw:\u00e9 \ud83d\ude00 x_CMPI\u005fEOF"})");
}

TEST_F(WireValues, MalformedUtf8IsRefused) {
  EXPECT_EQ(modify_fan1("\"Name\":{\"DataState\":0,\"DataType\":5632,\"Value\":\"bad \xff\"}"),
            kInvalid);
  EXPECT_EQ(member(get_fan1(), "Name"), R"("Name":{"DataState":0,"DataType":5632,"Value":"Rear fan"})");
}

TEST_F(WireValues, WhitespaceUnknownMembersAndKeyNameCaseAreTolerated) {
  const std::string raw = send(
      "  {\"Unknown\":[1,2], \"ClassName\" : \"Demo_Fan\",\t\"NameSpace\":\"root/cimv2\","
      "\"Principal\":\"root\",\"RequestType\":3,\"key\":\"systemname=bmc0,deviceid=fan0,\"} ");
  EXPECT_EQ(member(raw, "DeviceID"), R"("DeviceID":{"DataState":0,"DataType":5632,"Value":"fan0"})");
}

TEST_F(WireValues, TheLastKeyNeedsItsComma) {
  EXPECT_EQ(send("{" + kHeader + R"(,"RequestType":3,"key":"DeviceID=fan0,SystemName=bmc0"})"),
            R"({"GetInstStatus":4,"GetInstStatusMsg":"key property 'SystemName' is missing",)"
            R"("RequestType":3}CMPI_EOFCMPIOPERATION_COMPLETECMPI_EOF)");
}

TEST_F(WireValues, AnUnknownNamespaceReachesTheProvider) {
  const std::string other = R"("ClassName":"Demo_Fan","NameSpace":"root/other","Principal":"root")";
  EXPECT_EQ(send("{" + other + R"(,"RequestType":1})"), "CMPIERROR:3CMPI_EOF");
  EXPECT_EQ(send("{" + other + R"(,"RequestType":3,)" + kFan0 + "}"),
            R"({"GetInstStatus":3,"GetInstStatusMsg":"namespace 'root/other' has no class )"
            R"(Demo_Fan","RequestType":3}CMPI_EOFCMPIOPERATION_COMPLETECMPI_EOF)");
}

TEST_F(WireValues, ALongStatusMessageIsShortenedToFitItsFrame) {
  const std::string raw = send("{" + kHeader + R"(,"RequestType":8,"key":"DeviceID=)" +
                               std::string(9000, 'x') + ",SystemName=bmc0,\"}");
  EXPECT_EQ(count_frames(raw), 1u);
  EXPECT_LE(raw.size(), 8181u + 8u);
  EXPECT_EQ(raw.rfind(R"({"RequestType":8,"SetInstStatus":6,"SetInstStatusMsg":"Demo_Fan )", 0), 0u);
  EXPECT_TRUE(ends_with(raw, "xxx...\"}CMPI_EOF")) << raw.substr(raw.size() - 40);
}

TEST_F(WireValues, ANullReferenceArrivesAsAPathWithoutClass) {
  EXPECT_EQ(modify_fan1(R"("Chassis":{"DataState":256,"DataType":4352,"Value":null})"),
            R"({"RequestType":4,"SetInstStatus":13,"SetInstStatusMsg":"property 'Chassis' must )"
            R"(refer to a Demo_Chassis"}CMPI_EOF)");
}

}  // namespace
}  // namespace e2e
