#include "json/type_codes.h"

namespace cmpiutility {

bool is_integer_type(CMPIType type) {
  switch (type) {
    case CMPI_uint8:
    case CMPI_uint16:
    case CMPI_uint32:
    case CMPI_uint64:
    case CMPI_sint8:
    case CMPI_sint16:
    case CMPI_sint32:
    case CMPI_sint64:
      return true;
    default:
      return false;
  }
}

}  // namespace cmpiutility
