// xml_writer.cpp - escaping, and tags around it.
#include "xml_writer.h"

#include "utf8_sequence.h"

namespace wbem {
namespace {

constexpr std::string_view kReplacement = "\xef\xbf\xbd";  // U+FFFD

// Printable ASCII that stands for itself in text and attributes alike.
bool plain(char c) {
  return c >= 0x20 && c < 0x7f && c != '&' && c != '<' && c != '>' && c != '"' && c != '\'';
}

void escape(std::string_view text, std::string *out, bool attribute) {
  out->reserve(out->size() + text.size());
  std::size_t i = 0;
  while (i < text.size()) {
    // Runs of plain characters (most of every value) are appended at once.
    std::size_t run = i;
    while (run < text.size() && plain(text[run])) ++run;
    if (run > i) {
      out->append(text.data() + i, run - i);
      i = run;
      if (i == text.size()) break;
    }
    if (static_cast<unsigned char>(text[i]) >= 0x80) {
      unsigned code = 0;
      const std::size_t n = wire::utf8_sequence(text, i, &code);
      if (n == 0) {  // not UTF-8: one byte replaced
        out->append(kReplacement);
        ++i;
        continue;
      }
      if (code == 0xfffe || code == 0xffff) {
        out->append(kReplacement);
      } else {
        out->append(text.substr(i, n));
      }
      i += n;
      continue;
    }
    const char c = text[i++];
    switch (c) {
      case '&': out->append("&amp;"); break;
      case '<': out->append("&lt;"); break;
      case '>': out->append("&gt;"); break;
      case '"': out->append("&quot;"); break;
      case '\'': out->append("&apos;"); break;
      case '\r': out->append("&#13;"); break;
      case '\t':
        if (attribute) out->append("&#9;"); else out->push_back(c);
        break;
      case '\n':
        if (attribute) out->append("&#10;"); else out->push_back(c);
        break;
      default:
        if (static_cast<unsigned char>(c) < 0x20 || c == 0x7f) {
          // 0x7f is allowed by XML 1.0 but is a control nobody means to show; the others are not
          // allowed at all.
          if (c == 0x7f) {
            out->append("&#127;");
          } else {
            out->append(kReplacement);
          }
        } else {
          out->push_back(c);
        }
    }
  }
}

void start_tag(std::string *out, const char *name, std::initializer_list<XmlAttribute> attributes) {
  out->push_back('<');
  out->append(name);
  for (const auto &a : attributes) {
    out->push_back(' ');
    out->append(a.first);
    out->append("=\"");
    escape_attribute(a.second, out);
    out->push_back('"');
  }
  out->push_back('>');
}

}  // namespace

void escape_text(std::string_view text, std::string *out) { escape(text, out, false); }
void escape_attribute(std::string_view text, std::string *out) { escape(text, out, true); }

void XmlOut::open(const char *name, std::initializer_list<XmlAttribute> attributes) {
  start_tag(&out_, name, attributes);
}

void XmlOut::close(const char *name) {
  out_.append("</");
  out_.append(name);
  out_.push_back('>');
}

void XmlOut::leaf(const char *name, std::string_view text,
                  std::initializer_list<XmlAttribute> attributes) {
  start_tag(&out_, name, attributes);
  escape_text(text, &out_);
  close(name);
}

void XmlOut::empty(const char *name, std::initializer_list<XmlAttribute> attributes) {
  start_tag(&out_, name, attributes);
  close(name);
}

}  // namespace wbem
