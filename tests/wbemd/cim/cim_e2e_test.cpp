// The CIM half against a real cmpi-hostd with the demo provider: every operation through
// make_cim_service and a recording sink, the answers read back and their values checked.
#include <grp.h>
#include <gtest/gtest.h>
#include <pwd.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <memory>
#include <string>

#include "cim_service.h"
#include "cim_test_support.h"
#include "hostd_harness.h"
#include "log_capture.h"

namespace {

using cimtest::all;
using cimtest::attr;
using cimtest::first;
using cimtest::property;
using cimtest::RecordingSink;
using cimtest::value_of;
using wbem::XmlElement;

class CimServiceTest : public ::testing::Test {
 protected:
  virtual std::vector<std::string> options() const { return {}; }

  void SetUp() override {
    ASSERT_TRUE(daemon_.start(options()));
    wbem::CimSettings settings;
    settings.host_socket = ws_.socket;
    settings.host_timeout = 10;
    settings.schema_database = ws_.schema_db;
    settings.host_name = "testhost";
    service_ = wbem::make_cim_service(settings);
  }

  void TearDown() override {
    const int status = daemon_.stop();
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "wait status " << status;
    const std::string err = daemon_.standard_error();
    EXPECT_EQ(err.find("Sanitizer"), std::string::npos) << err;
  }

  // Serves call; the answer must be a complete one (finished, well-formed, in order). With
  // WBEMD_ANSWER_DIR set, each answer is also written there, to be checked by hand (for
  // example against the CIM-XML DTD with xmllint).
  RecordingSink serve(const wbem::CimCall &call) {
    RecordingSink sink;
    service_->serve(call, sink);
    EXPECT_FALSE(sink.misuse);
    if (const char *dir = std::getenv("WBEMD_ANSWER_DIR")) {
      const auto *test = ::testing::UnitTest::GetInstance()->current_test_info();
      std::ofstream(std::string(dir) + "/" + test->name() + "-" + std::to_string(++answers_) +
                    ".xml")
          << sink.body;
    }
    return sink;
  }

  // Serves call and reads the complete answer back.
  std::unique_ptr<XmlElement> answer(const wbem::CimCall &call) {
    RecordingSink sink = serve(call);
    EXPECT_EQ(sink.status, 200) << sink.cim_error;
    EXPECT_TRUE(sink.finished) << sink.body;
    EXPECT_EQ(sink.body.rfind("<?xml version=\"1.0\" encoding=\"utf-8\" ?>", 0), 0u);
    auto root = cimtest::parse(sink.body);
    if (!root) return std::make_unique<XmlElement>();
    return root;
  }

  // The ERROR of an answer: its code, or -1 when it has none.
  static int error_code(const XmlElement &root) {
    const XmlElement *e = first(root, "ERROR");
    return e == nullptr ? -1 : std::stoi(attr(e, "CODE"));
  }

