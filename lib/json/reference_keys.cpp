#include "json/reference_keys.h"

#include <cmpimacs.h>

#include <cstdio>

#include "json/fetched.h"
#include "json/key_stream.h"
#include "log/log.h"

namespace cmpiutility {
namespace {

// The text of a key value. Keys are read as CMPIString values (the string codes, whose value
// member is a string object); a key of any other type holds no string object there, so it is
// taken as a missing text and puts the key stream in its failed state instead of reading a
// wrong pointer.
const char *key_value_text(CMPIType type, CMPIValueState state, const CMPIValue &value) {
  if ((state & CMPI_nullValue) != 0) return nullptr;
  switch (type) {
    case CMPI_string:
    case CMPI_booleanString:
    case CMPI_numericString:
    case CMPI_dateTimeString:
      return chars_of(value.string);
    default:
      return nullptr;
  }
}

}  // namespace

unsigned int reference_key_text(CMPIObjectPath *path, std::string *text, bool *has_keys) {
  const CMPICount count = CMGetKeyCount(path, nullptr);
  CMPIU_TRACE("count = %u", count);
  if (count == 0) {
    CMPIU_TRACE("INFO: No key associated with args reference'");
    *has_keys = false;
    return 0;
  }
  *has_keys = true;
  KeyStream keys;
  for (CMPICount index = 0; index < count; ++index) {
    CMPIString *name = nullptr;
    CMPIStatus status = {CMPI_RC_OK, nullptr};
    const CMPIData key = CMGetKeyAt(path, index, &name, &status);
    const Fetched fetched(name, key);
    if (status.rc != CMPI_RC_OK || name == nullptr) {
      CMPIU_ERROR_AT("getCMPIArgsRef", 471, "'unable to get the key'");
      return 1;
    }
    const CMPIValue value = key.value;
    keys << chars_of(name) << "=" << key_value_text(key.type, key.state, value) << ",";
  }
  // Every key text written is echoed on standard output; the flush stands for the end of line
  // that peers see at once.
  std::fputs(keys.text().c_str(), stdout);
  std::fputc('\n', stdout);
  std::fflush(stdout);
  *text = keys.text();
  return 0;
}

}  // namespace cmpiutility
