// provider_cache.cpp - loading, reusing and unloading providers in a worker.
#include "provider_cache.h"

#include <cmpimacs.h>

#include "log.h"
#include "mi_call.h"

namespace hostd {

ProviderCache::~ProviderCache() { clear(nullptr); }

ProviderCache::Outcome ProviderCache::acquire(const std::string &provider,
                                              const std::string &library_path, MIKind kind,
                                              bool persistent, const CMPIBroker *broker,
                                              const CMPIContext *ctx, void **mi,
                                              CMPIStatus *created, std::string *why) {
  created->rc = CMPI_RC_OK;
  created->msg = nullptr;
  *mi = nullptr;
  Entry &entry = entries_[provider];
  if (!entry.library) {
    entry.library = std::make_unique<ProviderLibrary>();
    if (!entry.library->open(library_path, why)) {
      entries_.erase(provider);
      return Outcome::kLoadFailed;
    }
    HOSTD_TRACE("provider %s loaded from %s%s", provider.c_str(), library_path.c_str(),
                persistent ? " (kept loaded: UnloadNever)" : "");
  }
  entry.persistent = entry.persistent || persistent;
  auto found = entry.mis.find(kind);
  if (found != entry.mis.end()) {
    *mi = found->second;
    return Outcome::kReady;
  }
  switch (create_mi(*entry.library, provider, kind, broker, ctx, mi, created)) {
    case CreateOutcome::kNoFactory:
      if (entry.mis.empty()) entries_.erase(provider);
      return Outcome::kNoFactory;
    case CreateOutcome::kFactoryFailed:
      if (entry.mis.empty()) entries_.erase(provider);
      return Outcome::kFactoryFailed;
    case CreateOutcome::kCreated:
      break;
  }
  entry.mis[kind] = *mi;
  return Outcome::kReady;
}

void ProviderCache::unload(const std::string &provider, Entry &entry, const CMPIContext *ctx) {
  for (auto &mi : entry.mis) {
    CMPIStatus st = cleanup_mi(mi.first, mi.second, ctx, true);
    HOSTD_TRACE("provider %s: %s MI cleanup returned %d", provider.c_str(),
                wire::mi_kind_name(mi.first), static_cast<int>(st.rc));
    if (st.msg != nullptr) CMRelease(st.msg);
  }
  entry.mis.clear();
  entry.library.reset();
}

void ProviderCache::release(const std::string &provider, const CMPIContext *ctx) {
  auto it = entries_.find(provider);
  if (it == entries_.end() || it->second.persistent) return;
  unload(provider, it->second, ctx);
  entries_.erase(it);
}

void ProviderCache::clear(const CMPIContext *ctx) {
  for (auto &entry : entries_) unload(entry.first, entry.second, ctx);
  entries_.clear();
}

}  // namespace hostd
