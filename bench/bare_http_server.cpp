// bare_http_server.cpp - the kept-alive loopback server with fixed answers (the floor).
#include "bare_http_server.h"

#include <arpa/inet.h>
#include <gnutls/gnutls.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <strings.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

namespace bench {
namespace {

// One accepted connection, plain or TLS.
class Link {
 public:
  Link(int fd, gnutls_certificate_credentials_t credentials) : fd_(fd) {
    if (credentials == nullptr) return;
    if (gnutls_init(&session_, GNUTLS_SERVER) != GNUTLS_E_SUCCESS) {
      session_ = nullptr;
      failed_ = true;
      return;
    }
    gnutls_set_default_priority(session_);
    gnutls_credentials_set(session_, GNUTLS_CRD_CERTIFICATE, credentials);
    gnutls_certificate_server_set_request(session_, GNUTLS_CERT_IGNORE);
    gnutls_transport_set_int(session_, fd_);
    int rc;
    do {
      rc = gnutls_handshake(session_);
    } while (rc < 0 && gnutls_error_is_fatal(rc) == 0);
    failed_ = rc < 0;
  }
  ~Link() {
    if (session_ != nullptr) gnutls_deinit(session_);
    close(fd_);
  }
  bool failed() const { return failed_; }

  long receive(char *buffer, std::size_t size) {
    for (;;) {
      ssize_t n = session_ != nullptr ? gnutls_record_recv(session_, buffer, size)
                                      : ::recv(fd_, buffer, size, 0);
      if (session_ != nullptr && (n == GNUTLS_E_AGAIN || n == GNUTLS_E_INTERRUPTED)) continue;
      if (session_ == nullptr && n < 0 && errno == EINTR) continue;
      return n;
    }
  }
  bool send_all(const char *data, std::size_t size) {
    while (size > 0) {
      ssize_t n = session_ != nullptr ? gnutls_record_send(session_, data, size)
                                      : ::send(fd_, data, size, MSG_NOSIGNAL);
      if (session_ != nullptr && (n == GNUTLS_E_AGAIN || n == GNUTLS_E_INTERRUPTED)) continue;
      if (session_ == nullptr && n < 0 && errno == EINTR) continue;
      if (n <= 0) return false;
      data += n;
      size -= static_cast<std::size_t>(n);
    }
    return true;
  }

 private:
  int fd_;
  gnutls_session_t session_ = nullptr;
  bool failed_ = false;
};

// The Content-Length of a request's head (0 when it has none).
std::size_t content_length(const std::string &head) {
  std::size_t at = 0;
  while ((at = head.find("\r\n", at)) != std::string::npos) {
    at += 2;
    if (strncasecmp(head.c_str() + at, "Content-Length:", 15) == 0) {
      return std::strtoul(head.c_str() + at + 15, nullptr, 10);
    }
  }
  return 0;
}

}  // namespace

BareHttpServer::~BareHttpServer() { stop(); }

bool BareHttpServer::start(std::string *error, int threads, const std::string &certificate_file,
                           const std::string &key_file) {
  if (!certificate_file.empty()) {
    gnutls_certificate_credentials_t credentials = nullptr;
    if (gnutls_certificate_allocate_credentials(&credentials) != GNUTLS_E_SUCCESS) {
      *error = "gnutls: no credentials";
      return false;
    }
    credentials_ = credentials;
    int rc = gnutls_certificate_set_x509_key_file(credentials, certificate_file.c_str(),
                                                  key_file.c_str(), GNUTLS_X509_FMT_PEM);
    if (rc < 0) {
      *error = std::string("gnutls: the certificate and key: ") + gnutls_strerror(rc);
      return false;
    }
  }
  listen_fd_ = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  struct sockaddr_in address;
  std::memset(&address, 0, sizeof address);
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof address;
  if (listen_fd_ < 0 || bind(listen_fd_, reinterpret_cast<struct sockaddr *>(&address), size) != 0 ||
      listen(listen_fd_, 64) != 0 ||
      getsockname(listen_fd_, reinterpret_cast<struct sockaddr *>(&address), &size) != 0) {
    *error = std::string("bare server: ") + std::strerror(errno);
    return false;
  }
  port_ = ntohs(address.sin_port);
  stopping_ = false;
  for (int i = 0; i < threads; ++i) threads_.emplace_back([this] { serve(); });
  return true;
}

void BareHttpServer::stop() {
  stopping_ = true;
  if (listen_fd_ >= 0) shutdown(listen_fd_, SHUT_RDWR);
  for (std::thread &t : threads_) t.join();
  threads_.clear();
  if (listen_fd_ >= 0) close(listen_fd_);
  listen_fd_ = -1;
  if (credentials_ != nullptr) {
    gnutls_certificate_free_credentials(static_cast<gnutls_certificate_credentials_t>(credentials_));
    credentials_ = nullptr;
  }
}

void BareHttpServer::set_answer(const std::string &bytes) {
  auto answer = std::make_shared<const std::string>(bytes);
  std::lock_guard<std::mutex> lock(mutex_);
  answer_ = std::move(answer);
}

void BareHttpServer::serve() {
  while (!stopping_) {
    struct pollfd p = {listen_fd_, POLLIN, 0};
    if (poll(&p, 1, 200) <= 0) continue;
    const int fd = accept4(listen_fd_, nullptr, nullptr, SOCK_CLOEXEC);
    if (fd < 0) continue;
    int one = 1;
    setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
    serve_connection(fd);
  }
}

void BareHttpServer::serve_connection(int fd) {
  Link link(fd, static_cast<gnutls_certificate_credentials_t>(credentials_));
  if (link.failed()) return;
  std::string buffer;
  char piece[64 * 1024];
  while (!stopping_) {
    // The head, then the body up to its length; whatever follows belongs to the next request.
    std::size_t head_end;
    while ((head_end = buffer.find("\r\n\r\n")) == std::string::npos) {
      const long n = link.receive(piece, sizeof piece);
      if (n <= 0) return;
      buffer.append(piece, static_cast<std::size_t>(n));
    }
    const std::size_t whole = head_end + 4 + content_length(buffer.substr(0, head_end + 2));
    while (buffer.size() < whole) {
      const long n = link.receive(piece, sizeof piece);
      if (n <= 0) return;
      buffer.append(piece, static_cast<std::size_t>(n));
    }
    buffer.erase(0, whole);
    std::shared_ptr<const std::string> answer;
    {
      std::lock_guard<std::mutex> lock(mutex_);
      answer = answer_;
    }
    if (!answer || !link.send_all(answer->data(), answer->size())) return;
  }
}

}  // namespace bench