  e2e::Workspace ws_;
  e2e::HostDaemon daemon_{ws_};
  std::unique_ptr<wbem::CimService> service_;
  int answers_ = 0;
};

TEST_F(CimServiceTest, GetInstanceWritesEveryValueType) {
  auto root = answer(cimtest::captured_call("gi"));
  EXPECT_EQ(error_code(*root), -1);
  const XmlElement *inst = first(*root, "INSTANCE");
  ASSERT_NE(inst, nullptr);
  EXPECT_EQ(attr(inst, "CLASSNAME"), "Demo_Fan");
  EXPECT_EQ(value_of(property(*inst, "DeviceID")), "fan0");
  EXPECT_EQ(attr(property(*inst, "Speed"), "TYPE"), "uint32");
  EXPECT_EQ(value_of(property(*inst, "Speed")), "2400");
  EXPECT_EQ(value_of(property(*inst, "Name")), "Front fan");
  EXPECT_EQ(attr(property(*inst, "Enabled"), "TYPE"), "boolean");
  EXPECT_EQ(value_of(property(*inst, "Enabled")), "TRUE");
  EXPECT_EQ(attr(property(*inst, "Accumulated"), "TYPE"), "sint64");
  EXPECT_EQ(value_of(property(*inst, "Accumulated")), "-1234567890123");
  EXPECT_EQ(value_of(property(*inst, "Offset")), "-5");
  EXPECT_EQ(attr(property(*inst, "Offset"), "TYPE"), "sint8");
  EXPECT_EQ(value_of(property(*inst, "Trend")), "-12");
  EXPECT_EQ(value_of(property(*inst, "Level")), "40");
  EXPECT_EQ(attr(property(*inst, "MaxSpeed"), "TYPE"), "uint64");
  EXPECT_EQ(value_of(property(*inst, "Ratio")), "0.5");
  EXPECT_EQ(attr(property(*inst, "Ratio"), "TYPE"), "real32");
  EXPECT_EQ(attr(property(*inst, "Load"), "TYPE"), "real64");
  EXPECT_EQ(value_of(property(*inst, "Load")), "0.25");
  EXPECT_EQ(attr(property(*inst, "InstallDate"), "TYPE"), "datetime");
  EXPECT_EQ(value_of(property(*inst, "InstallDate")), "20240115103000.000000+000");
  // A null string: the property without VALUE.
  EXPECT_EQ(value_of(property(*inst, "Notes")), "(null)");
  EXPECT_EQ(attr(property(*inst, "Notes"), "TYPE"), "string");
  // Arrays.
  const XmlElement *history = property(*inst, "SpeedHistory");
  ASSERT_NE(history, nullptr);
  EXPECT_EQ(history->name, "PROPERTY.ARRAY");
  EXPECT_EQ(attr(history, "TYPE"), "uint32");
  const auto items = all(*history, "VALUE");
  ASSERT_EQ(items.size(), 3u);
  EXPECT_EQ(items[0]->text, "2200");
  EXPECT_EQ(items[2]->text, "2400");
  EXPECT_EQ(all(*property(*inst, "Tags"), "VALUE").size(), 2u);
  // A reference: VALUE.REFERENCE with INSTANCEPATH and HOST.
  const XmlElement *chassis = property(*inst, "Chassis");
  ASSERT_NE(chassis, nullptr);
  EXPECT_EQ(chassis->name, "PROPERTY.REFERENCE");
  EXPECT_EQ(first(*chassis, "HOST")->text, "testhost");
  EXPECT_EQ(attr(first(*chassis, "INSTANCENAME"), "CLASSNAME"), "Demo_Chassis");
  EXPECT_EQ(first(*chassis, "KEYVALUE")->text, "chassis0");
  EXPECT_EQ(all(*chassis, "NAMESPACE").size(), 2u);
  // An embedded instance: escaped INSTANCE text in a string property.
  const XmlElement *sensor = property(*inst, "Sensor");
  ASSERT_NE(sensor, nullptr);
  EXPECT_EQ(attr(sensor, "EmbeddedObject"), "instance");
  EXPECT_EQ(attr(sensor, "TYPE"), "string");
  auto embedded = cimtest::parse(value_of(sensor));
  ASSERT_NE(embedded, nullptr);
  EXPECT_EQ(attr(embedded.get(), "CLASSNAME"), "Demo_Sensor");
  EXPECT_EQ(value_of(property(*embedded, "Reading")), "35");
  EXPECT_EQ(value_of(property(*embedded, "Units")), "Celsius");
  // The served user: root.
  EXPECT_EQ(value_of(property(*inst, "EffectiveUserID")), "0");
}

TEST_F(CimServiceTest, GetInstanceWithPropertyListKeepsOnlyThose) {
  auto root = answer(cimtest::captured_call("gi-properties"));
  const XmlElement *inst = first(*root, "INSTANCE");
  ASSERT_NE(inst, nullptr);
  ASSERT_EQ(inst->children.size(), 1u);
  EXPECT_EQ(value_of(property(*inst, "Speed")), "2400");
}

TEST_F(CimServiceTest, EnumerateInstancesNamesEachInstanceByItsKeys) {
  auto root = answer(cimtest::captured_call("ei"));
  const auto named = all(*root, "VALUE.NAMEDINSTANCE");
  ASSERT_EQ(named.size(), 2u);
  const auto keys = all(*first(*named[1], "INSTANCENAME"), "KEYBINDING");
  ASSERT_EQ(keys.size(), 2u);
  EXPECT_EQ(attr(keys[0], "NAME"), "DeviceID");
  EXPECT_EQ(first(*keys[0], "KEYVALUE")->text, "fan1");
  EXPECT_EQ(attr(first(*keys[0], "KEYVALUE"), "VALUETYPE"), "string");
  EXPECT_EQ(first(*keys[1], "KEYVALUE")->text, "bmc0");
  EXPECT_EQ(value_of(property(*first(*named[1], "INSTANCE"), "Name")), "Rear fan");
}

TEST_F(CimServiceTest, EnumerateInstancesWithPropertyList) {
  auto root = answer(cimtest::captured_call("ei-properties"));
  const auto instances = all(*root, "INSTANCE");
  ASSERT_EQ(instances.size(), 2u);
  EXPECT_EQ(instances[0]->children.size(), 2u);
  EXPECT_EQ(value_of(property(*instances[0], "Speed")), "2400");
  EXPECT_EQ(value_of(property(*instances[0], "Name")), "Front fan");
}

TEST_F(CimServiceTest, EnumerateInstanceNames) {
  auto root = answer(cimtest::captured_call("ein"));
  const auto names = all(*root, "INSTANCENAME");
  ASSERT_EQ(names.size(), 2u);
  EXPECT_EQ(attr(names[0], "CLASSNAME"), "Demo_Fan");
  EXPECT_EQ(first(*names[0], "KEYVALUE")->text, "fan0");
}

TEST_F(CimServiceTest, AnEmptyEnumerationIsAnEmptyReturnValue) {
  RecordingSink sink = serve(cimtest::intrinsic_call(
      "EnumerateInstances", cimtest::class_param("ClassName", "Demo_Sensor")));
  EXPECT_TRUE(sink.finished);
  EXPECT_NE(sink.body.find("<IRETURNVALUE></IRETURNVALUE>"), std::string::npos) << sink.body;
}

TEST_F(CimServiceTest, MissingInstanceIsCode6UnknownClassCode5) {
  auto missing = answer(cimtest::intrinsic_call(
      "GetInstance", cimtest::name_param("InstanceName", cimtest::fan_name("fan9"))));
  EXPECT_EQ(error_code(*missing), 6);
  EXPECT_NE(attr(first(*missing, "ERROR"), "DESCRIPTION").find("fan9"), std::string::npos);
  EXPECT_TRUE(first(*missing, "ERROR")->children.empty());
  auto unknown = answer(cimtest::intrinsic_call(
      "EnumerateInstances", cimtest::class_param("ClassName", "Demo_Nothing")));
  EXPECT_EQ(error_code(*unknown), 5);
  auto no_class = answer(
      cimtest::intrinsic_call("GetClass", cimtest::class_param("ClassName", "Demo_Nothing")));
  EXPECT_EQ(error_code(*no_class), 5);
}

TEST_F(CimServiceTest, UnsupportedOperationsAreCode7) {
  EXPECT_EQ(error_code(*answer(cimtest::captured_call("dc"))), 7);
  for (const char *op : {"CreateClass", "ModifyClass", "GetQualifier", "EnumerateQualifiers",
                         "OpenEnumerateInstances", "PullInstancesWithPath", "CloseEnumeration"}) {
    auto root = answer(cimtest::intrinsic_call(op, ""));
    EXPECT_EQ(error_code(*root), 7) << op;
    EXPECT_EQ(attr(first(*root, "IMETHODRESPONSE"), "NAME"), op);
  }
}

TEST_F(CimServiceTest, CreateModifyDeleteInstance) {
  auto created = answer(cimtest::captured_call("ci"));
  ASSERT_EQ(error_code(*created), -1);
  const XmlElement *name = first(*created, "INSTANCENAME");
  ASSERT_NE(name, nullptr);
  EXPECT_EQ(attr(name, "CLASSNAME"), "Demo_Chassis");
  EXPECT_EQ(first(*name, "KEYVALUE")->text, "chassis7");

  auto got = answer(cimtest::intrinsic_call(
      "GetInstance", cimtest::name_param("InstanceName", cimtest::chassis_name("chassis7"))));
  EXPECT_EQ(value_of(property(*first(*got, "INSTANCE"), "Model")), "R7");
  EXPECT_EQ(value_of(property(*first(*got, "INSTANCE"), "FanCount")), "3");

  auto modified = answer(cimtest::captured_call("mi"));
  EXPECT_EQ(error_code(*modified), -1);
  EXPECT_EQ(first(*modified, "IRETURNVALUE"), nullptr);
  auto after = answer(cimtest::intrinsic_call(
      "GetInstance", cimtest::name_param("InstanceName", cimtest::chassis_name("chassis0"))));
  EXPECT_EQ(value_of(property(*first(*after, "INSTANCE"), "Model")), "DM-200");

  EXPECT_EQ(error_code(*answer(cimtest::captured_call("di"))), -1);
  EXPECT_EQ(error_code(*answer(cimtest::captured_call("di"))), 6);
}

TEST_F(CimServiceTest, AssociatorsAndReferencesWithTheirNames) {
  auto assoc = answer(cimtest::captured_call("ai"));
  const auto objects = all(*assoc, "VALUE.OBJECTWITHPATH");
  ASSERT_EQ(objects.size(), 2u);
  EXPECT_EQ(attr(first(*objects[0], "INSTANCE"), "CLASSNAME"), "Demo_Fan");
  EXPECT_EQ(first(*objects[0], "HOST")->text, "testhost");
  EXPECT_EQ(first(*first(*objects[0], "INSTANCENAME"), "KEYVALUE")->text, "fan0");

  auto names = answer(cimtest::captured_call("ain"));
  const auto paths = all(*names, "OBJECTPATH");
  ASSERT_EQ(paths.size(), 2u);
  EXPECT_EQ(all(*paths[1], "KEYBINDING").size(), 2u);
  EXPECT_EQ(first(*paths[1], "KEYVALUE")->text, "fan1");

  auto refs = answer(cimtest::captured_call("ri"));
  const auto ref_objects = all(*refs, "VALUE.OBJECTWITHPATH");
  ASSERT_EQ(ref_objects.size(), 2u);
  const XmlElement *link = first(*ref_objects[0], "INSTANCE");
  EXPECT_EQ(attr(link, "CLASSNAME"), "Demo_ChassisFan");
  EXPECT_EQ(property(*link, "GroupComponent")->name, "PROPERTY.REFERENCE");

  auto ref_names = answer(cimtest::captured_call("rin"));
  const auto ref_paths = all(*ref_names, "OBJECTPATH");
  ASSERT_EQ(ref_paths.size(), 2u);
  // An association's name holds its two references as key values.
  const XmlElement *link_name = first(*ref_paths[0], "INSTANCENAME");
  ASSERT_EQ(link_name->children.size(), 2u);
  EXPECT_EQ(attr(link_name->children[0].get(), "NAME"), "GroupComponent");
  const XmlElement *end = link_name->children[0]->child("VALUE.REFERENCE");
  ASSERT_NE(end, nullptr);
  EXPECT_EQ(first(*end, "KEYVALUE")->text, "chassis0");
}

TEST_F(CimServiceTest, AssociationFiltersReachTheHost) {
  const std::string source = cimtest::name_param("ObjectName", cimtest::chassis_name("chassis0"));
  auto roles = answer(cimtest::intrinsic_call(
      "AssociatorNames", source + cimtest::value_param("Role", "GroupComponent") +
                             cimtest::value_param("ResultRole", "PartComponent")));
  EXPECT_EQ(all(*roles, "OBJECTPATH").size(), 2u);
  auto wrong_role = answer(cimtest::intrinsic_call(
      "AssociatorNames", source + cimtest::value_param("Role", "PartComponent")));
  EXPECT_EQ(error_code(*wrong_role), -1);
  EXPECT_EQ(all(*wrong_role, "OBJECTPATH").size(), 0u);
  EXPECT_NE(first(*wrong_role, "IRETURNVALUE"), nullptr);
  auto other_class = answer(cimtest::intrinsic_call(
      "References", source + cimtest::class_param("ResultClass", "Test_RackDevice")));
  EXPECT_EQ(all(*other_class, "VALUE.OBJECTWITHPATH").size(), 0u);
  // A PropertyList applies to associated instances too.
  auto listed = answer(cimtest::intrinsic_call(
      "Associators", source + "<IPARAMVALUE NAME=\"PropertyList\"><VALUE.ARRAY><VALUE>Speed"
                              "</VALUE></VALUE.ARRAY></IPARAMVALUE>"));
  const auto instances = all(*listed, "INSTANCE");
  ASSERT_EQ(instances.size(), 2u);
  EXPECT_EQ(instances[1]->children.size(), 1u);
  EXPECT_NE(property(*instances[1], "Speed"), nullptr);
}

TEST_F(CimServiceTest, ShallowEnumerationKeepsTheClassesOwnProperties) {
  auto deep = answer(cimtest::intrinsic_call(
      "EnumerateInstances", cimtest::class_param("ClassName", "Test_Device")));
  const auto deep_instances = all(*deep, "INSTANCE");
  ASSERT_FALSE(deep_instances.empty()) << error_code(*deep);
  EXPECT_NE(property(*deep_instances[0], "Uid"), nullptr);
  auto shallow = answer(cimtest::intrinsic_call(
      "EnumerateInstances", cimtest::class_param("ClassName", "Test_Device") +
                                cimtest::value_param("DeepInheritance", "FALSE")));
  const auto instances = all(*shallow, "INSTANCE");
  ASSERT_EQ(instances.size(), deep_instances.size());
  EXPECT_EQ(property(*instances[0], "Uid"), nullptr);
  EXPECT_EQ(property(*instances[0], "Rack"), nullptr);
  EXPECT_NE(property(*instances[0], "Id"), nullptr);
}

TEST_F(CimServiceTest, GetInstanceByReferenceKeys) {
  auto root = answer(cimtest::captured_call("gi-reference-keys"));
  const XmlElement *inst = first(*root, "INSTANCE");
  ASSERT_NE(inst, nullptr) << error_code(*root);
  EXPECT_EQ(attr(inst, "CLASSNAME"), "Demo_ChassisFan");
  const XmlElement *part = property(*inst, "PartComponent");
  ASSERT_NE(part, nullptr);
  EXPECT_EQ(first(*part, "KEYVALUE")->text, "fan0");
}

TEST_F(CimServiceTest, ExecQuery) {
  auto root = answer(cimtest::intrinsic_call(
      "ExecQuery", cimtest::value_param("QueryLanguage", "WQL") +
                       cimtest::value_param("Query", "SELECT * FROM Demo_Fan WHERE Speed &gt;= 2400")));
  const auto objects = all(*root, "VALUE.OBJECTWITHPATH");
  ASSERT_EQ(objects.size(), 1u);
  EXPECT_EQ(value_of(property(*first(*objects[0], "INSTANCE"), "DeviceID")), "fan0");
  auto other = answer(cimtest::intrinsic_call(
      "ExecQuery", cimtest::value_param("QueryLanguage", "CQL") +
                       cimtest::value_param("Query", "SELECT * FROM Demo_Fan")));
  EXPECT_EQ(error_code(*other), 14);
}

TEST_F(CimServiceTest, GetClassCarriesTypesKeysAndMethods) {
  auto root = answer(cimtest::captured_call("ci-getclass"));  // IncludeQualifiers TRUE
  ASSERT_EQ(error_code(*root), -1);
  const XmlElement *cls = first(*root, "CLASS");
  ASSERT_NE(cls, nullptr);
  EXPECT_EQ(attr(cls, "NAME"), "Demo_Chassis");
  EXPECT_EQ(attr(property(*cls, "FanCount"), "TYPE"), "uint8");
  const XmlElement *key = first(*property(*cls, "Tag"), "QUALIFIER");
  ASSERT_NE(key, nullptr);
  EXPECT_EQ(attr(key, "NAME"), "Key");
  EXPECT_EQ(key->child("VALUE")->text, "TRUE");
  EXPECT_EQ(first(*property(*cls, "Model"), "QUALIFIER"), nullptr);

  auto fan = answer(cimtest::captured_call("cm-getclass"));
  const XmlElement *method = first(*fan, "METHOD");
  ASSERT_NE(method, nullptr);
  EXPECT_EQ(attr(method, "NAME"), "SetSpeed");
  EXPECT_EQ(attr(method, "TYPE"), "uint32");
  const auto params = all(*method, "PARAMETER");
  ASSERT_EQ(params.size(), 2u);
  EXPECT_EQ(attr(params[0], "NAME"), "DesiredSpeed");
  EXPECT_EQ(attr(params[0], "TYPE"), "uint32");
  EXPECT_EQ(property(*first(*fan, "CLASS"), "Chassis")->name, "PROPERTY.REFERENCE");
  EXPECT_EQ(attr(property(*first(*fan, "CLASS"), "SpeedHistory"), "TYPE"), "uint32");
}

TEST_F(CimServiceTest, EnumerateClassesAndClassNames) {
  auto names = answer(cimtest::captured_call("ecn"));
  std::vector<std::string> found;
  for (const XmlElement *c : all(*names, "CLASSNAME")) found.push_back(attr(c, "NAME"));
  EXPECT_NE(std::find(found.begin(), found.end(), "Demo_Fan"), found.end());
  EXPECT_NE(std::find(found.begin(), found.end(), "Demo_ChassisFan"), found.end());
  auto classes = answer(cimtest::captured_call("ec"));
  EXPECT_EQ(all(*classes, "CLASS").size(), found.size());
}

TEST_F(CimServiceTest, ClassHierarchyAndQualifiers) {
  auto below = answer(cimtest::intrinsic_call(
      "EnumerateClassNames", cimtest::class_param("ClassName", "Test_Device")));
  const auto names = all(*below, "CLASSNAME");
  ASSERT_EQ(names.size(), 1u);
  EXPECT_EQ(attr(names[0], "NAME"), "Test_Disk");

  // Inherited properties come first; LocalOnly leaves them out.
  auto disk = answer(cimtest::intrinsic_call(
      "GetClass", cimtest::class_param("ClassName", "Test_Disk") +
                      cimtest::value_param("LocalOnly", "FALSE") +
                      cimtest::value_param("IncludeClassOrigin", "TRUE")));
  const XmlElement *cls = first(*disk, "CLASS");
  ASSERT_NE(cls, nullptr);
  EXPECT_EQ(attr(cls, "SUPERCLASS"), "Test_Device");
  ASSERT_GE(cls->children.size(), 7u);
  EXPECT_EQ(attr(cls->children[0].get(), "NAME"), "Id");
  EXPECT_EQ(attr(cls->children[0].get(), "CLASSORIGIN"), "Test_Device");
  EXPECT_EQ(attr(property(*cls, "Uid"), "CLASSORIGIN"), "Test_Disk");
  EXPECT_EQ(property(*cls, "Roles")->name, "PROPERTY.ARRAY");
  auto local = answer(
      cimtest::intrinsic_call("GetClass", cimtest::class_param("ClassName", "Test_Disk")));
  const XmlElement *own = first(*local, "CLASS");
  ASSERT_NE(own, nullptr);
  EXPECT_EQ(own->children.size(), 2u);
  EXPECT_EQ(property(*own, "Id"), nullptr);

  auto device = answer(
      cimtest::intrinsic_call("GetClass", cimtest::class_param("ClassName", "Test_Device")));
  std::vector<std::string> qualifiers;
  for (const auto &c : first(*device, "CLASS")->children) {
    if (c->name == "QUALIFIER") qualifiers.push_back(attr(c.get(), "NAME"));
  }
  EXPECT_EQ(qualifiers, std::vector<std::string>{"Abstract"});
  auto link = answer(
      cimtest::intrinsic_call("GetClass", cimtest::class_param("ClassName", "Test_RackDevice")));
  const XmlElement *link_class = first(*link, "CLASS");
  EXPECT_EQ(attr(link_class->children[0].get(), "NAME"), "Association");
  EXPECT_EQ(attr(property(*link_class, "Rack"), "REFERENCECLASS"), "Test_Rack");
  EXPECT_EQ(attr(first(*link_class, "METHOD"), "NAME"), "Probe");
}

TEST_F(CimServiceTest, GetPropertyAndSetProperty) {
  auto speed = answer(cimtest::captured_call("gp"));
  ASSERT_NE(first(*speed, "IRETURNVALUE"), nullptr);
  EXPECT_EQ(first(*first(*speed, "IRETURNVALUE"), "VALUE")->text, "2400");

  EXPECT_EQ(error_code(*answer(cimtest::captured_call("sp"))), -1);
  auto name = answer(cimtest::intrinsic_call(
      "GetProperty", cimtest::value_param("PropertyName", "Name") +
                         cimtest::name_param("InstanceName", cimtest::fan_name("fan0"))));
  EXPECT_EQ(first(*name, "VALUE")->text, "Spare");

  auto nothing = answer(cimtest::intrinsic_call(
      "GetProperty", cimtest::value_param("PropertyName", "Nothing") +
                         cimtest::name_param("InstanceName", cimtest::fan_name("fan0"))));
  EXPECT_EQ(error_code(*nothing), 12);
  // A null value: an IRETURNVALUE without VALUE.
  auto notes = answer(cimtest::intrinsic_call(
      "GetProperty", cimtest::value_param("PropertyName", "Notes") +
                         cimtest::name_param("InstanceName", cimtest::fan_name("fan0"))));
  ASSERT_NE(first(*notes, "IRETURNVALUE"), nullptr);
  EXPECT_EQ(first(*notes, "VALUE"), nullptr);
}

TEST_F(CimServiceTest, ExtrinsicMethodReturnsValueAndOutputs) {
  auto root = answer(cimtest::captured_call("cm"));
  const XmlElement *response = first(*root, "METHODRESPONSE");
  ASSERT_NE(response, nullptr);
  EXPECT_EQ(attr(response, "NAME"), "SetSpeed");
  const XmlElement *ret = first(*root, "RETURNVALUE");
  ASSERT_NE(ret, nullptr);
  EXPECT_EQ(attr(ret, "PARAMTYPE"), "uint32");
  EXPECT_EQ(ret->child("VALUE")->text, "0");
  const XmlElement *out = first(*root, "PARAMVALUE");
  ASSERT_NE(out, nullptr);
  EXPECT_EQ(attr(out, "NAME"), "PreviousSpeed");
  EXPECT_EQ(out->child("VALUE")->text, "2400");
  auto speed = answer(cimtest::captured_call("gp"));
  EXPECT_EQ(first(*speed, "VALUE")->text, "3000");
}

TEST_F(CimServiceTest, AnEnumerationThatFailsMidStreamEndsWithFail) {
  RecordingSink sink = serve(cimtest::intrinsic_call(
      "EnumerateInstances", cimtest::class_param("ClassName", "Test_Partial")));
  EXPECT_FALSE(sink.misuse);
  EXPECT_TRUE(sink.failed);
  EXPECT_FALSE(sink.finished);
  EXPECT_EQ(sink.fail_code, 1);
  // The instance that came before the failure was written, and the answer is left open.
  EXPECT_NE(sink.body.find("<VALUE.NAMEDINSTANCE>"), std::string::npos) << sink.body;
  EXPECT_EQ(sink.body.find("</CIM>"), std::string::npos);
}

TEST_F(CimServiceTest, EnumerationsAreWrittenAsTheyArrive) {
  RecordingSink sink = serve(cimtest::intrinsic_call(
      "EnumerateInstances", cimtest::class_param("ClassName", "Test_Many")));
  EXPECT_TRUE(sink.finished);
  auto root = cimtest::parse(sink.body);
  ASSERT_NE(root, nullptr);
  const auto named = all(*root, "VALUE.NAMEDINSTANCE");
  ASSERT_EQ(named.size(), 3000u);
  EXPECT_EQ(attr(first(*named[2999], "INSTANCE"), "CLASSNAME"), "Test_Many");
  // The answer went out in many pieces, each with the results of one piece from the host,
  // not collected whole.
  EXPECT_GT(sink.writes, 10);
}

TEST_F(CimServiceTest, TheProviderServesTheCallsUser) {
  auto root = answer(cimtest::captured_call("gi", "nobody"));
  EXPECT_EQ(value_of(property(*first(*root, "INSTANCE"), "EffectiveUserID")), "65534");
  // nobody may read, not change, the demo state.
  EXPECT_EQ(error_code(*answer(cimtest::captured_call("mi", "nobody"))), 2);
}

TEST_F(CimServiceTest, NoUserIsAccessDenied) {
  EXPECT_EQ(error_code(*answer(cimtest::captured_call("gi", ""))), 2);
}

TEST_F(CimServiceTest, HeadersThatDoNotMatchTheBodyAre400) {
  wbem::CimCall call = cimtest::captured_call("gi");
  call.cim_method = "EnumerateInstances";
  RecordingSink sink = serve(call);
  EXPECT_EQ(sink.status, 400);
  EXPECT_EQ(sink.cim_error, "header-mismatch");
  EXPECT_TRUE(sink.body.empty());

  call = cimtest::captured_call("gi");
  call.cim_object = "root%2Fother";
  sink = serve(call);
  EXPECT_EQ(sink.status, 400);
  EXPECT_EQ(sink.cim_error, "header-mismatch");

  call = cimtest::captured_call("cm");
  call.cim_object = "root%2Fcimv2%3ADemo_Chassis.Tag=%22x%22";
  sink = serve(call);
  EXPECT_EQ(sink.cim_error, "header-mismatch");
}

TEST_F(CimServiceTest, OnlyMethodCallsAreServed) {
  wbem::CimCall call = cimtest::captured_call("gi");
  call.cim_operation = "MethodResponse";
  RecordingSink sink = serve(call);
  EXPECT_EQ(sink.status, 501);
  EXPECT_EQ(sink.cim_error, "unsupported-operation");
  call.cim_operation = "";
  sink = serve(call);
  EXPECT_EQ(sink.status, 400);
  EXPECT_EQ(sink.cim_error, "header-mismatch");
}

TEST_F(CimServiceTest, MalformedXmlIs400NotWellFormed) {
  wbem::CimCall call = cimtest::captured_call("gi");
  call.body = call.body.substr(0, call.body.size() / 2);
  RecordingSink sink = serve(call);
  EXPECT_EQ(sink.status, 400);
  EXPECT_EQ(sink.cim_error, "request-not-well-formed");
}

TEST_F(CimServiceTest, XmlLimitsComeFromTheSettings) {
  wbem::CimSettings settings;
  settings.host_socket = ws_.socket;
  settings.schema_database = ws_.schema_db;
  settings.xml.max_depth = 4;
  auto shallow = wbem::make_cim_service(settings);
  RecordingSink sink;
  shallow->serve(cimtest::captured_call("gi"), sink);
  EXPECT_EQ(sink.status, 400);
  EXPECT_EQ(sink.cim_error, "request-not-valid");
  EXPECT_TRUE(sink.body.empty());
}

TEST_F(CimServiceTest, AHostThatCannotBeReachedIsCode1AndLogged) {
  wbem::CimSettings settings;
  settings.host_socket = ws_.dir + "/nothing.sock";
  settings.schema_database = ws_.schema_db;
  auto service = wbem::make_cim_service(settings);
  cmpitest::LogCapture log;
  RecordingSink sink;
  service->serve(cimtest::captured_call("gi"), sink);
  EXPECT_TRUE(sink.finished);
  auto root = cimtest::parse(sink.body);
  ASSERT_NE(root, nullptr);
  EXPECT_EQ(error_code(*root), 1);
  EXPECT_TRUE(log.contains({"GetInstance of Demo_Fan for root: the provider host failed: cannot "
                            "connect to the daemon at " + settings.host_socket +
                                ": No such file or directory",
                            2, 234}))
      << ::testing::PrintToString(log.lines());
}

TEST_F(CimServiceTest, ARefusedRequestIsLogged) {
  cmpitest::LogCapture log;
  wbem::CimCall call = cimtest::captured_call("gi");
  call.body = "<!DOCTYPE CIM><CIM/>";
  serve(call);
  EXPECT_TRUE(log.contains({"request from 127.0.0.1:40000 (user root) refused: a document type "
                            "declaration is not accepted",
                            2, 234}))
      << ::testing::PrintToString(log.lines());
}

// The front end does not run as root: cmpi-hostd admits its user as a proxy, which may act for
// the users it authenticated but not for root.
class CimProxyTest : public CimServiceTest {
 protected:
  std::vector<std::string> options() const override { return {"--allow-proxy-user", "nobody"}; }

