// frame_view.h - a response frame read into a flat, read-only view instead of a jsoncpp tree.
//
// FrameView::read accepts only the text the host writes: one JSON object of plain JSON (no
// comments, no trailing commas or text after the root), every object's member names in
// jsoncpp's order (bytewise ascending, so no name twice), strings without "\u0000" and with
// surrogate escapes only as whole pairs, numbers that jsoncpp would read as the same 64-bit
// integer or the same double (reals only while the global C++ locale, whose decimal point
// jsoncpp's number stream uses, writes a dot), at most 200 levels deep. Anything else gives
// false, before anything is logged or made, and the caller reads the same text with jsoncpp.
//
// FrameNode answers the part of Json::Value's const interface the decoders use, with
// jsoncpp's results for each kind of value (the same conversions, absent members reading as
// null). A call that jsoncpp refuses with an exception is handed to a Json::Value of the same
// kind and value, so the same exception, with the same text, leaves the decoders.
//
// The view owns its nodes and its decoded text; nodes and texts live as long as the view.
#ifndef CMPIUTILITY_JSON_FRAME_VIEW_H
#define CMPIUTILITY_JSON_FRAME_VIEW_H

#include <json/json.h>
#include <stddef.h>
#include <stdint.h>

#include <string>
#include <utility>
#include <vector>

namespace cmpiutility {

class FrameView;

// A text read from the view: its bytes in the view (NUL-terminated, no NUL inside), or, for a
// number or boolean read as text, a string of its own made the way jsoncpp makes it.
class FrameText {
 public:
  FrameText(const char *data, size_t size) : data_(data), size_(size) {}
  explicit FrameText(std::string owned)
      : data_(nullptr), size_(owned.size()), owned_(std::move(owned)), is_owned_(true) {}
  const char *c_str() const { return is_owned_ ? owned_.c_str() : data_; }
  size_t size() const { return size_; }
  bool empty() const { return size_ == 0; }
  std::string str() const { return std::string(c_str(), size_); }

 private:
  const char *data_;
  size_t size_;
  std::string owned_;
  bool is_owned_ = false;
};

// One value of the view; a small handle, copied freely.
class FrameNode {
 public:
  class const_iterator {
   public:
    const_iterator(const FrameView *view, const uint32_t *child) : view_(view), child_(child) {}
    FrameText name() const;
    FrameNode operator*() const { return FrameNode(view_, *child_); }
    const_iterator &operator++() {
      ++child_;
      return *this;
    }
    bool operator!=(const const_iterator &other) const { return child_ != other.child_; }
    bool operator==(const const_iterator &other) const { return child_ == other.child_; }

   private:
    const FrameView *view_;
    const uint32_t *child_;
  };

  FrameNode(const FrameView *view, uint32_t index) : view_(view), index_(index) {}

  bool isNull() const;
  bool isObject() const;
  bool empty() const;
  Json::ArrayIndex size() const;
  FrameNode operator[](const char *name) const;
  FrameNode operator[](Json::ArrayIndex index) const;
  FrameNode operator[](int index) const { return (*this)[static_cast<Json::ArrayIndex>(index)]; }
  FrameText asString() const;
  Json::UInt64 asLargestUInt() const;
  double asDouble() const;
  bool isConvertibleTo(Json::ValueType other) const;
  Json::Value::Members getMemberNames() const;
  const_iterator begin() const;
  const_iterator end() const;

 private:
  // A jsoncpp value of the same kind and scalar value (containers empty), for what jsoncpp
  // refuses or converts in a way of its own.
  Json::Value shadow() const;

  const FrameView *view_;
  uint32_t index_;
};

class FrameView {
 public:
  FrameView() = default;
  FrameView(const FrameView &) = delete;
  FrameView &operator=(const FrameView &) = delete;

  // Reads text[0, length). True when the frame is one the view understands completely; false
  // otherwise (nothing logged, the view then holds nothing of use).
  bool read(const char *text, size_t length);

  // The root object (valid after a true read).
  FrameNode root() const { return FrameNode(this, 1); }

 private:
  friend class FrameNode;
  friend class FrameNode::const_iterator;
  friend class FrameScanner;

  enum Kind : uint8_t { kNull, kBool, kInt, kUInt, kReal, kString, kArray, kObject };
  struct Node {
    Kind kind;
    bool flag;           // kBool: the value
    uint32_t name;       // offset of the member name in text_ (members of an object)
    uint32_t name_size;
    union {
      int64_t i;
      uint64_t u;
      double d;
      struct {
        uint32_t offset;  // kString: offset in text_; containers: first index in children_
        uint32_t size;    // kString: bytes; containers: number of entries
      } span;
    };
  };

  std::vector<Node> nodes_;         // node 0 is the null value absent members read as
  std::vector<uint32_t> children_;  // each container's entries, contiguous, in order
  std::vector<char> text_;          // decoded strings and names, each NUL-terminated
  size_t text_used_ = 0;            // bytes of text_ in use
};

}  // namespace cmpiutility

#endif  // CMPIUTILITY_JSON_FRAME_VIEW_H
