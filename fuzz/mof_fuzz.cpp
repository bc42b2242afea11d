// mof_fuzz: cmpi-mof's reading of MOF text (lexer, parser, includes, import checks) and the SQL
// it prints, on any byte string. The text is the file "fuzz.mof" of an in-memory reader, so an
// include pragma never reaches the file system (it may include fuzz.mof itself: a cycle).
#include <cstddef>
#include <cstdint>
#include <string>

#include "class_catalog.h"
#include "diagnostics.h"
#include "memory_source_reader.h"
#include "mof_tool.h"
#include "sql_statements.h"
#include "sql_text.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  mof::MemorySourceReader sources;
  sources.add("fuzz.mof", std::string(reinterpret_cast<const char *>(data), size));
  mof::Diagnostics diagnostics;
  const mof::SchemaRows rows =
      mof::ImportFiles({"fuzz.mof"}, "root/cimv2", sources, mof::EmptyCatalog(), diagnostics);
  if (!diagnostics.failed()) {
    const std::string sql = mof::RenderSql(mof::ImportStatements(rows), {"fuzz"});
    if (sql.empty()) __builtin_trap();  // a script always has BEGIN and COMMIT
  }
  return 0;
}
