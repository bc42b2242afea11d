// request_checks.cpp - the request line and headers of a CIM operation request.
#include "request_checks.h"

#include <algorithm>
#include <cctype>

namespace wbem {
namespace {

std::string lower(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return text;
}

// Header names compared as the C locale's tolower would, without a lowered copy of each.
bool same_header_name(const std::string &a, const std::string &b) {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i) {
    char x = a[i];
    char y = b[i];
    if (x >= 'A' && x <= 'Z') x = static_cast<char>(x - 'A' + 'a');
    if (y >= 'A' && y <= 'Z') y = static_cast<char>(y - 'A' + 'a');
    if (x != y) return false;
  }
  return true;
}

std::string trim(const std::string &text) {
  std::size_t b = text.find_first_not_of(" \t");
  if (b == std::string::npos) return "";
  std::size_t e = text.find_last_not_of(" \t");
  return text.substr(b, e - b + 1);
}

Refusal refuse(int status, std::string cim_error = "", std::string allow = "") {
  return Refusal{status, std::move(cim_error), std::move(allow)};
}

// The single value of a header that may appear at most once; false when it appears twice.
bool single(const HeaderList &headers, const std::string &name, std::optional<std::string> *out) {
  std::vector<std::string> values = header_values(headers, name);
  if (values.size() > 1) return false;
  if (values.empty()) {
    out->reset();
  } else {
    *out = values[0];
  }
  return true;
}

bool printable_ascii(const std::string &text) {
  return std::all_of(text.begin(), text.end(), [](char c) { return c >= 0x21 && c <= 0x7e; });
}

// application/xml or text/xml, optionally with charset utf-8 (quoted or not).
bool acceptable_content_type(const std::string &value) {
  std::string text = lower(value);
  std::size_t semicolon = text.find(';');
  std::string type = trim(text.substr(0, semicolon));
  if (type != "application/xml" && type != "text/xml") return false;
  while (semicolon != std::string::npos) {
    std::size_t next = text.find(';', semicolon + 1);
    std::string parameter = trim(text.substr(semicolon + 1, next == std::string::npos
                                                                 ? std::string::npos
                                                                 : next - semicolon - 1));
    semicolon = next;
    if (parameter.empty()) continue;
    std::size_t eq = parameter.find('=');
    if (eq == std::string::npos) return false;
    std::string name = trim(parameter.substr(0, eq));
    std::string val = trim(parameter.substr(eq + 1));
    if (val.size() >= 2 && val.front() == '"' && val.back() == '"') val = val.substr(1, val.size() - 2);
    if (name == "charset" && val != "utf-8" && val != "utf8") return false;
  }
  return true;
}

}  // namespace

std::vector<std::string> header_values(const HeaderList &headers, const std::string &name) {
  std::vector<std::string> values;
  for (const auto &header : headers) {
    if (same_header_name(header.first, name)) values.push_back(header.second);
  }
  return values;
}

std::optional<Refusal> check_request_line(const std::string &method, const std::string &path) {
  if (path != "/cimom") return refuse(404);
  if (method == "POST") return std::nullopt;
  static const char *const kHttpMethods[] = {"GET",    "HEAD",    "PUT",   "DELETE",
                                              "OPTIONS", "TRACE", "PATCH", "CONNECT"};
  for (const char *known : kHttpMethods) {
    if (method == known) return refuse(405, "", "POST");
  }
  return refuse(501);
}

std::optional<Refusal> check_framing(const HeaderList &headers, std::size_t max_body) {
  std::optional<std::string> length;
  std::optional<std::string> encoding;
  if (!single(headers, "Content-Length", &length) ||
      !single(headers, "Transfer-Encoding", &encoding)) {
    return refuse(400);
  }
  if (encoding) {
    if (lower(trim(*encoding)) != "chunked" || length) return refuse(400);
    return std::nullopt;
  }
  if (!length) return refuse(411);
  std::string digits = trim(*length);
  if (digits.empty() || digits.size() > 19 ||
      !std::all_of(digits.begin(), digits.end(), [](char c) { return c >= '0' && c <= '9'; })) {
    return refuse(400);
  }
  if (std::stoull(digits) > max_body) return refuse(413);
  return std::nullopt;
}

std::optional<Refusal> check_cim_headers(const HeaderList &headers, CimCall *call) {
  std::optional<std::string> type, operation, method, object, version, batch;
  if (!single(headers, "Content-Type", &type) || !type || !acceptable_content_type(*type)) {
    return refuse(415);
  }
  if (!single(headers, "CIMProtocolVersion", &version)) return refuse(400, "header-mismatch");
  if (version) {
    std::string v = trim(*version);
    if (v.size() < 3 || v.compare(0, 2, "1.") != 0 ||
        !std::all_of(v.begin() + 2, v.end(), [](char c) { return c >= '0' && c <= '9'; })) {
      return refuse(501, "unsupported-protocol-version");
    }
  }
  if (!single(headers, "CIMBatch", &batch) || batch) {
    return refuse(501, "multiple-requests-unsupported");
  }
  if (!single(headers, "CIMOperation", &operation) || !operation) {
    return refuse(400, "header-mismatch");
  }
  if (trim(*operation) != "MethodCall") return refuse(501, "unsupported-operation");
  if (!single(headers, "CIMMethod", &method) || !method) return refuse(400, "header-mismatch");
  std::string m = trim(*method);
  if (m.empty() || m.size() > kMaxCimMethod ||
      !std::all_of(m.begin(), m.end(), [](char c) {
        return std::isalnum(static_cast<unsigned char>(c)) || c == '_';
      })) {
    return refuse(400, "header-mismatch");
  }
  if (!single(headers, "CIMObject", &object) || !object) return refuse(400, "header-mismatch");
  std::string o = trim(*object);
  if (o.empty() || o.size() > kMaxCimObject || !printable_ascii(o)) {
    return refuse(400, "header-mismatch");
  }
  call->cim_operation = trim(*operation);
  call->cim_method = m;
  call->cim_object = o;
  call->trailers = announces_trailers(headers);
  return std::nullopt;
}

bool announces_trailers(const HeaderList &headers) {
  for (const std::string &value : header_values(headers, "TE")) {
    std::string text = lower(value);
    std::size_t start = 0;
    while (start <= text.size()) {
      std::size_t comma = text.find(',', start);
      std::string item = trim(text.substr(start, comma == std::string::npos ? std::string::npos
                                                                             : comma - start));
      std::size_t semicolon = item.find(';');
      if (trim(item.substr(0, semicolon)) == "trailers") return true;
      if (comma == std::string::npos) break;
      start = comma + 1;
    }
  }
  return false;
}

}  // namespace wbem
