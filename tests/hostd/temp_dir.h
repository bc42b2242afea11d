// temp_dir.h - a temporary directory for a test, removed with everything in it afterwards.
#ifndef CMPI_HOSTD_TEST_TEMP_DIR_H
#define CMPI_HOSTD_TEST_TEMP_DIR_H

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "read_file.h"

namespace hostdtest {

class TempDir {
 public:
  // A new directory with the given mode under /tmp.
  explicit TempDir(mode_t mode = 0755) {
    char pattern[] = "/tmp/hostd-core-test-XXXXXX";
    if (mkdtemp(pattern) == nullptr) {
      ADD_FAILURE() << "mkdtemp: " << std::strerror(errno);
      return;
    }
    path_ = pattern;
    chmod(path_.c_str(), mode);
  }
  ~TempDir() {
    std::error_code ignored;
    if (!path_.empty()) std::filesystem::remove_all(path_, ignored);
  }
  TempDir(const TempDir &) = delete;
  TempDir &operator=(const TempDir &) = delete;

  const std::string &path() const { return path_; }
  std::string operator/(const std::string &name) const { return path_ + "/" + name; }

 private:
  std::string path_;
};

inline void write_file(const std::string &path, const std::string &text, mode_t mode) {
  { std::ofstream(path, std::ios::binary) << text; }
  chmod(path.c_str(), mode);
}

using testsupport::read_file;

// lstat's view of path; st_mode 0 when there is nothing.
inline struct stat lstat_of(const std::string &path) {
  struct stat st;
  if (lstat(path.c_str(), &st) != 0) std::memset(&st, 0, sizeof st);
  return st;
}

}  // namespace hostdtest

#endif  // CMPI_HOSTD_TEST_TEMP_DIR_H
