// outcome.cpp - an outcome as the status of an MI function.
#include "outcome.h"

#include <cmpimacs.h>

namespace demo {

CMPIStatus status_of(const CMPIBroker *broker, const Outcome &outcome) {
  CMPIStatus status = {outcome.rc, nullptr};
  if (!outcome.ok() && broker != nullptr)
    status.msg = CMNewString(broker, outcome.message.c_str(), nullptr);
  return status;
}

}  // namespace demo
