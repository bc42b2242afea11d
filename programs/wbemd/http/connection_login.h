// connection_login.h - the login one connection has already passed.
//
// Checking HTTP Basic credentials asks the login helper, which runs PAM (password hashing, on
// the order of milliseconds); a client that keeps its connection open sends the same
// Authorization header with every request. A ConnectionLogin remembers, for one connection
// only, the header value that logged in and the user it named, so that later requests on that
// connection carrying exactly the same value are served without asking again. Any other value
// (or none) is checked as on a new connection. Nothing outlives the connection: the remembered
// value is a password in disguise, so it is wiped when replaced, forgotten or destroyed.
//
// One connection's requests come one after another on its own thread, so a ConnectionLogin is
// used by one thread at a time and has no lock.
#ifndef CMPI_WBEMD_HTTP_CONNECTION_LOGIN_H
#define CMPI_WBEMD_HTTP_CONNECTION_LOGIN_H

#include <string>
#include <string_view>

namespace wbem {

class ConnectionLogin {
 public:
  ConnectionLogin() = default;
  ~ConnectionLogin() { forget(); }
  ConnectionLogin(const ConnectionLogin &) = delete;
  ConnectionLogin &operator=(const ConnectionLogin &) = delete;

  // Remembers that authorization (the whole header value) logged in as user; replaces
  // whatever was remembered.
  void remember(std::string_view authorization, const std::string &user);
  // true and *user set when authorization is exactly the remembered value (compared in time
  // that does not depend on where the values differ); false when nothing is remembered or the
  // value differs.
  bool recall(std::string_view authorization, std::string *user) const;
  // Wipes and drops what is remembered.
  void forget();

 private:
  std::string authorization_;
  std::string user_;
  bool known_ = false;
};

// true when a and b hold the same bytes. The time taken depends on the lengths only, not on
// the contents or on where they first differ.
bool same_secret(std::string_view a, std::string_view b);

}  // namespace wbem

#endif  // CMPI_WBEMD_HTTP_CONNECTION_LOGIN_H
