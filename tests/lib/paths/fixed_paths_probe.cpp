// Prints the schema database path and the provider directory, one per line.
#include <cstdio>

#include "paths/fixed_paths.h"

int main() {
  std::printf("%s\n%s\n", cmpiutility::schema_database_path(),
              cmpiutility::provider_directory().c_str());
  return 0;
}
