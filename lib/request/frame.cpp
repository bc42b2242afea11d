#include "request/frame.h"

#include <stdio.h>
#include <string.h>

#include "json/compact_text.h"
#include "log/log.h"

namespace {

// Copies at most bound - 1 characters of text into buf and terminates it.
void copy_bounded(char *buf, const std::string &text, size_t bound) {
  if (bound == 0) return;
  const size_t n = text.size() < bound - 1 ? text.size() : bound - 1;
  memcpy(buf, text.data(), n);
  buf[n] = '\0';
}

// Appends the terminator to the text in buf, over a trailing newline if there is one. An empty
// text stays empty, without terminator.
void append_terminator(char *buf) {
  size_t n = strlen(buf);
  if (n == 0) return;
  if (buf[n - 1] == '\n') --n;
  memcpy(buf + n, cmpiutility::kFrameTerminator, sizeof cmpiutility::kFrameTerminator);
}

}  // namespace

void formString(const Json::Value &document, char *buf) {
  formString(cmpiutility::compact_text(document), buf);
}

void formString(const std::string &text, char *buf) {
  CMPIU_TRACE_FUNCTION();
  // 8182 leaves room for the terminator and its NUL in the 8192-byte buffer.
  copy_bounded(buf, text, 8182);
  CMPIU_TRACE("%s: data received %s Len = %zu", __func__, buf, strlen(buf));
  append_terminator(buf);
}

void formDynamicDataAsString(const std::string &text, char *buf, uint32_t size) {
  CMPIU_TRACE_FUNCTION();
  if (size <= 10) {
    // Too small for any text and its terminator: the frame is empty.
    if (size > 0) buf[0] = '\0';
    return;
  }
  copy_bounded(buf, text, size - 10);
  CMPIU_TRACE("%s: len = %zu data received %s", __func__, strlen(buf), buf);
  append_terminator(buf);
}
