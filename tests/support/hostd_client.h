// hostd_client.h - the client side of the end-to-end tests, built on the library's client
// functions only: getClientReq and doSerialization make the request frame,
// clientConnectServersock/clientSend/xselect/clientRecv move it, and the tokenizer of the
// operation decodes the answer.
#ifndef CMPI_E2E_HOSTD_CLIENT_H
#define CMPI_E2E_HOSTD_CLIENT_H

#include <cmpiinterface.h>
#include <cmpiutility/records.h>

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace e2e {

using Keys = std::vector<std::pair<std::string, std::string>>;

// A new object path in root/cimv2 (or ns) with string keys.
CMPIObjectPath *make_path(const std::string &cls, const Keys &keys = {},
                          const std::string &ns = "root/cimv2");

// An association filter for build_frame (calloc'd, taken over by the request record): the
// association class of Associators, or the result class (the association class) of References.
CMAssocReq *make_assoc(const char *assoc_class, const char *result_class, bool refs_only);

// The request frame of a record (doSerialization); the record is released.
std::string request_frame(ClientReq *req);

// A request frame built with getClientReq (cop, args, inst and assoc are taken over).
std::string build_frame(int type, const char *user, CMPIObjectPath *cop, CMPIArgs *args = nullptr,
                        CMPIInstance *inst = nullptr, CMAssocReq *assoc = nullptr,
                        const char *text = nullptr);

struct RawOptions {
  bool shutdown_write = false;  // shut the sending side down after the bytes
  bool close_at_once = false;   // close the connection right after sending, read nothing
  int pause_ms = 0;             // wait this long after sending before anything else
  int read_limit_s = 30;        // stop reading after this many seconds without data
};

// Sends bytes on a new connection and returns everything received until the daemon closes.
std::string exchange_raw(const std::string &socket, const std::string &bytes,
                         const RawOptions &options = {});

// The answer of one operation, decoded by its tokenizer.
struct Answer {
  int rc = -1;                            // the operation's CMPI return code
  bool complete = false;                  // the completion frame arrived
  std::string raw;                        // every byte received
  std::string message;                    // status message, when one was delivered
  std::vector<CMPIInstance *> instances;  // owned
  std::vector<CMPIObjectPath *> paths;    // owned
  CMPIConstClass *cls = nullptr;          // owned
  CMPIArgs *out = nullptr;                // owned
  uint32_t ret_type = 0;
  Answer() = default;
  Answer(Answer &&other) noexcept;
  Answer &operator=(Answer &&) = delete;
  Answer(const Answer &) = delete;
  ~Answer();
};

// One call per tokenizer.
Answer enumerate(const std::string &socket, const std::string &frame, int type);
Answer get_instance(const std::string &socket, const std::string &frame);
Answer get_class(const std::string &socket, const std::string &frame);
Answer set_instance(const std::string &socket, const std::string &frame);
Answer create_instance(const std::string &socket, const std::string &frame);
Answer invoke(const std::string &socket, const std::string &frame);

// How many frame terminators the bytes hold; whether text ends with tail.
std::size_t count_frames(const std::string &raw);
bool ends_with(const std::string &text, const std::string &tail);

// Property and argument values.
std::string text_property(const CMPIInstance *inst, const char *name);
unsigned long long number_property(const CMPIInstance *inst, const char *name);
std::string key_text(const CMPIObjectPath *path, const char *name);
unsigned long long number_argument(const CMPIArgs *args, const char *name,
                                   CMPIType *type = nullptr);
bool has_argument(const CMPIArgs *args, const char *name);
std::vector<std::string> class_property_names(const CMPIConstClass *cls);

}  // namespace e2e

#endif  // CMPI_E2E_HOSTD_CLIENT_H
