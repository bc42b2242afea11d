// keytext_fuzz: reading the flat key text ("key" member) into an object path.
#include <cmpiutility/records.h>
#include <json/json.h>

#include <cstddef>
#include <cstdint>
#include <string>

#include "fuzz_setup.h"
#include "json/key_text.h"

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
  cmpifuzz::quiet_process();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  CMPIObjectPath *path = makeNewObjectPath("root/cimv2", "C", nullptr);
  if (path == nullptr) return 0;
  Json::Value document(Json::objectValue);
  document["key"] = std::string(reinterpret_cast<const char *>(data), size);
  addCMKey(path, document);
  path->ft->release(path);
  return 0;
}
