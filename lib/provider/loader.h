// loader.h - opening a class's provider library and finding one entry point in it (internal).
#ifndef CMPIUTILITY_PROVIDER_LOADER_H
#define CMPIUTILITY_PROVIDER_LOADER_H

#include <dlfcn.h>

namespace cmpiutility {

// dlopen mode of provider libraries: lazy binding, own symbols first, exported to later loads.
// Sanitizer runtimes refuse libraries opened with RTLD_DEEPBIND, so the sanitized build drops it.
#ifdef CMPIUTILITY_SANITIZED
inline constexpr int kProviderOpenMode = RTLD_LAZY | RTLD_GLOBAL;
#else
inline constexpr int kProviderOpenMode = RTLD_LAZY | RTLD_DEEPBIND | RTLD_GLOBAL;
#endif

}  // namespace cmpiutility

// Finds the provider of className in the schema database, opens "<directory>lib<name>.so" (the
// provider name lower-cased, the directory from cmpiutility::provider_directory()) and looks up
// symbolName in it. Returns 0 with *handle holding the open library and *entry the symbol's
// address; the caller dlcloses *handle once the call into the provider is finished. Returns 1
// after a level-2 line on any failure, with nothing left open; *handle and *entry are then NULL,
// or untouched when the failure came before the library was opened.
int localloadProvider(const char *className, const char *symbolName, void **handle, void **entry);

#endif
