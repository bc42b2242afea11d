// The frame scanner and the view's jsoncpp-compatible accessors.
#include "json/frame_view.h"

#include <locale.h>
#include <stdlib.h>

#include <cmath>
#include <cstring>
#include <locale>

namespace cmpiutility {

namespace {

constexpr int kMaxDepth = 200;

// jsoncpp orders member names bytewise over the shorter length, then by length.
int compare_names(const char *a, size_t a_size, const char *b, size_t b_size) {
  const int compared = std::memcmp(a, b, a_size < b_size ? a_size : b_size);
  if (compared != 0) return compared;
  if (a_size == b_size) return 0;
  return a_size < b_size ? -1 : 1;
}

bool is_space(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }

int hex_digit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

// Reals are read as jsoncpp reads them: its stream extraction ends in strtod of the C locale,
// after the stream took the decimal point from the program's global C++ locale.
locale_t c_locale() {
  static const locale_t locale = newlocale(LC_ALL_MASK, "C", static_cast<locale_t>(nullptr));
  return locale;
}

bool stream_decimal_point_is_dot() {
  return std::use_facet<std::numpunct<char>>(std::locale()).decimal_point() == '.';
}

}  // namespace

// Reads one frame into a view; every method returns false at the first thing it does not take.
class FrameScanner {
 public:
  FrameScanner(FrameView *view, const char *text, size_t length)
      : view_(view), at_(text), end_(text + length) {}

  bool scan() {
    skip_spaces();
    if (at_ == end_ || *at_ != '{') return false;
    uint32_t root = 0;
    if (!value(0, &root)) return false;
    skip_spaces();
    return at_ == end_;
  }

 private:
  using Node = FrameView::Node;

  void skip_spaces() {
    while (at_ != end_ && is_space(*at_)) ++at_;
  }

  uint32_t new_node(FrameView::Kind kind) {
    Node node;
    std::memset(&node, 0, sizeof(node));
    node.kind = kind;
    view_->nodes_.push_back(node);
    return static_cast<uint32_t>(view_->nodes_.size() - 1);
  }

  bool value(int depth, uint32_t *index) {
    if (at_ == end_) return false;
    switch (*at_) {
      case '{':
        return object(depth + 1, index);
      case '[':
        return array(depth + 1, index);
      case '"': {
        uint32_t offset = 0;
        uint32_t size = 0;
        if (!string(&offset, &size)) return false;
        *index = new_node(FrameView::kString);
        view_->nodes_[*index].span = {offset, size};
        return true;
      }
      case 't':
        return literal("true", FrameView::kBool, true, index);
      case 'f':
        return literal("false", FrameView::kBool, false, index);
      case 'n':
        return literal("null", FrameView::kNull, false, index);
      default:
        return number(index);
    }
  }

  bool literal(const char *word, FrameView::Kind kind, bool flag, uint32_t *index) {
    const size_t size = std::strlen(word);
    if (static_cast<size_t>(end_ - at_) < size || std::memcmp(at_, word, size) != 0) return false;
    at_ += size;
    if (!ends_token()) return false;
    *index = new_node(kind);
    view_->nodes_[*index].flag = flag;
    return true;
  }

  // What may follow a scalar: the end, a space, a separator or a closing bracket.
  bool ends_token() const {
    if (at_ == end_) return true;
    const char c = *at_;
    return is_space(c) || c == ',' || c == ':' || c == ']' || c == '}';
  }

