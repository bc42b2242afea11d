// corpus_file.cpp - reading and writing the case files of docs/protocol/.
#include "corpus_file.h"

#include <cstddef>
#include <sstream>

namespace corpus {

namespace {

bool starts_with(const std::string &text, const std::string &head) {
  return text.compare(0, head.size(), head) == 0;
}

bool from_hex(const std::string &hex, std::string *out) {
  if (hex.size() % 2 != 0) return false;
  out->clear();
  for (std::size_t i = 0; i < hex.size(); i += 2) {
    int value = 0;
    for (std::size_t j = i; j < i + 2; ++j) {
      const char c = hex[j];
      int digit = 0;
      if (c >= '0' && c <= '9') {
        digit = c - '0';
      } else if (c >= 'a' && c <= 'f') {
        digit = c - 'a' + 10;
      } else {
        return false;
      }
      value = value * 16 + digit;
    }
    out->push_back(static_cast<char>(value));
  }
  return true;
}

std::string to_hex(const std::string &bytes) {
  static const char kDigits[] = "0123456789abcdef";
  std::string hex;
  for (const char c : bytes) {
    const unsigned char u = static_cast<unsigned char>(c);
    hex.push_back(kDigits[u >> 4]);
    hex.push_back(kDigits[u & 15]);
  }
  return hex;
}

// Whether bytes can stand verbatim on one line: UTF-8 text without control characters other
// than tab, not ending in a space or tab (an editor could drop those).
bool printable(const std::string &bytes) {
  if (bytes.empty()) return true;
  const char last = bytes.back();
  if (last == ' ' || last == '\t') return false;
  std::size_t i = 0;
  while (i < bytes.size()) {
    const unsigned char c = static_cast<unsigned char>(bytes[i]);
    if (c < 0x80) {
      if ((c < 0x20 && c != '\t') || c == 0x7f) return false;
      ++i;
      continue;
    }
    std::size_t length = 0;
    unsigned long cp = 0;
    if ((c & 0xe0) == 0xc0) {
      length = 2;
      cp = c & 0x1f;
    } else if ((c & 0xf0) == 0xe0) {
      length = 3;
      cp = c & 0x0f;
    } else if ((c & 0xf8) == 0xf0) {
      length = 4;
      cp = c & 0x07;
    } else {
      return false;
    }
    if (i + length > bytes.size()) return false;
    for (std::size_t k = 1; k < length; ++k) {
      const unsigned char cc = static_cast<unsigned char>(bytes[i + k]);
      if ((cc & 0xc0) != 0x80) return false;
      cp = (cp << 6) | (cc & 0x3f);
    }
    const unsigned long least[] = {0, 0, 0x80, 0x800, 0x10000};
    if (cp < least[length] || cp > 0x10ffff || (cp >= 0xd800 && cp <= 0xdfff)) return false;
    i += length;
  }
  return true;
}

}  // namespace

std::string line_for(const std::string &prefix, const std::string &bytes) {
  if (printable(bytes)) return prefix + " " + bytes;
  return prefix + "hex " + to_hex(bytes);
}

std::string replace_all(std::string text, const std::string &from, const std::string &to) {
  if (from.empty()) return text;
  for (std::size_t at = text.find(from); at != std::string::npos;
       at = text.find(from, at + to.size())) {
    text.replace(at, from.size(), to);
  }
  return text;
}

bool parse(const std::string &text, CaseFile *out, std::string *error) {
  *out = CaseFile();
  std::istringstream in(text);
  std::string line;
  int number = 0;
  while (std::getline(in, line)) {
    ++number;
    const std::string where = "line " + std::to_string(number) + ": ";
    if (line.empty()) continue;
    if (line == "#" || starts_with(line, "# ")) {
      out->comments.push_back(line.size() > 2 ? line.substr(2) : std::string());
      continue;
    }
    const bool request = starts_with(line, ">>>");
    const bool response = starts_with(line, "<<<");
    if (!request && !response) {
      *error = where + "neither a comment, a request nor an answer";
      return false;
    }
    std::string bytes;
    if (starts_with(line.substr(3), "hex ")) {
      if (!from_hex(line.substr(7), &bytes)) {
        *error = where + "not lower-case hexadecimal";
        return false;
      }
    } else if (line.size() >= 4 && line[3] == ' ') {
      bytes = line.substr(4);
    } else {
      *error = where + "the prefix must be followed by a space or by \"hex \"";
      return false;
    }
    if (request) {
      // A request without its answer yet is allowed: the test reports it, recording fills it.
      out->exchanges.push_back(Exchange{bytes, std::string(), false});
      continue;
    }
    if (out->exchanges.empty() || out->exchanges.back().has_response) {
      *error = where + "an answer without its request";
      return false;
    }
    out->exchanges.back().response = bytes;
    out->exchanges.back().has_response = true;
  }
  return true;
}

std::string format(const CaseFile &file) {
  std::string text;
  for (const std::string &comment : file.comments) {
    text += comment.empty() ? "#\n" : "# " + comment + "\n";
  }
  for (const Exchange &exchange : file.exchanges) {
    text += "\n" + line_for(">>>", exchange.request) + "\n";
    if (exchange.has_response) text += line_for("<<<", exchange.response) + "\n";
  }
  return text;
}

}  // namespace corpus
