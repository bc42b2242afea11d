// cim_test_support.h - what the tests of the CIM half share: a sink that records what it was
// given, request bodies (built, or read from the captured ones in requests/), and look-ups in
// answers read back with the front end's own XML reader.
#ifndef CMPI_TESTS_WBEMD_CIM_TEST_SUPPORT_H
#define CMPI_TESTS_WBEMD_CIM_TEST_SUPPORT_H

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "exchange.h"
#include "xml_reader.h"

namespace cimtest {

// Records every call; flags calls out of the order exchange.h allows.
class RecordingSink : public wbem::AnswerSink {
 public:
  void protocol_error(int http_status, const std::string &cim_error) override {
    if (ended_ || !body.empty()) misuse = true;
    status = http_status;
    this->cim_error = cim_error;
    ended_ = true;
  }
  void write(const char *data, std::size_t size) override {
    if (ended_) misuse = true;
    body.append(data, size);
    ++writes;
  }
  void finish() override {
    if (ended_) misuse = true;
    finished = true;
    ended_ = true;
  }
  void fail(int cim_status, const std::string &description) override {
    if (ended_ || body.empty()) misuse = true;
    failed = true;
    fail_code = cim_status;
    fail_text = description;
    ended_ = true;
  }

  int status = 200;
  std::string cim_error;
  std::string body;
  int writes = 0;
  bool finished = false;
  bool failed = false;
  int fail_code = 0;
  std::string fail_text;
  bool misuse = false;

 private:
  bool ended_ = false;
};

inline std::string read_text(const std::string &path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream s;
  s << in.rdbuf();
  return s.str();
}

// A captured request of requests/ (NAME.xml and NAME.headers) as the HTTP half hands it on.
inline wbem::CimCall captured_call(const std::string &name, const std::string &user = "root") {
  wbem::CimCall call;
  call.user = user;
  call.peer = "127.0.0.1:40000";
  call.cim_operation = "MethodCall";
  call.body = read_text(std::string(REQUESTS_DIR) + "/" + name + ".xml");
  std::istringstream headers(read_text(std::string(REQUESTS_DIR) + "/" + name + ".headers"));
  std::string line;
  while (std::getline(headers, line)) {
    if (line.rfind("CIMMethod: ", 0) == 0) call.cim_method = line.substr(11);
    if (line.rfind("CIMObject: ", 0) == 0) call.cim_object = line.substr(11);
  }
  EXPECT_FALSE(call.body.empty()) << name;
  return call;
}

// An intrinsic operation in root/cimv2 with the IPARAMVALUEs given as XML.
inline wbem::CimCall intrinsic_call(const std::string &op, const std::string &params,
                                    const std::string &user = "root") {
  wbem::CimCall call;
  call.user = user;
  call.peer = "127.0.0.1:40000";
  call.cim_operation = "MethodCall";
  call.cim_method = op;
  call.cim_object = "root%2Fcimv2";
  call.body =
      "<?xml version=\"1.0\" encoding=\"utf-8\" ?><CIM CIMVERSION=\"2.0\" DTDVERSION=\"2.0\">"
      "<MESSAGE ID=\"17\" PROTOCOLVERSION=\"1.0\"><SIMPLEREQ><IMETHODCALL NAME=\"" + op + "\">"
      "<LOCALNAMESPACEPATH><NAMESPACE NAME=\"root\"/><NAMESPACE NAME=\"cimv2\"/>"
      "</LOCALNAMESPACEPATH>" + params + "</IMETHODCALL></SIMPLEREQ></MESSAGE></CIM>";
  return call;
}

inline std::string class_param(const std::string &name, const std::string &cls) {
  return "<IPARAMVALUE NAME=\"" + name + "\"><CLASSNAME NAME=\"" + cls + "\"/></IPARAMVALUE>";
}
inline std::string value_param(const std::string &name, const std::string &value) {
  return "<IPARAMVALUE NAME=\"" + name + "\"><VALUE>" + value + "</VALUE></IPARAMVALUE>";
}
inline std::string fan_name(const std::string &id) {
  return "<INSTANCENAME CLASSNAME=\"Demo_Fan\"><KEYBINDING NAME=\"DeviceID\"><KEYVALUE "
         "VALUETYPE=\"string\">" + id + "</KEYVALUE></KEYBINDING><KEYBINDING NAME=\"SystemName\">"
         "<KEYVALUE VALUETYPE=\"string\">bmc0</KEYVALUE></KEYBINDING></INSTANCENAME>";
}
inline std::string chassis_name(const std::string &tag) {
  return "<INSTANCENAME CLASSNAME=\"Demo_Chassis\"><KEYBINDING NAME=\"Tag\"><KEYVALUE "
         "VALUETYPE=\"string\">" + tag + "</KEYVALUE></KEYBINDING></INSTANCENAME>";
}
inline std::string name_param(const std::string &param, const std::string &instance_name) {
  return "<IPARAMVALUE NAME=\"" + param + "\">" + instance_name + "</IPARAMVALUE>";
}

// The answer read back; a failed read is a test failure.
inline std::unique_ptr<wbem::XmlElement> parse(const std::string &text) {
  wbem::XmlReadResult r = wbem::read_xml(text, wbem::XmlLimits());
  EXPECT_TRUE(r.root != nullptr) << r.error << "\n" << text;
  return std::move(r.root);
}

inline void find_all(const wbem::XmlElement &e, const std::string &name,
                     std::vector<const wbem::XmlElement *> *out) {
  if (e.name == name) out->push_back(&e);
  for (const auto &c : e.children) find_all(*c, name, out);
}
inline std::vector<const wbem::XmlElement *> all(const wbem::XmlElement &e, const std::string &name) {
  std::vector<const wbem::XmlElement *> out;
  find_all(e, name, &out);
  return out;
}
inline const wbem::XmlElement *first(const wbem::XmlElement &e, const std::string &name) {
  const auto found = all(e, name);
  return found.empty() ? nullptr : found.front();
}
inline std::string attr(const wbem::XmlElement *e, const std::string &name) {
  if (e == nullptr) return "(no element)";
  const std::string *v = e->attribute(name);
  return v != nullptr ? *v : "(none)";
}

// The property (PROPERTY, PROPERTY.ARRAY or PROPERTY.REFERENCE) NAME=name directly inside e.
inline const wbem::XmlElement *property(const wbem::XmlElement &e, const std::string &name) {
  for (const auto &c : e.children) {
    const std::string *n = c->attribute("NAME");
    if (n != nullptr && *n == name && c->name.rfind("PROPERTY", 0) == 0) return c.get();
  }
  return nullptr;
}
// The text of its VALUE, "(null)" without one.
inline std::string value_of(const wbem::XmlElement *prop) {
  if (prop == nullptr) return "(no property)";
  const wbem::XmlElement *v = prop->child("VALUE");
  return v != nullptr ? v->text : "(null)";
}

}  // namespace cimtest

#endif  // CMPI_TESTS_WBEMD_CIM_TEST_SUPPORT_H