  // A JSON number. Integers become jsoncpp's signed kind up to INT64_MAX and its unsigned kind
  // above; other numbers are reals read with strtod. Integers beyond 64 bits (which jsoncpp
  // reads as reals) and reals that underflow are not taken.
  bool number(uint32_t *index) {
    const char *start = at_;
    const bool negative = (*at_ == '-');
    if (negative) ++at_;
    if (at_ == end_ || *at_ < '0' || *at_ > '9') return false;
    bool nonzero_digit = false;
    bool integer = true;
    uint64_t magnitude = 0;
    bool overflow = false;
    if (*at_ == '0') {
      ++at_;
    } else {
      while (at_ != end_ && *at_ >= '0' && *at_ <= '9') {
        nonzero_digit = true;
        const uint64_t digit = static_cast<uint64_t>(*at_ - '0');
        if (__builtin_mul_overflow(magnitude, 10u, &magnitude) ||
            __builtin_add_overflow(magnitude, digit, &magnitude)) {
          overflow = true;
        }
        ++at_;
      }
    }
    if (at_ != end_ && *at_ == '.') {
      integer = false;
      ++at_;
      if (at_ == end_ || *at_ < '0' || *at_ > '9') return false;
      while (at_ != end_ && *at_ >= '0' && *at_ <= '9') {
        if (*at_ != '0') nonzero_digit = true;
        ++at_;
      }
    }
    if (at_ != end_ && (*at_ == 'e' || *at_ == 'E')) {
      integer = false;
      ++at_;
      if (at_ != end_ && (*at_ == '+' || *at_ == '-')) ++at_;
      if (at_ == end_ || *at_ < '0' || *at_ > '9') return false;
      while (at_ != end_ && *at_ >= '0' && *at_ <= '9') ++at_;
    }
    if (!ends_token()) return false;

    if (integer) {
      if (overflow) return false;
      if (negative) {
        constexpr uint64_t kMinMagnitude = uint64_t{1} << 63;
        if (magnitude > kMinMagnitude) return false;
        *index = new_node(FrameView::kInt);
        view_->nodes_[*index].i =
            (magnitude == kMinMagnitude) ? INT64_MIN : -static_cast<int64_t>(magnitude);
        return true;
      }
      if (magnitude <= static_cast<uint64_t>(INT64_MAX)) {
        *index = new_node(FrameView::kInt);
        view_->nodes_[*index].i = static_cast<int64_t>(magnitude);
      } else {
        *index = new_node(FrameView::kUInt);
        view_->nodes_[*index].u = magnitude;
      }
      return true;
    }
    // A program whose global C++ locale writes another decimal point has jsoncpp read reals
    // its own way; such reals are left to it.
    if (c_locale() == static_cast<locale_t>(nullptr)) return false;
    if (reals_known_ == 0) reals_known_ = stream_decimal_point_is_dot() ? 1 : -1;
    if (reals_known_ < 0) return false;
    char *stop = nullptr;
    const double real = strtod_l(start, &stop, c_locale());
    if (stop != at_) return false;
    // A real too large for a double (the host writes infinities as 1e+9999) makes jsoncpp
    // refuse the whole frame; one too small for a normal double it reads in a way of its own.
    // Both are left to jsoncpp.
    if (!std::isfinite(real)) return false;
    if (real == 0.0 ? nonzero_digit : !std::isnormal(real)) return false;
    *index = new_node(FrameView::kReal);
    view_->nodes_[*index].d = real;
    return true;
  }

  // Writes decoded text into the view's text buffer, which read() sized for the whole frame.
  struct TextOut {
    char *base;
    size_t used;
    void push_back(char c) { base[used++] = c; }
    size_t size() const { return used; }
  };

