// request.h - what every request of the provider does around its own work: the status it
// returns, and no C++ exception ever leaving through the C interface.
#ifndef DEMO_PROVIDER_REQUEST_H
#define DEMO_PROVIDER_REQUEST_H

#include <cmpidt.h>

#include <exception>
#include <string>

#include "outcome.h"

namespace demo {

// Runs work (returning an Outcome) and turns its outcome, or any exception it throws, into the
// status of the request.
template <typename Work>
CMPIStatus serve(const CMPIBroker *broker, Work &&work) {
  try {
    return status_of(broker, work());
  } catch (const std::exception &e) {
    return status_of(broker, failure(CMPI_RC_ERR_FAILED, std::string("demo provider: ") + e.what()));
  } catch (...) {
    return status_of(broker, failure(CMPI_RC_ERR_FAILED, "demo provider: unexpected failure"));
  }
}

}  // namespace demo

#endif  // DEMO_PROVIDER_REQUEST_H
