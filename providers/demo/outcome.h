// outcome.h - how the provider's parts report failure to one another: a CMPI return code and a
// message for the client. The MI functions turn it into the CMPIStatus they return.
#ifndef DEMO_PROVIDER_OUTCOME_H
#define DEMO_PROVIDER_OUTCOME_H

#include <cmpidt.h>

#include <string>
#include <utility>

namespace demo {

struct Outcome {
  CMPIrc rc = CMPI_RC_OK;
  std::string message;

  bool ok() const { return rc == CMPI_RC_OK; }
};

inline Outcome success() { return Outcome{}; }
inline Outcome failure(CMPIrc rc, std::string message) { return Outcome{rc, std::move(message)}; }

// The status an MI function returns: no message on success, else the message as a string made
// by broker (the caller of the MI function owns and releases it).
CMPIStatus status_of(const CMPIBroker *broker, const Outcome &outcome);

}  // namespace demo

#endif  // DEMO_PROVIDER_OUTCOME_H
