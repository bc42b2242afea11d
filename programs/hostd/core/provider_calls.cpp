// provider_calls.cpp - schema look-up, library check and MI creation for one request.
#include "provider_calls.h"

#include <cmpimacs.h>
#include <sys/stat.h>

#include "clock.h"
#include "locations.h"
#include "log.h"
#include "log_text.h"
#include "status_names.h"

namespace hostd {
using wire::log_text;

namespace {

bool enumerates(MiOperation operation) {
  return operation == MiOperation::kEnumerateInstances ||
         operation == MiOperation::kEnumerateInstanceNames ||
         operation == MiOperation::kExecQuery;
}

}  // namespace

bool ProviderCalls::find_mi(const std::string &class_name, MiOperation operation,
                            const CMPIContext *ctx, void **mi, std::string *provider,
                            Failure *failure) {
  const wire::MIKind kind = mi_kind_of(operation);
  std::string why;
  bool persistent = false;
  switch (schema_.provider_of(schema_database_path(), class_name, provider, &persistent, &why)) {
    case SchemaCache::Lookup::kUnreadable:
      HOSTD_ERROR("request failed: the schema database cannot be opened: %s", why.c_str());
      *failure = {CMPI_RC_ERR_FAILED, "the schema database cannot be opened"};
      return false;
    case SchemaCache::Lookup::kNoProvider:
      HOSTD_ERROR("request failed: class %s has no provider in the schema database",
                  log_text(class_name).c_str());
      *failure = {CMPI_RC_ERR_INVALID_CLASS,
                  "class " + class_name + " has no provider in the schema database"};
      return false;
    case SchemaCache::Lookup::kFound:
      break;
  }
  const std::string library = provider_library_path(*provider);
  struct stat st;
  if (stat(library.c_str(), &st) != 0 || !S_ISREG(st.st_mode)) {
    HOSTD_ERROR("request failed: the library %s of provider %s (class %s) is missing",
                library.c_str(), log_text(*provider).c_str(), log_text(class_name).c_str());
    *failure = {CMPI_RC_ERR_INVALID_CLASS, "the library of provider " + *provider + " is missing"};
    return false;
  }
  const char *kind_name = wire::mi_kind_name(kind);
  CMPIStatus created = {CMPI_RC_OK, nullptr};
  const ProviderCache::Outcome outcome =
      providers_.acquire(*provider, library, kind, persistent, broker_, ctx, mi, &created, &why);
  if (outcome != ProviderCache::Outcome::kLoadFailed) touched_.insert(*provider);
  std::string factory_message;
  if (created.msg != nullptr) {
    if (created.msg->hdl != nullptr) factory_message = static_cast<const char *>(created.msg->hdl);
    CMRelease(created.msg);
  }
  switch (outcome) {
    case ProviderCache::Outcome::kLoadFailed:
      HOSTD_ERROR("provider library %s of provider %s cannot be loaded: %s", library.c_str(),
                  provider->c_str(), log_text(why).c_str());
      *failure = {CMPI_RC_ERR_FAILED, "provider " + *provider + " cannot be loaded"};
      return false;
    case ProviderCache::Outcome::kNoFactory:
      if (enumerates(operation) && graph().is_association(class_name)) {
        HOSTD_TRACE("class %s: provider %s offers no Instance MI; the association class "
                    "enumerates as empty",
                    log_text(class_name).c_str(), provider->c_str());
        *failure = {CMPI_RC_OK, "", true};
        return false;
      }
      HOSTD_ERROR("provider %s offers no %s MI (neither %s_Create_%sMI nor _Generic_Create_%sMI)",
                  provider->c_str(), kind_name, provider->c_str(), kind_name, kind_name);
      *failure = {CMPI_RC_ERR_NOT_SUPPORTED,
                  "provider " + *provider + " offers no " + kind_name + " MI"};
      return false;
    case ProviderCache::Outcome::kFactoryFailed: {
      const int rc = created.rc != CMPI_RC_OK ? static_cast<int>(created.rc) : CMPI_RC_ERR_FAILED;
      HOSTD_ERROR("the %s MI factory of provider %s failed with %d", kind_name, provider->c_str(),
                  rc);
      *failure = {rc, factory_message.empty()
                          ? "the " + std::string(kind_name) + " MI factory of provider " +
                                *provider + " failed"
                          : factory_message};
      return false;
    }
    case ProviderCache::Outcome::kReady:
      break;
  }
  return true;
}

const ClassGraph &ProviderCalls::graph() {
  std::string why;
  const ClassGraph *graph = schema_.graph(schema_database_path(), &why);
  return graph != nullptr ? *graph : empty_graph_;
}

const std::vector<PropertyDefault> &ProviderCalls::defaults_of(const std::string &class_name) {
  return schema_.defaults_of(schema_database_path(), class_name);
}

void ProviderCalls::log_failure(const std::string &provider, const char *function,
                                const std::string &class_name, const CMPIStatus &st,
                                bool upcall) const {
  const char *message = st.msg != nullptr && st.msg->hdl != nullptr
                            ? static_cast<const char *>(st.msg->hdl)
                            : nullptr;
  const int rc = static_cast<int>(st.rc);
  HOSTD_ERROR("provider %s failed %s of %s for %s: %s (%d): %s%s", log_text(provider).c_str(),
              function, log_text(class_name).c_str(), log_text(user_).c_str(),
              wire::rc_name(rc).c_str(), rc,
              message != nullptr ? log_text(message).c_str() : "(no message)",
              upcall ? " (up-call)" : "");
}

void ProviderCalls::release(const CMPIContext *ctx, long long idle_ms) {
  const long long now = now_ms();
  for (const std::string &provider : touched_) providers_.release(provider, ctx, now, idle_ms);
  touched_.clear();
}

}  // namespace hostd
