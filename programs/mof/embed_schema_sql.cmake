# cmake -DINPUT=schema.sql -DOUTPUT=schema_sql.cpp -P embed_schema_sql.cmake
# Writes a C++ file defining mof::kSchemaSql, the text of INPUT (see schema_sql.h).
file(READ "${INPUT}" text)
set(delimiter "schema_sql")
string(FIND "${text}" ")${delimiter}\"" clash)
if(NOT clash EQUAL -1)
  message(FATAL_ERROR "${INPUT} contains the raw string delimiter )${delimiter}\"")
endif()
file(WRITE "${OUTPUT}.tmp"
  "// Generated from ${INPUT} by embed_schema_sql.cmake; do not edit.\n"
  "#include \"schema_sql.h\"\n\n"
  "namespace mof {\n\n"
  "const char *const kSchemaSql = R\"${delimiter}(${text})${delimiter}\";\n\n"
  "}  // namespace mof\n")
# Rewritten only when the text changed, so that an unchanged schema does not rebuild anything.
execute_process(COMMAND ${CMAKE_COMMAND} -E copy_if_different "${OUTPUT}.tmp" "${OUTPUT}")
file(REMOVE "${OUTPUT}.tmp")
