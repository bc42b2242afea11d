// schema_cache.h - a worker's memory of the schema database.
//
// Which provider serves a class, and whether the class is marked UnloadNever, are read from the
// schema database once per worker and class (GetProviderName, GetProviderUnloadStatus: each
// opens the database) and kept while the database file stays as it was: its device, inode, size
// and modification and change times are compared at the first look-up of each request (one
// stat; a change of its mode or owner counts too), and any change forgets everything known.
// Within one request the file is taken as it was at that first look-up: an enumeration whose
// provider makes an instance through the broker (which reads the class's defaults) would
// otherwise stat the file once per instance. Classes without a provider
// are remembered too. The class hierarchy (ClassGraph) is read on first use and kept the same way.
#ifndef CMPI_HOSTD_SCHEMA_CACHE_H
#define CMPI_HOSTD_SCHEMA_CACHE_H

#include <sys/stat.h>

#include <map>
#include <string>

#include "class_defaults.h"
#include "class_graph.h"

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

  // The class hierarchy of the database; NULL with *why when the database cannot be read.
  const ClassGraph *graph(const std::string &database, std::string *why);

  // The property defaults of class_name (empty when none or unreadable).
  const std::vector<PropertyDefault> &defaults_of(const std::string &database,
                                                  const std::string &class_name);

  std::size_t size() const { return entries_.size(); }

  // A new request begins: its first look-up checks the file again.
  void begin_request() { checked_ = false; }

 private:
  struct Entry {
    bool found = false;
    std::string provider;
    bool persistent = false;
  };
  bool same_file(const struct stat &st) const;
  // Stats the database and forgets everything when it changed; false with *why when it is gone.
  bool check_stamp(const std::string &database, std::string *why);
  bool checked_ = false;          // the file was found unchanged during this request
  std::string checked_database_;  // ... at this path

  std::map<std::string, Entry> entries_;
  ClassGraph graph_;
  std::map<std::string, std::vector<PropertyDefault>> defaults_;  // by lower-case class name
  bool graph_loaded_ = false;
  bool stamped_ = false;
  struct stat stamp_ = {};
};

}  // namespace hostd

#endif  // CMPI_HOSTD_SCHEMA_CACHE_H
