// fuzz_setup.h - process set-up shared by the fuzz targets: no diagnostic lines, association
// look-ups that fail at once, and stdout (where reference key text is echoed) discarded.
#ifndef CMPIUTILITY_FUZZ_SETUP_H
#define CMPIUTILITY_FUZZ_SETUP_H

#include <cstdio>
#include <cstdlib>

namespace cmpifuzz {

inline void quiet_process() {
  setenv("DLOG_LEVEL", "0", 1);
  setenv("CMPIUTILITY_SCHEMA_DB", "/nonexistent/cmpiutility-fuzz/schema.db", 1);
  if (std::freopen("/dev/null", "w", stdout) == nullptr) {
    std::fputs("fuzz: cannot redirect stdout to /dev/null\n", stderr);
  }
}

}  // namespace cmpifuzz

#endif  // CMPIUTILITY_FUZZ_SETUP_H
