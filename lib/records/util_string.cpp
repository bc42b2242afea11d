#include "records/util_string.h"

#include <string.h>

#include "heap/heap.h"

char *utilString_strdup(const char *text) {
  if (text == nullptr || text[0] == '\0') return nullptr;
  const size_t size = strlen(text) + 1;
  char *copy = static_cast<char *>(cmpiu_malloc(size));
  if (copy != nullptr) memcpy(copy, text, size);
  return copy;
}
