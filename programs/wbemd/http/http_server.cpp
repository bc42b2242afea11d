// http_server.cpp - libmicrohttpd wired to the request checks, the login and the CIM service.
#include "http_server.h"

#include <arpa/inet.h>
#include <microhttpd.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>
#include <pwd.h>

#include <chrono>
#include <condition_variable>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <memory>
#include <mutex>
#include <set>
#include <thread>
#include <vector>

#include "answer_pipe.h"
#include "answer_producer.h"
#include "basic_credentials.h"
#include "connection_login.h"
#include "http_log.h"
#include "local_peer.h"
#include "request_checks.h"

namespace wbem {

using Clock = std::chrono::steady_clock;

namespace {

constexpr char kChallenge[] = "Basic realm=\"cimom\"";
constexpr std::size_t kChunkSize = 32 * 1024;

// One open connection, known to the watchdog that enforces the whole-request time-out.
struct Connection {
  int fd = -1;
  std::string peer;       // "127.0.0.1:40022", "[::1]:40022"
  std::string peer_host;  // "127.0.0.1", "::1"
  bool receiving = true;  // between a request's start and its last body byte
  Clock::time_point since;
  // The Authorization value that logged in on this connection (its own thread only).
  ConnectionLogin login;
  // The local user owning the client's end, once looked up (trusted local peers only; the
  // owner of a socket does not change while it is open).
  std::string local_user;
  // The thread that runs serve() for this connection's streamed answers, made with the first
  // of them (answer_producer.h). A streamed answer shares it until the answer is released,
  // which may be after the connection is gone; the thread ends with the last owner.
  std::shared_ptr<AnswerProducer> producer;
};

// One request on a connection, from its first line to its completion.
struct Request {
  Connection *connection = nullptr;
  bool headers_checked = false;
  std::string body;
  CimCall call;
};

// One answer: produced by serve() on the connection's producer thread while it is sent, or,
// for an answer that serve() holds whole anyway (CimService::answers_at_once), on the request's
// own thread before anything is sent (then the pipe holds it all and there is no producer). A
// producer is idle again (wait_idle) before the exchange is deleted.
struct Exchange {
  Exchange(std::size_t capacity, bool at_once) : pipe(capacity, at_once) {}
  CimCall call;
  AnswerPipe pipe;
  std::shared_ptr<AnswerProducer> producer;  // null for an answer made at once
  MHD_Response *response = nullptr;
};

std::string address_text(const struct sockaddr *address, bool with_port) {
  char host[INET6_ADDRSTRLEN] = "?";
  unsigned port = 0;
  if (address == nullptr) return "?";
  if (address->sa_family == AF_INET) {
    const auto *v4 = reinterpret_cast<const struct sockaddr_in *>(address);
    inet_ntop(AF_INET, &v4->sin_addr, host, sizeof host);
    port = ntohs(v4->sin_port);
    return with_port ? std::string(host) + ":" + std::to_string(port) : host;
  }
  if (address->sa_family == AF_INET6) {
    const auto *v6 = reinterpret_cast<const struct sockaddr_in6 *>(address);
    if (IN6_IS_ADDR_V4MAPPED(&v6->sin6_addr)) {
      inet_ntop(AF_INET, &v6->sin6_addr.s6_addr[12], host, sizeof host);
      port = ntohs(v6->sin6_port);
      return with_port ? std::string(host) + ":" + std::to_string(port) : host;
    }
    inet_ntop(AF_INET6, &v6->sin6_addr, host, sizeof host);
    port = ntohs(v6->sin6_port);
    return with_port ? "[" + std::string(host) + "]:" + std::to_string(port) : host;
  }
  return "?";
}

void log_from_library(void *, const char *format, va_list arguments) {
  char text[512];
  std::vsnprintf(text, sizeof text, format, arguments);
  std::size_t n = std::strlen(text);
  while (n > 0 && (text[n - 1] == '\n' || text[n - 1] == '\r')) text[--n] = '\0';
  HTTP_ERROR("libmicrohttpd: %s", text);
}

MHD_Result collect_header(void *cls, enum MHD_ValueKind, const char *key, const char *value) {
  auto *headers = static_cast<HeaderList *>(cls);
  headers->emplace_back(key != nullptr ? key : "", value != nullptr ? value : "");
  return MHD_YES;
}

// Percent-encodes what may not stand in a header value (and '%' itself); at most 1024 bytes.
std::string header_safe(const std::string &text) {
  std::string out;
  for (unsigned char c : text) {
    if (out.size() >= 1024) break;
    if (c >= 0x20 && c < 0x7f && c != '%') {
      out += static_cast<char>(c);
    } else {
      char hex[4];
      std::snprintf(hex, sizeof hex, "%%%02X", c);
      out += hex;
    }
  }
  return out;
}

// The name of the local user owning the client's end of a loopback connection.
bool local_peer_user(int fd, std::string *user) {
  uid_t uid = 0;
  if (fd < 0 || !loopback_peer_uid(fd, &uid)) return false;
  std::vector<char> buffer(16384);
  struct passwd entry;
  struct passwd *found = nullptr;
  if (getpwuid_r(uid, &entry, buffer.data(), buffer.size(), &found) != 0 || found == nullptr) {
    return false;
  }
  *user = found->pw_name;
  return valid_user_name(*user);
}

}  // namespace

struct HttpServer::State {
  State(const ServerLimits &l, CimService &s, Authenticator &a, LoginThrottle &t)
      : limits(l), service(s), authenticator(a), throttle(t) {}

