// path_syntax.cpp - the object-path parser and formatter of the command line.
#include "path_syntax.h"

#include <cctype>
#include <strings.h>

namespace cli {
namespace {

bool is_name_char(char c) {
  return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_';
}

bool is_namespace_char(char c) { return is_name_char(c) || c == '-'; }

bool is_digits(const std::string &text, std::size_t from, std::size_t to) {
  if (from >= to) return false;
  for (std::size_t i = from; i < to; ++i) {
    if (std::isdigit(static_cast<unsigned char>(text[i])) == 0) return false;
  }
  return true;
}

// -12, +7, 1.5, -0.25e-3, 2E10
bool is_number(const std::string &text, bool *integer) {
  std::size_t i = 0;
  if (i < text.size() && (text[i] == '-' || text[i] == '+')) ++i;
  std::size_t digits_end = i;
  while (digits_end < text.size() && std::isdigit(static_cast<unsigned char>(text[digits_end]))) {
    ++digits_end;
  }
  if (digits_end == i) return false;
  if (digits_end == text.size()) {
    *integer = true;
    return true;
  }
  std::size_t j = digits_end;
  if (text[j] == '.') {
    std::size_t frac_end = j + 1;
    while (frac_end < text.size() && std::isdigit(static_cast<unsigned char>(text[frac_end]))) {
      ++frac_end;
    }
    if (frac_end == j + 1) return false;
    j = frac_end;
  }
  if (j < text.size() && (text[j] == 'e' || text[j] == 'E')) {
    std::size_t k = j + 1;
    if (k < text.size() && (text[k] == '-' || text[k] == '+')) ++k;
    if (!is_digits(text, k, text.size())) return false;
    j = text.size();
  }
  if (j != text.size()) return false;
  *integer = false;
  return true;
}

std::string at_column(std::size_t index) { return " at column " + std::to_string(index + 1); }

std::string shown(char c) { return std::string("'") + c + "'"; }

class PathParser {
 public:
  explicit PathParser(const std::string &text) : text_(text) {}

  ParsedPath parse() {
    ParsedPath path;
    if (text_.empty()) throw SyntaxError("empty object path");
    std::size_t colon = text_.find_first_of(":.=\"");
    if (colon != std::string::npos && text_[colon] == ':') {
      path.name_space = text_.substr(0, colon);
      check_namespace(path.name_space);
      pos_ = colon + 1;
    }
    std::size_t class_at = pos_;
    path.class_name = read_name();
    if (path.class_name.empty()) throw SyntaxError("missing class name" + at_column(class_at));
    if (!is_identifier(path.class_name)) {
      throw SyntaxError("bad class name '" + path.class_name + "'" + at_column(class_at));
    }
    if (pos_ == text_.size()) return path;
    if (text_[pos_] != '.') {
      throw SyntaxError("unexpected " + shown(text_[pos_]) + at_column(pos_) +
                        " (a '.' comes before the keys)");
    }
    ++pos_;
    for (;;) {
      KeyBinding key = read_binding();
      for (const KeyBinding &other : path.keys) {
        if (strcasecmp(other.name.c_str(), key.name.c_str()) == 0) {
          throw SyntaxError("key '" + key.name + "' is given twice");
        }
      }
      path.keys.push_back(std::move(key));
      if (pos_ == text_.size()) break;
      if (text_[pos_] != ',') {
        throw SyntaxError("unexpected " + shown(text_[pos_]) + at_column(pos_) +
                          " after the value of key '" + path.keys.back().name + "'");
      }
      ++pos_;
    }
    return path;
  }

 private:
  void check_namespace(const std::string &ns) const {
    if (ns.empty()) throw SyntaxError("missing namespace before ':'" + at_column(0));
    std::size_t start = 0;
    for (;;) {
      std::size_t slash = ns.find('/', start);
      std::size_t end = slash == std::string::npos ? ns.size() : slash;
      bool ok = end > start;
      for (std::size_t i = start; ok && i < end; ++i) ok = is_namespace_char(ns[i]);
      if (!ok) {
        throw SyntaxError("bad namespace '" + ns +
                          "' (segments of letters, digits, '_' and '-' joined by '/')");
      }
      if (slash == std::string::npos) break;
      start = slash + 1;
    }
  }

  std::string read_name() {
    std::size_t start = pos_;
    while (pos_ < text_.size() && is_name_char(text_[pos_])) ++pos_;
    return text_.substr(start, pos_ - start);
  }

