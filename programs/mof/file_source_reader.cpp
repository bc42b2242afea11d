// file_source_reader.cpp - see file_source_reader.h.
#include "file_source_reader.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace mof {

namespace {

// Closes the descriptor when it goes out of scope.
class Descriptor {
 public:
  explicit Descriptor(int fd) : fd_(fd) {}
  ~Descriptor() {
    if (fd_ >= 0) close(fd_);
  }
  Descriptor(const Descriptor &) = delete;
  Descriptor &operator=(const Descriptor &) = delete;
  int get() const { return fd_; }

 private:
  int fd_;
};

}  // namespace

bool FileSourceReader::read(const std::string &path, SourceText &out, std::string &error) {
  Descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  if (file.get() < 0) {
    error = std::strerror(errno);
    return false;
  }
  struct stat info {};
  if (fstat(file.get(), &info) != 0) {
    error = std::strerror(errno);
    return false;
  }
  if (!S_ISREG(info.st_mode)) {
    error = S_ISDIR(info.st_mode) ? "is a folder" : "is not a regular file";
    return false;
  }
  out.identity = std::to_string(info.st_dev) + ":" + std::to_string(info.st_ino);
  out.text.clear();
  char buffer[65536];
  while (true) {
    const ssize_t got = ::read(file.get(), buffer, sizeof buffer);
    if (got < 0) {
      if (errno == EINTR) continue;
      error = std::strerror(errno);
      return false;
    }
    if (got == 0) return true;
    if (out.text.size() + static_cast<std::size_t>(got) > kMaxBytes) {
      error = "larger than 16 MiB";
      return false;
    }
    out.text.append(buffer, static_cast<std::size_t>(got));
  }
}

}  // namespace mof
