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

void ProviderCache::release(const std::string &provider, const CMPIContext *ctx,
                            long long now_ms, long long idle_ms) {
  auto it = entries_.find(provider);
  if (it == entries_.end() || it->second.persistent) return;
  it->second.last_used_ms = now_ms;
  if (idle_ms > 0) return;
  unload(provider, it->second, ctx);
  entries_.erase(it);
}

std::size_t ProviderCache::unload_idle(const CMPIContext *ctx, long long now_ms,
                                       long long idle_ms) {
  std::size_t unloaded = 0;
  for (auto it = entries_.begin(); it != entries_.end();) {
    Entry &entry = it->second;
    if (!entry.persistent && now_ms - entry.last_used_ms >= idle_ms) {
      HOSTD_TRACE("provider %s was unused for %lld s: unloaded", it->first.c_str(),
                  idle_ms / 1000);
      unload(it->first, entry, ctx);
      it = entries_.erase(it);
      ++unloaded;
    } else {
      ++it;
    }
  }
  return unloaded;
}

long long ProviderCache::next_idle(long long idle_ms) const {
  long long next = -1;
  for (const auto &entry : entries_) {
    if (entry.second.persistent) continue;
    const long long when = entry.second.last_used_ms + idle_ms;
    if (next < 0 || when < next) next = when;
  }
  return next;
}

void ProviderCache::clear(const CMPIContext *ctx) {
  for (auto &entry : entries_) unload(entry.first, entry.second, ctx);
  entries_.clear();
}

}  // namespace hostd