  // A string, decoded into the view's text; its offset and size there.
  bool string(uint32_t *offset, uint32_t *size) {
    ++at_;  // the opening quote
    TextOut out{view_->text_.data(), view_->text_used_};
    *offset = static_cast<uint32_t>(out.size());
    while (true) {
      // A run of plain bytes is copied at once.
      const char *run = at_;
      while (at_ != end_ && *at_ != '"' && *at_ != '\\') ++at_;
      std::memcpy(out.base + out.used, run, static_cast<size_t>(at_ - run));
      out.used += static_cast<size_t>(at_ - run);
      if (at_ == end_) return false;
      if (*at_++ == '"') break;
      if (at_ == end_) return false;
      const char escape = *at_++;
      switch (escape) {
        case '"':
        case '\\':
        case '/':
          out.push_back(escape);
          break;
        case 'b':
          out.push_back('\b');
          break;
        case 'f':
          out.push_back('\f');
          break;
        case 'n':
          out.push_back('\n');
          break;
        case 'r':
          out.push_back('\r');
          break;
        case 't':
          out.push_back('\t');
          break;
        case 'u': {
          unsigned int code = 0;
          if (!hex4(&code)) return false;
          // NUL would end the text early for jsoncpp's users. A surrogate is taken only as the
          // first half of a pair whose second half follows as "\u" escape; jsoncpp's reading
          // of other surrogates is its own.
          if (code == 0 || (code >= 0xDC00 && code <= 0xDFFF)) return false;
          if (code >= 0xD800 && code <= 0xDBFF) {
            if (end_ - at_ < 2 || at_[0] != '\\' || at_[1] != 'u') return false;
            at_ += 2;
            unsigned int low = 0;
            if (!hex4(&low) || low < 0xDC00 || low > 0xDFFF) return false;
            code = 0x10000 + ((code & 0x3FF) << 10) + (low & 0x3FF);
          }
          if (code >= 0x10000) {
            out.push_back(static_cast<char>(0xF0 | (code >> 18)));
            out.push_back(static_cast<char>(0x80 | ((code >> 12) & 0x3F)));
            out.push_back(static_cast<char>(0x80 | ((code >> 6) & 0x3F)));
            out.push_back(static_cast<char>(0x80 | (code & 0x3F)));
          } else if (code < 0x80) {
            out.push_back(static_cast<char>(code));
          } else if (code < 0x800) {
            out.push_back(static_cast<char>(0xC0 | (code >> 6)));
            out.push_back(static_cast<char>(0x80 | (code & 0x3F)));
          } else {
            out.push_back(static_cast<char>(0xE0 | (code >> 12)));
            out.push_back(static_cast<char>(0x80 | ((code >> 6) & 0x3F)));
            out.push_back(static_cast<char>(0x80 | (code & 0x3F)));
          }
          break;
        }
        default:
          return false;
      }
    }
    *size = static_cast<uint32_t>(out.size() - *offset);
    out.push_back('\0');
    view_->text_used_ = out.used;
    return true;
  }

  // Four hex digits of a "\u" escape.
  bool hex4(unsigned int *code) {
    if (end_ - at_ < 4) return false;
    *code = 0;
    for (int i = 0; i < 4; ++i) {
      const int digit = hex_digit(at_[i]);
      if (digit < 0) return false;
      *code = *code * 16 + static_cast<unsigned int>(digit);
    }
    at_ += 4;
    return true;
  }

  // Moves the entries collected since mark into the view's children list.
  void close_container(uint32_t index, size_t mark) {
    std::vector<uint32_t> &children = view_->children_;
    const uint32_t first = static_cast<uint32_t>(children.size());
    children.insert(children.end(), pending_.begin() + static_cast<ptrdiff_t>(mark),
                    pending_.end());
    pending_.resize(mark);
    view_->nodes_[index].span = {first, static_cast<uint32_t>(children.size() - first)};
  }

  bool array(int depth, uint32_t *index) {
    if (depth > kMaxDepth) return false;
    ++at_;
    *index = new_node(FrameView::kArray);
    const size_t mark = pending_.size();
    skip_spaces();
    if (at_ != end_ && *at_ == ']') {
      ++at_;
      close_container(*index, mark);
      return true;
    }
    while (true) {
      skip_spaces();
      uint32_t entry = 0;
      if (!value(depth, &entry)) return false;
      pending_.push_back(entry);
      skip_spaces();
      if (at_ == end_) return false;
      const char c = *at_++;
      if (c == ']') break;
      if (c != ',') return false;
    }
    close_container(*index, mark);
    return true;
  }

