// process_watch.cpp - /proc/<pid>/stat and statm.
#include "process_watch.h"

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace hostd {
namespace {

// The text of a small /proc file, or "" when it cannot be read.
std::string read_small(const char *path) {
  int fd = open(path, O_RDONLY | O_CLOEXEC);
  if (fd < 0) return "";
  char buffer[1024];
  ssize_t n = read(fd, buffer, sizeof buffer - 1);
  close(fd);
  if (n <= 0) return "";
  return std::string(buffer, static_cast<std::size_t>(n));
}

// The fields of /proc/<pid>/stat after the command name (which may hold blanks and ')').
std::string stat_fields(pid_t pid) {
  char path[64];
  std::snprintf(path, sizeof path, "/proc/%d/stat", static_cast<int>(pid));
  std::string text = read_small(path);
  std::size_t close_paren = text.rfind(')');
  if (close_paren == std::string::npos || close_paren + 2 > text.size()) return "";
  return text.substr(close_paren + 2);
}

}  // namespace

bool read_usage(pid_t pid, ProcessUsage *usage) {
  // Fields after the name: state(3) ppid(4) ... utime(14) stime(15), counted from 1.
  std::string fields = stat_fields(pid);
  if (fields.empty()) return false;
  unsigned long long utime = 0;
  unsigned long long stime = 0;
  if (std::sscanf(fields.c_str(), "%*c %*d %*d %*d %*d %*d %*u %*u %*u %*u %*u %llu %llu", &utime,
                  &stime) != 2) {
    return false;
  }
  static const long ticks = sysconf(_SC_CLK_TCK);
  usage->cpu_ms = static_cast<long long>((utime + stime) * 1000ull / static_cast<unsigned long long>(ticks));
  char path[64];
  std::snprintf(path, sizeof path, "/proc/%d/statm", static_cast<int>(pid));
  std::string statm = read_small(path);
  unsigned long long size = 0;
  unsigned long long resident = 0;
  if (std::sscanf(statm.c_str(), "%llu %llu", &size, &resident) != 2) return false;
  static const long page_kib = sysconf(_SC_PAGESIZE) / 1024;
  usage->rss_kib = static_cast<long long>(resident) * page_kib;
  return true;
}

namespace {

// The kernel's own list of children, one file per thread of the parent; false when this kernel
// does not keep it.
bool children_from_task_files(pid_t parent, std::vector<pid_t> *children) {
  char path[64];
  std::snprintf(path, sizeof path, "/proc/%d/task", static_cast<int>(parent));
  DIR *tasks = opendir(path);
  if (tasks == nullptr) return false;
  bool found_any_file = false;
  while (struct dirent *entry = readdir(tasks)) {
    if (entry->d_name[0] == '.') continue;
    std::string file = std::string(path) + "/" + entry->d_name + "/children";
    int fd = open(file.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) continue;
    found_any_file = true;
    std::string text;
    char buffer[4096];
    ssize_t n;
    while ((n = read(fd, buffer, sizeof buffer)) > 0) text.append(buffer, static_cast<std::size_t>(n));
    close(fd);
    const char *at = text.c_str();
    char *end = nullptr;
    for (long pid = std::strtol(at, &end, 10); end != at; pid = std::strtol(at, &end, 10)) {
      if (pid > 0) children->push_back(static_cast<pid_t>(pid));
      at = end;
    }
  }
  closedir(tasks);
  return found_any_file;
}

}  // namespace

std::vector<pid_t> children_of(pid_t parent) {
  std::vector<pid_t> children;
  if (children_from_task_files(parent, &children)) return children;
  children.clear();
  DIR *proc = opendir("/proc");
  if (proc == nullptr) return children;
  while (struct dirent *entry = readdir(proc)) {
    char *end = nullptr;
    long pid = std::strtol(entry->d_name, &end, 10);
    if (end == entry->d_name || *end != '\0' || pid <= 0) continue;
    std::string fields = stat_fields(static_cast<pid_t>(pid));
    int ppid = 0;
    if (!fields.empty() && std::sscanf(fields.c_str(), "%*c %d", &ppid) == 1 && ppid == parent) {
      children.push_back(static_cast<pid_t>(pid));
    }
  }
  closedir(proc);
  return children;
}

}  // namespace hostd
