#include "fault_injection.h"

#include <stdlib.h>

namespace {

struct State {
  bool armed = false;
  cmpitest::Allocation kind = cmpitest::Allocation::Calloc;
  int nth = 0;
  int calls[3] = {0, 0, 0};
  bool triggered = false;
};

State g_state;

// True when this call of the given kind is the one chosen to fail.
bool should_fail(cmpitest::Allocation kind) {
  if (!g_state.armed) return false;
  int seen = ++g_state.calls[static_cast<int>(kind)];
  if (kind == g_state.kind && seen == g_state.nth) {
    g_state.triggered = true;
    return true;
  }
  return false;
}

}  // namespace

namespace cmpitest {

FailingAllocation::FailingAllocation(Allocation kind, int nth) {
  g_state = State();
  g_state.armed = true;
  g_state.kind = kind;
  g_state.nth = nth;
}

FailingAllocation::~FailingAllocation() { g_state.armed = false; }

int FailingAllocation::calls(Allocation kind) const { return g_state.calls[static_cast<int>(kind)]; }

bool FailingAllocation::triggered() const { return g_state.triggered; }

}  // namespace cmpitest

// Strong definitions that replace the library's weak ones in test programs.
extern "C" {

void *cmpiu_calloc(size_t count, size_t size) {
  return should_fail(cmpitest::Allocation::Calloc) ? nullptr : calloc(count, size);
}

void *cmpiu_malloc(size_t size) {
  return should_fail(cmpitest::Allocation::Malloc) ? nullptr : malloc(size);
}

void *cmpiu_realloc(void *block, size_t size) {
  return should_fail(cmpitest::Allocation::Realloc) ? nullptr : realloc(block, size);
}
}
