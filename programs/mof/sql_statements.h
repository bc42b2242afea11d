// sql_statements.h - the statements that store an import's rows: for each declaration, in
// declaration order, the DELETEs of the rows it replaces and then its INSERTs. The same
// statements are run on a database (schema_store.h) or printed (sql_text.h).
#ifndef CMPI_MOF_SQL_STATEMENTS_H
#define CMPI_MOF_SQL_STATEMENTS_H

#include <cstdint>
#include <string>
#include <variant>
#include <vector>

#include "schema_rows.h"

namespace mof {

// NULL, an integer or a text.
using SqlValue = std::variant<std::monostate, std::int64_t, std::string>;

struct SqlStatement {
  std::string sql;                  // one '?' per parameter, no other '?', no ';'
  std::vector<SqlValue> parameters;
};

// The statements of one declaration; title says which ("class Demo_Fan (root/cimv2)").
struct SqlGroup {
  std::string title;
  std::vector<SqlStatement> statements;
};

// Class names in DELETEs compare without regard to case (COLLATE NOCASE), so a class imported
// again under another spelling replaces the old rows.
std::vector<SqlGroup> ImportStatements(const SchemaRows &rows);

}  // namespace mof

#endif  // CMPI_MOF_SQL_STATEMENTS_H
