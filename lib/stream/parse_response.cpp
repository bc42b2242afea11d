// parseResponse: a short reply "<word>/<text>" split in place.
#include <cmpiutility/stream.h>
#include <string.h>

#include "log/log.h"

namespace {

// The text moves to the start of the caller's buffer with at most this many bytes, NUL included
// (the size of a fixed frame buffer).
constexpr size_t kReplyLimit = 8192;

}  // namespace

extern "C" int parseResponse(char *text) {
  CMPIU_TRACE_FUNCTION();
  if (text == nullptr || text[0] == '\0') return 1;
  char *slash = strchr(text, '/');
  if (slash == nullptr) return 1;
  *slash = '\0';
  const bool success = strcmp(text, "success") == 0;
  const char *rest = slash + 1;
  size_t length = strlen(rest);
  if (length > kReplyLimit - 1) length = kReplyLimit - 1;
  memmove(text, rest, length);
  text[length] = '\0';
  return success ? 0 : 1;
}
