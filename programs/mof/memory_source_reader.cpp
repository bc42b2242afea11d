// memory_source_reader.cpp - see memory_source_reader.h.
#include "memory_source_reader.h"

#include <vector>

namespace mof {

namespace {

std::string Normalise(const std::string &path) {
  std::vector<std::string> parts;
  std::size_t start = 0;
  while (start <= path.size()) {
    std::size_t end = path.find('/', start);
    if (end == std::string::npos) end = path.size();
    const std::string part = path.substr(start, end - start);
    if (part == "..") {
      if (!parts.empty() && parts.back() != "..")
        parts.pop_back();
      else
        parts.push_back(part);
    } else if (!part.empty() && part != ".") {
      parts.push_back(part);
    }
    start = end + 1;
  }
  std::string result = !path.empty() && path[0] == '/' ? "/" : "";
  for (std::size_t i = 0; i < parts.size(); ++i) result += (i > 0 ? "/" : "") + parts[i];
  return result;
}

}  // namespace

void MemorySourceReader::add(const std::string &path, std::string text) {
  files_[Normalise(path)] = std::move(text);
}

bool MemorySourceReader::read(const std::string &path, SourceText &out, std::string &error) {
  const std::string key = Normalise(path);
  const auto found = files_.find(key);
  if (found == files_.end()) {
    error = "No such file or directory";
    return false;
  }
  if (found->second.size() > kMaxBytes) {
    error = "larger than 16 MiB";
    return false;
  }
  out.identity = key;
  out.text = found->second;
  return true;
}

}  // namespace mof
