// schema_cache.h - a worker's memory of the schema database.
//
// Which provider serves a class, and whether the class is marked UnloadNever, are read from the
// schema database once per worker and class (GetProviderName, GetProviderUnloadStatus: each
// opens the database) and kept while the database file stays as it was: its device, inode, size
// and modification and change times are compared on every look-up (one stat; a change of its
// mode or owner counts too), and any change forgets everything known. Classes without a provider are remembered too.
#ifndef CMPI_HOSTD_SCHEMA_CACHE_H
#define CMPI_HOSTD_SCHEMA_CACHE_H

#include <sys/stat.h>

#include <map>
#include <string>

namespace hostd {

class SchemaCache {
 public:
  enum class Lookup {
    kFound,       // *provider and *persistent are filled
    kNoProvider,  // the database names no provider for the class
    kUnreadable,  // the database cannot be opened; *why says why
  };

  // database: the schema database's path (the one the library reads).
  Lookup provider_of(const std::string &database, const std::string &class_name,
                     std::string *provider, bool *persistent, std::string *why);

  std::size_t size() const { return entries_.size(); }

 private:
  struct Entry {
    bool found = false;
    std::string provider;
    bool persistent = false;
  };
  bool same_file(const struct stat &st) const;

  std::map<std::string, Entry> entries_;
  bool stamped_ = false;
  struct stat stamp_ = {};
};

}  // namespace hostd

#endif  // CMPI_HOSTD_SCHEMA_CACHE_H