  ServerLimits limits;
  CimService &service;
  Authenticator &authenticator;
  LoginThrottle &throttle;
  MHD_Daemon *daemon = nullptr;
  bool trust_local = false;
  std::string tls_cert;
  std::string tls_key;

  // The watchdog of the whole-request time-out.
  std::mutex mutex;
  std::condition_variable wake;
  std::set<Connection *> connections;
  bool stopping = false;
  std::thread watchdog;

  void watch();
  void mark(Connection *c, bool receiving) {
    if (c == nullptr) return;
    std::lock_guard<std::mutex> lock(mutex);
    c->receiving = receiving;
    c->since = Clock::now();
  }

  // libmicrohttpd callbacks.
  static void on_connection(void *cls, MHD_Connection *connection, void **socket_context,
                            enum MHD_ConnectionNotificationCode code);
  static void *on_request_line(void *cls, const char *uri, MHD_Connection *connection);
  static void on_completed(void *cls, MHD_Connection *connection, void **request_context,
                           enum MHD_RequestTerminationCode code);
  static MHD_Result on_request(void *cls, MHD_Connection *connection, const char *url,
                               const char *method, const char *version, const char *upload_data,
                               size_t *upload_data_size, void **request_context);
  static ssize_t read_answer(void *cls, uint64_t position, char *buffer, size_t max);
  static void free_answer(void *cls);

