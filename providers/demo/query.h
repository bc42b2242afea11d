// query.h - the queries exec_query understands:
//
//   SELECT * FROM <class>
//   SELECT <property>[, <property>...] FROM <class>
//   ... WHERE <property> <op> <literal>
//
// with <op> one of = != <> < <= > >=, and <literal> a string in single or double quotes (the
// quote doubled inside), a number (integer or real, optionally signed) or TRUE / FALSE.
// Keywords and names are matched without regard to case. A property that is null matches no
// condition. Strings and date-times compare by their text, numbers by value, booleans with
// FALSE < TRUE; a char16 compares with a one-character string or a number. Arrays, references
// and embedded instances cannot be compared.
//
// The query languages accepted are "WQL" and "CQL" ("DMTF:CQL", "CIM:CQL"), in any case; a
// missing language counts as WQL.
#ifndef DEMO_PROVIDER_QUERY_H
#define DEMO_PROVIDER_QUERY_H

#include <cmpidt.h>

#include <string>
#include <vector>

#include "classes.h"
#include "outcome.h"

namespace demo {

enum class Comparison { kEqual, kNotEqual, kLess, kLessOrEqual, kGreater, kGreaterOrEqual };

struct Literal {
  enum Kind { kString, kInteger, kReal, kBoolean } kind = kString;
  std::string text;      // kString
  __int128 integer = 0;  // kInteger
  long double real = 0;  // kReal (kInteger as well)
  bool boolean = false;  // kBoolean
};

struct Query {
  std::string class_name;
  std::vector<std::string> properties;  // empty: "*"
  bool has_condition = false;
  std::string property;
  Comparison comparison = Comparison::kEqual;
  Literal literal;
};

bool is_supported_language(const char *language);

// Reads query text; anything else than the forms above gives CMPI_RC_ERR_INVALID_QUERY.
Outcome parse_query(const char *text, Query *query);

// Checks the query against its class: the properties exist and the condition compares a
// property with a literal of a kind it can be compared with (else CMPI_RC_ERR_INVALID_QUERY).
Outcome check_query(const ClassDef &cls, const Query &query);

// Whether inst satisfies the query's condition (true when it has none).
bool matches(const Query &query, const CMPIInstance *inst);

}  // namespace demo

#endif  // DEMO_PROVIDER_QUERY_H
