// xml_reader.h - the request body read into a small tree, safely.
//
// The body comes from the network. The reader (Expat) refuses, before anything is expanded:
//   - a document type declaration (<!DOCTYPE ...>), and with it every entity declaration and
//     every external entity: no entity other than the five predefined ones and character
//     references is ever expanded, so a "billion laughs" document stops at its DOCTYPE;
//   - malformed XML and text that is not UTF-8 (Expat's own checks), with Expat's message and
//     the line and column;
//   - a processing instruction other than the XML declaration, and an encoding other than UTF-8
//     (US-ASCII is a subset and is read as UTF-8);
//   - more than the limits allow: nesting depth, elements in all, attributes on one element,
//     bytes of character data in the whole document.
// Comments are skipped. Character data is kept per element as one text (the pieces between
// child elements joined); whitespace is kept as it is.
#ifndef CMPI_WBEMD_XML_READER_H
#define CMPI_WBEMD_XML_READER_H

#include <cstddef>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace wbem {

struct XmlLimits {
  std::size_t max_depth = 64;              // nesting of elements (the root is depth 1)
  std::size_t max_elements = 200000;       // elements in the whole document
  std::size_t max_attributes = 32;         // attributes on one element
  std::size_t max_text = 16u * 1024 * 1024;  // bytes of character data in the whole document
};

struct XmlElement {
  std::string name;
  std::vector<std::pair<std::string, std::string>> attributes;  // in document order
  std::vector<std::unique_ptr<XmlElement>> children;
  std::string text;

  // The value of attribute name, or nullptr when it has none.
  const std::string *attribute(const std::string &attr) const;
  // The first child of that name, or nullptr.
  const XmlElement *child(const std::string &child_name) const;
};

struct XmlReadResult {
  std::unique_ptr<XmlElement> root;  // null when the document was refused
  bool limit_exceeded = false;       // refused for a limit (not for being malformed)
  std::string error;                 // why it was refused ("" when read)
};

// Reads text whole. Never throws (out of memory included: it is reported as an error).
XmlReadResult read_xml(const std::string &text, const XmlLimits &limits);

}  // namespace wbem

#endif  // CMPI_WBEMD_XML_READER_H
