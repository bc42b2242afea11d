// hostd_client.cpp - request frames and the read loops around the tokenizers.
#include "hostd_client.h"

#include <cmpimacs.h>
#include <cmpiutility/request.h>
#include <cmpiutility/response.h>
#include <cmpiutility/stream.h>
#include <cmpiutility/transport.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <time.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <functional>

namespace e2e {
namespace {

constexpr int kPiece = 64 * 1024;

// Feeds every received piece to feed until it says the operation is done or the daemon
// closes. false when nothing arrived for 30 s.
bool converse(const std::string &socket, const std::string &frame,
              const std::function<bool(const char *)> &feed, std::string *raw) {
  SockInfo info;
  std::memset(&info, 0, sizeof info);
  if (clientConnectServersock(&info, socket.c_str()) != CMPIU_SOCK_OK) {
    ADD_FAILURE() << "cannot connect to " << socket;
    return false;
  }
  if (clientSend(&info, frame.data(), static_cast<int>(frame.size())) != CMPIU_SOCK_OK) {
    ADD_FAILURE() << "cannot send the request";
    clientCloseConnection(&info);
    return false;
  }
  std::vector<char> buf(kPiece + 1);
  bool ok = true;
  for (;;) {
    int seconds = 30;
    if (xselect(info.fd, CMPIU_SELECT_READ, &seconds) == CMPIU_SOCK_TIMEOUT) {
      ADD_FAILURE() << "no answer within 30 s";
      ok = false;
      break;
    }
    if (clientRecv(&info, buf.data(), kPiece) != CMPIU_SOCK_OK) break;
    raw->append(buf.data(), static_cast<std::size_t>(info.connFd));
    if (feed(buf.data())) break;
  }
  clientCloseConnection(&info);
  return ok;
}

std::string take_message(CMPIString *msg) {
  std::string text;
  if (msg != nullptr) {
    if (msg->hdl != nullptr) text = static_cast<const char *>(msg->hdl);
    CMRelease(msg);
  }
  return text;
}

}  // namespace

Answer::Answer(Answer &&other) noexcept
    : rc(other.rc),
      complete(other.complete),
      raw(std::move(other.raw)),
      message(std::move(other.message)),
      instances(std::move(other.instances)),
      paths(std::move(other.paths)),
      cls(other.cls),
      out(other.out),
      ret_type(other.ret_type) {
  other.instances.clear();
  other.paths.clear();
  other.cls = nullptr;
  other.out = nullptr;
}

Answer::~Answer() {
  for (CMPIInstance *inst : instances) CMRelease(inst);
  for (CMPIObjectPath *path : paths) CMRelease(path);
  if (cls != nullptr) cls->ft->release(cls);
  if (out != nullptr) CMRelease(out);
}

CMPIObjectPath *make_path(const std::string &cls, const Keys &keys, const std::string &ns) {
  CMPIObjectPath *path = makeNewObjectPath(ns.c_str(), cls.c_str(), nullptr);
  for (const auto &[name, value] : keys) CMAddKey(path, name.c_str(), value.c_str(), CMPI_chars);
  return path;
}

CMAssocReq *make_assoc(const char *assoc_class, const char *result_class, bool refs_only) {
  auto *a = static_cast<CMAssocReq *>(std::calloc(1, sizeof(CMAssocReq)));
  if (assoc_class != nullptr) a->AssocClass = strdup(assoc_class);
  if (result_class != nullptr) a->ResultClass = strdup(result_class);
  a->RefsOnly = refs_only ? 1 : 0;
  return a;
}

std::string request_frame(ClientReq *req) {
  std::string frame;
  char fixed[FRAME_BUFFER_SIZE];
  char *dynamic = static_cast<char *>(std::calloc(FRAME_BUFFER_SIZE, 1));
  int type = req->type;
  if (doSerialization(req, fixed, &dynamic) == 0) {
    bool grown = type == MODIFYINST || type == INVOKEMETHOD || type == CREATEINST;
    frame = grown ? dynamic : fixed;
  } else {
    ADD_FAILURE() << "doSerialization failed";
  }
  std::free(dynamic);
  releaseRequestData(req);
  return frame;
}

std::string build_frame(int type, const char *user, CMPIObjectPath *cop, CMPIArgs *args,
                        CMPIInstance *inst, CMAssocReq *assoc, const char *text) {
  ClientReq *req = nullptr;
  if (getClientReq(&req, user, type, cop, args, inst, assoc, text) != 0) {
    ADD_FAILURE() << "getClientReq failed";
    return "";
  }
  return request_frame(req);
}

std::string exchange_raw(const std::string &socket, const std::string &bytes,
                         const RawOptions &options) {
  SockInfo info;
  std::memset(&info, 0, sizeof info);
  if (clientConnectServersock(&info, socket.c_str()) != CMPIU_SOCK_OK) {
    ADD_FAILURE() << "cannot connect to " << socket;
    return "";
  }
  if (!bytes.empty()) send(info.fd, bytes.data(), bytes.size(), MSG_NOSIGNAL);
  if (options.pause_ms > 0) {
    struct timespec ts = {options.pause_ms / 1000, (options.pause_ms % 1000) * 1000000L};
    nanosleep(&ts, nullptr);
  }
  if (options.close_at_once) {
    clientCloseConnection(&info);
    return "";
  }
  if (options.shutdown_write) shutdown(info.fd, SHUT_WR);
  std::string raw;
  std::vector<char> buf(kPiece + 1);
  for (;;) {
    int seconds = options.read_limit_s;
    if (xselect(info.fd, CMPIU_SELECT_READ, &seconds) == CMPIU_SOCK_TIMEOUT) {
      raw += "<no more data>";
      break;
    }
    if (clientRecv(&info, buf.data(), kPiece) != CMPIU_SOCK_OK) break;
    raw.append(buf.data(), static_cast<std::size_t>(info.connFd));
  }
  clientCloseConnection(&info);
  return raw;
}

std::size_t count_frames(const std::string &raw) {
  std::size_t n = 0;
  for (std::size_t at = raw.find("CMPI_EOF"); at != std::string::npos;
       at = raw.find("CMPI_EOF", at + 8)) {
    ++n;
  }
  return n;
}

bool ends_with(const std::string &text, const std::string &tail) {
  return text.size() >= tail.size() &&
         text.compare(text.size() - tail.size(), tail.size(), tail) == 0;
}

Answer enumerate(const std::string &socket, const std::string &frame, int type) {
  Answer answer;
  CMPIType element = type == ENUMINSTNAMES ? CMPI_ref : CMPI_instance;
  CMPIArray *array = makeNewCMPIArray(0, element, nullptr);
  char *carry = nullptr;
  uint32_t complete = 0;
  converse(
      socket, frame,
      [&](const char *piece) {
        CMPIStatus st = CMUtilEnumStringTokenize(piece, array, &carry, &complete);
        answer.rc = static_cast<int>(st.rc);
        answer.message = take_message(st.msg);
        return complete != 0 || answer.rc != 0;
      },
      &answer.raw);
  std::free(carry);
  answer.complete = complete != 0;
  CMPICount n = CMGetArrayCount(array, nullptr);
  for (CMPICount i = 0; i < n; ++i) {
    CMPIData d = CMGetArrayElementAt(array, i, nullptr);
    CMPIValue value = d.value;
    if (element == CMPI_ref) {
      answer.paths.push_back(value.ref);
    } else {
      answer.instances.push_back(value.inst);
    }
  }
  CMRelease(array);
  return answer;
}

Answer get_instance(const std::string &socket, const std::string &frame) {
  Answer answer;
  char *carry = nullptr;
  uint32_t complete = 0;
  CMPIInstance *inst = nullptr;
  converse(
      socket, frame,
      [&](const char *piece) {
        CMPIInstance *got = nullptr;
        CMPIStatus st = CMUtilGETStringTokenize(piece, &got, &carry, &complete);
        if (got != nullptr) {
          if (inst != nullptr) CMRelease(inst);
          inst = got;
        }
        answer.rc = static_cast<int>(st.rc);
        answer.message = take_message(st.msg);
        return complete != 0 || answer.rc != 0;
      },
      &answer.raw);
  std::free(carry);
  answer.complete = complete != 0;
  if (inst != nullptr) answer.instances.push_back(inst);
  return answer;
}

Answer get_class(const std::string &socket, const std::string &frame) {
  Answer answer;
  char *carry = nullptr;
  uint32_t complete = 0;
  converse(
      socket, frame,
      [&](const char *piece) {
        CMPIConstClass *got = nullptr;
        CMPIStatus st = CMUtilGETClassStringTokenize(piece, &got, &carry, &complete);
        if (got != nullptr) {
          if (answer.cls != nullptr) answer.cls->ft->release(answer.cls);
          answer.cls = got;
        }
        answer.rc = static_cast<int>(st.rc);
        answer.message = take_message(st.msg);
        return complete != 0 || answer.rc != 0;
      },
      &answer.raw);
  std::free(carry);
  answer.complete = complete != 0;
  return answer;
}

Answer set_instance(const std::string &socket, const std::string &frame) {
  Answer answer;
  char *carry = nullptr;
  converse(
      socket, frame,
      [&](const char *piece) {
        CMPIStatus st = {CMPI_RC_ERR_FAILED, nullptr};
        CMUtilSETStringTokenize(piece, &carry, &st);
        answer.rc = static_cast<int>(st.rc);
        answer.message = take_message(st.msg);
        return false;  // one frame, then the daemon closes
      },
      &answer.raw);
  std::free(carry);
  return answer;
}

Answer create_instance(const std::string &socket, const std::string &frame) {
  Answer answer;
  char *carry = nullptr;
  converse(
      socket, frame,
      [&](const char *piece) {
        CMPIStatus st = {CMPI_RC_ERR_FAILED, nullptr};
        CMPIStatus cloned = CMUtilCreateInstStringTokenize(piece, nullptr, &carry, &st);
        answer.rc = static_cast<int>(st.rc);
        if (std::strncmp(piece, "CMPIERROR", 9) == 0) answer.rc = static_cast<int>(cloned.rc);
        answer.message = take_message(st.msg);
        take_message(cloned.msg);
        return false;
      },
      &answer.raw);
  std::free(carry);
  return answer;
}

Answer invoke(const std::string &socket, const std::string &frame) {
  Answer answer;
  answer.out = makeNewCMPIArgs(nullptr);
  char *carry = nullptr;
  uint32_t complete = 0;
  converse(
      socket, frame,
      [&](const char *piece) {
        CMPIStatus st =
            CMUtilInvokeStringTokenize(piece, answer.out, &answer.ret_type, &carry, &complete);
        answer.rc = static_cast<int>(st.rc);
        answer.message = take_message(st.msg);
        return complete != 0 || answer.rc != 0;
      },
      &answer.raw);
  std::free(carry);
  answer.complete = complete != 0;
  return answer;
}

std::string text_property(const CMPIInstance *inst, const char *name) {
  CMPIStatus rc = {CMPI_RC_OK, nullptr};
  CMPIData d = CMGetProperty(inst, name, &rc);
  CMPIType type = d.type;
  CMPIValueState state = d.state;
  CMPIValue value = d.value;
  if (rc.rc != CMPI_RC_OK || (state & CMPI_nullValue) != 0) return "<null>";
  std::string text;
  if (type == CMPI_string && value.string != nullptr) {
    text = static_cast<const char *>(value.string->hdl);
  }
  cmpiReleaseCMPIValue(type, &value);
  return text;
}

unsigned long long number_property(const CMPIInstance *inst, const char *name) {
  CMPIData d = CMGetProperty(inst, name, nullptr);
  CMPIType type = d.type;
  CMPIValue value = d.value;
  switch (type) {
    case CMPI_uint8:
      return value.uint8;
    case CMPI_uint16:
      return value.uint16;
    case CMPI_uint32:
      return value.uint32;
    case CMPI_uint64:
      return value.uint64;
    default:
      return ~0ull;
  }
}

std::string key_text(const CMPIObjectPath *path, const char *name) {
  CMPIData d = CMGetKey(path, name, nullptr);
  CMPIType type = d.type;
  CMPIValue value = d.value;
  std::string text;
  if (type == CMPI_string && value.string != nullptr) {
    text = static_cast<const char *>(value.string->hdl);
    cmpiReleaseCMPIValue(type, &value);
  }
  return text;
}

unsigned long long number_argument(const CMPIArgs *args, const char *name, CMPIType *type_out) {
  CMPIStatus rc = {CMPI_RC_OK, nullptr};
  CMPIData d = CMGetArg(args, name, &rc);
  CMPIType type = d.type;
  CMPIValue value = d.value;
  if (type_out != nullptr) *type_out = type;
  if (rc.rc != CMPI_RC_OK) return ~0ull;
  switch (type) {
    case CMPI_uint16:
      return value.uint16;
    case CMPI_uint32:
      return value.uint32;
    case CMPI_uint64:
      return value.uint64;
    default:
      return ~0ull;
  }
}

bool has_argument(const CMPIArgs *args, const char *name) {
  CMPIStatus rc = {CMPI_RC_OK, nullptr};
  CMPIData d = CMGetArg(args, name, &rc);
  CMPIType type = d.type;
  CMPIValue value = d.value;
  if (rc.rc != CMPI_RC_OK) return false;
  cmpiReleaseCMPIValue(type, &value);
  return true;
}

std::vector<std::string> class_property_names(const CMPIConstClass *cls) {
  std::vector<std::string> names;
  CMPICount n = cls->ft->getPropertyCount(cls, nullptr);
  for (CMPICount i = 0; i < n; ++i) {
    CMPIString *s = cls->ft->getPropertyNameAt(cls, i, nullptr);
    names.push_back(take_message(s));
  }
  return names;
}

}  // namespace e2e
