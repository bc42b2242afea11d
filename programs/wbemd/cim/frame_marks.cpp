// frame_marks.cpp - one scan over a data frame, keeping the marks of its properties.
#include "frame_marks.h"

#include <cmpidt.h>

#include <cstring>
#include <memory>

#include "wire.h"

namespace wbem {
namespace {

// A cursor over the frame's text; every step checks the end. A failed step makes the whole
// scan fall back to the full parse.
class Scanner {
 public:
  explicit Scanner(std::string_view text) : text_(text) {}

  bool instance(Json::Value *out) {
    // {"...": ..., "InstanceProps": {...}, ...}
    if (!open('{')) return false;
    if (next_is('}')) return ++at_, true;
    for (;;) {
      std::string key;
      if (!string(&key) || !colon()) return false;
      if (key == "InstanceProps" && peek() == '{') {
        Json::Value props(Json::objectValue);
        if (!properties(&props)) return false;
        (*out)["InstanceProps"] = std::move(props);
      } else if (!skip_value()) {
        return false;
      }
      if (!comma_or('}')) return false;
      if (text_[at_ - 1] == '}') return true;
    }
  }

 private:
  // Only the properties whose marks tell something are kept (frame_marks.h).
  bool properties(Json::Value *out) {
    if (!open('{')) return false;
    if (next_is('}')) return ++at_, true;
    std::string name;
    for (;;) {
      name.clear();
      if (!string(&name) || !colon()) return false;
      if (peek() == '{') {
        Json::Value marks;
        if (!value_object(&marks)) return false;
        if (!marks.isNull()) (*out)[name] = std::move(marks);
      } else if (!skip_value()) {
        return false;
      }
      if (!comma_or('}')) return false;
      if (text_[at_ - 1] == '}') return true;
    }
  }

  // One value object's marks into *out, left null when they tell nothing: a value that is there
  // and not null, and not an embedded instance with telling marks of its own.
  bool value_object(Json::Value *out) {
    if (!open('{')) return false;
    struct Number {
      bool present = false;
      bool is_unsigned = false;
      unsigned value = 0;
    } type, state;
    bool has_value = false;
    bool has_instance = false;
    Json::Value inner;  // the embedded instance's marks
    std::string key;
    if (next_is('}')) {
      ++at_;
    } else {
      for (;;) {
        key.clear();
        if (!string(&key) || !colon()) return false;
        if (key == "DataType" || key == "DataState") {
          Number &n = key == "DataType" ? type : state;
          n = Number();
          n.present = true;
          if (!number(&n.value, &n.is_unsigned)) return false;
        } else if (key == "CMPIInstance" && peek() == '{') {
          inner = Json::Value(Json::objectValue);
          if (!instance(&inner)) return false;
          has_instance = true;
        } else if (key == "Value" || key == "CMPIInstance") {
          if (!skip_value()) return false;
          if (key == "Value") {
            has_value = true;
          } else {
            has_instance = true;
            inner = Json::Value();
          }
        } else if (!skip_value()) {
          return false;
        }
        if (!comma_or('}')) return false;
        if (text_[at_ - 1] == '}') break;
      }
    }
    const bool is_null = state.is_unsigned && state.value == CMPI_nullValue;
    const bool inner_tells =
        inner.isObject() && inner.isMember("InstanceProps") && !inner["InstanceProps"].empty();
    if (!is_null && (has_value || has_instance) && !inner_tells) return true;
    *out = Json::Value(Json::objectValue);
    if (type.present) {
      (*out)["DataType"] = type.is_unsigned ? Json::Value(type.value) : Json::Value("?");
    }
    if (state.present) {
      (*out)["DataState"] = state.is_unsigned ? Json::Value(state.value) : Json::Value("?");
    }
    if (has_value) (*out)["Value"] = true;
    if (has_instance) {
      (*out)["CMPIInstance"] = inner.isObject() ? std::move(inner) : Json::Value(true);
    }
    return true;
  }

