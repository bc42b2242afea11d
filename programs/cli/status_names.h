// status_names.h - CMPI return codes as people read them.
#ifndef CMPI_CLI_STATUS_NAMES_H
#define CMPI_CLI_STATUS_NAMES_H

#include <string>

namespace cli {

// "CMPI_RC_ERR_NOT_FOUND" for 6; "CMPI_RC_<code>" for a code without a name.
std::string rc_name(int code);

// A short description used when the answer carried no message ("not found").
std::string rc_description(int code);

// "<name>: <message>", with the description standing in for an empty message.
std::string rc_line(int code, const std::string &message);

}  // namespace cli

#endif  // CMPI_CLI_STATUS_NAMES_H
