// status_names.cpp - names and descriptions of the CMPI return codes.
#include "status_names.h"

namespace wire {
namespace {

struct RcEntry {
  int code;
  const char *name;
  const char *description;
};

constexpr RcEntry kCodes[] = {
    {0, "CMPI_RC_OK", "success"},
    {1, "CMPI_RC_ERR_FAILED", "the operation failed"},
    {2, "CMPI_RC_ERR_ACCESS_DENIED", "access denied"},
    {3, "CMPI_RC_ERR_INVALID_NAMESPACE", "invalid namespace"},
    {4, "CMPI_RC_ERR_INVALID_PARAMETER", "invalid parameter"},
    {5, "CMPI_RC_ERR_INVALID_CLASS", "invalid class"},
    {6, "CMPI_RC_ERR_NOT_FOUND", "not found"},
    {7, "CMPI_RC_ERR_NOT_SUPPORTED", "not supported"},
    {8, "CMPI_RC_ERR_CLASS_HAS_CHILDREN", "the class has subclasses"},
    {9, "CMPI_RC_ERR_CLASS_HAS_INSTANCES", "the class has instances"},
    {10, "CMPI_RC_ERR_INVALID_SUPERCLASS", "invalid superclass"},
    {11, "CMPI_RC_ERR_ALREADY_EXISTS", "already exists"},
    {12, "CMPI_RC_ERR_NO_SUCH_PROPERTY", "no such property"},
    {13, "CMPI_RC_ERR_TYPE_MISMATCH", "type mismatch"},
    {14, "CMPI_RC_ERR_QUERY_LANGUAGE_NOT_SUPPORTED", "query language not supported"},
    {15, "CMPI_RC_ERR_INVALID_QUERY", "invalid query"},
    {16, "CMPI_RC_ERR_METHOD_NOT_AVAILABLE", "method not available"},
    {17, "CMPI_RC_ERR_METHOD_NOT_FOUND", "method not found"},
    {18, "CMPI_RC_NO_MORE_ELEMENTS", "no more elements"},
    {50, "CMPI_RC_DO_NOT_UNLOAD", "do not unload"},
    {51, "CMPI_RC_NEVER_UNLOAD", "never unload"},
    {60, "CMPI_RC_ERR_INVALID_HANDLE", "invalid handle"},
    {61, "CMPI_RC_ERR_INVALID_DATA_TYPE", "invalid data type"},
    {100, "CMPI_RC_ERROR_SYSTEM", "system error"},
    {200, "CMPI_RC_ERROR", "error"},
};

const RcEntry *find(int code) {
  for (const RcEntry &entry : kCodes) {
    if (entry.code == code) return &entry;
  }
  return nullptr;
}

}  // namespace

std::string rc_name(int code) {
  const RcEntry *entry = find(code);
  return entry != nullptr ? entry->name : "CMPI_RC_" + std::to_string(code);
}

std::string rc_description(int code) {
  const RcEntry *entry = find(code);
  return entry != nullptr ? entry->description : "CMPI return code " + std::to_string(code);
}

std::string rc_line(int code, const std::string &message) {
  return rc_name(code) + ": " + (message.empty() ? rc_description(code) : message);
}

}  // namespace wire
