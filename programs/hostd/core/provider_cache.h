// provider_cache.h - the providers a worker has loaded.
//
// A provider whose class the schema database marks UnloadNever is loaded once per worker: its
// library stays open and each MI it creates is reused for every later request, until the
// worker retires (clear), when each MI gets its cleanup with terminating true, once. Any other
// provider stays loaded after its request until it has gone unused for the idle time given
// (unload_idle, called by the worker between requests; an idle time of 0 unloads it at once):
// then cleanup (terminating true) is called once per MI and the library closed. A provider
// whose library waits for its own threads when unloaded so pays that once, not per request.
#ifndef CMPI_HOSTD_PROVIDER_CACHE_H
#define CMPI_HOSTD_PROVIDER_CACHE_H

#include <cmpidt.h>
#include <cmpift.h>

#include <map>
#include <memory>
#include <string>

#include "provider_loader.h"

namespace hostd {

class ProviderCache {
 public:
  ProviderCache() = default;
  ~ProviderCache();
  ProviderCache(const ProviderCache &) = delete;
  ProviderCache &operator=(const ProviderCache &) = delete;

  enum class Outcome { kReady, kLoadFailed, kNoFactory, kFactoryFailed };

  // The MI of kind for provider, loading the library and calling the factory when needed.
  // persistent: the provider stays loaded after the request. *created gets the factory's
  // status when a factory was called (message owned by the caller); *why the loader's error.
  Outcome acquire(const std::string &provider, const std::string &library_path, MIKind kind,
                  bool persistent, const CMPIBroker *broker, const CMPIContext *ctx, void **mi,
                  CMPIStatus *created, std::string *why);

  // After a request, at now_ms: the provider was used. With idle_ms 0 it is unloaded at once
  // unless persistent.
  void release(const std::string &provider, const CMPIContext *ctx, long long now_ms,
               long long idle_ms);

  // Unloads every provider that is not persistent and was last used idle_ms or more before
  // now_ms. Returns how many were unloaded.
  std::size_t unload_idle(const CMPIContext *ctx, long long now_ms, long long idle_ms);

  // When the next provider becomes idle (a point of now_ms's clock), or -1 when none will.
  long long next_idle(long long idle_ms) const;

  // Unloads every provider (the worker retires).
  void clear(const CMPIContext *ctx);

  bool loaded(const std::string &provider) const { return entries_.count(provider) != 0; }
  std::size_t size() const { return entries_.size(); }

 private:
  struct Entry {
    std::unique_ptr<ProviderLibrary> library;
    std::map<MIKind, void *> mis;
    bool persistent = false;
    long long last_used_ms = 0;
  };
  void unload(const std::string &provider, Entry &entry, const CMPIContext *ctx);

  std::map<std::string, Entry> entries_;
};

}  // namespace hostd

#endif  // CMPI_HOSTD_PROVIDER_CACHE_H
