// basic_credentials.h - the user and password of an HTTP Basic "Authorization" header.
//
// Strict: the scheme "Basic" (any case), one or more spaces, then standard base64 with its
// padding and nothing else. The decoded text is "user:password", split at the first colon.
// The user name must be 1 to 64 bytes of letters, digits, '.', '_', '-' and '@' (what local
// user names are made of, and nothing a log line or PAM could misread), not starting with '-';
// the password 0 to 512 bytes without NUL, CR or LF. Anything else is no credentials at all.
#ifndef CMPI_WBEMD_HTTP_BASIC_CREDENTIALS_H
#define CMPI_WBEMD_HTTP_BASIC_CREDENTIALS_H

#include <string>
#include <string_view>

namespace wbem {

constexpr std::size_t kMaxUserName = 64;
constexpr std::size_t kMaxPassword = 512;

struct BasicCredentials {
  std::string user;
  std::string password;
};

// true and *out filled when header (the Authorization header's value) holds valid Basic
// credentials; false otherwise (*out may then hold anything).
bool parse_basic_credentials(std::string_view header, BasicCredentials *out);

// The same checks on a user name alone.
bool valid_user_name(std::string_view user);

}  // namespace wbem

#endif  // CMPI_WBEMD_HTTP_BASIC_CREDENTIALS_H
