// source_reader.h - where MOF text comes from: files on disk (file_source_reader.h), or texts
// held in memory for tests and the fuzz target (memory_source_reader.h).
#ifndef CMPI_MOF_SOURCE_READER_H
#define CMPI_MOF_SOURCE_READER_H

#include <cstddef>
#include <string>

namespace mof {

struct SourceText {
  std::string identity;  // the same for every name of one file (an include cycle is found by it)
  std::string text;
};

class SourceReader {
 public:
  // The largest file read (16 MiB); a larger one is an error, not a memory hazard.
  static constexpr std::size_t kMaxBytes = 16u << 20;

  virtual ~SourceReader() = default;
  // Reads the file at path into out. On failure returns false and sets error to the reason
  // ("No such file or directory", "larger than 16 MiB").
  virtual bool read(const std::string &path, SourceText &out, std::string &error) = 0;
};

}  // namespace mof

#endif  // CMPI_MOF_SOURCE_READER_H
