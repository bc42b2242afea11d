#include "paths/fixed_paths.h"

#include <stdlib.h>

namespace cmpiutility {
namespace {

// The override named by variable, or nullptr when it is unset, empty, or the process runs with
// raised privileges (secure_getenv returns nothing then).
const char *override_of(const char *variable) {
  const char *value = secure_getenv(variable);
  return (value != nullptr && value[0] != '\0') ? value : nullptr;
}

}  // namespace

const char *schema_database_path() {
  const char *value = override_of(kSchemaDatabaseVariable);
  return value != nullptr ? value : kSchemaDatabasePath;
}

std::string provider_directory() {
  const char *value = override_of(kProviderDirectoryVariable);
  if (value == nullptr) return kProviderDirectory;
  std::string directory(value);
  if (directory.back() != '/') directory.push_back('/');
  return directory;
}

}  // namespace cmpiutility
