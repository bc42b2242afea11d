// xml_writer.h - CIM-XML text built in a string, with everything escaped.
//
// Every text and attribute value goes through the escaping here:
//   - & < > " ' are written as the five predefined entities (in text and attributes alike);
//   - in attribute values, tab, line feed and carriage return are written as character
//     references (&#9; &#10; &#13;) so that a reader's attribute normalisation keeps them; in
//     text, carriage return is written &#13; (a reader would otherwise turn it into a line feed);
//   - characters XML 1.0 does not allow at all (the controls below 0x20 other than tab, line
//     feed and carriage return; U+FFFE and U+FFFF) are REPLACED by U+FFFD, the replacement
//     character, as are bytes that are not well-formed UTF-8: the answer stays a valid document
//     and the client sees that something was there. Values from providers are not refused.
// Start tags carry exactly the attributes given; empty elements are written with a start and an
// end tag (never "<X/>"), as strict clients require for IRETURNVALUE and QUALIFIER.
#ifndef CMPI_WBEMD_XML_WRITER_H
#define CMPI_WBEMD_XML_WRITER_H

#include <cstddef>
#include <cstring>
#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>

namespace wbem {

using XmlAttribute = std::pair<std::string_view, std::string_view>;

// Appends text escaped for character data / for an attribute value (quoted with ").
void escape_text(std::string_view text, std::string *out);
void escape_attribute(std::string_view text, std::string *out);

// Element and attribute names are the writer's own (literals, mostly): written as they are.
class XmlOut {
 public:
  // "<name a="v" ...>"
  void open(std::string_view name, std::initializer_list<XmlAttribute> attributes = {});
  // "</name>"
  void close(std::string_view name) {
    char tag[64];
    if (name.size() + 3 > sizeof tag) {
      out_.append("</", 2);
      out_.append(name.data(), name.size());
      out_.push_back('>');
      return;
    }
    // Made on the stack and appended in one step.
    tag[0] = '<';
    tag[1] = '/';
    std::memcpy(tag + 2, name.data(), name.size());
    tag[2 + name.size()] = '>';
    out_.append(tag, name.size() + 3);
  }
  // "<name ...>text</name>"
  void leaf(std::string_view name, std::string_view text,
            std::initializer_list<XmlAttribute> attributes = {});
  // "<name ...></name>"
  void empty(std::string_view name, std::initializer_list<XmlAttribute> attributes = {});
  void text(std::string_view text) { escape_text(text, &out_); }
  // Markup made elsewhere (already escaped).
  void raw(std::string_view markup) { out_.append(markup); }

  std::string &str() { return out_; }
  const std::string &str() const { return out_; }
  std::size_t size() const { return out_.size(); }
  void clear() { out_.clear(); }

 private:
  std::string out_;
};

}  // namespace wbem

#endif  // CMPI_WBEMD_XML_WRITER_H
