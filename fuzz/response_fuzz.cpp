// response_fuzz: the response decoder on arbitrary document text.
#include <cmpiutility/records.h>
#include <cmpiutility/response.h>

#include <cstddef>
#include <cstdint>
#include <exception>
#include <string>

#include "fuzz_setup.h"

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
  cmpifuzz::quiet_process();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  const std::string text(reinterpret_cast<const char *>(data), size);
  ServerResp *response = nullptr;
  try {
    response = deserializeResp(text.c_str());
  } catch (const std::exception &) {
    // A negative or non-numeric number leaves through the conversion exception by contract.
    return 0;
  }
  if (response == nullptr) return 0;
  CMPIConstClass *cls = response->constClass;
  CMPIArgs *args = (response->type == INVOKEMETHOD) ? response->retVal.args : nullptr;
  releaseClientResponseData(response);
  if (cls != nullptr) cls->ft->release(cls);
  if (args != nullptr) args->ft->release(args);
  return 0;
}
