// e2e_client.cpp - the library client of the end-to-end benchmark.
#include "e2e_client.h"

#include <cmpiinterface.h>
#include <cmpimacs.h>
#include <cmpiutility/records.h>
#include <cmpiutility/request.h>
#include <cmpiutility/stream.h>
#include <cmpiutility/transport.h>
#include <pwd.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <vector>

namespace bench {

namespace {

constexpr int kPiece = 64 * 1024;
constexpr int kAnswerWaitSeconds = 60;

void drop_message(CMPIStatus *st) {
  if (st->msg != nullptr) CMRelease(st->msg);
  st->msg = nullptr;
}

// Connects, sends frame and hands each received piece to feed until it returns true or the peer
// closes. raw (when given) receives every byte. False when the exchange failed.
template <typename Feed>
bool converse(const std::string &socket, const std::string &frame, Feed feed, std::string *raw) {
  SockInfo info;
  memset(&info, 0, sizeof info);
  if (clientConnectServersock(&info, socket.c_str()) != CMPIU_SOCK_OK) return false;
  if (clientSend(&info, frame.data(), static_cast<int>(frame.size())) != CMPIU_SOCK_OK) {
    clientCloseConnection(&info);
    return false;
  }
  static thread_local std::vector<char> buf(kPiece + 1);
  bool ok = true;
  for (;;) {
    int seconds = kAnswerWaitSeconds;
    if (xselect(info.fd, CMPIU_SELECT_READ, &seconds) == CMPIU_SOCK_TIMEOUT) {
      ok = false;
      break;
    }
    if (clientRecv(&info, buf.data(), kPiece) != CMPIU_SOCK_OK) break;
    if (raw != nullptr) raw->append(buf.data(), static_cast<size_t>(info.connFd));
    if (feed(buf.data())) break;
  }
  clientCloseConnection(&info);
  return ok;
}

}  // namespace

std::string current_user() {
  struct passwd entry;
  struct passwd *found = nullptr;
  std::vector<char> text(4096);
  if (getpwuid_r(geteuid(), &entry, text.data(), text.size(), &found) == 0 && found != nullptr) {
    return found->pw_name;
  }
  return std::to_string(geteuid());
}

std::string request_frame(int type, const std::string &user, CMPIObjectPath *path) {
  ClientReq *req = nullptr;
  if (getClientReq(&req, user.c_str(), type, path, nullptr, nullptr, nullptr, nullptr) != 0) {
    return std::string();
  }
  char fixed[FRAME_BUFFER_SIZE];
  char *dynamic = static_cast<char *>(calloc(FRAME_BUFFER_SIZE, 1));
  std::string frame;
  if (doSerialization(req, fixed, &dynamic) == 0) frame = fixed;
  free(dynamic);
  releaseRequestData(req);
  return frame;
}

long enumerate(const std::string &socket, const std::string &frame, std::string *raw) {
  CMPIArray *array = makeNewCMPIArray(0, CMPI_instance, nullptr);
  char *carry = nullptr;
  uint32_t complete = 0;
  int rc = 0;
  const bool ok = converse(
      socket, frame,
      [&](const char *piece) {
        CMPIStatus st = CMUtilEnumStringTokenize(piece, array, &carry, &complete);
        rc = static_cast<int>(st.rc);
        drop_message(&st);
        return complete != 0 || rc != 0;
      },
      raw);
  free(carry);
  const long count = static_cast<long>(CMGetArrayCount(array, nullptr));
  CMRelease(array);
  return (ok && complete == 1 && rc == 0) ? count : -1;
}

bool get_instance(const std::string &socket, const std::string &frame, std::string *raw) {
  char *carry = nullptr;
  uint32_t complete = 0;
  int rc = 0;
  CMPIInstance *inst = nullptr;
  const bool ok = converse(
      socket, frame,
      [&](const char *piece) {
        CMPIInstance *got = nullptr;
        CMPIStatus st = CMUtilGETStringTokenize(piece, &got, &carry, &complete);
        rc = static_cast<int>(st.rc);
        drop_message(&st);
        if (got != nullptr) {
          if (inst != nullptr) CMRelease(inst);
          inst = got;
        }
        return complete != 0 || rc != 0;
      },
      raw);
  free(carry);
  const bool good = ok && complete == 1 && rc == 0 && inst != nullptr;
  if (inst != nullptr) CMRelease(inst);
  return good;
}

}  // namespace bench
