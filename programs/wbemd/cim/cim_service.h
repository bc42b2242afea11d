// cim_service.h - the CIM half of cmpi-wbemd: settings, and the service main() hands calls to.
//
// make_cim_service returns a wbem::CimService (exchange.h) that, for each call, reads the body
// with the safe XML reader (xml_reader.h, limits from the settings), decodes the operation
// (cim_request.h), sends it to cmpi-hostd through the library's client functions with
// CimCall::user as the request's principal, and writes the CIM-XML answer into the sink,
// streaming enumerations as their frames arrive (answers_at_once is false for those: the
// enumerations, associators, references and queries, and their name-only forms; every other
// answer is held whole before any of it is written). cmpi-wbemd must be admitted by cmpi-hostd
// as a proxy (--allow-proxy-user or --allow-proxy-group naming the daemon's user) to act for
// the users it authenticated; a call without a user is refused (CIM_ERR_ACCESS_DENIED), never
// served as some default user. docs/cimxml.md lists what each operation becomes.
#ifndef CMPI_WBEMD_CIM_SERVICE_H
#define CMPI_WBEMD_CIM_SERVICE_H

#include <memory>
#include <string>

#include "exchange.h"
#include "xml_reader.h"

namespace wbem {

struct CimSettings {
  // cmpi-hostd's socket.
  std::string host_socket = "/run/cmpi-hostd.sock";
  // The longest wait, in seconds, for each piece of the host's answer (0: no limit). A provider
  // that takes longer ends the operation with CIM_ERR_FAILED (or a broken answer mid-stream).
  int host_timeout = 60;
  // The schema database (GetClass, class listings, key properties of names, the types of
  // method parameters and SetProperty values). Empty: the library's location
  // (CMPIUTILITY_SCHEMA_DB, else /etc/wsman/Database/Schema/CIMSchema.db).
  std::string schema_database;
  // The host name written in INSTANCEPATH elements. Empty: gethostname().
  std::string host_name;
  // Limits of the XML reader (defaults in xml_reader.h).
  XmlLimits xml;
};

// Never returns null. The service keeps no state between calls and may serve calls from
// several threads at once.
std::unique_ptr<CimService> make_cim_service(const CimSettings &settings);

}  // namespace wbem

#endif  // CMPI_WBEMD_CIM_SERVICE_H
