// heap.h - the library's allocation seam.
//
// Every allocation whose failure the library handles (record constructors, the scratch record
// of the encoders, frame buffers that grow) goes through these functions, so that tests can make
// a chosen allocation fail and check the failure path. In the shipped library they are plain
// calloc/malloc/realloc: the definitions here are weak, and only a test program links a strong
// definition of its own (tests/support/fault_injection.cpp).
#ifndef CMPIUTILITY_HEAP_HEAP_H
#define CMPIUTILITY_HEAP_HEAP_H

#include <stddef.h>

extern "C" {
void *cmpiu_calloc(size_t count, size_t size);
void *cmpiu_malloc(size_t size);
void *cmpiu_realloc(void *block, size_t size);
}

#endif
