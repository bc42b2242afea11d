// pam_check.cpp - pam_authenticate and pam_acct_mgmt for one user and password.
#include "pam_check.h"

#include <security/pam_appl.h>

#include <cstdlib>
#include <cstring>

namespace wbem {
namespace {

struct Secrets {
  const std::string *user;
  const std::string *password;
};

char *copy_text(const std::string &text) {
  char *copy = static_cast<char *>(std::malloc(text.size() + 1));
  if (copy != nullptr) std::memcpy(copy, text.c_str(), text.size() + 1);
  return copy;
}

int converse(int count, const struct pam_message **messages, struct pam_response **responses,
             void *data) {
  if (count <= 0 || count > PAM_MAX_NUM_MSG) return PAM_CONV_ERR;
  const Secrets *secrets = static_cast<const Secrets *>(data);
  auto *answers = static_cast<pam_response *>(std::calloc(count, sizeof(pam_response)));
  if (answers == nullptr) return PAM_BUF_ERR;
  for (int i = 0; i < count; ++i) {
    const char *text = nullptr;
    switch (messages[i]->msg_style) {
      case PAM_PROMPT_ECHO_OFF:
        text = secrets->password->c_str();
        break;
      case PAM_PROMPT_ECHO_ON:
        text = secrets->user->c_str();
        break;
      default:
        break;  // PAM_ERROR_MSG, PAM_TEXT_INFO: nothing to answer
    }
    if (text != nullptr) {
      answers[i].resp = copy_text(text);
      if (answers[i].resp == nullptr) {
        for (int k = 0; k < i; ++k) {
          if (answers[k].resp != nullptr) {
            explicit_bzero(answers[k].resp, std::strlen(answers[k].resp));
            std::free(answers[k].resp);
          }
        }
        std::free(answers);
        return PAM_BUF_ERR;
      }
    }
  }
  *responses = answers;
  return PAM_SUCCESS;
}

void no_delay(int, unsigned, void *) {}

}  // namespace

bool pam_login(const std::string &service, const std::string &config_dir,
               const std::string &user, const std::string &password,
               const std::string &remote_host, std::string *reason) {
  Secrets secrets{&user, &password};
  struct pam_conv conversation = {converse, &secrets};
  pam_handle_t *handle = nullptr;
  int rc = config_dir.empty()
               ? pam_start(service.c_str(), user.c_str(), &conversation, &handle)
               : pam_start_confdir(service.c_str(), user.c_str(), &conversation,
                                   config_dir.c_str(), &handle);
  if (rc != PAM_SUCCESS) {
    *reason = "pam_start failed";
    if (handle != nullptr) pam_end(handle, rc);
    return false;
  }
  void (*delay)(int, unsigned, void *) = no_delay;
  pam_set_item(handle, PAM_FAIL_DELAY, reinterpret_cast<const void *>(delay));
  if (!remote_host.empty()) pam_set_item(handle, PAM_RHOST, remote_host.c_str());
  rc = pam_authenticate(handle, PAM_SILENT | PAM_DISALLOW_NULL_AUTHTOK);
  if (rc == PAM_SUCCESS) {
    rc = pam_acct_mgmt(handle, PAM_SILENT | PAM_DISALLOW_NULL_AUTHTOK);
    if (rc != PAM_SUCCESS) *reason = std::string("account: ") + pam_strerror(handle, rc);
  } else {
    *reason = pam_strerror(handle, rc);
  }
  pam_end(handle, rc);
  return rc == PAM_SUCCESS;
}

}  // namespace wbem