  bool object(int depth, uint32_t *index) {
    if (depth > kMaxDepth) return false;
    ++at_;
    *index = new_node(FrameView::kObject);
    const size_t mark = pending_.size();
    skip_spaces();
    if (at_ != end_ && *at_ == '}') {
      ++at_;
      close_container(*index, mark);
      return true;
    }
    bool first = true;
    uint32_t last_name = 0;
    uint32_t last_size = 0;
    while (true) {
      skip_spaces();
      if (at_ == end_ || *at_ != '"') return false;
      uint32_t name = 0;
      uint32_t name_size = 0;
      if (!string(&name, &name_size)) return false;
      const char *names = view_->text_.data();
      if (!first &&
          compare_names(names + last_name, last_size, names + name, name_size) >= 0) {
        return false;  // not in jsoncpp's order, or a name met twice
      }
      first = false;
      last_name = name;
      last_size = name_size;
      skip_spaces();
      if (at_ == end_ || *at_ != ':') return false;
      ++at_;
      skip_spaces();
      uint32_t member = 0;
      if (!value(depth, &member)) return false;
      view_->nodes_[member].name = name;
      view_->nodes_[member].name_size = name_size;
      pending_.push_back(member);
      skip_spaces();
      if (at_ == end_) return false;
      const char c = *at_++;
      if (c == '}') break;
      if (c != ',') return false;
    }
    close_container(*index, mark);
    return true;
  }

