// initial_state.h - the instances a new state file starts with.
//
// Chassis "chassis0" with the fans "fan0" and "fan1" (SystemName "bmc0") in it and one
// Demo_ChassisFan per fan. fan0 has a null Notes and three SpeedHistory entries; fan1 is
// disabled, has Notes and an empty SpeedHistory.
#ifndef DEMO_PROVIDER_INITIAL_STATE_H
#define DEMO_PROVIDER_INITIAL_STATE_H

#include <cmpidt.h>

#include "outcome.h"

namespace demo {

class StateStore;

// Inserts the initial instances into store (inside its open transaction), made with broker the
// way a client would make them.
Outcome seed_initial_state(const CMPIBroker *broker, StateStore &store);

}  // namespace demo

#endif  // DEMO_PROVIDER_INITIAL_STATE_H
