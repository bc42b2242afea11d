// read_file.h - the whole content of a file as a string (empty when it cannot be read), for
// tests that check what a program wrote to a file, and a byte-for-byte copy of a file. Header
// only, without GoogleTest: the benchmarks use it too.
#ifndef CMPI_TEST_SUPPORT_READ_FILE_H
#define CMPI_TEST_SUPPORT_READ_FILE_H

#include <fstream>
#include <sstream>
#include <string>

namespace testsupport {

inline std::string read_file(const std::string &path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream content;
  content << in.rdbuf();
  return content.str();
}

// Copies from to to, byte for byte (to is made or emptied first). false when from cannot be
// read or to cannot be written.
inline bool copy_file(const std::string &from, const std::string &to) {
  std::ifstream in(from, std::ios::binary);
  if (!in) return false;
  std::ofstream out(to, std::ios::binary);
  out << in.rdbuf();
  return static_cast<bool>(out);
}

}  // namespace testsupport

#endif  // CMPI_TEST_SUPPORT_READ_FILE_H
