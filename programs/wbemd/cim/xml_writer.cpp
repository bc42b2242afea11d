// xml_writer.cpp - escaping, and tags around it.
#include "xml_writer.h"

#include <cstring>

#include "utf8_sequence.h"

namespace wbem {
namespace {

constexpr std::string_view kReplacement = "\xef\xbf\xbd";  // U+FFFD

// Which bytes stand for themselves in text and attributes alike: printable ASCII but the five
// markup characters.
struct PlainBytes {
  bool is[256] = {};
  constexpr PlainBytes() {
    for (int c = 0x20; c < 0x7f; ++c) is[c] = true;
    is[static_cast<unsigned char>('&')] = false;
    is[static_cast<unsigned char>('<')] = false;
    is[static_cast<unsigned char>('>')] = false;
    is[static_cast<unsigned char>('"')] = false;
    is[static_cast<unsigned char>('\'')] = false;
  }
};
constexpr PlainBytes kPlain;

bool plain(char c) { return kPlain.is[static_cast<unsigned char>(c)]; }

void escape(std::string_view text, std::string *out, bool attribute) {
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

bool all_plain(std::string_view text) {
  for (char c : text) {
    if (!plain(c)) return false;
  }
  return true;
}

// Copies text to p and returns the end of the copy.
char *put(char *p, std::string_view text) {
  std::memcpy(p, text.data(), text.size());
  return p + text.size();
}

void start_tag(std::string *out, std::string_view name,
               std::initializer_list<XmlAttribute> attributes) {
  // Attribute values that need no escape (nearly all) let the whole tag be sized once and
  // copied in, rather than appended piece by piece.
  std::size_t need = name.size() + 2;  // "<" name ">"
  bool plain_values = true;
  for (const auto &a : attributes) {
    need += a.first.size() + a.second.size() + 4;  // " " name "=\"" value "\""
    if (!all_plain(a.second)) {
      plain_values = false;
      break;
    }
  }
  if (plain_values) {
    // Made in a buffer on the stack and appended in one step when it fits (one call, where a
    // resize of the string would also fill what is then overwritten).
    char local[512];
    std::string made;
    char *start = local;
    if (need > sizeof local) {
      made.resize(need);
      start = &made[0];
    }
    char *p = start;
    *p++ = '<';
    p = put(p, name);
    for (const auto &a : attributes) {
      *p++ = ' ';
      p = put(p, a.first);
      *p++ = '=';
      *p++ = '"';
      p = put(p, a.second);
      *p++ = '"';
    }
    *p = '>';
    out->append(start, need);
    return;
  }
  out->push_back('<');
  out->append(name.data(), name.size());
  for (const auto &a : attributes) {
    out->push_back(' ');
    out->append(a.first.data(), a.first.size());
    out->append("=\"", 2);
    escape(a.second, out, true);
    out->push_back('"');
  }
  out->push_back('>');
}

}  // namespace

void escape_text(std::string_view text, std::string *out) { escape(text, out, false); }
void escape_attribute(std::string_view text, std::string *out) { escape(text, out, true); }

void XmlOut::open(std::string_view name, std::initializer_list<XmlAttribute> attributes) {
  start_tag(&out_, name, attributes);
}

void XmlOut::leaf(std::string_view name, std::string_view text,
                  std::initializer_list<XmlAttribute> attributes) {
  start_tag(&out_, name, attributes);
  escape(text, &out_, false);
  close(name);
}

void XmlOut::empty(std::string_view name, std::initializer_list<XmlAttribute> attributes) {
  start_tag(&out_, name, attributes);
  close(name);
}

}  // namespace wbem
