// fixed_paths.h - where the library finds the schema database and the provider libraries.
//
// The library reads "/etc/wsman/Database/Schema/CIMSchema.db" and loads providers from
// "/lib/cmpi/". Tests, the demo and benchmarks run the very same binary without touching the
// machine's /etc and /lib through two environment variables, read with secure_getenv so that
// they are ignored in set-user-ID and set-group-ID programs:
//   CMPIUTILITY_SCHEMA_DB     the schema database file
//   CMPIUTILITY_PROVIDER_DIR  the provider directory
// An unset or empty variable leaves the fixed path in force. Nothing is cached: each call reads
// the environment, so the library keeps no state between calls.
#ifndef CMPIUTILITY_PATHS_FIXED_PATHS_H
#define CMPIUTILITY_PATHS_FIXED_PATHS_H

#include <string>

namespace cmpiutility {

inline constexpr const char kSchemaDatabasePath[] = "/etc/wsman/Database/Schema/CIMSchema.db";
inline constexpr const char kProviderDirectory[] = "/lib/cmpi/";
inline constexpr const char kSchemaDatabaseVariable[] = "CMPIUTILITY_SCHEMA_DB";
inline constexpr const char kProviderDirectoryVariable[] = "CMPIUTILITY_PROVIDER_DIR";

// The schema database file to open: the override when set, else the fixed path. The pointer is
// the environment's or the constant's; it stays valid until the environment changes.
const char *schema_database_path();

// The provider directory, always ending in '/' (a slash is added to an override without one,
// because the loader builds "<directory>lib<name>.so" by plain concatenation).
std::string provider_directory();

}  // namespace cmpiutility

#endif
