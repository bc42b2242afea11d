// value_xml.h - CMPI instances, object paths and values written as CIM-XML.
//
// What the front end answers with, in the element forms strict clients read:
//   INSTANCE         PROPERTY / PROPERTY.ARRAY / PROPERTY.REFERENCE per property, with NAME and
//                    TYPE only (REFERENCECLASS is not written: the host does not tell it);
//                    a null value is a property without VALUE; an embedded instance is a
//                    PROPERTY TYPE="string" EmbeddedObject="instance" whose VALUE is the
//                    escaped INSTANCE text; an array of embedded instances is written as a
//                    string array of INSTANCE texts (strict clients refuse EmbeddedObject on
//                    PROPERTY.ARRAY); an array of references is left out (the format has no
//                    property form for it) and logged.
//   INSTANCENAME     CLASSNAME and one KEYBINDING per key: KEYVALUE with VALUETYPE "string",
//                    "boolean" or "numeric" (by the key's CMPI type), or VALUE.REFERENCE
//   INSTANCEPATH     NAMESPACEPATH (HOST and LOCALNAMESPACEPATH) and INSTANCENAME
//   VALUE.REFERENCE  an INSTANCEPATH (with the host) for reference values
// Scalars: integers in decimal, reals with 9 (real32) or 17 (real64) significant digits and
// INF, -INF, NaN; booleans TRUE / FALSE; char16 as its character; date-times in their
// 25-character form.
#ifndef CMPI_WBEMD_VALUE_XML_H
#define CMPI_WBEMD_VALUE_XML_H

#include <cmpidt.h>
#include <cmpift.h>
#include <json/json.h>

#include <set>
#include <string>

#include "xml_writer.h"

namespace wbem {

// The CIM type name of a CMPI type code without the array flag ("uint32", "string" for every
// text type, "datetime", "reference", "instance" for an embedded instance); "" for none.
std::string cim_type_name(CMPIType type);

// The CMPI type code of a CIM type name (any case); 0 when unknown.
CMPIType cmpi_type(const std::string &name);

// The text of a scalar value of that type (not a reference, an instance or an array); false
// when the type has no text form.
bool scalar_text(CMPIType type, const CMPIValue &value, std::string *text);

// Which properties an answer carries: all, or those a PropertyList names (compared without
// regard to case).
struct PropertyFilter {
  bool all = true;
  std::set<std::string> names;  // lower case
  bool keeps(const std::string &name) const;
};

// Where paths are: the host name written in INSTANCEPATH, and the namespace that paths without
// one are in (the request's).
struct PathContext {
  std::string host;
  std::string name_space;
};

// props: the "InstanceProps" of the frame the instance came in (a null Json::Value when there
// is none); it tells a null string from an empty one, which the decoded instance cannot.
void write_instance(XmlOut &out, const CMPIInstance *inst, const Json::Value &props,
                    const PropertyFilter &filter, const PathContext &where);

void write_instance_name(XmlOut &out, const CMPIObjectPath *path, const PathContext &where);
void write_instance_path(XmlOut &out, const CMPIObjectPath *path, const PathContext &where);
void write_local_namespace(XmlOut &out, const std::string &name_space);

// One VALUE, VALUE.ARRAY or VALUE.REFERENCE for a datum (nothing for a null), as RETURNVALUE,
// PARAMVALUE and GetProperty's answer carry them. Embedded instances are escaped INSTANCE text.
void write_value(XmlOut &out, const CMPIData &data, const PathContext &where);

}  // namespace wbem

#endif  // CMPI_WBEMD_VALUE_XML_H
