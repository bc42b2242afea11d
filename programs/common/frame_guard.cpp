// frame_guard.cpp - escaping the terminator inside a frame's document.
#include "frame_guard.h"

#include <cstring>

#include "wire.h"

namespace wire {
namespace {

// "CMPI" "_" "EOF": the underscore stands at this offset.
constexpr std::size_t kUnderscoreAt = 4;
constexpr char kEscapedUnderscore[] = "\\u005f";

// The terminator's bytes from its underscore on.
constexpr std::size_t kFromUnderscore = kTerminator.size() - kUnderscoreAt;

std::size_t guard_range(std::string *text, std::size_t end) {
  std::size_t rewritten = 0;
  std::size_t at = 0;  // where the next terminator may start
  while (at + kTerminator.size() <= end) {
    // An underscore is rare in a document: look for it (memchr is several times cheaper than
    // a search for the whole terminator) and then at the bytes around it. Its place u lies in
    // [at + kUnderscoreAt, end - kFromUnderscore].
    const char *base = text->data();
    const std::size_t first = at + kUnderscoreAt;
    const char *found = static_cast<const char *>(
        std::memchr(base + first, '_', end - kFromUnderscore + 1 - first));
    if (found == nullptr) break;
    const std::size_t pos = static_cast<std::size_t>(found - base) - kUnderscoreAt;
    if (std::memcmp(base + pos, kTerminator.data(), kTerminator.size()) != 0) {
      at = pos + 1;
      continue;
    }
    text->replace(pos + kUnderscoreAt, 1, kEscapedUnderscore);
    const std::size_t grown = sizeof kEscapedUnderscore - 2;
    end += grown;
    at = pos + kTerminator.size() + grown;
    ++rewritten;
  }
  return rewritten;
}

}  // namespace

std::size_t guard_frame(std::string *frame) {
  const std::size_t last = frame->rfind(kTerminator);
  if (last == std::string::npos) return 0;
  return guard_range(frame, last);
}

std::size_t guard_document(std::string *document) {
  return guard_range(document, document->size());
}

}  // namespace wire
