// shown.h - text from a peer or a provider as it may appear in a log line.
#ifndef CMPI_HOSTD_SHOWN_H
#define CMPI_HOSTD_SHOWN_H

#include <string>
#include <string_view>

namespace hostd {

// The text made safe for one log line: no control characters, shortened with a marker.
std::string shown(std::string_view text);

}  // namespace hostd

#endif  // CMPI_HOSTD_SHOWN_H
