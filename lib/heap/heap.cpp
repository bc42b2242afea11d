#include "heap/heap.h"

#include <stdlib.h>

extern "C" {

__attribute__((weak)) void *cmpiu_calloc(size_t count, size_t size) { return calloc(count, size); }

__attribute__((weak)) void *cmpiu_malloc(size_t size) { return malloc(size); }

__attribute__((weak)) void *cmpiu_realloc(void *block, size_t size) { return realloc(block, size); }
}
