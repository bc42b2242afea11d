// request_check.h - the strict check of a request document at the daemon's boundary.
#ifndef CMPI_HOSTD_REQUEST_CHECK_H
#define CMPI_HOSTD_REQUEST_CHECK_H

#include <cstddef>
#include <string>
#include <string_view>

namespace hostd {

struct RequestCheckLimits {
  std::size_t max_name = 256;
  std::size_t max_text = 64 * 1024;
  int max_depth = 64;
};

struct RequestFacts {
  int type = 0;
  std::string principal;
  std::string class_name;
  std::string name_space;
};

struct RequestCheck {
  bool accepted = false;
  std::string reason;
  RequestFacts facts;
};

RequestCheck check_request(std::string_view document, const RequestCheckLimits &limits = {});

}  // namespace hostd

#endif  // CMPI_HOSTD_REQUEST_CHECK_H
