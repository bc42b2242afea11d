// key_stream.h - the text buffer in which key texts are built.
//
// It behaves like a character stream: appending a missing text (a NULL character pointer) puts
// the buffer in its failed state, after which nothing more is appended; whatever stood before
// stays and is what gets written. Peers read key texts cut short this way, so the behaviour is
// kept rather than turned into an error. Appending is amortised constant time per character.
#ifndef CMPIUTILITY_JSON_KEY_STREAM_H
#define CMPIUTILITY_JSON_KEY_STREAM_H

#include <cmpift.h>

#include <string>

namespace cmpiutility {

class KeyStream {
 public:
  KeyStream &operator<<(const char *piece) {
    if (failed_) return *this;
    if (piece == nullptr) {
      failed_ = true;
      return *this;
    }
    text_.append(piece);
    return *this;
  }

  bool failed() const { return failed_; }
  const std::string &text() const { return text_; }

 private:
  std::string text_;
  bool failed_ = false;
};

// The characters of a string object, or NULL when there is no object. On this platform a
// string's handle is its NUL-terminated text.
inline const char *chars_of(const CMPIString *string) {
  return string != nullptr ? static_cast<const char *>(string->hdl) : nullptr;
}

}  // namespace cmpiutility

#endif  // CMPIUTILITY_JSON_KEY_STREAM_H
