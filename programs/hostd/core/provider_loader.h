// provider_loader.h - opening a provider library and creating one of its MIs.
//
// The library is "<provider directory>lib<provider name in lower case>.so". An MI comes from the
// specific factory "<ProviderName>_Create_<Kind>MI" (the name as the schema database spells it)
// or, when the library has none, from the generic factory "_Generic_Create_<Kind>MI" called
// with the provider name.
#ifndef CMPI_HOSTD_PROVIDER_LOADER_H
#define CMPI_HOSTD_PROVIDER_LOADER_H

#include <cmpidt.h>
#include <cmpift.h>

#include <string>

#include "operations.h"

namespace hostd {

using wire::MIKind;

class ProviderLibrary {
 public:
  ProviderLibrary() = default;
  ~ProviderLibrary();
  ProviderLibrary(const ProviderLibrary &) = delete;
  ProviderLibrary &operator=(const ProviderLibrary &) = delete;

  // dlopen (RTLD_NOW | RTLD_LOCAL: a library with unresolved symbols fails here, not in the
  // middle of a call). *why carries dlerror().
  bool open(const std::string &path, std::string *why);

  // The factory's address (specific first, then generic); *generic tells which. NULL if none.
  void *factory(const std::string &provider, MIKind kind, bool *generic) const;

  void close();

 private:
  void *handle_ = nullptr;
};

enum class CreateOutcome { kCreated, kNoFactory, kFactoryFailed };

// Calls the factory of kind; *mi is the MI object (CMPIInstanceMI*, CMPIMethodMI* or
// CMPIAssociationMI*), *rc the factory's status.
CreateOutcome create_mi(const ProviderLibrary &library, const std::string &provider, MIKind kind,
                        const CMPIBroker *broker, const CMPIContext *ctx, void **mi,
                        CMPIStatus *rc);

}  // namespace hostd

#endif  // CMPI_HOSTD_PROVIDER_LOADER_H
