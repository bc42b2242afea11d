// pam_check.h - one login checked with PAM: pam_authenticate, then pam_acct_mgmt.
//
// The password is handed to PAM's conversation for every prompt that hides its echo; a prompt
// that shows it is answered with the user name; text messages are ignored. PAM's own delay
// after a failure is switched off: the helper answers one question at a time, and the front
// slows failing peers down itself (login_throttle.h) without holding up everyone else.
// config_dir: where PAM reads the service file; empty means the system's (/etc/pam.d).
#ifndef CMPI_WBEMD_HTTP_PAM_CHECK_H
#define CMPI_WBEMD_HTTP_PAM_CHECK_H

#include <string>

namespace wbem {

// true when both PAM steps succeed. *reason is PAM's text for the step that failed.
bool pam_login(const std::string &service, const std::string &config_dir,
               const std::string &user, const std::string &password,
               const std::string &remote_host, std::string *reason);

}  // namespace wbem

#endif  // CMPI_WBEMD_HTTP_PAM_CHECK_H
