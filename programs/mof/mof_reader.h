// mof_reader.h - reads MOF files, and the files they include, into one MofDocument.
#ifndef CMPI_MOF_MOF_READER_H
#define CMPI_MOF_MOF_READER_H

#include <string>
#include <vector>

#include "class_model.h"
#include "parser.h"
#include "source_reader.h"

namespace mof {

class MofReader : private IncludeHandler {
 public:
  static constexpr std::size_t kMaxIncludeDepth = 32;  // files open inside each other
  static constexpr int kMaxFiles = 1000;               // files read by one reader in all
  static constexpr std::size_t kMaxTotalBytes = 64u << 20;  // text read by one reader in all

  // sources must outlive the reader.
  explicit MofReader(SourceReader &sources) : sources_(sources) {}

  // Reads the file at path, with nameSpace in effect at its start, and appends its declarations
  // (those of included files where they are included) to doc. An included file's path is
  // relative to the folder of the file that includes it, unless it is absolute. Throws MofError
  // for a file that cannot be read, text that is not UTF-8, a syntax error, an include cycle,
  // includes nested deeper than kMaxIncludeDepth, more than kMaxFiles files or more than
  // kMaxTotalBytes of text (a file included many times counts each time).
  void read(const std::string &path, const std::string &nameSpace, MofDocument &doc);

 private:
  void include(const std::string &path, const SourceLocation &where, const std::string &nameSpace,
               MofDocument &doc) override;
  void readFile(const std::string &path, const SourceLocation *includedAt,
                const std::string &nameSpace, MofDocument &doc);

  struct OpenFile {
    std::string identity;
    std::string path;
  };
  SourceReader &sources_;
  std::vector<OpenFile> open_;  // the file being read, and those that include it
  int filesRead_ = 0;
  std::size_t bytesRead_ = 0;
};

}  // namespace mof

#endif  // CMPI_MOF_MOF_READER_H
