// xml_writer.cpp - escaping, and tags around it.
#include "xml_writer.h"

namespace wbem {
namespace {

constexpr std::string_view kReplacement = "\xef\xbf\xbd";  // U+FFFD

// The length of the well-formed UTF-8 sequence at text[i] (1 for ASCII), 0 when there is none;
// its code point in *code.
std::size_t sequence(std::string_view text, std::size_t i, unsigned *code) {
  const auto at = [&](std::size_t k) { return static_cast<unsigned char>(text[i + k]); };
  const unsigned char lead = at(0);
  if (lead < 0x80) {
    *code = lead;
    return 1;
  }
  std::size_t length = 0;
  unsigned char low = 0x80, high = 0xbf;
  if (lead >= 0xc2 && lead <= 0xdf) {
    length = 2;
  } else if (lead >= 0xe0 && lead <= 0xef) {
    length = 3;
    if (lead == 0xe0) low = 0xa0;
    if (lead == 0xed) high = 0x9f;  // no surrogates
  } else if (lead >= 0xf0 && lead <= 0xf4) {
    length = 4;
    if (lead == 0xf0) low = 0x90;
    if (lead == 0xf4) high = 0x8f;
  } else {
    return 0;
  }
  if (i + length > text.size()) return 0;
  if (at(1) < low || at(1) > high) return 0;
  unsigned c = lead & (0xff >> (length + 1));
  c = (c << 6) | (at(1) & 0x3f);
  for (std::size_t k = 2; k < length; ++k) {
    if ((at(k) & 0xc0) != 0x80) return 0;
    c = (c << 6) | (at(k) & 0x3f);
  }
  *code = c;
  return length;
}

void escape(std::string_view text, std::string *out, bool attribute) {
  out->reserve(out->size() + text.size());
  std::size_t i = 0;
  while (i < text.size()) {
    unsigned code = 0;
    const std::size_t n = sequence(text, i, &code);
    if (n == 0) {  // not UTF-8: one byte replaced
      out->append(kReplacement);
      ++i;
      continue;
    }
    if (n > 1) {
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
