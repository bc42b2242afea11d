// string.cpp - CMPIString: one heap block holding the object followed by its NUL-terminated
// text. hdl points at that text (readers may take hdl as the char* directly), and because the
// object starts the block, both the release slot and a plain free() of the object release it
// fully.
#include <cstdlib>
#include <cstring>

#include "objects.h"
#include "value.h"

namespace {

char *text_of_block(CMPIString *object) {
  return reinterpret_cast<char *>(object) + sizeof(CMPIString);
}

// A string object is valid when its handle is set and points at the text inside its own block.
bool is_valid(const CMPIString *st) {
  return st != nullptr && st->hdl != nullptr &&
         st->hdl == reinterpret_cast<const char *>(st) + sizeof(CMPIString);
}

CMPIStatus string_release(CMPIString *st) {
  if (!is_valid(st)) {
    return cmpi::make_status(CMPI_RC_ERR_INVALID_HANDLE);
  }
  std::free(st);
  return cmpi::make_status(CMPI_RC_OK);
}

CMPIString *string_clone(const CMPIString *st, CMPIStatus *rc) {
  if (!is_valid(st)) {
    cmpi::set_rc(rc, CMPI_RC_ERR_INVALID_HANDLE);
    return nullptr;
  }
  return CreateString(static_cast<const char *>(st->hdl), rc);
}

const char *string_get_char_ptr(const CMPIString *st, CMPIStatus *rc) {
  if (!is_valid(st)) {
    cmpi::set_rc(rc, CMPI_RC_ERR_INVALID_HANDLE);
    return nullptr;
  }
  cmpi::set_rc(rc, CMPI_RC_OK);
  return static_cast<const char *>(st->hdl);
}

CMPIStringFT string_ft = {
    CMPICurrentVersion,
    string_release,
    string_clone,
    string_get_char_ptr,
};

}  // namespace

namespace cmpi {

const CMPIStringFT *string_table() { return &string_ft; }

}  // namespace cmpi

extern "C" CMPIString *CreateString(const char *text, CMPIStatus *rc) {
  if (text == nullptr) {
    cmpi::set_rc(rc, CMPI_RC_ERR_INVALID_PARAMETER);
    return nullptr;
  }
  const size_t length = std::strlen(text);
  void *block = std::malloc(sizeof(CMPIString) + length + 1);
  if (block == nullptr) {
    cmpi::set_rc(rc, CMPI_RC_ERR_FAILED);
    return nullptr;
  }
  CMPIString *object = static_cast<CMPIString *>(block);
  char *copy = text_of_block(object);
  std::memcpy(copy, text, length + 1);
  object->hdl = copy;
  object->ft = &string_ft;
  cmpi::set_rc(rc, CMPI_RC_OK);
  return object;
}
