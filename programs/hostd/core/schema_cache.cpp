// schema_cache.cpp - provider look-ups kept while the schema database is unchanged.
#include "schema_cache.h"

#include <cmpiutility/schema.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "class_definition.h"

namespace hostd {

bool SchemaCache::same_file(const struct stat &st) const {
  return stamped_ && st.st_dev == stamp_.st_dev && st.st_ino == stamp_.st_ino &&
         st.st_size == stamp_.st_size && st.st_mtim.tv_sec == stamp_.st_mtim.tv_sec &&
         st.st_mtim.tv_nsec == stamp_.st_mtim.tv_nsec &&
         st.st_ctim.tv_sec == stamp_.st_ctim.tv_sec &&
         st.st_ctim.tv_nsec == stamp_.st_ctim.tv_nsec;
}

bool SchemaCache::check_stamp(const std::string &database, std::string *why) {
  if (checked_ && database == checked_database_) return true;
  checked_ = false;
  struct stat st;
  if (stat(database.c_str(), &st) != 0) {
    const int error = errno;
    entries_.clear();
    defaults_.clear();
    graph_loaded_ = false;
    stamped_ = false;
    // The database's own reason (what SQLite says), as the uncached look-up gives it.
    if (schema_database_opens(database, why)) *why = database + ": " + std::strerror(error);
    return false;
  }
  if (!same_file(st)) {
    entries_.clear();
    defaults_.clear();
    graph_loaded_ = false;
    stamp_ = st;
    stamped_ = true;
  }
  checked_ = true;
  checked_database_ = database;
  return true;
}

const ClassGraph *SchemaCache::graph(const std::string &database, std::string *why) {
  if (!check_stamp(database, why)) return nullptr;
  if (!graph_loaded_) {
    if (!graph_.load(database, why)) return nullptr;
    graph_loaded_ = true;
  }
  return &graph_;
}

const std::vector<PropertyDefault> &SchemaCache::defaults_of(const std::string &database,
                                                             const std::string &class_name) {
  std::string why;
  if (!check_stamp(database, &why)) {
    static const std::vector<PropertyDefault> none;
    return none;
  }
  const std::string key = lower_name(class_name);
  auto found = defaults_.find(key);
  if (found == defaults_.end()) {
    found = defaults_.emplace(key, load_class_defaults(database, class_name)).first;
  }
  return found->second;
}

SchemaCache::Lookup SchemaCache::provider_of(const std::string &database,
                                             const std::string &class_name,
                                             std::string *provider, bool *persistent,
                                             std::string *why) {
  if (!check_stamp(database, why)) return Lookup::kUnreadable;
  auto known = entries_.find(class_name);
  if (known == entries_.end()) {
    // GetProviderName ends the process when the database cannot be read (kept for its
    // callers), so the database is tried first.
    if (!schema_database_opens(database, why)) return Lookup::kUnreadable;
    Entry entry;
    char *name = GetProviderName(class_name.c_str());
    if (name != nullptr) {
      entry.found = true;
      entry.provider = name;
      std::free(name);
      entry.persistent = GetProviderUnloadStatus(const_cast<char *>(class_name.c_str()), 1) == 1;
    }
    known = entries_.emplace(class_name, entry).first;
  }
  if (!known->second.found) return Lookup::kNoProvider;
  *provider = known->second.provider;
  *persistent = known->second.persistent;
  return Lookup::kFound;
}

}  // namespace hostd
