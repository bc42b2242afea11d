// class_xml.h - a class of the schema database written as a CIM-XML CLASS.
//
// CLASS NAME (and SUPERCLASS when it has one), then PROPERTY / PROPERTY.ARRAY /
// PROPERTY.REFERENCE per property and METHOD per method with PARAMETER, PARAMETER.ARRAY and
// PARAMETER.REFERENCE. With include_qualifiers the class carries Association / Abstract, key
// properties Key, and parameters IN / OUT qualifiers, each
// <QUALIFIER NAME="Key" TYPE="boolean"><VALUE>TRUE</VALUE></QUALIFIER> (never self-closing);
// with include_class_origin properties and methods carry CLASSORIGIN; local_only keeps only
// what the class declares itself; filter keeps the properties a PropertyList names.
// Property defaults are not written (the class carries types, keys and methods, which is what
// clients read a class for).
#ifndef CMPI_WBEMD_CLASS_XML_H
#define CMPI_WBEMD_CLASS_XML_H

#include "schema_classes.h"
#include "value_xml.h"
#include "xml_writer.h"

namespace wbem {

struct ClassOptions {
  bool local_only = false;
  bool include_qualifiers = false;
  bool include_class_origin = false;
  PropertyFilter filter;
};

void write_class(XmlOut &out, const ClassModel &cls, const ClassOptions &options);

}  // namespace wbem

#endif  // CMPI_WBEMD_CLASS_XML_H
