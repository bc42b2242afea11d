// resident_pages.cpp - distinct physical pages of a group of processes, from /proc pagemap.
#include "resident_pages.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <string>
#include <unordered_set>

namespace bench {
namespace {

constexpr uint64_t kPresent = uint64_t{1} << 63;
constexpr uint64_t kFrameMask = (uint64_t{1} << 55) - 1;

// Adds the frames of pid's present pages to *frames; false when pid cannot be read or its
// frame numbers are hidden.
bool add_frames(pid_t pid, std::unordered_set<uint64_t> *frames) {
  const std::string proc = "/proc/" + std::to_string(pid);
  std::ifstream maps(proc + "/maps");
  const int pagemap = open((proc + "/pagemap").c_str(), O_RDONLY | O_CLOEXEC);
  if (!maps || pagemap < 0) {
    if (pagemap >= 0) close(pagemap);
    return false;
  }
  const long page = sysconf(_SC_PAGESIZE);
  bool hidden = false;
  std::string line;
  while (std::getline(maps, line)) {
    char *end = nullptr;
    const uint64_t start = std::strtoull(line.c_str(), &end, 16);
    const uint64_t stop = std::strtoull(end + 1, nullptr, 16);
    // The legacy vsyscall page lies outside what pagemap describes.
    if (line.find("[vsyscall]") != std::string::npos) continue;
    for (uint64_t at = start; at < stop;) {
      uint64_t entries[512];
      const uint64_t count = std::min<uint64_t>(512, (stop - at) / page);
      const ssize_t got = pread(pagemap, entries, count * sizeof(uint64_t),
                                static_cast<off_t>(at / page * sizeof(uint64_t)));
      if (got <= 0) break;
      for (ssize_t i = 0; i < got / static_cast<ssize_t>(sizeof(uint64_t)); ++i) {
        if ((entries[i] & kPresent) == 0) continue;
        const uint64_t frame = entries[i] & kFrameMask;
        if (frame == 0) hidden = true;
        frames->insert(frame);
      }
      at += static_cast<uint64_t>(got) / sizeof(uint64_t) * page;
    }
  }
  close(pagemap);
  return !hidden;
}

}  // namespace

long distinct_resident_kib(const std::vector<pid_t> &pids) {
  std::unordered_set<uint64_t> frames;
  for (pid_t pid : pids) {
    if (!add_frames(pid, &frames)) return -1;
  }
  return static_cast<long>(frames.size() * (sysconf(_SC_PAGESIZE) / 1024));
}

}  // namespace bench
