// broker_tables.h - the broker's four function tables, each defined in its own file and put
// together into the one broker in broker.cpp. Hidden from the shared library's interface.
#ifndef CMPIINTERFACE_BROKER_TABLES_H
#define CMPIINTERFACE_BROKER_TABLES_H

#include "cmpiinterface.h"

namespace cmpi {

#pragma GCC visibility push(hidden)

// The broker's name, also its table's name ("cmpiinterface").
extern const char kBrokerName[];

extern const CMPIBrokerFT broker_ft;        // up-calls: broker_upcalls.cpp
extern const CMPIBrokerEncFT broker_enc_ft;  // factories and helpers: broker_factories.cpp
extern const CMPIBrokerExtFT broker_ext_ft;  // operating-system services: broker_threads.cpp
extern const CMPIBrokerMemFT broker_mem_ft;  // memory services: broker_memory.cpp

#pragma GCC visibility pop

}  // namespace cmpi

#endif
