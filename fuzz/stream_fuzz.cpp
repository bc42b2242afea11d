// stream_fuzz: the enumeration and GetInstance tokenizers on a stream cut into pieces.
// The input is cut at every 0xFF byte; each piece (NUL-terminated) is handed to the tokenizer
// with one carry-over slot, until it reports completion or a non-zero code.
#include <cmpiutility/records.h>
#include <cmpiutility/stream.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <string>
#include <vector>

#include "fuzz_setup.h"

namespace {

std::vector<std::string> cut_pieces(const uint8_t *data, size_t size) {
  std::vector<std::string> pieces(1);
  for (size_t i = 0; i < size; ++i) {
    if (data[i] == 0xFF) {
      pieces.emplace_back();
    } else {
      pieces.back().push_back(static_cast<char>(data[i]));
    }
  }
  return pieces;
}

// The code as an int: an error frame may carry any number, which is no CMPIrc enumerator.
int code_of(const CMPIStatus &status) {
  int code = 0;
  static_assert(sizeof(status.rc) == sizeof(code), "CMPIrc is int-sized");
  std::memcpy(&code, reinterpret_cast<const char *>(&status) + offsetof(CMPIStatus, rc),
              sizeof(code));
  return code;
}

void drop_message(CMPIStatus &status) {
  CMPIString *msg = status.msg;
  if (msg != nullptr) msg->ft->release(msg);
  status.msg = nullptr;
}

void enumeration_pass(const std::vector<std::string> &pieces) {
  CMPIArray *array = makeNewCMPIArray(0, CMPI_instance, nullptr);
  char *carry = nullptr;
  uint32_t complete = 0;
  try {
    for (const std::string &piece : pieces) {
      CMPIStatus status = CMUtilEnumStringTokenize(piece.c_str(), array, &carry, &complete);
      const int rc = code_of(status);
      drop_message(status);
      if (complete != 0 || rc != 0) break;
    }
  } catch (const std::exception &) {
    // A negative or non-numeric number in a frame leaves through the conversion exception.
  }
  std::free(carry);
  if (array != nullptr) array->ft->release(array);
}

void get_instance_pass(const std::vector<std::string> &pieces) {
  CMPIInstance *instance = nullptr;
  char *carry = nullptr;
  uint32_t complete = 0;
  try {
    for (const std::string &piece : pieces) {
      CMPIStatus status = CMUtilGETStringTokenize(piece.c_str(), &instance, &carry, &complete);
      // Each call's result is taken over (and released) before the next call writes the slot.
      if (instance != nullptr) instance->ft->release(instance);
      instance = nullptr;
      const int rc = code_of(status);
      drop_message(status);
      if (complete != 0 || rc != 0) break;
    }
  } catch (const std::exception &) {
  }
  std::free(carry);
  if (instance != nullptr) instance->ft->release(instance);
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
  cmpifuzz::quiet_process();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  const std::vector<std::string> pieces = cut_pieces(data, size);
  enumeration_pass(pieces);
  get_instance_pass(pieces);
  return 0;
}
