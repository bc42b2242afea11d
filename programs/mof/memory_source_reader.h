// memory_source_reader.h - MOF texts held in memory, by name: for tests and the fuzz target,
// which must not reach the file system.
#ifndef CMPI_MOF_MEMORY_SOURCE_READER_H
#define CMPI_MOF_MEMORY_SOURCE_READER_H

#include <map>
#include <string>

#include "source_reader.h"

namespace mof {

// A path names a text exactly as it was added ("dir/a.mof"); its identity is the path, with
// "./" parts and "dir/../" pairs taken out, so "dir/../a.mof" is "a.mof".
class MemorySourceReader : public SourceReader {
 public:
  void add(const std::string &path, std::string text);
  bool read(const std::string &path, SourceText &out, std::string &error) override;

 private:
  std::map<std::string, std::string> files_;  // by normalised path
};

}  // namespace mof

#endif  // CMPI_MOF_MEMORY_SOURCE_READER_H
