// locations.h - the daemon's names for where the schema database and the providers are
// (programs/common/locations.h, shared with the client).
#ifndef CMPI_HOSTD_LOCATIONS_H
#define CMPI_HOSTD_LOCATIONS_H

#include "../../common/locations.h"

namespace hostd {

using wire::export_locations;
using wire::kFixedProviderDirectory;
using wire::kFixedSchemaDatabase;
using wire::kProviderDirectoryVariable;
using wire::kSchemaDatabaseVariable;
using wire::provider_directory;
using wire::provider_library_path;
using wire::schema_database_path;

}  // namespace hostd

#endif  // CMPI_HOSTD_LOCATIONS_H
