// schema_sql.h - the table design of the schema database, as cmpi-mof creates it.
#ifndef CMPI_MOF_SCHEMA_SQL_H
#define CMPI_MOF_SCHEMA_SQL_H

namespace mof {

// The text of share/schema.sql, compiled in at build time: the CREATE TABLE statements run on a
// database that has none of the tables yet.
extern const char *const kSchemaSql;

}  // namespace mof

#endif  // CMPI_MOF_SCHEMA_SQL_H
