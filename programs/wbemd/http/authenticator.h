// authenticator.h - who may log in: the question the HTTP half asks for every request.
#ifndef CMPI_WBEMD_HTTP_AUTHENTICATOR_H
#define CMPI_WBEMD_HTTP_AUTHENTICATOR_H

#include <string>

namespace wbem {

class Authenticator {
 public:
  virtual ~Authenticator() = default;
  // true when user may log in with password from peer_host (an address without port, given
  // to PAM as the remote host). Blocks while the check runs; safe to call from any thread.
  // The password is never logged.
  virtual bool login(const std::string &user, const std::string &password,
                     const std::string &peer_host) = 0;
};

}  // namespace wbem

#endif  // CMPI_WBEMD_HTTP_AUTHENTICATOR_H
