// provider_loader.cpp - dlopen and the MI factories.
#include "provider_loader.h"

#include <cmpiutility/records.h>
#include <dlfcn.h>

namespace hostd {

ProviderLibrary::~ProviderLibrary() { close(); }

bool ProviderLibrary::open(const std::string &path, std::string *why) {
  close();
  handle_ = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (handle_ == nullptr) {
    const char *error = dlerror();
    *why = error != nullptr ? error : "unknown dlopen failure";
    return false;
  }
  return true;
}

void *ProviderLibrary::factory(const std::string &provider, MIKind kind, bool *generic) const {
  if (handle_ == nullptr) return nullptr;
  std::string specific = provider + "_Create_" + wire::mi_kind_name(kind) + "MI";
  void *symbol = dlsym(handle_, specific.c_str());
  *generic = false;
  if (symbol != nullptr) return symbol;
  std::string fallback = std::string("_Generic_Create_") + wire::mi_kind_name(kind) + "MI";
  symbol = dlsym(handle_, fallback.c_str());
  *generic = symbol != nullptr;
  return symbol;
}

void ProviderLibrary::close() {
  if (handle_ != nullptr) dlclose(handle_);
  handle_ = nullptr;
}

CreateOutcome create_mi(const ProviderLibrary &library, const std::string &provider, MIKind kind,
                        const CMPIBroker *broker, const CMPIContext *ctx, void **mi,
                        CMPIStatus *rc) {
  bool generic = false;
  void *symbol = library.factory(provider, kind, &generic);
  *mi = nullptr;
  rc->rc = CMPI_RC_OK;
  rc->msg = nullptr;
  if (symbol == nullptr) return CreateOutcome::kNoFactory;
  const char *name = provider.c_str();
  switch (kind) {
    case MIKind::kInstance:
      *mi = generic ? reinterpret_cast<CMPIGenericInstanceMIFactory>(symbol)(broker, ctx, name, rc)
                    : reinterpret_cast<CMPIInstanceMIFactory>(symbol)(broker, ctx, rc);
      break;
    case MIKind::kMethod:
      *mi = generic ? reinterpret_cast<CMPIGenericMethodMIFactory>(symbol)(broker, ctx, name, rc)
                    : reinterpret_cast<CMPIMethodMIFactory>(symbol)(broker, ctx, rc);
      break;
    case MIKind::kAssociation:
      *mi = generic
                ? reinterpret_cast<CMPIGenericAssociationMIFactory>(symbol)(broker, ctx, name, rc)
                : reinterpret_cast<CMPIAssociationMIFactory>(symbol)(broker, ctx, rc);
      break;
    case MIKind::kNone:
      return CreateOutcome::kNoFactory;
  }
  if (*mi == nullptr || rc->rc != CMPI_RC_OK) return CreateOutcome::kFactoryFailed;
  return CreateOutcome::kCreated;
}

}  // namespace hostd
