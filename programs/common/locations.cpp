// locations.cpp - the schema database and the provider directory in force.
#include "locations.h"

#include <cctype>
#include <cstdlib>

namespace wire {

void export_locations(const std::string &schema_db, const std::string &provider_dir) {
  if (!schema_db.empty()) setenv(kSchemaDatabaseVariable, schema_db.c_str(), 1);
  if (!provider_dir.empty()) setenv(kProviderDirectoryVariable, provider_dir.c_str(), 1);
}

std::string schema_database_path() {
  const char *value = secure_getenv(kSchemaDatabaseVariable);
  return (value != nullptr && *value != '\0') ? value : kFixedSchemaDatabase;
}

std::string provider_directory() {
  const char *value = secure_getenv(kProviderDirectoryVariable);
  std::string dir = (value != nullptr && *value != '\0') ? value : kFixedProviderDirectory;
  if (dir.back() != '/') dir += '/';
  return dir;
}

std::string provider_library_path(const std::string &provider_name) {
  std::string lower = provider_name;
  for (char &c : lower) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return provider_directory() + "lib" + lower + ".so";
}

}  // namespace wire
