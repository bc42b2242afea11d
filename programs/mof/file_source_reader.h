// file_source_reader.h - MOF files read from disk.
#ifndef CMPI_MOF_FILE_SOURCE_READER_H
#define CMPI_MOF_FILE_SOURCE_READER_H

#include "source_reader.h"

namespace mof {

// Reads regular files (a folder or a device is refused) of at most kMaxBytes; the identity is
// the file's device and inode numbers, so two paths of one file are one file.
class FileSourceReader : public SourceReader {
 public:
  bool read(const std::string &path, SourceText &out, std::string &error) override;
};

}  // namespace mof

#endif  // CMPI_MOF_FILE_SOURCE_READER_H
