// connection_login.cpp - the login remembered for one connection.
#include "connection_login.h"

#include <string.h>

namespace wbem {

bool same_secret(std::string_view a, std::string_view b) {
  // Every byte of the longer value is visited whatever the contents; a difference in length
  // alone already makes them unequal.
  const std::size_t n = a.size() > b.size() ? a.size() : b.size();
  unsigned char differ = a.size() == b.size() ? 0 : 1;
  for (std::size_t i = 0; i < n; ++i) {
    const unsigned char x = i < a.size() ? static_cast<unsigned char>(a[i]) : 0;
    const unsigned char y = i < b.size() ? static_cast<unsigned char>(b[i]) : 0;
    differ |= static_cast<unsigned char>(x ^ y);
  }
  return differ == 0;
}

void ConnectionLogin::remember(std::string_view authorization, const std::string &user) {
  forget();
  authorization_.assign(authorization.data(), authorization.size());
  user_ = user;
  known_ = true;
}

bool ConnectionLogin::recall(std::string_view authorization, std::string *user) const {
  if (!known_ || !same_secret(authorization_, authorization)) return false;
  *user = user_;
  return true;
}

void ConnectionLogin::forget() {
  if (!authorization_.empty()) explicit_bzero(&authorization_[0], authorization_.size());
  authorization_.clear();
  user_.clear();
  known_ = false;
}

}  // namespace wbem
