// request_fuzz: the request decoder on arbitrary document text.
#include <cmpiutility/records.h>
#include <cmpiutility/request.h>

#include <cstddef>
#include <cstdint>
#include <string>

#include "fuzz_setup.h"

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
  cmpifuzz::quiet_process();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  const std::string text(reinterpret_cast<const char *>(data), size);
  ClientReq *request = doDeserialization(text.c_str());
  releaseRequestData(request);
  return 0;
}
