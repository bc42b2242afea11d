// fault_injection.h - makes a chosen allocation of the library fail.
//
// The library allocates through cmpiu_calloc, cmpiu_malloc and cmpiu_realloc, whose shipped
// definitions are weak. A test program that links cmpi_fault_injection gets strong definitions
// that count calls and can be told to fail one of them. Counting starts when a
// FailingAllocation is created and stops when it is destroyed.
#ifndef CMPITEST_FAULT_INJECTION_H
#define CMPITEST_FAULT_INJECTION_H

namespace cmpitest {

enum class Allocation { Calloc, Malloc, Realloc };

class FailingAllocation {
 public:
  // The nth call (1 = the next one) of the given kind returns NULL; the others succeed.
  FailingAllocation(Allocation kind, int nth);
  ~FailingAllocation();
  FailingAllocation(const FailingAllocation &) = delete;
  FailingAllocation &operator=(const FailingAllocation &) = delete;

  // Calls of the given kind seen since this object was created.
  int calls(Allocation kind) const;
  // Whether the chosen call has happened (and failed).
  bool triggered() const;
};

}  // namespace cmpitest

#endif