  // The answer to call, served by the service in a child process running as nobody.
  std::string serve_as_nobody(const wbem::CimCall &call) {
    int fds[2];
    if (pipe(fds) != 0) return "";
    const pid_t child = fork();
    if (child == 0) {
      close(fds[0]);
      const passwd *pw = getpwnam("nobody");
      if (pw == nullptr || setgroups(0, nullptr) != 0 || setgid(pw->pw_gid) != 0 ||
          setuid(pw->pw_uid) != 0) {
        _exit(2);
      }
      RecordingSink sink;
      service_->serve(call, sink);
      const char *p = sink.body.data();
      std::size_t left = sink.body.size();
      while (left > 0) {
        const ssize_t n = ::write(fds[1], p, left);
        if (n <= 0) _exit(3);
        p += n;
        left -= static_cast<std::size_t>(n);
      }
      _exit(0);
    }
    close(fds[1]);
    std::string body;
    char buf[4096];
    ssize_t n;
    while ((n = ::read(fds[0], buf, sizeof buf)) > 0) body.append(buf, static_cast<std::size_t>(n));
    close(fds[0]);
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
    return body;
  }
};

TEST_F(CimProxyTest, TheProviderSeesTheAuthenticatedUser) {
  if (geteuid() != 0) GTEST_SKIP() << "needs root";
  const passwd *daemon_user = getpwnam("daemon");
  ASSERT_NE(daemon_user, nullptr);
  auto root = cimtest::parse(serve_as_nobody(cimtest::captured_call("gi", "daemon")));
  ASSERT_NE(root, nullptr);
  EXPECT_EQ(value_of(property(*first(*root, "INSTANCE"), "EffectiveUserID")),
            std::to_string(daemon_user->pw_uid));
  auto refused = cimtest::parse(serve_as_nobody(cimtest::captured_call("gi", "root")));
  ASSERT_NE(refused, nullptr);
  EXPECT_EQ(error_code(*refused), 2);
}

}  // namespace
