// mof_reader.cpp - see mof_reader.h.
#include "mof_reader.h"

namespace mof {

void MofReader::read(const std::string &path, const std::string &nameSpace, MofDocument &doc) {
  open_.clear();
  readFile(path, nullptr, nameSpace, doc);
}

void MofReader::include(const std::string &path, const SourceLocation &where,
                        const std::string &nameSpace, MofDocument &doc) {
  std::string resolved = path;
  if (path[0] != '/') {
    const std::string &includer = open_.back().path;
    const std::size_t slash = includer.rfind('/');
    if (slash != std::string::npos) resolved = includer.substr(0, slash + 1) + path;
  }
  readFile(resolved, &where, nameSpace, doc);
}

void MofReader::readFile(const std::string &path, const SourceLocation *includedAt,
                         const std::string &nameSpace, MofDocument &doc) {
  const SourceLocation where = includedAt != nullptr ? *includedAt : SourceLocation{path, 0, 0};
  const std::string what = includedAt != nullptr ? "included file " + path : "the file";
  if (open_.size() >= kMaxIncludeDepth)
    throw MofError(where, "includes nested more than " + std::to_string(kMaxIncludeDepth) +
                              " deep at " + path);
  if (++filesRead_ > kMaxFiles)
    throw MofError(where, "more than " + std::to_string(kMaxFiles) + " files read");
  SourceText source;
  std::string reason;
  if (!sources_.read(path, source, reason))
    throw MofError(where, "cannot read " + what + ": " + reason);
  bytesRead_ += source.text.size();
  if (bytesRead_ > kMaxTotalBytes)
    throw MofError(where, "more than 64 MiB of MOF text read (at " + path + ")");
  for (std::size_t i = 0; i < open_.size(); ++i) {
    if (open_[i].identity != source.identity) continue;
    std::string cycle;
    for (std::size_t j = i; j < open_.size(); ++j) cycle += open_[j].path + " -> ";
    throw MofError(where, "include cycle: " + cycle + path);
  }
  open_.push_back({source.identity, path});
  ParseMof(path, source.text, nameSpace, *this, doc);
  open_.pop_back();
}

}  // namespace mof
