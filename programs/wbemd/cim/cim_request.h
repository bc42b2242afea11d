// cim_request.h - a CIM operation request read from its XML tree, and its parameters.
//
// decode_request accepts CIM / MESSAGE / SIMPLEREQ holding one IMETHODCALL (an intrinsic
// operation on LOCALNAMESPACEPATH with IPARAMVALUEs) or one METHODCALL (an extrinsic method on
// LOCALINSTANCEPATH or LOCALCLASSPATH with PARAMVALUEs), and checks the CIMMethod and CIMObject
// headers against it. What it refuses is a ProtocolError: the request is not one we can read
// (HTTP 400 with the CIMError header named in it). The parameter readers below refuse values
// they cannot read with an OperationError CMPI_RC_ERR_INVALID_PARAMETER, which is answered as
// an ERROR element like any failed operation.
#ifndef CMPI_WBEMD_CIM_REQUEST_H
#define CMPI_WBEMD_CIM_REQUEST_H

#include <cmpidt.h>

#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "path_syntax.h"
#include "value_syntax.h"
#include "value_xml.h"
#include "xml_reader.h"

namespace wbem {

class ProtocolError : public std::runtime_error {
 public:
  ProtocolError(int http_status, std::string cim_error, const std::string &why)
      : std::runtime_error(why), http_status_(http_status), cim_error_(std::move(cim_error)) {}
  int http_status() const { return http_status_; }
  const std::string &cim_error() const { return cim_error_; }

 private:
  int http_status_;
  std::string cim_error_;
};

// An operation that fails with a CIM status code (an ERROR element in the answer).
class OperationError : public std::runtime_error {
 public:
  OperationError(int code, const std::string &description)
      : std::runtime_error(description), code_(code) {}
  int code() const { return code_; }

 private:
  int code_;
};

struct CimRequest {
  std::string message_id;
  bool intrinsic = true;
  std::string name;        // the operation or the method
  std::string name_space;  // "root/cimv2"
  // Intrinsic: the IPARAMVALUEs by name, lower case. Extrinsic: the PARAMVALUEs in order.
  std::map<std::string, const XmlElement *> params;
  std::vector<const XmlElement *> method_params;
  cli::ParsedPath target;  // extrinsic: the instance or class the method is called on
};

// headers: the CIMMethod and CIMObject header values as received (CIMObject still %-encoded).
// The tree must outlive the request (it points into it). Throws ProtocolError.
CimRequest decode_request(const XmlElement &root, const std::string &cim_method,
                          const std::string &cim_object);

// "%2F" and friends decoded; false for a malformed escape.
bool percent_decode(const std::string &text, std::string *out);

// Parameter readers. A missing parameter gives the fallback (or, for required ones, an
// OperationError CMPI_RC_ERR_INVALID_PARAMETER naming it).
bool param_bool(const CimRequest &r, const char *name, bool fallback);
std::string param_class(const CimRequest &r, const char *name, bool required);
std::string param_text(const CimRequest &r, const char *name, bool required);
bool has_param(const CimRequest &r, const char *name);
const XmlElement &param(const CimRequest &r, const char *name);
PropertyFilter param_property_list(const CimRequest &r);

// An INSTANCENAME (KEYBINDINGs of KEYVALUE or VALUE.REFERENCE) as a path in name_space.
cli::ParsedPath read_instance_name(const XmlElement &e, const std::string &name_space);
// A VALUE.REFERENCE holding INSTANCEPATH, LOCALINSTANCEPATH or INSTANCENAME.
cli::ParsedPath read_reference(const XmlElement &e, const std::string &name_space);
// LOCALNAMESPACEPATH's NAMESPACE names joined by '/'.
std::string read_namespace(const XmlElement &e);

// The typed properties of an INSTANCE (PROPERTY with TYPE, PROPERTY.ARRAY, PROPERTY.REFERENCE);
// a property without VALUE is null. Embedded instances cannot be sent to the host.
std::vector<cli::ParsedValue> read_instance_values(const XmlElement &instance,
                                                   const std::string &name_space);

// One value of the given type from a VALUE, VALUE.ARRAY or VALUE.REFERENCE element (nullptr: a
// null value), named name.
cli::ParsedValue read_typed_value(const std::string &name, CMPIType type, const XmlElement *value,
                                  const std::string &name_space);

}  // namespace wbem

#endif  // CMPI_WBEMD_CIM_REQUEST_H
