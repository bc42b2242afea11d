// Prints the schema database path and the provider directory, one per line.
#include <cstdio>

#include "paths/fixed_paths.h"

int main() {
  std::printf("%s\n%s\n", cmpiutility::schema_database_path(),
              cmpiutility::provider_directory().c_str());
  // Flushed here: in a sanitizer build the leak checker cannot run in a set-user-ID process and
  // ends it at exit before stdio would flush.
  std::fflush(stdout);
  return 0;
}