  MHD_Result first_look(MHD_Connection *connection, const char *url, const char *method,
                        Request *request);
  bool authenticate(const HeaderList &headers, Request *request);
  MHD_Result answer(MHD_Connection *connection, Request *request);
};

void HttpServer::State::watch() {
  std::unique_lock<std::mutex> lock(mutex);
  const auto limit = std::chrono::seconds(limits.request_timeout);
  while (!stopping) {
    wake.wait_for(lock, std::chrono::milliseconds(200));
    auto now = Clock::now();
    for (Connection *c : connections) {
      if (c->receiving && c->fd >= 0 && now - c->since > limit) {
        HTTP_ERROR("request time-out (%u s) for %s: connection closed", limits.request_timeout,
                   c->peer.c_str());
        // The descriptor stays libmicrohttpd's: shutting it down makes its next read fail, and
        // it closes the connection itself (and tells on_connection before the close).
        shutdown(c->fd, SHUT_RDWR);
        c->receiving = false;
      }
    }
  }
}

void HttpServer::State::on_connection(void *cls, MHD_Connection *connection,
                                      void **socket_context,
                                      enum MHD_ConnectionNotificationCode code) {
  auto *self = static_cast<State *>(cls);
  if (code == MHD_CONNECTION_NOTIFY_STARTED) {
    auto *c = new Connection;
    const union MHD_ConnectionInfo *info =
        MHD_get_connection_info(connection, MHD_CONNECTION_INFO_CONNECTION_FD);
    if (info != nullptr) c->fd = info->connect_fd;
    info = MHD_get_connection_info(connection, MHD_CONNECTION_INFO_CLIENT_ADDRESS);
    const struct sockaddr *address = info != nullptr ? info->client_addr : nullptr;
    c->peer = address_text(address, true);
    c->peer_host = address_text(address, false);
    c->since = Clock::now();
    std::lock_guard<std::mutex> lock(self->mutex);
    self->connections.insert(c);
    *socket_context = c;
  } else if (code == MHD_CONNECTION_NOTIFY_CLOSED) {
    auto *c = static_cast<Connection *>(*socket_context);
    if (c == nullptr) return;
    {
      std::lock_guard<std::mutex> lock(self->mutex);
      self->connections.erase(c);
    }
    delete c;
    *socket_context = nullptr;
  }
}

void *HttpServer::State::on_request_line(void *cls, const char *, MHD_Connection *connection) {
  auto *self = static_cast<State *>(cls);
  auto *request = new Request;
  const union MHD_ConnectionInfo *info =
      MHD_get_connection_info(connection, MHD_CONNECTION_INFO_SOCKET_CONTEXT);
  if (info != nullptr) request->connection = static_cast<Connection *>(info->socket_context);
  self->mark(request->connection, true);
  return request;
}

void HttpServer::State::on_completed(void *cls, MHD_Connection *, void **request_context,
                                     enum MHD_RequestTerminationCode) {
  auto *self = static_cast<State *>(cls);
  auto *request = static_cast<Request *>(*request_context);
  if (request == nullptr) return;
  // Waiting for the next request on this connection counts against the time-out too.
  self->mark(request->connection, true);
  delete request;
  *request_context = nullptr;
}

namespace {

MHD_Result queue_empty(MHD_Connection *connection, int status, const char *header,
                       const char *value, const char *header2 = nullptr,
                       const char *value2 = nullptr) {
  MHD_Response *response = MHD_create_response_from_buffer(0, nullptr, MHD_RESPMEM_PERSISTENT);
  if (response == nullptr) return MHD_NO;
  if (header != nullptr) MHD_add_response_header(response, header, value);
  if (header2 != nullptr) MHD_add_response_header(response, header2, value2);
  MHD_Result result = MHD_queue_response(connection, static_cast<unsigned>(status), response);
  MHD_destroy_response(response);
  return result;
}

void free_body(void *cls) { delete static_cast<std::string *>(cls); }

MHD_Result queue_refusal(MHD_Connection *connection, const Refusal &refusal) {
  if (!refusal.allow.empty()) {
    return queue_empty(connection, refusal.status, "Allow", refusal.allow.c_str());
  }
  if (!refusal.cim_error.empty()) {
    return queue_empty(connection, refusal.status, "CIMError", refusal.cim_error.c_str());
  }
  return queue_empty(connection, refusal.status, nullptr, nullptr);
}

}  // namespace

bool HttpServer::State::authenticate(const HeaderList &headers, Request *request) {
  Connection *c = request->connection;
  const std::string peer = c != nullptr ? c->peer : "?";
  const std::string host = c != nullptr ? c->peer_host : "?";
  std::vector<std::string> values = header_values(headers, "Authorization");
  if (values.empty()) {
    std::string local_user;
    if (trust_local && c != nullptr && !c->local_user.empty()) {
      local_user = c->local_user;
    } else if (trust_local && c != nullptr && local_peer_user(c->fd, &local_user)) {
      c->local_user = local_user;
    }
    if (!local_user.empty()) {
      HTTP_TRACE("request from %s without credentials served as its local user %s",
                 peer.c_str(), local_user.c_str());
      request->call.user = local_user;
      request->call.peer = peer;
      return true;
    }
    HTTP_TRACE("request from %s without credentials: 401", peer.c_str());
    return false;
  }
  // The same credentials again on a connection where they already logged in: served without
  // asking the helper (connection_login.h).
  std::string remembered;
  if (values.size() == 1 && c != nullptr && c->login.recall(values[0], &remembered)) {
    request->call.user = remembered;
    request->call.peer = peer;
    return true;
  }
  // While the login is checked (and held back), the request time-out does not run.
  mark(c, false);
  BasicCredentials credentials;
  bool readable = values.size() == 1 && parse_basic_credentials(values[0], &credentials);
  auto wait = throttle.wait_before_check(host, Clock::now());
  if (wait.count() > 0) std::this_thread::sleep_for(wait);
  bool ok = readable && authenticator.login(credentials.user, credentials.password, host);
  if (!credentials.password.empty()) {
    explicit_bzero(&credentials.password[0], credentials.password.size());
  }
  mark(c, true);
  if (ok) {
    throttle.succeeded(host);
    if (c != nullptr) c->login.remember(values[0], credentials.user);
    request->call.user = credentials.user;
    request->call.peer = peer;
    return true;
  }
  if (c != nullptr) c->login.forget();
  auto delay = throttle.failed(host, Clock::now());
  int failures = throttle.failures(host);
  if (readable) {
    HTTP_ERROR("failed login of user %s from %s (%d in a row from this address; answer held "
               "back %lld ms)",
               credentials.user.c_str(), peer.c_str(), failures,
               static_cast<long long>(delay.count()));
  } else {
    HTTP_ERROR("failed login from %s: unreadable credentials (%d in a row from this address; "
               "answer held back %lld ms)",
               peer.c_str(), failures, static_cast<long long>(delay.count()));
  }
  mark(c, false);
  std::this_thread::sleep_for(delay);
  mark(c, true);
  return false;
}

MHD_Result HttpServer::State::first_look(MHD_Connection *connection, const char *url,
                                         const char *method, Request *request) {
  const std::string peer = request->connection != nullptr ? request->connection->peer : "?";
  std::optional<Refusal> refusal = check_request_line(method, url);
  if (refusal) {
    HTTP_ERROR("refused %s %s from %s: %d", log_safe(method).c_str(), log_safe(url).c_str(),
               peer.c_str(), refusal->status);
    return queue_refusal(connection, *refusal);
  }
  HeaderList headers;
  MHD_get_connection_values(connection, MHD_HEADER_KIND, collect_header, &headers);
  if (!authenticate(headers, request)) {
    return queue_empty(connection, MHD_HTTP_UNAUTHORIZED, MHD_HTTP_HEADER_WWW_AUTHENTICATE,
                       kChallenge);
  }
  refusal = check_framing(headers, limits.max_body);
  if (!refusal) refusal = check_cim_headers(headers, &request->call);
  if (refusal) {
    HTTP_ERROR("refused request of %s from %s: %d%s%s", request->call.user.c_str(), peer.c_str(),
               refusal->status, refusal->cim_error.empty() ? "" : ", CIMError ",
               refusal->cim_error.c_str());
    return queue_refusal(connection, *refusal);
  }
  return MHD_YES;
}

MHD_Result HttpServer::State::on_request(void *cls, MHD_Connection *connection, const char *url,
                                         const char *method, const char *,
                                         const char *upload_data, size_t *upload_data_size,
                                         void **request_context) {
  auto *self = static_cast<State *>(cls);
  auto *request = static_cast<Request *>(*request_context);
  if (request == nullptr) return MHD_NO;
  if (!request->headers_checked) {
    request->headers_checked = true;
    return self->first_look(connection, url, method, request);
  }
  if (*upload_data_size > 0) {
    if (request->body.size() + *upload_data_size > self->limits.max_body) {
      HTTP_ERROR("request body of %s from %s passes %zu bytes: connection closed",
                 request->call.user.c_str(), request->call.peer.c_str(), self->limits.max_body);
      return MHD_NO;
    }
    request->body.append(upload_data, *upload_data_size);
    *upload_data_size = 0;
    return MHD_YES;
  }
  self->mark(request->connection, false);
  return self->answer(connection, request);
}

MHD_Result HttpServer::State::answer(MHD_Connection *connection, Request *request) {
  request->call.body = std::move(request->body);
  const bool at_once = service.answers_at_once(request->call);
  auto *exchange = new Exchange(limits.stream_threshold, at_once);
  exchange->call = std::move(request->call);
  if (http_tracing()) {
    HTTP_TRACE("%s %s from %s as %s", exchange->call.cim_method.c_str(),
               log_safe(exchange->call.cim_object).c_str(), exchange->call.peer.c_str(),
               exchange->call.user.c_str());
  }
  Connection *c = request->connection;
  if (at_once) {
    serve_into(service, exchange->call, exchange->pipe);
  } else if (c != nullptr && c->producer) {
    exchange->producer = c->producer;
  } else {
    exchange->producer = std::make_shared<AnswerProducer>(service);
    if (c != nullptr) c->producer = exchange->producer;
  }
  if (exchange->producer && !exchange->producer->start(exchange->call, exchange->pipe)) {
    HTTP_ERROR("cannot start a thread for the answer to %s from %s: connection closed",
               exchange->call.user.c_str(), exchange->call.peer.c_str());
    delete exchange;
    return MHD_NO;
  }

  AnswerPipe::Shape shape = exchange->pipe.wait_for_shape();
  if (shape != AnswerPipe::Shape::kStream) {
    if (exchange->producer) exchange->producer->wait_idle();
    MHD_Result result;
    if (shape == AnswerPipe::Shape::kProtocolError) {
      Refusal refusal{exchange->pipe.http_status(), exchange->pipe.cim_error(), ""};
      HTTP_ERROR("request of %s from %s not readable: %d, CIMError %s",
                 exchange->call.user.c_str(), exchange->call.peer.c_str(), refusal.status,
                 refusal.cim_error.c_str());
      result = queue_refusal(connection, refusal);
    } else {
      // The body is handed to libmicrohttpd as it is, not copied; it frees it with the
      // response.
      auto *body = new std::string(exchange->pipe.take_whole());
      MHD_Response *response = MHD_create_response_from_buffer_with_free_callback_cls(
          body->size(), body->data(), free_body, body);
      if (response == nullptr) {
        delete body;
        delete exchange;
        return MHD_NO;
      }
      MHD_add_response_header(response, MHD_HTTP_HEADER_CONTENT_TYPE,
                              "application/xml; charset=\"utf-8\"");
      MHD_add_response_header(response, "CIMOperation", "MethodResponse");
      result = MHD_queue_response(connection, MHD_HTTP_OK, response);
      MHD_destroy_response(response);
    }
    delete exchange;
    return result;
  }

  MHD_Response *response = MHD_create_response_from_callback(MHD_SIZE_UNKNOWN, kChunkSize,
                                                             read_answer, exchange, free_answer);
  if (response == nullptr) {
    exchange->pipe.abandon();
    if (exchange->producer) exchange->producer->wait_idle();
    delete exchange;
    return MHD_NO;
  }
  exchange->response = response;
  MHD_add_response_header(response, MHD_HTTP_HEADER_CONTENT_TYPE,
                          "application/xml; charset=\"utf-8\"");
  MHD_add_response_header(response, "CIMOperation", "MethodResponse");
  if (exchange->call.trailers) {
    MHD_add_response_header(response, "Trailer", "CIMStatusCode, CIMStatusDescription");
  }
  MHD_Result result = MHD_queue_response(connection, MHD_HTTP_OK, response);
  MHD_destroy_response(response);  // the connection holds it until it is sent
  return result;
}

ssize_t HttpServer::State::read_answer(void *cls, uint64_t, char *buffer, size_t max) {
  auto *exchange = static_cast<Exchange *>(cls);
  std::size_t n = exchange->pipe.read(buffer, max);
  if (n > 0) return static_cast<ssize_t>(n);
  if (exchange->pipe.end() == AnswerPipe::End::kFinished) {
    if (exchange->call.trailers) MHD_add_response_footer(exchange->response, "CIMStatusCode", "0");
    return MHD_CONTENT_READER_END_OF_STREAM;
  }
  int code = exchange->pipe.fail_status();
  std::string description = exchange->pipe.fail_description();
  if (exchange->call.trailers) {
    HTTP_ERROR("answer to %s from %s failed mid-stream: CIM status %d, sent as trailers",
               exchange->call.user.c_str(), exchange->call.peer.c_str(), code);
    MHD_add_response_footer(exchange->response, "CIMStatusCode", std::to_string(code).c_str());
    MHD_add_response_footer(exchange->response, "CIMStatusDescription",
                            header_safe(description).c_str());
    return MHD_CONTENT_READER_END_OF_STREAM;
  }
  HTTP_ERROR("answer to %s from %s failed mid-stream: CIM status %d; the client announced no "
             "trailers, so the answer is broken off",
             exchange->call.user.c_str(), exchange->call.peer.c_str(), code);
  return MHD_CONTENT_READER_END_WITH_ERROR;
}

void HttpServer::State::free_answer(void *cls) {
  auto *exchange = static_cast<Exchange *>(cls);
  exchange->pipe.abandon();
  if (exchange->producer) exchange->producer->wait_idle();
  delete exchange;  // the producer's thread ends here when the connection is already gone
}

HttpServer::HttpServer(const ServerLimits &limits, CimService &service,
                       Authenticator &authenticator, LoginThrottle &throttle)
    : state_(new State(limits, service, authenticator, throttle)) {}

HttpServer::~HttpServer() { stop(); }

bool HttpServer::start(const ListenPoint &listen, const TlsMaterial *tls, std::string *error) {
  int fd = -1;
  if (!open_listening_socket(listen, &fd, error)) return false;
  return start(fd, tls, error);
}

void HttpServer::trust_local_peers(bool trust) { state_->trust_local = trust; }

bool HttpServer::start(int listen_fd, const TlsMaterial *tls, std::string *error) {
  State &s = *state_;
  unsigned flags = MHD_USE_THREAD_PER_CONNECTION | MHD_USE_INTERNAL_POLLING_THREAD |
                   MHD_USE_POLL | MHD_USE_ERROR_LOG;
  if (tls != nullptr) {
    flags |= MHD_USE_TLS;
    s.tls_cert = tls->certificate_pem;
    s.tls_key = tls->key_pem;
  }
  std::vector<MHD_OptionItem> options = {
      // The logger first: libmicrohttpd warns on its own stderr otherwise.
      {MHD_OPTION_EXTERNAL_LOGGER, reinterpret_cast<intptr_t>(log_from_library), nullptr},
      {MHD_OPTION_LISTEN_SOCKET, listen_fd, nullptr},
      {MHD_OPTION_CONNECTION_MEMORY_LIMIT, static_cast<intptr_t>(s.limits.max_header), nullptr},
      {MHD_OPTION_CONNECTION_LIMIT, static_cast<intptr_t>(s.limits.max_connections), nullptr},
      {MHD_OPTION_PER_IP_CONNECTION_LIMIT, static_cast<intptr_t>(s.limits.max_connections_per_peer),
       nullptr},
      {MHD_OPTION_CONNECTION_TIMEOUT, static_cast<intptr_t>(s.limits.idle_timeout), nullptr},
      {MHD_OPTION_NOTIFY_CONNECTION, reinterpret_cast<intptr_t>(&State::on_connection), &s},
      {MHD_OPTION_URI_LOG_CALLBACK, reinterpret_cast<intptr_t>(&State::on_request_line), &s},
      {MHD_OPTION_NOTIFY_COMPLETED, reinterpret_cast<intptr_t>(&State::on_completed), &s},
      {MHD_OPTION_STRICT_FOR_CLIENT, 1, nullptr},
  };
  if (tls != nullptr) {
    options.push_back({MHD_OPTION_HTTPS_MEM_CERT, 0, const_cast<char *>(s.tls_cert.c_str())});
    options.push_back({MHD_OPTION_HTTPS_MEM_KEY, 0, const_cast<char *>(s.tls_key.c_str())});
    options.push_back({MHD_OPTION_HTTPS_PRIORITIES, 0,
                       const_cast<char *>("NORMAL:-VERS-SSL3.0:-VERS-TLS1.0:-VERS-TLS1.1")});
  }
  options.push_back({MHD_OPTION_END, 0, nullptr});

  s.daemon = MHD_start_daemon(flags, 0, nullptr, nullptr, &State::on_request, &s,
                              MHD_OPTION_ARRAY, options.data(), MHD_OPTION_END);
  if (s.daemon == nullptr) {
    close(listen_fd);
    *error = std::string("cannot serve ") + (tls != nullptr ? "HTTPS" : "HTTP") +
             (tls != nullptr ? " (check the certificate and key)" : "");
    return false;
  }
  s.stopping = false;
  s.watchdog = std::thread([&s] { s.watch(); });
  return true;
}

void HttpServer::stop() {
  State &s = *state_;
  if (s.daemon != nullptr) {
    MHD_stop_daemon(s.daemon);
    s.daemon = nullptr;
  }
  {
    std::lock_guard<std::mutex> lock(s.mutex);
    s.stopping = true;
  }
  s.wake.notify_all();
  if (s.watchdog.joinable()) s.watchdog.join();
}

uint16_t HttpServer::port() const {
  if (state_->daemon == nullptr) return 0;
  const union MHD_DaemonInfo *info = MHD_get_daemon_info(state_->daemon, MHD_DAEMON_INFO_BIND_PORT);
  return info != nullptr ? info->port : 0;
}

}  // namespace wbem
