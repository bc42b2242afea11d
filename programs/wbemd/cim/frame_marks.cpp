// frame_marks.cpp - one scan over a data frame, keeping the marks of its properties.
#include "frame_marks.h"

#include <cmpidt.h>

#include <cstring>
#include <memory>
#include <optional>

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
    std::string storage;
    for (;;) {
      std::string_view key;
      if (!string(&key, &storage) || !colon()) return false;
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
    // The name stays valid across the value's scan: an escaped one is decoded into storage,
    // which only this level uses.
    std::string storage;
    Json::Value marks;  // null again after each kept property
    for (;;) {
      std::string_view name;
      if (!string(&name, &storage) || !colon()) return false;
      if (peek() == '{') {
        if (!value_object(&marks)) return false;
        if (!marks.isNull()) {
          (*out)[std::string(name)] = std::move(marks);
          marks = Json::Value();
        }
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
    std::optional<Json::Value> inner;  // the embedded instance's marks, when it has any
    std::string storage;
    std::string_view key;
    if (next_is('}')) {
      ++at_;
    } else {
      for (;;) {
        if (!string(&key, &storage) || !colon()) return false;
        if (key == "DataType" || key == "DataState") {
          Number &n = key == "DataType" ? type : state;
          n = Number();
          n.present = true;
          if (!number(&n.value, &n.is_unsigned)) return false;
        } else if (key == "CMPIInstance" && peek() == '{') {
          inner.emplace(Json::objectValue);
          if (!instance(&*inner)) return false;
          has_instance = true;
        } else if (key == "Value" || key == "CMPIInstance") {
          if (!skip_value()) return false;
          if (key == "Value") {
            has_value = true;
          } else {
            has_instance = true;
            inner.reset();
          }
        } else if (!skip_value()) {
          return false;
        }
        if (!comma_or('}')) return false;
        if (text_[at_ - 1] == '}') break;
      }
    }
    const bool is_null = state.is_unsigned && state.value == CMPI_nullValue;
    const bool inner_tells = inner && inner->isMember("InstanceProps") &&
                             !(*inner)["InstanceProps"].empty();
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
      (*out)["CMPIInstance"] = inner ? std::move(*inner) : Json::Value(true);
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

  // A string: *out views it in the frame when it has no escapes (the usual case), else it is
  // decoded into *storage and *out views that; a \u escape is left to the full parse.
  bool string(std::string_view *out, std::string *storage) {
    if (!open('"')) return false;
    const std::size_t start = at_;
    const std::size_t end = string_end(start);
    if (end == std::string_view::npos) return false;
    at_ = end + 1;
    const std::string_view raw = text_.substr(start, end - start);
    if (raw.find('\\') == std::string_view::npos) {
      *out = raw;
      return true;
    }
    storage->clear();
    for (std::size_t i = 0; i < raw.size(); ++i) {
      if (raw[i] != '\\') {
        storage->push_back(raw[i]);
        continue;
      }
      const char e = raw[++i];  // a backslash never ends raw: string_end skipped past it
      switch (e) {
        case '"': case '\\': case '/': storage->push_back(e); break;
        case 'b': storage->push_back('\b'); break;
        case 'f': storage->push_back('\f'); break;
        case 'n': storage->push_back('\n'); break;
        case 'r': storage->push_back('\r'); break;
        case 't': storage->push_back('\t'); break;
        default: return false;
      }
    }
    *out = *storage;
    return true;
  }

  // The position of the quote that ends the string whose text starts at from (npos when the
  // frame ends first): the next quote not escaped by a backslash.
  std::size_t string_end(std::size_t from) const {
    for (;;) {
      const std::size_t quote = text_.find('"', from);
      if (quote == std::string_view::npos) return quote;
      std::size_t backslashes = 0;
      while (quote - backslashes > from && text_[quote - backslashes - 1] == '\\') ++backslashes;
      if (backslashes % 2 == 0) return quote;
      from = quote + 1;
    }
  }

  bool skip_string() {
    if (!open('"')) return false;
    const std::size_t end = string_end(at_);
    if (end == std::string_view::npos) return false;
    at_ = end + 1;
    return true;
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
    while (at_ < text_.size() && !ends_token(text_[at_])) ++at_;
    return at_ > start;
  }

  static bool ends_token(char c) {
    switch (c) {
      case ',': case '}': case ']': case ' ': case '\t': case '\r': case '\n':
        return true;
      default:
        return false;
    }
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
