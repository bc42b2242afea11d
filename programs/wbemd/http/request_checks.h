// request_checks.h - what an HTTP request must look like before its body is read.
//
// Pure functions over the request line and the headers, so that each answer is tested alone.
// Each returns no Refusal when the request passes, else the status and headers to answer with:
//   check_request_line  the path is exactly /cimom (404), the method POST (405 with
//                       "Allow: POST" for the other methods HTTP defines, 501 for anything
//                       else, M-POST included)
//   check_framing       Content-Length present, digits only, at most max_body (411, 400, 413);
//                       a chunked body is accepted instead (its size is checked as it comes)
//   check_cim_headers   Content-Type application/xml or text/xml, charset utf-8 if given
//                       (415); CIMOperation present (400 "header-mismatch") and
//                       "MethodCall" (501 "unsupported-operation", as exchange.h has it);
//                       CIMMethod a name and CIMObject printable ASCII (400 "header-mismatch");
//                       CIMProtocolVersion 1.x if given (501 "unsupported-protocol-version");
//                       no CIMBatch (501 "multiple-requests-unsupported"). A header that must
//                       appear once and appears twice is refused like a wrong one.
#ifndef CMPI_WBEMD_HTTP_REQUEST_CHECKS_H
#define CMPI_WBEMD_HTTP_REQUEST_CHECKS_H

#include <cstddef>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "exchange.h"

namespace wbem {

using HeaderList = std::vector<std::pair<std::string, std::string>>;

struct Refusal {
  int status = 400;
  std::string cim_error;  // the CIMError header, empty for none
  std::string allow;      // the Allow header, empty for none
};

constexpr std::size_t kMaxCimMethod = 128;
constexpr std::size_t kMaxCimObject = 8192;

// The values of every header called name (case-insensitive), in order.
std::vector<std::string> header_values(const HeaderList &headers, const std::string &name);

std::optional<Refusal> check_request_line(const std::string &method, const std::string &path);
std::optional<Refusal> check_framing(const HeaderList &headers, std::size_t max_body);
// On success fills the CIM header fields and the trailers flag of *call.
std::optional<Refusal> check_cim_headers(const HeaderList &headers, CimCall *call);

// True when one of the TE headers names "trailers".
bool announces_trailers(const HeaderList &headers);

}  // namespace wbem

#endif  // CMPI_WBEMD_HTTP_REQUEST_CHECKS_H
