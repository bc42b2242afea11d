// class_xml.cpp - CLASS, its properties and methods.
#include "class_xml.h"

#include <strings.h>

namespace wbem {
namespace {

void qualifier(XmlOut &out, const char *name) {
  out.open("QUALIFIER", {{"NAME", name}, {"TYPE", "boolean"}});
  out.leaf("VALUE", "TRUE");
  out.close("QUALIFIER");
}

bool own(const ClassModel &cls, const std::string &origin) {
  return strcasecmp(cls.name.c_str(), origin.c_str()) == 0;
}

void write_property(XmlOut &out, const PropertyModel &p, const ClassOptions &o) {
  const bool origin = o.include_class_origin;
  const CMPIType element = static_cast<CMPIType>(p.type & ~CMPI_ARRAY);
  const char *tag = element == CMPI_ref ? "PROPERTY.REFERENCE"
                    : (p.type & CMPI_ARRAY) != 0 ? "PROPERTY.ARRAY"
                                                 : "PROPERTY";
  const std::string type = cim_type_name(element == CMPI_instance ? CMPI_string : element);
  if (element == CMPI_ref) {
    if (origin && !p.reference_class.empty()) {
      out.open(tag, {{"NAME", p.name}, {"REFERENCECLASS", p.reference_class}, {"CLASSORIGIN", p.origin}});
    } else if (origin) {
      out.open(tag, {{"NAME", p.name}, {"CLASSORIGIN", p.origin}});
    } else if (!p.reference_class.empty()) {
      out.open(tag, {{"NAME", p.name}, {"REFERENCECLASS", p.reference_class}});
    } else {
      out.open(tag, {{"NAME", p.name}});
    }
  } else if (element == CMPI_instance && (p.type & CMPI_ARRAY) == 0) {
    if (origin) {
      out.open(tag, {{"NAME", p.name}, {"TYPE", type}, {"CLASSORIGIN", p.origin}, {"EmbeddedObject", "instance"}});
    } else {
      out.open(tag, {{"NAME", p.name}, {"TYPE", type}, {"EmbeddedObject", "instance"}});
    }
  } else if (origin) {
    out.open(tag, {{"NAME", p.name}, {"TYPE", type}, {"CLASSORIGIN", p.origin}});
  } else {
    out.open(tag, {{"NAME", p.name}, {"TYPE", type}});
  }
  if (o.include_qualifiers && p.is_key) qualifier(out, "Key");
  out.close(tag);
}

void write_parameter(XmlOut &out, const ParameterModel &p, bool qualifiers) {
  const CMPIType element = static_cast<CMPIType>(p.type & ~CMPI_ARRAY);
  const bool array = (p.type & CMPI_ARRAY) != 0;
  const char *tag = element == CMPI_ref ? (array ? "PARAMETER.REFARRAY" : "PARAMETER.REFERENCE")
                    : array             ? "PARAMETER.ARRAY"
                                        : "PARAMETER";
  if (element == CMPI_ref) {
    if (p.reference_class.empty()) {
      out.open(tag, {{"NAME", p.name}});
    } else {
      out.open(tag, {{"NAME", p.name}, {"REFERENCECLASS", p.reference_class}});
    }
  } else {
    out.open(tag, {{"NAME", p.name},
                   {"TYPE", cim_type_name(element == CMPI_instance ? CMPI_string : element)}});
  }
  if (qualifiers) {
    if (p.direction == "in" || p.direction == "inout") qualifier(out, "IN");
    if (p.direction == "out" || p.direction == "inout") qualifier(out, "OUT");
  }
  out.close(tag);
}

}  // namespace

void write_class(XmlOut &out, const ClassModel &cls, const ClassOptions &o) {
  if (cls.superclass.empty()) {
    out.open("CLASS", {{"NAME", cls.name}});
  } else {
    out.open("CLASS", {{"NAME", cls.name}, {"SUPERCLASS", cls.superclass}});
  }
  if (o.include_qualifiers) {
    if (cls.is_association) qualifier(out, "Association");
    if (cls.is_abstract) qualifier(out, "Abstract");
  }
  for (const PropertyModel &p : cls.properties) {
    if (o.local_only && !own(cls, p.origin)) continue;
    if (!o.filter.keeps(p.name)) continue;
    write_property(out, p, o);
  }
  for (const MethodModel &m : cls.methods) {
    if (o.local_only && !own(cls, m.origin)) continue;
    const std::string type = cim_type_name(m.return_type);
    if (o.include_class_origin && !type.empty()) {
      out.open("METHOD", {{"NAME", m.name}, {"TYPE", type}, {"CLASSORIGIN", m.origin}});
    } else if (o.include_class_origin) {
      out.open("METHOD", {{"NAME", m.name}, {"CLASSORIGIN", m.origin}});
    } else if (!type.empty()) {
      out.open("METHOD", {{"NAME", m.name}, {"TYPE", type}});
    } else {
      out.open("METHOD", {{"NAME", m.name}});
    }
    for (const ParameterModel &p : m.parameters) write_parameter(out, p, o.include_qualifiers);
    out.close("METHOD");
  }
  out.close("CLASS");
}

}  // namespace wbem
