// Provider library loading: from a CIM class name to an open library and an entry address.
#include "provider/loader.h"

#include <cmpiutility/schema.h>
#include <ctype.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <string>

#include "heap/heap.h"
#include "log/log.h"
#include "paths/fixed_paths.h"

namespace {

// dlerror() gives NULL when no error is pending; log lines print that as "(null)".
const char *loader_error() {
  const char *text = dlerror();
  return text != nullptr ? text : "(null)";
}

// The symbol step: looks symbolName up in the open library. When it is missing, the library is
// closed again and *handle cleared, so no handle is left behind. Traced under its own name.
void *getSymHandler(void **handle, const char *symbolName) {
  CMPIU_TRACE_FUNCTION();
  CMPIU_TRACE("dlopen success, symbol to be called %s", symbolName);
  void *symbol = dlsym(*handle, symbolName);
  if (symbol == nullptr) {
    CMPIU_ERROR("Error: dlsym '%s'", loader_error());
    dlclose(*handle);
    *handle = nullptr;
  }
  return symbol;
}

}  // namespace

int localloadProvider(const char *className, const char *symbolName, void **handle, void **entry) {
  char *providerName = GetProviderName(className);
  if (providerName == nullptr) {
    CMPIU_ERROR("ERROR: GetProviderName failed");
    return 1;
  }
  CMPIU_TRACE("1. providerName = '%s'", providerName);
  // Library files are named after the provider in lower case, whatever case the schema uses.
  for (char *c = providerName; *c != '\0'; ++c) {
    *c = static_cast<char>(tolower(static_cast<unsigned char>(*c)));
  }
  CMPIU_TRACE("providerName = '%s'", providerName);

  const std::string directory = cmpiutility::provider_directory();
  // Directory, "lib", the name, ".so" and the NUL.
  const size_t size = directory.size() + strlen(providerName) + 7;
  char *libPath = static_cast<char *>(cmpiu_calloc(size, sizeof(char)));
  if (libPath == nullptr) {
    CMPIU_ERROR("libPath memory allocation failed");
    free(providerName);
    return 1;
  }
  snprintf(libPath, size, "%slib%s.so", directory.c_str(), providerName);
  CMPIU_TRACE("Class Name = %s libPath = '%s'", className, libPath);
  CMPIU_TRACE("libpath to be open : %s", libPath);

  void *symbol = nullptr;
  *handle = dlopen(libPath, cmpiutility::kProviderOpenMode);
  if (*handle == nullptr) {
    CMPIU_ERROR("Error: dlopen '%s'", loader_error());
  } else {
    symbol = getSymHandler(handle, symbolName);
  }
  *entry = symbol;
  free(libPath);
  free(providerName);

  if (*handle != nullptr && *entry != nullptr) return 0;
  // The earlier dlerror() call consumed the message, so this one usually prints "(null)".
  CMPIU_ERROR("Unable to load library %s", loader_error());
  return 1;
}
