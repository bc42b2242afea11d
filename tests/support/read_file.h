// read_file.h - the whole content of a file as a string (empty when it cannot be read), for
// tests that check what a program wrote to a file.
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

}  // namespace testsupport

#endif  // CMPI_TEST_SUPPORT_READ_FILE_H