  KeyBinding read_binding() {
    KeyBinding key;
    std::size_t name_at = pos_;
    key.name = read_name();
    if (key.name.empty()) throw SyntaxError("missing key name" + at_column(name_at));
    if (!is_identifier(key.name)) {
      throw SyntaxError("bad key name '" + key.name + "'" + at_column(name_at));
    }
    if (pos_ == text_.size()) throw SyntaxError("missing '=' after key name '" + key.name + "'");
    if (text_[pos_] != '=') {
      throw SyntaxError("unexpected " + shown(text_[pos_]) + at_column(pos_) +
                        " (an '=' follows the key name '" + key.name + "')");
    }
    ++pos_;
    if (pos_ == text_.size() || text_[pos_] == ',') {
      throw SyntaxError("missing value for key '" + key.name + "'" + at_column(pos_));
    }
    if (text_[pos_] == '"') {
      read_quoted(&key);
    } else {
      read_bare(&key);
    }
    return key;
  }

  void read_quoted(KeyBinding *key) {
    std::size_t open = pos_++;
    std::string value;
    for (;;) {
      if (pos_ >= text_.size()) throw SyntaxError("unterminated quoted value" + at_column(open));
      char c = text_[pos_];
      if (c == '"') {
        ++pos_;
        break;
      }
      if (c == '\\') {
        if (pos_ + 1 >= text_.size()) {
          throw SyntaxError("unterminated quoted value" + at_column(open));
        }
        char next = text_[pos_ + 1];
        if (next != '"' && next != '\\') {
          throw SyntaxError(std::string("unknown escape '\\") + next + "'" + at_column(pos_) +
                            " (only \\\" and \\\\)");
        }
        value += next;
        pos_ += 2;
        continue;
      }
      value += c;
      ++pos_;
    }
    // A quoted complete path with keys is a reference; anything else is a string.
    try {
      ParsedPath nested = PathParser(value).parse();
      if (!nested.keys.empty()) {
        key->kind = KeyBinding::Kind::kReference;
        key->reference = std::make_shared<const ParsedPath>(std::move(nested));
        return;
      }
    } catch (const SyntaxError &) {
    }
    key->kind = KeyBinding::Kind::kString;
    key->text = std::move(value);
  }

  void read_bare(KeyBinding *key) {
    std::size_t start = pos_;
    while (pos_ < text_.size() && text_[pos_] != ',') ++pos_;
    std::string value = text_.substr(start, pos_ - start);
    bool integer = false;
    if (is_number(value, &integer)) {
      key->kind = integer ? KeyBinding::Kind::kInteger : KeyBinding::Kind::kReal;
      key->text = value;
    } else if (strcasecmp(value.c_str(), "true") == 0 || strcasecmp(value.c_str(), "false") == 0) {
      key->kind = KeyBinding::Kind::kBoolean;
      key->text = strcasecmp(value.c_str(), "true") == 0 ? "true" : "false";
    } else {
      throw SyntaxError("value '" + value + "' of key '" + key->name + "'" + at_column(start) +
                        " must be quoted (only numbers and true/false stand without quotes)");
    }
  }

  const std::string &text_;
  std::size_t pos_ = 0;
};

}  // namespace

ParsedPath parse_path(const std::string &text) { return PathParser(text).parse(); }

bool is_identifier(const std::string &text) {
  if (text.empty()) return false;
  if (std::isalpha(static_cast<unsigned char>(text[0])) == 0 && text[0] != '_') return false;
  for (char c : text) {
    if (!is_name_char(c)) return false;
  }
  return true;
}

std::string quote(const std::string &text) {
  std::string out = "\"";
  for (char c : text) {
    if (c == '"' || c == '\\') out += '\\';
    out += c;
  }
  out += '"';
  return out;
}

std::string format_path(const ParsedPath &path) {
  std::string out;
  if (!path.name_space.empty()) out = path.name_space + ":";
  out += path.class_name;
  for (std::size_t i = 0; i < path.keys.size(); ++i) {
    const KeyBinding &key = path.keys[i];
    out += i == 0 ? "." : ",";
    out += key.name + "=";
    switch (key.kind) {
      case KeyBinding::Kind::kString:
        out += quote(key.text);
        break;
      case KeyBinding::Kind::kReference:
        out += quote(key.reference ? format_path(*key.reference) : std::string());
        break;
      default:
        out += key.text;
        break;
    }
  }
  return out;
}

}  // namespace cli