  void spaces() {
    while (at_ < text_.size() &&
           (text_[at_] == ' ' || text_[at_] == '\t' || text_[at_] == '\n' || text_[at_] == '\r')) {
      ++at_;
    }
  }
  char peek() {
    spaces();
    return at_ < text_.size() ? text_[at_] : '\0';
  }
  bool next_is(char c) { return peek() == c; }
  bool open(char c) {
    if (peek() != c) return false;
    ++at_;
    return true;
  }
  bool colon() { return open(':'); }
  // A ',' (more members follow) or the closing character (consumed either way).
  bool comma_or(char close) {
    const char c = peek();
    if (c != ',' && c != close) return false;
    ++at_;
    return true;
  }

  // A string with its escapes decoded; a \u escape is left to the full parse.
  bool string(std::string *out) {
    if (!open('"')) return false;
    for (;;) {
      if (at_ >= text_.size()) return false;
      const char c = text_[at_++];
      if (c == '"') return true;
      if (c != '\\') {
        *out += c;
        continue;
      }
      if (at_ >= text_.size()) return false;
      const char e = text_[at_++];
      switch (e) {
        case '"': case '\\': case '/': *out += e; break;
        case 'b': *out += '\b'; break;
        case 'f': *out += '\f'; break;
        case 'n': *out += '\n'; break;
        case 'r': *out += '\r'; break;
        case 't': *out += '\t'; break;
        default: return false;
      }
    }
  }

  bool skip_string() {
    if (!open('"')) return false;
    while (at_ < text_.size()) {
      const char c = text_[at_++];
      if (c == '"') return true;
      if (c == '\\') ++at_;
    }
    return false;
  }

  // Any value: strings, objects and arrays to their matching end, other tokens to the next
  // delimiter.
  bool skip_value() {
    const char c = peek();
    if (c == '"') return skip_string();
    if (c == '{' || c == '[') {
      int depth = 0;
      while (at_ < text_.size()) {
        const char d = text_[at_];
        if (d == '"') {
          if (!skip_string()) return false;
          continue;
        }
        ++at_;
        if (d == '{' || d == '[') ++depth;
        if (d == '}' || d == ']') {
          if (--depth == 0) return true;
        }
      }
      return false;
    }
    const std::size_t start = at_;
    while (at_ < text_.size() && std::strchr(",}] \t\r\n", text_[at_]) == nullptr) ++at_;
    return at_ > start;
  }

  // A number token; *is_unsigned when it is digits only and fits.
  bool number(unsigned *value, bool *is_unsigned) {
    const char c = peek();
    if (c == '"' || c == '{' || c == '[') return skip_value();
    const std::size_t start = at_;
    if (!skip_value()) return false;
    const std::string_view token = text_.substr(start, at_ - start);
    unsigned long long n = 0;
    for (char d : token) {
      if (d < '0' || d > '9') return true;
      n = n * 10 + static_cast<unsigned>(d - '0');
      if (n > 0xffffffffULL) return true;
    }
    *value = static_cast<unsigned>(n);
    *is_unsigned = true;
    return true;
  }

  std::string_view text_;
  std::size_t at_ = 0;
};

Json::Value parse_whole(std::string_view text) {
  Json::CharReaderBuilder builder;
  builder["collectComments"] = false;
  const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
  Json::Value document;
  std::string error;
  if (!reader->parse(text.data(), text.data() + text.size(), &document, &error)) {
    return Json::Value();
  }
  return document;
}

bool starts_with(std::string_view text, std::string_view head) {
  return text.substr(0, head.size()) == head;
}

}  // namespace

Json::Value frame_marks(std::string_view frame) {
  Json::Value marks(Json::objectValue);
  Scanner scanner(frame);
  if (scanner.instance(&marks)) return marks;
  return parse_whole(frame);
}

void FrameMarks::add(const char *piece, std::deque<Json::Value> *frames) {
  text_ += piece;
  std::size_t start = 0;
  std::size_t at = 0;
  while ((at = text_.find(wire::kTerminator, start)) != std::string::npos) {
    const std::string_view frame(text_.data() + start, at - start);
    start = at + wire::kTerminator.size();
    if (starts_with(frame, "CMPIOPERATION_COMPLETE") || starts_with(frame, "CMPIERROR")) continue;
    frames->push_back(frame_marks(frame));
  }
  text_.erase(0, start);
}

}  // namespace wbem
