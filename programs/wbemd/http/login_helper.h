// login_helper.h - the privileged process that only answers "may this user log in".
//
// start() forks a child that keeps the identity the daemon started with (root, so that PAM may
// read the shadow file) and does nothing but answer questions over a socketpair; the caller
// then drops its own privileges and asks through login(). The child ends when the socketpair
// closes (stop(), or the parent's death), and on any message that breaks the format.
//
// The format, one question at a time: three 16-bit lengths in host order (user, password,
// remote host), then those bytes; the user at most kMaxUserName bytes and a valid user name,
// the password at most kMaxPassword bytes without NUL, the host at most 64 printable bytes.
// The answer is one byte: 'Y' (both PAM steps passed) or 'N'. A question that breaks the
// format ends the child at once: only the daemon itself writes to it.
//
// Fork it before the process has other threads: the child runs PAM after fork.
#ifndef CMPI_WBEMD_HTTP_LOGIN_HELPER_H
#define CMPI_WBEMD_HTTP_LOGIN_HELPER_H

#include <sys/types.h>

#include <mutex>
#include <string>

#include "authenticator.h"

namespace wbem {

class LoginHelper : public Authenticator {
 public:
  LoginHelper(std::string pam_service, std::string pam_config_dir)
      : service_(std::move(pam_service)), config_dir_(std::move(pam_config_dir)) {}
  ~LoginHelper() override;
  LoginHelper(const LoginHelper &) = delete;
  LoginHelper &operator=(const LoginHelper &) = delete;

  // Forks the helper. false with *error when the socketpair or the fork fails.
  bool start(std::string *error);
  // Closes the socketpair and waits for the child.
  void stop();
  pid_t pid() const { return pid_; }

  // Asks the helper; one question at a time (a mutex orders callers). false on any failure,
  // including a helper that is gone or does not answer within 30 s (it is then stopped).
  bool login(const std::string &user, const std::string &password,
             const std::string &peer_host) override;

 private:
  std::string service_;
  std::string config_dir_;
  int fd_ = -1;
  pid_t pid_ = -1;
  std::mutex mutex_;
};

// The child's loop, reading questions from fd until it closes. Returns the exit status.
int serve_login_questions(int fd, const std::string &service, const std::string &config_dir);

}  // namespace wbem

#endif  // CMPI_WBEMD_HTTP_LOGIN_HELPER_H
