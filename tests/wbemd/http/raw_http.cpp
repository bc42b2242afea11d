// raw_http.cpp - the tests' minimal HTTP client.
#include "raw_http.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <chrono>
#include <cstring>

namespace httptest {
namespace {

long long now_ms() {
  return std::chrono::duration_cast<std::chrono::milliseconds>(
             std::chrono::steady_clock::now().time_since_epoch())
      .count();
}

std::string lower(std::string s) {
  std::transform(s.begin(), s.end(), s.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return s;
}

std::string trim(const std::string &s) {
  std::size_t b = s.find_first_not_of(" \t");
  if (b == std::string::npos) return "";
  return s.substr(b, s.find_last_not_of(" \t") - b + 1);
}

}  // namespace

Connection::Connection(uint16_t port, const std::string &source) {
  fd_ = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (fd_ < 0) return;
  if (!source.empty()) {
    struct sockaddr_in local;
    std::memset(&local, 0, sizeof local);
    local.sin_family = AF_INET;
    inet_pton(AF_INET, source.c_str(), &local.sin_addr);
    if (bind(fd_, reinterpret_cast<struct sockaddr *>(&local), sizeof local) != 0) {
      close(fd_);
      fd_ = -1;
      return;
    }
  }
  struct sockaddr_in server;
  std::memset(&server, 0, sizeof server);
  server.sin_family = AF_INET;
  server.sin_port = htons(port);
  inet_pton(AF_INET, "127.0.0.1", &server.sin_addr);
  if (connect(fd_, reinterpret_cast<struct sockaddr *>(&server), sizeof server) != 0) {
    close(fd_);
    fd_ = -1;
  }
}

Connection::~Connection() {
  if (fd_ >= 0) close(fd_);
}

bool Connection::send(const std::string &bytes) {
  std::size_t done = 0;
  while (done < bytes.size()) {
    ssize_t n = ::send(fd_, bytes.data() + done, bytes.size() - done, MSG_NOSIGNAL);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return false;
    done += static_cast<std::size_t>(n);
  }
  return true;
}

bool Connection::fill(int wait_ms) {
  if (eof_ || fd_ < 0) return false;
  struct pollfd p = {fd_, POLLIN, 0};
  int r = poll(&p, 1, std::max(wait_ms, 0));
  if (r <= 0) return false;
  char chunk[65536];
  ssize_t n = recv(fd_, chunk, sizeof chunk, 0);
  if (n <= 0) {
    eof_ = true;
    return false;
  }
  buffer_.append(chunk, static_cast<std::size_t>(n));
  return true;
}

bool Connection::read_line(std::string *line, long long deadline) {
  for (;;) {
    std::size_t end = buffer_.find("\r\n");
    if (end != std::string::npos) {
      *line = buffer_.substr(0, end);
      buffer_.erase(0, end + 2);
      return true;
    }
    if (!fill(static_cast<int>(deadline - now_ms()))) return false;
  }
}

bool Connection::read_bytes(std::size_t n, std::string *out, long long deadline) {
  while (buffer_.size() < n) {
    if (!fill(static_cast<int>(deadline - now_ms()))) return false;
  }
  out->append(buffer_, 0, n);
  buffer_.erase(0, n);
  return true;
}

Answer Connection::read_answer(int timeout_ms) {
  Answer answer;
  long long deadline = now_ms() + timeout_ms;
  std::string line;
  if (!read_line(&line, deadline)) {
    answer.closed = eof_;
    return answer;
  }
  if (line.compare(0, 5, "HTTP/") != 0 || line.size() < 12) return answer;
  answer.status = std::atoi(line.c_str() + 9);
  while (read_line(&line, deadline) && !line.empty()) {
    std::size_t colon = line.find(':');
    if (colon == std::string::npos) continue;
    answer.headers[lower(trim(line.substr(0, colon)))] = trim(line.substr(colon + 1));
  }
  auto te = answer.headers.find("transfer-encoding");
  auto cl = answer.headers.find("content-length");
  if (te != answer.headers.end() && lower(te->second) == "chunked") {
    answer.chunked = true;
    for (;;) {
      if (!read_line(&line, deadline)) break;
      std::size_t size = std::strtoul(line.c_str(), nullptr, 16);
      if (size == 0) {
        while (read_line(&line, deadline) && !line.empty()) {
          std::size_t colon = line.find(':');
          if (colon != std::string::npos) {
            answer.trailers[lower(trim(line.substr(0, colon)))] = trim(line.substr(colon + 1));
          }
        }
        answer.complete = line.empty();
        break;
      }
      std::string piece;
      if (!read_bytes(size, &piece, deadline)) break;
      answer.body += piece;
      if (!read_line(&line, deadline) || !line.empty()) break;
    }
  } else if (cl != answer.headers.end()) {
    std::size_t size = std::strtoul(cl->second.c_str(), nullptr, 10);
    answer.complete = read_bytes(size, &answer.body, deadline);
  } else {
    while (fill(static_cast<int>(deadline - now_ms()))) {
    }
    answer.body = buffer_;
    buffer_.clear();
    answer.complete = eof_;
  }
  answer.closed = eof_;
  return answer;
}

bool Connection::closed_within(int timeout_ms) {
  long long deadline = now_ms() + timeout_ms;
  while (!eof_ && now_ms() < deadline) {
    fill(static_cast<int>(deadline - now_ms()));
    buffer_.clear();
  }
  return eof_;
}

std::string basic(const std::string &user, const std::string &password) {
  static const char kDigits[] =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string in = user + ":" + password;
  std::string out;
  for (std::size_t i = 0; i < in.size(); i += 3) {
    unsigned v = static_cast<unsigned char>(in[i]) << 16;
    if (i + 1 < in.size()) v |= static_cast<unsigned char>(in[i + 1]) << 8;
    if (i + 2 < in.size()) v |= static_cast<unsigned char>(in[i + 2]);
    out += kDigits[(v >> 18) & 63];
    out += kDigits[(v >> 12) & 63];
    out += i + 1 < in.size() ? kDigits[(v >> 6) & 63] : '=';
    out += i + 2 < in.size() ? kDigits[v & 63] : '=';
  }
  return "Basic " + out;
}

std::string cim_request(const std::string &cim_method, const std::string &body,
                        const std::string &extra_headers, const std::string &authorization) {
  std::string request = "POST /cimom HTTP/1.1\r\nHost: localhost\r\n";
  if (!authorization.empty()) request += "Authorization: " + authorization + "\r\n";
  request += "Content-Type: application/xml; charset=\"utf-8\"\r\n";
  request += "Content-Length: " + std::to_string(body.size()) + "\r\n";
  request += "CIMProtocolVersion: 1.0\r\nCIMOperation: MethodCall\r\n";
  request += "CIMMethod: " + cim_method + "\r\nCIMObject: root%2Fcimv2\r\n";
  request += extra_headers;
  request += "\r\n";
  return request + body;
}

}  // namespace httptest
