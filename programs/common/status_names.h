// status_names.h - CMPI return codes as people read them (the client's output, the host's log).
#ifndef CMPI_WIRE_STATUS_NAMES_H
#define CMPI_WIRE_STATUS_NAMES_H

#include <string>

namespace wire {

// "CMPI_RC_ERR_NOT_FOUND" for 6; "CMPI_RC_<code>" for a code without a name.
std::string rc_name(int code);

// A short description used when the answer carried no message ("not found").
std::string rc_description(int code);

// "<name>: <message>", with the description standing in for an empty message.
std::string rc_line(int code, const std::string &message);

}  // namespace wire

#endif  // CMPI_WIRE_STATUS_NAMES_H
