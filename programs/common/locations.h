// locations.h - where the programs find the schema database and the provider libraries.
//
// The library reads the same two places through the environment variables
// CMPIUTILITY_SCHEMA_DB and CMPIUTILITY_PROVIDER_DIR (ignored in set-user-ID programs), falling
// back to its fixed paths. The daemon sets those variables from --schema-db and --provider-dir
// at start, so that it and the library always agree; these functions read them back the way
// the library does (clients read the schema database for the key properties of classes).
#ifndef CMPI_WIRE_LOCATIONS_H
#define CMPI_WIRE_LOCATIONS_H

#include <string>

namespace wire {

inline constexpr char kFixedSchemaDatabase[] = "/etc/wsman/Database/Schema/CIMSchema.db";
inline constexpr char kFixedProviderDirectory[] = "/lib/cmpi/";
inline constexpr char kSchemaDatabaseVariable[] = "CMPIUTILITY_SCHEMA_DB";
inline constexpr char kProviderDirectoryVariable[] = "CMPIUTILITY_PROVIDER_DIR";

// Exports the overrides given on the command line (an empty value changes nothing).
void export_locations(const std::string &schema_db, const std::string &provider_dir);

std::string schema_database_path();

// Always ends in '/'.
std::string provider_directory();

// "<provider directory>lib<provider name in lower case>.so", as the library's loader names it.
std::string provider_library_path(const std::string &provider_name);

}  // namespace wire

#endif  // CMPI_WIRE_LOCATIONS_H
