// xml_reader.cpp - Expat with every declaration refused and the limits counted as it reads.
#include "xml_reader.h"

#include <expat.h>
#include <strings.h>

#include <cstdint>
#include <new>

namespace wbem {
namespace {

class TreeBuilder {
 public:
  TreeBuilder(XML_Parser parser, const XmlLimits &limits) : parser_(parser), limits_(limits) {}

  void refuse(const std::string &why, bool limit) {
    if (!error_.empty()) return;
    error_ = why;
    limit_ = limit;
    XML_StopParser(parser_, XML_FALSE);
  }

  void start(const XML_Char *name, const XML_Char **attrs) {
    if (!error_.empty()) return;
    if (stack_.size() + 1 > limits_.max_depth) {
      return refuse("elements nested deeper than " + std::to_string(limits_.max_depth), true);
    }
    if (++elements_ > limits_.max_elements) {
      return refuse("more than " + std::to_string(limits_.max_elements) + " elements", true);
    }
    auto element = std::make_unique<XmlElement>();
    element->name = name;
    for (std::size_t i = 0; attrs[i] != nullptr; i += 2) {
      if (element->attributes.size() >= limits_.max_attributes) {
        return refuse("element " + element->name + " has more than " +
                          std::to_string(limits_.max_attributes) + " attributes",
                      true);
      }
      element->attributes.emplace_back(attrs[i], attrs[i + 1]);
      text_ += element->attributes.back().second.size();
    }
    XmlElement *raw = element.get();
    if (stack_.empty()) {
      root_ = std::move(element);
    } else {
      stack_.back()->children.push_back(std::move(element));
    }
    stack_.push_back(raw);
    check_text();
  }

  void end() {
    if (!error_.empty() || stack_.empty()) return;
    stack_.pop_back();
  }

  void characters(const XML_Char *s, int len) {
    if (!error_.empty() || stack_.empty()) return;
    text_ += static_cast<std::size_t>(len);
    if (!check_text()) return;
    stack_.back()->text.append(s, static_cast<std::size_t>(len));
  }

  bool check_text() {
    if (text_ > limits_.max_text) {
      refuse("more than " + std::to_string(limits_.max_text) + " bytes of text", true);
      return false;
    }
    return true;
  }

  XmlReadResult result(bool parsed) {
    XmlReadResult r;
    if (!error_.empty()) {
      r.error = error_;
      r.limit_exceeded = limit_;
      return r;
    }
    if (!parsed) {
      r.error = std::string("malformed XML: ") + XML_ErrorString(XML_GetErrorCode(parser_)) +
                " at line " + std::to_string(XML_GetCurrentLineNumber(parser_)) + ", column " +
                std::to_string(XML_GetCurrentColumnNumber(parser_) + 1);
      return r;
    }
    r.root = std::move(root_);
    return r;
  }

 private:
  XML_Parser parser_;
  const XmlLimits &limits_;
  std::unique_ptr<XmlElement> root_;
  std::vector<XmlElement *> stack_;
  std::size_t elements_ = 0;
  std::size_t text_ = 0;
  std::string error_;
  bool limit_ = false;
};

TreeBuilder *builder(void *data) { return static_cast<TreeBuilder *>(data); }

void XMLCALL on_start(void *data, const XML_Char *name, const XML_Char **attrs) {
  builder(data)->start(name, attrs);
}
void XMLCALL on_end(void *data, const XML_Char *) { builder(data)->end(); }
void XMLCALL on_text(void *data, const XML_Char *s, int len) { builder(data)->characters(s, len); }

void XMLCALL on_doctype(void *data, const XML_Char *, const XML_Char *, const XML_Char *, int) {
  builder(data)->refuse("a document type declaration is not accepted", false);
}
void XMLCALL on_entity(void *data, const XML_Char *, int, const XML_Char *, int, const XML_Char *,
                       const XML_Char *, const XML_Char *, const XML_Char *) {
  builder(data)->refuse("an entity declaration is not accepted", false);
}
int XMLCALL on_external(XML_Parser parser, const XML_Char *, const XML_Char *, const XML_Char *,
                        const XML_Char *) {
  builder(XML_GetUserData(parser))->refuse("an external entity is not accepted", false);
  return XML_STATUS_ERROR;
}
void XMLCALL on_instruction(void *data, const XML_Char *, const XML_Char *) {
  builder(data)->refuse("a processing instruction is not accepted", false);
}
void XMLCALL on_declaration(void *data, const XML_Char *, const XML_Char *encoding, int) {
  if (encoding != nullptr && strcasecmp(encoding, "utf-8") != 0 &&
      strcasecmp(encoding, "us-ascii") != 0) {
    builder(data)->refuse(std::string("the encoding ") + encoding + " is not accepted (UTF-8 only)",
                          false);
  }
}

struct ParserOwner {
  XML_Parser parser;
  ~ParserOwner() {
    if (parser != nullptr) XML_ParserFree(parser);
  }
};

}  // namespace

const std::string *XmlElement::attribute(const std::string &attr) const {
  for (const auto &a : attributes) {
    if (a.first == attr) return &a.second;
  }
  return nullptr;
}

const XmlElement *XmlElement::child(const std::string &child_name) const {
  for (const auto &c : children) {
    if (c->name == child_name) return c.get();
  }
  return nullptr;
}

XmlReadResult read_xml(const std::string &text, const XmlLimits &limits) {
  try {
    // The encoding given here overrides whatever the document declares.
    ParserOwner owner{XML_ParserCreate("UTF-8")};
    if (owner.parser == nullptr) {
      XmlReadResult r;
      r.error = "the XML reader cannot be made (out of memory)";
      return r;
    }
    XML_Parser p = owner.parser;
    TreeBuilder tree(p, limits);
    XML_SetUserData(p, &tree);
    XML_SetElementHandler(p, on_start, on_end);
    XML_SetCharacterDataHandler(p, on_text);
    XML_SetStartDoctypeDeclHandler(p, on_doctype);
    XML_SetEntityDeclHandler(p, on_entity);
    XML_SetExternalEntityRefHandler(p, on_external);
    XML_SetProcessingInstructionHandler(p, on_instruction);
    XML_SetXmlDeclHandler(p, on_declaration);
    XML_SetParamEntityParsing(p, XML_PARAM_ENTITY_PARSING_NEVER);
    if (text.size() > static_cast<std::size_t>(INT32_MAX)) {
      XmlReadResult r;
      r.error = "the document is too large";
      r.limit_exceeded = true;
      return r;
    }
    const bool parsed = XML_Parse(p, text.data(), static_cast<int>(text.size()), XML_TRUE) ==
                        XML_STATUS_OK;
    return tree.result(parsed);
  } catch (const std::bad_alloc &) {
    XmlReadResult r;
    r.error = "out of memory while reading the request";
    return r;
  }
}

}  // namespace wbem
