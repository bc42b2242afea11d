#include "log/log.h"

namespace cmpiutility {

ScopedTrace::ScopedTrace(const char *function) noexcept : function_(function) {
  CMPIU_TRACE("Enter function = %s", function_);
}

ScopedTrace::~ScopedTrace() { CMPIU_TRACE("Exit  function = %s", function_); }

}  // namespace cmpiutility
