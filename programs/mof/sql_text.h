// sql_text.h - an import's statements as an SQL script (cmpi-mof --sql).
#ifndef CMPI_MOF_SQL_TEXT_H
#define CMPI_MOF_SQL_TEXT_H

#include <string>
#include <vector>

#include "sql_statements.h"

namespace mof {

// The value as an SQL literal: NULL, a decimal integer, or a quoted text with quotes doubled.
std::string SqlLiteral(const SqlValue &value);

// The script: each line of header as a "-- " comment, a blank line, "BEGIN;", each group as a
// blank line, "-- title" and its statements (parameters written as literals, one statement a
// line), a blank line and "COMMIT;". The same groups always give the same text.
std::string RenderSql(const std::vector<SqlGroup> &groups, const std::vector<std::string> &header);

}  // namespace mof

#endif  // CMPI_MOF_SQL_TEXT_H
