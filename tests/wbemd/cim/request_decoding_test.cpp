// Request decoding of each operation as wbemcli really sends it (the bodies in requests/ were
// captured from wbemcli against a throw-away listener), typed and reference keys, and the
// envelope and header checks.
#include <gtest/gtest.h>

#include <string>

#include "cim_request.h"
#include "cim_test_support.h"

namespace {

using wbem::CimRequest;
using wbem::OperationError;
using wbem::ProtocolError;
using wbem::XmlElement;

struct Decoded {
  std::unique_ptr<wbem::XmlElement> tree;
  CimRequest request;
};

Decoded decode(const wbem::CimCall &call) {
  Decoded d;
  wbem::XmlReadResult r = wbem::read_xml(call.body, wbem::XmlLimits());
  EXPECT_TRUE(r.root) << r.error;
  d.tree = std::move(r.root);
  d.request = wbem::decode_request(*d.tree, call.cim_method, call.cim_object);
  return d;
}

Decoded captured(const std::string &name) { return decode(cimtest::captured_call(name)); }

TEST(RequestDecoding, EnumerateInstances) {
  Decoded d = captured("ei");
  EXPECT_TRUE(d.request.intrinsic);
  EXPECT_EQ(d.request.name, "EnumerateInstances");
  EXPECT_EQ(d.request.name_space, "root/cimv2");
  EXPECT_EQ(d.request.message_id, "4711");
  EXPECT_EQ(wbem::param_class(d.request, "ClassName", true), "Demo_Fan");
  EXPECT_TRUE(wbem::param_bool(d.request, "DeepInheritance", false));
  EXPECT_FALSE(wbem::param_bool(d.request, "LocalOnly", true));
  EXPECT_FALSE(wbem::param_bool(d.request, "IncludeQualifiers", true));
  EXPECT_TRUE(wbem::param_bool(d.request, "IncludeClassOrigin", false));
  EXPECT_TRUE(wbem::param_property_list(d.request).all);
  wbem::PropertyFilter list = wbem::param_property_list(captured("ei-properties").request);
  EXPECT_FALSE(list.all);
  EXPECT_TRUE(list.keeps("speed"));
  EXPECT_TRUE(list.keeps("Name"));
  EXPECT_FALSE(list.keeps("DeviceID"));
}

TEST(RequestDecoding, EnumerateInstanceNamesAndClasses) {
  EXPECT_EQ(wbem::param_class(captured("ein").request, "ClassName", true), "Demo_Fan");
  Decoded ec = captured("ec");
  EXPECT_EQ(ec.request.name, "EnumerateClasses");
  EXPECT_EQ(wbem::param_class(ec.request, "ClassName", false), "");
  EXPECT_TRUE(wbem::param_bool(ec.request, "DeepInheritance", false));
  Decoded ecn = captured("ecn");
  EXPECT_EQ(ecn.request.name, "EnumerateClassNames");
  Decoded gc = captured("ci-getclass");
  EXPECT_EQ(gc.request.name, "GetClass");
  EXPECT_EQ(wbem::param_class(gc.request, "ClassName", true), "Demo_Chassis");
  EXPECT_TRUE(wbem::param_bool(gc.request, "IncludeQualifiers", false));
  EXPECT_FALSE(wbem::param_bool(gc.request, "LocalOnly", true));
  EXPECT_EQ(captured("dc").request.name, "DeleteClass");
}

TEST(RequestDecoding, GetInstanceAndItsPropertyList) {
  Decoded d = captured("gi");
  const XmlElement *name = wbem::param(d.request, "InstanceName").child("INSTANCENAME");
  ASSERT_NE(name, nullptr);
  const cli::ParsedPath path = wbem::read_instance_name(*name, d.request.name_space);
  EXPECT_EQ(path.class_name, "Demo_Fan");
  EXPECT_EQ(path.name_space, "root/cimv2");
  ASSERT_EQ(path.keys.size(), 2u);
  EXPECT_EQ(path.keys[0].name, "DeviceID");
  EXPECT_EQ(path.keys[0].text, "fan0");
  EXPECT_EQ(path.keys[0].kind, cli::KeyBinding::Kind::kString);
  EXPECT_EQ(path.keys[1].text, "bmc0");
  wbem::PropertyFilter list = wbem::param_property_list(captured("gi-properties").request);
  EXPECT_FALSE(list.all);
  EXPECT_EQ(list.names.size(), 1u);
}

TEST(RequestDecoding, CreateInstanceCarriesTypedProperties) {
  Decoded d = captured("ci");
  const XmlElement *inst = wbem::param(d.request, "NewInstance").child("INSTANCE");
  ASSERT_NE(inst, nullptr);
  const auto values = wbem::read_instance_values(*inst, d.request.name_space);
  ASSERT_EQ(values.size(), 3u);
  EXPECT_EQ(values[0].name, "Tag");
  EXPECT_EQ(values[0].items[0].text, "chassis7");
  EXPECT_EQ(values[2].name, "FanCount");
  EXPECT_EQ(values[2].type, static_cast<CMPIType>(CMPI_uint8));
  EXPECT_EQ(values[2].items[0].unsigned_value, 3u);
}

TEST(RequestDecoding, ModifyInstanceAndDeleteInstance) {
  Decoded d = captured("mi");
  const XmlElement *named = wbem::param(d.request, "ModifiedInstance").child("VALUE.NAMEDINSTANCE");
  ASSERT_NE(named, nullptr);
  const auto values = wbem::read_instance_values(*named->child("INSTANCE"), "root/cimv2");
  bool model = false;
  for (const auto &v : values) model = model || (v.name == "Model" && v.items[0].text == "DM-200");
  EXPECT_TRUE(model);
  Decoded del = captured("di");
  EXPECT_EQ(wbem::read_instance_name(*wbem::param(del.request, "InstanceName").child("INSTANCENAME"),
                                     "root/cimv2").keys[0].text,
            "chassis7");
}

TEST(RequestDecoding, AssociationParameters) {
  Decoded ai = captured("ai");
  EXPECT_EQ(wbem::param_class(ai.request, "AssocClass", false), "Demo_ChassisFan");
  EXPECT_EQ(wbem::param_class(ai.request, "ResultClass", false), "Demo_Fan");
  EXPECT_EQ(wbem::param_text(ai.request, "Role", false), "");
  Decoded rin = captured("rin");
  EXPECT_EQ(rin.request.name, "ReferenceNames");
  EXPECT_EQ(wbem::param_class(rin.request, "ResultClass", false), "Demo_ChassisFan");
  EXPECT_EQ(captured("ain").request.name, "AssociatorNames");
  EXPECT_EQ(captured("ri").request.name, "References");
}

TEST(RequestDecoding, GetPropertyAndSetProperty) {
  Decoded gp = captured("gp");
  EXPECT_EQ(wbem::param_text(gp.request, "PropertyName", true), "Speed");
  Decoded sp = captured("sp");
  EXPECT_EQ(wbem::param_text(sp.request, "PropertyName", true), "Name");
  EXPECT_EQ(wbem::param_text(sp.request, "NewValue", true), "Spare");
}

TEST(RequestDecoding, ExtrinsicMethodCall) {
  Decoded d = captured("cm");
  EXPECT_FALSE(d.request.intrinsic);
  EXPECT_EQ(d.request.name, "SetSpeed");
  EXPECT_EQ(d.request.target.class_name, "Demo_Fan");
  ASSERT_EQ(d.request.target.keys.size(), 2u);
  ASSERT_EQ(d.request.method_params.size(), 1u);
  EXPECT_EQ(*d.request.method_params[0]->attribute("NAME"), "DesiredSpeed");
  EXPECT_EQ(d.request.method_params[0]->child("VALUE")->text, "3000");
}

TEST(RequestDecoding, StaticMethodOnAClassPath) {
  wbem::CimCall call = cimtest::captured_call("cm");
  call.cim_object = "root%2Fcimv2%3ADemo_Fan";
  const std::string from = call.body.find("<LOCALINSTANCEPATH>") != std::string::npos
                               ? "<LOCALINSTANCEPATH>"
                               : "";
  ASSERT_FALSE(from.empty());
  const std::size_t a = call.body.find("<INSTANCENAME");
  const std::size_t b = call.body.find("</INSTANCENAME>") + std::string("</INSTANCENAME>").size();
  call.body.replace(a, b - a, "<CLASSNAME NAME=\"Demo_Fan\"/>");
  call.body.replace(call.body.find("<LOCALINSTANCEPATH>"), 19, "<LOCALCLASSPATH>");
  call.body.replace(call.body.find("</LOCALINSTANCEPATH>"), 20, "</LOCALCLASSPATH>");
  Decoded d = decode(call);
  EXPECT_EQ(d.request.target.class_name, "Demo_Fan");
  EXPECT_TRUE(d.request.target.keys.empty());
}

TEST(RequestDecoding, ReferenceKeysAsWbemcliSendsThem) {
  Decoded d = captured("gi-reference-keys");
  const cli::ParsedPath path = wbem::read_instance_name(
      *wbem::param(d.request, "InstanceName").child("INSTANCENAME"), d.request.name_space);
  EXPECT_EQ(path.class_name, "Demo_ChassisFan");
  ASSERT_EQ(path.keys.size(), 2u);
  EXPECT_EQ(path.keys[0].kind, cli::KeyBinding::Kind::kReference);
  EXPECT_EQ(path.keys[0].reference->class_name, "Demo_Chassis");
  EXPECT_EQ(path.keys[0].reference->name_space, "root/cimv2");
  EXPECT_EQ(path.keys[1].reference->class_name, "Demo_Fan");
  ASSERT_EQ(path.keys[1].reference->keys.size(), 2u);
  EXPECT_EQ(path.keys[1].reference->keys[1].text, "bmc0");
}

TEST(RequestDecoding, TypedKeysAndReferenceKeys) {
  // As wbemcli sends keys: numeric and boolean from unquoted text, references with their host.
  const std::string name =
      "<INSTANCENAME CLASSNAME=\"Demo_ChassisFan\">"
      "<KEYBINDING NAME=\"GroupComponent\"><VALUE.REFERENCE><INSTANCEPATH><NAMESPACEPATH>"
      "<HOST>box</HOST><LOCALNAMESPACEPATH><NAMESPACE NAME=\"root\"/><NAMESPACE NAME=\"cimv2\"/>"
      "</LOCALNAMESPACEPATH></NAMESPACEPATH><INSTANCENAME CLASSNAME=\"Demo_Chassis\"><KEYBINDING "
      "NAME=\"Tag\"><KEYVALUE VALUETYPE=\"string\">chassis0</KEYVALUE></KEYBINDING></INSTANCENAME>"
      "</INSTANCEPATH></VALUE.REFERENCE></KEYBINDING>"
      "<KEYBINDING NAME=\"N\"><KEYVALUE VALUETYPE=\"numeric\">-5</KEYVALUE></KEYBINDING>"
      "<KEYBINDING NAME=\"R\"><KEYVALUE VALUETYPE=\"numeric\">2.5</KEYVALUE></KEYBINDING>"
      "<KEYBINDING NAME=\"B\"><KEYVALUE VALUETYPE=\"boolean\">true</KEYVALUE></KEYBINDING>"
      "</INSTANCENAME>";
  auto tree = cimtest::parse(name);
  ASSERT_NE(tree, nullptr);
  const cli::ParsedPath path = wbem::read_instance_name(*tree, "root/cimv2");
  ASSERT_EQ(path.keys.size(), 4u);
  EXPECT_EQ(path.keys[0].kind, cli::KeyBinding::Kind::kReference);
  EXPECT_EQ(path.keys[0].reference->class_name, "Demo_Chassis");
  EXPECT_EQ(path.keys[0].reference->keys[0].text, "chassis0");
  EXPECT_EQ(path.keys[1].kind, cli::KeyBinding::Kind::kInteger);
  EXPECT_EQ(path.keys[1].text, "-5");
  EXPECT_EQ(path.keys[2].kind, cli::KeyBinding::Kind::kReal);
  EXPECT_EQ(path.keys[3].kind, cli::KeyBinding::Kind::kBoolean);

  auto bad = cimtest::parse(
      "<INSTANCENAME CLASSNAME=\"X\"><KEYBINDING NAME=\"N\"><KEYVALUE VALUETYPE=\"numeric\">abc"
      "</KEYVALUE></KEYBINDING></INSTANCENAME>");
  EXPECT_THROW(wbem::read_instance_name(*bad, "root/cimv2"), OperationError);
}

TEST(RequestDecoding, TypedValuesAreChecked) {
  auto value = cimtest::parse("<VALUE>300</VALUE>");
  EXPECT_THROW(wbem::read_typed_value("X", CMPI_uint8, value.get(), "root/cimv2"), OperationError);
  EXPECT_EQ(wbem::read_typed_value("X", CMPI_uint16, value.get(), "root/cimv2").items[0].unsigned_value,
            300u);
  auto letter = cimtest::parse("<VALUE>\xc3\xa9</VALUE>");
  EXPECT_EQ(wbem::read_typed_value("C", CMPI_char16, letter.get(), "").items[0].unsigned_value, 0xe9u);
  auto array = cimtest::parse("<VALUE.ARRAY><VALUE>-1</VALUE><VALUE>2</VALUE></VALUE.ARRAY>");
  const cli::ParsedValue v =
      wbem::read_typed_value("A", static_cast<CMPIType>(CMPI_sint32 | CMPI_ARRAY), array.get(), "");
  ASSERT_EQ(v.items.size(), 2u);
  EXPECT_EQ(v.items[0].signed_value, -1);
  EXPECT_TRUE(wbem::read_typed_value("N", CMPI_string, nullptr, "").is_null);
}

int protocol_status(const wbem::CimCall &call, std::string *cim_error) {
  try {
    decode(call);
  } catch (const ProtocolError &e) {
    *cim_error = e.cim_error();
    return e.http_status();
  }
  return 0;
}

TEST(RequestDecoding, HeadersMustMatchTheBody) {
  std::string error;
  wbem::CimCall call = cimtest::captured_call("gi");
  call.cim_method = "GetClass";
  EXPECT_EQ(protocol_status(call, &error), 400);
  EXPECT_EQ(error, "header-mismatch");
  call = cimtest::captured_call("gi");
  call.cim_object = "root%2Fother";
  EXPECT_EQ(protocol_status(call, &error), 400);
  call.cim_object = "root%2";
  EXPECT_EQ(protocol_status(call, &error), 400);
  call.cim_object = "ROOT%2FCIMV2";  // names compare without regard to case
  EXPECT_EQ(protocol_status(call, &error), 0);
}

TEST(RequestDecoding, EnvelopeChecks) {
  std::string error;
  wbem::CimCall call = cimtest::captured_call("gi");
  wbem::CimCall v3 = call;
  v3.body.replace(v3.body.find("CIMVERSION=\"2.0\""), 16, "CIMVERSION=\"3.0\"");
  EXPECT_EQ(protocol_status(v3, &error), 400);
  EXPECT_EQ(error, "unsupported-cim-version");
  wbem::CimCall p2 = call;
  p2.body.replace(p2.body.find("PROTOCOLVERSION=\"1.0\""), 21, "PROTOCOLVERSION=\"2.0\"");
  EXPECT_EQ(protocol_status(p2, &error), 400);
  EXPECT_EQ(error, "unsupported-protocol-version");
  wbem::CimCall multi = call;
  multi.body.replace(multi.body.find("<SIMPLEREQ>"), 11, "<MULTIREQ><SIMPLEREQ>");
  multi.body.replace(multi.body.find("</SIMPLEREQ>"), 12, "</SIMPLEREQ></MULTIREQ>");
  EXPECT_EQ(protocol_status(multi, &error), 501);
  EXPECT_EQ(error, "multiple-requests-unsupported");
  wbem::CimCall other = call;
  other.body = "<?xml version=\"1.0\"?><HTML/>";
  EXPECT_EQ(protocol_status(other, &error), 400);
  EXPECT_EQ(error, "request-not-valid");
}

TEST(RequestDecoding, MissingParametersAreInvalidParameter) {
  Decoded d = captured("gi");
  try {
    wbem::param_class(d.request, "ClassName", true);
    ADD_FAILURE() << "no error";
  } catch (const OperationError &e) {
    EXPECT_EQ(e.code(), CMPI_RC_ERR_INVALID_PARAMETER);
  }
  EXPECT_EQ(wbem::param_class(d.request, "ClassName", false), "");
}

TEST(RequestDecoding, PercentDecoding) {
  std::string out;
  EXPECT_TRUE(wbem::percent_decode("root%2Fcimv2%3ADemo_Fan", &out));
  EXPECT_EQ(out, "root/cimv2:Demo_Fan");
  EXPECT_FALSE(wbem::percent_decode("a%2", &out));
  EXPECT_FALSE(wbem::percent_decode("a%zz", &out));
}

}  // namespace