  FrameView *view_;
  const char *at_;
  const char *end_;
  std::vector<uint32_t> pending_;
  int reals_known_ = 0;  // 1: reals are read here, -1: left to jsoncpp, 0: not asked yet
};

bool FrameView::read(const char *text, size_t length) {
  nodes_.clear();
  children_.clear();
  text_used_ = 0;
  if (length >= UINT32_MAX / 2) return false;
  // A decoded string and its NUL never take more bytes than its text in the frame, quotes
  // included: the frame's length is room enough for all of them.
  text_.resize(length + 1);
  nodes_.reserve(length / 16 + 2);
  Node absent;  // node 0: what an absent member reads as
  std::memset(&absent, 0, sizeof(absent));
  absent.kind = kNull;
  nodes_.push_back(absent);
  FrameScanner scanner(this, text, length);
  return scanner.scan();
}

// ---- the accessors ----

Json::Value FrameNode::shadow() const {
  const FrameView::Node &node = view_->nodes_[index_];
  switch (node.kind) {
    case FrameView::kBool:
      return Json::Value(node.flag);
    case FrameView::kInt:
      return Json::Value(static_cast<Json::LargestInt>(node.i));
    case FrameView::kUInt:
      return Json::Value(static_cast<Json::LargestUInt>(node.u));
    case FrameView::kReal:
      return Json::Value(node.d);
    case FrameView::kString:
      return Json::Value(std::string(view_->text_.data() + node.span.offset, node.span.size));
    case FrameView::kArray:
      return Json::Value(Json::arrayValue);
    case FrameView::kObject:
      return Json::Value(Json::objectValue);
    case FrameView::kNull:
    default:
      return Json::Value();
  }
}

bool FrameNode::isNull() const { return view_->nodes_[index_].kind == FrameView::kNull; }

bool FrameNode::isObject() const { return view_->nodes_[index_].kind == FrameView::kObject; }

Json::ArrayIndex FrameNode::size() const {
  const FrameView::Node &node = view_->nodes_[index_];
  if (node.kind == FrameView::kArray || node.kind == FrameView::kObject) return node.span.size;
  return 0;
}

bool FrameNode::empty() const {
  const FrameView::Kind kind = view_->nodes_[index_].kind;
  if (kind == FrameView::kNull || kind == FrameView::kArray || kind == FrameView::kObject) {
    return size() == 0;
  }
  return false;
}

FrameNode FrameNode::operator[](const char *name) const {
  const FrameView::Node &node = view_->nodes_[index_];
  if (node.kind == FrameView::kNull) return FrameNode(view_, 0);
  if (node.kind != FrameView::kObject) {
    (void)static_cast<const Json::Value &>(shadow())[name];  // jsoncpp refuses: it throws
    return FrameNode(view_, 0);
  }
  // Members are in ascending order: a binary search finds the name.
  const size_t size = std::strlen(name);
  const uint32_t *children = view_->children_.data() + node.span.offset;
  uint32_t low = 0;
  uint32_t high = node.span.size;
  while (low < high) {
    const uint32_t middle = low + (high - low) / 2;
    const FrameView::Node &member = view_->nodes_[children[middle]];
    const int compared =
        compare_names(view_->text_.data() + member.name, member.name_size, name, size);
    if (compared == 0) return FrameNode(view_, children[middle]);
    if (compared < 0) {
      low = middle + 1;
    } else {
      high = middle;
    }
  }
  return FrameNode(view_, 0);
}

FrameNode FrameNode::operator[](Json::ArrayIndex index) const {
  const FrameView::Node &node = view_->nodes_[index_];
  if (node.kind == FrameView::kNull) return FrameNode(view_, 0);
  if (node.kind != FrameView::kArray) {
    (void)static_cast<const Json::Value &>(shadow())[index];  // jsoncpp refuses: it throws
    return FrameNode(view_, 0);
  }
  if (index >= node.span.size) return FrameNode(view_, 0);
  return FrameNode(view_, view_->children_[node.span.offset + index]);
}

FrameText FrameNode::asString() const {
  const FrameView::Node &node = view_->nodes_[index_];
  if (node.kind == FrameView::kString) {
    return FrameText(view_->text_.data() + node.span.offset, node.span.size);
  }
  if (node.kind == FrameView::kNull) return FrameText("", 0);
  return FrameText(shadow().asString());
}

Json::UInt64 FrameNode::asLargestUInt() const {
  const FrameView::Node &node = view_->nodes_[index_];
  if (node.kind == FrameView::kInt && node.i >= 0) return static_cast<Json::UInt64>(node.i);
  if (node.kind == FrameView::kUInt) return node.u;
  if (node.kind == FrameView::kNull) return 0;
  return shadow().asLargestUInt();
}

double FrameNode::asDouble() const {
  const FrameView::Node &node = view_->nodes_[index_];
  switch (node.kind) {
    case FrameView::kInt:
      return static_cast<double>(node.i);
    case FrameView::kUInt:
      return static_cast<double>(node.u);
    case FrameView::kReal:
      return node.d;
    case FrameView::kNull:
      return 0.0;
    default:
      return shadow().asDouble();
  }
}

bool FrameNode::isConvertibleTo(Json::ValueType other) const {
  // jsoncpp's answer for a container depends on whether it is empty, which its shadow is.
  if (other == Json::nullValue && size() != 0) return false;
  return shadow().isConvertibleTo(other);
}

Json::Value::Members FrameNode::getMemberNames() const {
  const FrameView::Node &node = view_->nodes_[index_];
  if (node.kind != FrameView::kObject) return shadow().getMemberNames();
  Json::Value::Members names;
  for (const_iterator it = begin(); it != end(); ++it) names.push_back(it.name().str());
  return names;
}

FrameNode::const_iterator FrameNode::begin() const {
  const FrameView::Node &node = view_->nodes_[index_];
  if (node.kind != FrameView::kArray && node.kind != FrameView::kObject) {
    return const_iterator(view_, nullptr);
  }
  return const_iterator(view_, view_->children_.data() + node.span.offset);
}

FrameNode::const_iterator FrameNode::end() const {
  const FrameView::Node &node = view_->nodes_[index_];
  if (node.kind != FrameView::kArray && node.kind != FrameView::kObject) {
    return const_iterator(view_, nullptr);
  }
  return const_iterator(view_, view_->children_.data() + node.span.offset + node.span.size);
}

FrameText FrameNode::const_iterator::name() const {
  const FrameView::Node &node = view_->nodes_[*child_];
  return FrameText(view_->text_.data() + node.name, node.name_size);
}

}  // namespace cmpiutility
