// http_client.cpp - the benchmark's kept-alive HTTP/1.1 client, plain or over TLS.
#include "http_client.h"

#include <arpa/inet.h>
#include <gnutls/gnutls.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <strings.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

namespace bench {
namespace {

constexpr std::size_t kReadSize = 64 * 1024;

bool header_is(const std::string &line, const char *name, std::string *value) {
  const std::size_t n = std::strlen(name);
  if (line.size() <= n || line[n] != ':' || strncasecmp(line.c_str(), name, n) != 0) return false;
  std::size_t start = n + 1;
  while (start < line.size() && (line[start] == ' ' || line[start] == '\t')) ++start;
  *value = line.substr(start);
  return true;
}

bool contains_word(const std::string &text, const char *word) {
  std::string lower(text);
  for (char &c : lower) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return lower.find(word) != std::string::npos;
}

}  // namespace

HttpConnection::~HttpConnection() { close(); }

bool HttpConnection::open(uint16_t port, bool tls, std::string *error) {
  close();
  fd_ = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (fd_ < 0) {
    *error = std::string("socket: ") + std::strerror(errno);
    return false;
  }
  struct sockaddr_in address;
  std::memset(&address, 0, sizeof address);
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  if (connect(fd_, reinterpret_cast<struct sockaddr *>(&address), sizeof address) != 0) {
    *error = "connect to 127.0.0.1:" + std::to_string(port) + ": " + std::strerror(errno);
    close();
    return false;
  }
  int one = 1;
  setsockopt(fd_, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
  if (!tls) return true;
  gnutls_certificate_credentials_t credentials = nullptr;
  gnutls_session_t session = nullptr;
  if (gnutls_certificate_allocate_credentials(&credentials) != GNUTLS_E_SUCCESS) {
    *error = "gnutls: no credentials";
    close();
    return false;
  }
  credentials_ = credentials;
  if (gnutls_init(&session, GNUTLS_CLIENT) != GNUTLS_E_SUCCESS) {
    *error = "gnutls: no session";
    close();
    return false;
  }
  session_ = session;
  gnutls_set_default_priority(session);
  gnutls_credentials_set(session, GNUTLS_CRD_CERTIFICATE, credentials);
  gnutls_transport_set_int(session, fd_);
  int rc;
  do {
    rc = gnutls_handshake(session);
  } while (rc < 0 && gnutls_error_is_fatal(rc) == 0);
  if (rc < 0) {
    *error = std::string("TLS handshake: ") + gnutls_strerror(rc);
    close();
    return false;
  }
  return true;
}

void HttpConnection::close() {
  if (session_ != nullptr) {
    gnutls_deinit(static_cast<gnutls_session_t>(session_));
    session_ = nullptr;
  }
  if (credentials_ != nullptr) {
    gnutls_certificate_free_credentials(static_cast<gnutls_certificate_credentials_t>(credentials_));
    credentials_ = nullptr;
  }
  if (fd_ >= 0) ::close(fd_);
  fd_ = -1;
  buffer_.clear();
  position_ = 0;
}

bool HttpConnection::send_all(const char *data, std::size_t size) {
  while (size > 0) {
    ssize_t n;
    if (session_ != nullptr) {
      n = gnutls_record_send(static_cast<gnutls_session_t>(session_), data, size);
      if (n == GNUTLS_E_AGAIN || n == GNUTLS_E_INTERRUPTED) continue;
    } else {
      n = ::send(fd_, data, size, MSG_NOSIGNAL);
      if (n < 0 && errno == EINTR) continue;
    }
    if (n <= 0) return false;
    data += n;
    size -= static_cast<std::size_t>(n);
  }
  return true;
}

long HttpConnection::receive(char *buffer, std::size_t size) {
  for (;;) {
    ssize_t n;
    if (session_ != nullptr) {
      n = gnutls_record_recv(static_cast<gnutls_session_t>(session_), buffer, size);
      if (n == GNUTLS_E_AGAIN || n == GNUTLS_E_INTERRUPTED) continue;
    } else {
      n = ::recv(fd_, buffer, size, 0);
      if (n < 0 && errno == EINTR) continue;
    }
    if (n > 0) received_ += static_cast<std::size_t>(n);
    if (n > 0 && raw_ != nullptr) raw_->append(buffer, static_cast<std::size_t>(n));
    return n;
  }
}

bool HttpConnection::fill() {
  if (position_ > 0 && position_ == buffer_.size()) {
    buffer_.clear();
    position_ = 0;
  }
  const std::size_t old = buffer_.size();
  buffer_.resize(old + kReadSize);
  const long n = receive(&buffer_[old], kReadSize);
  buffer_.resize(old + (n > 0 ? static_cast<std::size_t>(n) : 0));
  return n > 0;
}

bool HttpConnection::read_line(std::string *line) {
  for (;;) {
    const std::size_t end = buffer_.find("\r\n", position_);
    if (end != std::string::npos) {
      line->assign(buffer_, position_, end - position_);
      position_ = end + 2;
      return true;
    }
    if (buffer_.size() - position_ > 64 * 1024) return false;
    if (!fill()) return false;
  }
}

bool HttpConnection::skip(std::size_t n) {
  const std::size_t held = buffer_.size() - position_;
  const std::size_t taken = held < n ? held : n;
  position_ += taken;
  n -= taken;
  // What the buffer does not hold is read straight through a scratch area.
  char scratch[kReadSize];
  while (n > 0) {
    const long got = receive(scratch, sizeof scratch);
    if (got <= 0) return false;
    if (static_cast<std::size_t>(got) > n) {
      buffer_.assign(scratch + n, static_cast<std::size_t>(got) - n);
      position_ = 0;
      return true;
    }
    n -= static_cast<std::size_t>(got);
  }
  return true;
}

bool HttpConnection::exchange(const std::string &request, HttpAnswer *answer, std::string *raw) {
  *answer = HttpAnswer();
  if (fd_ < 0) return false;
  if (position_ != buffer_.size()) {  // bytes nobody asked for: the stream is out of step
    close();
    return false;
  }
  buffer_.clear();
  position_ = 0;
  raw_ = raw;
  received_ = 0;
  if (raw_ != nullptr) raw_->clear();
  bool ok = send_all(request.data(), request.size());
  std::string line;
  std::size_t length = 0;
  bool has_length = false;
  if (ok && read_line(&line) && line.compare(0, 5, "HTTP/") == 0 && line.size() >= 12) {
    answer->status = std::atoi(line.c_str() + 9);
    std::string value;
    while ((ok = read_line(&line)) && !line.empty()) {
      if (header_is(line, "Content-Length", &value)) {
        length = std::strtoul(value.c_str(), nullptr, 10);
        has_length = true;
      } else if (header_is(line, "Transfer-Encoding", &value)) {
        answer->chunked = contains_word(value, "chunked");
      } else if (header_is(line, "Connection", &value)) {
        answer->keeps_alive = !contains_word(value, "close");
      }
    }
  } else {
    ok = false;
  }
  if (ok && answer->chunked) {
    for (;;) {
      if (!read_line(&line)) {
        ok = false;
        break;
      }
      const std::size_t size = std::strtoul(line.c_str(), nullptr, 16);
      if (size == 0) {
        while ((ok = read_line(&line)) && !line.empty()) answer->trailers += line + "\n";
        answer->complete = ok;
        break;
      }
      if (!skip(size) || !read_line(&line) || !line.empty()) {
        ok = false;
        break;
      }
      answer->body_bytes += size;
    }
  } else if (ok && has_length) {
    ok = skip(length);
    answer->body_bytes = ok ? length : 0;
    answer->complete = ok;
  } else if (ok) {
    ok = false;  // the benchmark expects framed answers only
  }
  answer->bytes = received_;
  raw_ = nullptr;
  if (!ok || !answer->keeps_alive) close();
  return ok && answer->complete;
}

}  // namespace bench
